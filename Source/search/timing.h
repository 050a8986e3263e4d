// timing.h: the time policy: how long a think may take, and when it ends.
//
// All times are in seconds, as 32-bit floats. But for thread 0 in the strict protocol no search
// thread looks at the clock on its own.

#pragma once

// Sets EngineState::elapsed to the time since the start of the think. Any thread.
void update_elapsed();

// Refreshes `elapsed`, and sets `stop` when the time of a think in STATE_THINKING is up. Called
// by the main thread's loop, by search threads that hold themselves to a speed, and in the strict
// protocol by thread 0 every few nodes.
void check_time();

// Computes EngineState::target_time and moves_to_go from the clocks, in the strict protocol
// hard_time as well; a game of `plies` has been played. Else, for a fixed time per move, where no
// clock runs, the mover's clock is set to that time too. Main thread, from prepare_search.
void plan_time(int plies);
