// info.h: what the search says while it runs: info lines.
//
// Lines go out through Print, from thread 0, and at the end of a think from the main thread.
// report_lock keeps the sums that a line shows as they are until it is out.

#pragma once

#include "board/types.h"

// Prints a line of analysis of thread 0 unless it is too early (noise), the run is quiet, `depth`
// is 0 or there is no best move pv[1]. `line` is the MultiPV number, 0 or 1 for the only one.
void report_line(int thread_number, int line, int depth, int score, const Move* pv);

// The same without the conditions. The caller holds report_lock and has summed the counters and
// sampled hash_fill; the function releases the lock once the line is out.
void print_search_line(int thread_number, int line, int depth, int score, const Move* pv);

// For long thinks under UCI: the state before the first root move of an attempt, and the root move
// before each (`number` from 1). Nothing before 3.5 seconds or `noise` have passed. Thread 0.
void report_root_move(Move move, int number);
