// CIEDE2000 against its authors' test data, and the measures of pictures against plain calculations.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>

#include "tools/picture/ColorDifference.h"
#include "tools/picture/FlatNoise.h"
#include "tools/picture/Metrics.h"

namespace test {
namespace {

using tool::Lab;

// Of each kind in table 1 of Sharma, Wu and Dalal 2005.
TEST(ColorDifferenceTest, PublishedPairs) {
    struct Pair {
        Lab x, y;
        double difference;
    };
    const Pair pairs[] = {
        {{50, 2.6772, -79.7751}, {50, 0, -82.7485}, 2.0425},
        {{50, -1.3802, -84.2814}, {50, 0, -82.7485}, 1.0000},
        {{50, 0, 0}, {50, -1, 2}, 2.3669},
        {{50, 2.49, -0.001}, {50, -2.49, 0.0010}, 7.1792},
        {{50, 2.49, -0.001}, {50, -2.49, 0.0011}, 7.2195},
        {{50, -0.001, 2.49}, {50, 0.0010, -2.49}, 4.8045},
        {{50, 2.5, 0}, {50, 0, -2.5}, 4.3065},
        {{50, 2.5, 0}, {73, 25, -18}, 27.1492},
        {{50, 2.5, 0}, {61, -5, 29}, 22.8977},
        {{50, 2.5, 0}, {56, -27, -3}, 31.9030},
        {{50, 2.5, 0}, {58, 24, 15}, 19.4535},
        {{50, 2.5, 0}, {50, 3.1736, 0.5854}, 1.0000},
        {{60.2574, -34.0099, 36.2677}, {60.4626, -34.1751, 39.4387}, 1.2644},
        {{61.2901, 3.7196, -5.3901}, {61.4292, 2.2480, -4.9620}, 1.8731},
        {{22.7233, 20.0904, -46.6940}, {23.0331, 14.9730, -42.5619}, 2.0373},
        {{90.8027, -2.0831, 1.4410}, {91.1528, -1.6435, 0.0447}, 1.4441},
        {{2.0776, 0.0795, -1.1350}, {0.9033, -0.0636, -0.5514}, 0.9082},
    };
    for (const auto& [x, y, difference] : pairs) {
        EXPECT_NEAR(tool::deltaE2000(x, y), difference, 0.00005) << x.l << " " << x.a << " " << x.b;
        EXPECT_NEAR(tool::deltaE2000(y, x), difference, 0.00005) << x.l << " " << x.a << " " << x.b;
    }
}

TEST(ColorDifferenceTest, LabOfWhiteAndThePrimaries) {
    // Lindbloom's calculator for sRGB, whose white has a fifth digit of its own.
    const double colors[][6] = {{255, 255, 255, 100, 0, 0},         {0, 0, 0, 0, 0, 0},
                                {255, 0, 0, 53.24, 80.09, 67.20},   {0, 255, 0, 87.73, -86.18, 83.18},
                                {0, 0, 255, 32.30, 79.19, -107.86}, {119, 119, 119, 50.03, 0, 0}};
    for (const auto& [red, green, blue, l, a, b] : colors) {
        const Lab lab = tool::labOfSrgb(red, green, blue);
        EXPECT_NEAR(lab.l, l, 0.02);
        EXPECT_NEAR(lab.a, a, 0.05);
        EXPECT_NEAR(lab.b, b, 0.05);
    }
}

tool::RgbPicture noise(tool::Size size, unsigned seed, int low, int high) {
    std::mt19937 random(seed);
    tool::RgbPicture picture{size, tool::Bytes(static_cast<std::size_t>(size.width * size.height * 3))};
    std::generate(picture.levels.begin(), picture.levels.end(), [&] {
        return static_cast<std::uint8_t>(low +
                                         static_cast<int>(random() % static_cast<unsigned>(high - low + 1)));
    });
    return picture;
}

// Dark colours and all, with near neighbours and others: the fast form against the plain one.
TEST(ColorDifferenceTest, RowsAreTheFormula) {
    for (const auto& [most, spread] : {std::pair{15, 3}, {15, 255}, {255, 3}, {255, 255}}) {
        const tool::RgbPicture x = noise({300, 100}, 1, 0, most);
        tool::RgbPicture y = noise(x.size, 2, 0, 255);
        for (std::size_t i = 0; i < y.levels.size(); ++i) {
            const int other = x.levels[i] + (2 * y.levels[i] - 255) * spread / 255;
            y.levels[i] = static_cast<std::uint8_t>(std::clamp(other, 0, 255));
        }
        std::vector<float> fast(x.pixels());
        tool::deltaE2000OfRow(x.row(0), y.row(0), static_cast<int>(fast.size()), fast.data());
        double worst = 0.0;
        for (std::size_t i = 0; i < fast.size(); ++i) {
            const Lab p = tool::labOfSrgb(x.levels[3 * i], x.levels[3 * i + 1], x.levels[3 * i + 2]);
            const Lab q = tool::labOfSrgb(y.levels[3 * i], y.levels[3 * i + 1], y.levels[3 * i + 2]);
            const double turn =
                std::abs(std::remainder(std::atan2(p.b, p.a) - std::atan2(q.b, q.a), 6.283185307));
            if (turn < 3.0 || std::min(std::hypot(p.a, p.b), std::hypot(q.a, q.b)) < 0.1) {
                worst = std::max(worst, std::abs(static_cast<double>(fast[i]) - tool::deltaE2000(p, q)));
            }
        }
        EXPECT_LT(worst, 0.01) << most << " " << spread;
    }
}

double lumaOf(const tool::RgbPicture& picture, int x, int y) {
    const std::uint8_t* at = picture.row(y) + 3 * static_cast<std::ptrdiff_t>(x);
    return 0.299 * at[0] + 0.587 * at[1] + 0.114 * at[2];
}

// Wang's index of the window whose corner is (left, top), straight from its definition. Sides of 11 are
// weighted.
double windowIndex(const tool::RgbPicture& a, const tool::RgbPicture& b, int left, int top, int width,
                   int height, bool weighted) {
    double sum = 0, ma = 0, mb = 0, va = 0, vb = 0, cov = 0;
    const auto each = [&](auto function) {
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const double r2 = (x - 5) * (x - 5) + (y - 5) * (y - 5);
                function(weighted ? std::exp(-r2 / 4.5) : 1.0, lumaOf(a, left + x, top + y),
                         lumaOf(b, left + x, top + y));
            }
        }
    };
    each([&](double w, double p, double q) { sum += w, ma += w * p, mb += w * q; });
    ma /= sum;
    mb /= sum;
    each([&](double w, double p, double q) {
        va += w * (p - ma) * (p - ma) / sum;
        vb += w * (q - mb) * (q - mb) / sum;
        cov += w * (p - ma) * (q - mb) / sum;
    });
    const double c1 = 6.5025, c2 = 58.5225;
    return (2 * ma * mb + c1) * (2 * cov + c2) / ((ma * ma + mb * mb + c1) * (va + vb + c2));
}

TEST(MetricsTest, PicturesAgainstPlainCalculations) {
    // Odd widths around the blocks of the vectorised loops, bright and dark, and one smaller than the window.
    const tool::Size sizes[] = {{11, 11}, {37, 29}, {267, 13}, {10, 40}, {1, 1}};
    for (const tool::Size size : sizes) {
        const tool::RgbPicture a = noise(size, 1, 0, 255);
        tool::RgbPicture b = a;
        const tool::RgbPicture shift = noise(size, 2, 0, 40);
        for (std::size_t i = 0; i < b.levels.size(); ++i) {
            b.levels[i] = static_cast<std::uint8_t>(std::min(255, b.levels[i] / 2 + 3 * shift.levels[i]));
        }
        std::vector<double> differences;
        double squares = 0, clipped = 0, index = 0, windows = 0;
        for (int y = 0; y < size.height; ++y) {
            for (int x = 0; x < size.width; ++x) {
                const std::uint8_t* p = a.row(y) + 3 * static_cast<std::ptrdiff_t>(x);
                const std::uint8_t* q = b.row(y) + 3 * static_cast<std::ptrdiff_t>(x);
                differences.push_back(
                    tool::deltaE2000(tool::labOfSrgb(p[0], p[1], p[2]), tool::labOfSrgb(q[0], q[1], q[2])));
                squares += std::pow(lumaOf(a, x, y) - lumaOf(b, x, y), 2);
                clipped += q[0] >= 254 || q[1] >= 254 || q[2] >= 254;
                if (x + 11 <= size.width && y + 11 <= size.height) {
                    index += windowIndex(a, b, x, y, 11, 11, true);
                    ++windows;
                }
            }
        }
        if (windows == 0) {
            index = windowIndex(a, b, 0, 0, size.width, size.height, false);
            windows = 1;
        }
        std::sort(differences.begin(), differences.end());
        const double n = static_cast<double>(differences.size());
        const double sum = std::accumulate(differences.begin(), differences.end(), 0.0);
        tool::Metrics metrics;
        metrics.add(a, b);
        EXPECT_NEAR(metrics.deltaEMean(), sum / n, 0.01) << size.width;
        const double p99 = differences[static_cast<std::size_t>(0.99 * (n - 1))];
        EXPECT_NEAR(metrics.deltaEP99(), p99, 0.02) << size.width;
        EXPECT_NEAR(metrics.ssim(), index / windows, 1e-4) << size.width;
        EXPECT_NEAR(metrics.psnrY().value(), 10 * std::log10(65025.0 * n / squares), 1e-4) << size.width;
        EXPECT_NEAR(metrics.clippedPercent(), 100 * clipped / n, 1e-9) << size.width;
    }
}

// White noise of known deviation on a ramp, beside stripes and black, which are not flat.
TEST(MetricsTest, NoiseInFlatAreas) {
    std::mt19937 random(5);
    const auto noisy = [&](double deviation) {
        std::normal_distribution<double> grain(0, deviation);
        tool::RgbPicture picture{{320, 320}, tool::Bytes(3 * 320 * 320)};
        for (int i = 0; i < 320 * 320; ++i) {
            const int x = i % 320, y = i / 320;
            const double level = x < 64 ? (y % 2) * 200 : x < 128 ? 0 : 100 + 0.1 * y + grain(random);
            std::fill_n(picture.levels.begin() + 3 * i, 3, static_cast<std::uint8_t>(level + 0.5));
        }
        return picture;
    };
    const auto noise = tool::flatNoise(noisy(2), noisy(5));
    ASSERT_TRUE(noise);
    EXPECT_NEAR(noise->reference, 2, 0.2);
    EXPECT_NEAR(noise->picture, 5, 0.3);
    EXPECT_FALSE(tool::flatNoise({{8, 8}, tool::Bytes(192)}, {{8, 8}, tool::Bytes(192)}));
}

TEST(MetricsTest, EqualPicturesAndStreams) {
    const tool::RgbPicture dark = noise({20, 20}, 1, 0, 200);
    const tool::RgbPicture bright = noise({20, 20}, 2, 254, 255);
    tool::Metrics metrics;
    metrics.add(dark, dark);
    EXPECT_EQ(metrics.deltaEMean(), 0.0);
    EXPECT_EQ(metrics.deltaEP99(), 0.0);
    EXPECT_LE(metrics.ssim(), 1.0);
    EXPECT_NEAR(metrics.ssim(), 1.0, 1e-6);
    EXPECT_FALSE(metrics.psnrY());
    EXPECT_EQ(metrics.clippedPercent(), 0.0);
    metrics.add(bright, bright);
    EXPECT_EQ(metrics.clippedPercent(), 50.0);
}

// The planes of a gradient of chroma beside libjpeg's own arithmetic: 3/4 of the nearer sample, 1/4 of the
// farther, in both directions.
TEST(RgbTest, ChromaIsInterpolatedBetweenItsSamples) {
    tool::Picture picture({4, 3});
    std::fill(picture.y.begin(), picture.y.end(), std::uint8_t{100});
    picture.v = {128, 144, 160, 176};  // two rows of two
    const tool::RgbPicture rgb = tool::rgbOf(picture, tool::ColorMatrix::kBt601);
    const double v[3][4] = {{0, 4, 12, 16}, {8, 12, 20, 24}, {24, 28, 36, 40}};
    for (int y = 0; y < 3; ++y) {
        for (int x = 0; x < 4; ++x) {
            const std::uint8_t* at = rgb.row(y) + 3 * static_cast<std::ptrdiff_t>(x);
            EXPECT_EQ(at[0], static_cast<int>(100 + 1.402 * v[y][x] + 0.5)) << x << " " << y;
            EXPECT_EQ(at[1], static_cast<int>(100 - 0.714136 * v[y][x] + 0.5)) << x << " " << y;
            EXPECT_EQ(at[2], 100) << x << " " << y;
        }
    }
}

}  // namespace
}  // namespace test
