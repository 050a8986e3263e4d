// think.h: one think of the game: its preparation, its start, its end.
//
// Main thread only. What a think resets stands in EngineState and lives until the next one; the
// loop, the calibration and the batch jobs begin their searches here.

#pragma once

// Sets up one think for the main thread's position: clock, strength, the think fields of
// EngineState, the evaluation if it is dirty, the target time.
void prepare_search();

// Rebuilds parameters and exchange values from the active personality.
void rebuild_evaluation();

// Begins the think that game_state asks for, in STATE_THINK_REQUEST or STATE_PONDER_REQUEST. A book
// move, a position that can't be searched, or (but for the strict protocol) one that is past the
// fifty-move limit ends it at once: the state then has STATE_OVER and no search runs. Ends the
// process if the master thread can't be started.
void begin_think();

// Goes back to STATE_IDLE once the search is over, and lets the options act that had to wait for
// that. Prints nothing.
void end_think();

// Ends a running search without printing its move: sets `stop`, waits for the search threads and
// ends the think. Does nothing when no search runs.
void abandon_search();

// Prepares a think and searches it to its end on the calling thread, without helpers and deaf to
// input; no search at all if num_threads is 0. `elapsed` is then the time of the search alone.
// The counters are not summed, which sum_thread_counters does. Ends the process when memory runs
// out.
void search_here();

// Growth of the tree from one iteration to the next: the fourth root of the growth over the last
// four, 2.0 where fewer are known.
float branching_factor();
