// Making and unmaking moves, legality, attacks, draws and the classes of moves.

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "board/make.h"
#include "board/see.h"
#include "board_support.h"

namespace {

// What make and unmake must leave as it was.
struct Snapshot {
    Position position;
    int16_t undo_index, ply;
    Move last_move;
};

Snapshot snapshot(const Position& pos) {
    const SearchThread& thread = thread_of(pos);
    return {pos, thread.line.undo_index, thread.line.ply, thread.line.last_move};
}

// Compares byte by byte.
testing::AssertionResult unchanged(const Snapshot& old, const Position& pos) {
    const SearchThread& thread = thread_of(pos);
    if (memcmp(static_cast<const void*>(&old.position), static_cast<const void*>(&pos), sizeof pos))
        return testing::AssertionFailure() << "position " << fen_of(old.position);
    if (old.undo_index != thread.line.undo_index || old.ply != thread.line.ply
        || old.last_move != thread.line.last_move)
        return testing::AssertionFailure() << "counters of " << fen_of(old.position);
    return testing::AssertionSuccess();
}

// A move of the position by its text; castling as the king's step.
Move must_find(Position& pos, const char* text) {
    Move move = find_move(pos, text);
    EXPECT_NE(move, NULL_MOVE) << text << " in " << fen_of(pos);
    return move;
}

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

namespace {

struct CastlingCase {
    const char* name; // becomes part of the test's name
    const char* fen;
    Move flag;
    const char* after;
};

void PrintTo(const CastlingCase& c, std::ostream* out) { *out << c.name; }

class Chess960Castling : public testing::TestWithParam<CastlingCase> {};

} // namespace

TEST_P(Chess960Castling, PutsKingAndRookInTheirPlacesAndBack) {
    const CastlingCase& c = GetParam();
    Position& pos = set_up(c.fen);
    Snapshot old = snapshot(pos);
    Move castling = NULL_MOVE;
    for (Move move : legal_moves(pos))
        if ((move & FLAG_MASK) == c.flag) castling = move;
    ASSERT_NE(castling, NULL_MOVE);
    pos.halfmoves = old.position.halfmoves = 9;

    make_move(pos, castling);

    EXPECT_EQ(fen_of(pos), c.after);
    EXPECT_TRUE(consistent(pos));
    EXPECT_EQ(pos.halfmoves, 0) << "castling counts as irreversible";
    EXPECT_EQ(pos.owner->undo_stack[0].captured, 0);
    unmake_move(pos);
    EXPECT_TRUE(unchanged(old, pos));
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Table, Chess960Castling, testing::Values(
    CastlingCase{"TradePlacesKingSide", "4k3/8/8/8/8/8/8/5KR1 w K -", FLAG_KING_SIDE, "4k3/8/8/8/8/8/8/5RK1 b - -"},
    CastlingCase{"TradePlacesQueenSide", "4k3/8/8/8/8/8/8/2RK4 w Q -", FLAG_QUEEN_SIDE, "4k3/8/8/8/8/8/8/2KR4 b - -"},
    CastlingCase{"OnlyTheRookMoves", "4k3/8/8/8/8/8/8/6KR w K -", FLAG_KING_SIDE, "4k3/8/8/8/8/8/8/5RK1 b - -"},
    CastlingCase{"OnlyTheRookMovesOnC1", "4k3/8/8/8/8/8/8/R1K5 w Q -", FLAG_QUEEN_SIDE, "4k3/8/8/8/8/8/8/2KR4 b - -"},
    CastlingCase{"OnlyTheKingMoves", "4k3/8/8/8/8/8/8/3RK3 w Q -", FLAG_QUEEN_SIDE, "4k3/8/8/8/8/8/8/2KR4 b - -"},
    CastlingCase{"KingGoesBackwards", "4k3/8/8/8/8/8/8/RK4R1 w KQ -", FLAG_QUEEN_SIDE, "4k3/8/8/8/8/8/8/2KR2R1 b - -"},
    CastlingCase{"KingGoesFar", "4k3/8/8/8/8/8/8/RK4R1 w KQ -", FLAG_KING_SIDE, "4k3/8/8/8/8/8/8/R4RK1 b - -"},
    CastlingCase{"KingOntoTheRooksSquare", "4k3/8/8/8/8/8/8/4K1R1 w K -", FLAG_KING_SIDE, "4k3/8/8/8/8/8/8/5RK1 b - -"},
    CastlingCase{"RookOntoTheKingsSquare", "4k3/8/8/8/8/8/8/5K1R w K -", FLAG_KING_SIDE, "4k3/8/8/8/8/8/8/5RK1 b - -"},
    CastlingCase{"Black", "1rk3r1/8/8/8/8/8/8/4K3 b kq -", FLAG_QUEEN_SIDE, "2kr2r1/8/8/8/8/8/8/4K3 w - -"},
    CastlingCase{"BlackTradePlaces", "5kr1/8/8/8/8/8/8/4K3 b k -", FLAG_KING_SIDE, "5rk1/8/8/8/8/8/8/4K3 w - -"}),
    [](const auto& test) { return test.param.name; });
// clang-format on

TEST(MakeMove, StoresCastlingWithTheKingsOwnTarget) {
    Position& pos = set_up("4k3/8/8/8/8/8/8/R3K2R w KQ -");
    Snapshot old = snapshot(pos);

    make_move(pos, static_cast<Move>(plain("e1h1") | FLAG_KING_SIDE)); // king takes rook

    Move stored = static_cast<Move>(plain("e1g1") | FLAG_KING_SIDE);
    EXPECT_EQ(fen_of(pos), "4k3/8/8/8/8/8/8/R4RK1 b - -");
    EXPECT_EQ(pos.owner->last_move, stored);
    EXPECT_EQ(pos.owner->undo_stack[0].move, stored);
    EXPECT_EQ(pos.touched, bit(E1) | bit(G1));
    unmake_move(pos);
    EXPECT_TRUE(unchanged(old, pos));
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

TEST(MakeMove, ARookThatLeavesItsCornerEndsTheRightForGood) {
    Position& pos = set_up("r3k2r/8/8/8/8/8/8/R3K2R w KQkq -");
    play(pos, "h1h2");
    EXPECT_EQ(pos.castling, 14);
    uint64_t touched = pos.touched;
    play(pos, "a8a7 h2h1 a7a8");
    EXPECT_EQ(pos.castling, 2 + 4) << "coming back helps neither side";
    EXPECT_EQ(pos.touched & touched, touched);
    EXPECT_EQ(find_move(pos, "e1g1"), NULL_MOVE);
    EXPECT_NE(find_move(pos, "e1c1"), NULL_MOVE);
}

TEST(MakeMove, ACapturedRookEndsTheRight) {
    Position& pos = set_up("r3k2r/8/8/8/8/6n1/8/R3K2R b KQkq -");
    make_move(pos, must_find(pos, "g3h1"));
    EXPECT_EQ(pos.castling, 14);
    EXPECT_EQ(pos.castle_rook[0], H1) << "what belongs to a dead right stays filled";
    EXPECT_EQ(pos.castle_mask[0], bit(E1) | bit(H1));
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

TEST(LegalMove, ForbidsCastlingOutOfThroughAndIntoCheck) {
    auto castling = [](const char* fen, const char* move) {
        Position& pos = set_up(fen);
        Move flag = move[2] == 'g' ? FLAG_KING_SIDE : FLAG_QUEEN_SIDE;
        return legal_move(pos, pos.side, static_cast<Move>(plain(move) | flag));
    };
    EXPECT_EQ(castling("4k3/8/8/8/8/8/8/R3K2R w KQ -", "e1g1"), 1);
    EXPECT_EQ(castling("4r1k1/8/8/8/8/8/8/R3K2R w KQ -", "e1g1"), 0) << "out of check";
    EXPECT_EQ(castling("4r1k1/8/8/8/8/8/8/R3K2R w KQ -", "e1c1"), 0);
    EXPECT_EQ(castling("5rk1/8/8/8/8/8/8/R3K2R w KQ -", "e1g1"), 0) << "through check";
    EXPECT_EQ(castling("5rk1/8/8/8/8/8/8/R3K2R w KQ -", "e1c1"), 1);
    EXPECT_EQ(castling("4k1r1/8/8/8/8/8/8/R3K2R w KQ -", "e1g1"), 0) << "into check";
    EXPECT_EQ(castling("1r2k3/8/8/8/8/8/8/R3K2R w KQ -", "e1c1"), 1) << "b1 is the rook's affair";
    EXPECT_EQ(castling("4k2r/8/8/8/8/8/8/R3K2R w KQ -", "e1g1"), 1)
        << "an attacked rook may castle";
    EXPECT_EQ(castling("4k3/8/8/8/8/8/6p1/R3K2R w KQ -", "e1g1"), 0) << "pawns attack too";
    EXPECT_EQ(castling("4k3/8/8/8/8/8/1k6/R3K2R w KQ -", "e1c1"), 0) << "kings as well";
}

TEST(LegalMove, TestsTheKingsPathInChess960) {
    auto legal = [](const char* fen, Move move) { return legal_move(set_up(fen), WHITE, move); };
    Move far = static_cast<Move>(plain("b1g1") | FLAG_KING_SIDE);
    EXPECT_EQ(legal("4k3/8/8/8/8/8/8/RK4R1 w KQ -", far), 1);
    EXPECT_EQ(legal("3rk3/8/8/8/8/8/8/RK4R1 w KQ -", far), 0);
    Move stay = static_cast<Move>(plain("g1g1") | FLAG_KING_SIDE);
    EXPECT_EQ(legal("4k3/8/8/8/8/8/8/6KR w K -", stay), 1);
    EXPECT_EQ(legal("4k1r1/8/8/8/8/8/8/6KR w K -", stay), 0);
    EXPECT_EQ(legal("4kr2/8/8/8/8/8/8/6KR w K -", stay), 1) << "the rook may cross";
}

TEST(CastlingExposesKing, WhenTheRookLeavesALineToIt) {
    // The rook on b1 shields the king on c1 from the rook on a1, and castling takes it away.
    Position& pos = set_up("4k3/8/8/8/8/8/8/rRK5 w B -");
    Move castling = static_cast<Move>(plain("c1c1") | FLAG_QUEEN_SIDE);

    EXPECT_EQ(legal_move(pos, WHITE, castling), 1) << "the king's path alone is looked at";
    EXPECT_EQ(castling_exposes_king(pos, WHITE, castling), 1);
    EXPECT_EQ(castling_exposes_king(pos, WHITE, plain("c1c2")), 0) << "not castling";

    set_up("4k3/8/8/8/8/8/8/nRK5 w B -");
    EXPECT_EQ(castling_exposes_king(game(), WHITE, castling), 0);
}

TEST(CastlingExposesKing, NeverInNormalChess) {
    Position& pos = set_up("r3k2r/8/8/8/8/8/8/R3K2R w KQkq -");
    for (Move move : legal_moves(pos)) EXPECT_EQ(castling_exposes_king(pos, WHITE, move), 0);
}

TEST(SquareAttacked, EqualsTheSearchForAnAttacker) {
    Random random = {17};
    for (int round = 0; round < 500; round++) {
        Position& pos = set_up_random(random, false);
        for (int square = 0; square < SQUARES; square++)
            for (int side : {WHITE, BLACK})
                ASSERT_EQ(square_attacked(pos, square, side) != 0,
                          least_attacker(pos, square, side, occupied(pos)) != NO_SQUARE)
                    << SQUARE_NAMES[square] << " in " << fen_of(pos);
    }
}

TEST(SquareAttacked, ByEachKindOfPiece) {
    Position& pos = set_up("7k/8/8/8/3P4/8/8/K7 w - -");
    EXPECT_TRUE(square_attacked(pos, sq("c5"), WHITE));
    EXPECT_TRUE(square_attacked(pos, sq("e5"), WHITE));
    EXPECT_FALSE(square_attacked(pos, sq("d5"), WHITE));
    EXPECT_FALSE(square_attacked(pos, sq("c3"), WHITE)) << "not backwards";
    EXPECT_TRUE(square_attacked(pos, sq("b2"), WHITE)) << "king";
    EXPECT_TRUE(square_attacked(pos, sq("g7"), BLACK));
    set_up("7k/8/8/2pR4/8/8/1N6/K6b w - -");
    EXPECT_TRUE(square_attacked(pos, sq("c5"), WHITE)) << "rook, on an occupied square";
    EXPECT_FALSE(square_attacked(pos, sq("b5"), WHITE)) << "behind the pawn";
    EXPECT_TRUE(square_attacked(pos, sq("d1"), WHITE)) << "knight";
    EXPECT_TRUE(square_attacked(pos, sq("d5"), BLACK)) << "bishop";
    EXPECT_FALSE(square_attacked(pos, sq("c6"), BLACK)) << "behind the rook";
}

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

TEST(MakeGameMove, PlaysGamesOfAnyLength) {
    Position& pos = set_up("8/5k2/8/p1p1p1p1/P1P1P1P1/8/2K5/8 w - -");
    Random random = {18};
    std::vector<uint64_t> keys;
    std::vector<std::string> fens;
    int drawn = 0, fresh = 0;
    for (int played = 0; played < 2000; played++) {
        long whole = std::count(keys.begin(), keys.end(), pos.key);
        long recent = std::count(keys.end() - std::min<long>(200, static_cast<long>(keys.size())),
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

namespace {

struct ClassCase {
    const char* name; // becomes part of the test's name
    const char* fen;
    const char* move;
    int expected;
};

void PrintTo(const ClassCase& c, std::ostream* out) { *out << c.name; }

class ClassifyMove : public testing::TestWithParam<ClassCase> {};

} // namespace

TEST_P(ClassifyMove, AddsUpWhatTheMoveIs) {
    const ClassCase& c = GetParam();
    Position& pos = set_up(c.fen);
    Move wanted = must_find(pos, c.move);
    Snapshot old = snapshot(pos);
    for (const MoveEntry& entry : all_moves(pos)) {
        if (entry.move != wanted) continue;
        EXPECT_EQ(classify_move(pos, pos.side, entry), c.expected);
        EXPECT_EQ(gives_check(pos, pos.side, entry.move, type_of(entry.mover)),
                  (c.expected & CLASS_CHECK) != 0);
    }
    EXPECT_TRUE(unchanged(old, pos));
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Table, ClassifyMove, testing::Values(
    //        name                       position                            move     class
    ClassCase{"Quiet",                   START_FEN,                          "g1f3",  0},
    ClassCase{"QuietPawn",               START_FEN,                          "e2e4",  0},
    ClassCase{"Capture",                 "4k3/8/8/3p4/8/4N3/8/4K3 w - -",    "e3d5",  1},
    ClassCase{"EnPassant",               "7k/2p5/8/3pP3/8/8/8/4K3 w - d6",   "e5d6",  1},
    ClassCase{"DirectCheck",             "4k3/8/8/8/8/8/8/K6R w - -",        "h1h8",  2},
    ClassCase{"KnightCheck",             "4k3/8/8/8/4N3/8/8/K7 w - -",       "e4f6",  2},
    ClassCase{"BishopCheck",             "4k3/8/8/8/8/8/8/K4B2 w - -",       "f1b5",  2},
    ClassCase{"QueenCheck",              "4k3/8/8/8/8/8/8/K4Q2 w - -",       "f1b5",  2},
    ClassCase{"PawnCheck",               "8/8/8/4k3/8/8/3P4/K7 w - -",       "d2d4",  2},
    ClassCase{"DiscoveredCheck",         "4k3/8/8/8/4N3/8/8/K3R3 w - -",     "e4c5",  2},
    ClassCase{"DiscoveredByTheKing",     "4k3/8/8/8/4K3/8/8/4R3 w - -",      "e4d4",  2},
    ClassCase{"CaptureWithCheck",        "4k2r/8/8/8/8/8/8/K6R w - -",       "h1h8",  3},
    ClassCase{"NoCheckBehindAPiece",     "4k1nr/8/8/8/8/8/8/K6R w - -",      "h1h8",  1},
    ClassCase{"CastlingCheckIsNotSeen",  "5k2/8/8/8/8/8/8/4K2R w K -",       "e1g1",  0},
    ClassCase{"QueenPromotion",          "8/P7/8/8/8/7k/8/K7 w - -",         "a7a8q", 48},
    ClassCase{"QueenPromotionWithCheck", "4k3/P7/8/8/8/8/8/K7 w - -",        "a7a8q", 50},
    ClassCase{"QueenPromotionTaking",    "1n6/P7/8/8/8/7k/8/K7 w - -",       "a7b8q", 49},
    ClassCase{"UnderPromotion",          "4k3/P7/8/8/8/8/8/K7 w - -",        "a7a8n", 32},
    ClassCase{"UnderPromotionWithCheck", "8/P1k5/8/8/8/8/8/K7 w - -",        "a7a8n", 34},
    ClassCase{"UnderPromotionTaking",    "1n6/P7/8/8/8/7k/8/K7 w - -",       "a7b8b", 33},
    ClassCase{"ToTheSeventh",            "7k/8/P7/8/8/8/8/K7 w - -",         "a6a7",  40},
    ClassCase{"ToTheSeventhTaking",      "7k/1n6/P7/8/8/8/8/K7 w - -",       "a6b7",  41},
    ClassCase{"ToTheSeventhWithCheck",   "2k5/8/P2P4/8/8/8/8/K7 w - -",      "d6d7",  42},
    ClassCase{"PasserToTheSixth",        "7k/8/8/P7/8/8/8/K7 w - -",         "a5a6",  32},
    ClassCase{"PasserTakingOnTheSixth",  "7k/8/1n6/P7/8/8/8/K7 w - -",       "a5b6",  33},
    ClassCase{"SixthStopped",            "7k/n7/8/P7/8/8/8/K7 w - -",        "a5a6",  0},
    ClassCase{"SixthNoPasser",           "7k/1p6/8/P7/8/8/8/K7 w - -",       "a5a6",  0},
    ClassCase{"SixthWithPawnsFarAway",   "7k/2p5/8/P7/8/8/8/K7 w - -",       "a5a6",  32},
    ClassCase{"ToTheFifth",              "7k/8/8/8/P7/8/8/K7 w - -",         "a4a5",  0},
    ClassCase{"BlackToTheSeventh",       "7k/8/8/8/8/p7/8/2K5 b - -",        "a3a2",  40},
    ClassCase{"BlackPasserToTheSixth",   "7k/8/8/8/p7/8/8/2K5 b - -",        "a4a3",  32},
    ClassCase{"BlackSixthNoPasser",      "7k/8/8/8/p7/8/1P6/2K5 b - -",      "a4a3",  0},
    ClassCase{"BlackQueenPromotion",     "7k/8/8/7K/8/8/p7/8 b - -",         "a2a1q", 48},
    ClassCase{"BlackUnderPromotion",     "7k/8/8/7K/8/8/p7/8 b - -",         "a2a1r", 32}),
    [](const auto& test) { return test.param.name; });
// clang-format on

TEST(GivesCheck, EqualsMakingTheMoveAndLooking) {
    Random random = {19};
    for (int round = 0; round < 1500; round++) {
        Position& pos = set_up_random(random, false);
        int side = pos.side;
        for (const MoveEntry& entry : all_moves(pos)) {
            int type = type_of(entry.mover);
            // A check by the castling rook, or through the pawn taken en passant, is not seen.
            if (type == KING && (entry.move & FLAG_MASK)) continue;
            if (is_ep_square(pos, type, move_to(entry.move))) continue;
            if (!legal_move(pos, side, entry.move)) continue;
            bool check = gives_check(pos, side, entry.move, type);
            make_move(pos, entry.move);
            bool attacked = square_attacked(pos, pos.king_square[side ^ 1], side) != 0;
            unmake_move(pos);
            ASSERT_EQ(check, attacked) << entry_name(entry) << " in " << fen_of(pos);
        }
    }
}

TEST(PinnedPieces, ToTheKingByAnySlider) {
    EXPECT_EQ(pinned_pieces(set_up("k3r3/8/8/8/4N3/8/8/4K3 w - -"), WHITE), squares("e4"));
    EXPECT_EQ(pinned_pieces(set_up("k3q3/8/8/8/4P3/8/8/4K3 w - -"), WHITE), squares("e4"));
    EXPECT_EQ(pinned_pieces(set_up("k7/8/8/8/1b6/2R5/8/4K3 w - -"), WHITE), squares("c3"));
    EXPECT_EQ(pinned_pieces(set_up("k7/8/8/8/1q6/2R5/8/4K3 b - -"), WHITE), squares("c3"))
        << "whoever is to move";
    EXPECT_EQ(pinned_pieces(set_up("k3r3/8/8/8/1b5q/2R3N1/4B3/4K3 w - -"), WHITE),
              squares("c3 g3 e2"));
    EXPECT_EQ(pinned_pieces(set_up("4k3/4n3/8/8/8/8/8/K3R3 w - -"), BLACK), squares("e7"));
}

TEST(PinnedPieces, OnlyALoneBlockerOfTheOwnColour) {
    EXPECT_EQ(pinned_pieces(set_up("k3r3/8/8/4P3/4N3/8/8/4K3 w - -"), WHITE), 0u) << "two";
    EXPECT_EQ(pinned_pieces(set_up("k3r3/8/8/4p3/8/8/8/4K3 w - -"), WHITE), 0u) << "an enemy";
    EXPECT_EQ(pinned_pieces(set_up("k3b3/8/8/4N3/8/8/8/4K3 w - -"), WHITE), 0u) << "no line";
    EXPECT_EQ(pinned_pieces(set_up("k3r3/8/8/8/8/8/8/4K3 w - -"), WHITE), 0u) << "a check";
}

TEST(PinnedPieces, ToTheQueenOnTheLowestSquareByBishopsAndRooks) {
    EXPECT_EQ(pinned_pieces(set_up("k2r4/8/8/8/3N4/8/8/3Q3K w - -"), WHITE), squares("d4"));
    EXPECT_EQ(pinned_pieces(set_up("k7/8/8/8/b7/1P6/8/3Q3K w - -"), WHITE), squares("b3"));
    EXPECT_EQ(pinned_pieces(set_up("k2q4/8/8/8/3N4/8/8/3Q3K w - -"), WHITE), 0u)
        << "queens don't pin to a queen";
    EXPECT_EQ(pinned_pieces(set_up("k2r4/8/3N4/3Q4/8/8/8/1Q5K w - -"), WHITE), 0u)
        << "only the queen on the lowest square counts";
    EXPECT_EQ(pinned_pieces(set_up("8/8/8/8/8/8/8/8 w - -"), WHITE), 0u);
}

TEST(DiscoversSupport, OfARookOnANewLine) {
    auto support = [](const char* fen, int type, const char* move, const char* target) {
        Position& pos = set_up(fen);
        Snapshot old = snapshot(pos);
        int result = discovers_support(pos, type, sq(move), sq(move + 2), squares(target));
        EXPECT_TRUE(unchanged(old, pos));
        return result;
    };
    EXPECT_EQ(support("3r3k/8/8/8/R7/8/8/3R3K w - -", ROOK, "a4d4", "d8"), 1) << "backed by d1";
    EXPECT_EQ(support("3r3k/8/8/8/R7/8/8/7K w - -", ROOK, "a4d4", "d8"), 0) << "backed by nobody";
    EXPECT_EQ(support("3r3k/8/3P4/8/R7/8/8/3R3K w - -", ROOK, "a4d4", "d8"), 0) << "barred";
    EXPECT_EQ(support("3r3k/8/3R4/8/R7/8/8/7K w - -", ROOK, "a4d4", "d8"), 1)
        << "an own rook does not bar the way";
    EXPECT_EQ(support("3r3k/8/3Q4/8/R7/8/8/7K w - -", ROOK, "a4d4", "d8"), 1);
    EXPECT_EQ(support("3r3k/8/8/8/8/3R4/8/3R3K w - -", ROOK, "d3d4", "d8"), 0) << "an old line";
    EXPECT_EQ(support("3r3k/8/8/8/R7/8/8/3R3K w - -", ROOK, "a4d4", "g7"), 0) << "no line";
    EXPECT_EQ(support("7k/p7/8/8/8/8/8/R1B4K w - -", ROOK, "c1e3", "a7"), 0) << "no diagonals";
    EXPECT_EQ(support("7k/p7/8/8/8/8/8/R1B4K w - -", BISHOP, "c1e3", "a7"), 1);
    EXPECT_EQ(support("7k/p7/8/2P5/8/8/8/R1B4K w - -", BISHOP, "c1e3", "a7"), 0) << "barred";
    EXPECT_EQ(support("7k/p7/8/2B5/8/8/8/R1B4K w - -", BISHOP, "c1e3", "a7"), 1);
    EXPECT_EQ(support("7k/8/1p6/8/3B4/8/8/1R5K w - -", BISHOP, "d4c5", "b6"), 0) << "an old line";
    EXPECT_EQ(support("7k/p7/8/8/8/8/8/R1Q4K w - -", QUEEN, "c1e3", "a7"), 1) << "both lines";
    EXPECT_EQ(support("3r3k/8/8/8/Q7/8/8/3R3K w - -", QUEEN, "a4d4", "d8"), 1)
        << "the rank and file are new, though a4 sees d8 on the diagonal";
}
