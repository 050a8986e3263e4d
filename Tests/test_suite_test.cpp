// Runs of -anepd, through the program itself.

#include <fstream>
#include <utility>

#include <gtest/gtest.h>

#include "base/platform.h"
#include "shell_fixture.h"

namespace {

const std::string MATE = "6k1/5ppp/8/8/8/8/8/4R1K1 w - -"; // Re8 mates

const std::string MIDDLEGAME = "r1bqkb1r/pp1ppppp/2n2n2/8/3NP3/2N5/PPP2PPP/R1BQKB1R b KQkq -";

struct SuiteRun {
    std::vector<std::string> lines;  // standard output
    std::vector<std::string> result; // lines of the output file
    int status;
};

SuiteRun run_suite(const std::string& suite, std::vector<std::string> arguments,
                   const std::string& input = "", const std::string& output = "analysis.epd") {
    std::string directory = fresh_directory();
    std::ofstream(directory + "/suite.epd") << suite;
    arguments.insert(arguments.begin(), {"-anepd", "suite.epd", "-use_hce"});
    Program program = start_program(arguments, directory);
    send_bytes(program, input);
    close_input(program);
    int status = wait_exit(program, 60000);
    return {program.lines, read_lines(directory + "/" + output), status};
}

// The number of a line of totals that begins with `name`, -1 without one.
double total(const SuiteRun& run, const std::string& name) {
    for (const std::string& line : run.lines)
        if (line.compare(0, name.size(), name) == 0) return atof(line.c_str() + name.size());
    return -1.0;
}

double total_nodes(const SuiteRun& run) { return total(run, "total nodes= "); }

// The lines that don't name a time.
std::vector<std::string> timeless(const std::vector<std::string>& lines) {
    std::vector<std::string> kept;
    for (const std::string& line : lines)
        if (count_lines({line}, "total time=") == 0 && count_lines({line}, "node_rate=") == 0)
            kept.push_back(line);
    return kept;
}

} // namespace

TEST(TestSuite, WritesMovesAndPrintsTotals) {
    SuiteRun run =
        run_suite("# comment\n" + MATE + " bm Re8#; id \"1\";\n" + MATE + " bm e1e8; id \"2\";\n",
                  {"-d", "4"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.result, std::vector<std::string>(2, MATE + " bm e1e8; ce 9998;"));
    EXPECT_TRUE(has_line(run.lines, "Analyzing suite.epd..."));
    EXPECT_TRUE(has_line(run.lines, "1 / 2 correct best moves")) << "a mate sign is not read";
    EXPECT_TRUE(has_line(run.lines, "score= 0 / 0"));
    EXPECT_EQ(run.lines.back(), "");
    for (const char* name :
         {"total nodes= ", "total time= ", "avg depth= ", "avg nodes= ", "node_rate= ", "avg bf= "})
        EXPECT_EQ(count_lines(run.lines, name), 1) << name;
}

TEST(TestSuite, OneOfSeveralMovesIsEnoughIfCommasPartThem) {
    EXPECT_TRUE(has_line(run_suite(MATE + " bm Kf1, Re8;\n", {"-d", "4"}).lines,
                         "1 / 1 correct best moves"));
    EXPECT_TRUE(
        has_line(run_suite(MATE + " bm Kf1 Re8;\n", {"-d", "4"}).lines, "0 / 1 correct best moves"))
        << "without a comma the value is one word, which is no move";
}

TEST(TestSuite, AMoveToAvoidCountsOnlyWithoutABestMove) {
    EXPECT_TRUE(
        has_line(run_suite(MATE + " am Kf1;\n", {"-d", "4"}).lines, "1 / 1 correct best moves"));
    EXPECT_TRUE(
        has_line(run_suite(MATE + " am Re8;\n", {"-d", "4"}).lines, "0 / 1 correct best moves"));
    EXPECT_TRUE(has_line(run_suite(MATE + " am Kf1, Kh1;\n", {"-d", "4"}).lines,
                         "0 / 1 correct best moves"))
        << "two moves are no move";
    EXPECT_TRUE(has_line(run_suite(MATE + " bm Kf1; am Kh1;\n", {"-d", "4"}).lines,
                         "0 / 1 correct best moves"));
}

TEST(TestSuite, PointsGoToTheMoveFound) {
    SuiteRun run = run_suite(MATE + " c0 \"Kf1=10, Re8=5, plain words, Kh1=-3\";\n" + MATE
                                 + " c0 no points;\n",
                             {"-d", "4"});
    EXPECT_TRUE(has_line(run.lines, "score= 5 / 10"));
}

TEST(TestSuite, APromotionMayHaveAnEqualsSignOfItsOwn) {
    SuiteRun run = run_suite("8/P7/8/8/8/7k/8/K7 w - - c0 \"a8=Q=7\";\n", {"-d", "4"});
    EXPECT_TRUE(has_line(run.lines, "score= 7 / 7"));
}

TEST(TestSuite, ALineWithAResultIsKeptAndScored) {
    SuiteRun run = run_suite(MATE + " ce 3; gr 1.0;\n", {"-d", "4"});
    EXPECT_EQ(run.result, std::vector<std::string>{MATE + " ce 3; gr 1.0; sc 9998;"});
}

TEST(TestSuite, APositionWithoutAMoveWritesNothing) {
    SuiteRun run = run_suite("7k/5Q2/6K1/8/8/8/8/8 b - - bm Kg8;\n", {"-d", "4"});
    EXPECT_TRUE(run.result.empty());
    EXPECT_TRUE(has_line(run.lines, "0 / 1 correct best moves"));
}

TEST(TestSuite, APositionThatCannotBeSearchedIsCounted) {
    SuiteRun run = run_suite("8/8/8/8/8/8/8/K7 w - - bm Kb1;\n" + MATE + " bm Re8;\n", {"-d", "4"});
    EXPECT_EQ(run.status, 0);
    EXPECT_TRUE(has_line(run.lines, "1 / 2 correct best moves"));
    EXPECT_EQ(run.result.size(), 1u);
}

TEST(TestSuite, WithoutPositionsAllAveragesAreZero) {
    SuiteRun run = run_suite("# nothing\n", {"-d", "4"});
    EXPECT_TRUE(has_line(run.lines, "0 / 0 correct best moves"));
    for (const char* line : {"total nodes= 0", "total time= 0.00 seconds", "avg depth= 0.0",
                             "avg nodes= 0.0", "node_rate= 0", "avg bf= 0.00"})
        EXPECT_TRUE(has_line(run.lines, line)) << line << "\n" << joined(run.lines);
}

TEST(TestSuite, TheOutputCanBeNamed) {
    SuiteRun run = run_suite(MATE + " bm Re8;\n", {"-d", "4", "-o", "mine.epd"}, "", "mine.epd");
    EXPECT_EQ(run.result.size(), 1u);
}

TEST(TestSuite, NoiseShowsThePositions) {
    SuiteRun run = run_suite(MATE + " bm Re8;\n", {"-d", "4", "-noise", "0"});
    EXPECT_TRUE(has_line(run.lines, "pos= 1"));
    EXPECT_TRUE(has_line(run.lines, MATE + " bm Re8;"));
    EXPECT_TRUE(has_line(run.lines, "white"));
    EXPECT_GE(count_lines(run.lines, "info depth "), 1);
    EXPECT_EQ(count_lines(run.lines, "move= e1e8, time= "), 1) << joined(run.lines);
}

TEST(TestSuite, ShallowRunsUseNoHashTable) {
    const std::string no_table = fresh_directory() + "/mird.cfg";
    std::ofstream(no_table) << "Hash = 0\n";
    auto nodes = [](std::vector<std::string> arguments) {
        return total_nodes(run_suite(MIDDLEGAME + " bm a3;\n", std::move(arguments)));
    };
    EXPECT_EQ(nodes({"-d", "3"}), nodes({"-d", "3", "-cfg", no_table}));
    EXPECT_NE(nodes({"-d", "4"}), nodes({"-d", "4", "-cfg", no_table}));
}

TEST(TestSuite, TotalsAreSumsAndTheirAverages) {
    const std::vector<std::string> depth = {"-d", "8"};
    const SuiteRun one = run_suite(MIDDLEGAME + " bm a3;\n", depth);
    const SuiteRun other = run_suite(MATE + " bm Re8;\n", depth);
    const SuiteRun both = run_suite(MIDDLEGAME + " bm a3;\n" + MATE + " bm Re8;\n", depth);
    auto mean = [&](const char* name) { return (total(one, name) + total(other, name)) / 2; };

    EXPECT_GT(total_nodes(one), 5000.0);
    EXPECT_EQ(total_nodes(both), total_nodes(one) + total_nodes(other));
    EXPECT_NEAR(total(both, "avg nodes= "), total_nodes(both) / 2, 0.051);
    EXPECT_EQ(total(one, "avg depth= "), 8.0);
    EXPECT_LT(total(other, "avg depth= "), 8.0) << "a mate ends the search";
    EXPECT_NEAR(total(both, "avg depth= "), mean("avg depth= "), 0.051);
    EXPECT_EQ(total(other, "avg bf= "), 2.0) << "of a short search";
    EXPECT_NE(total(one, "avg bf= "), 2.0);
    EXPECT_NEAR(total(both, "avg bf= "), mean("avg bf= "), 0.011);

    // The time is told in hundredths of a second, the rate counts a thousandth more.
    const double time = total(one, "total time= "), rate = total(one, "node_rate= ");
    EXPECT_NEAR(total_nodes(one) / rate - 0.001, time, 0.006);
}

TEST(TestSuite, TheSameFileTwiceGivesTheSameOutput) {
    std::string suite;
    Random random = {9};
    for (int i = 0; i < 10; i++) suite += random_fen(random) + " bm e4;\n";
    SuiteRun first = run_suite(suite, {"-d", "7"}), second = run_suite(suite, {"-d", "7"});
    EXPECT_EQ(first.result, second.result);
    EXPECT_EQ(timeless(first.lines), timeless(second.lines));
    EXPECT_FALSE(first.result.empty());
}

TEST(TestSuite, StopEndsAPositionAndQuitTheRun) {
    std::string directory = fresh_directory();
    std::ofstream suite(directory + "/suite.epd");
    for (int i = 0; i < 100; i++) suite << START_FEN << " bm e4;\n";
    suite.close();
    Program program = start_program({"-anepd", "suite.epd", "-use_hce"}, directory);
    ASSERT_NE(wait_for(program, "Analyzing"), "");
    for (const char* line : {"stop", "stop", "stop", "quit"}) {
        sleep_ms(300);
        send(program, line);
    }
    EXPECT_EQ(wait_exit(program, 30000), 0);
    EXPECT_EQ(count_lines(program, "bestmove"), 0);
    std::string found;
    for (const std::string& line : program.lines)
        if (line.find("correct best moves") != std::string::npos) found = line;
    EXPECT_TRUE(found.find(" / 4 ") != std::string::npos) << found;
}

TEST(TestSuite, APositionFromInputDoesNotChangeAVerdict) {
    // Castling is the only legal move, the king stays where it is.
    SuiteRun run = run_suite("4k3/8/8/8/4n3/7p/3n3P/6KR w K - bm O-O; c0 \"O-O=3\";\n", {},
                             "position startpos\nstop\n");
    EXPECT_TRUE(has_line(run.lines, "1 / 1 correct best moves")) << joined(run.lines);
    EXPECT_TRUE(has_line(run.lines, "score= 3 / 3"));
}

TEST(TestSuite, EachPositionHasItsNodeLimit) {
    SuiteRun run = run_suite(std::string(START_FEN) + " bm a3;\n", {"-n", "5000"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.result.size(), 1u);
}

TEST(TestSuite, ANetworkNamedInASearchIsLoadedBehindIt) {
    const std::string start = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - bm e4;\n";
    SuiteRun run = run_suite(start, {}, "setoption name NN_File value embedded\nstop\n");
    EXPECT_EQ(run.status, 0);
    EXPECT_TRUE(has_line(run.lines, "info string NN_File set to 'embedded'")) << joined(run.lines);
    EXPECT_EQ(count_lines(run.lines, "info string using embedded network"), 2)
        << "at the start, and when the search has ended: " << joined(run.lines);
}
