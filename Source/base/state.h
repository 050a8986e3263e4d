// state.h: the three process-wide records: EngineState, ShellState, Personality.
//
// They depend on nothing, so that every subsystem may read them. The main thread writes them
// between searches; what changes while a search runs is an atomic with its writers named, or, in
// a Personality, is read and written through load_shared and store_shared.

#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>

constexpr char PROGRAM_NAME[] = "Mird 5.50";
constexpr char PROGRAM_AUTHOR[] = "Tovan Rusk";

constexpr int MAX_THREADS = 160;
constexpr int MAX_DEPTH = 66; // plies of iteration
constexpr int PLY_SLOTS = 70; // per-ply and per-depth arrays
constexpr int MAX_HASH_MB = 32768;

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

// The game in progress and the search that is running. "Think" marks what prepare_search resets.
struct EngineState {
    uint8_t num_threads;    // 0 to 160; 0 means that no search runs at all
    uint8_t hash_enabled;   // 0 switches off all use of the main hash table
    uint8_t hash_refused;   // 1: prepare_search cleared hash_enabled because hash_mb was below 1
    int32_t hash_mb;        // megabytes of the main hash table
    int16_t hash_age;       // think: 1 to 31, then 1 again; 0 after a new game
    int16_t ponder_enabled; // think: copy of Ponder
    int16_t book_move;      // move taken from the book in this think, else 0
    float move_overhead;    // think: seconds
    uint8_t root_side;      // think: side to move at the root
    uint8_t multipv;        // think: low byte of MultiPV

    // Written by the main thread; the master thread adds STATE_OVER with release order, so that
    // who sees it sees all that the search wrote.
    std::atomic<uint8_t> game_state;

    uint64_t max_nodes;        // 0 means no limit
    uint64_t soft_nodes;       // nodes of a thread from which it begins no iteration; 0: no limit
    int8_t max_depth;          // plies, at most MAX_DEPTH
    uint8_t moves_per_control; // 0 sudden death, 1 fixed time per move, n: n moves a period
    float time_base;           // seconds: per move if moves_per_control is 1, else per period
    float time_increment;      // seconds a move
    float clock[2];            // seconds left, by colour
    int16_t moves_to_go;       // to the next time control
    float target_time;         // think: seconds planned for this move, at least 0.002

    // Seconds since the think began; written by the main thread and by throttled search threads,
    // last writer wins.
    std::atomic<float> elapsed;

    // 1 ends the running search. Set by any thread, cleared by the main thread.
    std::atomic<uint8_t> stop;

    float calibration_nps; // nodes a second of this machine; 0 before the calibration
    float calibration_elo;
    float target_nps;     // speed that a limited strength holds the search to
    int16_t nps_throttle; // 1 while the search holds itself to target_nps

    // Written by thread 0, read by the others and by the main thread.
    std::atomic<int8_t> iteration_depth;             // think: iteration now searched
    std::atomic<int8_t> result_depth;                // think: depth of the best result so far
    std::atomic<int16_t> best_score;                 // think: score of the best result
    std::atomic<int16_t> iteration_score[PLY_SLOTS]; // think: -10001; best score by iteration
    std::atomic<uint16_t> iteration_move[PLY_SLOTS]; // think: 0; best move by iteration, for debugging
    std::atomic<int8_t> best_move_depth;             // think: depth of the last best-move change
    std::atomic<uint8_t> single_move;                // think: 1 if one root move is legal
    std::atomic<int32_t> root_wdl;                   // table result: 0, 2, 4 or -1 for none

    // Written by thread 0, read by the main thread after STATE_OVER.
    uint16_t pv[PLY_SLOTS];    // best line: 1 the best move, 2 the ponder move; element 0 unused
    float iteration_time;      // seconds at the end of the last finished iteration
    int8_t iteration_finished; // depth of that iteration

    // Guarded by root_lock while a search runs.
    uint64_t iteration_nodes[PLY_SLOTS]; // think: 0; nodes by iteration

    // Guarded by report_lock while a search runs.
    int8_t sel_depth;          // largest ply reached
    uint64_t search_totals[8]; // sums over threads, see TotalIndex
    float hash_fill;           // sampled fill of the hash table, 0 to 1

    int32_t ncnt[4]; // think: debug counters, printed only when their sum is not 0
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

constexpr size_t FILE_NAME_LENGTH = 150;
constexpr size_t PATH_LENGTH = 144;

// Flags of the run.
struct ShellState {
    uint8_t quit;                // 1 ends the main loop
    float noise;                 // seconds of search before search lines are shown; see NOISE_QUIET
    std::atomic<uint8_t> use_nn; // 1 network, 0 hand-crafted evaluation; main, also in a search
    std::atomic<uint8_t> chess960; // UCI_Chess960; main, also in a search
    uint8_t numa;                  // nothing reads it
    uint8_t trace_level;           // plies of the search trace, 0 for none
    uint8_t show_debug;            // console: report after each move
    char epd_in_name[FILE_NAME_LENGTH];
    char games_in_name[FILE_NAME_LENGTH];
    char out_name[FILE_NAME_LENGTH];
    uint64_t tag_key;              // key of the position marked for the stack dump
    std::atomic<int16_t> uci_mode; // 1 UCI, 0 console; main, also in a search
};
extern ShellState shell;

// Everything that options and the configuration file can change.
struct Personality {
    int16_t eval_dirty; // not 0: evaluation tables must be rebuilt at the next think
    int32_t Hash;       // megabytes
    int16_t Threads;
    int16_t MoveOverhead; // milliseconds
    int16_t Ponder;
    int16_t MultiPV;
    int16_t UCI_LimitStrength;
    int16_t UCI_Elo; // 0 until the calibrated figure is filled in
    int16_t Log;
    int16_t OwnBook;
    int16_t OwnBook_Variety; // per cent
    int16_t OwnBook_Depth;   // plies
    int16_t OwnBook2_Depth;  // plies
    int16_t eval_jitter;     // 1 in the game loop, 0 in batch modes
    char params_file[FILE_NAME_LENGTH];
    char NN_File[FILE_NAME_LENGTH];
    char ConfigFilePath[PATH_LENGTH];
    char OwnBook_File[PATH_LENGTH];
    char OwnBook2_File[PATH_LENGTH];
    char SyzygyPath[PATH_LENGTH];
    int16_t SyzygyProbeDepth; // five pieces and fewer; no option sets it
    int16_t SyzygyProbeDepth6;
    int16_t Contempt;
    int16_t contempt_taper; // second contempt term; no option sets it
    int16_t Selectivity;    // per cent
    int16_t SEP_depth;      // the eight selectivity settings, in plies, units and moves
    int16_t SEP_margin;
    int16_t NMP_depth;
    int16_t FP_depth;
    int16_t FP_margin;
    int16_t LMP_depth;
    int16_t LMP_count;
    int16_t LMR_depth;
    int16_t eval_scale[13][2]; // per cent, midgame and endgame; order: ApplyPersonality's table
};
extern Personality active_personality;  // what the program runs on
extern Personality default_personality; // what `uci` lists

// Personality fields that an option may change while search threads read them.
inline int16_t load_shared(const int16_t& field) {
    return std::atomic_ref<int16_t>(const_cast<int16_t&>(field)).load(std::memory_order_relaxed);
}
inline void store_shared(int16_t& field, int value) {
    std::atomic_ref<int16_t>(field).store(static_cast<int16_t>(value), std::memory_order_relaxed);
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

// Sets the three records to their defaults; both personalities become equal.
void set_default_state();
