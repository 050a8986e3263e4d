// Conversations with the real program over its pipes.

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <regex>
#include <thread>

#include "shell_fixture.h"

namespace {

using Clock = std::chrono::steady_clock;

void pause(int milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

// Sends a line and waits for the answer that begins with `prefix`.
std::string ask(Program& program, const std::string& line,
                const std::string& prefix = "bestmove ") {
    send(program, line);
    return wait_for(program, prefix, 60000);
}

// The last search line so far.
std::string last_info(const Program& program) {
    std::string last;
    for (const std::string& line : program.lines)
        if (line.compare(0, 5, "info ") == 0 && line.compare(0, 12, "info string ") != 0)
            last = line;
    return last;
}

// Tells whether the move of a "bestmove" line is legal in the position of a "position" line.
bool is_legal_answer(const std::string& position, const std::string& answer) {
    uci(position);
    return find_move(game(), word_after(answer, "bestmove")) != NULL_MOVE;
}

class UciProgram : public ShellTest {};
class Pondering : public ShellTest {};

} // namespace

TEST_F(UciProgram, IdentifiesItselfWithAllOptionsInOrder) {
    Program program = run_with_input({}, "uci\n");
    std::vector<std::string> names;
    bool begun = false;
    for (const std::string& line : program.lines) {
        begun |= line.compare(0, 8, "id name ") == 0;
        if (begun && line.find("UCI_Elo") == std::string::npos) names.push_back(line);
    }
    EXPECT_EQ(joined(names), "id name Mird 5.50\n"
                             "id author Tovan Rusk\n"
                             "option name ConfigFilePath type string default \n"
                             "option name Hash type spin default 64 min 0 max 32768\n"
                             "option name Threads type spin default 1 min 1 max 160\n"
                             "option name Clear_Hash type button\n"
                             "option name NN_File type string default embedded\n"
                             "option name Use_NN_eval type check default true\n"
                             "option name OwnBook type check default false\n"
                             "option name OwnBook_File type string default \n"
                             "option name OwnBook_Depth type spin default 24 min 0 max 60\n"
                             "option name OwnBook2_File type string default \n"
                             "option name OwnBook2_Depth type spin default 0 min 0 max 60\n"
                             "option name OwnBook_Variety type spin default 25 min 0 max 100\n"
                             "option name SyzygyPath type string default \n"
                             "option name SyzygyProbeDepth6 type spin default 1 min -5 max 100\n"
                             "option name Log type check default false\n"
                             "option name Ponder type check default true\n"
                             "option name MultiPV type spin default 1 min 1 max 255\n"
                             "option name UCI_Chess960 type check default false\n"
                             "option name MoveOverhead type spin default 50 min 0 max 5000\n"
                             "option name UCI_LimitStrength type check default false\n"
                             "option name Contempt type spin default 0 min -150 max 150\n"
                             "option name Selectivity type spin default 100 min 0 max 200\n"
                             "uciok\n");
}

TEST_F(UciProgram, TheListingHasTheCommandLinesSettings) {
    Program program = run_with_input({"-hash", "5", "-threads", "3", "-book", "b.bin", "-tbpath",
                                      "/tables", "-log", "-cfg", "none.cfg"},
                                     "uci\n");
    for (const char* line : {"option name Hash type spin default 5 min 0 max 32768",
                             "option name Threads type spin default 3 min 1 max 160",
                             "option name OwnBook_File type string default b.bin",
                             "option name OwnBook type check default false",
                             "option name SyzygyPath type string default /tables",
                             "option name Log type check default true",
                             "option name ConfigFilePath type string default none.cfg"})
        EXPECT_TRUE(has_line(program.lines, line)) << line;
}

TEST_F(UciProgram, EveryLineIsProtocolOrAMessage) {
    Program program = start_program({});
    for (const char* line : {"uci", "isready", "setoption name MultiPV value 2", "ucinewgame",
                             "position startpos moves e2e4 nonsense", "xyzzy"})
        send(program, line);
    EXPECT_NE(ask(program, "go depth 5"), "");
    EXPECT_EQ(quit_program(program), 0);
    for (const std::string& line : program.lines) {
        std::string first = line.substr(0, line.find(' '));
        EXPECT_TRUE(first == "id" || first == "option" || first == "uciok" || first == "readyok"
                    || first == "info" || first == "bestmove")
            << line;
    }
}

TEST_F(UciProgram, SearchLinesHaveTheirForm) {
    Program program = start_program({});
    std::string best = ask(program, "position startpos\ngo depth 8");
    EXPECT_EQ(quit_program(program), 0);

    const std::regex form(
        "info depth \\d+ seldepth \\d+ score (cp|mate) -?\\d+ time \\d+ nodes \\d+ "
        "nps \\d+ tbhits \\d+ hashfull \\d+ pv( [a-h][1-8][a-h][1-8][nbrq]?)+");
    int lines = 0;
    for (const std::string& line : program.lines) {
        if (line.compare(0, 11, "info depth ") != 0) continue;
        EXPECT_TRUE(std::regex_match(line, form)) << line;
        EXPECT_GE(number_after(line, "depth"), 2.0) << "the first iteration is not reported";
        lines++;
    }
    EXPECT_GE(lines, 7);

    std::string last = last_info(program);
    EXPECT_EQ(word_after(last, "depth"), "8");
    EXPECT_EQ(word_after(last, "pv"), word_after(best, "bestmove"));
    EXPECT_EQ(word_after(last, word_after(last, "pv")), word_after(best, "ponder"));
}

TEST_F(UciProgram, DepthOneShowsItsFinalLineOnly) {
    Program program = start_program({});
    EXPECT_NE(ask(program, "position startpos\ngo depth 1"), "");
    EXPECT_EQ(quit_program(program), 0);
    EXPECT_EQ(count_lines(program, "info depth "), 1);
    EXPECT_EQ(count_lines(program, "info depth 1 "), 1);
}

TEST_F(UciProgram, MovesAreLegal) {
    const char* positions[] = {
        "position startpos",
        "position startpos moves e2e4 c7c5 g1f3 d7d6",
        "position fen r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq -",
        "position fen 8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - -",
        "position fen r3k2r/Pppp1ppp/1b3nbN/nP6/BBP1P3/q4N2/Pp1P2PP/R2Q1RK1 w kq - 0 1",
        "position fen rnbq1k1r/pp1Pbppp/2p5/8/2B5/8/PPP1NnPP/RNBQK2R w KQ - 1 8",
        "position fen 4k3/8/8/8/8/8/4P3/4K3 w - - 5 39",
        "position fen 8/8/8/8/8/5k2/5p2/5K2 b - -",
        "position fen 7k/P7/8/8/8/8/7p/K7 b - - 0 1",
        "position fen 4k3/8/8/3pP3/8/8/8/4K3 w - d6",
        "position fen 6k1/5ppp/8/8/8/8/5PPP/4R1K1 w - -",
        "position fen R6R/3Q4/1Q4Q1/4Q3/2Q4Q/Q4Q2/pp1Q4/kBNN1KB1 w - -",
        "position fen 8/P1k5/8/8/8/8/p1K5/8 w - - 0 1",
        "position fen 5rk1/1p1b1ppp/p2bp3/3n4/2NN4/1P4P1/P4PBP/2R3K1 b - - 3 20",
        "position fen 8/8/8/8/8/8/6k1/4K2R w K -",
    };
    Program program = start_program({});
    for (const char* position : positions)
        for (const char* go : {"go depth 4", "go nodes 3000", "go movetime 20"}) {
            send(program, "ucinewgame");
            std::string answer = ask(program, std::string(position) + "\n" + go);
            EXPECT_TRUE(is_legal_answer(position, answer)) << position << "\n" << answer;
        }
    EXPECT_EQ(quit_program(program), 0);
    EXPECT_EQ(count_lines(program, "bestmove "), 45);
}

TEST_F(UciProgram, HelpersDoNotChangeTheProtocol) {
    Program program = start_program({});
    for (const char* threads : {"2", "4", "9"}) {
        send(program, std::string("setoption name Threads value ") + threads);
        std::string answer = ask(program, "position startpos moves d2d4\ngo movetime 60");
        EXPECT_TRUE(is_legal_answer("position startpos moves d2d4", answer)) << answer;
    }
    EXPECT_EQ(quit_program(program), 0);
    EXPECT_EQ(count_lines(program, "bestmove"), 3);
}

TEST_F(UciProgram, DepthTwoHundredIsANegativeLimitWithoutAMove) {
    Program program = start_program({});
    EXPECT_EQ(ask(program, "position startpos\ngo depth 200"), "bestmove null");
    EXPECT_NE(ask(program, "go depth 3"), "bestmove null") << "the next limit counts";
    EXPECT_EQ(quit_program(program), 0);
}

TEST_F(UciProgram, NodeLimitsVaryByFourPerCent) {
    Program program = start_program({});
    send(program, "position startpos moves e2e4");
    for (int i = 0; i < 5; i++) {
        EXPECT_NE(ask(program, "ucinewgame\ngo nodes 20000"), "");
        double nodes = number_after(last_info(program), "nodes");
        EXPECT_GE(nodes, 19200.0);
        EXPECT_LE(nodes, 20900.0);
    }
    EXPECT_EQ(quit_program(program), 0);
}

TEST_F(UciProgram, ALimitOfAnEarlierGoStands) {
    Program program = start_program({});
    EXPECT_NE(ask(program, "position startpos\ngo depth 5"), "");
    EXPECT_NE(ask(program, "go wtime 60000 btime 60000"), "");
    EXPECT_EQ(word_after(last_info(program), "depth"), "5");
    EXPECT_EQ(quit_program(program), 0);
}

TEST_F(UciProgram, AClockOfNothingStillGetsAMove) {
    Program program = start_program({});
    for (const char* go :
         {"go wtime -500 btime -500", "go wtime 0 btime 0", "go wtime 1 btime 1", "go movetime 0",
          "go movetime 1", "go wtime 100 btime 100 movestogo 1"}) {
        std::string answer = ask(program, std::string("position startpos\n") + go);
        EXPECT_TRUE(is_legal_answer("position startpos", answer)) << go << "\n" << answer;
    }
    EXPECT_EQ(quit_program(program), 0);
}

TEST_F(UciProgram, MultiPvGivesItsLinesInOrder) {
    Program program = start_program({});
    EXPECT_EQ(ask(program, "setoption name MultiPV value 3", "info string MultiPV"),
              "info string MultiPV set to 3");
    EXPECT_NE(ask(program, "position startpos\ngo depth 5"), "");
    EXPECT_EQ(quit_program(program), 0);

    std::vector<std::string> moves;
    for (int line = 1; line <= 3; line++) {
        std::string prefix = "info multipv " + std::to_string(line) + " depth 5 ", found;
        for (const std::string& text : program.lines)
            if (text.compare(0, prefix.size(), prefix) == 0 && found.empty()) found = text;
        EXPECT_NE(found, "") << prefix;
        moves.push_back(word_after(found, "pv"));
    }
    std::sort(moves.begin(), moves.end());
    EXPECT_EQ(std::unique(moves.begin(), moves.end()), moves.end()) << "three different moves";
    EXPECT_EQ(count_lines(program, "info multipv 4 "), 0);
    EXPECT_EQ(count_lines(program, "info depth "), 0);
}

TEST_F(UciProgram, MultiPvBeyondTheMovesShowsThemAll) {
    Program program = start_program({});
    send(program, "setoption name MultiPV value 255");
    EXPECT_NE(ask(program, "position startpos\ngo depth 3"), "");
    EXPECT_EQ(quit_program(program), 0);
    EXPECT_EQ(count_lines(program, "info multipv 20 depth 3 "), 1);
    EXPECT_EQ(count_lines(program, "info multipv 21 "), 0);
}

TEST_F(UciProgram, CastlingIsTheKingsStepOrKingTakesRook) {
    const std::string position = "position fen r3k2r/8/8/8/8/8/8/R3K2R w KQkq -";
    for (bool chess960 : {false, true}) {
        Program program = start_program({});
        send(program, "setoption name MultiPV value 60");
        send(program,
             std::string("setoption name UCI_Chess960 value ") + (chess960 ? "true" : "false"));
        EXPECT_NE(ask(program, position + "\ngo depth 2"), "");
        EXPECT_EQ(quit_program(program), 0);
        std::vector<std::string> moves;
        for (const std::string& line : program.lines) moves.push_back(word_after(line, "pv"));
        EXPECT_EQ(has_line(moves, "e1g1"), !chess960);
        EXPECT_EQ(has_line(moves, "e1c1"), !chess960);
        EXPECT_EQ(has_line(moves, "e1h1"), chess960);
        EXPECT_EQ(has_line(moves, "e1a1"), chess960);
    }
}

TEST_F(UciProgram, Chess960GamesArePlayedWithTheirOwnTexts) {
    // King f1, rooks e1 and h1: castling king side takes the rook on h1.
    const std::string position =
        "position fen 1nbbrkqr/1ppppppp/8/8/8/8/1PPPPPPP/1NBBRK1R w EHeh - moves f1h1";
    Program program = start_program({});
    send(program, "setoption name UCI_Chess960 value true");
    std::string answer = ask(program, position + "\ngo depth 4");
    EXPECT_EQ(quit_program(program), 0);
    EXPECT_EQ(count_lines(program, "info string can't"), 0);
    uci("setoption name UCI_Chess960 value true");
    EXPECT_TRUE(is_legal_answer(position, answer)) << answer;
    EXPECT_EQ(game().board[G1], KING);
    EXPECT_EQ(game().board[F1], ROOK);
}

TEST_F(UciProgram, GoDuringASearchAnswersTheNewOneOnly) {
    const std::string second = "position fen 4k3/8/8/8/8/8/4P3/4K3 w - -";
    Program program = start_program({});
    send(program, "position startpos");
    send(program, "go infinite");
    ASSERT_NE(wait_for(program, "info depth 5 ", 60000), "");
    std::string answer = ask(program, second + "\ngo depth 6");
    EXPECT_TRUE(is_legal_answer(second, answer)) << answer;
    EXPECT_TRUE(is_ready(program));
    EXPECT_EQ(quit_program(program), 0);
    EXPECT_EQ(count_lines(program, "bestmove"), 1);
}

TEST_F(UciProgram, NewGameDuringASearchEndsItWithoutAnAnswer) {
    Program program = start_program({});
    send(program, "go infinite");
    ASSERT_NE(wait_for(program, "info depth 5 ", 60000), "");
    send(program, "ucinewgame");
    EXPECT_TRUE(is_ready(program));
    EXPECT_EQ(count_lines(program, "bestmove"), 0);
    EXPECT_NE(ask(program, "position startpos\ngo depth 3"), "");
    EXPECT_EQ(quit_program(program), 0);
    EXPECT_EQ(count_lines(program, "bestmove"), 1);
}

TEST_F(UciProgram, QuitDuringASearchPrintsNoMove) {
    Program program = start_program({});
    send(program, "go infinite");
    ASSERT_NE(wait_for(program, "info depth 5 ", 60000), "");
    EXPECT_EQ(quit_program(program), 0);
    EXPECT_EQ(count_lines(program, "bestmove"), 0);
}

TEST_F(UciProgram, APositionDuringASearchDoesNotDisturbIt) {
    Program program = start_program({});
    send(program, "position startpos");
    send(program, "go infinite");
    ASSERT_NE(wait_for(program, "info depth 5 ", 60000), "");
    send(program, "position fen 8/8/4k3/8/8/4K3/8/8 b - -");
    EXPECT_TRUE(is_ready(program));
    std::string answer = ask(program, "stop");
    EXPECT_TRUE(is_legal_answer("position startpos", answer)) << answer;
    EXPECT_EQ(quit_program(program), 0);
}

TEST_F(UciProgram, APositionDuringASearchLeavesItsCastlingTexts) {
    // The only legal move is castling: all that the king could step to is attacked.
    Program program = start_program({});
    send(program, "setoption name UCI_Chess960 value true");
    send(program, "position fen 4k3/8/8/8/4n3/7p/3n3P/6KR w K -");
    send(program, "go ponder");
    ASSERT_NE(wait_for(program, "info depth 6 ", 60000), "");
    send(program, "position fen 8/8/4k3/8/8/4K3/8/8 b - -");
    EXPECT_TRUE(is_ready(program));
    EXPECT_EQ(word_after(ask(program, "stop"), "bestmove"), "g1h1");
    EXPECT_EQ(quit_program(program), 0);
    EXPECT_EQ(word_after(last_info(program), "pv"), "g1h1");
}

TEST_F(UciProgram, BoardsOfManyQueensKeepToTheirLimits) {
    Program program = start_program({"-use_hce"});
    send(program, "position fen 7k/qqqqqqqq/qqqqqqq1/8/8/QQQQQQQ1/QQQQQQQQ/7K w - -");
    ASSERT_TRUE(is_ready(program));
    const Clock::time_point start = Clock::now();
    EXPECT_NE(word_after(ask(program, "go movetime 50"), "bestmove"), "null");
    EXPECT_NE(word_after(ask(program, "go nodes 3000"), "bestmove"), "null");
    EXPECT_LT(std::chrono::duration<double>(Clock::now() - start).count(), 5.0);
    EXPECT_EQ(quit_program(program), 0);
}

TEST_F(UciProgram, IsReadyIsAnsweredDuringASearch) {
    Program program = start_program({});
    send(program, "go infinite");
    ASSERT_NE(wait_for(program, "info depth 4 ", 60000), "");
    EXPECT_TRUE(is_ready(program));
    EXPECT_EQ(count_lines(program, "bestmove"), 0);
    EXPECT_NE(ask(program, "stop"), "");
    EXPECT_EQ(quit_program(program), 0);
}

TEST_F(UciProgram, OptionsDuringASearch) {
    Program program = start_program({});
    send(program, "go infinite");
    ASSERT_NE(wait_for(program, "info depth 4 ", 60000), "");
    for (const char* line :
         {"setoption name Hash value 2", "setoption name Threads value 2",
          "setoption name Clear_Hash value x", "setoption name ConfigFilePath value x.cfg",
          "setoption name MultiPV value 2", "setoption name Contempt value 5"})
        send(program, line);
    EXPECT_TRUE(is_ready(program));
    EXPECT_NE(ask(program, "stop"), "");
    EXPECT_EQ(quit_program(program), 0);
    EXPECT_EQ(count_lines(program, "info string Hash"), 0);
    EXPECT_EQ(count_lines(program, "info string Threads"), 0);
    EXPECT_EQ(count_lines(program, "info string ConfigFilePath"), 0);
    EXPECT_TRUE(has_line(program.lines, "info string MultiPV set to 2"));
    EXPECT_TRUE(has_line(program.lines, "info string Contempt set to 5"));
}

TEST_F(UciProgram, StopIsAnsweredSoon) {
    Program program = start_program({});
    std::vector<double> waits;
    for (int i = 0; i < 9; i++) {
        send(program, "go infinite");
        ASSERT_NE(wait_for(program, "info depth 5 ", 60000), "");
        Clock::time_point start = Clock::now();
        EXPECT_NE(ask(program, "stop"), "");
        waits.push_back(std::chrono::duration<double>(Clock::now() - start).count());
    }
    EXPECT_EQ(quit_program(program), 0);
    std::nth_element(waits.begin(), waits.begin() + 4, waits.end());
    EXPECT_LT(waits[4], 0.5) << "median of nine, in seconds";
}

TEST_F(UciProgram, StopWithoutASearchDoesNotPoisonTheNextOne) {
    Program program = start_program({});
    for (const char* line : {"stop", "ponderhit", "stop", "position startpos"}) send(program, line);
    EXPECT_NE(ask(program, "go depth 6"), "");
    EXPECT_EQ(word_after(last_info(program), "depth"), "6");
    EXPECT_EQ(quit_program(program), 0);
    EXPECT_EQ(count_lines(program, "bestmove"), 1);
}

TEST_F(UciProgram, TwoStopsGetOneAnswer) {
    Program program = start_program({});
    send(program, "go infinite");
    ASSERT_NE(wait_for(program, "info depth 3 ", 60000), "");
    EXPECT_NE(ask(program, "stop\nstop\nstop"), "");
    EXPECT_TRUE(is_ready(program));
    EXPECT_EQ(quit_program(program), 0);
    EXPECT_EQ(count_lines(program, "bestmove"), 1);
}

TEST_F(UciProgram, WithoutThreadsThereIsNoMove) {
    Program program = start_program({});
    EXPECT_EQ(ask(program, "setoption name Threads value 0", "info string Threads"),
              "info string Threads set to 0");
    EXPECT_EQ(ask(program, "position startpos\ngo infinite"), "bestmove null");
    send(program, "setoption name Clear_Hash value x");
    send(program, "ucinewgame");
    send(program, "setoption name Threads value 1");
    EXPECT_NE(ask(program, "go depth 3"), "bestmove null");
    EXPECT_EQ(quit_program(program), 0);
    EXPECT_EQ(count_lines(program, "info depth 3 "), count_lines(program, "info depth 3"));
}

TEST_F(UciProgram, ATableOfNoMegabytesIsPlayedWithout) {
    Program program = start_program({});
    EXPECT_EQ(ask(program, "setoption name Hash value 0", "info string allocated 0 "),
              "info string allocated 0 Mbytes for hash table");
    EXPECT_NE(ask(program, "position startpos\ngo depth 7"), "");
    EXPECT_EQ(number_after(last_info(program), "hashfull"), 0.0);
    EXPECT_EQ(ask(program, "setoption name Hash value 1", "info string allocated 1 "),
              "info string allocated 1 Mbytes for hash table");
    EXPECT_NE(ask(program, "go nodes 300000"), "");
    EXPECT_GT(number_after(last_info(program), "hashfull"), 0.0) << "in use again";
    EXPECT_EQ(quit_program(program), 0);
}

TEST_F(UciProgram, AMissingValueSetsNothing) {
    int status = -1;
    Program program = run_with_input(
        {}, "setoption name Hash\nsetoption name Clear_Hash\nisready\n", &status, 60000);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(count_lines(program, "info string Hash"), 0);
    EXPECT_EQ(count_lines(program, "readyok"), 1);
}

TEST_F(UciProgram, AGameThatFillsTheWholeLineIsPlayedOn) {
    // 1,148 plies; the line is cut at its limit, which is still more than the record holds.
    std::string position = "position startpos moves ";
    for (int i = 0; i < 14; i++) {
        for (int j = 0; j < 20; j++) position += "g1h3 g8h6 h3g1 h6g8 ";
        char file = static_cast<char>('a' + i % 7);
        char white = i < 7 ? '2' : '3', black = i < 7 ? '7' : '6';
        position += {file, white, file, static_cast<char>(white + 1), ' '};
        position += {file, black, file, static_cast<char>(black - 1), ' '};
    }
    Program program = start_program({});
    send(program, position);
    std::string answer = ask(program, "go depth 3");
    EXPECT_TRUE(is_legal_answer(position.substr(0, 4991), answer)) << answer;
    EXPECT_EQ(quit_program(program), 0);
}

TEST_F(UciProgram, GamesAreTheSameAfterANewGame) {
    Program program = start_program({});
    std::vector<std::string> counts[2];
    for (auto& count : counts) {
        send(program, "ucinewgame");
        for (const char* moves : {"", " moves e2e4 e7e5", " moves e2e4 e7e5 g1f3 b8c6"}) {
            EXPECT_NE(ask(program, std::string("position startpos") + moves + "\ngo depth 7"), "");
            count.push_back(word_after(last_info(program), "nodes"));
        }
    }
    EXPECT_EQ(counts[0], counts[1]);
    EXPECT_EQ(quit_program(program), 0);
}

TEST(LongUciProgram, LongThinksTellTheRootMoves) {
    Program program = start_program({"-noise", "0"});
    send(program, "position startpos");
    send(program, "go infinite");
    EXPECT_NE(wait_for(program, "info currmove ", 60000), "");
    EXPECT_NE(ask(program, "stop"), "");
    EXPECT_EQ(quit_program(program), 0);
    const std::regex move("info currmove [a-h][1-8][a-h][1-8] currmovenumber \\d+");
    for (const std::string& line : program.lines)
        if (line.compare(0, 14, "info currmove ") == 0) {
            EXPECT_TRUE(std::regex_match(line, move)) << line;
        }
}

TEST_F(UciProgram, ADecimalCommaInTheLocaleChangesNothing) {
    const char* kept = getenv("LC_ALL");
    std::string before = kept ? kept : "";
    set_environment("LC_ALL", "de_DE.UTF-8");
    std::string directory = fresh_directory();
    Program program = start_program({"-log", "-noise", "0.5", "-t", "0.25"}, directory);
    set_environment("LC_ALL", kept ? before.c_str() : nullptr);

    std::string line = wait_for(program, "info string et= ", 60000);
    ASSERT_NE(line, "");
    size_t whole = line.find("et= ") + 4; // seconds, several of them in a slow build
    EXPECT_EQ(line[line.find_first_not_of("0123456789", whole)], '.') << line;
    EXPECT_NE(ask(program, "position startpos\ngo movetime 300.5"), "");
    EXPECT_EQ(quit_program(program), 0);
    EXPECT_EQ(
        count_lines(read_lines(directory + "/mird.log"), "info string ply= 0, trg_time= 0.30"), 1);
}

TEST_F(Pondering, PonderhitTurnsItIntoATimedSearch) {
    Program program = start_program({});
    send(program, "position startpos moves e2e4 e7e5");
    send(program, "go ponder movetime 100");
    pause(400);
    EXPECT_TRUE(is_ready(program));
    EXPECT_EQ(count_lines(program, "bestmove"), 0) << "no time test while pondering";
    EXPECT_NE(ask(program, "ponderhit"), "");
    EXPECT_TRUE(is_ready(program));
    EXPECT_EQ(quit_program(program), 0);
    EXPECT_EQ(count_lines(program, "bestmove"), 1);
}

TEST_F(Pondering, TimeSpentPonderingCounts) {
    Program program = start_program({});
    send(program, "position startpos");
    double best = 1e9; // of three at most, so that a busy machine does not decide
    for (int attempt = 0; attempt < 3 && best >= 0.4; attempt++) {
        send(program, "go ponder movetime 400");
        pause(500);
        Clock::time_point start = Clock::now();
        EXPECT_NE(ask(program, "ponderhit"), "");
        best = std::min(best, std::chrono::duration<double>(Clock::now() - start).count());
    }
    EXPECT_LT(best, 0.4) << "the target was used up already";
    EXPECT_EQ(quit_program(program), 0);
}

TEST_F(Pondering, StopEndsIt) {
    Program program = start_program({});
    send(program, "position startpos");
    send(program, "go ponder wtime 60000 btime 60000");
    ASSERT_NE(wait_for(program, "info depth 5 ", 60000), "");
    EXPECT_NE(ask(program, "stop"), "");
    EXPECT_TRUE(is_ready(program));
    EXPECT_EQ(quit_program(program), 0);
    EXPECT_EQ(count_lines(program, "bestmove"), 1);
}

TEST_F(Pondering, StopAfterPonderhitGetsOneAnswer) {
    Program program = start_program({});
    send(program, "position startpos");
    send(program, "go ponder wtime 600000 btime 600000");
    ASSERT_NE(wait_for(program, "info depth 4 ", 60000), "");
    send(program, "ponderhit");
    EXPECT_NE(ask(program, "stop"), "");
    EXPECT_TRUE(is_ready(program));
    EXPECT_EQ(quit_program(program), 0);
    EXPECT_EQ(count_lines(program, "bestmove"), 1);
}

TEST_F(Pondering, ASearchThatEndsByItselfAnswersWithoutPonderhit) {
    Program program = start_program({});
    EXPECT_NE(ask(program, "position startpos\ngo ponder depth 4"), "");
    send(program, "ponderhit");
    EXPECT_TRUE(is_ready(program));
    EXPECT_NE(ask(program, "go ponder nodes 5000"), "");
    EXPECT_EQ(quit_program(program), 0);
    EXPECT_EQ(count_lines(program, "bestmove"), 2);
}

TEST_F(Pondering, AMissIsStoppedAndTheRealMoveSearched) {
    Program program = start_program({});
    send(program, "position startpos moves e2e4 e7e5");
    send(program, "go ponder wtime 60000 btime 60000");
    ASSERT_NE(wait_for(program, "info depth 4 ", 60000), "");
    EXPECT_NE(ask(program, "stop"), "");
    const std::string real = "position startpos moves e2e4 c7c5";
    std::string answer = ask(program, real + "\ngo depth 4");
    EXPECT_TRUE(is_legal_answer(real, answer)) << answer;
    EXPECT_EQ(quit_program(program), 0);
    EXPECT_EQ(count_lines(program, "bestmove"), 2);
}

TEST(LongUciProgram, ManySearchesWithStopsAtOddMoments) {
    Program program = start_program({});
    Random random = {3};
    constexpr int ROUNDS = 60;
    for (int i = 0; i < ROUNDS; i++) {
        send(program, i % 3 == 0 ? "go ponder wtime 60000 btime 60000" : "go infinite");
        std::this_thread::sleep_for(std::chrono::microseconds(random_below(random, 40000)));
        if (i % 3 == 0 && i % 2) send(program, "ponderhit");
        ASSERT_NE(ask(program, "stop"), "") << i;
    }
    EXPECT_TRUE(is_ready(program));
    EXPECT_EQ(quit_program(program), 0);
    EXPECT_EQ(count_lines(program, "bestmove"), ROUNDS);
}

TEST(LongUciProgram, AShortGameAgainstItself) {
    std::string moves;
    set_up(START_FEN);
    Program program = start_program({"-hash", "4"});
    send(program, "ucinewgame");
    for (int ply = 0; ply < 120; ply++) {
        std::string answer = ask(program, "position startpos moves" + moves
                                              + "\ngo wtime 1000 btime 1000 winc 10 binc 10");
        std::string move = word_after(answer, "bestmove");
        if (move == "null") break;
        Move found = find_move(game(), move);
        ASSERT_NE(found, NULL_MOVE) << moves << "\n" << answer;
        play(game(), move);
        moves += " " + move;
    }
    EXPECT_EQ(quit_program(program), 0);
}
