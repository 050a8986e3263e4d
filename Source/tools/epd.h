// epd.h: lines of EPD files: four fields of a position, then operations that each end in ";".
//
// Pure text work on the caller's records; any thread.

#pragma once

#include <cstddef>
#include <cstdio>

constexpr size_t EPD_LINE_LENGTH = 511; // room for 510 characters of a line

// What a line holds. Operations that are absent are empty texts, and so are all but these seven.
struct EpdLine {
    char position[EPD_LINE_LENGTH]; // the first four fields
    char bm[EPD_LINE_LENGTH];       // best moves
    char am[EPD_LINE_LENGTH];       // moves to avoid
    char ce[EPD_LINE_LENGTH];       // evaluation in hundredths of a pawn
    char sc[EPD_LINE_LENGTH];       // score written by the tools
    char gr[EPD_LINE_LENGTH];       // result of the game for the side to move: 1.0, 0.5, 0.0
    char id[EPD_LINE_LENGTH];       // name, with its quotes
    char c0[EPD_LINE_LENGTH];       // comment; in test suites points by move, "e4=10,d4=5"
};

// Takes a line apart; move counters behind the position are passed over. A line with fewer than
// four spaces is all position. Values lose all their spaces, so that of "bm Nf3 e4;" is "Nf3e4".
// A line end is no part of the last value; characters behind the 510th are dropped. Returns 1.
int SplitEpd(const char* line, EpdLine& epd);

// Reads the next line that may hold a position, with its newline, in pieces of 510 characters:
// those that begin with a space, "#" or ";" are skipped, and so are those below 10 characters.
// Returns false at the end of the file.
bool read_epd_line(FILE* file, char line[EPD_LINE_LENGTH]);
