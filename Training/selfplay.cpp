// selfplay: makes training data, games of the engine against itself. See README.md.

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <unistd.h>

#include "Training/random_start.h"
#include "Training/workers.h"
#include "base/state.h"
#include "base/text.h"
#include "shell/start.h"
#include "shell/think.h"

static constexpr char USAGE[] =
    "usage: selfplay --out DIR [options]\n"
    "  --out DIR              where the files of games go, one for each worker\n"
    "  --games N              end with N games in the files, all workers together\n"
    "  --positions N          end with about N positions in the files\n"
    "  --minutes M            end after M minutes\n"
    "  --seed N               seed of the run (1)\n"
    "  --threads N            workers (number of processors)\n"
    "  --nodes N              nodes of a move, after which no iteration begins (2000)\n"
    "  --hash MB              hash table of a worker (8)\n"
    "  --chess960 PERCENT     games from Chess960 starts (10)\n"
    "  --openings FILE        EPD file of positions to begin games with\n"
    "  --openings-share PERCENT  games from these positions (15)\n"
    "  --network FILE         network to play with, \"embedded\", or \"hce\" (hce)\n"
    "  --params FILE          parameters of the hand-crafted evaluation "
    "(params.txt, if it is there)\n";

static int processors() {
    long count = sysconf(_SC_NPROCESSORS_ONLN);
    return count >= 1 && count <= 1024 ? static_cast<int>(count) : 1;
}

namespace {

struct Options {
    SelfplaySettings run;
    const char* openings; // file name, or null
    const char* network;  // file name, "embedded" or "hce"
    const char* params;   // file name, or null
};

// An option with a whole number; the first field that is not null takes it.
struct NumberOption {
    const char* name;
    int* small;
    uint64_t* large;
    uint64_t least, most;
};

} // namespace

static bool read_whole(uint64_t& number, const char* text, uint64_t least, uint64_t most) {
    char* end = nullptr;
    errno = 0;
    unsigned long long value = strtoull(text, &end, 10);
    if (*text < '0' || *text > '9' || *end || errno || value < least || value > most) return false;
    number = value;
    return true;
}

// Takes a number option. Returns false if the name is none of them; `good` tells about the value.
static bool take_number(Options& options, const char* name, const char* value, bool& good) {
    constexpr uint64_t MUCH = 1000000000000; // games or positions of a run
    SelfplaySettings& run = options.run;
    const NumberOption numbers[] = {
        {"--games", nullptr, &run.games, 1, MUCH},
        {"--positions", nullptr, &run.positions, 1, MUCH},
        {"--seed", nullptr, &run.seed, 0, UINT64_MAX},
        {"--threads", &run.workers, nullptr, 1, 1024},
        {"--nodes", &run.game.nodes, nullptr, 1, 100000000},
        {"--hash", &run.hash_mb, nullptr, 1, MAX_HASH_MB},
        {"--chess960", &run.game.chess960_share, nullptr, 0, 100},
        {"--openings-share", &run.game.openings_share, nullptr, 0, 100},
    };
    for (const NumberOption& option : numbers) {
        if (strcmp(name, option.name) != 0) continue;
        uint64_t number = 0;
        good = read_whole(number, value, option.least, option.most);
        if (good && option.small) *option.small = static_cast<int>(number);
        if (good && option.large) *option.large = number;
        return true;
    }
    return false;
}

static bool take_option(Options& options, const char* name, const char* value) {
    bool good = true;
    if (take_number(options, name, value, good)) return good;
    if (strcmp(name, "--out") == 0) {
        options.run.out = value;
    } else if (strcmp(name, "--openings") == 0) {
        options.openings = value;
    } else if (strcmp(name, "--network") == 0) {
        options.network = value;
    } else if (strcmp(name, "--params") == 0) {
        options.params = value;
    } else if (strcmp(name, "--minutes") == 0) {
        options.run.minutes = atof(value);
        return options.run.minutes > 0.0;
    } else {
        return false;
    }
    return true;
}

static bool read_options(Options& options, int argc, char** argv) {
    for (int i = 1; i < argc; i += 2) {
        if (i + 1 < argc && take_option(options, argv[i], argv[i + 1])) continue;
        if (strcmp(argv[i], "--help") != 0)
            fprintf(stderr, "bad option %s %s\n", argv[i], i + 1 < argc ? argv[i + 1] : "");
        return false;
    }
    return !options.run.out.empty();
}

// Reads the parameters of the hand-crafted evaluation. Returns false after a message if it can't.
static bool take_parameters(const char* name) {
    if (!name) return true;
    constexpr size_t ROOM = sizeof active_personality.params_file;
    if (access(name, R_OK) != 0 || strlen(name) >= ROOM) {
        fprintf(stderr, "can't read %s\n", name);
        return false;
    }
    copy_text(active_personality.params_file, name, ROOM);
    rebuild_evaluation();
    return true;
}

static bool load_openings(Options& options) {
    if (!options.openings) return true;
    if (read_openings(options.run.game.openings, options.openings)
        && !options.run.game.openings.empty())
        return true;
    fprintf(stderr, "no openings in %s\n", options.openings);
    return false;
}

int main(int argc, char** argv) {
    Options options = {};
    options.network = "hce";
    options.run = {{2000, 10, 15, {}}, "", 1, processors(), 8, 0, 0, 0.0, true};
    if (!read_options(options, argc, argv)) {
        fputs(USAGE, stderr);
        return 2;
    }
    if (options.run.game.chess960_share + options.run.game.openings_share > 100) {
        fprintf(stderr, "the shares of starts exceed 100 per cent\n");
        return 2;
    }
    if (!init_engine()) return 1;
    int status = 1;
    if (take_parameters(options.params) && choose_evaluation(options.network)
        && load_openings(options))
        status = run_selfplay(options.run);
    shut_down_engine();
    return status;
}
