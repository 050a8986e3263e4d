// relabel: scores self-play data anew under a network, or makes more positions from it.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "Training/command_line.h"
#include "Training/data_file.h"
#include "Training/data_header.h"
#include "Training/relabelling.h"
#include "Training/scorer.h"
#include "shell/start.h"

// What is to be said about the records that will be made from a file with this header.
static DataHeader header_of_results(const DataHeader& source, const RelabelSettings& settings,
                                    const Scorer& scorer) {
    const bool neighbours = settings.neighbours > 0;
    DataHeader header = new_data_header(neighbours ? DATA_NEIGHBOURS : DATA_RESCORED, source.seed);
    header.scorer = scorer;
    header.run_seed = source.run_seed;
    header.worker = source.worker;
    header.chess960_share = source.chess960_share;
    header.openings_share = source.openings_share;
    header.openings = source.openings;
    header.source_kind = source.kind;
    header.source = source.scorer;
    if (!neighbours) {
        header.whole_games = source.whole_games;
        return header;
    }
    header.neighbours = static_cast<uint32_t>(settings.neighbours);
    header.max_steps = static_cast<uint32_t>(settings.max_steps);
    header.steps_seed = settings.seed;
    return header;
}

// Works through the file part by part, so that a file may be larger than memory. Returns the number
// of records written, or -1 if something failed.
static int64_t relabel_file(DataWriter& writer, DataFile& data, const RelabelSettings& settings) {
    constexpr uint64_t PART_RECORDS = 1 << 20;
    int64_t written = 0;
    RelabelPart part = {{}, 0, data.records};
    std::vector<PlyRecord> results;
    for (; part.first < data.records; part.first += part.records.size()) {
        part.records.resize(std::min(PART_RECORDS, data.records - part.first));
        if (fread(part.records.data(), sizeof(PlyRecord), part.records.size(), data.file)
                != part.records.size()
            || !relabel_records(results, part, settings)
            || !write_records(writer, results.data(), results.size()))
            return -1;
        written += static_cast<int64_t>(results.size());
    }
    return written;
}

// Makes the new file. Returns false after a message if that failed; then there is none.
static bool make_file(const char* name, DataFile& data, const RelabelSettings& settings,
                      const Scorer& scorer) {
    DataWriter writer;
    int64_t written = -1;
    if (begin_data_file(writer, name, header_of_results(data.header, settings, scorer))) {
        written = relabel_file(writer, data, settings);
        if (written < 0) abandon_data_file(writer);
        else if (!finish_data_file(writer)) written = -1;
    }
    if (written < 0) fprintf(stderr, "can't make %s\n", name);
    else
        printf("%llu records in, %lld out\n", static_cast<unsigned long long>(data.records),
               static_cast<long long>(written));
    return written >= 0;
}

int main(int argc, char** argv) {
    constexpr int MAX_WORKERS = 64;
    RelabelSettings settings;
    settings.workers = machine_threads();
    std::string network = "embedded";
    const Usage usage = {
        "relabel [options] IN.ply OUT.ply",
        2,
        2,
        {
            {"--network", "FILE", &network, "network file, \"embedded\", or \"hce\""},
            {"--nodes", "N", &settings.nodes, "nodes of a search, 0: quiescence"},
            {"--neighbours", "N", &settings.neighbours, "positions made from each record"},
            {"--steps", "N", &settings.max_steps, "most random moves to a neighbour", 1},
            {"--threads", "N", &settings.workers, "processes"},
            {"--seed", "N", &settings.seed, "of the random moves"},
        }};
    std::vector<std::string> names;
    if (!read_arguments(usage, argc, argv, names)) return 1;
    settings.workers = std::clamp(settings.workers, 1, MAX_WORKERS);

    DataFile data;
    if (!open_data_file(data, names[0].c_str())) {
        fprintf(stderr, "%s: no data file\n", names[0].c_str());
        return 1;
    }
    if (!init_engine()) return 1;
    Scorer scorer;
    bool done = prepare_relabelling(settings, network.c_str())
             && describe_scorer(scorer, settings.nodes, settings.hash_mb)
             && make_file(names[1].c_str(), data, settings, scorer);
    fclose(data.file);
    shut_down_engine();
    return done ? 0 : 1;
}
