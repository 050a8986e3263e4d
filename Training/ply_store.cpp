#include "Training/ply_store.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstdio>
#include <numeric>

#include "Training/data_file.h"
#include "Training/data_header.h"
#include "base/checksum.h"
#include "base/random.h"

constexpr size_t RUN_WORDS = RUN_RECORDS / 64; // of bits

// Memory of a record of a piece, in bytes: itself and its place in the order.
constexpr uint64_t RECORD_MEMORY = sizeof(PlyRecord) + sizeof(uint32_t);

namespace {

// A run while the files are read for the first time.
struct FreshRun {
    std::vector<PlyRecord> records;
    uint32_t seed;    // of the file
    uint64_t game;    // number of the game in the file that its first record belongs to
    uint64_t games;   // games that begin in it, the file's first not counted
    bool begins_file; // its first record is the file's
    PlyCounts counts; // what became of its records
    std::vector<PlyRecord> validation;
    uint64_t checksum;
};

} // namespace

// Reads a run. Returns false, after a message, if the file has become too short.
static bool read_run(std::vector<PlyRecord>& records, const PlyStore& store, const PlyRun& run) {
    const std::string& name = store.files[run.file];
    FILE* file = fopen(name.c_str(), "rb");
    records.resize(run.records);
    bool read = file && fseek(file, static_cast<long>(run.place), SEEK_SET) == 0
             && fread(records.data(), sizeof(PlyRecord), run.records, file) == run.records;
    if (file) fclose(file);
    if (!read) fprintf(stderr, "%s: can't be read\n", name.c_str());
    return read;
}

// Appends the runs of a file, and its seed for each of them.
static bool list_runs(PlyStore& store, std::vector<uint32_t>& seeds, uint32_t number) {
    DataFile data;
    if (!open_data_file(data, store.files[number].c_str())) {
        fprintf(stderr, "%s: no data file\n", store.files[number].c_str());
        return false;
    }
    const uint64_t first = static_cast<uint64_t>(ftell(data.file));
    fclose(data.file);
    for (uint64_t i = 0; i < data.records; i += RUN_RECORDS) {
        const uint64_t records = std::min(RUN_RECORDS, data.records - i);
        store.runs.push_back(
            {number, static_cast<uint32_t>(records), first + i * sizeof(PlyRecord), 0});
        seeds.push_back(data.header.seed);
    }
    store.records += data.records;
    return true;
}

// First look at a run, for which the runs before it need not be known.
static bool look_at(FreshRun& fresh, const PlyStore& store, const PlyRun& run, uint32_t seed) {
    fresh = {};
    if (!read_run(fresh.records, store, run)) return false;
    fresh.seed = seed;
    fresh.begins_file = &run == store.runs.data() || run.file != (&run)[-1].file;
    for (size_t i = 0; i < fresh.records.size(); i++)
        fresh.games += (i > 0 || !fresh.begins_file) && fresh.records[i].place & RECORD_FIRST;
    fresh.checksum = add_checksum(EMPTY_CHECKSUM, &seed, sizeof seed);
    fresh.checksum = add_checksum(fresh.checksum, fresh.records.data(),
                                  fresh.records.size() * sizeof(PlyRecord));
    return true;
}

// Sorts a run's records once the number of its first game is known.
static void sort_run(FreshRun& fresh, PlyRun& run, uint64_t* kept, const PlyFilter& filter) {
    uint64_t game = fresh.game;
    bool held_out = is_validation_game(fresh.seed, game);
    for (size_t i = 0; i < fresh.records.size(); i++) {
        const PlyRecord& record = fresh.records[i];
        if ((i > 0 || !fresh.begins_file) && record.place & RECORD_FIRST)
            held_out = is_validation_game(fresh.seed, ++game);
        switch (sort_ply(record, held_out, filter, fresh.counts)) {
        case FOR_TRAINING:
            kept[i / 64] |= 1ULL << i % 64;
            run.training++;
            break;
        case FOR_VALIDATION: fresh.validation.push_back(record); break;
        case FOR_NOTHING: break;
        }
    }
}

// Puts a sorted run's results into the store.
static void take_run(PlyStore& store, const FreshRun& fresh, const PlyRun& run) {
    add_counts(store.counts, fresh.counts);
    store.counts.games += fresh.games + (fresh.begins_file ? 1 : 0);
    store.validation.insert(store.validation.end(), fresh.validation.begin(),
                            fresh.validation.end());
    store.training += run.training;
    store.checksum = add_checksum(store.checksum, &fresh.checksum, sizeof fresh.checksum);
}

// Reads all runs once, some of them at a time.
static bool read_runs(PlyStore& store, const std::vector<uint32_t>& seeds, const PlyFilter& filter,
                      Team& team) {
    constexpr size_t AT_A_TIME = 128; // runs: 32 MiB
    std::vector<FreshRun> fresh(std::min(AT_A_TIME, store.runs.size()));
    uint64_t game = 0;
    for (size_t first = 0; first < store.runs.size(); first += AT_A_TIME) {
        const size_t count = std::min(AT_A_TIME, store.runs.size() - first);
        std::atomic<bool> read = true;
        run_tasks(team, count, [&](size_t i, int) {
            if (!look_at(fresh[i], store, store.runs[first + i], seeds[first + i])) read = false;
        });
        if (!read) return false;
        for (size_t i = 0; i < count; i++) {
            if (fresh[i].begins_file) game = 0;
            fresh[i].game = game;
            game += fresh[i].games;
        }
        run_tasks(team, count, [&](size_t i, int) {
            sort_run(fresh[i], store.runs[first + i], &store.kept[(first + i) * RUN_WORDS], filter);
        });
        for (size_t i = 0; i < count; i++) take_run(store, fresh[i], store.runs[first + i]);
    }
    return true;
}

bool open_store(PlyStore& store, const std::vector<std::string>& files,
                const StoreSettings& settings, Team& team) {
    constexpr double MIB = 1024.0 * 1024.0;
    store = {};
    store.files = files;
    store.ahead = settings.ahead;
    std::vector<uint32_t> seeds;
    for (size_t i = 0; i < files.size(); i++)
        if (!list_runs(store, seeds, static_cast<uint32_t>(i))) return false;
    store.kept.resize(store.runs.size() * RUN_WORDS);
    if (!read_runs(store, seeds, settings.filter, team)) return false;

    // A piece may be larger than its share by a part of a run.
    const uint64_t room = static_cast<uint64_t>(settings.memory_mb * MIB) / RECORD_MEMORY;
    if (store.training > room) {
        const uint64_t share = std::max<uint64_t>(room, 2 * RUN_RECORDS) - RUN_RECORDS;
        store.pieces = static_cast<size_t>((store.training + share - 1) / share);
    }
    return true;
}

void fill_store(PlyStore& store, const std::vector<PlyRecord>& records) {
    store = {};
    store.piece.assign(records.begin(), records.end());
    store.training = store.records = records.size();
}

// Copies a run's records for training. Returns false, after a message, if it can't be read.
static bool copy_run(PlyRecord* out, const PlyStore& store, size_t number) {
    std::vector<PlyRecord> records;
    if (!read_run(records, store, store.runs[number])) return false;
    if (store.ahead > 0) look_ahead(records.data(), records.size(), store.ahead);
    const uint64_t* kept = &store.kept[number * RUN_WORDS];
    for (size_t word = 0; word < RUN_WORDS; word++)
        for (uint64_t bits = kept[word]; bits; bits &= bits - 1)
            *out++ = records[word * 64 + static_cast<size_t>(std::countr_zero(bits))];
    return true;
}

// Appends the records of runs[numbers[first]] to runs[numbers[end - 1]] to the piece.
static bool append_runs(PlyStore& store, const std::vector<uint32_t>& numbers, size_t first,
                        size_t end, Team& team) {
    std::vector<size_t> places = {store.piece.size()};
    for (size_t i = first; i < end; i++)
        places.push_back(places.back() + store.runs[numbers[i]].training);
    store.piece.resize(places.back());
    std::atomic<bool> read = true;
    run_tasks(team, end - first, [&](size_t i, int) {
        if (!copy_run(&store.piece[places[i]], store, numbers[first + i])) read = false;
    });
    return read;
}

static void shuffle(uint32_t* values, size_t count, uint64_t seed) {
    Random random = {seed};
    for (size_t i = count; i > 1; i--) std::swap(values[i - 1], values[next_random(random) % i]);
}

// Draws an order in which each is as likely as any other: each record goes to one of many heaps by
// chance, and then the heaps, which fit into a cache, are shuffled.
static void draw_order(HugeVector<uint32_t>& order, size_t count, uint64_t seed, Team& team) {
    constexpr size_t HEAPS = 1024;
    order.clear(); // nothing is to be copied
    order.resize(count);
    std::vector<size_t> ends(HEAPS + 1);
    auto for_heaps = [&](auto&& act) {
        Random random = {seed};
        for (size_t i = 0; i < count; i++) act(next_random(random) % HEAPS, i);
    };
    for_heaps([&](size_t heap, size_t) { ends[heap + 1]++; });
    std::partial_sum(ends.begin(), ends.end(), ends.begin());
    std::vector<size_t> places = ends;
    for_heaps([&](size_t heap, size_t i) { order[places[heap]++] = static_cast<uint32_t>(i); });
    run_tasks(team, HEAPS, [&](size_t heap, int) {
        shuffle(order.data() + ends[heap], ends[heap + 1] - ends[heap], mix_seed(seed, heap));
    });
}

// Reads a piece of several from the files.
static bool read_piece(PlyStore& store, uint64_t seed, size_t piece, size_t used, Team& team) {
    std::vector<PlyRecord> left;
    if (piece > 0)
        for (size_t i = used; i < store.order.size(); i++)
            left.push_back(store.piece[store.order[i]]);
    store.piece.clear();
    store.piece.reserve(store.training / store.pieces + left.size() + 2 * RUN_RECORDS);
    store.piece.insert(store.piece.end(), left.begin(), left.end());

    std::vector<uint32_t> numbers(store.runs.size());
    std::iota(numbers.begin(), numbers.end(), 0u);
    shuffle(numbers.data(), numbers.size(), seed);
    // The piece's share are the runs that begin within it.
    const uint64_t low = store.training * piece / store.pieces;
    const uint64_t high = store.training * (piece + 1) / store.pieces;
    size_t first = 0;
    uint64_t seen = 0;
    for (; first < numbers.size() && seen < low; first++)
        seen += store.runs[numbers[first]].training;
    size_t end = first;
    for (; end < numbers.size() && seen < high; end++) seen += store.runs[numbers[end]].training;
    return append_runs(store, numbers, first, end, team);
}

// Reads the only piece.
static bool read_all(PlyStore& store, Team& team) {
    std::vector<uint32_t> numbers(store.runs.size());
    std::iota(numbers.begin(), numbers.end(), 0u);
    store.piece.reserve(store.training);
    return append_runs(store, numbers, 0, numbers.size(), team);
}

bool load_piece(PlyStore& store, uint64_t seed, int epoch, size_t piece, size_t used, Team& team) {
    const uint64_t epoch_seed = mix_seed(seed, static_cast<uint64_t>(epoch));
    if (store.pieces > 1) {
        if (!read_piece(store, epoch_seed, piece, used, team)) return false;
    } else if (store.piece.empty() && !read_all(store, team)) {
        return false;
    }
    draw_order(store.order, store.piece.size(), mix_seed(epoch_seed, piece + 1), team);
    return true;
}
