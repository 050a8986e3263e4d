// The tables of pruning and reduction, and their report.

#include "search_fixture.h"

namespace {

class Selectivity : public SearchTest {};

// A row of a reduction table as its digits.
std::string row_of(const int8_t (&table)[LMR_SIZE][LMR_SIZE], int depth) {
    std::string digits;
    for (int8_t reduction : table[depth]) digits += static_cast<char>('0' + reduction);
    return digits;
}

void build_at(int percent) {
    active_personality.Selectivity = static_cast<int16_t>(percent);
    build_search_tables();
}

} // namespace

TEST_F(Selectivity, ReductionsAtFullStrength) {
    build_at(100);
    EXPECT_EQ(row_of(lmr_table, 3), "00000000111111111111111111111111");
    EXPECT_EQ(row_of(lmr_table, 8), "00011111122222222222222222233333");
    EXPECT_EQ(row_of(lmr_table, 31), "00112222333333333333333333333333");
    EXPECT_EQ(row_of(lmr_table_nonpv, 3), "01111122222222222222222222222222");
    EXPECT_EQ(row_of(lmr_table_nonpv, 8), "01122222333333333333334444444444");
    EXPECT_EQ(row_of(lmr_table_nonpv, 31), "01223334444444444444444444444444");
}

TEST_F(Selectivity, ReductionsAtHalfStrength) {
    build_at(50);
    EXPECT_EQ(row_of(lmr_table, 3), "00000000000000000000000111111111");
    EXPECT_EQ(row_of(lmr_table, 8), "00000011111111111111111111111111");
    EXPECT_EQ(row_of(lmr_table_nonpv, 31), "01122222333333333333333333333344");
}

TEST_F(Selectivity, NothingIsReducedBelowDepthThreeOrInColumnZero) {
    build_at(200);
    for (int i = 0; i < LMR_SIZE; i++) {
        for (int depth : {0, 1, 2}) {
            EXPECT_EQ(lmr_table[depth][i], 0);
            EXPECT_EQ(lmr_table_nonpv[depth][i], 0);
        }
        EXPECT_EQ(lmr_table[i][0], 0);
        EXPECT_EQ(lmr_table_nonpv[i][0], 0);
    }
}

TEST_F(Selectivity, ReductionsNeverExceedTheirLimits) {
    for (int percent : {0, 1, 50, 99, 100, 150, 200, 1000}) {
        build_at(percent);
        for (int depth = 3; depth < LMR_SIZE; depth++)
            for (int column = 1; column < LMR_SIZE; column++) {
                ASSERT_GE(lmr_table[depth][column], 0);
                ASSERT_LE(lmr_table[depth][column], 3);
                ASSERT_GE(lmr_table_nonpv[depth][column], 1);
                ASSERT_LE(lmr_table_nonpv[depth][column], 4);
            }
    }
}

TEST_F(Selectivity, MoreThanTwoHundredCountsAsTwoHundred) {
    build_at(200);
    int8_t pv[LMR_SIZE][LMR_SIZE], nonpv[LMR_SIZE][LMR_SIZE];
    memcpy(pv, lmr_table, sizeof pv);
    memcpy(nonpv, lmr_table_nonpv, sizeof nonpv);
    EXPECT_EQ(row_of(lmr_table, 8), "00012223333333333333333333333333");
    for (int percent : {201, 250, 32767}) {
        build_at(percent);
        EXPECT_EQ(memcmp(pv, lmr_table, sizeof pv), 0) << percent;
        EXPECT_EQ(memcmp(nonpv, lmr_table_nonpv, sizeof nonpv), 0) << percent;
        EXPECT_EQ(BP_margin, 15);
    }
}

TEST_F(Selectivity, MarginAboveBetaGrowsAsSelectivityFalls) {
    const int cases[][2] = {{100, 15}, {99, 15}, {98, 16},  {97, 16}, {50, 40},
                            {2, 64},   {1, 64},  {101, 15}, {200, 15}};
    for (auto [percent, margin] : cases) {
        build_at(percent);
        EXPECT_EQ(BP_margin, margin) << percent;
    }
}

TEST_F(Selectivity, ZeroSwitchesAllRulesOff) {
    build_at(0);
    EXPECT_EQ(LMR_depth, 100);
    EXPECT_EQ(NMP_depth, 100);
    EXPECT_EQ(LMP_depth, 0);
    EXPECT_EQ(SEP_depth, 0);
    EXPECT_EQ(FP_depth, 0);
    EXPECT_EQ(BP_margin, 5000);

    build_at(100);
    EXPECT_EQ(LMR_depth, 3);
    EXPECT_EQ(NMP_depth, 3);
    EXPECT_EQ(LMP_depth, 6);
    EXPECT_EQ(SEP_depth, 3);
    EXPECT_EQ(FP_depth, 3);
    EXPECT_EQ(BP_margin, 15);
}

TEST_F(Selectivity, MarginsGrowWithDepth) {
    active_personality.FP_margin = 125;
    active_personality.SEP_margin = 75;
    active_personality.LMP_count = 3;
    build_search_tables();
    for (int depth = 0; depth < MARGIN_DEPTHS; depth++) {
        EXPECT_EQ(fp_margins[depth], 125 * depth);
        EXPECT_EQ(sep_margins[depth], 75 * depth);
        EXPECT_EQ(lmp_counts[depth], 3 * depth);
    }
    active_personality.FP_margin = 10000;
    build_search_tables();
    EXPECT_EQ(fp_margins[3], 30000);
    EXPECT_EQ(fp_margins[4], 40000 - 65536) << "margins are 16-bit words";
}

TEST_F(Selectivity, SettingsAreCopiedAtEachBuild) {
    active_personality.FP_depth = 5;
    active_personality.SEP_depth = 6;
    active_personality.NMP_depth = 7;
    active_personality.LMP_depth = 8;
    active_personality.LMR_depth = 9;
    build_search_tables();
    EXPECT_EQ(FP_depth, 5);
    EXPECT_EQ(SEP_depth, 6);
    EXPECT_EQ(NMP_depth, 7);
    EXPECT_EQ(LMP_depth, 8);
    EXPECT_EQ(LMR_depth, 9);
}

TEST_F(Selectivity, ReductionsAreRebuiltOnlyWhenThePercentageChanges) {
    build_at(100);
    lmr_table[8][8] = 99;
    build_at(100);
    EXPECT_EQ(lmr_table[8][8], 99);
    build_at(101);
    build_at(100);
    EXPECT_EQ(lmr_table[8][8], 1);
}

TEST_F(Selectivity, SpeedIsHeldOnlyWhereTheMachineIsClearlyFaster) {
    engine.calibration_nps = 10000.0f;
    for (auto [target, throttled] : {std::pair{9979.0f, 1}, {9980.0f, 0}, {10000.0f, 0}}) {
        engine.target_nps = target;
        build_search_tables();
        EXPECT_EQ(engine.nps_throttle, throttled) << target;
    }
}

TEST_F(Selectivity, DepthsOutsideTheTablesReadTheirEnds) {
    EXPECT_EQ(margin_index(-1), 0);
    EXPECT_EQ(margin_index(-120), 0);
    EXPECT_EQ(margin_index(0), 0);
    EXPECT_EQ(margin_index(11), 11);
    EXPECT_EQ(margin_index(12), 11);
    EXPECT_EQ(margin_index(70), 11);
}

TEST_F(Selectivity, AnyDepthSettingsCanBeSearchedWith) {
    constexpr char FEN[] = "r1bqkb1r/pp1ppppp/2n2n2/8/3NP3/2N5/PPP2PPP/R1BQKB1R b KQkq -";
    for (int depth : {-32768, -1, 0, 1, 12, 70, 32767}) {
        for (auto field : {&Personality::FP_depth, &Personality::SEP_depth, &Personality::NMP_depth,
                           &Personality::LMP_depth, &Personality::LMR_depth}) {
            int16_t kept = active_personality.*field;
            active_personality.*field = static_cast<int16_t>(depth);
            EXPECT_GT(search_nodes(FEN, 5), 20u);
            EXPECT_EQ(relaxed(engine.result_depth), 5);
            active_personality.*field = kept;
        }
    }
}

TEST_F(Selectivity, ReportShowsAllTables) {
    testing::internal::CaptureStdout();
    print_search_tables();
    std::istringstream report(testing::internal::GetCapturedStdout());
    std::vector<std::string> lines;
    for (std::string line; std::getline(report, line);) lines.push_back(line);

    ASSERT_EQ(lines.size(), 7u + 29 + 1 + 29);
    EXPECT_EQ(lines[0], "BP_margin= 15");
    EXPECT_EQ(lines[1], "FP_depth= 3, margins= 125 250 375");
    EXPECT_EQ(lines[2], "SEP_depth= 3, margins= 75 150 225");
    EXPECT_EQ(lines[3], "NMP_depth= 3");
    EXPECT_EQ(lines[4], "LMP_depth= 6, count= 3 6 9 12 15 18");
    EXPECT_EQ(lines[5], "LMR_depth= 3");
    EXPECT_EQ(lines[6], "LMR table:");
    EXPECT_EQ(lines[7], " 3  0 0 0 0 0 0 0 0 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 1 ");
    EXPECT_EQ(lines[35], "31  0 0 1 1 2 2 2 2 3 3 3 3 3 3 3 3 3 3 3 3 3 3 3 3 3 3 3 3 3 3 3 3 ");
    EXPECT_EQ(lines[36], "");
    EXPECT_EQ(lines[37], " 3  0 1 1 1 1 1 2 2 2 2 2 2 2 2 2 2 2 2 2 2 2 2 2 2 2 2 2 2 2 2 2 2 ");
    EXPECT_EQ(lines[65], "31  0 1 2 2 3 3 3 4 4 4 4 4 4 4 4 4 4 4 4 4 4 4 4 4 4 4 4 4 4 4 4 4 ");
}

TEST_F(Selectivity, ReportShowsMarginsAsFarAsTheTablesGo) {
    active_personality.FP_depth = 0;
    active_personality.SEP_depth = 40;
    active_personality.LMP_depth = -3;
    testing::internal::CaptureStdout();
    print_search_tables();
    std::string report = testing::internal::GetCapturedStdout();
    EXPECT_NE(report.find("\nFP_depth= 0, margins=\n"), std::string::npos);
    EXPECT_NE(report.find("\nSEP_depth= 40, margins= 75 150 225 300 375 450 525 600 675 750 825\n"),
              std::string::npos);
    EXPECT_NE(report.find("\nLMP_depth= -3, count=\n"), std::string::npos);
}
