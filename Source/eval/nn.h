// nn.h: the neural network: loading it, and the score of a position.
//
// The sums of its first layer are an accumulator: from one position to the next it is updated
// incrementally, by the inputs that changed.
//
// One network serves the process. NnLoad replaces it on the main thread, never while a search
// runs; search threads only read it. Everything that changes with the position stands in the
// thread's own EvalState.

#pragma once

#include <cstddef>
#include <cstdint>

struct EvalState;
struct SearchThread;

constexpr int NN_MAX_INPUTS = 1840; // of both kinds

// First version with NN_MATERIAL_KINDS active material inputs; older ones have one or none.
constexpr uint16_t NN_FIVE_KINDS_VERSION = 536;

// The network in use. Counts are in floats.
struct NnHeader {
    uint16_t format;          // kept for NnSave; nothing depends on it
    uint16_t version;         // of the training; see NN_FIVE_KINDS_VERSION
    uint16_t board_inputs;    // 896 for each weight set
    uint16_t material_inputs; // behind the board inputs
    int inputs;               // both kinds
    uint16_t outputs;         // rows of the last layer; the first NN_ROWS are read
    uint16_t hidden1;         // units of the first layer
    uint16_t hidden2;         // units of the second layer; below 4 there is none
    int64_t total;            // all weights
    int64_t w1_count;         // of the rows of the inputs
    int64_t w2_count;         // of the second layer, 0 without one
    int64_t w3_count;         // of the rows of the outputs
    int64_t bias_count;       // of the outputs
    float* weights;           // the array that the others point into, on a 64-byte boundary
    const float* w1;          // one row of hidden1 for each input
    const float* w2;          // one row of hidden1 for each unit behind the first layer
    const float* w3;          // one row of hidden2 for each output
    const float* biases;      // of the outputs; nothing reads them
    const float* extras;      // eight values: 1 is the bias of the first layer, 2 of the second
    uint32_t generation;      // grows with each network; 0 before the first
};
extern NnHeader nn_header;

// Loads the network that NN_File names: "embedded", "new" for a fresh random one, which is also
// written to nn.bin in the working directory, or else a file. Prints the source's line. A file
// that can't be opened ends the program with status 0, but not in the strict protocol, which says
// why and goes on. A file that is too short, or whose header
// makes no sense, changes nothing and prints nothing; before the first network the embedded one is
// then taken. Main thread, while no search runs.
void NnLoad();

// Writes the network in use as a file: each weight in whole steps of 0.0002, halves away from zero.
// Returns false if it can't be opened or, which is told on standard error, not wholly written; an
// old file is then as it was.
bool NnSave(const char* name);

// Size and checksum of the embedded network's file.
struct NnFileBytes {
    size_t size;
    uint64_t checksum;
};
NnFileBytes NnEmbeddedFile();

// Gives the network's memory back; there is none afterwards.
void NnUnload();

// The network's score of the thread's position for the side to move, NN_MIN_SCORE to NN_MAX_SCORE
// (see logistic.h), without contempt and scaling; NO_EVAL, with a message, when memory ran out. At
// ply 0 and 1 neither the eval hash nor the last accumulator is used. A network must be loaded.
int NnEval(SearchThread& thread);

// The winning chance behind the last score that was computed, 0 to 1.
float nn_probability(const EvalState& eval);

// Tells whether scores get noise: in a game, once it has two moves. Fixed while a search runs.
bool NnHasNoise(const SearchThread& thread);

// Gives back what NnEval has allocated for the thread.
void NnFreeBuffers(EvalState& eval);
