// The evaluation looks at a position and at its mirror images in the same way.

#include "hce_support.h"

namespace {

int fresh_score(const std::string& fen) {
    Position& pos = set_up(fen.c_str());
    return HceEval(*main_thread, pos.side, 1, 0);
}

// With two queens a side the pins depend on which of them stands on the lower square.
bool has_spare_queen(const std::string& fen) {
    const Position& pos = set_up(fen.c_str());
    return pop_count(pos.pieces[WHITE][QUEEN]) > 1 || pop_count(pos.pieces[BLACK][QUEEN]) > 1;
}

void expect_symmetry(uint64_t seed, int positions) {
    Random random = {seed};
    for (int n = 0; n < positions;) {
        std::string fen = n % 2 ? random_placement(random) : random_fen(random);
        if (has_spare_queen(fen)) continue;
        n++;
        int score = fresh_score(fen);
        ASSERT_EQ(fresh_score(mirrored(fen, 56)), score) << fen << ", colours exchanged";
        ASSERT_EQ(fresh_score(mirrored(fen, 7)), score) << fen << ", files mirrored";
    }
}

} // namespace

TEST(HceSymmetry, MirrorsScoreTheSame) { expect_symmetry(1, 500); }

TEST(HceSymmetryLong, MirrorsScoreTheSame) { expect_symmetry(2, 10000); }

TEST(HceSymmetry, MirrorExchangesColoursAndSides) {
    const std::string fen = "r3k2r/8/4q3/8/8/2P5/8/1N2K3 w - -";
    EXPECT_EQ(mirrored(fen, 56), "1n2k3/8/2p5/8/8/4Q3/8/R3K2R b - -");
    EXPECT_EQ(mirrored(fen, 7), "r2k3r/8/3q4/8/8/5P2/8/3K2N1 w - -");
}

TEST(HceSymmetry, StartPositionIsTheSideToMovesBonus) {
    EXPECT_EQ(fresh_score(START_FEN), 37);
    EXPECT_EQ(fresh_score("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR b KQkq -"), 37);
}
