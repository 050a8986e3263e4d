#include "Training/random_start.h"

#include <cstdio>

#include "board/castling.h"
#include "board/legal.h"
#include "board/make.h"
#include "board/movegen.h"
#include "board/see.h"
#include "search/thread.h"
#include "tools/epd.h"

// Puts a piece on the `index`-th square of the row that is still free.
static void place_on_free(char row[9], int index, char piece) {
    for (int file = 0; file < 8; file++) {
        if (row[file] != '.' || index-- > 0) continue;
        row[file] = piece;
        return;
    }
}

std::string chess960_start(int number) {
    //                                     first free squares of the two knights
    static constexpr int KNIGHTS[10][2] = {{0, 1}, {0, 2}, {0, 3}, {0, 4}, {1, 2},
                                           {1, 3}, {1, 4}, {2, 3}, {2, 4}, {3, 4}};
    char row[9] = "........";
    row[number % 4 * 2 + 1] = 'b'; // on a light square
    number /= 4;
    row[number % 4 * 2] = 'b';
    number /= 4;
    place_on_free(row, number % 6, 'q');
    number /= 6;
    place_on_free(row, KNIGHTS[number][1], 'n'); // the right one first: it moves no left square
    place_on_free(row, KNIGHTS[number][0], 'n');
    for (char piece : {'r', 'k', 'r'}) place_on_free(row, 0, piece);

    std::string black = row, white = row;
    for (char& c : white) c = static_cast<char>(c & ~0x20);
    return black + "/pppppppp/8/8/8/8/PPPPPPPP/" + white + " w KQkq -";
}

bool read_openings(std::vector<std::string>& openings, const char* name) {
    FILE* file = fopen(name, "r");
    if (!file) return false;
    char line[EPD_LINE_LENGTH];
    while (read_epd_line(file, line)) {
        EpdLine epd;
        SplitEpd(line, epd);
        set_position(main_thread->position, epd.position);
        if (!unsearchable_reason(main_thread->position)) openings.push_back(epd.position);
    }
    fclose(file);
    return true;
}

std::vector<Move> all_legal_moves(const Position& pos) {
    std::vector<Move> moves;
    MoveEntry list[LONGEST_ODD_LIST];
    gen_list(pos, list);
    for (const MoveEntry* entry = list; entry->move != LIST_END; entry++)
        if (legal_by_rules(pos, pos.side, entry->move)) moves.push_back(entry->move);
    return moves;
}

// Tells whether a legal move keeps the mover's losses to a minor piece.
static bool keeps_material(const Position& pos, Move move) {
    int from = move_from(move), to = move_to(move);
    if (type_of(pos.board[from]) == KING) return true;
    return see(pos, pos.side, from, to) >= -see_value[BISHOP];
}

// A legal move that doesn't lose much, each as likely as any other; NULL_MOVE without one.
static Move random_move(Position& pos, Random& random) {
    std::vector<Move> moves = all_legal_moves(pos);
    while (!moves.empty()) {
        auto index = static_cast<size_t>(random_below(random, static_cast<int>(moves.size())));
        if (keeps_material(pos, moves[index])) return moves[index];
        moves.erase(moves.begin() + static_cast<std::ptrdiff_t>(index));
    }
    return NULL_MOVE;
}

static std::string base_position(Random& random, StartKind kind,
                                 const std::vector<std::string>& openings) {
    switch (kind) {
    case StartKind::CHESS960: return chess960_start(random_below(random, 960));
    case StartKind::OPENING:
        return openings[static_cast<size_t>(
            random_below(random, static_cast<int>(openings.size())))];
    default: return START_FEN;
    }
}

bool castles_with_outer_rooks(const Position& pos) {
    for (int right = 0; right < CASTLING_RIGHTS; right++) {
        if (!has_right(pos, right)) continue;
        int rook = pos.castle_rook[right];
        Bitboard beyond = right & 1 ? ray_west[rook] : ray_east[rook];
        if (beyond & pos.pieces[side_of_right(right)][ROOK]) return false;
    }
    return true;
}

bool draw_start(Position& pos, Random& random, StartKind kind,
                const std::vector<std::string>& openings) {
    constexpr int RANDOM_PLIES = 8, OPENING_PLIES = 2; // or one more
    set_position(pos, base_position(random, kind, openings).c_str());
    int plies = kind == StartKind::OPENING ? OPENING_PLIES : RANDOM_PLIES;
    plies += random_below(random, 2);
    for (int ply = 0; ply < plies; ply++) {
        Move move = random_move(pos, random);
        if (move == NULL_MOVE) return false;
        make_game_move(pos, move);
    }
    return castles_with_outer_rooks(pos);
}
