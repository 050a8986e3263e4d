// tbindex.h: the Syzygy numbering of positions: which index a position has in its table.
//
// The pieces of a table form groups: the leading one, whose squares are numbered up to the board's
// symmetries, then one for each kind of like pieces. An index is the sum of the groups' numbers,
// each multiplied by a factor that the order of the groups in the file gives. Everything here works
// on values of the caller; the tables are constants, readable from any thread.

#pragma once

#include <cstdint>

struct TBEntry;

constexpr int TB_PIECES = 6;      // most pieces of a table
constexpr int TB_FILE_GROUPS = 4; // of a table with pawns; one without

// Works out the groups of a piece list. Returns false if the list does not hold the entry's
// material in groups.
bool tb_set_norm(const TBEntry& entry, const uint8_t* pieces, uint8_t* norm);

// Works out the factors. `order` and `order2` say where the leading group and the second pawns
// stand among the groups; `group` is the file group of a pawn table, else 0. Returns the number of
// indices, or 0 if the orders are damaged.
uint64_t tb_set_factors(const TBEntry& entry, int order, int order2, const uint8_t* norm, int group,
                        uint64_t* factors);

// Brings the leading pawn into slot 0; the leading side's pawns stand in the first slots. Returns
// its file group.
int tb_leading_file(const TBEntry& entry, int* squares);

// The index of a position, given the square of each piece in slot order; the squares are changed.
// In a pawn table the leading pawn must stand in slot 0, and its file group's norm and factors be
// given.
uint64_t tb_encode(const TBEntry& entry, const uint8_t* norm, int* squares,
                   const uint64_t* factors);

// The numbering of squares, the same for all tables.
struct TBSquareTables {
    uint32_t binomial[5][64];                // [k][n]: n over k + 1
    int16_t king_pair[10][64];               // first king on the triangle, second anywhere
    uint32_t pawn_index[5][24];              // [other leading pawns][leading pawn]
    uint32_t pawn_factor[5][TB_FILE_GROUPS]; // [other leading pawns]: placements in the group
    uint8_t triangle[64];                    // a1-d1-d4: 0 to 5 below the diagonal, 6 to 9 on it
    uint8_t lower[64];                       // squares below the diagonal a1-h8, 0 to 27
    uint8_t flap[64];                        // leading pawn: by file from the edge, then by rank
    uint8_t twist[64]; // pawns: the greater, the nearer to the edge and rank 2
};
extern const TBSquareTables tb_squares;
