// ply_data.h: reading self-play data for the trainers: files, filters, order.
//
// Everything here works on plain memory and may be called from any thread.

#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Training/ply_record.h"

// What becomes of a record. The order is that of the tests: the first that fits counts.
enum PlyVerdict {
    PLY_KEPT,
    PLY_IN_CHECK, // no static evaluation exists
    PLY_NOISY,    // the best move captures or promotes
    PLY_OPENING,  // first 16 plies of the game, random moves among them
    PLY_DECIDED,  // score beyond 1,500
    PLY_FIFTY,    // more than 60 plies without capture or pawn move
    PLY_KNOWN,    // belongs to the hand-crafted evaluation, or for its tuning to endgame knowledge
    PLY_VERDICTS
};
extern const char* const PLY_VERDICT_NAMES[PLY_VERDICTS];

enum PlyUse {
    PLY_FOR_NETWORK, // drops what Evaluate leaves to the hand-crafted evaluation
    PLY_FOR_TABLES   // drops what endgame knowledge answers
};

struct PlySets {
    std::vector<PlyRecord> training;
    std::vector<PlyRecord> validation; // plies with a result, of 2 per cent of the games
    uint64_t games = 0;
    uint64_t verdicts[PLY_VERDICTS] = {}; // records by what became of them
};

// Names of the data files of a list of files and folders; a folder stands for its *.ply files in
// the order of their names. Missing ones are kept, so that reading them reports it.
std::vector<std::string> list_ply_files(const std::vector<std::string>& paths);

// Adds the records of a file to the sets, filtered for their use. A torn last record and its game
// are ignored. Returns false, with a message on standard error, if the file can't be read or is no
// data file.
bool read_ply_file(PlySets& sets, const std::string& path, PlyUse use);

// Prints how many games and records there are and what became of them.
void print_ply_sets(const PlySets& sets);

// Tells whether a game, given by its file's seed and its number in the file from 0 on, is held out
// for validation.
bool is_validation_game(uint32_t seed, uint64_t game);

PlyVerdict judge_ply(const PlyRecord& record, PlyUse use);

// Puts records in an order that depends only on their number and the seed.
void shuffle_plies(std::vector<PlyRecord>& records, uint64_t seed);

// Piece code of the nth unit of a record, counted from square a1 on.
inline int ply_unit(const PlyRecord& record, int n) {
    return record.units[n / 2] >> n % 2 * 4 & 15;
}

// Code of records whose game's result says nothing about them.
constexpr int NO_RESULT_KNOWN = 3;

inline bool has_result(const PlyRecord& record) { return record_result(record) != NO_RESULT_KNOWN; }

// Result for the side to move: 0, 0.5 or 1. The record must have one.
inline float ply_result(const PlyRecord& record) {
    return static_cast<float>(record_result(record)) * 0.5f;
}

// What training aims at for the side to move: lambda parts of the score's probability and
// 1 - lambda parts of the result; the score alone where there is no result.
double ply_target(const PlyRecord& record, double lambda);

// Probability of winning for a score in evaluation units.
double score_probability(double score);
