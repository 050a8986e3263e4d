// move_keys.h: the scores of a list of moves once more, as numbers that are quickly compared.
//
// Each entry of move_store has its key in move_keys, so that the best of a list is the largest of
// neighbouring numbers, which the processor finds several at a time. Called by the thread that owns
// the record.

#pragma once

#include <algorithm>
#include <utility>

#include "search/thread.h"

// A key: the score, then the place in move_store counted from its end, so that of equals the
// earliest is largest, then whether the score is only the most that the entry can have.
constexpr int KEY_PLACE_BITS = 15, KEY_LAST_PLACE = (1 << KEY_PLACE_BITS) - 1;
static_assert(MOVE_STORE_SIZE <= KEY_LAST_PLACE);

constexpr int32_t move_key(int score, int place, bool estimated) {
    return score * (2 << KEY_PLACE_BITS) + (KEY_LAST_PLACE - place) * 2 + estimated;
}
constexpr int place_of_key(int32_t key) { return KEY_LAST_PLACE - (key >> 1 & KEY_LAST_PLACE); }
constexpr bool is_estimated(int32_t key) { return key & 1; }

// Gives an entry of the thread's move_store its score, which may be one that it has at most.
inline void set_move_score(SearchThread& thread, MoveEntry* entry, int score,
                           bool estimated = false) {
    const auto place = static_cast<int>(entry - thread.move_store);
    entry->score = static_cast<int16_t>(score);
    thread.move_keys[place] = move_key(entry->score, place, estimated);
}

// The largest key of the entries from `first` to before `end`, of which there is at least one.
inline int32_t largest_key(const SearchThread& thread, const MoveEntry* first,
                           const MoveEntry* end) {
    const int32_t* key = thread.move_keys + (first - thread.move_store);
    const auto count = static_cast<int>(end - first);
    int32_t largest = key[0];
    for (int i = 1; i < count; i++) largest = std::max(largest, key[i]);
    return largest;
}

// Lets two entries trade places, with their keys. `one` is not behind `other`.
inline void swap_moves(SearchThread& thread, MoveEntry* one, MoveEntry* other) {
    const auto distance = static_cast<int>(other - one);
    int32_t* keys = thread.move_keys + (one - thread.move_store);
    std::swap(*one, *other);
    std::swap(keys[0], keys[distance]);
    keys[0] += 2 * distance;
    keys[distance] -= 2 * distance;
}
