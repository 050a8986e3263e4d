// tb_support.h: what the tests of the endgame tables share.

#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/random.h"
#include "syzygy/tbboard.h"

// Folder of the small tables that travel with the tests: KQvK, KRvK, KPvK.
std::string own_tables();

// Sets the tables up without the line about their number.
void quiet_init(const std::string& paths);

// Registers no table at the end of a test.
struct NoTablesAfterwards {
    ~NoTablesAfterwards();
};

// The parts of a text between separators.
std::vector<std::string> split(const std::string& text, const std::string& separator);

// Numbers separated by blanks.
std::vector<int64_t> numbers(const std::string& text);

// The board of a FEN text, its fifty-move counter left at 0.
TBPosition board_of(const std::string& fen);

// A random legal board of a table's material, in either colouring and with either side to move.
TBPosition random_board(const std::string& name, Random& random);

// Writes a board as FEN text.
std::string fen_of(const TBPosition& board);
