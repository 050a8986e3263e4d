#include "board/bitboard.h"

Bitboard between[64][64];
Bitboard ray_north[64], ray_east[64], ray_north_west[64], ray_north_east[64];
Bitboard ray_south[64], ray_west[64], ray_south_west[64], ray_south_east[64];
Bitboard rook_rays[64];
Bitboard bishop_rays[64];
Bitboard knight_attacks[64];
Bitboard king_attacks[64];
Bitboard pawn_attacks[2][64];
Bitboard pawn_front_span[2][64];

int log2_table[256];
uint64_t zobrist[PIECE_CODES * 64];

SliderMasks slider_masks[64];

bool has_hardware_popcount;

int pop_count_plain(uint64_t bits) {
    int total = 0;
    for (uint32_t half : {static_cast<uint32_t>(bits), static_cast<uint32_t>(bits >> 32)}) {
        if (half == 0) continue;
        half = half - ((half >> 1) & 0x55555555);
        half = (half & 0x33333333) + ((half >> 2) & 0x33333333);
        half = (half + (half >> 4)) & 0x0F0F0F0F;
        total += static_cast<int>((half * 0x01010101) >> 24);
    }
    return total;
}

// The square `files` to the east and `ranks` to the north, or NO_SQUARE off the board.
static int offset_square(int square, int files, int ranks) {
    int file = file_of(square) + files, rank = rank_of(square) + ranks;
    if (file < 0 || file > 7 || rank < 0 || rank > 7) return NO_SQUARE;
    return rank * 8 + file;
}

static Bitboard offset_bit(int square, int files, int ranks) {
    int target = offset_square(square, files, ranks);
    return target == NO_SQUARE ? 0 : bit(target);
}

static Bitboard walk_ray(int square, int files, int ranks) {
    Bitboard ray = 0;
    for (int s = offset_square(square, files, ranks); s != NO_SQUARE;
         s = offset_square(s, files, ranks))
        ray |= bit(s);
    return ray;
}

static void init_rays() {
    for (int s = 0; s < SQUARES; s++) {
        ray_north[s] = walk_ray(s, 0, 1);
        ray_east[s] = walk_ray(s, 1, 0);
        ray_north_west[s] = walk_ray(s, -1, 1);
        ray_north_east[s] = walk_ray(s, 1, 1);
        ray_south[s] = walk_ray(s, 0, -1);
        ray_west[s] = walk_ray(s, -1, 0);
        ray_south_west[s] = walk_ray(s, -1, -1);
        ray_south_east[s] = walk_ray(s, 1, -1);

        rook_rays[s] = ray_north[s] | ray_east[s] | ray_south[s] | ray_west[s];
        bishop_rays[s] =
            ray_north_west[s] | ray_north_east[s] | ray_south_west[s] | ray_south_east[s];
        slider_masks[s] = {.file = ray_north[s] | ray_south[s],
                           .diagonal = ray_north_east[s] | ray_south_west[s],
                           .anti_diagonal = ray_north_west[s] | ray_south_east[s],
                           .west = ray_west[s],
                           .east = ray_east[s],
                           .twice = bit(s) << 1,
                           .mirrored_twice = bit(s ^ rank_flip[BLACK]) << 1};
    }
}

static void init_steps() {
    constexpr int KNIGHT_STEPS[8][2] = {{1, 2},   {2, 1},   {2, -1}, {1, -2},
                                        {-1, -2}, {-2, -1}, {-2, 1}, {-1, 2}};
    for (int s = 0; s < SQUARES; s++) {
        for (const auto& step : KNIGHT_STEPS) knight_attacks[s] |= offset_bit(s, step[0], step[1]);
        king_attacks[s] = grow_king_step(bit(s)) & ~bit(s);

        pawn_attacks[WHITE][s] = offset_bit(s, -1, 1) | offset_bit(s, 1, 1);
        pawn_attacks[BLACK][s] = offset_bit(s, -1, -1) | offset_bit(s, 1, -1);

        Bitboard file = file_mask(file_of(s));
        Bitboard files = file | step_east(file) | step_west(file);
        for (int rank = 0; rank < 8; rank++) {
            if (rank > rank_of(s)) pawn_front_span[WHITE][s] |= files & rank_mask(rank);
            if (rank < rank_of(s)) pawn_front_span[BLACK][s] |= files & rank_mask(rank);
        }
    }
}

static void init_between() {
    for (int a = 0; a < SQUARES; a++)
        for (int files = -1; files <= 1; files++)
            for (int ranks = -1; ranks <= 1; ranks++) {
                if (files == 0 && ranks == 0) continue;
                Bitboard passed = 0;
                for (int b = offset_square(a, files, ranks); b != NO_SQUARE;
                     b = offset_square(b, files, ranks)) {
                    between[a][b] = passed;
                    passed |= bit(b);
                }
            }
}

void init_board_tables() {
#if defined(__x86_64__)
    has_hardware_popcount = __builtin_cpu_supports("popcnt");
#endif
    init_rays();
    init_steps();
    init_between();
    for (int i = 2; i < 256; i++) log2_table[i] = log2_table[i / 2] + 1;
}

// A pair of multiply-with-carry generators; the multipliers are G. Marsaglia's.
static uint32_t next_random(uint32_t& z, uint32_t& w) {
    z = 36969 * (z & 65535) + (z >> 16);
    w = 18000 * (w & 65535) + (w >> 16);
    return (z << 16) + w;
}

void init_zobrist() {
    constexpr int MIN_BITS = 24; // set bits of a good key
    static bool done = false;
    if (done) return;
    done = true;

    uint32_t z = 1, w = 1;
    for (int i = 0; i < PIECE_CODES * 64; i++) {
        uint64_t key;
        do {
            uint64_t high = next_random(z, w);
            key = (high << 32) | next_random(z, w);
        } while (pop_count(key) < MIN_BITS);
        zobrist[i] = key;
    }
}
