// Pruning before the moves: futility far below alpha, static cuts far above beta.

#include "node_support.h"

namespace {

class Pruning : public SearchTest {};

} // namespace

// FP: far below alpha.

TEST_F(Pruning, NodeFarBelowAlphaFallsIntoQuiescence) {
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

TEST_F(Pruning, NodeStaysOutOfQuiescenceWhereTheTableSaysHigh) {
    Position& pos = node_after(FEW_FEN, "g8h8");
    const int alpha = eval_of(pos) + 500;
    plant(pos, alpha + 100, 0, BOUND_LOWER);
    node_value(pos, 1, alpha, alpha + 1, NODE_CUT);
    EXPECT_EQ(current(pos).from_futility, 0);
    plant(pos, alpha + 100, 0, BOUND_UPPER);
    node_value(pos, 1, alpha, alpha + 1, NODE_CUT);
    EXPECT_EQ(current(pos).from_futility, 1);
}

TEST_F(Pruning, NodeStaysOutOfQuiescenceWhereAlphaIsAMate) {
    Position& pos = node_after(FEW_FEN, "g8h8");
    node_value(pos, 1, 9798, 9799, NODE_CUT);
    EXPECT_EQ(current(pos).from_futility, 1);
    node_value(pos, 1, 9799, 9800, NODE_CUT);
    EXPECT_EQ(current(pos).from_futility, 0);
}

TEST_F(Pruning, FutilityValueStaysInTheWindow) {
    // The capture wins a queen: more than the window holds.
    Position& pos = node_after("6k1/8/8/3q4/4P3/8/8/K7 b - -", "g8h8");
    const int alpha = eval_of(pos) + 125;
    EXPECT_EQ(node_value(pos, 1, alpha, alpha + 1, NODE_CUT), alpha + 1);
    EXPECT_EQ(current(pos).from_futility, 1);
}

// SEP: far above beta.

TEST_F(Pruning, StaticValueFarAboveBetaCuts) {
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

TEST_F(Pruning, ThreatsCountAgainstTheStaticCut) {
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

TEST_F(Pruning, StaticCutNeedsPiecesPawnsAndMaterial) {
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

TEST_F(Pruning, StaticCutStopsAtALostBeta) {
    Position& pos = node_after("6k1/5ppp/8/8/8/8/5PPP/1N4K1 b - -", "g8h8");
    NMP_depth = 100;
    EXPECT_EQ(node_value(pos, 1, -9800, -9799, NODE_CUT), -9799);
    EXPECT_EQ(nodes_of(pos), 1u);
    node_value(pos, 1, -9801, -9800, NODE_CUT);
    EXPECT_GT(nodes_of(pos), 1u);
}

TEST_F(Pruning, StaticCutStopsWhereTheTableSaysLow) {
    Position& pos = node_after("6k1/5ppp/8/8/8/8/5PPP/1N4K1 b - -", "g8h8");
    const int beta = eval_of(pos) - 200;
    plant(pos, beta - 100, 0, BOUND_UPPER);
    node_value(pos, 1, beta - 1, beta, NODE_CUT);
    EXPECT_GT(nodes_of(pos), 1u);
}

TEST_F(Pruning, NetworkValueIsCheckedOnTheBoardBeforeItCuts) {
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
