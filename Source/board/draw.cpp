#include "board/draw.h"

#include <algorithm>

#include "base/state.h"
#include "board/attack.h"
#include "board/legal.h"
#include "board/line.h"

// At or behind the limit. By the rules a mate that was given with the last move of the fifty
// counts, and so does the hundredth ply.
static bool drawn_by_count(const Position& pos, int ply) {
    if (strict_protocol()) return !king_in_check(pos) || has_legal_move(pos);
    return pos.halfmoves > FIFTY_MOVES && (ply > 0 || !has_legal_move(pos));
}

int is_draw(const Position& pos, int ply) {
    constexpr int FIRST_REPETITION = 4; // plies that a repetition takes at least

    if (pos.halfmoves < FIRST_REPETITION) return 0;
    if (pos.halfmoves >= FIFTY_MOVES && drawn_by_count(pos, ply)) return 1;

    // No position comes back after a capture, pawn move or castling. `halfmoves` counts from
    // there, but for the null moves of the line, of which there are fewer than plies.
    const Line& line = *pos.owner;
    int top = line.undo_index;
    int lowest = std::max(0, top - pos.halfmoves - PLY_SLOTS);
    int matches = 0;
    for (int i = top - 2; i >= lowest; i -= 2) {
        const UndoRecord& rec = line.undo_stack[i];
        if (rec.move == NULL_MOVE) return 0; // no repetition across a null move
        if (rec.key != pos.key) continue;
        if (top - ply < i || ++matches == 2) return 1;
    }
    return 0;
}
