#include "board/fen.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

// Why a placement field is none, or null.
static const char* placement_fault(const char* text) {
    int ranks = 1, files = 0;
    for (; *text; text++) {
        if (*text == '/') {
            if (files != 8) return "a rank does not have eight squares";
            ranks++;
            files = 0;
        } else if (*text >= '1' && *text <= '8') {
            files += *text - '0';
        } else if (strchr("PNBRQKpnbrqk", *text)) {
            files++;
        } else {
            return "the board has a letter that is no piece";
        }
        if (files > 8) return "a rank does not have eight squares";
    }
    if (files != 8) return "a rank does not have eight squares";
    return ranks == 8 ? nullptr : "the board does not have eight ranks";
}

// Why the position, as it was set up, can't be one of a game, or null.
static const char* board_fault(const Position& pos) {
    constexpr Bitboard EDGE_RANKS = 0xFF000000000000FFULL;
    if ((pos.pieces[WHITE][PAWN] | pos.pieces[BLACK][PAWN]) & EDGE_RANKS)
        return "a pawn is on the first or the last rank";
    return unsearchable_reason(pos);
}

// Tells whether a pawn of the other side can have gone over the en passant square just now.
static bool ep_square_fits(const Position& pos) {
    const int ep = pos.ep_square, push = pawn_push[pos.side];
    if (rank_of(ep ^ rank_flip[pos.side]) != 5) return false;
    return pos.board[ep] == 0 && pos.board[ep + push] == 0
        && pos.board[ep - push] == piece_code(pos.side ^ 1, PAWN);
}

static const char* refuse(Position& pos, const char* reason) {
    clear_position(pos);
    compute_keys(pos);
    return reason;
}

const char* read_fen(Position& pos, const char* const* fields, int count) {
    const char* const missing[FEN_FIELDS] = {"", "w", "-", "-", "0", "1"};
    const char* field[FEN_FIELDS];
    for (int i = 0; i < FEN_FIELDS; i++) field[i] = i < count ? fields[i] : missing[i];

    if (const char* fault = placement_fault(field[0])) return refuse(pos, fault);
    if (strcmp(field[1], "w") != 0 && strcmp(field[1], "b") != 0)
        return refuse(pos, "the side to move is neither w nor b");

    char text[FEN_LENGTH];
    snprintf(text, sizeof text, "%.72s %s %.8s %.2s", field[0], field[1], field[2], field[3]);
    set_position(pos, text);
    if (const char* fault = board_fault(pos)) return refuse(pos, fault);
    if (pos.ep_square != NO_SQUARE && !ep_square_fits(pos)) {
        pos.ep_square = NO_SQUARE;
        compute_keys(pos);
    }
    const long halfmoves = strtol(field[4], nullptr, 10);
    pos.halfmoves = static_cast<uint8_t>(std::clamp(halfmoves, 0L, long{MAX_HALFMOVES}));
    return nullptr;
}
