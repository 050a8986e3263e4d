// Lines from standard input, through the real program.

#include <chrono>
#include <thread>

#include "shell_fixture.h"

namespace {

// Number of "readyok" that the program gives to these bytes before its input ends.
int answers_to(const std::string& bytes) {
    int status = -1;
    Program program = run_with_input({}, bytes, &status, 60000);
    EXPECT_EQ(status, 0);
    return count_lines(program, "readyok");
}

} // namespace

TEST(Input, LinesOfOneWriteAreAllHeard) {
    EXPECT_EQ(answers_to("isready\nisready\n"), 2);
    std::string many;
    for (int i = 0; i < 3000; i++) many += "isready\n";
    EXPECT_EQ(answers_to(many), 3000) << "more than fits into the buffers at once";
}

TEST(Input, ALineOverTwoWritesIsJoined) {
    Program program = start_program({});
    ASSERT_TRUE(is_ready(program));
    send_bytes(program, "isr");
    std::this_thread::sleep_for(std::chrono::milliseconds(60));
    send_bytes(program, "eady");
    std::this_thread::sleep_for(std::chrono::milliseconds(60));
    EXPECT_EQ(count_lines(program, "readyok"), 1);
    send_bytes(program, "\nisre");
    EXPECT_NE(wait_for(program, "readyok", 60000), "");
    send_bytes(program, "ady\n");
    EXPECT_NE(wait_for(program, "readyok", 60000), "");
    EXPECT_EQ(quit_program(program), 0);
    EXPECT_EQ(count_lines(program, "readyok"), 3);
}

TEST(Input, SingleBytesMakeALine) {
    Program program = start_program({});
    for (char c : std::string("isready\n")) {
        send_bytes(program, std::string(1, c));
        std::this_thread::sleep_for(std::chrono::milliseconds(3));
    }
    EXPECT_NE(wait_for(program, "readyok", 60000), "");
    EXPECT_EQ(quit_program(program), 0);
}

TEST(Input, TheLineMarkSplitsALine) {
    EXPECT_EQ(answers_to("isready@isready\n"), 2);
    EXPECT_EQ(answers_to("@@isready@@@isready@\n"), 2);
    EXPECT_EQ(answers_to("xyzzy@isready\n"), 1);
}

TEST(Input, ANulEndsALine) {
    EXPECT_EQ(answers_to(std::string("isready\0isready\0", 16)), 2);
    EXPECT_EQ(answers_to(std::string("\0\0\0isready\n\0", 12)), 1);
}

TEST(Input, ACarriageReturnEndsTheTextOfALine) {
    EXPECT_EQ(answers_to("isready\r\nisready\r\n"), 2);
    EXPECT_EQ(answers_to("isready\rjunk\n"), 1);
    EXPECT_EQ(answers_to("\risready\n"), 0);
    EXPECT_EQ(answers_to("\r\n\r\nisready\r\n"), 1);
}

TEST(Input, EmptyLinesAreDropped) {
    EXPECT_EQ(answers_to("\n\n\n   \n\nisready\n\n"), 1);
    EXPECT_EQ(answers_to(std::string(20000, '\n') + "isready\n"), 1);
}

TEST(Input, ALineOfAHundredThousandCharactersIsCutAndTheNextIsHeard) {
    EXPECT_EQ(answers_to(std::string(100000, 'x') + "\nisready\n"), 1);
    EXPECT_EQ(answers_to(std::string(100000, ' ') + "isready\nisready\n"), 1)
        << "what lies behind the limit is dropped";
    EXPECT_EQ(answers_to("isready " + std::string(100000, 'x') + "\nisready\n"), 2);
    EXPECT_EQ(
        answers_to("setoption name OwnBook_File value " + std::string(100000, 'x') + "\nisready\n"),
        1);
}

TEST(Input, LinesAboutTheLimitAreHarmless) {
    for (size_t length : {4980, 4990, 4991, 4992, 4993, 4998, 4999, 5000, 5001, 9984, 9998})
        EXPECT_EQ(answers_to(std::string(length, 'x') + "\nisready\n"), 1) << length;
}

TEST(Input, ALastLineNeedsNoNewline) {
    EXPECT_EQ(answers_to("isready"), 1);
    EXPECT_EQ(answers_to("isready\nisready"), 2);
    EXPECT_EQ(answers_to("xyzzy@isready"), 1);
    EXPECT_EQ(answers_to("isready\r"), 1);
}

TEST(Input, NoiseIsHarmless) {
    Random random = {11};
    std::string noise;
    for (int i = 0; i < 50000; i++) noise += static_cast<char>(random_below(random, 256));
    EXPECT_GE(answers_to(noise + "\nisready\n"), 1);
}

TEST(Input, StopInTheSameWriteAsGoEndsTheSearch) {
    Program program = start_program({});
    send_bytes(program, "position startpos\ngo infinite\nstop\n");
    EXPECT_NE(wait_for(program, "bestmove ", 60000), "");
    EXPECT_TRUE(is_ready(program));
    EXPECT_EQ(quit_program(program), 0);
    EXPECT_EQ(count_lines(program, "bestmove"), 1);
}

TEST(Input, ConsoleModeKnowsNoProtocolUntilItHearsUci) {
    int status = -1;
    Program program = run_with_input({"-c"}, "isready\nuci \nuci\nisready\n", &status, 60000);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(count_lines(program, "readyok"), 1);
    EXPECT_EQ(count_lines(program, "uciok"), 1);
    EXPECT_EQ(count_lines(program, "option name "), 23);
    // The answer comes behind the listing: the first "isready" was a word of the console.
    EXPECT_EQ(program.lines.back(), "readyok");
}

TEST(Input, ConsoleModeDropsEmptyLines) {
    int status = -1;
    Program program = run_with_input({"-c"}, "\n\r\n\n", &status, 60000);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(program.lines.size(), 4u) << joined(program.lines);
}
