// training_curve.h: the course of a training run as a table and as a picture.
//
// Written after each epoch and read when a run is resumed; one thread.

#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "Training/trainer.h"

struct CurvePoint {
    int epoch;            // from 1 on
    double rate;          // step size at its end
    double training;      // mean loss against the target
    TrainLoss validation; // at the end of the epoch
    size_t clamped;       // weights at the limit then
};

// Writes a table with one line an epoch, with a head line. Files are replaced as a whole. Returns
// false if it can't be written.
bool write_curve_table(const std::vector<CurvePoint>& points, const std::string& path);

// Reads such a table back, as far as it has whole lines; empty if there is none.
std::vector<CurvePoint> read_curve_table(const std::string& path);

// Draws training and validation loss over the epochs as an SVG picture.
bool write_curve_picture(const std::vector<CurvePoint>& points, const std::string& path);
