#include "shell/edit.h"

#include <cstring>

#include "base/print.h"
#include "board/castling.h"
#include "board/line.h"
#include "shell/input.h"

static void print_help() {
    Print("\n");
    Print(".                    end edit");
    Print("#                    clear board");
    Print("w  Pa2 Pb2 Kc2       white, pieces");
    Print("b  Pa7 Pb7 Kc7       black, pieces");
}

// The square named by two characters, or NO_SQUARE.
static int square_of_name(const char* name) {
    bool on_board = name[0] >= 'a' && name[0] <= 'h' && name[1] >= '1' && name[1] <= '8';
    return on_board ? (name[0] - 'a') + 8 * (name[1] - '1') : NO_SQUARE;
}

// Replaces what stands on the square; a letter that is no piece leaves it empty.
static void put_piece(Position& pos, int side, char letter, int square) {
    constexpr char LETTERS[] = "pnbrqk";
    if (int old = pos.board[square]; old != 0) {
        remove_piece(pos, square, old);
        if (pos.king_square[colour_of(old)] == square) pos.king_square[colour_of(old)] = NO_SQUARE;
    }
    if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter | 0x20);
    const char* found = strchr(LETTERS, letter);
    if (!found) return;
    int type = PAWN + static_cast<int>(found - LETTERS);
    add_piece(pos, square, piece_code(side, type));
    if (type == KING) pos.king_square[side] = static_cast<uint8_t>(square);
}

// Puts the pieces of one line on the board. A line for neither colour is passed over.
static void edit_line(Position& pos, char* line) {
    char* rest = nullptr;
    const char* word = strtok_r(line, " ", &rest);
    if (!word || (word[0] != 'w' && word[0] != 'b')) return;
    pos.side = word[0] == 'w' ? WHITE : BLACK;
    while ((word = strtok_r(nullptr, " ", &rest))) {
        int square = square_of_name(word + 1);
        if (square == NO_SQUARE) return;
        put_piece(pos, pos.side, word[0], square);
    }
}

// Rights for kings and rooks on their squares of the start position.
static void grant_castling(Position& pos) {
    struct Home {
        char letter;
        int side, king, rook;
    };
    constexpr Home HOMES[] = {
        {'K', WHITE, E1, H1}, {'Q', WHITE, E1, A1}, {'k', BLACK, E8, H8}, {'q', BLACK, E8, A8}};

    char field[5] = "";
    char* out = field;
    for (const Home& home : HOMES)
        if (pos.board[home.king] == piece_code(home.side, KING)
            && pos.board[home.rook] == piece_code(home.side, ROOK))
            *out++ = home.letter;
    pos.castling = 0;
    set_castling_rights(pos, field);
}

// Makes a game's first position of the edited board.
static void finish_edit(Position& pos) {
    for (int side : {WHITE, BLACK}) {
        Bitboard kings = pos.pieces[side][KING];
        if (pos.king_square[side] == NO_SQUARE && kings)
            pos.king_square[side] = static_cast<uint8_t>(bit_scan_forward(kings));
    }
    pos.touched = 0;
    grant_castling(pos);
    compute_keys(pos);
    clear_line(*pos.owner);
}

void edit_board(Position& pos) {
    char line[INPUT_LINE_LENGTH];
    print_help();
    while (read_line(line) && line[0] != '.') {
        if (line[0] == '#') {
            clear_position(pos);
            pos.side = WHITE;
        }
        edit_line(pos, line);
    }
    finish_edit(pos);
    print_board(pos);
}
