// Lines that no person types: generated console input. The default number suits every test run;
// the variable MIRD_FUZZ sets a larger one.

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "support.h"

namespace {

int fuzz_lines() {
    const char* count = getenv("MIRD_FUZZ");
    return count ? atoi(count) : 1000;
}

const char* const WORDS[] = {
    "new",        "fen",         "mv",        "go",        "an",
    "bd",         "get",         "pv",        "trace",     "ev",
    "sp",         "lmr",         "undo",      "[",         "]",
    "load",       "save",        "jump",      "edit",      "book",
    "tag",        "swap",        "set",       "move",      "hash",
    "noise",      "multipv",     "debug",     "frc",       "level",
    "depth",      "nodes",       "ss",        "NMP_depth", "Selectivity",
    "ponder",     "target_nps",  "SEP_depth", "LMR_depth", "LMP_depth",
    "FP_depth",   ".",           "w",         "b",         "#",
    "Ke1",        "Ke8",         "Pa2",       "Qz9",       "x",
    "tmp.pgn",    "test.epd",    "/",         "..",        "/dev/zero",
    "/dev/tty",   "nowhere",     "0",         "1",         "2",
    "-1",         "66",          "300",       "1e30",      "nan",
    "-inf",       "5:00",        ":",         "5:",        "40",
    "2147483647", "-2147483648", "e4",        "e5",        "Nf3",
    "e2e4",       "O-O",         "0-0-0",     "e8=Q",      "a1a1",
    "+",          "=",           "Q",         "uci",       "99999999999999999999",
    "%s%n%d",     "\xff\xfe",    "\t",        "{",
};

// Lines that lead somewhere, so that the others meet many states.
const char* const LINES[] = {
    "new",
    "e4",
    "e5",
    "d2d4",
    "mv",
    "go 3",
    "go",
    ".",
    ".",
    ".",
    "undo",
    "]",
    "pv",
    "ev",
    "sp",
    "swap",
    "perft 2",
    "jump 3",
    "save",
    "load tmp.pgn",
    "load game.pgn",
    "load game.pgn Second",
    "get 2",
    "set debug 1",
    "set debug 0",
    "set nodes 300",
    "set depth 3",
    "set multipv 3",
    "set target_nps 50000",
    "trace 1",
    "trace 0",
    "fen 8/8/8/8/8/8/8/8 w - -",
    "fen k7/8/8/8/8/8/8/K7 w - -",
    "fen 4k3/8/8/8/8/8/4q3/4K3 b - -",
    "fen rnbq1k1r/pp1Pbppp/2p5/8/2B5/8/PPP1NnPP/RNBQK2R w KQ - 1 8",
    "fen qqqqqqqk/qqqqqqqq/8/8/8/8/QQQQQQQQ/QQQQQQQK w - - 0 1",
    "edit",
    "#",
    "w Ke1 Qd1 Rh1 Pa2",
    "b Ke8 Qd8 Ra8 Pa7",
    "w Ka1 Kb1 Kc1",
};

std::string random_line(Random& random) {
    std::string line;
    if (random_below(random, 3) == 0) {
        line = LINES[random_below(random, std::size(LINES))];
    } else {
        for (int i = random_below(random, 12); i >= 0; i--) {
            line += WORDS[random_below(random, std::size(WORDS))];
            line += random_below(random, 10) ? " " : "  ";
        }
        if (random_below(random, 4)) line.pop_back();
    }
    if (random_below(random, 8) == 0) {
        size_t place = static_cast<size_t>(random_below(random, static_cast<int>(line.size()) + 1));
        line.insert(place, 1, static_cast<char>(1 + random_below(random, 255)));
    }
    if (random_below(random, 40) == 0)
        line.insert(line.size() / 2, static_cast<size_t>(random_below(random, 7000)), 'k');
    for (char& c : line)
        if (c == '\n') c = ' ';
    // "uci" leaves the console, and deep counts take for ever by their nature.
    if (line == "uci" || (line.find("perft") != std::string::npos && line != "perft 2"))
        return "bd";
    return line;
}

// A working directory with files to read, some of them not what their names say.
std::string prepare_directory(Random& random) {
    std::string directory = fresh_directory();
    if (random_below(random, 4) == 0) std::filesystem::create_directory(directory + "/tmp.pgn");
    if (random_below(random, 4) == 0) std::filesystem::create_directory(directory + "/test.epd");
    else std::ofstream(directory + "/test.epd") << "4k3/8/8/8/8/8/8/4K2R w K - id \"2\";\n";

    std::ofstream game(directory + "/game.pgn");
    game << "[Event \"First\"]\n\n1. e4 {best} e5 2. Nf3 {a\nb} Nc6 *\n";
    game << "[Event \"Second\"]\n[FEN \"4k3/8/8/8/8/8/8/4K2R w K -\"]\n\n1. O-O Kd7 xyz\n";
    for (int i = 0; i < 3000; i++) game << static_cast<char>(random_below(random, 256));
    return directory;
}

} // namespace

TEST(FuzzConsole, GeneratedLinesNeverCrashOrHang) {
    constexpr int BATCH = 200, PATIENCE_MS = 30000;

    Random random = {5};
    for (int i = 0; i < fuzz_lines(); i += BATCH) {
        Program program =
            start_program({"-c", "-hash", "1", "-t", "0.02"}, prepare_directory(random));
        std::string all;
        for (int j = 0; j < BATCH; j++) {
            std::string line = random_line(random);
            all += line + "\n";
            send(program, line);
            wait_for(program, "a prefix that no line has", 0);
            program.lines.clear();
        }
        // The first ends the edit mode, if that is where it stands.
        send(program, ".");
        send(program, "quit");
        ASSERT_EQ(wait_exit(program, PATIENCE_MS), 0) << "batch " << i / BATCH << "\n" << all;
    }
}
