// The trainers: reading of self-play data, fitting of the piece-square tables.

#include <algorithm>
#include <cmath>
#include <cstring>

#include "Training/ply_data.h"
#include "Training/pst_tuning.h"
#include "hce_support.h"

namespace {

class PstTuning : public OwnParams {};

// Random positions of games that are not answered by endgame knowledge.
std::vector<std::string> unknown_positions(int count, uint64_t seed) {
    Random random = {seed};
    std::vector<std::string> fens;
    while (static_cast<int>(fens.size()) < count) {
        std::string fen = random_fen(random);
        Position& pos = set_up(fen.c_str());
        int ignored = 0;
        if (!endgame_score(pos, pos.side, ignored)) fens.push_back(fen);
    }
    return fens;
}

int white_score(Position& pos) {
    int score = HceEval(*main_thread, pos.side, 1, 0);
    return pos.side == WHITE ? score : -score;
}

} // namespace

TEST_F(PstTuning, PredictsWhatAChangeOfTheTablesDoes) {
    Random random = {77};
    PstChange change = {};
    for (auto& half : change.value)
        for (double& value : half) value = random_below(random, 41) - 20;

    PstData data;
    std::vector<std::string> fens = unknown_positions(400, 5);
    for (const std::string& fen : fens) {
        set_up(fen.c_str());
        data.positions.push_back(reduce_position(*main_thread, 0.5f, data.terms));
    }
    for (int row = 0; row < PST_ROWS; row++) {
        EvalParam& param = eval_params[PARAM_PST + row];
        set_row(PARAM_PST + row, static_cast<int>(param.mg + change.value[0][row]),
                static_cast<int>(param.eg + change.value[1][row]));
    }
    int changed = 0;
    for (size_t i = 0; i < fens.size(); i++) {
        Position& pos = set_up(fens[i].c_str());
        const PstPosition& position = data.positions[i];
        double predicted = predict_score(data, position, change);
        // The leader decides about the scale factor, so that a change of sign may change it.
        if (predicted * position.score <= 0) continue;
        EXPECT_NEAR(white_score(pos), predicted, 2.01) << fens[i];
        changed += std::fabs(predicted - position.score) > 5;
    }
    EXPECT_GT(changed, 200);
}

TEST_F(PstTuning, FindsTheTablesBehindTheTargets) {
    PstChange truth = {};
    for (int square = 0; square < 64; square++)
        for (int first : {PST_N1, PST_R1})
            if (int row = first - static_cast<int>(PARAM_PST) + square; !is_fixed_row(row))
                truth.value[0][row] = truth.value[1][row] = 30;

    constexpr double K = 0.2; // random games are lopsided: a flat curve lets them all count
    PstData data;
    for (const std::string& fen : unknown_positions(3000, 9)) {
        set_up(fen.c_str());
        data.positions.push_back(reduce_position(*main_thread, 0.5f, data.terms));
        PstPosition& position = data.positions.back();
        double score = predict_score(data, position, truth);
        position.target = static_cast<float>(score_probability(K * score));
    }
    PstSettings settings;
    settings.worth = 1e6;
    settings.rate = 3;
    settings.epochs = 80;
    settings.threads = 1;
    testing::internal::CaptureStdout();
    PstChange found = fit_tables(data, data, settings, K);
    testing::internal::GetCapturedStdout();

    const PstChange none = {};
    double floor = pst_loss(data, truth, K, 1), before = pst_loss(data, none, K, 1);
    double after = pst_loss(data, found, K, 2);
    EXPECT_LT(after - floor, 0.25 * (before - floor));
    for (int row = 0; row < PST_ROWS; row++) {
        if (is_fixed_row(row)) {
            EXPECT_EQ(found.value[0][row], 0) << row;
        }
    }
}

TEST_F(PstTuning, SourceFileKeepsItsFormAndTheGivenRows) {
    std::string path = fresh_directory() + "/pst.cpp";
    PstChange change = {};
    ASSERT_TRUE(write_pst_source(path.c_str(), change));

    auto tables = [](const std::string& name) {
        std::vector<std::string> lines = read_lines(name);
        auto first =
            std::find(lines.begin(), lines.end(), "const PstTable PST_DEFAULTS[PST_TABLES] = {");
        return std::vector<std::string>(first, lines.end());
    };
    std::vector<std::string> lines = tables(path);
    EXPECT_EQ(lines, tables(MIRD_TEST_SOURCE_DIR "/../Source/eval/pst.cpp"));

    change.value[0][8] = 3.6; // PST_P1 a2
    change.value[1][8] = -2.4;
    char cell[32];
    snprintf(cell, sizeof cell, "    {%3d, %3d}, ", PST_DEFAULTS[0].rows[8].mg + 4,
             PST_DEFAULTS[0].rows[8].eg - 2);
    ASSERT_TRUE(write_pst_source(path.c_str(), change));
    EXPECT_EQ(tables(path)[5].rfind(cell, 0), 0u) << tables(path)[5];
}
