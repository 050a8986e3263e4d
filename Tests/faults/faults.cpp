// A library that is loaded in front of the system's and lets one of its services fail, as the
// variable MIRD_FAULT says: a kind and a number n.
//
//   memory n   the n-th call for memory fails, be it from the heap or for whole pages
//   thread n   the n-th thread can't be started
//   read n     streams of files fail behind their first n bytes
//   write n    the disk is full when n bytes have been written to a file
//   ahead n    from the n-th look on, the clock shows one hour more
//   wall n     from the n-th look on, the time of day is one hour earlier
//
// The first time it makes something fail, it leaves an empty file "fault-happened" in the working
// directory.

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

// glibc's own names of the functions that stand in front of it here.
extern "C" void* __libc_malloc(size_t);
extern "C" void* __libc_calloc(size_t, size_t);
extern "C" void* __libc_realloc(void*, size_t);

namespace {

enum Kind { NONE, MEMORY, THREAD, READ, WRITE, AHEAD, WALL };
constexpr const char* KIND_NAMES[] = {"none", "memory", "thread", "read", "write", "ahead", "wall"};

Kind kind;
long limit; // the n
std::atomic<long> seen;
constexpr time_t JUMP = 3600; // seconds

// Before main: nothing is counted that the program's own start has not asked for.
__attribute__((constructor)) void read_settings() {
    const char* text = getenv("MIRD_FAULT");
    if (!text) return;
    for (int i = NONE; i <= WALL; i++) {
        size_t length = strlen(KIND_NAMES[i]);
        if (strncmp(text, KIND_NAMES[i], length) != 0 || text[length] != ' ') continue;
        limit = atol(text + length);
        kind = static_cast<Kind>(i);
    }
}

void note_fault() {
    static std::atomic<bool> noted;
    if (noted.exchange(true)) return;
    int file = open("fault-happened", O_CREAT | O_WRONLY, 0600);
    if (file >= 0) close(file);
}

// Counts a call. Returns whether it is the one that fails.
bool fails(Kind service) {
    if (kind != service || ++seen != limit) return false;
    note_fault();
    return true;
}

template <class Function>
Function next(const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

} // namespace

// --- Memory -----------------------------------------------------------------------------------

extern "C" void* malloc(size_t bytes) {
    if (!fails(MEMORY)) return __libc_malloc(bytes);
    errno = ENOMEM;
    return nullptr;
}

extern "C" void* calloc(size_t count, size_t bytes) {
    if (!fails(MEMORY)) return __libc_calloc(count, bytes);
    errno = ENOMEM;
    return nullptr;
}

extern "C" void* realloc(void* memory, size_t bytes) {
    if (!fails(MEMORY)) return __libc_realloc(memory, bytes);
    errno = ENOMEM;
    return nullptr;
}

extern "C" void* mmap(void* place, size_t bytes, int access, int flags, int file, off_t at) {
    static auto system_mmap = next<decltype(&mmap)>("mmap");
    if (!fails(MEMORY)) return system_mmap(place, bytes, access, flags, file, at);
    errno = ENOMEM;
    return MAP_FAILED;
}

// --- Threads ----------------------------------------------------------------------------------

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                              void* (*function)(void*), void* argument) {
    static auto system_create = next<decltype(&pthread_create)>("pthread_create");
    return fails(THREAD) ? EAGAIN : system_create(thread, attributes, function, argument);
}

// --- Files ------------------------------------------------------------------------------------

namespace {

// A stream that counts its bytes on their way to the file below it.
struct CountedFile {
    int file;
    long bytes;
};

ssize_t read_counted(void* cookie, char* out, size_t size) {
    auto& counted = *static_cast<CountedFile*>(cookie);
    if (kind == READ && counted.bytes >= limit) {
        note_fault();
        errno = EIO;
        return -1;
    }
    if (kind == READ && counted.bytes + static_cast<long>(size) > limit)
        size = static_cast<size_t>(limit - counted.bytes);
    ssize_t count = read(counted.file, out, size);
    if (count > 0) counted.bytes += count;
    return count;
}

// What a stream's writer gives back for a failure is 0.
ssize_t write_counted(void* cookie, const char* text, size_t size) {
    auto& counted = *static_cast<CountedFile*>(cookie);
    if (kind == WRITE && counted.bytes + static_cast<long>(size) > limit) {
        note_fault();
        errno = ENOSPC;
        return 0;
    }
    ssize_t count = write(counted.file, text, size);
    if (count > 0) counted.bytes += count;
    return count < 0 ? 0 : count;
}

int seek_counted(void* cookie, off64_t* place, int from) {
    off64_t reached = lseek64(static_cast<CountedFile*>(cookie)->file, *place, from);
    if (reached < 0) return -1;
    *place = reached;
    return 0;
}

int close_counted(void* cookie) {
    int result = close(static_cast<CountedFile*>(cookie)->file);
    free(cookie);
    return result;
}

FILE* counted_stream(int file, const char* mode) {
    auto* counted = static_cast<CountedFile*>(calloc(1, sizeof(CountedFile)));
    if (!counted) return nullptr;
    counted->file = file;
    return fopencookie(counted, mode, {read_counted, write_counted, seek_counted, close_counted});
}

// Whether streams of this mode are to fail. All others stay the system's own.
bool is_counted(const char* mode) { return kind == (mode[0] == 'r' ? READ : WRITE); }

FILE* open_stream(const char* name, const char* mode) {
    static auto system_fopen = next<decltype(&fopen)>("fopen");
    if (!is_counted(mode)) return system_fopen(name, mode);
    int flags = mode[0] == 'r' ? O_RDONLY
              : mode[0] == 'a' ? O_WRONLY | O_CREAT | O_APPEND
                               : O_WRONLY | O_CREAT | O_TRUNC;
    if (strchr(mode, 'x')) flags |= O_EXCL;
    int file = open(name, flags | O_CLOEXEC, 0666);
    return file < 0 ? nullptr : counted_stream(file, mode);
}

} // namespace

extern "C" FILE* fopen(const char* name, const char* mode) { return open_stream(name, mode); }
extern "C" FILE* fopen64(const char* name, const char* mode) { return open_stream(name, mode); }

extern "C" FILE* fdopen(int file, const char* mode) {
    static auto system_fdopen = next<decltype(&fdopen)>("fdopen");
    if (!is_counted(mode)) return system_fdopen(file, mode);
    return counted_stream(file, mode);
}

// --- Clocks -----------------------------------------------------------------------------------

extern "C" int clock_gettime(clockid_t clock, timespec* now) {
    static auto system_gettime = next<decltype(&clock_gettime)>("clock_gettime");
    int result = system_gettime(clock, now);
    const bool wall = clock == CLOCK_REALTIME;
    if ((kind != AHEAD || wall) && (kind != WALL || !wall)) return result;
    if (++seen < limit) return result;
    note_fault();
    now->tv_sec += wall ? -JUMP : JUMP;
    return result;
}

extern "C" time_t time(time_t* out) {
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    if (out) *out = now.tv_sec;
    return now.tv_sec;
}
