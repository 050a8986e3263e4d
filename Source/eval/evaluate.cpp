#include "eval/evaluate.h"

#include <algorithm>
#include <cstring>

#include "eval/endgame.h"
#include "eval/nn.h"
#include "eval/report.h"
#include "eval/state.h"
#include "eval/terms.h"
#include "search/thread.h"

std::atomic<uint32_t> eval_epoch;

int32_t packed_rows[PARAM_ROWS];

void build_eval_tables() {
    for (int i = 0; i < PARAM_ROWS; i++) packed_rows[i] = eval_params[i].value;
    build_pawn_tables();
    build_piece_tables();
    build_king_tables();
}

void refresh_eval_tables(SearchThread& thread) {
    EvalState& eval = thread.eval;
    // A search with noise and one without must not find each other's scores: the same game played
    // again would go another way.
    const bool noise = NnHasNoise(thread);
    if (eval.eval_noise != noise) memset(eval.eval_hash, 0, sizeof eval.eval_hash);
    eval.eval_noise = noise;

    uint32_t epoch = relaxed(eval_epoch);
    if (eval.eval_epoch == epoch) return;
    memset(eval.eval_hash, 0, sizeof eval.eval_hash);
    memset(eval.pawn_hash, 0, sizeof eval.pawn_hash);
    eval.eval_epoch = epoch;
}

void prefetch_eval(SearchThread& thread, uint64_t key, int side) {
    __builtin_prefetch(&eval_hash_entry(thread.eval, key, side));
}

// Tells whether a side is so far ahead of an opponent with little left that exact endgame
// knowledge does better than the network.
static bool is_lopsided(const Position& pos, int ahead, int behind) {
    constexpr int LEAD = 4, FEW_PIECES = 10; // phase units
    return pos.material[behind] <= FEW_PIECES
        && pos.material[ahead] + pawn_count(pos, ahead)
               >= pos.material[behind] + 2 * pawn_count(pos, behind) + LEAD;
}

bool has_network_material(const Position& pos) {
    constexpr int TWO_MINORS = 6; // phase units; without pawns so little seldom wins
    if (is_lopsided(pos, WHITE, BLACK) || is_lopsided(pos, BLACK, WHITE)) return false;
    int pieces = pos.material[WHITE] + pos.material[BLACK];
    int pawns = pawn_count(pos, WHITE) + pawn_count(pos, BLACK);
    // King and pawn against king is known exactly.
    return pawns == 0 ? pieces > TWO_MINORS : pawns > 1 || pieces > 0;
}

// Use_NN_eval may change while a search runs. An entry holds the score of one evaluator only, so
// the other must not find it. Returns the option's value.
static uint8_t flush_on_switch(EvalState& eval) {
    uint8_t use_nn = relaxed(shell.use_nn);
    if (eval.eval_use_nn != use_nn) {
        memset(eval.eval_hash, 0, sizeof eval.eval_hash);
        eval.eval_use_nn = use_nn;
    }
    return use_nn;
}

// The contempt term for the side to move at the root: the option counts most on a full board, the
// taper turns from plus to minus as it empties.
static int contempt(const Position& pos) {
    constexpr int ALL_PIECES_UNITS = 64, BARE = 6; // phase units; up to two minors count as none
    constexpr int PAWN_UNITS = 2, MAX_PAWNS = 12;  // of both sides
    constexpr int FULL = ALL_PIECES_UNITS - BARE + PAWN_UNITS * MAX_PAWNS, HALF = FULL / 2;

    int pieces = std::max(pos.material[WHITE] + pos.material[BLACK], BARE) - BARE;
    int pawns = std::min(pawn_count(pos, WHITE) + pawn_count(pos, BLACK), MAX_PAWNS);
    int fill = pieces + PAWN_UNITS * pawns;
    return active_personality.contempt_taper * (fill - HALF) / HALF
         + load_shared(active_personality.Contempt) * fill / FULL;
}

int Evaluate(SearchThread& thread, int side, int ply, int in_check) {
    if (in_check) return NO_EVAL;

    const Position& pos = thread.position;
    bool network = flush_on_switch(thread.eval) && nn_header.weights && has_network_material(pos);
    int score = network ? NnEval(thread) : HceEval(thread, side, ply, 0);
    if (engine.target_time < ANALYSIS_SECONDS)
        score += side == engine.root_side ? contempt(pos) : -contempt(pos);
    score -= score * pos.halfmoves / FIFTY_SCALE;
    return std::clamp(score, -EVAL_LIMIT, EVAL_LIMIT);
}

// Sets the context up: attack maps of the kings, zones, mirror masks.
static void prepare_context(const Position& pos, EvalContext& context) {
    constexpr int FULL_MATERIAL = 59;  // phase units of both sides; above, all is middlegame
    constexpr double FOR_UNIT = 0.017; // 1 / 59

    int material = pos.material[WHITE] + pos.material[BLACK];
    context.phase = material < FULL_MATERIAL ? static_cast<float>(1.0 - FOR_UNIT * material) : 0.0f;
    context.occupied = occupied(pos);
    context.hung_pieces = context.free_pawns = 0;
    for (int side : {WHITE, BLACK}) {
        int king = pos.king_square[side];
        context.packed[side] = 0;
        context.threat_pressure[side] = 0;
        context.double_attacks[side] = 0;
        context.attacks[side][KING] = context.attacks[side][ATTACKS_ALL] = king_attacks[king];

        // A king on the edge has the zone of the square beside it, so that it is as large.
        int centre = std::clamp(rank_of(king), 1, 6) * 8 + std::clamp(file_of(king), 1, 6);
        context.king_zone[side] = king_attacks[centre] | bit(centre);
        context.flip[side] = rank_flip[side] ^ (on_queen_side(king) ? 7 : 0);
        context.group_start[side] = 0;
    }
    context.same_half =
        on_queen_side(pos.king_square[WHITE]) == on_queen_side(pos.king_square[BLACK]);
}

// Keeps what was added since the last checkpoint as a group of the report.
template <bool REPORT>
static void checkpoint(EvalContext& context, EvalGroup group) {
    if constexpr (!REPORT) return;
    for (int side : {WHITE, BLACK}) {
        context.group[group][side] = packed_sub(context.packed[side], context.group_start[side]);
        context.group_start[side] = context.packed[side];
    }
}

// Runs all terms into the packed totals.
template <bool REPORT>
static void add_terms(SearchThread& thread, EvalContext& context) {
    const Position& pos = thread.position;
    count(thread.pawn_probes);
    if (PawnEval(pos, thread.eval)) count(thread.pawn_hits);
    checkpoint<REPORT>(context, GROUP_PAWNS);
    eval_knights(pos, context);
    checkpoint<REPORT>(context, GROUP_KNIGHTS);
    eval_bishops(pos, context);
    checkpoint<REPORT>(context, GROUP_BISHOPS);
    eval_rooks(pos, context);
    checkpoint<REPORT>(context, GROUP_ROOKS);
    eval_queens(pos, context);
    checkpoint<REPORT>(context, GROUP_QUEENS);
    for (int side : {WHITE, BLACK}) eval_king(pos, context, side);
    checkpoint<REPORT>(context, GROUP_KING);
    eval_passed_pawns(pos, context);
    checkpoint<REPORT>(context, GROUP_PPAWNS);
    eval_threats(pos, context);
    checkpoint<REPORT>(context, GROUP_THREATS);
    add_row(context, pos.side, stm_bonus);
    checkpoint<REPORT>(context, GROUP_SPECIAL);
}

int HceEval(SearchThread& thread, int side, int ply, int report) {
    const Position& pos = thread.position;
    EvalContext& context = thread.eval.context;
    count(thread.eval_probes);
    context.report = report;
    context.ply = ply;

    int score = 0;
    if (endgame_score(pos, side, score)) return score;

    SearchStackEntry& stack = thread.stack[ply];
    EvalHashEntry& entry = eval_hash_entry(thread.eval, pos);
    if (entry.key == pos.key && caches_answer(ply) && !report) {
        count(thread.eval_hits);
        memcpy(stack.threat_pressure, entry.threat_pressure, sizeof stack.threat_pressure);
        return entry.hce_score;
    }

    prepare_context(pos, context);
    report ? add_terms<true>(thread, context) : add_terms<false>(thread, context);
    int white = blend(packed_sub(context.packed[WHITE], context.packed[BLACK]), context.phase);
    float scale = endgame_scale(pos, white);
    score = static_cast<int>(static_cast<float>(white) * scale);
    if (pos.side == BLACK) score = -score;

    entry.key = pos.key;
    for (int c : {WHITE, BLACK})
        entry.threat_pressure[c] = stack.threat_pressure[c] =
            static_cast<int16_t>(context.threat_pressure[c]);
    entry.hce_score = static_cast<int16_t>(score);
    if (report) EvalReport(pos, thread.eval, scale);
    return score;
}
