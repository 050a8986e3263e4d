#include "shell/game_file.h"

#include <cctype>
#include <cstdio>
#include <cstring>

#include "base/files.h"
#include "base/platform.h"
#include "base/platform_files.h"
#include "base/print.h"
#include "base/text.h"
#include "board/line.h"
#include "board/movetext.h"
#include "shell/game_record.h"

constexpr size_t MOVE_WORD_LENGTH = 32; // characters of a word that may be a move
constexpr size_t LINE_LENGTH = 1024;    // room for 1,023 characters of a line of a game
constexpr size_t FEN_TAG_LENGTH = LINE_LENGTH;

void find_test_position(Position& pos, const char* id) {
    constexpr size_t EPD_LENGTH = 255; // room for 254 characters of a line
    constexpr size_t MIN_LENGTH = 9;   // of a line that may hold a position

    char wanted[EPD_LENGTH], line[EPD_LENGTH] = "get";
    snprintf(wanted, sizeof wanted, "id \"%s\"", id);
    if (FILE* file = open_plain_file("test.epd", "r")) {
        bool found = false;
        while (!found && fgets(line, sizeof line, file))
            found = line[0] != ';' && line[0] != ' ' && strstr(line, wanted);
        if (!found) line[0] = 0;
        fclose(file);
    }
    line[strcspn(line, "\r\n")] = 0;
    Print(line);
    if (strlen(line) >= MIN_LENGTH) set_position(pos, line);
}

namespace {

// State of reading a PGN file, which goes on from line to line.
struct GameReader {
    const char* tag; // text of the wanted game, empty for none
    bool tag_found;
    int game;        // number of the current game; 0 before the first
    int wanted;      // number of the wanted one
    int depth;       // of comment braces
    char kept[8192]; // move text outside comments that has not been played yet
    size_t kept_length;
};

} // namespace

// Sets the position of a FEN tag: the text between the first pair of quotes.
static void set_tag_position(Position& pos, const char* line) {
    const char* start = strchr(line, '"');
    const char* end = start ? strchr(start + 1, '"') : nullptr;
    if (!end) return;
    char fen[FEN_TAG_LENGTH] = "";
    copy_text(fen, start + 1, static_cast<size_t>(end - start));
    set_position(pos, fen);
}

// Keeps what lies outside comments. The brace that ends a comment is kept too, and parts words.
static void keep_moves(GameReader& reader, const char* line) {
    for (const char* c = line; *c; c++) {
        if (*c == '{') reader.depth++;
        if (*c == '}') reader.depth--;
        if (reader.depth == 0 && reader.kept_length < sizeof reader.kept - 1)
            reader.kept[reader.kept_length++] = *c;
    }
    reader.kept[reader.kept_length] = 0;
}

// Plays the words of a text that have a letter, from that letter on: move numbers and results
// have none. Returns false at the first that is no move.
static bool play_words(Position& pos, char* words) {
    char* rest = nullptr;
    for (char* word = strtok_r(words, " ", &rest); word; word = strtok_r(nullptr, " ", &rest)) {
        while (*word && !isalpha(static_cast<unsigned char>(*word))) word++;
        if (*word == 0) continue;

        char text[MOVE_WORD_LENGTH + 1], parsed[MOVE_WORD_LENGTH + 2];
        Move move;
        copy_text(text, word, sizeof text);
        copy_text(parsed, text, sizeof parsed);
        if (!parse_move(pos, parsed, &move)) {
            PrintFormat("can't parse move '%s'", text);
            return false;
        }
        play_move(pos, move);
    }
    return true;
}

// Takes one line in. Returns false when reading is over.
static bool read_game_line(Position& pos, GameReader& reader, char* line) {
    if (strstr(line, "[Event ")) reader.game++;
    if (reader.tag[0] && !reader.tag_found && strstr(line, reader.tag)) {
        reader.tag_found = true;
        reader.wanted = reader.game;
    }
    if (reader.game != reader.wanted) return reader.game < reader.wanted;

    if (strstr(line, "[FEN ")) set_tag_position(pos, line);
    if (line[0] == '[' && reader.depth == 0) return true;
    size_t length = strlen(line);
    if (length > 0) line[length - 1] = 0;
    keep_moves(reader, line);
    if (reader.depth != 0) return true;
    reader.kept_length = 0;
    return play_words(pos, reader.kept);
}

// Ends of lines as other systems write them.
static void unify_line_end(char* line) {
    size_t length = strlen(line);
    if (length >= 2 && strcmp(line + length - 2, "\r\n") == 0) strcpy(line + length - 2, "\n");
}

bool load_game(Position& pos, const char* file_name, const char* tag) {
    constexpr int MAX_GAMES = 100000; // looked through for a tag

    FILE* file = open_plain_file(file_name, "r");
    if (!file) return false;
    set_position(pos, START_FEN);

    static GameReader reader;
    reader = {};
    reader.tag = tag;
    reader.wanted = tag[0] ? MAX_GAMES : 1;
    char line[LINE_LENGTH];
    bool reading = true;
    while (reading && fgets(line, sizeof line, file)) {
        unify_line_end(line);
        reading = read_game_line(pos, reader, line);
    }
    fclose(file);
    pos.owner->undo_stack[pos.owner->undo_index].move = NULL_MOVE;
    return true;
}

void save_game(Position& pos) {
    constexpr char NAME[] = "tmp.pgn";
    constexpr int MOVES_IN_LINE = 11;

    FILE* file = open_plain_file(NAME, "a");
    if (!file) return;
    const int64_t old_size = file_size(file);
    const int length = pos.owner->undo_index;
    rewind_game(pos);
    fprintf(file, "[Event \"Unknown\"]\n");
    for (int i = 1; i <= length; i++) {
        char forms[4][MOVE_TEXT_LENGTH];
        move_to_forms(pos, pos.owner->undo_stack[i - 1].move, forms[0], forms[1], forms[2],
                      forms[3]);
        fprintf(file, "%s ", forms[1]);
        if (i % MOVES_IN_LINE == 0) fprintf(file, "\n");
        replay_move(pos);
    }
    fprintf(file, "\n\n");
    finish_addition(file, NAME, old_size);
}
