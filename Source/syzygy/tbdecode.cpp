#include "syzygy/tbdecode.h"

#include <cstdlib>
#include <cstring>

#include "syzygy/tbcore.h"

// Bytes of what a file stores.
constexpr unsigned HEADER_BYTES = 9;      // of pairs, behind the flags, up to the list of codes
constexpr unsigned INDEX_ENTRY_BYTES = 6; // a block's number in 4, a value's place in it in 2
constexpr unsigned SIZE_BYTES = 2;        // a block's count of values minus 1
constexpr unsigned SYMBOL_BYTES = 3;      // two children of 12 bits

// --- Reading ----------------------------------------------------------------------------------

static unsigned read_16(const uint8_t* at) { return at[0] | static_cast<unsigned>(at[1]) << 8; }

static uint32_t read_32(const uint8_t* at) {
    return read_16(at) | static_cast<uint32_t>(read_16(at + 2)) << 16;
}

static uint32_t read_32_big(const uint8_t* at) {
    return static_cast<uint32_t>(at[0]) << 24 | static_cast<uint32_t>(at[1]) << 16
         | static_cast<uint32_t>(at[2]) << 8 | at[3];
}

// The next `count` bytes, or null with `failed` set.
static const uint8_t* take(TBCursor& cursor, uint64_t count) {
    if (cursor.failed || count > cursor.size - cursor.at) {
        cursor.failed = true;
        return nullptr;
    }
    const uint8_t* bytes = cursor.data + cursor.at;
    cursor.at += static_cast<size_t>(count);
    return bytes;
}

static uint8_t take_byte(TBCursor& cursor) {
    const uint8_t* byte = take(cursor, 1);
    return byte ? *byte : 0;
}

static void align(TBCursor& cursor, size_t to) { take(cursor, -cursor.at & (to - 1)); }

// --- One header of pairs ----------------------------------------------------------------------

constexpr unsigned LEAF = 0xFFF;
constexpr unsigned MAX_SYMBOLS = 4095;

static unsigned left_child(const uint8_t* pattern) { return pattern[0] | (pattern[1] & 15u) << 8; }
static unsigned right_child(const uint8_t* pattern) {
    return static_cast<unsigned>(pattern[1] >> 4 | pattern[2] << 4);
}

namespace {

constexpr uint8_t UNKNOWN = 0, OPEN = 1, KNOWN = 2;

// Work space for the lengths of symbols.
struct SymbolWork {
    uint8_t mark[MAX_SYMBOLS + 1]; // UNKNOWN, OPEN while its children are looked at, KNOWN
    uint16_t stack[MAX_SYMBOLS + 1];
};

} // namespace

// Computes the length of one symbol and of all below it. Returns false if a child does not exist,
// if a symbol is part of itself, or if it stands for more than 256 values.
static bool measure_symbol(PairsData& pairs, SymbolWork& work, unsigned symbol) {
    int depth = 0;
    work.stack[depth++] = static_cast<uint16_t>(symbol);
    while (depth > 0) {
        unsigned top = work.stack[depth - 1];
        const uint8_t* pattern = pairs.sym_pat + SYMBOL_BYTES * top;
        unsigned left = left_child(pattern), right = right_child(pattern);
        if (right == LEAF) {
            pairs.sym_len[top] = 0;
            work.mark[top] = KNOWN;
            depth--;
            continue;
        }
        if (left >= pairs.symbols || right >= pairs.symbols) return false;
        work.mark[top] = OPEN;
        unsigned missing = work.mark[left] != KNOWN ? left : right;
        if (work.mark[missing] == OPEN) return false;
        if (work.mark[missing] == UNKNOWN) {
            work.stack[depth++] = static_cast<uint16_t>(missing);
            continue;
        }
        int length = pairs.sym_len[left] + pairs.sym_len[right] + 1;
        if (length > 255) return false;
        pairs.sym_len[top] = static_cast<uint8_t>(length);
        work.mark[top] = KNOWN;
        depth--;
    }
    return true;
}

static bool measure_symbols(PairsData& pairs) {
    pairs.sym_len = static_cast<uint8_t*>(calloc(pairs.symbols, 1));
    if (!pairs.sym_len) return false;
    SymbolWork work;
    memset(work.mark, UNKNOWN, sizeof work.mark);
    for (unsigned symbol = 0; symbol < pairs.symbols; symbol++)
        if (work.mark[symbol] == UNKNOWN && !measure_symbol(pairs, work, symbol)) return false;
    return true;
}

// The codes are canonical, the longer ones being the smaller numbers.
static bool set_base(PairsData& pairs) {
    int64_t base = 0;
    for (int i = pairs.code_lengths - 1; i >= 0; i--) {
        if (i < pairs.code_lengths - 1)
            base = (base + read_16(pairs.offset + 2 * i) - read_16(pairs.offset + 2 * (i + 1))) / 2;
        int length = pairs.min_len + i;
        if (base < 0 || base >> length) return false;
        pairs.base[i] = static_cast<uint32_t>(base << (TB_MAX_CODE_BITS - length));
    }
    return true;
}

bool tb_setup_pairs(PairsData& pairs, TBCursor& cursor, uint64_t table_size, TBSizes& sizes,
                    uint8_t& flags, bool wdl) {
    constexpr int MAX_WDL = 4, MAX_BLOCK_SIZE = 24, MAX_IDX_BITS = 31;

    pairs = {};
    pairs.table_size = table_size;
    sizes = {};
    flags = take_byte(cursor);
    if (flags & TB_SINGLE_VALUE) {
        uint8_t value = take_byte(cursor);
        pairs.min_len = wdl ? value : 0;
        return !cursor.failed && pairs.min_len <= MAX_WDL;
    }

    const uint8_t* fixed = take(cursor, HEADER_BYTES);
    if (!fixed) return false;
    const unsigned extra_blocks = fixed[2], longest = fixed[7], shortest = fixed[8];
    pairs.block_size = fixed[0];
    pairs.idx_bits = fixed[1];
    pairs.blocks = read_32(fixed + 3);
    if (pairs.blocks == 0 || pairs.blocks > UINT32_MAX - extra_blocks) return false;
    pairs.sizes = pairs.blocks + extra_blocks;
    if (pairs.block_size > MAX_BLOCK_SIZE || pairs.idx_bits == 0 || pairs.idx_bits > MAX_IDX_BITS
        || shortest == 0 || shortest > longest || longest > TB_MAX_CODE_BITS)
        return false;
    pairs.min_len = static_cast<uint8_t>(shortest);
    pairs.code_lengths = static_cast<uint8_t>(longest - shortest + 1);

    pairs.offset = take(cursor, 2u * pairs.code_lengths);
    const uint8_t* count = take(cursor, 2);
    if (!count) return false;
    unsigned symbols = read_16(count);
    if (symbols == 0 || symbols > MAX_SYMBOLS) return false;
    pairs.symbols = static_cast<uint16_t>(symbols);
    pairs.sym_pat = take(cursor, SYMBOL_BYTES * symbols);
    take(cursor, symbols & 1); // an odd number of bytes is filled up
    if (cursor.failed || !measure_symbols(pairs) || !set_base(pairs)) return false;

    uint64_t entries = (table_size + (1ULL << pairs.idx_bits) - 1) >> pairs.idx_bits;
    sizes = {INDEX_ENTRY_BYTES * entries, uint64_t{SIZE_BYTES} * pairs.sizes,
             static_cast<uint64_t>(pairs.blocks) << pairs.block_size};
    return true;
}

// --- A whole file -----------------------------------------------------------------------------

int tb_sides(const TBEntry& entry, bool wdl) { return wdl && !entry.symmetric ? 2 : 1; }

int tb_file_groups(const TBEntry& entry) { return entry.has_pawns ? TB_FILE_GROUPS : 1; }

// Magic number, pieces and kind of table must fit the name that the file has. Large tables leave
// the number of pieces out.
static bool read_start(TBCursor& cursor, const TBEntry& entry, bool wdl) {
    constexpr uint32_t WDL_MAGIC = 0x5D23E871, DTZ_MAGIC = 0xA50C66D7;
    constexpr uint8_t SPLIT = 1, PAWNS = 2;
    const uint8_t* start = take(cursor, 5);
    if (!start || read_32(start) != (wdl ? WDL_MAGIC : DTZ_MAGIC)) return false;
    const int pieces = start[4] >> 4;
    return !(start[4] & SPLIT) == entry.symmetric && !(start[4] & PAWNS) == !entry.has_pawns
        && (pieces == 0 || pieces == entry.num);
}

static bool read_piece_lists(TBDecoder* decoders, TBCursor& cursor, const TBEntry& entry,
                             bool wdl) {
    constexpr uint8_t NO_ORDER = 0xFF;
    const int sides = tb_sides(entry, wdl);
    for (int group = 0; group < tb_file_groups(entry); group++) {
        uint8_t order = take_byte(cursor);
        uint8_t order2 = entry.has_pawns && entry.pawns[1] ? take_byte(cursor) : NO_ORDER;
        const uint8_t* list = take(cursor, entry.num);
        if (!list) return false;
        for (int side = 0; side < sides; side++) {
            TBDecoder& decoder = decoders[group * sides + side];
            const int shift = 4 * side; // the second side has the high nibbles
            for (int i = 0; i < entry.num; i++) decoder.pieces[i] = list[i] >> shift & 15;
            if (!tb_set_norm(entry, decoder.pieces, decoder.norm)) return false;
            decoder.pairs.table_size =
                tb_set_factors(entry, order >> shift & 15, order2 >> shift & 15, decoder.norm,
                               group, decoder.factors);
            if (decoder.pairs.table_size == 0) return false;
        }
    }
    return true;
}

static void read_maps(TBMaps& maps, TBCursor& cursor, const uint8_t* flags, int groups) {
    maps = {};
    for (int group = 0; group < groups; group++) {
        if (!(flags[group] & DTZ_MAPPED)) continue;
        const bool wide = flags[group] & DTZ_WIDE_MAPS;
        if (wide) align(cursor, 2);
        for (int i = 0; i < TB_MAPS; i++) {
            const uint8_t* count = take(cursor, wide ? 2 : 1);
            if (!count) return;
            maps.count[group][i] = static_cast<uint16_t>(wide ? read_16(count) : *count);
            maps.list[group][i] = take(cursor, (wide ? 2ULL : 1ULL) * maps.count[group][i]);
        }
    }
    align(cursor, 2);
}

bool tb_build_decoders(TBDecoder* decoders, uint8_t* flags, TBMaps* maps, const TBEntry& entry,
                       const uint8_t* data, size_t size, bool wdl) {
    constexpr size_t BLOCK_ALIGNMENT = 64, CHECKSUM_BYTES = 16;
    TBCursor cursor = {data, size, 0, false};
    TBSizes sizes[TB_FILE_GROUPS * 2];
    const int sides = tb_sides(entry, wdl), groups = tb_file_groups(entry), count = groups * sides;

    if (!read_start(cursor, entry, wdl)) return false;
    if (!read_piece_lists(decoders, cursor, entry, wdl)) return false;
    align(cursor, 2);
    for (int i = 0; i < count; i++) {
        PairsData& pairs = decoders[i].pairs;
        uint8_t own_flags = 0;
        if (!tb_setup_pairs(pairs, cursor, pairs.table_size, sizes[i], own_flags, wdl))
            return false;
        flags[i / sides] = own_flags;
    }
    if (maps) read_maps(*maps, cursor, flags, groups);

    for (int i = 0; i < count; i++)
        decoders[i].pairs.index_table = take(cursor, sizes[i].index_bytes);
    for (int i = 0; i < count; i++)
        decoders[i].pairs.size_table = take(cursor, sizes[i].size_bytes);
    for (int i = 0; i < count; i++) {
        if (sizes[i].data_bytes) align(cursor, BLOCK_ALIGNMENT);
        decoders[i].pairs.data = take(cursor, sizes[i].data_bytes);
    }
    // Nothing may be missing: a shorter file was cut. What stands behind the checksum is nobody's
    // business. The checksum also lets a block's last bits be read in whole words.
    align(cursor, BLOCK_ALIGNMENT);
    take(cursor, CHECKSUM_BYTES);
    return !cursor.failed;
}

void tb_free_decoders(TBDecoder* decoders, int count) {
    for (int i = 0; i < count; i++) {
        free(decoders[i].pairs.sym_len);
        decoders[i].pairs.sym_len = nullptr;
    }
}

// --- From index to value ----------------------------------------------------------------------

namespace {

// A block's bits, most significant first. Behind the block's end it gives zeros.
struct BitReader {
    const uint8_t* next; // the word to be fetched next
    const uint8_t* end;
    uint64_t bits; // the code word in the upper half, what follows it in the lower half
    int spare;     // valid bits below the code word
    int behind;    // words fetched behind the block's end
};

} // namespace

static uint32_t fetch_word(BitReader& reader) {
    if (reader.next >= reader.end) {
        reader.behind++;
        return 0;
    }
    uint32_t word = read_32_big(reader.next);
    reader.next += 4;
    return word;
}

static void skip_bits(BitReader& reader, int count) {
    if (reader.spare < count) {
        // The lower half runs empty on the way: it is used up, filled anew and used further.
        reader.bits <<= reader.spare;
        count -= reader.spare;
        reader.bits |= fetch_word(reader);
        reader.spare = 32;
    }
    reader.bits <<= count;
    reader.spare -= count;
}

// Finds the block that holds an index, and the value's number within it. Returns false if the
// stored numbers lead out of the table.
static bool find_block(const PairsData& pairs, uint64_t index, uint32_t& block, int& number) {
    if (index >= pairs.table_size) return false;
    const uint8_t* entry = pairs.index_table + INDEX_ENTRY_BYTES * (index >> pairs.idx_bits);
    const int64_t span = 1LL << pairs.idx_bits;
    int64_t lit = read_16(entry + 4) + static_cast<int64_t>(index & (span - 1)) - span / 2;
    uint64_t at = read_32(entry);
    if (at >= pairs.sizes) return false;
    const uint8_t* size_table = pairs.size_table;
    while (lit < 0) {
        if (at == 0) return false;
        at--;
        lit += read_16(size_table + SIZE_BYTES * at) + 1;
    }
    for (int64_t size = read_16(size_table + SIZE_BYTES * at); lit > size;
         size = read_16(size_table + SIZE_BYTES * at)) {
        lit -= size + 1;
        if (++at >= pairs.blocks) return false;
    }
    if (at >= pairs.blocks) return false;
    block = static_cast<uint32_t>(at);
    number = static_cast<int>(lit);
    return true;
}

// The symbol of the code word and its code's length; the symbol may lie outside the table.
static uint64_t read_symbol(const PairsData& pairs, uint32_t code, int& length) {
    // The last base is 0, so that the search ends there.
    int i = 0;
    while (pairs.base[i] > code) i++;
    length = pairs.min_len + i;
    return read_16(pairs.offset + 2 * i)
         + static_cast<uint64_t>((code - pairs.base[i]) >> (TB_MAX_CODE_BITS - length));
}

int tb_decompress(const PairsData& pairs, uint64_t index) {
    constexpr int MAX_BEHIND = 2; // words: the code word runs ahead of its symbol

    if (pairs.idx_bits == 0) return pairs.min_len;

    uint32_t block;
    int lit;
    if (!find_block(pairs, index, block, lit)) return TB_DAMAGED;

    const uint8_t* start = pairs.data + (static_cast<uint64_t>(block) << pairs.block_size);
    BitReader reader = {start, start + (1ULL << pairs.block_size), 0, 32, 0};
    reader.bits = static_cast<uint64_t>(fetch_word(reader)) << 32;
    reader.bits |= fetch_word(reader);
    unsigned symbol;
    for (;;) {
        int length;
        uint64_t found = read_symbol(pairs, static_cast<uint32_t>(reader.bits >> 32), length);
        if (found >= pairs.symbols) return TB_DAMAGED;
        symbol = static_cast<unsigned>(found);
        if (lit <= pairs.sym_len[symbol]) break;
        lit -= pairs.sym_len[symbol] + 1;
        skip_bits(reader, length);
        if (reader.behind > MAX_BEHIND) return TB_DAMAGED;
    }
    // Each step goes to a shorter symbol, even if the file is overwritten meanwhile.
    while (int length = pairs.sym_len[symbol]) {
        const uint8_t* pattern = pairs.sym_pat + SYMBOL_BYTES * symbol;
        unsigned left = left_child(pattern), right = right_child(pattern);
        if (left >= pairs.symbols || right >= pairs.symbols) return TB_DAMAGED;
        if (lit <= pairs.sym_len[left]) {
            symbol = left;
        } else {
            lit -= pairs.sym_len[left] + 1;
            symbol = right;
        }
        if (pairs.sym_len[symbol] >= length) return TB_DAMAGED;
    }
    return pairs.sym_pat[SYMBOL_BYTES * symbol];
}
