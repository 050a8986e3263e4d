// The entries of a book file as bytes, and moves as a book has them.

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "board/make.h"
#include "board/movetext.h"
#include "book_support.h"

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
