// Sessions of the protocol, line by line through the main loop and its search threads.

#include "fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    play_session(data, size, true);
    return 0;
}
