// trace.h: the search seen from inside: the tree of moves in trace.txt, and the stack dump.
//
// trace.txt belongs to one thread at a time: to thread 0 while a search runs, to the main thread
// and its game else. Helpers write nothing.

#pragma once

#include "board/position.h"

// Sets ShellState::trace_level, clamped to 0 to 255 plies, and switches the trace on, or with 0
// off. Main thread, while no search runs.
void set_trace(int plies);

// Switches the trace off and closes the file; the next one begins anew. While no search runs.
void reset_trace();

// Opens trace.txt if the trace is on and the file is not open yet; a file that can't be opened
// ends the program with 0. Main thread, before a search starts.
void open_trace();

// Writes a move to trace.txt if the ply is at most trace_level. While the trace is on the make
// functions call it with the position before the move; move 0 is the null move.
void search_trace(const Position& pos, Move move);

// Prints the stack from ply 1 to the ply above `ply`, and the board. The thread that owns it.
void print_stack_dump(const Position& pos, int ply);
