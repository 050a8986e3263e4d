// scan_pgn.h: games with engine comments become annotated listings or EPD lines.
//
// A batch job on the main thread, once in a process: it replays the games on the game's record and
// searches nothing.

#pragma once

#include <cstdint>
#include <cstdio>

constexpr int SCAN_MOVES = 791;          // moves of a game that are kept
constexpr size_t SCAN_LINE_LENGTH = 256; // room for 255 characters of a line
constexpr size_t SCAN_MOVE_LENGTH = 9;   // room for 8 characters of a move

// Scores that stand for "no value". The first move of a game starts with the first, every other
// with the second; a comment that says nothing leaves the third.
constexpr int16_t SCORE_AT_START = -10000;
constexpr int16_t SCORE_NO_COMMENT = -30000;
constexpr int16_t SCORE_NO_VALUE = -29999;

struct ScannedMove {
    char text[SCAN_MOVE_LENGTH]; // as in the file, cut at 8 characters
    int16_t score;               // from the view of the side that moves, in hundredths of a pawn
};

// What scan_pgn writes, by its number.
enum ScanMode {
    SCAN_LISTING = 1,  // a line a move with its score, blunders marked
    SCAN_TRAINING = 2, // "FEN ce n; gr n;"
    SCAN_SEARCH = 3,   // "FEN bm move; ce n;"
    SCAN_ROOKS = 4     // the same for rook endings with one pawn, and "tune n;"
};

// Reads the games of a PGN file and writes what `mode` asks for to the output, "tmp.epd" if that
// name is empty; "tmpX.epd" takes the corrections of blunders in mode 1. Prints the number of
// games and of positions written. Does nothing if one of the three is not a plain file that can
// be opened, or if two of them are the same file.
//
// Lines are read in pieces of 255 characters: a move that is cut by the end of a piece is two
// words, and the game ends at the first word that is no move. What begins with a letter is a move:
// variations are not understood.
void scan_pgn(const char* in_name, const char* out_name, int mode);

// The value of a comment for the side that moved, `by_black` telling which: 0 for book moves; the
// number behind "eval ", which is from White's side; a hundred times the number in front of "/",
// or 9000 and -9000 for "+M" and "-M" there; SCORE_NO_VALUE for all else. Values are kept within
// 32767 either way.
int16_t comment_value(const char* comment, bool by_black);

// Writes one game of `count` moves from the position `fen`, from the start position if that is
// empty, up to the first text that is no move. `result` is 0 for a win of White, 1 of Black, 2 for
// anything else. Sets `positions` to the number of positions written; in mode 1 these are the
// lines of the second output. From a position that can't be played nothing is written.
void write_game(FILE* out, FILE* second, const ScannedMove* moves, int count, const char* fen,
                int mode, int result, int& positions);
