// options.h: the one way to change a setting by name, and the listing of the settings.
//
// Main thread only. What can be set, and how, stands in base/option_table; values live in the two
// personalities and in ShellState for the whole run.

#pragma once

// Sets an option from its text; names and values are case-sensitive. Numbers are read as atoi
// does and clamped, a check is on when "true" occurs in its value, strings are cut to their
// fields. The change is reported with "info string". Unknown names do nothing, and so do
// ConfigFilePath, Hash, Threads and Clear_Hash while a search runs. SyzygyPath and NN_File act when
// that search has ended.
void SetOption(const char* name, const char* value);

// Sets the endgame tables up and loads the network if SyzygyPath or NN_File has changed since the
// last call. Call it where a search has ended.
void apply_deferred_options();

// Drops such changes instead.
void forget_deferred_options();

// Allocates the hash table of engine.hash_mb megabytes, or of half as many until there is memory;
// the option follows. Ends the program where there is none at all.
void allocate_what_there_is();

// Reads the file named by ConfigFilePath: lines of "name = value", with at least one space in
// front of the "=" and comments behind "#". What is no plain file or can't be opened is passed over
// in silence. A file that names itself, one that is nested ten deep, and the fiftieth that a file
// leads to are left out, the first of them with a line that says so.
void LoadConfig();

// Prints the options of the `uci` listing, with the defaults of default_personality.
void print_options();

// Prints one check line of that listing.
void PrintCheckOption(const char* name, int value);
