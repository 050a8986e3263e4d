#include "search/trace.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "base/platform.h"
#include "base/print.h"
#include "base/state.h"
#include "board/make.h"
#include "board/movetext.h"
#include "search/thread.h"

static FILE* trace_file;

void open_trace() {
    if (!shell.trace_level || trace_file) return;
    trace_file = open_stream("trace.txt", "w");
    if (!trace_file) exit(0);
}

void reset_trace() {
    set_trace(0);
    if (trace_file) fclose(trace_file);
    trace_file = nullptr;
    main_thread->trace_depth = 0;
    main_thread->trace_ply = 0;
}

void set_trace(int plies) {
    shell.trace_level = static_cast<uint8_t>(std::clamp(plies, 0, 255));
    trace_move = shell.trace_level ? search_trace : nullptr;
}

static bool search_runs() {
    uint8_t state = engine.game_state.load(std::memory_order_acquire);
    return state > STATE_PONDER_REQUEST && !(state & STATE_OVER);
}

// Tells whether the file belongs to that thread now.
static bool may_write(const SearchThread& thread) {
    if (&thread == main_thread) return !search_runs();
    return thread.thread_index == 0;
}

void search_trace(const Position& pos, Move move) {
    SearchThread& thread = thread_of(pos);
    const int ply = thread.line.ply;
    if (!shell.trace_level || !may_write(thread)) return;
    open_trace(); // the game's moves are made without a search
    if (ply > shell.trace_level || ply >= PLY_SLOTS) return;

    int8_t depth = relaxed(thread.current_depth);
    if (depth > thread.trace_depth) fprintf(trace_file, "\n\nSEARCH DEPTH= %d\n", depth);
    if (ply <= thread.trace_ply) {
        fputc('\n', trace_file);
        for (int i = 1; i < ply; i++) fputs("         ", trace_file);
    }
    char text[MOVE_TEXT_LENGTH];
    move_to_text(pos, pos.side, move, text);
    fprintf(trace_file, "(%2d)%s ", thread.stack[ply].depth, text);
    thread.trace_depth = depth;
    thread.trace_ply = static_cast<int16_t>(ply);
}

void print_stack_dump(const Position& pos, int ply) {
    const SearchThread& thread = thread_of(pos);
    Print("ply depth alpha    beta    eval type   move  red");
    int side = pos.side ^ (ply & 1) ^ 1; // to move at ply 1
    for (int i = 1; i < ply; i++, side ^= 1) {
        const SearchStackEntry& entry = thread.stack[i];
        char move[MOVE_TEXT_LENGTH];
        move_to_text(pos, side, entry.current_move->move, move);
        const char* type = entry.node_type == NODE_ALL ? "ALL"
                         : entry.node_type == NODE_PV  ? "PV"
                                                       : "CUT";
        char text[128];
        snprintf(text, sizeof text, "%2d. %3d  %6d  %6d  %6d  %3s  %5s  %3d", i, entry.depth,
                 entry.alpha, entry.beta, entry.static_eval, type, move, entry.reduction);
        Print(text);
    }
    print_board(pos);
    Print("");
}
