// report.h: how the hand-crafted evaluation reached its score, printed for a person.
//
// Main thread only, while no search runs: everything goes to plain standard output.

#pragma once

struct EvalState;
struct Position;

// Prints the term groups of the last evaluation, which must have been one of `pos` with `report`
// set: each group without the material of its kind, then hanging pieces, free pawns, and the line
// of totals. `scale` is the endgame factor of that evaluation. From form 2 of EvalContext::report
// on, the table of parameters follows.
void EvalReport(const Position& pos, const EvalState& eval, float scale);
