// Records for tests of the training programs.

#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "Training/ply_record.h"
#include "eval/endgame.h"
#include "eval/evaluate.h"
#include "search/thread.h"
#include "support.h"

// Random positions of games that are not answered by endgame knowledge.
inline std::vector<std::string> unknown_positions(int count, uint64_t seed) {
    Random random = {seed};
    std::vector<std::string> fens;
    while (static_cast<int>(fens.size()) < count) {
        std::string fen = random_fen(random);
        Position& pos = set_up(fen.c_str());
        int ignored = 0;
        if (!endgame_score(pos, pos.side, ignored)) fens.push_back(fen);
    }
    return fens;
}

// A record of a position at ply 40 without a result.
inline PlyRecord record_of(const std::string& fen, int score = 0) {
    PlyRecord record;
    pack_ply(record, set_up(fen.c_str()), NULL_MOVE, score, 40);
    record.place &= static_cast<uint16_t>(~RECORD_TACTICAL); // no move stands behind it
    return record;
}

// Records of random positions with the hand-crafted score and a result that follows from it.
inline std::vector<PlyRecord> scored_records(int count, uint64_t seed) {
    std::vector<PlyRecord> records;
    for (const std::string& fen : unknown_positions(count, seed)) {
        Position& pos = set_up(fen.c_str());
        int score = std::clamp(HceEval(*main_thread, pos.side, 1, 0), -1500, 1500);
        PlyRecord record = record_of(fen, score);
        int result = score > 100 ? RESULT_WON : score < -100 ? RESULT_LOST : RESULT_DRAWN;
        record.state = static_cast<uint8_t>(record.state | result << RECORD_RESULT_SHIFT);
        record.halfmoves = static_cast<uint8_t>(count % 40);
        records.push_back(record);
    }
    return records;
}
