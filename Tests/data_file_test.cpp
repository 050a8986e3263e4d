// Data files: what their headers say, how they grow, are resumed and read.

#include "base/checksum.h"
#include "search_fixture.h"
#include "training_support.h"

#include <filesystem>
#include <fstream>

#include "Training/data_file.h"
#include "Training/ply_data.h"
#include "Training/ply_file.h"
#include "Training/scorer.h"
#include "eval/evaluate.h"
#include "eval/params.h"

namespace {

class TrainingFile : public SearchTest {};
class TrainingScorer : public SearchTest {};

// Of games that were played in some way.
DataHeader header() {
    DataHeader made = new_data_header(DATA_GAMES, 7);
    made.scorer = {0x1111, 0x2222, 0x3333, 200, 8};
    made.run_seed = 5;
    made.worker = 1;
    made.chess960_share = 10;
    made.openings_share = 15;
    made.whole_games = 1;
    made.openings = 0x4444;
    return made;
}

std::string new_file() { return fresh_directory() + "/games.ply"; }

// Writes that many copies of the short game.
void write_games(const std::string& name, int games) {
    PlyFile file = {-1, {}};
    ASSERT_EQ(open_ply_file(file, name.c_str(), header()), "");
    for (int i = 0; i < games; i++) ASSERT_TRUE(append_game(file, short_game()));
    close_ply_file(file);
}

void cut(const std::string& name, int bytes) {
    auto size = std::filesystem::file_size(name);
    std::filesystem::resize_file(name, size - static_cast<uintmax_t>(bytes));
}

// Makes a file of the old form of one that holds games.
void make_old(const std::string& name) {
    std::ifstream in(name, std::ios::binary);
    std::string bytes = {std::istreambuf_iterator<char>(in), {}};
    bytes.replace(0, sizeof(DataHeader), bytes.substr(0, OLD_HEADER_SIZE));
    bytes.replace(0, 8, OLD_DATA_MAGIC);
    std::ofstream(name, std::ios::binary) << bytes;
}

} // namespace

TEST_F(TrainingFile, NewFileHasAHeader) {
    std::string name = new_file();
    write_games(name, 0);
    DataFile data;
    ASSERT_TRUE(open_data_file(data, name.c_str()));
    EXPECT_EQ(data.header.seed, 7u);
    EXPECT_EQ(data.records, 0u);
    EXPECT_EQ(data.torn, 0u);
    fclose(data.file);
    EXPECT_EQ(std::filesystem::file_size(name), sizeof(DataHeader));
}

TEST_F(TrainingFile, GamesAreReadAsTheyWereWritten) {
    std::string name = new_file();
    write_games(name, 2);
    DataFile data;
    ASSERT_TRUE(open_data_file(data, name.c_str()));
    EXPECT_EQ(data.records, 10u);
    Game read = {5, {}};
    ASSERT_EQ(fread(read.records, sizeof(PlyRecord), 5, data.file), 5u);
    EXPECT_EQ(memcmp(read.records, short_game().records, 5 * sizeof(PlyRecord)), 0);
    fclose(data.file);
}

TEST_F(TrainingFile, TornGameIsNotRead) {
    for (int bytes : {1, 31, 33, 100}) {
        std::string name = new_file();
        write_games(name, 2);
        cut(name, bytes);
        DataFile data;
        ASSERT_TRUE(open_data_file(data, name.c_str()));
        EXPECT_EQ(data.records, 5u) << bytes;
        EXPECT_EQ(data.torn, 160u - static_cast<unsigned>(bytes));
        fclose(data.file);
    }
}

TEST_F(TrainingFile, TornGameIsCutOffBeforeTheNext) {
    std::string name = new_file();
    write_games(name, 3);
    cut(name, 40);

    PlyFile file = {-1, {}};
    ASSERT_EQ(open_ply_file(file, name.c_str(), header()), "");
    EXPECT_EQ(file.counts.games, 2u);
    EXPECT_EQ(file.counts.positions, 10u);
    EXPECT_EQ(file.counts.kept, 0u) << "all of them are openings";
    close_ply_file(file);
    EXPECT_EQ(std::filesystem::file_size(name), sizeof(DataHeader) + 320);
}

TEST_F(TrainingFile, TornHeaderIsReplaced) {
    std::string name = new_file();
    write_games(name, 0);
    cut(name, 3);
    write_games(name, 1);
    EXPECT_EQ(std::filesystem::file_size(name), sizeof(DataHeader) + 160);
}

TEST_F(TrainingFile, ForeignFileIsLeftAlone) {
    std::string name = new_file();
    PlyFile file = {-1, {}};
    FILE* text = fopen(name.c_str(), "w");
    fputs("a text that is longer than a header\n", text);
    fclose(text);

    EXPECT_EQ(open_ply_file(file, name.c_str(), header()), "is no file of self-play games");
    EXPECT_EQ(read_lines(name)[0], "a text that is longer than a header");
    EXPECT_EQ(file.descriptor, -1);
    EXPECT_EQ(open_ply_file(file, (name + "/x").c_str(), header()), "can't be opened for writing");
}

TEST_F(TrainingFile, OldFormIsReadButDoesNotGrow) {
    std::string name = new_file();
    write_games(name, 2);
    make_old(name);

    DataFile data;
    ASSERT_TRUE(open_data_file(data, name.c_str()));
    EXPECT_EQ(data.header.kind, DATA_UNKNOWN);
    EXPECT_EQ(data.header.seed, 7u);
    EXPECT_EQ(data.records, 10u);
    Game read = {5, {}};
    ASSERT_EQ(fread(read.records, sizeof(PlyRecord), 5, data.file), 5u);
    EXPECT_EQ(memcmp(read.records, short_game().records, 5 * sizeof(PlyRecord)), 0);
    fclose(data.file);

    PlySets sets;
    EXPECT_TRUE(read_ply_file(sets, name, PLY_FOR_ANY));
    EXPECT_EQ(sets.counts.games, 2u);

    PlyFile file = {-1, {}};
    EXPECT_EQ(open_ply_file(file, name.c_str(), header()),
              "is of the old form, which is only read");
    EXPECT_EQ(std::filesystem::file_size(name), OLD_HEADER_SIZE + 320);
}

TEST_F(TrainingFile, ShortOldFileIsNoTornHeader) {
    std::string name = new_file();
    write_games(name, 1);
    make_old(name);
    ASSERT_LT(std::filesystem::file_size(name), sizeof(DataHeader));
    PlyFile file = {-1, {}};
    EXPECT_EQ(open_ply_file(file, name.c_str(), header()),
              "is of the old form, which is only read");
}

TEST_F(TrainingFile, LongerHeaderOfALaterFormIsPassedOver) {
    std::string name = new_file();
    DataHeader later = header();
    later.header_size = 300;
    std::string bytes(reinterpret_cast<const char*>(&later), sizeof later);
    bytes.resize(300, 'x');
    Game game = short_game();
    bytes.append(reinterpret_cast<const char*>(game.records), 5 * sizeof(PlyRecord) + 1);
    std::ofstream(name, std::ios::binary) << bytes + std::string(31, 'x');
    DataFile data;
    ASSERT_TRUE(open_data_file(data, name.c_str()));
    EXPECT_EQ(data.records, 6u);
    PlyRecord first;
    ASSERT_EQ(fread(&first, sizeof first, 1, data.file), 1u);
    EXPECT_EQ(memcmp(&first, game.records, sizeof first), 0);
    fclose(data.file);
}

TEST_F(TrainingFile, DamagedHeadersAreRefused) {
    auto refused = [](auto change) {
        std::string name = new_file();
        DataHeader made = header();
        change(made);
        std::ofstream(name, std::ios::binary)
            .write(reinterpret_cast<const char*>(&made), sizeof made);
        DataFile data = {};
        bool opened = open_data_file(data, name.c_str());
        if (opened) fclose(data.file);
        return !opened;
    };
    EXPECT_FALSE(refused([](DataHeader&) {}));
    EXPECT_TRUE(refused([](DataHeader& h) { h.magic[7] = '3'; }));
    EXPECT_TRUE(refused([](DataHeader& h) { h.record_size = 40; }));
    EXPECT_TRUE(refused([](DataHeader& h) { h.header_size = 255; }));
    EXPECT_TRUE(refused([](DataHeader& h) { h.header_size = UINT32_MAX; }));
}

TEST_F(TrainingFile, OtherSettingsAreRefusedByName) {
    std::string name = new_file();
    write_games(name, 1);
    struct {
        void (*change)(DataHeader&);
        const char* reason;
    } const cases[] = {
        {[](DataHeader& h) { h.kind = DATA_RESCORED; }, "kind games, not rescored"},
        {[](DataHeader& h) { h.run_seed = 8; }, "seed 5, not 8"},
        {[](DataHeader& h) { h.worker = 0; }, "worker 1, not 0"},
        {[](DataHeader& h) { h.seed = 8; }, "seed of the worker 7, not 8"},
        {[](DataHeader& h) { h.scorer.nodes = 400; }, "nodes 200, not 400"},
        {[](DataHeader& h) { h.scorer.hash_mb = 4; }, "hash 8, not 4"},
        {[](DataHeader& h) { h.chess960_share = 0; }, "chess960 10, not 0"},
        {[](DataHeader& h) { h.openings_share = 20; }, "openings-share 15, not 20"},
        {[](DataHeader& h) { h.openings = 1; }, "openings 0000000000004444, not 0000000000000001"},
        {[](DataHeader& h) { h.scorer.network = 0; }, "network 0000000000002222, not by hand"},
        {[](DataHeader& h) { h.scorer.params++; }, "params 0000000000003333, not 0000000000003334"},
        {[](DataHeader& h) { h.scorer.engine++; }, "engine 0000000000001111, not 0000000000001112"},
    };
    for (const auto& c : cases) {
        DataHeader run = header();
        c.change(run);
        PlyFile file = {-1, {}};
        EXPECT_EQ(open_ply_file(file, name.c_str(), run), std::string("was made with ") + c.reason);
    }
    DataHeader renamed = header();
    memcpy(renamed.program, "Mird 9", 7);
    EXPECT_EQ(reason_against(name.c_str(), renamed), "") << "the signature says what counts";
    EXPECT_EQ(reason_against((name + "x").c_str(), renamed), "") << "no file is none against it";
}

TEST_F(TrainingFile, SecondWriterIsRefused) {
    std::string name = new_file();
    write_games(name, 1);
    PlyFile file = {-1, {}}, second = {-1, {}};
    ASSERT_EQ(open_ply_file(file, name.c_str(), header()), "");
    EXPECT_EQ(open_ply_file(second, name.c_str(), header()), "is in use");
    close_ply_file(file);
}

TEST_F(TrainingFile, DescriptionHasAllSettings) {
    DataHeader made = header();
    EXPECT_EQ(describe_header(made),
              "games, seed 5, worker 1, chess960 10, openings-share 15, openings 0000000000004444; "
              "Mird 5.50, engine 0000000000001111, network 0000000000002222, params "
              "0000000000003333, nodes 200, hash 8");
    made.kind = DATA_NEIGHBOURS;
    made.whole_games = 0;
    made.openings_share = 0;
    made.neighbours = 12;
    made.max_steps = 4;
    made.steps_seed = 50;
    made.scorer = {1, 0, 3, 0, 8};
    made.source_kind = DATA_UNKNOWN;
    EXPECT_EQ(
        describe_header(made),
        "neighbours, seed 5, worker 1, chess960 10, openings-share 0, neighbours 12, steps 4, "
        "seed of the steps 50; Mird 5.50, engine 0000000000000001, network by hand, params "
        "0000000000000003, nodes 0, hash 8; from old form, scorer unknown");
}

TEST_F(TrainingFile, UnfinishedFileHasAnotherName) {
    std::string name = new_file();
    std::ofstream(name) << "what was there";
    DataWriter writer;
    ASSERT_TRUE(begin_data_file(writer, name, header()));
    ASSERT_TRUE(write_records(writer, short_game().records, 5));
    EXPECT_EQ(read_lines(name)[0], "what was there");
    abandon_data_file(writer);
    EXPECT_EQ(read_lines(name)[0], "what was there");
    EXPECT_FALSE(std::filesystem::exists(name + ".part"));

    ASSERT_TRUE(begin_data_file(writer, name, header()));
    ASSERT_TRUE(write_records(writer, short_game().records, 5));
    ASSERT_TRUE(finish_data_file(writer));
    EXPECT_FALSE(std::filesystem::exists(name + ".part"));
    EXPECT_EQ(std::filesystem::file_size(name), sizeof(DataHeader) + 160);
    EXPECT_FALSE(begin_data_file(writer, name + "/x", header()));
}

TEST_F(TrainingFile, ChecksumIsFnv1a) {
    EXPECT_EQ(add_checksum(EMPTY_CHECKSUM, "", 0), 0xCBF29CE484222325ULL);
    EXPECT_EQ(add_checksum(EMPTY_CHECKSUM, "foobar", 6), 0x85944171F73967E8ULL);
    EXPECT_EQ(add_checksum(add_checksum(EMPTY_CHECKSUM, "foo", 3), "bar", 3),
              0x85944171F73967E8ULL);
}

TEST_F(TrainingScorer, SignatureIsMeasuredAndRepeats) {
    Scorer first = {}, second = {};
    ASSERT_TRUE(describe_scorer(first, 200, 8));
    search_nodes(START_FEN, 5); // what was searched before does not count
    ASSERT_TRUE(describe_scorer(second, 400, 4));
    EXPECT_EQ(first.engine, second.engine);
    EXPECT_EQ(first.network, 0u) << "by hand";
    EXPECT_EQ(first.params, second.params);
    EXPECT_EQ(second.nodes, 400u);
    EXPECT_EQ(second.hash_mb, 4u);
}

TEST_F(TrainingScorer, EvaluationChangesIt) {
    Scorer by_hand = {}, changed = {}, by_network = {};
    ASSERT_TRUE(describe_scorer(by_hand, 200, 8));
    eval_params[rook_openfile].value += 3;
    build_eval_tables();
    eval_epoch.fetch_add(1);
    ASSERT_TRUE(describe_scorer(changed, 200, 8));
    eval_params[rook_openfile].value -= 3;
    build_eval_tables();
    EXPECT_NE(changed.params, by_hand.params);
    EXPECT_NE(changed.engine, by_hand.engine);

    testing::internal::CaptureStdout();
    ASSERT_TRUE(choose_evaluation("embedded"));
    ASSERT_TRUE(describe_scorer(by_network, 200, 8));
    testing::internal::GetCapturedStdout();
    EXPECT_NE(by_network.network, 0u);
    EXPECT_NE(by_network.engine, by_hand.engine);
    EXPECT_EQ(by_network.params, by_hand.params);
}
