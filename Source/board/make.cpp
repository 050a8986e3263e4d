#include "board/make.h"

#include <algorithm>
#include <cstring>

#include "board/castling.h"
#include "board/line.h"

void (*trace_move)(const Position& pos, Move move);

// Moves a piece to an empty square on the board and in the bitboards.
static void shift_piece(Position& pos, int code, int from, int to) {
    Bitboard both = bit(from) | bit(to);
    pos.board[from] = 0;
    pos.board[to] = static_cast<uint8_t>(code);
    pos.pieces[colour_of(code)][ALL_PIECES] ^= both;
    pos.by_code[code] ^= both;
}

static void make_castling(Position& pos, int side, Move move, int king) {
    const int wing = castling_wing(move), rook = piece_code(side, ROOK);
    const int from = move_from(move), to = castled_king_square(from, wing);
    const int rook_from = pos.castle_rook[castling_right(side, wing)];
    const int rook_to = castled_rook_square(from, wing);

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

// Ends the rights whose king or rook has been touched.
static void drop_touched_rights(Position& pos) {
    const int before = pos.castling;
    if (before == 0) return;
    for (int right = 0; right < CASTLING_RIGHTS; right++)
        if (pos.touched & pos.castle_mask[right])
            pos.castling = static_cast<uint8_t>(pos.castling & ~(1 << right));
    if (pos.castling != before) pos.key ^= zobrist[before] ^ zobrist[pos.castling];
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
        // The protocol may name the rook's square.
        to = castled_king_square(from, castling_wing(move));
        move = static_cast<Move>(make_plain_move(from, to) | (move & FLAG_MASK));
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
    drop_touched_rights(pos);
    if (pos.halfmoves < MAX_HALFMOVES) pos.halfmoves++;
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

void fold_game(Position& pos) {
    constexpr int LAST_MOVES = 2; // are kept in any case: what a reply answers
    Line& line = *pos.owner;
    int kept = std::min<int>(line.undo_index, std::max<int>(pos.halfmoves, LAST_MOVES));
    int forgotten = line.undo_index - kept;
    memmove(line.undo_stack, line.undo_stack + forgotten,
            static_cast<size_t>(kept) * sizeof(UndoRecord));
    line.undo_stack[kept].move = NULL_MOVE;
    line.undo_index = static_cast<int16_t>(kept);
    line.folded += forgotten;
}

uint64_t likely_key_after(const Position& pos, const MoveEntry& entry) {
    int from = move_from(entry.move), to = move_to(entry.move);
    uint64_t key = pos.key ^ piece_key(entry.mover, from) ^ piece_key(entry.mover, to);
    if (entry.victim) key ^= piece_key(entry.victim, to);
    if (pos.ep_square != NO_SQUARE) key ^= zobrist[pos.ep_square];
    return key_with_side(key, pos.side ^ 1);
}

static void unmake_castling(Position& pos, int side, Move move) {
    const int from = move_from(move), to = move_to(move), wing = castling_wing(move);
    const int rook = piece_code(side, ROOK), king = piece_code(side, KING);
    remove_piece(pos, castled_rook_square(from, wing), rook);
    if (from != to) shift_piece(pos, king, to, from);
    add_piece(pos, pos.castle_rook[castling_right(side, wing)], rook);
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
