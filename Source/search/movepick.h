// movepick.h: the staged picker, which hands a node its moves one by one, the best first.
//
// A node that cuts off after the hash move or a capture never pays for its quiet moves: each
// stage generates and scores its own when the one before is used up. The picker's state lives in
// the SearchStackEntry of the thread's current ply; called by the thread that owns the record.

#pragma once

#include "board/position.h"

// Options in the high bits of SearchStackEntry::stage; the low four bits are the picker's stage.
constexpr int STAGE_HASH_MOVE = 16; // try hash_move first
constexpr int STAGE_NODE = 32;      // set by every caller, not read
constexpr int STAGE_FULL = 64;      // under-promotions, exchange scoring, quiet moves
constexpr int STAGE_CHECKS = 128;   // without STAGE_FULL: quiet checks after the captures

constexpr int PICK_SEARCH = STAGE_HASH_MOVE | STAGE_NODE | STAGE_FULL; // 112
constexpr int PICK_PERFT = STAGE_NODE | STAGE_FULL;                    // 96
constexpr int PICK_CHECKS = STAGE_NODE | STAGE_CHECKS;                 // 160
constexpr int PICK_CAPTURES = STAGE_NODE;                              // 32

// Ordering value of a capture by the victim's type. The first entry is what a promotion without
// capture, a push to the seventh rank and an en passant capture get.
//                                   none    P    N    B    R    Q  K  -
constexpr int capture_value[8] = {210, 220, 230, 230, 240, 250, 0, 0};

// Writes the complete pseudo-legal list for the side to move into the current ply's move_list.
// Sets current_move to its start and publishes the lists of the next two plies.
void gen_all(Position& pos);

// Returns the next entry of the current ply, or null when its moves are exhausted. The caller
// must store the result in current_move, from which the next call goes on. The hash move is not
// validated, and comes a second time when the generators reach it. No deeper ply may be open.
MoveEntry* next_move(Position& pos);
