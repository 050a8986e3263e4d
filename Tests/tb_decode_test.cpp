// The file format: numbering of positions, headers, decompression, and files that are damaged.
//
// Pins internals: steps of reading and numbering that only the decoder calls.

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>

#include <gtest/gtest.h>

#include "support.h"
#include "syzygy/tbcore.h"
#include "syzygy/tbdecode.h"
#include "syzygy/tbprobe.h"
#include "tb_support.h"

namespace {

// A block of one-byte codes for two leaf symbols, values 2 and 4, eight values a block, and what
// belongs to it.
struct SmallPairs {
    uint8_t index_table[6] = {0, 0, 0, 0, 8, 0}; // the middle of 16 indices is value 8
    uint8_t size_table[4] = {9, 0, 5, 0};        // 10 values, then 6
    uint8_t offset[2] = {0, 0};
    uint8_t sym_pat[6] = {2, 0xF0, 0xFF, 4, 0xF0, 0xFF};
    uint8_t sym_len[2] = {0, 0};
    uint8_t data[12] = {0xF0, 0xFF, 0xFF, 0xFF}; // second block from byte 4 on: zeros
    PairsData pairs = {};

    SmallPairs() {
        pairs.index_table = index_table;
        pairs.size_table = size_table;
        pairs.data = data;
        pairs.offset = offset;
        pairs.sym_pat = sym_pat;
        pairs.sym_len = sym_len;
        pairs.table_size = 16;
        pairs.blocks = pairs.sizes = 2;
        pairs.symbols = 2;
        pairs.block_size = 2;
        pairs.idx_bits = 4;
        pairs.min_len = 1;
        pairs.code_lengths = 1;
    }
};

std::vector<uint8_t> read_bytes(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void write_bytes(const std::string& path, const std::vector<uint8_t>& bytes) {
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
}

} // namespace

TEST(TbSquares, KingPairsAreNumberedInThreeRuns) {
    auto pair = [](int triangle_square, int second) {
        return tb_squares.king_pair[tb_squares.triangle[triangle_square]][second];
    };
    EXPECT_EQ(pair(B1, D1), 0);
    EXPECT_EQ(pair(B1, H8), 57);
    EXPECT_EQ(pair(C1, A1), 58);
    EXPECT_EQ(pair(19, H8), 338);
    EXPECT_EQ(pair(A1, C1), 339);
    EXPECT_EQ(pair(27, 55), 440);
    EXPECT_EQ(pair(A1, 18), 441);
    EXPECT_EQ(pair(9, 27), 447);
    EXPECT_EQ(pair(27, H8), 461);
}

TEST(TbSquares, PawnFactorsAreSumsOverTheFiles) {
    const uint32_t expected[5][4] = {{6, 6, 6, 6},
                                     {252, 180, 108, 36},
                                     {5201, 2645, 953, 125},
                                     {70315, 25375, 5491, 295},
                                     {700336, 178696, 23176, 496}};
    for (int others = 0; others < 5; others++)
        for (int group = 0; group < 4; group++)
            EXPECT_EQ(tb_squares.pawn_factor[others][group], expected[others][group]);
    const uint32_t first_file[6] = {0, 1081, 2071, 2974, 3794, 4535};
    for (int rank = 0; rank < 6; rank++)
        EXPECT_EQ(tb_squares.pawn_index[2][rank], first_file[rank]);
}

TEST(TbSquares, BinomialsAreThoseOfPascal) {
    for (int n = 1; n < 64; n++) {
        EXPECT_EQ(tb_squares.binomial[0][n], static_cast<uint32_t>(n));
        for (int k = 1; k < 5; k++)
            EXPECT_EQ(tb_squares.binomial[k][n],
                      tb_squares.binomial[k][n - 1] + tb_squares.binomial[k - 1][n - 1]);
    }
}

TEST(TbSquares, TwistFallsTowardsTheMiddleAndTheLastRank) {
    EXPECT_EQ(tb_squares.twist[8], 47);  // a2
    EXPECT_EQ(tb_squares.twist[15], 46); // h2
    EXPECT_EQ(tb_squares.twist[51], 1);  // d7
    EXPECT_EQ(tb_squares.twist[52], 0);  // e7
}

TEST(TbDecompress, NothingIsReadFarBehindABlock) {
    SmallPairs small;
    small.size_table[0] = small.size_table[1] = 0xFF; // 65,536 values in the first block's 32 bits
    small.pairs.table_size = 65536;
    small.pairs.idx_bits = 16;
    small.index_table[4] = 0;
    small.index_table[5] = 0x80;
    EXPECT_EQ(tb_decompress(small.pairs, 31), 4) << "the last bit of the block";
    EXPECT_EQ(tb_decompress(small.pairs, 150), TB_DAMAGED);
    EXPECT_EQ(tb_decompress(small.pairs, 65535), TB_DAMAGED);
}

TEST(TbDecompress, SingleValueTouchesNoBlock) {
    PairsData pairs = {}; // all references null
    pairs.min_len = 3;
    for (uint64_t index : {0ULL, 1ULL, 1ULL << 40}) EXPECT_EQ(tb_decompress(pairs, index), 3);
}

TEST(TbDecompress, NumberEqualToTheCountStaysInTheBlock) {
    SmallPairs small;
    EXPECT_EQ(tb_decompress(small.pairs, 3), 4);  // a bit 1: the second symbol
    EXPECT_EQ(tb_decompress(small.pairs, 4), 2);  // a bit 0
    EXPECT_EQ(tb_decompress(small.pairs, 9), 4);  // the last of the first block
    EXPECT_EQ(tb_decompress(small.pairs, 10), 2); // the first of the second
    EXPECT_EQ(tb_decompress(small.pairs, 15), 2);
}

TEST(TbDecompress, CodesGoOnAcrossWords) {
    // Values in codes of one bit fill more than two words of 32 bits.
    SmallPairs small;
    uint8_t bits[16] = {};
    for (int i = 0; i < 96; i += 3) bits[i / 8] |= static_cast<uint8_t>(0x80 >> i % 8);
    uint8_t index_table[6] = {0, 0, 0, 0, 64, 0};
    uint8_t sizes[2] = {127, 0};
    small.pairs.index_table = index_table;
    small.pairs.size_table = sizes;
    small.pairs.data = bits;
    small.pairs.blocks = small.pairs.sizes = 1;
    small.pairs.table_size = 128;
    small.pairs.idx_bits = 7;
    small.pairs.block_size = 4;
    for (uint64_t i = 0; i < 96; i++)
        EXPECT_EQ(tb_decompress(small.pairs, i), i % 3 == 0 ? 4 : 2) << i;
}

TEST(TbDecompress, LongestCodesAreReadToTheLastBit) {
    // One symbol of 32 bits, all zeros, and one of 31: the word is refilled at every bit place.
    uint8_t offset[4] = {1, 0, 0, 0};
    uint8_t bits[32] = {};
    bits[7] = 2;      // 32 zeros, then 30 zeros and a one
    SmallPairs small; // symbol 0: value 2; symbol 1: value 4
    uint8_t sizes[2] = {7, 0};
    small.pairs.offset = offset;
    small.pairs.size_table = sizes;
    small.pairs.data = bits;
    small.pairs.blocks = small.pairs.sizes = 1;
    small.pairs.block_size = 5;
    small.pairs.min_len = 31;
    small.pairs.code_lengths = 2;
    small.pairs.base[0] = 2;
    small.pairs.base[1] = 0;
    EXPECT_EQ(tb_decompress(small.pairs, 0), 2);
    EXPECT_EQ(tb_decompress(small.pairs, 1), 4);
    EXPECT_EQ(tb_decompress(small.pairs, 2), 2);
}

TEST(TbDecompress, NumbersThatLeadNowhereAreDamage) {
    SmallPairs small;
    EXPECT_EQ(tb_decompress(small.pairs, 16), TB_DAMAGED) << "index behind the table";
    small.index_table[0] = 200;
    EXPECT_EQ(tb_decompress(small.pairs, 0), TB_DAMAGED) << "block behind the blocks";
    small.index_table[0] = 0;
    small.index_table[4] = 0;
    EXPECT_EQ(tb_decompress(small.pairs, 0), TB_DAMAGED) << "value before the first block";
    small.index_table[4] = 16;
    EXPECT_EQ(tb_decompress(small.pairs, 15), TB_DAMAGED) << "value behind the last block";
}

TEST(TbEncode, SharedIndexVectorsAreMet) {
    std::string path = shared_data("syzygy/index_vectors.txt");
    if (path.empty()) GTEST_SKIP() << "MIRD_TEST_DATA is not set";
    int checked = 0;
    for (const std::string& line : read_lines(path)) {
        if (line.empty() || line[0] == '#') continue;
        std::vector<std::string> columns = split(line, "; ");
        ASSERT_EQ(columns.size(), 9u) << line;
        TBEntry entry = {};
        tb_describe(entry, columns[0].c_str());
        std::vector<int64_t> list = numbers(columns[2]), factors = numbers(columns[5]);
        std::vector<int64_t> squares = numbers(columns[7]);
        uint8_t pieces[TB_PIECES], norm[TB_PIECES];
        int places[TB_PIECES];
        for (size_t i = 0; i < list.size(); i++) {
            pieces[i] = static_cast<uint8_t>(list[i]);
            places[i] = static_cast<int>(squares[i]);
        }
        ASSERT_TRUE(tb_set_norm(entry, pieces, norm)) << line;
        int group = 0;
        if (entry.has_pawns) {
            group = tb_leading_file(entry, places);
            EXPECT_EQ(group, std::stoi(columns[1])) << line;
        }
        uint64_t own_factors[TB_PIECES];
        uint64_t size = tb_set_factors(entry, std::stoi(columns[3]), std::stoi(columns[4]), norm,
                                       group, own_factors);
        EXPECT_EQ(size, std::stoull(columns[6])) << line;
        size_t at = 0;
        for (int i = 0; i < entry.num; i += norm[i], at++)
            EXPECT_EQ(own_factors[i], static_cast<uint64_t>(factors[at])) << line;
        EXPECT_EQ(tb_encode(entry, norm, places, own_factors), std::stoull(columns[8])) << line;
        checked++;
    }
    EXPECT_EQ(checked, 1000);
}

TEST(TbEncode, OrdersThatNameNoGroupAreRefused) {
    TBEntry entry = {};
    tb_describe(entry, "KPvKP");
    const uint8_t pieces[TB_PIECES] = {1, 9, 6, 14};
    uint8_t norm[TB_PIECES];
    uint64_t factors[TB_PIECES];
    ASSERT_TRUE(tb_set_norm(entry, pieces, norm));
    EXPECT_EQ(tb_set_factors(entry, 3, 2, norm, 0, factors), 1066524u);
    EXPECT_EQ(tb_set_factors(entry, 2, 2, norm, 0, factors), 0u) << "two groups in one place";
}

TEST(TbEncode, ListsOfOtherMaterialAreRefused) {
    TBEntry entry = {};
    tb_describe(entry, "KRRvK");
    uint8_t norm[TB_PIECES];
    const uint8_t sound[4] = {6, 14, 4, 4}, other[4] = {6, 14, 4, 5}, apart[4] = {4, 6, 14, 4};
    const uint8_t no_king_leads[4] = {4, 4, 6, 14};
    EXPECT_TRUE(tb_set_norm(entry, sound, norm));
    EXPECT_FALSE(tb_set_norm(entry, other, norm));
    EXPECT_FALSE(tb_set_norm(entry, apart, norm));
    EXPECT_FALSE(tb_set_norm(entry, no_king_leads, norm));
}

TEST(TbEncode, IndicesPassThirtyTwoBits) {
    TBEntry entry = {};
    tb_describe(entry, "KQRvKBN");
    const uint8_t pieces[TB_PIECES] = {6, 14, 5, 4, 11, 10};
    uint8_t norm[TB_PIECES];
    uint64_t factors[TB_PIECES];
    ASSERT_TRUE(tb_set_norm(entry, pieces, norm));
    EXPECT_EQ(tb_set_factors(entry, 0, 15, norm, 0, factors), 6765832080u);
}

namespace {

struct HeaderCase {
    const char* name;
    size_t at; // byte of KQvK.rtbw
    uint8_t value;
};

class TbHeader : public testing::TestWithParam<HeaderCase> {};

// Builds and frees the decoders of a WDL file.
bool builds(const char* name, const std::vector<uint8_t>& bytes) {
    TBEntry entry = {};
    tb_describe(entry, name);
    TBDecoder decoders[8] = {};
    uint8_t flags[4];
    bool built =
        tb_build_decoders(decoders, flags, nullptr, entry, bytes.data(), bytes.size(), true);
    tb_free_decoders(decoders, 8);
    return built;
}

} // namespace

TEST_P(TbHeader, DamageIsNoticed) {
    std::vector<uint8_t> bytes = read_bytes(own_tables() + "/KQvK.rtbw");
    ASSERT_EQ(bytes.size(), 272u);
    ASSERT_TRUE(builds("KQvK", bytes));
    bytes[GetParam().at] = GetParam().value;
    EXPECT_FALSE(builds("KQvK", bytes));
}

INSTANTIATE_TEST_SUITE_P(Table, TbHeader,
                         testing::Values(
                             //         name                      at  value
                             HeaderCase{"Magic", 1, 0xE9}, HeaderCase{"KindOfTable", 4, 0x33},
                             HeaderCase{"OneSide", 4, 0x30}, HeaderCase{"NumberOfPieces", 4, 0x41},
                             HeaderCase{"PieceList", 7, 0x55}, HeaderCase{"SingleValue", 11, 5},
                             HeaderCase{"HugeBlocks", 13, 60}, HeaderCase{"NoIndexBits", 14, 0},
                             HeaderCase{"TooManyIndexBits", 14, 64}, HeaderCase{"NoBlocks", 16, 0},
                             HeaderCase{"ManyBlocks", 18, 0xFF}, HeaderCase{"LongCodes", 20, 40},
                             HeaderCase{"NoShortCodes", 21, 0}, HeaderCase{"ShortAboveLong", 21, 9},
                             HeaderCase{"NoSymbols", 36, 0}, HeaderCase{"ManySymbols", 37, 0x10},
                             HeaderCase{"ChildWithoutSymbol", 38, 0xFF},
                             HeaderCase{"LeftChildBehindTheLast", 38, 17},
                             HeaderCase{"RightChildBehindTheLast", 46, 1}, // 16 and the 1 before it
                             HeaderCase{"SymbolWithinItself", 41, 0x01}),
                         [](const auto& test) { return test.param.name; });

TEST(TbHeader, ShorterFilesAreDamagedAndLongerOnesAreNot) {
    std::vector<uint8_t> bytes = read_bytes(own_tables() + "/KQvK.rtbw");
    for (size_t size = 0; size < bytes.size(); size++)
        EXPECT_FALSE(builds(
            "KQvK", std::vector<uint8_t>(bytes.begin(), bytes.begin() + static_cast<long>(size))));
    bytes.resize(bytes.size() + 100, 0xFF);
    EXPECT_TRUE(builds("KQvK", bytes));
}

TEST(TbHeader, TheNumberOfPiecesMayBeMissing) {
    std::vector<uint8_t> bytes = read_bytes(own_tables() + "/KQvK.rtbw");
    bytes[4] &= 0x0F;
    EXPECT_TRUE(builds("KQvK", bytes));
    bytes[4] |= 0x20;
    EXPECT_FALSE(builds("KQvK", bytes));
}

TEST(TbHeader, ATableOfAnotherNameIsDamaged) {
    std::vector<uint8_t> bytes = read_bytes(own_tables() + "/KQvK.rtbw");
    EXPECT_FALSE(builds("KRvK", bytes));
    EXPECT_FALSE(builds("KQvKR", bytes));
}

namespace {

// One table's two files as they were, and the positions that read them.
struct Victim {
    std::string name;
    std::vector<uint8_t> files[2];
    std::vector<TBPosition> positions;
};

constexpr const char* SUFFIXES[2] = {".rtbw", ".rtbz"};

Victim make_victim(const std::string& folder, const std::string& name, Random& random) {
    Victim victim = {name, {}, {}};
    for (int i = 0; i < 2; i++) victim.files[i] = read_bytes(folder + "/" + name + SUFFIXES[i]);
    for (int i = 0; i < 6; i++) victim.positions.push_back(random_board(name, random));
    return victim;
}

// Flips, cuts or extends. Half of the changes hit the headers.
void damage(std::vector<uint8_t>& bytes, Random& random) {
    auto place = [&](size_t size) { return next_random(random) % size; };
    switch (random_below(random, 8)) {
    case 0: bytes.resize(place(bytes.size())); break;
    case 1:
        for (size_t i = place(200) + 1; i > 0; i--)
            bytes.push_back(static_cast<uint8_t>(next_random(random)));
        break;
    case 2: // everything behind the start
        for (size_t i = 5; i < bytes.size(); i++)
            bytes[i] = static_cast<uint8_t>(next_random(random));
        break;
    default:
        for (size_t i = place(16) + 1; i > 0; i--) {
            size_t limit =
                random_below(random, 2) ? std::min<size_t>(bytes.size(), 256) : bytes.size();
            bytes[place(limit)] = static_cast<uint8_t>(next_random(random));
        }
    }
}

} // namespace

// As many files as the variable MIRD_DAMAGED_FILES says, or 300.
TEST(TbDamage, DamagedFilesAreReadWithoutHarm) {
    const char* wanted = getenv("MIRD_DAMAGED_FILES");
    const int files = wanted ? atoi(wanted) : 300;
    Random random = {20};
    std::vector<Victim> victims;
    for (const char* name : {"KQvK", "KRvK", "KPvK"})
        victims.push_back(make_victim(own_tables(), name, random));
    if (std::string shared = shared_data("syzygy/"); !shared.empty()) {
        for (const char* name : {"KQvKR", "KPvKP", "KNvKP", "KRPvK", "KQvKQ", "KBvKP", "KNNvK"})
            victims.push_back(make_victim(shared, name, random));
        for (const char* name : {"KPPPvK", "KPPvKP"})
            victims.push_back(make_victim(shared + "made", name, random));
    }

    std::string folder = fresh_directory();
    int answers = 0;
    testing::internal::CaptureStderr();
    for (int i = 0; i < files; i++) {
        const Victim& victim = victims[next_random(random) % victims.size()];
        int damaged = random_below(random, 2);
        for (int k = 0; k < 2; k++) {
            std::vector<uint8_t> bytes = victim.files[k];
            if (k == damaged) damage(bytes, random);
            write_bytes(folder + "/" + victim.name + SUFFIXES[k], bytes);
        }
        quiet_init(folder);
        for (const TBPosition& board : victim.positions) {
            int success;
            tb_probe_wdl(board, &success);
            answers += success != 0;
            tb_probe_dtz(board, &success);
        }
        tb_init("");
        for (const char* suffix : SUFFIXES)
            std::remove((folder + "/" + victim.name + suffix).c_str());
    }
    std::string messages = testing::internal::GetCapturedStderr();
    EXPECT_NE(messages.find("Corrupted table.\n"), std::string::npos);
    EXPECT_GT(answers, 0) << "some damage is not noticed before values are read";
}
