// tbprobe.h: what the endgame tables say of a position: the game value (WDL), the distance to the
// next capture or pawn move (DTZ), and the moves that keep the value.
//
// The probes of wdl run on any thread. Those of distances run on one thread at a time.

#pragma once

#include "board/position.h"
#include "syzygy/tbboard.h"

// Values of the game ("wdl", win, draw or loss), for the side to move.
constexpr int WDL_LOSS = -2;
constexpr int WDL_SAVED_LOSS = -1; // a loss that the fifty-move rule saves
constexpr int WDL_DRAW = 0;
constexpr int WDL_SPOILED_WIN = 1; // a win that the rule spoils
constexpr int WDL_WIN = 2;

// What a probe says in `success`.
constexpr int TB_FAILED = 0;      // the position can't be valued
constexpr int TB_FOUND = 1;       // the value is right
constexpr int TB_BY_CAPTURE = 2;  // the value is that of a capture
constexpr int TB_OTHER_SIDE = -1; // the table of distances holds the other side to move

// Largest number of pieces of any registered table; 0 without tables.
extern int tb_largest;

// The game value of a node without castling rights: 0 loss, 1 loss that the fifty-move rule
// saves, 2 draw, 3 win that the rule spoils, 4 win, for the side to move; -1 for no result. The
// value supposes that the fifty-move counter is 0. `depth` is the remaining depth in plies.
int tb_probe(const Position& pos, int depth);

// The same for the root, with regard to its fifty-move counter. Gives the class, the distance to
// the next zeroing move in plies, and a move to play, and fills tb_root_moves. Returns the class;
// -1 for no result, and the outputs are then unchanged.
int tb_probe_root(const Position& pos, unsigned* class_out, unsigned* dtz_out, Move* move_out);

// The root moves that keep the class or better it, ended by 0; empty without a result. Written by
// tb_probe_root before the search threads start, read afterwards.
extern Move tb_root_moves[TB_MOVES + 1];

// The board of a position; an en passant square that no pawn has just skipped is left out.
void tb_fill(TBPosition& out, const Position& pos, int rule50);

// Wdl by alpha-beta over the captures, then the table.
int tb_probe_ab(const TBPosition& pos, int alpha, int beta, int* success);

// Wdl with en passant handled: what the position is worth.
int tb_probe_wdl(const TBPosition& pos, int* success);

// Plies to the next capture or pawn move that keeps the result, negative for losses, 0 for draws;
// 100 more where the fifty-move rule spoils or saves the game. A distance may be one ply short.
int tb_probe_dtz(const TBPosition& pos, int* success);

// What the position's table alone holds for it. The value is right only if no capture is better;
// the distance, which has no sign, only if no capture and, in a win, no pawn move is. For the
// distance `success` becomes TB_OTHER_SIDE if the table holds the other side to move. `success` is
// left as it is otherwise, unless there is no answer.
int tb_probe_table(const TBPosition& pos, int* success);
int tb_probe_dtz_table(const TBPosition& pos, int wdl, int* success);
