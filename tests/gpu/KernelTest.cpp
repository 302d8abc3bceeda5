// Each kernel alone against the model, or where that knows only whole stages, against the reference's own
// functions. Every buffer is compared, padding and all: what a kernel does not write stays.
// scripts/oclgrind.sh runs these tests, too, with HUEVANCE_TINY_FRAMES set.
#include <gmock/gmock.h>

#include <cstring>
#include <functional>

#include "core/ColorCorrect.h"
#include "core/ColorLut.h"
#include "core/Portrait.h"
#include "gpu/Huevance_GPU.h"
#include "tests/gpu/support/Device.h"
#include "tests/support/Photo.h"
#include "tests/support/Rig.h"

namespace {

using test::Content;
using test::Frame;

struct Input {
    RoiInfo roi;
    Content content;
    const char* photo;  // instead of the content
};

// For an interpreting driver, which has no shared virtual memory either.
bool tinyFrames() { return std::getenv("HUEVANCE_TINY_FRAMES") != nullptr; }
std::vector<int> sharedMemory(const std::vector<int>& kinds) { return tinyFrames() ? std::vector{0} : kinds; }

std::vector<Input> inputs() {
    if (tinyFrames()) {
        return {{{9, 7, 9, 7}, Content::kNoise, nullptr}, {{18, 6, 24, 8}, Content::kPhotoLike, nullptr}};
    }
    std::vector<Input> all = {{{500, 398, 512, 400}, {}, "portrait"},
                              {{499, 397, 512, 400}, {}, "still_life"}};
    constexpr RoiInfo kRois[] = {{64, 48, 64, 48}, {61, 47, 80, 50}, {160, 90, 192, 96},
                                 {9, 7, 9, 7},     {2, 2, 2, 2},     {1, 9, 4, 9}};
    constexpr Content kContents[] = {Content::kNoise, Content::kZero, Content::kAlternating, Content::kMax,
                                     Content::kPhotoLike};
    for (int i = 0; i < 18; ++i) {
        all.push_back({kRois[i / 3], kContents[i % 5], nullptr});
    }
    return all;
}

class Kernels : public test::DeviceTest {
protected:
    using Buffers = std::vector<Frame>;

    // One program for all tests: building it takes longer than they do.
    static void SetUpTestSuite() {
        if (sim_opencl_available()) {
            const test::LogCapture quiet;
            const test::TuningDir cache;
            s_engine = std::make_unique<CHuevance_GPU>();
            s_engine->setCachePath(cache.path().c_str());
            ASSERT_EQ(s_engine->clResMalloc() | s_engine->clQueueMalloc(), 0);
        }
    }
    static void TearDownTestSuite() { s_engine.reset(); }
    void TearDown() override {
        if (s_engine) {
            s_engine->sdYuvFree();
            s_engine->claheLutFree();
            s_engine->curveLutFree();
            s_engine->colorLutFree();
            s_engine->portraitMaskFree();
            s_engine->m_bIsDownScale = false;
        }
        DeviceTest::TearDown();
    }
    CHuevance_GPU& engine() { return *s_engine; }

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

    // For every input: buffers 0 and 1 hold noise, buffer 2 the input. The kernel reads luma and chroma of
    // the buffers `from` and has to write those of the reference's frame to the buffers `to`; -1: none.
    struct Planes {
        int luma;
        int chroma;
    };
    void compare(const std::string& variant, Planes from, Planes to,
                 const std::function<int(const Input&)>& kernel,
                 const std::function<Frame(Buffers&)>& reference, const std::vector<Input>& all = inputs()) {
        for (const Input& input : all) {
            SCOPED_TRACE(rig::toString({8, 5, input.roi}) + ", " + toString(input.content) + ", " + variant);
            Buffers buffers;
            buffers.push_back(frameOf({input.roi, Content::kNoise, nullptr}, 77));
            buffers.push_back(frameOf({input.roi, Content::kNoise, nullptr}, 78));
            buffers.push_back(frameOf(input, 3));
            engine().setSrcRoiInfo(input.roi);
            engine().setRoiInfo(input.roi);
            engine().m_index = {};
            engine().m_index.m_iYIn = from.luma;
            engine().m_index.m_iUvIn = from.chroma;
            engine().m_index.m_iUvOut = std::max(to.chroma, 0);
            for (int i = 0; i < 3; ++i) {
                upload(i, buffers[static_cast<std::size_t>(i)].copyBytes());
            }
            ASSERT_EQ(kernel(input), 0);
            const Frame result = reference(buffers);
            const std::vector<unsigned char> bytes = result.copyBytes();
            const auto chroma = static_cast<std::ptrdiff_t>(input.roi.scanline) * input.roi.stride;
            for (int i = 0; i < 3; ++i) {
                std::vector<unsigned char> expected = buffers[static_cast<std::size_t>(i)].copyBytes();
                if (i == to.luma) {
                    std::copy_n(bytes.begin(), chroma, expected.begin());
                }
                if (i == to.chroma) {
                    std::copy(bytes.begin() + chroma, bytes.end(), expected.begin() + chroma);
                }
                expectClose(download(i, bytes.size()), expected, "buffer " + std::to_string(i));
            }
        }
    }
    static void expectClose(const std::vector<unsigned char>& got, const std::vector<unsigned char>& expected,
                            const std::string& what) {
        std::size_t off = 0;
        for (std::size_t i = 0; i < got.size(); ++i) {
            const int distance = std::abs(int{got[i]} - int{expected[i]});
            ASSERT_LE(distance, 1) << what << " at byte " << i;
            off += distance != 0 ? 1 : 0;
        }
        EXPECT_LE(off, got.size() / 1000) << what;
    }

    test::LogCapture log;
    static inline std::unique_ptr<CHuevance_GPU> s_engine;
};

Frame copyOf(const Frame& frame) {
    Frame copy(frame.roi(), 1);
    copy.restore(frame.copyBytes());
    return copy;
}
// Luma and chroma of two frames.
Frame joined(const Frame& luma, Frame& chroma) {
    Frame result = copyOf(luma);
    const auto at = static_cast<std::size_t>(luma.roi().scanline * luma.roi().stride);
    std::memcpy(result.data8() + at, chroma.data8() + at, chroma.bytes() - at);
    return result;
}
// What the model makes of a frame.
Frame enhanced(const Frame& frame, const model::Tuning& tuning, int type = IMAGE_FORMAT_TYPE_NV12) {
    model::Picture picture = model::enhanced(model::fromFrame(frame), tuning, type, 8);
    Frame result = copyOf(frame);
    for (int y = 0; y < picture.height; ++y) {
        for (int x = 0; x < picture.width; ++x) {
            result.setLuma(x, y, picture.y(x, y));
            if (y < picture.height / 2) {
                result.setChroma(x, y, picture.c(x, y));
            }
        }
    }
    return result;
}

TEST_F(Kernels, ClaheMaps) {
    model::Tuning tuning;
    tuning.clahe = true;
    tuning.claheStrength = engine().m_fClaheStrength = 1.5F;
    // In place, as where no other stage is on, or into another buffer.
    const auto compareGrid = [&](const model::Grid& grid, std::vector<Input> all, bool inPlace) {
        tuning.grid = grid;
        engine().m_iGridWidth = grid.width;
        engine().m_iGridHeight = grid.height;
        engine().m_iSampRate = grid.rate;
        std::erase_if(all, [&](const Input& input) {
            return input.roi.width < grid.width || input.roi.height < grid.height;
        });
        const auto kernel = [this, inPlace](const Input& input) {
            Frame frame = frameOf(input, 3);
            engine().m_index.m_bClaheLast = inPlace;
            return std::min(
                {engine().claheLutMalloc(), engine().setClaheLut(frame.data()), engine().claheMap()});
        };
        compare(
            "grid " + std::to_string(grid.width) + "x" + std::to_string(grid.height), {2, 2},
            {inPlace ? 2 : 0, -1}, kernel, [&](Buffers& buffers) { return enhanced(buffers[2], tuning); },
            all);
    };
    compareGrid({8, 6, 2}, inputs(), false);
    compareGrid({1, 1, 2}, inputs(), true);
    compareGrid({3, 5, 2}, inputs(), false);
    compareGrid({2, 1, 2}, inputs(), true);
    if (tinyFrames()) {
        return;
    }
    // Work groups so wide or so tall that they need several rounds of tables, and tiles narrower than a work
    // item.
    const struct {
        model::Grid grid;
        RoiInfo roi;
    } cases[] = {
        {{3, 9, 1}, {39, 600, 48, 600}},     {{64, 2, 1}, {2048, 12, 2048, 12}},
        {{40, 20, 1}, {1000, 40, 1024, 40}}, {{90, 3, 1}, {630, 30, 630, 30}},
        {{2, 48, 1}, {96, 96, 96, 96}},      {{27, 6, 1}, {324, 240, 324, 240}},
        {{40, 6, 1}, {324, 240, 324, 240}},  {{41, 6, 1}, {324, 240, 324, 240}},
        {{324, 6, 1}, {324, 240, 324, 240}}, {{200, 1, 1}, {800, 64, 832, 64}},
    };
    for (const auto& c : cases) {
        for (const bool inPlace : {false, true}) {
            compareGrid(c.grid, {{c.roi, Content::kNoise, nullptr}}, inPlace);
        }
    }
}

TEST_F(Kernels, CurvesMapWithEveryKindOfSharedMemory) {
    model::Tuning tuning;
    tuning.curve = true;
    test::Random random(3);
    std::generate_n(tuning.yCurve.begin(), 255, [&] { return 255.0F * random.unit(); });
    tuning.yCurve[255] = 255.0F;
    for (const int svm : sharedMemory({0, 1, 2, 3})) {
        sim_opencl_set_svm_level(svm);
        gpu::DeviceTable& table = engine().m_curveLut;
        ASSERT_EQ(table.allocate(engine().m_context.get(), svm, 1024), 0);
        ASSERT_EQ(table.write(engine().m_queue.get(), tuning.yCurve.data(), 1024), 0);
        for (const float saturation : {0.0F, 0.7F, 1.0F, 2.5F}) {
            tuning.satStrength = engine().m_fSatStrength = saturation;
            compare(
                "svm " + std::to_string(svm), {2, 2}, {0, 2},
                [this](const Input&) { return engine().curveMap(); },
                [&](Buffers& buffers) { return enhanced(buffers[2], tuning); });
        }
        engine().curveLutFree();
    }
}

TEST_F(Kernels, ColorIsCorrected) {
    for (const int processed : {0, 2}) {  // another luma, and the same
        const auto kernel = [this](const Input&) { return engine().colorCorrect(); };
        compare("luma of " + std::to_string(processed), {processed, 2}, {-1, 1}, kernel,
                [processed](Buffers& buffers) {
                    Frame corrected = joined(buffers[static_cast<std::size_t>(processed)], buffers[2]);
                    huevance::colorCorrect_8u(buffers[2].data8(), corrected.roi(), corrected.data8(),
                                              corrected.roi(), IMAGE_FORMAT_TYPE_NV12, 256);
                    return corrected;
                });
    }
}

TEST_F(Kernels, ColorTableMapsInBothChromaOrders) {
    model::Tuning tuning;
    tuning.color = true;
    test::Random random(5);
    std::generate(tuning.lattice.begin(), tuning.lattice.end(), [&] { return 255.0F * random.unit(); });
    const test::TuningDir dir;
    dir.writeFloats("ColorLut", tuning.lattice);
    engine().m_iSceneNum = 1;
    engine().setSensorPath(dir.path().c_str());
    ASSERT_EQ(engine().sceneColorLutMalloc() | engine().colorLutMalloc(0), 0);
    for (const auto type : {IMAGE_FORMAT_TYPE_NV12, IMAGE_FORMAT_TYPE_NV21}) {
        for (const float strength : {0.0F, 0.6F, 1.0F}) {
            tuning.colorStrength = engine().m_fColorStrength = strength;
            engine().setYuvType(type);
            compare(
                "type " + std::to_string(type), {2, 2}, {0, 1},
                [this](const Input&) { return engine().colorMap(); },
                [&](Buffers& buffers) { return enhanced(buffers[2], tuning, type); });
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
        compare(
            "type " + std::to_string(type), {0, 1}, {2, 2},
            [this](const Input&) { return engine().portraitProtect(2); },
            [format](Buffers& buffers) {
                const RoiInfo roi = buffers[2].roi();
                const RoiInfo maskRoi = huevance::skinMaskRoi(roi);
                std::vector<float> mask(static_cast<std::size_t>(maskRoi.stride / 4 * maskRoi.height));
                huevance::skinColorDetect(buffers[2].data8(), roi, format, mask.data(), maskRoi);
                Frame result = joined(buffers[0], buffers[1]);
                huevance::portraitProtect_8u(buffers[2].data8(), roi, result.data8(), roi, mask.data(),
                                             maskRoi);
                return result;
            });
    }
}

// The halved mask: a value for each block, in rows that are as wide as the host's.
TEST_F(Kernels, TheHostsMaskProtects) {
    for (const int svm : sharedMemory({0, 1, 2, 3})) {
        sim_opencl_set_svm_level(svm);
        RoiInfo maskRoi = {};
        std::vector<float> half;
        const auto kernel = [&](const Input& input) {
            maskRoi = {input.roi.width + 1, input.roi.height + 1, 4 * (input.roi.width + 1),
                       input.roi.height + 1};
            engine().m_stMaskRoi = maskRoi;
            half.resize(static_cast<std::size_t>(maskRoi.width * maskRoi.height));
            test::Random random(9);
            std::generate(half.begin(), half.end(), [&] { return random.unit(); });
            gpu::DeviceTable& table = engine().m_portraitMask;
            table.allocate(engine().m_context.get(), svm, 4 * half.size());
            table.write(engine().m_queue.get(), half.data(), 4 * half.size());
            return engine().portraitProtect(1);
        };
        compare("svm " + std::to_string(svm), {0, 0}, {2, 2}, kernel, [&](Buffers& buffers) {
            const RoiInfo roi = buffers[2].roi();
            std::vector<float> mask(half.size());
            for (int i = 0; i < maskRoi.width * roi.height; ++i) {
                const int block = i / maskRoi.width / 2 * maskRoi.width + i % maskRoi.width / 2;
                mask[static_cast<std::size_t>(i)] = half[static_cast<std::size_t>(block)];
            }
            Frame result = copyOf(buffers[0]);
            huevance::portraitProtect_8u(buffers[2].data8(), roi, result.data8(), roi, mask.data(), maskRoi);
            return result;
        });
        engine().portraitMaskFree();
    }
}

TEST_F(Kernels, LumaIsCopied) {
    const auto kernel = [this](const Input& input) {
        cl_kernel copy = engine().m_kernels[gpu::kCopyDataU8].get();
        const gpu::KernelArgument arguments[] = {engine().m_frames[2], engine().m_frames[0], input.roi};
        int code = 0;
        for (cl_uint i = 0; i < 3; ++i) {
            code |= arguments[i].set(copy, i);
        }
        const std::size_t size[] = {static_cast<std::size_t>(input.roi.width + 7) / 8,
                                    static_cast<std::size_t>(input.roi.height)};
        return code | clEnqueueNDRangeKernel(engine().m_queue.get(), copy, 2, nullptr, size, nullptr, 0,
                                             nullptr, nullptr);
    };
    compare("copy", {2, 2}, {0, -1}, kernel, [](Buffers& buffers) { return copyOf(buffers[2]); });
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
    ASSERT_EQ(engine().getDstYuv(wrapped.data()), 0);
    EXPECT_TRUE(got.paddingUntouched() && wrapped.paddingUntouched());
    for (int y = 0; y < half.height; ++y) {
        for (int x = 0; x < half.width; ++x) {
            int sum = frame.luma(2 * x, 2 * y) + frame.luma(2 * x + 1, 2 * y) + frame.luma(2 * x, 2 * y + 1) +
                      frame.luma(2 * x + 1, 2 * y + 1);
            ASSERT_EQ(got.luma(x, y), (sum + 2) / 4) << x << "," << y;
            if (y < half.height / 2 && x < half.width - 1) {
                const int left = x / 2 * 4 + x % 2;
                sum = frame.chroma(left, 2 * y) + frame.chroma(left + 2, 2 * y) +
                      frame.chroma(left, 2 * y + 1) + frame.chroma(left + 2, 2 * y + 1);
                ASSERT_EQ(got.chroma(x, y), (sum + 2) / 4) << x << "," << y;
            }
        }
    }
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

}  // namespace
