// help.h: what the program says of itself to people at a command line.
//
// Main thread only, before anything else is set up.

#pragma once

// If the word is "--help" or "--version", prints the options in groups, or version, build, vector
// instructions and network, to standard output. Returns whether it was one of them.
bool tell_of_itself(const char* word);

// Tells whether a word of the command line is one that the program knows, wherever it stands.
bool is_known_option(const char* word);
