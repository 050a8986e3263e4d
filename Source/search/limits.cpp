#include "search/limits.h"

#include <algorithm>

void set_limits(const SearchLimits& limits) {
    if (limits.depth)
        engine.max_depth = std::min<int8_t>(static_cast<int8_t>(*limits.depth), MAX_DEPTH);
    if (limits.nodes) engine.max_nodes = *limits.nodes;
    if (limits.soft_nodes) engine.soft_nodes = *limits.soft_nodes;

    if (limits.control) engine.moves_per_control = static_cast<uint8_t>(*limits.control);
    if (limits.time_base) engine.time_base = *limits.time_base;
    if (limits.move_time) {
        engine.moves_per_control = FIXED_TIME;
        engine.time_base = *limits.move_time;
    }
    if (limits.time_increment) engine.time_increment = *limits.time_increment;
    if (limits.white_clock) engine.clock[0] = *limits.white_clock;
    if (limits.black_clock) engine.clock[1] = *limits.black_clock;
    if (limits.moves_to_go) engine.moves_to_go = *limits.moves_to_go;

    if (limits.think_time) engine.move_time = *limits.think_time;
    if (limits.clock_runs) engine.clock_runs = *limits.clock_runs;
    if (limits.until_stop) engine.until_stop = *limits.until_stop;
    if (limits.mate) engine.mate_limit = *limits.mate;
}

void lift_limits() {
    set_limits({.depth = UNLIMITED_DEPTH,
                .nodes = UNLIMITED_NODES,
                .soft_nodes = UNLIMITED_NODES,
                .move_time = UNLIMITED_SECONDS,
                .time_increment = 0.0f,
                .moves_to_go = int16_t{0},
                .think_time = 0.0f,
                .clock_runs = uint8_t{0},
                .until_stop = uint8_t{0},
                .mate = int16_t{0}});
    engine.only_moves[0] = 0;
}
