// Memory in pages and in cache lines.

#include <cstdint>
#include <cstdlib>

#include <sys/mman.h>
#include <unistd.h>

#include "base/platform.h"

// gcc and clang each have their own word for a build with the address sanitizer.
#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define MIRD_LEAK_SANITIZER
#endif
#elif defined(__SANITIZE_ADDRESS__)
#define MIRD_LEAK_SANITIZER
#endif
#ifdef MIRD_LEAK_SANITIZER
#include <sanitizer/lsan_interface.h>
#endif

void* allocate_lines(size_t bytes) {
    return aligned_alloc(CACHE_LINE, (bytes + CACHE_LINE - 1) / CACHE_LINE * CACHE_LINE);
}

void free_lines(void* memory) { free(memory); }

// Length of a huge page, and of the boundary that it must begin on.
constexpr size_t HUGE_PAGE = 2 << 20;

// Maps memory whose start lies on a huge-page boundary: a little more than asked for, with what
// stands over given back at once.
static void* map_aligned(size_t bytes) {
    size_t length = bytes + HUGE_PAGE;
    void* memory =
        mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) return nullptr;
    auto start = reinterpret_cast<uintptr_t>(memory);
    auto aligned = (start + HUGE_PAGE - 1) & ~(HUGE_PAGE - 1);
    size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    auto end = aligned + (bytes + page - 1) / page * page;
    if (aligned > start) munmap(memory, aligned - start);
    if (end < start + length) munmap(reinterpret_cast<void*>(end), start + length - end);
    return reinterpret_cast<void*>(aligned);
}

// The leak sanitizer looks for pointers in mapped pages only if it is told of them: what thread
// records hold would count as lost.
static void note_pages([[maybe_unused]] void* memory, [[maybe_unused]] size_t bytes) {
#ifdef MIRD_LEAK_SANITIZER
    __lsan_register_root_region(memory, bytes);
#endif
}

static void forget_pages([[maybe_unused]] void* memory, [[maybe_unused]] size_t bytes) {
#ifdef MIRD_LEAK_SANITIZER
    __lsan_unregister_root_region(memory, bytes);
#endif
}

static void* map_pages(size_t bytes, bool huge) {
#ifdef MADV_HUGEPAGE
    if (huge && bytes >= HUGE_PAGE) {
        void* memory = map_aligned(bytes);
        if (memory) madvise(memory, bytes, MADV_HUGEPAGE);
        return memory;
    }
#endif
    (void)huge;
    void* memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return memory == MAP_FAILED ? nullptr : memory;
}

void* allocate_pages(size_t bytes, bool huge) {
    void* memory = map_pages(bytes, huge);
    if (memory) note_pages(memory, bytes);
    return memory;
}

void free_pages(void* memory, size_t bytes) {
    if (!memory) return;
    forget_pages(memory, bytes);
    munmap(memory, bytes);
}
