// King terms: shield, checks, danger, freedom, distance to the pawns.
//
// Pins internals: the packed totals and attack maps of EvalContext after an evaluation.

#include <algorithm>
#include <set>

#include "hce_support.h"

namespace {

using KingTerm = OwnParamsTable<TermCase>;
using KingShare = OwnParamsTable<ShareCase>;
class HceKing : public OwnParams {};

std::string name_of_term(const testing::TestParamInfo<TermCase>& test) { return test.param.name; }
std::string name_of_share(const testing::TestParamInfo<ShareCase>& test) { return test.param.name; }

// Share of the danger rows for so many points.
float danger_share(int danger) {
    int x = std::min(danger, 39);
    return static_cast<float>(static_cast<double>(static_cast<float>(1.0 - 0.006 * x)) * 0.0018
                              * (x * x));
}

} // namespace

TEST_P(KingTerm, IsAddedOnceForEach) { expect_times(GetParam()); }

// clang-format off
INSTANTIATE_TEST_SUITE_P(Checks, KingTerm, testing::Values(
    //       name                            row           pieces                              white black
    TermCase{"QueenOnceForEachKindOfLine",   enemy_checks, "Kg1 Pa2 Pa3 kb8 qa5",                  2, 0},
    TermCase{"QueenOnLinesOnly",             enemy_checks, "Kg1 Pa2 Pf2 kc8 qd8",                  1, 0},
    TermCase{"EachSquareOfRooks",            enemy_checks, "Kg1 Ph3 Ph4 kd4 ra8 rb7",              4, 0},
    TermCase{"NotOnSquaresOfAMinor",         enemy_checks, "Kg1 Bc3 Ph3 Ph4 kh6 ra8 rb7",          2, 0},
    TermCase{"SquareOfTwoKnightsOnce",       enemy_checks, "Kg1 Pa5 Pa6 kh8 nc3 nd4 na8",          2, 0},
    TermCase{"NotWithEightUnits",            enemy_checks, "Kg1 Ph3 Ph4 kd4 ra8 bb8",              0, 0},
    TermCase{"WithNineUnits",                enemy_checks, "Kg1 Pa5 Pa6 kh8 nc3 nb8 na8",          1, 0}),
    name_of_term);

INSTANTIATE_TEST_SUITE_P(Freedom, KingTerm, testing::Values(
    TermCase{"TrappedByItsOwnPieces",        king_trapped, "Kh1 Rg1 Pg2 Ph2 kc6 pa7",              1, 0},
    TermCase{"TrappedByAttacks",             king_trapped, "Kh1 Ph2 kc6 rg8",                      1, 0},
    TermCase{"OneFreeSquare",                king_trapped, "Kh1 Ph2 kc6 rf8",                      0, 0},
    TermCase{"EnemyPieceMayBeTaken",         king_trapped, "Kh1 Rg1 Ph2 kc6 ng2",                  0, 0},
    TermCase{"GuardedEnemyPieceMayNot",      king_trapped, "Kh1 Rg1 Ph2 kc6 ng2 rg8",              1, 0}),
    name_of_term);
// clang-format on

TEST_P(KingShare, IsAddedScaled) { expect_shares(GetParam()); }

// clang-format off
INSTANTIATE_TEST_SUITE_P(Shield, KingShare, testing::Values(
    //        name                         row          pieces                        white    black
    ShareCase{"FullShield",                pawn_shield, "Kg1 Pf2 Pg2 Ph2 ka7 qb8",     0.0f,   0.0f},
    ShareCase{"OneSquareMissing",          pawn_shield, "Kg1 Pf2 Pg2 Ph3 ka7 qb8",    -0.111f, 0.0f},
    ShareCase{"TwoPawns",                  pawn_shield, "Kg1 Pf2 Pg2 ka7 qb8",        -0.333f, 0.0f},
    ShareCase{"FarAdvancedPawns",          pawn_shield, "Kg1 Pf4 Pg4 Ph4 ka7 qb8",    -0.666f, 0.0f},
    ShareCase{"NoShield",                  pawn_shield, "Kg1 Pa2 Pb2 ka7 qb8",        -0.999f, 0.0f},
    ShareCase{"PawnBehindTheKing",         pawn_shield, "Kg4 Pg2 Pa2 ka7 qb8",        -0.888f, 0.0f},
    ShareCase{"EnemyWithNineUnits",        pawn_shield, "Kg1 Pa2 Pb2 ka7 nb8 nc8 nd8", -0.999f, 0.0f},
    ShareCase{"EnemyWithEightUnits",       pawn_shield, "Kg1 Pa2 Pb2 ka7 rb8 bc8",     0.0f,   0.0f}),
    name_of_share);

// White's king on a1, the pawns on one file; Black's king stands in their way, at distance 0.
INSTANTIATE_TEST_SUITE_P(PawnDistance, KingShare, testing::Values(
    ShareCase{"NextFile",                  king_pawn_dist, "Ka1 Pb2 pb7 kb5",          0.0f, 0.0f},
    ShareCase{"OneStep",                   king_pawn_dist, "Ka1 Pc2 pc7 kc5",          0.2f, 0.0f},
    ShareCase{"TwoSteps",                  king_pawn_dist, "Ka1 Pd2 pd7 kd5",          0.4f, 0.0f},
    ShareCase{"ThreeSteps",                king_pawn_dist, "Ka1 Pe2 pe7 ke5",          0.6f, 0.0f},
    ShareCase{"FourSteps",                 king_pawn_dist, "Ka1 Pf2 pf7 kf5",          0.8f, 0.0f},
    ShareCase{"FiveSteps",                 king_pawn_dist, "Ka1 Pg2 pg7 kg5",          1.0f, 0.0f},
    ShareCase{"SixSteps",                  king_pawn_dist, "Ka1 Ph2 ph7 kh5",          1.0f, 0.0f},
    ShareCase{"OnlyTheSquaresAheadCount",  king_pawn_dist, "Ka1 Pa4 Pa5 ka8",          0.6f, 0.0f},
    ShareCase{"BothKings",                 king_pawn_dist, "Ka1 Pe2 pe7 kh5",          0.6f, 0.4f}),
    name_of_share);

// A knight on e5 reaches the zone of the king on g1 on f3 alone, which a pawn guards: 4 points,
// less the shield.
INSTANTIATE_TEST_SUITE_P(SmallDanger, KingShare, testing::Values(
    ShareCase{"OnePointAddsNothing",       king_danger2, "Kg1 Pg2 kc8 ne5 ra8 rb8 pa7 pb7",     0.0f,            0.0f},
    ShareCase{"TwoPoints",                 king_danger2, "Kg1 Pe2 Ph3 kc8 ne5 ra8 rb8 pa7 pb7", danger_share(2), 0.0f},
    ShareCase{"ThreePoints",               king_danger2, "Kg1 Pe2 Ph4 kc8 ne5 ra8 rb8 pa7 pb7", danger_share(3), 0.0f},
    ShareCase{"FourPoints",                king_danger2, "Kg1 Pe2 kc8 ne5 ra8 rb8 pa7 pb7",     danger_share(4), 0.0f},
    ShareCase{"WithoutAQueenTheOtherRow",  king_danger1, "Kg1 Pe2 kc8 ne5 ra8 rb8 pa7 pb7",     0.0f,            0.0f},
    ShareCase{"WithAQueen",                king_danger1, "Kg1 Pe2 kc8 ne5 qa8 rb8 pa7 pb7",     danger_share(4), 0.0f},
    ShareCase{"WithAQueenNotTheOther",     king_danger2, "Kg1 Pe2 kc8 ne5 qa8 rb8 pa7 pb7",     0.0f,            0.0f},
    ShareCase{"EightUnitsAreNoDanger",     king_danger2, "Kg1 Pe2 kc8 ne5 rb8 pa7 pb7",         0.0f,            0.0f}),
    name_of_share);

// Three queens beside the king, and more: far above the 39 points that count.
INSTANTIATE_TEST_SUITE_P(GreatDanger, KingShare, testing::Values(
    ShareCase{"Great",                     king_danger1, "Kg1 Pa2 kc8 qf4 qg4 qh4 ne5 rb8",     danger_share(39), 0.0f},
    ShareCase{"Greater",                   king_danger1, "Kg1 Pa2 kc8 qf4 qg4 qh4 ne5 nd4 rf8 rh8 bb7", danger_share(39), 0.0f}),
    name_of_share);
// clang-format on

TEST_F(HceKing, DangerShareIsFlatFrom39On) {
    EXPECT_FLOAT_EQ(danger_share(39), 0.766f * 0.0018f * 1521.0f);
    EXPECT_EQ(danger_share(39), danger_share(60));
    EXPECT_LT(danger_share(38), danger_share(39));
    EXPECT_FLOAT_EQ(danger_share(10), 0.94f * 0.18f);
}

namespace {

// Danger of one king, put together from the maps that the evaluation left.
int danger_from_maps(const Position& pos, const EvalContext& context, int side) {
    int them = side ^ 1, king = pos.king_square[side];
    const Bitboard* theirs = context.attacks[them];
    Bitboard safe = 0;
    for (int s = 0; s < 64; s++) {
        bool held = pos.pieces[them][ALL_PIECES] & bit(s);
        bool guarded = (context.minor_rook_attacks[side] | context.double_attacks[side]) & bit(s);
        bool contested =
            context.attacks[side][ATTACKS_ALL] & ~context.double_attacks[them] & bit(s);
        if (!held && !guarded && !contested) safe |= bit(s);
    }
    Bitboard diagonals = bishop_attacks(king, occupied(pos)) & safe;
    Bitboard lines = rook_attacks(king, occupied(pos)) & safe;
    Bitboard jumps = knight_attacks[king] & safe;
    Bitboard minor_checks = (theirs[BISHOP] & diagonals) | (theirs[KNIGHT] & jumps);
    int checks = pop_count(minor_checks | (theirs[ROOK] & lines));
    if (theirs[QUEEN] & diagonals) checks++;
    if (theirs[QUEEN] & lines) checks++;

    auto uncovered = [&](const Bitboard* guard) { return context.king_zone[side] & ~guard[side]; };
    int p = pop_count(theirs[PAWN] & uncovered(context.pawn_attacks));
    int n = pop_count(theirs[KNIGHT] & (jumps | uncovered(context.lesser_attacks)));
    int b = pop_count(theirs[BISHOP] & (diagonals | uncovered(context.lesser_attacks)));
    int r = pop_count(theirs[ROOK] & (lines | uncovered(context.minor_rook_attacks)));
    int q = pop_count(theirs[QUEEN] & (diagonals | lines | uncovered(context.non_king_attacks)));
    return 2 * p + 4 * n + 3 * b + 4 * r + std::min(5 * q, 15) + 2 * checks
         + context.king_attack_weight[side];
}

} // namespace

TEST_F(HceKing, DangerFollowsFromTheMapsOnRandomBoards) {
    Random random = {4711};
    std::set<int> seen;
    for (int n = 0; n < 4000; n++) {
        std::string fen = random_placement(random);
        Position& pos = set_up(fen.c_str());
        int ignored = 0;
        if (endgame_score(pos, pos.side, ignored)) continue;

        zero_rows();
        set_row(king_danger1, 1000, -1000);
        set_row(king_danger2, -2000, 2000);
        HceEval(*main_thread, pos.side, 1, 0);
        for (int side : {WHITE, BLACK}) {
            Halves expected = {0, 0};
            int danger = danger_from_maps(pos, main_thread->eval.context, side);
            if (pos.material[side ^ 1] > 8 && danger > 1) {
                float share = danger_share(danger);
                bool queen = pos.pieces[side ^ 1][QUEEN];
                expected = {static_cast<int>(share * (queen ? 1000.0f : -2000.0f)),
                            static_cast<int>(share * (queen ? -1000.0f : 2000.0f))};
                seen.insert(danger);
            }
            ASSERT_EQ(halves(main_thread->eval.context.packed[side]), expected)
                << fen << ' ' << danger;
        }
    }
    for (int danger = 2; danger <= 50; danger++) EXPECT_TRUE(seen.count(danger)) << danger;
}

TEST_F(HceKing, ShieldTakesUpToEightFromThePressure) {
    // The rook's 4 and the queen's 5 points press f2; then the shield counts.
    EXPECT_EQ(evaluated("Kg1 Pa2 ka7 rf8 qf7").king_attack_weight[WHITE], 9);
    EXPECT_EQ(evaluated("Kg1 Pa2 Pg2 ka7 rf8 qf7").king_attack_weight[WHITE], 9 - 3);
    EXPECT_EQ(evaluated("Kg1 Pf2 Pg2 Ph2 ka7 rf8 qf7").king_attack_weight[WHITE], 9 - 8);
}

TEST_F(HceKing, SafeQueenCheckBesideTheKingPresses) {
    // f2 and f1 are the king's own squares, so the queen needs the rook behind her.
    EXPECT_EQ(evaluated("Kg1 Pa2 Pa3 kc8 qf6 rf8").threat_pressure[WHITE], 800);
    EXPECT_EQ(evaluated("Kg1 Pa2 Pa3 kc8 qf6 rh8").threat_pressure[WHITE], 0);
    EXPECT_EQ(evaluated("Kg1 Pb2 Pb3 kc8 qa5").threat_pressure[WHITE], 0) << "not beside it";
}

TEST_F(HceKing, TableIsReadOnTheKingsSide) {
    struct {
        const char* pieces;
        const char* white; // squares of the rows
        const char* black;
    } const cases[] = {{"Kg1 kf7 Pa2 pa7", "g1", "f2"},
                       {"Kb1 kf7 Pa2 pa7", "g1", "f2"},
                       {"Kd5 ka8 Pa2 pa7", "e5", "h1"}};
    for (const auto& c : cases) {
        only_row(PST_K + square(c.white), 100, -7);
        EXPECT_EQ(halves(evaluated(c.pieces).packed[WHITE]), (Halves{100, -7})) << c.pieces;
        only_row(PST_K + square(c.black), 100, -7);
        EXPECT_EQ(halves(evaluated(c.pieces).packed[BLACK]), (Halves{100, -7})) << c.pieces;
    }
}

TEST_F(HceKing, TrappedKingCountsInTheEndgame) {
    Position& pos = set_up(placed("Kh1 Rg1 Pg2 Ph2 kc6 pa7").c_str());
    testing::internal::CaptureStdout();
    HceEval(*main_thread, pos.side, 1, 1);
    testing::internal::GetCapturedStdout();
    const EvalContext& context = main_thread->eval.context;

    // king_trapped 0,-45; the king's square; the way of its pawns is a step away, 0.2 of 12,-78.
    const EvalParam& table = eval_params[PST_K + square("h1")];
    EXPECT_EQ(halves(context.group[GROUP_KING][WHITE]),
              (Halves{static_cast<int>(table.mg) + 2, static_cast<int>(table.eg) - 45 - 15}));
}
