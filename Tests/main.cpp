// Starts the engine as a library, once for all tests of a process, then runs them.

#include <gtest/gtest.h>

#include "shell/start.h"

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (!init_engine()) return 1;
    int failed = RUN_ALL_TESTS();
    shut_down_engine();
    return failed;
}
