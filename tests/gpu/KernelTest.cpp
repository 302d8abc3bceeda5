// Each kernel alone, and the stages in a row, against the reference. Every buffer is compared, padding and
// all: what a kernel does not write stays. scripts/oclgrind.sh runs these tests, too, with
// HUEVANCE_TINY_FRAMES set.
#include <gmock/gmock.h>

#include <cstring>
#include <functional>

#include "core/ColorCorrect.h"
#include "core/ColorLut.h"
#include "core/Portrait.h"
#include "gpu/Huevance_GPU.h"
#include "tests/gpu/support/Chain.h"
#include "tests/gpu/support/Device.h"
#include "tests/support/Photo.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TuningDir.h"

namespace {

using test::Content;
using test::Frame;

struct Input {
    RoiInfo roi;
    Content content;
    const char* photo;  // instead of the content
};
std::string describe(const Input& input) {
    return std::to_string(input.roi.width) + "x" + std::to_string(input.roi.height) + " in " +
           std::to_string(input.roi.stride) + "x" + std::to_string(input.roi.scanline) + " " +
           (input.photo != nullptr ? input.photo : toString(input.content));
}

// For an interpreting driver, which has no shared virtual memory either.
bool tinyFrames() { return std::getenv("HUEVANCE_TINY_FRAMES") != nullptr; }
std::vector<int> sharedMemory(const std::vector<int>& kinds) { return tinyFrames() ? std::vector{0} : kinds; }

std::vector<Input> inputs() {
    if (tinyFrames()) {
        return {{{9, 7, 9, 7}, Content::kNoise, nullptr}, {{18, 6, 24, 8}, Content::kPhotoLike, nullptr}};
    }
    std::vector<Input> all = {{{500, 398, 512, 400}, {}, "portrait"},
                              {{499, 397, 512, 400}, {}, "still_life"}};
    std::size_t turn = 0;
    for (const RoiInfo& roi : {RoiInfo{64, 48, 64, 48},
                               {61, 47, 80, 50},
                               {160, 90, 192, 96},
                               {9, 7, 9, 7},
                               {2, 2, 2, 2},
                               {1, 9, 4, 9}}) {
        for (int i = 0; i < 3; ++i) {
            constexpr Content kContents[] = {Content::kNoise, Content::kZero, Content::kAlternating,
                                             Content::kMax, Content::kPhotoLike};
            all.push_back({roi, kContents[turn++ % 5], nullptr});
        }
    }
    return all;
}

std::size_t chromaOf(const RoiInfo& roi) { return static_cast<std::size_t>(roi.scanline * roi.stride); }

class Kernels : public test::DeviceTest {
protected:
    using Buffers = std::vector<Frame>;

    // One program for all tests: building it takes longer than they do.
    static void SetUpTestSuite() {
        if (sim_opencl_available()) {
            const test::LogCapture quiet;
            s_cache = std::make_unique<test::TuningDir>();
            s_engine = std::make_unique<CHuevance_GPU>();
            s_engine->setCachePath(s_cache->path().c_str());
            ASSERT_EQ(s_engine->clResMalloc(), 0);
            ASSERT_EQ(s_engine->clQueueMalloc(), 0);
        }
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
            s_engine->sceneColorLutFree();
            s_engine->sceneCurveLutFree();
            s_engine->portraitMaskFree();
            s_engine->m_bIsDownScale = false;
        }
        DeviceTest::TearDown();
    }
    CHuevance_GPU& engine() { return *s_engine; }

    // The chain's curve and lattice, those that it has, as the engine's.
    void useTables(const test::Chain& chain) {
        const test::TuningDir dir;
        dir.writeFloats("CurveLut", chain.curve);
        dir.writeFloats("ColorLut", chain.lattice);
        engine().m_iSceneNum = 1;
        engine().setSensorPath(dir.path().c_str());
        ASSERT_EQ(std::min({engine().sceneCurveLutMalloc(), engine().curveLutMalloc(0),
                            engine().sceneColorLutMalloc(), engine().colorLutMalloc(0)}),
                  0);
    }

    void upload(int index, const std::vector<unsigned char>& bytes) {
        ASSERT_EQ(gpu::createBuffer(engine().m_context.get(), CL_MEM_READ_WRITE, bytes.size(), nullptr,
                                    engine().m_frames[index].out()),
                  0);
        ASSERT_EQ(clEnqueueWriteBuffer(engine().m_queue.get(), engine().m_frames[index].get(), CL_TRUE, 0,
                                       bytes.size(), bytes.data(), 0, nullptr, nullptr),
                  0);
    }
    std::vector<unsigned char> download(int index, std::size_t size) {
        std::vector<unsigned char> bytes(size);
        EXPECT_EQ(clEnqueueReadBuffer(engine().m_queue.get(), engine().m_frames[index].get(), CL_TRUE, 0,
                                      size, bytes.data(), 0, nullptr, nullptr),
                  0);
        return bytes;
    }
    static Frame frameOf(const Input& input, std::uint32_t seed) {
        Frame frame(input.roi, 1);
        if (input.photo == nullptr || !test::fillWithPhoto(frame, input.photo)) {
            frame.fill(input.content, 256, seed);
        }
        return frame;
    }

    // For every input: buffers 0 and 1 hold noise, buffer 2 the input. `kernel` runs on them, `reference` on
    // copies.
    void compare(const std::string& variant, const std::function<int(const Input&)>& kernel,
                 const std::function<void(Buffers&)>& reference, const std::vector<Input>& all = inputs()) {
        for (const Input& input : all) {
            Buffers buffers;
            buffers.push_back(frameOf({input.roi, Content::kNoise, nullptr}, 77));
            buffers.push_back(frameOf({input.roi, Content::kNoise, nullptr}, 78));
            buffers.push_back(frameOf(input, 3));
            engine().setSrcRoiInfo(input.roi);
            engine().setRoiInfo(input.roi);
            engine().m_index = {};
            for (int i = 0; i < 3; ++i) {
                upload(i, buffers[static_cast<std::size_t>(i)].copyBytes());
            }
            ASSERT_EQ(kernel(input), 0) << describe(input) << " " << variant;
            reference(buffers);
            for (int i = 0; i < 3; ++i) {
                expectClose(download(i, buffers[0].bytes()), buffers[static_cast<std::size_t>(i)].copyBytes(),
                            1, describe(input) + " " + variant + ", buffer " + std::to_string(i));
            }
        }
    }
    static void expectClose(const std::vector<unsigned char>& got, const std::vector<unsigned char>& expected,
                            int limit, const std::string& what) {
        std::size_t off = 0;
        for (std::size_t i = 0; i < got.size(); ++i) {
            const int distance = std::abs(int{got[i]} - int{expected[i]});
            ASSERT_LE(distance, limit) << what << " at byte " << i;
            off += distance != 0 ? 1 : 0;
        }
        EXPECT_LE(off, got.size() / (limit == 1 ? 1000 : 1)) << what;
    }

    test::LogCapture log;
    static std::unique_ptr<test::TuningDir> s_cache;
    static std::unique_ptr<CHuevance_GPU> s_engine;
};
std::unique_ptr<test::TuningDir> Kernels::s_cache;
std::unique_ptr<CHuevance_GPU> Kernels::s_engine;

// Luma or chroma of one buffer from another's.
void copyLuma(Frame& to, Frame& from) { std::memcpy(to.data(), from.data(), chromaOf(to.roi())); }
void copyChroma(Frame& to, Frame& from) {
    const std::size_t at = chromaOf(to.roi());
    std::memcpy(to.data8() + at, from.data8() + at, to.bytes() - at);
}
Frame copyOf(const Frame& frame) {
    Frame copy(frame.roi(), 1);
    copy.restore(frame.copyBytes());
    return copy;
}

TEST_F(Kernels, ClaheMaps) {
    test::Chain chain;
    chain.on.clahe = true;
    chain.claheStrength = engine().m_fClaheStrength = 1.5F;
    const auto compareGrid = [&](int gridWidth, int gridHeight, int sampRate, std::vector<Input> all) {
        chain.gridWidth = engine().m_iGridWidth = gridWidth;
        chain.gridHeight = engine().m_iGridHeight = gridHeight;
        chain.sampRate = engine().m_iSampRate = sampRate;
        std::erase_if(all, [&](const Input& input) {
            return input.roi.width < gridWidth || input.roi.height < gridHeight;
        });
        const auto kernel = [this](const Input& input) {
            Frame frame = frameOf(input, 3);
            return std::min(
                {engine().claheLutMalloc(), engine().setClaheLut(frame.data()), engine().claheMap()});
        };
        const auto reference = [&](Buffers& buffers) {
            Frame mapped = copyOf(buffers[2]);
            chain.apply(mapped, IMAGE_FORMAT_TYPE_NV12);
            copyLuma(buffers[0], mapped);
        };
        compare("grid " + std::to_string(gridWidth) + "x" + std::to_string(gridHeight), kernel, reference,
                all);
    };
    for (const auto& [width, height] : {std::pair(8, 6), {1, 1}, {3, 5}, {2, 1}}) {
        compareGrid(width, height, 2, inputs());
    }
    if (!tinyFrames()) {
        // Work groups so wide or so tall that they need several rounds of tables, and tiles narrower than a work
        // item.
        compareGrid(3, 9, 1, {{{39, 600, 48, 600}, Content::kNoise, nullptr}});
        compareGrid(64, 2, 1, {{{2048, 12, 2048, 12}, Content::kNoise, nullptr}});
        compareGrid(40, 20, 1, {{{1000, 40, 1024, 40}, Content::kNoise, nullptr}});
        compareGrid(90, 3, 1, {{{630, 30, 630, 30}, Content::kNoise, nullptr}});
        compareGrid(2, 48, 1, {{{96, 96, 96, 96}, Content::kNoise, nullptr}});
    }
}

TEST_F(Kernels, CurvesMapWithEveryKindOfSharedMemory) {
    test::Chain chain;
    chain.on.curve = true;
    chain.curve.assign(256, 255.0F);
    test::Random random(3);
    std::generate_n(chain.curve.begin(), 255, [&] { return 255.0F * random.unit(); });
    for (const int svm : sharedMemory({0, 1, 2, 3})) {
        sim_opencl_set_svm_level(svm);
        gpu::DeviceTable& table = engine().m_curveLut;
        ASSERT_EQ(table.allocate(engine().m_context.get(), engine().m_queue.get(), svm, 1024), 0);
        ASSERT_EQ(table.write(engine().m_queue.get(), chain.curve.data(), 1024), 0);
        for (const float saturation : {0.0F, 0.7F, 1.0F, 2.5F}) {
            chain.satStrength = engine().m_fSatStrength = saturation;
            compare(
                "svm " + std::to_string(svm), [this](const Input&) { return engine().curveMap(); },
                [&](Buffers& buffers) {
                    Frame mapped = copyOf(buffers[2]);
                    chain.apply(mapped, IMAGE_FORMAT_TYPE_NV12);
                    copyLuma(buffers[0], mapped);
                    copyChroma(buffers[2], mapped);
                });
        }
        engine().curveLutFree();
    }
}

TEST_F(Kernels, ColorIsCorrected) {
    for (const int processed : {0, 2}) {  // another luma, and the same
        const auto kernel = [&](const Input&) {
            engine().m_index.m_iYIn = processed;
            engine().m_index.m_iUvOut = 1;
            return engine().colorCorrect();
        };
        compare("luma of " + std::to_string(processed), kernel, [&](Buffers& buffers) {
            Frame corrected = copyOf(buffers[2]);
            copyLuma(corrected, buffers[static_cast<std::size_t>(processed)]);
            huevance::colorCorrect_8u(buffers[2].data8(), corrected.roi(), corrected.data8(), corrected.roi(),
                                      IMAGE_FORMAT_TYPE_NV12, 256);
            copyChroma(buffers[1], corrected);
        });
    }
}

TEST_F(Kernels, ColorTableMapsInBothChromaOrders) {
    test::Chain chain;
    chain.on.colorMap = true;
    chain.lattice.resize(huevance::kColorLutFloats);
    test::Random random(5);
    std::generate(chain.lattice.begin(), chain.lattice.end(), [&] { return 255.0F * random.unit(); });
    useTables(chain);
    for (const auto type : {IMAGE_FORMAT_TYPE_NV12, IMAGE_FORMAT_TYPE_NV21}) {
        for (const float strength : {0.0F, 0.6F, 1.0F}) {
            chain.colorStrength = engine().m_fColorStrength = strength;
            engine().setYuvType(type);
            const auto kernel = [this](const Input&) {
                engine().m_index.m_iUvOut = 1;
                return engine().colorMap();
            };
            compare("type " + std::to_string(type), kernel, [&](Buffers& buffers) {
                Frame mapped = copyOf(buffers[2]);
                chain.apply(mapped, type);
                copyLuma(buffers[0], mapped);
                copyChroma(buffers[1], mapped);
            });
        }
    }
    const int before = sim_opencl_calls("clEnqueueNDRangeKernel");
    for (const auto type : {IMAGE_FORMAT_TYPE_YUV16_LOW, IMAGE_FORMAT_TYPE{}}) {
        engine().setYuvType(type);
        EXPECT_EQ(engine().colorMap(), 0);
    }
    EXPECT_EQ(sim_opencl_calls("clEnqueueNDRangeKernel"), before);
}

// In 16-bit formats U is first, too; in formats of another layout there is no skin, and every sample is as
// processed.
TEST_F(Kernels, SkinIsProtectedInItsChromaOrder) {
    for (const int type : {0, 5, 6, 9, 10}) {
        const auto format = static_cast<IMAGE_FORMAT_TYPE>(type);
        engine().setYuvType(format);
        const auto kernel = [this](const Input&) {
            engine().m_index.m_iYIn = 0;
            engine().m_index.m_iUvIn = 1;
            return engine().portraitProtect(2);
        };
        compare("type " + std::to_string(type), kernel, [&](Buffers& buffers) {
            const RoiInfo roi = buffers[2].roi();
            const RoiInfo maskRoi = huevance::skinMaskRoi(roi);
            std::vector<float> mask(static_cast<std::size_t>(maskRoi.stride / 4 * maskRoi.height));
            huevance::skinColorDetect(buffers[2].data8(), roi, format, mask.data(), maskRoi);
            Frame result = copyOf(buffers[0]);
            copyChroma(result, buffers[1]);
            huevance::portraitProtect_8u(buffers[2].data8(), roi, result.data8(), roi, mask.data(), maskRoi);
            buffers[2].restore(result.copyBytes());
        });
    }
}

TEST_F(Kernels, TheHostsMaskProtects) {
    engine().m_iMaskSource = 1;
    for (const int svm : sharedMemory({1, 2})) {
        sim_opencl_set_svm_level(svm);
        engine().m_iSvmType = svm;
        RoiInfo maskRoi = {};
        std::vector<float> mask;
        const auto kernel = [&](const Input& input) {
            // Constant over what one value of the halved mask stands for: eight columns and two rows.
            maskRoi = {input.roi.width + 1, input.roi.height + 1, 4 * (input.roi.width + 4),
                       input.roi.height + 1};
            const std::size_t columns = static_cast<std::size_t>(maskRoi.stride) / 4;
            mask.assign(columns * static_cast<std::size_t>(maskRoi.height), 0.25F);
            test::Random random(9);
            for (std::size_t i = 0; svm != 0 && i < mask.size(); ++i) {
                const std::size_t above = i / columns % 2 * columns;
                mask[i] = above != 0 ? mask[i - above] : i % columns % 8 != 0 ? mask[i - 1] : random.unit();
            }
            engine().setExtParam("portraitMaskRoiInfo", &maskRoi);
            engine().setExtParam("portraitMaskPointer", mask.data());
            engine().m_index.m_iYIn = engine().m_index.m_iUvIn = 0;
            if (svm == 0) {  // no way for a mask there, but the kernel reads any buffer
                engine().m_portraitMask.allocate(engine().m_context.get(), engine().m_queue.get(), 0,
                                                 4 * mask.size());
                engine().m_portraitMask.write(engine().m_queue.get(), mask.data(), 4 * mask.size());
            }
            return engine().portraitProtect(1);
        };
        compare("svm " + std::to_string(svm), kernel, [&](Buffers& buffers) {
            const RoiInfo roi = buffers[2].roi();
            Frame result = copyOf(buffers[0]);
            huevance::portraitProtect_8u(buffers[2].data8(), roi, result.data8(), roi, mask.data(), maskRoi);
            buffers[2].restore(result.copyBytes());
        });
        engine().portraitMaskFree();
    }
    engine().m_iMaskSource = 0;
}

// Means of blocks down, and back up: each sample a quarter from its nearest, so 9 : 3 : 3 : 1.
TEST_F(Kernels, FramesAreHalvedAndDoubled) {
    const RoiInfo full = {38, 22, 40, 24};
    const RoiInfo half = {19, 11, 20, 12};
    engine().m_bIsDownScale = true;
    engine().setSrcRoiInfo(full);
    engine().setRoiInfo(half);
    Frame got(half, 1);
    upload(3, got.copyBytes());
    const Frame frame = frameOf({full, Content::kNoise, nullptr}, 3);
    Frame wrapped = copyOf(frame);
    ASSERT_EQ(engine().setDstYuv(wrapped.data(), -1), 0);
    got.restore(download(3, got.bytes()));
    EXPECT_TRUE(got.paddingUntouched());
    for (int y = 0; y < half.height; ++y) {
        for (int x = 0; x < half.width; ++x) {
            int sum = 2;
            for (const auto& [dx, dy] : {std::pair(0, 0), {1, 0}, {0, 1}, {1, 1}}) {
                sum += frame.luma(2 * x + dx, 2 * y + dy);
            }
            ASSERT_EQ(got.luma(x, y), sum / 4) << x << "," << y;
            if (y < half.height / 2 && x < half.width - 1) {
                const int left = x / 2 * 4 + x % 2;
                sum = frame.chroma(left, 2 * y) + frame.chroma(left + 2, 2 * y) +
                      frame.chroma(left, 2 * y + 1) + frame.chroma(left + 2, 2 * y + 1);
                ASSERT_EQ(got.chroma(x, y), (sum + 2) / 4) << x << "," << y;
            }
        }
    }
    ASSERT_EQ(engine().getDstYuv(wrapped.data()), 0);
    EXPECT_TRUE(wrapped.paddingUntouched());
    const auto farFrom = [](int at, int limit) {
        return std::clamp(at % 2 == 0 ? at / 2 - 1 : at / 2 + 1, 0, limit - 1);
    };
    for (int y = 0; y < full.height; ++y) {
        for (int x = 0; x < full.width; ++x) {
            const int farX = farFrom(x, half.width);
            const int farY = farFrom(y, half.height);
            const int sum = 9 * got.luma(x / 2, y / 2) + 3 * got.luma(farX, y / 2) +
                            3 * got.luma(x / 2, farY) + got.luma(farX, farY);
            ASSERT_EQ(wrapped.luma(x, y), (sum + 8) / 16) << x << "," << y;
        }
    }
    // A launch that fails is the operation's failure.
    sim_opencl_fail("clEnqueueNDRangeKernel", 1, CL_OUT_OF_RESOURCES);
    EXPECT_EQ(engine().setDstYuv(wrapped.data(), -1), -1);
    sim_opencl_fail("clEnqueueNDRangeKernel", 1, CL_OUT_OF_RESOURCES);
    EXPECT_EQ(engine().getDstYuv(wrapped.data()), -1);
    EXPECT_THAT(log.texts(test::kError), testing::ElementsAre("setDstYuv: m_downScale_kernel failed!",
                                                              "getDstYuv: m_upScale_kernel failed!"));
}

// From stage to stage on new intermediate frames: no stage may read what none has written.
TEST_F(Kernels, StagesFollowEachOther) {
    const RoiInfo roi = {18, 6, 24, 8};
    test::Chain chain;
    chain.gridWidth = engine().m_iGridWidth = 3;
    chain.gridHeight = engine().m_iGridHeight = 2;
    engine().m_iSampRate = chain.sampRate;
    chain.colorStrength = engine().m_fColorStrength = 0.8F;
    chain.satStrength = engine().m_fSatStrength = 1.2F;
    chain.claheStrength = engine().m_fClaheStrength = 1.0F;
    chain.curve = test::gentleCurve(0.6F);
    chain.lattice = test::gentleLattice(0.6F);
    useTables(chain);
    engine().setSrcRoiInfo(roi);
    engine().setRoiInfo(roi);
    engine().setYuvType(IMAGE_FORMAT_TYPE_NV21);
    ASSERT_EQ(engine().claheLutMalloc(), 0);
    for (int bits = 0; bits < 32; ++bits) {
        if ((bits & 1) != 0 && std::getenv("HUEVANCE_WITHOUT_IMAGES") != nullptr) {
            continue;
        }
        const huevance::StageSwitches on = test::stagesOf(bits);
        ASSERT_EQ(engine().sdYuvMalloc(), 0);
        engine().m_index.initIndex(false, on.clahe, on.curve, on.colorCorrect, on.colorMap,
                                   on.portraitProtect);
        Frame frame = frameOf({roi, Content::kPhotoLike, nullptr}, 5);
        upload(2, frame.copyBytes());
        engine().m_index.resetIndex();
        EXPECT_EQ(
            std::min({on.clahe ? engine().setClaheLut(frame.data()) : 0, on.clahe ? engine().claheMap() : 0,
                      on.curve ? engine().curveMap() : 0, on.colorCorrect ? engine().colorCorrect() : 0,
                      on.colorMap ? engine().colorMap() : 0,
                      on.portraitProtect ? engine().portraitProtect(2) : 0}),
            0);
        const std::vector<unsigned char> got = download(2, frame.bytes());
        chain.on = on;
        chain.apply(frame, IMAGE_FORMAT_TYPE_NV21);
        expectClose(got, frame.copyBytes(), 2, "stages " + std::to_string(bits));
    }
}

}  // namespace
