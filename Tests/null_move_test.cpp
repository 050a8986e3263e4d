// Null move pruning.

#include "node_support.h"

namespace {

class NullMovePruning : public SearchTest {};

} // namespace

// NMP: the null move.

namespace {

// The reduction of a null move at a node, NOT_REACHED if none is made there. The reply to it
// fails low at once.
int null_reduction_at(const char* fen, const char* move, int depth) {
    Position& pos = node_after(fen, move);
    SEP_depth = 0;
    const int beta = eval_of(pos) - 20;
    make_null_move(pos);
    plant(pos, -9000, 60, BOUND_UPPER);
    shell.tag_key = pos.key;
    unmake_null_move(pos);

    testing::internal::CaptureStdout();
    node_value(pos, depth, beta - 1, beta, NODE_CUT);
    std::string output = testing::internal::GetCapturedStdout();
    shell.tag_key = 0;
    if (output.find("  null  ") == std::string::npos) return NOT_REACHED;
    return dumped_reduction(output, 2);
}

} // namespace

TEST_F(NullMovePruning, NullMoveReductionByDepthAndMaterial) {
    struct Case {
        const char* name;
        const char* fen;
        int reduction[4]; // at depth 3, 4, 9, 10 and 12
    };
    const Case cases[] = {
        {"knight", "6k1/5ppp/8/8/8/8/5PPP/1N4K1 b - -", {2, 3, 3, 3}},
        {"bishop", "6k1/5ppp/8/8/8/8/5PPP/1B4K1 b - -", {2, 3, 3, 3}},
        {"rook", "6k1/5ppp/8/8/8/8/5PPP/1R4K1 b - -", {2, 3, 3, 4}},
        {"two knights", "6k1/5ppp/8/8/8/8/5PPP/1NN3K1 b - -", {2, 3, 3, 4}},
        {"queen", "6k1/5ppp/8/8/8/8/5PPP/1Q4K1 b - -", {2, 3, 3, 4}},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(null_reduction_at(c.fen, "g8h8", 2), NOT_REACHED) << c.name;
        EXPECT_EQ(null_reduction_at(c.fen, "g8h8", 3), c.reduction[0]) << c.name;
        EXPECT_EQ(null_reduction_at(c.fen, "g8h8", 4), c.reduction[1]) << c.name;
        EXPECT_EQ(null_reduction_at(c.fen, "g8h8", 9), c.reduction[2]) << c.name;
        EXPECT_EQ(null_reduction_at(c.fen, "g8h8", 10), c.reduction[3]) << c.name;
        EXPECT_EQ(null_reduction_at(c.fen, "g8h8", 12), c.reduction[3]) << c.name;
    }
}

TEST_F(NullMovePruning, NullMoveThatFailsHighCutsUpToDepthFive) {
    constexpr char FEN[] = "6k1/5ppp/8/8/8/8/5PPP/1R4K1 b - -";
    for (int depth = 3; depth <= 9; depth++) {
        Position& pos = node_after(FEN, "g8h8");
        SEP_depth = 0;
        const int beta = eval_of(pos) - 20;
        make_null_move(pos);
        plant(pos, -9000, 60, BOUND_UPPER); // the reply fails low
        unmake_null_move(pos);
        plant_children(pos, 9000, 60, BOUND_LOWER); // and every own move, too

        int value = node_value(pos, depth, beta - 1, beta, NODE_CUT);
        if (depth <= 5) {
            EXPECT_EQ(value, beta) << depth;
            EXPECT_EQ(nodes_of(pos), 2u) << depth;
            EXPECT_EQ(probe(pos).depth, HASH_MISS) << depth;
        } else {
            EXPECT_LT(value, beta) << depth;
            EXPECT_EQ(probe(pos).depth, depth - 5) << "the search goes on with five plies less";
            EXPECT_EQ(probe(pos).type, BOUND_UPPER);
        }
    }
}

TEST_F(NullMovePruning, NullMoveLeavesThePositionAsItWas) {
    Position& pos = node_after("6k1/5ppp/8/8/4p3/8/3P1PPP/1R4K1 w - -", "d2d4");
    ASSERT_NE(pos.ep_square, NO_SQUARE);
    const Position before = pos;
    const Move last = pos.owner->last_move;
    SEP_depth = 0;
    node_value(pos, 4, -3001, -3000, NODE_CUT);
    EXPECT_EQ(memcmp(&before, &pos, sizeof pos), 0);
    EXPECT_EQ(pos.owner->last_move, last);
    EXPECT_EQ(pos.owner->ply, 2);
}

TEST_F(NullMovePruning, NoNullMoveBehindANullMove) {
    constexpr char FEN[] = "6k1/5ppp/8/8/8/8/5PPP/1R4K1 w - -";
    for (int null_ply : {0, 2, 3}) { // 0: none
        Position& pos = root_of(FEN);
        step(pos, "g1h1");
        step(pos, "g8h8");
        step(pos, "h1g1");
        step(pos, "h8g8");
        MoveEntry null_move = {};
        if (null_ply) at_ply(null_ply + 1).current_move = &null_move;
        ASSERT_EQ(pos.owner->ply, 5);
        pos.halfmoves = 0; // no repetition
        SEP_depth = 0;
        const int beta = eval_of(pos) - 20;
        make_null_move(pos);
        uint64_t key = pos.key;
        plant(pos, -9000, 60, BOUND_UPPER);
        unmake_null_move(pos);
        shell.tag_key = key;
        testing::internal::CaptureStdout();
        node_value(pos, 3, beta - 1, beta, NODE_CUT);
        std::string output = testing::internal::GetCapturedStdout();
        shell.tag_key = 0;
        EXPECT_EQ(output.find(" 5.   3 ") != std::string::npos, null_ply == 0) << output;
    }
}
