// The benchmark's node totals: the fingerprints of search and evaluation.

#include <regex>

#include <gtest/gtest.h>

#include "eval/nn_kernels.h"
#include "shell_fixture.h"
#include "support.h"

// A change of these numbers is a change of behaviour. Whoever makes one on purpose writes the new
// number here and the first one in the commit's last line.
constexpr char SIGNATURE[] = "nodes= 1103018,";         // hand-crafted evaluation
constexpr char NETWORK_SIGNATURE[] = "nodes= 1317323,"; // embedded network

static std::string total_of(const std::vector<std::string>& arguments) {
    constexpr int MOST_MS = 240000;
    int status = -1;
    Program program = run_with_input(arguments, "", &status, MOST_MS);
    EXPECT_EQ(status, 0);
    return program.lines.empty() ? "" : program.lines.back();
}

TEST(Bench, NodeTotalIsTheSignature) {
    std::string total = total_of({"-bench", "-d", "10", "-use_hce"});
    EXPECT_NE(total.find(SIGNATURE), std::string::npos) << total;
}

TEST(Bench, NodeTotalWithTheNetworkIsTheOtherSignature) {
    std::string total = total_of({"-bench", "-d", "10"});
    EXPECT_NE(total.find(NETWORK_SIGNATURE), std::string::npos) << total;
}

TEST(Bench, TheWordEndsWithNodesAndSpeedAsFrameworksReadThem) {
    // Nothing comes on standard input, which stays open.
    Program program = start_program({"bench", "-d", "5"});
    EXPECT_EQ(wait_exit(program, 60000), 0);

    ASSERT_GE(program.lines.size(), 2u);
    const std::string total = program.lines[program.lines.size() - 2];
    const std::string nodes = total.substr(total.find("nodes= ") + 7);
    const std::regex form(nodes.substr(0, nodes.find(',')) + " nodes [1-9][0-9]* nps");
    EXPECT_TRUE(std::regex_match(program.lines.back(), form)) << program.lines.back();
}

TEST(Bench, QuitIsHeardFromTheFirstPositionOn) {
    Program program = run_with_input({"-bench", "-d", "10"}, "quit\n");
    EXPECT_LT(count_lines(program, "pos "), 20);
    EXPECT_EQ(count_lines(program, "total time= "), 1);
}

// A path that the processor can't run is passed over in favour of the best one, and so tells
// nothing here.
TEST(LongBench, NodeTotalWithTheNetworkIsTheSameOnAllPaths) {
    for (const char* path : NN_PATH_NAMES) {
        set_environment("MIRD_NN_PATH", path);
        std::string total = total_of({"-bench", "-d", "10"});
        EXPECT_NE(total.find(NETWORK_SIGNATURE), std::string::npos) << path << ": " << total;
    }
    set_environment("MIRD_NN_PATH", nullptr);
}
