// ply_filter.h: which records training uses, and why the others are left out.
//
// The one filter for all programs: selfplay and plyinfo count what it keeps, relabel works at that,
// and the trainers learn from it. Pure work on the caller's records; any thread.

#pragma once

#include "Training/ply_record.h"

// What becomes of a record. The order is that of the tests: the first that fits counts.
enum PlyVerdict {
    PLY_KEPT,
    PLY_IN_CHECK, // no static evaluation exists
    PLY_NOISY,    // the best move captures or promotes, so that the static score is not its own
    PLY_OPENING,  // too near to the random moves that began the game
    PLY_DECIDED,  // the score is so high that its size says nothing
    PLY_FIFTY,    // the score is drawn towards 0 by the fifty-move rule
    PLY_KNOWN,    // what is to be trained never answers such a position
    PLY_TENSE,    // a capture wins material, though the best move is another one
    PLY_VERDICTS
};
extern const char* const PLY_VERDICT_NAMES[PLY_VERDICTS];

// What the record is to teach.
enum PlyUse {
    PLY_FOR_ANY,     // either of the two: no position is known
    PLY_FOR_NETWORK, // known is what Evaluate leaves to the hand-crafted evaluation
    PLY_FOR_TABLES   // known is what endgame knowledge answers
};

// The first and last values that pass.
constexpr int PLY_MIN_PLY = 16;       // plies since the start of the game
constexpr int PLY_MAX_SCORE = 1500;   // evaluation units, of either sign
constexpr int PLY_MAX_HALFMOVES = 60; // plies since the last capture or pawn move

// Which records a trainer wants.
struct PlyFilter {
    PlyUse use;
    bool quiet; // leave out PLY_TENSE, which otherwise counts as kept
};

// Judges a record, which must be sound unless the use is PLY_FOR_ANY.
PlyVerdict judge_ply(const PlyRecord& record, PlyUse use);

// The same with the whole filter; the record must be sound. What a capture wins is told by static
// exchange with the values in see_value, pins and promotions being overlooked.
PlyVerdict judge_ply(const PlyRecord& record, const PlyFilter& filter);
