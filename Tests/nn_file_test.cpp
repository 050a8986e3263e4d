// Network files: loading, creating, writing, and what is wrong with them.

#include <filesystem>
#include <fstream>
#include <iterator>

#include <unistd.h>

#include "base/text.h"
#include "nn_support.h"
#include "search/thread.h"
#include "shell/think.h"

namespace {

using NetworkFiles = NetworkTest;
using NetworkGuards = NetworkTest;
using LongNetworkFiles = NetworkTest;

using Lines = std::vector<std::string>;

std::string read_bytes(const std::string& name) {
    std::ifstream file(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void put_u16(std::string& bytes, size_t at, unsigned value) {
    bytes[at] = static_cast<char>(value & 255);
    bytes[at + 1] = static_cast<char>(value >> 8 & 255);
}

// Runs the program so far as the settings of a configuration file go; returns its output.
Program start_with(const std::string& directory, const std::string& value, int* status) {
    write_file(directory + "/mird.cfg", "NN_File = " + value + "\n");
    Program program = start_program({"-mkconfig", "-cfg", "mird.cfg"}, directory);
    *status = wait_exit(program);
    return program;
}

} // namespace

TEST_F(NetworkFiles, TheEmbeddedOneIsReloaded) {
    uint32_t generation = nn_header.generation;
    EXPECT_EQ(load_network("embedded"), Lines{"info string using embedded network"});
    EXPECT_EQ(nn_header.generation, generation + 1);
    EXPECT_EQ(nn_header.version, 537);
    EXPECT_EQ(nn_header.format, 1);
    EXPECT_EQ(nn_header.inputs, 1824);
    EXPECT_EQ(nn_header.hidden1, 640);
    EXPECT_EQ(nn_header.hidden2, 0);
    EXPECT_EQ(nn_header.outputs, 5);
    EXPECT_EQ(nn_header.total, 1170573);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(nn_header.weights) % 64, 0u);
}

TEST_F(NetworkFiles, AFileOfAnotherShapeLoads) {
    NetworkFile shape;
    shape.version = 600;
    shape.format = 77; // never looked at
    shape.hidden1 = 50;
    shape.hidden2 = 20;
    shape.outputs = 4;
    NetworkFile net = random_network(shape);
    std::string name = write_file(directory + "/other.nn", bytes_of(net));
    EXPECT_EQ(load_network(name), Lines{"info string loaded " + name});
    EXPECT_EQ(nn_header.format, 77);
    EXPECT_EQ(nn_header.w1_count, 1824 * 50);
    EXPECT_EQ(nn_header.w2_count, 50 * 20);
    EXPECT_EQ(nn_header.w3_count, 20 * 4);
    EXPECT_EQ(nn_header.bias_count, 4);
    EXPECT_EQ(nn_header.total, static_cast<int64_t>(net.total()));
    EXPECT_EQ(nn_header.w2 - nn_header.w1, 1824 * 50);
    EXPECT_EQ(nn_header.extras - nn_header.biases, 4);
    for (size_t i = 0; i < net.total(); i++)
        ASSERT_EQ(nn_header.weights[i], static_cast<float>(net.weights[i] * 0.0002)) << i;
}

TEST_F(NetworkFiles, TheStoredCountIsNotLookedAt) {
    std::string bytes = bytes_of(random_network());
    put_u16(bytes, 14, 12345);
    put_u16(bytes, 16, 0xFFFF);
    EXPECT_EQ(load_network(write_file(directory + "/a.nn", bytes)).size(), 1u);
    EXPECT_EQ(load_network(write_file(directory + "/b.nn", bytes + "more")).size(), 1u);
}

TEST_F(NetworkFiles, WeightsAreRoundedWhenWritten) {
    load(random_network());
    const float values[] = {0.00019f, -0.00019f, 0.00009f, 1.0f, -5.0f, 0.0001f, -0.0001f};
    const int stored[] = {1, -1, 0, 5000, -25000, 0, 0};
    for (int i = 0; i < 7; i++) nn_header.weights[i] = values[i];
    ASSERT_TRUE(NnSave((directory + "/out.nn").c_str()));
    std::string bytes = read_bytes(directory + "/out.nn");
    // 0.0001 as a float lies a little below or above the half.
    for (int i = 0; i < 5; i++)
        EXPECT_EQ(static_cast<int16_t>(static_cast<unsigned char>(bytes[18 + 2 * i])
                                       | static_cast<unsigned char>(bytes[19 + 2 * i]) << 8),
                  stored[i])
            << values[i];
    load_network(directory + "/out.nn");
    EXPECT_EQ(nn_header.weights[0], 0.0002f);
    EXPECT_FALSE(NnSave((directory + "/no/such/place").c_str()));
}

TEST_F(NetworkFiles, AFileWrittenAgainIsTheSame) {
    NetworkFile shape;
    shape.hidden1 = 80; // the number of weights fills both of its halves
    shape.hidden2 = 5;
    NetworkFile net = random_network(shape);
    net.weights[0] = 32767;
    net.weights[1] = -32768;
    load(net);
    ASSERT_TRUE(NnSave((directory + "/copy.nn").c_str()));
    EXPECT_EQ(read_bytes(directory + "/copy.nn"), bytes_of(net));
}

TEST_F(NetworkFiles, AFreshNetworkIsRandomAndWritten) {
    char here[1024];
    ASSERT_TRUE(getcwd(here, sizeof here));
    ASSERT_EQ(chdir(directory.c_str()), 0);
    EXPECT_EQ(load_network("new"), Lines{"info string created new NN"});
    EXPECT_EQ(nn_header.version, 540);
    EXPECT_EQ(nn_header.hidden1, 768);
    EXPECT_EQ(nn_header.w1_count, 1400832);
    float least = 9.0f, most = -9.0f;
    for (int64_t i = 0; i < nn_header.total - 8; i++) {
        least = std::min(least, nn_header.weights[i]);
        most = std::max(most, nn_header.weights[i]);
    }
    EXPECT_GE(least, -1.0f);
    EXPECT_LT(least, -0.999f);
    EXPECT_LE(most, 0.9999f);
    EXPECT_GT(most, 0.999f);
    for (int i = 0; i < 8; i++) EXPECT_EQ(nn_header.extras[i], 2.0f);
    std::vector<float> created(nn_header.weights, nn_header.weights + nn_header.total);

    EXPECT_EQ(load_network("nn.bin"), Lines{"info string loaded nn.bin"});
    ASSERT_EQ(nn_header.total, static_cast<int64_t>(created.size()));
    EXPECT_EQ(nn_header.version, 540);
    for (size_t i = 0; i < created.size(); i++)
        ASSERT_NEAR(nn_header.weights[i], created[i], 0.000101) << i;
    ASSERT_TRUE(NnSave("copy.nn"));
    EXPECT_EQ(read_bytes("copy.nn"), read_bytes("nn.bin"));
    ASSERT_EQ(chdir(here), 0);
}

TEST_F(NetworkFiles, AFreshNetworkNeedsNoFile) {
    char here[1024];
    ASSERT_TRUE(getcwd(here, sizeof here));
    ASSERT_EQ(chdir(directory.c_str()), 0);
    ASSERT_TRUE(std::filesystem::create_directory("nn.bin"));
    EXPECT_EQ(load_network("new"), Lines{"info string created new NN"});
    EXPECT_EQ(nn_header.hidden1, 768);
    ASSERT_EQ(chdir(here), 0);
}

TEST_F(NetworkFiles, OtherNamesArePaths) {
    for (const char* name : {"new.bin", "newest", "embedded2", "New", "no/such.nn"}) {
        int status = -1;
        Program program = start_with(directory, name, &status);
        EXPECT_EQ(status, 0) << name;
        EXPECT_EQ(program.lines.back(), std::string("info string can't open ") + name);
    }
    write_file(directory + "/new.bin", bytes_of(random_network()));
    int status = -1;
    Program program = start_with(directory, "new.bin", &status);
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(has_line(program.lines, "info string NN_File set to 'new.bin'"));
    EXPECT_TRUE(has_line(program.lines, "info string loaded new.bin"));
}

TEST_F(NetworkFiles, DirectoriesAndPipesAreNotOpened) {
    for (const std::string& name : odd_files()) {
        int status = -1;
        Program program = start_with(directory, name.c_str(), &status);
        EXPECT_EQ(status, 0) << name;
        EXPECT_EQ(program.lines.back(), "info string can't open " + name);
    }
}

TEST_F(NetworkFiles, TheOptionReportsAndLoads) {
    std::string name = write_file(directory + "/a.nn", bytes_of(random_network()));
    EXPECT_EQ(uci("setoption name NN_File value " + name),
              (Lines{"info string NN_File set to '" + name + "'", "info string loaded " + name}));
    EXPECT_EQ(
        uci("setoption name NN_File value embedded"),
        (Lines{"info string NN_File set to 'embedded'", "info string using embedded network"}));
}

TEST_F(NetworkFiles, ARunningSearchKeepsItsNetwork) {
    std::string name = write_file(directory + "/a.nn", bytes_of(random_network()));
    uint32_t generation = nn_header.generation;
    set_relaxed(engine.game_state, STATE_THINKING);
    EXPECT_EQ(uci("setoption name NN_File value " + name),
              Lines{"info string NN_File set to '" + name + "'"});
    EXPECT_EQ(nn_header.generation, generation);
    set_relaxed(engine.game_state, STATE_THINKING | STATE_OVER);
    EXPECT_EQ(printed_by([] { abandon_search(); }), Lines{"info string loaded " + name});
    EXPECT_EQ(nn_header.generation, generation + 1);
}

TEST_F(NetworkFiles, LongNamesAreCutToTheField) {
    set_relaxed(engine.game_state, STATE_THINKING); // nothing is loaded yet
    uci("setoption name NN_File value " + std::string(200, 'x'));
    EXPECT_EQ(active_personality.NN_File, std::string(FILE_NAME_LENGTH - 1, 'x'));
    uci("setoption name NN_File value embedded");
    set_relaxed(engine.game_state, STATE_THINKING | STATE_OVER);
    EXPECT_EQ(printed_by([] { abandon_search(); }), Lines{"info string using embedded network"});
}

TEST_F(NetworkGuards, AShortFileChangesNothing) {
    NetworkFile net = random_network();
    load(net);
    uint32_t generation = nn_header.generation;
    const float* weights = nn_header.weights;
    std::string bytes = bytes_of(net);
    for (size_t length :
         {size_t{0}, size_t{1}, size_t{17}, size_t{18}, size_t{1000}, bytes.size() - 1}) {
        std::string name = write_file(directory + "/short.nn", bytes.substr(0, length));
        EXPECT_EQ(load_network(name), Lines{}) << length;
        EXPECT_EQ(nn_header.generation, generation);
        EXPECT_EQ(nn_header.weights, weights);
    }
    Position& pos = set_up(START_FEN);
    nn_score(pos);
    EXPECT_NEAR(output_of(*main_thread), plain_output(net, pos), 1e-4);
}

TEST_F(NetworkGuards, BeforeTheFirstNetworkABadFileGivesTheEmbeddedOne) {
    std::string name = write_file(directory + "/short.nn", "short");
    NnUnload();
    EXPECT_EQ(load_network(name), Lines{});
    ASSERT_NE(nn_header.weights, nullptr);
    EXPECT_EQ(nn_header.total, 1170573);
}

TEST_F(NetworkGuards, AStartWithABadFileTakesTheEmbeddedOne) {
    write_file(directory + "/bad.nn", "short");
    write_file(directory + "/mird.cfg", "NN_File = bad.nn\n");
    int status = -1;
    Program program = start_program({"-bench", "-d", "1", "-cfg", "mird.cfg"}, directory);
    status = wait_exit(program);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(count_lines(program, "info string loaded"), 0);
    EXPECT_NE(program.lines.back().find("nodes="), std::string::npos) << program.lines.back();
}

TEST_F(NetworkGuards, HeadersThatMakeNoSenseChangeNothing) {
    struct Bad {
        const char* name;
        size_t at;
        unsigned value;
    };
    const Bad cases[] = {
        {"no first layer", 8, 0},
        {"no outputs", 12, 0},
        {"two outputs", 12, 2},
        {"a second layer of one unit", 10, 1},
        {"a second layer of two units", 10, 2},
        {"less than a weight set", 4, 895},
        {"no board inputs", 4, 0},
        {"too many inputs", 4, 1809},
        {"too many material inputs", 6, 49},
        {"too few material inputs", 6, 30},
        {"a huge first layer", 8, 0xFFFF},
        {"a huge second layer", 10, 0xFFFF},
        {"very many outputs", 12, 0xFFFF},
    };
    NetworkFile net = random_network();
    load(net);
    uint32_t generation = nn_header.generation;
    for (const Bad& c : cases) {
        std::string bytes = bytes_of(net) + std::string(100000, 1);
        put_u16(bytes, c.at, c.value);
        EXPECT_EQ(load_network(write_file(directory + "/bad.nn", bytes)), Lines{}) << c.name;
        EXPECT_EQ(nn_header.generation, generation) << c.name;
    }
}

TEST_F(LongNetworkFiles, DamagedHeadersNeverCrash) {
    Random random = {99};
    const std::string good = bytes_of(random_network());
    copy_text(active_personality.NN_File, (directory + "/fuzz.nn").c_str(), FILE_NAME_LENGTH);
    const unsigned odd[] = {0,   1,   2,   3,    4,    5,    31,     32,     535,
                            536, 895, 896, 1791, 1792, 1840, 0x7FFF, 0x8000, 0xFFFF};
    const uint32_t before = nn_header.generation;
    testing::internal::CaptureStdout();
    for (int i = 0; i < 3000; i++) {
        std::string bytes = good;
        if (random_below(random, 4) == 0) bytes.resize(random_below(random, 40));
        for (int changes = 1 + random_below(random, 4); changes > 0 && bytes.size() >= 18;
             changes--)
            put_u16(bytes, 2 * static_cast<size_t>(random_below(random, 9)),
                    random_below(random, 2) ? odd[random_below(random, std::size(odd))]
                                            : static_cast<unsigned>(next_random(random) & 0xFFFF));
        write_file(active_personality.NN_File, bytes);
        NnLoad();
        ASSERT_NE(nn_header.weights, nullptr);
        int score =
            nn_score(set_up(random_below(random, 2) ? START_FEN : "3k4/P7/8/8/8/8/p7/4K2R w - -"));
        ASSERT_GE(score, -1919);
        ASSERT_LE(score, 1919);
    }
    testing::internal::GetCapturedStdout();
    EXPECT_GT(nn_header.generation - before, 100u);
}

// The buffers follow the network, and threads give theirs back.
TEST_F(NetworkFiles, NetworksMayChangeBetweenSearches) {
    NetworkFile small, large;
    small.hidden1 = 12;
    small.hidden2 = 6;
    large.hidden1 = 96;
    write_file(directory + "/small.nn", bytes_of(random_network(small)));
    write_file(directory + "/large.nn", bytes_of(random_network(large)));
    Program program = start_program({"-use_nn"}, directory);
    for (const char* threads : {"1", "4", "10"})
        for (const char* name : {"small.nn", "large.nn", "embedded", "small.nn"}) {
            send(program, std::string("setoption name Threads value ") + threads);
            send(program, std::string("setoption name NN_File value ") + name);
            send(program, "go depth 3");
            EXPECT_FALSE(wait_for(program, "bestmove", 60000).empty()) << threads << name;
        }
    // During a search: loaded at its end.
    send(program, "go infinite");
    EXPECT_FALSE(wait_for(program, "info depth", 60000).empty());
    send(program, "setoption name Use_NN_eval value false");
    send(program, "setoption name NN_File value large.nn");
    send(program, "setoption name Use_NN_eval value true");
    EXPECT_FALSE(wait_for(program, "info string NN_File", 60000).empty());
    send(program, "stop");
    EXPECT_FALSE(wait_for(program, "bestmove", 60000).empty());
    EXPECT_FALSE(wait_for(program, "info string loaded large.nn", 60000).empty());
    EXPECT_EQ(quit_program(program), 0);
}
