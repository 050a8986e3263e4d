#include "shell/strict_uci.h"

#include <cstring>

#include "base/print.h"
#include "base/state.h"
#include "board/position.h"
#include "search/limits.h"
#include "search/thread.h"
#include "shell/loop.h"
#include "shell/options.h"
#include "shell/strict_go.h"
#include "shell/strict_position.h"
#include "shell/think.h"
#include "shell/uci.h"
#include "shell/words.h"

namespace {

enum Command {
    UCI,
    DEBUG,
    ISREADY,
    SETOPTION,
    UCINEWGAME,
    POSITION,
    GO,
    STOP,
    PONDERHIT,
    QUIT,
    NO_COMMAND
};

} // namespace

constexpr const char* COMMANDS[NO_COMMAND] = {"uci",        "debug",    "isready", "setoption",
                                              "ucinewgame", "position", "go",      "stop",
                                              "ponderhit",  "quit"};

constexpr char WHITE_SPACE[] = " \t\v\f\r";

// The first command of a line, with `text` behind it. The line stays as it is.
static Command find_command(const char*& text) {
    for (;;) {
        text += strspn(text, WHITE_SPACE);
        const size_t length = strcspn(text, WHITE_SPACE);
        if (length == 0) return NO_COMMAND;
        int number = 0;
        while (
            number < NO_COMMAND
            && !(strlen(COMMANDS[number]) == length && memcmp(COMMANDS[number], text, length) == 0))
            number++;
        text += length;
        if (number < NO_COMMAND) return static_cast<Command>(number);
    }
}

bool needs_rest(const char* line) {
    const Command command = find_command(line);
    return command == GO || command == UCINEWGAME;
}

// Appends a word to a name of several words.
static void append_word(char* name, size_t size, const char* word) {
    if (name[0]) strncat(name, " ", size - strlen(name) - 1);
    strncat(name, word, size - strlen(name) - 1);
}

// What stands in a text without the white space around it; the text is cut.
static char* trimmed(char* text) {
    text += strspn(text, WHITE_SPACE);
    size_t length = strlen(text);
    while (length > 0 && strchr(WHITE_SPACE, text[length - 1])) length--;
    text[length] = 0;
    return text;
}

static void set_strict_option(char* text) {
    constexpr size_t NAME_LENGTH = 101;

    char name[NAME_LENGTH] = "";
    char* word = next_word(text);
    while (word && !same_word(word, "name")) word = next_word(text);
    while ((word = next_word(text)) && !same_word(word, "value"))
        append_word(name, sizeof name, word);
    char nothing[1] = "";
    char* value = word ? trimmed(text) : nothing;
    SetOption(name, strcmp(value, "<empty>") == 0 ? nothing : value);
    default_personality = active_personality;
}

static void begin_strict_game() {
    begin_new_game();
    lift_limits();
    set_position(main_thread->position, START_FEN);
}

static void switch_debug(char* text) {
    while (char* word = next_word(text)) {
        if (same_word(word, "on")) log_commands(true);
        if (same_word(word, "off")) log_commands(false);
    }
}

// The answer of a think is due; a batch job only ends its search.
static void stop() {
    const uint8_t state = relaxed(engine.game_state);
    if (state == STATE_BATCH) set_relaxed(engine.stop, 1);
    else if (state != STATE_IDLE) ask_for_answer();
}

// A think that is over already has waited for this.
static void ponderhit() {
    for (uint8_t over : {uint8_t{0}, STATE_OVER}) {
        uint8_t pondering = STATE_PONDERING | over;
        if (engine.game_state.compare_exchange_strong(pondering, STATE_THINKING | over)) return;
    }
}

void HandleStrictUci(char* line) {
    const char* behind = line;
    const Command command = find_command(behind);
    char* text = line + (behind - line);
    switch (command) {
    case UCI: identify_engine(); break;
    case DEBUG: switch_debug(text); break;
    case ISREADY: Print("readyok"); break;
    case SETOPTION: set_strict_option(text); break;
    case UCINEWGAME: begin_strict_game(); break;
    case POSITION: set_up_strict_position(text); break;
    case GO:
        abandon_search();
        request_strict_think(text);
        break;
    case STOP: stop(); break;
    case PONDERHIT: ponderhit(); break;
    case QUIT:
        abandon_search();
        shell.quit = 1;
        break;
    case NO_COMMAND: break;
    }
}
