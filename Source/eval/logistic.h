// logistic.h: from the network's output to a score, with the same bits on every machine.
//
// The output z means the winning chance 1 / (1 + exp(-z)), and a score is the logarithm of the
// chances of both sides. The system's library picks its loops by the processor, and they may differ
// in the last bit. Scores must not, so the exponential and the logarithm are made of the four basic
// operations alone, each rounded by itself. Nothing is kept; any thread may call these.

#pragma once

#include <algorithm>
#include <cstdint>

#include "base/bits.h"

// ln 2 as a sum: the first part has 21 bits of mantissa at most, so that its products with binary
// exponents are exact.
constexpr double LN2_HIGH = 0x1.62e4p-1, LN2_LOW = 0x1.7f7d1cf79abcap-20;

constexpr int EXPONENT_BIAS = 1023, MANTISSA_BITS = 52;

// 2 to the power of k, which is an exponent of normal numbers.
constexpr double power_of_two(int k) {
    return bits_as<double>(static_cast<uint64_t>(k + EXPONENT_BIAS) << MANTISSA_BITS);
}

// e to the power of x, within two units in the last place. Beyond 700 in size x counts as 700.
//
// x = k ln 2 + r with r at most ln 2 / 2 in size, and the Taylor series of e^r to the thirteenth
// power, whose rest is below 5e-18. The powers are summed in pairs to shorten the chain.
constexpr double exp_of(double x) {
    constexpr double MAX_SIZE = 700.0, INVERSE_LN2 = 1.4426950408889634;
    constexpr double C[14] = {1.0,
                              1.0,
                              1.0 / 2,
                              1.0 / 6,
                              1.0 / 24,
                              1.0 / 120,
                              1.0 / 720,
                              1.0 / 5040,
                              1.0 / 40320,
                              1.0 / 362880,
                              1.0 / 3628800,
                              1.0 / 39916800,
                              1.0 / 479001600,
                              1.0 / 6227020800};
    x = std::min(x > -MAX_SIZE ? x : -MAX_SIZE, MAX_SIZE); // no number counts as the least one
    const int k = static_cast<int>(x * INVERSE_LN2 + (x < 0 ? -0.5 : 0.5));
    const double r = (x - k * LN2_HIGH) - k * LN2_LOW;
    const double r2 = r * r, r4 = r2 * r2, r8 = r4 * r4;
    const double low = (C[2] + C[3] * r) + (C[4] + C[5] * r) * r2;
    const double middle = (C[6] + C[7] * r) + (C[8] + C[9] * r) * r2;
    const double high = (C[10] + C[11] * r) + (C[12] + C[13] * r) * r2;
    const double beyond = (low + middle * r4 + high * r8) * r2; // e^r - 1 - r
    return (1.0 + (r + beyond)) * power_of_two(k);
}

// The natural logarithm of x, within two units in the last place. `x` is positive, finite and no
// subnormal number.
//
// x = 2^k m with m between the roots of 1/2 and 2, and ln m = 2 artanh s where
// s = (m - 1) / (m + 1) is at most 0.172 in size: its series to the 21st power, whose rest is below
// 1e-17 of the sum.
constexpr double log_of(double x) {
    constexpr double ROOT_HALF = 0.70710678118654757;
    constexpr double C[10] = {2.0 / 3,  2.0 / 5,  2.0 / 7,  2.0 / 9,  2.0 / 11,
                              2.0 / 13, 2.0 / 15, 2.0 / 17, 2.0 / 19, 2.0 / 21};
    const auto bits = bits_as<uint64_t>(x);
    int k = static_cast<int>(bits >> MANTISSA_BITS) - EXPONENT_BIAS + 1;
    double m = x * power_of_two(-k); // 1/2 to 1
    if (m < ROOT_HALF) {
        m *= 2;
        k--;
    }
    const double f = m - 1.0; // exact
    const double s = f / (2.0 + f);
    const double s2 = s * s, s4 = s2 * s2, s8 = s4 * s4;
    const double low = (C[0] + C[1] * s2) + (C[2] + C[3] * s2) * s4;
    const double middle = (C[4] + C[5] * s2) + (C[6] + C[7] * s2) * s4;
    const double high = C[8] + C[9] * s2;
    const double beyond = (low + middle * s8 + high * (s8 * s8)) * s2; // ln m / s - 2
    // 2 s = f - s f, with f exact: the larger part of ln m carries no error of the division.
    return k * LN2_HIGH + (f - s * (f - beyond) + k * LN2_LOW);
}

// Scores end where the winning chance is within 0.00001 of certainty.
constexpr int NN_MIN_SCORE = -1919, NN_MAX_SCORE = 1919;

// The winning chance that an output means, 0 to 1.
constexpr float chance_of(float z) {
    return static_cast<float>(1.0 / (1.0 + exp_of(-static_cast<double>(z))));
}

// The score with a winning chance: its log odds, 166.67 units for each 1. The scale is 1000 / 6 to
// single precision, negative since the odds are taken upside down.
constexpr int score_of_chance(float chance) {
    constexpr double SCALE = -166.6666717529297, MIN_CHANCE = 1e-05, MAX_CHANCE = 0.99999;
    double p = chance;
    if (p < MIN_CHANCE) return NN_MIN_SCORE;
    if (p > MAX_CHANCE) return NN_MAX_SCORE;
    return static_cast<int>(log_of(1.0 / p - 1.0) * SCALE);
}

// The score of an output: score_of_chance(chance_of(z)) for every z, without the two functions.
int score_of_output(float z);
