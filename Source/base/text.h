// text.h: copying text and reading numbers from it.
//
// Works on the caller's memory and keeps nothing; any thread.

#pragma once

#include <cstddef>

// Copies at most `size` - 1 characters and ends the text. `size` is at least 1.
void copy_text(char* to, const char* from, size_t size);

// A whole number as atoi reads it, junk as 0, but clamped to the range of int.
int read_integer(const char* text);

// A number as atof reads it; what is not finite counts as 0.
float read_number(const char* text);
