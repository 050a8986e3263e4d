// terms.h: the steps of the hand-crafted evaluation, shared by its files only.
//
// All of them add to the packed totals of one call's EvalContext, in a fixed order, because each
// step reads the attack maps of the steps before it. Any thread may call them for its own record;
// the table of parameters is only read.

#pragma once

#include <cstdint>

#include "board/position.h"
#include "eval/params.h"
#include "eval/state.h"

// Pawn attacks, sets of passed and half-open pawns, structure, king-zone pressure. Works on the
// context in `eval`; the structure comes from the pawn hash there where it can. Tells whether it
// did.
bool PawnEval(const Position& pos, EvalState& eval);

// Knights, bishops, rooks, queens: one step each.
void eval_knights(const Position& pos, EvalContext& context);
void eval_bishops(const Position& pos, EvalContext& context);
void eval_rooks(const Position& pos, EvalContext& context);
void eval_queens(const Position& pos, EvalContext& context);

// King safety, and distance to the pawns, of one colour.
void eval_king(const Position& pos, EvalContext& context, int side);

// Passed pawns and candidates.
void eval_passed_pawns(const Position& pos, EvalContext& context);

// Hanging and attacked pieces, push threats, pins.
void eval_threats(const Position& pos, EvalContext& context);

// Tapered evaluation: the midgame and endgame halves of a packed score, mixed by the phase. Only
// the endgame product is in single precision.
inline int blend(int32_t packed, float phase) {
    float endgame = static_cast<float>(packed_eg(packed)) * phase;
    return static_cast<int>(endgame + packed_mg(packed) * (1.0 - phase));
}

// The packed values of eval_params side by side, since a row of that table is most of a cache line.
extern int32_t packed_rows[PARAM_ROWS];

// Fill what each file keeps of the rows: some scaled by all shares that there are, some added up.
// Part of build_eval_tables.
void build_pawn_tables();
void build_piece_tables();
void build_king_tables();

// A row scaled by a float, each half truncated on its own.
inline int32_t scaled_row(int row, float factor) {
    int mg = static_cast<int>(factor * eval_params[row].mg);
    int eg = static_cast<int>(factor * eval_params[row].eg);
    return pack_score(mg, eg);
}

// Adds a packed value to a colour's total.
inline void add_packed(EvalContext& context, int side, int32_t value) {
    context.packed[side] = packed_add(context.packed[side], value);
}
// Adds a row of eval_params, once or some times.
inline void add_row(EvalContext& context, int side, int row) {
    add_packed(context, side, packed_rows[row]);
}
inline void add_row_times(EvalContext& context, int side, int row, int times) {
    add_packed(context, side, packed_times(packed_rows[row], times));
}

// Outposts and rammed pawns on the files of the edge don't count.
constexpr Bitboard FILES_B_TO_G = 0x7E7E7E7E7E7E7E7EULL;

// All squares ahead of the set's on the same files, as `side` moves; a square of the set is in it
// only where it stands ahead of another.
inline Bitboard fill_forward(int side, Bitboard set) {
    if (side == WHITE) {
        set <<= 8;
        set |= set << 8;
        set |= set << 16;
        return set | set << 32;
    }
    set >>= 8;
    set |= set >> 8;
    set |= set >> 16;
    return set | set >> 32;
}
