// Look files: what is written is read again, and what is wrong gets its line.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>

#include "tools/tuning/Base64.h"
#include "tools/tuning/Look.h"

namespace tool {
namespace {

Look plain() {
    Look look;
    look.name = "plain";
    return look;
}

Look everything() {
    Look look;
    look.name = "every_thing-2";
    look.about = "Quotes \" and\nlines, \xc3\xa9.";
    look.colorStrength = 0.8;
    look.satStrength = 1.0 / 3;
    look.claheStrength = 0.25;
    look.curveColor = 1;
    look.curve.points = {{0, 3}, {64.5, 50}, {255, 250}};
    RgbLut lut;
    lut.source = "some.cube";
    lut.amount = 0.5;
    lut.outside = OutsideGamut::kClamp;
    lut.weights = LumaWeights::kBt709;
    for (int i = 0; i < 8; ++i) {
        lut.points.push_back({std::round(i / 7.0 * 65535) / 65535, i % 2 * 1.0, 0.0});
    }
    std::vector<float> odd(Lattice::kFloats, 1.0F / 3);
    odd[7] = -INFINITY;
    look.adjustments = {Saturation{0.1},
                        Vibrance{-0.2, 0.3},
                        Warmth{0.4, -0.5},
                        Selective{1, 20, 3, -0.4, 0.05},
                        Tint{Tint::Range::kHighlights, 300, 0.02},
                        lut,
                        Table{"adopted", 0.75, true, Lattice(odd)}};
    return look;
}

TEST(LookFile, IsReadAsItWasWritten) {
    Look kept = everything();
    kept.curve.points.clear();
    kept.curve.levels.assign(256, 17.3F);
    for (const Look& look : {everything(), kept, plain()}) {
        const std::string text = toJson(look);
        const Look again = parseLook(text, "look0.json");
        EXPECT_TRUE(again == look);
        EXPECT_EQ(toJson(again), text);
    }
}

TEST(LookFile, OnlyTheNameIsNeeded) { EXPECT_TRUE(parseLook(R"({"name": "plain"})", "x") == plain()); }

TEST(LookFile, WhatIsWrongIsNamedWithItsLine) {
    const struct {
        const char* text;
        int line;
        const char* reason;  // its beginning
    } cases[] = {
        {"", 1, "is not JSON"},
        {"{\n\"name\": \"a\",\n}", 3, "is not JSON"},
        {"[]", 1, "must be an object"},
        {"{}", 1, "needs the key \"name\""},
        {"{\"name\": 1}", 1, "name must be a text"},
        {"{\"name\": \"a b\"}", 1, "name must be 1 to 31"},
        {"{\"name\": \"a\",\n\"name\": \"b\"}", 2, "name stands twice"},
        {"{\"name\": \"a\",\n\n\"colourStrength\": 1}", 3,
         "colourStrength is not a key that is known here (name, "},
        {"{\"name\": \"a\",\n\"colorStrength\": 1.01}", 2, "colorStrength must be a number from 0 to 1"},
        {"{\"name\": \"a\",\n\"curve\": {}}", 2, "curve needs either"},
        {"{\"name\": \"a\", \"curve\": {\"points\": [[0, 0], [1, 2, 3]]}}", 1,
         "curve.points[1] must be two levels"},
        {"{\"name\": \"a\", \"curve\": {\"points\":\n[[0, 0]]}}", 1,
         "curve.points is no curve: a curve needs two"},
        {"{\"name\": \"a\", \"curve\": {\"points\": [[0, 9], [9, 8]]}}", 1,
         "curve.points is no curve: y must not"},
        {"{\"name\": \"a\", \"curve\": {\"levels\": \"AAAA\"}}", 1, "curve.levels must be 1024 bytes"},
        {"{\"name\": \"a\", \"adjustments\": [\n{\"kind\": \"x\"}]}", 2,
         "adjustments[0].kind \"x\" is none of sat"},
        {"{\"name\": \"a\", \"adjustments\": [\n{\"kind\": \"saturation\"},\n{\"kind\": "
         "\"warmth\",\n\"heat\": 1}]}",
         4, "adjustments[1].heat is not a key that is known here (kind, warmth, tint)"},
        {"{\"name\": \"a\", \"adjustments\": [{\"kind\": \"tint\", \"range\": \"mid\"}]}", 1,
         "adjustments[0].range must be \"shadows\" or \"highlights\""},
        {"{\"name\": \"a\", \"adjustments\": [{\"kind\": \"lut\", \"size\": 2.5}]}", 1,
         "adjustments[0].size must be a w"},
        {"{\"name\": \"a\", \"adjustments\": [{\"kind\": \"lut\", \"size\": 66}]}", 1,
         "adjustments[0].size must be a n"},
        {"{\"name\": \"a\", \"adjustments\": [{\"kind\": \"table\", \"data\": \"????\"}]}", 1,
         "adjustments[0].data must be 49152 bytes in base64"},
        {"[[[[[[[[[[[[]]]]]]]]]]]]", 1, "[0][0][0][0][0][0][0][0] is nested"},
    };
    for (const auto& c : cases) {
        try {
            parseLook(c.text, "look3.json");
            ADD_FAILURE() << c.text;
        } catch (const LookError& error) {
            EXPECT_EQ(error.line(), c.line) << c.text;
            EXPECT_EQ(error.reason().substr(0, std::strlen(c.reason)), c.reason) << c.text;
            EXPECT_EQ(error.what(), "look3.json, line " + std::to_string(c.line) + ": " + error.reason());
        }
    }
}

TEST(Base64Test, KnownTextsAndOthers) {
    // RFC 4648, section 10.
    const char* const texts[][2] = {{"", ""},
                                    {"f", "Zg=="},
                                    {"fo", "Zm8="},
                                    {"foo", "Zm9v"},
                                    {"foob", "Zm9vYg=="},
                                    {"fooba", "Zm9vYmE="},
                                    {"foobar", "Zm9vYmFy"}};
    for (const auto& [plain, coded] : texts) {
        const std::string text = plain;
        const Bytes bytes(text.begin(), text.end());
        EXPECT_EQ(toBase64(bytes), coded);
        EXPECT_EQ(fromBase64(coded), bytes);
    }
    for (const char* wrong : {"Z", "Zg", "Zg=", "Zh==", "Zg==\n", "Zm9v!", "=", "Zg==Zg=="}) {
        EXPECT_FALSE(fromBase64(wrong)) << wrong;
    }
}

TEST(ToneCurveTest, GoesThroughItsPointsWithoutOvershoot) {
    std::mt19937 random(5);
    for (int round = 0; round < 200; ++round) {
        ToneCurve curve;
        double x = random() % 20, y = random() % 20;
        while (x <= 255 && y <= 255) {
            curve.points.push_back({x, y});
            x += 1 + random() % 60;
            y += random() % 4 == 0 ? 0 : random() % 80;
        }
        if (curve.points.size() < 2) {
            continue;
        }
        const CurveLevels levels = levelsOf(curve);
        for (std::size_t i = 1; i < levels.size(); ++i) {
            EXPECT_GE(levels[i] + 1e-4F, levels[i - 1]);
        }
        for (const CurvePoint& point : curve.points) {
            EXPECT_NEAR(levels[static_cast<std::size_t>(point.x)], point.y, 1e-4);
        }
        EXPECT_EQ(levels.front(), static_cast<float>(curve.points.front().y));
        EXPECT_EQ(levels.back(), static_cast<float>(curve.points.back().y));
    }
    const CurveLevels identity = levelsOf({});
    for (std::size_t i = 0; i < identity.size(); ++i) {
        EXPECT_EQ(identity[i], static_cast<float>(i));
        EXPECT_NEAR(inverseOf(identity, static_cast<double>(i)), static_cast<double>(i), 1e-9);
    }
}

TEST(ToneCurveTest, Inverse) {
    const CurveLevels levels = levelsOf({{{10, 20}, {100, 20}, {101, 40}, {200, 200}}, {}});
    EXPECT_EQ(inverseOf(levels, 20), 50);  // the middle of 0..100
    EXPECT_NEAR(inverseOf(levels, 30), 100.5, 1e-6);
    EXPECT_EQ(inverseOf(levels, 5), 0);
    EXPECT_EQ(inverseOf(levels, 201), 255);
}

}  // namespace
}  // namespace tool
