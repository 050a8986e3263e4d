// Speed of the network's loops on every path that this processor has, for a first layer of 640
// units, and of whole evaluations with the embedded network.
//
//   mird_nn_benchmark                 all figures
//   mird_nn_benchmark --benchmark_filter=avx2

#include <cstdlib>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "eval/nn.h"
#include "eval/nn_kernels.h"
#include "search/thread.h"
#include "shell/start.h"
#include "support.h"

namespace {

constexpr int UNITS = 640;
constexpr int INPUTS = 1824;
constexpr int FULL_ROWS = 37; // of the start position

// Rows as they lie in a network: the rows of one evaluation are far from each other.
struct Rows {
    float* weights;
    float* sums;
    std::vector<const float*> picked; // some thousand, at random

    Rows() {
        weights = static_cast<float*>(aligned_alloc(64, sizeof(float) * UNITS * INPUTS));
        sums = static_cast<float*>(aligned_alloc(64, sizeof(float) * UNITS));
        Random random = {1};
        for (int i = 0; i < UNITS * INPUTS; i++)
            weights[i] = static_cast<float>(random_below(random, 2001) - 1000) * 1e-4f;
        for (int i = 0; i < UNITS; i++) sums[i] = 0.1f;
        for (int i = 0; i < 4096; i++)
            picked.push_back(weights + size_t{UNITS} * random_below(random, INPUTS));
    }
};

const Rows& rows() {
    static const Rows all;
    return all;
}

void update(benchmark::State& state, const char* path, int removed, int added) {
    if (!NnSelectPath(path)) return state.SkipWithError("not on this processor");
    size_t at = 0;
    for (auto _ : state) {
        nn_kernels->update(rows().sums, rows().picked.data() + at, removed, added, UNITS);
        at = (at + 8) % 4000;
    }
}

void update_output(benchmark::State& state, const char* path) {
    if (!NnSelectPath(path)) return state.SkipWithError("not on this processor");
    size_t at = 0;
    float result[2];
    for (auto _ : state) {
        nn_kernels->update_output(result, rows().sums, rows().picked.data() + at, 4, 4,
                                  rows().weights, rows().weights + UNITS, UNITS);
        benchmark::DoNotOptimize(result);
        at = (at + 8) % 4000;
    }
}

void output(benchmark::State& state, const char* path) {
    if (!NnSelectPath(path)) return state.SkipWithError("not on this processor");
    float result[2];
    for (auto _ : state) {
        nn_kernels->output(result, rows().sums, rows().weights, rows().weights + UNITS, UNITS);
        benchmark::DoNotOptimize(result);
    }
}

// Positions of random play, one after another: by differences, or each from scratch at ply 1.
void evaluate(benchmark::State& state, const char* path, int ply) {
    if (!NnSelectPath(path)) return state.SkipWithError("not on this processor");
    Random random = {1};
    std::vector<Position> positions;
    Position& pos = set_up("r1bq1rk1/pp2bppp/2n1pn2/2pp4/3P4/2NBPN2/PPP2PPP/R1BQ1RK1 w - -");
    for (int i = 0; i < 64 && play_random(pos, random, 1) == 1; i++) positions.push_back(pos);
    SearchThread& thread = *main_thread;
    thread.line.ply = static_cast<int16_t>(ply);
    size_t at = 0;
    for (auto _ : state) {
        thread.position = positions[at];
        eval_hash_entry(thread.eval, thread.position).key = 0;
        benchmark::DoNotOptimize(NnEval(thread));
        at = (at + 1) % positions.size();
    }
}

} // namespace

int main(int argc, char** argv) {
    if (!init_engine()) return 1;
    for (const char* path : NN_PATH_NAMES) {
        auto name = [path](const char* what) { return std::string(what) + "/" + path; };
        benchmark::RegisterBenchmark(name("EightRows").c_str(), update, path, 4, 4);
        benchmark::RegisterBenchmark(name("FullRefresh").c_str(), update, path, 0, FULL_ROWS);
        benchmark::RegisterBenchmark(name("Output").c_str(), output, path);
        benchmark::RegisterBenchmark(name("EightRowsOutput").c_str(), update_output, path);
        benchmark::RegisterBenchmark(name("EvalByDifference").c_str(), evaluate, path, 2);
        benchmark::RegisterBenchmark(name("EvalFromScratch").c_str(), evaluate, path, 1);
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    shut_down_engine();
}
