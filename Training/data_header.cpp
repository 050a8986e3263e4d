#include "Training/data_header.h"

#include <cstring>

#include "Training/ply_record.h"
#include "base/state.h"
#include "base/text.h"

DataHeader new_data_header(DataKind kind, uint32_t seed) {
    DataHeader header = {};
    memcpy(header.magic, DATA_MAGIC, sizeof header.magic);
    header.record_size = sizeof(PlyRecord);
    header.seed = seed;
    header.header_size = sizeof header;
    header.kind = kind;
    copy_text(header.program, PROGRAM_NAME, sizeof header.program);
    return header;
}

static bool has_magic(const DataHeader& header, const char* magic) {
    return memcmp(header.magic, magic, sizeof header.magic) == 0;
}

bool read_data_header(DataHeader& header, FILE* file) {
    constexpr uint32_t MAX_HEADER_SIZE = 1 << 20; // of a later form
    DataHeader read = {};
    auto* rest = reinterpret_cast<char*>(&read) + OLD_HEADER_SIZE;
    if (fseek(file, 0, SEEK_SET) != 0 || fread(&read, OLD_HEADER_SIZE, 1, file) != 1
        || read.record_size != sizeof(PlyRecord))
        return false;
    if (has_magic(read, OLD_DATA_MAGIC)) {
        read.header_size = OLD_HEADER_SIZE;
    } else if (!has_magic(read, DATA_MAGIC)
               || fread(rest, sizeof read - OLD_HEADER_SIZE, 1, file) != 1
               || read.header_size < sizeof read || read.header_size > MAX_HEADER_SIZE
               || fseek(file, static_cast<long>(read.header_size), SEEK_SET) != 0) {
        return false;
    }
    header = read;
    return true;
}

static const char* kind_name(uint32_t kind) {
    switch (kind) {
    case DATA_UNKNOWN: return "old form";
    case DATA_GAMES: return "games";
    case DATA_NEIGHBOURS: return "neighbours";
    case DATA_RESCORED: return "rescored";
    case DATA_POSITIONS: return "positions";
    default: return "unknown kind";
    }
}

static std::string checksum_text(uint64_t sum) {
    char text[20];
    snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(sum));
    return text;
}

static std::string network_text(uint64_t sum) { return sum ? checksum_text(sum) : "by hand"; }

std::string differing_setting(const DataHeader& file, const DataHeader& run) {
    auto number = [](uint64_t value) { return std::to_string(value); };
    struct {
        const char* name;
        uint64_t file, run;
        std::string (*text)(uint64_t);
    } const settings[] = {
        {"kind", file.kind, run.kind,
         [](uint64_t kind) -> std::string { return kind_name(static_cast<uint32_t>(kind)); }},
        {"seed", file.run_seed, run.run_seed, number},
        {"worker", file.worker, run.worker, number},
        {"seed of the worker", file.seed, run.seed, number},
        {"nodes", file.scorer.nodes, run.scorer.nodes, number},
        {"hash", file.scorer.hash_mb, run.scorer.hash_mb, number},
        {"chess960", file.chess960_share, run.chess960_share, number},
        {"openings-share", file.openings_share, run.openings_share, number},
        {"openings", file.openings, run.openings, checksum_text},
        {"network", file.scorer.network, run.scorer.network, network_text},
        {"params", file.scorer.params, run.scorer.params, checksum_text},
        {"engine", file.scorer.engine, run.scorer.engine, checksum_text},
    };
    for (const auto& setting : settings)
        if (setting.file != setting.run)
            return std::string(setting.name) + " " + setting.text(setting.file) + ", not "
                 + setting.text(setting.run);
    return "";
}

static std::string scorer_text(const Scorer& scorer) {
    if (scorer.engine == 0) return "scorer unknown";
    return "engine " + checksum_text(scorer.engine) + ", network " + network_text(scorer.network)
         + ", params " + checksum_text(scorer.params) + ", nodes " + std::to_string(scorer.nodes)
         + ", hash " + std::to_string(scorer.hash_mb);
}

std::string describe_header(const DataHeader& header) {
    std::string text = kind_name(header.kind);
    if (header.kind == DATA_UNKNOWN)
        return text + ", seed of the worker " + std::to_string(header.seed);
    auto add = [&text](const char* name, uint64_t value) {
        text += std::string(", ") + name + " " + std::to_string(value);
    };
    add("seed", header.run_seed);
    add("worker", header.worker);
    if (header.whole_games || header.kind == DATA_NEIGHBOURS) {
        add("chess960", header.chess960_share);
        add("openings-share", header.openings_share);
        if (header.openings_share) text += ", openings " + checksum_text(header.openings);
    }
    if (header.kind == DATA_NEIGHBOURS) {
        add("neighbours", header.neighbours);
        add("steps", header.max_steps);
        add("seed of the steps", header.steps_seed);
    }
    const std::string program(header.program, strnlen(header.program, sizeof header.program));
    text += "; " + program + (program.empty() ? "" : ", ") + scorer_text(header.scorer);
    if (header.kind == DATA_NEIGHBOURS || header.kind == DATA_RESCORED)
        text += std::string("; from ") + kind_name(header.source_kind) + ", "
              + scorer_text(header.source);
    return text;
}
