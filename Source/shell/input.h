// input.h: standard input cut into lines. Main thread only.
//
// What the lines mean is no business of this file: whoever asks for a line acts on it.

#pragma once

#include <cstddef>

constexpr size_t INPUT_LINE_LENGTH = 4993; // room for the longest line

// Takes in what input has arrived, and of its finished lines the first. Returns false, with the
// line unchanged, if none is finished. `line` needs INPUT_LINE_LENGTH characters.
//
// Lines end at a newline or NUL, and "@" ends a line too. Empty lines are dropped, and so are
// characters behind the 4,992nd of a line.
bool poll_line(char* line);

// The same for lines of any length, in memory that is good until the next call; null if none is
// finished. Only a newline ends a line, and NULs are dropped; the line keeps a carriage return, and
// may be empty. Both ways can be changed from line to line.
char* poll_long_line();

// Makes the next poll_long_line hand the last line over once more. The line must not be changed.
void repeat_long_line();

// The same as poll_line, but waits for a line; nothing else happens meanwhile. Returns false at the
// end of the input.
bool read_line(char* line);

// Tells whether finished lines wait for the next poll_line.
bool input_pending();

// Tells whether the input is at its end and all its lines have been handed over.
bool input_ended();

// Hears no more: standard input belongs to somebody else from here on.
void end_input();

// Forgets all that was read, and that there was an end.
void reset_input();

// Waits until input arrives, the search is over, or the time is; at the end of the input, for the
// last two.
void wait_for_line(int milliseconds);
