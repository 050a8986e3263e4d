// pst.h: default values of the piece-square tables of the hand-crafted evaluation.
//
// Constant data, readable from any thread. The parameter table is filled from
// it; the evaluation itself never reads it. All tables are written from White's
// point of view with the own king on files e-h: a lookup first mirrors the board
// where the king stands on files a-d.

#pragma once

#include <cstdint>

// Value of one square, in evaluation units: 100 = a pawn.
struct PstPair {
    int16_t mg; // midgame
    int16_t eg; // endgame
};
static_assert(sizeof(PstPair) == 4, "two packed halves, no padding");

constexpr int PST_TABLES = 13;

struct PstTable {
    char name[8];     // row name in the parameter table, NUL-terminated
    PstPair rows[64]; // a1 first, rank by rank
};
static_assert(sizeof(PstTable) == 8 + 64 * sizeof(PstPair), "name and squares, no padding");

// In parameter-table order: PST_P1, PST_CP, PST_DP, PST_N1, PST_B1, PST_R1,
// PST_Q1, PST_K, PST_P2, PST_N2, PST_B2, PST_R2, PST_Q2. Names ending in 1 hold
// for both kings on the same half of the board (a-d or e-h), those ending in 2
// for kings on opposite halves. PST_CP and PST_DP are bonuses on top of the pawn
// tables: stop square guarded by a neighbour pawn, and pawn defended by a pawn.
extern const PstTable PST_DEFAULTS[PST_TABLES];
