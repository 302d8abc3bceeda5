// Fitting: a known edit must be found from pictures, and hold on pictures that it was not found from.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "tests/tools/Colors.h"
#include "tools/ToolError.h"
#include "tools/picture/Metrics.h"
#include "tools/tuning/Fit.h"
#include "tools/tuning/LatticeFit.h"

namespace test {
namespace {

using testing::HasSubstr;
using tool::Picture;
using tool::PicturePair;
using tool::Rgb;

// Waves of light and colour with a fine texture: each seed another picture.
Picture scene(unsigned seed, tool::Size size = {160, 120}) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> uniform(0.0, 1.0);
    double waves[4][4];  // frequencies, phase and height of the light and of each channel
    for (double(&wave)[4] : waves) {
        wave[0] = 0.02 + 0.1 * uniform(random);
        wave[1] = 0.02 + 0.1 * uniform(random);
        wave[2] = 6.0 * uniform(random);
        wave[3] = 0.1 + 0.1 * uniform(random);
    }
    const auto at = [&](int k, int x, int y) {
        return std::sin(waves[k][0] * x + waves[k][1] * y + waves[k][2]);
    };
    Picture picture(size);
    const auto level = [](double v) { return static_cast<std::uint8_t>(std::clamp(v + 0.5, 0.0, 255.0)); };
    for (int y = 0; y < size.height; ++y) {
        for (int x = 0; x < size.width; ++x) {
            const double light =
                0.5 + 0.3 * at(0, x, y) + 0.02 * std::sin(0.7 * x + seed) * std::sin(0.9 * y);
            const tool::Yuv color =
                tool::toYuv(Rgb{light + waves[1][3] * at(1, x, y), light + waves[2][3] * at(2, x, y),
                                light + waves[3][3] * at(3, x, y)});
            picture.y[static_cast<std::size_t>(y * size.width + x)] = level(color.y);
            const auto chroma = static_cast<std::size_t>(y / 2 * picture.chromaWidth() + x / 2);
            picture.u[chroma] = level(color.u);
            picture.v[chroma] = level(color.v);
        }
    }
    return picture;
}

Picture edited(const Picture& picture, const Edit& edit) {
    tool::RgbPicture rgb = tool::rgbOf(picture, tool::ColorMatrix::kBt601);
    rgb.levels = editedSamples(rgb.levels, edit);
    return tool::pictureOf(rgb);
}

Rgb warmer(const Rgb& c) {
    const double grey = 0.3 * c.r + 0.6 * c.g + 0.1 * c.b;
    const auto more = [grey](double v) { return grey + 1.25 * (v - grey); };
    return {more(c.r) * 1.05, more(c.g), more(c.b) * 0.9};
}
Rgb brighter(const Rgb& c) { return {std::sqrt(c.r), std::sqrt(c.g), std::sqrt(c.b)}; }

Rgb vivid(const Rgb& c) {
    const double grey = 0.3 * c.r + 0.6 * c.g + 0.1 * c.b;
    return {grey + 2.2 * (c.r - grey), grey + 2.2 * (c.g - grey), grey + 2.2 * (c.b - grey)};
}

double deltaE(const Picture& a, const Picture& b) {
    tool::Metrics metrics;
    metrics.add(tool::rgbOf(a, tool::ColorMatrix::kBt601), tool::rgbOf(b, tool::ColorMatrix::kBt601));
    return metrics.deltaEMean();
}

PicturePair pair(unsigned seed, const Edit& edit) {
    const Picture before = scene(seed);
    return {"before", "after", before, edited(before, edit)};
}

TEST(FitTest, FindsEditsThatHoldOnOtherPictures) {
    const struct {
        const char* name;
        Edit edit;
        tool::FitOptions options;
    } cases[] = {{"warmer", warmer, {}},
                 {"warmer with a curve", warmer, {true, 1.0, false}},
                 {"brighter", brighter, {}},
                 {"brighter with a curve", brighter, {true, 1.0, false}},
                 {"brighter with a curve and correction", brighter, {true, 1.0, true}}};
    const Picture other = scene(7);
    for (const auto& c : cases) {
        const std::vector<PicturePair> pairs = {pair(1, c.edit), pair(2, c.edit)};
        const tool::FittedColors colors = tool::fitColors(pairs, c.options);
        EXPECT_LT(deltaE(tool::developed(other, colors, c.options), edited(other, c.edit)), 1.0) << c.name;
        EXPECT_EQ(colors.curve.points.empty(), !c.options.curve) << c.name;
        const tool::FitReport report = tool::reportOf(pairs, colors, c.options);
        ASSERT_EQ(report.deltaE.size(), 2U);
        EXPECT_NEAR(report.deltaE[0],
                    deltaE(tool::developed(pairs[0].before, colors, c.options), pairs[0].after), 1e-9);
        EXPECT_GT(report.heldOut.value(), 0.0);
        EXPECT_LT(report.heldOut.value(), 1.5) << c.name;
        EXPECT_GT(report.coveredPercent, 5.0);
        EXPECT_LT(report.coveredPercent, 90.0);
    }
}

// Reds alone, many of whose channels end at their limits: that must not be taken for what the edit does to
// blues.
TEST(SumOfCurvesTest, CutOffChannelsSayLittleOfOthers) {
    std::vector<tool::LatticeSample> samples;
    const auto float3 = [](const Rgb& c, float(&out)[3]) {
        const tool::Yuv yuv = tool::toYuv(c);
        out[0] = static_cast<float>(yuv.y), out[1] = static_cast<float>(yuv.u),
        out[2] = static_cast<float>(yuv.v);
    };
    const std::vector<Rgb> colors = colorGrid(17);
    for (const Rgb& in : colors) {
        if (in.r >= in.g && in.r >= in.b) {
            samples.push_back({{}, {}, 1});
            float3(in, samples.back().in);
            float3(tool::clamped(vivid(in)), samples.back().out);
        }
    }
    const auto found = tool::sumOfCurves(samples);
    double error = 0;
    for (const Rgb& in : colors) {
        const Rgb a = found(in), b = tool::clamped(vivid(in));
        error += (std::abs(a.r - b.r) + std::abs(a.g - b.g) + std::abs(a.b - b.b)) / (3.0 * 17 * 17 * 17);
    }
    EXPECT_LT(error, 0.01);
}

// Square roots of all channels move greys as they move luma; curves do not fall, wherever there are no
// samples.
TEST(FitTest, TheCurveIsTheEditsOwn) {
    const tool::FittedColors colors = tool::fitColors({pair(1, brighter)}, {true, 1.0, false});
    ASSERT_EQ(colors.curve.points.size(), 16U);
    for (std::size_t i = 1; i < 16; ++i) {
        const tool::CurvePoint& point = colors.curve.points[i];
        EXPECT_GE(point.y, colors.curve.points[i - 1].y);
        if (i > 2 && i < 14) {
            EXPECT_NEAR(point.y, 255 * std::sqrt(point.x / 255), 6.0) << point.x;
        }
    }
    EXPECT_STREQ(tool::wrongWith(colors.curve.points), "");
}

// Four per cent of the picture shows something else: a caption, a hole, a burnt patch.
TEST(FitTest, SamplesFarOffCountLittle) {
    PicturePair clean = pair(1, warmer), spoilt = clean;
    std::mt19937 random(3);
    for (std::size_t block = 0; block < spoilt.after.u.size(); ++block) {
        if (random() % 25 == 0) {
            const std::size_t at = block / 80 * 320 + block % 80 * 2;
            for (const std::size_t sample : {at, at + 1, at + 160, at + 161}) {
                spoilt.after.y[sample] = 255;
            }
            spoilt.after.u[block] = 40;
            spoilt.after.v[block] = 220;
        }
    }
    const Picture other = scene(7), truth = edited(other, warmer);
    const double best = deltaE(tool::developed(other, tool::fitColors({clean}, {}), {}), truth);
    const double robust = deltaE(tool::developed(other, tool::fitColors({spoilt}, {}), {}), truth);
    EXPECT_LT(robust, best + 0.4);
}

TEST(FitTest, PicturesThatAreNoPairAreRefused) {
    const auto refusal = [](const Picture& before, const Picture& after) -> std::string {
        try {
            tool::checkPair({"a.jpg", "b.jpg", before, after});
        } catch (const tool::ToolError& error) {
            EXPECT_EQ(error.code(), tool::ExitCode::kUsage);
            return error.what();
        }
        return "";
    };
    const Picture one = scene(1);
    Picture shifted = one;
    std::rotate(shifted.y.begin(), shifted.y.begin() + 8 * 160 + 8, shifted.y.end());
    EXPECT_THAT(refusal(one, scene(1, {160, 100})), HasSubstr("160x120 and 160x100"));
    EXPECT_THAT(refusal(scene(1, {160, 8}), scene(1, {160, 8})), HasSubstr("too small"));
    EXPECT_THAT(refusal(one, scene(2)), HasSubstr("do not show the same"));
    EXPECT_THAT(refusal(one, shifted), HasSubstr("a.jpg and b.jpg"));
    EXPECT_EQ(refusal(one, edited(one, brighter)), "");
    EXPECT_EQ(refusal(one, edited(one, [](const Rgb& c) { return Rgb{1 - c.r, 1 - c.g, 1 - c.b}; })), "");
    EXPECT_EQ(refusal(Picture({32, 32}), Picture({32, 32})), "") << "even pictures say nothing against it";
}

}  // namespace
}  // namespace test
