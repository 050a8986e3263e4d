// loop.h: the main loop, which owns the game: it hears input, waits for the search, and answers.
//
// Main thread only. The batch jobs use its ear while their own searches run.

#pragma once

// Takes in what input has arrived and hands at most one finished line to HandleUci, or to the
// console in console mode.
void PollInput();

// Runs until `quit` is set or the input has ended and nothing is left to finish.
void run_game_loop();
