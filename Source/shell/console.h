// console.h: the engine's own language for a person at a keyboard.
//
// Main thread only; the loop hands the lines over. Between lines only the wish for the engine's
// own moves is kept, which `mv` and `self` express.

#pragma once

// Acts on one line that is not empty; the line is changed in place. While a search runs only
// "quit" and "." are heard.
void handle_console(char* line);

// What follows a think in console play: the engine's move on the board, and with `self` the next
// think. Does nothing unless `mv` or `self` asked for it.
void console_after_think();

// Ends play of the engine's own: a think that runs is its last. Nothing else is left to reset.
void end_console_play();
