// nn_kernels_vector.h: the loops of one vector path.
//
// Included by one source file for each path, which is compiled for that path's instructions and
// has set VECTOR_BYTES to the size of a register. Nothing from here, or from any header that these
// files include, may be an inline function with external linkage: the linker would keep one of
// several copies, perhaps one that the processor can't run.

#include "eval/nn_kernels.h"

namespace {

using Vector [[gnu::vector_size(VECTOR_BYTES)]] = float;

// The same in memory: at any address, and seen as floats by other code.
using Stored [[gnu::vector_size(VECTOR_BYTES), gnu::aligned(4), gnu::may_alias]] = float;

constexpr int WIDTH = VECTOR_BYTES / 4; // floats in a register
constexpr int BLOCK = 8;                // registers of sums that are worked at together
constexpr int GROUPS = NN_LANES / WIDTH;

inline Vector load(const float* from) { return *reinterpret_cast<const Stored*>(from); }
inline void store(float* to, Vector value) { *reinterpret_cast<Stored*>(to) = value; }

inline Vector activated(Vector x) {
    Vector leak = x * NN_LEAK;
    return x > leak ? x : leak;
}

inline float activated_one(float x) {
    float leak = x * NN_LEAK;
    return x > leak ? x : leak;
}

// The sums go to registers, a block at a time, and all rows pass over them there. They are left in
// `block` too.
template <int REGISTERS>
inline void update_block(Vector* block, float* sums, const float* const* rows, int removed, int all,
                         int at) {
    for (int k = 0; k < REGISTERS; k++) block[k] = load(sums + at + k * WIDTH);
    for (int r = 0; r < removed; r++)
        for (int k = 0; k < REGISTERS; k++) block[k] -= load(rows[r] + at + k * WIDTH);
    for (int r = removed; r < all; r++)
        for (int k = 0; k < REGISTERS; k++) block[k] += load(rows[r] + at + k * WIDTH);
    for (int k = 0; k < REGISTERS; k++) store(sums + at + k * WIDTH, block[k]);
}

void update(float* sums, const float* const* rows, int removed, int added, int count) {
    const int all = removed + added;
    Vector block[BLOCK];
    int at = 0;
    for (; at + BLOCK * WIDTH <= count; at += BLOCK * WIDTH)
        update_block<BLOCK>(block, sums, rows, removed, all, at);
    for (; at + WIDTH <= count; at += WIDTH) update_block<1>(block, sums, rows, removed, all, at);
    for (; at < count; at++) {
        float sum = sums[at];
        for (int r = 0; r < removed; r++) sum -= rows[r][at];
        for (int r = removed; r < all; r++) sum += rows[r][at];
        sums[at] = sum;
    }
}

float sum_of_lanes(float* lane) {
    for (int half = NN_LANES / 2; half > 0; half /= 2)
        for (int i = 0; i < half; i++) lane[i] += lane[i + half];
    return lane[0];
}

// Adds up the lanes of a sum that lies in registers, the upper half to the lower half each time.
inline float sum_of_parts(const Vector* part) {
    Vector sum[GROUPS];
    for (int g = 0; g < GROUPS; g++) sum[g] = part[g];
    for (int half = GROUPS / 2; half > 0; half /= 2)
        for (int g = 0; g < half; g++) sum[g] += sum[g + half];
#if VECTOR_BYTES == 64
    auto eight = __builtin_shufflevector(sum[0], sum[0], 0, 1, 2, 3, 4, 5, 6, 7)
               + __builtin_shufflevector(sum[0], sum[0], 8, 9, 10, 11, 12, 13, 14, 15);
#elif VECTOR_BYTES == 32
    auto eight = sum[0];
#endif
#if VECTOR_BYTES >= 32
    auto four = __builtin_shufflevector(eight, eight, 0, 1, 2, 3)
              + __builtin_shufflevector(eight, eight, 4, 5, 6, 7);
#else
    auto four = sum[0];
#endif
    return (four[0] + four[2]) + (four[1] + four[3]);
}

// Adds up what the lanes hold, and the products of the floats from `at` on, which fill no register.
inline void finish_output(float result[2], const Vector* part0, const Vector* part1,
                          const float* sums, const float* row0, const float* row1, int at,
                          int count) {
    if (at == count) {
        result[0] = sum_of_parts(part0);
        result[1] = sum_of_parts(part1);
        return;
    }
    float lane0[NN_LANES], lane1[NN_LANES];
    for (int g = 0; g < GROUPS; g++) {
        store(lane0 + g * WIDTH, part0[g]);
        store(lane1 + g * WIDTH, part1[g]);
    }
    for (int i = 0; at < count; at++, i++) {
        float x = activated_one(sums[at]);
        lane0[i] += x * row0[at];
        lane1[i] += x * row1[at];
    }
    result[0] = sum_of_lanes(lane0);
    result[1] = sum_of_lanes(lane1);
}

void output(float result[2], const float* sums, const float* row0, const float* row1, int count) {
    Vector part0[GROUPS] = {}, part1[GROUPS] = {};
    int at = 0;
    for (; at + NN_LANES <= count; at += NN_LANES)
        for (int g = 0; g < GROUPS; g++) {
            Vector x = activated(load(sums + at + g * WIDTH));
            part0[g] += x * load(row0 + at + g * WIDTH);
            part1[g] += x * load(row1 + at + g * WIDTH);
        }
    finish_output(result, part0, part1, sums, row0, row1, at, count);
}

void update_output(float result[2], float* sums, const float* const* rows, int removed, int added,
                   const float* row0, const float* row1, int count) {
    // The lanes of both outputs and a block must find room in the registers.
    constexpr int SHARED = 4;
    if (VECTOR_BYTES < 32 || count % (SHARED * WIDTH) != 0) {
        update(sums, rows, removed, added, count);
        output(result, sums, row0, row1, count);
        return;
    }
    Vector part0[GROUPS] = {}, part1[GROUPS] = {}, block[SHARED];
    for (int at = 0; at < count; at += SHARED * WIDTH) {
        update_block<SHARED>(block, sums, rows, removed, removed + added, at);
        for (int k = 0; k < SHARED; k++) {
            Vector x = activated(block[k]);
            part0[k % GROUPS] += x * load(row0 + at + k * WIDTH);
            part1[k % GROUPS] += x * load(row1 + at + k * WIDTH);
        }
    }
    finish_output(result, part0, part1, sums, row0, row1, count, count);
}

void activate(float* out, const float* in, int count) {
    int at = 0;
    for (; at + WIDTH <= count; at += WIDTH) store(out + at, activated(load(in + at)));
    for (; at < count; at++) out[at] = activated_one(in[at]);
}

float dot(const float* a, const float* b, int count) {
    Vector part[GROUPS] = {};
    int at = 0;
    for (; at + NN_LANES <= count; at += NN_LANES)
        for (int g = 0; g < GROUPS; g++)
            part[g] += load(a + at + g * WIDTH) * load(b + at + g * WIDTH);

    float lane[NN_LANES];
    for (int g = 0; g < GROUPS; g++) store(lane + g * WIDTH, part[g]);
    for (int i = 0; at < count; at++, i++) lane[i] += a[at] * b[at];
    return sum_of_lanes(lane);
}

} // namespace
