// bitboard.h: geometry of the board: masks, bit scans, sliding attacks, hash keys.
//
// All tables are filled once at start-up, before any search thread exists, and are only read
// afterwards. Sliding attacks are computed on every use from masks of the empty board; no table
// depends on occupancy, so that all attack data together stays in the second-level cache.

#pragma once

#include <bit>
#include <cstdint>

#include "board/types.h"

constexpr Bitboard FILE_A = 0x0101010101010101ULL;
constexpr Bitboard FILE_H = 0x8080808080808080ULL;
constexpr Bitboard RANK_1 = 0x00000000000000FFULL;
constexpr Bitboard RANK_8 = 0xFF00000000000000ULL;
constexpr Bitboard NOT_FILE_A = ~FILE_A;
constexpr Bitboard NOT_FILE_H = ~FILE_H;
constexpr Bitboard DARK_SQUARES = 0xAA55AA55AA55AA55ULL; // the colour of a1
constexpr Bitboard LIGHT_SQUARES = 0x55AA55AA55AA55AAULL;

constexpr Bitboard file_mask(int file) { return FILE_A << file; }
constexpr Bitboard rank_mask(int rank) { return RANK_1 << (8 * rank); }

// Per type: what a piece adds to Position::piece_counts (4 bits a type) and to
// Position::material (phase units; the full board holds 32 a side).
// clang-format off
//                                        -    P     N      B       R        Q  K  -
constexpr uint32_t count_step[8]       = {0, 0x1, 0x10, 0x100, 0x1000, 0x10000, 0, 0};
constexpr uint16_t material_step[8]    = {0,   0,    3,     3,      5,      10, 0, 0};
// clang-format on
static_assert(2 * (material_step[KNIGHT] + material_step[BISHOP] + material_step[ROOK])
                      + material_step[QUEEN]
                  == 32,
              "full material of one side");

// Masks of Position::piece_counts.
constexpr uint32_t COUNT_PAWNS = 0x0000F;
constexpr uint32_t COUNT_DIAGONALS = 0xF0F00;   // bishops and queens
constexpr uint32_t COUNT_ORTHOGONALS = 0xFF000; // rooks and queens

constexpr int8_t pawn_push[2] = {8, -8};
constexpr uint8_t rank_flip[2] = {0, 56}; // square as that colour sees it
constexpr Bitboard second_to_last_rank[2] = {rank_mask(6), rank_mask(1)};
constexpr Bitboard third_to_last_rank[2] = {rank_mask(5), rank_mask(2)};

extern Bitboard between[64][64]; // squares strictly between two squares of a line; else 0

// Squares on the ray from a square to the board's edge, the square itself excluded. Square
// numbers grow along the first four and fall along the last four.
extern Bitboard ray_north[64], ray_east[64], ray_north_west[64], ray_north_east[64];
extern Bitboard ray_south[64], ray_west[64], ray_south_west[64], ray_south_east[64];

extern Bitboard rook_rays[64];   // a rook's reach on an empty board
extern Bitboard bishop_rays[64]; // a bishop's reach on an empty board
extern Bitboard knight_attacks[64];
extern Bitboard king_attacks[64];
extern Bitboard pawn_attacks[2][64];    // what a pawn of that colour on that square attacks
extern Bitboard pawn_front_span[2][64]; // own and adjacent files, all ranks ahead

// The integer part of log2; entries 0 and 1 are 0. Nothing reads it at present; it is one of
// the documented tables.
extern int log2_table[256];

extern uint64_t zobrist[PIECE_CODES * 64]; // piece code * 64 + square; row 0: en passant, rights

// What a slider's attacks are computed from, the square itself left out of all lines.
struct alignas(64) SliderMasks {
    Bitboard file;
    Bitboard diagonal;       // a1-h8 and parallel
    Bitboard anti_diagonal;  // h1-a8 and parallel
    Bitboard west, east;     // the two parts of the rank
    Bitboard twice;          // the square's bit, doubled; 0 for h8
    Bitboard mirrored_twice; // the same of the square in the same file as Black sees it
};
static_assert(sizeof(SliderMasks) == 64, "one cache line a square");
extern SliderMasks slider_masks[64];

// Fills every table except zobrist. Call once, before anything that touches a position.
void init_board_tables();

// Fills zobrist; a second call does nothing. The keys are the same in every run, and any two of
// them differ in at least 6 bits, which a test watches.
void init_zobrist();

// Set once at start-up: 1 when the processor counts bits in hardware.
extern bool has_hardware_popcount;

// Number of set bits by the parallel sum of each half; the path without hardware support.
int pop_count_plain(uint64_t bits);

// Number of set bits.
inline int pop_count(uint64_t bits) {
#if defined(__POPCNT__) || !defined(__x86_64__)
    return std::popcount(bits);
#else
    // The one binary serves processors with and without the instruction. The flag never changes
    // after start-up, so the branch is free.
    if (has_hardware_popcount) [[likely]] {
        uint64_t count;
        asm("popcnt %1, %0" : "=r"(count) : "r"(bits) : "cc");
        return static_cast<int>(count);
    }
    return pop_count_plain(bits);
#endif
}

// Index of the lowest set bit. The value must not be 0.
inline int bit_scan_forward(uint64_t bits) { return std::countr_zero(bits); }

// Index of the highest set bit; 0 for 0. Bit 0 is forced on, so that "no blocker" comes out as
// square 0, whose falling rays are empty.
inline int bit_scan_reverse(uint64_t bits) { return 63 - std::countl_zero(bits | 1); }

// Takes the lowest bit out of a set that is not empty, and returns its index. The order from the
// lowest bit up decides the order of generated moves.
inline int pop_lowest(Bitboard& set) {
    int square = bit_scan_forward(set);
    set &= set - 1;
    return square;
}

// Attacked squares of a slider on its file or a diagonal of it, up to and including the first
// blocker either way. Taking twice the slider's bit from the blockers borrows from the lowest one
// above it, and so flips all squares up to that one. The same on the mirrored board, whose ranks
// run the other way, flips them below.
inline Bitboard line_attacks(Bitboard line, const SliderMasks& masks, Bitboard occupied) {
    Bitboard blockers = line & occupied;
    Bitboard above = blockers - masks.twice;
    Bitboard below = __builtin_bswap64(__builtin_bswap64(blockers) - masks.mirrored_twice);
    return line & (above ^ below);
}

// The same on its rank, which no exchange of bytes mirrors. With m the highest blocker to the west
// (or bit 0), east - m borrows up to the lowest blocker to the east, so that the exclusive-or marks
// everything from one blocker to the other.
inline Bitboard rank_attacks(const SliderMasks& masks, Bitboard occupied) {
    Bitboard west = masks.west & occupied;
    Bitboard east = masks.east & occupied;
    Bitboard highest = 1ULL << bit_scan_reverse(west);
    return (masks.west | masks.east) & (east ^ (east - highest));
}

// Attacked squares of a slider, the first blocker of either colour on each ray included.
inline Bitboard rook_attacks(int square, Bitboard occupied) {
    const SliderMasks& masks = slider_masks[square];
    return line_attacks(masks.file, masks, occupied) | rank_attacks(masks, occupied);
}
inline Bitboard bishop_attacks(int square, Bitboard occupied) {
    const SliderMasks& masks = slider_masks[square];
    return line_attacks(masks.diagonal, masks, occupied)
         | line_attacks(masks.anti_diagonal, masks, occupied);
}

// All squares of a set moved one step; what leaves the board is dropped.
constexpr Bitboard step_north(Bitboard set) { return set << 8; }
constexpr Bitboard step_south(Bitboard set) { return set >> 8; }
constexpr Bitboard step_east(Bitboard set) { return (set & NOT_FILE_H) << 1; }
constexpr Bitboard step_west(Bitboard set) { return (set & NOT_FILE_A) >> 1; }
constexpr Bitboard step_forward(int side, Bitboard set) {
    return side == WHITE ? set << 8 : set >> 8;
}
// The set and all squares next to it in any direction.
constexpr Bitboard grow_king_step(Bitboard set) {
    Bitboard row = set | step_east(set) | step_west(set);
    return row | step_north(row) | step_south(row);
}

// Number of king steps between two squares: the larger of file and rank distance.
inline int chebyshev(int a, int b) {
    int files = file_of(a) - file_of(b), ranks = rank_of(a) - rank_of(b);
    files = files < 0 ? -files : files;
    ranks = ranks < 0 ? -ranks : ranks;
    return files > ranks ? files : ranks;
}
