// features.h: a record as the network's first layer wants it: a list of active inputs.
//
// What is active tells eval/nn_inputs.h. Pure work on the caller's memory; any thread.

#pragma once

#include <cstdint>

#include "Training/ply_record.h"
#include "eval/nn_inputs.h"

constexpr int FEATURE_SLOTS = 54;
static_assert(NN_MAX_ACTIVE <= FEATURE_SLOTS, "room for all inputs");

struct NetworkInput {
    uint16_t features[FEATURE_SLOTS]; // active inputs, 0 to NN_INPUTS - 1
    uint16_t count;                   // of them
    uint16_t material;                // phase units of both sides, 0 to 64 in a normal game
    float rows[NN_ROWS];              // shares of the output rows in the output
    float fifty; // what is left of the output after the fifty-move scaling, 0 to 1
};
static_assert(sizeof(NetworkInput) == 128, "two cache lines");

// Fills the input of a sound record.
void list_features(NetworkInput& input, const PlyRecord& record);

// Tells whether no position has the input: a king on files a-d, a pawn on an outer rank, the last
// material input.
bool is_dead_input(int feature);
