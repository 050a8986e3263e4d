// The benchmark's node total: the fingerprint of search and evaluation.

#include <gtest/gtest.h>

#include "support.h"

// A change of this number is a change of behaviour. Whoever makes one on purpose writes the new
// number here and in the commit's last line.
constexpr char SIGNATURE[] = "nodes= 1103018,";

TEST(Bench, NodeTotalIsTheSignature) {
    int status = -1;
    Program program = run_with_input({"-bench", "-d", "10", "-use_hce"}, "", &status, 120000);

    ASSERT_EQ(status, 0);
    std::string total = program.lines.back();
    EXPECT_NE(total.find(SIGNATURE), std::string::npos) << total;
}
