#include "syzygy/tbindex.h"

#include <algorithm>
#include <cassert>
#include <cstring>

#include "syzygy/tbcore.h"

constexpr int D4 = 27;
constexpr int BELOW_DIAGONAL = 28;     // squares below a1-h8
constexpr int BELOW_IN_TRIANGLE = 6;   // squares of a1-d1-d4 below the diagonal
constexpr int ON_IN_TRIANGLE = 4;      // and on it
constexpr int PLACES_OF_KINGS = 462;   // of two kings that don't touch, up to symmetry
constexpr int PLACES_OF_THREE = 31332; // of any three pieces, up to symmetry

// --- The numbering of squares ------------------------------------------------------------------

static constexpr int edge_distance(int square) {
    return std::min(file_of(square), 7 - file_of(square));
}

// Above the diagonal a1-h8 positive, on it 0, below it negative.
static constexpr int off_diagonal(int square) { return rank_of(square) - file_of(square); }

static constexpr bool touching(int a, int b) {
    int files = file_of(a) - file_of(b), ranks = rank_of(a) - rank_of(b);
    return files >= -1 && files <= 1 && ranks >= -1 && ranks <= 1;
}

static constexpr void number_binomials(TBSquareTables& t) {
    for (uint64_t n = 0; n < 64; n++) {
        uint64_t product = n;
        t.binomial[0][n] = static_cast<uint32_t>(n);
        for (uint64_t k = 1; k < 5; k++) {
            // Each step divides evenly: the product of k + 1 neighbours over (k + 1)!.
            product = n > k ? product * (n - k) / (k + 1) : 0;
            t.binomial[k][n] = static_cast<uint32_t>(product);
        }
    }
}

static constexpr void number_triangle(TBSquareTables& t) {
    uint8_t below = 0, lower = 0;
    for (int square = 0; square < SQUARES; square++) {
        if (off_diagonal(square) < 0) t.lower[square] = lower++;
        if (file_of(square) > 3 || rank_of(square) > 3) continue;
        if (off_diagonal(square) < 0) t.triangle[square] = below++;
        if (off_diagonal(square) == 0)
            t.triangle[square] = static_cast<uint8_t>(BELOW_IN_TRIANGLE + file_of(square));
    }
}

// Three runs: the first king below the diagonal; on it with the second king below; both on it.
static constexpr void number_king_pairs(TBSquareTables& t) {
    int16_t number = 0;
    for (int run = 0; run < 3; run++) {
        for (int first = 0; first <= D4; first++) {
            if (file_of(first) > 3 || off_diagonal(first) > 0) continue;
            if ((off_diagonal(first) == 0) != (run > 0)) continue;
            for (int second = 0; second < SQUARES; second++) {
                if (touching(first, second)) continue;
                if (run == 1 && off_diagonal(second) >= 0) continue;
                if (run == 2 && off_diagonal(second) != 0) continue;
                t.king_pair[t.triangle[first]][second] = number++;
            }
        }
    }
}

// The other leading pawns all stand on squares of smaller twist than the leading one.
static constexpr void number_pawns(TBSquareTables& t) {
    for (int square = 8; square < 56; square++) {
        int edge = edge_distance(square), rank = rank_of(square);
        t.flap[square] = static_cast<uint8_t>(6 * edge + rank - 1);
        t.twist[square] =
            static_cast<uint8_t>(12 * (3 - edge) + 2 * (6 - rank) + (file_of(square) <= 3));
    }
    for (int others = 0; others < 5; others++) {
        for (int group = 0; group < TB_FILE_GROUPS; group++) {
            uint32_t sum = 0;
            for (int rank = 1; rank <= 6; rank++) {
                int square = rank * 8 + group;
                t.pawn_index[others][t.flap[square]] = sum;
                sum += others ? t.binomial[others - 1][t.twist[square]] : 1;
            }
            t.pawn_factor[others][group] = sum;
        }
    }
}

static constexpr TBSquareTables number_squares() {
    TBSquareTables t = {};
    number_binomials(t);
    number_triangle(t);
    number_king_pairs(t);
    number_pawns(t);
    return t;
}

constexpr TBSquareTables tb_squares = number_squares();

// --- Piece lists and factors ------------------------------------------------------------------

bool tb_set_norm(const TBEntry& entry, const uint8_t* pieces, uint8_t* norm) {
    constexpr uint8_t UNIQUE = 1;
    uint8_t seen[PIECE_CODES] = {};
    for (int i = 0; i < entry.num; i++) {
        int code = pieces[i];
        if (i > 0 && code != pieces[i - 1] && seen[code])
            return false; // like pieces stand together
        seen[code]++;
    }
    if (memcmp(seen, entry.counts, sizeof seen) != 0) return false;

    memset(norm, 0, TB_PIECES);
    int first = 0;
    if (entry.has_pawns) {
        norm[0] = entry.pawns[0];
        if (type_of(pieces[0]) != PAWN || entry.counts[pieces[0]] != entry.pawns[0]) return false;
        // Equal numbers: White leads.
        if (entry.pawns[0] == entry.pawns[1] && colour_of(pieces[0]) != WHITE) return false;
        first = entry.pawns[0];
        if (entry.pawns[1]) {
            if (type_of(pieces[first]) != PAWN) return false;
            norm[first] = entry.pawns[1];
            first += entry.pawns[1];
        }
    } else {
        norm[0] = entry.leaders;
        for (int i = 0; i < entry.leaders; i++)
            if (entry.counts[pieces[i]] != UNIQUE) return false;
        first = entry.leaders;
    }
    while (first < entry.num) {
        norm[first] = entry.counts[pieces[first]];
        first += norm[first];
    }
    return true;
}

uint64_t tb_set_factors(const TBEntry& entry, int order, int order2, const uint8_t* norm, int group,
                        uint64_t* factors) {
    constexpr int LAST_ORDER = 15, PAWN_SQUARES = 48;
    const int leaders = norm[0];
    const bool second_pawns = entry.has_pawns && entry.pawns[1];
    uint64_t leading_size = entry.has_pawns ? tb_squares.pawn_factor[leaders - 1][group]
                          : leaders == 3    ? PLACES_OF_THREE
                                            : PLACES_OF_KINGS;
    int next = leaders + (second_pawns ? norm[leaders] : 0); // first slot of the next other group
    int free = SQUARES - next;
    int waiting = 1 + second_pawns; // groups whose place an order gives
    uint64_t factor = 1;
    memset(factors, 0, TB_PIECES * sizeof *factors);

    for (int place = 0; waiting > 0 || next < entry.num; place++) {
        if (place > LAST_ORDER) return 0;
        if (place == order) {
            factors[0] = factor;
            factor *= leading_size;
            waiting--;
        } else if (second_pawns && place == order2) {
            factors[leaders] = factor;
            factor *= tb_squares.binomial[norm[leaders] - 1][PAWN_SQUARES - leaders];
            waiting--;
        } else if (next < entry.num) {
            factors[next] = factor;
            factor *= tb_squares.binomial[norm[next] - 1][free];
            free -= norm[next];
            next += norm[next];
        }
    }
    return factor;
}

// --- The index of a position ------------------------------------------------------------------

int tb_leading_file(const TBEntry& entry, int* squares) {
    for (int i = 1; i < entry.pawns[0]; i++)
        if (tb_squares.flap[squares[i]] < tb_squares.flap[squares[0]])
            std::swap(squares[0], squares[i]);
    return edge_distance(squares[0]);
}

static void mirror(int* squares, int count, int by) {
    for (int i = 0; i < count; i++) squares[i] ^= by;
}

// The number of three pieces that occur once each, below PLACES_OF_THREE. Four runs, by how many of
// the pieces stand on the diagonal a1-h8; within a run the first piece counts most. Squares that
// earlier pieces hold are left out of the count, which `i` and `j` see to.
static uint64_t number_three(const int* squares) {
    constexpr int SECOND = 63, THIRD = 62;     // squares left for the second piece and the third
    constexpr int SECOND_ON = 7, THIRD_ON = 6; // the same on the diagonal
    constexpr int NONE_ON = BELOW_IN_TRIANGLE * SECOND * THIRD;
    constexpr int ONE_ON = NONE_ON + ON_IN_TRIANGLE * BELOW_DIAGONAL * THIRD;
    constexpr int TWO_ON = ONE_ON + ON_IN_TRIANGLE * SECOND_ON * BELOW_DIAGONAL;
    static_assert(TWO_ON + ON_IN_TRIANGLE * SECOND_ON * THIRD_ON == PLACES_OF_THREE);

    const int a = squares[0], b = squares[1], c = squares[2];
    const int i = b > a, j = (c > a) + (c > b);
    const uint8_t* lower = tb_squares.lower;
    int number;
    if (off_diagonal(a)) number = (tb_squares.triangle[a] * SECOND + b - i) * THIRD + c - j;
    else if (off_diagonal(b))
        number = NONE_ON + (file_of(a) * BELOW_DIAGONAL + lower[b]) * THIRD + c - j;
    else if (off_diagonal(c))
        number = ONE_ON + (file_of(a) * SECOND_ON + file_of(b) - i) * BELOW_DIAGONAL + lower[c];
    else number = TWO_ON + (file_of(a) * SECOND_ON + file_of(b) - i) * THIRD_ON + file_of(c) - j;
    return static_cast<uint64_t>(number);
}

// Mirrors the board until the leading pieces stand where they are numbered.
static uint64_t number_leading_pieces(const TBEntry& entry, int leaders, int* squares) {
    if (file_of(squares[0]) > 3) mirror(squares, entry.num, 7);
    if (rank_of(squares[0]) > 3) mirror(squares, entry.num, 56);
    for (int i = 0; i < leaders; i++) {
        if (off_diagonal(squares[i]) == 0) continue;
        if (off_diagonal(squares[i]) > 0)
            for (int k = 0; k < entry.num; k++)
                squares[k] = squares[k] >> 3 | (squares[k] & 7) << 3;
        break;
    }
    if (leaders == 3) return number_three(squares);
    return static_cast<uint64_t>(tb_squares.king_pair[tb_squares.triangle[squares[0]]][squares[1]]);
}

static uint64_t number_leading_pawns(const TBEntry& entry, int pawns, int* squares) {
    if (file_of(squares[0]) > 3) mirror(squares, entry.num, 7);
    std::sort(squares + 1, squares + pawns,
              [](int a, int b) { return tb_squares.twist[a] > tb_squares.twist[b]; });
    const int m = pawns - 1;
    uint64_t number = tb_squares.pawn_index[m][tb_squares.flap[squares[0]]];
    for (int i = 1; i <= m; i++) {
        assert(m - i >= 0 && m - i < 5);
        number += tb_squares.binomial[m - i][tb_squares.twist[squares[i]]];
    }
    return number;
}

// The number of a group of like pieces among the squares that earlier slots leave free; the first
// `reserved` squares of the board count as taken.
static uint64_t number_group(int* squares, int first, int size, int reserved) {
    uint64_t number = 0;
    if (size > 1) std::sort(squares + first, squares + first + size);
    for (int k = 0; k < size; k++) {
        int square = squares[first + k], below = reserved;
        for (int i = 0; i < first; i++) below += squares[i] < square;
        number += tb_squares.binomial[k][square - below];
    }
    return number;
}

uint64_t tb_encode(const TBEntry& entry, const uint8_t* norm, int* squares,
                   const uint64_t* factors) {
    constexpr int FIRST_RANK = 8; // squares where no pawn stands
    int first = norm[0];
    uint64_t index = entry.has_pawns ? number_leading_pawns(entry, first, squares)
                                     : number_leading_pieces(entry, first, squares);
    index *= factors[0];
    if (entry.has_pawns && entry.pawns[1]) {
        index += number_group(squares, first, norm[first], FIRST_RANK) * factors[first];
        first += norm[first];
    }
    while (first < entry.num) {
        index += number_group(squares, first, norm[first], 0) * factors[first];
        first += norm[first];
    }
    return index;
}
