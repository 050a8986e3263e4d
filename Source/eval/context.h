// context.h: scratch state of one hand-crafted evaluation.

#pragma once

#include <cstdint>

#include "board/types.h"

// Kinds of attack maps; the piece types stand at their own numbers, 0 is the union of all.
constexpr int ATTACKS_ALL = 0;

// Term groups of the evaluation report, in the order of printing.
enum EvalGroup {
    GROUP_PAWNS,
    GROUP_KNIGHTS,
    GROUP_BISHOPS,
    GROUP_ROOKS,
    GROUP_QUEENS,
    GROUP_KING,
    GROUP_PPAWNS,
    GROUP_THREATS,
    GROUP_SPECIAL,
    EVAL_GROUPS
};

// Rebuilt by each call of HceEval. Arrays of two are indexed by colour.
struct EvalContext {
    int ply;
    int report;        // 0 in search, else the form of the report: 1 terms, 2 also parameters
    float phase;       // 0 with many pieces, towards 1 as they come off
    int32_t packed[2]; // running totals
    int threat_pressure[2];
    int king_attack_weight[2]; // pressure on the colour's king zone

    Bitboard occupied;
    Bitboard attacks[2][8]; // by kind: ATTACKS_ALL and the piece types
    Bitboard pawn_attacks[2];
    Bitboard double_attacks[2];     // squares attacked twice
    Bitboard lesser_attacks[2];     // by pawns, knights and bishops
    Bitboard minor_rook_attacks[2]; // and by rooks
    Bitboard non_king_attacks[2];   // and by queens
    Bitboard outposts[2];           // squares that no enemy pawn can ever attack
    Bitboard king_zone[2];          // always nine squares
    Bitboard all_pawns;
    Bitboard passed_pawns;
    Bitboard halfopen_pawns; // no enemy pawn ahead on the file, and not passed
    Bitboard hung_pieces;
    Bitboard free_pawns;
    int flip[2];   // square ^ flip: White's view, own king on files e-h
    int same_half; // 1 when both kings stand on a-d or both on e-h

    int32_t group[EVAL_GROUPS][2]; // packed difference of each group, when `report` is set
    int32_t group_start[2];        // totals at the last checkpoint
};
