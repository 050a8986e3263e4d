// The configuration file: lines of "name = value", read into the options.

#include "shell/options.h"

#include <filesystem>
#include <fstream>

#include "base/text.h"
#include "shell/think.h"
#include "shell_fixture.h"

namespace {

class Config : public ShellTest {
protected:
    void SetUp() override {
        ShellTest::SetUp();
        path = fresh_directory() + "/mird.cfg";
    }

    // Writes the file and loads it; returns what is printed behind the line that names the file.
    std::vector<std::string> load(const std::string& text) {
        std::ofstream(path, std::ios::binary) << text;
        copy_text(active_personality.ConfigFilePath, path.c_str(), PATH_LENGTH);
        std::vector<std::string> lines = printed_by([] { LoadConfig(); });
        EXPECT_EQ(lines.at(0), "info string loading parameters from " + path);
        lines.erase(lines.begin());
        return lines;
    }

    std::string path;
};

} // namespace

TEST_F(Config, ALineSetsAnOption) {
    EXPECT_EQ(joined(load("Contempt = 12\n")), "info string Contempt set to 12\n");
    EXPECT_EQ(active_personality.Contempt, 12);
}

TEST_F(Config, TheEqualsSignNeedsASpaceInFront) {
    EXPECT_EQ(joined(load("Contempt=12\nMultiPV= 3\n")), "");
    EXPECT_EQ(active_personality.Contempt, 0);
    EXPECT_EQ(active_personality.MultiPV, 1);
    EXPECT_EQ(joined(load("Contempt =12\n")), "info string Contempt set to 12\n");
    EXPECT_EQ(joined(load("Contempt    =    13\n")), "info string Contempt set to 13\n");
}

TEST_F(Config, HashActsAtOnce) {
    EXPECT_EQ(joined(load("Hash=2\n")), "");
    EXPECT_EQ(engine.hash_mb, 64);
    load("Hash = 2\n");
    EXPECT_EQ(engine.hash_mb, 2);
}

TEST_F(Config, WhatFollowsTheSharpIsAComment) {
    EXPECT_EQ(joined(load("# Contempt = 1\n"
                          "Ponder = false # = true, if you like\n"
                          "UCI_LimitStrength = true # with comment\n"
                          "Con#tempt = 9\n"
                          "MultiPV # = 4\n")),
              "info string Ponder set to 0\ninfo string UCI_LimitStrength set to 1\n");
}

TEST_F(Config, ShortLinesAndLinesWithoutEqualsSignAreSkipped) {
    EXPECT_EQ(joined(load("\n\n \nab\n = \n=\n==\nContempt 12\nContempt\n[Section]\n"
                          "Contempt = 3\n")),
              "info string Contempt set to 3\n");
}

TEST_F(Config, UnknownNamesAreIgnored) {
    EXPECT_EQ(joined(load("contempt = 1\n Contempt = 2\nNothing = 3\n")), "");
    EXPECT_EQ(active_personality.Contempt, 0);
}

TEST_F(Config, TheLastLineNeedsNoNewline) {
    EXPECT_EQ(joined(load("Contempt = 12")), "info string Contempt set to 12\n");
}

TEST_F(Config, CarriageReturnsDoNoHarm) {
    EXPECT_EQ(joined(load("Contempt = 12\r\nOwnBook_File = a b.bin\r\n\r\n")),
              "info string Contempt set to 12\ninfo string OwnBook_File set to 'a b.bin'\n");
}

TEST_F(Config, AValueMayHoldSpacesAndEqualsSigns) {
    EXPECT_EQ(joined(load("OwnBook_File = my book = one.bin\n")),
              "info string OwnBook_File set to 'my book = one.bin'\n");
}

TEST_F(Config, ALongLineIsReadInPieces) {
    // The second piece begins behind 254 characters and is a line of its own.
    std::string first = "OwnBook_File = " + std::string(239, 'x');
    ASSERT_EQ(first.size(), 254u);
    std::vector<std::string> lines = load(first + "Contempt = 5\n");
    ASSERT_EQ(lines.size(), 2u) << joined(lines);
    EXPECT_EQ(lines[1], "info string Contempt set to 5");
    EXPECT_EQ(std::string(active_personality.OwnBook_File), std::string(143, 'x'));
}

TEST_F(Config, LoadingMovesTheDefaultsAndAsksForANewEvaluation) {
    load("Contempt = 12\n");
    EXPECT_EQ(default_personality.Contempt, 12);
    EXPECT_EQ(active_personality.eval_dirty, 1);
    EXPECT_EQ(default_personality.eval_dirty, 1);

    std::vector<std::string> lines = printed_by([] { prepare_search(); });
    EXPECT_TRUE(has_line(lines, "info string setting eval params..."));
    EXPECT_EQ(active_personality.eval_dirty, 0);
    EXPECT_EQ(joined(printed_by([] { prepare_search(); })), "");
}

TEST_F(Config, AMissingFileIsPassedOverInSilence) {
    copy_text(active_personality.ConfigFilePath, "/no/such/file.cfg", PATH_LENGTH);
    EXPECT_EQ(joined(printed_by([] { LoadConfig(); })), "");
    EXPECT_EQ(active_personality.eval_dirty, 0);

    EXPECT_EQ(joined(printed_by([] { SetOption("ConfigFilePath", "/no/such/other.cfg"); })),
              "info string ConfigFilePath set to '/no/such/other.cfg'\n");
    EXPECT_STREQ(active_personality.ConfigFilePath, "/no/such/other.cfg");
}

TEST_F(Config, TheOptionLoadsTheFileAtOnce) {
    std::ofstream(path) << "MultiPV = 3\n";
    std::vector<std::string> lines = uci("setoption name ConfigFilePath value " + path);
    EXPECT_EQ(joined(lines), "info string ConfigFilePath set to '" + path
                                 + "'\ninfo string loading parameters from " + path
                                 + "\ninfo string MultiPV set to 3\n");
    EXPECT_EQ(default_personality.MultiPV, 3);
}

TEST_F(Config, AFileMayNameAFurtherOne) {
    std::string second = path + "2";
    std::ofstream(second) << "MultiPV = 3\n";
    std::vector<std::string> lines =
        load("Contempt = 1\nConfigFilePath = " + second + "\nContempt = 2\n");
    EXPECT_EQ(joined(lines), "info string Contempt set to 1\n"
                             "info string ConfigFilePath set to '"
                                 + second + "'\ninfo string loading parameters from " + second
                                 + "\ninfo string MultiPV set to 3\n"
                                   "info string Contempt set to 2\n");
}

TEST_F(Config, AFileThatNamesItselfIsLoadedOnce) {
    const std::string again = (std::filesystem::path(path).parent_path() / "./mird.cfg").string();
    const std::string left_out = " left out: named within itself, or one file too many\n";
    EXPECT_EQ(joined(load("ConfigFilePath = " + path + "\nContempt = 4\nConfigFilePath = " + again
                          + "\n")),
              "info string ConfigFilePath set to '" + path + "'\ninfo string " + path + left_out
                  + "info string Contempt set to 4\ninfo string ConfigFilePath set to '" + again
                  + "'\n")
        << "said once";
    EXPECT_EQ(active_personality.Contempt, 4);
    // And a later load works as ever.
    EXPECT_EQ(joined(load("Contempt = 5\n")), "info string Contempt set to 5\n");
}

TEST_F(Config, FilesThatNameEachOtherAreBounded) {
    for (int i = 1; i <= 20; i++) {
        std::ofstream(path + std::to_string(i))
            << "ConfigFilePath = " << path << i + 1 << "\nContempt = " << i << "\n";
    }
    std::vector<std::string> lines = load("ConfigFilePath = " + path + "1\n");
    EXPECT_EQ(count_lines(lines, "info string loading"), 9) << "ten deep, with the first";
    EXPECT_EQ(active_personality.Contempt, 1);

    // Each of ten names five others: at ten deep that would be ten million.
    for (int i = 1; i <= 10; i++) {
        std::ofstream file(path + std::to_string(i));
        for (int k = 1; k <= 5; k++)
            file << "ConfigFilePath = " << path << (i + k) % 10 + 1 << "\n";
    }
    lines = load("ConfigFilePath = " + path + "1\n");
    EXPECT_EQ(count_lines(lines, "info string loading"), 49);
    int told = 0;
    for (const std::string& line : lines) told += line.find(" left out: ") != std::string::npos;
    EXPECT_EQ(told, 1);
}

TEST_F(Config, OnlyPlainFilesAreRead) {
    for (const std::string& name : odd_files()) {
        copy_text(active_personality.ConfigFilePath, name.c_str(), PATH_LENGTH);
        EXPECT_EQ(joined(printed_by([] { LoadConfig(); })), "") << name;
    }
}

TEST_F(Config, AnEmptyFileLoadsNothing) { EXPECT_EQ(joined(load("")), ""); }

TEST_F(Config, ABinaryFileIsHarmless) {
    std::string noise;
    Random random = {7};
    for (int i = 0; i < 20000; i++) noise += static_cast<char>(random_below(random, 256));
    load(noise);
}

TEST(ConfigFile, IsReadAtStartUpAndSetsWhatAGuiCanSet) {
    std::string directory = fresh_directory();
    std::ofstream(directory + "/start.cfg")
        << "Hash = 3\nThreads = 2\nContempt = -20\nLog = true # on\n";
    Program program = start_program({"-cfg", "start.cfg"}, directory);
    send(program, "uci");
    ASSERT_NE(wait_for(program, "uciok", 60000), "");
    EXPECT_EQ(quit_program(program), 0);

    for (const char* line :
         {"info string loading parameters from start.cfg", "info string Hash set to 3",
          "info string allocated 3 Mbytes for hash table", "info string Threads set to 2",
          "info string Contempt set to -20", "info string Log set to 1",
          "option name ConfigFilePath type string default start.cfg",
          "option name Hash type spin default 3 min 0 max 32768",
          "option name Threads type spin default 2 min 1 max 160",
          "option name Contempt type spin default -20 min -150 max 150",
          "option name Log type check default true"})
        EXPECT_TRUE(has_line(program.lines, line)) << line;
    EXPECT_EQ(count_lines(program, "info string setting eval params..."), 0)
        << "start-up builds the evaluation behind the file";
    EXPECT_TRUE(has_line(read_lines(directory + "/mird.log"), "CMD: uci"));
}

TEST(ConfigFile, AMissingFileAtStartUpIsNoError) {
    int status = -1;
    Program program = run_with_input({"-cfg", "no-such-file"}, "isready\n", &status, 60000);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(count_lines(program, "info string loading"), 0);
}
