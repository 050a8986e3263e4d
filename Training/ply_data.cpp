#include "Training/ply_data.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <memory>

#include "base/random.h"
#include "eval/endgame.h"
#include "search/thread.h"

const char* const PLY_VERDICT_NAMES[PLY_VERDICTS] = {"kept",    "in check",    "noisy", "opening",
                                                     "decided", "fifty moves", "known"};

double score_probability(double score) { return 1.0 / (1.0 + std::exp(-0.006 * score)); }

double ply_target(const PlyRecord& record, double lambda) {
    double score = score_probability(record.score);
    return has_result(record) ? lambda * score + (1.0 - lambda) * ply_result(record) : score;
}

std::vector<std::string> list_ply_files(const std::vector<std::string>& paths) {
    namespace fs = std::filesystem;
    std::vector<std::string> files;
    for (const std::string& path : paths) {
        std::error_code error;
        if (!fs::is_directory(path, error)) {
            files.push_back(path);
            continue;
        }
        size_t first = files.size();
        for (const auto& entry : fs::directory_iterator(path, error))
            if (entry.path().extension() == ".ply") files.push_back(entry.path().string());
        std::sort(files.begin() + static_cast<std::ptrdiff_t>(first), files.end());
    }
    return files;
}

bool is_validation_game(uint32_t seed, uint64_t game) {
    constexpr uint64_t ONE_IN = 50;
    Random random = {static_cast<uint64_t>(seed) << 32 ^ game};
    return next_random(random) % ONE_IN == 0;
}

// Tells whether Evaluate leaves the material to the hand-crafted evaluation: one side far ahead of
// a side that is short of pieces, or next to nothing on the board.
static bool is_hand_crafted(const PlyRecord& record) {
    int pawns[2] = {}, material[2] = {};
    int units = pop_count(record.occupied);
    for (int n = 0; n < units; n++) {
        int code = ply_unit(record, n), side = colour_of(code);
        pawns[side] += type_of(code) == PAWN;
        material[side] += material_step[type_of(code)];
    }
    for (int side : {WHITE, BLACK}) {
        int them = side ^ 1;
        if (material[side] + pawns[side] >= material[them] + 2 * pawns[them] + 4
            && material[them] <= 10)
            return true;
    }
    int all_pawns = pawns[WHITE] + pawns[BLACK], all_material = material[WHITE] + material[BLACK];
    return (all_pawns == 0 && all_material <= 6) || (all_pawns == 1 && all_material == 0);
}

// Tells whether endgame knowledge answers the position, whatever the tables say.
static bool is_known_ending(const PlyRecord& record) {
    static thread_local std::unique_ptr<SearchThread, void (*)(SearchThread*)> scratch(
        allocate_search_thread(), free_search_thread);
    constexpr int FEWEST_UNITS = 3; // the side to move has a king and something else

    if (pop_count(record.occupied) < FEWEST_UNITS) return true;
    if (!unpack_ply(scratch->position, record)) return true;
    int score = 0;
    return endgame_score(scratch->position, record_side(record), score);
}

PlyVerdict judge_ply(const PlyRecord& record, PlyUse use) {
    constexpr int OPENING_PLIES = 16, DECIDED_SCORE = 1500, MOST_HALFMOVES = 60;

    if (record.place & RECORD_CHECK) return PLY_IN_CHECK;
    if (record.place & RECORD_TACTICAL) return PLY_NOISY;
    if (record_ply(record) < OPENING_PLIES) return PLY_OPENING;
    if (record.score > DECIDED_SCORE || record.score < -DECIDED_SCORE) return PLY_DECIDED;
    if (record.halfmoves > MOST_HALFMOVES) return PLY_FIFTY;
    bool known = use == PLY_FOR_NETWORK ? is_hand_crafted(record) : is_known_ending(record);
    return known ? PLY_KNOWN : PLY_KEPT;
}

// Sorts the records of one file into the sets.
static void sort_records(PlySets& sets, const std::vector<PlyRecord>& records, uint32_t seed,
                         PlyUse use) {
    uint64_t game = 0;
    bool held_out = is_validation_game(seed, 0);
    for (size_t i = 0; i < records.size(); i++) {
        const PlyRecord& record = records[i];
        if (i > 0 && (record.place & RECORD_FIRST)) held_out = is_validation_game(seed, ++game);
        if (!is_sound(record)) continue;
        PlyVerdict verdict = judge_ply(record, use);
        sets.verdicts[verdict]++;
        if (verdict != PLY_KEPT) continue;
        // The neighbours of a held-out game must not teach what validation asks.
        if (!held_out) sets.training.push_back(record);
        else if (has_result(record)) sets.validation.push_back(record);
    }
    if (!records.empty()) sets.games += game + 1;
}

bool read_ply_file(PlySets& sets, const std::string& path, PlyUse use) {
    DataFile data;
    if (!open_data_file(data, path.c_str())) {
        fprintf(stderr, "%s: no data file\n", path.c_str());
        return false;
    }
    std::vector<PlyRecord> records(data.records);
    records.resize(fread(records.data(), sizeof(PlyRecord), records.size(), data.file));
    fclose(data.file);
    sort_records(sets, records, data.seed, use);
    return true;
}

void print_ply_sets(const PlySets& sets) {
    printf("%llu games;", static_cast<unsigned long long>(sets.games));
    for (int verdict = 0; verdict < PLY_VERDICTS; verdict++)
        printf(" %s %llu%s", PLY_VERDICT_NAMES[verdict],
               static_cast<unsigned long long>(sets.verdicts[verdict]),
               verdict + 1 < PLY_VERDICTS ? "," : "\n");
    printf("%zu positions for training, %zu for validation\n", sets.training.size(),
           sets.validation.size());
}

void shuffle_plies(std::vector<PlyRecord>& records, uint64_t seed) {
    Random random = {seed};
    for (size_t i = records.size(); i > 1; i--)
        std::swap(records[i - 1], records[next_random(random) % i]);
}
