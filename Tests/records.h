// records.h: the one way for tests to keep, set up and put back what the whole process shares.
//
// A fixture that derives from EngineTest may change all of it: the engine's and the shell's record,
// both personalities and the tables built from them, parameters, network, size of the hash table,
// the game's own thread record, waiting changes, input and trace. The next test finds it as before.

#pragma once

#include <gtest/gtest.h>

#include "base/state.h"

// Keeps the process-wide records at its making, and puts them back at the end of its life.
class KeptRecords {
public:
    KeptRecords();
    ~KeptRecords();
    KeptRecords(const KeptRecords&) = delete;
    KeptRecords& operator=(const KeptRecords&) = delete;

private:
    unsigned char engine_bytes[sizeof(EngineState)];
    unsigned char shell_bytes[sizeof(ShellState)];
    Personality active, defaults;
    double start;
};

// Base of all fixtures whose tests change process-wide records.
class EngineTest : public testing::Test {
private:
    KeptRecords kept_records;
};

// Sets the records to what the program starts with, but for the size of the hash table.
void set_fresh_records();

// Gives the hash table another size, without a word on standard output.
void resize_hash(int megabytes);

// Builds the search tables anew, also where Selectivity has not changed.
void rebuild_search_tables();

// Puts the evaluation's parameters back to those of the settings, and forgets all cached scores.
void reset_evaluation();
