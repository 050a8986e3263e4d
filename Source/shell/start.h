// start.h: start-up, the command line, and the choice of the run mode.
//
// Main thread only. All that is built here lives until shut_down_engine, which the one run mode of
// a process comes before.

#pragma once

// Run modes. No run mode returns to another.
enum RunMode {
    MODE_GAME = 1,
    MODE_TEST_SUITE = 2,
    MODE_SCAN_PGN_1 = 3, // to 6: the PGN scan with the numbers 1 to 4
    MODE_NOTHING = 7,
    MODE_BENCHMARK = 8,
    MODE_MAKE_BOOK = 9,
    MODE_MAKE_CONFIG = 10,
    MODE_TUNE_DATA_1 = 11,
    MODE_TUNE_DATA_2 = 12 // 13 to 17 are tuning, which this build refuses
};

struct CommandLine {
    RunMode run_mode;         // the last one named, else MODE_GAME
    bool refused;             // a tuning mode was asked for, wherever it stood
    bool benchmark_here;      // -pbench, or "bench" as first argument: search on the main thread
    bool benchmark_rate_line; // "bench" as first argument: end with the line that others read
    int exit_status;          // not 0: the process ends with it at once, without a message
};

// The whole program: start-up in its fixed order, one run mode, shutdown. Returns the exit status:
// 0 unless the command line was refused, memory ran out, or a file could not be read or written.
int run_program(int argc, char** argv);

// Scans the arguments behind the program's name into the process-wide records; unknown ones are
// skipped.
CommandLine parse_arguments(int argc, char** argv);

// Start-up without a command line: tables, records, hash table, evaluation. For programs that use
// the engine as a library. Returns false when memory ran out.
bool init_engine();

// Gives back what the start-up took.
void shut_down_engine();
