// Values and distances of positions, the probe in the search, and the probe of the root.

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "board/make.h"
#include "board/movetext.h"
#include "support.h"
#include "syzygy/tbcore.h"
#include "syzygy/tbprobe.h"
#include "tb_support.h"

namespace {

// The value of a position, or 99 if it has none.
int wdl_of(const std::string& fen) {
    int success;
    int value = tb_probe_wdl(board_of(fen), &success);
    return success ? value : 99;
}

int dtz_of(const std::string& fen) {
    int success;
    int value = tb_probe_dtz(board_of(fen), &success);
    return success ? value : 9999;
}

std::string text_of(Move move) {
    char text[MOVE_TEXT_LENGTH];
    move_to_text(game(), game().side, move, text);
    return text;
}

std::vector<std::string> root_moves() {
    std::vector<std::string> moves;
    for (const Move* move = tb_root_moves; *move; move++) moves.push_back(text_of(*move));
    return moves;
}

bool contains(const std::vector<std::string>& list, const std::string& text) {
    return std::find(list.begin(), list.end(), text) != list.end();
}

struct Root {
    int result;
    unsigned klass, dtz;
    Move move;
};

Root probe_root(const char* fen, int halfmoves = 0) {
    Root root = {0, 77, 77, 77};
    set_up(fen).halfmoves = static_cast<uint8_t>(halfmoves);
    root.result = tb_probe_root(game(), &root.klass, &root.dtz, &root.move);
    return root;
}

class TbProbe : public testing::Test {
protected:
    void SetUp() override { quiet_init(own_tables()); }
    void TearDown() override { tb_init(""); }
};

// The same with all tables of the larger data.
class TbShared : public testing::Test {
protected:
    void SetUp() override {
        if (shared_data("x").empty()) GTEST_SKIP() << "MIRD_TEST_DATA is not set";
        quiet_init(shared_data("syzygy"));
    }
    void TearDown() override { tb_init(""); }
};

using TbRoot = TbProbe;
using TbSharedRoot = TbShared;

} // namespace

TEST_F(TbProbe, ValuesAreThoseOfTheSideToMove) {
    EXPECT_EQ(wdl_of("8/8/8/8/8/4K3/4Q3/1k6 b - -"), -2);
    EXPECT_EQ(wdl_of("8/8/8/8/8/4K3/4Q3/1k6 w - -"), 2);
    EXPECT_EQ(wdl_of("1K6/4q3/4k3/8/8/8/8/8 w - -"), -2) << "colours exchanged";
    EXPECT_EQ(wdl_of("k7/2Q5/8/8/8/8/8/7K b - -"), 0) << "stalemate";
    EXPECT_EQ(wdl_of("8/8/8/8/8/8/1q6/K6k w - -"), 0) << "the capture draws";
    EXPECT_EQ(wdl_of("4k3/8/4K3/4P3/8/8/8/8 w - -"), 2);
    EXPECT_EQ(wdl_of("8/8/8/8/4p3/4k3/8/4K3 b - -"), 2);
    EXPECT_EQ(wdl_of("4k3/4P3/4K3/8/8/8/8/8 b - -"), 0);
}

// Writes a table of values, in which one side of the board always wins. `layout` is the byte behind
// the magic number, `header` the order and the pieces for one file of pawns.
static void write_sole_value(const std::string& name, uint8_t layout, const std::string& header,
                             bool white_wins) {
    std::string bytes = "\x71\xE8\x23\x5D";
    bytes += static_cast<char>(layout);
    for (int file = 0; file < 4; file++) bytes += header;
    if (bytes.size() % 2) bytes += '\0';
    for (int file = 0; file < 4; file++)
        for (bool wins : {white_wins, !white_wins}) bytes += {'\x80', wins ? '\x04' : '\x00'};
    bytes.resize((bytes.size() + 63) / 64 * 64 + 16);
    std::ofstream(name, std::ios::binary) << bytes;
}

TEST_F(TbProbe, APawnMoveThatWinsIsFoundBehindOnesThatAreIllegal) {
    std::string folder = fresh_directory();
    std::filesystem::copy(own_tables() + "/KPvK.rtbw", folder + "/KPvK.rtbw");
    write_sole_value(folder + "/KPPvKB.rtbw", 0x53, {"\x00\x11\x11\x66\xEE\xBB", 6}, true);
    write_sole_value(folder + "/KBvKP.rtbw", 0x43, {"\x00\x99\x66\xEE\x33", 5}, false);
    quiet_init(folder);
    // Only a step in front of the bishop is legal. What it takes is taken again.
    EXPECT_EQ(dtz_of("k7/8/1b6/8/8/3PK3/P7/8 w - -"), 1);
    EXPECT_EQ(dtz_of("k7/8/1b6/7P/8/3PK3/8/8 w - -"), 1);
    testing::internal::CaptureStderr();
    EXPECT_EQ(dtz_of("k7/8/1b6/7P/8/4K3/P7/8 w - -"), 9999) << "no step helps";
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Could not find KPPvKB.rtbz\n");
}

TEST_F(TbProbe, BareKingsNeedNoFile) {
    quiet_init(fresh_directory());
    EXPECT_EQ(wdl_of("8/8/8/4k3/8/8/8/K7 w - -"), 0);
    EXPECT_EQ(dtz_of("8/8/8/4k3/8/8/8/K7 w - -"), 0);
}

TEST_F(TbProbe, DistancesCountPliesToTheZeroingMove) {
    EXPECT_EQ(dtz_of("7k/7Q/6K1/8/8/8/8/8 b - -"), -1) << "mated";
    EXPECT_EQ(dtz_of("4k3/8/4K3/4P3/8/8/8/8 w - -") > 0, true);
    EXPECT_EQ(dtz_of("8/P7/8/8/8/8/8/k1K5 w - -"), 1) << "the pawn moves";
    EXPECT_EQ(dtz_of("k7/2Q5/8/8/8/8/8/7K b - -"), 0) << "stalemate";
}

TEST_F(TbProbe, PositionsWithoutATableFail) {
    EXPECT_EQ(wdl_of("8/8/8/4k3/8/8/8/KBN5 w - -"), 99);
    EXPECT_EQ(dtz_of("8/8/8/4k3/8/8/8/KBN5 w - -"), 9999);
    EXPECT_EQ(wdl_of("8/8/8/3pk3/8/8/8/KQ6 w - -"), 99);
}

TEST_F(TbProbe, PawnsOnTheLastRanksFail) {
    EXPECT_EQ(wdl_of("P7/8/8/4k3/8/8/8/K7 w - -"), 99);
    EXPECT_EQ(wdl_of("8/8/8/4k3/8/8/8/K6P w - -"), 99);
}

TEST_F(TbProbe, EnPassantSquaresThatNoPawnHasSkippedAreLeftOut) {
    EXPECT_EQ(board_of("8/8/8/4k3/8/8/4P3/K7 w - e6").ep, 0);
    EXPECT_EQ(board_of("8/8/8/3pP3/8/8/8/K6k w - d6").ep, 43);
    EXPECT_EQ(board_of("8/8/3p4/4P3/8/8/8/K6k w - d6").ep, 0);
    EXPECT_EQ(board_of("8/8/8/3pP3/8/8/8/K6k b - d6").ep, 0);
}

TEST_F(TbProbe, AFileThatHasGoneIsMissedOnce) {
    std::string folder = fresh_directory();
    std::filesystem::copy(own_tables(), folder);
    quiet_init(folder);
    std::filesystem::remove(folder + "/KQvK.rtbw");
    testing::internal::CaptureStderr();
    EXPECT_EQ(wdl_of("8/8/8/8/8/4K3/4Q3/1k6 b - -"), 99);
    EXPECT_EQ(wdl_of("8/8/8/8/8/4K3/4Q3/2k5 b - -"), 99);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Could not find KQvK.rtbw\n");
}

TEST_F(TbProbe, AMissingPartnerLeavesTheValues) {
    std::string folder = fresh_directory();
    std::filesystem::copy(own_tables() + "/KQvK.rtbw", folder + "/KQvK.rtbw");
    quiet_init(folder);
    testing::internal::CaptureStderr();
    EXPECT_EQ(wdl_of("8/8/8/8/8/4K3/4Q3/1k6 b - -"), -2);
    EXPECT_EQ(dtz_of("8/8/8/8/8/4K3/4Q3/1k6 b - -"), 9999);
    EXPECT_EQ(probe_root("8/8/8/8/8/4K3/4Q3/1k6 w - -").result, -1);
    EXPECT_EQ(tb_probe(game(), 5), 4);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Could not find KQvK.rtbz\n");
}

TEST_F(TbProbe, AFileThatShrinksIsReadWithoutASignal) {
    std::string folder = fresh_directory();
    std::string path = folder + "/KPvK.rtbw";
    std::filesystem::copy(own_tables() + "/KPvK.rtbw", path);
    quiet_init(folder);
    EXPECT_EQ(wdl_of("4k3/8/4K3/4P3/8/8/8/8 w - -"), 2);
    std::error_code refused;
    std::filesystem::resize_file(path, 0, refused);
    if (refused) GTEST_SKIP() << "the system lets nobody cut a file that is mapped";
    Random random = {4};
    for (int i = 0; i < 200; i++) {
        int success;
        tb_probe_wdl(random_board("KPvK", random), &success);
    }
    EXPECT_EQ(wdl_of("4k3/8/4K3/4P3/8/8/8/8 w - -"), 99);
    EXPECT_EQ(wdl_of("8/8/8/8/8/4K3/4Q3/1k6 b - -"), 99) << "never was in this folder";
}

TEST_F(TbProbe, AFileThatShrinksBeforeItsFirstUseIsDamaged) {
    std::string folder = fresh_directory();
    for (const char* name : {"/KPvK.rtbw", "/KQvK.rtbw"})
        std::filesystem::copy(own_tables() + name, folder + name);
    quiet_init(folder);
    std::filesystem::resize_file(folder + "/KPvK.rtbw", 1000);
    std::filesystem::resize_file(folder + "/KQvK.rtbw", 0);
    testing::internal::CaptureStderr();
    EXPECT_EQ(wdl_of("4k3/8/4K3/4P3/8/8/8/8 w - -"), 99);
    EXPECT_EQ(wdl_of("8/8/8/8/8/4K3/4Q3/1k6 b - -"), 99);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Corrupted table.\nKPvK.rtbw can't be used\n"
              "Corrupted table.\nKQvK.rtbw can't be used\n");
}

TEST_F(TbProbe, ManyThreadsMayUseATableFirst) {
    Random random = {9};
    std::vector<TBPosition> boards;
    for (int i = 0; i < 300; i++) {
        for (const char* name : {"KQvK", "KRvK", "KPvK"})
            boards.push_back(random_board(name, random));
    }
    for (int round = 0; round < 20; round++) {
        quiet_init(own_tables());
        std::vector<int> sums(4, 0);
        std::vector<std::thread> threads;
        for (size_t t = 0; t < sums.size(); t++) {
            threads.emplace_back([&, t] {
                int sum = 0;
                for (const TBPosition& board : boards) {
                    int success;
                    sum = sum * 3 + tb_probe_wdl(board, &success) + 5 * success;
                    sum &= 0xFFFF;
                }
                sums[t] = sum;
            });
        }
        for (std::thread& thread : threads) thread.join();
        for (int sum : sums) EXPECT_EQ(sum, sums[0]);
    }
}

TEST_F(TbProbe, NodesWithRightsOrTooManyPiecesAreNotProbed) {
    EXPECT_EQ(tb_probe(set_up("8/8/8/8/8/4K3/4Q3/1k6 w - -"), 0), 4);
    EXPECT_EQ(tb_probe(set_up("8/8/8/8/8/4K3/4Q3/1k6 w - -"), -1), -1) << "below the probe depth";
    EXPECT_EQ(tb_probe(set_up("8/8/8/8/8/8/k7/4K2R w K -"), 5), -1);
    EXPECT_EQ(tb_probe(set_up("8/8/8/8/8/8/k7/4K2R w - -"), 5), 4);
    EXPECT_EQ(tb_probe(set_up("8/8/8/8/8/8/k7/3QK2R w - -"), 5), -1);
}

TEST_F(TbProbe, SixPiecesNeedTheirOwnDepth) {
    std::string folder = fresh_directory();
    std::filesystem::copy(own_tables(), folder);
    std::filesystem::copy(own_tables() + "/KQvK.rtbw", folder + "/KQQvKQQ.rtbw"); // the name counts
    quiet_init(folder);
    ASSERT_EQ(tb_largest, 6);
    testing::internal::CaptureStderr();
    Position& pos = set_up("kqq5/8/8/8/8/8/8/5QQK w - -");
    EXPECT_EQ(tb_probe(pos, 0), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << "not asked for at depth 0";
    testing::internal::CaptureStderr();
    EXPECT_EQ(tb_probe(pos, 1), -1);
    EXPECT_NE(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(tb_probe(set_up("kqq5/8/8/8/8/8/7P/5QQK w - -"), 99), -1);
}

TEST_F(TbProbe, EmptyRegistryRefusesAll) {
    tb_init("<empty>");
    EXPECT_EQ(tb_largest, 0);
    EXPECT_EQ(tb_probe(set_up("8/8/8/8/8/4K3/4Q3/1k6 w - -"), 60), -1);
    EXPECT_EQ(tb_probe(set_up("8/8/8/8/8/4K3/8/1k6 w - -"), 60), -1);
    EXPECT_EQ(probe_root("8/8/8/8/8/4K3/4Q3/1k6 w - -").result, -1);
}

TEST_F(TbRoot, AWinKeepsWinningMovesOnly) {
    Root root = probe_root("8/8/8/8/8/8/1k6/3QK3 w - -");
    EXPECT_EQ(root.result, 4);
    EXPECT_EQ(root.klass, 4u);
    EXPECT_GT(root.dtz, 1u);
    EXPECT_TRUE(contains(root_moves(), text_of(root.move)));
    EXPECT_FALSE(contains(root_moves(), "d1c1")) << "gives the queen away";
    EXPECT_FALSE(contains(root_moves(), "d1b1"));
    EXPECT_GT(root_moves().size(), 5u);
}

TEST_F(TbRoot, MateIsGivenAtOnce) {
    Root root = probe_root("7k/8/6K1/8/8/8/8/R7 w - -", 98);
    EXPECT_EQ(root.result, 4);
    set_up("7k/8/6K1/8/8/8/8/R7 w - -");
    EXPECT_EQ(text_of(root.move), "a1a8");
}

TEST_F(TbRoot, LossesResistAsLongAsTheyCan) {
    Root root = probe_root("8/8/8/8/8/4K3/4Q3/1k6 b - -");
    EXPECT_EQ(root.result, 0);
    EXPECT_GT(root.dtz, 1u);
    EXPECT_NE(root.move, NULL_MOVE);
}

TEST_F(TbRoot, TheFiftyMoveCounterTurnsAWinIntoADraw) {
    EXPECT_EQ(probe_root("8/8/8/8/8/8/1k6/3QK3 w - -", 0).result, 4);
    Root late = probe_root("8/8/8/8/8/8/1k6/3QK3 w - -", 95);
    EXPECT_EQ(late.result, 3);
    EXPECT_GT(root_moves().size(), 5u);
    EXPECT_EQ(probe_root("8/8/8/8/8/4K3/4Q3/1k6 b - -", 95).result, 1);
}

TEST_F(TbRoot, DrawsChooseTheSameMoveAlways) {
    Root first = probe_root("8/8/8/4k3/8/8/4P3/7K w - -");
    ASSERT_EQ(first.result, 2);
    EXPECT_EQ(first.dtz, 0u);
    for (int i = 0; i < 3; i++)
        EXPECT_EQ(probe_root("8/8/8/4k3/8/8/4P3/7K w - -").move, first.move);
    for (const std::string& move : root_moves()) {
        set_up("8/8/8/4k3/8/8/4P3/7K w - -");
        play(game(), move);
        EXPECT_EQ(tb_probe(game(), 5), 2) << move;
    }
}

TEST_F(TbRoot, BoardsThatTablesCannotHoldAreRefused) {
    for (const char* fen : {"8/8/8/8/8/8/k7/4K2R w K -",       // a right to castle
                            "8/8/8/8/8/8/8/K2Q4 w - -",        // one king
                            "8/8/8/8/8/8/k7/K2k4 w - -",       // three kings
                            "P7/8/8/8/4k3/8/8/K7 w - -",       // pawn on the last rank
                            "8/8/8/8/8/8/8/k2Q3K w - -",       // the side not to move in check
                            "8/8/8/8/8/5N2/4k3/K1B5 w - -"}) { // no table
        Root root = probe_root(fen);
        EXPECT_EQ(root.result, -1) << fen;
        EXPECT_EQ(root.klass, 77u) << "unchanged";
        EXPECT_EQ(tb_root_moves[0], NULL_MOVE) << fen;
    }
}

TEST_F(TbRoot, MateAndStalemateAreRefused) {
    EXPECT_EQ(probe_root("k7/2Q5/8/8/8/8/8/7K b - -").result, -1);
    EXPECT_EQ(probe_root("k7/1Q6/1K6/8/8/8/8/8 b - -").result, -1);
}

TEST_F(TbShared, AllVectorsAreMet) {
    int lines = 0;
    for (const std::string& line : read_lines(shared_data("syzygy/vectors.txt"))) {
        if (line.empty() || line[0] == '#') continue;
        std::vector<std::string> columns = split(line, "; ");
        ASSERT_EQ(columns.size(), 5u);
        EXPECT_EQ(wdl_of(columns[0]), std::stoi(columns[1])) << line;
        EXPECT_EQ(dtz_of(columns[0]), std::stoi(columns[3])) << line;
        lines++;
    }
    EXPECT_EQ(lines, 3000);
}

// Every name has the same values with the colours exchanged.
TEST_F(TbShared, ColoursMayBeExchanged) {
    Random random = {11};
    for (const char* name : {"KQvKR", "KRPvK", "KPvKP", "KBvKP", "KBBvKN", "KRvKR"}) {
        for (int i = 0; i < 200; i++) {
            TBPosition board = random_board(name, random), other = {};
            auto flip = [](Bitboard set) { return __builtin_bswap64(set); };
            other.white = flip(board.black);
            other.black = flip(board.white);
            other.kings = flip(board.kings);
            other.queens = flip(board.queens);
            other.rooks = flip(board.rooks);
            other.bishops = flip(board.bishops);
            other.knights = flip(board.knights);
            other.pawns = flip(board.pawns);
            other.turn = !board.turn;
            int success, other_success;
            EXPECT_EQ(tb_probe_wdl(board, &success), tb_probe_wdl(other, &other_success));
            EXPECT_EQ(success != 0, other_success != 0);
            EXPECT_EQ(tb_probe_dtz(board, &success), tb_probe_dtz(other, &other_success));
            EXPECT_NE(success, 0) << fen_of(board);
        }
    }
}

namespace {

// All that a board holds, to compare boards. An en passant square counts where a pawn attacks it.
using Contents = std::array<Bitboard, 11>;

Contents contents_of(const TBPosition& board) {
    TBMove moves[TB_MOVES];
    const Bitboard ep = tb_gen_ep_captures(board, moves) > moves ? board.ep : 0;
    return {board.white,   board.black, board.kings,  board.queens, board.rooks, board.bishops,
            board.knights, board.pawns, board.rule50, ep,           board.turn};
}

} // namespace

TEST(TbBoard, MovesAreThoseOfTheGame) {
    const char* const names[] = {"KPPvKP", "KRPvKN", "KQPvKB", "KNPvKPP", "KBPPvKR", "KPvKPPP"};
    Random random = {13};
    for (int i = 0; i < 600; i++) {
        TBPosition board = random_board(names[i % 6], random);
        Position& pos = set_up(fen_of(board).c_str());
        for (int ply = 0; ply < 40; ply++) {
            std::vector<Contents> found, expected;
            TBMove moves[TB_MOVES], *end = tb_gen_moves(board, moves);
            for (const TBMove* move = moves; move < end; move++) {
                TBPosition next;
                if (tb_do_move(next, board, *move)) found.push_back(contents_of(next));
            }
            const std::vector<Move> legal = legal_moves(pos);
            for (Move move : legal) {
                TBPosition next;
                make_move(pos, move);
                tb_fill(next, pos, pos.halfmoves);
                unmake_move(pos);
                expected.push_back(contents_of(next));
            }
            std::sort(found.begin(), found.end());
            std::sort(expected.begin(), expected.end());
            ASSERT_EQ(found, expected) << fen_of(board);
            if (legal.empty()) break;
            const int chosen = random_below(random, static_cast<int>(legal.size()));
            make_move(pos, legal[static_cast<size_t>(chosen)]);
            tb_fill(board, pos, pos.halfmoves);
        }
    }
}

// The tables of a position and of those after its moves fit together.
TEST_F(TbShared, ValuesFollowFromTheMoves) {
    Random random = {12};
    for (int i = 0; i < 3000; i++) {
        const char* const names[] = {"KQvKP", "KRvKP", "KBNvK", "KPvKP", "KNNvK", "KPPvK", "KRvKN"};
        TBPosition board = random_board(names[i % 7], random);
        int success, best = -3;
        TBMove moves[TB_MOVES];
        const TBMove* end = tb_gen_moves(board, moves);
        for (const TBMove* move = moves; move < end; move++) {
            TBPosition next;
            if (!tb_do_move(next, board, *move)) continue;
            best = std::max(best, -tb_probe_wdl(next, &success));
            ASSERT_NE(success, 0);
        }
        if (best == -3) best = tb_in_check(board) ? -2 : 0;
        EXPECT_EQ(tb_probe_wdl(board, &success), best) << fen_of(board);
    }
}

// Made-up values, read from the tables alone.
TEST(TbMade, VectorsOfRareHeadersAreMet) {
    std::string folder = shared_data("syzygy/made");
    if (folder.empty()) GTEST_SKIP() << "MIRD_TEST_DATA is not set";
    NoTablesAfterwards cleanup;
    quiet_init(folder);
    int lines = 0;
    for (const std::string& line : read_lines(folder + "/made_vectors.txt")) {
        if (line.empty() || line[0] == '#') continue;
        std::vector<std::string> columns = split(line, "; "), distances = split(columns[2], " ");
        TBPosition board = board_of(columns[0]);
        int success = 1;
        EXPECT_EQ(tb_probe_table(board, &success), std::stoi(columns[1])) << line;
        EXPECT_EQ(success, 1);
        const int results[4] = {2, 1, -1, -2};
        for (size_t i = 0; i < 4; i++) {
            success = 1;
            int distance = tb_probe_dtz_table(board, results[i], &success);
            if (distances[i] == "-") EXPECT_EQ(success, -1) << line;
            else EXPECT_EQ(distance, std::stoi(distances[i])) << line;
        }
        lines++;
    }
    EXPECT_GT(lines, 100);
}

TEST_F(TbShared, AnEnPassantCaptureCountsWhereTheTableKnowsNothingOfIt) {
    int changed = 0;
    for (const std::string& line : read_lines(shared_data("syzygy/vectors.txt"))) {
        if (line.find("ep-changes-wdl") == std::string::npos) continue;
        TBPosition board = board_of(split(line, "; ")[0]);
        ASSERT_NE(board.ep, 0);
        int success;
        int with = tb_probe_wdl(board, &success);
        board.ep = 0;
        EXPECT_NE(tb_probe_wdl(board, &success), with) << line;
        changed++;
    }
    EXPECT_GT(changed, 0);
}

// White is stalemated but for the capture, so that its value stands, though it loses.
TEST_F(TbShared, ASoleEnPassantCaptureIsNoStalemate) {
    int found = 0;
    Random random = {77};
    for (int i = 0; i < 400000 && found < 5; i++) {
        // Black king and pawn shut the white king in; Black has just played a double push.
        TBPosition board = {};
        int file = random_below(random, 8), step = random_below(random, 2) ? 1 : -1;
        if (file + step < 0 || file + step > 7) continue;
        int black_pawn = 32 + file, white_pawn = black_pawn + step;
        int white = random_below(random, 64), black = random_below(random, 64);
        Bitboard pawns = bit(black_pawn) | bit(white_pawn) | bit(black_pawn + 8);
        if (white == black || ((bit(white) | bit(black)) & (pawns | bit(black_pawn + 16))))
            continue;
        board.white = bit(white) | bit(white_pawn);
        board.black = bit(black) | bit(black_pawn);
        board.kings = bit(white) | bit(black);
        board.pawns = bit(white_pawn) | bit(black_pawn);
        board.turn = 1;
        board.ep = static_cast<uint8_t>(black_pawn + 8);
        if (!tb_legal(board) || tb_in_check(board)) continue;
        TBMove moves[TB_MOVES], *end = tb_gen_moves(board, moves);
        int legal = 0, captures = 0, value = -3;
        for (TBMove* move = moves; move < end; move++) {
            TBPosition next;
            if (!tb_do_move(next, board, *move)) continue;
            legal++;
            int success;
            if (tb_is_ep_capture(board, *move)) {
                captures++;
                value = std::max(value, -tb_probe_wdl(next, &success));
            }
        }
        if (legal == 0 || legal != captures) continue;
        found++;
        int success;
        EXPECT_EQ(tb_probe_wdl(board, &success), value) << fen_of(board);
        int distance = tb_probe_dtz(board, &success);
        EXPECT_EQ((distance > 0) - (distance < 0), (value > 0) - (value < 0)) << fen_of(board);
    }
}

TEST_F(TbSharedRoot, ACursedWinKeepsSpoiledAndSoundWins) {
    for (const std::string& line : read_lines(shared_data("syzygy/vectors.txt"))) {
        if (line.find("cursed") == std::string::npos) continue;
        std::string fen = split(line, "; ")[0];
        Root root = probe_root(fen.c_str());
        EXPECT_EQ(root.result, 3) << line;
        EXPECT_GT(root.dtz, 100u);
        EXPECT_NE(tb_root_moves[0], NULL_MOVE);
        for (const std::string& text : root_moves()) {
            set_up(fen.c_str());
            play(game(), text);
            EXPECT_LE(tb_probe(game(), 5), 1) << line << " " << text;
        }
    }
}

// The chosen move and all that are kept hold the value; those that are dropped lose some of it.
TEST_F(TbSharedRoot, KeptMovesHoldTheValue) {
    std::vector<std::string> lines = read_lines(shared_data("syzygy/vectors.txt"));
    for (size_t i = 1; i < lines.size(); i += 15) {
        std::string fen = split(lines[i], "; ")[0];
        Root root = probe_root(fen.c_str());
        int value = std::stoi(split(lines[i], "; ")[1]) + 2;
        if (legal_moves(game()).empty()) {
            EXPECT_EQ(root.result, -1);
            continue;
        }
        EXPECT_EQ(root.result, value) << lines[i];
        std::vector<std::string> kept = root_moves();
        EXPECT_TRUE(contains(kept, text_of(root.move))) << lines[i];
        set_up(fen.c_str());
        for (Move move : legal_moves(game())) {
            set_up(fen.c_str());
            std::string text = text_of(move);
            play(game(), text);
            bool holds = 4 - tb_probe(game(), 9) >= value;
            // A quiet move may hold the win in the tables and yet run into the counter.
            TBPosition next;
            tb_fill(next, game(), 0);
            int success;
            if (holds && value == 4 && game().halfmoves)
                holds = 1 - tb_probe_dtz(next, &success) <= 100;
            EXPECT_EQ(contains(kept, text), holds) << lines[i] << text;
        }
    }
}

// Best play by the root probe alone: the distance falls to a zeroing move, and wins end in mate.
TEST_F(TbSharedRoot, WinsAreCarriedThrough) {
    Random random = {31};
    for (int i = 0; i < 60; i++) {
        const char* const names[] = {"KBNvK", "KQvKR", "KRvKB", "KBBvKN", "KPvKP", "KRPvK"};
        std::string fen = fen_of(random_board(names[i % 6], random));
        if (probe_root(fen.c_str()).result != 4) continue;
        bool mated = false;
        for (int ply = 0; ply < 300 && !mated; ply++) {
            unsigned klass, dtz;
            Move move;
            int result = tb_probe_root(game(), &klass, &dtz, &move);
            ASSERT_EQ(result, ply % 2 ? 0 : 4) << fen;
            play(game(), text_of(move));
            ASSERT_LE(game().halfmoves, 100) << fen;
            mated = legal_moves(game()).empty();
        }
        EXPECT_TRUE(mated) << fen;
    }
}

TEST_F(TbSharedRoot, PromotionsKeepTheirPiece) {
    Root root = probe_root("8/4P1k1/8/8/8/8/8/K7 w - -");
    EXPECT_EQ(root.result, 4);
    set_up("8/4P1k1/8/8/8/8/8/K7 w - -");
    EXPECT_TRUE(contains(root_moves(), "e7e8q"));
    EXPECT_TRUE(contains(root_moves(), "e7e8r"));
    EXPECT_FALSE(contains(root_moves(), "a1a2"));
}
