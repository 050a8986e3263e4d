// Standard input, and the one that waits for it: the main thread, which a search can wake.
//
// A pipe tells how much it holds, but can't be waited for, so that waits look at it each
// millisecond. A console gives lines only to who waits for them, and so do pipes that another
// system's process has made (as under Wine): a thread of its own does.

#include <algorithm>
#include <atomic>
#include <cstring>

#include <windows.h>

#include "base/platform.h"
#include "base/windows_text.h"

namespace {

// What the thread that waits hands to the main thread.
struct HandedInput {
    char bytes[4096];       // UTF-8
    int length;             // 0 at the end of the input
    int taken;              // bytes that read_input has given
    std::atomic<bool> full; // the bytes are the main thread's; else the waiting thread's
};

} // namespace

static HandedInput handed;
static bool is_console;   // what the waiting thread reads; written before its start
static bool thread_waits; // there is one; main thread only

// Both reset themselves when a wait ends by them.
static HANDLE wake_event() {
    static HANDLE event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    return event;
}
static HANDLE taken_event() {
    static HANDLE event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    return event;
}

static HANDLE standard_input() { return GetStdHandle(STD_INPUT_HANDLE); }

void wake_main_thread() { SetEvent(wake_event()); }

// A line of the console in UTF-8. Returns its length, 0 at the end of the input.
static int read_console(char* out, int size) {
    constexpr wchar_t CTRL_Z = 26; // at the start of a line it ends the input
    static wchar_t wide[sizeof handed.bytes / 3];
    DWORD count = 0;
    if (!ReadConsoleW(standard_input(), wide, sizeof wide / sizeof *wide, &count, nullptr)
        || count == 0 || wide[0] == CTRL_Z)
        return 0;
    return WideCharToMultiByte(CP_UTF8, 0, wide, static_cast<int>(count), out, size, nullptr,
                               nullptr);
}

static int read_handle(char* out, size_t size) {
    DWORD count = 0;
    if (!ReadFile(standard_input(), out, static_cast<DWORD>(size), &count, nullptr)) return 0;
    return static_cast<int>(count);
}

// Waits for input until there is no more.
static void hand_over(void*) {
    do {
        handed.length = is_console ? read_console(handed.bytes, sizeof handed.bytes)
                                   : read_handle(handed.bytes, sizeof handed.bytes);
        handed.taken = 0;
        handed.full.store(true, std::memory_order_release);
        wake_main_thread();
        while (handed.length > 0 && handed.full.load(std::memory_order_acquire))
            WaitForSingleObject(taken_event(), INFINITE);
    } while (handed.length > 0);
}

// Starts the thread for input that can't be looked at, and then stays with it. Files and pipes that
// have ended can be read without: false. What has no thread may be replaced by something else.
static bool needs_thread() {
    if (thread_waits) return true;
    DWORD number;
    is_console = GetConsoleMode(standard_input(), &number) != 0;
    if (!is_console) {
        if (GetFileType(standard_input()) != FILE_TYPE_PIPE) return false;
        if (PeekNamedPipe(standard_input(), nullptr, 0, nullptr, &number, nullptr)
            || GetLastError() == ERROR_BROKEN_PIPE)
            return false;
    }
    ThreadHandle thread; // never joined: it may be waiting when the program ends
    thread_waits = start_joinable(thread, hand_over, nullptr) == 0;
    return thread_waits;
}

bool input_waiting() {
    DWORD bytes = 0;
    if (!thread_waits && PeekNamedPipe(standard_input(), nullptr, 0, nullptr, &bytes, nullptr))
        return bytes > 0;
    return !needs_thread() || handed.full.load(std::memory_order_acquire);
}

static int take_handed(char* buffer, size_t size) {
    if (!handed.full.load(std::memory_order_acquire)) return -1;
    const int count = std::min(handed.length - handed.taken, static_cast<int>(size));
    memcpy(buffer, handed.bytes + handed.taken, static_cast<size_t>(count));
    handed.taken += count;
    if (count > 0 && handed.taken == handed.length) {
        handed.full.store(false, std::memory_order_release);
        SetEvent(taken_event());
    }
    return count;
}

int read_input(char* buffer, size_t size) {
    return needs_thread() ? take_handed(buffer, size) : read_handle(buffer, size);
}

void wait_for_input(int milliseconds) {
    constexpr double LIVELY =
        2.0; // seconds: after so long a silence pipes are looked at less often
    const double begin = monotonic_seconds(), end = begin + milliseconds * 1e-3;
    for (;;) {
        if (input_waiting()) return;
        const double now = monotonic_seconds();
        if (now >= end) return;
        double rest = (end - now) * 1e3 + 1.0;
        if (!thread_waits) rest = std::min(rest, now - begin < LIVELY ? 1.0 : 5.0);
        if (WaitForSingleObject(wake_event(), static_cast<DWORD>(rest)) == WAIT_OBJECT_0) return;
    }
}

void wait_for_wake(int milliseconds) {
    WaitForSingleObject(wake_event(), static_cast<DWORD>(milliseconds));
}
