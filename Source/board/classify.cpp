#include "board/classify.h"

#include "board/attack.h"

bool gives_check(const Position& pos, int side, Move move, int mover_type) {
    int from = move_from(move), to = move_to(move), king = pos.king_square[side ^ 1];
    if (from == to || king == NO_SQUARE) return false;
    int arrives = mover_type == PAWN && (move & FLAG_MASK) ? promoted_type(move) : mover_type;

    Bitboard occ = (occupied(pos) & ~bit(from)) | bit(to);
    switch (arrives) {
    case PAWN:
        if (pawn_attacks[side][to] & bit(king)) return true;
        break;
    case KNIGHT:
        if (knight_attacks[to] & bit(king)) return true;
        break;
    case BISHOP:
        if ((bishop_rays[to] & bit(king)) && !(between[to][king] & occ)) return true;
        break;
    case ROOK:
        if ((rook_rays[to] & bit(king)) && !(between[to][king] & occ)) return true;
        break;
    case QUEEN:
        if (((rook_rays[to] | bishop_rays[to]) & bit(king)) && !(between[to][king] & occ))
            return true;
        break;
    default: // a king next to the other one
        if (king_attacks[to] & bit(king)) return true;
    }
    // Own pieces that stay. In Chess960 the castling rook stands where its king goes and counts as
    // if it stayed there.
    return attacked_through(pos, king, side, occ, ~bit(from));
}

int classify_move(const Position& pos, int side, const MoveEntry& entry) {
    Move move = entry.move;
    int to = move_to(move), mover = type_of(entry.mover);
    int r = gives_check(pos, side, move, mover) ? CLASS_CHECK : 0;
    if (entry.victim || is_ep_square(pos, mover, to)) r |= CLASS_CAPTURE;
    if (mover != PAWN) return r;

    if (move & FLAG_QUEEN) return r | CLASS_QUEENING;
    int rank = rank_of(to ^ rank_flip[side]);
    if (rank == 6) return r | CLASS_SEVENTH;
    if (rank == 7) return r | CLASS_PAWN;
    if (rank == 5 && pos.board[to + pawn_push[side]] == 0
        && !(pawn_front_span[side][to] & pos.pieces[side ^ 1][PAWN]))
        return r | CLASS_PAWN;
    return r;
}

bool surely_gives_no_check(const Position& pos, const MoveEntry& entry, int move_class) {
    return !(move_class & CLASS_CHECK) && !(entry.move & FLAG_MASK)
        && !is_ep_square(pos, type_of(entry.mover), move_to(entry.move));
}
