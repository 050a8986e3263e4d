// network.h: the network as the trainers know it: its file, and a plain forward pass.
//
// One hidden layer of leaky rectifiers with one shared bias, and three output rows without bias,
// of which the first two are blended by the pieces left and the third serves pawn endings.
// Pure work on the caller's memory and files; any thread.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "Training/features.h"

struct Network {
    int hidden;                 // units
    std::vector<float> weights; // [NN_INPUTS][hidden]
    std::vector<float> rows;    // [NN_ROWS][hidden]
    float bias;                 // of every hidden unit
};

constexpr float WEIGHT_LIMIT = 4.99f; // of a weight's absolute value: the file holds integers

// Writes the engine's network file, each weight rounded to a multiple of 1/5000. Returns false if
// it can't be written; an earlier file stays then.
bool write_network(const Network& network, const std::string& path);

// Reads a network file of this form with any number of hidden units. Returns false, with the
// network unchanged, if it can't be read or is of another form.
bool read_network(Network& network, const std::string& path);

// Number of weights of inputs and rows at the limit.
size_t count_clamped(const Network& network);

// A number that tells networks apart: of all weights and the bias.
uint64_t weights_checksum(const Network& network);

// The output z for the side to move; the score is SCORE_PER_OUTPUT times as much.
double network_output(const Network& network, const NetworkInput& input);

constexpr double SCORE_PER_OUTPUT = 166.6666717529297;

// The score as the engine computes it from the output.
int output_score(double output);
