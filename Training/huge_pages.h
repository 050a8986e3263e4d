// huge_pages.h: vectors in memory that the system may give in huge pages.
//
// Training reads records and weights in an order of chance, where small pages would cost a walk
// through the page tables for each of them. Any thread, each with vectors of its own.

#pragma once

#include <cstddef>
#include <cstdlib>
#include <vector>

#include "base/platform.h"

// What std::vector wants of a source of memory; without memory the program ends.
template <class T>
struct HugePages {
    using value_type = T;

    HugePages() = default;
    template <class Other>
    HugePages(const HugePages<Other>&) {} // they are all the same

    T* allocate(size_t count) {
        void* memory = allocate_pages(count * sizeof(T), true);
        if (!memory) abort();
        return static_cast<T*>(memory);
    }
    void deallocate(T* memory, size_t count) { free_pages(memory, count * sizeof(T)); }

    bool operator==(const HugePages&) const { return true; }
};

template <class T>
using HugeVector = std::vector<T, HugePages<T>>;
