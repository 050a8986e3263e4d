// Making and unmaking moves, in the search and in a game.

#include <tuple>

#include "board/draw.h"
#include "board/legal.h"
#include "board/make.h"
#include "board_support.h"

namespace {

// Random games from both kinds of start, until `total` moves have been made. Every move that the
// generators write is made and unmade in every position.
void play_and_unmake(int total, uint64_t seed, bool check_each) {
    Random random = {seed};
    for (int made = 0, games = 0; made < total; games++) {
        Position& pos = set_up(games % 2 ? chess960_start(random).c_str() : START_FEN);
        for (int plies = 0; plies < 300 && made < total; plies++, made++) {
            Snapshot before = snapshot(pos);
            std::vector<Move> playable;
            for (const MoveEntry& entry : all_moves(pos)) {
                Move move = entry.move;
                if (legal_move(pos, pos.side, move) && !castling_exposes_king(pos, pos.side, move))
                    playable.push_back(move);
                make_move(pos, move);
                if (check_each) {
                    ASSERT_TRUE(consistent(pos)) << entry_name(entry);
                }
                unmake_move(pos);
                ASSERT_TRUE(unchanged(before, pos)) << entry_name(entry);
            }
            if (playable.empty()) break;

            uint64_t touched = pos.touched;
            make_game_move(pos, playable[next_random(random) % playable.size()]);
            ASSERT_TRUE(consistent(pos));
            ASSERT_EQ(pos.touched & touched, touched);
        }
    }
}

} // namespace

TEST(MakeMove, KeepsThePositionConsistentAndUnmakeRestoresEveryByte) {
    play_and_unmake(5000, 11, true);
}

TEST(MakeMoveLong, KeepsThePositionConsistentAndUnmakeRestoresEveryByte) {
    play_and_unmake(100000, 12, false);
}

TEST(MakeMove, WritesTheStateBeforeTheMoveIntoItsRecord) {
    Position& pos = set_up("r3k2r/8/8/8/4Pp2/8/8/R3K2R b KQkq e3");
    pos.halfmoves = 7;
    Snapshot old = snapshot(pos);

    make_move(pos, must_find(pos, "h8h1"));

    const SearchThread& thread = thread_of(pos);
    const UndoRecord& rec = thread.line.undo_stack[0];
    EXPECT_EQ(thread.line.undo_index, 1);
    EXPECT_EQ(thread.line.ply, 2);
    EXPECT_EQ(thread.line.last_move, plain("h8h1"));
    EXPECT_EQ(rec.move, plain("h8h1"));
    EXPECT_EQ(rec.key, old.position.key);
    EXPECT_EQ(rec.pawn_key, old.position.pawn_key);
    EXPECT_EQ(rec.captured, ROOK);
    EXPECT_EQ(rec.ep_square, sq("e3"));
    EXPECT_EQ(rec.touched, 0u);
    EXPECT_EQ(rec.halfmoves, 7);
    EXPECT_EQ(rec.castling, 15);
    EXPECT_EQ(fen_of(pos), "r3k3/8/8/8/4Pp2/8/8/R3K2r w Qq -");
    EXPECT_EQ(pos.halfmoves, 0);
    EXPECT_EQ(pos.touched, bit(H1) | bit(H8));
}

TEST(MakeMove, RecordsNoCapturedPieceForEnPassant) {
    Position& pos = set_up("4k3/8/8/3pP3/8/8/8/4K3 w - d6");
    make_move(pos, plain("e5d6"));
    EXPECT_EQ(pos.owner->undo_stack[0].captured, 0);
    EXPECT_EQ(pos.pieces[BLACK][PAWN], 0u);
    EXPECT_EQ(pos.pawn_key, zobrist[piece_code(WHITE, PAWN) * 64 + sq("d6")]);
}

TEST(UnmakeMove, RemembersTheMoveBefore) {
    Position& pos = set_up(START_FEN);
    make_move(pos, plain("e2e4"));
    make_move(pos, plain("e7e5"));

    unmake_move(pos);
    EXPECT_EQ(pos.owner->last_move, plain("e2e4"));
    unmake_move(pos);
    EXPECT_EQ(pos.owner->last_move, NULL_MOVE);
    EXPECT_EQ(pos.owner->undo_index, 0);
    EXPECT_EQ(pos.owner->ply, 1);
}

namespace {

struct MoveCase {
    const char* name; // becomes part of the test's name
    const char* fen;
    const char* move;
    const char* after;
};

void PrintTo(const MoveCase& c, std::ostream* out) { *out << c.name; }

class MadeMove : public testing::TestWithParam<MoveCase> {};

} // namespace

TEST_P(MadeMove, LeadsToThePositionAndBack) {
    const MoveCase& c = GetParam();
    Position& pos = set_up(c.fen);
    Snapshot old = snapshot(pos);
    Move move = must_find(pos, c.move);

    make_move(pos, move);

    EXPECT_EQ(fen_of(pos), c.after);
    EXPECT_TRUE(consistent(pos));
    unmake_move(pos);
    EXPECT_TRUE(unchanged(old, pos));
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Table, MadeMove, testing::Values(
    MoveCase{"Quiet", START_FEN, "g1f3", "rnbqkbnr/pppppppp/8/8/8/5N2/PPPPPPPP/RNBQKB1R b KQkq -"},
    MoveCase{"DoublePush", START_FEN, "e2e4", "rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3"},
    MoveCase{"BlackDoublePush", "4k3/3p4/8/8/8/8/8/4K3 b - -", "d7d5", "4k3/8/8/3p4/8/8/8/4K3 w - d6"},
    MoveCase{"Capture", "4k3/8/8/3q4/4P3/8/8/4K3 w - -", "e4d5", "4k3/8/8/3P4/8/8/8/4K3 b - -"},
    MoveCase{"CaptureOfAPawn", "4k3/8/8/3p4/8/4N3/8/4K3 w - -", "e3d5", "4k3/8/8/3N4/8/8/8/4K3 b - -"},
    MoveCase{"EnPassant", "4k3/8/8/3pP3/8/8/8/4K3 w - d6", "e5d6", "4k3/8/3P4/8/8/8/8/4K3 b - -"},
    MoveCase{"BlackEnPassant", "4k3/8/8/8/3pP3/8/8/4K3 b - e3", "d4e3", "4k3/8/8/8/8/4p3/8/4K3 w - -"},
    MoveCase{"QueenPromotion", "4k3/P7/8/8/8/8/8/4K3 w - -", "a7a8q", "Q3k3/8/8/8/8/8/8/4K3 b - -"},
    MoveCase{"CaptureToQueen", "1r2k3/P7/8/8/8/8/8/4K3 w - -", "a7b8q", "1Q2k3/8/8/8/8/8/8/4K3 b - -"},
    MoveCase{"CaptureToKnight", "1r2k3/P7/8/8/8/8/8/4K3 w - -", "a7b8n", "1N2k3/8/8/8/8/8/8/4K3 b - -"},
    MoveCase{"CaptureToBishop", "1r2k3/P7/8/8/8/8/8/4K3 w - -", "a7b8b", "1B2k3/8/8/8/8/8/8/4K3 b - -"},
    MoveCase{"CaptureToRook", "1r2k3/P7/8/8/8/8/8/4K3 w - -", "a7b8r", "1R2k3/8/8/8/8/8/8/4K3 b - -"},
    MoveCase{"BlackCaptureToRook", "4k3/8/8/8/8/8/6p1/4K2R b K -", "g2h1r", "4k3/8/8/8/8/8/8/4K2r w - -"},
    MoveCase{"KingMove", "4k3/8/8/8/8/8/8/R3K2R w KQ -", "e1e2", "4k3/8/8/8/8/8/4K3/R6R b - -"},
    MoveCase{"KingTakes", "4k3/8/8/8/8/8/4r3/4K3 w - -", "e1e2", "4k3/8/8/8/8/8/4K3/8 b - -"},
    MoveCase{"KingSideCastling", "4k3/8/8/8/8/8/8/R3K2R w KQ -", "e1g1", "4k3/8/8/8/8/8/8/R4RK1 b - -"},
    MoveCase{"QueenSideCastling", "4k3/8/8/8/8/8/8/R3K2R w KQ -", "e1c1", "4k3/8/8/8/8/8/8/2KR3R b - -"},
    MoveCase{"BlackKingSideCastling", "r3k2r/8/8/8/8/8/8/4K3 b kq -", "e8g8", "r4rk1/8/8/8/8/8/8/4K3 w - -"},
    MoveCase{"BlackQueenSideCastling", "r3k2r/8/8/8/8/8/8/4K3 b kq -", "e8c8", "2kr3r/8/8/8/8/8/8/4K3 w - -"},
    MoveCase{"CastlingOfOneSideOnly", "r3k2r/8/8/8/8/8/8/R3K2R w KQkq -", "e1c1", "r3k2r/8/8/8/8/8/8/2KR3R b kq -"},
    MoveCase{"RookTakesRook", "r3k2r/8/8/8/8/8/8/R3K2R w KQkq -", "a1a8", "R3k2r/8/8/8/8/8/8/4K2R b Kk -"}),
    [](const auto& test) { return test.param.name; });
// clang-format on

TEST(MakeMove, EnPassantTakesInTheCornersToo) {
    // Pawns where no game brings them. Nothing but the board's edge bounds what is taken.
    for (auto [fen, move, after] :
         {std::tuple{"4k3/8/8/8/8/8/8/pP2K3 w - a2", "b1a2", "4k3/8/8/8/8/8/P7/4K3 b - -"},
          std::tuple{"1k4pP/8/8/8/8/8/8/4K3 b - h7", "g8h7", "1k6/7p/8/8/8/8/8/4K3 w - -"}}) {
        Position& pos = set_up(fen);
        Snapshot old = snapshot(pos);
        make_move(pos, plain(move));
        EXPECT_EQ(fen_of(pos), after);
        EXPECT_TRUE(consistent(pos));
        unmake_move(pos);
        EXPECT_TRUE(unchanged(old, pos));
    }
}

TEST(MakeMove, NothingIsTakenEnPassantBeyondTheBoard) {
    // A pawn that goes backwards to the edge, which no generator writes.
    for (auto [fen, move, after] :
         {std::tuple{"4k3/8/8/8/8/8/P7/4K3 w - a1", "a2a1", "4k3/8/8/8/8/8/8/Q3K3 b - -"},
          std::tuple{"4k3/7p/8/8/8/8/8/4K3 b - h8", "h7h8", "4k2q/8/8/8/8/8/8/4K3 w - -"}}) {
        Position& pos = set_up(fen);
        Snapshot old = snapshot(pos);
        make_move(pos, plain(move));
        EXPECT_EQ(fen_of(pos), after);
        EXPECT_TRUE(consistent(pos));
        unmake_move(pos);
        EXPECT_TRUE(unchanged(old, pos));
    }
}

TEST(MakeMove, APawnThatArrivesWithoutAFlagBecomesAQueen) {
    Position& pos = set_up("1r2k3/P7/8/8/8/8/8/4K3 w - -");
    Snapshot old = snapshot(pos);
    for (const char* move : {"a7a8", "a7b8"}) {
        make_move(pos, plain(move));
        EXPECT_EQ(pos.pieces[WHITE][QUEEN], bit(sq(move + 2)));
        EXPECT_EQ(pos.pieces[WHITE][PAWN], 0u);
        EXPECT_TRUE(consistent(pos));
        unmake_move(pos);
        EXPECT_TRUE(unchanged(old, pos));
    }
}

TEST(MakeMove, ADoublePushSetsTheEnPassantSquareWithoutAnyEnemyPawn) {
    Position& pos = set_up("4k3/8/8/8/8/8/4P3/4K3 w - -");
    make_move(pos, plain("e2e4"));
    EXPECT_EQ(pos.ep_square, sq("e3"));
    uint64_t key = pos.key;

    EXPECT_NE(set_up("4k3/8/8/8/4P3/8/8/4K3 b - -").key, key);
    EXPECT_EQ(set_up("4k3/8/8/8/4P3/8/8/4K3 b - e3").key, key);
}

TEST(MakeMove, TheEnPassantSquareLastsOneMove) {
    Position& pos = set_up("4k3/8/8/8/8/8/4P3/4K3 w - -");
    play(pos, "e2e4 e8e7");
    EXPECT_EQ(pos.ep_square, NO_SQUARE);
    EXPECT_EQ(pos.key, set_up("8/4k3/8/8/4P3/8/8/4K3 w - -").key);
}

TEST(MakeMove, CountsHalfmovesSinceTheLastIrreversibleMove) {
    Position& pos = set_up("r3k2r/7p/8/8/8/8/8/R3K2R w KQkq -");
    play(pos, "a1b1 a8b8");
    EXPECT_EQ(pos.halfmoves, 2);
    play(pos, "e1g1");
    EXPECT_EQ(pos.halfmoves, 0) << "castling";
    play(pos, "b8a8 g1g2 h7h6");
    EXPECT_EQ(pos.halfmoves, 0) << "pawn move";
    play(pos, "b1b8");
    EXPECT_EQ(pos.halfmoves, 1);
    play(pos, "a8b8");
    EXPECT_EQ(pos.halfmoves, 0) << "capture";
}

TEST(MakeMove, StopsTheHalfmoveCountAtItsLargestValue) {
    Position& pos = set_up("4k3/8/8/8/8/8/8/4K2R w - -");
    pos.halfmoves = 255;
    Snapshot old = snapshot(pos);
    make_move(pos, plain("h1h2"));
    EXPECT_EQ(pos.halfmoves, 255);
    unmake_move(pos);
    EXPECT_TRUE(unchanged(old, pos));
}

TEST(MakeMove, AlwaysShowsTheSideInBit32OfTheKey) {
    Random random = {13};
    Position& pos = set_up(START_FEN);
    for (int ply = 0; ply < 200; ply++) {
        ASSERT_EQ(pos.key >> 32 & 1, static_cast<uint64_t>(ply & 1));
        if (play_random(pos, random, 1) == 0) break;
    }
}

TEST(LikelyKeyAfter, IsTheKeyAfterAnOrdinaryMove) {
    Random random = {20};
    for (int round = 0; round < 300; round++) {
        Position& pos = set_up_random(random, false);
        for (const MoveEntry& entry : all_moves(pos)) {
            uint64_t likely = likely_key_after(pos, entry);
            int castling = pos.castling, from = move_from(entry.move), to = move_to(entry.move);
            bool double_push = type_of(entry.mover) == PAWN && std::abs(from - to) == 16;
            bool ep = is_ep_square(pos, type_of(entry.mover), to);
            make_move(pos, entry.move);
            bool ordinary =
                !(entry.move & FLAG_MASK) && !double_push && !ep && castling == pos.castling;
            if (ordinary) {
                EXPECT_EQ(likely, pos.key) << entry_name(entry);
            }
            unmake_move(pos);
        }
    }
}

TEST(NullMove, PassesTheMoveAndBack) {
    Position& pos = set_up("r3k2r/8/8/8/4Pp2/8/8/R3K2R b KQkq e3");
    make_move(pos, plain("a8b8"));
    unmake_move(pos);
    pos.halfmoves = 12;
    Snapshot old = snapshot(pos);

    make_null_move(pos);

    const SearchThread& thread = thread_of(pos);
    EXPECT_EQ(fen_of(pos), "r3k2r/8/8/8/4Pp2/8/8/R3K2R w KQkq -");
    EXPECT_TRUE(consistent(pos));
    EXPECT_EQ(pos.halfmoves, 12) << "the count does not move";
    EXPECT_EQ(pos.touched, 0u);
    EXPECT_EQ(thread.line.ply, 2);
    EXPECT_EQ(thread.line.undo_index, 1);
    EXPECT_EQ(thread.line.last_move, NULL_MOVE);
    EXPECT_EQ(thread.line.undo_stack[0].move, NULL_MOVE);
    EXPECT_EQ(thread.line.undo_stack[0].captured, 0);
    EXPECT_EQ(thread.line.undo_stack[0].ep_square, sq("e3"));
    EXPECT_EQ(thread.line.undo_stack[0].halfmoves, 12);
    EXPECT_EQ(thread.line.undo_stack[0].key, old.position.key);

    unmake_null_move(pos);
    EXPECT_TRUE(unchanged(old, pos));
}

TEST(NullMove, RestoresEveryByteInRandomPositions) {
    Random random = {14};
    for (int round = 0; round < 500; round++) {
        Position& pos = set_up_random(random, round % 2 != 0);
        Snapshot old = snapshot(pos);
        make_null_move(pos);
        ASSERT_TRUE(consistent(pos));
        ASSERT_EQ(pos.side, old.position.side ^ 1);
        unmake_null_move(pos);
        ASSERT_TRUE(unchanged(old, pos));
    }
}

namespace {

bool takes_king(const MoveEntry& entry) { return type_of(entry.victim) == KING; }

// Makes and unmakes every move of a position that is none of chess, to a depth of `depth`.
void expect_undone(Position& pos, int depth) {
    Snapshot old = snapshot(pos);
    for (const MoveEntry& entry : all_moves(pos)) {
        if (takes_king(entry) || !legal_move(pos, pos.side, entry.move)) continue;
        make_move(pos, entry.move);
        ASSERT_TRUE(consistent(pos, true)) << entry_name(entry) << " in " << fen_of(old.position);
        if (depth > 1) expect_undone(pos, depth - 1);
        unmake_move(pos);
        ASSERT_TRUE(unchanged(old, pos)) << entry_name(entry);
    }
}

} // namespace

TEST(OddPositions, AreUndoneWhereverTheEnPassantSquareLies) {
    for (const char* placement :
         {"4k3/pppppppp/8/3pP3/3Pp3/8/PPPPPPPP/4K3", "4k3/PpPpPpPp/8/8/8/8/pPpPpPpP/4K3",
          "PpP1k3/1P1p4/3P4/3p4/3P4/3p4/1p1P4/pPp1K3", "r3k2r/8/2pPp3/2PpP3/2pPp3/2PpP3/8/R3K2R"})
        for (const char* side : {"w", "b"})
            for (int square = 0; square < SQUARES; square++) {
                std::string fen = std::string(placement) + " " + side + " KQkq ";
                expect_undone(set_up((fen + SQUARE_NAMES[square]).c_str()), 2);
                if (HasFatalFailure()) return;
            }
}

TEST(OddPositions, OfRandomPiecesAreUndone) {
    Random random = {15};
    const char letters[] = "PPNBRQpppnbrqq11111222233kK";
    for (int round = 0; round < 400; round++) {
        std::string fen;
        for (int rank = 0; rank < 8; rank++) {
            for (int i = 0; i < 6; i++)
                fen += letters[random_below(random, static_cast<int>(sizeof letters) - 1)];
            fen += rank < 7 ? "/" : " ";
        }
        fen += random_below(random, 2) ? "w KQkq " : "b KQkq ";
        fen += SQUARE_NAMES[random_below(random, 65)];
        expect_undone(set_up(fen.c_str()), round % 10 == 0 ? 2 : 1);
        if (HasFatalFailure()) return;
    }
}

TEST(OddPositions, WithoutKingsHaveLegalMoves) {
    Position& pos = set_up("8/8/8/8/8/8/P7/7r w - -");
    EXPECT_EQ(legal_moves(pos).size(), 2u);
    expect_undone(pos, 3);
}

TEST(MakeGameMove, PlaysGamesOfAnyLength) {
    Position& pos = set_up("8/5k2/8/p1p1p1p1/P1P1P1P1/8/2K5/8 w - -");
    Random random = {18};
    std::vector<uint64_t> keys;
    std::vector<std::string> fens;
    int drawn = 0, fresh = 0;
    for (int played = 0; played < 2000; played++) {
        auto whole = std::count(keys.begin(), keys.end(), pos.key);
        auto recent = std::count(keys.end() - std::min<ptrdiff_t>(200, std::ssize(keys)),
                                 keys.end(), pos.key);
        if (whole < 2) {
            ASSERT_EQ(is_draw(pos, 0), 0) << played;
            fresh++;
        } else if (recent >= 2) {
            ASSERT_EQ(is_draw(pos, 0), 1) << played;
            drawn++;
        }
        keys.push_back(pos.key);
        fens.push_back(fen_of(pos));
        std::vector<Move> moves = legal_moves(pos);
        ASSERT_FALSE(moves.empty());
        make_game_move(pos, moves[next_random(random) % moves.size()]);
        ASSERT_TRUE(consistent(pos));
        ASSERT_LE(pos.owner->undo_index, UNDO_GAME);
        ASSERT_EQ(pos.owner->ply, 1);
    }
    EXPECT_GT(drawn, 20) << "the game should come back to old positions";
    EXPECT_GT(fresh, 200);

    // The latest moves can still be taken back.
    for (int back = 0; back < 400; back++) {
        unmake_move(pos);
        ASSERT_EQ(fen_of(pos), fens.back());
        fens.pop_back();
    }
    set_up(START_FEN);
}

TEST(MakeGameMove, ForgetsTheOldestRecordsWhenTheStackIsFull) {
    Position& pos = set_up(START_FEN);
    const char* shuffle[] = {"g1f3", "g8f6", "f3g1", "f6g8"};
    for (int played = 0; played < UNDO_GAME; played++)
        make_game_move(pos, plain(shuffle[played % 4]));
    EXPECT_EQ(pos.owner->undo_index, UNDO_GAME);

    make_game_move(pos, plain(shuffle[UNDO_GAME % 4]));
    EXPECT_EQ(pos.owner->undo_index, UNDO_GAME - 400 + 1);
    EXPECT_EQ(is_draw(pos, 0), 1);
    unmake_move(pos);
    EXPECT_EQ(fen_of(pos), START_FEN);
    set_up(START_FEN);
}
