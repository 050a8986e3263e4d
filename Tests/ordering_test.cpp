// What the move ordering learns, and the scores that the picker makes of it.

#include "search_fixture.h"

#include <map>

namespace {

class Ordering : public SearchTest {};

// A quiet middlegame position after a white move, with Black to choose at ply 2.
constexpr char QUIET_FEN[] = "r1bq1rk1/ppp2ppp/2np1n2/4p3/2B1P3/2PP1N2/PP3PPP/RNBQ1RK1 w - -";

SearchStackEntry& current(Position& pos) { return thread_of(pos).stack[pos.owner->ply]; }

// Index of the ordering tables for the move that led to the node, and for the one before.
int reply_index(const Position& pos) {
    const MoveEntry& move = *thread_of(pos).stack[pos.owner->ply - 1].current_move;
    return history_index(move.mover, move_to(move.move));
}

std::map<std::string, int> scores_of(const Position& pos, const std::vector<MoveEntry>& moves) {
    std::map<std::string, int> scores;
    for (const MoveEntry& entry : moves) scores[text_of(pos, entry.move)] = entry.score;
    return scores;
}

} // namespace

TEST_F(Ordering, RatesGrowWithTheRootOfTheDepth) {
    const int gain[17] = {0, 16, 23, 28, 32, 36, 39, 42, 45, 48, 51, 53, 55, 58, 60, 62, 64};
    const int decay[17] = {0, 8, 11, 14, 16, 18, 20, 21, 23, 24, 25, 27, 28, 29, 30, 31, 32};
    for (int depth = 0; depth < 70; depth++) {
        EXPECT_EQ(history_gain[depth], gain[std::min(depth, 16)]) << depth;
        EXPECT_EQ(history_decay[depth], decay[std::min(depth, 16)]) << depth;
    }
}

TEST_F(Ordering, ResetForgetsEverything) {
    root_of(START_FEN);
    SearchThread& thread = master();
    thread.history[5] = 3;
    thread.counter1[6] = thread.counter2[7] = thread.followup[1023] = 99;
    reset_ordering(thread);
    for (int i = 0; i < HISTORY_SIZE; i++) {
        ASSERT_EQ(thread.history[i], 2048);
        ASSERT_EQ(thread.counter1[i], 0);
        ASSERT_EQ(thread.counter2[i], 0);
        ASSERT_EQ(thread.followup[i], 0);
    }
}

// Learning.

namespace {

// A node at ply 3 whose current move is a quiet one, with two moves before it.
class Learning : public Ordering {
protected:
    static constexpr int PLY = 3;

    void SetUp() override {
        SearchTest::SetUp();
        Position& pos = root_of(START_FEN);
        step(pos, "e2e4");
        step(pos, "e7e5");
        node = &current(pos);
        node->current_move = list_entry(pos, "g1f3");
        move = node->current_move->move;
        thread = &master();
        history = &thread->history[history_index(piece_code(WHITE, KNIGHT), 21)];
        reply = history_index(piece_code(BLACK, PAWN), 36);
        follow = history_index(piece_code(WHITE, PAWN), 28);
    }

    SearchThread* thread;
    SearchStackEntry* node;
    Move move;
    int16_t* history;
    int reply, follow; // of the move before, and of the one before that
};

} // namespace

TEST_F(Learning, MoveBelowAlphaOnlyLosesHistory) {
    learn_quiet_move(*thread, PLY, 4, 25, 25);
    EXPECT_EQ(*history, 2048 - 2048 * 16 / 1024);
    EXPECT_EQ(node->killer1, NULL_MOVE);
    EXPECT_EQ(thread->counter1[reply], NULL_MOVE);
    EXPECT_EQ(thread->followup[follow], NULL_MOVE);

    *history = 100;
    learn_quiet_move(*thread, PLY, 1, -25, 25);
    EXPECT_EQ(*history, 100) << "0.78 is truncated to nothing";
}

TEST_F(Learning, MoveAboveAlphaGainsHistory) {
    learn_quiet_move(*thread, PLY, 4, 26, 25);
    EXPECT_EQ(*history, 2048 + (16384 - 2048) * 32 / 1024);

    *history = 16384 - 63;
    learn_quiet_move(*thread, PLY, 1, 26, 25);
    EXPECT_EQ(*history, 16384 - 63) << "0.98 is truncated to nothing";
    learn_quiet_move(*thread, PLY, 69, 26, 25);
    EXPECT_EQ(*history, 16384 - 63 + 3) << "63 * 64 / 1024";
}

TEST_F(Learning, OnlyTheMovesOwnHistoryChanges) {
    learn_quiet_move(*thread, PLY, 4, 26, 25);
    for (int i = 0; i < HISTORY_SIZE; i++) {
        if (&thread->history[i] == history) continue;
        ASSERT_EQ(thread->history[i], 2048);
    }
}

TEST_F(Learning, HistoryStaysInItsRange) {
    for (int i = 0; i < 5000; i++) {
        learn_quiet_move(*thread, PLY, 1 + i % 69, 26, 25);
        ASSERT_LE(*history, 16384);
    }
    EXPECT_GT(*history, 16000);
    for (int i = 0; i < 5000; i++) {
        learn_quiet_move(*thread, PLY, 1 + i % 69, 25, 25);
        ASSERT_GE(*history, 0);
    }
    EXPECT_LT(*history, 200);
}

TEST_F(Learning, NewKillerPushesTheOldOneDown) {
    node->killer1 = 111;
    node->killer2 = 222;
    learn_quiet_move(*thread, PLY, 4, 26, 25);
    EXPECT_EQ(node->killer1, move);
    EXPECT_EQ(node->killer2, 111);

    learn_quiet_move(*thread, PLY, 4, 26, 25);
    EXPECT_EQ(node->killer1, move);
    EXPECT_EQ(node->killer2, 111) << "the same move again changes nothing";
    EXPECT_EQ(node->evasion_killer, NULL_MOVE);
}

TEST_F(Learning, EvasionHasAKillerOfItsOwn) {
    node->in_check = 1;
    node->killer1 = 111;
    learn_quiet_move(*thread, PLY, 4, 26, 25);
    EXPECT_EQ(node->evasion_killer, move);
    EXPECT_EQ(node->killer1, 111);
    EXPECT_EQ(node->killer2, NULL_MOVE);
    EXPECT_EQ(thread->counter1[reply], move) << "counter moves are learnt in check, too";
}

TEST_F(Learning, CounterMoveIsKeptForTheMoveBefore) {
    thread->counter1[reply] = 111;
    thread->counter2[reply] = 222;
    learn_quiet_move(*thread, PLY, 4, 26, 25);
    EXPECT_EQ(thread->counter1[reply], move);
    EXPECT_EQ(thread->counter2[reply], 111);

    learn_quiet_move(*thread, PLY, 4, 26, 25);
    EXPECT_EQ(thread->counter1[reply], move);
    EXPECT_EQ(thread->counter2[reply], 111);
}

TEST_F(Learning, FollowUpIsKeptForTheMoveTwoPliesBack) {
    thread->followup[follow] = 111;
    learn_quiet_move(*thread, PLY, 4, 26, 25);
    EXPECT_EQ(thread->followup[follow], move);
}

TEST_F(Learning, NothingIsAReplyToANullMove) {
    MoveEntry null_move = {};
    thread->stack[2].current_move = &null_move;
    learn_quiet_move(*thread, PLY, 4, 26, 25);
    EXPECT_EQ(node->killer1, move);
    EXPECT_GT(*history, 2048);
    for (int i = 0; i < HISTORY_SIZE; i++) {
        ASSERT_EQ(thread->counter1[i], NULL_MOVE);
        ASSERT_EQ(thread->followup[i], NULL_MOVE);
    }
}

TEST_F(Learning, NullMoveTwoPliesBackHasNoFollowUp) {
    MoveEntry null_move = {};
    thread->stack[1].current_move = &null_move;
    learn_quiet_move(*thread, PLY, 4, 26, 25);
    EXPECT_EQ(thread->counter1[reply], move);
    for (int i = 0; i < HISTORY_SIZE; i++) ASSERT_EQ(thread->followup[i], NULL_MOVE);
}

TEST_F(Learning, SentinelServesAsTheMoveTwoPliesBackOfPlyTwo) {
    Position& pos = root_of(START_FEN);
    step(pos, "e2e4");
    current(pos).current_move = list_entry(pos, "e7e5");
    learn_quiet_move(*thread, 2, 4, 26, 25);
    EXPECT_EQ(thread->followup[63], make_plain_move(52, 36)) << "no piece, square h8";
}

TEST_F(Learning, NothingIsLearntFromCaptures) {
    Position& pos = node_after("4k3/8/8/3p4/4P3/8/8/4K3 b - -", "e8e7");
    plant_children(pos, -300, 20, BOUND_UPPER); // every move fails high
    moves_value(pos, 3, 0, 1, NODE_CUT);
    ASSERT_EQ(current(pos).move_count, 1) << "the capture, tried first, cuts";
    for (int i = 0; i < HISTORY_SIZE; i++) {
        ASSERT_EQ(thread->history[i], 2048);
        ASSERT_EQ(thread->counter1[i], NULL_MOVE);
    }
    EXPECT_EQ(current(pos).killer1, NULL_MOVE);
}

TEST_F(Learning, NothingIsLearntBelowTheHorizon) {
    // In check at depth -2, so that all evasions are searched at depth -1.
    Position& pos = node_after("4k3/8/8/8/8/8/r7/4K3 b - -", "a2a1");
    node_value(pos, -2, -500, 500, NODE_PV);
    ASSERT_GT(current(pos).move_count, 0);
    for (int i = 0; i < HISTORY_SIZE; i++) {
        ASSERT_EQ(thread->history[i], 2048);
        ASSERT_EQ(thread->counter1[i], NULL_MOVE);
    }
    EXPECT_EQ(current(pos).evasion_killer, NULL_MOVE);
}

TEST_F(Learning, MoveThatRaisesAlphaWithoutACutIsLearnt) {
    Position& pos = node_after(QUIET_FEN, "h2h3");
    pos.halfmoves = 100; // every quiet move draws
    moves_value(pos, 2, -50, 50, NODE_PV);
    EXPECT_NE(at_ply(2).killer1, NULL_MOVE);
    EXPECT_EQ(thread->counter1[reply_index(pos)], at_ply(2).killer1);
}

TEST_F(Learning, KillersOfThePlyBelowAreClearedByANode) {
    Position& pos = node_after(QUIET_FEN, "h2h3");
    at_ply(2).killer1 = 11;
    at_ply(3).killer1 = 22;
    at_ply(3).killer2 = 33;
    at_ply(3).evasion_killer = 44;
    pos.halfmoves = 100;
    node_value(pos, 1, 9000, 9001, NODE_ALL);
    EXPECT_EQ(at_ply(2).killer1, 11);
    EXPECT_EQ(at_ply(3).killer1, NULL_MOVE);
    EXPECT_EQ(at_ply(3).killer2, NULL_MOVE);
    EXPECT_EQ(at_ply(3).evasion_killer, NULL_MOVE);
}

// The picker.

TEST_F(Ordering, QuietMovesComeInGeneratedOrderAtFirst) {
    Position& pos = node_after(QUIET_FEN, "h2h3");
    std::vector<MoveEntry> moves = picked(pos, PICK_SEARCH);

    std::vector<Move> quiet, expected;
    for (const MoveEntry& entry : moves) {
        if (entry.victim) continue;
        EXPECT_EQ(entry.score, 8) << text_of(pos, entry.move);
        quiet.push_back(entry.move);
    }
    MoveEntry list[256];
    MoveEntry* end = gen_quiets(pos, pos.side, list, NO_SQUARE);
    for (MoveEntry* entry = list; entry != end; entry++) expected.push_back(entry->move);
    EXPECT_EQ(quiet, expected);
}

TEST_F(Ordering, QuietScoresOutOfCheck) {
    Position& pos = root_of(QUIET_FEN);
    step(pos, "h2h3");
    step(pos, "h7h6");
    step(pos, "g1h2");
    SearchThread& thread = thread_of(pos);
    SearchStackEntry& node = current(pos);
    auto move = [&](const char* text) { return move_at(pos, text); };
    thread.counter1[reply_index(pos)] = move("a7a6");
    thread.counter2[reply_index(pos)] = move("b7b6");
    thread.followup[history_index(piece_code(BLACK, PAWN), 47)] = move("g8h8");
    node.evasion_killer = move("f8e8");
    node.killer1 = make_plain_move(62, 55); // g8h7
    node.killer2 = make_plain_move(54, 46); // g7g6
    thread.history[history_index(piece_code(BLACK, ROOK), 60)] = 16384;
    thread.history[history_index(piece_code(BLACK, PAWN), 46)] = 255;

    std::map<std::string, int> scores = scores_of(pos, picked(pos, PICK_SEARCH));

    EXPECT_EQ(scores["g8h7"], 8 + 60);
    EXPECT_EQ(scores["g7g6"], 0 + 55);
    EXPECT_EQ(scores["a7a6"], 8 + 50);
    EXPECT_EQ(scores["b7b6"], 8 + 45);
    EXPECT_EQ(scores["g8h8"], 8 + 40);
    EXPECT_EQ(scores["f8e8"], 64) << "the killer of evasions counts only in check";
    EXPECT_EQ(scores["c8d7"], 8);
}

TEST_F(Ordering, OnlyTheHighestBonusCounts) {
    Position& pos = root_of(QUIET_FEN);
    step(pos, "h2h3");
    step(pos, "h7h6");
    step(pos, "g1h2");
    SearchThread& thread = thread_of(pos);
    SearchStackEntry& node = current(pos);
    const int reply = reply_index(pos), follow = history_index(piece_code(BLACK, PAWN), 47);
    const Move move = make_plain_move(48, 40); // a7a6
    auto score = [&] { return scores_of(pos, picked(pos, PICK_SEARCH))["a7a6"]; };

    node.killer1 = node.killer2 = move;
    thread.counter1[reply] = thread.counter2[reply] = thread.followup[follow] = move;
    EXPECT_EQ(score(), 8 + 60);
    node.killer1 = NULL_MOVE;
    EXPECT_EQ(score(), 8 + 55);
    node.killer2 = NULL_MOVE;
    EXPECT_EQ(score(), 8 + 50);
    thread.counter1[reply] = NULL_MOVE;
    EXPECT_EQ(score(), 8 + 45);
    thread.counter2[reply] = NULL_MOVE;
    EXPECT_EQ(score(), 8 + 40);
}

TEST_F(Ordering, BestScoredQuietMoveComesFirst) {
    Position& pos = node_after(QUIET_FEN, "h2h3");
    current(pos).killer1 = make_plain_move(48, 40);
    thread_of(pos).history[history_index(piece_code(BLACK, ROOK), 60)] = 12000;
    std::vector<std::string> order;
    for (const MoveEntry& entry : picked(pos, PICK_SEARCH))
        if (entry.victim == 0) order.push_back(text_of(pos, entry.move));
    ASSERT_GE(order.size(), 2u);
    EXPECT_EQ(order[0], "a7a6");
    EXPECT_EQ(order[1], "f8e8");
}

TEST_F(Ordering, ReplyToANullMoveGetsNoBonus) {
    Position& pos = root_of(QUIET_FEN);
    step(pos, "h2h3");
    step(pos, "h7h6");
    SearchThread& thread = thread_of(pos);
    MoveEntry null_move = {};
    current(pos).current_move = &null_move;
    MoveEntry* list = current(pos).move_list;
    make_null_move(pos);
    current(pos).move_list = list + 2;
    for (int i = 0; i < HISTORY_SIZE; i++)
        thread.counter1[i] = thread.counter2[i] = thread.followup[i] = make_plain_move(48, 40);

    EXPECT_EQ(scores_of(pos, picked(pos, PICK_SEARCH))["a7a6"], 8);
}

TEST_F(Ordering, FollowUpOfPlyTwoIsReadThroughTheSentinel) {
    Position& pos = node_after(QUIET_FEN, "h2h3");
    thread_of(pos).followup[63] = make_plain_move(48, 40);
    EXPECT_EQ(scores_of(pos, picked(pos, PICK_SEARCH))["a7a6"], 8 + 40);
}

TEST_F(Ordering, FarPawnsComeEarlier) {
    Position& pos = node_after("4k3/6p1/3P4/8/2P1P3/1p6/7p/4K3 b - -", "e8f8");
    std::map<std::string, int> scores = scores_of(pos, picked(pos, PICK_SEARCH));
    EXPECT_EQ(scores["c4c5"], 8);
    EXPECT_EQ(scores["d6d7"], 210 - 1 - 6) << "a push to the seventh rank goes with the captures";

    Position& other = node_after("4k3/8/8/2P5/8/1p2p3/8/4K3 b - -", "e8f8");
    EXPECT_EQ(scores_of(other, picked(other, PICK_SEARCH))["c5c6"], 8 + 30);
    Position& black = node_after("4k3/8/8/8/2p5/8/8/4K3 w - -", "e1f1");
    EXPECT_EQ(scores_of(black, picked(black, PICK_SEARCH))["c4c3"], 8 + 30);
}

TEST_F(Ordering, QuietScoresInCheck) {
    Position& pos = root_of("4k3/8/8/8/8/5N2/3P1P2/R3K2B b - -");
    step(pos, "e8e7");
    step(pos, "h1g2");
    step(pos, "e7e8");
    step(pos, "a1a8");
    SearchStackEntry& node = current(pos);
    node.in_check = 1;
    node.checker_square = A8;
    SearchThread& thread = thread_of(pos);
    node.evasion_killer = make_plain_move(E8, 52); // e7
    thread.counter1[reply_index(pos)] = make_plain_move(E8, 51);
    thread.counter2[reply_index(pos)] = make_plain_move(E8, 53);
    auto score = [&](const char* text) { return scores_of(pos, picked(pos, PICK_SEARCH))[text]; };
    EXPECT_EQ(score("e8e7"), 8 + 60);
    EXPECT_EQ(score("e8d7"), 8 + 55);
    EXPECT_EQ(score("e8f7"), 8 + 50);

    node.killer1 = node.killer2 = make_plain_move(E8, 53);
    thread.counter2[reply_index(pos)] = NULL_MOVE;
    EXPECT_EQ(score("e8f7"), 8) << "killers give nothing in check";
    node.evasion_killer = thread.counter1[reply_index(pos)];
    EXPECT_EQ(score("e8d7"), 8 + 60);
}

TEST_F(Ordering, QuietMovesOfTheRootKeepTheirScores) {
    Position& pos = root_of(QUIET_FEN);
    SearchStackEntry& root = current(pos);
    gen_all(pos);
    for (MoveEntry* entry = root.move_list; entry->move != LIST_END; entry++) entry->score = 5;
    for (const MoveEntry& entry : picked(pos, PICK_SEARCH)) {
        if (entry.victim) continue;
        EXPECT_EQ(entry.score, 5) << text_of(pos, entry.move);
    }
}

TEST_F(Ordering, HashMoveComesFirstAndAgain) {
    Position& pos = node_after(QUIET_FEN, "h2h3");
    current(pos).hash_move = make_plain_move(48, 40);
    std::vector<MoveEntry> moves = picked(pos, PICK_SEARCH);
    EXPECT_EQ(moves[0].move, make_plain_move(48, 40));
    EXPECT_EQ(moves[0].score, 255);
    EXPECT_EQ(moves[0].mover, piece_code(BLACK, PAWN));
    EXPECT_EQ(std::count_if(moves.begin(), moves.end(),
                            [](const MoveEntry& m) { return m.move == make_plain_move(48, 40); }),
              2);
}

namespace {

struct CaptureCase {
    const char* name;
    const char* fen; // of the opponent, who plays `first`
    const char* first;
    const char* move;
    int score;
};

void PrintTo(const CaptureCase& c, std::ostream* out) { *out << c.name; }

class CaptureScore : public Ordering, public testing::WithParamInterface<CaptureCase> {};

} // namespace

TEST_P(CaptureScore, FollowsTheExchange) {
    const CaptureCase& c = GetParam();
    Position& pos = node_after(c.fen, c.first);
    std::map<std::string, int> scores = scores_of(pos, picked(pos, PICK_SEARCH));
    ASSERT_TRUE(scores.count(c.move));
    EXPECT_EQ(scores[c.move], c.score);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(
    Table, CaptureScore,
    testing::Values(
        CaptureCase{"PawnTakesQueen",      "k7/8/8/3q4/4P3/8/8/K7 b - -",      "a8b8", "e4d5", 250 - 1},
        CaptureCase{"RookTakesRook",       "k7/8/8/3r4/8/8/8/K2R4 b - -",      "a8b8", "d1d5", 240 - 4},
        CaptureCase{"BishopTakesBishop",   "k7/8/8/3b4/8/8/6B1/K7 b - -",      "a8b8", "g2d5", 230 - 3},
        CaptureCase{"KnightTakesKnight",   "k7/8/8/3n4/8/2N5/8/K7 b - -",      "a8b8", "c3d5", 230 - 2},
        CaptureCase{"QueenTakesPawn",      "k7/8/8/3p4/8/8/8/K2Q4 b - -",      "a8b8", "d1d5", 220 - 5},
        CaptureCase{"KingTakesPawn",       "7k/8/8/8/8/8/1p6/K7 b - -",        "h8g8", "a1b2", 220 - 6},
        CaptureCase{"EvenExchange",        "k7/8/4p3/3n4/8/2N5/8/K7 b - -",    "a8b8", "c3d5", 230 - 2 - 6},
        CaptureCase{"WinsTwoHundred",      "k7/8/4p3/3r4/8/2N5/8/K7 b - -",    "a8b8", "c3d5", 240 - 2},
        CaptureCase{"LosesRookForKnight",  "k7/8/4p3/3n4/8/8/8/K2R4 b - -",    "a8b8", "d1d5", KNIGHT + 4},
        CaptureCase{"LosesQueenForPawn",   "k7/8/4p3/3p4/8/8/8/K2Q4 b - -",    "a8b8", "d1d5", PAWN + 4},
        CaptureCase{"EnPassant",           "4k3/2p5/8/3P4/8/8/8/4K3 b - -",    "c7c5", "d5c6", 210 - 1 - 6},
        CaptureCase{"Promotion",           "k7/4P3/8/8/8/8/8/K7 b - -",        "a8b8", "e7e8q", 210 - 1 - 6},
        CaptureCase{"LosingPromotion",     "k6r/4P3/8/8/8/8/8/K7 b - -",       "a8b8", "e7e8q", 4}),
    [](const auto& test) { return test.param.name; });
// clang-format on

TEST_F(Ordering, ExchangeOfExactlyFiftyIsAGoodOne) {
    // Rook takes knight, bishop takes rook, pawn takes bishop, rook takes pawn.
    constexpr char FEN[] = "3r3k/1b6/8/3n4/4P3/8/8/K2R4 b - -";
    Position& pos = node_after(FEN, "h8g8");
    ASSERT_EQ(see(pos, WHITE, 3, 35), 350 - 550 + 350 - 100);
    EXPECT_EQ(scores_of(pos, picked(pos, PICK_SEARCH))["d1d5"], 230 - 4);

    see_value[PAWN] = 101;
    ASSERT_EQ(see(pos, WHITE, 3, 35), 49);
    EXPECT_EQ(scores_of(pos, picked(pos, PICK_SEARCH))["d1d5"], 230 - 4 - 6);
}

TEST_F(Ordering, ExchangeOfMinusFortyNineIsNotALosingOne) {
    // Knight takes pawn, pawn takes knight, with the knight's value bent.
    constexpr char FEN[] = "k7/8/4p3/3p4/8/2N5/8/K7 b - -";
    Position& pos = node_after(FEN, "a8b8");
    see_value[KNIGHT] = 149;
    EXPECT_EQ(scores_of(pos, picked(pos, PICK_SEARCH))["c3d5"], 220 - 2 - 6);
    see_value[KNIGHT] = 150;
    EXPECT_EQ(scores_of(pos, picked(pos, PICK_SEARCH))["c3d5"], PAWN + 4);
}

TEST_F(Ordering, LosingCapturesAreSortedAmongTheQuietMoves) {
    Position& pos = node_after("k7/8/4p3/3p4/8/8/P7/K2Q4 b - -", "a8b8");
    std::vector<MoveEntry> moves = picked(pos, PICK_SEARCH);
    EXPECT_NE(text_of(pos, moves.front().move), "d1d5");
    EXPECT_EQ(text_of(pos, moves.back().move), "d1d5") << "5 is less than the 8 of quiet moves";

    for (int16_t& history : thread_of(pos).history) history = 1024;
    EXPECT_EQ(text_of(pos, picked(pos, PICK_SEARCH).front().move), "d1d5");
}

TEST_F(Ordering, RestComesInListOrderOnceScoresAreLow) {
    Position& pos = node_after("k7/8/8/8/8/8/8/KN6 b - -", "a8b8");
    for (int16_t& history : thread_of(pos).history) history = 0;
    thread_of(pos).history[history_index(piece_code(WHITE, KING), 8)] = 3 * 256; // a2
    thread_of(pos).history[history_index(piece_code(WHITE, KING), 9)] = 2 * 256; // b2
    std::vector<std::string> order;
    for (const MoveEntry& entry : picked(pos, PICK_SEARCH))
        order.push_back(text_of(pos, entry.move));
    // Generated: d2, a3, c3, a2, b2. The first selection swaps a2 and d2, the second b2 and a3.
    EXPECT_EQ(order, (std::vector<std::string>{"a1a2", "a1b2", "b1c3", "b1d2", "b1a3"}));
}

TEST_F(Ordering, QuiescenceOrdersByVictimAndAttacker) {
    // The queen's capture loses her, and still comes by its victim.
    Position& pos = node_after("k7/8/4p3/3p4/8/2N5/8/K2Q4 b - -", "a8b8");
    std::vector<MoveEntry> moves = picked(pos, PICK_CAPTURES);
    std::map<std::string, int> scores = scores_of(pos, moves);
    EXPECT_EQ(scores["c3d5"], 220 - 2);
    EXPECT_EQ(scores["d1d5"], 220 - 5);
    EXPECT_EQ(moves.size(), 2u);
}

TEST_F(Ordering, QuietChecksFollowTheCapturesInQuiescence) {
    Position& pos = node_after("k7/8/8/3p4/8/2N5/8/K2R4 b - -", "a8b8");
    std::vector<MoveEntry> moves = picked(pos, PICK_CHECKS);
    std::vector<std::string> order;
    for (const MoveEntry& entry : moves) order.push_back(text_of(pos, entry.move));
    EXPECT_EQ(order, (std::vector<std::string>{"c3d5", "d1d5", "d1b1"}));
    EXPECT_EQ(moves[2].score, 100);
}
