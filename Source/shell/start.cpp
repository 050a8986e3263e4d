#include "shell/start.h"

#include <cstdio>

#include "base/defaults.h"
#include "base/files.h"
#include "base/platform.h"
#include "base/platform_files.h"
#include "base/print.h"
#include "base/state.h"
#include "base/text.h"
#include "board/bitboard.h"
#include "book/build.h"
#include "eval/kpk.h"
#include "eval/nn.h"
#include "search/hash.h"
#include "search/limits.h"
#include "search/ordering.h"
#include "search/pool.h"
#include "search/thread.h"
#include "shell/bench.h"
#include "shell/calibration.h"
#include "shell/help.h"
#include "shell/loop.h"
#include "shell/options.h"
#include "shell/think.h"
#include "syzygy/tbcore.h"
#include "tools/scan_pgn.h"
#include "tools/test_suite.h"
#include "tools/tuning_data.h"

// The program's directory from argv[0], with forward slashes.
static void find_program_directory(const char* program) {
    constexpr size_t WORKING_DIRECTORY_LIMIT = 200;

    char path[sizeof exe_dir];
    copy_text(path, program ? program : "", sizeof path);
    size_t cut = 0;
    for (size_t i = 0; path[i]; i++)
        if (path[i] == '/' || path[i] == '\\') cut = i;
    path[cut] = 0;

    bool absolute = path[0] == '/' || path[0] == '\\' || (path[0] && path[1] == ':');
    char here[WORKING_DIRECTORY_LIMIT] = "";
    if (!absolute) working_directory(here, sizeof here);
    snprintf(exe_dir, sizeof exe_dir, "%s%s%.50s", here, !absolute && path[0] ? "/" : "", path);
    if (absolute) copy_text(exe_dir, path, sizeof exe_dir);
    for (char* c = exe_dir; *c; c++)
        if (*c == '\\') *c = '/';
}

// Tables, the game's record and the default settings.
static bool init_records() {
    seed_random(static_cast<unsigned>(static_cast<uint64_t>(monotonic_seconds() * 1000.0)));
    main_thread = allocate_search_thread();
    if (!main_thread) return false;
    reset_search_stack(*main_thread);
    init_board_tables();
    init_kpk_table();
    init_history_rates();
    set_default_state();
    return true;
}

// Runs of fixed depth or nodes need no more than these tables.
static void size_hash_for_limits() {
    constexpr int ONE_MB_BELOW = 8, SIZED_BELOW = 13; // plies; each one more doubles the table
    constexpr uint64_t NODES_OF_ONE_MB = 32000;
    constexpr int MAX_MB = 64; // however many nodes

    int32_t& megabytes = default_personality.Hash;
    if (engine.max_depth < ONE_MB_BELOW) megabytes = 1;
    else if (engine.max_depth < SIZED_BELOW) megabytes = 2 << (engine.max_depth - ONE_MB_BELOW);

    if (engine.max_nodes == UNLIMITED_NODES) return;
    uint64_t limit = NODES_OF_ONE_MB;
    megabytes = 1;
    while (engine.max_nodes > limit && megabytes < MAX_MB) {
        limit *= 2;
        megabytes *= 2;
    }
}

static bool init_hash() {
    engine.hash_mb = active_personality.Hash;
    if (hash_alloc()) return true;
    if (!strict_protocol()) return false;
    PrintFormat("info string no memory for %d Mbytes of hash table", engine.hash_mb);
    engine.hash_mb /= 2;
    allocate_what_there_is();
    return true;
}

bool init_engine() {
    if (!init_records() || !init_hash()) return false;
    rebuild_evaluation();
    NnLoad();
    set_position(main_thread->position, START_FEN);
    return true;
}

void shut_down_engine() {
    end_search_threads();
    tb_init("");
    hash_free();
    free_search_thread(main_thread);
    main_thread = nullptr;
    NnUnload();
    end_fine_timer();
    close_log();
}

static void run_game() {
    calibrate();
    // As it has always been the board stays as the calibration leaves it.
    if (strict_protocol()) set_position(main_thread->position, START_FEN);
    tb_init(active_personality.SyzygyPath);
    run_game_loop();
}

static void run_mode(const CommandLine& line) {
    switch (line.run_mode) {
    case MODE_GAME: run_game(); break;
    case MODE_BENCHMARK: run_benchmark(line.benchmark_here, line.benchmark_rate_line); break;
    case MODE_NOTHING:
    case MODE_MAKE_CONFIG: break;
    case MODE_TEST_SUITE: run_test_suite(); break;
    case MODE_MAKE_BOOK: build_book(); break;
    case MODE_TUNE_DATA_1:
    case MODE_TUNE_DATA_2:
        make_tuning_data(shell.epd_in_name, shell.out_name, line.run_mode - MODE_TUNE_DATA_1 + 1);
        break;
    default:
        scan_pgn(shell.games_in_name, shell.out_name, line.run_mode - MODE_SCAN_PGN_1 + 1);
        break;
    }
}

// Rests and waits as fine as the mode wants them; an engine that can't have that plays all the
// same.
static void set_timer(RunMode mode) {
    constexpr int GAME_MS = 5, TUNE_MS = 1;
    const bool tuning = mode == MODE_TUNE_DATA_1 || mode == MODE_TUNE_DATA_2;
    switch (begin_fine_timer(tuning ? TUNE_MS : GAME_MS)) {
    case TimerError::NONE: break;
    case TimerError::UNKNOWN_RANGE: printf("error setting timer resolution\n"); break;
    case TimerError::REFUSED: PrintFormat("Error setting timer resolution");
    }
}

int run_program(int argc, char** argv) {
    hold_standard_streams();
    prepare_platform(argc, argv);
    ignore_broken_pipes();
    ignore_size_limits();
    find_program_directory(argv[0]);
    if (argc > 1 && tell_of_itself(argv[1])) return 0;
    if (!init_records()) return 1;

    CommandLine line = parse_arguments(argc, argv);
    if (line.exit_status) return line.exit_status;
    if (line.refused) {
        printf("Need to compile with 'make ttune'\n");
        return 1;
    }
    // What the command line set counts from here on, and as the default of later listings.
    active_personality = default_personality;
    engine.num_threads = static_cast<uint8_t>(default_personality.Threads);
    PrintFormat("info string Hello from %s", PROGRAM_NAME);
    size_hash_for_limits();
    active_personality.Hash = default_personality.Hash;
    if (!init_hash()) return 1;
    open_log();
    set_timer(line.run_mode);
    default_personality = active_personality;
    if (active_personality.ConfigFilePath[0]) LoadConfig();
    rebuild_evaluation();
    NnLoad();

    run_mode(line);
    shut_down_engine();
    return file_failed ? 1 : 0;
}
