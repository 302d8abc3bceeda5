// What captures and previews have in common: what they draw against the model, their order of steps, their
// refusals and words, their dumps.
#include <dlfcn.h>
#include <gmock/gmock.h>

#include <cstring>
#include <filesystem>
#include <regex>

#include "tests/ogl/support/Rig.h"
#include "tests/support/Files.h"

namespace {

using test::OglTuning;
using test::Rig;
using test::Settings;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

const Settings kNoStage = {
    {"claheSwitch", "0"}, {"curveSwitch", "0"}, {"colorSwitch", "0"}, {"cCorrSwitch", "0"}};
const Settings kHostMask = {{"pProtectSwitch", "1"}, {"maskSource", "1"}};

// Changes what a lock tells of the planes.
void (*g_changePlanes)(AHardwareBuffer_Planes&) = nullptr;

}  // namespace

int AHardwareBuffer_lockPlanes(AHardwareBuffer* buffer, std::uint64_t usage, std::int32_t fence,
                               const ARect* rect, AHardwareBuffer_Planes* planes) {
    static const auto next = reinterpret_cast<decltype(&AHardwareBuffer_lockPlanes)>(
        dlsym(RTLD_NEXT, "AHardwareBuffer_lockPlanes"));
    const int result = next(buffer, usage, fence, rect, planes);
    if (g_changePlanes != nullptr) {
        g_changePlanes(*planes);
    }
    return result;
}

namespace {

using PhotoTest = test::GlTest;
template <typename Pipeline>
class PipelineTest : public test::GlTest {};

using Pipelines = testing::Types<CHuevancePhoto_OGL, CHuevanceFrame_OGL>;
TYPED_TEST_SUITE(PipelineTest, Pipelines);

// Every combination of stages and masks, in each chroma order through one of the two pipelines.
TYPED_TEST(PipelineTest, DrawsWhatTheModelSaysForEveryCombination) {
    struct Shape {
        int width, height;
        const char *gridWidth, *gridHeight, *sampleRate;
    };
    constexpr Shape kShapes[] = {{98, 66, "6", "4", "1"}, {67, 49, "4", "3", "1"}, {65, 65, "2", "2", "2"},
                                 {258, 9, "8", "2", "1"}, {61, 41, "7", "5", "1"}, {38, 34, "16", "16", "1"},
                                 {62, 46, "3", "2", "1"}, {81, 43, "5", "5", "1"}};
    constexpr test::Content kExtremes[] = {test::Content::kNoise, test::Content::kAlternating,
                                           test::Content::kMax, test::Content::kZero, test::Content::kRamp};
    for (int i = 0; i < 48; ++i) {
        const int mask = i / 16;
        // Not i alone: each shape meets stages on and off.
        const Shape& shape = kShapes[static_cast<std::size_t>(i + i / 8) % std::size(kShapes)];
        const auto stage = [&](int bit) {
            return (i >> bit) % 2 != 0 ? "1" : i % 3 == 0 ? "2" : "0";  // on is exactly 1
        };
        Rig<TypeParam> rig(Settings{{"claheSwitch", stage(0)},
                                    {"curveSwitch", stage(1)},
                                    {"cCorrSwitch", stage(2)},
                                    {"colorSwitch", stage(3)},
                                    {"pProtectSwitch", mask != 0 ? "1" : "0"},
                                    {"maskSource", std::to_string(mask)},
                                    {"gridWidth", shape.gridWidth},
                                    {"gridHeight", shape.gridHeight},
                                    {"sampRate", shape.sampleRate},
                                    {"sceneIdx", "2/0/1/"}},
                           shape.width, shape.height,
                           (i + mask + (test::kIsPhoto<TypeParam> ? 1 : 0)) % 2 == 0
                               ? IMAGE_FORMAT_TYPE_NV21
                               : IMAGE_FORMAT_TYPE_NV12);
        ASSERT_EQ(rig.init(), 0);
        const int width = 7 + i;
        const int height = 3 + i / 2;
        std::vector<float> cells(static_cast<std::size_t>((width + 3) * (height + 1)), 9.0F);
        test::Bytes kept;
        for (int cell = 0; cell < width * height; ++cell) {
            const int percent = cell * 7 % 101;
            cells[static_cast<std::size_t>(cell / width * (width + 3) + cell % width)] =
                static_cast<float>(percent) / 100.0F;
            kept.push_back(static_cast<unsigned char>((255 * (100 - percent) + 50) / 100));
        }
        ASSERT_EQ(rig.setMask({width, height, (width + 3) * 4, height + 1}, cells.data()), 0);
        for (int k = 0; k < 2; ++k) {
            SCOPED_TRACE("combination " + std::to_string(i) + ", frame " + std::to_string(k));
            const int table = (i + k) % 3;
            rig.fill(kExtremes[(i + k) % 5], k != 0 ? nullptr : i % 2 == 0 ? "portrait" : "still_life");
            const auto before = rig.frame.copyBytes();
            ASSERT_EQ(rig.process((table + 1) % 3), 0);
            test::ShaderInput in = rig.input(OglTuning::table(table));
            in.maskWidth = width;
            in.maskHeight = height;
            in.mask = kept;
            rig.expectDrawn(in);
            EXPECT_EQ(rig.frame.copyBytes(), before) << "the input is only read";
        }
    }
}

TYPED_TEST(PipelineTest, TakesAFrameThatLiesInItsOutput) {
    Rig<TypeParam> rig(Settings{}, 128, 96);
    rig.frame = test::Frame(rig.out->roi(), 1);
    rig.fill(test::Content::kPhotoLike);
    ASSERT_EQ(rig.init(), 0);
    std::memcpy(rig.out->data(), rig.frame.data(), rig.frame.bytes());
    ASSERT_EQ(test::process(rig.pipeline, rig.out->data(), rig.out->get(), rig.format, 1), 0);
    rig.expectDrawn(1);
}

TYPED_TEST(PipelineTest, MissingAndShortTablesAreZero) {
    Rig<TypeParam> rig;
    rig.tuning.directory().remove("curveLut1");
    rig.tuning.directory().writeFloats("curveLut0", std::vector<float>(100, 77.7F));
    test::LogCapture log;
    ASSERT_EQ(rig.init(), 0);
    EXPECT_THAT(log.texts(test::kError), IsEmpty());
    test::Bytes expected(512, 0);
    std::fill_n(expected.begin(), 100, 77);
    const test::Bytes curves = test::bytesOf(rig.pipeline.m_yCurveMaps);
    EXPECT_EQ(test::Bytes(curves.begin(), curves.begin() + 512), expected);
}

TYPED_TEST(PipelineTest, RefusesMasksThatCannotBe) {
    Rig<TypeParam> rig(kHostMask);
    ASSERT_EQ(rig.init(), 0);
    rig.out->fill(3);
    const auto untouched = rig.out->copy();
    std::vector<float> cells(64 * 48);
    RoiInfo fits = {64, 48, 256, 48};
    const auto refused = [&](const char* words, void* pointer, RoiInfo roi, int result = 0) {
        EXPECT_EQ(rig.setMask(fits, cells.data()), 0);
        test::LogCapture log;
        EXPECT_EQ(rig.setMask(roi, pointer), result);
        EXPECT_EQ(log.texts().size(), result != 0 ? 1U : 0U);
        EXPECT_THAT(log.texts(), Each(HasSubstr(" is impossible!!!")));
        log.clear();
        EXPECT_EQ(rig.process(), -1);
        EXPECT_THAT(log.texts(test::kError), ElementsAre(HasSubstr(words)));
        EXPECT_EQ(rig.out->copy(), untouched);
    };
    refused("portrait mask pointer is NULL!", nullptr, fits);
    refused("portrait mask pointer is NULL!", reinterpret_cast<char*>(cells.data()) + 1, fits);  // nor odd
    refused("portrait mask has no geometry!!!", cells.data(), {});  // a host without a mask
    for (const RoiInfo& roi :
         {RoiInfo{0, 48, 256, 48}, RoiInfo{-1, -1, 256, 48}, RoiInfo{64, 48, 252, 48},
          RoiInfo{64, 48, 258, 48}, RoiInfo{64, 48, 256, 47}, RoiInfo{1 << 30, 48, 1 << 30, 48}}) {
        refused("portrait mask has no geometry!!!", cells.data(), roi, -1);
    }
    ASSERT_EQ(rig.setMask(fits, cells.data()), 0);
    EXPECT_EQ(rig.process(), 0);
    // The host may have freed it before the next set-up.
    ASSERT_EQ(rig.init(), 0);
    test::LogCapture log;
    EXPECT_EQ(rig.process(), -1);
    EXPECT_THAT(log.texts(test::kError), ElementsAre("portrait mask pointer is NULL!"));
    // What the tuning does not ask for is ignored.
    for (const char* source : {"0", "2", "3"}) {
        Rig<TypeParam> other(Settings{{"pProtectSwitch", "1"}, {"maskSource", source}});
        ASSERT_EQ(other.init(), 0);
        EXPECT_EQ(other.setMask({-1, -1, -1, -1}, nullptr), 0);
        EXPECT_EQ(other.pipeline.set(nullptr, nullptr), 0);
        EXPECT_EQ(other.process(), 0);
    }
}

// --- Refusals and words ---

TYPED_TEST(PipelineTest, RefusesWhatItCannotDrawAndTouchesNothing) {
    Rig<TypeParam> rig(Settings{{"sceneIdx", "0/1/7/"}});
    ASSERT_EQ(rig.init(), 0);
    test::DeviceBuffer narrow(62, 48, rig.format);
    test::DeviceBuffer low(64, 46, rig.format);
    rig.out->fill(3);
    const auto untouched = rig.out->copy();
    const auto refused = [&](void* src, void* dst, int scene, const char* words) {
        test::LogCapture log;
        test::CallTrace trace;
        EXPECT_EQ(test::process(rig.pipeline, src, dst, rig.format, scene), -1) << words;
        EXPECT_THAT(log.texts(), ElementsAre(HasSubstr(words)));
        EXPECT_THAT(trace.calls(), IsEmpty());
    };
    void* src = rig.frame.data();
    void* dst = rig.out->get();
    refused(nullptr, dst, 0, "src (nil)");
    refused(src, nullptr, 0, "dst (nil)");
    refused(src, dst, -1, "scene -1 has no tuning table!");
    refused(src, dst, 512, "scene 512 has no tuning table!");
    refused(src, dst, 2, "scene 2 has no tuning table!");
    refused(src, narrow.get(), 0, "output 62 x 48 is smaller than the frame!!!");
    refused(src, low.get(), 0, "output 64 x 46 is smaller than the frame!!!");
    for (const RoiInfo roi : {RoiInfo{64, 48, 63, 48}, RoiInfo{64, 48, 64, 47}, RoiInfo{0, 48, 64, 48},
                              RoiInfo{64, -1, 64, 48}}) {
        EXPECT_EQ(rig.pipeline.init(rig.tuning.path(), roi), 0);
        refused(src, dst, 0, "cannot hold a frame!!!");
    }
    ASSERT_EQ(rig.init(), 0);
    EXPECT_EQ(rig.pipeline.destroy(), 0);
    EXPECT_EQ(Object::liveObjects(), 0);
    refused(src, dst, 0, "the pipeline is not set up!!!");
    EXPECT_EQ(rig.out->copy(), untouched);
    ASSERT_EQ(rig.init(), 0);
    EXPECT_EQ(rig.process(), 0);
}

// More tiles than the tables hold. Grids that do not fit the frame: tests/faults.
TYPED_TEST(PipelineTest, RefusesGridsOfTooManyTiles) {
    for (const auto& [width, height, result] :
         {std::tuple{"16", "16", 0}, {"257", "1", -1}, {"65536", "65536", -1}}) {
        Rig<TypeParam> rig(Settings{{"gridWidth", width}, {"gridHeight", height}});
        test::LogCapture log;
        EXPECT_EQ(rig.init(), result) << width;
        EXPECT_EQ(log.texts(test::kError).size(), result != 0 ? 1U : 0U);
    }
}

TYPED_TEST(PipelineTest, DoesNothingWhileItIsNotEnabled) {
    Rig<TypeParam> rig(Settings{{"photoSwitch", "2"}, {"frameSwitch", "0"}});
    test::CallTrace trace;
    EXPECT_EQ(rig.init(), 0);
    EXPECT_EQ(test::process(rig.pipeline, nullptr, nullptr, rig.format, 99), 0);
    EXPECT_TRUE(rig.pipeline.m_yBuffer.empty());
    test::LogCapture log;
    EXPECT_EQ(rig.pipeline.set(test::g_maskRoiKey, nullptr), -1);
    EXPECT_EQ(rig.pipeline.destroy(), 0);
    EXPECT_THAT(log.texts(test::kError), ElementsAre(rig.name() + "set error: GLEnv init failed!!!",
                                                     rig.name() + "destroy error: GLEnv init failed!!!"));
    EXPECT_THAT(log.tagged(test::kTag<TypeParam>), SizeIs(2));
    EXPECT_THAT(trace.calls(), IsEmpty());
}

TYPED_TEST(PipelineTest, SaysWhatItDoesInOrder) {
    Rig<TypeParam> rig;
    test::LogCapture log;
    ASSERT_EQ(rig.init(), 0);
    EXPECT_THAT(log.texts(), Contains("hvc-gridWidth: 4"));
    ASSERT_EQ(rig.process(1), 0);
    const std::string load =
        rig.name() + (test::kIsPhoto<TypeParam> ? "loadPhotoConfigures " : "loadFrameConfigures ");
    EXPECT_THAT(
        log.tagged(test::kTag<TypeParam>),
        ElementsAre(load + "path: " + rig.tuning.path(), load + "SensorPath: " + rig.tuning.path(),
                    (test::kIsPhoto<TypeParam> ? rig.name() : std::string()) +
                        "fColorStrength: 0.500000, fSatStrength: 1.250000, fClaheStrength: 1.500000",
                    "getGridHist width: 64, gridWidth: 4, gridHeight: 3, gridSize: 12, blockWidth: 16, "
                    "blockHeight: 16, sampleRate: 1",
                    "gridHist2ClaheLut gridWidth: 4, gridHeight: 3, gridSize: 12, claheStrength: 1.500000"));
    EXPECT_THAT(log.texts(test::kError), IsEmpty());
}

// --- One frame after the first ---

TYPED_TEST(PipelineTest, UploadsAndDrawsInOrderAndMakesNothing) {
    Rig<TypeParam> rig;
    ASSERT_EQ(rig.init(), 0);
    ASSERT_EQ(rig.process(), 0);
    test::CallTrace trace;
    ASSERT_EQ(rig.process(), 0);
    // What tells steps from each other, and what makes something.
    const std::regex steps(
        "(eglMakeCurrent|eglCreate.*KHR|gl(Gen|Create|Compile|Link|Get.*Location|Bind.*buffer|Clear|Tex.*"
        "Image"
        "|Framebuffer|Draw|Flush|Client).*)\\(.*");
    std::string said;
    for (const std::string& call : trace.calls()) {
        said += std::regex_match(call, steps) ? std::regex_replace(call, steps, "$1 ") : "";
    }
    EXPECT_EQ(said, std::string("eglMakeCurrent ") +
                        // Each capture's own output.
                        (test::kIsPhoto<TypeParam> ? "glGenTextures eglCreateImageKHR " : "") +
                        // CLAHE, two curves, colours, two planes.
                        "glTexImage2D glTexImage2D glTexImage2D glTexImage3D glTexImage2D glTexImage2D "
                        "glBindFramebuffer glFramebufferTexture2D glClear glDrawArrays glFlush "
                        "glClientWaitSync eglMakeCurrent ");
    EXPECT_EQ(sim_gl_live("image"), 1);
}

// A driver may end the process for less than this.
TYPED_TEST(PipelineTest, FramesAndMasksBeyondTheDeviceAreRefused) {
    int limit = 0;
    {
        const test::CurrentEngine current;
        glGetIntegerv(GL_MAX_TEXTURE_SIZE, &limit);
    }
    Rig<TypeParam> rig(kHostMask);
    for (const RoiInfo roi : {RoiInfo{limit + 1, 2, limit + 1, 2}, RoiInfo{2, limit + 1, 2, limit + 1},
                              RoiInfo{67000000, 2, 67000000, 2}}) {
        test::LogCapture log;
        EXPECT_EQ(rig.pipeline.init(rig.tuning.path(), roi), -1);
        EXPECT_THAT(log.texts(test::kError), ElementsAre(HasSubstr("is larger than the device's ")));
        EXPECT_EQ(test::alive(), "1 AHardwareBuffer ");
    }
    ASSERT_EQ(rig.init(), 0);
    float cell = 0;
    EXPECT_EQ(rig.setMask({limit + 1, 1, 4 * (limit + 1), 1}, &cell), -1);
}

TYPED_TEST(PipelineTest, SaysThatAFrameWasNotDrawnInTime) {
    Rig<TypeParam> rig(Settings{{"photo", "1"}, {"frame", "1"}});
    const test::TuningDir dumps;
    rig.pipeline.m_pcDumpDirectory = dumps.path().c_str();
    ASSERT_EQ(rig.init(), 0);
    for (const bool late : {true, false}) {
        sim_gl_time_out_fences(late ? 1 : 0);
        test::LogCapture log;
        EXPECT_EQ(rig.process(), 0);
        const std::vector<std::string> lines = {
            "[GLUtils] flush error: not done after 15 ms: the output may be read before it is drawn!!!",
            rig.name() + "dump error: the output is read before it is drawn!!!"};
        EXPECT_EQ(log.texts(test::kError), late ? lines : std::vector<std::string>());
    }
}

// --- Dumps ---

std::string text(const auto& bytes) { return {bytes.begin(), bytes.end()}; }

TYPED_TEST(PipelineTest, DumpsTheFrameAndItsTables) {
    Rig<TypeParam> rig(Settings{{"photo", "1"}, {"frame", "1"}}, 62, 46);
    const test::TuningDir dumps;
    rig.pipeline.m_pcDumpDirectory = dumps.path().c_str();
    ASSERT_EQ(rig.init(), 0);
    test::LogCapture log;
    ASSERT_EQ(rig.process(2), 0);
    ASSERT_EQ(rig.process(0), 0);
    EXPECT_THAT(log.texts(test::kError), IsEmpty());
    const test::ShaderInput in = rig.tuning.input(rig.frame, rig.format, OglTuning::table(0));
    // Named by the scene and the frame's number.
    for (const auto& [name, bytes] :
         {std::pair<const char*, std::string>("srcframe_62x46", text(rig.frame.samples())),
          {"dstframe_62x46", text(rig.out->samples())},
          {"clahelut", text(in.clahe)},
          {"y_curvemap", text(in.yCurve)},
          {"uv_curvemap", text(in.uvCurve)},
          {"colorlut", text(in.color)}}) {
        EXPECT_EQ(test::readFile(dumps.path() + "/" + name + "_0_1.yuv"), bytes) << name;
    }
    EXPECT_EQ(test::readFile(dumps.path() + "/gridhist_0_1.yuv").size(), 12U * 1024U);
    EXPECT_EQ(test::readFile(dumps.path() + "/srcframe_62x46_2_0.yuv").size(), 62U * (46U + 23U));
    // The number of a preview goes from 29 to 0.
    for (int i = 2; i < 31; ++i) {
        ASSERT_EQ(rig.process(1), 0);
    }
    EXPECT_TRUE(std::filesystem::exists(dumps.path() + "/clahelut_1_29.yuv"));
    EXPECT_EQ(std::filesystem::exists(dumps.path() + "/clahelut_1_30.yuv"), test::kIsPhoto<TypeParam>);
    // What cannot be read or written is reported and harmless.
    rig.pipeline.m_pcDumpDirectory = "/nowhere";
    sim_hardware_buffer_fail("lock", 1);  // the first is the simulated device's own
    EXPECT_EQ(rig.process(), 0);
    sim_hardware_buffer_fail("lock", 0);
    EXPECT_THAT(log.texts(test::kError), Contains(HasSubstr("dump error: output cannot be read!!!")));
    EXPECT_THAT(log.texts(test::kError),
                Contains(HasSubstr("/clahelut_0_" + std::string(test::kIsPhoto<TypeParam> ? "31" : "1") +
                                   ".yuv cannot be written!!!")));
}

TYPED_TEST(PipelineTest, DumpsOutputsInPairsOfChromaOnly) {
    Rig<TypeParam> rig(Settings{{"photo", "1"}, {"frame", "1"}});
    const test::TuningDir dumps;
    rig.pipeline.m_pcDumpDirectory = dumps.path().c_str();
    ASSERT_EQ(rig.init(), 0);
    for (const auto change : std::initializer_list<decltype(g_changePlanes)>{
             [](AHardwareBuffer_Planes& planes) { planes.planeCount = 1; },
             [](AHardwareBuffer_Planes& planes) { planes.planes[0].pixelStride = 2; },
             [](AHardwareBuffer_Planes& planes) { planes.planes[1].pixelStride = 1; },
             [](AHardwareBuffer_Planes& planes) { planes.planes[2].pixelStride = 4; },
             [](AHardwareBuffer_Planes& planes) { planes.planes[2].data = planes.planes[1].data; },
             [](AHardwareBuffer_Planes& planes) { planes.planes[2].rowStride *= 2; }, nullptr}) {
        g_changePlanes = change;
        test::LogCapture log;
        EXPECT_EQ(rig.process(), 0);
        std::vector<std::string> expected;
        if (change != nullptr) {
            expected.push_back(rig.name() + "dump error: output is not in pairs of chroma!!!");
        }
        EXPECT_EQ(log.texts(test::kError), expected);
    }
}

// --- Precision ---

// What docs/backends.md says of drivers that take the samplers' lowp literally: one level, for so many
// samples in a thousand (measured: 19, 61, 56, 19, 32 and 100).
TEST_F(PhotoTest, SamplersOfHalfFloatsCostOneLevel) {
    const std::pair<Settings, int> cases[] = {
        {kNoStage, 25},
        {{{"curveSwitch", "0"}, {"colorSwitch", "0"}, {"cCorrSwitch", "0"}}, 75},
        {{{"claheSwitch", "0"}, {"colorSwitch", "0"}, {"cCorrSwitch", "0"}}, 65},
        {{{"claheSwitch", "0"}, {"curveSwitch", "0"}, {"colorSwitch", "0"}}, 25},
        {{{"claheSwitch", "0"}, {"curveSwitch", "0"}, {"cCorrSwitch", "0"}}, 40},
        {{}, 110}};
    for (const auto& [settings, perMille] : cases) {
        test::Bytes pictures[2];
        for (const int literal : {0, 1}) {
            Rig<CHuevancePhoto_OGL> rig(settings, 500, 398);
            rig.fill(test::Content::kPhotoLike, "portrait");
            sim_gl_set_literal_precision(literal);
            ASSERT_EQ(rig.init(), 0);
            ASSERT_EQ(rig.process(1), 0);
            pictures[literal] = rig.out->copy();
        }
        std::size_t off = 0;
        for (std::size_t i = 0; i < pictures[0].size(); ++i) {
            const int distance = std::abs(int{pictures[0][i]} - int{pictures[1][i]});
            ASSERT_LE(distance, 1) << i;
            off += distance != 0 ? 1 : 0;
        }
        EXPECT_LE(off * 1000, pictures[0].size() * static_cast<std::size_t>(perMille));
    }
}

// --- Captures alone ---

// On purpose: one shader for the life of the pipeline, of the first capture's chroma order. The first capture
// that could be drawn: other formats have no shader.
TEST_F(PhotoTest, DrawsInTheFirstCapturesChromaOrder) {
    Rig<CHuevancePhoto_OGL> rig;
    ASSERT_EQ(rig.init(), 0);
    test::LogCapture log;
    EXPECT_EQ(rig.pipeline.process(rig.frame.data(), rig.out->get(), static_cast<IMAGE_FORMAT_TYPE>(9), 0),
              -1);
    EXPECT_THAT(log.texts(), ElementsAre("[CHuevancePhoto_OGL] process error: format 9!!!"));
    ASSERT_EQ(rig.process(), 0);
    const auto first = rig.out->copy();
    rig.out->fill(0);
    ASSERT_EQ(rig.pipeline.process(rig.frame.data(), rig.out->get(), IMAGE_FORMAT_TYPE_NV12, 0), 0);
    EXPECT_EQ(rig.out->copy(), first);
}

}  // namespace
