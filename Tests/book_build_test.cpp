// Making a book from games: which moves are counted, which are kept, with what weight, and that
// the book is read back.

#include "book/build.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>

#include "base/text.h"
#include "board/make.h"
#include "board/movetext.h"
#include "board_support.h"
#include "book/book.h"
#include "shell_fixture.h"

namespace {

using Lines = std::vector<std::string>;

// An entry as text: "e2e4:12", castling as the king taking its rook.
std::string entry_text(const BookEntry& entry) {
    const char* letters[] = {"", "n", "b", "r", "q"};
    std::string text = SQUARE_NAMES[book_move_from(entry.move)];
    text += SQUARE_NAMES[book_move_to(entry.move)];
    return text + letters[entry.move >> 12] + ":" + std::to_string(entry.weight);
}

std::vector<BookEntry> read_book(const std::string& path) {
    std::vector<BookEntry> entries;
    FILE* file = fopen(path.c_str(), "rb");
    if (!file) return entries;
    for (BookEntry entry; read_book_entry(file, entry) == 0;) entries.push_back(entry);
    fclose(file);
    return entries;
}

// Builds in a directory of its own, which is the working directory meanwhile.
class BookBuild : public ShellTest {
protected:
    void SetUp() override {
        ShellTest::SetUp();
        kept = std::filesystem::current_path();
        directory = fresh_directory();
        std::filesystem::current_path(directory);
    }
    void TearDown() override {
        std::filesystem::current_path(kept);
        ShellTest::TearDown();
    }

    void build_file(const std::string& name) {
        copy_text(shell.games_in_name, name.c_str(), sizeof shell.games_in_name);
        lines = printed_by([] { build_book(); });
    }

    void build(const std::string& games) {
        std::ofstream("games.pgn", std::ios::binary) << games;
        build_file("games.pgn");
    }

    // What the book holds for a position, in its order: "e2e4:12 d2d4:3".
    static std::string held(const char* fen = START_FEN) {
        const uint64_t key = book_key(set_up(fen));
        std::string text;
        for (const BookEntry& entry : read_book("tmp_book.bin"))
            if (entry.key == key) text += (text.empty() ? "" : " ") + entry_text(entry);
        return text;
    }

    // What the book holds after these moves.
    static std::string held_after(const std::string& moves) {
        play(set_up(START_FEN), moves);
        return held(fen_of(game()).c_str());
    }

    Lines lines;
    std::string directory;

private:
    std::filesystem::path kept;
};

// A game with this result, played `times` over.
std::string games(const std::string& result, const std::string& moves, int times = 1) {
    std::string text;
    for (int i = 0; i < times; i++) text += "[Result \"" + result + "\"]\n\n" + moves + "\n\n";
    return text;
}

} // namespace

// Messages.

TEST_F(BookBuild, TellsWhatItDoes) {
    build("[Event \"a\"]\n" + games("1-0", "1. e4 e5 2. Nf3 1-0", 3) + games("*", "1. d4 *"));
    EXPECT_EQ(joined(lines), " Creating file tmp_book.bin from games in games.pgn\n"
                             "\n"
                             "writing book file ...\n"
                             "games= 4, nmoves= 3\n"
                             "done\n");
    EXPECT_EQ(held(), "e2e4:12");
    EXPECT_EQ(held_after("e2e4"), "") << "three losses";
    EXPECT_EQ(held_after("e2e4 e7e5"), "g1f3:12");
}

TEST_F(BookBuild, PrintsADotAfterEach1024thGame) {
    build(games("*", "", 1023));
    EXPECT_EQ(lines[1], "");
    build(games("*", "", 1024));
    EXPECT_EQ(lines[1], ".");
    build(games("*", "", 2050));
    EXPECT_EQ(lines[1], "..");
    EXPECT_EQ(lines[3], "games= 2050, nmoves= 0");
}

TEST_F(BookBuild, OfAMissingFileOrADirectoryNothingIsPrinted) {
    for (const char* name : {"", "no-such-file.pgn", "."}) {
        build_file(name);
        EXPECT_EQ(lines, Lines{}) << name;
        EXPECT_FALSE(std::filesystem::exists("tmp_book.bin"));
    }
}

TEST_F(BookBuild, AnOldBookIsReplaced) {
    std::ofstream("tmp_book.bin") << std::string(100, 'x');
    build(games("1-0", "1. e4", 3));
    EXPECT_EQ(std::filesystem::file_size("tmp_book.bin"), 16u);
    build("");
    EXPECT_EQ(std::filesystem::file_size("tmp_book.bin"), 0u);
    EXPECT_EQ(lines[3], "games= 0, nmoves= 0");
}

TEST_F(BookBuild, WithoutAPlaceForTheBookTheReportStillFollows) {
    std::filesystem::create_directory("tmp_book.bin");
    std::ofstream("tmp_book.bin/occupied") << "x";
    build(games("1-0", "1. e4", 3));
    EXPECT_EQ(joined(lines), " Creating file tmp_book.bin from games in games.pgn\n\n"
                             "writing book file ...\ngames= 3, nmoves= 1\ndone\n");
}

TEST(BookBuildProgram, IsARunModeOfItsOwn) {
    const std::string directory = fresh_directory();
    std::ofstream(directory + "/games.pgn") << games("1-0", "1. e4 e5", 3);
    Program program = start_program({"-mkbook", "games.pgn"}, directory);
    EXPECT_EQ(wait_exit(program), 0);
    EXPECT_EQ(joined(program.lines), "info string Hello from Mird 5.50\n"
                                     "info string allocated 64 Mbytes for hash table\n"
                                     "info string using embedded network\n"
                                     " Creating file tmp_book.bin from games in games.pgn\n\n"
                                     "writing book file ...\ngames= 3, nmoves= 2\ndone\n");
    EXPECT_EQ(read_book(directory + "/tmp_book.bin").size(), 1u);

    Program missing = start_program({"-mkbook", "no-such-file"});
    EXPECT_EQ(wait_exit(missing), 1);
    EXPECT_EQ(missing.lines.size(), 3u) << joined(missing.lines);
}

// What is kept, and its weight.

TEST_F(BookBuild, ScoresAndWinsMustBothBeHighEnough) {
    build(games("1-0", "1. e4", 3)                                  // 12, kept
          + games("1-0", "1. d4", 2) + games("1/2-1/2", "1. d4", 8) // 16 with two wins
          + games("1-0", "1. c4", 3) + games("0-1", "1. c4")        // 10, kept
          + games("1-0", "1. f4", 4) + games("0-1", "1. f4", 4)     // 8
          + games("1-0", "1. b3", 3) + games("0-1", "1. b3", 2) + games("1/2-1/2", "1. b3") // 9
          + games("1/2-1/2", "1. a3", 40));
    EXPECT_EQ(held(), "e2e4:12 c2c4:10");
}

TEST_F(BookBuild, BlackMovesAreCountedFromBlacksView) {
    build(games("0-1", "1. e4 c5", 5) + games("1/2-1/2", "1. e4 c5", 2) + games("1-0", "1. e4 c5"));
    EXPECT_EQ(held(), "");
    EXPECT_EQ(held_after("e2e4"), "c7c5:20");
}

TEST_F(BookBuild, MovesOfAPositionStandHeaviestFirst) {
    build(games("1-0", "1. a3", 3) + games("1-0", "1. b3", 5) + games("1-0", "1. c3", 4)
          + games("1-0", "1. d3", 5));
    EXPECT_EQ(held(), "b2b3:20 d2d3:20 c2c3:16 a2a3:12");
}

TEST_F(BookBuild, ScoresUpTo60000StandAndHigherOnesAreScaledDown) {
    build(games("1-0", "e4", 15000) + games("1-0", "d4", 300));
    EXPECT_EQ(held(), "e2e4:60000 d2d4:1200");
    build(games("1-0", "e4", 30000) + games("1-0", "d4", 301) + games("1/2-1/2", "d4"));
    EXPECT_EQ(held(), "e2e4:60000 d2d4:602") << "1,205 halved";
}

TEST_F(BookBuild, KeysAscendThroughTheWholeFile) {
    Random random = {53};
    std::string text;
    for (int i = 0; i < 40; i++) {
        std::string moves;
        set_up(START_FEN);
        for (int ply = 0; ply < 36; ply++) {
            std::vector<Move> legal = legal_moves(game());
            if (legal.empty()) break;
            Move move =
                legal[static_cast<size_t>(random_below(random, static_cast<int>(legal.size())))];
            char name[MOVE_TEXT_LENGTH];
            move_to_text(game(), game().side, move, name);
            moves += std::string(name) + " ";
            make_game_move(game(), move);
        }
        text += games(i & 1 ? "1-0" : "0-1", moves, 3);
    }
    build(text);
    std::vector<BookEntry> entries = read_book("tmp_book.bin");
    EXPECT_GT(entries.size(), 600u);
    for (size_t i = 1; i < entries.size(); i++) EXPECT_LE(entries[i - 1].key, entries[i].key);
}

TEST_F(BookBuild, CastlingAndPromotionsHaveTheFormOfABook) {
    build(games("1-0", "1. e4 e5 2. Nf3 Nc6 3. Bc4 Bc5 4. O-O", 3)
          + games("0-1", "1. h4 d5 2. a3 Bf5 3. b3 Nc6 4. c3 Qd7 5. d3 0-0-0", 3)
          + games("1-0", "1. h4 g5 2. hxg5 h6 3. gxh6 a6 4. h7 a5 5. hxg8=N", 3)
          + games("1-0", "1. h4 g5 2. hxg5 h6 3. gxh6 a6 4. h7 a5 5. hxg8=Q", 4)
          + games("1-0", "1. h4 g5 2. hxg5 h6 3. gxh6 a6 4. h7 a5 5. h7g8=R", 5)
          + games("1-0", "1. h4 g5 2. hxg5 h6 3. gxh6 a6 4. h7 a5 5. hg=B", 6));
    EXPECT_EQ(held_after("e2e4 e7e5 g1f3 b8c6 f1c4 f8c5"), "e1h1:12");
    EXPECT_EQ(held_after("h2h4 d7d5 a2a3 c8f5 b2b3 b8c6 c2c3 d8d7 d2d3"), "e8a8:12");
    EXPECT_EQ(held_after("h2h4 g7g5 h4g5 h7h6 g5h6 a7a6 h6h7 a6a5"),
              "h7g8b:24 h7g8r:20 h7g8q:16 h7g8n:12");
}

TEST_F(BookBuild, AnyPieceFromE1ToG1IsWrittenAsCastling) {
    const std::string to_e1 = "d2d4 a7a6 e1d2 b7b6 d1e1 c7c6 g1f3 d7d6 e2e3 e7e6 f1e2 f7f6";
    build(games("1-0", "1. d4 a6 2. Kd2 b6 3. Qe1 c6 4. Nf3 d6 5. e3 e6 6. Be2 f6 7. Qg1", 3));
    EXPECT_EQ(held_after(to_e1), "e1h1:12");
    play(set_up(START_FEN), to_e1);
    Move move = NULL_MOVE;
    printed_by([&] { move = book_probe(game(), "tmp_book.bin"); });
    EXPECT_EQ(move, plain("e1g1"));
}

// What is read.

TEST_F(BookBuild, AGameWithoutAKnownResultOnlyCountsAsAGame) {
    build(games("*", "1. e4", 5) + games("", "1. e4", 5) + games("1-0", "1. d4", 3));
    EXPECT_EQ(held(), "d2d4:12");
    EXPECT_EQ(lines[3], "games= 13, nmoves= 1");
}

TEST_F(BookBuild, MovesBeforeTheFirstResultTagCountForNothing) {
    build("1. e4 e5\n" + games("1-0", "1. d4", 3) + "[Event \"?\"]\n");
    EXPECT_EQ(lines[3], "games= 3, nmoves= 1");
}

TEST_F(BookBuild, TheResultTagSetsTheBoardUp) {
    build("[Result \"1-0\"]\n[FEN \"8/8/8/8/8/8/8/K6k w - - 0 1\"]\n\n1. e4 1-0\n"
          + games("1-0", "1. e4", 2));
    EXPECT_EQ(held(), "e2e4:12");
}

TEST_F(BookBuild, The37thMoveIsNotCounted) {
    for (const char* separator : {" ", "\n"}) {
        std::string moves;
        for (int i = 0; i < 9; i++)
            for (const char* move : {"Nf3", "Nf6", "Ng1", "Ng8"})
                moves += move + std::string(separator);
        build(games("1-0", moves + "e4 e5", 3));
        EXPECT_EQ(held(), "g1f3:108");
        EXPECT_EQ(lines[3], "games= 3, nmoves= 4");
        moves.resize(moves.size() - 4); // the 36th is another one
        build(games("0-1", moves + "e5 e4", 3));
        EXPECT_EQ(held("rnbqkb1r/pppppppp/5n2/8/8/8/PPPPPPPP/RNBQKBNR b KQkq -"),
                  "f6g8:96 e7e5:12");
        EXPECT_EQ(lines[3], "games= 3, nmoves= 5");
    }
}

TEST_F(BookBuild, CommentsAndVariationsAreNotCounted) {
    build(games("1-0",
                "{e3 e6} 1. e4 {Nf3 (Nf3)\nd4 Nf3\n[d4]\n;d4 }e5 (1... c5 2. c3 (2. Nf3 d6\n"
                "3. d4 {c6}) 2... e6\n) 2. d4",
                3));
    EXPECT_EQ(held(), "e2e4:12");
    EXPECT_EQ(held_after("e2e4 e7e5"), "d2d4:12");
    EXPECT_EQ(lines[3], "games= 3, nmoves= 3");
}

TEST_F(BookBuild, BracketsNeedNoSpaces) {
    build(games("1-0", "1.e4{a}e5(1...c5)2.d4(2.f4)exd4{b}3.c3", 3));
    EXPECT_EQ(held_after("e2e4 e7e5 d2d4 e5d4"), "c2c3:12");
}

TEST_F(BookBuild, NumbersAnnotationsAndResultsAreNoMoves) {
    build(games("1-0", "1.e4 $1 1...e5 $14 2. 2.d4 1/2-1/2 2... exd4 ; c3 ;x", 3));
    EXPECT_EQ(held_after("e2e4 e7e5 d2d4 e5d4"), "c2c3:12") << "a semicolon ends nothing";
    build(games("0-1", "1.e4 ;d5\n; d5 c5\n%e5", 3));
    EXPECT_EQ(held_after("e2e4"), "e7e5:12") << "but it hides the line that it begins";
}

TEST_F(BookBuild, OneBracketTooManyIsForgivenAtTheNextWord) {
    build(games("1-0", "1. e4 } e5 { c5 } 2. d4 ) ) exd4 ( c5 ) 3. c3", 3));
    EXPECT_EQ(held_after("e2e4 e7e5 d2d4 e5d4"), "c2c3:12");
}

TEST_F(BookBuild, AnUnclosedBracketHidesTheRestOfTheGameOnly) {
    build(games("1-0", "1. e4 { e5 2. d4 1-0", 3) + games("1-0", "1. e4 ( e5 2. d4 1-0", 3));
    EXPECT_EQ(held(), "e2e4:24");
    EXPECT_EQ(lines[3], "games= 6, nmoves= 1");
}

TEST_F(BookBuild, AWordThatIsNoMoveEndsTheGame) {
    build(games("1-0", "1. e4 e5 2. Ke3 Nf3 d4", 3) + games("1-0", "1. d4 xyz c4", 3));
    EXPECT_EQ(held(), "e2e4:12 d2d4:12");
    EXPECT_EQ(lines[3], "games= 6, nmoves= 3");
}

TEST_F(BookBuild, ControlCharactersAreDropped) {
    build(games("1-0",
                "1. e\t4\r\n e5 2. N\x01\x1F"
                "f3\r",
                3));
    EXPECT_EQ(held_after("e2e4 e7e5"), "g1f3:12");
}

TEST_F(BookBuild, LongLinesAndLongGamesAreRead) {
    std::string shuffle;
    for (int i = 0; i < 250; i++) shuffle += "Nf3 Nf6 Ng1 Ng8 ";
    build(games("1-0", shuffle, 3) + games("1-0", "{" + std::string(5000, 'a') + "} e4", 3)
          + games("1-0", std::string(5000, 'b') + " d4", 3)
          + games("1-0", std::string(5000, ' ') + " c4", 3));
    EXPECT_EQ(held(), "g1f3:108 e2e4:12 c2c4:12");
}

TEST_F(BookBuild, NoiseDoesNoHarm) {
    Random random = {54};
    const std::string pieces[] = {"[Result \"1-0\"]",
                                  "\n",
                                  " ",
                                  "{",
                                  "}",
                                  "(",
                                  ")",
                                  ";",
                                  "$1",
                                  "e4",
                                  "Nf3",
                                  "+",
                                  "[",
                                  "]",
                                  "0",
                                  "0-0-",
                                  "O-O",
                                  "e8=Q",
                                  std::string(1022, 'Q'),
                                  std::string(1, '\0'),
                                  "\xFF\x80",
                                  "1."};
    for (int i = 0; i < 60; i++) {
        std::string text;
        for (int j = random_below(random, 400); j > 0; j--) {
            if (random_below(random, 4) == 0) text += static_cast<char>(next_random(random));
            else text += pieces[random_below(random, static_cast<int>(std::size(pieces)))];
        }
        build(text);
        ASSERT_EQ(lines.back(), "done");
    }
}

TEST_F(BookBuild, DamagedGamesDoNoHarm) {
    std::string whole;
    for (int i = 0; i < 200; i++)
        whole += games("1-0",
                       "1. e4 {the {nested} best} e5 2. Nf3 (2. f4 exf4 (2... d5 3. exd5) 3. Nf3) "
                       "Nc6 $1\n3. Bb5 a6 ; a line\n% escaped\n4. Ba4! Nf6 5.0-0 Be7{tight}6. Re1 "
                       "b5 7. Bb3 d6 8. c3 O-O 9. h3 Nb8 10. d4 Nbd7 1-0\n",
                       1);
    Random random = {55};
    const char marks[] = "{}()[];$ \n\0\x7F\xE9";
    for (int i = 0; i < 10; i++) {
        std::string text = whole;
        for (int j = 0; j < 2000 * (i > 0); j++)
            text[static_cast<size_t>(random_below(random, static_cast<int>(text.size())))] =
                marks[random_below(random, sizeof marks)];
        build(text);
        ASSERT_EQ(lines.back(), "done");
    }
}

// A book of real games against a count of its own.

namespace {

struct Count {
    int wins, losses, draws;
};

struct CountedPosition {
    std::string fen;
    std::map<std::string, Count> moves; // by entry_text's move
};

// Words of the text outside braces, brackets and numbers; the files that this is used for have
// neither variations nor other oddities.
Lines words_of(const std::string& text) {
    Lines words;
    std::istringstream stream(text);
    for (std::string word; stream >> word;) {
        size_t dot = word.rfind('.');
        if (dot != std::string::npos) word = word.substr(dot + 1);
        if (!word.empty() && isalpha(static_cast<unsigned char>(word[0]))) words.push_back(word);
    }
    return words;
}

// The move as a book names it.
std::string book_name(const Position& pos, Move move, const std::string& san) {
    std::string name = SQUARE_NAMES[move_from(move)];
    name += SQUARE_NAMES[move_to(move)];
    if (san[0] == 'O')
        name = std::string(pos.side ? "e8" : "e1") + (san.size() < 5 ? "h" : "a")
             + (pos.side ? "8" : "1");
    for (char letter : std::string("QRBN")) {
        if (san.find(std::string("=") + letter) == std::string::npos) continue;
        name += static_cast<char>(tolower(letter));
    }
    return name;
}

void count_game(const std::string& result, const std::string& moves,
                std::map<uint64_t, CountedPosition>& counts) {
    set_up(START_FEN);
    int ply = 0;
    for (const std::string& san : words_of(moves)) {
        if (ply++ == 36) return;
        char text[64];
        copy_text(text, san.c_str(), sizeof text - 1);
        Move move;
        if (!parse_move(game(), text, &move)) return;
        CountedPosition& position = counts[book_key(game())];
        if (position.fen.empty()) position.fen = fen_of(game());
        Count& count = position.moves[book_name(game(), move, san)];
        if (result == "1/2-1/2") count.draws++;
        else if ((result == "1-0") == (game().side == WHITE)) count.wins++;
        else count.losses++;
        make_game_move(game(), move);
    }
}

std::map<uint64_t, CountedPosition> count_games(const std::string& path) {
    std::map<uint64_t, CountedPosition> counts;
    std::string result, moves;
    for (const std::string& line : read_lines(path)) {
        if (line.compare(0, 7, "[Event ") == 0) {
            count_game(result, moves, counts);
            moves.clear();
        } else if (line.compare(0, 9, "[Result \"") == 0) {
            result = line.substr(9, line.size() - 11);
        } else if (line[0] != '[') {
            moves += line + " ";
        }
    }
    count_game(result, moves, counts);
    return counts;
}

// The kept moves of a position with their weights, as entry_text has them, in alphabetic order.
Lines expected_entries(const CountedPosition& position) {
    std::map<std::string, int> scores;
    int best = 0;
    for (const auto& [name, count] : position.moves) {
        int score = 4 * count.wins - 2 * count.losses + count.draws;
        if (score <= 9 || count.wins < 3) continue;
        scores[name] = score;
        best = std::max(best, score);
    }
    Lines texts;
    for (const auto& [name, score] : scores)
        texts.push_back(name + ":" + std::to_string(score)); // none is near 60,000 here
    EXPECT_LE(best, 60000);
    return texts;
}

class LongBookBuild : public BookBuild {};

} // namespace

TEST_F(LongBookBuild, RealGamesGiveTheBookOfAnIndependentCount) {
    const std::string path = shared_data("pgn/master-games.pgn");
    if (path.empty()) GTEST_SKIP() << "needs MIRD_TEST_DATA";
    build_file(path);
    EXPECT_EQ(lines[3].compare(0, 13, "games= 6000, "), 0) << lines[3];

    std::vector<BookEntry> entries = read_book("tmp_book.bin");
    std::map<uint64_t, Lines> held;
    for (size_t i = 0; i < entries.size(); i++) {
        held[entries[i].key].push_back(entry_text(entries[i]));
        EXPECT_EQ(entries[i].learn, 0u);
        if (i == 0) continue;
        EXPECT_LE(entries[i - 1].key, entries[i].key);
        if (entries[i - 1].key == entries[i].key) {
            EXPECT_GE(entries[i - 1].weight, entries[i].weight);
        }
    }

    set_relaxed(shell.uci_mode, 0);
    int checked = 0, castlings = 0, nodes = 0;
    for (const auto& [key, position] : count_games(path)) {
        nodes += static_cast<int>(position.moves.size());
        Lines expected = expected_entries(position), found = held[key];
        std::sort(found.begin(), found.end());
        EXPECT_EQ(found, expected) << position.fen;
        if (expected.empty()) continue;

        // And the probe shows each of them.
        set_up(position.fen.c_str());
        Move move = NULL_MOVE;
        Lines shown = printed_by([&] { move = book_probe(game(), "tmp_book.bin"); });
        EXPECT_NE(move, NULL_MOVE) << position.fen;
        ASSERT_EQ(shown.size(), expected.size() + 1) << position.fen;
        for (const std::string& text : expected) {
            char start[40];
            snprintf(start, sizeof start, "  %s  cnt= %5d, ", text.substr(0, 4).c_str(),
                     atoi(text.substr(text.find(':') + 1).c_str()));
            EXPECT_EQ(count_lines(shown, start), 1) << start << joined(shown);
            castlings += text == "e1h1" || text.compare(0, 4, "e8h8") == 0;
            checked++;
        }
    }
    EXPECT_EQ(checked, static_cast<int>(entries.size()));
    EXPECT_GT(checked, 1000);
    EXPECT_GT(castlings, 10);
    EXPECT_EQ(lines[3], "games= 6000, nmoves= " + std::to_string(nodes));
}
