// search_fixture.h: what the tests of the search share: their fixture, nodes to search from, a look
// at single moves of a node, and slots of the hash table by number.

#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "records.h"
#include "support.h"

#include "base/state.h"
#include "board/attack.h"
#include "board/classify.h"
#include "board/legal.h"
#include "board/make.h"
#include "board/movetext.h"
#include "search/hash.h"
#include "search/limits.h"
#include "search/movepick.h"
#include "search/ordering.h"
#include "search/pool.h"
#include "search/search.h"
#include "search/selectivity.h"
#include "search/thread.h"
#include "shell/think.h"

// Every test begins with the records as the program starts with them: no clock, no messages.
class SearchTest : public EngineTest {
public:
    // A small table, as every new node clears it.
    static void SetUpTestSuite() {
        usual_megabytes = engine.hash_mb;
        resize_hash(4);
    }
    static void TearDownTestSuite() { resize_hash(usual_megabytes); }

protected:
    void SetUp() override {
        engine.num_threads = 1;
        set_limits({.depth = UNLIMITED_DEPTH,
                    .nodes = UNLIMITED_NODES,
                    .move_time = UNLIMITED_SECONDS,
                    .time_increment = 0.0f});
        engine.hash_enabled = 1;
        shell.noise = NOISE_QUIET;
        set_relaxed(shell.uci_mode, 1);
        set_relaxed(shell.use_nn, 0); // the tests' values are those of the hand-crafted evaluation
    }

private:
    inline static int usual_megabytes;
};

// The game's position is searched by thread 0.
inline SearchThread& master() { return *search_threads[0].load(); }
inline SearchStackEntry& at_ply(int ply) { return master().stack[ply]; }

// Makes a copy of the game in thread 0's record, at the root and ready for a search.
inline Position& root_of(const char* fen) {
    set_up(fen);
    hash_clear();
    prepare_search();
    EXPECT_EQ(setup_master_record(), 0);
    SearchThread& thread = master();
    memset(static_cast<void*>(thread.stack), 0, sizeof thread.stack);
    reset_search_stack(thread);
    reset_ordering(thread);
    for (auto& entry : thread.stack) entry.tb_result = -1;
    for (auto& entry : thread.stack) entry.checker_square = NO_SQUARE;
    set_relaxed(engine.stop, 0);
    set_relaxed(engine.game_state, STATE_IDLE);
    build_search_tables();
    return thread.position;
}

// The entry of the current ply's complete list with this coordinate text.
inline MoveEntry* list_entry(Position& pos, const std::string& text) {
    gen_all(pos);
    for (MoveEntry* entry = thread_of(pos).stack[pos.owner->ply].move_list; entry->move != LIST_END;
         entry++) {
        char name[MOVE_TEXT_LENGTH];
        move_to_text(pos, pos.side, entry->move, name);
        if (text == name) return entry;
    }
    ADD_FAILURE() << "no move " << text;
    return nullptr;
}

// The same as a move. Tests of nodes don't ask find_move, which uses the root's list.
inline Move move_at(Position& pos, const std::string& text) {
    MoveEntry* entry = list_entry(pos, text);
    return entry ? entry->move : NULL_MOVE;
}

// Number of legal moves at the current ply.
inline int legal_count(Position& pos) {
    gen_all(pos);
    int count = 0;
    for (MoveEntry* entry = thread_of(pos).stack[pos.owner->ply].move_list; entry->move != LIST_END;
         entry++)
        count += legal_move(pos, pos.side, entry->move);
    return count;
}

// Makes a move in thread 0's position as the search does, one ply further down.
inline void step(Position& pos, const std::string& text) {
    SearchThread& thread = thread_of(pos);
    MoveEntry* entry = list_entry(pos, text);
    if (!entry) return;
    EXPECT_TRUE(legal_move(pos, pos.side, entry->move)) << text;
    SearchStackEntry& node = thread.stack[thread.line.ply];
    node.current_move = entry;
    node.move_class = static_cast<uint16_t>(classify_move(pos, pos.side, *entry));
    make_move(pos, entry->move);
}

// A node at ply 2 of thread 0: the position after the move. Its fields are as search_node leaves
// them before the move loop, so that search_moves, quiesce and next_move can be called.
inline Position& node_after(const char* fen, const char* move) {
    Position& pos = root_of(fen);
    step(pos, move);
    SearchThread& thread = thread_of(pos);
    SearchStackEntry& node = thread.stack[thread.line.ply];
    int checker = find_checker(pos, pos.side);
    node.checker_square = static_cast<uint8_t>(checker);
    node.in_check = checker != NO_SQUARE;
    return pos;
}

inline uint64_t nodes_of(const Position& pos) { return relaxed(thread_of(pos).nodes); }

// Key of the position after a move.
inline uint64_t key_after(Position& pos, Move move) {
    Move last_move = pos.owner->last_move;
    make_move(pos, move);
    uint64_t key = pos.key;
    unmake_move(pos);
    pos.owner->last_move = last_move;
    return key;
}

// search_node at the current ply of thread 0.
inline int node_value(Position& pos, int depth, int alpha, int beta, int type) {
    Move pv[PLY_SLOTS] = {};
    return search_node(pos, pos.side, pos.owner->ply, depth, alpha, beta, type, pv);
}

// search_moves at the current ply of thread 0, as the node type says.
inline int moves_value(Position& pos, int depth, int alpha, int beta, int type) {
    Move pv[PLY_SLOTS] = {};
    SearchStackEntry& node = thread_of(pos).stack[pos.owner->ply];
    node.node_type = static_cast<int16_t>(type);
    node.depth = static_cast<int16_t>(depth);
    return search_moves(pos, pos.side, pos.owner->ply, depth, alpha, beta, node.in_check, type, pv);
}

// The column "red" of the first stack dump in a captured output, in the row of that ply.
constexpr int NOT_REACHED = -100;
inline int dumped_reduction(const std::string& output, int ply) {
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        int found = 0;
        char dot = 0;
        std::istringstream words(line);
        if (!(words >> found >> dot) || dot != '.' || found != ply) continue;
        return std::stoi(line.substr(line.find_last_of(' ') + 1));
    }
    return NOT_REACHED;
}

// Searches the moves of a node and tells how much the first visit to one of them was reduced;
// NOT_REACHED if it was pruned.
inline int reduction_of(Position& pos, Move move, int depth, int alpha, int beta, int type) {
    SearchThread& thread = thread_of(pos);
    const SearchStackEntry node = thread.stack[thread.line.ply];
    int16_t history[HISTORY_SIZE];
    std::copy(std::begin(thread.history), std::end(thread.history), history);

    shell.tag_key = key_after(pos, move);
    testing::internal::CaptureStdout();
    moves_value(pos, depth, alpha, beta, type);
    std::string output = testing::internal::GetCapturedStdout();
    shell.tag_key = 0;

    // The next question finds the node as this one did.
    thread.stack[thread.line.ply] = node;
    reset_ordering(thread);
    std::copy(std::begin(history), std::end(history), thread.history);
    return dumped_reduction(output, thread.line.ply);
}

// All entries that the picker gives at the current ply, in its order. The node's fields are set
// by the caller.
inline std::vector<MoveEntry> picked(Position& pos, int options) {
    SearchStackEntry& node = thread_of(pos).stack[pos.owner->ply];
    node.stage = static_cast<uint16_t>(options);
    std::vector<MoveEntry> moves;
    while (MoveEntry* entry = next_move(pos)) {
        node.current_move = entry;
        moves.push_back(*entry);
    }
    return moves;
}

inline std::string text_of(const Position& pos, Move move) {
    char text[MOVE_TEXT_LENGTH];
    move_to_text(pos, pos.side, move, text);
    return text;
}

// Slots of the hash table.
inline HashRecord read_slot(uint64_t slot) {
    struct Words {
        uint64_t word[2];
    };
    return std::bit_cast<HashRecord>(
        Words{{relaxed(hash_table[slot].words[0]), relaxed(hash_table[slot].words[1])}});
}

inline void write_slot(uint64_t slot, const HashRecord& record) {
    struct Words {
        uint64_t word[2];
    };
    Words words = std::bit_cast<Words>(record);
    set_relaxed(hash_table[slot].words[0], words.word[0]);
    set_relaxed(hash_table[slot].words[1], words.word[1]);
}

inline uint32_t high_half(uint64_t key) { return static_cast<uint32_t>(key >> 32); }

// A whole entry for a key, of the current age.
inline HashRecord entry_for(uint64_t key, Move move, int score, int depth, uint8_t type) {
    uint32_t check = (static_cast<uint32_t>(move) << 16) ^ static_cast<uint32_t>(key)
                   ^ static_cast<uint32_t>(score + 15000);
    return {high_half(key),
            check,
            move,
            static_cast<int16_t>(score),
            static_cast<int8_t>(depth),
            type,
            static_cast<uint8_t>(engine.hash_age),
            0};
}

inline HashRecord probe(const Position& pos) {
    HashRecord record = {};
    record.depth = HASH_MISS;
    hash_probe(pos, record);
    return record;
}

// Writes an entry without a move for the position as it stands, so that a node on it returns at
// once. The score counts from the node.
inline void plant(const Position& pos, int score, int depth, uint8_t type) {
    HashRecord record = entry_for(pos.key, NULL_MOVE, score, depth, type);
    record.fifty = pos.halfmoves;
    write_slot(pos.key % hash_entries, record);
}

// The same for every position that a legal move leads to.
inline void plant_children(Position& pos, int score, int depth, uint8_t type) {
    for (MoveEntry* entry = (gen_all(pos), thread_of(pos).stack[pos.owner->ply].move_list);
         entry->move != LIST_END; entry++) {
        if (!legal_move(pos, pos.side, entry->move)) continue;
        make_move(pos, entry->move);
        plant(pos, score, depth, type);
        unmake_move(pos);
    }
}
