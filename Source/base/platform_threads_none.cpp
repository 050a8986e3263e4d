// Threads where there are none: a function runs when it is started. One that waits for a number
// comes back instead, and is called again when the number is set.

#include "base/platform.h"

static constexpr uint64_t OVER = 0, WAITING = 1; // what a handle tells of its function

static ThreadFunction waiting; // null: none
static void* waiting_argument;
static bool asked; // by the function that runs, to wait

int start_joinable(ThreadHandle& handle, ThreadFunction function, void* argument) {
    asked = false;
    function(argument);
    handle.id = asked ? WAITING : OVER;
    if (!asked) return 0;
    waiting = function;
    waiting_argument = argument;
    return 0;
}

void set_number(std::atomic<int>& number, int value) {
    number.store(value, std::memory_order_relaxed);
    if (waiting && value != 0) waiting(waiting_argument);
}

// 0, which no waiting function goes on with, where nobody could ever change the number.
int wait_for_number(const std::atomic<int>& number, int seen) {
    const int value = number.load(std::memory_order_relaxed);
    if (value != seen) return value;
    asked = true;
    return 0;
}

int join_thread(ThreadHandle handle) {
    if (handle.id == WAITING) waiting = nullptr;
    return 0;
}
