// platform_map.h: what the endgame tables need of the operating system: opening a file and
// mapping it into memory.
//
// Implemented in platform_map_posix.cpp and platform_map_windows.cpp. All functions run under the
// lock of first use or between searches, except mapping_lost, which any thread may call.

#pragma once

#include <cstddef>
#include <cstdint>

constexpr int NO_FILE = -1;

// A whole file, mapped read-only. A file of no bytes has an address too, and size 0.
struct FileMapping {
    const uint8_t* data; // null when nothing is mapped
    size_t size;         // bytes, as the file was when it was mapped
    int slot;            // the platform's own handle
};

// Opens a regular file for reading. Returns NO_FILE when there is none of that name, or when it
// can't be read or is something else, such as a directory.
int open_file(const char* path);
void close_file(int file);

// Maps an open file. Returns 0, or the system's error number; the mapping is then empty. Windows
// maps in two steps: NO_SECTION is the first one's failure.
constexpr int NO_SECTION = -1;
int map_file(FileMapping& mapping, int file);

// Releases a mapping and empties it. Returns 0, or the system's error number.
int unmap_file(FileMapping& mapping);

// Tells whether a part of the file could not be read any more, because the file was cut or its
// medium failed. Reads there have given zeros since then.
bool mapping_lost(const FileMapping& mapping);
