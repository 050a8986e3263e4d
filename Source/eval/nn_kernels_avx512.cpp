// The network's loops with registers of 64 bytes. Compiled for AVX512, so nothing here may run
// before NnSelectPath has looked at the processor.

#if defined(__x86_64__)

#define VECTOR_BYTES 64
#include "eval/nn_kernels_vector.h"

const NnKernels NN_AVX512 = {"avx512", update, output, update_output, activate, dot};

#endif
