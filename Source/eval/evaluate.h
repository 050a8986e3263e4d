// evaluate.h: the single door through which the search asks for the worth of a position.
//
// Every thread works on its own record; parameters and options are only read. Scores are integers
// in evaluation units (100 = a pawn) from the side to move's view.

#pragma once

#include <atomic>
#include <cstdint>

struct Position;
struct SearchThread;

// Static evaluations end here, so that none is taken for a mate; no position of a real game comes
// near.
constexpr int EVAL_LIMIT = 9700;

// Half-moves that would bring a score to 0: Evaluate takes halfmoves / FIFTY_SCALE of it off. At
// the hundred that draw, 61 per cent are left, so that progress is worth something long before.
constexpr int FIFTY_SCALE = 256;

// Static score for `side`, the side to move, with contempt and the fifty-move scaling. In check
// it is NO_EVAL. `ply` selects the stack entry that the threat pressures go to; at ply 0 and 1
// the eval hash is not read.
int Evaluate(SearchThread& thread, int side, int ply, int in_check);

// Tells which evaluator a position goes to where there is a network in use: true for the network.
// Only the material counts, so that one position always goes to the same. Any thread.
bool has_network_material(const Position& pos);

// Asks for the memory of the eval hash's entry for a key and side to move, ahead of Evaluate: early
// enough is before the move is made.
void prefetch_eval(SearchThread& thread, uint64_t key, int side);

// The hand-crafted score for `side`, without contempt and scaling. With `report` not 0 the eval
// hash is not read, and unless endgame knowledge answers, the report of that form is printed: 1 the
// terms, 2 also the parameters. Main thread only then.
int HceEval(SearchThread& thread, int side, int ply, int report);

// Grows whenever parameters or network change; a thread whose eval_epoch differs flushes its eval
// hash and pawn hash before it searches. Written by the main thread.
extern std::atomic<uint32_t> eval_epoch;

// Brings what the hand-crafted evaluation reads of eval_params up to date with it. To be called
// between searches by whoever changes eval_params.
void build_eval_tables();

// Flushes the thread's two tables if they were filled under other settings, and the eval hash if
// the network's noise has been switched since.
void refresh_eval_tables(SearchThread& thread);
