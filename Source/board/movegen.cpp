#include "board/movegen.h"

#include "board/castling.h"

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

MoveEntry* gen_captures(const Position& pos, int side, MoveEntry* out, int target) {
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

MoveEntry* gen_promotions(const Position& pos, int side, int all_pieces, MoveEntry* out) {
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

MoveEntry* gen_seventh_pushes(const Position& pos, int side, MoveEntry* out) {
    Bitboard pawns = pos.pieces[side][PAWN] & third_to_last_rank[side];
    while (pawns) {
        int from = pop_lowest(pawns);
        int ahead = from + pawn_push[side];
        if (pos.board[ahead] == 0) out = write_move(pos, out, from, ahead);
    }
    return out;
}

static MoveEntry* gen_castling(const Position& pos, int side, MoveEntry* out) {
    for (int wing : {KING_SIDE, QUEEN_SIDE}) {
        if (!way_is_free(pos, castling_right(side, wing))) continue;
        out->move = castling_move(pos, side, wing);
        out->mover = pos.board[pos.king_square[side]];
        out->victim = 0;
        out++;
    }
    return out;
}

MoveEntry* gen_quiets(const Position& pos, int side, MoveEntry* out, int target) {
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

MoveEntry* gen_quiet_checks(const Position& pos, int side, MoveEntry* out) {
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

MoveEntry* gen_list(const Position& pos, MoveEntry* list) {
    MoveEntry* out = gen_captures(pos, pos.side, list, NO_SQUARE);
    out = gen_promotions(pos, pos.side, 1, out);
    out = gen_seventh_pushes(pos, pos.side, out);
    out = gen_quiets(pos, pos.side, out, NO_SQUARE);
    out->move = LIST_END;
    return out;
}
