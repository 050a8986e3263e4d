// What tests ask of Windows; see support.h.

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include <windows.h>

#include <fcntl.h>
#include <io.h>

#include <gtest/gtest.h>

#include "support.h"

namespace {

HANDLE handle_of(int descriptor) { return reinterpret_cast<HANDLE>(_get_osfhandle(descriptor)); }

// A word of a command line, as the C library of the child takes it apart.
std::wstring quoted(const std::string& word) {
    std::wstring text = L"\"";
    size_t slashes = 0;
    for (wchar_t c : std::filesystem::path(std::u8string(word.begin(), word.end())).wstring()) {
        if (c == L'"') text.append(slashes + 1, L'\\');
        slashes = c == L'\\' ? slashes + 1 : 0;
        text += c;
    }
    return text.append(slashes, L'\\') + L"\"";
}

// A pipe of which the child inherits one end.
struct Pipe {
    HANDLE ours, theirs;
};

Pipe make_pipe(bool child_reads) {
    SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
    HANDLE reading, writing;
    EXPECT_TRUE(CreatePipe(&reading, &writing, &inherited, 1 << 16));
    const Pipe pipe = child_reads ? Pipe{writing, reading} : Pipe{reading, writing};
    SetHandleInformation(pipe.ours, HANDLE_FLAG_INHERIT, 0);
    return pipe;
}

double seconds_of(FILETIME time) { // which counts steps of 100 nanoseconds
    return (static_cast<double>(time.dwHighDateTime) * 4294967296.0 + time.dwLowDateTime) * 1e-7;
}

} // namespace

bool make_named_pipe(const std::string&) { return false; }

const char* null_device() { return "NUL"; }

bool open_pipe(int ends[2]) { return _pipe(ends, 1 << 16, _O_BINARY | _O_NOINHERIT) == 0; }

void set_environment(const char* name, const char* value) { _putenv_s(name, value ? value : ""); }

void reset_signals() {}

Program start_program(const std::vector<std::string>& arguments, const std::string& directory,
                      const char* file) {
    const std::string place = directory.empty() ? fresh_directory() : directory;
    std::wstring line = quoted(file);
    for (const std::string& argument : arguments) line += L" " + quoted(argument);
    const Pipe input = make_pipe(true), output = make_pipe(false);
    STARTUPINFOW start = {};
    start.cb = sizeof start;
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdInput = input.theirs;
    start.hStdOutput = output.theirs;
    start.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    PROCESS_INFORMATION child = {};
    EXPECT_TRUE(CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr,
                               std::filesystem::path(place).wstring().c_str(), &start, &child));
    CloseHandle(input.theirs);
    CloseHandle(output.theirs);
    CloseHandle(child.hThread);

    Program program;
    program.pid = static_cast<int>(child.dwProcessId);
    program.handle = child.hProcess;
    program.input = _open_osfhandle(reinterpret_cast<intptr_t>(input.ours), _O_BINARY);
    program.output = _open_osfhandle(reinterpret_cast<intptr_t>(output.ours), _O_BINARY);
    return program;
}

bool take_output(Program& program, int milliseconds) {
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + std::chrono::milliseconds(milliseconds);
    for (;; Sleep(1)) {
        DWORD waiting = 0;
        if (!PeekNamedPipe(handle_of(program.output), nullptr, 0, nullptr, &waiting, nullptr))
            return false;
        if (waiting > 0) break;
        if (Clock::now() >= end) return false;
    }
    char buffer[65536];
    const int count = _read(program.output, buffer, sizeof buffer);
    if (count <= 0) return false;
    program.unread.append(buffer, static_cast<size_t>(count));
    return true;
}

int end_process_of(Program& program, int milliseconds) {
    constexpr DWORD LOW_BYTE = 0xFF;          // all that other systems tell of a status
    constexpr DWORD FIRST_FAULT = 0xC0000000; // from here on the system has ended the process
    constexpr DWORD MINUS_ONE = 0xFFFFFFFF;
    int result = -2;
    DWORD status = 0;
    if (WaitForSingleObject(program.handle, static_cast<DWORD>(milliseconds)) == WAIT_OBJECT_0
        && GetExitCodeProcess(program.handle, &status)) {
        const bool fault = status >= FIRST_FAULT && status != MINUS_ONE;
        result = fault ? -1 : static_cast<int>(status & LOW_BYTE);
    } else {
        TerminateProcess(program.handle, 1);
    }
    CloseHandle(program.handle);
    return result;
}

Program run_with_input(const std::vector<std::string>& arguments, const std::string& input,
                       int* status, int milliseconds) {
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + std::chrono::milliseconds(milliseconds);
    const auto left = [end] {
        using std::chrono::duration_cast;
        const auto time = duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
        return time > 0 ? static_cast<int>(time) : 0;
    };
    Program program = start_program(arguments);
    // Written by a thread, so that a long conversation never blocks on a full output pipe.
    std::thread writing([&] {
        send_bytes(program, input);
        close_input(program);
    });
    while (take_output(program, left())) {
    }
    const bool late = left() == 0;
    if (late) TerminateProcess(program.handle, 1); // the thread may wait for it
    writing.join();
    const int result = wait_exit(program, milliseconds);
    if (status) *status = late ? -2 : result;
    return program;
}

double processor_seconds(const Program& program) {
    FILETIME begun, ended, system, user;
    EXPECT_TRUE(GetProcessTimes(program.handle, &begun, &ended, &system, &user));
    return seconds_of(system) + seconds_of(user);
}
