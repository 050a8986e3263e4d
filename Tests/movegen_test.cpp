// The generators' orders, and the complete list.

#include <algorithm>

#include "board/movegen.h"
#include "board_support.h"

namespace {

using Names = std::string;

Names captures(const char* fen, int target = NO_SQUARE) {
    Position& pos = set_up(fen);
    MoveEntry list[LONGEST_LIST];
    return entry_names(list, gen_captures(pos, pos.side, list, target));
}

Names promotions(const char* fen, int all_pieces) {
    Position& pos = set_up(fen);
    MoveEntry list[LONGEST_LIST];
    return entry_names(list, gen_promotions(pos, pos.side, all_pieces, list));
}

Names seventh_pushes(const char* fen) {
    Position& pos = set_up(fen);
    MoveEntry list[LONGEST_LIST];
    return entry_names(list, gen_seventh_pushes(pos, pos.side, list));
}

Names quiets(const char* fen, int target = NO_SQUARE) {
    Position& pos = set_up(fen);
    MoveEntry list[LONGEST_LIST];
    return entry_names(list, gen_quiets(pos, pos.side, list, target));
}

} // namespace

TEST(GenCaptures, TakesWithWhitePawnsToTheWestFirst) {
    EXPECT_EQ(captures("4k3/8/8/p1p1p1p1/1P1P1P1P/8/8/4K3 w - -"),
              "b4a5 d4c5 f4e5 h4g5 b4c5 d4e5 f4g5");
}

TEST(GenCaptures, TakesWithBlackPawnsToTheWestFirst) {
    EXPECT_EQ(captures("4k3/8/8/p1p1p1p1/1P1P1P1P/8/8/4K3 b - -"),
              "c5b4 e5d4 g5f4 a5b4 c5d4 e5f4 g5h4");
}

TEST(GenCaptures, GoesFromPawnsToTheKingAndFromLowSquaresToHigh) {
    const char* fen = "3Q4/8/4K3/Q2p3R/2P1PN2/1BN5/1k4B1/3R4 w - -";
    EXPECT_EQ(captures(fen), "e4d5 c4d5 c3d5 f4d5 d1d5 h5d5 a5d5 d8d5 e6d5");
    EXPECT_EQ(captures("3Q4/8/4K3/Q2p3R/5N2/1BN5/1k4B1/3R4 w - -"),
              "c3d5 f4d5 g2d5 b3d5 d1d5 h5d5 a5d5 d8d5 e6d5");
}

TEST(GenCaptures, TakesTheTargetsOfOnePieceFromTheLowestSquare) {
    EXPECT_EQ(captures("4k3/8/2r1n3/1b3b2/3N4/1p3p2/2p1p3/K7 w - -"),
              "d4c2 d4e2 d4b3 d4f3 d4b5 d4f5 d4c6 d4e6");
    EXPECT_EQ(captures("4k3/8/1p1p1p2/8/1p1Q1p2/8/1p1p1p2/7K w - -"),
              "d4b2 d4d2 d4f2 d4b4 d4f4 d4b6 d4d6 d4f6");
}

TEST(GenCaptures, WritesMoverAndVictimAndNoScore) {
    Position& pos = set_up("4k3/8/8/3q4/8/4b3/8/3R3K b - -");
    MoveEntry list[LONGEST_LIST];
    for (MoveEntry& entry : list) entry.score = 1234;

    MoveEntry* end = gen_captures(pos, BLACK, list, NO_SQUARE);

    ASSERT_EQ(entry_names(list, end), "d5d1 d5h1");
    EXPECT_EQ(list[0].mover, piece_code(BLACK, QUEEN));
    EXPECT_EQ(list[0].victim, piece_code(WHITE, ROOK));
    EXPECT_EQ(list[0].score, 1234);
    EXPECT_EQ(list[1].victim, piece_code(WHITE, KING)) << "legality is not the generators' matter";
}

TEST(GenCaptures, LeaveTheLastRankToThePromotions) {
    EXPECT_EQ(captures("1n2k3/P7/8/8/8/8/8/4K3 w - -"), "");
    EXPECT_EQ(captures("4k3/8/8/8/8/8/p7/1N2K3 b - -"), "");
}

TEST(GenCaptures, EnPassantHasNoVictim) {
    Position& pos = set_up("4k3/8/8/3pP3/8/8/8/4K3 w - d6");
    MoveEntry list[LONGEST_LIST];

    MoveEntry* end = gen_captures(pos, WHITE, list, NO_SQUARE);

    EXPECT_EQ(entry_names(list, end), "e5d6");
    EXPECT_EQ(list[0].victim, 0);
    EXPECT_EQ(captures("4k3/8/8/2PpP3/8/8/8/4K3 w - d6"), "e5d6 c5d6");
    EXPECT_EQ(captures("4k3/8/8/8/2pPp3/8/8/4K3 b - d3"), "e4d3 c4d3");
}

TEST(GenCaptures, WithoutEnPassantSquareNothingIsTakenOnA1OrByIt) {
    EXPECT_EQ(captures("4k3/8/8/8/8/8/1p6/4K3 b - -"), "") << "b2 does not take on a1";
}

TEST(GenCaptures, InCheckTakeTheCheckerEnPassantAndWhatStandsNextToTheKing) {
    // The knight on d3 gives check; a7 and f1 do not.
    EXPECT_EQ(captures("4k3/p7/8/5pP1/8/R2n4/2P1P3/4Kn2 w - f6", sq("d3")),
              "e2d3 g5f6 c2d3 a3d3 e1f1");
}

TEST(GenCaptures, IgnoreAnEnPassantSquareOnAnOwnPiece) {
    EXPECT_EQ(captures("4k3/8/3N4/2P1P3/8/8/8/4K3 w - d6"), "d6e8");
}

TEST(GenPromotions, PushThenTakeToTheLowerAndTheHigherFile) {
    const char* fen = "1n1n1k1r/P1P4P/8/8/8/8/8/4K3 w - -";
    EXPECT_EQ(promotions(fen, 0), "a7a8q a7b8q c7c8q c7b8q c7d8q");
    EXPECT_EQ(promotions(fen, 1), "a7a8q a7a8n a7a8b a7a8r a7b8q a7b8n a7b8b a7b8r "
                                  "c7c8q c7c8n c7c8b c7c8r c7b8q c7b8n c7b8b c7b8r "
                                  "c7d8q c7d8n c7d8b c7d8r");
}

TEST(GenPromotions, OfBlackGoTheSameWay) {
    EXPECT_EQ(promotions("4k3/8/8/8/8/8/p1p4p/1N1N1K1R b - -", 0), "a2a1q a2b1q c2c1q c2b1q c2d1q");
}

TEST(GenPromotions, DoNotReachAroundTheEdge) {
    EXPECT_EQ(promotions("r6r/P6P/n6n/8/8/8/8/k3K3 w - -", 0), "");
    EXPECT_EQ(promotions("4k3/8/8/8/8/N6N/p6p/R3K2R b - -", 0), "");
}

TEST(GenSeventhPushes, GoFromTheLowestSquareWhereTheWayIsFree) {
    EXPECT_EQ(seventh_pushes("4k3/1n6/PPP4P/8/8/8/8/4K3 w - -"), "a6a7 c6c7 h6h7");
    EXPECT_EQ(seventh_pushes("4k3/8/8/8/8/ppp4p/1N6/4K3 b - -"), "a3a2 c3c2 h3h2");
}

TEST(GenQuiets, GoFromPushesToCastling) {
    EXPECT_EQ(quiets("4k3/8/8/p6p/P6P/1P1N4/2BP3Q/R3K2R w KQ -"),
              "b3b4 d3c1 d3b2 d3f2 d3b4 d3f4 d3c5 d3e5 c2b1 c2d1 "
              "a1b1 a1c1 a1d1 a1a2 a1a3 h1f1 h1g1 "
              "h2g1 h2e2 h2f2 h2g2 h2g3 h2h3 h2f4 h2e5 h2d6 h2c7 h2b8 "
              "e1d1 e1f1 e1e2 e1f2 o-o o-o-o");
}

TEST(GenQuiets, PushesSingleThenDouble) {
    EXPECT_EQ(quiets("k7/8/8/8/8/1n6/PPP5/K7 w - -"), "a2a3 c2c3 a2a4 c2c4 a1b1");
    EXPECT_EQ(quiets("k7/ppp5/1N6/8/8/8/8/K7 b - -"), "a7a6 c7c6 a7a5 c7c5 a8b8");
}

TEST(GenQuiets, LeaveOutThePushesToTheSeventhAndEighthRank) {
    EXPECT_EQ(quiets("k7/4P3/2P5/8/8/8/8/K7 w - -"), "a1b1 a1a2 a1b2");
    EXPECT_EQ(quiets("k7/8/8/8/8/2p5/4p3/K7 b - -"), "a8a7 a8b7 a8b8");
}

TEST(GenQuiets, ADoublePushNeedsBothSquares) {
    EXPECT_EQ(quiets("k7/8/8/8/1n6/2n5/1PP5/K7 w - -"), "b2b3 a1b1 a1a2");
}

TEST(GenQuiets, CastleKingSideFirst) {
    Position& pos = set_up("4k3/8/8/8/8/8/PPPPPPPP/R3K2R w KQ -");
    MoveEntry list[LONGEST_LIST];
    MoveEntry* end = gen_quiets(pos, WHITE, list, NO_SQUARE);

    ASSERT_EQ(entry_names(end - 4, end), "e1d1 e1f1 o-o o-o-o");
    EXPECT_EQ(end[-2].move, make_plain_move(E1, G1) | FLAG_KING_SIDE);
    EXPECT_EQ(end[-1].move, make_plain_move(E1, C1) | FLAG_QUEEN_SIDE);
    EXPECT_EQ(end[-1].mover, piece_code(WHITE, KING));
    EXPECT_EQ(end[-1].victim, 0);
}

TEST(GenQuiets, CastleAlsoOutOfAndThroughCheck) {
    Names names = quiets("4k3/8/8/8/4r1r1/8/8/R3K2R w KQ -");
    EXPECT_NE(names.find("o-o o-o-o"), Names::npos);
}

TEST(GenQuiets, CastleOnlyWithRightAndFreeWay) {
    EXPECT_EQ(quiets("4k3/8/8/8/8/8/8/R3K1NR w KQ -").find("o-o o-o-o"), Names::npos);
    EXPECT_NE(quiets("4k3/8/8/8/8/8/8/R3K1NR w KQ -").find("o-o-o"), Names::npos);
    EXPECT_EQ(quiets("4k3/8/8/8/8/8/8/RN2K2R w Q -").find("o-o"), Names::npos);
    EXPECT_EQ(quiets("4k3/8/8/8/8/8/8/R3K2R w - -").find("o-o"), Names::npos);
}

TEST(GenQuiets, CastleInChess960OntoTheFilesOfNormalChess) {
    Position& pos = set_up("4k3/8/8/8/8/8/8/RK4R1 w KQ -");
    MoveEntry list[LONGEST_LIST];
    MoveEntry* end = gen_quiets(pos, WHITE, list, NO_SQUARE);
    ASSERT_EQ(entry_names(end - 2, end), "o-o o-o-o");
    EXPECT_EQ(end[-2].move, make_plain_move(B1, G1) | FLAG_KING_SIDE);
    EXPECT_EQ(end[-1].move, make_plain_move(B1, C1) | FLAG_QUEEN_SIDE);

    // The king stands there already: from- and to-square are the same, the victim is nothing.
    end = gen_quiets(set_up("6kr/8/8/8/8/8/8/4K3 b k -"), BLACK, list, NO_SQUARE);
    EXPECT_EQ(end[-1].move, make_plain_move(G8, G8) | FLAG_KING_SIDE);
    EXPECT_EQ(end[-1].victim, 0);
}

TEST(GenQuiets, InCheckFromAKnightOnlyTheKingMoves) {
    EXPECT_EQ(quiets("4k3/p7/8/5pP1/8/R2n4/2P1P3/4Kn2 w - f6", sq("d3")), "e1d1 e1d2 e1f2");
}

TEST(GenQuiets, InCheckFromASliderBlockTheLine) {
    EXPECT_EQ(quiets("7k/8/8/8/K6r/4P3/6P1/8 w - -", sq("h4")),
              "e3e4 g2g4 a4a3 a4b3 a4b4 a4a5 a4b5");
    EXPECT_EQ(quiets("4r2k/8/8/8/8/2N5/3P1P2/R3K2R w KQ -", sq("e8")),
              "c3e2 c3e4 e1d1 e1f1 e1e2 o-o o-o-o");
}

TEST(GenQuiets, InDoubleCheckTheFirstCheckerLimits) {
    // Both e8 and b4 give check; blocks against e8 are written though they don't help.
    const char* fen = "4r2k/8/8/8/1b6/8/8/R3K1N1 w - -";
    EXPECT_EQ(quiets(fen, sq("e8")), "g1e2 e1d1 e1f1 e1d2 e1e2 e1f2");
    EXPECT_EQ(quiets(fen, sq("b4")), "e1d1 e1f1 e1d2 e1e2 e1f2");
    EXPECT_EQ(legal_moves(game()).size(), 3u) << "d1, f1 and f2";
}

TEST(GenQuiets, OfThePiecesGoFromLowSquaresToHigh) {
    EXPECT_EQ(quiets("k7/8/8/8/8/8/8/KN4NB w - -"),
              "b1d2 b1a3 b1c3 g1e2 g1f3 g1h3 h1g2 h1f3 h1e4 h1d5 h1c6 h1b7 a1a2 a1b2");
}

TEST(GenList, GivesTheTwentyMovesOfTheStartInTheirOrder) {
    set_up(START_FEN);
    EXPECT_EQ(entry_names(all_moves(game())),
              "a2a3 b2b3 c2c3 d2d3 e2e3 f2f3 g2g3 h2h3 a2a4 b2b4 c2c4 d2d4 e2e4 f2f4 g2g4 h2h4 "
              "b1a3 b1c3 g1f3 g1h3");
}

TEST(GenList, GoesFromCapturesOverPromotionsAndSeventhPushesToQuiets) {
    set_up("1n5k/P7/2P4p/6p1/7P/8/8/K7 w - -");
    EXPECT_EQ(entry_names(all_moves(game())),
              "h4g5 a7a8q a7a8n a7a8b a7a8r a7b8q a7b8n a7b8b a7b8r c6c7 h4h5 a1b1 a1a2 a1b2");
}

TEST(GenList, OfAPositionWithoutMovesIsEmpty) {
    EXPECT_TRUE(all_moves(set_up("8/8/8/8/8/8/8/8 w - -")).empty());
}

TEST(GenList, ReturnsThePlaceOfItsSentinel) {
    MoveEntry list[LONGEST_LIST];
    EXPECT_EQ(gen_list(set_up(START_FEN), list), list + 20);
    EXPECT_EQ(list[20].move, LIST_END);
}

TEST(GenList, AsksOnlyThePosition) {
    Position& pos = set_up(START_FEN);
    pos.owner->ply = 500;
    EXPECT_EQ(all_moves(pos).size(), 20u);
    EXPECT_EQ(pos.owner->ply, 500);
    pos.owner->ply = 1;
}

TEST(GenList, OfWhateverATextSetsUpHasRoom) {
    // More pieces than any game has: random ones on every second or third square, and every
    // square but for a few.
    Random random = {7};
    const std::string letters = "QQQQNNNPRBK";
    size_t longest = 0;
    for (int round = 0; round < 20000; round++) {
        std::string fen;
        const int kinds = 1 + random_below(random, 11), gaps = 1 + random_below(random, 4);
        for (int rank = 0; rank < 8; rank++) {
            for (int file = 0; file < 8; file++)
                if (random_below(random, gaps + 1) < gaps) fen += '1';
                else fen += letters[static_cast<size_t>(random_below(random, kinds))];
            fen += rank < 7 ? "/" : " w - -";
        }
        longest = std::max(longest, all_moves(set_up(fen.c_str())).size());
    }
    EXPECT_GT(longest, 200u);
    EXPECT_LT(longest, static_cast<size_t>(LONGEST_ODD_LIST));
    set_up(START_FEN);
}
