#include "tools/tuning/Adjustment.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <type_traits>

namespace tool {

namespace {

constexpr double kRadians = std::numbers::pi / 180.0;
// The middle of skin's hues in Oklab, from the palest to the darkest.
constexpr double kSkinHue = 55;
constexpr double kSkinWidth = 40;
// Warmth and tint 1 move white by this much.
constexpr double kBalance = 0.1;

Oklab withChroma(const Oklab& color, double factor) { return {color.l, color.a * factor, color.b * factor}; }

// Colours as good as grey have no hue to speak of.
double hasHue(double chroma) { return smoothStep(0.01, 0.06, chroma); }

Oklab apply(const Saturation& s, const Oklab& color) { return withChroma(color, 1 + s.amount); }

Oklab apply(const Vibrance& v, const Oklab& color) {
    const OkLch lch = toOkLch(color);
    const double pale = 1 - smoothStep(0.04, 0.25, lch.c);
    return withChroma(color, 1 + v.amount * pale * (1 - v.skin * skinWeight(lch)));
}

Oklab apply(const Warmth& w, const Oklab& color) {
    const double step = kBalance * std::max(color.l, 0.0);
    return {color.l, color.a + w.tint * step, color.b + w.warmth * step};
}

Oklab apply(const Selective& s, const Oklab& color) {
    OkLch lch = toOkLch(color);
    const double distance = hueDistance(lch.h, s.hue);
    if (distance >= s.width) {
        return color;
    }
    // A raised cosine: smooth at the middle and at both ends.
    const double weight = (1 + std::cos(std::numbers::pi * distance / s.width)) / 2 * hasHue(lch.c);
    lch.h += s.shift * weight;
    lch.c *= 1 + s.chroma * weight;
    lch.l = std::clamp(lch.l + s.lightness * weight, 0.0, 1.0);
    return toOklab(lch);
}

Oklab apply(const Tint& t, const Oklab& color) {
    // Black stays black; white does, too, because the gamut has no chroma there.
    const double weight = t.range == Tint::Range::kShadows
                              ? smoothStep(0.0, 0.25, color.l) * (1 - smoothStep(0.3, 0.65, color.l))
                              : smoothStep(0.5, 0.85, color.l);
    const double step = t.chroma * weight;
    return {color.l, color.a + step * std::cos(t.hue * kRadians),
            color.b + step * std::sin(t.hue * kRadians)};
}

template <typename T>
constexpr bool kInOklab = !std::is_same_v<T, RgbLut> && !std::is_same_v<T, Table>;

bool inOklab(const Adjustment& adjustment) {
    return std::visit([](const auto& a) { return kInOklab<std::decay_t<decltype(a)>>; }, adjustment);
}

double mix(double from, double to, double amount) { return from + amount * (to - from); }

Yuv apply(const RgbLut& lut, const Yuv& color) {
    return mapYuv(color, lut.outside, lut.weights, [&](const Rgb& in) {
        const Rgb out = lut.at(in);
        return Rgb{mix(in.r, out.r, lut.amount), mix(in.g, out.g, lut.amount), mix(in.b, out.b, lut.amount)};
    });
}

Yuv apply(const Table& table, const Yuv& color) {
    const Yuv out = table.texels ? table.lattice.atTexel(color) : table.lattice.at(color);
    if (table.amount == 1) {
        return out;
    }
    return {mix(color.y, out.y, table.amount), mix(color.u, out.u, table.amount),
            mix(color.v, out.v, table.amount)};
}

using Iterator = std::vector<Adjustment>::const_iterator;

Yuv applyInOklab(Iterator begin, Iterator end, const Yuv& color) {
    return mapYuv(color, OutsideGamut::kKeep, LumaWeights::kBt601, [&](const Rgb& in) {
        const Oklab before = toOklab(in);
        Oklab after = before;
        for (auto a = begin; a != end; ++a) {
            after = adjusted(*a, after);
        }
        return clamped(toRgb(rolledOff(after, relativeChroma(before))));
    });
}

}  // namespace

double skinWeight(const OkLch& color) {
    const double near = 1 - smoothStep(kSkinWidth / 2, kSkinWidth, hueDistance(color.h, kSkinHue));
    return near * hasHue(color.c) * (1 - smoothStep(0.14, 0.2, color.c));
}

Rgb RgbLut::at(const Rgb& color) const {
    const auto side = static_cast<std::size_t>(size);
    const Rgb in = clamped(color);
    std::size_t low[3];
    double part[3];
    const double channels[3] = {in.r, in.g, in.b};
    for (int axis = 0; axis < 3; ++axis) {
        const double position = channels[axis] * static_cast<double>(side - 1);
        low[axis] = std::min(static_cast<std::size_t>(position), side - 2);
        part[axis] = position - static_cast<double>(low[axis]);
    }
    // From the low corner to the high one along the axes, that with the largest part first.
    int order[3] = {0, 1, 2};
    std::stable_sort(order, order + 3, [&](int a, int b) { return part[a] > part[b]; });
    const std::size_t step[3] = {1, side, side * side};
    std::size_t at = low[0] * step[0] + low[1] * step[1] + low[2] * step[2];
    Rgb sum;
    double before = 1;
    for (int corner = 0; corner <= 3; ++corner) {
        const double after = corner < 3 ? part[order[corner]] : 0;
        const double weight = before - after;
        sum = {sum.r + weight * points[at].r, sum.g + weight * points[at].g, sum.b + weight * points[at].b};
        before = after;
        if (corner < 3) {
            at += step[order[corner]];
        }
    }
    return sum;
}

Oklab adjusted(const Adjustment& adjustment, const Oklab& color) {
    return std::visit(
        [&](const auto& a) -> Oklab {
            if constexpr (kInOklab<std::decay_t<decltype(a)>>) {
                return apply(a, color);
            } else {
                return color;
            }
        },
        adjustment);
}

Yuv applyAdjustments(const std::vector<Adjustment>& adjustments, const Yuv& color) {
    Yuv value = color;
    for (auto at = adjustments.begin(); at != adjustments.end();) {
        if (inOklab(*at)) {
            const auto end = std::find_if_not(at, adjustments.end(), inOklab);
            value = applyInOklab(at, end, value);
            at = end;
            continue;
        }
        value = std::holds_alternative<Table>(*at) ? apply(std::get<Table>(*at), value)
                                                   : apply(std::get<RgbLut>(*at), value);
        ++at;
    }
    return value;
}

}  // namespace tool
