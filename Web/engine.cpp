// engine.cpp: the engine as a module for the worker of a page, see worker.js. A page starts it with
// -strict: a search of the strict protocol looks at the clock by itself, and needs no second thread
// for that.

#include <emscripten.h>

#include "base/platform_wasm.h"
#include "shell/loop.h"

// For the script: hands over text, lines with their newlines. With threads the engine runs beside
// the script. Without them it runs here, and leaves by an exception when it has nothing to do.
extern "C" EMSCRIPTEN_KEEPALIVE void mird_hear(const char* text) {
    give_input(text);
#if !defined(__EMSCRIPTEN_PTHREADS__)
    run_game_loop();
#endif
}
