// Which positions go to the network, what is added to its score, and whose scores the eval hash
// keeps.

#include "eval/evaluate.h"
#include "nn_support.h"
#include "search/thread.h"

namespace {

using NetworkChoice = NetworkTest;
using NetworkHash = NetworkTest;

} // namespace

namespace {

struct Choice {
    const char* name;
    const char* fen;
    bool network;
};

} // namespace

TEST_F(NetworkChoice, DependsOnMaterialAlone) {
    const Choice cases[] = {
        {"start", START_FEN, true},
        {"rook against nothing", "4k3/8/8/8/8/8/8/R3K3 w - -", false},
        {"nothing against rook", "4k3/8/8/8/8/8/8/R3K3 b - -", false},
        {"queen and pawns against nothing", "4k3/8/8/8/8/8/PPPPPPPP/3QK3 w - -", false},
        {"pawn ending", "4k3/pppp4/8/8/8/8/PPPP4/4K3 w - -", true},
        {"one pawn", "4k3/8/8/8/8/8/P7/4K3 w - -", false},
        {"two pawns", "4k3/p7/8/8/8/8/P7/4K3 w - -", true},
        {"one pawn and a knight each", "4k1n1/8/8/8/8/8/P7/4K1N1 w - -", true},
        {"knight against bishop", "4k1n1/8/8/8/8/8/8/4K1B1 w - -", false},
        {"rook against bishop", "4k1b1/8/8/8/8/8/8/4K1R1 w - -", true},
        {"rook against knight and bishop", "4k1r1/8/8/8/8/8/8/4KBN1 w - -", true},
        {"white ahead by 4", "4k2r/8/8/8/8/8/8/R2RK3 w - -", false},
        {"white ahead by 3", "4kbnr/8/8/8/8/8/8/R2RKB1N w - -", true},
        {"black ahead by 4", "r2rk3/8/8/8/8/8/8/4K2R w - -", false},
        {"behind with 10 units", "4kq2/8/8/8/8/8/8/Q2QK3 w - -", false},
        {"behind with 11 units", "4krbn/8/8/8/8/8/8/Q2QK3 w - -", true},
    };
    NetworkFile net = constant_rows(10000, 10000, 10000); // 2.0: 333
    load(net);
    active_personality.contempt_taper = 0;
    for (const Choice& c : cases) {
        Position& pos = set_up(c.fen);
        main_thread->eval.nn_score = -1;
        Evaluate(*main_thread, pos.side, 1, 0);
        EXPECT_EQ(main_thread->eval.nn_score == 333, c.network) << c.name;
    }
    main_thread->eval.nn_score = -1;
    set_relaxed(shell.use_nn, 0);
    Evaluate(*main_thread, set_up(START_FEN).side, 1, 0);
    EXPECT_EQ(main_thread->eval.nn_score, -1) << "switched off";
    EXPECT_EQ(Evaluate(*main_thread, WHITE, 1, 1), NO_EVAL);
}

TEST_F(NetworkChoice, ContemptAndTheFiftyMoveRuleFollow) {
    load(constant_rows(10000, 10000, 10000));
    Position& pos = set_up(START_FEN);
    engine.target_time = 1.0f;
    engine.root_side = WHITE;
    active_personality.Contempt = 20;
    active_personality.contempt_taper = 0;
    EXPECT_EQ(Evaluate(*main_thread, WHITE, 1, 0), 333 + 20);
    engine.root_side = BLACK;
    EXPECT_EQ(Evaluate(*main_thread, WHITE, 1, 0), 333 - 20);
    engine.target_time = ANALYSIS_SECONDS;
    pos.halfmoves = 100;
    EXPECT_EQ(Evaluate(*main_thread, WHITE, 1, 0), 333 - 333 * 100 / 256);
}

namespace {

// The game's thread with the network's score, 333, in its eval hash.
SearchThread& scored_thread() {
    const Position& pos = set_up(MIDDLEGAME_FEN);
    engine.target_time = ANALYSIS_SECONDS;
    SearchThread& thread = *main_thread;
    refresh_eval_tables(thread);
    thread.line.ply = 2;
    EXPECT_EQ(Evaluate(thread, pos.side, 2, 0), 333);
    return thread;
}

} // namespace

TEST_F(NetworkHash, ChangesOfTheSwitchEmptyIt) {
    load(constant_rows(10000, 10000, 10000));
    SearchThread& thread = scored_thread();
    const Position& pos = thread.position;
    set_relaxed(shell.use_nn, 0);
    int hce = Evaluate(thread, pos.side, 1, 0);
    set_relaxed(shell.use_nn, 1);
    EXPECT_EQ(Evaluate(thread, pos.side, 2, 0), 333);
    set_relaxed(shell.use_nn, 0);
    EXPECT_EQ(Evaluate(thread, pos.side, 2, 0), hce);
}

TEST_F(NetworkHash, AnotherNetworkEmptiesIt) {
    load(constant_rows(10000, 10000, 10000));
    SearchThread& thread = scored_thread();
    const Position& pos = thread.position;
    load(constant_rows(5000, 5000, 5000));
    refresh_eval_tables(thread); // as at the start of a search
    EXPECT_EQ(Evaluate(thread, pos.side, 2, 0), 166);
}
