// The search seen from inside: the stack dump, and the tree of moves in trace.txt.

#include "search_fixture.h"

#include <filesystem>
#include <fstream>

#include <unistd.h>

#include "base/lock.h"
#include "loop_fixture.h"
#include "search/trace.h"

// The stack dump.

namespace {

class StackDump : public SearchTest {};

} // namespace

TEST_F(StackDump, IsMadeAtTheTaggedPosition) {
    Position& pos = root_of(START_FEN);
    step(pos, "e2e4");
    step(pos, "e7e5");
    const int16_t depths[3] = {0, 9, 8}, alphas[3] = {0, -10001, -25};
    const int16_t betas[3] = {0, 10001, 30}, evals[3] = {0, 12, -9999};
    const int16_t types[3] = {0, NODE_PV, NODE_ALL};
    for (int ply : {1, 2}) {
        at_ply(ply).depth = depths[ply];
        at_ply(ply).alpha = alphas[ply];
        at_ply(ply).beta = betas[ply];
        at_ply(ply).static_eval = evals[ply];
        at_ply(ply).node_type = types[ply];
        at_ply(ply).reduction = static_cast<int8_t>(ply * 2);
    }
    shell.tag_key = pos.key;
    testing::internal::CaptureStdout();
    node_value(pos, 0, 100, 101, NODE_CUT);
    std::string output = testing::internal::GetCapturedStdout();

    EXPECT_EQ(output.find("ply depth alpha    beta    eval type   move  red\n"
                          " 1.   9  -10001   10001      12   PV   e2e4    2\n"
                          " 2.   8     -25      30   -9999  ALL   e7e5    4\n"),
              0u)
        << output;
    testing::internal::CaptureStdout();
    print_board(pos);
    std::string board = testing::internal::GetCapturedStdout();
    EXPECT_NE(output.find(board + "\n"), std::string::npos) << "the board and an empty line";
    EXPECT_FALSE(print_lock.taken.load());
}

TEST_F(StackDump, DoesNotChangeTheSearch) {
    uint64_t nodes = search_nodes(START_FEN, 5);
    Position& pos = set_up(START_FEN);
    shell.tag_key = key_after(pos, find_move(pos, "g1f3"));
    testing::internal::CaptureStdout();
    uint64_t with_dump = search_nodes(START_FEN, 5);
    std::string output = testing::internal::GetCapturedStdout();
    shell.tag_key = 0;
    EXPECT_EQ(with_dump, nodes);
    EXPECT_NE(output.find("\n 1.   1  -10001   10001  "), std::string::npos);
}

TEST_F(StackDump, NamesTheNullMove) {
    Position& pos = root_of(START_FEN);
    step(pos, "e2e4");
    MoveEntry null_move = {};
    at_ply(2).current_move = &null_move;
    at_ply(2).node_type = NODE_CUT;
    testing::internal::CaptureStdout();
    print_stack_dump(pos, 3);
    EXPECT_NE(testing::internal::GetCapturedStdout().find("  CUT   null    0\n"),
              std::string::npos);
}

// The trace, in the working directory.

namespace {

class Trace : public LoopTest {
protected:
    void SetUp() override {
        LoopTest::SetUp();
        set_relaxed(shell.uci_mode, 0);
        set_relaxed(shell.use_nn, 1);
    }
};

std::string file_text(const std::string& path) {
    std::ifstream file(path);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

std::string trace_of(const std::string& setting) {
    hash_clear();
    engine.hash_age = 0;
    std::vector<std::string> lines =
        LoopTest::play_on("fen 7k/8/8/8/8/8/8/K7 w - -\n" + setting + "\nset depth 2\nmv\n");
    EXPECT_EQ(count_lines(lines, "move= "), 1) << joined(lines);
    reset_trace();
    std::string text = file_text("trace.txt");
    std::filesystem::remove("trace.txt");
    return text;
}

} // namespace

TEST_F(Trace, MovesAreWrittenAsATreeByIteration) {
    // Behind the searches stands the move of the game.
    EXPECT_EQ(trace_of("trace 1"), "\n\nSEARCH DEPTH= 1\n"
                                   "( 1)a1b1 \n"
                                   "( 1)a1a2 \n"
                                   "( 1)a1b2 "
                                   "\n\nSEARCH DEPTH= 2\n"
                                   "\n( 2)a1b1 "
                                   "\n( 2)a1a2 "
                                   "\n( 2)a1b2 "
                                   "( 0)a1b1 ");
    EXPECT_EQ(trace_of("trace 2"), "\n\nSEARCH DEPTH= 1\n"
                                   "( 1)a1b1 \n"
                                   "( 1)a1a2 \n"
                                   "( 1)a1b2 "
                                   "\n\nSEARCH DEPTH= 2\n"
                                   "\n( 2)a1b1 ( 1)h8g7 "
                                   "\n         ( 1)h8h7 "
                                   "\n         ( 1)h8g8 "
                                   "\n( 2)a1a2 ( 1)h8g7 "
                                   "\n( 2)a1b2 ( 1)h8g7 "
                                   "( 0)a1b1 ");
}

TEST_F(Trace, NothingIsWrittenWithoutALevel) { EXPECT_EQ(trace_of("trace 0"), ""); }

TEST_F(Trace, MovesOfTheGameAreWrittenUntilASearchRuns) {
    for (uint8_t state : {STATE_IDLE, STATE_THINK_REQUEST, STATE_PONDER_REQUEST, STATE_THINKING,
                          STATE_PONDERING, static_cast<uint8_t>(STATE_THINKING | STATE_OVER)}) {
        Position& pos = set_up(START_FEN);
        set_trace(1);
        set_relaxed(engine.game_state, state);
        step(pos, "e2e4");
        set_relaxed(engine.game_state, STATE_IDLE);
        reset_trace();
        const bool runs = state == STATE_THINKING || state == STATE_PONDERING;
        EXPECT_EQ(file_text("trace.txt"), runs ? "" : "( 0)e2e4 ") << int{state};
        std::filesystem::remove("trace.txt");
    }
}

TEST_F(Trace, IsThatOfThreadZeroAmongOthers) {
    std::string alone = trace_of("trace 1");
    for (int threads : {2, 4}) {
        engine.num_threads = static_cast<uint8_t>(threads);
        std::string text = trace_of("trace 1");
        size_t headings = 0;
        for (size_t at = 0; (at = text.find("SEARCH", at)) != std::string::npos; at++) headings++;
        EXPECT_EQ(headings, 2u) << text;
        EXPECT_EQ(text.substr(0, 40), alone.substr(0, 40));
    }
}

TEST(TraceProgram, HearsNothingOfTheGameWhileASearchRuns) {
    std::string directory = fresh_directory();
    Program program = start_program({"-c"}, directory);
    send(program, "trace 1");
    send(program, "uci");
    EXPECT_NE(wait_for(program, "uciok"), "");
    send(program, "position fen 7k/8/8/8/8/8/8/K7 w - -");
    send(program, "go infinite");
    EXPECT_NE(wait_for(program, "info depth 3"), "");
    send(program, "position startpos moves e2e4");
    send(program, "isready");
    EXPECT_NE(wait_for(program, "readyok"), "");
    send(program, "stop");
    EXPECT_NE(wait_for(program, "bestmove"), "");
    send(program, "position startpos moves d2d4");
    send(program, "quit");
    EXPECT_EQ(wait_exit(program), 0);
    std::string text = file_text(directory + "/trace.txt");
    EXPECT_NE(text.find("a1b1"), std::string::npos);
    EXPECT_EQ(text.find("e2e4"), std::string::npos) << "thread 0 was writing";
    EXPECT_NE(text.find("d2d4"), std::string::npos);
}

TEST(TraceProgram, ThatCanNotBeOpenedEndsTheProgramInPeace) {
    std::string directory = fresh_directory();
    ASSERT_TRUE(std::filesystem::create_directory(directory + "/trace.txt"));
    Program program = start_program({"-c"}, directory);
    send(program, "trace 1");
    send(program, "set depth 2");
    send(program, "mv");
    EXPECT_EQ(wait_exit(program), 0);
    for (const std::string& line : program.lines) EXPECT_NE(line.find("move= "), 0u) << line;
    EXPECT_TRUE(std::filesystem::remove(directory + "/trace.txt"));
}
