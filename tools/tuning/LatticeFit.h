// The lattice that reproduces given colours best, by sparse least squares.
#pragma once

#include <functional>
#include <vector>

#include "tools/tuning/Lattice.h"
#include "tools/tuning/ToneCurve.h"

namespace tool {

struct LatticeSample {
    float in[3], out[3];  // YUV levels
    float weight;
};

struct LatticeFit {
    // What the lattice should be where no sample says otherwise; deviations from it are what is regularised.
    Lattice prior;
    // Weights of a point's deviation and of its second differences along each axis, in samples. Through the
    // latter, points that no sample reaches continue what their neighbours do.
    double pull = 0.02;
    double smooth = 1.0;
    // Rounds of reweighting after Huber, so that samples far off (edges out of place, clipped colours) count
    // in proportion to their distance, not its square. 0: plain least squares.
    int rounds = 4;

    // Not limited to 0..255.
    Lattice solve(const std::vector<LatticeSample>& samples) const;
};

// The function of RGB colours that meets the samples best (after Huber, as above) among those whose every
// output channel is a sum of one curve for each input channel. Curves for channels, a matrix, saturation,
// warmth and what follows from them are of that kind, and a few colours tell what becomes of all others.
// Outputs are limited to 0..1.
std::function<Rgb(const Rgb&)> sumOfCurves(const std::vector<LatticeSample>& samples);

// The lattice between whose points `map` is met best, for the colours that RGB has; where there are none it
// is near `map` itself; `map` is asked from several threads at once. A lattice of the map's own values at the
// points errs between them wherever the map bends, and near the edge of RGB, beyond which the map is a
// convention. Luma goes through `tones`, rising levels, before it is looked up. Not limited to 0..255.
Lattice latticeBetween(const std::function<Yuv(const Yuv&)>& map, LumaWeights weights,
                       const CurveLevels& tones = levelsOf({}));

// Every value limited to 0..255, as tables hold them.
Lattice limited(const Lattice& lattice);

// The smooth series near `values`: each counts with its weight, second differences with `smooth`.
std::vector<double> smoothed(const std::vector<double>& values, const std::vector<double>& weights,
                             double smooth);

}  // namespace tool
