// tbdecode.h: the Syzygy file format: headers, and the way from a position's index to its value.
//
// Values are compressed by pairs: a symbol stands for one value or for two other symbols, and a
// block holds symbols in a canonical Huffman code.
//
// Decoders are built once for a file and then only read, by any number of threads. They refer into
// the mapped file. A file's bytes are trusted nowhere: what the header says is checked against the
// file's size and the table's material when the decoders are built, and each number that is stored
// in the tables is checked where it is followed.

#pragma once

#include <cstddef>
#include <cstdint>

#include "syzygy/tbindex.h"

constexpr int TB_DAMAGED = -1; // tb_decompress: the file's numbers lead nowhere
constexpr int TB_MAX_CODE_BITS = 32;

// The compressed values of one side and file group.
struct PairsData {
    const uint8_t* index_table; // entries of 6 bytes: a block's number and a value's place in it
    const uint8_t* size_table;  // 2 bytes a block: its count of values minus 1
    const uint8_t* data;        // the blocks
    const uint8_t* offset;      // 2 bytes a code length, from the shortest on: its first symbol
    const uint8_t* sym_pat;     // 3 bytes a symbol: two children, or a leaf's value
    uint8_t* sym_len;           // allocated; per symbol its count of values minus 1
    uint64_t table_size;        // number of indices
    uint32_t blocks;            // blocks with data
    uint32_t sizes;             // entries of size_table, at least `blocks`
    uint16_t symbols;           // number of symbols, 1 to 4095
    uint8_t block_size;         // log2 of the bytes of a block
    uint8_t idx_bits;           // log2 of the indices of an index_table entry; 0: a single value
    uint8_t min_len;            // shortest code length; with idx_bits 0 the value
    uint8_t code_lengths;       // number of code lengths
    uint32_t base[TB_MAX_CODE_BITS]; // per code length its smallest code, left-aligned
};

// What one side and file group needs for a position: the order of the pieces and the pairs.
struct TBDecoder {
    PairsData pairs;             // the compressed values
    uint64_t factors[TB_PIECES]; // by a group's first slot: what its number is multiplied by
    uint8_t norm[TB_PIECES];     // by a group's first slot: its size
    uint8_t pieces[TB_PIECES];   // by slot: the piece code, White being the side named first
};

// The value maps of a DTZ file, one list for each kind of result.
constexpr int TB_MAPS = 4;
struct TBMaps {
    const uint8_t* list[TB_FILE_GROUPS][TB_MAPS]; // in the file; null without a map
    uint16_t count[TB_FILE_GROUPS][TB_MAPS];      // values of the list
};

// Flags of one file group of a DTZ file.
constexpr uint8_t DTZ_BLACK = 1;      // holds the positions with Black of the table to move
constexpr uint8_t DTZ_MAPPED = 2;     // values go through the maps
constexpr uint8_t DTZ_WIN_PLIES = 4;  // wins in plies, not in moves
constexpr uint8_t DTZ_LOSS_PLIES = 8; // losses in plies, not in moves
constexpr uint8_t DTZ_WIDE_MAPS = 16; // maps of 16-bit numbers
constexpr uint8_t TB_SINGLE_VALUE = 128;

// A place in a file that is read from front to back. Past the end it gives zeros and notes it.
struct TBCursor {
    const uint8_t* data; // the whole file
    size_t size;         // bytes of it
    size_t at;           // bytes read, at most `size`
    bool failed;         // more was asked for than there is
};

// Entries of `index_table`, `size_table` and blocks, in bytes.
struct TBSizes {
    uint64_t index_bytes, size_bytes, data_bytes;
};

// Reads one header of pairs at the cursor and moves on behind it. The three parts that stand
// elsewhere get their sizes, but no address yet. In a DTZ table a single value counts as 0.
// Returns false if the header is damaged.
bool tb_setup_pairs(PairsData& pairs, TBCursor& cursor, uint64_t table_size, TBSizes& sizes,
                    uint8_t& flags, bool wdl);

// Builds all decoders of a file: for each file group side 0, then side 1 if it is stored. `flags`
// has room for each file group; `maps` is filled for a DTZ file and may be null otherwise.
// Returns false if the file is damaged. tb_free_decoders is due in either case.
bool tb_build_decoders(TBDecoder* decoders, uint8_t* flags, TBMaps* maps, const TBEntry& entry,
                       const uint8_t* data, size_t size, bool wdl);
void tb_free_decoders(TBDecoder* decoders, int count);

// Number of sides that a file stores, and of its file groups.
int tb_sides(const TBEntry& entry, bool wdl);
int tb_file_groups(const TBEntry& entry);

// The value stored at an index, or TB_DAMAGED.
int tb_decompress(const PairsData& pairs, uint64_t index);
