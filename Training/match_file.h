// match_file.h: the games of a match, or of a shard of it, as a text file; their sum.
//
// A file is a head of lines "name value", an empty line, and then a line for each game in the
// order in which they were played: number, points of the first engine, end, moves of both sides.
// Two files with equal settings are parts of one match when their seeds are equal, and otherwise
// two matches between the same engines; either may be summed.

#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Training/match_game.h"

struct MatchHead {
    std::string settings; // lines of what shapes the games: engines, limit, openings
    uint64_t games;       // of the whole match
    uint64_t seed;        // of the order of openings
    int shard;            // which part of the match, from 0 on
    int shards;           // number of parts
};

struct MatchGame {
    uint64_t number; // in the whole match; the first engine has White in those that are even
    int result;      // of the first engine: RESULT_LOST, RESULT_DRAWN or RESULT_WON
    MatchEnd end;
    int plies;
};

struct MatchFile {
    MatchHead head;
    std::vector<MatchGame> games;
    uint64_t whole_bytes; // up to the end of the last whole line; a torn one may follow
};

// The text that a file begins with, empty line included.
std::string match_head_text(const MatchHead& head);

// A game's line, with its newline.
std::string match_game_text(const MatchGame& game);

// Reads a file. Returns null, or the reason why it can't be read; `file` is then unchanged.
const char* read_match_file(MatchFile& file, const std::string& path);

// Counts from the first engine's view.
struct MatchTotals {
    uint64_t games; // that belong to the matches of all seeds
    uint64_t results[3];
    uint64_t faults[2]; // games lost by time, an illegal move or silence: the first's, the second's
};

void count_match_game(MatchTotals& totals, const MatchGame& game);

// Sums up files. Returns false after a message on standard error, with `totals` undefined, if one
// can't be read, if settings differ, or if a game of a seed stands in two of them.
bool sum_match_files(MatchTotals& totals, const std::vector<std::string>& paths);

// Prints games, score, Elo with the error that 95 of 100 matches stay within, and faults, on
// standard output.
void print_match_totals(const MatchTotals& totals);
