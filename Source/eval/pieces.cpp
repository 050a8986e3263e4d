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

// Enters a piece's attacks in the maps. `reach` counts for double attacks and the king zone; for
// all but queens it is the attack set itself.
static void enter_attacks(EvalContext& context, int side, int type, Bitboard attacks,
                          Bitboard reach, int weight) {
    context.double_attacks[side] |= reach & context.attacks[side][ATTACKS_ALL];
    context.attacks[side][ATTACKS_ALL] |= attacks;
    context.attacks[side][type] |= attacks;
    if (reach & context.king_zone[side ^ 1]) context.king_attack_weight[side ^ 1] += weight;
}

// `squares` is the number of mobile squares: attacked, without own pieces, and not guarded by
// anything that is worth less.
static void add_mobility(EvalContext& context, int side, int row, int trapped_row,
                         const float* shares, int squares) {
    add_row_scaled(context, side, row, shares[squares]);
    if (squares == 0) add_row(context, side, trapped_row);
}

// Outpost terms of a minor piece.
static void add_outposts(EvalContext& context, int side, int square, Bitboard attacks, int row,
                         int attack_row) {
    if (context.outposts[side] & bit(square)) {
        bool guarded = context.pawn_attacks[side] & bit(square);
        add_row_scaled(context, side, row, guarded ? 1.0f : UNGUARDED_OUTPOST);
    }
    if (attacks & context.outposts[side]) add_row(context, side, attack_row);
}

void eval_knights(const Position& pos, EvalContext& context) {
    const int table = context.same_half ? PST_N1 : PST_N2;
    for (int side : {WHITE, BLACK}) {
        Bitboard taken = context.pawn_attacks[side ^ 1] | pos.pieces[side][ALL_PIECES];
        for (Bitboard set = pos.pieces[side][KNIGHT]; set;) {
            int square = pop_lowest(set);
            Bitboard attacks = knight_attacks[square];
            enter_attacks(context, side, KNIGHT, attacks, attacks, KNIGHT_WEIGHT);
            add_row(context, side, mtl_knight);
            add_row(context, side, table + (square ^ context.flip[side]));
            add_mobility(context, side, knight_mobility, knight_trapped, KnightMobility,
                         pop_count(attacks & ~taken));
            add_outposts(context, side, square, attacks, knight_outpost, knight_outpost_atk);
        }
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

    const int table = context.same_half ? PST_B1 : PST_B2;
    Bitboard occ = context.occupied & ~(pos.pieces[WHITE][QUEEN] | pos.pieces[BLACK][QUEEN]);
    for (int side : {WHITE, BLACK}) {
        Bitboard taken = context.pawn_attacks[side ^ 1] | pos.pieces[side][ALL_PIECES];
        for (Bitboard set = pos.pieces[side][BISHOP]; set;) {
            int square = pop_lowest(set);
            Bitboard attacks = bishop_attacks(square, occ); // sees through queens
            enter_attacks(context, side, BISHOP, attacks, attacks, BISHOP_WEIGHT);
            add_row(context, side, mtl_bishop);
            add_row(context, side, table + (square ^ context.flip[side]));
            add_mobility(context, side, bishop_mobility, bishop_trapped, BishopMobility,
                         pop_count(attacks & ~taken));
            add_row_times(context, side, bishop_mob2, pop_count(attacks & CENTRE));
            add_outposts(context, side, square, attacks, bishop_outpost, bishop_outpost_atk);
        }
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

    const int table = context.same_half ? PST_R1 : PST_R2;
    Bitboard queens = pos.pieces[WHITE][QUEEN] | pos.pieces[BLACK][QUEEN];
    for (int side : {WHITE, BLACK}) {
        int them = side ^ 1;
        Bitboard occ = context.occupied & ~(queens | pos.pieces[side][ROOK]);
        Bitboard taken = context.lesser_attacks[them] | pos.pieces[side][ALL_PIECES];
        bool king_home = rank_of(pos.king_square[them] ^ rank_flip[them]) <= SECOND_RANK;
        for (Bitboard set = pos.pieces[side][ROOK]; set;) {
            int square = pop_lowest(set);
            Bitboard attacks = rook_attacks(square, occ); // sees through queens and own rooks
            Bitboard file = file_mask(file_of(square));
            enter_attacks(context, side, ROOK, attacks, attacks, ROOK_WEIGHT);
            add_row(context, side, mtl_rook);
            add_row(context, side, table + (square ^ context.flip[side]));
            add_mobility(context, side, rook_mobility, rook_trapped, RookMobility,
                         pop_count(attacks & ~taken));
            add_row_times(context, side, rook_mob2, pop_count(attacks & file & ENEMY_HALF[side]));
            if (!(context.all_pawns & file)) add_row(context, side, rook_openfile);
            if (king_home && rank_of(square ^ rank_flip[side]) == SEVENTH_RANK)
                add_row(context, side, rook_7th);
        }
    }
    for (int side : {WHITE, BLACK})
        context.minor_rook_attacks[side] =
            context.lesser_attacks[side] | context.attacks[side][ROOK];
}

void eval_queens(const Position& pos, EvalContext& context) {
    const int table = context.same_half ? PST_Q1 : PST_Q2;
    Bitboard occ = context.occupied;
    for (int side : {WHITE, BLACK}) {
        Bitboard bishops = pos.pieces[side][BISHOP], rooks = pos.pieces[side][ROOK];
        Bitboard taken = context.minor_rook_attacks[side ^ 1] | pos.pieces[side][ALL_PIECES];
        for (Bitboard set = pos.pieces[side][QUEEN]; set;) {
            int square = pop_lowest(set);
            Bitboard diagonals = bishop_attacks(square, occ), lines = rook_attacks(square, occ);
            Bitboard attacks = diagonals | lines;
            // Behind own sliders of the same line she attacks for a second time.
            Bitboard reach = attacks;
            if (diagonals & bishops) reach |= bishop_attacks(square, occ & ~bishops);
            if (lines & rooks) reach |= rook_attacks(square, occ & ~rooks);
            enter_attacks(context, side, QUEEN, attacks, reach, QUEEN_WEIGHT);
            add_row(context, side, mtl_queen);
            add_row(context, side, table + (square ^ context.flip[side]));
            add_mobility(context, side, queen_mobility, queen_trapped, QueenMobility,
                         pop_count(attacks & ~taken));
        }
    }
    for (int side : {WHITE, BLACK})
        context.non_king_attacks[side] =
            context.minor_rook_attacks[side] | context.attacks[side][QUEEN];
}
