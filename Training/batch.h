// batch.h: one step of training: a batch forward, its losses, backward, the step of the weights.
//
// A batch of more than PART positions goes forward and backward part by part, which keeps memory
// small. The forward pass of a part is shared out by blocks and slices, and who finishes a slice
// computes its losses. The backward pass is shared out by blocks and groups of slices; in the last
// part of a batch, who finishes a block adds up the groups in their order and steps its weights.
// One thread calls; the trainer's team works.

#pragma once

#include <cstddef>
#include <cstdint>

#include "Training/kernels.h"
#include "Training/ply_record.h"
#include "Training/trainer.h"

constexpr size_t INPUT_FLOATS = static_cast<size_t>(NN_INPUTS) * BLOCK; // of one block
constexpr size_t SET_FLOATS = static_cast<size_t>(NN_SET_INPUTS) * BLOCK;
constexpr size_t ROW_FLOATS = static_cast<size_t>(NN_ROWS) * BLOCK;
constexpr size_t SLOPE_FLOATS = static_cast<size_t>(SLOPE_ROWS) * BLOCK; // of a block's slopes

constexpr size_t PART = 16 * SLICE; // positions of a part: 21 MB of outputs for 640 units

// Positions of a part: records[order[0]] to records[order[count - 1]].
struct PartRecords {
    const PlyRecord* records;
    const uint32_t* order;
    size_t count; // at most PART, and at most settings.batch
};

// Sums over positions.
struct LossSums {
    double weighted;              // what training descends: with the pawns' weight and the power
    double target, score, result; // squared errors
    double phase[PHASES];         // errors against the target by phase
    double in_phase[PHASES];      // positions
};

void add_losses(LossSums& sums, const LossSums& part);

// What a step does besides the slopes.
struct BatchStep {
    StepJob job;          // rate, corrections and limit
    float average_weight; // of the new weights in their means; 0 leaves these alone
};

// Makes the scratch for the trainer's settings.
void make_batch_room(Trainer& trainer);

void fill_part(Trainer& trainer, Part& part, const PartRecords& records);

// Leaves the slopes of the weighted mean loss in `outputs`, the mean being that of a batch of
// `positions`. The fifty-move scaling that the engine applies behind the network is part of the
// output.
LossSums run_forward(Trainer& trainer, const Part& part, double lambda, size_t positions);

// A backward pass: the part that went forward last, and what is done besides.
struct Backward {
    const Part* part;
    bool first;               // of its batch: its slopes are the first ones
    const BatchStep* step;    // behind the last part of a batch; null before
    Part* next;               // is filled meanwhile
    PartRecords next_records; // with these
};
void run_backward(Trainer& trainer, const Backward& backward);

// Leaves the slopes of a batch of one part by all weights in the first group of each block, without
// a step.
void sum_slopes(Trainer& trainer, const Part& part);

// Slope by the shared bias, behind sum_slopes or the last part of a batch.
double sum_bias_slopes(const Trainer& trainer);
