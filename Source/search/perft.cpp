#include "search/perft.h"

#include <algorithm>

#include "board/attack.h"
#include "board/legal.h"
#include "board/make.h"
#include "search/movepick.h"
#include "search/thread.h"

constexpr int PERFT_MAX_DEPTH = 20;

void perft(SearchThread& thread, int side, int ply_slot, int depth) {
    Position& pos = thread.position;
    SearchStackEntry& entry = thread.stack[ply_slot];

    int checker = find_checker(pos, side);
    entry.checker_square = static_cast<uint8_t>(checker);
    entry.in_check = checker != NO_SQUARE;
    entry.hash_move = NULL_MOVE;
    entry.stage = PICK_PERFT;

    while (MoveEntry* move = next_move(pos)) {
        entry.current_move = move;
        // The counts of others leave out castling that the rook's departure makes illegal.
        if (!legal_by_rules(pos, side, move->move)) continue;
        if (depth == 1) {
            thread.perft_nodes++;
            continue;
        }
        make_move(pos, move->move);
        perft(thread, side ^ 1, ply_slot + 1, depth - 1);
        unmake_move(pos);
    }
}

uint64_t run_perft(SearchThread& thread, int depth) {
    thread.perft_nodes = 0;
    depth = std::clamp(depth, 0, PERFT_MAX_DEPTH);
    if (depth == 0) return 0;

    int16_t ply = thread.line.ply;
    reset_search_stack(thread);
    perft(thread, thread.position.side, 1, depth);
    thread.line.ply = ply;
    return thread.perft_nodes;
}
