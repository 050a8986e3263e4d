// kernels_body.h: the loops of kernels.h; included by one source file for each instruction set,
// which is compiled with the options for it and defines KERNELS_NAME. No standard header with
// inline functions may be included here, since the linker could take another set's copy; those of
// immintrin.h are never more than instructions.

#include <immintrin.h>

#include "Training/kernels.h"
#include "eval/nn_kernels.h"

// One register, and the registers of a block.
#if defined(__AVX512F__)
constexpr int LANES = 16;
#elif defined(__AVX__)
constexpr int LANES = 8;
#else
constexpr int LANES = 4;
#endif
typedef float Lanes __attribute__((vector_size(LANES * sizeof(float)), may_alias));
constexpr int PARTS = BLOCK / LANES;

// A row by its distance from the first, see slice.h.
static inline const Lanes* row_at(const float* rows, uint16_t place) {
    return reinterpret_cast<const Lanes*>(reinterpret_cast<const char*>(rows) + size_t{place} * 8);
}
static inline Lanes* row_at(float* rows, uint16_t place) {
    return reinterpret_cast<Lanes*>(reinterpret_cast<char*>(rows) + size_t{place} * 8);
}

static inline const Lanes* lanes(const float* floats) {
    return reinterpret_cast<const Lanes*>(floats);
}
static inline Lanes* lanes(float* floats) { return reinterpret_cast<Lanes*>(floats); }

// The upper halves of a register's floats, rounded, and back.
typedef uint32_t Bits __attribute__((vector_size(LANES * sizeof(uint32_t))));
typedef uint16_t Halves __attribute__((vector_size(LANES * sizeof(uint16_t)), may_alias));

static inline Halves upper_halves(Lanes floats) {
    constexpr uint32_t ROUND = 0x8000;
    const Bits halves = ((Bits)floats + ROUND) >> 16;
#if defined(__AVX512F__)
    // One instruction, which compilers miss, and of which this form gives no warning.
    return (Halves)_mm512_maskz_cvtepi32_epi16(0xFFFF, (__m512i)halves);
#else
    return __builtin_convertvector(halves, Halves);
#endif
}
static inline Lanes whole_floats(Halves halves) {
    return (Lanes)(__builtin_convertvector(halves, Bits) << 16);
}

// Sum of a register's lanes: halves are added until four lanes are left.
typedef float Eight __attribute__((vector_size(8 * sizeof(float)), may_alias));
typedef float Four __attribute__((vector_size(4 * sizeof(float)), may_alias));

static inline float sum_lanes(Lanes sum) {
    const Lanes* whole = &sum;
#if defined(__AVX512F__)
    const Eight* eights = reinterpret_cast<const Eight*>(whole);
    const Eight eight = eights[0] + eights[1];
    const Four* fours = reinterpret_cast<const Four*>(&eight);
    const Four four = fours[0] + fours[1];
#elif defined(__AVX__)
    const Four* fours = reinterpret_cast<const Four*>(whole);
    const Four four = fours[0] + fours[1];
#else
    const Four four = *whole;
#endif
    return (four[0] + four[2]) + (four[1] + four[3]);
}

// Mix of the output rows that a position uses, in one register.
static inline Lanes mix_rows(const Lanes* rows, int part, float s0, float s1, float s2) {
    return rows[part] * s0 + rows[PARTS + part] * s1 + rows[2 * PARTS + part] * s2;
}

static void forward(const ForwardJob& job) {
    const Slice& slice = *job.slice;
    const float* weights = job.weights;
    const Lanes* rows = lanes(job.rows);
    Halves* hidden = reinterpret_cast<Halves*>(job.hidden);
    float* sums = job.sums;
    const Lanes zero = {}, bias = zero + job.bias;
    const uint16_t* feature = slice.features;
    for (size_t i = 0, count = slice.count; i < count; i++, hidden += PARTS) {
        const SlicePosition& position = slice.positions[i];
        Lanes x[PARTS];
        for (int k = 0; k < PARTS; k++) x[k] = bias;
        for (const uint16_t* end = feature + position.inputs; feature < end; feature++) {
            const Lanes* w = row_at(weights, *feature);
            for (int k = 0; k < PARTS; k++) x[k] += w[k];
        }
        Lanes sum = {};
        for (int k = 0; k < PARTS; k++) {
            x[k] = x[k] > zero ? x[k] : x[k] * NN_LEAK;
            hidden[k] = upper_halves(x[k]);
            sum += x[k] * mix_rows(rows, k, position.rows[0], position.rows[1], position.rows[2]);
        }
        sums[i] = sum_lanes(sum);
    }
}

// Leaves the slopes of the units' inputs in the scratch and adds up those of the rows and the bias.
static void backward_rows(const BackwardJob& job) {
    const Lanes* rows = lanes(job.rows);
    const Lanes zero = {};
    Lanes slopes[NN_ROWS + 1][PARTS];
    Lanes* sums = lanes(job.slopes + NN_INPUTS * BLOCK);
    for (int row = 0; row <= NN_ROWS; row++)
        for (int k = 0; k < PARTS; k++) slopes[row][k] = sums[row * PARTS + k];
    for (size_t i = 0; i < job.slice->count; i++) {
        const SlicePosition& position = job.slice->positions[i];
        const Halves* hidden = reinterpret_cast<const Halves*>(job.hidden + i * BLOCK);
        Lanes* scratch = lanes(job.scratch + i * BLOCK);
        const float t = job.outputs[i];
        const float t0 = t * position.rows[0], t1 = t * position.rows[1], t2 = t * position.rows[2];
        for (int k = 0; k < PARTS; k++) {
            const Lanes x = whole_floats(hidden[k]), mixed = mix_rows(rows, k, t0, t1, t2);
            const Lanes slope = x > zero ? mixed : mixed * NN_LEAK;
            scratch[k] = slope;
            slopes[0][k] += x * t0;
            slopes[1][k] += x * t1;
            slopes[2][k] += x * t2;
            slopes[NN_ROWS][k] += slope;
        }
    }
    for (int row = 0; row <= NN_ROWS; row++)
        for (int k = 0; k < PARTS; k++) sums[row * PARTS + k] = slopes[row][k];
}

// Input by input, so that its slopes stay in registers while those of the positions are added:
// nothing is written meanwhile.
static void backward(const BackwardJob& job) {
    backward_rows(job);
    const uint16_t* user = job.slice->users;
    for (size_t u = 0; u < job.slice->used; u++) {
        Lanes* slopes = row_at(job.slopes, job.slice->used_inputs[u]);
        Lanes sum[PARTS];
        for (int k = 0; k < PARTS; k++) sum[k] = slopes[k];
        for (const uint16_t* end = user + job.slice->uses[u]; user < end; user++) {
            const Lanes* slope = row_at(job.scratch, *user);
            for (int k = 0; k < PARTS; k++) sum[k] += slope[k];
        }
        for (int k = 0; k < PARTS; k++) slopes[k] = sum[k];
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

static void add(float* sum, const float* more, size_t count) {
    float* __restrict sums = sum;
    for (size_t i = 0; i < count; i++) sums[i] += more[i];
}

static void average(float* mean, const float* weights, size_t count, float weight) {
    float* __restrict means = mean;
    for (size_t i = 0; i < count; i++) means[i] += (weights[i] - means[i]) * weight;
}
