#include "search/info.h"

#include <cstdio>

#include "base/lock.h"
#include "base/print.h"
#include "board/movetext.h"
#include "search/hash.h"
#include "search/pool.h"
#include "search/thread.h"

constexpr size_t LINE_TEXT = 1200; // 66 moves, line breaks and the figures

constexpr int MATE_PRINTED = 9900; // from here on a score is told as moves to mate

// Values of EngineState::root_wdl.
constexpr int TB_ROOT_LOST = 0, TB_ROOT_DRAWN = 2, TB_ROOT_WON = 4;

// Samples hash_fill for a line of analysis. Under report_lock, unless no search runs.
static void sample_fill_of_line() {
    constexpr int SHALLOW = 6; // iteration; up to it the table has hardly begun to fill
    const bool deep = relaxed(engine.iteration_depth) > SHALLOW;
    engine.hash_fill = deep ? sample_hash_fill(MIN_SAMPLED_ENTRIES) : 0.0f;
}

static bool search_over() { return relaxed(engine.game_state) & STATE_OVER; }

// The score with the root's table result, if there is one. A mate that is found is worth telling.
static int agree_with_tables(int score) {
    int wdl = relaxed(engine.root_wdl);
    if (wdl == TB_ROOT_WON && score < MATE_PRINTED - 1) return TB_WIN;
    if (wdl == TB_ROOT_LOST && score > -MATE_PRINTED) return -TB_WIN;
    return wdl == TB_ROOT_DRAWN ? 0 : score;
}

// Writes up to `count` moves of a line, `in_row` of them to a row.
static void write_line(char* text, const Move* pv, int count, int in_row) {
    int side = engine.root_side;
    char* out = text;
    *out = 0;
    for (int i = 1; i <= count && pv[i] != NULL_MOVE; i++) {
        char move[MOVE_TEXT_LENGTH];
        move_to_text(root_position, side, pv[i], move);
        const char* gap = "";
        if (i > 1) gap = (i - 1) % in_row == 0 ? "\n                              " : " ";
        out += snprintf(out, LINE_TEXT - static_cast<size_t>(out - text), "%s%s", gap, move);
        side ^= 1;
    }
}

static double speed(double elapsed) {
    constexpr double MIN_TIME = 0.001; // seconds; a shorter time tells nothing
    double nodes = static_cast<double>(engine.search_totals[TOTAL_NODES]);
    return elapsed > MIN_TIME ? nodes / elapsed : 0.0;
}

// Moves to the mate of the side that scores below 0. As it has always been it is one too many: the
// strict protocol counts the moves of the side that is mated.
static int moves_until_mated(int score) {
    return (score + MATE_VALUE + (strict_protocol() ? 0 : 1)) / 2;
}

// The score in the protocol's words. In the strict protocol a bound is told as one.
static void write_score(char* text, size_t size, int score) {
    const char* kind = "";
    if (strict_protocol() && engine.multipv == 1) {
        const int bound = relaxed(engine.best_bound);
        kind = bound == BOUND_UPPER ? " upperbound" : bound == BOUND_LOWER ? " lowerbound" : "";
    }
    if (score >= MATE_PRINTED) snprintf(text, size, "mate %d%s", (MATE_VALUE - score) / 2, kind);
    else if (score < -MATE_PRINTED)
        snprintf(text, size, "mate -%d%s", moves_until_mated(score), kind);
    else snprintf(text, size, "cp %d%s", score, kind);
}

static void print_uci_line(int line, int depth, int score, const Move* pv) {
    char moves[LINE_TEXT], multipv[20] = "", value[32];
    write_line(moves, pv, MAX_DEPTH, MAX_DEPTH + 1);
    if (engine.multipv > 1) snprintf(multipv, sizeof multipv, "multipv %d ", line);
    write_score(value, sizeof value, score);

    double elapsed = relaxed(engine.elapsed);
    PrintFormat("info %sdepth %d seldepth %d score %s time %.0f nodes %.0f nps %.0f "
                "tbhits %.0f hashfull %.0f pv %s",
                multipv, depth, engine.sel_depth - 1, value, elapsed * 1000,
                static_cast<double>(engine.search_totals[TOTAL_NODES]), speed(elapsed),
                static_cast<double>(engine.search_totals[TOTAL_TB_HITS]),
                static_cast<double>(engine.hash_fill) * 1000, moves);
}

static void print_console_line(int thread_number, int line, int depth, int score, const Move* pv) {
    constexpr int SHORT_LINE = 8, LONG_LINE = 32;
    char moves[LINE_TEXT];
    bool running = !search_over() && !relaxed(engine.stop);
    write_line(moves, pv, running ? SHORT_LINE : LONG_LINE, SHORT_LINE);
    const char* end = thread_number == 0 && line == engine.multipv ? "\n" : "";
    PrintFormat("%02d] %02d%c %5.1f %7.0fK %5d  %s%s", thread_number, depth, line == 0 ? ' ' : '.',
                static_cast<double>(relaxed(engine.elapsed)),
                static_cast<double>(engine.search_totals[TOTAL_NODES]) * 0.001, score, moves, end);
}

void print_search_line(int thread_number, int line, int depth, int score, const Move* pv) {
    score = agree_with_tables(score);
    if (relaxed(shell.uci_mode)) print_uci_line(line, depth, score, pv);
    else print_console_line(thread_number, line, depth, score, pv);
    unlock(report_lock); // taken by the caller, who has summed the counters under it
}

void report_line(int thread_number, int line, int depth, int score, const Move* pv) {
    if (!search_over() && relaxed(engine.elapsed) < shell.noise) return;
    if (shell.noise == NOISE_QUIET || depth == 0 || pv[1] == NULL_MOVE) return;
    lock(report_lock);
    sum_thread_counters();
    sample_fill_of_line();
    print_search_line(thread_number, line, depth, score, pv);
}

void report_root_move(Move move, int number) {
    constexpr float LONG_THINK = 3.5f; // seconds
    float elapsed = relaxed(engine.elapsed);
    if (!relaxed(shell.uci_mode) || elapsed <= LONG_THINK || elapsed <= shell.noise) return;

    lock(report_lock);
    sum_thread_counters();
    if (number == 1) {
        engine.hash_fill = sample_hash_fill(MIN_SAMPLED_ENTRIES);
        PrintFormat("info depth %d time %.0f nodes %.0f nps %.0f hashfull %.0f",
                    relaxed(engine.iteration_depth), static_cast<double>(elapsed) * 1000,
                    static_cast<double>(engine.search_totals[TOTAL_NODES]), speed(elapsed),
                    static_cast<double>(engine.hash_fill) * 1000);
    }
    if (engine.multipv == 1) {
        char text[MOVE_TEXT_LENGTH];
        snprintf(text, sizeof text, "%s%s", SQUARE_NAMES[move_from(move)],
                 SQUARE_NAMES[move_to(move)]);
        // As it has always been neither the piece of a promotion nor castling is told.
        if (strict_protocol())
            move_to_text(search_threads[0].load()->position, engine.root_side, move, text);
        PrintFormat("info currmove %s currmovenumber %d", text, number);
    }
    unlock(report_lock);
}
