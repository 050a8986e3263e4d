// Tuning data: which positions are dropped, what each mode writes, and how a run ends.

#include "tools/tuning_data.h"

#include <filesystem>
#include <fstream>

#include "shell_fixture.h"
#include "tb_support.h"

namespace {

using Lines = std::vector<std::string>;

// The best line is one move long: Re8 mates, which is worth 9998.
const std::string MATE = "6k1/5ppp/8/8/8/8/8/4R1K1 w - -";
const std::string AFTER_MATE = "4R1k1/5ppp/8/8/8/8/8/6K1 b - -";
// Two moves: Kg8 Rb8#. Worth -9997 for Black.
const std::string LADDER = "7k/R7/8/8/8/8/8/1R4K1 b - -";
const std::string AFTER_LADDER = "1R4k1/R7/8/8/8/8/8/6K1 b - -";
const std::string STALEMATE = "7k/5Q2/6K1/8/8/8/8/8 b - -";
const std::string CHECK = "4k3/8/8/8/8/8/8/4RK2 b - -";

// A run of the program over a text.
struct TuningRun {
    Lines lines; // standard output behind the two lines of the start
    Lines out;
    int status;
};

TuningRun tune(int mode, const std::string& text, std::vector<std::string> more = {"-d", "4"},
               const std::string& input = "") {
    std::string directory = fresh_directory();
    std::ofstream(directory + "/in.epd", std::ios::binary) << text;
    std::vector<std::string> arguments = {"-mktune" + std::to_string(mode), "in.epd", "-hash", "1"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    Program program = start_program(arguments, directory);
    send_bytes(program, input);
    close_input(program);
    int status = wait_exit(program, 60000);
    Lines lines = program.lines;
    lines.erase(lines.begin(), lines.begin() + std::min<ptrdiff_t>(3, std::ssize(lines)));
    return {lines, read_lines(directory + "/tune_new.epd"), status};
}

Lines written(int mode, const std::string& text) { return tune(mode, text + "\n").out; }

TuningLine line_of(const std::string& operations, int score = 0) {
    TuningLine line;
    read_tuning_line((std::string(START_FEN) + " " + operations).c_str(), line);
    line.score = score;
    return line;
}

} // namespace

TEST(TuningLines, AreTakenApart) {
    TuningLine line = line_of("ce -35; gr 0.5;");
    EXPECT_STREQ(line.epd.position, START_FEN);
    EXPECT_TRUE(line.has_value);
    EXPECT_TRUE(line.has_result);
    EXPECT_EQ(line.value, -35);
    EXPECT_EQ(line.result, 0.5f);

    line = line_of("bm e4;");
    EXPECT_FALSE(line.has_value);
    EXPECT_FALSE(line.has_result);
    EXPECT_EQ(line.value, -9999);

    line = line_of("ce -99999999999; gr nan;");
    EXPECT_EQ(line.value, -2147483647) << "its sign can be turned";
    EXPECT_EQ(line.result, 0.0f);
}

TEST(TuningLines, ValueAndResultMustAgree) {
    EXPECT_TRUE(value_disagrees(line_of("ce -500; gr 1.0;")));
    EXPECT_TRUE(value_disagrees(line_of("ce -142; gr 1.0;")));
    EXPECT_FALSE(value_disagrees(line_of("ce -141; gr 1.0;")));
    EXPECT_TRUE(value_disagrees(line_of("ce 142; gr 0.0;")));
    EXPECT_FALSE(value_disagrees(line_of("ce 141; gr 0.0;")));
    EXPECT_TRUE(value_disagrees(line_of("ce -290; gr 0.5;")));
    EXPECT_FALSE(value_disagrees(line_of("ce -289; gr 0.5;")));
    EXPECT_TRUE(value_disagrees(line_of("ce 290; gr 0.5;")));
    EXPECT_FALSE(value_disagrees(line_of("ce 289; gr 0.5;")));
    EXPECT_FALSE(value_disagrees(line_of("ce 9000; gr 1.0;")));
    EXPECT_FALSE(value_disagrees(line_of("ce -9000; gr 0.0;")));
    EXPECT_FALSE(value_disagrees(line_of("ce -9000; gr 0.7;"))) << "no result of a game";
    EXPECT_FALSE(value_disagrees(line_of("ce -9000;")));
    EXPECT_FALSE(value_disagrees(line_of("gr 1.0;"))) << "the value that is missing is no loss";
}

TEST(TuningLines, ScoreAndResultMustAgree) {
    for (const char* result : {"gr 1.0;", "gr 0.5;", "gr 0.7;"}) {
        EXPECT_TRUE(score_disagrees(line_of(result, -290))) << result;
        EXPECT_FALSE(score_disagrees(line_of(result, -289))) << result;
    }
    for (const char* result : {"gr 0.0;", "gr 0.5;", "gr 0.3;"}) {
        EXPECT_TRUE(score_disagrees(line_of(result, 290))) << result;
        EXPECT_FALSE(score_disagrees(line_of(result, 289))) << result;
    }
    EXPECT_FALSE(score_disagrees(line_of("gr 1.0;", 9000)));
    EXPECT_FALSE(score_disagrees(line_of("gr 0.0;", -9000)));
    EXPECT_FALSE(score_disagrees(line_of("ce 5;", -9000)));
}

TEST(TuningData, TellsItsFile) {
    TuningRun run = tune(1, MATE + "\n");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.lines, Lines{"Creating file tune_new.epd"});
}

TEST(TuningData, InputPositionsGetTheirScore) {
    EXPECT_EQ(written(2, MATE), Lines{MATE + " sc 9998;"});
    EXPECT_EQ(written(2, MATE + " ce 300;"), Lines{MATE + " sc 9998;"});
    EXPECT_EQ(written(2, MATE + " ce 300; gr 1.0;"), Lines{MATE + " ce 300; sc 9998; gr 1.0;"});
    EXPECT_EQ(written(2, MATE + " gr 1;"), Lines{MATE + " ce -9999; sc 9998; gr 1.0;"});
    EXPECT_EQ(written(2, LADDER + " ce -300; gr 0.0;"),
              Lines{LADDER + " ce -300; sc -9997; gr 0.0;"});
    EXPECT_EQ(written(2, MATE + " 5 40 bm Re8; id \"x\"; gr 1.0; ce 12;"),
              Lines{MATE + " ce 12; sc 9998; gr 1.0;"})
        << "counters and other operations are dropped";
}

TEST(TuningData, LeavesAfterAnOddLineChangeSides) {
    EXPECT_EQ(written(1, MATE), Lines{AFTER_MATE + " -9998;"});
    EXPECT_EQ(written(1, MATE + " ce 300;"), Lines{AFTER_MATE + " ce -300;"});
    EXPECT_EQ(written(1, MATE + " ce 300; gr 1.0;"),
              Lines{AFTER_MATE + " ce -300; sc -9998; gr 0.0;"});
    EXPECT_EQ(written(1, MATE + " gr 1.0;"), Lines{AFTER_MATE + " ce 9999; sc -9998; gr 0.0;"});
}

TEST(TuningData, LeavesAfterAnEvenLineKeepTheirSide) {
    EXPECT_EQ(written(1, LADDER), Lines{AFTER_LADDER + " -9997;"});
    EXPECT_EQ(written(1, LADDER + " ce -300;"), Lines{AFTER_LADDER + " ce -300;"});
    EXPECT_EQ(written(1, LADDER + " ce -300; gr 0.0;"),
              Lines{AFTER_LADDER + " ce -300; sc -9997; gr 0.0;"});
}

TEST(TuningData, LinesWithCastlingInPlaceAreWalked) {
    // Only the rook's way to f1 mates: the king stays, or goes to the rook's square.
    const std::string boxed_king = "4rkr1/4p1p1/8/8/8/8/8/";
    const std::string after = boxed_king + "5RK1 b - -";
    EXPECT_EQ(written(1, boxed_king + "6KR w K -"), Lines{after + " -9998;"});
    EXPECT_EQ(written(1, boxed_king + "5KR1 w G -"), Lines{after + " -9998;"});
}

TEST(TuningData, DropsWhatDisagrees) {
    for (int mode : {1, 2}) {
        EXPECT_TRUE(written(mode, MATE + " ce -500; gr 1.0;").empty()) << mode;
        EXPECT_TRUE(written(mode, MATE + " gr 0.5;").empty()) << mode;
        EXPECT_TRUE(written(mode, MATE + " gr 0.0;").empty()) << mode;
        EXPECT_TRUE(written(mode, LADDER + " gr 0.5;").empty()) << mode;
        EXPECT_TRUE(written(mode, LADDER + " gr 1.0;").empty()) << mode;
    }
}

TEST(TuningData, PassesOverChecksAndLinesOfOtherKinds) {
    TuningRun run = tune(2, "# " + MATE + "\n; " + MATE + "\n " + MATE + "\n\n\r\n" + CHECK + "\n"
                                + MATE + "\r\n" + CHECK + " gr 0.0;\n" + LADDER);
    EXPECT_EQ(run.out, (Lines{MATE + " sc 9998;", LADDER + " sc -9997;"}));
}

TEST(TuningData, PositionsThatAreOverHaveAScore) {
    EXPECT_EQ(written(2, STALEMATE), Lines{STALEMATE + " sc 0;"});
    EXPECT_EQ(written(1, STALEMATE + " ce 3; gr 0.5;"), Lines{STALEMATE + " ce 3; sc 0; gr 0.5;"});
}

TEST(TuningData, PositionsThatCannotBeSearchedAreTold) {
    TuningRun run = tune(1, "rubbish\n8/8/8/8/8/8/8/8 w - -\n" + MATE + "\n");
    EXPECT_EQ(run.out, Lines{AFTER_MATE + " -9998;"});
    ASSERT_EQ(run.lines.size(), 3u);
    EXPECT_EQ(run.lines[1],
              "info string 'rubbish' can't be searched: white does not have exactly one king");
}

TEST(TuningData, EveryLimitEnds) {
    for (const std::vector<std::string>& limits :
         {std::vector<std::string>{"-d", "0"}, std::vector<std::string>{"-d", "1"},
          std::vector<std::string>{"-d", "2"}, std::vector<std::string>{"-d", "3"},
          std::vector<std::string>{"-n", "3000"},
          std::vector<std::string>{"-d", "4", "-threads", "3"}})
        for (int mode : {1, 2}) {
            TuningRun run = tune(mode, std::string(START_FEN) + "\n" + STALEMATE + "\n", limits);
            EXPECT_EQ(run.status, 0) << limits[1];
            EXPECT_EQ(run.out.size(), 2u) << limits[1];
        }
}

TEST(TuningData, ScoresAreThoseOfTheHandCraftedEvaluation) {
    EXPECT_EQ(tune(2, std::string(START_FEN) + "\n", {"-d", "5", "-use_nn"}).out,
              tune(2, std::string(START_FEN) + "\n", {"-d", "5", "-use_hce"}).out);
}

TEST(TuningData, TablesCorrectTheScoreInTheSecondMode) {
    const std::string won = "8/8/8/3k4/8/8/8/KQ6 w - -", lost = "8/8/8/3k4/8/8/8/KQ6 b - -",
                      drawn = "8/8/8/8/3k4/8/3P4/K7 b - -";
    const std::string text = won + "\n" + lost + "\n" + drawn + " ce -5; gr 0.5;\n";
    TuningRun run = tune(2, text, {"-d", "3", "-tbpath", own_tables()});
    EXPECT_TRUE(has_line(run.lines, "info string found 3 tablebases")) << joined(run.lines);
    EXPECT_EQ(run.out,
              (Lines{won + " sc 9800;", lost + " sc -9800;", drawn + " ce -5; sc 0; gr 0.5;"}));
    EXPECT_NE(tune(2, text, {"-d", "3"}).out, run.out);
}

TEST(TuningData, TablesOfTheConfigurationFileAreUsed) {
    std::string directory = fresh_directory();
    std::ofstream(directory + "/in.epd") << "8/8/8/3k4/8/8/8/KQ6 w - -\n";
    std::ofstream(directory + "/my.cfg") << "SyzygyPath = " << own_tables() << "\n";
    Program program = start_program(
        {"-mktune2", "in.epd", "-d", "3", "-cfg", "my.cfg", "-o", "out.epd"}, directory);
    EXPECT_EQ(wait_exit(program, 60000), 0);
    EXPECT_EQ(read_lines(directory + "/out.epd"), Lines{"8/8/8/3k4/8/8/8/KQ6 w - - sc 9800;"});
}

TEST(TuningData, WithoutAPathOnlyTheSecondModeLooksForTables) {
    EXPECT_EQ(tune(2, MATE + "\n").lines,
              (Lines{"Creating file tune_new.epd", "info string found 0 tablebases"}));
    EXPECT_EQ(count_lines(tune(1, MATE + "\n", {"-d", "2", "-tbpath", own_tables()}).lines,
                          "info string found"),
              0);
}

TEST(TuningData, QuitIsHeardEvery256Positions) {
    std::string text;
    for (int i = 0; i < 260; i++) text += STALEMATE + "\n";
    EXPECT_EQ(tune(2, text, {"-d", "1"}, "quit\n").out.size(), 256u);
    EXPECT_EQ(tune(2, text, {"-d", "1"}, "go depth 1\n").out.size(), 260u);
    text += text;
    EXPECT_EQ(tune(2, text, {"-d", "1"}, "isready\nquit\n").out.size(), 512u) << "a line each time";
}

TEST(TuningData, CommandsInBetweenDoNotDisturbALine) {
    std::string text;
    for (int i = 0; i < 256; i++) text += MATE + "\n";
    EXPECT_EQ(tune(1, text, {"-d", "2"}, "position startpos\n").out,
              Lines(256, AFTER_MATE + " -9998;"));
}

TEST(TuningDataLong, EachBlockOf4096LinesIsTold) {
    std::string text;
    for (int i = 0; i < 4100; i++) text += STALEMATE + "\n";
    TuningRun run = tune(1, text, {"-d", "1"});
    EXPECT_EQ(run.lines, (Lines{"Creating file tune_new.epd", " n= 4096"}));
    EXPECT_EQ(run.out.size(), 4100u);
}

TEST(TuningDataLong, ASearchWithoutLimitsHearsStopAndQuit) {
    std::string directory = fresh_directory();
    std::ofstream(directory + "/in.epd") << START_FEN << "\n"
                                         << START_FEN << "\n"
                                         << START_FEN << "\n";
    Program program = start_program({"-mktune2", "in.epd", "-hash", "1"}, directory);
    ASSERT_NE(wait_for(program, "Creating file"), "");
    send(program, "stop");
    send(program, "quit");
    EXPECT_EQ(wait_exit(program, 30000), 0);
    EXPECT_EQ(read_lines(directory + "/tune_new.epd").size(), 1u)
        << "stop keeps what was found, quit drops it";
}

TEST(TuningData, FilesThatCannotBeOpenedEndTheRun) {
    std::string directory = fresh_directory();
    std::filesystem::create_directory(directory + "/folder");
    std::ofstream(directory + "/in.epd") << MATE << "\n";
    std::ofstream(directory + "/tune_new.epd") << LADDER << "\n";
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"-mktune1", "missing.epd"},
          std::vector<std::string>{"-mktune1", "folder"},
          std::vector<std::string>{"-mktune2", "in.epd", "-o", "folder"},
          std::vector<std::string>{"-mktune2", "in.epd", "-o", "in.epd"},
          std::vector<std::string>{"-mktune2", "in.epd", "-o", "./in.epd"},
          std::vector<std::string>{"-mktune1", "tune_new.epd"},
          std::vector<std::string>{"-mktune1"}}) {
        Program program = start_program(arguments, directory);
        EXPECT_EQ(wait_exit(program, 60000), 1);
        EXPECT_EQ(program.lines.size(), 3u) << joined(program.lines);
    }
    EXPECT_EQ(read_lines(directory + "/in.epd"), Lines{MATE});
    EXPECT_EQ(read_lines(directory + "/tune_new.epd"), Lines{LADDER});
}

TEST(TuningData, LongLinesAreCut) {
    const std::string far(400, 'x');
    EXPECT_EQ(tune(2, MATE + " c0 " + far + "; gr 0.0;\n" + LADDER + "\n").out,
              (Lines{MATE + " sc 9998;", LADDER + " sc -9997;"}));
}

TEST(TuningData, NoiseDoesNoHarm) {
    const std::string parts[] = {MATE,    LADDER, "\n",         " ce ",         " gr ",
                                 ";",     "0.5",  "1.0",        "-99999999999", " ",
                                 "sc 3;", "/",    "8/8 w - - ", "KQkq e3"};
    Random random = {72};
    std::string text;
    for (int i = 0; i < 4000; i++) {
        if (random_below(random, 5) == 0) text += static_cast<char>(random_below(random, 256));
        else text += parts[random_below(random, std::size(parts))];
    }
    for (int mode : {1, 2}) EXPECT_EQ(tune(mode, text, {"-d", "1"}).status, 0);
}
