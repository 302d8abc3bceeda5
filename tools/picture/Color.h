// Colours one at a time: RGB, linear light, Oklab and the library's YUV, and the RGB gamut between them.
//
// RGB is sRGB (IEC 61966-2-1) on 0..1; linear RGB is proportional to light. Values outside 0..1 are allowed
// everywhere: the transfer functions continue to both sides. Oklab is Ottosson's (2020), hues are in degrees
// 0..360. YUV is on 0..255 with chroma around 128, full range, as the library's tables have it.
#pragma once

namespace tool {

// Which YUV: the weights of red and blue in luma. JPEG files and their kin are BT.601.
enum class LumaWeights { kBt601, kBt709 };

struct Rgb {
    double r = 0, g = 0, b = 0;
    bool operator==(const Rgb&) const = default;
};

// Proportional to light.
struct LinearRgb {
    double r = 0, g = 0, b = 0;
};

struct Yuv {
    double y = 0, u = 128, v = 128;
    bool operator==(const Yuv&) const = default;
};

struct Oklab {
    double l = 0, a = 0, b = 0;  // black 0, white 1; chroma of RGB colours up to about 0.32
};

struct OkLch {
    double l = 0, c = 0, h = 0;  // lightness, chroma, hue in degrees
};

double srgbToLinear(double value);
double linearToSrgb(double value);
LinearRgb toLinear(const Rgb& color);
Rgb toRgb(const LinearRgb& color);

Oklab toOklab(const LinearRgb& color);
Oklab toOklab(const Rgb& color);
LinearRgb toLinear(const Oklab& color);
Rgb toRgb(const Oklab& color);
OkLch toOkLch(const Oklab& color);
Oklab toOklab(const OkLch& color);

Yuv toYuv(const Rgb& color, LumaWeights weights = LumaWeights::kBt601);
Rgb toRgb(const Yuv& color, LumaWeights weights = LumaWeights::kBt601);

// Whether every channel is within 0..1, give or take `tolerance`.
bool inGamut(const Rgb& color, double tolerance = 1e-9);
Rgb clamped(const Rgb& color);

// The part of a colour's chroma, 0..1, with which it is still an RGB colour: 1 inside of the gamut, 0 for
// black and white. Luma and hue of YUV stay as they are.
double gamutShare(const Yuv& color, LumaWeights weights = LumaWeights::kBt601);

// The chroma at which colours of this lightness and hue leave the RGB gamut, or a smaller one whose channels
// reach `top` (0..1, not linear).
double maxChroma(double lightness, double hue, double top = 1);

// A colour's chroma as a part of the most that its lightness and hue allow: 0 for greys, 1 on the gamut's
// edge, more outside.
double relativeChroma(const Oklab& color);

// Where the roll-off ends: 244 of 255. What is left is for the table's interpolation and for rounding.
inline constexpr double kRollOffTop = 244.0 / 255;

// Brings `color` into the gamut along its own lightness and hue. Chroma below the knee stays; above it rises
// ever more slowly and comes near the edge of a gamut whose channels end at kRollOffTop, so that no channel
// is clipped. The knee is 0.8 of that, or `kept`, the relative chroma that is not to be lost: a colour that
// was on the edge of the whole gamut before it was changed may stay there.
Oklab rolledOff(const Oklab& color, double kept);

// 0 below `low`, 1 above `high`, the cubic 3 t^2 - 2 t^3 in between.
double smoothStep(double low, double high, double value);

// Distance of two hues, 0..180 degrees.
double hueDistance(double a, double b);

}  // namespace tool
