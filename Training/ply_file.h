// ply_file.h: the growing data file of one worker.
//
// A game is appended in one call of the system, so that an interruption leaves whole games, or at
// worst one torn game at the end, which the next opening cuts off. A worker's process opens its
// file once and holds a lock on it until the end; one thread.

#pragma once

#include <cstdint>
#include <string>

struct DataHeader;
struct Game;

// What a file holds.
struct GameCounts {
    uint64_t games;     // whole ones
    uint64_t positions; // records of these
    uint64_t kept;      // positions that PLY_FOR_ANY keeps
};

struct PlyFile {
    int descriptor;    // -1: not open
    GameCounts counts; // with the games written since it was opened
};

// Why the games of a run with this header can't go into the file, as the end of a sentence that
// begins with the file's name: it holds something else, was made with other settings, of which the
// first is named, or can't be read. Empty if they can, and where there is no file yet.
std::string reason_against(const char* name, const DataHeader& header);

// Opens the file for appending and counts what is there; a new file, or one that was cut off inside
// the same header, gets the header. A torn game is cut off. Until it is closed no other process can
// open it. Returns an empty text, or the reason why it can't be used: one of those above, or it is
// in use or not writable.
std::string open_ply_file(PlyFile& file, const char* name, const DataHeader& header);

// Appends a finished game. Returns false if it could not be written; what was written of it is
// cut off again where that is possible.
bool append_game(PlyFile& file, const Game& game);

void close_ply_file(PlyFile& file);
