// The network's loops with registers of 16 bytes, which every x86-64 processor has.

#if defined(__x86_64__)

#define VECTOR_BYTES 16
#include "eval/nn_kernels_vector.h"

const NnKernels NN_SSE2 = {"sse2", update, output, update_output, activate, dot};

#endif
