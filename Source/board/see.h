// see.h: static exchange evaluation and the attacker finders below it.
//
// Nothing here changes the position; exchanges work on a copy of the occupancy. Any thread may ask
// about its own position. The exchange values are shared: set between searches, read in them.

#pragma once

#include "board/position.h"

// Exchange values by piece type, in centipawns.
extern int16_t see_value[8];

constexpr int ILLEGAL_KING_CAPTURE = 9999; // more than any exchange can win

// Sets see_value to the values that every search uses.
void set_exchange_values();

// Square of the least valuable piece of `side` that attacks `square`, or NO_SQUARE. Only pieces
// in `occupied` count, and sliders see through squares outside it, so that attackers behind
// pieces that are used up appear by themselves. Ties go to the lowest square.
int least_attacker(const Position& pos, int square, int side, Bitboard occ);

// The same search on the real occupancy, for finding a checker. `square` may be NO_SQUARE, which
// nothing attacks.
int first_attacker(const Position& pos, int square, int side, Bitboard occ);

// Value for `side` of capturing on `to` with the piece on `from`: negative for a bad capture.
// `to` may be empty. With `from` = NO_SQUARE the least valuable attacker captures, or nobody:
// then never below 0. En passant and promotion get no special treatment.
int see(const Position& pos, int side, int from, int to);

// What `side` gains at best, 0 or more, from going on with the exchange on `square`, where a piece
// of `target_type` stands now. Only pieces in `occupied` take part.
int see_reply(const Position& pos, int side, int square, int target_type, Bitboard occ);
