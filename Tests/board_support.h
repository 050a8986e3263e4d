// board_support.h: helpers that the tests of the board share: readable move lists, consistency
// of a position, random Chess960 games.

#pragma once

#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "board/legal.h"
#include "board/make.h"
#include "board/movetext.h"
#include "board/position.h"
#include "search/thread.h"
#include "support.h"

// The square of a name such as "e4".
inline int sq(const char* name) { return (name[0] - 'a') + 8 * (name[1] - '1'); }

// A move without flags from a text such as "e2e4".
inline Move plain(const char* text) { return make_plain_move(sq(text), sq(text + 2)); }

// A set of squares from their names, separated by blanks.
inline Bitboard squares(const std::string& names) {
    Bitboard set = 0;
    for (size_t i = 0; i + 1 < names.size(); i += 3) set |= bit(sq(names.c_str() + i));
    return set;
}

// "e2e4", "a7a8q" with a promotion's letter, "o-o" and "o-o-o" for castling.
inline std::string entry_name(const MoveEntry& entry) {
    Move move = entry.move;
    if (type_of(entry.mover) == KING && (move & FLAG_MASK))
        return move & FLAG_KING_SIDE ? "o-o" : "o-o-o";
    std::string name = SQUARE_NAMES[move_from(move)];
    name += SQUARE_NAMES[move_to(move)];
    if (move & FLAG_QUEEN) name += 'q';
    if (move & FLAG_KNIGHT) name += 'n';
    if (move & FLAG_BISHOP) name += 'b';
    if (move & FLAG_ROOK) name += 'r';
    return name;
}

// Names of the entries from `first` up to `end`, separated by blanks.
inline std::string entry_names(const MoveEntry* first, const MoveEntry* end) {
    std::string names;
    for (; first != end; first++) {
        if (!names.empty()) names += ' ';
        names += entry_name(*first);
    }
    return names;
}

inline std::string entry_names(const std::vector<MoveEntry>& entries) {
    return entry_names(entries.data(), entries.data() + entries.size());
}

inline std::string fen_of(const Position& pos) {
    char fen[FEN_LENGTH];
    write_fen(pos, fen, 0);
    return fen;
}

// Tells whether bitboards, counts, material and, unless `odd` is set, the kings' squares agree
// with the board, and the keys with keys computed afresh. `odd` positions have any number of
// kings.
inline testing::AssertionResult consistent(const Position& pos, bool odd = false) {
    auto wrong = [&](const char* what) {
        return testing::AssertionFailure() << what << " of " << fen_of(pos);
    };
    Bitboard by_code[16] = {};
    uint32_t counts[2] = {};
    int material[2] = {};
    for (int square = 0; square < SQUARES; square++) {
        int code = pos.board[square];
        if (code == 0) continue;
        by_code[code] |= bit(square);
        by_code[colour_of(code) * 8] |= bit(square);
        counts[colour_of(code)] += count_step[type_of(code)];
        material[colour_of(code)] += material_step[type_of(code)];
    }
    for (int side : {WHITE, BLACK}) {
        for (int type = ALL_PIECES; type <= KING; type++)
            if (pos.pieces[side][type] != by_code[side * 8 + type]) return wrong("bitboards");
        if (pos.piece_counts[side] != counts[side]) return wrong("piece counts");
        if (pos.material[side] != material[side]) return wrong("material");
        if (!odd && pos.pieces[side][KING] != bit(pos.king_square[side]))
            return wrong("king square");
    }
    if (pos.board[NO_SQUARE] != 0) return wrong("entry behind the board");
    if ((pos.key >> 32 & 1) != pos.side) return wrong("side in the key");

    Position fresh = pos;
    compute_keys(fresh);
    if (fresh.key != pos.key) return wrong("key");
    if (fresh.pawn_key != pos.pawn_key) return wrong("pawn key");
    return testing::AssertionSuccess();
}

// What make and unmake must leave as it was.
struct Snapshot {
    Position position;
    int16_t undo_index, ply;
    Move last_move;
};

inline Snapshot snapshot(const Position& pos) {
    const SearchThread& thread = thread_of(pos);
    return {pos, thread.line.undo_index, thread.line.ply, thread.line.last_move};
}

// Compares byte by byte.
inline testing::AssertionResult unchanged(const Snapshot& old, const Position& pos) {
    const SearchThread& thread = thread_of(pos);
    if (memcmp(static_cast<const void*>(&old.position), static_cast<const void*>(&pos), sizeof pos))
        return testing::AssertionFailure() << "position " << fen_of(old.position);
    if (old.undo_index != thread.line.undo_index || old.ply != thread.line.ply
        || old.last_move != thread.line.last_move)
        return testing::AssertionFailure() << "counters of " << fen_of(old.position);
    return testing::AssertionSuccess();
}

// A move of the position by its text; castling as the king's step.
inline Move must_find(Position& pos, const char* text) {
    Move move = find_move(pos, text);
    EXPECT_NE(move, NULL_MOVE) << text << " in " << fen_of(pos);
    return move;
}

// A Chess960 start position as FEN text.
inline std::string chess960_start(Random& random) {
    std::string row(8, ' ');
    auto put = [&](char piece, int nth_free) {
        for (char& place : row)
            if (place == ' ' && nth_free-- == 0) {
                place = piece;
                return;
            }
    };
    row[static_cast<size_t>(random_below(random, 4) * 2)] = 'b';
    row[static_cast<size_t>(random_below(random, 4) * 2 + 1)] = 'b';
    put('q', random_below(random, 6));
    put('n', random_below(random, 5));
    put('n', random_below(random, 4));
    for (char piece : {'r', 'k', 'r'}) put(piece, 0);
    std::string white = row;
    for (char& piece : white) piece = static_cast<char>(piece - 'a' + 'A');
    return row + "/pppppppp/8/8/8/8/PPPPPPPP/" + white + " w KQkq -";
}

// Legal moves, without castling that opens a line to the own king.
inline std::vector<Move> playable_moves(Position& pos) {
    std::vector<Move> moves;
    for (Move move : legal_moves(pos))
        if (!castling_exposes_king(pos, pos.side, move)) moves.push_back(move);
    return moves;
}

// Sets up a random position: up to 110 plies from the start of normal chess or Chess960.
inline Position& set_up_random(Random& random, bool chess960) {
    Position& pos = set_up(chess960 ? chess960_start(random).c_str() : START_FEN);
    for (int plies = random_below(random, 110); plies > 0; plies--) {
        std::vector<Move> moves = playable_moves(pos);
        if (moves.empty()) break;
        make_game_move(pos, moves[static_cast<size_t>(next_random(random) % moves.size())]);
    }
    return pos;
}
