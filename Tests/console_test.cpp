// The console language, one line at a time: what each command prints and changes. Commands that
// read standard input or files are heard by the main loop.

#include "shell/console.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "board/movetext.h"
#include "loop_fixture.h"
#include "search/limits.h"
#include "search/thread.h"
#include "shell/think.h"
#include "shell_fixture.h"

namespace {

using Lines = std::vector<std::string>;

// Hands one line to the console and returns what it prints.
Lines console(const std::string& line) {
    std::vector<char> text(line.begin(), line.end());
    text.push_back(0);
    return printed_by([&] { handle_console(text.data()); });
}

void enter(std::initializer_list<const char*> lines) {
    for (const char* line : lines) console(line);
}

// The board as it is printed.
Lines board() {
    return printed_by([] { print_board(game()); });
}

// Hands one line to the console, which must answer with `head` and the new board.
void expect_board(const std::string& line, Lines head = {}) {
    Lines lines = console(line);
    for (const std::string& row : board()) head.push_back(row);
    EXPECT_EQ(lines, head) << line;
}

class Console : public ShellTest {
protected:
    void SetUp() override {
        ShellTest::SetUp();
        set_relaxed(shell.uci_mode, 0);
    }
};

// A conversation in a directory of its own.
struct Talk {
    Lines lines;
    std::string directory;
};

Talk talk(const std::string& input, const std::string& directory = fresh_directory()) {
    std::filesystem::current_path(directory);
    set_relaxed(shell.uci_mode, 0);
    return {LoopTest::play_on("new\n" + input), directory};
}

class ConsoleFiles : public LoopTest {};
class ConsoleEdit : public LoopTest {};

// The last printed line that looks like a FEN text, without its counters.
std::string last_fen(const Lines& lines) {
    std::string fen;
    for (const std::string& line : lines)
        if (std::count(line.begin(), line.end(), '/') == 7) fen = line;
    for (int i = 0; i < 2 && !fen.empty(); i++) fen.erase(fen.rfind(' '));
    return fen;
}

void write_file(const std::string& name, const std::string& text) { std::ofstream(name) << text; }

std::string read_file(const std::string& name) {
    std::string text;
    for (const std::string& line : read_lines(name)) text += line + "\n";
    return text;
}

// Plays the game in `pgn` by `load` and returns the position.
std::string loaded(const std::string& pgn, const std::string& tag = "") {
    std::string directory = fresh_directory();
    write_file(directory + "/games.pgn", pgn);
    return last_fen(talk("load games.pgn " + tag + "\n", directory).lines);
}

std::string after_moves(const char* moves) {
    set_up(START_FEN);
    play(game(), moves);
    return game_fen();
}

} // namespace

TEST_F(Console, NewSetsTheStartPositionAndTheClocks) {
    enter({"e4", "set level 0 300 0"});
    set_limits({.white_clock = 3.0f});
    expect_board("new");
    EXPECT_EQ(game_fen(), START_FEN);
    EXPECT_EQ(engine.clock[0], 300.0f);
    EXPECT_EQ(engine.clock[1], 300.0f);
}

TEST_F(Console, FenTakesTheRestOfTheLine) {
    expect_board("fen 4k3/8/8/8/8/8/8/4K2R b K - 3 9");
    EXPECT_EQ(game_fen(), "4k3/8/8/8/8/8/8/4K2R b K -");
    console("fen");
    EXPECT_EQ(game_fen(), "8/8/8/8/8/8/8/8 b - -");
}

TEST_F(Console, BdPrintsTheBoard) { expect_board("bd"); }

TEST_F(Console, MovesAreTypedWithOrWithoutACommand) {
    expect_board("e4", {"1. move e4"});
    expect_board("move e7e5", {"1. move e7e5"});
    EXPECT_EQ(console("Nf3 d5"), Lines{"invalid: a1a1"}) << "the second word counts";
    expect_board("Nf3", {"2. move Nf3"});
    EXPECT_EQ(relaxed(engine.game_state), STATE_IDLE) << "a typed move starts no search";
}

TEST_F(Console, WhatIsNoMoveIsInvalid) {
    for (const char* line : {"hello", "e5", "move", "e2e5", "QUIT", " "})
        EXPECT_EQ(console(line), Lines{"invalid: a1a1"}) << line;
    EXPECT_EQ(game_fen(), START_FEN);
}

TEST_F(Console, UndoWithoutMovesDoesNothing) {
    EXPECT_EQ(console("undo"), Lines{});
    EXPECT_EQ(console("["), Lines{});
}

TEST_F(Console, MovesAreTakenBackAndReplayed) {
    enter({"e4", "e5", "Nf3"});
    std::string after = game_fen();
    EXPECT_EQ(console("undo").size(), 11u);
    console("[");
    expect_board("]", {"1... move e7e5"});
    expect_board("]", {"2. move g1f3"});
    EXPECT_EQ(game_fen(), after);
    EXPECT_EQ(console("]"), Lines{}) << "the end of the game";
}

TEST_F(Console, ANewMoveEndsTheRecordBehindIt) {
    enter({"e4", "e5", "Nf3", "undo", "undo", "d5"});
    EXPECT_EQ(console("]"), Lines{});
}

TEST_F(Console, LooksAheadKeepTheMovesTakenBack) {
    enter({"e4", "e5", "Nf3", "Nc6", "undo", "undo", "undo", "perft 3", "pv"});
    EXPECT_EQ(console("]").front(), "1... move e7e5");
    EXPECT_EQ(console("]").front(), "2. move g1f3");
    EXPECT_EQ(console("]").front(), "2... move b8c6");
}

TEST_F(Console, JumpPutsMoveNumberNNext) {
    enter({"e4", "e5", "Nf3", "Nc6", "Bb5", "a6"});
    expect_board("jump 1");
    EXPECT_EQ(game_fen(), START_FEN);
    console("jump 3");
    EXPECT_EQ(main_thread->line.undo_index, 4);
    for (const char* line : {"jump 5", "jump 2147483647"}) {
        console(line);
        EXPECT_EQ(main_thread->line.undo_index, 6) << line;
    }
    for (const char* line : {"jump", "jump 0", "jump -2147483648"}) {
        console(line);
        EXPECT_EQ(main_thread->line.undo_index, 0) << line;
    }
}

TEST_F(Console, GoIsAnAnalysisWithAnOptionalDepth) {
    struct Case {
        const char* line;
        int depth;
    };
    for (Case c : {Case{"go", 66}, Case{"an 7", 7}, Case{"go 0", 66}, Case{"go 65", 65},
                   Case{"go 66", 66}, Case{"go 100", 66}, Case{"go junk", 66}, Case{"an -3", 66}}) {
        set_limits({.depth = 5});
        EXPECT_EQ(console(c.line), Lines{}) << c.line;
        EXPECT_EQ(engine.max_depth, c.depth) << c.line;
        EXPECT_EQ(engine.time_base, 99999.0f);
        EXPECT_EQ(engine.moves_per_control, 1);
        EXPECT_EQ(relaxed(engine.game_state), STATE_THINK_REQUEST);
        set_relaxed(engine.game_state, STATE_IDLE);
    }
}

TEST_F(Console, MvAndSelfAskForAThink) {
    console("mv");
    EXPECT_EQ(relaxed(engine.game_state), STATE_THINK_REQUEST);
    set_relaxed(engine.game_state, STATE_IDLE);
    engine.pv[1] = find_move(game(), "e2e4");
    printed_by(console_after_think);
    EXPECT_EQ(main_thread->line.undo_index, 1) << "the engine's move is made";
    EXPECT_EQ(relaxed(engine.game_state), STATE_IDLE);

    // The wish stays until a think ends without a move.
    engine.pv[1] = find_move(game(), "e7e5");
    printed_by(console_after_think);
    EXPECT_EQ(main_thread->line.undo_index, 2);

    console("self");
    EXPECT_EQ(active_personality.Ponder, 0);
    set_relaxed(engine.game_state, STATE_IDLE);
    engine.pv[1] = find_move(game(), "g1f3");
    printed_by(console_after_think);
    EXPECT_EQ(relaxed(engine.game_state), STATE_THINK_REQUEST) << "the other side is next";
    set_relaxed(engine.game_state, STATE_IDLE);

    engine.pv[1] = NULL_MOVE;
    printed_by(console_after_think);
    engine.pv[1] = find_move(game(), "b8c6");
    printed_by(console_after_think);
    EXPECT_EQ(main_thread->line.undo_index, 3) << "without a move both wishes are over";
}

TEST_F(Console, PlayOfItsOwnEndsWithUci) {
    for (const char* command : {"mv", "self"}) {
        set_relaxed(shell.uci_mode, 0);
        console(command);
        set_relaxed(engine.game_state, STATE_IDLE);
        uci("uci");
        engine.pv[1] = find_move(game(), "e2e4");
        EXPECT_EQ(printed_by(console_after_think), Lines{}) << command;
        EXPECT_EQ(main_thread->line.undo_index, 0);
        EXPECT_EQ(relaxed(engine.game_state), STATE_IDLE);
    }
}

TEST(ConsolePlay, HearsQuitBetweenShortThinks) {
    Program program = start_program({"-c", "-use_hce", "-hash", "1"});
    send_bytes(program, "new\nset depth 1\nself\nquit\n");
    EXPECT_EQ(wait_exit(program, 60000), 0);
    EXPECT_LE(count_lines(program, "move= "), 2);
}

TEST_F(Console, WhileASearchRunsOnlyTwoWordsAreHeard) {
    set_relaxed(engine.game_state, STATE_THINKING);
    for (const char* line : {"new", "bd", "e4", "undo", "set depth 3", "hello", "edit"})
        EXPECT_EQ(console(line), Lines{}) << line;
    EXPECT_EQ(main_thread->line.undo_index, 0);
    EXPECT_EQ(engine.max_depth, MAX_DEPTH);

    console(".");
    EXPECT_EQ(relaxed(engine.stop), 1);
    set_relaxed(engine.game_state, STATE_THINKING | STATE_OVER);
    console("quit");
    EXPECT_EQ(shell.quit, 1);
    EXPECT_EQ(relaxed(engine.stop), 0);
    EXPECT_EQ(relaxed(engine.game_state), STATE_IDLE);
}

TEST_F(Console, PerftCountsAndTellsTheSpeed) {
    Lines lines = console("perft 3");
    ASSERT_EQ(lines.size(), 1u);
    double seconds = -1, speed = -1;
    EXPECT_EQ(
        sscanf(lines[0].c_str(), "visited 8902 nodes in %lf seconds, nps= %lf", &seconds, &speed),
        2)
        << lines[0];
    EXPECT_EQ(console("perft 0").front().find("visited 0 nodes in"), 0u);
    EXPECT_EQ(console("perft -5").front().find("visited 0 nodes in"), 0u);
    EXPECT_EQ(console("perft").front().find("visited 0 nodes in"), 0u);
}

TEST_F(Console, SwapListsWhatIsAttackedFromA1ToH8) {
    console("fen 4k3/8/8/3p4/4P3/8/8/R3K2r w - -");
    EXPECT_EQ(console("swap"),
              (Lines{"sq= e1, swap1= 9999", "sq= e4, swap1=  100", "sq= d5, swap1=  100"}));
    console("new");
    EXPECT_EQ(console("swap"), Lines{});
}

TEST_F(Console, TagAndTraceAreKept) {
    console("tag");
    EXPECT_EQ(shell.tag_key, game().key);
    console("trace 4");
    EXPECT_EQ(shell.trace_level, 4);
    console("trace");
    EXPECT_EQ(shell.trace_level, 0);
}

TEST_F(Console, LmrPrintsTheSearchTables) { EXPECT_EQ(console("lmr").front(), "BP_margin= 15"); }

TEST_F(Console, PvPlaysTheHashLineThrough) {
    EXPECT_EQ(console("pv")[1], "");
    // The table holds no entry of the root itself, only of what lies behind it.
    search_nodes(START_FEN, 8);
    char best[MOVE_TEXT_LENGTH];
    move_to_text(game(), WHITE, engine.pv[1], best);
    console(best);
    std::string before = game_fen();
    Lines lines = console("pv");
    ASSERT_GE(lines.size(), 12u);
    EXPECT_EQ(lines[0].find("PV: "), 0u);
    EXPECT_GT(lines[0].size(), 8u) << "at least one move";
    EXPECT_EQ(lines[1], "");
    EXPECT_EQ(game_fen(), before) << "the moves are taken back";

    std::string moves = lines[0].substr(4);
    play(game(), moves);
    EXPECT_EQ(lines[2].find(game_fen()), 0u) << "the board at the end of the line";

    engine.hash_enabled = 0;
    EXPECT_EQ(console("pv")[0], "PV: ");
}

TEST_F(Console, EvNamesTheLastMove) {
    EXPECT_EQ(console("ev").front(), "           white  black");
    console("e4");
    EXPECT_EQ(console("ev").front(), "last move was 1. e2e4");
    console("e5");
    EXPECT_EQ(console("ev").front(), "last move was 1... e7e5");
    console("undo");
    EXPECT_EQ(console("ev").front(), "last move was 1. e2e4");
    EXPECT_EQ(console("ev"), console("ev")) << "as often as asked";
}

TEST_F(Console, SpAddsTheParameters) {
    EXPECT_GT(console("sp").size(), 200u);
    EXPECT_EQ(console("sp")[0], "           white  black");
}

TEST_F(Console, ReportsOfABoardWithoutKingsAreRefused) {
    console("fen 8/8/8/8/8/8/8/8 w - -");
    for (const char* line : {"ev", "sp", "perft 2"}) {
        Lines lines = console(line);
        ASSERT_EQ(lines.size(), 1u) << line;
        EXPECT_EQ(lines[0].find("info string position can't be"), 0u) << lines[0];
    }
}

TEST_F(Console, WithDebugEachChangedBoardHasItsReport) {
    console("set debug 1");
    Lines lines = console("e4");
    EXPECT_EQ(lines[0], "1. move e4");
    EXPECT_EQ(lines[1], "last move was 1. e2e4");
    EXPECT_TRUE(has_line(lines, "           white  black"));
    EXPECT_EQ(lines.back(), board().back());
    EXPECT_EQ(console("undo")[0], "           white  black");
    EXPECT_EQ(console("]")[1], "last move was 1. e2e4");
    expect_board("bd");
}

TEST_F(Console, SetWritesTheState) {
    enter({"set hash 0", "set noise 1.5", "set frc 1", "set debug 1", "set nodes 1234"});
    EXPECT_EQ(engine.hash_enabled, 0);
    EXPECT_EQ(shell.noise, 1.5f);
    EXPECT_EQ(relaxed(shell.chess960), 1);
    EXPECT_EQ(shell.show_debug, 1);
    EXPECT_EQ(engine.max_nodes, 1234u);
    EXPECT_EQ(engine.max_depth, MAX_DEPTH);
}

TEST_F(Console, AnyNameWithMultipvInItCounts) {
    for (const char* line : {"set multipv 3", "set xmultipvx 3"}) {
        active_personality.MultiPV = 1;
        EXPECT_EQ(console(line), Lines{}) << line;
        EXPECT_EQ(active_personality.MultiPV, 3) << line;
    }
    EXPECT_EQ(default_personality.MultiPV, 1) << "the defaults stay";
}

TEST_F(Console, SetDepthIsASignedByteWithACap) {
    struct Case {
        const char* line;
        int depth;
    };
    for (Case c : {Case{"set depth 9", 9}, Case{"set depth 100", 66}, Case{"set depth 300", 44},
                   Case{"set depth x", 0}}) {
        console(c.line);
        EXPECT_EQ(engine.max_depth, c.depth) << c.line;
    }
}

TEST_F(Console, SetLevelReadsMinutesAndSeconds) {
    EXPECT_EQ(console("set level 40 5:00 0"),
              Lines{"set level to 40 moves in 300.00 seconds, inc 0.00"});
    EXPECT_EQ(engine.moves_per_control, 40);
    EXPECT_EQ(engine.time_base, 300.0f);
    EXPECT_EQ(engine.clock[0], 300.0f);
    EXPECT_EQ(engine.clock[1], 300.0f);
    EXPECT_EQ(console("set level 0 1:30.5 0.25"),
              Lines{"set level to 0 moves in 90.50 seconds, inc 0.25"});
    EXPECT_EQ(engine.time_increment, 0.25f);
    EXPECT_EQ(console("set level 1 10"), Lines{"set level to 1 moves in 10.00 seconds, inc 0.00"});
}

TEST_F(Console, SetTargetNpsLimitsTheStrength) {
    EXPECT_EQ(console("set target_nps 1000.4"), Lines{"target_nps set to 1000"});
    EXPECT_EQ(active_personality.UCI_LimitStrength, 1);
    EXPECT_FLOAT_EQ(engine.target_nps, 1000.4f);
    engine.calibration_nps = 1e6f;
    printed_by([] { prepare_search(); });
    EXPECT_FLOAT_EQ(engine.target_nps, 1000.4f) << "it survives to the search";
}

TEST_F(Console, SetSsSwitchesTheSelectivity) {
    active_personality.SEP_margin = 1;
    EXPECT_EQ(console("set ss 0"), Lines{"selectivity set to OFF"});
    EXPECT_EQ(active_personality.NMP_depth, 99);
    EXPECT_EQ(active_personality.SEP_depth, 0);
    EXPECT_EQ(active_personality.LMP_depth, 0);
    EXPECT_EQ(active_personality.LMR_depth, 99);
    EXPECT_EQ(active_personality.SEP_margin, 1);

    default_personality.eval_dirty = 1;
    EXPECT_EQ(console("set ss 1"), Lines{"set default personality"});
    EXPECT_EQ(active_personality.SEP_margin, default_personality.SEP_margin);
    shell.noise = NOISE_QUIET;
    EXPECT_EQ(printed_by([] { prepare_search(); }), Lines{"info string setting eval params..."})
        << "the whole record was copied";
    EXPECT_EQ(active_personality.eval_dirty, 0);
}

TEST_F(Console, SetNamesFieldsOfTheSelectivity) {
    struct Case {
        const char* name;
        int16_t Personality::*field;
    };
    for (Case c :
         {Case{"NMP_depth", &Personality::NMP_depth}, Case{"SEP_depth", &Personality::SEP_depth},
          Case{"FP_depth", &Personality::FP_depth}, Case{"LMP_depth", &Personality::LMP_depth},
          Case{"LMR_depth", &Personality::LMR_depth},
          Case{"Selectivity", &Personality::Selectivity}, Case{"ponder", &Personality::Ponder}}) {
        std::string name = c.name;
        EXPECT_EQ(console("set " + name + " 7"), Lines{name + " set to 7"});
        EXPECT_EQ(active_personality.*c.field, 7);
        EXPECT_EQ(console("set " + name + " 65537"), Lines{name + " set to 1"}) << "16 bits";
        EXPECT_NE(default_personality.*c.field, 7);
    }
}

TEST_F(Console, OtherNamesOfSetAreIgnoredInSilence) {
    Personality before = active_personality;
    for (const char* line :
         {"set", "set nothing 5", "set Hash 1", "set Depth 3", "set lmr_depth 2"})
        EXPECT_EQ(console(line), Lines{}) << line;
    EXPECT_EQ(memcmp(&before, &active_personality, sizeof before), 0);
}

TEST_F(Console, ALineHasTenWordsOfBoundedLength) {
    console("set level 40 60 1 5 6 7 8 9 10 11 12");
    EXPECT_EQ(engine.moves_per_control, 40);
    EXPECT_EQ(console(std::string(4000, 'e')), Lines{"invalid: a1a1"});
    expect_board("   e4", {"1. move e4"});
}

TEST_F(Console, BookPrintsAnEmptyLineForEachBook) { EXPECT_EQ(console("book"), (Lines{"", ""})); }

TEST_F(ConsoleFiles, GetFindsAPositionById) {
    std::string directory = fresh_directory();
    write_file(directory + "/test.epd", "; 4k3/8/8/8/8/8/8/4K2R w K - id \"2\";\n"
                                        " 4k3/8/8/8/8/8/8/4K2R w K - id \"2\";\n"
                                        "4k3/8/8/8/8/8/8/4K2R w K - bm Rh8; id \"12\";\n"
                                        "4k3/8/8/8/8/8/8/R3K3 w Q - bm Ra8; id \"2\";\n"
                                        "4k3/8/8/8/8/8/8/3QK3 w - - id \"2\";\n");
    Lines lines = talk("get 2\n", directory).lines;
    EXPECT_TRUE(has_line(lines, "4k3/8/8/8/8/8/8/R3K3 w Q - bm Ra8; id \"2\";"));
    EXPECT_EQ(last_fen(lines), "4k3/8/8/8/8/8/8/R3K3 w Q -");
}

TEST_F(ConsoleFiles, GetWithoutAHitKeepsThePosition) {
    std::string directory = fresh_directory();
    write_file(directory + "/test.epd", "4k3/8/8/8/8/8/8/4K2R w K - id \"2\";\n");
    Lines lines = talk("get 3\n", directory).lines;
    EXPECT_EQ(last_fen(lines), START_FEN);
    EXPECT_EQ(count_lines(lines, "get"), 0);
    EXPECT_TRUE(has_line(talk("get 2\n").lines, "get")) << "no file: its own word";
    EXPECT_EQ(last_fen(talk("get 2\n").lines), START_FEN);
}

TEST_F(ConsoleFiles, LoadReadsTheFirstGame) {
    EXPECT_EQ(loaded("[Event \"A\"]\n[Result \"*\"]\n\n1. e4 e5 2. Nf3 Nc6 1-0\n\n"
                     "[Event \"B\"]\n\n1. d4 *\n"),
              after_moves("e2e4 e7e5 g1f3 b8c6"));
    EXPECT_EQ(loaded("1. e4 e5\n"), START_FEN) << "moves belong to an event";
    EXPECT_EQ(loaded("[Event \"A\"]\r\n\r\n1.e4 c5\r\n2.Nf3 d6\r\n"),
              after_moves("e2e4 c7c5 g1f3 d7d6"))
        << "lines of other systems";
}

TEST_F(ConsoleFiles, LoadSaysWhatItDoes) {
    EXPECT_TRUE(has_line(talk("load nothing.pgn Mine\n").lines, "loading nothing.pgn, tag Mine"));
    EXPECT_TRUE(has_line(talk("load nothing.pgn\n").lines, "loading nothing.pgn, tag "));
}

TEST_F(ConsoleFiles, LoadWithATagBeginsAtItsLine) {
    const std::string games = "[Event \"A\"]\n\n1. e4 e5 *\n\n"
                              "[Event \"B\"]\n[FEN \"4k3/8/8/8/8/8/8/4K2R w K -\"]\n"
                              "[White \"Mine\"]\n\n1. d4 d5 *\n\n"
                              "[Event \"C\"]\n[White \"Mine\"]\n\n1. c4 *\n";
    EXPECT_EQ(loaded(games, "Mine"), after_moves("d2d4 d7d5"))
        << "the first game with the tag; the FEN line above it is missed";
    EXPECT_EQ(loaded("[Event \"B\"]\n[White \"Mine\"]\n"
                     "[FEN \"4k3/8/8/8/8/8/8/4K2R w K -\"]\n\n1. O-O *\n",
                     "Mine"),
              "4k3/8/8/8/8/8/8/5RK1 b - -");
    EXPECT_EQ(loaded("[Event \"Cup\"]\n\n1. e4 *\n\n[Event \"Cup\"]\n\n1. d4 *\n", "Cup"),
              after_moves("e2e4"))
        << "a text that all games have means the first";
    EXPECT_EQ(loaded(games, "Nobody"), START_FEN);
}

TEST_F(ConsoleFiles, CommentsMaySpanLinesAndNest) {
    EXPECT_EQ(loaded("[Event \"A\"]\n\n1. e4 {a {nested} Nf6 one} e5 2. Nf3 *\n"),
              after_moves("e2e4 e7e5 g1f3"));
    EXPECT_EQ(loaded("[Event \"A\"]\n\n1. e4 e5 {over\n[not a tag] Nf6\nlines} 2. Nf3 Nc6 *\n"),
              after_moves("e2e4 e7e5 g1f3 b8c6"))
        << "moves in front of the comment wait for its end";
    EXPECT_EQ(loaded("[Event \"A\"]\n\n1. e4 e5 {never closed\n2. Nf3\n"), START_FEN);
}

TEST_F(ConsoleFiles, AWordThatIsNoMoveEndsTheGame) {
    std::string directory = fresh_directory();
    write_file(directory + "/a.pgn", "[Event \"A\"]\n\n1. e4 e5 2. Qxf7# Nc6\n3. d4\n");
    Lines lines = talk("load a.pgn\n]\n", directory).lines;
    EXPECT_TRUE(has_line(lines, "can't parse move 'Qxf7#'"));
    EXPECT_EQ(last_fen(lines), after_moves("e2e4 e7e5"));
}

TEST_F(ConsoleFiles, DirectoriesAndDevicesAreNoFiles) {
    for (const char* name : {".", "/", "/dev/zero", "/dev/tty"}) {
        Lines lines = talk(std::string("load ") + name + "\nbd\n").lines;
        EXPECT_EQ(last_fen(lines), START_FEN) << name;
    }
    std::string directory = fresh_directory();
    ASSERT_TRUE(std::filesystem::create_directory(directory + "/tmp.pgn"));
    EXPECT_EQ(last_fen(talk("e4\nsave\n", directory).lines), after_moves("e2e4"));
}

TEST_F(ConsoleFiles, SaveWritesElevenMovesToALineAndLoadReadsThemBack) {
    const std::string moves = "e4 e5 Nf3 Nc6 Bb5 a6 Ba4 Nf6 O-O Be7 Re1 b5 Bb3 d6 ";
    std::string input;
    for (char c : moves) input += c == ' ' ? '\n' : c;
    Talk first = talk(input + "undo\nsave\nbd\n");
    EXPECT_EQ(read_file(first.directory + "/tmp.pgn"),
              "[Event \"Unknown\"]\ne4 e5 Nf3 Nc6 Bb5 a6 Ba4 Nf6 o-o Be7 Re1 \nb5 Bb3 \n\n");
    EXPECT_EQ(last_fen(talk("load tmp.pgn\n", first.directory).lines), last_fen(first.lines));

    talk("save\nd4\nsave\n", first.directory);
    EXPECT_EQ(count_lines(read_lines(first.directory + "/tmp.pgn"), "[Event "), 3) << "appended";
}

TEST_F(ConsoleFiles, LoadSetsTheClocks) {
    Program program = start_program({"-c", "-use_hce", "-hash", "1"});
    send_bytes(program, "set level 0 100 0\nset depth 2\nmv\n");
    EXPECT_NE(wait_for(program, "Ply= 0, cnt50= 0, Clock= 100.00s"), "");
    EXPECT_NE(wait_for(program, "black"), "");
    send_bytes(program, "set level 0 77 0\nload nothing\nmv\n");
    std::string think = wait_for(program, "Ply= 1, ");
    EXPECT_NE(think.find("Clock= 77.00s"), std::string::npos) << think;
    send(program, ".");
    EXPECT_EQ(quit_program(program), 0);
}

TEST_F(ConsoleEdit, ExplainsItself) {
    Lines lines = talk("edit\n.\n").lines;
    for (size_t i = 0; i + 5 < lines.size(); i++) {
        if (lines[i + 2] != ".                    end edit") continue;
        EXPECT_EQ(lines[i], "");
        EXPECT_EQ(lines[i + 1], "");
        EXPECT_EQ(lines[i + 3], "#                    clear board");
        EXPECT_EQ(lines[i + 4], "w  Pa2 Pb2 Kc2       white, pieces");
        EXPECT_EQ(lines[i + 5], "b  Pa7 Pb7 Kc7       black, pieces");
        return;
    }
    FAIL() << joined(lines);
}

TEST_F(ConsoleEdit, SetsABoardUp) {
    EXPECT_EQ(last_fen(talk("edit\n#\nw Ke1 Rh1 Ra1 pe4\nb ke8 ra8 Qd8\n.\n").lines),
              "r2qk3/8/8/8/4P3/8/8/R3K2R b KQq -");
    EXPECT_EQ(last_fen(talk("edit\n#\nb Ke8\nwhite Ke1\n.\n").lines), "4k3/8/8/8/8/8/8/4K3 w - -")
        << "the last colour is to move";
}

TEST_F(ConsoleEdit, ChangesTheBoardAsItStands) {
    EXPECT_EQ(last_fen(talk("edit\nw Qe4 xd2\n.\n").lines),
              "rnbqkbnr/pppppppp/8/8/4Q3/8/PPP1PPPP/RNBQKBNR w KQkq -")
        << "a letter that is no piece empties the square";
    EXPECT_EQ(last_fen(talk("edit\nw Ke2 xe1\n.\n").lines),
              "rnbqkbnr/pppppppp/8/8/8/8/PPPPKPPP/RNBQ1BNR w kq -");
    EXPECT_EQ(last_fen(talk("edit\nb\n.\n").lines),
              "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR b KQkq -");
}

TEST_F(ConsoleEdit, ASquareOffTheBoardEndsItsLine) {
    EXPECT_EQ(last_fen(talk("edit\n#\nw Ke1 Pa9 Pa2\nb Ke8 P Pa7\nz Pa3\n\n.\n").lines),
              "4k3/8/8/8/8/8/8/4K3 b - -");
}

TEST_F(ConsoleEdit, TheGameBeginsAnew) {
    Lines lines = talk("e4\ne5\nKe2\nedit\n#\nw Ke1 Rh1\nb Ke8\nw\n.\nundo\n]\nO-O\nbd\n").lines;
    EXPECT_EQ(last_fen(lines), "4k3/8/8/8/8/8/8/5RK1 b - -")
        << "nothing to take back, and the king counts as not moved";
    EXPECT_TRUE(has_line(lines, "1. move O-O"));
}

TEST_F(ConsoleEdit, TheEngineGoesOnFromTheEditedBoard) {
    Lines lines = talk("edit\n#\nw Kf6 Ra1\nb Kh8\nw\n.\nset depth 5\nmv\n").lines;
    EXPECT_EQ(count_lines(lines, "move= "), 1) << joined(lines);
}

TEST_F(ConsoleEdit, TheEndOfTheInputEndsIt) {
    int status = -1;
    Program program =
        run_with_input({"-c", "-use_hce", "-hash", "1"}, "edit\n#\nw Ke1\nb Ke8", &status);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(last_fen(program.lines), "4k3/8/8/8/8/8/8/4K3 b - -");
}
