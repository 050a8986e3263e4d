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

// The sums go to registers, a block at a time, and all rows pass over them there.
template <int REGISTERS>
inline void update_block(float* sums, const float* const* rows, int removed, int all, int at) {
    Vector block[REGISTERS];
    for (int k = 0; k < REGISTERS; k++) block[k] = load(sums + at + k * WIDTH);
    for (int r = 0; r < removed; r++)
        for (int k = 0; k < REGISTERS; k++) block[k] -= load(rows[r] + at + k * WIDTH);
    for (int r = removed; r < all; r++)
        for (int k = 0; k < REGISTERS; k++) block[k] += load(rows[r] + at + k * WIDTH);
    for (int k = 0; k < REGISTERS; k++) store(sums + at + k * WIDTH, block[k]);
}

void update(float* sums, const float* const* rows, int removed, int added, int count) {
    const int all = removed + added;
    int at = 0;
    for (; at + BLOCK * WIDTH <= count; at += BLOCK * WIDTH)
        update_block<BLOCK>(sums, rows, removed, all, at);
    for (; at + WIDTH <= count; at += WIDTH) update_block<1>(sums, rows, removed, all, at);
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

void output(float result[2], const float* sums, const float* row0, const float* row1, int count) {
    Vector part0[GROUPS] = {}, part1[GROUPS] = {};
    int at = 0;
    for (; at + NN_LANES <= count; at += NN_LANES)
        for (int g = 0; g < GROUPS; g++) {
            Vector x = activated(load(sums + at + g * WIDTH));
            part0[g] += x * load(row0 + at + g * WIDTH);
            part1[g] += x * load(row1 + at + g * WIDTH);
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
