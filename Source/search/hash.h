// hash.h: the transposition table that all search threads share.
//
// No lock guards it. An entry is two 64-bit words, each read and written whole with relaxed
// order; the first holds a check over the position and over parts of the second, so that a mix
// of two entries is recognised, and a stored move is proved legal before the search sees it.

#pragma once

#include <atomic>
#include <cstdint>

#include "board/position.h"

// Bound types of an entry.
constexpr uint8_t BOUND_UPPER = 1;
constexpr uint8_t BOUND_LOWER = 2;
constexpr uint8_t BOUND_EXACT = 3;

// What hash_probe reports in `depth` beside the stored depths, which are never negative.
constexpr int8_t HASH_MISS = -10; // preset by the caller
constexpr int8_t HASH_BAD_CHECK = -98;
constexpr int8_t HASH_BAD_MOVE = -99;

// An entry's contents, written by hash_store.
struct HashRecord {
    uint32_t lock;  // high half of the position's key
    uint32_t check; // (move << 16) ^ low half of the key ^ (score + 15000)
    Move move;      // best move, 0 if none
    int16_t score;  // from the side to move's view; mates and table results count from the node
    int8_t depth;   // remaining plies, 0 or more; from hash_probe also the values above
    uint8_t type;   // BOUND_...
    uint8_t age;    // low byte of hash_age at the store: 1 to 31, 0 in an empty entry
    uint8_t fifty;  // Position::halfmoves at the store, in plies
};
static_assert(sizeof(HashRecord) == 16, "four entries a cache line");

// The same as two words: lock and check, then the rest.
struct HashEntry {
    std::atomic<uint64_t> words[2]; // written and read by all search threads
};
static_assert(sizeof(HashEntry) == sizeof(HashRecord), "an entry is its record");

constexpr int HASH_BUCKET = 4; // entries that a position may use, from its index on
constexpr int HASH_SPARE = 16; // entries behind the last index, for the last buckets

extern HashEntry* hash_table; // null without a table
extern uint64_t hash_entries; // indexes; 65,536 a megabyte

// Allocates the table for engine.hash_mb megabytes and clears it; the old table is freed. The
// first call also makes the position keys. Returns 1, or 0 if memory ran out; then there is no
// table.
int hash_alloc();

// Frees the table, if there is one.
void hash_free();

// Zeroes the table with one thread per search thread, each an equal share, and resets hash_fill.
// Does nothing without a table or while the hash is not enabled. What the division leaves over and
// the spare entries stay as they are: a stale entry is a correct one. Main thread only. A thread
// that can't be started or joined ends the program with -1.
void hash_clear();

// Looks the position up. The caller presets the record's depth to HASH_MISS; a depth that is not
// negative afterwards is a hit. An entry that can't be trusted is copied, with one of the other
// negative depths above.
void hash_probe(const Position& pos, HashRecord& record);

// Stores a result of a node at `ply`. `score` is from the root's view as the search has it;
// `alpha` and `beta` are the window that it was searched with. Does nothing without the hash.
void hash_store(const Position& pos, int ply, int depth, Move move, int score, int alpha, int beta);

// Asks for the bucket's memory ahead of a probe.
void hash_prefetch(uint64_t key);

constexpr uint64_t MIN_SAMPLED_ENTRIES = 3000; // a smaller table is not worth a figure

// Share of current entries among 1,000 in the middle of the table; 0 if it has fewer than
// `min_entries`, or than the sample.
float sample_hash_fill(uint64_t min_entries);

// Extends `line`, indexed by ply, from the table: the move at `index` and what follows, each
// entry written only if its move is legal; ends with 0. The position is restored.
void pv_from_hash(Position& pos, int index, Move* line);
