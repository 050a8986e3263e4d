#include "search/selectivity.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "base/state.h"

int16_t BP_margin;
int16_t FP_depth, SEP_depth, LMP_depth, NMP_depth, LMR_depth;
int16_t fp_margins[MARGIN_DEPTHS], sep_margins[MARGIN_DEPTHS], lmp_counts[MARGIN_DEPTHS];
int8_t lmr_table[LMR_SIZE][LMR_SIZE], lmr_table_nonpv[LMR_SIZE][LMR_SIZE];

constexpr int LMR_FIRST_DEPTH = 3; // of the rows that are not 0

constexpr int MAX_SELECTIVITY = 200; // per cent
constexpr int FULL_SELECTIVITY = 100;
constexpr int BASE_BP_MARGIN = 15; // units, at full selectivity

// Depths and margins that no node reaches: they switch a rule off.
constexpr int NEVER_FROM = 100, NEVER_UP_TO = 0, NEVER_ABOVE = 5000;

// The two tables of late move reductions at `percent` of their strength, at most MAX_SELECTIVITY.
// The product of logarithms grows slowly with depth and number; the figures are tuned.
static void build_reductions(int percent) {
    constexpr double SLOPE = 0.44, OFFSET = -0.5;
    constexpr float MAX_REDUCTION = 3.0f; // plies
    constexpr double BEYOND_PV = 1.2;     // more at nodes off the line

    for (int depth = 0; depth < LMR_SIZE; depth++)
        for (int column = 0; column < LMR_SIZE; column++) {
            lmr_table[depth][column] = lmr_table_nonpv[depth][column] = 0;
            if (column == 0 || depth < LMR_FIRST_DEPTH) continue;
            auto x = static_cast<float>(std::log(depth) * std::log(column) * SLOPE + OFFSET);
            x = static_cast<float>(x * (percent * 0.01));
            x = std::clamp(x, 0.0f, MAX_REDUCTION);
            lmr_table[depth][column] = static_cast<int8_t>(std::lround(x));
            lmr_table_nonpv[depth][column] = static_cast<int8_t>(std::lround(x + BEYOND_PV));
        }
}

void build_search_tables() {
    constexpr float SPEED_TOLERANCE = 20.0f; // nodes a second by which no speed is held down
    static int built_for = -1;               // Selectivity of the reduction tables

    const Personality& settings = active_personality;
    BP_margin = BASE_BP_MARGIN;
    engine.nps_throttle = engine.calibration_nps - SPEED_TOLERANCE > engine.target_nps;
    FP_depth = settings.FP_depth;
    SEP_depth = settings.SEP_depth;
    NMP_depth = settings.NMP_depth;
    LMP_depth = settings.LMP_depth;
    LMR_depth = settings.LMR_depth;
    for (int depth = 0; depth < MARGIN_DEPTHS; depth++) {
        fp_margins[depth] = static_cast<int16_t>(depth * settings.FP_margin);
        sep_margins[depth] = static_cast<int16_t>(depth * settings.SEP_margin);
        lmp_counts[depth] = static_cast<int16_t>(depth * settings.LMP_count);
    }

    int selectivity = load_shared(settings.Selectivity);
    int percent = std::min(selectivity, MAX_SELECTIVITY);
    if (selectivity < FULL_SELECTIVITY)
        BP_margin = static_cast<int16_t>(((FULL_SELECTIVITY - percent) >> 1) + BASE_BP_MARGIN);
    if (selectivity == 0) {
        LMR_depth = NMP_depth = NEVER_FROM;
        LMP_depth = SEP_depth = FP_depth = NEVER_UP_TO;
        BP_margin = NEVER_ABOVE;
    }
    if (selectivity == built_for) return;
    built_for = selectivity;
    build_reductions(percent);
}

static void print_margins(const char* name, int depth, const char* what, const int16_t* values) {
    printf("%s_depth= %d, %s=", name, depth, what);
    for (int d = 1; d <= std::min(depth, MARGIN_DEPTHS - 1); d++) printf(" %d", values[d]);
    printf("\n");
}

static void print_reductions(const int8_t (*table)[LMR_SIZE]) {
    for (int depth = LMR_FIRST_DEPTH; depth < LMR_SIZE; depth++) {
        printf("%2d  ", depth);
        for (int column = 0; column < LMR_SIZE; column++) printf("%d ", table[depth][column]);
        printf("\n");
    }
}

void print_search_tables() {
    build_search_tables();
    printf("BP_margin= %d\n", BP_margin);
    print_margins("FP", FP_depth, "margins", fp_margins);
    print_margins("SEP", SEP_depth, "margins", sep_margins);
    printf("NMP_depth= %d\n", NMP_depth);
    print_margins("LMP", LMP_depth, "count", lmp_counts);
    printf("LMR_depth= %d\n", LMR_depth);
    printf("LMR table:\n");
    print_reductions(lmr_table);
    printf("\n");
    print_reductions(lmr_table_nonpv);
    fflush(stdout);
}
