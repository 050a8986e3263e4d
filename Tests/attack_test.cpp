// Attacks, pins and supported attacks on the board as it stands.

#include "board/attack.h"
#include "board/see.h"
#include "board_support.h"

TEST(SquareAttacked, EqualsTheSearchForAnAttacker) {
    Random random = {17};
    for (int round = 0; round < 500; round++) {
        Position& pos = set_up_random(random, false);
        for (int square = 0; square < SQUARES; square++)
            for (int side : {WHITE, BLACK})
                ASSERT_EQ(square_attacked(pos, square, side) != 0,
                          least_attacker(pos, square, side, occupied(pos)) != NO_SQUARE)
                    << SQUARE_NAMES[square] << " in " << fen_of(pos);
    }
}

TEST(SquareAttacked, ByEachKindOfPiece) {
    Position& pos = set_up("7k/8/8/8/3P4/8/8/K7 w - -");
    EXPECT_TRUE(square_attacked(pos, sq("c5"), WHITE));
    EXPECT_TRUE(square_attacked(pos, sq("e5"), WHITE));
    EXPECT_FALSE(square_attacked(pos, sq("d5"), WHITE));
    EXPECT_FALSE(square_attacked(pos, sq("c3"), WHITE)) << "not backwards";
    EXPECT_TRUE(square_attacked(pos, sq("b2"), WHITE)) << "king";
    EXPECT_TRUE(square_attacked(pos, sq("g7"), BLACK));
    set_up("7k/8/8/2pR4/8/8/1N6/K6b w - -");
    EXPECT_TRUE(square_attacked(pos, sq("c5"), WHITE)) << "rook, on an occupied square";
    EXPECT_FALSE(square_attacked(pos, sq("b5"), WHITE)) << "behind the pawn";
    EXPECT_TRUE(square_attacked(pos, sq("d1"), WHITE)) << "knight";
    EXPECT_TRUE(square_attacked(pos, sq("d5"), BLACK)) << "bishop";
    EXPECT_FALSE(square_attacked(pos, sq("c6"), BLACK)) << "behind the rook";
}

TEST(PinnedPieces, ToTheKingByAnySlider) {
    EXPECT_EQ(pinned_pieces(set_up("k3r3/8/8/8/4N3/8/8/4K3 w - -"), WHITE), squares("e4"));
    EXPECT_EQ(pinned_pieces(set_up("k3q3/8/8/8/4P3/8/8/4K3 w - -"), WHITE), squares("e4"));
    EXPECT_EQ(pinned_pieces(set_up("k7/8/8/8/1b6/2R5/8/4K3 w - -"), WHITE), squares("c3"));
    EXPECT_EQ(pinned_pieces(set_up("k7/8/8/8/1q6/2R5/8/4K3 b - -"), WHITE), squares("c3"))
        << "whoever is to move";
    EXPECT_EQ(pinned_pieces(set_up("k3r3/8/8/8/1b5q/2R3N1/4B3/4K3 w - -"), WHITE),
              squares("c3 g3 e2"));
    EXPECT_EQ(pinned_pieces(set_up("4k3/4n3/8/8/8/8/8/K3R3 w - -"), BLACK), squares("e7"));
}

TEST(PinnedPieces, OnlyALoneBlockerOfTheOwnColour) {
    EXPECT_EQ(pinned_pieces(set_up("k3r3/8/8/4P3/4N3/8/8/4K3 w - -"), WHITE), 0u) << "two";
    EXPECT_EQ(pinned_pieces(set_up("k3r3/8/8/4p3/8/8/8/4K3 w - -"), WHITE), 0u) << "an enemy";
    EXPECT_EQ(pinned_pieces(set_up("k3b3/8/8/4N3/8/8/8/4K3 w - -"), WHITE), 0u) << "no line";
    EXPECT_EQ(pinned_pieces(set_up("k3r3/8/8/8/8/8/8/4K3 w - -"), WHITE), 0u) << "a check";
}

TEST(PinnedPieces, ToTheQueenOnTheLowestSquareByBishopsAndRooks) {
    EXPECT_EQ(pinned_pieces(set_up("k2r4/8/8/8/3N4/8/8/3Q3K w - -"), WHITE), squares("d4"));
    EXPECT_EQ(pinned_pieces(set_up("k7/8/8/8/b7/1P6/8/3Q3K w - -"), WHITE), squares("b3"));
    EXPECT_EQ(pinned_pieces(set_up("k2q4/8/8/8/3N4/8/8/3Q3K w - -"), WHITE), 0u)
        << "queens don't pin to a queen";
    EXPECT_EQ(pinned_pieces(set_up("k2r4/8/3N4/3Q4/8/8/8/1Q5K w - -"), WHITE), 0u)
        << "only the queen on the lowest square counts";
    EXPECT_EQ(pinned_pieces(set_up("8/8/8/8/8/8/8/8 w - -"), WHITE), 0u);
}

TEST(DiscoversSupport, OfARookOnANewLine) {
    auto support = [](const char* fen, int type, const char* move, const char* target) {
        Position& pos = set_up(fen);
        Snapshot old = snapshot(pos);
        int result = discovers_support(pos, type, sq(move), sq(move + 2), squares(target));
        EXPECT_TRUE(unchanged(old, pos));
        return result;
    };
    EXPECT_EQ(support("3r3k/8/8/8/R7/8/8/3R3K w - -", ROOK, "a4d4", "d8"), 1) << "backed by d1";
    EXPECT_EQ(support("3r3k/8/8/8/R7/8/8/7K w - -", ROOK, "a4d4", "d8"), 0) << "backed by nobody";
    EXPECT_EQ(support("3r3k/8/3P4/8/R7/8/8/3R3K w - -", ROOK, "a4d4", "d8"), 0) << "barred";
    EXPECT_EQ(support("3r3k/8/3R4/8/R7/8/8/7K w - -", ROOK, "a4d4", "d8"), 1)
        << "an own rook does not bar the way";
    EXPECT_EQ(support("3r3k/8/3Q4/8/R7/8/8/7K w - -", ROOK, "a4d4", "d8"), 1);
    EXPECT_EQ(support("3r3k/8/8/8/8/3R4/8/3R3K w - -", ROOK, "d3d4", "d8"), 0) << "an old line";
    EXPECT_EQ(support("3r3k/8/8/8/R7/8/8/3R3K w - -", ROOK, "a4d4", "g7"), 0) << "no line";
    EXPECT_EQ(support("7k/p7/8/8/8/8/8/R1B4K w - -", ROOK, "c1e3", "a7"), 0) << "no diagonals";
    EXPECT_EQ(support("7k/p7/8/8/8/8/8/R1B4K w - -", BISHOP, "c1e3", "a7"), 1);
    EXPECT_EQ(support("7k/p7/8/2P5/8/8/8/R1B4K w - -", BISHOP, "c1e3", "a7"), 0) << "barred";
    EXPECT_EQ(support("7k/p7/8/2B5/8/8/8/R1B4K w - -", BISHOP, "c1e3", "a7"), 1);
    EXPECT_EQ(support("7k/8/1p6/8/3B4/8/8/1R5K w - -", BISHOP, "d4c5", "b6"), 0) << "an old line";
    EXPECT_EQ(support("7k/p7/8/8/8/8/8/R1Q4K w - -", QUEEN, "c1e3", "a7"), 1) << "both lines";
    EXPECT_EQ(support("3r3k/8/8/8/Q7/8/8/3R3K w - -", QUEEN, "a4d4", "d8"), 1)
        << "the rank and file are new, though a4 sees d8 on the diagonal";
}
