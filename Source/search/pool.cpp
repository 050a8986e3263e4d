#include "search/pool.h"

#include <climits>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include "base/lock.h"
#include "base/platform.h"
#include "base/print.h"
#include "base/state.h"
#include "eval/evaluate.h"
#include "eval/nn.h"
#include "search/driver.h"
#include "search/thread.h"
#include "search/trace.h"

SearchThread* main_thread;
Position root_position;
std::atomic<SearchThread*> search_threads[MAX_THREADS];
SpinLock record_lock;

// Records that helpers have left, by number: memory for the next search, and no more than that. A
// fresh one costs a page fault for each page that the search touches. Written by the thread of that
// number and by the master thread, which joins it in between.
static SearchThread* spare_records[MAX_THREADS];

// The master thread stays parked from think to think: it waits for this number to change. Written
// by the main thread.
static std::atomic<int> think_number;
constexpr int NO_THINK = 0; // before the first think, and to end the thread
static ThreadHandle master_handle;
static bool master_started; // main thread only

// Search threads that have yet to copy the game; set by start_search, counted down by each.
static std::atomic<int> copies_left;

// The master's record is kept from search to search up to this many threads.
constexpr int KEEP_RECORD_THREADS = 8;

constexpr uint64_t NO_NODE_LIMIT = 1ULL << 62; // more than any search can reach

// Sets what differs from zero in a new record.
static void init_record(SearchThread& thread) {
    thread.position.owner = &thread.line;
    // Its tables are empty, so they fit any settings.
    thread.eval.eval_epoch = relaxed(eval_epoch);
    thread.eval.eval_use_nn = relaxed(shell.use_nn);
}

SearchThread* allocate_search_thread() {
    // Fresh pages are zero, and a zeroed record is a valid record.
    void* memory = allocate_pages(sizeof(SearchThread), false);
    if (!memory) return nullptr;
    auto* thread = new (memory) SearchThread;
    init_record(*thread);
    return thread;
}

void free_search_thread(SearchThread* thread) {
    if (thread) NnFreeBuffers(thread->eval);
    free_pages(thread, sizeof(SearchThread));
}

void reset_search_stack(SearchThread& thread) {
    thread.line.ply = 1;
    for (int ply : {0, 1}) {
        thread.move_store[ply] = {};
        thread.move_store[ply].move = LIST_END;
        thread.stack[ply].move_list = &thread.move_store[ply];
        thread.stack[ply].current_move = &thread.move_store[ply];
        thread.stack[ply].node_type = NODE_PV;
    }
    // A picker counts from the entry of the node before, also where there was none.
    for (int ply = 2; ply < PLY_SLOTS; ply++)
        thread.stack[ply].current_move = &thread.move_store[1];
}

// A record as good as a new one, or null when memory ran out.
static SearchThread* take_record(int index) {
    SearchThread* spare = std::exchange(spare_records[index], nullptr);
    if (!spare) return allocate_search_thread();
    NnFreeBuffers(spare->eval);
    memset(static_cast<void*>(spare), 0, sizeof *spare);
    init_record(*spare);
    return spare;
}

// Makes a thread's record a copy of the game. Returns false when memory ran out.
static bool setup_record(int index) {
    constexpr uint32_t SEED_STEP = 123; // any number will do
    SearchThread* thread = search_threads[index].load(std::memory_order_relaxed);
    if (!thread) {
        thread = take_record(index);
        if (!thread) return false;
    }
    const SearchThread& game = *main_thread;

    thread->thread_index = static_cast<uint8_t>(index);
    thread->seed = static_cast<uint32_t>(index) * SEED_STEP;
    thread->position = game.position;
    thread->position.owner = &thread->line;

    auto used = static_cast<size_t>(game.line.undo_index);
    memcpy(thread->line.undo_stack, game.line.undo_stack, used * sizeof(UndoRecord));
    thread->line.undo_stack[used].move = NULL_MOVE;
    thread->line.undo_index = game.line.undo_index;
    thread->game_moves = moves_played(game.line);
    thread->line.last_move = game.line.last_move;

    reset_search_stack(*thread);
    thread->node_limit = engine.max_nodes ? engine.max_nodes : NO_NODE_LIMIT;
    if (strict_protocol()) thread->node_limit = 0; // looked at from the first node on

    memset(thread->pv, 0, sizeof thread->pv);
    for (auto* counter :
         {&thread->nodes, &thread->tb_hits, &thread->eval_probes, &thread->eval_hits,
          &thread->hash_probes, &thread->hash_hits, &thread->pawn_probes, &thread->pawn_hits})
        set_relaxed(*counter, 0);
    set_relaxed(thread->score, 0);
    set_relaxed(thread->current_depth, 0);
    set_relaxed(thread->root_fail, 0);
    set_relaxed(thread->completed_depth, 0);
    thread->seldepth = 0;
    refresh_eval_tables(*thread);

    search_threads[index].store(thread, std::memory_order_release);
    return true;
}

int setup_master_record() { return setup_record(0) ? 0 : -1; }

static void report_copy() { copies_left.fetch_sub(1, std::memory_order_release); }

void wait_for_copies() {
    while (copies_left.load(std::memory_order_acquire) > 0) sleep_ms(0);
}

static void helper_thread(void* argument) {
    constexpr int LOOK_US = 50; // a first iteration takes some hundred
    int index = *static_cast<int*>(argument);
    bool ready = setup_record(index);
    report_copy();
    if (!ready) return; // the search goes on without it

    // Helpers begin when the master has finished its first iteration. The acquire makes all that
    // the master built before visible. They look for themselves: a thread that the master wakes is
    // often put on the master's processor.
    while (engine.iteration_depth.load(std::memory_order_acquire) < 2 && !relaxed(engine.stop))
        sleep_us(LOOK_US);
    if (relaxed(engine.stop)) return;
    search_root(index);
}

// Takes a thread's record away from it; its memory is spared for the next search.
static void drop_record(int index) {
    lock(record_lock);
    spare_records[index] = search_threads[index].exchange(nullptr, std::memory_order_acq_rel);
    unlock(record_lock);
}

static void run_search_threads() {
    static int numbers[MAX_THREADS];
    static ThreadHandle helpers[MAX_THREADS];

    const int threads = engine.num_threads;
    for (int i = 1; i < threads; i++) {
        numbers[i] = i;
        if (start_joinable(helpers[i], helper_thread, &numbers[i]) != 0) end_process(-1);
    }
    if (threads > 0) search_root(0);

    // Helpers look at each other's records, so all are gathered before the first is freed.
    for (int i = 1; i < threads; i++)
        if (join_thread(helpers[i]) != 0) end_process(-1);
    lock(report_lock);
    sum_thread_counters();
    unlock(report_lock);
    for (int i = 1; i < threads; i++) drop_record(i);
    if (threads > KEEP_RECORD_THREADS) drop_record(0);

    // Last: from here on the main thread may start the next search.
    engine.game_state.fetch_or(STATE_OVER, std::memory_order_release);
    wake_main_thread();
}

static void master_thread(void*) {
    for (int seen = NO_THINK;;) {
        seen = wait_for_number(think_number, seen);
        if (seen == NO_THINK) return;
        if (setup_master_record() != 0) end_process(-1);
        report_copy();
        run_search_threads();
    }
}

static void free_spare_records(int from) {
    for (int i = from; i < MAX_THREADS; i++)
        free_search_thread(std::exchange(spare_records[i], nullptr));
}

// Starts the master thread if there is none yet. Returns 0, or the system's error number.
static int start_master() {
    if (master_started) return 0;
    int error = start_joinable(master_handle, master_thread, nullptr);
    master_started = error == 0;
    return error;
}

// The number behind the last one, which is never NO_THINK.
static int next_think() {
    int last = think_number.load(std::memory_order_relaxed);
    return last == INT_MAX ? NO_THINK + 1 : last + 1;
}

void end_search_threads() {
    if (master_started) {
        set_number(think_number, NO_THINK);
        if (join_thread(master_handle) != 0) exit(-1);
        master_started = false;
    }
    for (auto& slot : search_threads) free_search_thread(slot.exchange(nullptr));
    free_spare_records(0);
}

int start_search(int state) {
    open_trace();
    free_spare_records(engine.num_threads);
    set_relaxed(engine.stop, 0);
    set_relaxed(engine.game_state, state);
    copies_left.store(engine.num_threads > 1 ? engine.num_threads : 1, std::memory_order_relaxed);
    if (int error = start_master()) return error;
    set_number(think_number, next_think());
    return 0;
}

void sum_thread_counters() {
    if (relaxed(engine.game_state) & STATE_OVER) return;
    uint64_t* totals = engine.search_totals;
    memset(totals, 0, sizeof engine.search_totals);
    if (SearchThread* master = search_threads[0].load(std::memory_order_acquire))
        engine.sel_depth = master->seldepth;

    for (auto& slot : search_threads) {
        const SearchThread* thread = slot.load(std::memory_order_acquire);
        if (!thread) continue;
        totals[TOTAL_NODES] += relaxed(thread->nodes);
        totals[TOTAL_EVAL_PROBES] += relaxed(thread->eval_probes);
        totals[TOTAL_EVAL_HITS] += relaxed(thread->eval_hits);
        totals[TOTAL_HASH_PROBES] += relaxed(thread->hash_probes);
        totals[TOTAL_HASH_HITS] += relaxed(thread->hash_hits);
        totals[TOTAL_PAWN_PROBES] += relaxed(thread->pawn_probes);
        totals[TOTAL_PAWN_HITS] += relaxed(thread->pawn_hits);
        totals[TOTAL_TB_HITS] += relaxed(thread->tb_hits);
    }
}

uint32_t next_root_noise() {
    // Shared by all helpers, unlocked: a lost step is as random as any other.
    static std::atomic<uint32_t> x = 1, y = 1;
    uint32_t next_x = (relaxed(x) >> 16) + (relaxed(x) & 65535) * 36969;
    uint32_t next_y = (relaxed(y) >> 16) + (relaxed(y) & 65535) * 18000;
    set_relaxed(x, next_x);
    set_relaxed(y, next_y);
    return (next_x << 16) + next_y;
}
