#include "tb_support.h"

#include <sstream>

#include <gtest/gtest.h>

#include "support.h"
#include "syzygy/tbcore.h"
#include "syzygy/tbprobe.h"

std::string own_tables() { return std::string(MIRD_TEST_SOURCE_DIR) + "/data/syzygy"; }

void quiet_init(const std::string& paths) {
    testing::internal::CaptureStdout();
    tb_init(paths.c_str());
    fflush(stdout);
    testing::internal::GetCapturedStdout();
}

NoTablesAfterwards::~NoTablesAfterwards() { tb_init(""); }

std::vector<std::string> split(const std::string& text, const std::string& separator) {
    std::vector<std::string> parts;
    size_t start = 0;
    for (size_t end; (end = text.find(separator, start)) != std::string::npos;
         start = end + separator.size())
        parts.push_back(text.substr(start, end - start));
    parts.push_back(text.substr(start));
    return parts;
}

std::vector<int64_t> numbers(const std::string& text) {
    std::istringstream stream(text);
    std::vector<int64_t> result;
    for (int64_t number; stream >> number;) result.push_back(number);
    return result;
}

TBPosition board_of(const std::string& fen) {
    TBPosition board;
    tb_fill(board, set_up(fen.c_str()), 0);
    return board;
}

static void put(TBPosition& board, int code, int square) {
    Bitboard* const kinds[] = {nullptr,      &board.pawns,  &board.knights, &board.bishops,
                               &board.rooks, &board.queens, &board.kings};
    *kinds[type_of(code)] |= bit(square);
    (colour_of(code) == WHITE ? board.white : board.black) |= bit(square);
}

TBPosition random_board(const std::string& name, Random& random) {
    TBEntry entry = {};
    tb_describe(entry, name.c_str());
    for (;;) {
        TBPosition board = {};
        board.turn = static_cast<uint8_t>(random_below(random, 2));
        int exchange = random_below(random, 2) * 8;
        for (int code = 0; code < PIECE_CODES; code++) {
            for (int i = 0; i < entry.counts[code]; i++) {
                int square;
                do
                    square = type_of(code) == PAWN ? 8 + random_below(random, 48)
                                                   : random_below(random, 64);
                while (tb_occupied(board) & bit(square));
                put(board, code ^ exchange, square);
            }
        }
        if (tb_legal(board)) return board;
    }
}

std::string fen_of(const TBPosition& board) {
    std::string fen;
    for (int rank = 7; rank >= 0; rank--) {
        int empty = 0;
        for (int file = 0; file < 8; file++) {
            char letter = 0;
            for (int code = 0; code < PIECE_CODES; code++)
                if (tb_pieces(board, code) & bit(rank * 8 + file))
                    letter = " PNBRQK  pnbrqk "[code];
            if (!letter) {
                empty++;
                continue;
            }
            if (empty) fen += std::to_string(empty);
            empty = 0;
            fen += letter;
        }
        if (empty) fen += std::to_string(empty);
        if (rank) fen += '/';
    }
    return fen + (board.turn ? " w - -" : " b - -");
}
