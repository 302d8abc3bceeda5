// Each kernel alone against the reference: one level off at most, for one sample in a thousand at most.
#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>

#include "core/Clahe.h"
#include "core/ColorCorrect.h"
#include "core/ColorLut.h"
#include "core/Portrait.h"
#include "core/ToneCurve.h"
#include "gpu/Huevance_GPU.h"
#include "tests/gpu/support/Device.h"
#include "tests/support/Frames.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TuningDir.h"

namespace {

using test::Content;

constexpr RoiInfo kGeometries[] = {
    {64, 48, 64, 48}, {61, 47, 80, 50}, {160, 90, 192, 96}, {9, 7, 9, 7}, {2, 2, 2, 2}, {1, 9, 4, 9},
};
constexpr Content kContents[] = {Content::kZero, Content::kMax, Content::kAlternating, Content::kNoise,
                                 Content::kPhotoLike};

std::string describe(const RoiInfo& roi) {
    return std::to_string(roi.width) + "x" + std::to_string(roi.height) + " in " +
           std::to_string(roi.stride) + "x" + std::to_string(roi.scanline);
}

class Kernels : public test::DeviceTest {
protected:
    // One program for all tests: building it takes longer than they do.
    static void SetUpTestSuite() {
        if (!sim_opencl_available()) {
            return;
        }
        const test::LogCapture quiet;
        s_cache = std::make_unique<test::TuningDir>();
        s_engine = std::make_unique<CHuevance_GPU>();
        s_engine->setCachePath(s_cache->path().c_str());
        ASSERT_EQ(s_engine->clResMalloc(), 0);
        ASSERT_EQ(s_engine->clQueueMalloc(), 0);
    }
    static void TearDownTestSuite() {
        s_engine.reset();
        s_cache.reset();
    }

    void TearDown() override {
        if (s_engine) {
            s_engine->sdYuvFree();
            s_engine->claheLutFree();
            s_engine->curveLutFree();
            s_engine->colorLutFree();
            s_engine->portraitMaskFree();
        }
        DeviceTest::TearDown();
    }

    CHuevance_GPU& engine() { return *s_engine; }

    // Buffers 0 to 2 for frames of this geometry, holding the given bytes.
    void useFrames(const RoiInfo& roi, std::initializer_list<std::vector<unsigned char>> contents) {
        engine().setSrcRoiInfo(roi);
        engine().setRoiInfo(roi);
        int index = 0;
        for (const std::vector<unsigned char>& bytes : contents) {
            gpu::Memory& memory = engine().m_frames[index++];
            ASSERT_EQ(gpu::createBuffer(engine().m_context.get(), CL_MEM_READ_WRITE, bytes.size(), nullptr,
                                        memory.out()),
                      0);
            ASSERT_EQ(clEnqueueWriteBuffer(engine().m_queue.get(), memory.get(), CL_TRUE, 0, bytes.size(),
                                           bytes.data(), 0, nullptr, nullptr),
                      0);
        }
        engine().m_index = {};
    }

    std::vector<unsigned char> contentsOf(int index, std::size_t size) {
        std::vector<unsigned char> bytes(size);
        EXPECT_EQ(clEnqueueReadBuffer(engine().m_queue.get(), engine().m_frames[index].get(), CL_TRUE, 0,
                                      size, bytes.data(), 0, nullptr, nullptr),
                  0);
        return bytes;
    }

    static void expectClose(const std::vector<unsigned char>& got, const test::Frame& expected,
                            const std::string& what) {
        const std::vector<unsigned char> want = expected.copyBytes();
        ASSERT_EQ(got.size(), want.size());
        std::size_t off = 0;
        for (std::size_t i = 0; i < got.size(); ++i) {
            const int distance = std::abs(int{got[i]} - int{want[i]});
            ASSERT_LE(distance, 1) << what << " at row "
                                   << i / static_cast<std::size_t>(expected.roi().stride) << " column "
                                   << i % static_cast<std::size_t>(expected.roi().stride);
            off += distance != 0 ? 1 : 0;
        }
        EXPECT_LE(off, got.size() / 1000) << what;
    }

    test::LogCapture log;

    static std::unique_ptr<test::TuningDir> s_cache;
    static std::unique_ptr<CHuevance_GPU> s_engine;
};

std::unique_ptr<test::TuningDir> Kernels::s_cache;
std::unique_ptr<CHuevance_GPU> Kernels::s_engine;

std::vector<float> randomCurve(std::uint32_t seed) {
    test::Random random(seed);
    std::vector<float> curve(256);
    for (float& level : curve) {
        level = 255.0F * random.unit();
    }
    curve[0] = 0.0F;
    curve[255] = 255.0F;
    return curve;
}

// The bytes of a buffer in which nothing has been written.
std::vector<unsigned char> poison(const test::Frame& frame) {
    return std::vector<unsigned char>(frame.bytes(), 0xA5);
}

// Copies what a stage leaves alone, so that a whole frame can be compared.
void copyLuma(test::Frame& to, const std::vector<unsigned char>& from) {
    std::memcpy(to.data8(), from.data(), static_cast<std::size_t>(to.roi().scanline * to.roi().stride));
}
void copyChroma(test::Frame& to, const std::vector<unsigned char>& from) {
    const auto offset = static_cast<std::size_t>(to.roi().scanline * to.roi().stride);
    std::memcpy(to.data8() + offset, from.data() + offset, to.bytes() - offset);
}

TEST_F(Kernels, ClaheMapsLikeTheReference) {
    constexpr int kGrids[][2] = {{8, 6}, {1, 1}, {3, 5}, {2, 1}};
    for (const RoiInfo& roi : kGeometries) {
        for (const auto& grid : kGrids) {
            for (const Content content : {Content::kNoise, Content::kPhotoLike}) {
                engine().m_iGridWidth = grid[0];
                engine().m_iGridHeight = grid[1];
                engine().m_iSampRate = 2;
                engine().m_fClaheStrength = 1.5F;
                test::Frame frame(roi, 1);
                frame.fill(content, 256);
                useFrames(roi, {poison(frame), poison(frame), frame.copyBytes()});
                const huevance::TileGeometry tile = huevance::tileGeometry(roi, grid[0], grid[1], 2);
                if (tile.tileWidth == 0 || tile.tileHeight == 0) {
                    continue;
                }
                ASSERT_EQ(engine().claheLutMalloc(), 0);
                ASSERT_EQ(engine().setClaheLut(frame.data()), 0);
                ASSERT_EQ(engine().claheMap(), 0);
                const auto got = contentsOf(0, frame.bytes());

                test::Frame expected(roi, 1);
                expected.restore(frame.copyBytes());
                std::vector<float> hist(static_cast<std::size_t>(grid[0] * grid[1] * 256));
                std::vector<float> lut(hist.size());
                huevance::computeClaheLut(expected.data8(), roi, hist.data(), lut.data(), 2, grid[0], grid[1],
                                          tile.tileWidth, tile.tileHeight, 1.5F);
                huevance::claheMap_8u(expected.data8(), roi, lut.data(), 256, tile.tileWidth, tile.tileHeight,
                                      grid[0], grid[1]);
                copyChroma(expected, poison(frame));
                expectClose(got, expected,
                            describe(roi) + " grid " + std::to_string(grid[0]) + "x" +
                                std::to_string(grid[1]) + " " + toString(content));
                EXPECT_EQ(contentsOf(2, frame.bytes()), frame.copyBytes()) << "the frame itself stays";
            }
        }
    }
}

// Frames so wide that a work group needs several rounds of tables, and tiles narrower than a work item.
TEST_F(Kernels, ClaheMapsWideGridsLikeTheReference) {
    const struct {
        RoiInfo roi;
        int gridWidth;
        int gridHeight;
    } cases[] = {{{2048, 12, 2048, 12}, 64, 2},
                 {{1000, 40, 1024, 40}, 40, 20},
                 {{630, 30, 630, 30}, 90, 3},
                 {{96, 96, 96, 96}, 2, 48}};
    for (const auto& c : cases) {
        engine().m_iGridWidth = c.gridWidth;
        engine().m_iGridHeight = c.gridHeight;
        engine().m_iSampRate = 1;
        engine().m_fClaheStrength = 2.0F;
        test::Frame frame(c.roi, 1);
        frame.fill(Content::kNoise, 256);
        useFrames(c.roi, {poison(frame), poison(frame), frame.copyBytes()});
        ASSERT_EQ(engine().claheLutMalloc(), 0);
        ASSERT_EQ(engine().setClaheLut(frame.data()), 0);
        ASSERT_EQ(engine().claheMap(), 0);
        const huevance::TileGeometry tile = huevance::tileGeometry(c.roi, c.gridWidth, c.gridHeight, 1);
        test::Frame expected(c.roi, 1);
        expected.restore(frame.copyBytes());
        std::vector<float> hist(static_cast<std::size_t>(c.gridWidth * c.gridHeight * 256));
        std::vector<float> lut(hist.size());
        huevance::computeClaheLut(expected.data8(), c.roi, hist.data(), lut.data(), 1, c.gridWidth,
                                  c.gridHeight, tile.tileWidth, tile.tileHeight, 2.0F);
        huevance::claheMap_8u(expected.data8(), c.roi, lut.data(), 256, tile.tileWidth, tile.tileHeight,
                              c.gridWidth, c.gridHeight);
        copyChroma(expected, poison(frame));
        expectClose(contentsOf(0, frame.bytes()), expected, describe(c.roi));
    }
}

TEST_F(Kernels, CurvesMapLikeTheReferenceWithEveryKindOfSharedMemory) {
    const std::vector<float> curve = randomCurve(3);
    for (const int svm : {0, 1, 2, 3}) {
        sim_opencl_set_svm_level(svm);
        ASSERT_EQ(engine().m_curveLut.allocate(engine().m_context.get(), engine().m_queue.get(), svm, 1024),
                  0);
        ASSERT_EQ(engine().m_curveLut.write(engine().m_queue.get(), curve.data(), 1024), 0);
        for (const RoiInfo& roi : kGeometries) {
            for (const Content content : kContents) {
                for (const float saturation : {0.0F, 0.7F, 1.0F, 2.5F}) {
                    engine().m_fSatStrength = saturation;
                    test::Frame frame(roi, 1);
                    frame.fill(content, 256);
                    useFrames(roi, {poison(frame), poison(frame), frame.copyBytes()});
                    ASSERT_EQ(engine().curveMap(), 0);

                    test::Frame expected(roi, 1);
                    expected.restore(frame.copyBytes());
                    std::vector<float> uv(256);
                    huevance::buildUvCurve(saturation, uv.data());
                    huevance::curveMap_8u(expected.data8(), roi, curve.data(), uv.data(), 256);
                    test::Frame luma(roi, 1);
                    luma.restore(expected.copyBytes());
                    copyChroma(luma, poison(frame));
                    expectClose(contentsOf(0, frame.bytes()), luma, describe(roi) + " " + toString(content));
                    copyLuma(expected, frame.copyBytes());
                    expectClose(contentsOf(2, frame.bytes()), expected,
                                describe(roi) + " " + toString(content));
                }
            }
        }
        engine().curveLutFree();
    }
}

TEST_F(Kernels, ColorCorrectionIsThatOfTheReference) {
    for (const RoiInfo& roi : kGeometries) {
        for (int c = 0; c < 2 * static_cast<int>(std::size(kContents)); ++c) {
            const Content content = kContents[c / 2];
            test::Frame original(roi, 1);
            original.fill(content, 256);
            test::Frame processed(roi, 1);  // every second one has the same luma
            processed.fill(c % 2 == 0 ? Content::kNoise : content, 256, c % 2 == 0 ? 77 : 1);
            useFrames(roi, {processed.copyBytes(), poison(original), original.copyBytes()});
            engine().m_index.m_iYIn = 0;
            engine().m_index.m_iUvOut = 1;
            ASSERT_EQ(engine().colorCorrect(), 0);

            test::Frame expected(roi, 1);
            expected.restore(processed.copyBytes());
            copyChroma(expected, original.copyBytes());
            huevance::colorCorrect_8u(original.data8(), roi, expected.data8(), roi, IMAGE_FORMAT_TYPE_NV12,
                                      256);
            copyLuma(expected, poison(original));
            expectClose(contentsOf(1, original.bytes()), expected, describe(roi) + " " + toString(content));
        }
    }
}

TEST_F(Kernels, ColorTableMapsLikeTheReferenceInBothChromaOrders) {
    test::Random random(5);
    ASSERT_TRUE(engine().m_colorLut.allocate(huevance::kColorLutFloats));
    std::vector<float> lattice(huevance::kColorLutFloats);
    for (float& level : lattice) {
        level = 255.0F * random.unit();
    }
    engine().m_iSceneNum = 1;
    const test::TuningDir dir;
    dir.writeFloats("ColorLut", lattice);
    engine().setSensorPath(dir.path().c_str());
    ASSERT_EQ(engine().sceneColorLutMalloc(), 0);
    ASSERT_EQ(engine().colorLutMalloc(0), 0);
    for (const RoiInfo& roi : kGeometries) {
        for (const Content content : kContents) {
            for (const float strength : {0.0F, 0.6F, 1.0F}) {
                for (const auto type : {IMAGE_FORMAT_TYPE_NV12, IMAGE_FORMAT_TYPE_NV21}) {
                    engine().m_fColorStrength = strength;
                    engine().setYuvType(type);
                    test::Frame frame(roi, 1);
                    frame.fill(content, 256);
                    useFrames(roi, {poison(frame), poison(frame), frame.copyBytes()});
                    engine().m_index.m_iUvOut = 1;
                    ASSERT_EQ(engine().colorMap(), 0);

                    test::Frame expected(roi, 1);
                    expected.restore(frame.copyBytes());
                    huevance::colorMap_8u(expected.data8(), roi, type, 256, lattice.data(), 16, strength);
                    test::Frame chroma(roi, 1);
                    chroma.restore(expected.copyBytes());
                    copyChroma(expected, poison(frame));
                    expectClose(contentsOf(0, frame.bytes()), expected,
                                describe(roi) + " " + toString(content));
                    copyLuma(chroma, poison(frame));
                    expectClose(contentsOf(1, frame.bytes()), chroma,
                                describe(roi) + " " + toString(content));
                }
            }
        }
    }
    // Other formats: nothing is launched.
    const int before = sim_opencl_calls("clEnqueueNDRangeKernel");
    engine().setYuvType(IMAGE_FORMAT_TYPE_YUV16_LOW);
    EXPECT_EQ(engine().colorMap(), 0);
    EXPECT_EQ(sim_opencl_calls("clEnqueueNDRangeKernel"), before);
    engine().sceneColorLutFree();
}

TEST_F(Kernels, SkinIsProtectedAsByTheReferenceInBothChromaOrders) {
    for (const RoiInfo& roi : kGeometries) {
        for (const Content content : kContents) {
            for (const auto type : {IMAGE_FORMAT_TYPE_NV12, IMAGE_FORMAT_TYPE_NV21}) {
                test::Frame original(roi, 1);
                original.fill(content, 256, 3);
                test::Frame processed(roi, 1);
                processed.fill(Content::kNoise, 256, 78);
                test::Frame chroma(roi, 1);
                chroma.fill(Content::kNoise, 256, 79);
                useFrames(roi, {processed.copyBytes(), chroma.copyBytes(), original.copyBytes()});
                engine().m_index.m_iYIn = 0;
                engine().m_index.m_iUvIn = 1;
                engine().setYuvType(type);
                ASSERT_EQ(engine().portraitProtect(2), 0);

                test::Frame expected(roi, 1);
                expected.restore(processed.copyBytes());
                copyChroma(expected, chroma.copyBytes());
                const RoiInfo maskRoi = huevance::skinMaskRoi(roi);
                std::vector<float> mask(static_cast<std::size_t>(maskRoi.stride / 4 * maskRoi.height));
                huevance::skinColorDetect(original.data8(), roi, type, mask.data(), maskRoi);
                huevance::portraitProtect_8u(original.data8(), roi, expected.data8(), roi, mask.data(),
                                             maskRoi);
                expectClose(contentsOf(2, original.bytes()), expected,
                            describe(roi) + " " + toString(content));
            }
        }
    }
}

TEST_F(Kernels, TheHostsMaskProtectsAsByTheReference) {
    for (const int svm : {1, 2}) {
        sim_opencl_set_svm_level(svm);
        engine().m_iSvmType = svm;
        engine().m_iMaskSource = 1;
        for (const RoiInfo& roi : kGeometries) {
            // Constant over what one value of the halved mask stands for: eight columns and two rows.
            RoiInfo maskRoi = {roi.width + 1, roi.height + 1, 4 * (roi.width + 4), roi.height + 1};
            std::vector<float> mask(static_cast<std::size_t>(maskRoi.stride / 4 * maskRoi.height));
            test::Random random(9);
            for (int y = 0; y < maskRoi.height; ++y) {
                for (int x = 0; x < maskRoi.stride / 4; ++x) {
                    const std::size_t at = static_cast<std::size_t>(y * (maskRoi.stride / 4) + x);
                    mask[at] = y % 2 == 1 ? mask[at - static_cast<std::size_t>(maskRoi.stride / 4)]
                                          : (x % 8 != 0 ? mask[at - 1] : random.unit());
                }
            }
            engine().setExtParam("portraitMaskRoiInfo", &maskRoi);
            engine().setExtParam("portraitMaskPointer", mask.data());
            ASSERT_FALSE(engine().m_portraitMask.empty());

            test::Frame original(roi, 1);
            original.fill(Content::kPhotoLike, 256, 3);
            test::Frame processed(roi, 1);
            processed.fill(Content::kNoise, 256, 78);
            useFrames(roi, {processed.copyBytes(), poison(original), original.copyBytes()});
            engine().m_index.m_iYIn = 0;
            engine().m_index.m_iUvIn = 0;
            ASSERT_EQ(engine().portraitProtect(1), 0);

            test::Frame expected(roi, 1);
            expected.restore(processed.copyBytes());
            if (roi.width >= 2 && roi.height >= 2) {
                huevance::portraitProtect_8u(original.data8(), roi, expected.data8(), roi, mask.data(),
                                             maskRoi);
                expectClose(contentsOf(2, original.bytes()), expected, describe(roi));
            }
            EXPECT_EQ(sim_opencl_violation(), nullptr);
        }
        engine().portraitMaskFree();
    }
    engine().m_iMaskSource = 0;
}

// Means of blocks down, and back up: each sample a quarter from its nearest, so 9 : 3 : 3 : 1.
TEST_F(Kernels, HalvesAndDoublesFrames) {
    const RoiInfo full = {38, 22, 40, 24};
    const RoiInfo half = {19, 11, 20, 12};
    engine().m_bIsDownScale = true;
    test::Frame frame(full, 1);
    frame.fill(Content::kNoise, 256);
    const test::Frame halfFrame(half, 1);
    useFrames(half, {{0}, {0}, frame.copyBytes()});
    engine().setSrcRoiInfo(full);
    const std::vector<unsigned char> untouched(static_cast<std::size_t>(20 * 12 * 3 / 2), 0xA5);
    ASSERT_EQ(gpu::createBuffer(engine().m_context.get(), CL_MEM_READ_WRITE | CL_MEM_COPY_HOST_PTR,
                                untouched.size(), const_cast<unsigned char*>(untouched.data()),
                                engine().m_frames[3].out()),
              0);
    test::Frame wrapped(full, 1);
    wrapped.restore(frame.copyBytes());
    ASSERT_EQ(engine().setDstYuv(wrapped.data(), -1), 0);
    test::Frame got(half, 1);
    got.restore(contentsOf(3, got.bytes()));
    for (int y = 0; y < half.height; ++y) {
        for (int x = 0; x < half.width; ++x) {
            const int sum = frame.luma(2 * x, 2 * y) + frame.luma(2 * x + 1, 2 * y) +
                            frame.luma(2 * x, 2 * y + 1) + frame.luma(2 * x + 1, 2 * y + 1);
            ASSERT_EQ(got.luma(x, y), (sum + 2) / 4) << x << "," << y;
        }
    }
    for (int y = 0; y < half.height / 2; ++y) {
        for (int x = 0; x < half.width - 1; ++x) {
            const int left = x / 2 * 4 + x % 2;
            const int sum = frame.chroma(left, 2 * y) + frame.chroma(left + 2, 2 * y) +
                            frame.chroma(left, 2 * y + 1) + frame.chroma(left + 2, 2 * y + 1);
            ASSERT_EQ(got.chroma(x, y), (sum + 2) / 4) << x << "," << y;
        }
    }
    ASSERT_EQ(engine().getDstYuv(wrapped.data()), 0);
    EXPECT_TRUE(wrapped.paddingUntouched());
    const auto sampleOf = [](int near, int far, int limit) {
        return std::pair(near, std::clamp(far, 0, limit - 1));
    };
    for (int y = 0; y < full.height; ++y) {
        for (int x = 0; x < full.width; ++x) {
            const auto [nx, fx] = sampleOf(x / 2, x % 2 == 0 ? x / 2 - 1 : x / 2 + 1, half.width);
            const auto [ny, fy] = sampleOf(y / 2, y % 2 == 0 ? y / 2 - 1 : y / 2 + 1, half.height);
            const int sum =
                9 * got.luma(nx, ny) + 3 * got.luma(fx, ny) + 3 * got.luma(nx, fy) + got.luma(fx, fy);
            ASSERT_EQ(wrapped.luma(x, y), (sum + 8) / 16) << x << "," << y;
        }
    }
    engine().m_bIsDownScale = false;
}

}  // namespace
