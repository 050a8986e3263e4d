// The printed report of the hand-crafted evaluation.

#include <cstdlib>

#include <gtest/gtest.h>

#include "eval/evaluate.h"
#include "eval/params.h"
#include "eval/state.h"
#include "search/thread.h"
#include "shell_fixture.h"

namespace {

const char* const GROUPS[] = {"pawns:", "knights:", "bishops:", "rooks:",  "queens:",
                              "king:",  "ppawns:",  "threats:", "special:"};

std::vector<std::string> report(const char* fen, int form) {
    Position& pos = set_up(fen);
    refresh_eval_tables(*main_thread);
    main_thread->eval.nn_score = 0;
    return printed_by([&] { HceEval(*main_thread, pos.side, 1, form); });
}

// White's and Black's value of a group.
struct Values {
    int white = -99999, black = -99999;
};
Values group_values(const std::vector<std::string>& lines, const char* group) {
    Values values;
    for (const std::string& line : lines)
        if (count_lines({line}, group) == 1)
            sscanf(line.c_str() + 10, "%d %d", &values.white, &values.black);
    return values;
}

int total(const std::vector<std::string>& lines, const char* name) {
    for (const std::string& line : lines)
        if (size_t at = line.find(name); count_lines({line}, "nne= ") == 1)
            return atoi(line.c_str() + at + strlen(name));
    return -99999;
}

class EvalReportForms : public ShellTest {};

} // namespace

TEST_F(EvalReportForms, TheFirstFormIsAFixedSequenceOfLines) {
    std::vector<std::string> lines = report(START_FEN, 1);
    ASSERT_EQ(lines.size(), 12u) << joined(lines);
    EXPECT_EQ(lines[0], "           white  black");
    for (int i = 0; i < 9; i++)
        EXPECT_EQ(count_lines({lines[1 + i]}, GROUPS[i]), 1) << lines[1 + i];
    EXPECT_EQ(lines[9], "special:      37      0") << "the side to move's bonus";
    EXPECT_EQ(lines[10], "nne= 0, hce= 37, mtl= 0, phase= 0.00, sf= 1.00, rule50= 0");
    EXPECT_EQ(lines[11], "");
}

TEST_F(EvalReportForms, BothSidesHaveTheSameGroupsInASymmetricPosition) {
    std::vector<std::string> lines = report(START_FEN, 1);
    for (int i = 0; i < 8; i++) {
        Values values = group_values(lines, GROUPS[i]);
        EXPECT_EQ(values.white, values.black) << GROUPS[i];
    }
}

TEST_F(EvalReportForms, MaterialIsTakenOutOfTheGroupsAndSummedUp) {
    std::vector<std::string> lines =
        report("r1bqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -", 1);
    EXPECT_EQ(total(lines, "mtl= "), 390) << "a knight more";
    EXPECT_LT(group_values(lines, "knights:").white, 100);

    EXPECT_EQ(total(report("r1bqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR b KQkq -", 1), "mtl= "),
              -390)
        << "from the side to move's view";
}

TEST_F(EvalReportForms, TheTotalIsTheScore) {
    Random random = {3};
    for (int i = 0; i < 200; i++) {
        std::string fen = random_fen(random);
        std::vector<std::string> lines = report(fen.c_str(), 1);
        int score = HceEval(*main_thread, game().side, 1, 0);
        if (lines.empty()) continue; // an ending that is known
        EXPECT_EQ(total(lines, "hce= "), score) << fen;
    }
}

TEST_F(EvalReportForms, HangingPiecesAndFreePawnsAreListedOnlyIfThereAreSome) {
    EXPECT_EQ(count_lines(report(START_FEN, 1), "hung pieces on:"), 0);
    EXPECT_EQ(count_lines(report(START_FEN, 1), "free pawns on:"), 0);
    EXPECT_TRUE(
        has_line(report("r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq -", 1),
                 "hung pieces on:  c3 a6"));
    EXPECT_EQ(count_lines(report("4k3/1n6/8/P7/8/8/8/N3K3 w - -", 1), "free pawns on: "), 1)
        << "a passed pawn with a free way";
}

TEST_F(EvalReportForms, TheFiftyMoveCountIsShown) {
    set_up(START_FEN);
    play(game(), "g1f3 g8f6 f3g1");
    std::vector<std::string> lines = printed_by([] { HceEval(*main_thread, game().side, 1, 1); });
    EXPECT_EQ(total(lines, "rule50= "), 3);
}

TEST_F(EvalReportForms, TheReportComesAsOftenAsItIsAskedFor) {
    EXPECT_EQ(report(START_FEN, 1), report(START_FEN, 1));
    set_up(START_FEN);
    HceEval(*main_thread, WHITE, 5, 0); // fills the eval hash
    EXPECT_EQ(printed_by([] { HceEval(*main_thread, WHITE, 5, 1); }), report(START_FEN, 1));
}

TEST_F(EvalReportForms, KnownEndingsHaveNoReport) {
    for (const char* fen : {"4k3/8/8/8/8/8/8/4K2R w K -", "4k3/8/8/8/8/8/4P3/4K3 w - -",
                            "4k3/8/8/8/8/8/8/4KBN1 w - -", "4k3/8/8/8/8/8/8/4KB2 b - -"})
        for (int form : {1, 2}) EXPECT_TRUE(report(fen, form).empty()) << fen;
}

TEST_F(EvalReportForms, TheSecondFormAddsTheParameters) {
    std::vector<std::string> lines = report(START_FEN, 2);
    EXPECT_TRUE(has_line(lines, "mtl_knight               390 ,  387"));
    EXPECT_EQ(count_lines(lines, "ppawn_base "), 6);
    EXPECT_EQ(count_lines(lines, "ttune "), SPARE_ROWS);
    EXPECT_EQ(count_lines(lines, "PST_"), 0);

    std::vector<std::string> headings;
    for (const std::string& line : lines)
        if (!line.empty() && line[0] >= 'A' && line[0] <= 'Z') headings.push_back(line);
    EXPECT_EQ(headings,
              (std::vector<std::string>{"Pawn1", "Pawn2", "Connected Pawn", "Defended Pawn",
                                        "Knight1", "Knight2", "Bishop1", "Bishop2", "Rook1",
                                        "Rook2", "Queen1", "Queen2", "King"}));
    EXPECT_EQ(lines.size(), 12u + FAMILY_ROWS + SPARE_ROWS + 13 * 9);
}

TEST_F(EvalReportForms, ATableHasMidgameOnTheLeftAndEndgameOnTheRight) {
    std::vector<std::string> lines = report(START_FEN, 2);
    std::string expected;
    for (int half = 0; half < 2; half++) {
        for (int file = 0; file < 8; file++) {
            char value[16];
            const EvalParam& row = eval_params[PST_K + file];
            snprintf(value, sizeof value, " %3d", static_cast<int>(half ? row.eg : row.mg));
            expected += value;
        }
        if (half == 0) expected += "     ";
    }
    EXPECT_EQ(lines[lines.size() - 8], expected) << "the king's first rank";
}
