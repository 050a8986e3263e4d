// book.h: opening books in the PolyGlot format: the key of a position, the file's entries, moves as
// the file has them, and the choice of a move.
//
// A book is read from disk for each probe and never kept, so that its size costs no memory. Main
// thread only, between searches.

#pragma once

#include <cstdint>
#include <cstdio>

#include "board/position.h"

// One entry of a book in host byte order. Entries are sorted by key; those of one key stand
// together.
struct BookEntry {
    uint64_t key;    // book_key of the position; not Position::key
    uint16_t move;   // to-square 0-5, from-square 6-11, promotion 12-14: 1 knight ... 4 queen
    uint16_t weight; // how often the move is chosen, beside the others of its key; 0 is never
    uint32_t learn;  // not used
};
static_assert(sizeof(BookEntry) == 16, "size of an entry in the file");

constexpr int BOOK_MAX_MOVES = 128; // entries of one key that are looked at

// Squares of a move in a book.
constexpr int book_move_to(uint16_t packed) { return packed & 63; }
constexpr int book_move_from(uint16_t packed) { return (packed >> 6) & 63; }

// The PolyGlot key. The en passant square counts only if a pawn of the side to move attacks it,
// pinned or not.
uint64_t book_key(const Position& pos);

// Reads the entry at the file's current place. Returns 0, or 1 at the end of the file and for an
// entry that is cut short; `entry` is then unchanged.
int read_book_entry(FILE* file, BookEntry& entry);

// Writes an entry at the file's current place, with no look at errors.
void write_book_entry(FILE* file, const BookEntry& entry);

// The share of an entry after bending, in parts of 10,000 and at least 0. `variety` is in per
// cent: 25 keeps the proportions of the file, more adds the same part of the first weight to every
// move, less takes it off. `first` is the weight of the key's first entry, `total` the sum of the
// key's weights, which must not be 0.
int bend_weight(int weight, int variety, int first, int total);

// A move as a book has it: castling is the king taking its own rook, told by the squares alone, so
// that any piece that goes from e1 to g1 is written as e1h1.
uint16_t pack_book_move(Move move);

// The move that a book's move means here, or NULL_MOVE if it can't be played. Going from e1 to h1
// or a1, or from e8 to h8 or a8, is read as going to the g- or c-file, whatever piece it is; for a
// king that is castling.
Move unpack_book_move(const Position& pos, uint16_t packed);

// Chooses a move for the position from a book file, at random by weight and OwnBook_Variety.
// Prints the moves that the book holds: in UCI mode in one line, in console mode one in a line
// and the choice, but nothing in a console search with the time limit 9999. Returns NULL_MOVE and
// prints nothing when the file has no move here or can't be read; NULL_MOVE also when the chosen
// move can't be played.
Move book_probe(const Position& pos, const char* filename);
