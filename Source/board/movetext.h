// movetext.h: moves as text: coordinates for the protocol, SAN-like forms for people and input.
//
// Nothing here changes the position, so that any thread may ask about its own. Two flags decide
// the spelling of coordinates: ShellState::uci_mode and ::chess960.

#pragma once

#include "board/position.h"

// Room for any text that the functions below write.
constexpr size_t MOVE_TEXT_LENGTH = 16;

// "a1" to "h8" by square; "-" for NO_SQUARE.
extern const char SQUARE_NAMES[65][3];

// Writes the move in coordinates: "e2e4", "e7e8q" in UCI mode or "e7e8=Q" in console mode.
// Castling is the king's own step, or king takes rook when UCI_Chess960 is on, with the rook of
// `side`. Move 0 gives "null". Needs the position before the move only for the castling rooks.
void move_to_text(const Position& pos, int side, Move move, char* out);

// The same for a move that is certain to be one.
void move_to_text_raw(const Position& pos, int side, Move move, char* out);

// Writes the four forms of a move, each MOVE_TEXT_LENGTH characters at most; a form that the move
// does not have stays empty. A check is marked "+", mate and checks by a castling rook are not.
//
//               coordinate  short_form  file_form  rank_form
//   pawn        e4d5        exd5        ed
//   knight      b1d2        Nd2         Nbd2       N1d2
//   castling    e1g1        o-o         O-O        e1h1
//
// The short form is told apart by file or rank only from a piece that shares the rank or file.
void move_to_forms(const Position& pos, Move move, char* coordinate, char* short_form,
                   char* file_form, char* rank_form);

// Reads a move in any of its four forms. "+" and what follows it is cut, "O" and "0" are taken
// for "o". Returns 1 on success; otherwise 0, with `*out` 0 or a candidate to be ignored, after
// "ambiguous move" on standard output if two moves fit; nothing else is ever printed. The text is
// changed in place and needs room for one character more.
int parse_move(const Position& pos, char* text, Move* out);
