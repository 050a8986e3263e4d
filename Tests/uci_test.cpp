// Protocol lines handed straight to HandleUci: what they do to the game and to the limits.
//
// Pins internals: the fields of EngineState that lines set, since no answer shows them.

#include "shell/uci.h"

#include "search/hash.h"
#include "search/limits.h"
#include "search/thread.h"
#include "shell/think.h"
#include "shell_fixture.h"

namespace {

class UciCommand : public ShellTest {};
class UciPosition : public ShellTest {};
class UciMoveWord : public ShellTest {};
class UciGo : public ShellTest {};
class UciSetOption : public ShellTest {};

constexpr char KINGS_AND_ROOKS[] = "r3k2r/8/8/8/8/8/8/R3K2R w KQkq -";
constexpr char START[] = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -";

// The position of a FEN text, written by the engine.
std::string fen_of(const char* fen) {
    std::string kept = game_fen();
    set_up(fen);
    std::string text = game_fen();
    set_up(kept.c_str());
    return text;
}

int state() { return relaxed(engine.game_state); }

} // namespace

TEST_F(UciCommand, UnknownWordsAndEmptyLinesDoNothing) {
    for (const char* line : {"", " ", "   ", "\n", "xyzzy", "UCI", "Go", "go! depth 3", "isreadyy",
                             "goo infinite", "position", "setoption", "\t", "\x01\x02\xFF"})
        EXPECT_EQ(joined(uci(line)), "") << line;
    EXPECT_EQ(state(), STATE_IDLE);
    EXPECT_EQ(game_fen(), START);
}

TEST_F(UciCommand, IsReadyIsAnsweredAtOnceInEveryState) {
    EXPECT_EQ(joined(uci("isready")), "readyok\n");
    EXPECT_EQ(joined(uci("  isready")), "readyok\n") << "leading spaces are skipped";
    EXPECT_EQ(joined(uci("isready now")), "readyok\n");
    set_relaxed(engine.game_state, STATE_THINKING);
    EXPECT_EQ(joined(uci("isready")), "readyok\n");
}

TEST_F(UciCommand, ALineEndsAtItsFirstNewline) {
    EXPECT_EQ(joined(uci("isready\nisready")), "readyok\n");
    EXPECT_EQ(joined(uci("\nisready")), "");
    EXPECT_EQ(joined(uci("isready\rjunk")), "readyok\n") << "a carriage return ends a word";
}

TEST_F(UciCommand, UciEntersUciMode) {
    set_relaxed(shell.uci_mode, 0);
    std::vector<std::string> lines = uci("uci");
    EXPECT_EQ(relaxed(shell.uci_mode), 1);
    EXPECT_EQ(lines.front(), "id name Mird 5.50");
    EXPECT_EQ(lines.back(), "uciok");
}

TEST_F(UciCommand, UciFillsInTheCalibratedStrengthOnce) {
    engine.calibration_elo = 2750.9f;
    EXPECT_TRUE(
        has_line(uci("uci"), "option name UCI_Elo type spin default 2750 min 1500 max 2750"));
    engine.calibration_elo = 2800.0f;
    EXPECT_TRUE(
        has_line(uci("uci"), "option name UCI_Elo type spin default 2750 min 1500 max 2800"));
}

TEST_F(UciCommand, DebugOffLeavesTheCommandLogOn) {
    MemoryLog log;
    active_personality.Log = 1;
    uci("debug off");
    uci("isready");
    uci("   position startpos ");

    EXPECT_EQ(joined(log.lines()),
              "CMD: debug off\nCMD: isready\nreadyok\nCMD:    position startpos \n");
}

TEST_F(UciCommand, CommandsAreNotLoggedWhileTheLogIsOff) {
    MemoryLog log;
    uci("isready");
    EXPECT_EQ(joined(log.lines()), "");
}

TEST_F(UciCommand, ShowPrintsTheSelectivityTables) {
    std::vector<std::string> lines = uci("_show");
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines[0], "BP_margin= 15");
    set_relaxed(engine.game_state, STATE_THINKING);
    EXPECT_EQ(joined(uci("_show")), "") << "a running search reads these tables";
}

TEST_F(UciCommand, StopActsOnlyWhileSomethingRuns) {
    uci("stop");
    EXPECT_EQ(relaxed(engine.stop), 0) << "the next search must not be poisoned";
    for (int running : {STATE_THINKING, STATE_PONDERING, STATE_BATCH}) {
        set_relaxed(engine.game_state, running);
        set_relaxed(engine.stop, 0);
        uci("stop");
        EXPECT_EQ(relaxed(engine.stop), 1) << running;
    }
}

TEST_F(UciCommand, PonderhitTurnsPonderingIntoThinkingAndNothingElse) {
    uci("ponderhit");
    EXPECT_EQ(state(), STATE_IDLE);

    set_relaxed(engine.game_state, STATE_PONDERING);
    uci("ponderhit");
    EXPECT_EQ(state(), STATE_THINKING);

    uci("ponderhit");
    EXPECT_EQ(state(), STATE_THINKING);

    for (int other :
         {STATE_PONDERING | STATE_OVER, STATE_THINKING | STATE_OVER, int{STATE_BATCH}}) {
        set_relaxed(engine.game_state, other);
        uci("ponderhit");
        EXPECT_EQ(state(), other);
    }
}

TEST_F(UciCommand, QuitEndsTheLoop) {
    uci("quit");
    EXPECT_EQ(shell.quit, 1);
}

TEST_F(UciCommand, QuitAfterASearchThatIsOverDropsItsMove) {
    set_relaxed(engine.game_state, STATE_THINKING | STATE_OVER);
    set_relaxed(engine.stop, 1);
    EXPECT_EQ(joined(uci("quit")), "");
    EXPECT_EQ(shell.quit, 1);
    EXPECT_EQ(state(), STATE_IDLE);
    EXPECT_EQ(relaxed(engine.stop), 0);
}

TEST_F(UciCommand, NewGameResetsTheClocksAndKeepsTheLimits) {
    uci("position startpos moves e2e4 e7e5");
    set_limits({.depth = 7,
                .nodes = 1234,
                .control = 40,
                .time_base = 1.0f,
                .time_increment = 2.0f,
                .white_clock = 3.0f,
                .black_clock = 3.0f});
    engine.hash_age = 9;
    std::string before = game_fen();

    EXPECT_EQ(joined(uci("ucinewgame")), "");

    EXPECT_EQ(engine.moves_per_control, 0);
    EXPECT_EQ(engine.time_base, 60.0f);
    EXPECT_EQ(engine.time_increment, 0.0f);
    EXPECT_EQ(engine.clock[WHITE], 60.0f);
    EXPECT_EQ(engine.clock[BLACK], 60.0f);
    EXPECT_EQ(engine.max_depth, 7);
    EXPECT_EQ(engine.max_nodes, 1234u);
    EXPECT_EQ(engine.hash_age, 0);
    EXPECT_EQ(main_thread->line.undo_index, 0);
    EXPECT_EQ(game_fen(), before) << "the board stands as it was";
}

namespace {

// Stores something for the game's position, and tells whether it is still there.
void fill_hash() { hash_store(game(), 1, 5, find_move(game(), "e2e4"), 17, -100, 100); }
bool hash_is_filled() {
    HashRecord record = {};
    record.depth = HASH_MISS;
    hash_probe(game(), record);
    return record.depth == 5;
}

} // namespace

TEST_F(UciCommand, NewGameClearsTheHashTable) {
    fill_hash();
    ASSERT_TRUE(hash_is_filled());
    uci("ucinewgame");
    EXPECT_FALSE(hash_is_filled());
}

TEST_F(UciCommand, NewGameLeavesAHashTableThatIsSwitchedOff) {
    fill_hash();
    engine.hash_enabled = 0;
    uci("ucinewgame");
    engine.hash_enabled = 1;
    EXPECT_TRUE(hash_is_filled());
    hash_clear();
}

TEST_F(UciPosition, StartposAndMoves) {
    uci("position fen " + std::string(KINGS_AND_ROOKS));
    EXPECT_EQ(game_fen(), KINGS_AND_ROOKS);
    uci("position startpos");
    EXPECT_EQ(game_fen(), START);
    uci("position startpos moves e2e4 c7c5 g1f3");
    EXPECT_EQ(game_fen(), "rnbqkbnr/pp1ppppp/8/2p5/4P3/5N2/PPPP1PPP/RNBQKB1R b KQkq -");
    EXPECT_EQ(main_thread->line.undo_index, 3);
    EXPECT_EQ(main_thread->line.undo_stack[3].move, NULL_MOVE)
        << "marks the end of the game's moves";
    uci("position startpos moves");
    EXPECT_EQ(game_fen(), START);
    EXPECT_EQ(main_thread->line.undo_index, 0);
}

TEST_F(UciPosition, FenAndMoves) {
    uci("position fen 4k3/P7/8/8/8/8/8/4K3 w - - 0 1 moves a7a8n e8d7");
    EXPECT_EQ(game_fen(), "N7/3k4/8/8/8/8/8/4K3 w - -");
}

TEST_F(UciPosition, WithoutStartposOrFenNothingChanges) {
    uci("position startpos moves e2e4");
    std::string before = game_fen();
    for (const char* line : {"position", "position ", "position e7e5", "position moves e7e5",
                             "position 8/8/8/8/8/8/8/8 w - -"}) {
        uci(line);
        EXPECT_EQ(game_fen(), before) << line;
        EXPECT_EQ(main_thread->line.undo_index, 1) << line;
    }
}

TEST_F(UciPosition, LeadingSpacesSpoilAFenAndNotStartpos) {
    // The text handed on begins as many characters too early as there are spaces.
    uci("  position startpos moves e2e4");
    EXPECT_EQ(game_fen(), "rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3");

    std::string fen = "4k3/8/8/8/8/8/8/4K3 b - -";
    uci("  position fen " + fen);
    std::string got = game_fen();
    EXPECT_EQ(got, fen_of(("n " + fen).c_str()));
    EXPECT_NE(got, fen);
}

TEST_F(UciPosition, SeveralSpacesBetweenMovesAreOne) {
    uci("position startpos moves  e2e4   e7e5 ");
    EXPECT_EQ(game_fen(), "rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR w KQkq e6");
}

TEST_F(UciPosition, BothCastlingTextsCastle) {
    for (const char* word : {"e1g1", "e1h1"}) {
        uci("position fen " + std::string(KINGS_AND_ROOKS) + " moves " + word);
        EXPECT_EQ(game_fen(), "r3k2r/8/8/8/8/8/8/R4RK1 b kq -") << word;
    }
    for (const char* word : {"e1c1", "e1a1"}) {
        uci("position fen " + std::string(KINGS_AND_ROOKS) + " moves " + word);
        EXPECT_EQ(game_fen(), "r3k2r/8/8/8/8/8/8/2KR3R b kq -") << word;
    }
    for (const char* word : {"e8g8", "e8h8"}) {
        uci("position fen r3k2r/8/8/8/8/8/8/R3K2R b KQkq - moves " + std::string(word));
        EXPECT_EQ(game_fen(), "r4rk1/8/8/8/8/8/8/R3K2R w KQ -") << word;
    }
    for (const char* word : {"e8c8", "e8a8"}) {
        uci("position fen r3k2r/8/8/8/8/8/8/R3K2R b KQkq - moves " + std::string(word));
        EXPECT_EQ(game_fen(), "2kr3r/8/8/8/8/8/8/R3K2R w KQ -") << word;
    }
}

TEST_F(UciPosition, CastlingFromAnotherSquareNamesTheRook) {
    // The own rook as the target tells castling from a king's step, also from b1.
    uci("position fen 1k6/8/8/8/8/8/8/1KR5 w K - moves b1c1");
    EXPECT_EQ(game_fen(), "1k6/8/8/8/8/8/8/5RK1 b - -");
    uci("position fen 1k6/8/8/8/8/8/8/RK6 w Q - moves b1a1");
    EXPECT_EQ(game_fen(), "1k6/8/8/8/8/8/8/2KR4 b - -");
}

TEST_F(UciPosition, CastlingWithoutTheRightIsAPlainKingMove) {
    uci("position fen r3k2r/8/8/8/8/8/8/R3K2R w - - moves e1g1");
    EXPECT_EQ(game_fen(), "r3k2r/8/8/8/8/8/8/R5KR b - -");
    uci("position fen r3k2r/8/8/8/8/8/8/R3K2R w KQkq - moves e1e2 a8a7 e2e1 a7a8 e1c1");
    EXPECT_EQ(game_fen(), "r3k2r/8/8/8/8/8/8/R1K4R b k -");
}

TEST_F(UciPosition, AOneStepKingMoveIsNoCastling) {
    uci("position fen " + std::string(KINGS_AND_ROOKS) + " moves e1f1");
    EXPECT_EQ(game_fen(), "r3k2r/8/8/8/8/8/8/R4K1R b kq -");
}

TEST_F(UciPosition, PromotionLettersChooseThePiece) {
    const char* pieces[][2] = {{"q", "Q"}, {"n", "N"}, {"b", "B"}, {"r", "R"}};
    for (auto& [letter, piece] : pieces) {
        uci("position fen 7k/P7/8/8/8/8/8/7K w - - moves a7a8" + std::string(letter));
        EXPECT_EQ(game_fen(), std::string(piece) + "6k/8/8/8/8/8/8/7K b - -");
        uci("position fen 7k/8/8/8/8/8/p7/7K b - - moves a2a1" + std::string(letter));
        EXPECT_EQ(game_fen(), "7k/8/8/8/8/8/8/" + std::string(letter) + "6K w - -");
    }
    uci("position fen 7k/P7/8/8/8/8/8/7K w - - moves a7a8");
    EXPECT_EQ(game_fen(), "Q6k/8/8/8/8/8/8/7K b - -") << "no letter makes a queen";
    uci("position fen 7k/P7/8/8/8/8/8/7K w - - moves a7a8x");
    EXPECT_EQ(game_fen(), "Q6k/8/8/8/8/8/8/7K b - -") << "an unknown letter sets nothing";
}

TEST_F(UciPosition, APromotionLetterOnAnotherMoveMeansNothing) {
    uci("position startpos moves e2e4q e7e5n g1f3b");
    EXPECT_EQ(game_fen(), "rnbqkbnr/pppp1ppp/8/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R b KQkq -");
}

TEST_F(UciPosition, EnPassantTakesThePawn) {
    uci("position startpos moves e2e4 a7a6 e4e5 d7d5 e5d6");
    EXPECT_EQ(game_fen(), "rnbqkbnr/1pp1pppp/p2P4/8/8/8/PPPP1PPP/RNBQKBNR b KQkq -");
}

namespace {

struct WordCase {
    const char* name; // becomes part of the test's name
    const char* word;
};

void PrintTo(const WordCase& c, std::ostream* out) { *out << c.name; }

class BadMoveWord : public ShellTest, public testing::WithParamInterface<WordCase> {};

} // namespace

TEST_P(BadMoveWord, IsShownAndEndsTheList) {
    const std::string word = GetParam().word;
    std::vector<std::string> lines = uci("position startpos moves e2e4 " + word + " e7e5");

    EXPECT_EQ(game_fen(), "rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3");
    EXPECT_EQ(main_thread->line.undo_index, 1);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].compare(0, 12, "info string "), 0) << lines[0];
    EXPECT_NE(lines[0].find(word), std::string::npos) << lines[0];
}

INSTANTIATE_TEST_SUITE_P(
    Table, BadMoveWord,
    testing::Values(WordCase{"TooShort", "e2"}, WordCase{"OneLetter", "e"},
                    WordCase{"ThreeLetters", "e7e"}, WordCase{"OffTheBoard", "z9z9"},
                    WordCase{"RankZero", "e7e0"}, WordCase{"RankNine", "e9e5"},
                    WordCase{"FileI", "i7e5"}, WordCase{"Null", "0000"},
                    WordCase{"Noise", "#!?%s%n"}, WordCase{"Capitals", "E7E5"},
                    WordCase{"HighBytes", "\xFF\xFE\x80\x90"}, WordCase{"EmptySquare", "e6e5"},
                    WordCase{"OpponentsPiece", "d2d4"}, WordCase{"OntoOwnPiece", "a8a7"},
                    WordCase{"NoMove", "e7e7"}, WordCase{"ShortCastling", "O-O"}),
    [](const auto& test) { return test.param.name; });

TEST_F(UciMoveWord, AVeryLongWordIsShownToo) {
    std::string word(3000, 'x');
    std::vector<std::string> lines = uci("position startpos moves " + word);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_NE(lines[0].find(word), std::string::npos);
    EXPECT_EQ(game_fen(), START);
}

TEST_F(UciMoveWord, ThePositionIsSearchableAfterABadWord) {
    uci("position startpos moves e2e4 e7e5 junk");
    EXPECT_EQ(unsearchable_reason(game()), nullptr);
    EXPECT_EQ(legal_moves(game()).size(), 29u);
}

TEST_F(UciPosition, ABadFenIsHeld) {
    for (const char* fen :
         {"", "8/8/8/8/8/8/8/8 w - -", "kkkkkkkk/8/8/8/8/8/8/KKKKKKKK w - -",
          "rnbqkbnr/pppppppp/ppppppppppppppppppppp/8/8/8/8/8/8/8/8/8/8/8/8 w KQkq e5e",
          "QQQQQQQQ/QQQQQQQQ/8/8/8/8/8/k6K w - 3", "xyz", "9/99/999 x y z", "k7/8/8/8/8/8/8/K7 w"})
        EXPECT_EQ(joined(uci("position fen " + std::string(fen))), "") << fen;
}

namespace {

// Knights go out and back, with a pair of pawn moves now and then, so that the fifty-move counter
// never runs full: 1,208 plies from the start position.
std::string long_game() {
    constexpr const char* SHUFFLE[4] = {"g1h3 ", "g8h6 ", "h3g1 ", "h6g8 "};
    std::string moves;
    int plies = 0;
    auto shuffle = [&](int count) {
        for (int i = 0; i < count; i++, plies++) moves += SHUFFLE[i % 4];
    };
    for (int i = 0; i < 14; i++) {
        shuffle(80);
        char file = static_cast<char>('a' + i % 7);
        char white = i < 7 ? '2' : '3', black = i < 7 ? '7' : '6';
        moves += {file, white, file, static_cast<char>(white + 1), ' '};
        moves += {file, black, file, static_cast<char>(black - 1), ' '};
        plies += 2;
    }
    shuffle(60);
    EXPECT_EQ(plies, 1208);
    return moves;
}

} // namespace

TEST_F(UciPosition, AGameOfTwelveHundredPliesIsPlayedOn) {
    EXPECT_EQ(joined(uci("position startpos moves " + long_game())), "");
    EXPECT_EQ(game_fen(), "rnbqkbnr/7p/8/ppppppp1/PPPPPPP1/8/7P/RNBQKBNR w KQkq -");
    EXPECT_EQ(game().halfmoves, 60);
    EXPECT_LE(main_thread->line.undo_index, UNDO_GAME);
    EXPECT_EQ(unsearchable_reason(game()), nullptr);
}

TEST_F(UciSetOption, NeedsNameAndValueInThisOrder) {
    EXPECT_EQ(joined(uci("setoption name Contempt value 20")), "info string Contempt set to 20\n");
    EXPECT_EQ(active_personality.Contempt, 20);
    EXPECT_EQ(joined(uci("setoption value 30 name Contempt")), "");
    EXPECT_EQ(joined(uci("setoption Contempt 30")), "");
    EXPECT_EQ(joined(uci("setoption name Contempt")), "");
    EXPECT_EQ(joined(uci("setoption name")), "");
    EXPECT_EQ(joined(uci("setoption value")), "");
    EXPECT_EQ(active_personality.Contempt, 20);
}

TEST_F(UciSetOption, SpacesAroundNameAndValueAreDropped) {
    EXPECT_EQ(joined(uci("setoption name   Contempt    value    20")),
              "info string Contempt set to 20\n");
    EXPECT_EQ(joined(uci("  setoption name Contempt value 21")),
              "info string Contempt set to 21\n");
}

TEST_F(UciSetOption, AValueMayHoldSpaces) {
    EXPECT_EQ(joined(uci("setoption name OwnBook_File value my own book.bin")),
              "info string OwnBook_File set to 'my own book.bin'\n");
    EXPECT_EQ(joined(uci("setoption name OwnBook_File value ")),
              "info string OwnBook_File set to ''\n");
    EXPECT_EQ(joined(uci("setoption name OwnBook_File value")),
              "info string OwnBook_File set to ''\n");
}

TEST_F(UciSetOption, HashIsReportedAndNeedsItsValue) {
    engine.hash_mb = 128; // as if the table were there already, so that none is made
    EXPECT_EQ(joined(uci("setoption name Hash value 128")), "info string Hash set to 128\n");
    EXPECT_EQ(joined(uci("setoption name Hash")), "");
    engine.hash_mb = 64;
}

TEST_F(UciSetOption, EachLineMovesTheDefaults) {
    uci("setoption name Contempt value 20");
    EXPECT_EQ(default_personality.Contempt, 20);
    EXPECT_TRUE(has_line(uci("uci"), "option name Contempt type spin default 20 min -150 max 150"));

    active_personality.MultiPV = 9;
    uci("setoption name NoSuchOption value 1");
    EXPECT_EQ(default_personality.MultiPV, 9) << "also where nothing was set";
    active_personality.MultiPV = 8;
    uci("setoption");
    EXPECT_EQ(default_personality.MultiPV, 8);
}

TEST_F(UciSetOption, ClearHashNeedsTheWordValue) {
    fill_hash();
    EXPECT_EQ(joined(uci("setoption name Clear_Hash")), "");
    EXPECT_TRUE(hash_is_filled());
    EXPECT_EQ(joined(uci("setoption name Clear_Hash value x")), "info string Hash table cleared\n");
    EXPECT_FALSE(hash_is_filled());
}

TEST_F(UciSetOption, LongNamesAndValuesAreCut) {
    std::string longest(3000, 'v');
    EXPECT_EQ(joined(uci("setoption name " + longest + " value 1")), "");
    std::vector<std::string> lines = uci("setoption name OwnBook_File value " + longest);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(strlen(active_personality.OwnBook_File), PATH_LENGTH - 1);
}

TEST_F(UciGo, RequestsAThink) {
    uci("go");
    EXPECT_EQ(state(), STATE_THINK_REQUEST);
    uci("go ponder");
    EXPECT_EQ(state(), STATE_PONDER_REQUEST) << "the unanswered request is dropped";
    uci("go infinite");
    EXPECT_EQ(state(), STATE_THINK_REQUEST);
}

TEST_F(UciGo, ClocksAreGivenInMilliseconds) {
    uci("go wtime 61500 btime 250");
    EXPECT_FLOAT_EQ(engine.clock[WHITE], 61.5f);
    EXPECT_FLOAT_EQ(engine.clock[BLACK], 0.25f);
    EXPECT_EQ(engine.moves_per_control, 0) << "sudden death";
}

TEST_F(UciGo, ANegativeClockCountsAsZero) {
    uci("go wtime -500 btime -1");
    EXPECT_EQ(engine.clock[WHITE], 0.0f);
    EXPECT_EQ(engine.clock[BLACK], 0.0f);
}

TEST_F(UciGo, TheMoversIncrementCounts) {
    uci("go wtime 1000 btime 1000 winc 300 binc 700");
    EXPECT_FLOAT_EQ(engine.time_increment, 0.3f);
    uci("position startpos moves e2e4");
    uci("go wtime 1000 btime 1000 winc 300 binc 700");
    EXPECT_FLOAT_EQ(engine.time_increment, 0.7f);
    uci("go wtime 1000 btime 1000 winc 100");
    EXPECT_FLOAT_EQ(engine.time_increment, 0.7f) << "what is not named stands";
}

TEST_F(UciGo, MovestogoLiftsTheOtherLimits) {
    set_limits({.depth = 5, .nodes = 1000});
    uci("go wtime 60000 btime 60000 movestogo 12");
    EXPECT_EQ(engine.moves_per_control, 40);
    EXPECT_EQ(engine.moves_to_go, 12);
    EXPECT_EQ(engine.max_depth, 66);
    EXPECT_EQ(engine.max_nodes, 0u);
}

TEST_F(UciGo, DepthIsASignedByteWithACap) {
    uci("go depth 9");
    EXPECT_EQ(engine.max_depth, 9);
    EXPECT_EQ(engine.moves_per_control, 1);
    EXPECT_EQ(engine.time_base, 10000000.0f);
    uci("go depth 70");
    EXPECT_EQ(engine.max_depth, 66);
    uci("go depth 200");
    EXPECT_EQ(engine.max_depth, -56);
    uci("go depth junk");
    EXPECT_EQ(engine.max_depth, 0);
    uci("go depth");
    EXPECT_EQ(engine.max_depth, 0);
    uci("go depth    8");
    EXPECT_EQ(engine.max_depth, 8) << "further spaces are skipped";
}

TEST_F(UciGo, NodesVaryByFourPerCent) {
    uint64_t least = UINT64_MAX, most = 0;
    for (int i = 0; i < 1000; i++) {
        uci("go nodes 1000");
        least = std::min(least, engine.max_nodes);
        most = std::max(most, engine.max_nodes);
    }
    EXPECT_GE(least, 961u);
    EXPECT_LE(most, 1040u);
    EXPECT_LT(least, 980u) << "the limit must vary";
    EXPECT_GT(most, 1020u);
    EXPECT_EQ(engine.moves_per_control, 1);
    EXPECT_EQ(engine.time_base, 10000000.0f);
}

TEST_F(UciGo, MovetimeIsAFixedTime) {
    set_limits({.time_increment = 1.0f});
    uci("go movetime 1500");
    EXPECT_EQ(engine.moves_per_control, 1);
    EXPECT_FLOAT_EQ(engine.time_base, 1.5f);
    EXPECT_EQ(engine.time_increment, 0.0f);
}

TEST_F(UciGo, InfiniteLiftsAllLimits) {
    set_limits({.depth = 5, .nodes = 1000});
    set_limits({.time_increment = 1.0f});
    uci("go infinite");
    EXPECT_EQ(engine.time_base, 10000000.0f);
    EXPECT_EQ(engine.time_increment, 0.0f);
    EXPECT_EQ(engine.max_depth, 66);
    EXPECT_EQ(engine.moves_per_control, 1);
    EXPECT_EQ(engine.max_nodes, 0u);
}

TEST_F(UciGo, LimitsOfAnEarlierGoStand) {
    uci("go depth 5");
    uci("go wtime 1000 btime 1000");
    EXPECT_EQ(engine.max_depth, 5);
    EXPECT_EQ(engine.moves_per_control, 0);

    uci("go nodes 1000");
    uint64_t nodes = engine.max_nodes;
    uci("go depth 6");
    EXPECT_EQ(engine.max_nodes, nodes);
    EXPECT_EQ(engine.max_depth, 6);

    uci("ucinewgame");
    uci("go wtime 1000 btime 1000");
    EXPECT_EQ(engine.max_nodes, nodes) << "a new game does not lift them either";
    EXPECT_EQ(engine.max_depth, 6);

    uci("go movetime 100");
    uci("go");
    EXPECT_FLOAT_EQ(engine.time_base, 0.1f);
    EXPECT_EQ(engine.moves_per_control, 0) << "the kind of control begins anew";
}

TEST_F(UciGo, LaterKeywordsOfTheFixedOrderWin) {
    uci("go movetime 200 depth 7 wtime 1000");
    EXPECT_EQ(engine.max_depth, 7);
    EXPECT_FLOAT_EQ(engine.time_base, 0.2f) << "movetime is looked at after depth";
    uci("go infinite depth 7");
    EXPECT_EQ(engine.max_depth, 66) << "infinite is looked at last";
    uci("go depth 7 movestogo 3");
    EXPECT_EQ(engine.max_depth, 7);
    EXPECT_EQ(engine.moves_per_control, 1);
    EXPECT_EQ(engine.moves_to_go, 3);
}

TEST_F(UciGo, UnknownWordsArePassedOver) {
    uci("go searchmoves e2e4 mate 3 xyz depth 4");
    EXPECT_EQ(engine.max_depth, 4);
    EXPECT_EQ(state(), STATE_THINK_REQUEST);
}

TEST_F(UciGo, LeadingSpacesDoNotHideTheKeywords) {
    uci("   go depth 4 wtime 3000");
    EXPECT_EQ(engine.max_depth, 4);
    EXPECT_FLOAT_EQ(engine.clock[WHITE], 3.0f);
}

TEST_F(UciGo, WildNumbersAreHarmless) {
    for (const char* line :
         {"go wtime 1e30 btime -1e30", "go wtime nan btime inf", "go depth 99999999999999999999",
          "go nodes 99999999999999999999", "go nodes -1", "go movestogo -70000 wtime 1 btime 1",
          "go movestogo 0", "go movetime -5", "go movetime 1e300", "go winc 1e300"}) {
        uci(line);
        EXPECT_EQ(state(), STATE_THINK_REQUEST) << line;
        printed_by([] { prepare_search(); });
        EXPECT_GE(engine.target_time, engine.moves_per_control == 1 ? -1e30f : 0.002f) << line;
    }
}
