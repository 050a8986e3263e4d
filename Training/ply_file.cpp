#include "Training/ply_file.h"

#include <cstring>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Training/ply_filter.h"
#include "Training/ply_record.h"
#include "Training/selfplay_game.h"

static void count_record(GameCounts& counts, const PlyRecord& record) {
    if (record.place & RECORD_FIRST) counts.games++;
    counts.positions++;
    if (judge_ply(record, PLY_FOR_ANY) == PLY_KEPT) counts.kept++;
}

// Counts the whole games of a file and tells how many bytes they take, header included. Returns
// null, or the reason why the file can't be read.
static const char* count_games(GameCounts& counts, off_t& bytes, const char* name, uint32_t seed) {
    DataFile data;
    if (!open_data_file(data, name)) return "is no file of self-play games";
    const char* reason = data.seed == seed ? nullptr : "was made with another seed";
    PlyRecord record;
    for (uint64_t i = 0; i < data.records && !reason; i++) {
        if (fread(&record, sizeof record, 1, data.file) == 1) count_record(counts, record);
        else reason = "can't be read";
    }
    fclose(data.file);
    bytes = static_cast<off_t>(sizeof(DataHeader) + data.records * sizeof record);
    return reason;
}

static bool write_header(int descriptor, uint32_t seed) {
    DataHeader header = {{}, sizeof(PlyRecord), seed};
    memcpy(header.magic, DATA_MAGIC, sizeof header.magic);
    return ftruncate(descriptor, 0) == 0
        && write(descriptor, &header, sizeof header) == static_cast<ssize_t>(sizeof header);
}

// Makes an open file ready for appending. Returns null, or the reason why it can't be used.
static const char* resume_file(GameCounts& counts, int descriptor, const char* name,
                               uint32_t seed) {
    // Two processes would mix their games.
    if (flock(descriptor, LOCK_EX | LOCK_NB) != 0) return "is in use";
    struct stat status = {};
    if (fstat(descriptor, &status) != 0) return "can't be read";
    if (status.st_size < static_cast<off_t>(sizeof(DataHeader)))
        return write_header(descriptor, seed) ? nullptr : "can't be written";
    off_t bytes = 0;
    if (const char* reason = count_games(counts, bytes, name, seed)) return reason;
    return ftruncate(descriptor, bytes) == 0 ? nullptr : "can't be written";
}

const char* open_ply_file(PlyFile& file, const char* name, uint32_t seed) {
    int descriptor = open(name, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    if (descriptor < 0) return "can't be opened for writing";
    GameCounts counts = {};
    if (const char* reason = resume_file(counts, descriptor, name, seed)) {
        close(descriptor);
        return reason;
    }
    file = {descriptor, counts};
    return nullptr;
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
