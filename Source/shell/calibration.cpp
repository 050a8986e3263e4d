#include "shell/calibration.h"

#include "base/print.h"
#include "base/state.h"
#include "search/limits.h"
#include "search/thread.h"
#include "shell/strength.h"
#include "shell/think.h"

constexpr char calibration_position[] =
    "rnb1k2r/1pq1bppp/p2p1n2/4p3/4P3/2N1BN2/PPP1BPPP/R2QK2R w KQkq -";

void calibrate() {
    constexpr uint64_t CALIBRATION_NODES = 35000;
    constexpr double SPEED_FACTOR = 1.2; // part of the figure

    const Personality limits = active_personality;
    const float noise = shell.noise, target_nps = engine.target_nps;
    const uint8_t threads = engine.num_threads;
    const int depth = engine.max_depth;

    set_position(main_thread->position, calibration_position);
    set_limits({.nodes = CALIBRATION_NODES});
    if (depth < 1) set_limits({.depth = UNLIMITED_DEPTH}); // without a search there is no speed
    engine.num_threads = 1;
    active_personality.UCI_LimitStrength = 0;
    shell.noise = NOISE_CALIBRATION;

    search_here();

    set_limits({.depth = depth, .nodes = UNLIMITED_NODES});
    double nodes = static_cast<double>(relaxed(search_threads[0].load()->nodes));
    double elapsed = relaxed(engine.elapsed);
    double nps = nodes / (elapsed + 0.001) * SPEED_FACTOR;

    // A limit from the command line stays as it was found.
    active_personality.UCI_LimitStrength = limits.UCI_LimitStrength;
    active_personality.UCI_Elo = limits.UCI_Elo;
    shell.noise = noise;
    engine.num_threads = threads;
    engine.calibration_nps = static_cast<float>(nps);
    engine.calibration_elo = static_cast<float>(elo_of_speed(nps));
    engine.target_nps = target_nps > 0.0f ? target_nps : engine.calibration_nps;
    PrintFormat("info string et= %.3f, calibration nps= %0.0f", elapsed, nps);
}
