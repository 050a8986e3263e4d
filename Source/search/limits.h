// limits.h: what ends a search by itself: depth, nodes and time.
//
// The limits stand in EngineState, and all that sets them goes through set_limits. Main thread
// only, between searches; a limit holds until it is set again, through any number of searches.

#pragma once

#include <cstdint>
#include <optional>

#include "base/state.h"

// Values that limit nothing.
constexpr int UNLIMITED_DEPTH = MAX_DEPTH;
constexpr uint64_t UNLIMITED_NODES = 0;
constexpr float UNLIMITED_SECONDS = 10000000.0f; // above ANALYSIS_SECONDS, so without contempt

// The limits to set; those that are absent stay as they are.
struct SearchLimits {
    // Plies. Kept as a signed 8-bit number, cut like one, and at most MAX_DEPTH: 70 counts as 66
    // and 200 as -56, which searches nothing.
    std::optional<int> depth = {};
    std::optional<uint64_t> nodes = {};      // of each thread
    std::optional<uint64_t> soft_nodes = {}; // of thread 0, from which no iteration begins

    std::optional<int> control = {};          // EngineState::moves_per_control, 0 to 255
    std::optional<float> move_time = {};      // seconds: FIXED_TIME with that time_base
    std::optional<float> time_base = {};      // seconds, of whatever control is in force
    std::optional<float> time_increment = {}; // seconds a move
    std::optional<float> white_clock = {};    // seconds left
    std::optional<float> black_clock = {};    // seconds left
    std::optional<int16_t> moves_to_go = {};  // to the next time control

    // Of the strict protocol, where limits combine; see EngineState.
    std::optional<float> think_time = {}; // seconds for this move, whatever the control
    std::optional<uint8_t> clock_runs = {};
    std::optional<uint8_t> until_stop = {};
    std::optional<int16_t> mate = {}; // moves
};

void set_limits(const SearchLimits& limits);

// Takes all limits away, those of the strict protocol included.
void lift_limits();
