// game_file.h: positions and games in files, as the console reads and writes them.
//
// Main thread only, between searches. Files that can't be opened, and whatever is no plain file,
// are passed over.

#pragma once

#include "board/position.h"

// Looks in "test.epd" for the line with this id, prints it and sets its position; prints "get"
// without the file and an empty line without such a line.
void find_test_position(Position& pos, const char* id);

// Reads a game of a PGN file onto the position's record: the first, or with a `tag` that is not
// empty the first with that text in one of its lines, from there on. Comments are left out; at a
// word that is no move reading ends with a message. Returns false, with the position unchanged,
// if the file can't be opened.
bool load_game(Position& pos, const char* file_name, const char* tag);

// Appends the game's moves to "tmp.pgn" in their short form, without numbers, tags or a result;
// load_game reads them back. If not all of it can be written, the file stays as it was, and that is
// told on standard error.
void save_game(Position& pos);
