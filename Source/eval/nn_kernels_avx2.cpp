// The network's loops with registers of 32 bytes. Compiled for AVX2, so nothing here may run before
// NnSelectPath has looked at the processor.

#if defined(__x86_64__)

#define VECTOR_BYTES 32
#include "eval/nn_kernels_vector.h"

const NnKernels NN_AVX2 = {"avx2", update, output, update_output, activate, dot};

#endif
