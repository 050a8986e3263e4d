#include "book/build.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/files.h"
#include "base/platform.h"
#include "base/platform_files.h"
#include "base/print.h"
#include "base/state.h"
#include "board/make.h"
#include "board/movetext.h"
#include "book/book.h"
#include "search/thread.h"

constexpr size_t LINE_LENGTH = 1024; // with the ending NUL; longer lines are read in pieces
constexpr int MAX_MOVES = 36;        // of a game that count
constexpr int GAMES_A_DOT = 1024;

constexpr int BUCKET_BITS = 14;
constexpr int BUCKETS = 1 << BUCKET_BITS;

namespace {

// How a game ended. The first two are the numbers of the colours.
enum Result { WHITE_WON = WHITE, BLACK_WON = BLACK, DRAWN = 2, UNKNOWN = 3 };

// A move in a position, with the outcome of the games for the side that played it.
struct BookNode {
    uint64_t key; // book_key before the move
    uint32_t wins;
    uint32_t losses;
    uint32_t draws;
    Move move;
    BookNode* next; // of the bucket
};

// By the top bits of the key. The list of a bucket ascends by key, so that all lists one behind the
// other are in the order of a book; moves of one key stand as they first appeared.
BookNode* buckets[BUCKETS];

// State of reading the file, which goes on from line to line.
struct GamesReader {
    int games; // so far, with the current one
    int nodes; // so far
    Result result;
    int moves;               // of the game that were counted
    bool stopped;            // a word of the game was no move
    int64_t comment_depth;   // braces; below 0 after one too many
    int64_t variation_depth; // parentheses, likewise
};

} // namespace

static void free_nodes() {
    for (BookNode*& bucket : buckets)
        while (BookNode* node = bucket) {
            bucket = node->next;
            free(node);
        }
}

// The node of the move, made if it is new; null without memory.
static BookNode* find_node(GamesReader& reader, uint64_t key, Move move) {
    BookNode** link = &buckets[key >> (64 - BUCKET_BITS)];
    while (*link && (*link)->key <= key) {
        if ((*link)->key == key && (*link)->move == move) return *link;
        link = &(*link)->next;
    }
    auto* node = static_cast<BookNode*>(calloc(1, sizeof(BookNode)));
    if (!node) return nullptr;
    node->key = key;
    node->move = move;
    node->next = *link;
    *link = node;
    reader.nodes++;
    return node;
}

static Result read_result(const char* line) {
    if (strstr(line, "1-0")) return WHITE_WON;
    if (strstr(line, "0-1")) return BLACK_WON;
    if (strstr(line, "1/2")) return DRAWN;
    return UNKNOWN;
}

static void start_game(Position& pos, GamesReader& reader, const char* line) {
    set_position(pos, START_FEN);
    reader.result = read_result(line);
    reader.games++;
    reader.moves = 0;
    reader.stopped = false;
    reader.comment_depth = reader.variation_depth = 0;
}

// The part of a word that may be a move: from its first letter on, or from a castling in digits.
// Empty for move numbers and results.
static char* skip_to_move(char* word) {
    while (*word && !isalpha(static_cast<unsigned char>(*word))
           && !(word[0] == '0' && word[1] == '-'))
        word++;
    return word;
}

// Counts a move and plays it. A text that is no move stops the game. Returns false without memory.
static bool count_move(Position& pos, GamesReader& reader, char* text) {
    const uint64_t key = book_key(pos);
    const int side = pos.side;
    Move move;
    if (!parse_move(pos, text, &move)) {
        reader.stopped = true;
        return true;
    }
    reader.moves++;
    make_move(pos, move);
    BookNode* node = find_node(reader, key, move);
    if (!node) return false;
    if (reader.result == DRAWN) node->draws++;
    else if (reader.result == side) node->wins++;
    else node->losses++;
    reader.comment_depth = reader.variation_depth = 0;
    return true;
}

// Parses one word, brace or parenthesis. The text needs room for one character more. Returns
// false without memory.
static bool parse_word(Position& pos, GamesReader& reader, char* word) {
    if (reader.stopped || reader.moves >= MAX_MOVES) return true;
    switch (word[0]) {
    case ';':
    case '$': return true;
    case '{': reader.comment_depth++; return true;
    case '}': reader.comment_depth--; return true;
    case '(': reader.variation_depth++; return true;
    case ')': reader.variation_depth--; return true;
    }
    if (reader.comment_depth > 0 || reader.variation_depth > 0) return true;

    char* text = skip_to_move(word);
    if (*text) return count_move(pos, reader, text);
    // One bracket too many is forgiven here and after a move.
    reader.comment_depth = reader.variation_depth = 0;
    return true;
}

// Cuts a line into words, which blanks and brackets end. Control characters are dropped. Returns
// false without memory.
static bool parse_words(Position& pos, GamesReader& reader, const char* line) {
    char word[LINE_LENGTH + 1];
    size_t length = 0;
    for (const char* c = line;; c++) {
        const bool bracket = *c && strchr("{}()", *c);
        if (*c && *c != ' ' && !bracket) {
            if (static_cast<unsigned char>(*c) > ' ') word[length++] = *c;
            continue;
        }
        word[length] = 0;
        if (length > 0 && !parse_word(pos, reader, word)) return false;
        length = 0;
        if (bracket) {
            char single[2] = {*c, 0};
            parse_word(pos, reader, single);
        }
        if (*c == 0) return true;
    }
}

// Parses a line, or a piece of a long one. Returns false without memory.
static bool parse_line(Position& pos, GamesReader& reader, const char* line) {
    if (strstr(line, "[Result")) {
        start_game(pos, reader, line);
        return true;
    }
    if (reader.comment_depth == 0 && (line[0] == ';' || line[0] == '[')) return true;
    if (reader.result == UNKNOWN || reader.moves >= MAX_MOVES) return true;
    return parse_words(pos, reader, line);
}

// The dots are all that standard output gets; where nobody sees them, a person at the terminal is
// told on the error stream, with the share of a file whose length is known.
static void show_progress(const GamesReader& reader, FILE* file, int64_t bytes, bool watched) {
    putchar('.');
    fflush(stdout);
    if (!watched) return;
    fprintf(stderr, "\r%d games", reader.games);
    if (bytes > 0)
        fprintf(stderr, ", %.0f%%",
                100.0 * static_cast<double>(ftello(file)) / static_cast<double>(bytes));
}

// Reads all games. Returns false without memory.
static bool read_games(FILE* file, GamesReader& reader) {
    const bool watched = is_terminal(stderr) && !is_terminal(stdout);
    const int64_t bytes = file_size(file);

    reader = {};
    reader.result = UNKNOWN; // moves before the first game count for nothing
    char line[LINE_LENGTH];
    int dots = 0;
    bool going = true;
    while (going && fgets(line, sizeof line, file)) {
        going = parse_line(main_thread->position, reader, line);
        if (reader.games / GAMES_A_DOT > dots) {
            dots++;
            show_progress(reader, file, bytes, watched);
        }
    }
    if (watched && dots > 0) fputc('\n', stderr);
    return going;
}

namespace {

struct KeptMove {
    int32_t score;
    BookEntry entry;
};

} // namespace

static int32_t node_score(const BookNode& node) {
    return static_cast<int32_t>(4 * node.wins - 2 * node.losses + node.draws);
}

// The moves of one position that are good enough, at most BOOK_MAX_MOVES. Returns their number.
static int keep_moves(const BookNode* first, const BookNode* end, KeptMove* kept) {
    constexpr int32_t MIN_SCORE = 10;
    constexpr uint32_t MIN_WINS = 3;
    int count = 0;
    for (const BookNode* node = first; node != end && count < BOOK_MAX_MOVES; node = node->next) {
        int32_t score = node_score(*node);
        if (score < MIN_SCORE || node->wins < MIN_WINS) continue;
        kept[count++] = {score, {node->key, pack_book_move(node->move), 0, 0}};
    }
    return count;
}

// Writes the entries of one position, the heaviest first.
static void write_position(FILE* file, const BookNode* first, const BookNode* end) {
    constexpr double MAX_WEIGHT = 60000.0; // leaves a margin below the 16 bits of an entry

    KeptMove kept[BOOK_MAX_MOVES];
    const int count = keep_moves(first, end, kept);
    int32_t best = 1;
    for (int i = 0; i < count; i++) best = std::max(best, kept[i].score);
    const double factor = std::min(MAX_WEIGHT / best, 1.0);
    for (int i = 0; i < count; i++)
        kept[i].entry.weight = static_cast<uint16_t>(kept[i].score * factor);

    // Stable, so that the same games give the same file everywhere.
    std::stable_sort(kept, kept + count, [](const KeptMove& a, const KeptMove& b) {
        return a.entry.weight > b.entry.weight;
    });
    for (int i = 0; i < count; i++) write_book_entry(file, kept[i].entry);
}

// Writes the book; an old one stays if that fails.
static void write_book() {
    OutputFile file;
    if (!open_output(file, BOOK_OUTPUT)) return;
    for (const BookNode* first : buckets)
        while (first) {
            const BookNode* end = first->next;
            while (end && end->key == first->key) end = end->next;
            write_position(file.stream, first, end);
            first = end;
        }
    finish_output(file);
}

void build_book() {
    if (refuse_same_file(shell.games_in_name, BOOK_OUTPUT)) return;
    FILE* file = open_input(shell.games_in_name);
    if (!file) return;
    PrintFormat(" Creating file %s from games in %s", BOOK_OUTPUT, shell.games_in_name);
    GamesReader reader;
    const bool complete = read_games(file, reader);
    const bool whole = finish_input(file, shell.games_in_name);
    if (complete) {
        printf("\nwriting book file ...");
        fflush(stdout);
        if (whole) write_book();
        printf("\ngames= %d, nmoves= %d\n", reader.games, reader.nodes);
        printf("done\n");
        fflush(stdout);
    }
    free_nodes();
}
