// The command lines of the training programs: what is read, what is refused, what is told.

#include <gtest/gtest.h>

#include "Training/command_line.h"

namespace {

// Options of each kind, with their defaults.
struct Values {
    bool loud = false;
    int threads = 2;
    uint64_t seed = 1;
    uint64_t games = 0;
    double rate = 0.5;
    std::string out;
    std::vector<std::string> names;
};

Usage usage_of(Values& values, size_t max_names = 1) {
    return {"program [options] FILE",
            0,
            max_names,
            {
                {"--loud", "", &values.loud, "a switch"},
                {"--threads", "N", &values.threads, "from 1 to 64", 1, 64},
                {"--seed", "N", &values.seed, "of the run"},
                {"--games", "N", &values.games, "at least 1", 1},
                {"--rate", "X", &values.rate, "of a step"},
                {"--out", "FILE", &values.out, "to be written"},
            }};
}

// Reads the words and returns what was printed on standard error; "" if all was well.
std::string read(Values& values, std::vector<std::string> words) {
    std::string name = "program";
    std::vector<char*> arguments = {name.data()};
    for (std::string& word : words) arguments.push_back(word.data());
    testing::internal::CaptureStderr();
    bool good = read_arguments(usage_of(values), static_cast<int>(arguments.size()),
                               arguments.data(), values.names);
    std::string text = testing::internal::GetCapturedStderr();
    EXPECT_EQ(good, text.empty());
    return text;
}

std::string first_line(const std::string& text) { return text.substr(0, text.find('\n')); }

} // namespace

TEST(TrainingArguments, OptionsAndNamesMayBeMixed) {
    Values values;
    EXPECT_EQ(read(values, {"--threads", "64", "in.ply", "--loud", "--rate", "-2.5e-1", "--seed",
                            "18446744073709551615", "--out", "--loud"}),
              "");
    EXPECT_TRUE(values.loud);
    EXPECT_EQ(values.threads, 64);
    EXPECT_EQ(values.seed, UINT64_MAX);
    EXPECT_EQ(values.rate, -0.25);
    EXPECT_EQ(values.out, "--loud") << "a value may look like an option";
    EXPECT_EQ(values.names, std::vector<std::string>{"in.ply"});
}

TEST(TrainingArguments, WhatIsMissingKeepsItsDefault) {
    Values values;
    EXPECT_EQ(read(values, {}), "");
    EXPECT_FALSE(values.loud);
    EXPECT_EQ(values.threads, 2);
    EXPECT_EQ(values.games, 0u);
}

TEST(TrainingArguments, BadOnesAreNamed) {
    struct {
        std::vector<std::string> words;
        const char* message;
    } const cases[] = {
        {{"--nothing"}, "unknown option --nothing"},
        {{"--threads"}, "option --threads needs a value"},
        {{"--threads", "0"}, "option --threads can't be 0"},
        {{"--threads", "65"}, "option --threads can't be 65"},
        {{"--threads", "-1"}, "option --threads can't be -1"},
        {{"--threads", "2.5"}, "option --threads can't be 2.5"},
        {{"--threads", ""}, "option --threads can't be "},
        {{"--games", "0"}, "option --games can't be 0"},
        {{"--seed", "18446744073709551616"}, "option --seed can't be 18446744073709551616"},
        {{"--rate", "fast"}, "option --rate can't be fast"},
        {{"--rate", "1x"}, "option --rate can't be 1x"},
        {{"one", "two"}, "usage: program [options] FILE"},
    };
    for (const auto& c : cases) {
        Values values;
        EXPECT_EQ(first_line(read(values, c.words)), c.message);
        EXPECT_EQ(values.threads, 2) << c.message;
    }
}

TEST(TrainingArguments, UsageTellsDefaults) {
    Values values;
    values.out = "here";
    EXPECT_EQ(read(values, {"--help", "--nothing"}), "usage: program [options] FILE\n"
                                                     "  --loud       a switch\n"
                                                     "  --threads N  from 1 to 64 [2]\n"
                                                     "  --seed N     of the run [1]\n"
                                                     "  --games N    at least 1\n"
                                                     "  --rate X     of a step [0.5]\n"
                                                     "  --out FILE   to be written [here]\n");
}
