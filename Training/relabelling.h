// relabelling.h: new search scores for records, and records of neighbouring positions.
//
// The engine's records are process-wide, so that each worker is a process, forked from the caller
// after the engine's start-up; their results meet in shared memory. The caller must have no other
// threads.

#pragma once

#include <cstdint>
#include <vector>

#include "Training/ply_record.h"
#include "base/random.h"

struct RelabelSettings {
    int nodes = 400;    // of a search, after which no iteration begins; 0: quiescence alone
    int neighbours = 0; // positions made from each record, in place of the record itself
    int max_steps = 2;  // random moves that lead to a neighbour: 1 to this number
    int hash_mb = 8;    // of each worker
    int workers = 1;    // processes, at least 1
    uint64_t seed = 1;  // of the random moves
};

// Takes up a network file for the searches, or the hand-crafted evaluation for "hce", and sets the
// engine up for searches by nodes. Returns false, after a message on standard error, if that fails.
bool prepare_relabelling(const RelabelSettings& settings, const char* network);

// Scores the record's position anew by a search; a record that has no best move gets the search's,
// with its mark. Returns false, with the record unchanged, if it is no position or has no legal
// move.
bool relabel_record(PlyRecord& record, const RelabelSettings& settings);

// Makes a position some random moves away from the record's, scored by a search and without a
// result. Returns false if there is none, or if training would not use it.
bool make_neighbour(PlyRecord& neighbour, const PlyRecord& record, const RelabelSettings& settings,
                    Random& random);

// Records of a file that are worked at together.
struct RelabelPart {
    std::vector<PlyRecord> records;
    uint64_t first; // number of the first one in the file, from 0 on
    uint64_t whole; // records of the whole file, for messages
};

// Scores all records of a part anew that training would use; the others stay as they are. With
// neighbours the results are each game's first record, so that games keep their numbers, and what
// could be made of the records that training would use. What is made of a record depends on its
// number and the seed, not on the part that it is in. Returns false, with `results` unchanged, if a
// worker failed.
bool relabel_records(std::vector<PlyRecord>& results, const RelabelPart& part,
                     const RelabelSettings& settings);
