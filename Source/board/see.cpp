#include "board/see.h"

#include <algorithm>

int16_t see_value[8] = {0, 100, 335, 335, 535, 1035, 10000, 0};

void set_exchange_values() {
    constexpr int16_t VALUES[8] = {0, 100, 350, 350, 550, 1075, 9000, 0};
    std::copy_n(VALUES, 8, see_value);
}

int least_attacker(const Position& pos, int square, int side, Bitboard occ) {
    const Bitboard* own = pos.pieces[side];

    Bitboard set = pawn_attacks[side ^ 1][square] & own[PAWN] & occ;
    if (set) return bit_scan_forward(set);
    set = knight_attacks[square] & own[KNIGHT] & occ;
    if (set) return bit_scan_forward(set);

    Bitboard diagonals = bishop_rays[square] & (own[BISHOP] | own[QUEEN]) & occ;
    Bitboard orthogonals = rook_rays[square] & (own[ROOK] | own[QUEEN]) & occ;
    if (diagonals) {
        diagonals &= bishop_attacks(square, occ);
        set = diagonals & own[BISHOP];
        if (set) return bit_scan_forward(set);
    }
    if (orthogonals) {
        orthogonals &= rook_attacks(square, occ);
        set = orthogonals & own[ROOK];
        if (set) return bit_scan_forward(set);
    }
    set = diagonals | orthogonals; // only queens are left
    if (set) return bit_scan_forward(set);

    set = king_attacks[square] & own[KING] & occ;
    return set ? bit_scan_forward(set) : NO_SQUARE;
}

int first_attacker(const Position& pos, int square, int side, Bitboard occ) {
    if (square == NO_SQUARE) return NO_SQUARE;
    return least_attacker(pos, square, side, occ);
}

// see_reply from the moment when `side`'s cheapest attacker `a` is known.
static int exchange(const Position& pos, int side, int square, int target_type, Bitboard occ,
                    int a) {
    if (target_type == KING) return ILLEGAL_KING_CAPTURE;
    occ ^= bit(a);
    int v = see_value[target_type], attacker = type_of(pos.board[a]);

    int b = least_attacker(pos, square, side ^ 1, occ);
    if (b == NO_SQUARE) return v;
    // The king may not capture into a defended square.
    if (attacker == KING) return std::max(v - ILLEGAL_KING_CAPTURE, 0);

    int w = see_reply(pos, side, square, type_of(pos.board[b]), occ ^ bit(b));
    return std::max(v - std::max(see_value[attacker] - w, 0), 0);
}

int see_reply(const Position& pos, int side, int square, int target_type, Bitboard occ) {
    int a = least_attacker(pos, square, side, occ);
    return a == NO_SQUARE ? 0 : exchange(pos, side, square, target_type, occ, a);
}

int see(const Position& pos, int side, int from, int to) {
    Bitboard occ = occupied(pos);
    int target = type_of(pos.board[to]);
    if (from == NO_SQUARE) return see_reply(pos, side, to, target, occ);

    occ &= ~bit(from);
    int v = see_value[target];
    int b = least_attacker(pos, to, side ^ 1, occ);
    if (b == NO_SQUARE) return v;

    int mover = type_of(pos.board[from]);
    if (mover == KING) return v - ILLEGAL_KING_CAPTURE;
    return v - exchange(pos, side ^ 1, to, mover, occ, b);
}
