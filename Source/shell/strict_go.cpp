#include "shell/strict_go.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <optional>

#include "base/print.h"
#include "base/state.h"
#include "search/limits.h"
#include "search/thread.h"
#include "shell/strict_position.h"
#include "shell/words.h"

namespace {

// Words of `go` with a number, in the order of GoNumbers.
enum GoWord { WTIME, BTIME, WINC, BINC, MOVESTOGO, DEPTH, NODES, MATE, MOVETIME, GO_WORDS };

struct GoRange {
    const char* word;
    int64_t min, max;
};

// What a `go` says.
struct GoCommand {
    std::optional<int64_t> numbers[GO_WORDS];
    bool ponder, infinite;
};

constexpr int64_t MAX_TIME = INT_MAX; // milliseconds, 24 days
constexpr GoRange RANGES[GO_WORDS] = {
    {"wtime", 0, MAX_TIME},  {"btime", 0, MAX_TIME}, {"winc", 0, MAX_TIME},
    {"binc", 0, MAX_TIME},   {"movestogo", 0, 1000}, {"depth", 1, MAX_DEPTH},
    {"nodes", 1, 1LL << 62}, {"mate", 1, 50},        {"movetime", 1, MAX_TIME},
};

} // namespace

static int word_number(const char* word) {
    int number = 0;
    while (number < GO_WORDS && !same_word(word, RANGES[number].word)) number++;
    return number;
}

static bool is_go_word(const char* word) {
    return word_number(word) < GO_WORDS || same_word(word, "ponder") || same_word(word, "infinite")
        || same_word(word, "searchmoves");
}

static int64_t clamp_number(const GoRange& range, int64_t number) {
    const int64_t clamped = std::clamp(number, range.min, range.max);
    if (clamped != number)
        PrintFormat("info string %s %lld is out of range, %lld is taken", range.word,
                    static_cast<long long>(number), static_cast<long long>(clamped));
    return clamped;
}

// Takes the number behind a word. `next` is the word there, null at the end; it is taken only if
// it is a number. Returns whether it is.
static bool take_number(GoCommand& command, int word, const char* next) {
    const GoRange& range = RANGES[word];
    int64_t number;
    if (next && read_whole_number(next, number)) {
        command.numbers[word] = clamp_number(range, number);
        return true;
    }
    command.numbers[word] = range.min;
    PrintFormat("info string %s has no number, %lld is taken", range.word,
                static_cast<long long>(range.min));
    return false;
}

// Adds a move to those that are to be searched.
static void choose_move(const char* word, int& count) {
    const Move move = move_of_word(main_thread->position, word);
    const Move* first = engine.only_moves;
    if (move == NULL_MOVE) PrintFormat("info string can't search move '%s'", word);
    else if (count < MAX_ONLY_MOVES && std::find(first, first + count, move) == first + count)
        engine.only_moves[count++] = move;
    engine.only_moves[count] = 0;
}

static GoCommand read_words(char* text) {
    GoCommand command = {};
    int chosen = 0;
    bool choosing = false;
    for (char* word = next_word(text); word;) {
        char* next = next_word(text);
        const int number = word_number(word);
        if (is_go_word(word)) choosing = same_word(word, "searchmoves");
        else if (choosing) choose_move(word, chosen);
        if (same_word(word, "ponder")) command.ponder = true;
        if (same_word(word, "infinite")) command.infinite = true;
        if (number < GO_WORDS && take_number(command, number, next)) next = next_word(text);
        word = next;
    }
    return command;
}

static float seconds(int64_t milliseconds) { return static_cast<float>(milliseconds) * 0.001f; }

// The clocks. Where the own clock is not told the opponent's stands in for it, and where no clock
// is told at all there is no time left.
static void set_clocks(const GoCommand& command) {
    constexpr int PERIOD = 40; // any number of moves above 1: moves_to_go counts
    const auto& numbers = command.numbers;
    if (std::none_of(numbers + WTIME, numbers + MOVESTOGO + 1,
                     [](const auto& number) { return number.has_value(); }))
        return;

    const bool white = main_thread->position.side == WHITE;
    const int64_t moves = numbers[MOVESTOGO].value_or(0);
    set_limits({.control = moves > 0 ? PERIOD : SUDDEN_DEATH,
                .time_increment = seconds(numbers[white ? WINC : BINC].value_or(0)),
                .white_clock = seconds(numbers[WTIME].value_or(numbers[BTIME].value_or(0))),
                .black_clock = seconds(numbers[BTIME].value_or(numbers[WTIME].value_or(0))),
                .moves_to_go = static_cast<int16_t>(moves),
                .clock_runs = uint8_t{1}});
}

void request_strict_think(char* text) {
    lift_limits();
    const GoCommand command = read_words(text);
    const auto& numbers = command.numbers;
    // Who wants to be analysed for until `stop` gets no end from a clock.
    if (!command.infinite) {
        set_clocks(command);
        if (numbers[MOVETIME]) set_limits({.think_time = seconds(*numbers[MOVETIME])});
    }
    if (numbers[DEPTH]) set_limits({.depth = static_cast<int>(*numbers[DEPTH])});
    if (numbers[NODES]) set_limits({.nodes = static_cast<uint64_t>(*numbers[NODES])});
    if (numbers[MATE]) set_limits({.mate = static_cast<int16_t>(*numbers[MATE])});
    set_limits({.until_stop = static_cast<uint8_t>(command.infinite)});
    set_relaxed(engine.game_state, command.ponder ? STATE_PONDER_REQUEST : STATE_THINK_REQUEST);
}
