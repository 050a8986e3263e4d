#include "search/driver.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "base/lock.h"
#include "base/platform.h"
#include "board/attack.h"
#include "board/classify.h"
#include "board/legal.h"
#include "board/make.h"
#include "board/see.h"
#include "eval/evaluate.h"
#include "search/hash.h"
#include "search/info.h"
#include "search/line_end.h"
#include "search/movepick.h"
#include "search/ordering.h"
#include "search/pool.h"
#include "search/root_lines.h"
#include "search/search.h"
#include "search/selectivity.h"
#include "search/thread.h"
#include "syzygy/tbprobe.h"

void publish_result(SearchThread& thread) {
    if (strict_protocol()) end_line(thread.position, thread.pv, relaxed(thread.score));
    int depth = relaxed(thread.completed_depth), score = relaxed(thread.score);
    if (thread.pv[1] != engine.pv[1]) set_relaxed(engine.best_move_depth, depth);
    set_relaxed(engine.best_score, score);
    set_relaxed(engine.result_depth, depth);
    memcpy(engine.pv, thread.pv, sizeof engine.pv);
    int slot = std::min(depth, PLY_SLOTS - 1); // a table result counts as depth 99
    set_relaxed(engine.iteration_score[slot], score);
    set_relaxed(engine.iteration_move[slot], thread.pv[1]);
    if (depth >= 2 && engine.multipv == 1) report_line(0, 0, depth, score, thread.pv);
}

static void look_for_check(SearchThread& thread) {
    SearchStackEntry& root = thread.stack[1];
    int checker = find_checker(thread.position, thread.position.side);
    root.checker_square = static_cast<uint8_t>(checker);
    root.in_check = checker != NO_SQUARE;
}

static void reset_root_stack(SearchThread& thread) {
    for (auto& entry : thread.stack) {
        entry.hash_move = NULL_MOVE;
        entry.killer1 = entry.killer2 = entry.evasion_killer = NULL_MOVE;
    }
    SearchStackEntry& root = thread.stack[1];
    MoveEntry* move_list = root.move_list;
    MoveEntry* current_move = root.current_move;
    root = {};
    root.move_list = move_list;
    root.current_move = current_move;
    root.node_type = NODE_PV;
    root.alpha = -INFINITE_SCORE;
    root.beta = INFINITE_SCORE;
    root.checker_square = NO_SQUARE;
    root.tb_result = -1;
}

// The static value of the root. Each thread asks for its own: it fills the caches that the search
// goes on with.
static void evaluate_root(SearchThread& thread) {
    look_for_check(thread);
    SearchStackEntry& root = thread.stack[1];
    int eval = Evaluate(thread, thread.position.side, 1, root.in_check);
    root.static_eval = static_cast<int16_t>(eval);
    thread.stack[0].static_eval = static_cast<int16_t>(-eval);
    thread.root_eval = static_cast<int16_t>(eval);
    set_relaxed(thread.score, eval);
}

// What each thread prepares for itself.
static void prepare_thread(SearchThread& thread) {
    reset_root_stack(thread);
    reset_ordering(thread);
    thread.seed = static_cast<uint32_t>(random_number());
    evaluate_root(thread);
}

// Looks at the captures and checks of the root. Nobody reads the value, but the line is the answer
// of a search to depth 0, and the nodes count and fill the hash table: the node total of every
// search depends on it.
static void search_quiet_root(SearchThread& thread) {
    if (thread.stack[1].in_check) return;
    Position& pos = thread.position;
    quiesce(pos, pos.side, 1, 0, -INFINITE_SCORE, INFINITE_SCORE, NODE_PV, thread.pv);
}

// What thread 0 prepares for all, before the helpers begin.
static void prepare_search_for_all(SearchThread& thread) {
    build_search_tables();
    set_relaxed(engine.best_score, thread.root_eval);
    note_crowd(thread.position);
    search_quiet_root(thread);
    set_relaxed(engine.root_wdl, -1);
}

static bool legal_root_move(const Position& pos, Move move) {
    return legal_by_rules(pos, pos.side, move);
}

// Tells whether the search is to look at a root move: all of them, but for `searchmoves`.
static bool wanted_root_move(Move move) {
    const uint16_t* only = engine.only_moves;
    if (*only == 0) return true;
    while (*only != 0 && *only != move) only++;
    return *only != 0;
}

// Generates the root moves and drops illegal and unwanted ones in place. Returns their number.
static int build_root_moves(SearchThread& thread) {
    Position& pos = thread.position;
    gen_all(pos);
    MoveEntry* kept = thread.stack[1].move_list;
    for (const MoveEntry* entry = kept; entry->move != LIST_END; entry++)
        if (wanted_root_move(entry->move) && legal_root_move(pos, entry->move)) *kept++ = *entry;
    kept->move = LIST_END;
    return static_cast<int>(kept - thread.stack[1].move_list);
}

static void score_root_moves(SearchThread& thread) {
    constexpr int HASH_MOVE = 255, KILLER_1 = 60, KILLER_2 = 50, PROMOTION = 60;
    constexpr int LOSING = -50;    // an exchange that gives less is a losing capture
    constexpr int LOSING_BASE = 4; // places it among the quiet moves

    const Position& pos = thread.position;
    const SearchStackEntry& root = thread.stack[1];
    for (MoveEntry* entry = root.move_list; entry->move != LIST_END; entry++) {
        int move = entry->move, mover = type_of(entry->mover), victim = type_of(entry->victim);
        int from = move_from(entry->move), to = move_to(entry->move), score;
        if (move == root.hash_move) {
            score = HASH_MOVE;
        } else if (victim || is_ep_square(pos, mover, to)) {
            score = capture_value[victim] - mover;
            if (see(pos, pos.side, from, to) < LOSING) score = victim + LOSING_BASE;
        } else {
            score = thread.history[history_index(entry->mover, to)] / HISTORY_STEP;
            if (move == root.killer1) score += KILLER_1;
            else if (move == root.killer2) score += KILLER_2;
            if (mover == PAWN && (move & FLAG_MASK)) score += PROMOTION;
        }
        entry->score = static_cast<int16_t>(score);
    }
}

// Ends the search at once with the thread's score and, maybe, a move.
static void finish_at_root(SearchThread& thread, int score, int completed_depth) {
    set_relaxed(thread.score, score);
    set_relaxed(thread.current_depth, 1);
    set_relaxed(thread.completed_depth, completed_depth);
    thread.seldepth = static_cast<int8_t>(completed_depth);
    publish_result(thread);
    set_relaxed(engine.stop, 1);
}

// Drops root moves that give the proven result away. The list stays as it is if the tables keep
// none of it.
static void keep_table_moves(SearchThread& thread) {
    auto keeps_result = [](Move move) {
        const Move* kept = tb_root_moves;
        while (*kept != NULL_MOVE && *kept != move) kept++;
        return *kept != NULL_MOVE;
    };
    MoveEntry* out = thread.stack[1].move_list;
    bool any = false;
    for (const MoveEntry* entry = out; entry->move != LIST_END; entry++)
        any = any || keeps_result(entry->move);
    if (!any) return;
    for (const MoveEntry* entry = out; entry->move != LIST_END; entry++)
        if (keeps_result(entry->move)) *out++ = *entry;
    out->move = LIST_END;
}

// Asks the endgame tables about the root. Returns true if they name the move to play and the
// fifty-move counter leaves no time to search for a better one.
static bool tables_play(SearchThread& thread) {
    constexpr int TB_DEPTH = 70;        // as if a whole search stood above the probe
    constexpr int TB_RESULT_DEPTH = 99; // told as the depth of a result without a search
    constexpr int PATIENCE = 9;         // plies of the counter that leave time to search

    Position& pos = thread.position;
    unsigned root_class = 0, dtz = 0;
    Move move = NULL_MOVE;
    int probed = tb_probe_root(pos, &root_class, &dtz, &move);
    int result = probed == -1 ? tb_probe(pos, TB_DEPTH) : probed;
    set_relaxed(engine.root_wdl, result);

    if (probed == -1) return false;
    keep_table_moves(thread);
    if (pos.halfmoves <= PATIENCE || !legal_root_move(pos, move) || !wanted_root_move(move))
        return false;
    thread.pv[1] = move;
    thread.pv[2] = NULL_MOVE;
    count(thread.tb_hits);
    finish_at_root(thread, result == 4 ? TB_WIN - 1 : result == 0 ? -TB_WIN : 0, TB_RESULT_DEPTH);
    return true;
}

// Tells whether thread 0 has a root to search. If not, the result is published and `stop` set.
static bool master_has_a_search(SearchThread& thread, int moves) {
    const bool in_check = thread.stack[1].in_check;
    if (moves == 0) {
        thread.pv[1] = NULL_MOVE;
        finish_at_root(thread, in_check ? NO_EVAL : 0, 1);
        return false;
    }
    if (engine.max_depth < 1) {
        if (engine.max_depth == 0 && !in_check) memcpy(engine.pv, thread.pv, sizeof engine.pv);
        set_relaxed(engine.stop, 1);
        return false;
    }
    if (moves == 1) set_relaxed(engine.single_move, 1);
    return !tables_play(thread);
}

// Tells whether a helper has a root to search: not one that the tables decide.
static bool helper_has_a_search(int moves) {
    return moves > 0 && engine.max_depth >= 1 && relaxed(engine.root_wdl) == -1;
}

// Prepares the root. Returns false if there is nothing to search.
static bool prepare_root(SearchThread& thread) {
    const bool master = thread.thread_index == 0;
    prepare_thread(thread);
    if (master) prepare_search_for_all(thread);
    const int moves = build_root_moves(thread);
    if (!(master ? master_has_a_search(thread, moves) : helper_has_a_search(moves))) return false;

    score_root_moves(thread);
    thread.stack[1].tb_result = relaxed(engine.root_wdl);
    set_relaxed(thread.completed_depth, 0);
    thread.seldepth = 0;
    return true;
}

// Lazy SMP: the depth of a helper's next iteration, up to two plies ahead when many threads are at
// `depth` already, but never behind the master's.
static int helper_depth(int depth) {
    constexpr int SPREAD_FROM = 6; // plies; shallower iterations are over at once
    if (depth >= SPREAD_FROM && depth < engine.max_depth && engine.multipv == 1) {
        int there = 0;
        for (auto& slot : search_threads) {
            const SearchThread* peer = slot.load(std::memory_order_acquire);
            if (peer && relaxed(peer->current_depth) >= depth) there++;
        }
        int many = (engine.num_threads + 14) >> 2; // a quarter of them, and three and a half
        depth += (there >= many) + (there >= 3 * many);
    }
    depth = std::max<int>(depth, relaxed(engine.iteration_depth));
    return std::min<int>(depth, engine.max_depth);
}

// Lazy SMP: takes up to 15 points off each root move but the first, so that helpers go different
// ways.
static void perturb_root(SearchThread& thread) {
    MoveEntry* entry = thread.stack[1].move_list + 1;
    for (; entry->move != LIST_END; entry++) {
        thread.seed += next_root_noise();
        entry->score = static_cast<int16_t>(entry->score - static_cast<int>(thread.seed & 15));
    }
}

// Brings the highest score from `from` on to `from`.
static void select_root_move(MoveEntry* from) {
    MoveEntry* best = from;
    for (MoveEntry* entry = from; entry->move != LIST_END; entry++)
        if (entry->score > best->score) best = entry;
    std::swap(*from, *best);
}

// Late move reductions at the root: one ply less for late quiet moves of thread 0 as long as the
// best move holds its score.
static int root_reduction(const SearchThread& thread, int depth, int best) {
    constexpr int FROM_DEPTH = 6, LATE_MOVE = 5, MARGIN = 50, LOST = -9800;
    const SearchStackEntry& root = thread.stack[1];
    const Position& pos = thread.position;
    if (thread.thread_index != 0 || depth < FROM_DEPTH || root.move_count < LATE_MOVE
        || root.in_check || (root.move_class & CLASS_SPECIAL))
        return 0;
    int threshold = std::max(LOST, relaxed(engine.iteration_score[depth - 1]) - MARGIN);
    return best > threshold && pos.material[pos.side] > 0 && pawn_count(pos, pos.side) > 0;
}

namespace {

// One attempt at a line: the window, and the best value so far.
struct RootWindow {
    int alpha; // lower bound of the attempt; a move that doesn't exceed it fails low
    int beta;
    int best;
};

} // namespace

// Searches one root move that has been made. Returns its value; `proven` tells whether it is an
// exact score or a bound above alpha, to be kept for the order.
static int search_root_move(SearchThread& thread, const RootWindow& window, int running_alpha,
                            int depth, Move* child_pv, bool& proven) {
    constexpr float SLOW = 1000.0f; // nodes a second; so slow, full windows cost too much
    constexpr int PLY = 2;

    Position& pos = thread.position;
    SearchStackEntry& root = thread.stack[1];
    int side = pos.side; // of the opponent: the move is made
    child_pv[PLY] = NULL_MOVE;

    if (root.move_count == 0 || (depth < 2 && engine.target_nps > SLOW)) {
        proven = true;
        return -search_node(pos, side, PLY, depth - 1, -window.beta, -window.alpha, NODE_PV,
                            child_pv);
    }
    proven = false;
    int value = -search_node(pos, side, PLY, depth - 1 - root.reduction, -running_alpha - 1,
                             -running_alpha, NODE_CUT, child_pv);
    if (value <= running_alpha || stopped()) return value;
    root.reduction = 0;
    value = -search_node(pos, side, PLY, depth - 1, -window.beta, -window.alpha, NODE_PV, child_pv);
    proven = value > window.alpha;
    return value;
}

// Takes a root move that is better than all before as the thread's result.
static void take_root_move(SearchThread& thread, const MoveEntry& entry, int value, int depth,
                           const Move* child_pv, int line, int bound) {
    set_relaxed(thread.score, value);
    thread.pv[1] = entry.move;
    copy_line(thread.pv, child_pv, 1);
    set_relaxed(thread.completed_depth, depth);
    if (line != 0 || thread.thread_index != 0) return;
    set_relaxed(engine.best_bound, bound);
    publish_result(thread);
}

// What the value of a root move is in the window of the attempt.
static int bound_of(int value, const RootWindow& window) {
    if (value <= window.alpha) return BOUND_UPPER;
    return value < window.beta ? BOUND_EXACT : BOUND_LOWER;
}

// Runs over the root moves from `first` on. Returns the end of those that were searched.
static MoveEntry* search_root_moves(SearchThread& thread, MoveEntry* first, int line, int depth,
                                    RootWindow& window) {
    constexpr int SEARCHED_SCORE = -11000; // below all scores, less one for each move before

    Position& pos = thread.position;
    SearchStackEntry& root = thread.stack[1];
    const bool master = thread.thread_index == 0;
    int running_alpha = window.alpha;
    MoveEntry* entry = first;
    for (; entry->move != LIST_END; entry++) {
        select_root_move(entry);
        root.current_move = entry;
        root.move_class = static_cast<uint16_t>(classify_move(pos, pos.side, *entry));
        // Moves that don't improve keep the order in which they were searched.
        entry->score = static_cast<int16_t>(SEARCHED_SCORE - root.move_count);
        if (line == 0 && master) report_root_move(entry->move, root.move_count + 1);
        root.reduction = static_cast<int8_t>(root_reduction(thread, depth, window.best));

        Move child_pv[PLY_SLOTS];
        bool proven = false;
        make_move(pos, entry->move);
        int value = search_root_move(thread, window, running_alpha, depth, child_pv, proven);
        unmake_move(pos);
        if (stopped()) {
            window.best = 0;
            return entry;
        }
        if (proven) entry->score = static_cast<int16_t>(value);
        root.move_count++;

        if (value > window.best) {
            take_root_move(thread, *entry, value, depth, child_pv, line, bound_of(value, window));
            window.best = value;
            running_alpha = std::max(running_alpha, value);
        }
        if (window.best > window.alpha) {
            set_relaxed(thread.root_fail, window.best >= window.beta ? 2 : 0);
            if (window.best >= window.beta) return entry + 1;
        } else {
            set_relaxed(thread.root_fail, 1);
        }
    }
    return entry;
}

// Orders a line's moves for its next attempt: what was searched by its scores, then the rest as
// it stands.
static void order_root_moves(MoveEntry* first, MoveEntry* searched_end) {
    constexpr int UNSEARCHED_SCORE = -11500; // below all that was searched
    int count = 0;
    for (MoveEntry* entry = searched_end; entry->move != LIST_END; entry++)
        entry->score = static_cast<int16_t>(UNSEARCHED_SCORE - count++);
    for (MoveEntry* entry = first; entry->move != LIST_END; entry++) select_root_move(entry);
}

// Searches one line of MultiPV with an aspiration window around the last score, which is widened
// until the best value lies inside it.
static void search_line(SearchThread& thread, MoveEntry* first, int line, int depth) {
    constexpr int WIDE_OPEN = 5001; // bounds beyond are opened fully
    constexpr int BASE_WIDTH = 25;  // and a sixteenth of the score: large scores jump further
    constexpr int EARLY_DEPTH = 6;  // plies; before, scores still change
    constexpr int EARLY_STEP = 10;  // wider for each ply less

    SearchStackEntry& root = thread.stack[1];
    int score = relaxed(thread.score);
    int width = (std::abs(score) >> 4) + BASE_WIDTH;
    if (depth < EARLY_DEPTH) width += (EARLY_DEPTH - depth) * EARLY_STEP;
    int low = -INFINITE_SCORE, high = INFINITE_SCORE;
    if (depth >= 2) {
        low = score - width;
        high = score + width;
    }
    set_relaxed(thread.root_fail, 0);

    while (!stopped()) {
        RootWindow window = {low > -WIDE_OPEN ? low : -INFINITE_SCORE,
                             high < WIDE_OPEN ? high : INFINITE_SCORE, -INFINITE_SCORE};
        look_for_check(thread);
        root.move_count = 0;
        root.depth = static_cast<int16_t>(depth);

        MoveEntry* searched_end = search_root_moves(thread, first, line, depth, window);
        order_root_moves(first, searched_end);
        if (stopped()) return;
        if (window.alpha < window.best && window.best < window.beta) {
            if (engine.multipv > 1 && thread.thread_index == 0) keep_line(thread, line, depth);
            return;
        }
        low = window.best <= window.alpha ? window.alpha - width : window.alpha;
        high = window.best >= window.beta ? window.beta + width : window.beta;
        width *= 2;
    }
}

// Tells whether the score is a mate within the moves that a strict `go mate` asks for.
static bool mate_limit_met(int score) {
    const int plies = 2 * engine.mate_limit; // to the mate, and one more for who is mated
    return plies > 0 && (score >= MATE_VALUE - plies || score <= plies + 1 - MATE_VALUE);
}

// Tells whether an iteration one deeper than `depth` is to follow.
static bool go_deeper(const SearchThread& thread, int depth) {
    int score = relaxed(thread.score);
    return !stopped() && !mate_limit_met(score) && score < MATE_VALUE - 1 - depth
        && score >= depth - MATE_VALUE + 1 && depth < engine.max_depth
        && thread.line.undo_index + depth < UNDO_SEARCH && depth + 1 < PLY_SLOTS - 1;
}

static void finish_iteration(SearchThread& thread, int depth) {
    lock(root_lock);
    engine.iteration_nodes[depth] += relaxed(thread.nodes);
    unlock(root_lock);
    if (thread.thread_index == 0 && !stopped())
        engine.iteration_finished = static_cast<int8_t>(depth);
}

// Stopped before the first root move was done: the answer is the one that promised most.
static void answer_unsearched(const SearchThread& thread) {
    MoveEntry* list = thread.stack[1].move_list;
    select_root_move(list);
    engine.pv[1] = list->move;
    engine.pv[2] = NULL_MOVE;
}

void search_root(int thread_number) {
    SearchThread* record = search_threads[thread_number].load(std::memory_order_relaxed);
    if (!record) return;
    SearchThread& thread = *record;
    const bool master = thread_number == 0;
    if (!prepare_root(thread)) return;
    if (master) forget_lines();

    for (int depth = 1;; depth++) {
        if (master) {
            set_relaxed(thread.current_depth, depth);
            engine.iteration_depth.store(static_cast<int8_t>(depth), std::memory_order_release);
        } else {
            depth = helper_depth(depth);
            perturb_root(thread);
            set_relaxed(thread.current_depth, depth);
        }
        MoveEntry* first = thread.stack[1].move_list;
        int line = 0;
        for (; line < engine.multipv && first[line].move != LIST_END; line++)
            search_line(thread, first + line, line, depth);
        if (master && !stopped()) tell_lines(line);
        finish_iteration(thread, depth);
        if (!go_deeper(thread, depth)) break;
        if (engine.soft_nodes && relaxed(thread.nodes) >= engine.soft_nodes) break;
    }
    if (!master) return;
    if (engine.pv[1] == NULL_MOVE) answer_unsearched(thread);
    if (strict_protocol()) finish_strict_result(thread);
    set_relaxed(engine.stop, 1);
}
