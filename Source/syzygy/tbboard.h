// tbboard.h: the board as the endgame tables see it: positions, moves, legality.
//
// Apart from Position, so that the tables stand by themselves: no castling, no undo, a new record
// for each move. Everything is a value of the calling thread.

#pragma once

#include "board/types.h"

struct TBPosition {
    Bitboard white, black;                                  // pieces by colour
    Bitboard kings, queens, rooks, bishops, knights, pawns; // of both colours
    uint8_t rule50; // plies since the last capture or pawn move; stops at 255
    uint8_t ep;     // the square that a pawn just skipped, 0 for none
    uint8_t turn;   // 1 if white is to move
};

// To-square in bits 0-5, from-square in bits 6-11, promotion in bits 12-14.
using TBMove = uint16_t;

constexpr int TB_QUEEN = 1, TB_ROOK = 2, TB_BISHOP = 3, TB_KNIGHT = 4; // promotions; 0 is none

constexpr int tb_to(TBMove move) { return move & 63; }
constexpr int tb_from(TBMove move) { return move >> 6 & 63; }
constexpr int tb_promotion(TBMove move) { return move >> 12 & 7; }

// Room for the moves of any position of up to six pieces.
constexpr int TB_MOVES = 256;

inline Bitboard tb_occupied(const TBPosition& pos) { return pos.white | pos.black; }

// The pieces of one piece code: the type, plus 8 for black.
Bitboard tb_pieces(const TBPosition& pos, int code);

// 1 if the side that just moved has a king that does not stand in check.
int tb_legal(const TBPosition& pos);

// Tells whether the side to move stands in check.
bool tb_in_check(const TBPosition& pos);

// Generators of pseudo-legal moves. They return the place behind the last one. Pieces come in the
// order king, queens, rooks, bishops, knights, pawns, each from the lowest square up; a promotion
// comes as four moves.
TBMove* tb_gen_moves(const TBPosition& pos, TBMove* out);
TBMove* tb_gen_captures(const TBPosition& pos, TBMove* out);      // en passant included
TBMove* tb_gen_ep_captures(const TBPosition& pos, TBMove* out);   // nothing else
TBMove* tb_gen_pawn_advances(const TBPosition& pos, TBMove* out); // promotions included

// Tells whether a move of this position captures en passant.
bool tb_is_ep_capture(const TBPosition& pos, TBMove move);

// Writes the position after the move. Returns 1 if the move was legal. `ep` of the new position is
// set after a double push only if an enemy pawn attacks the skipped square.
int tb_do_move(TBPosition& next, const TBPosition& pos, TBMove move);
