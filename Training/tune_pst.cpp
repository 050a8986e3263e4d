// tune_pst: fits the piece-square tables to self-play data and writes their source file.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

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

namespace {

struct TuneOptions {
    PstSettings settings;
    std::string out = "pst.cpp";
    double positions = 4e6; // at most so many for training
    double k = 0;           // factor of the score; 0: the one that fits best
    uint64_t seed = 1;      // of the choice of positions
    std::vector<std::string> paths;
};

} // namespace

static bool read_options(TuneOptions& options, int argc, char** argv) {
    constexpr int MAX_TEAM = 64; // threads
    PstSettings& settings = options.settings;
    settings.threads = machine_threads();
    const Usage usage = {
        "tune_pst [options] FILE|FOLDER...",
        1,
        ANY_NUMBER,
        {
            {"--out", "FILE", &options.out, "source file to write"},
            {"--positions", "N", &options.positions, "most positions for training"},
            {"--lambda", "X", &settings.lambda, "weight of the score in the target"},
            {"--epochs", "N", &settings.epochs, "passes over the positions"},
            {"--rate", "X", &settings.rate, "first step size, units"},
            {"--smooth", "X", &settings.smooth, "expected change between neighbours"},
            {"--pull", "X", &settings.pull, "expected change of a square"},
            {"--worth", "X", &settings.worth, "weight of a position against these"},
            {"--k", "X", &options.k, "factor of the score, 0: fitted"},
            {"--threads", "N", &settings.threads, "threads"},
            {"--seed", "N", &options.seed, "of the choice of positions"},
        }};
    if (!read_arguments(usage, argc, argv, options.paths)) return false;
    settings.threads = std::clamp(settings.threads, 1, MAX_TEAM);
    return true;
}

int main(int argc, char** argv) {
    TuneOptions options;
    PstSettings& settings = options.settings;
    if (!read_options(options, argc, argv)) return 1;
    if (!init_engine()) return 1;

    auto sets = std::make_unique<PlySets>();
    for (const std::string& file : list_ply_files(options.paths))
        if (!read_ply_file(*sets, file, PLY_FOR_TABLES)) return 1;
    print_counts(sets->counts, sets->training.size(), sets->validation.size());
    thin_out(sets->training, options.positions, options.seed);
    if (sets->training.empty() || sets->validation.empty()) {
        fprintf(stderr, "too few positions\n");
        return 1;
    }
    PstData training = reduce_records(sets->training, settings);
    PstData validation = reduce_records(sets->validation, settings);
    sets.reset();

    double fitted = fit_score_factor(training, settings.threads);
    printf("factor of the score that fits best: %.3f\n", fitted);
    const double k = options.k > 0 ? options.k : fitted;
    const PstChange none = {};
    printf("%zu positions in use; before: training %.6f  validation %.6f\n",
           training.positions.size(), pst_loss(training, none, k, settings.threads),
           pst_loss(validation, none, k, settings.threads));
    PstChange change = fit_tables(training, validation, settings, k);
    print_summary(change);
    if (!write_pst_source(options.out.c_str(), change)) {
        fprintf(stderr, "can't write %s\n", options.out.c_str());
        return 1;
    }
    printf("after: training %.6f  validation %.6f, written to %s\n",
           pst_loss(training, change, k, settings.threads),
           pst_loss(validation, change, k, settings.threads), options.out.c_str());
    shut_down_engine();
    return 0;
}
