// Memory in pages and in cache lines, where there are no pages to map.

#include <cstdlib>
#include <cstring>

#include "base/platform.h"

void* allocate_lines(size_t bytes) {
    return aligned_alloc(CACHE_LINE, (bytes + CACHE_LINE - 1) / CACHE_LINE * CACHE_LINE);
}

void free_lines(void* memory) { free(memory); }

void* allocate_pages(size_t bytes, bool) {
    void* memory = allocate_lines(bytes);
    if (memory) memset(memory, 0, bytes);
    return memory;
}

void free_pages(void* memory, size_t) { free_lines(memory); }
