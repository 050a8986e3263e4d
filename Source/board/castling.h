// castling.h: rights, wings and squares of castling, of normal chess and Chess960 alike.
//
// A right is a number: colour * 2 + wing; its bit in Position::castling is 1 << right. Where king
// and rook of a right start stands in the position, where they end is the same in all games.

#pragma once

#include "board/position.h"
#include "board/types.h"

// Wings.
constexpr int KING_SIDE = 0;
constexpr int QUEEN_SIDE = 1;

constexpr int castling_right(int side, int wing) { return side * 2 + wing; }
constexpr int side_of_right(int right) { return right >> 1; }
constexpr int wing_of_right(int right) { return right & 1; }

// The wing that a castling move names by its flag, and the flag for a wing.
constexpr int castling_wing(Move move) { return move & FLAG_KING_SIDE ? KING_SIDE : QUEEN_SIDE; }
constexpr Move wing_flag(int wing) { return wing == KING_SIDE ? FLAG_KING_SIDE : FLAG_QUEEN_SIDE; }

// Tells whether a move by the piece with that code is castling.
constexpr bool is_castling(Move move, int mover) {
    return (move & FLAG_MASK) != 0 && type_of(mover) == KING;
}

// The squares where the king that starts on `king` and its rook end: g and f, or c and d, of the
// king's rank. That is the home rank but where a text has set up several kings of one colour.
constexpr int castled_king_square(int king, int wing) {
    return king - file_of(king) + (wing == KING_SIDE ? G1 : C1);
}
constexpr int castled_rook_square(int king, int wing) {
    return king - file_of(king) + (wing == KING_SIDE ? F1 : D1);
}

// The move of the king that stands for castling on that wing.
inline Move castling_move(const Position& pos, int side, int wing) {
    return static_cast<Move>(
        make_plain_move(pos.king_square[side], castled_king_square(pos.king_square[side], wing))
        | wing_flag(wing));
}

// Tells whether the right still lives.
inline bool has_right(const Position& pos, int right) { return pos.castling >> right & 1; }

// Tells whether the right lives and the way of king and rook is free. Attacks are not looked at.
inline bool way_is_free(const Position& pos, int right) {
    return has_right(pos, right) && !(pos.castle_empty[right] & occupied(pos));
}

// Own rooks between the king and the edge on the right's wing. The king must be on the board.
Bitboard rooks_on_wing(const Position& pos, int right);

// Grants the right with that index to the king and a rook of the wing, both on their home rank.
void grant_castling(Position& pos, int right, int rook);

// Grants the rights that a FEN castling field of at most eight characters asks for: K, Q, k, q or
// rook files A-H, a-h. `castling` must be 0 before. A right needs the king on its home rank and
// exactly one own rook on that wing; others are dropped without a message.
void set_castling_rights(Position& pos, const char* field);
