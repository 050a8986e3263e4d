#include "shell/loop.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/platform.h"
#include "base/print.h"
#include "base/state.h"
#include "board/movetext.h"
#include "search/hash.h"
#include "search/info.h"
#include "search/limits.h"
#include "search/pool.h"
#include "search/thread.h"
#include "search/timing.h"
#include "shell/console.h"
#include "shell/input.h"
#include "shell/strict_uci.h"
#include "shell/think.h"
#include "shell/uci.h"

// Tells whether a think of the game runs, or is over and not answered yet.
static bool thinks() {
    const int state = relaxed(engine.game_state) & ~STATE_OVER;
    return state == STATE_THINKING || state == STATE_PONDERING;
}

static void hand_over(char* line) {
    if (relaxed(shell.uci_mode) == 1 || strcmp(line, "uci") == 0) HandleUci(line);
    else if (relaxed(shell.uci_mode) == 0 && line[0] != 0) handle_console(line);
}

// The strict protocol: lines of any length. What needs a rest waits for the answer of the think
// that runs, which is asked for, so that every `go` has one.
static void poll_strict_input() {
    char* line = poll_long_line();
    if (!line) return;
    if (thinks() && strict_protocol() && needs_rest(line)) {
        ask_for_answer();
        repeat_long_line();
    } else {
        hand_over(line);
    }
}

void PollInput() {
    if (shell.strict) {
        poll_strict_input();
        return;
    }
    char line[INPUT_LINE_LENGTH];
    if (poll_line(line)) hand_over(line);
}

void ask_for_answer() {
    engine.stop_asked = 1;
    set_relaxed(engine.stop, 1);
}

// The strict protocol: who ponders or analyses without an end gets no answer before asking for it,
// whatever was found.
static bool answer_waits() {
    const int state = relaxed(engine.game_state) & ~STATE_OVER;
    return strict_protocol() && !engine.stop_asked
        && (state == STATE_PONDERING || (state == STATE_THINKING && engine.until_stop));
}

// Tells whether the search that runs ends by itself: by depth, nodes or time.
static bool search_is_bounded() {
    return relaxed(engine.game_state) == STATE_THINKING
        && (engine.max_nodes != UNLIMITED_NODES || engine.max_depth < UNLIMITED_DEPTH
            || engine.target_time < ANALYSIS_SECONDS);
}

// At the end of the input: what is bounded is finished as long as somebody may read the answer, all
// else is stopped, and with nothing left the program ends.
static void finish_at_end_of_input() {
    const uint8_t state = relaxed(engine.game_state);
    const bool unread = output_lost();
    if (unread) end_console_play();
    if (state == STATE_IDLE) shell.quit = 1;
    else if (answer_waits()) ask_for_answer();
    else if (state > STATE_PONDER_REQUEST && !(state & STATE_OVER)
             && (unread || !search_is_bounded()))
        set_relaxed(engine.stop, 1);
}

// Reads input where it is time to, then lets the processor rest as long as there is nothing to do:
// until input comes, the search is over, or the clock is to be looked at.
static void hear_and_wait() {
    constexpr float INPUT_DELAY = 0.015f; // seconds at the start of a think without input
    constexpr int DEAF_MS = 1;            // between looks without input; reports tell this time
    constexpr int THINK_MS = 2, IDLE_MS = 1000;

    const uint8_t before = relaxed(engine.game_state);
    const bool answer_is_due = strict_protocol()
                                 ? engine.stop_asked
                                 : relaxed(engine.elapsed) <= INPUT_DELAY || relaxed(engine.stop);
    // A request that still stands is the next think of a game that the engine plays by itself.
    const bool deaf = before > STATE_PONDER_REQUEST && answer_is_due;
    if (!deaf) {
        PollInput();
        if (input_ended()) finish_at_end_of_input();
    }
    const uint8_t state = relaxed(engine.game_state);
    if (shell.quit || state == STATE_THINK_REQUEST || state == STATE_PONDER_REQUEST) return;
    if ((state & STATE_OVER) && !answer_waits()) return;
    // Without input to hear, the processor belongs to the search threads.
    const bool searches = state != STATE_IDLE && !(state & STATE_OVER);
    if (deaf) wait_for_wake(DEAF_MS);
    else if (!input_pending()) wait_for_line(searches ? THINK_MS : IDLE_MS);
}

static void print_best_move(const char* best, const char* ponder) {
    char second[MOVE_TEXT_LENGTH + sizeof " ponder "] = "";
    if (engine.pv[2] != NULL_MOVE) snprintf(second, sizeof second, " ponder %s", ponder);
    PrintFormat("bestmove %s%s", best, second);
}

static double hit_rate(TotalIndex hits, TotalIndex probes) {
    return static_cast<double>(engine.search_totals[hits]) * 100.0
         / (static_cast<double>(engine.search_totals[probes]) + 1.0);
}

static void print_console_summary(const char* best) {
    engine.hash_fill = sample_hash_fill(MIN_SAMPLED_ENTRIES);
    double elapsed = relaxed(engine.elapsed);
    double nodes = static_cast<double>(engine.search_totals[TOTAL_NODES]);
    PrintFormat("move= %s, time= %0.3f, score= %d, nodes= %0.0f, nps= %0.0fK ebf= %0.2f", best,
                elapsed, relaxed(engine.best_score), nodes, nodes / (elapsed + 0.001) * 0.001,
                static_cast<double>(branching_factor()));
    PrintFormat(
        "Hash fill= %.1f%%, Hash hits: main= %0.1f%%, pawn= %0.1f%%, eval= %0.1f%%, "
        "TB=%0.0fK",
        static_cast<double>(engine.hash_fill) * 100.0, hit_rate(TOTAL_HASH_HITS, TOTAL_HASH_PROBES),
        hit_rate(TOTAL_PAWN_HITS, TOTAL_PAWN_PROBES), hit_rate(TOTAL_EVAL_HITS, TOTAL_EVAL_PROBES),
        static_cast<double>(engine.search_totals[TOTAL_TB_HITS]) * 0.001);
    if (engine.ncnt[0] + engine.ncnt[1] + engine.ncnt[2] + engine.ncnt[3] != 0)
        PrintFormat("ncnt1= %d, ncnt2= %d, ncnt3= %d, ncnt4= %d", engine.ncnt[0], engine.ncnt[1],
                    engine.ncnt[2], engine.ncnt[3]);
    Print("");
}

// The last line of a search. In the strict protocol there is one with a score for each `go`, and a
// set of lines has been told as a whole.
static void report_answer() {
    int depth = relaxed(engine.result_depth);
    const int score = relaxed(engine.best_score);
    if (strict_protocol() && thinks()) {
        if (engine.pv[1] == NULL_MOVE && shell.noise < NOISE_QUIET)
            Print(score == NO_EVAL ? "info depth 0 score mate 0" : "info depth 0 score cp 0");
        if (relaxed(engine.lines_told)) return;
        depth = std::max(depth, 1); // a move from the book has none
    }
    report_line(0, 1, depth, score, engine.pv);
}

// Prints the result of the search that is over, ends the think and lets console play go on.
static void answer() {
    const int side = engine.root_side;
    report_answer();

    char best[MOVE_TEXT_LENGTH], ponder[MOVE_TEXT_LENGTH];
    move_to_text(root_position, side, engine.pv[1], best);
    if (strict_protocol() && engine.pv[1] == NULL_MOVE) strcpy(best, "(none)");
    move_to_text(root_position, side ^ 1, engine.pv[2], ponder);
    if (relaxed(shell.uci_mode)) print_best_move(best, ponder);
    else print_console_summary(best);
    end_think();
    console_after_think();
}

// Ends a batch run whose search has no limit when nothing can be heard or told any more.
static void quit_endless_run() {
    if (engine.max_nodes != UNLIMITED_NODES || engine.max_depth < UNLIMITED_DEPTH) return;
    if (!input_ended() || !output_lost()) return;
    set_relaxed(engine.stop, 1);
    shell.quit = 1;
}

void search_with_input(float input_delay) {
    constexpr int LOOK_MS = 1;

    prepare_search();
    if (start_search(STATE_BATCH) != 0) exit(-1);
    // A command that ended the search has changed the state, too.
    while (engine.game_state.load(std::memory_order_acquire) == STATE_BATCH) {
        wait_for_wake(LOOK_MS);
        check_time();
        bool hears =
            input_delay == 0.0f || (relaxed(engine.elapsed) > input_delay && !relaxed(engine.stop));
        if (!hears) continue;
        PollInput();
        quit_endless_run();
    }
    update_elapsed();
}

void run_game_loop() {
    shell.quit = 0;
    active_personality.eval_jitter = 1;
    while (!shell.quit) {
        update_elapsed();
        hear_and_wait();
        if (shell.quit) break;
        check_time();
        uint8_t state = engine.game_state.load(std::memory_order_acquire);
        if (state == STATE_THINK_REQUEST || state == STATE_PONDER_REQUEST) begin_think();
        state = engine.game_state.load(std::memory_order_acquire);
        if ((state & STATE_OVER) && !answer_waits()) answer();
    }
}
