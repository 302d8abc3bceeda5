// A tone curve and a colour table from pictures before and after an edit.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/picture/Picture.h"
#include "tools/tuning/Lattice.h"
#include "tools/tuning/Look.h"
#include "tools/tuning/ToneCurve.h"

namespace tool {

struct PicturePair {
    std::string beforeName, afterName;
    Picture before, after;
};

struct FitOptions {
    bool curve = false;       // fit a tone curve, too
    double smooth = 1.0;      // how smooth the table is to be; 0 to 1000
    bool correction = false;  // the tuning's colour correction is on, which follows the curve
};

struct FittedColors {
    ToneCurve curve;  // control points, or none
    Lattice lattice;  // within 0..255
};

struct FitReport {
    std::vector<double> deltaE;  // mean CIEDE2000 of each pair that remains
    std::optional<double>
        heldOut;  // mean over the pairs, each fitted from the others alone; none with one pair
    double coveredPercent = 0.0;  // of the cells of the lattice that lie inside RGB: those with samples
};

// Throws a usage error, in words, for pictures of unequal size, too small ones, and ones that do not show the
// same.
void checkPair(const PicturePair& pair);

// `pairs` are checked ones, at least one.
FittedColors fitColors(const std::vector<PicturePair>& pairs, const FitOptions& options);
FitReport reportOf(const std::vector<PicturePair>& pairs, const FittedColors& colors,
                   const FitOptions& options);

// The report as JSON text: "pairs" with names and what remains, "held_out_delta_e_mean", "covered_percent".
std::string jsonOf(const std::vector<PicturePair>& pairs, const FitReport& report);

// Makes the look one that shows the colours: strengths, curve and adjustments are replaced.
void setFitted(Look& look, const FittedColors& colors);

// What the library makes of a picture with these: curve stage, colour correction if it is on, table with full
// strength, each rounded to levels.
Picture developed(const Picture& picture, const FittedColors& colors, const FitOptions& options);

}  // namespace tool
