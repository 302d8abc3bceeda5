// What captures and previews have in common: what they draw against the model, their order of steps, their
// refusals and words, their dumps.
#include <gmock/gmock.h>
#include <sim/log.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <regex>

#include "tests/ogl/support/Allocations.h"
#include "tests/ogl/support/Rig.h"

namespace {

using test::OglTuning;
using test::Rig;
using test::Settings;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const Settings kNoStage = {
    {"claheSwitch", "0"}, {"curveSwitch", "0"}, {"colorSwitch", "0"}, {"cCorrSwitch", "0"}};
const Settings kHostMask = {{"pProtectSwitch", "1"}, {"maskSource", "1"}};

template <typename Pipeline>
class PipelineTest : public test::GlTest {};
using Pipelines = testing::Types<CHuevancePhoto_OGL, CHuevanceFrame_OGL>;
TYPED_TEST_SUITE(PipelineTest, Pipelines);

TYPED_TEST(PipelineTest, DrawsWhatTheModelSays) {
    struct Case {
        int width, height;
        Settings tuning;
    };
    for (const Case& c :
         {Case{64, 48, {}}, Case{130, 98, {{"pProtectSwitch", "1"}, {"maskSource", "2"}, {"gridWidth", "8"}}},
          Case{83, 81, {{"gridWidth", "5"}, {"gridHeight", "5"}}},
          Case{65, 67, {{"sampRate", "2"}, {"gridWidth", "2"}, {"gridHeight", "2"}, {"sceneIdx", "2/0/1/"}}},
          Case{62, 46, {{"claheSwitch", "0"}}},
          Case{62, 46, {{"curveSwitch", "2"}, {"gridHeight", "2"}, {"gridWidth", "3"}}},  // on is exactly 1
          Case{70, 50, kNoStage}}) {
        for (const IMAGE_FORMAT_TYPE order : {IMAGE_FORMAT_TYPE_NV21, IMAGE_FORMAT_TYPE_NV12}) {
            Rig<TypeParam> rig(c.tuning, c.width, c.height, order);
            ASSERT_EQ(rig.init(), 0);
            for (const test::Content content :
                 {test::Content::kNoise, test::Content::kRamp, test::Content::kMax, test::Content::kZero}) {
                rig.fill(content);
                const auto before = rig.frame.copyBytes();
                for (int scene = 0; scene < 3; ++scene) {
                    SCOPED_TRACE(std::to_string(c.width) + test::toString(content) + std::to_string(scene));
                    ASSERT_EQ(rig.process(scene), 0);
                    rig.expectDrawn(c.tuning.count("sceneIdx") != 0 ? (scene + 2) % 3 : scene);
                }
                EXPECT_EQ(rig.frame.copyBytes(), before) << "the input is only read";
            }
        }
    }
}

TYPED_TEST(PipelineTest, TakesAFrameThatLiesInItsOutput) {
    Rig<TypeParam> rig(Settings{}, 128, 96);
    ASSERT_EQ(rig.pipeline.init(rig.tuning.path(), rig.out->roi()), 0);
    for (int y = 0; y < 96 + 48; ++y) {
        for (int x = 0; x < 128; ++x) {
            unsigned char* row =
                rig.out->data() + (y < 96 ? y : rig.out->roi().scanline + y - 96) * rig.out->roi().stride;
            row[x] = static_cast<unsigned char>(y < 96 ? rig.frame.luma(x, y) : rig.frame.chroma(x, y - 96));
        }
    }
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

// --- The host's mask ---

TYPED_TEST(PipelineTest, TheHostsMaskProtectsWhereItIsOne) {
    Rig<TypeParam> rig(kHostMask);
    ASSERT_EQ(rig.init(), 0);
    for (const auto& [width, height] : {std::pair(64, 48), {45, 35}, {7, 3}}) {
        RoiInfo roi = {width, height, (width + 3) * 4, height + 1};
        std::vector<float> cells(static_cast<std::size_t>((width + 3) * (height + 1)), 9.0F);
        test::Bytes kept;
        for (int i = 0; i < width * height; ++i) {
            const int percent = i * 7 % 101;
            cells[static_cast<std::size_t>(i / width * (width + 3) + i % width)] =
                static_cast<float>(percent) / 100.0F;
            kept.push_back(static_cast<unsigned char>((255 * (100 - percent) + 50) / 100));
        }
        ASSERT_EQ(rig.pipeline.set(test::g_maskRoiKey, &roi), 0);
        ASSERT_EQ(rig.pipeline.set(test::g_maskPointerKey, cells.data()), 0);
        ASSERT_EQ(rig.process(), 0);
        test::ShaderInput in = rig.input(0, OglTuning::strengths(0));
        in.maskWidth = width;
        in.maskHeight = height;
        in.mask = kept;
        rig.expectDrawn(in);
    }
}

TYPED_TEST(PipelineTest, RefusesMasksThatCannotBe) {
    Rig<TypeParam> rig(kHostMask);
    ASSERT_EQ(rig.init(), 0);
    rig.out->fill(3);
    const auto untouched = rig.out->copy();
    const auto refused = [&](const char* words) {
        test::LogCapture log;
        EXPECT_EQ(rig.process(), -1);
        EXPECT_THAT(log.texts(test::kError), ElementsAre(HasSubstr(words)));
        EXPECT_EQ(rig.out->copy(), untouched);
    };
    std::vector<float> cells(64 * 48);
    RoiInfo fits = {64, 48, 256, 48};
    RoiInfo none = {};
    refused("portrait mask pointer is NULL!");
    ASSERT_EQ(rig.pipeline.set(test::g_maskPointerKey, reinterpret_cast<char*>(cells.data()) + 1), 0);
    refused("portrait mask pointer is NULL!");  // nor can it be odd
    ASSERT_EQ(rig.pipeline.set(test::g_maskPointerKey, cells.data()), 0);
    refused("portrait mask has no geometry!!!");
    EXPECT_EQ(rig.pipeline.set(test::g_maskRoiKey, &none), 0);  // a host without a mask
    for (RoiInfo roi :
         {RoiInfo{0, 48, 256, 48}, RoiInfo{-1, -1, 256, 48}, RoiInfo{64, 48, 252, 48},
          RoiInfo{64, 48, 258, 48}, RoiInfo{64, 48, 256, 47}, RoiInfo{1 << 30, 48, 1 << 30, 48}}) {
        ASSERT_EQ(rig.pipeline.set(test::g_maskRoiKey, &fits), 0);
        test::LogCapture log;
        EXPECT_EQ(rig.pipeline.set(test::g_maskRoiKey, &roi), -1) << roi.width << " " << roi.stride;
        EXPECT_THAT(log.texts(), ElementsAre(HasSubstr("is impossible!!!")));
        refused("portrait mask has no geometry!!!");
    }
    ASSERT_EQ(rig.pipeline.set(test::g_maskRoiKey, &fits), 0);
    EXPECT_EQ(rig.process(), 0);
    // What the tuning does not ask for is ignored.
    RoiInfo impossible = {-1, -1, -1, -1};
    for (const char* source : {"0", "2", "3"}) {
        Rig<TypeParam> other(Settings{{"pProtectSwitch", "1"}, {"maskSource", source}});
        ASSERT_EQ(other.init(), 0);
        EXPECT_EQ(other.pipeline.set(test::g_maskRoiKey, &impossible), 0);
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
    refused(src, dst, 3, "scene 3 has no tuning table!");
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

TYPED_TEST(PipelineTest, RefusesGridsThatItsTablesCannotHold) {
    for (const auto& [width, height, refused] :
         {std::tuple("16", "16", false), {"257", "1", true}, {"65536", "65536", true}, {"-3", "-3", false}}) {
        Rig<TypeParam> rig(Settings{{"gridWidth", width}, {"gridHeight", height}});
        test::LogCapture log;
        EXPECT_EQ(rig.init(), refused ? -1 : 0) << width << " x " << height;
        EXPECT_EQ(log.texts(test::kError).size(), refused ? 1U : 0U);
    }
}

// One line for each frame.
TYPED_TEST(PipelineTest, AGridThatDoesNotFitLeavesLumaAlone) {
    for (const Settings& grid : {Settings{{"gridWidth", "128"}, {"gridHeight", "2"}},
                                 {{"gridWidth", "0"}},
                                 {{"gridHeight", "-1"}},
                                 {{"sampRate", "0"}}}) {
        Settings values = grid;
        values.insert({{"curveSwitch", "0"}, {"colorSwitch", "0"}, {"cCorrSwitch", "0"}});
        Rig<TypeParam> rig(values);
        rig.fill(test::Content::kNoise);
        ASSERT_EQ(rig.init(), 0);
        test::LogCapture log;
        ASSERT_EQ(rig.process(), 0);
        EXPECT_THAT(log.texts(test::kError), ElementsAre(HasSubstr("does not fit the frame!")));
        for (int i = 0; i < 64 * 48; ++i) {
            ASSERT_EQ(rig.out->luma(i % 64, i / 64), rig.frame.luma(i % 64, i / 64)) << grid.begin()->first;
        }
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
    const std::string name = "[" + test::kClassName<TypeParam> + "]";
    EXPECT_THAT(log.lines(), ElementsAre(test::LogLine{test::kError, test::kTag<TypeParam>,
                                                       name + " set error: GLEnv init failed!!!"},
                                         test::LogLine{test::kError, test::kTag<TypeParam>,
                                                       name + " destroy error: GLEnv init failed!!!"}));
    EXPECT_THAT(trace.calls(), IsEmpty());
}

TYPED_TEST(PipelineTest, SaysWhatItDoesInOrder) {
    Rig<TypeParam> rig;
    test::LogCapture log;
    ASSERT_EQ(rig.init(), 0);
    const std::string load = "[" + test::kClassName<TypeParam> + "] load" +
                             (test::kIsPhoto<TypeParam> ? "Photo" : "Frame") + "Configures ";
    EXPECT_THAT(log.tagged(test::kTag<TypeParam>),
                ElementsAre(load + "path: " + rig.tuning.path(), load + "SensorPath: " + rig.tuning.path()));
    EXPECT_THAT(log.texts(), Contains("hvc-gridWidth: 4"));
    log.clear();
    ASSERT_EQ(rig.process(1), 0);
    const auto line = [](const std::string& text) {
        return test::LogLine{test::kInfo, test::kTag<TypeParam>, text};
    };
    EXPECT_THAT(
        log.lines(),
        ElementsAre(line((test::kIsPhoto<TypeParam> ? "[CHuevancePhoto_OGL] " : std::string()) +
                         "fColorStrength: 0.500000, fSatStrength: 1.250000, fClaheStrength: 1.500000"),
                    line("getGridHist width: 64, gridWidth: 4, gridHeight: 3, gridSize: 12, blockWidth: 16, "
                         "blockHeight: 16, sampleRate: 1"),
                    line("gridHist2ClaheLut gridWidth: 4, gridHeight: 3, gridSize: 12, claheStrength: "
                         "1.500000")));
}

// --- One frame after the first ---

TYPED_TEST(PipelineTest, UploadsAndDrawsInOrderAndMakesNothing) {
    Rig<TypeParam> rig;
    ASSERT_EQ(rig.init(), 0);
    ASSERT_EQ(rig.process(), 0);
    test::CallTrace trace;
    ASSERT_EQ(rig.process(), 0);
    // What tells steps from each other, what makes something, and the sizes and formats of uploads.
    const std::regex steps(
        "eglMakeCurrent|gl(Gen|Create|Compile|Link|Get.*Location|Bind.*buffer|Draw|Flush"
        "|ClientWait|Framebuffer)[A-Za-z0-9]*|eglCreate[A-Z].*KHR|glClear.17664."
        "|glTexImage(2D.3553, 0|3D.32879, 0)[0-9, ]*");
    std::string said;
    for (const std::string& call : trace.calls()) {
        std::smatch match;
        if (std::regex_search(call, match, steps, std::regex_constants::match_continuous)) {
            said += match.str() + "\n";
        }
    }
    const std::string output = "glGenTextures\neglCreateImageKHR\n";  // each capture's own
    EXPECT_EQ(said, "eglMakeCurrent\n" + (test::kIsPhoto<TypeParam> ? output : "") +
                        "glTexImage2D(3553, 0, 6409, 12, 256, 0, 6409, 5121, \n"  // CLAHE
                        "glTexImage2D(3553, 0, 6409, 256, 1, 0, 6409, 5121, \n"   // curves
                        "glTexImage2D(3553, 0, 6409, 256, 1, 0, 6409, 5121, \n"
                        "glTexImage3D(32879, 0, 6407, 16, 16, 16, 0, 6407, 5121, \n"
                        "glTexImage2D(3553, 0, 6409, 64, 48, 0, 6409, 5121, \n"
                        "glTexImage2D(3553, 0, 6410, 32, 24, 0, 6410, 5121, \n"
                        "glBindFramebuffer\nglFramebufferTexture2D\nglClear(17664)\nglDrawArrays\nglFlush\n"
                        "glClientWaitSync\neglMakeCurrent\n");
    EXPECT_EQ(sim_gl_live("image"), 1);
}

TYPED_TEST(PipelineTest, AllocatesNothingPerFrame) {
    Rig<TypeParam> rig(kHostMask);
    std::vector<float> cells(64 * 48);
    RoiInfo roi = {64, 48, 256, 48};
    ASSERT_EQ(rig.init(), 0);
    ASSERT_EQ(rig.pipeline.set(test::g_maskRoiKey, &roi), 0);
    ASSERT_EQ(rig.pipeline.set(test::g_maskPointerKey, cells.data()), 0);
    sim_log_set_sink([](void*, int, const char*, const char*) {}, nullptr);
    int results = rig.process();
    const int before = test::allocations();
    for (int frame = 0; frame < 5; ++frame) {
        results += rig.process(frame % 3);
    }
    // A capture's own output is one object.
    EXPECT_EQ(test::allocations() - before, test::kIsPhoto<TypeParam> ? 5 : 0);
    sim_log_set_sink(nullptr, nullptr);
    EXPECT_EQ(results, 0);
}

TYPED_TEST(PipelineTest, ALostContextEndsInOneFailureAndNothingIsLeft) {
    Rig<TypeParam> rig;
    ASSERT_EQ(rig.init(), 0);
    ASSERT_EQ(rig.process(), 0);
    const std::string name = "[" + test::kClassName<TypeParam> + "]";
    sim_gl_lose_contexts();
    test::LogCapture log;
    EXPECT_EQ(rig.process(), -1);
    EXPECT_THAT(log.texts(test::kError), ElementsAre(name + " process error: GLEnv init failed!!!"));
    log.clear();
    EXPECT_EQ(rig.pipeline.destroy(), 0);
    EXPECT_THAT(log.texts(test::kError), ElementsAre(name + " destroy error: GLEnv init failed!!!"));
    EXPECT_EQ(sim_gl_live(nullptr), 0);
    ASSERT_EQ(rig.init(), 0);
    EXPECT_EQ(rig.process(), 0);
}

// --- Dumps ---

std::string fileText(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

std::string text(const test::Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

TYPED_TEST(PipelineTest, DumpsTheFrameAndItsTables) {
    Rig<TypeParam> rig(Settings{{"photo", "1"}, {"frame", "1"}}, 62, 46);
    const test::TuningDir dumps;
    rig.pipeline.m_pcDumpDirectory = dumps.path().c_str();
    ASSERT_EQ(rig.init(), 0);
    test::LogCapture log;
    ASSERT_EQ(rig.process(2), 0);
    ASSERT_EQ(rig.process(0), 0);
    EXPECT_THAT(log.texts(test::kError), IsEmpty());
    // Named by the scene and the frame's number.
    const auto dumped = [&](const std::string& name, const char* numbers = "_0_1.yuv") {
        return fileText(dumps.path() + "/" + name + numbers);
    };
    const test::ShaderInput in = rig.tuning.input(rig.frame, rig.format, 0, OglTuning::strengths(0));
    std::string drawn;
    for (int row = 0; row < 46 + 23; ++row) {
        const auto* line =
            rig.out->data() + (row < 46 ? row : rig.out->roi().scanline + row - 46) * rig.out->roi().stride;
        drawn.append(line, line + 62);
    }
    EXPECT_EQ(dumped("srcframe_62x46"), text(in.luma) + text(in.chroma));
    EXPECT_EQ(dumped("dstframe_62x46"), drawn);
    EXPECT_EQ(dumped("clahelut"), text(test::bytesOf(rig.pipeline.m_claheLut)));
    EXPECT_EQ(dumped("y_curvemap"), text(in.yCurve));
    EXPECT_EQ(dumped("uv_curvemap"), text(in.uvCurve));
    EXPECT_EQ(dumped("colorlut"), text(in.color));
    EXPECT_EQ(dumped("gridhist").size(), 12U * 1024U);
    EXPECT_EQ(dumped("srcframe_62x46", "_2_0.yuv").size(), 62U * (46U + 23U));
    // What cannot be read or written is reported and harmless.
    rig.pipeline.m_pcDumpDirectory = "/nowhere";
    sim_hardware_buffer_fail("lock", 1);  // the first is the simulated device's own
    EXPECT_EQ(rig.process(), 0);
    sim_hardware_buffer_fail("lock", 0);
    EXPECT_THAT(log.texts(test::kError), Contains(HasSubstr("dump error: output cannot be read!!!")));
    EXPECT_THAT(log.texts(test::kError),
                Contains(HasSubstr("/nowhere/srcframe_62x46_0_2.yuv cannot be written!!!")));
}

// --- Captures alone ---

using PhotoTest = test::GlTest;

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
