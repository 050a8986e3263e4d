// lock.h: the spin locks that threads share, for the whole run.
//
// Any thread may take them. Where two of them are held, report_lock comes first.

#pragma once

#include <atomic>

// A lock that is held for microseconds only. Waiters spin on plain reads between attempts.
struct SpinLock {
    std::atomic<bool> taken;
};
extern SpinLock print_lock;  // around each line of Print
extern SpinLock report_lock; // around search reports and the summing of counters
extern SpinLock root_lock;   // around the node counts by iteration

void lock(SpinLock& spin);
void unlock(SpinLock& spin);
