// The scan of PGN files: values of comments, what each mode writes, reading of tags and moves.

#include "tools/scan_pgn.h"

#include <filesystem>
#include <fstream>

#include "search/limits.h"
#include "shell_fixture.h"

namespace {

using Lines = std::vector<std::string>;

constexpr char START_BOARD[] = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR";
constexpr int16_t MISSING = SCORE_NO_COMMENT;

struct ValueCase {
    const char* name; // becomes part of the test's name
    const char* comment;
    int white; // when White has moved
    int black; // when Black has
};

void PrintTo(const ValueCase& c, std::ostream* out) { *out << c.name; }

class CommentValue : public testing::TestWithParam<ValueCase> {};

} // namespace

TEST_P(CommentValue, FollowsItsForm) {
    const ValueCase& c = GetParam();
    EXPECT_EQ(comment_value(c.comment, false), c.white);
    EXPECT_EQ(comment_value(c.comment, true), c.black);
}

constexpr int NONE = SCORE_NO_VALUE;

// clang-format off
INSTANTIATE_TEST_SUITE_P(Table, CommentValue, testing::Values(
    //        name                   comment                          White   Black
    ValueCase{"Book",                " book ",                            0,      0},
    ValueCase{"BookComesFirst",      "book eval 12, +0.50/3",             0,      0},
    ValueCase{"BookInsideAWord",     "textbook +0.50/3",                  0,      0},
    ValueCase{"EvalIsWhites",        "eval -35, depth 8, ...",          -35,     35},
    ValueCase{"EvalComesSecond",     "+0.50/3 eval 12, d",               12,    -12},
    ValueCase{"EvalWithoutComma",    "eval 47",                          47,    -47},
    ValueCase{"EvalEmpty",           "eval , +0.50/3",                 NONE,   NONE},
    ValueCase{"EvalAtTheEnd",        "+0.50/3 eval ",                  NONE,   NONE},
    ValueCase{"EvalNeedsItsBlank",   "eval",                           NONE,   NONE},
    ValueCase{"EvalIsAWholeNumber",  "[%eval 0.35] [%clk 0:00:01]",       0,      0},
    ValueCase{"EvalJunk",            "eval x, depth 3",                   0,      0},
    ValueCase{"EvalHuge",            "eval 99999,",                   32767, -32767},
    ValueCase{"SlashIsTheMovers",    "+0.25/12 1.2s",                    25,     25},
    ValueCase{"SlashNegative",       "-1.41/40442 2.9s",               -141,   -141},
    ValueCase{"SlashWithBlanks",     " +1.06/28169 1.6s ",              106,    106},
    ValueCase{"SlashBehindWords",    "d 12, -0.50/3",                   -50,    -50},
    ValueCase{"FirstSlashCounts",    "-0.50/3 +0.70/4",                 -50,    -50},
    ValueCase{"SlashWithoutSign",    "1.5/3",                           150,    150},
    ValueCase{"SlashIsRounded",      "+0.29/12",                         29,     29},
    ValueCase{"SlashIsRoundedBelow", "-0.58/12",                        -58,    -58},
    ValueCase{"SlashTwoCharacters",  "+1/3",                           NONE,   NONE},
    ValueCase{"SlashNoWord",         "0.25 /12",                       NONE,   NONE},
    ValueCase{"SlashFirst",          "/12",                            NONE,   NONE},
    ValueCase{"SlashJunk",           "abc/12",                            0,      0},
    ValueCase{"SlashNotFinite",      "+inf/12",                           0,      0},
    ValueCase{"SlashHuge",           "+999.00/5",                     32767,  32767},
    ValueCase{"MateFor",             "+M5/20 0.01s",                   9000,   9000},
    ValueCase{"MateAgainst",         "-M12/9",                        -9000,  -9000},
    ValueCase{"MateAgainstFirst",    "+M1-M1/9",                      -9000,  -9000},
    ValueCase{"MateWithoutSign",     "M15/9",                             0,      0},
    ValueCase{"MateTooShort",        "M5/9",                           NONE,   NONE},
    ValueCase{"MateBehindTheSlash",  "0.30/+M5",                         30,     30},
    ValueCase{"OnlyWords",           "clock 1:02:03",                  NONE,   NONE},
    ValueCase{"Empty",               "",                               NONE,   NONE}),
    [](const auto& test) { return test.param.name; });
// clang-format on

namespace {

// A game for write_game, and what that writes.
class WriteGame : public ShellTest {
protected:
    std::vector<ScannedMove> moves;
    int positions = -1;
    Lines second;

    void add(const std::string& words, int score = MISSING) {
        std::istringstream stream(words);
        for (std::string word; stream >> word;) {
            ScannedMove move = {};
            snprintf(move.text, sizeof move.text, "%.8s", word.c_str());
            move.score = static_cast<int16_t>(score);
            moves.push_back(move);
        }
    }

    // Knights that go out and home: the start position at every fourth index.
    void add_shuffle(int plies, int score = MISSING) {
        const char* const words[4] = {"Nf3", "Nf6", "Ng1", "Ng8"};
        for (int i = 0; i < plies; i++) add(words[i % 4], score);
    }

    Lines write(int mode, int result = 2, const std::string& fen = "") {
        FILE* out = tmpfile();
        FILE* other = tmpfile();
        moves.push_back({}); // the game may look at none behind its last
        write_game(out, other, moves.data(), static_cast<int>(moves.size()) - 1, fen.c_str(), mode,
                   result, positions);
        moves.pop_back();
        second = contents(other);
        return contents(out);
    }

private:
    static Lines contents(FILE* file) {
        std::string text;
        rewind(file);
        for (int c; (c = fgetc(file)) != EOF;) text += static_cast<char>(c);
        fclose(file);
        return split_text(text);
    }
};

} // namespace

TEST_F(WriteGame, SetsUpARunWithoutSearch) {
    set_limits({.depth = 12});
    engine.hash_enabled = 1;
    add("e4");
    write(SCAN_TRAINING);
    EXPECT_EQ(engine.max_depth, 1);
    EXPECT_EQ(engine.hash_enabled, 0);
    EXPECT_EQ(shell.noise, 9999.0f);
    for (int mode : {SCAN_LISTING, SCAN_SEARCH, SCAN_ROOKS}) {
        write(mode);
        EXPECT_EQ(engine.max_depth, 0) << mode;
    }
}

TEST_F(WriteGame, ListingHasNumberMoveAndScoreFromWhitesSide) {
    add("e4", 35);
    add("e5", 20);
    add("Nf3", -1234);
    add("Nc6", 9000);
    EXPECT_EQ(write(SCAN_LISTING), (Lines{"  1.  e4      {  0.35}", "     e5      { -0.20}",
                                          "  2.  Nf3     {-12.34}", "     Nc6     {-90.00}", ""}));
    EXPECT_EQ(positions, 0);
    EXPECT_TRUE(second.empty());
}

TEST_F(WriteGame, ListingLeavesCommentsWithoutAValueEmptyForBothColours) {
    add("e4", SCORE_AT_START);
    add("e5", SCORE_NO_COMMENT);
    add("Nf3", SCORE_NO_VALUE);
    add("Nc6", SCORE_NO_VALUE);
    add("Bb5", -9999);
    add("a6", -10000);
    EXPECT_EQ(write(SCAN_LISTING),
              (Lines{"  1.  e4      {}", "     e5      {}", "  2.  Nf3     {}", "     Nc6     {}",
                     "  3.  Bb5     {-99.99}", "     a6      {}", ""}));
}

TEST_F(WriteGame, ListingShowsMovesAsTheyWereWritten) {
    add("e2e4 d7d5 exd5 c7c6 dc Nxc6 g1f3 Bg4 Be2 Bxf3 0-0");
    EXPECT_EQ(write(SCAN_LISTING).size(), 11u + 1) << "a word is a word here, zeros or not";
    EXPECT_EQ(write(SCAN_LISTING)[10], "  6.  0-0     {}");
    moves.clear();
    add("e4 d5 Bb5+ c6 Bxc6+");
    EXPECT_EQ(write(SCAN_LISTING)[2], "  2.  Bb5+    {}");
}

TEST_F(WriteGame, ListingNumbersAGameThatBlackBegan) {
    add("e5", 10);
    add("Nf3", 20);
    EXPECT_EQ(write(SCAN_LISTING, 2, "rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq - 0 1"),
              (Lines{"     e5      { -0.10}", "  2.  Nf3     {  0.20}", ""}));
}

TEST_F(WriteGame, EndsAtTheFirstTextThatIsNoMove) {
    add("e4 e5 Ke3 Nc6", 30);
    EXPECT_EQ(write(SCAN_LISTING).size(), 3u);
    EXPECT_EQ(write(SCAN_SEARCH).size(), 2u);
    moves.clear();
    add("f3 e5 g4 Qh4#", 30);
    EXPECT_EQ(write(SCAN_SEARCH).size(), 3u) << "a mate sign is not read";
}

TEST_F(WriteGame, WritesNothingFromAPositionThatCannotBePlayed) {
    add("e4 e5", 30);
    for (const char* fen : {"hello", "8/8/8/8/8/8/8/8 w - -", "kk6/8/8/8/8/8/8/K7 w - -", "\"", " ",
                            "qqqqqqqk/qqqqqqqq/8/8/8/8/QQQQQQQQ/QQQQQQQK w - -",
                            "rnbqkbnr/pppp1Qpp/8/8/8/8/PPPPPPPP/RNB1KBNR w KQkq -"}) {
        EXPECT_EQ(write(SCAN_LISTING, 2, fen), Lines{""}) << fen;
        EXPECT_EQ(positions, 0) << fen;
        EXPECT_TRUE(write(SCAN_SEARCH, 2, fen).empty()) << fen;
    }
}

TEST_F(WriteGame, AMarkedMoveIsToBeAvoidedAndTheNextOneIsBest) {
    add_shuffle(24);
    moves[11].score = 0;
    moves[12].score = 10;
    moves[13].score = 31;
    moves[15].score = 31;
    moves[19].score = 51;
    Lines lines = write(SCAN_LISTING);
    const std::string before = std::string(START_BOARD) + " w KQkq - 12 12";
    const std::string after = "rnbqkbnr/pppppppp/8/8/8/5N2/PPPPPPPP/RNBQKB1R b KQkq - 13 13";
    ASSERT_EQ(lines.size(), 25u);
    EXPECT_EQ(lines[11], "     Ng8     {  0.00}");
    EXPECT_EQ(lines[12], "  7.  Nf3     {  0.10 ? " + before + " am Nf3;}");
    EXPECT_EQ(lines[13], "     Nf6     { -0.31 ! " + after + " bm Nf6;}");
    EXPECT_EQ(lines[14], "  8.  Ng1     {}");
    EXPECT_EQ(second, Lines{after + " bm Nf6;"});
    EXPECT_EQ(positions, 1);
}

TEST_F(WriteGame, AMoveWithoutAValueCanBeMarked) {
    add_shuffle(24);
    moves[11].score = 0;
    moves[13].score = moves[15].score = moves[19].score = 100;
    EXPECT_EQ(write(SCAN_LISTING)[12],
              "  7.  Nf3     { ? " + std::string(START_BOARD) + " w KQkq - 12 12 am Nf3;}");
}

TEST_F(WriteGame, TwoMovesInARowCanBeMarked) {
    add_shuffle(40);
    moves[11].score = 0;
    moves[13].score = moves[15].score = moves[19].score = 100;
    moves[12].score = -100;
    moves[14].score = moves[16].score = moves[20].score = 0;
    const std::string fen = "rnbqkbnr/pppppppp/8/8/8/5N2/PPPPPPPP/RNBQKB1R b KQkq - 13 13";
    EXPECT_EQ(write(SCAN_LISTING)[13],
              "     Nf6     { -1.00 ! " + fen + " bm Nf6; ? " + fen + " am Nf6;}");
}

namespace {

struct MarkCase {
    const char* name; // becomes part of the test's name
    int count, index; // moves of the game, and the one that is looked at
    int before;       // score of the move before
    int n1, n3, n7;   // scores 1, 3 and 7 moves later
    bool marked;
};

void PrintTo(const MarkCase& c, std::ostream* out) { *out << c.name; }

class BlunderMark : public WriteGame, public testing::WithParamInterface<MarkCase> {};

} // namespace

TEST_P(BlunderMark, FollowsTheTest) {
    const MarkCase& c = GetParam();
    add_shuffle(c.count);
    moves[c.index - 1].score = static_cast<int16_t>(c.before);
    moves[c.index + 1].score = static_cast<int16_t>(c.n1);
    moves[c.index + 3].score = static_cast<int16_t>(c.n3);
    moves[c.index + 7].score = static_cast<int16_t>(c.n7);
    Lines lines = write(SCAN_LISTING);
    ASSERT_EQ(lines.size(), static_cast<size_t>(c.count) + 1);
    EXPECT_EQ(lines[c.index].find(" ? ") != std::string::npos, c.marked) << lines[c.index];
    EXPECT_EQ(positions, c.marked);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Table, BlunderMark, testing::Values(
    //       name                    count index before    n1    n3    n7  marked
    MarkCase{"Typical",                 40,   20,     0,  200,  200,  200, true},
    MarkCase{"FirstTwelveNever",        40,   11,     0,  200,  200,  200, false},
    MarkCase{"ThirteenthMay",           40,   12,     0,  200,  200,  200, true},
    MarkCase{"ElevenFromTheEndMay",     40,   29,     0,  200,  200,  200, true},
    MarkCase{"TenFromTheEndNever",      40,   30,     0,  200,  200,  200, false},
    MarkCase{"NextGainAbove30",         40,   20,     0,   31,  200,  200, true},
    MarkCase{"NextGainOf30",            40,   20,     0,   30,  200,  200, false},
    MarkCase{"ThirdGainAbove30",        40,   20,     0,  200,   31,  200, true},
    MarkCase{"ThirdGainOf30",           40,   20,     0,  200,   30,  200, false},
    MarkCase{"SeventhGainAbove50",      40,   20,     0,  200,  200,   51, true},
    MarkCase{"SeventhGainOf50",         40,   20,     0,  200,  200,   50, false},
    MarkCase{"TenthAddsToNext",         40,   20,   109,  149,  300,  300, false},
    MarkCase{"TenthIsCutDown",          40,   20,   109,  150,  300,  300, true},
    MarkCase{"TenthOfANegative",        40,   20,  -100,  -60,  200,  200, false},
    MarkCase{"JustAboveThatTenth",      40,   20,  -100,  -59,  200,  200, true},
    MarkCase{"TenthAddsToThird",        40,   20,   100,  300,  140,  300, false},
    MarkCase{"TenthAddsToSeventh",      40,   20,   100,  300,  300,  160, false},
    MarkCase{"JustAboveOnSeventh",      40,   20,   100,  300,  300,  161, true},
    MarkCase{"NotYetWon",               40,   20,   249,  900,  900,  900, true},
    MarkCase{"WonAlready",              40,   20,   250,  900,  900,  900, false},
    MarkCase{"NotYetLost",              40,   20,  -999,    0,    0,    0, true},
    MarkCase{"LostAlready",             40,   20, -1000,    0,    0,    0, false},
    MarkCase{"NothingKnownBefore",      40,   20, MISSING, 200, 200,  200, false},
    MarkCase{"NothingKnownNext",        40,   20,     0, MISSING, 200, 200, false},
    MarkCase{"NothingKnownThird",       40,   20,     0,  200, MISSING, 200, false},
    MarkCase{"NothingKnownSeventh",     40,   20,     0,  200,  200, MISSING, false}),
    [](const auto& test) { return test.param.name; });
// clang-format on

TEST_F(WriteGame, TrainingLinesHaveScoreAndResultOfTheSideToMove) {
    add("e4 e5 Nf3 Nc6 Bb5 a6", 30);
    moves[1].score = -30;
    const Lines boards = {std::string(START_BOARD) + " w KQkq -",
                          "rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3"};
    EXPECT_EQ(write(SCAN_TRAINING, 0),
              (Lines{boards[0] + " ce 30; gr 1.0;", boards[1] + " ce -30; gr 0.0;"}));
    EXPECT_EQ(positions, 2);
    EXPECT_EQ(write(SCAN_TRAINING, 1),
              (Lines{boards[0] + " ce 30; gr 0.0;", boards[1] + " ce -30; gr 1.0;"}));
    EXPECT_EQ(write(SCAN_TRAINING, 2),
              (Lines{boards[0] + " ce 30; gr 0.5;", boards[1] + " ce -30; gr 0.5;"}));
}

TEST_F(WriteGame, TrainingResultsAlternateByIndexWhoeverBegan) {
    add("e5 Nf3 Nc6 Bb5 a6", 30);
    Lines lines = write(SCAN_TRAINING, 0, "rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq -");
    EXPECT_EQ(lines,
              Lines{"rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq - ce 30; gr 1.0;"});
}

TEST_F(WriteGame, TrainingNeedsFiveMoves) {
    add("e4 e5 Nf3 Nc6", 30);
    EXPECT_TRUE(write(SCAN_TRAINING).empty());
    EXPECT_EQ(positions, 0);
    add("Bb5", 30);
    EXPECT_EQ(write(SCAN_TRAINING).size(), 1u);
}

TEST_F(WriteGame, TrainingLeavesOutScoresThatSayNothing) {
    add("e4 e5 Nf3 Nc6 Bb5 a6 Ba4 Nf6 d3 d6 c3 g6", 0);
    moves[0].score = SCORE_AT_START; // small enough to be one
    moves[1].score = SCORE_NO_COMMENT;
    moves[2].score = SCORE_NO_VALUE;
    moves[3].score = 20001;
    moves[4].score = -20001;
    moves[5].score = 20000;
    moves[6].score = -20000;
    moves[7].score = 1;
    Lines lines = write(SCAN_TRAINING);
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(lines[0], std::string(START_BOARD) + " w KQkq - ce -10000; gr 0.5;");
    EXPECT_NE(lines[1].find(" ce 20000;"), std::string::npos) << lines[1];
    EXPECT_NE(lines[2].find(" ce -20000;"), std::string::npos) << lines[2];
    EXPECT_NE(lines[3].find(" ce 1;"), std::string::npos) << lines[3];
}

TEST_F(WriteGame, TrainingTakesNoughtsFromTheTwentiethIndexAndQuietMovesToTheTwentyFifth) {
    add_shuffle(60, 0);
    EXPECT_EQ(write(SCAN_TRAINING).size(), 6u) << "indexes 20 to 25";
}

TEST_F(WriteGame, TrainingAndSearchLinesLeaveOutChecks) {
    add("e4 e5 Qh5 Nc6 Qxf7+ Kxf7 Nf3 Nf6 Nxe5+ Nxe5", 30);
    EXPECT_EQ(write(SCAN_TRAINING).size(), 5u) << "0 to 5 without 5";
    EXPECT_EQ(write(SCAN_SEARCH).size(), 8u) << "0 to 9 without 5 and 9";
    EXPECT_EQ(write(SCAN_LISTING).size(), 11u);
}

namespace {

// 308 legal plies of which no 22 in a row are without a pawn move.
std::string long_game() {
    std::string words;
    for (char file : std::string("abcdegh"))
        for (const char* pair : {"36", "45"}) {
            words += {file, pair[0], ' ', file, pair[1], ' '};
            for (int i = 0; i < 5; i++) words += "Nf3 Nf6 Ng1 Ng8 ";
        }
    return words;
}

} // namespace

TEST_F(WriteGame, TrainingEndsWithIndex279AndSearchLinesWithIndex200) {
    add(long_game(), 7);
    ASSERT_EQ(moves.size(), 308u);
    EXPECT_EQ(write(SCAN_LISTING).size(), 309u) << "all moves are legal";
    EXPECT_EQ(write(SCAN_TRAINING).size(), 280u);
    EXPECT_EQ(write(SCAN_SEARCH).size(), 201u);
    moves.resize(282);
    EXPECT_EQ(write(SCAN_TRAINING).size(), 278u) << "and never with one of the last four";
}

TEST_F(WriteGame, SearchLinesHaveCountersMoveAndScore) {
    add("Nf3", 500);
    add("Nf6", -500);
    add("Ng1", 501);
    add("Ng8", 0);
    EXPECT_EQ(
        write(SCAN_SEARCH),
        (Lines{std::string(START_BOARD) + " w KQkq - 0 0 bm Nf3; ce 500;",
               "rnbqkbnr/pppppppp/8/8/8/5N2/PPPPPPPP/RNBQKB1R b KQkq - 1 1 bm Nf6; ce -500;",
               "rnbqkb1r/pppppppp/5n2/8/8/5N2/PPPPPPPP/RNBQKB1R w KQkq - 2 2 bm Ng1; ce 501;"}))
        << "the game ends after a decided score";
    EXPECT_EQ(positions, 3);
}

TEST_F(WriteGame, SearchLinesEndAfterAMoveWithoutAValue) {
    add("e4 e5 Nf3");
    EXPECT_EQ(write(SCAN_SEARCH),
              Lines{std::string(START_BOARD) + " w KQkq - 0 0 bm e4; ce -30000;"});
}

TEST_F(WriteGame, RookEndingsHaveOneRookEachAndOnePawn) {
    const std::string fen = "8/8/4k3/7p/8/R7/7K/r7 w - - 5 60";
    add("Rb3", 12);
    add("h4", -12);
    const Lines written = {"8/8/4k3/7p/8/R7/7K/r7 w - - 0 0 bm Rb3; ce 12; tune ",
                           "8/8/4k3/7p/8/1R6/7K/r7 b - - 1 1 bm h4; ce -12; tune "};
    EXPECT_EQ(write(SCAN_ROOKS, 0, fen), (Lines{written[0] + "1.00000;", written[1] + "0.00000;"}));
    EXPECT_EQ(positions, 2);
    EXPECT_EQ(write(SCAN_ROOKS, 1, fen), (Lines{written[0] + "0.00000;", written[1] + "1.00000;"}));
    EXPECT_EQ(write(SCAN_ROOKS, 2, fen), (Lines{written[0] + "0.50000;", written[1] + "0.50000;"}));
}

TEST_F(WriteGame, OtherEndingsAreNoRookEndings) {
    add("Kg2", 12);
    for (const char* fen : {"8/8/4k3/8/8/R7/7K/r7 w - -", "8/8/4k3/6pp/8/R7/7K/r7 w - -",
                            "8/8/4k3/7p/8/R6P/7K/r7 w - -", "8/8/4k3/7p/8/RN6/7K/r7 w - -",
                            "8/8/4k3/7p/8/Q7/7K/r7 w - -", "8/8/4k3/7p/8/8/7K/r7 w - -"})
        EXPECT_TRUE(write(SCAN_ROOKS, 0, fen).empty()) << fen;
    EXPECT_EQ(write(SCAN_ROOKS, 0, "8/8/4k3/7P/8/R7/7K/r7 w - -").size(), 1u);
    moves.clear();
    add("Kf7", 12);
    EXPECT_EQ(write(SCAN_ROOKS, 0, "8/8/4k3/7P/8/4R3/7K/r7 b - -").size(), 1u)
        << "checks are no matter";
}

TEST_F(WriteGame, LeavesRookEndingsThatAreOver) {
    add("Rxh5 Rh1+ Kxh1 Kd6", 12);
    EXPECT_EQ(write(SCAN_ROOKS, 0, "8/8/4k3/R6p/8/8/7K/r7 w - -").size(), 1u);
}

namespace {

// A run of the program over a text.
struct ScanRun {
    Lines lines;  // standard output behind the two lines of the start
    Lines out;    // the output file
    Lines second; // tmpX.epd
    int status;
};

std::string scan_directory;

ScanRun scan(const std::string& text, int mode, const std::string& out_name = "") {
    scan_directory = fresh_directory();
    std::ofstream(scan_directory + "/games.pgn", std::ios::binary) << text;
    std::vector<std::string> arguments = {"-scan_pgn" + std::to_string(mode), "games.pgn",
                                          "-use_hce", "-hash", "1"};
    if (!out_name.empty()) arguments.insert(arguments.end(), {"-o", out_name});
    Program program = start_program(arguments, scan_directory);
    int status = wait_exit(program, 60000);
    Lines lines = program.lines;
    lines.erase(lines.begin(), lines.begin() + std::min<ptrdiff_t>(3, std::ssize(lines)));
    return {lines, read_lines(scan_directory + "/" + (out_name.empty() ? "tmp.epd" : out_name)),
            read_lines(scan_directory + "/tmpX.epd"), status};
}

std::string tags(const std::string& result = "1-0") {
    return "[Event \"x\"]\n[White \"A\"]\n[Black \"B\"]\n[Result \"" + result + "\"]\n";
}

// The listing's lines of moves, which alone have braces.
Lines listed(const ScanRun& run) {
    Lines kept;
    for (const std::string& line : run.out)
        if (line.find('{') != std::string::npos) kept.push_back(line);
    return kept;
}

} // namespace

TEST(ScanPgn, CopiesTagsAndNamesTheGameInAListing) {
    ScanRun run = scan("[Event \"One\"]\n[Round \"3\"]\n[White \"A\"]\n[Black \"B\"]\n"
                       "[Result \"1-0\"]\n\n1. e4 {+0.30/5 1s} e5 {-0.10/5 1s} 1-0\n\n"
                       "[Event \"Two\"]\n[Round \"4\"]\n[White \"C\"]\n[Black \"D\"]\n"
                       "[Result \"1/2-1/2\"]\n\n1. d4 1/2-1/2\n",
                       1);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out,
              (Lines{"[Event \"One\"]", "[Round \"3\"]", "[Tag \"game_0\"]", "[White \"A\"]",
                     "[Black \"B\"]", "[Result \"1-0\"]", "  1.  e4      {  0.30}",
                     "     e5      {  0.10}", "", "[Event \"Two\"]", "[Round \"4\"]",
                     "[Tag \"game_1\"]", "[White \"C\"]", "[Black \"D\"]", "[Result \"1/2-1/2\"]",
                     "  1.  d4      {}", "", ""}));
    EXPECT_EQ(run.lines, Lines{"games= 2, positions= 0"});
    EXPECT_TRUE(run.second.empty());
}

TEST(ScanPgn, OtherModesWriteNoTagsAndEndWithAnEmptyLine) {
    ScanRun run =
        scan(tags("0-1") + "\n1. e4 {+0.30/5} e5 {-0.10/5} 2. Nf3 Nc6 3. Bb5 a6 *\n", 2, "out.epd");
    EXPECT_EQ(
        run.out,
        (Lines{std::string(START_BOARD) + " w KQkq - ce 30; gr 0.0;",
               "rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3 ce -10; gr 1.0;", ""}));
    EXPECT_EQ(run.lines, Lines{"games= 1, positions= 2"});
    EXPECT_EQ(scan(tags() + "1. e4 {+0.30/5}\n", 3).out,
              (Lines{std::string(START_BOARD) + " w KQkq - 0 0 bm e4; ce 30;", ""}));
    EXPECT_EQ(
        scan(tags() + "[FEN \"8/8/4k3/7p/8/R7/7K/r7 w - - 5 60\"]\n1. Rb3 {+0.12/5}\n", 4).out,
        (Lines{"8/8/4k3/7p/8/R7/7K/r7 w - - 0 0 bm Rb3; ce 12; tune 1.00000;", ""}));
}

TEST(ScanPgn, TheFirstMoveWithoutACommentDiffersFromTheOthers) {
    EXPECT_EQ(scan(tags() + "1. e4 e5\n", 3).out,
              (Lines{std::string(START_BOARD) + " w KQkq - 0 0 bm e4; ce -10000;", ""}));
    EXPECT_EQ(scan(tags() + "1. e4 {words} e5\n", 3).out,
              (Lines{std::string(START_BOARD) + " w KQkq - 0 0 bm e4; ce -29999;", ""}));
    EXPECT_EQ(scan(tags() + "1. e4 {book} e5\n", 3).out[1],
              "rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3 0 1 bm e5; ce -30000;");
}

TEST(ScanPgn, ALineThatBeginsWithABracketAndAPercentSignIsMoveText) {
    ScanRun run =
        scan(tags() + "1. e4\n[%1] {+0.30/5} e5 {-0.20/5}\nNf3 {\n[%eval 0.35] 0.5/7}\n", 1);
    EXPECT_EQ(listed(run),
              (Lines{"  1.  e4      {  0.30}", "     e5      {  0.20}", "  2.  Nf3     {  0.00}"}));
}

TEST(ScanPgn, CommentsRunOnOverTheLineEnd) {
    EXPECT_EQ(listed(scan(tags() + "1. e4 {\n+0.30/5\n1.2s} e5 {-0.20/5 Nf6\nNf3} Nf3\n", 1)),
              (Lines{"  1.  e4      {  0.30}", "     e5      {  0.20}", "  2.  Nf3     {}"}));
}

TEST(ScanPgn, ACommentThatNeverEndsEndsAtTheNextTag) {
    ScanRun run = scan(tags() + "1. e4 {never ending\n1. d4\n\n" + tags() + "1. c4 {+0.30/5}\n", 1);
    EXPECT_EQ(listed(run), (Lines{"  1.  e4      {}", "  1.  c4      {  0.30}"}));
}

TEST(ScanPgn, NestedCommentsAreReadAtTheirOuterEnd) {
    EXPECT_EQ(listed(scan(tags() + "1. e4 {a {+0.90/5} b} e5 {{-0.20/5}} Nf3 {x} {+0.10/3}\n", 1)),
              (Lines{"  1.  e4      {  0.90}", "     e5      {  0.20}", "  2.  Nf3     {  0.10}"}));
}

TEST(ScanPgn, BracesAndBracketsOutOfPlaceDoNoHarm) {
    EXPECT_EQ(
        listed(scan(tags() + "} {before +0.50/5} } 1. e4 } {+0.30/5} }} ( ) $4 e5 {-0.20/5}\n", 1)),
        (Lines{"  1.  e4      {  0.30}", "     e5      {  0.20}"}))
        << "a comment before the first move belongs to none";
}

TEST(ScanPgn, EvalIsFromWhitesSideAlsoWhereBlackBegan) {
    EXPECT_EQ(listed(scan(tags() + "1. e4 {eval 30, d 5} e5 {eval 20, d 5}\n", 1)),
              (Lines{"  1.  e4      {  0.30}", "     e5      {  0.20}"}));
    EXPECT_EQ(
        listed(scan(tags()
                        + "[FEN \"rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq - 0 1\"]\n"
                          "1... e5 {eval 20, d 5} Nf3 {eval 10, d 5}\n",
                    1)),
        (Lines{"     e5      {  0.20}", "  2.  Nf3     {  0.10}"}));
}

TEST(ScanPgn, MovesAreCountedFromTheLastTag) {
    ScanRun run = scan(tags() + "1. e4\n[Annotator \"x\"]\n1. d4 d5\n", 1);
    EXPECT_EQ(run.out, (Lines{"[Event \"x\"]", "[White \"A\"]", "[Black \"B\"]", "[Result \"1-0\"]",
                              "  1.  e4      {}", "", "[Annotator \"x\"]", "  1.  d4      {}",
                              "     d5      {}", "", ""}));
    EXPECT_EQ(run.lines, Lines{"games= 1, positions= 0"});
}

TEST(ScanPgn, ATextThatIsNoMoveEndsOnlyItsGame) {
    ScanRun run = scan(tags() + "1. e4 e5 2. Ke3 d6\n\n" + tags() + "1. d4 Nf6xx\n\n" + tags()
                           + "1. c4 verylongword c5\n",
                       1);
    EXPECT_EQ(listed(run), (Lines{"  1.  e4      {}", "     e5      {}", "  1.  d4      {}",
                                  "  1.  c4      {}"}));
    EXPECT_EQ(run.lines, Lines{"games= 3, positions= 0"});
}

TEST(ScanPgn, GamesThatWereCutShortAreCountedIfTheyTellBehindTheResult) {
    for (const char* ending : {"abandoned", "time forfeit", "unterminated"}) {
        const std::string termination = "[Termination \"" + std::string(ending) + "\"]\n";
        ScanRun behind = scan(tags() + termination + "1. e4 e5\n\n" + tags() + "1. d4\n", 1);
        EXPECT_EQ(listed(behind), Lines{"  1.  d4      {}"}) << ending;
        EXPECT_EQ(behind.lines, Lines{"games= 2, positions= 0"}) << ending;

        ScanRun before = scan("[Event \"x\"]\n" + termination + "[Result \"1-0\"]\n1. e4\n\n"
                                  + tags() + "1. d4\n",
                              1);
        EXPECT_EQ(listed(before), Lines{"  1.  d4      {}"}) << ending;
        EXPECT_EQ(before.lines, Lines{"games= 1, positions= 0"}) << ending;
    }
}

TEST(ScanPgn, APositionStandsBehindTheNames) {
    const std::string fen = "[FEN \"8/8/4k3/7p/8/R7/7K/r7 w - - 5 60\"]\n";
    EXPECT_EQ(listed(scan(tags() + fen + "Rb3\n", 1)), Lines{"  1.  Rb3     {}"});
    EXPECT_TRUE(
        listed(scan("[Event \"x\"]\n" + fen + "[White \"A\"]\n[Result \"*\"]\nRb3\n", 1)).empty())
        << "White's name forgets it";
    EXPECT_EQ(listed(scan(tags() + fen + "Rb3\n\n" + tags() + "e4\n", 1)),
              (Lines{"  1.  Rb3     {}", "  1.  e4      {}"}))
        << "the next game begins anew";
}

TEST(ScanPgn, TagNamesAreFoundAnywhereInTheirOrder) {
    EXPECT_EQ(listed(scan(tags("0-1")
                              + "[FEN \"8/8/4k3/7p/8/R7/7K/r7 w - -\"]\n"
                                "[Note \"White Result \"]\ne4\n",
                          1)),
              Lines{"  1.  e4      {}"})
        << "read as a name, which forgets the position";
    EXPECT_EQ(scan("[Event \"Result Round \"]\n[Result \"1-0\"]\n", 1).out,
              (Lines{"[Event \"Result Round \"]", "[Tag \"game_0\"]", "[Result \"1-0\"]", ""}));
}

TEST(ScanPgn, BrokenTagsAreRead) {
    for (const char* tag : {"[FEN \"", "[FEN ", "[FEN \"\"]", "[FEN ]", "["}) {
        ScanRun run = scan(tags() + tag + "\ne4\n", 1);
        EXPECT_EQ(listed(run), Lines{"  1.  e4      {}"}) << tag;
    }
    EXPECT_TRUE(listed(scan(tags() + "[FEN \"9/X/\"]\ne4\n", 1)).empty());
    EXPECT_EQ(listed(scan(tags() + "[FEN \"8/8/4k3/7p/8/R7/7K/r7 w - -\nRb3\n", 1)).size(), 1u)
        << "a quote is missing";
}

TEST(ScanPgn, EachHundredthGameIsTold) {
    std::string text;
    for (int i = 0; i < 250; i++) text += tags() + "1. e4 *\n";
    EXPECT_EQ(scan(text, 4).lines, (Lines{"game 100", "game 200", "games= 250, positions= 0"}));
}

namespace {

std::string shuffle_text(int plies, bool in_lines) {
    const char* const words[4] = {"Nf3 ", "Nf6 ", "Ng1 ", "Ng8 "};
    std::string text;
    for (int i = 0; i < plies; i++) {
        text += words[i % 4];
        if (in_lines && i % 10 == 9) text += "\n";
    }
    return text;
}

} // namespace

TEST(ScanPgn, AGameHasAtMost791Moves) {
    ScanRun exact = scan(tags() + shuffle_text(791, true) + "{+0.30/5}\n", 1);
    ASSERT_EQ(listed(exact).size(), 791u);
    EXPECT_EQ(listed(exact)[790], "396.  Ng1     {  0.30}");
    for (int plies : {792, 800, 2000})
        EXPECT_EQ(listed(scan(tags() + shuffle_text(plies, true), 1)).size(), 791u) << plies;
    ScanRun next = scan(tags() + shuffle_text(2000, true) + "{+0.30/5\n" + tags() + "1. e4\n", 1);
    ASSERT_EQ(listed(next).size(), 792u);
    EXPECT_EQ(listed(next)[790], "396.  Ng1     {}") << "comments on dropped moves are dropped";
    EXPECT_EQ(listed(next)[791], "  1.  e4      {}");
}

TEST(ScanPgn, LongLinesAreReadInPiecesOf255Characters) {
    // With its blank a move has four characters here. The first piece ends with the last letter of
    // the 64th move, the second in the middle of the 128th.
    EXPECT_EQ(listed(scan(tags() + shuffle_text(127, false) + "\n", 1)).size(), 127u);
    EXPECT_EQ(listed(scan(tags() + shuffle_text(200, false) + "\n", 1)).size(), 127u);
    EXPECT_EQ(listed(scan(tags() + " " + shuffle_text(200, false) + "\n", 1)).size(), 63u);
    // Comments don't mind.
    const std::string far(300, '.');
    EXPECT_EQ(listed(scan(tags() + "1. e4 {" + far + " +0.30/5} e5\n", 1)),
              (Lines{"  1.  e4      {  0.30}", "     e5      {}"}));
    EXPECT_EQ(listed(scan(tags() + "1. e4 {+0.30/5 " + std::string(9000, 'x') + "} e5\n", 1)),
              (Lines{"  1.  e4      {  0.30}", "     e5      {}"}));
}

TEST(ScanPgn, ALongTagIsOneLine) {
    const std::string name(600, 'e');
    ScanRun run = scan("[Event \"x\"]\n[White \"" + name + " e4 e5\"]\n[Result \"1-0\"]\n[Black \""
                           + name + "\"]\nd4\n",
                       1);
    EXPECT_EQ(listed(run), Lines{"  1.  d4      {}"});
    EXPECT_EQ(run.out[1], ("[White \"" + name).substr(0, 255));
    EXPECT_EQ(run.out[2], "[Result \"1-0\"]");
}

TEST(ScanPgn, LinesMayEndAsOnOtherSystems) {
    ScanRun run =
        scan("[Event \"x\"]\r\n[Result \"1-0\"]\r\n\r\n1. e4 {+0.30/5\r\n1s}\r\ne5\tNf3\r\n", 1);
    EXPECT_EQ(run.out, (Lines{"[Event \"x\"]", "[Result \"1-0\"]", "  1.  e4      {  0.30}",
                              "     e5      {}", "  2.  Nf3     {}", "", ""}));
}

TEST(ScanPgn, FilesWithoutGamesHaveNone) {
    EXPECT_EQ(scan("", 1).out, Lines{""});
    EXPECT_EQ(scan("", 1).lines, Lines{"games= 0, positions= 0"});
    EXPECT_EQ(scan("1. e4 e5", 1).out, (Lines{"  1.  e4      {}", "     e5      {}", "", ""}));
    EXPECT_EQ(scan("[Event \"x\"]", 1).out, (Lines{"[Event \"x\"]", ""}));
}

TEST(ScanPgn, FilesThatCannotBeOpenedEndTheRun) {
    std::string directory = fresh_directory();
    std::filesystem::create_directory(directory + "/folder");
    std::ofstream(directory + "/games.pgn") << tags() << "1. e4\n";
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"-scan_pgn1", "missing.pgn"},
          std::vector<std::string>{"-scan_pgn1", "folder"},
          std::vector<std::string>{"-scan_pgn1", "games.pgn", "-o", "folder"},
          std::vector<std::string>{"-scan_pgn1", "games.pgn", "-o", "no/such/folder"},
          std::vector<std::string>{"-scan_pgn1", "games.pgn", "-o", "games.pgn"},
          std::vector<std::string>{"-scan_pgn1", "games.pgn", "-o", "./games.pgn"},
          std::vector<std::string>{"-scan_pgn1", "games.pgn", "-o", "tmpX.epd"},
          std::vector<std::string>{"-scan_pgn1"}}) {
        Program program = start_program(arguments, directory);
        EXPECT_EQ(wait_exit(program, 60000), 1);
        EXPECT_EQ(program.lines.size(), 3u) << joined(program.lines);
    }
    EXPECT_EQ(read_lines(directory + "/games.pgn").size(), 5u) << "the input is not touched";

    std::filesystem::remove_all(directory + "/tmpX.epd");
    std::filesystem::create_directory(directory + "/tmpX.epd");
    Program program = start_program({"-scan_pgn1", "games.pgn"}, directory);
    EXPECT_EQ(wait_exit(program, 60000), 1);
    EXPECT_EQ(program.lines.size(), 3u) << joined(program.lines);
}

TEST(ScanPgn, NoiseDoesNoHarm) {
    const char* const parts[] = {"[Event \"",
                                 "[White \"",
                                 "[FEN \"",
                                 "[Result \"1-0\"]",
                                 "\"]",
                                 "\n",
                                 "{",
                                 "}",
                                 "eval ",
                                 "book",
                                 "/",
                                 "+M",
                                 "-M",
                                 "1. e4 ",
                                 "e5 ",
                                 "Nf3 ",
                                 "O-O ",
                                 "(",
                                 ")",
                                 "$7 ",
                                 "[%",
                                 "8/8/4k3/7p/8/R7/7K/r7 w - -",
                                 "999999999999999999999",
                                 "e8=Q ",
                                 "+0.30/5",
                                 "\r\n",
                                 " "};
    Random random = {71};
    std::string text;
    while (text.size() < 60000) {
        if (random_below(random, 4) == 0) text += static_cast<char>(random_below(random, 256));
        else text += parts[random_below(random, std::size(parts))];
        if (random_below(random, 60) == 0)
            text += std::string(static_cast<size_t>(random_below(random, 600)),
                                static_cast<char>(random_below(random, 256)));
    }
    for (int mode = 1; mode <= 4; mode++) {
        ScanRun run = scan(text, mode);
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(count_lines(run.lines, "games= "), 1);
    }
}

TEST(ScanPgn, RealGames) {
    const std::string folder = shared_data("pgn/");
    if (folder.empty()) GTEST_SKIP() << "MIRD_TEST_DATA is not set";
    struct Expected {
        const char* name;
        int games;
        int positions[4];
    };
    for (const Expected& file : {Expected{"engine-games.pgn", 203, {756, 15437, 9869, 80}},
                                 Expected{"annotated.pgn", 47, {0, 40, 38, 0}}})
        for (int mode = 1; mode <= 4; mode++) {
            std::string option = "-scan_pgn" + std::to_string(mode);
            Program program = start_program({option, folder + file.name, "-use_hce", "-hash", "1"});
            EXPECT_EQ(wait_exit(program, 60000), 0);
            EXPECT_EQ(program.lines.back(), "games= " + std::to_string(file.games) + ", positions= "
                                                + std::to_string(file.positions[mode - 1]));
        }
}
