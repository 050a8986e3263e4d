// Endings that are answered exactly, and the factors for endings that are hard to win.
//
// Pins internals: that endings which are known leave the eval hash alone, by the place of an entry.

#include "eval/endgame.h"

#include <algorithm>
#include <cstdlib>

#include "hce_support.h"

namespace {

// The exact score for the side to move; fails the test if there is none.
int exact_score(const std::string& pieces) {
    Position& pos = set_up(placed(pieces).c_str());
    int score = 0;
    EXPECT_TRUE(endgame_score(pos, pos.side, score)) << pieces;
    return score;
}

bool is_answered(const std::string& pieces) {
    Position& pos = set_up(placed(pieces).c_str());
    int score = 12345;
    bool answered = endgame_score(pos, pos.side, score);
    EXPECT_TRUE(answered || score == 12345) << "unchanged without an answer";
    return answered;
}

} // namespace

TEST(InsufficientForce, IsADrawWithoutPawns) {
    const char* const kinds[] = {"", "N", "B", "NN"};
    for (int white = 0; white < 4; white++) {
        for (int black = 0; black < 4; black++) {
            std::string pieces = "Ke1 ke8";
            for (int i = 0; kinds[white][i]; i++)
                pieces += std::string(" ") + kinds[white][i] + (i ? "b2" : "g2");
            for (int i = 0; kinds[black][i]; i++)
                pieces += std::string(" ") + static_cast<char>(kinds[black][i] | 0x20)
                        + (i ? "b7" : "g7");
            EXPECT_TRUE(is_answered(pieces)) << pieces;
            EXPECT_EQ(exact_score(pieces), 0) << pieces;
            EXPECT_EQ(exact_score(pieces + " b"), 0) << pieces;
        }
    }
}

TEST(InsufficientForce, MoreThanThatGoesOn) {
    EXPECT_FALSE(is_answered("Ke1 ke8 Nb2 Nc2 Nd2")) << "three knights";
    EXPECT_FALSE(is_answered("Ke1 ke8 Bb2 Bc2")) << "two bishops";
    EXPECT_FALSE(is_answered("Ke1 ke8 Bb2 Bc2 nb7")) << "two bishops against a knight";
    EXPECT_FALSE(is_answered("Ke1 ke8 Bb2 Nc2 bb7")) << "bishop and knight against a bishop";
    EXPECT_FALSE(is_answered("Ke1 ke8 Nb2 pb7")) << "a pawn on the board";
    EXPECT_FALSE(is_answered("Ke1 ke8 Bb2 Ph2")) << "a pawn on the board";
    EXPECT_FALSE(is_answered("Ke1 ke8 Rb2 rb7")) << "rooks";
    EXPECT_FALSE(is_answered("Ke1 ke8 Pb2 pb7")) << "a pawn each";
    EXPECT_FALSE(is_answered("Ke1 ke8 Pb2 Pc2")) << "two pawns";
}

TEST(KingAndPawn, CountsKingDistancesAndAdvance) {
    // Kings' distances from e8 are 0 and 2, the pawn has advanced 4 ranks; won.
    EXPECT_EQ(exact_score("Ke6 Pe5 ke8"), 0 - 2 + 4 * 4 + 800);
    EXPECT_EQ(exact_score("Ke6 Pe5 ke8 b"), -(0 - 2 + 4 * 4 + 800));
    // The side to move decides by the opposition.
    EXPECT_EQ(exact_score("Ke5 Pe4 ke7"), 1 - 3 + 4 * 3);
    EXPECT_EQ(exact_score("Ke5 Pe4 ke7 b"), -(1 - 3 + 4 * 3 + 800));
    // One rank on the starting rank, six on the seventh.
    EXPECT_EQ(exact_score("Ka1 Ph2 kh8"), 0 - 7 + 4);
    EXPECT_EQ(exact_score("Kg6 Ph7 kh8 b"), -(0 - 2 + 4 * 6)) << "stalemate";
}

TEST(KingAndPawn, IsTheSameInAllMirrors) {
    Random random = {11};
    for (int n = 0; n < 3000; n++) {
        int pawn = 8 + random_below(random, 48), white = random_below(random, 64);
        int black = random_below(random, 64);
        if (white == pawn || black == pawn || chebyshev(white, black) <= 1) continue;
        char board[64];
        std::fill(std::begin(board), std::end(board), '.');
        board[white] = 'K';
        board[black] = 'k';
        board[pawn] = 'P';
        std::string fen = fen_of_board(board, n % 2 ? 'w' : 'b');

        int score[3] = {};
        const std::string texts[3] = {fen, mirrored(fen, 7), mirrored(fen, 56)};
        for (int i = 0; i < 3; i++) {
            Position& pos = set_up(texts[i].c_str());
            ASSERT_TRUE(endgame_score(pos, pos.side, score[i]));
        }
        ASSERT_EQ(score[0], score[1]) << fen;
        ASSERT_EQ(score[0], score[2]) << fen;
    }
}

TEST(BishopAndKnight, DriveTheKingToTheBishopsCorner) {
    // Rank 1 first, for a bishop on dark squares.
    const char* const CORNERS[8] = {"98765432", "87654323", "76432134", "65310245",
                                    "54201356", "43123467", "32345678", "23456789"};
    // Two set-ups, so that the lone king gets to each square in one of them.
    struct SetUp {
        std::string king, knight, bishop; // the bishop on a dark square
        int ring;                         // of the strong king
    };
    for (const SetUp& own : {SetUp{"d4", "f4", "c3", 2}, SetUp{"g7", "b7", "a3", 1}}) {
        for (int enemy = 0; enemy < 64; enemy++) {
            const int distance = chebyshev(enemy, square(own.king.c_str()));
            if (distance <= 1) continue;
            if (enemy == square(own.bishop.c_str()) || enemy == square(own.knight.c_str()))
                continue;
            int corner = CORNERS[enemy / 8][enemy % 8] - '0';
            int expected = corner * 16 + 700 + own.ring * 8 - 8 * distance;
            std::string king = {'k', static_cast<char>('a' + enemy % 8),
                                static_cast<char>('1' + enemy / 8)};
            std::string fen =
                placed("K" + own.king + " N" + own.knight + " B" + own.bishop + " " + king);
            for (const std::string& text : {fen, mirrored(fen, 7), mirrored(fen, 56)}) {
                Position& pos = set_up(text.c_str());
                int score = 0;
                ASSERT_TRUE(endgame_score(pos, pos.side, score));
                ASSERT_EQ(score, expected) << text;
            }
        }
    }
}

TEST(BishopAndKnight, LightBishopMirrorsTheBoard) {
    EXPECT_EQ(exact_score("Kd4 Bc1 Nb1 ka8"), 2 * 16 + 700 + 2 * 8 - 8 * 4);
    EXPECT_EQ(exact_score("Kd4 Bc1 Nb1 kh8"), 9 * 16 + 700 + 2 * 8 - 8 * 4);
    EXPECT_EQ(exact_score("Kd4 Bf1 Nb1 ka8"), 9 * 16 + 700 + 2 * 8 - 8 * 4);
    EXPECT_EQ(exact_score("Kd4 Bf1 Nb1 kh8"), 2 * 16 + 700 + 2 * 8 - 8 * 4);
}

TEST(BishopAndKnight, StrongKingBelongsInTheMiddle) {
    // Lone king on h1, light bishop: the corner counts 9.
    EXPECT_EQ(exact_score("Ka5 Bf7 Nb7 kh1"), 9 * 16 + 700 + 0 * 8 - 8 * 7) << "edge";
    EXPECT_EQ(exact_score("Kb5 Bf7 Nb7 kh1"), 9 * 16 + 700 + 1 * 8 - 8 * 6) << "next ring";
    EXPECT_EQ(exact_score("Kc5 Bf7 Nb7 kh1"), 9 * 16 + 700 + 2 * 8 - 8 * 5) << "inside";
    EXPECT_EQ(exact_score("Kc5 Bf7 Nb7 kh1 b"), -(9 * 16 + 700 + 2 * 8 - 8 * 5));
}

TEST(LoneKing, IsDrivenToTheEdgeByHeavyPieces) {
    const int middle[4] = {square("d4"), square("e4"), square("d5"), square("e5")};
    for (int enemy = 0; enemy < 64; enemy++) {
        if (chebyshev(enemy, square("g7")) <= 1 || enemy == square("h6")) continue;
        int steps = 14;
        for (int m : middle)
            steps = std::min(steps, std::abs(enemy % 8 - m % 8) + std::abs(enemy / 8 - m / 8));
        int expected = 1000 + 100 + 4 * (10 * steps - 4 * chebyshev(enemy, square("g7")));
        std::string king = {'k', static_cast<char>('a' + enemy % 8),
                            static_cast<char>('1' + enemy / 8)};
        ASSERT_EQ(exact_score("Kg7 Qh6 " + king), expected) << king;
        ASSERT_EQ(exact_score("Kg7 Qh6 b " + king), -expected) << king;
    }
}

TEST(LoneKing, CountsPiecesButNotPawns) {
    // Black's king on e5 is in the middle and four steps away.
    const int place = 100 + 4 * (0 - 4 * 4);
    EXPECT_EQ(exact_score("Ke1 Ra1 ke5"), 500 + place);
    EXPECT_EQ(exact_score("Ke1 Qa1 ke5"), 1000 + place);
    EXPECT_EQ(exact_score("Ke1 Qa1 Pa2 Pb2 Pc2 Pd2 Pe2 Pf2 Pg2 Ph2 ke5"), 1000 + place);
    EXPECT_EQ(exact_score("Ke1 Qa1 Bb1 Nc1 Pa2 ke5"), 1600 + place);
    EXPECT_EQ(exact_score("Ke1 Ra1 Rb1 ke5"), 1000 + place);
    EXPECT_EQ(exact_score("ke8 ra8 rb8 Ke4"), -1000 - place) << "Black is the strong side";
    EXPECT_EQ(exact_score("ke8 ra8 rb8 Ke4 b"), 1000 + place);
}

TEST(LoneKing, NeedsHeavyPiecesAgainstIt) {
    EXPECT_FALSE(is_answered("Ke1 Bb1 Nc1 Nd1 ke5"));
    EXPECT_FALSE(is_answered("Ke1 Bb1 Bc1 Pd2 ke5"));
    EXPECT_FALSE(is_answered("Ke1 Bb1 Nc1 Pd2 ke5")) << "bishop and knight without pawns only";
    EXPECT_FALSE(is_answered("Ke1 Qa1 ke5 pa7")) << "not alone";
}

TEST(EndgameKnowledge, LeavesTheEvalHashAlone) {
    for (const char* pieces : {"Ke1 ke8", "Ke6 Pe5 ke8", "Kd4 Bc1 Nb1 ka8", "Ke1 Ra1 ke5"}) {
        Position& pos = set_up(placed(pieces).c_str());
        EvalHashEntry& entry = main_thread->eval.eval_hash[(pos.key & 0x7FFE) + pos.side];
        entry = {pos.key, {1, 2}, 3, 4};
        uint64_t hits = relaxed(main_thread->eval_hits);
        uint64_t probes = relaxed(main_thread->eval_probes);
        int score = exact_score(pieces);

        EXPECT_EQ(HceEval(*main_thread, pos.side, 2, 0), score) << pieces;

        EXPECT_EQ(relaxed(main_thread->eval_probes), probes + 1) << "counted all the same";
        EXPECT_EQ(relaxed(main_thread->eval_hits), hits);
        EXPECT_EQ(entry.hce_score, 3);
        entry = {};
    }
}

namespace {

// Factor for a leader that is White with 'w' and Black with 'b'.
struct ScaleCase {
    const char* name;
    const char* pieces;
    char leader;
    float scale;
};
void PrintTo(const ScaleCase& c, std::ostream* out) { *out << c.name; }

class EndgameScale : public testing::TestWithParam<ScaleCase> {};

std::string name_of_case(const testing::TestParamInfo<ScaleCase>& test) { return test.param.name; }

// A product that is taken in double precision and then rounded.
constexpr float product(float a, double b) { return static_cast<float>(a * b); }
constexpr float without_pawns(int material) { return static_cast<float>(material * 0.007 + 0.1); }

} // namespace

TEST_P(EndgameScale, IsTheFactorOfTheLeader) {
    const ScaleCase& c = GetParam();
    const std::string fen = placed(c.pieces);
    int sign = c.leader == 'w' ? 1 : -1;

    EXPECT_EQ(endgame_scale(set_up(fen.c_str()), sign * 77), c.scale);
    EXPECT_EQ(endgame_scale(set_up(mirrored(fen, 7).c_str()), sign * 77), c.scale) << "files";
    EXPECT_EQ(endgame_scale(set_up(mirrored(fen, 56).c_str()), -sign * 77), c.scale) << "colours";
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Material, EndgameScale, testing::Values(
    //        name                            pieces                                 leader scale
    ScaleCase{"MoreThanTenUnits",             "Ke1 Ra1 Ba2 Nb2 ke8 ra8 ba7 nb7",        'w', 1.0f},
    ScaleCase{"MoreThanTenUnitsOfTheOther",   "Ke1 Ra1 Ba2 ke8 ra8 ba7 nb7",            'w', 1.0f},
    ScaleCase{"TenUnitsEach",                 "Ke1 Qa1 ke8 qa8",                        'w', without_pawns(10)},
    ScaleCase{"FourUnitsMore",                "Ke1 Qa1 ke8 bb8 nc8",                    'w', 1.0f},
    ScaleCase{"ThreeUnitsMore",               "Ke1 Ra1 Ba2 ke8 ra8",                    'w', without_pawns(8)},
    ScaleCase{"ThreeUnitsLess",               "Ke1 Ra1 ke8 ra8 ba7",                    'w', without_pawns(5)}),
    name_of_case);

INSTANTIATE_TEST_SUITE_P(NoPawns, EndgameScale, testing::Values(
    ScaleCase{"TwoBishopsAgainstAKnight",     "Ke1 Ba1 Bb1 ke8 nb8",                    'w', 0.75f},
    ScaleCase{"KnightThatLeads",              "Ke1 Ba1 Bb1 ke8 nb8",                    'b', without_pawns(3)},
    ScaleCase{"TwoBishopsAgainstABishop",     "Ke1 Ba1 Bb1 ke8 bb8",                    'w', without_pawns(6)},
    ScaleCase{"TwoBishopsAgainstKnightAndPawn", "Ke1 Ba1 Bb1 ke8 nb8 pa7",              'w', without_pawns(6)},
    ScaleCase{"RookAgainstBishop",            "Ke1 Ra1 ke8 bb8",                        'w', without_pawns(5)},
    ScaleCase{"PawnsOfTheOtherDontCount",     "Ke1 Ra1 ke8 bb8 pa7 pb7 pc7",            'w', without_pawns(5)},
    ScaleCase{"TheyDoWhenItLeads",            "Ke1 Ra1 ke8 bb8 pa7 pb7 pc7",            'b', 1.0f}),
    name_of_case);

INSTANTIATE_TEST_SUITE_P(WrongBishop, EndgameScale, testing::Values(
    ScaleCase{"KingInTheCorner",              "Ke1 Bc1 Pa2 Pa3 ka8",                    'w', 0.05f},
    ScaleCase{"KingBesideTheCorner",          "Ke1 Bc1 Pa2 Pa3 kb7",                    'w', 0.05f},
    ScaleCase{"KingTwoStepsAway",             "Ke1 Bc1 Pa2 Pa3 kc8",                    'w', 1.0f},
    ScaleCase{"RightBishop",                  "Ke1 Bf1 Pa2 Pa3 ka8",                    'w', 1.0f},
    ScaleCase{"TwoWrongBishops",              "Ke1 Bc1 Be3 Pa2 Pa3 kb8 nd8",            'w', 0.05f},
    ScaleCase{"OneOfTwoIsRight",              "Ke1 Bc1 Bf1 Pa2 Pa3 Pa4 kb8 nd8",        'w', 1.0f},
    ScaleCase{"PawnOnAnotherFile",            "Ke1 Bc1 Pa2 Pb3 Pa4 ka8",                'w', 1.0f},
    ScaleCase{"KnightFileIsNoRookFile",       "Ke1 Bc1 Pb2 Pb3 Pb4 ka8",                'w', 1.0f},
    ScaleCase{"KnightBesideTheBishop",        "Ke1 Bc1 Nd1 Pa2 Pa3 Pa4 ka8 nd8",        'w', 1.0f},
    ScaleCase{"OtherSideMayHavePieces",       "Ke1 Bc1 Pa2 ka8 nd8 ph7",                'w', 0.05f},
    ScaleCase{"WithoutABishop",               "Ke1 Pa2 Pa3 ka8",                        'w', 1.0f}),
    name_of_case);

INSTANTIATE_TEST_SUITE_P(BishopColours, EndgameScale, testing::Values(
    ScaleCase{"Opposite",                     "Ke1 Bc1 Pa2 Pb2 Pc2 ke8 bc8 pf7 pg7",    'w', 0.6f},
    ScaleCase{"Same",                         "Ke1 Bc1 Pa2 Pb2 Pc2 ke8 bd8 pf7 pg7",    'w', 1.0f},
    ScaleCase{"OppositeWithRooks",            "Ke1 Ra1 Bc1 Pa2 Pb2 Pc2 ke8 ra8 bc8 pf7 pg7", 'w', 0.9f},
    ScaleCase{"TwoPawnsMore",                 "Ke1 Bc1 Pa2 Pb2 Pc2 ke8 bc8 pf7",        'w', 0.6f},
    ScaleCase{"ThreePawnsMore",               "Ke1 Bc1 Pa2 Pb2 Pc2 ke8 bc8",            'w', 1.0f},
    ScaleCase{"ThreePawnsLess",               "Ke1 Bc1 Pa2 Pb2 Pc2 ke8 bc8 pd7 pe7 pf7 pg7 ph7 pa7", 'w', 1.0f},
    ScaleCase{"UnequalMaterial",              "Ke1 Bc1 Rd1 Pa2 Pb2 Pc2 ke8 bc8 nd8 pf7 pg7", 'w', 1.0f},
    ScaleCase{"OppositeWithKnights",          "Ke1 Bc1 Nd1 Pa2 Pb2 Pc2 ke8 bc8 nd8 pf7 pg7", 'w', 0.6f}),
    name_of_case);

INSTANTIATE_TEST_SUITE_P(FewPawns, EndgameScale, testing::Values(
    ScaleCase{"OnePawnAgainstARook",          "Ke1 Ra1 Pa2 ke8 rh8",                    'w', product(1.0f, 0.8)},
    ScaleCase{"OnePawnAgainstAMinor",         "Ke1 Nb1 Pa2 ke8 nb8",                    'w', product(1.0f, 0.6)},
    ScaleCase{"TwoPawnsAgainstARook",         "Ke1 Ra1 Pa2 Pb2 ke8 rh8 ph7",            'w', product(1.0f, 0.9)},
    ScaleCase{"TwoPawnsAgainstAMinor",        "Ke1 Nb1 Pa2 Pb2 ke8 nb8 ph7",            'w', product(1.0f, 0.8)},
    ScaleCase{"MinorBesideARook",             "Ke1 Ra1 Nb1 Pa2 ke8 ra8 nb8",            'w', product(1.0f, 0.6)},
    ScaleCase{"ThreePawns",                   "Ke1 Nb1 Pa2 Pb2 Pc2 ke8 nb8 pf7 pg7 ph7", 'w', 1.0f},
    ScaleCase{"TwoUnitsAhead",                "Ke1 Nb1 Pa2 Pb2 ke8 nb8",                'w', 1.0f},
    ScaleCase{"OneUnitAhead",                 "Ke1 Nb1 Pa2 Pb2 ke8 nb8 pf7",            'w', product(1.0f, 0.8)},
    ScaleCase{"OtherSideHasPawnsOnly",        "Ke1 Pa2 Pb2 ke8 pg7",                    'w', 1.0f},
    ScaleCase{"KingBeforeThePawn",            "Ke1 Ra1 Pa2 kb8 rh8",                    'w', product(1.0f, 0.8) * 0.75f},
    ScaleCase{"KingBeforeBothPawns",          "Ke1 Nb1 Pe4 Pg5 kf7 nb8 pa7",            'w', product(1.0f, 0.8) * 0.75f},
    ScaleCase{"KingBeforeOneOfTwoPawns",      "Ke1 Nb1 Pe4 Ph5 kf7 nb8 pa7",            'w', product(1.0f, 0.8)},
    ScaleCase{"KingBesideThePawn",            "Ke1 Nb1 Pe4 kf4 nb8",                    'w', product(1.0f, 0.6) * 0.75f},
    ScaleCase{"KingBehindThePawn",            "Ke1 Nb1 Pe4 kf3 nb8",                    'w', product(1.0f, 0.6)},
    ScaleCase{"OppositeBishopsToo",           "Ke1 Bc1 Pa2 ke8 bc8",                    'w', product(0.6f, 0.6)},
    ScaleCase{"OppositeBishopsAndKing",       "Ke1 Bc1 Pd2 ke8 bc8",                    'w', product(0.6f, 0.6) * 0.75f}),
    name_of_case);

INSTANTIATE_TEST_SUITE_P(Outnumbered, EndgameScale, testing::Values(
    ScaleCase{"QueenAgainstTwoRooks",         "Ke1 Qa1 Pa2 Pb2 Pc2 ke8 ra8 rh8 pa7",    'w', 0.8f},
    ScaleCase{"RooksAgainstAQueen",           "Ke1 Qa1 ke8 ra8 rh8 pa7 pb7 pc7",        'b', 1.0f},
    ScaleCase{"RookAgainstTwoMinors",         "Ke1 Ra1 Pa2 Pb2 Pc2 ke8 bb8 nc8 pa7",    'w', 0.8f},
    ScaleCase{"OneAgainstOne",                "Ke1 Ra1 Pa2 Pb2 Pc2 ke8 ra8 pa7",        'w', 1.0f},
    ScaleCase{"RookAndPawnAgainstTwoMinors",  "Ke1 Ra1 Pa2 ke8 bb8 nc8",                'w', product(1.0f, 0.6) * 0.8f}),
    name_of_case);
// clang-format on

TEST(EndgameScaleOfZero, IsOne) {
    EXPECT_EQ(endgame_scale(set_up(placed("Ke1 Ba1 Bb1 ke8 nb8").c_str()), 0), 1.0f);
}

namespace {
class EndgameScaling : public OwnParams {};
} // namespace

TEST_F(EndgameScaling, MultipliesTheScoreInSinglePrecision) {
    only_row(stm_bonus, 0, 1000);
    // Two bishops against a knight, without pawns: the phase is 1 - 0.017 * 9.
    const std::string fen = placed("Ke1 Ba1 Bb1 ke8 nb8");
    int white = static_cast<int>(1000.0f * static_cast<float>(1.0 - 0.017 * 9));

    set_up(fen.c_str());
    EXPECT_EQ(HceEval(*main_thread, WHITE, 1, 0),
              static_cast<int>(static_cast<float>(white) * 0.75f));
    set_up(placed("Ke1 Ba1 Bb1 ke8 bb8").c_str());
    EXPECT_EQ(HceEval(*main_thread, WHITE, 1, 0),
              static_cast<int>(static_cast<float>(white) * without_pawns(6)));
    // For Black to move the sign turns at the end; here Black leads with a knight.
    set_up(placed("Ke1 Ba1 Bb1 ke8 nb8 b").c_str());
    EXPECT_EQ(HceEval(*main_thread, BLACK, 1, 0),
              static_cast<int>(static_cast<float>(white) * without_pawns(3)));
}
