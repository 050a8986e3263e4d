#include "shell/options.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>

#include "base/files.h"
#include "base/option_table.h"
#include "base/platform.h"
#include "base/print.h"
#include "base/state.h"
#include "base/text.h"
#include "eval/nn.h"
#include "search/hash.h"
#include "shell/strength.h"
#include "shell/words.h"
#include "syzygy/tbcore.h"

// Changes that came during a search. Search threads read what they would take away.
static bool tables_waiting;  // of SyzygyPath
static bool network_waiting; // of NN_File

constexpr int MAX_NESTED_CONFIGS = 10; // files within each other
constexpr int MAX_CONFIGS = 50;        // files that one file leads to, itself included

namespace {

// Configuration files that are being read; each may name a further one.
struct Configs {
    char names[MAX_NESTED_CONFIGS][PATH_LENGTH];
    int depth; // of the names; 0 when none is read
    int files; // read so far since the first name
    bool told; // that one was left out
};

} // namespace

static Configs configs;

static bool busy() { return relaxed(engine.game_state) != STATE_IDLE; }

void apply_deferred_options() {
    if (tables_waiting) {
        tables_waiting = false;
        tb_init(active_personality.SyzygyPath);
    }
    if (network_waiting) {
        network_waiting = false;
        NnLoad();
    }
}

void forget_deferred_options() { tables_waiting = network_waiting = false; }

// Gives the hash table its size. The strict protocol goes back to the old one, or to what can be
// had of it, where the memory for the new one can't be had.
static void resize_hash() {
    if (active_personality.Hash == engine.hash_mb) return;
    const int before = engine.hash_mb;
    engine.hash_mb = active_personality.Hash;
    if (hash_alloc()) return;
    if (!strict_protocol()) exit(-1);
    PrintFormat("info string no memory for %d Mbytes of hash table", engine.hash_mb);
    engine.hash_mb = before;
    allocate_what_there_is();
}

void allocate_what_there_is() {
    while (!hash_alloc()) {
        if (engine.hash_mb == 0) exit(-1);
        engine.hash_mb /= 2;
    }
    active_personality.Hash = engine.hash_mb;
}

// Tells, in the strict protocol, what stands in the way of a file that an option names.
static void report_file(const char* name) {
    if (!strict_protocol() || name[0] == 0) return;
    FILE* file = open_plain_file(name, "rb");
    if (file) fclose(file);
    else PrintFormat("info string can't open %s: %s", name, file_trouble(name));
}

// Reads a number as the protocol has it, "true" and "false" of a check in any case. Returns false,
// with a word about it, for what is none; the option then stays as it is.
static bool read_strict_number(const Option& option, const char* value, int& number) {
    int64_t read = 0;
    if (option.kind == OptionKind::CHECK) {
        if (same_word(value, "true")) number = 1;
        else if (same_word(value, "false")) number = 0;
        else {
            PrintFormat("info string %s needs true or false", option.name);
            return false;
        }
        return true;
    }
    if (!read_whole_number(value, read)) {
        PrintFormat("info string %s needs a number", option.name);
        return false;
    }
    // The listing counts: without a thread there would be no move.
    const int min = option.listing == OptionListing::FROM_ONE ? 1 : option.min;
    number = static_cast<int>(std::clamp(read, int64_t{min}, int64_t{option.max}));
    return true;
}

// Stores a value of the strict protocol and reports it. Returns false if it is refused.
static bool store_strict_value(const Option& option, const char* value) {
    Personality& p = active_personality;
    int number = 0;
    if (option.kind == OptionKind::BUTTON) return true;
    if (option.kind == OptionKind::TEXT) {
        std::span<char> text = option_text(option, p);
        if (strlen(value) >= text.size()) {
            PrintFormat("info string %s holds %d characters at most", option.name,
                        static_cast<int>(text.size()) - 1);
            return false;
        }
        copy_text(text.data(), value, text.size());
        PrintFormat("info string %s set to '%s'", option.name, text.data());
        if (option.effect == OptionEffect::WHEN_READ) report_file(text.data());
        return true;
    }
    if (!read_strict_number(option, value, number)) return false;
    PrintFormat("info string %s set to %d", option.name, number);
    store_option_number(option, p, number);
    return true;
}

// Stores the value as far as the field holds it, and reports what was stored.
static void store_value(const Option& option, const char* value) {
    Personality& p = active_personality;
    if (option.kind == OptionKind::BUTTON) return;
    if (option.kind == OptionKind::TEXT) {
        std::span<char> text = option_text(option, p);
        copy_text(text.data(), value, text.size());
        PrintFormat("info string %s set to '%s'", option.name, text.data());
        return;
    }
    int number = option.kind == OptionKind::CHECK
                   ? is_on(value)
                   : std::clamp(read_integer(value), option.min, option.max);
    PrintFormat("info string %s set to %d", option.name, number);
    store_option_number(option, p, number);
}

static void act(OptionAction action) {
    switch (action) {
    case OptionAction::NONE: break;
    case OptionAction::LOAD_CONFIG: LoadConfig(); break;
    case OptionAction::RESIZE_HASH: resize_hash(); break;
    case OptionAction::SET_THREADS:
        engine.num_threads = static_cast<uint8_t>(active_personality.Threads);
        break;
    case OptionAction::CLEAR_HASH:
        hash_clear();
        Print("info string Hash table cleared");
        break;
    case OptionAction::LOAD_NETWORK: network_waiting = true; break;
    case OptionAction::OPEN_TABLES: tables_waiting = true; break;
    case OptionAction::OPEN_LOG: open_log(); break;
    }
}

// The strict protocol: names without regard to case, and a word about whatever is not done.
static void set_strict_option(const char* name, const char* value) {
    const Option* option = find_option_by_sound(name);
    if (!option) {
        PrintFormat("info string no option '%s'", name);
    } else if (option->effect == OptionEffect::IDLE_ONLY && busy()) {
        PrintFormat("info string %s can't be changed while a search runs", option->name);
    } else if (store_strict_value(*option, value)) {
        act(option->action);
        if (!busy()) apply_deferred_options();
    }
}

void SetOption(const char* name, const char* value) {
    if (strict_protocol()) {
        set_strict_option(name, value);
        return;
    }
    const Option* option = find_option(name);
    if (!option || (option->effect == OptionEffect::IDLE_ONLY && busy())) return;
    store_value(*option, value);
    act(option->action);
    if (!busy()) apply_deferred_options();
}

// Splits a line of the configuration file. Returns false for lines that hold no setting.
static bool split_setting(char* line, char*& name, char*& value) {
    constexpr size_t MIN_LENGTH = 4; // characters, with the newline
    if (strlen(line) < MIN_LENGTH) return false;
    line[strcspn(line, "\r\n")] = 0;
    line[strcspn(line, "#")] = 0;

    char* equals = strchr(line, '=');
    // Without a space in front, the "=" belongs to the name, and no option has such a name.
    if (!equals || equals == line || equals[-1] != ' ') return false;
    char* end = equals;
    while (end > line && end[-1] == ' ') end--;
    *end = 0;
    name = line;
    value = equals + 1;
    while (*value == ' ') value++;
    return true;
}

// Enters a file that is going to be read. Returns false, which is told once, if it is being read
// already or is one too many.
static bool enter_config(const char* name) {
    if (configs.depth == 0) configs = {};
    bool open = configs.depth < MAX_NESTED_CONFIGS && configs.files < MAX_CONFIGS;
    for (int i = 0; i < configs.depth; i++) open = open && !same_file(configs.names[i], name);
    if (!open) {
        if (!configs.told)
            PrintFormat("info string %s left out: named within itself, or one file too many", name);
        configs.told = true;
        return false;
    }
    copy_text(configs.names[configs.depth], name, PATH_LENGTH);
    configs.depth++;
    configs.files++;
    return true;
}

// "Strict" chooses the protocol. It is no option, so that no GUI can turn it off by mistake.
static bool take_strict_setting(const char* name, const char* value) {
    if (strcmp(name, "Strict") != 0) return false;
    shell.strict = is_on(value);
    return true;
}

void LoadConfig() {
    constexpr size_t LINE_LENGTH = 255, NAME_LENGTH = 101, VALUE_LENGTH = 201;

    FILE* file = open_plain_file(active_personality.ConfigFilePath, "r");
    if (!file) {
        report_file(active_personality.ConfigFilePath);
        return;
    }
    if (!enter_config(active_personality.ConfigFilePath)) {
        fclose(file);
        return;
    }
    PrintFormat("info string loading parameters from %s", active_personality.ConfigFilePath);

    char line[LINE_LENGTH];
    while (fgets(line, sizeof line, file)) {
        char *name_start, *value_start;
        if (!split_setting(line, name_start, value_start)) continue;
        char name[NAME_LENGTH], value[VALUE_LENGTH];
        copy_text(name, name_start, sizeof name);
        copy_text(value, value_start, sizeof value);
        if (!take_strict_setting(name, value)) SetOption(name, value);
    }
    fclose(file);
    configs.depth--;
    active_personality.eval_dirty = 1;
    default_personality = active_personality;
}

void PrintCheckOption(const char* name, int value) {
    PrintFormat("option name %s type check default %s", name, value ? "true" : "false");
}

static void print_spin(const Option& option) {
    Personality& p = default_personality;
    int min = option.min, max = option.max;
    if (option.listing == OptionListing::FROM_ONE) min = 1;
    if (option.listing == OptionListing::OWN_ELO) {
        // The listed default is the machine's own strength until another was asked for. In the
        // strict protocol nothing of the listing depends on the machine.
        if (!strict_protocol()) max = std::max(min, static_cast<int>(engine.calibration_elo));
        if (option_number(option, p) == 0)
            store_option_number(option, p, strict_protocol() ? STRICT_DEFAULT_ELO : max);
    }
    PrintFormat("option name %s type spin default %d min %d max %d", option.name,
                option_number(option, p), min, max);
}

static void print_text(const Option& option) {
    bool in_force = option.listing == OptionListing::IN_FORCE;
    const char* text =
        option_text(option, in_force ? active_personality : default_personality).data();
    if (strict_protocol() && text[0] == 0) text = "<empty>";
    PrintFormat("option name %s type string default %s", option.name, text);
}

void print_options() {
    for (const Option& option : all_options()) {
        switch (option.kind) {
        case OptionKind::CHECK:
            PrintCheckOption(option.name, option_number(option, default_personality));
            break;
        case OptionKind::SPIN: print_spin(option); break;
        case OptionKind::TEXT: print_text(option); break;
        case OptionKind::BUTTON: PrintFormat("option name %s type button", option.name); break;
        case OptionKind::CONSOLE_ONLY: break;
        }
    }
}
