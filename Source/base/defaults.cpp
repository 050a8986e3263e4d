#include "base/defaults.h"

#include "base/option_table.h"
#include "base/state.h"
#include "base/text.h"

static void set_default_personality(Personality& p) {
    constexpr int16_t WHOLE = 100; // per cent

    p = {};
    set_option_defaults(p);
    // What no option sets.
    p.eval_dirty = 1;
    p.contempt_taper = 15;
    p.SEP_margin = 75;
    p.FP_margin = 125;
    p.LMP_count = 3;
    copy_text(p.params_file, "params.txt", sizeof p.params_file);
    for (auto& pair : p.eval_scale) pair[0] = pair[1] = WHOLE;
}

void set_default_state() {
    constexpr float USUAL_MOVE_TIME = 5.0f; // seconds

    set_default_personality(default_personality);
    active_personality = default_personality;

    engine.num_threads = static_cast<uint8_t>(default_personality.Threads);
    engine.hash_enabled = 1;
    engine.hash_mb = default_personality.Hash;
    engine.max_depth = MAX_DEPTH;
    engine.moves_per_control = FIXED_TIME;
    engine.time_base = USUAL_MOVE_TIME;
    engine.clock[0] = engine.clock[1] = USUAL_MOVE_TIME;
    engine.target_time = 1.0f;

    set_relaxed(shell.uci_mode, 1);
}
