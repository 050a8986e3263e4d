// Threads by the POSIX interface, which Windows has by way of its compiler's library.

#include <cerrno>
#include <cstdlib>

#include <pthread.h>

#include "base/platform.h"

namespace {

struct Start {
    ThreadFunction function;
    void* argument;
};

// Searches recurse 70 plies deep with small frames; this leaves a wide margin also for
// sanitizers, and 160 of them stay small since only touched pages count.
constexpr size_t STACK_BYTES = 4 << 20;

} // namespace

static void* thread_entry(void* memory) {
    Start start = *static_cast<Start*>(memory);
    free(memory);
    start.function(start.argument);
    return nullptr;
}

int start_joinable(ThreadHandle& handle, ThreadFunction function, void* argument) {
    auto* start = static_cast<Start*>(malloc(sizeof(Start)));
    if (!start) return ENOMEM;
    *start = {function, argument};

    pthread_t thread;
    pthread_attr_t attributes;
    int error = pthread_attr_init(&attributes);
    if (error == 0) {
        pthread_attr_setstacksize(&attributes, STACK_BYTES);
        error = pthread_create(&thread, &attributes, thread_entry, start);
        pthread_attr_destroy(&attributes);
    }
    if (error == 0) handle.id = static_cast<uint64_t>(thread);
    else free(start);
    return error;
}

// One of each serves all numbers: few threads wait, and they look again when they are woken.
static pthread_mutex_t number_mutex = PTHREAD_MUTEX_INITIALIZER;
static pthread_cond_t number_changed = PTHREAD_COND_INITIALIZER;

void set_number(std::atomic<int>& number, int value) {
    pthread_mutex_lock(&number_mutex);
    number.store(value, std::memory_order_release);
    pthread_cond_broadcast(&number_changed);
    pthread_mutex_unlock(&number_mutex);
}

int wait_for_number(const std::atomic<int>& number, int seen) {
    pthread_mutex_lock(&number_mutex);
    while (number.load(std::memory_order_acquire) == seen)
        pthread_cond_wait(&number_changed, &number_mutex);
    const int value = number.load(std::memory_order_acquire);
    pthread_mutex_unlock(&number_mutex);
    return value;
}

int join_thread(ThreadHandle handle) {
    return pthread_join(static_cast<pthread_t>(handle.id), nullptr);
}
