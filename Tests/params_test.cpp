// The table of rows, its text file, and scaling.

#include "eval/params.h"

#include <array>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <vector>

#include "eval/pst.h"
#include "hce_support.h"
#include "shell/think.h"

namespace {

struct Row {
    const char* name;
    int mg, eg;
};

// The rows before the spare ones, in table order.
// clang-format off
const Row ROWS[] = {
    {"mtl_pawn", 100, 100}, {"mtl_knight", 390, 387}, {"mtl_bishop", 392, 400},
    {"mtl_rook", 556, 707}, {"mtl_queen", 1209, 1277}, {"bishop_pair", 30, 62},
    {"pawn_isolated", -8, -11}, {"pawn_weak", -6, 4}, {"pawn_blocked", -7, -9},
    {"pawn_doubled", -7, -2},
    {"ppawn_base", -18, 26}, {"ppawn_base", -21, 27}, {"ppawn_base", -21, 44},
    {"ppawn_base", 9, 58}, {"ppawn_base", 60, 89}, {"ppawn_base", 132, 163},
    {"ppawn_mobile", 12, 2}, {"ppawn_mobile", 16, 0}, {"ppawn_mobile", 22, 8},
    {"ppawn_mobile", 26, 29}, {"ppawn_mobile", 52, 40}, {"ppawn_mobile", 56, 99},
    {"ppawn_free", -6, 4}, {"ppawn_free", -12, 2}, {"ppawn_free", -31, 17},
    {"ppawn_free", -19, 35}, {"ppawn_free", 20, 52}, {"ppawn_free", 40, 106},
    {"ppawn_fkdist", 4, 16}, {"ppawn_fkdist", 14, 47}, {"ppawn_fkdist", 26, 22},
    {"ppawn_fkdist", 34, 9}, {"ppawn_fkdist", 3, -22}, {"ppawn_fkdist", 6, -49},
    {"ppawn_fkdist", 10, -58}, {"ppawn_fkdist", -32, -41},
    {"ppawn_ekdist", -73, -64}, {"ppawn_ekdist", -15, -23}, {"ppawn_ekdist", 32, -24},
    {"ppawn_ekdist", 4, 53}, {"ppawn_ekdist", 13, 96}, {"ppawn_ekdist", 27, 120},
    {"ppawn_ekdist", 39, 130}, {"ppawn_ekdist", 38, 118},
    {"ppawn_connected", -3, -12}, {"ppawn_connected", -7, -2}, {"ppawn_connected", 1, 11},
    {"ppawn_connected", 6, 2}, {"ppawn_connected", 19, 52}, {"ppawn_connected", 5, 76},
    {"candidate_passer", 0, 0}, {"candidate_passer", 0, 0}, {"candidate_passer", 1, 57},
    {"candidate_passer", 7, 73}, {"candidate_passer", 5, 64}, {"candidate_passer", 0, 0},
    {"knight_mobility", 62, 47}, {"knight_trapped", -5, -28}, {"knight_outpost", 35, 10},
    {"knight_outpost_atk", 9, 13},
    {"bishop_mobility", 40, 79}, {"bishop_mob2", 8, 3}, {"bishop_trapped", 6, -51},
    {"bishop_outpost", 45, 5}, {"bishop_outpost_atk", 3, 12},
    {"rook_mobility", 37, 80}, {"rook_mob2", 6, 6}, {"rook_trapped", 3, -32},
    {"rook_openfile", 19, -6}, {"rook_7th", 5, 25},
    {"queen_mobility", 27, 116}, {"queen_trapped", -8, -20},
    {"pawn_shield", 35, -21}, {"enemy_checks", -16, -32}, {"king_danger1", -217, 8},
    {"king_danger2", -86, -4}, {"king_trapped", 0, -45}, {"king_pawn_dist", 12, -78},
    {"hung_pawn", -16, -51}, {"attacked_pawn", 0, -23}, {"hung_minor", -63, -55},
    {"attacked_minor", -7, -30}, {"hung_major", -69, -32}, {"ppush_threat", -16, -23},
    {"pinned_piece", -48, -84}, {"bishop_rampawns", -9, -19}, {"stm_bonus", 37, 19},
};
// clang-format on

const char* const TABLES[13] = {"PST_P1", "PST_CP", "PST_DP", "PST_N1", "PST_B1",
                                "PST_R1", "PST_Q1", "PST_K",  "PST_P2", "PST_N2",
                                "PST_B2", "PST_R2", "PST_Q2"};

// Works in a directory of its own and restores all that it changed.
class ParamsFile : public OwnParams {
protected:
    void SetUp() override {
        BuildEvalParams();
        before = std::filesystem::current_path();
        std::filesystem::current_path(fresh_directory());
    }
    void TearDown() override { std::filesystem::current_path(before); }

    std::filesystem::path before;
};

class ScaledParams : public OwnParams {
protected:
    void SetUp() override { BuildEvalParams(); }
};

class Params : public OwnParams {
protected:
    void SetUp() override { BuildEvalParams(); }
};

std::array<EvalParam, PARAM_ROWS> all_rows() {
    std::array<EvalParam, PARAM_ROWS> rows;
    memcpy(rows.data(), eval_params, sizeof eval_params);
    return rows;
}

Halves row_halves(int row) { return halves(eval_params[row].value); }

// Reads a params.txt of this text and returns what was printed.
std::string read_params(const std::string& text) {
    std::ofstream("params.txt") << text;
    testing::internal::CaptureStdout();
    ReadParamsFile();
    return testing::internal::GetCapturedStdout();
}

} // namespace

TEST_F(Params, RowsStandInTableOrderWithTheirDefaults) {
    ASSERT_EQ(std::size(ROWS), 87u);
    for (size_t i = 0; i < std::size(ROWS); i++) {
        const EvalParam& row = eval_params[i];
        EXPECT_STREQ(row.name, ROWS[i].name) << i;
        EXPECT_EQ(halves(row.value), (Halves{ROWS[i].mg, ROWS[i].eg})) << i << ' ' << row.name;
        EXPECT_EQ(row.mg, static_cast<float>(ROWS[i].mg)) << row.name;
        EXPECT_EQ(row.eg, static_cast<float>(ROWS[i].eg)) << row.name;
    }
}

TEST_F(Params, SpareRowsAreZero) {
    for (int i = 87; i < 87 + 32; i++) {
        EXPECT_STREQ(eval_params[i].name, "ttune") << i;
        EXPECT_EQ(eval_params[i].value, 0) << i;
    }
}

TEST_F(Params, ThirteenTablesOf64RowsFollow) {
    EXPECT_EQ(PARAM_ROWS, 951);
    for (int table = 0; table < 13; table++) {
        for (int s = 0; s < 64; s++) {
            const EvalParam& row = eval_params[119 + 64 * table + s];
            ASSERT_STREQ(row.name, TABLES[table]) << s;
            ASSERT_EQ(static_cast<float>(packed_mg(row.value)), row.mg) << row.name << ' ' << s;
            ASSERT_EQ(static_cast<float>(packed_eg(row.value)), row.eg) << row.name << ' ' << s;
        }
    }
}

TEST_F(Params, FirstRowsHaveTheirNumbers) {
    EXPECT_STREQ(eval_params[mtl_pawn].name, "mtl_pawn");
    EXPECT_STREQ(eval_params[stm_bonus].name, "stm_bonus");
    EXPECT_STREQ(eval_params[candidate_passer].name, "candidate_passer");
    EXPECT_STREQ(eval_params[candidate_passer - 1].name, "ppawn_connected");
    EXPECT_STREQ(eval_params[ppawn_ekdist].name, "ppawn_ekdist");
    EXPECT_STREQ(eval_params[ppawn_ekdist - 1].name, "ppawn_fkdist");
    EXPECT_STREQ(eval_params[king_pawn_dist].name, "king_pawn_dist");
    const int firsts[13] = {PST_P1, PST_CP, PST_DP, PST_N1, PST_B1, PST_R1, PST_Q1,
                            PST_K,  PST_P2, PST_N2, PST_B2, PST_R2, PST_Q2};
    for (int i = 0; i < 13; i++) EXPECT_STREQ(eval_params[firsts[i]].name, TABLES[i]);
}

TEST_F(Params, LimitsAreZero) {
    for (const EvalParam& row : eval_params)
        for (int32_t limit : row.limits) ASSERT_EQ(limit, 0);
}

TEST_F(Params, TellingSquaresOfTheTables) {
    struct {
        int first;
        const char* place;
        Halves expected;
    } const cases[] = {
        {PST_P1, "e2", {-23, 26}}, {PST_P1, "f7", {12, -1}},   {PST_N1, "a1", {-48, -37}},
        {PST_N1, "f5", {41, 12}},  {PST_K, "h1", {5, -88}},    {PST_K, "f5", {0, 33}},
        {PST_DP, "d6", {57, 51}},  {PST_N2, "a8", {-70, -66}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(row_halves(c.first + square(c.place)), c.expected)
            << eval_params[c.first].name << ' ' << c.place;
}

// Many squares are so rare that no node total tells of them. Whoever fits the tables anew writes
// down the new sums.
TEST_F(Params, NoSquareOfTheTablesChangesUnnoticed) {
    struct {
        const char* name;
        uint32_t sum;
    } const cases[] = {
        {"PST_P1", 0xA498AFB2}, {"PST_CP", 0xA2AB55ED}, {"PST_DP", 0x3B8B01BA},
        {"PST_N1", 0xF4CC9FA3}, {"PST_B1", 0x40B2A91F}, {"PST_R1", 0xE5F17090},
        {"PST_Q1", 0xB11B4FC2}, {"PST_K", 0x7E9826DE},  {"PST_P2", 0xA0CF996E},
        {"PST_N2", 0xC3ADF6E6}, {"PST_B2", 0xF2485CB0}, {"PST_R2", 0x31FDE424},
        {"PST_Q2", 0x9162593F},
    };
    static_assert(std::size(cases) == PST_TABLES);
    for (int table = 0; table < PST_TABLES; table++) {
        uint32_t sum = 0;
        for (const PstPair& pair : PST_DEFAULTS[table].rows)
            for (int16_t value : {pair.mg, pair.eg}) sum = sum * 31 + static_cast<uint16_t>(value);
        EXPECT_STREQ(PST_DEFAULTS[table].name, cases[table].name);
        EXPECT_EQ(sum, cases[table].sum) << cases[table].name;
    }
}

TEST_F(Params, SquaresThatAreNeverLookedUpAreZero) {
    for (int s = 0; s < 64; s++) {
        if (file_of(s) < 4) {
            EXPECT_EQ(eval_params[PST_K + s].value, 0) << s;
        }
        if (rank_of(s) == 0 || rank_of(s) == 7) {
            for (int table : {PST_P1, PST_P2, PST_CP, PST_DP})
                EXPECT_EQ(eval_params[table + s].value, 0) << eval_params[table].name << s;
        }
    }
}

TEST_F(Params, EveryRowThatCanActDoes) {
    Random random = {8};
    std::vector<std::string> fens;
    for (int n = 0; n < 3000; n++) {
        std::string fen = random_placement(random);
        Position& pos = set_up(fen.c_str());
        int ignored = 0;
        if (!endgame_score(pos, pos.side, ignored)) fens.push_back(fen);
    }
    fens.push_back(placed("Ka1 Nh1 Pe7 kg5")); // a king seven steps from its passed pawn's goal
    fens.push_back(placed("Ke8 Nh1 Pe7 ka1")); // a king on it
    fens.push_back(placed("Ka2 Nh1 Pe7 ke8")); // the other king on it
    fens.push_back(placed("Ka1 Pe2 Pd3 kh8")); // connected on the second rank
    fens.push_back(placed("Kb1 Qa1 Pa2 Pb2 kh8 ph7")); // a queen that is shut in

    zero_rows();
    for (int row = 0; row < PARAM_ROWS; row++) {
        int table = row < PARAM_PST ? -1 : PARAM_PST + (row - PARAM_PST) / 64 * 64;
        int s = (row - PARAM_PST) % 64;
        bool pawns = table == PST_P1 || table == PST_P2 || table == PST_CP || table == PST_DP;
        bool idle = (row >= PARAM_SPARE && row < PARAM_PST) // spare
                 || row == candidate_passer                 // a candidate stands on ranks 4 to 6
                 || row == candidate_passer + 1 || row == candidate_passer + 5
                 || (table == PST_K && file_of(s) < 4)
                 || (pawns && (rank_of(s) == 0 || rank_of(s) == 7))
                 || (table == PST_DP && rank_of(s) == 1); // no pawn stands behind
        bool acts = false;
        set_row(row, 1000, 1000);
        size_t tried = idle ? 300 : fens.size();
        for (size_t i = 0; i < tried && !acts; i++) {
            Position& pos = set_up(fens[i].c_str());
            HceEval(*main_thread, pos.side, 1, 0);
            acts =
                main_thread->eval.context.packed[WHITE] || main_thread->eval.context.packed[BLACK];
        }
        set_row(row, 0, 0);
        EXPECT_EQ(acts, !idle) << row;
    }
}

TEST_F(Params, BuildingAgainRestoresAllRows) {
    auto defaults = all_rows();
    memset(static_cast<void*>(eval_params), 0x5A, sizeof eval_params);

    testing::internal::CaptureStdout();
    BuildEvalParams();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");

    EXPECT_EQ(memcmp(defaults.data(), eval_params, sizeof eval_params), 0);
}

TEST_F(ParamsFile, MissingFileIsSilent) {
    auto defaults = all_rows();
    testing::internal::CaptureStdout();
    ReadParamsFile();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(memcmp(defaults.data(), eval_params, sizeof eval_params), 0);
}

TEST_F(ParamsFile, BothFormsOfALineAreRead) {
    EXPECT_EQ(read_params("fset(\"mtl_pawn\",90,110)\n"
                          "mtl_knight,391,-388\n"
                          "(\"mtl_bishop\",7,8)\n"
                          "mtl_rook(9,10)\n"),
              "");
    EXPECT_EQ(row_halves(mtl_pawn), (Halves{90, 110}));
    EXPECT_EQ(row_halves(mtl_knight), (Halves{391, -388}));
    EXPECT_EQ(row_halves(mtl_bishop), (Halves{7, 8}));
    EXPECT_EQ(row_halves(mtl_rook), (Halves{9, 10}));
    EXPECT_EQ(eval_params[mtl_knight].mg, 391.0f);
    EXPECT_EQ(eval_params[mtl_knight].eg, -388.0f);
}

TEST_F(ParamsFile, BlanksDoNotSeparate) {
    EXPECT_EQ(read_params("fset(\"mtl_pawn\", 90, 110);\n"), "") << "but numbers may follow them";
    EXPECT_EQ(row_halves(mtl_pawn), (Halves{90, 110}));

    EXPECT_EQ(read_params("mtl_pawn 91 111\n"), "") << "one word: a short line";
    EXPECT_EQ(row_halves(mtl_pawn), (Halves{90, 110}));
}

TEST_F(ParamsFile, IsPositionalAndNamesOnlyWarn) {
    EXPECT_EQ(read_params("fset(\"mtl_pawn\",1,2)\n"
                          "fset(\"mtl_rook\",3,4)\n"
                          "fset(\"mtl_knight\",5,6)\n"
                          "fset(\"mtl_rook\",7,8)\n"),
              "error mtl_rook  mtl_knight\nerror mtl_knight  mtl_bishop\n");
    EXPECT_EQ(row_halves(mtl_pawn), (Halves{1, 2}));
    EXPECT_EQ(row_halves(mtl_knight), (Halves{3, 4}));
    EXPECT_EQ(row_halves(mtl_bishop), (Halves{5, 6}));
    EXPECT_EQ(row_halves(mtl_rook), (Halves{7, 8}));
    EXPECT_STREQ(eval_params[mtl_knight].name, "mtl_knight") << "names stay";
}

TEST_F(ParamsFile, StartsAtTheFirstRowWithoutItsName) {
    EXPECT_EQ(read_params("mtl_knight,5,6\n"), "error mtl_knight  mtl_pawn\n");
    EXPECT_EQ(row_halves(mtl_pawn), (Halves{5, 6}));
}

TEST_F(ParamsFile, FirstNameGoesBackToTheFirstRow) {
    EXPECT_EQ(read_params("mtl_pawn,1,2\nmtl_knight,3,4\nmtl_pawn,5,6\nmtl_knight,7,8\n"), "");
    EXPECT_EQ(row_halves(mtl_pawn), (Halves{5, 6}));
    EXPECT_EQ(row_halves(mtl_knight), (Halves{7, 8}));
    EXPECT_EQ(row_halves(mtl_bishop), (Halves{392, 400}));
}

TEST_F(ParamsFile, ShortLinesAreSkipped) {
    EXPECT_EQ(read_params("\n"
                          "mtl_pawn\n"
                          "mtl_pawn,1\n"
                          "fset\n"
                          "fset(\"mtl_pawn\",1)\n"
                          "(),\"\n"
                          "mtl_pawn,11,12\n"
                          "mtl_knight,13\n"
                          "mtl_knight,14,15\n"),
              "");
    EXPECT_EQ(row_halves(mtl_pawn), (Halves{11, 12}));
    EXPECT_EQ(row_halves(mtl_knight), (Halves{14, 15}));
    EXPECT_EQ(row_halves(mtl_bishop), (Halves{392, 400}));
}

TEST_F(ParamsFile, ThatStopsMidwayLeavesTheRest) {
    auto defaults = all_rows();
    std::string text;
    for (int i = 0; i < 300; i++)
        text += "fset(\"" + std::string(eval_params[i].name) + "\"," + std::to_string(i) + ",-"
              + std::to_string(i) + ")\n";
    text += "fset(\"PST_N1\",77"; // cut off

    EXPECT_EQ(read_params(text), "");
    for (int i = 0; i < 300; i++) EXPECT_EQ(row_halves(i), (Halves{i, -i}));
    EXPECT_EQ(memcmp(&defaults[300], &eval_params[300], sizeof eval_params[0] * (PARAM_ROWS - 300)),
              0);
}

TEST_F(ParamsFile, WholeTableIsReadAndWhatFollowsIsDropped) {
    std::string text;
    for (int i = 0; i < PARAM_ROWS; i++)
        text += std::string(eval_params[i].name) + "," + std::to_string(i) + ",-"
              + std::to_string(i) + "\n";
    for (int i = 0; i < 1000; i++) text += "PST_Q2,5,5\n";

    EXPECT_EQ(read_params(text), "");
    for (int i = 0; i < PARAM_ROWS; i++) ASSERT_EQ(row_halves(i), (Halves{i, -i}));
}

TEST_F(ParamsFile, OddTextDoesNoHarm) {
    std::string binary(3000, '\0');
    for (size_t i = 0; i < binary.size(); i++) binary[i] = static_cast<char>(i * 37);
    read_params(std::string(100000, 'x') + "\n" + binary + "\nmtl_pawn,zero,99999999999999\n");
    EXPECT_EQ(packed_mg(eval_params[mtl_pawn].value), 0) << "no number is 0";
}

TEST_F(ParamsFile, ValuesBeyondSixteenBitsAreClampedWithAWord) {
    EXPECT_EQ(read_params("mtl_pawn,40000,-40000\nmtl_knight,-99999999999,99999999999\n"
                          "mtl_bishop,-32768,32767\nmtl_rook,32767,-32768\n"),
              "info string mtl_pawn: 40000 clamped to 32767\n"
              "info string mtl_pawn: -40000 clamped to -32768\n"
              "info string mtl_knight: -2147483648 clamped to -32768\n"
              "info string mtl_knight: 2147483647 clamped to 32767\n");
    EXPECT_EQ(row_halves(mtl_pawn), (Halves{32767, -32768}));
    EXPECT_EQ(row_halves(mtl_knight), (Halves{-32768, 32767}));
    EXPECT_EQ(row_halves(mtl_bishop), (Halves{-32768, 32767}));
    EXPECT_EQ(row_halves(mtl_rook), (Halves{32767, -32768}));
}

TEST_F(ParamsFile, WildValuesCanBeEvaluated) {
    std::string text;
    for (int i = 0; i < PARAM_ROWS; i++)
        text += std::string("x,") + (i & 1 ? "2147483647" : "-2147483648") + ",99999\n";
    read_params(text);
    for (const char* fen : {START_FEN, "8/P7/1k6/8/8/1K6/p7/8 w - -",
                            "r1bq1rk1/pp2bppp/2n1pn2/3p4/3P4/2NBPN2/PP3PPP/R1BQ1RK1 w - -"}) {
        Position& pos = set_up(fen);
        HceEval(*main_thread, pos.side, 1, 0);
    }
}

TEST_F(ParamsFile, OnlyPlainFilesAreRead) {
    if (!make_named_pipe("params.txt")) GTEST_SKIP() << "no pipes with names here";
    ReadParamsFile(); // would wait for ever
    std::filesystem::remove("params.txt");
    ASSERT_TRUE(make_link("/dev/zero", "params.txt"));
    ReadParamsFile();
    EXPECT_EQ(row_halves(mtl_pawn), (Halves{100, 100}));
}

TEST_F(ParamsFile, CountsWhenTheEvaluationIsRebuilt) {
    std::ofstream("params.txt") << "fset(\"mtl_pawn\",90,110)\n";
    rebuild_evaluation();
    EXPECT_EQ(row_halves(mtl_pawn), (Halves{90, 110}));
    EXPECT_EQ(row_halves(mtl_knight), (Halves{390, 387}));

    std::filesystem::remove("params.txt");
    rebuild_evaluation();
    EXPECT_EQ(row_halves(mtl_pawn), (Halves{100, 100})) << "the defaults come first";
}

TEST_F(ParamsFile, IsReadBeforeThePersonalityScales) {
    Personality saved = active_personality;
    active_personality.eval_scale[0][0] = 50;
    std::ofstream("params.txt") << "fset(\"mtl_pawn\",90,110)\n";
    rebuild_evaluation();
    active_personality = saved;
    EXPECT_EQ(row_halves(mtl_pawn), (Halves{45, 110}));
}

TEST_F(ScaledParams, HundredPerCentChangesNothing) {
    auto defaults = all_rows();
    const int16_t all[2] = {100, 100};
    ScaleParam("", all);
    ApplyPersonality();
    for (int i = 0; i < PARAM_ROWS; i++) ASSERT_EQ(eval_params[i].value, defaults[i].value) << i;
}

TEST_F(ScaledParams, EachHalfHasItsOwnPercents) {
    const int16_t percents[2] = {150, 50};
    ScaleParam("mtl_queen", percents);
    EXPECT_EQ(eval_params[mtl_queen].mg, 1813.5f);
    EXPECT_EQ(eval_params[mtl_queen].eg, 638.5f);
    EXPECT_EQ(row_halves(mtl_queen), (Halves{1814, 639})) << "halves go away from zero";
    EXPECT_EQ(row_halves(mtl_rook), (Halves{556, 707}));
}

TEST_F(ScaledParams, NegativeHalvesGoAwayFromZeroToo) {
    const int16_t percents[2] = {50, 50};
    ScaleParam("pawn_doubled", percents); // -7, -2
    EXPECT_EQ(eval_params[pawn_doubled].mg, -3.5f);
    EXPECT_EQ(row_halves(pawn_doubled), (Halves{-4, -1}));
    const int16_t turned[2] = {-100, 0};
    ScaleParam("pawn_doubled", turned);
    EXPECT_EQ(row_halves(pawn_doubled), (Halves{4, 0})) << "goes on from -3.5, not from -4";
}

TEST_F(ScaledParams, MatchIsBySubstring) {
    const int16_t nothing[2] = {0, 0};
    ScaleParam("king_danger", nothing);
    EXPECT_EQ(eval_params[king_danger1].value, 0);
    EXPECT_EQ(eval_params[king_danger2].value, 0);
    EXPECT_NE(eval_params[enemy_checks].value, 0);
    ScaleParam("PST_", nothing);
    for (int i = PARAM_PST; i < PARAM_ROWS; i++) ASSERT_EQ(eval_params[i].value, 0);
    EXPECT_NE(eval_params[stm_bonus].value, 0);
}

TEST_F(ScaledParams, OutpostAttacksAreScaledTwice) {
    active_personality.eval_scale[5][0] = active_personality.eval_scale[5][1] = 200; // knights
    active_personality.eval_scale[6][0] = active_personality.eval_scale[6][1] = 50;  // bishops
    ApplyPersonality();
    EXPECT_EQ(row_halves(knight_outpost), (Halves{70, 20}));
    EXPECT_EQ(row_halves(knight_outpost_atk), (Halves{36, 52}));
    EXPECT_EQ(row_halves(bishop_outpost), (Halves{23, 3}));    // 22.5 and 2.5
    EXPECT_EQ(row_halves(bishop_outpost_atk), (Halves{1, 3})); // a quarter of 3,12
}

TEST_F(ScaledParams, EachSettingScalesItsRows) {
    const std::vector<std::vector<const char*>> settings = {
        {"mtl_pawn"},
        {"mtl_knight"},
        {"mtl_bishop"},
        {"mtl_rook"},
        {"mtl_queen"},
        {"knight_mobility", "knight_outpost", "knight_outpost_atk", "PST_N1", "PST_N2"},
        {"bishop_mobility", "bishop_mob2", "bishop_outpost", "bishop_outpost_atk", "PST_B1",
         "PST_B2"},
        {"rook_mobility", "rook_mob2", "PST_R1", "PST_R2"},
        {"queen_mobility", "PST_Q1", "PST_Q2"},
        {"PST_P1", "PST_P2", "PST_CP", "PST_DP"},
        {"ppawn_base", "ppawn_mobile", "ppawn_free", "candidate_passer"},
        {"king_danger1", "king_danger2", "enemy_checks"},
        {"hung_pawn", "attacked_pawn", "hung_minor", "attacked_minor", "hung_major",
         "pinned_piece"},
    };
    ASSERT_EQ(settings.size(), std::size(active_personality.eval_scale));
    const Personality unscaled = active_personality;
    for (size_t setting = 0; setting < settings.size(); setting++) {
        BuildEvalParams();
        auto defaults = all_rows();
        active_personality = unscaled;
        active_personality.eval_scale[setting][0] = 300;
        ApplyPersonality();
        for (int i = 0; i < PARAM_ROWS; i++) {
            bool scaled = false;
            for (const char* name : settings[setting])
                scaled = scaled || strcmp(name, defaults[i].name) == 0;
            int factor = !scaled ? 1 : strstr(defaults[i].name, "outpost_atk") ? 9 : 3;
            Halves was = halves(defaults[i].value);
            ASSERT_EQ(row_halves(i), (Halves{factor * was.mg, was.eg}))
                << setting << ' ' << defaults[i].name;
        }
    }
}
