// game_check.h: a look at the records of a game, whether they can be what they claim.
//
// Plays the game again on the game's position; main thread only.

#pragma once

struct PlyRecord;

// Checks `count` records, 1 or more, as one game: that they are positions in which their moves are
// legal, that each follows from the one before, and that all tell the same result. Returns null
// if all is well, else what is wrong with the record whose index is then in `bad`.
const char* check_game(const PlyRecord* records, int count, int& bad);
