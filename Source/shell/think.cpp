#include "shell/think.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "base/platform.h"
#include "base/print.h"
#include "base/state.h"
#include "board/draw.h"
#include "board/make.h"
#include "board/movetext.h"
#include "board/see.h"
#include "book/book.h"
#include "eval/evaluate.h"
#include "eval/params.h"
#include "search/driver.h"
#include "search/pool.h"
#include "search/thread.h"
#include "search/timing.h"
#include "shell/options.h"
#include "shell/strength.h"

void rebuild_evaluation() {
    BuildEvalParams();
    ReadParamsFile();
    ApplyPersonality();
    build_eval_tables();
    set_exchange_values();
    active_personality.eval_dirty = 0;
    eval_epoch.fetch_add(1, std::memory_order_relaxed);
}

// Resets the think fields of EngineState.
static void reset_think(const Position& pos) {
    constexpr int LAST_AGE = 31; // of a hash entry; 1 follows, since 0 is that of a new game
    constexpr int NO_SCORE = -10000, NO_ITERATION = -10001;

    set_relaxed(engine.best_score, pos.halfmoves > FIFTY_MOVES ? 0 : NO_SCORE);
    engine.pv[1] = NULL_MOVE;
    engine.ponder_enabled = load_shared(active_personality.Ponder);
    engine.multipv = static_cast<uint8_t>(active_personality.MultiPV);
    engine.move_overhead = static_cast<float>(active_personality.MoveOverhead * 0.001);
    if (++engine.hash_age > LAST_AGE) engine.hash_age = 1;

    // A table of no megabytes can't be used; the next one that can switches it on again.
    if (engine.hash_mb < 1) {
        engine.hash_refused = engine.hash_refused || engine.hash_enabled;
        engine.hash_enabled = 0;
    } else if (engine.hash_refused) {
        engine.hash_refused = 0;
        engine.hash_enabled = 1;
    }
    set_relaxed(engine.iteration_depth, 0);
    set_relaxed(engine.result_depth, 0);
    set_relaxed(engine.best_move_depth, 0);
    set_relaxed(engine.single_move, 0);
    set_relaxed(engine.crowded, 0);
    set_relaxed(engine.best_bound, 0);
    set_relaxed(engine.lines_told, 0);
    engine.stop_asked = 0;
    set_relaxed(engine.root_wdl, -1);
    engine.iteration_finished = 0;
    for (int depth = 0; depth < PLY_SLOTS; depth++) {
        set_relaxed(engine.iteration_score[depth], NO_ITERATION);
        set_relaxed(engine.iteration_move[depth], 0);
        engine.iteration_nodes[depth] = 0;
    }
    std::fill(std::begin(engine.ncnt), std::end(engine.ncnt), 0);
}

static void report_think(const Position& pos) {
    if (shell.noise >= NOISE_QUIET) return;
    char fen[FEN_LENGTH];
    write_fen(pos, fen, 1);
    int moves = moves_played(*pos.owner);
    if (relaxed(shell.uci_mode)) {
        log_line("info string fen %s", fen);
        log_line("info string ply= %d, trg_time= %0.3f sec", moves,
                 static_cast<double>(engine.target_time));
        return;
    }
    PrintFormat("fen %s", fen);
    PrintFormat("Ply= %d, cnt50= %d, Clock= %0.2fs, Target time= %0.2fs", moves, pos.halfmoves,
                static_cast<double>(engine.clock[engine.root_side]),
                static_cast<double>(engine.target_time));
}

void prepare_search() {
    const Position& pos = main_thread->position;
    set_relaxed(engine.elapsed, 0.0f);
    main_thread->line.ply = 1;
    think_start = monotonic_seconds();
    engine.root_side = pos.side;
    root_position = pos;

    apply_strength_limit();
    reset_think(pos);
    if (active_personality.eval_dirty) {
        Print("info string setting eval params...");
        rebuild_evaluation();
    }
    plan_time(moves_played(main_thread->line));
    report_think(pos);
}

void search_here() {
    prepare_search();
    if (setup_master_record() != 0) exit(-1);
    // Memory for the record is no part of the search.
    set_relaxed(engine.elapsed, 0.0f);
    think_start = monotonic_seconds();
    set_relaxed(engine.stop, 0);
    if (engine.num_threads > 0) search_root(0);
    update_elapsed();
    set_relaxed(engine.stop, 0);
    set_relaxed(engine.game_state, STATE_IDLE);
}

float branching_factor() {
    constexpr int SPAN = 4;
    int depth = engine.iteration_finished;
    if (depth < SPAN + 2 || engine.iteration_nodes[depth] == 0
        || engine.iteration_nodes[depth - SPAN] == 0)
        return 2.0f;
    double growth = static_cast<double>(engine.iteration_nodes[depth])
                  / static_cast<double>(engine.iteration_nodes[depth - SPAN]);
    return static_cast<float>(std::sqrt(std::sqrt(growth)));
}

// A move from one of the books, or 0. A move into a draw by rule is forgotten.
static Move choose_book_move(Position& pos) {
    const Personality& settings = active_personality;
    const int moves = moves_played(*pos.owner);
    Move move = NULL_MOVE;
    if (moves < settings.OwnBook_Depth) move = book_probe(pos, settings.OwnBook_File);
    if (move == NULL_MOVE && moves < settings.OwnBook2_Depth)
        move = book_probe(pos, settings.OwnBook2_File);
    if (move == NULL_MOVE) return NULL_MOVE;

    make_move(pos, move);
    bool drawn = is_draw(pos, 0);
    unmake_move(pos);
    return drawn ? NULL_MOVE : move;
}

static void play_book_move(Position& pos) {
    Move move = choose_book_move(pos);
    if (move == NULL_MOVE) return;
    char text[MOVE_TEXT_LENGTH];
    move_to_text(pos, pos.side, move, text);
    PrintFormat("%s book move is %s", relaxed(shell.uci_mode) ? "info string" : "", text);
    engine.pv[1] = move;
    set_relaxed(engine.best_score, 0);
    set_relaxed(engine.stop, 1);
    engine.book_move = static_cast<int16_t>(move);
}

// In the strict protocol, who asks for an analysis gets one.
static bool book_may_answer() {
    return !strict_protocol() || !(engine.until_stop || engine.mate_limit || engine.only_moves[0]);
}

void begin_think() {
    Position& pos = main_thread->position;
    const int state =
        relaxed(engine.game_state) == STATE_THINK_REQUEST ? STATE_THINKING : STATE_PONDERING;
    const char* reason = unsearchable_reason(pos);
    prepare_search();
    engine.book_move = 0;
    engine.pv[1] = engine.pv[2] = NULL_MOVE;
    if (reason) PrintFormat("info string position can't be searched: %s", reason);
    else if (state == STATE_THINKING && active_personality.OwnBook && book_may_answer())
        play_book_move(pos);

    const bool playable = strict_protocol() || pos.halfmoves <= FIFTY_MOVES;
    if (!reason && playable && engine.pv[1] == NULL_MOVE) {
        if (start_search(state) != 0) exit(-1);
    } else {
        set_relaxed(engine.game_state, state | STATE_OVER);
    }
}

void end_think() {
    set_relaxed(engine.stop, 0);
    set_relaxed(engine.game_state, STATE_IDLE);
    apply_deferred_options();
}

void abandon_search() {
    if (relaxed(engine.game_state) == STATE_IDLE) return;
    set_relaxed(engine.stop, 1);
    // A request that the main loop has not taken up yet has no search to wait for.
    while (relaxed(engine.game_state) > STATE_PONDER_REQUEST
           && !(engine.game_state.load(std::memory_order_acquire) & STATE_OVER))
        wait_for_wake(1);
    end_think();
}
