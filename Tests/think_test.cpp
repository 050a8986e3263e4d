// One think from its preparation to its answer: the think fields, the time plan, searches on the
// calling thread, and positions that are not searched.
//
// Pins internals: the fields of EngineState that a think resets, and the seconds that it plans.

#include "shell/think.h"

#include "search/hash.h"
#include "search/limits.h"
#include "search/thread.h"
#include "shell_fixture.h"

namespace {

class PrepareSearch : public ShellTest {};

// The time plan, with the plain settings of a strong machine without pondering.
class TimePlan : public ShellTest {
protected:
    void SetUp() override {
        ShellTest::SetUp();
        engine.calibration_elo = 3000.0f;
        set_limits({.control = SUDDEN_DEATH});
        active_personality.Ponder = 0;
    }

    static float plan(float clock, int moves_played = 0) {
        engine.clock[game().side] = clock;
        main_thread->line.undo_index = static_cast<int16_t>(moves_played);
        printed_by([] { prepare_search(); });
        main_thread->line.undo_index = 0;
        return engine.target_time;
    }
};

constexpr char KNIGHTS_OUT_AND_BACK[] = "g1f3 g8f6 f3g1 f6g8 ";

std::string shuffle(int plies) {
    std::string moves;
    for (int i = 0; i < plies; i++) moves += std::string(KNIGHTS_OUT_AND_BACK).substr(i % 4 * 5, 5);
    return "position startpos moves " + moves;
}

// What the program says to a position and a `go`.
std::vector<std::string> think(const std::string& position, const std::string& go) {
    int status = -1;
    Program program = run_with_input({}, position + "\n" + go + "\n", &status, 60000);
    EXPECT_EQ(status, 0);
    return program.lines;
}

} // namespace

TEST_F(PrepareSearch, HashAgeRunsFromOneToThirtyOneAndAround) {
    for (int round = 0; round < 2; round++)
        for (int age = 1; age <= 31; age++) {
            printed_by([] { prepare_search(); });
            EXPECT_EQ(engine.hash_age, age);
        }
}

TEST_F(PrepareSearch, ResetsTheFieldsOfTheThink) {
    uci("position startpos moves e2e4");
    active_personality.MultiPV = 3;
    active_personality.MoveOverhead = 30;
    set_relaxed(engine.elapsed, 9.0f);
    engine.pv[1] = 1;
    engine.ncnt[2] = 5;
    set_relaxed(engine.iteration_depth, 9);
    set_relaxed(engine.result_depth, 9);
    for (int i = 0; i < PLY_SLOTS; i++) {
        set_relaxed(engine.iteration_score[i], 1);
        set_relaxed(engine.iteration_move[i], 1);
        engine.iteration_nodes[i] = 1;
    }
    main_thread->line.ply = 7;

    EXPECT_EQ(joined(printed_by([] { prepare_search(); })), "");

    EXPECT_EQ(relaxed(engine.elapsed), 0.0f);
    EXPECT_EQ(main_thread->line.ply, 1);
    EXPECT_EQ(engine.root_side, BLACK);
    EXPECT_EQ(relaxed(engine.best_score), -10000);
    EXPECT_EQ(engine.pv[1], NULL_MOVE);
    EXPECT_EQ(engine.ponder_enabled, 1);
    EXPECT_EQ(engine.multipv, 3);
    EXPECT_FLOAT_EQ(engine.move_overhead, 0.03f);
    EXPECT_EQ(engine.ncnt[2], 0);
    EXPECT_EQ(relaxed(engine.iteration_depth), 0);
    EXPECT_EQ(relaxed(engine.result_depth), 0);
    for (int i = 0; i < PLY_SLOTS; i++) {
        EXPECT_EQ(relaxed(engine.iteration_score[i]), -10001);
        EXPECT_EQ(relaxed(engine.iteration_move[i]), 0);
        EXPECT_EQ(engine.iteration_nodes[i], 0u);
    }
}

TEST_F(PrepareSearch, ScoreBeyondTheFiftyMoveLimitIsADraw) {
    game().halfmoves = 100;
    printed_by([] { prepare_search(); });
    EXPECT_EQ(relaxed(engine.best_score), -10000);
    game().halfmoves = 101;
    printed_by([] { prepare_search(); });
    EXPECT_EQ(relaxed(engine.best_score), 0);
}

TEST_F(PrepareSearch, ADirtyEvaluationIsRebuilt) {
    active_personality.eval_dirty = 1;
    EXPECT_EQ(joined(printed_by([] { prepare_search(); })), "info string setting eval params...\n");
    EXPECT_EQ(active_personality.eval_dirty, 0);
}

TEST_F(PrepareSearch, InConsoleModeTheThinkIsPrinted) {
    uci("position startpos moves e2e4 e7e5 g1f3 g8f6");
    set_relaxed(shell.uci_mode, 0);
    set_limits({.move_time = 2.5f});
    EXPECT_EQ(joined(printed_by([] { prepare_search(); })),
              "fen rnbqkb1r/pppp1ppp/5n2/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R w KQkq - 2 4\n"
              "Ply= 4, cnt50= 2, Clock= 2.50s, Target time= 2.50s\n");

    shell.noise = NOISE_QUIET;
    EXPECT_EQ(joined(printed_by([] { prepare_search(); })), "");
}

TEST_F(PrepareSearch, InUciModeTheThinkGoesToTheLogOnly) {
    MemoryLog log;
    active_personality.Log = 1;
    set_limits({.move_time = 2.5f});
    EXPECT_EQ(joined(printed_by([] { prepare_search(); })), "");
    EXPECT_EQ(joined(log.lines()),
              "info string fen rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 0\n"
              "info string ply= 0, trg_time= 2.500 sec\n");
}

TEST_F(PrepareSearch, BranchingFactorIsTheFourthRootOverFourIterations) {
    for (int depth : {6, 12, 66}) {
        engine.iteration_finished = static_cast<int8_t>(depth);
        engine.iteration_nodes[depth] = 8100;
        engine.iteration_nodes[depth - 4] = 100;
        EXPECT_FLOAT_EQ(branching_factor(), 3.0f) << depth;
    }
}

TEST_F(PrepareSearch, BranchingFactorIsTwoWhereItIsUnknown) {
    for (uint64_t& nodes : engine.iteration_nodes) nodes = 1000;
    for (int depth = 0; depth <= 5; depth++) {
        engine.iteration_finished = static_cast<int8_t>(depth);
        EXPECT_EQ(branching_factor(), 2.0f) << depth;
    }
    engine.iteration_finished = 8;
    EXPECT_EQ(branching_factor(), 1.0f);
    engine.iteration_nodes[4] = 0;
    EXPECT_EQ(branching_factor(), 2.0f);
    engine.iteration_nodes[4] = 1000;
    engine.iteration_nodes[8] = 0;
    EXPECT_EQ(branching_factor(), 2.0f);
}

TEST_F(TimePlan, SuddenDeathSharesTheClockAmongThirtyThreeMoves) {
    EXPECT_FLOAT_EQ(plan(60), 60.0f / 33);
    EXPECT_EQ(engine.moves_to_go, 32);
}

TEST_F(TimePlan, SharesGrowOverTheFirstTwentyPlies) {
    EXPECT_FLOAT_EQ(plan(60, 1), 60.0f / 33);
    EXPECT_FLOAT_EQ(plan(60, 2), 60.0f / 32);
    EXPECT_FLOAT_EQ(plan(60, 10), 60.0f / 28);
    EXPECT_FLOAT_EQ(plan(60, 19), 60.0f / 24);
    EXPECT_FLOAT_EQ(plan(60, 20), 60.0f / 24);
    EXPECT_FLOAT_EQ(plan(60, 300), 60.0f / 24);
    EXPECT_EQ(engine.moves_to_go, 23);
}

TEST_F(TimePlan, PonderingAllowsAThirdMore) {
    active_personality.Ponder = 1;
    EXPECT_NEAR(plan(60), 60.0 / 33 * 1.3, 1e-5);
}

TEST_F(TimePlan, AWeakEngineTakesLess) {
    active_personality.Ponder = 1;
    engine.calibration_elo = 2399.9f;
    EXPECT_NEAR(plan(60), 60.0 / 33 * 1.3 * 0.85, 1e-5);
    engine.calibration_elo = 2400.0f;
    EXPECT_NEAR(plan(60), 60.0 / 33 * 1.3, 1e-5);
}

TEST_F(TimePlan, ALimitedEngineCountsAsWeak) {
    engine.calibration_nps = 1000000.0f;
    active_personality.UCI_LimitStrength = 1;
    active_personality.UCI_Elo = 1800;
    EXPECT_NEAR(plan(60), 60.0 / 33 * 0.85, 1e-5);
}

TEST_F(TimePlan, AnIncrementIsAddedInPart) {
    set_limits({.time_increment = 1.0f});
    EXPECT_NEAR(plan(60), 60.0 / 33 + 60.0 / 62, 1e-5);
    active_personality.Ponder = 1;
    EXPECT_NEAR(plan(60), 60.0 / 33 * 1.3 + 60.0 / 62, 1e-5) << "behind the factors";
}

TEST_F(TimePlan, MovesToGoShareTheClock) {
    set_limits({.control = 40});
    active_personality.Ponder = 1;
    set_limits({.moves_to_go = 39});
    EXPECT_NEAR(plan(60, 100), 60.0 / 40 * 1.3, 1e-5) << "the moves played do not matter";
    EXPECT_EQ(engine.moves_to_go, 39);
    set_limits({.moves_to_go = 3});
    EXPECT_NEAR(plan(60), 60.0 / 4 * 1.3, 1e-5);
    set_limits({.moves_to_go = 2});
    EXPECT_NEAR(plan(60), 60.0 / 3, 1e-5) << "a short horizon gets no bonus";
}

TEST_F(TimePlan, TheTargetIsCapped) {
    set_limits({.control = 40, .moves_to_go = 0});
    EXPECT_NEAR(plan(60), 60 * 0.65 - 0.05 * 5, 1e-4);
    active_personality.MoveOverhead = 1000;
    EXPECT_NEAR(plan(60), 60 * 0.65 - 5.0, 1e-4);
}

TEST_F(TimePlan, TheTargetIsNeverBelowTwoMilliseconds) {
    EXPECT_FLOAT_EQ(plan(0), 0.002f);
    EXPECT_FLOAT_EQ(plan(0.01f), 0.002f);
    set_limits({.time_increment = 1.0f});
    EXPECT_FLOAT_EQ(plan(0), 0.002f);
    active_personality.MoveOverhead = 5000;
    EXPECT_FLOAT_EQ(plan(10), 0.002f);
}

TEST_F(TimePlan, AConsolePeriodIsCountedFromTheMovesPlayed) {
    set_relaxed(shell.uci_mode, 0);
    set_limits({.control = 40});
    EXPECT_FLOAT_EQ(plan(300, 0), 300.0f / 41);
    EXPECT_EQ(engine.moves_to_go, 40);
    EXPECT_FLOAT_EQ(plan(300, 10), 300.0f / 36);
    EXPECT_FLOAT_EQ(plan(300, 78), 300.0f / 2);
    EXPECT_EQ(engine.moves_to_go, 1);
    EXPECT_FLOAT_EQ(plan(300, 80), 300.0f / 41);
}

TEST_F(TimePlan, AFixedTimeIsTheTargetAndTheMoversClock) {
    set_limits({.move_time = 7.5f, .black_clock = 3.0f});
    EXPECT_EQ(plan(60), 7.5f);
    EXPECT_EQ(engine.clock[WHITE], 7.5f);
    EXPECT_EQ(engine.clock[BLACK], 3.0f);
}

TEST_F(TimePlan, TheClockOfTheSideToMoveCounts) {
    uci("position startpos moves e2e4");
    set_limits({.white_clock = 1.0f});
    EXPECT_FLOAT_EQ(plan(60), 60.0f / 33);
}

namespace {

class SearchHere : public ShellTest {};

} // namespace

TEST_F(SearchHere, LeavesTheResultAndAnIdleEngine) {
    shell.noise = NOISE_QUIET;
    set_limits({.depth = 3, .move_time = UNLIMITED_SECONDS});
    int age = engine.hash_age;
    search_here();
    EXPECT_EQ(relaxed(engine.result_depth), 3);
    EXPECT_NE(engine.pv[1], NULL_MOVE);
    EXPECT_EQ(engine.hash_age, age + 1) << "the think was prepared";
    EXPECT_GT(relaxed(engine.elapsed), 0.0f);
    EXPECT_EQ(relaxed(engine.stop), 0);
    EXPECT_EQ(relaxed(engine.game_state), STATE_IDLE);
    hash_clear();
}

TEST_F(SearchHere, WithoutThreadsThereIsNoSearch) {
    shell.noise = NOISE_QUIET;
    set_limits({.depth = 3, .move_time = UNLIMITED_SECONDS});
    engine.num_threads = 0;
    search_here();
    EXPECT_EQ(relaxed(engine.result_depth), 0);
    EXPECT_EQ(engine.pv[1], NULL_MOVE);
    EXPECT_EQ(relaxed(engine.game_state), STATE_IDLE);
}

TEST(ThinkEnd, BeyondTheFiftyMoveLimitThereIsNoSearch) {
    for (const char* go : {"go depth 5", "go ponder depth 5"}) {
        std::vector<std::string> lines = think(shuffle(101), go);
        EXPECT_EQ(count_lines(lines, "bestmove"), 1);
        EXPECT_TRUE(has_line(lines, "bestmove null")) << joined(lines);
        EXPECT_EQ(count_lines(lines, "info depth"), 0);
    }
}

TEST(ThinkEnd, AtTheFiftyMoveLimitTheSearchStillRuns) {
    std::vector<std::string> lines = think(shuffle(100), "go depth 5");
    EXPECT_EQ(count_lines(lines, "bestmove "), 1);
    EXPECT_FALSE(has_line(lines, "bestmove null")) << joined(lines);
}

TEST(ThinkEnd, MateAndStalemateHaveNoMove) {
    for (const char* fen : {"7k/6Q1/6K1/8/8/8/8/8 b - -", "7k/5Q2/6K1/8/8/8/8/8 b - -"}) {
        std::vector<std::string> lines = think(std::string("position fen ") + fen, "go depth 5");
        EXPECT_EQ(count_lines(lines, "bestmove"), 1);
        EXPECT_TRUE(has_line(lines, "bestmove null")) << joined(lines);
    }
}

namespace {

struct HeldCase {
    const char* name; // becomes part of the test's name
    const char* fen;
    const char* reason;
};

void PrintTo(const HeldCase& c, std::ostream* out) { *out << c.name; }

class HeldPosition : public testing::TestWithParam<HeldCase> {};

} // namespace

TEST_P(HeldPosition, IsNotSearchedAndTheReasonIsTold) {
    const HeldCase& c = GetParam();
    std::vector<std::string> lines = think(std::string("position fen ") + c.fen,
                                           "go depth 4\nposition startpos\nisready\ngo depth 2");
    bool told = false;
    for (const std::string& line : lines)
        told |=
            line.compare(0, 12, "info string ") == 0 && line.find(c.reason) != std::string::npos;
    EXPECT_TRUE(told) << joined(lines);
    EXPECT_TRUE(has_line(lines, "bestmove null")) << joined(lines);
    EXPECT_EQ(count_lines(lines, "bestmove "), 2) << "the next position is searched";
}

INSTANTIATE_TEST_SUITE_P(
    Table, HeldPosition,
    testing::Values(
        HeldCase{"EmptyBoard", "8/8/8/8/8/8/8/8 w - -", "king"},
        HeldCase{"NoBlackKing", "8/8/8/8/8/8/8/4K3 w - -", "black"},
        HeldCase{"NoWhiteKing", "4k3/8/8/8/8/8/8/8 b - -", "white"},
        HeldCase{"TwoWhiteKings", "4k3/8/8/8/8/8/8/K3K3 w - -", "white"},
        HeldCase{"TwoBlackKings", "k3k3/8/8/8/8/8/8/4K3 b - -", "black"},
        HeldCase{"SixtyFourPieces",
                 "qqqqqqqq/qqqqqqqq/qqqqqqqq/qqqqkqqq/QQQQKQQQ/QQQQQQQQ/QQQQQQQQ/QQQQQQQQ w - -",
                 "more than 16"},
        HeldCase{"SeventeenWhitePieces", "4k3/8/8/8/8/P7/PPPPPPPP/RNBQKBNR w KQ -", "more than 16"},
        HeldCase{"SideNotToMoveInCheck", "4k3/4R3/8/8/8/8/8/4K3 w - -", "check"},
        HeldCase{"KingsSideBySide", "8/8/8/3kK3/8/8/8/8 w - -", "check"},
        HeldCase{"Noise", "hello world", "king"}),
    [](const auto& test) { return test.param.name; });

TEST(ThinkEnd, SixteenPiecesASideAreNotRefused) {
    std::vector<std::string> lines =
        think("position fen qqqqkqqq/qqqqqqqq/8/8/8/8/QQQQQQQQ/QQQQKQQQ w - -", "go infinite");
    EXPECT_EQ(count_lines(lines, "bestmove "), 1);
    EXPECT_EQ(joined(lines).find("more than 16"), std::string::npos);
}

TEST(ThinkEnd, TheConsoleSumsTheThinkUp) {
    Program program = start_program({"-c"});
    send(program, "new");
    send(program, "go 4");
    ASSERT_NE(wait_for(program, "move= ", 60000), "");
    ASSERT_NE(wait_for(program, "Hash fill= ", 60000), "");
    EXPECT_EQ(quit_program(program), 0);
    EXPECT_EQ(count_lines(program, "bestmove"), 0);
    EXPECT_EQ(count_lines(program, "info depth"), 0);
    for (const std::string& line : program.lines) {
        int score = 0;
        double time = 0, nodes = 0, nps = 0, ebf = 0, fill = 0, main = 0, pawn = 0, eval = 0,
               tb = 0;
        char move[16] = "";
        if (line.compare(0, 6, "move= ") == 0) {
            EXPECT_EQ(
                sscanf(line.c_str(),
                       "move= %15[a-h1-8], time= %lf, score= %d, nodes= %lf, nps= %lfK ebf= %lf",
                       move, &time, &score, &nodes, &nps, &ebf),
                6)
                << line;
            EXPECT_GT(nodes, 0);
            // As far as the rounding of the time and of the speed lets one see.
            const double seconds = time + 0.001;
            EXPECT_NEAR(nps * 1000 * seconds, nodes, 0.5 * nps + 500 * seconds + 1) << line;
        }
        if (line.compare(0, 10, "Hash fill=") == 0) {
            EXPECT_EQ(
                sscanf(
                    line.c_str(),
                    "Hash fill= %lf%%, Hash hits: main= %lf%%, pawn= %lf%%, eval= %lf%%, TB=%lfK",
                    &fill, &main, &pawn, &eval, &tb),
                5)
                << line;
            EXPECT_GT(main, 0) << line;
            for (double share : {fill, main, pawn, eval}) EXPECT_LT(share, 100) << line;
        }
    }
}

TEST(ThinkEnd, ConsoleMovesAreMadeOnTheBoard) {
    Program program = start_program({"-c"});
    for (const char* line : {"new", "set depth 2", "set level 1 5 0", "mv"}) send(program, line);
    ASSERT_NE(wait_for(program, "Hash fill= ", 60000), "");
    ASSERT_NE(wait_for(program, "black", 60000), "") << "the board after the move";
    EXPECT_EQ(quit_program(program), 0);
}
