// The generator of numbers for training data and tests, and the one of play.

#include <set>
#include <thread>

#include <gtest/gtest.h>

#include "base/platform.h"
#include "base/random.h"

TEST(Random, NumbersAreThoseOfSplitMix64) {
    Random random = {0};
    EXPECT_EQ(next_random(random), 0xE220A8397B1DCDAFULL);
    EXPECT_EQ(next_random(random), 0x6E789E6AA1B965F4ULL);
    EXPECT_EQ(next_random(random), 0x06C45D188009454FULL);
}

TEST(Random, SmallNumbersStayBelowTheirLimitAndReachIt) {
    Random random = {7};
    std::set<int> numbers;
    for (int i = 0; i < 200; i++) numbers.insert(random_below(random, 6));
    EXPECT_EQ(numbers, (std::set<int>{0, 1, 2, 3, 4, 5}));
    EXPECT_EQ(random_below(random, 1), 0);
}

TEST(Random, MixedSeedsDifferInBothParts) {
    std::set<uint64_t> seeds;
    for (uint64_t a = 0; a < 30; a++)
        for (uint64_t b = 0; b < 30; b++) seeds.insert(mix_seed(a, b));
    EXPECT_EQ(seeds.size(), 900u);
    EXPECT_NE(mix_seed(1, 2), mix_seed(2, 1));
}

TEST(RandomNumber, UsesItsWholeRange) {
    seed_random(3);
    int together = 0;
    for (int i = 0; i < 1000; i++) {
        const int number = random_number();
        EXPECT_GE(number, 0);
        together |= number;
    }
    EXPECT_EQ(together, 0x7FFFFFFF);
}

TEST(RandomNumber, DependsOnTheSeed) {
    std::set<int> numbers;
    for (unsigned seed : {5u, 6u, 5u}) {
        seed_random(seed);
        numbers.insert(random_number());
    }
    EXPECT_EQ(numbers.size(), 2u);
}

TEST(RandomNumber, IsDrawnByAllThreadsFromOneRow) {
    std::set<int> numbers;
    for (unsigned seed : {5u, 6u}) {
        seed_random(seed);
        for (int i = 0; i < 3; i++)
            std::thread([&numbers] { numbers.insert(random_number()); }).join();
    }
    EXPECT_EQ(numbers.size(), 6u);
}
