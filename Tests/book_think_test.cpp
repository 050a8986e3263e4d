// How a think and the console use books: programs of their own that are talked to.

#include <fstream>

#include "book_support.h"
#include "shell_fixture.h"

namespace {

// What the program says in a directory to these lines.
Lines talk_in(const std::string& directory, const std::vector<std::string>& arguments,
              const std::string& input) {
    Program program = start_program(arguments, directory);
    send_bytes(program, input);
    close_input(program);
    EXPECT_EQ(wait_exit(program, 60000), 0);
    return program.lines;
}

const std::string BOOKS_ON = "setoption name OwnBook_File value 1.bin\n"
                             "setoption name OwnBook2_File value 2.bin\n"
                             "setoption name OwnBook value true\n";

} // namespace

TEST(BookThink, TheMoveOfABookIsPlayedWithoutASearch) {
    const std::string directory = fresh_directory();
    book_file(entries_of(START_FEN, {{"a2a3", 1}}) + entries_of(CASTLING, {{"e1h1", 1}}), 0,
              directory, "1.bin");
    Lines lines = talk_in(directory, {"-use_hce"},
                          BOOKS_ON + "position startpos\ngo depth 4\nposition fen " + CASTLING
                              + "\ngo depth 4\n");
    std::string tail;
    for (size_t i = lines.size() - 6; i < lines.size(); i++) tail += lines[i] + "\n";
    EXPECT_EQ(tail, "info string (book moves are: a2a3  )\n"
                    "info string book move is a2a3\n"
                    "bestmove a2a3\n"
                    "info string (book moves are: e1h1  )\n"
                    "info string book move is e1g1\n"
                    "bestmove e1g1\n");
}

TEST(BookThink, BooksAreAskedOnlyWithTheOptionOn) {
    const std::string directory = fresh_directory();
    book_file(entries_of(START_FEN, {{"a2a3", 1}}), 0, directory, "1.bin");
    Lines lines =
        talk_in(directory, {"-use_hce", "-book", "1.bin"}, "position startpos\ngo depth 2\n");
    EXPECT_EQ(count_lines(lines, "info string (book"), 0);
    EXPECT_EQ(count_lines(lines, "bestmove "), 1);
}

TEST(BookThink, TheSecondBookIsReadOnlyWithinItsDepth) {
    const std::string directory = fresh_directory();
    const char* later = "rnbqkbnr/pppppppp/8/8/8/P7/1PPPPPPP/RNBQKBNR b KQkq -";
    book_file(entries_of(START_FEN, {{"a2a3", 1}}), 0, directory, "1.bin");
    book_file(entries_of(START_FEN, {{"h2h3", 1}}) + entries_of(later, {{"h7h6", 1}}), 0, directory,
              "2.bin");
    auto answers = [&](const std::string& options) {
        Lines lines = talk_in(directory, {"-use_hce"},
                              BOOKS_ON + options
                                  + "position startpos\ngo depth 1\n"
                                    "position startpos moves a2a3\ngo depth 1\n");
        std::string text;
        for (const std::string& line : lines)
            if (line.compare(0, 25, "info string book move is ") == 0)
                text += line.substr(25) + " ";
        return text;
    };
    EXPECT_EQ(answers(""), "a2a3 ") << "24 and 0: the second book is never read";
    EXPECT_EQ(answers("setoption name OwnBook2_Depth value 1\n"), "a2a3 ");
    EXPECT_EQ(answers("setoption name OwnBook2_Depth value 2\n"), "a2a3 h7h6 ");
    EXPECT_EQ(answers("setoption name OwnBook_Depth value 0\n"
                      "setoption name OwnBook2_Depth value 2\n"),
              "h2h3 h7h6 ");
}

TEST(BookThink, AMoveIntoADrawByRepetitionIsDroppedAndTheSearchRuns) {
    const std::string directory = fresh_directory();
    const char* before = "rnbqkb1r/pppppppp/5n2/8/8/8/PPPPPPPP/RNBQKBNR b KQkq -";
    book_file(entries_of(before, {{"f6g8", 1}}), 0, directory, "1.bin");
    const std::string round = "g1f3 g8f6 f3g1 ";
    Lines lines =
        talk_in(directory, {"-use_hce"},
                BOOKS_ON + "position startpos moves " + round + "\ngo depth 2\n"
                    + "position startpos moves " + round + "f6g8 " + round + "\ngo depth 2\n");
    EXPECT_EQ(count_lines(lines, "info string (book moves are: f6g8  )"), 2);
    EXPECT_EQ(count_lines(lines, "info string book move is f6g8"), 1) << "a second time is allowed";
    EXPECT_EQ(count_lines(lines, "bestmove "), 2);
    EXPECT_GT(count_lines(lines, "info depth "), 0) << joined(lines);
}

TEST(BookThink, AnUnplayableMoveIsLeftToTheSearch) {
    const std::string directory = fresh_directory();
    book_file(entries_of(START_FEN, {{"e2e5", 1}}), 0, directory, "1.bin");
    Lines lines = talk_in(directory, {"-use_hce"}, BOOKS_ON + "position startpos\ngo depth 2\n");
    EXPECT_EQ(count_lines(lines, "info string book move is"), 0);
    EXPECT_EQ(count_lines(lines, "bestmove "), 1);
    EXPECT_FALSE(has_line(lines, "bestmove null"));
}

TEST(BookThink, PonderingNeverAsksABook) {
    const std::string directory = fresh_directory();
    book_file(entries_of(START_FEN, {{"a2a3", 1}}), 0, directory, "1.bin");
    Lines lines = talk_in(directory, {"-use_hce"},
                          BOOKS_ON + "position startpos\ngo ponder wtime 1000 btime 1000\n");
    EXPECT_EQ(count_lines(lines, "info string (book"), 0);
    EXPECT_EQ(count_lines(lines, "bestmove "), 1);
}

TEST(BookThink, TheConsoleNamesTheMoveWithoutAPrefix) {
    const std::string directory = fresh_directory();
    book_file(entries_of(START_FEN, {{"a2a3", 1}}), 0, directory, "1.bin");
    std::ofstream(directory + "/on.cfg") << "OwnBook = true\nOwnBook_File = 1.bin\n";
    Lines lines =
        talk_in(directory, {"-c", "-use_hce", "-d", "2", "-cfg", "on.cfg"}, "new\nmv\nquit\n");
    EXPECT_TRUE(has_line(lines, "  a2a3  cnt=     1, weight= 100.00% -> 100.00%")) << joined(lines);
    EXPECT_TRUE(has_line(lines, "selecting a2a3"));
    EXPECT_TRUE(has_line(lines, " book move is a2a3"));
}
