// Relabelling of files: parts, seeds, records without a move.

#include "search_fixture.h"

#include <set>

#include "Training/game_check.h"
#include "Training/ply_data.h"
#include "Training/relabelling.h"

namespace {

class RelabelFile : public SearchTest {
protected:
    void prepare(int nodes, int neighbours) {
        settings.nodes = nodes;
        settings.neighbours = neighbours;
        settings.hash_mb = 1;
        settings.max_steps = 3;
        testing::internal::CaptureStdout();
        ASSERT_TRUE(prepare_relabelling(settings, "hce"));
        testing::internal::GetCapturedStdout();
    }

    // Neighbours of the records from `first` on, as if the file began with others.
    std::vector<PlyRecord> made_of(const std::vector<PlyRecord>& records, uint64_t first) {
        std::vector<PlyRecord> made;
        EXPECT_TRUE(relabel_records(made, {records, first, first + records.size()}, settings));
        return made;
    }

    RelabelSettings settings;
};

// Records of one quiet position.
std::vector<PlyRecord> quiet_records(size_t count) {
    Position& pos = set_up("r3kb1r/pp3ppp/2n2n2/3p4/3P4/2N2N2/PP3PPP/R3KB1R w KQkq -");
    PlyRecord record;
    pack_ply(record, pos, find_move(pos, "a2a3"), 0, 20);
    return std::vector<PlyRecord>(count, record);
}

std::string bytes_of(const std::vector<PlyRecord>& records) {
    return {reinterpret_cast<const char*>(records.data()), records.size() * sizeof(PlyRecord)};
}

} // namespace

TEST_F(RelabelFile, EveryBitOfTheSeedCounts) {
    prepare(0, 4);
    const std::vector<PlyRecord> records = quiet_records(8);
    std::set<std::string> all;
    for (uint64_t seed : {1ULL, 1ULL + (1ULL << 24), 1ULL + (1ULL << 32), 1ULL + (1ULL << 63)}) {
        settings.seed = seed;
        all.insert(bytes_of(made_of(records, 0)));
        EXPECT_EQ(all.count(bytes_of(made_of(records, 0))), 1u);
    }
    EXPECT_EQ(all.size(), 4u);
}

TEST_F(RelabelFile, PartsGiveWhatTheWholeGives) {
    prepare(0, 4);
    const std::vector<PlyRecord> records = quiet_records(9);
    const std::vector<PlyRecord> front(records.begin(), records.begin() + 4);
    const std::vector<PlyRecord> back(records.begin() + 4, records.end());
    EXPECT_EQ(bytes_of(made_of(front, 0)) + bytes_of(made_of(back, 4)),
              bytes_of(made_of(records, 0)));
    EXPECT_NE(bytes_of(made_of(front, 0)), bytes_of(made_of(front, 4)));
}

TEST_F(RelabelFile, NeighboursPassTheirCheck) {
    prepare(0, 12);
    std::vector<PlyRecord> records = quiet_records(10);
    for (PlyRecord& record : records) record.state |= RESULT_WON << RECORD_RESULT_SHIFT;
    records[0].place |= RECORD_FIRST;
    size_t neighbours = 0;
    for (const PlyRecord& record : made_of(records, 0)) {
        EXPECT_STREQ(check_alone(record, DATA_NEIGHBOURS), nullptr);
        neighbours += !has_result(record);
    }
    EXPECT_GT(neighbours, 50u);
}

TEST_F(RelabelFile, SearchGivesAMoveWhereThereIsNone) {
    prepare(200, 0);
    PlyRecord record = {};
    pack_ply(record, set_up("4k3/ppp5/8/3q4/8/2N5/PPP5/4K3 w - -"), NULL_MOVE, 0, 20);
    record.state |= NO_RESULT_KNOWN << RECORD_RESULT_SHIFT;
    record.place |= RECORD_FIRST;
    ASSERT_TRUE(relabel_record(record, settings));
    EXPECT_EQ(record.move, find_move(game(), "c3d5"));
    EXPECT_EQ(record.place, 20 | RECORD_FIRST | RECORD_TACTICAL);
    EXPECT_STREQ(check_alone(record, DATA_POSITIONS), nullptr);

    record.move = find_move(game(), "c3e2");
    record.place = 20;
    ASSERT_TRUE(relabel_record(record, settings));
    EXPECT_EQ(record.move, find_move(game(), "c3e2")) << "a game's own move stays";
    EXPECT_EQ(record.place, 20);
}
