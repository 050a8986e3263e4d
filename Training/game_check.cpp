#include "Training/game_check.h"

#include <cstdlib>
#include <cstring>

#include "Training/ply_data.h"
#include "Training/ply_filter.h"
#include "Training/ply_record.h"
#include "Training/random_start.h"
#include "board/legal.h"
#include "board/make.h"
#include "board/movegen.h"
#include "search/thread.h"

// The record without what only the end of the game can tell.
static PlyRecord without_outcome(PlyRecord record) {
    constexpr int OUTCOME = 3 << RECORD_RESULT_SHIFT | RECORD_CHESS960;
    record.state = static_cast<uint8_t>(record.state & ~OUTCOME);
    record.place = static_cast<uint16_t>(record.place & ~RECORD_FIRST);
    return record;
}

constexpr int HIGHEST_SCORE = MATE_VALUE;

static int white_result(const PlyRecord& record) {
    int result = record_result(record);
    return record_side(record) == WHITE ? result : RESULT_WON - result;
}

// Generated and legal. The hash table's own test is no help: it turns some Chess960 castlings down.
static bool can_be_played(const Position& pos, Move move) {
    MoveEntry list[LONGEST_ODD_LIST];
    gen_list(pos, list);
    for (const MoveEntry* entry = list; entry->move != LIST_END; entry++)
        if (entry->move == move)
            return legal_move(pos, pos.side, move) && !castling_exposes_king(pos, pos.side, move);
    return false;
}

// Tells whether packing the position gives the record. Without a best move its mark is free.
static bool fits_position(const Position& pos, const PlyRecord& record, int ply) {
    PlyRecord expected, found = without_outcome(record);
    pack_ply(expected, pos, record.move, record.score, ply);
    if (record.move == NULL_MOVE)
        expected.place = static_cast<uint16_t>((expected.place & ~RECORD_TACTICAL)
                                               | (found.place & RECORD_TACTICAL));
    return memcmp(&found, &expected, sizeof found) == 0;
}

// What is wrong with a record of a game, standing on the position that it has to be; null if
// nothing is.
static const char* check_record(Position& pos, const PlyRecord& record, int ply) {
    if (!can_be_played(pos, record.move)) return "the move is not legal";
    if (std::abs(record.score) > HIGHEST_SCORE) return "the score is none";
    if (record_result(record) > RESULT_WON) return "the result is none";
    return fits_position(pos, record, ply) ? nullptr : "it doesn't fit its game";
}

const char* check_game(const PlyRecord* records, int count, int& bad) {
    Position& pos = main_thread->position;
    bad = 0;
    if (!(records[0].place & RECORD_FIRST)) return "the game has no first record";
    if (count > MAX_GAME_PLIES) return "the game is too long";
    if (!unpack_ply(pos, records[0]) || unsearchable_reason(pos)) return "it is no position";
    for (int i = 0; i < count; i++) {
        const PlyRecord& record = records[i];
        bad = i;
        const char* wrong = check_record(pos, record, record_ply(records[0]) + i);
        if (wrong) return wrong;
        if (i > 0 && (record.place & RECORD_FIRST)) return "another game begins";
        if (white_result(record) != white_result(records[0])) return "the result has changed";
        if ((record.state ^ records[0].state) & RECORD_CHESS960) return "the start has changed";
        make_game_move(pos, record.move);
    }
    return nullptr;
}

const char* check_alone(const PlyRecord& record, DataKind kind) {
    Position& pos = main_thread->position;
    const bool neighbour = kind == DATA_NEIGHBOURS;
    if (!unpack_ply(pos, record) || unsearchable_reason(pos)) return "it is no position";
    if (neighbour && (record.place & RECORD_FIRST))
        return check_record(pos, record, record_ply(record));
    if (all_legal_moves(pos).empty()) return "there is no legal move";
    if (record.move != NULL_MOVE && !can_be_played(pos, record.move))
        return "the move is not legal";
    if (std::abs(record.score) > HIGHEST_SCORE) return "the score is none";
    if (!fits_position(pos, record, record_ply(record))) return "it doesn't fit its position";
    if (!neighbour) return nullptr;
    if (has_result(record)) return "a neighbour carries a result";
    return judge_ply(record, PLY_FOR_NETWORK) == PLY_KEPT ? nullptr : "training would not use it";
}
