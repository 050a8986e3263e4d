// data_header.h: what a data file says about itself: what made its records, and how.
//
// A file begins with a DataHeader; records follow. It tells enough to decide whether a run with the
// settings at hand would go on with the same games. Files of the old form begin with the first 16
// bytes alone, under another magic, and tell nothing but their seed. All numbers are little-endian
// as they lie in memory. Pure work on the caller's records; any thread.

#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

static_assert(std::endian::native == std::endian::little, "headers are written as they lie");

// What the records of a file are.
enum DataKind : uint32_t {
    DATA_UNKNOWN,    // a file of the old form
    DATA_GAMES,      // games of the engine against itself
    DATA_NEIGHBOURS, // positions near to those of games, and the first record of each game
    DATA_RESCORED,   // records with scores of a later search
    DATA_POSITIONS   // records from texts and games of others
};

// What gave records their scores. All of it is 0 where that isn't known.
struct Scorer {
    uint64_t engine;  // signature of the engine with its evaluation, see scorer.h
    uint64_t network; // checksum of the weights; 0: scored by hand
    uint64_t params;  // checksum of the hand-crafted evaluation's parameters
    uint32_t nodes;   // of a search; 0: quiescence alone
    uint32_t hash_mb; // of its hash table
};
static_assert(sizeof(Scorer) == 32, "part of the header in the file");

// Fields that have no meaning for the file's kind are 0.
struct DataHeader {
    char magic[8];           // DATA_MAGIC
    uint32_t record_size;    // bytes of a record
    uint32_t seed;           // of the worker; with a game's number it decides who is held out
    uint32_t header_size;    // bytes in front of the first record; a later form may have more
    uint32_t kind;           // DataKind
    char program[16];        // name and version of the engine; not compared
    Scorer scorer;           // of these records
    uint64_t run_seed;       // of the self-play run
    uint32_t worker;         // number of the run's worker, from 0 on
    uint32_t chess960_share; // per cent of the games
    uint32_t openings_share; // per cent of the games; 0 without openings
    uint32_t whole_games;    // 1: games follow one another, each whole; 0: each record for itself
    uint64_t openings;       // checksum of the positions that games begin with
    uint64_t steps_seed;     // of the random moves that lead to neighbours
    uint32_t neighbours;     // tried for each record
    uint32_t max_steps;      // most random moves to a neighbour
    uint32_t source_kind;    // DataKind of the file that these records were made from
    uint32_t spare;          // 0
    Scorer source;           // of that file's records
    char reserved[96];       // zeros
};
static_assert(sizeof(DataHeader) == 256, "size of the header in the file");

constexpr char DATA_MAGIC[9] = "MIRDPLY2";
constexpr char OLD_DATA_MAGIC[9] = "MIRDPLY1";
constexpr size_t OLD_HEADER_SIZE = 16; // up to and with the seed
static_assert(offsetof(DataHeader, header_size) == OLD_HEADER_SIZE, "the part that both have");

// A header with the form's own fields filled in and nothing said about the records.
DataHeader new_data_header(DataKind kind, uint32_t seed);

// Reads the header at the begin of a file and leaves the file at its first record. One of the old
// form gets the kind DATA_UNKNOWN. Returns false, with `header` unchanged, if there is none.
bool read_data_header(DataHeader& header, FILE* file);

// The first setting in which a file differs from the run that is to go on with it, as "nodes 200,
// not 400"; empty if the run would play the same games.
std::string differing_setting(const DataHeader& file, const DataHeader& run);

// What a header says, on one line without its end.
std::string describe_header(const DataHeader& header);
