#include "eval/kpk.h"

#include "board/bitboard.h"

uint8_t KpkTable[KPK_SIZE];

constexpr int SECOND_RANK = 1, SEVENTH_RANK = 6;

namespace {

// The placements of one pawn: for each square of the attacker's king a set of squares of the
// defender's.
struct PawnWins {
    Bitboard attacker_moves[64]; // that the attacker wins when it is to move
    Bitboard defender_moves[64]; // and when the defender is
};

} // namespace

static bool touch(int a, int b) { return chebyshev(a, b) <= 1; }

// The defender's squares in placements that can exist, with the defender to move.
static Bitboard defender_squares(int pawn, int king) {
    return king == pawn ? 0 : ~(king_attacks[king] | bit(king) | bit(pawn));
}

// The same with the attacker to move: the pawn gives no check.
static Bitboard quiet_squares(int pawn, int king) {
    return defender_squares(pawn, king) & ~pawn_attacks[WHITE][pawn];
}

// All squares next to one of the set.
static Bitboard neighbours(Bitboard set) {
    Bitboard sides = step_east(set) | step_west(set);
    Bitboard row = set | sides;
    return sides | step_north(row) | step_south(row);
}

// Where the defender loses to a move of the pawn. `ahead` holds the pawn one square on, `far`
// two; what they say of a defender on the pawn's new square is nothing.
static Bitboard push_wins(int pawn, int king, const PawnWins& ahead, const PawnWins& far) {
    const int target = pawn + 8;
    const int rank = rank_of(pawn);
    if (target == king) return 0;
    if (rank == SEVENTH_RANK) {
        // Promotion wins at once when the new queen can't be taken.
        Bitboard takes = touch(king, target) ? 0 : king_attacks[target];
        return ~(takes | bit(target));
    }
    Bitboard wins = ahead.defender_moves[king];
    if (rank == SECOND_RANK && target + 8 != king) wins |= far.defender_moves[king] & ~bit(target);
    return wins;
}

// One pass over the placements of a pawn: adds what the attacker can reach a win from, and what
// the defender can't leave. Without a move the defender is stalemated: a pawn never mates. Returns
// whether a set grew.
static bool sweep(int pawn, PawnWins& wins) {
    bool grew = false;
    for (int king = 0; king < 64; king++) {
        Bitboard reached = wins.attacker_moves[king];
        for (Bitboard steps = king_attacks[king]; steps;)
            reached |= wins.defender_moves[pop_lowest(steps)];
        reached &= quiet_squares(pawn, king);
        grew = grew || reached != wins.attacker_moves[king];
        wins.attacker_moves[king] = reached;
    }
    for (int king = 0; king < 64; king++) {
        Bitboard pawn_falls = touch(king, pawn) ? 0 : bit(pawn);
        Bitboard targets = quiet_squares(pawn, king) | pawn_falls;
        Bitboard lost = neighbours(targets) & ~neighbours(targets & ~wins.attacker_moves[king])
                      & defender_squares(pawn, king);
        grew = grew || lost != wins.defender_moves[king];
        wins.defender_moves[king] = lost;
    }
    return grew;
}

// Solves the placements of a pawn from those of the pawn further on.
static void solve(int pawn, PawnWins& wins, const PawnWins& ahead, const PawnWins& far) {
    for (int king = 0; king < 64; king++) {
        wins.attacker_moves[king] = push_wins(pawn, king, ahead, far) & quiet_squares(pawn, king);
        wins.defender_moves[king] = 0;
    }
    while (sweep(pawn, wins)) {
    }
}

static void write_entries(int defender_moves, int pawn, const Bitboard* wins) {
    for (int king = 0; king < 64; king++) {
        uint8_t* entries = &KpkTable[kpk_index(defender_moves, pawn, king, 0)];
        for (int enemy = 0; enemy < 64; enemy++)
            entries[enemy] = static_cast<uint8_t>(KPK_DRAW + (wins[king] >> enemy & 1));
    }
}

void init_kpk_table() {
    static_assert(KPK_WIN == KPK_DRAW + 1, "an entry is the draw's and a bit");
    for (uint8_t& entry : KpkTable) entry = KPK_DRAW;

    // The pawn only goes forward, so a square needs no value of the squares behind it.
    for (int file = 0; file < 4; file++) {
        PawnWins wins = {}, ahead = {}, far = {};
        for (int rank = SEVENTH_RANK; rank >= SECOND_RANK; rank--) {
            const int pawn = rank * 8 + file;
            far = ahead;
            ahead = wins;
            solve(pawn, wins, ahead, far);
            write_entries(0, pawn, wins.attacker_moves);
            write_entries(1, pawn, wins.defender_moves);
        }
    }
}
