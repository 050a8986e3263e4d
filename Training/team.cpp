#include "Training/team.h"

// Looks at a condition for some ten microseconds, as rounds follow one another within that time;
// going to sleep and being woken takes longer.
template <class Condition>
static bool comes_soon(const Condition& condition) {
    constexpr int LOOKS = 500;
    for (int i = 0; i < LOOKS; i++) {
        if (condition()) return true;
        __builtin_ia32_pause();
    }
    return condition();
}

static void take_tasks(Team& team, int worker) {
    for (size_t task = team.next++; task < team.tasks; task = team.next++)
        team.run(team.work, task, worker);
}

static void live(Team* team, int worker) {
    for (uint32_t seen = 0;; seen++) {
        while (!comes_soon([&] { return team->round.load(std::memory_order_acquire) != seen; }))
            team->round.wait(seen, std::memory_order_acquire);
        if (team->over) return;
        take_tasks(*team, worker);
        if (team->working.fetch_sub(1, std::memory_order_acq_rel) == 1) team->working.notify_one();
    }
}

static void begin_round(Team& team) {
    team.next.store(0, std::memory_order_relaxed);
    team.working.store(static_cast<uint32_t>(team.members.size()), std::memory_order_relaxed);
    team.round.fetch_add(1, std::memory_order_release);
    team.round.notify_all();
}

void do_round(Team& team) {
    begin_round(team);
    take_tasks(team, 0);
    auto done = [&] { return team.working.load(std::memory_order_acquire) == 0; };
    while (!comes_soon(done))
        if (uint32_t left = team.working.load(std::memory_order_acquire))
            team.working.wait(left, std::memory_order_acquire);
}

static void end_team(Team* team) {
    team->over = true;
    begin_round(*team);
    for (std::thread& member : team->members) member.join();
    delete team;
}

TeamPointer make_team(int threads) {
    TeamPointer team(new Team{}, end_team);
    for (int worker = 1; worker < threads; worker++)
        team->members.emplace_back(live, team.get(), worker);
    return team;
}
