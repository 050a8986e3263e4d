#include "Training/uci_engine.h"

#include <algorithm>
#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include "base/platform.h"

// The life of the child up to the command.
[[noreturn]] static void become(const std::string& command, int input, int output) {
    dup2(input, STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    signal(SIGPIPE, SIG_DFL);
    const std::string text = "exec " + command;
    execl("/bin/sh", "sh", "-c", text.c_str(), static_cast<char*>(nullptr));
    _exit(127);
}

bool start_engine(UciEngine& child, const std::string& command) {
    ignore_broken_pipes(); // a child that has died is found out by the write
    // No other engine may hold an end of these pipes, or their end would never be seen.
    int to[2], from[2];
    if (pipe2(to, O_CLOEXEC) != 0) return false;
    if (pipe2(from, O_CLOEXEC) != 0) {
        close(to[0]);
        close(to[1]);
        return false;
    }
    pid_t pid = fork();
    if (pid == 0) become(command, to[0], from[1]);
    close(to[0]);
    close(from[1]);
    if (pid < 0) {
        close(to[1]);
        close(from[0]);
        return false;
    }
    child = {pid, to[1], from[0], {}};
    return true;
}

bool send_line(const UciEngine& child, const std::string& text) {
    const std::string line = text + "\n";
    size_t sent = 0;
    while (sent < line.size()) {
        ssize_t count = write(child.input, line.data() + sent, line.size() - sent);
        if (count < 0 && errno != EINTR) return false;
        if (count > 0) sent += static_cast<size_t>(count);
    }
    return true;
}

// Takes the first whole line out of what was received.
static bool take_line(UciEngine& child, std::string& line) {
    size_t end = child.unread.find('\n');
    if (end == std::string::npos) return false;
    line = child.unread.substr(0, end);
    child.unread.erase(0, end + 1);
    if (!line.empty() && line.back() == '\r') line.pop_back();
    return true;
}

bool read_line(UciEngine& child, std::string& line, double deadline) {
    constexpr double MS = 1000.0;
    while (!take_line(child, line)) {
        double left_ms = std::max(0.0, (deadline - monotonic_seconds()) * MS);
        pollfd look = {child.output, POLLIN, 0};
        int ready = poll(&look, 1, static_cast<int>(left_ms) + 1);
        if (ready < 0 && errno == EINTR) continue;
        char buffer[4096];
        ssize_t count = ready > 0 ? read(child.output, buffer, sizeof buffer) : 0;
        if (count <= 0) return false;
        child.unread.append(buffer, static_cast<size_t>(count));
    }
    return true;
}

void stop_engine(UciEngine& child) {
    constexpr int PATIENCE_MS = 500, LOOK_MS = 5;
    if (child.pid < 0) return;
    send_line(child, "quit");
    close(child.input);
    close(child.output);
    pid_t ended = 0;
    for (int waited = 0; waited < PATIENCE_MS && ended == 0; waited += LOOK_MS) {
        ended = waitpid(child.pid, nullptr, WNOHANG);
        if (ended == 0) sleep_ms(LOOK_MS);
    }
    if (ended == 0) {
        kill(child.pid, SIGKILL);
        waitpid(child.pid, nullptr, 0);
    }
    child = {};
}
