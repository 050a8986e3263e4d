// The tables in the search and in the program: options, messages, moves.

#include <algorithm>
#include <cstring>
#include <filesystem>

#include <gtest/gtest.h>

#include "base/state.h"
#include "records.h"
#include "search/thread.h"
#include "shell/options.h"
#include "support.h"
#include "syzygy/tbprobe.h"
#include "tb_support.h"

namespace {

class TbSearch : public EngineTest {};

std::string set_path(const std::string& path) {
    testing::internal::CaptureStdout();
    SetOption("SyzygyPath", path.c_str());
    fflush(stdout);
    return testing::internal::GetCapturedStdout();
}

bool has_line(const Program& program, const std::string& text) {
    return std::any_of(program.lines.begin(), program.lines.end(),
                       [&](const std::string& line) { return line.find(text) != line.npos; });
}

// A folder whose path fits the option.
std::string short_path() {
    std::filesystem::path folder = fresh_directory();
    for (const auto& file : std::filesystem::directory_iterator(own_tables()))
        std::filesystem::copy(file.path(), folder / file.path().filename());
    return folder.string();
}

} // namespace

TEST_F(TbSearch, TheOptionSetsTheTablesUp) {
    std::string folder = short_path();
    EXPECT_EQ(set_path(folder),
              "info string SyzygyPath set to '" + folder + "'\ninfo string found 3 tablebases\n");
    EXPECT_EQ(tb_largest, 3);
    EXPECT_EQ(set_path("<empty>"), "info string SyzygyPath set to '<empty>'\n");
    EXPECT_EQ(tb_largest, 0);
}

TEST_F(TbSearch, PathsOfAnyLengthAreCutToTheirField) {
    set_path(std::string(199, 'p'));
    EXPECT_EQ(strlen(active_personality.SyzygyPath), PATH_LENGTH - 1);
}

TEST_F(TbSearch, NodeCountsFarFromTheTablesStayTheSame) {
    const char* const positions[] = {
        START_FEN, "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq -",
        "r1bq1rk1/pp2bppp/2n1pn2/3p4/3P1B2/2N1PN2/PP2BPPP/R2Q1RK1 w - -"};
    std::vector<uint64_t> without;
    for (const char* fen : positions) without.push_back(search_nodes(fen, 8));
    set_path(short_path());
    for (size_t i = 0; i < without.size(); i++)
        EXPECT_EQ(search_nodes(positions[i], 8), without[i]);
    EXPECT_EQ(engine.search_totals[TOTAL_TB_HITS], 0u);
}

// Nodes and hits of searches by the hand-crafted evaluation that come to the tables from outside,
// with wins, draws and losses inside the window and beyond it. A change that moves them has to be
// meant.
TEST_F(TbSearch, NodeCountsNearTheTables) {
    struct Case {
        const char* fen;
        uint64_t nodes, hits;
    };
    const Case cases[] = {
        {"8/4P1k1/8/8/8/8/6p1/K7 w - -", 48345, 2719}, {"8/5pk1/8/8/3K4/8/4P3/8 w - -", 8621, 323},
        {"8/8/4k3/3p4/8/3K4/4P3/8 b - -", 3588, 365},  {"3k4/8/8/2p5/8/8/1P2K3/8 w - -", 6759, 318},
        {"8/1k1P4/8/8/4K3/8/8/3r4 w - -", 4029, 326},  {"8/8/1p3k2/8/8/5K2/PP6/8 w - -", 11972, 24},
    };
    set_relaxed(shell.use_nn, uint8_t{0});
    reset_evaluation();
    set_path(short_path());
    for (const Case& example : cases) {
        EXPECT_EQ(search_nodes(example.fen, 10), example.nodes) << example.fen;
        EXPECT_EQ(engine.search_totals[TOTAL_TB_HITS], example.hits) << example.fen;
    }
}

TEST_F(TbSearch, AProvenRootGivesItsScore) {
    set_path(short_path());
    search_nodes("8/8/8/8/8/8/1k6/3QK3 w - -", 6);
    EXPECT_EQ(relaxed(engine.root_wdl), 4);
    search_nodes("8/8/8/8/8/8/1k6/3QK3 b - -", 6);
    EXPECT_EQ(relaxed(engine.root_wdl), 0);
    search_nodes("8/8/8/4k3/8/8/4P3/7K w - -", 6);
    EXPECT_EQ(relaxed(engine.root_wdl), 2);
    search_nodes("8/8/8/8/8/8/k7/4K2R w K -", 4);
    EXPECT_EQ(relaxed(engine.root_wdl), -1) << "a right to castle";
}

TEST_F(TbSearch, TheSearchKeepsToTheMovesThatHoldTheResult) {
    set_path(short_path());
    search_nodes("8/8/8/8/8/8/1k6/3QK3 w - -", 3);
    std::vector<Move> searched;
    for (const MoveEntry* entry = search_threads[0].load()->stack[1].move_list;
         entry->move != LIST_END; entry++)
        searched.push_back(entry->move);
    std::vector<Move> kept;
    for (const Move* move = tb_root_moves; *move; move++) kept.push_back(*move);
    std::sort(searched.begin(), searched.end());
    std::sort(kept.begin(), kept.end());
    EXPECT_EQ(searched, kept);
    EXPECT_LT(kept.size(), legal_moves(set_up("8/8/8/8/8/8/1k6/3QK3 w - -")).size());
}

TEST_F(TbSearch, LateInTheFiftyMovesTheTablesPlay) {
    const std::string tour = " e1d2 b2b3 d2e1 b3b2";
    std::string input = "setoption name SyzygyPath value " + short_path()
                      + "\nposition fen 8/8/8/8/8/8/1k6/3QK3 w - - moves" + tour + tour + tour
                      + "\ngo depth 12\n";
    Program program = run_with_input({"-use_hce"}, input);
    EXPECT_TRUE(has_line(program, "bestmove"));
    EXPECT_TRUE(has_line(program, "info depth 99")) << "12 plies have passed";
}

TEST_F(TbSearch, TheCommandLineNamesThePath) {
    std::string folder = short_path();
    Program program = run_with_input({"-tbpath", folder}, "uci\n");
    EXPECT_TRUE(has_line(program, "info string found 3 tablebases"));
    EXPECT_TRUE(has_line(program, "option name SyzygyPath type string default " + folder));
    EXPECT_FALSE(has_line(run_with_input({}, "uci\n"), "tablebases"));
}

TEST_F(TbSearch, AChangeDuringASearchWaitsForItsEnd) {
    std::string folder = short_path();
    Program program = start_program({"-use_hce", "-threads", "3"});
    send(program, "position fen 8/8/8/5k2/7p/8/2P5/3K4 w - -");
    send(program, "go infinite");
    EXPECT_NE(wait_for(program, "info depth 3"), "");
    for (int i = 0; i < 5; i++) {
        send(program, "setoption name SyzygyPath value " + folder);
        send(program, "setoption name SyzygyPath value <empty>");
    }
    send(program, "setoption name SyzygyPath value " + folder);
    send(program, "isready");
    EXPECT_NE(wait_for(program, "readyok"), "");
    EXPECT_FALSE(has_line(program, "tablebases"));
    EXPECT_TRUE(has_line(program, "SyzygyPath set to"));
    send(program, "stop");
    EXPECT_NE(wait_for(program, "bestmove"), "");
    EXPECT_NE(wait_for(program, "info string found 3 tablebases"), "");
    send(program, "go infinite");
    EXPECT_NE(wait_for(program, "info depth 4"), "");
    send(program, "setoption name SyzygyPath value");
    send(program, "setoption name SyzygyPath value <empty>");
    send(program, "ucinewgame"); // ends the search, too
    send(program, "quit");
    EXPECT_EQ(wait_exit(program), 0);
}

TEST_F(TbSearch, ThreadsShareTheFirstUse) {
    Program program = start_program({"-use_hce", "-threads", "4", "-tbpath", short_path()});
    for (int i = 0; i < 3; i++) {
        send(program, "setoption name SyzygyPath value " + short_path());
        send(program, "ucinewgame");
        send(program, "position fen 8/8/1p6/5k2/8/8/2P5/3K4 w - -");
        send(program, "go depth 14");
        EXPECT_NE(wait_for(program, "bestmove", 60000), "");
    }
    send(program, "quit");
    EXPECT_EQ(wait_exit(program), 0);
}

TEST_F(TbSearch, DamagedTablesLeaveTheGameGoing) {
    std::string folder = short_path();
    std::filesystem::resize_file(folder + "/KQvK.rtbw", 100);
    std::filesystem::resize_file(folder + "/KPvK.rtbz", 0);
    Program program = start_program({"-use_hce", "-tbpath", folder});
    send(program, "position fen 8/4P1k1/8/8/8/8/8/K7 w - -");
    send(program, "go depth 8");
    EXPECT_EQ(wait_for(program, "bestmove", 60000).substr(0, 14), "bestmove e7e8q");
    send(program, "position fen 8/8/8/8/8/8/1k6/3QK3 w - -");
    send(program, "go depth 8");
    EXPECT_NE(wait_for(program, "bestmove", 60000), "");
    send(program, "quit");
    EXPECT_EQ(wait_exit(program), 0);
}
