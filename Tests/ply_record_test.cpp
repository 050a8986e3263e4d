// Records of training positions: packing, their flags and filter.

#include "search_fixture.h"
#include "training_support.h"

#include "Training/game_check.h"
#include "Training/ply_data.h"
#include "Training/ply_filter.h"
#include "Training/ply_record.h"

namespace {

class TrainingRecord : public SearchTest {};

// All of a position but its history.
std::string everything(const Position& pos) {
    std::ostringstream out;
    char fen[FEN_LENGTH];
    write_fen(pos, fen, 0);
    out << fen << ' ' << int{pos.halfmoves} << ' ' << pos.key << ' ' << pos.pawn_key;
    for (int side : {WHITE, BLACK})
        out << ' ' << pos.material[side] << ' ' << pos.piece_counts[side] << ' '
            << int{pos.king_square[side]};
    for (int right = 0; right < CASTLING_RIGHTS; right++)
        if (pos.castling >> right & 1)
            out << ' ' << int{pos.castle_rook[right]} << ' ' << pos.castle_mask[right] << ' '
                << pos.castle_empty[right];
    return out.str();
}

PlyRecord packed(const char* fen, const char* move, int score = 0, int ply = 20) {
    Position& pos = set_up(fen);
    PlyRecord record;
    pack_ply(record, pos, find_move(pos, move), score, ply);
    return record;
}

void expect_round_trip(Position& pos) {
    PlyRecord record;
    pack_ply(record, pos, NULL_MOVE, 0, 0);
    std::string before = everything(pos);
    ASSERT_TRUE(unpack_ply(pos, record));
    EXPECT_EQ(everything(pos), before);
}

const char* check(const Game& game) {
    int bad = 0;
    return check_game(game.records, game.plies, bad);
}

} // namespace

TEST_F(TrainingRecord, HoldsThePositionInThirtyTwoBytes) {
    PlyRecord record = packed("4k3/8/8/8/8/8/P7/4K2R b K -", "e8d7", -31, 300);

    EXPECT_EQ(record.occupied, bit(4) | bit(7) | bit(8) | bit(60));
    EXPECT_EQ(record.units[0], 0x46) << "king and rook on the first rank";
    EXPECT_EQ(record.units[1], 0xE1) << "the pawn, then the black king";
    EXPECT_EQ(record.units[2], 0);
    EXPECT_EQ(record.score, -31);
    EXPECT_EQ(record.move, make_plain_move(60, 51));
    EXPECT_EQ(record.place, 300);
    EXPECT_EQ(record.state, RECORD_BLACK | 1 << RECORD_CASTLING_SHIFT);
    EXPECT_EQ(record.halfmoves, 0);
}

TEST_F(TrainingRecord, PositionsOfRandomGamesComeBack) {
    Random random = {11};
    for (int i = 0; i < 300; i++) {
        set_up(START_FEN);
        play_random(game(), random, random_below(random, 120));
        expect_round_trip(game());
    }
}

TEST_F(TrainingRecord, CastlingRightsComeBack) {
    for (const char* fen : {"r3k2r/8/8/8/8/8/8/R3K2R w KQkq -", "r3k2r/8/8/8/8/8/8/R3K2R b Qk -",
                            "1r3kr1/8/8/8/8/8/8/1R3KR1 w KQkq -", "rk5r/8/8/8/8/8/8/6RK w kq -"})
        expect_round_trip(set_up(fen));
}

TEST_F(TrainingRecord, RightBelongsToTheOutermostRook) {
    Position& pos = set_up("4k3/8/8/8/8/8/8/R3K3 w Q -");
    PlyRecord record;
    add_piece(pos, 2, ROOK);
    pack_ply(record, pos, NULL_MOVE, 0, 0);
    ASSERT_TRUE(unpack_ply(pos, record));
    EXPECT_EQ(pos.castling, 2);
    EXPECT_EQ(pos.castle_rook[1], A1);
}

TEST_F(TrainingRecord, EnPassantSquareComesBack) {
    expect_round_trip(set_up("4k3/8/8/8/7p/8/6P1/4K3 w - -"));
    play(game(), "g2g4");
    expect_round_trip(game());
    EXPECT_EQ(game().ep_square, 22);
    expect_round_trip(set_up("4k3/8/8/pP6/8/8/8/4K3 w - a6"));
    EXPECT_EQ(game().ep_square, 40);
}

TEST_F(TrainingRecord, TacticalMovesAndChecksAreMarked) {
    constexpr int MARKS = RECORD_TACTICAL | RECORD_CHECK;
    auto marks = [](const char* fen, const char* move) { return packed(fen, move).place & MARKS; };

    EXPECT_EQ(marks(START_FEN, "e2e4"), 0);
    EXPECT_EQ(marks("4k3/8/8/3p4/4P3/8/8/4K3 w - -", "e4d5"), RECORD_TACTICAL);
    EXPECT_EQ(marks("4k3/8/8/pP6/8/8/8/4K3 w - a6", "b5a6"), RECORD_TACTICAL) << "en passant";
    EXPECT_EQ(marks("8/P6k/8/8/8/8/8/4K3 w - -", "a7a8n"), RECORD_TACTICAL);
    EXPECT_EQ(marks("4k3/8/8/8/8/8/4r3/4K3 w - -", "e1f1"), RECORD_CHECK);
    EXPECT_EQ(marks("4k3/8/8/8/8/8/4r3/4K3 w - -", "e1e2"), MARKS);
}

TEST_F(TrainingRecord, CastlingOntoTheOwnRookIsQuiet) {
    Position& pos = set_up("4k3/8/8/8/8/8/8/5KR1 w K -");
    PlyRecord record;
    pack_ply(record, pos, make_plain_move(F1, G1) | FLAG_KING_SIDE, 0, 20);
    EXPECT_EQ(record.place & RECORD_TACTICAL, 0);
}

TEST_F(TrainingRecord, WhatIsNoPositionIsRefused) {
    const PlyRecord good = packed("4k3/8/8/8/8/8/P7/4K3 w - -", "e1d1");
    Position& pos = set_up(START_FEN);
    std::string before = everything(pos);
    auto refused = [&](auto change) {
        PlyRecord bad = good;
        change(bad);
        return !unpack_ply(pos, bad);
    };

    EXPECT_TRUE(refused([](PlyRecord& r) { r = {}; }));
    EXPECT_TRUE(refused([](PlyRecord& r) { r.units[0] = 0x11; })) << "no white king";
    EXPECT_TRUE(refused([](PlyRecord& r) { r.units[0] = 0x66; })) << "two of them";
    EXPECT_TRUE(refused([](PlyRecord& r) { r.units[0] = 0x06; })) << "an empty square";
    EXPECT_TRUE(refused([](PlyRecord& r) { r.units[0] = 0x76; })) << "a code of no piece";
    EXPECT_TRUE(refused([](PlyRecord& r) { r.occupied ^= bit(8) | bit(7); })) << "a pawn on h1";
    EXPECT_TRUE(refused([](PlyRecord& r) { r.occupied = 0x1FFFFFFFFULL; })) << "33 units";
    EXPECT_EQ(everything(pos), before);
    EXPECT_FALSE(refused([](PlyRecord&) {}));
}

TEST_F(TrainingRecord, SixteenPawnsAreTheMost) {
    EXPECT_TRUE(is_sound(packed("4k3/8/8/8/8/PPPPPPPP/PPPPPPPP/4K3 w - -", "e1d1")));
    EXPECT_FALSE(is_sound(packed("4k3/8/8/8/P7/PPPPPPPP/PPPPPPPP/4K3 w - -", "e1d1")));
}

TEST_F(TrainingRecord, FilterKeepsQuietPositions) {
    auto kept = [](int score, int place, int halfmoves) {
        PlyRecord record = {};
        record.score = static_cast<int16_t>(score);
        record.place = static_cast<uint16_t>(place);
        record.halfmoves = static_cast<uint8_t>(halfmoves);
        return judge_ply(record, PLY_FOR_ANY) == PLY_KEPT;
    };
    EXPECT_TRUE(kept(0, 16, 0));
    EXPECT_TRUE(kept(1500, 399, 60));
    EXPECT_TRUE(kept(-1500, 16 | RECORD_FIRST | 3 << RECORD_EP_SHIFT, 0));
    EXPECT_FALSE(kept(0, 15, 0));
    EXPECT_FALSE(kept(1501, 16, 0));
    EXPECT_FALSE(kept(-1501, 16, 0));
    EXPECT_FALSE(kept(0, 16, 61));
    EXPECT_FALSE(kept(0, 16 | RECORD_TACTICAL, 0));
    EXPECT_FALSE(kept(0, 16 | RECORD_CHECK, 0));
}

TEST_F(TrainingRecord, CheckFindsWhatDoesNotFit) {
    auto wrong = [](auto change) {
        Game game = short_game();
        change(game);
        const char* text = check(game);
        return std::string(text ? text : "");
    };
    EXPECT_EQ(wrong([](Game&) {}), "");
    EXPECT_EQ(wrong([](Game& g) { g.records[0].place ^= RECORD_FIRST; }),
              "the game has no first record");
    EXPECT_EQ(wrong([](Game& g) { g.records[2].place ^= RECORD_FIRST; }), "another game begins");
    EXPECT_EQ(wrong([](Game& g) { g.records[1].move ^= 3; }), "the move is not legal");
    EXPECT_EQ(wrong([](Game& g) { g.records[3].units[0] ^= 1; }), "it doesn't fit its game");
    EXPECT_EQ(wrong([](Game& g) { g.records[4].place++; }), "it doesn't fit its game");
    EXPECT_EQ(wrong([](Game& g) { g.records[4].halfmoves++; }), "it doesn't fit its game");
    EXPECT_EQ(wrong([](Game& g) { g.records[4].state ^= RECORD_BLACK; }),
              "it doesn't fit its game");
    EXPECT_EQ(wrong([](Game& g) { g.records[4].score = 10001; }), "the score is none");
    EXPECT_EQ(wrong([](Game& g) { g.records[3].state |= 3 << RECORD_RESULT_SHIFT; }),
              "the result is none");
    EXPECT_EQ(wrong([](Game& g) { g.records[4].state ^= 2 << RECORD_RESULT_SHIFT; }),
              "the result has changed");
    EXPECT_EQ(wrong([](Game& g) { g.records[1].state ^= RECORD_CHESS960; }),
              "the start has changed");
    EXPECT_EQ(wrong([](Game& g) { g.records[0].units[0] = 0; }), "it is no position");
}

TEST_F(TrainingRecord, CheckOfSinglePositionsFindsWhatDoesNotFit) {
    static constexpr char QUIET[] = "r3kb1r/pp3ppp/2n2n2/3p4/3P4/2N2N2/PP3PPP/R3KB1R w KQkq -";
    auto wrong = [](DataKind kind, auto change) {
        PlyRecord record = packed(QUIET, "a2a3", 12, 20);
        record.state |= NO_RESULT_KNOWN << RECORD_RESULT_SHIFT;
        change(record);
        const char* text = check_alone(record, kind);
        return std::string(text ? text : "");
    };
    auto give_result = [](PlyRecord& r) { r.state ^= 2 << RECORD_RESULT_SHIFT; };
    for (DataKind kind : {DATA_NEIGHBOURS, DATA_POSITIONS}) {
        EXPECT_EQ(wrong(kind, [](PlyRecord&) {}), "");
        EXPECT_EQ(wrong(kind, [](PlyRecord& r) { r.move = NULL_MOVE; }), "");
        EXPECT_EQ(wrong(kind, [](PlyRecord& r) { r.move ^= 3; }), "the move is not legal");
        EXPECT_EQ(wrong(kind, [](PlyRecord& r) { r.score = -10001; }), "the score is none");
        EXPECT_EQ(wrong(kind, [](PlyRecord& r) { r.units[0] = 0; }), "it is no position");
        EXPECT_EQ(wrong(kind, [](PlyRecord& r) { r.place |= RECORD_CHECK; }),
                  "it doesn't fit its position");
        EXPECT_EQ(wrong(kind, [](PlyRecord& r) { r.place |= RECORD_TACTICAL; }),
                  "it doesn't fit its position");
    }
    EXPECT_EQ(wrong(DATA_POSITIONS, give_result), "");
    EXPECT_EQ(wrong(DATA_POSITIONS, [](PlyRecord& r) { r.score = 1501; }), "");
    EXPECT_EQ(wrong(DATA_NEIGHBOURS, give_result), "a neighbour carries a result");
    EXPECT_EQ(wrong(DATA_NEIGHBOURS, [](PlyRecord& r) { r.score = 1501; }),
              "training would not use it");
    EXPECT_EQ(wrong(DATA_NEIGHBOURS, [](PlyRecord& r) { r.place |= RECORD_FIRST; }),
              "the result is none")
        << "a game's first record has one";
}

TEST_F(TrainingRecord, PositionWithoutAMoveIsNoneToLearnFrom) {
    PlyRecord record;
    pack_ply(record, set_up("7k/5Q2/6K1/8/8/8/8/8 b - -"), NULL_MOVE, 0, 20);
    EXPECT_STREQ(check_alone(record, DATA_POSITIONS), "there is no legal move");
}
