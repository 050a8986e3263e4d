#include "syzygy/tbprobe.h"

#include <algorithm>

#include "base/state.h"
#include "syzygy/tbcore.h"

constexpr int WORST = WDL_LOSS - 1; // below every value
constexpr int FIFTY = 100;          // plies without a zeroing move that draw the game
constexpr int SPOILED = 101; // distance that stands for a result that the fifty-move rule changes

// By value from WDL_LOSS on: the distance that stands for a result alone, the map of a DTZ file,
// and the flag that says that its distances are stored in plies.
//                                      loss  saved  draw  spoiled  win
static constexpr int WDL_TO_DTZ[5] = {-1, -SPOILED, 0, SPOILED, 1};
static constexpr int WDL_TO_MAP[5] = {1, 3, 0, 2, 0};
static constexpr uint8_t PA_FLAGS[5] = {DTZ_LOSS_PLIES, 0, 0, 0, DTZ_WIN_PLIES};

// --- A table's own value ----------------------------------------------------------------------

// Tells whether the board can be looked up in tables of this many pieces.
static bool fits_tables(const TBPosition& pos, int pieces) {
    return pop_count(tb_occupied(pos)) == pieces && pop_count(pos.kings & pos.white) == 1
        && pop_count(pos.kings & pos.black) == 1 && !(pos.pawns & (RANK_1 | RANK_8));
}

namespace {

// How a position stands to a table that has its material.
struct Orientation {
    bool exchange; // colours must be exchanged, and in pawn tables the ranks mirrored
    int side;      // 0 White of the table is to move, 1 Black
};

} // namespace

static Orientation orientation_of(const TBPosition& pos, const TBEntry& entry, uint64_t key) {
    if (entry.symmetric) return {!pos.turn, 0};
    const bool exchange = key != entry.key;
    return {exchange, pos.turn ? exchange : !exchange};
}

// Appends the squares of one piece code of the table's view. `mirror` is 56 where ranks are
// mirrored.
static int add_squares(int* squares, int count, const TBPosition& pos, int code, int mirror) {
    for (Bitboard set = tb_pieces(pos, code); set && count < TB_PIECES;)
        squares[count++] = pop_lowest(set) ^ mirror;
    return count;
}

// Collects the squares of a position in the order of its table, and chooses the file group, which
// the leading pawn decides. Returns the group; `first` is the decoder of group 0, and `step` leads
// from one group's to the next.
static int collect_squares(int* squares, const TBPosition& pos, const TBEntry& entry,
                           const TBDecoder* first, int step, bool exchange) {
    const int colour = exchange ? 8 : 0, mirror = exchange && entry.has_pawns ? 56 : 0;
    int count = 0, group = 0;
    if (entry.has_pawns) {
        // The leading pawns stand first in the lists of all groups.
        count = add_squares(squares, 0, pos, first->pieces[0] ^ colour, mirror);
        group = tb_leading_file(entry, squares);
    }
    const uint8_t* pieces = first[group * step].pieces;
    while (count < entry.num) {
        int before = count;
        count = add_squares(squares, count, pos, pieces[count] ^ colour, mirror);
        if (count == before) break;
    }
    return group;
}

int tb_probe_table(const TBPosition& pos, int* success) {
    constexpr int MAX_STORED = WDL_WIN - WDL_LOSS; // stored numbers begin at 0
    uint64_t key = tb_material_key(pos);
    if (key == 0) return WDL_DRAW; // bare kings
    TBEntry* entry = tb_find(key);
    if (!entry || !fits_tables(pos, entry->num) || !tb_use(*entry)) {
        *success = TB_FAILED;
        return 0;
    }
    const Orientation view = orientation_of(pos, *entry, key);
    const int sides = tb_sides(*entry, true);
    int squares[TB_PIECES];
    int group =
        collect_squares(squares, pos, *entry, entry->decoders + view.side, sides, view.exchange);
    const TBDecoder& decoder = entry->decoders[group * sides + view.side];
    uint64_t index = tb_encode(*entry, decoder.norm, squares, decoder.factors);
    int value = tb_decompress(decoder.pairs, index);
    if (value < 0 || value > MAX_STORED || mapping_lost(entry->mapping)) {
        *success = TB_FAILED;
        return 0;
    }
    return value + WDL_LOSS;
}

// --- Wdl --------------------------------------------------------------------------------------

int tb_probe_ab(const TBPosition& pos, int alpha, int beta, int* success) {
    TBMove moves[TB_MOVES];
    const TBMove* end = tb_gen_captures(pos, moves);
    for (const TBMove* move = moves; move < end; move++) {
        TBPosition next;
        if (!tb_do_move(next, pos, *move)) continue;
        int value = -tb_probe_ab(next, -beta, -alpha, success);
        if (*success == TB_FAILED) return 0;
        if (value <= alpha) continue;
        if (value >= beta) {
            *success = TB_BY_CAPTURE;
            return value;
        }
        alpha = value;
    }
    int value = tb_probe_table(pos, success);
    if (*success == TB_FAILED) return 0;
    // A capture below may have left its own mark, so that it is set in either case.
    if (alpha >= value) {
        *success = alpha > 0 ? TB_BY_CAPTURE : TB_FOUND;
        return alpha;
    }
    *success = TB_FOUND;
    return value;
}

// The best value of an en passant capture, WORST if none is legal.
static int best_ep_capture(const TBPosition& pos, int* success) {
    TBMove moves[2];
    const TBMove* end = tb_gen_ep_captures(pos, moves);
    int best = WORST;
    for (const TBMove* move = moves; move < end; move++) {
        TBPosition next;
        if (!tb_do_move(next, pos, *move)) continue;
        int value = -tb_probe_ab(next, WDL_LOSS, WDL_WIN, success);
        if (*success == TB_FAILED) return 0;
        best = std::max(best, value);
    }
    return best;
}

// Tells whether there is a legal move that does not capture en passant.
static bool has_other_move(const TBPosition& pos) {
    TBMove moves[TB_MOVES];
    const TBMove* end = tb_gen_moves(pos, moves);
    for (const TBMove* move = moves; move < end; move++) {
        TBPosition next;
        if (!tb_is_ep_capture(pos, *move) && tb_do_move(next, pos, *move)) return true;
    }
    return false;
}

int tb_probe_wdl(const TBPosition& pos, int* success) {
    *success = TB_FOUND;
    int value = tb_probe_ab(pos, WDL_LOSS, WDL_WIN, success);
    if (*success == TB_FAILED || pos.ep == 0) return value;

    int own_success = TB_FOUND;
    int capture = best_ep_capture(pos, &own_success);
    if (own_success == TB_FAILED) {
        *success = TB_FAILED;
        return 0;
    }
    if (capture == WORST) return value;
    if (capture >= value) return capture;
    // The table's draw may be a stalemate that the capture is the only way out of.
    if (value != 0 || has_other_move(pos)) return value;
    return capture;
}

// --- Distances --------------------------------------------------------------------------------

static int signed_by(int wdl, int distance) { return wdl < 0 ? -distance : distance; }

// Sends a stored number through the map of its kind of result. Returns TB_DAMAGED behind its end.
static int map_value(const DtzTable& table, int group, int wdl, int value) {
    if (!(table.flags[group] & DTZ_MAPPED)) return value;
    const int map = WDL_TO_MAP[wdl - WDL_LOSS];
    const uint8_t* list = table.maps.list[group][map];
    if (!list || value >= table.maps.count[group][map]) return TB_DAMAGED;
    if (table.flags[group] & DTZ_WIDE_MAPS) return list[2 * value] | list[2 * value + 1] << 8;
    return list[value];
}

int tb_probe_dtz_table(const TBPosition& pos, int wdl, int* success) {
    uint64_t key = tb_material_key(pos);
    const DtzTable* table = tb_use_dtz(key);
    if (!table || !fits_tables(pos, table->entry->num)) {
        *success = TB_FAILED;
        return 0;
    }
    const TBEntry& entry = *table->entry;
    const Orientation view = orientation_of(pos, entry, key);
    int squares[TB_PIECES];
    int group = collect_squares(squares, pos, entry, table->decoders, 1, view.exchange);
    const uint8_t flags = table->flags[group];
    if (!entry.symmetric && (flags & DTZ_BLACK) != view.side) {
        *success = TB_OTHER_SIDE;
        return 0;
    }
    const TBDecoder& decoder = table->decoders[group];
    int value =
        tb_decompress(decoder.pairs, tb_encode(entry, decoder.norm, squares, decoder.factors));
    if (value != TB_DAMAGED) value = map_value(*table, group, wdl, value);
    if (value == TB_DAMAGED || mapping_lost(table->mapping)) {
        *success = TB_FAILED;
        return 0;
    }
    if (!(PA_FLAGS[wdl - WDL_LOSS] & flags)) value *= 2; // stored in moves
    return value + 1 + (wdl & 1 ? FIFTY : 0);
}

// The distance of a won position from those of the positions after its quiet moves.
static int win_by_moves(const TBPosition& pos, int* success) {
    constexpr int NONE = 0xFFFF;
    TBMove moves[TB_MOVES];
    const TBMove* end = tb_gen_moves(pos, moves);
    int best = NONE;
    for (const TBMove* move = moves; move < end; move++) {
        TBPosition next;
        if (!tb_do_move(next, pos, *move) || next.rule50 == 0) continue;
        int value = tb_probe_dtz(next, success);
        if (*success == TB_FAILED) return 0;
        if (value < 0) best = std::min(best, 1 - value);
    }
    // In sound tables a win has a winning move.
    if (best == NONE) {
        *success = TB_FAILED;
        return 0;
    }
    return best;
}

// The same for a lost position, over all moves.
static int loss_by_moves(const TBPosition& pos, int wdl, int* success) {
    TBMove moves[TB_MOVES];
    const TBMove* end = tb_gen_moves(pos, moves);
    int best = -1; // mated, if there is no move
    for (const TBMove* move = moves; move < end; move++) {
        TBPosition next;
        if (!tb_do_move(next, pos, *move)) continue;
        int value = -1;
        if (next.rule50 != 0) value = -tb_probe_dtz(next, success) - 1;
        // A zeroing move that loses at once is no way out.
        else if (wdl == WDL_SAVED_LOSS)
            value = tb_probe_ab(next, WDL_SPOILED_WIN, WDL_WIN, success) == WDL_WIN ? 0 : -SPOILED;
        if (*success == TB_FAILED) return 0;
        best = std::min(best, value);
    }
    return best;
}

// A win that a pawn move holds: its distance, or 0 if there is none. Captures have been tried.
static int win_by_pawn_move(const TBPosition& pos, int wdl, int* success) {
    TBMove moves[TB_MOVES];
    const TBMove* end = tb_gen_pawn_advances(pos, moves);
    for (const TBMove* move = moves; move < end; move++) {
        TBPosition next;
        if (!tb_do_move(next, pos, *move)) continue;
        int value = next.ep == 0 ? -tb_probe_ab(next, WDL_LOSS, 1 - wdl, success)
                                 : -tb_probe_wdl(next, success);
        if (*success == TB_FAILED) return 0;
        if (value == wdl) return WDL_TO_DTZ[wdl - WDL_LOSS];
    }
    return 0;
}

// The distance of a position without the right to capture en passant.
static int probe_dtz_without_ep(const TBPosition& pos, int* success) {
    *success = TB_FOUND;
    int wdl = tb_probe_ab(pos, WDL_LOSS, WDL_WIN, success);
    if (*success == TB_FAILED || wdl == WDL_DRAW) return 0;
    if (*success == TB_BY_CAPTURE) return WDL_TO_DTZ[wdl - WDL_LOSS];
    if (wdl > 0) {
        int distance = win_by_pawn_move(pos, wdl, success);
        if (*success == TB_FAILED || distance) return distance;
    }
    int distance = tb_probe_dtz_table(pos, wdl, success);
    if (*success == TB_FAILED) return wdl & 1 ? signed_by(wdl, SPOILED) : 0;
    if (*success > 0) return signed_by(wdl, distance);
    return wdl > 0 ? win_by_moves(pos, success) : loss_by_moves(pos, wdl, success);
}

// Weighs the distance without the right to capture en passant against that capture's own, `d`.
static int with_ep_capture(const TBPosition& pos, int distance, int d) {
    if (distance < -FIFTY) return d >= 0 ? d : distance;
    if (distance < 0) return d >= 0 || d < -FIFTY ? d : distance;
    if (distance > FIFTY) return d > 0 ? d : distance;
    if (distance > 0) return d == 1 ? 1 : distance;
    if (d >= 0) return d;
    return has_other_move(pos) ? 0 : d;
}

int tb_probe_dtz(const TBPosition& pos, int* success) {
    // Tables know nothing of en passant, so that the kind of result that picks a map must be found
    // without it, too.
    TBPosition plain = pos;
    plain.ep = 0;
    int distance = probe_dtz_without_ep(plain, success);
    if (*success == TB_FAILED || pos.ep == 0) return distance;

    int own_success = TB_FOUND;
    int capture = best_ep_capture(pos, &own_success);
    if (own_success == TB_FAILED) {
        *success = TB_FAILED;
        return 0;
    }
    if (capture == WORST) return distance;
    return with_ep_capture(pos, distance, WDL_TO_DTZ[capture - WDL_LOSS]);
}

// --- In the search and at the root ------------------------------------------------------------

Move tb_root_moves[TB_MOVES + 1];

void tb_fill(TBPosition& out, const Position& pos, int rule50) {
    auto both = [&](int type) { return pos.pieces[WHITE][type] | pos.pieces[BLACK][type]; };
    out.white = pos.pieces[WHITE][ALL_PIECES];
    out.black = pos.pieces[BLACK][ALL_PIECES];
    out.kings = both(KING);
    out.queens = both(QUEEN);
    out.rooks = both(ROOK);
    out.bishops = both(BISHOP);
    out.knights = both(KNIGHT);
    out.pawns = both(PAWN);
    out.rule50 = static_cast<uint8_t>(rule50);
    out.turn = pos.side == WHITE;
    out.ep = 0;
    if (pos.ep_square == NO_SQUARE) return;

    // A position from outside may name any square.
    const int victim = pos.ep_square - pawn_push[pos.side];
    const int rank = pos.side == WHITE ? 5 : 2;
    if (rank_of(pos.ep_square) == rank && !(occupied(pos) & bit(pos.ep_square))
        && (pos.pieces[pos.side ^ 1][PAWN] & bit(victim)))
        out.ep = pos.ep_square;
}

// Tells whether tables may hold a position, as far as its number of pieces and its rights go.
static bool within_tables(const Position& pos) {
    return pop_count(occupied(pos)) <= tb_largest && pos.castling == 0;
}

int tb_probe(const Position& pos, int depth) {
    constexpr int SIX = 6, NEVER = 128; // plies
    if (load_shared(active_personality.SyzygyProbeDepth) > depth) return -1;
    if (!within_tables(pos)) return -1;
    const int pieces = pop_count(occupied(pos));
    if (pieces == SIX && load_shared(active_personality.SyzygyProbeDepth6) > depth) return -1;
    if (pieces > SIX && NEVER > depth) return -1;

    TBPosition board;
    tb_fill(board, pos, 0);
    if (!fits_tables(board, pieces)) return -1;
    int success;
    int value = tb_probe_wdl(board, &success);
    return success == TB_FAILED ? -1 : value - WDL_LOSS;
}

namespace {

// A root move with its value.
struct RootMove {
    TBMove move;
    int score; // win: plies to zeroing; loss: the same, negative; draw: 0
    int klass; // 0 to 4, with regard to the fifty-move counter
};

struct RootList {
    RootMove moves[TB_MOVES];
    int count;
};

} // namespace

static int class_of(int rule50, int score) {
    if (score > 0) return rule50 + score <= FIFTY ? 4 : 3;
    if (score < 0) return rule50 - score > FIFTY ? 1 : 0;
    return 2;
}

// The score of a root move that leads to `next`.
static int score_root_move(const TBPosition& next, int* success) {
    if (tb_in_check(next) && !has_other_move(next)) {
        TBMove ep[2];
        if (tb_gen_ep_captures(next, ep) == ep) return 1;
    }
    if (next.rule50 == 0) return WDL_TO_DTZ[-tb_probe_wdl(next, success) - WDL_LOSS];
    int distance = tb_probe_dtz(next, success);
    if (distance == 0) return 0;
    return distance < 0 ? 1 - distance : -distance - 1;
}

// Scores all legal moves. Returns false if one of them can't be valued.
static bool rate_root_moves(RootList& list, const TBPosition& pos) {
    TBMove moves[TB_MOVES];
    const TBMove* end = tb_gen_moves(pos, moves);
    list.count = 0;
    for (const TBMove* move = moves; move < end; move++) {
        TBPosition next;
        if (!tb_do_move(next, pos, *move)) continue;
        int success = TB_FOUND;
        int score = score_root_move(next, &success);
        if (success == TB_FAILED) return false;
        list.moves[list.count++] = {*move, score, class_of(pos.rule50, score)};
    }
    return true;
}

// The fastest win, or null. The earliest of equals.
static const RootMove* choose_win(const RootList& list) {
    const RootMove* best = nullptr;
    for (int i = 0; i < list.count; i++)
        if (list.moves[i].score > 0 && (!best || list.moves[i].score < best->score))
            best = &list.moves[i];
    return best;
}

// The longest resistance, or null. The earliest of equals.
static const RootMove* choose_loss(const RootList& list) {
    const RootMove* best = nullptr;
    for (int i = 0; i < list.count; i++)
        if (list.moves[i].score < 0 && (!best || list.moves[i].score < best->score))
            best = &list.moves[i];
    return best;
}

// One of the draws, always the same for a position, or null.
static const RootMove* choose_draw(const RootList& list, const TBPosition& pos) {
    uint64_t draws = 0;
    for (int i = 0; i < list.count; i++) draws += list.moves[i].score == 0;
    if (draws == 0) return nullptr;
    uint64_t skip = tb_material_key(pos) % draws;
    for (int i = 0;; i++)
        if (list.moves[i].score == 0 && skip-- == 0) return &list.moves[i];
}

static Move engine_move(TBMove move) {
    constexpr Move FLAGS[5] = {0, FLAG_QUEEN, FLAG_ROOK, FLAG_BISHOP, FLAG_KNIGHT};
    return static_cast<Move>(make_plain_move(tb_from(move), tb_to(move))
                             | FLAGS[tb_promotion(move)]);
}

// Tells whether the tables can hold the board at all.
static bool sound_board(const TBPosition& pos) {
    Bitboard all = tb_occupied(pos);
    int kinds = pop_count(pos.kings) + pop_count(pos.queens) + pop_count(pos.rooks)
              + pop_count(pos.bishops) + pop_count(pos.knights) + pop_count(pos.pawns);
    return !(pos.white & pos.black) && kinds == pop_count(all) && fits_tables(pos, kinds)
        && tb_legal(pos);
}

int tb_probe_root(const Position& pos, unsigned* class_out, unsigned* dtz_out, Move* move_out) {
    tb_root_moves[0] = NULL_MOVE;
    if (!within_tables(pos)) return -1;
    TBPosition board;
    tb_fill(board, pos, pos.halfmoves);
    if (!sound_board(board)) return -1;

    int success;
    const int root = tb_probe_dtz(board, &success);
    if (success == TB_FAILED) return -1;
    RootList list;
    if (!rate_root_moves(list, board)) return -1;
    // Without a move, mate or stalemate, there is nothing to choose.
    const RootMove* chosen = root > 0 ? choose_win(list)
                           : root < 0 ? choose_loss(list)
                                      : choose_draw(list, board);
    if (!chosen) return -1;

    const int klass = class_of(board.rule50, root);
    *class_out = static_cast<unsigned>(klass);
    *dtz_out = static_cast<unsigned>(root < 0 ? -root : root);
    *move_out = engine_move(chosen->move);
    int kept = 0;
    for (int i = 0; i < list.count; i++)
        if (list.moves[i].klass >= klass) tb_root_moves[kept++] = engine_move(list.moves[i].move);
    tb_root_moves[kept] = NULL_MOVE;
    return klass;
}
