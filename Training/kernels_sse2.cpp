#include "Training/kernels_body.h"

const Kernels KERNELS_SSE2 = {"sse2", forward, backward, step, add, average};
