// words.h: lines of the strict protocol cut into words.
//
// Everything works on the caller's memory, which a cut changes: the white space behind a word
// becomes its end. Any thread.

#pragma once

#include <cstdint>

// The next word of a line, with `text` behind it; words are parted by any white space. Null at the
// end of the line.
char* next_word(char*& text);

// Tells whether two words are the same but for the case of their letters.
bool same_word(const char* a, const char* b);

// Reads a whole number, with or without a sign; what lies outside the range of int64_t counts as
// its end, and a fraction is dropped. Returns false, with `number` unchanged, for anything else.
bool read_whole_number(const char* word, int64_t& number);
