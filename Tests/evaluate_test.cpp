// The entry of the evaluation: packed scores, blend, contempt, fifty-move scaling, eval hash.
//
// Pins internals: the place of an entry in the eval hash, and the packed totals of EvalContext.

#include "eval/evaluate.h"

#include <cstring>

#include "hce_support.h"
#include "shell/think.h"

namespace {

// Base of suites that change what belongs to a search.
class EvaluateEntry : public OwnParams {
protected:
    void SetUp() override {
        zero_rows();
        set_relaxed(shell.use_nn, 0);
        engine.target_time = 1.0f;
        engine.root_side = WHITE;
    }
};

using ContemptTerm = EvaluateEntry;
using FiftyMoveScaling = EvaluateEntry;
using EvalHash = EvaluateEntry;
class Blend : public OwnParams {};
class EvalGroups : public OwnParams {};
class EvalGuards : public OwnParams {};

int evaluate(const std::string& fen, int in_check = 0) {
    Position& pos = set_up(fen.c_str());
    return Evaluate(*main_thread, pos.side, 1, in_check);
}

EvalHashEntry& entry_of(const Position& pos) {
    return main_thread->eval.eval_hash[(pos.key & 0x7FFE) + pos.side];
}

// t is 41: 23 units, and 12 pawns.
const char HALF_FULL[] = "4k1bq/pppppp2/8/8/8/8/PPPPPP2/4K2Q w - -";

// Equal, with 30 units and no endgame factor.
const char MIDDLE[] = "3qk3/pppp4/8/8/8/8/PPPP4/R2QK2R w - -";

} // namespace

TEST(PackedScore, KeepsBothHalves) {
    for (int mg : {-32768, -1000, -1, 0, 1, 999, 32767}) {
        for (int eg : {-30000, -500, -1, 0, 1, 500, 30000}) {
            int32_t packed = pack_score(mg, eg);
            EXPECT_EQ(packed_mg(packed), mg) << mg << ',' << eg;
            EXPECT_EQ(packed_eg(packed), eg) << mg << ',' << eg;
        }
    }
}

TEST(PackedScore, IsEndgameTimes65536PlusMidgame) {
    EXPECT_EQ(pack_score(7, 2), 2 * 65536 + 7);
    EXPECT_EQ(pack_score(-7, 2), 2 * 65536 - 7);
    EXPECT_EQ(pack_score(7, -2), -2 * 65536 + 7);
    EXPECT_EQ(pack_score(-7, -2), -2 * 65536 - 7);
}

TEST(PackedScore, AddsInBothHalvesAtOnce) {
    int32_t sum = packed_add(pack_score(-100, 30), pack_score(40, -80));
    EXPECT_EQ(halves(sum), (Halves{-60, -50}));
    EXPECT_EQ(halves(packed_sub(sum, pack_score(-70, -45))), (Halves{10, -5}));
    EXPECT_EQ(halves(packed_times(pack_score(-8, -11), 3)), (Halves{-24, -33}));
    EXPECT_EQ(halves(packed_times(pack_score(-8, 11), -3)), (Halves{24, -33}));
    EXPECT_EQ(packed_times(pack_score(-8, 11), 0), 0);
}

TEST_F(EvaluateEntry, SideInCheckHasNoEvaluation) {
    uint64_t probes = relaxed(main_thread->eval_probes);
    active_personality.Contempt = 100;

    EXPECT_EQ(evaluate(START_FEN, 1), -9999);
    game().halfmoves = 90;
    EXPECT_EQ(Evaluate(*main_thread, WHITE, 5, 1), -9999);
    EXPECT_EQ(relaxed(main_thread->eval_probes), probes) << "nothing is evaluated";
}

TEST_F(ContemptTerm, OnAFullBoardIsOptionAndTaper) {
    active_personality.Contempt = 20;
    active_personality.contempt_taper = 15;

    EXPECT_EQ(evaluate(START_FEN), 35);
    active_personality.Contempt = -150;
    EXPECT_EQ(evaluate(START_FEN), -135);
    active_personality.Contempt = 0;
    EXPECT_EQ(evaluate(START_FEN), 15) << "the default";
}

TEST_F(ContemptTerm, IsForTheSideToMoveAtTheRoot) {
    active_personality.Contempt = 20;
    const std::string black = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR b - -";

    engine.root_side = WHITE;
    EXPECT_EQ(evaluate(START_FEN), 35);
    EXPECT_EQ(evaluate(black), -35);
    engine.root_side = BLACK;
    EXPECT_EQ(evaluate(START_FEN), -35);
    EXPECT_EQ(evaluate(black), 35);
}

TEST_F(ContemptTerm, OnAHalfFullBoardIsHalfOfTheOption) {
    active_personality.Contempt = 100;
    EXPECT_EQ(evaluate(HALF_FULL), 50);
    active_personality.Contempt = 21; // 10.5, cut toward zero
    EXPECT_EQ(evaluate(HALF_FULL), 10);
    active_personality.Contempt = -21;
    EXPECT_EQ(evaluate(HALF_FULL), -10);
}

TEST_F(ContemptTerm, OnAnEmptyBoardIsTheTaperAlone) {
    active_personality.Contempt = 150;
    EXPECT_EQ(evaluate(placed("Ke1 Nb1 ke8 bb8")), -15) << "on top of a drawn ending";
    EXPECT_EQ(evaluate(placed("Ke1 ke8")), -15) << "fewer than 6 units count as 6";
    engine.root_side = BLACK;
    EXPECT_EQ(evaluate(placed("Ke1 ke8")), 15);
}

TEST_F(ContemptTerm, TaperIsCutTowardZero) {
    active_personality.Contempt = 0;
    // 22, 20 and 26 units with 12 pawns: t is 40, 38 and 44.
    EXPECT_EQ(evaluate(placed("Ke1 Ra1 Rb1 Bc1 ke8 ba8 bb8 bc8 Pa2 Pb2 Pc2 Pd2 Pe2 Pf2 pa7 pb7 "
                              "pc7 pd7 pe7 pf7")),
              0);
    EXPECT_EQ(evaluate(placed("Ke1 Qa1 ke8 qa8 Pa2 Pb2 Pc2 Pd2 Pe2 Pf2 pa7 pb7 pc7 pd7 pe7 pf7")),
              -1);
    EXPECT_EQ(evaluate(placed("Ke1 Qa1 Bc1 ke8 qa8 bc8 Pa2 Pb2 Pc2 Pd2 Pe2 Pf2 pa7 pb7 pc7 pd7 "
                              "pe7 pf7")),
              1);
}

TEST_F(ContemptTerm, MoreThanTwelvePawnsAreTwelve) {
    active_personality.Contempt = 82; // adds t itself
    active_personality.contempt_taper = 0;
    EXPECT_EQ(evaluate("rnbqkbnr/pppppppp/8/8/8/8/PPPP4/RNBQKBNR w - -"), 82);
    EXPECT_EQ(evaluate("rnbqkbnr/ppppppp1/8/8/8/8/PPPP4/RNBQKBNR w - -"), 80);
}

TEST_F(ContemptTerm, IsSwitchedOffInAnalysis) {
    active_personality.Contempt = 100;
    engine.target_time = 90000.0f;
    EXPECT_EQ(evaluate(START_FEN), 0);
    engine.target_time = 89999.0f;
    EXPECT_EQ(evaluate(START_FEN), 115);
}

TEST_F(FiftyMoveScaling, TakeTheirShareOfTheScore) {
    engine.target_time = 90000.0f;
    struct {
        int score, halfmoves, expected;
    } const cases[] = {{200, 100, 122}, {-200, 100, -122}, {200, 0, 200}, {200, 1, 200},
                       {200, 2, 199},   {-200, 2, -199},   {0, 100, 0},   {200, 255, 1}};
    for (const auto& c : cases) {
        set_row(stm_bonus, c.score, c.score);
        Position& pos = set_up(START_FEN);
        pos.halfmoves = static_cast<uint8_t>(c.halfmoves);
        EXPECT_EQ(Evaluate(*main_thread, WHITE, 1, 0), c.expected) << c.score << ' ' << c.halfmoves;
    }
}

TEST_F(FiftyMoveScaling, CountForEndgameKnowledgeToo) {
    engine.target_time = 90000.0f;
    Position& pos = set_up(placed("Ke1 Qa1 ke5").c_str());
    ASSERT_EQ(Evaluate(*main_thread, WHITE, 1, 0), 1036);
    pos.halfmoves = 50;
    EXPECT_EQ(Evaluate(*main_thread, WHITE, 1, 0), 1036 - 202);
}

TEST_F(FiftyMoveScaling, CountForTheContemptToo) {
    active_personality.Contempt = 20;
    Position& pos = set_up(START_FEN);
    pos.halfmoves = 100;
    EXPECT_EQ(Evaluate(*main_thread, WHITE, 1, 0), 35 - 13);
}

TEST_F(EvaluateEntry, EndsShortOfAMate) {
    engine.target_time = 90000.0f;
    set_row(stm_bonus, 20000, 20000);
    EXPECT_EQ(evaluate(START_FEN), 9700);
    game().halfmoves = 100;
    EXPECT_EQ(Evaluate(*main_thread, WHITE, 1, 0), 9700) << "20000 less 7812";
    game().halfmoves = 200;
    EXPECT_EQ(Evaluate(*main_thread, WHITE, 1, 0), 4375);
    EXPECT_EQ(HceEval(*main_thread, WHITE, 1, 0), 20000) << "no limit of its own";

    set_row(stm_bonus, -20000, -20000);
    EXPECT_EQ(evaluate(START_FEN), -9700);
}

TEST_F(EvaluateEntry, RookAgainstTheLoneKingIsHandCrafted) {
    engine.target_time = 90000.0f;
    EXPECT_EQ(evaluate(placed("Ke1 Ra1 ke5")), 536);
    EXPECT_EQ(evaluate(placed("Ke1 Qa1 Pa2 Pb2 Pc2 Pd2 Pe2 Pf2 Pg2 Ph2 ke5")), 1036);
}

TEST_F(Blend, PhaseGrowsAsPiecesGo) {
    struct {
        const char* fen;
        float phase;
    } const cases[] = {
        {START_FEN, 0.0f},                                            // 64 units
        {"rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/1NBQKBNR w - -", 0.0f},  // 59
        {"rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/R2QKBNR w - -", 0.014f}, // 58
        {MIDDLE, 0.49f},                                              // 30
        {"4k3/pppp4/8/8/8/8/PPPP4/4K3 w - -", 1.0f},
    };
    for (const auto& c : cases) EXPECT_FLOAT_EQ(evaluated_fen(c.fen).phase, c.phase) << c.fen;
    EXPECT_EQ(evaluated_fen(MIDDLE).phase, static_cast<float>(1.0 - 0.017 * 30));
}

TEST_F(Blend, MixesTheHalvesAndCutsTowardZero) {
    const std::string black = mirrored(MIDDLE, 7).replace(std::string(MIDDLE).find(" w"), 2, " b");
    struct {
        int mg, eg, expected;
    } const cases[] = {
        {1000, 0, 509}, // the phase is a float, slightly above 0.49
        {0, 1000, 490},     {100, 100, 99}, {101, 200, 149}, // 149.51
        {101, -200, -46},                                    // -46.49
        {-101, -200, -149}, {-1, -1, -1},   {-300, 1, -152}, // -152.51
    };
    for (const auto& c : cases) {
        only_row(stm_bonus, c.mg, c.eg);
        set_up(MIDDLE);
        EXPECT_EQ(HceEval(*main_thread, WHITE, 1, 0), c.expected) << c.mg << ',' << c.eg;
        set_up(black.c_str());
        EXPECT_EQ(HceEval(*main_thread, BLACK, 1, 0), c.expected) << c.mg << ',' << c.eg;
    }
}

TEST_F(Blend, ShareOfTheMidgameIsTakenInDoublePrecision) {
    only_row(stm_bonus, 1000, 0);
    set_up("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/R2QKBNR w - -"); // phase 0.014, a little above
    EXPECT_EQ(HceEval(*main_thread, WHITE, 1, 0), 985) << "985.9999996";
}

TEST_F(Blend, OnAFullBoardIsTheMidgame) {
    only_row(stm_bonus, 123, -5000);
    set_up(START_FEN);
    EXPECT_EQ(HceEval(*main_thread, WHITE, 1, 0), 123);
}

TEST_F(Blend, SideToMoveHasABonus) {
    expect_times({"", stm_bonus, "Ke1 Qd1 ke8 qd8", 1, 0});
    expect_times({"", stm_bonus, "Ke1 Qd1 ke8 qd8 b", 0, 1});
}

TEST_F(EvalGroups, AddUpToTheTotals) {
    Random random = {3};
    for (int n = 0; n < 100; n++) {
        std::string fen = random_placement(random);
        Position& pos = set_up(fen.c_str());
        int ignored = 0;
        if (endgame_score(pos, pos.side, ignored)) continue;
        int fresh = HceEval(*main_thread, pos.side, 1, 0);
        testing::internal::CaptureStdout();
        EXPECT_EQ(HceEval(*main_thread, pos.side, 1, 1), fresh) << fen;
        testing::internal::GetCapturedStdout();
        for (int side : {WHITE, BLACK}) {
            int32_t sum = 0;
            for (const auto& group : main_thread->eval.context.group)
                sum = packed_add(sum, group[side]);
            EXPECT_EQ(sum, main_thread->eval.context.packed[side]) << fen;
        }
    }
}

TEST_F(EvalGroups, HoldTheTermsOfTheirKind) {
    struct {
        int row;
        EvalGroup group;
    } const cases[] = {
        {mtl_pawn, GROUP_PAWNS},          {pawn_isolated, GROUP_PAWNS},
        {pawn_blocked, GROUP_PAWNS},      {PST_P2 + square("a4"), GROUP_PAWNS},
        {mtl_knight, GROUP_KNIGHTS},      {knight_outpost_atk, GROUP_KNIGHTS},
        {mtl_bishop, GROUP_BISHOPS},      {bishop_pair, GROUP_BISHOPS},
        {bishop_rampawns, GROUP_BISHOPS}, {mtl_rook, GROUP_ROOKS},
        {rook_mob2, GROUP_ROOKS},         {mtl_queen, GROUP_QUEENS},
        {queen_mobility, GROUP_QUEENS},   {PST_K + square("g1"), GROUP_KING},
        {pawn_shield, GROUP_KING},        {ppawn_base + 2, GROUP_PPAWNS},
        {ppawn_ekdist + 2, GROUP_PPAWNS}, {hung_minor, GROUP_THREATS},
        {stm_bonus, GROUP_SPECIAL},
    };
    const std::string pieces = "Kg1 Qd1 Rb1 Bc1 Bf1 Ne2 Pa4 Pe4 pe5 kb8 qh8 rh7 nb5 pf6 pg7";
    for (const auto& c : cases) {
        only_row(c.row, 1000, 1000);
        set_up(placed(pieces).c_str());
        testing::internal::CaptureStdout();
        HceEval(*main_thread, WHITE, 1, 1);
        testing::internal::GetCapturedStdout();
        for (int group = 0; group < EVAL_GROUPS; group++) {
            const int32_t* added = main_thread->eval.context.group[group];
            EXPECT_EQ(added[WHITE] != 0 || added[BLACK] != 0, group == c.group)
                << "row " << c.row << " group " << group;
        }
    }
}

TEST_F(EvalHash, IsReadFromPlyTwoOn) {
    Position& pos = set_up(MIDDLE);
    HceEval(*main_thread, WHITE, 1, 0);
    EvalHashEntry& entry = entry_of(pos);
    ASSERT_EQ(entry.key, pos.key);

    for (int ply : {0, 1}) {
        entry.hce_score = 1234;
        entry.threat_pressure[WHITE] = 11;
        uint64_t hits = relaxed(main_thread->eval_hits);
        EXPECT_EQ(HceEval(*main_thread, WHITE, ply, 0), 0) << ply;
        EXPECT_EQ(entry.hce_score, 0) << "overwritten at ply " << ply;
        EXPECT_EQ(entry.threat_pressure[WHITE], 0) << ply;
        EXPECT_EQ(main_thread->stack[ply].threat_pressure[WHITE], 0) << ply;
        EXPECT_EQ(relaxed(main_thread->eval_hits), hits) << ply;
    }
    for (int ply : {2, 3, 60}) {
        entry.hce_score = 1234;
        entry.threat_pressure[WHITE] = 11;
        entry.threat_pressure[BLACK] = -22;
        uint64_t hits = relaxed(main_thread->eval_hits);
        EXPECT_EQ(HceEval(*main_thread, WHITE, ply, 0), 1234) << ply;
        EXPECT_EQ(main_thread->stack[ply].threat_pressure[WHITE], 11) << ply;
        EXPECT_EQ(main_thread->stack[ply].threat_pressure[BLACK], -22) << ply;
        EXPECT_EQ(relaxed(main_thread->eval_hits), hits + 1) << ply;
    }
}

TEST_F(EvalHash, AnotherPositionOfTheSameIndexIsNoHit) {
    Position& pos = set_up(MIDDLE);
    EvalHashEntry& entry = entry_of(pos);
    entry = {pos.key ^ (1ULL << 40), {0, 0}, 1234, 0};
    EXPECT_EQ(HceEval(*main_thread, WHITE, 2, 0), 0);
    EXPECT_EQ(entry.key, pos.key);
}

TEST_F(EvalHash, HoldsTheScoreBeforeContemptAndFiftyMoveScaling) {
    set_row(stm_bonus, 200, 200);
    Position& pos = set_up(START_FEN);
    active_personality.Contempt = 0;
    engine.target_time = 90000.0f;
    EXPECT_EQ(Evaluate(*main_thread, WHITE, 2, 0), 200);
    EXPECT_EQ(entry_of(pos).hce_score, 200);

    uint64_t hits = relaxed(main_thread->eval_hits);
    pos.halfmoves = 100;
    EXPECT_EQ(Evaluate(*main_thread, WHITE, 2, 0), 122);
    pos.halfmoves = 0;
    engine.target_time = 1.0f;
    EXPECT_EQ(Evaluate(*main_thread, WHITE, 2, 0), 215);
    EXPECT_EQ(entry_of(pos).hce_score, 200);
    EXPECT_EQ(relaxed(main_thread->eval_hits), hits + 2);
}

TEST_F(EvalHash, TwoColoursOfAPositionAreNeighbours) {
    Position& pos = set_up(MIDDLE);
    HceEval(*main_thread, WHITE, 1, 0);
    uint64_t white = pos.key, index = pos.key & 0x7FFE;
    std::string black = MIDDLE;
    set_up(black.replace(black.find(" w"), 2, " b").c_str());
    HceEval(*main_thread, BLACK, 1, 0);

    EXPECT_EQ(pos.key & 0x7FFE, index);
    EXPECT_EQ(main_thread->eval.eval_hash[index].key, white);
    EXPECT_EQ(main_thread->eval.eval_hash[index + 1].key, pos.key);
}

TEST_F(EvalHash, ScoresAreTheSameWithAndWithoutTheHashes) {
    BuildEvalParams();
    build_eval_tables();
    Random random = {21};
    for (int n = 0; n < 600; n++) {
        std::string fen = n % 2 ? random_placement(random) : random_fen(random);
        Position& pos = set_up(fen.c_str());
        int fresh = HceEval(*main_thread, pos.side, 1, 0);
        int exact = 0;
        if (endgame_score(pos, pos.side, exact)) {
            EXPECT_EQ(fresh, exact) << fen;
            continue;
        }
        const int16_t pressure[2] = {main_thread->stack[1].threat_pressure[WHITE],
                                     main_thread->stack[1].threat_pressure[BLACK]};
        // With the pawn hash alone, then with the eval hash, then with neither again.
        entry_of(pos) = {};
        for (int ply : {2, 3, 1}) {
            memset(main_thread->stack[ply].threat_pressure, 0x55, sizeof pressure);
            EXPECT_EQ(HceEval(*main_thread, pos.side, ply, 0), fresh) << fen << ' ' << ply;
            EXPECT_EQ(main_thread->stack[ply].threat_pressure[WHITE], pressure[WHITE]) << fen;
            EXPECT_EQ(main_thread->stack[ply].threat_pressure[BLACK], pressure[BLACK]) << fen;
        }
    }
}

TEST_F(EvalHash, NewSettingsFlushBothTables) {
    Position& pos = set_up(MIDDLE);
    HceEval(*main_thread, WHITE, 1, 0);
    PawnHashEntry& pawns = main_thread->eval.pawn_hash[pos.pawn_key & 16383];
    main_thread->eval.eval_epoch = relaxed(eval_epoch);

    refresh_eval_tables(*main_thread);
    EXPECT_EQ(entry_of(pos).key, pos.key) << "nothing has changed";
    EXPECT_EQ(pawns.key, pos.pawn_key);

    eval_epoch.fetch_add(1);
    refresh_eval_tables(*main_thread);
    EXPECT_EQ(entry_of(pos).key, 0u);
    EXPECT_EQ(pawns.key, 0u);
    EXPECT_EQ(main_thread->eval.eval_epoch, relaxed(eval_epoch));
}

TEST_F(EvalHash, RebuildingTheEvaluationIsANewSetting) {
    uint32_t before = relaxed(eval_epoch);
    rebuild_evaluation();
    EXPECT_NE(relaxed(eval_epoch), before);
}

TEST_F(EvalGuards, OddPositionsAreEvaluated) {
    const char* const fens[] = {
        "PPPPkPPP/8/8/8/8/8/8/pppKpppp w - -",
        "pppkpppp/8/8/8/8/8/8/PPPPKPPP b - -",
        "PkP5/8/8/8/8/8/8/pKp5 w - -",
        "7P/8/8/8/8/8/k7/K7 w - -",
        "7k/8/8/8/8/8/8/K2P4 w - -",
        "7k/8/8/8/8/8/8/K2p4 b - -",
        "3p3k/8/8/8/8/8/8/K7 b - -",
        "kQQQQQQQ/QQQQQQQQ/Q7/8/8/8/8/K7 b - -",
        "kqqqqqqq/qqqqqqqq/8/8/8/QQQQQQQQ/QQQQQQQQ/K7 w - -",
        "kqqqqqqq/qqqqqqqq/qqqqqqqq/qqqqqqqq/QQQQQQQQ/QQQQQQQQ/QQQQQQQQ/KQQQQQQQ w - -",
        "kRRRRRRR/RRRRRRRR/8/8/8/8/8/K7 w - -",
        "kNNNNNNN/NNNNNNNN/NN6/8/8/8/8/K7 w - -",
        "kBBBBBBB/BBBBBBBB/BB6/8/8/8/8/K7 b - -",
        "k7/PPPPPPPP/PPPPPPPP/PPPPPPPP/pppppppp/pppppppp/pppppppp/K7 w - -",
        "8/8/8/8/8/8/8/Kk6 w - -",
        "rnbqkbnr/8/8/8/8/8/8/KQQQQQQQ b - -",
    };
    for (const char* fen : fens) {
        for (const std::string& text : {std::string(fen), mirrored(fen, 7), mirrored(fen, 56)}) {
            Position& pos = set_up(text.c_str());
            for (int ply : {1, 2, 3}) {
                int score = Evaluate(*main_thread, pos.side, ply, 0);
                EXPECT_LE(score, 9700) << text;
                EXPECT_GE(score, -9700) << text;
            }
        }
    }
}

TEST_F(EvalGuards, CrowdedBoardsAreEvaluated) {
    Random random = {99};
    const char units[] = "PNBRQpnbrq";
    for (int n = 0; n < 500; n++) {
        char board[64];
        for (char& place : board) place = units[random_below(random, 10)];
        int white = random_below(random, 64);
        board[white] = 'K';
        board[(white + 1 + random_below(random, 63)) % 64] = 'k';
        for (int holes = random_below(random, 50); holes > 0; holes--) {
            char& place = board[random_below(random, 64)];
            if ((place | 0x20) != 'k') place = '.';
        }
        Position& pos = set_up(fen_of_board(board, n % 2 ? 'w' : 'b').c_str());
        int score = Evaluate(*main_thread, pos.side, 1 + n % 4, 0);
        EXPECT_LE(std::abs(score), 9700);
    }
}

TEST_F(EvalGuards, PassedPawnsOnTheLastRanksAddNothing) {
    zero_rows();
    set_rows(ppawn_base, 46 - 6, 1000, 1000); // all families of passed pawns
    set_rows(candidate_passer, 6, 1000, 1000);
    EXPECT_EQ(evaluated_fen("P6P/8/8/2k5/8/4K3/8/8 w - -").packed[WHITE], 0);
    EXPECT_EQ(evaluated_fen("8/8/8/2k5/8/4K3/8/P6P w - -").packed[WHITE], 0);
}

TEST_F(EvalGuards, KingWithoutAnyPawnsWayGrowsTheWholeBoard) {
    only_row(king_pawn_dist, 1000, -1000);
    expect_totals("P6P/8/8/2k5/8/4K3/8/8 w - -", {1000, -1000}, {1000, -1000});
}
