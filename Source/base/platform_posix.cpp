#include "base/platform.h"

#include <csignal>
#include <cstdlib>
#include <ctime>

#include <poll.h>
#include <sched.h>
#include <sys/stat.h>
#include <unistd.h>

void prepare_platform(int&, char**&) {}

// Clocks of these systems are fine enough by themselves.
TimerError begin_fine_timer(int) { return TimerError::NONE; }
void end_fine_timer() {}

double monotonic_seconds() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

void seed_random(unsigned seed) { srand(seed); }

int random_number() {
    static_assert(RAND_MAX == 0x7FFFFFFF);
    return rand();
}

void sleep_ms(int milliseconds) {
    if (milliseconds <= 0) {
        sched_yield();
        return;
    }
    timespec wait = {milliseconds / 1000, (milliseconds % 1000) * 1000000L};
    nanosleep(&wait, nullptr);
}

void sleep_us(int microseconds) {
    timespec wait = {0, microseconds * 1000L};
    nanosleep(&wait, nullptr);
}

bool file_exists(const char* name) {
    struct stat status;
    return stat(name, &status) == 0;
}

bool same_file(const char* first, const char* second) {
    struct stat one, other;
    return stat(first, &one) == 0 && stat(second, &other) == 0 && one.st_dev == other.st_dev
        && one.st_ino == other.st_ino;
}

FILE* open_stream(const char* name, const char* mode) { return fopen(name, mode); }

FILE* open_plain_file(const char* name, const char* mode) {
    struct stat status;
    if (stat(name, &status) == 0 && !S_ISREG(status.st_mode)) return nullptr;
    return fopen(name, mode);
}

bool is_terminal(FILE* stream) { return isatty(fileno(stream)) != 0; }

void working_directory(char* out, size_t size) {
    if (!getcwd(out, size)) out[0] = 0;
}

bool output_closed() {
    pollfd output = {STDOUT_FILENO, 0, 0}; // what is wrong is told unasked
    return poll(&output, 1, 0) > 0;
}

void ignore_broken_pipes() { signal(SIGPIPE, SIG_IGN); }
