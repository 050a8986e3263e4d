// print.h: the one way to standard output and the log.
//
// Print and PrintFormat may be called from any thread, the log's own functions from the main
// thread. The log is opened once and stays open to the end of the run.

#pragma once

#include <cstdio>

// The open log, or null. Opened at most once in a run; written under print_lock by Print, and by
// the main thread alone in log_line.
extern FILE* log_file;

// Prints one line to standard output and, when Log is on and a log is open, to the log; both are
// flushed. An empty text prints an empty line. That standard output fails is not looked at; that
// the log does is told once in a run, by a line on standard error.
void Print(const char* text);

// Formats, then prints as Print does. Texts longer than 8,191 characters are cut.
[[gnu::format(printf, 1, 2)]] void PrintFormat(const char* format, ...);

// Tells whether nobody will see what is printed: the reader has gone, or the last line could not be
// written. Any thread.
bool output_lost();

// Ends the process, from any thread and while others go on: what was printed goes out, but nothing
// is taken down that they may still use.
[[noreturn]] void end_process(int status);

// Writes one line to the log only, if Log is on and a log is open. Texts longer than 8,191
// characters are cut. Main thread only.
[[gnu::format(printf, 1, 2)]] void log_line(const char* format, ...);

// Opens mird.log in the working directory if Log is on and no log is open. An old file is
// replaced; if it can't be deleted, as a directory never is, "log file in use." is printed and Log
// goes off. A file that can't be opened is passed over in silence.
void open_log();

// Closes the log at the end of the run. No thread may print any more.
void close_log();
