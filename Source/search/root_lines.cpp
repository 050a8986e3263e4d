#include "search/root_lines.h"

#include <algorithm>
#include <cstring>

#include "base/state.h"
#include "board/types.h"
#include "search/hash.h"
#include "search/info.h"
#include "search/line_end.h"
#include "search/thread.h"

constexpr int MAX_LINES = 256; // more than MultiPV can ask for

namespace {

struct RootLine {
    Move pv[PLY_SLOTS]; // from 1 on, as EngineState::pv
    int depth;          // plies of its iteration
    int score;          // from the root side's view
};

struct LineSet {
    RootLine lines[MAX_LINES];
    int count;
};

} // namespace

static LineSet told;  // the last set that was told
static LineSet fresh; // finished since

void forget_lines() { told.count = fresh.count = 0; }

void keep_line(SearchThread& thread, int line, int depth) {
    const int score = relaxed(thread.score);
    if (!strict_protocol()) {
        report_line(0, line + 1, depth, score, thread.pv);
        return;
    }
    if (fresh.count == MAX_LINES) return;
    end_line(thread.position, thread.pv, score);
    RootLine& kept = fresh.lines[fresh.count++];
    memcpy(kept.pv, thread.pv, sizeof kept.pv);
    kept.depth = depth;
    kept.score = score;
}

static bool has_line(const LineSet& set, Move first) {
    for (int i = 0; i < set.count; i++)
        if (set.lines[i].pv[1] == first) return true;
    return false;
}

static void take_first_line() {
    const RootLine& best = told.lines[0];
    memcpy(engine.pv, best.pv, sizeof engine.pv);
    set_relaxed(engine.best_score, best.score);
    set_relaxed(engine.best_bound, BOUND_EXACT);
    set_relaxed(engine.result_depth, best.depth);
}

// Tells `count` lines: those that are fresh, and of the last set the best whose moves have no newer
// line.
static void tell_set(int count) {
    for (int i = 0; i < told.count && fresh.count < count; i++)
        if (!has_line(fresh, told.lines[i].pv[1])) fresh.lines[fresh.count++] = told.lines[i];
    told = fresh;
    fresh.count = 0;
    std::stable_sort(told.lines, told.lines + told.count,
                     [](const RootLine& a, const RootLine& b) { return a.score > b.score; });
    take_first_line();
    for (int i = 0; i < told.count; i++)
        report_line(0, i + 1, told.lines[i].depth, told.lines[i].score, told.lines[i].pv);
    set_relaxed(engine.lines_told, 1);
}

void tell_lines(int count) {
    if (strict_protocol() && engine.multipv > 1) tell_set(count);
}

void finish_strict_result(SearchThread& thread) {
    if (fresh.count > 0) tell_set(std::max(told.count, fresh.count));
    else if (told.count > 0) take_first_line();
    if (relaxed(engine.result_depth) == 0) {
        constexpr int8_t FIRST_PLY = 2; // behind the root's
        thread.seldepth = std::max(thread.seldepth, FIRST_PLY);
        set_relaxed(engine.result_depth, 1);
        set_relaxed(engine.best_bound, BOUND_EXACT);
        set_relaxed(engine.best_score, thread.stack[1].in_check ? 0 : thread.root_eval);
    }
    end_line(thread.position, engine.pv, relaxed(engine.best_score));
}
