// Starts the engine as a library, once for all tests of a process, then runs them.

#include <gtest/gtest.h>

#include "base/platform.h"
#include "shell/start.h"

// Exit status of a run in which every test has left itself out.
constexpr int ALL_SKIPPED = 77;

int main(int argc, char** argv) {
    prepare_platform(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    if (testing::GTEST_FLAG(list_tests)) return RUN_ALL_TESTS();

    if (!init_engine()) return 1;
    int failed = RUN_ALL_TESTS();
    shut_down_engine();

    const testing::UnitTest& run = *testing::UnitTest::GetInstance();
    if (failed == 0 && run.skipped_test_count() > 0 && run.successful_test_count() == 0)
        return ALL_SKIPPED;
    return failed;
}
