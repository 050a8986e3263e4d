// plyconvert: turns text lines, EPD lines and PGN games into records, and records into text lines.
// See README.md.

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "Training/command_line.h"
#include "Training/conversion.h"
#include "Training/data_file.h"
#include "Training/data_header.h"
#include "Training/ply_filter.h"
#include "base/platform.h"
#include "shell/start.h"
#include "tools/epd.h"
#include "tools/pgn.h"

namespace {

struct Conversion {
    ConversionSettings settings;
    std::string from; // "text", "epd", "pgn" or "ply"; empty: by the name's ending
    std::string in, out;
    uint64_t seed = 1;
    bool kept = false; // only records that PLY_FOR_ANY keeps
    uint64_t read = 0, written = 0, bad = 0;
    DataWriter writer = {};
    PlyRecord last = {}; // written before
};

} // namespace

static void report_bad(Conversion& run, const char* what, const char* reason) {
    run.bad++;
    fprintf(stderr, "%s: %s %llu: %s\n", run.in.c_str(), what,
            static_cast<unsigned long long>(run.read), reason);
}

static bool is_wanted(const Conversion& run, const PlyRecord& record) {
    return !run.kept || judge_ply(record, PLY_FOR_ANY) == PLY_KEPT;
}

// Returns false if it can't be written.
static bool add_record(Conversion& run, const PlyRecord& record) {
    if (!is_wanted(run, record)) return true;
    run.written++;
    run.last = record;
    return write_records(run.writer, &record, 1);
}

// Reads a line without its end; what it has behind its 510th character is dropped, and `whole` then
// false. Zero bytes count as blanks. Returns false at the end of the file.
static bool read_line(FILE* file, char line[EPD_LINE_LENGTH], bool& whole) {
    size_t length = 0;
    int c = getc(file);
    if (c == EOF) return false;
    whole = true;
    for (; c != EOF && c != '\n'; c = getc(file)) {
        if (length < EPD_LINE_LENGTH - 1) line[length++] = c ? static_cast<char>(c) : ' ';
        else whole = false;
    }
    if (length > 0 && line[length - 1] == '\r') length--;
    line[length] = 0;
    return true;
}

// Lines that are empty or begin with a blank, "#" or ";" are passed over.
static bool convert_lines(Conversion& run, FILE* in) {
    const bool epd = run.from == "epd";
    char line[EPD_LINE_LENGTH];
    bool whole = true;
    while (read_line(in, line, whole)) {
        run.read++;
        if (strchr(" #;", line[0])) continue;
        PlyRecord record;
        const char* wrong = !whole ? "it is too long"
                          : epd    ? record_of_epd(record, line, run.settings)
                                   : record_of_text(record, line, run.settings);
        if (wrong) {
            report_bad(run, "line", wrong);
            continue;
        }
        if (run.written == 0 || !continues_game(record, run.last)) record.place |= RECORD_FIRST;
        if (!add_record(run, record)) return false;
    }
    return true;
}

static bool convert_games(Conversion& run, FILE* in) {
    static PgnReader reader;
    begin_pgn(reader, in);
    std::vector<PlyRecord> records;
    for (PgnEvent event = PGN_TAG; event != PGN_END; event = next_pgn_event(reader)) {
        if (event != PGN_GAME) continue;
        run.read++;
        records.clear();
        const std::string wrong = records_of_game(records, reader, run.settings);
        if (!wrong.empty()) report_bad(run, "game", wrong.c_str());
        uint16_t first = RECORD_FIRST; // goes to the first record that is wanted
        for (PlyRecord& record : records) {
            record.place = static_cast<uint16_t>((record.place & ~RECORD_FIRST) | first);
            if (is_wanted(run, record)) first = 0;
            if (!add_record(run, record)) return false;
        }
    }
    return true;
}

static bool make_records(Conversion& run, FILE* in) {
    DataHeader header = new_data_header(DATA_POSITIONS, static_cast<uint32_t>(run.seed));
    header.run_seed = run.seed;
    memset(header.program, 0, sizeof header.program); // not what scored them
    if (!begin_data_file(run.writer, run.out, header)) return false;
    if (run.from == "pgn" ? convert_games(run, in) : convert_lines(run, in))
        return finish_data_file(run.writer);
    abandon_data_file(run.writer);
    return false;
}

static bool write_texts(Conversion& run, DataFile& data) {
    FILE* out = fopen(run.out.c_str(), "w");
    if (!out) return false;
    PlyRecord record;
    while (run.read < data.records && fread(&record, sizeof record, 1, data.file) == 1) {
        run.read++;
        if (!is_wanted(run, record)) continue;
        const std::string text = text_of_record(record);
        if (text.empty()) {
            report_bad(run, "record", "it is no position");
            continue;
        }
        run.written++;
        fprintf(out, "%s\n", text.c_str());
    }
    const bool written = ferror(out) == 0 && run.read == data.records;
    return fclose(out) == 0 && written;
}

// Returns false after a message.
static bool convert(Conversion& run) {
    bool done = false;
    DataFile data = {};
    if (run.from == "ply") {
        if (open_data_file(data, run.in.c_str())) done = write_texts(run, data);
    } else {
        data.file = open_plain_file(run.in.c_str(), "r");
        if (data.file) done = make_records(run, data.file);
    }
    if (!data.file) fprintf(stderr, "can't read %s\n", run.in.c_str());
    else fclose(data.file);
    if (data.file && !done) fprintf(stderr, "can't make %s\n", run.out.c_str());
    if (!done) return false;
    fprintf(stderr, "%llu %s in, %llu %s out, %llu bad\n",
            static_cast<unsigned long long>(run.read),
            run.from == "ply"   ? "records"
            : run.from == "pgn" ? "games"
                                : "lines",
            static_cast<unsigned long long>(run.written), run.from == "ply" ? "lines" : "records",
            static_cast<unsigned long long>(run.bad));
    return true;
}

// What a file of that name holds, if nothing else was said.
static std::string form_of_name(const std::string& name) {
    const size_t dot = name.rfind('.');
    const std::string ending = dot == std::string::npos ? "" : name.substr(dot + 1);
    return ending == "ply" || ending == "pgn" || ending == "epd" ? ending : "text";
}

static bool read_options(Conversion& run, int argc, char** argv) {
    const Usage usage = {
        "plyconvert [options] IN OUT",
        2,
        2,
        {
            {"--from", "FORM", &run.from, "text, epd, pgn or ply; else IN's ending tells"},
            {"--kept", "", &run.kept, "only what training would use"},
            {"--unscored", "", &run.settings.keep_unscored,
             "positions without a score too, with 0, for relabel"},
            {"--least-ply", "N", &run.settings.least_ply,
             "lowest ply of a record, where plies are not counted", 0, RECORD_PLY},
            {"--seed", "N", &run.seed, "of the records' file: decides what is held out", 0,
             UINT32_MAX},
        }};
    std::vector<std::string> names;
    if (!read_arguments(usage, argc, argv, names)) return false;
    run.in = names[0];
    run.out = names[1];
    if (run.from.empty()) run.from = form_of_name(run.in);
    if (run.from == "text" || run.from == "epd" || run.from == "pgn" || run.from == "ply")
        return true;
    fprintf(stderr, "option --from can't be %s\n", run.from.c_str());
    return false;
}

int main(int argc, char** argv) {
    constexpr int USAGE_STATUS = 2;
    static Conversion run;
    if (!read_options(run, argc, argv)) return USAGE_STATUS;
    if (same_file(run.in.c_str(), run.out.c_str())) {
        fprintf(stderr, "IN and OUT are one file\n");
        return USAGE_STATUS;
    }
    if (!init_engine()) return 1;
    const bool done = convert(run);
    shut_down_engine();
    return done ? 0 : 1;
}
