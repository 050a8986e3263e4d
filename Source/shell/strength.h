// strength.h: strength by speed: the machine's own figure, and the speed for a wanted Elo.

#pragma once

// Elo of a search of so many nodes a second, above 0: 150 * ln(nps) + 1128.
double elo_of_speed(double nps);

// Measures the machine with one search of 35,000 nodes on the main thread and prints the figure.
// Leaves the calibration position behind as the game's, and no node limit.
void calibrate();

// Settles EngineState::target_nps for the next think. A limit that the machine can't exceed
// anyway is switched off, and UCI_Elo then holds the machine's own figure.
void apply_strength_limit();
