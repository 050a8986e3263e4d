// ply_data.h: self-play data for the trainers: reading files into sets, order, targets.
//
// Everything here works on plain memory and may be called from any thread.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "Training/ply_filter.h"
#include "Training/ply_record.h"

// Games and records that were read.
struct PlyCounts {
    uint64_t games = 0;
    uint64_t verdicts[PLY_VERDICTS] = {}; // records by what became of them
};

struct PlySets {
    std::vector<PlyRecord> training;   // plies of the other games, and neighbours
    std::vector<PlyRecord> validation; // plies with a result, of 2 per cent of the games
    PlyCounts counts;                  // read so far
};

// Names of the data files of a list of files and folders; a folder stands for its *.ply files in
// the order of their names. Missing ones are kept, so that reading them reports it.
std::vector<std::string> list_ply_files(const std::vector<std::string>& paths);

// Adds the records of a file to the sets, filtered for their use. A torn last record and its game
// are ignored. Returns false, with a message on standard error, if the file can't be read or is no
// data file.
bool read_ply_file(PlySets& sets, const std::string& path, PlyUse use);

// What a record is for.
enum PlyPurpose { FOR_NOTHING, FOR_TRAINING, FOR_VALIDATION };

// Tells what a record is for and counts its verdict, if it is sound. `held_out` is of its game, see
// is_validation_game.
PlyPurpose sort_ply(const PlyRecord& record, bool held_out, const PlyFilter& filter,
                    PlyCounts& counts);

void add_counts(PlyCounts& sum, const PlyCounts& more);

// Prints how many games and records there are, what became of them, and how many are for what.
void print_counts(const PlyCounts& counts, uint64_t training, uint64_t validation);

// Tells whether a game, given by its file's seed and its number in the file from 0 on, is held out
// for validation.
bool is_validation_game(uint32_t seed, uint64_t game);

// Puts records in an order that depends only on their number and the seed.
void shuffle_plies(std::vector<PlyRecord>& records, uint64_t seed);

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

// Gives each ply of a game a new score: `share` parts of the next ply's new one and 1 - share parts
// of its own, as probabilities. So a score knows what the search saw further down the game: with a
// share of a half, a quarter of it comes from two plies later or more. The last ply of a game, or
// of the records, keeps its score, and so do plies without a result, which stand for themselves.
// The share is 0 to 1.
void look_ahead(PlyRecord* records, size_t count, double share);

// Slope of the probability's exponent for one evaluation unit: about 1 / SCORE_PER_OUTPUT of the
// network's output.
constexpr double SCORE_SLOPE = 0.006;

// Probability of winning for a score in evaluation units: 1 / (1 + exp(-SCORE_SLOPE * score)).
double score_probability(double score);
