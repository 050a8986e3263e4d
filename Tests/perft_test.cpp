// Counts of the legal move tree: they prove generators, picker, legality, make and unmake at once.

#include <cstdlib>

#include "board/make.h"
#include "board_support.h"
#include "search/perft.h"

namespace {

struct PerftCase {
    const char* name; // becomes part of the test's name
    const char* fen;
    std::vector<uint64_t> counts; // from depth 1 on; 0 is not known
};

void PrintTo(const PerftCase& c, std::ostream* out) { *out << c.name; }

uint64_t count_leaves(const std::string& fen, int depth) {
    set_up(fen.c_str());
    return run_perft(*main_thread, depth);
}

// Leaves by the complete list of moves, without the picker.
uint64_t count_by_list(Position& pos, int depth) {
    uint64_t leaves = 0;
    for (Move move : playable_moves(pos)) {
        if (depth == 1) {
            leaves++;
            continue;
        }
        make_move(pos, move);
        leaves += count_by_list(pos, depth - 1);
        unmake_move(pos);
    }
    return leaves;
}

class Perft : public testing::TestWithParam<PerftCase> {};
class PerftLong : public testing::TestWithParam<PerftCase> {};

} // namespace

TEST_P(Perft, CountsTheLeavesNearTheRoot) {
    constexpr uint64_t FEW = 60000;
    const PerftCase& c = GetParam();
    for (size_t depth = 1; depth <= c.counts.size(); depth++) {
        uint64_t expected = c.counts[depth - 1];
        if (expected == 0 || expected > FEW) continue;
        EXPECT_EQ(count_leaves(c.fen, static_cast<int>(depth)), expected) << "depth " << depth;
    }
}

TEST_P(PerftLong, CountsTheLeavesOfTheDeepestTree) {
    const PerftCase& c = GetParam();
    EXPECT_EQ(count_leaves(c.fen, static_cast<int>(c.counts.size())), c.counts.back());
}

namespace {

// clang-format off
const PerftCase NORMAL_CHESS[] = {
    PerftCase{"Start", "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -",
              {20, 400, 8902, 197281, 4865609}},
    PerftCase{"ManyKindsOfMoves", "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq -",
              {48, 2039, 97862, 4085603}},
    PerftCase{"KingSideRight", "4k3/8/8/8/8/8/8/4K2R w K -",
              {15, 66, 1197, 7059, 133987, 764643}},
    PerftCase{"QueenSideRight", "4k3/8/8/8/8/8/8/R3K3 w Q -",
              {16, 71, 1287, 7626, 145232, 846648}},
    PerftCase{"BothRights", "4k3/8/8/8/8/8/8/R3K2R w KQ -",
              {26, 112, 3189, 17945, 532933, 2788982}},
    PerftCase{"KingBesideTheCorner", "8/8/8/8/8/8/6k1/4K2R w K -",
              {12, 38, 564, 2219, 37735, 185867}},
    PerftCase{"AllRights", "r3k2r/8/8/8/8/8/8/R3K2R w KQkq -",
              {26, 568, 13744, 314346, 7594526}},
    PerftCase{"RookOnB1", "r3k2r/8/8/8/8/8/8/1R2K2R w Kkq -",
              {25, 567, 14095, 328965, 8153719}},
    PerftCase{"RookOnG1", "r3k2r/8/8/8/8/8/8/R3K1R1 w Qkq -",
              {25, 547, 13579, 316214, 7878456}},
    PerftCase{"BlackRookOnB8", "1r2k2r/8/8/8/8/8/8/R3K2R w KQk -",
              {26, 583, 14252, 334705, 8198901}},
    PerftCase{"BlackAfterRookOnB1", "r3k2r/8/8/8/8/8/8/1R2K2R b Kkq -",
              {26, 583, 14252, 334705, 8198901}},
    PerftCase{"Knights", "8/1n4N1/2k5/8/8/5K2/1N4n1/8 w - -",
              {14, 195, 2760, 38675, 570726, 8107539}},
    PerftCase{"KnightsInTheCentre", "8/8/4k3/3Nn3/3nN3/4K3/8/8 w - -",
              {19, 289, 4442, 73584, 1198299}},
    PerftCase{"KnightInTheCorner", "K7/8/2n5/1n6/8/8/8/k6N w - -",
              {3, 51, 345, 5301, 38348, 588695}},
    PerftCase{"BishopsInTheCorners", "B6b/8/8/8/2K5/4k3/8/b6B w - -",
              {17, 278, 4607, 76778, 1320507}},
    PerftCase{"BishopsAndChecks", "8/8/1B6/7b/7k/8/2B1b3/7K w - -",
              {21, 316, 5744, 93338, 1713368}},
    PerftCase{"RooksOnTheSeventh", "7k/RR6/8/8/8/8/rr6/7K w - -",
              {19, 275, 5300, 104342, 2161211}},
    PerftCase{"RooksInTheCorners", "R6r/8/8/2K5/5k2/8/8/r6R w - -",
              {36, 1027, 29215, 771461}},
    PerftCase{"QueenAgainstQueen", "K7/8/8/3Q4/4q3/8/8/7k w - -",
              {6, 35, 495, 8349, 166741, 3370175}},
    PerftCase{"QueenChecks", "6qk/8/8/8/8/8/8/7K b - -",
              {22, 43, 1015, 4167, 105749, 419369}},
    PerftCase{"BlockedPawns", "8/8/8/8/8/K7/P7/k7 b - -",
              {1, 3, 12, 80, 342, 2343}},
    PerftCase{"KingInFrontOfPawn", "8/8/k7/p7/P7/K7/8/8 w - -",
              {3, 9, 57, 360, 1969, 10724}},
    PerftCase{"PassedPawns", "k7/8/3p4/8/3P4/8/8/7K b - -",
              {4, 15, 89, 537, 3309, 21104}},
    PerftCase{"PawnsSideBySide", "7k/3p4/8/8/3P4/8/8/K7 b - -",
              {5, 19, 117, 720, 5014, 32167}},
    PerftCase{"OnePromotionEach", "n1n5/1Pk5/8/8/8/8/5Kp1/5N1N w - -",
              {24, 421, 7421, 124608, 2193768}},
    PerftCase{"PromotionsWithCaptures", "8/PPPk4/8/8/8/8/4Kppp/8 w - -",
              {18, 270, 4699, 79355, 1533145}},
    PerftCase{"ThreePawnsEach", "n1n5/PPPk4/8/8/8/8/4Kppp/5N1N w - -",
              {24, 496, 9483, 182838, 3605103}},
    PerftCase{"EnPassantAlongTheRank", "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - -",
              {0, 0, 0, 43238, 674624}},
    PerftCase{"EnPassantPinnedOnTheRank", "3k4/3p4/8/K1P4r/8/8/8/8 b - -",
              {18, 92, 1670, 10138, 185429, 1134888}},
    PerftCase{"EnPassantPinnedOnTheDiagonal", "8/8/4k3/8/2p5/8/B2P2K1/8 w - -",
              {13, 102, 1266, 10276, 135655, 1015133}},
    PerftCase{"EnPassantGivesCheck", "8/8/1k6/2b5/2pP4/8/5K2/8 b - d3",
              {15, 126, 1928, 13931, 206379, 1440467}},
    PerftCase{"ShortCastlingGivesCheck", "5k2/8/8/8/8/8/8/4K2R w K -",
              {15, 66, 1198, 6399, 120330, 661072}},
    PerftCase{"LongCastlingGivesCheck", "3k4/8/8/8/8/8/8/R3K3 w Q -",
              {16, 71, 1286, 7418, 141077, 803711}},
    PerftCase{"CastlingRightsLost", "r3k2r/1b4bq/8/8/8/8/7B/R3K2R w KQkq -",
              {26, 1141, 27826, 1274206}},
    PerftCase{"CastlingPrevented", "r3k2r/8/3Q4/8/8/5q2/8/R3K2R b KQkq -",
              {44, 1494, 50509, 1720476}},
    PerftCase{"PromotionOutOfCheck", "2K2r2/4P3/8/8/8/8/8/3k4 w - -",
              {11, 133, 1442, 19174, 266199, 3821001}},
    PerftCase{"DiscoveredCheck", "8/8/1P2K3/8/2n5/1q6/8/5k2 b - -",
              {29, 165, 5160, 31961, 1004658}},
    PerftCase{"PromotionGivesCheck", "4k3/1P6/8/8/8/8/K7/8 w - -",
              {9, 40, 472, 2661, 38983, 217342}},
    PerftCase{"UnderPromotion", "8/P1k5/K7/8/8/8/8/8 w - -",
              {6, 27, 273, 1329, 18135, 92683}},
    PerftCase{"SelfStalemate", "K1k5/8/P7/8/8/8/8/8 w - -",
              {2, 6, 13, 63, 382, 2217}},
    PerftCase{"StalemateAndMate", "8/k1P5/8/1K6/8/8/8/8 w - -",
              {10, 25, 268, 926, 10857, 43261, 567584}},
    PerftCase{"DoubleCheck", "8/8/2k5/5q2/5n2/8/5K2/8 b - -",
              {37, 183, 6559, 23527}},
    PerftCase{"ABishopAgainstCastling", "1k6/1b6/8/8/7R/8/8/4K2R b K -",
              {13, 284, 3529, 85765, 1063513}},
    PerftCase{"AKnightAgainstCastling", "1k6/8/8/8/R7/1n6/8/R3K3 b Q -",
              {9, 193, 1676, 38751, 346695}}};

const PerftCase CHESS960[] = {
    PerftCase{"Game1", "qn1rkrbb/pp1p1ppp/2p1p3/3n4/4P2P/2NP4/PPP2PP1/Q1NRKRBB w FDfd -",
              {24, 585, 14769, 356950, 9482310}},
    PerftCase{"Game2", "nnr1brqb/1ppkp1pp/8/p2p1p2/1P1P4/N1P5/P3PPPP/N1RKBRQB w FC -",
              {23, 640, 15471, 444905}},
    PerftCase{"Game3", "nrbnk1rb/ppp1pq1p/3p4/5pp1/2P1P3/1N6/PP1PKPPP/1RBN1QRB w gb -",
              {25, 966, 24026, 920345}},
    PerftCase{"Game4", "bnrkqnrb/2pppp2/8/pp4pp/1P5P/6P1/P1PPPPB1/BNRKQNR1 w GCgc -",
              {34, 1059, 34090, 1054311}},
    PerftCase{"Game5", "1qrkrnbb/1p1p1ppp/pnp1p3/8/3PP3/P6P/1PP2PP1/NQRKRNBB w ECec -",
              {24, 688, 17342, 511444}},
    PerftCase{"Game6", "qrnnbkrb/p3p1pp/3p1p2/1pp5/PP2P3/8/2PP1PPP/QRNNBRKB w gb -",
              {30, 906, 27955, 872526}},
    PerftCase{"Game7", "1nbnkr1b/rppppppq/p7/7p/1P5P/3P2P1/P1P1PP2/RNBNKRQB w FAf -",
              {33, 823, 26696, 724828}},
    PerftCase{"Game8", "brnk1qrb/p1ppppp1/1p5p/8/P3n3/1N4P1/1PPPPPRP/BR1KNQ1B w Bgb -",
              {22, 638, 13991, 412346, 9760752}},
    PerftCase{"Game9", "rnqk1nbb/1pp2ppp/3pr3/p3p3/3P1P2/2N3N1/PPP1P1PP/R1QKR1BB w EAa -",
              {29, 883, 26412, 815098}},
    PerftCase{"Game10", "r1k1bnrb/1qpppppp/1p2n3/p7/1P5P/6P1/P1PPPP2/RQKNBNR1 w GAga -",
              {24, 806, 20693, 713220}},
    PerftCase{"Game11", "qrbk1rnb/p2ppp1p/5n2/1pp3p1/8/7P/PPPPPPPN/QRBKR1NB w Bfb -",
              {20, 619, 13448, 449630}},
    PerftCase{"Game12", "brk1r1qb/pp1ppnpp/2p2pn1/8/6N1/2N3P1/PPPPPP1P/BRK1R1QB w EBeb -",
              {32, 863, 28379, 773191}},
    PerftCase{"Game13", "rkr1nnbb/ppp2p1p/3p1qp1/4p3/P5P1/3PN3/1PP1PP1P/RKRQN1BB w CAca -",
              {28, 715, 20361, 555328}}};
// clang-format on

const auto case_name = [](const auto& test) { return test.param.name; };

} // namespace

INSTANTIATE_TEST_SUITE_P(NormalChess, Perft, testing::ValuesIn(NORMAL_CHESS), case_name);
INSTANTIATE_TEST_SUITE_P(NormalChess, PerftLong, testing::ValuesIn(NORMAL_CHESS), case_name);
INSTANTIATE_TEST_SUITE_P(Chess960, Perft, testing::ValuesIn(CHESS960), case_name);
INSTANTIATE_TEST_SUITE_P(Chess960, PerftLong, testing::ValuesIn(CHESS960), case_name);

TEST(RunPerft, CountsNothingAtDepthZeroAndBelow) {
    EXPECT_EQ(count_leaves(START_FEN, 0), 0u);
    EXPECT_EQ(count_leaves(START_FEN, -5), 0u);
}

TEST(RunPerft, TakesADepthAboveTwentyForTwenty) {
    // Neither side ever has more than one move, so that any depth has one leaf.
    const char* fen = "k2p4/1p1P4/1P6/8/8/1p6/1P1p4/K2P4 w - -";
    for (int depth : {1, 2, 7, 20, 21, 1000}) EXPECT_EQ(count_leaves(fen, depth), 1u) << depth;
}

TEST(RunPerft, OfAGameThatIsOver) {
    for (int depth : {1, 2, 20}) {
        EXPECT_EQ(count_leaves("R6k/8/6K1/8/8/8/8/8 b - -", depth), 0u) << "mate";
        EXPECT_EQ(count_leaves("7k/5Q2/6K1/8/8/8/8/8 b - -", depth), 0u) << "stalemate";
    }
}

TEST(RunPerft, LeavesOutCastlingThatOpensALineToTheKing) {
    // The rook on b1 shields its king from the rook on a1.
    const char* fen = "4k3/8/8/8/8/8/8/rRK5 w B -";
    EXPECT_EQ(count_leaves(fen, 1), legal_moves(set_up(fen)).size() - 1);
}

TEST(RunPerft, StartsAnewEachTimeAndKeepsThePosition) {
    Position& pos = set_up(START_FEN);
    play(pos, "e2e4 e7e5");
    EXPECT_EQ(run_perft(*main_thread, 2), count_by_list(pos, 2));
    EXPECT_EQ(run_perft(*main_thread, 1), 29u);
    EXPECT_EQ(thread_of(pos).perft_nodes, 29u);
    EXPECT_EQ(pos.owner->ply, 1);
    EXPECT_EQ(pos.owner->undo_index, 2);
    EXPECT_TRUE(consistent(pos));
}

TEST(RunPerft, AgreesWithTheCompleteListInRandomPositions) {
    Random random = {51};
    for (int round = 0; round < 60; round++) {
        std::string fen = fen_of(set_up_random(random, round % 2 != 0));
        uint64_t expected = count_by_list(set_up(fen.c_str()), 2);
        EXPECT_EQ(count_leaves(fen, 2), expected) << fen;
    }
}

namespace {

// One share of the positions of a larger file: FEN, then ";D1 20 ;D2 400" and so on.
class PerftFileLong : public testing::TestWithParam<int> {
protected:
    static constexpr int SHARES = 8;

    // Counts all depths up to `max_depth` that have at most `max_leaves` leaves.
    void count_share(const std::string& name, int max_depth, uint64_t max_leaves) {
        std::string path = shared_data(name);
        if (path.empty()) GTEST_SKIP() << "MIRD_TEST_DATA is not set";
        std::vector<std::string> lines = read_lines(path);
        ASSERT_FALSE(lines.empty()) << path;

        for (size_t i = static_cast<size_t>(GetParam()); i < lines.size(); i += SHARES) {
            const std::string& line = lines[i];
            std::string fen = line.substr(0, line.find(';'));
            int counted = 0;
            for (size_t at = line.find(";D"); at != std::string::npos;
                 at = line.find(";D", at + 1)) {
                char* end = nullptr;
                int depth = static_cast<int>(strtol(line.c_str() + at + 2, &end, 10));
                uint64_t expected = strtoull(end, nullptr, 10);
                if (depth > max_depth || expected > max_leaves) continue;
                EXPECT_EQ(count_leaves(fen, depth), expected) << fen << " depth " << depth;
                counted++;
            }
            EXPECT_GT(counted, 0) << line;
        }
    }
};

} // namespace

TEST_P(PerftFileLong, CountsTheShareOfStandardPositions) {
    count_share("perft/standard.epd", 6, 20000000);
}

TEST_P(PerftFileLong, CountsTheShareOfSpecialPositions) {
    count_share("perft/special.epd", 7, 20000000);
}

TEST_P(PerftFileLong, CountsTheShareOfChess960Positions) {
    count_share("perft/chess960.epd", 4, 20000000);
}

INSTANTIATE_TEST_SUITE_P(Share, PerftFileLong, testing::Range(0, 8));
