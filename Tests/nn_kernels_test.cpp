// The loops of the network: all paths of vector code give the same bits.
//
// Pins internals: the kernels are called by themselves.

#include "nn_support.h"

namespace {

using LongNetwork = NetworkTest;

const char* const PATHS[] = {"plain", "sse2", "avx2", "avx512"};

} // namespace

TEST(NetworkKernels, AllPathsGiveTheSameBits) {
    Random random = {3};
    auto fill = [&random](std::vector<float>& row) {
        for (float& x : row)
            x = static_cast<float>(random_below(random, 2000001) - 1000000) * 1e-6f;
    };
    for (int count : {1,  2,  3,   4,   7,   8,   15,  16,  17,  31,  32,  33,  63,
                      64, 65, 100, 127, 128, 129, 255, 256, 300, 640, 768, 1000}) {
        constexpr int REMOVED = 3, ADDED = 4;
        std::vector<std::vector<float>> rows(REMOVED + ADDED, std::vector<float>(count + 1));
        std::vector<const float*> pointers;
        for (auto& row : rows) {
            fill(row);
            pointers.push_back(row.data() + 1); // rows need not be aligned
        }
        std::vector<float> start(count);
        fill(start);

        NnSelectPath("plain");
        std::vector<float> sums = start, active(count);
        nn_kernels->update(sums.data(), pointers.data(), REMOVED, ADDED, count);
        nn_kernels->activate(active.data(), sums.data(), count);
        float output[2];
        nn_kernels->output(output, sums.data(), pointers[0], pointers[1], count);
        const float product = nn_kernels->dot(start.data(), pointers[2], count);
        EXPECT_EQ(output[0], nn_kernels->dot(active.data(), pointers[0], count));

        for (const char* path : PATHS) {
            if (!NnSelectPath(path)) continue;
            ASSERT_STREQ(nn_kernels->name, path);
            std::vector<float> other = start, other_active(count);
            nn_kernels->update(other.data(), pointers.data(), REMOVED, ADDED, count);
            EXPECT_EQ(memcmp(other.data(), sums.data(), count * sizeof(float)), 0)
                << path << ' ' << count;
            nn_kernels->activate(other_active.data(), other.data(), count);
            EXPECT_EQ(memcmp(other_active.data(), active.data(), count * sizeof(float)), 0)
                << path << ' ' << count;
            float result[2];
            nn_kernels->output(result, other.data(), pointers[0], pointers[1], count);
            EXPECT_EQ(memcmp(result, output, sizeof output), 0) << path << ' ' << count;
            other = start;
            nn_kernels->update_output(result, other.data(), pointers.data(), REMOVED, ADDED,
                                      pointers[0], pointers[1], count);
            EXPECT_EQ(memcmp(other.data(), sums.data(), count * sizeof(float)), 0)
                << path << ' ' << count;
            EXPECT_EQ(memcmp(result, output, sizeof output), 0) << path << ' ' << count;
            EXPECT_EQ(nn_kernels->dot(start.data(), pointers[2], count), product)
                << path << ' ' << count;
        }
    }
    NnSelectPath("");
}

TEST(NetworkKernels, UnknownPathsChangeNothing) {
    ASSERT_TRUE(NnSelectPath("plain"));
    EXPECT_FALSE(NnSelectPath("mmx"));
    EXPECT_STREQ(nn_kernels->name, "plain");
    EXPECT_TRUE(NnSelectPath(nullptr));
}

TEST_F(LongNetwork, AllPathsSearchTheSameNodes) {
    NetworkFile shape;
    shape.hidden1 = 72;
    load(random_network(shape));
    uint64_t nodes = 0;
    for (const char* path : PATHS) {
        if (!NnSelectPath(path)) continue;
        uint64_t found = search_nodes(MIDDLEGAME_FEN, 6);
        if (nodes == 0) nodes = found;
        EXPECT_EQ(found, nodes) << path;
    }
    EXPECT_GT(nodes, 1000u);
}
