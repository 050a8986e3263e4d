#include "search/search.h"

#include <algorithm>

#include "base/platform.h"
#include "board/attack.h"
#include "board/classify.h"
#include "board/draw.h"
#include "board/legal.h"
#include "board/make.h"
#include "board/see.h"
#include "eval/evaluate.h"
#include "search/hash.h"
#include "search/movepick.h"
#include "search/ordering.h"
#include "search/selectivity.h"
#include "search/thread.h"
#include "search/timing.h"
#include "search/trace.h"
#include "syzygy/tbprobe.h"

// Values for the comparison of mover and victim, by piece type, in pawns.
//                                     -  P  N  B  R   Q   K  -
static constexpr int ROUGH_VALUE[8] = {0, 1, 3, 3, 5, 10, 99, 0};

bool loses_exchange(const Position& pos, int side, const MoveEntry& entry) {
    constexpr int LOSING = -70;
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

static bool stopped() { return relaxed(engine.stop) != 0; }

// Holds the thread to target_nps by sleeping.
static void throttle(const SearchThread& thread) {
    while (relaxed(engine.iteration_depth) >= 2 && !stopped()) {
        float speed =
            static_cast<float>(relaxed(thread.nodes)) / (relaxed(engine.elapsed) + 0.0001f);
        if (speed <= engine.target_nps) return;
        sleep_ms(1);
        check_time();
    }
}

// Resets what a node owns of its stack entry, and the killers of the plies below it.
static void enter_node(SearchThread& thread, int ply, int depth, int alpha, int beta,
                       int node_type) {
    SearchStackEntry& entry = thread.stack[ply];
    entry.node_type = static_cast<int16_t>(node_type);
    entry.depth = static_cast<int16_t>(depth);
    entry.alpha = static_cast<int16_t>(alpha);
    entry.beta = static_cast<int16_t>(beta);
    entry.static_eval = 0;
    entry.reduction = 0;
    entry.in_iid = 0;
    entry.from_futility = 0;
    entry.threat_pressure[0] = entry.threat_pressure[1] = 0;
    entry.move_count = 0;
    entry.hash_move = NULL_MOVE;
    entry.tb_result = -1;

    SearchStackEntry& below = thread.stack[ply + 1];
    below.killer1 = below.killer2 = below.evasion_killer = NULL_MOVE;
}

// One ply more for checks, for the exchange into a pawn ending, and at the horizon for pawns that
// are about to promote.
static int extension(const Position& pos, const SearchThread& thread, int side, int ply, int depth,
                     int in_check) {
    if (in_check) return 1;
    if (pos.material[side] == 0
        && thread.line.undo_stack[thread.line.undo_index - 1].captured > PAWN)
        return 1;
    return (thread.stack[ply - 1].move_class & CLASS_PAWN) && depth <= 2;
}

namespace {

// What the hash table knows of a node; all 0 after a miss.
struct HashView {
    int depth;
    bool low;  // the stored value says: not above alpha
    bool high; // the stored value says: not below beta
};

} // namespace

// A score read from the table, as it counts at this node.
static int score_from_hash(const HashRecord& record, int ply, int halfmoves) {
    int score = record.score;
    if (score < MATE_LOW) return score + ply;
    if (score > MATE_HIGH) return score - ply;
    // A stored score fades in step with the static evaluation as the fifty-move counter runs on.
    int passed = halfmoves - record.fifty;
    return passed > 0 ? score - passed * score / 256 : score;
}

static HashView probe_node(Position& pos, SearchThread& thread, int ply, int alpha, int beta) {
    HashView view = {};
    SearchStackEntry& entry = thread.stack[ply];
    count(thread.hash_probes);
    HashRecord record = {};
    record.depth = HASH_MISS;
    if (engine.hash_enabled) hash_probe(pos, record);
    if (record.depth < 0) return view;

    count(thread.hash_hits);
    entry.hash_move = record.move;
    int score = score_from_hash(record, ply, pos.halfmoves);
    view.depth = record.depth;
    view.low = score <= alpha && record.type != BOUND_LOWER;
    view.high = score >= beta && record.type != BOUND_UPPER;
    return view;
}

// Uses a table result at a node. Returns true if it decides the node, whose value is then in
// `value`.
static bool tables_decide(SearchThread& thread, int ply, int result, int alpha, int beta,
                          int& value) {
    constexpr int DECIDED_BY_REPLY = 6;
    SearchStackEntry& entry = thread.stack[ply];
    int parent = thread.stack[ply - 1].tb_result;
    if (parent == -1) { // the first proven node on the path
        value = result == 0 ? ply + TB_LOSS : result == 4 ? TB_WIN - ply : 0;
        if (value <= alpha) {
            entry.beta = static_cast<int16_t>(value);
            value = alpha;
            return true;
        }
        entry.alpha = static_cast<int16_t>(value);
        if (value < beta) entry.beta = static_cast<int16_t>(value);
        return true;
    }
    // The move into this node has thrown away the parent's proven outcome.
    if (result >= DECIDED_BY_REPLY - parent) {
        value = beta;
        return true;
    }
    return false;
}

// Own pieces whose loss would bring the static value below beta, by what is left above it.
static Bitboard pieces_at_stake(const Position& pos, int side, int eval, int beta) {
    const Bitboard* own = pos.pieces[side];
    Bitboard stake = own[QUEEN];
    if (eval <= beta + 99) stake |= own[PAWN];
    if (eval <= beta + 299) stake |= own[KNIGHT] | own[BISHOP];
    if (eval <= beta + 499) stake |= own[ROOK];
    return stake;
}

// Tells whether a static value above beta by the margin stands up to the opponent's threats. The
// hand-crafted evaluation has weighed them; after the network they are looked for on the board.
static bool static_value_holds(const Position& pos, int side, int eval, int beta) {
    constexpr int PASSER_THREAT = 350;
    if (!relaxed(shell.use_nn)) return true;

    int them = side ^ 1;
    Bitboard pawns =
        pos.pieces[them][PAWN] & (second_to_last_rank[them] | third_to_last_rank[them]);
    Bitboard runners = step_forward(them, pawns) & ~occupied(pos);
    if (beta > eval - PASSER_THREAT * pop_count(runners)) return false;

    for (Bitboard stake = pieces_at_stake(pos, side, eval, beta); stake;)
        if (beta > eval - see(pos, them, NO_SQUARE, pop_lowest(stake))) return false;
    return true;
}

static int null_reduction(const Position& pos, int side, int depth) {
    constexpr int FEW_PIECES = 3; // phase units
    if (depth <= 3) return 2;
    if (depth <= 9) return 3;
    return pos.material[side] <= FEW_PIECES ? 3 : 4;
}

// The value of passing, from the node's own view.
static int search_null_move(Position& pos, SearchThread& thread, int side, int ply, int depth,
                            int alpha, int beta, Move* pv) {
    SearchStackEntry& entry = thread.stack[ply];
    int reduction = null_reduction(pos, side, depth);
    entry.reduction = static_cast<int8_t>(reduction);
    entry.move_count = 0;
    entry.move_class = 0;

    // A list of its own with nothing but the null move, so that children find no previous move.
    MoveEntry* dummy = entry.move_list;
    dummy[0] = {};
    dummy[1].move = LIST_END;
    entry.current_move = dummy;
    thread.stack[ply + 1].move_list = dummy + 2;
    thread.stack[ply + 2].move_list = dummy + 3;

    make_null_move(pos);
    int value =
        -search_node(pos, side ^ 1, ply + 1, depth - reduction - 1, -beta, -alpha, NODE_ALL, pv);
    unmake_null_move(pos);
    entry.reduction = 0;
    return value;
}

int search_node(Position& pos, int side, int ply, int depth, int alpha, int beta, int node_type,
                Move* pv) {
    SearchThread& thread = thread_of(pos);
    SearchStackEntry& entry = thread.stack[ply];

    // 1. Count, hold the speed, look at the limits.
    count(thread.nodes);
    if (engine.nps_throttle) throttle(thread);
    if (relaxed(thread.nodes) > thread.node_limit && relaxed(thread.completed_depth) >= 2)
        set_relaxed(engine.stop, 1);
    if (stopped()) return 0;
    if (ply > thread.seldepth) thread.seldepth = static_cast<int8_t>(ply);
    if (pos.key == shell.tag_key) print_stack_dump(pos, ply);

    // 2. No line is better than the fastest mate from here, or worse than being mated here.
    int a = std::max(alpha, ply - MATE_VALUE), b = std::min(beta, MATE_VALUE - 1 - ply);
    if (a >= b) return a;

    // 3. The node's own state. The bucket is on its way while check and draws are tested.
    if (depth >= 0) hash_prefetch(pos.key);
    prefetch_eval(thread);
    enter_node(thread, ply, depth, a, b, node_type);
    pv[ply] = pv[ply + 1] = NULL_MOVE;
    int checker = find_checker(pos, side);
    int in_check = checker != NO_SQUARE;
    entry.checker_square = static_cast<uint8_t>(checker);
    entry.in_check = static_cast<uint16_t>(in_check);
    if (is_draw(pos, ply)) return 0;
    if (ply > LAST_PLY) return in_check ? 0 : Evaluate(thread, side, ply, in_check);

    // 4. Extensions.
    depth += extension(pos, thread, side, ply, depth, in_check);
    entry.depth = static_cast<int16_t>(depth);

    // 5. Hash table, for nodes that are not below the horizon.
    HashView hash = {};
    if (depth >= 0) {
        hash = probe_node(pos, thread, ply, a, b);
        if (depth <= hash.depth && node_type != NODE_PV && pos.halfmoves + hash.depth < 100) {
            if (hash.low) return a;
            if (hash.high) return b;
        }
    }

    // 6. Endgame tables.
    if (tb_largest > 0 && (pos.halfmoves == 0 || thread.stack[ply - 1].tb_result != -1)) {
        int result = tb_probe(pos, depth);
        entry.tb_result = result;
        if (result != -1) {
            int value = 0;
            count(thread.tb_hits);
            if (tables_decide(thread, ply, result, a, b, value)) return value;
        }
    }

    // 7. Static value. In check there is none, and nothing is pruned.
    int eval = Evaluate(thread, side, ply, in_check);
    entry.static_eval = static_cast<int16_t>(eval);
    if (in_check) return search_moves(pos, side, ply, depth, a, b, 1, node_type, pv);
    if (depth <= 0) return quiesce(pos, side, ply, depth, a, b, node_type, pv);

    // 8. FP: far below alpha only captures and checks can help.
    if (depth <= FP_depth && eval <= a - fp_margins[margin_index(depth)] && !hash.high
        && a <= MATE_HIGH && node_type != NODE_PV) {
        entry.from_futility = 1;
        return std::clamp(quiesce(pos, side, ply, depth, a, b, node_type, pv), a, b);
    }

    // 9. SEP and NMP: far above beta, at an expected cut node, with pieces and pawns left.
    constexpr int PAWN_UNIT = 100, PIECE_UNIT = 128, BALANCE_MARGIN = 150;
    int them = side ^ 1;
    int balance = PAWN_UNIT * (pawn_count(pos, side) - pawn_count(pos, them))
                + PIECE_UNIT * (pos.material[side] - pos.material[them]);
    if (eval >= b + BP_margin && balance >= b - BALANCE_MARGIN && node_type == NODE_CUT && !hash.low
        && b >= MATE_LOW && pos.material[side] > 0 && pawn_count(pos, side) > 0) {
        if (depth <= SEP_depth
            && eval - entry.threat_pressure[side] >= b + sep_margins[margin_index(depth)]
            && static_value_holds(pos, side, eval, b))
            return b;

        constexpr int CUT_DEPTH = 5; // deeper, a null cut only takes depth away
        if (depth >= NMP_depth && thread.stack[ply - 1].current_move->move != NULL_MOVE
            && thread.stack[ply - 2].current_move->move != NULL_MOVE) {
            int value = search_null_move(pos, thread, side, ply, depth, a, b, pv);
            if (stopped()) return 0;
            if (value >= b) {
                if (depth <= CUT_DEPTH) return b;
                depth -= CUT_DEPTH;
            }
        }
    }

    // 10. Internal deepening, where the table's entry is missing or too shallow.
    int threshold = node_type == NODE_PV ? depth - 3 : depth < 9 ? depth - 4 : depth - 5;
    if (hash.depth < threshold) {
        entry.in_iid = 1;
        search_moves(pos, side, ply, threshold, a, b, 0, node_type, pv);
        entry.in_iid = 0;
        if (stopped()) return 0;
        entry.hash_move = pv[ply];
    }
    return search_moves(pos, side, ply, depth, a, b, 0, node_type, pv);
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

// LMP, losing-move pruning and LMR: what becomes of a move once the node has a score that is not
// lost. With REDUCE the plies are in `reduction`.
static LateMove judge_late_move(Position& pos, SearchStackEntry& entry, int side, int depth,
                                bool prune, const MoveEntry& move, int& reduction) {
    const bool special = entry.move_class & CLASS_SPECIAL;
    int losing = -1; // not asked yet

    if (prune && !(special && depth > 1)) {
        if (!special && entry.move_count >= move.score / 4 + lmp_counts[margin_index(depth)]
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
        if (depth > 0) hash_prefetch(likely_key_after(pos, *move));
        if (!legal_move_knowing(pos, side, move->move, in_check)) continue;
        entry.move_class = static_cast<uint16_t>(classify_move(pos, side, *move));
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
