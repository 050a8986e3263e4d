// build.h: makes an opening book from the games of a PGN file.
//
// Main thread only; a run mode of its own, which uses the game's position.

#pragma once

constexpr char BOOK_OUTPUT[] = "tmp_book.bin";

// Reads the games of shell.games_in_name and writes the moves that did well to BOOK_OUTPUT in the
// working directory, replacing it. All games are taken to begin at the start position, and each at
// its Result tag. Counts at most the first 36 moves of a game, both sides' together; a game ends
// at the first word that is no move, and one without a known result adds nothing.
//
// A move is kept if it won at least 3 games and 4 * wins - 2 * losses + draws is above 9, from the
// view of the side that played it. That sum is its weight; where the best one of a position is
// above 60,000, the weights of the position are scaled down to that.
//
// A file that can't be read or written is told on standard error; an old book then stays. Without
// memory for all moves no book is written.
void build_book();
