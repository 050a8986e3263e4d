// The trainers: reading of self-play data, fitting of the piece-square tables.

#include <algorithm>
#include <cmath>
#include <cstring>

#include "Training/data_header.h"
#include "Training/features.h"
#include "Training/ply_data.h"
#include "Training/pst_tuning.h"
#include "Training/relabelling.h"
#include "board/see.h"
#include "eval/nn.h"
#include "hce_support.h"
#include "search_fixture.h"
#include "trainer_support.h"

namespace {

class PstTuning : public OwnParams {};

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

namespace {

std::vector<int> features_of(const std::string& fen) {
    NetworkInput input;
    list_features(input, record_of(fen));
    return {input.features, input.features + input.count};
}

} // namespace

TEST(TrainFeatures, StartPositionHasItsUnitsAndMaterial) {
    std::vector<int> features = features_of(START_FEN);
    ASSERT_EQ(features.size(), 32u + 5u);
    EXPECT_EQ(features[0], 4);              // own king e1
    EXPECT_EQ(features[1], 64 + 8);         // pawn a2
    EXPECT_EQ(features[9], 128 + 1);        // knight b1
    EXPECT_EQ(features[16], 448 + 60);      // their king e8
    EXPECT_EQ(features[17], 448 + 64 + 48); // pawn a7
    EXPECT_EQ((std::vector<int>(features.end() - 5, features.end())),
              (std::vector<int>{1792 + 5, 1792 + 13, 1792 + 18, 1792 + 23, 1792 + 28}));
}

TEST(TrainFeatures, EachSideIsMirroredOnItsOwn) {
    // One king on file d, the other on e: the second set. No pawn is passed.
    EXPECT_EQ(features_of("4k3/8/8/3p4/4P3/8/8/3K4 w - -"),
              (std::vector<int>{896 + 4, 896 + 64 + 27, 1344 + 60, 1344 + 64 + 35, 1797, 1805, 1810,
                                1815, 1820}));
    EXPECT_EQ(features_of("4k3/8/8/3p4/4P3/8/8/3K4 b - -"),
              (std::vector<int>{896 + 4, 896 + 64 + 27, 1344 + 60, 1344 + 64 + 35, 1797, 1805, 1810,
                                1815, 1820}));
    // Both kings on the queen's side: the first set.
    EXPECT_EQ(features_of("1k6/8/8/8/8/8/8/3K4 w - -")[0], 4);
    EXPECT_EQ(features_of("1k6/8/8/8/8/8/8/3K4 w - -")[1], 448 + 62);
}

TEST(TrainFeatures, LevelPawnsArePassed) {
    std::vector<int> features = features_of("4k3/8/8/8/3pP3/8/8/4K3 w - -");
    EXPECT_EQ((std::vector<int>(features.begin(), features.end() - 5)),
              (std::vector<int>{4, 64 + 28, 384 + 28, 448 + 60, 448 + 64 + 27, 448 + 384 + 27}));
}

TEST(TrainFeatures, MaterialDifferencesAreClamped) {
    std::vector<int> features = features_of("qqqqk3/8/8/8/8/8/PPPPPPP1/4K3 w - -");
    EXPECT_EQ((std::vector<int>(features.end() - 5, features.end())),
              (std::vector<int>{1792 + 10, 1792 + 13, 1792 + 18, 1792 + 23, 1792 + 26}));
}

TEST(TrainFeatures, OutputRowsAreBlendedByThePieces) {
    struct {
        const char* fen;
        float rows[3];
    } const cases[] = {
        {START_FEN, {1.0f, 0.0f, 0.0f}},
        {"4k3/pppp4/8/8/8/8/PPPP4/4K3 w - -", {0.0f, 0.0f, 1.0f}},
        {"4k3/pppp4/8/8/8/8/PPPP4/1N2K3 w - -", {0.048f, 0.952f, 0.0f}},
    };
    for (const auto& c : cases) {
        NetworkInput input;
        list_features(input, record_of(c.fen));
        for (int row = 0; row < NN_ROWS; row++)
            EXPECT_NEAR(input.rows[row], c.rows[row], 1e-6) << c.fen << row;
    }
}

// The engine keeps sums over the active inputs and changes them from move to move; training lists
// the inputs of records.
TEST(TrainFeatures, EngineSumsUpWhatARecordLists) {
    SearchThread& thread = *main_thread;
    Random random = {21};
    size_t units = nn_header.hidden1;
    for (int game_number = 0; game_number < 20; game_number++) {
        Position& pos = set_up(START_FEN);
        play_random(pos, random, random_below(random, 60));
        for (int i = 0; i < 30; i++) {
            play_random(pos, random, 1);
            eval_hash_entry(thread.eval, pos).key = 0;
            thread.line.ply = 3; // deep enough to go on from the last position
            NnEval(thread);

            PlyRecord record;
            NetworkInput input;
            pack_ply(record, pos, NULL_MOVE, 0, 40);
            list_features(input, record);
            for (size_t unit = game_number; unit < units; unit += 50) {
                double sum = nn_header.extras[1];
                for (int k = 0; k < input.count; k++)
                    sum += nn_header.w1[input.features[k] * units + unit];
                ASSERT_NEAR(thread.eval.nn_cache[pos.side].acc[unit], sum, 1e-4) << unit;
            }
        }
    }
}

TEST(TrainFeatures, DeadInputsAreNeverActive) {
    Random random = {4};
    for (int n = 0; n < 200; n++)
        for (int feature : features_of(random_fen(random))) EXPECT_FALSE(is_dead_input(feature));
    EXPECT_TRUE(is_dead_input(3));
    EXPECT_FALSE(is_dead_input(4));
    EXPECT_TRUE(is_dead_input(448 + 64 + 7));
    EXPECT_TRUE(is_dead_input(1823));
}

TEST(PlyData, FiltersApplyInTheirOrder) {
    PlyRecord good = record_of("r3k3/pppp4/8/8/8/8/PPPP4/R3K3 w - -", 100);
    EXPECT_EQ(judge_ply(good, PLY_FOR_NETWORK), PLY_KEPT);
    PlyRecord record = good;
    record.place |= RECORD_TACTICAL;
    EXPECT_EQ(judge_ply(record, PLY_FOR_NETWORK), PLY_NOISY);
    record.place |= RECORD_CHECK;
    EXPECT_EQ(judge_ply(record, PLY_FOR_NETWORK), PLY_IN_CHECK);
    record = good;
    record.place = 15;
    EXPECT_EQ(judge_ply(record, PLY_FOR_NETWORK), PLY_OPENING);
    record = good;
    record.score = -1501;
    EXPECT_EQ(judge_ply(record, PLY_FOR_NETWORK), PLY_DECIDED);
    record = good;
    record.halfmoves = 61;
    EXPECT_EQ(judge_ply(record, PLY_FOR_NETWORK), PLY_FIFTY);
}

TEST(PlyData, MaterialOfTheHandCraftedEvaluationIsLeftOut) {
    struct {
        const char* fen;
        PlyVerdict network, tables;
    } const cases[] = {
        {"4k3/8/8/8/8/8/8/R3K3 w - -", PLY_KNOWN, PLY_KNOWN},    // 5 against 0
        {"4k3/p7/8/8/8/8/8/RN2K3 w - -", PLY_KNOWN, PLY_KEPT},   // 8 against 0 + 2
        {"r3k3/p7/8/8/8/8/8/RN2K3 w - -", PLY_KEPT, PLY_KEPT},   // 8 against 5 + 2
        {"4k3/8/8/8/8/8/8/1N1BKN2 w - -", PLY_KNOWN, PLY_KEPT},  // 9 against 0
        {"4k1n1/8/8/8/8/8/8/1N2K3 w - -", PLY_KNOWN, PLY_KNOWN}, // no pawns, 6 units
        {"4k3/8/8/8/8/8/P7/4K3 w - -", PLY_KNOWN, PLY_KNOWN},    // one pawn
        {"4k3/p7/8/8/8/8/P7/4K3 w - -", PLY_KEPT, PLY_KEPT},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(judge_ply(record_of(c.fen), PLY_FOR_NETWORK), c.network) << c.fen;
        EXPECT_EQ(judge_ply(record_of(c.fen), PLY_FOR_TABLES), c.tables) << c.fen;
    }
}

TEST(PlyData, WinningCapturesAreLeftOutOnDemand) {
    set_exchange_values();
    struct {
        const char* fen;
        bool tense;
    } const cases[] = {
        {"r3k3/pppp4/8/8/8/8/PPPP4/R3K3 w - -", false}, // RxP loses the exchange
        {"r3k3/1ppp4/8/8/8/8/PPPP4/R3K3 b - -", false}, // the pawn is guarded
        {"r3k3/1ppp4/8/8/8/8/P7/1R2K3 w - -", true},    // RxP
        {"r3k3/1ppp4/8/8/8/8/P7/1R2K3 b - -", true},    // RxP
        {"4k3/ppp2p2/8/3n4/4P3/8/PPP2P2/3NK3 w - -", true},
        {"4k3/ppp2p2/4p3/3p4/4P3/8/PPP2P2/3NK3 w - -", false}, // pawn for pawn
    };
    for (const auto& c : cases) {
        const PlyRecord record = record_of(c.fen);
        EXPECT_EQ(judge_ply(record, {PLY_FOR_NETWORK, false}), PLY_KEPT) << c.fen;
        EXPECT_EQ(judge_ply(record, {PLY_FOR_NETWORK, true}) == PLY_TENSE, c.tense) << c.fen;
    }
}

TEST(PlyData, ScoresLookAheadWithinAGame) {
    auto scores = [](std::vector<PlyRecord> records) {
        look_ahead(records.data(), records.size(), 0.5);
        std::vector<int> list;
        for (const PlyRecord& record : records) list.push_back(record.score);
        return list;
    };
    PlyRecord first = record_of("4k3/pppp4/8/8/8/8/PPPP4/4K3 w - -", 10), second = first;
    second.place++;
    second.score = -50;
    PlyRecord third = second;
    third.place++;
    third.score = 40;
    EXPECT_EQ(scores({first, second, third}), (std::vector<int>{27, -45, 40}));
    EXPECT_EQ(scores({first}), (std::vector<int>{10}));
    EXPECT_EQ(scores({first, third}), (std::vector<int>{10, 40})) << "a ply is missing";
    second.place |= RECORD_FIRST;
    EXPECT_EQ(scores({first, second}), (std::vector<int>{10, -50})) << "another game";
    second = third;
    second.score = -30000; // mated
    second.place--;
    first.score = 32000;
    EXPECT_EQ(scores({first, second}), (std::vector<int>{2303, -30000}));
    first.state |= NO_RESULT_KNOWN << RECORD_RESULT_SHIFT;
    EXPECT_EQ(scores({first, second}), (std::vector<int>{32000, -30000})) << "no game";
}

TEST(PlyData, GamesAreHeldOutWhole) {
    std::string path = fresh_directory() + "/games.ply";
    FILE* file = fopen(path.c_str(), "wb");
    DataHeader header = new_data_header(DATA_GAMES, 3);
    fwrite(&header, sizeof header, 1, file);
    PlyRecord record = record_of("r3k3/pppp4/8/8/8/8/PPPP4/R3K3 w - -");
    size_t held_out = 0;
    for (int game = 0; game < 500; game++) {
        held_out += is_validation_game(3, static_cast<uint64_t>(game)) ? 2 : 0;
        for (int ply = 0; ply < 2; ply++) {
            PlyRecord next = record;
            next.place = static_cast<uint16_t>(next.place | (ply == 0 ? RECORD_FIRST : 0));
            fwrite(&next, sizeof next, 1, file);
        }
    }
    fwrite(&record, 7, 1, file); // torn: the last game goes
    fclose(file);

    PlySets sets;
    ASSERT_TRUE(read_ply_file(sets, path, PLY_FOR_NETWORK));
    EXPECT_EQ(sets.counts.games, 499u);
    EXPECT_EQ(sets.training.size() + sets.validation.size(), 998u);
    EXPECT_NEAR(static_cast<double>(sets.validation.size()), static_cast<double>(held_out), 2);
    EXPECT_GT(held_out, 4u);
    EXPECT_LT(held_out, 60u);

    testing::internal::CaptureStderr();
    EXPECT_FALSE(read_ply_file(sets, path + ".missing", PLY_FOR_NETWORK));
    EXPECT_NE(testing::internal::GetCapturedStderr(), "");
}

namespace {

// Engine settings are put back afterwards.
class Relabelling : public SearchTest {
protected:
    void prepare(int nodes, int neighbours) {
        settings.nodes = nodes;
        settings.neighbours = neighbours;
        settings.hash_mb = 4;
        testing::internal::CaptureStdout();
        EXPECT_TRUE(prepare_relabelling(settings, "hce"));
        testing::internal::GetCapturedStdout();
    }

    RelabelSettings settings;
};

constexpr char QUIET_MIDDLE_GAME[] =
    "r1bq1rk1/pp2bppp/2n1pn2/2pp4/3P1B2/2PBPN2/PP1N1PPP/R2QK2R w KQ -";

} // namespace

TEST_F(Relabelling, QuiescenceGivesTheStaticScoreOfAQuietPosition) {
    prepare(0, 0);
    PlyRecord record = record_of("r3k3/pppp4/8/8/8/8/PPPP4/R3K3 w - -", 999);
    record.halfmoves = 32;
    record.state |= RESULT_WON << RECORD_RESULT_SHIFT;
    PlyRecord before = record;
    ASSERT_TRUE(relabel_record(record, settings));

    Position& pos = set_up("r3k3/pppp4/8/8/8/8/PPPP4/R3K3 w - -");
    int expected = HceEval(*main_thread, pos.side, 1, 0);
    EXPECT_EQ(record.score, expected - expected * 32 / 256);
    before.score = record.score;
    EXPECT_EQ(memcmp(&record, &before, sizeof record), 0) << "only the score changes";

    record.units[0] = 0; // no position
    EXPECT_FALSE(relabel_record(record, settings));
}

TEST_F(Relabelling, SearchSeesWhatTheStaticScoreDoesNot) {
    prepare(200, 0);
    PlyRecord record = record_of("6k1/5ppp/8/8/8/8/5PPP/R5K1 w - -", 5);
    ASSERT_TRUE(relabel_record(record, settings));
    EXPECT_EQ(record.score, 10000 - 2) << "mate in one";
}

TEST_F(Relabelling, NeighboursAreFitForTrainingAndHaveNoResult) {
    prepare(0, 6);
    settings.max_steps = 3;
    settings.workers = 2;
    std::vector<PlyRecord> games;
    for (int n = 0; n < 6; n++) {
        games.push_back(record_of(QUIET_MIDDLE_GAME, 20));
        if (n % 3 == 0) games.back().place |= RECORD_FIRST;
    }
    std::vector<PlyRecord> made, again_made;
    ASSERT_TRUE(relabel_records(made, {games, 0, games.size()}, settings));
    ASSERT_TRUE(relabel_records(again_made, {games, 0, games.size()}, settings));
    EXPECT_EQ(made.size(), again_made.size()) << "the same again";
    EXPECT_GT(made.size(), 6u);
    int firsts = 0;
    for (const PlyRecord& record : made) {
        if (record.place & RECORD_FIRST) {
            firsts++;
            EXPECT_TRUE(has_result(record)) << "the game's own record";
            continue;
        }
        EXPECT_FALSE(has_result(record));
        EXPECT_EQ(judge_ply(record, PLY_FOR_NETWORK), PLY_KEPT);
        EXPECT_EQ(ply_target(record, 0.25), score_probability(record.score));
        PlyRecord again = record;
        ASSERT_TRUE(relabel_record(again, settings));
        EXPECT_EQ(again.score, record.score);
    }
    EXPECT_EQ(firsts, 2);
}
