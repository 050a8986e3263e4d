// The throttle of a limited strength: how well a think keeps to its nodes a second.

#include <gtest/gtest.h>

#include "shell_fixture.h"

TEST(LongThrottle, TargetsAreHeldOverTenSeconds) {
    constexpr int TARGETS[] = {50, 1000, 50000};
    std::vector<Program> programs;
    for (int target : TARGETS) {
        programs.push_back(start_program({"-c", "-use_hce", "-t", "10", "-quiet"}));
        send(programs.back(), "new");
        send(programs.back(), "set target_nps " + std::to_string(target));
        send(programs.back(), "mv");
    }
    for (size_t i = 0; i < programs.size(); i++) {
        std::string line = wait_for(programs[i], "move= ", 60000);
        double time = number_after(line, "time="), nodes = number_after(line, "nodes=");
        EXPECT_NEAR(nodes / time, TARGETS[i], 0.1 * TARGETS[i]) << line;
        EXPECT_NEAR(time, 10.0, 0.5) << line;
        EXPECT_EQ(quit_program(programs[i]), 0);
    }
}
