#include "search/hash.h"

#include <cstdlib>
#include <cstring>

#include "base/bits.h"
#include "base/platform.h"
#include "base/print.h"
#include "board/draw.h"
#include "board/legal.h"
#include "board/make.h"
#include "search/thread.h"

HashEntry* hash_table;
uint64_t hash_entries;

// floor(2^64 / hash_entries), for the remainder below; 0 without a table.
static uint64_t hash_reciprocal;

constexpr uint64_t ENTRIES_PER_MB = 65536;
constexpr int CHECK_OFFSET = 15000; // makes scores positive in the check word

// key % hash_entries without a division. The product with the rounded-down reciprocal is the
// quotient or one less, so one correction makes the remainder exact.
static uint64_t hash_index(uint64_t key) {
    auto wide = static_cast<unsigned __int128>(key) * hash_reciprocal;
    uint64_t rest = key - static_cast<uint64_t>(wide >> 64) * hash_entries;
    return rest >= hash_entries ? rest - hash_entries : rest;
}

static size_t table_bytes() {
    return static_cast<size_t>(hash_entries + HASH_SPARE) * sizeof(HashEntry);
}

void hash_free() {
    if (hash_table) free_pages(hash_table, table_bytes());
    hash_table = nullptr;
    hash_entries = 0;
    hash_reciprocal = 0;
}

namespace {

struct Share {
    uint64_t first, count; // entries
};

} // namespace

// No search runs meanwhile, so the words can be written as plain memory.
static void clear_share(void* argument) {
    const Share& share = *static_cast<Share*>(argument);
    memset(static_cast<void*>(hash_table + share.first), 0, share.count * sizeof(HashEntry));
}

// For a fresh table, which is zero: makes the system hand out the pages now, not to the search.
static void hand_out_share(void* argument) {
    constexpr uint64_t STEP = 4096 / sizeof(HashEntry); // no page is smaller
    const Share& share = *static_cast<Share*>(argument);
    for (uint64_t i = 0; i < share.count; i += STEP)
        hash_table[share.first + i].words[0].store(0, std::memory_order_relaxed);
}

// Runs `function` over the entries with one thread per search thread, each an equal share.
static void share_entries(ThreadFunction function) {
    static Share shares[MAX_THREADS];
    static ThreadHandle threads[MAX_THREADS];

    if (!engine.hash_enabled || !hash_table) return;
    int count = engine.num_threads > 0 ? engine.num_threads : 1;
    uint64_t each = hash_entries / static_cast<uint64_t>(count);
    for (int i = 0; i < count; i++) {
        shares[i] = {static_cast<uint64_t>(i) * each, each};
        if (start_joinable(threads[i], function, &shares[i]) != 0) exit(-1);
    }
    for (int i = 0; i < count; i++)
        if (join_thread(threads[i]) != 0) exit(-1);
    engine.hash_fill = 0.0f;
}

void hash_clear() { share_entries(clear_share); }

int hash_alloc() {
    init_zobrist();
    hash_free();

    // Zero megabytes still have the spare entries, but no index, and are never probed.
    hash_entries = engine.hash_mb > 0 ? static_cast<uint64_t>(engine.hash_mb) * ENTRIES_PER_MB : 0;
    hash_table = static_cast<HashEntry*>(allocate_pages(table_bytes(), true));
    if (!hash_table) {
        hash_entries = 0;
        return 0;
    }
    if (hash_entries) {
        // 2^64 / n by way of (2^64 - 1) / n; they differ when n divides 2^64.
        hash_reciprocal = UINT64_MAX / hash_entries + std::has_single_bit(hash_entries);
    }
    PrintFormat("info string allocated %d Mbytes for hash table", engine.hash_mb);
    share_entries(hand_out_share);
    return 1;
}

void hash_prefetch(uint64_t key) {
    if (!hash_entries) return;
    // Buckets are not aligned: the last entry may lie on the next line.
    const HashEntry* bucket = hash_table + hash_index(key);
    __builtin_prefetch(bucket);
    __builtin_prefetch(bucket + HASH_BUCKET - 1);
}

static uint32_t check_word(uint64_t key, Move move, int score) {
    return (static_cast<uint32_t>(move) << 16) ^ static_cast<uint32_t>(key)
         ^ static_cast<uint32_t>(score + CHECK_OFFSET);
}

static HashRecord load_entry(const HashEntry& entry) {
    const uint64_t words[2] = {entry.words[0].load(std::memory_order_relaxed),
                               entry.words[1].load(std::memory_order_relaxed)};
    struct Words {
        uint64_t word[2];
    };
    return bits_as<HashRecord>(Words{{words[0], words[1]}});
}

static void store_entry(HashEntry& entry, const HashRecord& record) {
    struct Words {
        uint64_t word[2];
    };
    Words words = bits_as<Words>(record);
    entry.words[0].store(words.word[0], std::memory_order_relaxed);
    entry.words[1].store(words.word[1], std::memory_order_relaxed);
}

static uint32_t lock_of(const HashEntry& entry) {
    return static_cast<uint32_t>(entry.words[0].load(std::memory_order_relaxed));
}

void hash_probe(const Position& pos, HashRecord& record) {
    if (!hash_entries) return;
    const HashEntry* bucket = hash_table + hash_index(pos.key);
    const auto lock = static_cast<uint32_t>(pos.key >> 32);
    for (int i = 0; i < HASH_BUCKET; i++) {
        if (lock_of(bucket[i]) != lock) continue;
        record = load_entry(bucket[i]);
        if (record.lock != lock || record.check != check_word(pos.key, record.move, record.score))
            record.depth = HASH_BAD_CHECK;
        else if (record.move != NULL_MOVE && !stored_move_valid(pos, record.move))
            record.depth = HASH_BAD_MOVE;
        return;
    }
}

// The slot for a position that the bucket doesn't hold, or -1 to leave the bucket as it is.
static int choose_slot(const HashRecord* slot, int depth, uint8_t age) {
    constexpr int MUCH_DEEPER = 7;
    if (slot[0].age != age) return 0;
    // Slot 0 is current here, so the first slot that differs from its neighbour is an old one.
    for (int i = 1; i < HASH_BUCKET; i++)
        if (slot[i].age != slot[i - 1].age) return i;

    int low = slot[1].depth < slot[0].depth ? 1 : 0;
    int high = slot[3].depth < slot[2].depth ? 3 : 2;
    int best = slot[high].depth < slot[low].depth ? high : low;
    return slot[best].depth > depth + MUCH_DEEPER ? -1 : best;
}

void hash_store(const Position& pos, int ply, int depth, Move move, int score, int alpha,
                int beta) {
    constexpr int DEEPER = 3;
    if (!engine.hash_enabled || !hash_entries) return;

    HashRecord record = {};
    record.type = score <= alpha ? BOUND_UPPER : score < beta ? BOUND_EXACT : BOUND_LOWER;
    if (score < MATE_LOW) score -= ply;
    else if (score > MATE_HIGH) score += ply;

    record.lock = static_cast<uint32_t>(pos.key >> 32);
    record.check = check_word(pos.key, move, score);
    record.move = move;
    record.score = static_cast<int16_t>(score);
    record.depth = static_cast<int8_t>(depth);
    record.age = static_cast<uint8_t>(engine.hash_age);
    record.fifty = pos.halfmoves;

    HashEntry* bucket = hash_table + hash_index(pos.key);
    HashRecord slot[HASH_BUCKET];
    for (int i = 0; i < HASH_BUCKET; i++) {
        slot[i] = load_entry(bucket[i]);
        if (slot[i].lock != record.lock) continue;
        if (slot[i].depth > depth + DEEPER && slot[i].type != BOUND_UPPER) return;
        store_entry(bucket[i], record);
        return;
    }
    int chosen = choose_slot(slot, depth, record.age);
    if (chosen >= 0) store_entry(bucket[chosen], record);
}

float sample_hash_fill(uint64_t min_entries) {
    constexpr uint64_t SAMPLE = 1000;
    if (hash_entries < min_entries || hash_entries < SAMPLE) return 0.0f;
    int current = 0;
    for (uint64_t i = 0; i < SAMPLE; i++) {
        HashRecord record = load_entry(hash_table[hash_entries / 2 - SAMPLE / 2 + i]);
        current += record.age == engine.hash_age;
    }
    return static_cast<float>(current * 0.001);
}

void pv_from_hash(Position& pos, int index, Move* line) {
    Move move = line[index];
    if (move == NULL_MOVE) {
        if (!engine.hash_enabled) return;
        HashRecord record = {};
        record.depth = HASH_MISS;
        hash_probe(pos, record);
        if (record.depth < 0 || record.move == NULL_MOVE || is_draw(pos, pos.owner->ply)) return;
        line[index + 1] = NULL_MOVE;
        move = record.move;
    }
    if (!legal_move(pos, pos.side, move)) return;
    line[index] = move;
    make_move(pos, move);
    if (index < MAX_DEPTH) pv_from_hash(pos, index + 1, line);
    unmake_move(pos);
}
