// Lines from standard input.

#include <array>

#include "loop_fixture.h"

namespace {

class Input : public LoopTest {
protected:
    // Number of "readyok" that the engine gives to these bytes before its input ends.
    static int answers_to(const std::string& bytes) {
        auto hear_all = [] {
            while (!input_ended()) PollInput();
        };
        return count_lines(with_input(bytes, hear_all), "readyok");
    }
};

// A pipe whose one end is standard input.
class InputPipe {
public:
    InputPipe() : ends(new_pipe()), input(ends[0]) { close(ends[0]); }
    ~InputPipe() { close(ends[1]); }
    InputPipe(const InputPipe&) = delete;
    InputPipe& operator=(const InputPipe&) = delete;

    // Sends bytes and returns the line that is finished by them, a "-" if none is.
    std::string line_after(const std::string& bytes) const {
        char line[INPUT_LINE_LENGTH];
        const auto size = static_cast<unsigned>(bytes.size());
        EXPECT_EQ(write(ends[1], bytes.data(), size), std::ssize(bytes));
        return poll_line(line) ? line : "-";
    }

private:
    static std::array<int, 2> new_pipe() {
        std::array<int, 2> ends;
        EXPECT_TRUE(open_pipe(ends.data()));
        return ends;
    }
    std::array<int, 2> ends;
    StandardInput input;
};

} // namespace

TEST_F(Input, LinesOfOneWriteAreAllHeard) {
    EXPECT_EQ(answers_to("isready\nisready\n"), 2);
    std::string many;
    for (int i = 0; i < 3000; i++) many += "isready\n";
    EXPECT_EQ(answers_to(many), 3000) << "more than fits into the buffers at once";
}

TEST_F(Input, ALineOverTwoWritesIsJoined) {
    InputPipe pipe;
    EXPECT_EQ(pipe.line_after("isr"), "-");
    EXPECT_EQ(pipe.line_after("eady"), "-");
    EXPECT_EQ(pipe.line_after("\nisre"), "isready");
    EXPECT_EQ(pipe.line_after("ady\n"), "isready");
    EXPECT_EQ(pipe.line_after(""), "-");
}

TEST_F(Input, SingleBytesMakeALine) {
    InputPipe pipe;
    for (char c : std::string("isready")) EXPECT_EQ(pipe.line_after(std::string(1, c)), "-");
    EXPECT_EQ(pipe.line_after("\n"), "isready");
}

TEST_F(Input, CanBeGivenAwayAndTakenBack) {
    InputPipe pipe;
    EXPECT_EQ(pipe.line_after("one\ntwo\nthr"), "one");
    EXPECT_FALSE(input_ended());
    end_input();
    EXPECT_EQ(pipe.line_after("ee\n"), "two") << "what was heard before counts";
    EXPECT_EQ(pipe.line_after(""), "thr");
    EXPECT_EQ(pipe.line_after(""), "-");
    EXPECT_TRUE(input_ended());
    reset_input();
    EXPECT_FALSE(input_ended());
    EXPECT_EQ(pipe.line_after(""), "ee");
}

TEST_F(Input, TheLineMarkSplitsALine) {
    EXPECT_EQ(answers_to("isready@isready\n"), 2);
    EXPECT_EQ(answers_to("@@isready@@@isready@\n"), 2);
    EXPECT_EQ(answers_to("xyzzy@isready\n"), 1);
}

TEST_F(Input, ANulEndsALine) {
    EXPECT_EQ(answers_to(std::string("isready\0isready\0", 16)), 2);
    EXPECT_EQ(answers_to(std::string("\0\0\0isready\n\0", 12)), 1);
}

TEST_F(Input, ACarriageReturnEndsTheTextOfALine) {
    EXPECT_EQ(answers_to("isready\r\nisready\r\n"), 2);
    EXPECT_EQ(answers_to("isready\rjunk\n"), 1);
    EXPECT_EQ(answers_to("\risready\n"), 0);
    EXPECT_EQ(answers_to("\r\n\r\nisready\r\n"), 1);
}

TEST_F(Input, EmptyLinesAreDropped) {
    EXPECT_EQ(answers_to("\n\n\n   \n\nisready\n\n"), 1);
    EXPECT_EQ(answers_to(std::string(20000, '\n') + "isready\n"), 1);
}

TEST_F(Input, ALineOfAHundredThousandCharactersIsCutAndTheNextIsHeard) {
    EXPECT_EQ(answers_to(std::string(100000, 'x') + "\nisready\n"), 1);
    EXPECT_EQ(answers_to(std::string(100000, ' ') + "isready\nisready\n"), 1)
        << "what lies behind the limit is dropped";
    EXPECT_EQ(answers_to("isready " + std::string(100000, 'x') + "\nisready\n"), 2);
    EXPECT_EQ(
        answers_to("setoption name OwnBook_File value " + std::string(100000, 'x') + "\nisready\n"),
        1);
}

TEST_F(Input, LinesAboutTheLimitAreHarmless) {
    for (size_t length : {4980, 4990, 4991, 4992, 4993, 4998, 4999, 5000, 5001, 9984, 9998})
        EXPECT_EQ(answers_to(std::string(length, 'x') + "\nisready\n"), 1) << length;
}

TEST_F(Input, ALastLineNeedsNoNewline) {
    EXPECT_EQ(answers_to("isready"), 1);
    EXPECT_EQ(answers_to("isready\nisready"), 2);
    EXPECT_EQ(answers_to("xyzzy@isready"), 1);
    EXPECT_EQ(answers_to("isready\r"), 1);
}

TEST_F(Input, NoiseIsHarmless) {
    Random random = {11};
    std::string noise;
    for (int i = 0; i < 50000; i++) noise += static_cast<char>(random_below(random, 256));
    EXPECT_GE(answers_to(noise + "\nisready\n"), 1);
}

TEST(InputProgram, StopInTheSameWriteAsGoEndsTheSearch) {
    Program program = start_program({});
    send_bytes(program, "position startpos\ngo infinite\nstop\n");
    EXPECT_NE(wait_for(program, "bestmove ", 60000), "");
    EXPECT_TRUE(is_ready(program));
    EXPECT_EQ(quit_program(program), 0);
    EXPECT_EQ(count_lines(program, "bestmove"), 1);
}

TEST(InputProgram, ConsoleModeKnowsNoProtocolUntilItHearsUci) {
    int status = -1;
    Program program = run_with_input({"-c"}, "isready\nuci \nuci\nisready\n", &status, 60000);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(count_lines(program, "readyok"), 1);
    EXPECT_EQ(count_lines(program, "uciok"), 1);
    EXPECT_EQ(count_lines(program, "option name "), 23);
    // The answer comes behind the listing: the first "isready" was a word of the console.
    EXPECT_EQ(program.lines.back(), "readyok");
}

TEST(InputProgram, ConsoleModeDropsEmptyLines) {
    int status = -1;
    Program program = run_with_input({"-c"}, "\n\r\n\n", &status, 60000);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(program.lines.size(), 4u) << joined(program.lines);
}
