// Threats: hanging and attacked pieces, push threats, pins, and the pressure they put on a side.
//
// Pins internals: sets of EvalContext, and the place of an entry in the eval hash.

#include "hce_support.h"

namespace {

using ThreatTerm = OwnParamsTable<TermCase>;
class HceThreats : public OwnParams {};

std::string name_of_term(const testing::TestParamInfo<TermCase>& test) { return test.param.name; }

} // namespace

TEST_P(ThreatTerm, IsAddedOnceForEach) { expect_times(GetParam()); }

// clang-format off
INSTANTIATE_TEST_SUITE_P(Pawns, ThreatTerm, testing::Values(
    //       name                              row            pieces                        white black
    TermCase{"UndefendedHang",                 hung_pawn,     "Kh1 Pb2 Pf2 kd8 qd4",            2, 0},
    TermCase{"DefendedIsOnlyAttacked",         attacked_pawn, "Kg1 Pf2 Pa2 kd8 qf6",            1, 0},
    TermCase{"DefendedDoesNotHang",            hung_pawn,     "Kg1 Pf2 Pa2 kd8 qf6",            0, 0},
    TermCase{"GuardedByAPawnDoesNotHang",      hung_pawn,     "Kh1 Pb2 Pc3 kd8 qf6",            0, 0},
    TermCase{"GuardedByAPawnIsNotAttacked",    attacked_pawn, "Kh1 Pb2 Pc3 kd8 qf6",            0, 0},
    TermCase{"AttackedByAPawnDoesNotHang",     hung_pawn,     "Kh1 Pe4 Ph4 kd8 pd5 re8",        0, 0},
    TermCase{"AttackedByAPawnIsNotAttacked",   attacked_pawn, "Kh1 Pe4 Ph4 kd8 pd5 re8",        0, 0},
    TermCase{"AttackedTwiceDefendedOnceHangs", hung_pawn,     "Kg1 Pf2 kd8 qf6 rf8",            1, 0},
    TermCase{"AttackedTwiceDefendedTwice",     hung_pawn,     "Kg1 Rf1 Pf2 kd8 qf6 rf8",        0, 0},
    TermCase{"AttackedTwiceDefendedTwiceIsAttacked", attacked_pawn, "Kg1 Rf1 Pf2 kd8 qf6 rf8",  1, 0}),
    name_of_term);

INSTANTIATE_TEST_SUITE_P(Pieces, ThreatTerm, testing::Values(
    TermCase{"UndefendedKnightHangs",          hung_minor,     "Kh1 Nd4 Ph2 kd8 ra4",           1, 0},
    TermCase{"UndefendedKnightIsNotAttacked",  attacked_minor, "Kh1 Nd4 Ph2 kd8 ra4",           0, 0},
    TermCase{"UndefendedBishopHangs",          hung_minor,     "Kh1 Bd4 Ph2 kd8 ra4",           1, 0},
    TermCase{"DefendedKnightIsAttacked",       attacked_minor, "Kd3 Nd4 Ph2 kd8 ra4",           1, 0},
    TermCase{"DefendedKnightDoesNotHang",      hung_minor,     "Kd3 Nd4 Ph2 kd8 ra4",           0, 0},
    TermCase{"PawnGuardsAgainstBoth",          attacked_minor, "Kh1 Nd4 Pc3 kd8 ra4",           0, 0},
    TermCase{"PawnGuardsAgainstHanging",       hung_minor,     "Kh1 Nd4 Pc3 kd8 ra4",           0, 0},
    TermCase{"PawnAttackHangsAGuardedOne",     hung_minor,     "Kh1 Nd4 Pc3 kd8 pe5",           1, 0},
    TermCase{"PawnAttackOnAGuardedOne",        attacked_minor, "Kh1 Nd4 Pc3 kd8 pe5",           0, 0},
    TermCase{"PawnAttackHangsTheDefended",     hung_minor,     "Kd3 Nd4 Ph2 kd8 pe5",           1, 0},
    TermCase{"WhichCountsAsAttackedToo",       attacked_minor, "Kd3 Nd4 Ph2 kd8 pe5",           1, 0},
    TermCase{"RookAttackedByAKnight",          hung_major,     "Kh1 Rd4 Ph2 kd8 nb5",           1, 0},
    TermCase{"RookAttackedByARook",            hung_major,     "Kh1 Rd4 Ph2 kh8 ra4",           0, 0},
    TermCase{"RookAttackedByAPawn",            hung_major,     "Kh1 Rd4 Ph2 kh8 pe5",           1, 0},
    TermCase{"QueenAttackedByABishop",         hung_major,     "Kh1 Qd4 Ph2 kd7 bf6 pa7",       1, 0},
    TermCase{"GuardDoesNotHelpAMajor",         hung_major,     "Kh1 Qd4 Pc3 kd7 bf6 pa7",       1, 0}),
    name_of_term);

INSTANTIATE_TEST_SUITE_P(Pushes, ThreatTerm, testing::Values(
    TermCase{"SinglePush",                     ppush_threat, "Kh1 Pe3 kh8 nd5",                 0, 1},
    TermCase{"DoublePush",                     ppush_threat, "Kh1 Pe2 kh8 nd5",                 0, 1},
    TermCase{"NoDoublePushFromTheThird",       ppush_threat, "Kh1 Pe3 kh8 nd6",                 0, 0},
    TermCase{"NoDoublePushOverAPiece",         ppush_threat, "Ke3 Pe2 kh8 nd5",                 0, 0},
    TermCase{"PushBeforeAPawn",                ppush_threat, "Kh1 Pe3 kh8 nd5 pf5",             0, 0},
    TermCase{"GuardedPushBeforeAPawn",         ppush_threat, "Kh1 Pd3 Pe3 kh8 nd5 pf5",         0, 0},
    TermCase{"PushThatARookTakes",             ppush_threat, "Kh1 Pe3 kh8 nd5 re8",             0, 0},
    TermCase{"GuardedPush",                    ppush_threat, "Kh1 Pd3 Pe3 kh8 nd5 re8",         0, 1},
    TermCase{"TwoTargetsOfOnePush",            ppush_threat, "Kh1 Pe3 kh8 nd5 nf5",             0, 2},
    TermCase{"OneTargetOfTwoPushes",           ppush_threat, "Kh1 Pc3 Pe3 kh8 nd5",             0, 1},
    TermCase{"KingIsATarget",                  ppush_threat, "Kh1 Pd3 Pe3 kd5",                 0, 1},
    TermCase{"HangingPieceIsNone",             ppush_threat, "Kh1 Bb3 Pe3 kh8 nd5",             0, 0}),
    name_of_term);

INSTANTIATE_TEST_SUITE_P(Pins, ThreatTerm, testing::Values(
    TermCase{"KnightBeforeItsKing",            pinned_piece, "Ke1 Ne3 Ph2 kh8 re8",             1, 0},
    TermCase{"PawnBeforeItsKing",              pinned_piece, "Ke1 Pe3 Ph2 kh8 re8",             0, 0},
    TermCase{"TwoBeforeTheKing",               pinned_piece, "Ke1 Ne3 Be4 Ph2 kh8 re8",         0, 0},
    TermCase{"QueenPinsToTheKing",             pinned_piece, "Ke1 Ne3 Ph2 kh8 qe8",             1, 0},
    TermCase{"RookPinsToTheQueen",             pinned_piece, "Kh1 Qd1 Nd3 Ph2 kh8 rd8 pa7",     1, 0},
    TermCase{"BishopPinsToTheQueen",           pinned_piece, "Kh1 Qd1 Nf3 Ph2 kh8 bh5 pa7",     1, 0},
    TermCase{"QueenDoesNotPinToTheQueen",      pinned_piece, "Kh1 Qd1 Nd3 Ph2 kh8 qd8 pa7",     0, 0},
    TermCase{"TwoPins",                        pinned_piece, "Ke1 Ne3 Bd2 Ph2 kh8 re8 ba5",     2, 0}),
    name_of_term);
// clang-format on

TEST_F(HceThreats, UnitsThatHangPressTheirSide) {
    struct {
        const char* pieces;
        int white;
        const char* hung;
    } const cases[] = {
        {"Kh1 Pb2 Pf2 kd8 qd4", 128, "b2 f2"},
        {"Kg1 Pf2 Pa2 kd8 qf6", 0, ""},
        {"Kh1 Nd4 Ph2 kd8 ra4", 256, "d4"},
        {"Kd3 Nd4 Ph2 kd8 ra4", 0, ""},
        {"Kd3 Nd4 Pf2 kd8 pe5", 256, "d4"},
        {"Kh1 Rd4 Ph2 kd8 nb5", 256, "d4"},
        {"Kh1 Rd4 Ng5 Ph2 kd8 nb5 rh5", 512, "d4 g5"},
    };
    for (const auto& c : cases) {
        const EvalContext& context = evaluated(c.pieces);
        EXPECT_EQ(context.threat_pressure[WHITE], c.white) << c.pieces;
        EXPECT_EQ(context.hung_pieces, squares(c.hung)) << c.pieces;

        const EvalContext& flipped = evaluated_fen(mirrored(placed(c.pieces), 56));
        EXPECT_EQ(flipped.threat_pressure[BLACK], c.white) << c.pieces;
    }
}

TEST_F(HceThreats, PressureGoesToTheStackAndTheHash) {
    Position& pos = set_up(placed("Kh1 Pb2 Pf2 kd8 qd4").c_str());
    HceEval(*main_thread, pos.side, 3, 0);
    const EvalHashEntry& entry = main_thread->eval.eval_hash[(pos.key & 0x7FFE) + pos.side];

    EXPECT_EQ(main_thread->stack[3].threat_pressure[WHITE], 128);
    EXPECT_EQ(main_thread->stack[3].threat_pressure[BLACK], 0);
    EXPECT_EQ(entry.threat_pressure[WHITE], 128);
    EXPECT_EQ(entry.threat_pressure[BLACK], 0);
}
