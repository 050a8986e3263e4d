// strict_position.h: the strict protocol's `position`, and moves as words.
//
// Main thread only. The game stands in the main thread's record.

#pragma once

#include "board/position.h"

// Acts on what stands behind `position`; the text is cut into words. Words of no meaning are
// skipped. A position that is none leaves the board empty, with an "info string" that tells why. A
// move that is not legal ends the moves, with an "info string".
void set_up_strict_position(char* text);

// The legal move that a word means, in upper or lower case: king's target or rook for castling, a
// queen where a promotion names no piece. NULL_MOVE if there is none.
Move move_of_word(const Position& pos, const char* word);
