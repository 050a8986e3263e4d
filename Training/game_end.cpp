#include "Training/game_end.h"

#include <cstdlib>

#include "Training/ply_record.h"
#include "Training/random_start.h"
#include "board/attack.h"
#include "board/bitboard.h"
#include "board/draw.h"
#include "board/line.h"
#include "board/types.h"

// Tells whether nobody can mate: a lone minor piece, or bishops on squares of one colour.
static bool mate_is_impossible(const Position& pos) {
    Bitboard bishops = 0, knights = 0;
    for (int side : {WHITE, BLACK}) {
        const Bitboard* own = pos.pieces[side];
        if (own[PAWN] | own[ROOK] | own[QUEEN]) return false;
        bishops |= own[BISHOP];
        knights |= own[KNIGHT];
    }
    if (knights) return !bishops && pop_count(knights) == 1;
    return !(bishops & LIGHT_SQUARES) || !(bishops & ~LIGHT_SQUARES);
}

int result_by_rules(Position& pos) {
    if (all_legal_moves(pos).empty()) {
        if (!king_in_check(pos)) return RESULT_DRAWN;
        return pos.side == WHITE ? RESULT_LOST : RESULT_WON;
    }
    bool drawn = pos.halfmoves >= FIFTY_MOVES || mate_is_impossible(pos) || is_draw(pos, 0)
              || pos.owner->undo_index >= MAX_GAME_PLIES;
    return drawn ? RESULT_DRAWN : NO_RESULT;
}

int result_by_score(Verdict& verdict, const VerdictRules& rules, int white_score, int ply) {
    verdict.won[WHITE] = white_score >= rules.won_score ? verdict.won[WHITE] + 1 : 0;
    verdict.won[BLACK] = white_score <= -rules.won_score ? verdict.won[BLACK] + 1 : 0;
    verdict.drawish = std::abs(white_score) <= rules.drawish_score ? verdict.drawish + 1 : 0;
    if (verdict.won[WHITE] >= rules.won_plies) return RESULT_WON;
    if (verdict.won[BLACK] >= rules.won_plies) return RESULT_LOST;
    if (ply > rules.drawish_from && verdict.drawish >= rules.drawish_plies) return RESULT_DRAWN;
    return NO_RESULT;
}
