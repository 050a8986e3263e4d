#include "Training/match_file.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <utility>

#include "Training/ply_record.h"

constexpr char FIRST_LINE[] = "mird match 1\n";
constexpr const char* POINTS[] = {"0", "0.5", "1"}; // by result

std::string match_head_text(const MatchHead& head) {
    return FIRST_LINE + head.settings + "games " + std::to_string(head.games) + "\nseed "
         + std::to_string(head.seed) + "\nshard " + std::to_string(head.shard) + " of "
         + std::to_string(head.shards) + "\n\n";
}

std::string match_game_text(const MatchGame& game) {
    return std::to_string(game.number) + " " + POINTS[game.result] + " "
         + MATCH_END_NAMES[static_cast<int>(game.end)] + " " + std::to_string(game.plies) + "\n";
}

// Index of a word among `names`, or -1.
template <size_t COUNT>
static int index_of(const char* const (&names)[COUNT], const char* word) {
    for (size_t i = 0; i < COUNT; i++)
        if (strcmp(names[i], word) == 0) return static_cast<int>(i);
    return -1;
}

static bool read_game(MatchGame& game, const char* line) {
    unsigned long long number = 0;
    char points[8], end[16];
    int plies = 0;
    if (sscanf(line, "%llu %7s %15s %d", &number, points, end, &plies) != 4) return false;
    int result = index_of(POINTS, points), end_index = index_of(MATCH_END_NAMES, end);
    if (result < 0 || end_index < 0) return false;
    game = {number, result, static_cast<MatchEnd>(end_index), plies};
    return true;
}

static bool read_head(MatchHead& head, const std::string& text) {
    size_t numbers = text.rfind("\ngames ");
    const size_t start = strlen(FIRST_LINE);
    unsigned long long games = 0, seed = 0;
    if (text.compare(0, start, FIRST_LINE) != 0 || numbers == std::string::npos || numbers < start
        || sscanf(text.c_str() + numbers, "\ngames %llu\nseed %llu\nshard %d of %d", &games, &seed,
                  &head.shard, &head.shards)
               != 4)
        return false;
    head.settings = text.substr(start, numbers + 1 - start);
    head.games = games;
    head.seed = seed;
    return true;
}

const char* read_match_file(MatchFile& file, const std::string& path) {
    std::ifstream stream(path);
    if (!stream) return "can't be read";
    const std::string text{std::istreambuf_iterator<char>(stream), {}};
    MatchFile read = {};
    size_t at = text.find("\n\n");
    if (at == std::string::npos || !read_head(read.head, text.substr(0, at + 2)))
        return "is no file of a match";
    at += 2;
    for (size_t end; (end = text.find('\n', at)) != std::string::npos; at = end + 1) {
        MatchGame game;
        if (!read_game(game, text.substr(at, end - at).c_str())) return "has a broken line";
        read.games.push_back(game);
    }
    read.whole_bytes = at;
    file = read;
    return nullptr;
}

void count_match_game(MatchTotals& totals, const MatchGame& game) {
    totals.results[game.result]++;
    if (game.end >= MatchEnd::TIME) totals.faults[game.result == RESULT_LOST ? 0 : 1]++;
}

bool sum_match_files(MatchTotals& totals, const std::vector<std::string>& paths) {
    std::map<std::pair<uint64_t, uint64_t>, std::string> holders; // by seed and number of a game
    std::map<uint64_t, uint64_t> games;                           // of the match, by seed
    std::string settings;
    totals = {};
    for (const std::string& path : paths) {
        MatchFile file;
        if (const char* reason = read_match_file(file, path)) {
            fprintf(stderr, "%s %s\n", path.c_str(), reason);
            return false;
        }
        if (settings.empty()) settings = file.head.settings;
        auto [of_seed, fresh] = games.emplace(file.head.seed, file.head.games);
        if (settings != file.head.settings || of_seed->second != file.head.games) {
            fprintf(stderr, "%s and %s are of different matches\n", paths[0].c_str(), path.c_str());
            return false;
        }
        if (fresh) totals.games += file.head.games;
        for (const MatchGame& game : file.games) {
            auto [holder, first] = holders.emplace(std::pair(file.head.seed, game.number), path);
            if (!first) {
                fprintf(stderr, "%s and %s are of one seed and both have game %llu\n",
                        holder->second.c_str(), path.c_str(),
                        static_cast<unsigned long long>(game.number));
                return false;
            }
            count_match_game(totals, game);
        }
    }
    return true;
}

// Infinite where one side has all the points.
static double elo_of_score(double score) {
    constexpr double SCALE = 400.0;
    if (score <= 0.0) return -HUGE_VAL;
    if (score >= 1.0) return HUGE_VAL;
    return SCALE * std::log10(score / (1.0 - score));
}

void print_match_totals(const MatchTotals& totals) {
    constexpr double NORMAL_95 = 1.96; // standard deviations that hold 95 per cent

    const uint64_t* results = totals.results;
    const uint64_t played = results[RESULT_LOST] + results[RESULT_DRAWN] + results[RESULT_WON];
    auto print = [](const char* form, uint64_t a, uint64_t b) {
        printf(form, static_cast<unsigned long long>(a), static_cast<unsigned long long>(b));
    };
    print("games %llu of %llu: ", played, totals.games);
    print("+%llu =%llu ", results[RESULT_WON], results[RESULT_DRAWN]);
    print("-%llu, faults %llu", results[RESULT_LOST], totals.faults[0]);
    printf(" and %llu\n", static_cast<unsigned long long>(totals.faults[1]));
    if (played == 0) return;

    const auto count = static_cast<double>(played);
    const double draws = static_cast<double>(results[RESULT_DRAWN]) / count;
    const double score = static_cast<double>(results[RESULT_WON]) / count + draws / 2.0;
    if (score <= 0.0 || score >= 1.0) { // nothing to tell an error from
        printf("score %.4f, Elo %+.1f\n", score, elo_of_score(score));
        return;
    }
    const double variance = std::max(0.0, score * (1.0 - score) - draws / 4.0);
    const double error = NORMAL_95 * std::sqrt(variance / count);
    const double low = elo_of_score(score - error), high = elo_of_score(score + error);
    printf("score %.4f, Elo %+.1f +/- %.1f, 95 %% within %+.1f to %+.1f\n", score,
           elo_of_score(score), (high - low) / 2.0, low, high);
}
