#include "tools/tuning/Fit.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "tools/ToolError.h"
#include "tools/picture/Metrics.h"
#include "tools/tuning/LatticeFit.h"

namespace tool {

namespace {

constexpr int kLeastSide = 16;
// More blocks of a picture than this do not make a better table.
constexpr double kBlocksOfPicture = 200000.0;
// And more samples of one cell count no more than this many.
constexpr double kSamplesOfCell = 100.0;

std::uint8_t toLevel(double value) { return static_cast<std::uint8_t>(std::clamp(value + 0.5, 0.0, 255.0)); }

// The four luma samples of a block; its chroma sample has the same index in both chroma planes.
struct Block {
    std::array<std::size_t, 4> luma;
    std::size_t chroma;

    Block(const Picture& picture, int row, int column) : luma{}, chroma(0) {
        const auto width = static_cast<std::size_t>(picture.size.width);
        const std::size_t first =
            2 * static_cast<std::size_t>(row) * width + 2 * static_cast<std::size_t>(column);
        luma = {first, first + 1, first + width, first + width + 1};
        chroma = static_cast<std::size_t>(row) * static_cast<std::size_t>(picture.chromaWidth()) +
                 static_cast<std::size_t>(column);
    }
};

int sumOf(const Bytes& plane, const Block& block) {
    int sum = 0;
    for (const std::size_t at : block.luma) {
        sum += plane[at];
    }
    return sum;
}

// The gain of chroma in the library's colour correction, for a block whose mean luma the curve moved from
// `before` to `after`.
double correctionGain(double u, double v, double before, double after) {
    constexpr double kTiny = 1e-16;
    const double chroma = std::hypot(u, v);
    const double target = chroma * before / (after + kTiny);
    const double ratio = (after * after + target * target) / (before * before + chroma * chroma + kTiny);
    const double gain = std::clamp(std::sqrt(ratio), 0.5, 2.0);
    return std::min(gain, 127.0 / (std::max(std::abs(u), std::abs(v)) + kTiny));
}

// The stages in front of the table.
class Before {
public:
    Before(const ToneCurve& curve, const FitOptions& options)
        : m_correction(options.correction && !curve.points.empty()) {
        const CurveLevels levels = levelsOf(curve);
        std::transform(levels.begin(), levels.end(), m_curve.begin(),
                       [](float level) { return toLevel(static_cast<double>(level)); });
    }

    Picture operator()(const Picture& picture) const {
        Picture result = picture;
        for (std::uint8_t& level : result.y) {
            level = m_curve[level];
        }
        for (int row = 0; m_correction && row < picture.size.height / 2; ++row) {
            for (int column = 0; column < picture.size.width / 2; ++column) {
                const Block block(picture, row, column);
                const double u = picture.u[block.chroma] - 128.0;
                const double v = picture.v[block.chroma] - 128.0;
                const double gain =
                    correctionGain(u, v, sumOf(picture.y, block) / 4, sumOf(result.y, block) / 4);
                result.u[block.chroma] = static_cast<std::uint8_t>(u * gain + 128.0);
                result.v[block.chroma] = static_cast<std::uint8_t>(v * gain + 128.0);
            }
        }
        return result;
    }

private:
    std::array<std::uint8_t, 256> m_curve{};
    bool m_correction;
};

// Every n-th block of a picture, in both directions.
template <typename Function>
void forBlocks(const Picture& picture, Function&& function) {
    const double blocks = 0.25 * picture.size.width * picture.size.height;
    const int step = std::max(1, static_cast<int>(std::ceil(std::sqrt(blocks / kBlocksOfPicture))));
    for (int row = 0; row < picture.size.height / 2; row += step) {
        for (int column = 0; column < picture.size.width / 2; column += step) {
            function(Block(picture, row, column));
        }
    }
}

// Levels of luma that a block's samples span.
int spanOf(const Bytes& plane, const Block& block) {
    const auto [low, high] =
        std::minmax({plane[block.luma[0]], plane[block.luma[1]], plane[block.luma[2]], plane[block.luma[3]]});
    return high - low;
}

// The table moves a whole block by what its mean is moved: even blocks say most about it.
double trustOf(const Bytes& plane, const Block& block) {
    const double span = spanOf(plane, block) / 16.0;
    return 1.0 / (1.0 + span * span);
}

constexpr std::size_t kCells = 15 * 15 * 15;
std::size_t cellOf(const LatticeSample& sample) {
    std::size_t cell = 0;
    for (int axis = 2; axis >= 0; --axis) {
        cell = cell * 15 + std::min<std::size_t>(14, static_cast<std::size_t>(sample.in[axis] / 17.0F));
    }
    return cell;
}

void addSamples(const PicturePair& pair, const Before& before, std::vector<LatticeSample>& samples) {
    const Picture in = before(pair.before);
    forBlocks(in, [&](const Block& block) {
        samples.push_back(
            {{0.25F * static_cast<float>(sumOf(in.y, block)), static_cast<float>(in.u[block.chroma]),
              static_cast<float>(in.v[block.chroma])},
             {0.25F * static_cast<float>(sumOf(pair.after.y, block)),
              static_cast<float>(pair.after.u[block.chroma]), static_cast<float>(pair.after.v[block.chroma])},
             static_cast<float>(trustOf(pair.before.y, block))});
    });
}

// A sky has a million samples in one cell, a flower ten in another; both are colours of the picture.
void balance(std::vector<LatticeSample>& samples) {
    std::vector<double> count(kCells);
    for (const LatticeSample& sample : samples) {
        count[cellOf(sample)] += static_cast<double>(sample.weight);
    }
    for (LatticeSample& sample : samples) {
        sample.weight *= static_cast<float>(std::min(1.0, kSamplesOfCell / count[cellOf(sample)]));
    }
}

std::vector<LatticeSample> samplesOf(const std::vector<PicturePair>& pairs, const Before& before) {
    std::vector<LatticeSample> samples;
    for (const PicturePair& pair : pairs) {
        addSamples(pair, before, samples);
    }
    balance(samples);
    return samples;
}

double covered(const std::vector<LatticeSample>& samples) {
    std::vector<bool> reached(kCells);
    for (const LatticeSample& sample : samples) {
        reached[cellOf(sample)] = true;
    }
    double inside = 0, both = 0;
    for (std::size_t cell = 0; cell < kCells; ++cell) {
        const auto middle = [](std::size_t k) { return 17.0 * (static_cast<double>(k) + 0.5); };
        if (inGamut(toRgb(Yuv{middle(cell % 15), middle(cell / 15 % 15), middle(cell / 225)}))) {
            ++inside;
            both += reached[cell] ? 1 : 0;
        }
    }
    return 100.0 * both / inside;
}

// --- The curve
// ---------------------------------------------------------------------------------------------------

// For every level of luma before, the middle of those after, greys counting most, and how much that is worth.
struct LevelMedians {
    std::vector<double> after = std::vector<double>(256), weight = std::vector<double>(256);
};

LevelMedians mediansOf(const std::vector<PicturePair>& pairs) {
    std::vector<double> histogram(std::size_t{256} * 256);
    for (const PicturePair& pair : pairs) {
        forBlocks(pair.before, [&](const Block& block) {
            const double chroma =
                std::hypot(pair.before.u[block.chroma] - 128.0, pair.before.v[block.chroma] - 128.0) / 16.0;
            const double weight = trustOf(pair.before.y, block) * (0.01 + std::exp(-chroma * chroma));
            for (const std::size_t at : block.luma) {
                histogram[static_cast<std::size_t>(pair.before.y[at]) * 256 + pair.after.y[at]] += weight;
            }
        });
    }
    LevelMedians medians;
    for (std::size_t level = 0; level < 256; ++level) {
        const double* row = &histogram[level * 256];
        double sum = 0.0;
        for (std::size_t i = 0; i < 256; ++i) {
            sum += row[i];
        }
        double below = 0.0;
        std::size_t at = 0;
        while (at < 255 && below + row[at] < sum / 2) {
            below += row[at++];
        }
        // Within the level that holds the median, in proportion.
        const double part = row[at] > 0.0 ? (sum / 2 - below) / row[at] : 0.5;
        medians.after[level] = std::clamp(static_cast<double>(at) + part - 0.5, 0.0, 255.0);
        medians.weight[level] = std::min(sum, kSamplesOfCell) / kSamplesOfCell;
    }
    return medians;
}

// The nearest values that do not fall (pool adjacent violators).
void makeMonotone(std::vector<double>& values, const std::vector<double>& weights) {
    struct Pool {
        double value, weight;
        std::size_t count;
    };
    std::vector<Pool> pools;
    for (std::size_t i = 0; i < values.size(); ++i) {
        pools.push_back({values[i], weights[i] + 1e-6, 1});
        while (pools.size() > 1 && pools[pools.size() - 2].value > pools.back().value) {
            const Pool last = pools.back();
            pools.pop_back();
            Pool& pool = pools.back();
            pool.value = (pool.value * pool.weight + last.value * last.weight) / (pool.weight + last.weight);
            pool.weight += last.weight;
            pool.count += last.count;
        }
    }
    auto at = values.begin();
    for (const Pool& pool : pools) {
        at = std::fill_n(at, pool.count, pool.value);
    }
}

ToneCurve fitCurve(const std::vector<PicturePair>& pairs, double smooth) {
    LevelMedians medians = mediansOf(pairs);
    makeMonotone(medians.after, medians.weight);
    for (std::size_t i = 0; i < 256; ++i) {
        medians.after[i] -= static_cast<double>(i);
    }
    // What is smooth is the deviation, so that levels without samples continue it.
    std::vector<double> levels = smoothed(medians.after, medians.weight, 100.0 * smooth);
    for (std::size_t i = 0; i < 256; ++i) {
        levels[i] = std::clamp(levels[i] + static_cast<double>(i), 0.0, 255.0);
    }
    makeMonotone(levels, std::vector<double>(256, 1.0));
    ToneCurve curve;
    for (std::size_t i = 0; i < 256; i += 17) {
        // Hundredths of a level: numbers for people.
        curve.points.push_back({static_cast<double>(i), std::round(100.0 * levels[i]) / 100.0});
    }
    return curve;
}

// --- Whether two pictures show the same
// --------------------------------------------------------------------------

// Correlation of luma within a tile of 16 x 16; nothing where one of the pictures is even.
std::optional<double> tileCorrelation(const PicturePair& pair, int left, int top) {
    double n = 0, a = 0, b = 0, aa = 0, bb = 0, ab = 0;
    for (int y = top; y < top + kLeastSide; ++y) {
        for (int x = left; x < left + kLeastSide; ++x) {
            const std::size_t at =
                static_cast<std::size_t>(y) * static_cast<std::size_t>(pair.before.size.width) +
                static_cast<std::size_t>(x);
            const double p = pair.before.y[at], q = pair.after.y[at];
            n += 1, a += p, b += q, aa += p * p, bb += q * q, ab += p * q;
        }
    }
    const double varianceA = aa / n - a * a / (n * n), varianceB = bb / n - b * b / (n * n);
    constexpr double kEven = 4.0;
    if (varianceA < kEven || varianceB < kEven) {
        return std::nullopt;
    }
    return (ab / n - a * b / (n * n)) / std::sqrt(varianceA * varianceB);
}

// Over all tiles, -1 to 1; 1 when there is no texture to tell.
double likeness(const PicturePair& pair) {
    double sum = 0.0, count = 0.0;
    for (int top = 0; top + kLeastSide <= pair.before.size.height; top += kLeastSide) {
        for (int left = 0; left + kLeastSide <= pair.before.size.width; left += kLeastSide) {
            if (const std::optional<double> correlation = tileCorrelation(pair, left, top)) {
                sum += *correlation;
                count += 1.0;
            }
        }
    }
    return count < 4.0 ? 1.0 : sum / count;
}

std::string sizeText(Size size) { return std::to_string(size.width) + "x" + std::to_string(size.height); }

double deltaEOf(const PicturePair& pair, const FittedColors& colors, const FitOptions& options) {
    const ColorMatrix matrix = ColorMatrix::kBt601;
    Metrics metrics;
    metrics.add(rgbOf(pair.after, matrix), rgbOf(developed(pair.before, colors, options), matrix));
    return metrics.deltaEMean();
}

}  // namespace

void checkPair(const PicturePair& pair) {
    const auto refuse = [&](const std::string& why) {
        throw usageError(pair.beforeName + " and " + pair.afterName + " are no pair: " + why);
    };
    const Size size = pair.before.size;
    if (!(size == pair.after.size)) {
        refuse("their sizes differ, " + sizeText(size) + " and " + sizeText(pair.after.size) +
               "; edit without cropping, scaling or turning");
    }
    if (size.width < kLeastSide || size.height < kLeastSide) {
        refuse("pictures of " + sizeText(size) + " are too small");
    }
    // Edits of colours keep 0.9 and more, other pictures come near 0, a negative near -1.
    constexpr double kSame = 0.5;
    if (std::abs(likeness(pair)) < kSame) {
        refuse("they do not show the same, or one is shifted or turned");
    }
}

FittedColors fitColors(const std::vector<PicturePair>& pairs, const FitOptions& options) {
    FittedColors colors;
    if (options.curve) {
        colors.curve = fitCurve(pairs, options.smooth);
    }
    const std::vector<LatticeSample> samples = samplesOf(pairs, Before(colors.curve, options));
    // Edits are sums of curves of the colours in the pictures. Those behind a curve that moves luma alone are
    // others; only colour correction cannot be followed back to them.
    const bool behind = colors.curve.points.empty() || options.correction;
    const auto plain = sumOfCurves(behind ? samples : samplesOf(pairs, Before({}, options)));
    LatticeFit fit;
    fit.prior = latticeBetween(
        [&](const Yuv& color) { return mapYuv(color, OutsideGamut::kKeep, LumaWeights::kBt601, plain); },
        LumaWeights::kBt601, levelsOf(behind ? ToneCurve() : colors.curve));
    fit.smooth *= options.smooth;
    colors.lattice = limited(fit.solve(samples));
    return colors;
}

FitReport reportOf(const std::vector<PicturePair>& pairs, const FittedColors& colors,
                   const FitOptions& options) {
    FitReport report;
    std::vector<LatticeSample> samples;
    double heldOut = 0.0;
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        report.deltaE.push_back(deltaEOf(pairs[i], colors, options));
        addSamples(pairs[i], Before(colors.curve, options), samples);
        if (pairs.size() > 1) {
            std::vector<PicturePair> others = pairs;
            others.erase(others.begin() + static_cast<std::ptrdiff_t>(i));
            heldOut += deltaEOf(pairs[i], fitColors(others, options), options);
        }
    }
    if (pairs.size() > 1) {
        report.heldOut = heldOut / static_cast<double>(pairs.size());
    }
    report.coveredPercent = covered(samples);
    return report;
}

Picture developed(const Picture& picture, const FittedColors& colors, const FitOptions& options) {
    Picture result = Before(colors.curve, options)(picture);
    for (int row = 0; row < picture.size.height / 2; ++row) {
        for (int column = 0; column < picture.size.width / 2; ++column) {
            const Block block(result, row, column);
            const double mean = 0.25 * sumOf(result.y, block);
            const Yuv out = colors.lattice.at({mean, static_cast<double>(result.u[block.chroma]),
                                               static_cast<double>(result.v[block.chroma])});
            for (const std::size_t at : block.luma) {
                result.y[at] = toLevel(result.y[at] + out.y - mean);
            }
            result.u[block.chroma] = toLevel(out.u);
            result.v[block.chroma] = toLevel(out.v);
        }
    }
    return result;
}

}  // namespace tool
