// Output: Print, the log and its opening.

#include "base/print.h"

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <thread>

#include <unistd.h>

#include "base/files.h"
#include "base/lock.h"
#include "base/platform.h"
#include "shell_fixture.h"

namespace {

class Printing : public ShellTest {};

// Speaks to a program that is started in `directory`, then ends it.
Program talk(const std::vector<std::string>& arguments, const std::string& directory,
             const std::vector<std::string>& input) {
    Program program = start_program(arguments, directory);
    for (const std::string& line : input) send(program, line);
    EXPECT_TRUE(is_ready(program));
    EXPECT_EQ(quit_program(program), 0);
    return program;
}

std::vector<std::string> log_of(const std::string& directory) {
    return read_lines(directory + "/mird.log");
}

} // namespace

TEST_F(Printing, ALineGoesOutWithItsNewline) {
    EXPECT_EQ(joined(printed_by([] { Print("one line"); })), "one line\n");
    EXPECT_EQ(joined(printed_by([] { Print("100% %s %n"); })), "100% %s %n\n");
}

TEST_F(Printing, AnEmptyTextIsAnEmptyLine) {
    EXPECT_EQ(printed_by([] {
                  Print("");
                  Print("end");
              }),
              (std::vector<std::string>{"", "end"}));
}

TEST_F(Printing, TheLogHasTheSameLinesWhileItIsOn) {
    MemoryLog log;
    active_personality.Log = 1;
    printed_by([] {
        Print("first");
        Print("");
        PrintFormat("second %d", 2);
    });
    active_personality.Log = 0;
    printed_by([] { Print("third"); });
    EXPECT_EQ(joined(log.lines()), "first\n\nsecond 2\n");
}

TEST_F(Printing, LogLinesAreNotPrinted) {
    MemoryLog log;
    active_personality.Log = 1;
    EXPECT_EQ(joined(printed_by([] { log_line("CMD: %s", "go"); })), "");
    active_personality.Log = 0;
    log_line("CMD: %s", "stop");
    EXPECT_EQ(joined(log.lines()), "CMD: go\n");
}

TEST_F(Printing, WithoutAnOpenLogNothingIsLogged) {
    ASSERT_EQ(log_file, nullptr);
    active_personality.Log = 1;
    EXPECT_EQ(joined(printed_by([] {
                  log_line("nowhere");
                  Print("somewhere");
              })),
              "somewhere\n");
}

TEST_F(Printing, ALogThatFailsIsToldOnceAndLinesStillGoOut) {
    log_file = fopen("/dev/full", "w");
    if (!log_file) GTEST_SKIP() << "no device that is always full";
    active_personality.Log = 1;
    testing::internal::CaptureStderr();
    EXPECT_EQ(joined(printed_by([] {
                  log_line("first");
                  Print("second");
                  Print("third");
              })),
              "second\nthird\n");
    close_log();
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Can't write 'mird.log': No space left on device\n");
    EXPECT_EQ(log_file, nullptr);
    EXPECT_TRUE(file_failed);
}

TEST_F(Printing, VeryLongTextsAreCut) {
    std::string text(20000, 'x');
    std::vector<std::string> lines = printed_by([&] { PrintFormat("%s", text.c_str()); });
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].size(), 8191u);
}

TEST_F(Printing, LinesOfDifferentThreadsNeverMixAndTheLogHasTheirOrder) {
    constexpr int THREADS = 4, LINES = 500;
    MemoryLog log;
    active_personality.Log = 1;
    std::vector<std::string> lines = printed_by([] {
        std::vector<std::thread> threads;
        for (int number = 0; number < THREADS; number++)
            threads.emplace_back([number] {
                std::string text(200, static_cast<char>('a' + number));
                for (int i = 0; i < LINES; i++) Print(text.c_str());
            });
        for (std::thread& thread : threads) thread.join();
    });

    ASSERT_EQ(lines.size(), static_cast<size_t>(THREADS * LINES));
    for (const std::string& line : lines) ASSERT_EQ(line, std::string(200, line[0]));
    EXPECT_EQ(log.lines(), lines);
}

TEST_F(Printing, LinesOfTheLogAloneAreWholeToo) {
    constexpr int LINES = 20000;
    MemoryLog log;
    active_personality.Log = 1;
    printed_by([] {
        std::thread other([] {
            for (int i = 0; i < LINES; i++) Print("of a search");
        });
        for (int i = 0; i < LINES; i++) log_line("CMD: %s", "isready");
        other.join();
    });
    const std::vector<std::string> lines = log.lines();
    EXPECT_EQ(lines.size(), 2u * LINES);
    for (const std::string& line : lines)
        ASSERT_TRUE(line == "CMD: isready" || line == "of a search") << line;
}

TEST_F(Printing, WhoWaitsForALongLineRests) {
    constexpr int HELD_MS = 600;
    lock(print_lock);
    double used = 1e9;
    std::thread waiting([&used] {
        lock(print_lock);
        timespec time = {}; // of this thread, which has done nothing else
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        used = static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
        unlock(print_lock);
    });
    sleep_ms(HELD_MS);
    unlock(print_lock);
    waiting.join();
    EXPECT_LT(used, HELD_MS * 0.001 / 3);
}

TEST(EndProcess, TakesNothingDownButPrintsWhatWasPrinted) {
    auto end = [] {
        atexit([] { fputs("taken down", stderr); });
        dup2(STDERR_FILENO, STDOUT_FILENO);
        fputs("printed", stdout);
        end_process(7);
    };
    EXPECT_EXIT(end(), testing::ExitedWithCode(7), "^printed$");
}

TEST(EndProcess, LeavesNoOutputUnfinished) {
    const std::string directory = fresh_directory(), name = directory + "/out";
    auto end = [&name] {
        OutputFile file;
        if (open_output(file, name.c_str())) end_process(7);
    };
    EXPECT_EXIT(end(), testing::ExitedWithCode(7), "");
    EXPECT_TRUE(std::filesystem::is_empty(directory));
}

TEST(Log, IsNotWrittenUnlessAskedFor) {
    std::string directory = fresh_directory();
    talk({}, directory, {"uci", "position startpos", "go depth 2"});
    EXPECT_TRUE(std::filesystem::is_empty(directory));
}

TEST(Log, OpensBehindTheFirstLinesOfTheRun) {
    std::string directory = fresh_directory();
    Program program = talk({"-log"}, directory, {"uci"});
    EXPECT_EQ(program.lines.at(0), "info string Hello from Mird 5.50");
    EXPECT_EQ(program.lines.at(1), "info string allocated 64 Mbytes for hash table");

    std::vector<std::string> log = log_of(directory);
    EXPECT_EQ(count_lines(log, "info string Hello"), 0);
    EXPECT_EQ(count_lines(log, "info string allocated"), 0);
    EXPECT_EQ(count_lines(log, "info string et="), 1);
    EXPECT_TRUE(has_line(log, "CMD: uci"));
    EXPECT_TRUE(has_line(log, "id name Mird 5.50"));
    EXPECT_TRUE(has_line(log, "CMD: isready"));
    EXPECT_TRUE(has_line(log, "readyok"));
    EXPECT_TRUE(has_line(log, "CMD: quit"));
}

TEST(Log, EachRunBeginsANewOne) {
    std::string directory = fresh_directory();
    std::ofstream(directory + "/mird.log") << "old text\n";
    talk({"-log"}, directory, {});
    EXPECT_FALSE(has_line(log_of(directory), "old text"));
    EXPECT_TRUE(has_line(log_of(directory), "CMD: isready"));
}

TEST(Log, TurningItOnIsNotInTheLogItself) {
    std::string directory = fresh_directory();
    Program program = talk({}, directory, {"xyzzy", "setoption name Log value true", "uci"});
    EXPECT_TRUE(has_line(program.lines, "info string Log set to 1"));
    std::vector<std::string> log = log_of(directory);
    ASSERT_FALSE(log.empty());
    EXPECT_EQ(log[0], "CMD: uci");
}

TEST(Log, OffAndOnAgainAppendsToTheSameFile) {
    std::string directory = fresh_directory();
    talk({"-log"}, directory,
         {"first", "setoption name Log value false", "second", "setoption name Log value true",
          "third"});
    std::vector<std::string> log = log_of(directory);
    EXPECT_TRUE(has_line(log, "CMD: first"));
    EXPECT_TRUE(has_line(log, "info string Log set to 0")) << "the report comes before the change";
    EXPECT_FALSE(has_line(log, "CMD: second"));
    EXPECT_TRUE(has_line(log, "CMD: third"));
}

TEST(Log, AFileThatCantBeDeletedSwitchesItOff) {
    std::string directory = fresh_directory();
    std::filesystem::create_directories(directory + "/mird.log/full");
    Program program = talk({"-log"}, directory, {"uci"});
    EXPECT_TRUE(has_line(program.lines, "log file in use."));
    EXPECT_TRUE(has_line(program.lines, "option name Log type check default false"));

    program = talk({}, directory, {"setoption name Log value true", "uci"});
    EXPECT_TRUE(has_line(program.lines, "info string Log set to 1"));
    EXPECT_TRUE(has_line(program.lines, "log file in use."));
    EXPECT_TRUE(has_line(program.lines, "option name Log type check default false"));
    std::filesystem::remove(directory + "/mird.log/full");
    program = talk({"-log"}, directory, {"uci"});
    EXPECT_TRUE(has_line(program.lines, "log file in use.")) << "nor is an empty directory deleted";
    EXPECT_TRUE(std::filesystem::is_directory(directory + "/mird.log"));
}

TEST(Log, AFileThatCantBeOpenedIsPassedOverInSilence) {
    std::string directory = fresh_directory();
    // A link that leads nowhere: not there to be deleted, and not to be made.
    if (!make_link(directory + "/none/mird.log", directory + "/mird.log"))
        GTEST_SKIP() << "no links here";
    Program program = talk({"-log"}, directory, {"uci"});
    EXPECT_FALSE(has_line(program.lines, "log file in use."));
    EXPECT_TRUE(has_line(program.lines, "option name Log type check default true"));
}

TEST(Log, HoldsThinkLinesThatAreNotPrinted) {
    std::string directory = fresh_directory();
    Program program = start_program({"-log"}, directory);
    send(program, "position startpos moves e2e4");
    send(program, "go depth 3");
    std::string best = wait_for(program, "bestmove", 60000);
    ASSERT_NE(best, "");
    EXPECT_EQ(quit_program(program), 0);

    std::vector<std::string> log = log_of(directory);
    EXPECT_TRUE(has_line(log, "CMD: position startpos moves e2e4"));
    EXPECT_TRUE(has_line(log, "CMD: go depth 3"));
    EXPECT_EQ(count_lines(log, "info string fen rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b"),
              1);
    EXPECT_TRUE(has_line(log, "info string ply= 1, trg_time= 10000000.000 sec"));
    EXPECT_TRUE(has_line(log, best));
    EXPECT_EQ(count_lines(program, "info string fen"), 0);
    EXPECT_EQ(count_lines(program, "info string ply="), 0);
    for (const std::string& line : program.lines)
        if (line.compare(0, 11, "info depth ") == 0) {
            EXPECT_TRUE(has_line(log, line)) << line;
        }
}

TEST(Quiet, KeepsBestmoveAndMessagesAndDropsSearchLines) {
    std::string directory = fresh_directory();
    Program program = start_program({"-quiet", "-log"}, directory);
    send(program, "setoption name Contempt value 1");
    send(program, "go depth 4");
    EXPECT_NE(wait_for(program, "bestmove ", 60000), "");
    EXPECT_EQ(quit_program(program), 0);

    EXPECT_EQ(count_lines(program, "info depth"), 0);
    EXPECT_TRUE(has_line(program.lines, "info string Contempt set to 1"));
    EXPECT_EQ(count_lines(program, "info string et="), 1);
    EXPECT_EQ(count_lines(log_of(directory), "info string fen"), 0) << "nor the think lines";
    EXPECT_EQ(count_lines(log_of(directory), "info string ply="), 0);
}

TEST(Quiet, BeforeLogLeavesNoLog) {
    std::string directory = fresh_directory();
    talk({"-log", "-quiet"}, directory, {"uci"});
    EXPECT_FALSE(std::filesystem::exists(directory + "/mird.log"));
}

TEST(Noise, HoldsSearchLinesBackUntilItsSecondsHavePassed) {
    Program program = start_program({"-noise", "0.3"});
    send(program, "go movetime 600");
    ASSERT_NE(wait_for(program, "bestmove ", 60000), "");
    EXPECT_EQ(quit_program(program), 0);
    int lines = 0;
    for (const std::string& line : program.lines) {
        if (line.compare(0, 11, "info depth ") != 0) continue;
        EXPECT_GE(number_after(line, "time"), 300.0) << line;
        lines++;
    }
    EXPECT_GE(lines, 1) << "the final line comes in any case";
}

TEST(Noise, AShortThinkShowsItsFinalLineOnly) {
    Program program = start_program({"-noise", "1000"});
    send(program, "go depth 6");
    ASSERT_NE(wait_for(program, "bestmove ", 60000), "");
    EXPECT_EQ(quit_program(program), 0);
    EXPECT_EQ(count_lines(program, "info depth "), 1);
    EXPECT_EQ(count_lines(program, "info depth 6 "), 1);
}
