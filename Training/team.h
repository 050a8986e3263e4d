// team.h: threads that are kept for a whole run and share out work.
//
// One thread makes the team, hands it work and ends it; it works as well, as worker 0. What tasks
// write must not overlap. What the team has done is seen by the caller, and by tasks handed out
// later.

#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <thread>
#include <vector>

struct Team {
    std::vector<std::thread> members; // all but the caller; worker 1 and so on

    // The round of work, written by the caller before it raises `round`.
    void (*run)(const void* work, size_t task, int worker);
    const void* work;
    size_t tasks;
    bool over; // the team ends

    std::atomic<uint32_t> round;   // raised by the caller when there is work
    std::atomic<uint32_t> working; // members that have not finished it; any of them
    std::atomic<size_t> next;      // first task that nobody has taken; any worker
};
using TeamPointer = std::unique_ptr<Team, void (*)(Team*)>;

// Starts threads - 1 members, which wait for work until the pointer is dropped; `threads` is at
// least 1.
TeamPointer make_team(int threads);

// Number of workers, the caller counted.
inline int team_size(const Team& team) { return static_cast<int>(team.members.size()) + 1; }

// Lets the team do its round and waits for the end of it: run_tasks's part that knows no types.
void do_round(Team& team);

// Calls work(task, worker) for tasks 0 ... tasks - 1, each once: whoever is free takes the next
// task. Returns when all are done.
template <class Work>
void run_tasks(Team& team, size_t tasks, const Work& work) {
    team.run = [](const void* context, size_t task, int worker) {
        (*static_cast<const Work*>(context))(task, worker);
    };
    team.work = &work;
    team.tasks = tasks;
    do_round(team);
}
