// loop.h: the main loop, which owns the game: it hears input, waits for the search, and answers.
//
// Main thread only. The batch jobs use its ear while their own searches run.

#pragma once

// Takes in what input has arrived and hands at most one finished line to HandleUci, or to the
// console in console mode.
void PollInput();

// Asks for the answer of the think that runs, as the strict protocol's `stop` does: the search
// ends, no line is heard before the answer, and it waits for nothing else.
void ask_for_answer();

// Prepares a think for the main thread's position, searches it with all search threads in
// STATE_BATCH, and hears one line of input at each look. With an `input_delay`, in seconds, it
// hears nothing before that time, nor once the search has been stopped: a "quit" behind a "stop"
// then leaves the stopped result to the caller. The search ends by depth, nodes or a command, not
// by time.
//
// Afterwards game_state is STATE_BATCH | STATE_OVER, or what a command has made of it; the caller
// goes on with end_think. Ends the process if the master thread can't be started.
void search_with_input(float input_delay);

// Runs until `quit` is set or the input has ended and nothing is left to finish.
void run_game_loop();
