// types.h: the small types of the board: squares, colours, pieces, moves, list entries.
//
// Everything here is a plain value; nothing is shared and nothing needs a thread's care.

#pragma once

#include <cstdint>
#include <initializer_list> // IWYU pragma: keep, for (int side : {WHITE, BLACK})

using Bitboard = uint64_t; // bit s is square s
using Move = uint16_t;     // to-square 0-5, from-square 8-13, flags 0xC0C0; see below

// Squares run a1 = 0, b1 = 1 ... h8 = 63: file = square & 7, rank = square >> 3.
constexpr int SQUARES = 64;
constexpr int NO_SQUARE = 64;

enum Square : int { A1 = 0, B1, C1, D1, E1, F1, G1, H1, A8 = 56, B8, C8, D8, E8, F8, G8, H8 };

constexpr int WHITE = 0;
constexpr int BLACK = 1;

// Piece types; a piece code is the type, plus 8 for black. Codes 7, 8 and 15 are not used.
constexpr int PAWN = 1;
constexpr int KNIGHT = 2;
constexpr int BISHOP = 3;
constexpr int ROOK = 4;
constexpr int QUEEN = 5;
constexpr int KING = 6;
constexpr int PIECE_CODES = 16;
constexpr int ALL_PIECES = 0; // index of a colour's whole set in Position::pieces

constexpr int type_of(int code) { return code & 7; }
constexpr int colour_of(int code) { return (code >> 3) & 1; }
constexpr int piece_code(int side, int type) { return side * 8 + type; }

constexpr int file_of(int square) { return square & 7; }
constexpr int rank_of(int square) { return square >> 3; }
constexpr bool on_queen_side(int square) { return file_of(square) < 4; } // files a-d
constexpr Bitboard bit(int square) { return 1ULL << square; }

constexpr int CASTLING_RIGHTS = 4; // two wings for each colour, numbered in castling.h

// Move flags. At most one is set. On a pawn they name the promotion, on a king the castling wing.
constexpr Move FLAG_QUEEN = 0x0040;  // queen promotion; king side on a king
constexpr Move FLAG_KNIGHT = 0x0080; // knight promotion; queen side on a king
constexpr Move FLAG_BISHOP = 0x4000;
constexpr Move FLAG_ROOK = 0x8000;
constexpr Move FLAG_KING_SIDE = FLAG_QUEEN;
constexpr Move FLAG_QUEEN_SIDE = FLAG_KNIGHT;
constexpr Move FLAG_MASK = 0xC0C0;

constexpr Move NULL_MOVE = 0;     // a null move, or no move
constexpr Move LIST_END = 0xFFFF; // sentinel behind the last entry of a list

constexpr int move_to(Move move) { return move & 63; }
constexpr int move_from(Move move) { return (move >> 8) & 63; }
constexpr Move make_plain_move(int from, int to) { return static_cast<Move>((from << 8) | to); }

// The piece type that a promotion flag stands for; with no flag a queen.
constexpr int promoted_type(Move move) {
    if (move & FLAG_KNIGHT) return KNIGHT;
    if (move & FLAG_BISHOP) return BISHOP;
    if (move & FLAG_ROOK) return ROOK;
    return QUEEN;
}

// One element of a move list.
struct MoveEntry {
    Move move;      // LIST_END marks the end; the other fields of that entry are undefined
    int16_t score;  // ordering score, written by the picker, not by the generators
    uint8_t mover;  // piece code on the from-square when the list was generated
    uint8_t victim; // piece code on the to-square, 0 for a quiet move and for en passant
};
static_assert(sizeof(MoveEntry) == 6, "lists are walked in steps of six bytes");

// Packed scores: endgame * 65536 + midgame in one integer, so that they add as integers.
// Additions go through unsigned arithmetic: a sum may wrap on its way, never in its halves.
constexpr int32_t pack_score(int mg, int eg) {
    return static_cast<int32_t>(static_cast<uint32_t>(eg) * 65536u + static_cast<uint32_t>(mg));
}
constexpr int packed_mg(int32_t packed) { return static_cast<int16_t>(packed & 0xFFFF); }
constexpr int packed_eg(int32_t packed) {
    return static_cast<int32_t>(static_cast<uint32_t>(packed) + 0x8000u) >> 16;
}
constexpr int32_t packed_add(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}
constexpr int32_t packed_sub(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}
constexpr int32_t packed_times(int32_t a, int count) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(count));
}
