// game.h: the main loop, which owns the game, and the think from its start to its answer.
// Main thread only.

#pragma once

// Sets up one think for the main thread's position: clock, strength, the think fields of
// EngineState, the evaluation if it is dirty, the target time.
void prepare_search();

// Rebuilds parameters and exchange values from the active personality.
void rebuild_evaluation();

// Runs until `quit` is set or the input has ended and nothing is left to finish.
void run_game_loop();

// Ends a running search without printing its move: sets `stop`, waits for the search threads and
// goes back to STATE_IDLE. Does nothing when no search runs.
void abandon_search();

// Growth of the tree from one iteration to the next: the fourth root of the growth over the last
// four, 2.0 where fewer are known.
float branching_factor();
