// params.h: eval_params, the table of named rows of the hand-crafted evaluation: weights of its
// terms and piece-square tables.
//
// One for the process, filled at start-up. Written between searches on the main thread, read
// without locks by all; whoever changes it calls build_eval_tables and counts eval_epoch up, see
// evaluate.h. The evaluation reaches scalar rows and families by the indexes below, which follow
// the order of the table.

#pragma once

#include <cstdint>

constexpr int SPARE_ROWS = 32;  // "ttune": slots for a tuning mode
constexpr int FAMILY_ROWS = 87; // scalar rows and families
constexpr int PARAM_ROWS = FAMILY_ROWS + SPARE_ROWS + 13 * 64;
static_assert(PARAM_ROWS == 951, "rows of the table");

// Values are in evaluation units, 100 = a pawn.
struct EvalParam {
    int32_t value;     // both, packed: endgame * 65536 + midgame
    float mg;          // midgame value
    float eg;          // endgame value
    int32_t limits[3]; // zero
    char name[24];     // rows of a family share their name
};
static_assert(sizeof(EvalParam) == 48, "rows follow each other without gaps");

extern EvalParam eval_params[PARAM_ROWS];

// Row numbers. A family's name is its first row.
// clang-format off
enum ParamRow {
    mtl_pawn, mtl_knight, mtl_bishop, mtl_rook, mtl_queen, bishop_pair,
    pawn_isolated, pawn_weak, pawn_blocked, pawn_doubled,
    ppawn_base,                                // 6 rows, by rank - 1
    ppawn_mobile     = ppawn_base + 6,         // 6, by rank - 1
    ppawn_free       = ppawn_mobile + 6,       // 6, by rank - 1
    ppawn_fkdist     = ppawn_free + 6,         // 8, by distance of the own king
    ppawn_ekdist     = ppawn_fkdist + 8,       // 8, by distance of the enemy king
    ppawn_connected  = ppawn_ekdist + 8,       // 6, by rank - 1
    candidate_passer = ppawn_connected + 6,    // 6, by rank - 1
    knight_mobility  = candidate_passer + 6, knight_trapped, knight_outpost, knight_outpost_atk,
    bishop_mobility, bishop_mob2, bishop_trapped, bishop_outpost, bishop_outpost_atk,
    rook_mobility, rook_mob2, rook_trapped, rook_openfile, rook_7th,
    queen_mobility, queen_trapped,
    pawn_shield, enemy_checks, king_danger1, king_danger2, king_trapped, king_pawn_dist,
    hung_pawn, attacked_pawn, hung_minor, attacked_minor, hung_major, ppush_threat, pinned_piece,
    bishop_rampawns, stm_bonus,
    PARAM_SPARE,
    PARAM_PST = PARAM_SPARE + SPARE_ROWS
};

// First rows of the piece-square tables, 64 rows each, a1 first.
enum PstRow {
    PST_P1 = PARAM_PST,
    PST_CP = PST_P1 + 64, PST_DP = PST_CP + 64, PST_N1 = PST_DP + 64, PST_B1 = PST_N1 + 64,
    PST_R1 = PST_B1 + 64, PST_Q1 = PST_R1 + 64, PST_K = PST_Q1 + 64, PST_P2 = PST_K + 64,
    PST_N2 = PST_P2 + 64, PST_B2 = PST_N2 + 64, PST_R2 = PST_B2 + 64, PST_Q2 = PST_R2 + 64
};
// clang-format on
static_assert(PARAM_SPARE == FAMILY_ROWS && PST_Q2 + 64 == PARAM_ROWS, "the rows fill the table");

// Fills the table with its defaults. A row whose name isn't the expected one prints
// "error %s  %s" with both names, and is written anyway.
void BuildEvalParams();

// Reads the active personality's params_file, by default params.txt of the working directory, if
// there is one and it is a plain file. Lines are fset("name", mg, eg), or the three items alone, in
// table order from "mtl_pawn": the file is positional, and a name that doesn't fit is only
// reported. Lines with fewer than three items are skipped, and so are rows behind the end of the
// table. Values beyond 16 bits are clamped to them, with a line that says so.
void ReadParamsFile();

// Multiplies each row whose name contains `substring` by a pair of per cent values, midgame and
// endgame, and rounds its packed value to nearest, halves away from zero.
void ScaleParam(const char* substring, const int16_t* percents);

// Scales families of rows by the active personality's eval_scale.
void ApplyPersonality();
