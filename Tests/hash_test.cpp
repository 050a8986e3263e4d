// The shared hash table: entries and their check, replacement, ages, sizes, clearing, lines.

#include "search_fixture.h"

#include <array>
#include <set>

namespace {

constexpr int AGE = 7;

// One megabyte, all slots empty, the age in the middle of its range.
class Hash : public SearchTest {
protected:
    void SetUp() override {
        SearchTest::SetUp();
        resize_hash(1);
        engine.hash_age = AGE;
        set_up(START_FEN);
    }
};

uint64_t first_slot(const Position& pos) { return pos.key % hash_entries; }

// An entry of another position, for the slots of a bucket.
HashRecord stranger(uint64_t lock, int depth, int age) {
    HashRecord record = entry_for(lock << 32, NULL_MOVE, 0, depth, BOUND_EXACT);
    record.age = static_cast<uint8_t>(age);
    return record;
}

// The slot, counted in the bucket, that holds the position's own lock; -1 for none.
int slot_of(const Position& pos) {
    for (int i = 0; i < 16; i++)
        if (read_slot(first_slot(pos) + static_cast<uint64_t>(i)).lock == high_half(pos.key))
            return i;
    return -1;
}

} // namespace

TEST_F(Hash, StoresAllFieldsOfAnEntry) {
    Position& pos = game();
    Move move = find_move(pos, "e2e4");
    pos.halfmoves = 23;

    hash_store(pos, 5, 12, move, -345, -400, 100);

    HashRecord record = read_slot(first_slot(pos));
    EXPECT_EQ(record.lock, high_half(pos.key));
    EXPECT_EQ(record.check, (static_cast<uint32_t>(move) << 16) ^ static_cast<uint32_t>(pos.key)
                                ^ static_cast<uint32_t>(15000 - 345));
    EXPECT_EQ(record.move, move);
    EXPECT_EQ(record.score, -345);
    EXPECT_EQ(record.depth, 12);
    EXPECT_EQ(record.type, BOUND_EXACT);
    EXPECT_EQ(record.age, AGE);
    EXPECT_EQ(record.fifty, 23);
}

TEST_F(Hash, BoundTypeFollowsFromTheWindow) {
    Position& pos = game();
    const std::array<std::array<int, 2>, 5> cases = {{{-51, BOUND_UPPER},
                                                      {-50, BOUND_UPPER},
                                                      {-49, BOUND_EXACT},
                                                      {49, BOUND_EXACT},
                                                      {50, BOUND_LOWER}}};
    for (auto [score, type] : cases) {
        hash_clear();
        hash_store(pos, 1, 3, NULL_MOVE, score, -50, 50);
        EXPECT_EQ(read_slot(first_slot(pos)).type, type) << "score " << score;
    }
}

TEST_F(Hash, MateScoresCountFromTheNode) {
    struct Case {
        int score, ply, stored;
    };
    const Case cases[] = {{9798, 10, 9798},   {9799, 10, 9809},   {9998, 2, 10000},
                          {-9799, 10, -9799}, {-9800, 10, -9810}, {-9999, 1, -10000},
                          {0, 10, 0},         {500, 40, 500}};
    Position& pos = game();
    for (const Case& c : cases) {
        hash_clear();
        hash_store(pos, c.ply, 3, NULL_MOVE, c.score, -10001, 10001);
        EXPECT_EQ(read_slot(first_slot(pos)).score, c.stored) << "score " << c.score;
        EXPECT_EQ(probe(pos).depth, 3) << "the check covers the adjusted score";
    }
}

TEST_F(Hash, MissLeavesThePresetDepth) { EXPECT_EQ(probe(game()).depth, HASH_MISS); }

TEST_F(Hash, WrongCheckCountsAsMiss) {
    Position& pos = game();
    hash_store(pos, 1, 9, find_move(pos, "d2d4"), 17, -100, 100);
    HashRecord record = read_slot(first_slot(pos));
    ASSERT_EQ(probe(pos).depth, 9);

    for (int bit = 0; bit < 32; bit++) {
        HashRecord torn = record;
        torn.check ^= 1u << bit;
        write_slot(first_slot(pos), torn);
        EXPECT_EQ(probe(pos).depth, HASH_BAD_CHECK) << "bit " << bit;
    }
}

TEST_F(Hash, TornEntryOfTwoResultsCountsAsMiss) {
    Position& pos = game();
    hash_store(pos, 1, 9, find_move(pos, "d2d4"), 17, -100, 100);
    HashRecord first = read_slot(first_slot(pos));
    hash_clear();
    hash_store(pos, 1, 11, find_move(pos, "e2e4"), 25, -100, 100);
    HashRecord second = read_slot(first_slot(pos));

    HashRecord torn = second;
    torn.lock = first.lock;
    torn.check = first.check;
    write_slot(first_slot(pos), torn);
    EXPECT_EQ(probe(pos).depth, HASH_BAD_CHECK);

    torn.move = first.move; // the score alone is of the other result
    write_slot(first_slot(pos), torn);
    EXPECT_EQ(probe(pos).depth, HASH_BAD_CHECK);

    torn.score = first.score; // depth, type and age are taken as they stand
    write_slot(first_slot(pos), torn);
    EXPECT_EQ(probe(pos).depth, 11);
}

TEST_F(Hash, MoveThatCannotBePlayedCountsAsMiss) {
    Position& pos = game();
    for (Move move : {make_plain_move(E1, E8), make_plain_move(12, 36),
                      static_cast<Move>(make_plain_move(12, 28) | FLAG_QUEEN)}) {
        write_slot(first_slot(pos), entry_for(pos.key, move, 0, 5, BOUND_EXACT));
        EXPECT_EQ(probe(pos).depth, HASH_BAD_MOVE) << move;
    }
}

TEST_F(Hash, EntryWithoutMoveIsValid) {
    Position& pos = game();
    write_slot(first_slot(pos), entry_for(pos.key, NULL_MOVE, -70, 0, BOUND_UPPER));
    HashRecord record = probe(pos);
    EXPECT_EQ(record.depth, 0);
    EXPECT_EQ(record.score, -70);
    EXPECT_EQ(record.type, BOUND_UPPER);
}

TEST_F(Hash, EntryIsFoundInEachSlotOfTheBucket) {
    Position& pos = game();
    for (uint64_t slot = 0; slot < 6; slot++) {
        hash_clear();
        write_slot(first_slot(pos) + slot, entry_for(pos.key, NULL_MOVE, 1, 6, BOUND_EXACT));
        EXPECT_EQ(probe(pos).depth, slot < 4 ? 6 : HASH_MISS) << "slot " << slot;
    }
}

TEST_F(Hash, FirstEntryWithTheLockDecides) {
    Position& pos = game();
    HashRecord good = entry_for(pos.key, NULL_MOVE, 1, 6, BOUND_EXACT), bad = good;
    bad.check ^= 1;
    write_slot(first_slot(pos) + 1, bad);
    write_slot(first_slot(pos) + 2, good);
    EXPECT_EQ(probe(pos).depth, HASH_BAD_CHECK);

    write_slot(first_slot(pos), good);
    EXPECT_EQ(probe(pos).depth, 6);
}

TEST_F(Hash, BucketsOverlapAndRunIntoTheSpareEntries) {
    Position& pos = game();
    // The last index of the table: three slots of the bucket lie behind it.
    pos.key = (pos.key / hash_entries) * hash_entries + hash_entries - 1;
    for (uint64_t slot = 0; slot < 4; slot++)
        write_slot(hash_entries - 1 + slot, stranger(slot + 1, 20 - static_cast<int>(slot), AGE));

    hash_store(pos, 1, 15, NULL_MOVE, 1, -10, 10);
    EXPECT_EQ(slot_of(pos), 3);
    EXPECT_EQ(read_slot(hash_entries + 2).depth, 15);
    EXPECT_EQ(probe(pos).depth, 15);

    // The neighbour's bucket begins one slot later and sees three of the same four.
    Position& other = game();
    other.key += 1ULL << 40;
    other.key += (hash_entries - 2 - other.key % hash_entries);
    ASSERT_EQ(other.key % hash_entries, hash_entries - 2);
    write_slot(hash_entries - 2, stranger(99, 30, AGE));
    hash_store(other, 1, 25, NULL_MOVE, 2, -10, 10);
    EXPECT_EQ(slot_of(other), 3) << "the least deep of the shared slots";
}

namespace {

class HashSize : public Hash, public testing::WithParamInterface<int> {};

} // namespace

TEST_P(HashSize, IndexIsTheRemainder) {
    resize_hash(GetParam());
    Position& pos = game();
    Random random = {42};
    std::vector<uint64_t> keys = {0,
                                  1,
                                  hash_entries - 1,
                                  hash_entries,
                                  hash_entries + 1,
                                  UINT64_MAX,
                                  UINT64_MAX - UINT64_MAX % hash_entries,
                                  UINT64_MAX - UINT64_MAX % hash_entries - 1,
                                  1ULL << 63,
                                  (1ULL << 32) - 1};
    for (int i = 0; i < 20000; i++) keys.push_back(next_random(random));
    for (int i = 0; i < 2000; i++) {
        uint64_t multiple = next_random(random) / hash_entries * hash_entries;
        keys.insert(keys.end(), {multiple, multiple - 1, multiple + 1});
    }
    for (uint64_t key : keys) {
        pos.key = key;
        hash_prefetch(key);
        hash_store(pos, 1, 4, NULL_MOVE, 33, -100, 100);
        HashRecord record = read_slot(key % hash_entries);
        ASSERT_EQ(record.lock, high_half(key)) << "key " << key;
        ASSERT_EQ(record.score, 33) << "key " << key;
        ASSERT_EQ(probe(pos).depth, 4) << "key " << key;
        write_slot(key % hash_entries, {});
    }
}

INSTANTIATE_TEST_SUITE_P(Megabytes, HashSize, testing::Values(1, 2, 3, 5, 7, 16, 33));

// Replacement of an entry of the same position.

namespace {

struct ReplaceCase {
    const char* name;
    int old_depth;
    uint8_t old_type;
    int depth;
    bool replaced;
};

void PrintTo(const ReplaceCase& c, std::ostream* out) { *out << c.name; }

class HashReplace : public Hash, public testing::WithParamInterface<ReplaceCase> {};

} // namespace

TEST_P(HashReplace, SamePosition) {
    const ReplaceCase& c = GetParam();
    Position& pos = game();
    write_slot(first_slot(pos), entry_for(pos.key, NULL_MOVE, 1, c.old_depth, c.old_type));
    hash_store(pos, 1, c.depth, NULL_MOVE, 2, -100, 100);

    EXPECT_EQ(read_slot(first_slot(pos)).score, c.replaced ? 2 : 1);
    EXPECT_EQ(read_slot(first_slot(pos) + 1).lock, 0u) << "no second entry of the position";
}

INSTANTIATE_TEST_SUITE_P(
    Table, HashReplace,
    testing::Values(ReplaceCase{"SameDepth", 5, BOUND_EXACT, 5, true},
                    ReplaceCase{"ThreeDeeperIsReplaced", 8, BOUND_EXACT, 5, true},
                    ReplaceCase{"FourDeeperExactStays", 9, BOUND_EXACT, 5, false},
                    ReplaceCase{"ThreeDeeperLowerIsReplaced", 8, BOUND_LOWER, 5, true},
                    ReplaceCase{"FourDeeperLowerStays", 9, BOUND_LOWER, 5, false},
                    ReplaceCase{"FourDeeperUpperIsReplaced", 9, BOUND_UPPER, 5, true},
                    ReplaceCase{"MuchDeeperUpperIsReplaced", 60, BOUND_UPPER, 0, true},
                    ReplaceCase{"ShallowerIsReplaced", 2, BOUND_LOWER, 5, true}),
    [](const auto& test) { return test.param.name; });

// Slots for a position that the bucket doesn't hold.

namespace {

struct SlotCase {
    const char* name;
    std::array<int, 4> age, depth;
    int new_depth;
    int slot; // -1: the bucket stays as it is
};

void PrintTo(const SlotCase& c, std::ostream* out) { *out << c.name; }

class HashSlot : public Hash, public testing::WithParamInterface<SlotCase> {};

} // namespace

TEST_P(HashSlot, NewPosition) {
    const SlotCase& c = GetParam();
    Position& pos = game();
    for (size_t i = 0; i < 4; i++)
        write_slot(first_slot(pos) + i, stranger(i + 1, c.depth[i], c.age[i]));
    hash_store(pos, 1, c.new_depth, NULL_MOVE, 2, -100, 100);

    EXPECT_EQ(slot_of(pos), c.slot);
    for (uint64_t i = 0; i < 4; i++) {
        if (static_cast<int>(i) == c.slot) continue;
        EXPECT_EQ(read_slot(first_slot(pos) + i).lock, i + 1) << "slot " << i << " changed";
    }
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(
    Table, HashSlot,
    testing::Values(
        //        name                            ages          depths            depth slot
        SlotCase{"OldFirstSlot",                 {6, 7, 7, 7}, {40,  0,  0,  0},   1,   0},
        SlotCase{"EmptyFirstSlot",               {0, 0, 0, 0}, { 0,  0,  0,  0},   1,   0},
        SlotCase{"OldSecondSlot",                {7, 6, 7, 7}, { 0, 40,  0,  0},   1,   1},
        SlotCase{"OldThirdSlot",                 {7, 7, 6, 7}, { 0,  0, 40,  0},   1,   2},
        SlotCase{"OldFourthSlot",                {7, 7, 7, 6}, { 0,  0,  0, 40},   1,   3},
        SlotCase{"FirstOfTwoOldSlots",           {7, 6, 5, 7}, { 0, 40,  0,  0},   1,   1},
        SlotCase{"FirstOfTwoSlotsOfOneOldAge",   {7, 7, 5, 5}, { 0,  0, 40,  0},   1,   2},
        SlotCase{"LeastDepthFirst",              {7, 7, 7, 7}, { 3,  5,  5,  5},   9,   0},
        SlotCase{"LeastDepthSecond",             {7, 7, 7, 7}, { 5,  3,  5,  5},   9,   1},
        SlotCase{"LeastDepthThird",              {7, 7, 7, 7}, { 5,  5,  3,  5},   9,   2},
        SlotCase{"LeastDepthFourth",             {7, 7, 7, 7}, { 5,  5,  5,  3},   9,   3},
        SlotCase{"TieInFirstPair",               {7, 7, 7, 7}, { 3,  3,  9,  9},   9,   0},
        SlotCase{"TieInSecondPair",              {7, 7, 7, 7}, { 9,  9,  3,  3},   9,   2},
        SlotCase{"TieOfPairsGoesToTheFirst",     {7, 7, 7, 7}, { 9,  3,  3,  9},   9,   1},
        SlotCase{"TieOfAllGoesToTheFirst",       {7, 7, 7, 7}, { 4,  4,  4,  4},   9,   0},
        SlotCase{"SevenDeeperIsReplaced",        {7, 7, 7, 7}, {20, 20, 12, 20},   5,   2},
        SlotCase{"EightDeeperStays",             {7, 7, 7, 7}, {20, 20, 13, 20},   5,  -1},
        SlotCase{"EightDeeperOfAnOldSearchGoes", {6, 7, 7, 7}, {13, 13, 13, 13},   5,   0}),
    [](const auto& test) { return test.param.name; });
// clang-format on

TEST_F(Hash, OwnEntryIsPreferredToAnOldSlot) {
    Position& pos = game();
    write_slot(first_slot(pos), stranger(1, 0, AGE - 1));
    write_slot(first_slot(pos) + 3, entry_for(pos.key, NULL_MOVE, 1, 4, BOUND_EXACT));
    hash_store(pos, 1, 4, NULL_MOVE, 2, -100, 100);
    EXPECT_EQ(read_slot(first_slot(pos) + 3).score, 2);
    EXPECT_EQ(read_slot(first_slot(pos)).lock, 1u);
}

TEST_F(Hash, AgeRunsFromOneToThirtyOneAndAgain) {
    engine.hash_age = 0;
    for (int think = 0; think < 65; think++) {
        prepare_search();
        EXPECT_EQ(engine.hash_age, think % 31 + 1);
    }
}

TEST_F(Hash, EntriesThirtyOneSearchesOldCountAsCurrent) {
    Position& pos = game();
    engine.hash_age = 5;
    for (uint64_t i = 0; i < 4; i++) write_slot(first_slot(pos) + i, stranger(i + 1, 9, 5));
    for (int think = 0; think < 31; think++) prepare_search();
    ASSERT_EQ(engine.hash_age, 5);

    hash_store(pos, 1, 1, NULL_MOVE, 2, -100, 100);
    EXPECT_EQ(slot_of(pos), -1) << "all four are current and much deeper";
    prepare_search();
    hash_store(pos, 1, 1, NULL_MOVE, 2, -100, 100);
    EXPECT_EQ(slot_of(pos), 0);
}

TEST_F(Hash, StoreDoesNothingWhileTheHashIsOff) {
    engine.hash_enabled = 0;
    hash_store(game(), 1, 4, NULL_MOVE, 2, -100, 100);
    EXPECT_EQ(slot_of(game()), -1);
}

TEST_F(Hash, ClearingZeroesTheSharesOfAllThreads) {
    const HashRecord full = stranger(77, 7, 7);
    for (int threads : {0, 1, 2, 3, 7, 64, 160}) {
        for (uint64_t slot = 0; slot < hash_entries + HASH_SPARE; slot++) write_slot(slot, full);
        engine.num_threads = static_cast<uint8_t>(threads);
        engine.hash_fill = 0.5f;
        hash_clear();

        auto workers = static_cast<uint64_t>(std::max(threads, 1));
        uint64_t cleared = hash_entries / workers * workers, left = 0;
        for (uint64_t slot = 0; slot < cleared; slot++) left += read_slot(slot).lock != 0;
        EXPECT_EQ(left, 0u) << threads << " threads";
        for (uint64_t slot = cleared; slot < hash_entries + HASH_SPARE; slot++)
            EXPECT_EQ(read_slot(slot).lock, 77u) << "the rest and the spare entries stay";
        EXPECT_EQ(engine.hash_fill, 0.0f);
    }
    // Leaves an empty table to the other tests.
    resize_hash(1);
}

TEST_F(Hash, AllocationTellsItsSize) {
    engine.hash_mb = 3;
    testing::internal::CaptureStdout();
    EXPECT_EQ(hash_alloc(), 1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "info string allocated 3 Mbytes for hash table\n");
    EXPECT_EQ(hash_entries, 3u * 65536);
    EXPECT_EQ(slot_of(game()), -1);
}

TEST_F(Hash, NoMegabytesMeanNoTable) {
    for (int megabytes : {0, -1}) {
        resize_hash(megabytes);
        engine.hash_enabled = 1;
        EXPECT_EQ(hash_entries, 0u);
        Position& pos = set_up(START_FEN);
        hash_prefetch(pos.key);
        hash_store(pos, 1, 4, NULL_MOVE, 2, -100, 100);
        EXPECT_EQ(probe(pos).depth, HASH_MISS);
        EXPECT_EQ(sample_hash_fill(0), 0.0f);

        EXPECT_GT(search_nodes(START_FEN, 5), 100u);
        EXPECT_EQ(engine.hash_enabled, 0) << "the search switches the hash off";
        EXPECT_EQ(engine.search_totals[TOTAL_HASH_HITS], 0u);
        EXPECT_NE(engine.pv[1], NULL_MOVE);
    }
    resize_hash(1);
    search_nodes(START_FEN, 5);
    EXPECT_EQ(engine.hash_enabled, 1) << "a table that can be used switches it on again";
    EXPECT_GT(engine.search_totals[TOTAL_HASH_HITS], 0u);
}

TEST_F(Hash, SwitchedOffHashStaysOff) {
    resize_hash(0);
    engine.hash_enabled = 0;
    prepare_search();
    resize_hash(1);
    prepare_search();
    EXPECT_EQ(engine.hash_enabled, 0);
}

TEST_F(Hash, FillIsSampledInTheMiddle) {
    const uint64_t middle = hash_entries / 2;
    EXPECT_EQ(sample_hash_fill(3000), 0.0f);

    for (uint64_t i = 0; i < 1000; i += 4) write_slot(middle - 500 + i, stranger(1, 0, AGE));
    EXPECT_FLOAT_EQ(sample_hash_fill(3000), 0.25f);
    EXPECT_EQ(sample_hash_fill(hash_entries + 1), 0.0f) << "the table is too small to tell";

    for (uint64_t i = 0; i < 1000; i++) write_slot(middle - 500 + i, stranger(1, 0, AGE));
    write_slot(middle - 501, stranger(1, 0, AGE));
    write_slot(middle + 500, stranger(1, 0, AGE));
    EXPECT_FLOAT_EQ(sample_hash_fill(3000), 1.0f);

    engine.hash_age = AGE + 1;
    EXPECT_EQ(sample_hash_fill(3000), 0.0f) << "entries of older searches are not counted";
}

// Scores that the search reads from the table.

namespace {

// The score that a node at `ply` takes from an exact entry: bisected through windows of one.
int score_read(Position& pos, int ply) {
    SearchThread& thread = thread_of(pos);
    int low = -9999, high = 9999;
    while (high - low > 1) {
        int middle = (low + high) / 2;
        int value = search_node(pos, pos.side, ply, 1, middle - 1, middle, NODE_CUT, thread.pv);
        (value >= middle ? low : high) = middle;
    }
    return low;
}

} // namespace

TEST_F(Hash, MateScoreIsReadFromTheNode) {
    Position& pos = node_after(START_FEN, "e2e4");
    hash_store(pos, 10, 5, NULL_MOVE, 9900, -10001, 10001);
    EXPECT_EQ(score_read(pos, 10), 9900);
    EXPECT_EQ(score_read(pos, 20), 9890) << "ten plies later";

    hash_clear();
    hash_store(pos, 10, 5, NULL_MOVE, -9900, -10001, 10001);
    EXPECT_EQ(score_read(pos, 10), -9900);
    EXPECT_EQ(score_read(pos, 20), -9890);
}

TEST_F(Hash, MateBoundsHoldWhenReading) {
    Position& pos = node_after(START_FEN, "e2e4");
    const std::array<std::array<int, 2>, 4> cases = {
        {{9798, 9798}, {9799, 9799 - 12}, {-9799, -9799}, {-9800, -9800 + 12}}};
    for (auto [stored, read] : cases) {
        plant(pos, stored, 5, BOUND_EXACT);
        EXPECT_EQ(score_read(pos, 12), read) << "stored " << stored;
    }
}

TEST_F(Hash, OtherScoresFadeWithTheFiftyMoveCounter) {
    Position& pos = node_after(START_FEN, "g1f3");
    struct Case {
        int stored, then, now, read;
    };
    const Case cases[] = {{1000, 10, 10, 1000},
                          {1000, 10, 30, 1000 - 20 * 1000 / 256},
                          {-1000, 10, 30, -1000 + 20 * 1000 / 256},
                          {-7, 0, 50, -6}, // 1.37 towards zero
                          {1000, 30, 10, 1000},
                          {9798, 0, 64, 9798 - 64 * 9798 / 256},
                          {9820, 0, 64, 9810}}; // a mate does not fade
    for (const Case& c : cases) {
        HashRecord record = entry_for(pos.key, NULL_MOVE, c.stored, 5, BOUND_EXACT);
        record.fifty = static_cast<uint8_t>(c.then);
        write_slot(first_slot(pos), record);
        pos.halfmoves = static_cast<uint8_t>(c.now);
        EXPECT_EQ(score_read(pos, 10), c.read) << c.stored << " from " << c.then << " to " << c.now;
    }
}

// Stored moves.

TEST_F(Hash, MovesAreValidWhereTheyAreLegal) {
    Random random = {11};
    for (int i = 0; i < 40; i++) {
        Position& pos = set_up(random_fen(random).c_str());
        std::vector<Move> moves = legal_moves(pos);
        std::set<Move> legal(moves.begin(), moves.end());
        for (int move = 0; move < 65536; move++)
            ASSERT_EQ(stored_move_valid(pos, static_cast<Move>(move)),
                      legal.count(static_cast<Move>(move)) == 1)
                << "move " << move;
    }
}

// Lines.

namespace {

// Stores each move of a line with its position, and goes back to the root.
void store_line(Position& pos, const std::vector<std::string>& moves) {
    std::vector<Move> made;
    for (const std::string& text : moves) {
        Move move = find_move(pos, text);
        ASSERT_NE(move, NULL_MOVE) << text;
        hash_store(pos, 1, 5, move, 10, -100, 100);
        made.push_back(move);
        make_move(pos, move);
    }
    for (size_t i = 0; i < made.size(); i++) unmake_move(pos);
}

std::vector<Move> line_of(const Move* line, int from = 1) {
    std::vector<Move> moves;
    for (int i = from; line[i] != NULL_MOVE; i++) moves.push_back(line[i]);
    return moves;
}

} // namespace

TEST_F(Hash, LineIsFollowedThroughTheTable) {
    Position& pos = game();
    store_line(pos, {"e2e4", "e7e5", "g1f3", "b8c6"});
    Position before = pos;
    Move line[PLY_SLOTS] = {};

    pv_from_hash(pos, 1, line);

    EXPECT_EQ(line_of(line), (std::vector<Move>{make_plain_move(12, 28), make_plain_move(52, 36),
                                                make_plain_move(6, 21), make_plain_move(57, 42)}));
    EXPECT_EQ(memcmp(&before, &pos, sizeof pos), 0) << "the position is restored";
    EXPECT_EQ(main_thread->line.ply, 1);
    EXPECT_EQ(main_thread->line.undo_index, 0);
}

TEST_F(Hash, LineGoesOnBehindItsGivenMoves) {
    Position& pos = game();
    store_line(pos, {"e2e4", "e7e5", "g1f3"});
    Move line[PLY_SLOTS] = {};
    line[1] = make_plain_move(12, 28);
    line[2] = make_plain_move(52, 36);
    pv_from_hash(pos, 1, line);
    EXPECT_EQ(line_of(line).size(), 3u);
    EXPECT_EQ(line[3], make_plain_move(6, 21));
}

TEST_F(Hash, LineEndsAtAMissABadEntryAndAZeroMove) {
    Position& pos = game();
    Move line[PLY_SLOTS] = {};
    pv_from_hash(pos, 1, line);
    EXPECT_EQ(line[1], NULL_MOVE);

    write_slot(first_slot(pos), entry_for(pos.key, NULL_MOVE, 0, 5, BOUND_EXACT));
    pv_from_hash(pos, 1, line);
    EXPECT_EQ(line[1], NULL_MOVE);

    HashRecord record = entry_for(pos.key, make_plain_move(12, 28), 0, 5, BOUND_EXACT);
    record.check ^= 4;
    write_slot(first_slot(pos), record);
    pv_from_hash(pos, 1, line);
    EXPECT_EQ(line[1], NULL_MOVE);
}

TEST_F(Hash, LineTakesEntriesWithoutDepth) {
    Position& pos = game();
    const Move move = make_plain_move(12, 28);
    write_slot(first_slot(pos), entry_for(pos.key, move, 0, 0, BOUND_EXACT));
    Move line[PLY_SLOTS] = {};
    pv_from_hash(pos, 1, line);
    EXPECT_EQ(line_of(line), std::vector<Move>{move});
}

TEST_F(Hash, LineEndsAtARepetition) {
    Position& pos = game();
    // The position after four moves is the root again, whose entry would go round for ever.
    store_line(pos, {"g1f3", "g8f6", "f3g1", "f6g8"});
    Move line[PLY_SLOTS] = {};
    pv_from_hash(pos, 1, line);
    EXPECT_EQ(line_of(line).size(), 4u);
}

TEST_F(Hash, LineEndsBehindIndexSixtySix) {
    Position& pos = game();
    store_line(pos, {"e2e4", "e7e5", "g1f3"});
    Move line[PLY_SLOTS + 2] = {};
    pv_from_hash(pos, 65, line);
    EXPECT_EQ(line[65], make_plain_move(12, 28));
    EXPECT_EQ(line[66], make_plain_move(52, 36));
    EXPECT_EQ(line[67], NULL_MOVE);
}

TEST_F(Hash, IllegalMoveOfALineEndsIt) {
    Position& pos = set_up("4k3/8/8/8/8/8/4r3/4K3 w - -");
    store_line(pos, {"e1e2", "e8e7"});
    Move line[PLY_SLOTS] = {};
    line[1] = make_plain_move(E1, D1 + 8); // d2 stands under the rook
    pv_from_hash(pos, 1, line);
    EXPECT_EQ(line[2], NULL_MOVE);
    EXPECT_EQ(main_thread->line.undo_index, 0);
}

TEST_F(Hash, NoLineWhileTheHashIsOff) {
    Position& pos = game();
    store_line(pos, {"e2e4", "e7e5"});
    engine.hash_enabled = 0;
    Move line[PLY_SLOTS] = {};
    pv_from_hash(pos, 1, line);
    EXPECT_EQ(line[1], NULL_MOVE);
}
