// Parts of the strict protocol by themselves: words, positions, limits, times, draws, ends of
// lines.
//
// Pins internals: the limits and times in EngineState.

#include <gtest/gtest.h>

#include "base/state.h"
#include "board/draw.h"
#include "board/fen.h"
#include "board/line.h"
#include "board/make.h"
#include "board/movetext.h"
#include "board/position.h"
#include "board/types.h"
#include "search/limits.h"
#include "search/line_end.h"
#include "search/timing.h"
#include "search_fixture.h"
#include "shell/strength.h"
#include "shell/strict_position.h"
#include "shell/words.h"
#include "shell_fixture.h"
#include "support.h"

namespace {

class StrictTest : public ShellTest {
protected:
    void SetUp() override {
        ShellTest::SetUp();
        shell.strict = 1;
    }
};
class StrictFen : public StrictTest {};
class StrictMoveWord : public StrictTest {};
class StrictGo : public StrictTest {};
class StrictTime : public StrictTest {};
class StrictDraw : public StrictTest {};
class StrictStrength : public StrictTest {};
class StrictLineEnd : public StrictTest {};

std::vector<std::string> words_of(const std::string& line) {
    std::vector<char> text(line.begin(), line.end());
    text.push_back(0);
    std::vector<std::string> words;
    char* rest = text.data();
    while (char* word = next_word(rest)) words.push_back(word);
    return words;
}

// Reads a FEN of any number of fields; the reason it is refused for, or an empty text.
std::string read_text(const std::string& fen) {
    std::vector<std::string> words = words_of(fen);
    std::vector<const char*> fields;
    for (const std::string& word : words) fields.push_back(word.c_str());
    const char* reason = read_fen(game(), fields.data(), static_cast<int>(fields.size()));
    return reason ? reason : "";
}

} // namespace

TEST(StrictWords, AreCutAtAnyWhiteSpace) {
    EXPECT_EQ(words_of(" a  bc\td\r\v\fe \n").size(), 4u);
    EXPECT_EQ(words_of(" \t ").size(), 0u);
    EXPECT_EQ(words_of("").size(), 0u);
    EXPECT_EQ(words_of("go")[0], "go");
}

TEST(StrictWords, AreTheSameInAnyCase) {
    EXPECT_TRUE(same_word("MultiPV", "mULTIpv"));
    EXPECT_TRUE(same_word("", ""));
    EXPECT_FALSE(same_word("a", "ab"));
    EXPECT_FALSE(same_word("ab", "a"));
}

TEST(StrictWords, NumbersAreWholeWords) {
    int64_t number = 7;
    for (const char* word : {"", "-", "x", "5x", "1e3", "--5", "0x10", ".5"}) {
        EXPECT_FALSE(read_whole_number(word, number)) << word;
        EXPECT_EQ(number, 7) << word;
    }
    const std::pair<const char*, int64_t> numbers[] = {{"5", 5},
                                                       {"-12", -12},
                                                       {"+3", 3},
                                                       {"300.75", 300},
                                                       {"99999999999999999999", INT64_MAX},
                                                       {"-99999999999999999999", INT64_MIN}};
    for (const auto& [word, value] : numbers) {
        EXPECT_TRUE(read_whole_number(word, number)) << word;
        EXPECT_EQ(number, value) << word;
    }
}

TEST_F(StrictFen, TakesOneToSixFields) {
    EXPECT_EQ(read_text("4k3/8/8/8/8/8/8/4K2R"), "");
    EXPECT_EQ(game_fen(), "4k3/8/8/8/8/8/8/4K2R w - -");
    EXPECT_EQ(read_text("4k3/8/8/8/8/8/8/4K2R b K"), "");
    EXPECT_EQ(game_fen(), "4k3/8/8/8/8/8/8/4K2R b K -");
    EXPECT_EQ(read_text("4k3/8/8/8/8/8/8/4K2R w K - 37 80"), "");
    EXPECT_EQ(game().halfmoves, 37);
    EXPECT_EQ(read_text("4k3/8/8/8/8/8/8/4K2R w K - 9999 80"), "");
    EXPECT_EQ(game().halfmoves, MAX_HALFMOVES);
    EXPECT_EQ(read_text("4k3/8/8/8/8/8/8/4K2R w K - -3 x"), "");
    EXPECT_EQ(game().halfmoves, 0);
}

TEST_F(StrictFen, AnEnPassantSquareNeedsItsPawn) {
    EXPECT_EQ(read_text("4k3/8/8/8/3pP3/8/8/4K3 b - e3"), "");
    EXPECT_EQ(game_fen(), "4k3/8/8/8/3pP3/8/8/4K3 b - e3");
    for (const char* fen : {"4k3/8/8/8/3p4/8/8/4K3 b - e3", "4k3/8/8/8/3pP3/8/4N3/4K3 b - e3",
                            "4k3/8/8/8/3pP3/4n3/8/4K3 b - e3", "4k3/8/8/8/3pP3/8/8/4K3 b - e6",
                            "4k3/8/8/8/3pP3/8/8/4K3 w - e3", "4k3/8/8/8/3pP3/8/8/4K3 b - zz"}) {
        EXPECT_EQ(read_text(fen), "") << fen;
        EXPECT_EQ(game().ep_square, NO_SQUARE) << fen;
        uint64_t key = game().key;
        compute_keys(game());
        EXPECT_EQ(game().key, key) << fen;
    }
}

TEST_F(StrictFen, WhatIsNoPositionLeavesAnEmptyBoard) {
    for (const char* fen :
         {"8/8/8/8/8/8/8 w - -", "9/8/8/8/8/8/8/K1k5 w - -", "K1k6/8/8/8/8/8/8/8 w - -",
          "K1k4/8/8/8/8/8/8/8 w - -", "K1k5/8/8/8/8/8/8/8/8 w - -", "K1k5/8/8/8/8/8/8/7x w - -",
          "K1k5/8/8/8/8/8/8/8 W - -", "8/8/8/8/8/8/8/K7 w - -", "KKk5/8/8/8/8/8/8/8 w - -",
          "K1k4P/8/8/8/8/8/8/8 w - -", "K1k5/8/8/8/8/8/8/7p w - -", "k6R/8/8/8/8/8/8/K7 w - -",
          "k7/8/8/RRRRRRRR/RRRRRRRR/8/8/K7 b - -", "startpos"}) {
        EXPECT_NE(read_text(fen), "") << fen;
        EXPECT_EQ(occupied(game()), 0u) << fen;
    }
}

TEST_F(StrictFen, WithoutAPositionMovesAreNotLookedAt) {
    EXPECT_EQ(joined(uci("position fen what is this moves e2e4 e7e5")),
              "info string no position: the board has a letter that is no piece\n");
    EXPECT_EQ(game().owner->undo_index, 0);
}

TEST_F(StrictFen, WordsBehindTheSixthFieldArePassedOver) {
    EXPECT_EQ(
        joined(uci("position fen 4k3/8/8/8/8/8/8/4K2R w K - 37 80 and more words moves h1h2 e8e7")),
        "");
    EXPECT_EQ(game_fen(), "8/4k3/8/8/8/8/7R/4K3 w - -");
    EXPECT_EQ(game().halfmoves, 39);
}

TEST_F(StrictMoveWord, MeansALegalMoveOnly) {
    set_up("r3k2r/1P6/8/8/8/8/6p1/R3K2R w KQkq -");
    const Position& pos = game();
    EXPECT_EQ(move_of_word(pos, "e1g1"), find_move(game(), "e1g1"));
    EXPECT_EQ(move_of_word(pos, "e1h1"), find_move(game(), "e1g1")) << "king takes rook";
    EXPECT_EQ(move_of_word(pos, "E1C1"), find_move(game(), "e1c1"));
    EXPECT_EQ(move_of_word(pos, "b7b8"), find_move(game(), "b7b8q"));
    EXPECT_EQ(move_of_word(pos, "b7a8N"), find_move(game(), "b7a8n"));
    for (const char* word : {"", "e1", "e1e3", "e1b1", "e1g1q", "a1a8q", "b7b8k", "b7b8qq", "i1i2",
                             "0000", "e8g8", "e1f1x", "a1a9"})
        EXPECT_EQ(move_of_word(pos, word), NULL_MOVE) << word;
}

TEST_F(StrictMoveWord, AKingsStepIsNoCastling) {
    set_up("4k3/8/8/8/8/8/8/5K1R w K -");
    EXPECT_EQ(move_of_word(game(), "f1g1"), make_plain_move(5, 6));
    EXPECT_TRUE(move_of_word(game(), "f1h1") & FLAG_KING_SIDE);
}

TEST_F(StrictGo, BeginsWithoutLimits) {
    uci("go depth 5 nodes 100 movetime 10 mate 3 searchmoves e2e4 infinite");
    EXPECT_EQ(engine.max_depth, 5);
    EXPECT_EQ(engine.max_nodes, 100u);
    EXPECT_EQ(engine.mate_limit, 3);
    EXPECT_EQ(engine.until_stop, 1);
    EXPECT_EQ(engine.move_time, 0.0f) << "no clock ends what waits for `stop`";
    EXPECT_NE(engine.only_moves[0], 0);
    EXPECT_EQ(engine.only_moves[1], 0);

    uci("go");
    EXPECT_EQ(engine.max_depth, UNLIMITED_DEPTH);
    EXPECT_EQ(engine.max_nodes, UNLIMITED_NODES);
    EXPECT_EQ(engine.mate_limit, 0);
    EXPECT_EQ(engine.until_stop, 0);
    EXPECT_EQ(engine.clock_runs, 0);
    EXPECT_EQ(engine.moves_to_go, 0);
    EXPECT_EQ(engine.time_increment, 0.0f);
    EXPECT_EQ(engine.only_moves[0], 0);
}

TEST_F(StrictGo, EachChosenMoveStandsOnce) {
    uci("go searchmoves e2e4 d2d4 e2e4 g1f3 d2d4 depth 3");
    const Move chosen[] = {find_move(game(), "e2e4"), find_move(game(), "d2d4"),
                           find_move(game(), "g1f3"), NULL_MOVE};
    for (size_t i = 0; i < std::size(chosen); i++) EXPECT_EQ(engine.only_moves[i], chosen[i]) << i;
}

TEST_F(StrictGo, ClocksComeInAnyOrder) {
    uci("go movestogo 7 binc 20 winc 10 btime 2000 wtime 1000");
    EXPECT_EQ(engine.clock_runs, 1);
    EXPECT_FLOAT_EQ(engine.clock[WHITE], 1.0f);
    EXPECT_FLOAT_EQ(engine.clock[BLACK], 2.0f);
    EXPECT_FLOAT_EQ(engine.time_increment, 0.01f);
    EXPECT_EQ(engine.moves_to_go, 7);
    EXPECT_GT(engine.moves_per_control, FIXED_TIME);

    uci("position startpos moves e2e4");
    uci("go wtime 300 binc 5 movestogo 0");
    EXPECT_FLOAT_EQ(engine.clock[BLACK], 0.3f) << "the opponent's";
    EXPECT_FLOAT_EQ(engine.time_increment, 0.005f);
    EXPECT_EQ(engine.moves_per_control, SUDDEN_DEATH);
}

TEST_F(StrictGo, NumbersAreTakenUpToTheirBounds) {
    struct Range {
        const char* word;
        int64_t min, max;
    };
    const int64_t days = INT_MAX; // milliseconds
    for (const Range& range :
         {Range{"wtime", 0, days}, Range{"btime", 0, days}, Range{"winc", 0, days},
          Range{"binc", 0, days}, Range{"movestogo", 0, 1000}, Range{"depth", 1, 66},
          Range{"nodes", 1, 1LL << 62}, Range{"mate", 1, 50}, Range{"movetime", 1, days}}) {
        const std::string go = std::string("go ") + range.word + " ";
        for (int64_t number : {range.min, range.max})
            EXPECT_EQ(joined(uci(go + std::to_string(number))), "") << range.word;
        for (int64_t number : {range.min - 1, range.max + 1}) {
            const std::string taken = std::to_string(number < range.min ? range.min : range.max);
            EXPECT_EQ(joined(uci(go + std::to_string(number))),
                      "info string " + go.substr(3) + std::to_string(number) + " is out of range, "
                          + taken + " is taken\n");
        }
    }
}

namespace {

// Plans a think for a `go` at the start position.
void plan(const std::string& go, int overhead_ms = 50) {
    uci("position startpos");
    uci(go);
    engine.root_side = WHITE;
    engine.move_overhead = static_cast<float>(overhead_ms) * 0.001f;
    engine.playing_elo = 3000;
    plan_time(0);
}

} // namespace

TEST_F(StrictTime, WithoutAClockThereIsNone) {
    plan("go depth 5");
    EXPECT_EQ(engine.hard_time, UNLIMITED_SECONDS);
    EXPECT_EQ(engine.target_time, UNLIMITED_SECONDS);
}

TEST_F(StrictTime, TheOverheadIsKeptBackInEveryControl) {
    for (const char* clock :
         {"go wtime 1000", "go wtime 1000 winc 10", "go wtime 1000 movestogo 40",
          "go wtime 1000 movestogo 2", "go wtime 1000 movestogo 1", "go movetime 1000"}) {
        plan(clock, 100);
        EXPECT_FLOAT_EQ(engine.hard_time, 0.9f) << clock;
        EXPECT_LE(engine.target_time, engine.hard_time) << clock;
        EXPECT_GT(engine.target_time, 0.0f) << clock;
        plan(clock, 0);
        EXPECT_LT(engine.hard_time, 1.0f) << clock << ": the answer itself takes time";
    }
}

TEST_F(StrictTime, TheShorterTimeCounts) {
    plan("go wtime 1000 movetime 300");
    EXPECT_FLOAT_EQ(engine.hard_time, 0.25f);
    plan("go wtime 1000 movetime 30000");
    EXPECT_FLOAT_EQ(engine.hard_time, 0.95f);
}

TEST_F(StrictTime, NextToNoTimeIsStillATime) {
    for (const char* go : {"go wtime 5", "go wtime 40", "go movetime 20"}) {
        plan(go);
        EXPECT_GT(engine.hard_time, 0.0f) << go;
        EXPECT_LE(engine.hard_time, 0.002f) << go;
    }
    plan("go wtime 0");
    EXPECT_EQ(engine.hard_time, 0.0f);
}

TEST_F(StrictTime, MovesToComeAreCountedIn) {
    plan("go wtime 10000 movestogo 1");
    EXPECT_GT(engine.target_time, 7.0f);
    plan("go wtime 10000 movestogo 2");
    EXPECT_LT(engine.target_time, 5.0f);
    plan("go wtime 10000 movestogo 40");
    EXPECT_LT(engine.target_time, 0.5f);
    EXPECT_GT(engine.target_time, 0.2f);
    plan("go wtime 10000");
    EXPECT_GT(engine.target_time, 0.2f);
    plan("go wtime 300");
    EXPECT_EQ(engine.target_time, 0.0f) << "what is left is for the way of the moves to come";
}

TEST_F(StrictTime, IsUpAtTheHardLimitBeforeAnyIteration) {
    plan("go wtime 100");
    set_relaxed(engine.game_state, STATE_PONDERING);
    set_relaxed(engine.iteration_depth, 0);
    set_relaxed(engine.stop, 0);
    think_start = 0.0; // long ago
    check_time();
    EXPECT_EQ(relaxed(engine.stop), 0) << "no clock runs while pondering";
    set_relaxed(engine.game_state, STATE_THINKING);
    check_time();
    EXPECT_EQ(relaxed(engine.stop), 1);
}

TEST_F(StrictDraw, IsAtTheHundredthPlyUnlessItMates) {
    set_up("7k/8/8/8/8/8/8/K2Q4 w - -");
    for (int halfmoves : {99, 100, 101}) {
        game().halfmoves = static_cast<uint8_t>(halfmoves);
        EXPECT_EQ(is_draw(game(), 1), halfmoves >= 100) << halfmoves;
        shell.strict = 0;
        EXPECT_EQ(is_draw(game(), 1), halfmoves > 100) << halfmoves;
        shell.strict = 1;
    }
    set_up("7k/5QQ1/8/8/8/8/8/7K b - -");
    game().halfmoves = 101;
    EXPECT_EQ(is_draw(game(), 1), 0);
    shell.strict = 0;
    EXPECT_EQ(is_draw(game(), 1), 1);
}

TEST_F(StrictDraw, FoldedGamesKeepWhatCanComeBack) {
    set_up(START_FEN);
    play(game(), "e2e3 e7e6 g1f3 g8f6 f3g1 f6g8 g1f3");
    fold_game(game());
    EXPECT_EQ(game().owner->undo_index, 5);
    EXPECT_EQ(moves_played(*game().owner), 7);
    play(game(), "g8f6 f3g1");
    EXPECT_EQ(is_draw(game(), 0), 0);
    play(game(), "f6g8");
    EXPECT_EQ(is_draw(game(), 0), 1) << "for the third time";
    set_up(START_FEN);
    EXPECT_EQ(moves_played(*game().owner), 0);
}

TEST_F(StrictStrength, BothOptionsStayAsTheyWere) {
    engine.calibration_nps = 1000000.0f;
    engine.calibration_elo = 3200.0f;
    active_personality.UCI_LimitStrength = 1;
    for (int elo : {0, 1500, 2500, 3300}) {
        active_personality.UCI_Elo = static_cast<int16_t>(elo);
        apply_strength_limit();
        EXPECT_EQ(active_personality.UCI_LimitStrength, 1);
        EXPECT_EQ(active_personality.UCI_Elo, elo);
        const int expected = elo == 0 ? STRICT_DEFAULT_ELO : elo == 3300 ? 3200 : elo;
        EXPECT_EQ(engine.playing_elo, expected);
        EXPECT_EQ(engine.target_nps < 900000.0f, elo != 3300) << elo;
    }
    active_personality.UCI_Elo = 2500;
    apply_strength_limit();
    const float slow = engine.target_nps;
    for (int above : {20, 30, 40}) {
        engine.calibration_nps = slow + static_cast<float>(above); // nodes a second
        apply_strength_limit();
        EXPECT_EQ(engine.target_nps, above < 30 ? engine.calibration_nps : slow);
    }
    engine.calibration_nps = 1000000.0f;
    active_personality.UCI_LimitStrength = 0;
    active_personality.UCI_Elo = 1500;
    apply_strength_limit();
    EXPECT_EQ(engine.target_nps, engine.calibration_nps);
}

namespace {

// A line of the position after it was brought to its end.
std::string ended(const char* fen, const std::string& moves, int score) {
    Position& pos = root_of(fen);
    Move pv[PLY_SLOTS] = {};
    int count = 0;
    for (const std::string& word : words_of(moves)) {
        step(pos, word);
        pv[++count] = pos.owner->undo_stack[pos.owner->undo_index - 1].move;
    }
    for (int i = 0; i < count; i++) unmake_move(pos);
    const uint64_t key = pos.key;
    end_line(pos, pv, score);
    EXPECT_EQ(pos.key, key);
    EXPECT_EQ(pos.owner->ply, 1);

    std::string text;
    int side = pos.side;
    for (int i = 1; pv[i] != NULL_MOVE; i++, side ^= 1) {
        char move[MOVE_TEXT_LENGTH];
        move_to_text(pos, side, pv[i], move);
        text += (i > 1 ? " " : "") + std::string(move);
    }
    return text;
}

} // namespace

TEST_F(StrictLineEnd, ALineEndsAtARepetition) {
    EXPECT_EQ(ended(START_FEN, "g1f3 g8f6 f3g1 f6g8 e2e4 e7e5", 10), "g1f3 g8f6 f3g1 f6g8");
    EXPECT_EQ(ended(START_FEN, "g1f3 g8f6 f3g1 e7e5", 10), "g1f3 g8f6 f3g1 e7e5");
}

TEST_F(StrictLineEnd, AMateIsCompletedByTrying) {
    // Score of a mate at ply p: 10,000 - p, the root being ply 1.
    EXPECT_EQ(ended("6k1/5ppp/8/8/8/8/8/R6K w - -", "", 9998), "a1a8");
    EXPECT_EQ(ended("7k/8/5K2/8/8/8/8/R7 w - -", "f6g6", 9996), "f6g6 h8g8 a1a8");
    EXPECT_EQ(ended("k7/8/1K6/8/8/8/8/7R b - -", "", -9997), "a8b8 h1h8");
    EXPECT_EQ(ended("7k/8/5K2/8/8/8/8/R7 w - -", "", 9996), "f6g6 h8g8 a1a8");
}

TEST_F(StrictLineEnd, APinnedUnitDoesNotHideAMate) {
    // The moves of the knight, which is pinned, come before the rook's.
    EXPECT_EQ(ended("k7/8/1K6/2N5/8/8/8/6bR b - -", "", -9997), "g1f2 h1h8");
}

TEST_F(StrictLineEnd, ALineThatDoesNotMateIsShorterThanTheScore) {
    EXPECT_EQ(ended("7k/8/5K2/8/8/8/8/R7 w - -", "a1a2 h8g8 a2a1", 9996), "a1a2 h8g8");
    EXPECT_EQ(ended("6k1/5ppp/8/8/8/8/8/R6K w - -", "a1a8", 9994), "a1a8") << "sooner";
    EXPECT_EQ(ended("6k1/5ppp/8/8/8/8/8/R6K w - -", "a1a2", 9998), "a1a2") << "but has a move";
}

TEST_F(StrictLineEnd, ScoresOfTablesAreNoMates) {
    EXPECT_EQ(ended("6k1/5ppp/8/8/8/8/8/R6K w - -", "h1g1", 9800), "h1g1");
}
