// Training of the network: slices and kernels, slopes, steps, states, files.

#include <algorithm>
#include <cmath>
#include <memory>
#include <numeric>
#include <set>

#include "Training/kernels.h"
#include "Training/network.h"
#include "Training/ply_data.h"
#include "Training/slice.h"
#include "Training/trainer.h"
#include "Training/trainer_state.h"
#include "trainer_support.h"

#include <gtest/gtest.h>

namespace {

TrainSettings small_settings() {
    TrainSettings settings;
    settings.hidden = 64;
    settings.batch = 64;
    settings.epochs = 10;
    settings.threads = 1;
    settings.rate = 0.003;
    return settings;
}

// The weighted loss by the plain forward pass in double precision.
double plain_loss(const Network& network, const std::vector<PlyRecord>& records, double lambda,
                  const TrainSettings& settings) {
    double sum = 0;
    for (const PlyRecord& record : records) {
        NetworkInput input;
        list_features(input, record);
        double p = 1 / (1 + std::exp(-network_output(network, input) * input.fifty));
        double target =
            lambda * score_probability(record.score) + (1 - lambda) * ply_result(record);
        sum += (input.rows[2] > 0 ? settings.pawn_weight : 1.0)
             * std::pow(std::fabs(p - target), settings.power);
    }
    return sum / static_cast<double>(records.size());
}

} // namespace

static void expect_true_slopes(const TrainSettings& settings) {
    constexpr double LAMBDA = 0.7;
    auto trainer = make_trainer(settings);
    std::vector<PlyRecord> records = scored_records(20, 3);
    records.push_back(record_of("4k3/pp6/8/8/8/8/PP6/3K4 w - -", 60)); // a pawn ending, second set
    Slopes slopes = batch_slopes(*trainer, records, LAMBDA);
    Network network = export_network(*trainer);
    EXPECT_NEAR(slopes.loss, plain_loss(network, records, LAMBDA, settings), 1e-6);

    auto check = [&](float& weight, double slope, const std::string& name, double error = 2e-5) {
        constexpr float STEP = 0.0002f; // small, since the rectifiers bend
        const float before = weight;
        weight = before + STEP;
        double above = plain_loss(network, records, LAMBDA, settings);
        weight = before - STEP;
        double below = plain_loss(network, records, LAMBDA, settings);
        weight = before;
        EXPECT_NEAR(slope, (above - below) / (2.0 * STEP), error + 0.02 * std::fabs(slope)) << name;
    };
    Random random = {12};
    NetworkInput input;
    for (int n = 0; n < 40; n++) {
        list_features(input, records[static_cast<size_t>(n) % records.size()]);
        int feature = input.features[random_below(random, input.count)];
        size_t i = static_cast<size_t>(feature * settings.hidden + random_below(random, 64));
        check(network.weights[i], slopes.weights[i], "input " + std::to_string(feature));
    }
    for (size_t i = 0; i < network.rows.size(); i += 7)
        check(network.rows[i], slopes.rows[i], "row weight " + std::to_string(i), 1e-4); // halves
    check(network.bias, slopes.bias, "bias");
}

TEST(TrainNetwork, SlopesAreThoseOfThePlainForwardPass) {
    TrainSettings settings = small_settings();
    for (double power : {1.0, 1.6, 2.0, 3.0}) {
        SCOPED_TRACE(power);
        settings.power = power;
        expect_true_slopes(settings);
    }
}

namespace {

// What the kernels of one kind make of a slice.
struct KernelResults {
    HalfFloats hidden = HalfFloats(SLICE * BLOCK / 32);
    Floats sums = make_floats(SLICE);
    Floats slopes = make_floats(SLOPE_ROWS * BLOCK), weights = make_floats(NN_INPUTS * BLOCK);
    Floats means = make_floats(NN_INPUTS * BLOCK);
};

Floats random_floats(Random& random, size_t count, float scale) {
    Floats made = make_floats(count);
    for (size_t i = 0; i < count; i++)
        floats(made)[i] = static_cast<float>(random_below(random, 2001) - 1000) * 0.001f * scale;
    return made;
}

KernelResults run_kernels(const Kernels& kernels, const Slice& slice) {
    Random random = {2};
    const Floats weights = random_floats(random, NN_INPUTS * BLOCK, 0.3f);
    const Floats rows = random_floats(random, NN_ROWS * BLOCK, 0.3f);
    const Floats outputs = random_floats(random, SLICE, 0.01f);
    Floats scratch = make_floats(SLICE * BLOCK);
    KernelResults results;
    kernels.forward({&slice, floats(weights), floats(rows), 0.1f, results.hidden[0].value,
                     floats(results.sums)});
    kernels.backward({&slice, floats(rows), results.hidden[0].value, floats(outputs),
                      floats(scratch), floats(results.slopes)});
    results.weights = weights;
    Floats first = make_floats(NN_INPUTS * BLOCK), second = make_floats(NN_INPUTS * BLOCK);
    kernels.step({NN_INPUTS * BLOCK, floats(results.weights), floats(first), floats(second),
                  floats(results.slopes), 0.01f, 0.999f, 10.0f, 1000.0f, WEIGHT_LIMIT});
    kernels.average(floats(results.means), floats(results.weights), NN_INPUTS * BLOCK, 0.5f);
    kernels.add(floats(results.means), floats(results.weights), NN_INPUTS * BLOCK);
    return results;
}

void expect_near(const Floats& found, const Floats& expected, double error) {
    for (size_t i = 0; i < found.size() * 16; i++)
        ASSERT_NEAR(floats(found)[i], floats(expected)[i], error) << i;
}

} // namespace

TEST(TrainNetwork, KernelsAgree) {
    const std::vector<PlyRecord> records = scored_records(60, 6);
    std::vector<uint32_t> order(records.size());
    std::iota(order.begin(), order.end(), 0u);
    auto slice = std::make_unique<Slice>();
    fill_slice(*slice, records.data(), order.data(), records.size());
    const KernelResults expected = run_kernels(KERNELS_SSE2, *slice);
    std::vector<const Kernels*> sets = {&best_kernels()};
    if (&best_kernels() == &KERNELS_AVX512) sets.push_back(&KERNELS_AVX2);
    for (const Kernels* kernels : sets) {
        SCOPED_TRACE(kernels->name);
        const KernelResults found = run_kernels(*kernels, *slice);
        for (size_t i = 0; i < slice->count * BLOCK; i++) // the last digit may be rounded
            ASSERT_NEAR(found.hidden[i / BLOCK].value[i % BLOCK],
                        expected.hidden[i / BLOCK].value[i % BLOCK], 1)
                << i;
        expect_near(found.sums, expected.sums, 1e-4);
        expect_near(found.slopes, expected.slopes, 1e-5);
        expect_near(found.weights, expected.weights, 0.011); // slopes near 0 may change sign
        expect_near(found.means, expected.means, 0.02);
    }
}

TEST(TrainSlice, HoldsEveryInputOfEveryPositionBothWays) {
    const std::vector<PlyRecord> records = scored_records(100, 7);
    std::vector<uint32_t> order;
    for (uint32_t i = 0; i < records.size(); i++) order.push_back(99 - i);
    auto slice = std::make_unique<Slice>();
    fill_slice(*slice, records.data(), order.data(), records.size());
    ASSERT_EQ(slice->count, records.size());

    std::multiset<std::vector<uint16_t>> found, expected;
    std::multiset<std::pair<int, size_t>> by_position, by_input;
    const uint16_t* feature = slice->features;
    int before = 0;
    for (size_t i = 0; i < slice->count; i++) {
        const SlicePosition& position = slice->positions[i];
        std::vector<uint16_t> inputs;
        for (int k = 0; k < position.inputs; k++)
            inputs.push_back(static_cast<uint16_t>(feature[k] / ROW_UNITS));
        found.insert(inputs);
        int key = position.inputs + (inputs[0] >= NN_SET_INPUTS ? 100 : 0);
        EXPECT_GE(key, before) << "alike ones stand together";
        before = key;
        for (int k = 0; k < position.inputs; k++) by_position.insert({*feature++, i});
    }
    const uint16_t* user = slice->users;
    for (size_t u = 0; u < slice->used; u++)
        for (int k = 0; k < slice->uses[u]; k++)
            by_input.insert({slice->used_inputs[u], *user++ / ROW_UNITS});
    for (const PlyRecord& record : records) {
        NetworkInput input;
        list_features(input, record);
        expected.insert({input.features, input.features + input.count});
    }
    EXPECT_EQ(found, expected);
    EXPECT_EQ(by_input, by_position);
}

TEST(TrainSlice, TellsPhasesApart) {
    struct {
        const char* fen;
        int phase;
    } const cases[] = {
        {START_FEN, 0},
        {"r1b1k1nr/pppp4/8/8/8/8/PPPP4/R1B1K1NR w - -", 2},
        {"r2qk3/pppp4/8/8/8/8/PPPP4/R2QK3 w - -", 2},
        {"r3k3/pppp4/8/8/8/8/PPPP4/R3K3 w - -", 3},
        {"4k3/pppp4/8/8/8/8/PPPP4/4K3 w - -", 4},
    };
    auto slice = std::make_unique<Slice>();
    const uint32_t order = 0;
    for (const auto& c : cases) {
        const PlyRecord record = record_of(c.fen);
        fill_slice(*slice, &record, &order, 1);
        EXPECT_EQ(slice->positions[0].phase, c.phase) << c.fen;
    }
}

TEST(TrainNetwork, FileKeepsWeightsToTheirRounding) {
    TrainSettings settings = small_settings();
    Network network = export_network(*make_trainer(settings));
    network.weights[5] = 7.0f; // beyond the limit
    network.bias = -3.7624f;
    std::string path = fresh_directory() + "/network.bin";
    ASSERT_TRUE(write_network(network, path));

    Network back;
    ASSERT_TRUE(read_network(back, path));
    EXPECT_EQ(back.hidden, 64);
    EXPECT_NEAR(back.weights[5], WEIGHT_LIMIT, 1e-6);
    EXPECT_NEAR(back.bias, network.bias, 0.00011);
    network.weights[5] = WEIGHT_LIMIT;
    for (size_t i = 0; i < network.weights.size(); i++)
        ASSERT_NEAR(back.weights[i], network.weights[i], 0.000101) << i;
    for (size_t i = 0; i < network.rows.size(); i++)
        ASSERT_NEAR(back.rows[i], network.rows[i], 0.000101) << i;

    FILE* file = fopen(path.c_str(), "rb");
    fseek(file, 0, SEEK_END);
    EXPECT_EQ(ftell(file), 18 + 2 * (1824 * 64 + 5 * 64 + 5 + 8));
    fclose(file);

    auto trainer = make_trainer(settings);
    import_network(*trainer, back);
    EXPECT_EQ(export_network(*trainer).weights, back.weights);
}

TEST(TrainNetwork, LossFallsAlikeWithAnyNumberOfThreads) {
    const std::vector<PlyRecord> records = scored_records(640, 8);
    PlyStore store;
    fill_store(store, records);
    TrainSettings settings = small_settings();
    auto trainer = make_trainer(settings);
    double before = evaluate_records(*trainer, records).target;
    for (int epoch = 0; epoch < settings.epochs; epoch++) train_epoch(*trainer, store, 100);
    EXPECT_LT(evaluate_records(*trainer, records).target, 0.5 * before);

    for (int threads : {2, 3, 12}) {
        settings.threads = threads;
        auto team = make_trainer(settings);
        for (int epoch = 0; epoch < settings.epochs; epoch++) train_epoch(*team, store, 100);
        EXPECT_EQ(export_network(*trainer).weights, export_network(*team).weights) << threads;
        EXPECT_EQ(export_network(*trainer).bias, export_network(*team).bias) << threads;
    }
}

// Several slices and groups of them in a batch, the last slice not full.
TEST(TrainNetwork, LargeBatchesAreTheSameWithAnyNumberOfThreads) {
    const std::vector<PlyRecord> some = scored_records(500, 9);
    std::vector<PlyRecord> records;
    while (records.size() < 16000) records.insert(records.end(), some.begin(), some.end());
    PlyStore store;
    fill_store(store, records);
    TrainSettings settings = small_settings();
    settings.batch = 15500;
    std::vector<Network> networks;
    for (int threads : {1, 2, 3, 12}) {
        settings.threads = threads;
        auto trainer = make_trainer(settings);
        EXPECT_GT(trainer->groups, 1u);
        for (int epoch = 0; epoch < 2; epoch++) train_epoch(*trainer, store, 2);
        networks.push_back(export_network(*trainer));
        EXPECT_EQ(networks.back().weights, networks[0].weights) << threads;
        EXPECT_EQ(networks.back().rows, networks[0].rows) << threads;
    }
}

// A saved state goes on as if nothing had happened.
TEST(TrainNetwork, ResumedTrainingEndsInTheSameBits) {
    PlyStore store;
    fill_store(store, scored_records(640, 8));
    TrainSettings settings = small_settings();
    settings.average = 0.5;
    auto trainer = make_trainer(settings);
    for (int epoch = 0; epoch < 5; epoch++) train_epoch(*trainer, store, 60);

    const std::string path = fresh_directory() + "/state";
    ASSERT_TRUE(save_state(*trainer, "rate 1\nbatch 64\n", path));
    std::string text;
    ASSERT_TRUE(read_state_settings(text, path));
    EXPECT_EQ(text, "rate 1\nbatch 64\n");
    settings.threads = 3;
    auto other = make_trainer(settings);
    ASSERT_TRUE(load_state(*other, path));
    EXPECT_EQ(other->epoch, 5);
    EXPECT_GT(other->averaged, 0u);
    train_epoch(*trainer, store, 60);
    train_epoch(*other, store, 60);
    EXPECT_EQ(export_network(*trainer).weights, export_network(*other).weights);
    EXPECT_EQ(export_network(*trainer).rows, export_network(*other).rows);

    settings.hidden = 128;
    EXPECT_FALSE(load_state(*make_trainer(settings), path)) << "another shape";
    settings.hidden = 64;
    settings.average = 0;
    EXPECT_FALSE(load_state(*make_trainer(settings), path)) << "no means";
    EXPECT_FALSE(read_state_settings(text, path + ".missing"));
}

TEST(TrainNetwork, WeightsOfTheLastStepsAreAveraged) {
    const std::vector<PlyRecord> records = scored_records(640, 8);
    PlyStore store;
    fill_store(store, records);
    TrainSettings settings = small_settings();
    auto plain = make_trainer(settings);
    settings.average = 0.3; // of 100 steps: 84 and 100
    auto averaged = make_trainer(settings);
    for (int epoch = 0; epoch < 8; epoch++) train_epoch(*averaged, store, 100);
    EXPECT_EQ(averaged->averaged, 0u);
    for (int epoch = 8; epoch < 10; epoch++) train_epoch(*averaged, store, 100);
    EXPECT_EQ(averaged->averaged, 2u);

    for (int epoch = 0; epoch < 10; epoch++) train_epoch(*plain, store, 100);
    const Network last = export_network(*plain), mean = export_network(*averaged);
    double difference = 0;
    for (size_t i = 0; i < last.weights.size(); i++)
        difference = std::max<double>(difference, std::fabs(last.weights[i] - mean.weights[i]));
    EXPECT_GT(difference, 1e-5);
    EXPECT_LT(difference, 0.02);
    EXPECT_EQ(floats(averaged->weights.value)[700], floats(plain->weights.value)[700])
        << "training itself goes on as ever";
    // What is evaluated is the mean.
    auto again = make_trainer(settings);
    import_network(*again, mean);
    EXPECT_EQ(evaluate_records(*averaged, records).target,
              evaluate_records(*again, records).target);
}

TEST(TrainNetwork, ReportsPhasesIdleUnitsAndClampedWeights) {
    std::vector<PlyRecord> records = scored_records(50, 8);
    records.push_back(record_of("4k3/pp6/8/8/8/8/PP6/3K4 w - -", 60));
    TrainSettings settings = small_settings();
    auto trainer = make_trainer(settings);
    Network network = export_network(*trainer);
    for (size_t feature = 0; feature < NN_INPUTS; feature++)
        for (size_t unit : {3, 40}) network.weights[feature * 64 + unit] = -WEIGHT_LIMIT;
    import_network(*trainer, network);
    const TrainLoss loss = evaluate_records(*trainer, records);
    EXPECT_EQ(loss.idle_units, 2);
    EXPECT_EQ(count_clamped(network), 2u * NN_INPUTS);
    EXPECT_NEAR(loss.phase[4], evaluate_records(*trainer, {records.back()}).target, 1e-9);
    EXPECT_EQ(evaluate_records(*trainer, {records.back()}).phase[0], 0);
}

TEST(TrainNetwork, StepSizeRisesAndFalls) {
    TrainSettings settings;
    EXPECT_NEAR(rate_of_step(settings, 0, 1000), settings.rate / 30, 1e-9);
    EXPECT_NEAR(rate_of_step(settings, 30, 1000), settings.rate, 1e-9);
    EXPECT_NEAR(rate_of_step(settings, 1000, 1000), settings.rate * settings.last_rate, 1e-9);
}
