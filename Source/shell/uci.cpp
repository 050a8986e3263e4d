#include "shell/uci.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "base/platform.h"
#include "base/print.h"
#include "base/state.h"
#include "base/text.h"
#include "board/castling.h"
#include "board/make.h"
#include "search/hash.h"
#include "search/limits.h"
#include "search/pool.h"
#include "search/selectivity.h"
#include "search/thread.h"
#include "shell/console.h"
#include "shell/options.h"
#include "shell/strict_uci.h"
#include "shell/think.h"

constexpr size_t TOKEN_LENGTH = 128; // with the ending NUL

static int32_t debug = 1; // not 0: input lines go to the log; only the strict protocol clears it

// Copies a token up to the first NUL, newline, carriage return or space.
static void copy_token(char* to, const char* from) {
    size_t length = std::min(strcspn(from, "\n\r "), TOKEN_LENGTH - 1);
    memcpy(to, from, length);
    to[length] = 0;
}

static char* skip_spaces(char* text) {
    while (*text == ' ') text++;
    return text;
}

// The text `count` characters on, or its end.
static char* advance(char* text, size_t count) { return text + strnlen(text, count); }

void identify_engine() {
    set_relaxed(shell.uci_mode, 1);
    end_console_play();
    PrintFormat("id name %s", PROGRAM_NAME);
    PrintFormat("id author %s", PROGRAM_AUTHOR);
    print_options();
    Print("uciok");
}

static void set_option(char* arguments) {
    constexpr size_t NAME_LENGTH = 101, VALUE_LENGTH = 201;
    constexpr size_t NAME_WORD = sizeof "name", VALUE_WORD = sizeof "value"; // with the space

    char name[NAME_LENGTH] = "", value[VALUE_LENGTH] = "";
    char* name_word = strstr(arguments, "name");
    char* value_word = strstr(arguments, "value");
    if (name_word && value_word && name_word < value_word) {
        char* end = value_word;
        while (end > name_word && end[-1] == ' ') end--;
        copy_text(value, skip_spaces(advance(value_word, VALUE_WORD)), sizeof value);
        *end = 0;
        copy_text(name, skip_spaces(advance(name_word, NAME_WORD)), sizeof name);
    }
    // Without a value nothing is set, not even by a button.
    SetOption(name, value);
    default_personality = active_personality;
}

void begin_new_game() {
    constexpr float NEW_GAME_SECONDS = 60.0f;
    abandon_search();
    set_limits({.control = SUDDEN_DEATH,
                .time_base = NEW_GAME_SECONDS,
                .time_increment = 0.0f,
                .white_clock = NEW_GAME_SECONDS,
                .black_clock = NEW_GAME_SECONDS});
    clear_line(main_thread->line);
    hash_clear();
    engine.hash_age = 0;
}

// The flags of a castling word: king two files or more along its home rank, or onto the own rook.
// 0 if it is a plain king move, also where the right is gone or the way is barred.
static int castling_flag(const Position& pos, int from, int to) {
    const int side = pos.side, home = rank_of(rank_flip[side]);
    if (pos.board[from] != piece_code(side, KING) || rank_of(from) != home || rank_of(to) != home)
        return 0;
    int files = std::abs(file_of(from) - file_of(to));
    if (files <= 1 && pos.board[to] != piece_code(side, ROOK)) return 0;

    int wing = from < to ? KING_SIDE : QUEEN_SIDE;
    return way_is_free(pos, castling_right(side, wing)) ? wing_flag(wing) : 0;
}

static int promotion_flag(char letter) {
    switch (letter) {
    case 'q': return FLAG_QUEEN;
    case 'n': return FLAG_KNIGHT;
    case 'b': return FLAG_BISHOP;
    case 'r': return FLAG_ROOK;
    default: return 0;
    }
}

static bool is_square(const char* name) {
    return name[0] >= 'a' && name[0] <= 'h' && name[1] >= '1' && name[1] <= '8';
}

// Decodes a move word without a test of its legality. Returns NULL_MOVE for words that move
// nothing of the side to move, or onto an own piece.
static Move decode_move(const Position& pos, const char* word) {
    if (strlen(word) < 4 || !is_square(word) || !is_square(word + 2)) return NULL_MOVE;
    int from = (word[0] - 'a') + 8 * (word[1] - '1');
    int to = (word[2] - 'a') + 8 * (word[3] - '1');
    int mover = pos.board[from];
    if (mover == 0 || colour_of(mover) != pos.side) return NULL_MOVE;

    int flag = castling_flag(pos, from, to);
    if (!flag && (pos.pieces[pos.side][ALL_PIECES] & bit(to))) return NULL_MOVE;
    // A promotion letter means nothing on any other move.
    if (type_of(mover) == PAWN && rank_of(to ^ rank_flip[pos.side]) == 7)
        flag = promotion_flag(word[4]);
    return static_cast<Move>(make_plain_move(from, to) | flag);
}

static void play_moves(char* text) {
    Position& pos = main_thread->position;
    char* rest = nullptr;
    for (char* word = strtok_r(text, " ", &rest); word; word = strtok_r(nullptr, " ", &rest)) {
        Move move = decode_move(pos, word);
        if (move == NULL_MOVE) {
            PrintFormat("info string can't play move '%s'", word);
            break;
        }
        make_game_move(pos, move);
    }
    main_thread->line.undo_stack[main_thread->line.undo_index].move =
        NULL_MOVE; // end of the game's moves
}

static void set_up_position(char* arguments) {
    char* moves = strstr(arguments, "moves");
    char none[1] = "";
    wait_for_copies();
    if (moves) {
        if (moves > arguments) moves[-1] = 0;
        else arguments = none;
    }
    if (strstr(arguments, "startpos")) set_position(main_thread->position, START_FEN);
    else if (strstr(arguments, "fen"))
        set_position(main_thread->position, advance(arguments, sizeof "fen"));
    else return;
    if (moves) play_moves(advance(moves, sizeof "moves"));
}

// Finds a keyword of `go` and copies the number behind it. Returns false without the keyword.
static bool find_value(char* arguments, const char* keyword, char* token) {
    char* found = strstr(arguments, keyword);
    if (!found) return false;
    copy_token(token, skip_spaces(advance(found, strlen(keyword) + 1)));
    return true;
}

static float seconds(const char* token) { return read_number(token) * 0.001f; }

static float clock_seconds(const char* token) { return std::max(seconds(token), 0.0f); }

// The limit varies by up to 4 per cent either way, so that games at fixed nodes differ.
static uint64_t vary_nodes(int64_t nodes) {
    constexpr int SPREAD = 40; // parts of a thousand
    return static_cast<uint64_t>(nodes + nodes * (SPREAD - random_number() % (2 * SPREAD)) / 1000);
}

// The keywords of time on a clock.
static void take_clocks(char* arguments) {
    constexpr int PERIOD = 40; // any number of moves above 1: moves_to_go counts
    constexpr int MAX_MOVES_TO_GO = 1000;

    const int side = main_thread->position.side;
    char token[TOKEN_LENGTH];
    if (find_value(arguments, "wtime", token)) set_limits({.white_clock = clock_seconds(token)});
    if (find_value(arguments, "btime", token)) set_limits({.black_clock = clock_seconds(token)});
    if (find_value(arguments, side == WHITE ? "winc" : "binc", token))
        set_limits({.time_increment = seconds(token)});
    if (find_value(arguments, "movestogo", token)) {
        int moves = std::clamp(read_integer(token), 0, MAX_MOVES_TO_GO);
        set_limits({.depth = UNLIMITED_DEPTH,
                    .nodes = UNLIMITED_NODES,
                    .control = PERIOD,
                    .moves_to_go = static_cast<int16_t>(moves)});
    }
}

// The keywords of a single search. A time on the clock does not end it.
static void take_search_limits(char* arguments) {
    char token[TOKEN_LENGTH];
    if (find_value(arguments, "depth", token))
        set_limits({.depth = read_integer(token), .move_time = UNLIMITED_SECONDS});
    if (find_value(arguments, "nodes", token))
        set_limits({.nodes = vary_nodes(read_integer(token)), .move_time = UNLIMITED_SECONDS});
    if (find_value(arguments, "movetime", token))
        set_limits({.move_time = seconds(token), .time_increment = 0.0f});
    if (strstr(arguments, "infinite"))
        set_limits({.depth = UNLIMITED_DEPTH,
                    .nodes = UNLIMITED_NODES,
                    .move_time = UNLIMITED_SECONDS,
                    .time_increment = 0.0f});
}

// Limits that a `go` doesn't name stand as an earlier one left them, but for the kind of control.
static void go(char* arguments) {
    abandon_search();
    set_limits({.control = SUDDEN_DEATH});
    take_clocks(arguments);
    take_search_limits(arguments);
    set_relaxed(engine.game_state,
                strstr(arguments, "ponder") ? STATE_PONDER_REQUEST : STATE_THINK_REQUEST);
}

static void quit() {
    abandon_search();
    shell.quit = 1;
}

void log_commands(bool on) { debug = on; }

void HandleUci(char* line) {
    line[strcspn(line, "\n")] = 0;
    if (line[0] == 0) return;
    if (debug) log_line("CMD: %s", line);
    if (strict_protocol()) {
        HandleStrictUci(line);
        return;
    }

    char command[TOKEN_LENGTH];
    copy_token(command, skip_spaces(line));
    // Counted from the start of the line: leading spaces leave it short of the true arguments.
    char* arguments = advance(line, strlen(command) + 1);

    if (strcmp(command, "uci") == 0) identify_engine();
    else if (strcmp(command, "isready") == 0) Print("readyok");
    else if (strcmp(command, "setoption") == 0) set_option(arguments);
    else if (strcmp(command, "debug") == 0) debug = 1;
    else if (strcmp(command, "_show") == 0) {
        // Search threads read the tables that it would rebuild.
        if (relaxed(engine.game_state) == STATE_IDLE) print_search_tables();
    } else if (strcmp(command, "ucinewgame") == 0) begin_new_game();
    else if (strcmp(command, "position") == 0) set_up_position(arguments);
    else if (strcmp(command, "go") == 0) go(arguments);
    else if (strcmp(command, "ponderhit") == 0) {
        uint8_t pondering = STATE_PONDERING;
        engine.game_state.compare_exchange_strong(pondering, STATE_THINKING);
    } else if (strcmp(command, "stop") == 0) {
        if (relaxed(engine.game_state) != STATE_IDLE) set_relaxed(engine.stop, 1);
    } else if (strcmp(command, "quit") == 0) quit();
}
