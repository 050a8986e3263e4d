// plyinfo: counts what files of self-play games hold, and checks each record. See README.md.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "Training/command_line.h"
#include "Training/data_file.h"
#include "Training/game_check.h"
#include "Training/ply_filter.h"
#include "Training/ply_record.h"
#include "shell/start.h"

// Bounds of the histogram of |score|; the last step has none.
constexpr int STEPS = 9;
constexpr int STEP_END[STEPS] = {10, 25, 50, 100, 200, 400, 800, 1501, 32769};

namespace {

struct Step {
    uint64_t positions;
    uint64_t kept;
    uint64_t points; // RESULT_... of the side that the score favours, kept positions only
};

struct Totals {
    uint64_t files, bad_files, games, bad_games, torn_bytes, chess960;
    uint64_t results[3]; // by RESULT_... of White
    uint64_t positions, kept, checks, tactical;
    Step steps[STEPS];
};

} // namespace

static void count_record(Totals& totals, const PlyRecord& record) {
    int size = std::abs(record.score);
    Step& step = totals.steps[std::upper_bound(STEP_END, STEP_END + STEPS - 1, size) - STEP_END];
    totals.positions++;
    totals.checks += (record.place & RECORD_CHECK) != 0;
    totals.tactical += (record.place & RECORD_TACTICAL) != 0;
    step.positions++;
    if (judge_ply(record, PLY_FOR_ANY) != PLY_KEPT) return;
    int result = record_result(record);
    totals.kept++;
    step.kept++;
    step.points += static_cast<uint64_t>(record.score < 0 ? RESULT_WON - result : result);
}

// `number` is that of the game's first record in the file.
static void count_game(Totals& totals, const std::vector<PlyRecord>& game, const char* file,
                       uint64_t number) {
    int bad = 0;
    totals.games++;
    if (const char* wrong = check_game(game.data(), static_cast<int>(game.size()), bad)) {
        totals.bad_games++;
        printf("%s: record %llu: %s\n", file,
               static_cast<unsigned long long>(number) + static_cast<unsigned>(bad), wrong);
        return;
    }
    int result = record_result(game[0]);
    totals.results[record_side(game[0]) == WHITE ? result : RESULT_WON - result]++;
    totals.chess960 += (game[0].state & RECORD_CHESS960) != 0;
    for (const PlyRecord& record : game) count_record(totals, record);
}

static void count_file(Totals& totals, const char* name) {
    DataFile data;
    totals.files++;
    if (!open_data_file(data, name)) {
        printf("%s: no file of self-play games\n", name);
        totals.bad_files++;
        return;
    }
    totals.torn_bytes += data.torn;
    std::vector<PlyRecord> game;
    PlyRecord record;
    for (uint64_t i = 0; i < data.records && fread(&record, sizeof record, 1, data.file); i++) {
        if ((record.place & RECORD_FIRST) && !game.empty()) {
            count_game(totals, game, name, i - game.size());
            game.clear();
        }
        game.push_back(record);
    }
    if (!game.empty()) count_game(totals, game, name, data.records - game.size());
    fclose(data.file);
}

static double percent(uint64_t part, uint64_t whole) {
    return whole ? 100.0 * static_cast<double>(part) / static_cast<double>(whole) : 0.0;
}

static void print_count(const char* name, uint64_t count, uint64_t whole) {
    printf("%-22s %12llu  %5.1f%%\n", name, static_cast<unsigned long long>(count),
           percent(count, whole));
}

static void print_totals(const Totals& totals) {
    printf("%-22s %12llu\n", "files", static_cast<unsigned long long>(totals.files));
    printf("%-22s %12llu\n", "torn bytes", static_cast<unsigned long long>(totals.torn_bytes));
    print_count("games", totals.games, totals.games);
    print_count("  broken", totals.bad_games, totals.games);
    print_count("  won by White", totals.results[RESULT_WON], totals.games);
    print_count("  drawn", totals.results[RESULT_DRAWN], totals.games);
    print_count("  won by Black", totals.results[RESULT_LOST], totals.games);
    print_count("  from Chess960 starts", totals.chess960, totals.games);
    print_count("positions", totals.positions, totals.positions);
    print_count("  in check", totals.checks, totals.positions);
    print_count("  capture or promotion", totals.tactical, totals.positions);
    print_count("  kept", totals.kept, totals.positions);

    printf("\n     |score|     positions          kept  points of the better side, kept\n");
    int from = 0;
    for (int i = 0; i < STEPS; i++) {
        const Step& step = totals.steps[i];
        printf("%5d - %5d %12llu  %12llu  %5.1f%%\n", from, STEP_END[i] - 1,
               static_cast<unsigned long long>(step.positions),
               static_cast<unsigned long long>(step.kept), percent(step.points, 2 * step.kept));
        from = STEP_END[i];
    }
}

int main(int argc, char** argv) {
    constexpr int USAGE_STATUS = 2;
    std::vector<std::string> files;
    if (!read_arguments({"plyinfo FILE...", 1, ANY_NUMBER, {}}, argc, argv, files))
        return USAGE_STATUS;
    if (!init_engine()) return 1;
    static Totals totals;
    for (const std::string& file : files) count_file(totals, file.c_str());
    print_totals(totals);
    shut_down_engine();
    return totals.bad_games || totals.bad_files ? 1 : 0;
}
