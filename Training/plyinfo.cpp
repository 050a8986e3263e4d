// plyinfo: tells what data files say about themselves, counts what they hold, and checks each
// record. See README.md.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "Training/command_line.h"
#include "Training/data_file.h"
#include "Training/data_header.h"
#include "Training/game_check.h"
#include "Training/ply_data.h"
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
    uint64_t results; // kept positions with a result
    uint64_t points;  // RESULT_... of the side that the score favours in these
};

struct Totals {
    uint64_t files, bad_files, games, bad_games, torn_bytes, chess960;
    uint64_t results[NO_RESULT_KNOWN + 1]; // games by RESULT_... of White
    uint64_t positions, bad_positions, kept, checks, tactical;
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
    totals.kept++;
    step.kept++;
    if (!has_result(record)) return;
    int result = record_result(record);
    step.results++;
    step.points += static_cast<uint64_t>(record.score < 0 ? RESULT_WON - result : result);
}

namespace {

// The records of a game, or of a group in a file without games.
struct Group {
    const char* file;
    uint64_t first; // number of the first record in the file
    std::vector<PlyRecord> records;
};

} // namespace

static void report(const Group& group, size_t index, const char* wrong) {
    const uint64_t number = group.first + index;
    printf("%s: record %llu: %s\n", group.file, static_cast<unsigned long long>(number), wrong);
}

static void count_head(Totals& totals, const PlyRecord& first) {
    int result = record_result(first);
    if (has_result(first) && record_side(first) == BLACK) result = RESULT_WON - result;
    totals.results[result]++;
    totals.chess960 += (first.state & RECORD_CHESS960) != 0;
}

static void count_game(Totals& totals, const Group& game) {
    int bad = 0;
    const std::vector<PlyRecord>& records = game.records;
    totals.games++;
    if (const char* wrong = check_game(records.data(), static_cast<int>(records.size()), bad)) {
        totals.bad_games++;
        report(game, static_cast<size_t>(bad), wrong);
        return;
    }
    count_head(totals, records[0]);
    for (const PlyRecord& record : records) count_record(totals, record);
}

static void count_positions(Totals& totals, const Group& group, DataKind kind) {
    totals.games++;
    count_head(totals, group.records[0]);
    for (size_t i = 0; i < group.records.size(); i++) {
        count_record(totals, group.records[i]);
        const char* wrong = check_alone(group.records[i], kind);
        if (!wrong) continue;
        totals.bad_positions++;
        report(group, i, wrong);
    }
}

// Files of the old form don't tell what they hold: in games each record has a result.
static void count_group(Totals& totals, const Group& group, const DataHeader& header) {
    const std::vector<PlyRecord>& records = group.records;
    bool whole_game = header.whole_games != 0;
    auto kind = static_cast<DataKind>(header.kind);
    if (kind == DATA_UNKNOWN) {
        whole_game = std::all_of(records.begin(), records.end(), has_result);
        if (!whole_game) kind = DATA_NEIGHBOURS;
    }
    if (whole_game) count_game(totals, group);
    else count_positions(totals, group, kind);
}

static void count_file(Totals& totals, const char* name) {
    DataFile data;
    totals.files++;
    if (!open_data_file(data, name)) {
        printf("%s: no data file\n", name);
        totals.bad_files++;
        return;
    }
    printf("%s: %s\n", name, describe_header(data.header).c_str());
    totals.torn_bytes += data.torn;
    Group group = {name, 0, {}};
    PlyRecord record;
    for (uint64_t i = 0; i < data.records && fread(&record, sizeof record, 1, data.file); i++) {
        if ((record.place & RECORD_FIRST) && !group.records.empty()) {
            count_group(totals, group, data.header);
            group.first = i;
            group.records.clear();
        }
        group.records.push_back(record);
    }
    if (!group.records.empty()) count_group(totals, group, data.header);
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
    print_count("  result not known", totals.results[NO_RESULT_KNOWN], totals.games);
    print_count("  from Chess960 starts", totals.chess960, totals.games);
    print_count("positions", totals.positions, totals.positions);
    print_count("  broken", totals.bad_positions, totals.positions);
    print_count("  in check", totals.checks, totals.positions);
    print_count("  capture or promotion", totals.tactical, totals.positions);
    print_count("  kept", totals.kept, totals.positions);

    printf("\n     |score|     positions          kept  points of the better side, kept\n");
    int from = 0;
    for (int i = 0; i < STEPS; i++) {
        const Step& step = totals.steps[i];
        printf("%5d - %5d %12llu  %12llu  %5.1f%%\n", from, STEP_END[i] - 1,
               static_cast<unsigned long long>(step.positions),
               static_cast<unsigned long long>(step.kept), percent(step.points, 2 * step.results));
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
    return totals.bad_games || totals.bad_positions || totals.bad_files ? 1 : 0;
}
