// windows_text.h: the texts of Windows, which are UTF-16, and ours, which are UTF-8.
//
// For the files of this system only. Any thread.

#pragma once

#include <cstddef>

constexpr size_t WIDE_LENGTH = 4096; // of a path, with the ending NUL

struct WideText {
    wchar_t text[WIDE_LENGTH];
};

// A name as the system takes it. Returns false, and an empty text, if it is too long or no UTF-8.
bool widen(const char* name, WideText& wide);

// The way back: writes at most `size` bytes, the ending NUL among them. Returns false, and an
// empty text, if there is no room.
bool narrow(const wchar_t* wide, char* out, size_t size);
