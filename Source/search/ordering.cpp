#include "search/ordering.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "search/thread.h"

int32_t history_gain[70];
int32_t history_decay[70];

void init_history_rates() {
    for (int depth = 1; depth < 70; depth++) {
        double root = std::sqrt(std::min(depth, 16));
        history_gain[depth] = static_cast<int32_t>(std::lround(16 * root));
        history_decay[depth] = static_cast<int32_t>(std::lround(8 * root));
    }
}

void reset_ordering(SearchThread& thread) {
    memset(thread.counter1, 0, sizeof thread.counter1);
    memset(thread.counter2, 0, sizeof thread.counter2);
    memset(thread.followup, 0, sizeof thread.followup);
    std::fill(std::begin(thread.history), std::end(thread.history), int16_t{HISTORY_START});
}

void learn_quiet_move(SearchThread& thread, SearchStackEntry& entry, int depth, int value,
                      int alpha) {
    const MoveEntry& tried = *entry.current_move;
    Move move = tried.move;
    int16_t& history = thread.history[history_index(tried.mover, move_to(move))];
    if (value <= alpha) {
        history = static_cast<int16_t>(history - history * history_decay[depth] / HISTORY_SHIFT);
        return;
    }
    history = static_cast<int16_t>(history
                                   + (HISTORY_TOP - history) * history_gain[depth] / HISTORY_SHIFT);

    if (entry.in_check) {
        entry.evasion_killer = move;
    } else if (move != entry.killer1) {
        entry.killer2 = entry.killer1;
        entry.killer1 = move;
    }

    const MoveEntry& previous = *(&entry - 1)->current_move;
    if (previous.move == NULL_MOVE) return;
    int index = history_index(previous.mover, move_to(previous.move));
    if (thread.counter1[index] != move) {
        thread.counter2[index] = thread.counter1[index];
        thread.counter1[index] = move;
    }
    const MoveEntry& before = *(&entry - 2)->current_move;
    if (before.move != NULL_MOVE)
        thread.followup[history_index(before.mover, move_to(before.move))] = move;
}
