// Static exchanges and the attacker finders below them.

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <vector>

#include "board/see.h"
#include "board_support.h"

namespace {

// Exchange value of a capture, by names; "-" for the least valuable attacker.
int value(const char* fen, const char* from, const char* to) {
    Position& pos = set_up(fen);
    return see(pos, pos.side, from[0] == '-' ? NO_SQUARE : sq(from), sq(to));
}

std::string attacker(const Position& pos, const char* square, int side, Bitboard occ) {
    return SQUARE_NAMES[least_attacker(pos, sq(square), side, occ)];
}

// Tells whether the piece on `from` attacks `to`, one step at a time.
bool walks_to(const Position& pos, int from, int to, Bitboard occ) {
    int files = file_of(to) - file_of(from), ranks = rank_of(to) - rank_of(from);
    int width = std::abs(files), height = std::abs(ranks), code = pos.board[from];
    bool straight = width == 0 || height == 0, diagonal = width == height;
    switch (type_of(code)) {
    case PAWN: return width == 1 && ranks == (colour_of(code) == WHITE ? 1 : -1);
    case KNIGHT: return width * height == 2;
    case KING: return std::max(width, height) == 1;
    case BISHOP:
        if (!diagonal) return false;
        break;
    case ROOK:
        if (!straight) return false;
        break;
    default:
        if (!diagonal && !straight) return false;
    }
    if (from == to) return false;
    int steps = std::max(width, height);
    for (int i = 1; i < steps; i++)
        if (occ & bit((rank_of(from) + ranks / steps * i) * 8 + file_of(from) + files / steps * i))
            return false;
    return true;
}

// The exchange on a square, with every recapture by the least attacker and either side free to
// stop; written after the rules, with a list of gains.
int slow_exchange(const Position& pos, int side, int from, int to) {
    std::vector<int> taken; // value of what stands on the square, capture by capture
    Bitboard occ = occupied(pos);
    int standing = type_of(pos.board[to]);
    for (int mover = from, turn = side; mover != NO_SQUARE; turn ^= 1) {
        occ &= ~bit(mover);
        int next = least_attacker(pos, to, turn ^ 1, occ);
        bool king = type_of(pos.board[mover]) == KING;
        if (king && next != NO_SQUARE && mover != from) break; // it must not capture
        taken.push_back(see_value[standing]);
        standing = type_of(pos.board[mover]);
        mover = next;
    }
    int reply = 0;
    for (size_t i = taken.size(); i-- > 1;) reply = std::max(taken[i] - reply, 0);
    return taken[0] - reply;
}

// Taken before any search of these tests.
const std::vector<int> FIRST_VALUES(std::begin(see_value), std::end(see_value));

} // namespace

TEST(ExchangeValues, AreLowerBeforeTheFirstSearch) {
    EXPECT_EQ(FIRST_VALUES, (std::vector<int>{0, 100, 335, 335, 535, 1035, 10000, 0}));
}

TEST(ExchangeValues, AreThoseOfEverySearch) {
    set_exchange_values();
    const int expected[7] = {0, 100, 350, 350, 550, 1075, 9000};
    for (int type = 0; type <= KING; type++) EXPECT_EQ(see_value[type], expected[type]);
}

TEST(LeastAttacker, GoesByValueThenByTheLowestSquare) {
    Position& pos = set_up("3Q4/4K3/4B3/R3n2R/2P1P3/2N1N3/8/3Q2k1 w - -");
    Bitboard occ = occupied(pos);
    // Attackers of d5: c4, e4, c3, e3, e6 and d1, d8; the knight on e5 stands in h5's way.
    for (const char* expected : {"c4", "e4", "c3", "e3", "e6", "a5", "d1", "d8", "-"}) {
        ASSERT_EQ(attacker(pos, "d5", WHITE, occ), expected);
        if (expected[0] != '-') occ &= ~bit(sq(expected));
    }
}

TEST(LeastAttacker, TakesTheKingLast) {
    Position& pos = set_up("8/8/3K4/8/8/8/8/3Q2k1 w - -");
    EXPECT_EQ(attacker(pos, "d5", WHITE, occupied(pos)), "d1");
    EXPECT_EQ(attacker(pos, "d5", WHITE, occupied(pos) & ~bit(D1)), "d6");
    EXPECT_EQ(attacker(pos, "d5", WHITE, occupied(pos) & ~bit(D1) & ~bit(sq("d6"))), "-");
}

TEST(LeastAttacker, SeesThroughPiecesThatAreUsedUp) {
    Position& pos = set_up("k2r4/3q4/8/8/8/8/8/K7 b - -");
    EXPECT_EQ(attacker(pos, "d3", BLACK, occupied(pos)), "d7");
    EXPECT_EQ(attacker(pos, "d3", BLACK, occupied(pos) & ~bit(sq("d7"))), "d8");
}

TEST(LeastAttacker, EqualsASearchOfTheWholeBoard) {
    Random random = {21};
    for (int round = 0; round < 400; round++) {
        Position& pos = set_up_random(random, false);
        Bitboard occ = occupied(pos) & (next_random(random) | next_random(random));
        for (int square = 0; square < SQUARES; square++)
            for (int side : {WHITE, BLACK}) {
                int expected = NO_SQUARE;
                for (int from = 63; from >= 0; from--) {
                    int code = pos.board[from];
                    if (!code || colour_of(code) != side || !(occ & bit(from))) continue;
                    if (!walks_to(pos, from, square, occ)) continue;
                    if (expected == NO_SQUARE || type_of(code) <= type_of(pos.board[expected]))
                        expected = from;
                }
                ASSERT_EQ(least_attacker(pos, square, side, occ), expected)
                    << SQUARE_NAMES[square] << " in " << fen_of(pos);
            }
    }
}

TEST(FirstAttacker, FindsTheChecker) {
    Position& pos = set_up("4r1k1/8/8/8/1b6/8/8/R3K1N1 w - -");
    EXPECT_EQ(first_attacker(pos, E1, BLACK, occupied(pos)), sq("b4")) << "one of the two";
    EXPECT_EQ(first_attacker(pos, sq("g8"), WHITE, occupied(pos)), NO_SQUARE);
    EXPECT_EQ(first_attacker(pos, NO_SQUARE, WHITE, occupied(pos)), NO_SQUARE) << "no king";
}

TEST(See, OfAForcedCapture) {
    // An undefended victim gives its full value.
    EXPECT_EQ(value("4k3/8/8/3p4/8/4N3/8/4K3 w - -", "e3", "d5"), 100);
    EXPECT_EQ(value("4k3/8/8/3n4/8/4N3/8/4K3 w - -", "e3", "d5"), 350);
    EXPECT_EQ(value("4k3/8/8/3b4/8/4N3/8/4K3 w - -", "e3", "d5"), 350);
    EXPECT_EQ(value("4k3/8/8/3r4/8/4N3/8/4K3 w - -", "e3", "d5"), 550);
    EXPECT_EQ(value("4k3/8/8/3q4/8/4N3/8/4K3 w - -", "e3", "d5"), 1075);

    // A defended one costs the capturing piece.
    EXPECT_EQ(value("4k3/8/2p5/3p4/8/8/8/K2Q4 w - -", "d1", "d5"), 100 - 1075);
    EXPECT_EQ(value("4k3/8/2p5/3p4/4P3/8/8/4K3 w - -", "e4", "d5"), 0);
    EXPECT_EQ(value("4k3/8/2p5/3n4/4P3/8/8/4K3 w - -", "e4", "d5"), 250);
}

TEST(See, BringsInTheRookBehindTheRook) {
    EXPECT_EQ(value("k2r4/8/8/3p4/8/8/8/K2R4 w - -", "d1", "d5"), 100 - 550);
    EXPECT_EQ(value("k2r4/8/8/3p4/8/8/3R4/K2R4 w - -", "d2", "d5"), 100)
        << "the second rook takes back, so that black does not";
    EXPECT_EQ(value("k2r4/3r4/8/3p4/8/8/3R4/K2R4 w - -", "d2", "d5"), 100 - 550);
    EXPECT_EQ(value("k7/8/2p5/3p4/8/8/3R4/K2R4 w - -", "d2", "d5"), 100 - 550 + 100)
        << "a pawn takes back and is taken";
}

TEST(See, OfAKingThatTakesADefendedPieceIsHopeless) {
    EXPECT_EQ(value("k2r4/8/8/3p4/4K3/8/8/8 w - -", "e4", "d5"), 100 - 9999);
    EXPECT_LE(value("k2r4/8/8/3q4/4K3/8/8/8 w - -", "e4", "d5"), -8900);
    EXPECT_EQ(value("k7/8/8/3q4/4K3/8/8/8 w - -", "e4", "d5"), 1075) << "undefended";
}

TEST(See, OfAMoveToAnEmptySquare) {
    EXPECT_EQ(value("4k3/8/2p5/8/8/4N3/8/4K3 w - -", "e3", "d5"), -350);
    EXPECT_EQ(value("4k3/8/8/8/8/4N3/8/4K3 w - -", "e3", "d5"), 0);
    EXPECT_EQ(value("4k3/8/2p5/8/8/4N3/2B5/4K3 w - -", "e3", "d5"), -350) << "no backing";
    EXPECT_EQ(value("4k3/8/2p5/8/8/4N3/6B1/4K3 w - -", "e3", "d5"), -250) << "the pawn falls";
}

TEST(See, KnowsNeitherEnPassantNorPromotion) {
    EXPECT_EQ(value("4k3/8/8/3pP3/8/8/8/4K3 w - d6", "e5", "d6"), 0);
    EXPECT_EQ(value("4k3/2p5/8/3pP3/8/8/8/4K3 w - d6", "e5", "d6"), -100);
    EXPECT_EQ(value("7k/P7/8/8/8/8/8/4K3 w - -", "a7", "a8"), 0);
    EXPECT_EQ(value("1r5k/P7/8/8/8/8/8/4K3 w - -", "a7", "b8"), 550);
    EXPECT_EQ(value("1r5k/P1n5/8/8/8/8/8/4K3 w - -", "a7", "a8"), -100);
}

TEST(See, LetsEitherSideStop) {
    // White takes the pawn with the knight; black's queen would lose more by taking back.
    EXPECT_EQ(value("k2q4/8/8/3p4/4P3/2N5/8/K7 w - -", "c3", "d5"), 100);
    EXPECT_EQ(value("k2q4/8/8/3p4/8/2N5/8/K7 w - -", "c3", "d5"), 100 - 350);
}

TEST(See, KeepsTheKingOutOfDefendedSquares) {
    // Black's king is the only defender, and may take back only where nothing backs d5.
    EXPECT_EQ(value("8/8/3k4/3p4/8/2N5/8/K7 w - -", "c3", "d5"), 100 - 350);
    EXPECT_EQ(value("8/8/3k4/3p4/8/2N1N3/8/K7 w - -", "c3", "d5"), 100);
}

TEST(See, WithoutASquareTakesTheLeastValuableAttacker) {
    EXPECT_EQ(value("4k3/8/2p5/3n4/4P3/2N5/8/3QK3 w - -", "-", "d5"), 350) << "black can't retake";
    EXPECT_EQ(value("4k3/8/2p5/3p4/8/2N5/8/4K3 w - -", "-", "d5"), 0) << "rather not";
    EXPECT_EQ(value("4k3/8/8/3p4/8/8/8/4K3 w - -", "-", "d5"), 0) << "nobody attacks";
    EXPECT_EQ(value("4k3/8/8/3p4/4K3/8/8/8 w - -", "-", "d5"), 100) << "the king";
    EXPECT_EQ(value("3rk3/8/8/3p4/4K3/8/8/8 w - -", "-", "d5"), 0) << "not into a defended square";
    EXPECT_EQ(value("8/8/8/3k4/4P3/8/8/4K3 w - -", "-", "d5"), 9999) << "an illegal position";
}

TEST(SeeReply, GoesOnWithAnExchange) {
    Position& pos = set_up("k2r4/8/8/3P4/4P3/8/8/K7 b - -");
    Bitboard occ = occupied(pos);
    EXPECT_EQ(see_reply(pos, BLACK, sq("d5"), PAWN, occ), 0) << "the rook would be lost";
    EXPECT_EQ(see_reply(pos, BLACK, sq("d5"), QUEEN, occ), 1075 - 550);
    EXPECT_EQ(see_reply(pos, BLACK, sq("d5"), KING, occ), ILLEGAL_KING_CAPTURE);
    EXPECT_EQ(see_reply(pos, BLACK, sq("d5"), QUEEN, occ & ~bit(sq("d8"))), 0) << "nobody left";
    EXPECT_EQ(see_reply(pos, BLACK, sq("d5"), PAWN, occ & ~bit(sq("e4"))), 100);
}

TEST(See, EqualsALongHandExchange) {
    Random random = {22};
    for (int round = 0; round < 2500; round++) {
        Position& pos = set_up_random(random, false);
        uint64_t key = pos.key;
        for (const MoveEntry& entry : all_moves(pos)) {
            int from = move_from(entry.move), to = move_to(entry.move);
            if (from == to || type_of(entry.mover) == KING) continue;
            if (type_of(entry.victim) == KING) continue;
            ASSERT_EQ(see(pos, pos.side, from, to), slow_exchange(pos, pos.side, from, to))
                << entry_name(entry) << " in " << fen_of(pos);
        }
        ASSERT_EQ(pos.key, key);
    }
}

TEST(See, WithoutASquareIsTheLeastAttackersCaptureOrNothing) {
    Random random = {23};
    for (int round = 0; round < 600; round++) {
        Position& pos = set_up_random(random, false);
        for (int side : {WHITE, BLACK})
            for (int square = 0; square < SQUARES; square++) {
                if (type_of(pos.board[square]) == KING) continue;
                int least = least_attacker(pos, square, side, occupied(pos));
                int expected = least == NO_SQUARE ? 0 : std::max(see(pos, side, least, square), 0);
                ASSERT_EQ(see(pos, side, NO_SQUARE, square), expected)
                    << SQUARE_NAMES[square] << " in " << fen_of(pos);
            }
    }
}
