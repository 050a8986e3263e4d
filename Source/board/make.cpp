#include "board/make.h"

#include <algorithm>
#include <cstring>

#include "base/state.h"
#include "board/line.h"
#include "board/movegen.h"
#include "board/see.h"

void (*trace_move)(const Position& pos, Move move);

static uint64_t piece_key(int code, int square) { return zobrist[code * 64 + square]; }

static bool is_castling(Move move, int mover) {
    return (move & FLAG_MASK) != 0 && type_of(mover) == KING;
}

// The right that a castling move uses.
static int castling_right(int side, Move move) {
    return side * 2 + (move & FLAG_KING_SIDE ? 0 : 1);
}

// The square where the castling rook ends: on the inner side of the king.
static int castled_rook_square(Move move) {
    return move & FLAG_KING_SIDE ? move_to(move) - 1 : move_to(move) + 1;
}

// Moves a piece to an empty square on the board and in the bitboards.
static void shift_piece(Position& pos, int code, int from, int to) {
    Bitboard both = bit(from) | bit(to);
    pos.board[from] = 0;
    pos.board[to] = static_cast<uint8_t>(code);
    pos.pieces[colour_of(code)][ALL_PIECES] ^= both;
    pos.by_code[code] ^= both;
}

static void make_castling(Position& pos, int side, Move move, int king) {
    int from = move_from(move), to = move_to(move);
    int rook = piece_code(side, ROOK);
    int rook_from = pos.castle_rook[castling_right(side, move)];
    int rook_to = castled_rook_square(move);

    // King and rook may trade places, so the rook leaves the board first.
    remove_piece(pos, rook_from, rook);
    if (from != to) shift_piece(pos, king, from, to);
    add_piece(pos, rook_to, rook);
    pos.halfmoves = 0; // castling can't be taken back in the game
    pos.key ^= piece_key(king, from) ^ piece_key(king, to) ^ piece_key(rook, rook_from)
             ^ piece_key(rook, rook_to);
}

// Puts the new piece in the place of a pawn that arrived on the last rank.
static void promote(Position& pos, int side, int to, int type) {
    int pawn = piece_code(side, PAWN), piece = piece_code(side, type);
    remove_piece(pos, to, pawn);
    pos.key ^= piece_key(pawn, to);
    pos.pawn_key ^= piece_key(pawn, to);
    add_piece(pos, to, piece);
    pos.key ^= piece_key(piece, to);
}

// What a pawn move brings beyond the move itself. `rec` still holds the old en passant square.
static void finish_pawn_move(Position& pos, int side, int from, int to, UndoRecord& rec) {
    int push = pawn_push[side];
    int enemy = piece_code(side ^ 1, PAWN);
    int passed = to - push; // off the board only for moves that no generator makes
    pos.halfmoves = 0;
    if (to == from + 2 * push) {
        // Set whether or not an enemy pawn can capture there.
        pos.ep_square = static_cast<uint8_t>(from + push);
        pos.key ^= zobrist[pos.ep_square];
    } else if (to == rec.ep_square && rec.captured == 0 && passed >= 0 && passed < SQUARES
               && pos.board[passed] == enemy) {
        remove_piece(pos, passed, enemy);
        pos.key ^= piece_key(enemy, passed);
        pos.pawn_key ^= piece_key(enemy, passed);
        rec.ep_taken = 1;
    } else if (rank_of(to) == 0 || rank_of(to) == 7) {
        // Without a flag it becomes a queen, and unmaking needs the flag.
        if (!(rec.move & FLAG_MASK)) rec.move = static_cast<Move>(rec.move | FLAG_QUEEN);
        promote(pos, side, to, promoted_type(rec.move));
    }
}

void make_move(Position& pos, Move move) {
    if (trace_move) trace_move(pos, move);

    Line& line = *pos.owner;
    UndoRecord& rec = line.undo_stack[line.undo_index];
    line.undo_index++;
    line.ply++;

    int from = move_from(move), to = move_to(move), side = pos.side;
    int mover = pos.board[from];
    bool castling = is_castling(move, mover);
    int victim = castling ? 0 : pos.board[to];
    if (castling) {
        to = (from & 56) + (move & FLAG_KING_SIDE ? G1 : C1);
        move = static_cast<Move>((move & ~63) | to);
    }

    rec.key = pos.key;
    rec.pawn_key = pos.pawn_key;
    rec.move = move;
    rec.captured = static_cast<uint8_t>(type_of(victim));
    rec.ep_square = pos.ep_square;
    rec.ep_taken = 0;
    rec.touched = pos.touched;
    rec.halfmoves = pos.halfmoves;
    rec.castling = pos.castling;

    pos.ep_square = NO_SQUARE;
    pos.touched |= bit(from) | bit(to);
    if (pos.castling) {
        for (int right = 0; right < CASTLING_RIGHTS; right++)
            if (pos.touched & pos.castle_mask[right])
                pos.castling = static_cast<uint8_t>(pos.castling & ~(1 << right));
        if (pos.castling != rec.castling) pos.key ^= zobrist[rec.castling] ^ zobrist[pos.castling];
    }
    if (pos.halfmoves < 255) pos.halfmoves++;
    pos.side ^= 1;
    if (rec.ep_square != NO_SQUARE) pos.key ^= zobrist[rec.ep_square];

    if (castling) {
        make_castling(pos, side, move, mover);
    } else {
        if (victim) {
            remove_piece(pos, to, victim);
            pos.key ^= piece_key(victim, to);
            if (type_of(victim) == PAWN) pos.pawn_key ^= piece_key(victim, to);
            pos.halfmoves = 0;
        }
        if (from != to) shift_piece(pos, mover, from, to);
        uint64_t keys = piece_key(mover, from) ^ piece_key(mover, to);
        pos.key ^= keys;
        if (type_of(mover) == PAWN) {
            pos.pawn_key ^= keys;
            finish_pawn_move(pos, side, from, to, rec);
        }
    }
    if (type_of(mover) == KING) pos.king_square[side] = static_cast<uint8_t>(to);
    line.last_move = rec.move;
    pos.key = key_with_side(pos.key, pos.side);
}

void make_game_move(Position& pos, Move move) {
    constexpr int FORGOTTEN = 400; // even, so that the mover of each record stays the same
    Line& line = *pos.owner;
    if (line.undo_index >= UNDO_GAME) {
        auto kept = static_cast<size_t>(line.undo_index - FORGOTTEN);
        memmove(line.undo_stack, line.undo_stack + FORGOTTEN, kept * sizeof(UndoRecord));
        line.undo_index = static_cast<int16_t>(kept);
    }
    make_move(pos, move);
    line.ply = 1;
}

uint64_t likely_key_after(const Position& pos, const MoveEntry& entry) {
    int from = move_from(entry.move), to = move_to(entry.move);
    uint64_t key = pos.key ^ piece_key(entry.mover, from) ^ piece_key(entry.mover, to);
    if (entry.victim) key ^= piece_key(entry.victim, to);
    if (pos.ep_square != NO_SQUARE) key ^= zobrist[pos.ep_square];
    return key_with_side(key, pos.side ^ 1);
}

static void unmake_castling(Position& pos, int side, Move move) {
    int from = move_from(move), to = move_to(move);
    int rook = piece_code(side, ROOK), king = piece_code(side, KING);
    remove_piece(pos, castled_rook_square(move), rook);
    if (from != to) shift_piece(pos, king, to, from);
    add_piece(pos, pos.castle_rook[castling_right(side, move)], rook);
    pos.king_square[side] = static_cast<uint8_t>(from);
}

void unmake_move(Position& pos) {
    Line& line = *pos.owner;
    line.undo_index--;
    line.ply--;
    UndoRecord& rec = line.undo_stack[line.undo_index];

    line.last_move = line.undo_index > 0 ? line.undo_stack[line.undo_index - 1].move : NULL_MOVE;
    pos.touched = rec.touched;

    int side = pos.side ^ 1;
    const uint8_t word[4] = {static_cast<uint8_t>(side), rec.ep_square, rec.castling,
                             rec.halfmoves};
    memcpy(&pos.side, word, sizeof word);

    Move move = rec.move;
    int from = move_from(move), to = move_to(move), mover = pos.board[to];
    if (is_castling(move, mover)) {
        unmake_castling(pos, side, move);
    } else {
        if (move & FLAG_MASK) { // a promotion
            remove_piece(pos, to, mover);
            add_piece(pos, from, piece_code(side, PAWN));
        } else if (from != to) {
            shift_piece(pos, mover, to, from);
        }
        if (rec.captured) add_piece(pos, to, piece_code(side ^ 1, rec.captured));
        if (type_of(mover) == KING) pos.king_square[side] = static_cast<uint8_t>(from);
        if (rec.ep_taken) add_piece(pos, to - pawn_push[side], piece_code(side ^ 1, PAWN));
    }
    pos.key = rec.key;
    pos.pawn_key = rec.pawn_key;
}

void make_null_move(Position& pos) {
    if (trace_move) trace_move(pos, NULL_MOVE);

    Line& line = *pos.owner;
    UndoRecord& rec = line.undo_stack[line.undo_index];
    line.ply++;
    line.undo_index++;

    rec.captured = 0;
    rec.move = NULL_MOVE;
    rec.ep_square = pos.ep_square;
    rec.halfmoves = pos.halfmoves;
    rec.key = pos.key;

    if (pos.ep_square != NO_SQUARE) pos.key ^= zobrist[pos.ep_square];
    pos.ep_square = NO_SQUARE;
    pos.side = pos.side ^ 1;
    line.last_move = NULL_MOVE;
    pos.key = key_with_side(pos.key, pos.side);
}

void unmake_null_move(Position& pos) {
    Line& line = *pos.owner;
    line.undo_index--;
    line.ply--;
    const UndoRecord& rec = line.undo_stack[line.undo_index];
    pos.side = pos.side ^ 1;
    pos.ep_square = rec.ep_square;
    pos.halfmoves = rec.halfmoves;
    pos.key = rec.key;
    line.last_move = line.undo_index > 0 ? line.undo_stack[line.undo_index - 1].move : NULL_MOVE;
}

int square_attacked(const Position& pos, int square, int by_side) {
    const Bitboard* pieces = pos.pieces[by_side];
    if (pawn_attacks[by_side ^ 1][square] & pieces[PAWN]) return 1;
    if (knight_attacks[square] & pieces[KNIGHT]) return 1;
    if (king_attacks[square] & pieces[KING]) return 1;

    Bitboard diagonals = bishop_rays[square] & (pieces[BISHOP] | pieces[QUEEN]);
    Bitboard orthogonals = rook_rays[square] & (pieces[ROOK] | pieces[QUEEN]);
    Bitboard occ = occupied(pos);
    if (diagonals && (bishop_attacks(square, occ) & diagonals)) return 1;
    return orthogonals && (rook_attacks(square, occ) & orthogonals);
}

// Tells whether `side` attacks the square with the given occupancy, without the pieces outside
// `present`.
static bool attacked_through(const Position& pos, int square, int side, Bitboard occ,
                             Bitboard present) {
    const Bitboard* pieces = pos.pieces[side];

    Bitboard diagonals = bishop_rays[square] & (pieces[BISHOP] | pieces[QUEEN]) & present;
    if (diagonals && (bishop_attacks(square, occ) & diagonals)) return true;
    Bitboard orthogonals = rook_rays[square] & (pieces[ROOK] | pieces[QUEEN]) & present;
    if (orthogonals && (rook_attacks(square, occ) & orthogonals)) return true;
    return ((pawn_attacks[side ^ 1][square] & pieces[PAWN])
            | (knight_attacks[square] & pieces[KNIGHT]) | (king_attacks[square] & pieces[KING]))
         & present;
}

static int legal_castling(const Position& pos, int side, Move move) {
    int from = move_from(move), to = move_to(move), step = to > from ? 1 : -1;
    for (int square = from;; square += step) {
        if (square_attacked(pos, square, side ^ 1)) return 0;
        if (square == to) return 1;
    }
}

int legal_move(const Position& pos, int side, Move move) {
    if (move == NULL_MOVE) return 0;
    int from = move_from(move), to = move_to(move), mover = type_of(pos.board[from]);
    if (is_castling(move, mover)) return legal_castling(pos, side, move);

    int king = mover == KING ? to : pos.king_square[side];
    if (king == NO_SQUARE) return 1; // nothing to expose
    Bitboard taken = bit(to);
    Bitboard occ = (occupied(pos) & ~bit(from)) | bit(to);
    if (is_ep_square(pos, mover, to)) {
        Bitboard passed = bit((to - pawn_push[side]) & 63);
        occ &= ~passed;
        taken |= passed;
    }
    return !attacked_through(pos, king, side ^ 1, occ, ~taken);
}

int castling_exposes_king(const Position& pos, int side, Move move) {
    if (!is_castling(move, pos.board[move_from(move)])) return 0;
    int to = move_to(move);
    Bitboard moving = bit(move_from(move)) | bit(pos.castle_rook[castling_right(side, move)]);
    Bitboard occ = (occupied(pos) & ~moving) | bit(to) | bit(castled_rook_square(move));
    return attacked_through(pos, to, side ^ 1, occ, ~Bitboard{0});
}

// Tells whether any legal move exists in a game position.
static bool has_legal_move(const Position& pos) {
    MoveEntry list[LONGEST_ODD_LIST];
    gen_list(pos, list);
    for (const MoveEntry* entry = list; entry->move != LIST_END; entry++)
        if (legal_move(pos, pos.side, entry->move)) return true;
    return false;
}

int is_draw(Position& pos, int ply) {
    constexpr int FIRST_REPETITION = 4; // plies that a repetition takes at least
    constexpr int FIFTY_MOVES = 100;    // plies; the draw is beyond

    if (pos.halfmoves < FIRST_REPETITION) return 0;
    if (pos.halfmoves > FIFTY_MOVES && (ply > 0 || !has_legal_move(pos))) return 1;

    // No position comes back after a capture, pawn move or castling. `halfmoves` counts from
    // there, but for the null moves of the line, of which there are fewer than plies.
    const Line& line = *pos.owner;
    int top = line.undo_index;
    int lowest = std::max(0, top - pos.halfmoves - PLY_SLOTS);
    int matches = 0;
    for (int i = top - 2; i >= lowest; i -= 2) {
        const UndoRecord& rec = line.undo_stack[i];
        if (rec.move == NULL_MOVE) return 0; // no repetition across a null move
        if (rec.key != pos.key) continue;
        if (top - ply < i || ++matches == 2) return 1;
    }
    return 0;
}

bool gives_check(const Position& pos, int side, Move move, int mover_type) {
    int from = move_from(move), to = move_to(move), king = pos.king_square[side ^ 1];
    if (from == to || king == NO_SQUARE) return false;
    int arrives = mover_type == PAWN && (move & FLAG_MASK) ? promoted_type(move) : mover_type;

    Bitboard occ = (occupied(pos) & ~bit(from)) | bit(to);
    switch (arrives) {
    case PAWN:
        if (pawn_attacks[side][to] & bit(king)) return true;
        break;
    case KNIGHT:
        if (knight_attacks[to] & bit(king)) return true;
        break;
    case BISHOP:
        if ((bishop_rays[to] & bit(king)) && !(between[to][king] & occ)) return true;
        break;
    case ROOK:
        if ((rook_rays[to] & bit(king)) && !(between[to][king] & occ)) return true;
        break;
    case QUEEN:
        if (((rook_rays[to] | bishop_rays[to]) & bit(king)) && !(between[to][king] & occ))
            return true;
        break;
    default: // a king next to the other one
        if (king_attacks[to] & bit(king)) return true;
    }
    return attacked_through(pos, king, side, occ, ~(bit(from) | bit(to)));
}

int classify_move(const Position& pos, int side, const MoveEntry& entry) {
    Move move = entry.move;
    int to = move_to(move), mover = type_of(entry.mover);
    int r = gives_check(pos, side, move, mover) ? CLASS_CHECK : 0;
    if (entry.victim || is_ep_square(pos, mover, to)) r |= CLASS_CAPTURE;
    if (mover != PAWN) return r;

    if (move & FLAG_QUEEN) return r | CLASS_QUEENING;
    int rank = rank_of(to ^ rank_flip[side]);
    if (rank == 6) return r | CLASS_SEVENTH;
    if (rank == 7) return r | CLASS_PAWN;
    if (rank == 5 && pos.board[to + pawn_push[side]] == 0
        && !(pawn_front_span[side][to] & pos.pieces[side ^ 1][PAWN]))
        return r | CLASS_PAWN;
    return r;
}

// The lone piece between a slider and its target, for each slider of a set.
static Bitboard lone_blockers(Bitboard sliders, int target, Bitboard occ) {
    Bitboard result = 0;
    while (sliders) {
        Bitboard blockers = between[pop_lowest(sliders)][target] & occ;
        if (blockers && !(blockers & (blockers - 1))) result |= blockers;
    }
    return result;
}

Bitboard pinned_pieces(const Position& pos, int side) {
    const Bitboard* enemy = pos.pieces[side ^ 1];
    Bitboard occ = occupied(pos), result = 0;
    int king = pos.king_square[side];
    if (king != NO_SQUARE) {
        result |= lone_blockers(bishop_rays[king] & (enemy[BISHOP] | enemy[QUEEN]), king, occ);
        result |= lone_blockers(rook_rays[king] & (enemy[ROOK] | enemy[QUEEN]), king, occ);
    }
    if (pos.pieces[side][QUEEN]) {
        int queen = bit_scan_forward(pos.pieces[side][QUEEN]);
        result |= lone_blockers(bishop_rays[queen] & enemy[BISHOP], queen, occ);
        result |= lone_blockers(rook_rays[queen] & enemy[ROOK], queen, occ);
    }
    return result & pos.pieces[side][ALL_PIECES];
}

// The part of discovers_support for one kind of line.
static bool supports_on_lines(Position& pos, int type, int from, int to, Bitboard targets,
                              Bitboard blockers) {
    int side = pos.side;
    while (targets) {
        int square = pop_lowest(targets);
        if (between[to][square] & blockers) continue;
        pos.pieces[side][type] ^= bit(from);
        pos.pieces[side][ALL_PIECES] ^= bit(from);
        int attacked = square_attacked(pos, square, side);
        pos.pieces[side][type] ^= bit(from);
        pos.pieces[side][ALL_PIECES] ^= bit(from);
        if (attacked) return true;
    }
    return false;
}

int discovers_support(Position& pos, int type, int from, int to, Bitboard targets) {
    const Bitboard* own = pos.pieces[pos.side];
    Bitboard occ = occupied(pos);
    if (type == ROOK || type == QUEEN) {
        Bitboard lines = targets & rook_rays[to] & ~rook_rays[from] & ~bit(from);
        if (supports_on_lines(pos, type, from, to, lines, occ & ~(own[ROOK] | own[QUEEN])))
            return 1;
    }
    if (type == BISHOP || type == QUEEN) {
        Bitboard lines = targets & bishop_rays[to] & ~bishop_rays[from] & ~bit(from);
        if (supports_on_lines(pos, type, from, to, lines, occ & ~(own[BISHOP] | own[QUEEN])))
            return 1;
    }
    return 0;
}
