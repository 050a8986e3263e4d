// kernels.h: the trainer's inner loops over one block of hidden units.
//
// They are compiled for several instruction sets, and the best that the processor has is chosen at
// run time. Sums of floats are the same in all builds of one compiler up to rounding. All pointers
// are aligned to 64 bytes. Any thread, each on memory of its own.

#pragma once

#include <cstddef>

#include "Training/features.h"

constexpr int BLOCK = 64; // hidden units of a block: a block of weights fits the L2 cache

// Forward pass of `count` inputs through one block.
struct ForwardJob {
    const NetworkInput* inputs; // [count]
    size_t count;               // positions
    const float* weights;       // [NN_INPUTS][BLOCK]
    const float* rows;          // [NN_ROWS][BLOCK]
    float bias;                 // the one that all units share
    float* hidden;              // out: [count][BLOCK], activated
    float* sums;                // out: [count], the block's part of the output
};

// Backward pass of the same inputs; everything that it fills is added to.
struct BackwardJob {
    const NetworkInput* inputs; // [count]
    size_t count;               // positions
    const float* rows;          // [NN_ROWS][BLOCK]
    const float* hidden;        // [count][BLOCK], as the forward pass left it
    const float* slopes;        // [count]: derivative of the loss by the output
    float* weight_slopes;       // [NN_INPUTS][BLOCK]
    float* row_slopes;          // [NN_ROWS][BLOCK]
    float* bias_slopes;         // [BLOCK], to be summed up
};

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
};
extern const Kernels KERNELS_SSE2, KERNELS_AVX2, KERNELS_AVX512;

// The kernels for this processor.
const Kernels& best_kernels();
