#include "eval/nn_inputs.h"

#include <algorithm>

#include "board/bitboard.h"

// The board seen from the other end.
static uint64_t flip_ranks(uint64_t set) { return __builtin_bswap64(set); }

static uint64_t mirror_files(uint64_t set) {
    constexpr uint64_t ODD = 0x5555555555555555, PAIRS = 0x3333333333333333,
                       HALVES = 0x0F0F0F0F0F0F0F0F;
    set = (set >> 1 & ODD) | (set & ODD) << 1;
    set = (set >> 2 & PAIRS) | (set & PAIRS) << 2;
    return (set >> 4 & HALVES) | (set & HALVES) << 4;
}

// The set and its neighbours on both sides.
static uint64_t widen(uint64_t set) { return set | step_east(set) | step_west(set); }

static uint64_t fill_up(uint64_t set) {
    set |= set << 8;
    set |= set << 16;
    return set | set << 32;
}
static uint64_t fill_down(uint64_t set) {
    set |= set >> 8;
    set |= set >> 16;
    return set | set >> 32;
}

static void collect_planes(uint64_t* planes, const Position& pos) {
    constexpr int OTHER = NN_PLANES; // first plane of the other side

    const bool flip = pos.side == BLACK;
    for (int who : {0, 1}) {
        uint64_t* plane = planes + who * NN_PLANES;
        const Bitboard* pieces = pos.pieces[pos.side ^ who];
        plane[0] = flip ? flip_ranks(pieces[KING]) : pieces[KING];
        for (int type = PAWN; type <= QUEEN; type++)
            plane[type] = flip ? flip_ranks(pieces[type]) : pieces[type];
    }

    // Passed pawns before the files are mirrored, as that is done for each side by itself.
    uint64_t own = planes[PAWN], other = planes[OTHER + PAWN];
    planes[NN_PASSED_PLANE] = own & ~fill_down(widen(other) >> 8);
    planes[OTHER + NN_PASSED_PLANE] = other & ~fill_up(widen(own) << 8);

    for (int who : {0, 1})
        if (on_queen_side(pos.king_square[pos.side ^ who]))
            for (int i = 0; i < NN_PLANES; i++)
                planes[who * NN_PLANES + i] = mirror_files(planes[who * NN_PLANES + i]);
}

static void collect_material(int16_t* material, const Position& pos) {
    // The middle input of each kind, and how far differences count.
    static constexpr int MIDDLE[NN_MATERIAL_KINDS] = {5, 13, 18, 23, 28};
    static constexpr int REACH[NN_MATERIAL_KINDS] = {5, 2, 2, 2, 2};
    const uint32_t own = pos.piece_counts[pos.side], other = pos.piece_counts[pos.side ^ 1];
    for (int kind = 0; kind < NN_MATERIAL_KINDS; kind++) {
        int more =
            static_cast<int>(own >> 4 * kind & 15) - static_cast<int>(other >> 4 * kind & 15);
        material[kind] =
            static_cast<int16_t>(MIDDLE[kind] + std::clamp(more, -REACH[kind], REACH[kind]));
    }
}

void collect_nn_inputs(NnInputs& inputs, const Position& pos) {
    collect_planes(inputs.planes, pos);
    collect_material(inputs.material, pos);
    inputs.set = on_queen_side(pos.king_square[WHITE]) != on_queen_side(pos.king_square[BLACK]);
}
