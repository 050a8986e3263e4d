// platform.h: what the engine needs of the operating system, and nothing else.
//
// Implemented in platform_posix.cpp and platform_windows.cpp, standard input in files of its own,
// threads in one for both. All functions may be called from any thread unless told otherwise. Names
// of files are UTF-8 where the system has a say.

#pragma once

#include <atomic>
#include <cstdint>
#include <cstdio>

// Called first of all by main, with its arguments, which may be replaced by the same in UTF-8.
void prepare_platform(int& argc, char**& argv);

// Asks for rests and waits as fine as that many milliseconds, or as near to it as the system lets.
// Main thread only.
enum class TimerError { NONE, UNKNOWN_RANGE, REFUSED };
TimerError begin_fine_timer(int milliseconds);
void end_fine_timer();

// Seconds of a clock that only goes forward, with nanoseconds behind the point.
double monotonic_seconds();

// Numbers by chance, as rand gives them on most systems: 0 to 2^31 - 1, each as likely as any
// other, and one row of them for all threads. The row depends on the seed, and on the system.
void seed_random(unsigned seed);
int random_number();

// Sleeps for about that many milliseconds; 0 gives the processor away once.
void sleep_ms(int milliseconds);

// Sleeps for about that many microseconds; the system adds some fifty of its own.
void sleep_us(int microseconds);

// A pause inside a loop that waits for another thread.
inline void relax_processor() {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#endif
}

// fopen, for names in UTF-8.
FILE* open_stream(const char* name, const char* mode);

// Tells whether a file or directory of that name exists.
bool file_exists(const char* name);

// Tells whether both names lead to one file. Names of nothing lead nowhere.
bool same_file(const char* first, const char* second);

// Opens a file as fopen does, but nothing that could block or never end: null for directories,
// devices and pipes.
FILE* open_plain_file(const char* name, const char* mode);

// Tells whether a person sees what is written there.
bool is_terminal(FILE* stream);

// Writes the working directory, at most `size` - 1 characters; an empty text on failure.
void working_directory(char* out, size_t size);

// Tells whether standard output is closed, or a pipe or terminal with nobody at its other end.
bool output_closed();

// A closed output pipe must not end the process.
void ignore_broken_pipes();

// Zeroed memory on page boundaries, or null. `huge` advises the system to use huge pages. Give
// free_pages the same size.
void* allocate_pages(size_t bytes, bool huge);
void free_pages(void* memory, size_t bytes);

// Memory in whole cache lines, or null; for free_lines.
constexpr size_t CACHE_LINE = 64; // bytes
void* allocate_lines(size_t bytes);
void free_lines(void* memory);

// Threads. A handle is only good for join_thread.
using ThreadFunction = void (*)(void* argument);
struct ThreadHandle {
    uint64_t id; // the system's own
};

// Starts a thread for join_thread. Returns 0, or the system's error number; `handle` is then
// unchanged.
int start_joinable(ThreadHandle& handle, ThreadFunction function, void* argument);

// Waits for the thread's end. Returns 0, or the system's error number.
int join_thread(ThreadHandle handle);

// A number that threads wait for. The standard library's own waiting on an atomic loses wake-ups
// where the system has no call for it (gcc 12 on Windows).
// Writes the number and wakes those who wait for it to change.
void set_number(std::atomic<int>& number, int value);
// Waits until the number is no more the one that was seen; returns it.
int wait_for_number(const std::atomic<int>& number, int seen);

// Standard input, looked at without blocking: a pipe, a file, or a terminal that gives whole
// lines. Main thread only.
// Tells whether read_input would return at once.
bool input_waiting();

// Reads what is there, at most `size` bytes. Returns their number, 0 at the end of the input,
// -1 when nothing could be read just now.
int read_input(char* buffer, size_t size);

// Waits until input arrives, wake_main_thread is called, or the time is over. A call that came
// before the wait ends it at once; several of them count as one.
void wait_for_input(int milliseconds);

// The same, deaf to input.
void wait_for_wake(int milliseconds);

// Ends the main thread's wait, or its next one. Any thread.
void wake_main_thread();
