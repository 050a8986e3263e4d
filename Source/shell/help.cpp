#include "shell/help.h"

#include <cstdio>
#include <cstring>

#include "base/state.h"
#include "eval/nn.h"
#include "eval/nn_kernels.h"

namespace {

struct OptionHelp {
    const char* name;  // null: a heading
    const char* value; // what follows it, or an empty text
    const char* text;  // null: known, but nothing for people
};

} // namespace

static constexpr OptionHelp OPTIONS[] = {
    {nullptr, "", "How it talks"},
    {"-uci", "", "by the UCI protocol, to a graphical interface (default)"},
    {"-strict", "", "by UCI to the letter, as the program mird-uci does"},
    {"-c", "", "with a person at a keyboard, who types moves and commands"},
    {"-cfg", "FILE", "read options from a configuration file first"},
    {"-log", "", "write what is heard and said to mird.log"},
    {"-quiet", "", "no lines of analysis and no log"},
    {"-noise", "SECONDS", "no lines of analysis before that"},

    {nullptr, "", "What it plays with"},
    {"-hash", "MB", "hash table (64)"},
    {"-threads", "N", "search threads (1)"},
    {"-use_nn", "", "evaluate by the network (default)"},
    {"-use_hce", "", "evaluate by hand-written rules"},
    {"-book", "FILE", "opening book; the option OwnBook switches it on"},
    {"-tbpath", "DIRS", "folders of endgame tables, with \";\" between them"},
    {"-nps", "N", "play as strong as at so many nodes a second"},

    {nullptr, "", "How long it thinks, when nobody says otherwise"},
    {"-d", "PLIES", "to a depth"},
    {"-t", "SECONDS", "for a time"},
    {"-n", "NODES", "about so many nodes"},

    {nullptr, "", "Jobs, which end by themselves"},
    {"-bench", "", "search 20 positions and print the sum of the nodes; -d 10 for the known one"},
    {"-pbench", "", "the same, on the main thread alone"},
    {"bench", "", "as first word: -pbench -d 10, and a last line for test frameworks"},
    {"-anepd", "FILE", "analyse the positions of an EPD file, as a test suite if it says bm or am"},
    {"-mkbook", "PGN", "make an opening book, tmp_book.bin"},
    {"-scan_pgn1", "PGN", "write blunders, by the comments of games; 2, 3, 4: other positions"},
    {"-mktune1", "EPD", "write positions at the ends of lines; 2: with their scores"},
    {"-mkconfig", "", "read the configuration and end"},
    {"-o", "FILE", "where a job writes"},

    {nullptr, "", "About it"},
    {"--help", "", "this page"},
    {"--version", "", "version, build, vector instructions, network"},

    {"-scan_pgn2", "PGN", nullptr},
    {"-scan_pgn3", "PGN", nullptr},
    {"-scan_pgn4", "PGN", nullptr},
    {"-mktune2", "EPD", nullptr},
    {"-numa", "", nullptr},
    {"-tbx", "", nullptr},
    {"-mktraindata", "", nullptr},
    {"-tune", "", nullptr},
    {"-tune2", "", nullptr},
    {"-tune3", "", nullptr},
    {"-tune4", "", nullptr},
};

static void print_help() {
    printf("%s, a chess engine\n\nusage: mird [options]\n", PROGRAM_NAME);
    for (const OptionHelp& option : OPTIONS) {
        if (!option.text) continue;
        if (!option.name) {
            printf("\n%s\n", option.text);
            continue;
        }
        char left[32];
        snprintf(left, sizeof left, "%s %s", option.name, option.value);
        printf("  %-16s  %s\n", left, option.text);
    }
}

bool is_known_option(const char* word) {
    if (strstr(word, "-scan_pgn")) return true; // that it holds this text is enough
    for (const OptionHelp& option : OPTIONS)
        if (option.name && strcmp(option.name, word) == 0) return true;
    return false;
}

static const char* build_kind() {
#ifdef NDEBUG
    return "release";
#else
    return "with asserts";
#endif
}

static const char* system_name() {
#if defined(_WIN32)
    return "Windows";
#elif defined(__APPLE__)
    return "macOS";
#elif defined(__linux__)
    return "Linux";
#else
    return "another system";
#endif
}

static const char* processor_name() {
#if defined(__x86_64__)
    return "x86-64";
#elif defined(__aarch64__)
    return "ARM 64";
#else
    return "another processor";
#endif
}

static void print_version() {
#ifdef __clang__
    constexpr char COMPILER[] = __VERSION__; // names itself
#else
    constexpr char COMPILER[] = "gcc " __VERSION__;
#endif
    printf("%s\n", PROGRAM_NAME);
    printf("build: %s, %s, for %s on %s\n", build_kind(), COMPILER, system_name(),
           processor_name());
    printf("vector instructions:");
    for (const char* path : NN_PATH_NAMES)
        if (NnSelectPath(path)) printf(" %s", path);
    NnSelectPath("");
    printf("; in use: %s\n", nn_kernels->name);
    NnFileBytes network = NnEmbeddedFile();
    printf("network: embedded, %zu bytes, checksum %016llx\n", network.size,
           static_cast<unsigned long long>(network.checksum));
}

bool tell_of_itself(const char* word) {
    const bool help = strcmp(word, "--help") == 0, version = strcmp(word, "--version") == 0;
    if (help) print_help();
    if (version) print_version();
    return help || version;
}
