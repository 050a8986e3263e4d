// game_end.h: when a game is over: by the rules, or by scores that say the same for long enough.
//
// Looks at the game's position and its record; main thread only.

#pragma once

#include "board/position.h"

constexpr int NO_RESULT = -1; // beside the RESULT_... of ply_record.h

// White's result where the rules end the game, a game of MAX_GAME_PLIES being a draw, else
// NO_RESULT.
int result_by_rules(Position& pos);

// From when on scores decide a game. Both kinds count the plies of both sides.
struct VerdictRules {
    int won_score; // at least so much for one side
    int won_plies; // so many plies in a row
    int drawish_score;
    int drawish_plies;
    int drawish_from; // not before this ply of the game
};

// How long the scores have said the same; zeroed at the start of a game.
struct Verdict {
    int won[2];  // plies in a row with a won score, by colour of the winner
    int drawish; // plies in a row with a score near 0
};

// Counts a score, from White's view, of a ply of the game. Returns White's result when that is
// clear, else NO_RESULT.
int result_by_score(Verdict& verdict, const VerdictRules& rules, int white_score, int ply);
