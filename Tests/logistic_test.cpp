// The exponential and the logarithm behind the network's scores.

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

int own_score(float z) {
    auto p = static_cast<double>(static_cast<float>(1.0 / (1.0 + exp_of(-double{z}))));
    return static_cast<int>(log_of(1.0 / p - 1.0) * -166.6666717529297);
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
