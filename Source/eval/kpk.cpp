#include "eval/kpk.h"

#include "board/bitboard.h"

uint8_t KpkTable[KPK_SIZE];

constexpr uint8_t KPK_IMPOSSIBLE = 0; // values are collected with "or", so this adds nothing
constexpr uint8_t KPK_UNKNOWN = 4;    // only while the table is built

constexpr int SECOND_RANK = 1, SEVENTH_RANK = 6;

namespace {

struct Placement {
    int defender_moves; // 1 if the side without the pawn is to move
    int pawn;           // squares; the pawn moves up the board
    int king;           // the attacker's
    int enemy;          // the defender's
};

} // namespace

static Placement placement_of(int index) {
    int pawn = index >> 12 & 31;
    return {index >> 17, (pawn >> 2) * 8 + (pawn & 3), index >> 6 & 63, index & 63};
}

static bool attacked_by_pawn(int pawn, int square) {
    return (pawn_attacks[WHITE][pawn] & bit(square)) != 0;
}

// What can be said of a placement without a move.
static uint8_t seed_value(const Placement& p) {
    int rank = rank_of(p.pawn);
    if (rank < SECOND_RANK || rank > SEVENTH_RANK) return KPK_IMPOSSIBLE;
    if (p.pawn == p.king || p.pawn == p.enemy || chebyshev(p.king, p.enemy) <= 1)
        return KPK_IMPOSSIBLE;
    if (!p.defender_moves && attacked_by_pawn(p.pawn, p.enemy)) return KPK_IMPOSSIBLE;

    // Promotion wins at once when the new queen can't be taken.
    int target = p.pawn + 8;
    if (!p.defender_moves && rank == SEVENTH_RANK && target != p.king && target != p.enemy
        && (chebyshev(p.enemy, target) > 1 || chebyshev(p.king, target) <= 1))
        return KPK_WIN;
    return KPK_UNKNOWN;
}

// Union of the values that the attacker can reach.
static uint8_t attacker_values(const Placement& p) {
    uint8_t values = 0;
    int target = p.pawn + 8;
    if (rank_of(p.pawn) < SEVENTH_RANK) {
        bool open = target != p.king && target != p.enemy;
        if (open) values |= KpkTable[kpk_index(1, target, p.king, p.enemy)];
        if (open && rank_of(p.pawn) == SECOND_RANK && target + 8 != p.king && target + 8 != p.enemy)
            values |= KpkTable[kpk_index(1, target + 8, p.king, p.enemy)];
    }
    for (Bitboard steps = king_attacks[p.king]; steps;)
        values |= KpkTable[kpk_index(1, p.pawn, pop_lowest(steps), p.enemy)];
    return values;
}

// Union of the values that the defender can reach; 0 without a move.
static uint8_t defender_values(const Placement& p) {
    uint8_t values = 0;
    for (Bitboard steps = king_attacks[p.enemy]; steps;) {
        int square = pop_lowest(steps);
        if (square != p.pawn) values |= KpkTable[kpk_index(0, p.pawn, p.king, square)];
        else if (chebyshev(p.king, p.pawn) > 1) values |= KPK_DRAW;
    }
    return values;
}

// One pass over the open entries of one pawn square and side to move: a value that is good for it
// decides, and what remains when nothing is open any more is the other. Returns whether an entry
// changed.
static bool sweep(int defender_moves, int pawn) {
    constexpr int PLACEMENTS = 64 * 64; // of the two kings
    bool changed = false;
    int first = kpk_index(defender_moves, pawn, 0, 0);
    for (int i = first; i < first + PLACEMENTS; i++) {
        if (KpkTable[i] != KPK_UNKNOWN) continue;
        Placement p = placement_of(i);
        uint8_t values = defender_moves ? defender_values(p) : attacker_values(p);
        uint8_t good = defender_moves ? KPK_DRAW : KPK_WIN;
        if (values & good) KpkTable[i] = good;
        else if (values & KPK_UNKNOWN) continue;
        else if (defender_moves && (values & KPK_WIN)) KpkTable[i] = KPK_WIN;
        else KpkTable[i] = KPK_DRAW; // stalemate, or nothing that wins
        changed = true;
    }
    return changed;
}

void init_kpk_table() {
    for (int i = 0; i < KPK_SIZE; i++) KpkTable[i] = seed_value(placement_of(i));

    // The pawn only goes forward, so a square needs no value of the squares behind it.
    for (int rank = SEVENTH_RANK; rank >= SECOND_RANK; rank--)
        for (int file = 0; file < 4; file++)
            for (bool changed = true; changed;) {
                changed = sweep(0, rank * 8 + file);
                changed = sweep(1, rank * 8 + file) || changed;
            }
    for (uint8_t& entry : KpkTable)
        if (entry != KPK_WIN) entry = KPK_DRAW;
}
