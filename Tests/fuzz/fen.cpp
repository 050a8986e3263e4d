// Positions: read, written, moved in and searched.

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "base/state.h"
#include "board/draw.h"
#include "board/legal.h"
#include "board/make.h"
#include "board/movetext.h"
#include "fuzz/fuzz.h"
#include "search/limits.h"
#include "shell/think.h"
#include "support.h"

// Searches a little, and not for long: in the first iteration no limit is heard but a stop, and
// where many pawns are about to promote it may have millions of nodes.
static void search_for_a_while() {
    constexpr std::chrono::seconds PATIENCE(1);

    std::mutex mutex;
    std::condition_variable ended;
    bool over = false;
    std::thread watch([&] {
        std::unique_lock guard(mutex);
        if (!ended.wait_for(guard, PATIENCE, [&] { return over; })) set_relaxed(engine.stop, 1);
    });
    set_limits({.depth = UNLIMITED_DEPTH, .nodes = 200, .move_time = UNLIMITED_SECONDS});
    shell.noise = NOISE_QUIET;
    search_here();
    {
        std::lock_guard guard(mutex);
        over = true;
    }
    ended.notify_one();
    watch.join();
}

static void check_keys(Position& pos) {
    const uint64_t key = pos.key, pawn_key = pos.pawn_key;
    compute_keys(pos);
    if (pos.key != key || pos.pawn_key != pawn_key) broken("keys are those of the board");
}

static void check_moves(Position& pos) {
    for (const MoveEntry& entry : all_moves(pos)) {
        const Position before = pos;
        make_move(pos, entry.move);
        check_keys(pos);
        unmake_move(pos);
        if (memcmp(&before, &pos, sizeof pos) != 0) broken("a move can be taken back");
    }
}

// A form of a move's text means a legal move, or is said to be ambiguous.
static void check_texts(Position& pos) {
    const std::vector<Move> legal = legal_moves(pos);
    for (Move move : legal) {
        char forms[4][MOVE_TEXT_LENGTH];
        move_to_forms(pos, move, forms[0], forms[1], forms[2], forms[3]);
        for (auto& form : forms) {
            char text[MOVE_TEXT_LENGTH + 1] = "";
            strcpy(text, form);
            Move read = NULL_MOVE;
            if (text[0] && parse_move(pos, text, &read)
                && std::find(legal.begin(), legal.end(), read) == legal.end())
                broken("a text is read as a legal move");
        }
    }
}

// What was written is read as the same position again.
static void check_text_of(Position& pos) {
    char first[FEN_LENGTH], again[FEN_LENGTH];
    write_fen(pos, first, 1);
    write_fen(pos, first, 0);
    set_up(first);
    write_fen(pos, again, 0);
    if (strcmp(first, again) != 0) broken("a position that was written is read as the same");
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    begin_input();
    if (size == 0) return 0;
    set_relaxed(shell.chess960, data[0] & 1);
    set_relaxed(shell.uci_mode, data[0] >> 1 & 1);

    Position& pos = set_up(text_of_input(data + 1, size - 1).c_str());
    check_keys(pos);
    check_moves(pos);
    is_draw(pos, 0);
    has_legal_move(pos);
    if (unsearchable_reason(pos)) return 0;

    check_texts(pos);
    search_for_a_while();
    check_text_of(pos);
    return 0;
}
