// The classes of moves, and which of them give check.

#include <utility>

#include "board/attack.h"
#include "board/classify.h"
#include "board/legal.h"
#include "board/make.h"
#include "board_support.h"

namespace {

struct ClassCase {
    const char* name; // becomes part of the test's name
    const char* fen;
    const char* move;
    int expected;
};

void PrintTo(const ClassCase& c, std::ostream* out) { *out << c.name; }

class ClassifyMove : public testing::TestWithParam<ClassCase> {};

} // namespace

TEST_P(ClassifyMove, AddsUpWhatTheMoveIs) {
    const ClassCase& c = GetParam();
    Position& pos = set_up(c.fen);
    Move wanted = must_find(pos, c.move);
    Snapshot old = snapshot(pos);
    for (const MoveEntry& entry : all_moves(pos)) {
        if (entry.move != wanted) continue;
        EXPECT_EQ(classify_move(pos, pos.side, entry), c.expected);
        EXPECT_EQ(gives_check(pos, pos.side, entry.move, type_of(entry.mover)),
                  (c.expected & CLASS_CHECK) != 0);
    }
    EXPECT_TRUE(unchanged(old, pos));
}

// What spares the child its look.
TEST(SurelyGivesNoCheck, IsNeverWrongAndSeldomUnsure) {
    Random random = {12};
    int quiet = 0, sure = 0;
    for (int round = 0; round < 3000; round++) {
        Position& pos = set_up_random(random, round % 2 != 0);
        const int side = pos.side;
        for (const MoveEntry& entry : all_moves(pos)) {
            if (!legal_move(pos, side, entry.move)) continue;
            const bool told = surely_gives_no_check(pos, entry, classify_move(pos, side, entry));
            make_move(pos, entry.move);
            const bool check = king_in_check(pos);
            unmake_move(pos);
            ASSERT_FALSE(told && check) << fen_of(pos) << " " << move_from(entry.move);
            quiet += !check;
            sure += told;
        }
    }
    EXPECT_GT(sure, quiet * 9 / 10);
}

TEST(SurelyGivesNoCheck, IsUnsureOfChecksThatTheClassDoesNotSee) {
    for (auto [fen, text] : {std::pair("5k2/8/8/8/8/8/8/4K2R w K -", "e1g1"),
                             std::pair("8/8/8/K2pP2k/8/8/8/4B2R w - d6", "e5d6")}) {
        Position& pos = set_up(fen);
        Move wanted = must_find(pos, text);
        for (const MoveEntry& entry : all_moves(pos)) {
            if (entry.move != wanted) continue;
            EXPECT_FALSE(surely_gives_no_check(pos, entry, 0)) << text;
        }
    }
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Table, ClassifyMove, testing::Values(
    //        name                       position                            move     class
    ClassCase{"Quiet",                   START_FEN,                          "g1f3",  0},
    ClassCase{"QuietPawn",               START_FEN,                          "e2e4",  0},
    ClassCase{"Capture",                 "4k3/8/8/3p4/8/4N3/8/4K3 w - -",    "e3d5",  1},
    ClassCase{"EnPassant",               "7k/2p5/8/3pP3/8/8/8/4K3 w - d6",   "e5d6",  1},
    ClassCase{"DirectCheck",             "4k3/8/8/8/8/8/8/K6R w - -",        "h1h8",  2},
    ClassCase{"KnightCheck",             "4k3/8/8/8/4N3/8/8/K7 w - -",       "e4f6",  2},
    ClassCase{"BishopCheck",             "4k3/8/8/8/8/8/8/K4B2 w - -",       "f1b5",  2},
    ClassCase{"QueenCheck",              "4k3/8/8/8/8/8/8/K4Q2 w - -",       "f1b5",  2},
    ClassCase{"PawnCheck",               "8/8/8/4k3/8/8/3P4/K7 w - -",       "d2d4",  2},
    ClassCase{"DiscoveredCheck",         "4k3/8/8/8/4N3/8/8/K3R3 w - -",     "e4c5",  2},
    ClassCase{"DiscoveredByTheKing",     "4k3/8/8/8/4K3/8/8/4R3 w - -",      "e4d4",  2},
    ClassCase{"CaptureWithCheck",        "4k2r/8/8/8/8/8/8/K6R w - -",       "h1h8",  3},
    ClassCase{"NoCheckBehindAPiece",     "4k1nr/8/8/8/8/8/8/K6R w - -",      "h1h8",  1},
    ClassCase{"CastlingCheckIsNotSeen",  "5k2/8/8/8/8/8/8/4K2R w K -",       "e1g1",  0},
    ClassCase{"CastlingOntoItsRook",     "8/ppp2ppp/8/8/8/5PPP/PPP1P1P1/3k1KR1 w G -", "f1g1", 2},
    ClassCase{"CastlingOffTheRooksLine", "8/8/8/8/8/1k6/8/4K1R1 w K -",      "e1g1",  0},
    ClassCase{"CastlingOntoAQueensRook", "8/8/8/8/2k5/8/8/2RK4 w Q -",       "d1c1",  2},
    ClassCase{"QueenPromotion",          "8/P7/8/8/8/7k/8/K7 w - -",         "a7a8q", 48},
    ClassCase{"QueenPromotionWithCheck", "4k3/P7/8/8/8/8/8/K7 w - -",        "a7a8q", 50},
    ClassCase{"QueenPromotionTaking",    "1n6/P7/8/8/8/7k/8/K7 w - -",       "a7b8q", 49},
    ClassCase{"UnderPromotion",          "4k3/P7/8/8/8/8/8/K7 w - -",        "a7a8n", 32},
    ClassCase{"UnderPromotionWithCheck", "8/P1k5/8/8/8/8/8/K7 w - -",        "a7a8n", 34},
    ClassCase{"UnderPromotionTaking",    "1n6/P7/8/8/8/7k/8/K7 w - -",       "a7b8b", 33},
    ClassCase{"ToTheSeventh",            "7k/8/P7/8/8/8/8/K7 w - -",         "a6a7",  40},
    ClassCase{"ToTheSeventhTaking",      "7k/1n6/P7/8/8/8/8/K7 w - -",       "a6b7",  41},
    ClassCase{"ToTheSeventhWithCheck",   "2k5/8/P2P4/8/8/8/8/K7 w - -",      "d6d7",  42},
    ClassCase{"PasserToTheSixth",        "7k/8/8/P7/8/8/8/K7 w - -",         "a5a6",  32},
    ClassCase{"PasserTakingOnTheSixth",  "7k/8/1n6/P7/8/8/8/K7 w - -",       "a5b6",  33},
    ClassCase{"SixthStopped",            "7k/n7/8/P7/8/8/8/K7 w - -",        "a5a6",  0},
    ClassCase{"SixthNoPasser",           "7k/1p6/8/P7/8/8/8/K7 w - -",       "a5a6",  0},
    ClassCase{"SixthWithPawnsFarAway",   "7k/2p5/8/P7/8/8/8/K7 w - -",       "a5a6",  32},
    ClassCase{"ToTheFifth",              "7k/8/8/8/P7/8/8/K7 w - -",         "a4a5",  0},
    ClassCase{"BlackToTheSeventh",       "7k/8/8/8/8/p7/8/2K5 b - -",        "a3a2",  40},
    ClassCase{"BlackPasserToTheSixth",   "7k/8/8/8/p7/8/8/2K5 b - -",        "a4a3",  32},
    ClassCase{"BlackSixthNoPasser",      "7k/8/8/8/p7/8/1P6/2K5 b - -",      "a4a3",  0},
    ClassCase{"BlackQueenPromotion",     "7k/8/8/7K/8/8/p7/8 b - -",         "a2a1q", 48},
    ClassCase{"BlackUnderPromotion",     "7k/8/8/7K/8/8/p7/8 b - -",         "a2a1r", 32}),
    [](const auto& test) { return test.param.name; });
// clang-format on

TEST(GivesCheck, EqualsMakingTheMoveAndLooking) {
    Random random = {19};
    for (int round = 0; round < 1500; round++) {
        Position& pos = set_up_random(random, false);
        int side = pos.side;
        for (const MoveEntry& entry : all_moves(pos)) {
            int type = type_of(entry.mover);
            // A check by the castling rook, or through the pawn taken en passant, is not seen.
            if (type == KING && (entry.move & FLAG_MASK)) continue;
            if (is_ep_square(pos, type, move_to(entry.move))) continue;
            if (!legal_move(pos, side, entry.move)) continue;
            bool check = gives_check(pos, side, entry.move, type);
            make_move(pos, entry.move);
            bool attacked = square_attacked(pos, pos.king_square[side ^ 1], side) != 0;
            unmake_move(pos);
            ASSERT_EQ(check, attacked) << entry_name(entry) << " in " << fen_of(pos);
        }
    }
}
