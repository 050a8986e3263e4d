// strict_uci.h: the protocol engine of the strict protocol: what a line means by the letter of UCI.
//
// Main thread only; HandleUci hands the lines over where strict_protocol() says so. The table of
// Docs/protocol.md tells what differs from the plain protocol, and where else it is decided.

#pragma once

// Acts on one line; never searches by itself. The line is cut into words, at any white space. Words
// in front of a command are skipped, and a line without a command does nothing.
void HandleStrictUci(char* line);

// Tells whether a line is a command that begins a new think or a new game, and must wait for the
// answer of the one that runs. The line stays as it is.
bool needs_rest(const char* line);
