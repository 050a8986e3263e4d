// Node totals of searches in which the benchmark has no part: castling of Chess960, endings with
// knowledge of their own, few units, promotions. A change that moves them has to be meant.

#include <gtest/gtest.h>

#include "base/state.h"
#include "records.h"
#include "support.h"

namespace {

struct Total {
    const char* fen;
    uint64_t nodes; // by the hand-crafted evaluation
};

const Total TOTALS[] = {
    {"bbqnnrkr/pppppppp/8/8/8/8/PPPPPPPP/BBQNNRKR w HFhf -", 6295},
    {"nrbkqbrn/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/NRBKQBRN w GBgb -", 5404},
    {"1r2k1r1/pbppqp1p/1n2pnpb/8/2PPP3/1PN1BN2/P3BPPP/1R2K1R1 w GBgb -", 6932},
    {"8/8/8/3k4/8/8/3BN3/4K3 w - -", 11660},
    {"8/8/1k6/8/2K1P3/8/8/8 w - -", 1503},
    {"8/8/8/8/1k6/8/1p5R/4K3 w - -", 5755},
    {"8/5k2/8/8/8/1Q6/2p5/2K5 b - -", 32043},
    {"8/8/7k/7P/5K1P/5B2/8/8 w - -", 6515},
    {"1K1k4/1P6/8/8/8/8/2r5/4R3 w - -", 13418},
    {"8/5p1p/2b3p1/k1p1P1P1/2P5/1P1B1K2/7P/8 w - -", 3592},
    {"8/p4pkp/1p2p1p1/8/2P5/1P3P2/P3K1PP/8 w - -", 6689},
    {"4k3/P6P/8/8/8/8/8/3K4 w - -", 35096},
    {"8/1q4k1/8/3Q4/8/8/1K6/8 w - -", 21713},
    {"r4rk1/1b2bppp/ppq1p3/2pp3n/5P2/1P1BP3/PBPPQ1PP/R4RK1 w - -", 8422},
    {"2kr3r/ppp2ppp/2nb4/3qp1B1/3P2b1/2P2N2/PP2BPPP/R2Q1RK1 b - -", 15993},
    {"8/2k5/4p3/1p1pP1p1/pP1P2P1/P1K5/8/8 w - -", 1084},
    {"5rk1/pp4pp/4p3/2R3Q1/3n4/2q4r/P1P2PPP/5RK1 b - -", 6311},
    {"8/8/3nk3/8/8/2BK4/2B5/8 w - -", 23663},
    {"r3k2r/8/8/8/8/8/8/R3K2R w KQkq -", 25088},
    {"8/5k2/3n1p2/8/4P3/2N5/3K4/8 w - -", 4310},
    {"6k1/3r4/8/p7/P7/8/4R3/6K1 w - -", 6212},
    {"1nbq1k2/1ppp4/8/8/8/8/4PPP1/2K1QBN1 w - -", 12038},
};
constexpr uint64_t SUM_BY_NETWORK = 309579; // nodes

constexpr int DEPTH = 7;

class Totals : public EngineTest {
protected:
    static void choose(uint8_t network) {
        set_relaxed(shell.use_nn, network);
        reset_evaluation();
    }
};

} // namespace

TEST_F(Totals, OfSearchesBesideTheBenchmark) {
    choose(0);
    for (const Total& total : TOTALS)
        EXPECT_EQ(search_nodes(total.fen, DEPTH), total.nodes) << total.fen;
}

TEST_F(Totals, OfTheSameByTheNetwork) {
    choose(1);
    uint64_t sum = 0;
    for (const Total& total : TOTALS) sum += search_nodes(total.fen, DEPTH);
    EXPECT_EQ(sum, SUM_BY_NETWORK);
}
