// Setting a position from text, its castling rights and keys, writing and printing it.

#include <cstring>

#include "board/position.h"
#include "board_support.h"

namespace {

// The text that print_board puts out.
std::string printed(const Position& pos) {
    testing::internal::CaptureStdout();
    print_board(pos);
    return testing::internal::GetCapturedStdout();
}

std::string fen_with_counters(const Position& pos) {
    char fen[FEN_LENGTH];
    write_fen(pos, fen, 1);
    return fen;
}

constexpr int WHITE_KING_SIDE = 1, WHITE_QUEEN_SIDE = 2, BLACK_KING_SIDE = 4, BLACK_QUEEN_SIDE = 8;

} // namespace

TEST(SetPosition, PlacesTheStartPosition) {
    Position& pos = set_up(START_FEN);

    EXPECT_TRUE(consistent(pos));
    EXPECT_EQ(pos.board[E1], piece_code(WHITE, KING));
    EXPECT_EQ(pos.board[sq("d8")], piece_code(BLACK, QUEEN));
    EXPECT_EQ(pos.pieces[WHITE][PAWN], rank_mask(1));
    EXPECT_EQ(pos.pieces[BLACK][ALL_PIECES], rank_mask(6) | rank_mask(7));
    EXPECT_EQ(pos.piece_counts[WHITE], 0x12228u);
    EXPECT_EQ(pos.piece_counts[BLACK], 0x12228u);
    EXPECT_EQ(pos.material[WHITE], 32);
    EXPECT_EQ(pos.material[BLACK], 32);
    EXPECT_EQ(pos.king_square[WHITE], E1);
    EXPECT_EQ(pos.king_square[BLACK], E8);
    EXPECT_EQ(pos.castling, 15);
    EXPECT_EQ(pos.ep_square, NO_SQUARE);
    EXPECT_EQ(pos.halfmoves, 0);
    EXPECT_EQ(pos.side, WHITE);
    EXPECT_EQ(pos.touched, 0u);
}

TEST(SetPosition, WithTwoKingsAloneHasNoRightsAndNoEnPassantSquare) {
    Position& pos = set_up("8/8/8/8/8/8/8/K6k w - -");

    EXPECT_EQ(pos.castling, 0);
    EXPECT_EQ(pos.ep_square, NO_SQUARE);
    uint64_t key = zobrist[piece_code(WHITE, KING) * 64 + A1]
                 ^ zobrist[piece_code(BLACK, KING) * 64 + H1] ^ zobrist[0];
    EXPECT_EQ(pos.key, key & ~(1ULL << 32)) << "the key of zero rights belongs to it";
    EXPECT_EQ(pos.pawn_key, 0u);
}

TEST(SetPosition, ForgetsTheGameBefore) {
    Position& pos = set_up(START_FEN);
    play(pos, "e2e4 e7e5 g1f3");

    set_position(pos, "4k3/8/8/8/8/8/8/4K3 w - -");

    SearchThread& thread = thread_of(pos);
    EXPECT_EQ(thread.line.undo_index, 0);
    EXPECT_EQ(thread.line.ply, 1);
    EXPECT_EQ(thread.line.last_move, NULL_MOVE);
    EXPECT_EQ(thread.line.undo_stack[0].move, NULL_MOVE);
    EXPECT_EQ(thread.line.undo_stack[0].key, 0u);
    EXPECT_EQ(thread.line.undo_stack[1].move, NULL_MOVE);
    EXPECT_EQ(thread.line.undo_stack[1].key, 0u);
    EXPECT_EQ(pos.touched, 0u);
    EXPECT_TRUE(consistent(pos));
}

TEST(SetPosition, IgnoresMoveCounters) {
    Position& pos = set_up("4k3/8/8/8/8/8/8/4K2R w K - 37 80");

    EXPECT_EQ(pos.halfmoves, 0);
    EXPECT_EQ(fen_with_counters(pos), "4k3/8/8/8/8/8/8/4K2R w K - 0 0");
}

TEST(SetPosition, KeepsAnEnPassantSquareThatNoPawnCanUse) {
    Position& pos = set_up("4k3/8/8/8/8/8/8/4K3 b - e3");
    uint64_t with = pos.key;

    EXPECT_EQ(pos.ep_square, sq("e3"));

    set_up("4k3/8/8/8/8/8/8/4K3 b - -");
    EXPECT_EQ((with ^ game().key) & ~(1ULL << 32), zobrist[sq("e3")] & ~(1ULL << 32));
}

TEST(SetPosition, KeepsTheSideThatTheTextDoesNotName) {
    for (const char* fen : {"4k3/8/8/8/8/8/8/4K3", "4k3/8/8/8/8/8/8/4K3 ", "4k3/8/8/8/8/8/8/4K3 ?",
                            "4k3/8/8/8/8/8/8/4K3 W - -", ""}) {
        set_up("8/8/8/8/8/8/8/K6k b - -");
        EXPECT_EQ(set_up(fen).side, BLACK) << fen;
        set_up("8/8/8/8/8/8/8/K6k w - -");
        EXPECT_EQ(set_up(fen).side, WHITE) << fen;
    }
}

TEST(SetPosition, SkipsSpacesBetweenFields) {
    Position& pos = set_up("r3k2r/8/8/8/4P3/8/8/R3K2R   b    Kq     e3   7 9");

    EXPECT_EQ(fen_of(pos), "r3k2r/8/8/8/4P3/8/8/R3K2R b Kq e3");
}

TEST(SetPosition, PassesOverUnknownCharactersInThePlacement) {
    EXPECT_EQ(fen_of(set_up("4k3/8/8/8/8/8/8/.4x9K0*3! w - -")), "4k3/8/8/8/8/8/8/4K3 w - -");
}

TEST(SetPosition, MissingFieldsMeanNothing) {
    Position& pos = set_up("r3k2r/8/8/8/8/8/8/R3K2R b");

    EXPECT_EQ(pos.side, BLACK);
    EXPECT_EQ(pos.castling, 0);
    EXPECT_EQ(pos.ep_square, NO_SQUARE);
}

TEST(SetPosition, ShowsTheSideToMoveInBit32OfTheKey) {
    EXPECT_EQ(set_up("4k3/8/8/8/8/8/8/4K3 w - -").key >> 32 & 1, 0u);
    uint64_t white = game().key;
    EXPECT_EQ(set_up("4k3/8/8/8/8/8/8/4K3 b - -").key >> 32 & 1, 1u);
    EXPECT_EQ(game().key ^ white, 1ULL << 32) << "nothing else tells the sides apart";
}

// The square after odd en passant fields; they are taken as far as they name a square.
TEST(SetPosition, ReadsTheEnPassantFieldCharacterByCharacter) {
    struct {
        const char* field;
        int square;
    } cases[] = {
        {"-", NO_SQUARE},   {"e3", sq("e3")},   {"h6", sq("h6")},  {"e", sq("e1")},
        {"3", NO_SQUARE},   {"e9", sq("e1")},   {"-c6", sq("c6")}, {"x", NO_SQUARE},
        {"e5e", sq("e1")},  {"e5 e", sq("e5")}, {"ae3", sq("e3")}, {"e12", sq("e2")},
        {"e88", NO_SQUARE}, {"", NO_SQUARE},
    };
    for (const auto& c : cases) {
        std::string fen = std::string("4k3/8/8/8/8/8/8/4K3 w - ") + c.field;
        EXPECT_EQ(set_up(fen.c_str()).ep_square, c.square) << '"' << c.field << '"';
        EXPECT_TRUE(consistent(game()));
    }
}

TEST(SetPosition, ReadsTheNinthCharacterOfTheCastlingFieldAsEnPassant) {
    Position& pos = set_up("r3k2r/8/8/8/8/8/8/R3K2R w KKKKKKKQe3 -");

    EXPECT_EQ(pos.castling, WHITE_KING_SIDE | WHITE_QUEEN_SIDE);
    EXPECT_EQ(pos.ep_square, sq("e3"));

    EXPECT_EQ(set_up("r3k2r/8/8/8/8/8/8/R3K2R w KKKKKKKKQ -").castling, WHITE_KING_SIDE)
        << "the ninth character is no right any more";
}

TEST(CastlingRights, AreGrantedInTheOrderOfTheirBits) {
    EXPECT_EQ(set_up("r3k2r/8/8/8/8/8/8/R3K2R w K -").castling, WHITE_KING_SIDE);
    EXPECT_EQ(set_up("r3k2r/8/8/8/8/8/8/R3K2R w Q -").castling, WHITE_QUEEN_SIDE);
    EXPECT_EQ(set_up("r3k2r/8/8/8/8/8/8/R3K2R w k -").castling, BLACK_KING_SIDE);
    EXPECT_EQ(set_up("r3k2r/8/8/8/8/8/8/R3K2R w q -").castling, BLACK_QUEEN_SIDE);
    EXPECT_EQ(set_up("r3k2r/8/8/8/8/8/8/R3K2R w qK?Q -").castling, 11);
}

TEST(CastlingRights, OfNormalChessFillTheirMasks) {
    Position& pos = set_up("r3k2r/8/8/8/8/8/8/R3K2R w KQkq -");

    EXPECT_EQ(pos.castle_rook[0], H1);
    EXPECT_EQ(pos.castle_rook[1], A1);
    EXPECT_EQ(pos.castle_rook[2], H8);
    EXPECT_EQ(pos.castle_rook[3], A8);
    EXPECT_EQ(pos.castle_mask[0], bit(E1) | bit(H1));
    EXPECT_EQ(pos.castle_mask[3], bit(E8) | bit(A8));
    EXPECT_EQ(pos.castle_empty[0], squares("f1 g1"));
    EXPECT_EQ(pos.castle_empty[1], squares("b1 c1 d1"));
    EXPECT_EQ(pos.castle_empty[2], squares("f8 g8"));
    EXPECT_EQ(pos.castle_empty[3], squares("b8 c8 d8"));
}

TEST(CastlingRights, ThatAreNotGrantedLeaveTheirEntriesEmpty) {
    Position& pos = set_up("r3k2r/8/8/8/8/8/8/R3K2R w Kq -");

    for (int right : {1, 2}) {
        EXPECT_EQ(pos.castle_rook[right], NO_SQUARE);
        EXPECT_EQ(pos.castle_mask[right], 0u);
        EXPECT_EQ(pos.castle_empty[right], 0u);
    }
}

TEST(CastlingRights, NeedTheKingOnItsHomeRank) {
    EXPECT_EQ(set_up("4k3/8/8/8/8/8/5K2/7R w K -").castling, 0);
    EXPECT_EQ(set_up("4k3/8/8/8/8/8/5K1R/8 w K -").castling, 0);
    EXPECT_EQ(set_up("r6r/4k3/8/8/8/8/8/4K3 w kq -").castling, 0);
    EXPECT_EQ(set_up("4K2R/8/8/8/8/8/8/4k2r w Kk -").castling, 0) << "the other side's home";
}

TEST(CastlingRights, NeedExactlyOneRookOnTheWing) {
    Position& pos = set_up("r3k1rr/8/8/8/8/8/8/RR2K2R w KQkq -");
    EXPECT_EQ(pos.castling, WHITE_KING_SIDE | BLACK_QUEEN_SIDE);

    EXPECT_EQ(set_up("4k3/8/8/8/8/8/8/4K1RR w K -").castling, 0);
    EXPECT_EQ(set_up("4k3/8/8/8/8/8/8/R3K3 w K -").castling, 0) << "no rook there";
    EXPECT_EQ(set_up("4k3/8/8/8/8/8/8/4K2r w K -").castling, 0) << "an enemy rook";
    EXPECT_EQ(set_up("4k3/8/8/8/8/8/7R/4K3 w K -").castling, 0) << "not on the home rank";
    EXPECT_EQ(set_up("4k3/8/8/8/8/8/8/R1R1K1RR w HA -").castling, 0)
        << "a rook's file does not choose between two";
}

TEST(CastlingRights, ByRookFilesAreWrittenAsLetters) {
    Position& pos = set_up("rnkqbbnr/pppppppp/8/8/8/8/PPPPPPPP/RNKQBBNR w HAha -");

    EXPECT_EQ(pos.castling, 15);
    EXPECT_EQ(pos.castle_rook[0], H1);
    EXPECT_EQ(pos.castle_rook[1], A1);
    EXPECT_EQ(pos.castle_rook[2], H8);
    EXPECT_EQ(pos.castle_rook[3], A8);
    EXPECT_EQ(fen_of(pos), "rnkqbbnr/pppppppp/8/8/8/8/PPPPPPPP/RNKQBBNR w KQkq -");
}

TEST(CastlingRights, ByRookFileMeanTheWingOnThatSideOfTheKing) {
    EXPECT_EQ(set_up("4k3/8/8/8/8/8/8/1R3KR1 w G -").castling, WHITE_KING_SIDE);
    EXPECT_EQ(game().castle_rook[0], G1);
    EXPECT_EQ(set_up("4k3/8/8/8/8/8/8/1R3KR1 w B -").castling, WHITE_QUEEN_SIDE);
    EXPECT_EQ(game().castle_rook[1], B1);
    EXPECT_EQ(set_up("1r3kr1/8/8/8/8/8/8/4K3 w g -").castling, BLACK_KING_SIDE);
    EXPECT_EQ(set_up("1r3kr1/8/8/8/8/8/8/4K3 w b -").castling, BLACK_QUEEN_SIDE);
    EXPECT_EQ(set_up("4k3/8/8/8/8/8/8/1R3KR1 w H -").castling, WHITE_KING_SIDE)
        << "only the wing counts, not the file";
}

TEST(CastlingRights, OfChess960NeedThePathsOfKingAndRookEmpty) {
    // King b1, rooks a1 and g1.
    Position& pos = set_up("4k3/8/8/8/8/8/8/RK4R1 w KQ -");
    EXPECT_EQ(pos.castle_empty[0], squares("c1 d1 e1 f1"));
    EXPECT_EQ(pos.castle_empty[1], squares("c1 d1"));

    // The king already stands on g1, the rook on f1 would only swap with it.
    EXPECT_EQ(set_up("4k3/8/8/8/8/8/8/6KR w K -").castle_empty[0], squares("f1"));
    EXPECT_EQ(set_up("4k3/8/8/8/8/8/8/5KR1 w K -").castle_empty[0], 0u) << "they trade places";
    EXPECT_EQ(set_up("1r5k/8/8/8/8/8/8/4K3 w - -").castle_empty[3], 0u);
    EXPECT_EQ(set_up("1r4k1/8/8/8/8/8/8/4K3 b q -").castle_empty[3], squares("c8 d8 e8 f8"));
}

TEST(ComputeKeys, AddUpPiecesEnPassantRightsAndSide) {
    Position& pos = set_up("4k2r/8/8/8/3pP3/8/8/4K3 b k e3");
    auto piece = [](int side, int type, const char* square) {
        return zobrist[piece_code(side, type) * 64 + sq(square)];
    };
    uint64_t pawns = piece(WHITE, PAWN, "e4") ^ piece(BLACK, PAWN, "d4");
    uint64_t key = pawns ^ piece(BLACK, KING, "e8") ^ piece(BLACK, ROOK, "h8")
                 ^ piece(WHITE, KING, "e1") ^ zobrist[sq("e3")] ^ zobrist[4];

    EXPECT_EQ(pos.pawn_key, pawns);
    EXPECT_EQ(pos.key, (key & ~(1ULL << 32)) | 1ULL << 32);
}

TEST(WriteFen, GivesBackWhatWasRead) {
    for (const char* fen :
         {START_FEN, "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq -",
          "rnbqkb1r/ppppp1pp/7n/4Pp2/8/8/PPPP1PPP/RNBQKBNR w KQkq f6", "8/8/8/8/8/8/8/K6k b - -",
          "1r2k2r/8/8/8/8/8/8/R3K2R b KQk -", "4k3/8/8/8/8/8/8/4K3 w - a1"})
        EXPECT_EQ(fen_of(set_up(fen)), fen);
}

TEST(WriteFen, CountsHalfmovesAndMovesSinceTheSetUp) {
    Position& pos = set_up(START_FEN);
    play(pos, "e2e4 e7e5 g1f3 b8c6 f1c4");

    EXPECT_EQ(fen_with_counters(pos),
              "r1bqkbnr/pppp1ppp/2n5/4p3/2B1P3/5N2/PPPP1PPP/RNBQK2R b KQkq - 3 5");
}

TEST(PrintBoard, ShowsFenDiagramAndSide) {
    EXPECT_EQ(printed(set_up(START_FEN)),
              "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 0\n"
              "  r n b q k b n r\n"
              "  o o o o o o o o\n"
              "  - + - + - + - +\n"
              "  + - + - + - + -\n"
              "  - + - + - + - +\n"
              "  + - + - + - + -\n"
              "  P P P P P P P P\n"
              "  R N B Q K B N R\n"
              "white\n\n");
    std::string black = printed(set_up("8/8/8/8/8/8/8/K6k b - -"));
    EXPECT_EQ(black.substr(black.size() - 25), "  K - + - + - + k\nblack\n\n");
}

namespace {

// Texts that are no chess position. `side` must stay readable and nothing may break.
struct OddText {
    const char* name; // becomes part of the test's name
    const char* fen;
    const char* written; // what write_fen makes of it
    const char* reason;  // why it can't be searched, null if it can
};

void PrintTo(const OddText& c, std::ostream* out) { *out << c.name; }

class OddPosition : public testing::TestWithParam<OddText> {};

constexpr char WHITE_KINGS[] = "white does not have exactly one king";
constexpr char BLACK_KINGS[] = "black does not have exactly one king";
constexpr char WHITE_PIECES[] = "white has more than 16 pieces";
constexpr char BLACK_PIECES[] = "black has more than 16 pieces";
constexpr char WAITING_CHECK[] = "the side not to move is in check";

} // namespace

TEST_P(OddPosition, IsKeptAsFarAsItFitsTheBoard) {
    const OddText& c = GetParam();
    set_up("4k3/8/8/8/8/8/8/4K3 w - -");

    Position& pos = set_up(c.fen);

    EXPECT_TRUE(consistent(pos, true));
    EXPECT_EQ(fen_of(pos), c.written);
    const char* reason = unsearchable_reason(pos);
    EXPECT_STREQ(reason, c.reason);
    std::string board = printed(pos);
    EXPECT_EQ(board.compare(0, strlen(c.written), c.written), 0);
    EXPECT_EQ(fen_of(set_up(c.written)), c.written) << "the written text is stable";
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Texts, OddPosition, testing::Values(
    OddText{"Empty", "", "8/8/8/8/8/8/8/8 w - -", WHITE_KINGS},
    OddText{"OnlySpaces", "    ", "8/8/8/8/8/8/8/8 w - -", WHITE_KINGS},
    OddText{"Nonsense", "xyz!? 12 hello", "8/8/8/8/8/8/8/8 w - e1", WHITE_KINGS},
    OddText{"RankTooLong", "4k3PPPP/8/8/8/8/8/8/4K3QQ w - -", "4k3/8/8/8/8/8/8/4K3 w - -", nullptr},
    OddText{"DigitsTooLarge", "8888k/4k3/8/8/8/8/8/4K88R w - -", "8/4k3/8/8/8/8/8/4K3 w - -", nullptr},
    OddText{"TooManyRanks", "4k3/8/8/8/8/8/8/4K3/QQQQQQQQ/nnnn b - -", "4k3/8/8/8/8/8/8/4K3 b - -", nullptr},
    OddText{"ManySlashes", "k7////////////////////K7 w - -", "k7/8/8/8/8/8/8/8 w - -", WHITE_KINGS},
    OddText{"NoWhiteKing", "4k3/8/8/8/8/8/8/8 w KQ -", "4k3/8/8/8/8/8/8/8 w - -", WHITE_KINGS},
    OddText{"NoBlackKing", "r6r/8/8/8/8/8/8/4K3 w kq -", "r6r/8/8/8/8/8/8/4K3 w - -", BLACK_KINGS},
    OddText{"TwoWhiteKings", "4k3/8/8/8/8/8/8/K6K w - -", "4k3/8/8/8/8/8/8/K6K w - -", WHITE_KINGS},
    OddText{"TwoBlackKings", "k6k/8/8/8/8/8/8/4K3 w - -", "k6k/8/8/8/8/8/8/4K3 w - -", BLACK_KINGS},
    OddText{"FifteenQueens", "7k/8/8/8/5Q2/QQQQQ3/QQQQQ3/QQQQ3K b - -",
            "7k/8/8/8/5Q2/QQQQQ3/QQQQQ3/QQQQ3K b - -", nullptr},
    OddText{"SixteenQueens", "7k/8/8/8/6QQ/QQQQQ3/QQQQQ3/QQQQ3K w - -",
            "7k/8/8/8/6QQ/QQQQQ3/QQQQQ3/QQQQ3K w - -", WHITE_PIECES},
    OddText{"SeventeenBlackPieces", "k6n/nnnnnnnn/nnnnnnn1/8/8/8/8/7K w - -",
            "k6n/nnnnnnnn/nnnnnnn1/8/8/8/8/7K w - -", BLACK_PIECES},
    OddText{"FullBoard", "rnbqkbnr/pppppppp/pppppppp/pppppppp/PPPPPPPP/PPPPPPPP/PPPPPPPP/RNBQKBNR w KQkq -",
            "rnbqkbnr/pppppppp/pppppppp/pppppppp/PPPPPPPP/PPPPPPPP/PPPPPPPP/RNBQKBNR w KQkq -", WHITE_PIECES},
    OddText{"PawnsOnTheLastRanks", "PpP1k3/8/8/8/8/8/8/pPp1K3 w - -", "PpP1k3/8/8/8/8/8/8/pPp1K3 w - -", nullptr},
    OddText{"WaitingSideInCheck", "4k3/8/8/8/8/8/8/K3R3 w - -", "4k3/8/8/8/8/8/8/K3R3 w - -", WAITING_CHECK},
    OddText{"MovingSideInCheck", "4k3/8/8/8/8/8/8/K3R3 b - -", "4k3/8/8/8/8/8/8/K3R3 b - -", nullptr},
    OddText{"KingsSideBySide", "8/8/8/3kK3/8/8/8/8 w - -", "8/8/8/3kK3/8/8/8/8 w - -", WAITING_CHECK},
    OddText{"EnPassantDigitAlone", "4k3/8/8/8/8/8/8/4K3 w - 3", "4k3/8/8/8/8/8/8/4K3 w - -", nullptr},
    OddText{"EnPassantTwoFiles", "4k3/8/8/8/8/8/8/4K3 w - e5e", "4k3/8/8/8/8/8/8/4K3 w - e1", nullptr},
    OddText{"NineCastlingCharacters", "r3k2r/8/8/8/8/8/8/R3K2R w KQkqKQkqK -",
            "r3k2r/8/8/8/8/8/8/R3K2R w KQkq -", nullptr},
    OddText{"BytesAbove127", "4k3/8/\xFF\xC0\x80" "8/8/8/8/8/4K3 \xE4 \xF6 \xFC",
            "4k3/8/8/8/8/8/8/4K3 w - -", nullptr}),
    [](const auto& test) { return test.param.name; });
// clang-format on

TEST(SetPosition, SurvivesRandomText) {
    Random random = {4};
    const char letters[] = "PNBRQKpnbrqk12345678/// wb-KQkqABCHabceh36e3xX9";
    for (int round = 0; round < 20000; round++) {
        std::string text;
        for (int length = random_below(random, 90); length > 0; length--)
            text += letters[random_below(random, sizeof letters - 1)];
        Position& pos = set_up(text.c_str());
        ASSERT_TRUE(consistent(pos, true)) << text;
        // Castling rights always rest on a king and a rook.
        for (int right = 0; right < CASTLING_RIGHTS; right++) {
            if (!(pos.castling >> right & 1)) continue;
            ASSERT_EQ(pos.board[pos.castle_rook[right]], piece_code(right >> 1, ROOK)) << text;
            ASSERT_EQ(pos.board[pos.king_square[right >> 1]], piece_code(right >> 1, KING)) << text;
        }
        unsearchable_reason(pos);
        std::string written = fen_of(pos);
        ASSERT_EQ(fen_of(set_up(written.c_str())).substr(0, written.find(' ')),
                  written.substr(0, written.find(' ')));
    }
}
