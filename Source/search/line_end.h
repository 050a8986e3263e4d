// line_end.h: where a line of analysis ends, by the strict protocol.
//
// Called by thread 0 for its own position, which is at the root of its search.

#pragma once

#include "board/position.h"

// Brings a line, pv[1] to its ending 0, to its end: it stops at a move that can't be played, at a
// draw by rule and at the end of the game. Where `score` tells a mate, the line is completed up to
// it: by what the hash table knows, and near the mate by trying. A line that then mates at another
// ply than the score says is cut before that ply. The position is as before.
void end_line(Position& pos, Move* pv, int score);
