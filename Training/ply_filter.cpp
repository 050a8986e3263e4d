#include "Training/ply_filter.h"

#include <cstdlib>

#include "eval/endgame.h"
#include "eval/evaluate.h"

const char* const PLY_VERDICT_NAMES[PLY_VERDICTS] = {"kept",    "in check",    "noisy", "opening",
                                                     "decided", "fifty moves", "known"};

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
