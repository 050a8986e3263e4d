// state.h: the three process-wide records: EngineState, ShellState, Personality.
//
// They depend on nothing, so that every subsystem may read them, and live for the whole run. The
// main thread writes them between searches; what changes while a search runs is an atomic with its
// writers named, or, in a Personality, is read and written through load_shared and store_shared.

#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

constexpr char PROGRAM_NAME[] = "Mird 5.50";
constexpr char PROGRAM_AUTHOR[] = "Tovan Rusk";

constexpr int MAX_THREADS = 160;
constexpr int MAX_DEPTH = 66; // plies of iteration
constexpr int PLY_SLOTS = 70; // per-ply and per-depth arrays
constexpr int MAX_HASH_MB = 32768;
constexpr int MAX_ONLY_MOVES = 255; // root moves that a strict `go` can choose

// Values of EngineState::game_state.
constexpr uint8_t STATE_IDLE = 0;
constexpr uint8_t STATE_THINK_REQUEST = 1;
constexpr uint8_t STATE_PONDER_REQUEST = 2;
constexpr uint8_t STATE_THINKING = 3;
constexpr uint8_t STATE_PONDERING = 4;
constexpr uint8_t STATE_BATCH = 5;
constexpr uint8_t STATE_OVER = 0x10; // on top of 3, 4 or 5: the search is over

// Values of EngineState::moves_per_control; greater ones are the moves of a control period.
constexpr int SUDDEN_DEATH = 0; // all the time on the clock for the rest of the game
constexpr int FIXED_TIME = 1;   // time_base for each move

// The game in progress and the search that is running.
//
// Written by the main thread between searches, unless a heading or a line says otherwise, and read
// by all threads. "Think" marks what prepare_search resets, and to what.
struct EngineState {
    // What a search runs with; set by options, the command line and the console.
    uint8_t num_threads;    // search threads, 0 to 160; 0 means that no search runs at all
    uint8_t hash_enabled;   // 0 switches off all use of the main hash table
    uint8_t hash_refused;   // 1: prepare_search cleared hash_enabled because hash_mb was below 1
    int32_t hash_mb;        // megabytes of the main hash table, as allocated
    int16_t hash_age;       // stamp of hash entries; think: 1 to 31, then 1 again; 0: new game
    int16_t ponder_enabled; // think: copy of Ponder; 1 allows for time saved by pondering
    int16_t book_move;      // think: move taken from the book, else 0; kept for debuggers, nothing
                            // reads it
    float move_overhead;    // think: seconds lost on a move's way to the opponent
    uint8_t root_side;      // think: side to move at the root, WHITE or BLACK
    uint8_t multipv;        // think: low byte of MultiPV; lines that are searched

    // One of the states above. The master thread adds STATE_OVER with release order, so that who
    // sees it sees all that the search wrote.
    std::atomic<uint8_t> game_state;

    // Limits, set by set_limits and lasting until it sets them again.
    uint64_t max_nodes;        // of each thread, from the second iteration on, or from the first
                               // on a crowded board; 0: no limit
    uint64_t soft_nodes;       // nodes of a thread from which it begins no iteration; 0: no limit
    int8_t max_depth;          // plies, at most MAX_DEPTH; below 1 no iteration begins
    uint8_t moves_per_control; // SUDDEN_DEATH, FIXED_TIME, or the moves of a period
    float time_base;           // seconds: per move if FIXED_TIME, else per period
    float time_increment;      // seconds a move, of the side that the engine plays
    float clock[2];            // seconds left, by colour; the console runs it, plan_time sets it
                               // to a fixed time
    int16_t moves_to_go;       // to the next time control; set by plan_time where none was given
    float target_time;         // think: seconds planned for this move, at least 0.002 on a clock

    // Limits that only a strict `go` sets; 0 without it.
    float move_time;    // seconds for this move, also where a clock runs; 0: no limit
    uint8_t clock_runs; // 1: clock[] limits the think
    uint8_t until_stop; // 1: the answer waits for the command `stop`
    int16_t mate_limit; // moves; a mate within them, for either side, ends the search; 0: none
    uint16_t only_moves[MAX_ONLY_MOVES + 1]; // root moves that are searched, ended by 0; none: all

    // Strict protocol alone.
    float hard_time;     // think: seconds within which the move must be out
    int16_t playing_elo; // think: strength that limits leave, or the machine's own
    uint8_t stop_asked;  // think: 0; 1 once `stop` has come, so that the answer is due

    // Seconds since the think began; written by the main thread and by throttled search threads,
    // last writer wins.
    std::atomic<float> elapsed;

    // 1 ends the running search. Set by any thread, cleared by the main thread.
    std::atomic<uint8_t> stop;

    // Strength by speed, see shell/strength.h.
    float calibration_nps; // nodes a second of this machine; 0 before the calibration
    float calibration_elo; // of that speed
    float target_nps;      // nodes a second of each thread that a limited strength allows
    int16_t nps_throttle;  // 1 while the search holds itself to target_nps; thread 0, at its root

    // Written by thread 0, read by the others and by the main thread.
    std::atomic<int8_t> iteration_depth;             // think: 0; iteration now searched, in plies
    std::atomic<int8_t> result_depth;                // think: 0; depth of the best result so far
    std::atomic<int16_t> best_score;                 // think: -10000, a draw's 0 behind 50 moves;
                                                     // from the root side's view
    std::atomic<int16_t> iteration_score[PLY_SLOTS]; // think: -10001; best score by iteration
    std::atomic<uint16_t> iteration_move[PLY_SLOTS]; // think: 0; best move by iteration; kept for
                                                     // debuggers and tests, no decision reads it
    std::atomic<int8_t> best_move_depth;             // think: 0; depth of the last change of the
                                                     // best move
    std::atomic<uint8_t> single_move;                // think: 0; 1 if one root move is legal
    std::atomic<uint8_t> crowded;                    // think: 0; 1 once a node was no board that a
                                                     // game can bring: its first iteration hears
                                                     // limits; any search thread
    std::atomic<uint8_t> best_bound;                 // think: 0; kind of best_score, as in the
                                                     // entries of the hash table
    std::atomic<uint8_t> lines_told;                 // think: 0; 1 once a strict set of
                                                     // lines is out
    std::atomic<int32_t> root_wdl;                   // think: -1, none; table result 0 lost,
                                                     // 2 drawn, 4 won

    // Written by thread 0, read by the main thread after STATE_OVER.
    uint16_t pv[PLY_SLOTS];    // best line: 1 the best move, 2 the ponder move; element 0 unused
    int8_t iteration_finished; // think: 0; depth of the last finished iteration

    // Guarded by root_lock while a search runs; every search thread adds its own.
    uint64_t iteration_nodes[PLY_SLOTS]; // think: 0; nodes by iteration

    // Guarded by report_lock while a search runs; written by whoever reports.
    int8_t sel_depth;          // largest ply that thread 0 has reached
    uint64_t search_totals[8]; // sums over threads, see TotalIndex
    float hash_fill;           // sampled fill of the hash table, 0 to 1

    // Counters for whoever debugs a search: nothing writes them in a finished program, and they
    // are printed only when their sum is not 0.
    int32_t ncnt[4]; // think: 0
};
extern EngineState engine;

// Order of EngineState::search_totals.
enum TotalIndex {
    TOTAL_NODES,
    TOTAL_EVAL_PROBES,
    TOTAL_EVAL_HITS,
    TOTAL_HASH_PROBES,
    TOTAL_HASH_HITS,
    TOTAL_PAWN_PROBES,
    TOTAL_PAWN_HITS,
    TOTAL_TB_HITS
};

constexpr float NOISE_QUIET = 9999.0f;        // no search lines
constexpr float NOISE_CALIBRATION = 99999.0f; // as quiet; used by the calibration search
constexpr float ANALYSIS_SECONDS = 90000.0f;  // from this target time on no contempt is added

constexpr size_t FILE_NAME_LENGTH = 150; // with the ending NUL
constexpr size_t PATH_LENGTH = 144;      // with the ending NUL

// Where endgame tables usually lay, for those who give no path: -tbx and the tuning data.
constexpr char USUAL_TABLE_PATH[] = "C:\\Chess\\Syzygy;C:\\Chess\\Syzygy\\6-Piece";

// Flags of the run. Written by the main thread: the atomics also while a search runs, the rest
// between searches, by the command line or by whom a line names.
struct ShellState {
    uint8_t quit;                       // 1 ends the main loop and the batch jobs; the command quit
    float noise;                        // seconds of search before search lines are shown; see
                                        // NOISE_QUIET; also the console's set
    std::atomic<uint8_t> use_nn;        // 1 network, 0 hand-crafted evaluation; Use_NN_eval
    std::atomic<uint8_t> chess960;      // 1 writes castling as king takes rook; UCI_Chess960
    uint8_t numa;                       // 1 after -numa, which is accepted and means nothing
    uint8_t trace_level;                // plies of the search trace, 0 for none; console
    uint8_t show_debug;                 // not 0: report after each move; console
    char epd_in_name[FILE_NAME_LENGTH]; // input of the test suites and the tuning data
    char games_in_name[FILE_NAME_LENGTH]; // input of the PGN scan and the book builder
    char out_name[FILE_NAME_LENGTH];      // output of a batch job; empty for its usual name
    uint64_t tag_key;                     // key of the position marked for the stack dump, 0 for
                                          // none; console
    std::atomic<int16_t> uci_mode;        // 1 UCI, 0 console
    uint8_t strict;                       // 1: the protocol to the letter, see Docs/protocol.md;
                                          // -strict, mird-uci, Strict in a configuration file
};
extern ShellState shell;

// Tells whether the protocol is spoken to the letter. The console is no protocol, and what it
// searches has the plain limits.
inline bool strict_protocol() {
    return shell.strict && shell.uci_mode.load(std::memory_order_relaxed) != 0;
}

// Everything that options and the configuration file can change. Fields with the name of an option
// are described in Docs/options.md; ranges and defaults stand in base/option_table.cpp. All are
// written by the main thread: through SetOption and the console's set, before that by the command
// line, and by whom else a line names. Search threads may read the int16_t fields meanwhile, see
// load_shared.
struct Personality {
    int16_t eval_dirty;        // not 0: evaluation tables must be rebuilt at the next think; set by
                               // LoadConfig, cleared by rebuild_evaluation
    int32_t Hash;              // megabytes
    int16_t Threads;           // search threads, 0 for no search
    int16_t MoveOverhead;      // milliseconds
    int16_t Ponder;            // 1: the GUI may let the engine ponder
    int16_t MultiPV;           // lines of an analysis
    int16_t UCI_LimitStrength; // 1: play at UCI_Elo; apply_strength_limit clears it
    int16_t UCI_Elo;           // 0 until the calibrated figure is filled in, which the listing and
                               // apply_strength_limit do
    int16_t Log;               // 1: lines go to the log as well; open_log clears it
    int16_t OwnBook;           // 1: books are asked
    int16_t OwnBook_Variety;   // per cent
    int16_t OwnBook_Depth;     // plies of the game
    int16_t OwnBook2_Depth;    // plies of the game
    int16_t eval_jitter;       // 1 in the game loop, which sets it, 0 in batch modes: the network's
                               // scores have noise
    char params_file[FILE_NAME_LENGTH]; // of evaluation parameters; no option sets it
    char NN_File[FILE_NAME_LENGTH];     // of the network; "embedded" for the program's own
    char ConfigFilePath[PATH_LENGTH];   // of the configuration file, empty for none
    char OwnBook_File[PATH_LENGTH];     // of the first book, empty for none
    char OwnBook2_File[PATH_LENGTH];    // of the second book, empty for none
    char SyzygyPath[PATH_LENGTH];       // directories of tables; the tuning data fills it in
    int16_t SyzygyProbeDepth;           // plies left from which tables are asked; no option sets it
    int16_t SyzygyProbeDepth6;          // the same for six pieces
    int16_t Contempt;       // hundredths of a pawn that the root side is credited with on a full
                            // board, less as it empties
    int16_t contempt_taper; // second term, the same unit: credited on a full board, taken off a
                            // bare one; no option sets it
    int16_t Selectivity;    // per cent of the usual pruning and reductions

    // The eight selectivity settings, see search/selectivity.h. Depths are written by the
    // console's set, too; nothing sets the margins and the count.
    int16_t SEP_depth;  // pruning by static exchanges: plies left, at most
    int16_t SEP_margin; // score units a ply
    int16_t NMP_depth;  // null move: plies left, at least
    int16_t FP_depth;   // futility: plies left, at most
    int16_t FP_margin;  // score units a ply
    int16_t LMP_depth;  // late move pruning: plies left, at most
    int16_t LMP_count;  // moves a ply
    int16_t LMR_depth;  // late move reductions: plies left, at least

    int16_t eval_scale[13][2]; // per cent, midgame and endgame; order: ApplyPersonality's table;
                               // nothing sets them
};
extern Personality active_personality;  // what the program runs on
extern Personality default_personality; // what `uci` lists

// Personality fields that an option may change while search threads read them. The library of some
// compilers (clang's own before version 19) has no std::atomic_ref; these are what it stands on.
inline int16_t load_shared(const int16_t& field) {
    return __atomic_load_n(&field, __ATOMIC_RELAXED);
}
inline void store_shared(int16_t& field, int value) {
    __atomic_store_n(&field, static_cast<int16_t>(value), __ATOMIC_RELAXED);
}

// Short forms for the relaxed order that all shared flags use.
template <class T>
T relaxed(const std::atomic<T>& value) {
    return value.load(std::memory_order_relaxed);
}
template <class T, class V>
void set_relaxed(std::atomic<T>& value, V to) {
    value.store(static_cast<T>(to), std::memory_order_relaxed);
}

extern double think_start; // monotonic seconds at the start of the current think
extern char exe_dir[260];  // directory of the program, with forward slashes
