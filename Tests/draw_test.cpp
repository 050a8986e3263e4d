// Draws by rule: fifty moves and repetition.

#include "board/draw.h"
#include "board/make.h"
#include "board_support.h"

TEST(IsDraw, WantsFourReversiblePlies) {
    Position& pos = set_up(START_FEN);
    play(pos, "g1f3 g8f6 f3g1");
    EXPECT_EQ(is_draw(pos, 0), 0);
    EXPECT_EQ(is_draw(pos, 50), 0);
}

TEST(IsDraw, InTheGameAtTheSecondRepetition) {
    Position& pos = set_up(START_FEN);
    play(pos, "g1f3 g8f6 f3g1 f6g8");
    EXPECT_EQ(is_draw(pos, 0), 0) << "the first repetition";
    play(pos, "g1f3 g8f6 f3g1");
    EXPECT_EQ(is_draw(pos, 0), 0);
    play(pos, "f6g8");
    EXPECT_EQ(is_draw(pos, 0), 1);
}

TEST(IsDraw, InTheTreeAtTheFirstRepetition) {
    Position& pos = set_up(START_FEN);
    for (const char* move : {"g1f3", "g8f6", "f3g1", "f6g8"}) make_move(pos, plain(move));
    ASSERT_EQ(pos.owner->ply, 5);
    EXPECT_EQ(is_draw(pos, 5), 1) << "the root itself comes back";
    EXPECT_EQ(is_draw(pos, 4), 0) << "it was before the root";
}

TEST(IsDraw, CountsAPositionBeforeTheRootOnlyOnce) {
    Position& pos = set_up(START_FEN);
    play(pos, "b1c3 g8f6 c3b1 f6g8 b1c3 g8f6");
    SearchThread& thread = thread_of(pos);
    ASSERT_EQ(thread.line.undo_index, 6);
    for (int i = 0; i < 6; i++) thread.line.undo_stack[i].key = 0;
    thread.line.undo_stack[4].key = pos.key; // two plies ago

    EXPECT_EQ(is_draw(pos, 2), 0);
    EXPECT_EQ(is_draw(pos, 3), 1) << "now it is the root";
    thread.line.undo_stack[2].key = pos.key;
    EXPECT_EQ(is_draw(pos, 2), 1) << "the second match";
    thread.line.undo_stack[2].key = 0;
    thread.line.undo_stack[3].key = thread.line.undo_stack[5].key = pos.key;
    EXPECT_EQ(is_draw(pos, 2), 0) << "the other side's turns don't count";
}

TEST(IsDraw, DoesNotLookAcrossANullMove) {
    Position& pos = set_up(START_FEN);
    play(pos, "g1f3 g8f6 f3g1 f6g8 g1f3 g8f6 f3g1 f6g8");
    ASSERT_EQ(is_draw(pos, 0), 1);
    pos.owner->undo_stack[6].move = NULL_MOVE;
    EXPECT_EQ(is_draw(pos, 0), 0);
}

TEST(IsDraw, NeedsTheSameRightsAndEnPassantSquare) {
    Position& pos = set_up("r3k2r/8/8/8/8/8/8/R3K2R w KQkq -");
    play(pos, "h1g1 h8g8 g1h1 g8h8");
    EXPECT_EQ(is_draw(pos, 5), 0) << "castling was possible before";
    play(pos, "h1g1 h8g8 g1h1 g8h8");
    EXPECT_EQ(is_draw(pos, 0), 0);
    play(pos, "h1g1 h8g8 g1h1 g8h8");
    EXPECT_EQ(is_draw(pos, 0), 1);
}

TEST(IsDraw, AfterMoreThanAHundredHalfmoves) {
    Position& pos = set_up("4k3/8/8/8/8/8/8/R3K3 w - -");
    pos.halfmoves = 100;
    EXPECT_EQ(is_draw(pos, 1), 0);
    EXPECT_EQ(is_draw(pos, 0), 0);
    pos.halfmoves = 101;
    EXPECT_EQ(is_draw(pos, 1), 1);
    EXPECT_EQ(is_draw(pos, 0), 0) << "in the game nobody is asked";
    EXPECT_EQ(is_draw(pos, -1), 0);
}

TEST(IsDraw, InTheGamePastTheLimitOnlyWithoutALegalMove) {
    Position& pos = set_up("7k/5Q2/6K1/8/8/8/8/8 b - -");
    pos.halfmoves = 101;
    EXPECT_EQ(is_draw(pos, 0), 1) << "stalemate";
    pos.halfmoves = 100;
    EXPECT_EQ(is_draw(pos, 0), 0);
    set_up("R6k/8/6K1/8/8/8/8/8 b - -").halfmoves = 101;
    EXPECT_EQ(is_draw(pos, 0), 1) << "mate";
}

TEST(IsDraw, PastTheLimitStillSeesRepetitions) {
    Position& pos = set_up("4k3/8/8/8/8/8/8/R3K3 w - -");
    pos.halfmoves = 120;
    play(pos, "a1b1 e8d8 b1a1 d8e8 a1b1 e8d8 b1a1 d8e8");
    EXPECT_EQ(is_draw(pos, 0), 1);
}
