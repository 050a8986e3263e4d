// selfplay: makes training data, games of the engine against itself. See README.md.

#include <cstdio>
#include <string>
#include <vector>

#include <unistd.h>

#include "Training/command_line.h"
#include "Training/random_start.h"
#include "Training/workers.h"
#include "base/state.h"
#include "base/text.h"
#include "shell/start.h"
#include "shell/think.h"

constexpr int USAGE_STATUS = 2; // of a wrong command line

namespace {

struct SelfplayOptions {
    SelfplaySettings run;
    std::string openings;        // file name, or nothing
    std::string network = "hce"; // file name, "embedded" or "hce"
    std::string params;          // file name, or nothing
};

} // namespace

static bool read_options(SelfplayOptions& options, int argc, char** argv) {
    constexpr double MAX_GOAL = 1e12; // games or positions of a run
    constexpr double MIN_MINUTES = 1e-6;
    constexpr int MAX_WORKERS = 1024, MAX_NODES = 100000000;
    SelfplaySettings& run = options.run;
    GameSettings& game = run.game;
    run.workers = run.at_once = machine_threads();
    run.report = true;
    const Usage usage = {
        "selfplay --out DIR [options]",
        0,
        0,
        {
            {"--out", "DIR", &run.out, "where the files of games go, one for each worker"},
            {"--games", "N", &run.games, "end with N games in the files, all workers together", 1,
             MAX_GOAL},
            {"--positions", "N", &run.positions, "end with about N positions in the files", 1,
             MAX_GOAL},
            {"--minutes", "M", &run.minutes, "end after M minutes", MIN_MINUTES},
            {"--seed", "N", &run.seed, "seed of the run"},
            {"--threads", "N", &run.workers, "workers", 1, MAX_WORKERS},
            {"--at-once", "N", &run.at_once, "workers that play at the same time", 1, MAX_WORKERS},
            {"--nodes", "N", &game.nodes, "nodes of a move, after which no iteration begins", 1,
             MAX_NODES},
            {"--hash", "MB", &run.hash_mb, "hash table of a worker", 1, MAX_HASH_MB},
            {"--chess960", "PERCENT", &game.chess960_share, "games from Chess960 starts", 0, 100},
            {"--openings", "FILE", &options.openings, "EPD file of positions to begin games with"},
            {"--openings-share", "PERCENT", &game.openings_share, "games from these positions", 0,
             100},
            {"--network", "FILE", &options.network,
             "network to play with, \"embedded\", or \"hce\""},
            {"--params", "FILE", &options.params,
             "parameters of the hand-crafted evaluation (params.txt, if it is there)"},
        }};
    std::vector<std::string> none;
    if (!read_arguments(usage, argc, argv, none)) return false;
    if (run.out.empty()) {
        print_usage(usage);
        return false;
    }
    if (game.chess960_share + game.openings_share <= 100) return true;
    fprintf(stderr, "the shares of starts exceed 100 per cent\n");
    return false;
}

// Reads the parameters of the hand-crafted evaluation. Returns false after a message if it can't.
static bool take_parameters(const std::string& name) {
    if (name.empty()) return true;
    constexpr size_t ROOM = sizeof active_personality.params_file;
    if (access(name.c_str(), R_OK) != 0 || name.size() >= ROOM) {
        fprintf(stderr, "can't read %s\n", name.c_str());
        return false;
    }
    copy_text(active_personality.params_file, name.c_str(), ROOM);
    rebuild_evaluation();
    return true;
}

static bool load_openings(SelfplayOptions& options) {
    std::vector<std::string>& openings = options.run.game.openings;
    const char* name = options.openings.c_str();
    if (!*name || (read_openings(openings, name) && !openings.empty())) return true;
    fprintf(stderr, "no openings in %s\n", name);
    return false;
}

int main(int argc, char** argv) {
    SelfplayOptions options;
    if (!read_options(options, argc, argv)) return USAGE_STATUS;
    if (!init_engine()) return 1;
    int status = 1;
    if (take_parameters(options.params) && choose_evaluation(options.network.c_str())
        && load_openings(options))
        status = run_selfplay(options.run);
    shut_down_engine();
    return status;
}
