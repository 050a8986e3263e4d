// support.h: what many tests need: positions on the game's record, random games, the real program
// as a child process.

#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/random.h"
#include "board/position.h"

// The game's position, which most tests use.
Position& game();

// Puts the position of a FEN text on the game's record, with an empty stack at ply 1.
Position& set_up(const char* fen);

// The legal move of the position with this coordinate text ("e7e8q", castling as the king's own
// step); NULL_MOVE if there is none.
Move find_move(Position& pos, const std::string& text);

// Plays moves given as coordinates, separated by blanks. Fails the test at a word that is no legal
// move.
void play(Position& pos, const std::string& moves);

// All legal moves of a game position, in generated order.
std::vector<Move> legal_moves(Position& pos);

// All pseudo-legal entries of a game position, in generated order.
std::vector<MoveEntry> all_moves(Position& pos);

// Plays up to `plies` random legal moves; stops early where there is none, or when the game's
// record is nearly full. Returns the number of moves played.
int play_random(Position& pos, Random& random, int plies);

// A position from random play as FEN text: 10 to 110 plies from the start position.
std::string random_fen(Random& random);

// Nodes of one search on the calling thread, by depth or, if `nodes` is not 0, by node limit; no
// clock, no contempt, no messages. Results stand in `engine` and in search_threads[0].
uint64_t search_nodes(const char* fen, int depth, uint64_t nodes = 0);

// Path of a file of the larger data sets, or an empty text when the variable MIRD_TEST_DATA names
// no folder: tests then report themselves as skipped.
std::string shared_data(const std::string& name);

// Lines of a text file without their newlines; none if it can't be read.
std::vector<std::string> read_lines(const std::string& path);

// A fresh directory, removed at the end of the test run.
std::string fresh_directory();

// Names of files that are no plain ones: a directory and what else the system has.
std::vector<std::string> odd_files();

// A symbolic link; false where the system or the user's rights have none.
bool make_link(const std::string& target, const std::string& name);

// A pipe with a name in the file system; false where there is no such thing.
bool make_named_pipe(const std::string& name);

// The device that takes everything and gives nothing.
const char* null_device();

// A pipe without a name: an end to read from, one to write to.
bool open_pipe(int ends[2]);

// Sets a variable of the environment, or takes it away where `value` is null.
void set_environment(const char* name, const char* value);

// The real program as a child process, spoken to over pipes.
struct Program {
    int pid = -1;
    void* handle = nullptr;         // of the process, on Windows
    int input = -1;                 // its standard input, -1 when closed
    int output = -1;                // its standard output
    std::string unread;             // read, but not handed out as lines
    std::vector<std::string> lines; // all lines so far
};

// Signals as a child expects them, whatever this process has from its own parent or has changed: a
// run under `nohup` or in the background of a shell ignores some.
void reset_signals();

// Starts the program, or another file, with its arguments in a fresh working directory of its own,
// or in `directory`.
Program start_program(const std::vector<std::string>& arguments, const std::string& directory = "",
                      const char* file = MIRD_BINARY);
void send(Program& program, const std::string& line);

// Writes bytes to the program as they are, without a newline behind them.
void send_bytes(Program& program, const std::string& bytes);
void close_input(Program& program);

// Waits for a line that begins with `prefix` and returns it; an empty text when the time is over
// or the output has ended.
std::string wait_for(Program& program, const std::string& prefix, int milliseconds = 10000);

// Waits for the end of the process and returns its exit status, -1 if a signal ended it, -2 if it
// had to be killed because the time was over. Takes in the rest of the output.
int wait_exit(Program& program, int milliseconds = 10000);

// Runs the program with all its input at once and closes it; all output lines stand in the result.
Program run_with_input(const std::vector<std::string>& arguments, const std::string& input,
                       int* status = nullptr, int milliseconds = 20000);

// Seconds of processor time that the program has used.
double processor_seconds(const Program& program);

// Two steps of the above that each system has of its own.
// Reads once what the program has printed. Returns false at the end of the output or when the time
// is over.
bool take_output(Program& program, int milliseconds);

// Waits for the end of a process whose output has ended, kills it when the time is over, and
// returns what wait_exit does.
int end_process_of(Program& program, int milliseconds);
