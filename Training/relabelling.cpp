#include "Training/relabelling.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Training/ply_data.h"
#include "Training/ply_filter.h"
#include "Training/random_start.h"
#include "Training/selfplay_game.h"
#include "board/attack.h"
#include "board/make.h"
#include "eval/evaluate.h"
#include "search/search.h"
#include "search/thread.h"

bool prepare_relabelling(const RelabelSettings& settings, const char* network) {
    if (!prepare_engine(settings.hash_mb)) {
        fprintf(stderr, "no memory\n");
        return false;
    }
    return choose_evaluation(network);
}

namespace {

struct Answer {
    Move move;  // the best one, or 0
    int score;  // from the side to move's view
    bool quiet; // quiescence changed nothing; true for a search
};

} // namespace

// Static score of the game's position, which is not in check, or the best score by captures.
static Answer quiescence_answer(Position& pos) {
    constexpr uint64_t NO_LIMIT = UINT64_MAX;
    constexpr int ROOT = 1;

    SearchThread& thread = thread_of(pos);
    reset_search_stack(thread);
    thread.node_limit = NO_LIMIT;
    engine.root_side = pos.side;
    Move pv[PLY_SLOTS] = {};
    SearchStackEntry& node = thread.stack[ROOT];
    node.node_type = NODE_PV;
    node.in_check = 0;
    node.checker_square = NO_SQUARE;
    node.static_eval = static_cast<int16_t>(Evaluate(thread, pos.side, ROOT, 0));
    int score = quiesce(pos, pos.side, ROOT, 0, -INFINITE_SCORE, INFINITE_SCORE, NODE_PV, pv);
    return {NULL_MOVE, score, score == node.static_eval};
}

// Searches the game's position, which has a legal move and is not in check.
static Answer find_answer(Position& pos, const RelabelSettings& settings) {
    constexpr uint64_t HARD_FACTOR = 8, MIN_HARD_NODES = 4000; // limit that breaks an iteration off
    set_relaxed(engine.stop, 0);
    if (settings.nodes == 0) return quiescence_answer(pos);

    const auto nodes = static_cast<uint64_t>(settings.nodes);
    const SearchAnswer answer =
        search_by_nodes(nodes, std::max(MIN_HARD_NODES, nodes * HARD_FACTOR));
    return {answer.move, answer.score, true};
}

bool relabel_record(PlyRecord& record, const RelabelSettings& settings) {
    Position& pos = main_thread->position;
    if (!unpack_ply(pos, record) || king_in_check(pos) || all_legal_moves(pos).empty())
        return false;
    const Answer answer = find_answer(pos, settings);
    record.score = static_cast<int16_t>(answer.score);
    if (record.move == NULL_MOVE && answer.move != NULL_MOVE) {
        PlyRecord packed;
        pack_ply(packed, pos, answer.move, answer.score, record_ply(record));
        record.move = answer.move;
        record.place = packed.place | (record.place & RECORD_FIRST);
    }
    return true;
}

bool make_neighbour(PlyRecord& neighbour, const PlyRecord& record, const RelabelSettings& settings,
                    Random& random) {
    Position& pos = main_thread->position;
    if (!unpack_ply(pos, record)) return false;
    uint64_t steps = 1 + next_random(random) % static_cast<uint64_t>(settings.max_steps);
    for (uint64_t i = 0; i < steps; i++) {
        std::vector<Move> moves = all_legal_moves(pos);
        if (moves.empty()) return false;
        make_game_move(pos, moves[next_random(random) % moves.size()]);
    }
    if (king_in_check(pos) || all_legal_moves(pos).empty()) return false;
    if (!castles_with_outer_rooks(pos)) return false; // a record can't hold it

    // What training would drop whatever the search says needs no search.
    const int ply = record_ply(record);
    pack_ply(neighbour, pos, NULL_MOVE, 0, ply);
    if (judge_ply(neighbour, PLY_FOR_NETWORK) != PLY_KEPT) return false;
    const Answer answer = find_answer(pos, settings);
    pack_ply(neighbour, pos, answer.move, answer.score, ply);
    if (!answer.quiet) return false;
    neighbour.state |= static_cast<uint8_t>(NO_RESULT_KNOWN << RECORD_RESULT_SHIFT);
    neighbour.state |= static_cast<uint8_t>(record.state & RECORD_CHESS960);
    return judge_ply(neighbour, PLY_FOR_NETWORK) == PLY_KEPT;
}

namespace {

// What workers and caller share, in front of the results.
struct SharedState {
    std::atomic<uint64_t> next; // chunk of records to be worked at
    std::atomic<uint64_t> done;
};

constexpr size_t CHUNK_RECORDS = 256;      // records that a worker takes at a time
constexpr uint64_t REPORT_RECORDS = 50000; // records from one message to the next

} // namespace

// Results of one record: `neighbours` of them, or one. A result that isn't there has no units.
static void work_at(const PlyRecord& record, PlyRecord* out, const RelabelSettings& settings,
                    Random random) {
    bool used = is_sound(record) && judge_ply(record, PLY_FOR_NETWORK) == PLY_KEPT;
    if (settings.neighbours == 0) {
        *out = record;
        if (used) relabel_record(*out, settings);
        return;
    }
    for (int i = 0; used && i < settings.neighbours; i++)
        if (!make_neighbour(out[i], record, settings, random)) out[i] = {};
}

static void run_worker(SharedState& shared, const RelabelPart& part, PlyRecord* out,
                       const RelabelSettings& settings) {
    const std::vector<PlyRecord>& records = part.records;
    const size_t results = static_cast<size_t>(std::max(settings.neighbours, 1));
    for (;;) {
        size_t begin = shared.next.fetch_add(1) * CHUNK_RECORDS;
        if (begin >= records.size()) return;
        size_t end = std::min(records.size(), begin + CHUNK_RECORDS);
        for (size_t i = begin; i < end; i++)
            work_at(records[i], out + i * results, settings,
                    {mix_seed(settings.seed, part.first + i)});
        uint64_t done = part.first + shared.done.fetch_add(end - begin) + (end - begin);
        if (done / REPORT_RECORDS != (done - (end - begin)) / REPORT_RECORDS)
            fprintf(stderr, "%llu of %llu records\n", static_cast<unsigned long long>(done),
                    static_cast<unsigned long long>(part.whole));
    }
}

// The results in order, without those that aren't there.
static std::vector<PlyRecord> gather(const std::vector<PlyRecord>& records, const PlyRecord* out,
                                     const RelabelSettings& settings) {
    if (settings.neighbours == 0) return {out, out + records.size()};
    std::vector<PlyRecord> gathered;
    for (size_t i = 0; i < records.size(); i++) {
        if (records[i].place & RECORD_FIRST) gathered.push_back(records[i]);
        for (int k = 0; k < settings.neighbours; k++)
            if (const PlyRecord* result = out + i * static_cast<size_t>(settings.neighbours) + k;
                result->occupied)
                gathered.push_back(*result);
    }
    return gathered;
}

static bool wait_for(const std::vector<pid_t>& workers) {
    bool all_well = true;
    for (pid_t worker : workers) {
        int status = 0;
        all_well = waitpid(worker, &status, 0) == worker && WIFEXITED(status)
                && WEXITSTATUS(status) == 0 && all_well;
    }
    return all_well;
}

bool relabel_records(std::vector<PlyRecord>& results, const RelabelPart& part,
                     const RelabelSettings& settings) {
    constexpr size_t HEAD_BYTES = 64;
    const size_t most = part.records.size() * static_cast<size_t>(std::max(settings.neighbours, 1));
    const size_t bytes = HEAD_BYTES + most * sizeof(PlyRecord);
    void* memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) return false;
    auto* shared = new (memory) SharedState{};
    auto* out = reinterpret_cast<PlyRecord*>(static_cast<char*>(memory) + HEAD_BYTES);

    fflush(stdout); // a child must not print what waits here
    std::vector<pid_t> workers;
    bool all_well = true;
    for (int i = 0; i < settings.workers && all_well; i++) {
        pid_t pid = fork();
        if (pid == 0) {
            run_worker(*shared, part, out, settings);
            _exit(0);
        }
        all_well = pid > 0;
        if (pid > 0) workers.push_back(pid);
    }
    all_well = wait_for(workers) && all_well;
    if (all_well) results = gather(part.records, out, settings);
    munmap(memory, bytes);
    return all_well;
}
