// workers.h: self-play in several processes at once.
//
// The engine's records are process-wide, so each worker is a process of its own, forked from the
// caller after the engine's start-up. Workers play games, append them to a file each and count in
// memory shared with the caller, which only waits and reports. Where there are more workers than
// may play at once they take turns, with a process for each turn: side by side on one processor
// they would drive each other's weights and hash entries out of its caches, a sixth of the speed.

#pragma once

#include <cstdint>
#include <string>

#include "Training/selfplay_game.h"

// Status of a run that SIGINT or SIGTERM has ended ahead of its goals, so that a script does not
// take its games for all of them.
constexpr int SELFPLAY_STOPPED = 3;

struct SelfplaySettings {
    GameSettings game;      // how each game is played
    std::string out;        // directory of the files; made if it is missing
    uint64_t seed = 1;      // of the whole run
    int workers = 1;        // at least 1
    int at_once = 1;        // workers that play at the same time, at least 1
    double turn = 30;       // seconds of a turn, where not all play at the same time
    int hash_mb = 8;        // of each worker, at least 1
    uint64_t games = 0;     // goals for all workers together, what is in the files counted;
    uint64_t positions = 0; // 0: none
    double minutes = 0;     // of this run; 0: no limit
    bool report = false;    // progress lines on standard error
};

// Name of a worker's file: games-SEED-WORKER.ply in the directory.
std::string ply_file_name(const SelfplaySettings& settings, int worker);

// Plays until the first goal is reached, each worker for its even share of games or positions, or
// until SIGINT or SIGTERM comes, which drops the games under way. A game depends on seed, worker
// and its number in the file alone; workers go on behind the games that their files hold. Files
// that were made with other settings are left alone, and the run does not begin.
// Returns 0; 1 after a message on standard error if a worker failed; SELFPLAY_STOPPED.
int run_selfplay(const SelfplaySettings& settings);
