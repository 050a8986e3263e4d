// state.h: what the evaluation keeps in the record of a search thread.
//
// Records only; evaluate.h and nn.h hold the functions that work on them. Each thread has an
// EvalState of its own, for as long as it has its SearchThread: nothing here is shared or locked,
// and a zeroed state is a valid one.

#pragma once

#include <cstddef>
#include <cstdint>

#include "board/position.h"
#include "board/types.h"

struct NnHeader;

constexpr int EVAL_HASH_SIZE = 32768; // entries
constexpr int PAWN_HASH_SIZE = 16384;

// One entry of the eval hash. Both evaluators share the table: which of them is asked depends on
// the position and on settings whose change flushes the table.
struct EvalHashEntry {
    uint64_t key;               // Position::key
    int16_t threat_pressure[2]; // by side; of a hand-crafted evaluation only
    int16_t hce_score;          // from the side to move's view, before contempt and scaling
    int16_t nn_score;           // likewise; of the two only the position's evaluator's is valid
};
static_assert(sizeof(EvalHashEntry) == 16, "four entries a cache line");

struct PawnHashEntry {
    uint64_t key;      // Position::pawn_key with what else the structure depends on
    int32_t packed[2]; // structure of White and Black
};
static_assert(sizeof(PawnHashEntry) == 16, "four entries a cache line");

// Kinds of attack maps; the piece types stand at their own numbers, 0 is the union of all.
constexpr int ATTACKS_ALL = 0;

// Term groups of the evaluation report, in the order of printing.
enum EvalGroup {
    GROUP_PAWNS,
    GROUP_KNIGHTS,
    GROUP_BISHOPS,
    GROUP_ROOKS,
    GROUP_QUEENS,
    GROUP_KING,
    GROUP_PPAWNS,
    GROUP_THREATS,
    GROUP_SPECIAL,
    EVAL_GROUPS
};

// Scratch state of one hand-crafted evaluation, rebuilt by each. Arrays of two are indexed by
// colour; packed scores hold a midgame and an endgame half, see params.h.
struct EvalContext {
    int ply;                // of the stack entry that the threat pressures go to
    int report;             // 0 in search, else the form of the report: 1 terms, 2 parameters too
    float phase;            // 0 with many pieces, towards 1 as they come off
    int32_t packed[2];      // running totals
    int threat_pressure[2]; // on the colour's men, in points that the search reads
    int king_attack_weight[2]; // pressure on the colour's king zone

    Bitboard occupied;              // all men
    Bitboard attacks[2][8];         // by kind: ATTACKS_ALL and the piece types
    Bitboard pawn_attacks[2];       // squares
    Bitboard double_attacks[2];     // squares attacked twice
    Bitboard lesser_attacks[2];     // by pawns, knights and bishops
    Bitboard minor_rook_attacks[2]; // and by rooks
    Bitboard non_king_attacks[2];   // and by queens
    Bitboard outposts[2];           // squares that no enemy pawn can ever attack
    Bitboard king_zone[2];          // always nine squares
    Bitboard pawn_ways;             // squares ahead of any pawn, of both colours as all below
    Bitboard all_pawns;
    Bitboard passed_pawns;   // no enemy pawn ahead on the own and adjacent files
    Bitboard halfopen_pawns; // no enemy pawn ahead on the file, and not passed
    Bitboard hung_pieces;    // attacked and badly or not at all defended, see threats.cpp
    Bitboard free_pawns;     // passed ones that no enemy piece stops, see pawns.cpp
    int flip[2];             // square ^ flip: White's view, own king on files e-h
    int same_half;           // 1 when both kings stand on a-d or both on e-h

    int32_t group[EVAL_GROUPS][2]; // packed difference of each group, when `report` is set
    int32_t group_start[2];        // totals at the last checkpoint
};

// Board inputs: a side's units are of seven kinds, each a plane of 64 squares. Plane 0 holds the
// king, planes PAWN to QUEEN what they are called after, the last one passed pawns, which stand in
// plane PAWN as well. The planes of the side to move come first.
constexpr int NN_PLANES = 7;
constexpr int NN_PASSED_PLANE = 6;

// Material inputs: one for each difference in number of pawns, knights, bishops, rooks, queens.
constexpr int NN_MATERIAL_KINDS = 5;

// The active inputs of a position. Squares are seen by the side to move: its own men move up the
// board, and the men of each side are mirrored so that their king stands on files e-h.
struct NnInputs {
    uint64_t planes[2 * NN_PLANES];      // a bit for each active board input
    int16_t material[NN_MATERIAL_KINDS]; // the active input of each kind, counted from 0
    int16_t set; // weight set: 1 when exactly one king stands on files a-d, else 0
};

// The network's accumulator of the last position evaluated with one side to move.
struct NnCache {
    float* acc;          // first-layer sums before activation, on a 64-byte boundary
    NnInputs inputs;     // what they are sums over
    uint64_t occupied;   // squares of all men
    const NnHeader* net; // null until the record is filled
};

// Written by the thread that owns it. A record that is new gets the settings of the moment, as its
// empty tables fit any.
struct alignas(64) EvalState {
    EvalHashEntry eval_hash[EVAL_HASH_SIZE]; // static values, see eval_hash_entry
    PawnHashEntry pawn_hash[PAWN_HASH_SIZE]; // pawn structures, by the low bits of the key
    uint32_t eval_epoch; // settings that the two tables were filled under, see evaluate.h
    uint8_t eval_use_nn; // and shell.use_nn at that time
    uint8_t eval_noise;  // and 1 if the network's scores had noise then

    EvalContext context; // of the hand-crafted evaluation that runs, or ran last

    // The network's state. The buffers are allocated by the thread's first evaluation with it.
    NnCache nn_cache[2];    // by side to move
    float* nn_acc;          // activated units of the first layer, if there is a second
    float* nn_hidden2;      // units of the second layer
    uint32_t nn_generation; // network that the buffers were made for, 0 for none
    uint32_t nn_seed;       // of the noise; drawn when the buffers are allocated
    int16_t nn_set;         // weight set of the last evaluation, 0 or 1
    int16_t nn_output_kind; // 1 after the blended rows, 2 after the row of pawn endings
    int16_t nn_score;       // last score computed or found, 0 before the first
    float nn_output;        // last output computed, see nn_probability
};

// Tells whether the caches may answer at a ply. At 0, the game's position, and 1, the root, all is
// computed afresh, so that nothing of earlier searches stays in their evaluation.
constexpr bool caches_answer(int ply) { return ply > 1; }

// The position's entry of the eval hash; the two colours to move are neighbours.
inline EvalHashEntry& eval_hash_entry(EvalState& eval, uint64_t key, int side) {
    return eval
        .eval_hash[static_cast<size_t>(key & (EVAL_HASH_SIZE - 2)) + static_cast<size_t>(side)];
}
inline EvalHashEntry& eval_hash_entry(EvalState& eval, const Position& pos) {
    return eval_hash_entry(eval, pos.key, pos.side);
}
