#include "shell/strength.h"

#include <cmath>
#include <cstdlib>

#include "base/platform.h"
#include "base/print.h"
#include "search/driver.h"
#include "search/pool.h"
#include "search/thread.h"
#include "search/timing.h"
#include "shell/game.h"

constexpr char calibration_position[] =
    "rnb1k2r/1pq1bppp/p2p1n2/4p3/4P3/2N1BN2/PPP1BPPP/R2QK2R w KQkq -";

double elo_of_speed(double nps) { return 150.0 * std::log(nps) + 1128.0; }

void calibrate() {
    constexpr uint64_t CALIBRATION_NODES = 35000;
    constexpr double SPEED_FACTOR = 1.2; // part of the figure

    const Personality limits = active_personality;
    const float noise = shell.noise, target_nps = engine.target_nps;
    const uint8_t threads = engine.num_threads;

    set_position(main_thread->position, calibration_position);
    engine.max_nodes = CALIBRATION_NODES;
    engine.num_threads = 1;
    active_personality.UCI_LimitStrength = 0;
    shell.noise = NOISE_CALIBRATION;

    prepare_search();
    if (setup_master_record() != 0) exit(-1);
    set_relaxed(engine.elapsed, 0.0f);
    set_relaxed(engine.stop, 0);
    think_start = monotonic_seconds();
    search_root(0);
    update_elapsed();

    engine.max_nodes = 0;
    set_relaxed(engine.stop, 0);
    set_relaxed(engine.game_state, STATE_IDLE);
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

// The speed whose Elo lies within half a point of `elo`, by bisection in single precision.
static float speed_of_elo(float elo) {
    constexpr float TOLERANCE = 0.5f;
    constexpr int MOST_STEPS = 100; // far more than the interval can be halved

    float low = 10.0f, high = 10000000.0f, middle = (low + high) / 2;
    for (int i = 0; i < MOST_STEPS; i++) {
        auto found = static_cast<float>(elo_of_speed(middle));
        float difference = found - elo;
        if (std::fabs(difference) < TOLERANCE) break;
        if (difference < 0) low = middle;
        else high = middle;
        middle = (low + high) / 2;
    }
    return middle;
}

void apply_strength_limit() {
    constexpr float MARGIN = 30.0f; // nodes a second
    if (active_personality.UCI_LimitStrength) {
        if (active_personality.UCI_Elo < 1) return; // target_nps was given directly
        engine.target_nps = speed_of_elo(active_personality.UCI_Elo);
        if (engine.target_nps <= engine.calibration_nps - MARGIN) return;
        store_shared(active_personality.UCI_LimitStrength, 0);
    }
    engine.target_nps = engine.calibration_nps;
    store_shared(active_personality.UCI_Elo, static_cast<int>(engine.calibration_elo));
}
