// pst_tuning.h: fitting the piece-square tables to game results and search scores.
//
// The hand-crafted score is linear in the tables: one unit of a row's midgame value adds
// (1 - phase) * scale to the score of the side whose unit stands there, one of its endgame value
// phase * scale. So a position is reduced to its score with the present tables, two factors and a
// list of rows, and the fit finds changes of the rows. Called from one thread, which shares the
// work out among as many as the settings say; nothing outlives a call.

#pragma once

#include <cstdint>
#include <vector>

#include "Training/ply_record.h"
#include "eval/pst.h"

struct SearchThread;

constexpr int PST_ROWS = PST_TABLES * 64; // table * 64 + square

// A term is a row number, with this bit set for a black unit, whose value counts against White.
constexpr uint16_t PST_BLACK = 0x8000;

struct PstPosition {
    float score;         // for White, with the present tables and the fifty-move scaling
    float mg, eg;        // change of the score for one unit of a white term
    float target;        // probability of winning for White
    uint32_t first_term; // in PstData::terms
    uint32_t terms;      // number of them, 64 at most: a pawn may count in three tables
};

struct PstData {
    std::vector<PstPosition> positions; // in the order of reading
    std::vector<uint16_t> terms;        // of all positions, one after the other
};

// Changes of all rows, in evaluation units: midgame values first, then endgame values.
struct PstChange {
    double value[2][PST_ROWS]; // [midgame, endgame][row]
};

struct PstSettings {
    double lambda = 0.5; // weight of the search score in the target, the rest is the result's
    double smooth = 6;   // expected difference of the changes of neighbouring squares, units
    double pull = 30;    // expected change of a square, units
    double worth = 1;    // what a position counts against these expectations
    double rate = 1.0;   // first step size, units
    int epochs = 300;    // passes over the positions
    int threads = 2;     // at least 1
};

// Rows that are given or never looked up, and keep their values.
bool is_fixed_row(int row);

// Reduces the position on the thread's record, appending its terms. The evaluation must be the
// engine's own: parameters scaled by 100 per cent. `target` is White's.
PstPosition reduce_position(SearchThread& thread, float target, std::vector<uint16_t>& terms);

// Reduces records by several threads; the order is kept.
PstData reduce_records(const std::vector<PlyRecord>& records, const PstSettings& settings);

// White's score after a change of the tables.
double predict_score(const PstData& data, const PstPosition& position, const PstChange& change);

// Mean cross-entropy of the data with p = 1 / (1 + exp(-0.006 * k * score)).
double pst_loss(const PstData& data, const PstChange& change, double k, int threads);

// The factor k that fits the present tables best.
double fit_score_factor(const PstData& data, int threads);

// Fits the changes by full-batch gradient steps, printing a line for every 20th epoch.
PstChange fit_tables(const PstData& training, const PstData& validation,
                     const PstSettings& settings, double k);

// Writes the source file of the tables with the changes added and rounded. Returns false if it
// can't be written.
bool write_pst_source(const char* path, const PstChange& change);
