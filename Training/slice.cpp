#include "Training/slice.h"

#include <algorithm>

#include "Training/features.h"
#include "Training/ply_data.h"

const char* const PHASE_NAMES[PHASES] = {"full", "three_quarters", "half", "quarter", "pawns"};

// Phase of a position by the phase units of both sides, 0 to 64.
static uint16_t phase_of(const NetworkInput& input) {
    constexpr int LAST_QUARTER = PHASES - 2, QUARTER = 16;
    if (input.rows[NN_PAWN_ROW] > 0) return PHASES - 1;
    return static_cast<uint16_t>(
        std::clamp(LAST_QUARTER - (input.material - 1) / QUARTER, 0, LAST_QUARTER));
}

static SlicePosition position_of(const PlyRecord& record, const NetworkInput& input) {
    return {{input.rows[0], input.rows[1], input.rows[2]},
            input.fifty,
            static_cast<float>(score_probability(record.score)),
            has_result(record) ? ply_result(record) : -1.0f,
            input.count,
            phase_of(input)};
}

// Place of each position in the order by weight set, number of inputs and place in the batch.
static void sort_positions(uint16_t* places, const NetworkInput* inputs, size_t count) {
    constexpr size_t KEYS = 2 * (NN_MAX_ACTIVE + 1);
    auto key = [](const NetworkInput& input) {
        size_t set = input.features[0] >= NN_SET_INPUTS; // a king comes first
        return set * (NN_MAX_ACTIVE + 1) + input.count;
    };
    uint16_t firsts[KEYS + 1] = {}; // by key, where the next position goes
    for (size_t i = 0; i < count; i++) firsts[key(inputs[i]) + 1]++;
    for (size_t k = 0; k < KEYS; k++)
        firsts[k + 1] = static_cast<uint16_t>(firsts[k + 1] + firsts[k]);
    for (size_t i = 0; i < count; i++) places[firsts[key(inputs[i])]++] = static_cast<uint16_t>(i);
}

// Lists the inputs that are active somewhere: `used` gets their numbers in the order of their uses.
static void sort_inputs(Slice& slice, uint16_t* used, const uint16_t* uses) {
    uint16_t firsts[SLICE + 2] = {}; // by uses, of which there is one a position at most
    slice.used = 0;
    for (size_t input = 0; input < NN_INPUTS; input++) {
        firsts[uses[input] + 1]++;
        slice.used += uses[input] > 0;
    }
    firsts[1] = 0; // the others don't count
    for (size_t n = 1; n <= SLICE; n++)
        firsts[n + 1] = static_cast<uint16_t>(firsts[n + 1] + firsts[n]);
    for (size_t input = 0; input < NN_INPUTS; input++)
        if (uses[input] > 0) used[firsts[uses[input]]++] = static_cast<uint16_t>(input);
}

// Fills the lists by input from those by position.
static void list_users(Slice& slice) {
    uint16_t uses[NN_INPUTS] = {}, used[NN_INPUTS];
    size_t total = 0;
    for (size_t i = 0; i < slice.count; i++) total += slice.positions[i].inputs;
    for (size_t i = 0; i < total; i++) uses[slice.features[i] / ROW_UNITS]++;
    sort_inputs(slice, used, uses);

    uint32_t places[NN_INPUTS]; // where the next user of an input is written
    uint32_t first = 0;
    for (size_t u = 0; u < slice.used; u++) {
        slice.used_inputs[u] = static_cast<uint16_t>(used[u] * ROW_UNITS);
        slice.uses[u] = uses[used[u]];
        places[used[u]] = first;
        first += uses[used[u]];
    }
    const uint16_t* feature = slice.features;
    for (size_t i = 0; i < slice.count; i++)
        for (int k = 0; k < slice.positions[i].inputs; k++)
            slice.users[places[*feature++ / ROW_UNITS]++] = static_cast<uint16_t>(i * ROW_UNITS);
}

void fill_slice(Slice& slice, const PlyRecord* records, const uint32_t* order, size_t count) {
    constexpr size_t AHEAD = 16; // records on their way to the cache
    NetworkInput inputs[SLICE];
    uint16_t places[SLICE];
    for (size_t i = 0; i < count; i++) {
        if (i + AHEAD < count) __builtin_prefetch(&records[order[i + AHEAD]]);
        list_features(inputs[i], records[order[i]]);
    }
    sort_positions(places, inputs, count);
    slice.count = count;
    uint16_t* features = slice.features;
    for (size_t i = 0; i < count; i++) {
        const NetworkInput& input = inputs[places[i]];
        slice.positions[i] = position_of(records[order[places[i]]], input);
        for (int k = 0; k < input.count; k++)
            *features++ = static_cast<uint16_t>(input.features[k] * ROW_UNITS);
    }
    list_users(slice);
}
