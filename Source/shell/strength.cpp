#include "shell/strength.h"

#include <cmath>

#include "base/state.h"

double elo_of_speed(double nps) {
    constexpr double ELO_A_LOGARITHM = 150.0; // so that twice the speed is worth 104
    constexpr double ELO_OF_ONE_NODE = 1128.0;
    return ELO_A_LOGARITHM * std::log(nps) + ELO_OF_ONE_NODE;
}

// The speed whose Elo lies within half a point of `elo`, by bisection in single precision.
static float speed_of_elo(float elo) {
    constexpr float TOLERANCE = 0.5f;
    constexpr int MAX_STEPS = 100; // far more than the interval can be halved

    constexpr float MIN_NPS = 10.0f, MAX_NPS = 10000000.0f;

    float low = MIN_NPS, high = MAX_NPS, middle = (low + high) / 2;
    for (int i = 0; i < MAX_STEPS; i++) {
        auto found = static_cast<float>(elo_of_speed(middle));
        float difference = found - elo;
        if (std::fabs(difference) < TOLERANCE) break;
        if (difference < 0) low = middle;
        else high = middle;
        middle = (low + high) / 2;
    }
    return middle;
}

constexpr float MARGIN = 30.0f; // nodes a second, below the machine's own speed

// The strict protocol: both options stay as they were set.
static void apply_strict_limit() {
    const int elo = active_personality.UCI_Elo ? active_personality.UCI_Elo : STRICT_DEFAULT_ELO;
    engine.target_nps = engine.calibration_nps;
    engine.playing_elo = static_cast<int16_t>(engine.calibration_elo);
    if (!active_personality.UCI_LimitStrength) return;
    const float speed = speed_of_elo(static_cast<float>(elo));
    if (speed > engine.calibration_nps - MARGIN) return;
    engine.target_nps = speed;
    engine.playing_elo = static_cast<int16_t>(elo);
}

void apply_strength_limit() {
    if (strict_protocol()) {
        apply_strict_limit();
        return;
    }
    if (active_personality.UCI_LimitStrength) {
        if (active_personality.UCI_Elo < 1) return; // target_nps was given directly
        engine.target_nps = speed_of_elo(active_personality.UCI_Elo);
        if (engine.target_nps <= engine.calibration_nps - MARGIN) return;
        store_shared(active_personality.UCI_LimitStrength, 0);
    }
    engine.target_nps = engine.calibration_nps;
    store_shared(active_personality.UCI_Elo, static_cast<int>(engine.calibration_elo));
}
