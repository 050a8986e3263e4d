// Iterative deepening: the root, its order and windows, what is published, when it ends.

#include "search_fixture.h"

#include <set>

#include "board/make.h"
#include "search/driver.h"
#include "shell/uci.h"

namespace {

class Driver : public SearchTest {};

// The same with searches of many positions.
class LongDriver : public SearchTest {};

constexpr char MIDDLEGAME_FEN[] = "r1bqkb1r/pp1ppppp/2n2n2/8/3NP3/2N5/PPP2PPP/R1BQKB1R b KQkq -";

// Lines of a kind that a search prints.
std::vector<std::string> lines_with(const std::string& output, const std::string& word) {
    std::vector<std::string> found;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);)
        if (line.find(word) != std::string::npos) found.push_back(line);
    return found;
}

// The number behind a word of a line.
int number_behind(const std::string& line, const std::string& word) {
    size_t at = line.find(" " + word + " ");
    return at == std::string::npos ? -1 : std::atoi(line.c_str() + at + word.size() + 2);
}

std::string first_move(const std::string& line) {
    size_t at = line.find(" pv ") + 4;
    return line.substr(at, line.find(' ', at) - at);
}

// A search of thread 0 on the calling thread, with its lines printed.
std::string printed_search(const char* fen, int depth) {
    set_up(fen);
    hash_clear();
    set_limits({.depth = depth});
    shell.noise = 0.0f;
    testing::internal::CaptureStdout();
    search_here();
    std::string output = testing::internal::GetCapturedStdout();
    shell.noise = NOISE_QUIET;
    return output;
}

// The root moves as the last iteration left them.
std::vector<std::string> root_moves() {
    SearchThread& thread = master();
    std::vector<std::string> moves;
    for (MoveEntry* entry = thread.stack[1].move_list; entry->move != LIST_END; entry++)
        moves.push_back(text_of(thread.position, entry->move));
    return moves;
}

} // namespace

// Roots with nothing to search.

TEST_F(Driver, MatedRootScoresAMateWithoutAMove) {
    search_nodes("R6k/8/6K1/8/8/8/8/8 b - -", 5);
    EXPECT_EQ(relaxed(engine.best_score), -9999);
    EXPECT_EQ(relaxed(engine.result_depth), 1);
    EXPECT_EQ(engine.pv[1], NULL_MOVE);
    EXPECT_EQ(relaxed(master().current_depth), 1);
    EXPECT_EQ(relaxed(master().completed_depth), 1);
    EXPECT_EQ(master().seldepth, 1);
}

TEST_F(Driver, StalemateAtTheRootScoresZeroWithoutAMove) {
    search_nodes("7k/8/6Q1/8/8/8/8/K7 b - -", 5);
    EXPECT_EQ(relaxed(engine.best_score), 0);
    EXPECT_EQ(relaxed(engine.result_depth), 1);
    EXPECT_EQ(engine.pv[1], NULL_MOVE);
}

TEST_F(Driver, RootWithoutMovesSetsStop) {
    root_of("7k/8/6Q1/8/8/8/8/K7 b - -");
    search_root(0);
    EXPECT_EQ(relaxed(engine.stop), 1);
}

TEST_F(Driver, DepthZeroGivesTheLineOfQuiescence) {
    // The pawn takes the queen.
    root_of("7k/p7/8/3q4/4P3/8/8/K7 w - -");
    set_limits({.depth = 0});
    search_root(0);
    EXPECT_EQ(engine.pv[1], make_plain_move(28, 35));
    EXPECT_EQ(relaxed(engine.stop), 1);
    EXPECT_EQ(relaxed(engine.iteration_depth), 0) << "no iteration";

    Position& pos = root_of("7k/p7/8/3q4/4P3/8/8/K7 w - -");
    set_limits({.depth = -1});
    search_root(0);
    EXPECT_EQ(engine.pv[1], NULL_MOVE);
    EXPECT_EQ(relaxed(engine.stop), 1);
    EXPECT_EQ(pos.owner->ply, 1);
}

TEST_F(Driver, NumberWithoutARecordDoesNothing) {
    ASSERT_EQ(search_threads[77].load(), nullptr);
    search_root(77);
    EXPECT_EQ(relaxed(engine.stop), 0);
}

TEST_F(Driver, SingleMoveIsSearchedAndMarked) {
    search_nodes("7k/8/8/8/8/8/r5PP/7K b - -", 3);
    EXPECT_EQ(relaxed(engine.single_move), 0);
    search_nodes("k7/8/8/8/8/6q1/8/7K w - -", 4);
    EXPECT_EQ(relaxed(engine.single_move), 0) << "a stalemate";
    search_nodes("k7/8/8/8/8/5q2/7P/7K w - -", 5);
    EXPECT_EQ(relaxed(engine.single_move), 1);
    EXPECT_EQ(relaxed(engine.result_depth), 5);
    EXPECT_EQ(engine.pv[1], make_plain_move(H1, G1));
}

TEST_F(Driver, TheRootHasAStaticValueOutOfCheck) {
    root_of("7k/p7/8/3q4/4P3/8/8/K7 w - -");
    set_limits({.depth = 1});
    search_root(0);
    EXPECT_LT(master().root_eval, -300);

    root_of("7k/8/8/8/8/8/r7/4K2R w - -");
    search_root(0);
    EXPECT_NE(master().root_eval, NO_EVAL);
    root_of("7k/8/8/8/8/8/8/r3K2R w - -"); // in check
    search_root(0);
    EXPECT_EQ(master().root_eval, NO_EVAL);
}

TEST_F(Driver, QuiescenceAtTheRootCountsAndAnswersForDepthZero) {
    // The pawn takes the queen.
    Position& pos = root_of("7k/p7/8/3q4/4P3/8/8/K7 w - -");
    engine.max_depth = 0;
    search_root(0);
    EXPECT_EQ(engine.pv[1], find_move(game(), "e4d5"));
    EXPECT_GT(nodes_of(pos), 0u);

    root_of("7k/8/8/8/8/8/8/r3K2R w - -"); // in check there is none
    engine.max_depth = 0;
    search_root(0);
    EXPECT_EQ(engine.pv[1], NULL_MOVE);
    EXPECT_EQ(nodes_of(master().position), 0u);
}

TEST_F(Driver, CastlingThatOpensACheckIsNotARootMove) {
    // The rook on b1 hides the king's way from the rook on a1.
    set_relaxed(shell.chess960, 1);
    search_nodes("4k3/8/8/8/8/8/8/rR1K4 w B -", 3);
    for (MoveEntry* entry = master().stack[1].move_list; entry->move != LIST_END; entry++)
        EXPECT_EQ(entry->move & FLAG_MASK, 0);
    search_nodes("4k3/8/8/8/8/8/8/1R1K4 w B -", 3);
    int castlings = 0;
    for (MoveEntry* entry = master().stack[1].move_list; entry->move != LIST_END; entry++)
        castlings += (entry->move & FLAG_MASK) != 0;
    EXPECT_EQ(castlings, 1);
}

// The end of the loop.

TEST_F(Driver, MateEndsTheLoop) {
    search_nodes("6k1/5ppp/8/8/8/8/8/K2R4 w - -", 40);
    EXPECT_EQ(relaxed(engine.best_score), 9998);
    EXPECT_LE(relaxed(engine.result_depth), 2);
    EXPECT_EQ(relaxed(engine.iteration_depth), relaxed(engine.result_depth));

    // Mated in two plies whatever is played.
    search_nodes("7k/8/6K1/8/8/8/7p/3R4 b - -", 40);
    EXPECT_GE(relaxed(engine.best_score), -9999);
    EXPECT_LE(relaxed(engine.best_score), -9900);
    EXPECT_LT(relaxed(engine.iteration_depth), 12);
}

TEST_F(Driver, LastIterationIsTheDepthLimit) {
    for (int depth : {1, 2, 5, 7}) {
        search_nodes(MIDDLEGAME_FEN, depth);
        EXPECT_EQ(relaxed(engine.iteration_depth), depth);
        EXPECT_EQ(engine.iteration_finished, depth);
        EXPECT_EQ(relaxed(engine.result_depth), depth);
    }
}

TEST_F(Driver, DepthNeverExceedsSixtyEight) {
    // Everything is blocked; each king goes to and fro.
    root_of("k1b5/1p1p4/pP1P4/P7/7p/4p1pP/4P1P1/5B1K w - -");
    engine.max_depth = 127;
    search_root(0);
    EXPECT_EQ(relaxed(engine.iteration_depth), 68);
}

TEST_F(Driver, VeryLongGameStopsTheLoopEarly) {
    for (auto [moves, depth] : {std::pair{883, 1}, {882, 2}, {880, 4}, {900, 1}}) {
        set_up(MIDDLEGAME_FEN);
        hash_clear();
        std::fill(std::begin(main_thread->line.undo_stack), std::end(main_thread->line.undo_stack),
                  UndoRecord{});
        main_thread->line.undo_index = static_cast<int16_t>(moves);
        set_limits({.depth = 30});
        search_here();
        EXPECT_EQ(relaxed(engine.iteration_depth), depth) << moves << " moves";
        EXPECT_NE(engine.pv[1], NULL_MOVE);
    }
}

TEST_F(Driver, NodeLimitEndsTheSearch) {
    for (uint64_t limit : {2000u, 5000u, 20000u}) {
        uint64_t nodes = search_nodes(MIDDLEGAME_FEN, 0, limit);
        // Behind the node that stops, each ply on the way back may still ask for one more.
        EXPECT_GT(nodes, limit);
        EXPECT_LE(nodes, limit + 66);
        EXPECT_NE(engine.pv[1], NULL_MOVE);
    }
    // A limit too small for two iterations waits for the second.
    EXPECT_GT(search_nodes(MIDDLEGAME_FEN, 0, 1), 20u);
    EXPECT_EQ(relaxed(engine.result_depth), 2);
}

TEST_F(Driver, SoftNodeLimitLetsTheIterationFinish) {
    constexpr uint64_t SOFT_NODES = 3000;
    set_limits({.soft_nodes = SOFT_NODES});
    uint64_t nodes = search_nodes(MIDDLEGAME_FEN, MAX_DEPTH);
    int depth = engine.iteration_finished;
    Move best = engine.pv[1];
    EXPECT_GE(nodes, SOFT_NODES);

    set_limits({.soft_nodes = UNLIMITED_NODES});
    EXPECT_EQ(search_nodes(MIDDLEGAME_FEN, depth), nodes) << "the same whole iterations";
    EXPECT_EQ(engine.pv[1], best);
    EXPECT_LT(search_nodes(MIDDLEGAME_FEN, depth - 1), SOFT_NODES) << "and not one more";
}

TEST_F(Driver, StoppedBeforeItsFirstMoveItAnswersWithTheMostPromising) {
    // Rook takes rook; the pawn's capture is generated before it.
    root_of("4k3/P4p1r/6p1/3n4/2P1P3/2p5/r3b3/4K1QR w - -");
    engine.pv[2] = find_move(game(), "c4d5"); // of the think before
    set_relaxed(engine.stop, 1);
    search_root(0);
    EXPECT_EQ(engine.pv[1], find_move(game(), "h1h7"));
    EXPECT_EQ(engine.pv[2], NULL_MOVE);
    EXPECT_EQ(relaxed(engine.result_depth), 0);
}

TEST_F(Driver, AnIterationThatBeginsHasFailedNeitherWay) {
    int firm = 0;
    for (uint64_t nodes = 2000; nodes <= 60000; nodes += 2000) {
        search_nodes(MIDDLEGAME_FEN, 0, nodes);
        const bool at_first_move = master().stack[1].move_count == 0;
        firm += at_first_move && relaxed(master().root_fail) == 0;
    }
    EXPECT_GT(firm, 0) << "time is added for a fail only";
}

// Boards that no game can bring.

namespace {

// More than eleven million nodes in the first iteration.
constexpr char QUEENS_FEN[] = "7k/qqqqqqqq/qqqqqqq1/8/8/QQQQQQQ1/QQQQQQQQ/7K w - -";

} // namespace

TEST_F(Driver, NodeLimitCountsFromTheStartOnBoardsOfManyQueens) {
    uint64_t nodes = search_nodes(QUEENS_FEN, 0, 2000);
    EXPECT_GT(nodes, 2000u);
    EXPECT_LE(nodes, 2066u);
    EXPECT_NE(engine.pv[1], NULL_MOVE);
    EXPECT_EQ(relaxed(engine.iteration_depth), 1);
}

TEST_F(Driver, CrowdedBoardsAreNoted) {
    search_nodes(START_FEN, 3);
    EXPECT_EQ(relaxed(engine.crowded), 0);
    search_nodes("QQQQQQQQ/Q7/8/8/8/8/p7/k6K w - -", 2); // nine queens
    EXPECT_EQ(relaxed(engine.crowded), 0);
    search_nodes("QQQQQQQQ/QQ6/8/8/8/8/p7/k6K w - -", 2);
    EXPECT_EQ(relaxed(engine.crowded), 1);
    search_nodes("R6R/3Q4/1Q4Q1/4Q3/2Q4Q/Q4Q2/pp1Q4/kBNN1KB1 w - -", 1); // 218 moves
    EXPECT_EQ(relaxed(engine.crowded), 0);
    search_nodes("R4R1R/1K1Q4/1Q4Q1/4Q3/2Q4Q/Q4Q2/pp1Q4/kBR3R1 w - -", 1); // 219
    EXPECT_EQ(relaxed(engine.crowded), 1);
    search_nodes(START_FEN, 1);
    EXPECT_EQ(relaxed(engine.crowded), 0) << "of this think";
}

TEST_F(Driver, StoppedSearchKeepsWhatWasPublished) {
    search_nodes(MIDDLEGAME_FEN, 0, 5000);
    const int depth = relaxed(engine.result_depth);
    EXPECT_EQ(relaxed(engine.iteration_score[depth]), relaxed(engine.best_score));
    EXPECT_EQ(relaxed(engine.iteration_move[depth]), engine.pv[1]);
    EXPECT_LT(engine.iteration_finished, relaxed(engine.iteration_depth));
}

// Publishing.

TEST_F(Driver, ResultIsCopiedToTheEngine) {
    root_of(START_FEN);
    SearchThread& thread = master();
    set_relaxed(thread.score, 123);
    set_relaxed(thread.completed_depth, 9);
    for (int i = 0; i < PLY_SLOTS; i++) thread.pv[i] = static_cast<Move>(1000 + i);
    engine.pv[1] = 5;

    publish_result(thread);

    EXPECT_EQ(relaxed(engine.best_score), 123);
    EXPECT_EQ(relaxed(engine.result_depth), 9);
    EXPECT_EQ(relaxed(engine.iteration_score[9]), 123);
    EXPECT_EQ(relaxed(engine.iteration_move[9]), 1001);
    EXPECT_EQ(memcmp(engine.pv, thread.pv, sizeof engine.pv), 0);
    EXPECT_EQ(relaxed(engine.best_move_depth), 9);

    set_relaxed(thread.completed_depth, 10);
    publish_result(thread);
    EXPECT_EQ(relaxed(engine.best_move_depth), 9) << "the same best move";
}

TEST_F(Driver, NodesAreAddedUpByIteration) {
    uint64_t nodes = search_nodes(MIDDLEGAME_FEN, 7);
    for (int depth = 2; depth <= 7; depth++)
        EXPECT_GT(engine.iteration_nodes[depth], engine.iteration_nodes[depth - 1]);
    EXPECT_EQ(engine.iteration_nodes[7], nodes);
    EXPECT_EQ(engine.iteration_nodes[8], 0u);
}

TEST_F(Driver, FailLowPublishesItsNewBestMoveAtOnce) {
    // Somewhere a score falls below the window and another move takes the lead before the window
    // is widened: two lines of one depth, both below the last depth's score less the width.
    const char* const fens[] = {MIDDLEGAME_FEN,
                                "1n5k/3q3p/pp1p2pB/5r2/1PP1Qp2/P6P/6P1/2R3K1 w - -",
                                "1r1qbr1k/4bp1p/p3p2Q/3pP3/2pP4/P1N1PN2/1PR2RP1/6K1 b - -",
                                "2r1q2k/7p/p1np1P1P/8/1pP2R2/8/PP1Q4/R1KN2r1 b - -",
                                "r2r2k1/5pp1/2bPp3/p1N4p/1qQ5/2P2P2/BP4PP/1K1R4 b - -",
                                "5r1k/5rp1/p1n1p1qp/2P1p3/P7/4QN1P/5PP1/2R1R2K w - -",
                                "2r3k1/1pq1b1p1/p1b1pr1p/8/PP2pP2/2P1B3/4B1PP/RQR4K w - -",
                                "r2r2k1/6bp/1P2q1p1/4pp2/p1N5/2Q5/PPR3PP/4R2K b - -",
                                "r3r1kb/1npb1p1p/2q2np1/4p1B1/ppP1P2Q/1P2RNNP/P1B2PP1/3R2K1 w - -",
                                "3q1r1k/1b3ppp/p1n5/1p1pPB2/2rP4/P6N/1P2Q1PP/R4RK1 w - -"};
    int found = 0;
    for (const char* fen : fens) {
        int depth = 0, last_score = 0, score = 0; // of the iteration before, and of this one
        std::string move;
        for (const std::string& line : lines_with(printed_search(fen, 8), "info depth")) {
            int now = number_behind(line, "depth"), value = number_behind(line, "score cp");
            if (line.find("score cp") == std::string::npos) break;
            if (now != depth) last_score = score;
            else if (first_move(line) != move && score < last_score - 25 && value < last_score - 25)
                found++;
            depth = now;
            score = value;
            move = first_move(line);
        }
    }
    EXPECT_GT(found, 0);
}

// The order of the root moves.

TEST_F(Driver, RootMovesAreTriedByTheirScores) {
    // The moves are named as they come, once the search is long enough.
    root_of("4k3/P4p1r/6p1/3n4/2P1P3/2p5/r3b3/4K1QR w - -");
    set_relaxed(engine.elapsed, 4.0f);
    shell.noise = 0.0f;
    set_limits({.depth = 1});
    testing::internal::CaptureStdout();
    search_root(0);
    std::vector<std::string> order;
    std::vector<std::string> lines =
        lines_with(testing::internal::GetCapturedStdout(), "info currmove");
    for (size_t i = 0; i < lines.size(); i++) {
        EXPECT_EQ(number_behind(lines[i], "currmovenumber"), static_cast<int>(i) + 1);
        order.push_back(lines[i].substr(14, 4));
    }
    // Rook takes rook 240 - 4, pawn takes knight 230 - 1, the promotions 210 - 1; the queen loses
    // herself for a pawn. The first selection has swapped the rook's capture and the first pawn's.
    ASSERT_GE(order.size(), 9u);
    EXPECT_EQ(order[0], "h1h7");
    EXPECT_EQ(order[1], "c4d5");
    EXPECT_EQ(order[2], "e4d5");
    for (int i = 3; i < 7; i++) EXPECT_EQ(order[static_cast<size_t>(i)], "a7a8") << i;
    EXPECT_EQ(order.back(), "g1g6") << "1 + 4, less than the 8 of quiet moves";
}

TEST_F(Driver, BestMoveLeadsTheListForTheNextIteration) {
    search_nodes(MIDDLEGAME_FEN, 6);
    EXPECT_EQ(root_moves().front(), text_of(master().position, engine.pv[1]));
    const MoveEntry* list = master().stack[1].move_list;
    for (int i = 1; list[i].move != LIST_END; i++)
        EXPECT_LE(list[i].score, list[i - 1].score) << "in order";
}

TEST_F(Driver, RootMovesHaveTheirClass) {
    // The only legal move: the pawn goes to its seventh rank, and its child is searched a ply
    // deeper for that.
    search_nodes("7k/8/4P3/8/8/1q6/7r/K7 w - -", 1);
    EXPECT_EQ(master().stack[1].move_class, CLASS_SEVENTH);
    EXPECT_EQ(master().stack[2].depth, 1);
    // Here it goes to its fifth.
    search_nodes("7k/8/8/8/4P3/1q6/7r/K7 w - -", 1);
    EXPECT_EQ(master().stack[1].move_class, 0);
    EXPECT_EQ(master().stack[2].depth, 0);
}

TEST_F(Driver, OrderingTablesLiveForOneSearch) {
    search_nodes(MIDDLEGAME_FEN, 6);
    SearchThread& thread = master();
    int learnt = 0;
    for (int16_t history : thread.history) learnt += history != HISTORY_START;
    EXPECT_GT(learnt, 50);

    set_limits({.depth = 0});
    search_root(0);
    for (int i = 0; i < HISTORY_SIZE; i++) {
        ASSERT_EQ(thread.history[i], HISTORY_START);
        ASSERT_EQ(thread.counter1[i], NULL_MOVE);
        ASSERT_EQ(thread.counter2[i], NULL_MOVE);
        ASSERT_EQ(thread.followup[i], NULL_MOVE);
    }
    for (const SearchStackEntry& entry : thread.stack) {
        EXPECT_EQ(entry.killer2, NULL_MOVE);
        EXPECT_EQ(entry.evasion_killer, NULL_MOVE);
    }
}

// MultiPV.

TEST_F(Driver, MultiPvShowsDifferentMovesBestFirst) {
    active_personality.MultiPV = 4;
    std::string output = printed_search(MIDDLEGAME_FEN, 5);
    std::vector<std::string> last;
    for (const std::string& line : lines_with(output, "info multipv"))
        if (number_behind(line, "depth") == 5) last.push_back(line);
    ASSERT_EQ(last.size(), 4u);
    std::vector<std::string> moves;
    for (size_t i = 0; i < 4; i++) {
        EXPECT_EQ(number_behind(last[i], "multipv"), static_cast<int>(i) + 1);
        moves.push_back(first_move(last[i]));
    }
    std::sort(moves.begin(), moves.end());
    EXPECT_EQ(std::unique(moves.begin(), moves.end()), moves.end());
    EXPECT_TRUE(lines_with(output, "info depth").empty()) << "every line has its number";
    EXPECT_EQ(relaxed(engine.best_score), relaxed(engine.iteration_score[5]));
}

TEST_F(Driver, MultiPvEndsWithTheMovesOfTheRoot) {
    active_personality.MultiPV = 50;
    std::string output = printed_search("7k/8/8/8/8/8/8/K7 w - -", 2);
    size_t lines = 0;
    for (const std::string& line : lines_with(output, "info multipv"))
        lines += number_behind(line, "depth") == 2;
    EXPECT_EQ(lines, 3u);
}

TEST_F(Driver, MultiPvKeepsTheBestLineAsTheResult) {
    active_personality.MultiPV = 3;
    search_nodes(MIDDLEGAME_FEN, 5);
    EXPECT_EQ(text_of(master().position, engine.pv[1]), root_moves().front());
}

TEST_F(Driver, StrictSetsAreWholeWhereverTheSearchEnds) {
    shell.strict = 1;
    active_personality.MultiPV = 3;
    for (uint64_t nodes = 300; nodes <= 1500; nodes += 40) {
        set_limits({.nodes = nodes});
        const std::string output = printed_search(MIDDLEGAME_FEN, UNLIMITED_DEPTH);
        const std::vector<std::string> lines = lines_with(output, "info multipv");
        ASSERT_GE(lines.size(), 3u) << nodes;
        std::set<std::string> moves;
        for (int i = 0; i < 3; i++) {
            const std::string& line = lines[lines.size() - 3 + i];
            EXPECT_EQ(number_behind(line, "multipv"), i + 1) << nodes;
            moves.insert(first_move(line));
        }
        EXPECT_EQ(moves.size(), 3u) << nodes;
    }
}

TEST_F(Driver, StrictLinesOfOneScoreStayInTheirOrder) {
    shell.strict = 1;
    active_personality.MultiPV = 3;
    const std::string output = printed_search("7k/8/8/8/8/8/8/K7 w - -", 3);
    std::vector<std::string> moves;
    for (const std::string& line : lines_with(output, "info multipv"))
        if (number_behind(line, "depth") == 3) moves.push_back(first_move(line));
    EXPECT_EQ(moves, root_moves());
}

// Helpers.

TEST_F(Driver, HelperSearchesButPublishesNothing) {
    root_of(MIDDLEGAME_FEN);
    SearchThread* helper = allocate_search_thread();
    helper->position = master().position;
    helper->position.owner = &helper->line;
    helper->thread_index = 1;
    helper->node_limit = 1ULL << 62;
    reset_search_stack(*helper);
    search_threads[1] = helper;
    set_limits({.depth = 6});
    engine.pv[1] = 77;
    set_relaxed(engine.iteration_depth, 3);
    shell.noise = 0.0f;

    testing::internal::CaptureStdout();
    search_root(1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");

    EXPECT_GT(relaxed(helper->nodes), 100u);
    EXPECT_EQ(relaxed(helper->completed_depth), 6);
    EXPECT_EQ(relaxed(engine.iteration_depth), 3);
    EXPECT_EQ(relaxed(engine.result_depth), 0);
    EXPECT_EQ(engine.pv[1], 77);
    EXPECT_EQ(relaxed(engine.stop), 0) << "the master ends the search";
    EXPECT_EQ(engine.iteration_nodes[2], 0u) << "it began with the master's iteration";
    EXPECT_GT(engine.iteration_nodes[3], 0u);
}

TEST_F(Driver, HelperLeavesWhereTheTablesKnowTheRoot) {
    root_of(MIDDLEGAME_FEN);
    SearchThread* helper = allocate_search_thread();
    helper->position = master().position;
    helper->position.owner = &helper->line;
    helper->thread_index = 1;
    reset_search_stack(*helper);
    search_threads[1] = helper;
    for (int result : {0, 2, 4}) {
        set_relaxed(engine.root_wdl, result);
        search_root(1);
        EXPECT_EQ(relaxed(helper->nodes), 0u);
        EXPECT_EQ(relaxed(engine.stop), 0);
    }
}

TEST_F(Driver, HelperGoesAheadWhereManyThreadsAreAtItsDepth) {
    // With 14 threads, 7 at a depth send the next one a ply further, and 21 would two.
    for (auto [peers, step] : {std::pair{5, 1}, {6, 2}, {20, 3}}) {
        SCOPED_TRACE(peers);
        root_of("k1b5/1p1p4/pP1P4/P7/7p/4p1pP/4P1P1/5B1K w - -");
        for (int i = 1; i <= peers + 1; i++) {
            SearchThread* thread = allocate_search_thread();
            thread->position = master().position;
            thread->position.owner = &thread->line;
            thread->thread_index = static_cast<uint8_t>(i);
            thread->node_limit = 1ULL << 62;
            reset_search_stack(*thread);
            set_relaxed(thread->current_depth, i <= peers ? 60 : 0);
            search_threads[i] = thread;
        }
        engine.num_threads = 14;
        set_limits({.depth = 20});
        // The helper begins at the master's depth 6; from 7 on it counts who is there, with the
        // master among them and itself still one ply behind.
        set_relaxed(master().current_depth, 60);
        set_relaxed(engine.iteration_depth, 6);
        search_root(peers + 1);

        std::vector<int> depths;
        for (int depth = 1; depth <= 20; depth++)
            if (engine.iteration_nodes[depth]) depths.push_back(depth);
        ASSERT_GE(depths.size(), 2u);
        EXPECT_EQ(depths[0], 6);
        EXPECT_EQ(depths[1], 6 + step);
        EXPECT_EQ(depths.back(), 20) << "never beyond the limit";
        for (int i = 1; i <= peers + 1; i++)
            free_search_thread(search_threads[i].exchange(nullptr));
    }
}

// Reproducible games.

namespace {

// Node counts of the thinks of a game: limits by nodes, each answer played.
std::vector<uint64_t> game_counts(const char* fen, const std::vector<uint64_t>& limits) {
    std::vector<uint64_t> counts;
    char new_game[] = "ucinewgame";
    HandleUci(new_game);
    set_up(fen);
    for (uint64_t limit : limits) {
        set_limits({.depth = UNLIMITED_DEPTH, .nodes = limit, .move_time = UNLIMITED_SECONDS});
        search_here();
        counts.push_back(relaxed(master().nodes));
        counts.push_back(static_cast<uint64_t>(relaxed(engine.result_depth)));
        counts.push_back(engine.pv[1]);
        if (engine.pv[1] == NULL_MOVE) break;
        make_game_move(game(), engine.pv[1]);
    }
    return counts;
}

} // namespace

TEST_F(LongDriver, GamesAreReproducible) {
    std::vector<uint64_t> limits;
    for (uint64_t i = 0; i < 20; i++) limits.push_back(1000 + 777 * i);

    std::vector<uint64_t> first = game_counts(START_FEN, limits);
    std::vector<uint64_t> second = game_counts(MIDDLEGAME_FEN, limits);
    EXPECT_EQ(game_counts(START_FEN, limits), first);
    EXPECT_EQ(game_counts(MIDDLEGAME_FEN, limits), second);
    EXPECT_NE(first, second);
}

TEST_F(LongDriver, SearchesAreReproducible) {
    Random random = {17};
    for (int i = 0; i < 12; i++) {
        std::string fen = random_fen(random);
        uint64_t nodes = search_nodes(fen.c_str(), 8);
        const int score = relaxed(engine.best_score);
        const std::vector<Move> pv(engine.pv, engine.pv + PLY_SLOTS);
        search_nodes(START_FEN, 5);
        EXPECT_EQ(search_nodes(fen.c_str(), 8), nodes) << fen;
        EXPECT_EQ(relaxed(engine.best_score), score) << fen;
        EXPECT_EQ(std::vector<Move>(engine.pv, engine.pv + PLY_SLOTS), pv) << fen;
    }
}
