// Starting search threads, gathering them, and what each of them gets.

#include "search_fixture.h"

#include <unistd.h>

#include "base/platform.h"
#include "search/timing.h"

namespace {

class Threads : public SearchTest {};

constexpr char MIDDLEGAME_FEN[] = "r1bqkb1r/pp1ppppp/2n2n2/8/3NP3/2N5/PPP2PPP/R1BQKB1R b KQkq -";

// Waits until the search is over; sets stop after that many milliseconds.
void wait_until_over(int stop_after_ms) {
    double end = monotonic_seconds() + stop_after_ms * 0.001;
    while (!(engine.game_state.load(std::memory_order_acquire) & STATE_OVER)) {
        check_time();
        if (monotonic_seconds() > end) set_relaxed(engine.stop, 1);
        sleep_ms(1);
    }
}

// One search as the main loop starts it.
void run_search(int threads, int depth, int stop_after_ms, int state = STATE_BATCH) {
    engine.num_threads = static_cast<uint8_t>(threads);
    set_limits({.depth = depth});
    prepare_search();
    ASSERT_EQ(start_search(state), 0);
    wait_until_over(stop_after_ms);
}

int records() {
    int count = 0;
    for (auto& slot : search_threads) count += slot.load() != nullptr;
    return count;
}

} // namespace

TEST_F(Threads, SearchOfOneThreadHasNoHelpers) {
    set_up(MIDDLEGAME_FEN);
    run_search(1, 5, 20000);
    EXPECT_EQ(relaxed(engine.game_state), STATE_BATCH | STATE_OVER);
    EXPECT_EQ(relaxed(engine.result_depth), 5);
    EXPECT_EQ(records(), 1);
    EXPECT_EQ(engine.search_totals[TOTAL_NODES], relaxed(master().nodes));
}

TEST_F(Threads, ThreadedSearchOfOneEqualsASearchHere) {
    uint64_t here = search_nodes(MIDDLEGAME_FEN, 6);
    set_up(MIDDLEGAME_FEN);
    hash_clear();
    engine.hash_age = 0;
    run_search(1, 6, 20000);
    EXPECT_EQ(engine.search_totals[TOTAL_NODES], here);
}

TEST_F(Threads, WithoutThreadsNothingIsSearched) {
    set_up(MIDDLEGAME_FEN);
    run_search(0, 5, 20000);
    EXPECT_EQ(relaxed(engine.game_state), STATE_BATCH | STATE_OVER);
    EXPECT_EQ(relaxed(engine.result_depth), 0);
    EXPECT_EQ(engine.search_totals[TOTAL_NODES], 0u);
    EXPECT_EQ(engine.pv[1], NULL_MOVE);
}

TEST_F(Threads, HelpersRecordsAreFreedAtTheJoin) {
    uint64_t helpers_nodes = 0;
    for (int threads : {2, 3, 8}) {
        set_up(MIDDLEGAME_FEN);
        run_search(threads, 11, 20000);
        EXPECT_EQ(records(), 1) << threads;
        EXPECT_NE(search_threads[0].load(), nullptr);
        EXPECT_EQ(relaxed(engine.result_depth), 11);
        helpers_nodes += engine.search_totals[TOTAL_NODES] - relaxed(master().nodes);
    }
    EXPECT_GT(helpers_nodes, 0u) << "the sums have the helpers' nodes, too";
}

TEST_F(Threads, MastersRecordIsKeptUpToEightThreads) {
    set_up(MIDDLEGAME_FEN);
    run_search(8, 3, 20000);
    SearchThread* kept = search_threads[0].load();
    ASSERT_NE(kept, nullptr);
    run_search(8, 3, 20000);
    EXPECT_EQ(search_threads[0].load(), kept);

    run_search(9, 3, 20000);
    EXPECT_EQ(records(), 0) << "with more the master's record goes, too";
    EXPECT_GT(engine.search_totals[TOTAL_NODES], 0u);
    EXPECT_NE(engine.pv[1], NULL_MOVE);
    run_search(9, 3, 20000);
    EXPECT_EQ(relaxed(engine.result_depth), 3);
}

TEST_F(Threads, TheirNumberMayChangeFromThinkToThink) {
    set_up(MIDDLEGAME_FEN);
    for (int threads : {2, 1, 9, 3, 20, 0, 5, 1}) {
        run_search(threads, 4, 20000);
        EXPECT_EQ(relaxed(engine.game_state), STATE_BATCH | STATE_OVER) << threads;
        EXPECT_EQ(relaxed(engine.result_depth), threads ? 4 : 0) << threads;
    }
}

TEST_F(Threads, HelpersWaitForTheEndOfTheFirstIteration) {
    set_up(MIDDLEGAME_FEN);
    for (int think = 0; think < 5; think++) {
        run_search(4, 1, 20000);
        EXPECT_EQ(engine.search_totals[TOTAL_NODES], relaxed(master().nodes));
    }
}

TEST_F(Threads, SixtyFourThreadsStartAndStop) {
    set_up(MIDDLEGAME_FEN);
    for (int think = 0; think < 3; think++) {
        run_search(64, MAX_DEPTH, 30);
        EXPECT_EQ(relaxed(engine.game_state), STATE_BATCH | STATE_OVER);
        EXPECT_EQ(records(), 0);
    }
}

TEST_F(Threads, StopEndsAnEndlessSearch) {
    set_up(MIDDLEGAME_FEN);
    run_search(3, MAX_DEPTH, 20, STATE_PONDERING);
    EXPECT_EQ(relaxed(engine.game_state), STATE_PONDERING | STATE_OVER);
    EXPECT_EQ(relaxed(engine.stop), 1);
    EXPECT_NE(engine.pv[1], NULL_MOVE);
}

TEST_F(Threads, HelpersStartedAfterTheStopSearchNothing) {
    // The master ends at once: the root is mated.
    set_up("R6k/8/6K1/8/8/8/8/8 b - -");
    run_search(6, MAX_DEPTH, 20000);
    EXPECT_EQ(relaxed(engine.best_score), -9999);
    EXPECT_EQ(engine.search_totals[TOTAL_NODES], 0u);
    EXPECT_EQ(records(), 1);
}

TEST_F(Threads, HelpersPublishNothing) {
    // The answer is the master's: the last line of its own record.
    set_up(MIDDLEGAME_FEN);
    for (int think = 0; think < 5; think++) {
        run_search(4, 6, 20000);
        EXPECT_EQ(relaxed(engine.result_depth), relaxed(master().completed_depth));
        EXPECT_EQ(relaxed(engine.best_score), relaxed(master().score));
        EXPECT_EQ(memcmp(engine.pv, master().pv, sizeof engine.pv), 0);
        EXPECT_EQ(relaxed(engine.iteration_depth), 6);
    }
}

TEST_F(Threads, MasterDoesNotSearchTheGamesOwnRecord) {
    Position& pos = set_up(MIDDLEGAME_FEN);
    play(pos, "g7g6 c1e3 f8g7");
    const Position before = pos;
    const uint64_t nodes = relaxed(main_thread->nodes);
    run_search(2, 5, 20000);
    EXPECT_EQ(memcmp(&before, &pos, sizeof pos), 0);
    EXPECT_EQ(relaxed(main_thread->nodes), nodes);
    EXPECT_EQ(main_thread->line.undo_index, 3);
}

// Records.

TEST_F(Threads, FreshRecordIsZeroed) {
    SearchThread* thread = allocate_search_thread();
    ASSERT_NE(thread, nullptr);
    EXPECT_EQ(thread->position.owner, &thread->line);
    thread->position.owner = nullptr;
    thread->eval.eval_epoch = 0; // its empty caches fit any settings
    thread->eval.eval_use_nn = 0;
    const auto* bytes = reinterpret_cast<const unsigned char*>(thread);
    size_t set = 0;
    for (size_t i = 0; i < sizeof *thread; i++) set += bytes[i] != 0;
    EXPECT_EQ(set, 0u);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(thread) % 64, 0u);
    free_search_thread(thread);
}

TEST_F(Threads, SparedRecordIsAsGoodAsNew) {
    set_up(MIDDLEGAME_FEN);
    run_search(9, 6, 20000); // so many that the master's is taken away, too
    ASSERT_EQ(records(), 0);
    ASSERT_EQ(setup_master_record(), 0);
    auto is_zero = [](const auto& table) {
        const auto* bytes = reinterpret_cast<const unsigned char*>(&table);
        return std::all_of(bytes, bytes + sizeof table, [](unsigned char byte) { return !byte; });
    };
    EXPECT_TRUE(is_zero(master().eval.eval_hash));
    EXPECT_TRUE(is_zero(master().eval.pawn_hash));
    EXPECT_TRUE(is_zero(master().history));
    EXPECT_TRUE(is_zero(master().counter1));
    EXPECT_EQ(master().eval.nn_generation, 0u);
    EXPECT_EQ(master().eval.nn_acc, nullptr);
}

TEST_F(Threads, EmptyListsAreTerminators) {
    SearchThread* thread = allocate_search_thread();
    thread->line.ply = 40;
    thread->stack[0].node_type = thread->stack[1].node_type = NODE_CUT;
    reset_search_stack(*thread);
    EXPECT_EQ(thread->line.ply, 1);
    for (int ply : {0, 1}) {
        EXPECT_EQ(thread->move_store[ply].move, 65535);
        EXPECT_EQ(thread->stack[ply].move_list, &thread->move_store[ply]);
        EXPECT_EQ(thread->stack[ply].current_move, &thread->move_store[ply]);
        EXPECT_EQ(thread->stack[ply].node_type, NODE_PV);
    }
    for (const SearchStackEntry& entry : thread->stack) {
        EXPECT_GE(entry.current_move, thread->move_store);
        EXPECT_LT(entry.current_move, thread->move_store + MOVE_STORE_SIZE);
    }
    free_search_thread(thread);
}

TEST_F(Threads, MastersRecordIsACopyOfTheGame) {
    Position& pos = set_up(MIDDLEGAME_FEN);
    play(pos, "g7g6 c1e3 f8g7");
    search_nodes(START_FEN, 4); // leaves a used record
    set_up(MIDDLEGAME_FEN);
    play(pos, "g7g6 c1e3 f8g7");
    set_limits({.nodes = 12345});
    ASSERT_EQ(setup_master_record(), 0);

    SearchThread& thread = master();
    EXPECT_NE(&thread, main_thread);
    EXPECT_EQ(thread.position.owner, &thread.line);
    Position copy = thread.position;
    copy.owner = pos.owner;
    EXPECT_EQ(memcmp(&copy, &pos, sizeof pos), 0);
    EXPECT_EQ(thread.line.undo_index, 3);
    EXPECT_EQ(memcmp(thread.line.undo_stack, main_thread->line.undo_stack, 3 * sizeof(UndoRecord)),
              0);
    EXPECT_EQ(thread.line.undo_stack[3].move, NULL_MOVE);
    EXPECT_EQ(thread.line.last_move, main_thread->line.last_move);
    EXPECT_EQ(thread.line.ply, 1);
    EXPECT_EQ(thread.thread_index, 0);
    EXPECT_EQ(thread.node_limit, 12345u);

    EXPECT_EQ(std::count(std::begin(thread.pv), std::end(thread.pv), NULL_MOVE), PLY_SLOTS);
    EXPECT_EQ(relaxed(thread.score), 0);
    EXPECT_EQ(relaxed(thread.current_depth), 0);
    EXPECT_EQ(relaxed(thread.completed_depth), 0);
    EXPECT_EQ(relaxed(thread.root_fail), 0);
    EXPECT_EQ(thread.seldepth, 0);
    for (auto* counter :
         {&thread.nodes, &thread.tb_hits, &thread.eval_probes, &thread.eval_hits,
          &thread.hash_probes, &thread.hash_hits, &thread.pawn_probes, &thread.pawn_hits})
        EXPECT_EQ(relaxed(*counter), 0u);

    set_limits({.nodes = UNLIMITED_NODES});
    setup_master_record();
    EXPECT_EQ(thread.node_limit, 4611686018427387904u);
}

// Counters.

TEST_F(Threads, CountersOfAllRecordsAreSummed) {
    root_of(START_FEN);
    for (int i : {3, 159}) search_threads[i] = allocate_search_thread();
    uint64_t unit = 1;
    for (int i : {0, 3, 159}) {
        SearchThread& thread = *search_threads[i].load();
        set_relaxed(thread.nodes, unit);
        set_relaxed(thread.eval_probes, 2 * unit);
        set_relaxed(thread.eval_hits, 3 * unit);
        set_relaxed(thread.hash_probes, 4 * unit);
        set_relaxed(thread.hash_hits, 5 * unit);
        set_relaxed(thread.pawn_probes, 6 * unit);
        set_relaxed(thread.pawn_hits, 7 * unit);
        set_relaxed(thread.tb_hits, 8 * unit);
        unit *= 10;
    }
    master().seldepth = 21;
    search_threads[3].load()->seldepth = 33;
    std::fill(std::begin(engine.search_totals), std::end(engine.search_totals), 999u);

    sum_thread_counters();

    EXPECT_EQ(engine.search_totals[TOTAL_NODES], 111u);
    EXPECT_EQ(engine.search_totals[TOTAL_EVAL_PROBES], 222u);
    EXPECT_EQ(engine.search_totals[TOTAL_EVAL_HITS], 333u);
    EXPECT_EQ(engine.search_totals[TOTAL_HASH_PROBES], 444u);
    EXPECT_EQ(engine.search_totals[TOTAL_HASH_HITS], 555u);
    EXPECT_EQ(engine.search_totals[TOTAL_PAWN_PROBES], 666u);
    EXPECT_EQ(engine.search_totals[TOTAL_PAWN_HITS], 777u);
    EXPECT_EQ(engine.search_totals[TOTAL_TB_HITS], 888u);
    EXPECT_EQ(engine.sel_depth, 21) << "the master's";
}

TEST_F(Threads, SumsStandStillOnceTheSearchIsOver) {
    root_of(START_FEN);
    set_relaxed(master().nodes, 5);
    set_relaxed(engine.game_state, STATE_THINKING | STATE_OVER);
    engine.search_totals[TOTAL_NODES] = 999;
    sum_thread_counters();
    EXPECT_EQ(engine.search_totals[TOTAL_NODES], 999u);
    set_relaxed(engine.game_state, STATE_THINKING);
    sum_thread_counters();
    EXPECT_EQ(engine.search_totals[TOTAL_NODES], 5u);
}

// Root noise.

namespace {

// One of the two words of the generator, from the low halves of three states in a row. The upper
// half of the first is what its successor lacks.
struct NoiseWord {
    uint32_t state, factor;
};

void advance(NoiseWord& word) {
    word.state = (word.state >> 16) + (word.state & 65535) * word.factor;
}

NoiseWord word_with(uint32_t factor, uint32_t low, uint32_t next_low) {
    uint32_t high = (next_low - low * factor) & 65535;
    return {high << 16 | low, factor};
}

} // namespace

TEST_F(Threads, NoiseFollowsItsTwoWords) {
    uint32_t noise[8];
    for (uint32_t& value : noise) value = next_root_noise();
    NoiseWord y = word_with(18000, noise[0] & 65535, noise[1] & 65535);
    NoiseWord later = y;
    advance(later);
    NoiseWord x = word_with(36969, (noise[0] - y.state) >> 16, (noise[1] - later.state) >> 16);
    for (uint32_t value : noise) {
        EXPECT_EQ(value, (x.state << 16) + y.state);
        advance(x);
        advance(y);
    }
}
