// match: games of two UCI engines against each other, or a shard of them; sums of such games. See
// README.md.

#include <cstdio>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include <unistd.h>

#include "Training/command_line.h"
#include "Training/match_file.h"
#include "Training/match_game.h"
#include "Training/ply_record.h"
#include "Training/random_start.h"
#include "Training/uci_engine.h"
#include "base/platform.h"
#include "base/random.h"
#include "base/state.h"
#include "shell/start.h"

namespace {

struct MatchOptions {
    MatchPlayer players[2];
    MatchLimit limit;
    MatchHead head = {{}, 400, 1, 0, 1};
    std::string options; // of both engines
    std::string openings;
    std::string out;
    bool chess960 = false;
    bool sum = false;
};

} // namespace

static Usage usage_of(MatchOptions& options) {
    constexpr double MAX_GAMES = 1e9, MAX_SECONDS = 1e6;
    constexpr int MAX_SHARDS = 1000000, MAX_MOVES = 1000;
    MatchPlayer* players = options.players;
    MatchLimit& limit = options.limit;
    MatchHead& head = options.head;
    return {
        "match --first COMMAND --second COMMAND --openings FILE --out FILE LIMIT [options]\n"
        "       match --sum FILE...",
        0,
        ANY_NUMBER,
        {
            {"--first", "COMMAND", &players[0].command, "engine whose score is told"},
            {"--second", "COMMAND", &players[1].command, "its opponent"},
            {"--first-options", "LIST", &players[0].options, "as Hash=16,Threads=1"},
            {"--second-options", "LIST", &players[1].options, "the same for the second"},
            {"--options", "LIST", &options.options, "the same for both, set before these"},
            {"--openings", "FILE", &options.openings, "EPD file of positions to begin with"},
            {"--out", "FILE", &options.out, "file of the games; goes on behind those it has"},
            {"--nodes", "N", &limit.nodes, "LIMIT: nodes of a move", 1},
            {"--depth", "N", &limit.depth, "LIMIT: plies", 1},
            {"--seconds", "X", &limit.seconds, "LIMIT: seconds of each side for a game", 0.01,
             MAX_SECONDS},
            {"--increment", "X", &limit.increment, "seconds that each move adds", 0, MAX_SECONDS},
            {"--moves", "N", &limit.moves, "moves for which the seconds are; 0: for the game", 0,
             MAX_MOVES},
            {"--games", "N", &head.games, "of the whole match, two with each opening", 1,
             MAX_GAMES},
            {"--seed", "N", &head.seed, "of the order of the openings"},
            {"--shard", "I", &head.shard, "play this part of the match only", 0, MAX_SHARDS},
            {"--shards", "N", &head.shards, "number of parts", 1, MAX_SHARDS},
            {"--chess960", "", &options.chess960, "play by the rules of Chess960"},
            {"--sum", "", &options.sum, "add up files of games, each of them once"},
        }};
}

static bool read_options(MatchOptions& options, std::vector<std::string>& files, int argc,
                         char** argv) {
    const Usage usage = usage_of(options);
    if (!read_arguments(usage, argc, argv, files)) return false;
    const MatchLimit& limit = options.limit;
    const int limits = (limit.nodes != 0) + (limit.depth != 0) + (limit.seconds > 0.0);
    const bool complete = !options.players[0].command.empty() && !options.players[1].command.empty()
                       && !options.openings.empty() && !options.out.empty() && limits == 1
                       && options.head.shard < options.head.shards;
    if (options.sum ? !files.empty() : files.empty() && complete) return true;
    print_usage(usage);
    return false;
}

// Puts the openings into the order of the seed and returns a number that tells the list.
static uint64_t shuffle_openings(std::vector<std::string>& openings, uint64_t seed) {
    uint64_t sum = 0;
    for (const std::string& opening : openings)
        for (char c : opening) sum = mix_seed(sum, static_cast<uint64_t>(c));
    Random random = {seed};
    for (size_t i = openings.size(); i > 1; i--)
        std::swap(openings[i - 1], openings[next_random(random) % i]);
    return sum;
}

static std::string settings_text(const MatchOptions& options, size_t openings, uint64_t sum) {
    const MatchLimit& limit = options.limit;
    char line[200];
    snprintf(line, sizeof line,
             "limit %llu nodes, %d plies, %g + %g s\nopenings %zu, %016llx\nchess960 %d\n",
             static_cast<unsigned long long>(limit.nodes), limit.depth, limit.seconds,
             limit.increment, openings, static_cast<unsigned long long>(sum), options.chess960);
    std::string text;
    if (limit.moves) text = "moves " + std::to_string(limit.moves) + "\n";
    for (const MatchPlayer& player : options.players)
        text += "engine " + player.command + "\noptions " + player.options + "\n";
    return text + line;
}

// Opens the file of games behind its last whole line, or makes it. `played` gets the numbers of the
// games that it has. Returns false after a message if it holds something else.
static bool open_games(std::ofstream& out, std::set<uint64_t>& played, MatchTotals& totals,
                       const MatchOptions& options) {
    const char* path = options.out.c_str();
    MatchFile file = {}; // without a byte where there is none yet
    if (file_exists(path)) {
        const char* reason = read_match_file(file, options.out);
        if (!reason && match_head_text(file.head) != match_head_text(options.head))
            reason = "is of another match";
        if (!reason && truncate(path, static_cast<off_t>(file.whole_bytes)) != 0)
            reason = "can't be written";
        if (reason) {
            fprintf(stderr, "%s %s\n", path, reason);
            return false;
        }
        for (const MatchGame& game : file.games) {
            played.insert(game.number);
            count_match_game(totals, game);
        }
    }
    out.open(options.out, std::ios::app);
    if (file.whole_bytes == 0) out << match_head_text(options.head) << std::flush;
    if (!out) fprintf(stderr, "%s can't be written\n", path);
    return static_cast<bool>(out);
}

// Plays the shard's games. Returns false after a message on standard error.
static bool play_match(MatchOptions& options, const std::vector<std::string>& openings) {
    std::ofstream out;
    std::set<uint64_t> played;
    MatchTotals totals = {};
    if (!open_games(out, played, totals, options)) return false;
    const MatchHead& head = options.head;
    for (uint64_t number = 0; number < head.games; number++) {
        const uint64_t pair = number / 2;
        if (pair % static_cast<uint64_t>(head.shards) != static_cast<uint64_t>(head.shard))
            continue;
        totals.games++;
        if (played.contains(number)) continue;
        const bool first_is_black = number % 2;
        MatchResult result;
        if (!play_match_game(result, options.players[first_is_black],
                             options.players[!first_is_black], options.limit,
                             openings[pair % openings.size()].c_str()))
            return false;
        const int points = first_is_black ? RESULT_WON - result.white : result.white;
        const MatchGame game = {number, points, result.end, result.plies};
        count_match_game(totals, game);
        if (!(out << match_game_text(game) << std::flush)) {
            fprintf(stderr, "%s can't be written\n", options.out.c_str());
            return false;
        }
    }
    for (MatchPlayer& player : options.players) stop_engine(player.engine);
    print_match_totals(totals);
    return true;
}

static bool run_match(MatchOptions& options) {
    shell.chess960 = options.chess960;
    for (MatchPlayer& player : options.players)
        if (!options.options.empty())
            player.options = options.options + (player.options.empty() ? "" : ",") + player.options;
    std::vector<std::string> openings;
    if (!read_openings(openings, options.openings.c_str()) || openings.empty()) {
        fprintf(stderr, "no openings in %s\n", options.openings.c_str());
        return false;
    }
    const uint64_t sum = shuffle_openings(openings, options.head.seed);
    options.head.settings = settings_text(options, openings.size(), sum);
    return play_match(options, openings);
}

int main(int argc, char** argv) {
    constexpr int USAGE_STATUS = 2;
    MatchOptions options;
    std::vector<std::string> files;
    if (!read_options(options, files, argc, argv)) return USAGE_STATUS;
    if (options.sum) {
        MatchTotals totals;
        if (!sum_match_files(totals, files)) return 1;
        print_match_totals(totals);
        const uint64_t* results = totals.results;
        return results[0] + results[1] + results[2] == totals.games ? 0 : 1;
    }
    if (!init_engine()) return 1;
    bool good = run_match(options);
    shut_down_engine();
    return good ? 0 : 1;
}
