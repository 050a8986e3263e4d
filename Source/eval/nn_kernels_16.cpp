// The network's loops with registers of 16 bytes, which every x86-64 and ARM 64 processor has, and
// every WebAssembly engine of today.

#include "eval/nn_kernels.h"

#if defined(NN_HAS_16_BYTES)

#define VECTOR_BYTES 16
#include "eval/nn_kernels_vector.h"

#if defined(__x86_64__)
constexpr char NAME[] = "sse2";
#elif defined(__aarch64__)
constexpr char NAME[] = "neon";
#else
constexpr char NAME[] = "simd128";
#endif

const NnKernels NN_16_BYTES = {NAME, update, output, update_output, activate, dot};

#endif
