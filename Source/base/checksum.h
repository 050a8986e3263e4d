// checksum.h: FNV-1a, 64 bits, of some bytes. Any thread.

#pragma once

#include <cstddef>
#include <cstdint>

constexpr uint64_t EMPTY_CHECKSUM = 0xCBF29CE484222325ULL;

// The checksum of bytes behind others, whose own is `sum`.
inline uint64_t add_checksum(uint64_t sum, const void* bytes, size_t count) {
    constexpr uint64_t PRIME = 0x100000001B3ULL;
    const auto* next = static_cast<const unsigned char*>(bytes);
    for (size_t i = 0; i < count; i++) sum = (sum ^ next[i]) * PRIME;
    return sum;
}
