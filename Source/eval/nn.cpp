// Scores by the network.

#include "eval/nn.h"

#include <algorithm>
#include <cstdlib>

#include "base/platform.h"
#include "base/print.h"
#include "board/bitboard.h"
#include "eval/logistic.h"
#include "eval/nn_inputs.h"
#include "eval/nn_kernels.h"
#include "eval/state.h"
#include "search/thread.h"

// Rows that one evaluation can add or remove: units on 64 squares, each perhaps a passed pawn as
// well, and the material inputs. Positions of games have 53 at most.
constexpr int MAX_ROWS = 2 * SQUARES + NN_MATERIAL_KINDS;

constexpr int MIN_HIDDEN2 = 4; // units; with fewer there is no second layer

// One block holds the accumulators of both sides to move, the activated values and the second
// layer, each rounded up to cache lines.
static bool allocate_buffers(EvalState& eval) {
    constexpr size_t LINE = CACHE_LINE / sizeof(float);
    size_t hidden1 = (nn_header.hidden1 + LINE - 1) / LINE * LINE;
    size_t hidden2 = (nn_header.hidden2 + LINE - 1) / LINE * LINE;

    NnFreeBuffers(eval);
    size_t bytes = (3 * hidden1 + hidden2) * sizeof(float);
    auto* memory = static_cast<float*>(allocate_lines(bytes));
    if (!memory) return false;
    for (NnCache& cache : eval.nn_cache) {
        cache.acc = memory;
        cache.net = nullptr;
        memory += hidden1;
    }
    eval.nn_acc = memory;
    eval.nn_hidden2 = memory + hidden1;
    eval.nn_seed = static_cast<uint32_t>(random_number());
    eval.nn_generation = nn_header.generation;
    return true;
}

void NnFreeBuffers(EvalState& eval) {
    free_lines(eval.nn_cache[0].acc);
    eval.nn_acc = eval.nn_hidden2 = nullptr;
    for (NnCache& cache : eval.nn_cache) cache = {};
    eval.nn_generation = 0;
}

// The only material input of an older network: the difference in phase units.
static void collect_old_material(int16_t* material, const Position& pos) {
    constexpr int MIDDLE = 16, REACH = 13;
    int more = pos.material[pos.side] - pos.material[pos.side ^ 1];
    material[0] = static_cast<int16_t>(MIDDLE + std::clamp(more, -REACH, REACH));
}

// Number of material inputs that are active in every position.
static int material_inputs() {
    if (nn_header.version >= NN_FIVE_KINDS_VERSION) return NN_MATERIAL_KINDS;
    return nn_header.material_inputs >= NN_MATERIAL_INPUTS ? 1 : 0;
}

// The active inputs, for older networks in their own form.
static void collect_inputs(NnInputs& inputs, const Position& pos) {
    collect_nn_inputs(inputs, pos);
    if (nn_header.version < NN_FIVE_KINDS_VERSION) collect_old_material(inputs.material, pos);
    if (nn_header.board_inputs < NN_BOARD_INPUTS) inputs.set = 0;
}

namespace {

// How the accumulator's sums are reached: rows to be subtracted, then rows to be added.
struct RowList {
    const float* rows[2 * MAX_ROWS];
    int removed;
    int added;
};

} // namespace

// Bits of the planes in which `planes` has inputs that `without` lacks.
static unsigned planes_with_more(const uint64_t* planes, const uint64_t* without) {
    unsigned found = 0;
    for (int i = 0; i < 2 * NN_PLANES; i++)
        found |= static_cast<unsigned>((planes[i] & ~without[i]) != 0) << i;
    return found;
}

// Asks for the front of a row ahead of its use; how it goes on the processor sees by itself.
static const float* ask_for_row(const float* row) {
    constexpr int LINE = 16, LINES = 8; // floats of a cache line; lines
    for (int i = 0; i < LINES; i++) __builtin_prefetch(row + i * LINE);
    return row;
}

// Appends the rows of the inputs in `planes` and not in `without`, own planes first, squares
// from the lowest up as the side to move sees them. So positions that differ only in colours have
// their rows added in the same order.
static const float** list_board_rows(const float** rows, const uint64_t* planes,
                                     const uint64_t* without, int set) {
    const size_t length = nn_header.hidden1;
    const float* first = nn_header.w1 + size_t{NN_SET_INPUTS} * static_cast<size_t>(set) * length;
    for (unsigned left = planes_with_more(planes, without); left; left &= left - 1) {
        const int i = bit_scan_forward(left);
        const float* plane = first + static_cast<size_t>(i * SQUARES) * length;
        for (uint64_t bits = planes[i] & ~without[i]; bits; bits &= bits - 1)
            *rows++ = ask_for_row(plane + static_cast<size_t>(bit_scan_forward(bits)) * length);
    }
    return rows;
}

static const float* material_row(int input) {
    return nn_header.w1 + static_cast<size_t>(nn_header.board_inputs + input) * nn_header.hidden1;
}

// Lists the rows between the last position and this one. Returns false when the two differ in more
// than eight inputs by number.
static bool list_change(RowList& list, const NnCache& cache, const NnInputs& inputs) {
    constexpr int MAX_CHANGE = 8; // inputs
    const int materials = material_inputs();

    const float** end =
        list_board_rows(list.rows, cache.inputs.planes, inputs.planes, cache.inputs.set);
    for (int i = 0; i < materials; i++)
        if (cache.inputs.material[i] != inputs.material[i])
            *end++ = material_row(cache.inputs.material[i]);
    list.removed = static_cast<int>(end - list.rows);

    end = list_board_rows(end, inputs.planes, cache.inputs.planes, inputs.set);
    for (int i = 0; i < materials; i++)
        if (cache.inputs.material[i] != inputs.material[i])
            *end++ = material_row(inputs.material[i]);
    list.added = static_cast<int>(end - list.rows) - list.removed;
    return std::abs(list.added - list.removed) <= MAX_CHANGE;
}

// Lists the rows of all inputs.
static void list_all(RowList& list, const NnInputs& inputs) {
    static constexpr uint64_t NOTHING[2 * NN_PLANES] = {};
    const float** end = list_board_rows(list.rows, inputs.planes, NOTHING, inputs.set);
    for (int i = 0; i < material_inputs(); i++) *end++ = material_row(inputs.material[i]);
    list.removed = 0;
    list.added = static_cast<int>(end - list.rows);
}

// Makes the record of the side to move that of the thread's position, but for the sums, which
// become right with the rows of `list`: by the difference from the last position with the same side
// to move, or else anew.
static float* begin_accumulator(SearchThread& thread, RowList& list) {
    constexpr int MAX_CHANGE = 8; // squares; spares a comparison of inputs that would not pay
    const Position& pos = thread.position;
    NnCache& cache = thread.eval.nn_cache[pos.side];
    NnInputs inputs;
    collect_inputs(inputs, pos);

    // Where caches don't answer it begins anew, so that rounding does not pile up from search to
    // search.
    bool near = caches_answer(thread.line.ply) && cache.net && cache.inputs.set == inputs.set
             && pop_count(cache.occupied ^ occupied(pos)) <= MAX_CHANGE;
    if (!near || !list_change(list, cache, inputs)) {
        list_all(list, inputs);
        std::fill_n(cache.acc, nn_header.hidden1, nn_header.extras[1]);
    }
    cache.inputs = inputs;
    thread.eval.nn_set = inputs.set;
    cache.occupied = occupied(pos);
    cache.net = &nn_header;
    return cache.acc;
}

// Brings the sums up to date, and gives dot products of two rows of the last layer.
static void output_rows(EvalState& eval, float* acc, const RowList& list, int row0, int row1,
                        float result[2]) {
    const int hidden1 = nn_header.hidden1, hidden2 = nn_header.hidden2;
    if (hidden2 < MIN_HIDDEN2) {
        nn_kernels->update_output(result, acc, list.rows, list.removed, list.added,
                                  nn_header.w2 + row0 * hidden1, nn_header.w2 + row1 * hidden1,
                                  hidden1);
        return;
    }
    float* units = eval.nn_hidden2;
    nn_kernels->update(acc, list.rows, list.removed, list.added, hidden1);
    nn_kernels->activate(eval.nn_acc, acc, hidden1);
    for (int i = 0; i < hidden2; i++)
        units[i] = nn_header.extras[2]
                 + nn_kernels->dot(nn_header.w2 + int64_t{i} * hidden1, eval.nn_acc, hidden1);
    nn_kernels->output(result, units, nn_header.w3 + row0 * hidden2, nn_header.w3 + row1 * hidden2,
                       hidden2);
}

// The network's raw output for the thread's position: a row of its own for endings of pawns, else
// the rows of a full and an empty board mixed by the material, which is a tapered evaluation.
static float network_output(SearchThread& thread) {
    constexpr int KIND_BLENDED = 1, KIND_PAWNS = 2; // see EvalState
    EvalState& eval = thread.eval;
    const Position& pos = thread.position;
    RowList list;
    float* acc = begin_accumulator(thread, list);
    float z[2];
    if (nn_pawn_ending(pos)) {
        eval.nn_output_kind = KIND_PAWNS;
        output_rows(eval, acc, list, NN_PAWN_ROW, NN_PAWN_ROW, z);
        return z[0];
    }
    eval.nn_output_kind = KIND_BLENDED;
    output_rows(eval, acc, list, NN_FULL_ROW, NN_EMPTY_ROW, z);
    float full = nn_full_share(pos);
    return (1.0f - full) * z[1] + full * z[0];
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

float nn_probability(const EvalState& eval) { return chance_of(eval.nn_output); }

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

    float z = network_output(thread);
    if (NnHasNoise(thread)) z = add_noise(thread, z);
    eval.nn_output = z;
    eval.nn_score = static_cast<int16_t>(score_of_output(z));
    entry.nn_score = eval.nn_score;
    entry.key = pos.key;
    return eval.nn_score;
}
