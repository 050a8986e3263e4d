#include "board/castling.h"

// The rights that the castling field asks for, as bits of Position::castling. A rook's file names
// the wing on which it stands.
static int wanted_rights(const Position& pos, const char* field) {
    auto right_bit = [](int side, int wing) { return 1 << castling_right(side, wing); };
    auto wing_of_file = [&pos](int side, int file) {
        return file_of(pos.king_square[side]) < file ? KING_SIDE : QUEEN_SIDE;
    };
    int wanted = 0;
    for (; *field; field++) {
        char c = *field;
        if (c == 'K') wanted |= right_bit(WHITE, KING_SIDE);
        if (c == 'Q') wanted |= right_bit(WHITE, QUEEN_SIDE);
        if (c == 'k') wanted |= right_bit(BLACK, KING_SIDE);
        if (c == 'q') wanted |= right_bit(BLACK, QUEEN_SIDE);
        if (c >= 'A' && c <= 'H') wanted |= right_bit(WHITE, wing_of_file(WHITE, c - 'A'));
        if (c >= 'a' && c <= 'h') wanted |= right_bit(BLACK, wing_of_file(BLACK, c - 'a'));
    }
    return wanted;
}

Bitboard rooks_on_wing(const Position& pos, int right) {
    const int side = side_of_right(right), king = pos.king_square[side];
    return pos.pieces[side][ROOK]
         & (wing_of_right(right) == KING_SIDE ? ray_east[king] : ray_west[king]);
}

void grant_castling(Position& pos, int right, int rook) {
    const int side = side_of_right(right), wing = wing_of_right(right);
    const int king = pos.king_square[side];
    const int king_to = castled_king_square(king, wing), rook_to = castled_rook_square(king, wing);
    Bitboard path = between[king][king_to] | between[rook][rook_to] | bit(king_to) | bit(rook_to);
    pos.castle_rook[right] = static_cast<uint8_t>(rook);
    pos.castle_mask[right] = bit(king) | bit(rook);
    pos.castle_empty[right] = path & ~(bit(king) | bit(rook));
    pos.castling = static_cast<uint8_t>(pos.castling | (1 << right));
}

void set_castling_rights(Position& pos, const char* field) {
    for (int right = 0; right < CASTLING_RIGHTS; right++) {
        pos.castle_mask[right] = 0;
        pos.castle_empty[right] = 0;
        pos.castle_rook[right] = NO_SQUARE;
    }

    int wanted = wanted_rights(pos, field);
    for (int right = 0; right < CASTLING_RIGHTS; right++) {
        int side = side_of_right(right), king = pos.king_square[side];
        if (!(wanted >> right & 1) || king == NO_SQUARE) continue;
        if (rank_of(king) != rank_of(rank_flip[side])) continue;

        // With two rooks on the wing it can't be known which one is meant, and a guess would
        // castle with the wrong one. The right is dropped without a message.
        Bitboard rooks = rooks_on_wing(pos, right);
        if (pop_count(rooks) != 1) continue;
        grant_castling(pos, right, bit_scan_forward(rooks));
    }
}
