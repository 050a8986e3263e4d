// What a probe of a book finds, chooses and prints.

#include <cmath>
#include <cstdlib>
#include <set>

#include "base/platform.h"
#include "base/text.h"
#include "board/movetext.h"
#include "book_support.h"
#include "shell/console.h"
#include "shell_fixture.h"

namespace {

class BookProbe : public ShellTest {
protected:
    // Probes a book of these moves of one position and returns the move; `lines` gets the output.
    Move probe(const char* fen, const std::vector<Weighted>& moves) {
        std::string path = book_file(entries_of(fen, moves));
        return probe_file(path);
    }

    Move probe_file(const std::string& path) {
        Move move = NULL_MOVE;
        lines = printed_by([&] { move = book_probe(game(), path.c_str()); });
        return move;
    }

    // No output from here on, as for a certain kind of analysis.
    static void choose_in_silence() {
        set_relaxed(shell.uci_mode, 0);
        set_relaxed(engine.game_state, STATE_THINK_REQUEST);
        engine.time_base = 9999.0f;
    }

    Lines lines;
};

class LongBookProbe : public BookProbe {};

} // namespace

// Bending.

namespace {

struct BendCase {
    const char* name; // becomes part of the test's name
    int weight, variety, first, total;
    int expected;
};

void PrintTo(const BendCase& c, std::ostream* out) { *out << c.name; }

class BendWeight : public testing::TestWithParam<BendCase> {};

} // namespace

TEST_P(BendWeight, FollowsTheFormula) {
    const BendCase& c = GetParam();
    EXPECT_EQ(bend_weight(c.weight, c.variety, c.first, c.total), c.expected);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Table, BendWeight, testing::Values(
    //       name                         weight variety  first   total expected
    BendCase{"DefaultKeepsProportions",       75,     25,    75,    100,    7500},
    BendCase{"DefaultCutsFractions",           1,     25,     2,      3,    3333},
    BendCase{"ZeroTakesAQuarterOfTheFirst",  100,      0,   100,    110,    6818},
    BendCase{"NegativeBecomesZero",           10,      0,   100,    110,       0},
    BendCase{"WhatIsTakenIsCutTowardsZero",    7,      0,     7,     10,    6000},
    BendCase{"HundredAddsThreeQuarters",      10,    100,   100,    110,    7727},
    BendCase{"HundredOfASingleMove",          10,    100,    10,     10,   17000},
    BendCase{"LargestWeights",             65535,    100, 65535, 131070,    8749}),
    [](const auto& test) { return test.param.name; });
// clang-format on

// Finding.

TEST_F(BookProbe, AnEmptyNameOrAMissingFileGivesNothing) {
    EXPECT_EQ(probe_file(""), NULL_MOVE);
    EXPECT_EQ(probe_file("/no/such/book.bin"), NULL_MOVE);
    EXPECT_EQ(lines, Lines{});
}

TEST_F(BookProbe, AFileShorterThanAnEntryGivesNothing) {
    for (int bytes = 0; bytes < 16; bytes++) {
        EXPECT_EQ(probe_file(book_file({}, bytes)), NULL_MOVE) << bytes;
        EXPECT_EQ(lines, Lines{});
    }
}

TEST_F(BookProbe, AFileOfOneEntryIsFound) {
    EXPECT_EQ(probe(START_FEN, {{"e2e4", 1}}), plain("e2e4"));
    set_up("4k3/8/8/8/8/8/8/4K3 w - -");
    EXPECT_EQ(probe_file(book_file(entries_of(START_FEN, {{"e2e4", 1}}))), plain("e2e4"));
    std::string path = book_file(entries_of(START_FEN, {{"e2e4", 1}}));
    set_up(CASTLING);
    EXPECT_EQ(probe_file(path), NULL_MOVE) << "another position";
    EXPECT_EQ(lines, Lines{});
}

TEST_F(BookProbe, EachKeyOfAFileOfAnyLengthIsFoundBeforeATornEnd) {
    const std::string directory = fresh_directory();
    const std::string moves[] = {"e2e4", "e7e5", "g1f3", "b8c6", "f1b5", "a7a6", "b5a4", "g8f6"};
    for (size_t count = 1; count <= std::size(moves); count++) {
        std::vector<BookEntry> entries;
        std::vector<std::string> fens;
        set_up(START_FEN);
        for (size_t i = 0; i < count; i++) {
            fens.push_back(fen_of(game()));
            entries.push_back({book_key(game()), packed(moves[i]), 1, 0});
            play(game(), moves[i]);
        }
        for (int tail = 0; tail < 16; tail++) {
            std::string path = book_file(sorted(entries), tail, directory);
            for (size_t i = 0; i < count; i++) {
                set_up(fens[i].c_str());
                EXPECT_EQ(probe_file(path), plain(moves[i].c_str())) << count << " " << tail;
            }
        }
    }
}

TEST_F(BookProbe, WhatIsNoPlainFileGivesNothing) {
    for (const std::string& name : odd_files()) EXPECT_EQ(probe_file(name), NULL_MOVE) << name;
}

TEST_F(BookProbe, WeightsThatAllAreZeroGiveNoMove) {
    EXPECT_EQ(probe(START_FEN, {{"e2e4", 0}, {"d2d4", 0}}), NULL_MOVE);
    EXPECT_EQ(lines, Lines{});
}

TEST_F(BookProbe, AWeightOfZeroIsNeitherShownNorChosen) {
    const std::string path =
        book_file(entries_of(START_FEN, {{"e2e4", 0}, {"d2d4", 3}, {"c2c4", 0}}));
    EXPECT_EQ(probe_file(path), plain("d2d4"));
    EXPECT_EQ(lines, Lines{"info string (book moves are: d2d4  )"});
    choose_in_silence();
    seed_random(7);
    for (int i = 0; i < 20000; i++) // one in 1,000 random points is 0
        ASSERT_EQ(book_probe(game(), path.c_str()), plain("d2d4"));
}

TEST_F(BookProbe, AtMost128EntriesOfAKeyAreLookedAt) {
    std::vector<Weighted> moves(300, Weighted{"e2e4", 65535});
    moves[127].move = "d2d4";
    moves[128].move = "c2c4";
    moves[299].move = "g1f3";
    probe(START_FEN, moves);
    ASSERT_EQ(lines.size(), 1u);
    std::string expected = "info string (book moves are: ";
    for (int i = 0; i < 127; i++) expected += "e2e4 ";
    EXPECT_EQ(lines[0], expected + "d2d4  )");
    set_relaxed(shell.uci_mode, 0);
    for (int variety : {0, 25, 100}) {
        active_personality.OwnBook_Variety = static_cast<int16_t>(variety);
        probe(START_FEN, moves);
        EXPECT_EQ(lines.size(), 129u);
    }
}

TEST_F(BookProbe, AnIllegalMoveIsShownButNotChosen) {
    for (const char* text : {"e4e5", "e7e5", "a1a1", "e1h1", "e1e8", "h7h8q"}) {
        EXPECT_EQ(probe(START_FEN, {{text, 1}}), NULL_MOVE) << text;
        EXPECT_EQ(lines,
                  Lines{"info string (book moves are: " + std::string(text).substr(0, 4) + "  )"});
    }
    set_relaxed(shell.uci_mode, 0);
    EXPECT_EQ(probe(START_FEN, {{"e1h1", 1}}), NULL_MOVE);
    EXPECT_EQ(lines, Lines{"  e1h1  cnt=     1, weight= 100.00% -> 100.00%"});
}

TEST_F(BookProbe, BytesOfAnyKindDoNoHarm) {
    Random random = {52};
    const std::string directory = fresh_directory();
    for (int i = 0; i < 200; i++) {
        set_up(START_FEN);
        std::vector<BookEntry> entries;
        for (int j = random_below(random, 40); j > 0; j--)
            entries.push_back({random_below(random, 2) ? book_key(game()) : next_random(random),
                               static_cast<uint16_t>(next_random(random)),
                               static_cast<uint16_t>(next_random(random)), 9});
        std::string path = book_file(random_below(random, 2) ? sorted(entries) : entries,
                                     random_below(random, 16), directory);
        set_relaxed(shell.uci_mode, i & 1);
        active_personality.OwnBook_Variety = static_cast<int16_t>(random_below(random, 101));
        probe_file(path);
    }
}

// Output.

TEST_F(BookProbe, AGuiGetsOneLine) {
    probe(START_FEN, {{"e2e4", 5}, {"d2d4", 0}, {"g1f3", 1}});
    EXPECT_EQ(lines, Lines{"info string (book moves are: e2e4 g1f3  )"});
    Move castling = probe(CASTLING, {{"e1h1", 5}});
    EXPECT_EQ(castling, plain("e1g1") | FLAG_KING_SIDE);
    EXPECT_EQ(lines, Lines{"info string (book moves are: e1h1  )"}) << "as it stands in the book";
}

TEST_F(BookProbe, TheConsoleGetsATable) {
    set_relaxed(shell.uci_mode, 0);
    active_personality.OwnBook_Variety = 0;
    seed_random(1);
    Move move = probe(START_FEN, {{"e2e4", 100}, {"d2d4", 10}, {"c2c4", 0}, {"g1f3", 50}});
    // Shares of 10,000: 4687, 0, 0, 1562.
    std::string chosen = SQUARE_NAMES[move_from(move)];
    chosen += SQUARE_NAMES[move_to(move)];
    EXPECT_EQ(joined(lines), "  e2e4  cnt=   100, weight= 62.50% -> 75.00%\n"
                             "  d2d4  cnt=    10, weight=  6.25% ->  0.00%\n"
                             "  g1f3  cnt=    50, weight= 31.25% -> 25.00%\n"
                             "selecting "
                                 + chosen + "\n");
}

TEST_F(BookProbe, PromotionLettersAreNotShown) {
    set_relaxed(shell.uci_mode, 0);
    EXPECT_EQ(probe("8/4P3/8/8/8/k7/8/K7 w - -", {{"e7e8n", 65535}}), plain("e7e8") | FLAG_KNIGHT);
    EXPECT_EQ(joined(lines), "  e7e8  cnt= 65535, weight= 100.00% -> 100.00%\nselecting e7e8\n");
}

TEST_F(BookProbe, TheChoiceIsNamedByTheSquaresThatArePlayed) {
    set_relaxed(shell.uci_mode, 0);
    probe(CASTLING, {{"e1a1", 8}});
    EXPECT_EQ(joined(lines), "  e1a1  cnt=     8, weight= 100.00% -> 100.00%\nselecting e1c1\n");
}

TEST_F(BookProbe, AnAnalysisWithTheLimit9999IsSilentInTheConsole) {
    engine.time_base = 9999.0f;
    set_relaxed(engine.game_state, STATE_THINK_REQUEST);
    EXPECT_EQ(probe(START_FEN, {{"e2e4", 5}}), plain("e2e4"));
    EXPECT_EQ(lines.size(), 1u) << "UCI mode";
    set_relaxed(shell.uci_mode, 0);
    EXPECT_EQ(probe(START_FEN, {{"e2e4", 5}}), plain("e2e4"));
    EXPECT_EQ(lines, Lines{});
    set_relaxed(engine.game_state, STATE_IDLE);
    probe(START_FEN, {{"e2e4", 5}});
    EXPECT_EQ(lines.size(), 2u) << "no search runs";
    set_relaxed(engine.game_state, STATE_THINK_REQUEST);
    engine.time_base = 5.0f;
    probe(START_FEN, {{"e2e4", 5}});
    EXPECT_EQ(lines.size(), 2u);
    set_relaxed(engine.game_state, STATE_IDLE);
}

TEST_F(BookProbe, LinesGoToTheLog) {
    active_personality.Log = 1;
    MemoryLog log;
    probe(START_FEN, {{"e2e4", 5}});
    set_relaxed(shell.uci_mode, 0);
    probe(START_FEN, {{"e2e4", 5}});
    EXPECT_EQ(joined(log.lines()), "info string (book moves are: e2e4  )\n"
                                   "  e2e4  cnt=     5, weight= 100.00% -> 100.00%\n"
                                   "selecting e2e4\n");
}

TEST_F(BookProbe, CommandBookAsksBothBooks) {
    const std::string directory = fresh_directory();
    std::string first = book_file(entries_of(START_FEN, {{"e2e4", 3}}), 0, directory, "1.bin");
    std::string second = book_file(entries_of(START_FEN, {{"d2d4", 2}}), 0, directory, "2.bin");
    set_relaxed(shell.uci_mode, 0);
    auto book = [] {
        char line[] = "book";
        return joined(printed_by([&] { handle_console(line); }));
    };
    copy_text(active_personality.OwnBook2_File, second.c_str(), PATH_LENGTH);
    EXPECT_EQ(book(), "\n  d2d4  cnt=     2, weight= 100.00% -> 100.00%\nselecting d2d4\n\n");
    copy_text(active_personality.OwnBook_File, first.c_str(), PATH_LENGTH);
    EXPECT_EQ(book(), "  e2e4  cnt=     3, weight= 100.00% -> 100.00%\nselecting e2e4\n\n"
                      "  d2d4  cnt=     2, weight= 100.00% -> 100.00%\nselecting d2d4\n\n");
    EXPECT_EQ(main_thread->line.undo_index, 0) << "nothing is played";
}

// Real books.

namespace {

// Probes each position of a table of contents in console mode, and compares all lines that come.
// Columns: FEN, key, index of the first entry, moves with their weights.
int compare_with_contents(const std::string& book, const std::string& contents) {
    int checked = 0;
    for (const std::string& line : read_lines(contents)) {
        if (line[0] == '#') continue;
        Lines fields = fields_of(line, '\t');
        set_up(fields[0].c_str());
        EXPECT_EQ(book_key(game()), std::stoull(fields[1], nullptr, 16));

        std::string expected;
        std::set<std::string> names;
        int total = 0;
        for (int pass = 0; pass < 2; pass++) // the sum first
            for (const std::string& entry : fields_of(fields[3], ' ')) {
                std::string move = entry.substr(0, entry.find(':')), name = move.substr(0, 4);
                int weight = atoi(entry.substr(entry.find(':') + 1).c_str());
                if (pass == 0) total += weight;
                else {
                    char text[80];
                    double share = weight * (100.0 / total);
                    snprintf(text, sizeof text, "  %s  cnt= %5d, weight= %5.2f%% -> ", name.c_str(),
                             weight, share);
                    expected += text;
                    expected += "\n";
                    if (name == "e1h1" || name == "e8h8")
                        if (type_of(game().board[sq(name.c_str())]) == KING) name[2] = 'g';
                    if (name == "e1a1" || name == "e8a8")
                        if (type_of(game().board[sq(name.c_str())]) == KING) name[2] = 'c';
                    names.insert(name);
                }
            }
        Move move = NULL_MOVE;
        Lines lines = printed_by([&] { move = book_probe(game(), book.c_str()); });
        std::string found;
        for (size_t i = 0; i + 1 < lines.size(); i++)
            found += lines[i].substr(0, lines[i].find("-> ") + 3) + "\n";
        EXPECT_EQ(found, expected) << line;
        EXPECT_NE(move, NULL_MOVE) << line;
        std::string chosen = lines.empty() ? "" : lines.back();
        EXPECT_EQ(chosen.compare(0, 10, "selecting "), 0) << line;
        EXPECT_EQ(names.count(chosen.substr(10)), 1u) << line << chosen;
        checked++;
    }
    return checked;
}

} // namespace

TEST_F(BookProbe, RealBooksGiveTheirMovesAndWeights) {
    if (shared_data("").empty()) GTEST_SKIP() << "needs MIRD_TEST_DATA";
    set_relaxed(shell.uci_mode, 0);
    EXPECT_EQ(compare_with_contents(shared_data("polyglot/small-book.bin"),
                                    shared_data("polyglot/small-book-vectors.tsv")),
              200);
    EXPECT_EQ(compare_with_contents(shared_data("polyglot/lasker-trap.bin"),
                                    shared_data("polyglot/lasker-trap.tsv")),
              7);
}

TEST_F(BookProbe, AnUnderpromotionIsRead) {
    const char* fen = "rnbqk1nr/ppp2ppp/8/4P3/1BP5/8/PP2KpPP/RN1Q1BNR b kq - 1 7";
    const std::string book = book_file(entries_of(fen, {{"f2g1n", 1}}));
    set_up(fen);
    EXPECT_EQ(probe_file(book), find_move(game(), "f2g1n"));
}

// Choosing.

namespace {

// How many of the 1,000 random points choose each move, counted step by step as the rule goes: the
// running sum of the moves before must lie below the point's part of the sum.
std::vector<double> points_by_move(const std::vector<Weighted>& moves, int variety) {
    int total = 0, share_total = 0;
    for (const Weighted& move : moves) total += move.weight;
    std::vector<int> shares;
    for (const Weighted& move : moves) {
        int term = static_cast<int>(trunc((variety - 25) * moves[0].weight * 0.01));
        shares.push_back(std::max(0, (move.weight + term) * 10000 / total));
        share_total += shares.back();
    }
    std::vector<double> points(moves.size());
    for (int point = 0; point < 1000; point++) {
        int threshold = static_cast<int>(point * share_total * 0.001), sum = 0;
        size_t chosen = 0;
        for (size_t i = 0; i < moves.size(); i++) {
            if (sum < threshold) chosen = i;
            sum += shares[i];
        }
        points[chosen]++;
    }
    return points;
}

} // namespace

TEST_F(LongBookProbe, TheChoiceFollowsTheBentWeights) {
    constexpr int DRAWS = 100000;
    const std::vector<Weighted> moves = {
        {"e2e4", 100}, {"d2d4", 60}, {"g1f3", 33}, {"c2c4", 25}, {"b2b3", 4}};
    const std::string path = book_file(entries_of(START_FEN, moves));
    choose_in_silence();
    for (int variety : {0, 25, 100}) {
        active_personality.OwnBook_Variety = static_cast<int16_t>(variety);
        std::vector<double> points = points_by_move(moves, variety);
        std::vector<int> drawn(moves.size());
        seed_random(2024);
        for (int i = 0; i < DRAWS; i++) {
            Move move = book_probe(game(), path.c_str());
            for (size_t j = 0; j < moves.size(); j++)
                drawn[j] += move == plain(moves[j].move.c_str());
        }
        double chi_square = 0;
        int sum = 0;
        for (size_t j = 0; j < moves.size(); j++) {
            double expected = points[j] * DRAWS / 1000;
            if (points[j] == 0) EXPECT_EQ(drawn[j], 0) << variety << moves[j].move;
            else chi_square += (drawn[j] - expected) * (drawn[j] - expected) / expected;
            sum += drawn[j];
        }
        EXPECT_EQ(sum, DRAWS);
        EXPECT_LT(chi_square, 18.5) << variety << ": four degrees of freedom, one in 1,000";
        if (variety == 0) {
            EXPECT_EQ(drawn[3] + drawn[4], 0) << "a quarter of the first is taken off all";
        }
        RecordProperty("chi_square_" + std::to_string(variety), std::to_string(chi_square));
    }
}

TEST_F(LongBookProbe, ASumThatEqualsThePointIsNotBelowIt) {
    constexpr int DRAWS = 100000;
    // Shares 10 and 9,990: the points 0 and 1 of 1,000 choose the first.
    const std::string path = book_file(entries_of(START_FEN, {{"e2e4", 1}, {"d2d4", 999}}));
    choose_in_silence();
    seed_random(2025);
    int first = 0;
    for (int i = 0; i < DRAWS; i++) first += book_probe(game(), path.c_str()) == plain("e2e4");
    EXPECT_NEAR(first, 200, 50);
}
