// bench.h: the benchmark, whose node total is the fingerprint of search and evaluation.
//
// A batch job on the main thread, once in a process: it leaves `quit` set.

#pragma once

// Searches the 20 positions of the benchmark to max_depth plies, 17 if no limit was given, and
// prints time and nodes. With `on_main_thread` one search runs on the calling thread; otherwise
// the usual threads do, and input is listened to. `rate_line` adds a last line "N nodes N nps", as
// frameworks that test engines read it.
void run_benchmark(bool on_main_thread, bool rate_line);
