// tbprobe.h: what the search asks of the endgame tables.

#pragma once

#include "board/position.h"

// Largest number of pieces of any table that is registered; 0 without tables.
extern int tb_largest;

// The game value of a node without castling rights: 0 loss, 1 loss that the fifty-move rule
// saves, 2 draw, 3 win that the rule spoils, 4 win, for the side to move; -1 for no result.
// `depth` is the remaining depth in plies.
int tb_probe(const Position& pos, int depth);

// The same for the root by distance to zeroing, with the move to play; -1 for no result, and the
// outputs are then unchanged.
int tb_probe_root(const Position& pos, unsigned* class_out, unsigned* dtz_out, Move* move_out);
