// fen.h: positions from FEN text by the letter: every field counts, and what is no position is
// refused. set_position takes any text.
//
// Changes the position and its owner's line, on the thread that owns them.

#pragma once

#include "board/position.h"

constexpr int FEN_FIELDS = 6; // placement, side, castling, en passant, half-moves, move number

// Sets the position up from `count` fields, 1 to FEN_FIELDS; those that are missing count as "w - -
// 0 1". An en passant square behind which no pawn can have gone counts as none, and rights without
// their king and rook are dropped. Returns null, or the plain reason why this is no position to be
// searched: the board is then empty.
const char* read_fen(Position& pos, const char* const* fields, int count);
