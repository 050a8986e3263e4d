#include "eval/endgame.h"

#include <algorithm>
#include <cstdlib>

#include "eval/kpk.h"

// Weights are in evaluation units, 100 = a pawn. In the endings that are known exactly little but
// their order matters: the score grows on the way to the win, so that the search sees progress, and
// what is won stands clear of what is not.

// Values of Position::piece_counts, which give the whole force of a side.
constexpr uint32_t ONE_PAWN = count_step[PAWN], ONE_KNIGHT = count_step[KNIGHT];
constexpr uint32_t BISHOP_AND_KNIGHT = count_step[BISHOP] + count_step[KNIGHT];
constexpr uint32_t TWO_BISHOPS = 2 * count_step[BISHOP];

// Masks of Position::piece_counts.
constexpr uint32_t HEAVY_PIECES = 0xFF000, MINOR_PIECES = 0x00FF0;
constexpr uint32_t BISHOPS = 0x00F00, PIECES = 0xFFFF0;

// Steps along ranks and files to the nearest of the four centre squares: 6 in a corner.
static int centre_distance(int square) {
    auto steps = [](int line) { return line < 4 ? 3 - line : line - 4; };
    return steps(file_of(square)) + steps(rank_of(square));
}

// The ring of the board that a square belongs to: 0 on the edge, 1 next to it, 2 further inside.
static int ring(int square) {
    constexpr int INNERMOST = 2;
    int file = file_of(square), rank = rank_of(square);
    return std::min({file, 7 - file, rank, 7 - rank, INNERMOST});
}

// How near a lone king stands to a corner of the bishop's colour, the only ones where bishop and
// knight mate: 9 in such a corner, 0 on e4 and d5. From the wrong corner it grows along both edges,
// which is the way that the king has to be driven. Written for a bishop on dark squares.
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

// Number of pieces of one type.
static int piece_count(uint32_t counts, int type) {
    constexpr int TYPE_BITS = 4;
    constexpr uint32_t MAX_COUNT = 15;
    return static_cast<int>(counts >> TYPE_BITS * (type - PAWN) & MAX_COUNT);
}
static int knights(uint32_t counts) { return piece_count(counts, KNIGHT); }
static int bishops(uint32_t counts) { return piece_count(counts, BISHOP); }

// King and pawn against king, for the side with the pawn.
static int king_and_pawn(const Position& pos, int strong) {
    constexpr int WIN_BONUS = 800; // above all that the squares give, 31 at most
    constexpr int ADVANCE = 4;     // for each rank from the first

    int king = pos.king_square[strong], enemy = pos.king_square[strong ^ 1];
    int pawn = bit_scan_forward(pos.pieces[strong][PAWN]);
    int promotion = file_of(pawn) + (strong == WHITE ? 56 : 0);
    int advance = rank_of(pawn ^ rank_flip[strong]);
    int score = chebyshev(enemy, promotion) - chebyshev(king, promotion) + ADVANCE * advance;

    // The table has the pawn on files a-d, moving up the board. For a black one it is turned round.
    if (strong == BLACK) {
        king = 63 - king;
        enemy = 63 - enemy;
        pawn = 63 - pawn;
    }
    if (!on_queen_side(pawn)) {
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
    constexpr int WIN = 700;    // near the value of the two pieces
    constexpr int CORNER = 16;  // for each step of the table
    constexpr int CENTRE = 8;   // for each ring that the own king stands inside
    constexpr int DISTANCE = 8; // for each step between the kings
    int king = pos.king_square[strong], enemy = pos.king_square[strong ^ 1], corner = enemy;
    if (!(pos.pieces[strong][BISHOP] & DARK_SQUARES)) corner ^= 7;
    return KbnCornerTable[corner] * CORNER + WIN + ring(king) * CENTRE
         - DISTANCE * chebyshev(king, enemy);
}

// Heavy pieces against the lone king, from White's view. Pawns don't count.
static int heavy_pieces(const Position& pos) {
    constexpr int UNIT = 100;    // for each phase unit: 500 a rook, 1000 a queen
    constexpr int WIN = 100;     // on top of that
    constexpr int CORNER = 40;   // for each step of the lone king away from the centre
    constexpr int DISTANCE = 16; // for each step between the kings
    int score[2] = {pos.material[WHITE] * UNIT, pos.material[BLACK] * UNIT};
    int strong = pos.material[WHITE] > pos.material[BLACK] ? WHITE : BLACK;
    int king = pos.king_square[strong], enemy = pos.king_square[strong ^ 1];
    score[strong] += WIN + CORNER * centre_distance(enemy) - DISTANCE * chebyshev(king, enemy);
    return score[WHITE] - score[BLACK];
}

bool endgame_score(const Position& pos, int side, int& score) {
    const uint32_t white = pos.piece_counts[WHITE], black = pos.piece_counts[BLACK];

    // Below bishop and knight there are a lone bishop and any number of knights.
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
    if (!(counts & COUNT_PAWNS) || bishops(counts) == 0 || (counts & PIECES & ~BISHOPS) != 0)
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

// Scales the score of a leader with one pawn or two further down. The defender draws by giving a
// minor piece for the last pawn, the easier the fewer there are.
static float scale_few_pawns(const Position& pos, int strong, float scale) {
    static constexpr double AGAINST_MINOR[2] = {0.6, 0.8}; // by pawns - 1
    static constexpr double AGAINST_OTHERS[2] = {0.8, 0.9};
    constexpr float BLOCKADE = 0.75f; // the king already stands before the pawns

    bool minor = pos.piece_counts[strong ^ 1] & MINOR_PIECES;
    double factor = (minor ? AGAINST_MINOR : AGAINST_OTHERS)[pawn_count(pos, strong) - 1];
    scale = static_cast<float>(scale * factor);
    if (king_before_pawns(pos, strong)) scale *= BLOCKADE;
    return scale;
}

// Number of pieces, modulo 16.
static int piece_number(uint32_t counts) {
    int number = 0;
    for (int type = KNIGHT; type <= QUEEN; type++) number += piece_count(counts, type);
    return number & 15;
}

// Tells whether material is so low and level that the rules of endgame_scale hold.
static bool is_close_ending(const Position& pos) {
    constexpr int MAX_MATERIAL = 10, MAX_DIFFERENCE = 3; // phase units
    int white = pos.material[WHITE], black = pos.material[BLACK];
    return white <= MAX_MATERIAL && black <= MAX_MATERIAL
        && std::abs(white - black) <= MAX_DIFFERENCE;
}

// Factor for a leader without pawns: he has nothing left when he trades.
static float pawnless_factor(const Position& pos, int strong) {
    constexpr float BISHOPS_AGAINST_KNIGHT = 0.75f; // won in general, but beyond the horizon
    constexpr double BASE = 0.1, FOR_UNIT = 0.007;  // phase units
    if (pos.piece_counts[strong] == TWO_BISHOPS && pos.piece_counts[strong ^ 1] == ONE_KNIGHT)
        return BISHOPS_AGAINST_KNIGHT;
    return static_cast<float>(pos.material[strong] * FOR_UNIT + BASE);
}

// Factor for bishops of opposite colours, which can't contest each other's squares; with heavy
// pieces on the board that helps the attack, too.
static float bishops_factor(const Position& pos, int strong) {
    constexpr int MAX_MORE_PAWNS = 2; // above that the pawns win all the same
    constexpr float ALONE = 0.6f, WITH_HEAVY = 0.9f;
    const int weak = strong ^ 1;
    const uint32_t force = pos.piece_counts[strong], defence = pos.piece_counts[weak];
    if (bishops(force) != 1 || bishops(defence) != 1 || pos.material[strong] != pos.material[weak]
        || std::abs(pawn_count(pos, strong) - pawn_count(pos, weak)) > MAX_MORE_PAWNS
        || !opposite_bishops(pos))
        return 1.0f;
    return force & HEAVY_PIECES ? WITH_HEAVY : ALONE;
}

float endgame_scale(const Position& pos, int white_score) {
    constexpr float WRONG_BISHOP = 0.05f; // a draw against any defence that stays in the corner
    constexpr float OUTNUMBERED = 0.8f;   // one piece against two
    constexpr int FEW_PAWNS = 2;

    if (white_score == 0 || !is_close_ending(pos)) return 1.0f;
    const int strong = white_score > 0 ? WHITE : BLACK, weak = strong ^ 1;
    const int pawns = pawn_count(pos, strong);
    if (pawns == 0) return pawnless_factor(pos, strong);
    if (wrong_bishop(pos, strong)) return WRONG_BISHOP;

    float scale = bishops_factor(pos, strong);
    // A lead of at most one unit over a defender who has a piece left.
    if (pawns <= FEW_PAWNS && pos.material[weak] >= 1
        && pos.material[strong] + pawns <= pos.material[weak] + pawn_count(pos, weak) + 1)
        scale = scale_few_pawns(pos, strong, scale);
    if (piece_number(pos.piece_counts[strong]) == 1 && piece_number(pos.piece_counts[weak]) >= 2)
        scale *= OUTNUMBERED;
    return scale;
}
