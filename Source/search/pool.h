// pool.h: starting, running and gathering the search threads.
//
// The main thread never searches in play: it sets the master thread to work, thread 0, which
// creates the helpers for each think. All of them run search_root on their own copy of the game and
// share only the hash table and EngineState.

#pragma once

#include <cstdint>

#include "base/lock.h"

// Keeps thread records in place while others look at them; taken by check_time, and by the
// master thread when it takes records away. No other lock is taken inside.
extern SpinLock record_lock;

// Clears `stop`, sets game_state to `state` and sets the master thread to work; the first call
// creates it. Main thread only, while no search runs. Returns 0, or the system's error number when
// the thread could not be created.
int start_search(int state);

// Ends the master thread and frees the records of all search threads. Main thread only, while no
// search runs; start_search may follow.
void end_search_threads();

// Waits until every search thread has its own copy of the game. Before this the main thread must
// not change the game's position while a search runs; it takes a moment after a start at most.
void wait_for_copies();

// Prepares thread 0's record as a copy of the game. Returns 0, or -1 when memory ran out.
int setup_master_record();

// Sums the counters of all threads into EngineState. Does nothing once the search is over. The
// caller holds report_lock, or no search thread runs.
void sum_thread_counters();

// Step of the multiply-with-carry generator that all helpers draw their root noise from.
uint32_t next_root_noise();
