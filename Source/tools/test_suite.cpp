#include "tools/test_suite.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "base/files.h"
#include "base/platform_files.h"
#include "base/print.h"
#include "base/state.h"
#include "base/text.h"
#include "board/movetext.h"
#include "search/hash.h"
#include "search/info.h"
#include "search/thread.h"
#include "shell/input.h"
#include "shell/loop.h"
#include "shell/think.h"
#include "tools/epd.h"

namespace {

// Sums over the positions so far.
struct Totals {
    int positions;
    int best_moves; // positions answered as the file wants it; more where a move is listed twice
    double nodes;
    double time; // seconds
    int depth;
    double branching;
    int64_t points; // of the moves found, by c0
    int64_t points_possible;
};

} // namespace

static bool quiet() { return shell.noise == NOISE_QUIET; }

// parse_move writes into its text and may lengthen it by one character.
static bool is_found_move(const char* text) {
    char copy[EPD_LINE_LENGTH + 1];
    Move move;
    copy_text(copy, text, EPD_LINE_LENGTH);
    return parse_move(root_position, copy, &move) && move == engine.pv[1];
}

static void count_best_move(const EpdLine& epd, Totals& totals) {
    char text[EPD_LINE_LENGTH + 1];
    if (epd.bm[0]) {
        copy_text(text, epd.bm, sizeof text);
        char* rest = nullptr;
        for (char* word = strtok_r(text, " ,;\"\n", &rest); word;
             word = strtok_r(nullptr, " ,;\"\n", &rest))
            totals.best_moves += is_found_move(word);
    } else if (epd.am[0]) {
        Move move;
        copy_text(text, epd.am, EPD_LINE_LENGTH);
        totals.best_moves += parse_move(root_position, text, &move) && move != engine.pv[1];
    }
}

// Points by move: words of a move, "=" and a number. A promotion has a "=" of its own.
static void count_points(const EpdLine& epd, Totals& totals) {
    if (!strchr(epd.c0, '=')) return;

    char text[EPD_LINE_LENGTH];
    copy_text(text, epd.c0, sizeof text);
    int most = 0;
    char* rest = nullptr;
    for (char* word = strtok_r(text, ", \"\n", &rest); word;
         word = strtok_r(nullptr, ", \"\n", &rest)) {
        char* sign = strrchr(word, '=');
        if (!sign) continue;
        *sign = 0;
        int points = read_integer(sign + 1);
        most = std::max(most, points);
        if (is_found_move(word)) totals.points += points;
    }
    totals.points_possible += most;
}

static void show_result() {
    report_line(0, 1, relaxed(engine.result_depth), relaxed(engine.best_score), engine.pv);
    char best[MOVE_TEXT_LENGTH];
    move_to_text(root_position, engine.root_side, engine.pv[1], best);
    double elapsed = relaxed(engine.elapsed);
    double nodes = static_cast<double>(engine.search_totals[TOTAL_NODES]);
    PrintFormat("move= %s, time= %0.3f, score= %d, nodes= %0.0f, %0.0fK nps\n", best, elapsed,
                relaxed(engine.best_score), nodes, nodes / elapsed * 0.001);
}

static void write_result(FILE* out, const char* line, const EpdLine& epd) {
    Move best = engine.pv[1];
    int score = relaxed(engine.best_score);
    if (best == NULL_MOVE) return;
    if (epd.gr[0] == 0)
        fprintf(out, "%s bm %s%s; ce %d;\n", epd.position, SQUARE_NAMES[move_from(best)],
                SQUARE_NAMES[move_to(best)], score);
    else fprintf(out, "%.*s sc %d;\n", static_cast<int>(strlen(line)) - 1, line, score);
}

static void analyse_line(const char* line, FILE* out, Totals& totals) {
    EpdLine epd;
    SplitEpd(line, epd);
    totals.positions++;
    set_position(main_thread->position, epd.position);
    if (!quiet()) {
        PrintFormat("pos= %d", totals.positions);
        PrintFormat("%.*s", static_cast<int>(strcspn(line, "\r\n")), line);
        print_board(main_thread->position);
    }
    if (const char* reason = unsearchable_reason(main_thread->position)) {
        PrintFormat("info string position %d can't be searched: %s", totals.positions, reason);
        return;
    }
    hash_clear(); // an answer must not depend on the positions before it
    search_with_input(0.0f);
    totals.nodes += static_cast<double>(engine.search_totals[TOTAL_NODES]);
    totals.time += static_cast<double>(relaxed(engine.elapsed));
    totals.depth += relaxed(engine.result_depth);
    totals.branching += static_cast<double>(branching_factor());
    count_best_move(epd, totals);
    count_points(epd, totals);
    if (!quiet()) show_result();
    write_result(out, line, epd);
    end_think();
}

static void print_totals(const Totals& totals) {
    constexpr double TINY_TIME = 0.001; // seconds: a rate of nothing is 0

    const double count = std::max(totals.positions, 1); // all averages of nothing are 0
    PrintFormat("%d / %d correct best moves", totals.best_moves, totals.positions);
    PrintFormat("total nodes= %0.0f", totals.nodes);
    PrintFormat("total time= %0.2f seconds", totals.time);
    PrintFormat("avg depth= %0.1f", totals.depth / count);
    PrintFormat("avg nodes= %0.1f", totals.nodes / count);
    PrintFormat("node_rate= %0.0f", totals.nodes / (totals.time + TINY_TIME));
    PrintFormat("avg bf= %0.2f", totals.branching / count);
    PrintFormat("score= %lld / %lld", static_cast<long long>(totals.points),
                static_cast<long long>(totals.points_possible));
    Print("");
}

void run_test_suite() {
    constexpr int HASH_DEPTH = 4; // plies: below, clearing the table costs more than it gives

    if (shell.out_name[0] == 0) copy_text(shell.out_name, "analysis.epd", sizeof shell.out_name);
    if (refuse_same_file(shell.epd_in_name, shell.out_name)) return;
    FILE* in = open_input(shell.epd_in_name);
    if (!in) return;
    OutputFile out;
    if (!open_output(out, shell.out_name)) {
        fclose(in);
        return;
    }
    if (is_standard_input(shell.epd_in_name)) end_input();
    PrintFormat("Analyzing %s...", shell.epd_in_name);
    if (engine.max_depth < HASH_DEPTH) engine.hash_enabled = 0;
    Totals totals = {};
    char line[EPD_LINE_LENGTH];
    while (!shell.quit && read_epd_line(in, line)) analyse_line(line, out.stream, totals);
    print_totals(totals);
    if (finish_input(in, shell.epd_in_name)) finish_output(out);
    else abandon_output(out);
}
