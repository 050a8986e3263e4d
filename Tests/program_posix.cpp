// What tests ask of a POSIX system; see support.h.

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <ctime>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support.h"

bool make_named_pipe(const std::string& name) { return mkfifo(name.c_str(), 0600) == 0; }

const char* null_device() { return "/dev/null"; }

bool open_pipe(int ends[2]) { return pipe2(ends, O_CLOEXEC) == 0; }

void set_environment(const char* name, const char* value) {
    if (value) setenv(name, value, 1);
    else unsetenv(name);
}

void reset_signals() {
    for (int number : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGPIPE, SIGXFSZ}) signal(number, SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

Program start_program(const std::vector<std::string>& arguments, const std::string& directory,
                      const char* file) {
    signal(SIGPIPE, SIG_IGN);
    std::string place = directory.empty() ? fresh_directory() : directory;
    int to_child[2], from_child[2];
    EXPECT_TRUE(open_pipe(to_child) && open_pipe(from_child));

    std::vector<char*> argv = {const_cast<char*>(file)};
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
        execv(file, argv.data());
        _exit(127);
    }
    close(to_child[0]);
    close(from_child[1]);
    program.input = to_child[1];
    program.output = from_child[0];
    return program;
}

bool take_output(Program& program, int milliseconds) {
    pollfd waiting = {program.output, POLLIN, 0};
    if (poll(&waiting, 1, milliseconds) <= 0) return false;
    char buffer[65536];
    ssize_t count = read(program.output, buffer, sizeof buffer);
    if (count <= 0) return false;
    program.unread.append(buffer, static_cast<size_t>(count));
    return true;
}

int end_process_of(Program& program, int milliseconds) {
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + std::chrono::milliseconds(milliseconds);
    int status = 0;
    for (bool killed = false;;) {
        if (waitpid(program.pid, &status, WNOHANG) == program.pid) {
            if (killed) return -2;
            return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        }
        if (Clock::now() >= end && !killed) {
            kill(program.pid, SIGKILL);
            killed = true;
        }
        usleep(1000);
    }
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

double processor_seconds(const Program& program) {
    clockid_t clock = {};
    timespec time = {};
    EXPECT_EQ(clock_getcpuclockid(program.pid, &clock), 0);
    EXPECT_EQ(clock_gettime(clock, &time), 0);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}
