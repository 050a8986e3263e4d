#include "search/ordering.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "board/bitboard.h"
#include "search/move_keys.h"
#include "search/thread.h"

int32_t history_gain[PLY_SLOTS];
int32_t history_decay[PLY_SLOTS];

void init_history_rates() {
    constexpr int FULL_RATE_DEPTH = 16; // deeper, the rates stay as they are
    constexpr int GAIN = 16, DECAY = 8; // parts of HISTORY_SHIFT at depth 1

    for (int depth = 1; depth < PLY_SLOTS; depth++) {
        double root = std::sqrt(std::min(depth, FULL_RATE_DEPTH));
        history_gain[depth] = static_cast<int32_t>(std::lround(GAIN * root));
        history_decay[depth] = static_cast<int32_t>(std::lround(DECAY * root));
    }
}

void reset_ordering(SearchThread& thread) {
    memset(thread.counter1, 0, sizeof thread.counter1);
    memset(thread.counter2, 0, sizeof thread.counter2);
    memset(thread.followup, 0, sizeof thread.followup);
    std::fill(std::begin(thread.history), std::end(thread.history), int16_t{HISTORY_START});
}

// The move that was made `back` plies above a ply of at least 2; move 0 for a null move. Above the
// root none was made: ply 0 points to the sentinel of an empty list, which is looked up as a move
// of no piece to h8, so that every node below the root can look two plies back.
static const MoveEntry& move_above(const SearchThread& thread, int ply, int back) {
    return *thread.stack[ply - back].current_move;
}

void score_quiets(SearchThread& thread, int side, MoveEntry* list) {
    constexpr int KILLER_1 = 60, KILLER_2 = 55;
    constexpr int COUNTER_1 = 50, COUNTER_2 = 45;
    constexpr int FOLLOWUP = 40, FAR_PAWN = 30;
    constexpr int EVASION_COUNTER_1 = 55, EVASION_COUNTER_2 = 50;
    constexpr int SIXTH_RANK = 40; // its first square, seen from the side that moves

    const int ply = thread.line.ply;
    if (ply <= 1) { // the root has an order of its own
        for (MoveEntry* quiet = list; quiet->move != LIST_END; quiet++)
            set_move_score(thread, quiet, quiet->score);
        return;
    }
    const SearchStackEntry& entry = thread.stack[ply];

    // Replies that worked before. No real move equals 0, so that 0 stands for none.
    Move counter1 = 0, counter2 = 0, followup = 0;
    const MoveEntry& previous = move_above(thread, ply, 1);
    if (previous.move != NULL_MOVE) {
        int index = history_index(previous.mover, move_to(previous.move));
        counter1 = thread.counter1[index];
        counter2 = thread.counter2[index];
        const MoveEntry& before = move_above(thread, ply, 2);
        if (before.move != NULL_MOVE)
            followup = thread.followup[history_index(before.mover, move_to(before.move))];
    }

    for (MoveEntry* quiet = list; quiet->move != LIST_END; quiet++) {
        Move move = quiet->move;
        int score = thread.history[history_index(quiet->mover, move_to(move))] / HISTORY_STEP;
        if (entry.in_check) {
            if (move == entry.evasion_killer) score += KILLER_1;
            else if (move == counter1) score += EVASION_COUNTER_1;
            else if (move == counter2) score += EVASION_COUNTER_2;
        } else if (move == entry.killer1) score += KILLER_1;
        else if (move == entry.killer2) score += KILLER_2;
        else if (move == counter1) score += COUNTER_1;
        else if (move == counter2) score += COUNTER_2;
        else if (move == followup) score += FOLLOWUP;
        else if (type_of(quiet->mover) == PAWN && (move_to(move) ^ rank_flip[side]) >= SIXTH_RANK)
            score += FAR_PAWN;
        set_move_score(thread, quiet, score);
    }
}

void learn_quiet_move(SearchThread& thread, int ply, int depth, int value, int alpha) {
    SearchStackEntry& entry = thread.stack[ply];
    const MoveEntry& tried = *entry.current_move;
    Move move = tried.move;
    int16_t& history = thread.history[history_index(tried.mover, move_to(move))];
    if (value <= alpha) {
        history = static_cast<int16_t>(history - history * history_decay[depth] / HISTORY_SHIFT);
        return;
    }
    history = static_cast<int16_t>(history
                                   + (MAX_HISTORY - history) * history_gain[depth] / HISTORY_SHIFT);

    if (entry.in_check) {
        entry.evasion_killer = move;
    } else if (move != entry.killer1) {
        entry.killer2 = entry.killer1;
        entry.killer1 = move;
    }

    const MoveEntry& previous = move_above(thread, ply, 1);
    if (previous.move == NULL_MOVE) return;
    int index = history_index(previous.mover, move_to(previous.move));
    if (thread.counter1[index] != move) {
        thread.counter2[index] = thread.counter1[index];
        thread.counter1[index] = move;
    }
    const MoveEntry& before = move_above(thread, ply, 2);
    if (before.move != NULL_MOVE)
        thread.followup[history_index(before.mover, move_to(before.move))] = move;
}
