// fuzz.h: what the fuzz targets share: the engine as a library, and files made of an input.
//
// A target is a program with a LLVMFuzzerTestOneInput of its own. Before its first input it stands
// in a working directory that goes with the process, the engine is set up with a hash table of one
// megabyte, and standard input is a pipe that nobody closes. Tests/fuzz/run.py runs all targets.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// What libFuzzer calls: once at the start with the command line, then with each input.
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

// Sets the process-wide records to what the program starts with: the start position, no tables, no
// log, no trace, a hash table of one megabyte.
void begin_input();

// Writes a file of the working directory anew.
void write_input(const char* name, const uint8_t* bytes, size_t size);

// Ends the process with a message: what the target promises does not hold.
[[noreturn]] void broken(const char* promise);

// An input as text without zero bytes, which end a text anyway.
std::string text_of_input(const uint8_t* bytes, size_t size);

// The lines of an input, but for those that would take a session too long or too far: large tables
// and many threads, deep counts of moves, networks, long traces.
std::string bearable_lines(const uint8_t* bytes, size_t size);

// Writes to the pipe that is standard input.
void type_input(const std::string& text);

// Plays a session of input lines in the main loop to its end, in UCI mode or as the console.
void play_session(const uint8_t* bytes, size_t size, bool uci);
