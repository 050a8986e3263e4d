#include "support.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "board/legal.h"
#include "board/line.h"
#include "board/make.h"
#include "board/movegen.h"
#include "board/movetext.h"
#include "search/hash.h"
#include "search/limits.h"
#include "search/pool.h"
#include "search/thread.h"
#include "shell/think.h"

Position& game() { return main_thread->position; }

Position& set_up(const char* fen) {
    set_position(game(), fen);
    reset_search_stack(*main_thread);
    return game();
}

std::vector<MoveEntry> all_moves(Position& pos) {
    std::vector<MoveEntry> moves;
    MoveEntry list[LONGEST_ODD_LIST];
    moves.assign(list, gen_list(pos, list));
    return moves;
}

std::vector<Move> legal_moves(Position& pos) {
    std::vector<Move> moves;
    for (const MoveEntry& entry : all_moves(pos))
        if (legal_move(pos, pos.side, entry.move)) moves.push_back(entry.move);
    return moves;
}

Move find_move(Position& pos, const std::string& text) {
    for (Move move : legal_moves(pos)) {
        char name[MOVE_TEXT_LENGTH];
        move_to_text(pos, pos.side, move, name);
        if (text == name) return move;
    }
    return NULL_MOVE;
}

void play(Position& pos, const std::string& moves) {
    size_t start = 0;
    while (start < moves.size()) {
        size_t end = moves.find(' ', start);
        std::string word = moves.substr(start, end - start);
        start = end == std::string::npos ? moves.size() : end + 1;
        if (word.empty()) continue;
        Move move = find_move(pos, word);
        ASSERT_NE(move, NULL_MOVE) << word;
        make_game_move(pos, move);
    }
}

int play_random(Position& pos, Random& random, int plies) {
    int played = 0;
    while (played < plies && pos.owner->undo_index < UNDO_GAME - 1) {
        std::vector<Move> moves = legal_moves(pos);
        if (moves.empty()) break;
        make_game_move(pos, moves[next_random(random) % moves.size()]);
        played++;
    }
    return played;
}

std::string random_fen(Random& random) {
    char fen[FEN_LENGTH];
    set_up(START_FEN);
    play_random(game(), random, 10 + random_below(random, 100));
    write_fen(game(), fen, 0);
    return fen;
}

uint64_t search_nodes(const char* fen, int depth, uint64_t nodes) {
    set_up(fen);
    hash_clear();
    engine.hash_age = 0;
    set_limits(
        {.depth = nodes ? UNLIMITED_DEPTH : depth, .nodes = nodes, .move_time = UNLIMITED_SECONDS});
    shell.noise = NOISE_QUIET;
    search_here();
    sum_thread_counters();
    set_limits({.depth = UNLIMITED_DEPTH, .nodes = UNLIMITED_NODES});
    return engine.search_totals[TOTAL_NODES];
}

std::string shared_data(const std::string& name) {
    const char* folder = getenv("MIRD_TEST_DATA");
    return folder && folder[0] ? std::string(folder) + "/" + name : "";
}

std::vector<std::string> read_lines(const std::string& path) {
    std::vector<std::string> lines;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) lines.push_back(line);
    return lines;
}

namespace {

// Directories made by tests, removed when the process ends.
struct Directories {
    std::vector<std::string> made;
    ~Directories() {
        for (const std::string& name : made) {
            std::error_code ignored;
            std::filesystem::remove_all(name, ignored);
        }
    }
};
Directories directories;

using Clock = std::chrono::steady_clock;

int milliseconds_until(Clock::time_point end) {
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
    return left > 0 ? static_cast<int>(left) : 0;
}

// Reads once. Returns false at the end of the output or when the time is over.
bool take_output(Program& program, int milliseconds) {
    pollfd waiting = {program.output, POLLIN, 0};
    if (poll(&waiting, 1, milliseconds) <= 0) return false;
    char buffer[65536];
    ssize_t count = read(program.output, buffer, sizeof buffer);
    if (count <= 0) return false;
    program.unread.append(buffer, static_cast<size_t>(count));
    return true;
}

// Takes the first whole line out of what was read.
bool take_line(Program& program, std::string& line) {
    size_t end = program.unread.find('\n');
    if (end == std::string::npos) return false;
    line = program.unread.substr(0, end);
    program.unread.erase(0, end + 1);
    program.lines.push_back(line);
    return true;
}

} // namespace

std::string fresh_directory() {
    std::string pattern = (std::filesystem::temp_directory_path() / "mird-test-XXXXXX").string();
    EXPECT_NE(mkdtemp(pattern.data()), nullptr);
    directories.made.push_back(pattern);
    return pattern;
}

void reset_signals() {
    for (int number : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGPIPE, SIGXFSZ}) signal(number, SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

Program start_program(const std::vector<std::string>& arguments, const std::string& directory) {
    signal(SIGPIPE, SIG_IGN);
    std::string place = directory.empty() ? fresh_directory() : directory;
    int to_child[2], from_child[2];
    EXPECT_EQ(pipe2(to_child, O_CLOEXEC), 0);
    EXPECT_EQ(pipe2(from_child, O_CLOEXEC), 0);

    std::vector<char*> argv = {const_cast<char*>(MIRD_BINARY)};
    for (const std::string& argument : arguments)
        argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);

    Program program;
    program.pid = fork();
    if (program.pid == 0) {
        reset_signals();
        dup2(to_child[0], STDIN_FILENO);
        dup2(from_child[1], STDOUT_FILENO);
        if (chdir(place.c_str()) != 0) _exit(126);
        execv(MIRD_BINARY, argv.data());
        _exit(127);
    }
    close(to_child[0]);
    close(from_child[1]);
    program.input = to_child[1];
    program.output = from_child[0];
    return program;
}

void send(Program& program, const std::string& line) {
    std::string text = line + "\n";
    size_t done = 0;
    while (done < text.size()) {
        ssize_t count = write(program.input, text.data() + done, text.size() - done);
        if (count <= 0) return; // the program has gone; the test will notice
        done += static_cast<size_t>(count);
    }
}

void close_input(Program& program) {
    if (program.input >= 0) close(program.input);
    program.input = -1;
}

std::string wait_for(Program& program, const std::string& prefix, int milliseconds) {
    auto end = Clock::now() + std::chrono::milliseconds(milliseconds);
    for (;;) {
        std::string line;
        while (take_line(program, line))
            if (line.compare(0, prefix.size(), prefix) == 0) return line;
        if (!take_output(program, milliseconds_until(end))) return "";
    }
}

int wait_exit(Program& program, int milliseconds) {
    auto end = Clock::now() + std::chrono::milliseconds(milliseconds);
    int status = 0, result = -2;
    while (take_output(program, milliseconds_until(end))) {
    }
    for (bool killed = false;;) {
        if (waitpid(program.pid, &status, WNOHANG) == program.pid) {
            if (!killed) result = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
            break;
        }
        if (Clock::now() >= end && !killed) {
            kill(program.pid, SIGKILL);
            killed = true;
        }
        usleep(1000);
    }
    std::string line;
    while (take_line(program, line)) {
    }
    if (!program.unread.empty()) program.lines.push_back(program.unread);
    program.unread.clear();
    close_input(program);
    close(program.output);
    return result;
}

Program run_with_input(const std::vector<std::string>& arguments, const std::string& input,
                       int* status, int milliseconds) {
    Program program = start_program(arguments);
    // Written in pieces, so that a long conversation never blocks on a full output pipe.
    fcntl(program.input, F_SETFL, O_NONBLOCK);
    size_t done = 0;
    while (done < input.size()) {
        ssize_t count = write(program.input, input.data() + done, input.size() - done);
        if (count > 0) done += static_cast<size_t>(count);
        else if (errno != EAGAIN) break;
        take_output(program, count > 0 ? 0 : 1);
    }
    close_input(program);
    int result = wait_exit(program, milliseconds);
    if (status) *status = result;
    return program;
}
