// train: trains the network on self-play data and writes its file.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "Training/command_line.h"
#include "Training/kernels.h"
#include "Training/network.h"
#include "Training/ply_data.h"
#include "Training/trainer.h"
#include "Training/training_curve.h"
#include "base/text.h"
#include "eval/evaluate.h"
#include "eval/nn.h"
#include "search/thread.h"
#include "shell/start.h"

namespace {

struct TrainOptions {
    TrainSettings settings;
    std::string out = "network.bin";
    std::string from;  // network to begin with; none: random weights
    std::string check; // network to be compared with the engine's evaluation
    double check_positions = 10000;
    bool resume = false;
    std::vector<std::string> paths;
};

double seconds_now() {
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

} // namespace

static bool read_options(TrainOptions& options, int argc, char** argv) {
    constexpr int MAX_TEAM = 64; // threads
    TrainSettings& settings = options.settings;
    settings.threads = machine_threads();
    const Usage usage = {
        "train [options] FILE|FOLDER...",
        1,
        ANY_NUMBER,
        {
            {"--out", "FILE", &options.out, "network file; also OUT.csv, .svg, .state"},
            {"--resume", "", &options.resume, "go on from OUT.state"},
            {"--epochs", "N", &settings.epochs, "passes over the positions", 1},
            {"--seed", "N", &settings.seed, "of weights and order"},
            {"--hidden", "N", &settings.hidden, "hidden units, a multiple of 64", BLOCK},
            {"--batch", "N", &settings.batch, "positions of a step", 1},
            {"--threads", "N", &settings.threads, "threads"},
            {"--rate", "X", &settings.rate, "highest step size"},
            {"--last-rate", "X", &settings.last_rate, "share of it at the end"},
            {"--warm-up", "X", &settings.warm_up, "share of the steps in which it rises"},
            {"--lambda", "X", &settings.lambda_first, "weight of the score, first epoch"},
            {"--last-lambda", "X", &settings.lambda_last, "weight of the score, last epoch"},
            {"--pawn-weight", "X", &settings.pawn_weight, "weight of pawn endings"},
            {"--decay", "X", &settings.decay, "of weights"},
            {"--delta-decay", "X", &settings.delta_decay, "of the second set's difference"},
            {"--spread", "X", &settings.spread, "deviation of the first input weights"},
            {"--row-spread", "X", &settings.row_spread, "deviation of the first output rows"},
            {"--bias", "X", &settings.bias, "first shared bias"},
            {"--from", "FILE", &options.from, "network file to begin with"},
            {"--check", "FILE", &options.check, "compare a network file with the engine"},
            {"--positions", "N", &options.check_positions, "positions for --check"},
        }};
    if (!read_arguments(usage, argc, argv, options.paths)) return false;
    settings.threads = std::clamp(settings.threads, 1, MAX_TEAM);
    if (settings.hidden % BLOCK == 0) return true;
    fprintf(stderr, "a size is out of range\n");
    return false;
}

static bool read_data(PlySets& sets, const std::vector<std::string>& paths) {
    for (const std::string& file : list_ply_files(paths))
        if (!read_ply_file(sets, file, PLY_FOR_NETWORK)) return false;
    print_counts(sets.counts, sets.training.size(), sets.validation.size());
    if (!sets.training.empty() && !sets.validation.empty()) return true;
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
static bool check_network(const PlySets& sets, const TrainOptions& options) {
    Network network;
    if (!read_network(network, options.check)) {
        fprintf(stderr, "can't read the network %s\n", options.check.c_str());
        return false;
    }
    copy_text(active_personality.NN_File, options.check.c_str(), sizeof active_personality.NN_File);
    NnLoad();
    Position& pos = main_thread->position;
    size_t count = std::min(sets.validation.size(), static_cast<size_t>(options.check_positions));
    int largest = 0;
    double network_loss = 0, hand_crafted_loss = 0;
    for (size_t i = 0; i < count; i++) {
        const PlyRecord& record = sets.validation[i];
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

// Runs the epochs that are left, with the files written after each.
static bool run_epochs(Trainer& trainer, const PlySets& sets, const TrainOptions& options) {
    const TrainSettings& settings = trainer.settings;
    const uint64_t total_steps =
        epoch_steps(settings, sets.training.size()) * static_cast<uint64_t>(settings.epochs);
    std::vector<CurvePoint> curve;
    if (trainer.epoch > 0) curve = read_curve_table(options.out + ".csv");
    if (curve.size() > static_cast<size_t>(trainer.epoch))
        curve.resize(static_cast<size_t>(trainer.epoch));
    while (trainer.epoch < settings.epochs) {
        double start = seconds_now();
        double training = train_epoch(trainer, sets.training, total_steps);
        double speed = static_cast<double>(sets.training.size()) / (seconds_now() - start);
        CurvePoint point = {trainer.epoch, rate_of_step(settings, trainer.steps - 1, total_steps),
                            training, evaluate_records(trainer, sets.validation)};
        curve.push_back(point);
        printf("epoch %3d/%d  training %.6f  ", point.epoch, settings.epochs, training);
        print_loss("validation", point.validation);
        printf("  rate %.6f  %.0f positions/s\n", point.rate, speed);
        fflush(stdout);
        if (!write_network(export_network(trainer), options.out)
            || !save_state(trainer, options.out + ".state")
            || !write_curve_table(curve, options.out + ".csv")
            || !write_curve_picture(curve, options.out + ".svg")) {
            fprintf(stderr, "can't write the files of %s\n", options.out.c_str());
            return false;
        }
    }
    return true;
}

// Losses of the network as its file holds it.
static bool evaluate_file(Trainer& trainer, const PlySets& sets, const std::string& path) {
    Network network;
    if (!read_network(network, path) || network.hidden != trainer.settings.hidden) return false;
    import_network(trainer, network);
    print_loss("as written: validation", evaluate_records(trainer, sets.validation));
    printf("\n");
    return true;
}

int main(int argc, char** argv) {
    TrainOptions options;
    if (!read_options(options, argc, argv) || !init_engine()) return 1;
    auto sets = std::make_unique<PlySets>();
    if (!read_data(*sets, options.paths)) return 1;

    if (!options.check.empty()) return check_network(*sets, options) ? 0 : 1;

    auto trainer = make_trainer(options.settings);
    if (!options.from.empty()) {
        Network network;
        if (!read_network(network, options.from) || network.hidden != options.settings.hidden) {
            fprintf(stderr, "no network of this size: %s\n", options.from.c_str());
            return 1;
        }
        import_network(*trainer, network);
    }
    if (options.resume && !load_state(*trainer, options.out + ".state")) {
        fprintf(stderr, "no state of this shape: %s.state\n", options.out.c_str());
        return 1;
    }
    printf("%d hidden units, seed %llu, kernels for %s\n", options.settings.hidden,
           static_cast<unsigned long long>(options.settings.seed), best_kernels().name);
    if (!run_epochs(*trainer, *sets, options)) return 1;
    if (!evaluate_file(*trainer, *sets, options.out)) return 1;
    shut_down_engine();
    return 0;
}
