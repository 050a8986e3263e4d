#include <algorithm>

#include "eval/terms.h"

namespace {

// Squares all over the board where an enemy piece would not simply be lost, and of them those that
// a piece of each kind gives check from.
struct CheckSquares {
    Bitboard safe;
    Bitboard from_bishop, from_rook, from_knight;
};

} // namespace

static CheckSquares find_check_squares(const Position& pos, const EvalContext& context, int side) {
    int king = pos.king_square[side], them = side ^ 1;
    Bitboard guarded = pos.pieces[them][ALL_PIECES] | context.minor_rook_attacks[side]
                     | context.double_attacks[side]
                     | (context.attacks[side][ATTACKS_ALL] & ~context.double_attacks[them]);
    Bitboard safe = ~guarded;
    return {safe, safe & bishop_attacks(king, context.occupied),
            safe & rook_attacks(king, context.occupied), safe & knight_attacks[king]};
}

// Squares from which enemies can give check safely, the queen's counted once for each kind of
// line.
static int count_checks(const EvalContext& context, int them, const CheckSquares& squares) {
    const Bitboard* attacks = context.attacks[them];
    return pop_count((attacks[BISHOP] & squares.from_bishop) | (attacks[ROOK] & squares.from_rook)
                     | (attacks[KNIGHT] & squares.from_knight))
         + ((attacks[QUEEN] & squares.from_bishop) != 0)
         + ((attacks[QUEEN] & squares.from_rook) != 0);
}

// How hard the enemy presses on the king's zone, in points: for each square that a kind attacks and
// that nothing of ours guards which is worth no more, for each square of a safe check, and what the
// attackers of the zone weigh. Queens count up to three squares, or one alone could fill the scale.
static int zone_danger(const EvalContext& context, int side, const CheckSquares& squares,
                       int checks) {
    constexpr int PAWN_POINTS = 2, KNIGHT_POINTS = 4, BISHOP_POINTS = 3, ROOK_POINTS = 4;
    constexpr int QUEEN_POINTS = 5, MAX_QUEEN_POINTS = 15, CHECK_POINTS = 2;

    const Bitboard* attacks = context.attacks[side ^ 1];
    Bitboard zone = context.king_zone[side];
    Bitboard minors = zone & ~context.lesser_attacks[side];
    Bitboard rooks = zone & ~context.minor_rook_attacks[side];
    Bitboard queens = zone & ~context.non_king_attacks[side];

    int p = pop_count(context.pawn_attacks[side ^ 1] & zone & ~context.pawn_attacks[side]);
    int n = pop_count(attacks[KNIGHT] & (squares.from_knight | minors));
    int b = pop_count(attacks[BISHOP] & (squares.from_bishop | minors));
    int r = pop_count(attacks[ROOK] & (squares.from_rook | rooks));
    int q = pop_count(attacks[QUEEN] & (squares.from_bishop | squares.from_rook | queens));
    return PAWN_POINTS * p + KNIGHT_POINTS * n + BISHOP_POINTS * b + ROOK_POINTS * r
         + std::min(QUEEN_POINTS * q, MAX_QUEEN_POINTS) + CHECK_POINTS * checks
         + context.king_attack_weight[side];
}

// Share of the danger rows for x points: nearly quadratic, as attackers help each other. It ends at
// MAX_DANGER, where it has reached 2.1.
static float danger_share(int x) {
    constexpr double FOR_SQUARE = 0.0018, DAMPING = 0.006;
    double damping = static_cast<float>(1.0 - DAMPING * x);
    return static_cast<float>(damping * FOR_SQUARE * (x * x));
}

// Share of the shield row: -1 with an open king, -1/9 with eight of the nine squares covered.
static float shield_share(int shield) {
    constexpr int ZONE_SQUARES = 9;
    constexpr double FOR_SQUARE = 0.111;
    return static_cast<float>((shield - ZONE_SQUARES) * FOR_SQUARE);
}

static constexpr int FULL_SHIELD = 8; // squares of the zone; the ninth changes nothing
static constexpr int MAX_DANGER = 39; // points

static int32_t shield_rows[FULL_SHIELD + 1];   // by squares of the shield
static int32_t danger_rows[2][MAX_DANGER + 1]; // by points, without and with an enemy queen
static int32_t pawn_distance_rows[8];          // by king steps

void build_king_tables() {
    // Share of the row by king steps.
    static constexpr float KingPawnDistance[8] = {0.0f, 0.2f, 0.4f, 0.6f, 0.8f, 1.0f, 1.0f, 1.0f};
    for (int i = 0; i <= FULL_SHIELD; i++)
        shield_rows[i] = scaled_row(pawn_shield, shield_share(i));
    for (int i = 0; i <= MAX_DANGER; i++) {
        danger_rows[0][i] = scaled_row(king_danger2, danger_share(i));
        danger_rows[1][i] = scaled_row(king_danger1, danger_share(i));
    }
    for (int i = 0; i < 8; i++)
        pawn_distance_rows[i] = scaled_row(king_pawn_dist, KingPawnDistance[i]);
}

// Pawns before the king, and attacks on it.
static void eval_king_safety(const Position& pos, EvalContext& context, int side) {
    constexpr int QUEEN_CHECK_PRESSURE = 800; // a safe queen's check from next to the king
    constexpr int NO_DANGER = 1;              // points that add nothing

    int them = side ^ 1;
    Bitboard pawns = pos.pieces[side][PAWN];
    Bitboard one = step_forward(side, pawns);
    Bitboard sheltered = pawns | one | step_forward(side, one);
    int shield = pop_count(step_forward(side, context.king_zone[side]) & sheltered);
    context.king_attack_weight[side] -= std::min(shield, FULL_SHIELD);
    if (shield <= FULL_SHIELD) add_packed(context, side, shield_rows[shield]);

    CheckSquares squares = find_check_squares(pos, context, side);
    int checks = count_checks(context, them, squares);
    int danger = zone_danger(context, side, squares, checks);
    add_row_times(context, side, enemy_checks, checks);
    if (context.attacks[them][QUEEN] & (squares.from_bishop | squares.from_rook)
        & king_attacks[pos.king_square[side]])
        context.threat_pressure[side] += QUEEN_CHECK_PRESSURE;
    if (danger > NO_DANGER)
        add_packed(context, side,
                   danger_rows[pos.pieces[them][QUEEN] != 0][std::min(danger, MAX_DANGER)]);
}

// King steps from the king's surroundings to the nearest way of a pawn.
static int pawn_way_distance(const EvalContext& context, int king) {
    constexpr int MAX_DISTANCE = 7; // of any two squares
    Bitboard box = king_attacks[king] | bit(king);
    int distance = 0;
    while (!(context.pawn_ways & box) && distance < MAX_DISTANCE) {
        box = grow_king_step(box);
        distance++;
    }
    return distance;
}

void eval_king(const Position& pos, EvalContext& context, int side) {
    constexpr int FEW_ATTACKERS = 8; // phase units; so little attacks no king

    int king = pos.king_square[side], them = side ^ 1;
    add_row(context, side, PST_K + (king ^ context.flip[side]));
    if (pos.material[them] > FEW_ATTACKERS) eval_king_safety(pos, context, side);

    Bitboard exits =
        king_attacks[king] & ~pos.pieces[side][ALL_PIECES] & ~context.attacks[them][ATTACKS_ALL];
    if (!exits) add_row(context, side, king_trapped);
    if (context.all_pawns)
        add_packed(context, side, pawn_distance_rows[pawn_way_distance(context, king)]);
}
