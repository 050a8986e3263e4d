#include "Training/kernels.h"

const Kernels& best_kernels() {
    __builtin_cpu_init();
    if (__builtin_cpu_supports("avx512f")) return KERNELS_AVX512;
    if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma")) return KERNELS_AVX2;
    return KERNELS_SSE2;
}
