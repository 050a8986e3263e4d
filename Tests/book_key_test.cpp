// The PolyGlot key of a position, and the table of numbers that it is made of.

#include <set>

#include "book/polyglot_numbers.h"
#include "book_support.h"
#include "support.h"

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
