#include "tools/epd.h"

#include <algorithm>
#include <cstring>

namespace {

// A part of the line that is being read.
struct Span {
    const char* start;
    const char* end;
};

} // namespace

static void copy_span(char* to, Span span) {
    size_t length = std::min(static_cast<size_t>(span.end - span.start), EPD_LINE_LENGTH - 1);
    memcpy(to, span.start, length);
    to[length] = 0;
}

static bool equals(Span span, const char* text) {
    size_t length = strlen(text);
    return static_cast<size_t>(span.end - span.start) == length
        && memcmp(span.start, text, length) == 0;
}

// The end of the position: the fourth space, or the end of the line.
static const char* find_position_end(Span line) {
    int spaces = 0;
    for (const char* c = line.start; c < line.end; c++)
        if (*c == ' ' && ++spaces == 4) return c;
    return line.end;
}

static void store_operation(Span operation, EpdLine& epd) {
    Span name = {operation.start, std::find(operation.start, operation.end, ' ')};
    struct Field {
        const char* name;
        char* value;
    };
    const Field fields[] = {{"ce", epd.ce}, {"sc", epd.sc}, {"gr", epd.gr}, {"bm", epd.bm},
                            {"am", epd.am}, {"id", epd.id}, {"c0", epd.c0}};
    for (const Field& field : fields) {
        if (!equals(name, field.name)) continue;
        char* out = field.value;
        const char* most = out + EPD_LINE_LENGTH - 1;
        for (const char* c = name.end; c < operation.end && out < most; c++)
            if (*c != ' ') *out++ = *c;
        *out = 0;
    }
}

static const char* skip_spaces(Span text) {
    return std::find_if(text.start, text.end, [](char c) { return c != ' '; });
}

int SplitEpd(const char* line, EpdLine& epd) {
    for (char* field : {epd.position, epd.bm, epd.am, epd.ce, epd.sc, epd.gr, epd.id, epd.c0})
        field[0] = 0;

    Span rest = {line, line + strcspn(line, "\r\n")};
    const char* position_end = find_position_end(rest);
    copy_span(epd.position, {rest.start, position_end});
    rest.start = std::find_if(position_end, rest.end,
                              [](char c) { return c != ' ' && (c < '0' || c > '9'); });

    // A ";" where an operation should begin ends the work.
    while (rest.start < rest.end && *rest.start != ';') {
        const char* end = std::find(rest.start, rest.end, ';');
        store_operation({rest.start, end}, epd);
        if (end == rest.end) break;
        rest.start = skip_spaces({end + 1, rest.end});
    }
    return 1;
}

bool read_epd_line(FILE* file, char line[EPD_LINE_LENGTH]) {
    constexpr size_t SHORTEST = 10;
    while (fgets(line, EPD_LINE_LENGTH, file))
        if (!strchr(" #;", line[0]) && strlen(line) >= SHORTEST) return true;
    return false;
}
