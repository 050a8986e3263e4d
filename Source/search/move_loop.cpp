#include <algorithm>

#include "board/attack.h"
#include "board/classify.h"
#include "board/legal.h"
#include "board/make.h"
#include "board/see.h"
#include "eval/evaluate.h"
#include "search/hash.h"
#include "search/movepick.h"
#include "search/ordering.h"
#include "search/search.h"
#include "search/selectivity.h"
#include "search/thread.h"

// Values for the comparison of mover and victim, by piece type, in pawns.
//                                     -  P  N  B  R   Q   K  -
static constexpr int ROUGH_VALUE[8] = {0, 1, 3, 3, 5, 10, 99, 0};

bool loses_exchange(const Position& pos, int side, const MoveEntry& entry) {
    constexpr int LOSING = -70; // units of the exchange
    int mover = type_of(entry.mover), to = move_to(entry.move);
    if (ROUGH_VALUE[mover] <= ROUGH_VALUE[type_of(pos.board[to])]) return false;
    if (is_ep_square(pos, mover, to)) return false;
    return see(pos, side, move_from(entry.move), to) < LOSING;
}

void copy_line(Move* pv, const Move* child, int ply) {
    for (int i = ply + 1; i < PLY_SLOTS; i++) {
        pv[i] = child[i];
        if (child[i] == NULL_MOVE) break;
    }
}

// Tells whether a slider going to `to` newly attacks one of `victims` with a free way.
static bool attacks_on_new_line(const Position& pos, const Bitboard* rays, int from, int to,
                                Bitboard victims) {
    Bitboard occ = occupied(pos);
    for (Bitboard set = victims & rays[to] & ~rays[from]; set;)
        if (!(between[to][pop_lowest(set)] & occ)) return true;
    return false;
}

// Tells whether a quiet move that comes late is kept because it attacks something. Asked on the
// board as it stands before the move.
static bool attacks_something(Position& pos, int side, const MoveEntry& move) {
    int from = move_from(move.move), to = move_to(move.move);
    int type = type_of(move.mover), them = side ^ 1;
    const Bitboard* enemy = pos.pieces[them];
    Bitboard zone = king_attacks[pos.king_square[them]];
    Bitboard heavy = enemy[ROOK] | enemy[QUEEN];
    switch (type) {
    case PAWN: return pawn_attacks[side][to] & (enemy[KNIGHT] | enemy[BISHOP] | heavy | zone);
    case KNIGHT: return knight_attacks[to] & (heavy | zone);
    case BISHOP:
        if (attacks_on_new_line(pos, bishop_rays, from, to, heavy)) return true;
        break;
    case ROOK:
        if (attacks_on_new_line(pos, rook_rays, from, to, enemy[QUEEN])) return true;
        break;
    case QUEEN: break;
    default: return false;
    }
    return discovers_support(pos, type, from, to, zone);
}

namespace {

enum class LateMove { DROP, FULL_DEPTH, REDUCE };

} // namespace

// Late move pruning, pruning of losing moves and late move reductions: what becomes of a move once
// the node has a score that is not lost. With REDUCE the plies are in `reduction`.
static LateMove judge_late_move(Position& pos, SearchStackEntry& entry, int side, int depth,
                                bool prune, const MoveEntry& move, int& reduction) {
    constexpr int SCORE_POINTS = 4; // of a move's score make it come one move earlier
    const bool special = entry.move_class & CLASS_SPECIAL;
    int losing = -1; // not asked yet

    if (prune && !(special && depth > 1)) {
        if (!special
            && entry.move_count >= move.score / SCORE_POINTS + lmp_counts[margin_index(depth)]
            && !attacks_something(pos, side, move))
            return LateMove::DROP;
        losing = loses_exchange(pos, side, move);
        if (losing) return LateMove::DROP;
    }
    if (depth < LMR_depth) return LateMove::FULL_DEPTH;

    // A well-scored move is treated as the second move of the node.
    constexpr int LAST_ROW = 30, LAST_COLUMN = 30, WELL_SCORED = 30;
    int column = 1, row = std::min(depth, LAST_ROW);
    if (!special && move.score < 2 * entry.move_count + WELL_SCORED)
        column = std::min<int>(entry.move_count, LAST_COLUMN);

    row = std::max(row, 0);
    reduction = entry.node_type == NODE_PV ? lmr_table[row][column] : lmr_table_nonpv[row][column];
    if (losing < 0) losing = loses_exchange(pos, side, move);
    if (losing) reduction++;
    if (reduction >= row) reduction = row - 1;
    return LateMove::REDUCE;
}

int search_moves(Position& pos, int side, int ply, int depth, int alpha, int beta, int in_check,
                 int node_type, Move* pv) {
    SearchThread& thread = thread_of(pos);
    SearchStackEntry& entry = thread.stack[ply];
    Move child_pv[PLY_SLOTS];
    child_pv[ply + 1] = NULL_MOVE;

    pv[ply] = NULL_MOVE;
    const bool prune = depth <= LMP_depth && !in_check && !entry.in_iid && node_type != NODE_PV;
    entry.move_count = 0;
    entry.stage = PICK_SEARCH;

    int best = -INFINITE_SCORE, low = alpha;
    Move best_move = NULL_MOVE;
    bool hash_move_seen = false, cut = false;

    while (MoveEntry* move = next_move(pos)) {
        entry.current_move = move;

        // 1. The hash move comes a second time with its own kind.
        if (move->move == entry.hash_move) {
            if (hash_move_seen) continue;
            hash_move_seen = true;
        }
        const uint64_t likely_key = likely_key_after(pos, *move);
        if (depth > 0) hash_prefetch(likely_key);
        prefetch_eval(thread, likely_key, side ^ 1);
        if (!legal_move_knowing(pos, side, move->move, in_check)) continue;
        entry.move_class = static_cast<uint16_t>(classify_move(pos, side, *move));
        entry.gives_no_check = surely_gives_no_check(pos, *move, entry.move_class);
        entry.reduction = 0;

        // 2. Nothing is pruned or reduced while the node has only proven a loss.
        int reduction = 0;
        if (best >= MATE_LOW) {
            if (judge_late_move(pos, entry, side, depth, prune, *move, reduction) == LateMove::DROP)
                continue;
            entry.reduction = static_cast<int8_t>(reduction);
        }

        // 3. The first move gets the full window, the others a scout and then the window.
        const bool quiet = !(entry.move_class & CLASS_CAPTURE);
        int value;
        make_move(pos, move->move);
        if (entry.move_count == 0 || depth <= 1) {
            value =
                -search_node(pos, side ^ 1, ply + 1, depth - 1, -beta, -low, -node_type, child_pv);
        } else {
            value = -search_node(pos, side ^ 1, ply + 1, depth - reduction - 1, -low - 1, -low,
                                 NODE_CUT, child_pv);
            if (value > low) {
                entry.reduction = 0;
                int child_type = node_type == NODE_PV ? NODE_PV : NODE_ALL;
                value = -search_node(pos, side ^ 1, ply + 1, depth - 1, -beta, -low, child_type,
                                     child_pv);
            }
        }
        unmake_move(pos);
        if (stopped()) return 0;
        entry.move_count++;

        // 4. Learn, and keep the best.
        if (quiet && depth > 0) learn_quiet_move(thread, ply, depth, value, low);
        if (value <= best) continue;
        best = value;
        best_move = move->move;
        pv[ply] = best_move;
        pv[ply + 1] = NULL_MOVE;
        if (value <= low) continue;
        if (value >= beta) {
            cut = true;
            break;
        }
        copy_line(pv, child_pv, ply);
        low = value;
    }

    // 5. Without a move it is mate or stalemate, and that is exact.
    int store_alpha = alpha, store_beta = beta;
    if (!cut && best_move == NULL_MOVE) {
        best = in_check ? ply - MATE_VALUE : 0;
        store_alpha = -INFINITE_SCORE;
        store_beta = INFINITE_SCORE;
    }
    if (depth >= 0) hash_store(pos, ply, depth, best_move, best, store_alpha, store_beta);
    return best;
}
