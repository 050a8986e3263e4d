#include "Training/workers.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <deque>
#include <filesystem>
#include <vector>

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Training/data_header.h"
#include "Training/ply_file.h"
#include "Training/scorer.h"
#include "base/checksum.h"
#include "base/platform.h"
#include "base/random.h"
#include "base/state.h"

namespace {

// What a worker tells the parent; written by the worker alone.
struct WorkerReport {
    std::atomic<uint64_t> games;
    std::atomic<uint64_t> positions;
    std::atomic<uint64_t> kept;
    std::atomic<uint8_t> playing; // 1 once its file has been read
};

// A worker's part of the run.
struct WorkerTask {
    int number;
    pid_t parent;
    DataHeader header; // of its file
    uint64_t games;    // goals; 0: none
    uint64_t positions;
    double end_time; // of the run, in monotonic seconds; 0: none
    double turn;     // seconds after which another worker is to play; 0: none
};

} // namespace

constexpr int TURN_OVER = SELFPLAY_STOPPED + 1; // status of a worker that wants to play on

std::string ply_file_name(const SelfplaySettings& settings, int worker) {
    return settings.out + "/games-" + std::to_string(settings.seed) + "-" + std::to_string(worker)
         + ".ply";
}

static void interrupt_games(int) { set_relaxed(selfplay_interrupted, 1); }

// An even share of `total`; 0 stays 0. The first workers take one more where it doesn't divide.
static uint64_t share_of(uint64_t total, int worker, int workers) {
    auto count = static_cast<uint64_t>(workers);
    return total / count + (static_cast<uint64_t>(worker) < total % count);
}

static bool goal_reached(const WorkerTask& task, const SelfplaySettings& settings,
                         const GameCounts& counts) {
    return (settings.games && counts.games >= task.games)
        || (settings.positions && counts.positions >= task.positions)
        || (task.end_time > 0.0 && monotonic_seconds() >= task.end_time)
        || getppid() != task.parent; // nobody is left to stop this process
}

static void publish_counts(WorkerReport& report, const GameCounts& counts) {
    set_relaxed(report.games, counts.games);
    set_relaxed(report.positions, counts.positions);
    set_relaxed(report.kept, counts.kept);
    report.playing.store(1, std::memory_order_release);
}

static uint64_t seed_of_worker(const SelfplaySettings& settings, int worker) {
    return mix_seed(settings.seed, static_cast<uint64_t>(worker));
}

static uint64_t openings_checksum(const std::vector<std::string>& openings) {
    uint64_t sum = EMPTY_CHECKSUM;
    for (const std::string& fen : openings) sum = add_checksum(sum, fen.c_str(), fen.size() + 1);
    return sum;
}

// What the files of the run have in common.
static DataHeader header_of_run(const SelfplaySettings& settings, const Scorer& scorer) {
    const GameSettings& game = settings.game;
    DataHeader header = new_data_header(DATA_GAMES, 0);
    header.scorer = scorer;
    header.run_seed = settings.seed;
    header.whole_games = 1;
    header.chess960_share = static_cast<uint32_t>(game.chess960_share);
    if (game.openings.empty() || game.openings_share == 0) return header;
    header.openings_share = static_cast<uint32_t>(game.openings_share);
    header.openings = openings_checksum(game.openings);
    return header;
}

static DataHeader header_of_worker(DataHeader header, const SelfplaySettings& settings,
                                   int worker) {
    header.seed = static_cast<uint32_t>(seed_of_worker(settings, worker));
    header.worker = static_cast<uint32_t>(worker);
    return header;
}

// Tells whether the run can go on with the files that there are; if not, after a message about the
// first that is against it, so that none of them grows and one line says why.
static bool can_go_on(const DataHeader& header, const SelfplaySettings& settings) {
    for (int worker = 0; worker < settings.workers; worker++) {
        const std::string name = ply_file_name(settings, worker);
        const std::string reason =
            reason_against(name.c_str(), header_of_worker(header, settings, worker));
        if (reason.empty()) continue;
        fprintf(stderr, "%s %s\n", name.c_str(), reason.c_str());
        return false;
    }
    return true;
}

// A turn of a worker, or all of its life. Returns the exit status.
static int run_worker(const WorkerTask& task, const SelfplaySettings& settings,
                      WorkerReport& report) {
    // The engine's own messages belong to nobody here.
    if (!freopen("/dev/null", "w", stdout)) return 1;
    const uint64_t worker_seed = seed_of_worker(settings, task.number);
    std::string name = ply_file_name(settings, task.number);
    PlyFile file = {-1, {}};
    std::string reason = open_ply_file(file, name.c_str(), task.header);
    if (!reason.empty()) {
        fprintf(stderr, "%s %s\n", name.c_str(), reason.c_str());
        return 1;
    }
    if (!prepare_engine(settings.hash_mb)) {
        fprintf(stderr, "no memory for the hash table\n");
        return 1;
    }
    publish_counts(report, file.counts);
    static Game game;
    const double begun = monotonic_seconds();
    bool turn_over = false;
    while (!turn_over && !goal_reached(task, settings, file.counts)
           && play_game(game, settings.game, mix_seed(worker_seed, file.counts.games))) {
        if (!append_game(file, game)) {
            fprintf(stderr, "%s can't be written: %s\n", name.c_str(), strerror(errno));
            return 1;
        }
        publish_counts(report, file.counts);
        turn_over = task.turn > 0.0 && monotonic_seconds() - begun >= task.turn;
    }
    close_ply_file(file);
    if (relaxed(selfplay_interrupted)) return SELFPLAY_STOPPED;
    return turn_over ? TURN_OVER : 0;
}

namespace {

// Sums over the workers, and what they were when all had read their files.
struct Progress {
    GameCounts counts;
    GameCounts before;
    double start; // monotonic seconds at `before`; 0: not all workers play yet
};

} // namespace

static bool sum_reports(GameCounts& counts, const WorkerReport* reports, int workers) {
    bool all_play = true;
    counts = {};
    for (int i = 0; i < workers; i++) {
        if (!reports[i].playing.load(std::memory_order_acquire)) all_play = false;
        counts.games += relaxed(reports[i].games);
        counts.positions += relaxed(reports[i].positions);
        counts.kept += relaxed(reports[i].kept);
    }
    return all_play;
}

// Seconds until the nearest goal at this speed, negative if there is none.
static double time_left(const SelfplaySettings& settings, const Progress& progress,
                        double elapsed) {
    double left = -1.0;
    auto consider = [&](double seconds) {
        if (left < 0.0 || seconds < left) left = seconds > 0.0 ? seconds : 0.0;
    };
    auto at_speed = [&](uint64_t goal, uint64_t now, uint64_t before) {
        if (goal && now > before)
            consider((static_cast<double>(goal) - static_cast<double>(now)) * elapsed
                     / static_cast<double>(now - before));
    };
    at_speed(settings.games, progress.counts.games, progress.before.games);
    at_speed(settings.positions, progress.counts.positions, progress.before.positions);
    if (settings.minutes > 0.0) consider(settings.minutes * 60.0 - elapsed);
    return left;
}

static void report_progress(const SelfplaySettings& settings, const Progress& progress) {
    const GameCounts& now = progress.counts;
    double elapsed = monotonic_seconds() - progress.start + 0.001;
    auto rate = [&](uint64_t count, uint64_t before) {
        return static_cast<double>(count - before) / elapsed;
    };
    double share = static_cast<double>(now.kept) * 100.0
                 / static_cast<double>(now.positions ? now.positions : 1);
    char left[40] = "";
    double seconds = time_left(settings, progress, elapsed);
    if (seconds >= 0.0) snprintf(left, sizeof left, ", %.1f min left", seconds / 60.0);
    fprintf(stderr, "%llu games, %llu positions, %.1f%% kept, %.0f positions/s, %.0f kept/s%s\n",
            static_cast<unsigned long long>(now.games),
            static_cast<unsigned long long>(now.positions), share,
            rate(now.positions, progress.before.positions), rate(now.kept, progress.before.kept),
            left);
}

namespace {

struct Player {
    pid_t process;
    int worker;
};

// All workers of a run but those that are done.
struct Workers {
    std::vector<WorkerTask> tasks; // of all, by number
    std::deque<int> waiting;       // for their turn, the next one first
    std::vector<Player> playing;
    bool failed;
    bool stopped;
};

} // namespace

static WorkerReport* share_reports(int workers) {
    void* memory = mmap(nullptr, static_cast<size_t>(workers) * sizeof(WorkerReport),
                        PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    return memory == MAP_FAILED ? nullptr : static_cast<WorkerReport*>(memory);
}

static Workers plan_workers(const DataHeader& header, const SelfplaySettings& settings) {
    constexpr double FIRST_TURN = 1.0; // seconds; soon all have told what their files hold
    Workers workers = {};
    const double end_time =
        settings.minutes > 0.0 ? monotonic_seconds() + settings.minutes * 60.0 : 0.0;
    const bool turns = settings.workers > settings.at_once;
    const double first_turn = turns ? std::min(settings.turn, FIRST_TURN) : 0.0;
    for (int i = 0; i < settings.workers; i++) {
        workers.tasks.push_back({i, getpid(), header_of_worker(header, settings, i),
                                 share_of(settings.games, i, settings.workers),
                                 share_of(settings.positions, i, settings.workers), end_time,
                                 first_turn});
        workers.waiting.push_back(i);
    }
    return workers;
}

// Lets workers play that wait, as far as there is room. Where one can't be started the others are
// stopped.
static void start_turns(Workers& workers, const SelfplaySettings& settings, WorkerReport* reports) {
    while (!relaxed(selfplay_interrupted) && !workers.waiting.empty()
           && workers.playing.size() < static_cast<size_t>(settings.at_once)) {
        const int worker = workers.waiting.front();
        WorkerTask& task = workers.tasks[static_cast<size_t>(worker)];
        fflush(nullptr); // what is in the buffers must not be written once by each process
        const pid_t child = fork();
        if (child == 0) _exit(run_worker(task, settings, reports[worker]));
        if (child < 0) {
            fprintf(stderr, "can't start a worker: %s\n", strerror(errno));
            workers.failed = true;
            set_relaxed(selfplay_interrupted, 1);
            return;
        }
        workers.waiting.pop_front();
        workers.playing.push_back({child, worker});
        if (task.turn > 0.0) task.turn = settings.turn;
    }
}

// Takes those out that have ended. They wait for another turn, or are done.
static void end_turns(Workers& workers) {
    for (size_t i = workers.playing.size(); i-- > 0;) {
        const Player player = workers.playing[i];
        int status = 0;
        if (waitpid(player.process, &status, WNOHANG) == 0) continue;
        const int ended_with = WIFEXITED(status) ? WEXITSTATUS(status) : 1;
        workers.playing.erase(workers.playing.begin() + static_cast<std::ptrdiff_t>(i));
        if (ended_with == TURN_OVER) workers.waiting.push_back(player.worker);
        else if (ended_with == SELFPLAY_STOPPED) workers.stopped = true;
        else if (ended_with != 0) workers.failed = true;
    }
}

// Passes an interruption on: those that wait play no more.
static void stop_workers(Workers& workers) {
    for (const Player& player : workers.playing) kill(player.process, SIGTERM);
    workers.stopped |= !workers.waiting.empty();
    workers.waiting.clear();
}

// Lets the workers play to the end, and reports now and then. Returns 1 if one of them failed, else
// SELFPLAY_STOPPED if one was stopped, else 0.
static int watch_workers(Workers& workers, const SelfplaySettings& settings,
                         WorkerReport* reports) {
    constexpr int LOOK_MS = 50;
    constexpr double REPORT_SECONDS = 10.0;

    Progress progress = {};
    double next_report = 0.0;
    bool over = false;
    do {
        start_turns(workers, settings, reports);
        sleep_ms(LOOK_MS);
        end_turns(workers);
        if (relaxed(selfplay_interrupted)) stop_workers(workers);
        over = workers.playing.empty() && workers.waiting.empty();
        const bool all_play = sum_reports(progress.counts, reports, settings.workers);
        if (progress.start == 0.0 && all_play) {
            progress.before = progress.counts;
            progress.start = monotonic_seconds();
            next_report = progress.start + REPORT_SECONDS;
        }
        const bool due = over || monotonic_seconds() >= next_report;
        if (!settings.report || progress.start == 0.0 || !due) continue;
        report_progress(settings, progress);
        next_report += REPORT_SECONDS;
    } while (!over);
    if (workers.failed) return 1;
    return workers.stopped ? SELFPLAY_STOPPED : 0;
}

int run_selfplay(const SelfplaySettings& settings) {
    std::error_code error;
    std::filesystem::create_directories(settings.out, error);
    Scorer scorer;
    if (!describe_scorer(scorer, settings.game.nodes, settings.hash_mb)) {
        fprintf(stderr, "no memory for the hash table\n");
        return 1;
    }
    const DataHeader header = header_of_run(settings, scorer);
    if (!can_go_on(header, settings)) return 1;
    WorkerReport* reports = share_reports(settings.workers);
    if (!reports) {
        fprintf(stderr, "no memory for the workers\n");
        return 1;
    }
    set_relaxed(selfplay_interrupted, 0);
    struct sigaction action = {}, old_int = {}, old_term = {};
    action.sa_handler = interrupt_games;
    sigaction(SIGINT, &action, &old_int);
    sigaction(SIGTERM, &action, &old_term);

    Workers workers = plan_workers(header, settings);
    const int status = watch_workers(workers, settings, reports);

    sigaction(SIGINT, &old_int, nullptr);
    sigaction(SIGTERM, &old_term, nullptr);
    munmap(reports, static_cast<size_t>(settings.workers) * sizeof(WorkerReport));
    return status;
}
