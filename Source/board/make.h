// make.h: making and unmaking moves.
//
// A make followed by an unmake restores every byte of the Position. Changed are the position and
// the line that it belongs to, by the thread that owns them.

#pragma once

#include "board/position.h"

// Called with the position before each move that is made, a null move being move 0, while the
// moves of the search are traced; else null. Set by the main thread while no search runs.
extern void (*trace_move)(const Position& pos, Move move);

// Makes a pseudo-legal move. A pawn that arrives on the last rank without a flag becomes a queen.
void make_move(Position& pos, Move move);

// Makes a move of the game. When the undo stack is full its oldest records are forgotten, so that
// a game of any length can be played on; repetitions lie far behind them.
void make_game_move(Position& pos, Move move);

// Forgets the records of the game that no repetition can reach any more, so that a search has the
// rest of the stack for itself. The moves can no longer be taken back; moves_played counts them.
void fold_game(Position& pos);

// The key that an ordinary move leads to. Castling, en passant, promotions, double pushes and lost
// rights are left out, so that it is good for a prefetch only.
uint64_t likely_key_after(const Position& pos, const MoveEntry& entry);

// Takes back the move on top of the undo stack.
void unmake_move(Position& pos);

// Passes the move to the other side, and back. The search calls them around the null search; they
// keep no list of moves.
void make_null_move(Position& pos);
void unmake_null_move(Position& pos);
