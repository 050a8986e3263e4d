#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/state.h"
#include "base/text.h"
#include "search/limits.h"
#include "shell/help.h"
#include "shell/start.h"
#include "shell/strength.h"

namespace {

// The arguments and the one that is looked at.
struct Cursor {
    int count;
    char** texts;
    int at;
};

} // namespace

// The next argument, which becomes the current one; an empty text at the end. The tests that
// follow in the chain see it as well.
static const char* take_value(Cursor& cursor) {
    if (cursor.at + 1 >= cursor.count) return "";
    return cursor.texts[++cursor.at];
}

static bool is(const Cursor& cursor, const char* option) {
    return strcmp(cursor.texts[cursor.at], option) == 0;
}

static void take_text(Cursor& cursor, const char* option, char* field, size_t size) {
    if (is(cursor, option)) copy_text(field, take_value(cursor), size);
}

// Seconds that no run at a fixed depth or at fixed nodes is meant to reach. Below ANALYSIS_SECONDS,
// so that contempt counts as in a game.
constexpr float DEPTH_RUN_TIME = 10000.0f, NODES_RUN_TIME = 1000.0f;

static void limit_depth(int plies) { set_limits({.depth = plies, .move_time = DEPTH_RUN_TIME}); }

static void parse_limits(Cursor& cursor) {
    if (is(cursor, "-d")) limit_depth(read_integer(take_value(cursor)));
    if (is(cursor, "-t")) set_limits({.move_time = read_number(take_value(cursor))});
    if (is(cursor, "-n"))
        set_limits({.nodes = static_cast<uint64_t>(read_integer(take_value(cursor))),
                    .move_time = NODES_RUN_TIME});
    if (is(cursor, "-nps")) {
        float speed = read_number(take_value(cursor));
        default_personality.UCI_LimitStrength = 1;
        engine.target_nps = speed;
        // A speed below 1 has no figure worth the name.
        int elo = speed > 0.0f ? static_cast<int>(elo_of_speed(speed)) : 0;
        default_personality.UCI_Elo = static_cast<int16_t>(elo);
        printf("Elo= %d\n", elo);
    }
}

static void parse_resources(Cursor& cursor) {
    constexpr size_t OUT_NAME_LENGTH = 140; // with the ending NUL; shorter than the field

    Personality& p = default_personality;
    if (is(cursor, "-hash")) p.Hash = std::clamp(read_integer(take_value(cursor)), 0, MAX_HASH_MB);
    if (is(cursor, "-threads"))
        p.Threads =
            static_cast<int16_t>(std::clamp(read_integer(take_value(cursor)), 1, MAX_THREADS));
    take_text(cursor, "-book", p.OwnBook_File, sizeof p.OwnBook_File);
    take_text(cursor, "-tbpath", p.SyzygyPath, sizeof p.SyzygyPath);
    if (is(cursor, "-tbx")) copy_text(p.SyzygyPath, USUAL_TABLE_PATH, sizeof p.SyzygyPath);
    if (is(cursor, "-use_hce")) set_relaxed(shell.use_nn, 0);
    if (is(cursor, "-use_nn")) set_relaxed(shell.use_nn, 1);
    if (is(cursor, "-o")) copy_text(shell.out_name, take_value(cursor), OUT_NAME_LENGTH);
}

static void parse_scan(Cursor& cursor, CommandLine& line) {
    const char* option = cursor.texts[cursor.at];
    if (!strstr(option, "-scan_pgn")) return;
    constexpr const char* NAMES[4] = {"-scan_pgn1", "-scan_pgn2", "-scan_pgn3", "-scan_pgn4"};
    for (int i = 0; i < 4; i++)
        if (strcmp(option, NAMES[i]) == 0)
            line.run_mode = static_cast<RunMode>(MODE_SCAN_PGN_1 + i);
    copy_text(shell.games_in_name, take_value(cursor), sizeof shell.games_in_name);
}

// The tuning options. They are refused later, whatever else is asked for; bad arguments end the
// process at once.
static void parse_tuning(Cursor& cursor, CommandLine& line) {
    constexpr double MAX_RATE = 0.008;    // learning rate
    constexpr double MILLION = 1000000.0; // positions are counted in millions
    constexpr double MIN_POSITIONS = MILLION;
    constexpr const char* NAMES[4] = {"-tune", "-tune2", "-tune3", "-tune4"};
    if (is(cursor, "-mktraindata")) {
        line.refused = true;
        if (cursor.at + 1 >= cursor.count) line.exit_status = 1;
        copy_text(shell.epd_in_name, take_value(cursor), sizeof shell.epd_in_name);
        take_value(cursor);
    }
    for (const char* name : NAMES) {
        if (!is(cursor, name)) continue;
        line.refused = true;
        if (cursor.at + 3 >= cursor.count) {
            line.exit_status = 1;
            return;
        }
        copy_text(shell.epd_in_name, take_value(cursor), sizeof shell.epd_in_name);
        double rate = atof(take_value(cursor));
        double count = read_integer(take_value(cursor));
        if (rate > MAX_RATE || count * MILLION < MIN_POSITIONS) line.exit_status = 1;
        if (cursor.at + 1 < cursor.count) {
            char first = cursor.texts[cursor.at + 1][0];
            if (first == '0' || first == '1') cursor.at++;
        }
        default_personality.Hash = 0;
        copy_text(default_personality.SyzygyPath, USUAL_TABLE_PATH, PATH_LENGTH);
    }
}

static void parse_modes(Cursor& cursor, CommandLine& line) {
    if (is(cursor, "-anepd")) {
        line.run_mode = MODE_TEST_SUITE;
        copy_text(shell.epd_in_name, take_value(cursor), sizeof shell.epd_in_name);
        shell.noise = NOISE_QUIET;
    }
    parse_scan(cursor, line);
    if (is(cursor, "-bench")) line.run_mode = MODE_BENCHMARK;
    if (is(cursor, "-pbench")) {
        line.run_mode = MODE_BENCHMARK;
        line.benchmark_here = true;
    }
    if (is(cursor, "-mkconfig")) line.run_mode = MODE_MAKE_CONFIG;
    if (is(cursor, "-mkbook")) {
        line.run_mode = MODE_MAKE_BOOK;
        copy_text(shell.games_in_name, take_value(cursor), sizeof shell.games_in_name);
    }
    for (int number = 1; number <= 2; number++) {
        if (!is(cursor, number == 1 ? "-mktune1" : "-mktune2")) continue;
        line.run_mode = number == 1 ? MODE_TUNE_DATA_1 : MODE_TUNE_DATA_2;
        copy_text(shell.epd_in_name, take_value(cursor), sizeof shell.epd_in_name);
    }
    parse_tuning(cursor, line);
}

// "bench" as first argument, the one word without a dash that counts. Options may follow it.
static void parse_bench_word(const Cursor& cursor, CommandLine& line) {
    constexpr int DEPTH = 10; // plies: two seconds, and the signature's depth
    if (cursor.at >= cursor.count || !is(cursor, "bench")) return;
    line.run_mode = MODE_BENCHMARK;
    line.benchmark_here = line.benchmark_rate_line = true;
    limit_depth(DEPTH);
}

// The tests for one argument are a chain, not alternatives: a value meets those that follow the
// option that took it, so that "-noise -quiet" also acts as "-quiet". That is wanted.
CommandLine parse_arguments(int argc, char** argv) {
    CommandLine line = {MODE_GAME, false, false, false, 0};
    Cursor cursor = {argc, argv, 1};
    parse_bench_word(cursor, line);
    for (; cursor.at < cursor.count && line.exit_status == 0; cursor.at++) {
        const char* word = cursor.texts[cursor.at];
        const bool late_bench = is(cursor, "bench") && cursor.at > 1; // counts as first word only
        if (!is_known_option(word) || late_bench)
            fprintf(stderr, "unknown option '%s', see --help\n", word);
        Personality& p = default_personality;
        if (is(cursor, "-uci")) set_relaxed(shell.uci_mode, 1);
        if (is(cursor, "-c")) set_relaxed(shell.uci_mode, 0);
        if (is(cursor, "-strict")) shell.strict = 1;
        if (is(cursor, "-log")) p.Log = 1;
        if (is(cursor, "-numa")) shell.numa = 1;
        if (is(cursor, "-noise")) shell.noise = read_number(take_value(cursor));
        if (is(cursor, "-quiet")) {
            p.Log = 0;
            shell.noise = NOISE_QUIET;
        }
        take_text(cursor, "-cfg", p.ConfigFilePath, sizeof p.ConfigFilePath);
        parse_limits(cursor);
        parse_resources(cursor);
        parse_modes(cursor, line);
    }
    return line;
}
