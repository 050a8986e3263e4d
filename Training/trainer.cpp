#include "Training/trainer.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <numeric>

#include "Training/kernels.h"
#include "Training/ply_data.h"
#include "Training/sharing.h"
#include "base/random.h"

constexpr size_t INPUT_FLOATS = static_cast<size_t>(NN_INPUTS) * BLOCK; // of one block
constexpr size_t SET_FLOATS = static_cast<size_t>(NN_SET_INPUTS) * BLOCK;
constexpr size_t ROW_FLOATS = static_cast<size_t>(NN_ROWS) * BLOCK;
constexpr size_t CHUNK = 512; // positions of one task

static Floats make_floats(size_t count) { return Floats((count + 15) / 16); }
static float* floats(Floats& array) { return reinterpret_cast<float*>(array.data()); }
static const float* floats(const Floats& array) {
    return reinterpret_cast<const float*>(array.data());
}

static Weights make_weights(size_t count) {
    return {make_floats(count), make_floats(count), make_floats(count)};
}

// A number of the standard normal distribution.
static double normal_number(Random& random) {
    constexpr double UNIT = 0x1p-64, TAU = 6.283185307179586;
    double a = (static_cast<double>(next_random(random)) + 1.0) * UNIT;
    double b = static_cast<double>(next_random(random)) * UNIT;
    return std::sqrt(-2.0 * std::log(a)) * std::cos(TAU * b);
}

// First weights. Inputs that never occur stay at 0, and so does the second set's difference.
static void draw_weights(Trainer& trainer) {
    constexpr uint64_t WEIGHTS_SALT = 0x57E167; // other numbers than the order's
    const TrainSettings& settings = trainer.settings;
    Random random = {settings.seed ^ WEIGHTS_SALT};
    for (int block = 0; block < trainer.blocks; block++) {
        float* weights = floats(trainer.weights.value) + static_cast<size_t>(block) * INPUT_FLOATS;
        for (int feature = 0; feature < NN_INPUTS; feature++) {
            float* row = weights + feature * BLOCK;
            if (feature >= NN_SET_INPUTS && feature < NN_BOARD_INPUTS) {
                memcpy(row, row - SET_FLOATS, BLOCK * sizeof *row);
                continue;
            }
            if (is_dead_input(feature)) continue;
            for (int unit = 0; unit < BLOCK; unit++)
                row[unit] = static_cast<float>(normal_number(random) * settings.spread);
        }
    }
    float* rows = floats(trainer.rows.value);
    for (size_t i = 0; i < static_cast<size_t>(trainer.blocks) * ROW_FLOATS; i++)
        rows[i] = static_cast<float>(normal_number(random) * settings.row_spread);
    floats(trainer.bias.value)[0] = static_cast<float>(settings.bias);
}

std::unique_ptr<Trainer> make_trainer(const TrainSettings& settings) {
    auto trainer = std::make_unique<Trainer>();
    trainer->settings = settings;
    trainer->blocks = settings.hidden / BLOCK;
    const size_t blocks = static_cast<size_t>(trainer->blocks);
    const size_t batch = static_cast<size_t>(settings.batch);
    trainer->weights = make_weights(blocks * INPUT_FLOATS);
    trainer->delta = make_weights(blocks * SET_FLOATS);
    trainer->rows = make_weights(blocks * ROW_FLOATS);
    trainer->bias = make_weights(BLOCK);
    trainer->inputs.resize(batch);
    trainer->hidden = make_floats(blocks * batch * BLOCK);
    trainer->sums = make_floats(blocks * batch);
    trainer->slopes = make_floats(batch);
    trainer->bias_slopes = make_floats(blocks * BLOCK);
    for (int i = 0; i < settings.threads; i++)
        trainer->weight_slopes.push_back(make_floats(INPUT_FLOATS + ROW_FLOATS));
    draw_weights(*trainer);
    return trainer;
}

namespace {

// Positions of a batch: records[order[0]] to records[order[count - 1]].
struct Batch {
    const PlyRecord* records;
    const uint32_t* order;
    size_t count;
};

struct LossSums {
    double weighted, target, score, result;
};

} // namespace

static size_t chunks_of(size_t count) { return (count + CHUNK - 1) / CHUNK; }

// Calls work(first, end, chunk) for all chunks of a batch.
template <class Work>
static void for_chunks(const Trainer& trainer, size_t count, const Work& work) {
    run_tasks(trainer.settings.threads, chunks_of(count), [&](size_t chunk, int) {
        work(chunk * CHUNK, std::min(count, (chunk + 1) * CHUNK), chunk);
    });
}

// Lists the features of a batch and runs all blocks forward.
static void run_forward(Trainer& trainer, const Batch& batch) {
    constexpr size_t AHEAD = 16; // records on their way to the cache
    for_chunks(trainer, batch.count, [&](size_t first, size_t end, size_t) {
        for (size_t i = first; i < end; i++) {
            if (i + AHEAD < end) __builtin_prefetch(&batch.records[batch.order[i + AHEAD]]);
            list_features(trainer.inputs[i], batch.records[batch.order[i]]);
        }
    });
    const size_t room = static_cast<size_t>(trainer.settings.batch);
    const float bias = floats(trainer.bias.value)[0];
    run_tasks(trainer.settings.threads, static_cast<size_t>(trainer.blocks), [&](size_t b, int) {
        best_kernels().forward(
            {trainer.inputs.data(), batch.count, floats(trainer.weights.value) + b * INPUT_FLOATS,
             floats(trainer.rows.value) + b * ROW_FLOATS, bias,
             floats(trainer.hidden) + b * room * BLOCK, floats(trainer.sums) + b * room});
    });
}

// Compares the outputs with their targets: sums of the losses, and the slopes of the weighted mean
// loss. The fifty-move scaling that the engine applies behind the network is part of the output.
static LossSums run_losses(Trainer& trainer, const Batch& batch, double lambda) {
    const size_t room = static_cast<size_t>(trainer.settings.batch);
    std::vector<LossSums> parts(chunks_of(batch.count));
    const float* sums = floats(trainer.sums);
    for_chunks(trainer, batch.count, [&](size_t first, size_t end, size_t chunk) {
        LossSums part = {};
        for (size_t i = first; i < end; i++) {
            const NetworkInput& input = trainer.inputs[i];
            const PlyRecord& record = batch.records[batch.order[i]];
            double output = 0;
            for (size_t b = 0; b < static_cast<size_t>(trainer.blocks); b++)
                output += sums[b * room + i];
            double p = 1.0 / (1.0 + std::exp(-output * input.fifty));
            double weight = input.rows[NN_PAWN_ROW] > 0 ? trainer.settings.pawn_weight : 1.0;
            double miss = p - ply_target(record, lambda);
            double score_miss = p - score_probability(record.score);
            double result_miss = has_result(record) ? p - ply_result(record) : 0.0;
            part.weighted += weight * miss * miss;
            part.target += miss * miss;
            part.score += score_miss * score_miss;
            part.result += result_miss * result_miss;
            floats(trainer.slopes)[i] = static_cast<float>(
                2 * weight * miss * p * (1 - p) * input.fifty / static_cast<double>(batch.count));
        }
        parts[chunk] = part;
    });
    LossSums total = {};
    for (const LossSums& part : parts) {
        total.weighted += part.weighted;
        total.target += part.target;
        total.score += part.score;
        total.result += part.result;
    }
    return total;
}

// Fills the worker's scratch with the slopes of a block: inputs' weights, then output rows.
static void run_backward(Trainer& trainer, const Batch& batch, size_t b, int worker) {
    const size_t room = static_cast<size_t>(trainer.settings.batch);
    Floats& scratch = trainer.weight_slopes[static_cast<size_t>(worker)];
    std::fill(scratch.begin(), scratch.end(), FloatLine{});
    float* bias_slopes = floats(trainer.bias_slopes) + b * BLOCK;
    std::fill_n(bias_slopes, BLOCK, 0.0f);
    best_kernels().backward({trainer.inputs.data(), batch.count,
                             floats(trainer.rows.value) + b * ROW_FLOATS,
                             floats(trainer.hidden) + b * room * BLOCK, floats(trainer.slopes),
                             floats(scratch), floats(scratch) + INPUT_FLOATS, bias_slopes});
}

// The step for weights from `offset` on, all but its arrays filled in.
static void step_weights(Weights& weights, size_t offset, size_t count, const float* slopes,
                         const StepJob& common, double decay) {
    StepJob job = common;
    job.count = count;
    job.weights = floats(weights.value) + offset;
    job.first = floats(weights.first) + offset;
    job.second = floats(weights.second) + offset;
    job.slopes = slopes;
    job.shrink = static_cast<float>(1.0 - static_cast<double>(job.rate) * decay);
    best_kernels().step(job);
}

// Rate, corrections and limit of the step that comes next.
static StepJob next_step(const Trainer& trainer, uint64_t total_steps) {
    constexpr double BETA1 = 0.9, BETA2 = 0.999;
    double number = static_cast<double>(trainer.steps + 1);
    StepJob job = {};
    job.rate = static_cast<float>(rate_of_step(trainer.settings, trainer.steps, total_steps));
    job.correct1 = static_cast<float>(1.0 / (1.0 - std::pow(BETA1, number)));
    job.correct2 = static_cast<float>(1.0 / (1.0 - std::pow(BETA2, number)));
    job.limit = WEIGHT_LIMIT;
    return job;
}

// Steps all weights of a block by the slopes in `slopes`, which it changes.
static void step_block(Trainer& trainer, size_t b, float* slopes, const StepJob& common) {
    const TrainSettings& settings = trainer.settings;
    float* other_set = slopes + SET_FLOATS;
    for (size_t i = 0; i < SET_FLOATS; i++) slopes[i] += other_set[i]; // the base serves both

    const size_t base = b * INPUT_FLOATS, material = static_cast<size_t>(NN_BOARD_INPUTS) * BLOCK;
    step_weights(trainer.weights, base, SET_FLOATS, slopes, common, settings.decay);
    step_weights(trainer.weights, base + material, INPUT_FLOATS - material, slopes + material,
                 common, settings.decay);
    step_weights(trainer.delta, b * SET_FLOATS, SET_FLOATS, other_set, common,
                 settings.delta_decay);
    step_weights(trainer.rows, b * ROW_FLOATS, ROW_FLOATS, slopes + INPUT_FLOATS, common,
                 settings.decay);

    float* weights = floats(trainer.weights.value) + base;
    const float* delta = floats(trainer.delta.value) + b * SET_FLOATS;
    for (size_t i = 0; i < SET_FLOATS; i++)
        weights[SET_FLOATS + i] = std::clamp(weights[i] + delta[i], -WEIGHT_LIMIT, WEIGHT_LIMIT);
}

static double sum_bias_slopes(const Trainer& trainer) {
    const float* slopes = floats(trainer.bias_slopes);
    double sum = 0;
    for (int i = 0; i < trainer.settings.hidden; i++) sum += slopes[i];
    return sum;
}

static void step_bias(Trainer& trainer, const StepJob& common) {
    Floats slopes = make_floats(BLOCK);
    floats(slopes)[0] = static_cast<float>(sum_bias_slopes(trainer));
    step_weights(trainer.bias, 0, BLOCK, floats(slopes), common, 0.0);
}

uint64_t epoch_steps(const TrainSettings& settings, size_t records) {
    return std::max<uint64_t>(1, records / static_cast<size_t>(settings.batch));
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

static std::vector<uint32_t> epoch_order(const Trainer& trainer, size_t records) {
    std::vector<uint32_t> order(records);
    std::iota(order.begin(), order.end(), 0u);
    Random random = {trainer.settings.seed << 16 ^ static_cast<uint64_t>(trainer.epoch)};
    for (size_t i = records; i > 1; i--) std::swap(order[i - 1], order[next_random(random) % i]);
    return order;
}

double train_epoch(Trainer& trainer, const std::vector<PlyRecord>& records, uint64_t total_steps) {
    const size_t room = static_cast<size_t>(trainer.settings.batch);
    const std::vector<uint32_t> order = epoch_order(trainer, records.size());
    const double lambda = lambda_of_epoch(trainer.settings, trainer.epoch);
    double sum = 0;
    size_t seen = 0;
    for (uint64_t step = 0; step < epoch_steps(trainer.settings, records.size()); step++) {
        const Batch batch = {records.data(), order.data() + seen,
                             std::min(room, records.size() - seen)};
        run_forward(trainer, batch);
        sum += run_losses(trainer, batch, lambda).target;
        const StepJob common = next_step(trainer, total_steps);
        run_tasks(trainer.settings.threads, static_cast<size_t>(trainer.blocks),
                  [&](size_t b, int worker) {
                      run_backward(trainer, batch, b, worker);
                      step_block(trainer, b,
                                 floats(trainer.weight_slopes[static_cast<size_t>(worker)]),
                                 common);
                  });
        step_bias(trainer, common);
        trainer.steps++;
        seen += batch.count;
    }
    trainer.epoch++;
    return sum / static_cast<double>(std::max<size_t>(seen, 1));
}

TrainLoss evaluate_records(Trainer& trainer, const std::vector<PlyRecord>& records) {
    const size_t room = static_cast<size_t>(trainer.settings.batch);
    std::vector<uint32_t> order(records.size());
    std::iota(order.begin(), order.end(), 0u);
    LossSums total = {};
    for (size_t first = 0; first < records.size(); first += room) {
        const Batch batch = {records.data(), order.data() + first,
                             std::min(room, records.size() - first)};
        run_forward(trainer, batch);
        LossSums sums = run_losses(trainer, batch, trainer.settings.lambda_last);
        total.target += sums.target;
        total.score += sums.score;
        total.result += sums.result;
    }
    const double count = static_cast<double>(std::max<size_t>(records.size(), 1));
    return {total.target / count, total.score / count, total.result / count};
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
    Network network;
    network.hidden = trainer.settings.hidden;
    join_blocks(network.weights, floats(trainer.weights.value), NN_INPUTS, network.hidden);
    join_blocks(network.rows, floats(trainer.rows.value), NN_ROWS, network.hidden);
    network.bias = floats(trainer.bias.value)[0];
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
}

namespace {

struct StateHead {
    char magic[8];
    int32_t hidden, epoch;
    uint64_t steps;
};
constexpr char STATE_MAGIC[9] = "MIRDTRN1";

} // namespace

// All arrays of the state, in the order of the file.
static std::vector<Floats*> state_arrays(Trainer& trainer) {
    std::vector<Floats*> arrays;
    for (Weights* weights : {&trainer.weights, &trainer.delta, &trainer.rows, &trainer.bias})
        for (Floats* array : {&weights->value, &weights->first, &weights->second})
            arrays.push_back(array);
    return arrays;
}

bool save_state(Trainer& trainer, const std::string& path) {
    const std::string fresh = path + ".new"; // a whole file is there at any time
    FILE* file = fopen(fresh.c_str(), "wb");
    if (!file) return false;
    StateHead head = {{}, trainer.settings.hidden, trainer.epoch, trainer.steps};
    memcpy(head.magic, STATE_MAGIC, sizeof head.magic);
    bool written = fwrite(&head, sizeof head, 1, file) == 1;
    for (Floats* array : state_arrays(trainer))
        written = written
               && fwrite(array->data(), sizeof(FloatLine), array->size(), file) == array->size();
    written = fclose(file) == 0 && written;
    return written && rename(fresh.c_str(), path.c_str()) == 0;
}

bool load_state(Trainer& trainer, const std::string& path) {
    FILE* file = fopen(path.c_str(), "rb");
    if (!file) return false;
    StateHead head = {};
    bool fits = fread(&head, sizeof head, 1, file) == 1
             && memcmp(head.magic, STATE_MAGIC, sizeof head.magic) == 0
             && head.hidden == trainer.settings.hidden;
    auto loaded = make_trainer(trainer.settings);
    for (Floats* array : state_arrays(*loaded))
        fits =
            fits && fread(array->data(), sizeof(FloatLine), array->size(), file) == array->size();
    fclose(file);
    if (!fits) return false;
    loaded->epoch = head.epoch;
    loaded->steps = head.steps;
    trainer = std::move(*loaded);
    return true;
}

Slopes batch_slopes(Trainer& trainer, const std::vector<PlyRecord>& records, double lambda) {
    std::vector<uint32_t> order(records.size());
    std::iota(order.begin(), order.end(), 0u);
    const Batch batch = {records.data(), order.data(), records.size()};
    run_forward(trainer, batch);
    Slopes slopes;
    slopes.loss = run_losses(trainer, batch, lambda).weighted / static_cast<double>(records.size());

    const size_t blocks = static_cast<size_t>(trainer.blocks);
    std::vector<float> weights(blocks * INPUT_FLOATS), rows(blocks * ROW_FLOATS);
    for (size_t b = 0; b < blocks; b++) {
        run_backward(trainer, batch, b, 0);
        const float* scratch = floats(trainer.weight_slopes[0]);
        std::copy_n(scratch, INPUT_FLOATS, &weights[b * INPUT_FLOATS]);
        std::copy_n(scratch + INPUT_FLOATS, ROW_FLOATS, &rows[b * ROW_FLOATS]);
    }
    join_blocks(slopes.weights, weights.data(), NN_INPUTS, trainer.settings.hidden);
    join_blocks(slopes.rows, rows.data(), NN_ROWS, trainer.settings.hidden);
    slopes.bias = sum_bias_slopes(trainer);
    return slopes;
}
