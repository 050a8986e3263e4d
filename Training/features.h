// features.h: what the network sees of a position.
//
// Two sets of 896 board inputs, each two sides of seven planes of 64 squares, then 32 material
// inputs. Pure work on the caller's memory; any thread.

#pragma once

#include <cstdint>

#include "Training/ply_record.h"

constexpr int PLANE_INPUTS = 64;
constexpr int SIDE_INPUTS = 7 * PLANE_INPUTS; // king, pawns to queens, passed pawns
constexpr int SET_INPUTS = 2 * SIDE_INPUTS;   // side to move, other side
constexpr int BOARD_INPUTS = 2 * SET_INPUTS;  // set 1: exactly one king on files a-d
constexpr int MATERIAL_INPUTS = 32;
constexpr int NETWORK_INPUTS = BOARD_INPUTS + MATERIAL_INPUTS;
static_assert(NETWORK_INPUTS == 1824, "as in the engine's network");

constexpr int MOST_FEATURES = 32 + 16 + 5; // units, all pawns passed, one input a kind
constexpr int OUTPUT_ROWS = 3;             // many pieces, few pieces, pawn endings

// A position in the form that the first layer wants.
struct NetworkInput {
    uint16_t features[54]; // active inputs
    uint16_t count;
    uint16_t unused;
    float rows[OUTPUT_ROWS]; // shares of the output rows in the output
    float fifty;             // what is left of the output after the fifty-move scaling, 0 to 1
};
static_assert(sizeof(NetworkInput) == 128, "two cache lines");
static_assert(MOST_FEATURES <= 54, "room for all features");

// Fills the input of a record that is a sound position.
void list_features(NetworkInput& input, const PlyRecord& record);

// Tells whether no position has the input: a king on files a-d, a pawn on an outer rank, the last
// material input.
bool is_dead_input(int feature);
