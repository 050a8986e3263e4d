// relabel: scores self-play data anew under a network, or makes more positions from it.

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <thread>

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
    RelabelSettings settings;
    std::string network = "embedded";
    double nodes = settings.nodes, neighbours = 0, steps = settings.most_steps, seed = 1;
    double threads = std::max(1u, std::thread::hardware_concurrency());
    auto number = [](const char* name, double* place, const char* help) {
        return Option{name, place, nullptr, nullptr, help};
    };
    const std::vector<Option> options = {
        {"--network", nullptr, &network, nullptr, "network file, \"embedded\", or \"hce\""},
        number("--nodes", &nodes, "nodes of a search, 0: quiescence"),
        number("--neighbours", &neighbours, "positions made from each record"),
        number("--steps", &steps, "most random moves to a neighbour"),
        number("--threads", &threads, "processes"),
        number("--seed", &seed, "of the random moves"),
    };
    std::vector<std::string> names;
    if (!read_arguments(argc, argv, options, names) || names.size() != 2 || nodes < 0
        || neighbours < 0 || steps < 1) {
        print_usage("relabel [options] IN.ply OUT.ply", options);
        return 1;
    }
    settings.nodes = static_cast<int>(nodes);
    settings.neighbours = static_cast<int>(neighbours);
    settings.most_steps = static_cast<int>(steps);
    settings.workers = std::clamp(static_cast<int>(threads), 1, 64);
    settings.seed = static_cast<uint64_t>(seed);

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
