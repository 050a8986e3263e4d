// input.h: lines from standard input, without blocking. Main thread only.

#pragma once

#include <cstddef>

constexpr size_t INPUT_LINE_LENGTH = 4993; // room for the longest line

// Takes in what input has arrived and hands at most one finished line to HandleUci, or to the
// console in console mode. Lines end at a newline or NUL, and "@" ends a line too. Empty lines
// are dropped, and so are characters behind the 4,992nd of a line.
void PollInput();

// Takes the next line for the caller instead, and waits for it; nothing else happens meanwhile.
// Returns false at the end of the input. `line` needs INPUT_LINE_LENGTH characters.
bool read_line(char* line);

// Tells whether finished lines wait for the next PollInput.
bool input_pending();

// Tells whether the input is at its end and all its lines have been handed over.
bool input_ended();

// Waits until input arrives or the time is over; just sleeps once the input is at its end.
void wait_for_line(int milliseconds);
