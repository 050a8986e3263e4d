// Scores by the network: its inputs, the accumulator, the output.
//
// Pins internals: fields of EvalState::nn_cache and the rule when an accumulator is filled anew.

#include "nn_support.h"

#include "board/make.h"
#include "eval/evaluate.h"
#include "eval/nn_kernels.h"
#include "search/pool.h"
#include "search/thread.h"

namespace {

using NetworkInputs = NetworkTest;
using NetworkScore = NetworkTest;
using NetworkAccumulator = NetworkTest;
using NetworkNoise = NetworkTest;
using NetworkShape = NetworkTest;
using LongNetwork = NetworkTest;

// Kings on all pairs of wings, passed pawns, every kind of piece, both sides to move.
const char* const FENS[] = {
    START_FEN,
    MIDDLEGAME_FEN,
    "2kr3r/ppp2ppp/2n1bn2/2bpp3/4P3/2NPBN2/PPP2PPP/R4RK1 b - -",
    "2kr3r/ppp2ppp/2n1bn2/2bpp3/4P3/2NPBN2/PPP2PPP/2KR3R w - -",
    "2kr3r/ppp2ppp/2n1bn2/2bpp3/4P3/2NPBN2/PPP2PPP/2KR3R b - -",
    "r2q1rk1/5ppp/3b4/1nnP2P1/1Q3BbP/Pp4N1/1P4B1/1KN2R1R b - -",
    "r7/5pk1/5p2/2p5/pp6/1P1B1KPN/P6P/8 b - -",
    "4k3/pppp4/8/PPPP4/4pppp/8/4PPPP/3K4 w - -",
    "4k3/pppp4/8/PPPP4/4pppp/8/4PPPP/3K4 b - -",
    "8/1P3k2/8/p2P4/5p1p/2p5/1K4P1/8 w - -",
    "qqqqqkq1/8/8/8/8/8/8/1K1QQQQQ w - -",
};

// Tells whether one input is active: it alone has weights.
bool is_active(int input, const char* fen, NetworkFile shape = {}) {
    shape.hidden1 = 1;
    NetworkFile net = empty_network(shape);
    net.weights[static_cast<size_t>(input)] = 5000;
    for (size_t row = 0; row < 3; row++) net.weights[net.w2() + row] = 5000;
    std::string name = write_file(fresh_directory() + "/one.nn", bytes_of(net));
    EXPECT_EQ(load_network(name).size(), 1u);
    Position& pos = set_up(fen);
    nn_score(pos);
    return nn_probability(thread_of(pos).eval) > 0.6f;
}

} // namespace

TEST_F(NetworkInputs, KingsOnBothWingsTakeTheSecondSet) {
    const char fen[] = "4k3/8/8/8/8/8/8/3K4 w - -";
    EXPECT_TRUE(is_active(896 + (3 ^ 7), fen)) << "own king mirrored to e1";
    EXPECT_EQ(main_thread->eval.nn_set, 1);
    EXPECT_TRUE(is_active(896 + 448 + 60, fen)) << "the other's stands";
    EXPECT_FALSE(is_active(3 ^ 7, fen));

    const char black[] = "4k3/8/8/8/8/8/8/3K4 b - -";
    EXPECT_TRUE(is_active(896 + 4, black)) << "seen from Black's end";
    EXPECT_TRUE(is_active(896 + 448 + (59 ^ 7), black));
}

TEST_F(NetworkInputs, WithOneSetThereIsNoSecond) {
    NetworkFile shape;
    shape.board_inputs = 1791;
    EXPECT_TRUE(is_active(3 ^ 7, "4k3/8/8/8/8/8/8/3K4 w - -", shape));
    EXPECT_EQ(main_thread->eval.nn_set, 0);
}

TEST_F(NetworkInputs, MasksFollowTheKingsAndTheSideToMove) {
    const char queen_side[] = "2k5/8/8/2n5/8/2N5/8/2K5 w - -";
    EXPECT_TRUE(is_active(2 * 64 + (18 ^ 7), queen_side));
    EXPECT_TRUE(is_active(448 + 2 * 64 + (34 ^ 7), queen_side));
    EXPECT_EQ(main_thread->eval.nn_set, 0);
    const char king_side[] = "6k1/8/8/2n5/8/2N5/8/6K1 b - -";
    EXPECT_TRUE(is_active(2 * 64 + (34 ^ 0x38), king_side));
    EXPECT_TRUE(is_active(448 + 2 * 64 + (18 ^ 0x38), king_side));
}

TEST_F(NetworkInputs, PassedPawnsAreInTwoPlanes) {
    const char fen[] = "4k3/8/1p6/1P6/8/3pP3/8/4K3 w - -";
    EXPECT_TRUE(is_active(64 + E1 + 16, fen));
    EXPECT_TRUE(is_active(6 * 64 + E1 + 16, fen)) << "a pawn level with it does not count";
    EXPECT_TRUE(is_active(448 + 6 * 64 + D1 + 16, fen));
    EXPECT_FALSE(is_active(6 * 64 + B1 + 32, fen)) << "b6 stands ahead";
    EXPECT_FALSE(is_active(6 * 64 + B1 + 32, "4k3/2p5/8/1P6/8/8/8/4K3 w - -"));
    EXPECT_TRUE(is_active(6 * 64 + B1 + 32, "4k3/3p4/8/1P6/8/8/8/4K3 w - -"));
    EXPECT_FALSE(is_active(6 * 64 + H1 + 24, "4k3/6p1/8/8/7P/8/8/4K3 w - -"));
    EXPECT_TRUE(is_active(6 * 64 + H1 + 24, "4k3/p7/8/8/7P/8/8/4K3 w - -")) << "no wrap";
}

TEST_F(NetworkInputs, MaterialCountsByKind) {
    const char seven_pawns[] = "4k3/8/8/8/8/8/PPPPPPP1/4K3 w - -";
    EXPECT_TRUE(is_active(1792 + 10, seven_pawns)) << "a difference of 7 counts as 5";
    EXPECT_TRUE(is_active(1792 + 13, seven_pawns));
    EXPECT_TRUE(is_active(1792 + 0, "4k3/8/8/8/8/8/PPPPPPP1/4K3 b - -"));
    const char pieces[] = "qqqrbk2/8/8/8/8/8/8/NNN2K2 w - -";
    EXPECT_TRUE(is_active(1792 + 5, pieces));
    EXPECT_TRUE(is_active(1792 + 15, pieces)) << "three knights count as two";
    EXPECT_TRUE(is_active(1792 + 17, pieces));
    EXPECT_TRUE(is_active(1792 + 22, pieces));
    EXPECT_TRUE(is_active(1792 + 26, pieces));
}

TEST_F(NetworkInputs, OlderNetworksHaveOneMaterialInput) {
    NetworkFile old;
    old.version = 535;
    const char knight_up[] = "4k3/8/8/8/8/8/8/1N2K3 w - -";
    EXPECT_TRUE(is_active(1792 + 19, knight_up, old));
    EXPECT_FALSE(is_active(1792 + 5, knight_up, old)) << "no equal pawns";
    EXPECT_TRUE(is_active(1792 + 29, "4k3/8/8/8/8/8/8/QQN1K3 w - -", old));
    EXPECT_TRUE(is_active(1792 + 3, "4k3/8/8/8/8/8/8/QQN1K3 b - -", old));
    old.material_inputs = 31;
    EXPECT_FALSE(is_active(1792 + 19, knight_up, old)) << "none below 32 inputs";
}

TEST_F(NetworkInputs, TheLastVersionOfTheOldSchemeIs535) {
    NetworkFile net;
    net.version = 536;
    EXPECT_TRUE(is_active(1792 + 14, "4k3/8/8/8/8/8/8/1N2K3 w - -", net));
}

TEST_F(NetworkScore, IsThatOfAPlainComputation) {
    NetworkFile net = random_network();
    load(net);
    for (const char* fen : FENS) {
        Position& pos = set_up(fen);
        int score = nn_score(pos);
        double z = plain_output(net, pos);
        EXPECT_NEAR(output_of(thread_of(pos)), z, 1e-4) << fen;
        EXPECT_NEAR(score, z * 166.66667, 1.0) << fen;
    }
}

TEST_F(NetworkScore, PawnEndingsHaveARowOfTheirOwn) {
    load(constant_rows(5000, -5000, 2500));
    Position& pawns = set_up("4k3/pppppppp/8/8/8/8/PPPPPPPP/4K3 w - -");
    EXPECT_EQ(nn_score(pawns), 83) << "0.5";
    EXPECT_EQ(main_thread->eval.nn_output_kind, 2);

    Position& knight = set_up("4k3/pppppppp/8/8/8/8/PPPPPPPP/1N2K3 w - -");
    nn_score(knight);
    EXPECT_NEAR(output_of(*main_thread), 0.952 * -1.0 + 0.048 * 1.0, 1e-6);
    EXPECT_EQ(main_thread->eval.nn_output_kind, 1);
}

TEST_F(NetworkScore, TheFirstRowCountsAloneFromSixtyThreeUnits) {
    load(constant_rows(5000, -5000, 0));
    nn_score(set_up(START_FEN)); // 64 units
    EXPECT_NEAR(output_of(*main_thread), 1.0, 1e-6);
    nn_score(set_up("rnbqkbnr/8/8/8/8/8/8/QQRNKBN1 w - -")); // 32 and 34
    EXPECT_NEAR(output_of(*main_thread), 1.0, 1e-6);
    nn_score(set_up("rnbqkbnr/8/8/8/8/8/8/QRBNK1R1 w - -")); // 32 and 26: 0.928
    EXPECT_NEAR(output_of(*main_thread), 0.928 - 0.072, 1e-6);
}

TEST_F(NetworkScore, IsLimitedAtBothEnds) {
    load(constant_rows(25000, 25000, 25000)); // 5
    EXPECT_EQ(nn_score(set_up(START_FEN)), 833);
    NetworkFile net = constant_rows(25000, 25000, 25000);
    net.weights[net.extras() + 1] = 25000; // 25
    load(net);
    EXPECT_EQ(nn_score(set_up(START_FEN)), 1919);
    net = constant_rows(-25000, -25000, -25000);
    net.weights[net.extras() + 1] = 25000;
    load(net);
    EXPECT_EQ(nn_score(set_up(START_FEN)), -1919);
}

TEST_F(NetworkScore, NegativeUnitsLeak) {
    NetworkFile net = constant_rows(5000, 5000, 5000);
    net.weights[net.extras() + 1] = -20000; // -4, leaking 0.25
    load(net);
    EXPECT_EQ(nn_score(set_up(START_FEN)), -41) << "-0.25 is -41.67, cut";
}

TEST_F(NetworkScore, IsTheSameWithColoursExchanged) {
    load(random_network());
    Random random = {11};
    for (int i = 0; i < 300; i++) {
        std::string fen = random_fen(random);
        Position& pos = set_up(fen.c_str());
        nn_score(pos);
        float probability = nn_probability(main_thread->eval);

        std::string board = fen.substr(0, fen.find(' ')), turned;
        for (size_t end = board.size(); end != std::string::npos;) {
            size_t slash = end ? board.rfind('/', end - 1) : std::string::npos;
            size_t from = slash == std::string::npos ? 0 : slash + 1;
            turned += (turned.empty() ? "" : "/") + board.substr(from, end - from);
            end = slash;
        }
        for (char& c : turned)
            if (isalpha(c)) c = static_cast<char>(c ^ 0x20);
        turned += pos.side == WHITE ? " b - -" : " w - -";
        nn_score(set_up(turned.c_str()));
        EXPECT_EQ(nn_probability(main_thread->eval), probability) << fen;
    }
}

TEST_F(NetworkAccumulator, ShallowPliesStartAnew) {
    load(random_network());
    Position& pos = set_up(MIDDLEGAME_FEN);
    SearchThread& thread = *main_thread;
    int first = nn_score(pos);
    float probability = nn_probability(thread.eval);
    thread.eval.nn_cache[WHITE].acc[0] = 1e6f; // would show
    EXPECT_EQ(nn_score(pos), first);
    EXPECT_EQ(nn_probability(thread.eval), probability);

    thread.line.ply = 3;
    uint64_t hits = relaxed(thread.eval_hits), probes = relaxed(thread.eval_probes);
    EXPECT_EQ(NnEval(thread), first);
    EXPECT_EQ(relaxed(thread.eval_hits), hits + 1) << "from the eval hash";
    EXPECT_EQ(relaxed(thread.eval_probes), probes + 1);

    eval_hash_entry(thread.eval, thread.position).key ^= 1;
    EXPECT_NEAR(NnEval(thread), first, 1);
    EXPECT_EQ(relaxed(thread.eval_hits), hits + 1);
    EXPECT_EQ(eval_hash_entry(thread.eval, thread.position).key, pos.key);
    EXPECT_EQ(eval_hash_entry(thread.eval, thread.position).nn_score, thread.eval.nn_score);
}

TEST_F(NetworkAccumulator, DeeperPliesGoOnFromTheLastPosition) {
    load(random_network());
    SearchThread& thread = *main_thread;
    nn_score(set_up(MIDDLEGAME_FEN));
    thread.eval.nn_cache[WHITE].acc[0] += 0.5f;
    float kept = thread.eval.nn_cache[WHITE].acc[0];

    // The same position again: nothing to add, and the changed sum stays.
    eval_hash_entry(thread.eval, thread.position).key = 0;
    thread.line.ply = 2;
    NnEval(thread);
    EXPECT_EQ(thread.eval.nn_cache[WHITE].acc[0], kept);

    // Nine squares differ: it is filled anew.
    set_up("r1bq1rk1/pp2bppp/2n1pn2/2pp4/8/8/8/4K2R w - -");
    thread.line.ply = 2;
    NnEval(thread);
    NetworkFile net = random_network();
    EXPECT_NEAR(output_of(thread), plain_output(net, thread.position), 1e-4);
}

TEST_F(NetworkAccumulator, AnotherWeightSetIsFilledAnew) {
    NetworkFile net = random_network();
    load(net);
    nn_score(set_up("4k3/pppp4/8/8/8/8/PPPP4/R3K3 w - -"));
    Position& pos = set_up("4k3/pppp4/8/8/8/8/PPPP4/2KR4 w - -");
    pos.owner->ply = 2;
    NnEval(thread_of(pos));
    EXPECT_EQ(thread_of(pos).eval.nn_set, 1);
    EXPECT_NEAR(output_of(thread_of(pos)), plain_output(net, pos), 1e-4);
}

TEST_F(NetworkAccumulator, BothKingsChangingWingsKeepsTheSet) {
    NetworkFile net = random_network();
    load(net);
    nn_score(set_up("4k3/pppp4/8/8/8/8/PPPP4/R3K3 w - -"));
    Position& pos = set_up("3k4/pppp4/8/8/8/8/PPPP4/R2K4 w - -");
    pos.owner->ply = 2;
    NnEval(thread_of(pos));
    EXPECT_NEAR(output_of(thread_of(pos)), plain_output(net, pos), 1e-4);
}

TEST_F(NetworkAccumulator, AnotherNetworkIsNeverMixedIn) {
    SearchThread& thread = *main_thread;
    for (int hidden1 : {8, 100, 3, 640, 8}) {
        NetworkFile shape;
        shape.hidden1 = static_cast<uint16_t>(hidden1);
        if (hidden1 == 100) shape.hidden2 = 16;
        NetworkFile net = random_network(shape, hidden1);
        load(net);
        refresh_eval_tables(thread);
        Position& pos = set_up(MIDDLEGAME_FEN);
        thread.line.ply = 5;
        NnEval(thread);
        EXPECT_NEAR(output_of(thread), plain_output(net, pos), 1e-4) << hidden1;
    }
}

// A walk as a search takes it: forward and back, each position by its difference from the last.
TEST_F(LongNetwork, DifferencesEqualFullSums) {
    NetworkFile shape;
    shape.hidden1 = 64;
    load(random_network(shape));
    SearchThread& walker = *main_thread;
    SearchThread* fresh = allocate_search_thread();
    ASSERT_NE(fresh, nullptr);
    Random random = {5};
    double worst = 0.0;
    for (int game_number = 0, positions = 0; positions < 100000; game_number++) {
        Position& pos = set_up(START_FEN);
        play_random(pos, random, random_below(random, 100));
        const int root = walker.line.undo_index;
        for (int i = 0; i < 1000; i++, positions++) {
            std::vector<Move> moves = legal_moves(pos);
            bool back = walker.line.undo_index > root
                     && (moves.empty() || walker.line.undo_index > root + 40
                         || random_below(random, 100) < 45);
            if (back) unmake_move(pos);
            else if (moves.empty()) break;
            else
                make_move(pos, moves[static_cast<size_t>(
                                   random_below(random, static_cast<int>(moves.size())))]);

            eval_hash_entry(walker.eval, walker.position).key = 0;
            walker.line.ply = 3;
            NnEval(walker);
            fresh->position = pos;
            fresh->position.owner = &fresh->line;
            fresh->line.ply = 1;
            NnEval(*fresh);
            worst = std::max(worst, std::abs(output_of(walker) - output_of(*fresh)));
        }
    }
    EXPECT_LT(worst, 0.001);
    free_search_thread(fresh);
}

// What a search evaluates, compared with full sums each time.
namespace {

struct SumCheck {
    const NnKernels* kernels; // those in use
    NetworkFile shape;
    int positions;
    double worst; // difference of an output
};
SumCheck sum_check;

void check_output(float result[2], float* sums, const float* const* changed, int removed, int added,
                  const float* row0, const float* row1, int count) {
    std::vector<const float*> rows;
    const SearchThread& thread = *search_threads[0].load();
    for (int input : plain_inputs(sum_check.shape, thread.position))
        rows.push_back(nn_header.w1 + size_t{static_cast<unsigned>(input)} * nn_header.hidden1);
    std::vector<float> full(static_cast<size_t>(count), nn_header.extras[1]);
    sum_check.kernels->update(full.data(), rows.data(), 0, static_cast<int>(rows.size()), count);
    float expected[2];
    sum_check.kernels->output(expected, full.data(), row0, row1, count);
    sum_check.kernels->update_output(result, sums, changed, removed, added, row0, row1, count);
    for (int i : {0, 1})
        sum_check.worst =
            std::max(sum_check.worst, static_cast<double>(std::abs(result[i] - expected[i])));
    sum_check.positions++;
}

} // namespace

TEST_F(LongNetwork, DifferencesEqualFullSumsInSearches) {
    load_network("embedded");
    ASSERT_TRUE(NnSelectPath(""));
    sum_check = {nn_kernels, {}, 0, 0.0};
    NnKernels checking = *nn_kernels;
    checking.update_output = check_output;
    nn_kernels = &checking;
    for (int depth = 8; sum_check.positions < 100000; depth++)
        for (const char* fen : FENS) search_nodes(fen, depth);
    EXPECT_LT(sum_check.worst, 0.001);
}

TEST_F(NetworkNoise, MovesTheOutputByKeyAndSeed) {
    NetworkFile net = random_network();
    load(net);
    Position& pos = set_up(MIDDLEGAME_FEN);
    SearchThread& thread = *main_thread;
    nn_score(pos);
    const double plain = output_of(thread);

    active_personality.eval_jitter = 1;
    thread.game_moves = 1;
    nn_score(pos);
    EXPECT_EQ(output_of(thread), plain) << "not in the first two positions of a game";
    thread.game_moves = 2;
    for (uint32_t low : {0u, 127u, 255u}) {
        thread.eval.nn_seed = static_cast<uint32_t>(pos.key) ^ low;
        nn_score(pos);
        EXPECT_NEAR(output_of(thread), plain + (static_cast<int>(low) - 127) * 0.0001, 2e-6);
    }
    active_personality.eval_jitter = 0;
    nn_score(pos);
    EXPECT_EQ(output_of(thread), plain) << "off in batch runs";
}

TEST_F(NetworkNoise, ScoresWithAndWithoutItAreNotMixed) {
    load(random_network());
    SearchThread& thread = *main_thread;
    Position& pos = set_up(MIDDLEGAME_FEN);
    thread.game_moves = 0;
    active_personality.eval_jitter = 1;
    refresh_eval_tables(thread);
    nn_score(pos);
    ASSERT_EQ(eval_hash_entry(thread.eval, thread.position).key, pos.key);
    refresh_eval_tables(thread);
    EXPECT_EQ(eval_hash_entry(thread.eval, thread.position).key, pos.key) << "nothing has changed";

    thread.game_moves = 2;
    refresh_eval_tables(thread);
    EXPECT_NE(eval_hash_entry(thread.eval, thread.position).key, pos.key);
    nn_score(pos);
    thread.game_moves = 0;
    refresh_eval_tables(thread);
    EXPECT_NE(eval_hash_entry(thread.eval, thread.position).key, pos.key);
}

TEST_F(NetworkNoise, SearchThreadsKnowTheLengthOfTheGame) {
    set_up(START_FEN);
    play(game(), "e2e4 e7e5 g1f3");
    ASSERT_EQ(setup_master_record(), 0);
    EXPECT_EQ(search_threads[0].load()->game_moves, 3);
    set_up(START_FEN);
    ASSERT_EQ(setup_master_record(), 0);
    EXPECT_EQ(search_threads[0].load()->game_moves, 0);
}

TEST_F(NetworkShape, AnySizesGiveThePlainResult) {
    struct Shape {
        uint16_t version, board, material, hidden1, hidden2, outputs;
    };
    const Shape shapes[] = {
        {537, 1792, 32, 640, 0, 5},  {540, 1792, 32, 768, 0, 5}, {537, 896, 32, 33, 0, 3},
        {537, 1800, 40, 7, 0, 5},    {536, 1792, 31, 1, 0, 9},   {535, 1792, 32, 100, 0, 5},
        {535, 1792, 0, 31, 0, 5},    {537, 1792, 32, 40, 3, 5},  {537, 1792, 32, 72, 4, 5},
        {537, 1792, 32, 130, 16, 3}, {100, 896, 33, 65, 37, 4},
    };
    for (const Shape& s : shapes) {
        NetworkFile shape;
        shape.version = s.version;
        shape.board_inputs = s.board;
        shape.material_inputs = s.material;
        shape.hidden1 = s.hidden1;
        shape.hidden2 = s.hidden2;
        shape.outputs = s.outputs;
        NetworkFile net = random_network(shape, s.hidden1);
        ASSERT_EQ(load(net).size(), 1u) << s.hidden1 << ' ' << s.hidden2;
        for (const char* path : NN_PATH_NAMES) {
            if (!NnSelectPath(path)) continue;
            for (const char* fen : FENS) {
                Position& pos = set_up(fen);
                nn_score(pos);
                EXPECT_NEAR(output_of(*main_thread), plain_output(net, pos), 1e-4)
                    << path << ' ' << s.hidden1 << ' ' << s.hidden2 << ' ' << fen;
            }
        }
    }
}
