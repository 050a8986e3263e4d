// selectivity.h: the numbers by which the search prunes and reduces.
//
// Built by thread 0 at the start of each search, before the helpers begin, from the settings of
// the active personality; read without locks afterwards. FP, futility pruning, drops into
// quiescence far below alpha; SEP, static evaluation pruning, cuts on the static value above beta;
// NMP is null move pruning, LMP late move pruning, LMR late move reductions; BP_margin is how far
// above beta SEP and NMP come into play. All depths are in plies, all margins in evaluation units.

#pragma once

#include <cstdint>

constexpr int MARGIN_DEPTHS = 12; // depths 0 to 11; deeper ones read the last entry
constexpr int LMR_SIZE = 32;

extern int16_t BP_margin;
extern int16_t FP_depth, SEP_depth;  // largest depth of the rule
extern int16_t LMP_depth;            // likewise
extern int16_t NMP_depth, LMR_depth; // smallest depth of the rule

extern int16_t fp_margins[MARGIN_DEPTHS];
extern int16_t sep_margins[MARGIN_DEPTHS];
extern int16_t lmp_counts[MARGIN_DEPTHS]; // moves

// Plies of reduction, by depth and by number of the move.
extern int8_t lmr_table[LMR_SIZE][LMR_SIZE];       // at PV nodes
extern int8_t lmr_table_nonpv[LMR_SIZE][LMR_SIZE]; // at others

// Index of the margin tables for a depth: below 0 the first entry is read, above 11 the last.
inline int margin_index(int depth) {
    return depth < 0 ? 0 : depth < MARGIN_DEPTHS ? depth : MARGIN_DEPTHS - 1;
}

// Rebuilds all of the above, and EngineState::nps_throttle.
void build_search_tables();

// Rebuilds and prints them, to standard output only.
void print_search_tables();
