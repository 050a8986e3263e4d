// random.h: SplitMix64, the generator of numbers for training data and tests.
//
// A counter with a fixed step and a mixer that makes its values random. The numbers depend on the
// seed alone, so that whatever was drawn can be drawn again. Plain values on the caller's memory;
// any thread.

#pragma once

#include <cstdint>

// The step of the counter: odd, and near 2^64 divided by the golden ratio.
constexpr uint64_t RANDOM_STEP = 0x9E3779B97F4A7C15ULL;

struct Random {
    uint64_t state; // the seed at first; every value is a good one
};

// Mixes all bits of a number into all bits of the result; no two numbers give the same.
constexpr uint64_t mix_bits(uint64_t number) {
    number = (number ^ (number >> 30)) * 0xBF58476D1CE4E5B9ULL;
    number = (number ^ (number >> 27)) * 0x94D049BB133111EBULL;
    return number ^ (number >> 31);
}

// The next number, each of 64 bits as likely as any other.
constexpr uint64_t next_random(Random& random) { return mix_bits(random.state += RANDOM_STEP); }

// A number from 0 to `limit` - 1; `limit` is at least 1. The preference for small numbers is below
// limit / 2^64.
constexpr int random_below(Random& random, int limit) {
    return static_cast<int>(next_random(random) % static_cast<uint64_t>(limit));
}

// Makes a seed of two numbers in which every bit of both counts.
constexpr uint64_t mix_seed(uint64_t a, uint64_t b) {
    return mix_bits(mix_bits(a + RANDOM_STEP) + b + RANDOM_STEP);
}
