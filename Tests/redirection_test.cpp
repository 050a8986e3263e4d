// Standard streams as a shell of POSIX gives them: closed from the start, a file, a full disk.

#include <chrono>
#include <cstdio>
#include <fstream>

#include <gtest/gtest.h>

#include "shell_fixture.h"

namespace {

struct ShellRun {
    std::vector<std::string> lines;
    int status; // -1 if a signal ended it
};

// Lets a shell run the program with these words behind its name.
ShellRun run_by_shell(const std::string& words) {
    const std::string command = std::string("'") + MIRD_BINARY + "' " + words;
    FILE* pipe = popen(command.c_str(), "r");
    EXPECT_NE(pipe, nullptr);
    std::string text;
    for (int c; (c = fgetc(pipe)) != EOF;) text += static_cast<char>(c);
    const int status = pclose(pipe);
    return {split_text(text), WIFEXITED(status) ? WEXITSTATUS(status) : -1};
}

} // namespace

TEST(Redirection, AnInputThatIsClosedFromTheStartIsAtItsEnd) {
    EXPECT_EQ(run_by_shell("<&-").status, 0);
    ShellRun batch = run_by_shell("-bench -d 5 -use_hce <&-");
    EXPECT_EQ(batch.status, 0);
    EXPECT_EQ(count_lines(batch.lines, "total time= "), 1);
}

TEST(Redirection, AFileAsInputIsReadToItsEnd) {
    const std::string path = fresh_directory() + "/commands";
    std::ofstream(path) << "uci\nposition startpos\ngo depth 5\nisready\n";
    ShellRun run = run_by_shell("< '" + path + "'");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(count_lines(run.lines, "readyok"), 1);
    EXPECT_EQ(count_lines(run.lines, "bestmove "), 1);
}

TEST(Redirection, NoFileTakesThePlaceOfAnOutputThatIsClosedFromTheStart) {
    const std::string directory = fresh_directory();
    const std::string command = "cd '" + directory + "' && '" + MIRD_BINARY + "' -log >&-";
    FILE* pipe = popen(command.c_str(), "w");
    ASSERT_NE(pipe, nullptr);
    fputs("isready\n", pipe);
    EXPECT_EQ(pclose(pipe), 0);
    const std::vector<std::string> log = read_lines(directory + "/mird.log");
    EXPECT_EQ(count_lines(log, "CMD: isready"), 1);
    EXPECT_EQ(count_lines(log, "readyok"), 1) << "what is printed goes nowhere else";
}

TEST(Redirection, AFullDiskIsAClosedOutput) {
    const std::string command = std::string("'") + MIRD_BINARY + "' > /dev/full";
    const auto start = std::chrono::steady_clock::now();
    FILE* pipe = popen(command.c_str(), "w");
    ASSERT_NE(pipe, nullptr);
    fputs("go movetime 60000\n", pipe);
    EXPECT_EQ(pclose(pipe), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}
