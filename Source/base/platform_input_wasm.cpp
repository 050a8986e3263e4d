// Standard input of a page: lines that a script hands over.
//
// With threads the engine runs beside the script and waits. Without them the script calls it, and a
// wait goes back to the script, which calls again when there is more.

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <string>

#include <emscripten.h>
#include <pthread.h>

#include "base/platform.h"
#include "base/platform_wasm.h"

static pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
static pthread_cond_t changed = PTHREAD_COND_INITIALIZER;
static std::string handed; // and not read yet
static bool woken;

void give_input(const char* text) {
    pthread_mutex_lock(&mutex);
    handed += text;
    woken = true;
    pthread_cond_signal(&changed);
    pthread_mutex_unlock(&mutex);
}

void wake_main_thread() { give_input(""); }

bool input_waiting() {
    pthread_mutex_lock(&mutex);
    const bool waiting = !handed.empty();
    pthread_mutex_unlock(&mutex);
    return waiting;
}

int read_input(char* buffer, size_t size) {
    pthread_mutex_lock(&mutex);
    const size_t count = std::min(size, handed.size());
    memcpy(buffer, handed.data(), count);
    handed.erase(0, count);
    pthread_mutex_unlock(&mutex);
    return count > 0 ? static_cast<int>(count) : -1;
}

#if defined(__EMSCRIPTEN_PTHREADS__)

static void wait_for_any(bool heard, int milliseconds) {
    timespec end;
    clock_gettime(CLOCK_REALTIME, &end);
    end.tv_sec += milliseconds / 1000;
    end.tv_nsec += milliseconds % 1000 * 1000000L;
    if (end.tv_nsec >= 1000000000L) {
        end.tv_sec++;
        end.tv_nsec -= 1000000000L;
    }
    pthread_mutex_lock(&mutex);
    while (!woken && !(heard && !handed.empty()))
        if (pthread_cond_timedwait(&changed, &mutex, &end) == ETIMEDOUT) break;
    woken = false;
    pthread_mutex_unlock(&mutex);
}

void wait_for_input(int milliseconds) { wait_for_any(true, milliseconds); }

void wait_for_wake(int milliseconds) { wait_for_any(false, milliseconds); }

#else

void wait_for_input(int) {
    if (!input_waiting()) emscripten_exit_with_live_runtime(); // which does not return
}

// All searches are over when this is called.
void wait_for_wake(int) {}

#endif
