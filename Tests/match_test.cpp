// Matches of two engines: their games, the files that hold them, and the sums of these.

#include <filesystem>
#include <fstream>

#include "Training/match_file.h"
#include "Training/match_game.h"
#include "Training/ply_record.h"
#include "search_fixture.h"

namespace {

class MatchGames : public SearchTest {};

// An engine that takes a program of the shell for each move.
std::string engine_that(const std::string& answer) {
    return "sh -c 'while read word rest; do case $word in uci) echo uciok;; isready) echo readyok;;"
           " go) "
         + answer + ";; quit) exit;; esac; done'";
}

// One game between two such engines; each is started and ended.
MatchResult play_one(const std::string& white, const std::string& black, const char* fen,
                     const MatchLimit& limit = {.depth = 1}) {
    MatchPlayer first = {white, "", {}}, second = {black, "", {}};
    MatchResult result = {-1, MatchEnd::RULES, -1};
    EXPECT_TRUE(play_match_game(result, first, second, limit, fen));
    stop_engine(first.engine);
    stop_engine(second.engine);
    return result;
}

MatchHead head_of(uint64_t seed, int shard) {
    return {"engine ./new\noptions \nengine ./old\noptions Hash=16\n", 8, seed, shard, 2};
}

std::string written(const std::string& name, const MatchHead& head,
                    const std::vector<MatchGame>& games, const std::string& tail = "") {
    static const std::string folder = fresh_directory();
    const std::string path = folder + "/" + name;
    std::ofstream file(path);
    file << match_head_text(head);
    for (const MatchGame& game : games) file << match_game_text(game);
    file << tail;
    return path;
}

const std::vector<MatchGame> EARLY = {{0, RESULT_WON, MatchEnd::RULES, 61},
                                      {1, RESULT_DRAWN, MatchEnd::SCORE, 120},
                                      {4, RESULT_LOST, MatchEnd::TIME, 9},
                                      {5, RESULT_WON, MatchEnd::ILLEGAL, 1}};
const std::vector<MatchGame> LATE = {{2, RESULT_DRAWN, MatchEnd::RULES, 400},
                                     {3, RESULT_LOST, MatchEnd::SCORE, 77},
                                     {6, RESULT_DRAWN, MatchEnd::RULES, 90},
                                     {7, RESULT_DRAWN, MatchEnd::RULES, 91}};

// What a sum of files says on standard error; "" if all was well.
std::string complaint(const std::vector<std::string>& paths) {
    MatchTotals totals;
    testing::internal::CaptureStderr();
    bool good = sum_match_files(totals, paths);
    std::string text = testing::internal::GetCapturedStderr();
    EXPECT_EQ(good, text.empty());
    return text;
}

std::string printed(const MatchTotals& totals) {
    testing::internal::CaptureStdout();
    print_match_totals(totals);
    return testing::internal::GetCapturedStdout();
}

constexpr char MATE_IN_ONE[] = "6k1/5ppp/8/8/8/8/8/R3K3 w Q -";

} // namespace

TEST_F(MatchGames, EndByMate) {
    MatchResult result =
        play_one(engine_that("echo bestmove a1a8"), engine_that("exit"), MATE_IN_ONE);
    EXPECT_EQ(result.white, RESULT_WON);
    EXPECT_EQ(result.end, MatchEnd::RULES);
    EXPECT_EQ(result.plies, 1);
}

TEST_F(MatchGames, AreLostByFaults) {
    const std::string idle = engine_that("echo bestmove a1a2");
    MatchResult illegal = play_one(engine_that("echo bestmove a1b2"), idle, MATE_IN_ONE);
    EXPECT_EQ(illegal.end, MatchEnd::ILLEGAL);
    EXPECT_EQ(illegal.white, RESULT_LOST);

    MatchResult crashed = play_one(idle, engine_that("exit"), MATE_IN_ONE);
    EXPECT_EQ(crashed.end, MatchEnd::SILENT);
    EXPECT_EQ(crashed.white, RESULT_WON);
    EXPECT_EQ(crashed.plies, 1);

    MatchResult late =
        play_one(engine_that("sleep 0.3; echo bestmove a1a8"), idle, MATE_IN_ONE, {.seconds = 0.1});
    EXPECT_EQ(late.end, MatchEnd::TIME);
    EXPECT_EQ(late.white, RESULT_LOST);
}

TEST_F(MatchGames, EndByScoresOfBothSides) {
    // The rook goes to and fro, the king as well; both say that White wins.
    const std::string white =
        engine_that("n=$((n+1)); echo info depth 1 score cp 1200; "
                    "[ $((n%2)) = 1 ] && echo bestmove a1a2 || echo bestmove a2a1");
    const std::string black =
        engine_that("n=$((n+1)); echo info score mate -3 nodes 7; "
                    "[ $((n%2)) = 1 ] && echo bestmove g8f8 || echo bestmove f8g8");
    MatchResult result = play_one(white, black, MATE_IN_ONE);
    EXPECT_EQ(result.end, MatchEnd::SCORE);
    EXPECT_EQ(result.white, RESULT_WON);
    EXPECT_EQ(result.plies, 3) << "four scores in a row, the last move not played";
}

TEST_F(MatchGames, GiveTheTimeAnewBehindSomeMoves) {
    // Two moves a period: the second takes most of it, and the third more than is left of it.
    const std::string white =
        engine_that("n=$((n+1)); case $rest in *movestogo\\ 1) [ $n = 2 ] || exit; sleep 0.2;;"
                    " *movestogo\\ 2) [ $n != 2 ] || exit;; *) exit;; esac;"
                    "case $n in 1) echo bestmove a1a2;; 2) echo bestmove a2a1;;"
                    " 3) sleep 0.2; echo bestmove a1a8;; esac");
    const std::string black =
        engine_that("n=$((n+1)); [ $((n%2)) = 1 ] && echo bestmove g8f8 || echo bestmove f8g8");
    MatchResult result = play_one(white, black, MATE_IN_ONE, {.seconds = 0.3, .moves = 2});
    EXPECT_EQ(result.end, MatchEnd::RULES);
    EXPECT_EQ(result.white, RESULT_WON);
    EXPECT_EQ(result.plies, 5);
}

TEST_F(MatchGames, NeedEnginesThatSpeak) {
    MatchPlayer first = {"/nowhere/engine", "", {}}, second = first;
    MatchResult result;
    testing::internal::CaptureStderr();
    EXPECT_FALSE(play_match_game(result, first, second, {.depth = 1}, START_FEN));
    std::string text = testing::internal::GetCapturedStderr();
    EXPECT_NE(text.find("no UCI engine: /nowhere/engine"), std::string::npos) << text;
    stop_engine(first.engine);
}

TEST(MatchFiles, AreReadAsTheyWereWritten) {
    const std::string path = written("early", head_of(5, 1), EARLY);
    MatchFile file;
    ASSERT_EQ(read_match_file(file, path), nullptr);
    EXPECT_EQ(match_head_text(file.head), match_head_text(head_of(5, 1)));
    EXPECT_EQ(file.head.games, 8u);
    EXPECT_EQ(file.head.seed, 5u);
    ASSERT_EQ(file.games.size(), EARLY.size());
    for (size_t i = 0; i < EARLY.size(); i++)
        EXPECT_EQ(match_game_text(file.games[i]), match_game_text(EARLY[i]));
    EXPECT_EQ(file.whole_bytes, std::filesystem::file_size(path));
}

TEST(MatchFiles, MayEndInATornLine) {
    MatchFile file;
    ASSERT_EQ(read_match_file(file, written("torn", head_of(5, 1), EARLY, "6 1 ru")), nullptr);
    EXPECT_EQ(file.games.size(), EARLY.size());
    EXPECT_EQ(file.whole_bytes, std::filesystem::file_size(written("early", head_of(5, 1), EARLY)));
}

TEST(MatchFiles, AreRefusedWhenTheyAreSomethingElse) {
    MatchFile file;
    EXPECT_STREQ(read_match_file(file, "/nowhere/games"), "can't be read");
    EXPECT_STREQ(read_match_file(file, written("broken", head_of(5, 1), {}, "6 2 rules 7\n")),
                 "has a broken line");
    MatchHead other = head_of(5, 1);
    other.settings = "\n\n";
    EXPECT_STREQ(read_match_file(file, written("other", other, {})), "is no file of a match");
}

TEST(MatchSums, OfShardsAreThoseOfTheWhole) {
    std::vector<MatchGame> all = EARLY;
    all.insert(all.end(), LATE.begin(), LATE.end());
    MatchTotals whole, parts;
    ASSERT_TRUE(sum_match_files(whole, {written("whole", head_of(5, 0), all)}));
    ASSERT_TRUE(sum_match_files(
        parts, {written("late", head_of(5, 1), LATE), written("early", head_of(5, 0), EARLY)}));

    EXPECT_EQ(printed(parts), printed(whole));
    EXPECT_EQ(printed(whole), "games 8 of 8: +2 =4 -2, faults 1 and 1\n"
                              "score 0.5000, Elo +0.0 +/- 186.2, 95 % within -186.2 to +186.2\n");
}

TEST(MatchSums, OfSeveralSeedsAreOfSeveralMatches) {
    MatchTotals totals;
    ASSERT_TRUE(sum_match_files(
        totals, {written("a", head_of(5, 0), EARLY), written("b", head_of(6, 0), EARLY)}));
    EXPECT_EQ(totals.games, 16u);
    EXPECT_EQ(totals.results[RESULT_WON], 4u);
}

TEST(MatchSums, RefuseWhatWouldCountTwice) {
    const std::string one = written("one", head_of(5, 0), EARLY);
    const std::string two = written("two", head_of(5, 1), {EARLY[1]});
    EXPECT_NE(complaint({one, two}).find("are of one seed and both have game 1"),
              std::string::npos);
    EXPECT_NE(complaint({one, one}), "");

    MatchHead other = head_of(6, 0);
    other.settings = "engine ./other\n";
    EXPECT_NE(complaint({one, written("three", other, LATE)}).find("different matches"),
              std::string::npos);
}

TEST(MatchSums, HaveTheErrorOfTheFormula) {
    MatchTotals totals = {1000, {200, 400, 400}, {0, 0}};
    EXPECT_EQ(printed(totals), "games 1000 of 1000: +400 =400 -200, faults 0 and 0\n"
                               "score 0.6000, Elo +70.4 +/- 16.8, 95 % within +53.8 to +87.4\n");
    totals = {2, {0, 0, 2}, {0, 0}};
    EXPECT_EQ(printed(totals), "games 2 of 2: +2 =0 -0, faults 0 and 0\nscore 1.0000, Elo +inf\n");
}
