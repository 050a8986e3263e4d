#include "eval/endgame.h"

#include <algorithm>
#include <cstdlib>

#include "eval/kpk.h"

// Counts of Position::piece_counts.
constexpr uint32_t ONE_PAWN = 0x1, ONE_KNIGHT = 0x10, BISHOP_AND_KNIGHT = 0x110;
constexpr uint32_t TWO_BISHOPS = 0x200, HEAVY_PIECES = 0xFF000;
constexpr uint32_t MINOR_PIECES = 0x00FF0, PIECES = 0xFFFF0;

// Ten times the steps along ranks and files to the nearest of the four centre squares.
static int king_corner_value(int square) {
    auto steps = [](int line) { return line < 4 ? 3 - line : line - 4; };
    return 10 * (steps(file_of(square)) + steps(rank_of(square)));
}

// 0 on the edge of the board, 1 on the next ring, 2 further inside.
static int king_centre_value(int square) {
    int file = file_of(square), rank = rank_of(square);
    return std::min({file, 7 - file, rank, 7 - rank, 2});
}

// Where a lone king is mated by bishop and knight: low is far from the corners of the bishop's
// colour. Written for a bishop on dark squares.
// clang-format off
static constexpr int16_t KbnCornerTable[64] = {
    // a  b  c  d  e  f  g  h
       9, 8, 7, 6, 5, 4, 3, 2, // rank 1
       8, 7, 6, 5, 4, 3, 2, 3,
       7, 6, 4, 3, 2, 1, 3, 4,
       6, 5, 3, 1, 0, 2, 4, 5,
       5, 4, 2, 0, 1, 3, 5, 6,
       4, 3, 1, 2, 3, 4, 6, 7,
       3, 2, 3, 4, 5, 6, 7, 8,
       2, 3, 4, 5, 6, 7, 8, 9,
};
// clang-format on

static int knights(uint32_t counts) { return static_cast<int>(counts >> 4 & 15); }
static int bishops(uint32_t counts) { return static_cast<int>(counts >> 8 & 15); }

// King and pawn against king, for the side with the pawn.
static int king_and_pawn(const Position& pos, int strong) {
    constexpr int WIN_BONUS = 800;

    int king = pos.king_square[strong], enemy = pos.king_square[strong ^ 1];
    int pawn = bit_scan_forward(pos.pieces[strong][PAWN]);
    int promotion = file_of(pawn) + (strong == WHITE ? 56 : 0);
    int advance = rank_of(pawn ^ rank_flip[strong]);
    int score = chebyshev(enemy, promotion) - chebyshev(king, promotion) + 4 * advance;

    if (strong == BLACK) {
        king = 63 - king;
        enemy = 63 - enemy;
        pawn = 63 - pawn;
    }
    if (file_of(pawn) >= 4) {
        king ^= 7;
        enemy ^= 7;
        pawn ^= 7;
    }
    int defender_moves = pos.side != strong;
    if (KpkTable[kpk_index(defender_moves, pawn, king, enemy)] == KPK_WIN) score += WIN_BONUS;
    return score;
}

// Bishop and knight against the lone king, for the strong side.
static int bishop_and_knight(const Position& pos, int strong) {
    int king = pos.king_square[strong], enemy = pos.king_square[strong ^ 1], corner = enemy;
    if (!(pos.pieces[strong][BISHOP] & DARK_SQUARES)) corner ^= 7;
    return KbnCornerTable[corner] * 16 + 700 + king_centre_value(king) * 8
         - 8 * chebyshev(king, enemy);
}

// Heavy pieces against the lone king, from White's view. Pawns don't count.
static int heavy_pieces(const Position& pos) {
    int score[2] = {pos.material[WHITE] * 100, pos.material[BLACK] * 100};
    int strong = pos.material[WHITE] > pos.material[BLACK] ? WHITE : BLACK;
    int king = pos.king_square[strong], enemy = pos.king_square[strong ^ 1];
    score[strong] += 100 + 4 * (king_corner_value(enemy) - 4 * chebyshev(king, enemy));
    return score[WHITE] - score[BLACK];
}

bool endgame_score(const Position& pos, int side, int& score) {
    const uint32_t white = pos.piece_counts[WHITE], black = pos.piece_counts[BLACK];

    if (!((white | black) & COUNT_PAWNS) && white < BISHOP_AND_KNIGHT && black < BISHOP_AND_KNIGHT
        && knights(white) <= 2 && knights(black) <= 2) {
        score = 0;
        return true;
    }
    if (white != 0 && black != 0) return false; // the rest needs a lone king

    const int strong = white != 0 ? WHITE : BLACK;
    const uint32_t force = white | black;
    if (force == ONE_PAWN) {
        score = king_and_pawn(pos, strong);
    } else if (force == BISHOP_AND_KNIGHT) {
        score = bishop_and_knight(pos, strong);
    } else if (force & HEAVY_PIECES) {
        score = heavy_pieces(pos);
        if (strong == BLACK) score = -score;
    } else {
        return false;
    }
    if (side != strong) score = -score;
    return true;
}

// Bishop and pawns of one rook file, with the enemy king at the corner that the bishop can't
// reach.
static bool wrong_bishop(const Position& pos, int strong) {
    uint32_t counts = pos.piece_counts[strong];
    if (!(counts & COUNT_PAWNS) || bishops(counts) == 0 || (counts & PIECES & ~0xF00u) != 0)
        return false;
    Bitboard pawns = pos.pieces[strong][PAWN];
    int file;
    if (!(pawns & ~FILE_A)) file = 0;
    else if (!(pawns & ~FILE_H)) file = 7;
    else return false;

    int corner = file + (strong == WHITE ? 56 : 0);
    Bitboard colour = bit(corner) & DARK_SQUARES ? DARK_SQUARES : LIGHT_SQUARES;
    return chebyshev(pos.king_square[strong ^ 1], corner) <= 1
        && !(pos.pieces[strong][BISHOP] & colour);
}

static bool opposite_bishops(const Position& pos) {
    Bitboard all = pos.pieces[WHITE][BISHOP] | pos.pieces[BLACK][BISHOP];
    return pop_count(all & LIGHT_SQUARES) == 1;
}

// Tells whether the king stands in front of all pawns of the other side.
static bool king_before_pawns(const Position& pos, int strong) {
    Bitboard king = bit(pos.king_square[strong ^ 1]);
    Bitboard cone = king | step_east(king) | step_west(king);
    for (int i = 0; i < 7; i++) cone |= step_forward(strong ^ 1, cone);
    return !(pos.pieces[strong][PAWN] & ~cone);
}

// Factor for a leader with one pawn or two.
static float few_pawns_factor(const Position& pos, int strong, float scale) {
    bool minor = pos.piece_counts[strong ^ 1] & MINOR_PIECES;
    double factor = pawn_count(pos, strong) == 1 ? (minor ? 0.6 : 0.8) : (minor ? 0.8 : 0.9);
    scale = static_cast<float>(scale * factor);
    if (king_before_pawns(pos, strong)) scale *= 0.75f;
    return scale;
}

static int piece_number(uint32_t counts) {
    int number = 0;
    for (int shift = 4; shift <= 16; shift += 4) number += static_cast<int>(counts >> shift & 15);
    return number & 15;
}

float endgame_scale(const Position& pos, int white_score) {
    constexpr int MOST_MATERIAL = 10, MOST_DIFFERENCE = 3; // phase units

    int material[2] = {pos.material[WHITE], pos.material[BLACK]};
    if (white_score == 0 || material[WHITE] > MOST_MATERIAL || material[BLACK] > MOST_MATERIAL
        || std::abs(material[WHITE] - material[BLACK]) > MOST_DIFFERENCE)
        return 1.0f;

    int strong = white_score > 0 ? WHITE : BLACK, weak = strong ^ 1;
    int pawns[2] = {pawn_count(pos, WHITE), pawn_count(pos, BLACK)};
    uint32_t force = pos.piece_counts[strong], defence = pos.piece_counts[weak];

    if (pawns[strong] == 0) {
        if (force == TWO_BISHOPS && defence == ONE_KNIGHT) return 0.75f;
        return static_cast<float>(material[strong] * 0.007 + 0.1);
    }
    if (wrong_bishop(pos, strong)) return 0.05f;

    float scale = 1.0f;
    if (bishops(force) == 1 && bishops(defence) == 1 && material[strong] == material[weak]
        && std::abs(pawns[strong] - pawns[weak]) <= 2 && opposite_bishops(pos))
        scale = force & HEAVY_PIECES ? 0.9f : 0.6f;
    if (pawns[strong] <= 2 && material[strong] + pawns[strong] <= material[weak] + pawns[weak] + 1
        && material[weak] >= 1)
        scale = few_pawns_factor(pos, strong, scale);
    if (piece_number(force) == 1 && piece_number(defence) >= 2) scale *= 0.8f;
    return scale;
}
