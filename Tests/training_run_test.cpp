// What stands around the training of the network: the store of records, the settings and the files
// of a run, the threads.

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "Training/data_file.h"
#include "Training/ply_store.h"
#include "Training/run_settings.h"
#include "Training/safe_file.h"
#include "Training/team.h"
#include "Training/training_curve.h"
#include "trainer_support.h"

#include <gtest/gtest.h>

TEST(Team, DoesEachTaskOnceAndSeesWhatWasDone) {
    for (int threads : {1, 2, 5}) {
        TeamPointer team = make_team(threads);
        EXPECT_EQ(team_size(*team), threads);
        std::vector<int> sums(37);
        for (int round = 0; round < 300; round++)
            run_tasks(*team, static_cast<size_t>(round % 38), [&](size_t task, int worker) {
                EXPECT_TRUE(worker >= 0 && worker < threads);
                sums[task] += round;
            });
        for (size_t task = 0; task < sums.size(); task++) {
            int expected = 0;
            for (int round = 0; round < 300; round++)
                if (static_cast<size_t>(round % 38) > task) expected += round;
            EXPECT_EQ(sums[task], expected) << threads << " " << task;
        }
    }
}

namespace {

// Files of games of one record each, whose scores number them; some are for validation.
std::vector<std::string> numbered_files(const std::string& directory, int files, int games) {
    PlyRecord record = record_of("r3k3/pppp4/8/8/8/8/PPPP4/R3K3 w - -");
    record.place |= RECORD_FIRST;
    std::vector<std::string> names;
    for (int number = 0; number < files; number++) {
        names.push_back(directory + "/" + std::to_string(number) + ".ply");
        DataWriter file;
        EXPECT_TRUE(begin_data_file(file, names.back(),
                                    new_data_header(DATA_GAMES, static_cast<uint32_t>(number))));
        for (int game = 0; game < games; game++) {
            record.score = static_cast<int16_t>(game % 1400);
            record.halfmoves = static_cast<uint8_t>(game / 1400 + number * 20);
            write_records(file, &record, 1);
        }
        EXPECT_TRUE(finish_data_file(file));
    }
    return names;
}

// All records of an epoch in the order of training, as pairs of halfmoves and score.
std::vector<std::pair<int, int>> epoch_records(PlyStore& store, int epoch, Team& team) {
    constexpr size_t BATCH = 1000;
    std::vector<std::pair<int, int>> list;
    size_t used = 0;
    for (size_t piece = 0; piece < store.pieces; piece++) {
        EXPECT_TRUE(load_piece(store, 5, epoch, piece, used, team));
        used = store.order.size() / BATCH * BATCH;
        if (piece + 1 == store.pieces) used = store.order.size();
        for (size_t i = 0; i < used; i++) {
            const PlyRecord& record = store.piece[store.order[i]];
            list.push_back({record.halfmoves, record.score});
        }
    }
    return list;
}

bool open_numbered(PlyStore& store, const std::vector<std::string>& names, double memory_mb,
                   Team& team) {
    return open_store(store, names, {{PLY_FOR_NETWORK, false}, memory_mb}, team);
}

} // namespace

TEST(PlyStore, PiecesHoldEachRecordOnceInAnyNumberOfThem) {
    const std::vector<std::string> names = numbered_files(fresh_directory(), 3, 25000);
    TeamPointer team = make_team(3), one = make_team(1);
    PlyStore whole, parts, again;
    ASSERT_TRUE(open_numbered(whole, names, 100, *team));
    ASSERT_TRUE(open_numbered(parts, names, 1, *team));
    ASSERT_TRUE(open_numbered(again, names, 1, *one));
    EXPECT_EQ(whole.pieces, 1u);
    EXPECT_EQ(parts.pieces, 4u);
    EXPECT_EQ(whole.records, 75000u);
    EXPECT_EQ(whole.counts.games, 75000u);
    EXPECT_EQ(whole.training + whole.validation.size(), 75000u);

    PlySets sets;
    for (const std::string& name : names) ASSERT_TRUE(read_ply_file(sets, name, PLY_FOR_NETWORK));
    EXPECT_EQ(whole.training, sets.training.size());
    ASSERT_EQ(whole.validation.size(), sets.validation.size());
    EXPECT_EQ(memcmp(whole.validation.data(), sets.validation.data(),
                     sets.validation.size() * sizeof(PlyRecord)),
              0);

    for (int epoch = 0; epoch < 2; epoch++) {
        auto all = epoch_records(whole, epoch, *team), some = epoch_records(parts, epoch, *team);
        EXPECT_EQ(some, epoch_records(again, epoch, *one)) << "threads don't matter";
        EXPECT_NE(all, some);
        EXPECT_NE(some, epoch_records(parts, epoch + 1, *team));
        std::sort(all.begin(), all.end());
        std::sort(some.begin(), some.end());
        EXPECT_EQ(all, some);
        EXPECT_EQ(all.size(), whole.training);
        EXPECT_LT(parts.piece.size() * 36, (1u << 20) + 1000 * 36);
    }
}

TEST(PlyStore, ScoresLookAheadInTrainingAlone) {
    const std::string name = fresh_directory() + "/games.ply";
    DataWriter file;
    ASSERT_TRUE(begin_data_file(file, name, new_data_header(DATA_GAMES, 1)));
    PlyRecord record = record_of("r3k3/pppp4/8/8/8/8/PPPP4/R3K3 w - -");
    for (int game = 0; game < 200; game++) {
        record.place = static_cast<uint16_t>(20 | RECORD_FIRST);
        record.score = 100;
        write_records(file, &record, 1);
        record.place = 21;
        record.score = 300;
        write_records(file, &record, 1);
    }
    ASSERT_TRUE(finish_data_file(file));

    TeamPointer team = make_team(1);
    PlyStore store;
    ASSERT_TRUE(open_store(store, {name}, {{PLY_FOR_NETWORK, false}, 100, 0.5}, *team));
    ASSERT_TRUE(load_piece(store, 1, 0, 0, 0, *team));
    ASSERT_FALSE(store.validation.empty());
    for (const PlyRecord& ply : store.validation)
        EXPECT_EQ(ply.score, record_ply(ply) == 20 ? 100 : 300);
    // Half of 0.646, and half of 1 - 0.858.
    for (const PlyRecord& ply : store.piece)
        EXPECT_EQ(ply.score, record_ply(ply) == 20 ? -72 : 300);
}

TEST(PlyStore, OrderIsWellMixed) {
    PlyStore store;
    TeamPointer team = make_team(2);
    fill_store(store, std::vector<PlyRecord>(50000));
    ASSERT_TRUE(load_piece(store, 1, 0, 0, 0, *team));
    std::vector<uint32_t> sorted(store.order.begin(), store.order.end());
    std::sort(sorted.begin(), sorted.end());
    for (uint32_t i = 0; i < sorted.size(); i++) ASSERT_EQ(sorted[i], i);
    // Places of the first half: half of them in each tenth.
    for (size_t tenth = 0; tenth < 10; tenth++) {
        int low = 0;
        for (size_t i = 0; i < 5000; i++) low += store.order[tenth * 5000 + i] < 25000;
        EXPECT_NEAR(low, 2500, 200) << tenth;
    }
}

TEST(PlyStore, ChecksumTellsOtherDataFromTheSame) {
    const std::vector<std::string> names = numbered_files(fresh_directory(), 2, 9000);
    TeamPointer team = make_team(2);
    PlyStore store, other;
    ASSERT_TRUE(open_numbered(store, names, 100, *team));
    ASSERT_TRUE(open_numbered(other, names, 1, *team));
    EXPECT_EQ(store.checksum, other.checksum);
    FILE* file = fopen(names[1].c_str(), "r+b");
    fseek(file, -20, SEEK_END);
    fputc(1, file); // a unit of the last record
    fclose(file);
    ASSERT_TRUE(open_numbered(other, names, 100, *team));
    EXPECT_NE(store.checksum, other.checksum);
    ASSERT_TRUE(open_numbered(other, {names[0]}, 100, *team));
    EXPECT_NE(store.checksum, other.checksum);
}

TEST(PlyStore, FilesThatShrinkAreReported) {
    const std::vector<std::string> names = numbered_files(fresh_directory(), 1, 9000);
    TeamPointer team = make_team(1);
    PlyStore store;
    ASSERT_TRUE(open_numbered(store, names, 100, *team));
    fclose(fopen(names[0].c_str(), "wb"));
    testing::internal::CaptureStderr();
    EXPECT_FALSE(load_piece(store, 1, 0, 0, 0, *team));
    EXPECT_NE(testing::internal::GetCapturedStderr(), "");
}

TEST(RunSettings, DifferencesAreNamed) {
    bool quiet = false;
    double rate = 0.001;
    int batch = 64;
    std::string out = "a";
    const std::vector<ProgramOption> options = {{"--quiet", "", &quiet, ""},
                                                {"--rate", "X", &rate, ""},
                                                {"--batch", "N", &batch, ""},
                                                {"--out", "FILE", &out, ""}};
    auto text = [&] {
        std::string lines;
        add_options(lines, options, {"--out"});
        add_setting(lines, "data", "2 files");
        return lines;
    };
    const std::string before = text();
    EXPECT_EQ(before, "--quiet no\n--rate 0.001\n--batch 64\ndata 2 files\n");
    out = "b";
    EXPECT_EQ(differing_settings(text(), before), "");
    rate = 0.0015;
    quiet = true;
    EXPECT_EQ(differing_settings(text(), before),
              "--quiet is yes and was no, --rate is 0.0015 and was 0.001");
    EXPECT_EQ(differing_settings(before + "pieces 2\n", before), "pieces is 2 and was nothing");
    EXPECT_EQ(differing_settings(before, before + "pieces 2\n"), "pieces is nothing and was 2");
}

TEST(TrainingCurve, IsReadBackAsWritten) {
    const std::string path = fresh_directory() + "/curve.csv";
    CurvePoint point = {1, 0.001, 0.03, {0.02, 0.01, 0.1, {0.5, 0.4, 0.3, 0.2, 0.1}, 7}, 12};
    ASSERT_TRUE(write_curve_table({point, point}, path));
    const std::vector<CurvePoint> back = read_curve_table(path);
    ASSERT_EQ(back.size(), 2u);
    EXPECT_EQ(back[1].validation.phase[3], 0.2);
    EXPECT_EQ(back[1].validation.idle_units, 7);
    EXPECT_EQ(back[1].clamped, 12u);
    EXPECT_TRUE(read_curve_table(path + ".missing").empty());
}

TEST(TrainingCurve, IsDrawnFromItsTableAsTheGuideShowsIt) {
    const std::string docs = MIRD_TEST_SOURCE_DIR "/../Docs/";
    const std::string path = fresh_directory() + "/curve.svg";
    const std::vector<CurvePoint> points = read_curve_table(docs + "data/training.csv");
    ASSERT_FALSE(points.empty());
    ASSERT_TRUE(write_curve_picture(points, path));
    EXPECT_EQ(read_lines(path), read_lines(docs + "training.svg"));
}

TEST(SafeFile, AnInterruptionLeavesTheOldFile) {
    const std::string path = fresh_directory() + "/file";
    auto write = [&](const char* text, bool whole) {
        FILE* file = begin_file(path);
        fputs(text, file);
        return finish_file(file, path, whole);
    };
    EXPECT_TRUE(write("old\n", true));
    EXPECT_FALSE(write("half\n", false));
    EXPECT_EQ(read_lines(path), std::vector<std::string>{"old"});
    FILE* file = begin_file(path);
    fputs("interrupted\n", file);
    fclose(file);
    EXPECT_EQ(read_lines(path), std::vector<std::string>{"old"});
    EXPECT_TRUE(write("new\n", true));
    EXPECT_EQ(read_lines(path), std::vector<std::string>{"new"});
    EXPECT_EQ(begin_file(path + "/no/folder"), nullptr);
}
