// A node of the search: limits, extensions, what the tables say, internal iterative deepening,
// values and lines.

#include "node_support.h"

#include "syzygy/tbprobe.h"

namespace {

class Search : public SearchTest {};

} // namespace

// Limits.

TEST_F(Search, LinesEndBehindPlySixtyFive) {
    // A mated king: up to ply 65 the mate is seen.
    constexpr char MATE_FEN[] = "7k/8/6K1/8/8/8/8/R7 w - -";
    Position& mated = node_after(MATE_FEN, "a1a8");
    enter_ply(mated, 65);
    EXPECT_EQ(node_value(mated, 3, -10001, 10001, NODE_PV), 65 - 10000);
    enter_ply(mated, 66);
    EXPECT_EQ(node_value(mated, 3, -10001, 10001, NODE_PV), 0);

    // A stalemate: up to ply 65 it is a draw, behind it the static value counts.
    Position& stalemate = node_after("7k/8/8/6Q1/8/8/8/K7 w - -", "g5g6");
    ASSERT_NE(eval_of(stalemate), 0);
    enter_ply(stalemate, 65);
    EXPECT_EQ(node_value(stalemate, 3, -10001, 10001, NODE_PV), 0);
    enter_ply(stalemate, 66);
    EXPECT_EQ(node_value(stalemate, 3, -10001, 10001, NODE_PV), eval_of(stalemate));
    EXPECT_EQ(probe(stalemate).depth, 3) << "stored at ply 65 only";
}

TEST_F(Search, NoLineIsBetterThanTheFastestMate) {
    Position& pos = node_after(START_FEN, "e2e4");
    EXPECT_EQ(node_value(pos, 3, 9997, 10001, NODE_PV), 9997) << "a mate at ply 3 scores no more";
    EXPECT_EQ(node_value(pos, 3, -10001, -9998, NODE_PV), -9998) << "mated here at worst";
    EXPECT_EQ(nodes_of(pos), 2u);

    node_value(pos, 1, -10001, 10001, NODE_PV);
    EXPECT_EQ(current(pos).alpha, 2 - 10000);
    EXPECT_EQ(current(pos).beta, 9999 - 2);
}

TEST_F(Search, SetStopUnwindsWithZero) {
    Position& pos = node_after(START_FEN, "e2e4");
    set_relaxed(engine.stop, 1);
    EXPECT_EQ(node_value(pos, 3, 100, 200, NODE_CUT), 0);
    EXPECT_EQ(moves_value(pos, 3, 100, 200, NODE_CUT), 0);
    EXPECT_EQ(nodes_of(pos), 2u);
    EXPECT_EQ(probe(pos).depth, HASH_MISS) << "nothing is stored on the way out";
}

TEST_F(Search, NodeLimitHoldsFromTheSecondIterationOn) {
    Position& pos = node_after(START_FEN, "e2e4");
    thread_of(pos).node_limit = 50;
    set_relaxed(thread_of(pos).completed_depth, 1);
    node_value(pos, 3, -10001, 10001, NODE_PV);
    EXPECT_EQ(relaxed(engine.stop), 0);
    EXPECT_GT(nodes_of(pos), 51u);

    set_relaxed(thread_of(pos).nodes, 0);
    set_relaxed(thread_of(pos).completed_depth, 2);
    hash_clear();
    EXPECT_EQ(node_value(pos, 3, -10001, 10001, NODE_PV), 0);
    EXPECT_EQ(relaxed(engine.stop), 1);
    EXPECT_EQ(nodes_of(pos), 51u);
}

TEST_F(Search, HighestPlyIsNoted) {
    Position& pos = node_after(START_FEN, "e2e4");
    thread_of(pos).seldepth = 0;
    node_value(pos, 0, -10001, 10001, NODE_PV);
    EXPECT_GE(thread_of(pos).seldepth, 2);
    enter_ply(pos, 40);
    node_value(pos, 0, 5000, 5001, NODE_CUT);
    EXPECT_GE(thread_of(pos).seldepth, 40);
}

TEST_F(Search, DrawsByRuleScoreZero) {
    Position& pos = node_after("6k1/8/8/8/3Q4/8/1R6/K4B2 w - -", "a1a2");
    pos.halfmoves = 101;
    EXPECT_EQ(node_value(pos, 3, -10001, 10001, NODE_PV), 0);
    EXPECT_EQ(nodes_of(pos), 1u);

    Position& again = root_of(START_FEN);
    for (const char* move : {"g1f3", "g8f6", "f3g1", "f6g8"}) step(again, move);
    EXPECT_EQ(node_value(again, 3, 50, 60, NODE_PV), 0) << "the root position once more";
}

TEST_F(Search, NodeClearsItsOwnFields) {
    Position& pos = node_after(START_FEN, "e2e4");
    SearchStackEntry& entry = current(pos);
    entry.static_eval = 77;
    entry.reduction = 7;
    entry.in_iid = 1;
    entry.from_futility = 1;
    entry.threat_pressure[0] = entry.threat_pressure[1] = 77;
    entry.move_count = 77;
    entry.hash_move = 77;
    entry.tb_result = 3;
    pos.halfmoves = 101; // the node ends as a draw at once
    node_value(pos, 4, -30, 40, NODE_ALL);

    EXPECT_EQ(entry.static_eval, 0);
    EXPECT_EQ(entry.reduction, 0);
    EXPECT_EQ(entry.in_iid, 0);
    EXPECT_EQ(entry.from_futility, 0);
    EXPECT_EQ(entry.threat_pressure[0], 0);
    EXPECT_EQ(entry.threat_pressure[1], 0);
    EXPECT_EQ(entry.move_count, 0);
    EXPECT_EQ(entry.hash_move, NULL_MOVE);
    EXPECT_EQ(entry.tb_result, -1);
    EXPECT_EQ(entry.alpha, -30);
    EXPECT_EQ(entry.beta, 40);
    EXPECT_EQ(entry.node_type, NODE_ALL);
    EXPECT_EQ(entry.in_check, 0);
    EXPECT_EQ(entry.checker_square, NO_SQUARE);
}

// Extensions.

TEST_F(Search, CheckExtendsByOnePly) {
    Position& pos = node_after("4k3/8/8/8/8/8/r7/4K3 b - -", "a2a1");
    node_value(pos, 0, -500, 500, NODE_PV);
    EXPECT_EQ(current(pos).depth, 1);
    EXPECT_EQ(current(pos).in_check, 1);
    EXPECT_EQ(current(pos).checker_square, A1);
    EXPECT_EQ(current(pos).static_eval, NO_EVAL);
    EXPECT_EQ(probe(pos).depth, 1);
}

TEST_F(Search, EvasionsBelowTheHorizonAreAllSearchedAndNotStored) {
    // Three evasions; each answer stands pat.
    Position& pos = node_after("4k3/8/8/8/8/8/r7/4K3 b - -", "a2a1");
    node_value(pos, -2, -9000, 9000, NODE_CUT);
    EXPECT_EQ(current(pos).depth, -1);
    EXPECT_EQ(current(pos).move_count, legal_count(pos));
    EXPECT_EQ(probe(pos).depth, HASH_MISS);

    // One ply higher the extension brings the node to depth 0, where the table is used.
    node_value(pos, -1, -9000, 9000, NODE_CUT);
    EXPECT_EQ(current(pos).depth, 0);
    EXPECT_EQ(probe(pos).depth, 0);
}

TEST_F(Search, ExchangeIntoAPawnEndingExtends) {
    // The last piece of the side to move has just been taken.
    Position& ending = node_after("4k3/4r3/8/8/4N3/8/PP6/6K1 b - -", "e7e4");
    node_value(ending, 1, -9000, 9000, NODE_PV);
    EXPECT_EQ(current(ending).depth, 2);

    Position& quiet = node_after("4k3/4r3/8/8/8/8/PP6/6K1 b - -", "e7e4");
    node_value(quiet, 1, -9000, 9000, NODE_PV);
    EXPECT_EQ(current(quiet).depth, 1);

    Position& pawn = node_after("4k3/4r3/8/8/4P3/8/PP6/6K1 b - -", "e7e4");
    node_value(pawn, 1, -9000, 9000, NODE_PV);
    EXPECT_EQ(current(pawn).depth, 1) << "a pawn was taken";

    Position& pieces = node_after("4k3/4r3/8/8/4N3/8/PP4N1/6K1 b - -", "e7e4");
    node_value(pieces, 1, -9000, 9000, NODE_PV);
    EXPECT_EQ(current(pieces).depth, 1) << "a piece is left";
}

TEST_F(Search, FarPawnsExtendNearTheHorizon) {
    constexpr char FEN[] = "4k3/8/8/8/P7/2p5/5p2/4K2R b - -";
    struct Case {
        const char* move;
        int depth, extended;
    };
    const Case cases[] = {
        {"c3c2", 0, 1}, {"c3c2", 1, 2}, {"c3c2", 2, 3}, {"c3c2", 3, 3}, {"e8e7", 2, 2}};
    for (const Case& c : cases) {
        Position& pos = node_after("4k3/8/8/8/P7/2p5/5R2/6K1 b - -", c.move);
        node_value(pos, c.depth, -9000, 9000, NODE_PV);
        EXPECT_EQ(current(pos).depth, c.extended) << c.move << " at depth " << c.depth;
    }
    Position& check = node_after(FEN, "e8e7");
    node_value(check, 2, -9000, 9000, NODE_PV);
    EXPECT_EQ(current(check).depth, 3) << "in check one ply is the most";
}

// The hash table at a node.

TEST_F(Search, HashCutsWithinItsDepthOutsidePvNodes) {
    Position& pos = node_after(START_FEN, "e2e4");
    struct Case {
        const char* name;
        int score, hash_depth;
        uint8_t bound;
        int depth, type;
        int value; // 9999: searched
    };
    const Case cases[] = {
        {"lower bound above beta", 100, 5, BOUND_LOWER, 5, NODE_CUT, 51},
        {"lower bound at beta", 51, 5, BOUND_LOWER, 5, NODE_ALL, 51},
        {"lower bound below beta", 50, 5, BOUND_LOWER, 5, NODE_CUT, 9999},
        {"upper bound above beta", 100, 5, BOUND_UPPER, 5, NODE_CUT, 9999},
        {"upper bound at alpha", 50, 5, BOUND_UPPER, 5, NODE_CUT, 50},
        {"upper bound below alpha", -200, 5, BOUND_UPPER, 5, NODE_CUT, 50},
        {"exact above beta", 100, 5, BOUND_EXACT, 5, NODE_CUT, 51},
        {"exact below alpha", -100, 5, BOUND_EXACT, 5, NODE_CUT, 50},
        {"too shallow", 100, 4, BOUND_EXACT, 5, NODE_CUT, 9999},
        {"deeper", 100, 60, BOUND_EXACT, 5, NODE_CUT, 51},
        {"PV node", 100, 60, BOUND_EXACT, 5, NODE_PV, 9999},
    };
    for (const Case& c : cases) {
        hash_clear();
        plant(pos, c.score, c.hash_depth, c.bound);
        set_relaxed(thread_of(pos).nodes, 0);
        int value = node_value(pos, c.depth, 50, 51, c.type);
        const bool cut = c.value != 9999;
        EXPECT_EQ(nodes_of(pos) == 1, cut) << c.name;
        EXPECT_EQ(cut ? value : 9999, c.value) << c.name;
    }
}

TEST_F(Search, HashDoesNotCutNearTheFiftyMoveLimit) {
    Position& pos = node_after(PIECES_FEN, "g8h7");
    for (auto [halfmoves, cut] : {std::pair{94, true}, {95, false}}) {
        pos.halfmoves = static_cast<uint8_t>(halfmoves);
        hash_clear();
        plant(pos, 100, 5, BOUND_EXACT);
        set_relaxed(thread_of(pos).nodes, 0);
        node_value(pos, 1, 50, 51, NODE_CUT);
        EXPECT_EQ(nodes_of(pos) == 1, cut) << halfmoves;
    }
}

TEST_F(Search, ProbesAndHitsAreCounted) {
    Position& pos = node_after(START_FEN, "e2e4");
    plant(pos, 100, 9, BOUND_EXACT);
    node_value(pos, 5, 50, 51, NODE_CUT);
    EXPECT_EQ(relaxed(thread_of(pos).hash_probes), 1u);
    EXPECT_EQ(relaxed(thread_of(pos).hash_hits), 1u);
    node_value(pos, -1, 5000, 5001, NODE_CUT);
    EXPECT_EQ(relaxed(thread_of(pos).hash_probes), 1u)
        << "below the horizon the table is not asked";

    engine.hash_enabled = 0;
    node_value(pos, 0, 5000, 5001, NODE_CUT);
    EXPECT_GE(relaxed(thread_of(pos).hash_probes), 2u) << "counted, although nothing is looked up";
    EXPECT_EQ(relaxed(thread_of(pos).hash_hits), 1u);
}

// Endgame tables that know nothing.

TEST_F(Search, TablesWithoutAResultChangeNothing) {
    constexpr char FEN[] = "4k3/4r3/8/8/4N3/8/PP6/6K1 w - -";
    uint64_t nodes = search_nodes(FEN, 6);
    tb_largest = 5;
    uint64_t with_tables = search_nodes(FEN, 6);
    EXPECT_EQ(relaxed(engine.root_wdl), -1);
    Position& pos = node_after(FEN, "g1g2");
    node_value(pos, 3, -9000, 9000, NODE_PV);
    EXPECT_EQ(current(pos).tb_result, -1);
    EXPECT_EQ(relaxed(thread_of(pos).tb_hits), 0u);
    tb_largest = 0;
    EXPECT_EQ(with_tables, nodes);
}

// Internal deepening.

namespace {

// Nodes of a search whose children are draws of one node each.
uint64_t flat_nodes(int depth, int type, int hash_depth) {
    active_personality.Selectivity = 0;
    Position& pos = drawing_node(FEW_FEN, "g8h8");
    hash_clear();
    if (hash_depth >= 0) {
        HashRecord record = entry_for(pos.key, NULL_MOVE, 0, hash_depth, BOUND_UPPER);
        record.fifty = 100;
        write_slot(pos.key % hash_entries, record);
    }
    node_value(pos, depth, 0, 1, type);
    return nodes_of(pos) - 1;
}

} // namespace

TEST_F(Search, MissingHashMoveIsFoundByInternalDeepening) {
    const auto moves = static_cast<uint64_t>(legal_count(drawing_node(FEW_FEN, "g8h8")));
    struct Case {
        int depth, type, hash_depth;
        bool deepens;
    };
    const Case cases[] = {
        {3, NODE_PV, -1, false},  {4, NODE_PV, -1, true},  {4, NODE_PV, 0, true},
        {4, NODE_PV, 1, false},   {10, NODE_PV, 6, true},  {10, NODE_PV, 7, false},
        {4, NODE_ALL, -1, false}, {5, NODE_ALL, -1, true}, {5, NODE_ALL, 0, true},
        {5, NODE_ALL, 1, false},  {8, NODE_ALL, 3, true},  {8, NODE_ALL, 4, false},
        {9, NODE_ALL, 3, true},   {9, NODE_ALL, 4, false}, {10, NODE_CUT, 4, true},
        {10, NODE_CUT, 5, false},
    };
    for (const Case& c : cases)
        EXPECT_EQ(flat_nodes(c.depth, c.type, c.hash_depth), c.deepens ? 2 * moves : moves)
            << "depth " << c.depth << " type " << c.type << " hash depth " << c.hash_depth;
}

TEST_F(Search, InternalDeepeningReplacesTheHashMove) {
    Position& pos = node_after(START_FEN, "e2e4");
    const Move stored = make_plain_move(48, 40); // a7a6
    write_slot(pos.key % hash_entries, entry_for(pos.key, stored, 0, 0, BOUND_UPPER));
    node_value(pos, 5, -9000, 9000, NODE_PV);
    EXPECT_NE(current(pos).hash_move, stored);
    EXPECT_NE(current(pos).hash_move, NULL_MOVE);
}

// Values, lines and stores.

TEST_F(Search, MateAndStalemateAreStoredAsExact) {
    struct Case {
        const char* name;
        const char* fen;
        const char* move;
        int value, stored;
    };
    const Case cases[] = {{"mate", "7k/8/6K1/8/8/8/8/R7 w - -", "a1a8", 2 - 10000, -10000},
                          {"stalemate", "7k/8/8/6Q1/8/8/8/K7 w - -", "g5g6", 0, 0}};
    for (const Case& c : cases) {
        // Windows in which a searched score would be a bound.
        for (auto [alpha, beta] :
             {std::pair{-10001, 10001}, {50, 60}, {-9997, -9990}, {-60, -50}}) {
            Position& pos = node_after(c.fen, c.move);
            EXPECT_EQ(moves_value(pos, 1, alpha, beta, NODE_ALL), c.value) << c.name;
            HashRecord record = probe(pos);
            EXPECT_EQ(record.type, BOUND_EXACT) << c.name << " alpha " << alpha;
            EXPECT_EQ(record.score, c.stored) << c.name;
            EXPECT_EQ(record.move, NULL_MOVE);
            EXPECT_EQ(record.depth, 1);
        }
    }
}

TEST_F(Search, StalemateWithAnIllegalHashMoveIsADraw) {
    Position& pos = node_after("7k/8/8/6Q1/8/8/8/K7 w - -", "g5g6");
    current(pos).hash_move = make_plain_move(63, 62);
    EXPECT_EQ(moves_value(pos, 4, 50, 60, NODE_ALL), 0);
    EXPECT_EQ(probe(pos).type, BOUND_EXACT);
    EXPECT_EQ(probe(pos).move, NULL_MOVE);
}

TEST_F(Search, StoreComparesWithTheWindowAtEntry) {
    // Every move draws: it raises alpha from -50 to 0.
    Position& pos = drawing_node(FEW_FEN, "g8h8");
    EXPECT_EQ(moves_value(pos, 2, -50, 50, NODE_PV), 0);
    EXPECT_EQ(probe(pos).type, BOUND_EXACT);
    EXPECT_EQ(moves_value(pos, 2, 0, 50, NODE_ALL), 0);
    EXPECT_EQ(probe(pos).type, BOUND_UPPER);
    EXPECT_NE(probe(pos).move, NULL_MOVE) << "the best of the moves that failed low";
    EXPECT_EQ(moves_value(pos, 2, -50, 0, NODE_CUT), 0);
    EXPECT_EQ(probe(pos).type, BOUND_LOWER);
    EXPECT_EQ(current(pos).move_count, 1);
}

TEST_F(Search, ValuesAreNotClampedToTheWindow) {
    Position& pos = drawing_node(FEW_FEN, "g8h8");
    EXPECT_EQ(moves_value(pos, 2, 300, 400, NODE_ALL), 0);
    EXPECT_EQ(moves_value(pos, 2, -400, -300, NODE_CUT), 0);
}

TEST_F(Search, LineIsWrittenBehindTheBestMove) {
    Position& pos = node_after("7k/8/5K2/8/8/8/8/6R1 b - -", "h8h7");
    Move pv[PLY_SLOTS];
    std::fill(std::begin(pv), std::end(pv), Move{77});
    search_node(pos, WHITE, 2, 5, -10001, 10001, NODE_PV, pv);
    int end = 2;
    for (; end < PLY_SLOTS && pv[end]; end++) {
        ASSERT_TRUE(stored_move_valid(pos, pv[end])) << "ply " << end;
        make_move(pos, pv[end]);
    }
    EXPECT_GE(end, 4);
    EXPECT_EQ(pv[1], 77) << "nothing in front of the node is touched";
}

TEST_F(Search, CopiedLineEndsAtItsZero) {
    Move pv[PLY_SLOTS] = {}, child[PLY_SLOTS] = {};
    child[5] = 51;
    child[6] = 61;
    child[8] = 81;
    pv[4] = 41;
    pv[8] = 88;
    copy_line(pv, child, 4);
    EXPECT_EQ(pv[4], 41);
    EXPECT_EQ(pv[5], 51);
    EXPECT_EQ(pv[6], 61);
    EXPECT_EQ(pv[7], NULL_MOVE);
    EXPECT_EQ(pv[8], 88) << "what lies behind the end is not copied";
}

// The caches of the evaluation.

TEST_F(Search, CachedEvaluationsAreTheSame) {
    Random random = {3};
    SearchThread& thread = *main_thread;
    int compared = 0;
    for (int i = 0; i < 1500; i++) {
        Position& pos = set_up(random_fen(random).c_str());
        if (square_attacked(pos, pos.king_square[pos.side], pos.side ^ 1)) continue;
        const int plain = Evaluate(thread, pos.side, 1, 0); // the eval hash is not read
        uint64_t hits = relaxed(thread.eval_hits);
        EXPECT_EQ(Evaluate(thread, pos.side, 2, 0), plain);
        const int16_t pressure = thread.stack[2].threat_pressure[pos.side];
        compared += relaxed(thread.eval_hits) > hits;

        memset(thread.eval.eval_hash, 0, sizeof thread.eval.eval_hash);
        EXPECT_EQ(Evaluate(thread, pos.side, 2, 0), plain) << "with the pawn hash alone";
        memset(thread.eval.pawn_hash, 0, sizeof thread.eval.pawn_hash);
        memset(thread.eval.eval_hash, 0, sizeof thread.eval.eval_hash);
        EXPECT_EQ(Evaluate(thread, pos.side, 2, 0), plain) << "with neither";
        EXPECT_EQ(thread.stack[2].threat_pressure[pos.side], pressure);
    }
    EXPECT_GT(compared, 500);
}

TEST_F(Search, FilledCachesDoNotChangeASearch) {
    const char* const fens[] = {START_FEN,
                                "r1bqkb1r/pp1ppppp/2n2n2/8/3NP3/2N5/PPP2PPP/R1BQKB1R b KQkq -",
                                "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - -"};
    for (const char* fen : fens) {
        uint64_t cold = 0, warm = 0;
        search_nodes(fen, 6);
        warm = search_nodes(fen, 6);
        SearchThread& thread = master();
        memset(thread.eval.eval_hash, 0, sizeof thread.eval.eval_hash);
        memset(thread.eval.pawn_hash, 0, sizeof thread.eval.pawn_hash);
        cold = search_nodes(fen, 6);
        EXPECT_EQ(warm, cold) << fen;
    }
}
