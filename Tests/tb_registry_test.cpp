// Which tables are found, under which names and keys, and the files behind them.
//
// Pins internals: the numbers of buckets and slots that the keys were drawn for.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>

#include <gtest/gtest.h>

#include "support.h"
#include "syzygy/tbcore.h"
#include "syzygy/tbprobe.h"
#include "tb_support.h"

namespace {

std::vector<std::string> all_names;

void collect_name(const char* name) { all_names.push_back(name); }

const std::vector<std::string>& every_name() {
    if (all_names.empty()) tb_each_name(collect_name);
    return all_names;
}

std::string output_of_init(const std::string& paths) {
    testing::internal::CaptureStdout();
    tb_init(paths.c_str());
    fflush(stdout);
    return testing::internal::GetCapturedStdout();
}

void copy_table(const std::string& name, const std::string& folder) {
    for (const char* suffix : {".rtbw", ".rtbz"})
        std::filesystem::copy(own_tables() + "/" + name + suffix, folder + "/" + name + suffix);
}

void make_file(const std::string& path) { std::ofstream file(path); }

class TbRegistry : public testing::Test {
protected:
    void TearDown() override { tb_init(""); }
};

} // namespace

TEST_F(TbRegistry, AllNamesOfUpToSixPiecesAreTried) {
    const std::vector<std::string>& names = every_name();
    EXPECT_EQ(names.size(), static_cast<size_t>(TBMAX_PIECE + TBMAX_PAWN));
    EXPECT_EQ(std::set<std::string>(names.begin(), names.end()).size(), names.size());
    EXPECT_EQ(names.front(), "KQvK");
    EXPECT_EQ(names[5], "KQvKQ");
    EXPECT_EQ(names.back(), "KPPPPvK");
    auto pawns = std::count_if(names.begin(), names.end(), [](const std::string& name) {
        return name.find('P') != std::string::npos;
    });
    EXPECT_EQ(pawns, TBMAX_PAWN);
}

// The limits of the registry hold for the whole set: no bucket overflows, and a key names one
// material in one colouring.
TEST_F(TbRegistry, TheWholeSetFitsTheBuckets) {
    std::map<uint64_t, std::string> owners;
    std::vector<int> buckets(TB_BUCKETS, 0);
    for (const std::string& name : every_name()) {
        TBEntry entry = {};
        tb_describe(entry, name.c_str());
        for (uint64_t key : std::set<uint64_t>{entry.key, entry.mirrored_key}) {
            EXPECT_TRUE(owners.insert({key, name}).second) << name << " and " << owners[key];
            buckets[key >> (64 - TBHASHBITS)]++;
        }
        EXPECT_NE(entry.key, 0u) << "only bare kings have key 0";
    }
    EXPECT_LE(*std::max_element(buckets.begin(), buckets.end()), HSHMAX);
}

// Not only of those that have a table: all material of up to six pieces.
TEST_F(TbRegistry, NoTwoMaterialsShareAKey) {
    std::set<uint64_t> keys;
    int materials = 0;
    auto count = [&](const std::vector<int>& pieces) {
        uint8_t counts[PIECE_CODES] = {};
        for (int piece : pieces) counts[piece]++;
        keys.insert(tb_key_of_counts(counts, false));
        materials++;
    };
    const int codes[10] = {1, 2, 3, 4, 5, 9, 10, 11, 12, 13};
    std::vector<std::vector<int>> level = {{}};
    for (int size = 0; size <= 4; size++) {
        std::vector<std::vector<int>> next;
        for (const std::vector<int>& pieces : level) {
            count(pieces);
            for (int code : codes) {
                if (!pieces.empty() && code < pieces.back()) continue;
                next.push_back(pieces);
                next.back().push_back(code);
            }
        }
        level = next;
    }
    EXPECT_EQ(materials, 1 + 10 + 55 + 220 + 715);
    EXPECT_EQ(keys.size(), static_cast<size_t>(materials));
    EXPECT_TRUE(keys.count(0)) << "bare kings";
}

TEST_F(TbRegistry, TheWholeSetIsRegistered) {
    std::string folder = fresh_directory();
    for (const std::string& name : every_name()) make_file(folder + "/" + name + ".rtbw");
    EXPECT_EQ(output_of_init(folder), "info string found 510 tablebases\n");
    EXPECT_EQ(tb_largest, 6);
    for (const std::string& name : every_name()) {
        TBEntry entry = {};
        tb_describe(entry, name.c_str());
        for (uint64_t key : {entry.key, entry.mirrored_key}) {
            ASSERT_NE(tb_find(key), nullptr) << name;
            EXPECT_EQ(tb_find(key)->name, name);
        }
    }
}

TEST_F(TbRegistry, EntriesKnowWhatTheirNamesSay) {
    TBEntry entry = {};
    tb_describe(entry, "KQPvKPP");
    EXPECT_EQ(entry.num, 6);
    EXPECT_TRUE(entry.has_pawns);
    EXPECT_FALSE(entry.symmetric);
    EXPECT_EQ(entry.pawns[0], 1) << "the side with fewer pawns leads";
    EXPECT_EQ(entry.pawns[1], 2);
    tb_describe(entry, "KQvKP");
    EXPECT_EQ(entry.pawns[0], 1) << "but it must have one";
    EXPECT_EQ(entry.pawns[1], 0);
    tb_describe(entry, "KRRvKRR");
    EXPECT_TRUE(entry.symmetric);
    EXPECT_EQ(entry.leaders, 2);
    tb_describe(entry, "KRRvKB");
    EXPECT_EQ(entry.leaders, 3);
}

TEST_F(TbRegistry, NamesStartWithTheLargerSide) {
    auto name_of = [](const char* fen, int mirror = 0) {
        char name[TB_NAME_LENGTH];
        tb_name(board_of(fen), name, mirror);
        return std::string(name);
    };
    EXPECT_EQ(name_of("kq6/8/8/8/8/8/8/KBB5 w - -"), "KBBvKQ") << "more pieces";
    EXPECT_EQ(name_of("kq6/8/8/8/8/8/8/KR6 w - -"), "KQvKR") << "greater letters";
    EXPECT_EQ(name_of("kqn5/8/8/8/8/8/8/KRR5 w - -"), "KQNvKRR");
    EXPECT_EQ(name_of("kbn5/8/8/8/8/8/P7/KR6 w - -"), "KRPvKBN");
    EXPECT_EQ(name_of("kq6/8/8/8/8/8/8/KBB5 w - -", 1), "KQvKBB");
    EXPECT_EQ(name_of("kr6/8/8/8/8/8/8/KR6 w - -"), "KRvKR");
    EXPECT_EQ(name_of("k7/8/8/8/8/8/8/K7 w - -"), "KvK");
}

TEST_F(TbRegistry, NamesOfAllMaterialAreThoseOfTheTables) {
    Random random = {3};
    for (const std::string& name : every_name()) {
        char text[TB_NAME_LENGTH];
        TBPosition board = random_board(name, random);
        tb_name(board, text, 0);
        EXPECT_EQ(text, name);
        TBEntry entry = {};
        tb_describe(entry, name.c_str());
        uint64_t key = tb_material_key(board);
        EXPECT_TRUE(key == entry.key || key == entry.mirrored_key) << name;
    }
}

TEST_F(TbRegistry, WithoutAPathNothingIsPrinted) {
    EXPECT_EQ(output_of_init(own_tables()), "info string found 3 tablebases\n");
    EXPECT_EQ(tb_largest, 3);
    EXPECT_EQ(output_of_init(""), "");
    EXPECT_EQ(tb_largest, 0);
    EXPECT_EQ(tb_count(), 0);
    EXPECT_EQ(output_of_init("<empty>"), "");
    EXPECT_EQ(tb_largest, 0);
}

TEST_F(TbRegistry, TheFirstDirectoryWins) {
    std::string first = fresh_directory(), second = fresh_directory();
    copy_table("KQvK", first);
    copy_table("KQvK", second);
    copy_table("KRvK", second);
    std::filesystem::resize_file(second + "/KQvK.rtbw", 0);
    EXPECT_EQ(output_of_init(first + ";" + second), "info string found 2 tablebases\n");
    int success;
    EXPECT_EQ(tb_probe_wdl(board_of("8/8/8/8/8/4K3/4Q3/1k6 b - -"), &success), -2);
    EXPECT_EQ(success, 1);
    EXPECT_EQ(tb_probe_wdl(board_of("8/8/8/8/8/4K3/4R3/1k6 b - -"), &success), -2);
}

TEST_F(TbRegistry, LongDirectoriesArePassedOver) {
    // 259 characters with the file's name are the most.
    std::string folder = fresh_directory(), name = "/KQvK.rtbw";
    const size_t most = 259 - name.size();
    while (folder.size() + 101 < most) {
        folder.append("/").append(99, 'd');
        std::filesystem::create_directory(folder);
    }
    const size_t rest = most - folder.size(); // 2 or more
    folder.append("/").append(rest - 1, 'e');
    std::filesystem::create_directory(folder);
    copy_table("KQvK", folder);
    ASSERT_EQ((folder + name).size(), 259u);
    EXPECT_EQ(output_of_init(folder), "info string found 1 tablebases\n");

    std::string longer = folder + "/x";
    std::filesystem::create_directory(longer);
    copy_table("KQvK", longer);
    EXPECT_EQ(output_of_init(longer), "info string found 0 tablebases\n");
    EXPECT_EQ(output_of_init(longer + ";" + own_tables()), "info string found 3 tablebases\n");
    EXPECT_EQ(output_of_init(std::string(5000, 'z')), "info string found 0 tablebases\n");
}

TEST_F(TbRegistry, ANewPathReplacesTheOldOne) {
    std::string folder = fresh_directory();
    std::filesystem::copy(own_tables() + "/KQvK.rtbw", folder + "/KQBvKR.rtbw");
    output_of_init(folder);
    EXPECT_EQ(tb_largest, 5);
    output_of_init(own_tables());
    EXPECT_EQ(tb_largest, 3);
    int success;
    tb_probe_dtz(board_of("8/8/8/8/8/4K3/4Q3/1k6 b - -"), &success);
    EXPECT_NE(success, 0);
    output_of_init(fresh_directory());
    EXPECT_EQ(tb_largest, 0);
    tb_probe_wdl(board_of("8/8/8/8/8/4K3/4Q3/1k6 b - -"), &success);
    EXPECT_EQ(success, 0) << "nothing is left of the old path";
}

TEST_F(TbRegistry, OnlyRegularFilesAreTables) {
    std::string folder = fresh_directory();
    std::filesystem::create_directory(folder + "/KQvK.rtbw");
    make_named_pipe(folder + "/KRvK.rtbw");
    make_link(folder + "/nowhere", folder + "/KBvK.rtbw");
    make_file(folder + "/KQvK.rtbz");
    make_file(folder + "/readme.txt");
    make_file(folder + "/kqvk.rtbw");
    make_file(folder + "/KvKQ.rtbw");
    EXPECT_EQ(output_of_init(folder), "info string found 0 tablebases\n");
    EXPECT_EQ(output_of_init(folder + ";" + own_tables()), "info string found 3 tablebases\n");
}

TEST_F(TbRegistry, EmptyPartsOfThePathAreNoDirectories) {
    EXPECT_EQ(output_of_init(";;" + own_tables() + ";"), "info string found 3 tablebases\n");
    EXPECT_EQ(output_of_init(";"), "info string found 0 tablebases\n");
}

TEST_F(TbRegistry, DistanceTablesTakeTurns) {
    const char* const names[] = {"KQvK",  "KRvK",  "KPvK",  "KQvKR", "KPvKP", "KBNvK",
                                 "KRvKB", "KQvKP", "KNNvK", "KRPvK", "KQRvK"};
    constexpr int OWN = 3; // the first ones
    const bool larger = !shared_data("x").empty();
    const int tables = larger ? static_cast<int>(std::size(names)) : OWN;
    output_of_init(larger ? shared_data("syzygy") : own_tables());
    Random random = {5};
    for (int i = 0; i < 500; i++) {
        int success;
        tb_probe_dtz(random_board(names[random_below(random, tables)], random), &success);
        EXPECT_NE(success, 0);
    }
}
