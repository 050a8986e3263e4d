#include "Training/scorer.h"

#include "Training/selfplay_game.h"
#include "base/checksum.h"
#include "base/state.h"
#include "board/position.h"
#include "eval/nn.h"
#include "eval/params.h"
#include "search/thread.h"

uint64_t network_checksum() {
    if (!relaxed(shell.use_nn)) return 0;
    const uint16_t sizes[] = {nn_header.version, nn_header.board_inputs, nn_header.material_inputs,
                              nn_header.hidden1, nn_header.hidden2,      nn_header.outputs};
    const auto bytes = static_cast<size_t>(nn_header.total) * sizeof(float);
    return add_checksum(add_checksum(EMPTY_CHECKSUM, sizes, sizeof sizes), nn_header.weights,
                        bytes);
}

uint64_t params_checksum() {
    uint64_t sum = EMPTY_CHECKSUM;
    for (const EvalParam& row : eval_params) sum = add_checksum(sum, &row.value, sizeof row.value);
    return sum;
}

// Openings, a middlegame with both sides attacking, Chess960, and endings that the network, the
// hand-crafted evaluation and endgame knowledge score.
static constexpr const char* POSITIONS[] = {
    START_FEN,
    "r1bqkbnr/pp1ppppp/2n5/8/3NP3/8/PPP2PPP/RNBQKB1R b KQkq -",
    "r3r1k1/pp3pbp/1qp1b1p1/2B5/2BP4/Q1n2N2/P4PPP/3R1K1R w - -",
    "2kr1b1r/ppp2ppp/2n1bn2/q7/3P4/2N2N2/PPP1BPPP/R1BQ1RK1 w - -",
    "bqnrkbnr/pppppppp/8/8/8/8/PPPPPPPP/BQNRKBNR w KQkq -",
    "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - -",
    "8/5pk1/3r2p1/7p/2R4P/5PP1/5K2/8 b - -",
    "8/8/4k3/3p4/3P4/4K1N1/8/6b1 w - -",
};

// Signature of the engine that prepare_engine has set up.
static uint64_t measure_signature() {
    constexpr uint64_t NODES = 4000, MAX_NODES = 20000; // of a search
    uint64_t sum = EMPTY_CHECKSUM;
    for (const char* fen : POSITIONS) {
        set_position(main_thread->position, fen);
        forget_searches();
        const SearchAnswer answer = search_by_nodes(NODES, MAX_NODES);
        const uint64_t nodes = relaxed(main_thread->nodes);
        sum = add_checksum(sum, &answer.move, sizeof answer.move);
        sum = add_checksum(sum, &answer.score, sizeof answer.score);
        sum = add_checksum(sum, &nodes, sizeof nodes);
    }
    forget_searches();
    return sum;
}

bool describe_scorer(Scorer& scorer, int nodes, int hash_mb) {
    constexpr int MEASURE_MB = 1; // whatever the run's table: another signature is another engine
    const int mb_before = engine.hash_mb;
    if (!prepare_engine(MEASURE_MB)) return false;
    const uint64_t signature = measure_signature();
    if (!prepare_engine(mb_before)) return false;
    scorer = {signature, network_checksum(), params_checksum(), static_cast<uint32_t>(nodes),
              static_cast<uint32_t>(hash_mb)};
    return true;
}
