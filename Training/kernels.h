// kernels.h: the trainer's inner loops over one block of hidden units.
//
// They are compiled for several instruction sets, and the best that the processor has is chosen at
// run time. Sums of floats are the same in all builds of one compiler up to rounding. All pointers
// are aligned to 64 bytes. Any thread, each on memory of its own.

#pragma once

#include <cstddef>
#include <cstdint>

#include "Training/slice.h"
#include "eval/nn_inputs.h"

// What the hidden units put out goes through memory once a batch and takes most of its bandwidth.
// The upper half of a float, which keeps the sign and 8 binary digits, is enough for the slopes of
// the output rows; the outputs themselves are summed up before rounding.

// Forward pass of a slice through one block.
struct ForwardJob {
    const Slice* slice;
    const float* weights; // [NN_INPUTS][BLOCK]
    const float* rows;    // [NN_ROWS][BLOCK]
    float bias;           // the one that all units share
    uint16_t* hidden;     // out: [SLICE][BLOCK], activated, rounded to their upper halves
    float* sums;          // out: [SLICE], the block's part of the output
};

// Backward pass of the same slice; everything that it fills is added to.
struct BackwardJob {
    const Slice* slice;
    const float* rows;      // [NN_ROWS][BLOCK]
    const uint16_t* hidden; // [SLICE][BLOCK], as the forward pass left it
    const float* outputs;   // [SLICE]: derivative of the loss by the output
    float* scratch;         // [SLICE][BLOCK], overwritten
    float* slopes;          // [SLOPE_ROWS][BLOCK]: of the inputs' weights, the rows and the bias
};
constexpr int SLOPE_ROWS = NN_INPUTS + NN_ROWS + 1; // the bias is to be summed up

// One step of Adam with decoupled decay.
struct StepJob {
    size_t count;        // multiple of BLOCK
    float* weights;      // [count], changed
    float* first;        // running mean of slopes
    float* second;       // running mean of squared slopes
    const float* slopes; // [count]: of the batch
    float rate;          // step size
    float shrink;        // factor on the weight before the step
    float correct1;      // 1 / (1 - beta1^step)
    float correct2;      // 1 / (1 - beta2^step)
    float limit;         // largest absolute weight
};

struct Kernels {
    const char* name; // of the instructions
    void (*forward)(const ForwardJob&);
    void (*backward)(const BackwardJob&);
    void (*step)(const StepJob&);
    void (*add)(float* sum, const float* more, size_t count); // onto the sum; no overlap
    // Moves means towards the weights by the share `weight` of the difference.
    void (*average)(float* mean, const float* weights, size_t count, float weight);
};
extern const Kernels KERNELS_SSE2, KERNELS_AVX2, KERNELS_AVX512;

// The kernels for this processor.
const Kernels& best_kernels();
