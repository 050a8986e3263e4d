// run_settings.h: the settings of a training run as text, and what differs between two runs.
//
// A line for each setting: its name, a blank, its value. The text stands in OUT.settings for people
// and in OUT.state, where a run that is resumed finds what it was begun with. Pure work on texts;
// any thread.

#pragma once

#include <string>
#include <vector>

#include "Training/command_line.h"

// Adds a line.
void add_setting(std::string& text, const std::string& name, const std::string& value);

// Adds a line for each option with its present value, numbers in the shortest form that gives them
// back exactly, but for those whose names stand in `without`.
void add_options(std::string& text, const std::vector<ProgramOption>& options,
                 const std::vector<std::string>& without);

// What differs between the settings now and those before, as "NAME is VALUE and was VALUE", parted
// by commas; empty if they are the same. A line that one of them lacks has the value "nothing".
std::string differing_settings(const std::string& now, const std::string& before);
