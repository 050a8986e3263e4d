// position.h: the board record, its undo record, FEN text and the two hash keys.
//
// A Position never lives alone: the record that it is part of holds the line of moves that led to
// it, see line.h. It lives as long as that record and is changed only by the thread that owns it:
// by the functions here, which set it up, and by those of make.h.

#pragma once

#include <cstddef>
#include <cstdint>

#include "board/bitboard.h"
#include "board/types.h"

struct Line;

constexpr int MAX_HALFMOVES = 255; // where Position::halfmoves stops

// The start position: four fields, no counters.
constexpr char START_FEN[] = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -";

struct Position {
    Line* owner; // the moves that led here, the head of the record that holds this position; set
                 // when that record is made, and kept when a position is copied into it

    uint8_t board[65]; // piece code on each square; entry NO_SQUARE always reads as empty

    // Squares of the pieces by colour and type, [colour][0] being all pieces of the colour. The
    // same words by piece code: code = colour * 8 + type.
    union {
        Bitboard pieces[2][8]; // by colour and type
        Bitboard by_code[16];  // by piece code
    };

    Bitboard touched;                       // from- and to-squares of all moves since the set-up
    Bitboard castle_mask[CASTLING_RIGHTS];  // king and rook square; touched, they end the right
    Bitboard castle_empty[CASTLING_RIGHTS]; // squares that castling needs empty

    uint64_t key;      // position key; bit 32 is the side to move
    uint64_t pawn_key; // exclusive-or of the keys of all pawns

    uint32_t piece_counts[2]; // per colour, 4 bits a type: P 0-3, N 4-7, B 8-11, R 12-15, Q 16-19
    uint16_t material[2];     // per colour, phase units without pawns; see material_step

    uint8_t castle_rook[CASTLING_RIGHTS]; // starting square of the rook, or NO_SQUARE
    uint8_t king_square[2];               // NO_SQUARE when the colour has no king

    // Restored together by unmake_move as one 32-bit word.
    alignas(4) uint8_t side; // to move
    uint8_t ep_square;       // the square that a pawn just skipped, or NO_SQUARE
    uint8_t castling;        // living rights, a bit for each, see castling.h
    uint8_t halfmoves; // plies since the last capture, pawn move or castling; to MAX_HALFMOVES
};
static_assert(offsetof(Position, pawn_key) == offsetof(Position, key) + 8, "one 16-byte block");
static_assert(offsetof(Position, ep_square) == offsetof(Position, side) + 1
                  && offsetof(Position, castling) == offsetof(Position, side) + 2
                  && offsetof(Position, halfmoves) == offsetof(Position, side) + 3
                  && offsetof(Position, side) % 4 == 0,
              "one aligned 32-bit word");

// What unmake_move needs of one move, written by the make functions. Keys, squares, counters and
// rights are those of the position before the move.
struct UndoRecord {
    uint64_t key;      // Position::key
    uint64_t pawn_key; // not of a null move, which keeps it, as `touched` and `castling`
    Move move;         // the move made; 0 for a null move, and at the end of a game's record
    uint8_t captured;  // type of the piece taken on the to-square; 0 for none and for en passant
    uint8_t ep_square; // or NO_SQUARE
    uint8_t ep_taken;  // 1 if an en passant capture took a pawn
    uint64_t touched;  // squares
    uint8_t halfmoves; // plies
    uint8_t castling;  // rights
};
static_assert(sizeof(UndoRecord) == 40, "one record a move");

inline Bitboard occupied(const Position& pos) {
    return pos.pieces[WHITE][ALL_PIECES] | pos.pieces[BLACK][ALL_PIECES];
}

// The number of pawns of a colour.
inline int pawn_count(const Position& pos, int side) {
    return static_cast<int>(pos.piece_counts[side] & COUNT_PAWNS);
}

// Tells whether a pawn going to `to` captures en passant, by the square alone.
inline bool is_ep_square(const Position& pos, int mover_type, int to) {
    return mover_type == PAWN && to == pos.ep_square;
}

// Puts a piece on an empty square, or takes it off: board, bitboards, counts and material. The
// keys and king_square are the caller's.
inline void add_piece(Position& pos, int square, int code) {
    int side = colour_of(code);
    pos.board[square] = static_cast<uint8_t>(code);
    pos.pieces[side][ALL_PIECES] ^= bit(square);
    pos.by_code[code] ^= bit(square);
    pos.piece_counts[side] += count_step[type_of(code)];
    pos.material[side] = static_cast<uint16_t>(pos.material[side] + material_step[type_of(code)]);
}
inline void remove_piece(Position& pos, int square, int code) {
    int side = colour_of(code);
    pos.board[square] = 0;
    pos.pieces[side][ALL_PIECES] ^= bit(square);
    pos.by_code[code] ^= bit(square);
    pos.piece_counts[side] -= count_step[type_of(code)];
    pos.material[side] = static_cast<uint16_t>(pos.material[side] - material_step[type_of(code)]);
}

// What a piece on a square adds to the key.
inline uint64_t piece_key(int code, int square) { return zobrist[code * SQUARES + square]; }

// The key with bit 32 showing `side` to move.
inline uint64_t key_with_side(uint64_t key, int side) {
    return (key & ~(1ULL << 32)) | (static_cast<uint64_t>(side) << 32);
}

// Takes everything off the board and empties the owner's game record; the side to move stays. The
// keys are the caller's.
void clear_position(Position& pos);

// Replaces the whole position by the one in the text. Never fails: fields that are missing keep
// their cleared values, but the side to move keeps its old value when the text names none. Move
// counters are ignored, `halfmoves` is 0. Squares off the board are dropped. The owner's game
// record is emptied.
void set_position(Position& pos, const char* fen);

// Computes key and pawn_key from the board, the side to move, the rights and the en passant
// square.
void compute_keys(Position& pos);

// Room for any text that write_fen makes.
constexpr size_t FEN_LENGTH = 128;

// Writes four FEN fields, and if `with_counters` is not 0 also halfmoves and the number of moves
// since the set-up. Rights are always written as KQkq. `out` needs FEN_LENGTH characters.
void write_fen(const Position& pos, char* out, int with_counters);

// Prints the FEN line and a diagram, rank 8 first, with the side to move below.
void print_board(const Position& pos);

// Tells whether the position can be searched: one king a side, at most 16 pieces a side, and the
// side not to move not in check. Returns null if so, else the plain reason.
const char* unsearchable_reason(const Position& pos);
