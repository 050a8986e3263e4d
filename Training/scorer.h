// scorer.h: the fingerprint of what scores records: the engine with its evaluation.
//
// Two programs with the same fingerprint, limits and seeds play the same games, on any processor.
// Main thread, while nothing searches.

#pragma once

#include "Training/data_header.h"

// Fills in the evaluation in use, and the nodes and hash table that searches will have. The
// engine's signature is measured, so that it changes with everything that moves a score, a move or
// a node count, and can't be forgotten: a checksum over some searches of a few thousand nodes with
// this evaluation, which take about 50 ms. Prepares the engine as for self-play and leaves the hash
// table empty. Returns false, with `scorer` unchanged, when memory ran out.
bool describe_scorer(Scorer& scorer, int nodes, int hash_mb);

// Checksum of the weights of the network in use; 0 for the hand-crafted evaluation.
uint64_t network_checksum();

// Checksum of the table of parameters in use. The hand-crafted evaluation scores some positions
// where there is a network, too.
uint64_t params_checksum();
