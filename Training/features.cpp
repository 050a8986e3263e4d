#include "Training/features.h"

#include <cstring>

#include "board/bitboard.h"
#include "eval/evaluate.h"

// Where the squares of a set come to lie when each square is exclusive-ored with the mask, which
// turns ranks, files, both or nothing. Done twice it changes nothing.
static Bitboard turn_squares(Bitboard set, int mask) {
    constexpr Bitboard ODD = 0x5555555555555555, PAIRS = 0x3333333333333333,
                       HALVES = 0x0F0F0F0F0F0F0F0F;
    if (mask & 56) set = __builtin_bswap64(set);
    if (!(mask & 7)) return set;
    set = (set >> 1 & ODD) | (set & ODD) << 1;
    set = (set >> 2 & PAIRS) | (set & PAIRS) << 2;
    return (set >> 4 & HALVES) | (set & HALVES) << 4;
}

// The inputs of a plane are listed in the order of the board's own squares and not as the side to
// move sees them: sums of floats, and so a network that is trained, depend on the order.
static void list_plane(NetworkInput& input, int first, uint64_t plane, int mask) {
    for (Bitboard set = turn_squares(plane, mask); set;)
        input.features[input.count++] = static_cast<uint16_t>(first + (pop_lowest(set) ^ mask));
}

// What collect_nn_inputs looks at, in a third of the time that bare_board takes.
static void place_units(Position& board, const PlyRecord& record) {
    uint64_t units[2];
    memcpy(units, record.units, sizeof units);
    int place = 0;
    for (Bitboard set = record.occupied; set; set &= set - 1, place++)
        board.by_code[units[place / 16] >> place % 16 * 4 & 15] |= set & -set;
    for (int side : {WHITE, BLACK}) {
        for (int type = PAWN; type <= QUEEN; type++) {
            const auto count = static_cast<uint32_t>(pop_count(board.pieces[side][type]));
            board.piece_counts[side] += count * count_step[type];
            board.material[side] =
                static_cast<uint16_t>(board.material[side] + count * material_step[type]);
        }
        board.king_square[side] = static_cast<uint8_t>(bit_scan_forward(board.pieces[side][KING]));
    }
    board.side = static_cast<uint8_t>(record_side(record));
}

void list_features(NetworkInput& input, const PlyRecord& record) {
    Position board = {};
    place_units(board, record);
    NnInputs inputs;
    collect_nn_inputs(inputs, board);

    input.count = 0;
    input.material = static_cast<uint16_t>(board.material[WHITE] + board.material[BLACK]);
    for (int i = 0; i < 2 * NN_PLANES; i++) {
        int side = i < NN_PLANES ? board.side : board.side ^ 1;
        list_plane(input, inputs.set * NN_SET_INPUTS + i * SQUARES, inputs.planes[i],
                   nn_square_mask(board, side));
    }
    for (int kind : inputs.material)
        input.features[input.count++] = static_cast<uint16_t>(NN_BOARD_INPUTS + kind);

    const bool pawns = nn_pawn_ending(board);
    const float full = nn_full_share(board);
    input.rows[NN_FULL_ROW] = pawns ? 0.0f : full;
    input.rows[NN_EMPTY_ROW] = pawns ? 0.0f : 1.0f - full;
    input.rows[NN_PAWN_ROW] = pawns ? 1.0f : 0.0f;
    input.fifty = 1.0f - static_cast<float>(record.halfmoves) / FIFTY_SCALE;
}

bool is_dead_input(int feature) {
    if (feature >= NN_BOARD_INPUTS) return feature == NN_INPUTS - 1;
    int plane = feature / SQUARES % NN_PLANES, square = feature % SQUARES;
    if (plane == 0) return file_of(square) < 4;
    bool pawns = plane == PAWN || plane == NN_PASSED_PLANE;
    return pawns && (rank_of(square) == 0 || rank_of(square) == 7);
}
