// kpk.h: the table of king and pawn against king, a bitbase that knows each position's result.
//
// One for the process, filled at start-up and only read afterwards, by any thread.

#pragma once

#include <cstdint>

// Entry = bit 17 the defender is to move; bits 12-16 pawn rank * 4 + pawn file, with the pawn on
// files a-d moving up the board; bits 6-11 the attacker's king; bits 0-5 the defender's king.
// 2 means that the attacker wins, 1 that it does not.
constexpr int KPK_SIZE = 2 * 32 * 4096;
extern uint8_t KpkTable[KPK_SIZE];

constexpr uint8_t KPK_DRAW = 1;
constexpr uint8_t KPK_WIN = 2;

// Index of a placement. `defender_moves` is 0 or 1, the pawn stands on files a-d.
constexpr int kpk_index(int defender_moves, int pawn, int attacker_king, int defender_king) {
    return defender_moves << 17 | ((pawn >> 3) * 4 + (pawn & 7)) << 12 | attacker_king << 6
         | defender_king;
}

// Builds the table. Called once at start-up, behind init_board_tables.
void init_kpk_table();
