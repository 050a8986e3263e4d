// pgn.h: the games of a PGN file, with the values in their comments.
//
// Text work on the caller's reader; nothing is played, so that a move is any word that begins with
// a letter: variations are not understood. Any thread.

#pragma once

#include <cstddef>
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

struct ScannedGame {
    char white[SCAN_LINE_LENGTH];
    char black[SCAN_LINE_LENGTH];
    char result_text[SCAN_LINE_LENGTH];
    char fen[SCAN_LINE_LENGTH]; // of the FEN tag; empty for the start position
    int result;                 // 0 White has won, 1 Black, SCAN_NO_RESULT
    bool skipped;               // the game was not played to its end: its moves are passed over
    int count;                  // moves held
    ScannedMove moves[SCAN_MOVES + 1]; // the score of the next one is set ahead
};

constexpr int SCAN_NO_RESULT = 2; // drawn, or whatever else the tag says

// What a reader has come to.
enum PgnEvent {
    PGN_END,  // of the file
    PGN_GAME, // the moves of a game are complete; its tags are those before them
    PGN_TAG   // the tag line in `line`, before it is taken in
};

// A file that is being read. It is the caller's from one event to the next.
struct PgnReader {
    FILE* in;
    int games;                   // with a result, but for those that are passed over
    char line[SCAN_LINE_LENGTH]; // of PGN_TAG: its first 255 characters
    bool tag_waits;              // `line` is a tag that has not been told yet
    bool tag_told;               // or one that is to be taken in now
    bool game_told;              // the game's moves are to be forgotten now
    int comment_depth;           // of braces
    size_t comment_length;
    char comment[4096]; // longer ones are cut
    ScannedGame game;
};

// Makes a reader ready for an open file, which stays the caller's.
void begin_pgn(PgnReader& reader, FILE* in);

// Reads on to the next event. Lines are read in pieces of 255 characters: a move that is cut by
// the end of a piece is two words. Zero bytes count as blanks.
PgnEvent next_pgn_event(PgnReader& reader);

// Whether the line, or piece of a line, has its newline.
bool ends_line(const char* piece);

// The value of a comment for the side that moved, `by_black` telling which: 0 for book moves; the
// number behind "eval ", which is from White's side; a hundred times the number in front of "/",
// or 9000 and -9000 for "+M" and "-M" there; SCORE_NO_VALUE for all else. Values are kept within
// 32767 either way.
int16_t comment_value(const char* comment, bool by_black);
