#include "tools/tuning/LatticeFit.h"

#include <Eigen/Dense>
#include <Eigen/IterativeLinearSolvers>
#include <Eigen/SparseCholesky>
#include <algorithm>
#include <array>
#include <cmath>

#include "tools/tuning/Parallel.h"

namespace tool {

namespace {

using Matrix = Eigen::SparseMatrix<double>;
using Entries = std::vector<Eigen::Triplet<double>>;
using Columns = Eigen::MatrixXd;  // a row for each point, a column for each of Y, U, V

constexpr int kPointCount = static_cast<int>(Lattice::kPoints);
constexpr int kSide = static_cast<int>(Lattice::kSide);

// The eight points around a sample, by their numbers and weights; in the order of the bits y, u, v.
struct Corners {
    std::array<int, 8> point;
    std::array<double, 8> weight;

    explicit Corners(const float (&in)[3]) {
        int low[3];
        double part[3];
        for (int axis = 0; axis < 3; ++axis) {
            const double position = std::clamp(static_cast<double>(in[axis]), 0.0, 255.0) / Lattice::kStep;
            low[axis] = std::min(static_cast<int>(position), kSide - 2);
            part[axis] = position - low[axis];
        }
        for (std::size_t corner = 0; corner < 8; ++corner) {
            const int d[3] = {static_cast<int>(corner & 1U), static_cast<int>(corner >> 1U & 1U),
                              static_cast<int>(corner >> 2U)};
            point[corner] = (low[2] + d[2]) * kSide * kSide + (low[1] + d[1]) * kSide + low[0] + d[0];
            weight[corner] = 1.0;
            for (int axis = 0; axis < 3; ++axis) {
                weight[corner] *= d[axis] != 0 ? part[axis] : 1.0 - part[axis];
            }
        }
    }
};

// The sums over samples: for every point 27 products with itself and its neighbours, and the right-hand side.
class Sums {
public:
    Sums() : m_products(std::size_t{27} * Lattice::kPoints), m_right(Columns::Zero(kPointCount, 3)) {}

    void add(const Corners& at, const std::array<double, 3>& target, double weight) {
        for (std::size_t i = 0; i < 8; ++i) {
            const double w = weight * at.weight[i];
            for (int k = 0; k < 3; ++k) {
                m_right(at.point[i], k) += w * target[static_cast<std::size_t>(k)];
            }
            double* row = &m_products[static_cast<std::size_t>(at.point[i]) * 27];
            for (std::size_t j = 0; j < 8; ++j) {
                row[neighbour(i, j)] += w * at.weight[j];
            }
        }
    }

    const Columns& right() const { return m_right; }
    void addTo(Entries& entries) const {
        for (int point = 0; point < kPointCount; ++point) {
            for (int n = 0; n < 27; ++n) {
                const double value = m_products[static_cast<std::size_t>(point * 27 + n)];
                if (value != 0.0) {
                    entries.emplace_back(point, point + offset(n), value);
                }
            }
        }
    }

private:
    // From corner i to corner j, each axis -1, 0 or 1.
    static std::size_t neighbour(std::size_t i, std::size_t j) {
        const auto step = [&](unsigned bit) { return 1 + (j >> bit & 1U) - (i >> bit & 1U); };
        return step(0) + 3 * step(1) + 9 * step(2);
    }
    static int offset(int n) { return n % 3 - 1 + (n / 3 % 3 - 1) * kSide + (n / 9 - 1) * kSide * kSide; }

    std::vector<double> m_products;
    Columns m_right;
};

// The square of (x[point - step] - 2 x[point] + x[point + step]), times `weight`.
void addSecondDifference(Entries& entries, int point, int step, double weight) {
    const int points[3] = {point - step, point, point + step};
    const double weights[3] = {1.0, -2.0, 1.0};
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            entries.emplace_back(points[i], points[j], weight * weights[i] * weights[j]);
        }
    }
}

Entries regularisation(double pull, double smooth) {
    Entries entries;
    for (int point = 0; point < kPointCount; ++point) {
        entries.emplace_back(point, point, pull);
        for (const int step : {1, kSide, kSide * kSide}) {
            const int place = point / step % kSide;
            if (place > 0 && place < kSide - 1) {
                addSecondDifference(entries, point, step, smooth);
            }
        }
    }
    return entries;
}

// Huber: a sample farther off than 1.345 standard deviations, judged by the median, counts in inverse
// proportion to its distance. A deviation below `least` is rounding, and no reason to call a sample far off.
std::vector<double> huberTrust(const std::vector<double>& distances, double least) {
    std::vector<double> trust = distances;
    const auto middle = trust.begin() + static_cast<std::ptrdiff_t>(trust.size() / 2);
    std::nth_element(trust.begin(), middle, trust.end());
    const double limit = 1.345 * std::max(1.4826 * *middle, least);
    std::transform(distances.begin(), distances.end(), trust.begin(),
                   [limit](double distance) { return limit / std::max(distance, limit); });
    return trust;
}

// --- Sums of curves
// ----------------------------------------------------------------------------------------------

// Each curve is a chain of straight pieces, and what it adds to its channel.
constexpr int kKnots = 18;
constexpr int kCurveValues = 3 * kKnots;

// The two knots of each channel around a colour.
struct Knots {
    int at[6];
    double weight[6];

    explicit Knots(const Rgb& color) {
        const double channels[3] = {color.r, color.g, color.b};
        for (int i = 0; i < 3; ++i) {
            const double position = std::clamp(channels[i], 0.0, 1.0) * (kKnots - 1);
            const int low = std::min(static_cast<int>(position), kKnots - 2);
            at[2 * i] = i * kKnots + low;
            at[2 * i + 1] = at[2 * i] + 1;
            weight[2 * i + 1] = position - low;
            weight[2 * i] = 1.0 - weight[2 * i + 1];
        }
    }
};

struct RgbSample {
    Knots at;
    Eigen::Vector3d in, out;
    double weight;
};

Eigen::Vector3d valueOf(const Knots& at, const Columns& curves) {
    Eigen::Vector3d sum = Eigen::Vector3d::Zero();
    for (int i = 0; i < 6; ++i) {
        sum += at.weight[i] * curves.row(at.at[i]).transpose();
    }
    return sum;
}

// What each sample counts for each channel.
using ChannelTrust = std::vector<Eigen::Vector3d>;

Columns solveCurves(const std::vector<RgbSample>& samples, const ChannelTrust& trust) {
    // A curve goes on straight where there are no samples; a constant may stand in any of the three.
    constexpr double kSmooth = 30.0, kPull = 0.01;
    Entries entries;
    for (int i = 0; i < kCurveValues; ++i) {
        entries.emplace_back(i, i, kPull);
        if (i % kKnots > 0 && i % kKnots < kKnots - 1) {
            addSecondDifference(entries, i, 1, kSmooth);
        }
    }
    Columns fixed = Columns::Zero(kCurveValues, kCurveValues);
    for (const auto& entry : entries) {
        fixed(entry.row(), entry.col()) += entry.value();
    }
    Columns curves(kCurveValues, 3);
    for (int channel = 0; channel < 3; ++channel) {
        Columns matrix = fixed;
        Eigen::VectorXd right = Eigen::VectorXd::Zero(kCurveValues);
        for (std::size_t k = 0; k < samples.size(); ++k) {
            const Knots& at = samples[k].at;
            const double change = samples[k].out(channel) - samples[k].in(channel);
            for (int i = 0; i < 6; ++i) {
                const double w = trust[k](channel) * samples[k].weight * at.weight[i];
                right(at.at[i]) += w * change;
                for (int j = 0; j < 6; ++j) {
                    matrix(at.at[i], at.at[j]) += w * at.weight[j];
                }
            }
        }
        curves.col(channel) = matrix.ldlt().solve(right);
    }
    return curves;
}

// A channel that came out at its limit belongs there or beyond, and the edit cut it off: curves that go
// beyond agree with it, for they are limited, too. To hold them at the limit would bend them where other
// colours are not cut off.
ChannelTrust curveTrust(const std::vector<RgbSample>& samples, const Columns& curves) {
    constexpr double kAtLimit = 1.5 / 255.0;  // as a channel comes back from YUV
    ChannelTrust trust(samples.size(), Eigen::Vector3d::Ones());
    std::vector<double> distances(samples.size());
    for (std::size_t k = 0; k < samples.size(); ++k) {
        const RgbSample& sample = samples[k];
        Eigen::Vector3d off = sample.in + valueOf(sample.at, curves) - sample.out;
        for (int channel = 0; channel < 3; ++channel) {
            const double out = sample.out(channel);
            if ((out <= kAtLimit && off(channel) < 0.0) || (out >= 1.0 - kAtLimit && off(channel) > 0.0)) {
                off(channel) = trust[k](channel) = 0.0;
            }
        }
        distances[k] = off.norm();
    }
    const std::vector<double> near = huberTrust(distances, 0.5 / 255.0);
    for (std::size_t k = 0; k < samples.size(); ++k) {
        trust[k] *= near[k];
    }
    return trust;
}

// --- Colours
// ----------------------------------------------------------------------------------------------------

struct Weighted {
    Yuv color;
    double weight;
};

// Colours of RGB and a little beyond, where pictures from cameras lie, too; closer together near grey and of
// more weight there, where most of a photograph is.
std::vector<Weighted> colorsOfPhotographs(LumaWeights weights) {
    constexpr int kChroma = 40, kLuma = 85;
    constexpr double kOutside = 0.02;  // of the range of RGB
    constexpr double kCommon = 25;     // levels of chroma
    std::vector<Weighted> colors;
    for (int i = 0; i < kChroma * kChroma; ++i) {
        const double a = (i % kChroma + 0.5) / kChroma * 2 - 1, b = (i / kChroma + 0.5) / kChroma * 2 - 1;
        const double u = 127.5 * a * std::abs(a), v = 127.5 * b * std::abs(b);
        const double weight = std::abs(a * b) * std::exp(-std::hypot(u, v) / kCommon);
        for (int luma = 0; luma <= kLuma; ++luma) {
            const Yuv color = {255.0 * luma / kLuma, 127.5 + u, 127.5 + v};
            if (inGamut(toRgb(color, weights), kOutside)) {
                colors.push_back({color, weight});
            }
        }
    }
    return colors;
}

// What becomes of a colour that may be a little outside of RGB: what an editor makes of it, which limits its
// channels, and the rest of its chroma as far as the map keeps chroma there.
Yuv mapAtEdge(const std::function<Yuv(const Yuv&)>& map, const Yuv& color, LumaWeights weights) {
    const Rgb rgb = toRgb(color, weights);
    if (inGamut(rgb)) {
        return map(color);
    }
    constexpr double kInwards = 0.15;
    const Yuv edge = toYuv(clamped(rgb), weights);
    const Yuv inner = {edge.y, edge.u + kInwards * (128 - edge.u), edge.v + kInwards * (128 - edge.v)};
    const Yuv out = map(edge), innerOut = map(inner);
    const double step = std::hypot(edge.u - inner.u, edge.v - inner.v);
    const double kept =
        step < 0.3 ? 1.0 : std::min(1.0, std::hypot(out.u - innerOut.u, out.v - innerOut.v) / step);
    return {out.y + kept * (color.y - edge.y), out.u + kept * (color.u - edge.u),
            out.v + kept * (color.v - edge.v)};
}

// --- Lattices
// ----------------------------------------------------------------------------------------------------

// The deviations from a prior that meet samples, reweighted in rounds.
class Solver {
public:
    Solver(const std::vector<LatticeSample>& samples, const Lattice& prior) : m_samples(samples) {
        m_corners.reserve(samples.size());
        m_targets.reserve(samples.size());
        for (const LatticeSample& s : samples) {
            m_corners.emplace_back(s.in);
            const Yuv before = prior.at({s.in[0], s.in[1], s.in[2]});
            m_targets.push_back({s.out[0] - before.y, s.out[1] - before.u, s.out[2] - before.v});
        }
        m_trust.assign(samples.size(), 1.0);
    }

    // By conjugate gradients from `guess`: a factorisation of second differences in three dimensions fills
    // up.
    Columns solve(const Entries& fixed, const Columns& guess) const {
        Sums sums;
        for (std::size_t i = 0; i < m_samples.size(); ++i) {
            sums.add(m_corners[i], m_targets[i], m_trust[i] * static_cast<double>(m_samples[i].weight));
        }
        Entries entries = fixed;
        sums.addTo(entries);
        Matrix matrix(kPointCount, kPointCount);
        matrix.setFromTriplets(entries.begin(), entries.end());
        Eigen::ConjugateGradient<Matrix, Eigen::Lower | Eigen::Upper> gradients(matrix);
        gradients.setTolerance(1e-6);
        gradients.setMaxIterations(2000);
        return gradients.solveWithGuess(sums.right(), guess);
    }

    void reweight(const Columns& deviation) {
        std::vector<double> distances(m_samples.size());
        for (std::size_t i = 0; i < distances.size(); ++i) {
            distances[i] = distance(i, deviation);
        }
        m_trust = huberTrust(distances, 0.5);
    }

private:
    double distance(std::size_t sample, const Columns& deviation) const {
        const Corners& at = m_corners[sample];
        double squares = 0.0;
        for (int k = 0; k < 3; ++k) {
            double off = -m_targets[sample][static_cast<std::size_t>(k)];
            for (std::size_t corner = 0; corner < 8; ++corner) {
                off += at.weight[corner] * deviation(at.point[corner], k);
            }
            squares += off * off;
        }
        return std::sqrt(squares);
    }

    const std::vector<LatticeSample>& m_samples;
    std::vector<Corners> m_corners;
    std::vector<std::array<double, 3>> m_targets;
    std::vector<double> m_trust;
};

}  // namespace

Lattice LatticeFit::solve(const std::vector<LatticeSample>& samples) const {
    const Entries fixed = regularisation(pull, smooth);
    Solver solver(samples, prior);
    Columns deviation = solver.solve(fixed, Columns::Zero(kPointCount, 3));
    for (int round = 0; round < rounds && !samples.empty(); ++round) {
        solver.reweight(deviation);
        deviation = solver.solve(fixed, deviation);
    }
    Lattice lattice = prior;
    for (int point = 0; point < kPointCount; ++point) {
        const auto index = static_cast<std::size_t>(point);
        const Yuv before = prior.point(index);
        lattice.setPoint(index, {before.y + deviation(point, 0), before.u + deviation(point, 1),
                                 before.v + deviation(point, 2)});
    }
    return lattice;
}

std::function<Rgb(const Rgb&)> sumOfCurves(const std::vector<LatticeSample>& samples) {
    std::vector<RgbSample> colors;
    colors.reserve(samples.size());
    for (const LatticeSample& s : samples) {
        const Rgb in = clamped(toRgb(Yuv{s.in[0], s.in[1], s.in[2]}));
        const Rgb out = toRgb(Yuv{s.out[0], s.out[1], s.out[2]});
        colors.push_back(
            {Knots(in), {in.r, in.g, in.b}, {out.r, out.g, out.b}, static_cast<double>(s.weight)});
    }
    Columns curves = solveCurves(colors, ChannelTrust(colors.size(), Eigen::Vector3d::Ones()));
    for (int round = 0; round < 4 && !colors.empty(); ++round) {
        curves = solveCurves(colors, curveTrust(colors, curves));
    }
    return [curves](const Rgb& in) {
        const Eigen::Vector3d change = valueOf(Knots(in), curves);
        return clamped({in.r + change(0), in.g + change(1), in.b + change(2)});
    };
}

Lattice latticeBetween(const std::function<Yuv(const Yuv&)>& map, LumaWeights weights,
                       const CurveLevels& tones) {
    const std::vector<Weighted> colors = colorsOfPhotographs(weights);
    std::vector<LatticeSample> samples(colors.size());
    inParallel(colors.size(), [&](std::size_t i) {
        const Yuv& in = colors[i].color;
        const Yuv out = mapAtEdge(map, in, weights);
        // Differences of vivid colours are seen less: CIEDE2000 divides by the square root of this.
        const double chroma = 1.0 + 0.045 * std::hypot(out.u - 128.0, out.v - 128.0);
        const auto f = [](double value) { return static_cast<float>(value); };
        samples[i] = {{f(levelAt(tones, in.y)), f(in.u), f(in.v)},
                      {f(out.y), f(out.u), f(out.v)},
                      f(colors[i].weight / (chroma * chroma))};
    });
    LatticeFit fit;
    inParallel(Lattice::kPoints, [&](std::size_t point) {
        const Yuv at = Lattice::levels(point);
        const double luma = inverseOf(tones, at.y);
        Yuv out = map({luma, at.u, at.v});
        out.y += at.y - levelAt(tones, luma);  // beyond the curve's ends
        fit.prior.setPoint(point, out);
    });
    fit.pull = 4e-4;
    fit.smooth = 0.0;
    fit.rounds = 0;
    return fit.solve(samples);
}

Lattice limited(const Lattice& lattice) {
    std::vector<float> values = lattice.values();
    std::transform(values.begin(), values.end(), values.begin(),
                   [](float value) { return std::clamp(value, 0.0F, 255.0F); });
    return Lattice(std::move(values));
}

std::vector<double> smoothed(const std::vector<double>& values, const std::vector<double>& weights,
                             double smooth) {
    const auto count = static_cast<int>(values.size());
    Entries entries;
    Eigen::VectorXd right(count);
    for (int i = 0; i < count; ++i) {
        const auto at = static_cast<std::size_t>(i);
        // A value without weight is not quite free, so that the equations have one solution.
        entries.emplace_back(i, i, weights[at] + 1e-6);
        right(i) = weights[at] * values[at];
        if (i > 0 && i < count - 1) {
            addSecondDifference(entries, i, 1, smooth);
        }
    }
    Matrix matrix(count, count);
    matrix.setFromTriplets(entries.begin(), entries.end());
    const Eigen::VectorXd result = Eigen::SimplicialLDLT<Matrix>(matrix).solve(right);
    return {result.begin(), result.end()};
}

}  // namespace tool
