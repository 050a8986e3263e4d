#include "eval/nn_kernels.h"

#include <cstring>

static void update_plain(float* sums, const float* const* rows, int removed, int added, int count) {
    for (int r = 0; r < removed; r++)
        for (int i = 0; i < count; i++) sums[i] -= rows[r][i];
    for (int r = removed; r < removed + added; r++)
        for (int i = 0; i < count; i++) sums[i] += rows[r][i];
}

static float activated(float x) {
    float leak = x * NN_LEAK;
    return x > leak ? x : leak;
}

static void activate_plain(float* out, const float* in, int count) {
    for (int i = 0; i < count; i++) out[i] = activated(in[i]);
}

static float sum_of_lanes(float* lane) {
    for (int half = NN_LANES / 2; half > 0; half /= 2)
        for (int i = 0; i < half; i++) lane[i] += lane[i + half];
    return lane[0];
}

static float dot_plain(const float* a, const float* b, int count) {
    float lane[NN_LANES] = {};
    for (int i = 0; i < count; i++) lane[i % NN_LANES] += a[i] * b[i];
    return sum_of_lanes(lane);
}

static float activated_dot(const float* sums, const float* row, int count) {
    float lane[NN_LANES] = {};
    for (int i = 0; i < count; i++) lane[i % NN_LANES] += activated(sums[i]) * row[i];
    return sum_of_lanes(lane);
}

static void output_plain(float result[2], const float* sums, const float* row0, const float* row1,
                         int count) {
    result[0] = activated_dot(sums, row0, count);
    result[1] = activated_dot(sums, row1, count);
}

static void update_output_plain(float result[2], float* sums, const float* const* rows, int removed,
                                int added, const float* row0, const float* row1, int count) {
    update_plain(sums, rows, removed, added, count);
    output_plain(result, sums, row0, row1, count);
}

const NnKernels NN_PLAIN = {"plain",        update_plain, output_plain, update_output_plain,
                            activate_plain, dot_plain};

const NnKernels* nn_kernels = &NN_PLAIN;

// Tells whether this processor and the system can run the path.
static bool can_run(const NnKernels& path) {
#if defined(__x86_64__)
    if (&path == &NN_AVX512) return __builtin_cpu_supports("avx512f");
    if (&path == &NN_AVX2) return __builtin_cpu_supports("avx2");
#endif
    (void)path;
    return true;
}

bool NnSelectPath(const char* name) {
    // The widest first.
    static const NnKernels* const PATHS[] = {
#if defined(__x86_64__)
        &NN_AVX512,
        &NN_AVX2,
#endif
#if defined(NN_HAS_16_BYTES)
        &NN_16_BYTES,
#endif
        &NN_PLAIN
    };

    bool any = !name || !name[0];
    for (const NnKernels* path : PATHS) {
        if (!any && strcmp(name, path->name) != 0) continue;
        if (!can_run(*path)) continue;
        nn_kernels = path;
        return true;
    }
    return false;
}
