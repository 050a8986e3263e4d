// edit.h: the console's board-edit mode.
//
// Main thread only, between searches. Works on the game's position and keeps nothing.

#pragma once

#include "board/position.h"

// Reads lines from standard input until one begins with "." or the input ends, and waits for
// them. "#" clears the board; "w" or "b" and words such as "Pa2" put pieces of that colour on the
// board and give it the move. Castling rights follow from where kings and rooks stand; the game's
// record is emptied.
void edit_board(Position& pos);
