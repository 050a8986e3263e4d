#include "syzygy/platform_map.h"

#include <atomic>
#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// An address range that belongs to a mapped file, as the signal handler sees it.
struct Range {
    std::atomic<uintptr_t> begin; // 0 in a free slot; written last when a slot is taken
    std::atomic<uintptr_t> end;
    std::atomic<bool> lost;
};

} // namespace

// Every table's file once, all open distance files, and room to spare.
constexpr int SLOTS = 640;
static Range ranges[SLOTS];
static uintptr_t page_size;
static struct sigaction other_handler; // what stood before ours

static const uint8_t EMPTY_FILE[1] = {};

// Looks for the mapping that holds an address. Returns null for foreign addresses.
static Range* range_of(uintptr_t address) {
    for (Range& range : ranges) {
        uintptr_t begin = range.begin.load(std::memory_order_acquire);
        if (begin && address >= begin && address < range.end.load(std::memory_order_relaxed))
            return &range;
    }
    return nullptr;
}

// A mapped page whose file has been cut can't be read. It is replaced by zeros, the mapping is
// marked, and the read goes on: whoever reads tables checks what it finds and asks for the mark.
static void give_zeros(int signal_number, siginfo_t* info, void* context) {
    int saved_errno = errno;
    auto address = reinterpret_cast<uintptr_t>(info->si_addr);
    if (Range* range = range_of(address)) {
        range->lost.store(true, std::memory_order_release);
        void* page = reinterpret_cast<void*>(address & ~(page_size - 1));
        void* zeros =
            mmap(page, page_size, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0);
        errno = saved_errno;
        if (zeros != MAP_FAILED) return;
    }
    if ((other_handler.sa_flags & SA_SIGINFO) && other_handler.sa_sigaction) {
        other_handler.sa_sigaction(signal_number, info, context);
    } else if (other_handler.sa_handler != SIG_DFL && other_handler.sa_handler != SIG_IGN) {
        other_handler.sa_handler(signal_number);
    } else {
        signal(signal_number, SIG_DFL); // the failing instruction is repeated and ends the process
    }
    errno = saved_errno;
}

static void install_handler() {
    if (page_size) return;
    page_size = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
    struct sigaction action = {};
    action.sa_sigaction = give_zeros;
    action.sa_flags = SA_SIGINFO;
    sigemptyset(&action.sa_mask);
    sigaction(SIGBUS, &action, &other_handler);
}

int open_file(const char* path) {
    // Opening a pipe would wait for its writer.
    int file = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (file < 0) return NO_FILE;
    struct stat status;
    if (fstat(file, &status) == 0 && S_ISREG(status.st_mode)) return file;
    close(file);
    return NO_FILE;
}

void close_file(int file) { close(file); }

int map_file(FileMapping& mapping, int file) {
    mapping = {};
    struct stat status;
    if (fstat(file, &status) != 0) return errno;
    if (status.st_size == 0) {
        mapping = {EMPTY_FILE, 0, NO_FILE};
        return 0;
    }
    int slot = 0;
    while (slot < SLOTS && ranges[slot].begin.load(std::memory_order_relaxed)) slot++;
    if (slot == SLOTS) return ENOMEM;

    install_handler();
    auto size = static_cast<size_t>(status.st_size);
    void* memory = mmap(nullptr, size, PROT_READ, MAP_SHARED, file, 0);
    if (memory == MAP_FAILED) return errno;
    madvise(memory, size, MADV_RANDOM); // a probe needs a page or two, never a neighbour
    auto begin = reinterpret_cast<uintptr_t>(memory);
    ranges[slot].lost.store(false, std::memory_order_relaxed);
    ranges[slot].end.store(begin + size, std::memory_order_relaxed);
    ranges[slot].begin.store(begin, std::memory_order_release);
    mapping = {static_cast<const uint8_t*>(memory), size, slot};
    return 0;
}

int unmap_file(FileMapping& mapping) {
    FileMapping old = mapping;
    mapping = {};
    if (!old.data || old.size == 0) return 0;
    ranges[old.slot].begin.store(0, std::memory_order_relaxed);
    return munmap(const_cast<uint8_t*>(old.data), old.size) == 0 ? 0 : errno;
}

bool mapping_lost(const FileMapping& mapping) {
    return mapping.size && ranges[mapping.slot].lost.load(std::memory_order_acquire);
}
