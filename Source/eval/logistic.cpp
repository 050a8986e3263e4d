// Scores of outputs, by a table.
//
// The score never falls as the output grows, so that it is told by the outputs at which it rises.
// These are found by the compiler.

#include "eval/logistic.h"

#include <array>
#include <cstddef>
#include <limits>

#include "base/bits.h"

constexpr int STEPS = NN_MAX_SCORE - NN_MIN_SCORE; // the score rises by 1 at each

// Nearly the score of an output of 1.
constexpr float UNITS = 166.66667f;

// Numbers the floats in their order; there are two of 0.
static constexpr int32_t place_of(float z) {
    auto bits = bits_as<int32_t>(z);
    return bits >= 0 ? bits : std::numeric_limits<int32_t>::min() - bits;
}
static constexpr float float_at(int32_t place) {
    return bits_as<float>(place >= 0 ? place : std::numeric_limits<int32_t>::min() - place);
}

static constexpr bool reaches(int32_t place, int score) {
    return score_of_chance(chance_of(float_at(place))) >= score;
}

// The least output that has at least this score, searched for around where it should be.
static constexpr float least_output(int score) {
    int32_t low = place_of(static_cast<float>(score > 0 ? score : score - 1) / UNITS), high = low;
    for (int32_t width = 1; reaches(low, score); width *= 2) low -= width;
    for (int32_t width = 1; !reaches(high, score); width *= 2) high += width;
    while (high - low > 1) {
        int32_t middle = low + (high - low) / 2;
        (reaches(middle, score) ? high : low) = middle;
    }
    return float_at(high);
}

// A compiler gives each constant so much work and no more, so they are made by the hundred.
constexpr size_t PART = 101, PARTS = STEPS / PART;
static_assert(PARTS * PART == STEPS);

static constexpr std::array<float, PART> make_part(size_t part) {
    std::array<float, PART> outputs = {};
    for (size_t i = 0; i < PART; i++)
        outputs[i] = least_output(NN_MIN_SCORE + 1 + static_cast<int>(part * PART + i));
    return outputs;
}

template <size_t NUMBER>
static constexpr std::array<float, PART> OUTPUTS_PART = make_part(NUMBER);

template <size_t... NUMBERS>
static constexpr std::array<float, STEPS> join_parts(std::index_sequence<NUMBERS...>) {
    const std::array<float, PART> parts[] = {OUTPUTS_PART<NUMBERS>...};
    std::array<float, STEPS> outputs = {};
    for (size_t i = 0; i < outputs.size(); i++) outputs[i] = parts[i / PART][i % PART];
    return outputs;
}

// [i]: the least output with a score of NN_MIN_SCORE + 1 + i or more. Near the upper end some are
// equal: single precision has no more chances there.
static constexpr std::array<float, STEPS> OUTPUTS = join_parts(std::make_index_sequence<PARTS>());

int score_of_output(float z) {
    // Whatever is no number has a chance of 1.
    if (!(z < OUTPUTS[STEPS - 1])) return NN_MAX_SCORE;
    if (z < OUTPUTS[0]) return NN_MIN_SCORE;
    // The line through the table is never far off.
    int at = static_cast<int>(z * UNITS) - NN_MIN_SCORE - 1;
    at = std::clamp(at, 0, STEPS - 2);
    while (z < OUTPUTS[at]) at--;
    while (z >= OUTPUTS[at + 1]) at++;
    return NN_MIN_SCORE + 1 + at;
}
