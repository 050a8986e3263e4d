// game_check.h: a look at records, whether they can be what they claim.
//
// Works on the game's position; main thread only.

#pragma once

#include "Training/data_header.h"

struct PlyRecord;

// Checks `count` records, 1 or more, as one game: that they are positions in which their moves are
// legal, that each follows from the one before, and that all tell the same result. Returns null
// if all is well, else what is wrong with the record whose index is then in `bad`.
const char* check_game(const PlyRecord* records, int count, int& bad);

// Checks a record of a file that holds no whole games by itself, as one of that kind: that it is a
// position with legal moves, one of which is its move if it has any; and for neighbours, that it
// carries no result and that training would use it, or that it is the marked first record of a
// game. Returns null if all is well, else what is wrong.
const char* check_alone(const PlyRecord& record, DataKind kind);
