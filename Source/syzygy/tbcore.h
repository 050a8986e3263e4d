// tbcore.h: the registry of endgame tables: which exist, where, and their files in memory.
//
// tb_init runs on the main thread while no search runs. After it everything here is only read, but
// for the first use of a table, which any search thread may make: tb_use and tb_use_dtz build the
// decoders under one lock.

#pragma once

#include <atomic>
#include <cstdint>

#include "syzygy/platform_map.h"
#include "syzygy/tbboard.h"
#include "syzygy/tbdecode.h"

constexpr int TBMAX_PIECE = 254; // tables without pawns: all of up to six pieces
constexpr int TBMAX_PAWN = 256;  // tables with pawns: the same
constexpr int HSHMAX = 5;        // slots of a bucket
constexpr int TBHASHBITS = 10;   // the top bits of a key choose the bucket
constexpr int TB_BUCKETS = 1 << TBHASHBITS;
constexpr int DTZ_ENTRIES = 64;    // open distance tables
constexpr int TB_NAME_LENGTH = 12; // "KQQQQvK" and its like
constexpr int TB_PATH_LENGTH = 260;

// Values of TBEntry::ready.
constexpr uint8_t TB_UNTRIED = 0;
constexpr uint8_t TB_READY = 1;
constexpr uint8_t TB_UNUSABLE = 2; // missing or damaged; said once, then not tried again

// One registered table. Piece codes are as everywhere; White is the side named first.
struct TBEntry {
    const uint8_t* data;         // the ".rtbw" file, null until first use
    uint64_t key, mirrored_key;  // of the material as named, and with colours exchanged
    FileMapping mapping;         // keeps `data` alive
    std::atomic<uint8_t> ready;  // written under the lock of first use, last of all
    bool dtz_told;               // that the ".rtbz" file can't be used; once, whoever asks again
    bool symmetric;              // both sides have the same pieces
    bool has_pawns;              // of either side; the tables then have file groups
    uint8_t num;                 // pieces, kings included
    uint8_t leaders;             // without pawns: slots of the leading group, 2 or 3
    uint8_t pawns[2];            // with pawns: of the leading side, of the other
    uint8_t counts[PIECE_CODES]; // pieces of each code
    char name[TB_NAME_LENGTH];   // of the files, as "KQvKR"
    TBDecoder* decoders;         // tb_sides for each file group
};

// An open distance table.
struct DtzTable {
    const TBEntry* entry;               // of the same material
    FileMapping mapping;                // the ".rtbz" file, which the fields below point into
    TBDecoder decoders[TB_FILE_GROUPS]; // one without pawns; for the side that the flags name
    uint8_t flags[TB_FILE_GROUPS];      // DTZ_...
    TBMaps maps;                        // of the values; unused without DTZ_MAPPED
};

// A place in the list of open distance tables.
struct DtzCacheEntry {
    uint64_t key, mirrored_key; // of the material, as in TBEntry
    DtzTable* table; // null if the file is missing or damaged, so that it is not tried again
};

// Largest number of pieces of any registered table; 0 without tables, and then no probe answers.
extern int tb_largest;

// Releases all tables, then registers those found in the directories of `paths`, which are
// separated by ";". Tells their number. With an empty text or "<empty>" there are no tables, and
// nothing is printed. Nothing is read from the files.
void tb_init(const char* paths);

// Opens a file of the directories in their order. Returns NO_FILE if none of them has it. A
// directory that makes the whole path longer than 259 characters is passed over.
int tb_find_file(const char* name, const char* suffix);

// Maps a file of the directories. Returns its address, or null if there is no such file. Ends the
// program when an existing file can't be mapped.
const uint8_t* tb_map_file(const char* name, const char* suffix, FileMapping* mapping);

// Adds one table. Ends the program when there is no room for it.
void tb_register(const char* name);

// Number of registered tables.
int tb_count();

// Fills the fields that follow from a name such as "KQPvKR"; the rest is cleared.
void tb_describe(TBEntry& entry, const char* name);

// The material key: equal for equal material, 0 for bare kings. `mirror` exchanges the colours.
uint64_t tb_key_of_counts(const uint8_t* counts, bool mirror);
uint64_t tb_material_key(const TBPosition& pos);

// The entry whose material has this key in either colouring, or null.
TBEntry* tb_find(uint64_t key);

// Makes an entry ready, if it is not. Returns false if its file is missing or damaged.
bool tb_use(TBEntry& entry);

// The distance table of this material, opened if need be; null if there is none that can be used.
// The 64 tables used last stay open. Called by one thread at a time.
const DtzTable* tb_use_dtz(uint64_t key);

// Writes the file name of the position's material without its suffix. The side with more pieces
// comes first, with equal numbers the one whose letters are greater in the order Q, R, B, N, P.
// `mirror` puts the other side first.
void tb_name(const TBPosition& pos, char* out, int mirror);

// Names of all tables of up to six pieces, in the order in which tb_init tries them.
void tb_each_name(void (*use)(const char* name));
