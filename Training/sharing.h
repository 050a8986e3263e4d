// sharing.h: work shared out among threads.
//
// The calling thread works as well and returns when all is done; threads live for one call. What
// the shares write must not overlap.

#pragma once

#include <cstddef>
#include <thread>
#include <vector>

// Calls work(0) ... work(threads - 1), each on a thread of its own, and waits for all of them.
template <class Work>
void run_workers(int threads, const Work& work) {
    std::vector<std::thread> team;
    for (int i = 1; i < threads; i++) team.emplace_back([&work, i] { work(i); });
    work(0);
    for (std::thread& thread : team) thread.join();
}

// Begin of a worker's share of `count` things; its end is the begin of the next worker's.
inline size_t share_begin(size_t count, int worker, int threads) {
    return count * static_cast<size_t>(worker) / static_cast<size_t>(threads);
}
