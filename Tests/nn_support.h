// nn_support.h: small networks for tests, and a slow and plain evaluation by the same weights.

#pragma once

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "base/text.h"
#include "eval/nn.h"
#include "eval/nn_kernels.h"
#include "search/thread.h"
#include "shell_fixture.h"
#include "support.h"

inline constexpr char MIDDLEGAME_FEN[] =
    "r1bq1rk1/pp2bppp/2n1pn2/2pp4/3P4/2NBPN2/PPP2PPP/R1BQ1RK1 w - -";

// A network as the numbers of its file.
struct NetworkFile {
    uint16_t version = 537;
    uint16_t format = 1;
    uint16_t board_inputs = 1792;
    uint16_t material_inputs = 32;
    uint16_t hidden1 = 8;
    uint16_t hidden2 = 0;
    uint16_t outputs = 5;
    std::vector<int16_t> weights;

    int inputs() const { return board_inputs + material_inputs; }
    size_t w2() const { return static_cast<size_t>(inputs()) * hidden1; }
    size_t w3() const { return w2() + size_t{hidden1} * (hidden2 ? hidden2 : outputs); }
    size_t biases() const { return w3() + size_t{hidden2} * outputs; }
    size_t extras() const { return biases() + outputs; }
    size_t total() const { return extras() + 8; }
};

// All weights of the shape, 0.
inline NetworkFile empty_network(NetworkFile shape = {}) {
    shape.weights.assign(shape.total(), 0);
    return shape;
}

// The last layer alone: each of its rows gives a constant.
inline NetworkFile constant_rows(int row0, int row1, int row2) {
    NetworkFile shape;
    shape.hidden1 = 1;
    NetworkFile net = empty_network(shape);
    net.weights[net.w2()] = static_cast<int16_t>(row0);
    net.weights[net.w2() + 1] = static_cast<int16_t>(row1);
    net.weights[net.w2() + 2] = static_cast<int16_t>(row2);
    net.weights[net.extras() + 1] = 5000; // the unit is 1
    return net;
}

// Small weights of both signs; outputs stay within what the sigmoid tells apart.
inline NetworkFile random_network(NetworkFile shape = {}, uint64_t seed = 1) {
    Random random = {seed};
    shape = empty_network(shape);
    const int most = 1500; // 0.3
    const int behind = std::clamp(20000 / shape.hidden1, 20, 800);
    for (size_t i = 0; i < shape.weights.size(); i++) {
        int range = i < shape.w2() ? most : behind;
        shape.weights[i] = static_cast<int16_t>(random_below(random, 2 * range + 1) - range);
    }
    shape.weights[shape.extras() + 1] = 500;
    shape.weights[shape.extras() + 2] = -300;
    return shape;
}

inline std::string bytes_of(const NetworkFile& net) {
    std::string bytes;
    auto put = [&bytes](unsigned value) {
        bytes += static_cast<char>(value & 255);
        bytes += static_cast<char>(value >> 8 & 255);
    };
    for (unsigned field : {net.version, net.format, net.board_inputs, net.material_inputs,
                           net.hidden1, net.hidden2, net.outputs})
        put(field);
    put(static_cast<unsigned>(net.total() & 0xFFFF));
    put(static_cast<unsigned>(net.total() >> 16));
    for (int16_t weight : net.weights) put(static_cast<unsigned>(weight));
    return bytes;
}

inline std::string write_file(const std::string& name, const std::string& bytes) {
    FILE* file = fopen(name.c_str(), "wb");
    if (!file) return "";
    fwrite(bytes.data(), 1, bytes.size(), file);
    fclose(file);
    return name;
}

// Sets NN_File and loads; returns the lines that were printed.
inline std::vector<std::string> load_network(const std::string& name) {
    copy_text(active_personality.NN_File, name.c_str(), FILE_NAME_LENGTH);
    return printed_by([] { NnLoad(); });
}

class NetworkTest : public ShellTest {
protected:
    void SetUp() override {
        ShellTest::SetUp();
        directory = fresh_directory();
        set_relaxed(shell.use_nn, 1);
    }
    void TearDown() override { NnSelectPath(""); }

    std::vector<std::string> load(const NetworkFile& net) {
        return load_network(write_file(directory + "/test.nn", bytes_of(net)));
    }

    std::string directory;
};

// The active inputs, found square by square.
inline std::vector<int> plain_inputs(const NetworkFile& net, const Position& pos) {
    const bool apart = (file_of(pos.king_square[0]) < 4) != (file_of(pos.king_square[1]) < 4);
    const int set = apart && net.board_inputs >= 1792;
    std::vector<int> inputs;
    int count[2][7] = {};
    for (int square = 0; square < 64; square++) {
        int code = pos.board[square];
        if (!code) continue;
        const int side = colour_of(code), type = type_of(code);
        count[side][type]++;
        int mask = (pos.side == BLACK ? 0x38 : 0) | (file_of(pos.king_square[side]) < 4 ? 7 : 0);
        int base = set * 896 + (side == pos.side ? 0 : 448);
        inputs.push_back(base + (type == KING ? 0 : type) * 64 + (square ^ mask));
        if (type != PAWN) continue;
        bool passed = true;
        for (int other = 0; other < 64; other++) {
            bool ahead =
                side == WHITE ? rank_of(other) > rank_of(square) : rank_of(other) < rank_of(square);
            if (pos.board[other] == piece_code(side ^ 1, PAWN) && ahead
                && std::abs(file_of(other) - file_of(square)) <= 1)
                passed = false;
        }
        if (passed) inputs.push_back(base + 6 * 64 + (square ^ mask));
    }
    const int us = pos.side, them = us ^ 1;
    if (net.version < 536) {
        int difference = int{pos.material[us]} - int{pos.material[them]};
        if (net.material_inputs >= 32)
            inputs.push_back(net.board_inputs + 16 + std::clamp(difference, -13, 13));
        return inputs;
    }
    const int middle[6] = {0, 5, 13, 18, 23, 28}, most[6] = {0, 5, 2, 2, 2, 2};
    for (int type = PAWN; type <= QUEEN; type++)
        inputs.push_back(
            net.board_inputs + middle[type]
            + std::clamp(count[us][type] - count[them][type], -most[type], most[type]));
    return inputs;
}

inline double leaky(double x) { return x < 0 ? x * 0.0625 : x; }

// The output before the sigmoid, in double precision.
inline double plain_output(const NetworkFile& net, const Position& pos) {
    auto weight = [&net](size_t i) { return net.weights[i] * 0.0002; };
    std::vector<double> units(net.hidden1, weight(net.extras() + 1));
    for (int input : plain_inputs(net, pos))
        for (size_t i = 0; i < units.size(); i++)
            units[i] += weight(static_cast<size_t>(input) * net.hidden1 + i);
    for (double& unit : units) unit = leaky(unit);

    size_t rows = net.w2();
    if (net.hidden2 > 3) {
        std::vector<double> second;
        for (size_t j = 0; j < net.hidden2; j++) {
            double sum = weight(net.extras() + 2);
            for (size_t i = 0; i < units.size(); i++)
                sum += units[i] * weight(rows + j * units.size() + i);
            second.push_back(leaky(sum));
        }
        units = second;
        rows = net.w3();
    }
    double z[3] = {};
    for (size_t row = 0; row < 3; row++)
        for (size_t i = 0; i < units.size(); i++)
            z[row] += units[i] * weight(rows + row * units.size() + i);

    int material = pos.material[0] + pos.material[1];
    if (material == 0) return z[2];
    double phase = material < 63 ? material * 0.016 : 1.0;
    return (1.0 - phase) * z[1] + phase * z[0];
}

// The network's output as the thread's last probability tells it.
inline double output_of(const SearchThread& thread) {
    double p = static_cast<double>(nn_probability(thread.eval));
    return std::log(p / (1.0 - p));
}

// Evaluates the game's position at ply 1: from scratch, without the eval hash.
inline int nn_score(Position& pos) {
    pos.owner->ply = 1;
    return NnEval(thread_of(pos));
}
