// calibration.h: the machine's own speed, measured by one search.
//
// Main thread only, once before the game. The figure stands in EngineState for the whole run.

#pragma once

// Measures the machine with one search of 35,000 nodes on the main thread and prints the figure.
// Leaves the calibration position behind as the game's, and no node limit.
void calibrate();
