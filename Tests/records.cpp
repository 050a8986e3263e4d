#include "records.h"

#include <cstring>

#include "base/defaults.h"
#include "base/files.h"
#include "eval/evaluate.h"
#include "eval/nn.h"
#include "search/hash.h"
#include "search/ordering.h"
#include "search/selectivity.h"
#include "search/thread.h"
#include "search/trace.h"
#include "shell/console.h"
#include "shell/input.h"
#include "shell/options.h"
#include "shell/think.h"
#include "support.h"
#include "syzygy/tbcore.h"

// The records hold no pointers, so that their bytes are all there is to keep.
KeptRecords::KeptRecords()
    : active(active_personality), defaults(default_personality), start(think_start) {
    memcpy(engine_bytes, static_cast<const void*>(&engine), sizeof engine);
    memcpy(shell_bytes, static_cast<const void*>(&shell), sizeof shell);
}

KeptRecords::~KeptRecords() {
    for (int i = 1; i < MAX_THREADS; i++)
        if (SearchThread* thread = search_threads[i].exchange(nullptr)) free_search_thread(thread);

    const bool other_network = strcmp(active_personality.NN_File, active.NN_File) != 0;
    const int megabytes = engine.hash_mb;
    active_personality = active;
    default_personality = defaults;
    rebuild_search_tables(); // writes to the engine's record

    memcpy(static_cast<void*>(&engine), engine_bytes, sizeof engine);
    memcpy(static_cast<void*>(&shell), shell_bytes, sizeof shell);
    think_start = start;
    file_failed = false;
    reset_input();
    reset_trace();
    end_console_play();
    forget_deferred_options();
    if (engine.hash_mb != megabytes) resize_hash(engine.hash_mb);

    testing::internal::CaptureStdout();
    if (other_network) NnLoad();
    if (tb_largest > 0) tb_init(active_personality.SyzygyPath);
    testing::internal::GetCapturedStdout();

    reset_evaluation();
    reset_ordering(*main_thread);
    set_up(START_FEN);
}

void set_fresh_records() {
    const int megabytes = engine.hash_mb;
    memset(static_cast<void*>(&engine), 0, sizeof engine);
    memset(static_cast<void*>(&shell), 0, sizeof shell);
    set_default_state();
    engine.hash_mb = megabytes;
    active_personality.eval_dirty = default_personality.eval_dirty = 0;
}

void resize_hash(int megabytes) {
    engine.hash_mb = megabytes;
    testing::internal::CaptureStdout();
    EXPECT_EQ(hash_alloc(), 1);
    testing::internal::GetCapturedStdout();
}

void rebuild_search_tables() {
    const int16_t selectivity = active_personality.Selectivity;
    active_personality.Selectivity = static_cast<int16_t>(selectivity == 1 ? 2 : 1);
    build_search_tables();
    active_personality.Selectivity = selectivity;
    build_search_tables();
}

void reset_evaluation() {
    rebuild_evaluation();
    refresh_eval_tables(*main_thread);
}
