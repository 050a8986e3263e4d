#include "Training/trainer.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <vector>

#include "Training/batch.h"
#include "Training/features.h"
#include "Training/kernels.h"
#include "base/random.h"
#include "eval/nn_inputs.h"

static Weights make_weights(size_t count, bool averaged) {
    return {make_floats(count), make_floats(count), make_floats(count),
            make_floats(averaged ? count : 0)};
}

// A number of the standard normal distribution.
static double normal_number(Random& random) {
    constexpr double UNIT = 0x1p-64, TAU = 6.283185307179586;
    double a = (static_cast<double>(next_random(random)) + 1.0) * UNIT;
    double b = static_cast<double>(next_random(random)) * UNIT;
    return std::sqrt(-2.0 * std::log(a)) * std::cos(TAU * b);
}

// Place of a row's part for some units in an array of [block][rows][BLOCK].
static float* row_part(Floats& array, int rows, int row, int unit) {
    const int place = (unit / BLOCK * rows + row) * BLOCK + unit % BLOCK;
    return floats(array) + place;
}

// First weights. Inputs that never occur stay at 0, and so does the second set's difference. They
// are drawn for 64 units at a time, whatever the size of a block.
static void draw_weights(Trainer& trainer) {
    constexpr uint64_t WEIGHTS_SALT = 0x57E167; // other numbers than the order's
    constexpr int UNITS = 64;
    const TrainSettings& settings = trainer.settings;
    Random random = {settings.seed ^ WEIGHTS_SALT};
    auto draw_row = [&](Floats& array, int rows, int row, int first, double spread) {
        for (int unit = first; unit < first + UNITS; unit++)
            *row_part(array, rows, row, unit) = static_cast<float>(normal_number(random) * spread);
    };
    for (int first = 0; first < settings.hidden; first += UNITS)
        for (int feature = 0; feature < NN_INPUTS; feature++)
            if ((feature < NN_SET_INPUTS || feature >= NN_BOARD_INPUTS) && !is_dead_input(feature))
                draw_row(trainer.weights.value, NN_INPUTS, feature, first, settings.spread);
    for (int first = 0; first < settings.hidden; first += UNITS)
        for (int row = 0; row < NN_ROWS; row++)
            draw_row(trainer.rows.value, NN_ROWS, row, first, settings.row_spread);
    for (int block = 0; block < trainer.blocks; block++) {
        float* weights = floats(trainer.weights.value) + static_cast<size_t>(block) * INPUT_FLOATS;
        std::copy_n(weights, SET_FLOATS, weights + SET_FLOATS);
    }
    floats(trainer.bias.value)[0] = static_cast<float>(settings.bias);
}

std::unique_ptr<Trainer> make_trainer(const TrainSettings& settings) {
    auto trainer = std::make_unique<Trainer>();
    trainer->settings = settings;
    trainer->blocks = settings.hidden / BLOCK;
    trainer->team = make_team(settings.threads);
    const size_t blocks = static_cast<size_t>(trainer->blocks);
    const bool averaged = settings.average > 0;
    trainer->weights = make_weights(blocks * INPUT_FLOATS, averaged);
    trainer->delta = make_weights(blocks * SET_FLOATS, false);
    trainer->rows = make_weights(blocks * ROW_FLOATS, averaged);
    trainer->bias = make_weights(BLOCK, averaged);
    make_batch_room(*trainer);
    draw_weights(*trainer);
    return trainer;
}

// What the step that comes next does. Steps that go into the means are some apart, and the last of
// all is one of them.
static BatchStep next_step(Trainer& trainer, uint64_t total_steps) {
    constexpr double BETA1 = 0.9, BETA2 = 0.999;
    constexpr uint64_t APART = 16;
    const double number = static_cast<double>(trainer.steps + 1);
    BatchStep step = {};
    step.job.rate = static_cast<float>(rate_of_step(trainer.settings, trainer.steps, total_steps));
    step.job.correct1 = static_cast<float>(1.0 / (1.0 - std::pow(BETA1, number)));
    step.job.correct2 = static_cast<float>(1.0 / (1.0 - std::pow(BETA2, number)));
    step.job.limit = WEIGHT_LIMIT;
    const double total = static_cast<double>(total_steps);
    if (trainer.settings.average > 0 && number > total * (1.0 - trainer.settings.average)
        && (total_steps - trainer.steps - 1) % APART == 0)
        step.average_weight = static_cast<float>(1.0 / static_cast<double>(++trainer.averaged));
    return step;
}

uint64_t epoch_steps(const TrainSettings& settings, uint64_t records) {
    return std::max<uint64_t>(1, records / static_cast<uint64_t>(settings.batch));
}

double rate_of_step(const TrainSettings& settings, uint64_t step, uint64_t total_steps) {
    double total = static_cast<double>(total_steps), done = static_cast<double>(step);
    double rising = std::max(1.0, settings.warm_up * total);
    if (done + 1 < rising) return settings.rate * (done + 1) / rising;
    double share = std::min(1.0, (done - rising) / std::max(1.0, total - rising));
    double fall = 0.5 + 0.5 * std::cos(3.141592653589793 * share);
    return settings.rate * (settings.last_rate + (1.0 - settings.last_rate) * fall);
}

static double lambda_of_epoch(const TrainSettings& settings, int epoch) {
    double share = settings.epochs > 1 ? static_cast<double>(epoch) / (settings.epochs - 1) : 1.0;
    return settings.lambda_first + share * (settings.lambda_last - settings.lambda_first);
}

// Makes `steps` steps with the records of the store's piece, in their order. Returns the sum of the
// training losses.
static double train_piece(Trainer& trainer, const PlyStore& store, uint64_t steps,
                          uint64_t total_steps) {
    const size_t batch = std::min(static_cast<size_t>(trainer.settings.batch), store.order.size());
    const size_t parts = (batch + PART - 1) / PART; // of a batch
    const double lambda = lambda_of_epoch(trainer.settings, trainer.epoch);
    auto records_of = [&](uint64_t number) -> PartRecords { // of a part, counted through
        if (number >= steps * parts) return {nullptr, nullptr, 0};
        const size_t first = number / parts * batch, place = number % parts * PART;
        return {store.piece.data(), store.order.data() + first + place,
                std::min(PART, batch - place)};
    };
    fill_part(trainer, trainer.parts[0], records_of(0));
    double sum = 0;
    for (uint64_t number = 0; number < steps * parts; number++) {
        const Part& part = trainer.parts[number % 2];
        const bool last = (number + 1) % parts == 0;
        sum += run_forward(trainer, part, lambda, batch).target;
        const BatchStep step = last ? next_step(trainer, total_steps) : BatchStep{};
        run_backward(trainer, {&part, number % parts == 0, last ? &step : nullptr,
                               &trainer.parts[(number + 1) % 2], records_of(number + 1)});
        trainer.steps += last;
    }
    return sum;
}

double train_epoch(Trainer& trainer, PlyStore& store, uint64_t total_steps) {
    const size_t room = static_cast<size_t>(trainer.settings.batch);
    double sum = 0;
    uint64_t seen = 0; // positions
    size_t used = 0;   // of the piece before
    for (size_t piece = 0; piece < store.pieces; piece++) {
        if (!load_piece(store, trainer.settings.seed, trainer.epoch, piece, used, *trainer.team))
            return -1;
        uint64_t steps = store.order.size() / room;
        if (piece + 1 == store.pieces && seen + steps == 0) steps = 1; // one that is not full
        sum += train_piece(trainer, store, steps, total_steps);
        used = std::min<size_t>(steps * room, store.order.size());
        seen += used;
    }
    trainer.epoch++;
    return sum / static_cast<double>(std::max<uint64_t>(seen, 1));
}

// Exchanges the weights and their means, where there are any.
static void swap_means(Trainer& trainer) {
    if (trainer.averaged == 0) return;
    for (Weights* weights : {&trainer.weights, &trainer.rows, &trainer.bias})
        weights->value.swap(weights->mean);
}

// Marks the units of a block that are above 0 in a position of the part.
static void mark_active_units(const Trainer& trainer, const Part& part, size_t b, bool* active) {
    const uint16_t* hidden = trainer.hidden[b * trainer.slices * SLICE * BLOCK / 32].value;
    for (size_t i = 0; i < part.count; i++)
        for (int unit = 0; unit < BLOCK; unit++)
            active[unit] |= static_cast<int16_t>(hidden[i * BLOCK + unit]) > 0; // with the sign
}

TrainLoss evaluate_records(Trainer& trainer, const std::vector<PlyRecord>& records) {
    const size_t room = trainer.slices * SLICE;
    std::vector<uint32_t> order(records.size());
    std::iota(order.begin(), order.end(), 0u);
    auto active = std::make_unique<bool[]>(static_cast<size_t>(trainer.settings.hidden));
    LossSums total = {};
    swap_means(trainer);
    for (size_t first = 0; first < records.size(); first += room) {
        Part& part = trainer.parts[0];
        fill_part(trainer, part,
                  {records.data(), order.data() + first, std::min(room, records.size() - first)});
        add_losses(total, run_forward(trainer, part, trainer.settings.lambda_last, part.count));
        run_tasks(*trainer.team, static_cast<size_t>(trainer.blocks),
                  [&](size_t b, int) { mark_active_units(trainer, part, b, &active[b * BLOCK]); });
    }
    swap_means(trainer);
    const double count = static_cast<double>(std::max<size_t>(records.size(), 1));
    TrainLoss loss = {total.target / count, total.score / count, total.result / count, {}, 0};
    for (int phase = 0; phase < PHASES; phase++)
        loss.phase[phase] = total.phase[phase] / std::max(total.in_phase[phase], 1.0);
    for (int unit = 0; unit < trainer.settings.hidden; unit++) loss.idle_units += !active[unit];
    return loss;
}

// Copies between [block][rows][BLOCK] and [rows][hidden].
static void join_blocks(std::vector<float>& out, const float* blocks, int rows, int hidden) {
    out.resize(static_cast<size_t>(rows) * static_cast<size_t>(hidden));
    for (int row = 0; row < rows; row++)
        for (int unit = 0; unit < hidden; unit++) {
            const int place = row * hidden + unit;
            out[static_cast<size_t>(place)] =
                blocks[(unit / BLOCK * rows + row) * BLOCK + unit % BLOCK];
        }
}
static void split_blocks(float* blocks, const std::vector<float>& in, int rows, int hidden) {
    for (int row = 0; row < rows; row++)
        for (int unit = 0; unit < hidden; unit++) {
            const int place = row * hidden + unit;
            blocks[(unit / BLOCK * rows + row) * BLOCK + unit % BLOCK] =
                in[static_cast<size_t>(place)];
        }
}

Network export_network(const Trainer& trainer) {
    auto now = [&](const Weights& weights) {
        return floats(trainer.averaged > 0 ? weights.mean : weights.value);
    };
    Network network;
    network.hidden = trainer.settings.hidden;
    join_blocks(network.weights, now(trainer.weights), NN_INPUTS, network.hidden);
    join_blocks(network.rows, now(trainer.rows), NN_ROWS, network.hidden);
    network.bias = now(trainer.bias)[0];
    return network;
}

static void clear_means(Weights& weights) {
    std::fill(weights.first.begin(), weights.first.end(), FloatLine{});
    std::fill(weights.second.begin(), weights.second.end(), FloatLine{});
}

void import_network(Trainer& trainer, const Network& network) {
    split_blocks(floats(trainer.weights.value), network.weights, NN_INPUTS, network.hidden);
    split_blocks(floats(trainer.rows.value), network.rows, NN_ROWS, network.hidden);
    floats(trainer.bias.value)[0] = network.bias;
    for (size_t b = 0; b < static_cast<size_t>(trainer.blocks); b++) {
        const float* weights = floats(trainer.weights.value) + b * INPUT_FLOATS;
        float* delta = floats(trainer.delta.value) + b * SET_FLOATS;
        for (size_t i = 0; i < SET_FLOATS; i++) delta[i] = weights[SET_FLOATS + i] - weights[i];
    }
    for (Weights* weights : {&trainer.weights, &trainer.delta, &trainer.rows, &trainer.bias})
        clear_means(*weights);
    trainer.averaged = 0;
}

Slopes batch_slopes(Trainer& trainer, const std::vector<PlyRecord>& records, double lambda) {
    std::vector<uint32_t> order(records.size());
    std::iota(order.begin(), order.end(), 0u);
    Part& part = trainer.parts[0];
    fill_part(trainer, part, {records.data(), order.data(), records.size()});
    Slopes slopes;
    slopes.loss =
        run_forward(trainer, part, lambda, part.count).weighted / static_cast<double>(part.count);
    sum_slopes(trainer, part);

    const size_t blocks = static_cast<size_t>(trainer.blocks);
    std::vector<float> weights(blocks * INPUT_FLOATS), rows(blocks * ROW_FLOATS);
    for (size_t b = 0; b < blocks; b++) {
        const float* sums = floats(trainer.slopes) + b * trainer.groups * SLOPE_FLOATS;
        std::copy_n(sums, INPUT_FLOATS, &weights[b * INPUT_FLOATS]);
        std::copy_n(sums + INPUT_FLOATS, ROW_FLOATS, &rows[b * ROW_FLOATS]);
    }
    join_blocks(slopes.weights, weights.data(), NN_INPUTS, trainer.settings.hidden);
    join_blocks(slopes.rows, rows.data(), NN_ROWS, trainer.settings.hidden);
    slopes.bias = sum_bias_slopes(trainer);
    return slopes;
}
