// Input that no GUI sends: mutated FEN texts and generated protocol lines. The default numbers
// suit every test run; the variable MIRD_FUZZ sets larger ones.

#include <cstdlib>

#include <gtest/gtest.h>

#include "board/draw.h"
#include "board/make.h"
#include "search/limits.h"
#include "shell/think.h"
#include "support.h"

namespace {

int fuzz_count() {
    const char* count = getenv("MIRD_FUZZ");
    return count ? atoi(count) : 1500;
}

const char* const SEED_FENS[] = {
    "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",
    "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
    "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1",
    "rnbq1k1r/pp1Pbppp/2p5/8/2B5/8/PPP1NnPP/RNBQK2R w KQ - 1 8",
    "nqnbrkbr/1ppppp1p/p7/6p1/6P1/P6P/1PPPPP2/NQNBRKBR w HEhe - 1 9",
    "rnbqkbnr/pppp1ppp/8/8/4pP2/8/PPPPP1PP/RNBQKBNR b KQkq f3 0 3",
    "qqqqqqqk/qqqqqqqq/8/8/8/8/QQQQQQQQ/QQQQQQQK w - - 0 1",
    "8/k1P5/8/8/8/8/5p1K/8 b - - 99 120",
};

char random_character(Random& random) {
    const char letters[] = "pnbrqkPNBRQK12345678/ wbKQkq-abcdefghABCDEFGH0 9/";
    if (random_below(random, 20) == 0) return static_cast<char>(1 + random_below(random, 255));
    return letters[random_below(random, sizeof letters - 1)];
}

// A text with a few characters changed, put in, taken out or doubled.
std::string mutate(std::string text, Random& random) {
    for (int i = 1 + random_below(random, 6); i > 0; i--) {
        size_t place = static_cast<size_t>(random_below(random, static_cast<int>(text.size()) + 1));
        switch (random_below(random, 4)) {
        case 0: text.insert(place, 1, random_character(random)); break;
        case 1:
            if (place < text.size()) text.erase(place, 1);
            break;
        case 2:
            if (place < text.size()) text[place] = random_character(random);
            break;
        default: text.insert(place, text.substr(0, static_cast<size_t>(random_below(random, 12))));
        }
    }
    return text;
}

// A search of one or two iterations on this thread.
void search_briefly() {
    set_limits({.depth = UNLIMITED_DEPTH, .nodes = 200, .move_time = UNLIMITED_SECONDS});
    shell.noise = NOISE_QUIET;
    search_here();
    set_limits({.nodes = UNLIMITED_NODES});
}

} // namespace

TEST(FuzzFen, MutatedTextsAreHeldPrintedAndSearchedIfTheyCanBe) {
    Random random = {1};
    int searched = 0;
    for (int i = 0; i < fuzz_count(); i++) {
        std::string fen = mutate(SEED_FENS[random_below(random, std::size(SEED_FENS))], random);
        Position& pos = set_up(fen.c_str());
        char text[FEN_LENGTH];
        write_fen(pos, text, 1);
        ASSERT_LT(strlen(text), FEN_LENGTH);

        uint64_t key = pos.key;
        compute_keys(pos);
        ASSERT_EQ(pos.key, key) << fen;
        for (const MoveEntry& entry : all_moves(pos)) {
            Position before = pos;
            make_move(pos, entry.move);
            unmake_move(pos);
            ASSERT_EQ(memcmp(&before, &pos, sizeof pos), 0) << fen;
        }
        is_draw(pos, 0);
        if (unsearchable_reason(pos)) continue;
        searched++;
        search_briefly();
    }
    EXPECT_GT(searched, 0);
    set_up(START_FEN);
}

namespace {

const char* const WORDS[] = {
    "uci",
    "isready",
    "ucinewgame",
    "position",
    "startpos",
    "fen",
    "moves",
    "e2e4",
    "e7e5",
    "g1f3",
    "e1g1",
    "e1h1",
    "a7a8q",
    "0000",
    "z9z9",
    "e2",
    "go",
    "depth",
    "nodes",
    "movetime",
    "wtime",
    "btime",
    "winc",
    "binc",
    "movestogo",
    "infinite",
    "ponder",
    "ponderhit",
    "stop",
    "setoption",
    "name",
    "value",
    "Hash",
    "Threads",
    "Clear_Hash",
    "MultiPV",
    "Contempt",
    "Selectivity",
    "Ponder",
    "MoveOverhead",
    "UCI_Elo",
    "UCI_LimitStrength",
    "UCI_Chess960",
    "OwnBook",
    "SyzygyPath",
    "ConfigFilePath",
    "true",
    "false",
    "1",
    "2",
    "3",
    "-1",
    "16",
    "1000",
    "99999999999",
    "1e9",
    "nan",
    "-",
    "_show",
    "debug",
    "off",
    "@",
    "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR",
    "w",
    "b",
    "KQkq",
    "searchmoves",
    "mate",
};

// Whole commands that a game is made of, so that searches do run.
const char* const LINES[] = {
    "position startpos",
    "position startpos moves e2e4 e7e5 g1f3",
    "position fen 8/k1P5/8/8/8/8/5p1K/8 b - - 99 120",
    "position fen r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
    "go depth 3",
    "go nodes 300",
    "go movetime 1",
    "go wtime 20 btime 20",
    "go ponder wtime 20 btime 20",
    "go infinite",
    "stop",
    "ponderhit",
    "ucinewgame",
    "setoption name MultiPV value 3",
    "setoption name Threads value 2",
    "setoption name Hash value 1",
};

std::string random_line(Random& random) {
    std::string line;
    if (random_below(random, 3) == 0) {
        line = LINES[random_below(random, std::size(LINES))];
        if (random_below(random, 4) == 0) line = mutate(line, random);
    } else {
        for (int i = random_below(random, 8); i >= 0; i--) {
            line += WORDS[random_below(random, std::size(WORDS))];
            line += random_below(random, 10) ? " " : "  ";
        }
    }
    for (char& c : line)
        if (c == '\n') c = ' ';
    // A large table or many threads only cost time, and the end must not come by chance.
    for (const char* word : {"quit", "Hash", "Threads", "ConfigFilePath"})
        if (size_t place = line.find(word); place != std::string::npos && line.size() > 40)
            line.erase(place);
    return line;
}

} // namespace

TEST(FuzzUci, GeneratedLinesNeverCrashOrHang) {
    constexpr int BATCH = 50, PATIENCE_MS = 20000;

    Random random = {2};
    Program program = start_program({"-hash", "1"});
    for (int i = 0; i < fuzz_count(); i += BATCH) {
        for (int j = 0; j < BATCH; j++) {
            std::string line = random_line(random);
            if (line.find("99999999999") != std::string::npos
                && (line.find("Hash") != std::string::npos
                    || line.find("Threads") != std::string::npos))
                continue;
            send(program, line);
        }
        send(program, "stop");
        send(program, "setoption name UCI_LimitStrength value false");
        send(program, "setoption name Threads value 1");
        send(program, "setoption name Hash value 1");
        send(program, "isready");
        ASSERT_EQ(wait_for(program, "readyok", PATIENCE_MS), "readyok") << "batch " << i / BATCH;
        while (wait_for(program, "readyok", 0) == "readyok") {
        }
        program.lines.clear();
    }
    send(program, "quit");
    EXPECT_EQ(wait_exit(program, PATIENCE_MS), 0);
}
