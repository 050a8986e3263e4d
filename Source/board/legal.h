// legal.h: which moves the rules allow, asked without making them.
//
// Moves are pseudo-legal until legal_move says otherwise: as the generators write them, without a
// look at the own king. Nothing here changes the position, so that each thread asks about its own.

#pragma once

#include "board/position.h"

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

// Tells whether the side to move has a legal move, in any position that a text can set up.
bool has_legal_move(const Position& pos);

// Tells of any 16 bits whether they are a move that the generators write here for the side to
// move and that legal_move allows. For positions with one king a side.
bool is_playable(const Position& pos, Move move);

// The same for a move that was stored, in the hash table or a file. Castling where the king stays
// on its square or goes to its rook's is left out: such bits may as well be damaged ones. A search
// loses nothing but a move to begin with.
bool stored_move_valid(const Position& pos, Move move);
