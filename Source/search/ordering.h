// ordering.h: what quiet moves promise: history, killers, counter moves and follow-ups, how they
// are learnt and what they add to the score that a node's moves are sorted by.
//
// All tables live in SearchThread and are reset for every search, so threads learn separately and
// nothing carries over to the next move. Called by the thread that owns the record.

#pragma once

#include <cstdint>

#include "base/state.h"
#include "board/types.h"

struct SearchThread;

constexpr int HISTORY_START = 2048;
constexpr int MAX_HISTORY = 16384;
constexpr int HISTORY_SHIFT = 1024; // unit of the rates
constexpr int HISTORY_STEP = 256;   // history that is worth one point of a move's score

// Rates by depth in parts of 1,024: 16 and 8 times the square root of the depth, which counts up
// to 16; 0 at depth 0. The gain moves history towards MAX_HISTORY, the decay towards 0.
extern int32_t history_gain[PLY_SLOTS];
extern int32_t history_decay[PLY_SLOTS];

// Fills the rate tables. Called once at start-up.
void init_history_rates();

// Clears counter moves and follow-ups and sets all history to HISTORY_START.
void reset_ordering(SearchThread& thread);

// Scores a list of quiet moves of the current ply, up to its sentinel: history, and the bonus of
// the first that fits among killers, counter moves, follow-up and far pawns. At the root the
// scores stay as they are.
void score_quiets(SearchThread& thread, int side, MoveEntry* list);

// Learns from a non-capturing move, the current_move of `ply`, at least 2, that was searched at
// `depth`, 1 to 69, with the value `value` against `alpha`.
void learn_quiet_move(SearchThread& thread, int ply, int depth, int value, int alpha);
