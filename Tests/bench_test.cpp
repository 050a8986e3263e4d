// The benchmark's node totals: the fingerprints of search and evaluation.

#include <cstdlib>

#include <gtest/gtest.h>

#include "support.h"

// A change of these numbers is a change of behaviour. Whoever makes one on purpose writes the new
// number here and the first one in the commit's last line.
constexpr char SIGNATURE[] = "nodes= 1103018,";         // hand-crafted evaluation
constexpr char NETWORK_SIGNATURE[] = "nodes= 1491311,"; // embedded network

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

// A path that the processor can't run is passed over in favour of the best one, and so tells
// nothing here.
TEST(LongBench, NodeTotalWithTheNetworkIsTheSameOnAllPaths) {
    for (const char* path : {"plain", "sse2", "avx2", "avx512"}) {
        setenv("MIRD_NN_PATH", path, 1);
        std::string total = total_of({"-bench", "-d", "10"});
        EXPECT_NE(total.find(NETWORK_SIGNATURE), std::string::npos) << path << ": " << total;
    }
    unsetenv("MIRD_NN_PATH");
}
