#include "board/movegen.h"

#include <cassert>
#include <utility>

#include "board/see.h"
#include "search/thread.h"

constexpr Bitboard RANKS_2_TO_7 = 0x00FFFFFFFFFFFF00ULL;
constexpr Bitboard RANKS_3_TO_6 = 0x0000FFFFFFFF0000ULL;

static MoveEntry* write_move(const Position& pos, MoveEntry* out, int from, int to, int flags = 0) {
    out->move = static_cast<Move>(make_plain_move(from, to) | flags);
    out->mover = pos.board[from];
    out->victim = pos.board[to];
    return out + 1;
}

// Moves of one piece to each square of a set.
static MoveEntry* write_moves(const Position& pos, MoveEntry* out, int from, Bitboard targets) {
    while (targets) out = write_move(pos, out, from, pop_lowest(targets));
    return out;
}

// Pawn moves to each square of a set, all by the same step.
static MoveEntry* write_pawn_moves(const Position& pos, MoveEntry* out, Bitboard targets,
                                   int step) {
    while (targets) {
        int to = pop_lowest(targets);
        out = write_move(pos, out, to - step, to);
    }
    return out;
}

namespace {

// Squares that pieces may go to, by type.
struct PieceTargets {
    Bitboard knight, bishop, rook, queen;
};

} // namespace

static PieceTargets same_targets(Bitboard targets) { return {targets, targets, targets, targets}; }

// Moves of knights, bishops, rooks and queens, in this order, to their targets. Lines are looked
// along only where a target lies on them.
static MoveEntry* write_piece_moves(const Position& pos, int side, MoveEntry* out,
                                    const PieceTargets& targets) {
    const Bitboard* own = pos.pieces[side];
    Bitboard occ = occupied(pos);
    for (Bitboard set = own[KNIGHT]; set;) {
        int from = pop_lowest(set);
        out = write_moves(pos, out, from, knight_attacks[from] & targets.knight);
    }
    for (Bitboard set = own[BISHOP]; set;) {
        int from = pop_lowest(set);
        if (bishop_rays[from] & targets.bishop)
            out = write_moves(pos, out, from, bishop_attacks(from, occ) & targets.bishop);
    }
    for (Bitboard set = own[ROOK]; set;) {
        int from = pop_lowest(set);
        if (rook_rays[from] & targets.rook)
            out = write_moves(pos, out, from, rook_attacks(from, occ) & targets.rook);
    }
    for (Bitboard set = own[QUEEN]; set;) {
        int from = pop_lowest(set);
        Bitboard attacks = 0;
        if (bishop_rays[from] & targets.queen) attacks |= bishop_attacks(from, occ);
        if (rook_rays[from] & targets.queen) attacks |= rook_attacks(from, occ);
        out = write_moves(pos, out, from, attacks & targets.queen);
    }
    return out;
}

MoveEntry* gen_captures(Position& pos, int side, MoveEntry* out, int target) {
    Bitboard enemy = pos.pieces[side ^ 1][ALL_PIECES];
    Bitboard target_mask = target == NO_SQUARE ? enemy : bit(target);

    // An en passant square that a text put on an own piece is never captured on.
    Bitboard ep = pos.ep_square == NO_SQUARE ? 0 : bit(pos.ep_square);
    Bitboard targets = (target_mask | (ep & ~pos.pieces[side][ALL_PIECES])) & RANKS_2_TO_7;
    Bitboard pawns = pos.pieces[side][PAWN];
    if (side == WHITE) {
        out = write_pawn_moves(pos, out, ((pawns & NOT_FILE_A) << 7) & targets, 7);
        out = write_pawn_moves(pos, out, ((pawns & NOT_FILE_H) << 9) & targets, 9);
    } else {
        out = write_pawn_moves(pos, out, ((pawns & NOT_FILE_A) >> 9) & targets, -9);
        out = write_pawn_moves(pos, out, ((pawns & NOT_FILE_H) >> 7) & targets, -7);
    }

    out = write_piece_moves(pos, side, out, same_targets(target_mask));
    // The king takes any enemy piece next to it, also when another one gives check.
    int king = pos.king_square[side];
    if (king == NO_SQUARE) return out;
    return write_moves(pos, out, king, king_attacks[king] & enemy);
}

static MoveEntry* write_promotions(const Position& pos, MoveEntry* out, int from, int to,
                                   int all_pieces) {
    out = write_move(pos, out, from, to, FLAG_QUEEN);
    if (!all_pieces) return out;
    out = write_move(pos, out, from, to, FLAG_KNIGHT);
    out = write_move(pos, out, from, to, FLAG_BISHOP);
    return write_move(pos, out, from, to, FLAG_ROOK);
}

MoveEntry* gen_promotions(Position& pos, int side, int all_pieces, MoveEntry* out) {
    Bitboard enemy = pos.pieces[side ^ 1][ALL_PIECES];
    Bitboard pawns = pos.pieces[side][PAWN] & second_to_last_rank[side];
    while (pawns) {
        int from = pop_lowest(pawns);
        int ahead = from + pawn_push[side];
        if (pos.board[ahead] == 0) out = write_promotions(pos, out, from, ahead, all_pieces);
        if (file_of(from) > 0 && (enemy & bit(ahead - 1)))
            out = write_promotions(pos, out, from, ahead - 1, all_pieces);
        if (file_of(from) < 7 && (enemy & bit(ahead + 1)))
            out = write_promotions(pos, out, from, ahead + 1, all_pieces);
    }
    return out;
}

MoveEntry* gen_seventh_pushes(Position& pos, int side, MoveEntry* out) {
    Bitboard pawns = pos.pieces[side][PAWN] & third_to_last_rank[side];
    while (pawns) {
        int from = pop_lowest(pawns);
        int ahead = from + pawn_push[side];
        if (pos.board[ahead] == 0) out = write_move(pos, out, from, ahead);
    }
    return out;
}

static MoveEntry* gen_castling(const Position& pos, int side, MoveEntry* out) {
    int king = pos.king_square[side];
    for (int wing = 0; wing < 2; wing++) {
        int right = side * 2 + wing;
        if (!(pos.castling >> right & 1) || (pos.castle_empty[right] & occupied(pos))) continue;
        int to = (king & 56) + (wing == 0 ? G1 : C1);
        out->move = static_cast<Move>(make_plain_move(king, to)
                                      | (wing == 0 ? FLAG_KING_SIDE : FLAG_QUEEN_SIDE));
        out->mover = pos.board[king];
        out->victim = 0;
        out++;
    }
    return out;
}

MoveEntry* gen_quiets(Position& pos, int side, MoveEntry* out, int target) {
    Bitboard empty = ~occupied(pos), free = empty;
    int king = pos.king_square[side];
    if (target != NO_SQUARE && king != NO_SQUARE) free &= between[king][target];

    int push = pawn_push[side];
    Bitboard single = step_forward(side, pos.pieces[side][PAWN]) & empty;
    Bitboard twice = step_forward(side, single) & rank_mask(side == WHITE ? 3 : 4);
    out = write_pawn_moves(pos, out, single & free & RANKS_3_TO_6, push);
    out = write_pawn_moves(pos, out, twice & free, 2 * push);

    out = write_piece_moves(pos, side, out, same_targets(free));
    if (king == NO_SQUARE) return out;
    out = write_moves(pos, out, king, king_attacks[king] & empty);
    return gen_castling(pos, side, out);
}

// Quiet moves that give check directly: no king moves, no castling, no discovered checks.
static MoveEntry* gen_quiet_checks(Position& pos, int side, MoveEntry* out) {
    Bitboard occ = occupied(pos), free = ~occ;
    int king = pos.king_square[side ^ 1];
    if (king == NO_SQUARE) return out;

    const Bitboard* own = pos.pieces[side];
    Bitboard pawn_targets = pawn_attacks[side ^ 1][king] & free;
    Bitboard bishop_targets = 0, rook_targets = 0;
    if (pos.piece_counts[side] & COUNT_DIAGONALS) bishop_targets = bishop_attacks(king, occ) & free;
    if (pos.piece_counts[side] & COUNT_ORTHOGONALS) rook_targets = rook_attacks(king, occ) & free;

    int push = pawn_push[side];
    Bitboard single = step_forward(side, own[PAWN]) & free;
    Bitboard twice = step_forward(side, single) & rank_mask(side == WHITE ? 3 : 4);
    out = write_pawn_moves(pos, out, single & pawn_targets, push);
    out = write_pawn_moves(pos, out, twice & pawn_targets, 2 * push);

    return write_piece_moves(
        pos, side, out,
        {knight_attacks[king] & free, bishop_targets, rook_targets, bishop_targets | rook_targets});
}

// Ends a list and publishes where the next ones begin. The second one serves the ply after a
// null move, which generates no list in between.
static void finish_list(SearchThread& thread, MoveEntry* end) {
    assert(end + 2 < thread.move_store + MOVE_STORE_SIZE);
    end->move = LIST_END;
    thread.stack[thread.line.ply + 1].move_list = end + 1;
    if (thread.line.ply + 2 < PLY_SLOTS) thread.stack[thread.line.ply + 2].move_list = end + 2;
}

void gen_all(Position& pos) {
    SearchThread& thread = thread_of(pos);
    SearchStackEntry& entry = thread.stack[thread.line.ply];

    MoveEntry* out = entry.move_list;
    out = gen_captures(pos, pos.side, out, NO_SQUARE);
    out = gen_promotions(pos, pos.side, 1, out);
    out = gen_seventh_pushes(pos, pos.side, out);
    out = gen_quiets(pos, pos.side, out, NO_SQUARE);
    finish_list(thread, out);
    entry.current_move = entry.move_list;
}

MoveEntry* gen_all_game(Position& pos) {
    SearchThread& thread = thread_of(pos);
    int16_t ply = thread.line.ply;
    thread.line.ply = 1; // a game's ply may lie far behind the stack

    thread.stack[1].move_list = thread.move_store + 1;
    gen_all(pos);
    thread.line.ply = ply;
    return thread.stack[1].move_list;
}

// The step of a selection sort: brings the highest score of the rest of the list, the earliest on
// a tie, to the cursor.
static MoveEntry* select_best(MoveEntry* cursor) {
    MoveEntry* best = cursor;
    for (MoveEntry* entry = cursor + 1; entry->move != LIST_END; entry++)
        if (entry->score > best->score) best = entry;
    if (best != cursor) std::swap(*cursor, *best);
    return cursor;
}

static bool at_end(const MoveEntry* cursor) { return cursor->move == LIST_END; }

// Scores captures by victim and attacker alone.
static void score_by_victim(MoveEntry* list) {
    for (MoveEntry* entry = list; !at_end(entry); entry++)
        entry->score =
            static_cast<int16_t>(capture_value[type_of(entry->victim)] - type_of(entry->mover));
}

// Scores the list of captures by what the exchange is worth. The exchange never gives less than
// the victim less the mover, so that most good captures need no further look.
static void score_captures(const Position& pos, int side, MoveEntry* list) {
    constexpr int GOOD = 50;     // half a pawn won
    constexpr int NEUTRAL = -49; // less is a losing capture
    constexpr int PENALTY = 6;   // for an exchange that wins less than GOOD
    constexpr int LOSING = 4;    // places losing captures among the quiet moves

    for (MoveEntry* entry = list; !at_end(entry); entry++) {
        int victim = type_of(entry->victim), mover = type_of(entry->mover);
        int gain = see_value[victim] - see_value[mover];
        if (gain < GOOD || mover == KING)
            gain = see(pos, side, move_from(entry->move), move_to(entry->move));

        int score = LOSING + victim;
        if (gain >= NEUTRAL) score = capture_value[victim] - mover - (gain < GOOD ? PENALTY : 0);
        entry->score = static_cast<int16_t>(score);
    }
}

// Scores of quiet moves: history, and a bonus for the first of these that fits.
static void score_quiets(const SearchThread& thread, int side, MoveEntry* list) {
    constexpr int KILLER_1 = 60, KILLER_2 = 55;
    constexpr int COUNTER_1 = 50, COUNTER_2 = 45;
    constexpr int FOLLOWUP = 40, FAR_PAWN = 30;
    constexpr int EVASION_COUNTER_1 = 55, EVASION_COUNTER_2 = 50;

    if (thread.line.ply <= 1) return; // the root has an order of its own
    const SearchStackEntry& entry = thread.stack[thread.line.ply];

    // Replies that worked before. No real move equals 0, so that 0 stands for none.
    Move counter1 = 0, counter2 = 0, followup = 0;
    const MoveEntry& previous = *(&entry - 1)->current_move;
    if (previous.move != NULL_MOVE) {
        int index = history_index(previous.mover, move_to(previous.move));
        counter1 = thread.counter1[index];
        counter2 = thread.counter2[index];
        const MoveEntry& before = *(&entry - 2)->current_move;
        if (before.move != NULL_MOVE)
            followup = thread.followup[history_index(before.mover, move_to(before.move))];
    }

    for (MoveEntry* quiet = list; !at_end(quiet); quiet++) {
        Move move = quiet->move;
        int score = thread.history[history_index(quiet->mover, move_to(move))] / 256;
        if (entry.in_check) {
            if (move == entry.evasion_killer) score += KILLER_1;
            else if (move == counter1) score += EVASION_COUNTER_1;
            else if (move == counter2) score += EVASION_COUNTER_2;
        } else if (move == entry.killer1) score += KILLER_1;
        else if (move == entry.killer2) score += KILLER_2;
        else if (move == counter1) score += COUNTER_1;
        else if (move == counter2) score += COUNTER_2;
        else if (move == followup) score += FOLLOWUP;
        else if (type_of(quiet->mover) == PAWN && (move_to(move) ^ rank_flip[side]) >= 40)
            score += FAR_PAWN;
        quiet->score = static_cast<int16_t>(score);
    }
}

// States of the picker, the low four bits of `stage`. STATE_CHECK_LIST and STATE_QUIET_LIST are
// passed through, never stored.
enum PickerState {
    STATE_START = 0,      // hash move, if asked for
    STATE_CAPTURES = 1,   // generate captures, promotions, pushes to the seventh
    STATE_BY_VICTIM = 2,  // without exchange scores: best first
    STATE_CHECK_LIST = 3, // generate quiet checks
    STATE_BY_GAIN = 4,    // with exchange scores: good captures, best first
    STATE_QUIET_LIST = 5, // generate quiet moves behind the bad captures
    STATE_SORTED = 6,     // best first while the scores promise something
    STATE_REST = 7,       // in list order
    STATE_AGAIN = 8,      // second walk over a list that is already scored
    STATE_AGAIN_NEXT = 9
};

MoveEntry* next_move(Position& pos) {
    constexpr int CAPTURE_SCORE = 150; // above: returned before the quiet moves
    constexpr int SORTED_SCORE = 2;    // up to it the rest comes unsorted
    constexpr int CHECK_SCORE = 100;
    constexpr int HASH_SCORE = 255;

    SearchThread& thread = thread_of(pos);
    SearchStackEntry& entry = thread.stack[thread.line.ply];
    MoveEntry* cursor = entry.current_move + 1;
    MoveEntry* out = nullptr;
    const int options = entry.stage & ~15;
    const int side = pos.side;
    auto store = [&](int state) { entry.stage = static_cast<uint16_t>(options | state); };

    const bool came_sorted = (entry.stage & 15) == STATE_SORTED;
    for (int state = entry.stage & 15;;) {
        switch (state) {
        case STATE_START:
            cursor = entry.move_list;
            state = STATE_CAPTURES;
            if (!(options & STAGE_HASH_MOVE) || entry.hash_move == NULL_MOVE) break;
            cursor->move = entry.hash_move;
            cursor->score = HASH_SCORE;
            cursor->mover = pos.board[move_from(entry.hash_move)];
            cursor->victim = pos.board[move_to(entry.hash_move)];
            finish_list(thread, cursor + 1);
            store(STATE_CAPTURES);
            return cursor;

        case STATE_CAPTURES:
            out = gen_captures(pos, side, cursor, entry.checker_square);
            out = gen_promotions(pos, side, options & STAGE_FULL, out);
            out = gen_seventh_pushes(pos, side, out);
            finish_list(thread, out);
            if (options & STAGE_FULL) {
                score_captures(pos, side, cursor);
                state = STATE_BY_GAIN;
            } else {
                score_by_victim(cursor);
                store(STATE_BY_VICTIM);
                state = STATE_BY_VICTIM;
            }
            break;

        case STATE_BY_VICTIM:
            if (!at_end(cursor)) return select_best(cursor);
            if (!(options & STAGE_CHECKS)) return nullptr;
            state = STATE_CHECK_LIST;
            break;

        case STATE_CHECK_LIST:
            out = gen_quiet_checks(pos, side, cursor);
            finish_list(thread, out);
            if (out == cursor) return nullptr;
            for (MoveEntry* check = cursor; check != out; check++) check->score = CHECK_SCORE;
            store(STATE_REST);
            return cursor;

        case STATE_BY_GAIN:
            state = STATE_QUIET_LIST;
            if (at_end(cursor)) break;
            store(STATE_BY_GAIN);
            if (select_best(cursor)->score > CAPTURE_SCORE) return cursor;
            break; // it stays in the list, to be sorted among the quiet moves

        case STATE_QUIET_LIST: {
            MoveEntry* quiets = cursor;
            while (!at_end(quiets)) quiets++;
            out = gen_quiets(pos, side, quiets, entry.checker_square);
            finish_list(thread, out);
            if (out != quiets) score_quiets(thread, side, quiets);
            store(STATE_SORTED);
            state = STATE_SORTED;
            break;
        }

        case STATE_SORTED:
            if (at_end(cursor)) return nullptr;
            // What was handed out from this list last was the best of it, so that its equal needs
            // no search. Long runs of quiet moves have one and the same score.
            if (came_sorted && cursor->score == cursor[-1].score) return cursor;
            if (select_best(cursor)->score <= SORTED_SCORE) store(STATE_REST);
            return cursor;

        case STATE_REST: return at_end(cursor) ? nullptr : cursor;

        case STATE_AGAIN:
            cursor = entry.move_list;
            store(STATE_AGAIN_NEXT);
            state = STATE_AGAIN_NEXT;
            break;

        case STATE_AGAIN_NEXT: return at_end(cursor) ? nullptr : select_best(cursor);

        default: return nullptr;
        }
    }
}
