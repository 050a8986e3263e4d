// Quiescence: standing pat, what is looked at, what is passed over, what is stored.

#include "search_fixture.h"

namespace {

class Quiesce : public SearchTest {};

SearchStackEntry& current(Position& pos) { return thread_of(pos).stack[pos.owner->ply]; }

// quiesce at the node's ply, with a static value of the test's choice.
int quiesce_value(Position& pos, int eval, int depth, int alpha, int beta, int type = NODE_CUT) {
    Move pv[PLY_SLOTS] = {};
    SearchStackEntry& node = current(pos);
    node.node_type = static_cast<int16_t>(type);
    node.static_eval = static_cast<int16_t>(eval);
    return quiesce(pos, pos.side, pos.owner->ply, depth, alpha, beta, type, pv);
}

// Number of the node's moves that are searched.
int searched(const char* fen, const char* move, int eval, int depth, int alpha) {
    Position& pos = node_after(fen, move);
    quiesce_value(pos, eval, depth, alpha, 20000);
    return current(pos).move_count;
}

// The same where no gain is out of reach and no move improves on the static value.
int tried(const char* fen, const char* move, int depth) {
    return searched(fen, move, 9500, depth, 9500);
}

// Tells whether a move of the node is searched.
bool is_tried(Position& pos, Move move, int eval, int depth, int alpha) {
    shell.tag_key = key_after(pos, move);
    testing::internal::CaptureStdout();
    quiesce_value(pos, eval, depth, alpha, 20000);
    std::string output = testing::internal::GetCapturedStdout();
    shell.tag_key = 0;
    return dumped_reduction(output, pos.owner->ply) != NOT_REACHED;
}

constexpr char NO_CAPTURE[] = "6k1/5p2/5P2/8/8/8/8/KN3B2 b - -";
constexpr char FREE_QUEEN[] = "6k1/pr6/8/3q4/4P3/8/PP6/KR6 b - -";

} // namespace

TEST_F(Quiesce, StandPatReturnsBetaItself) {
    Position& pos = node_after(NO_CAPTURE, "g8h8");
    EXPECT_EQ(quiesce_value(pos, 300, 0, 100, 200), 200);
    EXPECT_EQ(quiesce_value(pos, 200, 0, 100, 200), 200);
    EXPECT_EQ(quiesce_value(pos, 300, 2, 100, 200), 200);
    EXPECT_EQ(nodes_of(pos), 0u);
    EXPECT_EQ(probe(pos).depth, HASH_MISS) << "nothing is stored";
}

TEST_F(Quiesce, WithoutCapturesTheStaticValueOrAlphaIsReturned) {
    Position& pos = node_after(NO_CAPTURE, "g8h8");
    for (int depth : {-5, -1, 0}) {
        EXPECT_EQ(quiesce_value(pos, 150, depth, 100, 200), 150) << depth;
        EXPECT_EQ(quiesce_value(pos, -700, depth, 100, 200), 100) << depth;
    }
    EXPECT_EQ(probe(pos).depth, HASH_MISS);
}

TEST_F(Quiesce, CaptureThatFailsHighReturnsItsOwnValue) {
    // The rook is taken with mate.
    Position& pos = node_after("2r3k1/p4ppp/8/8/8/8/8/K1R5 b - -", "a7a6");
    EXPECT_EQ(quiesce_value(pos, -900, 0, -50, -40), 10000 - 3);

    HashRecord record = probe(pos);
    EXPECT_EQ(record.depth, 0);
    EXPECT_EQ(record.type, BOUND_LOWER);
    EXPECT_EQ(record.score, 10000 - 1) << "counted from the node";
    EXPECT_EQ(record.move, make_plain_move(2, 58));
}

TEST_F(Quiesce, OnlyFailHighAtTheHorizonOrAboveIsStored) {
    struct Case {
        int depth, alpha, beta;
        bool stored;
    };
    for (const Case& c :
         {Case{0, -50, -40, true}, Case{2, -50, -40, true}, Case{-1, -50, -40, false},
          Case{0, -50, 9000, false}, Case{0, 8000, 9000, false}}) {
        Position& pos = node_after(FREE_QUEEN, "g8h8");
        quiesce_value(pos, -900, c.depth, c.alpha, c.beta);
        EXPECT_EQ(probe(pos).depth, c.stored ? c.depth : HASH_MISS) << c.depth << " " << c.alpha;
    }
}

TEST_F(Quiesce, StopReturnsZero) {
    Position& pos = node_after(FREE_QUEEN, "g8h8");
    set_relaxed(engine.stop, 1);
    EXPECT_EQ(quiesce_value(pos, -900, 0, -50, -40), 0);
    EXPECT_EQ(pos.owner->ply, 2);
    EXPECT_EQ(probe(pos).depth, HASH_MISS);
}

TEST_F(Quiesce, ChildrenGetOnePlyLessAndTheOppositeType) {
    Position& pos = node_after(FREE_QUEEN, "g8h8");
    for (int type : {NODE_CUT, NODE_PV, NODE_ALL}) {
        quiesce_value(pos, -900, -1, -9000, 9000, type);
        EXPECT_EQ(at_ply(3).node_type, -type);
        EXPECT_EQ(at_ply(3).depth, -2);
    }
}

TEST_F(Quiesce, MovesHaveNoClass) {
    Position& pos = node_after(FREE_QUEEN, "g8h8");
    current(pos).move_class = CLASS_SEVENTH;
    quiesce_value(pos, -900, 0, -9000, 9000);
    EXPECT_EQ(current(pos).move_class, 0);
}

// Delta pruning: the optimistic gain must bring the static value above alpha less the margin.

namespace {

struct DeltaCase {
    const char* name;
    const char* fen; // Black moves its king first
    int gain;        // of White's only capture
};

void PrintTo(const DeltaCase& c, std::ostream* out) { *out << c.name; }

class Delta : public Quiesce, public testing::WithParamInterface<DeltaCase> {};

} // namespace

TEST_P(Delta, GainHasToReachAlphaLessTheMargin) {
    const DeltaCase& c = GetParam();
    for (auto [depth, margin] : {std::pair{0, 150}, {-1, 150}, {1, 450}, {3, 450}}) {
        int eval = -300, least = eval + c.gain + margin; // an alpha that is out of reach
        EXPECT_EQ(searched(c.fen, "h8g8", eval, depth, least), 0) << depth;
        EXPECT_EQ(searched(c.fen, "h8g8", eval, depth, least - 1), 1) << depth;
    }
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(
    Gains, Delta,
    testing::Values(
        //        name                    position                                   gain
        DeltaCase{"Pawn",                 "7k/p7/8/3p4/4P3/8/8/K7 b - -",            100},
        DeltaCase{"Knight",               "7k/p7/8/3n4/4P3/8/8/K7 b - -",            350},
        DeltaCase{"Bishop",               "7k/p7/8/3b4/4P3/8/8/K7 b - -",            350},
        DeltaCase{"Rook",                 "7k/p7/8/3r4/4P3/8/8/K7 b - -",            550},
        DeltaCase{"Queen",                "7k/p7/8/3q4/4P3/8/8/K7 b - -",           1075},
        DeltaCase{"PushToTheSeventh",     "7k/p7/3P4/8/8/8/8/K7 b - -",             1500},
        DeltaCase{"CaptureOnTheSeventh",  "7k/p2r4/2Pp4/3P4/8/8/8/K7 b - -",        1500},
        DeltaCase{"Promotion",            "5b1k/p2P4/8/8/8/8/8/K7 b - -",           1500},
        DeltaCase{"LastPawn",             "7k/8/8/3p4/4P3/8/8/K7 b - -",            5000},
        DeltaCase{"LastPawnOfAMinor",     "7k/8/8/3p4/4P3/6n1/8/K7 b - -",          5000},
        DeltaCase{"LastPawnOfARook",      "7k/8/8/3p4/4P3/1r6/8/K7 b - -",           100},
        DeltaCase{"RookBesideAMinor",     "7k/8/8/3r4/4P3/6n1/8/K7 b - -",          5000},
        DeltaCase{"RookBesideTwoMinors",  "7k/8/8/3r4/4P3/5nn1/8/K7 b - -",          550},
        DeltaCase{"RookBesideAPawn",      "7k/p7/8/3r4/4P3/6n1/8/K7 b - -",          550}),
    [](const auto& test) { return test.param.name; });
// clang-format on

TEST_F(Quiesce, EnPassantCountsAsNoGain) {
    Position& pos = node_after("7k/p2p4/8/4P3/8/8/8/K7 b - -", "d7d5");
    quiesce_value(pos, 0, 0, 150, 20000);
    EXPECT_EQ(current(pos).move_count, 0);
    quiesce_value(pos, 0, 0, 149, 20000);
    EXPECT_EQ(current(pos).move_count, 1);
}

TEST_F(Quiesce, ChecksAreNeverOutOfReach) {
    // The queen takes on h5 with check, on d4 without.
    constexpr char FEN[] = "4k3/p7/8/7p/3p4/8/8/K2Q4 b - -";
    EXPECT_EQ(searched(FEN, "a7a6", 0, -1, 20), 2);
    EXPECT_EQ(searched(FEN, "a7a6", -9000, -1, 9000), 1);
    // A pawn that promotes with check counts as its new piece.
    EXPECT_EQ(searched("7k/p2P4/8/8/8/8/8/K7 b - -", "h8g8", -9000, -1, 9000), 1);
    EXPECT_EQ(searched("5b1k/p2P4/8/8/8/8/8/K7 b - -", "h8g8", -9000, -1, 9000), 0);
}

TEST_F(Quiesce, BestValueSoFarRaisesTheBar) {
    // The rook is taken first; then the pawn can't reach what that has brought.
    Position& pos = node_after("7k/pp6/8/3r3p/4P1P1/8/8/K7 b - -", "h8g8");
    Move pawn = move_at(pos, "g4h5");
    EXPECT_FALSE(is_tried(pos, pawn, -650, 0, -9000));
    Position& without = node_after("7k/pp6/8/r6p/4P1P1/8/8/1K6 b - -", "h8g8");
    EXPECT_TRUE(is_tried(without, move_at(without, "g4h5"), -650, 0, -9000));
}

// Moves that lose material.

TEST_F(Quiesce, LosingCapturesArePassedOver) {
    EXPECT_EQ(tried("7k/8/2p5/3p4/8/8/8/K2R4 b - -", "h8g8", -1), 0);
    EXPECT_EQ(tried("7k/8/8/3p4/8/8/8/K2R4 b - -", "h8g8", -1), 1) << "not defended";
    EXPECT_EQ(tried("7k/8/2p5/3r4/8/8/8/K2R4 b - -", "h8g8", -1), 1) << "an even exchange";
    EXPECT_EQ(tried("7k/8/2p5/3r4/8/8/8/K2Q4 b - -", "h8g8", -1), 0);
}

TEST_F(Quiesce, ExchangeThatLosesSeventyIsTried) {
    // Knight takes pawn, pawn takes knight.
    constexpr char FEN[] = "7k/8/4p3/3p4/8/2N5/8/K7 b - -";
    for (auto [knight, expected] : {std::pair<int16_t, bool>{170, true}, {171, false}}) {
        Position& pos = node_after(FEN, "h8g8");
        see_value[KNIGHT] = knight;
        EXPECT_EQ(is_tried(pos, move_at(pos, "c3d5"), 9500, -1, 9500), expected) << knight;
    }
}

TEST_F(Quiesce, EnPassantIsNotWeighed) {
    Position& pos = node_after("7k/3p4/2p5/4P3/8/8/8/K7 b - -", "d7d5");
    EXPECT_TRUE(is_tried(pos, move_at(pos, "e5d6"), 9500, -1, 9500));
}

TEST_F(Quiesce, IllegalCapturesArePassedOver) {
    // The pawn is pinned by the rook.
    EXPECT_EQ(tried("4r2k/p7/8/3q4/4P3/8/8/4K3 b - -", "h8g8", 0), 0);
    EXPECT_EQ(tried("5r1k/p7/8/3q4/4P3/8/8/4K3 b - -", "h8g8", 0), 1);
}

TEST_F(Quiesce, OnlyQueensPromote) {
    EXPECT_EQ(tried("8/p2P2k1/8/8/8/8/8/K7 b - -", "g7g6", -1), 1);
}

// Deep quiescence: recaptures alone.

TEST_F(Quiesce, DeepDownOnlyRecapturesAreLookedAt) {
    // Black has just taken on d5; another pawn stands en prise on g5.
    constexpr char FEN[] = "7k/p7/4p3/3P2p1/2P4P/8/8/K7 b - -";
    for (auto [depth, moves] : {std::pair{-1, 2}, {-3, 2}, {-4, 1}, {-9, 1}})
        EXPECT_EQ(tried(FEN, "e6d5", depth), moves) << depth;
}

TEST_F(Quiesce, AfterANullMoveDeepRecapturesGoToTheFirstSquare) {
    // The bishop can take on a1, the pawn on d5.
    for (int depth : {-3, -4}) {
        Position& pos = node_after("7k/p7/8/3p4/2P5/8/1B6/n5K1 b - -", "h8g8");
        pos.owner->last_move = NULL_MOVE;
        EXPECT_TRUE(is_tried(pos, move_at(pos, "b2a1"), 9500, depth, 9500)) << depth;
        pos.owner->last_move = NULL_MOVE;
        EXPECT_EQ(is_tried(pos, move_at(pos, "c4d5"), 9500, depth, 9500), depth == -3);
    }
}

// Quiet checks.

TEST_F(Quiesce, QuietChecksAreTriedAtTheHorizonAndAbove) {
    Position& pos = node_after("7k/p5pp/8/8/8/8/8/K1R5 b - -", "a7a6");
    Move check = move_at(pos, "c1c8");
    for (auto [depth, expected] : {std::pair{2, true}, {0, true}, {-1, false}, {-5, false}})
        EXPECT_EQ(is_tried(pos, check, -500, depth, 0), expected) << depth;
}

TEST_F(Quiesce, MateByAQuietCheckIsFoundAtTheHorizon) {
    Position& pos = node_after("7k/p5pp/8/8/8/8/8/K1R5 b - -", "a7a6");
    EXPECT_EQ(quiesce_value(pos, -500, 0, -10001, 10001, NODE_PV), 10000 - 3);
    EXPECT_LT(quiesce_value(pos, -500, -1, -10001, 10001, NODE_PV), 9000);
}

TEST_F(Quiesce, LineOfTheBestCaptureIsWritten) {
    Position& pos = node_after("7k/p7/4p3/3r4/2P5/8/8/K7 b - -", "h8g8");
    current(pos).static_eval = -500;
    Move pv[PLY_SLOTS] = {};
    int value = quiesce(pos, WHITE, 2, 0, -9000, 9000, NODE_PV, pv);
    EXPECT_GT(value, -500);
    EXPECT_EQ(pv[2], make_plain_move(26, 35));
}
