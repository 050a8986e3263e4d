// The one way to set what ends a search: what is absent stays, and depths are cut.
//
// Pins internals: the fields of EngineState that hold the limits.

#include "search/limits.h"

#include "shell_fixture.h"

namespace {

class Limits : public ShellTest {};

} // namespace

TEST_F(Limits, WhatIsAbsentStaysAsItWas) {
    set_limits({.depth = 7,
                .nodes = 1234,
                .soft_nodes = 99,
                .control = 40,
                .time_base = 1.5f,
                .time_increment = 0.25f,
                .white_clock = 3.0f,
                .black_clock = 4.0f,
                .moves_to_go = 12});
    set_limits({});
    EXPECT_EQ(engine.max_depth, 7);
    EXPECT_EQ(engine.max_nodes, 1234u);
    EXPECT_EQ(engine.soft_nodes, 99u);
    EXPECT_EQ(engine.moves_per_control, 40);
    EXPECT_EQ(engine.time_base, 1.5f);
    EXPECT_EQ(engine.time_increment, 0.25f);
    EXPECT_EQ(engine.clock[WHITE], 3.0f);
    EXPECT_EQ(engine.clock[BLACK], 4.0f);
    EXPECT_EQ(engine.moves_to_go, 12);
}

TEST_F(Limits, ATimeForAMoveIsAControlOfItsOwn) {
    set_limits({.control = 40, .time_base = 300.0f});
    set_limits({.move_time = 2.5f});
    EXPECT_EQ(engine.moves_per_control, FIXED_TIME);
    EXPECT_EQ(engine.time_base, 2.5f);
}

TEST_F(Limits, DepthsAreCutToEightBitsAndCapped) {
    const int cases[][2] = {{0, 0},      {66, 66},   {67, 66}, {127, 66},
                            {128, -128}, {200, -56}, {-1, -1}};
    for (auto& [given, kept] : cases) {
        set_limits({.depth = given});
        EXPECT_EQ(engine.max_depth, kept) << given;
    }
}

TEST_F(Limits, UnlimitedValuesAreThoseOfTheStart) {
    set_limits({.depth = 5, .nodes = 5, .soft_nodes = 5});
    set_limits({.depth = UNLIMITED_DEPTH, .nodes = UNLIMITED_NODES, .soft_nodes = UNLIMITED_NODES});
    EXPECT_EQ(engine.max_depth, MAX_DEPTH);
    EXPECT_EQ(engine.max_nodes, 0u);
    EXPECT_EQ(engine.soft_nodes, 0u);
    EXPECT_GE(UNLIMITED_SECONDS, ANALYSIS_SECONDS);
}
