// kernels_body.h: the loops of kernels.h; included by one source file for each instruction set,
// which is compiled with the options for it and defines KERNELS_NAME. No standard header with
// inline functions may be included here: the linker could take another set's copy.

#include "Training/kernels.h"
#include "eval/nn_kernels.h"

// One register, and the registers of a block. A group of them is worked at together, few enough to
// leave registers free for other things.
#if defined(__AVX512F__)
constexpr int LANES = 16, GROUP = 4;
#elif defined(__AVX__)
constexpr int LANES = 8, GROUP = 8;
#else
constexpr int LANES = 4, GROUP = 8;
#endif
typedef float Lanes __attribute__((vector_size(LANES * sizeof(float)), may_alias));
constexpr int PARTS = BLOCK / LANES;
static_assert(PARTS % GROUP == 0, "whole groups");

static inline const Lanes* lanes(const float* floats) {
    return reinterpret_cast<const Lanes*>(floats);
}
static inline Lanes* lanes(float* floats) { return reinterpret_cast<Lanes*>(floats); }

// Mix of the output rows that a position uses, in one register.
static inline Lanes mix_rows(const Lanes* rows, int part, float s0, float s1, float s2) {
    return rows[part] * s0 + rows[PARTS + part] * s1 + rows[2 * PARTS + part] * s2;
}

static void forward(const ForwardJob& job) {
    const Lanes* rows = lanes(job.rows);
    const Lanes zero = {};
    for (size_t i = 0; i < job.count; i++) {
        const NetworkInput& input = job.inputs[i];
        const float s0 = input.rows[0], s1 = input.rows[1], s2 = input.rows[2];
        Lanes* hidden = lanes(job.hidden + i * BLOCK);
        Lanes sum = {};
        for (int group = 0; group < PARTS; group += GROUP) {
            Lanes x[GROUP];
            for (int k = 0; k < GROUP; k++) x[k] = zero + job.bias;
            for (int f = 0; f < input.count; f++) {
                const Lanes* w = lanes(job.weights + input.features[f] * BLOCK) + group;
                for (int k = 0; k < GROUP; k++) x[k] += w[k];
            }
            for (int k = 0; k < GROUP; k++) {
                x[k] = x[k] > zero ? x[k] : x[k] * NN_LEAK;
                hidden[group + k] = x[k];
                sum += x[k] * mix_rows(rows, group + k, s0, s1, s2);
            }
        }
        float total = 0;
        for (int lane = 0; lane < LANES; lane++) total += sum[lane];
        job.sums[i] = total;
    }
}

static void backward(const BackwardJob& job) {
    const Lanes* rows = lanes(job.rows);
    Lanes* row_slopes = lanes(job.row_slopes);
    Lanes* bias_slopes = lanes(job.bias_slopes);
    const Lanes zero = {};
    for (size_t i = 0; i < job.count; i++) {
        const NetworkInput& input = job.inputs[i];
        const Lanes* hidden = lanes(job.hidden + i * BLOCK);
        const float t = job.slopes[i];
        const float t0 = t * input.rows[0], t1 = t * input.rows[1], t2 = t * input.rows[2];
        for (int group = 0; group < PARTS; group += GROUP) {
            Lanes d[GROUP];
            for (int k = 0; k < GROUP; k++) {
                const int part = group + k;
                Lanes x = hidden[part], slope = mix_rows(rows, part, t0, t1, t2);
                d[k] = x > zero ? slope : slope * NN_LEAK;
                row_slopes[part] += x * t0;
                row_slopes[PARTS + part] += x * t1;
                row_slopes[2 * PARTS + part] += x * t2;
                bias_slopes[part] += d[k];
            }
            for (int f = 0; f < input.count; f++) {
                Lanes* w = lanes(job.weight_slopes + input.features[f] * BLOCK) + group;
                for (int k = 0; k < GROUP; k++) w[k] += d[k];
            }
        }
    }
}

static void step(const StepJob& job) {
    constexpr float BETA1 = 0.9f, BETA2 = 0.999f, TINY = 1e-8f;
    float* __restrict weights = job.weights;
    float* __restrict first = job.first;
    float* __restrict second = job.second;
    const float* __restrict slopes = job.slopes;
    const float rate = job.rate * job.correct1, shrink = job.shrink, limit = job.limit;
    const float correct2 = job.correct2;
    for (size_t i = 0; i < job.count; i++) {
        float g = slopes[i];
        float m = first[i] * BETA1 + g * (1.0f - BETA1);
        float v = second[i] * BETA2 + g * g * (1.0f - BETA2);
        float w = weights[i] * shrink - rate * m / (__builtin_sqrtf(v * correct2) + TINY);
        w = w > limit ? limit : w;
        weights[i] = w < -limit ? -limit : w;
        first[i] = m;
        second[i] = v;
    }
}
