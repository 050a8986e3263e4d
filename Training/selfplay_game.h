// selfplay_game.h: one game of the engine against itself, from its start to its records.
//
// The engine's own search plays both sides on the calling thread, with one search thread and a
// limit of nodes; no clock is asked, so that a game depends on its seed alone. One game at a time
// in a process, since the engine's records are process-wide.

#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "Training/ply_record.h"

struct GameSettings {
    int nodes = 2000;        // of a move, at least 1: the iteration that reaches them is the last
    int chess960_share = 10; // per cent of the games
    int openings_share = 15; // per cent of the games, if there are openings
    std::vector<std::string> openings; // FEN texts
};

// A finished game. The records end with the position in which it was decided or, if the rules
// ended it, with the one before.
struct Game {
    int plies;                         // records in use
    PlyRecord records[MAX_GAME_PLIES]; // one a ply, random moves left out
};

// 1 drops the game under way. Set by signal handlers.
extern std::atomic<uint8_t> selfplay_interrupted;

// Sets the engine up for self-play: limits, no contempt, no messages. The hash table is given
// `hash_mb` megabytes, at least 1. Returns false when memory ran out.
bool prepare_engine(int hash_mb);

// Takes up a network file, "embedded" for the engine's own, or "hce" for the hand-crafted
// evaluation. Returns false, after a message on standard error, if it can't be read or is no
// network.
bool choose_evaluation(const char* network);

// Forgets all that earlier searches have left, so that the next one does not depend on them. Needs
// prepare_engine before.
void forget_searches();

struct SearchAnswer {
    Move move; // the best one
    int score; // from the side to move's view
};

// Searches the game's position, which has a legal move: the iteration that reaches `nodes` is the
// last, and it is broken off at `max_nodes`. Needs prepare_engine before. Ends the process when
// memory runs out.
SearchAnswer search_by_nodes(uint64_t nodes, uint64_t max_nodes);

// Plays one game; needs prepare_engine before. Returns false, with the game unfinished, when it
// was interrupted.
bool play_game(Game& game, const GameSettings& settings, uint64_t seed);
