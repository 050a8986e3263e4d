#include "base/print.h"

#include <atomic>
#include <cerrno>
#include <cstdarg>

#include "base/files.h"
#include "base/lock.h"
#include "base/platform.h"
#include "base/platform_files.h"
#include "base/state.h"

FILE* log_file;

constexpr char LOG_NAME[] = "mird.log";
constexpr size_t LINE_LENGTH = 8192;

// Says, once in a run, that the log misses lines. Any thread.
static void tell_log_error(int error) {
    static std::atomic<bool> told;
    if (!told.exchange(true)) tell_file_error("write", LOG_NAME, error);
}

// Sends out what stands in the log's buffer. Returns 0, or the system's error number.
static int flush_log() { return fflush(log_file) == 0 ? 0 : errno; }

static std::atomic<bool> line_lost; // the last line could not be written to standard output

void Print(const char* text) {
    int log_error = 0;
    lock(print_lock);
    bool written = fputs(text, stdout) != EOF && putchar('\n') != EOF;
    written = fflush(stdout) == 0 && written;
    line_lost.store(!written, std::memory_order_relaxed);
    if (log_file && load_shared(active_personality.Log)) {
        fprintf(log_file, "%s\n", text);
        log_error = flush_log();
    }
    unlock(print_lock);
    if (log_error) tell_log_error(log_error);
}

void PrintFormat(const char* format, ...) {
    char text[LINE_LENGTH];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    Print(text);
}

bool output_lost() { return line_lost.load(std::memory_order_relaxed) || output_closed(); }

void end_process(int status) {
    fflush(nullptr);
    end_at_once(status);
}

void log_line(const char* format, ...) {
    if (!log_file || !active_personality.Log) return;
    char text[LINE_LENGTH];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    // In one call, so that no line of another thread comes between.
    fprintf(log_file, "%s\n", text);
    if (int error = flush_log()) tell_log_error(error);
}

void open_log() {
    if (!active_personality.Log || log_file) return;
    if (file_exists(LOG_NAME) && !remove_file(LOG_NAME)) {
        Print("log file in use.");
        store_shared(active_personality.Log, 0);
        return;
    }
    FILE* file = open_stream(LOG_NAME, "w");
    if (!file && strict_protocol())
        PrintFormat("info string can't open %s: %s", LOG_NAME, file_trouble(LOG_NAME));
    lock(print_lock); // search threads look at log_file under this lock
    log_file = file;
    unlock(print_lock);
}

void close_log() {
    if (!log_file) return;
    if (fclose(log_file) != 0) tell_log_error(errno);
    log_file = nullptr;
}
