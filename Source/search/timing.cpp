#include "search/timing.h"

#include <algorithm>
#include <cstdlib>

#include "base/lock.h"
#include "base/platform.h"
#include "base/state.h"
#include "search/limits.h"
#include "search/pool.h"
#include "search/thread.h"

void update_elapsed() { set_relaxed(engine.elapsed, monotonic_seconds() - think_start + 0.0001); }

constexpr float HELPER_SHARE = 0.08f; // of what remains, where a helper sees more than the master

// Units that the score must drop before it counts as worse.
static int score_tolerance(int best_score) {
    constexpr int CLEAR_SCORE = 335, TOLERANCE = 20;
    return std::abs(best_score) > CLEAR_SCORE ? std::abs(best_score) >> 4 : TOLERANCE;
}

// Seconds beyond the target, negative when the best move stands firm.
static float extra_time(int root_fail, int best_score, int tolerance, float remain) {
    constexpr float FAIL_LOW_SHARE = 0.25f, FAIL_HIGH_SHARE = 0.1f;
    constexpr float DROP_SHARE = 0.03f, CHANGE_SHARE = 0.02f, STABLE_SHARE = 0.25f;
    constexpr int FRESH_MOVE = 2, STABLE_MOVE = 5; // iterations since the best move changed
    constexpr int SETTLED_DEPTH = 4;               // plies; before, scores and moves still jump

    int depth = relaxed(engine.iteration_depth);
    if (root_fail == 1) return FAIL_LOW_SHARE * remain;
    if (root_fail == 2) return FAIL_HIGH_SHARE * remain;
    if (depth < SETTLED_DEPTH) return 0.0f;

    float extra = 0.0f;
    for (int back : {1, 2})
        if (best_score <= relaxed(engine.iteration_score[depth - back]) - tolerance)
            extra += DROP_SHARE * remain;
    int stable = depth - relaxed(engine.best_move_depth);
    if (stable <= FRESH_MOVE) extra += CHANGE_SHARE * remain;
    if (stable > STABLE_MOVE) extra -= STABLE_SHARE * engine.target_time;
    return extra;
}

// Tells whether a helper has finished at least the master's depth with a much better score.
static bool helper_sees_more(int best_score, int tolerance) {
    constexpr int MARGIN = 5;
    for (int i = 1; i < engine.num_threads; i++) {
        const SearchThread* helper = search_threads[i].load(std::memory_order_acquire);
        if (helper && relaxed(helper->score) > best_score + tolerance + MARGIN
            && relaxed(helper->completed_depth) >= relaxed(engine.result_depth))
            return true;
    }
    return false;
}

// The decision, with the thread records held in place.
static bool time_is_up(const SearchThread& master, float elapsed) {
    constexpr float MAX_SAFETY = 0.025f;  // seconds
    constexpr float SAFETY_MARGIN = 5.0f; // times the safety are never used up
    constexpr int SINGLE_MOVE_DEPTH = 5;  // plies; enough for a score beside the only move

    float remain = std::max(engine.clock[engine.root_side] - elapsed, 0.0f);
    float limit = engine.target_time, safety = 0.0f;
    if (engine.moves_per_control != 1) {
        safety = std::min(engine.move_overhead, MAX_SAFETY);
        int best_score = relaxed(engine.best_score), tolerance = score_tolerance(best_score);
        float extra = extra_time(relaxed(master.root_fail), best_score, tolerance, remain);
        if (HELPER_SHARE * remain > extra && helper_sees_more(best_score, tolerance))
            extra = HELPER_SHARE * remain;
        limit = engine.target_time - safety + extra;
    }
    if (relaxed(engine.single_move) && relaxed(engine.iteration_depth) > SINGLE_MOVE_DEPTH)
        return true;
    return SAFETY_MARGIN * safety > remain || elapsed >= limit;
}

// The decision of the strict protocol, where what must not be overstepped is known by itself.
static bool strict_time_is_up(const SearchThread& master, float elapsed) {
    constexpr int SINGLE_MOVE_DEPTH = 5; // plies; enough for a score beside the only move

    if (relaxed(engine.single_move) && relaxed(engine.iteration_depth) > SINGLE_MOVE_DEPTH)
        return true;
    float remain = std::max(engine.hard_time - elapsed, 0.0f);
    int best_score = relaxed(engine.best_score), tolerance = score_tolerance(best_score);
    float extra = extra_time(relaxed(master.root_fail), best_score, tolerance, remain);
    if (HELPER_SHARE * remain > extra && helper_sees_more(best_score, tolerance))
        extra = HELPER_SHARE * remain;
    return elapsed >= engine.target_time + extra;
}

// The time is looked at from the first node on. What is planned on a clock leaves the first
// iteration its end, so that any time will do for a move with a score.
static void check_strict_time(float elapsed) {
    constexpr int FIRST_STOP = 2; // iteration

    if (relaxed(engine.stop) || relaxed(engine.game_state) != STATE_THINKING) return;
    if (elapsed >= engine.hard_time) {
        set_relaxed(engine.stop, 1);
        return;
    }
    if (!engine.clock_runs || relaxed(engine.iteration_depth) < FIRST_STOP) return;
    lock(record_lock);
    const SearchThread* master = search_threads[0].load(std::memory_order_acquire);
    if (master && strict_time_is_up(*master, elapsed)) set_relaxed(engine.stop, 1);
    unlock(record_lock);
}

void check_time() {
    constexpr float MIN_TIME = 0.015f; // seconds that every think gets
    constexpr int FIRST_STOP = 2;      // iteration; the first is finished, but on crowded boards

    update_elapsed();
    float elapsed = relaxed(engine.elapsed);
    if (strict_protocol()) {
        check_strict_time(elapsed);
        return;
    }
    if (relaxed(engine.stop) || relaxed(engine.game_state) != STATE_THINKING || elapsed < MIN_TIME)
        return;
    if (relaxed(engine.iteration_depth) < FIRST_STOP && !relaxed(engine.crowded)) return;

    lock(record_lock);
    const SearchThread* master = search_threads[0].load(std::memory_order_acquire);
    if (master && time_is_up(*master, elapsed)) set_relaxed(engine.stop, 1);
    unlock(record_lock);
}

// Counts the moves that the clock has to last for, into moves_to_go. A period's moves come with
// the protocol; the console counts them itself.
static void count_moves_to_go(int plies) {
    constexpr int OPENING_PLIES = 20, OPENING_MOVES = 32, LATER_MOVES = 23;

    if (engine.moves_per_control == 0) {
        engine.moves_to_go =
            static_cast<int16_t>(plies < OPENING_PLIES ? OPENING_MOVES - plies / 2 : LATER_MOVES);
    } else if (!relaxed(shell.uci_mode)) {
        int period = engine.moves_per_control;
        engine.moves_to_go = static_cast<int16_t>(period - plies / 2 % period);
    }
}

// Tells whether the clock has to last for more than the next few moves.
static bool has_long_horizon() {
    constexpr int FEW_MOVES = 2;
    return engine.moves_per_control == 0 || engine.moves_to_go > FEW_MOVES;
}

// Seconds that a think aims at by itself, without regard to what the clock can bear.
static float wanted_time(float clock) {
    constexpr float PONDER_FACTOR = 1.3f, WEAK_FACTOR = 0.85f;
    constexpr int STRONG_ELO = 2400;

    // A protocol line may claim fewer moves than none.
    float time = clock / static_cast<float>(std::max(engine.moves_to_go + 1, 1));
    if (engine.ponder_enabled && has_long_horizon()) time *= PONDER_FACTOR;
    int elo = strict_protocol() ? engine.playing_elo : active_personality.UCI_Elo;
    if (elo < STRONG_ELO) time *= WEAK_FACTOR;
    if (engine.time_increment > 0)
        time += engine.time_increment * (clock / (2 * engine.time_increment + clock));
    return time;
}

// Seconds of a clock, or of a fixed time, that a move may use up: all but the overhead and the time
// of the answer itself. Where that leaves next to nothing it is a part of what there is.
static float usable_time(float time) {
    constexpr float REACTION = 0.002f; // seconds from the last look at the clock to the answer
    constexpr float LEAST = 0.002f, LEAST_SHARE = 0.25f;
    float kept = std::max(engine.move_overhead, REACTION);
    return std::max(time - kept, std::min(LEAST, time * LEAST_SHARE));
}

// The part of a clock that a think aims at. Moves after this one lose time on their way as well: a
// tenth of the overhead each, as far as the increment doesn't pay for it.
static float share_of_clock(float clock, int plies) {
    constexpr float MAX_SHARE = 0.65f, LAST_SHARE = 0.75f, LAST_BUT_ONE_SHARE = 0.4f;
    constexpr float LATER_OVERHEAD = 0.1f;
    constexpr int LATER_MOVES = 60; // of a game whose length is not known

    count_moves_to_go(plies);
    const bool period = engine.moves_per_control != SUDDEN_DEATH;
    const int later = period ? std::max(engine.moves_to_go - 1, 0) : LATER_MOVES;
    const float loss =
        std::max(engine.move_overhead * LATER_OVERHEAD - engine.time_increment, 0.0f);
    const float usable = std::max(usable_time(clock) - loss * static_cast<float>(later), 0.0f);
    if (later == 0) return usable * LAST_SHARE;
    if (later == 1) return usable * LAST_BUT_ONE_SHARE;
    return std::min(usable * MAX_SHARE, wanted_time(usable));
}

// The times of the strict protocol: of a clock and a time for the move the shorter one counts.
static void plan_strict_time(int plies) {
    engine.hard_time = engine.target_time = UNLIMITED_SECONDS;
    if (engine.clock_runs) {
        const float clock = engine.clock[engine.root_side];
        engine.hard_time = usable_time(clock);
        engine.target_time = share_of_clock(clock, plies);
    }
    if (engine.move_time > 0.0f)
        engine.hard_time = std::min(engine.hard_time, usable_time(engine.move_time));
    engine.target_time = std::min(engine.target_time, engine.hard_time);
}

void plan_time(int plies) {
    constexpr float MAX_SHARE = 0.65f; // of the clock
    constexpr float OVERHEADS = 5.0f;  // times the move overhead are kept back
    constexpr float MIN_TARGET = 0.002f;

    if (strict_protocol()) {
        plan_strict_time(plies);
        return;
    }
    float& clock = engine.clock[engine.root_side];
    if (engine.moves_per_control == 1) {
        // No clock runs. It is wound up for each move anew, since time_is_up and the reports read
        // it as what remains.
        engine.target_time = clock = engine.time_base;
        return;
    }
    count_moves_to_go(plies);
    const float bearable = clock * MAX_SHARE - engine.move_overhead * OVERHEADS;
    engine.target_time = std::max(std::min(bearable, wanted_time(clock)), MIN_TARGET);
}
