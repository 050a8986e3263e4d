// ply_record.h: the record of one ply of a self-play game, and the files that hold them.
//
// A file is a DataHeader, then PlyRecords, little-endian as they lie in memory. Games follow one
// another, each of them whole; the first record of each is marked. Files grow by whole games only,
// so that one that was cut off inside a record has lost a part of its last game and nothing else.
// Pure work on the caller's records; any thread.

#pragma once

#include <bit>
#include <cstdint>
#include <cstdio>

#include "board/position.h"

static_assert(std::endian::native == std::endian::little, "records are written as they lie");

struct PlyRecord {
    uint64_t occupied; // squares with a unit, a1 = bit 0
    uint8_t units[16]; // piece codes of those squares from a1 on, two a byte, the low half first
    int16_t score;     // of the search, from the side to move's view
    uint16_t move;     // best move, which was played unless the game ended here
    uint16_t place;    // RECORD_PLY and the flags below it
    uint8_t state;     // RECORD_BLACK and what follows it
    uint8_t halfmoves; // plies since the last capture, pawn move or castling
};
static_assert(sizeof(PlyRecord) == 32, "size of a record in the file");

// Parts of PlyRecord::place.
constexpr int RECORD_PLY = 0x01FF;      // plies since the start of the game, random ones counted
constexpr int RECORD_FIRST = 0x0200;    // first record of a game
constexpr int RECORD_EP_SHIFT = 10;     // four bits: file of the en passant square + 1, 0 for none
constexpr int RECORD_TACTICAL = 0x4000; // the best move captures or promotes
constexpr int RECORD_CHECK = 0x8000;    // the side to move is in check

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

struct DataHeader {
    char magic[8];        // DATA_MAGIC
    uint32_t record_size; // bytes of a record
    uint32_t seed;        // of the worker that played the games
};
static_assert(sizeof(DataHeader) == 16, "size of the header in the file");

constexpr char DATA_MAGIC[9] = "MIRDPLY1";

inline int record_ply(const PlyRecord& record) { return record.place & RECORD_PLY; }
inline int record_side(const PlyRecord& record) { return record.state & RECORD_BLACK; }
inline int record_result(const PlyRecord& record) {
    return record.state >> RECORD_RESULT_SHIFT & 3;
}

// Fills a record from a position of a game and the search's answer. The marks for the first
// record and for Chess960 are not set and the result is RESULT_LOST: they are the caller's.
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

// A data file that is open for reading, at its first record.
struct DataFile {
    FILE* file;       // at the next record
    uint32_t seed;    // of its header
    uint64_t records; // in whole games
    uint64_t torn;    // bytes behind them, to be ignored
};

// Opens a data file. Returns false, with `data` unchanged, if it can't be read or has no header.
// The caller closes `file`.
bool open_data_file(DataFile& data, const char* name);
