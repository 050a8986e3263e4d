// conversion.h: records from the texts and games of others, and texts from records.
//
// Positions are set up by the engine's own readers on the game's position: main thread only. What
// comes in is checked here; a text that is no position, in whatever way, gives a reason and no
// record.

#pragma once

#include <string>
#include <vector>

#include "Training/ply_record.h"

struct PgnReader;

struct ConversionSettings {
    bool keep_unscored = false; // positions without a score get 0, for relabel; else they are no
                                // records
    int least_ply = 0;          // plies below become this: 0 to RECORD_PLY
};

// The ply of a record whose source doesn't count moves: the first that training uses.
constexpr int UNTOLD_PLY = 16;

// Lines of the form "FEN | score | result", the score in whole evaluation units and the result as
// 1.0, 0.5 or 0.0, both from White's view. A result that is not known is written as "-".
//
// They hold neither the best move nor whether the game began as Chess960. Castling letters mean the
// outermost rook of the wing. Move numbers count from 1, so that the ply becomes one higher where
// its parity doesn't fit the side to move, as in games from openings with Black to move.

// Writes a record as a line without its end. Returns an empty text if it holds no position.
std::string text_of_record(const PlyRecord& record);

// Reads such a line. A FEN without move counters is taken, and so are the results 1, 0, 1-0, 0-1
// and 1/2-1/2. The record has no best move; it is marked as tactical if a capture wins material by
// static exchange or a pawn can promote. The mark for the first record of a group is not set.
// Returns null, or with `record` unchanged what is wrong with the line.
const char* record_of_text(PlyRecord& record, const char* line, const ConversionSettings& settings);

// Reads a line as the engine's tools write them: operations `sc`, or else `ce`, for the score and
// `gr` for the result, both from the side to move's view, and `bm` for the best move, if that is
// one move. Counters behind the position are halfmoves and plies. Otherwise as above.
const char* record_of_epd(PlyRecord& record, const char* line, const ConversionSettings& settings);

// Adds the positions of the game that the reader has come to, each with the move played, the score
// in its comment, and the result. The first one is marked. Variations are not understood, see
// tools/pgn.h. Returns an empty text, or why the game goes no further than what was added.
std::string records_of_game(std::vector<PlyRecord>& records, const PgnReader& reader,
                            const ConversionSettings& settings);

// Tells whether a record goes on with the game of the one before it, as far as its ply and result
// tell. Those of one game are best held out together.
bool continues_game(const PlyRecord& record, const PlyRecord& before);
