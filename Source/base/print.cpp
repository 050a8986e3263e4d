#include "base/print.h"

#include <cstdarg>

#include "base/lock.h"
#include "base/platform.h"
#include "base/state.h"

FILE* log_file;

constexpr char LOG_NAME[] = "mird.log";
constexpr size_t LINE_LENGTH = 8192;

void Print(const char* text) {
    lock(print_lock);
    fputs(text, stdout);
    putchar('\n');
    fflush(stdout);
    if (log_file && load_shared(active_personality.Log)) {
        fprintf(log_file, "%s\n", text);
        fflush(log_file);
    }
    unlock(print_lock);
}

void PrintFormat(const char* format, ...) {
    char text[LINE_LENGTH];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    Print(text);
}

void log_line(const char* format, ...) {
    if (!log_file || !active_personality.Log) return;
    va_list arguments;
    va_start(arguments, format);
    vfprintf(log_file, format, arguments);
    va_end(arguments);
    fputc('\n', log_file);
    fflush(log_file);
}

void open_log() {
    if (!active_personality.Log || log_file) return;
    if (file_exists(LOG_NAME) && remove(LOG_NAME) != 0) {
        Print("log file in use.");
        store_shared(active_personality.Log, 0);
        return;
    }
    FILE* file = fopen(LOG_NAME, "w");
    lock(print_lock); // search threads look at log_file under this lock
    log_file = file;
    unlock(print_lock);
}
