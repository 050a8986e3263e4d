// How soon the program acts on what it hears, and how it rests when there is nothing to do.

#include <algorithm>
#include <fstream>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "base/platform.h"
#include "shell_fixture.h"

namespace {

// Milliseconds from a command to the answer that begins with `answer`, the least of some attempts:
// what else the machine does can only add to it.
template <class Prepare>
double fastest_answer(Program& program, Prepare prepare, const std::string& command) {
    constexpr int ATTEMPTS = 25;
    double best = 1e9;
    for (int i = 0; i < ATTEMPTS; i++) {
        prepare();
        double start = monotonic_seconds();
        send(program, command);
        EXPECT_NE(wait_for(program, "bestmove ", 60000), "");
        best = std::min(best, (monotonic_seconds() - start) * 1000.0);
    }
    return best;
}

// How often the program has given the processor away, or -1 where the system doesn't tell.
long rests(const Program& program) {
    std::ifstream status("/proc/" + std::to_string(program.pid) + "/status");
    for (std::string word; status >> word;)
        if (long count; word == "voluntary_ctxt_switches:" && status >> count) return count;
    return -1;
}

} // namespace

TEST(Wake, BeforeTheWaitEndsItAtOnce) {
    double start = monotonic_seconds();
    wake_main_thread();
    wait_for_wake(20000);
    EXPECT_LT(monotonic_seconds() - start, 10.0);
}

TEST(Wake, FromAnotherThreadEndsTheWait) {
    double start = monotonic_seconds();
    std::thread other([] {
        sleep_ms(5);
        wake_main_thread();
    });
    wait_for_wake(20000);
    other.join();
    EXPECT_LT(monotonic_seconds() - start, 10.0);
}

TEST(Wake, CountsOnce) {
    for (int i = 0; i < 100000; i++) wake_main_thread(); // more than a pipe holds
    wait_for_wake(0);
    double start = monotonic_seconds();
    wait_for_wake(20);
    EXPECT_GE(monotonic_seconds() - start, 0.015);
}

TEST(Sleep, LastsAsLongAsItIsTold) {
    double start = monotonic_seconds();
    sleep_us(20000);
    EXPECT_GE(monotonic_seconds() - start, 0.019);
    start = monotonic_seconds();
    sleep_ms(1020); // more than a second, whose parts are told apart
    const double slept = monotonic_seconds() - start;
    EXPECT_GE(slept, 1.019);
    EXPECT_LT(slept, 10.0);
}

// Debug builds and sanitizers take longer for the search itself.
#ifdef NDEBUG
#ifdef _WIN32
constexpr double LIMIT_MS = 5.0; // both ends look at a pipe each millisecond, or two
#else
constexpr double LIMIT_MS = 1.8;
#endif

TEST(Reaction, NoRestStandsBetweenGoAndBestmove) {
    Program program = start_program({"-hash", "1"});
    ASSERT_TRUE(is_ready(program));
    EXPECT_LT(fastest_answer(
                  program, [] {}, "go depth 1"),
              LIMIT_MS);
    EXPECT_EQ(quit_program(program), 0);
}

TEST(Reaction, NoRestStandsBetweenStopAndBestmove) {
    Program program = start_program({"-hash", "1"});
    ASSERT_TRUE(is_ready(program));
    auto search = [&] {
        send(program, "go infinite");
        sleep_ms(25); // nothing is heard in the first 15
    };
    EXPECT_LT(fastest_answer(program, search, "stop"), LIMIT_MS);
    EXPECT_EQ(quit_program(program), 0);
}
#endif

TEST(Reaction, AnIdleProgramSleeps) {
    constexpr int WATCHED_MS = 300, MAX_RESTS = 30;
    Program program = start_program({"-hash", "1", "-use_hce"});
    ASSERT_TRUE(is_ready(program));
    long before = rests(program);
    sleep_ms(WATCHED_MS);
    EXPECT_LE(rests(program) - before, MAX_RESTS);
    EXPECT_EQ(quit_program(program), 0);
}
