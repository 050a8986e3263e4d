// The command line: options, their chain, table sizes, run modes and refusals.
//
// Pins internals: the fields of the process-wide records that options set.

#include "shell/start.h"

#include <filesystem>
#include <fstream>

#include "search/limits.h"
#include "shell_fixture.h"

namespace {

// Scans arguments as the program does; what is printed on the way is dropped.
CommandLine parse(const std::vector<std::string>& arguments) {
    std::vector<std::string> texts = {"mird"};
    texts.insert(texts.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (std::string& text : texts) argv.push_back(text.data());
    argv.push_back(nullptr);
    CommandLine line = {};
    printed_by([&] { line = parse_arguments(static_cast<int>(texts.size()), argv.data()); });
    return line;
}

// Output and exit status of a run without input.
struct RunOutput {
    std::vector<std::string> lines;
    int status;
};
RunOutput run(const std::vector<std::string>& arguments, const std::string& input = "") {
    RunOutput result = {{}, -3};
    result.lines = run_with_input(arguments, input, &result.status, 60000).lines;
    return result;
}

constexpr char REFUSAL[] = "Need to compile with 'make ttune'";
constexpr char EXAMPLE_TABLES[] = "C:\\Chess\\Syzygy;C:\\Chess\\Syzygy\\6-Piece";

class CommandLineOptions : public ShellTest {};
class CommandLineChain : public ShellTest {};

} // namespace

TEST_F(CommandLineOptions, WithoutArgumentsTheDefaultsStand) {
    CommandLine line = parse({});

    EXPECT_EQ(line.run_mode, MODE_GAME);
    EXPECT_EQ(line.exit_status, 0);
    EXPECT_EQ(relaxed(shell.uci_mode), 1);
    EXPECT_EQ(shell.noise, 0.0f);
    EXPECT_EQ(default_personality.Hash, 64);
    EXPECT_EQ(default_personality.Threads, 1);
    EXPECT_EQ(engine.max_depth, 66);
    EXPECT_EQ(engine.max_nodes, 0u);
    EXPECT_EQ(engine.moves_per_control, 1);
    EXPECT_EQ(engine.time_base, 5.0f);
    EXPECT_EQ(engine.time_increment, 0.0f);
    EXPECT_EQ(engine.clock[WHITE], 5.0f);
    EXPECT_EQ(engine.clock[BLACK], 5.0f);
}

TEST_F(CommandLineOptions, DefaultsOfThePersonality) {
    const Personality& p = default_personality;
    EXPECT_EQ(p.MoveOverhead, 50);
    EXPECT_EQ(p.Ponder, 1);
    EXPECT_EQ(p.MultiPV, 1);
    EXPECT_EQ(p.UCI_LimitStrength, 0);
    EXPECT_EQ(p.UCI_Elo, 0);
    EXPECT_EQ(p.Log, 0);
    EXPECT_EQ(p.OwnBook, 0);
    EXPECT_EQ(p.OwnBook_Variety, 25);
    EXPECT_EQ(p.OwnBook_Depth, 24);
    EXPECT_EQ(p.OwnBook2_Depth, 0);
    EXPECT_EQ(p.eval_jitter, 0);
    EXPECT_STREQ(p.params_file, "params.txt");
    EXPECT_STREQ(p.NN_File, "embedded");
    EXPECT_EQ(relaxed(shell.use_nn), 1);
    EXPECT_STREQ(p.ConfigFilePath, "");
    EXPECT_STREQ(p.OwnBook_File, "");
    EXPECT_STREQ(p.OwnBook2_File, "");
    EXPECT_STREQ(p.SyzygyPath, "");
    EXPECT_EQ(p.SyzygyProbeDepth, 0);
    EXPECT_EQ(p.SyzygyProbeDepth6, 1);
    EXPECT_EQ(p.Contempt, 0);
    EXPECT_EQ(p.contempt_taper, 15);
    EXPECT_EQ(p.Selectivity, 100);
    EXPECT_EQ(p.SEP_depth, 3);
    EXPECT_EQ(p.SEP_margin, 75);
    EXPECT_EQ(p.NMP_depth, 3);
    EXPECT_EQ(p.FP_depth, 3);
    EXPECT_EQ(p.FP_margin, 125);
    EXPECT_EQ(p.LMP_depth, 6);
    EXPECT_EQ(p.LMP_count, 3);
    EXPECT_EQ(p.LMR_depth, 3);
    for (const auto& pair : p.eval_scale) {
        EXPECT_EQ(pair[0], 100);
        EXPECT_EQ(pair[1], 100);
    }
}

TEST_F(CommandLineOptions, SwitchesSetTheirFlags) {
    parse({"-c"});
    EXPECT_EQ(relaxed(shell.uci_mode), 0);
    parse({"-uci"});
    EXPECT_EQ(relaxed(shell.uci_mode), 1);
    parse({"-log", "-numa"});
    EXPECT_EQ(default_personality.Log, 1);
    EXPECT_EQ(shell.numa, 1);
    parse({"-use_hce"});
    EXPECT_EQ(relaxed(shell.use_nn), 0);
    parse({"-use_nn"});
    EXPECT_EQ(relaxed(shell.use_nn), 1);
    parse({"-noise", "0.5"});
    EXPECT_EQ(shell.noise, 0.5f);
}

TEST_F(CommandLineOptions, QuietTurnsTheLogOffAndALaterLogTurnsItOnAgain) {
    parse({"-log", "-quiet"});
    EXPECT_EQ(default_personality.Log, 0);
    EXPECT_EQ(shell.noise, 9999.0f);

    parse({"-quiet", "-log"});
    EXPECT_EQ(default_personality.Log, 1);
    EXPECT_EQ(shell.noise, 9999.0f);
}

TEST_F(CommandLineOptions, DepthIsASignedByteWithACap) {
    parse({"-d", "5"});
    EXPECT_EQ(engine.max_depth, 5);
    EXPECT_EQ(engine.moves_per_control, 1);
    EXPECT_EQ(engine.time_base, 10000.0f);
    parse({"-d", "100"});
    EXPECT_EQ(engine.max_depth, 66);
    parse({"-d", "66"});
    EXPECT_EQ(engine.max_depth, 66);
    parse({"-d", "200"});
    EXPECT_EQ(engine.max_depth, -56);
    parse({"-d", "260"});
    EXPECT_EQ(engine.max_depth, 4);
    parse({"-d", "junk"});
    EXPECT_EQ(engine.max_depth, 0);
}

TEST_F(CommandLineOptions, TimeIsInSecondsForEachMove) {
    set_limits({.control = SUDDEN_DEATH});
    parse({"-t", "2.5"});
    EXPECT_EQ(engine.moves_per_control, 1);
    EXPECT_EQ(engine.time_base, 2.5f);
}

TEST_F(CommandLineOptions, NodesSetALimitForEachMove) {
    set_limits({.control = SUDDEN_DEATH});
    parse({"-n", "100000"});
    EXPECT_EQ(engine.max_nodes, 100000u);
    EXPECT_EQ(engine.moves_per_control, 1);
    EXPECT_EQ(engine.time_base, 1000.0f);
}

TEST_F(CommandLineOptions, HashAndThreadsAreClamped) {
    parse({"-hash", "99999"});
    EXPECT_EQ(default_personality.Hash, 32768);
    parse({"-hash", "-1"});
    EXPECT_EQ(default_personality.Hash, 0);
    parse({"-hash", "32"});
    EXPECT_EQ(default_personality.Hash, 32);
    parse({"-threads", "0"});
    EXPECT_EQ(default_personality.Threads, 1);
    parse({"-threads", "500"});
    EXPECT_EQ(default_personality.Threads, 160);
    parse({"-threads", "7"});
    EXPECT_EQ(default_personality.Threads, 7);
}

TEST_F(CommandLineOptions, SpeedBecomesAnEloFigure) {
    parse({"-nps", "1000"});
    EXPECT_EQ(default_personality.UCI_LimitStrength, 1);
    EXPECT_EQ(default_personality.UCI_Elo, 2164); // 150 * 6.9078 + 1128 = 2164.2
    EXPECT_EQ(engine.target_nps, 1000.0f);
}

TEST_F(CommandLineOptions, FilesAndPathsAreStored) {
    parse({"-cfg", "a.cfg", "-book", "b.bin", "-tbpath", "/tables", "-o", "out.epd"});
    EXPECT_STREQ(default_personality.ConfigFilePath, "a.cfg");
    EXPECT_STREQ(default_personality.OwnBook_File, "b.bin");
    EXPECT_EQ(default_personality.OwnBook, 0) << "a book file does not switch the book on";
    EXPECT_STREQ(default_personality.SyzygyPath, "/tables");
    EXPECT_STREQ(shell.out_name, "out.epd");

    parse({"-tbx"});
    EXPECT_STREQ(default_personality.SyzygyPath, EXAMPLE_TABLES);
}

TEST_F(CommandLineOptions, LongTextsAreCutToTheirFields) {
    const std::string path(300, 'p');
    parse({"-cfg", path, "-book", path, "-tbpath", path, "-o", path, "-anepd", path});
    EXPECT_EQ(strlen(default_personality.ConfigFilePath), 143u);
    EXPECT_EQ(strlen(default_personality.OwnBook_File), 143u);
    EXPECT_EQ(strlen(default_personality.SyzygyPath), 143u);
    EXPECT_EQ(strlen(shell.out_name), 139u);
    EXPECT_EQ(strlen(shell.epd_in_name), 149u);
}

TEST_F(CommandLineOptions, NamesAreExactAndCaseSensitive) {
    parse({"-D", "5", "-Hash", "1", "--quiet", "quiet", "-threads=4", "", "-"});
    EXPECT_EQ(engine.max_depth, 66);
    EXPECT_EQ(default_personality.Hash, 64);
    EXPECT_EQ(default_personality.Threads, 1);
    EXPECT_EQ(shell.noise, 0.0f);
}

TEST_F(CommandLineOptions, AMissingValueAtTheEndIsHarmless) {
    for (const char* option :
         {"-noise", "-cfg", "-d", "-t", "-n", "-nps", "-hash", "-threads", "-book", "-tbpath", "-o",
          "-anepd", "-scan_pgn", "-scan_pgn2", "-mkbook", "-mktune1", "-mktune2"})
        EXPECT_EQ(parse({option}).exit_status, 0) << option;
}

TEST_F(CommandLineChain, AValueMeetsTheTestsBehindItsOption) {
    parse({"-noise", "-quiet"});
    EXPECT_EQ(shell.noise, 9999.0f);
    EXPECT_EQ(default_personality.Log, 0);
}

TEST_F(CommandLineChain, AValueThatReadsLikeALaterOptionTakesItsOwnValue) {
    parse({"-cfg", "-hash", "7"});
    EXPECT_STREQ(default_personality.ConfigFilePath, "-hash");
    EXPECT_EQ(default_personality.Hash, 7);
}

TEST_F(CommandLineChain, AValueDoesNotMeetTheTestsBeforeItsOption) {
    parse({"-hash", "-c"});
    EXPECT_EQ(default_personality.Hash, 0);
    EXPECT_EQ(relaxed(shell.uci_mode), 1) << "the test for -c lies in front of -hash";
}

TEST_F(CommandLineChain, AValueCanChooseARunMode) {
    EXPECT_EQ(parse({"-o", "-bench"}).run_mode, MODE_BENCHMARK);
    EXPECT_STREQ(shell.out_name, "-bench");
    EXPECT_EQ(parse({"-scan_pgn1", "-bench"}).run_mode, MODE_BENCHMARK);
}

TEST_F(CommandLineChain, TheWordBenchCountsInTheFirstPlaceOnly) {
    CommandLine line = parse({"bench", "-use_hce"});
    EXPECT_EQ(line.run_mode, MODE_BENCHMARK);
    EXPECT_TRUE(line.benchmark_here);
    EXPECT_TRUE(line.benchmark_rate_line);
    EXPECT_EQ(engine.max_depth, 10);
    EXPECT_EQ(relaxed(shell.use_nn), 0);

    parse({"bench", "-d", "4"});
    EXPECT_EQ(engine.max_depth, 4);
    EXPECT_EQ(parse({"-use_hce", "bench"}).run_mode, MODE_GAME);
    EXPECT_EQ(parse({"Bench"}).run_mode, MODE_GAME);
}

TEST_F(CommandLineChain, RunModesAreChosenByTheirOptions) {
    EXPECT_EQ(parse({"-anepd", "suite.epd"}).run_mode, MODE_TEST_SUITE);
    EXPECT_STREQ(shell.epd_in_name, "suite.epd");
    EXPECT_EQ(shell.noise, 9999.0f);
    for (int number = 1; number <= 4; number++) {
        std::string option = "-scan_pgn" + std::to_string(number);
        EXPECT_EQ(parse({option, option + ".pgn"}).run_mode, 2 + number) << option;
        EXPECT_EQ(shell.games_in_name, option + ".pgn");
    }
    EXPECT_EQ(parse({"-bench"}).run_mode, MODE_BENCHMARK);
    EXPECT_FALSE(parse({"-bench"}).benchmark_here);
    EXPECT_EQ(parse({"-pbench"}).run_mode, MODE_BENCHMARK);
    EXPECT_TRUE(parse({"-pbench"}).benchmark_here);
    EXPECT_FALSE(parse({"-pbench"}).benchmark_rate_line);
    EXPECT_EQ(parse({"-mkconfig"}).run_mode, MODE_MAKE_CONFIG);
    EXPECT_EQ(parse({"-mkbook", "games.pgn"}).run_mode, MODE_MAKE_BOOK);
    EXPECT_STREQ(shell.games_in_name, "games.pgn");
    EXPECT_EQ(parse({"-mktune1", "one"}).run_mode, MODE_TUNE_DATA_1);
    EXPECT_STREQ(shell.epd_in_name, "one");
    EXPECT_EQ(parse({"-mktune2", "two"}).run_mode, MODE_TUNE_DATA_2);
    EXPECT_STREQ(shell.epd_in_name, "two");
}

TEST_F(CommandLineChain, ABareScanTakesItsValueAndChangesNoMode) {
    EXPECT_EQ(parse({"-scan_pgn", "games.pgn"}).run_mode, MODE_GAME);
    EXPECT_STREQ(shell.games_in_name, "games.pgn");
    EXPECT_EQ(parse({"-scan_pgn9", "other.pgn"}).run_mode, MODE_GAME);
    EXPECT_STREQ(shell.games_in_name, "other.pgn");
}

TEST_F(CommandLineChain, ANoiseBehindAnalysisBringsTheReportsBack) {
    parse({"-anepd", "suite.epd", "-noise", "0"});
    EXPECT_EQ(shell.noise, 0.0f);
}

TEST_F(CommandLineChain, TuningTestsItsArguments) {
    EXPECT_EQ(parse({"-tune"}).exit_status, 1);
    EXPECT_EQ(parse({"-tune", "data"}).exit_status, 1);
    EXPECT_EQ(parse({"-tune", "data", "0.001"}).exit_status, 1);
    EXPECT_EQ(parse({"-tune2", "data", "0.0081", "1"}).exit_status, 1) << "too large a number";
    EXPECT_EQ(parse({"-tune3", "data", "0.001", "0"}).exit_status, 1) << "too small a count";
    EXPECT_EQ(parse({"-tune4", "data", "0.001", "junk"}).exit_status, 1);

    const char* names[4] = {"-tune", "-tune2", "-tune3", "-tune4"};
    for (const char* name : names) {
        CommandLine line = parse({name, "data", "0.008", "1", "1"});
        EXPECT_EQ(line.exit_status, 0) << name;
        EXPECT_TRUE(line.refused) << name;
    }
    EXPECT_STREQ(shell.epd_in_name, "data");
    EXPECT_EQ(default_personality.Hash, 0);
    EXPECT_STREQ(default_personality.SyzygyPath, EXAMPLE_TABLES);
}

TEST_F(CommandLineChain, TheFourthTuningValueIsTakenOnlyIfItBeginsWithZeroOrOne) {
    parse({"-tune", "data", "0.001", "1", "-noise", "3"});
    EXPECT_EQ(shell.noise, 3.0f);
    parse({"-tune", "data", "0.001", "1", "0", "-noise", "4"});
    EXPECT_EQ(shell.noise, 4.0f);
}

TEST_F(CommandLineChain, ARefusalStandsWhateverModeFollows) {
    EXPECT_TRUE(parse({"-tune", "data", "0.001", "1", "-bench"}).refused);
    EXPECT_TRUE(parse({"-mktraindata", "x", "5", "-mkconfig"}).refused);
    EXPECT_TRUE(parse({"-bench", "-tune", "data", "0.001", "1"}).refused);
    EXPECT_FALSE(parse({"-bench"}).refused);
    EXPECT_EQ(parse({"-mktraindata", "x", "-tune"}).exit_status, 1) << "a value is tested, too";
}

TEST_F(CommandLineChain, TrainingDataNeedsSomethingBehindIt) {
    EXPECT_EQ(parse({"-mktraindata"}).exit_status, 1);
    CommandLine line = parse({"-mktraindata", "x", "5"});
    EXPECT_EQ(line.exit_status, 0);
    EXPECT_TRUE(line.refused);
    EXPECT_STREQ(shell.epd_in_name, "x");
}

namespace {

struct SizeCase {
    const char* name; // becomes part of the test's name
    std::vector<std::string> arguments;
    int megabytes;
};

void PrintTo(const SizeCase& c, std::ostream* out) { *out << c.name; }

class TableSize : public testing::TestWithParam<SizeCase> {};

} // namespace

TEST_P(TableSize, FollowsTheLimitsOfTheRun) {
    std::vector<std::string> arguments = GetParam().arguments;
    arguments.push_back("-mkconfig");
    RunOutput result = run(arguments);

    EXPECT_EQ(result.status, 0);
    ASSERT_GE(result.lines.size(), 2u);
    EXPECT_EQ(result.lines[0], "info string Hello from Mird 5.50");
    EXPECT_EQ(result.lines[1], "info string allocated " + std::to_string(GetParam().megabytes)
                                   + " Mbytes for hash table");
}

INSTANTIATE_TEST_SUITE_P(
    Table, TableSize,
    testing::Values(
        SizeCase{"Default", {}, 64}, SizeCase{"None", {"-hash", "0"}, 0},
        SizeCase{"Asked", {"-hash", "3"}, 3}, SizeCase{"Depth5", {"-d", "5", "-hash", "32"}, 1},
        SizeCase{"Depth5First", {"-hash", "32", "-d", "5"}, 1},
        SizeCase{"DepthNegative", {"-d", "200"}, 1}, SizeCase{"Depth7", {"-d", "7"}, 1},
        SizeCase{"Depth8", {"-d", "8"}, 2}, SizeCase{"Depth10", {"-d", "10"}, 8},
        SizeCase{"Depth12", {"-d", "12"}, 32},
        SizeCase{"Depth13KeepsHash", {"-d", "13", "-hash", "5"}, 5},
        SizeCase{"Nodes1", {"-n", "1"}, 1}, SizeCase{"Nodes32000", {"-n", "32000"}, 1},
        SizeCase{"Nodes32001", {"-n", "32001"}, 2}, SizeCase{"Nodes64000", {"-n", "64000"}, 2},
        SizeCase{"Nodes100000", {"-n", "100000"}, 4}, SizeCase{"Nodes256000", {"-n", "256000"}, 8},
        SizeCase{"Nodes512000", {"-n", "512000"}, 16},
        SizeCase{"Nodes1024000", {"-n", "1024000"}, 32},
        SizeCase{"Nodes1024001", {"-n", "1024001", "-hash", "1"}, 64},
        SizeCase{"NodesOverrideDepth", {"-d", "5", "-n", "100000"}, 4}),
    [](const auto& test) { return test.param.name; });

TEST_F(CommandLineOptions, AnUnknownWordIsToldOnTheErrorStreamAndSkipped) {
    testing::internal::CaptureStderr();
    CommandLine line = parse({"-hash", "8", "-hsah", "-c"});
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "unknown option '-hsah', see --help\n");
    EXPECT_EQ(line.run_mode, MODE_GAME);
    EXPECT_EQ(default_personality.Hash, 8);
    EXPECT_EQ(relaxed(shell.uci_mode), 0);
}

TEST_F(CommandLineOptions, BenchBehindAnotherWordIsAnUnknownWord) {
    testing::internal::CaptureStderr();
    CommandLine line = parse({"-hash", "8", "bench"});
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "unknown option 'bench', see --help\n");
    EXPECT_EQ(line.run_mode, MODE_GAME);
}

TEST_F(CommandLineOptions, KnownWordsAndTheirValuesAreNotTold) {
    testing::internal::CaptureStderr();
    parse({"bench", "-o", "some file", "-d", "4", "-scan_pgn", "games.pgn", "-scan_pgn9", "x",
           "-numa", "-tbx", "-quiet"});
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(TellingOfItself, HelpNamesTheOptionsOnAScreenOrTwo) {
    RunOutput help = run({"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_LE(help.lines.size(), 60u);
    std::string text;
    for (const std::string& line : help.lines) {
        EXPECT_LE(line.size(), 100u) << line;
        text += line + "\n";
    }
    for (const char* option : {"-uci", "-c ", "-cfg FILE", "-hash MB", "-threads N", "-d PLIES",
                               "-bench", "-anepd FILE", "-mkbook PGN", "--version"})
        EXPECT_NE(text.find(option), std::string::npos) << option;
}

TEST(TellingOfItself, VersionTellsBuildPathsAndNetwork) {
    RunOutput version = run({"--version"});
    EXPECT_EQ(version.status, 0);
    ASSERT_EQ(version.lines.size(), 4u);
    EXPECT_EQ(version.lines[0], "Mird 5.50");
    EXPECT_EQ(version.lines[1].rfind("build: ", 0), 0u);
    EXPECT_NE(version.lines[2].find(" plain"), std::string::npos);
    EXPECT_NE(version.lines[2].find("; in use: "), std::string::npos);
    EXPECT_EQ(version.lines[3].rfind("network: embedded, ", 0), 0u);
}

TEST(TellingOfItself, OnlyAsTheFirstWord) {
    RunOutput late = run({"-c", "--version"}, "quit\n");
    EXPECT_EQ(late.lines[0], "info string Hello from Mird 5.50");
}

TEST(RunModes, MakeConfigWritesNothingAndEndsNormally) {
    std::string directory = fresh_directory();
    Program program = start_program({"-mkconfig"}, directory);
    EXPECT_EQ(wait_exit(program, 60000), 0);
    EXPECT_EQ(program.lines.size(), 3u) << joined(program.lines);
    EXPECT_TRUE(std::filesystem::is_empty(directory));
}

TEST(RunModes, MakeConfigReadsTheConfigurationFile) {
    std::string directory = fresh_directory();
    std::ofstream(directory + "/my.cfg") << "Contempt = 12\n";
    Program program = start_program({"-mkconfig", "-cfg", "my.cfg"}, directory);
    EXPECT_EQ(wait_exit(program, 60000), 0);
    EXPECT_TRUE(has_line(program.lines, "info string loading parameters from my.cfg"));
    EXPECT_TRUE(has_line(program.lines, "info string Contempt set to 12"));
}

TEST(RunModes, OnlyTheGameModeCalibrates) {
    EXPECT_EQ(count_lines(run({"-mkconfig"}).lines, "info string et="), 0);
    EXPECT_EQ(count_lines(run({"-bench", "-d", "1"}).lines, "info string et="), 0);
    EXPECT_EQ(count_lines(run({}).lines, "info string et="), 1);
}

TEST(RunModes, BareScanRunsTheGameLoop) {
    RunOutput result = run({"-scan_pgn", "no-such-file.pgn"}, "isready\n");
    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(has_line(result.lines, "readyok"));
}

TEST(RunModes, ANumberedScanDoesNotReadCommands) {
    RunOutput result = run({"-scan_pgn3", "no-such-file.pgn"}, "isready\n");
    EXPECT_EQ(result.status, 1);
    EXPECT_FALSE(has_line(result.lines, "readyok"));
}

TEST(RunModes, SpeedIsEchoedBeforeAnythingElse) {
    RunOutput result = run({"-nps", "1000", "-mkconfig"});
    EXPECT_EQ(result.status, 0);
    ASSERT_FALSE(result.lines.empty());
    EXPECT_EQ(result.lines[0], "Elo= 2164");
}

TEST(RunModes, BenchmarkAnnouncesItsThreads) {
    RunOutput result = run({"-pbench", "-threads", "4", "-d", "1", "-use_hce"});
    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(has_line(result.lines, "Mird 5.50 running benchmark using 4 threads"));
    EXPECT_EQ(count_lines(result.lines, "pos "), 20);
    EXPECT_EQ(count_lines(result.lines, "pos  0: "), 1);
    EXPECT_EQ(count_lines(result.lines, "pos 19: "), 1);
    EXPECT_EQ(result.lines.back().compare(0, 12, "total time= "), 0) << result.lines.back();
}

TEST(RunModes, BenchmarkIgnoresATimeLimit) {
    RunOutput with_time = run({"-bench", "-t", "0.001", "-d", "6", "-use_hce"});
    RunOutput without = run({"-bench", "-d", "6", "-use_hce"});
    ASSERT_EQ(with_time.status, 0);
    EXPECT_EQ(word_after(with_time.lines.back(), "nodes="),
              word_after(without.lines.back(), "nodes="));
}

TEST(RunModes, BothBenchmarksCountTheSameNodes) {
    RunOutput threads = run({"-bench", "-d", "5", "-use_hce"});
    RunOutput here = run({"-pbench", "-d", "5", "-use_hce"});
    ASSERT_EQ(here.status, 0);
    EXPECT_EQ(word_after(threads.lines.back(), "nodes="), word_after(here.lines.back(), "nodes="));
}

TEST(RunModes, BenchmarkHearsStopAndQuit) {
    Program program = start_program({"-bench", "-d", "40", "-use_hce"});
    ASSERT_NE(wait_for(program, "Mird 5.50 running benchmark", 60000), "");
    send(program, "stop");
    EXPECT_NE(wait_for(program, "pos  0: ", 60000), "");
    send(program, "quit");
    EXPECT_EQ(wait_exit(program, 60000), 0);
    EXPECT_LT(count_lines(program, "pos "), 20);
}

TEST(RefusedModes, TuningInAnyPlaceIsRefused) {
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"-tune", "data", "0.001", "1"},
          std::vector<std::string>{"-bench", "-tune", "data", "0.001", "1", "1"},
          std::vector<std::string>{"-c", "-tune4", "data", "0.008", "2", "-quiet"}}) {
        RunOutput result = run(arguments, "isready\n");
        EXPECT_EQ(result.status, 1) << arguments[0];
        EXPECT_EQ(joined(result.lines), joined({REFUSAL})) << arguments[0];
    }
}

TEST(RefusedModes, BadTuningArgumentsEndTheProgramWithoutAMessage) {
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"-tune"}, std::vector<std::string>{"-o", "-tune"},
          std::vector<std::string>{"-tune", "data", "0.5", "1"},
          std::vector<std::string>{"-tune2", "data", "0.001", "0"},
          std::vector<std::string>{"-mktraindata"}}) {
        RunOutput result = run(arguments);
        EXPECT_EQ(result.status, 1) << arguments[0];
        EXPECT_EQ(joined(result.lines), "") << arguments[0];
    }
}

TEST(RefusedModes, TrainingDataIsRefused) {
    RunOutput result = run({"-mktraindata", "x", "5"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(joined(result.lines), joined({REFUSAL}));
}
