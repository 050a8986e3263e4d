// What happens when standard input closes, and what a closed output changes: nothing.

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include "shell_fixture.h"

namespace {

using Clock = std::chrono::steady_clock;

double seconds_since(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// Output of a program that hears these lines and then the end of its input.
std::vector<std::string> output_of(const std::vector<std::string>& arguments,
                                   const std::string& input) {
    int status = -1;
    Program program = run_with_input(arguments, input, &status, 60000);
    EXPECT_EQ(status, 0);
    return program.lines;
}

// Nobody reads what the program prints from here on.
void close_output(Program& program) {
    close(program.output);
    program.output = open(null_device(), O_RDONLY);
}

} // namespace

TEST(EndOfInput, ABoundedSearchIsFinished) {
    for (const char* go : {"go depth 7", "go nodes 30000", "go movetime 150",
                           "go wtime 2000 btime 2000", "go wtime 3000 btime 3000 movestogo 20"}) {
        std::vector<std::string> lines =
            output_of({}, std::string("position startpos\n") + go + "\n");
        EXPECT_EQ(count_lines(lines, "bestmove "), 1) << go;
        EXPECT_FALSE(has_line(lines, "bestmove null")) << go;
    }
}

TEST(EndOfInput, ADepthIsReachedAndANodeLimitUsedUp) {
    std::vector<std::string> lines = output_of({}, "position startpos\ngo depth 9\n");
    EXPECT_EQ(count_lines(lines, "info depth 9 "), count_lines(lines, "info depth 9"));
    EXPECT_GE(count_lines(lines, "info depth 9 "), 1) << joined(lines);

    lines = output_of({}, "position startpos\ngo nodes 50000\n");
    EXPECT_GE(number_after(lines.at(lines.size() - 2), "nodes"), 48000.0) << joined(lines);
}

TEST(EndOfInput, ATimedSearchKeepsItsTime) {
    std::vector<std::string> lines = output_of({}, "position startpos\ngo movetime 400\n");
    EXPECT_GE(number_after(lines.at(lines.size() - 2), "time"), 390.0) << joined(lines);
}

TEST(EndOfInput, AnUnboundedSearchIsStoppedAndAnswered) {
    for (const char* go : {"go infinite", "go ponder wtime 60000 btime 60000", "go ponder infinite",
                           "go movetime 100000000"}) {
        std::vector<std::string> lines =
            output_of({}, std::string("position startpos\n") + go + "\n");
        EXPECT_EQ(count_lines(lines, "bestmove "), 1) << go;
    }
}

TEST(EndOfInput, ASearchThatRunsForAWhileIsStopped) {
    Program program = start_program({});
    send(program, "go infinite");
    ASSERT_NE(wait_for(program, "info depth 5 ", 60000), "");
    close_input(program);
    EXPECT_EQ(wait_exit(program, 60000), 0);
    EXPECT_EQ(count_lines(program, "bestmove "), 1);
}

TEST(EndOfInput, APonderSearchIsStoppedWhateverItsLimits) {
    Program program = start_program({});
    send(program, "go ponder movetime 60000");
    ASSERT_NE(wait_for(program, "info depth 4 ", 60000), "");
    close_input(program);
    EXPECT_NE(wait_for(program, "bestmove ", 20000), "");
    EXPECT_EQ(wait_exit(program, 60000), 0);
}

TEST(EndOfInput, APonderHitSearchIsFinished) {
    Program program = start_program({});
    send(program, "go ponder depth 12");
    send(program, "ponderhit");
    close_input(program);
    EXPECT_NE(wait_for(program, "bestmove ", 60000), "");
    EXPECT_EQ(wait_exit(program, 60000), 0);
    EXPECT_GE(count_lines(program, "info depth 12 "), 1);
}

TEST(EndOfInput, LinesBeforeItAreAllHeard) {
    std::vector<std::string> lines =
        output_of({}, "uci\nisready\nposition startpos\ngo depth 6\nisready\nisready");
    EXPECT_EQ(count_lines(lines, "uciok"), 1);
    EXPECT_EQ(count_lines(lines, "readyok"), 3);
    EXPECT_EQ(count_lines(lines, "bestmove "), 1);
}

TEST(EndOfInput, AHeldPositionIsAnswered) {
    std::vector<std::string> lines =
        output_of({}, "position fen 8/8/8/8/8/8/8/8 w - -\ngo infinite\n");
    EXPECT_TRUE(has_line(lines, "bestmove null"));
}

TEST(EndOfInput, ConsoleModeEndsToo) {
    output_of({"-c"}, "");
    std::vector<std::string> lines = output_of({"-c"}, "new\ngo 5\n");
    EXPECT_EQ(count_lines(lines, "move= "), 1);
    lines = output_of({"-c"}, "new\ngo\n");
    EXPECT_EQ(count_lines(lines, "move= "), 1) << "an analysis without a limit is stopped";
}

TEST(EndOfInput, TheProgramIsGoneWithinASecond) {
    double best = 1e9; // of three, so that a busy machine does not decide
    for (int attempt = 0; attempt < 3; attempt++) {
        Program program = start_program({});
        ASSERT_TRUE(is_ready(program));
        Clock::time_point start = Clock::now();
        close_input(program);
        EXPECT_EQ(wait_exit(program, 60000), 0);
        best = std::min(best, seconds_since(start));
    }
    EXPECT_LT(best, 1.0);
}

TEST(EndOfInput, AnUnboundedSearchIsGoneWithinASecond) {
    double best = 1e9;
    for (int attempt = 0; attempt < 3; attempt++) {
        Program program = start_program({});
        send(program, "go infinite");
        ASSERT_NE(wait_for(program, "info depth 4 ", 60000), "");
        Clock::time_point start = Clock::now();
        close_input(program);
        EXPECT_EQ(wait_exit(program, 60000), 0);
        best = std::min(best, seconds_since(start));
    }
    EXPECT_LT(best, 1.0);
}

TEST(EndOfInput, WithoutAnyInputTheProgramJustEnds) {
    std::vector<std::string> lines = output_of({}, "");
    EXPECT_EQ(lines.size(), 4u) << joined(lines);
    output_of({"-log"}, "");
}

TEST(EndOfInput, ABatchRunGoesOnToItsEnd) {
    for (const char* mode : {"-bench", "-pbench"}) {
        std::vector<std::string> lines = output_of({mode, "-d", "5", "-use_hce"}, "");
        EXPECT_EQ(count_lines(lines, "pos "), 20) << mode;
        EXPECT_EQ(count_lines(lines, "total time= "), 1) << mode;
    }
}

TEST(ClosedOutput, ChangesNothing) {
    Program program = start_program({"-log"}, fresh_directory());
    ASSERT_TRUE(is_ready(program));
    close_output(program);
    for (const char* line : {"uci", "position startpos", "go depth 6", "isready"})
        send(program, line);
    send(program, "quit");
    EXPECT_EQ(wait_exit(program, 60000), 0);
}

TEST(ClosedOutput, TheLogGoesOn) {
    std::string directory = fresh_directory();
    Program program = start_program({"-log"}, directory);
    ASSERT_TRUE(is_ready(program));
    close_output(program);
    for (const char* line : {"uci", "go depth 5"}) send(program, line);
    close_input(program);
    EXPECT_EQ(wait_exit(program, 60000), 0);
    std::vector<std::string> log = read_lines(directory + "/mird.log");
    EXPECT_TRUE(has_line(log, "uciok"));
    EXPECT_EQ(count_lines(log, "bestmove "), 1);
}

TEST(ClosedOutput, BothEndsClosedEndTheProgram) {
    Program program = start_program({});
    send(program, "go infinite");
    ASSERT_NE(wait_for(program, "info depth 3 ", 60000), "");
    close_output(program);
    close_input(program);
    EXPECT_EQ(wait_exit(program, 60000), 0);
}

TEST(ClosedOutput, BothEndsClosedEndABoundedSearchToo) {
    for (const char* go : {"go movetime 60000", "go depth 60", "go wtime 9000000 btime 9000000"}) {
        Program program = start_program({});
        send(program, go);
        ASSERT_NE(wait_for(program, "info depth 3 ", 60000), "");
        close_output(program);
        close_input(program);
        EXPECT_EQ(wait_exit(program, 20000), 0) << go;
    }
}

TEST(ClosedOutput, BothEndsClosedEndPlayOfItsOwn) {
    Program program = start_program({"-c", "-t", "0.1"});
    send(program, "new");
    send(program, "self");
    ASSERT_NE(wait_for(program, "move= ", 60000), "");
    close_output(program);
    close_input(program);
    const Clock::time_point start = Clock::now();
    EXPECT_EQ(wait_exit(program, 60000), 0);
    EXPECT_LT(seconds_since(start), 5.0) << "a whole game takes longer";
}

TEST(ClosedOutput, BothEndsClosedEndABatchRunWithoutALimit) {
    const std::string directory = fresh_directory();
    std::ofstream(directory + "/suite.epd") << START_FEN << " bm e4;\n" << START_FEN << " bm e4;\n";
    Program program = start_program({"-anepd", "suite.epd"}, directory);
    ASSERT_NE(wait_for(program, "Analyzing", 60000), "");
    close_output(program);
    close_input(program);
    EXPECT_EQ(wait_exit(program, 20000), 0);
}

TEST(ClosedOutput, BothEndsClosedLeaveALimitedBatchRunToItsEnd) {
    const std::string directory = fresh_directory();
    std::ofstream suite(directory + "/suite.epd");
    for (int i = 0; i < 20; i++) suite << START_FEN << " bm e4;\n";
    suite.close();
    for (const std::vector<std::string>& limit :
         {std::vector<std::string>{"-d", "9"}, std::vector<std::string>{"-n", "20000"}}) {
        std::vector<std::string> arguments = {"-anepd", "suite.epd", "-o", "out.epd"};
        arguments.insert(arguments.end(), limit.begin(), limit.end());
        Program program = start_program(arguments, directory);
        close_output(program);
        close_input(program);
        EXPECT_EQ(wait_exit(program, 60000), 0);
        EXPECT_EQ(read_lines(directory + "/out.epd").size(), 20u) << limit[0];
        std::filesystem::remove(directory + "/out.epd");
    }
}

TEST(ClosedOutput, ABatchRunGoesOnToItsEnd) {
    Program program = start_program({"-bench", "-d", "5", "-use_hce"});
    close_output(program);
    EXPECT_EQ(wait_exit(program, 60000), 0);
}

TEST(Idle, WaitingCostsNoProcessorTime) {
    Program program = start_program({});
    ASSERT_TRUE(is_ready(program));
    double before = processor_seconds(program);
    std::this_thread::sleep_for(std::chrono::milliseconds(700));
    EXPECT_LT(processor_seconds(program) - before, 0.1);
    EXPECT_EQ(quit_program(program), 0);
}

TEST(Idle, AHalfLineDoesNotMakeTheProgramSpin) {
    Program program = start_program({});
    ASSERT_TRUE(is_ready(program));
    send_bytes(program, "isrea");
    double before = processor_seconds(program);
    std::this_thread::sleep_for(std::chrono::milliseconds(600));
    EXPECT_LT(processor_seconds(program) - before, 0.1);
    send_bytes(program, "dy\n");
    EXPECT_NE(wait_for(program, "readyok", 60000), "");
    EXPECT_EQ(quit_program(program), 0);
}
