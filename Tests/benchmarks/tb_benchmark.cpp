// Speed of the endgame tables, on random positions of the tables in the folder that the variable
// MIRD_TEST_DATA names, or else of the three small tables of the tests.
//
//   mird_tb_benchmark                 all figures
//   mird_tb_benchmark --benchmark_filter=Wdl

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <unistd.h>

#include "shell/start.h"
#include "support.h"
#include "syzygy/tbcore.h"
#include "syzygy/tbprobe.h"
#include "tb_support.h"

namespace {

std::string table_folder() {
    std::string shared = shared_data("syzygy");
    return shared.empty() ? own_tables() : shared;
}

std::vector<std::string> table_names() {
    std::vector<std::string> names;
    for (const auto& file : std::filesystem::directory_iterator(table_folder()))
        if (file.path().extension() == ".rtbw") names.push_back(file.path().stem().string());
    std::sort(names.begin(), names.end());
    return names;
}

// Sets the tables up without their line on standard output, where the figures go.
void set_up_quietly() {
    fflush(stdout);
    int out = dup(STDOUT_FILENO);
    if (!freopen("/dev/null", "w", stdout)) return;
    tb_init(table_folder().c_str());
    fflush(stdout);
    dup2(out, STDOUT_FILENO);
    close(out);
}

std::vector<TBPosition> random_boards(int count) {
    Random random = {1};
    std::vector<std::string> names = table_names();
    std::vector<TBPosition> boards;
    for (int i = 0; i < count; i++)
        boards.push_back(random_board(names[static_cast<size_t>(i) % names.size()], random));
    return boards;
}

} // namespace

static void WdlProbes(benchmark::State& state) {
    set_up_quietly();
    std::vector<TBPosition> boards = random_boards(20000);
    int success, sum = 0;
    for (const TBPosition& board : boards) sum += tb_probe_wdl(board, &success);
    size_t next = 0;
    for (auto _ : state) {
        sum += tb_probe_wdl(boards[next], &success);
        if (++next == boards.size()) next = 0;
    }
    benchmark::DoNotOptimize(sum);
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(WdlProbes);

static void DtzProbes(benchmark::State& state) {
    set_up_quietly();
    std::vector<TBPosition> boards = random_boards(5000);
    int success, sum = 0;
    for (const TBPosition& board : boards) sum += tb_probe_dtz(board, &success);
    size_t next = 0;
    for (auto _ : state) {
        sum += tb_probe_dtz(boards[next], &success);
        if (++next == boards.size()) next = 0;
    }
    benchmark::DoNotOptimize(sum);
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(DtzProbes);

// Finding, mapping and decoding one file of each kind, and one value from it.
static void FirstTouch(benchmark::State& state, const std::string& name) {
    Random random = {2};
    TBPosition board = random_board(name, random);
    uint64_t key = tb_material_key(board);
    for (auto _ : state) {
        state.PauseTiming();
        set_up_quietly();
        TBEntry* entry = tb_find(key);
        state.ResumeTiming();
        if (!tb_use(*entry) || !tb_use_dtz(key)) state.SkipWithError("no table");
        int success = 1;
        benchmark::DoNotOptimize(tb_probe_table(board, &success));
    }
}

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (!init_engine()) return 1;
    for (const std::string& name : table_names())
        benchmark::RegisterBenchmark(("FirstTouch/" + name).c_str(),
                                     [name](benchmark::State& state) { FirstTouch(state, name); })
            ->Iterations(20)
            ->Unit(benchmark::kMicrosecond);
    benchmark::RunSpecifiedBenchmarks();
    shut_down_engine();
    return 0;
}
