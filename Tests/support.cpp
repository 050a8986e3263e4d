#include "support.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <system_error>

#include <gtest/gtest.h>

#include "board/legal.h"
#include "board/line.h"
#include "board/make.h"
#include "board/movegen.h"
#include "board/movetext.h"
#include "search/hash.h"
#include "search/limits.h"
#include "search/pool.h"
#include "search/thread.h"
#include "shell/think.h"

Position& game() { return main_thread->position; }

Position& set_up(const char* fen) {
    set_position(game(), fen);
    reset_search_stack(*main_thread);
    return game();
}

std::vector<MoveEntry> all_moves(Position& pos) {
    std::vector<MoveEntry> moves;
    MoveEntry list[LONGEST_ODD_LIST];
    moves.assign(list, gen_list(pos, list));
    return moves;
}

std::vector<Move> legal_moves(Position& pos) {
    std::vector<Move> moves;
    for (const MoveEntry& entry : all_moves(pos))
        if (legal_move(pos, pos.side, entry.move)) moves.push_back(entry.move);
    return moves;
}

Move find_move(Position& pos, const std::string& text) {
    for (Move move : legal_moves(pos)) {
        char name[MOVE_TEXT_LENGTH];
        move_to_text(pos, pos.side, move, name);
        if (text == name) return move;
    }
    return NULL_MOVE;
}

void play(Position& pos, const std::string& moves) {
    size_t start = 0;
    while (start < moves.size()) {
        size_t end = moves.find(' ', start);
        std::string word = moves.substr(start, end - start);
        start = end == std::string::npos ? moves.size() : end + 1;
        if (word.empty()) continue;
        Move move = find_move(pos, word);
        ASSERT_NE(move, NULL_MOVE) << word;
        make_game_move(pos, move);
    }
}

int play_random(Position& pos, Random& random, int plies) {
    int played = 0;
    while (played < plies && pos.owner->undo_index < UNDO_GAME - 1) {
        std::vector<Move> moves = legal_moves(pos);
        if (moves.empty()) break;
        make_game_move(pos, moves[next_random(random) % moves.size()]);
        played++;
    }
    return played;
}

std::string random_fen(Random& random) {
    char fen[FEN_LENGTH];
    set_up(START_FEN);
    play_random(game(), random, 10 + random_below(random, 100));
    write_fen(game(), fen, 0);
    return fen;
}

uint64_t search_nodes(const char* fen, int depth, uint64_t nodes) {
    set_up(fen);
    hash_clear();
    engine.hash_age = 0;
    set_limits(
        {.depth = nodes ? UNLIMITED_DEPTH : depth, .nodes = nodes, .move_time = UNLIMITED_SECONDS});
    shell.noise = NOISE_QUIET;
    search_here();
    sum_thread_counters();
    set_limits({.depth = UNLIMITED_DEPTH, .nodes = UNLIMITED_NODES});
    return engine.search_totals[TOTAL_NODES];
}

std::string shared_data(const std::string& name) {
    const char* folder = getenv("MIRD_TEST_DATA");
    return folder && folder[0] ? std::string(folder) + "/" + name : "";
}

std::vector<std::string> odd_files() {
    const std::string directory = fresh_directory(), pipe = directory + "/pipe";
    std::vector<std::string> names = {directory, null_device()};
    if (make_named_pipe(pipe)) names.insert(names.end(), {pipe, "/dev/zero"});
    return names;
}

bool make_link(const std::string& target, const std::string& name) {
    std::error_code error;
    std::filesystem::create_symlink(target, name, error);
    return !error;
}

std::vector<std::string> read_lines(const std::string& path) {
    std::vector<std::string> lines;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) lines.push_back(line);
    return lines;
}

namespace {

// Directories made by tests, removed when the process ends.
struct Directories {
    std::vector<std::string> made;
    ~Directories() {
        for (const std::string& name : made) {
            std::error_code ignored;
            std::filesystem::remove_all(name, ignored);
        }
    }
};
Directories directories;

} // namespace

std::string fresh_directory() {
    static Random random = {
        static_cast<uint64_t>(std::chrono::system_clock::now().time_since_epoch().count())};
    const std::string start = (std::filesystem::temp_directory_path() / "mird-test-").string();
    for (int attempt = 0; attempt < 100; attempt++) {
        const std::string name = start + std::to_string(next_random(random));
        std::error_code error;
        if (!std::filesystem::create_directory(name, error)) continue;
        directories.made.push_back(name);
        return name;
    }
    ADD_FAILURE() << "no directory can be made at " << start;
    return "";
}
