// safe_file.h: files that are replaced as a whole.
//
// A file is written under another name beside the old one and takes its place when it is complete
// and on disk, so that an interruption at any moment leaves the old file or the new one. One thread
// for each file.

#pragma once

#include <cstdio>
#include <string>

// Opens PATH.new for writing. Returns null if it can't be.
FILE* begin_file(const std::string& path);

// Closes the file of begin_file and lets it take the place of PATH, if it was `written` as a whole.
// Returns false if that failed; PATH is then as it was.
bool finish_file(FILE* file, const std::string& path, bool written);
