#include "tools/scan_pgn.h"

#include <cstdlib>
#include <cstring>

#include "base/files.h"
#include "base/state.h"
#include "base/text.h"
#include "board/attack.h"
#include "board/make.h"
#include "board/movetext.h"
#include "board/position.h"
#include "board/types.h"
#include "search/limits.h"
#include "search/thread.h"

constexpr char SECOND_OUTPUT[] = "tmpX.epd";
constexpr int NO_SCORE_BELOW = -9999; // scores below stand for "no value"

namespace {

// A run over a file.
struct Scan {
    FILE* out;
    FILE* second;
    int mode;
    int games, positions;
    PgnReader reader;
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
    double value = game.result == SCAN_NO_RESULT ? 0.5 : game.result == pos.side ? 1.0 : 0.0;
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

static void copy_tag_line(const Scan& scan, const char* line) {
    fprintf(scan.out, "%s%s", line, ends_line(line) ? "" : "\n");
    if (strstr(line, "Round ")) fprintf(scan.out, "[Tag \"game_%d\"]\n", scan.games);
}

static void write_scanned(Scan& scan, const ScannedGame& game) {
    int positions = 0;
    write_game(scan.out, scan.second, game.moves, game.count, game.fen, scan.mode, game.result,
               positions);
    scan.positions += positions;
}

static void tell_games(Scan& scan) {
    constexpr int GAMES_A_MESSAGE = 100;

    if (scan.games == scan.reader.games) return;
    scan.games = scan.reader.games;
    if (scan.games % GAMES_A_MESSAGE != 0) return;
    printf("game %d\n", scan.games);
    fflush(stdout);
}

static void read_games(Scan& scan, FILE* in) {
    begin_pgn(scan.reader, in);
    for (PgnEvent event = PGN_TAG; event != PGN_END;) {
        event = next_pgn_event(scan.reader);
        tell_games(scan);
        if (event == PGN_GAME) write_scanned(scan, scan.reader.game);
        if (event == PGN_TAG && scan.mode == SCAN_LISTING) copy_tag_line(scan, scan.reader.line);
    }
}

// Reads all games and writes what the mode asks for. Returns false if the input broke off.
static bool scan_games(const char* in_name, FILE* in, FILE* out, FILE* second, int mode) {
    Scan scan = {};
    scan.out = out;
    scan.second = second;
    scan.mode = mode;
    store_shared(active_personality.Log, 0);
    read_games(scan, in);
    fputc('\n', out);
    printf("games= %d, positions= %d\n", scan.games, scan.positions);
    fflush(stdout);
    return finish_input(in, in_name);
}

void scan_pgn(const char* in_name, const char* out_name, int mode) {
    if (out_name[0] == 0) out_name = "tmp.epd";
    if (refuse_same_file(in_name, out_name) || refuse_same_file(in_name, SECOND_OUTPUT)
        || refuse_same_file(out_name, SECOND_OUTPUT))
        return;
    FILE* in = open_input(in_name);
    if (!in) return;
    OutputFile out, second;
    if (!open_output(out, out_name)) {
        fclose(in);
        return;
    }
    if (!open_output(second, SECOND_OUTPUT)) {
        abandon_output(out);
        fclose(in);
        return;
    }
    // Both outputs are of one run, or none is replaced.
    if (scan_games(in_name, in, out.stream, second.stream, mode) && finish_output(out)) {
        finish_output(second);
    } else {
        if (out.stream) abandon_output(out);
        abandon_output(second);
    }
}
