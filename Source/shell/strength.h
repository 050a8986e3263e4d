// strength.h: strength by speed: the Elo of a speed, and the speed for a wanted Elo.
//
// Arithmetic on the process-wide records; main thread only, between searches. The machine's own
// speed is measured in calibration.h, and the search holds itself to target_nps.

#pragma once

// Elo of a search of so many nodes a second, above 0: 150 * ln(nps) + 1128.
double elo_of_speed(double nps);

constexpr int STRICT_DEFAULT_ELO = 2000; // UCI_Elo of the strict protocol where none is set

// Settles EngineState::target_nps for the next think, in the strict protocol playing_elo as well.
// There nothing else is changed, else: a limit that the machine can't exceed
// anyway is switched off, and UCI_Elo then holds the machine's own figure.
void apply_strength_limit();
