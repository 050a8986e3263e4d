#include "syzygy/tbboard.h"

#include "board/bitboard.h"

static Bitboard own_pieces(const TBPosition& pos) { return pos.turn ? pos.white : pos.black; }
static Bitboard other_pieces(const TBPosition& pos) { return pos.turn ? pos.black : pos.white; }

Bitboard tb_pieces(const TBPosition& pos, int code) {
    Bitboard colour = colour_of(code) == WHITE ? pos.white : pos.black;
    switch (type_of(code)) {
    case PAWN: return colour & pos.pawns;
    case KNIGHT: return colour & pos.knights;
    case BISHOP: return colour & pos.bishops;
    case ROOK: return colour & pos.rooks;
    case QUEEN: return colour & pos.queens;
    case KING: return colour & pos.kings;
    default: return 0;
    }
}

// Tells whether a colour's king is attacked; so is a king that does not exist.
static bool king_attacked(const TBPosition& pos, int colour) {
    Bitboard own = colour == WHITE ? pos.white : pos.black;
    Bitboard other = colour == WHITE ? pos.black : pos.white;
    if (!(pos.kings & own)) return true;
    int king = bit_scan_forward(pos.kings & own);
    Bitboard all = own | other;
    return ((king_attacks[king] & pos.kings) | (knight_attacks[king] & pos.knights)
            | (pawn_attacks[colour][king] & pos.pawns)
            | (rook_attacks(king, all) & (pos.rooks | pos.queens))
            | (bishop_attacks(king, all) & (pos.bishops | pos.queens)))
         & other;
}

int tb_legal(const TBPosition& pos) { return !king_attacked(pos, pos.turn ? BLACK : WHITE); }

bool tb_in_check(const TBPosition& pos) { return king_attacked(pos, pos.turn ? WHITE : BLACK); }

static TBMove make_tb_move(int from, int to, int promotion) {
    return static_cast<TBMove>(to | from << 6 | promotion << 12);
}

static TBMove* add_moves(TBMove* out, int from, Bitboard targets) {
    while (targets) *out++ = make_tb_move(from, pop_lowest(targets), 0);
    return out;
}

static TBMove* add_pawn_moves(TBMove* out, int from, Bitboard targets) {
    while (targets) {
        int to = pop_lowest(targets);
        if (bit(to) & (RANK_1 | RANK_8)) {
            for (int promotion : {TB_QUEEN, TB_ROOK, TB_BISHOP, TB_KNIGHT})
                *out++ = make_tb_move(from, to, promotion);
        } else {
            *out++ = make_tb_move(from, to, 0);
        }
    }
    return out;
}

// Moves of all pieces but pawns onto `targets`.
static TBMove* gen_piece_moves(const TBPosition& pos, TBMove* out, Bitboard targets) {
    Bitboard own = own_pieces(pos), all = tb_occupied(pos);
    for (Bitboard set = own & pos.kings; set;) {
        int from = pop_lowest(set);
        out = add_moves(out, from, king_attacks[from] & targets);
    }
    for (Bitboard set = own & pos.queens; set;) {
        int from = pop_lowest(set);
        out = add_moves(out, from, (rook_attacks(from, all) | bishop_attacks(from, all)) & targets);
    }
    for (Bitboard set = own & pos.rooks; set;) {
        int from = pop_lowest(set);
        out = add_moves(out, from, rook_attacks(from, all) & targets);
    }
    for (Bitboard set = own & pos.bishops; set;) {
        int from = pop_lowest(set);
        out = add_moves(out, from, bishop_attacks(from, all) & targets);
    }
    for (Bitboard set = own & pos.knights; set;) {
        int from = pop_lowest(set);
        out = add_moves(out, from, knight_attacks[from] & targets);
    }
    return out;
}

static Bitboard pawn_captures(const TBPosition& pos, int from) {
    Bitboard targets = other_pieces(pos) | (pos.ep ? bit(pos.ep) : 0);
    return pawn_attacks[pos.turn ? WHITE : BLACK][from] & targets;
}

static Bitboard pawn_advances(const TBPosition& pos, int from) {
    const int side = pos.turn ? WHITE : BLACK;
    Bitboard empty = ~tb_occupied(pos);
    Bitboard one = step_forward(side, bit(from)) & empty;
    Bitboard first_step = side == WHITE ? rank_mask(2) : rank_mask(5);
    return one | (step_forward(side, one & first_step) & empty);
}

TBMove* tb_gen_moves(const TBPosition& pos, TBMove* out) {
    out = gen_piece_moves(pos, out, ~own_pieces(pos));
    for (Bitboard set = own_pieces(pos) & pos.pawns; set;) {
        int from = pop_lowest(set);
        out = add_pawn_moves(out, from, pawn_captures(pos, from) | pawn_advances(pos, from));
    }
    return out;
}

TBMove* tb_gen_captures(const TBPosition& pos, TBMove* out) {
    out = gen_piece_moves(pos, out, other_pieces(pos));
    for (Bitboard set = own_pieces(pos) & pos.pawns; set;) {
        int from = pop_lowest(set);
        out = add_pawn_moves(out, from, pawn_captures(pos, from));
    }
    return out;
}

TBMove* tb_gen_ep_captures(const TBPosition& pos, TBMove* out) {
    if (!pos.ep) return out;
    Bitboard takers = pawn_attacks[pos.turn ? BLACK : WHITE][pos.ep] & own_pieces(pos) & pos.pawns;
    while (takers) *out++ = make_tb_move(pop_lowest(takers), pos.ep, 0);
    return out;
}

TBMove* tb_gen_pawn_advances(const TBPosition& pos, TBMove* out) {
    for (Bitboard set = own_pieces(pos) & pos.pawns; set;) {
        int from = pop_lowest(set);
        out = add_pawn_moves(out, from, pawn_advances(pos, from));
    }
    return out;
}

bool tb_is_ep_capture(const TBPosition& pos, TBMove move) {
    return pos.ep && tb_to(move) == pos.ep && (pos.pawns & bit(tb_from(move)));
}

// A pawn's double step lets an enemy pawn capture on the skipped square, if one attacks it.
static uint8_t skipped_square(const TBPosition& pos, int from, int to) {
    if (to - from != 16 && from - to != 16) return 0;
    int skipped = (from + to) / 2;
    Bitboard takers = pawn_attacks[pos.turn ? WHITE : BLACK][skipped] & other_pieces(pos);
    return takers & pos.pawns ? static_cast<uint8_t>(skipped) : 0;
}

int tb_do_move(TBPosition& next, const TBPosition& pos, TBMove move) {
    const int from = tb_from(move), to = tb_to(move);
    const Bitboard start = bit(from), end = bit(to);
    Bitboard gone = start | end;
    if (tb_is_ep_capture(pos, move)) gone |= pos.turn ? end >> 8 : end << 8;

    next.white = (pos.white & ~gone) | (pos.turn ? end : 0);
    next.black = (pos.black & ~gone) | (pos.turn ? 0 : end);
    // The mover's kind is the one set that holds its square.
    auto moved = [&](Bitboard set) { return (set & ~gone) | (set & start ? end : 0); };
    next.kings = moved(pos.kings);
    next.queens = moved(pos.queens);
    next.rooks = moved(pos.rooks);
    next.bishops = moved(pos.bishops);
    next.knights = moved(pos.knights);
    next.pawns = moved(pos.pawns);
    if (int promotion = tb_promotion(move)) {
        next.pawns &= ~end;
        if (promotion == TB_QUEEN) next.queens |= end;
        if (promotion == TB_ROOK) next.rooks |= end;
        if (promotion == TB_BISHOP) next.bishops |= end;
        if (promotion == TB_KNIGHT) next.knights |= end;
    }
    const bool pawn = pos.pawns & start, zeroing = pawn || (other_pieces(pos) & end);
    next.rule50 = zeroing ? 0 : static_cast<uint8_t>(pos.rule50 + (pos.rule50 < 255));
    next.ep = pawn ? skipped_square(pos, from, to) : 0;
    next.turn = !pos.turn;
    return tb_legal(next);
}
