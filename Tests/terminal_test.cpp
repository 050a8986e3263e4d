// The console on a real terminal: a pseudo-terminal whose other end is held by the test.

#include <csignal>
#include <fstream>
#include <regex>
#include <string>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support.h"

namespace {

// The program with a terminal as its standard streams. The test holds the terminal's far
// end open as well, to look at its settings when the program has gone.
struct Screen {
    Program program;
    int line = -1; // the program's end
    termios before = {};
};

Screen open_terminal(const std::string& directory, std::vector<std::string> arguments) {
    Screen terminal;
    int master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    EXPECT_GE(master, 0);
    EXPECT_EQ(grantpt(master), 0);
    EXPECT_EQ(unlockpt(master), 0);
    const char* name = ptsname(master);
    terminal.line = open(name, O_RDWR | O_NOCTTY | O_CLOEXEC);
    EXPECT_EQ(tcgetattr(terminal.line, &terminal.before), 0);

    arguments.insert(arguments.begin(), "mird");
    std::vector<char*> argv;
    for (std::string& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);

    terminal.program.pid = fork();
    if (terminal.program.pid == 0) {
        reset_signals();
        setsid();
        int end = open(name, O_RDWR); // becomes the controlling terminal
        dup2(end, STDIN_FILENO);
        dup2(end, STDOUT_FILENO);
        dup2(end, STDERR_FILENO);
        if (chdir(directory.c_str()) != 0) _exit(126);
        execv(MIRD_BINARY, argv.data());
        _exit(127);
    }
    terminal.program.input = dup(master);
    terminal.program.output = master;
    return terminal;
}

Screen open_console(const std::string& directory = fresh_directory()) {
    Screen terminal = open_terminal(directory, {"-c", "-use_hce", "-hash", "1"});
    EXPECT_NE(wait_for(terminal.program, "info string et="), "");
    return terminal;
}

// Types a line and waits for an answer that begins with `prefix`. The terminal ends lines with a
// carriage return.
std::string type(Screen& terminal, const std::string& line, const std::string& prefix) {
    send(terminal.program, line);
    std::string answer = wait_for(terminal.program, prefix);
    EXPECT_NE(answer, "") << "after " << line;
    return answer.substr(0, answer.find('\r'));
}

// Waits for the end of the program; the terminal must be as it was found.
int leave(Screen& terminal) {
    constexpr int RUNNING = -1000;
    int status = 0, result = RUNNING;
    for (int i = 0; i < 10000 && result == RUNNING; i++) {
        char drop[4096];
        pollfd waiting = {terminal.program.output, POLLIN, 0};
        if (poll(&waiting, 1, 1) > 0 && read(terminal.program.output, drop, sizeof drop) < 0) break;
        if (waitpid(terminal.program.pid, &status, WNOHANG) == terminal.program.pid)
            result = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }
    if (result == RUNNING) {
        kill(terminal.program.pid, SIGKILL);
        waitpid(terminal.program.pid, &status, 0);
    }
    termios after = {};
    EXPECT_EQ(tcgetattr(terminal.line, &after), 0);
    EXPECT_EQ(after.c_lflag, terminal.before.c_lflag) << "echo and line mode as they were";
    EXPECT_EQ(after.c_iflag, terminal.before.c_iflag);
    EXPECT_EQ(after.c_oflag, terminal.before.c_oflag);
    close(terminal.line);
    close(terminal.program.input);
    close(terminal.program.output);
    return result;
}

// Tells whether the system has terminals to give: a bare container may have none.
bool terminals_there() {
    int master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (master < 0) return false;
    const char* name = grantpt(master) == 0 && unlockpt(master) == 0 ? ptsname(master) : nullptr;
    int line = name ? open(name, O_RDWR | O_NOCTTY | O_CLOEXEC) : -1;
    if (line >= 0) close(line);
    close(master);
    return line >= 0;
}

class Terminal : public testing::Test {
protected:
    void SetUp() override {
        if (!terminals_there()) GTEST_SKIP() << "this system has no terminal to give";
    }
};

} // namespace

TEST_F(Terminal, AGameIsPlayedTakenBackEditedSavedAndLoaded) {
    std::string directory = fresh_directory();
    Screen terminal = open_console(directory);
    type(terminal, "new", "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w");
    type(terminal, "set depth 4", "set depth");
    type(terminal, "e4", "1. move e4");
    type(terminal, "mv", "move= ");
    EXPECT_NE(wait_for(terminal.program, "white"), "") << "the board after the engine's move";
    type(terminal, "Nf3", "2. move Nf3");
    type(terminal, "mv", "move= ");
    EXPECT_NE(wait_for(terminal.program, "white"), "");

    std::string before = type(terminal, "bd", "r");
    type(terminal, "save", "save");
    std::string saved = type(terminal, "bd", "r");
    EXPECT_EQ(saved, before);

    for (int i = 0; i < 3; i++) type(terminal, "undo", i % 2 ? "white" : "black");
    EXPECT_EQ(type(terminal, "bd", "rn"),
              "rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3 0 1");
    type(terminal, "]", "1... move ");

    type(terminal, "edit", ".                    end edit");
    for (const char* line : {"#", "w Kg1 Rf1", "b Kg8 Pf7", "w"}) send(terminal.program, line);
    EXPECT_EQ(type(terminal, ".", "6k1/"), "6k1/5p2/8/8/8/8/8/5RK1 w - - 0 0");
    type(terminal, "Rxf7", "1. move Rxf7");

    type(terminal, "load tmp.pgn", "loading tmp.pgn, tag ");
    std::string again = wait_for(terminal.program, "r");
    EXPECT_EQ(again.substr(0, again.find('\r')), before);
    send(terminal.program, "quit");
    EXPECT_EQ(leave(terminal), 0);
}

TEST_F(Terminal, ALineIsHeardWhileASearchRuns) {
    Screen terminal = open_console();
    type(terminal, "go", "00] 0");
    usleep(100000);
    type(terminal, ".", "move= ");
    type(terminal, "bd", "rnb");
    send(terminal.program, "quit");
    EXPECT_EQ(leave(terminal), 0);
}

TEST_F(Terminal, HalfALineIsNotHeard) {
    Screen terminal = open_console();
    send_bytes(terminal.program, "b");
    usleep(50000);
    send_bytes(terminal.program, "x\x7f"); // the terminal's own line editing
    type(terminal, "d", "rnb");
    send(terminal.program, "quit");
    EXPECT_EQ(leave(terminal), 0);
}

TEST_F(Terminal, CtrlDEndsTheProgram) {
    Screen terminal = open_console();
    send_bytes(terminal.program, "\x04");
    EXPECT_EQ(leave(terminal), 0);
}

TEST_F(Terminal, CtrlDEndsTheEditModeToo) {
    Screen terminal = open_console();
    type(terminal, "edit", "b  Pa7");
    send_bytes(terminal.program, "\x04");
    EXPECT_EQ(leave(terminal), 0);
}

TEST_F(Terminal, CtrlCEndsTheProgramAndLeavesTheTerminalAlone) {
    for (const char* line : {"bd", "go", "edit"}) {
        Screen terminal = open_console();
        send(terminal.program, line);
        usleep(100000);
        send_bytes(terminal.program, "\x03");
        EXPECT_EQ(leave(terminal), -SIGINT) << line;
    }
}

TEST_F(Terminal, ALostTerminalEndsTheProgram) {
    Screen terminal = open_console();
    signal(SIGPIPE, SIG_IGN);
    close(terminal.line);
    close(terminal.program.input);
    close(terminal.program.output); // hangs the line up
    int status = 0, waited = 0;
    for (int i = 0; i < 5000 && waited == 0; i++) {
        usleep(1000);
        waited = waitpid(terminal.program.pid, &status, WNOHANG);
    }
    EXPECT_EQ(waited, terminal.program.pid);
}

TEST_F(Terminal, ALongJobTellsHowFarItIs) {
    constexpr int LINES = 100000; // more than it gets to do
    std::string directory = fresh_directory();
    {
        std::ofstream positions(directory + "/long.epd");
        for (int i = 0; i < LINES; i++)
            positions << "r1bqkbnr/pppp1ppp/2n5/4p3/4P3/5N2/PPPP1PPP/RNBQKB1R w KQkq - ce 3;\n";
    }
    Screen terminal = open_terminal(directory, {"-mktune1", "long.epd", "-d", "3", "-hash", "1"});
    std::vector<double> shares;
    std::string text;
    while (shares.size() < 3) {
        char bytes[4096];
        const ssize_t count = read(terminal.program.output, bytes, sizeof bytes);
        ASSERT_GT(count, 0) << text;
        text.append(bytes, static_cast<size_t>(count));
        const std::regex progress("\\r(\\d+) positions, ([0-9.]+) % ");
        shares.clear();
        for (std::sregex_iterator at(text.begin(), text.end(), progress), end; at != end; ++at) {
            const double share = std::stod((*at)[2]), done = std::stod((*at)[1]);
            EXPECT_NEAR(share, 100.0 * done / LINES, 0.3) << at->str();
            shares.push_back(share);
        }
    }
    EXPECT_GT(shares.back(), shares.front());
    kill(terminal.program.pid, SIGTERM);
    leave(terminal);
}
