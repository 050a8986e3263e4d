#include "Training/ply_record.h"

#include <algorithm>

#include "board/attack.h"
#include "board/castling.h"

static bool captures_or_promotes(const Position& pos, Move move) {
    int from = move_from(move), to = move_to(move), mover = type_of(pos.board[from]);
    // A castling king may go to the square of its own rook.
    if (mover == KING && (move & FLAG_MASK)) return false;
    if (mover == PAWN && (rank_of(to) == 0 || rank_of(to) == 7)) return true;
    return pos.board[to] != 0 || is_ep_square(pos, mover, to);
}

void pack_ply(PlyRecord& record, const Position& pos, Move move, int score, int ply) {
    record = {};
    record.occupied = occupied(pos);
    int count = 0;
    for (Bitboard set = record.occupied; set; count++)
        record.units[count / 2] |=
            static_cast<uint8_t>(pos.board[pop_lowest(set)] << (count % 2 * 4));
    record.score = static_cast<int16_t>(score);
    record.move = move;

    int ep = pos.ep_square == NO_SQUARE ? 0 : file_of(pos.ep_square) + 1;
    int place = std::min(ply, RECORD_PLY) | ep << RECORD_EP_SHIFT;
    if (move != NULL_MOVE && captures_or_promotes(pos, move)) place |= RECORD_TACTICAL;
    if (king_in_check(pos)) place |= RECORD_CHECK;
    record.place = static_cast<uint16_t>(place);
    record.state = static_cast<uint8_t>(pos.side | pos.castling << RECORD_CASTLING_SHIFT);
    record.halfmoves = pos.halfmoves;
}

static int unit_code(const PlyRecord& record, int index) {
    return record.units[index / 2] >> (index % 2 * 4) & 15;
}

bool is_sound(const PlyRecord& record) {
    constexpr int MAX_UNITS = 32, MAX_PAWNS = 16;
    if (pop_count(record.occupied) > MAX_UNITS) return false;
    int kings[2] = {}, pawns = 0;
    int index = 0;
    for (Bitboard set = record.occupied; set; index++) {
        int square = pop_lowest(set), code = unit_code(record, index), type = type_of(code);
        if (type < PAWN || type > KING) return false;
        if (type == PAWN && (rank_of(square) == 0 || rank_of(square) == 7)) return false;
        if (type == KING) kings[colour_of(code)]++;
        pawns += type == PAWN;
    }
    return kings[WHITE] == 1 && kings[BLACK] == 1 && pawns <= MAX_PAWNS;
}

// Fills an empty board with the units of a sound record, and sets the side to move.
static void place_units(Position& pos, const PlyRecord& record) {
    int index = 0;
    for (Bitboard set = record.occupied; set; index++) {
        int square = pop_lowest(set), code = unit_code(record, index);
        add_piece(pos, square, code);
        if (type_of(code) == KING) pos.king_square[colour_of(code)] = static_cast<uint8_t>(square);
    }
    pos.side = static_cast<uint8_t>(record_side(record));
}

Position bare_board(const PlyRecord& record) {
    Position board = {};
    place_units(board, record);
    return board;
}

static void restore_castling(Position& pos, int rights) {
    set_castling_rights(pos, "");
    for (int right = 0; right < CASTLING_RIGHTS; right++) {
        int side = side_of_right(right), king = pos.king_square[side];
        if (!(rights >> right & 1) || rank_of(king) != rank_of(rank_flip[side])) continue;
        Bitboard rooks = rooks_on_wing(pos, right);
        if (!rooks) continue;
        int rook =
            wing_of_right(right) == KING_SIDE ? bit_scan_reverse(rooks) : bit_scan_forward(rooks);
        grant_castling(pos, right, rook);
    }
}

bool unpack_ply(Position& pos, const PlyRecord& record) {
    if (!is_sound(record)) return false;
    clear_position(pos);
    place_units(pos, record);
    restore_castling(pos, record.state >> RECORD_CASTLING_SHIFT & 15);
    int ep = record.place >> RECORD_EP_SHIFT & 15;
    if (ep >= 1 && ep <= 8)
        pos.ep_square = static_cast<uint8_t>((pos.side == WHITE ? 40 : 16) + ep - 1);
    pos.halfmoves = record.halfmoves;
    compute_keys(pos);
    return true;
}
