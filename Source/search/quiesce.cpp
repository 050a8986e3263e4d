#include <algorithm>

#include "board/classify.h"
#include "board/legal.h"
#include "board/make.h"
#include "board/see.h"
#include "eval/evaluate.h"
#include "search/hash.h"
#include "search/movepick.h"
#include "search/search.h"
#include "search/thread.h"

// What a move may win at most, for the comparison with alpha; the check it may give not counted.
static int optimistic_gain(const Position& pos, int side, const MoveEntry& move) {
    constexpr int LAST_PIECE = 5000; // the opponent is left with a minor piece at most
    constexpr int FAR_PAWN = 1500;   // a pawn reaches the seventh rank or promotes
    constexpr int MINOR = 3;         // phase units

    int victim = type_of(move.victim), them = side ^ 1;
    if (victim != 0) {
        int pawns = pawn_count(pos, them) - (victim == PAWN);
        int pieces = pos.material[them] - material_step[victim];
        if (pawns == 0 && pieces <= MINOR) return LAST_PIECE;
    }
    if (type_of(move.mover) == PAWN && rank_of(move_to(move.move) ^ rank_flip[side]) >= 6)
        return FAR_PAWN;
    return see_value[victim];
}

int quiesce(Position& pos, int side, int ply, int depth, int alpha, int beta, int node_type,
            Move* pv) {
    constexpr int RECAPTURE_DEPTH = -3; // deeper, only recaptures are looked at
    constexpr int MARGIN_ABOVE = 450;   // units that a move may gain beside the piece it takes: in
    constexpr int MARGIN = 150;         // place of a search, and at the horizon

    SearchThread& thread = thread_of(pos);
    SearchStackEntry& entry = thread.stack[ply];
    Move child_pv[PLY_SLOTS];
    child_pv[ply + 1] = NULL_MOVE;

    // 1. Stand pat.
    int eval = entry.static_eval;
    if (eval >= beta) return beta;
    int margin = depth > 0 ? MARGIN_ABOVE : MARGIN;
    int kept_alpha = std::max(alpha, eval), best = kept_alpha;
    Move best_move = NULL_MOVE;

    entry.move_count = 0;
    entry.move_class = 0; // moves of quiescence have no class
    entry.gives_no_check = 0;
    entry.stage = static_cast<uint16_t>(depth >= 0 ? PICK_CHECKS : PICK_CAPTURES);

    while (MoveEntry* move = next_move(pos)) {
        entry.current_move = move;
        int mover = type_of(move->mover), to = move_to(move->move);
        if (depth < RECAPTURE_DEPTH && to != move_to(thread.line.last_move)) continue;

        // 2. Moves that can't reach alpha, unless they give check, and moves that lose material.
        if (optimistic_gain(pos, side, *move) + eval <= best - margin
            && !gives_check(pos, side, move->move, mover))
            continue;
        prefetch_eval(thread, likely_key_after(pos, *move), side ^ 1);
        if (loses_exchange(pos, side, *move)) continue;
        if (!legal_move_knowing(pos, side, move->move, 0)) continue;

        make_move(pos, move->move);
        int value =
            -search_node(pos, side ^ 1, ply + 1, depth - 1, -beta, -best, -node_type, child_pv);
        unmake_move(pos);
        if (stopped()) return 0;
        entry.move_count++;

        if (value <= best) continue;
        best = value;
        best_move = move->move;
        pv[ply] = best_move;
        pv[ply + 1] = NULL_MOVE;
        if (value >= beta) break;
        copy_line(pv, child_pv, ply);
    }
    if (depth >= 0 && best >= beta) hash_store(pos, ply, depth, best_move, best, kept_alpha, beta);
    return best;
}
