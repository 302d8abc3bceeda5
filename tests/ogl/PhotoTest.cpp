// The capture pipeline: what it draws against the model, its order of steps, its refusals and words, its
// dumps.
#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "ogl/HuevancePhoto_OGL.h"
#include "tests/ogl/support/GlFixture.h"
#include "tests/ogl/support/OglTuning.h"
#include "tests/ogl/support/TableModel.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr IMAGE_FORMAT_TYPE kOrders[] = {IMAGE_FORMAT_TYPE_NV21, IMAGE_FORMAT_TYPE_NV12};

// No black beside colour: there colour correction divides by (almost) nothing, and a sampler's last bit
// decides.
test::Frame makeFrame(int width, int height, test::Content content, std::uint32_t seed = 1) {
    test::Frame frame({width, height, width + 13, height + 5}, 1);
    frame.fill(content, 256, seed);
    for (int y = 0; y < height && content != test::Content::kZero; ++y) {
        for (int x = 0; x < width; ++x) {
            frame.setLuma(x, y, std::max(frame.luma(x, y), 1));
        }
    }
    return frame;
}

class PhotoTest : public test::GlTest {
protected:
    static int capture(CHuevancePhoto_OGL& photo, test::Frame& frame, test::DeviceBuffer& out,
                       IMAGE_FORMAT_TYPE format, int scene = 0) {
        return photo.process(frame.data(), out.get(), format, scene);
    }
};

TEST_F(PhotoTest, DrawsWhatTheModelSays) {
    struct Case {
        int width, height;
        std::map<std::string, std::string> tuning;
    };
    const std::map<std::string, std::string> none = {
        {"claheSwitch", "0"}, {"curveSwitch", "0"}, {"colorSwitch", "0"}, {"cCorrSwitch", "0"}};
    for (const Case& c :
         {Case{96, 72, {}}, Case{130, 94, {{"pProtectSwitch", "1"}, {"maskSource", "2"}}},
          Case{101, 67, {{"gridWidth", "5"}, {"gridHeight", "5"}}}, Case{62, 46, {{"claheSwitch", "0"}}},
          Case{62, 46, {{"curveSwitch", "2"}}},  // on is exactly 1
          Case{70, 50, none}}) {
        for (const IMAGE_FORMAT_TYPE format : kOrders) {
            test::OglTuning tuning(c.tuning);
            CHuevancePhoto_OGL photo;
            ASSERT_EQ(photo.init(tuning.path(), makeFrame(c.width, c.height, test::Content::kZero).roi()), 0);
            for (const test::Content content :

                 {test::Content::kPhotoLike, test::Content::kRamp, test::Content::kNoise, test::Content::kMax,
                  test::Content::kZero}) {
                for (int scene = 0; scene < 3; ++scene) {
                    test::Frame frame = makeFrame(c.width, c.height, content);
                    const auto before = frame.copyBytes();
                    test::DeviceBuffer out(c.width, c.height, format);
                    ASSERT_EQ(capture(photo, frame, out, format, scene), 0);
                    const test::Difference worst = test::compareWithModel(
                        out, test::modelFrame(
                                 tuning.input(frame, format, scene, test::OglTuning::strengths(scene))));
                    EXPECT_LE(worst.luma, 1) << c.width << " " << format << " " << test::toString(content);
                    EXPECT_LE(worst.chroma, 1) << c.width << " " << format << " " << test::toString(content);
                    EXPECT_EQ(frame.copyBytes(), before) << "the input is only read";
                }
            }
            EXPECT_EQ(photo.destroy(), 0);
        }
    }
}

TEST_F(PhotoTest, TakesAFrameThatLiesInItsOutput) {
    test::OglTuning tuning;
    CHuevancePhoto_OGL photo;
    test::DeviceBuffer buffer(128, 64, IMAGE_FORMAT_TYPE_NV12);
    ASSERT_EQ(photo.init(tuning.path(), buffer.roi()), 0);
    test::Frame frame(buffer.roi(), 1);
    frame.fill(test::Content::kPhotoLike, 256);
    std::copy_n(frame.data8(), frame.bytes(), buffer.data());
    ASSERT_EQ(photo.process(buffer.data(), buffer.get(), IMAGE_FORMAT_TYPE_NV12, 1), 0);
    const test::ShaderInput in =
        tuning.input(frame, IMAGE_FORMAT_TYPE_NV12, 1, test::OglTuning::strengths(1));
    EXPECT_LE(test::compareWithModel(buffer, test::modelFrame(in)).luma, 1);
}

TEST_F(PhotoTest, TablesAreThoseOfTheScene) {
    test::OglTuning tuning(test::Settings{{"sceneIdx", "2/0/"}});
    CHuevancePhoto_OGL photo;
    test::Frame frame = makeFrame(96, 72, test::Content::kNoise);
    ASSERT_EQ(photo.init(tuning.path(), frame.roi()), 0);
    test::DeviceBuffer out(96, 72, IMAGE_FORMAT_TYPE_NV21);
    ASSERT_EQ(capture(photo, frame, out, IMAGE_FORMAT_TYPE_NV21, 0), 0);
    const test::ShaderInput in =
        tuning.input(frame, IMAGE_FORMAT_TYPE_NV21, 2, test::OglTuning::strengths(2));
    const auto bytes = [](const huevance::Buffer<unsigned char>& buffer) {
        return test::Bytes(buffer.get(), buffer.get() + buffer.size());
    };
    EXPECT_EQ(bytes(photo.m_claheLut), in.clahe);
    EXPECT_EQ(bytes(photo.m_yCurveMap), in.yCurve);
    EXPECT_EQ(bytes(photo.m_uvCurveMap), in.uvCurve);
    EXPECT_EQ(bytes(photo.m_colorLut), in.color);
    EXPECT_EQ(bytes(photo.m_yBuffer), in.luma);
    EXPECT_EQ(bytes(photo.m_uvBuffer), in.chroma);
}

TEST_F(PhotoTest, MissingAndShortTablesAreZero) {
    test::OglTuning tuning(test::Settings{{"colorSwitch", "0"}, {"claheSwitch", "0"}, {"cCorrSwitch", "0"}});
    tuning.directory().remove("curveLut1");
    tuning.directory().writeFloats("curveLut0", std::vector<float>(100, 77.7F));
    CHuevancePhoto_OGL photo;
    test::Frame frame = makeFrame(32, 32, test::Content::kMax);
    test::LogCapture log;
    ASSERT_EQ(photo.init(tuning.path(), frame.roi()), 0);
    EXPECT_THAT(log.texts(test::kError), IsEmpty());
    EXPECT_EQ(photo.m_yCurveMaps.get()[99], 77);
    EXPECT_EQ(photo.m_yCurveMaps.get()[100], 0);
    EXPECT_EQ(photo.m_yCurveMaps.get()[256 + 255], 0);
    test::DeviceBuffer out(32, 32, IMAGE_FORMAT_TYPE_NV12);
    ASSERT_EQ(capture(photo, frame, out, IMAGE_FORMAT_TYPE_NV12, 1), 0);
    EXPECT_EQ(out.luma(9, 9), 0);
}

// On purpose: one shader for the life of the pipeline.
TEST_F(PhotoTest, DrawsInTheFirstCapturesChromaOrder) {
    test::OglTuning tuning(test::Settings{{"colorSwitch", "0"}});
    CHuevancePhoto_OGL photo;
    test::Frame frame = makeFrame(64, 64, test::Content::kPhotoLike);
    ASSERT_EQ(photo.init(tuning.path(), frame.roi()), 0);
    test::DeviceBuffer first(64, 64, IMAGE_FORMAT_TYPE_NV21);
    ASSERT_EQ(capture(photo, frame, first, IMAGE_FORMAT_TYPE_NV21), 0);
    test::CallTrace trace;
    test::DeviceBuffer second(64, 64, IMAGE_FORMAT_TYPE_NV12);
    ASSERT_EQ(capture(photo, frame, second, IMAGE_FORMAT_TYPE_NV12), 0);
    EXPECT_THAT(trace.names(), Not(Contains("glCompileShader")));
    const test::ShaderInput in =
        tuning.input(frame, IMAGE_FORMAT_TYPE_NV21, 0, test::OglTuning::strengths(0));
    const test::Difference worst = test::compareWithModel(second, test::modelFrame(in));
    EXPECT_LE(std::max(worst.luma, worst.chroma), 1);
}

// The output reaches the host as its buffer's order says, whatever chroma value a phone keeps of four.
TEST_F(PhotoTest, LeavesChromaSubsamplingToTheDriver) {
    test::OglTuning tuning;
    CHuevancePhoto_OGL photo;
    test::Frame frame = makeFrame(64, 64, test::Content::kPhotoLike);
    ASSERT_EQ(photo.init(tuning.path(), frame.roi()), 0);
    sim_gl_set_chroma(SIM_GL_CHROMA_FIRST);
    test::DeviceBuffer out(64, 64, IMAGE_FORMAT_TYPE_NV12);
    ASSERT_EQ(capture(photo, frame, out, IMAGE_FORMAT_TYPE_NV12), 0);
    const test::ModelFrame model =
        test::modelFrame(tuning.input(frame, IMAGE_FORMAT_TYPE_NV12, 0, test::OglTuning::strengths(0)));
    for (int y = 0; y < 32; ++y) {
        for (int x = 0; x < 32; ++x) {
            const std::size_t texel = static_cast<std::size_t>(2 * y * 64 + 2 * x) * 3;
            ASSERT_NEAR(out.chroma(x, y, 0), model.texels[texel + 1], 1);
            ASSERT_NEAR(out.chroma(x, y, 1), model.texels[texel + 2], 1);
        }
    }
}

// --- The host's mask ---

struct HostMask {
    RoiInfo roi;
    std::vector<float> cells;
    explicit HostMask(int width, int height) : roi{width, height, (width + 3) * 4, height + 1} {
        cells.assign(static_cast<std::size_t>(roi.stride / 4) * static_cast<std::size_t>(roi.scanline), 9.0F);
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                at(x, y) = static_cast<float>((x * 5 + y * 3) % 101) / 100.0F;
            }
        }
    }
    float& at(int x, int y) { return cells[static_cast<std::size_t>(y * roi.stride / 4 + x)]; }
};

char kMaskRoi[] = "portraitMaskRoiInfo";
char kMaskPointer[] = "portraitMaskPointer";

TEST_F(PhotoTest, TheHostsMaskProtectsWhereItIsOne) {
    test::OglTuning tuning(test::Settings{{"pProtectSwitch", "1"}, {"maskSource", "1"}});
    CHuevancePhoto_OGL photo;
    test::Frame frame = makeFrame(90, 70, test::Content::kPhotoLike);
    ASSERT_EQ(photo.init(tuning.path(), frame.roi()), 0);
    for (const auto& [width, height] : {std::pair(90, 70), {45, 35}, {7, 3}}) {
        HostMask mask(width, height);
        mask.at(0, 0) = 7.0F;  // beyond the range, and no number
        mask.at(1, 0) = std::numeric_limits<float>::quiet_NaN();
        ASSERT_EQ(photo.set(kMaskRoi, &mask.roi), 0);
        ASSERT_EQ(photo.set(kMaskPointer, mask.cells.data()), 0);
        test::ShaderInput in = tuning.input(frame, IMAGE_FORMAT_TYPE_NV21, 0, test::OglTuning::strengths(0));
        in.maskWidth = width;
        in.maskHeight = height;
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                in.mask.push_back(static_cast<unsigned char>(std::lround(255.0 * (1.0 - mask.at(x, y)))));
            }
        }
        in.mask[0] = 0;
        in.mask[1] = 255;
        test::DeviceBuffer out(90, 70, IMAGE_FORMAT_TYPE_NV21);
        ASSERT_EQ(capture(photo, frame, out, IMAGE_FORMAT_TYPE_NV21), 0);
        const test::Difference worst = test::compareWithModel(out, test::modelFrame(in));
        EXPECT_LE(worst.luma, 1) << width;
        EXPECT_LE(worst.chroma, 1) << width;
    }
}

TEST_F(PhotoTest, RefusesMasksThatCannotBe) {
    test::OglTuning tuning(test::Settings{{"pProtectSwitch", "1"}, {"maskSource", "1"}});
    CHuevancePhoto_OGL photo;
    test::Frame frame = makeFrame(64, 48, test::Content::kPhotoLike);
    ASSERT_EQ(photo.init(tuning.path(), frame.roi()), 0);
    test::DeviceBuffer out(64, 48, IMAGE_FORMAT_TYPE_NV21);
    out.fill(3);
    const auto untouched = out.copy();
    const auto refused = [&](const char* words) {
        test::LogCapture log;
        EXPECT_EQ(capture(photo, frame, out, IMAGE_FORMAT_TYPE_NV21), -1);
        EXPECT_THAT(log.texts(test::kError), ElementsAre(HasSubstr(words)));
        EXPECT_EQ(out.copy(), untouched);
    };
    refused("portrait mask pointer is NULL!");
    HostMask mask(64, 48);
    ASSERT_EQ(photo.set(kMaskPointer, mask.cells.data()), 0);
    refused("portrait mask has no geometry!!!");
    RoiInfo none = {};
    EXPECT_EQ(photo.set(kMaskRoi, &none), 0);  // a host without a mask
    for (RoiInfo roi :
         {RoiInfo{0, 48, 256, 48}, RoiInfo{-1, -1, 256, 48}, RoiInfo{64, 48, 252, 48},
          RoiInfo{64, 48, 258, 48}, RoiInfo{64, 48, 256, 47}, RoiInfo{1 << 30, 48, 1 << 30, 48}}) {
        ASSERT_EQ(photo.set(kMaskRoi, &mask.roi), 0);
        test::LogCapture log;
        EXPECT_EQ(photo.set(kMaskRoi, &roi), -1) << roi.width << " " << roi.stride;
        EXPECT_THAT(log.lines(),
                    ElementsAre(testing::Field(&test::LogLine::text, HasSubstr("is impossible!!!"))));
        refused("portrait mask has no geometry!!!");
    }
    ASSERT_EQ(photo.set(kMaskRoi, &mask.roi), 0);
    EXPECT_EQ(capture(photo, frame, out, IMAGE_FORMAT_TYPE_NV21), 0);
}

TEST_F(PhotoTest, IgnoresMasksThatTheTuningDoesNotAskFor) {
    for (const char* source : {"0", "2", "3"}) {
        test::OglTuning tuning(test::Settings{{"pProtectSwitch", "1"}, {"maskSource", source}});
        CHuevancePhoto_OGL photo;
        test::Frame frame = makeFrame(64, 48, test::Content::kPhotoLike);
        ASSERT_EQ(photo.init(tuning.path(), frame.roi()), 0);
        RoiInfo impossible = {-1, -1, -1, -1};
        EXPECT_EQ(photo.set(kMaskRoi, &impossible), 0);
        EXPECT_EQ(photo.set(kMaskPointer, nullptr), 0);
        EXPECT_EQ(photo.set(nullptr, nullptr), 0);
        test::DeviceBuffer out(64, 48, IMAGE_FORMAT_TYPE_NV21);
        EXPECT_EQ(capture(photo, frame, out, IMAGE_FORMAT_TYPE_NV21), 0);
    }
}

// --- Refusals and words ---

TEST_F(PhotoTest, RefusesWhatItCannotDrawAndTouchesNothing) {
    test::OglTuning tuning(test::Settings{{"sceneIdx", "0/1/7/"}});
    CHuevancePhoto_OGL photo;
    test::Frame frame = makeFrame(64, 48, test::Content::kPhotoLike);
    ASSERT_EQ(photo.init(tuning.path(), frame.roi()), 0);
    test::DeviceBuffer out(64, 48, IMAGE_FORMAT_TYPE_NV21);
    test::DeviceBuffer narrow(62, 48, IMAGE_FORMAT_TYPE_NV21);
    test::DeviceBuffer low(64, 46, IMAGE_FORMAT_TYPE_NV21);
    out.fill(3);
    const auto untouched = out.copy();
    struct Case {
        void* src;
        void* dst;
        int format;
        int scene;
        const char* words;
    };
    for (const Case& c :
         {Case{nullptr, out.get(), 5, 0, "src (nil)"}, Case{frame.data(), nullptr, 5, 0, "dst (nil)"},
          Case{frame.data(), out.get(), 9, 0, "format 9!!!"},
          Case{frame.data(), out.get(), 5, -1, "scene -1 has no tuning table!"},
          Case{frame.data(), out.get(), 5, 3, "scene 3 has no tuning table!"},
          Case{frame.data(), out.get(), 5, 2, "scene 2 has no tuning table!"},
          Case{frame.data(), narrow.get(), 5, 0, "output 62 x 48 is smaller than the frame!!!"},
          Case{frame.data(), low.get(), 5, 0, "output 64 x 46 is smaller than the frame!!!"}}) {
        test::LogCapture log;
        test::CallTrace trace;
        EXPECT_EQ(photo.process(c.src, c.dst, static_cast<IMAGE_FORMAT_TYPE>(c.format), c.scene), -1)
            << c.words;
        EXPECT_THAT(log.texts(), ElementsAre(HasSubstr(c.words)));
        EXPECT_THAT(trace.calls(), IsEmpty());
    }
    EXPECT_EQ(out.copy(), untouched);
    for (const RoiInfo roi : {RoiInfo{64, 48, 63, 48}, RoiInfo{64, 48, 64, 47}, RoiInfo{0, 48, 64, 48},
                              RoiInfo{64, -1, 64, 48}}) {
        CHuevancePhoto_OGL impossible;
        EXPECT_EQ(impossible.init(tuning.path(), roi), 0);
        test::LogCapture log;
        EXPECT_EQ(impossible.process(frame.data(), out.get(), IMAGE_FORMAT_TYPE_NV21, 0), -1);
        EXPECT_THAT(log.texts(), ElementsAre(HasSubstr("cannot hold a frame!!!")));
    }
}

TEST_F(PhotoTest, SetUpRefusesGridsThatItsTablesCannotHold) {
    for (const auto& [width, height, result] : {std::tuple("16", "16", 0),
                                                {"257", "1", -1},
                                                {"32", "9", -1},
                                                {"65536", "65536", -1},
                                                {"0", "6", 0},
                                                {"-3", "-3", 0}}) {
        test::OglTuning tuning(test::Settings{{"gridWidth", width}, {"gridHeight", height}});
        test::LogCapture log;
        CHuevancePhoto_OGL photo;
        EXPECT_EQ(photo.init(tuning.path(), {64, 48, 64, 48}), result) << width << " x " << height;
        if (result != 0) {
            EXPECT_THAT(log.texts(test::kError), ElementsAre(HasSubstr("has more than 256 tiles!!!")));
            EXPECT_EQ(sim_gl_live(nullptr), 0);
        }
    }
}

// A grid that the frame cannot be divided into leaves luma alone, with one line for each frame.
TEST_F(PhotoTest, AGridThatDoesNotFitLeavesLumaAlone) {
    for (const std::map<std::string, std::string>& grid :
         {std::map<std::string, std::string>{{"gridWidth", "128"}, {"gridHeight", "2"}},
          {{"gridWidth", "0"}},
          {{"gridHeight", "-1"}},
          {{"sampRate", "0"}}}) {
        std::map<std::string, std::string> values = grid;
        values.insert({{"curveSwitch", "0"}, {"colorSwitch", "0"}, {"cCorrSwitch", "0"}});
        test::OglTuning tuning(values);
        CHuevancePhoto_OGL photo;
        test::Frame frame = makeFrame(64, 48, test::Content::kNoise);
        ASSERT_EQ(photo.init(tuning.path(), frame.roi()), 0);
        test::DeviceBuffer out(64, 48, IMAGE_FORMAT_TYPE_NV21);
        test::LogCapture log;
        ASSERT_EQ(capture(photo, frame, out, IMAGE_FORMAT_TYPE_NV21), 0);
        EXPECT_THAT(log.texts(test::kError), ElementsAre(HasSubstr("does not fit the frame!")));
        int worst = 0;
        for (int y = 0; y < 48; ++y) {
            for (int x = 0; x < 64; ++x) {
                worst = std::max(worst, std::abs(out.luma(x, y) - frame.luma(x, y)));
            }
        }
        EXPECT_EQ(worst, 0) << grid.begin()->first;
    }
}

TEST_F(PhotoTest, DoesNothingWhileItIsNotEnabled) {
    test::OglTuning tuning(test::Settings{{"photoSwitch", "2"}});
    tuning.directory().writeSets({{"photoSwitch", "0"}});
    test::CallTrace trace;
    {
        CHuevancePhoto_OGL photo;
        EXPECT_EQ(photo.init(tuning.path(), {64, 48, 64, 48}), 0);
        EXPECT_EQ(photo.process(nullptr, nullptr, IMAGE_FORMAT_TYPE_NV21, 99), 0);
        EXPECT_TRUE(photo.m_yBuffer.empty());
        test::LogCapture log;
        EXPECT_EQ(photo.set(kMaskRoi, nullptr), -1);
        EXPECT_EQ(photo.destroy(), 0);
        EXPECT_THAT(log.lines(),
                    ElementsAre(test::LogLine{test::kError, "Huevance_Capture",
                                              "[CHuevancePhoto_OGL] set error: GLEnv init failed!!!"},
                                test::LogLine{test::kError, "Huevance_Capture",
                                              "[CHuevancePhoto_OGL] destroy error: GLEnv init failed!!!"}));
    }
    EXPECT_THAT(trace.calls(), IsEmpty());
}

TEST_F(PhotoTest, SaysWhatItDoesInOrder) {
    test::OglTuning tuning;
    CHuevancePhoto_OGL photo;
    test::Frame frame = makeFrame(64, 48, test::Content::kPhotoLike);
    test::LogCapture log;
    ASSERT_EQ(photo.init(tuning.path(), frame.roi()), 0);
    const std::string path = tuning.path();
    EXPECT_THAT(log.lines(),
                Contains(test::LogLine{test::kInfo, "Huevance_Capture",
                                       "[CHuevancePhoto_OGL] loadPhotoConfigures path: " + path}));
    EXPECT_THAT(log.lines(),
                Contains(test::LogLine{test::kInfo, "Huevance_Capture",
                                       "[CHuevancePhoto_OGL] loadPhotoConfigures SensorPath: " + path}));
    EXPECT_THAT(log.texts(), Contains("hvc-gridWidth: 8"));
    log.clear();
    test::DeviceBuffer out(64, 48, IMAGE_FORMAT_TYPE_NV21);
    ASSERT_EQ(capture(photo, frame, out, IMAGE_FORMAT_TYPE_NV21, 1), 0);
    EXPECT_THAT(
        log.lines(),
        ElementsAre(
            test::LogLine{
                test::kInfo, "Huevance_Capture",
                "[CHuevancePhoto_OGL] fColorStrength: 0.500000, fSatStrength: 1.200000, fClaheStrength: "
                "1.500000"},
            test::LogLine{test::kInfo, "Huevance_Capture",
                          "getGridHist width: 64, gridWidth: 8, gridHeight: 6, gridSize: 48, blockWidth: 8, "
                          "blockHeight: 8, sampleRate: 2"},
            test::LogLine{
                test::kInfo, "Huevance_Capture",
                "gridHist2ClaheLut gridWidth: 8, gridHeight: 6, gridSize: 48, claheStrength: 1.500000"}));
}

TEST_F(PhotoTest, UploadsAndDrawsInOrder) {
    test::OglTuning tuning;
    CHuevancePhoto_OGL photo;
    test::Frame frame = makeFrame(64, 48, test::Content::kPhotoLike);
    ASSERT_EQ(photo.init(tuning.path(), frame.roi()), 0);
    test::DeviceBuffer out(64, 48, IMAGE_FORMAT_TYPE_NV21);
    ASSERT_EQ(capture(photo, frame, out, IMAGE_FORMAT_TYPE_NV21), 0);
    test::CallTrace trace;
    ASSERT_EQ(capture(photo, frame, out, IMAGE_FORMAT_TYPE_NV21), 0);
    std::vector<std::string> steps;
    for (const std::string& call : trace.calls()) {
        for (const char* step :
             {"eglMakeCurrent", "eglCreateImageKHR", "glTexImage", "glBindFramebuffer",
              "glFramebufferTexture2D", "glClear", "glDrawArrays", "glFlush", "glClientWaitSync"}) {
            if (call.find(step) == 0) {
                const bool upload = call.find("glTexImage") == 0;
                steps.push_back(upload ? call : step);
            }
        }
    }
    EXPECT_THAT(steps, ElementsAre("eglMakeCurrent", "eglCreateImageKHR",
                                   "glTexImage2D(3553, 0, 6409, 48, 256, 0, 6409, 5121, ptr)",  // CLAHE
                                   "glTexImage2D(3553, 0, 6409, 256, 1, 0, 6409, 5121, ptr)",   // luma curve
                                   "glTexImage2D(3553, 0, 6409, 256, 1, 0, 6409, 5121, ptr)",  // chroma curve
                                   "glTexImage3D(32879, 0, 6407, 16, 16, 16, 0, 6407, 5121, ptr)",  // colours
                                   "glTexImage2D(3553, 0, 6409, 64, 48, 0, 6409, 5121, ptr)",       // luma
                                   "glTexImage2D(3553, 0, 6410, 32, 24, 0, 6410, 5121, ptr)",       // chroma
                                   "glBindFramebuffer", "glFramebufferTexture2D", "glClear", "glDrawArrays",
                                   "glFlush", "glClientWaitSync", "eglMakeCurrent"));
    EXPECT_THAT(trace.names(), Not(Contains("glCompileShader")));
    EXPECT_THAT(trace.calls(), Contains("glClear(17664)"));  // colour, depth, stencil
    EXPECT_EQ(sim_gl_live("image"), 1);                      // the last output's
}

TEST_F(PhotoTest, ALostContextEndsInOneFailureAndNothingIsLeft) {
    test::OglTuning tuning;
    CHuevancePhoto_OGL photo;
    test::Frame frame = makeFrame(64, 48, test::Content::kPhotoLike);
    ASSERT_EQ(photo.init(tuning.path(), frame.roi()), 0);
    test::DeviceBuffer out(64, 48, IMAGE_FORMAT_TYPE_NV21);
    ASSERT_EQ(capture(photo, frame, out, IMAGE_FORMAT_TYPE_NV21), 0);
    sim_gl_lose_contexts();
    test::LogCapture log;
    EXPECT_EQ(capture(photo, frame, out, IMAGE_FORMAT_TYPE_NV21), -1);
    EXPECT_THAT(log.texts(test::kError),
                ElementsAre("[CHuevancePhoto_OGL] process error: GLEnv init failed!!!"));
    log.clear();
    EXPECT_EQ(photo.destroy(), 0);
    EXPECT_THAT(log.texts(test::kError),
                ElementsAre("[CHuevancePhoto_OGL] destroy error: GLEnv init failed!!!"));
    EXPECT_EQ(sim_gl_live(nullptr), 0);
    // A new set-up starts afresh.
    ASSERT_EQ(photo.init(tuning.path(), frame.roi()), 0);
    EXPECT_EQ(capture(photo, frame, out, IMAGE_FORMAT_TYPE_NV21), 0);
}

// --- Dumps ---

std::string fileText(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

std::string text(const void* data, std::size_t bytes) { return {static_cast<const char*>(data), bytes}; }

TEST_F(PhotoTest, DumpsTheFrameAndItsTables) {
    test::OglTuning tuning(test::Settings{{"photo", "1"}});
    test::TuningDir dumps;
    CHuevancePhoto_OGL photo;
    photo.m_pcDumpDirectory = dumps.path().c_str();
    test::Frame frame = makeFrame(62, 46, test::Content::kPhotoLike);
    ASSERT_EQ(photo.init(tuning.path(), frame.roi()), 0);
    test::DeviceBuffer out(62, 46, IMAGE_FORMAT_TYPE_NV12);
    test::LogCapture log;
    ASSERT_EQ(capture(photo, frame, out, IMAGE_FORMAT_TYPE_NV12, 2), 0);
    ASSERT_EQ(capture(photo, frame, out, IMAGE_FORMAT_TYPE_NV12, 0), 0);
    EXPECT_THAT(log.texts(test::kError), IsEmpty());
    const std::filesystem::path root = dumps.path();
    const test::ShaderInput in =
        tuning.input(frame, IMAGE_FORMAT_TYPE_NV12, 0, test::OglTuning::strengths(0));
    EXPECT_EQ(fileText(root / "srcframe_62x46_0_1.yuv"),
              text(in.luma.data(), in.luma.size()) + text(in.chroma.data(), in.chroma.size()));
    std::string drawn;
    for (int row = 0; row < 46 + 23; ++row) {
        const int line = row < 46 ? row : out.roi().scanline + row - 46;
        drawn += text(out.data() + line * out.roi().stride, 62);
    }
    EXPECT_EQ(fileText(root / "dstframe_62x46_0_1.yuv"), drawn);
    EXPECT_EQ(fileText(root / "clahelut_0_1.yuv"), text(in.clahe.data(), in.clahe.size()));
    EXPECT_EQ(fileText(root / "y_curvemap_0_1.yuv"), text(in.yCurve.data(), 256));
    EXPECT_EQ(fileText(root / "uv_curvemap_0_1.yuv"), text(in.uvCurve.data(), 256));
    EXPECT_EQ(fileText(root / "colorlut_0_1.yuv"), text(in.color.data(), 12288));
    EXPECT_EQ(fileText(root / "gridhist_0_1.yuv").size(), 48U * 1024U);
    EXPECT_EQ(fileText(root / "srcframe_62x46_2_0.yuv").size(), 62U * 46U + 62U * 23U);
}

TEST_F(PhotoTest, DumpsThatCannotBeWrittenAreReportedAndHarmless) {
    test::OglTuning tuning(test::Settings{{"photo", "1"}});
    CHuevancePhoto_OGL photo;
    photo.m_pcDumpDirectory = "/nowhere";
    test::Frame frame = makeFrame(64, 48, test::Content::kPhotoLike);
    ASSERT_EQ(photo.init(tuning.path(), frame.roi()), 0);
    test::DeviceBuffer out(64, 48, IMAGE_FORMAT_TYPE_NV12);
    test::LogCapture log;
    sim_hardware_buffer_fail("lock", 1);
    EXPECT_EQ(capture(photo, frame, out, IMAGE_FORMAT_TYPE_NV12), 0);
    EXPECT_THAT(log.texts(test::kError), Contains(HasSubstr("dump error: output cannot be read!!!")));
    EXPECT_THAT(log.texts(test::kError),
                Contains(HasSubstr("/nowhere/srcframe_64x48_0_0.yuv cannot be written!!!")));
    sim_hardware_buffer_fail("lock", 0);
}

}  // namespace
