// option_table.h: the one table of what can be set by name.
//
// setoption, the listing of `uci`, the configuration file, the console's `set`, the defaults of
// the records and the page Docs/options.md all follow it. It stands beside the records because
// their defaults come from it; what an option does beyond its field is done in shell/options.
// Constant data; the functions below are for the main thread.

#pragma once

#include <atomic>
#include <cstdint>
#include <span>
#include <variant>

#include "base/state.h"

enum class OptionKind : uint8_t {
    CHECK,       // on if "true" occurs in the value
    SPIN,        // a whole number, clamped to its range
    TEXT,        // cut to its field
    BUTTON,      // has no field
    CONSOLE_ONLY // a number that only the console's `set` knows, and reports; not clamped
};

// When a change acts.
enum class OptionEffect : uint8_t {
    WHEN_READ,    // wherever the field is read, also by a search that runs
    NEXT_THINK,   // when the next think is prepared
    AFTER_SEARCH, // at once, or when the search that runs has ended
    IDLE_ONLY     // at once; while a search runs the change is ignored in silence
};

// What is done beyond storing the value.
enum class OptionAction : uint8_t {
    NONE,
    LOAD_CONFIG,
    RESIZE_HASH,
    SET_THREADS,
    CLEAR_HASH,
    LOAD_NETWORK,
    OPEN_TABLES,
    OPEN_LOG
};

// Where the listing of `uci` differs from the row, and from default_personality.
enum class OptionListing : uint8_t {
    PLAIN,
    IN_FORCE, // the value of active_personality
    FROM_ONE, // from 1 on, although 0 is accepted
    OWN_ELO   // at most the machine's calibrated figure, which also stands in for a value of 0
};

// Numbers of a Personality, flags of the run, texts of the two lengths; empty for a button.
using OptionField =
    std::variant<std::monostate, int16_t Personality::*, int32_t Personality::*,
                 std::atomic<uint8_t> ShellState::*, char (Personality::*)[FILE_NAME_LENGTH],
                 char (Personality::*)[PATH_LENGTH]>;

struct Option {
    const char* name;          // case-sensitive
    OptionKind kind;           // how a value is read
    OptionField field;         // where it is kept
    int min, max;              // accepted; 0 and 1 of a check, 0 and 0 of a text or a button
    const char* default_value; // as setoption would be given it; a spin's may lie outside
    OptionEffect effect;       // when a change acts
    OptionAction action = OptionAction::NONE;     // what is done at a change
    OptionListing listing = OptionListing::PLAIN; // how `uci` shows the row
    const char* console_name = nullptr; // in the console's `set`; null if it has none of its own
    bool console_reports = false;       // `set` answers "NAME set to VALUE"
};

// All rows, in the order of the listing; those that only the console knows stand at the end.
std::span<const Option> all_options();

// The row of an option that setoption may change, or null. An empty name has none.
const Option* find_option(const char* name);

// The same without regard to case, blanks and "_": "Move Overhead" is MoveOverhead.
const Option* find_option_by_sound(const char* name);

// The row that a name means in the console's `set`, or null. Any name that holds "multipv" means
// MultiPV.
const Option* find_console_option(const char* name);

// The number of a check, a spin or a setting of the console. Flags of the run are the same in both
// personalities.
int option_number(const Option& option, const Personality& p);

// Stores a number, cut to the width of its field. Search threads may read it meanwhile.
void store_option_number(const Option& option, Personality& p, int number);

// The field of a text, with its ending NUL; empty for other kinds.
std::span<char> option_text(const Option& option, Personality& p);

// Tells whether the value of a check switches it on.
bool is_on(const char* value);

// Sets every field that a row names to its default.
void set_option_defaults(Personality& p);
