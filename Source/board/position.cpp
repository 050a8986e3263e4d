#include "board/position.h"

#include <cstring>

#include "base/print.h"
#include "board/attack.h"
#include "board/castling.h"
#include "board/line.h"

constexpr char PIECE_LETTERS[] = "PNBRQK"; // by type, from type 1 on

// Piece code of a FEN letter, or 0.
static int code_of_letter(char letter) {
    for (int type = PAWN; type <= KING; type++) {
        char white = PIECE_LETTERS[type - 1];
        if (letter == white) return piece_code(WHITE, type);
        if (letter == (white | 0x20)) return piece_code(BLACK, type);
    }
    return 0;
}

static bool is_space_or_end(char c) { return (c & 0xDF) == 0; }

static const char* skip_spaces(const char* text) {
    while (*text == ' ') text++;
    return text;
}

void clear_position(Position& pos) {
    pos.touched = 0;
    pos.castling = 0;
    pos.halfmoves = 0;
    for (int side : {WHITE, BLACK}) {
        pos.piece_counts[side] = 0;
        pos.material[side] = 0;
        pos.king_square[side] = NO_SQUARE;
        for (int type = ALL_PIECES; type <= KING; type++) pos.pieces[side][type] = 0;
    }
    memset(pos.board, 0, sizeof pos.board);
    pos.ep_square = NO_SQUARE;

    clear_line(*pos.owner);
}

// Reads the placement field and returns the place behind it. Letters for squares off the board or
// for squares that are taken are passed over.
static const char* read_placement(Position& pos, const char* text) {
    int file = 0, rank = 7;
    for (; !is_space_or_end(*text); text++) {
        if (*text == '/') {
            file = 0;
            rank--;
        } else if (*text >= '1' && *text <= '8') {
            file += *text - '0';
            if (file > 8) file = 8; // stays off the board
        } else if (int code = code_of_letter(*text); code != 0) {
            if (file < 8 && rank >= 0) {
                int square = rank * 8 + file;
                add_piece(pos, square, code);
                if (type_of(code) == KING)
                    pos.king_square[colour_of(code)] = static_cast<uint8_t>(square);
            }
            if (file < 8) file++;
        }
    }
    return text;
}

// Reads the en passant field. A value that is no square, such as a digit alone may give, counts
// as none.
static void read_ep_square(Position& pos, const char* text) {
    int square = NO_SQUARE;
    for (; !is_space_or_end(*text); text++) {
        if (*text >= 'a' && *text <= 'h') square = *text - 'a';
        if (*text >= '1' && *text <= '8') {
            square += (*text - '1') * 8;
            if (is_space_or_end(text[1])) break;
        }
    }
    pos.ep_square = static_cast<uint8_t>(square >= 0 && square < SQUARES ? square : NO_SQUARE);
}

void set_position(Position& pos, const char* fen) {
    clear_position(pos);

    const char* text = read_placement(pos, fen);
    if (*text != 0) {
        text = skip_spaces(text);
        if (*text == 'w') pos.side = WHITE;
        if (*text == 'b') pos.side = BLACK;
        if (*text != 0) text++;
    }

    char castling_field[9] = {};
    size_t length = 0;
    text = skip_spaces(text);
    while (length < 8 && !is_space_or_end(*text)) castling_field[length++] = *text++;
    set_castling_rights(pos, castling_field);

    read_ep_square(pos, skip_spaces(text));
    compute_keys(pos);
}

void compute_keys(Position& pos) {
    pos.key = pos.pawn_key = 0;
    for (int square = 0; square < SQUARES; square++) {
        int code = pos.board[square];
        if (code == 0) continue;
        pos.key ^= piece_key(code, square);
        if (type_of(code) == PAWN) pos.pawn_key ^= piece_key(code, square);
    }
    // The row of the empty square serves en passant (16-23, 40-47) and rights (0-15).
    if (pos.ep_square != NO_SQUARE) pos.key ^= zobrist[pos.ep_square];
    pos.key ^= zobrist[pos.castling];
    pos.key = key_with_side(pos.key, pos.side);
}

void write_fen(const Position& pos, char* out, int with_counters) {
    for (int rank = 7; rank >= 0; rank--) {
        int empty = 0;
        for (int file = 0; file < 8; file++) {
            int code = pos.board[rank * 8 + file];
            if (code == 0) {
                empty++;
                continue;
            }
            if (empty) *out++ = static_cast<char>('0' + empty);
            empty = 0;
            char letter = PIECE_LETTERS[type_of(code) - 1];
            *out++ = static_cast<char>(colour_of(code) == WHITE ? letter : letter | 0x20);
        }
        if (empty) *out++ = static_cast<char>('0' + empty);
        if (rank) *out++ = '/';
    }
    *out++ = ' ';
    *out++ = pos.side == WHITE ? 'w' : 'b';
    *out++ = ' ';
    if (pos.castling == 0) *out++ = '-';
    for (int right = 0; right < CASTLING_RIGHTS; right++)
        if (has_right(pos, right)) *out++ = "KQkq"[right];
    *out++ = ' ';
    if (pos.ep_square == NO_SQUARE) {
        *out++ = '-';
    } else {
        *out++ = static_cast<char>('a' + file_of(pos.ep_square));
        *out++ = static_cast<char>('1' + rank_of(pos.ep_square));
    }
    *out = 0;
    if (with_counters) snprintf(out, 16, " %d %d", pos.halfmoves, pos.owner->undo_index);
}

void print_board(const Position& pos) {
    char text[FEN_LENGTH + 256];
    write_fen(pos, text, 1);
    char* out = text + strlen(text);
    *out++ = '\n';
    for (int rank = 7; rank >= 0; rank--) {
        *out++ = ' ';
        for (int file = 0; file < 8; file++) {
            int code = pos.board[rank * 8 + file];
            *out++ = ' ';
            // A black pawn is an "o", which stands out from a white "P".
            if (code == 0) *out++ = ((rank ^ file) & 1) == 0 ? '+' : '-';
            else *out++ = (colour_of(code) == WHITE ? PIECE_LETTERS : "onbrqk")[type_of(code) - 1];
        }
        *out++ = '\n';
    }
    strcpy(out, pos.side == WHITE ? "white\n" : "black\n");
    Print(text);
}

const char* unsearchable_reason(const Position& pos) {
    constexpr int MAX_PIECES = 16; // of one side; longer move lists have no room

    for (int side : {WHITE, BLACK}) {
        if (pop_count(pos.pieces[side][KING]) != 1)
            return side == WHITE ? "white does not have exactly one king"
                                 : "black does not have exactly one king";
        if (pop_count(pos.pieces[side][ALL_PIECES]) > MAX_PIECES)
            return side == WHITE ? "white has more than 16 pieces"
                                 : "black has more than 16 pieces";
    }
    if (find_checker(pos, pos.side ^ 1) != NO_SQUARE) return "the side not to move is in check";
    return nullptr;
}
