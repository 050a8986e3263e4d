#include "board/attack.h"
#include "eval/terms.h"

// The pressures of this file are in points that the search takes for evaluation units; they count
// for its forward pruning only, not for the score.

namespace {

// What the threat steps share, by colour.
struct ThreatSets {
    Bitboard attacked[2]; // squares that the other side attacks
    Bitboard unsafe[2];   // squares where a piece of the colour may be lost
};

} // namespace

static ThreatSets find_threats(const EvalContext& context) {
    ThreatSets sets;
    for (int side : {WHITE, BLACK}) {
        int them = side ^ 1;
        Bitboard theirs = context.attacks[them][ATTACKS_ALL];
        Bitboard outpowered = context.double_attacks[them] & ~context.pawn_attacks[side]
                            & ~context.double_attacks[side];
        sets.attacked[side] = theirs;
        sets.unsafe[side] = outpowered | (theirs & ~context.attacks[side][ATTACKS_ALL]);
    }
    return sets;
}

// Counts pieces of `side` as hanging.
static void hang(EvalContext& context, int side, Bitboard pieces, int row, int pressure) {
    int number = pop_count(pieces);
    context.hung_pieces |= pieces;
    context.threat_pressure[side] += number * pressure;
    add_row_times(context, side, row, number);
}

static void eval_pawn_threats(const Position& pos, EvalContext& context, const ThreatSets& sets,
                              int side) {
    constexpr int PRESSURE = 64;
    Bitboard pawns = pos.pieces[side][PAWN] & sets.attacked[side] & ~context.pawn_attacks[side]
                   & ~context.pawn_attacks[side ^ 1];
    hang(context, side, pawns & sets.unsafe[side], hung_pawn, PRESSURE);
    add_row_times(context, side, attacked_pawn, pop_count(pawns & ~sets.unsafe[side]));
}

static void eval_minor_threats(const Position& pos, EvalContext& context, const ThreatSets& sets,
                               int side) {
    constexpr int PRESSURE = 256;
    Bitboard minors = (pos.pieces[side][KNIGHT] | pos.pieces[side][BISHOP]) & sets.attacked[side];
    // A piece attacked by a pawn may count both as hung and as attacked.
    hang(context, side, minors & (sets.unsafe[side] | context.pawn_attacks[side ^ 1]), hung_minor,
         PRESSURE);
    Bitboard attacked = minors & ~sets.unsafe[side] & ~context.pawn_attacks[side];
    add_row_times(context, side, attacked_minor, pop_count(attacked));
}

static void eval_major_threats(const Position& pos, EvalContext& context, int side) {
    constexpr int PRESSURE = 256;
    Bitboard majors = pos.pieces[side][ROOK] | pos.pieces[side][QUEEN];
    hang(context, side, majors & context.lesser_attacks[side ^ 1], hung_major, PRESSURE);
}

// Pieces that a safe pawn push would attack; those that hang already count no more.
static void eval_push_threats(const Position& pos, EvalContext& context, int side) {
    constexpr Bitboard THIRD_RANK[2] = {rank_mask(2), rank_mask(5)};
    int them = side ^ 1;
    Bitboard empty = ~context.occupied;
    Bitboard single = step_forward(side, pos.pieces[side][PAWN]) & empty;
    Bitboard twice = step_forward(side, single & THIRD_RANK[side]) & empty;
    Bitboard pushes = (single | twice) & ~context.pawn_attacks[them]
                    & (context.pawn_attacks[side] | ~context.attacks[them][ATTACKS_ALL]);
    Bitboard ahead = step_forward(side, pushes);
    Bitboard targets =
        (step_west(ahead) | step_east(ahead)) & pos.pieces[them][ALL_PIECES] & ~context.hung_pieces;
    add_row_times(context, them, ppush_threat, pop_count(targets));
}

void eval_threats(const Position& pos, EvalContext& context) {
    ThreatSets sets = find_threats(context);
    context.hung_pieces = 0;
    for (int side : {WHITE, BLACK}) eval_pawn_threats(pos, context, sets, side);
    for (int side : {WHITE, BLACK}) eval_minor_threats(pos, context, sets, side);
    for (int side : {WHITE, BLACK}) eval_major_threats(pos, context, side);
    for (int side : {WHITE, BLACK}) eval_push_threats(pos, context, side);
    for (int side : {WHITE, BLACK}) {
        Bitboard pinned = pinned_pieces(pos, side) & ~pos.pieces[side][PAWN];
        add_row_times(context, side, pinned_piece, pop_count(pinned));
    }
}
