// attack.h: who attacks what on the board as it stands: checks, pins, supported attacks.
//
// Nothing here changes the position but for a moment (discovers_support), so that each thread asks
// about its own. The least valuable attacker is see.h's.

#pragma once

#include "board/position.h"
#include "board/see.h"

// Not 0 if a piece of that side attacks the square, with the current occupancy.
int square_attacked(const Position& pos, int square, int by_side);

// Tells whether `side` attacks the square with the given occupancy, without the pieces outside
// `present`.
bool attacked_through(const Position& pos, int square, int side, Bitboard occ, Bitboard present);

// The square of the least valuable piece that gives check to the king of `side`, NO_SQUARE if
// none does or there is no king.
inline int find_checker(const Position& pos, int side) {
    return first_attacker(pos, pos.king_square[side], side ^ 1, occupied(pos));
}

// Tells whether the king of the side to move is attacked.
inline bool king_in_check(const Position& pos) { return find_checker(pos, pos.side) != NO_SQUARE; }

// Pieces of the side that are pinned to its king by a slider, or to its queen on the lowest
// square by a bishop or rook.
Bitboard pinned_pieces(const Position& pos, int side);

// Tells, before the move is made, whether a bishop, rook or queen of the side to move that goes
// from `from` to `to` attacks something in `targets` along a new line where another own piece
// attacks it too. Own line partners do not block the way. Returns 1 or 0. The position is as it
// was when the function returns.
int discovers_support(Position& pos, int type, int from, int to, Bitboard targets);
