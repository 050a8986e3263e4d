// uci.h: the protocol engine: what the lines of a GUI mean.
//
// Main thread only; the loop hands the lines over, also while a search runs. Limits and options
// that a line sets stand in the process-wide records and hold until another line sets them.

#pragma once

// Acts on one line of input; never searches by itself. The line is changed in place. Unknown
// commands do nothing. Words of a move list that are no move end the list with an "info string".
void HandleUci(char* line);

// Says who the engine is, and what can be set; from now on lines are those of the protocol.
void identify_engine();

// Ends a search, and forgets clocks, the game's moves and the hash table. Limits and the board
// stay.
void begin_new_game();

// Whether command lines go to the log, as they do at first.
void log_commands(bool on);
