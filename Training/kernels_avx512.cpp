#include "Training/kernels_body.h"

const Kernels KERNELS_AVX512 = {"avx512", forward, backward, step, add, average};
