// trainer_state.h: the file that a training run is resumed from.
//
// It holds the settings of the run as text, the weights with all their means, and how far the run
// is; it is replaced as a whole. One thread.

#pragma once

#include <string>

#include "Training/trainer.h"

// Writes everything that training goes on from. Returns false if it can't be written; an earlier
// file stays then.
bool save_state(Trainer& trainer, const std::string& settings, const std::string& path);

// Reads the settings that a state was saved with. Returns false, with `settings` unchanged, if the
// file is missing or no state.
bool read_state_settings(std::string& settings, const std::string& path);

// Takes up a state. Returns false, with the trainer unchanged, if the file is missing, no state, or
// of a network of another shape.
bool load_state(Trainer& trainer, const std::string& path);
