// The one pass of captures against the stage operations with the reference's kernels, byte for byte: every
// width, odd heights, every depth, every combination of switches, all masks, and tables that a tuning does
// not have. --gtest_random_seed=N draws other cases.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>

#include "core/HostEngine.h"
#include "core/Sample.h"
#include "neon/ClaheColumns.h"
#include "neon/Huevance_NEON.h"
#include "tests/kernels/Draw.h"
#include "tests/support/Frames.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Rig.h"

namespace {

using huevance::HostEngine;
using huevance::Stage;
using test::Content;
using test::Random;

struct Reference final : HostEngine {
    Reference() : HostEngine(Use::kCaptures, huevance::referenceHostKernels()) {}
};

struct Case {
    int width = 64, height = 48;
    int padding = 0;  // samples between the rows
    Content content = Content::kPhotoLike;
    int bits = 8;
    int stages = 31;  // switches, the first stage in the lowest bit
    int maskSource = huevance::kMaskSkin;
    int table = 0;       // which contents of the tables
    float strength = 0;  // of the colour look-up
    std::uint32_t seed = 1;
    int columns = 1, rows = 1;  // tiles

    bool wide() const { return bits != 8; }
    RoiInfo roi() const {
        return {width, height, (width + padding) * (wide() ? 2 : 1), height + static_cast<int>(seed % 3)};
    }
    IMAGE_FORMAT_TYPE type() const {
        constexpr int kTypes8[] = {5, 6}, kTypes16[] = {9, 10, 9, 5, 6, 7};
        return static_cast<IMAGE_FORMAT_TYPE>(wide() ? kTypes16[seed % 6] : kTypes8[seed % 2]);
    }
    std::string text() const {
        return test::format(
            "%d x %d, padding %d, content %s, %d bits, stages %d, mask %d, table %d, "
            "strength %.9g, seed %u",
            width, height, padding, test::toString(content).c_str(), bits, stages, maskSource, table,
            static_cast<double>(strength), seed);
    }
};

constexpr float kStrengths[] = {0.0F, 0.37F, 1.0F,   0.5F,  0.75F,      1.0000001F,
                                1.9F, -0.6F, -1e-7F, 1e30F, test::kNan, 0.999F};

void fillTables(HostEngine& engine, const Case& c) {
    Random random(c.seed + 77);
    const auto level = [&](float neutral) { return test::kLevels[c.table]({random, neutral}); };
    const std::size_t tiles = engine.m_gridLut.size() / 256;
    for (std::size_t i = 0; i < engine.m_gridLut.size(); ++i) {
        engine.m_gridLut.get()[i] = level(static_cast<float>(i / tiles));
    }
    for (float* curve : {engine.m_yCurve.get(), engine.m_uvCurve.get()}) {
        for (int i = 0; i < 256; ++i) {
            curve[i] = level(static_cast<float>(i));
        }
    }
    constexpr int kN = huevance::kLatticeSize;
    for (int i = 0; i < huevance::kColorLutFloats; ++i) {
        const int plane = i / (kN * kN * kN);
        const int point = plane == 0 ? i % kN : plane == 1 ? i / kN % kN : i / (kN * kN) % kN;
        engine.m_colorLut.get()[i] = level(17.0F * static_cast<float>(point));
    }
    if (engine.is16Bit()) {
        const int bins = engine.bins16();
        huevance::resizeClaheLut(engine.m_gridLut.get(), 256, engine.m_gridLut16.get(), bins,
                                 engine.m_iGridWidth, engine.m_iGridHeight);
        huevance::resizeCurveLut(engine.m_yCurve.get(), 256, engine.m_yCurve16.get(), bins);
        huevance::resizeCurveLut(engine.m_uvCurve.get(), 256, engine.m_uvCurve16.get(), bins);
        huevance::convertColorLut(engine.m_colorLut.get(), 256, engine.m_colorLut16.get(), bins,
                                  huevance::kColorLutFloats);
    }
}

void setUp(HostEngine& engine, const Case& c) {
    engine.m_iDataBit = c.bits;
    engine.m_iClaheSwitch = c.stages & 1;
    engine.m_iCurveSwitch = c.stages >> 1 & 1;
    engine.m_iCCorrSwitch = c.stages >> 2 & 1;
    engine.m_iColorSwitch = c.stages >> 3 & 1;
    engine.m_iPProtectSwitch = c.stages >> 4 & 1;
    engine.m_iMaskSource = c.maskSource;
    engine.m_iGridWidth = c.columns;
    engine.m_iGridHeight = c.rows;
    engine.m_iSampRate = 1 + static_cast<int>(c.seed % 4);
    engine.m_fColorStrength = c.strength;
    ASSERT_EQ(engine.setRoiInfo(c.roi()), 0);
    ASSERT_EQ(engine.portraitMaskMalloc(), 0);
    ASSERT_EQ(engine.backUpYuvMalloc(), 0);
    ASSERT_EQ(engine.claheLutMalloc(), 0);
    ASSERT_EQ(engine.curveLutMalloc(), 0);
    ASSERT_EQ(engine.colorLutMalloc(), 0);
}

// The frame after a capture, in one pass or stage after stage.
void capture(HostEngine& engine, bool fused, const Case& c, rig::HostMask& mask, test::Frame& frame) {
    setUp(engine, c);
    ASSERT_EQ(engine.onePassMalloc(), 0);
    engine.m_stMaskRoi = mask.roi;
    engine.m_pfMask = mask.data();
    engine.setYuvType(c.type());
    engine.setDstYuv(frame.data());
    // The skin mask of the frame before would count.
    const bool keepsMask = c.type() == 7 && c.maskSource == huevance::kMaskSkin && c.stages >= 16;
    const bool onePass = engine.canRunOnePass();
    ASSERT_EQ(onePass, fused && !keepsMask);
    if (!onePass) {
        engine.keepInput();
    }
    if (c.stages % 2 == 1) {
        ASSERT_EQ(onePass ? engine.prepareOnePass(Stage::kClahe, 0) : engine.setClaheLut(), 0);
    }
    fillTables(engine, c);
    if (onePass) {
        engine.runOnePass();
    } else {
        for (const Stage stage : huevance::planCapture(engine.switches())) {
            engine.runStage(stage);
        }
    }
    engine.getDstYuv(frame.data());
    engine.onePassFree();
    engine.captureFree();
}

void expectEqual(const Case& c) {
    static Reference reference;
    static CHuevance_NEON fused;
    rig::HostMask mask({c.width, c.height, 4 * c.width, c.height});
    const auto after = [&](HostEngine& engine, bool onePass) {
        test::Frame frame(c.roi(), c.wide() ? 2 : 1);
        frame.fill(c.content, 1 << c.bits, c.seed);
        capture(engine, onePass, c, mask, frame);
        return frame.copyBytes();
    };
    const auto expected = after(reference, false);
    const auto actual = after(fused, true);
    const auto at = std::mismatch(expected.begin(), expected.end(), actual.begin()).first - expected.begin();
    EXPECT_TRUE(expected == actual) << c.text() << ": row " << at / c.roi().stride << ", byte "
                                    << at % c.roi().stride;
}

// The switches, masks and tables of a case, spread so that any two of them meet.
Case draw(int number, int width, int bits, Content content) {
    constexpr int kHeights[] = {1, 2, 3, 5, 8, 13, 35};
    const auto seed = test::firstSeed() + static_cast<std::uint32_t>(number);
    Random random(seed);
    const int height = kHeights[random.below(7)];
    const int mostTiles = bits > 12 ? 3 : 7;  // the reference's tables grow with the levels
    return {.width = width,
            .height = height,
            .padding = random.below(3) * 3,
            .content = content,
            .bits = bits,
            .stages = random.below(3) == 0 ? random.below(32) : 31,
            .maskSource = random.below(4),
            .table = random.below(test::kTables),
            .strength = random.below(2) == 0 ? random.unit() : kStrengths[random.below(12)],
            .seed = seed,
            .columns = std::min(width, 1 + random.below(mostTiles)),
            .rows = std::min(height, 1 + random.below(mostTiles))};
}

// Depths that are tested at length; the others share their code.
bool frequent(int bits) { return bits == 8 || bits == 10; }

class Walk : public testing::TestWithParam<int> {
    test::LogCapture m_log;
};

TEST_P(Walk, EqualsTheStages) {
    const int bits = GetParam();
    int number = 0;
    for (int width = 1; width <= 70 && !HasFailure(); ++width) {
        for (const Content content : test::kAllContents) {
            if (frequent(bits) || static_cast<int>(content) == width % 7) {
                // The last three do not fit a chunk.
                expectEqual(draw(number, width <= 67 ? width : 150 * (width - 66) - 1, bits, content));
            }
            ++number;
        }
    }
    // More tiles than are packed with an entry for each level.
    for (const int rows : {17, 33}) {
        Case c = draw(number++, 40, bits, Content::kNoise);
        c.height = c.rows = rows;
        c.columns = bits > 12 ? 2 : 17;
        expectEqual(c);
    }
}

TEST_P(Walk, EqualsTheStagesForEveryCombination) {
    for (int i = 0; i < 32 * 4 && !HasFailure(); ++i) {
        Case c = draw(1000 + i, 37, GetParam(), Content::kNoise);
        c.stages = i % 32;
        c.maskSource = i / 32;
        expectEqual(c);
    }
}

// Every table with every strength. Noise of this size is looked up in the lattice, not in slabs.
TEST_P(Walk, EqualsTheStagesForEveryTable) {
    const int strengths = frequent(GetParam()) ? 12 : 1;
    for (int k = 0; k < 2 * test::kTables * strengths && !HasFailure(); ++k) {
        const int i = k / 2;
        const bool noise = k % 2 == 0;
        Case c = draw(2000 + k, GetParam() == 8 && noise ? 160 : 96, GetParam(),
                      noise ? Content::kNoise : Content::kPhotoLike);
        c.height = c.width == 160 ? 65 : 33;
        c.rows = std::min(c.rows, c.height);
        c.table = i % test::kTables;
        c.strength = strengths == 1 ? 0.5F : kStrengths[i / test::kTables];
        c.stages = (i + i / test::kTables) % 2 == 0 ? 31 : 15;
        expectEqual(c);
    }
}

#if defined(__aarch64__)
// Every float that ends near a half, and each 1021st of all.
TEST(Rounding, OfScaledLevelsIsThatOfFloats) {
    const auto check = [](float level) {
        unsigned char rounded[8];
        const float32x4_t scaled = vdupq_n_f32(level * huevance::neon::kScale);
        huevance::neon::storeRoundedScaled(rounded, scaled, scaled);
        const auto expected = huevance::toSample<unsigned char>(level + 0.5F, 255.0F);
        ASSERT_EQ(rounded[7], expected) << std::hexfloat << level;
    };
    for (std::uint64_t bits = test::firstSeed(); bits < 1ULL << 32; bits += 1021) {
        const float level = std::bit_cast<float>(static_cast<std::uint32_t>(bits));
        if (std::isnan(level) || std::abs(level) <= huevance::neon::kMaxScaledLevel) {
            ASSERT_NO_FATAL_FAILURE(check(level));
        }
    }
    for (int half = -4; half <= 1030; ++half) {
        const auto middle = std::bit_cast<std::int32_t>(0.25F * static_cast<float>(half));
        for (int ulps = -20; ulps <= 20; ++ulps) {
            ASSERT_NO_FATAL_FAILURE(check(std::bit_cast<float>(middle + ulps)));
        }
    }
}
#endif

#if defined(HUEVANCE_EMULATED) || defined(HUEVANCE_SANITIZED)
// Slow there: bytes, packed cells of 16 bits, and widened ones.
INSTANTIATE_TEST_SUITE_P(Bits, Walk, testing::Values(8, 10, 16));
#else
INSTANTIATE_TEST_SUITE_P(Bits, Walk, testing::Values(8, 10, 11, 12, 13, 14, 15, 16));
#endif

}  // namespace
