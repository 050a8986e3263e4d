#include "Training/batch.h"

#include <algorithm>
#include <cmath>
#include <vector>

static size_t slices_of(size_t count) { return (count + SLICE - 1) / SLICE; }

void make_batch_room(Trainer& trainer) {
    constexpr size_t MANY = 40;     // tasks: enough for as many threads
    constexpr size_t MIN_GROUP = 8; // slices, below which adding up takes too large a share

    const size_t blocks = static_cast<size_t>(trainer.blocks);
    trainer.slices = slices_of(std::min(PART, static_cast<size_t>(trainer.settings.batch)));
    trainer.groups =
        std::clamp<size_t>(trainer.slices / MIN_GROUP, 1, (MANY + blocks - 1) / blocks);
    const size_t room = trainer.slices * SLICE;
    const size_t workers = static_cast<size_t>(trainer.settings.threads);
    for (Part& part : trainer.parts) part.slices.resize(trainer.slices);
    trainer.hidden.resize(blocks * room * BLOCK / 32);
    trainer.sums = make_floats(blocks * room);
    trainer.outputs = make_floats(room);
    trainer.slopes = make_floats(blocks * trainer.groups * SLOPE_FLOATS);
    trainer.scratch = make_floats(workers * SLICE * BLOCK);
    trainer.done = std::vector<std::atomic<size_t>>(std::max(blocks, trainer.slices));
}

// Counts one more share of something as ready. Returns true to who did the last one, and the count
// begins anew. All that was written for the other shares can be read then.
static bool is_last_share(std::atomic<size_t>& done, size_t shares) {
    if (done.fetch_add(1, std::memory_order_acq_rel) + 1 < shares) return false;
    done.store(0, std::memory_order_relaxed);
    return true;
}

static void fill_one(Part& part, const PartRecords& records, size_t s) {
    fill_slice(part.slices[s], records.records, records.order + s * SLICE,
               std::min(SLICE, records.count - s * SLICE));
}

void fill_part(Trainer& trainer, Part& part, const PartRecords& records) {
    part.count = records.count;
    run_tasks(*trainer.team, slices_of(records.count),
              [&](size_t s, int) { fill_one(part, records, s); });
}

// Slope of the loss |miss|^power by the miss, a difference of probabilities. The usual power goes
// without pow, which is slow.
static double slope_of_miss(double miss, double power) {
    return power == 2 ? 2 * miss : power * std::copysign(std::pow(std::abs(miss), power - 1), miss);
}

// Compares the outputs of a slice with their targets.
static LossSums lose_slice(Trainer& trainer, const Part& part, size_t s, double lambda,
                           size_t positions) {
    const Slice& slice = part.slices[s];
    const size_t room = trainer.slices * SLICE;
    const float* sums = floats(trainer.sums) + s * SLICE;
    float* outputs = floats(trainer.outputs) + s * SLICE;
    const double power = trainer.settings.power;
    LossSums losses = {};
    for (size_t i = 0; i < slice.count; i++) {
        const SlicePosition& position = slice.positions[i];
        double output = 0;
        for (size_t b = 0; b < static_cast<size_t>(trainer.blocks); b++)
            output += static_cast<double>(sums[b * room + i]);
        const double fifty = position.fifty, score = position.score, result = position.result;
        const double p = 1.0 / (1.0 + std::exp(-output * fifty));
        const bool known = result >= 0;
        const double target = known ? lambda * score + (1.0 - lambda) * result : score;
        const double weight = position.rows[NN_PAWN_ROW] > 0 ? trainer.settings.pawn_weight : 1.0;
        const double miss = p - target;
        const double slope = slope_of_miss(miss, power);
        losses.weighted += weight * slope * miss / power; // |miss|^power
        losses.target += miss * miss;
        losses.score += (p - score) * (p - score);
        losses.result += known ? (p - result) * (p - result) : 0.0;
        losses.phase[position.phase] += miss * miss;
        losses.in_phase[position.phase]++;
        outputs[i] = static_cast<float>(weight * slope * p * (1 - p) * fifty
                                        / static_cast<double>(positions));
    }
    return losses;
}

void add_losses(LossSums& sums, const LossSums& part) {
    sums.weighted += part.weighted;
    sums.target += part.target;
    sums.score += part.score;
    sums.result += part.result;
    for (int phase = 0; phase < PHASES; phase++) {
        sums.phase[phase] += part.phase[phase];
        sums.in_phase[phase] += part.in_phase[phase];
    }
}

LossSums run_forward(Trainer& trainer, const Part& part, double lambda, size_t positions) {
    const size_t room = trainer.slices * SLICE, slices = slices_of(part.count);
    const size_t blocks = static_cast<size_t>(trainer.blocks);
    const float bias = floats(trainer.bias.value)[0];
    std::vector<LossSums> losses(slices);
    run_tasks(*trainer.team, blocks * slices, [&](size_t task, int) {
        const size_t b = task / slices, s = task % slices, place = b * room + s * SLICE;
        best_kernels().forward({&part.slices[s], floats(trainer.weights.value) + b * INPUT_FLOATS,
                                floats(trainer.rows.value) + b * ROW_FLOATS, bias,
                                trainer.hidden[place * BLOCK / 32].value,
                                floats(trainer.sums) + place});
        if (is_last_share(trainer.done[s], blocks))
            losses[s] = lose_slice(trainer, part, s, lambda, positions);
    });
    LossSums total = {};
    for (const LossSums& loss : losses) add_losses(total, loss);
    return total;
}

// Adds the slopes of a group's slices by the weights of a block to the group's, or begins anew
// where it is the `first` part.
static void run_group(Trainer& trainer, const Part& part, size_t task, int worker, bool first) {
    const size_t room = trainer.slices * SLICE, slices = slices_of(part.count);
    const size_t b = task / trainer.groups, g = task % trainer.groups;
    float* slopes = floats(trainer.slopes) + task * SLOPE_FLOATS;
    if (first) std::fill_n(slopes, SLOPE_FLOATS, 0.0f);
    const size_t end = slices * (g + 1) / trainer.groups;
    for (size_t s = slices * g / trainer.groups; s < end; s++)
        best_kernels().backward(
            {&part.slices[s], floats(trainer.rows.value) + b * ROW_FLOATS,
             trainer.hidden[(b * room + s * SLICE) * BLOCK / 32].value,
             floats(trainer.outputs) + s * SLICE,
             floats(trainer.scratch) + static_cast<size_t>(worker) * SLICE * BLOCK, slopes});
}

// Adds the slopes of all groups of a block to those of the first, and returns these.
static float* add_groups(Trainer& trainer, size_t b) {
    float* slopes = floats(trainer.slopes) + b * trainer.groups * SLOPE_FLOATS;
    for (size_t g = 1; g < trainer.groups; g++)
        best_kernels().add(slopes, slopes + g * SLOPE_FLOATS, SLOPE_FLOATS);
    return slopes;
}

// The step for weights from `offset` on.
static void step_weights(Weights& weights, size_t offset, size_t count, const float* slopes,
                         const BatchStep& step, double decay) {
    StepJob job = step.job;
    job.count = count;
    job.weights = floats(weights.value) + offset;
    job.first = floats(weights.first) + offset;
    job.second = floats(weights.second) + offset;
    job.slopes = slopes;
    job.shrink = static_cast<float>(1.0 - static_cast<double>(job.rate) * decay);
    best_kernels().step(job);
}

static void average_weights(Weights& weights, size_t offset, size_t count, const BatchStep& step) {
    if (step.average_weight > 0)
        best_kernels().average(floats(weights.mean) + offset, floats(weights.value) + offset, count,
                               step.average_weight);
}

// Steps all weights of a block by the slopes in `slopes`, which it changes.
static void step_block(Trainer& trainer, size_t b, float* slopes, const BatchStep& step) {
    const TrainSettings& settings = trainer.settings;
    float* other_set = slopes + SET_FLOATS;
    best_kernels().add(slopes, other_set, SET_FLOATS); // the base serves both

    const size_t base = b * INPUT_FLOATS, material = static_cast<size_t>(NN_BOARD_INPUTS) * BLOCK;
    step_weights(trainer.weights, base, SET_FLOATS, slopes, step, settings.decay);
    step_weights(trainer.weights, base + material, INPUT_FLOATS - material, slopes + material, step,
                 settings.decay);
    step_weights(trainer.delta, b * SET_FLOATS, SET_FLOATS, other_set, step, settings.delta_decay);
    step_weights(trainer.rows, b * ROW_FLOATS, ROW_FLOATS, slopes + INPUT_FLOATS, step,
                 settings.decay);

    float* weights = floats(trainer.weights.value) + base;
    const float* delta = floats(trainer.delta.value) + b * SET_FLOATS;
    for (size_t i = 0; i < SET_FLOATS; i++)
        weights[SET_FLOATS + i] = std::clamp(weights[i] + delta[i], -WEIGHT_LIMIT, WEIGHT_LIMIT);
    average_weights(trainer.weights, base, INPUT_FLOATS, step);
    average_weights(trainer.rows, b * ROW_FLOATS, ROW_FLOATS, step);
}

double sum_bias_slopes(const Trainer& trainer) {
    double sum = 0;
    for (size_t b = 0; b < static_cast<size_t>(trainer.blocks); b++) {
        const float* slopes = floats(trainer.slopes) + b * trainer.groups * SLOPE_FLOATS;
        for (size_t i = SLOPE_FLOATS - BLOCK; i < SLOPE_FLOATS; i++)
            sum += static_cast<double>(slopes[i]);
    }
    return sum;
}

static void step_bias(Trainer& trainer, const BatchStep& step) {
    FloatLine slopes[BLOCK / 16] = {};
    slopes[0].value[0] = static_cast<float>(sum_bias_slopes(trainer));
    step_weights(trainer.bias, 0, BLOCK, slopes[0].value, step, 0.0);
    average_weights(trainer.bias, 0, BLOCK, step);
}

void run_backward(Trainer& trainer, const Backward& backward) {
    const size_t tasks = static_cast<size_t>(trainer.blocks) * trainer.groups;
    backward.next->count = backward.next_records.count;
    run_tasks(*trainer.team, tasks + slices_of(backward.next->count), [&](size_t task, int worker) {
        if (task >= tasks) {
            fill_one(*backward.next, backward.next_records, task - tasks);
            return;
        }
        run_group(trainer, *backward.part, task, worker, backward.first);
        const size_t b = task / trainer.groups;
        if (backward.step && is_last_share(trainer.done[b], trainer.groups))
            step_block(trainer, b, add_groups(trainer, b), *backward.step);
    });
    if (backward.step) step_bias(trainer, *backward.step);
}

void sum_slopes(Trainer& trainer, const Part& part) {
    const size_t blocks = static_cast<size_t>(trainer.blocks);
    run_tasks(*trainer.team, blocks * trainer.groups,
              [&](size_t task, int worker) { run_group(trainer, part, task, worker, true); });
    for (size_t b = 0; b < blocks; b++) add_groups(trainer, b);
}
