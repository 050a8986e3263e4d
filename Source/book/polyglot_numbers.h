// polyglot_numbers.h: the published random numbers of the PolyGlot book format.
//
// They never change; any thread may read them.

#pragma once

#include <cstdint>

constexpr int POLYGLOT_NUMBERS = 781;

// A position's key is the exclusive or of the numbers of what stands in it:
//   0-767    pieces: 64 * kind + square; kinds are black pawn 0, white pawn 1, black knight 2 ...
//            white king 11
//   768-771  rights to castle: white king side, white queen side, black king side, black queen side
//   772-779  en passant, by file
//   780      white to move
constexpr int POLYGLOT_CASTLING = 768;
constexpr int POLYGLOT_EN_PASSANT = 772;
constexpr int POLYGLOT_WHITE_TO_MOVE = 780;

extern const uint64_t polyglot_numbers[POLYGLOT_NUMBERS];
