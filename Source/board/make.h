// make.h: making and unmaking moves, and questions about a move or square on the board as it
// stands.
//
// A make followed by an unmake restores every byte of the Position. Moves are pseudo-legal until
// legal_move says otherwise.

#pragma once

#include "board/position.h"

// Called with the position before each move that is made, a null move being move 0, while the
// moves of the search are traced; else null. Set by the main thread while no search runs.
extern void (*trace_move)(const Position& pos, Move move);

// Makes a pseudo-legal move. A pawn that arrives on the last rank without a flag becomes a queen.
void make_move(Position& pos, Move move);

// Makes a move of the game. When the undo stack is full its oldest records are forgotten, so that
// a game of any length can be played on; repetitions lie far behind them.
void make_game_move(Position& pos, Move move);

// The key that an ordinary move leads to. Castling, en passant, promotions, double pushes and lost
// rights are left out, so that it is good for a prefetch only.
uint64_t likely_key_after(const Position& pos, const MoveEntry& entry);

// Takes back the move on top of the undo stack.
void unmake_move(Position& pos);

// Passes the move to the other side, and back. The search calls them around the null search; they
// keep no list of moves.
void make_null_move(Position& pos);
void unmake_null_move(Position& pos);

// Returns 1 if the pseudo-legal move does not leave the own king attacked, else 0; 0 for move 0.
// For castling it looks at the king's path alone, not at what the rook's departure opens.
int legal_move(const Position& pos, int side, Move move);

// The same with the knowledge whether the side stands in check: if not, a piece off the king's
// lines can't expose it.
inline int legal_move_knowing(const Position& pos, int side, Move move, int in_check) {
    int from = move_from(move), king = pos.king_square[side];
    if (!in_check && king != from && !((rook_rays[king] | bishop_rays[king]) & bit(from))
        && move_to(move) != pos.ep_square)
        return 1;
    return legal_move(pos, side, move);
}

// Tells whether a castling move leaves the king attacked by a line that the rook's departure
// opened, which legal_move does not see. 0 for all other moves.
int castling_exposes_king(const Position& pos, int side, Move move);

// Tells whether a pseudo-legal move is legal by the rules, castling included.
inline bool legal_by_rules(const Position& pos, int side, Move move) {
    return legal_move(pos, side, move) && !castling_exposes_king(pos, side, move);
}

// Not 0 if a piece of that side attacks the square, with the current occupancy.
int square_attacked(const Position& pos, int square, int by_side);

// Tells whether the king of the side to move is attacked.
inline bool king_in_check(const Position& pos) {
    return square_attacked(pos, pos.king_square[pos.side], pos.side ^ 1) != 0;
}

// Draw by the fifty-move rule or by repetition: 1 or 0. `ply` is the search's, or 0 to ask about
// the game: then a count past the limit is a draw only if no legal move exists. A repetition of
// a position from the root on draws at once, one from before the root at its second match.
int is_draw(Position& pos, int ply);

// Classes of a move, added up by classify_move.
constexpr int CLASS_CAPTURE = 1;  // also en passant
constexpr int CLASS_CHECK = 2;    // gives check; a check by the castling rook is not seen
constexpr int CLASS_SEVENTH = 40; // a pawn moves to its seventh rank
constexpr int CLASS_QUEENING = 48;
constexpr int CLASS_PAWN = 32;    // in both above; alone an under-promotion or a passer's sixth
constexpr int CLASS_SPECIAL = 63; // any of these

// What kind of move this is, for the position before it.
int classify_move(const Position& pos, int side, const MoveEntry& entry);

// Tells whether the move gives check, as classify_move sees it.
bool gives_check(const Position& pos, int side, Move move, int mover_type);

// Tells whether a pawn of `side` going to `to` captures en passant by the square alone.
inline bool is_ep_square(const Position& pos, int mover_type, int to) {
    return mover_type == PAWN && to == pos.ep_square;
}

// Pieces of the side that are pinned to its king by a slider, or to its queen on the lowest
// square by a bishop or rook.
Bitboard pinned_pieces(const Position& pos, int side);

// Tells, before the move is made, whether a bishop, rook or queen of the side to move that goes
// from `from` to `to` attacks something in `targets` along a new line where another own piece
// attacks it too. Own line partners do not block the way. Returns 1 or 0.
int discovers_support(Position& pos, int type, int from, int to, Bitboard targets);
