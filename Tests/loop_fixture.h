// loop_fixture.h: the main loop in the test's own process: lines come from the test, and what they
// do can be looked at without a program of its own.

#pragma once

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include <unistd.h>

#include "search/pool.h"
#include "shell/input.h"
#include "shell/loop.h"
#include "shell_fixture.h"

// Puts a descriptor in the place of standard input, and at the end of its life what was there
// before. What was read from either is forgotten.
class StandardInput {
public:
    explicit StandardInput(int descriptor) : kept(dup(STDIN_FILENO)) { replace(descriptor); }
    ~StandardInput() {
        replace(kept);
        close(kept);
    }
    StandardInput(const StandardInput&) = delete;
    StandardInput& operator=(const StandardInput&) = delete;

private:
    static void replace(int descriptor) {
        dup2(descriptor, STDIN_FILENO);
        reset_input();
    }
    int kept;
};

// Each test has a working directory of its own and may let the engine hear lines.
class LoopTest : public ShellTest {
protected:
    void SetUp() override {
        ShellTest::SetUp();
        kept = std::filesystem::current_path();
        std::filesystem::current_path(fresh_directory());
    }
    void TearDown() override { std::filesystem::current_path(kept); }

    // Standard input as a file of these bytes while an action runs. Returns what that prints.
    template <class Action>
    static std::vector<std::string> with_input(const std::string& bytes, Action action) {
        FILE* file = tmpfile();
        fwrite(bytes.data(), 1, bytes.size(), file);
        rewind(file);
        std::vector<std::string> lines;
        {
            StandardInput input(fileno(file));
            lines = printed_by(action);
        }
        fclose(file);
        return lines;
    }

public:
    // What the game prints on these bytes and the end of the input behind them.
    static std::vector<std::string> play_on(const std::string& bytes) {
        return with_input(bytes, [] {
            run_game_loop();
            end_search_threads();
        });
    }

private:
    std::filesystem::path kept;
};
