// Whole captures: every byte that the NEON back end writes equals the CPU back end's, and the pass over
// strips gives what the stage operations give one after the other.
#include <gtest/gtest.h>

#include "cpu/HuevancePhoto_CPU.h"
#include "neon/HuevancePhoto_NEON.h"
#include "neon/Huevance_NEON.h"
#include "tests/neon/Tuning.h"
#include "tests/support/LogCapture.h"
#include "tests/support/StdoutCapture.h"

namespace {
int g_allocations = 0;
}
#ifdef HUEVANCE_COUNT_ALLOCATIONS
// The linker sends this program's allocations through here.
extern "C" {
void* __real_calloc(std::size_t count, std::size_t size);
void* __real_malloc(std::size_t size);
void* __real__Znwm(std::size_t size);
void* __wrap_calloc(std::size_t count, std::size_t size) {
    ++g_allocations;
    return __real_calloc(count, size);
}
void* __wrap_malloc(std::size_t size) {
    ++g_allocations;
    return __real_malloc(size);
}
void* __wrap__Znwm(std::size_t size) {
    ++g_allocations;
    return __real__Znwm(size);
}
}
#endif

namespace {

using test::Content;
using test::Frame;

constexpr int kAllSwitches = 32;

struct Shape {
    int width, height;
    int padding;     // samples
    int extraLines;  // between luma and chroma
    int gridWidth, gridHeight;

    RoiInfo roi(int bytesPerSample) const {
        return {width, height, (width + padding) * bytesPerSample, height + extraLines};
    }
};

struct Format {
    IMAGE_FORMAT_TYPE type;
    int dataBit;
};

struct Capture {
    Shape shape;
    Format format;
    Content content;
    int switches;
    int maskSource;

    std::string text() const {
        return std::to_string(shape.width) + " x " + std::to_string(shape.height) + ", type " +
               std::to_string(static_cast<int>(format.type)) + ", " + std::to_string(format.dataBit) +
               " bits, " + test::toString(content) + ", switches " + std::to_string(switches) + ", mask " +
               std::to_string(maskSource);
    }
    Frame frame() const {
        const int bytes = format.dataBit == 8 ? 1 : 2;
        Frame result(shape.roi(bytes), bytes);
        const bool high = format.type == IMAGE_FORMAT_TYPE_YUV16_HIGH;
        result.fill(content, high ? 1 << 16 : 1 << format.dataBit, 3);
        return result;
    }
};

class CaptureIdentity : public testing::Test {
protected:
    // The frame after a capture of one back end, and its result code.
    template <typename Photo>
    std::pair<int, std::vector<unsigned char>> run(const Capture& capture) {
        Frame frame = capture.frame();
        test::HostMask mask(frame.roi(), 1);
        Photo photo;
        std::string path = m_tuning.path();
        photo.setDataBit(capture.format.dataBit);
        EXPECT_EQ(photo.malloc(path.data(), frame.roi()), 0);
        std::string key = "portraitMaskRoiInfo";
        photo.setExtParam(key.data(), &mask.roi());
        key = "portraitMaskPointer";
        photo.setExtParam(key.data(), mask.data());
        const int result = photo.process(frame.data(), capture.format.type, 0);
        EXPECT_EQ(photo.free(), 0);
        return {result, frame.copyBytes()};
    }

    void expectEqual(const Capture& capture) {
        m_tuning.select(capture.switches, capture.maskSource, capture.shape.gridWidth,
                        capture.shape.gridHeight);
        const auto expected = run<CHuevancePhoto_CPU>(capture);
        const auto actual = run<CHuevancePhoto_NEON>(capture);
        EXPECT_EQ(expected.first, actual.first) << capture.text();
        const bool refused = (capture.switches & 16) != 0 && capture.maskSource == huevance::kMaskNone;
        EXPECT_EQ(expected.first, refused ? -1 : 0) << capture.text();
        const auto differs =
            std::mismatch(expected.second.begin(), expected.second.end(), actual.second.begin());
        EXPECT_TRUE(differs.first == expected.second.end())
            << capture.text() << ": byte " << differs.first - expected.second.begin();
    }

    test::CaptureTuning m_tuning;
    test::LogCapture m_log;
    test::StdoutCapture m_stdout;
};

constexpr int kMaskSources[] = {huevance::kMaskNone, huevance::kMaskHost, huevance::kMaskSkin};
constexpr Format kNv21 = {IMAGE_FORMAT_TYPE_NV21, 8};
constexpr Format kNv12 = {IMAGE_FORMAT_TYPE_NV12, 8};

TEST_F(CaptureIdentity, EverySwitchAndMask) {
    // A frame of vectors only; odd sides with padding; more than a chunk, with a grid whose tiles end between
    // vectors.
    constexpr Shape kShapes[] = {{64, 20, 0, 0, 3, 2}, {67, 13, 5, 2, 5, 3}, {531, 9, 1, 1, 8, 2}};
    int n = 0;
    for (const Shape& shape : kShapes) {
        for (const int maskSource : kMaskSources) {
            for (int switches = 0; switches < kAllSwitches; ++switches, ++n) {
                const Content content = test::kAllContents[n % 7];
                expectEqual({shape, (n / 7) % 2 == 0 ? kNv21 : kNv12, content, switches, maskSource});
            }
        }
    }
}

TEST_F(CaptureIdentity, EveryWidth) {
    for (int width = 1; width <= 67; ++width) {
        const Shape shape = {width, 1 + width % 6, width % 3, width % 2, 1 + width % 2, 1};
        for (const Format& format : {kNv21, kNv12}) {
            expectEqual({shape, format, Content::kNoise, 31, huevance::kMaskSkin});
        }
        expectEqual({shape, kNv21, Content::kPhotoLike, 31, huevance::kMaskHost});
    }
}

TEST_F(CaptureIdentity, EveryContent) {
    constexpr Shape kShapes[] = {{96, 64, 0, 0, 8, 6}, {37, 30, 3, 0, 1, 1}, {24, 18, 0, 0, 12, 9}};
    for (const Shape& shape : kShapes) {
        for (const Content content : test::kAllContents) {
            for (const int maskSource : {huevance::kMaskHost, huevance::kMaskSkin}) {
                expectEqual({shape, kNv12, content, 31, maskSource});
                expectEqual({shape, kNv21, content, 17, maskSource});
            }
        }
    }
}

TEST_F(CaptureIdentity, SixteenBits) {
    constexpr Shape kShape = {67, 13, 5, 2, 3, 2};
    constexpr Format kFormats[] = {{IMAGE_FORMAT_TYPE_YUV16_LOW, 10},
                                   {IMAGE_FORMAT_TYPE_YUV16_HIGH, 12},
                                   {IMAGE_FORMAT_TYPE_NV12, 10},
                                   {IMAGE_FORMAT_TYPE_NV21, 11}};
    int n = 0;
    for (const Format& format : kFormats) {
        for (const int maskSource : kMaskSources) {
            for (int switches = n % 2; switches < kAllSwitches; switches += 3, ++n) {
                expectEqual({kShape, format, test::kAllContents[n % 7], switches, maskSource});
            }
        }
    }
    expectEqual(
        {{18, 6, 1, 0, 1, 1}, {IMAGE_FORMAT_TYPE_YUV16_LOW, 16}, Content::kNoise, 31, huevance::kMaskSkin});
}

// Grids that do not fit the frame, and one too fine for packed tables.
TEST_F(CaptureIdentity, OddGrids) {
    for (const auto& [gridWidth, gridHeight] : {std::pair{70, 1}, {1, 70}, {0, 4}, {-3, 2}, {40, 30}}) {
        expectEqual({{66, 34, 0, 0, gridWidth, gridHeight}, kNv21, Content::kNoise, 31, huevance::kMaskSkin});
    }
}

// Levels and strengths far outside the ranges of a sane tuning.
TEST_F(CaptureIdentity, ExtremeTuning) {
    constexpr float kLevels[] = {-300.0F, 400.0F, 1e38F, -1e38F, 127.5F, 0.0F};
    std::vector<float> levels(huevance::kColorLutFloats);
    for (std::size_t i = 0; i < levels.size(); ++i) {
        levels[i] = kLevels[i * 7 % 6];
    }
    const test::TuningDir& directory = m_tuning.directory();
    directory.writeFloats("colorLut0", levels);
    levels.resize(256);
    directory.writeFloats("curveLut0", levels);
    constexpr float kStrengths[][3] = {
        {-0.6F, 1.9F, -2.0F}, {1.9F, -3.0F, 0.0F}, {1e30F, 1e30F, 1e30F}, {-3e38F, -3e38F, -3e38F}};
    for (const auto& [color, saturation, clahe] : kStrengths) {
        directory.writeParam(0, color, saturation, clahe);
        for (const Content content : {Content::kNoise, Content::kPhotoLike, Content::kZero}) {
            expectEqual({{67, 20, 0, 0, 3, 2}, kNv21, content, 31, huevance::kMaskHost});
            expectEqual(
                {{34, 10, 0, 0, 3, 2}, {IMAGE_FORMAT_TYPE_YUV16_LOW, 10}, content, 31, huevance::kMaskSkin});
        }
    }
}

// The second capture of a set-up must not see the first.
TEST_F(CaptureIdentity, RepeatedCaptures) {
    m_tuning.select(31, huevance::kMaskSkin);
    const Capture capture = {{70, 30, 0, 0, 3, 2}, kNv21, Content::kPhotoLike, 31, huevance::kMaskSkin};
    const auto expected = run<CHuevancePhoto_CPU>(capture);
    std::string path = m_tuning.path();
    CHuevancePhoto_NEON photo;
    photo.setDataBit(8);
    Frame other(capture.shape.roi(1), 1);
    other.fill(Content::kNoise, 256, 8);
    Frame frame = capture.frame();
    ASSERT_EQ(photo.malloc(path.data(), frame.roi()), 0);
    EXPECT_EQ(photo.process(other.data(), IMAGE_FORMAT_TYPE_NV12, 0), 0);
    EXPECT_EQ(photo.process(frame.data(), capture.format.type, 0), 0);
    EXPECT_EQ(photo.free(), 0);
    EXPECT_EQ(frame.copyBytes(), expected.second);
}

// The stage operations, called one by one as a capture orders them, and the one pass.
TEST_F(CaptureIdentity, StageOperationsGiveTheSame) {
    for (const int maskSource : {huevance::kMaskHost, huevance::kMaskSkin}) {
        for (int switches = 0; switches < kAllSwitches; ++switches) {
            const Capture capture = {{83, 25, 2, 1, 3, 2},
                                     switches % 2 == 0 ? kNv12 : kNv21,
                                     Content::kPhotoLike,
                                     switches,
                                     maskSource};
            m_tuning.select(switches, maskSource);
            Frame staged = capture.frame();
            Frame fused = capture.frame();
            test::HostMask mask(staged.roi(), 0);
            CHuevance_NEON engine;
            ASSERT_EQ(engine.captureMalloc(m_tuning.path().c_str(), staged.roi()), 0);
            ASSERT_EQ(engine.fusedCaptureMalloc(), 0);
            ASSERT_TRUE(engine.canFuse());
            engine.setExtParam("portraitMaskRoiInfo", &mask.roi());
            engine.setExtParam("portraitMaskPointer", mask.data());
            engine.setYuvType(capture.format.type);
            engine.readHvcParam(0);
            engine.readCurveLut(0);
            engine.readColorLut(0);

            engine.setDstYuv(fused.data());
            const int allocations = g_allocations;
            engine.setClaheLut();
            engine.fusedCapture();
            EXPECT_EQ(g_allocations, allocations) << "a capture allocates nothing";

            engine.setDstYuv(staged.data());
            engine.setSkinColor();
            engine.sdYuvBackup();
            const auto on = engine.switches();
            EXPECT_EQ(on.clahe ? engine.setClaheLut() + engine.claheMap() : 0, 0);
            EXPECT_EQ(on.curve ? engine.curveMap() : 0, 0);
            EXPECT_EQ(on.colorCorrect ? engine.colorCorrect() : 0, 0);
            EXPECT_EQ(on.colorMap ? engine.colorMap() : 0, 0);
            EXPECT_EQ(on.portraitProtect ? engine.portraitProtect() : 0, 0);
            EXPECT_EQ(fused.copyBytes(), staged.copyBytes()) << capture.text();

            // Set up anew for wider frames, the engine has no tables for the one pass.
            engine.setRoiInfo({512, 25, 512, 25});
            EXPECT_FALSE(engine.canFuse());
            // Without CLAHE, curves and colour table there is little to correct or to protect from.
            EXPECT_TRUE((switches & 11) == 0 || fused.copyBytes() != capture.frame().copyBytes())
                << capture.text();
        }
    }
}

}  // namespace
