// Geometry of the board: tables, bit scans, sliding attacks, hash keys.

#include <algorithm>
#include <cstdlib>

#include "board/bitboard.h"
#include "board_support.h"

namespace {

// Walks from a square in one direction and collects what it passes, up to and including the
// first occupied square.
Bitboard walk(int square, int files, int ranks, Bitboard occ) {
    Bitboard seen = 0;
    int file = file_of(square) + files, rank = rank_of(square) + ranks;
    while (file >= 0 && file < 8 && rank >= 0 && rank < 8) {
        Bitboard here = bit(rank * 8 + file);
        seen |= here;
        if (occ & here) break;
        file += files;
        rank += ranks;
    }
    return seen;
}

Bitboard walk_rook(int square, Bitboard occ) {
    return walk(square, 0, 1, occ) | walk(square, 1, 0, occ) | walk(square, 0, -1, occ)
         | walk(square, -1, 0, occ);
}

Bitboard walk_bishop(int square, Bitboard occ) {
    return walk(square, 1, 1, occ) | walk(square, 1, -1, occ) | walk(square, -1, 1, occ)
         | walk(square, -1, -1, occ);
}

// Occupancies from nearly empty to nearly full.
Bitboard random_occupancy(Random& random, int round) {
    Bitboard set = next_random(random);
    if (round % 3 == 0) set &= next_random(random) & next_random(random);
    if (round % 3 == 1) set |= next_random(random);
    return set;
}

int count_bits(uint64_t bits) {
    int count = 0;
    for (int i = 0; i < 64; i++) count += static_cast<int>(bits >> i & 1);
    return count;
}

} // namespace

TEST(Zobrist, KeysAreTheSameInEveryRun) {
    EXPECT_EQ(zobrist[0], 0xE708E34F294DDE49ULL);
    EXPECT_EQ(zobrist[1], 0x6338AB3E8B29B46DULL);
    EXPECT_EQ(zobrist[2], 0xA09F5F186C0F790EULL);
    EXPECT_EQ(zobrist[1023], 0x03F2B2C0F6AFA13CULL);
}

TEST(Zobrist, SecondInitialisationChangesNothing) {
    uint64_t sum = 0, again = 0;
    for (uint64_t key : zobrist) sum = sum * 3 + key;

    init_zobrist();

    for (uint64_t key : zobrist) again = again * 3 + key;
    EXPECT_EQ(again, sum);
}

TEST(Zobrist, AllSixteenRowsHoldKeysWithManyBitsThatDifferInMany) {
    ASSERT_EQ(std::size(zobrist), 16u * 64u);
    for (size_t i = 0; i < std::size(zobrist); i++) {
        ASSERT_GE(count_bits(zobrist[i]), 24) << "entry " << i;
        for (size_t j = 0; j < i; j++)
            ASSERT_GE(pop_count(zobrist[i] ^ zobrist[j]), 6) << "entries " << i << " and " << j;
    }
}

TEST(BitScan, FindsEverySingleBit) {
    for (int i = 0; i < 64; i++) {
        EXPECT_EQ(bit_scan_forward(bit(i)), i);
        EXPECT_EQ(bit_scan_reverse(bit(i)), i);
    }
}

TEST(BitScan, ForwardFindsTheLowestBitAndReverseTheHighest) {
    Random random = {1};
    for (int round = 0; round < 10000; round++) {
        uint64_t bits = next_random(random) >> (round % 64);
        bits <<= random_below(random, 64);
        if (bits == 0) continue;
        int low = 0, high = 63;
        while (!(bits >> low & 1)) low++;
        while (!(bits >> high & 1)) high--;
        ASSERT_EQ(bit_scan_forward(bits), low) << std::hex << bits;
        ASSERT_EQ(bit_scan_reverse(bits), high) << std::hex << bits;
    }
}

TEST(BitScan, ReverseOfNothingIsSquareZero) { EXPECT_EQ(bit_scan_reverse(0), 0); }

TEST(BitScan, PopLowestEmptiesASetFromTheLowestBitUp) {
    Bitboard set = bit(3) | bit(17) | bit(40) | bit(63);

    EXPECT_EQ(pop_lowest(set), 3);
    EXPECT_EQ(pop_lowest(set), 17);
    EXPECT_EQ(pop_lowest(set), 40);
    EXPECT_EQ(pop_lowest(set), 63);
    EXPECT_EQ(set, 0u);
}

TEST(PopCount, BothPathsCountEveryBit) {
    Random random = {2};
    EXPECT_EQ(pop_count(0), 0);
    EXPECT_EQ(pop_count_plain(0), 0);
    EXPECT_EQ(pop_count(~0ULL), 64);
    EXPECT_EQ(pop_count_plain(~0ULL), 64);
    for (int round = 0; round < 3000; round++) {
        uint64_t bits = random_occupancy(random, round);
        if (round % 5 == 0) bits &= 0xFFFFFFFFULL;
        if (round % 7 == 0) bits &= 0xFFFFFFFF00000000ULL;
        int expected = count_bits(bits);
        ASSERT_EQ(pop_count(bits), expected) << std::hex << bits;
        ASSERT_EQ(pop_count_plain(bits), expected) << std::hex << bits;
    }
}

TEST(PopCount, WorksOnProcessorsWithoutTheInstruction) {
    bool hardware = has_hardware_popcount;
    has_hardware_popcount = false;
    int count = pop_count(0xFEDCBA9876543210ULL);
    has_hardware_popcount = hardware;

    EXPECT_EQ(count, 32);
}

TEST(Log2Table, HoldsTheIntegerPart) {
    ASSERT_EQ(std::size(log2_table), 256u);
    EXPECT_EQ(log2_table[0], 0);
    for (int i = 1; i < 256; i++) {
        EXPECT_LE(1 << log2_table[i], i);
        EXPECT_GT(2 << log2_table[i], i);
    }
}

TEST(Rays, RunFromTheSquareToTheEdge) {
    for (int s = 0; s < SQUARES; s++) {
        ASSERT_EQ(ray_north[s], walk(s, 0, 1, 0)) << s;
        ASSERT_EQ(ray_east[s], walk(s, 1, 0, 0)) << s;
        ASSERT_EQ(ray_north_west[s], walk(s, -1, 1, 0)) << s;
        ASSERT_EQ(ray_north_east[s], walk(s, 1, 1, 0)) << s;
        ASSERT_EQ(ray_south[s], walk(s, 0, -1, 0)) << s;
        ASSERT_EQ(ray_west[s], walk(s, -1, 0, 0)) << s;
        ASSERT_EQ(ray_south_west[s], walk(s, -1, -1, 0)) << s;
        ASSERT_EQ(ray_south_east[s], walk(s, 1, -1, 0)) << s;
        ASSERT_EQ(rook_rays[s], walk_rook(s, 0)) << s;
        ASSERT_EQ(bishop_rays[s], walk_bishop(s, 0)) << s;
    }
}

TEST(Rays, RiseAlongTheFirstFourAndFallAlongTheOthers) {
    for (int s = 0; s < SQUARES; s++) {
        Bitboard below = bit(s) - 1, above = ~below & ~bit(s);
        ASSERT_EQ((ray_north[s] | ray_east[s] | ray_north_west[s] | ray_north_east[s]) & ~above,
                  0u);
        ASSERT_EQ((ray_south[s] | ray_west[s] | ray_south_west[s] | ray_south_east[s]) & ~below,
                  0u);
    }
}

TEST(Steps, OfKnightsAndKingsDoNotWrapAround) {
    for (int s = 0; s < SQUARES; s++) {
        Bitboard knight = 0, king = 0;
        for (int t = 0; t < SQUARES; t++) {
            int files = std::abs(file_of(s) - file_of(t)),
                ranks = std::abs(rank_of(s) - rank_of(t));
            if (files * ranks == 2) knight |= bit(t);
            if (std::max(files, ranks) == 1) king |= bit(t);
        }
        ASSERT_EQ(knight_attacks[s], knight) << s;
        ASSERT_EQ(king_attacks[s], king) << s;
    }
}

TEST(PawnAttacks, AreTheTwoSquaresAheadOnTheNextFiles) {
    EXPECT_EQ(pawn_attacks[WHITE][sq("e4")], squares("d5 f5"));
    EXPECT_EQ(pawn_attacks[BLACK][sq("e4")], squares("d3 f3"));
    EXPECT_EQ(pawn_attacks[WHITE][sq("a4")], squares("b5"));
    EXPECT_EQ(pawn_attacks[BLACK][sq("h4")], squares("g3"));
}

TEST(PawnAttacks, AreEmptyOnlyOnTheLastRank) {
    for (int file = 0; file < 8; file++) {
        EXPECT_EQ(pawn_attacks[WHITE][A8 + file], 0u);
        EXPECT_EQ(pawn_attacks[BLACK][A1 + file], 0u);
        EXPECT_EQ(pawn_attacks[WHITE][A1 + file],
                  king_attacks[A1 + file] & rank_mask(1) & ~file_mask(file));
        EXPECT_EQ(pawn_attacks[BLACK][A8 + file],
                  king_attacks[A8 + file] & rank_mask(6) & ~file_mask(file));
    }
}

TEST(PawnAttacks, FindAttackersFromTheOtherColoursView) {
    for (int s = 0; s < SQUARES; s++)
        for (int t = 0; t < SQUARES; t++)
            ASSERT_EQ((pawn_attacks[WHITE][s] & bit(t)) != 0,
                      (pawn_attacks[BLACK][t] & bit(s)) != 0);
}

TEST(PawnFrontSpan, IsThreeFilesWideAndReachesTheLastRank) {
    EXPECT_EQ(pawn_front_span[WHITE][sq("e5")], squares("d6 e6 f6 d7 e7 f7 d8 e8 f8"));
    EXPECT_EQ(pawn_front_span[BLACK][sq("e3")], squares("d2 e2 f2 d1 e1 f1"));
    EXPECT_EQ(pawn_front_span[WHITE][sq("a6")], squares("a7 b7 a8 b8"));
    EXPECT_EQ(pawn_front_span[BLACK][sq("h2")], squares("g1 h1"));
    EXPECT_EQ(pawn_front_span[WHITE][sq("c8")], 0u);
    EXPECT_EQ(pawn_front_span[BLACK][sq("c1")], 0u);
}

TEST(Between, HoldsTheSquaresOfALineWithoutItsEnds) {
    EXPECT_EQ(between[A1][H8], squares("b2 c3 d4 e5 f6 g7"));
    EXPECT_EQ(between[A1][sq("b3")], 0u) << "no line";
    EXPECT_EQ(between[A1][sq("b2")], 0u) << "neighbours";
    EXPECT_EQ(between[sq("e4")][sq("e4")], 0u) << "the same square";
    EXPECT_EQ(between[sq("h3")][sq("e3")], squares("f3 g3"));
    EXPECT_EQ(between[sq("c2")][sq("c6")], squares("c3 c4 c5"));
    EXPECT_EQ(between[H1][A8], squares("g2 f3 e4 d5 c6 b7"));
}

TEST(Between, IsWhereTwoSlidersMeet) {
    for (int a = 0; a < SQUARES; a++)
        for (int b = 0; b < SQUARES; b++) {
            Bitboard expected = 0;
            if (rook_rays[a] & bit(b)) expected = walk_rook(a, bit(b)) & walk_rook(b, bit(a));
            if (bishop_rays[a] & bit(b)) expected = walk_bishop(a, bit(b)) & walk_bishop(b, bit(a));
            ASSERT_EQ(between[a][b], expected) << a << " " << b;
        }
}

TEST(SliderAttacks, EqualAWalkOnRandomBoards) {
    Random random = {3};
    for (int round = 0; round < 600; round++) {
        Bitboard occ = random_occupancy(random, round);
        for (int s = 0; s < SQUARES; s++) {
            ASSERT_EQ(rook_attacks(s, occ), walk_rook(s, occ)) << s << " " << std::hex << occ;
            ASSERT_EQ(bishop_attacks(s, occ), walk_bishop(s, occ)) << s << " " << std::hex << occ;
        }
    }
}

TEST(SliderAttacks, OnEmptyAndFullBoardsReachTheEdgeAndTheNeighbours) {
    for (int s = 0; s < SQUARES; s++) {
        ASSERT_EQ(bishop_attacks(s, 0), bishop_rays[s]);
        ASSERT_EQ(rook_attacks(s, 0), rook_rays[s]);
        ASSERT_EQ(bishop_attacks(s, ~0ULL) | rook_attacks(s, ~0ULL), king_attacks[s]);
    }
}

TEST(SliderAttacks, OfABishopInTheCornerReachTheOtherCorner) {
    EXPECT_EQ(bishop_attacks(H8, 0), bishop_rays[H8]);
    EXPECT_EQ(bishop_attacks(A1, 0), bishop_rays[A1]);
    EXPECT_EQ(bishop_attacks(H8, 0), squares("a1 b2 c3 d4 e5 f6 g7"));
}

TEST(SliderAttacks, ABlockerInTheCornerChangesNothing) {
    EXPECT_EQ(bishop_attacks(sq("d4"), bit(H8)), bishop_attacks(sq("d4"), 0));
    EXPECT_TRUE(bishop_attacks(sq("d4"), bit(H8)) & bit(H8));
    EXPECT_EQ(rook_attacks(sq("h4"), bit(H8)), rook_attacks(sq("h4"), 0));
    EXPECT_TRUE(rook_attacks(sq("h4"), bit(H8)) & bit(H8));
    EXPECT_EQ(rook_attacks(sq("a4"), bit(A1)), rook_attacks(sq("a4"), 0));
}

TEST(SliderAttacks, OfARookOnA1SeeTheWholeRankAndFile) {
    EXPECT_EQ(rook_attacks(A1, bit(A1) | bit(H1)), (RANK_1 | FILE_A) & ~bit(A1));
}

TEST(SliderAttacks, IncludeTheFirstBlockerOnEachRayOnly) {
    EXPECT_EQ(rook_attacks(sq("d4"), squares("d4 d6 d7 f4 g4 b4 a4 d3 d2")),
              squares("d5 d6 e4 f4 c4 b4 d3"));
    EXPECT_EQ(bishop_attacks(sq("d4"), squares("f6 g7 c3 b2 c5 e3")), squares("e5 f6 c3 c5 e3"));
}

TEST(Masks, NameRanksAndDirectionsByColour) {
    EXPECT_EQ(pawn_push[WHITE], 8);
    EXPECT_EQ(pawn_push[BLACK], -8);
    EXPECT_EQ(rank_flip[WHITE], 0);
    EXPECT_EQ(rank_flip[BLACK], 56);
    EXPECT_EQ(second_to_last_rank[WHITE], rank_mask(6));
    EXPECT_EQ(second_to_last_rank[BLACK], rank_mask(1));
    EXPECT_EQ(third_to_last_rank[WHITE], rank_mask(5));
    EXPECT_EQ(third_to_last_rank[BLACK], rank_mask(2));
}

TEST(Masks, StepsDropWhatLeavesTheBoard) {
    Bitboard corners = bit(A1) | bit(H1) | bit(A8) | bit(H8);
    EXPECT_EQ(step_north(corners), squares("a2 h2"));
    EXPECT_EQ(step_south(corners), squares("a7 h7"));
    EXPECT_EQ(step_east(corners), bit(B1) | bit(B8));
    EXPECT_EQ(step_west(corners), bit(G1) | bit(G8));
    EXPECT_EQ(step_forward(WHITE, bit(sq("e4"))), bit(sq("e5")));
    EXPECT_EQ(step_forward(BLACK, bit(sq("e4"))), bit(sq("e3")));
    for (int s = 0; s < SQUARES; s++)
        ASSERT_EQ(grow_king_step(bit(s)), king_attacks[s] | bit(s)) << s;
}

TEST(Masks, KingDistanceIsTheLargerOfFilesAndRanks) {
    EXPECT_EQ(chebyshev(A1, H8), 7);
    EXPECT_EQ(chebyshev(sq("e4"), sq("e4")), 0);
    EXPECT_EQ(chebyshev(sq("c3"), sq("h4")), 5);
    EXPECT_EQ(chebyshev(sq("h2"), sq("g7")), 5);
}

TEST(PieceTables, CountEachTypeInItsOwnFourBits) {
    const uint32_t counts[8] = {0, 0x1, 0x10, 0x100, 0x1000, 0x10000, 0, 0};
    const uint16_t material[8] = {0, 0, 3, 3, 5, 10, 0, 0};
    for (int type = 0; type < 8; type++) {
        EXPECT_EQ(count_step[type], counts[type]);
        EXPECT_EQ(material_step[type], material[type]);
    }
}
