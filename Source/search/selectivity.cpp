#include "search/selectivity.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "base/state.h"

int16_t BP_margin;
int16_t FP_depth, SEP_depth, LMP_depth, NMP_depth, LMR_depth;
int16_t fp_margins[MARGIN_DEPTHS], sep_margins[MARGIN_DEPTHS], lmp_counts[MARGIN_DEPTHS];
int8_t lmr_table[LMR_SIZE][LMR_SIZE], lmr_table_nonpv[LMR_SIZE][LMR_SIZE];

constexpr int LMR_FIRST_DEPTH = 3;

// The two reduction tables at `percent` of their strength, at most 200.
static void build_reductions(int percent) {
    for (int depth = 0; depth < LMR_SIZE; depth++)
        for (int column = 0; column < LMR_SIZE; column++) {
            lmr_table[depth][column] = lmr_table_nonpv[depth][column] = 0;
            if (column == 0 || depth < LMR_FIRST_DEPTH) continue;
            auto x = static_cast<float>(std::log(depth) * std::log(column) * 0.44 - 0.5);
            x = static_cast<float>(x * (percent * 0.01));
            x = std::clamp(x, 0.0f, 3.0f);
            lmr_table[depth][column] = static_cast<int8_t>(std::lround(x));
            lmr_table_nonpv[depth][column] = static_cast<int8_t>(std::lround(x + 1.2));
        }
}

void build_search_tables() {
    static int built_for = -1; // Selectivity of the reduction tables

    const Personality& settings = active_personality;
    BP_margin = 15;
    engine.nps_throttle = engine.calibration_nps - 20.0f > engine.target_nps;
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
    int percent = std::min(selectivity, 200);
    if (selectivity <= 99) BP_margin = static_cast<int16_t>(((100 - percent) >> 1) + 15);
    if (selectivity == 0) {
        LMR_depth = NMP_depth = 100;
        LMP_depth = SEP_depth = FP_depth = 0;
        BP_margin = 5000;
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
