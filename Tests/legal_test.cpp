// Which moves the rules allow, and the proof that 16 bits are one of them, against the lists of the
// generators.

#include <algorithm>
#include <memory>

#include "board/attack.h"
#include "board/castling.h"
#include "board/legal.h"
#include "board/make.h"
#include "board_support.h"

TEST(LegalMove, KnowsNoMoveZero) { EXPECT_EQ(legal_move(set_up(START_FEN), WHITE, NULL_MOVE), 0); }

TEST(LegalMove, EqualsMakingTheMoveAndLooking) {
    Random random = {16};
    for (int round = 0; round < 1500; round++) {
        Position& pos = set_up_random(random, round % 2 != 0);
        int side = pos.side;
        for (const MoveEntry& entry : all_moves(pos)) {
            if (type_of(entry.mover) == KING && (entry.move & FLAG_MASK)) continue;
            int legal = legal_move(pos, side, entry.move);
            make_move(pos, entry.move);
            int attacked = square_attacked(pos, pos.king_square[side], side ^ 1);
            unmake_move(pos);
            ASSERT_EQ(legal, !attacked) << entry_name(entry) << " in " << fen_of(pos);
        }
    }
}

TEST(LegalMove, LeavesThePositionAsItIs) {
    Position& pos = set_up("8/8/8/KPp4r/8/8/8/4k3 w - c6");
    Snapshot old = snapshot(pos);
    for (const MoveEntry& entry : all_moves(pos)) legal_move(pos, WHITE, entry.move);
    EXPECT_TRUE(unchanged(old, pos));
}

TEST(LegalMove, SeesThatEnPassantUncoversTheRank) {
    Position& pos = set_up("4k3/8/8/KPp4r/8/8/8/8 w - c6");
    EXPECT_EQ(legal_move(pos, WHITE, plain("b5c6")), 0);
    set_up("4k3/8/8/1Pp4r/K7/8/8/8 w - c6");
    EXPECT_EQ(legal_move(game(), WHITE, plain("b5c6")), 1);
}

TEST(LegalMove, LetsEnPassantTakeTheCheckingPawn) {
    Position& pos = set_up("4k3/8/8/2pP4/1K6/8/8/8 w - c6");
    EXPECT_EQ(legal_move(pos, WHITE, plain("d5c6")), 1);
    EXPECT_EQ(legal_move(pos, WHITE, plain("d5d6")), 0) << "the check stays";
}

namespace {

bool valid(const char* fen, Move move) { return stored_move_valid(set_up(fen), move); }

Move flagged(const char* text, Move flag) { return static_cast<Move>(plain(text) | flag); }

// Castling that a stored move can't stand for: the king stays, or its target holds an own piece,
// which can only be its rook.
bool castling_in_place(const Position& pos, const MoveEntry& entry) {
    return type_of(entry.mover) == KING && (entry.move & FLAG_MASK)
        && (pos.pieces[pos.side][ALL_PIECES] & bit(move_to(entry.move)));
}

} // namespace

TEST(StoredMove, IsValidIfAndOnlyIfItIsGeneratedAndLegal) {
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
            ASSERT_EQ(stored_move_valid(pos, static_cast<Move>(move)), wanted[move])
                << move << " in " << fen_of(pos);
    }
    EXPECT_GT(castlings, 5);
}

TEST(StoredMove, OfEveryPositionOfAGameIsFoundValid) {
    Random random = {42};
    for (int round = 0; round < 400; round++) {
        Position& pos = set_up_random(random, round % 2 != 0);
        for (const MoveEntry& entry : all_moves(pos)) {
            if (castling_in_place(pos, entry)) continue;
            ASSERT_EQ(stored_move_valid(pos, entry.move),
                      legal_move(pos, pos.side, entry.move) != 0)
                << entry_name(entry) << " in " << fen_of(pos);
        }
    }
}

TEST(StoredMove, ReservedValuesAreNotValid) {
    EXPECT_FALSE(valid(START_FEN, NULL_MOVE));
    EXPECT_FALSE(valid(START_FEN, LIST_END));
    EXPECT_FALSE(valid("8/8/8/8/8/8/8/K6k w - -", NULL_MOVE));
}

TEST(StoredMove, NeedsAnOwnPieceAndNoOwnTarget) {
    EXPECT_TRUE(valid(START_FEN, plain("e2e4")));
    EXPECT_FALSE(valid(START_FEN, plain("e3e4"))) << "nothing there";
    EXPECT_FALSE(valid(START_FEN, plain("e7e5"))) << "the other side's";
    EXPECT_FALSE(valid(START_FEN, plain("a1a2"))) << "own pawn";
    EXPECT_FALSE(valid(START_FEN, plain("a1a4"))) << "through a pawn";
    EXPECT_FALSE(valid("4k3/8/8/8/8/8/8/K3R3 w - -", plain("e1e8"))) << "the king";
}

TEST(StoredMove, OfAPawn) {
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

TEST(StoredMove, OfAPromotionNeedsExactlyOneFlag) {
    const char* fen = "7k/P7/8/8/8/8/8/K7 w - -";
    EXPECT_FALSE(valid(fen, plain("a7a8")));
    for (Move flag : {FLAG_QUEEN, FLAG_KNIGHT, FLAG_BISHOP, FLAG_ROOK})
        EXPECT_TRUE(valid(fen, flagged("a7a8", flag)));
    EXPECT_FALSE(valid(fen, flagged("a7a8", FLAG_QUEEN | FLAG_KNIGHT)));
    EXPECT_FALSE(valid(fen, flagged("a7a8", FLAG_MASK)));
    EXPECT_FALSE(valid("7k/Q7/8/8/8/8/8/K7 w - -", flagged("a7a8", FLAG_QUEEN)));
}

TEST(StoredMove, OfCastlingNeedsTheRightTheWayAndItsFlag) {
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

TEST(StoredMove, ThatLeavesTheKingInCheckIsNotValid) {
    EXPECT_FALSE(valid("4r2k/8/8/8/8/4N3/8/4K3 w - -", plain("e3d5")));
    EXPECT_FALSE(valid("4r2k/8/8/8/8/8/8/4K1N1 w - -", plain("g1f3")));
    EXPECT_TRUE(valid("4r2k/8/8/8/8/8/8/4K1N1 w - -", plain("g1e2")));
}

// Castling in place: the king stays on its square, or goes to its rook's.

TEST(IsPlayable, IfAndOnlyIfTheMoveIsGeneratedAndLegal) {
    Random random = {44};
    auto wanted = std::make_unique<bool[]>(65536);
    int in_place = 0;
    for (int round = 0; round < 240; round++) {
        Position& pos = set_up(chess960_start(random).c_str());
        play_random(pos, random, 30);
        std::fill_n(wanted.get(), 65536, false);
        for (const MoveEntry& entry : all_moves(pos)) {
            wanted[entry.move] = legal_move(pos, pos.side, entry.move) != 0;
            in_place += wanted[entry.move] && castling_in_place(pos, entry);
        }
        for (int move = 0; move < 65536; move++)
            ASSERT_EQ(is_playable(pos, static_cast<Move>(move)), wanted[move])
                << move << " in " << fen_of(pos);
    }
    EXPECT_GT(in_place, 5);
}

TEST(IsPlayable, AcceptsCastlingInPlaceThatAStoredMoveCanNotBe) {
    for (const char* fen : {"4k3/8/8/8/8/8/8/6KR w K -", "4k3/8/8/8/8/8/8/5KR1 w K -"}) {
        Position& pos = set_up(fen);
        Move castling = castling_move(pos, WHITE, KING_SIDE);
        EXPECT_TRUE(is_playable(pos, castling)) << fen;
        EXPECT_FALSE(stored_move_valid(pos, castling)) << fen;
        EXPECT_FALSE(is_playable(pos, castling_move(pos, WHITE, QUEEN_SIDE))) << fen;
    }
    Position& pos = set_up("4k3/8/8/8/8/6r1/8/6KR w K -");
    EXPECT_FALSE(is_playable(pos, castling_move(pos, WHITE, KING_SIDE))) << "in check";
}

TEST(HasLegalMove, OfMateStalemateAndOneWayOut) {
    EXPECT_TRUE(has_legal_move(set_up(START_FEN)));
    EXPECT_FALSE(has_legal_move(set_up("7k/6Q1/6K1/8/8/8/8/8 b - -"))) << "mate";
    EXPECT_FALSE(has_legal_move(set_up("7k/5Q2/6K1/8/8/8/8/8 b - -"))) << "stalemate";
    EXPECT_TRUE(has_legal_move(set_up("7k/8/5Q2/6K1/8/8/8/8 b - -")));
    EXPECT_FALSE(has_legal_move(set_up("8/8/8/8/8/8/8/8 w - -"))) << "nobody to move";
}
