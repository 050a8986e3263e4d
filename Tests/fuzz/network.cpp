// Network files, as they are or, for inputs that begin with an odd byte, filled up with their own
// weights over and over to the length that the header asks for. What is loaded evaluates.

#include <algorithm>
#include <cstdlib>
#include <string>

#include "base/state.h"
#include "base/text.h"
#include "eval/evaluate.h"
#include "eval/nn.h"
#include "fuzz/fuzz.h"
#include "search/thread.h"
#include "support.h"

static constexpr const char* POSITIONS[] = {
    "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -",
    "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R b KQkq -",
    "6k1/5ppp/8/8/3r4/8/R4PPP/6K1 w - -",
};
static constexpr size_t HEADER = 18; // bytes

// The file with as many bytes as its header names, but at most 40,000.
static std::string filled_up(std::string file) {
    constexpr size_t MOST = 40000;
    if (file.size() <= HEADER) return file;
    auto byte = [&file](size_t at) { return size_t{static_cast<unsigned char>(file[at])}; };
    size_t weights = byte(14) | byte(15) << 8 | byte(16) << 16 | byte(17) << 24;
    size_t wanted = std::min(HEADER + 2 * weights, MOST);
    for (size_t i = HEADER; file.size() < wanted; i++) file += file[i];
    return file;
}

static void evaluate(const char* fen) {
    Position& pos = set_up(fen);
    refresh_eval_tables(*main_thread);
    if (abs(Evaluate(*main_thread, pos.side, 1, 0)) > EVAL_LIMIT)
        broken("no evaluation is taken for a mate");
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    begin_input();
    if (size == 0) return 0;
    std::string file(reinterpret_cast<const char*>(data + 1), size - 1);
    if (data[0] & 1) file = filled_up(file);
    write_input("test.nn", reinterpret_cast<const uint8_t*>(file.data()), file.size());

    copy_text(active_personality.NN_File, "test.nn", sizeof active_personality.NN_File);
    const uint32_t generation = nn_header.generation;
    NnLoad();
    if (nn_header.generation == generation) return 0;
    for (const char* fen : POSITIONS) evaluate(fen);
    return 0;
}
