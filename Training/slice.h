// slice.h: some positions of a batch as the kernels want them.
//
// A batch is cut into slices of SLICE positions, so that the work on it can be shared out by
// positions; the cut does not depend on the number of threads. Within a slice positions of one
// weight set and of the same number of active inputs stand together: loops over them then have a
// length that the processor foresees, and the weights of one set stay in its first-level cache.
// Pure work on the caller's memory; any thread.

#pragma once

#include <cstddef>
#include <cstdint>

#include "Training/ply_record.h"
#include "eval/nn_inputs.h"

constexpr size_t SLICE = 1024; // positions
constexpr int BLOCK = 32;      // hidden units of a block: its weights take a quarter of an L2 cache

// Rows of BLOCK floats are named by their distance from the first in units of 8 bytes, which is the
// largest that the processor multiplies by itself in an address.
constexpr int ROW_UNITS = BLOCK * static_cast<int>(sizeof(float)) / 8;
static_assert(NN_INPUTS * ROW_UNITS <= UINT16_MAX && SLICE * ROW_UNITS <= UINT16_MAX, "16 bits");

// Parts of the validation loss: by the pieces left, and endings of pawns alone.
constexpr int PHASES = 5;
extern const char* const PHASE_NAMES[PHASES];

struct SlicePosition {
    float rows[NN_ROWS]; // shares of the output rows in the output
    float fifty;         // what is left of the output after the fifty-move scaling, 0 to 1
    float score;         // probability of winning by the search's score
    float result;        // of the game, 0 to 1; below 0 if it says nothing
    uint16_t inputs;     // active ones
    uint16_t phase;      // 0 to PHASES - 1
};

struct Slice {
    size_t count; // of positions, up to SLICE

    SlicePosition positions[SLICE];
    uint16_t features[SLICE * NN_MAX_ACTIVE]; // active inputs of one position after the other,
                                              // times ROW_UNITS

    // The same by inputs: for each that is active somewhere, how often, and the positions one
    // after the other. Inputs of as many positions stand together, the rarest first.
    size_t used;                           // active somewhere
    uint16_t used_inputs[NN_INPUTS];       // these, times ROW_UNITS
    uint16_t uses[NN_INPUTS];              // how often
    uint16_t users[SLICE * NN_MAX_ACTIVE]; // places in `positions`, times ROW_UNITS
};

// Fills a slice with records[order[0]] to records[order[count - 1]], which must be sound; `count`
// is at most SLICE.
void fill_slice(Slice& slice, const PlyRecord* records, const uint32_t* order, size_t count);
