// The strict protocol as a client meets it: the steps of a known compliance list, and long random
// orders of commands with a model of what must be answered.

#include <algorithm>
#include <regex>
#include <string>
#include <vector>

#include "base/random.h"
#include "conversation.h"

namespace {

// Sends a `go` and checks its answer: a line with a score, whole numbers, and a legal bestmove of
// the position. Returns the move.
std::string checked_go(Program& program, const std::string& position, const std::string& go) {
    static const std::regex score("^info .*\\bscore (cp|mate) -?\\d+( |$)");
    static const std::regex broken("\\b(time|nps|nodes|hashfull|cp|mate) -?\\d*[.,]\\d");
    Talk talk = begin_talk(program);
    send(program, position);
    send(program, go);
    const std::string answer = hear(talk, "^bestmove ");
    bool scored = false;
    for (size_t i = talk.begin; i < program.lines.size(); i++) {
        scored = scored || std::regex_search(program.lines[i], score);
        EXPECT_FALSE(std::regex_search(program.lines[i], broken)) << program.lines[i];
    }
    EXPECT_TRUE(scored) << position << "\n" << go << "\n" << lines_of(talk);

    uci(position);
    const std::string move = word_after(answer, "bestmove");
    EXPECT_NE(find_move(game(), move), NULL_MOVE) << position << "\n" << go << "\n" << answer;
    const std::string ponder = word_after(answer, "ponder");
    if (!ponder.empty()) {
        play(game(), move);
        EXPECT_NE(find_move(game(), ponder), NULL_MOVE) << position << "\n" << answer;
    }
    return move;
}

class Compliance : public ShellTest {};

constexpr char START_LINE[] = "position startpos";
constexpr char MIDDLE_GAME[] =
    "position fen r1bqkbnr/pppp1ppp/2n5/1B2p3/4P3/5N2/PPPP1PPP/RNBQK2R b KQkq - 3 3";

} // namespace

TEST_F(Compliance, StartAndIdentification) {
    Program program = start_program({"-strict"});
    send(program, "isready");
    EXPECT_EQ(wait_for(program, "readyok", 20000), "readyok");
    send(program, "uci");
    EXPECT_EQ(wait_for(program, "id name ", 20000), "id name Mird 5.50");
    EXPECT_EQ(wait_for(program, "id author ", 20000), "id author Tovan Rusk");
    const std::regex option("^option name [A-Za-z0-9_]+ type (check default (true|false)|"
                            "spin default -?\\d+ min -?\\d+ max -?\\d+|button|string default .+)$");
    Talk talk = begin_talk(program);
    send(program, "uci");
    hear(talk, "^uciok$");
    int options = 0;
    for (size_t i = talk.begin; i < program.lines.size(); i++) {
        const std::string& line = program.lines[i];
        if (line.compare(0, 7, "option ") != 0) continue;
        options++;
        EXPECT_TRUE(std::regex_match(line, option)) << line;
        if (line.find(" type spin ") == std::string::npos) continue;
        EXPECT_LE(number_after(line, "min"), number_after(line, "default")) << line;
        EXPECT_LE(number_after(line, "default"), number_after(line, "max")) << line;
    }
    EXPECT_EQ(options, 23);
    run_script(program, "> ucinewgame\n> isready\n< readyok\n> ucinewgame\n> ucinewgame\n"
                        "> setoption name Hash value 16\n> isready\n< readyok");
    EXPECT_EQ(quit_program(program), 0);
}

TEST_F(Compliance, EachGoHasAScoreAndALegalMove) {
    Program program = start_program({"-strict"});
    const char* const limits[] = {"go wtime 200",
                                  "go btime 200",
                                  "go wtime 200 btime 200",
                                  "go btime 200 wtime 200",
                                  "go wtime 200 btime 200 winc 10 binc 10",
                                  "go wtime 200 winc 10 btime 200 binc 10",
                                  "go winc 10 wtime 200 binc 10 btime 200",
                                  "go wtime 200 btime 200 winc 10 binc 10 movestogo 10",
                                  "go movestogo 1 btime 200 wtime 200",
                                  "go depth 4",
                                  "go nodes 2000",
                                  "go movetime 60",
                                  "go depth 1",
                                  "go nodes 1",
                                  "go movetime 1",
                                  "go wtime 1 btime 1",
                                  "go wtime 0 btime 0"};
    for (const char* position : {START_LINE, MIDDLE_GAME}) {
        send(program, "ucinewgame");
        for (const char* go : limits) checked_go(program, position, go);
    }
    checked_go(program, "position startpos moves e2e4", "go depth 3");
    checked_go(program, "position startpos moves e2e4 e7e5 g1f3 b8c6 f1b5",
               "go wtime 200 btime 200");
    checked_go(program, "position fen 8/P6k/8/8/8/8/8/K7 w - - 0 1", "go depth 4");
    checked_go(program, "position fen r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1 moves e1g1",
               "go depth 4");
    checked_go(program, "position fen 4k3/8/8/8/8/8/8/4K3 w - - 0 1", "go depth 4");
    checked_go(program, "position fen 4k3/8/8/8/8/8/8/4K3 b - - 99 100", "go depth 4");
    checked_go(
        program,
        "position startpos moves g1f3 g8f6 f3g1 f6g8 g1f3 g8f6 f3g1 f6g8 g1f3 g8f6 f3g1 f6g8",
        "go depth 4");
    EXPECT_EQ(quit_program(program), 0);
}

TEST_F(Compliance, AShortGame) {
    Program program = start_program({"-strict"});
    send(program, "ucinewgame");
    std::string position = "position startpos moves";
    for (int ply = 0; ply < 24; ply++)
        position += " " + checked_go(program, position, "go wtime 300 btime 300 winc 2 binc 2");
    EXPECT_EQ(quit_program(program), 0);
}

TEST_F(Compliance, AGameOfChess960) {
    Program program = start_program({"-strict"});
    send(program, "setoption name uci_chess960 value true");
    uci("setoption name UCI_Chess960 value true");
    std::string position =
        "position fen bqnbrkrn/pppppppp/8/8/8/8/PPPPPPPP/BQNBRKRN w KQkq - 0 1 moves";
    for (int ply = 0; ply < 40; ply++)
        position += " " + checked_go(program, position, "go nodes 400");
    EXPECT_EQ(quit_program(program), 0);
}

namespace {

// What a client that sends commands in any order must be answered.
struct Model {
    int searches;                 // answers that are owed and must come by themselves
    bool waits;                   // the last search waits for `stop`, or `ponderhit`
    bool ponders;                 // and for `ponderhit`, too
    std::string position;         // of the next `go`
    std::vector<std::string> fen; // of each `go`, empty where there is no legal move
    int readies;
};

// The positions that commands set up, and the boards that follow.
struct Setup {
    const char* line;
    const char* fen; // empty: no move can be made
};
const Setup SETUPS[] = {
    {"position startpos", START_FEN},
    {" position   startpos moves e2e4 c7c5",
     "rnbqkbnr/pp1ppppp/8/2p5/4P3/8/PPPP1PPP/RNBQKBNR w KQkq c6"},
    {"position fen 8/8/8/8/8/5k2/8/5K1q w - - 0 1", ""},
    {"position fen 7k/8/6Q1/8/8/8/8/7K b - - 0 1", ""},
    {"position fen 6k1/5ppp/8/8/8/8/8/R6K w - - 0 1", "6k1/5ppp/8/8/8/8/8/R6K w - -"},
    {"position fen 4k3/8/8/8/8/8/8/4K2R w K - 120 90", "4k3/8/8/8/8/8/8/4K2R w K -"},
    {"position fen what is this", ""},
    {"position fen 7k/8/8/8/8/8/6q1/K7 w - - 3 9", "7k/8/8/8/8/8/6q1/K7 w - -"},
    {"position fen r3k2r/pppq1ppp/2npbn2/2b1p3/2B1P3/2NPBN2/PPPQ1PPP/R3K2R b KQkq - 4 9",
     "r3k2r/pppq1ppp/2npbn2/2b1p3/2B1P3/2NPBN2/PPPQ1PPP/R3K2R b KQkq -"},
};

constexpr const char* SHORT_SEARCHES[] = {"go depth 1",
                                          "go nodes 300",
                                          "go movetime 2",
                                          "go wtime 30 btime 30 winc 1 binc 1",
                                          "go depth 3 nodes 500 movetime 3",
                                          "go searchmoves nothing at all depth 2",
                                          "go nodes 200 mate 3",
                                          "go wtime 60 movestogo 1",
                                          "go depth 60 nodes 600"};
constexpr const char* IDLE_TALK[] = {"debug off",
                                     "register later",
                                     "",
                                     "   ",
                                     "xyzzy",
                                     "setoption name Ponder value false",
                                     "setoption name MultiPV value 2",
                                     "setoption name MultiPV value 1",
                                     "setoption name Nonsense",
                                     "setoption name Clear Hash",
                                     "setoption name Contempt value 0",
                                     "info depth 3",
                                     "position",
                                     "setoption name Hash value 1"};

// Sends a random command and keeps the model up to date.
void send_random(Program& program, Random& random, Model& model) {
    auto begin_search = [&](const std::string& line, bool waits, bool ponders) {
        send(program, line);
        model.waits = waits;
        model.ponders = ponders;
        model.searches++;
        model.fen.push_back(model.position);
    };
    switch (random_below(random, 12)) {
    case 0:
    case 1: {
        const Setup& setup = SETUPS[random_below(random, std::size(SETUPS))];
        send(program, setup.line);
        model.position = setup.fen;
        break;
    }
    case 2:
    case 3:
    case 4:
        begin_search(SHORT_SEARCHES[random_below(random, std::size(SHORT_SEARCHES))], false, false);
        break;
    case 5: begin_search("go infinite", true, false); break;
    case 6: begin_search("go ponder wtime 40 btime 40", true, true); break;
    case 7:
        send(program, "stop");
        model.waits = false;
        break;
    case 8:
        send(program, "ponderhit");
        if (model.ponders) model.waits = false;
        break;
    case 9:
        send(program, "isready");
        model.readies++;
        break;
    case 10:
        send(program, "ucinewgame");
        model.position = START_FEN;
        model.waits = false;
        break;
    default: send(program, IDLE_TALK[random_below(random, std::size(IDLE_TALK))]);
    }
}

void check_answers(const Program& program, const Model& model) {
    size_t number = 0;
    for (const std::string& line : program.lines) {
        if (line.compare(0, 9, "bestmove ") != 0) continue;
        ASSERT_LT(number, model.fen.size());
        const std::string& fen = model.fen[number++];
        const std::string move = word_after(line, "bestmove");
        if (fen.empty()) {
            EXPECT_EQ(move, "(none)") << "of search " << number;
        } else {
            set_up(fen.c_str());
            EXPECT_NE(find_move(game(), move), NULL_MOVE) << fen << ": " << line;
        }
    }
    EXPECT_EQ(number, model.fen.size());
    EXPECT_EQ(count_lines(program.lines, "readyok"), model.readies);
}

// Sends random commands; now and then everything must have been answered but what waits.
void talk_at_random(const std::vector<std::string>& arguments, int commands, uint64_t seed) {
    constexpr int STEP = 50;
    Program program = start_program(arguments);
    Random random = {seed};
    Model model = {0, false, false, START_FEN, {}, 0};
    for (int i = 0; i < commands; i += STEP) {
        for (int j = 0; j < STEP; j++) send_random(program, random, model);
        for (const bool finish : {false, true}) {
            if (finish) send(program, "stop");
            send(program, "isready");
            model.readies++;
            const int waiting = !finish && model.waits;
            auto answered = [&] {
                return count_lines(program, "bestmove ") >= model.searches - waiting
                    && count_lines(program, "readyok") == model.readies;
            };
            while (!answered()) ASSERT_NE(wait_for(program, "", 20000), "") << "after " << i;
            EXPECT_EQ(count_lines(program, "bestmove "), model.searches - waiting) << "after " << i;
        }
        model.waits = false;
    }
    EXPECT_EQ(quit_program(program), 0);
    check_answers(program, model);
}

class RandomOrders : public ShellTest {};
class LongRandomOrders : public ShellTest {};

} // namespace

TEST_F(RandomOrders, OneThread) { talk_at_random({"-strict", "-hash", "1"}, 1000, 1); }

TEST_F(RandomOrders, ThreeThreads) {
    talk_at_random({"-strict", "-hash", "1", "-threads", "3"}, 500, 2);
}

TEST_F(LongRandomOrders, TenThousandCommands) {
    talk_at_random({"-strict", "-hash", "1"}, 10000, 3);
}
