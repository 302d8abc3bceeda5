#include "tools/picture/Color.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace tool {

namespace {

constexpr double kDegrees = 180.0 / std::numbers::pi;
constexpr double kKnee = 0.8;

struct Weights {
    double red, blue;
};

Weights of(LumaWeights weights) {
    return weights == LumaWeights::kBt601 ? Weights{0.299, 0.114} : Weights{0.2126, 0.0722};
}

}  // namespace

double srgbToLinear(double value) {
    const double size = std::abs(value);
    const double linear = size <= 0.04045 ? size / 12.92 : std::pow((size + 0.055) / 1.055, 2.4);
    return std::copysign(linear, value);
}

double linearToSrgb(double value) {
    const double size = std::abs(value);
    const double coded = size <= 0.0031308 ? 12.92 * size : 1.055 * std::pow(size, 1.0 / 2.4) - 0.055;
    return std::copysign(coded, value);
}

LinearRgb toLinear(const Rgb& color) {
    return {srgbToLinear(color.r), srgbToLinear(color.g), srgbToLinear(color.b)};
}

Rgb toRgb(const LinearRgb& color) {
    return {linearToSrgb(color.r), linearToSrgb(color.g), linearToSrgb(color.b)};
}

Oklab toOklab(const LinearRgb& color) {
    const double l = std::cbrt(0.4122214708 * color.r + 0.5363325363 * color.g + 0.0514459929 * color.b);
    const double m = std::cbrt(0.2119034982 * color.r + 0.6806995451 * color.g + 0.1073969566 * color.b);
    const double s = std::cbrt(0.0883024619 * color.r + 0.2817188376 * color.g + 0.6299787005 * color.b);
    return {0.2104542553 * l + 0.7936177850 * m - 0.0040720468 * s,
            1.9779984951 * l - 2.4285922050 * m + 0.4505937099 * s,
            0.0259040371 * l + 0.7827717662 * m - 0.8086757660 * s};
}

Oklab toOklab(const Rgb& color) { return toOklab(toLinear(color)); }

LinearRgb toLinear(const Oklab& color) {
    const double l = color.l + 0.3963377774 * color.a + 0.2158037573 * color.b;
    const double m = color.l - 0.1055613458 * color.a - 0.0638541728 * color.b;
    const double s = color.l - 0.0894841775 * color.a - 1.2914855480 * color.b;
    const double l3 = l * l * l, m3 = m * m * m, s3 = s * s * s;
    return {4.0767416621 * l3 - 3.3077115913 * m3 + 0.2309699292 * s3,
            -1.2684380046 * l3 + 2.6097574011 * m3 - 0.3413193965 * s3,
            -0.0041960863 * l3 - 0.7034186147 * m3 + 1.7076147010 * s3};
}

Rgb toRgb(const Oklab& color) { return toRgb(toLinear(color)); }

OkLch toOkLch(const Oklab& color) {
    const double hue = std::atan2(color.b, color.a) * kDegrees;
    return {color.l, std::hypot(color.a, color.b), hue < 0 ? hue + 360 : hue};
}

Oklab toOklab(const OkLch& color) {
    return {color.l, color.c * std::cos(color.h / kDegrees), color.c * std::sin(color.h / kDegrees)};
}

Yuv toYuv(const Rgb& color, LumaWeights weights) {
    const auto [red, blue] = of(weights);
    const double luma = red * color.r + (1 - red - blue) * color.g + blue * color.b;
    return {255 * luma, 128 + 255 * (color.b - luma) / (2 * (1 - blue)),
            128 + 255 * (color.r - luma) / (2 * (1 - red))};
}

Rgb toRgb(const Yuv& color, LumaWeights weights) {
    const auto [red, blue] = of(weights);
    const double luma = color.y / 255;
    const double r = luma + 2 * (1 - red) * (color.v - 128) / 255;
    const double b = luma + 2 * (1 - blue) * (color.u - 128) / 255;
    return {r, (luma - red * r - blue * b) / (1 - red - blue), b};
}

bool inGamut(const Rgb& color, double tolerance) {
    const auto inside = [tolerance](double value) { return value >= -tolerance && value <= 1 + tolerance; };
    return inside(color.r) && inside(color.g) && inside(color.b);
}

Rgb clamped(const Rgb& color) {
    return {std::clamp(color.r, 0.0, 1.0), std::clamp(color.g, 0.0, 1.0), std::clamp(color.b, 0.0, 1.0)};
}

double gamutShare(const Yuv& color, LumaWeights weights) {
    // RGB is linear in the share: each channel leaves 0..1 at one place.
    const Rgb rgb = toRgb(color, weights);
    const double grey = std::clamp(color.y / 255, 0.0, 1.0);
    double share = 1;
    for (const double channel : {rgb.r, rgb.g, rgb.b}) {
        if (channel > 1) {
            share = std::min(share, (1 - grey) / (channel - grey));
        } else if (channel < 0) {
            share = std::min(share, grey / (grey - channel));
        }
    }
    return share;
}

double maxChroma(double lightness, double hue, double top) {
    if (lightness <= 0 || lightness >= 1) {
        return 0;
    }
    const double most = srgbToLinear(top);
    const double a = std::cos(hue / kDegrees), b = std::sin(hue / kDegrees);
    double inside = 0, outside = 0.4;
    for (int step = 0; step < 22; ++step) {
        const double middle = (inside + outside) / 2;
        const auto [red, green, blue] = toLinear(Oklab{lightness, middle * a, middle * b});
        const bool in = std::min({red, green, blue}) >= 0 && std::max({red, green, blue}) <= most;
        (in ? inside : outside) = middle;
    }
    return inside;
}

double relativeChroma(const Oklab& color) {
    const auto [l, c, h] = toOkLch(color);
    const double most = maxChroma(l, h);
    return c < 1e-9 ? 0 : c / std::max(most, 1e-9);
}

Oklab rolledOff(const Oklab& color, double kept) {
    OkLch lch = toOkLch(color);
    lch.l = std::clamp(lch.l, 0.0, 1.0);
    const double most = maxChroma(lch.l, lch.h), limit = maxChroma(lch.l, lch.h, kRollOffTop);
    // Among blues the gamut is not convex: a colour inside of it may have more than "the most".
    const double knee = std::max(kept * most, kKnee * limit);
    if (lch.c > knee) {
        const double room = limit - knee;
        lch.c = room > 0 ? knee + room * std::tanh((lch.c - knee) / room) : knee;
    }
    return toOklab(lch);
}

double smoothStep(double low, double high, double value) {
    const double t = std::clamp((value - low) / (high - low), 0.0, 1.0);
    return t * t * (3 - 2 * t);
}

double hueDistance(double a, double b) { return std::abs(std::remainder(a - b, 360.0)); }

}  // namespace tool
