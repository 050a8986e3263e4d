#include "shell/options.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/print.h"
#include "base/state.h"
#include "base/text.h"
#include "eval/nn.h"
#include "search/hash.h"
#include "syzygy/tbcore.h"

static bool busy() { return relaxed(engine.game_state) != STATE_IDLE; }

static bool is_on(const char* value) { return strstr(value, "true") != nullptr; }

static void report_number(const char* name, int value) {
    PrintFormat("info string %s set to %d", name, value);
}

namespace {

// Spin and check options that only store a value.
struct NumberOption {
    char name[24];
    int16_t Personality::*field;
    int least, most; // of a spin; a check has 0 and 1
    bool check;
};

struct TextOption {
    char name[16];
    char* field;
    size_t size;
};

} // namespace

// clang-format off
static constexpr NumberOption NUMBER_OPTIONS[] = {
    // name                field                            least  most   check
    {"MoveOverhead",      &Personality::MoveOverhead,           0,  5000, false},
    {"Ponder",            &Personality::Ponder,                 0,     1, true},
    {"Contempt",          &Personality::Contempt,            -150,   150, false},
    {"Selectivity",       &Personality::Selectivity,            0,   200, false},
    {"MultiPV",           &Personality::MultiPV,                1,   255, false},
    {"OwnBook",           &Personality::OwnBook,                0,     1, true},
    {"OwnBook_Variety",   &Personality::OwnBook_Variety,        0,   100, false},
    {"OwnBook_Depth",     &Personality::OwnBook_Depth,          0,    60, false},
    {"OwnBook2_Depth",    &Personality::OwnBook2_Depth,         0,    60, false},
    {"SyzygyProbeDepth6", &Personality::SyzygyProbeDepth6,     -5,   100, false},
    {"UCI_LimitStrength", &Personality::UCI_LimitStrength,      0,     1, true},
    {"UCI_Elo",           &Personality::UCI_Elo,             1500,  3300, false},
};
// clang-format on

static bool set_number(const char* name, const char* value) {
    for (const NumberOption& option : NUMBER_OPTIONS) {
        if (strcmp(name, option.name) != 0) continue;
        int number = option.check ? is_on(value)
                                  : std::clamp(read_integer(value), option.least, option.most);
        report_number(name, number);
        store_shared(active_personality.*option.field, number);
        return true;
    }
    return false;
}

static bool set_text(const char* name, const char* value) {
    Personality& p = active_personality;
    const TextOption options[] = {
        {"OwnBook_File", p.OwnBook_File, sizeof p.OwnBook_File},
        {"OwnBook2_File", p.OwnBook2_File, sizeof p.OwnBook2_File},
    };
    for (const TextOption& option : options) {
        if (strcmp(name, option.name) != 0) continue;
        copy_text(option.field, value, option.size);
        PrintFormat("info string %s set to '%s'", name, option.field);
        return true;
    }
    return false;
}

// Changes that came during a search. Search threads read what they would take away.
static bool tables_waiting;  // of SyzygyPath
static bool network_waiting; // of NN_File

static void set_table_path(const char* value) {
    copy_text(active_personality.SyzygyPath, value, PATH_LENGTH);
    PrintFormat("info string SyzygyPath set to '%s'", active_personality.SyzygyPath);
    tables_waiting = true;
    if (!busy()) apply_deferred_options();
}

static void set_network(const char* value) {
    copy_text(active_personality.NN_File, value, FILE_NAME_LENGTH);
    PrintFormat("info string NN_File set to '%s'", active_personality.NN_File);
    network_waiting = true;
    if (!busy()) apply_deferred_options();
}

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

static void set_hash(const char* value) {
    int megabytes = std::clamp(read_integer(value), 0, MAX_HASH_MB);
    report_number("Hash", megabytes);
    active_personality.Hash = megabytes;
    if (megabytes == engine.hash_mb) return;
    engine.hash_mb = megabytes;
    if (!hash_alloc()) exit(-1);
}

static void set_threads(const char* value) {
    int threads = std::clamp(read_integer(value), 0, MAX_THREADS);
    report_number("Threads", threads);
    active_personality.Threads = static_cast<int16_t>(threads);
    engine.num_threads = static_cast<uint8_t>(threads);
}

static void set_config_path(const char* value) {
    copy_text(active_personality.ConfigFilePath, value, PATH_LENGTH);
    PrintFormat("info string ConfigFilePath set to '%s'", active_personality.ConfigFilePath);
    LoadConfig();
}

static void clear_hash() {
    hash_clear();
    Print("info string Hash table cleared");
}

// Options that act when no search runs, and are ignored in silence otherwise.
static bool set_idle_option(const char* name, const char* value) {
    if (strcmp(name, "ConfigFilePath") == 0) {
        if (!busy()) set_config_path(value);
    } else if (strcmp(name, "Hash") == 0) {
        if (!busy()) set_hash(value);
    } else if (strcmp(name, "Threads") == 0) {
        if (!busy()) set_threads(value);
    } else if (strcmp(name, "Clear_Hash") == 0) {
        if (!busy()) clear_hash();
    } else {
        return false;
    }
    return true;
}

// Options that stand in ShellState, or do more than store a value.
static bool set_switch(const char* name, const char* value) {
    int on = is_on(value);
    if (strcmp(name, "SyzygyPath") == 0) {
        set_table_path(value);
    } else if (strcmp(name, "NN_File") == 0) {
        set_network(value);
    } else if (strcmp(name, "Use_NN_eval") == 0) {
        report_number(name, on);
        set_relaxed(shell.use_nn, on);
    } else if (strcmp(name, "UCI_Chess960") == 0) {
        report_number(name, on);
        set_relaxed(shell.chess960, on);
    } else if (strcmp(name, "Log") == 0) {
        report_number(name, on);
        store_shared(active_personality.Log, on);
        open_log();
    } else {
        return false;
    }
    return true;
}

void SetOption(const char* name, const char* value) {
    if (set_idle_option(name, value) || set_switch(name, value) || set_number(name, value)) return;
    set_text(name, value);
}

// Splits a line of the configuration file. Returns false for lines that hold no setting.
static bool split_setting(char* line, char*& name, char*& value) {
    constexpr size_t SHORTEST = 4; // characters, with the newline
    if (strlen(line) < SHORTEST) return false;
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

void LoadConfig() {
    constexpr size_t NAME_LENGTH = 101, VALUE_LENGTH = 201;
    constexpr int MOST_NESTED = 10; // a file that names itself is not read for ever
    static int nested;

    if (nested >= MOST_NESTED) return;
    FILE* file = fopen(active_personality.ConfigFilePath, "r");
    if (!file) return;
    nested++;
    PrintFormat("info string loading parameters from %s", active_personality.ConfigFilePath);

    char line[255];
    while (fgets(line, sizeof line, file)) {
        char *name_start, *value_start;
        if (!split_setting(line, name_start, value_start)) continue;
        char name[NAME_LENGTH], value[VALUE_LENGTH];
        copy_text(name, name_start, sizeof name);
        copy_text(value, value_start, sizeof value);
        SetOption(name, value);
    }
    fclose(file);
    nested--;
    active_personality.eval_dirty = 1;
    default_personality = active_personality;
}

static void print_spin(const char* name, int value, int least, int most) {
    PrintFormat("option name %s type spin default %d min %d max %d", name, value, least, most);
}

static void print_text(const char* name, const char* value) {
    PrintFormat("option name %s type string default %s", name, value);
}

void PrintCheckOption(const char* name, int value) {
    PrintFormat("option name %s type check default %s", name, value ? "true" : "false");
}

void print_options() {
    Personality& p = default_personality;
    print_text("ConfigFilePath", p.ConfigFilePath);
    print_spin("Hash", p.Hash, 0, MAX_HASH_MB);
    print_spin("Threads", p.Threads, 1, MAX_THREADS);
    Print("option name Clear_Hash type button");
    print_text("NN_File", active_personality.NN_File);
    PrintCheckOption("Use_NN_eval", relaxed(shell.use_nn));
    PrintCheckOption("OwnBook", p.OwnBook);
    print_text("OwnBook_File", p.OwnBook_File);
    print_spin("OwnBook_Depth", p.OwnBook_Depth, 0, 60);
    print_text("OwnBook2_File", p.OwnBook2_File);
    print_spin("OwnBook2_Depth", p.OwnBook2_Depth, 0, 60);
    print_spin("OwnBook_Variety", p.OwnBook_Variety, 0, 100);
    print_text("SyzygyPath", p.SyzygyPath);
    print_spin("SyzygyProbeDepth6", p.SyzygyProbeDepth6, -5, 100);
    PrintCheckOption("Log", p.Log);
    PrintCheckOption("Ponder", p.Ponder);
    print_spin("MultiPV", p.MultiPV, 1, 255);
    PrintCheckOption("UCI_Chess960", relaxed(shell.chess960));
    print_spin("MoveOverhead", p.MoveOverhead, 0, 5000);
    PrintCheckOption("UCI_LimitStrength", p.UCI_LimitStrength);
    // The listed default is the machine's own strength until another was asked for.
    if (p.UCI_Elo == 0) p.UCI_Elo = static_cast<int16_t>(engine.calibration_elo);
    print_spin("UCI_Elo", p.UCI_Elo, 1500, static_cast<int>(engine.calibration_elo));
    print_spin("Contempt", p.Contempt, -150, 150);
    print_spin("Selectivity", p.Selectivity, 0, 200);
}
