// draw.h: draws by rule: fifty moves and repetition. Asked by the thread that owns the position.

#pragma once

struct Position;

constexpr int FIFTY_MOVES = 100; // plies; the draw is beyond, in the strict protocol here

// Draw by the fifty-move rule or by repetition: 1 or 0. `ply` is the search's, or 0 to ask about
// the game: then a count past the limit is a draw only if no legal move exists. A repetition of
// a position from the root on draws at once, one from before the root at its second match.
int is_draw(const Position& pos, int ply);
