// A node of the search and its move loop: limits, hash cuts, pruning, reductions, stores.

#include "search_fixture.h"

#include "board/attack.h"
#include "board/classify.h"
#include "board/legal.h"
#include "board/make.h"
#include "eval/evaluate.h"
#include "syzygy/tbprobe.h"

namespace {

class Search : public SearchTest {};

// Quiet positions for White at ply 2, after Black's king move. No capture, no pawn move and no
// check but by the queen: with the fifty-move counter at 100 every child is a draw of one node.
constexpr char PIECES_FEN[] = "6k1/8/8/8/3Q4/8/1R6/K4B2 b - -";
constexpr char FEW_FEN[] = "6k1/5p2/5P2/8/8/8/8/KN3B2 b - -";

SearchStackEntry& current(Position& pos) { return thread_of(pos).stack[pos.owner->ply]; }

Position& drawing_node(const char* fen, const char* move) {
    Position& pos = node_after(fen, move);
    pos.halfmoves = 100;
    return pos;
}

int eval_of(Position& pos) { return Evaluate(thread_of(pos), pos.side, pos.owner->ply, 0); }

// Moves thread 0's position to another ply without any moves between.
void enter_ply(Position& pos, int ply) {
    SearchThread& thread = thread_of(pos);
    for (int back : {1, 2}) {
        thread.stack[ply - back].current_move = thread.stack[1].current_move;
        thread.stack[ply - back].move_class = 0;
        thread.stack[ply - back].tb_result = -1;
    }
    thread.stack[ply].move_list = thread.stack[thread.line.ply].move_list;
    thread.stack[ply].checker_square = thread.stack[thread.line.ply].checker_square;
    thread.stack[ply].in_check = thread.stack[thread.line.ply].in_check;
    thread.line.ply = static_cast<int16_t>(ply);
}

bool is_reached(Position& pos, Move move, int depth, int alpha, int beta, int type) {
    return reduction_of(pos, move, depth, alpha, beta, type) != NOT_REACHED;
}

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

// FP: far below alpha.

TEST_F(Search, NodeFarBelowAlphaFallsIntoQuiescence) {
    Position& pos = node_after(FEW_FEN, "g8h8");
    const int eval = eval_of(pos);
    for (int depth : {1, 2, 3}) {
        int alpha = eval + 125 * depth;
        EXPECT_EQ(node_value(pos, depth, alpha, alpha + 1, NODE_CUT), alpha);
        EXPECT_EQ(current(pos).from_futility, 1) << depth;
        node_value(pos, depth, alpha - 1, alpha, NODE_CUT);
        EXPECT_EQ(current(pos).from_futility, 0) << depth;
        node_value(pos, depth, alpha, alpha + 1, NODE_PV);
        EXPECT_EQ(current(pos).from_futility, 0) << "not at a PV node";
    }
    node_value(pos, 4, eval + 2000, eval + 2001, NODE_CUT);
    EXPECT_EQ(current(pos).from_futility, 0) << "too deep";
}

TEST_F(Search, NodeStaysOutOfQuiescenceWhereTheTableSaysHigh) {
    Position& pos = node_after(FEW_FEN, "g8h8");
    const int alpha = eval_of(pos) + 500;
    plant(pos, alpha + 100, 0, BOUND_LOWER);
    node_value(pos, 1, alpha, alpha + 1, NODE_CUT);
    EXPECT_EQ(current(pos).from_futility, 0);
    plant(pos, alpha + 100, 0, BOUND_UPPER);
    node_value(pos, 1, alpha, alpha + 1, NODE_CUT);
    EXPECT_EQ(current(pos).from_futility, 1);
}

TEST_F(Search, NodeStaysOutOfQuiescenceWhereAlphaIsAMate) {
    Position& pos = node_after(FEW_FEN, "g8h8");
    node_value(pos, 1, 9798, 9799, NODE_CUT);
    EXPECT_EQ(current(pos).from_futility, 1);
    node_value(pos, 1, 9799, 9800, NODE_CUT);
    EXPECT_EQ(current(pos).from_futility, 0);
}

TEST_F(Search, FutilityValueStaysInTheWindow) {
    // The capture wins a queen: more than the window holds.
    Position& pos = node_after("6k1/8/8/3q4/4P3/8/8/K7 b - -", "g8h8");
    const int alpha = eval_of(pos) + 125;
    EXPECT_EQ(node_value(pos, 1, alpha, alpha + 1, NODE_CUT), alpha + 1);
    EXPECT_EQ(current(pos).from_futility, 1);
}

// SEP: far above beta.

TEST_F(Search, StaticValueFarAboveBetaCuts) {
    Position& pos = node_after("6k1/5ppp/8/8/8/8/5PPP/1N4K1 b - -", "g8h8");
    const int eval = eval_of(pos);
    ASSERT_EQ(current(pos).threat_pressure[WHITE], 0) << "a position without threats is needed";
    for (int depth : {1, 2, 3}) {
        int beta = eval - 75 * depth;
        set_relaxed(thread_of(pos).nodes, 0);
        EXPECT_EQ(node_value(pos, depth, beta - 1, beta, NODE_CUT), beta);
        EXPECT_EQ(nodes_of(pos), 1u) << depth;

        for (int type : {NODE_ALL, NODE_PV}) {
            node_value(pos, depth, beta - 1, beta, type);
            EXPECT_GT(nodes_of(pos), 1u) << depth;
            set_relaxed(thread_of(pos).nodes, 0);
        }
        hash_clear();
        node_value(pos, depth, beta, beta + 1, NODE_CUT);
        EXPECT_GT(nodes_of(pos), 1u) << depth;
        hash_clear();
    }
    set_relaxed(thread_of(pos).nodes, 0);
    node_value(pos, 4, eval - 1001, eval - 1000, NODE_CUT);
    EXPECT_GT(nodes_of(pos), 1u) << "too deep";
}

TEST_F(Search, ThreatsCountAgainstTheStaticCut) {
    // The black pawn attacks the knight.
    Position& pos = node_after("6k1/5ppp/8/3p4/4N3/8/5PPP/RB4K1 b - -", "g8h8");
    const int eval = eval_of(pos), threat = current(pos).threat_pressure[WHITE];
    ASSERT_GT(threat, 0);
    NMP_depth = 100;

    int beta = eval - threat - 75;
    EXPECT_EQ(node_value(pos, 1, beta - 1, beta, NODE_CUT), beta);
    EXPECT_EQ(nodes_of(pos), 1u);
    node_value(pos, 1, beta, beta + 1, NODE_CUT);
    EXPECT_GT(nodes_of(pos), 2u);
}

TEST_F(Search, StaticCutNeedsPiecesPawnsAndMaterial) {
    struct Case {
        const char* name;
        const char* fen;
        int below; // beta below the static value
        bool cut;
    };
    const Case cases[] = {
        {"plain", "6k1/5ppp/8/8/8/8/5PPP/1N4K1 b - -", 200, true},
        {"no pawn", "6k1/5pp1/8/8/8/8/8/1N1RK1Q1 b - -", 200, false},
        {"no piece", "6k1/5pp1/8/8/8/8/4PPPP/6K1 b - -", 75, false},
    };
    for (const Case& c : cases) {
        Position& pos = node_after(c.fen, "g8h8");
        NMP_depth = 100;
        int beta = eval_of(pos) - current(pos).threat_pressure[WHITE] - c.below;
        node_value(pos, 1, beta - 1, beta, NODE_CUT);
        EXPECT_EQ(nodes_of(pos) == 1, c.cut) << c.name;
    }
    // Material that stays more than 150 behind beta: the static value alone is not believed.
    Position& pos = node_after("6k1/5ppp/8/8/8/8/5PPP/6KN b - -", "g8h8");
    const int balance = 128 * 3;
    NMP_depth = 100;
    FP_depth = 0;
    sep_margins[1] = BP_margin = -20000;
    for (auto [beta, cut] : {std::pair{balance + 150, true}, {balance + 151, false}}) {
        set_relaxed(thread_of(pos).nodes, 0);
        node_value(pos, 1, beta - 1, beta, NODE_CUT);
        EXPECT_EQ(nodes_of(pos) == 1, cut) << beta;
    }
}

TEST_F(Search, StaticCutStopsAtALostBeta) {
    Position& pos = node_after("6k1/5ppp/8/8/8/8/5PPP/1N4K1 b - -", "g8h8");
    NMP_depth = 100;
    EXPECT_EQ(node_value(pos, 1, -9800, -9799, NODE_CUT), -9799);
    EXPECT_EQ(nodes_of(pos), 1u);
    node_value(pos, 1, -9801, -9800, NODE_CUT);
    EXPECT_GT(nodes_of(pos), 1u);
}

TEST_F(Search, StaticCutStopsWhereTheTableSaysLow) {
    Position& pos = node_after("6k1/5ppp/8/8/8/8/5PPP/1N4K1 b - -", "g8h8");
    const int beta = eval_of(pos) - 200;
    plant(pos, beta - 100, 0, BOUND_UPPER);
    node_value(pos, 1, beta - 1, beta, NODE_CUT);
    EXPECT_GT(nodes_of(pos), 1u);
}

TEST_F(Search, NetworkValueIsCheckedOnTheBoardBeforeItCuts) {
    struct Case {
        const char* name;
        const char* fen;
        int above; // the static value above beta
        bool cut;
    };
    const Case cases[] = {
        {"quiet", "6k1/5ppp/8/8/8/8/5PPP/1N2Q1K1 b - -", 15, true},
        {"queen hangs", "6k1/5ppp/8/8/4r3/8/5PPP/1N2Q1K1 b - -", 1000, false},
        {"rook hangs", "6k1/5ppp/8/8/4q3/8/5PPP/1N2R1K1 b - -", 499, false},
        {"rook is not looked at", "6k1/5ppp/8/8/4q3/8/5PPP/1N2R1K1 b - -", 500, true},
        {"knight hangs", "6k1/5ppp/8/8/4r3/8/5PPP/4N1K1 b - -", 299, false},
        {"knight is not looked at", "6k1/5ppp/8/8/4r3/8/5PPP/4N1K1 b - -", 300, true},
        {"pawn hangs", "6k1/5ppp/8/8/4r3/4P3/6PP/1N4K1 b - -", 99, false},
        {"pawn is not looked at", "6k1/5ppp/8/8/4r3/4P3/6PP/1N4K1 b - -", 100, true},
        {"runner on its seventh", "6k1/6pp/8/8/8/8/p4PPP/2N1Q1K1 b - -", 349, false},
        {"runner is allowed for", "6k1/6pp/8/8/8/8/p4PPP/2N1Q1K1 b - -", 350, true},
        {"runner on its sixth", "6k1/6pp/8/8/8/p7/5PPP/2N1Q1K1 b - -", 349, false},
        {"runner on its fifth", "6k1/6pp/8/8/p7/8/5PPP/2N1Q1K1 b - -", 349, true},
        {"runner is stopped", "6k1/6pp/8/8/8/8/p4PPP/N3Q1K1 b - -", 349, true},
        {"two runners", "6k1/6pp/8/8/8/p2p4/5PPP/2N1Q1K1 b - -", 699, false},
    };
    for (const Case& c : cases) {
        Position& pos = node_after(c.fen, "g8h8");
        NMP_depth = 100;
        FP_depth = 0;
        sep_margins[1] = -20000; // the first condition always holds
        set_relaxed(shell.use_nn, 1);
        int beta = eval_of(pos) - c.above;
        node_value(pos, 1, beta - 1, beta, NODE_CUT);
        EXPECT_EQ(nodes_of(pos) == 1, c.cut) << c.name;

        set_relaxed(shell.use_nn, 0);
        set_relaxed(thread_of(pos).nodes, 0);
        beta = eval_of(pos) - c.above;
        node_value(pos, 1, beta - 1, beta, NODE_CUT);
        EXPECT_EQ(nodes_of(pos), 1u) << c.name << ", without the network";
    }
}

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

TEST_F(Search, NullMoveReductionByDepthAndMaterial) {
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

TEST_F(Search, NullMoveThatFailsHighCutsUpToDepthFive) {
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

TEST_F(Search, NullMoveLeavesThePositionAsItWas) {
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

TEST_F(Search, NoNullMoveBehindANullMove) {
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

// The move loop: what becomes of late moves.

TEST_F(Search, LateQuietMovesArePrunedByCount) {
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

class LateMove : public Search, public testing::WithParamInterface<LateCase> {};

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

TEST_F(Search, SpecialMovesAreNotPrunedByCount) {
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

TEST_F(Search, CountOfLateMovesGrowsWithTheMovesScore) {
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

TEST_F(Search, LosingMovesArePruned) {
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

TEST_F(Search, MoveThatLosesSeventyIsNotALosingOne) {
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

TEST_F(Search, LosingSpecialMovesArePrunedOnlyAtDepthOne) {
    // A check by a rook that the king takes.
    Position& pos = drawing_node("7k/8/8/8/8/8/8/K4R2 b - -", "h8g8");
    current(pos).hash_move = move_at(pos, "a1b1");
    lmp_counts[1] = lmp_counts[2] = 1000;
    Move check = move_at(pos, "f1f8");
    EXPECT_FALSE(is_reached(pos, check, 1, 0, 1, NODE_CUT));
    EXPECT_TRUE(is_reached(pos, check, 2, 0, 1, NODE_CUT));
}

TEST_F(Search, NothingIsPrunedInCheck) {
    Position& pos = node_after("7k/8/8/8/8/8/r7/4K1N1 b - -", "a2a1");
    lmp_counts[0] = lmp_counts[1] = lmp_counts[2] = 0;
    moves_value(pos, 1, 5000, 5001, NODE_CUT);
    EXPECT_EQ(current(pos).move_count, legal_count(pos));
}

TEST_F(Search, NothingIsPrunedOrReducedWhileOnlyALossIsProven) {
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

TEST_F(Search, ReductionsComeFromRowThirtyAtMost) {
    Position& pos = drawing_node(PIECES_FEN, "g8h7");
    fill_reductions([](int depth, int) { return depth == 29 ? 1 : depth == 30 ? 4 : 8; });
    Move late = search_order(pos).back().move;
    for (auto [depth, reduction] : {std::pair{29, 1}, {30, 4}, {31, 4}, {32, 4}, {60, 4}}) {
        EXPECT_EQ(reduction_of(pos, late, depth, 0, 1, NODE_PV), reduction) << depth;
        EXPECT_EQ(reduction_of(pos, late, depth, 0, 1, NODE_CUT), reduction + 1) << depth;
        EXPECT_EQ(reduction_of(pos, late, depth, 0, 1, NODE_ALL), reduction + 1) << depth;
    }
}

TEST_F(Search, ColumnIsTheNumberOfTheMoveThirtyAtMost) {
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

TEST_F(Search, WellScoredMoveIsReducedAsTheSecond) {
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

TEST_F(Search, LosingMoveIsReducedOnePlyMore) {
    Position& pos = drawing_node("7k/8/2p5/8/8/2N5/8/K7 b - -", "h8g8");
    fill_reductions([](int, int) { return 2; });
    SearchStackEntry& entry = current(pos);
    entry.hash_move = move_at(pos, "a1b1");
    EXPECT_EQ(reduction_of(pos, move_at(pos, "c3d5"), 20, 0, 1, NODE_PV), 3);
    EXPECT_EQ(reduction_of(pos, move_at(pos, "c3e4"), 20, 0, 1, NODE_PV), 2);
    EXPECT_EQ(reduction_of(pos, move_at(pos, "c3d5"), 20, 0, 1, NODE_CUT), 4);
}

TEST_F(Search, OnePlyOfDepthIsLeftAtLeast) {
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

TEST_F(Search, ReductionsBeginAtTheirDepth) {
    Position& pos = drawing_node(PIECES_FEN, "g8h7");
    Move late = search_order(pos).back().move;
    LMP_depth = 0;
    EXPECT_EQ(reduction_of(pos, late, 2, 0, 1, NODE_CUT), 0);
    EXPECT_GT(reduction_of(pos, late, 3, 0, 1, NODE_CUT), 0);
    LMR_depth = 5;
    EXPECT_EQ(reduction_of(pos, late, 4, 0, 1, NODE_CUT), 0);
    EXPECT_GT(reduction_of(pos, late, 5, 0, 1, NODE_CUT), 0);
}

TEST_F(Search, SelectivityZeroSearchesEveryMoveAtFullDepth) {
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

TEST_F(Search, ReducedMoveThatFailsHighIsSearchedAgainAtFullDepth) {
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
