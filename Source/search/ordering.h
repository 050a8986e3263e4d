// ordering.h: how the move ordering learns: history, killers, counter moves, follow-ups.
//
// All tables live in SearchThread and are reset for every search, so threads learn separately and
// nothing carries over to the next move.

#pragma once

#include <cstdint>

struct SearchThread;
struct SearchStackEntry;

constexpr int HISTORY_START = 2048;
constexpr int HISTORY_TOP = 16384;
constexpr int HISTORY_SHIFT = 1024; // unit of the rates

// Rates by depth in parts of 1,024: 16 and 8 times the square root of the depth, which counts up
// to 16; 0 at depth 0. The gain moves history towards HISTORY_TOP, the decay towards 0.
extern int32_t history_gain[70];
extern int32_t history_decay[70];

// Fills the rate tables. Called once at start-up.
void init_history_rates();

// Clears counters and follow-ups and sets all history to HISTORY_START.
void reset_ordering(SearchThread& thread);

// Learns from a non-capturing move, the current_move of `entry`, that was searched at `depth`,
// 1 to 69, with the value `value` against `alpha`.
void learn_quiet_move(SearchThread& thread, SearchStackEntry& entry, int depth, int value,
                      int alpha);
