
#include "eval/terms.h"

// Mixed into the pawn key for each king on files a-d, since the piece-square tables are mirrored
// and chosen by those halves. Any two numbers would do whose bits are spread.
static constexpr uint64_t KING_HALF_KEY[2] = {29062247722ULL, 16682261684ULL};

// Ranks as their own side counts them.
constexpr int SECOND_RANK = 1, FOURTH_RANK = 3, SEVENTH_RANK = 6;

// Rows of the kings' distances to a passed pawn, by its rank and king steps.
static int32_t own_king_rows[8][8], enemy_king_rows[8][8];
// Rows of candidates, by rank and steps of the enemy king to the square before promotion.
static int32_t candidate_rows[8][8];

void build_pawn_tables() {
    // Shares by rank, and by steps.
    static constexpr float PASSED_SCALE[8] = {0.0f, 0.16f, 0.18f, 0.36f, 0.57f, 0.78f, 1.0f, 1.0f};
    static constexpr float CANDIDATE_SCALE[8] = {0.0f,  0.15f, 0.30f, 0.45f,
                                                 0.60f, 0.75f, 0.90f, 1.0f};
    for (int rank = SECOND_RANK; rank <= SEVENTH_RANK; rank++)
        for (int steps = 0; steps < 8; steps++) {
            own_king_rows[rank][steps] = scaled_row(ppawn_fkdist + steps, PASSED_SCALE[rank]);
            enemy_king_rows[rank][steps] = scaled_row(ppawn_ekdist + steps, PASSED_SCALE[rank]);
            candidate_rows[rank][steps] =
                scaled_row(candidate_passer + rank - 1, CANDIDATE_SCALE[steps]);
        }
}

// The squares left and right of the set's.
static Bitboard neighbours(Bitboard set) { return step_east(set) | step_west(set); }

// The pawn maps and sets that later steps read.
static void find_pawn_sets(const Position& pos, EvalContext& context) {
    constexpr int NEAR_PAWN_WEIGHT = 2; // points of zone_danger
    constexpr Bitboard OUTPOST_RANKS[2] = {rank_mask(3) | rank_mask(4) | rank_mask(5),
                                           rank_mask(2) | rank_mask(3) | rank_mask(4)};

    const Bitboard pawns[2] = {pos.pieces[WHITE][PAWN], pos.pieces[BLACK][PAWN]};
    Bitboard front[2], reach[2]; // squares ahead, and what can ever be attacked from there
    for (int side : {WHITE, BLACK}) {
        Bitboard ahead = step_forward(side, pawns[side]);
        Bitboard west = step_west(ahead), east = step_east(ahead);
        context.pawn_attacks[side] = west | east;
        context.double_attacks[side] |=
            (west & east) | (context.pawn_attacks[side] & context.attacks[side][ATTACKS_ALL]);
        context.attacks[side][ATTACKS_ALL] |= context.pawn_attacks[side];
        context.attacks[side][PAWN] = context.pawn_attacks[side];
        front[side] = fill_forward(side, pawns[side]);
        reach[side] = neighbours(front[side]);
    }
    context.pawn_ways = front[WHITE] | front[BLACK];
    context.all_pawns = pawns[WHITE] | pawns[BLACK];
    context.passed_pawns = context.halfopen_pawns = 0;
    for (int side : {WHITE, BLACK}) {
        int them = side ^ 1;
        Bitboard open = pawns[side] & ~front[them];
        Bitboard passed = open & ~reach[them];
        context.outposts[side] = FILES_B_TO_G & OUTPOST_RANKS[side] & ~reach[them];
        context.passed_pawns |= passed;
        context.halfopen_pawns |= open & ~passed;
        context.king_attack_weight[side] =
            NEAR_PAWN_WEIGHT * pop_count(step_forward(them, pawns[them]) & context.king_zone[side]);
    }
}

// What depends on pawns and king halves alone.
static void eval_structure(const Position& pos, EvalContext& context) {
    for (int side : {WHITE, BLACK}) {
        Bitboard pawns = pos.pieces[side][PAWN];
        const int tables = context.same_half ? PST_P1 : PST_P2;
        for (Bitboard set = pawns; set;) {
            int square = pop_lowest(set), index = square ^ context.flip[side];
            add_row(context, side, mtl_pawn);
            add_row(context, side, tables + index);
            if (context.pawn_attacks[side] & bit(square)) add_row(context, side, PST_DP + index);
            if (context.pawn_attacks[side] & step_forward(side, bit(square)))
                add_row(context, side, PST_CP + index);
        }
        Bitboard ahead = fill_forward(side, pawns);
        Bitboard behind = fill_forward(side ^ 1, pawns);
        Bitboard isolated = pawns & ~neighbours(pawns | ahead | behind);
        Bitboard weak = pawns & ~isolated & ~neighbours(pawns | ahead);
        add_row_times(context, side, pawn_isolated, pop_count(isolated));
        add_row_times(context, side, pawn_weak, pop_count(weak));
        add_row_times(context, side, pawn_doubled, pop_count(pawns & ahead));
    }
}

bool PawnEval(const Position& pos, EvalState& eval) {
    EvalContext& context = eval.context;
    find_pawn_sets(pos, context);

    uint64_t key = pos.pawn_key;
    for (int side : {WHITE, BLACK})
        if (on_queen_side(pos.king_square[side])) key ^= KING_HALF_KEY[side];
    PawnHashEntry& entry = eval.pawn_hash[key & (PAWN_HASH_SIZE - 1)];
    const bool found = entry.key == key && caches_answer(context.ply);
    if (found) {
        for (int side : {WHITE, BLACK})
            context.packed[side] = packed_add(context.packed[side], entry.packed[side]);
    } else {
        eval_structure(pos, context);
        entry = {key, {context.packed[WHITE], context.packed[BLACK]}};
    }

    // Outside the hash, because it depends on all pieces.
    for (int side : {WHITE, BLACK}) {
        Bitboard blocked = step_forward(side, pos.pieces[side][PAWN]) & context.occupied;
        add_row_times(context, side, pawn_blocked, pop_count(blocked));
    }
    return found;
}

// Tells whether nothing on the way of a mobile passed pawn can stop it: no lesser piece of the
// enemy attacks it, and each square that he holds or attacks is attacked by us, and by him not
// twice.
static bool path_is_free(const Position& pos, const EvalContext& context, int side, Bitboard path) {
    int them = side ^ 1;
    if (path & context.lesser_attacks[them]) return false;
    Bitboard contested = path & (pos.pieces[them][ALL_PIECES] | context.attacks[them][ATTACKS_ALL]);
    return !(contested & (~context.attacks[side][ATTACKS_ALL] | context.double_attacks[them]));
}

static void eval_passed_pawn(const Position& pos, EvalContext& context, int square) {
    // By rank: the pressure of a free pawn on the defender, in evaluation units.
    static constexpr int PRESSURE[8] = {0, 0, 0, 150, 300, 600, 1200, 0};

    int side = colour_of(pos.board[square]), them = side ^ 1;
    int rank = rank_of(square ^ rank_flip[side]), step = pawn_push[side];
    if (rank < SECOND_RANK || rank > SEVENTH_RANK) return; // put there by a text; it has no row

    Bitboard path = fill_forward(side, bit(square));
    if (path & context.all_pawns) return;
    int stop = square + step;
    int target = rank == SECOND_RANK && pos.board[stop] == 0 ? stop + step : stop;

    int pressure = PRESSURE[rank] / 4; // while it is held up
    add_row(context, side, ppawn_base + rank - 1);
    if (pos.board[target] == 0) { // mobile: no exchange is needed to go there
        add_row(context, side, ppawn_mobile + rank - 1);
        pressure = PRESSURE[rank] / 2;
        if (path_is_free(pos, context, side, path)) {
            add_row(context, side, ppawn_free + rank - 1);
            context.free_pawns |= bit(square);
            pressure = PRESSURE[rank];
        }
    }

    // The kings' way is measured to the square behind the next one, while there is one.
    int measured = rank < SEVENTH_RANK ? target + step : target;
    add_packed(context, side, own_king_rows[rank][chebyshev(pos.king_square[side], measured)]);
    add_packed(context, side, enemy_king_rows[rank][chebyshev(pos.king_square[them], measured)]);
    if (context.pawn_attacks[side] & bit(target))
        add_row(context, side, ppawn_connected + rank - 1);
    context.threat_pressure[them] += pressure;
}

// A half-open pawn that may become passed: nothing stands on its way, and its neighbours support it
// as often as the way is attacked. The farther the enemy king, the more it counts.
static void eval_candidate(const Position& pos, EvalContext& context, int square) {
    int side = colour_of(pos.board[square]), them = side ^ 1;
    int rank = rank_of(square ^ rank_flip[side]);
    if (rank < FOURTH_RANK || rank > SEVENTH_RANK) return;
    Bitboard path = fill_forward(side, bit(square));
    if (path & context.occupied) return;

    int supporters = pop_count(neighbours(bit(square)) & pos.pieces[side][PAWN]);
    int attackers = pop_count(path & context.attacks[them][ATTACKS_ALL])
                  + ((path & context.double_attacks[them]) != 0);
    if (attackers > supporters) return;
    int before_promotion = file_of(square) + 8 * (side == WHITE ? SEVENTH_RANK : SECOND_RANK);
    int distance = chebyshev(pos.king_square[them], before_promotion);
    add_packed(context, side, candidate_rows[rank][distance]);
}

void eval_passed_pawns(const Position& pos, EvalContext& context) {
    for (Bitboard set = context.passed_pawns; set;) eval_passed_pawn(pos, context, pop_lowest(set));
    for (Bitboard set = context.halfopen_pawns; set;) eval_candidate(pos, context, pop_lowest(set));
}
