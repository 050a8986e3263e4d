#include "Training/ply_filter.h"

#include <cstdlib>

#include "board/see.h"
#include "eval/endgame.h"
#include "eval/evaluate.h"

const char* const PLY_VERDICT_NAMES[PLY_VERDICTS] = {"kept",    "in check",    "noisy", "opening",
                                                     "decided", "fifty moves", "known", "tense"};

static bool is_known(const PlyRecord& record, PlyUse use) {
    if (use == PLY_FOR_ANY) return false;
    const Position board = bare_board(record);
    if (use == PLY_FOR_NETWORK) return !has_network_material(board);
    int ignored = 0;
    return endgame_score(board, board.side, ignored);
}

PlyVerdict judge_ply(const PlyRecord& record, PlyUse use) {
    if (record.place & RECORD_CHECK) return PLY_IN_CHECK;
    if (record.place & RECORD_TACTICAL) return PLY_NOISY;
    if (record_ply(record) < PLY_MIN_PLY) return PLY_OPENING;
    if (std::abs(record.score) > PLY_MAX_SCORE) return PLY_DECIDED;
    if (record.halfmoves > PLY_MAX_HALFMOVES) return PLY_FIFTY;
    return is_known(record, use) ? PLY_KNOWN : PLY_KEPT;
}

// Tells whether the side to move wins material by a capture.
static bool is_tense(const PlyRecord& record) {
    const Position board = bare_board(record);
    for (Bitboard set = board.pieces[board.side ^ 1][ALL_PIECES]; set;)
        if (see(board, board.side, NO_SQUARE, pop_lowest(set)) > 0) return true;
    return false;
}

PlyVerdict judge_ply(const PlyRecord& record, const PlyFilter& filter) {
    PlyVerdict verdict = judge_ply(record, filter.use);
    return verdict == PLY_KEPT && filter.quiet && is_tense(record) ? PLY_TENSE : verdict;
}
