// The differences between the plain and the strict protocol: a conversation for each row of the
// table in Docs/protocol.md, both ways.

#include <algorithm>
#include <fstream>
#include <memory>
#include <set>

#include "book/book.h"
#include "conversation.h"

namespace {

// A row of the table; scripts as in conversation.h.
struct Row {
    const char* name;   // becomes part of the test's name
    const char* matter; // first column of the table
    bool fresh;         // wants a program of its own
    const char* plain;
    const char* strict;
};

void PrintTo(const Row& row, std::ostream* out) { *out << row.name; }

#define MATE_IN_ONE "position fen 6k1/5ppp/8/8/8/8/8/R6K w - - 0 1\n"
#define ONLY_MOVE "position fen 7k/8/8/8/8/8/6q1/K7 w - - 0 1\n"
#define MATED "position fen 7k/5QQ1/8/8/8/8/8/7K b - - 0 1\n"
#define TACTICS "position fen 2rr3k/pp3pp1/1nnqbN1p/3pN3/2pP4/2P3Q1/PPB4P/R4RK1 w - - 0 1\n"
#define START "position startpos\n"

const Row ROWS[] = {
    {"EarlierLimits", "earlier limits", false,
     "> " START "> go depth 3\n< bestmove\n> go movetime 200\n< info depth 3 \n< bestmove\n"
     "! info depth 4\n> go infinite\n> stop\n< bestmove",
     "> " START "> go depth 3\n< bestmove\n> go movetime 200\n< info depth 4 \n< bestmove"},
    {"SeveralLimits", "several limits", false,
     "> " START "> go depth 9 wtime 1 btime 1\n< info depth 9 \n< bestmove",
     "> " START "> go depth 9 wtime 1 btime 1\n< bestmove\n! info depth 9 \n"
     "> go depth 3 nodes 100000 wtime 60000\n< info depth 3 \n< bestmove\n! info depth 4 \n"
     "> go nodes 50 depth 20 movetime 5000\n< nodes 50 \n< bestmove"},
    {"NumbersOutOfRange", "numbers out of range", false,
     "> " START "> go depth 200\n< bestmove null\n> go infinite\n> stop\n< bestmove",
     "> " START "> go depth 200 nodes 300\n< info string depth 200 is out of range, 66 is taken\n"
     "< bestmove [a-h]\n> go nodes\n< info string nodes has no number, 1 is taken\n< bestmove\n"
     "> go movetime x depth 1\n< info string movetime has no number\n< bestmove\n"
     "> go mate -3 nodes 99999999999999999999\n< mate -3 .* 1 is taken\n"
     "< nodes 9223372036854775807 .* 4611686018427387904\n> stop\n< bestmove"},
    {"MissingClocks", "clocks that are missing", false,
     "> " START "> go wtime 40 btime 40\n< bestmove\n> go btime 900000\n< bestmove\n"
     "> go infinite\n> stop\n< bestmove",
     "> " START "> go btime 80\n< info .* score\n< bestmove [a-h]\n"
     "> " START "> go winc 10\n< bestmove [a-h]\n> go movestogo 3\n< bestmove [a-h]\n"
     "> position startpos moves e2e4\n> go wtime 80\n< info .* score\n< bestmove [a-h]"},
    {"Nodes", "`nodes`", false,
     "> " START "> go nodes 5000\n< info .* nodes (4[89]|5[012])\\d\\d \n< bestmove\n"
     "> go nodes 1\n< info depth 2 \n< bestmove\n> go infinite\n> stop\n< bestmove",
     "> " START "> go nodes 5000\n< info .* nodes 5000 \n< bestmove\n"
     "> go nodes 1\n< info depth 1 .* nodes 1 \n< bestmove"},
    {"SearchMoves", "`searchmoves`", false,
     "> " START "> go searchmoves a2a3 h2h3 depth 4\n< bestmove [b-g]\n> go infinite\n> stop\n"
     "< bestmove",
     "> " START "> go searchmoves a2a3 h2h3 depth 4\n< bestmove [ah]2\n! pv [b-g]\n"
     "> go depth 3 searchmoves a7a6 b1a3 nothing\n< can't search move 'a7a6'\n"
     "< can't search move 'nothing'\n< bestmove b1a3\n"
     "> go depth 2 searchmoves e2e5\n< can't search\n< bestmove [a-h]"},
    {"Mate", "`mate`", false,
     "> " MATE_IN_ONE "> go mate 1 infinite\n< bestmove a1a8\n> " START
     "> go mate 1 depth 3\n< info depth 3 \n< bestmove\n> go infinite\n> stop\n< bestmove",
     "> " MATE_IN_ONE "> go mate 1\n< score mate 1 .* pv a1a8$\n< bestmove a1a8\n> " START
     "> go mate 2 nodes 4000\n< nodes 4000 \n< bestmove"},
    {"InfiniteAndPonder", "`infinite` and `ponder`", false,
     "> " MATE_IN_ONE "> go infinite\n< bestmove a1a8\n> go ponder depth 2\n< bestmove a1a8\n"
     "> go infinite\n> stop\n< bestmove",
     "> " MATE_IN_ONE "> go infinite\n~ 60\n! bestmove\n> stop\n< bestmove a1a8\n"
     "> go ponder depth 2\n~ 60\n= 1 bestmove\n> ponderhit\n< bestmove a1a8\n"
     "> go ponder depth 2\n~ 30\n> stop\n< bestmove a1a8\n= 3 bestmove\n"
     "> " MATED "> go infinite\n~ 30\n= 3 bestmove\n> stop\n< bestmove \\(none\\)"},
    {"GoInASearch", "`go` in a search", false,
     "> " START "> go infinite\n~ 40\n> go depth 2\n< bestmove\n= 1 bestmove\n"
     "> go infinite\n~ 40\n> ucinewgame\n= 1 bestmove",
     "> " START "> go infinite\n~ 40\n> go depth 2\n< bestmove\n< bestmove\n= 2 bestmove\n"
     "> go infinite\n~ 40\n> ucinewgame\n< bestmove\n= 3 bestmove\n"
     "> go ponder wtime 1000 btime 1000\n> go infinite\n> go depth 1\n"
     "< bestmove\n< bestmove\n< bestmove\n= 6 bestmove"},
    {"OnlyMove", "only move", false, "> " ONLY_MOVE "> go infinite\n< bestmove a1b1",
     "> " ONLY_MOVE "> go nodes 60000\n< nodes 60000 \n< bestmove a1b1\n"
     "> go wtime 60000 btime 60000\n< bestmove a1b1"},
    {"NoLegalMove", "no legal move", false,
     "> " MATED "> go depth 3\n< bestmove null\n! depth 0\n> go infinite\n< bestmove null",
     "> " MATED "> go depth 3\n< ^info depth 0 score mate 0$\n< ^bestmove \\(none\\)$\n"
     "> position fen 7k/8/6Q1/8/8/8/8/7K b - - 0 1\n> go movetime 100\n"
     "< ^info depth 0 score cp 0$\n< ^bestmove \\(none\\)$"},
    {"BehindFiftyMoves", "behind fifty moves", false, "",
     "> position fen 7k/8/8/8/8/8/P7/K7 w - - 130 120\n> go depth 3\n< bestmove a\n"
     "> position fen 7k/8/8/8/8/8/8/K7 w - - 130 120\n> go depth 3\n< score cp 0\n< bestmove a1"},
    {"FiftyMoveRule", "fifty-move rule", false,
     "> position fen 7k/8/8/8/8/8/8/K2Q4 w - - 99 90\n> go depth 4\n"
     "< score (mate|cp [1-9])\n< bestmove\n> go infinite\n> stop\n< bestmove",
     "> position fen 7k/8/8/8/8/8/8/K2Q4 w - - 99 90\n> go depth 4\n< score cp 0 \n< bestmove\n"
     "> position fen 6k1/5ppp/8/8/8/8/8/R6K w - - 99 90\n> go depth 4\n"
     "< score mate 1 \n< bestmove a1a8"},
    {"BeingMated", "score of being mated", false,
     "> position fen k7/8/1K6/8/8/8/8/7R b - - 0 1\n> go depth 5\n< score mate -2 \n"
     "< bestmove a8b8\n> go infinite\n> stop\n< bestmove",
     "> position fen k7/8/1K6/8/8/8/8/7R b - - 0 1\n> go depth 5\n< score mate -1 \n"
     "< bestmove a8b8"},
    {"Bounds", "bounds", false,
     "> " TACTICS "> go depth 9\n< bestmove g3g6\n! bound\n> go infinite\n> stop\n< bestmove",
     "> " TACTICS
     "> go depth 9\n< score (cp|mate) -?\\d+ (upper|lower)bound time\n< bestmove g3g6"},
    {"EndOfLines", "end of lines", false,
     "> position fen 8/8/8/8/8/5k2/8/5K1q b - - 0 1\n> go depth 1\n< bestmove\n> go infinite\n"
     "> stop\n< bestmove",
     "> position fen 7k/8/5K2/8/8/8/8/R7 w - - 0 1\n> go depth 12\n"
     "< score mate 2 .* pv( [a-h][1-8][a-h][1-8]){3}$\n< bestmove\n"
     "> position fen 7k/8/8/8/8/8/8/K2Q4 w - - 97 90\n> go depth 6\n"
     "< score cp 0 .* pv( [a-h][1-8][a-h][1-8]){1,3}$\n< bestmove"},
    {"FirstScore", "first score", false,
     "> " START "> go nodes 1\n< info depth 2 \n< bestmove\n> go infinite\n> stop\n< bestmove",
     "> " START "> go nodes 1\n< info depth 1 seldepth 1 score cp -?\\d+ .* pv [a-h]\n< bestmove\n"
     "> go wtime 0 btime 0\n< info depth .* score .* pv [a-h]\n< bestmove"},
    {"WhiteSpace", "white space", false, "> \tgo\tdepth  2\n~ 30\n! bestmove",
     "> \tgo \tdepth  2 \r\n< bestmove\n>   position\t fen 8/8/8/8/8/8/k7/7K  w -  - 0 1\n"
     "> go depth 2\n< bestmove h1"},
    {"UnknownWords", "unknown words", false, "> please go depth 2\n~ 30\n! bestmove",
     "> please go quickly depth 2 now\n< info depth 2 \n< bestmove\n! info depth 3 \n"
     "> position the startpos with moves e2e4 and e7e5 !\n> go searchmoves e1e2 depth 1 or so\n"
     "< bestmove e1e2\n> xyzzy\n> setoption the name MultiPV value 1\n< MultiPV set to 1"},
    {"LengthOfLines", "length of lines", false, "> isready@isready\n< readyok\n< readyok",
     "> isready@isready\n~ 20\n= 1 readyok"},
    {"BoardAtTheStart", "board at the start", true, "> go depth 1\n< bestmove\n! bestmove e2",
     "> go searchmoves e2e4 depth 1\n< bestmove e2e4\n> " MATED "> ucinewgame\n"
     "> go searchmoves g1f3 depth 1\n< bestmove g1f3"},
    {"CountersOfAFen", "counters of a FEN", false,
     "> position fen 7k/8/8/8/8/8/8/K2Q4 w - - 100 90\n> go depth 3\n< score (mate|cp [1-9])\n"
     "< bestmove\n> go infinite\n> stop\n< bestmove",
     "> position fen 7k/8/8/8/8/8/8/K2Q4 w - - 100 90\n> go depth 3\n< score cp 0 \n< bestmove"},
    {"TextThatIsNoFen", "text that is no FEN", false,
     "> position fen K7/8/8/7k w\n> go depth 2\n< bestmove a8\n> go infinite\n> stop\n< bestmove",
     "> position fen K7/8/8/7k w\n< info string no position: the board does not have eight ranks\n"
     "> go depth 2\n< info depth 0 score cp 0\n< bestmove \\(none\\)\n"
     "> position fen K7/8/8/8/8/8/8/7k x\n< neither w nor b\n"
     "> position fen K7/8/8/8/8/8/8/6Pk w\n< a pawn is on\n"
     "> position fen K7/R7/8/8/8/8/8/k7 w\n< the side not to move is in check\n"
     "> position fen\n< it has no fields"},
    {"MovesOfPosition", "moves of `position`", false,
     "> position startpos moves e2e5\n! can't play\n> go depth 1\n< bestmove\n> go infinite\n"
     "> stop\n< bestmove",
     "> position startpos moves E2E4 e7e6 e4e6 d2d4\n< can't play move 'e4e6'\n"
     "> go searchmoves e4e5 depth 1\n< bestmove e4e5"},
    {"NamesOfOptions", "names of options", false,
     "> setoption name multipv value 2\n> setoption name Move Overhead value 20\n! set to",
     "> setoption name multipv value 2\n< MultiPV set to 2\n"
     "> setoption name Move Overhead value 20\n< MoveOverhead set to 20\n"
     "> setoption NAME MOVE_OVERHEAD VALUE 50\n< MoveOverhead set to 50\n"
     "> setoption name MultiPV value 1\n< MultiPV set to 1"},
    {"Buttons", "buttons", false, "> setoption name Clear_Hash\n! cleared",
     "> setoption name Clear Hash\n< Hash table cleared"},
    {"ValuesOfOptions", "values of options", false,
     "> setoption name MultiPV value x\n< MultiPV set to 1\n> setoption name Ponder value TRUE\n"
     "< Ponder set to 0\n> setoption name Ponder value true\n< Ponder set to 1",
     "> setoption name MultiPV value x\n< MultiPV needs a number\n"
     "> setoption name Ponder value TRUE\n< Ponder set to 1\n"
     "> setoption name Ponder value maybe\n< Ponder needs true or false\n"
     "> setoption name Contempt value -1000\n< Contempt set to -150\n"
     "> setoption name Contempt value 0\n< Contempt set to 0\n! set to ''"},
    {"OptionsWithoutEffect", "options without effect", false,
     "> setoption name Nothing value 1\n! Nothing\n> go infinite\n> setoption name Hash value 8\n"
     "~ 40\n! Hash\n> stop\n< bestmove",
     "> setoption name Nothing value 1\n< no option 'Nothing'\n> go infinite\n"
     "> setoption name Hash value 8\n< Hash can't be changed while a search runs\n> stop\n"
     "< bestmove\n> setoption name a b value 1\n< no option 'a b'\n> setoption\n< no option ''"},
    {"EmptyTexts", "empty texts", false,
     "> uci\n< option name SyzygyPath type string default $\n< uciok",
     "> uci\n< option name SyzygyPath type string default <empty>$\n< uciok\n"
     "> setoption name OwnBook_File value <empty>\n< OwnBook_File set to ''\n! can't open"},
    {"ThreadsZero", "`Threads` 0", false,
     "> setoption name Threads value 0\n< Threads set to 0\n> setoption name Threads value 1\n"
     "< Threads set to 1",
     "> setoption name Threads value 0\n< Threads set to 1"},
    {"UciElo", "`UCI_Elo`", true,
     "> uci\n< option name UCI_Elo type spin default \\d+ min 1500 max \\d+\n< uciok\n"
     "! default 2000 min",
     "> uci\n< option name UCI_Elo type spin default 2000 min 1500 max 3300\n< uciok\n"
     "> go nodes 100\n< bestmove\n> uci\n< UCI_Elo type spin default 2000 min 1500 max 3300"},
    {"UciLimitStrength", "`UCI_LimitStrength`", true,
     "> " START "> go nodes 3000\n< bestmove\n> setoption name UCI_LimitStrength value true\n"
     "> go nodes 3000\n< nodes \\d{4,} \n< bestmove",
     "> " START "> go nodes 3000\n< bestmove\n> setoption name UCI_LimitStrength value true\n"
     "> go movetime 150\n< bestmove\n! nodes \\d{5,} \n"
     "> setoption name UCI_LimitStrength value false\n> go movetime 300\n< nodes \\d{5,} "},
    {"FilesThatCantBeOpened", "files that can't be opened", true,
     "> setoption name OwnBook_File value /no/book\n"
     "> setoption name ConfigFilePath value /no/file\n"
     "! can't open",
     "> setoption name NN_File value /no/network\n< can't open /no/network: No such file\n"
     "> setoption name NN_File value .\n< can't open .: it is no plain file\n"
     "> setoption name OwnBook_File value /no/book\n< can't open /no/book: No such file\n"
     "> setoption name ConfigFilePath value /no/file\n< can't open /no/file: No such file\n"
     "> uci\n< NN_File type string default embedded$\n> go depth 2\n< bestmove"},
};

// Rows of the table that have tests of their own below.
const char* const OTHER_ROWS[] = {"input in a search",  "clock in a search", "`MoveOverhead`",
                                  "lines of `MultiPV`", "`currmove`",        "book in an analysis",
                                  "length of games",    "memory for `Hash`", "`debug off`"};

// Both programs, which most conversations share. What the one before has left is gone: its
// position, and its limits, which hold in the plain protocol until a search without any.
Program& shared_program(bool strict) {
    static std::unique_ptr<Program> programs[2];
    std::unique_ptr<Program>& program = programs[strict];
    if (!program)
        program = std::make_unique<Program>(start_program(
            strict ? std::vector<std::string>{"-strict"} : std::vector<std::string>{}));
    run_script(*program, "> position startpos\n> go infinite\n> stop\n< bestmove");
    return *program;
}

class ProtocolRow : public testing::TestWithParam<Row> {};

// Milliseconds of the last search line: the least of some attempts, as a busy machine delays one.
double least_time(Program& program, const std::string& go) {
    double least = 1e9;
    send(program, "position startpos");
    for (int attempt = 0; attempt < 5; attempt++) {
        Talk talk = begin_talk(program);
        send(program, go);
        std::string last, line;
        while (!(line = hear(talk, "^(info depth|bestmove)")).empty() && line[0] == 'i')
            last = line;
        least = std::min(least, number_after(last, "time"));
    }
    return least;
}

// The lines of the answer to a `go`, with its bestmove.
std::vector<std::string> answer_to(Program& program, const std::string& go) {
    Talk talk = begin_talk(program);
    send(program, go);
    hear(talk, "^bestmove");
    return {program.lines.begin() + static_cast<long>(talk.begin), program.lines.end()};
}

} // namespace

TEST_P(ProtocolRow, IsAsTheTableSays) {
    const Row& row = GetParam();
    for (bool strict : {false, true}) {
        SCOPED_TRACE(strict ? "strict" : "plain");
        std::string script = strict ? row.strict : row.plain;
        if (row.fresh) {
            Program program = start_program(strict ? std::vector<std::string>{"-strict"}
                                                   : std::vector<std::string>{});
            run_script(program, script);
            EXPECT_EQ(quit_program(program), 0);
        } else {
            run_script(shared_program(strict), script);
        }
        if (HasFatalFailure()) return;
    }
}

INSTANTIATE_TEST_SUITE_P(Table, ProtocolRow, testing::ValuesIn(ROWS),
                         [](const auto& test) { return test.param.name; });

TEST(ProtocolTable, HasATestForEachRow) {
    std::set<std::string> tested;
    for (const Row& row : ROWS) tested.insert(row.matter);
    for (const char* matter : OTHER_ROWS) tested.insert(matter);

    std::set<std::string> told;
    for (const std::string& line : read_lines(MIRD_TEST_SOURCE_DIR "/../Docs/protocol.md"))
        if (line.compare(0, 2, "| ") == 0 && line.compare(0, 8, "| Matter") != 0)
            told.insert(line.substr(2, line.find(" |", 2) - 2));
    EXPECT_EQ(tested, told);
}

TEST(ProtocolClock, IsLookedAtFromTheFirstNodeOn) {
    EXPECT_GE(least_time(shared_program(false), "go wtime 5 btime 5"), 15.0);
    EXPECT_LT(least_time(shared_program(true), "go wtime 5 btime 5"), 5.0);
    run_script(shared_program(false), "> go infinite\n> stop\n< bestmove");
}

TEST(ProtocolClock, InputIsHeardAtOnce) {
    EXPECT_GE(least_time(shared_program(false), "go infinite\nstop"), 14.0);
    EXPECT_LT(least_time(shared_program(true), "go infinite\nstop"), 14.0);
}

// Halfway between the time with and without the overhead, since a busy machine delays the line; the
// times themselves are those of StrictTime.
TEST(ProtocolClock, TheOverheadIsKeptBackFromAFixedTime) {
    for (bool strict : {false, true}) {
        Program& program = shared_program(strict);
        send(program, "setoption name MoveOverhead value 100");
        double time = least_time(program, "go movetime 150");
        if (strict) EXPECT_LT(time, 100.0);
        else EXPECT_GE(time, 150.0);
        send(program, "setoption name MoveOverhead value 50");
    }
}

TEST(ProtocolClock, TheOverheadIsKeptBackFromAClock) {
    Program& program = shared_program(true);
    for (const char* go : {"go wtime 130 btime 130", "go wtime 130 btime 130 movestogo 1"}) {
        send(program, "setoption name MoveOverhead value 100");
        EXPECT_LT(least_time(program, go), 80.0) << go;
        send(program, "setoption name MoveOverhead value 50");
    }
}

TEST(ProtocolMultiPv, PlainLinesComeOneByOne) {
    Program& program = shared_program(false);
    run_script(program, "> setoption name MultiPV value 3\n> " START);
    std::vector<std::string> lines = answer_to(program, "go depth 5");
    run_script(program, "> setoption name MultiPV value 1\n> go infinite\n> stop\n< bestmove");
    ASSERT_GE(lines.size(), 2u);
    EXPECT_EQ(word_after(lines[lines.size() - 2], "multipv"), "1") << "line 1 once more";
}

TEST(ProtocolMultiPv, StrictLinesAreWholeSortedSets) {
    constexpr int LINES = 4;
    Program& program = shared_program(true);
    run_script(program, "> setoption name MultiPV value 4\n> " TACTICS);
    for (const char* go : {"go depth 7", "go nodes 20011", "go movetime 83"}) {
        std::vector<std::string> lines = answer_to(program, go);
        int expected = 1;
        double above = 1e9;
        std::set<std::string> moves;
        std::string first;
        for (const std::string& line : lines) {
            if (line.compare(0, 13, "info multipv ") != 0) continue;
            ASSERT_EQ(number_after(line, "multipv"), expected) << go << "\n" << joined(lines);
            const double score = word_after(line, "score") == "mate"
                                   ? 30000.0 / number_after(line, "mate")
                                   : number_after(line, "cp");
            if (expected == 1) {
                above = 1e9;
                moves.clear();
                first = word_after(line, "pv");
            }
            EXPECT_LE(score, above) << go << "\n" << joined(lines);
            EXPECT_TRUE(moves.insert(word_after(line, "pv")).second) << line;
            above = score;
            expected = expected % LINES + 1;
        }
        EXPECT_EQ(expected, 1) << go << ": a set is not whole\n" << joined(lines);
        EXPECT_EQ(word_after(lines.back(), "bestmove"), first) << go;
    }
    run_script(program, "> setoption name MultiPV value 1");
}

TEST(ProtocolGames, FoldedGamesAreSearchedToAnyDepth) {
    // 888 plies: every fifty moves a pawn moves on.
    std::string moves;
    for (int i = 0; i < 11; i++) {
        for (int j = 0; j < (i < 10 ? 20 : 17); j++) moves += " g1h3 g8h6 h3g1 h6g8";
        if (i == 10) break;
        char file = static_cast<char>('a' + i % 7);
        char white = i < 7 ? '2' : '3', black = i < 7 ? '7' : '6';
        moves += std::string(" ") + file + white + file + static_cast<char>(white + 1);
        moves += std::string(" ") + file + black + file + static_cast<char>(black - 1);
    }
    for (bool strict : {false, true}) {
        Program& program = shared_program(strict);
        send(program, "position startpos moves" + moves);
        std::vector<std::string> lines = answer_to(program, "go depth 6");
        const std::string last = lines[lines.size() - 2];
        EXPECT_EQ(number_after(last, "depth"), strict ? 6 : 1) << last;
        run_script(program, "> " START "> go infinite\n> stop\n< bestmove");
    }
    // Ten times as long, in one line of 44 kilobytes.
    std::string long_moves;
    for (int i = 0; i < 2220; i++) long_moves += " g1h3 g8h6 h3g1 h6g8";
    Program& program = shared_program(true);
    send(program, "position startpos moves" + long_moves + " e2e4");
    std::vector<std::string> lines = answer_to(program, "go searchmoves e7e5 depth 6");
    EXPECT_EQ(word_after(lines.back(), "bestmove"), "e7e5");
    EXPECT_EQ(number_after(lines[lines.size() - 2], "depth"), 6);
}

TEST(ProtocolGames, BehindFiftyMovesThePlainProtocolHasNoMove) {
    std::string line = "position startpos moves";
    for (int i = 0; i < 26; i++) line += " g1f3 g8f6 f3g1 f6g8";
    for (bool strict : {false, true}) {
        Program& program = shared_program(strict);
        send(program, line);
        std::vector<std::string> lines = answer_to(program, "go depth 2");
        EXPECT_EQ(word_after(lines.back(), "bestmove") == "null", !strict);
    }
}

TEST(ProtocolBook, AnAnalysisDoesNotAskIt) {
    std::string directory = fresh_directory();
    FILE* file = fopen((directory + "/a.bin").c_str(), "wb");
    set_up(START_FEN);
    write_book_entry(file, {book_key(game()), pack_book_move(find_move(game(), "a2a4")), 1, 0});
    fclose(file);
    for (bool strict : {false, true}) {
        Program program = start_program(
            strict ? std::vector<std::string>{"-strict"} : std::vector<std::string>{}, directory);
        run_script(program, "> setoption name OwnBook_File value a.bin\n"
                            "> setoption name OwnBook value true\n> " START
                            "> go depth 1\n< bestmove a2a4\n> go infinite\n~ 30\n> stop\n"
                            "< bestmove\n> isready\n< readyok");
        Talk all = {program, 0, 0};
        EXPECT_EQ(count_heard(all, "^bestmove a2a4"), strict ? 1 : 2);
        EXPECT_EQ(count_heard(all, "info depth 1 .* score cp 0 .* pv a2a4"), strict ? 1 : 0);
        EXPECT_EQ(quit_program(program), 0);
    }
}

TEST(ProtocolLog, DebugOffEndsTheNoteOfCommands) {
    for (bool strict : {false, true}) {
        std::string directory = fresh_directory();
        std::vector<std::string> arguments = {"-log"};
        if (strict) arguments.push_back("-strict");
        Program program = start_program(arguments, directory);
        run_script(program, "> debug off\n> isready\n< readyok");
        EXPECT_EQ(quit_program(program), 0);
        std::vector<std::string> log = read_lines(directory + "/mird.log");
        EXPECT_EQ(count_lines(log, "CMD: quit"), strict ? 0 : 1);
    }
}

TEST(ProtocolFiles, AWrongNetworkEndsThePlainProgramOnly) {
    Program program = start_program({});
    ASSERT_TRUE(is_ready(program));
    send(program, "setoption name NN_File value /no/network");
    EXPECT_EQ(wait_exit(program, 60000), 0);
    EXPECT_EQ(count_lines(program, "info string can't open /no/network"), 1);
}

TEST(ProtocolSwitch, IsAnArgumentASettingAndAProgram) {
    const std::string question = "position fen 7k/5QQ1/8/8/8/8/8/7K b - -\ngo depth 1\n";
    std::string directory = fresh_directory(), path = directory + "/strict.cfg";
    std::ofstream(path) << "Strict = true\nmultipv = 2\n";
    const std::vector<std::string> ways[] = {{"-strict"}, {"-cfg", path}, {}};
    for (const auto& arguments : ways) {
        Program program = run_with_input(arguments, question);
        EXPECT_EQ(count_lines(program, "bestmove (none)"), arguments.empty() ? 0 : 1);
        EXPECT_EQ(count_lines(program, "bestmove null"), arguments.empty() ? 1 : 0);
        EXPECT_EQ(count_lines(program, "info string MultiPV set to 2"),
                  arguments.size() == 2 ? 1 : 0);
    }
    std::ofstream(path) << "Strict = false\n";
    EXPECT_EQ(count_lines(run_with_input({"-strict", "-cfg", path}, question), "bestmove null"), 1);

    Program program = start_program({}, "", MIRD_UCI_BINARY);
    send(program, question);
    close_input(program);
    EXPECT_EQ(wait_exit(program), 0);
    EXPECT_EQ(count_lines(program, "bestmove (none)"), 1);
}

TEST(ProtocolSwitch, NoGuiSeesIt) {
    for (bool strict : {false, true})
        run_script(shared_program(strict), "> setoption name Strict value true\n> uci\n< uciok\n"
                                           "! Strict (set|type)");
}

TEST(LongProtocol, CurrentMovesAreWhole) {
    Program programs[2] = {start_program({}), start_program({"-strict"})};
    for (Program& program : programs) {
        send(program, "position fen 1n4k1/P4ppp/2n2n2/8/8/2N2N2/5PPP/R5K1 w - - 0 1");
        send(program, "go infinite");
    }
    for (int strict : {0, 1}) {
        Talk all = {programs[strict], 0, 0};
        EXPECT_NE(hear(all, strict ? "currmove a7[ab]8[qrbn] " : "currmove a7[ab]8 "), "");
        send(programs[strict], "stop");
        EXPECT_EQ(count_heard(all, "currmove a7[ab]8[qrbn] ") > 0, strict == 1);
        EXPECT_EQ(quit_program(programs[strict]), 0);
    }
}
