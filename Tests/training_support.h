// training_support.h: what the tests of the training programs share.

#pragma once

#include "Training/ply_record.h"
#include "Training/selfplay_game.h"
#include "board/make.h"
#include "support.h"

// A short game, as its records.
inline Game short_game() {
    Game game = {};
    Position& pos = set_up(START_FEN);
    for (const char* text : {"e2e4", "e7e5", "g1f3", "b8c6", "f1b5"}) {
        PlyRecord& record = game.records[game.plies];
        Move move = find_move(pos, text);
        pack_ply(record, pos, move, 20 - game.plies, game.plies);
        int result = pos.side == WHITE ? RESULT_WON : RESULT_LOST;
        record.state = static_cast<uint8_t>(record.state | result << RECORD_RESULT_SHIFT);
        make_game_move(pos, move);
        game.plies++;
    }
    game.records[0].place |= RECORD_FIRST;
    return game;
}
