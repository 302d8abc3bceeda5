#include "tools/picture/ColorDifference.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <numbers>

#include "tools/picture/WideLoops.h"

namespace tool {

namespace {

// IEC 61966-2-1.
constexpr double kXyzOfRgb[3][3] = {
    {0.412453, 0.357580, 0.180423}, {0.212671, 0.715160, 0.072169}, {0.019334, 0.119193, 0.950227}};
constexpr double kWhite[3] = {0.95047, 1.0, 1.08883};

double linearOfSrgb(double level) {
    const double v = level / 255.0;
    return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
}

// The cube root of L*a*b*, with its straight piece near black.
double labRoot(double t) { return t > 0.008856 ? std::cbrt(t) : 7.787 * t + 16.0 / 116.0; }

double degrees(double radians) { return radians * 180.0 / std::numbers::pi; }
double radians(double angle) { return angle * std::numbers::pi / 180.0; }
double seventh(double value) { return std::pow(value, 7.0); }
double hueOf(double a, double b) {
    const double hue = a == 0.0 && b == 0.0 ? 0.0 : degrees(std::atan2(b, a));
    return hue < 0.0 ? hue + 360.0 : hue;
}

// The mean of two hues over the shorter arc; a colour without chroma has no say.
double meanHue(double hue1, double hue2, bool bothColoured) {
    if (!bothColoured) {
        return hue1 + hue2;
    }
    const double mean = 0.5 * (hue1 + hue2);
    return std::abs(hue1 - hue2) <= 180.0 ? mean : mean < 180.0 ? mean + 180.0 : mean - 180.0;
}

constexpr double kPower25 = 6103515625.0;  // 25^7

// --- In floats, a block of pixels at a time: plain loops over arrays, which the compiler vectorises
// ----------

constexpr int kBlock = 256;

const std::array<float, 256>& linearLevels() {
    static const std::array<float, 256> levels = [] {
        std::array<float, 256> made{};
        for (std::size_t i = 0; i < made.size(); ++i) {
            made[i] = static_cast<float>(linearOfSrgb(static_cast<double>(i)));
        }
        return made;
    }();
    return levels;
}

// labRoot for 0 to 1, without divisions: t times the square of its inverse cube root, which begins with a
// third of the exponent, 4 % off at most; each step leaves less than the cube of the error.
inline float labRootOf(float t) {
    const float exponent = static_cast<float>(std::bit_cast<std::int32_t>(t));
    float r = std::bit_cast<float>(0x548c2b4b - static_cast<std::int32_t>(exponent * (1.0F / 3)));
    for (int i = 0; i < 2; ++i) {
        const float h = 1.0F - t * (r * r * r);
        r += r * (h * (1.0F / 3) + h * h * (2.0F / 9));
    }
    return t > 0.008856F ? t * r * r : 7.787F * t + 16.0F / 116.0F;
}

struct LabBlock {
    float l[kBlock], a[kBlock], b[kBlock];
};

inline void toLab(const std::uint8_t* levels, const float* linear, int pixels, LabBlock& lab) {
    float m[3][3];
    for (int i = 0; i < 9; ++i) {
        m[i / 3][i % 3] = static_cast<float>(kXyzOfRgb[i / 3][i % 3] / kWhite[i / 3]);
    }
    float red[kBlock], green[kBlock], blue[kBlock];
    for (int i = 0; i < pixels; ++i) {
        red[i] = linear[levels[3 * i]];
        green[i] = linear[levels[3 * i + 1]];
        blue[i] = linear[levels[3 * i + 2]];
    }
    for (int i = 0; i < pixels; ++i) {
        const float x = labRootOf(m[0][0] * red[i] + m[0][1] * green[i] + m[0][2] * blue[i]);
        const float y = labRootOf(m[1][0] * red[i] + m[1][1] * green[i] + m[1][2] * blue[i]);
        const float z = labRootOf(m[2][0] * red[i] + m[2][1] * green[i] + m[2][2] * blue[i]);
        lab.l[i] = 116.0F * y - 16.0F;
        lab.a[i] = 500.0F * (x - y);
        lab.b[i] = 200.0F * (y - z);
    }
}

inline float square(float value) { return value * value; }
inline float seventh(float value) {
    const float cube = value * value * value;
    return cube * cube * value;
}

// exp(-z) for z from 0 to about 13.
inline float expMinus(float z) {
    const float w = -z * (1.0F / 16.0F);
    const float e =
        1.0F +
        w * (1.0F + w * (0.5F + w * (1.0F / 6 + w * (1.0F / 24 + w * (1.0F / 120 + w * (1.0F / 720))))));
    return square(square(square(square(e))));
}

// atan(t) for -1 to 1, Abramowitz and Stegun 4.4.49.
inline float atanUnit(float t) {
    const float s = t * t;
    return t * (0.9998660F + s * (-0.3302995F + s * (0.1801410F + s * (-0.0851330F + s * 0.0208351F))));
}

// sin(x) for 0 to pi/3.
inline float sinSmall(float x) {
    const float s = x * x;
    return x * (1.0F + s * (-1.0F / 6 + s * (1.0F / 120 - s * (1.0F / 5040))));
}

// How strongly blues turn: sin(2 x 30 degrees x exp(-((hue - 275 degrees) / 25 degrees)^2)), for the hue's
// cosine and sine.
inline float blueRotation(float cosine, float sine) {
    constexpr float kCos275 = 0.08715574F, kSin275 = -0.99619470F;
    const float c = cosine * kCos275 + sine * kSin275;
    const float s = sine * kCos275 - cosine * kSin275;
    // Beyond a quarter turn nothing is left.
    const float half = c > 0.0F ? s / (1.0F + c) : 1.0F;
    const float turn = 2.0F * 57.2957795F / 25.0F * atanUnit(half);
    return sinSmall(1.04719755F * expMinus(turn * turn));
}

// 1 - 0.17 cos(h - 30) + 0.24 cos(2h) + 0.32 cos(3h + 6) - 0.20 cos(4h - 63), angles in degrees.
inline float hueWeight(float c, float s) {
    const float c2 = c * c - s * s, s2 = 2.0F * s * c;
    const float c3 = c2 * c - s2 * s, s3 = s2 * c + c2 * s;
    const float c4 = c2 * c2 - s2 * s2, s4 = 2.0F * s2 * c2;
    return 1.0F - 0.17F * (0.86602540F * c + 0.5F * s) + 0.24F * c2 +
           0.32F * (0.99452190F * c3 - 0.10452846F * s3) - 0.20F * (0.45399050F * c4 + 0.89100652F * s4);
}

// With as few divisions and roots as the formula has: they take most of the time.
inline float deltaE(float l1, float a1, float b1, float l2, float a2, float b2) {
    constexpr float k25 = static_cast<float>(kPower25), kTiny = 1e-20F, kFaint = 1e-9F;
    const float power = seventh(0.5F * (std::sqrt(a1 * a1 + b1 * b1) + std::sqrt(a2 * a2 + b2 * b2)));
    const float g = 1.5F - 0.5F * std::sqrt(power / (power + k25));
    a1 *= g;
    a2 *= g;
    const float c1 = std::sqrt(a1 * a1 + b1 * b1);
    const float c2 = std::sqrt(a2 * a2 + b2 * b2);
    const float mean = 0.5F * (c1 + c2);

    // 2 sqrt(c1 c2) sin(dh / 2) without the angle: each form where it is exact.
    const float dot = a1 * a2 + b1 * b2;
    const float cross = a1 * b2 - a2 * b1;
    const bool isNear = dot >= 0.0F;
    const float root = std::sqrt(isNear ? 0.5F * (c1 * c2 + dot) + kTiny : 2.0F * (c1 * c2 - dot));
    const float dh = isNear ? cross / root : std::copysign(root, cross);

    // The mean hue halves the angle between the two, so it points along the sum of their unit vectors; both
    // times c1 c2 here.
    const float x = a1 * (c2 + kFaint) + a2 * (c1 + kFaint);
    const float y = b1 * (c2 + kFaint) + b2 * (c1 + kFaint);
    const float n = 1.0F / (std::sqrt(x * x + y * y) + kTiny);

    const float meanL = square(0.5F * (l1 + l2) - 50.0F);
    const float rootL = std::sqrt(20.0F + meanL);
    const float sl = rootL + 0.015F * meanL;  // times rootL
    const float sc = 1.0F + 0.045F * mean;
    const float sh = 1.0F + 0.015F * mean * hueWeight(x * n, y * n);
    const float meanPower = seventh(mean);
    const float rt = -2.0F * std::sqrt(meanPower / (meanPower + k25)) * blueRotation(x * n, y * n);
    const float inverse = 1.0F / (sl * sc * sh);
    const float tl = (l2 - l1) * rootL * (sc * sh * inverse);
    const float tc = (c2 - c1) * (sl * sh * inverse);
    const float th = dh * (sl * sc * inverse);
    return std::sqrt(std::max(tl * tl + tc * tc + th * th + rt * tc * th, 0.0F));
}

}  // namespace

Lab labOfSrgb(double red, double green, double blue) {
    const double rgb[3] = {linearOfSrgb(red), linearOfSrgb(green), linearOfSrgb(blue)};
    double f[3];
    for (int i = 0; i < 3; ++i) {
        const double* m = kXyzOfRgb[i];
        f[i] = labRoot((m[0] * rgb[0] + m[1] * rgb[1] + m[2] * rgb[2]) / kWhite[i]);
    }
    return {116.0 * f[1] - 16.0, 500.0 * (f[0] - f[1]), 200.0 * (f[1] - f[2])};
}

double deltaE2000(const Lab& x, const Lab& y) {
    const double power = seventh(0.5 * (std::hypot(x.a, x.b) + std::hypot(y.a, y.b)));
    const double g = 1.5 - 0.5 * std::sqrt(power / (power + kPower25));
    const double c1 = std::hypot(g * x.a, x.b);
    const double c2 = std::hypot(g * y.a, y.b);
    const double h1 = hueOf(g * x.a, x.b);
    const double h2 = hueOf(g * y.a, y.b);
    const bool bothColoured = c1 * c2 != 0.0;

    double turn = bothColoured ? h2 - h1 : 0.0;
    turn += turn > 180.0 ? -360.0 : turn < -180.0 ? 360.0 : 0.0;
    const double dh = 2.0 * std::sqrt(c1 * c2) * std::sin(radians(turn / 2.0));
    const double h = meanHue(h1, h2, bothColoured);
    const double c = 0.5 * (c1 + c2);

    const double weight = 1.0 - 0.17 * std::cos(radians(h - 30.0)) + 0.24 * std::cos(radians(2.0 * h)) +
                          0.32 * std::cos(radians(3.0 * h + 6.0)) - 0.20 * std::cos(radians(4.0 * h - 63.0));
    const double meanL = std::pow(0.5 * (x.l + y.l) - 50.0, 2.0);
    const double tl = (y.l - x.l) / (1.0 + 0.015 * meanL / std::sqrt(20.0 + meanL));
    const double tc = (c2 - c1) / (1.0 + 0.045 * c);
    const double th = dh / (1.0 + 0.015 * c * weight);
    const double blue = 30.0 * std::exp(-std::pow((h - 275.0) / 25.0, 2.0));
    const double rt = -2.0 * std::sqrt(seventh(c) / (seventh(c) + kPower25)) * std::sin(radians(2.0 * blue));
    return std::sqrt(std::max(tl * tl + tc * tc + th * th + rt * tc * th, 0.0));
}

void deltaE2000OfRow(const std::uint8_t* x, const std::uint8_t* y, int pixels, float* result) {
    const float* linear = linearLevels().data();
    runWide([=] {
        LabBlock p, q;
        for (int at = 0; at < pixels; at += kBlock) {
            const int count = std::min(kBlock, pixels - at);
            toLab(x + 3 * at, linear, count, p);
            toLab(y + 3 * at, linear, count, q);
            float* out = result + at;
            for (int i = 0; i < count; ++i) {
                out[i] = deltaE(p.l[i], p.a[i], p.b[i], q.l[i], q.a[i], q.b[i]);
            }
        }
    });
}

}  // namespace tool
