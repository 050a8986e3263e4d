#include "board/movetext.h"

#include <cctype>
#include <cstdio>
#include <cstring>

#include "base/state.h"
#include "board/castling.h"
#include "board/classify.h"
#include "board/legal.h"
#include "board/movegen.h"

// clang-format off
const char SQUARE_NAMES[65][3] = {
    "a1", "b1", "c1", "d1", "e1", "f1", "g1", "h1",
    "a2", "b2", "c2", "d2", "e2", "f2", "g2", "h2",
    "a3", "b3", "c3", "d3", "e3", "f3", "g3", "h3",
    "a4", "b4", "c4", "d4", "e4", "f4", "g4", "h4",
    "a5", "b5", "c5", "d5", "e5", "f5", "g5", "h5",
    "a6", "b6", "c6", "d6", "e6", "f6", "g6", "h6",
    "a7", "b7", "c7", "d7", "e7", "f7", "g7", "h7",
    "a8", "b8", "c8", "d8", "e8", "f8", "g8", "h8", "-"};
// clang-format on

constexpr char TYPE_LETTERS[] = " PNBRQK";

static void write_squares(int from, int to, char* out) {
    memcpy(out, SQUARE_NAMES[from], 2);
    memcpy(out + 2, SQUARE_NAMES[to], 3);
}

static int castling_rook(const Position& pos, int side, Move move) {
    return pos.castle_rook[castling_right(side, castling_wing(move))];
}

void move_to_text_raw(const Position& pos, int side, Move move, char* out) {
    int from = move_from(move), to = move_to(move);
    write_squares(from, to, out);
    if (!(move & FLAG_MASK)) return;

    if (rank_of(from) == 0 || rank_of(from) == 7) { // no pawn stands there: castling
        if (relaxed(shell.chess960)) write_squares(from, castling_rook(pos, side, move), out);
        return;
    }
    const char* suffixes[] = {"=Q", "=N", "=B", "=R"};
    int piece = move & FLAG_QUEEN ? 0 : move & FLAG_KNIGHT ? 1 : move & FLAG_BISHOP ? 2 : 3;
    if (relaxed(shell.uci_mode)) {
        out[4] = "qnbr"[piece];
        out[5] = 0;
    } else {
        strcpy(out + 4, suffixes[piece]);
    }
}

void move_to_text(const Position& pos, int side, Move move, char* out) {
    if (move == NULL_MOVE) strcpy(out, "null");
    else move_to_text_raw(pos, side, move, out);
}

// Forms of a pawn move. `coordinate` comes with the protocol's promotion suffix.
static void write_pawn_forms(const Position& pos, Move move, char* coordinate, char* short_form,
                             char* file_form) {
    int to = move_to(move);
    const char* suffix = "";
    if (move & FLAG_MASK) {
        suffix = move & FLAG_QUEEN  ? "=Q"
               : move & FLAG_KNIGHT ? "=N"
               : move & FLAG_BISHOP ? "=B"
                                    : "=R";
    }
    coordinate[4] = 0;

    if (pos.board[to] != 0 || to == pos.ep_square) {
        strcpy(short_form, coordinate);
        short_form[1] = 'x';
        file_form[0] = coordinate[0];
        file_form[1] = coordinate[2];
        file_form[2] = 0;
        strcat(file_form, suffix);
    } else {
        strcpy(short_form, SQUARE_NAMES[to]);
        if (suffix[0]) strcpy(file_form, suffix);
    }
    strcat(coordinate, suffix);
    strcat(short_form, suffix);
}

static void write_castling_forms(const Position& pos, int side, Move move, char* coordinate,
                                 char* short_form, char* file_form, char* rank_form) {
    bool king_side = (move & FLAG_KING_SIDE) != 0;
    strcpy(short_form, king_side ? "o-o" : "o-o-o");
    strcpy(file_form, king_side ? "O-O" : "O-O-O");

    // Both spellings can be matched on input, whichever the option asks for on output.
    int from = move_from(move), rook = castling_rook(pos, side, move);
    bool chess960 = relaxed(shell.chess960) != 0;
    write_squares(from, chess960 ? rook : move_to(move), coordinate);
    write_squares(from, chess960 ? move_to(move) : rook, rank_form);
}

// Other pieces of the mover's type and colour that reach the to-square. Pins are not considered.
static Bitboard fellow_movers(const Position& pos, int side, int type, int from, int to) {
    Bitboard others = pos.pieces[side][type] & ~bit(from);
    if (!others) return 0;
    Bitboard occ = occupied(pos) | bit(to);
    Bitboard attacks = 0;
    if (type == KNIGHT) attacks = knight_attacks[to];
    if (type == BISHOP || type == QUEEN) attacks |= bishop_attacks(to, occ);
    if (type == ROOK || type == QUEEN) attacks |= rook_attacks(to, occ);
    return others & attacks;
}

static void write_piece_forms(const Position& pos, int side, Move move, int type, char* short_form,
                              char* file_form, char* rank_form) {
    int from = move_from(move), to = move_to(move);
    char letter = TYPE_LETTERS[type];

    char by_file[3] = {letter, SQUARE_NAMES[from][0], 0};
    char by_rank[3] = {letter, SQUARE_NAMES[from][1], 0};
    char plain[2] = {letter, 0};

    Bitboard fellows = fellow_movers(pos, side, type, from, to);
    const char* shortest = plain;
    if (fellows & file_mask(file_of(from))) shortest = by_rank;
    else if (fellows & rank_mask(rank_of(from))) shortest = by_file;

    const char* target = SQUARE_NAMES[to];
    const char* takes = pos.board[to] != 0 ? "x" : "";
    snprintf(short_form, MOVE_TEXT_LENGTH, "%s%s%s", shortest, takes, target);
    snprintf(file_form, MOVE_TEXT_LENGTH, "%s%s%s", by_file, takes, target);
    snprintf(rank_form, MOVE_TEXT_LENGTH, "%s%s%s", by_rank, takes, target);
}

void move_to_forms(const Position& pos, Move move, char* coordinate, char* short_form,
                   char* file_form, char* rank_form) {
    int from = move_from(move), mover = pos.board[from];
    int side = colour_of(mover), type = type_of(mover);

    short_form[0] = file_form[0] = rank_form[0] = 0;
    move_to_text(pos, side, move, coordinate);
    if (move == NULL_MOVE) return;

    if (type == PAWN) write_pawn_forms(pos, move, coordinate, short_form, file_form);
    else if (type == KING && (move & FLAG_MASK))
        write_castling_forms(pos, side, move, coordinate, short_form, file_form, rank_form);
    else write_piece_forms(pos, side, move, type, short_form, file_form, rank_form);

    if (gives_check(pos, side, move, type))
        for (char* form : {coordinate, short_form, file_form, rank_form}) strcat(form, "+");
}

// Brings typed text to the spelling of the forms: no check mark, "=Q" for a promotion, "o" for
// castling.
static void normalise_move_text(char* text) {
    if (char* plus = strchr(text, '+')) *plus = 0;
    size_t length = strlen(text);
    if (length == 0) return;

    char last = static_cast<char>(toupper(static_cast<unsigned char>(text[length - 1])));
    if (strchr("BNQR", last) && (length < 2 || text[length - 2] != '=')) {
        text[length - 1] = '=';
        text[length] = last;
        text[length + 1] = 0;
    }
    for (char* c = text; *c; c++)
        if (*c == 'O' || *c == '0') *c = 'o';
}

// Compares typed text with a form up to its check mark.
static bool matches_form(const char* text, char* form) {
    if (char* plus = strchr(form, '+')) *plus = 0;
    return strcmp(text, form) == 0;
}

int parse_move(const Position& pos, char* text, Move* out) {
    *out = NULL_MOVE;
    normalise_move_text(text);
    if (text[0] == 0) return 0;

    int found = 0;
    MoveEntry list[LONGEST_ODD_LIST];
    gen_list(pos, list);
    for (const MoveEntry* entry = list; entry->move != LIST_END; entry++) {
        char forms[4][MOVE_TEXT_LENGTH];
        move_to_forms(pos, entry->move, forms[0], forms[1], forms[2], forms[3]);
        bool fits = false;
        for (char* form : forms) fits = matches_form(text, form) || fits;
        if (!fits || !legal_move(pos, pos.side, entry->move)) continue;
        *out = entry->move;
        found++;
    }
    if (found == 2) printf("ambiguous move\n");
    return found == 1;
}
