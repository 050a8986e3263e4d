// uci.h: the protocol engine. Main thread only.

#pragma once

// Acts on one line of input; never searches by itself. The line is changed in place. Unknown
// commands do nothing. Words of a move list that are no move end the list with an "info string".
void HandleUci(char* line);
