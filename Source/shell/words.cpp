#include "shell/words.h"

#include <cctype>
#include <cstdlib>

static bool is_space(char c) { return isspace(static_cast<unsigned char>(c)) != 0; }

static int lower(char c) { return tolower(static_cast<unsigned char>(c)); }

char* next_word(char*& text) {
    while (is_space(*text)) text++;
    if (*text == 0) return nullptr;
    char* word = text;
    while (*text && !is_space(*text)) text++;
    if (*text) *text++ = 0;
    return word;
}

bool same_word(const char* a, const char* b) {
    while (*a && lower(*a) == lower(*b)) a++, b++;
    return *a == 0 && *b == 0;
}

bool read_whole_number(const char* word, int64_t& number) {
    char* end = nullptr;
    const int64_t value = strtoll(word, &end, 10);
    if (end == word) return false;
    if (*end == '.')
        for (end++; isdigit(static_cast<unsigned char>(*end));) end++;
    if (*end != 0) return false;
    number = value;
    return true;
}
