#include "shell/input.h"

#include <cstring>
#include <string>

#include "base/platform.h"

constexpr size_t LINE_LIMIT =
    INPUT_LINE_LENGTH - 1; // characters of the partial line, and of the pending lines
constexpr size_t READ_LIMIT = 4999;
constexpr char LINE_MARK = '@';

static char partial[LINE_LIMIT + 2]; // a line whose end has not come yet
static size_t partial_length;
static char pending[LINE_LIMIT + 1]; // finished lines, each ended by LINE_MARK
static size_t pending_length;
static char unread[READ_LIMIT]; // read, but not taken apart: pending had no room
static size_t unread_start, unread_end;
static bool at_end;

// Lines of any length: what has been read and not handed over, the line that was handed over last,
// and whether it is to be handed over again.
static std::string long_text, long_line;
static bool long_line_again;

// Moves the partial line to the pending ones. Returns false if they have no room for it now.
static bool finish_partial_line() {
    if (partial_length == 0) return true;
    // A line as long as both buffers loses its last character to the mark.
    if (partial_length + 1 > LINE_LIMIT) partial_length = LINE_LIMIT - 1;
    if (pending_length + partial_length + 1 > LINE_LIMIT) return false;
    memcpy(pending + pending_length, partial, partial_length);
    pending_length += partial_length;
    pending[pending_length++] = LINE_MARK;
    partial_length = 0;
    return true;
}

// Takes read characters apart until the pending lines are full.
static void split_lines() {
    while (unread_start < unread_end) {
        char c = unread[unread_start];
        if (c == '\n' || c == 0) {
            if (!finish_partial_line()) return;
        } else if (partial_length < LINE_LIMIT) {
            partial[partial_length++] = c;
        }
        unread_start++;
    }
}

static void take_input() {
    split_lines();
    if (unread_start < unread_end || at_end || !input_waiting()) return;
    int count = read_input(unread, READ_LIMIT);
    if (count < 0) return;
    unread_start = 0;
    unread_end = static_cast<size_t>(count);
    at_end = count == 0;
    split_lines();
}

// Takes the first pending line. Returns false if there is none.
static bool next_line(char* line) {
    // At the end of the input, what stands there without a newline is a line too.
    if (at_end) finish_partial_line();
    auto* mark = static_cast<char*>(memchr(pending, LINE_MARK, pending_length));
    if (!mark) return false;
    auto length = static_cast<size_t>(mark - pending);
    memcpy(line, pending, length);
    line[length] = 0;
    line[strcspn(line, "\r\n")] = 0;
    pending_length -= length + 1;
    memmove(pending, mark + 1, pending_length);
    return true;
}

// What the other way of reading has taken in goes in front of what comes.
static void take_over_lines() {
    char line[INPUT_LINE_LENGTH];
    std::string taken;
    while (next_line(line)) taken.append(line).push_back('\n');
    taken.append(partial, partial_length);
    taken.append(unread + unread_start, unread_end - unread_start);
    partial_length = 0;
    unread_start = unread_end = 0;
    long_text.insert(0, taken);
}

static void take_long_input() {
    char bytes[READ_LIMIT];
    if (at_end || !input_waiting()) return;
    int count = read_input(bytes, sizeof bytes);
    if (count < 0) return;
    at_end = count == 0;
    for (int i = 0; i < count; i++)
        if (bytes[i] != 0) long_text.push_back(bytes[i]);
}

char* poll_long_line() {
    if (long_line_again) {
        long_line_again = false;
        return long_line.data();
    }
    if (pending_length || partial_length || unread_start < unread_end) take_over_lines();
    size_t end = long_text.find('\n');
    if (end == std::string::npos) {
        take_long_input();
        end = long_text.find('\n');
    }
    if (end == std::string::npos) {
        if (!at_end || long_text.empty()) return nullptr;
        end = long_text.size();
    }
    long_line.assign(long_text, 0, end);
    long_text.erase(0, end + 1);
    return long_line.data();
}

void repeat_long_line() { long_line_again = true; }

bool read_line(char* line) {
    constexpr int PATIENCE_MS = 1000;
    for (;;) {
        take_input();
        if (next_line(line)) return true;
        if (input_ended()) return false;
        wait_for_line(PATIENCE_MS);
    }
}

bool poll_line(char* line) {
    take_input();
    return next_line(line);
}

static bool long_line_waits() {
    return long_line_again || long_text.find('\n') != std::string::npos;
}

bool input_pending() {
    return pending_length > 0 || unread_start < unread_end || long_line_waits();
}

bool input_ended() {
    return at_end && !input_pending() && partial_length == 0 && long_text.empty();
}

void end_input() { at_end = true; }

void reset_input() {
    partial_length = pending_length = unread_start = unread_end = 0;
    at_end = false;
}

void wait_for_line(int milliseconds) {
    if (at_end) wait_for_wake(milliseconds);
    else wait_for_input(milliseconds);
}
