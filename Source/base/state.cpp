#include "base/state.h"

#include "base/text.h"

EngineState engine;
ShellState shell;
Personality active_personality;
Personality default_personality;
double think_start;
char exe_dir[260];

static void set_default_personality(Personality& p) {
    p = {};
    p.eval_dirty = 1;
    p.Hash = 64;
    p.Threads = 1;
    p.MoveOverhead = 50;
    p.Ponder = 1;
    p.MultiPV = 1;
    p.OwnBook_Variety = 25;
    p.OwnBook_Depth = 24;
    p.SyzygyProbeDepth6 = 1;
    p.contempt_taper = 15;
    p.Selectivity = 100;
    p.SEP_depth = 3;
    p.SEP_margin = 75;
    p.NMP_depth = 3;
    p.FP_depth = 3;
    p.FP_margin = 125;
    p.LMP_depth = 6;
    p.LMP_count = 3;
    p.LMR_depth = 3;
    copy_text(p.params_file, "params.txt", sizeof p.params_file);
    copy_text(p.NN_File, "embedded", sizeof p.NN_File);
    for (auto& pair : p.eval_scale) pair[0] = pair[1] = 100;
}

void set_default_state() {
    set_default_personality(default_personality);
    active_personality = default_personality;

    engine.num_threads = static_cast<uint8_t>(default_personality.Threads);
    engine.hash_enabled = 1;
    engine.hash_mb = default_personality.Hash;
    engine.max_depth = MAX_DEPTH;
    engine.moves_per_control = FIXED_TIME;
    engine.time_base = 5.0f;
    engine.clock[0] = engine.clock[1] = 5.0f;
    engine.target_time = 1.0f;

    set_relaxed(shell.uci_mode, 1);
    set_relaxed(shell.use_nn, 1);
}
