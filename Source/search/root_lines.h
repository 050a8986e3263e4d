// root_lines.h: what the strict protocol makes of a search's results: the lines of a MultiPV
// analysis told as whole sets, and a last result that has a score and a line with an end.
//
// Thread 0 calls everything here, for its own search. The lines live until the next one.

#pragma once

struct SearchThread;

// Forgets the lines of the last search.
void forget_lines();

// Takes the thread's score and line as line number `line`, from 0, of the iteration to `depth`. As
// it has always been it is told at once; in the strict protocol it waits for the others.
void keep_line(SearchThread& thread, int line, int depth);

// Tells the lines of an iteration that has finished all its `count` lines, best first. The first of
// them becomes the result in EngineState. Does nothing in the plain protocol, nor without MultiPV.
void tell_lines(int count);

// At the end of a strict search. Lines that were finished since the last set are told, filled up
// from that set. A search that was stopped before its first result gets the static value for a
// score. The line of the result is completed by what the hash table has learned since.
void finish_strict_result(SearchThread& thread);
