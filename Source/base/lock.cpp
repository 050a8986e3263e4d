#include "base/lock.h"

#include "base/platform.h"

SpinLock print_lock, report_lock, root_lock;

void lock(SpinLock& spin) {
    while (spin.taken.exchange(true, std::memory_order_acquire))
        while (spin.taken.load(std::memory_order_relaxed)) relax_processor();
}

void unlock(SpinLock& spin) { spin.taken.store(false, std::memory_order_release); }
