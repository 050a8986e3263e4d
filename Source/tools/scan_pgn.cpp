#include "tools/scan_pgn.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "base/platform.h"
#include "base/state.h"
#include "base/text.h"
#include "board/attack.h"
#include "board/make.h"
#include "board/movetext.h"
#include "search/limits.h"
#include "search/thread.h"

constexpr char SECOND_OUTPUT[] = "tmpX.epd";
constexpr char BLANKS[] = " \t\r\n"; // what ends a move's text

constexpr int NO_RESULT = 2;
constexpr int NO_SCORE_BELOW = -9999; // scores below stand for "no value"

namespace {

// A game as far as it has been read.
struct ScannedGame {
    char white[SCAN_LINE_LENGTH];
    char black[SCAN_LINE_LENGTH];
    char result_text[SCAN_LINE_LENGTH];
    char fen[SCAN_LINE_LENGTH]; // of the FEN tag; empty for the start position
    int result;                 // 0 White has won, 1 Black, NO_RESULT
    bool skipped;               // the game was not played to its end: its moves are passed over
    int count;                  // moves held
    ScannedMove moves[SCAN_MOVES + 1]; // the score of the next one is set ahead
};

// A run over a file.
struct Scan {
    FILE* out;
    FILE* second;
    int mode;
    int games, positions;
    int comment_depth; // of braces
    size_t comment_length;
    char comment[4096]; // longer ones are cut
    ScannedGame game;
};

// A game that is being written.
struct GameWriter {
    FILE* out;
    FILE* second;
    const ScannedMove* moves;
    int count;
    int result;
    bool marked; // the move before was a blunder
    int positions;
};

} // namespace

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

// Tells whether move `index` was a blunder: the other side's scores were no clear win before it
// and are well above that for several moves from then on.
static bool is_blunder(const GameWriter& game, int index) {
    constexpr int FIRST = 12, LAST_FROM_END = 11;
    constexpr int LOST = -999, WON = 249;
    constexpr int NEXT_GAIN = 30, LASTING_GAIN = 50;

    if (index < FIRST || index > game.count - LAST_FROM_END) return false;
    auto score = [&](int ahead) -> int { return game.moves[index + ahead].score; };
    const int before = score(-1), slack = std::abs(before) / 10;
    return before >= LOST && before <= WON && score(7) >= LOST
        && score(1) - before > slack + NEXT_GAIN && score(3) - before > slack + NEXT_GAIN
        && score(7) - before > slack + LASTING_GAIN;
}

// Writes a line of the listing: number, move, and in braces the score from White's side.
static void list_move(GameWriter& game, const Position& pos, int index, int first_side) {
    const ScannedMove& move = game.moves[index];
    char fen[FEN_LENGTH];
    write_fen(pos, fen, 1);

    char score[16] = "", correction[FEN_LENGTH + 32] = "", blunder[FEN_LENGTH + 32] = "";
    if (move.score >= NO_SCORE_BELOW) {
        int for_white = pos.side == WHITE ? move.score : -move.score;
        snprintf(score, sizeof score, "%6.2f", for_white / 100.0);
        if (game.marked) {
            snprintf(correction, sizeof correction, " ! %s bm %s;", fen, move.text);
            fprintf(game.second, "%s bm %s;\n", fen, move.text);
            game.positions++;
        }
    }
    game.marked = is_blunder(game, index);
    if (game.marked) snprintf(blunder, sizeof blunder, " ? %s am %s;", fen, move.text);

    char number[16] = "    ";
    if (pos.side == WHITE) snprintf(number, sizeof number, "%3d. ", (index + first_side) / 2 + 1);
    fprintf(game.out, "%s %-6s  {%s%s%s}\n", number, move.text, score, correction, blunder);
}

static void write_training_line(GameWriter& game, const Position& pos, int index) {
    constexpr int OPENING = 20, LAST_INDEX = 279, LEFT_OUT_AT_END = 4;
    constexpr int MAX_QUIET_PLIES = 25, MAX_SCORE = 20000;

    const int score = game.moves[index].score;
    if (index >= game.count - LEFT_OUT_AT_END || index > LAST_INDEX) return;
    if ((index < OPENING && score == 0) || std::abs(score) > MAX_SCORE) return;
    if (pos.halfmoves > MAX_QUIET_PLIES || king_in_check(pos)) return;

    // Sides go by the index, whoever began: a game that Black began counts turned round.
    double value = game.result == WHITE ? 1.0 : game.result == BLACK ? 0.0 : 0.5;
    if (index & 1) value = 1.0 - value;
    char fen[FEN_LENGTH];
    write_fen(pos, fen, 0);
    fprintf(game.out, "%s ce %d; gr %0.1f;\n", fen, score, value);
    game.positions++;
}

static void write_search_line(GameWriter& game, const Position& pos, int index) {
    if (king_in_check(pos)) return;
    char fen[FEN_LENGTH];
    write_fen(pos, fen, 1);
    fprintf(game.out, "%s bm %s; ce %d;\n", fen, game.moves[index].text, game.moves[index].score);
    game.positions++;
}

static void write_rook_line(GameWriter& game, const Position& pos, int index) {
    constexpr int ONE_ROOK = 5; // phase units, which no other pieces add up to

    if (pos.material[WHITE] != ONE_ROOK || pos.material[BLACK] != ONE_ROOK) return;
    if (pawn_count(pos, WHITE) + pawn_count(pos, BLACK) != 1) return;
    double value = game.result == NO_RESULT ? 0.5 : game.result == pos.side ? 1.0 : 0.0;
    char fen[FEN_LENGTH];
    write_fen(pos, fen, 1);
    fprintf(game.out, "%s bm %s; ce %d; tune %0.5f;\n", fen, game.moves[index].text,
            game.moves[index].score, value);
    game.positions++;
}

// Writes what the mode asks for before move `index` is made. Returns false where the game ends.
static bool write_move(GameWriter& game, const Position& pos, int mode, int index, int first_side) {
    constexpr int LAST_SEARCH_INDEX = 200, DECIDED = 500;

    switch (mode) {
    case SCAN_LISTING: list_move(game, pos, index, first_side); return true;
    case SCAN_TRAINING: write_training_line(game, pos, index); return true;
    case SCAN_SEARCH:
        if (index > LAST_SEARCH_INDEX) return false;
        write_search_line(game, pos, index);
        return std::abs(game.moves[index].score) <= DECIDED;
    default: write_rook_line(game, pos, index); return true;
    }
}

static void replay_game(GameWriter& game, Position& pos, int mode) {
    const int first_side = pos.side;
    for (int i = 0; i < game.count; i++) {
        char text[SCAN_MOVE_LENGTH + 1]; // parse_move may add a character
        Move move;
        copy_text(text, game.moves[i].text, SCAN_MOVE_LENGTH);
        if (!parse_move(pos, text, &move) || !write_move(game, pos, mode, i, first_side)) return;
        make_game_move(pos, move);
    }
}

void write_game(FILE* out, FILE* second, const ScannedMove* moves, int count, const char* fen,
                int mode, int result, int& positions) {
    Position& pos = main_thread->position;
    set_position(pos, fen[0] ? fen : START_FEN);
    engine.hash_enabled = 0;
    set_limits({.depth = mode == SCAN_TRAINING ? 1 : 0});
    shell.noise = NOISE_QUIET;

    GameWriter game = {out, second, moves, count, result, false, 0};
    if (!unsearchable_reason(pos)) replay_game(game, pos, mode);
    if (mode == SCAN_LISTING) fputc('\n', out);
    positions = game.positions;
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
    game.result = NO_RESULT;
}

static void finish_game(Scan& scan) {
    ScannedGame& game = scan.game;
    if (game.count > 0) {
        int positions = 0;
        write_game(scan.out, scan.second, game.moves, game.count, game.fen, scan.mode, game.result,
                   positions);
        scan.positions += positions;
    }
    clear_moves(game);
}

// Whose turn it was in the position of the FEN tag. It may name none: then White is as good.
static int first_side(const ScannedGame& game) {
    const char* space = strchr(game.fen, ' ');
    return space && space[strspn(space, " ")] == 'b' ? BLACK : WHITE;
}

static void take_comment(Scan& scan) {
    ScannedGame& game = scan.game;
    if (game.count == 0) return;
    scan.comment[scan.comment_length] = 0;
    bool by_black = ((game.count - 1 + first_side(game)) & 1) != 0;
    game.moves[game.count - 1].score = comment_value(scan.comment, by_black);
}

static void collect_comment(Scan& scan, char c) {
    if (scan.comment_length == sizeof scan.comment - 1) return;
    scan.comment[scan.comment_length++] = strchr(BLANKS, c) ? ' ' : c;
}

static void take_move(ScannedGame& game, const char* word, size_t length) {
    ScannedMove& move = game.moves[game.count++];
    copy_text(move.text, word, std::min(length + 1, SCAN_MOVE_LENGTH));
    game.moves[game.count].score = SCORE_NO_COMMENT;
}

// Takes in a line, or a piece of one, of moves and comments.
static void read_move_text(Scan& scan, const char* line) {
    ScannedGame& game = scan.game;
    if (game.skipped || game.count >= SCAN_MOVES) return;

    for (const char* c = line; *c; c++) {
        if (*c == '{') {
            if (scan.comment_depth++ == 0) scan.comment_length = 0;
        } else if (*c == '}') {
            // A brace that closes nothing is passed over.
            if (scan.comment_depth > 0 && --scan.comment_depth == 0) take_comment(scan);
        } else if (scan.comment_depth > 0) {
            collect_comment(scan, *c);
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

static void take_result(Scan& scan, const char* line) {
    constexpr int GAMES_A_MESSAGE = 100;

    ScannedGame& game = scan.game;
    take_tag_value(line, game.result_text);
    game.result = strcmp(game.result_text, "1-0") == 0 ? WHITE
                : strcmp(game.result_text, "0-1") == 0 ? BLACK
                                                       : NO_RESULT;
    if (game.skipped) return;
    scan.games++;
    if (scan.games % GAMES_A_MESSAGE == 0) {
        printf("game %d\n", scan.games);
        fflush(stdout);
    }
}

// The names are looked for anywhere in the line, in this order, and the first one counts.
static void read_tag(Scan& scan, const char* line) {
    ScannedGame& game = scan.game;
    if (strstr(line, "Event ")) {
        clear_game(game);
    } else if (strstr(line, "White ")) {
        take_tag_value(line, game.white);
        game.fen[0] = 0;
    } else if (strstr(line, "Black ")) {
        take_tag_value(line, game.black);
    } else if (strstr(line, "Result ")) {
        take_result(scan, line);
    } else if (strstr(line, "FEN ")) {
        take_tag_value(line, game.fen);
    } else if (strstr(line, "unterminated") || strstr(line, "time forfeit")
               || strstr(line, "abandoned")) {
        game.skipped = true;
    }
}

static bool ends_line(const char* piece) {
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

static void copy_tag_line(const Scan& scan, const char* line) {
    fprintf(scan.out, "%s%s", line, ends_line(line) ? "" : "\n");
    if (strstr(line, "Round ")) fprintf(scan.out, "[Tag \"game_%d\"]\n", scan.games);
}

static void read_games(Scan& scan, FILE* in) {
    char line[SCAN_LINE_LENGTH], rest[SCAN_LINE_LENGTH];
    while (read_piece(in, line)) {
        if (line[0] != '[' || line[1] == '%') {
            read_move_text(scan, line);
            continue;
        }
        finish_game(scan);
        scan.comment_depth = 0;
        if (scan.mode == SCAN_LISTING) copy_tag_line(scan, line);
        read_tag(scan, line);
        // The rest of a long tag holds no moves.
        bool complete = ends_line(line);
        while (!complete && read_piece(in, rest)) complete = ends_line(rest);
    }
    finish_game(scan);
}

void scan_pgn(const char* in_name, const char* out_name, int mode) {
    if (out_name[0] == 0) out_name = "tmp.epd";
    if (same_file(in_name, out_name) || same_file(in_name, SECOND_OUTPUT)) return;
    FILE* in = open_plain_file(in_name, "r");
    FILE* out = in ? open_plain_file(out_name, "w") : nullptr;
    FILE* second =
        out && !same_file(out_name, SECOND_OUTPUT) ? open_plain_file(SECOND_OUTPUT, "w") : nullptr;
    if (second) {
        Scan scan = {};
        scan.out = out;
        scan.second = second;
        scan.mode = mode;
        clear_game(scan.game);
        store_shared(active_personality.Log, 0);
        read_games(scan, in);
        fputc('\n', out);
        printf("games= %d, positions= %d\n", scan.games, scan.positions);
        fflush(stdout);
    }
    for (FILE* file : {in, out, second})
        if (file) fclose(file);
}
