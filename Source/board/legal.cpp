#include "board/legal.h"

#include <bit>

#include "board/attack.h"
#include "board/castling.h"
#include "board/movegen.h"

static int legal_castling(const Position& pos, int side, Move move) {
    int from = move_from(move), to = move_to(move), step = to > from ? 1 : -1;
    for (int square = from;; square += step) {
        if (square_attacked(pos, square, side ^ 1)) return 0;
        if (square == to) return 1;
    }
}

int legal_move(const Position& pos, int side, Move move) {
    if (move == NULL_MOVE) return 0;
    int from = move_from(move), to = move_to(move), mover = type_of(pos.board[from]);
    if (is_castling(move, mover)) return legal_castling(pos, side, move);

    int king = mover == KING ? to : pos.king_square[side];
    if (king == NO_SQUARE) return 1; // nothing to expose
    Bitboard taken = bit(to);
    Bitboard occ = (occupied(pos) & ~bit(from)) | bit(to);
    if (is_ep_square(pos, mover, to)) {
        Bitboard passed = bit((to - pawn_push[side]) & 63);
        occ &= ~passed;
        taken |= passed;
    }
    return !attacked_through(pos, king, side ^ 1, occ, ~taken);
}

int castling_exposes_king(const Position& pos, int side, Move move) {
    if (!is_castling(move, pos.board[move_from(move)])) return 0;
    const int to = move_to(move), wing = castling_wing(move);
    Bitboard moving = bit(move_from(move)) | bit(pos.castle_rook[castling_right(side, wing)]);
    Bitboard occ =
        (occupied(pos) & ~moving) | bit(to) | bit(castled_rook_square(move_from(move), wing));
    return attacked_through(pos, to, side ^ 1, occ, ~Bitboard{0});
}

// Never inlined: a search node asks it once in a blue moon, by way of is_draw, and would carry the
// list on its stack.
[[gnu::noinline]] bool has_legal_move(const Position& pos) {
    MoveEntry list[LONGEST_ODD_LIST];
    gen_list(pos, list);
    for (const MoveEntry* entry = list; entry->move != LIST_END; entry++)
        if (legal_move(pos, pos.side, entry->move)) return true;
    return false;
}

// A pawn move without a flag problem: the last rank needs a promotion flag, other ranks none.
static bool pawn_move_fits(const Position& pos, int side, Move move) {
    int from = move_from(move), to = move_to(move), push = pawn_push[side];
    bool last_rank = rank_of(to) == (side == WHITE ? 7 : 0);
    if (last_rank != ((move & FLAG_MASK) != 0)) return false;

    if (pawn_attacks[side][from] & bit(to)) {
        if (pos.board[to] != 0) return true;
        return to == pos.ep_square && pos.board[to - push] == piece_code(side ^ 1, PAWN);
    }
    if (pos.board[to] != 0) return false;
    if (to == from + push) return true;
    return to == from + 2 * push && pos.board[from + push] == 0
        && rank_of(from) == (side == WHITE ? 1 : 6);
}

// A castling flag that fits a living right: the king's move of that wing, with its path empty.
static bool castling_fits(const Position& pos, int side, Move move) {
    const int wing = castling_wing(move);
    return move == castling_move(pos, side, wing) && way_is_free(pos, castling_right(side, wing));
}

bool is_playable(const Position& pos, Move move) {
    const int side = pos.side, from = move_from(move), to = move_to(move);
    const int mover = pos.board[from], type = type_of(mover);
    if (mover == 0 || colour_of(mover) != side) return false;
    if (is_castling(move, mover))
        return castling_fits(pos, side, move) && legal_move(pos, side, move);
    if ((pos.pieces[side][ALL_PIECES] | pos.pieces[side ^ 1][KING]) & bit(to)) return false;

    if (type == PAWN) {
        if (!std::has_single_bit(static_cast<unsigned>(move & FLAG_MASK)) && (move & FLAG_MASK))
            return false;
        return pawn_move_fits(pos, side, move) && legal_move(pos, side, move);
    }
    if (move & FLAG_MASK) return false;
    Bitboard reach = 0;
    if (type == KNIGHT) reach = knight_attacks[from];
    if (type == KING) reach = king_attacks[from];
    if (type == BISHOP || type == QUEEN) reach |= bishop_rays[from];
    if (type == ROOK || type == QUEEN) reach |= rook_rays[from];
    if (!(reach & bit(to)) || (between[from][to] & occupied(pos))) return false;
    return legal_move(pos, side, move);
}

bool stored_move_valid(const Position& pos, Move move) {
    // Only castling may go where an own piece stands: the king itself, or its rook.
    if (pos.pieces[pos.side][ALL_PIECES] & bit(move_to(move))) return false;
    return is_playable(pos, move);
}
