// Pawn terms: structure, sets, passed pawns, candidates, and the pawn hash.
//
// Pins internals: sets of EvalContext, and the place of an entry in the pawn hash.

#include "hce_support.h"

namespace {

using PawnTerm = OwnParamsTable<TermCase>;
using PawnShare = OwnParamsTable<ShareCase>;
class HcePawns : public OwnParams {};
class PassedPawns : public OwnParams {};
class PawnHash : public OwnParams {};

std::string name_of_term(const testing::TestParamInfo<TermCase>& test) { return test.param.name; }
std::string name_of_share(const testing::TestParamInfo<ShareCase>& test) { return test.param.name; }

} // namespace

TEST_P(PawnTerm, IsAddedOnceForEach) { expect_times(GetParam()); }

// clang-format off
INSTANTIATE_TEST_SUITE_P(Structure, PawnTerm, testing::Values(
    //       name                                row            pieces                     white black
    TermCase{"Material",                         mtl_pawn,      "Kg1 Pa2 Pb2 Pc2 kg8 pa7 pb7", 3, 2},
    TermCase{"IsolatedHasNoNeighbourFilePawn",   pawn_isolated, "Kg1 Pa2 Pc2 kg8 pe7 pf7",     2, 0},
    TermCase{"NeighbourFarAheadEndsIsolation",   pawn_isolated, "Kg1 Pa2 Pb7 kg8",             0, 0},
    TermCase{"EnemyNeighbourDoesNotHelp",        pawn_isolated, "Kg1 Pa2 kg8 pb7",             1, 1},
    TermCase{"DoubledIsolatedCountTwice",        pawn_isolated, "Kg1 Pa2 Pa3 kg8",             2, 0},
    TermCase{"WeakPawnIsBehindItsNeighbour",     pawn_weak,     "Kg1 Pa2 Pb3 kg8 pc6 pd7",     1, 1},
    TermCase{"PawnsSideBySideAreNotWeak",        pawn_weak,     "Kg1 Pa2 Pb2 kg8",             0, 0},
    TermCase{"IsolatedIsNotWeakToo",             pawn_weak,     "Kg1 Pa2 Pc4 kg8",             0, 0},
    TermCase{"OnlyTheBaseOfAChainIsWeak",        pawn_weak,     "Kg1 Pa4 Pb3 Pc2 kg8",         1, 0},
    TermCase{"DoubledIsTheFrontPawn",            pawn_doubled,  "Kg1 Pe2 Pe4 kg8",             1, 0},
    TermCase{"TripledCountsTwice",               pawn_doubled,  "Kg1 Pe2 Pe3 Pe6 kg8",         2, 0},
    TermCase{"EnemyOnTheFileIsNoDouble",         pawn_doubled,  "Kg1 Pe2 kg8 pe4",             0, 0},
    TermCase{"RamsBlockBoth",                    pawn_blocked,  "Kg1 Pe4 kg8 pe5",             1, 1},
    TermCase{"OwnPieceBlocks",                   pawn_blocked,  "Kg1 Ne3 Pe2 kg8",             1, 0},
    TermCase{"KingBlocks",                       pawn_blocked,  "Kg1 Pe6 Pa2 ke7",             1, 0},
    TermCase{"PieceTwoAheadDoesNotBlock",        pawn_blocked,  "Kg1 Ne4 Pe2 kg8",             0, 0},
    TermCase{"DefendedByAPawn",        PST_DP + square("e4"),   "Kg1 Pe4 Pd3 kg8",             1, 0},
    TermCase{"DefendedByTwoPawnsOnce", PST_DP + square("e4"),   "Kg1 Pe4 Pd3 Pf3 kg8",         1, 0},
    TermCase{"DefenderItselfIsNot",    PST_DP + square("d3"),   "Kg1 Pe4 Pd3 kg8",             0, 0},
    TermCase{"DefendedByKingIsNot",    PST_DP + square("f2"),   "Kg1 Pf2 Pa2 kg8",             0, 0},
    TermCase{"StopGuardedByNeighbour", PST_CP + square("e4"),   "Kg1 Pe4 Pd4 kg8",             1, 0},
    TermCase{"NeighboursGuardEachOther", PST_CP + square("d4"), "Kg1 Pe4 Pd4 kg8",             1, 0},
    TermCase{"GuardedPawnsStopIsNot",  PST_CP + square("e4"),   "Kg1 Pe4 Pd3 kg8",             0, 0}),
    name_of_term);

INSTANTIATE_TEST_SUITE_P(Passed, PawnTerm, testing::Values(
    TermCase{"RearOfDoubledPassersIsSkipped",  ppawn_base + 1,   "Ka1 Pe3 Pe5 kh8",             0, 0},
    TermCase{"FrontOfDoubledPassersCounts",    ppawn_base + 3,   "Ka1 Pe3 Pe5 kh8",             1, 0},
    TermCase{"LevelEnemyDoesNotStopIt",        ppawn_base + 2,   "Ka1 Pe4 kh8 pd4",             1, 0},
    TermCase{"LevelEnemyIsPassedItself",       ppawn_base + 3,   "Ka1 Pe4 kh8 pd4",             0, 1},
    TermCase{"NeighbourAheadStopsIt",          ppawn_base + 2,   "Ka1 Pe4 kh8 pd6",             0, 0},
    TermCase{"PieceOnTheStopSquare",           ppawn_mobile + 3, "Ka1 Pe5 kh8 ne6",             0, 0},
    TermCase{"PieceBehindTheStopSquare",       ppawn_mobile + 3, "Ka1 Pe5 kh8 ne7",             1, 0},
    TermCase{"SecondRankLooksTwoAhead",        ppawn_mobile + 0, "Ka1 Pe2 kh8 ne4",             0, 0},
    TermCase{"SecondRankWithBlockedStop",      ppawn_mobile + 0, "Ka1 Pe2 kh8 ne3",             0, 0},
    TermCase{"SecondRankWithBothEmpty",        ppawn_mobile + 0, "Ka1 Pe2 kh8 ne5",             1, 0},
    TermCase{"FreeOnAClearWay",                ppawn_free + 3,   "Ka1 Nh1 Pe5 kh8",             1, 0},
    TermCase{"BlockedIsNotFree",               ppawn_free + 3,   "Ka1 Nh1 Pe5 kh8 ne6",         0, 0},
    TermCase{"BishopOnTheWay",                 ppawn_free + 3,   "Ka1 Nh1 Pe5 kh8 bb4",         0, 0},
    TermCase{"GuardDoesNotHelpAgainstMinors",  ppawn_free + 3,   "Ka1 Rh7 Pe5 kh5 bb4",         0, 0},
    TermCase{"PawnOnTheWay",                   ppawn_free + 2,   "Ka1 Nh1 Pe4 kh8 pc7 pf4",     1, 0},
    TermCase{"RookOnTheWay",                   ppawn_free + 3,   "Kb1 Nh1 Pe5 kh8 ra7",         0, 0},
    TermCase{"GuardAgainstOneRook",            ppawn_free + 3,   "Kb1 Rh7 Pe5 kh5 ra7",         1, 0},
    TermCase{"GuardAgainstTwoRooks",           ppawn_free + 3,   "Kb1 Rh7 Pe5 kh5 ra7 rb7",     0, 0},
    TermCase{"EnemyStandsOnTheWay",            ppawn_free + 3,   "Kb1 Nh1 Pe5 kh5 ne8",         0, 0},
    TermCase{"EnemyOnTheWayIsAttacked",        ppawn_free + 3,   "Kb1 Rh8 Pe5 kh5 ne8",         1, 0},
    TermCase{"OwnPieceFarOnTheWay",            ppawn_free + 3,   "Kb1 Nh1 Be8 Pe5 kh5",         1, 0},
    TermCase{"KingOnTheWay",                   ppawn_free + 3,   "Ka1 Nh1 Pe5 kd7",             0, 0},
    TermCase{"KingOnAGuardedWay",              ppawn_free + 4,   "Kd7 Nh1 Pe6 kf8",             1, 0},
    TermCase{"NeighboursConnectEachOther",     ppawn_connected + 3, "Ka1 Pd5 Pe5 kh8",          2, 0},
    TermCase{"GuardedPawnIsNotConnected",      ppawn_connected + 3, "Ka1 Pd4 Pe5 kh8",          0, 0},
    TermCase{"ConnectedTwoAheadOfTheSecond",   ppawn_connected + 0, "Ka1 Pe2 Pd3 kh8",          1, 0},
    TermCase{"StopOfTheSecondIsNotEnough",     ppawn_connected + 0, "Ka1 Pe2 Pd2 kh8",          0, 0},
    TermCase{"BlockedSecondIsConnectedByStop", ppawn_connected + 0, "Ka1 Pe2 Pd2 Ne3 kh8",      1, 0}),
    name_of_term);
// clang-format on

TEST_P(PawnShare, IsAddedScaled) { expect_shares(GetParam()); }

// A white candidate on e4, with d6 attacking the square before it.
// clang-format off
INSTANTIATE_TEST_SUITE_P(Candidates, PawnShare, testing::Values(
    //        name                              row                   pieces                         white  black
    ShareCase{"OneSupporterForOneAttacker",     candidate_passer + 2, "Kg1 Pd4 Pe4 pd6 ka8",         0.60f, 0.0f},
    ShareCase{"NoSupporter",                    candidate_passer + 2, "Kg1 Pd3 Pe4 pd6 ka8",         0.0f,  0.0f},
    ShareCase{"DoubleAttackNeedsTwo",           candidate_passer + 2, "Kg1 Pd4 Pe4 pd6 pf6 ka8",     0.0f,  0.0f},
    ShareCase{"TwoSupportersForADoubleAttack",  candidate_passer + 2, "Kg1 Pd4 Pe4 Pf4 pd6 pf6 ka8", 0.60f, 0.0f},
    ShareCase{"RookAddsAnAttacker",             candidate_passer + 2, "Kg1 Pd4 Pe4 pd6 ra7 kh6",     0.0f,  0.0f},
    ShareCase{"RookAgainstTwoSupporters",       candidate_passer + 2, "Kg1 Pd4 Pe4 Pf4 pd6 ra7 kh6", 0.45f, 0.0f},
    ShareCase{"OwnPieceOnTheWay",               candidate_passer + 2, "Kg1 Pd4 Pe4 Ne6 pd6 ka8",     0.0f,  0.0f},
    ShareCase{"EnemyPieceOnTheWay",             candidate_passer + 2, "Kg1 Pd4 Pe4 pd6 ne8 ka8",     0.0f,  0.0f},
    ShareCase{"EnemyPawnOnTheFile",             candidate_passer + 2, "Kg1 Pd4 Pe4 pd6 pe7 ka8",     0.0f,  0.0f},
    ShareCase{"PassedPawnIsNone",               candidate_passer + 2, "Kg1 Pd4 Pe4 pb6 ka8",         0.0f,  0.0f},
    ShareCase{"FifthRank",                      candidate_passer + 3, "Kg1 Pd5 Pe5 pd7 ka8",         0.60f, 0.0f},
    ShareCase{"KingOneStepAway",                candidate_passer + 4, "Kg1 Pd6 Pe6 Pf6 pd7 kf8",     0.15f, 0.0f},
    ShareCase{"KingTwoStepsAway",               candidate_passer + 2, "Kb1 Pd4 Pe4 pd6 kg8",         0.30f, 0.0f},
    ShareCase{"KingThreeStepsAway",             candidate_passer + 2, "Kg1 Pd4 Pe4 pd6 kh8",         0.45f, 0.0f},
    ShareCase{"KingFiveStepsAway",              candidate_passer + 2, "Kg1 Pd4 Pe4 pd6 ka2",         0.75f, 0.0f},
    ShareCase{"KingSixStepsAway",               candidate_passer + 2, "Kg1 Pd4 Pe4 pd6 ka1",         0.90f, 0.0f},
    ShareCase{"KingSevenStepsAway",             candidate_passer + 2, "Kg1 Pa4 Pb4 pb6 kh8",         1.00f, 0.0f}),
    name_of_share);
// clang-format on

TEST_F(HcePawns, CandidatesBeginOnTheFourthRank) {
    zero_rows();
    set_rows(candidate_passer, 6, 1000, 1000);

    EXPECT_EQ(evaluated("Kg1 Pd3 Pe3 pd5 ka8").packed[WHITE], 0);
    EXPECT_NE(evaluated("Kg1 Pd4 Pe4 pd6 ka8").packed[WHITE], 0);
}

TEST_F(HcePawns, PawnAttacksAreMergedIntoTheMaps) {
    const EvalContext& context = evaluated("Ka1 Pd4 Pf4 Ph4 kh8 pa7");

    EXPECT_EQ(context.pawn_attacks[WHITE], squares("c5 e5 g5"));
    EXPECT_EQ(context.attacks[WHITE][PAWN], squares("c5 e5 g5"));
    EXPECT_EQ(context.attacks[WHITE][ATTACKS_ALL], squares("c5 e5 g5 a2 b1 b2"));
    EXPECT_EQ(context.attacks[BLACK][PAWN], squares("b6"));
    EXPECT_EQ(context.all_pawns, squares("d4 f4 h4 a7"));
}

TEST_F(HcePawns, TwoPawnsOrPawnAndKingAttackTwice) {
    EXPECT_EQ(evaluated("Ka1 Pd4 Pf4 kh8").double_attacks[WHITE], squares("e5"));
    EXPECT_EQ(evaluated("Ke4 Pd4 Pa2 kh8").double_attacks[WHITE], squares("e5"));
}

TEST_F(HcePawns, OutpostsAreOutOfReachOfEnemyPawns) {
    const Bitboard white = squares("b4 c4 d4 e4 f4 g4 b5 c5 d5 e5 f5 g5 b6 c6 d6 e6 f6 g6");
    const Bitboard black = squares("b3 c3 d3 e3 f3 g3 b4 c4 d4 e4 f4 g4 b5 c5 d5 e5 f5 g5");

    const EvalContext& context = evaluated("Kg1 Pa2 kg8 pd5");

    EXPECT_EQ(context.outposts[WHITE], white & ~squares("c4 e4")); // not c5, e5: behind the pawn
    EXPECT_EQ(context.outposts[BLACK], black & ~squares("b3 b4 b5"));
}

TEST_F(HcePawns, PassedAndHalfopenPawns) {
    // e4 passes d4, which stands level, and the other way round; g5 faces h7; a4 and a6 are rams.
    const EvalContext& context = evaluated("Kb1 Pa4 Pe4 Pg5 kb8 pa6 pd4 ph7");

    EXPECT_EQ(context.passed_pawns, squares("e4 d4"));
    EXPECT_EQ(context.halfopen_pawns, squares("g5 h7"));
}

TEST_F(HcePawns, PawnsThatStepIntoTheZonePressTheKing) {
    const EvalContext& context = evaluated("Kg1 Pa5 kb8 pe4 pf4 pg4 pf3");

    EXPECT_EQ(context.king_attack_weight[WHITE], 6); // to f3, g3 and f2, but not to e3
    EXPECT_EQ(context.king_attack_weight[BLACK], 2); // to a6
}

TEST_F(HcePawns, TablesFollowTheKingHalves) {
    // Kings of White and Black, then the rows at which a pawn on c3 and one on f6 are looked up.
    struct {
        const char* kings;
        int white, black;
    } const cases[] = {
        {"Ke1 ke8", PST_P1 + square("c3"), PST_P1 + square("f3")},
        {"Kd1 kd8", PST_P1 + square("f3"), PST_P1 + square("c3")},
        {"Ke1 kd8", PST_P2 + square("c3"), PST_P2 + square("c3")},
        {"Kd1 ke8", PST_P2 + square("f3"), PST_P2 + square("f3")},
    };
    for (const auto& c : cases) {
        std::string pieces = std::string(c.kings) + " Pc3 pf6";
        only_row(c.white, 100, -7);
        EXPECT_EQ(halves(evaluated(pieces).packed[WHITE]), (Halves{100, -7})) << pieces;
        only_row(c.black, 100, -7);
        EXPECT_EQ(halves(evaluated(pieces).packed[BLACK]), (Halves{100, -7})) << pieces;
    }
}

namespace {

// A free white pawn on e-file of the given rank, 1 to 6.
std::string lone_passer(int rank) {
    return std::string("Ka1 Nh1 kh8 Pe") + static_cast<char>('1' + rank);
}

} // namespace

TEST_F(PassedPawns, RowsAreChosenByRank) {
    for (int family : {ppawn_base, ppawn_mobile, ppawn_free}) {
        zero_rows();
        for (int i = 0; i < 6; i++) set_row(family + i, 100 * i + 100, -i - 1);
        for (int rank = 1; rank <= 6; rank++)
            expect_totals(placed(lone_passer(rank)), {100 * rank, -rank}, {0, 0});
    }
}

TEST_F(PassedPawns, FreePawnsAreMarked) {
    EXPECT_EQ(evaluated(lone_passer(4)).free_pawns, squares("e5"));
    EXPECT_EQ(evaluated("Ka1 Nh1 Pe5 kh8 bb4").free_pawns, 0u);
}

TEST_F(PassedPawns, KingDistanceCountsMoreWithEachRank) {
    constexpr float SCALE[8] = {0.0f, 0.16f, 0.18f, 0.36f, 0.57f, 0.78f, 1.0f, 1.0f};
    for (int family : {ppawn_fkdist, ppawn_ekdist}) {
        zero_rows();
        set_rows(family, 8, 1000, -1000);
        for (int rank = 1; rank <= 6; rank++)
            expect_totals(placed(lone_passer(rank)), share_of_1000(SCALE[rank]), {0, 0});
    }
}

TEST_F(PassedPawns, HalvesOfTheDistanceAreCutTowardZero) {
    zero_rows();
    set_rows(ppawn_fkdist, 8, 99, -99); // times 0.36: 35.64
    expect_totals(placed(lone_passer(3)), {35, -35}, {0, 0});
    set_rows(ppawn_ekdist, 8, 99, -99); // cut on its own: not 71.28
    expect_totals(placed(lone_passer(3)), {70, -70}, {0, 0});
}

TEST_F(PassedPawns, DistanceIsMeasuredBehindTheTarget) {
    struct {
        const char* pawn;
        const char* measured; // the king there has distance 0
        float scale;
    } const cases[] = {
        {"Pe2", "e5", 0.16f}, // two ahead, and one further
        {"Pe2 Ne3", "e4", 0.16f}, {"Pe3", "e5", 0.18f}, {"Pe4", "e6", 0.36f},
        {"Pe5", "e7", 0.57f},     {"Pe6", "e8", 0.78f}, {"Pe7", "e8", 1.0f}, // no square is further
    };
    for (const auto& c : cases) {
        only_row(ppawn_fkdist, 1000, -1000);
        expect_totals(placed(std::string("Nh1 ka1 K") + c.measured + " " + c.pawn),
                      share_of_1000(c.scale), {0, 0});
        only_row(ppawn_ekdist, 1000, -1000);
        expect_totals(placed(std::string("Nh1 Ka1 k") + c.measured + " " + c.pawn),
                      share_of_1000(c.scale), {0, 0});
    }
}

TEST_F(PassedPawns, DistanceRowsAreKingSteps) {
    const char* const places[8] = {"e8", "d8", "c8", "b8", "a8", "a3", "a2", "a1"};
    for (int family : {ppawn_fkdist, ppawn_ekdist}) {
        zero_rows();
        for (int i = 0; i < 8; i++) set_row(family + i, 100 * i + 100, -i - 1);
        for (int steps = 0; steps < 8; steps++) {
            std::string kings = family == ppawn_fkdist ? "kg5 K" : "Kg5 k";
            expect_totals(placed("Nh1 Pe7 " + kings + places[steps]),
                          {100 * steps + 100, -steps - 1}, {0, 0});
        }
    }
}

TEST_F(PassedPawns, PressTheDefenderByRankAndFreedom) {
    constexpr int FREE[8] = {0, 0, 0, 150, 300, 600, 1200, 0};
    for (int rank = 1; rank <= 6; rank++) {
        const EvalContext& context = evaluated(lone_passer(rank));
        EXPECT_EQ(context.threat_pressure[BLACK], FREE[rank]) << rank;
        EXPECT_EQ(context.threat_pressure[WHITE], 0) << rank;
    }
    // Halves and quarters are whole numbers.
    EXPECT_EQ(evaluated("Ka1 Nh1 Pe5 kh8 ng7").threat_pressure[BLACK], 150) << "mobile, not free";
    EXPECT_EQ(evaluated("Ka1 Nh1 Pe5 kh8 ne6").threat_pressure[BLACK], 75) << "blocked";
    EXPECT_EQ(evaluated("Ka1 Nh1 Pe4 kh8 ng6").threat_pressure[BLACK], 75) << "mobile, not free";
    EXPECT_EQ(evaluated("Ka1 Nh1 Pe4 kh8 ne5").threat_pressure[BLACK], 37) << "blocked";
}

namespace {

// Evaluates at ply 2, where the hashes are used. The eval hash is emptied before.
int evaluated_with_pawn_hash(const std::string& pieces) {
    Position& pos = set_up(placed(pieces).c_str());
    for (EvalHashEntry& entry : main_thread->eval.eval_hash) entry = {};
    return HceEval(*main_thread, pos.side, 2, 0);
}
uint64_t pawn_hits() { return relaxed(main_thread->pawn_hits); }
uint64_t pawn_probes() { return relaxed(main_thread->pawn_probes); }

} // namespace

TEST_F(PawnHash, KeyChangesWhenAKingCrossesTheMiddle) {
    struct {
        const char* kings;
        int hits;
    } const cases[] = {
        {"Kg1 kg8", 0}, {"Ke2 ke7", 1}, // the same halves
        {"Kd2 ke7", 0}, {"Ka5 kh3", 1}, // White's king crossed
        {"Kh5 kd3", 0}, {"Ke1 ka8", 1}, // Black's
        {"Kd1 kd8", 0}, {"Ka1 ka8", 1}, // both
        {"Kf1 kf8", 1},                 // the first halves again
    };
    for (EvalHashEntry& entry : main_thread->eval.eval_hash) entry = {};
    for (PawnHashEntry& entry : main_thread->eval.pawn_hash) entry = {};
    for (const auto& c : cases) {
        uint64_t hits = pawn_hits(), probes = pawn_probes();
        evaluated_with_pawn_hash(std::string(c.kings) + " Pb4 Pc4 pf7 pg6");
        EXPECT_EQ(pawn_probes(), probes + 1) << c.kings;
        EXPECT_EQ(pawn_hits(), hits + static_cast<uint64_t>(c.hits)) << c.kings;
    }
}

TEST_F(PawnHash, KeysOfTheHalvesAreFixedNumbers) {
    constexpr uint64_t WHITE_HALF = 29062247722ULL, BLACK_HALF = 16682261684ULL;
    struct {
        const char* kings;
        uint64_t mixed;
    } const cases[] = {{"Ke1 ke8", 0},
                       {"Kd1 ke8", WHITE_HALF},
                       {"Ke1 kd8", BLACK_HALF},
                       {"Kd1 kd8", WHITE_HALF ^ BLACK_HALF}};
    for (const auto& c : cases) {
        evaluated_with_pawn_hash(std::string(c.kings) + " Pb4 Pc4 pf7 pg6");
        uint64_t key = game().pawn_key ^ c.mixed;
        EXPECT_EQ(main_thread->eval.pawn_hash[key & 16383].key, key) << c.kings;
    }
}

TEST_F(PawnHash, HoldsTheStructureOfBothSides) {
    only_row(pawn_isolated, 100, -7);
    evaluated_with_pawn_hash("Ke1 ke8 Pb4 Pd4 pf7 ph6 pa7");

    const PawnHashEntry& entry = main_thread->eval.pawn_hash[game().pawn_key & 16383];
    EXPECT_EQ(halves(entry.packed[WHITE]), (Halves{200, -14}));
    EXPECT_EQ(halves(entry.packed[BLACK]), (Halves{300, -21}));
}

TEST_F(PawnHash, IsReadFromPlyTwoOn) {
    zero_rows();
    const std::string fen = placed("Ke1 ke8 Pb4 Pd4 pf7");
    evaluated_fen(fen);
    PawnHashEntry& entry = main_thread->eval.pawn_hash[game().pawn_key & 16383];
    ASSERT_EQ(entry.key, game().pawn_key);

    for (int ply : {0, 1}) {
        entry.packed[WHITE] = pack_score(500, 500);
        EXPECT_EQ(HceEval(*main_thread, WHITE, ply, 0), 0) << ply;
        EXPECT_EQ(entry.packed[WHITE], 0) << "computed again at ply " << ply;
    }
    for (int ply : {2, 3, 60}) {
        entry.packed[WHITE] = pack_score(500, 500);
        for (EvalHashEntry& score : main_thread->eval.eval_hash) score = {};
        EXPECT_EQ(HceEval(*main_thread, WHITE, ply, 0), 500) << ply;
        EXPECT_EQ(entry.packed[WHITE], pack_score(500, 500)) << ply;
    }
}

TEST_F(PawnHash, BlockedPawnsAreCountedOutsideIt) {
    only_row(pawn_blocked, -100, -100);
    evaluated_with_pawn_hash("Ke1 ke8 Pb4 Pd4 pf7 Na1");

    uint64_t hits = pawn_hits();
    evaluated_with_pawn_hash("Ke1 ke8 Pb4 Pd4 pf7 Na5");
    int before = main_thread->eval.context.packed[WHITE];
    evaluated_with_pawn_hash("Ke1 ke8 Pb4 Pd4 pf7 Nd5");
    int after = main_thread->eval.context.packed[WHITE];

    EXPECT_EQ(pawn_hits(), hits + 2);
    EXPECT_EQ(halves(before), (Halves{0, 0}));
    EXPECT_EQ(halves(after), (Halves{-100, -100}));
}
