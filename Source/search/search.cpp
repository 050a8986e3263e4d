#include "search/search.h"

#include <algorithm>

#include "base/platform.h"
#include "board/attack.h"
#include "board/classify.h"
#include "board/draw.h"
#include "board/make.h"
#include "board/see.h"
#include "eval/evaluate.h"
#include "search/hash.h"
#include "search/selectivity.h"
#include "search/thread.h"
#include "search/timing.h"
#include "search/trace.h"
#include "syzygy/tbprobe.h"

// Holds the thread to target_nps by sleeping, from the second iteration on.
static void throttle(const SearchThread& thread) {
    constexpr float NO_TIME = 0.0001f; // seconds, so that the first division has a divisor
    while (relaxed(engine.iteration_depth) >= 2 && !stopped()) {
        float speed =
            static_cast<float>(relaxed(thread.nodes)) / (relaxed(engine.elapsed) + NO_TIME);
        if (speed <= engine.target_nps) return;
        sleep_ms(1);
        check_time();
    }
}

// Never inlined: a node would carry the list on its stack.
[[gnu::noinline]] void note_crowd(const Position& pos) {
    constexpr int MOST_QUEENS = 9, MOST_MOVES = 218; // of one side
    MoveEntry list[LONGEST_LIST];
    if (std::max(pop_count(pos.pieces[WHITE][QUEEN]), pop_count(pos.pieces[BLACK][QUEEN]))
            > MOST_QUEENS
        || gen_list(pos, list) - list > MOST_MOVES)
        set_relaxed(engine.crowded, 1);
}

constexpr int CERTAIN = 2; // iterations after which a result is certain

// Looks at some nodes of the first iterations.
static void look_for_crowd(const SearchThread& thread) {
    constexpr uint64_t LOOK_MASK = 15; // nodes: a look may take as long as a node
    if ((relaxed(thread.nodes) & LOOK_MASK) == 0) note_crowd(thread.position);
}

// The strict protocol: a limit of nodes is one for all threads together and holds from the first
// node on, and thread 0 looks at the clock. Sets the number of nodes for the next look.
static void look_at_limits(SearchThread& thread) {
    constexpr uint64_t LOOK_NODES = 256; // a fifth of a millisecond
    if (stopped()) {
        set_relaxed(thread.nodes, relaxed(thread.nodes) - 1); // on the way out nothing counts
        return;
    }
    uint64_t left = LOOK_NODES;
    if (engine.max_nodes) {
        uint64_t total = 0, threads = 0;
        for (auto& slot : search_threads) {
            const SearchThread* peer = slot.load(std::memory_order_acquire);
            if (!peer) continue;
            total += relaxed(peer->nodes);
            threads++;
        }
        if (total >= engine.max_nodes) {
            set_relaxed(engine.stop, 1);
            return;
        }
        left = std::min(left, (engine.max_nodes - total + threads - 1) / threads);
    }
    if (thread.thread_index == 0) check_time();
    thread.node_limit = relaxed(thread.nodes) + left - 1;
}

// What happens at the thread's node limit. As it has always been, before a result is certain no
// node limit ends the search but on a crowded board.
[[gnu::noinline]] static void reach_node_limit(SearchThread& thread) {
    if (strict_protocol()) look_at_limits(thread);
    else if (relaxed(thread.completed_depth) >= CERTAIN || relaxed(engine.crowded))
        set_relaxed(engine.stop, 1);
}

// Counts the node, holds the speed and looks at the limits. Returns true if the search is over.
static bool count_node(SearchThread& thread) {
    count(thread.nodes);
    if (engine.nps_throttle) throttle(thread);
    if (relaxed(thread.completed_depth) < CERTAIN) look_for_crowd(thread);
    if (relaxed(thread.nodes) > thread.node_limit) reach_node_limit(thread);
    return stopped();
}

// Resets what a node owns of its stack entry, and the killers of the plies below it.
static void enter_node(SearchThread& thread, int ply, int alpha, int beta, int node_type) {
    SearchStackEntry& entry = thread.stack[ply];
    entry.node_type = static_cast<int16_t>(node_type);
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
    constexpr int NEAR_HORIZON = 2;
    if (in_check) return 1;
    if (pos.material[side] == 0
        && thread.line.undo_stack[thread.line.undo_index - 1].captured > PAWN)
        return 1;
    return (thread.stack[ply - 1].move_class & CLASS_PAWN) && depth <= NEAR_HORIZON;
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
    constexpr int FADING = 256; // plies until nothing would be left
    int score = record.score;
    if (score < MATE_LOW) return score + ply;
    if (score > MATE_HIGH) return score - ply;
    // A stored score fades in step with the static evaluation as the fifty-move counter runs on.
    int passed = halfmoves - record.fifty;
    return passed > 0 ? score - passed * score / FADING : score;
}

// Looks the node up in the transposition table and takes its move.
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

// Tells whether the table's value may stand for a search of the node. Near the fifty-move limit it
// may not: it was stored with another count.
static bool hash_decides(const Position& pos, const HashView& hash, int depth, int node_type) {
    return depth <= hash.depth && node_type != NODE_PV && pos.halfmoves + hash.depth < FIFTY_MOVES
        && (hash.low || hash.high);
}

// Uses an endgame table's result at a node. Returns true if it decides the node, whose value is
// then in `value`.
static bool result_decides(SearchThread& thread, int ply, int result, int alpha, int beta,
                           int& value) {
    constexpr int DECIDED_BY_REPLY = 6; // sum of results from which one side has lost its own
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

// Asks the endgame tables about a node, where the fifty-move counter lets them answer or the
// parent was in them. Returns true if they decide it, with the value in `value`.
static bool tables_decide(Position& pos, SearchThread& thread, int ply, int depth, int alpha,
                          int beta, int& value) {
    if (tb_largest == 0) return false;
    if (pos.halfmoves != 0 && thread.stack[ply - 1].tb_result == -1) return false;
    int result = tb_probe(pos, depth);
    thread.stack[ply].tb_result = result;
    if (result == -1) return false;
    count(thread.tb_hits);
    return result_decides(thread, ply, result, alpha, beta, value);
}

// Futility: far below alpha only captures and checks can help.
static bool far_below_alpha(int eval, int depth, int alpha, int node_type, const HashView& hash) {
    return depth <= FP_depth && eval <= alpha - fp_margins[margin_index(depth)] && !hash.high
        && alpha <= MATE_HIGH && node_type != NODE_PV;
}

// Far above beta, at an expected cut node, with pieces and pawns left: SEP and NMP may apply.
static bool far_above_beta(const Position& pos, int side, int eval, int beta, int node_type,
                           const HashView& hash) {
    constexpr int PAWN_UNIT = 100, PIECE_UNIT = 128; // for a pawn, for a phase unit
    constexpr int BALANCE_MARGIN = 150;              // below beta: the value is no mere hope
    if (eval < beta + BP_margin || node_type != NODE_CUT || hash.low || beta < MATE_LOW)
        return false;
    int them = side ^ 1;
    int balance = PAWN_UNIT * (pawn_count(pos, side) - pawn_count(pos, them))
                + PIECE_UNIT * (pos.material[side] - pos.material[them]);
    return balance >= beta - BALANCE_MARGIN && pos.material[side] > 0 && pawn_count(pos, side) > 0;
}

// Own pieces whose loss would bring the static value below beta. Queens always count.
static Bitboard pieces_at_stake(const Position& pos, int side, int eval, int beta) {
    constexpr int PAWN_LOSS = 100, MINOR_LOSS = 300, ROOK_LOSS = 500;
    const Bitboard* own = pos.pieces[side];
    const int above = eval - beta;
    Bitboard stake = own[QUEEN];
    if (above < PAWN_LOSS) stake |= own[PAWN];
    if (above < MINOR_LOSS) stake |= own[KNIGHT] | own[BISHOP];
    if (above < ROOK_LOSS) stake |= own[ROOK];
    return stake;
}

// Tells whether a static value above beta by the margin stands up to the opponent's threats. The
// hand-crafted evaluation has weighed them; after the network they are looked for on the board.
static bool static_value_holds(const Position& pos, int side, int eval, int beta) {
    constexpr int PASSER_THREAT = 350; // units, for each pawn that may run on
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

// Plies that the null search is shallower by, beside the null move itself. With few pieces left
// passing is seldom as harmless as it looks, so that less is taken off.
static int null_reduction(const Position& pos, int side, int depth) {
    constexpr int SHALLOW = 3, MIDDLE = 9; // plies
    constexpr int FEW_PIECES = 3;          // phase units
    if (depth <= SHALLOW) return 2;
    if (depth <= MIDDLE) return 3;
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
    entry.gives_no_check = 0;

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

// NMP needs two moves in a row before it: after a null move, or one ply further, passing again
// would only search the position that the line came from.
static bool null_move_allowed(const SearchThread& thread, int ply, int depth) {
    return depth >= NMP_depth && thread.stack[ply - 1].current_move->move != NULL_MOVE
        && thread.stack[ply - 2].current_move->move != NULL_MOVE;
}

// Internal iterative deepening: the depth that a node is searched to first where the table's entry
// is missing or shallower.
static int iid_depth(int depth, int node_type) {
    constexpr int DEEP = 9;
    if (node_type == NODE_PV) return depth - 3;
    return depth < DEEP ? depth - 4 : depth - 5;
}

int search_node(Position& pos, int side, int ply, int depth, int alpha, int beta, int node_type,
                Move* pv) {
    SearchThread& thread = thread_of(pos);
    SearchStackEntry& entry = thread.stack[ply];

    // 1. Count, hold the speed, look at the limits.
    if (count_node(thread)) return 0;
    if (ply > thread.seldepth) thread.seldepth = static_cast<int8_t>(ply);
    if (pos.key == shell.tag_key) print_stack_dump(pos, ply);

    // 2. No line is better than the fastest mate from here, or worse than being mated here.
    int a = std::max(alpha, ply - MATE_VALUE), b = std::min(beta, MATE_VALUE - 1 - ply);
    if (a >= b) return a;

    // 3. The node's own state. The bucket is on its way while check and draws are tested.
    if (depth >= 0) hash_prefetch(pos.key);
    enter_node(thread, ply, a, b, node_type);
    pv[ply] = pv[ply + 1] = NULL_MOVE;
    const int checker = thread.stack[ply - 1].gives_no_check ? NO_SQUARE : find_checker(pos, side);
    const int in_check = checker != NO_SQUARE;
    entry.checker_square = static_cast<uint8_t>(checker);
    entry.in_check = static_cast<uint16_t>(in_check);
    if (is_draw(pos, ply)) return 0;
    if (ply > LAST_PLY) return in_check ? 0 : Evaluate(thread, side, ply, in_check);

    // 4. Extensions.
    depth += extension(pos, thread, side, ply, depth, in_check);
    entry.depth = static_cast<int16_t>(depth);

    // 5. Transposition table, for nodes that are not below the horizon.
    HashView hash = {};
    if (depth >= 0) {
        hash = probe_node(pos, thread, ply, a, b);
        if (hash_decides(pos, hash, depth, node_type)) return hash.low ? a : b;
    }

    // 6. Endgame tables.
    int value = 0;
    if (tables_decide(pos, thread, ply, depth, a, b, value)) return value;

    // 7. Static value. In check there is none, and nothing is pruned.
    int eval = Evaluate(thread, side, ply, in_check);
    entry.static_eval = static_cast<int16_t>(eval);
    if (in_check) return search_moves(pos, side, ply, depth, a, b, 1, node_type, pv);
    if (depth <= 0) return quiesce(pos, side, ply, depth, a, b, node_type, pv);

    // 8. FP.
    if (far_below_alpha(eval, depth, a, node_type, hash)) {
        entry.from_futility = 1;
        return std::clamp(quiesce(pos, side, ply, depth, a, b, node_type, pv), a, b);
    }

    // 9. SEP and NMP.
    if (far_above_beta(pos, side, eval, b, node_type, hash)) {
        if (depth <= SEP_depth
            && eval - entry.threat_pressure[side] >= b + sep_margins[margin_index(depth)]
            && static_value_holds(pos, side, eval, b))
            return b;

        constexpr int CUT_DEPTH = 5; // deeper, a null cut only takes depth away
        if (null_move_allowed(thread, ply, depth)) {
            value = search_null_move(pos, thread, side, ply, depth, a, b, pv);
            if (stopped()) return 0;
            if (value >= b) {
                if (depth <= CUT_DEPTH) return b;
                depth -= CUT_DEPTH;
            }
        }
    }

    // 10. Internal iterative deepening.
    const int shallower = iid_depth(depth, node_type);
    if (hash.depth < shallower) {
        entry.in_iid = 1;
        search_moves(pos, side, ply, shallower, a, b, 0, node_type, pv);
        entry.in_iid = 0;
        if (stopped()) return 0;
        entry.hash_move = pv[ply];
    }
    return search_moves(pos, side, ply, depth, a, b, 0, node_type, pv);
}
