// lock.h: the spin locks that threads share, for the whole run.
//
// Any thread may take them. Where two of them are held, report_lock comes first.

#pragma once

#include <atomic>

// A lock that is held for microseconds, as long as nothing slows its holder down. Waiters spin on
// plain reads between attempts, and rest in between when it takes longer: a slow reader of the
// output may hold up a line for as long as it likes.
struct SpinLock {
    std::atomic<bool> taken; // by whoever holds the lock
};
extern SpinLock print_lock;  // around each line of Print
extern SpinLock report_lock; // around search reports and the summing of counters
extern SpinLock root_lock;   // around the node counts by iteration

// Waits until the lock is free and takes it; a thread that holds it already waits for ever.
void lock(SpinLock& spin);

// Frees the lock, which is taken. What was written before is seen by the next holder.
void unlock(SpinLock& spin);
