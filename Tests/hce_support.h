// hce_support.h: what tests of the hand-crafted evaluation share: positions from a list of pieces,
// mirrored positions, and parameter rows that are set one at a time, so that a total shows what a
// single row adds.

#pragma once

#include <cctype>
#include <sstream>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "board/bitboard.h"
#include "eval/endgame.h"
#include "eval/evaluate.h"
#include "eval/params.h"
#include "records.h"
#include "search/thread.h"
#include "support.h"

// Base of all suites that change rows.
class OwnParams : public EngineTest {};

// The same with a table of cases.
template <class Case>
class OwnParamsTable : public OwnParams, public testing::WithParamInterface<Case> {};

// Number of the square with this name.
constexpr int square(std::string_view name) { return name[0] - 'a' + 8 * (name[1] - '1'); }

// The set of the named squares: "e4 d5".
inline Bitboard squares(const std::string& names) {
    Bitboard set = 0;
    std::istringstream words(names);
    for (std::string word; words >> word;) set |= bit(square(word));
    return set;
}

// FEN text of a board given by squares, '.' being an empty one.
inline std::string fen_of_board(const char (&board)[64], char side) {
    std::string fen;
    for (int rank = 7; rank >= 0; rank--) {
        int empty = 0;
        for (int file = 0; file <= 8; file++) {
            char piece = file < 8 ? board[rank * 8 + file] : '/';
            if (piece == '.') {
                empty++;
                continue;
            }
            if (empty) fen += static_cast<char>('0' + empty);
            empty = 0;
            if (file < 8 || rank > 0) fen += piece;
        }
    }
    return fen + ' ' + side + " - -";
}

// FEN text of a list of pieces, capitals for White: "Kg1 Pf2 kg8 qd8". White is to move, or Black
// if the list ends with the word "b".
inline std::string placed(const std::string& pieces) {
    char board[64], side = 'w';
    std::fill(std::begin(board), std::end(board), '.');
    std::istringstream words(pieces);
    for (std::string word; words >> word;) {
        if (word == "b") side = 'b';
        else board[square(word.substr(1))] = word[0];
    }
    return fen_of_board(board, side);
}

// The position as it looks in a mirror: `flip` is 7 for the files; 56 for the ranks, with colours
// and side to move exchanged. Castling and en passant are left out.
inline std::string mirrored(const std::string& fen, int flip) {
    char board[64];
    std::fill(std::begin(board), std::end(board), '.');
    size_t end = fen.find(' ');
    int file = 0, rank = 7;
    for (char c : fen.substr(0, end)) {
        if (c == '/') {
            file = 0;
            rank--;
        } else if (isdigit(c)) {
            file += c - '0';
        } else {
            char piece = flip == 7 ? c : static_cast<char>(c ^ 0x20);
            board[(rank * 8 + file++) ^ flip] = piece;
        }
    }
    char side = fen[end + 1];
    if (flip == 56) side = side == 'w' ? 'b' : 'w';
    return fen_of_board(board, side);
}

// A position with pieces thrown at random: kings that don't touch, pawns on ranks 2 to 7, at most
// one queen a side. Unlike positions of games it is full of attacks, pins and passed pawns.
inline std::string random_placement(Random& random) {
    char board[64];
    std::fill(std::begin(board), std::end(board), '.');
    int white = random_below(random, 64), black = white;
    while (chebyshev(white, black) <= 1) black = random_below(random, 64);
    board[white] = 'K';
    board[black] = 'k';

    std::string bag = "PPPPPPNNBBRR";
    if (random_below(random, 2)) bag += "Q";
    int pieces[2] = {random_below(random, 13), random_below(random, 13)};
    for (int side : {WHITE, BLACK}) {
        std::string left = bag;
        for (int i = 0; i < pieces[side] && !left.empty(); i++) {
            auto pick = static_cast<size_t>(random_below(random, static_cast<int>(left.size())));
            char piece = left[pick];
            left.erase(pick, 1);
            int place = piece == 'P' ? 8 + random_below(random, 48) : random_below(random, 64);
            if (board[place] != '.') continue;
            board[place] = side == WHITE ? piece : static_cast<char>(piece | 0x20);
        }
    }
    return fen_of_board(board, random_below(random, 2) ? 'w' : 'b');
}

// The two halves of a packed score.
struct Halves {
    int mg, eg;
};
inline bool operator==(const Halves& a, const Halves& b) { return a.mg == b.mg && a.eg == b.eg; }
inline void PrintTo(const Halves& h, std::ostream* out) { *out << h.mg << ',' << h.eg; }
inline Halves halves(int32_t packed) { return {packed_mg(packed), packed_eg(packed)}; }

inline void set_rows(int first, int count, int mg, int eg) {
    for (int row = first; row < first + count; row++) {
        eval_params[row].value = pack_score(mg, eg);
        eval_params[row].mg = static_cast<float>(mg);
        eval_params[row].eg = static_cast<float>(eg);
    }
    build_eval_tables();
}
inline void set_row(int row, int mg, int eg) { set_rows(row, 1, mg, eg); }
inline void zero_rows() { set_rows(0, PARAM_ROWS, 0, 0); }
inline void only_row(int row, int mg, int eg) {
    zero_rows();
    set_row(row, mg, eg);
}

// Evaluates a FEN text's position afresh, at ply 1; what the terms left behind stands in the
// result. The position must be none that endgame knowledge answers.
inline const EvalContext& evaluated_fen(const std::string& fen) {
    Position& pos = set_up(fen.c_str());
    int score = 0;
    EXPECT_FALSE(endgame_score(pos, pos.side, score)) << fen;
    HceEval(*main_thread, pos.side, 1, 0);
    return main_thread->eval.context;
}
inline const EvalContext& evaluated(const std::string& pieces) {
    return evaluated_fen(placed(pieces));
}

// How often a row is added for each colour.
struct TermCase {
    const char* name;
    int row;
    const char* pieces;
    int white, black;
};
inline void PrintTo(const TermCase& c, std::ostream* out) { *out << c.name; }

// Shares of a row that are added for each colour, once at most. Each half is cut on its own.
struct ShareCase {
    const char* name;
    int row;
    const char* pieces;
    float white, black;
};
inline void PrintTo(const ShareCase& c, std::ostream* out) { *out << c.name; }

// Looks at the position and at its mirror images, where the colours may have changed places.
inline void expect_totals(const std::string& fen, const Halves& white, const Halves& black) {
    const Halves expected[2] = {white, black};
    const std::string files = mirrored(fen, 7);
    for (int side : {WHITE, BLACK}) {
        const char* name = side == WHITE ? "White" : "Black";
        EXPECT_EQ(halves(evaluated_fen(fen).packed[side]), expected[side]) << name;
        EXPECT_EQ(halves(evaluated_fen(files).packed[side]), expected[side])
            << name << ", files mirrored";
        EXPECT_EQ(halves(evaluated_fen(mirrored(fen, 56)).packed[side ^ 1]), expected[side])
            << name << ", colours exchanged";
    }
}
inline void expect_times(const TermCase& c) {
    constexpr int MG = 100, EG = -7;
    only_row(c.row, MG, EG);
    expect_totals(placed(c.pieces), {MG * c.white, EG * c.white}, {MG * c.black, EG * c.black});
}

// What a row of 1000, -1000 adds when it is scaled.
inline Halves share_of_1000(float share) {
    return {static_cast<int>(share * 1000.0f), static_cast<int>(share * -1000.0f)};
}
inline void expect_shares(const ShareCase& c) {
    only_row(c.row, 1000, -1000);
    expect_totals(placed(c.pieces), share_of_1000(c.white), share_of_1000(c.black));
}
