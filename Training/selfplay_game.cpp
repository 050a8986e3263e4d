#include "Training/selfplay_game.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <unistd.h>

#include "Training/game_end.h"
#include "Training/random_start.h"
#include "base/text.h"
#include "board/make.h"
#include "eval/evaluate.h"
#include "eval/nn.h"
#include "search/hash.h"
#include "search/limits.h"
#include "search/selectivity.h"
#include "search/thread.h"
#include "shell/think.h"

std::atomic<uint8_t> selfplay_interrupted;

bool prepare_engine(int hash_mb) {
    // Full speed as in play: the search's first iteration asks for it.
    constexpr float NOMINAL_NPS = 1000000.0f;

    engine.num_threads = 1;
    engine.hash_enabled = 1;
    engine.hash_mb = hash_mb;
    set_limits({.depth = UNLIMITED_DEPTH, .move_time = UNLIMITED_SECONDS});
    engine.calibration_nps = engine.target_nps = NOMINAL_NPS;
    engine.calibration_elo = 0.0f;
    shell.noise = NOISE_QUIET;
    active_personality.Contempt = 0;
    active_personality.contempt_taper = 0;
    active_personality.UCI_LimitStrength = 0;
    active_personality.MultiPV = 1;
    return hash_alloc() != 0;
}

bool choose_evaluation(const char* network) {
    bool by_hand = std::string(network) == "hce";
    set_relaxed(shell.use_nn, static_cast<uint8_t>(!by_hand));
    eval_epoch.fetch_add(1, std::memory_order_relaxed);
    refresh_eval_tables(*main_thread);
    build_search_tables();
    if (by_hand) return true;
    if (std::string(network) != "embedded" && access(network, R_OK) != 0) {
        fprintf(stderr, "can't read %s\n", network);
        return false;
    }
    uint32_t before = nn_header.generation;
    copy_text(active_personality.NN_File, network, sizeof active_personality.NN_File);
    NnLoad();
    if (nn_header.generation != before) return true;
    fprintf(stderr, "%s is no network\n", network);
    return false;
}

void forget_searches() {
    // Written as plain memory, since no search runs; with the spare entries, unlike hash_clear.
    memset(static_cast<void*>(hash_table), 0, (hash_entries + HASH_SPARE) * sizeof(HashEntry));
    engine.hash_age = 0;
    eval_epoch.fetch_add(1, std::memory_order_relaxed);
}

SearchAnswer search_by_nodes(uint64_t nodes, uint64_t max_nodes) {
    set_limits({.nodes = max_nodes, .soft_nodes = nodes});
    search_here();
    return {engine.pv[1], relaxed(engine.best_score)};
}

// Searches the game's position; it has a legal move.
static SearchAnswer think(const GameSettings& settings) {
    constexpr uint64_t HARD_FACTOR = 8; // of the limit at which an iteration is broken off
    const auto nodes = static_cast<uint64_t>(settings.nodes);
    return search_by_nodes(nodes, nodes * HARD_FACTOR);
}

static StartKind draw_kind(Random& random, const GameSettings& settings) {
    int percent = random_below(random, 100);
    if (percent < settings.chess960_share) return StartKind::CHESS960;
    percent -= settings.chess960_share;
    if (!settings.openings.empty() && percent < settings.openings_share) return StartKind::OPENING;
    return StartKind::STANDARD;
}

// Plays on from a start. Returns White's result, or NO_RESULT when the start is lopsided or the
// game was interrupted.
static int play_from_start(Game& game, const GameSettings& settings, Position& pos) {
    constexpr int LOPSIDED = 400; // score of the first search
    constexpr VerdictRules RULES = {.won_score = 1500,
                                    .won_plies = 4,
                                    .drawish_score = 8,
                                    .drawish_plies = 10,
                                    .drawish_from = 80};

    Verdict verdict = {};
    game.plies = 0;
    while (!relaxed(selfplay_interrupted)) {
        int result = result_by_rules(pos);
        if (result != NO_RESULT) return game.plies > 0 ? result : NO_RESULT;
        SearchAnswer answer = think(settings);
        if (game.plies == 0 && std::abs(answer.score) > LOPSIDED) return NO_RESULT;

        int ply = pos.owner->undo_index;
        pack_ply(game.records[game.plies++], pos, answer.move, answer.score, ply);
        int white_score = pos.side == WHITE ? answer.score : -answer.score;
        result = result_by_score(verdict, RULES, white_score, ply);
        if (result != NO_RESULT) return result;
        make_game_move(pos, answer.move);
    }
    return NO_RESULT;
}

static void finish_records(Game& game, StartKind kind, int white_result) {
    for (int i = 0; i < game.plies; i++) {
        PlyRecord& record = game.records[i];
        int result = record_side(record) == WHITE ? white_result : RESULT_WON - white_result;
        record.state |= static_cast<uint8_t>(result << RECORD_RESULT_SHIFT);
        if (kind == StartKind::CHESS960) record.state |= RECORD_CHESS960;
    }
    game.records[0].place |= RECORD_FIRST;
}

bool play_game(Game& game, const GameSettings& settings, uint64_t seed) {
    constexpr int MAX_ATTEMPTS = 100; // at a start of one kind

    Position& pos = main_thread->position;
    Random random = {seed};
    StartKind kind = draw_kind(random, settings);
    for (int attempt = 0; !relaxed(selfplay_interrupted); attempt++) {
        if (attempt == MAX_ATTEMPTS) kind = StartKind::STANDARD;
        if (!draw_start(pos, random, kind, settings.openings)) continue;
        forget_searches(); // a game must not depend on what was played before it
        int result = play_from_start(game, settings, pos);
        if (result == NO_RESULT) continue;
        finish_records(game, kind, result);
        return true;
    }
    return false;
}
