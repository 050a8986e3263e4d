// perft.h: counts the leaves of the legal move tree through the search's own picker.
//
// Works on the record that it is given, whose position is as it was at the end. Main thread,
// between searches.

#pragma once

#include <cstdint>

struct SearchThread;

// Adds the number of legal move sequences of `depth` plies (at least 1) to thread.perft_nodes.
// `ply_slot` is the current ply of the thread; its lists and those below it are overwritten.
void perft(SearchThread& thread, int side, int ply_slot, int depth);

// Counts from the thread's position. `depth` is clamped to 0 to 20; 0 counts nothing.
uint64_t run_perft(SearchThread& thread, int depth);
