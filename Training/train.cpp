// train: trains the network on self-play data and writes its file.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "Training/command_line.h"
#include "Training/kernels.h"
#include "Training/network.h"
#include "Training/ply_data.h"
#include "Training/ply_store.h"
#include "Training/run_settings.h"
#include "Training/safe_file.h"
#include "Training/trainer.h"
#include "Training/trainer_state.h"
#include "Training/training_curve.h"
#include "base/platform.h"
#include "base/text.h"
#include "board/see.h"
#include "eval/evaluate.h"
#include "eval/nn.h"
#include "search/thread.h"
#include "shell/start.h"

namespace {

struct TrainOptions {
    TrainSettings settings;
    StoreSettings store = {{PLY_FOR_NETWORK, false}, 3072};
    std::string out = "network.bin";
    std::string from;  // network to begin with; none: random weights
    std::string check; // network to be compared with the engine's evaluation
    double check_positions = 10000;
    bool resume = false;
    std::vector<std::string> paths;
};

} // namespace

static std::vector<ProgramOption> list_options(TrainOptions& options) {
    constexpr double MIN_MEMORY = 1; // MiB: some 29,000 records
    TrainSettings& settings = options.settings;
    return {
        {"--out", "FILE", &options.out, "network file; also OUT.csv, .svg, .settings, .state"},
        {"--resume", "", &options.resume, "go on from OUT.state, if there is one"},
        {"--epochs", "N", &settings.epochs, "passes over the positions", 1},
        {"--seed", "N", &settings.seed, "of weights and order"},
        {"--hidden", "N", &settings.hidden, "hidden units, a multiple of 64", BLOCK},
        {"--batch", "N", &settings.batch, "positions of a step", 1},
        {"--threads", "N", &settings.threads, "threads"},
        {"--memory", "MB", &options.store.memory_mb, "for positions; more are read in pieces",
         MIN_MEMORY},
        {"--rate", "X", &settings.rate, "highest step size"},
        {"--last-rate", "X", &settings.last_rate, "share of it at the end"},
        {"--warm-up", "X", &settings.warm_up, "share of the steps in which it rises"},
        {"--lambda", "X", &settings.lambda_first, "weight of the score, first epoch"},
        {"--last-lambda", "X", &settings.lambda_last, "weight of the score, last epoch"},
        {"--ahead", "X", &options.store.ahead, "share of the next ply's score", 0, 1},
        {"--average", "X", &settings.average, "last share of the steps, averaged", 0, 1},
        {"--quiet", "", &options.store.filter.quiet, "leave out where a capture wins"},
        {"--power", "X", &settings.power, "of a miss of the target in the loss", 1},
        {"--pawn-weight", "X", &settings.pawn_weight, "weight of pawn endings"},
        {"--decay", "X", &settings.decay, "of weights"},
        {"--delta-decay", "X", &settings.delta_decay, "of the second set's difference"},
        {"--spread", "X", &settings.spread, "deviation of the first input weights"},
        {"--row-spread", "X", &settings.row_spread, "deviation of the first output rows"},
        {"--bias", "X", &settings.bias, "first shared bias"},
        {"--from", "FILE", &options.from, "network file to begin with"},
        {"--check", "FILE", &options.check, "compare a network file with the engine"},
        {"--positions", "N", &options.check_positions, "positions for --check"},
    };
}

static bool read_options(TrainOptions& options, int argc, char** argv) {
    constexpr int MAX_TEAM = 64;   // threads
    constexpr int UNITS_STEP = 64; // of hidden units
    TrainSettings& settings = options.settings;
    settings.threads = machine_threads();
    const Usage usage = {"train [options] FILE|FOLDER...", 1, ANY_NUMBER, list_options(options)};
    if (!read_arguments(usage, argc, argv, options.paths)) return false;
    settings.threads = std::clamp(settings.threads, 1, MAX_TEAM);
    if (settings.hidden % UNITS_STEP == 0) return true;
    fprintf(stderr, "a size is out of range\n");
    return false;
}

static bool read_data(PlyStore& store, const TrainOptions& options, Team& team) {
    if (!open_store(store, list_ply_files(options.paths), options.store, team)) return false;
    print_counts(store.counts, store.training, store.validation.size());
    if (store.pieces > 1) printf("read in %zu pieces an epoch\n", store.pieces);
    if (store.training > 0 && !store.validation.empty()) return true;
    fprintf(stderr, "too few positions\n");
    return false;
}

// The engine's scores of a record's position, without contempt and scaling.
static int network_score(Position& pos) {
    pos.owner->ply = 1; // nothing is taken from an earlier evaluation
    return NnEval(thread_of(pos));
}
static int hand_crafted_score(Position& pos) { return HceEval(thread_of(pos), pos.side, 1, 0); }

// Squared error of a score against the record's own, as probabilities.
static double squared_miss(int score, const PlyRecord& record, const NetworkInput& input) {
    double miss = score_probability(static_cast<double>(score) * input.fifty)
                - score_probability(record.score);
    return miss * miss;
}

// Compares this program's plain forward pass through a network file with the engine's evaluation,
// on validation positions. Returns false if the file can't be read or scores differ by more than
// rounding.
static bool check_network(const PlyStore& store, const TrainOptions& options) {
    Network network;
    if (!read_network(network, options.check)) {
        fprintf(stderr, "can't read the network %s\n", options.check.c_str());
        return false;
    }
    copy_text(active_personality.NN_File, options.check.c_str(), sizeof active_personality.NN_File);
    NnLoad();
    Position& pos = main_thread->position;
    size_t count = std::min(store.validation.size(), static_cast<size_t>(options.check_positions));
    int largest = 0;
    double network_loss = 0, hand_crafted_loss = 0;
    for (size_t i = 0; i < count; i++) {
        const PlyRecord& record = store.validation[i];
        if (!unpack_ply(pos, record)) continue;
        NetworkInput input;
        list_features(input, record);
        int score = network_score(pos), plain = output_score(network_output(network, input));
        largest = std::max(largest, std::abs(score - plain));
        network_loss += squared_miss(score, record, input);
        hand_crafted_loss += squared_miss(hand_crafted_score(pos), record, input);
    }
    double positions = static_cast<double>(std::max<size_t>(count, 1));
    printf("%zu positions: largest difference to the engine %d; error against the search %.6f, "
           "of the hand-crafted evaluation %.6f\n",
           count, largest, network_loss / positions, hand_crafted_loss / positions);
    return largest <= 1;
}

static void print_loss(const char* name, const TrainLoss& loss) {
    printf("%s %.6f (score %.6f, result %.6f)", name, loss.target, loss.score, loss.result);
}

static void print_epoch(const CurvePoint& point, int epochs, double speed) {
    printf("epoch %3d/%d  training %.6f  ", point.epoch, epochs, point.training);
    print_loss("validation", point.validation);
    printf("  rate %.6f  %.0f positions/s\n  ", point.rate, speed);
    for (int phase = 0; phase < PHASES; phase++)
        printf("%s %.6f, ", PHASE_NAMES[phase], point.validation.phase[phase]);
    printf("%d idle units, %zu weights at the limit\n", point.validation.idle_units, point.clamped);
    fflush(stdout);
}

// Writes all files of an epoch; the state comes last, since a resumed run goes by it.
static bool write_files(Trainer& trainer, const Network& network,
                        const std::vector<CurvePoint>& curve, const std::string& settings,
                        const std::string& out) {
    if (write_network(network, out) && write_curve_table(curve, out + ".csv")
        && write_curve_picture(curve, out + ".svg")
        && save_state(trainer, settings, out + ".state"))
        return true;
    fprintf(stderr, "can't write the files of %s\n", out.c_str());
    return false;
}

// Runs the epochs that are left, with the files written after each.
static bool run_epochs(Trainer& trainer, PlyStore& store, const std::string& settings_text,
                       const std::string& out) {
    const TrainSettings& settings = trainer.settings;
    const uint64_t total_steps =
        epoch_steps(settings, store.training) * static_cast<uint64_t>(settings.epochs);
    std::vector<CurvePoint> curve;
    if (trainer.epoch > 0) curve = read_curve_table(out + ".csv");
    if (curve.size() > static_cast<size_t>(trainer.epoch))
        curve.resize(static_cast<size_t>(trainer.epoch));
    while (trainer.epoch < settings.epochs) {
        double start = monotonic_seconds();
        double training = train_epoch(trainer, store, total_steps);
        if (training < 0) return false;
        double speed = static_cast<double>(store.training) / (monotonic_seconds() - start);
        const Network network = export_network(trainer);
        curve.push_back({trainer.epoch, rate_of_step(settings, trainer.steps - 1, total_steps),
                         training, evaluate_records(trainer, store.validation),
                         count_clamped(network)});
        print_epoch(curve.back(), settings.epochs, speed);
        if (!write_files(trainer, network, curve, settings_text, out)) return false;
    }
    return true;
}

// Losses of the network as its file holds it.
static bool evaluate_file(Trainer& trainer, const PlyStore& store, const std::string& path) {
    Network network;
    if (!read_network(network, path) || network.hidden != trainer.settings.hidden) return false;
    import_network(trainer, network);
    print_loss("as written: validation", evaluate_records(trainer, store.validation));
    printf("\n");
    return true;
}

// All that decides about the network: settings, first weights and data.
static std::string describe_run(TrainOptions& options, const Network& from, const PlyStore& store) {
    std::string text;
    add_options(text, list_options(options),
                {"--out", "--resume", "--threads", "--memory", "--from", "--check", "--positions"});
    char value[96] = "random";
    if (!options.from.empty())
        snprintf(value, sizeof value, "checksum %016llx",
                 static_cast<unsigned long long>(weights_checksum(from)));
    add_setting(text, "weights", value);
    snprintf(value, sizeof value, "%zu files with %llu records, checksum %016llx",
             store.files.size(), static_cast<unsigned long long>(store.records),
             static_cast<unsigned long long>(store.checksum));
    add_setting(text, "data", value);
    add_setting(text, "pieces", std::to_string(store.pieces));
    return text;
}

// Takes up the state of an earlier run with the same settings. Returns false, after one line that
// tells what differs, if there is none.
static bool resume_run(Trainer& trainer, const std::string& settings, const std::string& state) {
    std::string before;
    if (!read_state_settings(before, state)) {
        fprintf(stderr, "no state of a run: %s\n", state.c_str());
        return false;
    }
    const std::string difference = differing_settings(settings, before);
    if (!difference.empty()) {
        fprintf(stderr, "can't resume %s: %s\n", state.c_str(), difference.c_str());
        return false;
    }
    if (load_state(trainer, state)) return true;
    fprintf(stderr, "no whole state: %s\n", state.c_str());
    return false;
}

// Writes what a new run can be resumed from before its first epoch has ended.
static bool begin_run(Trainer& trainer, const std::string& settings, const std::string& out) {
    FILE* file = begin_file(out + ".settings");
    if (file && fputs(settings.c_str(), file) >= 0 && finish_file(file, out + ".settings", true)
        && save_state(trainer, settings, out + ".state"))
        return true;
    fprintf(stderr, "can't write the files of %s\n", out.c_str());
    return false;
}

static bool train_network(Trainer& trainer, PlyStore& store, TrainOptions& options) {
    Network from = {};
    if (!options.from.empty()) {
        if (!read_network(from, options.from) || from.hidden != options.settings.hidden) {
            fprintf(stderr, "no network of this size: %s\n", options.from.c_str());
            return false;
        }
        import_network(trainer, from);
    }
    const std::string settings = describe_run(options, from, store);
    const std::string state = options.out + ".state";
    const bool resumed = options.resume && std::filesystem::exists(state);
    if (!(resumed ? resume_run(trainer, settings, state)
                  : begin_run(trainer, settings, options.out)))
        return false;
    printf("%d hidden units, seed %llu, kernels for %s\n", options.settings.hidden,
           static_cast<unsigned long long>(options.settings.seed), best_kernels().name);
    return run_epochs(trainer, store, settings, options.out)
        && evaluate_file(trainer, store, options.out);
}

int main(int argc, char** argv) {
    TrainOptions options;
    if (!read_options(options, argc, argv) || !init_engine()) return 1;
    set_exchange_values();
    auto trainer = make_trainer(options.settings);
    PlyStore store;
    if (!read_data(store, options, *trainer->team)) return 1;
    if (!options.check.empty()) return check_network(store, options) ? 0 : 1;
    if (!train_network(*trainer, store, options)) return 1;
    shut_down_engine();
    return 0;
}
