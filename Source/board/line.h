// line.h: the moves that led to a Position, the game's and then the search's.
//
// Every SearchThread begins with its Line, to which Position::owner points: make and unmake need
// no more of a thread than this. Changed only by the thread that owns the record.

#pragma once

#include "board/position.h"

constexpr int UNDO_GAME = 900; // records for the moves of a game
constexpr int UNDO_LINE = 100; // room behind them for the deepest line of the search

struct Line {
    UndoRecord undo_stack[UNDO_GAME + UNDO_LINE]; // the game's moves, then the line's; behind
                                                  // undo_index moves that the game took back
    int16_t undo_index;                           // used records of undo_stack
    int16_t ply;    // of the current node; stepped together with undo_index; 1 is the root
    Move last_move; // led to the current node; 0 after a null move
    int32_t folded; // moves of the game in front of the records, see fold_game
};

// Plies of the game since the position was set up.
inline int moves_played(const Line& line) { return line.folded + line.undo_index; }

// Forgets all moves: the position stands as if it had been set up. The first two records become
// empty, since a record without a move ends both the replay of a game and the look for
// repetitions.
inline void clear_line(Line& line) {
    line.undo_stack[0] = line.undo_stack[1] = {};
    line.undo_index = 0;
    line.folded = 0;
    line.ply = 1;
    line.last_move = NULL_MOVE;
}
