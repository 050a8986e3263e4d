// strict_go.h: the strict protocol's `go`: its words become limits.
//
// Main thread only, while no search runs.

#pragma once

// Takes the limits of a `go` from the words behind it, which are cut. Every `go` begins without
// limits; those that it names hold together, and the first that is reached ends the search. Numbers
// outside their range are moved to its nearer end, and a missing number is taken as the least, with
// an "info string". Unknown words are skipped. Sets the think, or the pondering, on its way.
void request_strict_think(char* text);
