// game_record.h: the moves of the game in hand: played, taken back and replayed.
//
// Main thread only, between searches. Moves that are taken back stay in the record behind
// undo_index until another move is played there.

#pragma once

#include "board/position.h"

// Plays a legal move and ends the record behind it.
void play_move(Position& pos, Move move);

// Takes back the last move. Returns false if none has been played.
bool take_back_move(Position& pos);

// Takes back all moves.
void rewind_game(Position& pos);

// The move that was taken back last, or NULL_MOVE at the end of the record.
Move next_in_record(const Position& pos);

// Plays the next move of the record, which goes on behind it. There must be one.
void replay_move(Position& pos);
