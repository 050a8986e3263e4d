// files.h: the files of batch jobs and other output: inputs of any kind but directories, and
// outputs that are there as a whole or not at all.
//
// An output is written under a name beside its target and takes its place when it is complete and
// on disk: a full disk, or an end of the program before that, leaves what was there. Pipes and
// devices are written straight, and so is a file in a directory that takes no new ones. What goes
// wrong is told in one line on standard error. Main thread only, but for tell_file_error.

#pragma once

#include <atomic>
#include <cstdint>
#include <cstdio>

struct FreshFile;

// True once a file could not be read or written: the program then ends with status 1. Written by
// tell_file_error alone, in any thread.
extern std::atomic<bool> file_failed;

// Says that a file can't be read or written, which `what` names, with the system's text for
// `error`; 0 stands for an unknown reason.
void tell_file_error(const char* what, const char* name, int error);

// Why open_plain_file has just returned null for that name, in words that stay until the next call.
const char* file_trouble(const char* name);

// Opens an input. Returns null, and says so, for a directory or what can't be opened.
FILE* open_input(const char* name);

// Closes an input. Returns false, and says so, if it could not be read to the end.
bool finish_input(FILE* file, const char* name);

// Tells whether writing `out_name` would spoil `in_name`, and says so.
bool refuse_same_file(const char* in_name, const char* out_name);

struct OutputFile {
    FILE* stream;     // where to write; null when it is not open
    const char* name; // as it was asked for; the caller's text
    FreshFile* fresh; // null where the output is written straight
};

// Opens an output. Returns false if that fails: open_output says so, begin_output leaves the
// reason in errno. Else finish_output or abandon_output is due.
bool open_output(OutputFile& file, const char* name);
bool begin_output(OutputFile& file, const char* name);

// Closes an output and puts it in its place. Returns false, and says so, if not all of it could be
// written; the target is then as it was.
bool finish_output(OutputFile& file);

// Closes an output and leaves the target as it was.
void abandon_output(OutputFile& file);

// Closes a file that was opened for appending. Returns false, and says so, if not all of it could
// be written; the file is then cut back to `old_size` bytes.
bool finish_addition(FILE* file, const char* name, int64_t old_size);
