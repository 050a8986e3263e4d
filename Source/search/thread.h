// thread.h: SearchThread, the one record that a search thread works on.
//
// It holds the thread's line and Position, per-ply stack, move lists, ordering tables, the state of
// its evaluation, and counters. The main thread has one for the game, from start-up to the end;
// each search thread has its own, copied from the game's for one search. The master's is kept for
// the next search as long as there are few threads; of the others only the memory is. A record is
// written by its own thread alone; others look only at the atomics, and at the master's `seldepth`.

#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "base/state.h"
#include "board/line.h"
#include "board/movegen.h"
#include "board/position.h"
#include "board/types.h"
#include "eval/state.h"

// The score scale: 16-bit centipawn-like units from the side to move's view.
constexpr int INFINITE_SCORE = 10001;
constexpr int MATE_VALUE = 10000; // a side that is mated at ply p scores p - 10000
constexpr int MATE_LOW = -9799;   // scores below are mates or table losses
constexpr int MATE_HIGH = 9798;   // scores above are mates or table wins
constexpr int TB_WIN = 9800;      // a proven win at ply p scores 9800 - p
constexpr int TB_LOSS = -9801;    // a proven loss at ply p scores p - 9801
constexpr int NO_EVAL = -9999;    // static value of a side in check: there is none

// Node types.
constexpr int NODE_CUT = 1;
constexpr int NODE_PV = 0;
constexpr int NODE_ALL = -1;

constexpr int LAST_PLY = 65;     // a deeper node is not searched any further
constexpr int UNDO_SEARCH = 884; // a deeper iteration begins only below this many records

constexpr int MOVE_STORE_SIZE = PLY_SLOTS * LONGEST_LIST; // move lists of all plies share it

constexpr int HISTORY_SIZE = PIECE_CODES * 64;

// Index of the ordering tables: coloured piece and the square that it went to.
inline int history_index(int mover, int to) { return mover * 64 + to; }

// What the search keeps for one ply, of the node that is open there. Written by search_node at the
// node's start, but for what says otherwise; scores are from the view of the side to move.
struct SearchStackEntry {
    int16_t node_type;          // NODE_PV, NODE_CUT or NODE_ALL
    int16_t depth;              // plies that remain, after the node's extensions
    int16_t static_eval;        // NO_EVAL in check
    int16_t alpha;              // the window after mate distance pruning
    int16_t beta;               // and after a result of the endgame tables
    uint16_t in_check;          // 1 if the side to move is in check
    int8_t reduction;           // plies, of the move being searched, or of the null search
    uint8_t in_iid;             // 1 while internal iterative deepening runs
    uint16_t move_class;        // class of the move being searched, see classify_move
    uint8_t gives_no_check;     // 1 if the move being searched is known to give no check
    uint16_t from_futility;     // 1 when the node fell into quiescence; for debugging, not read
    int16_t threat_pressure[2]; // by side, in evaluation units; written by HceEval
    int16_t move_count;         // moves searched so far here; written by the move loops
    int32_t tb_result;          // of the endgame tables: 0 lost to 4 won, or -1 for none
    Move hash_move;             // from the table or internal iterative deepening, 0 if none
    Move killer1;               // quiet moves that were best at this ply; by learn_quiet_move
    Move killer2;               // the one before
    Move evasion_killer;        // in place of the killers at a node in check
    uint8_t checker_square;     // one checking piece, or NO_SQUARE
    uint16_t stage;             // options and stage of next_move; by the move loops, then by it
    MoveEntry* move_list;       // start of this ply's entries; next_move sets those below
    MoveEntry* current_move; // the entry being searched; move 0 is a null move; by the move loops
    MoveEntry* list_end;     // sentinel of this ply's list; by next_move
};

struct alignas(64) SearchThread {
    Line line;                             // first, since Position::owner points to it
    SearchStackEntry stack[PLY_SLOTS];     // by ply; 0 is a sentinel, 1 the root
    MoveEntry move_store[MOVE_STORE_SIZE]; // 0 and 1: empty lists of plies 0 and 1
    int32_t move_keys[MOVE_STORE_SIZE];    // of the same entries, see move_keys.h; by next_move

    // What moves have done in this search, by history_index; see ordering.h.
    int16_t history[HISTORY_SIZE]; // success of quiet moves, 0 to 16384
    Move counter1[HISTORY_SIZE];   // counter moves: the latest reply that worked
    Move counter2[HISTORY_SIZE];   // and the one before
    Move followup[HISTORY_SIZE];   // the latest move that worked two plies after a move

    EvalState eval; // caches of the evaluation, buffers of the network

    Position position;  // of the current node; in the game's record, of the game
    int32_t game_moves; // plies of the game when it was copied; see NnHasNoise

    Move pv[PLY_SLOTS];   // best line at the root: pv[1] is the best move, 0 ends it
    uint8_t thread_index; // 0 is the master; set when the game is copied

    std::atomic<int8_t> current_depth;   // iteration that the thread works at
    std::atomic<uint8_t> root_fail;      // 0, 1 after a fail low, 2 after a fail high
    std::atomic<int8_t> completed_depth; // iteration of `score` and `pv`
    int8_t seldepth;                     // highest ply reached; the master's is read by reports
    uint32_t seed;                       // state of the root-order noise of helpers
    std::atomic<int16_t> score;          // of the current best line, from the root's view
    int16_t root_eval;                   // static evaluation of the root
    uint64_t perft_nodes;                // leaves counted by perft
    uint64_t node_limit; // nodes of this thread beyond which the search stops, or at which it looks
                         // at the limits of the strict protocol

    // Counters. Written by this thread, summed by others.
    std::atomic<uint64_t> nodes;       // calls of search_node
    std::atomic<uint64_t> tb_hits;     // answers of the endgame tables
    std::atomic<uint64_t> eval_probes; // looks into the eval hash
    std::atomic<uint64_t> eval_hits;   // that found the position
    std::atomic<uint64_t> hash_probes; // nodes that asked the hash table
    std::atomic<uint64_t> hash_hits;   // and found an entry
    std::atomic<uint64_t> pawn_probes; // looks into the pawn hash
    std::atomic<uint64_t> pawn_hits;   // that found the structure

    // Of the last move that this thread wrote to the trace; kept from search to search.
    int8_t trace_depth; // iteration
    int16_t trace_ply;  // of that move
};

static_assert(offsetof(SearchThread, line) == 0 && std::is_standard_layout_v<SearchThread>,
              "a pointer to the line is a pointer to the record");

// The record that holds a position.
inline SearchThread& thread_of(const Position& pos) {
    return *reinterpret_cast<SearchThread*>(pos.owner);
}

// Adds one to a counter that only the calling thread writes.
inline void count(std::atomic<uint64_t>& counter) {
    counter.store(counter.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
}

// The game's record: allocated once at start-up, changed only by the main thread.
extern SearchThread* main_thread;

// The root of the last think, copied from the game by prepare_search: what a think prints is read
// against it, whatever the game has become meanwhile. Its `owner` is the game's line. Written by
// the main thread between searches.
extern Position root_position;

// Records of the search threads by number; null for a thread without one. Written by the thread
// itself at its start and, under record_lock, by the master thread at the end of a search.
extern std::atomic<SearchThread*> search_threads[MAX_THREADS];

// Allocates a zeroed record and links its Position to it. Returns null without memory.
SearchThread* allocate_search_thread();
void free_search_thread(SearchThread* thread);

// Sets the empty lists of plies 0 and 1, their pointers and node types, and `ply` to 1. The
// `current_move` of all plies below then points to the empty list of ply 1.
void reset_search_stack(SearchThread& thread);
