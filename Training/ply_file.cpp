#include "Training/ply_file.h"

#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Training/data_file.h"
#include "Training/data_header.h"
#include "Training/ply_filter.h"
#include "Training/ply_record.h"
#include "Training/selfplay_game.h"

static void count_record(GameCounts& counts, const PlyRecord& record) {
    if (record.place & RECORD_FIRST) counts.games++;
    counts.positions++;
    if (judge_ply(record, PLY_FOR_ANY) == PLY_KEPT) counts.kept++;
}

// Tells whether a file that is shorter than the header is a part of it.
static bool is_begun_header(FILE* file, const DataHeader& header) {
    char bytes[sizeof header];
    const size_t count = fread(bytes, 1, sizeof bytes, file);
    return count < sizeof bytes && memcmp(bytes, &header, count) == 0;
}

std::string reason_against(const char* name, const DataHeader& header) {
    FILE* file = fopen(name, "rb");
    if (!file) return access(name, F_OK) == 0 ? "can't be read" : "";
    DataHeader found;
    std::string reason;
    if (read_data_header(found, file)) {
        if (found.kind == DATA_UNKNOWN) reason = "is of the old form, which is only read";
        else if (reason = differing_setting(found, header); !reason.empty())
            reason = "was made with " + reason;
    } else {
        rewind(file);
        if (!is_begun_header(file, header)) reason = "is no file of self-play games";
    }
    fclose(file);
    return reason;
}

// Counts the whole games of a file and tells how many bytes they take, header included. A file that
// was cut off inside its header has 0. Returns false if the file can't be read.
static bool count_games(GameCounts& counts, off_t& bytes, const char* name) {
    DataFile data;
    bytes = 0;
    if (!open_data_file(data, name)) return true;
    PlyRecord record;
    uint64_t read = 0;
    while (read < data.records && fread(&record, sizeof record, 1, data.file) == 1) {
        count_record(counts, record);
        read++;
    }
    fclose(data.file);
    bytes = static_cast<off_t>(data.header.header_size + data.records * sizeof record);
    return read == data.records;
}

// Makes an open file ready for appending. Returns the reason why it can't be used, or nothing.
static std::string resume_file(GameCounts& counts, int descriptor, const char* name,
                               const DataHeader& header) {
    // Two processes would mix their games.
    if (flock(descriptor, LOCK_EX | LOCK_NB) != 0) return "is in use";
    std::string reason = reason_against(name, header);
    if (!reason.empty()) return reason;
    off_t bytes = 0;
    if (!count_games(counts, bytes, name)) return "can't be read";
    if (ftruncate(descriptor, bytes) != 0) return "can't be written";
    constexpr auto HEADER_BYTES = static_cast<ssize_t>(sizeof header);
    if (bytes == 0 && write(descriptor, &header, sizeof header) != HEADER_BYTES)
        return "can't be written";
    return "";
}

std::string open_ply_file(PlyFile& file, const char* name, const DataHeader& header) {
    int descriptor = open(name, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    if (descriptor < 0) return "can't be opened for writing";
    GameCounts counts = {};
    std::string reason = resume_file(counts, descriptor, name, header);
    if (reason.empty()) file = {descriptor, counts};
    else close(descriptor);
    return reason;
}

bool append_game(PlyFile& file, const Game& game) {
    struct stat before = {};
    if (fstat(file.descriptor, &before) != 0) return false;
    auto bytes = static_cast<size_t>(game.plies) * sizeof(PlyRecord);
    if (write(file.descriptor, game.records, bytes) != static_cast<ssize_t>(bytes)) {
        // Where this fails, the next reader still sees a torn game.
        [[maybe_unused]] int ignored = ftruncate(file.descriptor, before.st_size);
        return false;
    }
    for (int i = 0; i < game.plies; i++) count_record(file.counts, game.records[i]);
    return true;
}

void close_ply_file(PlyFile& file) {
    if (file.descriptor >= 0) close(file.descriptor);
    file.descriptor = -1;
}
