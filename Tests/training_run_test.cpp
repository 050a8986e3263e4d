// What stands around the training of the network: the store of records, the settings and the files
// of a run, the threads.

#include <algorithm>
#include <atomic>
#include <cstdio>

#include "Training/safe_file.h"
#include "Training/team.h"

#include "support.h"

#include <gtest/gtest.h>

TEST(Team, DoesEachTaskOnceAndSeesWhatWasDone) {
    for (int threads : {1, 2, 5}) {
        TeamPointer team = make_team(threads);
        EXPECT_EQ(team_size(*team), threads);
        std::vector<int> sums(37);
        for (int round = 0; round < 300; round++)
            run_tasks(*team, static_cast<size_t>(round % 38), [&](size_t task, int worker) {
                EXPECT_TRUE(worker >= 0 && worker < threads);
                sums[task] += round;
            });
        for (size_t task = 0; task < sums.size(); task++) {
            int expected = 0;
            for (int round = 0; round < 300; round++)
                if (static_cast<size_t>(round % 38) > task) expected += round;
            EXPECT_EQ(sums[task], expected) << threads << " " << task;
        }
    }
}

TEST(SafeFile, AnInterruptionLeavesTheOldFile) {
    const std::string path = fresh_directory() + "/file";
    auto write = [&](const char* text, bool whole) {
        FILE* file = begin_file(path);
        fputs(text, file);
        return finish_file(file, path, whole);
    };
    EXPECT_TRUE(write("old\n", true));
    EXPECT_FALSE(write("half\n", false));
    EXPECT_EQ(read_lines(path), std::vector<std::string>{"old"});
    FILE* file = begin_file(path);
    fputs("interrupted\n", file);
    fclose(file);
    EXPECT_EQ(read_lines(path), std::vector<std::string>{"old"});
    EXPECT_TRUE(write("new\n", true));
    EXPECT_EQ(read_lines(path), std::vector<std::string>{"new"});
    EXPECT_EQ(begin_file(path + "/no/folder"), nullptr);
}
