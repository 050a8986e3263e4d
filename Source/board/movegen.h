// movegen.h: pseudo-legal move generation in pieces.
//
// Generators write `move`, `mover` and `victim` of each entry and return the place behind the
// last one; they write no score and no sentinel. Sets are always walked from the lowest square
// up: the order is part of the engine's behaviour, because it decides ties. They change nothing
// but the list, so that any thread may ask about its own position.

#pragma once

#include "board/position.h"

// Entries of the longest list with its sentinel, for a position that can be searched: 15 pieces
// have 27 moves each at most, as queens have, and the king has ten. Eight entries are to spare.
constexpr int LONGEST_LIST = 15 * 27 + 10 + 8 + 1;

// The same for whatever a text may set up. A square is reached by eight knights and from eight
// directions, by the nearest piece of each; on the last rank three of these may be pawns with
// three pieces more to choose from. Beside that there is castling on two wings.
constexpr int LONGEST_ODD_LIST = 64 * 16 + 8 * 3 * 3 + 2 + 1;

// Captures. With a target square only captures on it, en passant and all captures by the king.
// Pawn captures on the last rank belong to gen_promotions.
MoveEntry* gen_captures(const Position& pos, int side, MoveEntry* out, int target);

// Pawn moves onto the last rank, captures included; queens only, or all four pieces.
MoveEntry* gen_promotions(const Position& pos, int side, int all_pieces, MoveEntry* out);

// Pushes to the seventh rank. They go with the captures: such a pawn is a forcing move.
MoveEntry* gen_seventh_pushes(const Position& pos, int side, MoveEntry* out);

// All other quiet moves, castling last. With a target square only blocks between it and the own
// king, beside all king moves.
MoveEntry* gen_quiets(const Position& pos, int side, MoveEntry* out, int target);

// Quiet moves that give check directly: no king moves, no castling, no discovered checks.
MoveEntry* gen_quiet_checks(const Position& pos, int side, MoveEntry* out);

// The complete list for the side to move: captures, promotions, pushes to the seventh, quiet
// moves. Writes the sentinel behind the last entry and returns its place. `list` needs
// LONGEST_ODD_LIST entries, or LONGEST_LIST where the position is known to be searchable.
MoveEntry* gen_list(const Position& pos, MoveEntry* list);
