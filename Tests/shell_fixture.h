// shell_fixture.h: for tests of the shell: their fixture, lines handed to the protocol engine, and
// small helpers for talking to the real program.

#pragma once

#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "base/print.h"
#include "records.h"
#include "shell/uci.h"
#include "support.h"

// Splits text at newlines; the last line needs none.
inline std::vector<std::string> split_text(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

// All lines as one text, for messages of failed tests.
inline std::string joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) text += line + "\n";
    return text;
}

// The lines that an action prints to standard output.
template <class Action>
std::vector<std::string> printed_by(Action action) {
    testing::internal::CaptureStdout();
    action();
    fflush(stdout);
    return split_text(testing::internal::GetCapturedStdout());
}

// Hands one line to the protocol engine and returns what it prints. A `go` only asks for a think.
inline std::vector<std::string> uci(const std::string& line) {
    std::vector<char> text(line.begin(), line.end());
    text.push_back(0);
    return printed_by([&] { HandleUci(text.data()); });
}

// The game's position as four FEN fields.
inline std::string game_fen() {
    char fen[FEN_LENGTH];
    write_fen(game(), fen, 0);
    return fen;
}

// Number of lines that begin with `prefix`.
inline int count_lines(const std::vector<std::string>& lines, const std::string& prefix) {
    int count = 0;
    for (const std::string& line : lines) count += line.compare(0, prefix.size(), prefix) == 0;
    return count;
}

inline int count_lines(const Program& program, const std::string& prefix) {
    return count_lines(program.lines, prefix);
}

inline bool has_line(const std::vector<std::string>& lines, const std::string& line) {
    for (const std::string& other : lines)
        if (other == line) return true;
    return false;
}

// Waits until the program has answered all lines before.
inline bool is_ready(Program& program) {
    send(program, "isready");
    return !wait_for(program, "readyok", 60000).empty();
}

// The word behind `name` in a line of words; empty if there is none.
inline std::string word_after(const std::string& line, const std::string& name) {
    std::istringstream words(line);
    for (std::string word; words >> word;)
        if (word == name) return words >> word ? word : "";
    return "";
}

inline double number_after(const std::string& line, const std::string& name) {
    std::string word = word_after(line, name);
    return word.empty() ? -1.0 : atof(word.c_str());
}

// Asks for `quit` and returns the exit status.
inline int quit_program(Program& program) {
    send(program, "quit");
    return wait_exit(program, 60000);
}

// Every test of the shell begins with fresh settings.
class ShellTest : public EngineTest {
protected:
    void SetUp() override {
        set_fresh_records();
        set_up(START_FEN);
    }
};

// A log file in memory in place of mird.log.
class MemoryLog {
public:
    MemoryLog() : kept(log_file) { log_file = tmpfile(); }
    ~MemoryLog() {
        fclose(log_file);
        log_file = kept;
    }
    MemoryLog(const MemoryLog&) = delete;
    MemoryLog& operator=(const MemoryLog&) = delete;

    std::vector<std::string> lines() const {
        std::string text;
        fflush(log_file);
        rewind(log_file);
        for (int c; (c = fgetc(log_file)) != EOF;) text += static_cast<char>(c);
        fseek(log_file, 0, SEEK_END);
        return split_text(text);
    }

private:
    FILE* kept;
};
