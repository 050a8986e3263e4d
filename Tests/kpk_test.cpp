// The table of king and pawn against king, against a solver of another kind.

#include "eval/kpk.h"

#include <algorithm>
#include <vector>

#include "hce_support.h"

namespace {

constexpr int PAWN_SQUARES = 24; // files a-d, ranks 2-7
constexpr int PLACEMENTS = 2 * PAWN_SQUARES * 64 * 64;

struct Placed {
    int defender_moves, pawn, king, enemy;
};

int number_of(const Placed& p) {
    int pawn = (rank_of(p.pawn) - 1) * 4 + file_of(p.pawn);
    return ((p.defender_moves * PAWN_SQUARES + pawn) * 64 + p.king) * 64 + p.enemy;
}

Placed placed_at(int number) {
    int pawn = number / 4096 % PAWN_SQUARES;
    return {number / 4096 / PAWN_SQUARES, (pawn / 4 + 1) * 8 + pawn % 4, number / 64 % 64,
            number % 64};
}

bool touch(int a, int b) { return std::max(std::abs(a % 8 - b % 8), std::abs(a / 8 - b / 8)) <= 1; }

bool pawn_checks(int pawn, int square) {
    return square / 8 == pawn / 8 + 1 && std::abs(square % 8 - pawn % 8) == 1;
}

bool is_legal(const Placed& p) {
    if (p.king == p.pawn || p.enemy == p.pawn || touch(p.king, p.enemy)) return false;
    return p.defender_moves || !pawn_checks(p.pawn, p.enemy);
}

const std::vector<int>& king_steps(int from) {
    static const std::vector<std::vector<int>> ALL = [] {
        std::vector<std::vector<int>> all(64);
        for (int a = 0; a < 64; a++)
            for (int b = 0; b < 64; b++)
                if (a != b && touch(a, b)) all[static_cast<size_t>(a)].push_back(b);
        return all;
    }();
    return ALL[static_cast<size_t>(from)];
}

// Tells whether the attacker has a winning move, given the wins known so far.
bool attacker_wins(const Placed& p, const std::vector<char>& won) {
    auto wins = [&](int pawn, int king) {
        Placed next = {1, pawn, king, p.enemy};
        return is_legal(next) && won[static_cast<size_t>(number_of(next))];
    };
    for (int to : king_steps(p.king))
        if (to != p.pawn && wins(p.pawn, to)) return true;

    int stop = p.pawn + 8;
    if (stop == p.king || stop == p.enemy) return false;
    if (stop >= 56) return !touch(p.enemy, stop) || touch(p.king, stop); // a queen, or a rook
    if (wins(stop, p.king)) return true;
    int far = stop + 8;
    return p.pawn < 16 && far != p.king && far != p.enemy && wins(far, p.king);
}

// Tells whether all moves of the defender lose. Without a move it is stalemate: a pawn never mates.
bool defender_loses(const Placed& p, const std::vector<char>& won) {
    bool moved = false;
    for (int to : king_steps(p.enemy)) {
        if (touch(to, p.king) || pawn_checks(p.pawn, to)) continue;
        if (to == p.pawn) return false;
        moved = true;
        if (!won[static_cast<size_t>(number_of({0, p.pawn, p.king, to}))]) return false;
    }
    return moved;
}

// Wins found by going on from nothing until no more are found.
std::vector<char> solve() {
    std::vector<char> won(PLACEMENTS, 0);
    for (char changed = 1; changed;) {
        changed = 0;
        for (int i = 0; i < PLACEMENTS; i++) {
            Placed p = placed_at(i);
            if (won[static_cast<size_t>(i)] || !is_legal(p)) continue;
            if (p.defender_moves ? defender_loses(p, won) : attacker_wins(p, won))
                won[static_cast<size_t>(i)] = changed = 1;
        }
    }
    return won;
}

int entry_of(const Placed& p) {
    return KpkTable[kpk_index(p.defender_moves, p.pawn, p.king, p.enemy)];
}

} // namespace

TEST(KpkTable, IndexIsMadeOfTheFourParts) {
    EXPECT_EQ(kpk_index(0, square("a1"), 0, 0), 0);
    EXPECT_EQ(kpk_index(1, square("a1"), 0, 0), 1 << 17);
    EXPECT_EQ(kpk_index(0, square("d2"), 0, 0), 7 << 12);
    EXPECT_EQ(kpk_index(0, square("a1"), 63, 0), 63 << 6);
    EXPECT_EQ(kpk_index(0, square("a1"), 0, 63), 63);
    EXPECT_EQ(kpk_index(1, square("d8"), 63, 63), KPK_SIZE - 1);
    EXPECT_EQ(KPK_SIZE, 262144);
}

TEST(KpkTable, HoldsTheTrueValueOfEachLegalPlacement) {
    std::vector<char> won = solve();
    int different = 0;
    for (int i = 0; i < PLACEMENTS; i++) {
        Placed p = placed_at(i);
        if (!is_legal(p)) continue;
        int expected = won[static_cast<size_t>(i)] ? KPK_WIN : KPK_DRAW;
        if (entry_of(p) != expected) different++;
    }
    EXPECT_EQ(different, 0);
}

TEST(KpkTable, HoldsNothingButWinsAndDraws) {
    std::vector<char> won = solve();
    auto wins = std::count(std::begin(KpkTable), std::end(KpkTable), KPK_WIN);
    auto draws = std::count(std::begin(KpkTable), std::end(KpkTable), KPK_DRAW);

    EXPECT_EQ(wins + draws, KPK_SIZE);
    EXPECT_EQ(wins, std::count(won.begin(), won.end(), 1)) << "impossible placements are draws";
    EXPECT_EQ(wins, 111282);
}

TEST(KpkTable, KnowsTheOpposition) {
    for (const char* file : {"a", "b", "c", "d"}) {
        int pawn = square(std::string(file) + "4"), king = pawn + 8, enemy = pawn + 24;
        int won = file[0] == 'a' ? KPK_DRAW : KPK_WIN; // a rook pawn needs more
        EXPECT_EQ(entry_of({1, pawn, king, enemy}), won) << file;
        EXPECT_EQ(entry_of({0, pawn, king, enemy}), KPK_DRAW) << file;
    }
}

TEST(KpkTable, KnowsTheRuleOfTheSquare) {
    EXPECT_EQ(entry_of({0, square("a4"), square("h1"), square("f4")}), KPK_WIN);
    EXPECT_EQ(entry_of({1, square("a4"), square("h1"), square("f4")}), KPK_DRAW);
    EXPECT_EQ(entry_of({1, square("a2"), square("h1"), square("g4")}), KPK_DRAW);
    EXPECT_EQ(entry_of({1, square("a2"), square("h1"), square("h4")}), KPK_WIN)
        << "the double step from the second rank counts";
}
