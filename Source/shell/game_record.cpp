#include "shell/game_record.h"

#include "board/legal.h"
#include "board/make.h"
#include "search/thread.h"

void play_move(Position& pos, Move move) {
    make_game_move(pos, move);
    pos.owner->undo_stack[pos.owner->undo_index].move = NULL_MOVE;
}

bool take_back_move(Position& pos) {
    if (pos.owner->undo_index == 0) return false;
    unmake_move(pos);
    pos.owner->ply = 1;
    return true;
}

void rewind_game(Position& pos) {
    while (take_back_move(pos)) {
    }
}

Move next_in_record(const Position& pos) {
    const SearchThread& thread = thread_of(pos);
    if (thread.line.undo_index >= UNDO_GAME) return NULL_MOVE;
    // What looks at the game ahead, such as a book probe, writes there: a move that does not fit
    // belongs to a line that is no longer the game's.
    Move move = thread.line.undo_stack[thread.line.undo_index].move;
    return move != NULL_MOVE && is_playable(pos, move) ? move : NULL_MOVE;
}

void replay_move(Position& pos) {
    make_game_move(pos, pos.owner->undo_stack[pos.owner->undo_index].move);
}
