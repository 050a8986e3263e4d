// test_suite.h: analysis of an EPD file, position by position.
//
// A batch job on the main thread, which starts a search for each position; once in a process.

#pragma once

// Searches each position of the file shell.epd_in_name within the limits of the command line,
// compares the moves found with the file's, writes them to shell.out_name ("analysis.epd" if
// empty), and prints the totals. "stop" on standard input ends a position and "quit" the run,
// unless standard input is the file to be read. Does nothing but say so on standard error if one
// of the files can't be opened, or if both names lead to one file.
void run_test_suite();
