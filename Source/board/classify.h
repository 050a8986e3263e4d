// classify.h: what kind of move a move is, for the search's choice of what to extend, to prune and
// to reduce. Asked before the move is made; the position stays as it is.

#pragma once

#include "board/position.h"

// Classes of a move, added up by classify_move.
constexpr int CLASS_CAPTURE = 1;  // also en passant
constexpr int CLASS_CHECK = 2;    // gives check; a check by the castling rook is not seen
constexpr int CLASS_SEVENTH = 40; // a pawn moves to its seventh rank
constexpr int CLASS_QUEENING = 48;
constexpr int CLASS_PAWN = 32;    // in both above; alone an under-promotion or a passer's sixth
constexpr int CLASS_SPECIAL = 63; // any of these

// What kind of move this is, for the position before it.
int classify_move(const Position& pos, int side, const MoveEntry& entry);

// Tells whether the move gives check, as classify_move sees it.
bool gives_check(const Position& pos, int side, Move move, int mover_type);

// Tells whether a move of that class, by classify_move, certainly gives no check, so that nobody
// need look when it is made. Of castling, promotions and en passant it can't be told: the class
// doesn't see a check by the castling rook, or through the square of the pawn that is taken.
bool surely_gives_no_check(const Position& pos, const MoveEntry& entry, int move_class);
