#include "board/attack.h"

int square_attacked(const Position& pos, int square, int by_side) {
    const Bitboard* pieces = pos.pieces[by_side];
    if (pawn_attacks[by_side ^ 1][square] & pieces[PAWN]) return 1;
    if (knight_attacks[square] & pieces[KNIGHT]) return 1;
    if (king_attacks[square] & pieces[KING]) return 1;

    Bitboard diagonals = bishop_rays[square] & (pieces[BISHOP] | pieces[QUEEN]);
    Bitboard orthogonals = rook_rays[square] & (pieces[ROOK] | pieces[QUEEN]);
    Bitboard occ = occupied(pos);
    if (diagonals && (bishop_attacks(square, occ) & diagonals)) return 1;
    return orthogonals && (rook_attacks(square, occ) & orthogonals);
}

bool attacked_through(const Position& pos, int square, int side, Bitboard occ, Bitboard present) {
    const Bitboard* pieces = pos.pieces[side];

    Bitboard diagonals = bishop_rays[square] & (pieces[BISHOP] | pieces[QUEEN]) & present;
    if (diagonals && (bishop_attacks(square, occ) & diagonals)) return true;
    Bitboard orthogonals = rook_rays[square] & (pieces[ROOK] | pieces[QUEEN]) & present;
    if (orthogonals && (rook_attacks(square, occ) & orthogonals)) return true;
    return ((pawn_attacks[side ^ 1][square] & pieces[PAWN])
            | (knight_attacks[square] & pieces[KNIGHT]) | (king_attacks[square] & pieces[KING]))
         & present;
}

// The lone piece between a slider and its target, for each slider of a set.
static Bitboard lone_blockers(Bitboard sliders, int target, Bitboard occ) {
    Bitboard result = 0;
    while (sliders) {
        Bitboard blockers = between[pop_lowest(sliders)][target] & occ;
        if (blockers && !(blockers & (blockers - 1))) result |= blockers;
    }
    return result;
}

Bitboard pinned_pieces(const Position& pos, int side) {
    const Bitboard* enemy = pos.pieces[side ^ 1];
    Bitboard occ = occupied(pos), result = 0;
    int king = pos.king_square[side];
    if (king != NO_SQUARE) {
        result |= lone_blockers(bishop_rays[king] & (enemy[BISHOP] | enemy[QUEEN]), king, occ);
        result |= lone_blockers(rook_rays[king] & (enemy[ROOK] | enemy[QUEEN]), king, occ);
    }
    if (pos.pieces[side][QUEEN]) {
        int queen = bit_scan_forward(pos.pieces[side][QUEEN]);
        result |= lone_blockers(bishop_rays[queen] & enemy[BISHOP], queen, occ);
        result |= lone_blockers(rook_rays[queen] & enemy[ROOK], queen, occ);
    }
    return result & pos.pieces[side][ALL_PIECES];
}

// The part of discovers_support for one kind of line.
static bool supports_on_lines(Position& pos, int type, int from, int to, Bitboard targets,
                              Bitboard blockers) {
    int side = pos.side;
    while (targets) {
        int square = pop_lowest(targets);
        if (between[to][square] & blockers) continue;
        pos.pieces[side][type] ^= bit(from);
        pos.pieces[side][ALL_PIECES] ^= bit(from);
        int attacked = square_attacked(pos, square, side);
        pos.pieces[side][type] ^= bit(from);
        pos.pieces[side][ALL_PIECES] ^= bit(from);
        if (attacked) return true;
    }
    return false;
}

int discovers_support(Position& pos, int type, int from, int to, Bitboard targets) {
    const Bitboard* own = pos.pieces[pos.side];
    Bitboard occ = occupied(pos);
    if (type == ROOK || type == QUEEN) {
        Bitboard lines = targets & rook_rays[to] & ~rook_rays[from] & ~bit(from);
        if (supports_on_lines(pos, type, from, to, lines, occ & ~(own[ROOK] | own[QUEEN])))
            return 1;
    }
    if (type == BISHOP || type == QUEEN) {
        Bitboard lines = targets & bishop_rays[to] & ~bishop_rays[from] & ~bit(from);
        if (supports_on_lines(pos, type, from, to, lines, occ & ~(own[BISHOP] | own[QUEEN])))
            return 1;
    }
    return 0;
}
