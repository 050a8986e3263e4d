#include "fuzz/fuzz.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string_view>

#include <fcntl.h>
#include <unistd.h>

#include "base/files.h"
#include "base/platform.h"
#include "base/print.h"
#include "base/state.h"
#include "records.h"
#include "search/hash.h"
#include "search/trace.h"
#include "shell/console.h"
#include "shell/input.h"
#include "shell/loop.h"
#include "shell/options.h"
#include "shell/start.h"
#include "support.h"
#include "syzygy/tbcore.h"

static int typing_end; // of the pipe that is standard input
static int report;     // standard error, which libFuzzer may close for the targets

static void take_standard_input() {
    int ends[2];
    if (pipe(ends) != 0) broken("a pipe can be had");
    dup2(ends[0], STDIN_FILENO);
    close(ends[0]);
    fcntl(ends[1], F_SETFD, FD_CLOEXEC);
    typing_end = ends[1];
}

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
    report = dup(STDERR_FILENO);
    // Folders of inputs are named from where the program was started. Its own name must stay.
    for (int i = 1; i < *argc; i++)
        if ((*argv)[i][0] != '-')
            (*argv)[i] = strdup(std::filesystem::absolute((*argv)[i]).c_str());
    if (chdir(fresh_directory().c_str()) != 0) broken("the working directory can be entered");
    take_standard_input();
    ignore_broken_pipes();
    if (!init_engine()) broken("the engine starts");
    engine.hash_mb = 1;
    if (!hash_alloc()) broken("a megabyte can be had");
    return 0;
}

void begin_input() {
    reset_input();
    reset_trace();
    end_console_play();
    forget_deferred_options();
    file_failed = false;
    if (tb_largest > 0) tb_init("");
    if (log_file) fclose(log_file);
    log_file = nullptr;
    if (engine.hash_mb != 1) {
        engine.hash_mb = 1;
        if (!hash_alloc()) broken("a megabyte can be had");
    }
    set_fresh_records();
    active_personality.Hash = default_personality.Hash = 1;
    set_up(START_FEN);
}

void write_input(const char* name, const uint8_t* bytes, size_t size) {
    FILE* file = fopen(name, "wb");
    if (!file || fwrite(bytes, 1, size, file) != size || fclose(file) != 0)
        broken("files can be written");
}

void broken(const char* promise) {
    dprintf(report, "does not hold: %s\n", promise);
    abort();
}

std::string text_of_input(const uint8_t* bytes, size_t size) {
    std::string text(reinterpret_cast<const char*>(bytes), size);
    std::replace(text.begin(), text.end(), '\0', ' ');
    return text;
}

static bool is_bearable(std::string_view line) {
    auto has = [line](const char* word) { return line.find(word) != line.npos; };
    auto digits = std::count_if(line.begin(), line.end(),
                                [](char c) { return isdigit(static_cast<unsigned char>(c)); });
    if (has("NN_File")) return false;
    if (has("Hash") || has("Threads") || has("trace")) return digits <= 1;
    if (has("perft")) return digits <= 1 && line.find_first_of("3456789") == line.npos;
    return true;
}

std::string bearable_lines(const uint8_t* bytes, size_t size) {
    std::string_view input(reinterpret_cast<const char*>(bytes), size);
    std::string kept;
    while (!input.empty()) {
        std::string_view line = input.substr(0, input.find('\n'));
        input.remove_prefix(std::min(line.size() + 1, input.size()));
        if (is_bearable(line)) kept.append(line).append("\n");
    }
    return kept;
}

void type_input(const std::string& text) {
    if (write(typing_end, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
        broken("an input fits into a pipe");
}

void play_session(const uint8_t* bytes, size_t size, bool uci) {
    begin_input();
    set_relaxed(shell.uci_mode, uci);
    // The point ends the edit mode, which takes in all lines up to it.
    type_input(bearable_lines(bytes, size) + "\n.\nquit\n.\nquit\n");
    run_game_loop();
    if (relaxed(engine.game_state) != STATE_IDLE) broken("no search outlives its session");

    char line[INPUT_LINE_LENGTH];
    while (poll_line(line) || input_waiting()) {
    }
    for (const char* name : {"tmp.pgn", "mird.log", "trace.txt"}) remove(name);
}
