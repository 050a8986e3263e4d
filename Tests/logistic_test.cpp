// The exponential and the logarithm behind the network's scores.

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

#include <gtest/gtest.h>

#include "base/random.h"
#include "eval/logistic.h"

namespace {

// From -1 to 1.
double random_fraction(Random& random) {
    return (random_below(random, 2000001) - 1000000 + random_below(random, 1000) * 0.001) * 1e-6;
}

// Units in the last place of `exact`.
long double distance(double value, long double exact) {
    auto near = static_cast<double>(exact);
    double unit = std::nextafter(std::abs(near), INFINITY) - std::abs(near);
    return std::abs(static_cast<long double>(value) - exact) / static_cast<long double>(unit);
}

// As NnEval makes a score of the network's output, with the system's functions.
int library_score(float z) {
    auto p = static_cast<double>(static_cast<float>(1.0 / (1.0 + std::exp(-double{z}))));
    return static_cast<int>(std::log(1.0 / p - 1.0) * -166.6666717529297);
}

int own_score(float z) { return score_of_chance(chance_of(z)); }

// The neighbour of a float, `steps` further up.
float neighbour(float z, int steps) {
    for (; steps > 0; steps--) z = std::nextafter(z, INFINITY);
    for (; steps < 0; steps++) z = std::nextafter(z, -INFINITY);
    return z;
}

} // namespace

TEST(Logistic, FunctionsAreExactToTwoUnitsInTheLastPlace) {
    Random random = {1};
    long double worst_power = 0, worst_logarithm = 0;
    for (int i = 0; i < 200000; i++) {
        double x = 20.0 * random_fraction(random);
        worst_power = std::max(worst_power, distance(exp_of(x), expl(x)));
        for (double y : {std::exp(x), 1.0 + x * 1e-5})
            worst_logarithm = std::max(worst_logarithm, distance(log_of(y), logl(y)));
    }
    EXPECT_LT(worst_power, 2);
    EXPECT_LT(worst_logarithm, 2);
}

// The last bits on one machine stand for those on all: both functions are chains of basic
// operations, and a compiler that fused two of them would change these values.
TEST(Logistic, BitsAreFixed) {
    Random random = {7};
    uint64_t bits = 0;
    for (int i = 0; i < 100000; i++) {
        double x = 11.0 * random_fraction(random);
        bits = bits * 31 + std::bit_cast<uint64_t>(exp_of(x));
        bits = bits * 31 + std::bit_cast<uint64_t>(log_of(std::abs(x) + 1e-5));
    }
    EXPECT_EQ(bits, 1338908434009314833u);
}

TEST(Logistic, SpecialValues) {
    EXPECT_EQ(exp_of(0.0), 1.0);
    EXPECT_EQ(log_of(1.0), 0.0);
    EXPECT_EQ(log_of(0.5), -log_of(2.0));
    EXPECT_EQ(exp_of(1e300), exp_of(700.0));
    EXPECT_EQ(exp_of(-INFINITY), exp_of(-700.0));
    EXPECT_EQ(exp_of(std::numeric_limits<double>::quiet_NaN()), exp_of(-700.0));
}

TEST(Logistic, ScoresAreThoseOfTheSystemsFunctions) {
    Random random = {3};
    for (int i = 0; i < 300000; i++) {
        auto z = static_cast<float>(11.5 * random_fraction(random));
        ASSERT_EQ(own_score(z), library_score(z)) << z;
    }
}

// The score never falls, so that it is enough to look at where it rises: between two outputs with
// the same score no other can lie.
TEST(ScoreOfOutput, IsThatOfTheFunctionsAroundEveryRise) {
    int rises = 0;
    for (int score = NN_MIN_SCORE; score < NN_MAX_SCORE; score++) {
        const float near = static_cast<float>(score) / 166.66667f;
        float low = near - 0.1f, high = near + 0.1f;
        ASSERT_LE(own_score(low), score);
        ASSERT_GT(own_score(high), score) << score;
        while (std::nextafter(low, high) < high) { // bisection
            float middle = low + (high - low) / 2;
            if (middle <= low || middle >= high) break;
            (own_score(middle) <= score ? low : high) = middle;
        }
        rises += own_score(low) == score;
        for (int step = -3; step <= 3; step++) {
            float z = neighbour(low, step);
            ASSERT_EQ(score_of_output(z), own_score(z)) << z;
        }
    }
    EXPECT_GT(rises, 3000) << "most scores can be reached";
}

TEST(ScoreOfOutput, IsThatOfTheFunctionsAnywhere) {
    Random random = {4};
    for (int i = 0; i < 300000; i++) {
        auto z = static_cast<float>(12.5 * random_fraction(random));
        ASSERT_EQ(score_of_output(z), own_score(z)) << z;
    }
    for (float z : {0.0f, -0.0f, 1e-30f, -1e-30f, 12.0f, -12.0f, 800.0f, -800.0f, INFINITY,
                    -INFINITY, std::numeric_limits<float>::quiet_NaN()})
        EXPECT_EQ(score_of_output(z), own_score(z)) << z;
    EXPECT_EQ(score_of_output(INFINITY), NN_MAX_SCORE);
    EXPECT_EQ(score_of_output(-INFINITY), NN_MIN_SCORE);
}
