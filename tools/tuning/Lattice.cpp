#include "tools/tuning/Lattice.h"

#include <algorithm>
#include <cassert>
#include <cmath>

namespace tool {

namespace {

// Between which points of an axis a position lies, and how far from the lower one.
struct Place {
    std::size_t low;
    double part;
    explicit Place(double position) {
        const double last = Lattice::kSide - 1;
        const double limited = std::isnan(position) ? 0 : std::clamp(position, 0.0, last);
        low = static_cast<std::size_t>(limited);
        part = limited - static_cast<double>(low);
    }
};

}  // namespace

Lattice::Lattice() : m_values(kFloats) {
    for (std::size_t point = 0; point < kPoints; ++point) {
        setPoint(point, levels(point));
    }
}

Lattice::Lattice(std::vector<float> values) : m_values(std::move(values)) {
    assert(m_values.size() == kFloats);
}

Lattice Lattice::of(const std::function<Yuv(const Yuv&)>& map) {
    Lattice lattice;
    for (std::size_t point = 0; point < kPoints; ++point) {
        lattice.setPoint(point, map(levels(point)));
    }
    return lattice;
}

Yuv Lattice::levels(std::size_t point) {
    const auto level = [](std::size_t k) { return kStep * static_cast<double>(k); };
    return {level(point % kSide), level(point / kSide % kSide), level(point / kSide / kSide)};
}

Yuv Lattice::point(std::size_t index) const {
    return {m_values[index], m_values[index + kPoints], m_values[index + 2 * kPoints]};
}

void Lattice::setPoint(std::size_t index, const Yuv& value) {
    m_values[index] = static_cast<float>(value.y);
    m_values[index + kPoints] = static_cast<float>(value.u);
    m_values[index + 2 * kPoints] = static_cast<float>(value.v);
}

// A point's own level is exactly at the point: quotients of multiples of 17 have no rounding.
Yuv Lattice::at(const Yuv& color) const { return between(color.y / kStep, color.u / kStep, color.v / kStep); }

Yuv Lattice::atTexel(const Yuv& color) const {
    const auto position = [](double level) {
        const double exact = level * kSide / 255 - 0.5;
        // The same for the centres, whose levels are rounded.
        return std::abs(exact - std::round(exact)) < 1e-9 ? std::round(exact) : exact;
    };
    return between(position(color.y), position(color.u), position(color.v));
}

Yuv Lattice::texelLevels(std::size_t point) {
    // Luma is flat before the first centre: half way there, black and the first centre are equally wrong.
    const auto luma = [](std::size_t i) {
        return i == 0 ? texelLevel(0) / 2 : i == kSide - 1 ? (255 + texelLevel(i)) / 2 : texelLevel(i);
    };
    return {luma(point % kSide), texelLevel(point / kSide % kSide), texelLevel(point / kSide / kSide)};
}

Yuv Lattice::between(double yAt, double uAt, double vAt) const {
    const Place y(yAt), u(uAt), v(vAt);
    Yuv sum{0, 0, 0};
    for (unsigned corner = 0; corner < 8; ++corner) {
        const std::size_t dy = corner & 1U, du = corner >> 1U & 1U, dv = corner >> 2U;
        const double weight = (dy != 0 ? y.part : 1 - y.part) * (du != 0 ? u.part : 1 - u.part) *
                              (dv != 0 ? v.part : 1 - v.part);
        if (weight == 0) {
            continue;  // not even a value that is no number counts
        }
        const Yuv value = point(index(y.low + dy, u.low + du, v.low + dv));
        sum.y += weight * value.y;
        sum.u += weight * value.u;
        sum.v += weight * value.v;
    }
    return sum;
}

Yuv mapYuv(const Yuv& color, OutsideGamut outside, LumaWeights weights,
           const std::function<Rgb(const Rgb&)>& map) {
    if (outside == OutsideGamut::kClamp) {
        return toYuv(map(clamped(toRgb(color, weights))), weights);
    }
    const double share = gamutShare(color, weights);
    const Yuv edge = {color.y, 128 + share * (color.u - 128), 128 + share * (color.v - 128)};
    Yuv mapped = toYuv(map(clamped(toRgb(edge, weights))), weights);
    mapped.u += color.u - edge.u;
    mapped.v += color.v - edge.v;
    return mapped;
}

}  // namespace tool
