// nn_inputs.h: what the network sees of a position, and which rows of its last layer count.
//
// The one rule for the engine, which keeps sums over the active inputs from move to move, and for
// the programs of Training/, which list the inputs of their records. Of a position only the units,
// their counts and the side to move matter. Pure work on the caller's memory; any thread.

#pragma once

#include <cstdint>

#include "board/position.h"
#include "eval/state.h"

// Board inputs, NN_PLANES for each side; see state.h for the record of the active ones.
constexpr int NN_SET_INPUTS = 2 * NN_PLANES * SQUARES; // of one weight set
constexpr int NN_BOARD_INPUTS = 2 * NN_SET_INPUTS;     // set 0, then set 1

// Material inputs of all kinds.
constexpr int NN_MATERIAL_INPUTS = 32;
constexpr int NN_INPUTS = NN_BOARD_INPUTS + NN_MATERIAL_INPUTS;

// Active inputs of a position with at most 32 units, 16 of them pawns: all pawns may be passed.
constexpr int NN_MAX_ACTIVE = 32 + 16 + NN_MATERIAL_KINDS;

// Collects the active inputs. Each side must have its king.
void collect_nn_inputs(NnInputs& inputs, const Position& pos);

// What a square of the side's men is exclusive-ored with to be seen as in NnInputs.
inline int nn_square_mask(const Position& pos, int side) {
    return rank_flip[pos.side] ^ (on_queen_side(pos.king_square[side]) ? 7 : 0);
}

// Rows of the last layer that are read: for a full board and an empty one, which are mixed by the
// material left, and for endings of pawns.
constexpr int NN_FULL_ROW = 0, NN_EMPTY_ROW = 1, NN_PAWN_ROW = 2;
constexpr int NN_ROWS = 3;

// Tells whether there are no pieces but the kings: the output is NN_PAWN_ROW alone then.
inline bool nn_pawn_ending(const Position& pos) {
    return pos.material[WHITE] == 0 && pos.material[BLACK] == 0;
}

// Share of NN_FULL_ROW in the output of any other position, 0.048 to 1; the rest is NN_EMPTY_ROW's.
inline float nn_full_share(const Position& pos) {
    constexpr int FULL_MATERIAL = 63;  // phase units of both sides
    constexpr double FOR_UNIT = 0.016; // 1 / 62.5
    int material = pos.material[WHITE] + pos.material[BLACK];
    return material < FULL_MATERIAL ? static_cast<float>(material * FOR_UNIT) : 1.0f;
}
