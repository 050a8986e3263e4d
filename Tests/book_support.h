// book_support.h: what the tests of opening books share.

#pragma once

#include <algorithm>
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "board_support.h"
#include "book/book.h"

using Lines = std::vector<std::string>;

inline constexpr char ROOK_ON_E1[] = "4k3/8/8/8/8/8/K7/4R3 w - -";
inline constexpr char CASTLING[] = "r3k2r/8/8/8/8/8/8/R3K2R w KQkq -";

// A move as a book has it, from a text such as "e2e4", "e1h1" or "f2g1n".
inline uint16_t packed(const std::string& text) {
    int promotion = text.size() > 4 ? static_cast<int>(std::string("nbrq").find(text[4])) + 1 : 0;
    return static_cast<uint16_t>(sq(text.c_str() + 2) + 64 * sq(text.c_str()) + 4096 * promotion);
}

struct Weighted {
    std::string move;
    uint16_t weight;
};

inline std::vector<BookEntry> entries_of(const char* fen, const std::vector<Weighted>& moves) {
    const uint64_t key = book_key(set_up(fen));
    std::vector<BookEntry> entries;
    for (const Weighted& move : moves) entries.push_back({key, packed(move.move), move.weight, 0});
    return entries;
}

inline std::vector<BookEntry> sorted(std::vector<BookEntry> entries) {
    std::stable_sort(entries.begin(), entries.end(),
                     [](const BookEntry& a, const BookEntry& b) { return a.key < b.key; });
    return entries;
}

inline std::vector<BookEntry> operator+(std::vector<BookEntry> a, const std::vector<BookEntry>& b) {
    a.insert(a.end(), b.begin(), b.end());
    return sorted(a);
}

// A file of these entries with `tail` bytes behind them, in `directory` or one of its own.
inline std::string book_file(const std::vector<BookEntry>& entries, int tail = 0,
                             const std::string& directory = fresh_directory(),
                             const std::string& name = "book.bin") {
    std::string path = directory + "/" + name;
    FILE* file = fopen(path.c_str(), "wb");
    for (const BookEntry& entry : entries) write_book_entry(file, entry);
    for (int i = 0; i < tail; i++) fputc(0xFF, file);
    fclose(file);
    return path;
}

// The fields of a line between separators: blanks part words, tabs part fields.
inline Lines fields_of(const std::string& line, char separator) {
    Lines fields;
    std::istringstream stream(line);
    for (std::string field; std::getline(stream, field, separator);) fields.push_back(field);
    return fields;
}
