// data_file.h: files of records: reading any of them, and writing a new one at one go.
//
// A file is a DataHeader, then PlyRecords as they lie in memory. Games follow one another, each of
// them whole, and the first record of each is marked; so is the first of each group of records in a
// file without games. A file that was cut off inside a record has lost a part of its last game and
// nothing else. Each record of this header belongs to one thread.

#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

#include "Training/data_header.h"
#include "Training/ply_record.h"

// A data file that is open for reading, at its first record.
struct DataFile {
    FILE* file; // at the next record
    DataHeader header;
    uint64_t records; // in whole games
    uint64_t torn;    // bytes behind them, to be ignored
};

// Opens a data file of either form. Returns false, with `data` unchanged, if it can't be read or
// has no header. The caller closes `file`.
bool open_data_file(DataFile& data, const char* name);

// A new data file. Until it is finished it has another name, so that a run that was broken off
// leaves no half file where a whole one is looked for.
struct DataWriter {
    FILE* file;       // null: not open
    std::string name; // that it will have
};

// Begins a new file with its header; an unfinished one of that name is begun anew. Returns false if
// it can't be written.
bool begin_data_file(DataWriter& writer, const std::string& name, const DataHeader& header);

// Appends records. Returns false if that failed; finish_data_file fails then, too.
bool write_records(DataWriter& writer, const PlyRecord* records, size_t count);

// Gives the file its name, in place of another that had it, and closes it. Returns false, with the
// other one unharmed, if something could not be written.
bool finish_data_file(DataWriter& writer);

// Closes and removes an unfinished file.
void abandon_data_file(DataWriter& writer);
