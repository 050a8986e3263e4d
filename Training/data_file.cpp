#include "Training/data_file.h"

// Number of records in front of the last game.
static uint64_t without_last_game(FILE* file, const DataHeader& header, uint64_t records) {
    while (records > 0) {
        PlyRecord record;
        records--;
        auto place = static_cast<long>(header.header_size + records * sizeof record);
        if (fseek(file, place, SEEK_SET) != 0 || fread(&record, sizeof record, 1, file) != 1)
            return 0;
        if (record.place & RECORD_FIRST) break;
    }
    return records;
}

bool open_data_file(DataFile& data, const char* name) {
    FILE* file = fopen(name, "rb");
    if (!file) return false;
    DataHeader header;
    if (!read_data_header(header, file) || fseek(file, 0, SEEK_END) != 0) {
        fclose(file);
        return false;
    }
    const long end = ftell(file);
    const auto begin = static_cast<long>(header.header_size);
    const auto bytes = end > begin ? static_cast<uint64_t>(end - begin) : 0;
    uint64_t records = bytes / sizeof(PlyRecord);
    if (bytes % sizeof(PlyRecord) != 0) records = without_last_game(file, header, records);
    data = {file, header, records, bytes - records * sizeof(PlyRecord)};
    fseek(file, begin, SEEK_SET);
    return true;
}

static std::string unfinished_name(const DataWriter& writer) { return writer.name + ".part"; }

bool begin_data_file(DataWriter& writer, const std::string& name, const DataHeader& header) {
    writer = {nullptr, name};
    FILE* file = fopen(unfinished_name(writer).c_str(), "wb");
    if (!file) return false;
    writer.file = file;
    if (fwrite(&header, sizeof header, 1, file) == 1) return true;
    abandon_data_file(writer);
    return false;
}

bool write_records(DataWriter& writer, const PlyRecord* records, size_t count) {
    return fwrite(records, sizeof *records, count, writer.file) == count;
}

bool finish_data_file(DataWriter& writer) {
    bool whole = ferror(writer.file) == 0;
    whole = fclose(writer.file) == 0 && whole;
    writer.file = nullptr;
    const std::string unfinished = unfinished_name(writer);
    if (whole && rename(unfinished.c_str(), writer.name.c_str()) == 0) return true;
    remove(unfinished.c_str());
    return false;
}

void abandon_data_file(DataWriter& writer) {
    if (!writer.file) return;
    fclose(writer.file);
    writer.file = nullptr;
    remove(unfinished_name(writer).c_str());
}
