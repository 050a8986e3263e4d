// uci_engine.h: a chess engine as a child process, spoken to line by line.
//
// POSIX. An engine may die at any time, so that starting one makes the process ignore broken pipes.
// One thread for each engine.

#pragma once

#include <string>

#include <sys/types.h>

struct UciEngine {
    pid_t pid = -1;     // -1: not running
    int input = -1;     // what the engine reads
    int output = -1;    // what it writes
    std::string unread; // received, but not yet handed out
};

// Starts the command, with its arguments, by the shell. Returns false if no process could be made;
// a command that doesn't exist is seen when nothing answers.
bool start_engine(UciEngine& child, const std::string& command);

// Sends a line; `text` has no newline. Returns false if the engine doesn't read any more.
bool send_line(const UciEngine& child, const std::string& text);

// Waits for the engine's next line. Returns false, with `line` unchanged, when there is none by
// `deadline` (monotonic seconds) or when the output has ended.
bool read_line(UciEngine& child, std::string& line, double deadline);

// Ends the engine: "quit", and by force when it is still there a moment later. Does nothing with
// one that isn't running.
void stop_engine(UciEngine& child);
