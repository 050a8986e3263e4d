// movegen.h: pseudo-legal move generation in pieces, and the staged picker.
//
// Generators write `move`, `mover` and `victim` of each entry and return the place behind the
// last one; they write no score and no sentinel. Sets are always walked from the lowest square
// up: the order is part of the engine's behaviour, because it decides ties.

#pragma once

#include "board/position.h"

// Options in the high bits of SearchStackEntry::stage; the low four bits are the picker's state.
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

// Captures. With a target square only captures on it, en passant and all captures by the king.
// Pawn captures on the last rank belong to gen_promotions.
MoveEntry* gen_captures(Position& pos, int side, MoveEntry* out, int target);

// Pawn moves onto the last rank, captures included; queens only, or all four pieces.
MoveEntry* gen_promotions(Position& pos, int side, int all_pieces, MoveEntry* out);

// Pushes to the seventh rank. They go with the captures: such a pawn is a forcing move.
MoveEntry* gen_seventh_pushes(Position& pos, int side, MoveEntry* out);

// All other quiet moves, castling last. With a target square only blocks between it and the own
// king, beside all king moves.
MoveEntry* gen_quiets(Position& pos, int side, MoveEntry* out, int target);

// The complete pseudo-legal list for the side to move, with its sentinel, in the current ply's
// move_list. Sets current_move to its start and publishes the lists of the next two plies.
void gen_all(Position& pos);

// The same for callers outside a search, where `ply` may be any number: the list stands at the
// beginning of the owner's move_store. Returns its start.
MoveEntry* gen_all_game(Position& pos);

// Returns the next entry of the current ply, or null when its moves are exhausted. The caller
// must store the result in current_move, from which the next call goes on. The hash move is not
// validated, and comes a second time when the generators reach it.
MoveEntry* next_move(Position& pos);
