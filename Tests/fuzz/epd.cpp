// Files of positions: lines taken apart, the analysis of a file, the two kinds of tuning data, and
// the console's look into test.epd. The first character says which.

#include <cstdio>

#include "base/state.h"
#include "base/text.h"
#include "fuzz/fuzz.h"
#include "search/limits.h"
#include "shell/game_file.h"
#include "support.h"
#include "tools/epd.h"
#include "tools/test_suite.h"
#include "tools/tuning_data.h"

static constexpr char POSITIONS[] = "test.epd";

static void split_lines() {
    FILE* file = fopen(POSITIONS, "r");
    char text[EPD_LINE_LENGTH];
    while (file && read_epd_line(file, text)) {
        TuningLine line;
        read_tuning_line(text, line);
        value_disagrees(line);
        score_disagrees(line);
    }
    if (file) fclose(file);
}

static void analyse(bool quiet) {
    copy_text(shell.epd_in_name, POSITIONS, sizeof shell.epd_in_name);
    shell.noise = quiet ? NOISE_QUIET : 0.0f;
    run_test_suite();
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    begin_input();
    if (size == 0) return 0;
    write_input(POSITIONS, data + 1, size - 1);
    set_limits({.depth = 2, .nodes = 300, .move_time = UNLIMITED_SECONDS});
    switch (data[0] % 6) {
    case 0: split_lines(); break;
    case 1: analyse(false); break;
    case 2: analyse(true); break;
    case 3: make_tuning_data(POSITIONS, "", TUNING_LEAVES); break;
    case 4: make_tuning_data(POSITIONS, "", TUNING_INPUT); break;
    default: find_test_position(game(), "2");
    }
    return 0;
}
