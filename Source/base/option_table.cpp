#include "base/option_table.h"

#include <cctype>
#include <cstring>

#include "base/text.h"

using enum OptionKind;
using enum OptionEffect;
using enum OptionAction;
using enum OptionListing;
using P = Personality;

// clang-format off
static constexpr Option OPTIONS[] = {
    // name               kind    field                   min  max  default     effect
    //  and where there is more: action, listing, name in the console, whether it reports there
    {"ConfigFilePath",    TEXT,   &P::ConfigFilePath,       0,   0, "",         IDLE_ONLY,
     LOAD_CONFIG},
    {"Hash",              SPIN,   &P::Hash,       0, MAX_HASH_MB,   "64",       IDLE_ONLY,
     RESIZE_HASH},
    {"Threads",           SPIN,   &P::Threads,    0, MAX_THREADS,   "1",        IDLE_ONLY,
     SET_THREADS, FROM_ONE},
    {"Clear_Hash",        BUTTON, {},                       0,   0, "",         IDLE_ONLY,
     CLEAR_HASH},
    {"NN_File",           TEXT,   &P::NN_File,              0,   0, "embedded", AFTER_SEARCH,
     LOAD_NETWORK, IN_FORCE},
    {"Use_NN_eval",       CHECK,  &ShellState::use_nn,      0,   1, "true",     WHEN_READ},
    {"OwnBook",           CHECK,  &P::OwnBook,              0,   1, "false",    WHEN_READ},
    {"OwnBook_File",      TEXT,   &P::OwnBook_File,         0,   0, "",         WHEN_READ},
    {"OwnBook_Depth",     SPIN,   &P::OwnBook_Depth,        0,  60, "24",       WHEN_READ},
    {"OwnBook2_File",     TEXT,   &P::OwnBook2_File,        0,   0, "",         WHEN_READ},
    {"OwnBook2_Depth",    SPIN,   &P::OwnBook2_Depth,       0,  60, "0",        WHEN_READ},
    {"OwnBook_Variety",   SPIN,   &P::OwnBook_Variety,      0, 100, "25",       WHEN_READ},
    {"SyzygyPath",        TEXT,   &P::SyzygyPath,           0,   0, "",         AFTER_SEARCH,
     OPEN_TABLES},
    {"SyzygyProbeDepth6", SPIN,   &P::SyzygyProbeDepth6,   -5, 100, "1",        WHEN_READ},
    {"Log",               CHECK,  &P::Log,                  0,   1, "false",    WHEN_READ,
     OPEN_LOG},
    {"Ponder",            CHECK,  &P::Ponder,               0,   1, "true",     NEXT_THINK,
     NONE, PLAIN, "ponder", true},
    {"MultiPV",           SPIN,   &P::MultiPV,              1, 255, "1",        NEXT_THINK,
     NONE, PLAIN, "multipv", false},
    {"UCI_Chess960",      CHECK,  &ShellState::chess960,    0,   1, "false",    WHEN_READ,
     NONE, PLAIN, "frc", false},
    {"MoveOverhead",      SPIN,   &P::MoveOverhead,         0, 5000, "50",      NEXT_THINK},
    {"UCI_LimitStrength", CHECK,  &P::UCI_LimitStrength,    0,   1, "false",    NEXT_THINK},
    {"UCI_Elo",           SPIN,   &P::UCI_Elo,          1500, 3300, "0",        NEXT_THINK,
     NONE, OWN_ELO},
    {"Contempt",          SPIN,   &P::Contempt,          -150, 150, "0",        WHEN_READ},
    {"Selectivity",       SPIN,   &P::Selectivity,          0, 200, "100",      NEXT_THINK,
     NONE, PLAIN, "Selectivity", true},

    // Their own names are those of the console.
    {"NMP_depth", CONSOLE_ONLY,   &P::NMP_depth,            0,   0, "3",        NEXT_THINK},
    {"SEP_depth", CONSOLE_ONLY,   &P::SEP_depth,            0,   0, "3",        NEXT_THINK},
    {"FP_depth",  CONSOLE_ONLY,   &P::FP_depth,             0,   0, "3",        NEXT_THINK},
    {"LMP_depth", CONSOLE_ONLY,   &P::LMP_depth,            0,   0, "6",        NEXT_THINK},
    {"LMR_depth", CONSOLE_ONLY,   &P::LMR_depth,            0,   0, "3",        NEXT_THINK},
};
// clang-format on

std::span<const Option> all_options() { return OPTIONS; }

const Option* find_option(const char* name) {
    for (const Option& option : OPTIONS)
        if (option.kind != CONSOLE_ONLY && strcmp(option.name, name) == 0) return &option;
    return nullptr;
}

// The next character of a name that counts: no blank or "_", in lower case; 0 at the end.
static char next_name_letter(const char*& text) {
    while (*text == ' ' || *text == '_') text++;
    return *text ? static_cast<char>(tolower(static_cast<unsigned char>(*text++))) : '\0';
}

static bool same_name(const char* a, const char* b) {
    char letter = 0;
    do {
        letter = next_name_letter(a);
        if (letter != next_name_letter(b)) return false;
    } while (letter);
    return true;
}

const Option* find_option_by_sound(const char* name) {
    for (const Option& option : OPTIONS)
        if (option.kind != CONSOLE_ONLY && same_name(option.name, name)) return &option;
    return nullptr;
}

const Option* find_console_option(const char* name) {
    constexpr char ANYWHERE[] = "multipv"; // the one name that may have more around it
    if (strstr(name, ANYWHERE)) name = ANYWHERE;
    for (const Option& option : OPTIONS) {
        const char* own = option.kind == CONSOLE_ONLY ? option.name : option.console_name;
        if (own && strcmp(own, name) == 0) return &option;
    }
    return nullptr;
}

int option_number(const Option& option, const Personality& p) {
    if (auto* narrow = std::get_if<int16_t P::*>(&option.field)) return load_shared(p.**narrow);
    if (auto* wide = std::get_if<int32_t P::*>(&option.field)) return p.**wide;
    if (auto* flag = std::get_if<std::atomic<uint8_t> ShellState::*>(&option.field))
        return relaxed(shell.**flag);
    return 0;
}

void store_option_number(const Option& option, Personality& p, int number) {
    if (auto* narrow = std::get_if<int16_t P::*>(&option.field)) store_shared(p.**narrow, number);
    if (auto* wide = std::get_if<int32_t P::*>(&option.field)) p.** wide = number;
    if (auto* flag = std::get_if<std::atomic<uint8_t> ShellState::*>(&option.field))
        set_relaxed(shell.**flag, number);
}

std::span<char> option_text(const Option& option, Personality& p) {
    if (auto* name = std::get_if<char(P::*)[FILE_NAME_LENGTH]>(&option.field)) return p.**name;
    if (auto* path = std::get_if<char(P::*)[PATH_LENGTH]>(&option.field)) return p.**path;
    return {};
}

bool is_on(const char* value) { return strstr(value, "true") != nullptr; }

void set_option_defaults(Personality& p) {
    for (const Option& option : OPTIONS) {
        const char* value = option.default_value;
        if (option.kind == TEXT) {
            std::span<char> text = option_text(option, p);
            copy_text(text.data(), value, text.size());
        } else {
            store_option_number(option, p,
                                option.kind == CHECK ? is_on(value) : read_integer(value));
        }
    }
}
