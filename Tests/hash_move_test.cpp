// The proof that a stored move can be played, against the lists of the generators.

#include <algorithm>
#include <memory>

#include "board_support.h"
#include "search/hash.h"

namespace {

bool valid(const char* fen, Move move) { return hash_move_valid(set_up(fen), move); }

Move flagged(const char* text, Move flag) { return static_cast<Move>(plain(text) | flag); }

// Castling that a stored move can't stand for: the king stays, or its target holds an own piece,
// which can only be its rook.
bool castling_in_place(const Position& pos, const MoveEntry& entry) {
    return type_of(entry.mover) == KING && (entry.move & FLAG_MASK)
        && (pos.pieces[pos.side][ALL_PIECES] & bit(move_to(entry.move)));
}

} // namespace

TEST(HashMove, IsValidIfAndOnlyIfItIsGeneratedAndLegal) {
    Random random = {41};
    auto wanted = std::make_unique<bool[]>(65536);
    int castlings = 0;
    for (int round = 0; round < 240; round++) {
        Position& pos = set_up_random(random, round % 2 != 0);
        if (round % 8 < 2) { // right behind the opening, where castling is near
            set_up(round % 2 ? chess960_start(random).c_str() : START_FEN);
            play_random(pos, random, 14);
        }
        std::fill_n(wanted.get(), 65536, false);
        for (const MoveEntry& entry : all_moves(pos)) {
            if (!legal_move(pos, pos.side, entry.move) || castling_in_place(pos, entry)) continue;
            wanted[entry.move] = true;
            castlings += type_of(entry.mover) == KING && (entry.move & FLAG_MASK);
        }
        for (int move = 0; move < 65536; move++)
            ASSERT_EQ(hash_move_valid(pos, static_cast<Move>(move)), wanted[move])
                << move << " in " << fen_of(pos);
    }
    EXPECT_GT(castlings, 5);
}

TEST(HashMove, OfEveryPositionOfAGameIsFoundValid) {
    Random random = {42};
    for (int round = 0; round < 400; round++) {
        Position& pos = set_up_random(random, round % 2 != 0);
        for (const MoveEntry& entry : all_moves(pos)) {
            if (castling_in_place(pos, entry)) continue;
            ASSERT_EQ(hash_move_valid(pos, entry.move), legal_move(pos, pos.side, entry.move) != 0)
                << entry_name(entry) << " in " << fen_of(pos);
        }
    }
}

TEST(HashMove, ReservedValuesAreNotValid) {
    EXPECT_FALSE(valid(START_FEN, NULL_MOVE));
    EXPECT_FALSE(valid(START_FEN, LIST_END));
    EXPECT_FALSE(valid("8/8/8/8/8/8/8/K6k w - -", NULL_MOVE));
}

TEST(HashMove, NeedsAnOwnPieceAndNoOwnTarget) {
    EXPECT_TRUE(valid(START_FEN, plain("e2e4")));
    EXPECT_FALSE(valid(START_FEN, plain("e3e4"))) << "nothing there";
    EXPECT_FALSE(valid(START_FEN, plain("e7e5"))) << "the other side's";
    EXPECT_FALSE(valid(START_FEN, plain("a1a2"))) << "own pawn";
    EXPECT_FALSE(valid(START_FEN, plain("a1a4"))) << "through a pawn";
    EXPECT_FALSE(valid("4k3/8/8/8/8/8/8/K3R3 w - -", plain("e1e8"))) << "the king";
}

TEST(HashMove, OfAPawn) {
    EXPECT_FALSE(valid("7k/8/8/8/8/4n3/4P3/K7 w - -", plain("e2e3"))) << "barred";
    EXPECT_FALSE(valid("7k/8/8/8/8/4n3/4P3/K7 w - -", plain("e2e4"))) << "barred on the way";
    EXPECT_FALSE(valid("7k/8/8/8/8/4P3/8/K7 w - -", plain("e3e5"))) << "not from its place";
    EXPECT_FALSE(valid("7k/8/8/8/8/4P3/8/K7 w - -", plain("e3d4"))) << "nothing to take";
    EXPECT_FALSE(valid("7k/8/8/8/8/4P3/8/K7 w - -", plain("e3e2"))) << "backwards";
    EXPECT_FALSE(valid("7k/8/8/8/8/4P3/8/K7 w - -", flagged("e3e4", FLAG_QUEEN)));
    EXPECT_TRUE(valid("7k/8/8/3pP3/8/8/8/K7 w - d6", plain("e5d6")));
    EXPECT_FALSE(valid("7k/8/8/3pP3/8/8/8/K7 w - -", plain("e5d6")));
    EXPECT_FALSE(valid("7k/8/8/4P3/8/8/8/K7 w - d6", plain("e5d6"))) << "no pawn to take";
    EXPECT_FALSE(valid("4k3/8/8/KPp4r/8/8/8/8 w - c6", plain("b5c6"))) << "uncovers the rank";
}

TEST(HashMove, OfAPromotionNeedsExactlyOneFlag) {
    const char* fen = "7k/P7/8/8/8/8/8/K7 w - -";
    EXPECT_FALSE(valid(fen, plain("a7a8")));
    for (Move flag : {FLAG_QUEEN, FLAG_KNIGHT, FLAG_BISHOP, FLAG_ROOK})
        EXPECT_TRUE(valid(fen, flagged("a7a8", flag)));
    EXPECT_FALSE(valid(fen, flagged("a7a8", FLAG_QUEEN | FLAG_KNIGHT)));
    EXPECT_FALSE(valid(fen, flagged("a7a8", FLAG_MASK)));
    EXPECT_FALSE(valid("7k/Q7/8/8/8/8/8/K7 w - -", flagged("a7a8", FLAG_QUEEN)));
}

TEST(HashMove, OfCastlingNeedsTheRightTheWayAndItsFlag) {
    const char* fen = "r3k2r/8/8/8/8/8/8/R3K2R w KQkq -";
    EXPECT_TRUE(valid(fen, flagged("e1g1", FLAG_KING_SIDE)));
    EXPECT_TRUE(valid(fen, flagged("e1c1", FLAG_QUEEN_SIDE)));
    EXPECT_FALSE(valid(fen, plain("e1g1")));
    EXPECT_FALSE(valid(fen, flagged("e1g1", FLAG_QUEEN_SIDE)));
    EXPECT_FALSE(valid(fen, flagged("e1g1", FLAG_BISHOP)));
    EXPECT_FALSE(valid(fen, flagged("e1g1", FLAG_KING_SIDE | FLAG_ROOK)));
    EXPECT_FALSE(valid(fen, flagged("e1f1", FLAG_KING_SIDE)));
    EXPECT_FALSE(valid(fen, flagged("e1h1", FLAG_KING_SIDE)));
    EXPECT_FALSE(valid("4k3/8/8/8/8/8/8/R3K2R w Q -", flagged("e1g1", FLAG_KING_SIDE)));
    EXPECT_FALSE(valid("4k3/8/8/8/8/8/8/R3K1NR w KQ -", flagged("e1g1", FLAG_KING_SIDE)));
    EXPECT_FALSE(valid("4kr2/8/8/8/8/8/8/R3K2R w KQ -", flagged("e1g1", FLAG_KING_SIDE)))
        << "through check";
    EXPECT_FALSE(valid("4k3/8/8/8/8/8/8/6KR w K -", flagged("g1g1", FLAG_KING_SIDE)))
        << "a king that stays is never stored as playable";
    EXPECT_FALSE(valid("4k3/8/8/8/8/8/8/5KR1 w K -", flagged("f1g1", FLAG_KING_SIDE)))
        << "nor one that lands on its rook";
}

TEST(HashMove, ThatLeavesTheKingInCheckIsNotValid) {
    EXPECT_FALSE(valid("4r2k/8/8/8/8/4N3/8/4K3 w - -", plain("e3d5")));
    EXPECT_FALSE(valid("4r2k/8/8/8/8/8/8/4K1N1 w - -", plain("g1f3")));
    EXPECT_TRUE(valid("4r2k/8/8/8/8/8/8/4K1N1 w - -", plain("g1e2")));
}
