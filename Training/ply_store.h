// ply_store.h: the records of many data files for training, all in memory or piece by piece.
//
// Opening reads all files once: the records for validation stay in memory, and of each of the
// others one bit tells whether it is for training. Where these fit into the memory that is allowed
// they are one piece, which is read once. Otherwise an epoch goes through several pieces of the
// same size, each of them made of runs of records that are drawn from all files, and each shuffled
// as a whole; the next one is read when training has used up the last. Pieces depend on the data,
// the seed, the epoch and the number of pieces, not on the number of threads.
//
// One thread calls; a store lives for a whole run, and its files must not change meanwhile but by
// growing.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "Training/huge_pages.h"
#include "Training/ply_data.h"
#include "Training/ply_filter.h"
#include "Training/ply_record.h"
#include "Training/team.h"
#include "base/checksum.h"

// Consecutive records of one file that stay together. One that is read takes 256 KiB.
constexpr uint64_t RUN_RECORDS = 8192;

struct PlyRun {
    uint32_t file;     // its number
    uint32_t records;  // up to RUN_RECORDS
    uint64_t place;    // of the first in the file, in bytes
    uint64_t training; // how many of them are for training
};

struct PlyStore {
    std::vector<std::string> files;
    std::vector<PlyRun> runs;   // of all files, in their order
    std::vector<uint64_t> kept; // a bit for each record that is for training, by run
    std::vector<PlyRecord> validation;
    PlyCounts counts;                   // of all files
    uint64_t training = 0;              // records in all pieces
    uint64_t records = 0;               // in all files
    uint64_t checksum = EMPTY_CHECKSUM; // of all records and the seeds of their files
    size_t pieces = 1;                  // of an epoch
    double ahead = 0;                   // of the settings

    HugeVector<PlyRecord> piece; // the present one
    HugeVector<uint32_t> order;  // of its records
};

// What is read and how much is kept.
struct StoreSettings {
    PlyFilter filter; // of the records
    double memory_mb; // MiB for the records of a piece and their order
    double ahead = 0; // share of look_ahead in scores for training; not in those for validation
};

// Opens the files, reads them and decides about the pieces; none is read yet. Returns false, after
// a message on standard error, if a file can't be read or is no data file.
bool open_store(PlyStore& store, const std::vector<std::string>& files,
                const StoreSettings& settings, Team& team);

// Fills a store with records that are all for training, as one piece.
void fill_store(PlyStore& store, const std::vector<PlyRecord>& records);

// Makes piece number `piece` of an epoch, 0 to pieces - 1, the present one, and draws its order
// from seed and epoch. Records of the last piece of this epoch from order[used] on are taken over.
// Returns false, after a message, if a file can't be read any more.
bool load_piece(PlyStore& store, uint64_t seed, int epoch, size_t piece, size_t used, Team& team);
