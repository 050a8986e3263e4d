// Endgame tables. The first byte chooses material and kind of the file, the rest is the file: once
// in memory of just its length, and for three kinds of material that have tables at hand through
// the files as well, beside a sound one of the other kind.

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "base/random.h"
#include "fuzz/fuzz.h"
#include "syzygy/tbcore.h"
#include "syzygy/tbprobe.h"
#include "tb_support.h"

static constexpr const char* NAMES[8] = {"KQvK",  "KRvK",   "KPvK",   "KBNvK",
                                         "KPvKP", "KPPvKP", "KRPvKR", "KQvKQ"};
static constexpr int KINDS_AT_HAND = 3;

static void decode(const char* name, const std::vector<uint8_t>& file, bool wdl) {
    constexpr uint64_t LOOKS = 100;

    TBEntry entry = {};
    tb_describe(entry, name);
    const int count = tb_sides(entry, wdl) * tb_file_groups(entry);
    TBDecoder decoders[2 * TB_FILE_GROUPS] = {};
    uint8_t flags[TB_FILE_GROUPS];
    TBMaps maps;
    if (tb_build_decoders(decoders, flags, &maps, entry, file.data(), file.size(), wdl))
        for (int i = 0; i < count; i++) {
            const PairsData& pairs = decoders[i].pairs;
            const uint64_t step = pairs.table_size / LOOKS + 1;
            for (uint64_t at = 0; at < pairs.table_size; at += step) tb_decompress(pairs, at);
        }
    tb_free_decoders(decoders, count);
}

// A table at hand, read once: a copy by the system is broken off by the fuzzer's alarm.
static const std::string& sound_table(int kind, bool wdl) {
    static std::string tables[KINDS_AT_HAND][2];
    std::string& bytes = tables[kind][wdl];
    if (bytes.empty()) {
        std::ifstream file(own_tables() + "/" + NAMES[kind] + (wdl ? ".rtbw" : ".rtbz"),
                           std::ios::binary);
        bytes.assign(std::istreambuf_iterator<char>(file), {});
    }
    return bytes;
}

static void probe(int kind, const std::vector<uint8_t>& file, bool wdl) {
    constexpr int LOOKS = 20;
    const std::string name = NAMES[kind], &other = sound_table(kind, !wdl);
    const char* const OTHER = wdl ? ".rtbz" : ".rtbw";

    std::filesystem::create_directory("tables");
    const std::string path = "tables/" + name;
    for (const auto& old : std::filesystem::directory_iterator("tables"))
        std::filesystem::remove(old.path());
    write_input((path + (wdl ? ".rtbw" : ".rtbz")).c_str(), file.data(), file.size());
    write_input((path + OTHER).c_str(), reinterpret_cast<const uint8_t*>(other.data()),
                other.size());
    tb_init("tables");
    Random random = {1};
    for (int i = 0; i < LOOKS; i++) {
        TBPosition board = random_board(name, random);
        int success = TB_FOUND;
        tb_probe_wdl(board, &success);
        tb_probe_dtz(board, &success);
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    begin_input();
    if (size == 0) return 0;
    const int kind = data[0] & 7;
    const bool wdl = !(data[0] & 8);
    const std::vector<uint8_t> file(data + 1, data + size);
    decode(NAMES[kind], file, wdl);
    if (kind < KINDS_AT_HAND) probe(kind, file, wdl);
    return 0;
}
