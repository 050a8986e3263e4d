// The time policy: the target of a think, and the test that ends it.

#include "search_fixture.h"

#include "base/platform.h"
#include "search/timing.h"

namespace {

class Timing : public SearchTest {
protected:
    void SetUp() override {
        SearchTest::SetUp();
        active_personality.UCI_Elo = 2800;
        engine.ponder_enabled = 0;
        engine.move_overhead = 0.0f;
        engine.moves_per_control = 0;
        engine.root_side = WHITE;
    }
};

float planned(float clock, int moves) {
    engine.clock[WHITE] = clock;
    plan_time(moves);
    return engine.target_time;
}

} // namespace

// The target time.

TEST_F(Timing, SuddenDeathSharesTheClockAmongFewerMovesAsTheOpeningGoes) {
    for (int moves = 0; moves < 200; moves++) {
        int divisor = moves < 20 ? 33 - moves / 2 : 24;
        EXPECT_FLOAT_EQ(planned(60.0f, moves), 60.0f / static_cast<float>(divisor)) << moves;
        EXPECT_EQ(engine.moves_to_go, divisor - 1);
    }
}

TEST_F(Timing, FixedTimeIsTakenAsItIs) {
    engine.moves_per_control = 1;
    engine.time_base = 3.5f;
    engine.ponder_enabled = 1;
    engine.move_overhead = 1.0f;
    active_personality.UCI_Elo = 1000;
    EXPECT_FLOAT_EQ(planned(60.0f, 4), 3.5f);
    EXPECT_FLOAT_EQ(engine.clock[WHITE], 3.5f);
    engine.time_base = 0.0001f;
    EXPECT_FLOAT_EQ(planned(60.0f, 4), 0.0001f) << "no least time here";
}

TEST_F(Timing, PonderingAddsWhereManyMovesAreLeft) {
    engine.ponder_enabled = 1;
    EXPECT_FLOAT_EQ(planned(60.0f, 0), 60.0f / 33 * 1.3f);

    engine.moves_per_control = 40;
    for (auto [to_go, factor] : {std::pair{2, 1.0f}, {3, 1.3f}, {20, 1.3f}}) {
        engine.moves_to_go = static_cast<int16_t>(to_go);
        EXPECT_FLOAT_EQ(planned(60.0f, 0), 60.0f / static_cast<float>(to_go + 1) * factor);
    }
}

TEST_F(Timing, WeakMachinesTakeLess) {
    for (auto [elo, factor] : {std::pair<int16_t, float>{2399, 0.85f}, {2400, 1.0f}, {0, 0.85f}}) {
        active_personality.UCI_Elo = elo;
        EXPECT_FLOAT_EQ(planned(66.0f, 0), 2.0f * factor) << elo;
    }
    active_personality.UCI_Elo = 2000;
    engine.ponder_enabled = 1;
    EXPECT_FLOAT_EQ(planned(60.0f, 0), 60.0f / 33 * 1.3f * 0.85f);
}

TEST_F(Timing, IncrementIsAddedAsFarAsTheClockAllows) {
    engine.time_increment = 2.0f;
    EXPECT_FLOAT_EQ(planned(66.0f, 0), 2.0f + 2.0f * (66.0f / 70.0f));
    EXPECT_FLOAT_EQ(planned(1.0f, 40), 1.0f / 24 + 2.0f * (1.0f / 5.0f));
    engine.time_increment = -2.0f;
    EXPECT_FLOAT_EQ(planned(66.0f, 0), 2.0f);
}

TEST_F(Timing, TargetIsCappedByTheClock) {
    engine.time_increment = 60.0f;
    engine.move_overhead = 0.05f;
    EXPECT_FLOAT_EQ(planned(1.0f, 0), 1.0f * 0.65f - 0.25f);
    engine.time_increment = 0.0f;
    engine.moves_per_control = 40;
    engine.moves_to_go = 0;
    EXPECT_FLOAT_EQ(planned(10.0f, 0), 10.0f * 0.65f - 0.25f) << "the last move of a period";
}

TEST_F(Timing, TargetNeverFallsBelowTwoMilliseconds) {
    for (float clock : {0.0f, 0.001f, 0.03f}) EXPECT_FLOAT_EQ(planned(clock, 0), 0.002f) << clock;
    engine.move_overhead = 5.0f;
    EXPECT_FLOAT_EQ(planned(30.0f, 0), 0.002f);
}

TEST_F(Timing, ProtocolTellsTheMovesToGo) {
    engine.moves_per_control = 40;
    for (int to_go : {1, 2, 5, 39}) {
        engine.moves_to_go = static_cast<int16_t>(to_go);
        EXPECT_FLOAT_EQ(planned(60.0f, 17), 60.0f / static_cast<float>(to_go + 1));
        EXPECT_EQ(engine.moves_to_go, to_go);
    }
    for (int to_go : {-1, -2, -40}) { // nonsense is no divisor
        engine.moves_to_go = static_cast<int16_t>(to_go);
        EXPECT_FLOAT_EQ(planned(60.0f, 17), 60.0f * 0.65f);
    }
}

TEST_F(Timing, ConsoleCountsTheMovesOfThePeriod) {
    set_relaxed(shell.uci_mode, 0);
    engine.moves_per_control = 40;
    for (auto [moves, to_go] : {std::pair{0, 40}, {1, 40}, {2, 39}, {78, 1}, {79, 1}, {80, 40}}) {
        EXPECT_FLOAT_EQ(planned(60.0f, moves),
                        std::min(60.0f / static_cast<float>(to_go + 1), 60.0f * 0.65f));
        EXPECT_EQ(engine.moves_to_go, to_go) << moves;
    }
}

TEST_F(Timing, ClockOfTheSideToMoveCounts) {
    engine.root_side = BLACK;
    engine.clock[WHITE] = 1.0f;
    engine.clock[BLACK] = 66.0f;
    plan_time(0);
    EXPECT_FLOAT_EQ(engine.target_time, 2.0f);
}

// The end of a think.

namespace {

// A timed think of 100 seconds in iteration 8 that gives no reason to stop or to go on: White to
// move with 1,000 seconds, a steady score, a best move of four iterations ago.
class Clock : public Timing {
protected:
    void SetUp() override {
        Timing::SetUp();
        root_of(START_FEN);
        engine.moves_per_control = 0;
        engine.clock[WHITE] = 1000.0f;
        engine.target_time = 100.0f;
        engine.move_overhead = 0.0f;
        engine.num_threads = 1;
        set_relaxed(engine.game_state, STATE_THINKING);
        set_relaxed(engine.iteration_depth, 8);
        set_relaxed(engine.result_depth, 8);
        set_relaxed(engine.best_score, 50);
        for (auto& score : engine.iteration_score) set_relaxed(score, 50);
        set_relaxed(engine.best_move_depth, 4);
        set_relaxed(engine.single_move, 0);
        set_relaxed(master().root_fail, 0);
        set_relaxed(engine.stop, 0);
    }
};

// Tells whether a check stops the think when that many seconds have passed.
bool stops_at(double seconds) {
    think_start = monotonic_seconds() - seconds;
    set_relaxed(engine.stop, 0);
    check_time();
    return relaxed(engine.stop) != 0;
}

// Tells whether a check lets the think go on. A busy machine may look too late, so one of several
// looks is enough.
bool goes_on_at(double seconds) {
    for (int look = 0; look < 20; look++)
        if (!stops_at(seconds)) return true;
    return false;
}

// The limit in force, found by bisection to a tenth of a second.
double time_limit() {
    double low = 0.0, high = 2000.0;
    while (high - low > 0.05) {
        double middle = (low + high) / 2;
        (goes_on_at(middle) ? low : high) = middle;
    }
    return high;
}

// What was added to the target, as a share of what is left on the clock when the limit is met.
double extra_share() {
    double limit = time_limit();
    return (limit - static_cast<double>(engine.target_time))
         / (static_cast<double>(engine.clock[WHITE]) - limit);
}

} // namespace

TEST_F(Clock, ElapsedTimeRunsFromTheStartOfTheThink) {
    think_start = monotonic_seconds() - 7.0;
    update_elapsed();
    EXPECT_NEAR(relaxed(engine.elapsed), 7.0001f, 0.5f);
    EXPECT_GE(relaxed(engine.elapsed), 7.0001f);
}

TEST_F(Clock, ThinkEndsAtItsTarget) {
    EXPECT_NEAR(time_limit(), 100.0, 0.2);
    EXPECT_TRUE(goes_on_at(99.0));
    EXPECT_TRUE(stops_at(101.0));
}

TEST_F(Clock, OnlyTimedThinksEnd) {
    for (int state : {0 + STATE_IDLE, 0 + STATE_THINK_REQUEST, 0 + STATE_PONDERING, 0 + STATE_BATCH,
                      STATE_THINKING | STATE_OVER}) {
        set_relaxed(engine.game_state, state);
        EXPECT_FALSE(stops_at(500.0)) << state;
        EXPECT_GT(relaxed(engine.elapsed), 499.0f) << "the time is refreshed all the same";
    }
}

TEST_F(Clock, FirstIterationIsAlwaysFinished) {
    for (int depth : {0, 1}) {
        set_relaxed(engine.iteration_depth, depth);
        EXPECT_FALSE(stops_at(900.0)) << depth;
    }
    set_relaxed(engine.iteration_depth, 2);
    EXPECT_TRUE(stops_at(900.0));
}

TEST_F(Clock, FirstIterationOfACrowdedBoardHearsTheClock) {
    set_relaxed(engine.iteration_depth, 1);
    set_relaxed(engine.crowded, 1);
    EXPECT_TRUE(stops_at(900.0));
}

TEST_F(Clock, EveryThinkGetsFifteenMilliseconds) {
    engine.clock[WHITE] = 0.0f;
    engine.target_time = 0.002f;
    EXPECT_TRUE(goes_on_at(0.005));
    EXPECT_TRUE(stops_at(0.02));
}

TEST_F(Clock, ThinkWithoutAMasterGoesOn) {
    SearchThread* kept = search_threads[0].exchange(nullptr);
    EXPECT_FALSE(stops_at(900.0));
    search_threads[0] = kept;
}

TEST_F(Clock, FixedTimeKnowsNoExtraTime) {
    engine.moves_per_control = 1;
    engine.move_overhead = 10.0f;
    set_relaxed(master().root_fail, 1);
    EXPECT_NEAR(time_limit(), 100.0, 0.2);
    engine.clock[WHITE] = 0.0f;
    EXPECT_NEAR(time_limit(), 100.0, 0.2);
}

TEST_F(Clock, FailLowAddsAQuarterOfTheRest) {
    set_relaxed(master().root_fail, 1);
    EXPECT_NEAR(extra_share(), 0.25, 0.001);
}

TEST_F(Clock, FailHighAddsATenthOfTheRest) {
    set_relaxed(master().root_fail, 2);
    EXPECT_NEAR(extra_share(), 0.1, 0.001);
}

TEST_F(Clock, FailCountsBeforeTheFourthIteration) {
    for (int depth : {2, 3}) {
        set_relaxed(engine.iteration_depth, depth);
        set_relaxed(master().root_fail, 0);
        set_relaxed(engine.iteration_score[depth - 1], 500);
        set_relaxed(engine.best_move_depth, depth);
        EXPECT_NEAR(extra_share(), 0.0, 0.001) << "a drop does not count yet";
        set_relaxed(master().root_fail, 1);
        EXPECT_NEAR(extra_share(), 0.25, 0.001);
    }
}

TEST_F(Clock, DropBelowEitherOfTheLastTwoIterationsAddsThreePerCent) {
    set_relaxed(engine.iteration_score[7], 70);
    EXPECT_NEAR(extra_share(), 0.03, 0.001);
    set_relaxed(engine.iteration_score[6], 70);
    EXPECT_NEAR(extra_share(), 0.06, 0.001);
    set_relaxed(engine.iteration_score[7], 69);
    EXPECT_NEAR(extra_share(), 0.03, 0.001) << "19 are within the tolerance of 20";
    set_relaxed(engine.iteration_score[6], 69);
    EXPECT_NEAR(extra_share(), 0.0, 0.001);
}

TEST_F(Clock, ToleranceGrowsWithClearScores) {
    struct Case {
        int score, tolerance;
    };
    for (const Case& c : {Case{335, 20}, Case{336, 21}, Case{-336, 21}, Case{800, 50},
                          Case{-335, 20}, Case{0, 20}}) {
        set_relaxed(engine.best_score, c.score);
        set_relaxed(engine.iteration_score[6], c.score);
        set_relaxed(engine.iteration_score[7], c.score + c.tolerance - 1);
        EXPECT_NEAR(extra_share(), 0.0, 0.001) << c.score;
        set_relaxed(engine.iteration_score[7], c.score + c.tolerance);
        EXPECT_NEAR(extra_share(), 0.03, 0.001) << c.score;
    }
}

TEST_F(Clock, FreshBestMoveAddsTwoPerCent) {
    for (auto [depth, share] : {std::pair{8, 0.02}, {6, 0.02}, {5, 0.0}, {3, 0.0}}) {
        set_relaxed(engine.best_move_depth, depth);
        EXPECT_NEAR(extra_share(), share, 0.001) << depth;
    }
}

TEST_F(Clock, StableBestMoveCutsAQuarterOfTheTarget) {
    set_relaxed(engine.best_move_depth, 3);
    EXPECT_NEAR(time_limit(), 100.0, 0.2) << "five iterations are not enough";
    set_relaxed(engine.best_move_depth, 2);
    EXPECT_NEAR(time_limit(), 75.0, 0.2);
}

TEST_F(Clock, SafetyIsTakenOffTheTarget) {
    engine.target_time = 0.5f;
    engine.move_overhead = 0.02f;
    EXPECT_TRUE(goes_on_at(0.47));
    EXPECT_TRUE(stops_at(0.4805));
    engine.move_overhead = 0.3f; // counts as 0.025 at most
    EXPECT_TRUE(goes_on_at(0.465));
    EXPECT_TRUE(stops_at(0.4755));
}

TEST_F(Clock, ClockNearItsEndStopsWhateverTheTarget) {
    engine.clock[WHITE] = 10.0f;
    engine.move_overhead = 0.02f;
    EXPECT_TRUE(goes_on_at(9.85));
    EXPECT_TRUE(stops_at(9.91)) << "less than five times the safety is left";
    engine.move_overhead = 0.0f;
    EXPECT_TRUE(goes_on_at(9.91));
    EXPECT_TRUE(goes_on_at(50.0)) << "without a safety only the target counts";
}

TEST_F(Clock, SingleMoveEndsAtTheSixthIteration) {
    set_relaxed(engine.single_move, 1);
    for (auto [depth, ends] : {std::pair{2, false}, {5, false}, {6, true}, {30, true}}) {
        set_relaxed(engine.iteration_depth, depth);
        set_relaxed(engine.best_move_depth, std::max(depth - 4, 0));
        EXPECT_EQ(stops_at(1.0), ends) << depth;
    }
    engine.moves_per_control = 1;
    EXPECT_TRUE(stops_at(1.0)) << "also with a fixed time";
    set_relaxed(engine.single_move, 0);
    EXPECT_FALSE(stops_at(1.0));
}

TEST_F(Clock, HelperThatSeesMuchMoreBuysTime) {
    engine.num_threads = 4;
    search_threads[3] = allocate_search_thread();
    SearchThread& helper = *search_threads[3].load();
    struct Case {
        int score, depth;
        double share;
    };
    for (const Case& c : {Case{75, 8, 0.0}, Case{76, 8, 0.08}, Case{76, 7, 0.0},
                          Case{500, 12, 0.08}, Case{-500, 12, 0.0}}) {
        set_relaxed(helper.score, c.score);
        set_relaxed(helper.completed_depth, c.depth);
        EXPECT_NEAR(extra_share(), c.share, 0.001) << c.score << " at " << c.depth;
    }
    set_relaxed(helper.score, 500);
    set_relaxed(engine.best_move_depth, 1);
    EXPECT_NEAR(extra_share(), 0.08, 0.001) << "in place of the cut for a stable move";
    set_relaxed(engine.best_move_depth, 4);
    set_relaxed(master().root_fail, 2);
    EXPECT_NEAR(extra_share(), 0.1, 0.001) << "not on top of a greater extra";
    set_relaxed(master().root_fail, 0);
    engine.num_threads = 3;
    EXPECT_NEAR(extra_share(), 0.0, 0.001) << "no helper of this search";
}

TEST_F(Clock, StopStaysSet) {
    set_relaxed(engine.stop, 1);
    think_start = monotonic_seconds();
    check_time();
    EXPECT_EQ(relaxed(engine.stop), 1);
}

TEST_F(Clock, SearchHoldsItselfToASpeed) {
    // About 100 nodes at 1,000 a second.
    Position& pos = root_of(START_FEN);
    step(pos, "e2e4");
    engine.nps_throttle = 1;
    engine.target_nps = 1000.0f;
    set_relaxed(engine.iteration_depth, 2);
    set_relaxed(engine.game_state, STATE_BATCH);
    think_start = monotonic_seconds();
    thread_of(pos).node_limit = 100;
    set_relaxed(thread_of(pos).completed_depth, 2);
    double begun = monotonic_seconds();
    node_value(pos, 4, -10001, 10001, NODE_PV);
    EXPECT_GE(monotonic_seconds() - begun, 0.09);
    EXPECT_EQ(relaxed(engine.stop), 1);

    set_relaxed(engine.stop, 0);
    set_relaxed(engine.iteration_depth, 1);
    set_relaxed(thread_of(pos).nodes, 0);
    engine.target_nps = 1.0f;
    begun = monotonic_seconds();
    node_value(pos, 4, -10001, 10001, NODE_PV);
    EXPECT_LT(monotonic_seconds() - begun, 50.0) << "the first iteration runs at full speed";
}
