#include "base/lock.h"

#include "base/platform.h"

SpinLock print_lock, report_lock, root_lock;

void lock(SpinLock& spin) {
    constexpr int PATIENCE = 500; // looks before the processor is given away
    constexpr int REST_US = 50;   // from then on, between two looks

    int looks = 0;
    while (spin.taken.exchange(true, std::memory_order_acquire))
        while (spin.taken.load(std::memory_order_relaxed)) {
            if (++looks < PATIENCE) relax_processor();
            else sleep_us(REST_US);
        }
}

void unlock(SpinLock& spin) { spin.taken.store(false, std::memory_order_release); }
