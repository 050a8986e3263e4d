#include "Training/match_game.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <vector>

#include "Training/game_end.h"
#include "Training/ply_record.h"
#include "Training/random_start.h"
#include "base/platform.h"
#include "base/state.h"
#include "board/make.h"
#include "board/movetext.h"
#include "board/position.h"
#include "board/types.h"
#include "search/thread.h"

// Waits until the engine says a word at the start of a line.
static bool await_word(UciEngine& child, const char* word) {
    constexpr double PATIENCE = 20.0; // seconds, for an engine that reads a large network or tables
    const double deadline = monotonic_seconds() + PATIENCE;
    std::string line;
    while (read_line(child, line, deadline))
        if (line.compare(0, strlen(word), word) == 0) return true;
    return false;
}

static void send_options(const UciEngine& child, const std::string& options) {
    size_t begin = 0;
    while (begin < options.size()) {
        size_t end = std::min(options.find(',', begin), options.size());
        const std::string option = options.substr(begin, end - begin);
        size_t sign = std::min(option.find('='), option.size());
        std::string line = "setoption name " + option.substr(0, sign);
        if (sign < option.size()) line += " value " + option.substr(sign + 1);
        send_line(child, line);
        begin = end + 1;
    }
}

// Makes an engine ready for a game, whether it runs already or not.
static bool prepare_player(MatchPlayer& player) {
    UciEngine& child = player.engine;
    if (child.pid < 0) {
        if (!start_engine(child, player.command)) return false;
        send_line(child, "uci");
        if (!await_word(child, "uciok")) return false;
        if (shell.chess960) send_line(child, "setoption name UCI_Chess960 value true");
        send_options(child, player.options);
    }
    send_line(child, "ucinewgame");
    send_line(child, "isready");
    return await_word(child, "readyok");
}

// Score of a line with "score cp N" or "score mate N"; the old one of other lines.
static int read_score(const std::string& line, int old) {
    constexpr int MATE = 10000;
    int number = 0;
    size_t at = line.find(" score ");
    if (at == std::string::npos) return old;
    if (sscanf(line.c_str() + at, " score cp %d", &number) == 1) return number;
    if (sscanf(line.c_str() + at, " score mate %d", &number) == 1) return number > 0 ? MATE : -MATE;
    return old;
}

namespace {

struct MatchClock {
    double left[2]; // seconds, by colour
};

// What an engine has said.
struct MatchAnswer {
    std::string move; // empty: nothing, or too late
    int score;        // from its own view
    double seconds;   // that it took
};

} // namespace

// Moves that the side to move makes until it gets its time anew, the next one included.
static int moves_to_go(const MatchLimit& limit, const Position& pos) {
    return limit.moves - pos.owner->undo_index / 2 % limit.moves;
}

static std::string go_command(const MatchLimit& limit, const MatchClock& clock,
                              const Position& pos) {
    constexpr double MS = 1000.0;
    if (limit.depth) return "go depth " + std::to_string(limit.depth);
    if (limit.nodes) return "go nodes " + std::to_string(limit.nodes);
    auto ms = [&](int side) { return std::max(1L, static_cast<long>(clock.left[side] * MS)); };
    const long increment = static_cast<long>(limit.increment * MS);
    char text[120];
    snprintf(text, sizeof text, "go wtime %ld btime %ld winc %ld binc %ld", ms(WHITE), ms(BLACK),
             increment, increment);
    if (limit.moves) return text + (" movestogo " + std::to_string(moves_to_go(limit, pos)));
    return text;
}

static MatchAnswer ask_engine(UciEngine& child, const std::string& position, const std::string& go,
                              double patience) {
    MatchAnswer answer = {{}, 0, 0.0};
    const double start = monotonic_seconds();
    send_line(child, position);
    send_line(child, go);
    std::string line;
    while (read_line(child, line, start + patience)) {
        if (line.compare(0, 9, "bestmove ") == 0) {
            answer.move = line.substr(9, line.find(' ', 9) - 9);
            break;
        }
        answer.score = read_score(line, answer.score);
    }
    answer.seconds = monotonic_seconds() - start;
    return answer;
}

static Move legal_move_of(const Position& pos, const std::string& text) {
    for (Move move : all_legal_moves(pos)) {
        char coordinates[MOVE_TEXT_LENGTH];
        move_to_text(pos, pos.side, move, coordinates);
        if (text == coordinates) return move;
    }
    return NULL_MOVE;
}

// Ends the game by a fault of the side to move. Its engine is started anew for the next game.
static MatchResult fault(const Position& pos, MatchPlayer& player, MatchEnd end) {
    stop_engine(player.engine);
    return {pos.side == WHITE ? RESULT_LOST : RESULT_WON, end, pos.owner->undo_index};
}

static MatchResult play_moves(MatchPlayer* const players[2], const MatchLimit& limit, Position& pos,
                              std::string position) {
    constexpr VerdictRules RULES = {.won_score = 1000,
                                    .won_plies = 4,
                                    .drawish_score = 10,
                                    .drawish_plies = 8,
                                    .drawish_from = 80};
    constexpr double PATIENCE = 60.0; // seconds for a move without a clock, or beyond it
    constexpr double MARGIN = 0.05;   // seconds that the way through two pipes may take

    MatchClock clock = {{limit.seconds, limit.seconds}};
    Verdict verdict = {};
    for (;;) {
        int result = result_by_rules(pos);
        if (result != NO_RESULT) return {result, MatchEnd::RULES, pos.owner->undo_index};
        MatchPlayer& player = *players[pos.side];
        double& left = clock.left[pos.side];
        const MatchAnswer answer =
            ask_engine(player.engine, position, go_command(limit, clock, pos), left + PATIENCE);
        if (answer.move.empty()) return fault(pos, player, MatchEnd::SILENT);
        const bool late = limit.seconds > 0.0 && answer.seconds > left + MARGIN;
        if (late) return fault(pos, player, MatchEnd::TIME);
        left = std::max(0.0, left - answer.seconds) + limit.increment;
        if (limit.moves && moves_to_go(limit, pos) == 1) left += limit.seconds;
        Move move = legal_move_of(pos, answer.move);
        if (move == NULL_MOVE) return fault(pos, player, MatchEnd::ILLEGAL);

        int ply = pos.owner->undo_index;
        result =
            result_by_score(verdict, RULES, pos.side == WHITE ? answer.score : -answer.score, ply);
        if (result != NO_RESULT) return {result, MatchEnd::SCORE, ply};
        position += (ply == 0 ? " moves " : " ") + answer.move;
        make_game_move(pos, move);
    }
}

bool play_match_game(MatchResult& result, MatchPlayer& white, MatchPlayer& black,
                     const MatchLimit& limit, const char* fen) {
    MatchPlayer* const players[2] = {&white, &black};
    static_assert(WHITE == 0 && BLACK == 1);
    for (MatchPlayer* player : players) {
        if (prepare_player(*player)) continue;
        fprintf(stderr, "no UCI engine: %s\n", player->command.c_str());
        return false;
    }
    Position& pos = main_thread->position;
    set_position(pos, fen);
    result = play_moves(players, limit, pos, std::string("position fen ") + fen + " 0 1");
    return true;
}
