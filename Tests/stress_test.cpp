// Searches with several threads under a stream of commands, for the sanitizers to watch. Runs for
// three seconds, or for as many as the variable MIRD_STRESS_SECONDS says.

#include <chrono>
#include <cstdlib>
#include <thread>

#include <gtest/gtest.h>

#include "support.h"

namespace {

int stress_seconds() {
    const char* seconds = getenv("MIRD_STRESS_SECONDS");
    return seconds ? atoi(seconds) : 3;
}

const char* const POSITIONS[] = {
    "startpos",
    "startpos moves e2e4 e7e5 g1f3 b8c6 f1b5 a7a6",
    "fen r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq -",
    "fen 8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - -",
    "fen nqnbrkbr/1ppppp1p/p7/6p1/6P1/P6P/1PPPPP2/NQNBRKBR w HEhe -",
    "fen 7k/5Q2/6K1/8/8/8/8/8 b - -", // stalemate
    "fen 4k3/8/8/8/8/8/4P3/4K3 w - -",
};

const char* const SEARCHES[] = {
    "go infinite",
    "go depth 7",
    "go nodes 20000",
    "go movetime 30",
    "go wtime 300 btime 300",
    "go wtime 1000 btime 1000 winc 10 binc 10",
    "go ponder wtime 500 btime 500",
};

const char* const OPTIONS[] = {
    "Contempt value 30",
    "Contempt value 0",
    "Selectivity value 80",
    "Selectivity value 100",
    "MultiPV value 3",
    "MultiPV value 1",
    "Ponder value true",
    "Ponder value false",
    "UCI_Chess960 value true",
    "UCI_Chess960 value false",
    "MoveOverhead value 100",
    "Log value true",
    "Log value false",
    "UCI_LimitStrength value true",
    "UCI_LimitStrength value false",
    "UCI_Elo value 2000",
    "Hash value 2",
    "Hash value 1",
    "Threads value 4",
    "Threads value 9",
    "Clear_Hash value now",
    "Use_NN_eval value true",
    "Use_NN_eval value false",
};

template <size_t N>
const char* any(Random& random, const char* const (&texts)[N]) {
    return texts[random_below(random, N)];
}

// One command of a lively game; most of the time something searches.
void send_something(Program& program, Random& random) {
    switch (random_below(random, 12)) {
    case 0: send(program, "ucinewgame"); break;
    case 1: send(program, "ponderhit"); break;
    case 2: send(program, "stop"); break;
    case 3: send(program, "uci"); break;
    case 4:
    case 5: send(program, std::string("setoption name ") + any(random, OPTIONS)); break;
    case 6:
    case 7: send(program, std::string("position ") + any(random, POSITIONS)); break;
    default: send(program, any(random, SEARCHES));
    }
}

} // namespace

TEST(Stress, CommandsInAnyOrderWhileThreadsSearch) {
    constexpr int COMMANDS = 20, PATIENCE_MS = 30000;

    Random random = {3};
    Program program = start_program({"-hash", "1", "-threads", "4"});
    auto end = std::chrono::steady_clock::now() + std::chrono::seconds(stress_seconds());
    while (std::chrono::steady_clock::now() < end) {
        for (int i = 0; i < COMMANDS; i++) {
            send_something(program, random);
            std::this_thread::sleep_for(std::chrono::milliseconds(random_below(random, 60)));
        }
        send(program, "stop");
        send(program, "isready");
        ASSERT_EQ(wait_for(program, "readyok", PATIENCE_MS), "readyok");
        program.lines.clear();
    }
    send(program, "quit");
    EXPECT_EQ(wait_exit(program, PATIENCE_MS), 0);
}
