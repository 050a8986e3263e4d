// Records from texts and games of others, and texts from records.

#include "search_fixture.h"

#include <cstdio>

#include "Training/conversion.h"
#include "Training/game_check.h"
#include "Training/ply_data.h"
#include "tools/pgn.h"

namespace {

class Conversion : public SearchTest {};

constexpr char MIDDLE_GAME[] = "r1bq1rk1/pp2bppp/2n1pn2/2pp4/3P1B2/2PBPN2/PP1N1PPP/R2QK2R";
const ConversionSettings USUAL;
const ConversionSettings UNSCORED = {true, 0};

// What is wrong with a line; an empty text if nothing is.
std::string reason(const char* line, const ConversionSettings& settings = USUAL) {
    PlyRecord record = {};
    const char* wrong = record_of_text(record, line, settings);
    return wrong ? wrong : "";
}

PlyRecord read_text(const std::string& line, const ConversionSettings& settings = USUAL) {
    PlyRecord record = {};
    EXPECT_STREQ(record_of_text(record, line.c_str(), settings), nullptr) << line;
    return record;
}

PlyRecord read_epd(const std::string& line, const ConversionSettings& settings = USUAL) {
    PlyRecord record = {};
    EXPECT_STREQ(record_of_epd(record, line.c_str(), settings), nullptr) << line;
    return record;
}

// Calls `take` with a reader at each game of the text.
template <class Take>
void read_games(const std::string& text, Take take) {
    static PgnReader reader;
    FILE* file = tmpfile();
    fwrite(text.data(), 1, text.size(), file);
    rewind(file);
    begin_pgn(reader, file);
    for (PgnEvent event = next_pgn_event(reader); event != PGN_END; event = next_pgn_event(reader))
        if (event == PGN_GAME) take(reader);
    fclose(file);
}

// Records of the only game of a text.
std::vector<PlyRecord> records_of(const std::string& text, const char* expected_reason,
                                  const ConversionSettings& settings = USUAL) {
    std::vector<PlyRecord> records;
    read_games(text, [&](const PgnReader& reader) {
        EXPECT_EQ(records_of_game(records, reader, settings), expected_reason);
    });
    return records;
}

// A record with all that a text can hold: from a random game, with some score and result.
PlyRecord random_record(Random& random) {
    Position& pos = set_up(START_FEN);
    play_random(pos, random, 10 + random_below(random, 100));
    if (legal_moves(pos).empty()) return random_record(random);
    PlyRecord record;
    pack_ply(record, pos, NULL_MOVE, random_below(random, 3000) - 1500,
             main_thread->line.undo_index);
    record.state |= static_cast<uint8_t>(random_below(random, 4) << RECORD_RESULT_SHIFT);
    return record;
}

std::string mutate(std::string text, Random& random) {
    const std::string letters =
        "pnbrqkPNBRQK12345678/ wbKQkq-|.{}()[]\"\\;+x=#oO0ce gr bm sc\n\t\xFF";
    for (int i = random_below(random, 6); i >= 0; i--) {
        const size_t place =
            static_cast<size_t>(random_below(random, static_cast<int>(text.size()) + 1));
        const auto letter =
            static_cast<size_t>(random_below(random, static_cast<int>(letters.size())));
        switch (random_below(random, 4)) {
        case 0: text.insert(place, 1, letters[letter]); break;
        case 1: text.erase(place, static_cast<size_t>(random_below(random, 8))); break;
        case 2:
            if (place < text.size()) text[place] = letters[letter];
            break;
        default: text.insert(place, text.substr(0, static_cast<size_t>(random_below(random, 30))));
        }
    }
    return text;
}

} // namespace

TEST_F(Conversion, TextIsFromWhitesView) {
    const std::string fen = MIDDLE_GAME;
    PlyRecord record = read_text(fen + " w KQ - 3 12 | 57 | 1.0");
    EXPECT_EQ(record.score, 57);
    EXPECT_EQ(record_result(record), RESULT_WON);
    EXPECT_EQ(record_ply(record), 22);
    EXPECT_EQ(record.halfmoves, 3);
    EXPECT_EQ(record.move, NULL_MOVE);
    EXPECT_EQ(record.state >> RECORD_CASTLING_SHIFT & 15, 3);

    record = read_text(fen + " b KQ - 3 12 | 57 | 1.0");
    EXPECT_EQ(record.score, -57);
    EXPECT_EQ(record_result(record), RESULT_LOST);
    EXPECT_EQ(record_ply(record), 23);
    EXPECT_EQ(text_of_record(record), fen + " b KQ - 3 12 | 57 | 1.0");
}

TEST_F(Conversion, RecordsComeBackFromTheirText) {
    Random random = {3};
    for (int i = 0; i < 500; i++) {
        PlyRecord record = random_record(random);
        const std::string text = text_of_record(record);
        PlyRecord back = read_text(text);
        back.place &= static_cast<uint16_t>(~RECORD_TACTICAL);
        EXPECT_EQ(memcmp(&back, &record, sizeof back), 0) << text;
        EXPECT_EQ(text_of_record(back), text);
        EXPECT_STREQ(check_alone(back, DATA_POSITIONS), nullptr) << text;
    }
}

TEST_F(Conversion, PlyOfTheOtherParityBecomesOneHigher) {
    for (int ply : {0, 15, 16, 17, 510, 511}) {
        for (const char* fen : {"4k3/p7/8/8/8/8/P7/4K3 w - -", "4k3/p7/8/8/8/8/P7/4K3 b - -"}) {
            PlyRecord record;
            pack_ply(record, set_up(fen), NULL_MOVE, 0, ply);
            const std::string text = text_of_record(record);
            const PlyRecord back = read_text(text);
            const int fitting = ply % 2 == record_side(record) ? ply : ply + 1;
            EXPECT_EQ(record_ply(back), std::min(fitting, RECORD_PLY)) << text;
            EXPECT_EQ(text_of_record(back), text);
        }
    }
}

TEST_F(Conversion, CastlingLettersMeanTheOuterRook) {
    PlyRecord record = read_text("4k3/8/8/8/8/8/8/R1R1KR1R w KQ - 0 20 | 0 | 0.5");
    EXPECT_EQ(record.state >> RECORD_CASTLING_SHIFT & 15, 3);
    ASSERT_TRUE(unpack_ply(game(), record));
    EXPECT_EQ(game().castle_rook[0], 7);
    EXPECT_EQ(game().castle_rook[1], 0);
    EXPECT_EQ(text_of_record(record), "4k3/8/8/8/8/8/8/R1R1KR1R w KQ - 0 20 | 0 | 0.5");
    EXPECT_EQ(record.state & RECORD_CHESS960, 0);
    EXPECT_NE(read_text("4k3/8/8/8/8/8/8/1R2K3 w Q - 0 20 | 0 | 0.5").state & RECORD_CHESS960, 0);
}

TEST_F(Conversion, ShortFormsAreTaken) {
    const std::string fen = std::string(MIDDLE_GAME) + " w KQ -";
    EXPECT_EQ(record_ply(read_text(fen + " | 0 | 0.5")), UNTOLD_PLY);
    EXPECT_EQ(record_ply(read_text(fen + " 0 0 | 0 | 0.5")), 0);
    EXPECT_EQ(record_ply(read_text(fen + " 0 1 | 0 | 0.5", {false, 16})), 16);
    EXPECT_EQ(read_text(fen + " 9999 99999999999 | 0 | 0.5").halfmoves, 255);
    EXPECT_EQ(read_text(fen + "|+99999|1-0\r\n").score, MATE_VALUE);
    EXPECT_EQ(record_result(read_text(fen + " | -1 | 1/2-1/2")), RESULT_DRAWN);
    EXPECT_EQ(record_result(read_text(fen + " | -1 | 0")), RESULT_LOST);
    EXPECT_EQ(record_result(read_text(fen + " | -1 | -")), NO_RESULT_KNOWN);
    EXPECT_EQ(read_text(fen + " | | 1.0", UNSCORED).score, 0);
}

TEST_F(Conversion, WhatIsWrongIsNamed) {
    struct {
        const char* line;
        const char* reason;
    } const cases[] = {
        {"", "it is no FEN | score | result"},
        {"4k3/8/8/8/8/8/8/4K3 w - - 0 1 | 0", "it is no FEN | score | result"},
        {"4k3/8/8/8/8/8/8/4K3 w - - 0 1 | 0 | 0.5 | 1", "it is no FEN | score | result"},
        {"4k3/8/8/8/8/8/8/4K3 w - | 0 | 0.5", "the position has less than four fields"},
        {"4k3/8/8/8/8/8/8/4K3 x - - | 0 | 0.5", "the side to move is none"},
        {"4k3/8/8/8/8/8/8/4K4 w - - | 0 | 0.5", "the placement is none"},
        {"4k3/8/8/8/8/8/4K3 w - - | 0 | 0.5", "the placement is none"},
        {"4k3/8/8/8/8/8/8/4Kx2 w - - | 0 | 0.5", "the placement is none"},
        {"4k3/8/8/8/8/8/8/8 w - - | 0 | 0.5", "white does not have exactly one king"},
        {"4k3/8/8/8/8/8/8/4R1K1 w - - | 0 | 0.5", "the side not to move is in check"},
        {"4k3/8/8/8/8/8/8/P3K3 w - - | 0 | 0.5", "more than 16 pawns, or one on an outer rank"},
        {"7k/5Q2/6K1/8/8/8/8/8 b - - | 0 | 0.5", "there is no legal move"},
        {"4k3/8/8/8/8/8/P7/4K3 w - a6 | 0 | 0.5", "no pawn has skipped the en passant square"},
        {"4k3/8/8/8/8/8/P7/4K3 w - a3 | 0 | 0.5", "no pawn has skipped the en passant square"},
        {"4k3/8/8/8/8/8/P7/4K3 w - - x 1 | 0 | 0.5", "a move counter is none"},
        {"4k3/8/8/8/8/8/P7/4K3 w - - 0 -1 | 0 | 0.5", "a move counter is none"},
        {"4k3/8/8/8/8/8/P7/4K3 w - - 0 1 1 | 0 | 0.5", "a move counter is none"},
        {"4k3/8/8/8/8/8/P7/4K3 w - - | | 0.5", "there is no score"},
        {"4k3/8/8/8/8/8/P7/4K3 w - - | 0.35 | 0.5", "the score is no whole number"},
        {"4k3/8/8/8/8/8/P7/4K3 w - - | 35cp | 0.5", "the score is no whole number"},
        {"4k3/8/8/8/8/8/P7/4K3 w - - | 35 | 0.7", "the result is none"},
        {"4k3/8/8/8/8/8/P7/4K3 w - - | 35 |", "the result is none"},
    };
    for (const auto& c : cases) EXPECT_EQ(reason(c.line), c.reason) << c.line;
}

TEST_F(Conversion, CapturesThatWinAreMarked) {
    auto marked = [](const char* fen) {
        return (read_text(std::string(fen) + " | 0 | 0.5").place & RECORD_TACTICAL) != 0;
    };
    EXPECT_FALSE(marked("4k3/8/8/8/8/8/P7/4K3 w - -"));
    EXPECT_TRUE(marked("4k3/8/8/3p4/4P3/8/8/4K3 w - -"));
    EXPECT_FALSE(marked("4k3/8/4p3/3p4/4P3/8/8/4K3 w - -")) << "an exchange wins nothing";
    EXPECT_FALSE(marked("4k3/8/4p3/3p4/8/4N3/8/4K2N w - -")) << "a capture that loses";
    EXPECT_TRUE(marked("8/P6k/8/8/8/8/8/4K3 w - -"));
    EXPECT_TRUE(marked("1r5k/P1K5/8/8/8/8/8/8 w - -"));
}

TEST_F(Conversion, EpdOfTheToolsIsForTheSideToMove) {
    const std::string fen = std::string(MIDDLE_GAME) + " b KQ -";
    // Training lines of PGN scans, then tuning data, search lines and analysed test suites.
    PlyRecord record = read_epd(fen + " ce 35; gr 1.0;");
    EXPECT_EQ(record.score, 35);
    EXPECT_EQ(record_result(record), RESULT_WON);
    EXPECT_EQ(record_ply(record), UNTOLD_PLY);
    EXPECT_EQ(record.move, NULL_MOVE);

    record = read_epd(fen + " ce -9999; sc -20; gr 0.0;");
    EXPECT_EQ(record.score, -20);
    EXPECT_EQ(record_result(record), RESULT_LOST);

    record = read_epd(fen + " 4 25 bm c5d4; ce -12;");
    EXPECT_EQ(record.score, -12);
    EXPECT_EQ(record_result(record), NO_RESULT_KNOWN);
    EXPECT_EQ(record.halfmoves, 4);
    EXPECT_EQ(record_ply(record), 25);
    EXPECT_EQ(record.move, find_move(set_up(fen.c_str()), "c5d4"));
    EXPECT_NE(record.place & RECORD_TACTICAL, 0);
    EXPECT_STREQ(check_alone(record, DATA_POSITIONS), nullptr);

    EXPECT_EQ(read_epd(fen + " bm Re8; id \"one\"; sc 3;").move,
              find_move(set_up(fen.c_str()), "f8e8"));
    EXPECT_EQ(read_epd(fen + " bm Re8 b6; sc 3;").move, NULL_MOVE) << "two moves";
    EXPECT_EQ(read_epd(fen + " bm Ke7; sc 3;").move, NULL_MOVE) << "no move";
}

TEST_F(Conversion, EpdWithoutAScoreIsLeftOut) {
    const std::string fen = std::string(MIDDLE_GAME) + " b KQ -";
    for (const char* rest : {"", " bm Re8;", " ce -30000; gr 1.0;", " ce -10000;", " ce -9999;"}) {
        PlyRecord record = {};
        EXPECT_STREQ(record_of_epd(record, (fen + rest).c_str(), USUAL), "there is no score");
        EXPECT_EQ(read_epd(fen + rest, UNSCORED).score, 0);
    }
    PlyRecord record = {};
    EXPECT_STREQ(record_of_epd(record, (fen + " ce 1.5;").c_str(), USUAL),
                 "the score is no whole number");
    EXPECT_STREQ(record_of_epd(record, (fen + " ce 1; gr 2;").c_str(), USUAL),
                 "the result is none");
    EXPECT_STREQ(record_of_epd(record, "nothing", USUAL), "the position has less than four fields");
}

TEST_F(Conversion, GamesAreTakenWithScoresAndResult) {
    const char* const text = "[Event \"?\"]\n[White \"a\"]\n[Black \"b\"]\n[Result \"0-1\"]\n\n"
                             "1. e4 {+0.35/12 0.5s} e5 {-0.20/11} 2. Nf3 Nc6 {book}\n"
                             "3. Bb5! {+M5/20 1s} a6?? {-1.00/9} 0-1\n";
    std::vector<PlyRecord> records = records_of(text, "");
    ASSERT_EQ(records.size(), 5u) << "the third move has no score";
    const int scores[] = {35, -20, 0, 9000, -100}, plies[] = {0, 1, 3, 4, 5};
    for (size_t i = 0; i < records.size(); i++) {
        EXPECT_EQ(records[i].score, scores[i]);
        EXPECT_EQ(record_ply(records[i]), plies[i]);
        EXPECT_EQ(record_result(records[i]), plies[i] % 2 ? RESULT_WON : RESULT_LOST);
        EXPECT_EQ((records[i].place & RECORD_FIRST) != 0, i == 0);
        EXPECT_STREQ(check_alone(records[i], DATA_POSITIONS), nullptr);
    }
    records = records_of(text, "", UNSCORED);
    ASSERT_EQ(records.size(), 6u);
    int bad = 0;
    EXPECT_STREQ(check_game(records.data(), 6, bad), nullptr) << "a whole game";
}

TEST_F(Conversion, GameOfAnotherStartAndWithoutResult) {
    const char* const text = "[Event \"?\"]\n[White \"a\"]\n[Result \"*\"]\n"
                             "[FEN \"1r2k3/8/8/8/8/8/8/1R2K3 b Qq - 0 1\"]\n\n"
                             "1... O-O-O {+0.10/5} 2. Rb2 {+0.05/5} *\n";
    std::vector<PlyRecord> records = records_of(text, "");
    ASSERT_EQ(records.size(), 2u);
    for (const PlyRecord& record : records) {
        EXPECT_FALSE(has_result(record));
        EXPECT_NE(record.state & RECORD_CHESS960, 0);
    }
    EXPECT_EQ(record_side(records[0]), BLACK);
}

TEST_F(Conversion, GameEndsAtAWordThatIsNoMove) {
    const char* const head = "[Event \"?\"]\n[Result \"1/2-1/2\"]\n\n";
    EXPECT_EQ(records_of(std::string(head) + "1. e4 {+0.1/1} e5 {+0.1/1} 2. Ke3 {+0.1/1} a6",
                         "ply 3 is no move: Ke3")
                  .size(),
              2u);
    EXPECT_TRUE(records_of("[Event \"?\"]\n[FEN \"8/8/8/8/8/8/8/8 w - - 0 1\"]\n\n1. e4 {+0.1/1}",
                           "white does not have exactly one king")
                    .empty());
}

TEST_F(Conversion, GroupsGoOnWhilePliesRiseAndTheResultStays) {
    const std::string fen = MIDDLE_GAME;
    const PlyRecord first = read_text(fen + " w KQ - 0 12 | 57 | 1.0");
    EXPECT_TRUE(continues_game(read_text(fen + " b KQ - 0 12 | 5 | 1.0"), first));
    EXPECT_FALSE(continues_game(read_text(fen + " b KQ - 0 12 | 5 | 0.5"), first));
    EXPECT_FALSE(continues_game(read_text(fen + " w KQ - 0 12 | 5 | 1.0"), first));
}

TEST_F(Conversion, DamagedLinesAndGamesAreTakenOrRefused) {
    const std::string texts[] = {
        std::string(MIDDLE_GAME) + " b KQ - 3 12 | 57 | 1.0",
        "rnbqkbnr/pppp1ppp/8/8/4pP2/8/PPPPP1PP/RNBQKBNR b KQkq f3 0 3 | -4 | 0.5",
        std::string(MIDDLE_GAME) + " b KQ - 4 25 bm c5d4; ce -12; gr 0.5; sc 3;",
    };
    const std::string game_text = "[Event \"?\"]\n[White \"a\"]\n[Result \"0-1\"]\n"
                                  "[FEN \"r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1\"]\n\n"
                                  "1. O-O {+0.35/12 0.5s} Kf7 {-0.20/11} 2. Rae1 Rh2 {book} 0-1\n";
    Random random = {9};
    size_t taken = 0;
    std::vector<PlyRecord> records;
    testing::internal::CaptureStdout(); // moves that are ambiguous
    for (int i = 0; i < 3000; i++) {
        const std::string line = mutate(texts[random_below(random, 3)], random);
        PlyRecord record = {};
        if (!record_of_text(record, line.c_str(), UNSCORED)
            || !record_of_epd(record, line.c_str(), UNSCORED))
            records.push_back(record);
        read_games(mutate(game_text, random),
                   [&](const PgnReader& reader) { records_of_game(records, reader, UNSCORED); });
        for (const PlyRecord& made : records) {
            EXPECT_STREQ(check_alone(made, DATA_POSITIONS), nullptr) << line;
            EXPECT_EQ(text_of_record(read_text(text_of_record(made))), text_of_record(made));
        }
        taken += records.size();
        records.clear();
    }
    testing::internal::GetCapturedStdout();
    EXPECT_GT(taken, 1000u);
}
