// trainer.h: supervised training of the network on self-play data.
//
// The hidden layer is worked at in blocks of units. Within a batch each block's forward pass, and
// then its backward pass with the step of its weights, is one task, so that threads share the work
// without adding up slopes, and results do not depend on their number.
//
// The second weight set is the first one plus a difference that decays faster: positions of one set
// teach the other where they are alike.
//
// One thread calls; a Trainer lives for a whole run, and its threads for one step.

#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Training/network.h"
#include "Training/ply_record.h"

struct TrainSettings {
    int hidden = 640;           // units, a multiple of BLOCK
    int epochs = 40;            // passes over the records
    int batch = 16384;          // positions of a step
    int threads = 2;            // the result does not depend on them
    uint64_t seed = 1;          // of the first weights and of the order
    double rate = 0.001;        // highest step size
    double last_rate = 0.01;    // share of it at the end
    double warm_up = 0.03;      // share of all steps in which the step size rises
    double lambda_first = 0.75; // weight of the score in the target, in the first epoch
    double lambda_last = 0.6;   // and in the last; the rest is the result's
    double pawn_weight = 4;     // weight of positions without pieces
    double decay = 0.01;        // of weights, per unit of step size
    double delta_decay = 0.3;   // of the second set's difference
    double spread = 0.1;        // standard deviation of the first weights of the inputs
    double row_spread = 0.03;   // and of the output rows
    double bias = 0.1;          // first value of the shared bias
};

// Floats in whole cache lines.
struct alignas(64) FloatLine {
    float value[16]; // one cache line
};
using Floats = std::vector<FloatLine>;

// Weights with the running means of their slopes.
struct Weights {
    Floats value, first, second; // the weights, and the means of their slopes and of the squares
};

struct Trainer {
    TrainSettings settings; // as given
    int blocks;             // of hidden units
    Weights weights;        // [block][NN_INPUTS][BLOCK]; of set 1 only `value` is used
    Weights delta;          // [block][NN_SET_INPUTS][BLOCK]: what set 1 adds to set 0
    Weights rows;           // [block][NN_ROWS][BLOCK]
    Weights bias;           // first element of a block
    uint64_t steps = 0;     // done so far
    int epoch = 0;          // finished ones

    // Scratch of one batch.
    std::vector<NetworkInput> inputs;  // [batch]
    Floats hidden;                     // [block][batch][BLOCK]
    Floats sums;                       // [block][batch]
    Floats slopes;                     // [batch]
    Floats bias_slopes;                // [block][BLOCK]
    std::vector<Floats> weight_slopes; // [worker]: [NN_INPUTS + NN_ROWS][BLOCK]
};

// Mean squared error of probabilities.
struct TrainLoss {
    double target; // against the blend with the last epoch's lambda
    double score;  // against the search score alone
    double result; // against the game result alone
};

std::unique_ptr<Trainer> make_trainer(const TrainSettings& settings);

// One pass over the records in an order drawn from seed and epoch. Returns the mean training loss.
// `total_steps` sets the course of the step size.
double train_epoch(Trainer& trainer, const std::vector<PlyRecord>& records, uint64_t total_steps);

// Number of steps that an epoch takes.
uint64_t epoch_steps(const TrainSettings& settings, size_t records);

// Step size of a step from 0 on.
double rate_of_step(const TrainSettings& settings, uint64_t step, uint64_t total_steps);

TrainLoss evaluate_records(Trainer& trainer, const std::vector<PlyRecord>& records);

// The network as it is now; and a network's weights taken up again, with empty means.
Network export_network(const Trainer& trainer);
void import_network(Trainer& trainer, const Network& network);

// Writes or reads everything that training goes on from. Reading returns false, with the trainer
// unchanged, if the file is missing or of another shape.
bool save_state(Trainer& trainer, const std::string& path);
bool load_state(Trainer& trainer, const std::string& path);

// Slopes of the batch's weighted mean loss by all weights, for tests: [NN_INPUTS][hidden] as
// if both sets were free, rows and bias.
struct Slopes {
    std::vector<float> weights, rows; // [NN_INPUTS][hidden] and [NN_ROWS][hidden]
    double bias;                      // of the one that all units share
    double loss;                      // of the batch
};
Slopes batch_slopes(Trainer& trainer, const std::vector<PlyRecord>& records, double lambda);
