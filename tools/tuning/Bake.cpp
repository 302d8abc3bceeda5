#include "tools/tuning/Bake.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <mutex>
#include <unordered_map>

#include "tools/tuning/LatticeFit.h"
#include "tools/tuning/Parallel.h"
#include "tools/tuning/Shaper.h"

namespace tool {

namespace {

constexpr double kGrain = 1024;

// The colour, brighter or darker as if by exposure, at which luma is `luma` (0..1). Exposure changes neither
// hue nor the ratio of chroma to lightness in Oklab.
LinearRgb exposed(const LinearRgb& color, double luma) {
    const auto scaled = [&](double gain) {
        return LinearRgb{color.r * gain, color.g * gain, color.b * gain};
    };
    double low = -12, high = 12;  // steps of exposure
    for (int step = 0; step < 24; ++step) {
        const double middle = (low + high) / 2;
        (toYuv(toRgb(scaled(std::exp2(middle)))).y < 255 * luma ? low : high) = middle;
    }
    return scaled(std::exp2((low + high) / 2));
}

// A colour of the same hue and relative chroma whose luma is `luma` (0..255).
Oklab withLuma(const Oklab& color, double luma) {
    // Of the gamut that the roll-off ends at.
    const auto [lightness, chroma, hue] = toOkLch(color);
    const double relative = chroma / std::max(maxChroma(lightness, hue, kRollOffTop), 1e-9);
    const auto at = [&, hue = hue](double l) {
        const double most = maxChroma(l, hue, kRollOffTop);
        return toOklab(OkLch{l, std::min(relative * most, maxChroma(l, hue)), hue});
    };
    double low = 0, high = 1;
    for (int step = 0; step < 14; ++step) {
        const double middle = (low + high) / 2;
        (toYuv(clamped(toRgb(at(middle)))).y < luma ? low : high) = middle;
    }
    return at((low + high) / 2);
}

Yuv limited(const Yuv& color, double grain) {
    const auto level = [grain](double value) {
        return std::round(std::clamp(value, 0.0, 255.0) * grain) / grain;
    };
    return {level(color.y), level(color.u), level(color.v)};
}

// Whether the table is kept bit for bit.
const Table* keptTable(const Look& look) {
    if (look.curveColor != 0 || look.adjustments.size() != 1) {
        return nullptr;
    }
    const auto* table = std::get_if<Table>(&look.adjustments.front());
    return table != nullptr && table->amount == 1 ? table : nullptr;
}

std::vector<float> bakeCurve(const Look& look, const CurveLevels& curve, TableReader reader) {
    std::vector<float> levels(curve.begin(), curve.end());
    if (!look.curve.levels.empty()) {
        return levels;
    }
    for (std::size_t i = 0; i < levels.size(); ++i) {
        const bool texels = reader == TableReader::kTexels;
        const double x = texels ? (static_cast<double>(i) + 0.5) * 255 / 256 : static_cast<double>(i);
        const double grain = texels ? 1 : kGrain;
        levels[i] = static_cast<float>(std::round(levelAt(curve, x) * grain) / grain);
    }
    return levels;
}

bool hasLut(const Look& look) {
    return std::any_of(look.adjustments.begin(), look.adjustments.end(),
                       [](const Adjustment& a) { return std::holds_alternative<RgbLut>(a); });
}

// The look's single table, when its readers read it as it is.
const Table* tableFor(const Look& look, TableReader reader) {
    const Table* kept = keptTable(look);
    const bool same =
        kept != nullptr && (reader == TableReader::kBoth || kept->texels == (reader == TableReader::kTexels));
    return same ? kept : nullptr;
}

Yuv between(const Yuv& from, const Yuv& to, double share) {
    return {from.y + share * (to.y - from.y), from.u + share * (to.u - from.u),
            from.v + share * (to.v - from.v)};
}

// What the look, when it keeps no table, makes of a colour behind the curve stage.
Yuv mapped(const Look& look, const CurveLevels& curve, TableReader reader, const Yuv& in,
           const FollowedCurve* followed) {
    Yuv out = look.curveColor <= 0  ? in
              : followed != nullptr ? followed->at(in)
                                    : followCurve(curve, look.curveColor, in);
    out = applyAdjustments(look.adjustments, out);
    return reader == TableReader::kBoth ? between(in, out, 2 * look.colorStrength) : out;
}

// The part of the look's tones that the curve stage takes, behind the tone curve.
CurveLevels shaper(const Look& look, const CurveLevels& curve, const FollowedCurve* followed) {
    return shaperOf([&](const Yuv& in) {
        return between(in, mapped(look, curve, TableReader::kShaped, in, followed), look.colorStrength);
    });
}

bool isShaped(const Look& look, TableReader reader) {
    return reader == TableReader::kShaped && hasLut(look) && look.curve.levels.empty() &&
           look.colorStrength > 0;
}

// With the shaper between the tone curve and the table, which is mixed with what it is given: that shows
// through by 1 - colorStrength, and the table takes it back.
Lattice shapedLattice(const Look& look, const CurveLevels& curve, const FollowedCurve* followed) {
    const CurveLevels tones = shaper(look, curve, followed);
    return latticeBetween(
        [&](const Yuv& in) {
            Yuv out = mapped(look, curve, TableReader::kShaped, in, followed);
            out.y += (1 / look.colorStrength - 1) * (in.y - levelAt(tones, in.y));
            return out;
        },
        LumaWeights::kBt601, tones);
}

}  // namespace

TableReader tableReader(const std::string& photo, const std::string& frame) {
    if ((photo == "OGL") != (frame == "OGL")) {
        return TableReader::kBoth;
    }
    return photo == "OGL" ? TableReader::kTexels : TableReader::kLevels;
}

TableReader tableReader(const std::string& photo, const StageSwitch& photoSwitch, const std::string& frame,
                        const StageSwitch& frameSwitch) {
    const auto shaped = [](const StageSwitch& at) {
        // Colour correction, between the two, would take the shaper for a change of light.
        return at("curveSwitch") == 1 && at("colorSwitch") == 1 && at("cCorrSwitch") != 1;
    };
    const TableReader reader = tableReader(photo, frame);
    return reader == TableReader::kLevels && shaped(photoSwitch) && shaped(frameSwitch) ? TableReader::kShaped
                                                                                        : reader;
}

double lookStrength(float fileStrength, bool reversed) {
    const double strength = std::isfinite(fileStrength) ? fileStrength : 0.0;
    const double exact = reversed ? 1 - strength : strength;
    // As short a number as gives the same float again.
    for (double digits = 10; digits < 1e10; digits *= 10) {
        const double rounded = std::round(exact * digits) / digits;
        if (static_cast<float>(reversed ? 1 - rounded : rounded) == static_cast<float>(strength)) {
            return rounded;
        }
    }
    return exact;
}

Yuv followCurve(const CurveLevels& curve, double amount, const Yuv& color) {
    // The colour before the curve; chroma that no RGB colour has is put aside.
    Yuv before = {inverseOf(curve, color.y), color.u, color.v};
    const double share = gamutShare(before);
    before.u = 128 + share * (color.u - 128);
    before.v = 128 + share * (color.v - 128);
    const LinearRgb linear = toLinear(clamped(toRgb(before)));
    const Oklab plain = toOklab(toRgb(Yuv{color.y, before.u, before.v}));
    Oklab after = plain;
    // Black has no colour to keep.
    if (before.y > 0.5 && color.y > 0.5) {
        const Oklab kept = toOklab(exposed(linear, color.y / 255));
        after = {plain.l + amount * (kept.l - plain.l), plain.a + amount * (kept.a - plain.a),
                 plain.b + amount * (kept.b - plain.b)};
    }
    // A colour on the gamut's edge may stay there, but not when it is brightened: it would be clipped. Nor
    // may points outside then pull their neighbours beyond it.
    const double raised = smoothStep(0, 12, color.y - before.y);
    const double kept = relativeChroma(toOklab(linear)) * (1 - raised);
    Oklab inside = rolledOff(after, kept);
    // Less chroma at the same lightness is more luma: the curve has said how much luma there is to be.
    if (std::abs(toYuv(clamped(toRgb(inside))).y - color.y) > 1) {
        inside = withLuma(inside, color.y);
    }
    Yuv result = toYuv(clamped(toRgb(inside)));
    result.u += (1 - raised) * (color.u - before.u);
    result.v += (1 - raised) * (color.v - before.v);
    return result;
}

struct FollowedCurve::Colors {
    struct Key {
        double y, u, v;
        bool operator==(const Key&) const = default;
    };
    struct Hash {
        std::size_t operator()(const Key& key) const {
            const std::hash<double> hash;
            return (hash(key.y) * 31 + hash(key.u)) * 31 + hash(key.v);
        }
    };
    std::mutex mutex;
    std::unordered_map<Key, Yuv, Hash> known;
};

FollowedCurve::FollowedCurve(const CurveLevels& curve, double amount)
    : m_curve(curve), m_amount(amount), m_colors(std::make_unique<Colors[]>(kParts)) {}
FollowedCurve::~FollowedCurve() = default;

Yuv FollowedCurve::at(const Yuv& color) const {
    const Colors::Key key = {color.y, color.u, color.v};
    // In parts, so that threads seldom wait for one another.
    Colors& part = m_colors[Colors::Hash()(key) / 64 % kParts];
    {
        const std::lock_guard lock(part.mutex);
        if (const auto found = part.known.find(key); found != part.known.end()) {
            return found->second;
        }
    }
    const Yuv result = followCurve(m_curve, m_amount, color);
    const std::lock_guard lock(part.mutex);
    return part.known.emplace(key, result).first->second;
}

Look forBothReaders(const Look& look) {
    const Table* kept = keptTable(look);
    if (kept == nullptr || look.colorStrength == 0.5) {
        return look;
    }
    Table table = *kept;
    for (std::size_t point = 0; point < Lattice::kPoints; ++point) {
        const Yuv in = kept->texels ? Lattice::texelLevels(point) : Lattice::levels(point);
        table.lattice.setPoint(
            point, limited(between(in, kept->lattice.point(point), 2 * look.colorStrength), kGrain));
    }
    Look even = look;
    even.colorStrength = 0.5;
    even.adjustments = {table};
    return even;
}

BakedTable bakeStrengths(const Look& look, TableReader reader) {
    BakedTable baked;
    baked.satStrength = static_cast<float>(look.satStrength);
    baked.claheStrength = static_cast<float>(look.claheStrength);
    const Table* kept = tableFor(look, reader);
    const bool half = kept == nullptr && reader == TableReader::kBoth;
    const bool reversed = kept != nullptr ? kept->texels : reader == TableReader::kTexels;
    baked.colorStrength = static_cast<float>(half       ? 0.5
                                             : reversed ? 1 - look.colorStrength
                                                        : look.colorStrength);
    return baked;
}

BakedTable bakeWithoutColor(const Look& look, TableReader reader, const FollowedCurve* followed) {
    BakedTable baked = bakeStrengths(look, reader);
    CurveLevels curve = levelsOf(look.curve);
    if (isShaped(look, reader)) {
        const CurveLevels tones = shaper(look, curve, followed);
        std::transform(curve.begin(), curve.end(), curve.begin(),
                       [&](float level) { return static_cast<float>(levelAt(tones, level)); });
    }
    baked.curve = bakeCurve(look, curve, reader);
    return baked;
}

bool isPointwise(const Look& look, TableReader reader) {
    return tableFor(look, reader) != nullptr || reader == TableReader::kTexels || !hasLut(look);
}

Yuv bakePoint(const Look& look, const CurveLevels& curve, TableReader reader, std::size_t point,
              const FollowedCurve* followed) {
    if (const Table* kept = tableFor(look, reader)) {
        return kept->lattice.point(point);
    }
    const bool texels = reader == TableReader::kTexels;
    const Yuv in = texels ? Lattice::texelLevels(point) : Lattice::levels(point);
    return limited(mapped(look, curve, reader, in, followed), texels ? 1 : kGrain);
}

BakedTable bake(const Look& look, TableReader reader, const FollowedCurve* followed) {
    BakedTable baked = bakeWithoutColor(look, reader, followed);
    if (const Table* kept = tableFor(look, reader)) {
        baked.color = kept->lattice.values();
        return baked;
    }
    const CurveLevels curve = levelsOf(look.curve);
    const bool pointwise = isPointwise(look, reader);
    // LUTs bend more than a look's other adjustments do, and know nothing of the lattice's points.
    Lattice lattice =
        pointwise ? Lattice()
        : isShaped(look, reader)
            ? shapedLattice(look, curve, followed)
            : latticeBetween([&](const Yuv& in) { return mapped(look, curve, reader, in, followed); },
                             LumaWeights::kBt601);
    inParallel(Lattice::kPoints, [&](std::size_t point) {
        lattice.setPoint(point, pointwise ? bakePoint(look, curve, reader, point, followed)
                                          : limited(lattice.point(point), kGrain));
    });
    baked.color = lattice.values();
    return baked;
}

}  // namespace tool
