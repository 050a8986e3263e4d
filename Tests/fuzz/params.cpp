// Files of evaluation parameters, and what the hand-crafted evaluation makes of them.

#include "base/state.h"
#include "board/position.h"
#include "eval/evaluate.h"
#include "fuzz/fuzz.h"
#include "search/thread.h"
#include "shell/think.h"
#include "support.h"

static constexpr const char* POSITIONS[] = {
    "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R b KQkq -",
    "6k1/5ppp/8/8/3r4/8/R4PPP/6K1 w - -",
    "8/1pp5/p2p4/P7/1P1k3P/2K3P1/8/8 w - -",
};

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    begin_input();
    write_input("params.txt", data, size);
    rebuild_evaluation();
    set_relaxed(shell.use_nn, 0);
    for (const char* fen : POSITIONS) {
        Position& pos = set_up(fen);
        refresh_eval_tables(*main_thread);
        Evaluate(*main_thread, pos.side, 1, 0);
        HceEval(*main_thread, pos.side, 1, 2);
    }
    return 0;
}
