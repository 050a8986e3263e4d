#include "Training/ply_data.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>

#include "Training/data_file.h"
#include "base/random.h"

double score_probability(double score) { return 1.0 / (1.0 + std::exp(-SCORE_SLOPE * score)); }

double ply_target(const PlyRecord& record, double lambda) {
    double score = score_probability(record.score);
    return has_result(record) ? lambda * score + (1.0 - lambda) * ply_result(record) : score;
}

void look_ahead(PlyRecord* records, size_t count, double share) {
    constexpr double SURE = 1e-6; // chance that the surest score leaves, so that it stays finite
    for (size_t i = count; i-- > 1;) {
        PlyRecord& record = records[i - 1];
        const PlyRecord& next = records[i];
        if (!has_result(record) || next.place & RECORD_FIRST
            || record_ply(next) != record_ply(record) + 1)
            continue;
        const double mixed = (1.0 - share) * score_probability(record.score)
                           + share * (1.0 - score_probability(next.score));
        const double p = std::clamp(mixed, SURE, 1.0 - SURE);
        record.score = static_cast<int16_t>(std::lround(std::log(p / (1.0 - p)) / SCORE_SLOPE));
    }
}

std::vector<std::string> list_ply_files(const std::vector<std::string>& paths) {
    namespace fs = std::filesystem;
    std::vector<std::string> files;
    for (const std::string& path : paths) {
        std::error_code error;
        if (!fs::is_directory(path, error)) {
            files.push_back(path);
            continue;
        }
        size_t first = files.size();
        for (const auto& entry : fs::directory_iterator(path, error))
            if (entry.path().extension() == ".ply") files.push_back(entry.path().string());
        std::sort(files.begin() + static_cast<std::ptrdiff_t>(first), files.end());
    }
    return files;
}

bool is_validation_game(uint32_t seed, uint64_t game) {
    constexpr uint64_t ONE_IN = 50;
    Random random = {static_cast<uint64_t>(seed) << 32 ^ game};
    return next_random(random) % ONE_IN == 0;
}

PlyPurpose sort_ply(const PlyRecord& record, bool held_out, const PlyFilter& filter,
                    PlyCounts& counts) {
    if (!is_sound(record)) return FOR_NOTHING;
    PlyVerdict verdict = judge_ply(record, filter);
    counts.verdicts[verdict]++;
    if (verdict != PLY_KEPT) return FOR_NOTHING;
    if (!held_out) return FOR_TRAINING;
    // The neighbours of a held-out game must not teach what validation asks.
    return has_result(record) ? FOR_VALIDATION : FOR_NOTHING;
}

void add_counts(PlyCounts& sum, const PlyCounts& more) {
    sum.games += more.games;
    for (int verdict = 0; verdict < PLY_VERDICTS; verdict++)
        sum.verdicts[verdict] += more.verdicts[verdict];
}

// Sorts the records of one file into the sets.
static void sort_records(PlySets& sets, const std::vector<PlyRecord>& records, uint32_t seed,
                         PlyUse use) {
    uint64_t game = 0;
    bool held_out = is_validation_game(seed, 0);
    for (size_t i = 0; i < records.size(); i++) {
        const PlyRecord& record = records[i];
        if (i > 0 && (record.place & RECORD_FIRST)) held_out = is_validation_game(seed, ++game);
        PlyPurpose purpose = sort_ply(record, held_out, {use, false}, sets.counts);
        if (purpose == FOR_TRAINING) sets.training.push_back(record);
        if (purpose == FOR_VALIDATION) sets.validation.push_back(record);
    }
    if (!records.empty()) sets.counts.games += game + 1;
}

bool read_ply_file(PlySets& sets, const std::string& path, PlyUse use) {
    DataFile data;
    if (!open_data_file(data, path.c_str())) {
        fprintf(stderr, "%s: no data file\n", path.c_str());
        return false;
    }
    std::vector<PlyRecord> records(data.records);
    records.resize(fread(records.data(), sizeof(PlyRecord), records.size(), data.file));
    fclose(data.file);
    sort_records(sets, records, data.header.seed, use);
    return true;
}

void print_counts(const PlyCounts& counts, uint64_t training, uint64_t validation) {
    printf("%llu games;", static_cast<unsigned long long>(counts.games));
    for (int verdict = 0; verdict < PLY_VERDICTS; verdict++)
        printf(" %s %llu%s", PLY_VERDICT_NAMES[verdict],
               static_cast<unsigned long long>(counts.verdicts[verdict]),
               verdict + 1 < PLY_VERDICTS ? "," : "\n");
    printf("%llu positions for training, %llu for validation\n",
           static_cast<unsigned long long>(training), static_cast<unsigned long long>(validation));
}

void shuffle_plies(std::vector<PlyRecord>& records, uint64_t seed) {
    Random random = {seed};
    for (size_t i = records.size(); i > 1; i--)
        std::swap(records[i - 1], records[next_random(random) % i]);
}
