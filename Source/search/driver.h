// driver.h: iterative deepening over the root moves; what one search thread runs.
//
// The record of the thread must be a copy of the game (see pool.h). Thread 0 alone writes to
// EngineState; it and the helpers run at the same time, each on its own record.

#pragma once

struct SearchThread;

// Searches the thread's position until `stop` is set or the last iteration is done. Thread 0
// publishes results in EngineState and sets `stop` at its end; helpers only fill the hash table.
// Does nothing for a number without a record.
void search_root(int thread_number);

// Copies the result of thread 0 into EngineState, and from the second iteration on, with MultiPV
// 1, reports it.
void publish_result(SearchThread& thread);
