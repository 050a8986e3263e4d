// What the search says: info lines, the console's lines, mates.

#include "search_fixture.h"

#include "base/lock.h"
#include "search/driver.h"
#include "search/info.h"

namespace {

// A search of 1.5 seconds with 3,000 nodes, at depth 12 and 20 plies, that has not ended.
class Report : public SearchTest {
protected:
    void SetUp() override {
        SearchTest::SetUp();
        root_of(START_FEN);
        set_relaxed(engine.game_state, STATE_THINKING);
        set_relaxed(engine.elapsed, 1.5f);
        set_relaxed(engine.root_wdl, -1);
        set_relaxed(master().nodes, 3000);
        set_relaxed(master().tb_hits, 4);
        master().seldepth = 21;
        engine.multipv = 1;
        engine.root_side = WHITE;
        engine.hash_fill = 0.0f;
        shell.noise = 0.0f;
        pv[1] = make_plain_move(12, 28); // e2e4
        pv[2] = make_plain_move(52, 36); // e7e5
    }

    std::string reported(int depth, int score, int line = 0, int thread = 0) {
        testing::internal::CaptureStdout();
        report_line(thread, line, depth, score, pv);
        return testing::internal::GetCapturedStdout();
    }

    Move pv[PLY_SLOTS] = {};
};

std::string score_field(const std::string& line) {
    size_t at = line.find("score ") + 6;
    return line.substr(at, line.find(" time") - at);
}

} // namespace

TEST_F(Report, UciLineHasAllFields) {
    EXPECT_EQ(reported(12, 34),
              "info depth 12 seldepth 20 score cp 34 time 1500 nodes 3000 nps 2000 tbhits 4 "
              "hashfull 0 pv e2e4 e7e5\n");
    EXPECT_FALSE(report_lock.taken.load()) << "the lock is given back";
}

TEST_F(Report, LineNumberStandsOnlyWithMultiPv) {
    EXPECT_EQ(reported(12, 34, 3).find("info depth 12"), 0u);
    engine.multipv = 3;
    EXPECT_EQ(reported(12, 34, 3).find("info multipv 3 depth 12 seldepth"), 0u);
}

TEST_F(Report, OnlyTheStrictProtocolTellsABound) {
    struct Case {
        uint8_t strict, multipv, bound;
        const char* text;
    };
    for (const Case& c :
         {Case{1, 1, BOUND_EXACT, "cp 34"}, Case{1, 1, BOUND_LOWER, "cp 34 lowerbound"},
          Case{1, 1, BOUND_UPPER, "cp 34 upperbound"}, Case{1, 2, BOUND_LOWER, "cp 34"},
          Case{0, 1, BOUND_LOWER, "cp 34"}, Case{0, 1, BOUND_UPPER, "cp 34"}}) {
        shell.strict = c.strict;
        engine.multipv = c.multipv;
        set_relaxed(engine.best_bound, c.bound);
        EXPECT_EQ(score_field(reported(12, 34)), c.text);
    }
    shell.strict = 0;
}

TEST_F(Report, MatesAreToldInMoves) {
    struct Case {
        int score;
        const char* text;
    };
    const Case cases[] = {{9998, "mate 1"},    {9997, "mate 1"},    {9996, "mate 2"},
                          {9994, "mate 3"},    {9900, "mate 50"},   {9899, "cp 9899"},
                          {-9900, "cp -9900"}, {-9901, "mate -50"}, {-9998, "mate -1"},
                          {-9999, "mate -1"},  {-9997, "mate -2"},  {-9995, "mate -3"},
                          {0, "cp 0"},         {-1, "cp -1"}};
    for (const Case& c : cases) EXPECT_EQ(score_field(reported(12, c.score)), c.text) << c.score;
}

TEST_F(Report, ScoresAgreeWithTheTablesOfTheRoot) {
    struct Case {
        int wdl, score;
        const char* text;
    };
    const Case cases[] = {{4, 120, "cp 9800"},   {4, -500, "cp 9800"},   {4, 9898, "cp 9800"},
                          {4, 9899, "cp 9899"},  {4, 9990, "mate 5"},    {0, -120, "cp -9800"},
                          {0, 500, "cp -9800"},  {0, -9899, "cp -9800"}, {0, -9900, "cp -9900"},
                          {0, -9990, "mate -5"}, {2, 300, "cp 0"},       {2, -9990, "cp 0"},
                          {1, 300, "cp 300"},    {3, 300, "cp 300"},     {-1, 300, "cp 300"}};
    for (const Case& c : cases) {
        set_relaxed(engine.root_wdl, c.wdl);
        EXPECT_EQ(score_field(reported(12, c.score)), c.text) << c.wdl << " " << c.score;
    }
}

TEST_F(Report, SpeedIsZeroInTheFirstMillisecond) {
    set_relaxed(engine.elapsed, 0.001f - 0.0001f);
    EXPECT_NE(reported(12, 34).find(" nps 0 "), std::string::npos);
    set_relaxed(engine.elapsed, 0.002f);
    EXPECT_NE(reported(12, 34).find(" nps 1500000 "), std::string::npos);
}

TEST_F(Report, HashFillIsSampledAboveDepthSix) {
    for (uint64_t i = 0; i < 250; i++) {
        HashRecord record = {};
        record.age = static_cast<uint8_t>(engine.hash_age);
        write_slot(hash_entries / 2 - 100 + i, record);
    }
    set_relaxed(engine.iteration_depth, 6);
    EXPECT_NE(reported(6, 34).find(" hashfull 0 "), std::string::npos);
    set_relaxed(engine.iteration_depth, 7);
    EXPECT_NE(reported(7, 34).find(" hashfull 250 "), std::string::npos);
    EXPECT_NE(reported(6, 34).find(" hashfull 250 "), std::string::npos)
        << "a result of the iteration before, in the seventh";
}

TEST_F(Report, NothingIsSaidTooEarlyOrWithoutAResult) {
    EXPECT_EQ(reported(0, 34), "") << "depth 0";
    shell.noise = 2.0f;
    EXPECT_EQ(reported(12, 34), "") << "too early";
    set_relaxed(engine.game_state, STATE_THINKING | STATE_OVER);
    EXPECT_NE(reported(12, 34), "") << "the last line comes whatever the time";
    shell.noise = NOISE_QUIET;
    EXPECT_EQ(reported(12, 34), "") << "quiet";
    shell.noise = 0.0f;
    pv[1] = NULL_MOVE;
    EXPECT_EQ(reported(12, 34), "") << "no move";
}

TEST_F(Report, FinalLineKeepsTheSums) {
    set_relaxed(engine.game_state, STATE_THINKING | STATE_OVER);
    engine.search_totals[TOTAL_NODES] = 777;
    EXPECT_NE(reported(12, 34).find(" nodes 777 "), std::string::npos);
}

TEST_F(Report, LineOfMovesHasSixtySixAtMost) {
    // The knights go to and fro.
    const Move moves[4] = {make_plain_move(6, 21), make_plain_move(62, 45), make_plain_move(21, 6),
                           make_plain_move(45, 62)};
    for (int i = 1; i < PLY_SLOTS; i++) pv[i] = moves[(i - 1) % 4];
    std::string line = reported(12, 34);
    std::istringstream words(line.substr(line.find(" pv ") + 4));
    int count = 0;
    for (std::string word; words >> word;) count++;
    EXPECT_EQ(count, 66);
}

TEST_F(Report, PublishedResultIsPrintedFromDepthTwoOn) {
    SearchThread& thread = master();
    memcpy(thread.pv, pv, sizeof pv);
    set_relaxed(thread.score, 20);
    auto published = [&](int depth) {
        set_relaxed(thread.completed_depth, depth);
        testing::internal::CaptureStdout();
        publish_result(thread);
        return testing::internal::GetCapturedStdout();
    };
    EXPECT_EQ(published(1), "");
    EXPECT_EQ(published(2).find("info depth 2 "), 0u);
    engine.multipv = 2;
    EXPECT_EQ(published(3), "") << "the lines of MultiPV have a printer of their own";
    engine.multipv = 1;
    shell.noise = NOISE_QUIET;
    EXPECT_EQ(published(4), "");
}

TEST_F(Report, MovesAreToldFromTheRootWhateverTheGameHasBecome) {
    root_of("4k3/8/8/8/8/8/8/4K2R w K -");
    set_relaxed(shell.chess960, 1);
    pv[1] = static_cast<Move>(make_plain_move(E1, G1) | FLAG_KING_SIDE);
    pv[2] = NULL_MOVE;
    set_up("4k3/8/8/8/8/8/8/4K3 w - -");
    for (int state : {STATE_THINKING + 0, STATE_THINKING | STATE_OVER}) {
        set_relaxed(engine.game_state, state);
        EXPECT_NE(reported(12, 34).find(" pv e1h1\n"), std::string::npos);
    }
}

TEST_F(Report, ConsoleLineWhileTheSearchRuns) {
    set_relaxed(shell.uci_mode, 0);
    set_relaxed(master().nodes, 1234567);
    EXPECT_EQ(reported(12, 34), "00] 12    1.5    1235K    34  e2e4 e7e5\n");
    EXPECT_EQ(reported(9, -250), "00] 09    1.5    1235K  -250  e2e4 e7e5\n");
    EXPECT_EQ(reported(12, 9998, 1), "00] 12.   1.5    1235K  9998  e2e4 e7e5\n\n")
        << "the last line of MultiPV is followed by an empty one";
    EXPECT_EQ(reported(12, 34, 1, 5), "05] 12.   1.5    1235K    34  e2e4 e7e5\n");
}

TEST_F(Report, ConsoleLineBreaksBehindEightMoves) {
    const Move moves[4] = {make_plain_move(6, 21), make_plain_move(62, 45), make_plain_move(21, 6),
                           make_plain_move(45, 62)};
    for (int i = 1; i < PLY_SLOTS; i++) pv[i] = moves[(i - 1) % 4];
    set_relaxed(shell.uci_mode, 0);
    const std::string eight = "g1f3 g8f6 f3g1 f6g8 g1f3 g8f6 f3g1 f6g8";
    const std::string gap = "\n                              ";
    EXPECT_EQ(reported(12, 34), "00] 12    1.5       3K    34  " + eight + "\n");

    set_relaxed(engine.game_state, STATE_THINKING | STATE_OVER);
    engine.search_totals[TOTAL_NODES] = 3000;
    EXPECT_EQ(reported(12, 34), "00] 12    1.5       3K    34  " + eight + gap + eight + gap + eight
                                    + gap + eight + "\n");
}

// Root moves of long thinks.

TEST_F(Report, RootMovesAreToldInLongThinksOnly) {
    auto told = [&](int number) {
        testing::internal::CaptureStdout();
        report_root_move(make_plain_move(12, 28), number);
        return testing::internal::GetCapturedStdout();
    };
    set_relaxed(engine.iteration_depth, 14);
    EXPECT_EQ(told(1), "");
    set_relaxed(engine.elapsed, 3.5f);
    EXPECT_EQ(told(1), "") << "exactly 3.5 seconds are not enough";
    set_relaxed(engine.elapsed, 4.0f);
    EXPECT_EQ(told(1), "info depth 14 time 4000 nodes 3000 nps 750 hashfull 0\n"
                       "info currmove e2e4 currmovenumber 1\n");
    EXPECT_EQ(told(7), "info currmove e2e4 currmovenumber 7\n");

    engine.multipv = 2;
    EXPECT_EQ(told(1), "info depth 14 time 4000 nodes 3000 nps 750 hashfull 0\n");
    EXPECT_EQ(told(7), "");
    engine.multipv = 1;
    shell.noise = 4.0f;
    EXPECT_EQ(told(7), "");
    shell.noise = 0.0f;
    set_relaxed(shell.uci_mode, 0);
    EXPECT_EQ(told(7), "") << "only under UCI";
    EXPECT_FALSE(report_lock.taken.load());
}

TEST_F(Report, PromotionsOfTheRootAreToldWithoutTheirPiece) {
    set_relaxed(engine.elapsed, 4.0f);
    testing::internal::CaptureStdout();
    report_root_move(static_cast<Move>(make_plain_move(52, 60) | FLAG_QUEEN), 2);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "info currmove e7e8 currmovenumber 2\n");
}

TEST_F(Report, RootMoveLineSamplesTheTableAtAnyDepth) {
    for (uint64_t i = 0; i < 500; i++) {
        HashRecord record = {};
        record.age = static_cast<uint8_t>(engine.hash_age);
        write_slot(hash_entries / 2 - 500 + i, record);
    }
    set_relaxed(engine.elapsed, 4.0f);
    set_relaxed(engine.iteration_depth, 2);
    testing::internal::CaptureStdout();
    report_root_move(make_plain_move(12, 28), 1);
    EXPECT_EQ(testing::internal::GetCapturedStdout().find(
                  "info depth 2 time 4000 nodes 3000 nps 750 hashfull 500\n"),
              0u);
}

// A whole search.

TEST_F(Report, QuietSearchSaysNothing) {
    testing::internal::CaptureStdout();
    search_nodes(START_FEN, 5);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

// Mates, through the program itself.

namespace {

struct MateCase {
    const char* fen;
    int moves, depth;
};

// clang-format off
constexpr MateCase MATES[] = {
    {"6k1/5ppp/8/8/8/8/5PPP/3R2K1 w - -",                              1,  4},
    {"6rk/6pp/8/6N1/8/8/8/6K1 w - -",                                  1,  4},
    {"r1bqkb1r/pppp1ppp/2n2n2/4p2Q/2B1P3/8/PPPP1PPP/RNB1K1NR w KQkq -", 1,  4},
    {"rnbqkbnr/pppp1ppp/8/4p3/6P1/5P2/PPPPP2P/RNBQKBNR b KQkq -",      1,  4},
    {"r5rk/6pp/8/4N3/8/1Q6/8/6K1 w - -",                               1,  4},
    {"r6k/6pp/7N/8/8/1Q6/8/6K1 w - -",                                 2,  8},
    {"7k/8/R7/8/8/8/8/1R4K1 w - -",                                    2,  8},
    {"2r3k1/5ppp/8/8/8/8/3R1PPP/3R2K1 w - -",                          2,  8},
    {"k7/8/8/1K6/8/8/8/7Q w - -",                                      2,  8},
    {"2k5/3N3p/1Pb2bn1/p1pPr3/8/4Pn1P/4K3/2q4R b - -",                 2,  8},
    {"r2qkb1r/pp2nppp/3p4/2pNN1B1/2BnP3/3P4/PPP2PPP/R2bK2R w KQkq -",  2,  8},
    {"r1b1kb1r/pppp1ppp/5q2/4n3/3KP3/2N3PN/PPP4P/R1BQ1B1R b kq -",     3, 12},
    {"r3k2r/ppp2Npp/1b5n/4p2b/2B1P2q/BQP2P2/P5PP/RN5K w kq -",         3, 12},
    {"3k4/8/8/4K3/8/8/8/Q7 w - -",                                     3, 12},
    {"1k6/8/3K4/8/8/8/8/7R w - -",                                     3, 12},
    {"k7/8/1K6/8/2BB4/8/8/8 w - -",                                    3, 12},
    {"7k/5K1P/6P1/8/8/8/8/8 w - -",                                    3, 12},
    {"8/1k6/3K4/8/8/8/8/6RR w - -",                                    3, 12},
    {"5r1k/6pp/8/4N3/2Q5/8/8/6K1 w - -",                               4, 14},
    {"2k5/6R1/3K4/8/8/8/8/8 w - -",                                    4, 14}};
// clang-format on

// The score of the last line of a search, "mate 3".
std::string last_score(const Program& program) {
    for (auto line = program.lines.rbegin(); line != program.lines.rend(); ++line)
        if (line->find("info depth") == 0) return score_field(*line);
    return "";
}

} // namespace

TEST(LongMates, AreFoundAndToldInMoves) {
    static_assert(std::size(MATES) == 20);
    Program program = start_program({});
    for (const MateCase& mate : MATES) {
        send(program, "ucinewgame");
        send(program, std::string("position fen ") + mate.fen);
        send(program, "go depth " + std::to_string(mate.depth));
        ASSERT_NE(wait_for(program, "bestmove"), "") << mate.fen;
        EXPECT_EQ(last_score(program), "mate " + std::to_string(mate.moves)) << mate.fen;
    }
    send(program, "quit");
    EXPECT_EQ(wait_exit(program), 0);
}

TEST(LongMates, OfTheOwnKingAreToldAsNegative) {
    // The own move before the mate is counted.
    const MateCase cases[] = {{"7k/R7/8/8/8/8/8/1R4K1 b - -", -2, 6},
                              {"8/8/8/8/4k3/8/q7/4K3 w - -", -3, 10}};
    Program program = start_program({});
    for (const MateCase& mate : cases) {
        send(program, std::string("position fen ") + mate.fen);
        send(program, "go depth " + std::to_string(mate.depth));
        ASSERT_NE(wait_for(program, "bestmove"), "") << mate.fen;
        EXPECT_EQ(last_score(program), "mate " + std::to_string(mate.moves)) << mate.fen;
    }
    send(program, "quit");
    EXPECT_EQ(wait_exit(program), 0);
}
