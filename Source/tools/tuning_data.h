// tuning_data.h: EPD files rewritten with search values, to tune the evaluation with.
//
// A batch job on the main thread, which starts a search for each position; once in a process.

#pragma once

#include "tools/epd.h"

// What make_tuning_data writes, by its number.
enum TuningMode {
    TUNING_LEAVES = 1, // the position at the end of the search's best line
    TUNING_INPUT = 2   // the position of the input; endgame tables correct its value
};

// A position of the input and what the file and the search say about it.
struct TuningLine {
    EpdLine epd;     // the line taken apart
    bool has_value;  // the line has `ce`
    bool has_result; // the line has `gr`
    int value;       // of `ce`, in hundredths of a pawn for the side to move; -9999 without
    float result;    // of `gr`, for the side to move
    int score;       // of the search, for the side to move
};

// Searches each position of an EPD file within the limits of the command line, by the hand-crafted
// evaluation, and writes it with its score to the output, "tune_new.epd" if that name is empty.
// Positions are dropped whose value and result, or score and result, disagree, whose side to move
// is in check, and those that can't be searched. Mode 2 takes its tables from SyzygyPath, or where
// that is empty from a fixed path. "quit" on standard input is heard every 256 positions, and in a
// position that takes more than a second.
//
// Does nothing but say so on standard error if both names lead to one file, or if one can't be
// opened. From standard input as the file to be read no commands are heard.
void make_tuning_data(const char* in_name, const char* out_name, int mode);

// Takes a line apart; `score` becomes 0.
void read_tuning_line(const char* text, TuningLine& line);

// Tells whether the line's own value makes its result too unlikely. Lines without one of the two
// never disagree.
bool value_disagrees(const TuningLine& line);

// The same for the score of the search.
bool score_disagrees(const TuningLine& line);
