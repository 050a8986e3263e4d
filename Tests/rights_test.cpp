// What the system grants: rights to read a directory, memory, and how much of both is used.

#include <filesystem>
#include <fstream>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "conversation.h"
#include "support.h"
#include "syzygy/tbcore.h"
#include "syzygy/tbprobe.h"
#include "tb_support.h"

namespace {

// What the set-up prints if the system lets nobody but the owner read what only the owner may.
std::string output_without_rights(const std::string& paths) {
    constexpr uid_t NOBODY = 65534;
    const bool root = geteuid() == 0;
    testing::internal::CaptureStdout();
    EXPECT_TRUE(!root || seteuid(NOBODY) == 0);
    tb_init(paths.c_str());
    EXPECT_TRUE(!root || seteuid(0) == 0);
    fflush(stdout);
    return testing::internal::GetCapturedStdout();
}

} // namespace

TEST(TbRights, DirectoriesThatCannotBeReadArePassedOver) {
    std::string closed = fresh_directory(), open = fresh_directory();
    for (const char* suffix : {".rtbw", ".rtbz"})
        std::filesystem::copy(own_tables() + "/KQvK" + suffix, closed + "/KQvK" + suffix);
    std::filesystem::copy(own_tables(), open);
    chmod(open.c_str(), 0755);
    chmod(closed.c_str(), 0);
    EXPECT_EQ(output_without_rights(closed), "info string found 0 tablebases\n");
    EXPECT_EQ(output_without_rights(closed + ";" + open), "info string found 3 tablebases\n");
    chmod(closed.c_str(), 0700);
    tb_init("");
}

TEST(TbRights, DistancesOfAFileThatShrinksAreNotBelieved) {
    constexpr long FIRST_PAGE = 4096; // bytes; the header and some blocks
    if (sysconf(_SC_PAGESIZE) > FIRST_PAGE) GTEST_SKIP() << "the file has one page only";
    const std::string folder = fresh_directory(), path = folder + "/KQvK.rtbz";
    for (const char* name : {"/KQvK.rtbw", "/KQvK.rtbz"})
        std::filesystem::copy(own_tables() + name, folder + name);
    quiet_init(folder);
    const TBPosition won = board_of("8/8/8/8/8/4K3/4Q3/1k6 w - -");
    int success;
    tb_probe_dtz(won, &success);
    EXPECT_NE(success, 0);
    std::filesystem::resize_file(path, FIRST_PAGE);
    Random random = {5};
    for (int i = 0; i < 200; i++) tb_probe_dtz(random_board("KQvK", random), &success);
    tb_probe_dtz(won, &success);
    EXPECT_EQ(success, 0) << "one number at least came from the page that has gone";
    tb_init("");
}

TEST(ProtocolMemory, AHashThatCantBeHadKeepsTheOldOne) {
    rlimit usual;
    getrlimit(RLIMIT_AS, &usual);
    for (bool strict : {false, true}) {
        rlimit small = usual;
        small.rlim_cur = 1500UL << 20;
        setrlimit(RLIMIT_AS, &small);
        rlimit now;
        getrlimit(RLIMIT_AS, &now);
        if (now.rlim_cur != small.rlim_cur) GTEST_SKIP() << "no limit is heeded, as under qemu";
        Program program = start_program(strict ? std::vector<std::string>{"-strict"}
                                               : std::vector<std::string>{});
        setrlimit(RLIMIT_AS, &usual);
        if (!is_ready(program)) GTEST_SKIP() << "this build needs more memory";
        send(program, "setoption name Hash value 4000");
        if (!strict) {
            EXPECT_EQ(wait_exit(program, 60000), 255);
            continue;
        }
        run_script(program, "> isready\n< readyok\n> uci\n"
                            "< option name Hash type spin default 64 \n> go depth 3\n< bestmove");
        Talk all = {program, 0, 0};
        EXPECT_EQ(count_heard(all, "info string no memory for 4000 Mbytes"), 1);
        EXPECT_EQ(quit_program(program), 0);
    }
}

TEST(LongBookBuildProgram, TenThousandGamesTakeLittleTimeAndMemory) {
    const std::string path = shared_data("pgn/master-games.pgn");
    if (path.empty()) GTEST_SKIP() << "needs MIRD_TEST_DATA";
    const std::string directory = fresh_directory();
    std::ofstream out(directory + "/games.pgn");
    int games_written = 0;
    while (games_written < 10000)
        for (const std::string& line : read_lines(path)) {
            games_written += line.compare(0, 7, "[Event ") == 0;
            if (games_written > 10000) break;
            out << line << "\n";
        }
    out.close();
    rusage before = {}, usage = {};
    getrusage(RUSAGE_CHILDREN, &before);
    Program program = start_program({"-mkbook", "games.pgn"}, directory);
    EXPECT_EQ(wait_exit(program, 60000), 0);
    EXPECT_EQ(count_lines(program, "games= 10000, "), 1);
    getrusage(RUSAGE_CHILDREN, &usage); // times of all children, memory of the largest one
    EXPECT_LT(usage.ru_utime.tv_sec - before.ru_utime.tv_sec, 10);
    EXPECT_LT(usage.ru_maxrss, 300 * 1024);
}
