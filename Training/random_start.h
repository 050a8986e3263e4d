// random_start.h: starts of self-play games: a known position and a few random moves behind it.
//
// All choices come from a generator of numbers that the caller seeds, so that a game can be played
// again. Works on the game's position; main thread only.

#pragma once

#include <string>
#include <vector>

#include "base/random.h"
#include "board/position.h"

// The moves of the position that are legal by the rules, in the order of generation.
std::vector<Move> all_legal_moves(const Position& pos);

enum class StartKind { STANDARD, CHESS960, OPENING };

// FEN text of the Chess960 start with that number, 0 to 959; 518 is the standard one. Bishops,
// queen, knights, then rook, king, rook are placed in the usual order of the numbering.
std::string chess960_start(int number);

// Adds the positions of an EPD file to the list, but for those that can't be searched. Returns
// false if the file can't be read.
bool read_openings(std::vector<std::string>& openings, const char* name);

// Tells whether each castling right belongs to the outermost rook of its wing, as in any text or
// record that doesn't name the rook.
bool castles_with_outer_rooks(const Position& pos);

// Sets up a start of that kind and plays random moves: 8 or 9, and 2 or 3 from an opening, of
// which there is at least one then. No move gives away more than a minor piece by static exchange.
// Returns false, with a position that is no start, when the moves lead to one without such a move,
// or to one whose castling rights a record can't hold.
bool draw_start(Position& pos, Random& random, StartKind kind,
                const std::vector<std::string>& openings);
