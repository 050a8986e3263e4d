// match_game.h: one game between two UCI engines.
//
// The referee's board is the game's position of this process, so that there is one game at a time;
// main thread only.

#pragma once

#include <cstdint>
#include <string>

#include "Training/uci_engine.h"

struct MatchPlayer {
    std::string command; // for the shell
    std::string options; // "Name=Value,Name=Value"; may be empty
    UciEngine engine;    // started by the first game, and anew after a fault
};

// What a move may cost; one of the three is not 0.
struct MatchLimit {
    uint64_t nodes = 0;     // of a move
    int depth = 0;          // plies
    double seconds = 0;     // on the clock of each side at the start
    double increment = 0.0; // seconds that are added behind each move
    int moves = 0;          // `seconds` come anew behind so many moves of a side; 0: never
};

enum class MatchEnd { RULES, SCORE, TIME, ILLEGAL, SILENT };

// What the ends are called in files of games, in the order of MatchEnd.
constexpr const char* MATCH_END_NAMES[] = {"rules", "score", "time", "illegal", "silent"};

struct MatchResult {
    int white;    // RESULT_LOST, RESULT_DRAWN or RESULT_WON
    MatchEnd end; // TIME and what follows it are faults of the loser
    int plies;    // moves of both sides
};

// Sends the engines' options and plays a game from the position of a FEN text, castling being
// written as the flag shell.chess960 says. Scores end a game as in CONTRIBUTING.md: drawn when
// from move 40 on both stay within 0.10 for eight plies, lost when both stay beyond 10 pawns for
// four. An engine that is late, breaks the rules or falls silent has lost. Returns false, after a
// message on standard error, if an engine can't be started.
bool play_match_game(MatchResult& result, MatchPlayer& white, MatchPlayer& black,
                     const MatchLimit& limit, const char* fen);
