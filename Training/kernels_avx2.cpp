#include "Training/kernels_body.h"

const Kernels KERNELS_AVX2 = {"avx2", forward, backward, step, add, average};
