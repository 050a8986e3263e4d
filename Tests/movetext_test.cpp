// Moves as text: coordinates, the four forms, and reading what people type.

#include <algorithm>
#include <cstring>

#include "board/movetext.h"
#include "board_support.h"
#include "records.h"

namespace {

class MoveText : public EngineTest {
protected:
    void SetUp() override {
        set_relaxed(shell.chess960, 0);
        set_relaxed(shell.uci_mode, 1);
    }
    void chess960(int on) { set_relaxed(shell.chess960, on); }
    void uci_mode(int on) { set_relaxed(shell.uci_mode, on); }
};

class MoveForms : public MoveText {};
class ParseMove : public MoveText {};

std::string text_of(const char* fen, Move move) {
    Position& pos = set_up(fen);
    char text[MOVE_TEXT_LENGTH];
    move_to_text(pos, pos.side, move, text);
    return text;
}

// All four forms with a blank between them; an empty form is a "-".
std::string forms_of(Position& pos, Move move) {
    char forms[4][MOVE_TEXT_LENGTH];
    for (char* form : forms) strcpy(form, "???");
    move_to_forms(pos, move, forms[0], forms[1], forms[2], forms[3]);
    std::string all;
    for (const char* form : forms) {
        if (!all.empty()) all += ' ';
        all += form[0] ? form : "-";
    }
    return all;
}

std::string forms_of(const char* fen, Move move) { return forms_of(set_up(fen), move); }

// Reads a text in the game's position. Returns the move, or NULL_MOVE where the text is refused.
Move parsed(const std::string& text) {
    char buffer[64] = {};
    text.copy(buffer, sizeof buffer - 2);
    Move move = 0x1234;
    int result = parse_move(game(), buffer, &move);
    EXPECT_TRUE(result == 0 || result == 1);
    if (result == 1) {
        EXPECT_NE(move, NULL_MOVE) << text;
        return move;
    }
    return NULL_MOVE;
}

Move parsed(const char* fen, const std::string& text) {
    set_up(fen);
    return parsed(text);
}

Move flagged(const char* text, Move flag) { return static_cast<Move>(plain(text) | flag); }

constexpr char CASTLING_FEN[] = "r3k2r/8/8/8/8/8/8/R3K2R w KQkq -";
constexpr char PROMOTION_FEN[] = "3r4/4P3/8/8/8/7k/8/K7 w - -";

} // namespace

TEST_F(MoveText, OfNoMoveIsNull) { EXPECT_EQ(text_of(START_FEN, NULL_MOVE), "null"); }

TEST_F(MoveText, NamesAllSquares) {
    EXPECT_STREQ(SQUARE_NAMES[A1], "a1");
    EXPECT_STREQ(SQUARE_NAMES[H1], "h1");
    EXPECT_STREQ(SQUARE_NAMES[sq("e4")], "e4");
    EXPECT_STREQ(SQUARE_NAMES[H8], "h8");
    for (int square = 0; square < SQUARES; square++) EXPECT_EQ(sq(SQUARE_NAMES[square]), square);
}

TEST_F(MoveText, OfAPlainMoveIsItsSquares) {
    EXPECT_EQ(text_of(START_FEN, plain("e2e4")), "e2e4");
    EXPECT_EQ(text_of(CASTLING_FEN, plain("e1e2")), "e1e2");
}

TEST_F(MoveText, OfAPromotionDependsOnTheMode) {
    struct {
        Move flag;
        const char* uci;
        const char* console;
    } cases[] = {{FLAG_QUEEN, "e7e8q", "e7e8=Q"},
                 {FLAG_KNIGHT, "e7e8n", "e7e8=N"},
                 {FLAG_BISHOP, "e7e8b", "e7e8=B"},
                 {FLAG_ROOK, "e7e8r", "e7e8=R"}};
    for (const auto& c : cases) {
        uci_mode(1);
        EXPECT_EQ(text_of(PROMOTION_FEN, flagged("e7e8", c.flag)), c.uci);
        uci_mode(0);
        EXPECT_EQ(text_of(PROMOTION_FEN, flagged("e7e8", c.flag)), c.console);
    }
    uci_mode(1);
    EXPECT_EQ(text_of(PROMOTION_FEN, flagged("e7d8", FLAG_QUEEN)), "e7d8q");
    EXPECT_EQ(text_of("4k3/8/8/8/8/8/p7/7K b - -", flagged("a2a1", FLAG_ROOK)), "a2a1r");
}

TEST_F(MoveText, OfCastlingIsTheKingsStepOrKingTakesRook) {
    Move king_side = flagged("e1g1", FLAG_KING_SIDE);
    Move queen_side = flagged("e1c1", FLAG_QUEEN_SIDE);
    EXPECT_EQ(text_of(CASTLING_FEN, king_side), "e1g1");
    EXPECT_EQ(text_of(CASTLING_FEN, queen_side), "e1c1");
    chess960(1);
    EXPECT_EQ(text_of(CASTLING_FEN, king_side), "e1h1");
    EXPECT_EQ(text_of(CASTLING_FEN, queen_side), "e1a1");
    EXPECT_EQ(text_of("1rk3r1/8/8/8/8/8/8/4K3 b kq -", flagged("c8g8", FLAG_KING_SIDE)), "c8g8");
    EXPECT_EQ(text_of("1rk3r1/8/8/8/8/8/8/4K3 b kq -", flagged("c8c8", FLAG_QUEEN_SIDE)), "c8b8");
}

TEST_F(MoveText, TakesTheRookOfTheNamedSide) {
    Position& pos = set_up("1r2k2r/8/8/8/8/8/8/R3K2R w KQkq -");
    char text[MOVE_TEXT_LENGTH];
    chess960(1);
    move_to_text(pos, BLACK, flagged("e8c8", FLAG_QUEEN_SIDE), text);
    EXPECT_STREQ(text, "e8b8");
    move_to_text_raw(pos, WHITE, flagged("e1c1", FLAG_QUEEN_SIDE), text);
    EXPECT_STREQ(text, "e1a1");
}

TEST_F(MoveForms, OfNoMove) { EXPECT_EQ(forms_of(START_FEN, NULL_MOVE), "null - - -"); }

TEST_F(MoveForms, OfPawns) {
    EXPECT_EQ(forms_of(START_FEN, plain("e2e4")), "e2e4 e4 - -");
    EXPECT_EQ(forms_of("7k/8/8/3p4/4P3/8/8/K7 w - -", plain("e4d5")), "e4d5 exd5 ed -");
    EXPECT_EQ(forms_of("7k/8/8/3pP3/8/8/8/K7 w - d6", plain("e5d6")), "e5d6 exd6 ed -");
}

TEST_F(MoveForms, OfPromotionsNeverShowTheSmallLetter) {
    for (int mode : {0, 1}) {
        uci_mode(mode);
        EXPECT_EQ(forms_of(PROMOTION_FEN, flagged("e7d8", FLAG_QUEEN)), "e7d8=Q exd8=Q ed=Q -");
        EXPECT_EQ(forms_of(PROMOTION_FEN, flagged("e7d8", FLAG_KNIGHT)), "e7d8=N exd8=N ed=N -");
        EXPECT_EQ(forms_of(PROMOTION_FEN, flagged("e7e8", FLAG_BISHOP)), "e7e8=B e8=B =B -");
        EXPECT_EQ(forms_of(PROMOTION_FEN, flagged("e7e8", FLAG_ROOK)), "e7e8=R e8=R =R -");
    }
}

TEST_F(MoveForms, OfCastlingShowBothSpellings) {
    EXPECT_EQ(forms_of(CASTLING_FEN, flagged("e1g1", FLAG_KING_SIDE)), "e1g1 o-o O-O e1h1");
    EXPECT_EQ(forms_of(CASTLING_FEN, flagged("e1c1", FLAG_QUEEN_SIDE)), "e1c1 o-o-o O-O-O e1a1");
    chess960(1);
    EXPECT_EQ(forms_of(CASTLING_FEN, flagged("e1g1", FLAG_KING_SIDE)), "e1h1 o-o O-O e1g1");
    EXPECT_EQ(forms_of(CASTLING_FEN, flagged("e1c1", FLAG_QUEEN_SIDE)), "e1a1 o-o-o O-O-O e1c1");
    EXPECT_EQ(forms_of("1rk3r1/8/8/8/8/8/8/4K3 b kq -", flagged("c8c8", FLAG_QUEEN_SIDE)),
              "c8b8 o-o-o O-O-O c8c8");
}

TEST_F(MoveForms, OfPieces) {
    EXPECT_EQ(forms_of(START_FEN, plain("g1f3")), "g1f3 Nf3 Ngf3 N1f3");
    EXPECT_EQ(forms_of("7k/8/8/3p4/8/4N3/8/K7 w - -", plain("e3d5")), "e3d5 Nxd5 Nexd5 N3xd5");
    EXPECT_EQ(forms_of("7k/8/8/8/8/8/8/K7 w - -", plain("a1b2")), "a1b2 Kb2 Kab2 K1b2");
    EXPECT_EQ(forms_of("7k/8/8/8/8/8/8/K2B4 w - -", plain("d1b3")), "d1b3 Bb3 Bdb3 B1b3");
    EXPECT_EQ(forms_of("7k/8/8/8/8/8/8/K2Q4 w - -", plain("d1b3")), "d1b3 Qb3 Qdb3 Q1b3");
}

namespace {

struct FellowCase {
    const char* name; // becomes part of the test's name
    const char* fen;
    const char* move;
    const char* short_form;
};

void PrintTo(const FellowCase& c, std::ostream* out) { *out << c.name; }

class Fellows : public testing::TestWithParam<FellowCase> {};

} // namespace

TEST_P(Fellows, DecideTheShortForm) {
    const FellowCase& c = GetParam();
    std::string forms = forms_of(c.fen, plain(c.move));
    std::string short_form = forms.substr(5, forms.find(' ', 5) - 5);
    EXPECT_EQ(short_form, c.short_form) << forms;
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Table, Fellows, testing::Values(
    FellowCase{"SameRank",             "7k/8/8/8/8/8/8/KN3N2 w - -",        "b1d2", "Nbd2"},
    FellowCase{"SameRankOther",        "7k/8/8/8/8/8/8/KN3N2 w - -",        "f1d2", "Nfd2"},
    FellowCase{"SameFile",             "7k/8/8/8/8/1N6/8/KN6 w - -",        "b1d2", "N1d2"},
    FellowCase{"SameFileOther",        "7k/8/8/8/8/1N6/8/KN6 w - -",        "b3d2", "N3d2"},
    FellowCase{"NeitherRankNorFile",   "7k/8/8/8/8/5N2/8/KN6 w - -",        "b1d2", "Nd2"},
    FellowCase{"NeitherOther",         "7k/8/8/8/8/5N2/8/KN6 w - -",        "f3d2", "Nd2"},
    FellowCase{"FileBeforeRank",       "7k/8/8/8/8/1N6/8/KN3N2 w - -",      "b1d2", "N1d2"},
    FellowCase{"OutOfReach",           "7k/8/8/8/8/8/8/KN4N1 w - -",        "b1d2", "Nd2"},
    FellowCase{"EnemyPieceIsNoFellow", "7k/8/8/8/8/8/8/KN3n2 w - -",        "b1d2", "Nd2"},
    FellowCase{"Rooks",                "k7/8/8/8/8/8/8/R6R w - -",          "a1d1", "Rad1"},
    FellowCase{"RooksOnAFile",         "k7/7R/8/8/8/8/K7/7R w - -",         "h1h4", "R1h4"},
    FellowCase{"RookBehindAPiece",     "k7/8/8/8/8/8/8/R3K2R w - -",        "a1d1", "Rd1"},
    FellowCase{"RooksOnACapture",      "k7/8/8/8/8/8/8/R2p3R w - -",        "a1d1", "Raxd1"},
    FellowCase{"Bishops",              "k7/8/8/8/8/8/8/B3B2K w - -",        "a1c3", "Bac3"},
    FellowCase{"BishopsOfOtherColour", "k7/8/8/8/8/8/8/BB5K w - -",         "a1c3", "Bc3"},
    FellowCase{"QueensOnARank",        "6k1/8/8/8/8/8/K7/Q6Q w - -",         "a1d1", "Qad1"},
    FellowCase{"QueenOnADiagonal",     "k7/8/8/8/7Q/8/K7/Q7 w - -",        "a1e1", "Qe1"},
    FellowCase{"PinsAreNotConsidered", "4r2k/8/8/8/8/4N3/8/N3K3 w - -",     "a1c2", "Nc2"},
    FellowCase{"PinnedOnTheSameRank",  "4r2k/8/8/8/8/N3N3/8/4K3 w - -",     "a3c4", "Nac4"}),
    [](const auto& test) { return test.param.name; });
// clang-format on

TEST_F(MoveForms, MarkACheckInAllFour) {
    EXPECT_EQ(forms_of("4k3/8/8/8/8/8/8/K6R w - -", plain("h1h8")), "h1h8+ Rh8+ Rhh8+ R1h8+");
    EXPECT_EQ(forms_of("4k3/8/8/8/4N3/8/8/K3R3 w - -", plain("e4c3")), "e4c3+ Nc3+ Nec3+ N4c3+")
        << "a discovered one";
    EXPECT_EQ(forms_of("8/8/8/4k3/8/8/3P4/K7 w - -", plain("d2d4")), "d2d4+ d4+ + +");
    EXPECT_EQ(forms_of("3r1k2/4P3/8/8/8/8/8/K7 w - -", flagged("e7d8", FLAG_ROOK)),
              "e7d8=R+ exd8=R+ ed=R+ +");
    EXPECT_EQ(forms_of("3r4/4P3/8/5k2/8/8/8/K7 w - -", flagged("e7d8", FLAG_QUEEN)),
              "e7d8=Q exd8=Q ed=Q -");
}

TEST_F(MoveForms, MarkNoMateAndNoCheckByTheCastlingRook) {
    EXPECT_EQ(forms_of("6k1/5ppp/8/8/8/8/8/K3R3 w - -", plain("e1e8")), "e1e8+ Re8+ Ree8+ R1e8+");
    EXPECT_EQ(forms_of("5k2/8/8/8/8/8/8/4K2R w K -", flagged("e1g1", FLAG_KING_SIDE)),
              "e1g1 o-o O-O e1h1");
}

TEST_F(MoveForms, MarkACheckFromWhereTheCastlingRookStoodIfTheKingGoesThere) {
    EXPECT_EQ(
        forms_of("8/ppp2ppp/8/8/8/5PPP/PPP1P1P1/3k1KR1 w G -", flagged("f1g1", FLAG_KING_SIDE)),
        "f1g1+ o-o+ O-O+ f1g1+");
    EXPECT_EQ(forms_of("8/8/8/8/8/6k1/8/4K1R1 w K -", flagged("e1g1", FLAG_KING_SIDE)),
              "e1g1+ o-o+ O-O+ e1g1+");
}

TEST_F(MoveForms, LeaveThePositionAsItIs) {
    Position& pos = set_up("3r1k2/4P3/8/8/8/8/8/K7 w - -");
    Position old = pos;
    for (const MoveEntry& entry : all_moves(pos)) forms_of(pos, entry.move);
    EXPECT_EQ(memcmp(static_cast<void*>(&old), static_cast<void*>(&pos), sizeof pos), 0);
}

TEST_F(ParseMove, AcceptsAllSpellingsOfAPromotion) {
    for (const char* text : {"e7e8=Q", "e7e8q", "e7e8Q", "e8=Q", "e8q", "e8Q", "e8=Q+"})
        EXPECT_EQ(parsed(PROMOTION_FEN, text), flagged("e7e8", FLAG_QUEEN)) << text;
    for (const char* text : {"e7d8=N", "e7d8n", "exd8=N", "exd8n", "ed=N", "edn"})
        EXPECT_EQ(parsed(PROMOTION_FEN, text), flagged("e7d8", FLAG_KNIGHT)) << text;
    EXPECT_EQ(parsed("e8b"), flagged("e7e8", FLAG_BISHOP));
    EXPECT_EQ(parsed("exd8=R"), flagged("e7d8", FLAG_ROOK));
    EXPECT_EQ(parsed("e7e8"), NULL_MOVE) << "a piece must be named";
    EXPECT_EQ(parsed("e7e8k"), NULL_MOVE);
    EXPECT_EQ(parsed("e7e8=q"), NULL_MOVE) << "behind \"=\" stands a capital";
    EXPECT_EQ(parsed("e7e8=P"), NULL_MOVE);
}

TEST_F(ParseMove, AcceptsAllSpellingsOfCastling) {
    for (int option : {0, 1}) {
        chess960(option);
        for (const char* text : {"O-O", "0-0", "o-o", "o-O", "e1g1", "e1h1", "O-O+"})
            EXPECT_EQ(parsed(CASTLING_FEN, text), flagged("e1g1", FLAG_KING_SIDE))
                << text << ", Chess960 " << option;
        for (const char* text : {"O-O-O", "0-0-0", "o-o-o", "e1c1", "e1a1"})
            EXPECT_EQ(parsed(CASTLING_FEN, text), flagged("e1c1", FLAG_QUEEN_SIDE))
                << text << ", Chess960 " << option;
    }
    EXPECT_EQ(parsed("r3k2r/8/8/8/8/8/8/R3K2R b KQkq -", "O-O"), flagged("e8g8", FLAG_KING_SIDE));
}

TEST_F(ParseMove, AcceptsCastlingOfChess960) {
    const char* fen = "4k3/8/8/8/8/8/8/RK4R1 w KQ -";
    for (int option : {0, 1}) {
        chess960(option);
        EXPECT_EQ(parsed(fen, "b1a1"), flagged("b1c1", FLAG_QUEEN_SIDE));
        EXPECT_EQ(parsed(fen, "o-o-o"), flagged("b1c1", FLAG_QUEEN_SIDE));
        EXPECT_EQ(parsed(fen, "b1g1"), flagged("b1g1", FLAG_KING_SIDE));
        EXPECT_EQ(parsed("1rk3r1/8/8/8/8/8/8/4K3 b kq -", "c8b8"),
                  flagged("c8c8", FLAG_QUEEN_SIDE));
    }
}

TEST_F(ParseMove, RefusesCastlingThatIsNotLegal) {
    EXPECT_EQ(parsed("r3k2r/8/8/8/8/8/8/R3KB1R w KQkq -", "O-O"), NULL_MOVE);
    EXPECT_EQ(parsed("r3k2r/8/8/8/8/8/4q3/R3K2R w KQkq -", "O-O"), NULL_MOVE);
    EXPECT_EQ(parsed("4k3/8/8/8/8/8/8/R3K2R w Q -", "O-O"), NULL_MOVE);
}

TEST_F(ParseMove, AcceptsCoordinatesShortFileAndRankForm) {
    for (const char* text : {"g1f3", "Nf3", "Ngf3", "N1f3"})
        EXPECT_EQ(parsed(START_FEN, text), plain("g1f3")) << text;
    for (const char* text : {"e4d5", "exd5", "ed"})
        EXPECT_EQ(parsed("7k/8/8/3p4/4P3/8/8/K7 w - -", text), plain("e4d5")) << text;
    for (const char* text : {"e5d6", "exd6", "ed"})
        EXPECT_EQ(parsed("7k/8/8/3pP3/8/8/8/K7 w - d6", text), plain("e5d6")) << text;
    EXPECT_EQ(parsed(START_FEN, "e4"), plain("e2e4"));
}

TEST_F(ParseMove, CutsCheckMarksOfTextAndForms) {
    EXPECT_EQ(parsed(START_FEN, "Nf3+"), plain("g1f3")) << "it is no check";
    EXPECT_EQ(parsed(START_FEN, "e4+ and more"), plain("e2e4"));
    EXPECT_EQ(parsed("4k3/8/8/8/8/8/8/K6R w - -", "Rh8"), plain("h1h8")) << "it is one";
    EXPECT_EQ(parsed("4k3/8/8/8/8/8/8/K6R w - -", "Rh8+"), plain("h1h8"));
}

TEST_F(ParseMove, RefusesWhatIsNoForm) {
    for (const char* text : {"e5", "e2e5", "Nd2", "Nxf3", "e2-e4", "E2E4", "nf3", "Pe4", "e4!",
                             "Rh8#", "hello", "e", "2", "null", "0000", "-", " e4", "e4 "})
        EXPECT_EQ(parsed(START_FEN, text), NULL_MOVE) << text;
    EXPECT_EQ(parsed("7k/8/8/3p4/8/4N3/8/K7 w - -", "Nd5"), NULL_MOVE) << "a capture has an x";
}

TEST_F(ParseMove, RefusesIllegalMoves) {
    const char* pinned = "4r2k/8/8/8/8/4N3/8/4K3 w - -";
    EXPECT_EQ(parsed(pinned, "Nd5"), NULL_MOVE);
    EXPECT_EQ(parsed(pinned, "e3d5"), NULL_MOVE);
    // Of two knights one is pinned: the text means the other.
    EXPECT_EQ(parsed("4r2k/8/8/8/8/4N3/8/N3K3 w - -", "Nc2"), plain("a1c2"));
}

TEST_F(ParseMove, RefusesTheEmptyText) {
    for (const char* fen : {START_FEN, "7k/8/8/8/7P/8/8/K7 w - -"})
        for (const char* text : {"", "+", "++", "+e4"}) EXPECT_EQ(parsed(fen, text), NULL_MOVE);
}

TEST_F(ParseMove, TellsOfTwoMovesThatFit) {
    set_up("7k/8/8/8/8/5N2/8/KN6 w - -");
    testing::internal::CaptureStdout();
    Move move = parsed("Nd2");
    fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "ambiguous move\n");
    EXPECT_EQ(move, NULL_MOVE);

    EXPECT_EQ(parsed("Nbd2"), plain("b1d2"));
    EXPECT_EQ(parsed("N1d2"), plain("b1d2"));
    EXPECT_EQ(parsed("Nfd2"), plain("f3d2"));
    EXPECT_EQ(parsed("N3d2"), plain("f3d2"));
}

TEST_F(ParseMove, IsSilentAboutThreeMovesThatFit) {
    testing::internal::CaptureStdout();
    Move move = parsed("7k/8/3p4/3pP3/3pP3/4P3/8/K7 w - -", "ed");
    fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(move, NULL_MOVE);
}

TEST_F(ParseMove, IsSilentAboutNoMoveThatFits) {
    set_up(START_FEN);
    testing::internal::CaptureStdout();
    EXPECT_EQ(parsed("Nd4"), NULL_MOVE);
    fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST_F(ParseMove, LeavesThePositionAsItIs) {
    Position& pos = set_up(CASTLING_FEN);
    Position old = pos;
    parsed("e1g1");
    EXPECT_EQ(memcmp(static_cast<void*>(&old), static_cast<void*>(&pos), sizeof pos), 0);
    EXPECT_EQ(pos.owner->ply, 1);
}

TEST_F(ParseMove, ReadsEveryLegalMovesOwnCoordinates) {
    Random random = {31};
    for (int round = 0; round < 150; round++) {
        Position& pos = set_up_random(random, false);
        uci_mode(round % 2);
        chess960(round / 2 % 2);
        for (Move move : legal_moves(pos)) {
            char text[MOVE_TEXT_LENGTH];
            move_to_text(pos, pos.side, move, text);
            ASSERT_EQ(parsed(text), move) << text << " in " << fen_of(pos);
        }
    }
}

TEST_F(ParseMove, ReadsEveryFormThatIsUnique) {
    Random random = {32};
    for (int round = 0; round < 60; round++) {
        Position& pos = set_up_random(random, false);
        std::vector<Move> moves = legal_moves(pos);
        std::vector<std::string> all;
        for (Move move : moves) {
            char forms[4][MOVE_TEXT_LENGTH];
            move_to_forms(pos, move, forms[0], forms[1], forms[2], forms[3]);
            for (const char* form : forms) all.emplace_back(form);
        }
        for (size_t i = 0; i < all.size(); i++) {
            const std::string& form = all[i];
            if (form.empty() || form == "+" || std::count(all.begin(), all.end(), form) > 1)
                continue;
            // "ab" and "cb" look like a promotion to a bishop.
            if (form.size() <= 3 && form[1] == 'b') continue;
            ASSERT_EQ(parsed(form), moves[i / 4]) << form << " in " << fen_of(pos);
        }
    }
}

TEST_F(ParseMove, SurvivesRandomText) {
    Random random = {33};
    const char letters[] = "abcdefgh12345678NBRQKOo0-x=+q #\xE4";
    set_up("r3k2r/1P4P1/8/3pP3/8/8/8/R3K2R w KQkq d6");
    testing::internal::CaptureStdout();
    for (int round = 0; round < 3000; round++) {
        std::string text;
        for (int length = random_below(random, 12); length > 0; length--)
            text += letters[random_below(random, static_cast<int>(sizeof letters) - 1)];
        parsed(text);
    }
    testing::internal::GetCapturedStdout();
}
