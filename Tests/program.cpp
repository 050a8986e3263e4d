// The real program as a child process: what is the same on all systems; see support.h.

#include <chrono>

#include <unistd.h>

#include "support.h"

namespace {

using Clock = std::chrono::steady_clock;

int milliseconds_until(Clock::time_point end) {
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
    return left > 0 ? static_cast<int>(left) : 0;
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

void send_bytes(Program& program, const std::string& bytes) {
    size_t done = 0;
    while (done < bytes.size()) {
        // Their types are those of the system.
        auto count =
            write(program.input, bytes.data() + done, static_cast<unsigned>(bytes.size() - done));
        if (count <= 0) return; // the program has gone; the test will notice
        done += static_cast<size_t>(count);
    }
}

void send(Program& program, const std::string& line) { send_bytes(program, line + "\n"); }

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
    while (take_output(program, milliseconds_until(end))) {
    }
    const int result = end_process_of(program, milliseconds_until(end));
    std::string line;
    while (take_line(program, line)) {
    }
    if (!program.unread.empty()) program.lines.push_back(program.unread);
    program.unread.clear();
    close_input(program);
    close(program.output);
    return result;
}
