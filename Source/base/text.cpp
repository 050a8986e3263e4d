#include "base/text.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>

void copy_text(char* to, const char* from, size_t size) {
    size_t length = strnlen(from, size - 1);
    memcpy(to, from, length);
    to[length] = 0;
}

int read_integer(const char* text) {
    return static_cast<int>(std::clamp(strtol(text, nullptr, 10), long{INT_MIN}, long{INT_MAX}));
}

float read_number(const char* text) {
    float value = strtof(text, nullptr);
    return std::isfinite(value) ? value : 0.0f;
}
