// The picker: the stages that it runs the generators in, and what it scores their moves by. Pins
// the numbers of the stages and the scores, which decide the order of moves.

#include <algorithm>
#include <cstring>

#include "board/attack.h"
#include "board/legal.h"
#include "board/movegen.h"
#include "board/see.h"
#include "board_support.h"
#include "records.h"
#include "search/movepick.h"

TEST(GenAll, EndsTheListAndPublishesTheNextTwo) {
    Position& pos = set_up(START_FEN);
    SearchThread& thread = thread_of(pos);
    thread.line.ply = 5;
    thread.stack[5].move_list = thread.move_store + 100;
    thread.stack[5].current_move = nullptr;

    gen_all(pos);

    EXPECT_EQ(thread.stack[5].current_move, thread.move_store + 100);
    EXPECT_EQ(thread.move_store[120].move, LIST_END);
    EXPECT_EQ(thread.stack[6].move_list, thread.move_store + 121);
    EXPECT_EQ(thread.stack[7].move_list, thread.move_store + 122);
}

namespace {

// A node of the search as next_move sees it, set up by hand at a ply of its own.
class Picker : public EngineTest {
protected:
    static constexpr int PLY = 3; // a move of two plies before exists

    SearchThread& thread = *main_thread;
    MoveEntry before = {};   // the move of ply - 2; 0 is none
    MoveEntry previous = {}; // the move of ply - 1

    void SetUp() override { clear_tables(); }

    void clear_tables() {
        memset(thread.history, 0, sizeof thread.history);
        memset(thread.counter1, 0, sizeof thread.counter1);
        memset(thread.counter2, 0, sizeof thread.counter2);
        memset(thread.followup, 0, sizeof thread.followup);
    }

    SearchStackEntry& node() { return thread.stack[thread.line.ply]; }
    int state() { return node().stage & 15; }

    // Starts a node for the position with the picker's options.
    SearchStackEntry& start(const char* fen, int options, int ply = PLY) {
        Position& pos = set_up(fen);
        thread.line.ply = static_cast<int16_t>(ply);
        thread.stack[ply] = {};
        if (ply > 1) {
            thread.stack[ply - 2].current_move = &before;
            thread.stack[ply - 1].current_move = &previous;
            thread.stack[ply].move_list = thread.move_store + 10;
        } else {
            thread.stack[ply].move_list = thread.move_store + 1;
        }
        node().current_move = node().move_list - 1; // nothing handed out yet
        int checker = find_checker(pos, pos.side);
        node().checker_square = static_cast<uint8_t>(checker);
        node().in_check = checker != NO_SQUARE;
        node().stage = static_cast<uint16_t>(options);
        return node();
    }

    // The next entry as "name:score", or "-".
    std::string next() {
        MoveEntry* entry = next_move(thread.position);
        if (!entry) return "-";
        node().current_move = entry;
        std::string text = entry_name(*entry);
        return text.append(":").append(std::to_string(entry->score));
    }

    // All entries that are left, separated by blanks.
    std::string rest() {
        std::string all;
        for (std::string text = next(); text != "-"; text = next()) {
            if (!all.empty()) all += ' ';
            all += text;
        }
        return all;
    }

    // The first `count` entries.
    std::string first(int count) {
        std::string all;
        for (int i = 0; i < count; i++) {
            if (i > 0) all += ' ';
            all += next();
        }
        return all;
    }

    // Sets the history of a move of the position so that it adds `score`.
    void set_history(const char* move, int score) {
        int mover = thread.position.board[sq(move)];
        thread.history[history_index(mover, sq(move + 2))] = static_cast<int16_t>(score * 256);
    }
};

} // namespace

TEST_F(Picker, GivesTheHashMoveFirstAndAgainLater) {
    start(START_FEN, PICK_SEARCH).hash_move = plain("e2e4");

    EXPECT_EQ(next(), "e2e4:255");
    EXPECT_EQ(state(), 1);
    MoveEntry* list = node().move_list;
    EXPECT_EQ(list[0].mover, piece_code(WHITE, PAWN));
    EXPECT_EQ(list[0].victim, 0);
    EXPECT_EQ(list[1].move, LIST_END);
    EXPECT_EQ(thread.stack[PLY + 1].move_list, list + 2);
    EXPECT_EQ(thread.stack[PLY + 2].move_list, list + 3);

    std::string others = rest();
    EXPECT_NE(others.find("e2e4:0"), std::string::npos);
    EXPECT_EQ(std::count(others.begin(), others.end(), ':'), 20);
    EXPECT_EQ(list[0].move, plain("e2e4")) << "the other moves follow behind it";
}

TEST_F(Picker, DoesNotLookIfTheHashMoveFits) {
    start(START_FEN, PICK_SEARCH).hash_move = plain("a1a8");
    EXPECT_EQ(next(), "a1a8:255");
    EXPECT_EQ(node().current_move->mover, piece_code(WHITE, ROOK));
    EXPECT_EQ(node().current_move->victim, piece_code(BLACK, ROOK));
}

TEST_F(Picker, WithoutOptionOrMoveThereIsNoHashMove) {
    start(START_FEN, PICK_PERFT).hash_move = plain("e2e4");
    EXPECT_EQ(next(), "a2a3:0");
    start(START_FEN, PICK_SEARCH).hash_move = NULL_MOVE;
    EXPECT_EQ(next(), "a2a3:0");
}

TEST_F(Picker, GoesStraightToTheQuietMovesWhereNothingCanBeTaken) {
    start(START_FEN, PICK_PERFT);

    EXPECT_EQ(next(), "a2a3:0");
    EXPECT_EQ(state(), 7) << "a score of 0 ends the sorting";
    EXPECT_EQ(node().stage, PICK_PERFT | 7) << "the options stay";
    EXPECT_EQ(thread.stack[PLY + 1].move_list, node().move_list + 21);
    EXPECT_EQ(thread.stack[PLY + 2].move_list, node().move_list + 22);
    EXPECT_EQ(rest(), "b2b3:0 c2c3:0 d2d3:0 e2e3:0 f2f3:0 g2g3:0 h2h3:0 a2a4:0 b2b4:0 c2c4:0 "
                      "d2d4:0 e2e4:0 f2f4:0 g2g4:0 h2h4:0 b1a3:0 b1c3:0 g1f3:0 g1h3:0");
    EXPECT_EQ(next(), "-");
    EXPECT_EQ(next(), "-") << "and no more";
}

TEST_F(Picker, AnEmptyNodeHasNoEntry) {
    for (int options : {PICK_SEARCH, PICK_PERFT, PICK_CHECKS, PICK_CAPTURES}) {
        start("8/8/8/8/8/8/8/8 w - -", options);
        EXPECT_EQ(next(), "-");
        EXPECT_EQ(next(), "-");
    }
}

TEST_F(Picker, SortsGoodCapturesByVictimAndAttacker) {
    // The king's capture of the defended rook is left for later.
    start("4k3/8/8/q4r2/4P1Kp/1N2N3/8/8 w - -", PICK_PERFT);

    EXPECT_EQ(first(4), "b3a5:248 e4f5:239 e3f5:238 g4h4:214");
    EXPECT_EQ(state(), 4);
    node().current_move--; // looks at the same place again: it does not change any more
    EXPECT_EQ(next(), "g4h4:214");
    EXPECT_EQ(next(), "g4f5:8");
    EXPECT_EQ(state(), 6);
}

TEST_F(Picker, TakesSixFromACaptureThatWinsLessThanHalfAPawn) {
    // Pawn by pawn, undefended or defended.
    start("7k/8/8/3p4/4P3/8/8/K7 w - -", PICK_PERFT);
    EXPECT_EQ(next(), "e4d5:219");
    start("7k/8/4p3/3p4/4P3/8/8/K7 w - -", PICK_PERFT);
    EXPECT_EQ(next(), "e4d5:213");

    start("7k/8/8/3p4/4P3/8/8/K7 w - -", PICK_PERFT);
    see_value[PAWN] = 50;
    EXPECT_EQ(next(), "e4d5:219") << "exactly half a pawn is enough";
    start("7k/8/8/3p4/4P3/8/8/K7 w - -", PICK_PERFT);
    see_value[PAWN] = 49;
    EXPECT_EQ(next(), "e4d5:213");
}

TEST_F(Picker, CallsACaptureBadThatLosesHalfAPawn) {
    const char* fen = "7k/8/2p5/3p4/8/4N3/8/K7 w - -";
    start(fen, PICK_PERFT);
    see_value[KNIGHT] = 149; // the exchange loses 49
    EXPECT_EQ(next(), "e3d5:212");
    start(fen, PICK_PERFT);
    see_value[KNIGHT] = 150;
    EXPECT_EQ(next(), "e3d5:5") << "it comes with the quiet moves";
    EXPECT_EQ(state(), 6);
}

TEST_F(Picker, ScoresABadCaptureByItsVictim) {
    // A queen takes what is defended: pawn, knight and rook.
    start("7k/8/1p6/p7/Q2n1r2/4p3/8/K7 w - -", PICK_PERFT);
    EXPECT_EQ(first(2), "a4d4:6 a4a5:5");

    start("7k/8/8/8/4p1p1/3r1n2/8/K2Q4 w - -", PICK_PERFT);
    EXPECT_EQ(next(), "d1d3:8");
    EXPECT_EQ(next(), "d1f3:6");
}

TEST_F(Picker, SortsBadCapturesAmongTheQuietMoves) {
    start("7k/8/2p5/3p4/8/4N3/8/K7 w - -", PICK_PERFT);
    set_history("e3f5", 9);
    set_history("e3g4", 5);
    set_history("e3c4", 3);
    set_history("a1b1", 2);

    // A tie goes to the entry that stands first, and the capture does.
    EXPECT_EQ(next(), "e3f5:9");
    EXPECT_EQ(state(), 6);
    EXPECT_EQ(next(), "e3g4:5") << "the capture changed places with the first selected move";
    EXPECT_EQ(next(), "e3d5:5");
    EXPECT_EQ(next(), "e3c4:3");
    EXPECT_EQ(state(), 6);
    EXPECT_EQ(next(), "a1b1:2") << "the last that is sorted";
    EXPECT_EQ(state(), 7);
}

TEST_F(Picker, LeavesScoresUpToTwoInTheOrderOfTheList) {
    start("7k/8/8/8/8/8/8/K1N5 w - -", PICK_PERFT);
    set_history("c1e2", 1);
    set_history("a1b2", 2);
    set_history("c1d3", -3);

    // Generated: c1a2 c1e2 c1b3 c1d3 a1b1 a1a2 a1b2. The first selection swaps a1b2 with c1a2.
    EXPECT_EQ(rest(), "a1b2:2 c1e2:1 c1b3:0 c1d3:-3 a1b1:0 a1a2:0 c1a2:0");
}

TEST_F(Picker, ScoresPromotionsAsCapturesOfNothing) {
    start("7k/P7/8/8/8/8/8/K7 w - -", PICK_PERFT);
    EXPECT_EQ(first(4), "a7a8q:203 a7a8n:203 a7a8b:203 a7a8r:203");
    EXPECT_EQ(node().current_move->victim, 0);
    EXPECT_EQ(state(), 4);

    // The rook guards a8, so that the pawn is lost.
    start("7r/P7/8/8/8/8/8/K6k w - -", PICK_PERFT);
    EXPECT_EQ(first(4), "a7a8q:4 a7a8n:4 a7a8b:4 a7a8r:4");
    EXPECT_EQ(state(), 6);
}

TEST_F(Picker, ScoresPromotionsThatCaptureByTheirVictim) {
    start("1r5k/P7/8/8/8/8/8/K7 w - -", PICK_PERFT);
    EXPECT_EQ(first(4), "a7b8q:239 a7b8n:239 a7b8b:239 a7b8r:239");
    EXPECT_EQ(first(4), "a7a8q:4 a7a8n:4 a7a8b:4 a7a8r:4");
}

TEST_F(Picker, TriesPushesToTheSeventhBeforeTheQuietMoves) {
    start("7k/8/P7/8/8/8/8/K7 w - -", PICK_PERFT);
    EXPECT_EQ(first(2), "a6a7:203 a1b1:0");
    start("1n5k/8/P1b5/1N6/8/8/8/K7 w - -", PICK_PERFT);
    EXPECT_EQ(next(), "a6a7:203");
}

TEST_F(Picker, ScoresEnPassantAsACaptureOfNothing) {
    start("7k/8/8/3pP3/8/8/8/K7 w - d6", PICK_PERFT);
    EXPECT_EQ(next(), "e5d6:203");
}

TEST_F(Picker, SortsQuietMovesByWhatTheyDidElsewhere) {
    SearchStackEntry& entry = start("4k3/8/8/P7/8/8/1PPPPPPP/1N2K1N1 w - -", PICK_SEARCH);
    before = {plain("a2a4"), 0, piece_code(WHITE, PAWN), 0};
    previous = {plain("e7e5"), 0, piece_code(BLACK, PAWN), 0};
    entry.killer1 = plain("b1c3");
    entry.killer2 = plain("g1f3");
    thread.counter1[history_index(piece_code(BLACK, PAWN), sq("e5"))] = plain("d2d4");
    thread.counter2[history_index(piece_code(BLACK, PAWN), sq("e5"))] = plain("e2e4");
    thread.followup[history_index(piece_code(WHITE, PAWN), sq("a4"))] = plain("c2c4");
    set_history("h2h3", 35);
    set_history("g1f3", 1);

    EXPECT_EQ(first(8), "b1c3:60 g1f3:56 d2d4:50 e2e4:45 c2c4:40 h2h3:35 a5a6:30 g2g3:0");
}

TEST_F(Picker, AddsOnlyTheFirstBonusThatFits) {
    SearchStackEntry& entry = start("4k3/8/8/P7/8/8/1PPP4/4K3 w - -", PICK_SEARCH);
    previous = {plain("e7e5"), 0, piece_code(BLACK, PAWN), 0};
    before = {plain("a2a4"), 0, piece_code(WHITE, PAWN), 0};
    int reply = history_index(piece_code(BLACK, PAWN), sq("e5"));
    entry.killer1 = plain("a5a6");
    thread.counter1[reply] = plain("a5a6");
    thread.counter2[reply] = plain("c2c3");
    thread.followup[history_index(piece_code(WHITE, PAWN), sq("a4"))] = plain("c2c3");
    entry.killer2 = entry.killer1;

    EXPECT_EQ(first(2), "a5a6:60 c2c3:45");
}

TEST_F(Picker, KnowsNoRepliesToANullMove) {
    SearchStackEntry& entry = start(START_FEN, PICK_SEARCH);
    entry.killer2 = plain("d2d4");
    previous = {}; // move 0
    before = {plain("a2a4"), 0, piece_code(WHITE, PAWN), 0};
    std::fill_n(thread.counter1, HISTORY_SIZE, plain("e2e4"));
    std::fill_n(thread.counter2, HISTORY_SIZE, plain("c2c4"));
    std::fill_n(thread.followup, HISTORY_SIZE, plain("b1c3"));
    EXPECT_EQ(first(2), "d2d4:55 b2b3:0") << "also no follow-up of the move before it";

    start(START_FEN, PICK_SEARCH);
    previous = {plain("e7e5"), 0, piece_code(BLACK, PAWN), 0};
    before = {};
    EXPECT_EQ(first(3), "e2e4:50 c2c4:45 c2c3:0") << "no follow-up of a null move";
}

TEST_F(Picker, RoundsHistoryTowardZero) {
    start("7k/8/8/8/8/8/8/K1N5 w - -", PICK_PERFT);
    auto& history = thread.history;
    history[history_index(piece_code(WHITE, KNIGHT), sq("e2"))] = 3 * 256 + 255;
    history[history_index(piece_code(WHITE, KNIGHT), sq("b3"))] = -511;
    history[history_index(piece_code(WHITE, KNIGHT), sq("d3"))] = -255;
    history[history_index(piece_code(WHITE, KING), sq("b1"))] = 16384;

    EXPECT_EQ(rest(), "a1b1:64 c1e2:3 c1d3:0 c1b3:-1 c1a2:0 a1a2:0 a1b2:0");
}

TEST_F(Picker, PrefersPawnsThatReachTheirSixthRank) {
    start("4k3/7p/8/8/1p3p2/8/8/4K3 b - -", PICK_SEARCH);
    EXPECT_EQ(first(3), "b4b3:30 f4f3:30 h7h6:0");
    start("4k3/8/8/1P6/6P1/8/8/4K3 w - -", PICK_SEARCH);
    EXPECT_EQ(first(2), "b5b6:30 g4g5:0");
    start("4k3/8/8/3N4/8/8/8/4K3 w - -", PICK_SEARCH);
    EXPECT_EQ(next(), "d5c3:0") << "only pawns";
}

TEST_F(Picker, InCheckCountsTheEvasionKillerAndNoOther) {
    SearchStackEntry& entry = start("4r1k1/8/8/8/8/2B5/5N2/4K1N1 w - -", PICK_SEARCH);
    ASSERT_TRUE(entry.in_check);
    previous = {plain("a8e8"), 0, piece_code(BLACK, ROOK), 0};
    before = {plain("d2c3"), 0, piece_code(WHITE, BISHOP), 0};
    int reply = history_index(piece_code(BLACK, ROOK), E8);
    entry.evasion_killer = plain("g1e2");
    entry.killer1 = plain("e1d2");
    entry.killer2 = plain("e1f1");
    thread.counter1[reply] = plain("c3e5");
    thread.counter2[reply] = plain("f2e4");
    thread.followup[history_index(piece_code(WHITE, BISHOP), sq("c3"))] = plain("e1d1");
    set_history("f2e4", 2);

    EXPECT_EQ(first(4), "g1e2:60 c3e5:55 f2e4:52 e1d1:0");
}

TEST_F(Picker, OutOfCheckTheEvasionKillerMeansNothing) {
    start(START_FEN, PICK_SEARCH).evasion_killer = plain("e2e4");
    EXPECT_EQ(next(), "a2a3:0");
}

TEST_F(Picker, LeavesTheScoresOfQuietMovesAtTheRootAlone) {
    for (int i = 0; i < 64; i++) thread.move_store[i].score = 77;
    start("7k/8/8/3p4/4P3/8/8/K7 w - -", PICK_PERFT, 1).killer1 = plain("a1b1");
    set_history("a1b1", 50);
    EXPECT_EQ(rest(), "e4d5:219 e4e5:77 a1b1:77 a1a2:77 a1b2:77");
}

TEST_F(Picker, InCheckLimitsAllButKingMovesPromotionsAndSeventhPushes) {
    start("4k3/P7/2P5/8/8/1N6/8/K2r4 w - -", PICK_PERFT);
    EXPECT_EQ(rest(), "a7a8q:203 a7a8n:203 a7a8b:203 a7a8r:203 c6c7:203 b3c1:0 a1b1:0 a1a2:0 "
                      "a1b2:0");
}

TEST_F(Picker, WithoutFullOptionScoresByVictimAndAttackerAlone) {
    // The queen's captures are bad, which nobody asks here.
    start("7k/3P4/1p6/p7/Q2n1r2/4p3/8/K7 w - -", PICK_CAPTURES);

    EXPECT_EQ(rest(), "a4d4:225 a4a5:215 d7d8q:209");
    EXPECT_EQ(node().stage, PICK_CAPTURES | 2) << "the stage stays";
    EXPECT_EQ(next(), "-");
    EXPECT_EQ(node().stage, PICK_CAPTURES | 2);
}

TEST_F(Picker, WithoutFullOptionGivesQueenPromotionsAndSeventhPushesOnly) {
    start("1n5k/P7/6P1/3pP3/8/8/8/K7 w - d6", PICK_CAPTURES);
    EXPECT_EQ(rest(), "a7b8q:229 a7a8q:209 e5d6:209 g6g7:209");
}

TEST_F(Picker, OnATieTheEarliestEntryComesFirst) {
    start("7k/8/8/p1p1p1p1/1P1P1P1P/8/8/K7 w - -", PICK_CAPTURES);
    EXPECT_EQ(rest(), "b4a5:219 d4c5:219 f4e5:219 h4g5:219 b4c5:219 d4e5:219 f4g5:219");
}

TEST_F(Picker, GivesQuietChecksOfPawnsAndPiecesBehindTheCaptures) {
    start("7R/8/8/B3k3/8/3P4/5P1N/1R2N1QK w - -", PICK_CHECKS);

    EXPECT_EQ(next(), "d3d4:100");
    EXPECT_EQ(node().stage, PICK_CHECKS | 7);
    EXPECT_EQ(rest(), "f2f4:100 e1f3:100 h2f3:100 h2g4:100 a5c3:100 a5c7:100 b1b5:100 h8h5:100 "
                      "h8e8:100 g1g3:100 g1g5:100 g1g7:100");
    EXPECT_EQ(thread.stack[PLY + 1].move_list, node().move_list + 14);
    EXPECT_EQ(next(), "-");
}

TEST_F(Picker, GivesCapturesThenQuietChecks) {
    start("4k3/8/8/8/p7/8/8/K6R b - -", PICK_CHECKS);
    EXPECT_EQ(next(), "-");
    start("4k3/7p/8/8/8/8/8/K6R w - -", PICK_CHECKS);
    EXPECT_EQ(rest(), "h1h7:216 h1e1:100");
}

TEST_F(Picker, GivesNoDiscoveredChecksKingMovesOrCastling) {
    // Every move of the knight discovers a check, f1 would be checked by castling.
    start("4k3/8/8/8/8/4N3/8/K3R3 w - -", PICK_CHECKS);
    EXPECT_EQ(next(), "-");
    EXPECT_EQ(node().stage, PICK_CHECKS | 2) << "without an entry the stage stays";
    EXPECT_EQ(next(), "-");
    start("5k2/8/8/8/8/8/8/4K2R w K -", PICK_CHECKS);
    EXPECT_EQ(rest(), "h1f1:100 h1h8:100");
}

TEST_F(Picker, GivesAPushToTheSeventhAgainWhenItChecks) {
    start("4k3/8/3P4/8/8/8/8/K7 w - -", PICK_CHECKS);
    EXPECT_EQ(rest(), "d6d7:209 d6d7:100");
}

TEST_F(Picker, GivesDoublePushesThatCheckOnlyOntoTheFourthRank) {
    start("8/8/8/4k3/8/8/3P1P2/K7 w - -", PICK_CHECKS);
    EXPECT_EQ(rest(), "d2d4:100 f2f4:100");
    start("k7/3p1p2/8/8/4K3/8/8/8 b - -", PICK_CHECKS);
    EXPECT_EQ(rest(), "d7d5:100 f7f5:100");
    start("8/8/4k3/8/8/3P4/8/K7 w - -", PICK_CHECKS);
    EXPECT_EQ(next(), "-") << "no double push from the third rank";
}

TEST_F(Picker, GivesQuietChecksOfBlackToo) {
    start("k2r4/8/7q/8/5b2/8/8/4K3 b - -", PICK_CHECKS);
    EXPECT_EQ(rest(), "f4d2:100 f4g3:100 d8d1:100 d8e8:100 h6h1:100 h6h4:100 h6e6:100");
}

TEST_F(Picker, WithoutCheckOptionThereAreNoQuietChecks) {
    start("7R/8/8/B3k3/8/3P4/5P1N/1R2N1QK w - -", PICK_CAPTURES);
    EXPECT_EQ(next(), "-");
}

TEST_F(Picker, WalksAScoredListASecondTime) {
    start("7k/8/8/3p4/4P3/8/8/K7 w - -", PICK_PERFT);
    rest();
    MoveEntry* entries = node().move_list; // e4d5 e4e5 a1b1 a1a2 a1b2
    const int16_t scores[] = {1, -5, 1, 7, 7};
    for (int i = 0; i < 5; i++) entries[i].score = scores[i];
    node().stage = PICK_PERFT | 8;

    EXPECT_EQ(next(), "a1a2:7");
    EXPECT_EQ(node().stage, PICK_PERFT | 9);
    EXPECT_EQ(rest(), "a1b2:7 a1b1:1 e4d5:1 e4e5:-5")
        << "an entry that gives its place away goes to where the best came from";
    EXPECT_EQ(node().stage, PICK_PERFT | 9);
}

TEST_F(Picker, StatesAboveNineHaveNoEntry) {
    for (int state = 10; state < 16; state++) {
        start(START_FEN, PICK_SEARCH | state);
        node().current_move = node().move_list;
        EXPECT_EQ(next(), "-") << state;
    }
}

TEST_F(Picker, GivesEveryMoveOfTheFullListOnce) {
    Random random = {5};
    for (int round = 0; round < 1500; round++) {
        std::string fen = fen_of(set_up_random(random, round % 2 != 0));
        std::vector<Move> expected = legal_moves(set_up(fen.c_str()));
        std::sort(expected.begin(), expected.end());

        start(fen.c_str(), PICK_PERFT);
        for (int16_t& value : thread.history)
            value = static_cast<int16_t>(random_below(random, 4000));
        std::vector<Move> picked;
        int last_score = INT16_MAX;
        while (MoveEntry* entry = next_move(thread.position)) {
            node().current_move = entry;
            ASSERT_TRUE(state() == 4 || state() == 6 || state() == 7) << fen;
            if (state() != 7) {
                ASSERT_LE(entry->score, last_score) << fen;
                last_score = entry->score;
            } else {
                ASSERT_LE(entry->score, 2) << fen;
            }
            if (legal_move(thread.position, thread.position.side, entry->move))
                picked.push_back(entry->move);
        }
        std::sort(picked.begin(), picked.end());
        ASSERT_EQ(picked, expected) << fen;
    }
}

// A plain selection sort of captures whose exchanges are all worked out beforehand.
TEST_F(Picker, GivesCapturesInTheOrderOfAllTheirScores) {
    Random random = {8};
    for (int round = 0; round < 1500; round++) {
        std::string fen = fen_of(set_up_random(random, round % 2 != 0));
        start(fen.c_str(), PICK_PERFT);
        const Position& pos = thread.position;
        MoveEntry list[LONGEST_ODD_LIST];
        MoveEntry* end = gen_captures(pos, pos.side, list, node().checker_square);
        end = gen_promotions(pos, pos.side, 1, end);
        end = gen_seventh_pushes(pos, pos.side, end);
        for (MoveEntry* entry = list; entry != end; entry++) {
            int value = see(pos, pos.side, move_from(entry->move), move_to(entry->move));
            int score = capture_value[type_of(entry->victim)] - type_of(entry->mover);
            if (value < -49) score = 4 + type_of(entry->victim);
            else if (value < 50) score -= 6;
            entry->score = static_cast<int16_t>(score);
        }
        auto less = [](const MoveEntry& a, const MoveEntry& b) { return a.score < b.score; };
        for (MoveEntry* entry = list; entry != end; entry++) {
            std::swap(*entry, *std::max_element(entry, end, less));
            if (entry->score <= 150) break;
            ASSERT_EQ(next(), entry_name(*entry) + ":" + std::to_string(entry->score)) << fen;
        }
    }
}

TEST_F(Picker, ScoresEveryCaptureOfRandomPositionsByItsExchange) {
    Random random = {6};
    for (int round = 0; round < 1500; round++) {
        std::string fen = fen_of(set_up_random(random, false));
        start(fen.c_str(), PICK_PERFT);
        Position& pos = thread.position;
        while (MoveEntry* entry = next_move(pos)) {
            node().current_move = entry;
            bool push = type_of(entry->mover) == PAWN
                     && rank_of(move_to(entry->move) ^ rank_flip[pos.side]) >= 6;
            bool ep = type_of(entry->mover) == PAWN && move_to(entry->move) == pos.ep_square;
            if (!entry->victim && !push && !ep) continue;
            int value = see(pos, pos.side, move_from(entry->move), move_to(entry->move));
            int victim = type_of(entry->victim);
            int expected = victim + 4;
            if (value >= -49) {
                expected = capture_value[victim] - type_of(entry->mover);
                if (value < 50) expected -= 6;
            }
            ASSERT_EQ(entry->score, expected) << fen << " " << entry_name(*entry);
        }
    }
}
