#include "tools/pgn.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "base/text.h"
#include "board/types.h"

constexpr char BLANKS[] = " \t\r\n"; // what ends a move's text

static int16_t limit_score(double score) {
    constexpr double MAX = INT16_MAX; // the same either way, so that a sign can be turned
    return static_cast<int16_t>(std::lround(std::clamp(score, -MAX, MAX)));
}

// The value in a word such as "+0.25" or "-M5" that ends at `end`.
static int16_t word_value(const char* comment, const char* end) {
    constexpr int MATE = 9000;
    constexpr int LONGEST_EMPTY = 2; // characters of a word that says nothing

    const char* start = end;
    while (start > comment && start[-1] != ' ') start--;
    if (end - start <= LONGEST_EMPTY) return SCORE_NO_VALUE;
    const std::string_view word(start, static_cast<size_t>(end - start));
    if (word.find("-M") != word.npos) return -MATE;
    if (word.find("+M") != word.npos) return MATE;
    double number = strtod(start, nullptr);
    return std::isfinite(number) ? limit_score(number * 100.0) : int16_t{0};
}

int16_t comment_value(const char* comment, bool by_black) {
    constexpr char EVAL[] = "eval ";

    if (strstr(comment, "book")) return 0;
    if (const char* found = strstr(comment, EVAL)) {
        const char* number = found + strlen(EVAL);
        if (*number == 0 || *number == ',') return SCORE_NO_VALUE;
        int16_t score = limit_score(static_cast<double>(strtol(number, nullptr, 10)));
        return by_black ? static_cast<int16_t>(-score) : score;
    }
    if (const char* slash = strchr(comment, '/')) return word_value(comment, slash);
    return SCORE_NO_VALUE;
}

// Forgets the moves of the game.
static void clear_moves(ScannedGame& game) {
    game.count = 0;
    game.moves[0].score = SCORE_AT_START;
}

static void clear_game(ScannedGame& game) {
    clear_moves(game);
    game.skipped = false;
    game.white[0] = game.black[0] = game.result_text[0] = game.fen[0] = 0;
    game.result = SCAN_NO_RESULT;
}

// Whose turn it was in the position of the FEN tag. It may name none: then White is as good.
static int first_side(const ScannedGame& game) {
    const char* space = strchr(game.fen, ' ');
    return space && space[strspn(space, " ")] == 'b' ? BLACK : WHITE;
}

static void take_comment(PgnReader& reader) {
    ScannedGame& game = reader.game;
    if (game.count == 0) return;
    reader.comment[reader.comment_length] = 0;
    bool by_black = ((game.count - 1 + first_side(game)) & 1) != 0;
    game.moves[game.count - 1].score = comment_value(reader.comment, by_black);
}

static void collect_comment(PgnReader& reader, char c) {
    if (reader.comment_length == sizeof reader.comment - 1) return;
    reader.comment[reader.comment_length++] = strchr(BLANKS, c) ? ' ' : c;
}

static void take_move(ScannedGame& game, const char* word, size_t length) {
    ScannedMove& move = game.moves[game.count++];
    copy_text(move.text, word, std::min(length + 1, SCAN_MOVE_LENGTH));
    game.moves[game.count].score = SCORE_NO_COMMENT;
}

// Takes in a line, or a piece of one, of moves and comments.
static void read_move_text(PgnReader& reader, const char* line) {
    ScannedGame& game = reader.game;
    if (game.skipped || game.count >= SCAN_MOVES) return;

    for (const char* c = line; *c; c++) {
        if (*c == '{') {
            if (reader.comment_depth++ == 0) reader.comment_length = 0;
        } else if (*c == '}') {
            // A brace that closes nothing is passed over.
            if (reader.comment_depth > 0 && --reader.comment_depth == 0) take_comment(reader);
        } else if (reader.comment_depth > 0) {
            collect_comment(reader, *c);
        } else if (isalpha(static_cast<unsigned char>(*c))) {
            // Comments on a move that has no room belong to no other.
            if (game.count == SCAN_MOVES) return;
            size_t length = strcspn(c, BLANKS);
            take_move(game, c, length);
            c += length - 1;
        }
    }
}

// Takes the text between the first two quotes; up to the line's end if the second is missing.
static void take_tag_value(const char* line, char* value) {
    const char* quote = strchr(line, '"');
    const char* start = quote ? quote + 1 : "";
    copy_text(value, start, strcspn(start, "\"\r\n") + 1);
}

static void take_result(PgnReader& reader) {
    ScannedGame& game = reader.game;
    take_tag_value(reader.line, game.result_text);
    game.result = strcmp(game.result_text, "1-0") == 0 ? WHITE
                : strcmp(game.result_text, "0-1") == 0 ? BLACK
                                                       : SCAN_NO_RESULT;
    if (!game.skipped) reader.games++;
}

// The names are looked for anywhere in the line, in this order, and the first one counts.
static void read_tag(PgnReader& reader) {
    const char* line = reader.line;
    ScannedGame& game = reader.game;
    if (strstr(line, "Event ")) {
        clear_game(game);
    } else if (strstr(line, "White ")) {
        take_tag_value(line, game.white);
        game.fen[0] = 0;
    } else if (strstr(line, "Black ")) {
        take_tag_value(line, game.black);
    } else if (strstr(line, "Result ")) {
        take_result(reader);
    } else if (strstr(line, "FEN ")) {
        take_tag_value(line, game.fen);
    } else if (strstr(line, "unterminated") || strstr(line, "time forfeit")
               || strstr(line, "abandoned")) {
        game.skipped = true;
    }
}

bool ends_line(const char* piece) {
    size_t length = strlen(piece);
    return length > 0 && piece[length - 1] == '\n';
}

// Reads the next line, or the next 255 characters of a longer one, with a plain newline at its
// end. Zero bytes count as blanks. Returns false at the end of the file.
static bool read_piece(FILE* file, char line[SCAN_LINE_LENGTH]) {
    size_t length = 0;
    while (length < SCAN_LINE_LENGTH - 1) {
        int c = getc(file);
        if (c == EOF) break;
        line[length++] = c ? static_cast<char>(c) : ' ';
        if (c == '\n') break;
    }
    line[length] = 0;
    if (length >= 2 && strcmp(line + length - 2, "\r\n") == 0) strcpy(line + length - 2, "\n");
    return length > 0;
}

void begin_pgn(PgnReader& reader, FILE* in) {
    reader = {};
    reader.in = in;
    clear_game(reader.game);
}

// Takes a tag line in. The rest of a long one holds no moves.
static void take_tag(PgnReader& reader) {
    char rest[SCAN_LINE_LENGTH];
    read_tag(reader);
    bool complete = ends_line(reader.line);
    while (!complete && read_piece(reader.in, rest)) complete = ends_line(rest);
}

PgnEvent next_pgn_event(PgnReader& reader) {
    if (reader.game_told) clear_moves(reader.game);
    if (reader.tag_told) take_tag(reader);
    reader.game_told = reader.tag_told = false;

    bool more = true;
    while (!reader.tag_waits && more) {
        more = read_piece(reader.in, reader.line);
        if (!more) break;
        reader.tag_waits = reader.line[0] == '[' && reader.line[1] != '%';
        if (!reader.tag_waits) read_move_text(reader, reader.line);
    }
    if (reader.game.count > 0) {
        reader.game_told = true;
        return PGN_GAME;
    }
    if (!more) return PGN_END;
    reader.tag_waits = false;
    reader.tag_told = true;
    reader.comment_depth = 0;
    return PGN_TAG;
}
