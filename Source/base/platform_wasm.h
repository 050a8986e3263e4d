// platform_wasm.h: how the script of a page hands lines to the engine.

#pragma once

// Adds text, lines with their newlines, to standard input, and wakes the main thread. Without
// threads the main loop must be run by the caller then. Any thread.
void give_input(const char* text);
