// bits.h: the bits of one value taken for those of another.

#pragma once

// As std::bit_cast, which the libraries of some compilers lack (clang's own before version 14); the
// built-in that it stands on is in gcc from 11 and clang from 9 on.
template <class To, class From>
constexpr To bits_as(const From& value) {
    static_assert(sizeof(To) == sizeof(From));
    return __builtin_bit_cast(To, value);
}
