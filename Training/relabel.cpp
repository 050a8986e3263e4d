// relabel: scores self-play data anew under a network, or makes more positions from it.

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "Training/command_line.h"
#include "Training/relabelling.h"
#include "shell/start.h"

static bool read_records(DataHeader& header, std::vector<PlyRecord>& records, const char* path) {
    DataFile data;
    if (!open_data_file(data, path)) {
        fprintf(stderr, "%s: no data file\n", path);
        return false;
    }
    memcpy(header.magic, DATA_MAGIC, sizeof header.magic);
    header.record_size = sizeof(PlyRecord);
    header.seed = data.seed;
    records.resize(data.records);
    records.resize(fread(records.data(), sizeof(PlyRecord), records.size(), data.file));
    fclose(data.file);
    return true;
}

static bool write_records(const DataHeader& header, const std::vector<PlyRecord>& records,
                          const char* path) {
    FILE* file = fopen(path, "wb");
    if (!file) return false;
    bool written =
        fwrite(&header, sizeof header, 1, file) == 1
        && fwrite(records.data(), sizeof(PlyRecord), records.size(), file) == records.size();
    return fclose(file) == 0 && written;
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

    DataHeader header;
    std::vector<PlyRecord> records;
    if (!read_records(header, records, names[0].c_str())) return 1;
    if (!init_engine() || !prepare_relabelling(settings, network.c_str())) return 1;
    std::vector<PlyRecord> results = relabel_records(records, settings);
    if (results.empty() || !write_records(header, results, names[1].c_str())) {
        fprintf(stderr, "can't make %s\n", names[1].c_str());
        return 1;
    }
    printf("%zu records in, %zu out\n", records.size(), results.size());
    shut_down_engine();
    return 0;
}
