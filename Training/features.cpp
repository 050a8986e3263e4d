#include "Training/features.h"

#include <algorithm>

#include "Training/ply_data.h"
#include "board/bitboard.h"

// The planes of piece types; kings have plane 0, passed pawns a plane of their own.
constexpr int PASSED_PLANE = 6;

namespace {

struct Board {
    Bitboard pieces[2][8]; // by colour and type; 0 is not used
};

} // namespace

static Board unpack_board(const PlyRecord& record) {
    Board board = {};
    int n = 0;
    for (Bitboard set = record.occupied; set; set &= set - 1, n++) {
        int code = ply_unit(record, n);
        board.pieces[colour_of(code)][type_of(code)] |= set & -set;
    }
    return board;
}

static Bitboard spread_files(Bitboard set) { return set | step_east(set) | step_west(set); }

// Pawns with no enemy pawn ahead of them on their own or an adjacent file.
static Bitboard passed_pawns(const Board& board, int side) {
    Bitboard reach = spread_files(board.pieces[side ^ 1][PAWN]);
    for (int i = 0; i < 6; i++) reach |= step_forward(side ^ 1, reach);
    // The enemies' own ranks don't count: one step from each of them on.
    return board.pieces[side][PAWN] & ~step_forward(side ^ 1, reach);
}

static void list_material(NetworkInput& input, const Board& board, int side) {
    struct Kind {
        int type, centre, most;
    };
    constexpr Kind KINDS[] = {
        {PAWN, 5, 5}, {KNIGHT, 13, 2}, {BISHOP, 18, 2}, {ROOK, 23, 2}, {QUEEN, 28, 2}};
    for (const Kind& kind : KINDS) {
        int difference =
            pop_count(board.pieces[side][kind.type]) - pop_count(board.pieces[side ^ 1][kind.type]);
        int k = kind.centre + std::clamp(difference, -kind.most, kind.most);
        input.features[input.count++] = static_cast<uint16_t>(BOARD_INPUTS + k);
    }
}

static void set_output_shares(NetworkInput& input, const Board& board) {
    constexpr int FULL_MATERIAL = 63;
    int material = 0;
    for (int type = KNIGHT; type <= QUEEN; type++)
        material +=
            material_step[type] * pop_count(board.pieces[WHITE][type] | board.pieces[BLACK][type]);
    float phase = material < FULL_MATERIAL ? static_cast<float>(material * 0.016) : 1.0f;
    input.rows[0] = material == 0 ? 0.0f : phase;
    input.rows[1] = material == 0 ? 0.0f : 1.0f - phase;
    input.rows[2] = material == 0 ? 1.0f : 0.0f;
}

void list_features(NetworkInput& input, const PlyRecord& record) {
    constexpr float FIFTY_SCALE = 256.0f;

    const Board board = unpack_board(record);
    const int mover = record_side(record);
    bool queen_side[2];
    for (int side : {WHITE, BLACK})
        queen_side[side] = file_of(bit_scan_forward(board.pieces[side][KING])) < 4;
    const int set_base = queen_side[WHITE] != queen_side[BLACK] ? SET_INPUTS : 0;

    input.count = 0;
    for (int side : {mover, mover ^ 1}) {
        const int mask = (mover == BLACK ? 0x38 : 0) | (queen_side[side] ? 7 : 0);
        const int base = set_base + (side == mover ? 0 : SIDE_INPUTS);
        auto add = [&](int plane, Bitboard set) {
            while (set)
                input.features[input.count++] =
                    static_cast<uint16_t>(base + plane * PLANE_INPUTS + (pop_lowest(set) ^ mask));
        };
        add(0, board.pieces[side][KING]);
        for (int type = PAWN; type <= QUEEN; type++) add(type, board.pieces[side][type]);
        add(PASSED_PLANE, passed_pawns(board, side));
    }
    list_material(input, board, mover);
    set_output_shares(input, board);
    input.unused = 0;
    input.fifty = 1.0f - static_cast<float>(record.halfmoves) / FIFTY_SCALE;
}

bool is_dead_input(int feature) {
    if (feature >= BOARD_INPUTS) return feature == NETWORK_INPUTS - 1;
    int plane = feature % SIDE_INPUTS / PLANE_INPUTS, square = feature % PLANE_INPUTS;
    if (plane == 0) return file_of(square) < 4;
    bool pawns = plane == PAWN || plane == PASSED_PLANE;
    return pawns && (rank_of(square) == 0 || rank_of(square) == 7);
}
