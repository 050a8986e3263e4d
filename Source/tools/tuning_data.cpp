#include "tools/tuning_data.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>

#include "base/files.h"
#include "base/platform.h"
#include "base/platform_files.h"
#include "base/print.h"
#include "base/state.h"
#include "base/text.h"
#include "board/attack.h"
#include "board/legal.h"
#include "board/make.h"
#include "eval/evaluate.h"
#include "search/thread.h"
#include "search/timing.h"
#include "shell/input.h"
#include "shell/loop.h"
#include "shell/think.h"
#include "syzygy/tbcore.h"

constexpr size_t LINE_LENGTH = 255; // room for 254 characters

namespace {

// A run over a file.
struct Run {
    FILE* in;
    FILE* out;
    int mode;
    bool show_progress;
    int64_t size; // bytes of the input, -1 where that can't be known
    int searched; // positions
    int written;  // lines
    double shown; // monotonic seconds of the last progress line
};

} // namespace

void read_tuning_line(const char* text, TuningLine& line) {
    constexpr int NO_VALUE = -9999;

    SplitEpd(text, line.epd);
    line.has_value = line.epd.ce[0] != 0;
    line.has_result = line.epd.gr[0] != 0;
    // The sign may be turned, which the least number has no room for.
    line.value = line.has_value ? std::max(read_integer(line.epd.ce), -INT_MAX) : NO_VALUE;
    line.result = line.has_result ? read_number(line.epd.gr) : 0.0f;
    line.score = 0;
}

// Expected results that a win, a loss and a draw are believed with; the score of a search is held
// to the wider bounds of a draw.
constexpr double WIN_FROM = 0.3, LOSS_UP_TO = 0.7;
constexpr double DRAW_FROM = 0.15, DRAW_UP_TO = 0.85;

// The expected result of a score in hundredths of a pawn, 0 to 1.
static double expected_result(int score) {
    constexpr double STEEPNESS = 0.006; // three pawns are expected to win 86 in a hundred
    return 1.0 / (exp(-STEEPNESS * score) + 1.0);
}

bool value_disagrees(const TuningLine& line) {
    if (!line.has_value || !line.has_result) return false;
    const double expected = expected_result(line.value);
    if (line.result == 1.0f) return expected < WIN_FROM;
    if (line.result == 0.0f) return expected > LOSS_UP_TO;
    if (line.result == 0.5f) return expected < DRAW_FROM || expected > DRAW_UP_TO;
    return false;
}

bool score_disagrees(const TuningLine& line) {
    if (!line.has_result) return false;
    const double expected = expected_result(line.score);
    if (line.result >= 0.5f && expected < DRAW_FROM) return true;
    return line.result <= 0.5f && expected > DRAW_UP_TO;
}

// Reads a line without its newline; what it has behind its 254th character is dropped. Zero bytes
// count as blanks. Returns false at the end of the file.
static bool read_whole_line(FILE* file, char text[LINE_LENGTH]) {
    size_t length = 0;
    int c = getc(file);
    if (c == EOF) return false;
    for (; c != EOF && c != '\n'; c = getc(file))
        if (length < LINE_LENGTH - 1) text[length++] = c ? static_cast<char>(c) : ' ';
    text[length] = 0;
    return true;
}

// Reads the next line that may hold a position. Returns false at the end of the file.
static bool read_line(FILE* file, char text[LINE_LENGTH]) {
    while (read_whole_line(file, text))
        if (text[0] != 0 && !strchr(" #;\r", text[0])) return true;
    return false;
}

// Searches the main thread's position. Returns false if "quit" has ended the search.
static bool search_position() {
    constexpr float INPUT_DELAY = 1.0f; // seconds; a search without limits would be deaf for ever

    search_with_input(INPUT_DELAY);
    end_think();
    return !shell.quit;
}

// Searches that take less than their input delay are deaf throughout, so that a run of short ones
// would never hear "quit". What was asked for in between does not become a think of this run.
static void poll_commands() {
    check_time();
    PollInput();
    set_relaxed(engine.game_state, STATE_IDLE);
}

// The score of the search, as far as the tables at the root don't know better.
static int corrected_score() {
    constexpr int LOST = 0, DRAWN = 2, WON = 4;
    const int score = relaxed(engine.best_score);
    switch (relaxed(engine.root_wdl)) {
    case WON: return std::max(score, TB_WIN);
    case LOST: return std::min(score, -TB_WIN);
    case DRAWN: return 0;
    default: return score;
    }
}

// Plays the search's best line, as far as it can be played, from the line's position; values are
// then those of the side to move there.
static void go_to_leaf(Position& pos, TuningLine& line) {
    set_position(pos, line.epd.position); // commands may have changed it
    int made = 0;
    while (made + 1 < PLY_SLOTS && is_playable(pos, engine.pv[made + 1])) {
        make_game_move(pos, engine.pv[made + 1]);
        made++;
    }
    if (made % 2 == 0) return;
    line.result = 1.0f - line.result;
    line.value = -line.value;
    line.score = -line.score;
}

static void write_line(FILE* out, const TuningLine& line, const char* fen, int mode) {
    if (line.has_result)
        fprintf(out, "%s ce %d; sc %d; gr %0.1f;\n", fen, line.value, line.score,
                static_cast<double>(line.result));
    else if (mode == TUNING_INPUT) fprintf(out, "%s sc %d;\n", fen, line.score);
    else if (line.has_value) fprintf(out, "%s ce %d;\n", fen, line.value);
    else fprintf(out, "%s %d;\n", fen, line.score);
}

static void count_written(Run& run) {
    constexpr int LINES_A_MESSAGE = 4096;
    if (++run.written % LINES_A_MESSAGE != 0) return;
    printf(" n= %d\n", run.written);
    fflush(stdout);
}

static void use_line(Run& run, const char* text) {
    constexpr int POLL_MASK = 255;

    Position& pos = main_thread->position;
    TuningLine line;
    read_tuning_line(text, line);
    if (value_disagrees(line)) return;
    set_position(pos, line.epd.position);
    if (const char* reason = unsearchable_reason(pos)) {
        PrintFormat("info string '%s' can't be searched: %s", line.epd.position, reason);
        return;
    }
    if (king_in_check(pos)) return;

    if (!search_position()) return;
    if ((run.searched++ & POLL_MASK) == POLL_MASK) poll_commands();
    line.score = corrected_score();
    if (score_disagrees(line)) return;

    char fen[FEN_LENGTH];
    if (run.mode == TUNING_LEAVES) {
        go_to_leaf(pos, line);
        write_fen(pos, fen, 0);
    }
    write_line(run.out, line, run.mode == TUNING_LEAVES ? fen : line.epd.position, run.mode);
    count_written(run);
}

// Tells a person at a terminal how far the run is.
static void show_progress(Run& run) {
    constexpr double INTERVAL = 0.5; // seconds

    if (!run.show_progress || monotonic_seconds() < run.shown + INTERVAL) return;
    run.shown = monotonic_seconds();
    fprintf(stderr, "\r%d positions", run.searched);
    if (run.size > 0)
        fprintf(stderr, ", %.1f %% ",
                100.0 * static_cast<double>(ftello(run.in)) / static_cast<double>(run.size));
}

static void prepare_run(Run& run) {
    constexpr int HASH_DEPTH = 3; // plies: below, a table is of no use

    run.show_progress = is_terminal(stderr);
    run.size = file_size(run.in);

    shell.noise = NOISE_CALIBRATION;
    if (relaxed(shell.use_nn)) eval_epoch.fetch_add(1, std::memory_order_relaxed);
    set_relaxed(shell.use_nn, 0);
    if (engine.max_depth < HASH_DEPTH) engine.hash_enabled = 0;
    if (run.mode != TUNING_INPUT) return;
    char* path = active_personality.SyzygyPath;
    if (path[0] == 0) copy_text(path, USUAL_TABLE_PATH, PATH_LENGTH);
    tb_init(path);
}

static void use_lines(Run& run, const char* out_name) {
    PrintFormat("Creating file %s", out_name);
    prepare_run(run);
    char text[LINE_LENGTH];
    while (!shell.quit && read_line(run.in, text)) {
        use_line(run, text);
        show_progress(run);
    }
    if (run.shown > 0.0) fputc('\n', stderr);
}

void make_tuning_data(const char* in_name, const char* out_name, int mode) {
    if (out_name[0] == 0) out_name = "tune_new.epd";
    if (refuse_same_file(in_name, out_name)) return;

    Run run = {};
    OutputFile out;
    run.mode = mode;
    run.in = open_input(in_name);
    if (!run.in) return;
    if (!open_output(out, out_name)) {
        fclose(run.in);
        return;
    }
    run.out = out.stream;
    if (is_standard_input(in_name)) end_input();
    use_lines(run, out_name);
    if (finish_input(run.in, in_name)) finish_output(out);
    else abandon_output(out);
}
