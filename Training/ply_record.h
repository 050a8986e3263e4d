// ply_record.h: the record of one ply of a game.
//
// Records lie in files as in memory, little-endian, see data_file.h. Pure work on the caller's
// records; any thread.

#pragma once

#include <bit>
#include <cstdint>

#include "board/position.h"

static_assert(std::endian::native == std::endian::little, "records are written as they lie");

struct PlyRecord {
    uint64_t occupied; // squares with a unit, a1 = bit 0
    uint8_t units[16]; // piece codes of those squares from a1 on, two a byte, the low half first
    int16_t score;     // of the search, from the side to move's view
    uint16_t move;     // best move, which was played unless the game ended here; 0: not known
    uint16_t place;    // RECORD_PLY and the flags below it
    uint8_t state;     // RECORD_BLACK and what follows it
    uint8_t halfmoves; // plies since the last capture, pawn move or castling
};
static_assert(sizeof(PlyRecord) == 32, "size of a record in the file");

// Parts of PlyRecord::place.
constexpr int RECORD_PLY = 0x01FF;      // plies since the start of the game, random ones counted
constexpr int RECORD_FIRST = 0x0200;    // first record of a game
constexpr int RECORD_EP_SHIFT = 10;     // four bits: file of the en passant square + 1, 0 for none
constexpr int RECORD_TACTICAL = 0x4000; // the best move captures or promotes, see below
constexpr int RECORD_CHECK = 0x8000;    // the side to move is in check

// What RECORD_TACTICAL says of a record without a best move is up to its maker, who answers for
// what training would drop: relabel makes them of positions that no capture changes, and
// plyconvert sets the mark where a capture wins material by static exchange or a pawn promotes.

// Parts of PlyRecord::state.
constexpr int RECORD_BLACK = 0x01;       // Black is to move
constexpr int RECORD_RESULT_SHIFT = 1;   // two bits, RESULT_... for the side to move
constexpr int RECORD_CASTLING_SHIFT = 3; // four bits, as Position::castling
constexpr int RECORD_CHESS960 = 0x80;    // the game began from a Chess960 start

// Results of a game for one side.
constexpr int RESULT_LOST = 0;
constexpr int RESULT_DRAWN = 1;
constexpr int RESULT_WON = 2;

constexpr int MAX_GAME_PLIES = 400; // random ones counted; a longer game is drawn

inline int record_ply(const PlyRecord& record) { return record.place & RECORD_PLY; }
inline int record_side(const PlyRecord& record) { return record.state & RECORD_BLACK; }
inline int record_result(const PlyRecord& record) {
    return record.state >> RECORD_RESULT_SHIFT & 3;
}

// Fills a record from a position of a game and the search's answer, NULL_MOVE for none. The marks
// for the first record and for Chess960 are not set and the result is RESULT_LOST: they are the
// caller's.
void pack_ply(PlyRecord& record, const Position& pos, Move move, int score, int ply);

// Tells whether a record holds a position: at most 32 units, among them 16 pawns, which lists of
// active inputs have room for; no codes of no piece, no pawn on an outer rank, one king a side.
bool is_sound(const PlyRecord& record);

// The board of a sound record by itself: units, their counts, kings and the side to move, which are
// all that the network and endgame knowledge look at. It has no owner, no keys, no rights and no en
// passant square, so that no move can be made on it.
Position bare_board(const PlyRecord& record);

// Sets up the whole position of a record. A castling right belongs to the outermost rook of its
// wing; one without a rook is dropped. Returns false, with the position unchanged, for a record
// that is not sound. The owner's game record is emptied.
bool unpack_ply(Position& pos, const PlyRecord& record);
