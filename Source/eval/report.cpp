#include "eval/report.h"

#include <cstdio>
#include <cstring>

#include "board/movetext.h"
#include "eval/state.h"
#include "eval/terms.h"

// clang-format off
static constexpr const char* GROUP_NAMES[EVAL_GROUPS] = {
    "pawns:", "knights:", "bishops:", "rooks:", "queens:", "king:", "ppawns:", "threats:",
    "special:"};
// clang-format on

// The first groups hold the material of their kind, pawns to queens.
constexpr int MATERIAL_GROUPS = GROUP_QUEENS + 1;

static int material_value(const Position& pos, const EvalContext& context, int group, int side) {
    int pieces = pop_count(pos.pieces[side][PAWN + group]);
    return blend(packed_times(eval_params[mtl_pawn + group].value, pieces), context.phase);
}

static void print_groups(const Position& pos, const EvalContext& context) {
    printf("           white  black\n");
    for (int group = 0; group < EVAL_GROUPS; group++) {
        int value[2];
        for (int side : {WHITE, BLACK}) {
            value[side] = blend(context.group[group][side], context.phase);
            if (group < MATERIAL_GROUPS) value[side] -= material_value(pos, context, group, side);
        }
        printf("%-10s  %4d   %4d\n", GROUP_NAMES[group], value[WHITE], value[BLACK]);
    }
}

static void print_squares(const char* title, Bitboard squares) {
    if (!squares) return;
    printf("%s", title);
    for (; squares; squares &= squares - 1) printf(" %s", SQUARE_NAMES[bit_scan_forward(squares)]);
    printf("\n");
}

static void print_totals(const Position& pos, const EvalState& eval, float scale) {
    const EvalContext& context = eval.context;
    const int us = pos.side, them = us ^ 1;

    int total = blend(packed_sub(context.packed[WHITE], context.packed[BLACK]), context.phase);
    int score = static_cast<int>(static_cast<float>(total) * scale);
    int material = 0;
    for (int group = 0; group < MATERIAL_GROUPS; group++)
        material +=
            material_value(pos, context, group, us) - material_value(pos, context, group, them);
    printf("nne= %d, hce= %d, mtl= %d, phase= %0.2f, sf= %0.2f, rule50= %d\n\n", eval.nn_score,
           us == WHITE ? score : -score, material, static_cast<double>(context.phase),
           static_cast<double>(scale), pos.halfmoves);
}

// One piece-square table, a1 first: midgame on the left, endgame on the right.
static void print_square_table(const char* title, int first_row) {
    printf("%s\n", title);
    for (int rank = 0; rank < 8; rank++) {
        const EvalParam* row = eval_params + first_row + rank * 8;
        for (int file = 0; file < 8; file++) printf(" %3d", packed_mg(row[file].value));
        printf("     ");
        for (int file = 0; file < 8; file++) printf(" %3d", packed_eg(row[file].value));
        printf("\n");
    }
}

static void print_parameters() {
    struct Table {
        const char* title;
        int first_row;
    };
    constexpr Table TABLES[] = {
        {"Pawn1", PST_P1},         {"Pawn2", PST_P2},   {"Connected Pawn", PST_CP},
        {"Defended Pawn", PST_DP}, {"Knight1", PST_N1}, {"Knight2", PST_N2},
        {"Bishop1", PST_B1},       {"Bishop2", PST_B2}, {"Rook1", PST_R1},
        {"Rook2", PST_R2},         {"Queen1", PST_Q1},  {"Queen2", PST_Q2},
        {"King", PST_K},
    };

    for (const EvalParam& row : eval_params)
        if (!strstr(row.name, "PST_"))
            printf("%-22s  %4d , %4d\n", row.name, packed_mg(row.value), packed_eg(row.value));
    for (const Table& table : TABLES) print_square_table(table.title, table.first_row);
}

void EvalReport(const Position& pos, const EvalState& eval, float scale) {
    constexpr int WITH_PARAMETERS = 2;

    const EvalContext& context = eval.context;
    print_groups(pos, context);
    print_squares("hung pieces on: ", context.hung_pieces);
    print_squares("free pawns on: ", context.free_pawns);
    print_totals(pos, eval, scale);
    if (context.report >= WITH_PARAMETERS) print_parameters();
    fflush(stdout);
}
