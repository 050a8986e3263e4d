#include "search/line_end.h"

#include <algorithm>
#include <cstdlib>

#include "base/state.h"
#include "board/attack.h"
#include "board/draw.h"
#include "board/legal.h"
#include "board/line.h"
#include "board/make.h"
#include "board/movegen.h"
#include "search/hash.h"
#include "search/thread.h"

constexpr int MATE_TOLD = 9900; // from here on a score is a mate, and no result of the tables

// The mate that a score tells: the ply at which one side is mated, the root being ply 1. 0 if the
// score is no mate.
static int mate_ply_of(int score) {
    return std::abs(score) >= MATE_TOLD ? MATE_VALUE - std::abs(score) : 0;
}

// The score at `ply`, for its side to move, of a line that mates at `mate_ply`.
static int score_at(int ply, int mate_ply) {
    return (mate_ply - ply) % 2 ? MATE_VALUE - mate_ply : mate_ply - MATE_VALUE;
}

static bool mated(const Position& pos) { return king_in_check(pos) && !has_legal_move(pos); }

// Tells whether the hash table has exactly that score for the position at `ply`; the entry is then
// in `record`.
static bool table_says(const Position& pos, int ply, int score, HashRecord& record) {
    record = {};
    record.depth = HASH_MISS;
    if (engine.hash_enabled) hash_probe(pos, record);
    if (record.depth < 0) return false;
    const int found = record.score < 0 ? record.score + ply : record.score - ply;
    return found == score;
}

// Tells whether the side to move is mated in `plies` by force, an even number; `budget` counts
// positions down.
static bool is_lost(Position& pos, int plies, int& budget);

// The move that mates in `plies` by force, an odd number, or NULL_MOVE.
static Move find_mate(Position& pos, int plies, int& budget) {
    MoveEntry list[LONGEST_LIST];
    gen_list(pos, list);
    for (const MoveEntry* entry = list; entry->move != LIST_END; entry++) {
        if (!legal_by_rules(pos, pos.side, entry->move)) continue;
        make_move(pos, entry->move);
        // In the last move only checks can mate.
        const bool found = (plies > 1 || king_in_check(pos)) && is_lost(pos, plies - 1, budget);
        unmake_move(pos);
        if (found) return entry->move;
        if (budget <= 0) break;
    }
    return NULL_MOVE;
}

static bool is_lost(Position& pos, int plies, int& budget) {
    if (--budget <= 0) return false;
    MoveEntry list[LONGEST_LIST];
    gen_list(pos, list);
    bool any = false;
    for (const MoveEntry* entry = list; entry->move != LIST_END; entry++) {
        if (!legal_by_rules(pos, pos.side, entry->move)) continue;
        any = true;
        if (plies == 0) return false;
        make_move(pos, entry->move);
        const bool drawn = is_draw(pos, pos.owner->ply);
        const bool lost = !drawn && find_mate(pos, plies - 1, budget) != NULL_MOVE;
        unmake_move(pos);
        if (!lost) return false;
    }
    return any || king_in_check(pos);
}

// Tells whether a move that has been made, to `ply`, keeps to the mate.
static bool keeps_mate(Position& pos, int ply, int mate_ply, int& budget) {
    constexpr int TRIED = 3; // plies before the mate
    if (ply == mate_ply) return mated(pos);
    if (is_draw(pos, ply)) return false;
    HashRecord record;
    if (table_says(pos, ply, score_at(ply, mate_ply), record)) return true;
    const int plies = mate_ply - ply;
    if (plies > TRIED || budget <= 0) return false;
    if (plies % 2 == 0) return is_lost(pos, plies, budget);
    // Who is to be mated must not be mated sooner.
    int spare = budget;
    if (plies > 2 && find_mate(pos, plies - 2, spare) != NULL_MOVE) return false;
    return find_mate(pos, plies, budget) != NULL_MOVE;
}

// The next move of a line that mates at `mate_ply`, or NULL_MOVE if it is not known.
static Move mating_move(Position& pos, int ply, int mate_ply, int& budget) {
    HashRecord record;
    if (table_says(pos, ply, score_at(ply, mate_ply), record) && record.move != NULL_MOVE)
        return record.move;

    MoveEntry list[LONGEST_LIST];
    gen_list(pos, list);
    for (const MoveEntry* entry = list; entry->move != LIST_END; entry++) {
        if (!legal_by_rules(pos, pos.side, entry->move)) continue;
        make_move(pos, entry->move);
        const bool keeps = keeps_mate(pos, ply + 1, mate_ply, budget);
        unmake_move(pos);
        if (keeps) return entry->move;
    }
    return NULL_MOVE;
}

static bool can_be_played(const Position& pos, Move move) {
    return is_playable(pos, move) && legal_by_rules(pos, pos.side, move);
}

void end_line(Position& pos, Move* pv, int score) {
    constexpr int BUDGET = 1000; // positions that are tried: some milliseconds at worst
    const int mate_ply = mate_ply_of(score);
    const int end = mate_ply ? std::min(mate_ply, PLY_SLOTS - 1) : PLY_SLOTS - 1;
    int ply = 1, budget = BUDGET;
    bool over = false;
    for (; ply < end && !over; ply++) {
        if (pv[ply] == NULL_MOVE && mate_ply) {
            pv[ply] = mating_move(pos, ply, mate_ply, budget);
            pv[ply + 1] = NULL_MOVE;
        }
        if (pv[ply] == NULL_MOVE || !can_be_played(pos, pv[ply])) break;
        make_move(pos, pv[ply]);
        over = is_draw(pos, ply + 1) || !has_legal_move(pos);
    }
    const bool whole = ply == mate_ply && mated(pos);
    pv[ply] = NULL_MOVE;
    for (int made = ply; made > 1; made--) unmake_move(pos);
    if (ply == mate_ply && !whole && ply > 2) pv[ply - 1] = NULL_MOVE;
}
