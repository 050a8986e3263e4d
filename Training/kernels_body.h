// kernels_body.h: the loops of kernels.h; included by one source file for each instruction set,
// which is compiled with the options for it and defines KERNELS_NAME. No standard header with
// inline functions may be included here: the linker could take another set's copy.

#include "Training/kernels.h"

typedef float Lanes __attribute__((vector_size(64), may_alias));
constexpr int LANES = 16;
constexpr int PARTS = BLOCK / LANES;
static_assert(PARTS == 4, "the loops below are written out for four parts");

static inline const Lanes* lanes(const float* floats) {
    return reinterpret_cast<const Lanes*>(floats);
}
static inline Lanes* lanes(float* floats) { return reinterpret_cast<Lanes*>(floats); }

static void forward(const ForwardJob& job) {
    const Lanes* row0 = lanes(job.rows);
    const Lanes* row1 = lanes(job.rows + BLOCK);
    const Lanes* row2 = lanes(job.rows + 2 * BLOCK);
    const Lanes zero = {};
    for (size_t i = 0; i < job.count; i++) {
        const NetworkInput& input = job.inputs[i];
        Lanes x0 = zero + job.bias, x1 = x0, x2 = x0, x3 = x0;
        for (int f = 0; f < input.count; f++) {
            const Lanes* w = lanes(job.weights + input.features[f] * BLOCK);
            x0 += w[0];
            x1 += w[1];
            x2 += w[2];
            x3 += w[3];
        }
        x0 = x0 > zero ? x0 : x0 * LEAK;
        x1 = x1 > zero ? x1 : x1 * LEAK;
        x2 = x2 > zero ? x2 : x2 * LEAK;
        x3 = x3 > zero ? x3 : x3 * LEAK;
        Lanes* hidden = lanes(job.hidden + i * BLOCK);
        hidden[0] = x0;
        hidden[1] = x1;
        hidden[2] = x2;
        hidden[3] = x3;

        const float s0 = input.rows[0], s1 = input.rows[1], s2 = input.rows[2];
        Lanes sum = x0 * (row0[0] * s0 + row1[0] * s1 + row2[0] * s2);
        sum += x1 * (row0[1] * s0 + row1[1] * s1 + row2[1] * s2);
        sum += x2 * (row0[2] * s0 + row1[2] * s1 + row2[2] * s2);
        sum += x3 * (row0[3] * s0 + row1[3] * s1 + row2[3] * s2);
        float total = 0;
        for (int lane = 0; lane < LANES; lane++) total += sum[lane];
        job.sums[i] = total;
    }
}

// Adds the slopes of one part of the hidden units to the three output rows.
static inline void add_row_slopes(Lanes* slopes, int part, Lanes x, float t0, float t1, float t2) {
    slopes[part] += x * t0;
    slopes[PARTS + part] += x * t1;
    slopes[2 * PARTS + part] += x * t2;
}

static void backward(const BackwardJob& job) {
    const Lanes* row0 = lanes(job.rows);
    const Lanes* row1 = lanes(job.rows + BLOCK);
    const Lanes* row2 = lanes(job.rows + 2 * BLOCK);
    Lanes* row_slopes = lanes(job.row_slopes);
    Lanes* bias_slopes = lanes(job.bias_slopes);
    const Lanes zero = {};
    for (size_t i = 0; i < job.count; i++) {
        const NetworkInput& input = job.inputs[i];
        const Lanes* hidden = lanes(job.hidden + i * BLOCK);
        const float t = job.slopes[i];
        const float t0 = t * input.rows[0], t1 = t * input.rows[1], t2 = t * input.rows[2];
        Lanes d[PARTS];
        for (int part = 0; part < PARTS; part++) {
            Lanes x = hidden[part];
            Lanes slope = row0[part] * t0 + row1[part] * t1 + row2[part] * t2;
            d[part] = x > zero ? slope : slope * LEAK;
            add_row_slopes(row_slopes, part, x, t0, t1, t2);
            bias_slopes[part] += d[part];
        }
        const Lanes d0 = d[0], d1 = d[1], d2 = d[2], d3 = d[3];
        for (int f = 0; f < input.count; f++) {
            Lanes* w = lanes(job.weight_slopes + input.features[f] * BLOCK);
            w[0] += d0;
            w[1] += d1;
            w[2] += d2;
            w[3] += d3;
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
