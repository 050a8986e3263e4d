#include "search/movepick.h"

#include <cassert>

#include "board/movegen.h"
#include "board/see.h"
#include "search/move_keys.h"
#include "search/ordering.h"
#include "search/thread.h"

// Where the picker stands: the low four bits of SearchStackEntry::stage. Two numbers are left out,
// since these stages are passed through within one call: 3, where quiet checks are generated, and
// 5, where quiet moves are.
enum Stage {
    AT_START = 0,           // before the first call
    AT_CAPTURES = 1,        // the hash move is out
    AT_BY_VICTIM = 2,       // among captures without exchange scores
    AT_BY_GAIN = 4,         // among captures with exchange scores
    AT_SORTED = 6,          // among quiet moves and bad captures, while scores promise something
    AT_REST = 7,            // among what is left
    AT_SECOND_WALK = 8,     // before a second walk over a list that is scored
    AT_SECOND_WALK_NEXT = 9 // within it
};
constexpr int STAGE_BITS = 15;

static void enter_stage(SearchStackEntry& entry, Stage stage) {
    entry.stage = static_cast<uint16_t>((entry.stage & ~STAGE_BITS) | stage);
}

static bool at_end(const MoveEntry* cursor) { return cursor->move == LIST_END; }

// Ends a list and publishes where the next ones begin. The second one serves the ply after a
// null move, which generates no list in between.
static void finish_list(SearchThread& thread, MoveEntry* end) {
    assert(end + 2 < thread.move_store + MOVE_STORE_SIZE);
    end->move = LIST_END;
    thread.stack[thread.line.ply].list_end = end;
    thread.stack[thread.line.ply + 1].move_list = end + 1;
    if (thread.line.ply + 2 < PLY_SLOTS) thread.stack[thread.line.ply + 2].move_list = end + 2;
}

void gen_all(Position& pos) {
    SearchThread& thread = thread_of(pos);
    SearchStackEntry& entry = thread.stack[thread.line.ply];
    finish_list(thread, gen_list(pos, entry.move_list));
    entry.current_move = entry.move_list;
}

// The step of a selection sort: brings the highest score of the rest of the list, the earliest on
// a tie, to the cursor.
static MoveEntry* select_best(SearchThread& thread, const SearchStackEntry& entry,
                              MoveEntry* cursor) {
    MoveEntry* best = thread.move_store + place_of_key(largest_key(thread, cursor, entry.list_end));
    if (best != cursor) swap_moves(thread, cursor, best);
    return cursor;
}

// Scores captures by victim and attacker alone.
static void score_by_victim(SearchThread& thread, MoveEntry* list) {
    for (MoveEntry* entry = list; !at_end(entry); entry++)
        set_move_score(thread, entry,
                       capture_value[type_of(entry->victim)] - type_of(entry->mover));
}

constexpr int GOOD_GAIN = 50; // half a pawn won

// The score of a capture that wins at least so much.
static int winning_score(const MoveEntry& entry) {
    return capture_value[type_of(entry.victim)] - type_of(entry.mover);
}

// Scores the list of captures by what the exchange is worth. The exchange never gives less than
// the victim less the mover, so that most good captures need no further look. The others are
// first taken to win, and looked at when they would be handed out.
static void score_captures(SearchThread& thread, MoveEntry* list) {
    for (MoveEntry* entry = list; !at_end(entry); entry++) {
        int mover = type_of(entry->mover);
        int gain = see_value[type_of(entry->victim)] - see_value[mover];
        set_move_score(thread, entry, winning_score(*entry), gain < GOOD_GAIN || mover == KING);
    }
}

// The score of a capture by its exchange.
static int exchange_score(const Position& pos, int side, const MoveEntry& entry) {
    constexpr int NEUTRAL = -49; // less is a losing capture
    constexpr int PENALTY = 6;   // for an exchange that wins less than GOOD_GAIN
    constexpr int LOSING = 4;    // places losing captures among the quiet moves
    int gain = see(pos, side, move_from(entry.move), move_to(entry.move));
    if (gain < NEUTRAL) return LOSING + type_of(entry.victim);
    return winning_score(entry) - (gain < GOOD_GAIN ? PENALTY : 0);
}

// As select_best, for a list in which some scores are only the highest possible: those that come
// first are looked at, until one stays first.
static MoveEntry* select_best_capture(const Position& pos, SearchThread& thread,
                                      const SearchStackEntry& entry, MoveEntry* cursor) {
    int32_t key = largest_key(thread, cursor, entry.list_end);
    while (is_estimated(key)) {
        MoveEntry* capture = thread.move_store + place_of_key(key);
        set_move_score(thread, capture, exchange_score(pos, pos.side, *capture));
        key = largest_key(thread, cursor, entry.list_end);
    }
    MoveEntry* best = thread.move_store + place_of_key(key);
    if (best != cursor) swap_moves(thread, cursor, best);
    return cursor;
}

// The stages. Each returns an entry as long as it has one, and then what the next stage gives.
// `cursor` is the place of the list that the call has come to.

// The rest of the list comes in the order in which it was generated: nothing in it promises more
// than anything else.
static MoveEntry* in_list_order(MoveEntry* cursor) { return at_end(cursor) ? nullptr : cursor; }

// Quiet moves and bad captures, best first until the scores are next to nothing. What was handed
// out from this list last, if anything, was the best of it, so that its equal needs no search:
// long runs of quiet moves have one and the same score.
static MoveEntry* best_quiet_move(SearchThread& thread, SearchStackEntry& entry, MoveEntry* cursor,
                                  bool came_sorted) {
    constexpr int NEXT_TO_NOTHING = 2;

    if (at_end(cursor)) return nullptr;
    if (came_sorted && cursor->score == cursor[-1].score) return cursor;
    if (select_best(thread, entry, cursor)->score <= NEXT_TO_NOTHING) enter_stage(entry, AT_REST);
    return cursor;
}

// Quiet moves are generated behind the bad captures, so that both become one list.
static MoveEntry* add_quiet_moves(const Position& pos, SearchThread& thread,
                                  SearchStackEntry& entry, MoveEntry* cursor) {
    MoveEntry* quiets = entry.list_end;
    MoveEntry* end = gen_quiets(pos, pos.side, quiets, entry.checker_square);
    finish_list(thread, end);
    if (end != quiets) score_quiets(thread, pos.side, quiets);
    enter_stage(entry, AT_SORTED);
    return best_quiet_move(thread, entry, cursor, false);
}

// Good captures, best first. The first bad one stays in the list, to be sorted among the quiet
// moves.
static MoveEntry* best_good_capture(const Position& pos, SearchThread& thread,
                                    SearchStackEntry& entry, MoveEntry* cursor) {
    constexpr int BEFORE_QUIET_MOVES = 150; // scores of good captures lie above

    if (!at_end(cursor)) {
        enter_stage(entry, AT_BY_GAIN);
        if (select_best_capture(pos, thread, entry, cursor)->score > BEFORE_QUIET_MOVES)
            return cursor;
    }
    return add_quiet_moves(pos, thread, entry, cursor);
}

// Quiet checks, for quiescence; all with one score, so that they come as they stand.
static MoveEntry* add_quiet_checks(const Position& pos, SearchThread& thread,
                                   SearchStackEntry& entry, MoveEntry* cursor) {
    constexpr int CHECK_SCORE = 100;

    MoveEntry* end = gen_quiet_checks(pos, pos.side, cursor);
    finish_list(thread, end);
    if (end == cursor) return nullptr;
    for (MoveEntry* check = cursor; check != end; check++)
        set_move_score(thread, check, CHECK_SCORE);
    enter_stage(entry, AT_REST);
    return cursor;
}

// All captures, best first by victim and attacker.
static MoveEntry* best_by_victim(const Position& pos, SearchThread& thread, SearchStackEntry& entry,
                                 MoveEntry* cursor) {
    if (!at_end(cursor)) return select_best(thread, entry, cursor);
    if (!(entry.stage & STAGE_CHECKS)) return nullptr;
    return add_quiet_checks(pos, thread, entry, cursor);
}

// Captures, promotions and pushes to the seventh rank are generated and scored.
static MoveEntry* add_captures(const Position& pos, SearchThread& thread, SearchStackEntry& entry,
                               MoveEntry* cursor) {
    const int full = entry.stage & STAGE_FULL, side = pos.side;
    MoveEntry* end = gen_captures(pos, side, cursor, entry.checker_square);
    end = gen_promotions(pos, side, full, end);
    end = gen_seventh_pushes(pos, side, end);
    finish_list(thread, end);
    if (full) {
        score_captures(thread, cursor);
        return best_good_capture(pos, thread, entry, cursor);
    }
    score_by_victim(thread, cursor);
    enter_stage(entry, AT_BY_VICTIM);
    return best_by_victim(pos, thread, entry, cursor);
}

// The hash move stands alone in the list; the captures are written over its sentinel.
static MoveEntry* hash_move_first(const Position& pos, SearchThread& thread,
                                  SearchStackEntry& entry) {
    constexpr int HASH_SCORE = 255;

    MoveEntry* first = entry.move_list;
    if (!(entry.stage & STAGE_HASH_MOVE) || entry.hash_move == NULL_MOVE)
        return add_captures(pos, thread, entry, first);
    first->move = entry.hash_move;
    set_move_score(thread, first, HASH_SCORE);
    first->mover = pos.board[move_from(entry.hash_move)];
    first->victim = pos.board[move_to(entry.hash_move)];
    finish_list(thread, first + 1);
    enter_stage(entry, AT_CAPTURES);
    return first;
}

// A second walk over a scored list, from its start. No caller asks for it at present.
static MoveEntry* walk_again(SearchThread& thread, SearchStackEntry& entry, MoveEntry* cursor) {
    enter_stage(entry, AT_SECOND_WALK_NEXT);
    return at_end(cursor) ? nullptr : select_best(thread, entry, cursor);
}

MoveEntry* next_move(Position& pos) {
    SearchThread& thread = thread_of(pos);
    SearchStackEntry& entry = thread.stack[thread.line.ply];
    MoveEntry* cursor = entry.current_move + 1;
    switch (entry.stage & STAGE_BITS) {
    case AT_START: return hash_move_first(pos, thread, entry);
    case AT_CAPTURES: return add_captures(pos, thread, entry, cursor);
    case AT_BY_VICTIM: return best_by_victim(pos, thread, entry, cursor);
    case AT_BY_GAIN: return best_good_capture(pos, thread, entry, cursor);
    case AT_SORTED: return best_quiet_move(thread, entry, cursor, true);
    case AT_REST: return in_list_order(cursor);
    case AT_SECOND_WALK:
        for (MoveEntry* move = entry.move_list; !at_end(move); move++)
            set_move_score(thread, move, move->score);
        return walk_again(thread, entry, entry.move_list);
    case AT_SECOND_WALK_NEXT: return walk_again(thread, entry, cursor);
    default: return nullptr;
    }
}
