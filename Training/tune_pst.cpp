// tune_pst: fits the piece-square tables to self-play data and writes their source file.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <thread>

#include "Training/command_line.h"
#include "Training/ply_data.h"
#include "Training/pst_tuning.h"
#include "shell/start.h"

// Keeps a random choice of at most `most` records.
static void thin_out(std::vector<PlyRecord>& records, double most, uint64_t seed) {
    shuffle_plies(records, seed);
    if (static_cast<double>(records.size()) > most) records.resize(static_cast<size_t>(most));
    records.shrink_to_fit();
}

static void print_summary(const PstChange& change) {
    for (int table = 0; table < PST_TABLES; table++) {
        double mean[2] = {}, largest[2] = {};
        int rows = 0;
        for (int row = table * 64; row < table * 64 + 64; row++) {
            if (is_fixed_row(row)) continue;
            rows++;
            for (int half = 0; half < 2; half++) {
                mean[half] += change.value[half][row];
                largest[half] = std::max(largest[half], std::fabs(change.value[half][row]));
            }
        }
        printf("%-7s mean change %6.1f %6.1f, largest %5.1f %5.1f\n", PST_DEFAULTS[table].name,
               mean[0] / rows, mean[1] / rows, largest[0], largest[1]);
    }
}

int main(int argc, char** argv) {
    PstSettings settings;
    double positions = 4e6, threads = std::max(1u, std::thread::hardware_concurrency());
    double epochs = settings.epochs, seed = 1, k = 0;
    std::string out = "pst.cpp";
    const std::vector<Option> options = {
        {"--out", nullptr, &out, nullptr, "source file to write"},
        {"--positions", &positions, nullptr, nullptr, "most positions for training"},
        {"--lambda", &settings.lambda, nullptr, nullptr, "weight of the score in the target"},
        {"--epochs", &epochs, nullptr, nullptr, "passes over the positions"},
        {"--rate", &settings.rate, nullptr, nullptr, "first step size, units"},
        {"--smooth", &settings.smooth, nullptr, nullptr, "expected change between neighbours"},
        {"--pull", &settings.pull, nullptr, nullptr, "expected change of a square"},
        {"--worth", &settings.worth, nullptr, nullptr, "weight of a position against these"},
        {"--k", &k, nullptr, nullptr, "factor of the score, 0: fitted"},
        {"--threads", &threads, nullptr, nullptr, "threads"},
        {"--seed", &seed, nullptr, nullptr, "of the choice of positions"},
    };
    std::vector<std::string> paths;
    if (!read_arguments(argc, argv, options, paths) || paths.empty()) {
        print_usage("tune_pst [options] FILE|FOLDER...", options);
        return 1;
    }
    settings.epochs = static_cast<int>(epochs);
    settings.threads = std::clamp(static_cast<int>(threads), 1, 64);
    if (!init_engine()) return 1;

    auto sets = std::make_unique<PlySets>();
    for (const std::string& file : list_ply_files(paths))
        if (!read_ply_file(*sets, file, PLY_FOR_TABLES)) return 1;
    print_ply_sets(*sets);
    thin_out(sets->training, positions, static_cast<uint64_t>(seed));
    if (sets->training.empty() || sets->validation.empty()) {
        fprintf(stderr, "too few positions\n");
        return 1;
    }
    PstData training = reduce_records(sets->training, settings);
    PstData validation = reduce_records(sets->validation, settings);
    sets.reset();

    double fitted = fit_score_factor(training, settings.threads);
    printf("factor of the score that fits best: %.3f\n", fitted);
    if (k <= 0) k = fitted;
    const PstChange none = {};
    printf("%zu positions in use; before: training %.6f  validation %.6f\n",
           training.positions.size(), pst_loss(training, none, k, settings.threads),
           pst_loss(validation, none, k, settings.threads));
    PstChange change = fit_tables(training, validation, settings, k);
    print_summary(change);
    if (!write_pst_source(out.c_str(), change)) {
        fprintf(stderr, "can't write %s\n", out.c_str());
        return 1;
    }
    printf("after: training %.6f  validation %.6f, written to %s\n",
           pst_loss(training, change, k, settings.threads),
           pst_loss(validation, change, k, settings.threads), out.c_str());
    shut_down_engine();
    return 0;
}
