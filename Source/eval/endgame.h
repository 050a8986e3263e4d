// endgame.h: exact endgame knowledge, and how far an advantage can be turned into a win.
//
// Both functions only read the position and constant tables: any thread may call them.

#pragma once

#include "board/position.h"

// Answers the endings that need no general evaluation: too little force, king and pawn, bishop
// and knight, a lone king against heavy pieces. Returns true and the score for `side` if the
// position is one of them; `score` is unchanged otherwise. Scores are in evaluation units, 100 = a
// pawn.
bool endgame_score(const Position& pos, int side, int& score);

// Factor for a score from White's view, 0.05 to 1.0: endings with few pieces are harder to win
// than their material says. 1.0 for a score of 0.
float endgame_scale(const Position& pos, int white_score);
