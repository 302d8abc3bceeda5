// Each kernel alone against the model. All three buffers are compared, padding and all: what a kernel does
// not write stays. scripts/oclgrind.sh runs these tests, too, with HUEVANCE_TINY_FRAMES set.
#include <gmock/gmock.h>

#include <functional>

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

Frame frameOf(const Input& input, std::uint32_t seed) {
    Frame frame(input.roi, 1);
    if (input.photo == nullptr || !test::fillWithPhoto(frame, input.photo)) {
        frame.fill(input.content, 256, seed);
    }
    return frame;
}

// Luma and chroma of two pictures.
model::Picture joined(const model::Picture& luma, const model::Picture& chroma) {
    return {luma.width, luma.height, luma.luma, chroma.chroma};
}

class Kernels : public test::EngineTest {
protected:
    using Pictures = std::vector<model::Picture>;

    void SetUp() override {
        DeviceTest::SetUp();
        if (!IsSkipped() && !HasFatalFailure()) {
            start();
            log.clear();
        }
    }
    void upload(int index, Frame& frame) {
        ASSERT_EQ(gpu::createBuffer(engine().m_context.get(), CL_MEM_READ_WRITE | CL_MEM_COPY_HOST_PTR,
                                    frame.bytes(), frame.data(), engine().m_frames[index].out()),
                  0);
    }
    Frame download(int index, const RoiInfo& roi) {
        Frame frame(roi, 1);
        EXPECT_EQ(clEnqueueReadBuffer(engine().m_queue.get(), engine().m_frames[index].get(), CL_TRUE, 0,
                                      frame.bytes(), frame.data(), 0, nullptr, nullptr),
                  0);
        return frame;
    }

    // For every input: buffers 0 and 1 hold noise, buffer 2 the input. The kernel reads luma and chroma of
    // the buffers `lumaIn` and `chromaIn`; where it writes chroma elsewhere, to buffer 1. `expect` makes of
    // the pictures in the three buffers what the kernel has to.
    void compare(const std::string& variant, int lumaIn, int chromaIn,
                 const std::function<int(const Input&)>& kernel, const std::function<void(Pictures&)>& expect,
                 const std::vector<Input>& all = inputs()) {
        for (const Input& input : all) {
            const std::string what =
                rig::toString({8, 5, input.roi}) + ", " + toString(input.content) + ", " + variant;
            SCOPED_TRACE(what);
            Frame frames[] = {frameOf({input.roi, Content::kNoise, nullptr}, 77),
                              frameOf({input.roi, Content::kNoise, nullptr}, 78), frameOf(input, 3)};
            Pictures expected;
            for (int i = 0; i < 3; ++i) {
                upload(i, frames[i]);
                expected.push_back(model::fromFrame(frames[i]));
            }
            engine().setSrcRoiInfo(input.roi);
            engine().setRoiInfo(input.roi);
            engine().m_index = {};
            engine().m_index.m_iYIn = lumaIn;
            engine().m_index.m_iUvIn = chromaIn;
            engine().m_index.m_iUvOut = 1;
            ASSERT_EQ(kernel(input), 0);
            expect(expected);
            for (int i = 0; i < 3; ++i) {
                test::expectClose(download(i, input.roi), expected[static_cast<std::size_t>(i)].samples(), 1,
                                  1, "buffer " + std::to_string(i));
            }
        }
    }
};

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
        const auto expect = [&](Pictures& pictures) {
            pictures[inPlace ? 2 : 0].luma = model::enhanced(pictures[2], tuning, 5, 8).luma;
        };
        compare("grid " + std::to_string(grid.width) + "x" + std::to_string(grid.height), 2, 2, kernel,
                expect, all);
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
    model::Tuning tuning = rig::makeTuning(3, 2);
    for (const int svm : sharedMemory({0, 1, 2, 3})) {
        sim_opencl_set_svm_level(svm);
        gpu::DeviceTable& table = engine().m_curveLut;
        ASSERT_EQ(table.allocate(engine().m_context.get(), svm, 1024), 0);
        ASSERT_EQ(table.write(engine().m_queue.get(), tuning.yCurve.data(), 1024), 0);
        for (const float saturation : {0.0F, 0.7F, 1.0F, 2.5F}) {
            tuning.satStrength = engine().m_fSatStrength = saturation;
            compare(
                "svm " + std::to_string(svm), 2, 2, [this](const Input&) { return engine().curveMap(); },
                [&](Pictures& pictures) {
                    const model::Picture mapped = model::enhanced(pictures[2], tuning, 5, 8);
                    pictures[0].luma = mapped.luma;
                    pictures[2].chroma = mapped.chroma;
                });
        }
        engine().curveLutFree();
    }
}

TEST_F(Kernels, ColorIsCorrected) {
    for (const std::size_t processed : {0, 2}) {  // another luma, and the same
        compare(
            "luma of " + std::to_string(processed), static_cast<int>(processed), 2,
            [this](const Input&) { return engine().colorCorrect(); },
            [processed](Pictures& pictures) {
                model::Picture corrected = joined(pictures[processed], pictures[2]);
                model::correctColor(pictures[2], corrected, 256);
                pictures[1].chroma = corrected.chroma;
            });
    }
}

TEST_F(Kernels, ColorTableMapsInBothChromaOrders) {
    model::Tuning tuning = rig::makeTuning(5, 8);
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
                "type " + std::to_string(type), 2, 2, [this](const Input&) { return engine().colorMap(); },
                [&](Pictures& pictures) {
                    const model::Picture mapped = model::enhanced(pictures[2], tuning, type, 8);
                    pictures[0].luma = mapped.luma;
                    pictures[1].chroma = mapped.chroma;
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
        engine().setYuvType(static_cast<IMAGE_FORMAT_TYPE>(type));
        compare(
            "type " + std::to_string(type), 0, 1,
            [this](const Input&) { return engine().portraitProtect(2); },
            [type](Pictures& pictures) {
                std::vector<float> mask(pictures[2].luma.size());
                if (type != 0) {
                    mask = model::skinMask(pictures[2], type != IMAGE_FORMAT_TYPE_NV21);
                }
                model::Picture blended = joined(pictures[0], pictures[1]);
                model::protect(pictures[2], blended, mask, 255);
                pictures[2] = blended;
            });
    }
}

// The halved mask: a value for each block, in rows that are as wide as the host's.
TEST_F(Kernels, TheHostsMaskProtects) {
    for (const int svm : sharedMemory({0, 1, 2, 3})) {
        sim_opencl_set_svm_level(svm);
        std::vector<float> half;
        const auto kernel = [&](const Input& input) {
            const RoiInfo roi = {input.roi.width + 1, input.roi.height + 1, 4 * (input.roi.width + 1),
                                 input.roi.height + 1};
            engine().m_stMaskRoi = roi;
            half.resize(static_cast<std::size_t>(roi.width * roi.height));
            test::Random random(9);
            std::generate(half.begin(), half.end(), [&] { return random.unit(); });
            gpu::DeviceTable& table = engine().m_portraitMask;
            table.allocate(engine().m_context.get(), svm, 4 * half.size());
            table.write(engine().m_queue.get(), half.data(), 4 * half.size());
            return engine().portraitProtect(1);
        };
        compare("svm " + std::to_string(svm), 0, 0, kernel, [&](Pictures& pictures) {
            std::vector<float> mask;
            const int width = pictures[2].width;
            for (int i = 0; i < width * pictures[2].height; ++i) {
                mask.push_back(half[static_cast<std::size_t>(i / width / 2 * (width + 1) + i % width / 2)]);
            }
            model::Picture blended = pictures[0];
            model::protect(pictures[2], blended, mask, 255);
            pictures[2] = blended;
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
    compare("copy", 2, 2, kernel, [](Pictures& pictures) { pictures[0].luma = pictures[2].luma; });
}

// Means of blocks down, and back up: each sample a quarter from its nearest, so 9 : 3 : 3 : 1.
TEST_F(Kernels, FramesAreHalvedAndDoubled) {
    const RoiInfo full = {38, 22, 40, 24};
    const RoiInfo half = {19, 11, 20, 12};
    engine().m_bIsDownScale = true;
    engine().setSrcRoiInfo(full);
    engine().setRoiInfo(half);
    ASSERT_EQ(engine().sdYuvMalloc(), 0);
    EXPECT_EQ(engine().m_index.m_iYIn, 3) << "the frame at half size";
    Frame empty(half, 1);
    upload(3, empty);
    const Frame frame = frameOf({full, Content::kNoise, nullptr}, 3);
    Frame wrapped(full, 1);
    wrapped.restore(frame.copyBytes());
    ASSERT_EQ(engine().setDstYuv(wrapped.data(), -1), 0);
    const Frame small = download(3, half);
    ASSERT_EQ(engine().getDstYuv(wrapped.data()), 0);
    EXPECT_TRUE(small.paddingUntouched() && wrapped.paddingUntouched());
    for (const int step : {1, 2}) {  // of luma and of chroma: the distance of neighbours
        const auto at = [step](const Frame& plane, int x, int y) {
            return step == 1 ? plane.luma(x, y) : plane.chroma(x, y);
        };
        const int columns = half.width / step, rows = half.height / step;
        for (int y = 0; y < rows; ++y) {
            for (int x = 0; x < columns * step; ++x) {
                const int left = x / step * 2 * step + x % step;
                const int sum = at(frame, left, 2 * y) + at(frame, left + step, 2 * y) +
                                at(frame, left, 2 * y + 1) + at(frame, left + step, 2 * y + 1);
                ASSERT_EQ(at(small, x, y), (sum + 2) / 4) << x << "," << y << " step " << step;
            }
        }
        for (int y = 0; y < full.height / step; ++y) {
            for (int x = 0; x < full.width; ++x) {
                const auto nearest = [](int to, int limit) { return std::min(to / 2, limit - 1); };
                const auto farther = [&](int to, int limit) {
                    return std::clamp(nearest(to, limit) + (to % 2 == 0 ? -1 : 1), 0, limit - 1);
                };
                const auto from = [&](int column, int row) {
                    return at(small, column * step + x % step, row);
                };
                const int nearX = nearest(x / step, columns), farX = farther(x / step, columns);
                const int nearY = nearest(y, rows), farY = farther(y, rows);
                const int sum =
                    9 * from(nearX, nearY) + 3 * from(farX, nearY) + 3 * from(nearX, farY) + from(farX, farY);
                ASSERT_EQ(at(wrapped, x, y), (sum + 8) / 16) << x << "," << y << " step " << step;
            }
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
