// search.h: alpha-beta over one thread's record.
//
// search_node is everything that can end or reshape a node before a move is tried, search_moves
// is the loop over its moves (move_loop.cpp), quiesce the loop at the horizon. All recursion goes
// through search_node. Scores are fail-soft, from the view of `side`, the side to move; when stop
// is set everything unwinds with 0, which no caller uses. `pv` is the caller's array of PLY_SLOTS
// moves, indexed by ply: the node writes its line from pv[ply] on, ended by 0. Depths are in plies
// and may be negative below the horizon. Each search thread calls these on its own record.

#pragma once

#include "base/state.h"
#include "board/position.h"

// Tells whether the search is to end: asked after every return from a deeper ply.
inline bool stopped() { return relaxed(engine.stop) != 0; }

// The value of the node at `ply`, 1 or more, to `depth` plies within alpha and beta; `node_type`
// is one of NODE_PV, NODE_CUT and NODE_ALL.
int search_node(Position& pos, int side, int ply, int depth, int alpha, int beta, int node_type,
                Move* pv);

// The same from the moves alone: the node's entry is filled, its static value decides nothing.
int search_moves(Position& pos, int side, int ply, int depth, int alpha, int beta, int in_check,
                 int node_type, Move* pv);

// The same with captures and checks alone. Takes the static value from the ply's stack entry; the
// side to move is not in check. Called at depth 0 and below, and at positive depth for a node far
// below alpha.
int quiesce(Position& pos, int side, int ply, int depth, int alpha, int beta, int node_type,
            Move* pv);

// Sets EngineState::crowded on a board that no game can bring, of more than nine queens a side or
// more than 218 moves: its first iteration could take hours.
void note_crowd(const Position& pos);

// Tells whether a move loses material: the mover is worth more than what stands on the target
// square, the move is not en passant, and the exchange gives less than -70.
bool loses_exchange(const Position& pos, int side, const MoveEntry& entry);

// Copies a child's line behind the move at `ply`: from index ply + 1 to its ending 0, at most to
// index 69.
void copy_line(Move* pv, const Move* child, int ply);
