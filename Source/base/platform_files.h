// platform_files.h: what files need of the operating system: what a name leads to, the three
// standard streams as files, and new files that take the place of old ones.
//
// Implemented in platform_files_posix.cpp and platform_files_windows.cpp. Main thread only. files.h
// is what the rest of the engine calls.

#pragma once

#include <atomic>
#include <cstdint>
#include <cstdio>

// What a name leads to, symbolic links followed.
enum class FileKind { MISSING, PLAIN, DIRECTORY, OTHER };
FileKind kind_of_file(const char* name);

// Tells whether writing under one name would change or empty what is read under the other: the
// same file, a pipe, or two names of nothing that would become one file. Devices never are.
bool same_place(const char* first, const char* second);

// Bytes of an open plain file, -1 for anything else.
int64_t file_size(FILE* file);

// Cuts a file back to that many bytes, as far as it can be.
void cut_file(const char* name, int64_t size);

// A file that reaches the limit on its size must not end the process: writing more just fails.
void ignore_size_limits();

// Removes a file, never a directory. Returns false if it is still there.
bool remove_file(const char* name);

// Tells whether the name leads to what standard input reads.
bool is_standard_input(const char* name);

// Opens standard streams that the program was started without, lest a file takes their numbers:
// what is printed would go there. Such streams are at their end and can't be written. Called first.
void hold_standard_streams();

// A stream of its own on standard input, if the name leads there and it is no plain file; else
// null. Some kinds, such as sockets, can't be opened by name.
FILE* open_standard_input(const char* name);

// A stream of its own on standard output or error, if the name leads there; else null. It goes on
// behind what was written there, line by line.
FILE* open_standard_output(const char* name);

constexpr size_t FILE_PATH_LENGTH = 4096; // with the ending NUL

// A file under a name of its own, until it takes its target's place. It lives as long as the
// process; whatever ends that, but a kill, removes the file.
struct FreshFile {
    std::atomic<bool> used;        // written by the main thread; read where a signal is handled
    char name[FILE_PATH_LENGTH];   // beside the target: TARGET.part, with a number if that is taken
    char target[FILE_PATH_LENGTH]; // the name asked for, symbolic links followed
};

// Gives a fresh file the name that comes first, or the one to try when `number` - 1 others are
// taken. Returns false, with errno set, if it is too long. The same on all systems, in files.cpp.
constexpr int FRESH_NAMES = 99;
bool name_fresh_file(FreshFile& fresh, int number);

// Creates a file beside the plain or missing file `name`, with its owner and permissions, or those
// of any new file. Returns null, with errno set, if that can't be done or `name` may not be
// written; else `fresh` is due to put_in_place or remove_fresh.
FILE* create_beside(const char* name, FreshFile*& fresh);

// Ends the process, from any thread: no destructors run, but files that are not whole are removed.
[[noreturn]] void end_at_once(int status);

// Brings what was written to disk. Returns 0, or the system's error number.
int sync_file(FILE* file);

// Renames the closed file to its target. Returns 0, or the system's error number; the file then
// stays under its own name.
int put_in_place(FreshFile& fresh);
void remove_fresh(FreshFile& fresh);
