#include "book/book.h"

#include <algorithm>
#include <cstring>

#include "base/platform.h"
#include "base/print.h"
#include "base/state.h"
#include "board/castling.h"
#include "board/legal.h"
#include "board/movetext.h"
#include "book/polyglot_numbers.h"

constexpr off_t ENTRY_BYTES = sizeof(BookEntry);

namespace {

// What a book holds for one position, in file order.
struct BookMoves {
    BookEntry entries[BOOK_MAX_MOVES];
    uint16_t shares[BOOK_MAX_MOVES]; // bend_weight of each entry
    int count;
    int total;       // sum of the weights
    int share_total; // sum of the shares
};

} // namespace

uint64_t book_key(const Position& pos) {
    uint64_t key = 0;
    for (int square = 0; square < SQUARES; square++) {
        int code = pos.board[square];
        if (code == 0) continue;
        int kind = 2 * (type_of(code) - 1) + (colour_of(code) == WHITE);
        key ^= polyglot_numbers[64 * kind + square];
    }
    for (int right = 0; right < CASTLING_RIGHTS; right++)
        if (has_right(pos, right)) key ^= polyglot_numbers[POLYGLOT_CASTLING + right];
    if (pos.ep_square != NO_SQUARE
        && (pawn_attacks[pos.side ^ 1][pos.ep_square] & pos.pieces[pos.side][PAWN]))
        key ^= polyglot_numbers[POLYGLOT_EN_PASSANT + file_of(pos.ep_square)];
    if (pos.side == WHITE) key ^= polyglot_numbers[POLYGLOT_WHITE_TO_MOVE];
    return key;
}

// Numbers in a file have their most significant byte first.
static uint64_t read_number_bytes(const unsigned char* bytes, int count) {
    uint64_t number = 0;
    for (int i = 0; i < count; i++) number = number << 8 | bytes[i];
    return number;
}

static void write_number_bytes(unsigned char* bytes, int count, uint64_t number) {
    for (int i = count - 1; i >= 0; i--, number >>= 8)
        bytes[i] = static_cast<unsigned char>(number & 0xFF);
}

int read_book_entry(FILE* file, BookEntry& entry) {
    unsigned char bytes[ENTRY_BYTES];
    if (fread(bytes, 1, sizeof bytes, file) != sizeof bytes) return 1;
    entry.key = read_number_bytes(bytes, 8);
    entry.move = static_cast<uint16_t>(read_number_bytes(bytes + 8, 2));
    entry.weight = static_cast<uint16_t>(read_number_bytes(bytes + 10, 2));
    entry.learn = static_cast<uint32_t>(read_number_bytes(bytes + 12, 4));
    return 0;
}

void write_book_entry(FILE* file, const BookEntry& entry) {
    unsigned char bytes[ENTRY_BYTES];
    write_number_bytes(bytes, 8, entry.key);
    write_number_bytes(bytes + 8, 2, entry.move);
    write_number_bytes(bytes + 10, 2, entry.weight);
    write_number_bytes(bytes + 12, 4, entry.learn);
    fwrite(bytes, 1, sizeof bytes, file);
}

int bend_weight(int weight, int variety, int first, int total) {
    constexpr int NEUTRAL = 25; // per cent: the proportions of the file
    int added = static_cast<int>((variety - NEUTRAL) * first * 0.01);
    return std::max(0, (weight + added) * 10000 / total);
}

namespace {

// Castling as a book has it and as a Move has it.
struct CastlingForm {
    int from, book_to, to;
    Move flag;
};
constexpr CastlingForm CASTLING_FORMS[] = {
    {E1, H1, G1, FLAG_KING_SIDE},
    {E1, A1, C1, FLAG_QUEEN_SIDE},
    {E8, H8, G8, FLAG_KING_SIDE},
    {E8, A8, C8, FLAG_QUEEN_SIDE},
};

// Promotion flags by the number that a book has for them; the last three numbers have no meaning.
constexpr Move PROMOTION_FLAGS[8] = {0, FLAG_KNIGHT, FLAG_BISHOP, FLAG_ROOK, FLAG_QUEEN, 0, 0, 0};

} // namespace

uint16_t pack_book_move(Move move) {
    int from = move_from(move), to = move_to(move), promotion = 0;
    // On the home ranks a flag means castling; no pawn stands there.
    if ((move & FLAG_MASK) && rank_of(from) != 0 && rank_of(from) != 7)
        promotion = promoted_type(move) - KNIGHT + 1;
    for (const CastlingForm& form : CASTLING_FORMS)
        if (from == form.from && to == form.to) {
            to = form.book_to;
            break;
        }
    return static_cast<uint16_t>(to | from << 6 | promotion << 12);
}

Move unpack_book_move(const Position& pos, uint16_t packed) {
    int from = book_move_from(packed), to = book_move_to(packed);
    Move flag = 0;
    for (const CastlingForm& form : CASTLING_FORMS)
        if (from == form.from && to == form.book_to) {
            to = form.to;
            flag = form.flag;
            break;
        }
    if (Move promotion = PROMOTION_FLAGS[packed >> 12 & 7]) flag = promotion;
    // A flag that came from the squares means nothing on other pieces, and unmaking a move would
    // take it for a promotion.
    int type = type_of(pos.board[from]);
    if (type != KING && type != PAWN) flag = 0;
    Move move = static_cast<Move>(make_plain_move(from, to) | flag);
    return stored_move_valid(pos, move) ? move : NULL_MOVE;
}

// The first entry of the key, by halving. Returns its index, or -1 if the file has none.
static off_t find_first_entry(FILE* file, uint64_t key, BookEntry& found) {
    if (fseeko(file, -ENTRY_BYTES, SEEK_END) != 0) return -1;
    // Behind the last whole entry there may be a torn one, so that the place is no multiple.
    off_t low = -1, high = ftello(file) / ENTRY_BYTES;
    if (fseeko(file, high * ENTRY_BYTES, SEEK_SET) != 0 || read_book_entry(file, found)) return -1;
    while (high - low != 1) {
        off_t middle = (high + low) / 2;
        BookEntry entry;
        if (fseeko(file, middle * ENTRY_BYTES, SEEK_SET) != 0 || read_book_entry(file, entry))
            return -1; // the file shrinks while it is read
        if (key <= entry.key) {
            high = middle;
            found = entry;
        } else {
            low = middle;
        }
    }
    return found.key == key ? high : -1;
}

// Collects the entries of the key. Returns false if the file has none.
static bool collect_entries(FILE* file, uint64_t key, BookMoves& moves) {
    BookEntry entry;
    off_t first = find_first_entry(file, key, entry);
    if (first < 0) return false;
    moves.count = 0;
    moves.total = 0;
    fseeko(file, (first + 1) * ENTRY_BYTES, SEEK_SET);
    do {
        moves.entries[moves.count++] = entry;
        moves.total += entry.weight;
    } while (moves.count < BOOK_MAX_MOVES && read_book_entry(file, entry) == 0 && entry.key == key);
    return true;
}

static void bend_weights(BookMoves& moves) {
    moves.share_total = 0;
    for (int i = 0; i < moves.count; i++) {
        // At most 17,500: no weight exceeds the total.
        moves.shares[i] = static_cast<uint16_t>(bend_weight(moves.entries[i].weight,
                                                            active_personality.OwnBook_Variety,
                                                            moves.entries[0].weight, moves.total));
        moves.share_total += moves.shares[i];
    }
}

// The last entry with a weight whose running sum lies below a random point, else the first.
static int choose_entry(const BookMoves& moves) {
    constexpr uint32_t STEPS = 1000; // of the random point
    uint32_t random = static_cast<uint32_t>(random_number()) * 98765u + 123456789u;
    int threshold =
        static_cast<int>(random % STEPS * static_cast<double>(moves.share_total) * 0.001);
    int chosen = -1, sum = 0;
    for (int i = 0; i < moves.count; i++) {
        if (moves.entries[i].weight == 0) continue;
        if (sum < threshold || chosen < 0) chosen = i;
        sum += moves.shares[i];
    }
    return chosen;
}

static void append_squares(char* out, int from, int to) {
    strcat(out, SQUARE_NAMES[from]);
    strcat(out, SQUARE_NAMES[to]);
}

static void report_for_gui(const BookMoves& moves) {
    char line[BOOK_MAX_MOVES * 5 + 64] = "info string (book moves are: ";
    for (int i = 0; i < moves.count; i++) {
        const BookEntry& entry = moves.entries[i];
        if (entry.weight == 0) continue;
        append_squares(line, book_move_from(entry.move), book_move_to(entry.move));
        strcat(line, " ");
    }
    strcat(line, " )");
    Print(line);
}

static void report_for_console(const BookMoves& moves) {
    for (int i = 0; i < moves.count; i++) {
        const BookEntry& entry = moves.entries[i];
        if (entry.weight == 0) continue;
        char name[8] = "";
        append_squares(name, book_move_from(entry.move), book_move_to(entry.move));
        PrintFormat("  %s  cnt= %5d, weight= %5.2f%% -> %5.2f%%", name, entry.weight,
                    entry.weight * (100.0 / moves.total),
                    moves.shares[i] * (100.0 / moves.share_total));
    }
}

// A console search with this time limit is an analysis that wants no lines from the book.
static bool silent_analysis() {
    constexpr float ANALYSIS_LIMIT = 9999.0f;
    return relaxed(engine.game_state) != STATE_IDLE && engine.time_base == ANALYSIS_LIMIT;
}

Move book_probe(const Position& pos, const char* filename) {
    if (filename[0] == 0) return NULL_MOVE;
    FILE* file = open_plain_file(filename, "rb");
    if (!file) return NULL_MOVE;
    BookMoves moves;
    bool known = collect_entries(file, book_key(pos), moves);
    fclose(file);
    if (!known || moves.total == 0) return NULL_MOVE;

    bend_weights(moves);
    Move move = unpack_book_move(pos, moves.entries[choose_entry(moves)].move);
    if (relaxed(shell.uci_mode)) {
        report_for_gui(moves);
    } else if (!silent_analysis()) {
        report_for_console(moves);
        if (move != NULL_MOVE)
            PrintFormat("selecting %s%s", SQUARE_NAMES[move_from(move)],
                        SQUARE_NAMES[move_to(move)]);
    }
    return move;
}
