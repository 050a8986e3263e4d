#include "shell/console.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "base/option_table.h"
#include "base/platform.h"
#include "base/print.h"
#include "base/state.h"
#include "base/text.h"
#include "board/attack.h"
#include "board/make.h"
#include "board/movetext.h"
#include "board/see.h"
#include "book/book.h"
#include "eval/evaluate.h"
#include "eval/nn.h"
#include "search/hash.h"
#include "search/limits.h"
#include "search/perft.h"
#include "search/selectivity.h"
#include "search/thread.h"
#include "search/timing.h"
#include "search/trace.h"
#include "shell/edit.h"
#include "shell/game_file.h"
#include "shell/game_record.h"
#include "shell/think.h"

constexpr int WORDS = 10;
constexpr size_t WORD_LENGTH = 128; // with the ending NUL

namespace {

// The words of a line; missing ones are empty.
struct Words {
    char word[WORDS][WORD_LENGTH];
};

// The moves taken back, kept while a line is played out where they stand in the record.
struct TakenBack {
    UndoRecord records[UNDO_LINE];
};

} // namespace

static bool play_own_move; // `mv`: the engine makes its move when a think ends
static bool play_self;     // `self`: and the other side thinks at once

static Position& game_position() { return main_thread->position; }

static bool is_word(const char* word, const char* name) { return strcmp(word, name) == 0; }

static Words split_words(const char* line) {
    Words words = {};
    for (int i = 0; i < WORDS && *line; i++) {
        line += strspn(line, " ");
        size_t length = strcspn(line, " ");
        copy_text(words.word[i], line, std::min(length + 1, WORD_LENGTH));
        line += length;
    }
    return words;
}

static void set_game_position(const char* fen) {
    set_position(game_position(), fen);
    print_board(game_position());
}

// Both sides begin with the whole time of the level.
static void reset_clocks() {
    set_limits({.white_clock = engine.time_base, .black_clock = engine.time_base});
}

static void analyse(const char* limit) {
    constexpr float ANALYSIS_TIME = 99999.0f; // seconds; above ANALYSIS_SECONDS

    int depth = read_integer(limit);
    if (depth < 1 || depth >= MAX_DEPTH) depth = UNLIMITED_DEPTH;
    set_limits({.depth = depth, .move_time = ANALYSIS_TIME});
    hash_clear();
    set_relaxed(engine.game_state, STATE_THINK_REQUEST);
}

static void keep_record(TakenBack& kept) {
    memcpy(kept.records, main_thread->line.undo_stack + main_thread->line.undo_index,
           sizeof kept.records);
}

static void restore_record(const TakenBack& kept) {
    memcpy(main_thread->line.undo_stack + main_thread->line.undo_index, kept.records,
           sizeof kept.records);
}

static void show_hash_line() {
    Position& pos = game_position();
    TakenBack kept;
    keep_record(kept);
    Move line[PLY_SLOTS + 1] = {};
    main_thread->line.ply = 1;
    pv_from_hash(pos, 1, line);

    char text[PLY_SLOTS * MOVE_TEXT_LENGTH] = "";
    char* out = text;
    int played = 0;
    for (; line[played + 1] != NULL_MOVE && played < MAX_DEPTH; played++) {
        char move[MOVE_TEXT_LENGTH];
        move_to_text(pos, pos.side, line[played + 1], move);
        out += snprintf(out, MOVE_TEXT_LENGTH, "%s%s", played ? " " : "", move);
        make_move(pos, line[played + 1]);
    }
    printf("PV: %s\n\n", text);
    print_board(pos);
    while (played-- > 0) unmake_move(pos);
    restore_record(kept);
}

// The report of the static evaluation in form 1 or 2; none where endgame knowledge answers. With
// `with_network` the network's score in it is the position's own, else the last one known.
static void show_evaluation(int form, bool with_network) {
    const Position& pos = game_position();
    if (const char* reason = unsearchable_reason(pos)) {
        PrintFormat("info string position can't be searched: %s", reason);
        return;
    }
    refresh_eval_tables(*main_thread);
    if (with_network) {
        // At ply 1 the eval hash is not read, in which HceEval leaves entries as well.
        int16_t ply = main_thread->line.ply;
        main_thread->line.ply = 1;
        main_thread->game_moves = main_thread->line.undo_index;
        NnEval(*main_thread);
        main_thread->line.ply = ply;
    }
    HceEval(*main_thread, pos.side, 1, form);
}

static void show_last_move() {
    const int moves = main_thread->line.undo_index;
    if (moves > 0) {
        Move move = main_thread->line.last_move;
        printf("last move was %d%s %s%s\n", (moves + 1) / 2,
               game_position().side == BLACK ? "." : "...", SQUARE_NAMES[move_from(move)],
               SQUARE_NAMES[move_to(move)]);
        fflush(stdout);
    }
    show_evaluation(1, relaxed(shell.use_nn));
}

static void show_changed_board() {
    if (shell.show_debug) show_last_move();
    print_board(game_position());
}

static void take_back() {
    if (take_back_move(game_position())) show_changed_board();
}

static void replay() {
    Position& pos = game_position();
    Move move = next_in_record(pos);
    if (move == NULL_MOVE) return;
    char text[MOVE_TEXT_LENGTH];
    move_to_text(pos, pos.side, move, text);
    PrintFormat("%d%s move %s", main_thread->line.undo_index / 2 + 1,
                pos.side == WHITE ? "." : "...", text);
    replay_move(pos);
    show_changed_board();
}

static void jump(int number) {
    Position& pos = game_position();
    const int64_t target = 2 * static_cast<int64_t>(number) - 2;
    rewind_game(pos);
    while (main_thread->line.undo_index < target && next_in_record(pos) != NULL_MOVE)
        replay_move(pos);
    print_board(pos);
}

static void get_position(const char* id) {
    find_test_position(game_position(), id);
    print_board(game_position());
    hash_clear();
}

static void load(const char* file, const char* tag) {
    printf("loading %s, tag %s\n", file, tag);
    fflush(stdout);
    if (load_game(game_position(), file, tag)) print_board(game_position());
    reset_clocks();
}

static void probe_books() {
    for (const char* file : {active_personality.OwnBook_File, active_personality.OwnBook2_File}) {
        book_probe(game_position(), file);
        Print("");
    }
}

static void count_moves(int depth) {
    if (const char* reason = unsearchable_reason(game_position())) {
        PrintFormat("info string position can't be searched: %s", reason);
        return;
    }
    TakenBack kept;
    keep_record(kept);
    think_start = monotonic_seconds();
    uint64_t nodes = run_perft(*main_thread, depth);
    update_elapsed();
    restore_record(kept);
    double elapsed = relaxed(engine.elapsed);
    PrintFormat("visited %0.0f nodes in %0.3f seconds, nps= %0.0f", static_cast<double>(nodes),
                elapsed, static_cast<double>(nodes) / elapsed);
}

static void show_exchanges() {
    const Position& pos = game_position();
    for (int square = 0; square < SQUARES; square++) {
        int code = pos.board[square];
        if (code == 0) continue;
        int them = colour_of(code) ^ 1;
        if (!square_attacked(pos, square, them)) continue;
        printf("sq= %s, swap1= %4d\n", SQUARE_NAMES[square], see(pos, them, NO_SQUARE, square));
    }
    fflush(stdout);
}

// Seconds of "300" or "5:00".
static float read_level_time(const char* text) {
    constexpr float MINUTE = 60.0f; // seconds

    const char* colon = strchr(text, ':');
    if (!colon) return read_number(text);
    return static_cast<float>(read_integer(text)) * MINUTE + read_number(colon + 1);
}

static void set_level(const Words& words) {
    set_limits({.control = std::clamp(read_integer(words.word[2]), 0, UINT8_MAX),
                .time_base = read_level_time(words.word[3]),
                .time_increment = read_number(words.word[4])});
    reset_clocks();
    PrintFormat("set level to %d moves in %0.2f seconds, inc %0.2f", engine.moves_per_control,
                static_cast<double>(engine.time_base), static_cast<double>(engine.time_increment));
}

static void set_selectivity(int value) {
    constexpr int16_t ABOVE_ALL_DEPTHS = 99, BELOW_ALL_DEPTHS = 0; // plies

    if (value == 1) {
        active_personality = default_personality;
        Print("set default personality");
        return;
    }
    active_personality.NMP_depth = active_personality.LMR_depth = ABOVE_ALL_DEPTHS;
    active_personality.SEP_depth = active_personality.LMP_depth = BELOW_ALL_DEPTHS;
    Print("selectivity set to OFF");
}

// Sets what an option row names, without its range.
static void set_option_field(const Option& option, const char* name, int value) {
    store_option_number(option, active_personality, value);
    if (option.console_reports || option.kind == OptionKind::CONSOLE_ONLY)
        PrintFormat("%s set to %d", name, option_number(option, active_personality));
}

static void change_setting(const Words& words) {
    const char* name = words.word[1];
    int value = read_integer(words.word[2]);
    if (is_word(name, "hash")) {
        engine.hash_enabled = static_cast<uint8_t>(value);
        engine.hash_refused = 0;
    } else if (is_word(name, "noise")) {
        shell.noise = read_number(words.word[2]);
    } else if (is_word(name, "debug")) {
        shell.show_debug = static_cast<uint8_t>(value);
    } else if (is_word(name, "level")) {
        set_level(words);
    } else if (is_word(name, "depth")) {
        set_limits({.depth = value});
    } else if (is_word(name, "nodes")) {
        set_limits({.depth = UNLIMITED_DEPTH, .nodes = static_cast<uint64_t>(value)});
    } else if (is_word(name, "target_nps")) {
        engine.target_nps = read_number(words.word[2]);
        active_personality.UCI_LimitStrength = 1;
        PrintFormat("target_nps set to %.0f", static_cast<double>(engine.target_nps));
    } else if (is_word(name, "ss")) {
        set_selectivity(value);
    } else if (const Option* option = find_console_option(name)) {
        set_option_field(*option, name, value);
    }
}

static void enter_move(const Words& words) {
    Position& pos = game_position();
    const char* typed = words.word[1][0] ? words.word[1] : words.word[0];
    char text[WORD_LENGTH + 2];
    Move move;
    copy_text(text, typed, WORD_LENGTH);
    if (!parse_move(pos, text, &move)) {
        printf("invalid: %s%s\n", SQUARE_NAMES[move_from(move)], SQUARE_NAMES[move_to(move)]);
        fflush(stdout);
        return;
    }
    PrintFormat("%d. move %s", main_thread->line.undo_index / 2 + 1, typed);
    play_move(pos, move);
    show_changed_board();
}

static void request_think(bool& flag) {
    flag = true;
    set_relaxed(engine.game_state, STATE_THINK_REQUEST);
}

static void play_itself() {
    active_personality.Ponder = 0;
    request_think(play_self);
}

static void start_new_game() {
    set_game_position(START_FEN);
    reset_clocks();
}

// The commands that need an idle engine, in their order; the first that fits is run.
static void run_command(const char* command, const Words& words, const char* line) {
    const char* argument = words.word[1];
    auto is = [command](const char* name) { return is_word(command, name); };

    if (is("new")) start_new_game();
    else if (is("fen")) set_game_position(line + strnlen(line, 4));
    else if (is("mv")) request_think(play_own_move);
    else if (is("go") || is("an")) analyse(argument);
    else if (is("bd")) print_board(game_position());
    else if (is("self")) play_itself();
    else if (is("get")) get_position(argument);
    else if (is("pv")) show_hash_line();
    else if (is("trace")) set_trace(read_integer(argument));
    else if (is("ev")) show_last_move();
    else if (is("sp")) show_evaluation(2, false);
    else if (is("lmr")) print_search_tables();
    else if (is("undo") || is("[")) take_back();
    else if (is("]")) replay();
    else if (is("load")) load(argument, words.word[2]);
    else if (is("save")) save_game(game_position());
    else if (is("jump")) jump(read_integer(argument));
    else if (is("edit")) edit_board(game_position());
    else if (is("book")) probe_books();
    else if (is("tag")) shell.tag_key = game_position().key;
    else if (is("perft")) count_moves(read_integer(argument));
    else if (is("swap")) show_exchanges();
    else if (is("set")) change_setting(words);
    else enter_move(words);
}

void handle_console(char* line) {
    Words words = split_words(line);
    const char* command = words.word[0];

    if (is_word(command, "quit")) {
        abandon_search();
        shell.quit = 1;
        return;
    }
    if (is_word(command, ".")) {
        set_relaxed(engine.stop, 1);
        return;
    }
    if (relaxed(engine.game_state) != STATE_IDLE) return;

    run_command(command, words, line);
}

void end_console_play() { play_own_move = play_self = false; }

void console_after_think() {
    if (!play_own_move && !play_self) return;
    Position& pos = game_position();
    engine.clock[pos.side] += engine.time_increment - relaxed(engine.elapsed);
    if (engine.pv[1] == NULL_MOVE) {
        end_console_play();
        return;
    }
    play_move(pos, engine.pv[1]);
    print_board(pos);
    if (play_self) set_relaxed(engine.game_state, STATE_THINK_REQUEST);
}
