// book.h: opening books. Main thread only, between searches.

#pragma once

#include "board/position.h"

// Chooses a move for the position from a book file. Returns 0 when the file has none for it, or
// can't be read.
Move book_probe(const Position& pos, const char* filename);
