#include "eval/params.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "base/platform.h"
#include "base/print.h"
#include "base/state.h"
#include "base/text.h"
#include "board/types.h"
#include "eval/pst.h"

EvalParam eval_params[PARAM_ROWS];

namespace {

struct DefaultRow {
    char name[24];
    int mg, eg;
};

} // namespace

// The scalar rows and families in table order.
// clang-format off
static constexpr DefaultRow DEFAULT_ROWS[FAMILY_ROWS] = {
    // name                midgame  endgame
    {"mtl_pawn",             100,    100},
    {"mtl_knight",           390,    387},
    {"mtl_bishop",           392,    400},
    {"mtl_rook",             556,    707},
    {"mtl_queen",           1209,   1277},
    {"bishop_pair",           30,     62},
    {"pawn_isolated",         -8,    -11},
    {"pawn_weak",             -6,      4},
    {"pawn_blocked",          -7,     -9},
    {"pawn_doubled",          -7,     -2},
    {"ppawn_base",           -18,     26}, // by rank, from the second on
    {"ppawn_base",           -21,     27},
    {"ppawn_base",           -21,     44},
    {"ppawn_base",             9,     58},
    {"ppawn_base",            60,     89},
    {"ppawn_base",           132,    163},
    {"ppawn_mobile",          12,      2}, // by rank, from the second on
    {"ppawn_mobile",          16,      0},
    {"ppawn_mobile",          22,      8},
    {"ppawn_mobile",          26,     29},
    {"ppawn_mobile",          52,     40},
    {"ppawn_mobile",          56,     99},
    {"ppawn_free",            -6,      4}, // by rank, from the second on
    {"ppawn_free",           -12,      2},
    {"ppawn_free",           -31,     17},
    {"ppawn_free",           -19,     35},
    {"ppawn_free",            20,     52},
    {"ppawn_free",            40,    106},
    {"ppawn_fkdist",           4,     16}, // by king steps, from 0 on
    {"ppawn_fkdist",          14,     47},
    {"ppawn_fkdist",          26,     22},
    {"ppawn_fkdist",          34,      9},
    {"ppawn_fkdist",           3,    -22},
    {"ppawn_fkdist",           6,    -49},
    {"ppawn_fkdist",          10,    -58},
    {"ppawn_fkdist",         -32,    -41},
    {"ppawn_ekdist",         -73,    -64}, // by king steps, from 0 on
    {"ppawn_ekdist",         -15,    -23},
    {"ppawn_ekdist",          32,    -24},
    {"ppawn_ekdist",           4,     53},
    {"ppawn_ekdist",          13,     96},
    {"ppawn_ekdist",          27,    120},
    {"ppawn_ekdist",          39,    130},
    {"ppawn_ekdist",          38,    118},
    {"ppawn_connected",       -3,    -12}, // by rank, from the second on
    {"ppawn_connected",       -7,     -2},
    {"ppawn_connected",        1,     11},
    {"ppawn_connected",        6,      2},
    {"ppawn_connected",       19,     52},
    {"ppawn_connected",        5,     76},
    {"candidate_passer",       0,      0}, // by rank, from the second on
    {"candidate_passer",       0,      0},
    {"candidate_passer",       1,     57},
    {"candidate_passer",       7,     73},
    {"candidate_passer",       5,     64},
    {"candidate_passer",       0,      0},
    {"knight_mobility",       62,     47},
    {"knight_trapped",        -5,    -28},
    {"knight_outpost",        35,     10},
    {"knight_outpost_atk",     9,     13},
    {"bishop_mobility",       40,     79},
    {"bishop_mob2",            8,      3},
    {"bishop_trapped",         6,    -51},
    {"bishop_outpost",        45,      5},
    {"bishop_outpost_atk",     3,     12},
    {"rook_mobility",         37,     80},
    {"rook_mob2",              6,      6},
    {"rook_trapped",           3,    -32},
    {"rook_openfile",         19,     -6},
    {"rook_7th",               5,     25},
    {"queen_mobility",        27,    116},
    {"queen_trapped",         -8,    -20},
    {"pawn_shield",           35,    -21},
    {"enemy_checks",         -16,    -32},
    {"king_danger1",        -217,      8},
    {"king_danger2",         -86,     -4},
    {"king_trapped",           0,    -45},
    {"king_pawn_dist",        12,    -78},
    {"hung_pawn",            -16,    -51},
    {"attacked_pawn",          0,    -23},
    {"hung_minor",           -63,    -55},
    {"attacked_minor",        -7,    -30},
    {"hung_major",           -69,    -32},
    {"ppush_threat",         -16,    -23},
    {"pinned_piece",         -48,    -84},
    {"bishop_rampawns",       -9,    -19},
    {"stm_bonus",             37,     19},
};
// clang-format on

// Writes the row at `next` and steps it on. Rows behind the end of the table are dropped.
static void write_row(int& next, const char* name, int mg, int eg) {
    if (next >= PARAM_ROWS) return;
    EvalParam& row = eval_params[next++];
    if (strcmp(name, row.name) != 0) printf("error %s  %s\n", name, row.name);
    row.value = pack_score(mg, eg);
    row.mg = static_cast<float>(mg);
    row.eg = static_cast<float>(eg);
}

// The name that belongs to a row.
static const char* row_name(int row) {
    if (row < FAMILY_ROWS) return DEFAULT_ROWS[row].name;
    if (row < PARAM_PST) return "ttune";
    return PST_DEFAULTS[(row - PARAM_PST) / 64].name;
}

void BuildEvalParams() {
    for (int i = 0; i < PARAM_ROWS; i++) {
        eval_params[i] = {};
        copy_text(eval_params[i].name, row_name(i), sizeof eval_params[i].name);
    }
    int next = mtl_pawn;
    for (const DefaultRow& row : DEFAULT_ROWS) write_row(next, row.name, row.mg, row.eg);
    for (int i = 0; i < SPARE_ROWS; i++) write_row(next, "ttune", 0, 0);
    for (const PstTable& table : PST_DEFAULTS)
        for (const PstPair& pair : table.rows) write_row(next, table.name, pair.mg, pair.eg);
}

// Reads a value, which must fit its half of a packed word.
static int packable(const char* name, const char* text) {
    const int value = read_integer(text), fitting = std::clamp(value, INT16_MIN, INT16_MAX);
    if (fitting != value) PrintFormat("info string %s: %d clamped to %d", name, value, fitting);
    return fitting;
}

void ReadParamsFile() {
    constexpr char DELIMITERS[] = "(),\"\n";
    constexpr size_t LINE_LENGTH = 254; // the rest of a longer line counts as the next
    FILE* file = open_plain_file(active_personality.params_file, "r");
    if (!file) return;

    char line[LINE_LENGTH];
    int next = mtl_pawn;
    while (fgets(line, sizeof line, file)) {
        char* rest = nullptr;
        char* name = strtok_r(line, DELIMITERS, &rest);
        if (name && strstr(name, "fset")) name = strtok_r(nullptr, DELIMITERS, &rest);
        char* mg = strtok_r(nullptr, DELIMITERS, &rest);
        char* eg = strtok_r(nullptr, DELIMITERS, &rest);
        if (!name || !mg || !eg) continue;
        if (strcmp(name, "mtl_pawn") == 0) next = mtl_pawn;
        const int midgame = packable(name, mg), endgame = packable(name, eg);
        write_row(next, name, midgame, endgame);
    }
    fclose(file);
}

void ScaleParam(const char* substring, const int16_t* percents) {
    for (EvalParam& row : eval_params) {
        if (!strstr(row.name, substring)) continue;
        row.mg = static_cast<float>(row.mg * (percents[0] * 0.01));
        row.eg = static_cast<float>(row.eg * (percents[1] * 0.01));
        row.value = pack_score(static_cast<int>(std::lround(row.mg)),
                               static_cast<int>(std::lround(row.eg)));
    }
}

void ApplyPersonality() {
    constexpr int FAMILY_COUNT = 13, MAX_SUBSTRINGS = 6;
    // Rows by substring, in the order of eval_scale. "knight_outpost" also matches
    // "knight_outpost_atk", which is thereby scaled twice, as is the bishop's; that is wanted.
    static constexpr const char* FAMILIES[FAMILY_COUNT][MAX_SUBSTRINGS] = {
        {"mtl_pawn"},
        {"mtl_knight"},
        {"mtl_bishop"},
        {"mtl_rook"},
        {"mtl_queen"},
        {"knight_mobility", "knight_outpost", "knight_outpost_atk", "PST_N1", "PST_N2"},
        {"bishop_mobility", "bishop_mob2", "bishop_outpost", "bishop_outpost_atk", "PST_B1",
         "PST_B2"},
        {"rook_mobility", "rook_mob2", "PST_R1", "PST_R2"},
        {"queen_mobility", "PST_Q1", "PST_Q2"},
        {"PST_P1", "PST_P2", "PST_CP", "PST_DP"},
        {"ppawn_base", "ppawn_mobile", "ppawn_free", "candidate_passer"},
        {"king_danger", "enemy_checks"},
        {"hung_pawn", "attacked_pawn", "hung_minor", "attacked_minor", "hung_major",
         "pinned_piece"},
    };
    for (int family = 0; family < FAMILY_COUNT; family++)
        for (const char* substring : FAMILIES[family])
            if (substring) ScaleParam(substring, active_personality.eval_scale[family]);
}
