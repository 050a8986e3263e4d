// What becomes of late moves: late move pruning, losing moves, late move reductions.

#include "node_support.h"

namespace {

class LateMoves : public SearchTest {};

} // namespace

// The move loop: what becomes of late moves.

TEST_F(LateMoves, LateQuietMovesArePrunedByCount) {
    // No move attacks anything; all have base 8, which adds 2 to the count.
    Position& pos = drawing_node("6k1/5p2/5P2/8/8/8/8/KN3B2 b - -", "g8h8");
    std::vector<Move> order;
    for (const MoveEntry& entry : picked(pos, PICK_SEARCH))
        if (legal_move(pos, WHITE, entry.move)) order.push_back(entry.move);
    ASSERT_GT(order.size(), 10u);
    lmp_counts[1] = 3;
    lmp_counts[2] = 6;
    int reached = 0;
    for (Move move : order) reached += is_reached(pos, move, 1, 0, 1, NODE_CUT);
    EXPECT_LT(reached, static_cast<int>(order.size()));
    for (size_t i = 0; i < 5; i++)
        EXPECT_TRUE(is_reached(pos, order[i], 1, 0, 1, NODE_CUT)) << "the first 3 + 8 / 4 moves";
}

namespace {

// A move behind one other, with a count of 0 and no history: kept only if it attacks something.
struct LateCase {
    const char* name;
    const char* fen; // Black moves its king first
    const char* first;
    const char* move;
    bool kept;
};

void PrintTo(const LateCase& c, std::ostream* out) { *out << c.name; }

class LateMove : public LateMoves, public testing::WithParamInterface<LateCase> {};

} // namespace

TEST_P(LateMove, IsKeptIfItAttacksSomething) {
    const LateCase& c = GetParam();
    Position& pos = node_after(c.fen, c.first);
    std::fill(std::begin(thread_of(pos).history), std::end(thread_of(pos).history), int16_t{0});
    lmp_counts[1] = 0;
    SearchStackEntry& entry = current(pos);
    ASSERT_EQ(entry.in_check, 0);
    entry.hash_move = move_at(pos, "a1b1");
    MoveEntry* tested = list_entry(pos, c.move);
    ASSERT_NE(tested, nullptr);
    ASSERT_EQ(classify_move(pos, WHITE, *tested), 0) << "not a special move";
    ASSERT_FALSE(loses_exchange(pos, WHITE, *tested));

    EXPECT_EQ(is_reached(pos, tested->move, 1, 5000, 5001, NODE_CUT), c.kept);
    EXPECT_TRUE(is_reached(pos, tested->move, 1, 5000, 5001, NODE_PV)) << "never at a PV node";
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(
    Table, LateMove,
    testing::Values(
        LateCase{"PawnAttacksKnight",         "7k/8/8/3n4/8/4P3/8/K7 b - -",      "h8g8", "e3e4", true},
        LateCase{"PawnAttacksQueen",          "7k/8/8/3q4/8/2N1P3/8/K7 b - -",     "h8g8", "e3e4", true},
        LateCase{"PawnAttacksPawn",           "7k/8/8/3p4/8/2N1P3/8/K7 b - -",     "h8g8", "e3e4", false},
        LateCase{"PawnAttacksTheKingsZone",   "8/4k3/8/8/8/2P5/8/K7 b - -",       "e7e6", "c3c4", true},
        LateCase{"PawnAttacksNothing",        "7k/8/8/8/8/2P5/8/K7 b - -",        "h8g8", "c3c4", false},
        LateCase{"KnightAttacksRook",         "7k/8/3r4/8/8/8/3N4/K7 b - -",      "h8g8", "d2c4", true},
        LateCase{"KnightAttacksQueen",        "7k/8/3q4/8/8/8/3N4/K7 b - -",      "h8g8", "d2c4", true},
        LateCase{"KnightAttacksBishop",       "7k/8/3b4/8/8/8/3N4/K7 b - -",      "h8g8", "d2c4", false},
        LateCase{"KnightAttacksTheKingsZone", "7k/8/8/8/8/3N4/8/K7 b - -",        "h8g8", "d3f4", false},
        LateCase{"KnightReachesTheZone",      "7k/8/8/8/5N2/8/8/K7 b - -",        "h8g8", "f4h5", true},
        LateCase{"BishopAttacksRook",         "7k/8/8/3r4/8/8/8/K4B2 b - -",      "h8g8", "f1g2", true},
        LateCase{"BishopBehindABlocker",      "7k/8/8/3r4/4p3/8/8/K4B2 b - -",    "h8g8", "f1g2", false},
        LateCase{"BishopOnTheSameDiagonal",   "7k/8/8/3r4/8/8/6B1/K7 b - -",      "h8g8", "g2f3", false},
        LateCase{"BishopAttacksKnight",       "7k/8/8/3n4/8/8/8/K4B2 b - -",      "h8g8", "f1g2", false},
        LateCase{"RookAttacksQueen",          "7k/8/8/3q4/8/8/4B3/K4R2 b - -",    "h8g8", "f1d1", true},
        LateCase{"RookAttacksRook",           "7k/8/8/3r4/8/8/4B3/K4R2 b - -",    "h8g8", "f1d1", false},
        LateCase{"QueenAttacksQueen",         "7k/8/8/8/7q/5N2/8/K2Q4 b - -",     "h8g8", "d1d4", false},
        LateCase{"QueenAloneAtTheZone",       "7k/8/8/8/8/8/8/K2Q4 b - -",        "h8g8", "d1d7", false},
        LateCase{"QueenSupportedAtTheZone",   "7k/8/8/6N1/8/8/8/K2Q4 b - -",      "h8g8", "d1d7", true},
        LateCase{"BishopSupportedAtTheZone",  "7k/8/8/6N1/8/8/8/K4B2 b - -",      "h8g8", "f1d3", true},
        LateCase{"RookSupportedAtTheZone",    "7k/8/8/6N1/8/8/8/K2R4 b - -",      "h8g8", "d1d7", true},
        LateCase{"RookAloneAtTheZone",        "7k/8/8/8/8/8/8/K2R4 b - -",        "h8g8", "d1d7", false},
        LateCase{"KingMove",                  "7k/8/8/8/8/2r5/8/K7 b - -",        "h8g8", "a1b2", false}),
    [](const auto& test) { return test.param.name; });
// clang-format on

TEST_F(LateMoves, SpecialMovesAreNotPrunedByCount) {
    Position& pos = node_after("7k/8/8/8/8/8/6P1/K2Q1N2 b - -", "h8g8");
    std::fill(std::begin(thread_of(pos).history), std::end(thread_of(pos).history), int16_t{0});
    lmp_counts[1] = lmp_counts[2] = 0;
    current(pos).hash_move = move_at(pos, "a1b1");
    Move check = move_at(pos, "d1d8"), quiet = move_at(pos, "f1e3");
    for (int depth : {1, 2}) {
        EXPECT_TRUE(is_reached(pos, check, depth, 5000, 5001, NODE_CUT)) << depth;
        EXPECT_FALSE(is_reached(pos, quiet, depth, 5000, 5001, NODE_CUT)) << depth;
    }
}

TEST_F(LateMoves, CountOfLateMovesGrowsWithTheMovesScore) {
    Position& pos = node_after("7k/8/8/8/8/8/8/KN6 b - -", "h8g8");
    SearchThread& thread = thread_of(pos);
    std::fill(std::begin(thread.history), std::end(thread.history), int16_t{0});
    lmp_counts[1] = 0;
    SearchStackEntry& entry = current(pos);
    entry.hash_move = move_at(pos, "a1b2");
    Move move = move_at(pos, "b1c3");
    int16_t& history = thread.history[history_index(piece_code(WHITE, KNIGHT), 18)];
    history = 7 * 256;
    EXPECT_FALSE(is_reached(pos, move, 1, 5000, 5001, NODE_CUT)) << "7 / 4 is 1";
    history = 8 * 256;
    EXPECT_TRUE(is_reached(pos, move, 1, 5000, 5001, NODE_CUT)) << "8 / 4 is 2";
}

TEST_F(LateMoves, LosingMovesArePruned) {
    // The knight can go where a pawn takes it.
    constexpr char FEN[] = "7k/8/2p5/8/8/2N5/8/K7 b - -";
    Position& pos = node_after(FEN, "h8g8");
    current(pos).hash_move = move_at(pos, "a1b1");
    lmp_counts[1] = lmp_counts[6] = 1000;
    LMR_depth = 100;
    Move move = move_at(pos, "c3d5");
    EXPECT_FALSE(is_reached(pos, move, 1, 5000, 5001, NODE_CUT));
    EXPECT_TRUE(is_reached(pos, move, 1, 5000, 5001, NODE_PV));

    pos.halfmoves = 100; // flat
    EXPECT_FALSE(is_reached(pos, move, 6, 0, 1, NODE_CUT));
    lmp_counts[7] = 1000;
    EXPECT_TRUE(is_reached(pos, move, 7, 0, 1, NODE_CUT)) << "too deep for pruning";
}

TEST_F(LateMoves, MoveThatLosesSeventyIsNotALosingOne) {
    // A pawn steps where a pawn takes it.
    Position& pos = node_after("7k/8/3p4/8/4P3/8/8/K7 b - -", "h8g8");
    current(pos).hash_move = move_at(pos, "a1b1");
    lmp_counts[1] = 1000;
    Move move = move_at(pos, "e4e5");
    for (auto [value, searched] : {std::pair<int16_t, bool>{70, true}, {71, false}}) {
        see_value[PAWN] = value;
        EXPECT_EQ(is_reached(pos, move, 1, 5000, 5001, NODE_CUT), searched) << value;
    }
}

TEST_F(LateMoves, LosingSpecialMovesArePrunedOnlyAtDepthOne) {
    // A check by a rook that the king takes.
    Position& pos = drawing_node("7k/8/8/8/8/8/8/K4R2 b - -", "h8g8");
    current(pos).hash_move = move_at(pos, "a1b1");
    lmp_counts[1] = lmp_counts[2] = 1000;
    Move check = move_at(pos, "f1f8");
    EXPECT_FALSE(is_reached(pos, check, 1, 0, 1, NODE_CUT));
    EXPECT_TRUE(is_reached(pos, check, 2, 0, 1, NODE_CUT));
}

TEST_F(LateMoves, NothingIsPrunedInCheck) {
    Position& pos = node_after("7k/8/8/8/8/8/r7/4K1N1 b - -", "a2a1");
    lmp_counts[0] = lmp_counts[1] = lmp_counts[2] = 0;
    moves_value(pos, 1, 5000, 5001, NODE_CUT);
    EXPECT_EQ(current(pos).move_count, legal_count(pos));
}

TEST_F(LateMoves, NothingIsPrunedOrReducedWhileOnlyALossIsProven) {
    // Every reply fails high, so that each move scores alpha: -9799 is not a loss yet.
    Position& pos = node_after(FEW_FEN, "g8h8");
    plant_children(pos, 9990, 60, BOUND_LOWER);
    const auto all = static_cast<uint64_t>(legal_count(pos));
    lmp_counts[1] = 0;

    moves_value(pos, 1, -9800, -9799, NODE_CUT);
    EXPECT_EQ(nodes_of(pos), all);
    set_relaxed(thread_of(pos).nodes, 0);
    reset_ordering(thread_of(pos));
    moves_value(pos, 1, -9799, -9798, NODE_CUT);
    EXPECT_LT(nodes_of(pos), all);

    std::vector<MoveEntry> moves = picked(pos, PICK_SEARCH);
    Move late = moves.back().move;
    LMP_depth = 0;
    reset_ordering(thread_of(pos));
    EXPECT_EQ(reduction_of(pos, late, 8, -9800, -9799, NODE_CUT), 0);
    EXPECT_GT(reduction_of(pos, late, 8, -9799, -9798, NODE_CUT), 0);
}

// LMR: reductions.

namespace {

// Fills both reduction tables with a function of row and column.
template <class Function>
void fill_reductions(Function value) {
    for (int depth = 0; depth < LMR_SIZE; depth++)
        for (int column = 0; column < LMR_SIZE; column++) {
            lmr_table[depth][column] = static_cast<int8_t>(value(depth, column));
            lmr_table_nonpv[depth][column] = static_cast<int8_t>(value(depth, column) + 1);
        }
}

// The legal moves of a node in the order in which the search takes them.
std::vector<MoveEntry> search_order(Position& pos) {
    std::vector<MoveEntry> order;
    for (const MoveEntry& entry : picked(pos, PICK_SEARCH))
        if (legal_move(pos, pos.side, entry.move)) order.push_back(entry);
    return order;
}

} // namespace

TEST_F(LateMoves, ReductionsComeFromRowThirtyAtMost) {
    Position& pos = drawing_node(PIECES_FEN, "g8h7");
    fill_reductions([](int depth, int) { return depth == 29 ? 1 : depth == 30 ? 4 : 8; });
    Move late = search_order(pos).back().move;
    for (auto [depth, reduction] : {std::pair{29, 1}, {30, 4}, {31, 4}, {32, 4}, {60, 4}}) {
        EXPECT_EQ(reduction_of(pos, late, depth, 0, 1, NODE_PV), reduction) << depth;
        EXPECT_EQ(reduction_of(pos, late, depth, 0, 1, NODE_CUT), reduction + 1) << depth;
        EXPECT_EQ(reduction_of(pos, late, depth, 0, 1, NODE_ALL), reduction + 1) << depth;
    }
}

TEST_F(LateMoves, ColumnIsTheNumberOfTheMoveThirtyAtMost) {
    Position& pos = drawing_node(PIECES_FEN, "g8h7");
    fill_reductions([](int, int column) {
        return column < 30 ? column - 1 : column == 30 ? -9 : -5;
    });
    std::vector<MoveEntry> order = search_order(pos);
    ASSERT_GT(order.size(), 34u);
    for (size_t i = 0; i < order.size(); i++) {
        int number = static_cast<int>(i), expected = number;
        if (number >= 30) expected = -8;
        if (classify_move(pos, WHITE, order[i])) expected = 1;
        if (number == 0) expected = 0;
        if (loses_exchange(pos, WHITE, order[i])) expected++;
        EXPECT_EQ(reduction_of(pos, order[i].move, 40, 0, 1, NODE_CUT), expected)
            << "move " << number << " " << text_of(pos, order[i].move);
    }
}

TEST_F(LateMoves, WellScoredMoveIsReducedAsTheSecond) {
    Position& pos = drawing_node(PIECES_FEN, "g8h7");
    fill_reductions([](int, int column) { return column - 1; });
    SearchThread& thread = thread_of(pos);
    std::vector<MoveEntry> order = search_order(pos);
    for (int score = 31; score <= 64; score++) {
        for (auto& history : thread.history) history = static_cast<int16_t>(score * 256);
        for (int number : {2, 3, 5, 12, 15, 17}) {
            const MoveEntry& move = order[static_cast<size_t>(number)];
            if (classify_move(pos, WHITE, move) || loses_exchange(pos, WHITE, move)) continue;
            int expected = score < 2 * number + 30 ? number : 1;
            EXPECT_EQ(reduction_of(pos, move.move, 40, 0, 1, NODE_CUT), expected)
                << "move " << number << ", score " << score;
        }
    }
}

TEST_F(LateMoves, LosingMoveIsReducedOnePlyMore) {
    Position& pos = drawing_node("7k/8/2p5/8/8/2N5/8/K7 b - -", "h8g8");
    fill_reductions([](int, int) { return 2; });
    SearchStackEntry& entry = current(pos);
    entry.hash_move = move_at(pos, "a1b1");
    EXPECT_EQ(reduction_of(pos, move_at(pos, "c3d5"), 20, 0, 1, NODE_PV), 3);
    EXPECT_EQ(reduction_of(pos, move_at(pos, "c3e4"), 20, 0, 1, NODE_PV), 2);
    EXPECT_EQ(reduction_of(pos, move_at(pos, "c3d5"), 20, 0, 1, NODE_CUT), 4);
}

TEST_F(LateMoves, OnePlyOfDepthIsLeftAtLeast) {
    Position& pos = drawing_node(PIECES_FEN, "g8h7");
    Move late = search_order(pos).back().move;
    LMP_depth = 0;
    fill_reductions([](int depth, int) { return depth - 2; });
    EXPECT_EQ(reduction_of(pos, late, 3, 0, 1, NODE_PV), 1);
    EXPECT_EQ(reduction_of(pos, late, 3, 0, 1, NODE_CUT), 2);
    fill_reductions([](int, int) { return 50; });
    EXPECT_EQ(reduction_of(pos, late, 3, 0, 1, NODE_CUT), 2);
    EXPECT_EQ(reduction_of(pos, late, 8, 0, 1, NODE_CUT), 7);
    EXPECT_EQ(reduction_of(pos, late, 50, 0, 1, NODE_CUT), 29) << "by the row, not the depth";
}

TEST_F(LateMoves, ReductionsBeginAtTheirDepth) {
    Position& pos = drawing_node(PIECES_FEN, "g8h7");
    Move late = search_order(pos).back().move;
    LMP_depth = 0;
    EXPECT_EQ(reduction_of(pos, late, 2, 0, 1, NODE_CUT), 0);
    EXPECT_GT(reduction_of(pos, late, 3, 0, 1, NODE_CUT), 0);
    LMR_depth = 5;
    EXPECT_EQ(reduction_of(pos, late, 4, 0, 1, NODE_CUT), 0);
    EXPECT_GT(reduction_of(pos, late, 5, 0, 1, NODE_CUT), 0);
}

TEST_F(LateMoves, SelectivityZeroSearchesEveryMoveAtFullDepth) {
    active_personality.Selectivity = 0;
    Position& pos = drawing_node(PIECES_FEN, "g8h7");
    for (int depth : {1, 2, 3, 6, 12, 40})
        for (const MoveEntry& entry : search_order(pos))
            ASSERT_EQ(reduction_of(pos, entry.move, depth, 0, 1, NODE_CUT), 0) << depth;

    // Neither far below alpha nor far above beta is anything cut short.
    Position& quiet = node_after("6k1/5ppp/8/8/8/8/5PPP/1N4K1 b - -", "g8h8");
    const int eval = eval_of(quiet);
    node_value(quiet, 1, eval + 1000, eval + 1001, NODE_CUT);
    EXPECT_EQ(current(quiet).from_futility, 0);
    EXPECT_EQ(current(quiet).move_count, legal_count(quiet));
    set_relaxed(thread_of(quiet).nodes, 0);
    hash_clear();
    node_value(quiet, 1, eval - 1001, eval - 1000, NODE_CUT);
    EXPECT_GT(nodes_of(quiet), 1u);
}

TEST_F(LateMoves, ReducedMoveThatFailsHighIsSearchedAgainAtFullDepth) {
    // By the table the first move loses and all others win.
    Position& pos = node_after(PIECES_FEN, "g8h7");
    fill_reductions([](int, int) { return 3; });
    std::vector<MoveEntry> order = search_order(pos);
    ASSERT_FALSE(loses_exchange(pos, WHITE, order[1]));
    plant_children(pos, -20, 60, BOUND_EXACT);
    make_move(pos, order[0].move);
    plant(pos, 20, 60, BOUND_EXACT);
    unmake_move(pos);

    shell.tag_key = key_after(pos, order[1].move);
    testing::internal::CaptureStdout();
    int value = moves_value(pos, 10, -10, 10, NODE_CUT);
    std::string output = testing::internal::GetCapturedStdout();
    shell.tag_key = 0;

    EXPECT_EQ(value, 10);
    EXPECT_EQ(nodes_of(pos), 3u);
    EXPECT_EQ(dumped_reduction(output, 2), 4);
    size_t again = output.find("ply depth", 1);
    ASSERT_NE(again, std::string::npos) << "searched a second time";
    EXPECT_EQ(dumped_reduction(output.substr(again), 2), 0);
    EXPECT_EQ(output.find("ply depth", again + 1), std::string::npos);
}
