// Faults by force, in the real program: services of the system that fail when it comes to it,
// signals in each state, clocks that jump, a reader that takes its time.
//
// What fails is chosen by a library that is loaded in front of the system's, see
// Tests/faults/faults.cpp; where it is not built, those tests leave themselves out.

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "shell_fixture.h"
#include "support.h"
#include "tb_support.h"

namespace {

constexpr char GAMES[] = "[Result \"1-0\"]\n1. e4 e5 2. Nf3 Nc6 3. Bb5 a6 1-0\n\n";
constexpr char POSITIONS[] = "4k3/8/8/8/8/8/8/4K2R w K - ce 500; gr 1.0;\n"
                             "r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R w KQkq - ce 3;\n";

// A working directory with something to read for each job.
std::string directory_with_files() {
    std::string directory = fresh_directory();
    std::ofstream games(directory + "/games.pgn");
    for (int i = 0; i < 200; i++) games << GAMES; // some ten thousand characters
    std::ofstream positions(directory + "/test.epd");
    for (int i = 0; i < 3; i++) positions << POSITIONS;
    std::ofstream(directory + "/params.txt") << "fset(\"mtl_pawn\", 90, 110)\n";
    std::ofstream(directory + "/test.cfg") << "MultiPV = 2\nContempt = 10\n";
    std::ofstream book(directory + "/book.bin", std::ios::binary);
    for (int i = 0; i < 500; i++) book << std::string("\0\0\0\0\0\0\0\1\3\34\0\1\0\0\0\0", 16);
    return directory;
}

struct FaultRun {
    int status;    // as wait_exit tells it
    bool happened; // the fault
    Program program;
};

// The library that makes things fail, which stands beside the tests where it is built.
std::string faults_library() {
    std::error_code ignored;
    auto tests = std::filesystem::read_symlink("/proc/self/exe", ignored);
    auto library = tests.parent_path() / "mird_faults.so";
    return std::filesystem::exists(library, ignored) ? library.string() : "";
}

// Starts the program with a fault in `directory`.
Program start_with_fault(const std::string& fault, const std::vector<std::string>& arguments,
                         const std::string& directory) {
    setenv("LD_PRELOAD", faults_library().c_str(), 1);
    setenv("MIRD_FAULT", fault.c_str(), 1);
    Program program = start_program(arguments, directory);
    unsetenv("LD_PRELOAD");
    unsetenv("MIRD_FAULT");
    return program;
}

FaultRun run_with_fault(const std::string& fault, const std::vector<std::string>& arguments,
                        const std::string& input, const std::string& directory) {
    constexpr int PATIENCE_MS = 20000;

    const std::string mark = directory + "/fault-happened";
    unlink(mark.c_str());
    FaultRun run = {0, false, start_with_fault(fault, arguments, directory)};
    send_bytes(run.program, input);
    close_input(run.program);
    run.status = wait_exit(run.program, PATIENCE_MS);
    run.happened = access(mark.c_str(), F_OK) == 0;
    return run;
}

class Faults : public testing::Test {
protected:
    void SetUp() override {
        if (faults_library().empty()) GTEST_SKIP() << "the library of faults is not built here";
    }
};

// A session that comes by most of what takes memory, starts threads and reads files.
std::string busy_session() {
    return "setoption name SyzygyPath value " + own_tables()
         + "\nsetoption name Threads value 3\nsetoption name Hash value 2\n"
           "setoption name OwnBook value true\nsetoption name OwnBook_File value book.bin\n"
           "position fen 8/8/8/8/8/1k6/8/K6Q w - -\ngo depth 3\n";
}

struct Job {
    const char* name; // becomes part of the test's name
    std::vector<std::string> arguments;
};

const Job JOBS[] = {
    {"Book", {"-mkbook", "games.pgn", "-hash", "1"}},
    {"Scan", {"-scan_pgn2", "games.pgn", "-hash", "1"}},
    {"Suite", {"-anepd", "test.epd", "-d", "2", "-hash", "1", "-cfg", "test.cfg"}},
    {"Tuning", {"-mktune1", "test.epd", "-d", "2", "-hash", "1"}},
    {"Bench", {"-bench", "-d", "1", "-hash", "1"}},
};

class FaultyJob : public Faults, public testing::WithParamInterface<Job> {};

} // namespace

// Whatever call for memory fails, the program goes on or ends by itself.
TEST_F(Faults, NoCallForMemoryBringsASessionDown) {
    const std::string directory = directory_with_files();
    for (int n = 1;; n++) {
        ASSERT_LT(n, 500) << "more calls for memory than a session should need";
        FaultRun run = run_with_fault("memory " + std::to_string(n), {"-hash", "1"}, busy_session(),
                                      directory);
        ASSERT_GE(run.status, 0) << "call " << n << "\n" << joined(run.program.lines);
        if (run.status == 0) {
            EXPECT_EQ(count_lines(run.program, "bestmove "), 1) << "call " << n;
            EXPECT_EQ(count_lines(run.program, "bestmove null"), 0) << "call " << n;
        }
        if (!run.happened) break;
    }
}

TEST_P(FaultyJob, SurvivesAnyCallForMemoryThatFails) {
    const std::string directory = directory_with_files();
    for (int n : {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 14, 16, 20, 25, 40}) {
        FaultRun run =
            run_with_fault("memory " + std::to_string(n), GetParam().arguments, "", directory);
        ASSERT_GE(run.status, 0) << "call " << n << "\n" << joined(run.program.lines);
        if (!run.happened) break;
    }
}

// A job whose input fails in the middle says so; the benchmark has none but settings.
TEST_P(FaultyJob, EndsWhereItsInputCantBeRead) {
    const std::string directory = directory_with_files();
    for (int bytes : {0, 1, 100, 4096}) {
        FaultRun run =
            run_with_fault("read " + std::to_string(bytes), GetParam().arguments, "", directory);
        const int expected = run.happened && GetParam().arguments[0] != "-bench";
        EXPECT_EQ(run.status, expected) << "behind byte " << bytes;
    }
}

INSTANTIATE_TEST_SUITE_P(All, FaultyJob, testing::ValuesIn(JOBS),
                         [](const auto& test) { return test.param.name; });

TEST_F(Faults, NoThreadThatCantStartBringsASessionDown) {
    constexpr int NO_THREAD = 255; // what is left of -1

    const std::string directory = directory_with_files();
    for (int n = 1;; n++) {
        ASSERT_LT(n, 100);
        FaultRun run = run_with_fault("thread " + std::to_string(n), {"-hash", "1"}, busy_session(),
                                      directory);
        ASSERT_GE(run.status, 0) << "thread " << n << "\n" << joined(run.program.lines);
        EXPECT_EQ(run.status, run.happened ? NO_THREAD : 0) << "thread " << n;
        if (!run.happened) break;
    }
}

TEST_F(Faults, SessionsSurviveFilesThatCantBeReadToTheirEnd) {
    const std::string directory = directory_with_files();
    for (int bytes : {0, 1, 100, 4096}) {
        FaultRun run = run_with_fault("read " + std::to_string(bytes), {"-hash", "1"},
                                      "setoption name ConfigFilePath value test.cfg\n"
                                      "setoption name OwnBook value true\n"
                                      "setoption name OwnBook_File value book.bin\n"
                                      "position startpos\ngo depth 2\n",
                                      directory);
        EXPECT_EQ(run.status, 0) << "behind byte " << bytes;
        EXPECT_EQ(count_lines(run.program, "bestmove"), 1) << joined(run.program.lines);
    }
}

TEST_F(Faults, ANetworkThatCantBeReadToItsEndIsNotUsed) {
    for (const bool strict : {false, true}) {
        FaultRun run = run_with_fault("read 4096", {"-hash", "1", strict ? "-strict" : "-uci"},
                                      "setoption name NN_File value new\n"
                                      "setoption name NN_File value nn.bin\ngo depth 2\n",
                                      fresh_directory());
        EXPECT_EQ(run.status, 0) << strict;
        EXPECT_TRUE(run.happened);
        EXPECT_EQ(count_lines(run.program, "info string created new NN"), 1);
        EXPECT_EQ(count_lines(run.program, "info string loaded"), 0) << strict;
        EXPECT_EQ(count_lines(run.program, "bestmove"), 1) << joined(run.program.lines);
    }
}

// --- Clocks -----------------------------------------------------------------------------------

// A machine that slept, for example: the time is up, and the answer comes.
TEST_F(Faults, AClockThatJumpsAheadEndsTheThink) {
    const std::string directory = directory_with_files();
    for (int n : {30, 60, 100}) {
        FaultRun run = run_with_fault("ahead " + std::to_string(n), {"-hash", "1"},
                                      "position startpos\ngo wtime 30000 btime 30000\n", directory);
        EXPECT_TRUE(run.happened) << n;
        EXPECT_EQ(run.status, 0) << n;
        EXPECT_EQ(count_lines(run.program, "bestmove"), 1) << joined(run.program.lines);
    }
}

TEST_F(Faults, TheTimeOfDayMayBeSetBack) {
    const std::string directory = directory_with_files();
    FaultRun run =
        run_with_fault("wall 1", {"-hash", "1"}, "position startpos\ngo movetime 100\n", directory);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(count_lines(run.program, "bestmove"), 1) << joined(run.program.lines);
}

// --- Signals ----------------------------------------------------------------------------------

namespace {

// Something that the program may be at, and the line that ends it with an answer.
struct State {
    const char* name; // becomes part of the test's name
    std::vector<std::string> arguments;
    std::vector<std::string> input;
    const char* last_line;
    const char* answer; // what the answer begins with
};

const State STATES[] = {
    {"Idle", {"-hash", "1"}, {}, "isready", "readyok"},
    {"Thinking",
     {"-hash", "1"},
     {"position startpos", "go wtime 60000 btime 60000"},
     "stop",
     "bestmove"},
    {"Pondering",
     {"-hash", "1"},
     {"position startpos moves e2e4", "go ponder wtime 60000 btime 60000"},
     "stop",
     "bestmove"},
    {"Analysing",
     {"-hash", "1", "-threads", "3"},
     {"position startpos", "go infinite"},
     "stop",
     "bestmove"},
    {"Console", {"-c", "-hash", "1"}, {"go"}, ".", "move="},
    {"Batch", {"-anepd", "test.epd", "-hash", "1"}, {}, "quit", "score="},
};

class Signals : public testing::TestWithParam<State> {
protected:
    void SetUp() override {
        constexpr int PATIENCE_MS = 20000;
        program = start_program(GetParam().arguments, directory_with_files());
        const bool batch = GetParam().arguments[0] == "-anepd";
        wait_for(program, batch ? "Analyzing" : "info string et=", PATIENCE_MS);
        for (const std::string& line : GetParam().input) send(program, line);
        usleep(50000); // the search runs
    }

    Program program;
};

} // namespace

TEST_P(Signals, StoppedAndContinuedItGoesOn) {
    constexpr int PATIENCE_MS = 20000, SLEEP_US = 60000;
    for (int i = 0; i < 2; i++) {
        ASSERT_EQ(kill(program.pid, SIGSTOP), 0);
        usleep(SLEEP_US);
        ASSERT_EQ(kill(program.pid, SIGCONT), 0);
        usleep(SLEEP_US / 4);
    }
    send(program, GetParam().last_line);
    EXPECT_NE(wait_for(program, GetParam().answer, PATIENCE_MS), "") << joined(program.lines);
    EXPECT_EQ(quit_program(program), 0);
    EXPECT_EQ(count_lines(program, GetParam().answer), 1) << joined(program.lines);
}

TEST_P(Signals, ASignalToEndEndsItAtOnce) {
    constexpr int PATIENCE_MS = 5000, BY_A_SIGNAL = -1;
    kill(program.pid, SIGTERM);
    EXPECT_EQ(wait_exit(program, PATIENCE_MS), BY_A_SIGNAL);
}

TEST_P(Signals, ATerminalThatGoesAwayEndsItAtOnce) {
    constexpr int PATIENCE_MS = 5000, BY_A_SIGNAL = -1;
    kill(program.pid, SIGHUP);
    EXPECT_EQ(wait_exit(program, PATIENCE_MS), BY_A_SIGNAL);
}

INSTANTIATE_TEST_SUITE_P(All, Signals, testing::ValuesIn(STATES),
                         [](const auto& test) { return test.param.name; });

// --- A slow reader ----------------------------------------------------------------------------

TEST(SlowReader, GetsWholeLinesAndOneAnswer) {
    constexpr int PIPE_BYTES = 4096, PIECE = 512, PAUSE_US = 2000;

    Program program = start_program({"-hash", "1", "-threads", "2", "-noise", "0"});
    fcntl(program.output, F_SETPIPE_SZ, PIPE_BYTES);
    for (const char* line : {"setoption name MultiPV value 20", "position startpos", "go depth 5"})
        send(program, line);
    close_input(program);
    std::string text;
    char piece[PIECE];
    for (ssize_t count; (count = read(program.output, piece, sizeof piece)) > 0;) {
        text.append(piece, static_cast<size_t>(count));
        usleep(PAUSE_US);
    }
    EXPECT_EQ(wait_exit(program), 0);

    std::vector<std::string> lines = split_text(text);
    EXPECT_EQ(count_lines(lines, "bestmove "), 1);
    EXPECT_EQ(count_lines(lines, "info ") + 1, static_cast<int>(lines.size())) << text;
    EXPECT_GT(lines.size(), 60u) << "there was not much to read";
}
