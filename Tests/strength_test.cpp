// Strength by speed: the formula, the way back from Elo to a speed, and limiting in play.
//
// Pins internals: target_nps and the switch that a think leaves behind.

#include "shell/strength.h"

#include <cmath>

#include "search/limits.h"
#include "search/selectivity.h"
#include "shell/calibration.h"

#include "search/hash.h"
#include "search/thread.h"
#include "shell_fixture.h"

namespace {

class Strength : public ShellTest {
protected:
    // A machine of that many nodes a second.
    static void calibrated(double nps) {
        engine.calibration_nps = static_cast<float>(nps);
        engine.calibration_elo = static_cast<float>(elo_of_speed(nps));
    }
    static void limit(int elo) {
        active_personality.UCI_LimitStrength = 1;
        active_personality.UCI_Elo = static_cast<int16_t>(elo);
        apply_strength_limit();
    }
};

} // namespace

TEST_F(Strength, EloGrowsWithTheLogarithmOfTheSpeed) {
    EXPECT_NEAR(elo_of_speed(10), 1473.4, 0.1);
    EXPECT_NEAR(elo_of_speed(10000000), 3545.7, 0.1);
    EXPECT_NEAR(elo_of_speed(1000000), 3200.3, 0.1);
    EXPECT_DOUBLE_EQ(elo_of_speed(1), 1128.0);
    EXPECT_NEAR(elo_of_speed(2000) - elo_of_speed(1000), 150.0 * std::log(2.0), 1e-9);
}

TEST_F(Strength, FifteenHundredIsAboutTwelveNodesASecond) {
    calibrated(1000000);
    limit(1500);
    EXPECT_NEAR(engine.target_nps, 11.94, 0.05);
    EXPECT_EQ(active_personality.UCI_LimitStrength, 1);
    EXPECT_EQ(active_personality.UCI_Elo, 1500);
}

TEST_F(Strength, TheSpeedFoundHasTheWantedElo) {
    calibrated(5000000);
    for (int elo = 1500; elo <= 3300; elo += 25) {
        limit(elo);
        ASSERT_EQ(active_personality.UCI_LimitStrength, 1) << elo;
        EXPECT_NEAR(elo_of_speed(static_cast<double>(engine.target_nps)), elo, 0.51) << elo;
    }
}

TEST_F(Strength, ALimitAboveTheMachineIsDropped) {
    calibrated(1000000);
    limit(3300); // about 1,940,000 nodes a second
    EXPECT_EQ(active_personality.UCI_LimitStrength, 0);
    EXPECT_EQ(active_personality.UCI_Elo, 3200) << "the machine's own figure";
    EXPECT_EQ(engine.target_nps, 1000000.0f);
}

TEST_F(Strength, ALimitMustLieThirtyNodesBelowTheMachine) {
    // 1500 is a speed of 11.9 on every machine.
    calibrated(41);
    limit(1500);
    EXPECT_EQ(active_personality.UCI_LimitStrength, 0);
    calibrated(43);
    limit(1500);
    EXPECT_EQ(active_personality.UCI_LimitStrength, 1);
    calibrated(30);
    limit(1500);
    EXPECT_EQ(active_personality.UCI_LimitStrength, 0);
}

TEST_F(Strength, WithoutACalibrationALimitIsAlwaysDropped) {
    limit(1500);
    EXPECT_EQ(active_personality.UCI_LimitStrength, 0);
    EXPECT_EQ(engine.target_nps, 0.0f);
    EXPECT_EQ(active_personality.UCI_Elo, 0);
}

TEST_F(Strength, WithoutALimitTheMachinesFigureIsFilledIn) {
    calibrated(1000000);
    active_personality.UCI_Elo = 1700;
    active_personality.UCI_LimitStrength = 0;
    apply_strength_limit();
    EXPECT_EQ(active_personality.UCI_Elo, 3200);
    EXPECT_EQ(engine.target_nps, 1000000.0f);
}

TEST_F(Strength, ASwitchWithoutAFreshFigureMeansTheMachinesOwnSpeed) {
    calibrated(1000000);
    apply_strength_limit();
    uci("setoption name UCI_LimitStrength value true");
    apply_strength_limit();
    // The figure is a whole number, so that the speed for it may lie a little lower.
    EXPECT_NEAR(static_cast<double>(engine.target_nps), 1000000.0, 10000.0);
}

TEST_F(Strength, ASpeedGivenDirectlyStandsWhileNoEloIsKnown) {
    calibrated(1000000);
    engine.target_nps = 777.0f;
    limit(0);
    EXPECT_EQ(engine.target_nps, 777.0f);
    EXPECT_EQ(active_personality.UCI_LimitStrength, 1);
}

TEST_F(Strength, OnlyAClearlyLowerSpeedThrottles) {
    calibrated(1000000);
    engine.target_nps = 1000000.0f;
    build_search_tables();
    EXPECT_EQ(engine.nps_throttle, 0);
    engine.target_nps = 999980.0f; // within 20
    build_search_tables();
    EXPECT_EQ(engine.nps_throttle, 0);
    engine.target_nps = 999970.0f;
    build_search_tables();
    EXPECT_EQ(engine.nps_throttle, 1);
    engine.target_nps = 2000000.0f;
    build_search_tables();
    EXPECT_EQ(engine.nps_throttle, 0);
}

TEST_F(Strength, CalibrationLeavesTheSettingsAsTheyWere) {
    active_personality.UCI_LimitStrength = 1;
    shell.noise = 0.25f;
    engine.num_threads = 3;
    int age = engine.hash_age;

    std::vector<std::string> lines = printed_by([] { calibrate(); });

    EXPECT_EQ(active_personality.UCI_LimitStrength, 1);
    EXPECT_EQ(shell.noise, 0.25f);
    EXPECT_EQ(engine.num_threads, 3);
    EXPECT_EQ(engine.max_nodes, 0u);
    EXPECT_EQ(relaxed(engine.stop), 0);
    EXPECT_EQ(relaxed(engine.game_state), STATE_IDLE);
    EXPECT_EQ(engine.hash_age, age + 1);
    EXPECT_EQ(game_fen(), "rnb1k2r/1pq1bppp/p2p1n2/4p3/4P3/2N1BN2/PPP1BPPP/R2QK2R w KQkq -");

    ASSERT_EQ(lines.size(), 1u);
    EXPECT_NEAR(number_after(lines[0], "nps="), static_cast<double>(engine.calibration_nps), 1.0);
    EXPECT_NEAR(engine.calibration_elo, elo_of_speed(static_cast<double>(engine.calibration_nps)),
                0.01);
    EXPECT_GT(engine.calibration_nps, 1000.0f);
    const double nodes = static_cast<double>(relaxed(search_threads[0].load()->nodes));
    const double seconds = static_cast<double>(relaxed(engine.elapsed)) + 0.001;
    EXPECT_NEAR(static_cast<double>(engine.calibration_nps) * seconds / nodes, 1.2, 1e-3);
    hash_clear();
}

TEST_F(Strength, CalibrationKeepsASpeedThatWasGiven) {
    for (float given : {0.0f, 500.0f}) {
        engine.calibration_nps = 0.0f;
        engine.target_nps = given;
        printed_by([] { calibrate(); });
        EXPECT_EQ(engine.target_nps, given > 0.0f ? given : engine.calibration_nps);
    }
    hash_clear();
}

TEST(StrengthInPlay, TheListingShowsTheCalibratedFigure) {
    Program program = run_with_input({}, "uci\n");
    std::string line, calibration;
    for (const std::string& text : program.lines) {
        if (text.compare(0, 16, "info string et= ") == 0) calibration = text;
        if (text.compare(0, 19, "option name UCI_Elo") == 0) line = text;
    }
    ASSERT_NE(calibration, "");
    double elo = elo_of_speed(number_after(calibration, "nps="));
    EXPECT_NEAR(number_after(line, "max"), elo, 1.01);
    EXPECT_EQ(word_after(line, "default"), word_after(line, "max"));
    EXPECT_EQ(word_after(line, "min"), "1500");
}

TEST_F(Strength, CalibrationSearchesWhateverTheDepthLimit) {
    for (int depth : {0, -1, 200, 5}) {
        set_limits({.depth = depth});
        const int limit = engine.max_depth;
        printed_by([] { calibrate(); });
        EXPECT_GT(engine.calibration_nps, 1000.0f) << depth;
        EXPECT_EQ(engine.max_depth, limit) << "and leaves it as it was";
    }
    hash_clear();
}

TEST_F(Strength, TheListedMaximumIsNeverBelowTheMinimum) {
    calibrated(1);
    EXPECT_TRUE(
        has_line(uci("uci"), "option name UCI_Elo type spin default 1500 min 1500 max 1500"));
}

TEST(StrengthInPlay, TheListingIsAValidRangeAtAnyDepthLimit) {
    for (const char* depth : {"0", "-1", "200"}) {
        Program program = run_with_input({"-d", depth}, "uci\n");
        std::string line;
        for (const std::string& text : program.lines)
            if (text.compare(0, 19, "option name UCI_Elo") == 0) line = text;
        EXPECT_GE(number_after(line, "max"), 1500.0) << line;
        EXPECT_EQ(word_after(line, "default"), word_after(line, "max"));
    }
}

TEST(StrengthInPlay, ALimitedEngineSleeps) {
    Program program = start_program({"-nps", "200"});
    ASSERT_TRUE(is_ready(program));
    const double before = processor_seconds(program);
    send(program, "go movetime 600");
    ASSERT_NE(wait_for(program, "bestmove ", 60000), "");
    EXPECT_LT(processor_seconds(program) - before, 0.3);
    EXPECT_EQ(quit_program(program), 0);
}

TEST(StrengthInPlay, ALimitedEngineSearchesFewNodes) {
    Program program = start_program({});
    send(program, "setoption name UCI_Elo value 1500");
    send(program, "setoption name UCI_LimitStrength value true");
    send(program, "position startpos");
    send(program, "go movetime 700");
    ASSERT_NE(wait_for(program, "bestmove ", 60000), "");
    std::string last;
    for (const std::string& line : program.lines)
        if (line.compare(0, 11, "info depth ") == 0) last = line;
    EXPECT_LT(number_after(last, "nodes"), 300.0)
        << "the first iteration runs free, then 12 nodes a second";
    EXPECT_GE(number_after(last, "nodes"), 20.0) << "the first iteration is finished";
    EXPECT_EQ(quit_program(program), 0);
}

TEST(StrengthInPlay, AnUnlimitedThinkIsFreeAgain) {
    Program program = start_program({});
    send(program, "setoption name UCI_Elo value 1500");
    send(program, "setoption name UCI_LimitStrength value true");
    send(program, "position startpos");
    send(program, "go movetime 200");
    ASSERT_NE(wait_for(program, "bestmove ", 60000), "");
    send(program, "setoption name UCI_LimitStrength value false");
    send(program, "go depth 8");
    ASSERT_NE(wait_for(program, "bestmove ", 60000), "");
    std::string last;
    for (const std::string& line : program.lines)
        if (line.compare(0, 11, "info depth ") == 0) last = line;
    EXPECT_GT(number_after(last, "nodes"), 300.0);
    EXPECT_EQ(quit_program(program), 0);
}

TEST(StrengthInPlay, ALimitThatIsTooHighIsDropped) {
    Program program = start_program({});
    send(program, "setoption name UCI_Elo value 3300");
    send(program, "setoption name UCI_LimitStrength value true");
    send(program, "setoption name Threads value 1");
    send(program, "go depth 2");
    ASSERT_NE(wait_for(program, "bestmove ", 60000), "");
    send(program, "setoption name Contempt value 0"); // moves the defaults
    send(program, "uci");
    ASSERT_NE(wait_for(program, "uciok", 60000), "");
    EXPECT_EQ(quit_program(program), 0);

    double own = 0;
    for (const std::string& line : program.lines)
        if (line.compare(0, 16, "info string et= ") == 0)
            own = elo_of_speed(number_after(line, "nps="));
    // On a machine that is fast enough for the limit it is none that is too high.
    bool fast = own > 3290;
    EXPECT_TRUE(has_line(program.lines, "option name UCI_LimitStrength type check default false")
                || fast);
}

TEST(StrengthInPlay, ASpeedOnTheCommandLineHolds) {
    Program program = start_program({"-nps", "200"});
    EXPECT_EQ(wait_for(program, "Elo= ", 60000), "Elo= 1922");
    send(program, "uci");
    EXPECT_EQ(wait_for(program, "option name UCI_LimitStrength", 60000),
              "option name UCI_LimitStrength type check default true");
    EXPECT_EQ(word_after(wait_for(program, "option name UCI_Elo", 60000), "default"), "1922");
    send(program, "position startpos");
    send(program, "go movetime 700");
    ASSERT_NE(wait_for(program, "bestmove ", 60000), "");
    std::string last;
    for (const std::string& line : program.lines)
        if (line.compare(0, 11, "info depth ") == 0) last = line;
    EXPECT_LT(number_after(last, "nodes"), 1000.0);
    EXPECT_EQ(quit_program(program), 0);
}
