#include "Training/network.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>

#include "Training/safe_file.h"
#include "base/checksum.h"
#include "eval/logistic.h"
#include "eval/nn.h"
#include "eval/nn_inputs.h"
#include "eval/nn_kernels.h"

namespace {

// The file's head, in its order. Rows 3 and 4 of the outputs, the outputs' biases and all extras
// but one are stored and never read.
struct FileHead {
    uint16_t version, format, board_inputs, material_inputs, hidden1, hidden2, outputs;
    uint16_t weight_count[2]; // 32 bits, low half first
};
static_assert(sizeof(FileHead) == 18, "no padding");

} // namespace

constexpr int FILE_VERSION = 537, FILE_FORMAT = 1, FILE_OUTPUTS = 5, FILE_EXTRAS = 8;
constexpr int BIAS_EXTRA = 1;     // extras count from 0: the first layer's bias
constexpr float UNUSED_EXTRA = 2; // value of the others
constexpr float STEPS = 5000;     // integers per unit of weight
constexpr double STEP = 0.0002;   // and the weight of one

static size_t tail_length(int hidden) {
    return static_cast<size_t>(FILE_OUTPUTS - NN_ROWS) * static_cast<size_t>(hidden) + FILE_OUTPUTS;
}

static void append_weights(std::vector<int16_t>& out, const std::vector<float>& weights) {
    for (float weight : weights)
        out.push_back(static_cast<int16_t>(
            std::lround(std::clamp(weight, -WEIGHT_LIMIT, WEIGHT_LIMIT) * STEPS)));
}

bool write_network(const Network& network, const std::string& path) {
    std::vector<int16_t> numbers;
    append_weights(numbers, network.weights);
    append_weights(numbers, network.rows);
    numbers.resize(numbers.size() + tail_length(network.hidden), 0);
    std::vector<float> extras(FILE_EXTRAS, UNUSED_EXTRA);
    extras[BIAS_EXTRA] = network.bias;
    append_weights(numbers, extras);

    const uint32_t count = static_cast<uint32_t>(numbers.size());
    const FileHead head = {FILE_VERSION,
                           FILE_FORMAT,
                           NN_BOARD_INPUTS,
                           NN_MATERIAL_INPUTS,
                           static_cast<uint16_t>(network.hidden),
                           0,
                           FILE_OUTPUTS,
                           {static_cast<uint16_t>(count), static_cast<uint16_t>(count >> 16)}};
    FILE* file = begin_file(path);
    if (!file) return false;
    bool written =
        fwrite(&head, sizeof head, 1, file) == 1
        && fwrite(numbers.data(), sizeof numbers[0], numbers.size(), file) == numbers.size();
    return finish_file(file, path, written);
}

bool read_network(Network& network, const std::string& path) {
    FILE* file = fopen(path.c_str(), "rb");
    if (!file) return false;
    FileHead head = {};
    bool fits = fread(&head, sizeof head, 1, file) == 1 && head.version >= NN_FIVE_KINDS_VERSION
             && head.board_inputs == NN_BOARD_INPUTS && head.material_inputs == NN_MATERIAL_INPUTS
             && head.hidden2 == 0 && head.outputs == FILE_OUTPUTS && head.hidden1 > 0;
    const size_t hidden = head.hidden1;
    const size_t first = NN_INPUTS * hidden, second = NN_ROWS * hidden;
    const size_t tail = tail_length(head.hidden1);
    std::vector<int16_t> numbers(fits ? first + second + tail + FILE_EXTRAS : 0);
    fits = fits && fread(numbers.data(), sizeof numbers[0], numbers.size(), file) == numbers.size();
    fclose(file);
    if (!fits) return false;

    auto value = [&](size_t i) { return static_cast<float>(numbers[i] * STEP); };
    network.hidden = head.hidden1;
    network.weights.resize(first);
    network.rows.resize(second);
    for (size_t i = 0; i < first; i++) network.weights[i] = value(i);
    for (size_t i = 0; i < second; i++) network.rows[i] = value(first + i);
    network.bias = value(first + second + tail + BIAS_EXTRA);
    return true;
}

size_t count_clamped(const Network& network) {
    size_t count = 0;
    for (const auto* weights : {&network.weights, &network.rows})
        for (float weight : *weights) count += std::fabs(weight) >= WEIGHT_LIMIT;
    return count;
}

uint64_t weights_checksum(const Network& network) {
    uint64_t sum = add_checksum(EMPTY_CHECKSUM, &network.bias, sizeof network.bias);
    for (const auto* weights : {&network.weights, &network.rows})
        sum = add_checksum(sum, weights->data(), weights->size() * sizeof(float));
    return sum;
}

double network_output(const Network& network, const NetworkInput& input) {
    const size_t hidden = static_cast<size_t>(network.hidden);
    double output = 0;
    for (size_t unit = 0; unit < hidden; unit++) {
        double x = network.bias;
        for (int f = 0; f < input.count; f++)
            x += network.weights[input.features[f] * hidden + unit];
        if (x < 0) x *= NN_LEAK;
        for (size_t row = 0; row < NN_ROWS; row++)
            output += input.rows[row] * network.rows[row * hidden + unit] * x;
    }
    return output;
}

int output_score(double output) {
    constexpr double SURE = 0.99999, HOPELESS = 1e-05; // scores end there
    double p = static_cast<float>(1.0 / (1.0 + std::exp(-output)));
    if (p < HOPELESS) return NN_MIN_SCORE;
    if (p > SURE) return NN_MAX_SCORE;
    return static_cast<int>(std::log(1.0 / p - 1.0) * -SCORE_PER_OUTPUT);
}
