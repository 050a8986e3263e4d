// Sessions of the console, with files to read under the names test.epd and game.pgn.

#include <cstring>

#include "fuzz/fuzz.h"

static void write_text(const char* name, const char* text) {
    write_input(name, reinterpret_cast<const uint8_t*>(text), strlen(text));
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    write_text("test.epd", "4k3/8/8/8/8/8/8/4K2R w K - id \"2\";\n");
    write_text("game.pgn",
               "[Event \"First\"]\n\n1. e4 {best} e5 2. Nf3 {a\nb} Nc6 *\n"
               "[Event \"Second\"]\n[FEN \"4k3/8/8/8/8/8/8/4K2R w K -\"]\n\n1. O-O *\n");
    play_session(data, size, false);
    return 0;
}
