// Scores by the network.

#include "eval/nn.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "base/print.h"
#include "board/bitboard.h"
#include "eval/logistic.h"
#include "eval/nn_kernels.h"
#include "eval/state.h"
#include "search/thread.h"

// Rows that one evaluation can add or remove: units on 64 squares, each perhaps a passed pawn as
// well, and the material features. Positions of games have 53 at most.
constexpr int MAX_ROWS = 2 * 64 + 5;

constexpr int MIN_HIDDEN2 = 4;   // units; with fewer there is no second layer
constexpr int FIVE_KINDS = 536;  // first version with five material features
constexpr size_t ALIGNMENT = 64; // bytes, a cache line

namespace {

// What is active in the position, seen by the side to move: its own men move up the board, and
// each side's own king stands on files e-h.
struct Features {
    uint64_t planes[2 * NN_PLANES];
    int16_t material[5];
    int16_t set;
};

} // namespace

// One block holds the accumulators of both sides to move, the activated values and the second
// layer, each rounded up to cache lines.
static bool allocate_buffers(EvalState& eval) {
    constexpr size_t LINE = ALIGNMENT / sizeof(float);
    size_t hidden1 = (nn_header.hidden1 + LINE - 1) / LINE * LINE;
    size_t hidden2 = (nn_header.hidden2 + LINE - 1) / LINE * LINE;

    NnFreeBuffers(eval);
    size_t bytes = (3 * hidden1 + hidden2) * sizeof(float);
    auto* memory = static_cast<float*>(aligned_alloc(ALIGNMENT, bytes));
    if (!memory) return false;
    for (NnCache& cache : eval.nn_cache) {
        cache.acc = memory;
        cache.net = nullptr;
        memory += hidden1;
    }
    eval.nn_acc = memory;
    eval.nn_hidden2 = memory + hidden1;
    eval.nn_seed = static_cast<uint32_t>(rand());
    eval.nn_generation = nn_header.generation;
    return true;
}

void NnFreeBuffers(EvalState& eval) {
    free(eval.nn_cache[0].acc);
    eval.nn_acc = eval.nn_hidden2 = nullptr;
    for (NnCache& cache : eval.nn_cache) cache = {};
    eval.nn_generation = 0;
}

// The board seen from the other end.
static uint64_t flip_ranks(uint64_t set) { return __builtin_bswap64(set); }

static uint64_t mirror_files(uint64_t set) {
    constexpr uint64_t ODD = 0x5555555555555555, PAIRS = 0x3333333333333333,
                       HALVES = 0x0F0F0F0F0F0F0F0F;
    set = (set >> 1 & ODD) | (set & ODD) << 1;
    set = (set >> 2 & PAIRS) | (set & PAIRS) << 2;
    return (set >> 4 & HALVES) | (set & HALVES) << 4;
}

// The set and its neighbours on both sides.
static uint64_t widen(uint64_t set) { return set | step_east(set) | step_west(set); }

static uint64_t fill_up(uint64_t set) {
    set |= set << 8;
    set |= set << 16;
    return set | set << 32;
}
static uint64_t fill_down(uint64_t set) {
    set |= set >> 8;
    set |= set >> 16;
    return set | set >> 32;
}

static bool on_queen_side(int square) { return file_of(square) < 4; }

static void collect_planes(Features& features, const Position& pos) {
    constexpr int OWN_PASSED = NN_PLANES - 1, OTHER = NN_PLANES;

    const bool flip = pos.side == BLACK;
    for (int who : {0, 1}) {
        uint64_t* plane = features.planes + who * NN_PLANES;
        const Bitboard* pieces = pos.pieces[pos.side ^ who];
        plane[0] = flip ? flip_ranks(pieces[KING]) : pieces[KING];
        for (int type = PAWN; type <= QUEEN; type++)
            plane[type] = flip ? flip_ranks(pieces[type]) : pieces[type];
    }

    // Passed pawns before the files are mirrored, as that is done for each side by itself.
    uint64_t* planes = features.planes;
    uint64_t own = planes[PAWN], other = planes[OTHER + PAWN];
    planes[OWN_PASSED] = own & ~fill_down(widen(other) >> 8);
    planes[OTHER + OWN_PASSED] = other & ~fill_up(widen(own) << 8);

    for (int who : {0, 1})
        if (on_queen_side(pos.king_square[pos.side ^ who]))
            for (int i = 0; i < NN_PLANES; i++)
                planes[who * NN_PLANES + i] = mirror_files(planes[who * NN_PLANES + i]);
}

static void collect_material(Features& features, const Position& pos) {
    // The middle input of each kind, and how far differences count.
    static constexpr int MIDDLE[5] = {5, 13, 18, 23, 28};
    static constexpr int MOST[5] = {5, 2, 2, 2, 2};
    constexpr int SUM_MIDDLE = 16, SUM_MOST = 13; // of older networks, by phase units

    const int us = pos.side, them = us ^ 1;
    memset(features.material, 0, sizeof features.material);
    if (nn_header.version < FIVE_KINDS) {
        int difference = pos.material[us] - pos.material[them];
        features.material[0] =
            static_cast<int16_t>(SUM_MIDDLE + std::clamp(difference, -SUM_MOST, SUM_MOST));
        return;
    }
    for (int kind = 0; kind < 5; kind++) {
        int own = static_cast<int>(pos.piece_counts[us] >> 4 * kind & 15);
        int other = static_cast<int>(pos.piece_counts[them] >> 4 * kind & 15);
        int difference = std::clamp(own - other, -MOST[kind], MOST[kind]);
        features.material[kind] = static_cast<int16_t>(MIDDLE[kind] + difference);
    }
}

// Number of material features that are active in every position.
static int material_features() {
    constexpr int OLD_INPUTS = 32;
    if (nn_header.version >= FIVE_KINDS) return 5;
    return nn_header.material_inputs >= OLD_INPUTS ? 1 : 0;
}

static void collect_features(Features& features, const Position& pos) {
    collect_planes(features, pos);
    collect_material(features, pos);
    bool apart = on_queen_side(pos.king_square[WHITE]) != on_queen_side(pos.king_square[BLACK]);
    features.set = apart && nn_header.board_inputs >= 2 * NN_SET_INPUTS;
}

// Appends the rows of the features in `planes` and not in `without`, own planes first, squares
// from the lowest up as the side to move sees them. So positions that differ only in colours have
// their rows added in the same order.
static const float** list_board_rows(const float** rows, const uint64_t* planes,
                                     const uint64_t* without, int set) {
    const size_t length = nn_header.hidden1;
    const float* plane = nn_header.w1 + size_t{NN_SET_INPUTS} * static_cast<size_t>(set) * length;
    for (int i = 0; i < 2 * NN_PLANES; i++, plane += 64 * length)
        for (uint64_t bits = planes[i] & ~without[i]; bits; bits &= bits - 1)
            *rows++ = plane + static_cast<size_t>(bit_scan_forward(bits)) * length;
    return rows;
}

static const float* material_row(int input) {
    return nn_header.w1 + static_cast<size_t>(nn_header.board_inputs + input) * nn_header.hidden1;
}

// Incremental update: brings the accumulator from the last position to this one. Returns false,
// with no change, when the two differ in more than eight features by number.
static bool update_accumulator(NnCache& cache, const Features& features) {
    constexpr int MAX_CHANGE = 8; // features
    const float* rows[2 * MAX_ROWS];
    const int materials = material_features();

    const float** end = list_board_rows(rows, cache.planes, features.planes, cache.set);
    for (int i = 0; i < materials; i++)
        if (cache.material[i] != features.material[i]) *end++ = material_row(cache.material[i]);
    auto removed = static_cast<int>(end - rows);

    end = list_board_rows(end, features.planes, cache.planes, features.set);
    for (int i = 0; i < materials; i++)
        if (cache.material[i] != features.material[i]) *end++ = material_row(features.material[i]);
    auto added = static_cast<int>(end - rows) - removed;

    if (std::abs(added - removed) > MAX_CHANGE) return false;
    nn_kernels->update(cache.acc, rows, removed, added, nn_header.hidden1);
    return true;
}

// Computes the accumulator anew.
static void fill_accumulator(NnCache& cache, const Features& features) {
    static constexpr uint64_t NOTHING[2 * NN_PLANES] = {};
    const float* rows[MAX_ROWS];
    const float** end = list_board_rows(rows, features.planes, NOTHING, features.set);
    for (int i = 0; i < material_features(); i++) *end++ = material_row(features.material[i]);

    std::fill_n(cache.acc, nn_header.hidden1, nn_header.extras[1]);
    nn_kernels->update(cache.acc, rows, 0, static_cast<int>(end - rows), nn_header.hidden1);
}

// The accumulator of the thread's position: by its difference from the last one with the same side
// to move, or else anew.
static const float* accumulate(SearchThread& thread) {
    constexpr int MAX_CHANGE = 8; // squares; spares a comparison of features that would not pay
    const Position& pos = thread.position;
    NnCache& cache = thread.eval.nn_cache[pos.side];
    Features features;
    collect_features(features, pos);

    // Where caches don't answer it begins anew, so that rounding does not pile up from search to
    // search.
    bool near = caches_answer(thread.line.ply) && cache.net && cache.set == features.set
             && pop_count(cache.occupied ^ occupied(pos)) <= MAX_CHANGE;
    if (!near || !update_accumulator(cache, features)) fill_accumulator(cache, features);

    memcpy(cache.planes, features.planes, sizeof cache.planes);
    memcpy(cache.material, features.material, sizeof cache.material);
    cache.set = thread.eval.nn_set = features.set;
    cache.occupied = occupied(pos);
    cache.net = &nn_header;
    return cache.acc;
}

// Dot products of two rows of the last layer.
static void output_rows(EvalState& eval, const float* acc, int row0, int row1, float result[2]) {
    const int hidden1 = nn_header.hidden1, hidden2 = nn_header.hidden2;
    if (hidden2 < MIN_HIDDEN2) {
        nn_kernels->output(result, acc, nn_header.w2 + row0 * hidden1,
                           nn_header.w2 + row1 * hidden1, hidden1);
        return;
    }
    float* units = eval.nn_hidden2;
    nn_kernels->activate(eval.nn_acc, acc, hidden1);
    for (int i = 0; i < hidden2; i++)
        units[i] = nn_header.extras[2]
                 + nn_kernels->dot(nn_header.w2 + int64_t{i} * hidden1, eval.nn_acc, hidden1);
    nn_kernels->output(result, units, nn_header.w3 + row0 * hidden2, nn_header.w3 + row1 * hidden2,
                       hidden2);
}

// The share of row 0, falling with the material: 1 on a full board.
static float full_board_share(int material) {
    constexpr int FULL_MATERIAL = 63;  // phase units of both sides
    constexpr double FOR_UNIT = 0.016; // 1 / 62.5
    return material < FULL_MATERIAL ? static_cast<float>(material * FOR_UNIT) : 1.0f;
}

// The network's raw output: a row of its own for endings of pawns, else the rows of a full and an
// empty board mixed by the material, which is a tapered evaluation.
static float network_output(EvalState& eval, const Position& pos, const float* acc) {
    constexpr int KIND_BLENDED = 1, KIND_PAWNS = 2;                       // see EvalState
    constexpr int FULL_BOARD_ROW = 0, EMPTY_BOARD_ROW = 1, PAWNS_ROW = 2; // of the last layer
    float z[2];
    if (pos.material[WHITE] == 0 && pos.material[BLACK] == 0) {
        eval.nn_output_kind = KIND_PAWNS;
        output_rows(eval, acc, PAWNS_ROW, PAWNS_ROW, z);
        return z[0];
    }
    eval.nn_output_kind = KIND_BLENDED;
    output_rows(eval, acc, FULL_BOARD_ROW, EMPTY_BOARD_ROW, z);
    float phase = full_board_share(pos.material[WHITE] + pos.material[BLACK]);
    return (1.0f - phase) * z[1] + phase * z[0];
}

// A small offset, fixed for a position and a thread, that makes games differ: up to 0.0128, which
// is two evaluation units.
static float add_noise(const SearchThread& thread, float z) {
    constexpr uint64_t STEPS = 256;
    constexpr int MIDDLE = 127;
    constexpr double STEP = 0.0001;
    int noise = static_cast<int>((thread.position.key ^ thread.eval.nn_seed) % STEPS) - MIDDLE;
    return static_cast<float>(z + noise * STEP);
}

// The score whose winning chance is `probability`: its log odds, 166.67 units for each 1. The scale
// is 1000 / 6 to single precision, negative since the odds are taken upside down.
static int score_of(float probability) {
    constexpr double SCALE = -166.6666717529297, MIN_CHANCE = 1e-05, MAX_CHANCE = 0.99999;
    double p = probability;
    if (p < MIN_CHANCE) return NN_MIN_SCORE;
    if (p > MAX_CHANCE) return NN_MAX_SCORE;
    return static_cast<int>(log_of(1.0 / p - 1.0) * SCALE);
}

bool NnHasNoise(const SearchThread& thread) {
    return active_personality.eval_jitter && thread.game_moves > 1;
}

int NnEval(SearchThread& thread) {
    EvalState& eval = thread.eval;
    if (eval.nn_generation != nn_header.generation && !allocate_buffers(eval)) {
        Print("error initializing NN!");
        return NO_EVAL;
    }
    count(thread.eval_probes);
    const Position& pos = thread.position;
    EvalHashEntry& entry = eval_hash_entry(eval, pos);
    if (entry.key == pos.key && caches_answer(thread.line.ply)) {
        count(thread.eval_hits);
        return eval.nn_score = entry.nn_score;
    }

    float z = network_output(eval, pos, accumulate(thread));
    if (NnHasNoise(thread)) z = add_noise(thread, z);
    eval.nn_probability = static_cast<float>(1.0 / (1.0 + exp_of(-static_cast<double>(z))));
    eval.nn_score = static_cast<int16_t>(score_of(eval.nn_probability));
    entry.nn_score = eval.nn_score;
    entry.key = pos.key;
    return eval.nn_score;
}
