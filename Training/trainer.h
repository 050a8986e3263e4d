// trainer.h: supervised training of the network on self-play data.
//
// The hidden layer is worked at in blocks of units and a batch in slices of positions, so that
// there is work for many threads. How both are cut, and the order in which slopes are added up,
// depends on the settings alone: results do not depend on the number of threads.
//
// The second weight set is the first one plus a difference that decays faster: positions of one set
// teach the other where they are alike.
//
// One thread calls; a Trainer lives for a whole run, and so do its threads.

#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "Training/huge_pages.h"
#include "Training/network.h"
#include "Training/ply_record.h"
#include "Training/ply_store.h"
#include "Training/slice.h"
#include "Training/team.h"

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
    double power = 2;           // of a miss of the target in what training descends, at least 1
    double pawn_weight = 4;     // weight of positions without pieces
    double decay = 0.01;        // of weights, per unit of step size
    double delta_decay = 0.3;   // of the second set's difference
    double spread = 0.1;        // standard deviation of the first weights of the inputs
    double row_spread = 0.03;   // and of the output rows
    double bias = 0.1;          // first value of the shared bias
    double average = 0;         // share of all steps, at the end, whose weights are averaged
};

// Floats in whole cache lines.
struct alignas(64) FloatLine {
    float value[16]; // one cache line
};
using Floats = HugeVector<FloatLine>;

inline Floats make_floats(size_t count) { return Floats((count + 15) / 16); }
inline float* floats(Floats& array) { return reinterpret_cast<float*>(array.data()); }
inline const float* floats(const Floats& array) {
    return reinterpret_cast<const float*>(array.data());
}

// Upper halves of floats in whole cache lines.
struct alignas(64) HalfLine {
    uint16_t value[32];
};
using HalfFloats = HugeVector<HalfLine>;

// Weights with the running means of their slopes.
struct Weights {
    Floats value, first, second; // the weights, and the means of their slopes and of the squares
    Floats mean;                 // of the weights over the last steps; empty without averaging
};

// Positions of a batch, or of a part of it, cut into slices.
struct Part {
    HugeVector<Slice> slices; // as many as a whole part has
    size_t count = 0;         // positions in them
};

struct Trainer {
    TrainSettings settings; // as given
    int blocks;             // of hidden units
    Weights weights;        // [block][NN_INPUTS][BLOCK]; of set 1 only `value` and `mean` are used
    Weights delta;          // [block][NN_SET_INPUTS][BLOCK]: what set 1 adds to set 0; no mean
    Weights rows;           // [block][NN_ROWS][BLOCK]
    Weights bias;           // first element of a block
    uint64_t steps = 0;     // done so far
    int epoch = 0;          // finished ones
    uint64_t averaged = 0;  // steps in the means

    // Scratch of one part of a batch.
    size_t slices, groups; // of a whole part: slices, and groups of them in the backward pass
    Part parts[2];         // the present one and the next
    HalfFloats hidden;     // [block][slice][SLICE][BLOCK]
    Floats sums;           // [block][slice][SLICE]
    Floats outputs;        // [slice][SLICE]: slopes of the loss
    Floats slopes;         // [block][group][SLOPE_ROWS][BLOCK]
    Floats scratch;        // [worker][SLICE][BLOCK]
    std::vector<std::atomic<size_t>> done; // parts of a slice or block that are ready; any worker

    TeamPointer team = {nullptr, nullptr};
};

// Mean squared error of probabilities.
struct TrainLoss {
    double target;        // against the blend with the last epoch's lambda
    double score;         // against the search score alone
    double result;        // against the game result alone
    double phase[PHASES]; // against the blend, in one phase; 0 where there is no position
    int idle_units;       // hidden units that are at or below 0 in all positions
};

std::unique_ptr<Trainer> make_trainer(const TrainSettings& settings);

// One pass over the records for training in an order drawn from seed and epoch. Returns the mean
// training loss, or -1 after a message if a file can't be read any more. `total_steps` sets the
// course of the step size.
double train_epoch(Trainer& trainer, PlyStore& store, uint64_t total_steps);

// Number of steps that an epoch takes.
uint64_t epoch_steps(const TrainSettings& settings, uint64_t records);

// Step size of a step from 0 on.
double rate_of_step(const TrainSettings& settings, uint64_t step, uint64_t total_steps);

// Losses of the network that export_network gives.
TrainLoss evaluate_records(Trainer& trainer, const std::vector<PlyRecord>& records);

// The network as it is now, or the mean of the last steps' once averaging has begun; and a
// network's weights taken up again, with empty means.
Network export_network(const Trainer& trainer);
void import_network(Trainer& trainer, const Network& network);

// Slopes of the batch's weighted mean loss by all weights, for tests: those of both sets as if
// they were free, of the rows and of the bias. There are at most settings.batch records, and at
// most as many as a part has.
struct Slopes {
    std::vector<float> weights, rows; // [NN_INPUTS][hidden] and [NN_ROWS][hidden]
    double bias;                      // of the one that all units share
    double loss;                      // of the batch
};
Slopes batch_slopes(Trainer& trainer, const std::vector<PlyRecord>& records, double lambda);
