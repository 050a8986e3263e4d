// scan_pgn.h: games with engine comments become annotated listings or EPD lines.
//
// A batch job on the main thread, once in a process: it replays the games on the game's record and
// searches nothing.

#pragma once

#include <cstdio>

#include "tools/pgn.h"

// What scan_pgn writes, by its number.
enum ScanMode {
    SCAN_LISTING = 1,  // a line a move with its score, blunders marked
    SCAN_TRAINING = 2, // "FEN ce n; gr n;"
    SCAN_SEARCH = 3,   // "FEN bm move; ce n;"
    SCAN_ROOKS = 4     // the same for rook endings with one pawn, and "tune n;"
};

// Reads the games of a PGN file and writes what `mode` asks for to the output, "tmp.epd" if that
// name is empty; "tmpX.epd" takes the corrections of blunders in mode 1. Prints the number of
// games and of positions written. Does nothing but say so on standard error if one of the three
// can't be opened, or if two of them are the same file.
//
// A game ends at the first word that is no move, see pgn.h for what counts as one.
void scan_pgn(const char* in_name, const char* out_name, int mode);

// Writes one game of `count` moves from the position `fen`, from the start position if that is
// empty, up to the first text that is no move. `result` is 0 for a win of White, 1 of Black, 2 for
// anything else. Sets `positions` to the number of positions written; in mode 1 these are the
// lines of the second output. From a position that can't be played nothing is written.
void write_game(FILE* out, FILE* second, const ScannedMove* moves, int count, const char* fen,
                int mode, int result, int& positions);
