// The moves of the game in hand: taken back and replayed.

#include "shell/game_record.h"

#include "board/castling.h"
#include "board_support.h"

namespace {

// Plays a move, takes it back and looks whether the record gives it again.
void expect_kept(const char* fen, Move move) {
    Position& pos = set_up(fen);
    const std::string before = fen_of(pos);
    play_move(pos, move);
    const std::string after = fen_of(pos);
    ASSERT_TRUE(take_back_move(pos));
    EXPECT_EQ(fen_of(pos), before);
    ASSERT_EQ(next_in_record(pos), move) << fen;
    replay_move(pos);
    EXPECT_EQ(fen_of(pos), after);
    EXPECT_EQ(next_in_record(pos), NULL_MOVE) << "the end of the record";
}

} // namespace

TEST(GameRecord, GivesBackTheMovesThatWereTaken) {
    expect_kept(START_FEN, plain("e2e4"));
    expect_kept("8/P6k/8/8/8/8/8/K7 w - -", static_cast<Move>(plain("a7a8") | FLAG_KNIGHT));
    expect_kept("7k/8/8/3pP3/8/8/8/K7 w - d6", plain("e5d6"));
}

TEST(GameRecord, AcceptsEveryCastlingThatWasPlayed) {
    const char* rows[] = {"R3K2R", "6KR", "5KR1", "RK6", "1RK5", "2KR4", "R1K5"};
    int played = 0;
    for (const std::string row : rows)
        for (int wing : {KING_SIDE, QUEEN_SIDE}) {
            const std::string fen = "4k3/8/8/8/8/8/8/" + row + " w KQ -";
            if (!way_is_free(set_up(fen.c_str()), castling_right(WHITE, wing))) continue;
            expect_kept(fen.c_str(), castling_move(game(), WHITE, wing));
            played++;
        }
    EXPECT_EQ(played, 8);
}

TEST(GameRecord, RewindsAndReplaysAGameWithCastlingInPlace) {
    Position& pos = set_up("6kr/pppppppp/8/8/8/8/PPPPPPPP/6KR w Kk -");
    for (int side : {WHITE, BLACK}) play_move(pos, castling_move(pos, side, KING_SIDE));
    const std::string end = fen_of(pos);
    rewind_game(pos);
    EXPECT_EQ(pos.owner->undo_index, 0);
    int replayed = 0;
    for (; next_in_record(pos) != NULL_MOVE; replayed++) replay_move(pos);
    EXPECT_EQ(replayed, 2);
    EXPECT_EQ(fen_of(pos), end);
}

TEST(GameRecord, EndsWhereAMoveDoesNotFit) {
    Position& pos = set_up(START_FEN);
    pos.owner->undo_stack[0].move = plain("e2e5");
    EXPECT_EQ(next_in_record(pos), NULL_MOVE);
    pos.owner->undo_stack[0].move = castling_move(pos, WHITE, KING_SIDE);
    EXPECT_EQ(next_in_record(pos), NULL_MOVE) << "the way is barred";
    set_up(START_FEN);
}
