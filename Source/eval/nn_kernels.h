// nn_kernels.h: the float loops of the network, once for each kind of vector instruction.
//
// All paths give the same bits: every sum has one fixed order, no product is contracted with a
// sum, and no operation depends on the width of a register. So a search visits the same nodes on
// every processor. The loops work on the caller's rows alone, in any thread.

#pragma once

// Partial sums of a dot product. Lane i holds the sum over k of x[32 k + i] * w[32 k + i] in
// ascending k; what is left behind the last 32 goes into lanes 0, 1, 2 and so on. At the end the
// upper half of the lanes is added to the lower half until one is left. Another number changes
// results in the last bit.
constexpr int NN_LANES = 32;

// A negative value of a unit is multiplied by this. As the slope is below 1, the larger one of x
// and x * slope is the activated value.
constexpr float NN_LEAK = 0.0625f;

// One path. Rows and sums may stand anywhere in memory; `count` is their length in floats, at
// least 1.
struct NnKernels {
    const char* name; // of the instructions, for the benchmark and tests

    // Subtracts the first `removed` rows from `sums` in their order, then adds the `added` rows
    // behind them.
    void (*update)(float* sums, const float* const* rows, int removed, int added, int count);

    // Dot products of the activated sums with two rows. The rows may be the same.
    void (*output)(float result[2], const float* sums, const float* row0, const float* row1,
                   int count);

    // Both at once, for the sums as they are afterwards: each is met while it is at hand.
    void (*update_output)(float result[2], float* sums, const float* const* rows, int removed,
                          int added, const float* row0, const float* row1, int count);

    // Activates: out[i] = larger one of in[i] and in[i] * NN_LEAK. `out` may be `in`.
    void (*activate)(float* out, const float* in, int count);

    // Dot product of two rows.
    float (*dot)(const float* a, const float* b, int count);
};

extern const NnKernels NN_PLAIN; // any processor
#if defined(__x86_64__) || defined(__aarch64__) || defined(__wasm_simd128__)
#define NN_HAS_16_BYTES
extern const NnKernels NN_16_BYTES;
#endif
#if defined(__x86_64__)
extern const NnKernels NN_AVX2;
extern const NnKernels NN_AVX512;
#endif

// The path in use. Set once at start-up; tests change it between searches.
extern const NnKernels* nn_kernels;

// Names of all paths of all processors, the narrowest first.
constexpr const char* NN_PATH_NAMES[] = {"plain", "sse2", "neon", "simd128", "avx2", "avx512"};

// Chooses a path by name. An empty text or null takes the widest that this processor has. Returns
// false, with no change, for a name that is unknown or a path that the processor can't run.
bool NnSelectPath(const char* name);
