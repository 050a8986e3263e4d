#include "Training/pst_tuning.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "Training/ply_data.h"
#include "Training/sharing.h"
#include "eval/endgame.h"
#include "eval/evaluate.h"
#include "search/thread.h"

// Numbers of the tables in table order.
enum PstNumber {
    TABLE_P1,
    TABLE_CP,
    TABLE_DP,
    TABLE_N1,
    TABLE_B1,
    TABLE_R1,
    TABLE_Q1,
    TABLE_K,
    TABLE_P2,
    TABLE_N2,
};

static bool is_pawn_table(int table) {
    return table == TABLE_P1 || table == TABLE_P2 || table == TABLE_CP || table == TABLE_DP;
}

// Rows that no unit ever stands on.
static bool is_idle_row(int row) {
    int table = row / 64, square = row % 64;
    if (table == TABLE_K) return file_of(square) < 4;
    if (!is_pawn_table(table)) return false;
    return rank_of(square) == 0 || rank_of(square) == 7
        || (table == TABLE_DP && rank_of(square) == 1);
}

bool is_fixed_row(int row) {
    constexpr int E2 = 12, D6 = 43, F5 = 37, F7 = 53;
    // These are given; everything else may be tuned.
    constexpr int GIVEN[] = {
        TABLE_P1 * 64 + E2, TABLE_P1 * 64 + F7, TABLE_N1 * 64 + A1, TABLE_N1 * 64 + F5,
        TABLE_K * 64 + H1,  TABLE_K * 64 + F5,  TABLE_DP * 64 + D6, TABLE_N2 * 64 + A8,
    };
    return is_idle_row(row)
        || std::find(std::begin(GIVEN), std::end(GIVEN), row) != std::end(GIVEN);
}

// Appends the rows that the side's units add to its total.
static void append_terms(const Position& pos, const EvalContext& context, int side,
                         std::vector<uint16_t>& terms) {
    const uint16_t sign = side == BLACK ? PST_BLACK : 0;
    const int flip = context.flip[side];
    auto add = [&](int table, int square) {
        terms.push_back(static_cast<uint16_t>((table * 64 + (square ^ flip)) | sign));
    };
    for (Bitboard set = pos.pieces[side][PAWN]; set;) {
        int square = pop_lowest(set);
        add(context.same_half ? TABLE_P1 : TABLE_P2, square);
        if (context.pawn_attacks[side] & bit(square)) add(TABLE_DP, square);
        if (context.pawn_attacks[side] & step_forward(side, bit(square))) add(TABLE_CP, square);
    }
    for (int type = KNIGHT; type <= QUEEN; type++) {
        int table = (context.same_half ? TABLE_N1 : TABLE_N2) + type - KNIGHT;
        for (Bitboard set = pos.pieces[side][type]; set;) add(table, pop_lowest(set));
    }
    add(TABLE_K, pos.king_square[side]);
}

PstPosition reduce_position(SearchThread& thread, float target, std::vector<uint16_t>& terms) {
    constexpr int FRESH_PLY = 1; // no hash of evaluations is read

    const Position& pos = thread.position;
    int score = HceEval(thread, pos.side, FRESH_PLY, 0);
    if (pos.side == BLACK) score = -score;
    const EvalContext& context = thread.eval.context;
    float share = 1.0f - static_cast<float>(pos.halfmoves) / FIFTY_SCALE;
    float scale = endgame_scale(pos, score) * share;

    PstPosition position = {};
    position.score = static_cast<float>(score) * share;
    position.mg = scale * (1.0f - context.phase);
    position.eg = scale * context.phase;
    position.target = target;
    position.first_term = static_cast<uint32_t>(terms.size());
    append_terms(pos, context, WHITE, terms);
    append_terms(pos, context, BLACK, terms);
    position.terms = static_cast<uint32_t>(terms.size()) - position.first_term;
    return position;
}

PstData reduce_records(const std::vector<PlyRecord>& records, const PstSettings& settings) {
    std::vector<PstData> parts(static_cast<size_t>(settings.threads));
    run_workers(settings.threads, [&](int worker) {
        SearchThread* thread = allocate_search_thread();
        if (!thread) abort();
        reset_search_stack(*thread);
        PstData& part = parts[static_cast<size_t>(worker)];
        size_t end = share_begin(records.size(), worker + 1, settings.threads);
        for (size_t i = share_begin(records.size(), worker, settings.threads); i < end; i++) {
            const PlyRecord& record = records[i];
            double mover = ply_target(record, settings.lambda);
            double target = record_side(record) == WHITE ? mover : 1.0 - mover;
            if (!unpack_ply(thread->position, record)) continue;
            part.positions.push_back(
                reduce_position(*thread, static_cast<float>(target), part.terms));
        }
        free_search_thread(thread);
    });

    PstData data;
    for (PstData& part : parts) {
        uint32_t shift = static_cast<uint32_t>(data.terms.size());
        for (PstPosition& position : part.positions) position.first_term += shift;
        data.positions.insert(data.positions.end(), part.positions.begin(), part.positions.end());
        data.terms.insert(data.terms.end(), part.terms.begin(), part.terms.end());
        part = {};
    }
    return data;
}

double predict_score(const PstData& data, const PstPosition& position, const PstChange& change) {
    double mg = 0, eg = 0;
    const uint16_t* term = &data.terms[position.first_term];
    for (uint32_t i = 0; i < position.terms; i++) {
        int row = term[i] & ~PST_BLACK;
        double sign = term[i] & PST_BLACK ? -1.0 : 1.0;
        mg += sign * change.value[0][row];
        eg += sign * change.value[1][row];
    }
    return position.score + position.mg * mg + position.eg * eg;
}

static double cross_entropy(double p, double target) {
    constexpr double TINY = 1e-12;
    return -target * std::log(p + TINY) - (1.0 - target) * std::log(1.0 - p + TINY);
}

double pst_loss(const PstData& data, const PstChange& change, double k, int threads) {
    std::vector<double> sums(static_cast<size_t>(threads));
    run_workers(threads, [&](int worker) {
        double sum = 0;
        size_t end = share_begin(data.positions.size(), worker + 1, threads);
        for (size_t i = share_begin(data.positions.size(), worker, threads); i < end; i++) {
            const PstPosition& position = data.positions[i];
            double p = score_probability(k * predict_score(data, position, change));
            sum += cross_entropy(p, position.target);
        }
        sums[static_cast<size_t>(worker)] = sum;
    });
    double sum = 0;
    for (double part : sums) sum += part;
    return data.positions.empty() ? 0.0 : sum / static_cast<double>(data.positions.size());
}

double fit_score_factor(const PstData& data, int threads) {
    constexpr double GOLDEN = 0.6180339887, CLOSE = 0.002;
    const PstChange none = {};
    double low = 0.3, high = 2.0;
    while (high - low > CLOSE) {
        double a = high - GOLDEN * (high - low), b = low + GOLDEN * (high - low);
        if (pst_loss(data, none, a, threads) < pst_loss(data, none, b, threads)) high = b;
        else low = a;
    }
    return (low + high) / 2;
}

// Adds the gradient of the summed cross-entropy over a range of positions; returns the sum.
static double add_gradient(PstChange& gradient, const PstData& data, const PstChange& change,
                           double k, size_t begin, size_t end) {
    double sum = 0;
    for (size_t i = begin; i < end; i++) {
        const PstPosition& position = data.positions[i];
        double p = score_probability(k * predict_score(data, position, change));
        sum += cross_entropy(p, position.target);
        double slope = (p - position.target) * k * SCORE_SLOPE;
        double mg = slope * position.mg, eg = slope * position.eg;
        const uint16_t* term = &data.terms[position.first_term];
        for (uint32_t t = 0; t < position.terms; t++) {
            int row = term[t] & ~PST_BLACK;
            double sign = term[t] & PST_BLACK ? -1.0 : 1.0;
            gradient.value[0][row] += sign * mg;
            gradient.value[1][row] += sign * eg;
        }
    }
    return sum;
}

// Adds the gradient of what holds the changes small and neighbouring squares alike.
static void add_expectations(PstChange& gradient, const PstChange& change,
                             const PstSettings& settings, double weight) {
    double pull = weight / (settings.pull * settings.pull);
    double smooth = weight / (settings.smooth * settings.smooth);
    auto tie = [&](int half, int a, int b) {
        if (is_idle_row(a) || is_idle_row(b)) return;
        double force = smooth * (change.value[half][a] - change.value[half][b]);
        gradient.value[half][a] += force;
        gradient.value[half][b] -= force;
    };
    for (int half = 0; half < 2; half++)
        for (int row = 0; row < PST_ROWS; row++) {
            gradient.value[half][row] += pull * change.value[half][row];
            if (file_of(row % 64) < 7) tie(half, row, row + 1);
            if (rank_of(row % 64) < 7) tie(half, row, row + 8);
        }
}

// One step of Adam for all rows that may change.
static void step_rows(PstChange& change, PstChange& first, PstChange& second,
                      const PstChange& gradient, int epoch, double rate) {
    constexpr double BETA1 = 0.9, BETA2 = 0.99, TINY = 1e-10;
    double correct1 = 1 - std::pow(BETA1, epoch), correct2 = 1 - std::pow(BETA2, epoch);
    for (int half = 0; half < 2; half++)
        for (int row = 0; row < PST_ROWS; row++) {
            if (is_fixed_row(row)) continue;
            double g = gradient.value[half][row];
            double& m = first.value[half][row];
            double& v = second.value[half][row];
            m = BETA1 * m + (1 - BETA1) * g;
            v = BETA2 * v + (1 - BETA2) * g * g;
            change.value[half][row] -= rate * (m / correct1) / (std::sqrt(v / correct2) + TINY);
        }
}

PstChange fit_tables(const PstData& training, const PstData& validation,
                     const PstSettings& settings, double k) {
    constexpr int PRINT_EVERY = 20;
    constexpr double LAST_RATE = 0.02; // share of the first rate
    const double positions = static_cast<double>(std::max<size_t>(training.positions.size(), 1));

    PstChange change = {}, first = {}, second = {};
    std::vector<PstChange> parts(static_cast<size_t>(settings.threads));
    std::vector<double> sums(parts.size());
    for (int epoch = 1; epoch <= settings.epochs; epoch++) {
        run_workers(settings.threads, [&](int worker) {
            size_t w = static_cast<size_t>(worker);
            parts[w] = {};
            sums[w] =
                add_gradient(parts[w], training, change, k,
                             share_begin(training.positions.size(), worker, settings.threads),
                             share_begin(training.positions.size(), worker + 1, settings.threads));
        });
        PstChange gradient = {};
        double loss = 0;
        for (size_t w = 0; w < parts.size(); w++) {
            loss += sums[w] / positions;
            for (int half = 0; half < 2; half++)
                for (int row = 0; row < PST_ROWS; row++)
                    gradient.value[half][row] += parts[w].value[half][row] / positions;
        }
        add_expectations(gradient, change, settings, 1.0 / (positions * settings.worth));
        if (epoch % PRINT_EVERY == 1 || epoch == settings.epochs) {
            printf("epoch %4d  training %.6f  validation %.6f\n", epoch, loss,
                   pst_loss(validation, change, k, settings.threads));
            fflush(stdout);
        }
        double fall = 0.5 + 0.5 * std::cos(3.14159265 * (epoch - 1) / settings.epochs);
        step_rows(change, first, second, gradient, epoch,
                  settings.rate * (LAST_RATE + (1 - LAST_RATE) * fall));
    }
    return change;
}

// What the tables are for, in the words of the source file.
static const char* const TABLE_TITLES[PST_TABLES] = {
    "pawns, kings on the same half",     "pawns whose stop square is guarded by a neighbour pawn",
    "pawns defended by a pawn",          "knights, kings on the same half",
    "bishops, kings on the same half",   "rooks, kings on the same half",
    "queens, kings on the same half",    "king; never stands on files a-d after flipping",
    "pawns, kings on opposite halves",   "knights, kings on opposite halves",
    "bishops, kings on opposite halves", "rooks, kings on opposite halves",
    "queens, kings on opposite halves",
};

bool write_pst_source(const char* path, const PstChange& change) {
    constexpr long SMALLEST = -99, LARGEST = 999; // three characters: the columns stay aligned

    FILE* file = fopen(path, "w");
    if (!file) return false;
    fputs("#include \"eval/pst.h\"\n\n"
          "// Cells are {midgame, endgame}, one line a rank, rank 1 first; e-h is the own\n"
          "// king's wing. Fitted to the engine's own games by Training/tune_pst.\n"
          "// clang-format off\n"
          "const PstTable PST_DEFAULTS[PST_TABLES] = {\n",
          file);
    for (int table = 0; table < PST_TABLES; table++) {
        const PstTable& old = PST_DEFAULTS[table];
        fprintf(file, "// %s: %s\n//      ", old.name, TABLE_TITLES[table]);
        for (char letter = 'a'; letter <= 'h'; letter++)
            fprintf(file, " %c%s", letter, letter < 'h' ? "          " : "\n");
        fprintf(file, "{\"%s\", {\n", old.name);
        for (int square = 0; square < 64; square++) {
            long value[2] = {old.rows[square].mg, old.rows[square].eg};
            for (int half = 0; half < 2; half++)
                value[half] = std::clamp(std::lround(static_cast<double>(value[half])
                                                     + change.value[half][table * 64 + square]),
                                         SMALLEST, LARGEST);
            fprintf(file, "%s{%3ld, %3ld},%s", square % 8 ? " " : "    ", value[0], value[1],
                    square % 8 == 7 ? "\n" : "");
        }
        fputs("}},\n", file);
    }
    fputs("};\n// clang-format on\n", file);
    return fclose(file) == 0;
}
