// node_support.h: nodes at ply 2 and below that the tests of search_node and search_moves share.

#pragma once

#include "search_fixture.h"

#include "eval/evaluate.h"

// Quiet positions for White at ply 2, after Black's king move. No capture, no pawn move and no
// check but by the queen: with the fifty-move counter at 100 every child is a draw of one node.
constexpr char PIECES_FEN[] = "6k1/8/8/8/3Q4/8/1R6/K4B2 b - -";
constexpr char FEW_FEN[] = "6k1/5p2/5P2/8/8/8/8/KN3B2 b - -";

inline SearchStackEntry& current(Position& pos) { return thread_of(pos).stack[pos.owner->ply]; }

inline Position& drawing_node(const char* fen, const char* move) {
    Position& pos = node_after(fen, move);
    pos.halfmoves = 100;
    return pos;
}

inline int eval_of(Position& pos) { return Evaluate(thread_of(pos), pos.side, pos.owner->ply, 0); }

// Moves thread 0's position to another ply without any moves between.
inline void enter_ply(Position& pos, int ply) {
    SearchThread& thread = thread_of(pos);
    for (int back : {1, 2}) {
        thread.stack[ply - back].current_move = thread.stack[1].current_move;
        thread.stack[ply - back].move_class = 0;
        thread.stack[ply - back].tb_result = -1;
    }
    thread.stack[ply].move_list = thread.stack[thread.line.ply].move_list;
    thread.stack[ply].checker_square = thread.stack[thread.line.ply].checker_square;
    thread.stack[ply].in_check = thread.stack[thread.line.ply].in_check;
    thread.line.ply = static_cast<int16_t>(ply);
}

inline bool is_reached(Position& pos, Move move, int depth, int alpha, int beta, int type) {
    return reduction_of(pos, move, depth, alpha, beta, type) != NOT_REACHED;
}
