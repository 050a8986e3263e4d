// report.h: how the hand-crafted evaluation reached its score, printed for a person.
//
// Main thread only, while no search runs: everything goes to plain standard output.

#pragma once

struct SearchThread;

// Prints the term groups of the thread's last evaluation, which must have been made with `report`
// set: each group without the material of its kind, then hanging pieces, free pawns, and the line
// of totals. `scale` is the endgame factor of that evaluation. From form 2 of EvalContext::report
// on, the table of parameters follows.
void EvalReport(const SearchThread& thread, float scale);
