#include "Training/training_curve.h"

#include <algorithm>
#include <cstdio>

#include "Training/safe_file.h"
#include "Training/slice.h"

bool write_curve_table(const std::vector<CurvePoint>& points, const std::string& path) {
    FILE* file = begin_file(path);
    if (!file) return false;
    fputs("epoch,rate,training,validation,validation_score,validation_result", file);
    for (const char* phase : PHASE_NAMES) fprintf(file, ",%s", phase);
    fputs(",idle_units,clamped_weights\n", file);
    for (const CurvePoint& point : points) {
        fprintf(file, "%d,%.8f,%.7f,%.7f,%.7f,%.7f", point.epoch, point.rate, point.training,
                point.validation.target, point.validation.score, point.validation.result);
        for (double loss : point.validation.phase) fprintf(file, ",%.7f", loss);
        fprintf(file, ",%d,%zu\n", point.validation.idle_units, point.clamped);
    }
    return finish_file(file, path, true);
}

// Reads one line of the table. Returns false if it is none, as the head.
static bool read_point(CurvePoint& point, const char* line) {
    static_assert(PHASES == 5, "as many in the form");
    TrainLoss& loss = point.validation;
    return sscanf(line, "%d,%lf,%lf,%lf,%lf,%lf,%lf,%lf,%lf,%lf,%lf,%d,%zu", &point.epoch,
                  &point.rate, &point.training, &loss.target, &loss.score, &loss.result,
                  &loss.phase[0], &loss.phase[1], &loss.phase[2], &loss.phase[3], &loss.phase[4],
                  &loss.idle_units, &point.clamped)
        == 13;
}

std::vector<CurvePoint> read_curve_table(const std::string& path) {
    std::vector<CurvePoint> points;
    FILE* file = fopen(path.c_str(), "r");
    if (!file) return points;
    char line[512];
    while (fgets(line, sizeof line, file)) {
        CurvePoint point = {};
        if (read_point(point, line)) points.push_back(point);
    }
    fclose(file);
    return points;
}

namespace {

// Place of the picture's frame, in pixels.
constexpr double LEFT = 80, RIGHT = 780, TOP = 40, BOTTOM = 360;

struct Scale {
    double low, high; // losses at the bottom and the top
    double epochs;
};

} // namespace

static void draw_line(FILE* file, const std::vector<CurvePoint>& points, const Scale& scale,
                      const char* colour, bool validation) {
    fprintf(file, "<polyline fill=\"none\" stroke=\"%s\" stroke-width=\"2\" points=\"", colour);
    for (const CurvePoint& point : points) {
        double loss = validation ? point.validation.target : point.training;
        double x = LEFT + (RIGHT - LEFT) * point.epoch / scale.epochs;
        double y = BOTTOM - (BOTTOM - TOP) * (loss - scale.low) / (scale.high - scale.low);
        fprintf(file, "%.1f,%.1f ", x, std::clamp(y, TOP, BOTTOM));
    }
    fputs("\"/>\n", file);
}

static void draw_axes(FILE* file, const Scale& scale) {
    constexpr int MARKS = 4;
    fprintf(file,
            "<rect x=\"%g\" y=\"%g\" width=\"%g\" height=\"%g\" fill=\"none\" stroke=\"#888\"/>\n",
            LEFT, TOP, RIGHT - LEFT, BOTTOM - TOP);
    for (int i = 0; i <= MARKS; i++) {
        double share = static_cast<double>(i) / MARKS;
        fprintf(file, "<text x=\"%g\" y=\"%.1f\" text-anchor=\"end\">%.5f</text>\n", LEFT - 8,
                BOTTOM - (BOTTOM - TOP) * share + 4, scale.low + (scale.high - scale.low) * share);
        fprintf(file, "<text x=\"%.1f\" y=\"%g\" text-anchor=\"middle\">%.3g</text>\n",
                LEFT + (RIGHT - LEFT) * share, BOTTOM + 20, scale.epochs * share);
    }
}

bool write_curve_picture(const std::vector<CurvePoint>& points, const std::string& path) {
    FILE* file = begin_file(path);
    if (!file) return false;
    Scale scale = {1e9, 0, 1};
    for (const CurvePoint& point : points) {
        scale.low = std::min({scale.low, point.training, point.validation.target});
        scale.high = std::max({scale.high, point.training, point.validation.target});
        scale.epochs = std::max(scale.epochs, static_cast<double>(point.epoch));
    }
    if (scale.high <= scale.low) scale.high = scale.low + 1e-6;

    fputs("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"820\" height=\"400\" "
          "font-family=\"sans-serif\" font-size=\"12\">\n"
          "<rect width=\"820\" height=\"400\" fill=\"white\"/>\n",
          file);
    draw_axes(file, scale);
    draw_line(file, points, scale, "#3070b0", false);
    draw_line(file, points, scale, "#c04020", true);
    fprintf(file,
            "<text x=\"%g\" y=\"24\">mean squared error by epoch: "
            "<tspan fill=\"#3070b0\">training</tspan>, "
            "<tspan fill=\"#c04020\">validation</tspan></text>\n</svg>\n",
            LEFT);
    return finish_file(file, path, true);
}
