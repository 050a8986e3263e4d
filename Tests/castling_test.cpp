// Castling, of normal chess and Chess960: its squares, its rights, what the rules forbid.

#include "board/castling.h"
#include "board/legal.h"
#include "board/make.h"
#include "board_support.h"

namespace {

struct CastlingCase {
    const char* name; // becomes part of the test's name
    const char* fen;
    Move flag;
    const char* after;
};

void PrintTo(const CastlingCase& c, std::ostream* out) { *out << c.name; }

class Chess960Castling : public testing::TestWithParam<CastlingCase> {};

} // namespace

TEST_P(Chess960Castling, PutsKingAndRookInTheirPlacesAndBack) {
    const CastlingCase& c = GetParam();
    Position& pos = set_up(c.fen);
    Snapshot old = snapshot(pos);
    Move castling = NULL_MOVE;
    for (Move move : legal_moves(pos))
        if ((move & FLAG_MASK) == c.flag) castling = move;
    ASSERT_NE(castling, NULL_MOVE);
    pos.halfmoves = old.position.halfmoves = 9;

    make_move(pos, castling);

    EXPECT_EQ(fen_of(pos), c.after);
    EXPECT_TRUE(consistent(pos));
    EXPECT_EQ(pos.halfmoves, 0) << "castling counts as irreversible";
    EXPECT_EQ(pos.owner->undo_stack[0].captured, 0);
    unmake_move(pos);
    EXPECT_TRUE(unchanged(old, pos));
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Table, Chess960Castling, testing::Values(
    CastlingCase{"TradePlacesKingSide", "4k3/8/8/8/8/8/8/5KR1 w K -", FLAG_KING_SIDE, "4k3/8/8/8/8/8/8/5RK1 b - -"},
    CastlingCase{"TradePlacesQueenSide", "4k3/8/8/8/8/8/8/2RK4 w Q -", FLAG_QUEEN_SIDE, "4k3/8/8/8/8/8/8/2KR4 b - -"},
    CastlingCase{"OnlyTheRookMoves", "4k3/8/8/8/8/8/8/6KR w K -", FLAG_KING_SIDE, "4k3/8/8/8/8/8/8/5RK1 b - -"},
    CastlingCase{"OnlyTheRookMovesOnC1", "4k3/8/8/8/8/8/8/R1K5 w Q -", FLAG_QUEEN_SIDE, "4k3/8/8/8/8/8/8/2KR4 b - -"},
    CastlingCase{"OnlyTheKingMoves", "4k3/8/8/8/8/8/8/3RK3 w Q -", FLAG_QUEEN_SIDE, "4k3/8/8/8/8/8/8/2KR4 b - -"},
    CastlingCase{"KingGoesBackwards", "4k3/8/8/8/8/8/8/RK4R1 w KQ -", FLAG_QUEEN_SIDE, "4k3/8/8/8/8/8/8/2KR2R1 b - -"},
    CastlingCase{"KingGoesFar", "4k3/8/8/8/8/8/8/RK4R1 w KQ -", FLAG_KING_SIDE, "4k3/8/8/8/8/8/8/R4RK1 b - -"},
    CastlingCase{"KingOntoTheRooksSquare", "4k3/8/8/8/8/8/8/4K1R1 w K -", FLAG_KING_SIDE, "4k3/8/8/8/8/8/8/5RK1 b - -"},
    CastlingCase{"RookOntoTheKingsSquare", "4k3/8/8/8/8/8/8/5K1R w K -", FLAG_KING_SIDE, "4k3/8/8/8/8/8/8/5RK1 b - -"},
    CastlingCase{"Black", "1rk3r1/8/8/8/8/8/8/4K3 b kq -", FLAG_QUEEN_SIDE, "2kr2r1/8/8/8/8/8/8/4K3 w - -"},
    CastlingCase{"BlackTradePlaces", "5kr1/8/8/8/8/8/8/4K3 b k -", FLAG_KING_SIDE, "5rk1/8/8/8/8/8/8/4K3 w - -"}),
    [](const auto& test) { return test.param.name; });
// clang-format on

TEST(MakeMove, StoresCastlingWithTheKingsOwnTarget) {
    Position& pos = set_up("4k3/8/8/8/8/8/8/R3K2R w KQ -");
    Snapshot old = snapshot(pos);

    make_move(pos, static_cast<Move>(plain("e1h1") | FLAG_KING_SIDE)); // king takes rook

    Move stored = static_cast<Move>(plain("e1g1") | FLAG_KING_SIDE);
    EXPECT_EQ(fen_of(pos), "4k3/8/8/8/8/8/8/R4RK1 b - -");
    EXPECT_EQ(pos.owner->last_move, stored);
    EXPECT_EQ(pos.owner->undo_stack[0].move, stored);
    EXPECT_EQ(pos.touched, bit(E1) | bit(G1));
    unmake_move(pos);
    EXPECT_TRUE(unchanged(old, pos));
}

TEST(MakeMove, ARookThatLeavesItsCornerEndsTheRightForGood) {
    Position& pos = set_up("r3k2r/8/8/8/8/8/8/R3K2R w KQkq -");
    play(pos, "h1h2");
    EXPECT_EQ(pos.castling, 14);
    uint64_t touched = pos.touched;
    play(pos, "a8a7 h2h1 a7a8");
    EXPECT_EQ(pos.castling, 2 + 4) << "coming back helps neither side";
    EXPECT_EQ(pos.touched & touched, touched);
    EXPECT_EQ(find_move(pos, "e1g1"), NULL_MOVE);
    EXPECT_NE(find_move(pos, "e1c1"), NULL_MOVE);
}

TEST(MakeMove, ACapturedRookEndsTheRight) {
    Position& pos = set_up("r3k2r/8/8/8/8/6n1/8/R3K2R b KQkq -");
    make_move(pos, must_find(pos, "g3h1"));
    EXPECT_EQ(pos.castling, 14);
    EXPECT_EQ(pos.castle_rook[0], H1) << "what belongs to a dead right stays filled";
    EXPECT_EQ(pos.castle_mask[0], bit(E1) | bit(H1));
}

TEST(LegalMove, ForbidsCastlingOutOfThroughAndIntoCheck) {
    auto castling = [](const char* fen, const char* move) {
        Position& pos = set_up(fen);
        Move flag = move[2] == 'g' ? FLAG_KING_SIDE : FLAG_QUEEN_SIDE;
        return legal_move(pos, pos.side, static_cast<Move>(plain(move) | flag));
    };
    EXPECT_EQ(castling("4k3/8/8/8/8/8/8/R3K2R w KQ -", "e1g1"), 1);
    EXPECT_EQ(castling("4r1k1/8/8/8/8/8/8/R3K2R w KQ -", "e1g1"), 0) << "out of check";
    EXPECT_EQ(castling("4r1k1/8/8/8/8/8/8/R3K2R w KQ -", "e1c1"), 0);
    EXPECT_EQ(castling("5rk1/8/8/8/8/8/8/R3K2R w KQ -", "e1g1"), 0) << "through check";
    EXPECT_EQ(castling("5rk1/8/8/8/8/8/8/R3K2R w KQ -", "e1c1"), 1);
    EXPECT_EQ(castling("4k1r1/8/8/8/8/8/8/R3K2R w KQ -", "e1g1"), 0) << "into check";
    EXPECT_EQ(castling("1r2k3/8/8/8/8/8/8/R3K2R w KQ -", "e1c1"), 1) << "b1 is the rook's affair";
    EXPECT_EQ(castling("4k2r/8/8/8/8/8/8/R3K2R w KQ -", "e1g1"), 1)
        << "an attacked rook may castle";
    EXPECT_EQ(castling("4k3/8/8/8/8/8/6p1/R3K2R w KQ -", "e1g1"), 0) << "pawns attack too";
    EXPECT_EQ(castling("4k3/8/8/8/8/8/1k6/R3K2R w KQ -", "e1c1"), 0) << "kings as well";
}

TEST(LegalMove, TestsTheKingsPathInChess960) {
    auto legal = [](const char* fen, Move move) { return legal_move(set_up(fen), WHITE, move); };
    Move far = static_cast<Move>(plain("b1g1") | FLAG_KING_SIDE);
    EXPECT_EQ(legal("4k3/8/8/8/8/8/8/RK4R1 w KQ -", far), 1);
    EXPECT_EQ(legal("3rk3/8/8/8/8/8/8/RK4R1 w KQ -", far), 0);
    Move stay = static_cast<Move>(plain("g1g1") | FLAG_KING_SIDE);
    EXPECT_EQ(legal("4k3/8/8/8/8/8/8/6KR w K -", stay), 1);
    EXPECT_EQ(legal("4k1r1/8/8/8/8/8/8/6KR w K -", stay), 0);
    EXPECT_EQ(legal("4kr2/8/8/8/8/8/8/6KR w K -", stay), 1) << "the rook may cross";
}

TEST(CastlingExposesKing, WhenTheRookLeavesALineToIt) {
    // The rook on b1 shields the king on c1 from the rook on a1, and castling takes it away.
    Position& pos = set_up("4k3/8/8/8/8/8/8/rRK5 w B -");
    Move castling = static_cast<Move>(plain("c1c1") | FLAG_QUEEN_SIDE);

    EXPECT_EQ(legal_move(pos, WHITE, castling), 1) << "the king's path alone is looked at";
    EXPECT_EQ(castling_exposes_king(pos, WHITE, castling), 1);
    EXPECT_EQ(castling_exposes_king(pos, WHITE, plain("c1c2")), 0) << "not castling";

    set_up("4k3/8/8/8/8/8/8/nRK5 w B -");
    EXPECT_EQ(castling_exposes_king(game(), WHITE, castling), 0);
}

TEST(CastlingExposesKing, NeverInNormalChess) {
    Position& pos = set_up("r3k2r/8/8/8/8/8/8/R3K2R w KQkq -");
    for (Move move : legal_moves(pos)) EXPECT_EQ(castling_exposes_king(pos, WHITE, move), 0);
}

TEST(CastlingRight, IsNumberedByColourAndWing) {
    int right = 0;
    for (int side : {WHITE, BLACK})
        for (int wing : {KING_SIDE, QUEEN_SIDE}) {
            EXPECT_EQ(castling_right(side, wing), right);
            EXPECT_EQ(side_of_right(right), side);
            EXPECT_EQ(wing_of_right(right), wing);
            EXPECT_EQ(castling_wing(wing_flag(wing)), wing);
            right++;
        }
    EXPECT_EQ(right, CASTLING_RIGHTS);
    Position& pos = set_up("r3k3/8/8/8/8/8/8/4K2R w Kq -");
    for (int i = 0; i < CASTLING_RIGHTS; i++) EXPECT_EQ(has_right(pos, i), i == 0 || i == 3) << i;
}

TEST(CastledSquares, AreThoseOfNormalChessOnTheHomeRank) {
    EXPECT_EQ(castled_king_square(sq("b1"), KING_SIDE), sq("g1"));
    EXPECT_EQ(castled_rook_square(sq("b1"), KING_SIDE), sq("f1"));
    EXPECT_EQ(castled_king_square(sq("b1"), QUEEN_SIDE), sq("c1"));
    EXPECT_EQ(castled_rook_square(sq("b1"), QUEEN_SIDE), sq("d1"));
    EXPECT_EQ(castled_king_square(sq("e8"), KING_SIDE), sq("g8"));
    EXPECT_EQ(castled_rook_square(sq("e8"), KING_SIDE), sq("f8"));
    EXPECT_EQ(castled_king_square(sq("e8"), QUEEN_SIDE), sq("c8"));
    EXPECT_EQ(castled_rook_square(sq("e8"), QUEEN_SIDE), sq("d8"));
}

TEST(WayIsFree, WithTheRightAndWithoutPiecesBetween) {
    auto free = [](const char* fen, int wing) {
        return way_is_free(set_up(fen), castling_right(WHITE, wing));
    };
    EXPECT_TRUE(free("4k3/8/8/8/8/8/8/R3K2R w KQ -", KING_SIDE));
    EXPECT_TRUE(free("4k3/8/8/8/8/8/8/R3K2R w KQ -", QUEEN_SIDE));
    EXPECT_FALSE(free("4k3/8/8/8/8/8/8/R3K2R w Q -", KING_SIDE));
    EXPECT_FALSE(free("4k3/8/8/8/8/8/8/RN2K2R w KQ -", QUEEN_SIDE)) << "in the rook's way";
    EXPECT_TRUE(free("4k3/8/8/8/6r1/8/8/R3K2R w KQ -", KING_SIDE)) << "attacks are not seen";
}

// A text may set up a second king. The right stays with the first one, the move is the other's.
TEST(CastledSquares, LieOnTheRankOfTheKingThatMoves) {
    Position& pos = set_up("4k3/8/8/8/4K3/8/8/4K2R w K -");
    make_move(pos, make_plain_move(sq("e4"), sq("e5")));
    make_move(pos, make_plain_move(sq("e8"), sq("d8")));
    const Move move = castling_move(pos, WHITE, KING_SIDE);
    EXPECT_EQ(move_to(move), sq("g5"));

    const Snapshot before = snapshot(pos);
    make_move(pos, move);
    EXPECT_EQ(pos.board[sq("g5")], piece_code(WHITE, KING));
    EXPECT_EQ(pos.board[sq("f5")], piece_code(WHITE, ROOK));
    unmake_move(pos);
    EXPECT_TRUE(unchanged(before, pos));
}
