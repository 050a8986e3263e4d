#include "shell/strict_position.h"

#include <cctype>
#include <cstdlib>
#include <cstring>

#include "base/print.h"
#include "board/castling.h"
#include "board/fen.h"
#include "board/legal.h"
#include "board/make.h"
#include "board/movegen.h"
#include "search/pool.h"
#include "search/thread.h"
#include "shell/words.h"

namespace {

// A word that looks like a move.
struct MoveWord {
    int from, to;   // squares
    char promotion; // "q", "r", "b", "n", or 0
};

} // namespace

static bool read_square(const char* text, int& square) {
    int file = tolower(static_cast<unsigned char>(text[0])) - 'a', rank = text[1] - '1';
    if (file < 0 || file > 7 || rank < 0 || rank > 7) return false;
    square = rank * 8 + file;
    return true;
}

// Tells whether the word has the form of a move.
static bool read_move_word(const char* text, MoveWord& word) {
    const size_t length = strlen(text);
    if (length < 4 || length > 5 || !read_square(text, word.from)
        || !read_square(text + 2, word.to))
        return false;
    word.promotion = static_cast<char>(tolower(static_cast<unsigned char>(text[4])));
    return word.promotion == 0 || strchr("qrbn", word.promotion);
}

// Tells whether castling is meant: by the rook's square, or by the king's where that is no king's
// step.
static bool means_castling(const Position& pos, Move move, const MoveWord& word) {
    const int rook = pos.castle_rook[castling_right(pos.side, castling_wing(move))];
    const int files = std::abs(file_of(word.from) - file_of(word.to));
    return word.to == rook || (word.to == move_to(move) && files > 1);
}

static bool means_move(const Position& pos, const MoveEntry& entry, const MoveWord& word) {
    const Move move = entry.move;
    if (move_from(move) != word.from) return false;
    if (is_castling(move, entry.mover)) return !word.promotion && means_castling(pos, move, word);
    if (move_to(move) != word.to) return false;
    if (!(move & FLAG_MASK)) return word.promotion == 0;
    return " pnbrq"[promoted_type(move)] == (word.promotion ? word.promotion : 'q');
}

Move move_of_word(const Position& pos, const char* text) {
    MoveWord word;
    if (!read_move_word(text, word)) return NULL_MOVE;
    MoveEntry list[LONGEST_LIST];
    gen_list(pos, list);
    for (const MoveEntry* entry = list; entry->move != LIST_END; entry++)
        if (means_move(pos, *entry, word) && legal_by_rules(pos, pos.side, entry->move))
            return entry->move;
    return NULL_MOVE;
}

static void play_words(Position& pos, char* text) {
    MoveWord form;
    while (const char* word = next_word(text)) {
        if (!read_move_word(word, form)) continue;
        const Move move = move_of_word(pos, word);
        if (move == NULL_MOVE) {
            PrintFormat("info string can't play move '%s'", word);
            break;
        }
        make_game_move(pos, move);
    }
    fold_game(pos);
}

// Sets up the position of the words in front of "moves", behind which `text` then stands. Returns
// false if there is no position to play moves from.
static bool read_strict_fen(Position& pos, char*& text) {
    const char* fields[FEN_FIELDS];
    int count = 0;
    while (char* word = next_word(text)) {
        if (same_word(word, "moves")) break;
        if (count < FEN_FIELDS) fields[count++] = word;
    }
    const char* fault = count ? read_fen(pos, fields, count) : "it has no fields";
    if (!fault) return true;
    PrintFormat("info string no position: %s", fault);
    return false;
}

void set_up_strict_position(char* text) {
    Position& pos = main_thread->position;
    wait_for_copies();
    while (char* word = next_word(text)) {
        if (same_word(word, "fen")) {
            if (read_strict_fen(pos, text)) play_words(pos, text);
            return;
        }
        if (same_word(word, "startpos")) {
            set_position(pos, START_FEN);
            while ((word = next_word(text)) && !same_word(word, "moves")) {
            }
            play_words(pos, text);
            return;
        }
    }
}
