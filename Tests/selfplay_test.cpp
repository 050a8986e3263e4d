// Self-play: starts of games, games by the rules, and runs that can be repeated and resumed.

#include "search_fixture.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>

#include <sys/wait.h>
#include <unistd.h>

#include "Training/data_file.h"
#include "Training/game_check.h"
#include "Training/random_start.h"
#include "Training/workers.h"

namespace {

class SelfplayStart : public SearchTest {};
class Selfplay : public SearchTest {};

const std::vector<std::string> NO_OPENINGS;
const std::vector<std::string> ONE_OPENING = {
    "r1bqkbnr/pppp1ppp/2n5/1B2p3/4P3/5N2/PPPP1PPP/RNBQK2R b KQkq -"};

// Two workers with few nodes.
SelfplaySettings small_run(uint64_t games) {
    SelfplaySettings settings = {};
    settings.game = {200, 30, 30, ONE_OPENING};
    settings.out = fresh_directory();
    settings.seed = 5;
    settings.workers = settings.at_once = 2;
    settings.hash_mb = 1;
    settings.games = games;
    return settings;
}

std::string bytes_of(const std::string& name) {
    std::ifstream file(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// The games of a worker's file.
std::vector<std::vector<PlyRecord>> games_of(const SelfplaySettings& settings, int worker) {
    std::vector<std::vector<PlyRecord>> games;
    DataFile data;
    EXPECT_TRUE(open_data_file(data, ply_file_name(settings, worker).c_str()));
    EXPECT_EQ(data.torn, 0u);
    PlyRecord record;
    for (uint64_t i = 0; i < data.records && fread(&record, sizeof record, 1, data.file); i++) {
        if (record.place & RECORD_FIRST) games.emplace_back();
        if (!games.empty()) games.back().push_back(record);
    }
    fclose(data.file);
    return games;
}

int white_score(const PlyRecord& record) {
    return record_side(record) == WHITE ? record.score : -record.score;
}

int white_result(const PlyRecord& record) {
    int result = record_result(record);
    return record_side(record) == WHITE ? result : RESULT_WON - result;
}

// Longest run of plies at the end, or with `anywhere` at any place, whose scores fit.
template <class Fits>
size_t longest_run(const std::vector<PlyRecord>& game, bool anywhere, Fits fits) {
    size_t run = 0, longest = 0;
    for (const PlyRecord& record : game) {
        run = fits(record) ? run + 1 : 0;
        longest = std::max(longest, run);
    }
    return anywhere ? longest : run;
}

// A game ends in the position that its result stands for, and not later.
void expect_due_end(const std::vector<PlyRecord>& game) {
    auto white_wins = [](const PlyRecord& record) { return white_score(record) >= 1500; };
    auto black_wins = [](const PlyRecord& record) { return white_score(record) <= -1500; };
    EXPECT_LE(longest_run(game, true, white_wins), 4u);
    EXPECT_LE(longest_run(game, true, black_wins), 4u);

    // check_game has left the position behind the last move.
    Position& pos = main_thread->position;
    bool mate =
        legal_moves(pos).empty() && square_attacked(pos, pos.king_square[pos.side], pos.side ^ 1);
    int result = white_result(game[0]);
    if (result == RESULT_WON) {
        EXPECT_TRUE(longest_run(game, false, white_wins) == 4 || (mate && pos.side == BLACK));
    } else if (result == RESULT_LOST) {
        EXPECT_TRUE(longest_run(game, false, black_wins) == 4 || (mate && pos.side == WHITE));
    } else {
        EXPECT_FALSE(mate);
    }
}

// Begins a run, and interrupts it once worker 1 has played.
void interrupt_run(const SelfplaySettings& settings) {
    fflush(nullptr);
    pid_t child = fork();
    if (child == 0) _exit(run_selfplay(settings));
    std::error_code error;
    for (int i = 0; i < 500; i++) {
        auto size = std::filesystem::file_size(ply_file_name(settings, 1), error);
        if (!error && size > 1000) break;
        usleep(10000);
    }
    kill(child, SIGTERM);
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), SELFPLAY_STOPPED);
}

} // namespace

TEST_F(SelfplayStart, NumbersOfChess960StartsAreTheUsualOnes) {
    EXPECT_EQ(chess960_start(518), START_FEN);
    EXPECT_EQ(chess960_start(0).substr(0, 8), "bbqnnrkr");
    EXPECT_EQ(chess960_start(959).substr(0, 8), "rkrnnqbb");

    std::set<std::string> all;
    for (int number = 0; number < 960; number++) {
        all.insert(chess960_start(number));
        EXPECT_EQ(unsearchable_reason(set_up(chess960_start(number).c_str())), nullptr);
        EXPECT_EQ(game().castling, 15) << number;
    }
    EXPECT_EQ(all.size(), 960u);
}

TEST_F(SelfplayStart, EightOrNineRandomPliesAreLegalAndNotTooBad) {
    Random random = {1};
    std::set<int> plies;
    std::set<uint64_t> keys;
    for (int i = 0; i < 200; i++) {
        StartKind kind = i % 2 ? StartKind::CHESS960 : StartKind::STANDARD;
        if (!draw_start(game(), random, kind, NO_OPENINGS)) continue;
        EXPECT_EQ(unsearchable_reason(game()), nullptr);
        plies.insert(main_thread->line.undo_index);
        keys.insert(game().key);
        while (main_thread->line.undo_index > 0) {
            Move move = main_thread->line.last_move;
            unmake_move(game());
            if (type_of(game().board[move_from(move)]) == KING) continue;
            EXPECT_GE(see(game(), game().side, move_from(move), move_to(move)), -350);
        }
    }
    EXPECT_EQ(plies, (std::set<int>{8, 9}));
    EXPECT_GT(keys.size(), 195u);
}

TEST_F(SelfplayStart, OpeningsGetTwoOrThreePlies) {
    Random random = {1};
    std::set<int> plies;
    for (int i = 0; i < 20; i++) {
        ASSERT_TRUE(draw_start(game(), random, StartKind::OPENING, ONE_OPENING));
        plies.insert(main_thread->line.undo_index);
    }
    EXPECT_EQ(plies, (std::set<int>{2, 3}));
}

TEST_F(SelfplayStart, SameSeedDrawsTheSameStart) {
    uint64_t keys[2];
    for (uint64_t& key : keys) {
        Random random = {99};
        draw_start(game(), random, StartKind::STANDARD, NO_OPENINGS);
        key = game().key;
    }
    EXPECT_EQ(keys[0], keys[1]);
}

TEST_F(SelfplayStart, OpeningsThatCannotBeSearchedAreLeftOut) {
    std::string name = fresh_directory() + "/openings.epd";
    std::ofstream(name) << ONE_OPENING[0] << " id \"good\";\n"
                        << "8/8/8/8/8/8/8/8 w - - id \"no kings\";\n"
                        << "# a line of words\n";
    std::vector<std::string> openings;
    EXPECT_TRUE(read_openings(openings, name.c_str()));
    EXPECT_EQ(openings, ONE_OPENING);
    EXPECT_FALSE(read_openings(openings, (name + ".missing").c_str()));
}

TEST_F(Selfplay, GamesAreWholeAndEndWhenTheyMust) {
    SelfplaySettings settings = small_run(9);
    ASSERT_EQ(run_selfplay(settings), 0);
    for (int worker = 0; worker < 2; worker++) {
        std::vector<std::vector<PlyRecord>> games = games_of(settings, worker);
        EXPECT_EQ(games.size(), worker == 0 ? 5u : 4u);
        for (const auto& game : games) {
            int bad = 0;
            EXPECT_STREQ(check_game(game.data(), static_cast<int>(game.size()), bad), nullptr)
                << bad;
            EXPECT_LE(std::abs(game[0].score), 400) << "a lopsided start";
            expect_due_end(game);
        }
    }
}

TEST_F(Selfplay, SameSeedGivesTheSameBytes) {
    SelfplaySettings first = small_run(4), second = small_run(4), other = small_run(4);
    other.seed++;
    for (const auto* settings : {&first, &second, &other}) ASSERT_EQ(run_selfplay(*settings), 0);
    for (int worker = 0; worker < 2; worker++) {
        std::string bytes = bytes_of(ply_file_name(first, worker));
        EXPECT_GT(bytes.size(), 1000u);
        EXPECT_EQ(bytes, bytes_of(ply_file_name(second, worker)));
        EXPECT_NE(bytes.substr(sizeof(DataHeader)),
                  bytes_of(ply_file_name(other, worker)).substr(sizeof(DataHeader)));
    }
    EXPECT_NE(bytes_of(ply_file_name(first, 0)), bytes_of(ply_file_name(first, 1)));
}

TEST_F(Selfplay, ResumedRunGoesOnWhereItStopped) {
    SelfplaySettings whole = small_run(6), parts = small_run(2);
    ASSERT_EQ(run_selfplay(whole), 0);
    ASSERT_EQ(run_selfplay(parts), 0);
    parts.games = 4;
    ASSERT_EQ(run_selfplay(parts), 0);
    std::string torn = ply_file_name(parts, 1);
    std::filesystem::resize_file(torn, std::filesystem::file_size(torn) - 50);
    parts.games = 6;
    ASSERT_EQ(run_selfplay(parts), 0);
    for (int worker = 0; worker < 2; worker++)
        EXPECT_EQ(bytes_of(ply_file_name(parts, worker)), bytes_of(ply_file_name(whole, worker)));
    ASSERT_EQ(run_selfplay(parts), 0) << "nothing is left to do";
    EXPECT_EQ(bytes_of(torn), bytes_of(ply_file_name(whole, 1)));
}

TEST_F(Selfplay, TurnsLeaveTheGamesAsTheyAre) {
    SelfplaySettings together = small_run(9);
    together.workers = together.at_once = 3;
    ASSERT_EQ(run_selfplay(together), 0);

    SelfplaySettings turns = together;
    turns.out = fresh_directory();
    turns.at_once = 1;
    turns.turn = 0.001; // a game at most
    ASSERT_EQ(run_selfplay(turns), 0);
    for (int worker = 0; worker < 3; worker++) {
        EXPECT_EQ(games_of(turns, worker).size(), 3u);
        EXPECT_EQ(bytes_of(ply_file_name(turns, worker)),
                  bytes_of(ply_file_name(together, worker)));
    }
}

TEST_F(Selfplay, InterruptionEndsWorkersThatWait) {
    SelfplaySettings settings = small_run(0);
    settings.minutes = 1.0;
    settings.at_once = 1;
    settings.turn = 0.01;
    interrupt_run(settings);
    EXPECT_FALSE(games_of(settings, 0).empty());
    EXPECT_FALSE(games_of(settings, 1).empty());
}

TEST_F(Selfplay, OtherSettingsAreRefusedInOneLine) {
    SelfplaySettings settings = small_run(2);
    ASSERT_EQ(run_selfplay(settings), 0);
    const std::string name = ply_file_name(settings, 0), before = bytes_of(name);
    auto refusal = [&name](const SelfplaySettings& other) {
        testing::internal::CaptureStderr();
        EXPECT_EQ(run_selfplay(other), 1);
        std::string text = testing::internal::GetCapturedStderr();
        return text.substr(0, name.size()) == name ? text.substr(name.size()) : text;
    };
    SelfplaySettings other = settings;
    other.games = 4;
    other.game.nodes = 100;
    EXPECT_EQ(refusal(other), " was made with nodes 200, not 100\n");
    other.game.nodes = 200;
    other.hash_mb = 2;
    EXPECT_EQ(refusal(other), " was made with hash 1, not 2\n");
    other.hash_mb = 1;
    other.game.openings = {START_FEN};
    EXPECT_EQ(refusal(other).substr(0, 24), " was made with openings ");
    other.game.openings.clear();
    EXPECT_EQ(refusal(other), " was made with openings-share 30, not 0\n");
    other = settings;
    testing::internal::CaptureStdout();
    ASSERT_TRUE(choose_evaluation("embedded"));
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(refusal(other).substr(0, 36), " was made with network by hand, not ");
    EXPECT_EQ(bytes_of(name), before);
}

TEST_F(Selfplay, GoalOfPositionsEndsTheRun) {
    SelfplaySettings settings = small_run(0);
    settings.positions = 100;
    ASSERT_EQ(run_selfplay(settings), 0);
    for (int worker = 0; worker < 2; worker++) {
        std::vector<std::vector<PlyRecord>> games = games_of(settings, worker);
        size_t positions = 0;
        for (const auto& game : games) positions += game.size();
        EXPECT_GE(positions, 50u);
        EXPECT_LT(positions - games.back().size(), 50u);
    }
}

TEST_F(Selfplay, InterruptionLeavesWholeGames) {
    SelfplaySettings settings = small_run(0);
    settings.minutes = 1.0;
    interrupt_run(settings);
    for (int worker = 0; worker < 2; worker++)
        for (const auto& game : games_of(settings, worker)) {
            int bad = 0;
            EXPECT_STREQ(check_game(game.data(), static_cast<int>(game.size()), bad), nullptr);
        }
}

TEST_F(Selfplay, PlaysWithTheEvaluationOfChoice) {
    SelfplaySettings by_hand = small_run(2), by_network = small_run(2);
    ASSERT_EQ(run_selfplay(by_hand), 0);

    testing::internal::CaptureStdout();
    EXPECT_TRUE(choose_evaluation("embedded"));
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(relaxed(shell.use_nn), 1);
    ASSERT_EQ(run_selfplay(by_network), 0);
    EXPECT_NE(bytes_of(ply_file_name(by_hand, 0)), bytes_of(ply_file_name(by_network, 0)));

    EXPECT_FALSE(choose_evaluation("no such file"));
    EXPECT_TRUE(choose_evaluation("hce"));
    EXPECT_EQ(relaxed(shell.use_nn), 0);
}

TEST_F(Selfplay, UnusableDirectoryFails) {
    SelfplaySettings settings = small_run(2);
    settings.out += "/file";
    std::ofstream(settings.out) << "not a directory";
    testing::internal::CaptureStderr();
    EXPECT_EQ(run_selfplay(settings), 1);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("can't be opened"), std::string::npos);
}
