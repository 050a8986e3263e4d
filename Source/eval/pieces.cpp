#include "eval/terms.h"

// Shares of the mobility rows by the number of mobile squares.
static constexpr float KnightMobility[9] = {-0.5f, -0.15f, 0.0f,  0.11f, 0.21f,
                                            0.29f, 0.37f,  0.44f, 0.5f};
static constexpr float BishopMobility[14] = {-0.5f, -0.2f, -0.07f, 0.02f, 0.1f, 0.17f, 0.24f,
                                             0.3f,  0.35f, 0.4f,   0.45f, 0.5f, 0.5f,  0.5f};
static constexpr float RookMobility[15] = {-0.5f, -0.2f, -0.07f, 0.02f, 0.1f, 0.17f, 0.24f, 0.3f,
                                           0.35f, 0.4f,  0.45f,  0.5f,  0.5f, 0.5f,  0.5f};
static constexpr float QueenMobility[28] = {-0.5f, -0.28f, -0.18f, -0.11f, -0.05f, 0.0f,  0.05f,
                                            0.09f, 0.13f,  0.17f,  0.21f,  0.24f,  0.27f, 0.31f,
                                            0.34f, 0.37f,  0.39f,  0.42f,  0.45f,  0.47f, 0.5f,
                                            0.5f,  0.5f,   0.5f,   0.5f,   0.5f,   0.5f,  0.5f};

// Share of the outpost row for a piece that no own pawn guards; a guarded one has all of it.
static constexpr float UNGUARDED_OUTPOST = 0.4f;

// What each piece adds to the pressure on the enemy king when it attacks the zone, in points of
// zone_danger; a pawn next to the zone weighs less, see pawns.cpp.
static constexpr int KNIGHT_WEIGHT = 4, BISHOP_WEIGHT = 3, ROOK_WEIGHT = 4, QUEEN_WEIGHT = 5;

// Of one kind of piece, by kings on the same half of the board (0) or not (1), and square as its
// side sees it: material and piece-square row.
static int32_t knight_squares[2][64], bishop_squares[2][64], rook_squares[2][64],
    queen_squares[2][64];
// By the number of mobile squares: the share of the mobility row, with none the trapped row, too.
static int32_t knight_mobile[9], bishop_mobile[14], rook_mobile[15], queen_mobile[28];
// An outpost without and with the guard of a pawn.
static int32_t knight_outposts[2], bishop_outposts[2];

static void build_squares(int32_t (&squares)[2][64], int material, int same_half, int other_half) {
    for (int i = 0; i < 64; i++) {
        squares[0][i] = packed_add(eval_params[material].value, eval_params[same_half + i].value);
        squares[1][i] = packed_add(eval_params[material].value, eval_params[other_half + i].value);
    }
}

template <int COUNTS>
static void build_mobility(int32_t (&mobile)[COUNTS], const float (&shares)[COUNTS], int row,
                           int trapped_row) {
    for (int i = 0; i < COUNTS; i++) mobile[i] = scaled_row(row, shares[i]);
    mobile[0] = packed_add(mobile[0], eval_params[trapped_row].value);
}

void build_piece_tables() {
    build_squares(knight_squares, mtl_knight, PST_N1, PST_N2);
    build_squares(bishop_squares, mtl_bishop, PST_B1, PST_B2);
    build_squares(rook_squares, mtl_rook, PST_R1, PST_R2);
    build_squares(queen_squares, mtl_queen, PST_Q1, PST_Q2);
    build_mobility(knight_mobile, KnightMobility, knight_mobility, knight_trapped);
    build_mobility(bishop_mobile, BishopMobility, bishop_mobility, bishop_trapped);
    build_mobility(rook_mobile, RookMobility, rook_mobility, rook_trapped);
    build_mobility(queen_mobile, QueenMobility, queen_mobility, queen_trapped);
    for (bool guarded : {false, true}) {
        float share = guarded ? 1.0f : UNGUARDED_OUTPOST;
        knight_outposts[guarded] = scaled_row(knight_outpost, share);
        bishop_outposts[guarded] = scaled_row(bishop_outpost, share);
    }
}

// Enters a piece's attacks in the maps. `reach` counts for double attacks and the king zone; for
// all but queens it is the attack set itself.
static void enter_attacks(EvalContext& context, int side, Bitboard attacks, Bitboard reach,
                          int weight) {
    context.double_attacks[side] |= reach & context.attacks[side][ATTACKS_ALL];
    context.attacks[side][ATTACKS_ALL] |= attacks;
    if (reach & context.king_zone[side ^ 1]) context.king_attack_weight[side ^ 1] += weight;
}

// Number of mobile squares: attacked, without own pieces, and not guarded by anything that is worth
// less.
static int mobile_squares(Bitboard attacks, Bitboard taken) { return pop_count(attacks & ~taken); }

// Outpost terms of a minor piece.
static void add_outposts(EvalContext& context, int side, int square, Bitboard attacks,
                         const int32_t (&values)[2], int attack_row) {
    if (context.outposts[side] & bit(square)) {
        bool guarded = context.pawn_attacks[side] & bit(square);
        add_packed(context, side, values[guarded]);
    }
    if (attacks & context.outposts[side]) add_row(context, side, attack_row);
}

void eval_knights(const Position& pos, EvalContext& context) {
    const int32_t* values = knight_squares[context.same_half ? 0 : 1];
    for (int side : {WHITE, BLACK}) {
        Bitboard taken = context.pawn_attacks[side ^ 1] | pos.pieces[side][ALL_PIECES];
        Bitboard of_kind = 0;
        for (Bitboard set = pos.pieces[side][KNIGHT]; set;) {
            int square = pop_lowest(set);
            Bitboard attacks = knight_attacks[square];
            of_kind |= attacks;
            enter_attacks(context, side, attacks, attacks, KNIGHT_WEIGHT);
            add_packed(context, side, values[square ^ context.flip[side]]);
            add_packed(context, side, knight_mobile[mobile_squares(attacks, taken)]);
            add_outposts(context, side, square, attacks, knight_outposts, knight_outpost_atk);
        }
        context.attacks[side][KNIGHT] = of_kind;
    }
}

static bool has_bishop_on(const Position& pos, int side, Bitboard colour) {
    return pos.pieces[side][BISHOP] & colour;
}

// Pawns that stand ram to ram on files b-g take squares from a bishop of their colour.
static void add_rams(const Position& pos, EvalContext& context) {
    Bitboard white = pos.pieces[WHITE][PAWN] & step_south(pos.pieces[BLACK][PAWN]) & FILES_B_TO_G;
    if (!white) return;
    const Bitboard rams[2] = {white, step_north(white)};
    for (int side : {WHITE, BLACK})
        for (Bitboard colour : {DARK_SQUARES, LIGHT_SQUARES})
            if (has_bishop_on(pos, side, colour))
                add_row_times(context, side, bishop_rampawns, pop_count(rams[side] & colour));
}

void eval_bishops(const Position& pos, EvalContext& context) {
    constexpr Bitboard CENTRE = 0x00003C3C3C3C0000ULL; // files c-f of ranks 3-6

    const int32_t* values = bishop_squares[context.same_half ? 0 : 1];
    Bitboard occ = context.occupied & ~(pos.pieces[WHITE][QUEEN] | pos.pieces[BLACK][QUEEN]);
    for (int side : {WHITE, BLACK}) {
        Bitboard taken = context.pawn_attacks[side ^ 1] | pos.pieces[side][ALL_PIECES];
        Bitboard of_kind = 0;
        for (Bitboard set = pos.pieces[side][BISHOP]; set;) {
            int square = pop_lowest(set);
            Bitboard attacks = bishop_attacks(square, occ); // sees through queens
            of_kind |= attacks;
            enter_attacks(context, side, attacks, attacks, BISHOP_WEIGHT);
            add_packed(context, side, values[square ^ context.flip[side]]);
            add_packed(context, side, bishop_mobile[mobile_squares(attacks, taken)]);
            add_row_times(context, side, bishop_mob2, pop_count(attacks & CENTRE));
            add_outposts(context, side, square, attacks, bishop_outposts, bishop_outpost_atk);
        }
        context.attacks[side][BISHOP] = of_kind;
        if (has_bishop_on(pos, side, DARK_SQUARES) && has_bishop_on(pos, side, LIGHT_SQUARES))
            add_row(context, side, bishop_pair);
    }
    add_rams(pos, context);
    for (int side : {WHITE, BLACK})
        context.lesser_attacks[side] = context.attacks[side][PAWN] | context.attacks[side][KNIGHT]
                                     | context.attacks[side][BISHOP];
}

void eval_rooks(const Position& pos, EvalContext& context) {
    constexpr Bitboard ENEMY_HALF[2] = {0xFFFFFFFF00000000ULL, 0x00000000FFFFFFFFULL};
    constexpr int SECOND_RANK = 1, SEVENTH_RANK = 6;

    const int32_t* values = rook_squares[context.same_half ? 0 : 1];
    Bitboard queens = pos.pieces[WHITE][QUEEN] | pos.pieces[BLACK][QUEEN];
    for (int side : {WHITE, BLACK}) {
        int them = side ^ 1;
        Bitboard occ = context.occupied & ~(queens | pos.pieces[side][ROOK]);
        Bitboard taken = context.lesser_attacks[them] | pos.pieces[side][ALL_PIECES];
        bool king_home = rank_of(pos.king_square[them] ^ rank_flip[them]) <= SECOND_RANK;
        Bitboard of_kind = 0;
        for (Bitboard set = pos.pieces[side][ROOK]; set;) {
            int square = pop_lowest(set);
            Bitboard attacks = rook_attacks(square, occ); // sees through queens and own rooks
            Bitboard file = file_mask(file_of(square));
            of_kind |= attacks;
            enter_attacks(context, side, attacks, attacks, ROOK_WEIGHT);
            add_packed(context, side, values[square ^ context.flip[side]]);
            add_packed(context, side, rook_mobile[mobile_squares(attacks, taken)]);
            add_row_times(context, side, rook_mob2, pop_count(attacks & file & ENEMY_HALF[side]));
            if (!(context.all_pawns & file)) add_row(context, side, rook_openfile);
            if (king_home && rank_of(square ^ rank_flip[side]) == SEVENTH_RANK)
                add_row(context, side, rook_7th);
        }
        context.attacks[side][ROOK] = of_kind;
    }
    for (int side : {WHITE, BLACK})
        context.minor_rook_attacks[side] =
            context.lesser_attacks[side] | context.attacks[side][ROOK];
}

void eval_queens(const Position& pos, EvalContext& context) {
    const int32_t* values = queen_squares[context.same_half ? 0 : 1];
    Bitboard occ = context.occupied;
    for (int side : {WHITE, BLACK}) {
        Bitboard bishops = pos.pieces[side][BISHOP], rooks = pos.pieces[side][ROOK];
        Bitboard taken = context.minor_rook_attacks[side ^ 1] | pos.pieces[side][ALL_PIECES];
        Bitboard of_kind = 0;
        for (Bitboard set = pos.pieces[side][QUEEN]; set;) {
            int square = pop_lowest(set);
            Bitboard diagonals = bishop_attacks(square, occ), lines = rook_attacks(square, occ);
            Bitboard attacks = diagonals | lines;
            // Behind own sliders of the same line she attacks for a second time.
            Bitboard reach = attacks;
            if (diagonals & bishops) reach |= bishop_attacks(square, occ & ~bishops);
            if (lines & rooks) reach |= rook_attacks(square, occ & ~rooks);
            of_kind |= attacks;
            enter_attacks(context, side, attacks, reach, QUEEN_WEIGHT);
            add_packed(context, side, values[square ^ context.flip[side]]);
            add_packed(context, side, queen_mobile[mobile_squares(attacks, taken)]);
        }
        context.attacks[side][QUEEN] = of_kind;
    }
    for (int side : {WHITE, BLACK})
        context.non_king_attacks[side] =
            context.minor_rook_attacks[side] | context.attacks[side][QUEEN];
}
