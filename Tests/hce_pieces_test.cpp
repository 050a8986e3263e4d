// Terms of knights, bishops, rooks and queens, and the attack maps that they leave behind.
//
// Pins internals: the packed totals and attack maps of EvalContext after an evaluation.

#include <algorithm>
#include <vector>

#include "hce_support.h"

namespace {

using PieceTerm = OwnParamsTable<TermCase>;
using PieceShare = OwnParamsTable<ShareCase>;
class HcePieces : public OwnParams {};
class AttackMaps : public OwnParams {};

std::string name_of_term(const testing::TestParamInfo<TermCase>& test) { return test.param.name; }
std::string name_of_share(const testing::TestParamInfo<ShareCase>& test) { return test.param.name; }

} // namespace

TEST_P(PieceTerm, IsAddedOnceForEach) { expect_times(GetParam()); }

// clang-format off
INSTANTIATE_TEST_SUITE_P(Knights, PieceTerm, testing::Values(
    //       name                             row                 pieces                        white black
    TermCase{"Material",                      mtl_knight,         "Kg1 Nb1 Nc3 Pa2 kg8 nf6",       2, 1},
    TermCase{"TrappedBehindItsOwnPawns",      knight_trapped,     "Ke1 Na1 Pb3 Pc2 ke8",           1, 0},
    TermCase{"TrappedByPawnAttacks",          knight_trapped,     "Ke1 Na1 ke8 pa4 pb3",           1, 0},
    TermCase{"OneSquareIsEnough",             knight_trapped,     "Ke1 Na1 Pb3 ke8",               0, 0},
    TermCase{"SquareHeldByAnEnemyIsMobile",   knight_trapped,     "Ke1 Na1 Pb3 ke8 nc2",           0, 0},
    TermCase{"OutpostAttackedOnceEach",       knight_outpost_atk, "Kh1 Ne2 Nc2 Pa2 kh8",           2, 0},
    TermCase{"NoOutpostAttacked",             knight_outpost_atk, "Kh1 Nd1 Pa2 kh8",               0, 0},
    TermCase{"GuardableSquareIsNoOutpost",    knight_outpost_atk, "Kh1 Nc2 Pa2 kh8 pa7 pc7 pe7",   0, 0}),
    name_of_term);

INSTANTIATE_TEST_SUITE_P(Bishops, PieceTerm, testing::Values(
    TermCase{"Material",                      mtl_bishop,         "Kg1 Bb1 Bc3 Pa2 kg8 bf6",       2, 1},
    TermCase{"TrappedBehindItsPawn",          bishop_trapped,     "Ke1 Ba1 Pb2 ke8",               1, 0},
    TermCase{"NotTrappedByAnEnemyPiece",      bishop_trapped,     "Ke1 Ba1 Ph2 ke8 nb2",           0, 0},
    TermCase{"CentreSquares",                 bishop_mob2,        "Kh1 Bd4 Pa2 kh8",               5, 0},
    TermCase{"HeldCentreSquaresCount",        bishop_mob2,        "Kh1 Bd4 Pc5 kh8",               5, 0},
    TermCase{"CentreSquaresBehindAQueen",     bishop_mob2,        "Kh1 Bb2 Qc3 Pa2 kh8 pa7",       4, 0},
    TermCase{"CentreSquaresBehindARook",      bishop_mob2,        "Kh1 Bb2 Rc3 Pa2 kh8 pa7",       1, 0},
    TermCase{"OutpostAttacked",               bishop_outpost_atk, "Kg1 Ba8 Pa2 kh8",               1, 0},
    TermCase{"OutpostOutOfReach",             bishop_outpost_atk, "Ka1 Bh2 Pg3 kh8",               0, 0},
    TermCase{"PairOnBothColours",             bishop_pair,        "Kh1 Bc1 Bf1 Pa2 kh8 bc8",       1, 0},
    TermCase{"NoPairOnOneColour",             bishop_pair,        "Kh1 Bc1 Be3 Pa2 kh8",           0, 0},
    TermCase{"ThreeBishopsAreOnePair",        bishop_pair,        "Kh1 Bc1 Be3 Bf1 Pa2 kh8",       1, 0},
    TermCase{"RamOnTheBishopsColour",         bishop_rampawns,    "Kh1 Bd3 Pe4 kh8 pe5",           1, 0},
    TermCase{"BlockingPawnHurtsTheOther",     bishop_rampawns,    "Kh1 Pe4 kh8 pe5 bf8",           0, 1},
    TermCase{"RamOnTheOtherColour",           bishop_rampawns,    "Kh1 Bd2 Pe4 kh8 pe5 bc8",       0, 0},
    TermCase{"EachRamCounts",                 bishop_rampawns,    "Kh1 Bd3 Pc4 Pe4 kh8 pc5 pe5",   2, 0},
    TermCase{"TwoBishopsTwoColours",          bishop_rampawns,    "Kh1 Bd2 Bd3 Pd4 Pe4 kh8 pd5 pe5", 2, 0},
    TermCase{"TwoBishopsOfAColourCountOnce",  bishop_rampawns,    "Kh1 Bb1 Bd3 Pe4 kh8 pe5",       1, 0},
    TermCase{"FreePawnIsNoRam",               bishop_rampawns,    "Kh1 Bd3 Pe4 Pg4 kh8 pe5",       1, 0},
    TermCase{"PawnBlockedByAPieceIsNoRam",    bishop_rampawns,    "Kh1 Bd3 Pe4 kh8 ne5",           0, 0},
    TermCase{"RookFilesDontCount",            bishop_rampawns,    "Kg1 Bd3 Pa4 Ph5 kg8 pa5 ph6",   0, 0}),
    name_of_term);

INSTANTIATE_TEST_SUITE_P(Rooks, PieceTerm, testing::Values(
    TermCase{"Material",                      mtl_rook,           "Kg1 Ra1 Rb1 Pa2 kg8 rf6",       2, 1},
    TermCase{"TrappedInTheCorner",            rook_trapped,       "Kb1 Ra1 Pa2 kh8 ph7",           1, 0},
    TermCase{"NotTrappedBehindItsQueen",      rook_trapped,       "Kc1 Ra1 Qa2 Pb1 kh8 ph7",       0, 0},
    TermCase{"EnemyHalfOfItsFile",            rook_mob2,          "Kh1 Re1 Pa2 kh7 pg7",           4, 0},
    TermCase{"ItsOwnSquareDoesNotCount",      rook_mob2,          "Kh1 Re5 Pa2 kh7 pg7",           3, 0},
    TermCase{"PieceOnTheFileEndsTheReach",    rook_mob2,          "Kh1 Re1 Pa2 kh7 ne6",           2, 0},
    TermCase{"OwnPawnShutsTheFile",           rook_mob2,          "Kh1 Re1 Pe4 kh7 pg7",           0, 0},
    TermCase{"DoubledRooksSeeThroughEachOther", rook_mob2,        "Kh1 Re1 Re2 Pa2 kh7 pg7",       8, 0},
    TermCase{"OpenFile",                      rook_openfile,      "Kh1 Re1 Pa2 kh7 pg7",           1, 0},
    TermCase{"EnemyPawnOnTheFile",            rook_openfile,      "Kh1 Re1 Pa2 kh7 pe7",           0, 0},
    TermCase{"OwnPawnBehindTheRook",          rook_openfile,      "Kh1 Re3 Pe2 kh7 pg7",           0, 0},
    TermCase{"PieceOnTheFileLeavesItOpen",    rook_openfile,      "Kh1 Re1 Pa2 kh7 ne6",           1, 0},
    TermCase{"SeventhWithKingOnTheEighth",    rook_7th,           "Kh1 Re7 Pa2 kh8 ph6",           1, 0},
    TermCase{"SeventhWithKingOnTheSeventh",   rook_7th,           "Kh1 Re7 Pa2 kh7 ph6",           1, 0},
    TermCase{"SeventhWithKingOnTheSixth",     rook_7th,           "Kh1 Re7 Pa2 kh6 ph5",           0, 0},
    TermCase{"SixthRank",                     rook_7th,           "Kh1 Re6 Pa2 kh8 ph6",           0, 0}),
    name_of_term);

INSTANTIATE_TEST_SUITE_P(Queens, PieceTerm, testing::Values(
    TermCase{"Material",                      mtl_queen,          "Kg1 Qa1 Qb1 Pa2 kg8 qf6",       2, 1},
    TermCase{"TrappedInTheCorner",            queen_trapped,      "Kb1 Qa1 Pa2 Pb2 kh8 ph7",       1, 0},
    TermCase{"TrappedByAKnight",              queen_trapped,      "Kb1 Qa1 Pb2 kh8 nb4 nc4 nd6 pb5", 0, 0},
    TermCase{"EnemyQueenDoesNotTrap",         queen_trapped,      "Kb1 Qa1 Pb2 Pa3 kh8 qa8",       0, 0},
    TermCase{"EnemyRookTraps",                queen_trapped,      "Kb1 Qa1 Pb2 Pa3 kh8 rh2 pc3",   0, 0}),
    name_of_term);
// clang-format on

TEST_P(PieceShare, IsAddedScaled) { expect_shares(GetParam()); }

// clang-format off
INSTANTIATE_TEST_SUITE_P(Outposts, PieceShare, testing::Values(
    //        name                            row             pieces                       white  black
    ShareCase{"KnightGuardedByAPawn",         knight_outpost, "Ke1 Ne5 Pd4 ke8",           1.0f,  0.0f},
    ShareCase{"KnightWithoutAPawn",           knight_outpost, "Ke1 Ne5 Ph2 ke8",           0.4f,  0.0f},
    ShareCase{"PawnMayStillAttack",           knight_outpost, "Ke1 Ne5 Pd4 ke8 pd7",       0.0f,  0.0f},
    ShareCase{"LevelPawnHasPassed",           knight_outpost, "Ke1 Ne5 Ph2 ke8 pd5",       0.4f,  0.0f},
    ShareCase{"EdgeFile",                     knight_outpost, "Ke1 Na5 Pb4 ke8",           0.0f,  0.0f},
    ShareCase{"SeventhRank",                  knight_outpost, "Kh1 Ne7 Pd6 kh8",           0.0f,  0.0f},
    ShareCase{"SixthRank",                    knight_outpost, "Kh1 Ne6 Pd5 kh8",           1.0f,  0.0f},
    ShareCase{"ThirdRank",                    knight_outpost, "Kh1 Ne3 Pd2 kh8",           0.0f,  0.0f},
    ShareCase{"BlackKnightOnTheThird",        knight_outpost, "Kh1 Ph7 kg8 ne3 pd4",       0.0f,  1.0f},
    ShareCase{"BishopGuardedByAPawn",         bishop_outpost, "Kh1 Be5 Pd4 kg8",           1.0f,  0.0f},
    ShareCase{"BishopWithoutAPawn",           bishop_outpost, "Kh1 Be5 Ph2 kg8",           0.4f,  0.0f},
    ShareCase{"BishopThatPawnsMayAttack",     bishop_outpost, "Kh1 Be5 Pd4 kg8 pf7",       0.0f,  0.0f}),
    name_of_share);

INSTANTIATE_TEST_SUITE_P(Mobility, PieceShare, testing::Values(
    ShareCase{"KnightWithoutASquare",         knight_mobility, "Ke1 Na1 Pb3 Pc2 ke8",          -0.5f,  0.0f},
    ShareCase{"KnightBeforePawns",            knight_mobility, "Ke1 Na1 ke8 pa4 pb3",          -0.5f,  0.0f},
    ShareCase{"KnightWithOneSquare",          knight_mobility, "Ke1 Na1 Pb3 ke8",              -0.15f, 0.0f},
    ShareCase{"KnightWithTwoSquares",         knight_mobility, "Ke1 Na1 Ph2 ke8",              0.0f,   0.0f},
    ShareCase{"KnightInTheCentre",            knight_mobility, "Ke1 Nd4 Ph2 ke8",              0.5f,   0.0f},
    ShareCase{"BishopWithoutASquare",         bishop_mobility, "Ke1 Ba1 Pb2 ke8",              -0.5f,  0.0f},
    ShareCase{"BishopBehindItsPawn",          bishop_mobility, "Kh1 Bc1 Pd2 kh8",              -0.07f, 0.0f},
    ShareCase{"BishopSeesThroughItsQueen",    bishop_mobility, "Kh1 Bc1 Qd2 kh8 pa7",          0.24f,  0.0f},
    ShareCase{"BishopSeesThroughAnyQueen",    bishop_mobility, "Kh1 Bc1 Pa2 kh8 qd2",          0.3f,   0.0f},
    ShareCase{"BishopStopsAtARook",           bishop_mobility, "Kh1 Bc1 Pa2 kh8 rd2",          0.02f,  0.0f},
    ShareCase{"BishopBeforePawns",            bishop_mobility, "Kh1 Bc1 Ph2 kh8 pd4",          0.24f,  0.0f},
    ShareCase{"RookWithoutASquare",           rook_mobility,   "Kb1 Ra1 Pa2 kh8 ph7",          -0.5f,  0.0f},
    ShareCase{"RookSeesThroughItsQueen",      rook_mobility,   "Kh1 Ra1 Qd1 Pa2 kh8 ph7",      0.17f,  0.0f},
    ShareCase{"RookSeesThroughAnyQueen",      rook_mobility,   "Kh1 Ra1 Pa2 kh8 ph7 qd1",      0.24f,  0.0f},
    ShareCase{"RookStopsAtABishop",           rook_mobility,   "Kh1 Ra1 Bd1 Pa2 kh8 ph7",      -0.07f, 0.0f},
    ShareCase{"RookStopsAtAnEnemyRook",       rook_mobility,   "Kh1 Ra1 Pa2 kh8 ph7 rd1",      0.02f,  0.5f},
    ShareCase{"RookBeforeAKnight",            rook_mobility,   "Kh1 Ra1 Pa2 kh8 ph7 nd2",      0.1f,   0.0f},
    ShareCase{"QueenWithoutASquare",          queen_mobility,  "Kb1 Qa1 Pa2 Pb2 kh8 ph7",      -0.5f,  0.0f},
    ShareCase{"QueenOnAnOpenBoard",           queen_mobility,  "Kh1 Qd1 Pa2 kh8 ph7",          0.5f,   0.0f},
    ShareCase{"QueenBeforeARook",             queen_mobility,  "Kh1 Qd1 Pa2 kh8 ph7 rg5",      0.39f,  0.0f}),
    name_of_share);
// clang-format on

namespace {

// Squares that a piece attacks, walked step by step. Pieces of the codes in `transparent` don't
// stop it.
std::vector<int> walk(const Position& pos, int from, int type,
                      const std::vector<int>& transparent) {
    static const int KNIGHT_STEPS[8][2] = {{1, 2},   {2, 1},   {2, -1}, {1, -2},
                                           {-1, -2}, {-2, -1}, {-2, 1}, {-1, 2}};
    static const int KING_STEPS[8][2] = {{0, 1}, {1, 0},  {0, -1}, {-1, 0},
                                         {1, 1}, {1, -1}, {-1, 1}, {-1, -1}};
    std::vector<int> reached;
    for (int i = 0; i < 8; i++) {
        if ((type == ROOK && i >= 4) || (type == BISHOP && i < 4)) continue;
        const int* step = type == KNIGHT ? KNIGHT_STEPS[i] : KING_STEPS[i];
        int file = from % 8 + step[0], rank = from / 8 + step[1];
        while (file >= 0 && file < 8 && rank >= 0 && rank < 8) {
            int to = rank * 8 + file;
            reached.push_back(to);
            bool through = pos.board[to] == 0;
            for (int code : transparent) through = through || pos.board[to] == code;
            if (type == KNIGHT || !through) break;
            file += step[0];
            rank += step[1];
        }
    }
    return reached;
}

// Squares attacked by the pieces of one kind and colour, as mobility sees them.
Bitboard attacks_of_kind(const Position& pos, int side, int type) {
    const int queens[2] = {piece_code(WHITE, QUEEN), piece_code(BLACK, QUEEN)};
    std::vector<int> transparent;
    if (type == BISHOP || type == ROOK) transparent = {queens[0], queens[1]};
    if (type == ROOK) transparent.push_back(piece_code(side, ROOK));
    Bitboard set = 0;
    for (int from = 0; from < 64; from++) {
        if (pos.board[from] != piece_code(side, type)) continue;
        if (type == PAWN) {
            set |= pawn_attacks[side][from];
            continue;
        }
        for (int to : walk(pos, from, type, transparent)) set |= bit(to);
    }
    return set;
}

struct MobilityTable {
    int type, row;
    std::vector<float> shares;
};

const std::vector<MobilityTable>& mobility_tables() {
    static const std::vector<float> BISHOP_SHARES = {-0.5f, -0.2f, -0.07f, 0.02f, 0.1f,
                                                     0.17f, 0.24f, 0.3f,   0.35f, 0.4f,
                                                     0.45f, 0.5f,  0.5f,   0.5f};
    static const std::vector<MobilityTable> TABLES = {
        {KNIGHT, knight_mobility, {-0.5f, -0.15f, 0.0f, 0.11f, 0.21f, 0.29f, 0.37f, 0.44f, 0.5f}},
        {BISHOP, bishop_mobility, BISHOP_SHARES},
        {ROOK,
         rook_mobility,
         {-0.5f, -0.2f, -0.07f, 0.02f, 0.1f, 0.17f, 0.24f, 0.3f, 0.35f, 0.4f, 0.45f, 0.5f, 0.5f,
          0.5f, 0.5f}},
        {QUEEN, queen_mobility, {-0.5f, -0.28f, -0.18f, -0.11f, -0.05f, 0.0f,  0.05f,
                                 0.09f, 0.13f,  0.17f,  0.21f,  0.24f,  0.27f, 0.31f,
                                 0.34f, 0.37f,  0.39f,  0.42f,  0.45f,  0.47f, 0.5f,
                                 0.5f,  0.5f,   0.5f,   0.5f,   0.5f,   0.5f,  0.5f}},
    };
    return TABLES;
}

} // namespace

TEST_F(HcePieces, MobilityFollowsTheTablesOnRandomBoards) {
    for (const MobilityTable& table : mobility_tables()) {
        Random random = {77};
        only_row(table.row, 1000, -1000);
        std::vector<int> seen(table.shares.size(), 0);
        for (int n = 0; n < 1500; n++) {
            std::string fen = random_placement(random);
            Position& pos = set_up(fen.c_str());
            int ignored = 0;
            if (endgame_score(pos, pos.side, ignored)) continue;
            Halves expected[2] = {};
            for (int side : {WHITE, BLACK}) {
                Bitboard shut = pos.pieces[side][ALL_PIECES];
                int kinds =
                    table.type <= BISHOP ? PAWN : table.type - 1; // lesser ones shut squares
                for (int kind = PAWN; kind <= kinds; kind++)
                    shut |= attacks_of_kind(pos, side ^ 1, kind);
                std::vector<int> transparent;
                if (table.type == BISHOP || table.type == ROOK)
                    transparent = {piece_code(WHITE, QUEEN), piece_code(BLACK, QUEEN)};
                if (table.type == ROOK) transparent.push_back(piece_code(side, ROOK));
                for (int from = 0; from < 64; from++) {
                    if (pos.board[from] != piece_code(side, table.type)) continue;
                    size_t mobile = 0;
                    for (int to : walk(pos, from, table.type, transparent))
                        if (!(shut & bit(to))) mobile++;
                    seen[mobile]++;
                    Halves share = share_of_1000(table.shares[mobile]);
                    expected[side].mg += share.mg;
                    expected[side].eg += share.eg;
                }
            }
            HceEval(*main_thread, pos.side, 1, 0);
            for (int side : {WHITE, BLACK})
                ASSERT_EQ(halves(main_thread->eval.context.packed[side]), expected[side]) << fen;
        }
        // Hardly ever a queen is shut in, or stands on an empty board.
        size_t first = table.type == QUEEN ? 1 : 0, end = table.type == QUEEN ? 20 : 12;
        for (size_t i = first; i < std::min(end, seen.size()); i++)
            EXPECT_GT(seen[i], 0) << table.type << ' ' << i;
    }
}

TEST_F(HcePieces, QueenOnAnEmptyBoardHasUpTo27Squares) {
    only_row(queen_mobility, 1000, -1000);
    for (const char* place : {"d4", "e4", "d5", "e5"})
        expect_totals(placed(std::string("Ka2 kh3 ph2 Q") + place), {500, -500}, {0, 0});
}

TEST_F(HcePieces, TablesFollowTheKingHalves) {
    struct {
        char letter;
        int same, opposite; // first rows
    } const tables[] = {
        {'N', PST_N1, PST_N2}, {'B', PST_B1, PST_B2}, {'R', PST_R1, PST_R2}, {'Q', PST_Q1, PST_Q2}};
    for (const auto& t : tables) {
        // Kings of White and Black, then the rows at which c3 and f6 are looked up.
        struct {
            const char* kings;
            int white, black;
        } const cases[] = {
            {"Ke1 ke8", t.same + square("c3"), t.same + square("f3")},
            {"Kd1 kd8", t.same + square("f3"), t.same + square("c3")},
            {"Ke1 kd8", t.opposite + square("c3"), t.opposite + square("c3")},
            {"Kd1 ke8", t.opposite + square("f3"), t.opposite + square("f3")},
        };
        const std::string pieces =
            std::string(" Ph2 ") + t.letter + "c3 " + static_cast<char>(t.letter | 0x20) + "f6";
        for (const auto& c : cases) {
            only_row(c.white, 100, -7);
            EXPECT_EQ(halves(evaluated(c.kings + pieces).packed[WHITE]), (Halves{100, -7}))
                << t.letter << ' ' << c.kings;
            only_row(c.black, 100, -7);
            EXPECT_EQ(halves(evaluated(c.kings + pieces).packed[BLACK]), (Halves{100, -7}))
                << t.letter << ' ' << c.kings;
        }
    }
}

TEST_F(HcePieces, RowsShowWithTheirDefaults) {
    // A knight on e5 guarded by d4, with eight mobile squares; kings on the same half.
    const EvalContext& context = evaluated("Kg1 Ne5 Pd4 kg8 pa7");
    const EvalParam& table = eval_params[PST_N1 + square("e5")];

    testing::internal::CaptureStdout();
    HceEval(*main_thread, WHITE, 1, 1);
    testing::internal::GetCapturedStdout();

    // Material 390,387; mobility 0.5 of 62,47; outpost 35,10; outposts attacked 9,13.
    EXPECT_EQ(halves(context.group[GROUP_KNIGHTS][WHITE]),
              (Halves{390 + 31 + 35 + 9 + static_cast<int>(table.mg),
                      387 + 23 + 10 + 13 + static_cast<int>(table.eg)}));
    EXPECT_EQ(context.group[GROUP_KNIGHTS][BLACK], 0);
    EXPECT_EQ(context.group[GROUP_BISHOPS][WHITE], 0);
}

TEST_F(AttackMaps, HoldEachKindAndTheirUnions) {
    Random random = {5};
    for (int n = 0; n < 300; n++) {
        std::string fen = random_placement(random);
        Position& pos = set_up(fen.c_str());
        int ignored = 0;
        if (endgame_score(pos, pos.side, ignored)) continue;
        const EvalContext& context = evaluated_fen(fen);
        for (int side : {WHITE, BLACK}) {
            Bitboard sum = 0;
            const Bitboard* unions[4] = {nullptr, context.lesser_attacks,
                                         context.minor_rook_attacks, context.non_king_attacks};
            for (int kind = PAWN; kind <= QUEEN; kind++) {
                Bitboard attacks = attacks_of_kind(pos, side, kind);
                ASSERT_EQ(context.attacks[side][kind], attacks) << fen << " kind " << kind;
                sum |= attacks;
                if (kind >= BISHOP) {
                    ASSERT_EQ(unions[kind - 2][side], sum) << fen << " up to " << kind;
                }
            }
            Bitboard king = king_attacks[pos.king_square[side]];
            ASSERT_EQ(context.attacks[side][KING], king) << fen;
            ASSERT_EQ(context.attacks[side][ATTACKS_ALL], sum | king) << fen;
        }
    }
}

TEST_F(AttackMaps, QueenAttacksASecondTimeThroughHerRook) {
    const EvalContext& context = evaluated("Kh1 Qd1 Rd3 Pa2 kh8 ph7");

    EXPECT_EQ(context.attacks[WHITE][QUEEN] & squares("d4 d5"), 0u);
    EXPECT_EQ(context.double_attacks[WHITE] & squares("d4 d5"), squares("d4 d5"));
}

TEST_F(AttackMaps, QueenAttacksASecondTimeThroughHerBishop) {
    const EvalContext& context = evaluated("Kh1 Qd1 Bf3 Pa2 kh8 ph7");

    EXPECT_EQ(context.attacks[WHITE][QUEEN] & squares("g4 h5"), 0u);
    EXPECT_EQ(context.double_attacks[WHITE] & squares("g4 h5"), squares("g4 h5"));
}

TEST_F(AttackMaps, QueenDoesNotSeeThroughOthers) {
    // The pawns attack d5 and g4 once; a queen that saw through the pieces would attack them too.
    EXPECT_EQ(evaluated("Kh1 Qd1 Bd3 Pe4 kh8 ph7").double_attacks[WHITE] & squares("d5"), 0u);
    EXPECT_EQ(evaluated("Kh1 Qd1 Rf3 Ph3 kh8 ph7").double_attacks[WHITE] & squares("g4"), 0u);
    EXPECT_EQ(evaluated("Kh1 Qd1 Nd3 Pe4 kh8 ph7").double_attacks[WHITE] & squares("d5"), 0u);
    EXPECT_EQ(evaluated("Kh1 Qd1 Be2 Rf3 Ph3 kh8 ph7").double_attacks[WHITE] & squares("g4"), 0u);
    EXPECT_EQ(evaluated("Kh1 Qd1 Rd2 Bd3 Pe4 kh8 ph7").double_attacks[WHITE] & squares("d5"), 0u);
}

TEST_F(AttackMaps, PiecesPressTheKingWhoseZoneTheyReach) {
    struct {
        const char* pieces;
        int weight;
    } const cases[] = {
        {"Ka1 Ne4 Pa2 kg8", 4},             // f6
        {"Ka1 Bc3 Pa2 kg8", 3},             // f6, g7
        {"Ka1 Rf1 Pa2 kg8 pa7", 4},         // f6 to f8
        {"Ka1 Qc3 Pa2 kg8 pa7", 5},         // f6, g7
        {"Ka1 Ne4 Nd5 Pa2 kg8", 8},         // each piece once
        {"Ka1 Nd4 Ba3 Re1 Pa2 kg8 pa7", 3}, // of the three only the bishop gets there, on f8
        {"Kh1 Qd1 Rd3 Pa2 kd8 ph7", 9},     // the queen through the rook
        {"Kh1 Qd1 Bd3 Pa2 kd8 pa7", 0},     // but not through a bishop on her file
    };
    for (const auto& c : cases) {
        EXPECT_EQ(evaluated(c.pieces).king_attack_weight[BLACK], c.weight) << c.pieces;
        std::string flipped = mirrored(placed(c.pieces), 56);
        EXPECT_EQ(evaluated_fen(flipped).king_attack_weight[WHITE], c.weight) << c.pieces;
    }
}

TEST_F(AttackMaps, KingZoneHoldsNineSquaresOffTheEdge) {
    EXPECT_EQ(evaluated("Kh1 ka8 Pa2 pa7").king_zone[WHITE], squares("f1 g1 h1 f2 g2 h2 f3 g3 h3"));
    EXPECT_EQ(evaluated("Kh1 ka8 Pa2 pa7").king_zone[BLACK], squares("a8 b8 c8 a7 b7 c7 a6 b6 c6"));
    EXPECT_EQ(evaluated("Kd4 kg7 Pa2 pa7").king_zone[WHITE], squares("c3 d3 e3 c4 d4 e4 c5 d5 e5"));
    EXPECT_EQ(evaluated("Kd4 kg7 Pa2 pa7").king_zone[BLACK], squares("f8 g8 h8 f7 g7 h7 f6 g6 h6"));
}
