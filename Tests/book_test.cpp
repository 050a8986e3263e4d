// Opening books: the key of a position, the entries of a file, what a probe finds, prints and
// chooses, and how a think and the console use it.

#include "book/book.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <set>

#include <sys/stat.h>

#include "base/text.h"
#include "board/make.h"
#include "board/movetext.h"
#include "board_support.h"
#include "book/polyglot_numbers.h"
#include "shell/console.h"
#include "shell_fixture.h"

namespace {

using Lines = std::vector<std::string>;

// A move as a book has it, from a text such as "e2e4", "e1h1" or "f2g1n".
uint16_t packed(const std::string& text) {
    int promotion = text.size() > 4 ? static_cast<int>(std::string("nbrq").find(text[4])) + 1 : 0;
    return static_cast<uint16_t>(sq(text.c_str() + 2) + 64 * sq(text.c_str()) + 4096 * promotion);
}

struct Weighted {
    std::string move;
    uint16_t weight;
};

std::vector<BookEntry> entries_of(const char* fen, const std::vector<Weighted>& moves) {
    const uint64_t key = book_key(set_up(fen));
    std::vector<BookEntry> entries;
    for (const Weighted& move : moves) entries.push_back({key, packed(move.move), move.weight, 0});
    return entries;
}

std::vector<BookEntry> sorted(std::vector<BookEntry> entries) {
    std::stable_sort(entries.begin(), entries.end(),
                     [](const BookEntry& a, const BookEntry& b) { return a.key < b.key; });
    return entries;
}

std::vector<BookEntry> operator+(std::vector<BookEntry> a, const std::vector<BookEntry>& b) {
    a.insert(a.end(), b.begin(), b.end());
    return sorted(a);
}

// A file of these entries with `tail` bytes behind them, in `directory` or one of its own.
std::string book_file(const std::vector<BookEntry>& entries, int tail = 0,
                      const std::string& directory = fresh_directory(),
                      const std::string& name = "book.bin") {
    std::string path = directory + "/" + name;
    FILE* file = fopen(path.c_str(), "wb");
    for (const BookEntry& entry : entries) write_book_entry(file, entry);
    for (int i = 0; i < tail; i++) fputc(0xFF, file);
    fclose(file);
    return path;
}

// Blanks part words, tabs part fields.
Lines fields_of(const std::string& line, char separator) {
    Lines fields;
    std::istringstream stream(line);
    for (std::string field; std::getline(stream, field, separator);) fields.push_back(field);
    return fields;
}

constexpr char ROOK_ON_E1[] = "4k3/8/8/8/8/8/K7/4R3 w - -";
constexpr char CASTLING[] = "r3k2r/8/8/8/8/8/8/R3K2R w KQkq -";

class BookProbe : public ShellTest {
protected:
    // Probes a book of these moves of one position and returns the move; `lines` gets the output.
    Move probe(const char* fen, const std::vector<Weighted>& moves) {
        std::string path = book_file(entries_of(fen, moves));
        return probe_file(path);
    }

    Move probe_file(const std::string& path) {
        Move move = NULL_MOVE;
        lines = printed_by([&] { move = book_probe(game(), path.c_str()); });
        return move;
    }

    // No output from here on, as for a certain kind of analysis.
    static void choose_in_silence() {
        set_relaxed(shell.uci_mode, 0);
        set_relaxed(engine.game_state, STATE_THINK_REQUEST);
        engine.time_base = 9999.0f;
    }

    Lines lines;
};

class LongBookProbe : public BookProbe {};

} // namespace

// Keys.

namespace {

struct PublishedKey {
    const char* moves;
    const char* fen;
    uint64_t key;
};
const PublishedKey PUBLISHED_KEYS[] = {
    {"", "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -", 0x463b96181691fc9c},
    {"e2e4", "rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3", 0x823c9b50fd114196},
    {"e2e4 d7d5", "rnbqkbnr/ppp1pppp/8/3p4/4P3/8/PPPP1PPP/RNBQKBNR w KQkq d6", 0x0756b94461c50fb0},
    {"e2e4 d7d5 e4e5", "rnbqkbnr/ppp1pppp/8/3pP3/8/8/PPPP1PPP/RNBQKBNR b KQkq -",
     0x662fafb965db29d4},
    {"e2e4 d7d5 e4e5 f7f5", "rnbqkbnr/ppp1p1pp/8/3pPp2/8/8/PPPP1PPP/RNBQKBNR w KQkq f6",
     0x22a48b5a8e47ff78},
    {"e2e4 d7d5 e4e5 f7f5 e1e2", "rnbqkbnr/ppp1p1pp/8/3pPp2/8/8/PPPPKPPP/RNBQ1BNR b kq -",
     0x652a607ca3f242c1},
    {"e2e4 d7d5 e4e5 f7f5 e1e2 e8f7", "rnbq1bnr/ppp1pkpp/8/3pPp2/8/8/PPPPKPPP/RNBQ1BNR w - -",
     0x00fdd303c946bdd9},
    {"a2a4 b7b5 h2h4 b5b4 c2c4", "rnbqkbnr/p1pppppp/8/8/PpP4P/8/1P1PPPP1/RNBQKBNR b KQkq c3",
     0x3c8123ea7b067637},
    {"a2a4 b7b5 h2h4 b5b4 c2c4 b4c3 a1a3",
     "rnbqkbnr/p1pppppp/8/8/P6P/R1p5/1P1PPPP1/1NBQKBNR b Kkq -", 0x5c3f9b829b279560},
};

} // namespace

TEST(BookKey, ThePublishedPositionsHaveTheirKeys) {
    for (const PublishedKey& published : PUBLISHED_KEYS) {
        EXPECT_EQ(book_key(set_up(published.fen)), published.key) << published.fen;
        play(set_up(START_FEN), published.moves);
        EXPECT_EQ(book_key(game()), published.key) << published.moves;
    }
}

TEST(BookKey, AllKeysOfTheTestFileAreMet) {
    Lines lines = read_lines(MIRD_TEST_SOURCE_DIR "/data/polyglot/key-vectors.tsv");
    int checked = 0;
    for (const std::string& line : lines) {
        if (line[0] == '#') continue;
        Lines fields = fields_of(line, '\t');
        EXPECT_EQ(book_key(set_up(fields[0].c_str())), std::stoull(fields[1], nullptr, 16)) << line;
        checked++;
    }
    EXPECT_EQ(checked, 256);
}

TEST(BookKey, AnEnPassantSquareWithoutACapturingPawnCountsForNothing) {
    uint64_t with = book_key(set_up("rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3"));
    uint64_t without = book_key(set_up("rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq -"));
    EXPECT_EQ(with, without);
}

TEST(BookKey, APinnedPawnCountsAsCapturing) {
    uint64_t with = book_key(set_up("8/8/8/K1Pp3r/8/8/8/7k w - d6"));
    uint64_t without = book_key(set_up("8/8/8/K1Pp3r/8/8/8/7k w - -"));
    EXPECT_EQ(with ^ without, polyglot_numbers[POLYGLOT_EN_PASSANT + 3]);
}

TEST(BookKey, OddPositionsHaveAKey) {
    for (const char* fen : {"", "8/8/8/8/8/8/8/8 w - -", "8/8/8/8/8/8/8/8 b - h8",
                            "QQQQQQQQ/QQQQQQQQ/8/8/8/8/8/PPPPPPPP b KQkq a1"})
        book_key(set_up(fen));
}

TEST(BookNumbers, AreAllDifferentAndBeginAsPublished) {
    std::set<uint64_t> different(std::begin(polyglot_numbers), std::end(polyglot_numbers));
    EXPECT_EQ(different.size(), 781u);
    EXPECT_EQ(polyglot_numbers[0], 0x9D39247E33776D41u);
    EXPECT_EQ(polyglot_numbers[POLYGLOT_WHITE_TO_MOVE], 0xF8D626AAAF278509u);
}

// A sum in which each number has another odd factor, so that none can change or move alone.
TEST(BookNumbers, HaveTheSumOfThePublishedTable) {
    uint64_t sum = 0, factor = 1;
    for (uint64_t number : polyglot_numbers) {
        sum += number * factor;
        factor += 2;
    }
    EXPECT_EQ(sum, 0x85399C28EFA830B6u);
}

// Entries and moves.

namespace {

const unsigned char E2E4_BYTES[sizeof(BookEntry)] = {0x46, 0x3B, 0x96, 0x18, 0x16,
                                                     0x91, 0xFC, 0x9C, // key of the start position
                                                     0x03, 0x1C,       // e2e4: from 12, to 28
                                                     0x00, 0x64,       // weight 100
                                                     0x00, 0x00, 0x00, 0x07}; // learn 7

FILE* file_of_bytes(const void* bytes, size_t count) {
    FILE* file = tmpfile();
    fwrite(bytes, 1, count, file);
    rewind(file);
    return file;
}

} // namespace

TEST(BookEntries, AreReadMostSignificantByteFirst) {
    FILE* file = file_of_bytes(E2E4_BYTES, sizeof E2E4_BYTES);
    BookEntry entry = {};
    EXPECT_EQ(read_book_entry(file, entry), 0);
    EXPECT_EQ(entry.key, 0x463B96181691FC9Cu);
    EXPECT_EQ(entry.move, 0x031C);
    EXPECT_EQ(entry.weight, 100);
    EXPECT_EQ(entry.learn, 7u);
    EXPECT_EQ(read_book_entry(file, entry), 1) << "the file has ended";
    fclose(file);
}

TEST(BookEntries, AnEntryCutShortCountsAsTheEnd) {
    FILE* file = file_of_bytes(E2E4_BYTES, sizeof E2E4_BYTES - 1);
    BookEntry entry = {};
    entry.weight = 55;
    EXPECT_EQ(read_book_entry(file, entry), 1);
    EXPECT_EQ(entry.weight, 55) << "the entry must stay unchanged";
    fclose(file);
}

TEST(BookEntries, AreWrittenAsTheyAreRead) {
    FILE* file = tmpfile();
    write_book_entry(file, {0x463B96181691FC9C, 0x031C, 100, 7});
    rewind(file);
    unsigned char bytes[32];
    EXPECT_EQ(fread(bytes, 1, sizeof bytes, file), 16u);
    EXPECT_EQ(memcmp(bytes, E2E4_BYTES, 16), 0);
    fclose(file);
}

TEST(BookMoves, ArePackedAsPublished) {
    EXPECT_EQ(pack_book_move(plain("e2e4")), 0x031C);
    EXPECT_EQ(pack_book_move(plain("e7e8") | FLAG_QUEEN), 0x4D3C);
    EXPECT_EQ(pack_book_move(plain("f2g1") | FLAG_KNIGHT), packed("f2g1n"));
    EXPECT_EQ(pack_book_move(plain("a7a8") | FLAG_BISHOP), packed("a7a8b"));
    EXPECT_EQ(pack_book_move(plain("h2h1") | FLAG_ROOK), packed("h2h1r"));
    EXPECT_EQ(pack_book_move(plain("e1g1") | FLAG_KING_SIDE), 0x0107);
    EXPECT_EQ(pack_book_move(plain("e1c1") | FLAG_QUEEN_SIDE), 0x0100);
    EXPECT_EQ(pack_book_move(plain("e8g8") | FLAG_KING_SIDE), 0x0F3F);
    EXPECT_EQ(pack_book_move(plain("e8c8") | FLAG_QUEEN_SIDE), 0x0F38);
    EXPECT_EQ(pack_book_move(plain("e1g1")), 0x0107) << "the squares alone decide";
}

TEST(BookMoves, AllLegalMovesSurviveTheTripIntoABookAndBack) {
    Random random = {51};
    int moves = 0;
    for (int i = 0; i < 100; i++) {
        set_up(random_fen(random).c_str());
        for (Move move : legal_moves(game())) {
            std::string from_to = SQUARE_NAMES[move_from(move)];
            from_to += SQUARE_NAMES[move_to(move)];
            bool castling_squares =
                from_to == "e1h1" || from_to == "e1a1" || from_to == "e8h8" || from_to == "e8a8";
            if (castling_squares) continue; // not to be told from the g- and c-file
            EXPECT_EQ(unpack_book_move(game(), pack_book_move(move)), move) << from_to;
            moves++;
        }
    }
    EXPECT_GT(moves, 1000);
}

TEST(BookMoves, CastlingIsReadForTheKing) {
    set_up(CASTLING);
    EXPECT_EQ(unpack_book_move(game(), packed("e1h1")), find_move(game(), "e1g1"));
    EXPECT_EQ(unpack_book_move(game(), packed("e1a1")), find_move(game(), "e1c1"));
    set_up("r3k2r/8/8/8/8/8/8/R3K2R b KQkq -");
    EXPECT_EQ(unpack_book_move(game(), packed("e8h8")), find_move(game(), "e8g8"));
    EXPECT_EQ(unpack_book_move(game(), packed("e8a8")), find_move(game(), "e8c8"));
    EXPECT_EQ(unpack_book_move(game(), packed("e8h8")) & FLAG_MASK, FLAG_KING_SIDE);
}

TEST(BookMoves, OtherPiecesOnTheKingsPathGoToTheSameSquare) {
    set_up(ROOK_ON_E1);
    EXPECT_EQ(unpack_book_move(game(), packed("e1h1")), plain("e1g1"));
    EXPECT_EQ(unpack_book_move(game(), packed("e1a1")), plain("e1c1"));
    EXPECT_EQ(unpack_book_move(game(), packed("e1f1")), plain("e1f1"));
}

TEST(BookMoves, WhatCantBePlayedIsNoMove) {
    set_up(START_FEN);
    for (const char* text : {"a1a1", "e4e5", "e7e5", "e2e5", "d1d2", "g1e2", "e1h1", "e1g1", "b1d2",
                             "e2e4q", "h8h7"}) {
        EXPECT_EQ(unpack_book_move(game(), packed(text)), NULL_MOVE) << text;
    }
    set_up(CASTLING);
    EXPECT_EQ(unpack_book_move(game(), packed("e1e2n")), NULL_MOVE) << "no castling by promotion";
    set_up("8/4P3/8/8/8/k7/8/K7 w - -");
    EXPECT_EQ(unpack_book_move(game(), packed("e7e8")), NULL_MOVE) << "a promotion names its piece";
    EXPECT_EQ(unpack_book_move(game(), packed("e7e8q")), plain("e7e8") | FLAG_QUEEN);
    EXPECT_EQ(unpack_book_move(game(), packed("e7e8") | 5 << 12), NULL_MOVE);
    set_up("4r2k/8/8/8/8/8/4N3/4K3 w - -");
    EXPECT_EQ(unpack_book_move(game(), packed("e2c3")), NULL_MOVE) << "the knight is pinned";
}

TEST(BookMoves, EveryNumberGivesALegalMoveOrNone) {
    for (const char* fen : {START_FEN, CASTLING, ROOK_ON_E1, "8/P6P/8/8/8/k7/p6p/4K2R b K -",
                            "4k3/8/8/pP6/8/8/8/R3K2R w KQ a6", "8/8/8/8/8/8/8/8 w - -",
                            "QQQQQQQQ/8/8/8/8/8/8/k7 w - -"}) {
        set_up(fen);
        std::vector<Move> legal = legal_moves(game());
        const Position before = game();
        for (int number = 0; number < 65536; number++) {
            Move move = unpack_book_move(game(), static_cast<uint16_t>(number));
            if (move == NULL_MOVE) continue;
            ASSERT_NE(std::find(legal.begin(), legal.end(), move), legal.end()) << fen << number;
            make_move(game(), move);
            unmake_move(game());
            ASSERT_EQ(memcmp(&before, &game(), sizeof before), 0) << fen << number;
        }
    }
}

// Bending.

namespace {

struct BendCase {
    const char* name; // becomes part of the test's name
    int weight, variety, first, total;
    int expected;
};

void PrintTo(const BendCase& c, std::ostream* out) { *out << c.name; }

class BendWeight : public testing::TestWithParam<BendCase> {};

} // namespace

TEST_P(BendWeight, FollowsTheFormula) {
    const BendCase& c = GetParam();
    EXPECT_EQ(bend_weight(c.weight, c.variety, c.first, c.total), c.expected);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Table, BendWeight, testing::Values(
    //       name                         weight variety  first   total expected
    BendCase{"DefaultKeepsProportions",       75,     25,    75,    100,    7500},
    BendCase{"DefaultCutsFractions",           1,     25,     2,      3,    3333},
    BendCase{"ZeroTakesAQuarterOfTheFirst",  100,      0,   100,    110,    6818},
    BendCase{"NegativeBecomesZero",           10,      0,   100,    110,       0},
    BendCase{"WhatIsTakenIsCutTowardsZero",    7,      0,     7,     10,    6000},
    BendCase{"HundredAddsThreeQuarters",      10,    100,   100,    110,    7727},
    BendCase{"HundredOfASingleMove",          10,    100,    10,     10,   17000},
    BendCase{"LargestWeights",             65535,    100, 65535, 131070,    8749}),
    [](const auto& test) { return test.param.name; });
// clang-format on

// Finding.

TEST_F(BookProbe, AnEmptyNameOrAMissingFileGivesNothing) {
    EXPECT_EQ(probe_file(""), NULL_MOVE);
    EXPECT_EQ(probe_file("/no/such/book.bin"), NULL_MOVE);
    EXPECT_EQ(lines, Lines{});
}

TEST_F(BookProbe, AFileShorterThanAnEntryGivesNothing) {
    for (int bytes = 0; bytes < 16; bytes++) {
        EXPECT_EQ(probe_file(book_file({}, bytes)), NULL_MOVE) << bytes;
        EXPECT_EQ(lines, Lines{});
    }
}

TEST_F(BookProbe, AFileOfOneEntryIsFound) {
    EXPECT_EQ(probe(START_FEN, {{"e2e4", 1}}), plain("e2e4"));
    set_up("4k3/8/8/8/8/8/8/4K3 w - -");
    EXPECT_EQ(probe_file(book_file(entries_of(START_FEN, {{"e2e4", 1}}))), plain("e2e4"));
    std::string path = book_file(entries_of(START_FEN, {{"e2e4", 1}}));
    set_up(CASTLING);
    EXPECT_EQ(probe_file(path), NULL_MOVE) << "another position";
    EXPECT_EQ(lines, Lines{});
}

TEST_F(BookProbe, EachKeyOfAFileOfAnyLengthIsFoundBeforeATornEnd) {
    const std::string directory = fresh_directory();
    const std::string moves[] = {"e2e4", "e7e5", "g1f3", "b8c6", "f1b5", "a7a6", "b5a4", "g8f6"};
    for (size_t count = 1; count <= std::size(moves); count++) {
        std::vector<BookEntry> entries;
        std::vector<std::string> fens;
        set_up(START_FEN);
        for (size_t i = 0; i < count; i++) {
            fens.push_back(fen_of(game()));
            entries.push_back({book_key(game()), packed(moves[i]), 1, 0});
            play(game(), moves[i]);
        }
        for (int tail = 0; tail < 16; tail++) {
            std::string path = book_file(sorted(entries), tail, directory);
            for (size_t i = 0; i < count; i++) {
                set_up(fens[i].c_str());
                EXPECT_EQ(probe_file(path), plain(moves[i].c_str())) << count << " " << tail;
            }
        }
    }
}

TEST_F(BookProbe, WhatIsNoPlainFileGivesNothing) {
    const std::string directory = fresh_directory(), pipe = directory + "/pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const std::string& name : {directory, pipe, std::string("/dev/zero")})
        EXPECT_EQ(probe_file(name), NULL_MOVE) << name;
}

TEST_F(BookProbe, WeightsThatAllAreZeroGiveNoMove) {
    EXPECT_EQ(probe(START_FEN, {{"e2e4", 0}, {"d2d4", 0}}), NULL_MOVE);
    EXPECT_EQ(lines, Lines{});
}

TEST_F(BookProbe, AWeightOfZeroIsNeitherShownNorChosen) {
    const std::string path =
        book_file(entries_of(START_FEN, {{"e2e4", 0}, {"d2d4", 3}, {"c2c4", 0}}));
    EXPECT_EQ(probe_file(path), plain("d2d4"));
    EXPECT_EQ(lines, Lines{"info string (book moves are: d2d4  )"});
    choose_in_silence();
    srand(7);
    for (int i = 0; i < 20000; i++) // one in 1,000 random points is 0
        ASSERT_EQ(book_probe(game(), path.c_str()), plain("d2d4"));
}

TEST_F(BookProbe, AtMost128EntriesOfAKeyAreLookedAt) {
    std::vector<Weighted> moves(300, Weighted{"e2e4", 65535});
    moves[127].move = "d2d4";
    moves[128].move = "c2c4";
    moves[299].move = "g1f3";
    probe(START_FEN, moves);
    ASSERT_EQ(lines.size(), 1u);
    std::string expected = "info string (book moves are: ";
    for (int i = 0; i < 127; i++) expected += "e2e4 ";
    EXPECT_EQ(lines[0], expected + "d2d4  )");
    set_relaxed(shell.uci_mode, 0);
    for (int variety : {0, 25, 100}) {
        active_personality.OwnBook_Variety = static_cast<int16_t>(variety);
        probe(START_FEN, moves);
        EXPECT_EQ(lines.size(), 129u);
    }
}

TEST_F(BookProbe, AnIllegalMoveIsShownButNotChosen) {
    for (const char* text : {"e4e5", "e7e5", "a1a1", "e1h1", "e1e8", "h7h8q"}) {
        EXPECT_EQ(probe(START_FEN, {{text, 1}}), NULL_MOVE) << text;
        EXPECT_EQ(lines,
                  Lines{"info string (book moves are: " + std::string(text).substr(0, 4) + "  )"});
    }
    set_relaxed(shell.uci_mode, 0);
    EXPECT_EQ(probe(START_FEN, {{"e1h1", 1}}), NULL_MOVE);
    EXPECT_EQ(lines, Lines{"  e1h1  cnt=     1, weight= 100.00% -> 100.00%"});
}

TEST_F(BookProbe, BytesOfAnyKindDoNoHarm) {
    Random random = {52};
    const std::string directory = fresh_directory();
    for (int i = 0; i < 200; i++) {
        set_up(START_FEN);
        std::vector<BookEntry> entries;
        for (int j = random_below(random, 40); j > 0; j--)
            entries.push_back({random_below(random, 2) ? book_key(game()) : next_random(random),
                               static_cast<uint16_t>(next_random(random)),
                               static_cast<uint16_t>(next_random(random)), 9});
        std::string path = book_file(random_below(random, 2) ? sorted(entries) : entries,
                                     random_below(random, 16), directory);
        set_relaxed(shell.uci_mode, i & 1);
        active_personality.OwnBook_Variety = static_cast<int16_t>(random_below(random, 101));
        probe_file(path);
    }
}

// Output.

TEST_F(BookProbe, AGuiGetsOneLine) {
    probe(START_FEN, {{"e2e4", 5}, {"d2d4", 0}, {"g1f3", 1}});
    EXPECT_EQ(lines, Lines{"info string (book moves are: e2e4 g1f3  )"});
    Move castling = probe(CASTLING, {{"e1h1", 5}});
    EXPECT_EQ(castling, plain("e1g1") | FLAG_KING_SIDE);
    EXPECT_EQ(lines, Lines{"info string (book moves are: e1h1  )"}) << "as it stands in the book";
}

TEST_F(BookProbe, TheConsoleGetsATable) {
    set_relaxed(shell.uci_mode, 0);
    active_personality.OwnBook_Variety = 0;
    srand(1);
    Move move = probe(START_FEN, {{"e2e4", 100}, {"d2d4", 10}, {"c2c4", 0}, {"g1f3", 50}});
    // Shares of 10,000: 4687, 0, 0, 1562.
    std::string chosen = SQUARE_NAMES[move_from(move)];
    chosen += SQUARE_NAMES[move_to(move)];
    EXPECT_EQ(joined(lines), "  e2e4  cnt=   100, weight= 62.50% -> 75.00%\n"
                             "  d2d4  cnt=    10, weight=  6.25% ->  0.00%\n"
                             "  g1f3  cnt=    50, weight= 31.25% -> 25.00%\n"
                             "selecting "
                                 + chosen + "\n");
}

TEST_F(BookProbe, PromotionLettersAreNotShown) {
    set_relaxed(shell.uci_mode, 0);
    EXPECT_EQ(probe("8/4P3/8/8/8/k7/8/K7 w - -", {{"e7e8n", 65535}}), plain("e7e8") | FLAG_KNIGHT);
    EXPECT_EQ(joined(lines), "  e7e8  cnt= 65535, weight= 100.00% -> 100.00%\nselecting e7e8\n");
}

TEST_F(BookProbe, TheChoiceIsNamedByTheSquaresThatArePlayed) {
    set_relaxed(shell.uci_mode, 0);
    probe(CASTLING, {{"e1a1", 8}});
    EXPECT_EQ(joined(lines), "  e1a1  cnt=     8, weight= 100.00% -> 100.00%\nselecting e1c1\n");
}

TEST_F(BookProbe, AnAnalysisWithTheLimit9999IsSilentInTheConsole) {
    engine.time_base = 9999.0f;
    set_relaxed(engine.game_state, STATE_THINK_REQUEST);
    EXPECT_EQ(probe(START_FEN, {{"e2e4", 5}}), plain("e2e4"));
    EXPECT_EQ(lines.size(), 1u) << "UCI mode";
    set_relaxed(shell.uci_mode, 0);
    EXPECT_EQ(probe(START_FEN, {{"e2e4", 5}}), plain("e2e4"));
    EXPECT_EQ(lines, Lines{});
    set_relaxed(engine.game_state, STATE_IDLE);
    probe(START_FEN, {{"e2e4", 5}});
    EXPECT_EQ(lines.size(), 2u) << "no search runs";
    set_relaxed(engine.game_state, STATE_THINK_REQUEST);
    engine.time_base = 5.0f;
    probe(START_FEN, {{"e2e4", 5}});
    EXPECT_EQ(lines.size(), 2u);
    set_relaxed(engine.game_state, STATE_IDLE);
}

TEST_F(BookProbe, LinesGoToTheLog) {
    active_personality.Log = 1;
    MemoryLog log;
    probe(START_FEN, {{"e2e4", 5}});
    set_relaxed(shell.uci_mode, 0);
    probe(START_FEN, {{"e2e4", 5}});
    EXPECT_EQ(joined(log.lines()), "info string (book moves are: e2e4  )\n"
                                   "  e2e4  cnt=     5, weight= 100.00% -> 100.00%\n"
                                   "selecting e2e4\n");
}

TEST_F(BookProbe, CommandBookAsksBothBooks) {
    const std::string directory = fresh_directory();
    std::string first = book_file(entries_of(START_FEN, {{"e2e4", 3}}), 0, directory, "1.bin");
    std::string second = book_file(entries_of(START_FEN, {{"d2d4", 2}}), 0, directory, "2.bin");
    set_relaxed(shell.uci_mode, 0);
    auto book = [] {
        char line[] = "book";
        return joined(printed_by([&] { handle_console(line); }));
    };
    copy_text(active_personality.OwnBook2_File, second.c_str(), PATH_LENGTH);
    EXPECT_EQ(book(), "\n  d2d4  cnt=     2, weight= 100.00% -> 100.00%\nselecting d2d4\n\n");
    copy_text(active_personality.OwnBook_File, first.c_str(), PATH_LENGTH);
    EXPECT_EQ(book(), "  e2e4  cnt=     3, weight= 100.00% -> 100.00%\nselecting e2e4\n\n"
                      "  d2d4  cnt=     2, weight= 100.00% -> 100.00%\nselecting d2d4\n\n");
    EXPECT_EQ(main_thread->line.undo_index, 0) << "nothing is played";
}

// Real books.

namespace {

// Probes each position of a table of contents in console mode, and compares all lines that come.
// Columns: FEN, key, index of the first entry, moves with their weights.
int compare_with_contents(const std::string& book, const std::string& contents) {
    int checked = 0;
    for (const std::string& line : read_lines(contents)) {
        if (line[0] == '#') continue;
        Lines fields = fields_of(line, '\t');
        set_up(fields[0].c_str());
        EXPECT_EQ(book_key(game()), std::stoull(fields[1], nullptr, 16));

        std::string expected;
        std::set<std::string> names;
        int total = 0;
        for (int pass = 0; pass < 2; pass++) // the sum first
            for (const std::string& entry : fields_of(fields[3], ' ')) {
                std::string move = entry.substr(0, entry.find(':')), name = move.substr(0, 4);
                int weight = atoi(entry.substr(entry.find(':') + 1).c_str());
                if (pass == 0) total += weight;
                else {
                    char text[80];
                    double share = weight * (100.0 / total);
                    snprintf(text, sizeof text, "  %s  cnt= %5d, weight= %5.2f%% -> ", name.c_str(),
                             weight, share);
                    expected += text;
                    expected += "\n";
                    if (name == "e1h1" || name == "e8h8")
                        if (type_of(game().board[sq(name.c_str())]) == KING) name[2] = 'g';
                    if (name == "e1a1" || name == "e8a8")
                        if (type_of(game().board[sq(name.c_str())]) == KING) name[2] = 'c';
                    names.insert(name);
                }
            }
        Move move = NULL_MOVE;
        Lines lines = printed_by([&] { move = book_probe(game(), book.c_str()); });
        std::string found;
        for (size_t i = 0; i + 1 < lines.size(); i++)
            found += lines[i].substr(0, lines[i].find("-> ") + 3) + "\n";
        EXPECT_EQ(found, expected) << line;
        EXPECT_NE(move, NULL_MOVE) << line;
        std::string chosen = lines.empty() ? "" : lines.back();
        EXPECT_EQ(chosen.compare(0, 10, "selecting "), 0) << line;
        EXPECT_EQ(names.count(chosen.substr(10)), 1u) << line << chosen;
        checked++;
    }
    return checked;
}

} // namespace

TEST_F(BookProbe, RealBooksGiveTheirMovesAndWeights) {
    if (shared_data("").empty()) GTEST_SKIP() << "needs MIRD_TEST_DATA";
    set_relaxed(shell.uci_mode, 0);
    EXPECT_EQ(compare_with_contents(shared_data("polyglot/small-book.bin"),
                                    shared_data("polyglot/small-book-vectors.tsv")),
              200);
    EXPECT_EQ(compare_with_contents(shared_data("polyglot/lasker-trap.bin"),
                                    shared_data("polyglot/lasker-trap.tsv")),
              7);
}

TEST_F(BookProbe, AnUnderpromotionIsRead) {
    const char* fen = "rnbqk1nr/ppp2ppp/8/4P3/1BP5/8/PP2KpPP/RN1Q1BNR b kq - 1 7";
    const std::string book = book_file(entries_of(fen, {{"f2g1n", 1}}));
    set_up(fen);
    EXPECT_EQ(probe_file(book), find_move(game(), "f2g1n"));
}

// Choosing.

namespace {

// How many of the 1,000 random points choose each move, counted step by step as the rule goes: the
// running sum of the moves before must lie below the point's part of the sum.
std::vector<double> points_by_move(const std::vector<Weighted>& moves, int variety) {
    int total = 0, share_total = 0;
    for (const Weighted& move : moves) total += move.weight;
    std::vector<int> shares;
    for (const Weighted& move : moves) {
        int term = static_cast<int>(trunc((variety - 25) * moves[0].weight * 0.01));
        shares.push_back(std::max(0, (move.weight + term) * 10000 / total));
        share_total += shares.back();
    }
    std::vector<double> points(moves.size());
    for (int point = 0; point < 1000; point++) {
        int threshold = static_cast<int>(point * share_total * 0.001), sum = 0;
        size_t chosen = 0;
        for (size_t i = 0; i < moves.size(); i++) {
            if (sum < threshold) chosen = i;
            sum += shares[i];
        }
        points[chosen]++;
    }
    return points;
}

} // namespace

TEST_F(LongBookProbe, TheChoiceFollowsTheBentWeights) {
    constexpr int DRAWS = 100000;
    const std::vector<Weighted> moves = {
        {"e2e4", 100}, {"d2d4", 60}, {"g1f3", 33}, {"c2c4", 25}, {"b2b3", 4}};
    const std::string path = book_file(entries_of(START_FEN, moves));
    choose_in_silence();
    for (int variety : {0, 25, 100}) {
        active_personality.OwnBook_Variety = static_cast<int16_t>(variety);
        std::vector<double> points = points_by_move(moves, variety);
        std::vector<int> drawn(moves.size());
        srand(2024);
        for (int i = 0; i < DRAWS; i++) {
            Move move = book_probe(game(), path.c_str());
            for (size_t j = 0; j < moves.size(); j++)
                drawn[j] += move == plain(moves[j].move.c_str());
        }
        double chi_square = 0;
        int sum = 0;
        for (size_t j = 0; j < moves.size(); j++) {
            double expected = points[j] * DRAWS / 1000;
            if (points[j] == 0) EXPECT_EQ(drawn[j], 0) << variety << moves[j].move;
            else chi_square += (drawn[j] - expected) * (drawn[j] - expected) / expected;
            sum += drawn[j];
        }
        EXPECT_EQ(sum, DRAWS);
        EXPECT_LT(chi_square, 18.5) << variety << ": four degrees of freedom, one in 1,000";
        if (variety == 0) {
            EXPECT_EQ(drawn[3] + drawn[4], 0) << "a quarter of the first is taken off all";
        }
        RecordProperty("chi_square_" + std::to_string(variety), std::to_string(chi_square));
    }
}

TEST_F(LongBookProbe, ASumThatEqualsThePointIsNotBelowIt) {
    constexpr int DRAWS = 100000;
    // Shares 10 and 9,990: the points 0 and 1 of 1,000 choose the first.
    const std::string path = book_file(entries_of(START_FEN, {{"e2e4", 1}, {"d2d4", 999}}));
    choose_in_silence();
    srand(2025);
    int first = 0;
    for (int i = 0; i < DRAWS; i++) first += book_probe(game(), path.c_str()) == plain("e2e4");
    EXPECT_NEAR(first, 200, 50);
}

// Thinks with books.

namespace {

// What the program says in a directory to these lines.
Lines talk_in(const std::string& directory, const std::vector<std::string>& arguments,
              const std::string& input) {
    Program program = start_program(arguments, directory);
    send_bytes(program, input);
    close_input(program);
    EXPECT_EQ(wait_exit(program, 60000), 0);
    return program.lines;
}

const std::string BOOKS_ON = "setoption name OwnBook_File value 1.bin\n"
                             "setoption name OwnBook2_File value 2.bin\n"
                             "setoption name OwnBook value true\n";

} // namespace

TEST(BookThink, TheMoveOfABookIsPlayedWithoutASearch) {
    const std::string directory = fresh_directory();
    book_file(entries_of(START_FEN, {{"a2a3", 1}}) + entries_of(CASTLING, {{"e1h1", 1}}), 0,
              directory, "1.bin");
    Lines lines = talk_in(directory, {"-use_hce"},
                          BOOKS_ON + "position startpos\ngo depth 4\nposition fen " + CASTLING
                              + "\ngo depth 4\n");
    std::string tail;
    for (size_t i = lines.size() - 6; i < lines.size(); i++) tail += lines[i] + "\n";
    EXPECT_EQ(tail, "info string (book moves are: a2a3  )\n"
                    "info string book move is a2a3\n"
                    "bestmove a2a3\n"
                    "info string (book moves are: e1h1  )\n"
                    "info string book move is e1g1\n"
                    "bestmove e1g1\n");
}

TEST(BookThink, BooksAreAskedOnlyWithTheOptionOn) {
    const std::string directory = fresh_directory();
    book_file(entries_of(START_FEN, {{"a2a3", 1}}), 0, directory, "1.bin");
    Lines lines =
        talk_in(directory, {"-use_hce", "-book", "1.bin"}, "position startpos\ngo depth 2\n");
    EXPECT_EQ(count_lines(lines, "info string (book"), 0);
    EXPECT_EQ(count_lines(lines, "bestmove "), 1);
}

TEST(BookThink, TheSecondBookIsReadOnlyWithinItsDepth) {
    const std::string directory = fresh_directory();
    const char* later = "rnbqkbnr/pppppppp/8/8/8/P7/1PPPPPPP/RNBQKBNR b KQkq -";
    book_file(entries_of(START_FEN, {{"a2a3", 1}}), 0, directory, "1.bin");
    book_file(entries_of(START_FEN, {{"h2h3", 1}}) + entries_of(later, {{"h7h6", 1}}), 0, directory,
              "2.bin");
    auto answers = [&](const std::string& options) {
        Lines lines = talk_in(directory, {"-use_hce"},
                              BOOKS_ON + options
                                  + "position startpos\ngo depth 1\n"
                                    "position startpos moves a2a3\ngo depth 1\n");
        std::string text;
        for (const std::string& line : lines)
            if (line.compare(0, 25, "info string book move is ") == 0)
                text += line.substr(25) + " ";
        return text;
    };
    EXPECT_EQ(answers(""), "a2a3 ") << "24 and 0: the second book is never read";
    EXPECT_EQ(answers("setoption name OwnBook2_Depth value 1\n"), "a2a3 ");
    EXPECT_EQ(answers("setoption name OwnBook2_Depth value 2\n"), "a2a3 h7h6 ");
    EXPECT_EQ(answers("setoption name OwnBook_Depth value 0\n"
                      "setoption name OwnBook2_Depth value 2\n"),
              "h2h3 h7h6 ");
}

TEST(BookThink, AMoveIntoADrawByRepetitionIsDroppedAndTheSearchRuns) {
    const std::string directory = fresh_directory();
    const char* before = "rnbqkb1r/pppppppp/5n2/8/8/8/PPPPPPPP/RNBQKBNR b KQkq -";
    book_file(entries_of(before, {{"f6g8", 1}}), 0, directory, "1.bin");
    const std::string round = "g1f3 g8f6 f3g1 ";
    Lines lines =
        talk_in(directory, {"-use_hce"},
                BOOKS_ON + "position startpos moves " + round + "\ngo depth 2\n"
                    + "position startpos moves " + round + "f6g8 " + round + "\ngo depth 2\n");
    EXPECT_EQ(count_lines(lines, "info string (book moves are: f6g8  )"), 2);
    EXPECT_EQ(count_lines(lines, "info string book move is f6g8"), 1) << "a second time is allowed";
    EXPECT_EQ(count_lines(lines, "bestmove "), 2);
    EXPECT_GT(count_lines(lines, "info depth "), 0) << joined(lines);
}

TEST(BookThink, AnUnplayableMoveIsLeftToTheSearch) {
    const std::string directory = fresh_directory();
    book_file(entries_of(START_FEN, {{"e2e5", 1}}), 0, directory, "1.bin");
    Lines lines = talk_in(directory, {"-use_hce"}, BOOKS_ON + "position startpos\ngo depth 2\n");
    EXPECT_EQ(count_lines(lines, "info string book move is"), 0);
    EXPECT_EQ(count_lines(lines, "bestmove "), 1);
    EXPECT_FALSE(has_line(lines, "bestmove null"));
}

TEST(BookThink, PonderingNeverAsksABook) {
    const std::string directory = fresh_directory();
    book_file(entries_of(START_FEN, {{"a2a3", 1}}), 0, directory, "1.bin");
    Lines lines = talk_in(directory, {"-use_hce"},
                          BOOKS_ON + "position startpos\ngo ponder wtime 1000 btime 1000\n");
    EXPECT_EQ(count_lines(lines, "info string (book"), 0);
    EXPECT_EQ(count_lines(lines, "bestmove "), 1);
}

TEST(BookThink, TheConsoleNamesTheMoveWithoutAPrefix) {
    const std::string directory = fresh_directory();
    book_file(entries_of(START_FEN, {{"a2a3", 1}}), 0, directory, "1.bin");
    std::ofstream(directory + "/on.cfg") << "OwnBook = true\nOwnBook_File = 1.bin\n";
    Lines lines =
        talk_in(directory, {"-c", "-use_hce", "-d", "2", "-cfg", "on.cfg"}, "new\nmv\nquit\n");
    EXPECT_TRUE(has_line(lines, "  a2a3  cnt=     1, weight= 100.00% -> 100.00%")) << joined(lines);
    EXPECT_TRUE(has_line(lines, "selecting a2a3"));
    EXPECT_TRUE(has_line(lines, " book move is a2a3"));
}
