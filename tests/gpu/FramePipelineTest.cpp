// The preview pipeline as a host drives it, frame by frame, against the reference's stages.
#include <gmock/gmock.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>

#include "jni/HuevanceFrame.h"
#include "jni/opticommon/symb/OpenCLSymbol.h"
#include "tests/gpu/support/Chain.h"
#include "tests/gpu/support/Device.h"
#include "tests/support/Photo.h"
#include "tests/support/DeathTest.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TuningDir.h"

namespace {

using test::Content;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsSupersetOf;
using ::testing::Not;

constexpr RoiInfo kSmall = {61, 47, 80, 50};
constexpr RoiInfo kEven = {96, 64, 96, 64};

// One frame's memory behind a descriptor, as a camera hands it over; unmapped at the end.
class IonFrame {
public:
    explicit IonFrame(const std::vector<unsigned char>& bytes)
        : m_size(bytes.size()), m_fd(memfd_create("ion", 0)) {
        EXPECT_EQ(ftruncate(m_fd, static_cast<off_t>(m_size)), 0);
        m_data = mmap(nullptr, m_size, PROT_READ | PROT_WRITE, MAP_SHARED, m_fd, 0);
        std::memcpy(m_data, bytes.data(), m_size);
    }
    ~IonFrame() {
        munmap(m_data, m_size);
        close(m_fd);
    }
    IonFrame(const IonFrame&) = delete;
    IonFrame& operator=(const IonFrame&) = delete;

    void* data() { return m_data; }
    int fd() const { return m_fd; }
    std::vector<unsigned char> bytes() const {
        const auto* from = static_cast<const unsigned char*>(m_data);
        return {from, from + m_size};
    }

private:
    std::size_t m_size;
    int m_fd;
    void* m_data;
};

class FramePipeline : public test::DeviceTest {
protected:
    static void SetUpTestSuite() { s_cache = std::make_unique<test::TuningDir>(); }
    static void TearDownTestSuite() { s_cache.reset(); }

    void SetUp() override {
        DeviceTest::SetUp();
        writeTables(1);
    }
    void TearDown() override {
        stop();
        DeviceTest::TearDown();
    }

    // The tables of the given scenes; each scene bends to another side.
    void writeTables(int scenes) {
        std::vector<float> curves;
        std::vector<float> lattices;
        for (int scene = 0; scene < scenes; ++scene) {
            const std::vector<float> curve = test::gentleCurve(bendOf(scene));
            const std::vector<float> lattice = test::gentleLattice(bendOf(scene));
            curves.insert(curves.end(), curve.begin(), curve.end());
            lattices.insert(lattices.end(), lattice.begin(), lattice.end());
            dir.writeParam(scene, strength(scene, 0), strength(scene, 1), strength(scene, 2));
        }
        dir.writeFloats("CurveLut", curves);
        dir.writeFloats("ColorLut", lattices);
    }
    static float bendOf(int scene) {
        return scene % 2 == 0 ? 0.6F - 0.2F * static_cast<float>(scene) : -0.5F;
    }
    // 0 colour, 1 saturation, 2 CLAHE.
    static float strength(int scene, int which) {
        constexpr float kBase[] = {0.8F, 1.2F, 1.0F};
        return kBase[which] - 0.3F * static_cast<float>(scene);
    }
    test::Chain chainOf(int scene) const {
        test::Chain chain;
        chain.colorStrength = strength(scene, 0);
        chain.satStrength = strength(scene, 1);
        chain.claheStrength = strength(scene, 2);
        chain.curve = test::gentleCurve(bendOf(scene));
        chain.lattice = test::gentleLattice(bendOf(scene));
        return chain;
    }

    // frameSet.ini with the stages of five bits: CLAHE, curve, correction, colour, protection.
    void writeStages(int bits, std::map<std::string, std::string> more = {}) {
        constexpr const char* kKeys[] = {"claheSwitch", "curveSwitch", "cCorrSwitch", "colorSwitch",
                                         "pProtectSwitch"};
        for (int i = 0; i < 5; ++i) {
            more[kKeys[i]] = (bits >> i & 1) != 0 ? "1" : "0";
        }
        dir.writeSets(more);
    }
    static huevance::StageSwitches switchesOf(int bits) {
        return {(bits & 1) != 0, (bits & 2) != 0, (bits & 4) != 0, (bits & 8) != 0, (bits & 16) != 0};
    }

    int start(const RoiInfo& roi) {
        stop();
        log.clear();
        return HuevanceFrameMalloc_GPU(dir.mutablePath(), roi, 8, const_cast<char*>(s_cache->path().c_str()),
                                       &handle);
    }
    void stop() {
        if (handle != nullptr) {
            EXPECT_EQ(HuevanceFrameFree_GPU(handle), 0);
            handle = nullptr;
        }
    }
    // The engine keeps the geometry of a mask from stream to stream.
    void forgetMask() {
        writeStages(1, {{"maskSource", "1"}});
        ASSERT_EQ(start(kSmall), 0);
        RoiInfo none = {};
        HuevanceFrameSetExtParam_GPU(handle, const_cast<char*>("portraitMaskRoiInfo"), &none);
        stop();
    }
    int process(test::Frame& frame, IMAGE_FORMAT_TYPE type = IMAGE_FORMAT_TYPE_NV12, int scene = 0) {
        return HuevanceFrameProcess_GPU(handle, frame.data(), -1, type, scene);
    }

    static void expectClose(const test::Frame& got, const test::Frame& expected, const std::string& what) {
        EXPECT_TRUE(got.paddingUntouched()) << what;
        const std::vector<int> a = got.samples();
        const std::vector<int> b = expected.samples();
        int largest = 0;
        for (std::size_t i = 0; i < a.size(); ++i) {
            largest = std::max(largest, std::abs(a[i] - b[i]));
        }
        EXPECT_LE(largest, 2) << what;
    }

    test::TuningDir dir;
    test::LogCapture log;
    void* handle = nullptr;
    static std::unique_ptr<test::TuningDir> s_cache;
};

std::unique_ptr<test::TuningDir> FramePipeline::s_cache;

TEST_F(FramePipeline, EveryCombinationOfStagesGivesTheReferencesFrame) {
    constexpr RoiInfo kGeometries[] = {kSmall, kEven, {9, 7, 16, 8}};
    constexpr Content kContents[] = {Content::kPhotoLike, Content::kNoise, Content::kAlternating,
                                     Content::kMax, Content::kZero};
    int turn = 0;
    for (int bits = 0; bits < 32; ++bits) {
        for (int svm = 0; svm <= 3; ++svm, ++turn) {
            const RoiInfo& roi = kGeometries[turn % 3];
            const bool nv12 = turn % 2 == 0;
            const IMAGE_FORMAT_TYPE type = nv12 ? IMAGE_FORMAT_TYPE_NV12 : IMAGE_FORMAT_TYPE_NV21;
            const bool hostMask = (bits & 16) != 0 && (svm == 1 || svm == 2) && turn % 8 < 4;
            const std::string what = "stages " + std::to_string(bits) + " svm " + std::to_string(svm) +
                                     " width " + std::to_string(roi.width) + (nv12 ? " NV12" : " NV21") +
                                     (hostMask ? " host mask" : "");
            sim_opencl_set_svm_level(svm);
            writeStages(bits,
                        {{"maskSource", hostMask ? "1" : "2"}, {"gridWidth", "3"}, {"gridHeight", "2"}});
            ASSERT_EQ(start(roi), 0) << what;

            test::Chain chain = chainOf(0);
            chain.on = switchesOf(bits);
            chain.on.portraitProtect =
                chain.on.portraitProtect && (bits & 15) != 0;  // alone it does not count
            chain.gridWidth = 3;
            chain.gridHeight = 2;
            if (hostMask) {
                chain.maskRoi = {roi.width, roi.height, 4 * (roi.width + 1), roi.height};
                chain.mask.assign(static_cast<std::size_t>(roi.height * (roi.width + 1)), 0.25F);
                HuevanceFrameSetExtParam_GPU(handle, const_cast<char*>("portraitMaskRoiInfo"),
                                             &chain.maskRoi);
                HuevanceFrameSetExtParam_GPU(handle, const_cast<char*>("portraitMaskPointer"),
                                             chain.mask.data());
            }
            test::Frame frame(roi, 1);
            frame.fill(kContents[turn % 5], 256, static_cast<std::uint32_t>(turn + 1));
            test::Frame expected(roi, 1);
            expected.restore(frame.copyBytes());
            for (int n = 0; n < 2; ++n) {  // the second frame starts like the first
                chain.apply(expected, type);
                ASSERT_EQ(process(frame, type), 0) << what;
                expectClose(frame, expected, what);
                expected.restore(frame.copyBytes());
            }
            ASSERT_EQ(sim_opencl_violation(), nullptr) << what << ": " << sim_opencl_violation();
        }
    }
}

TEST_F(FramePipeline, PhotographsBecomeTheReferencesPhotographs) {
    const RoiInfo roi = {500, 398, 512, 400};
    for (const char* name : {"portrait", "still_life"}) {
        for (const auto type : {IMAGE_FORMAT_TYPE_NV12, IMAGE_FORMAT_TYPE_NV21}) {
            test::Frame frame(roi, 1);
            if (!test::fillWithPhoto(frame, name)) {
                GTEST_SKIP() << "no JPEG decoder";
            }
            writeStages(31, {{"maskSource", "2"}});
            ASSERT_EQ(start(roi), 0);
            test::Chain chain = chainOf(0);
            chain.on = switchesOf(31);
            test::Frame expected(roi, 1);
            expected.restore(frame.copyBytes());
            chain.apply(expected, type);
            ASSERT_EQ(process(frame, type), 0);
            expectClose(frame, expected, name);
        }
    }
}

TEST_F(FramePipeline, IonMemoryIsWrappedByItsDescriptor) {
    // The extension string is kept for the process: this needs one of its own.
    test::startDeathTestsSafely();
    const auto scenario = [this] {
        sim_opencl_set_extensions(test::kPhoneExtensions);
        writeStages(31, {{"maskSource", "2"}, {"gridWidth", "3"}, {"gridHeight", "2"}});
        EXPECT_EQ(start(kSmall), 0);
        test::Chain chain = chainOf(0);
        chain.on = switchesOf(31);
        chain.gridWidth = 3;
        chain.gridHeight = 2;
        test::Frame expected(kSmall, 1);
        expected.fill(Content::kPhotoLike, 256);
        IonFrame ion(expected.copyBytes());
        chain.apply(expected, IMAGE_FORMAT_TYPE_NV21);
        EXPECT_EQ(HuevanceFrameProcess_GPU(handle, ion.data(), ion.fd(), IMAGE_FORMAT_TYPE_NV21, 0), 0);
        test::Frame got(kSmall, 1);
        got.restore(ion.bytes());
        expectClose(got, expected, "ion");
        EXPECT_EQ(sim_opencl_violation(), nullptr);

        // A descriptor that does not cover the frame: each stage says so, and the frame comes back as it was.
        log.clear();
        test::Frame other(kSmall, 1);
        other.fill(Content::kNoise, 256);
        const std::vector<unsigned char> before = other.copyBytes();
        EXPECT_EQ(HuevanceFrameProcess_GPU(handle, other.data(), ion.fd(), IMAGE_FORMAT_TYPE_NV21, 0), 0);
        EXPECT_EQ(other.copyBytes(), before);
        EXPECT_THAT(log.texts(test::kError),
                    ElementsAre("clCreateBuffer errCode: -37!\n", "ion create cl buffer failed!",
                                "claheMap: m_claheMap_kernel failed!", "curveMap: m_curveMap_kernel failed!",
                                "colorCorrect: m_colorCorrect_kernel failed!",
                                "colorMap: m_colorMap_NV21_kernel failed!",
                                "portraitProtect: m_skinDetectAndcolorProtect_kernel failed!"));

        // Without a descriptor the frame's address will do.
        test::Frame plain(kSmall, 1);
        plain.fill(Content::kPhotoLike, 256);
        EXPECT_EQ(process(plain, IMAGE_FORMAT_TYPE_NV21), 0);
        expectClose(plain, expected, "plain");
        stop();
        EXPECT_EQ(sim_opencl_live(nullptr), 0);
        test::endOfDeathTest();
    };
    EXPECT_EXIT(scenario(), ::testing::ExitedWithCode(0), "passed");
}

// --- Scenes ---

// The fade as laid down, in doubles: previous p, current q, counter k; tables are fused only while p and q
// differ.
class FadeModel {
public:
    FadeModel(int p, int T) : m_p(p), m_T(T), m_table({{p, 1.0}}) {}

    struct Mix {
        int scene;
        double weight;
    };
    // What the strengths and the tables are for a frame of scene table q.
    void frame(int q) {
        const double w = static_cast<double>(m_T - 1 - m_k) / m_T;
        strengths = m_p == q ? std::vector<Mix>{{q, 1.0}} : std::vector<Mix>{{m_p, w}, {q, 1.0 - w}};
        if (m_p != q) {
            m_table = strengths;
            if (m_k == m_T) {
                m_p = q;
                m_k = 0;
            } else {
                ++m_k;
            }
        }
    }
    const std::vector<Mix>& tables() const { return m_table; }
    std::vector<Mix> strengths;

private:
    int m_p;
    int m_T;
    int m_k = 0;
    std::vector<Mix> m_table;
};

TEST_F(FramePipeline, FadesBetweenScenesFrameByFrame) {
    const int T = 4;
    writeTables(3);
    writeStages(11, {{"sceneNum", "3"}, {"sceneIdx", "2/0/1/"}, {"transFrameNum", std::to_string(T)}});
    ASSERT_EQ(start(kEven), 0);
    constexpr int kTableOf[] = {2, 0, 1};
    // Table 1 is where a stream starts from. A whole fade and more; a change in mid-fade; back to where it
    // came from.
    const int scenes[] = {2, 2, 0, 0, 0, 0, 0, 0, 0, 1, 1, 2, 2, 2, 2, 2, 0, 0, 2, 2, 0, 0, 0, 0, 0};
    FadeModel model(1, T);
    int frames = 0;
    for (const int scene : scenes) {
        model.frame(kTableOf[scene]);
        test::Chain chain = chainOf(0);
        chain.on = switchesOf(11);
        chain.colorStrength = chain.satStrength = chain.claheStrength = 0;
        for (const auto& mix : model.strengths) {
            const auto w = static_cast<float>(mix.weight);
            chain.colorStrength += w * strength(mix.scene, 0);
            chain.satStrength += w * strength(mix.scene, 1);
            chain.claheStrength += w * strength(mix.scene, 2);
        }
        std::fill(chain.curve.begin(), chain.curve.end(), 0.0F);
        std::fill(chain.lattice.begin(), chain.lattice.end(), 0.0F);
        for (const auto& mix : model.tables()) {
            const std::vector<float> curve = test::gentleCurve(bendOf(mix.scene));
            const std::vector<float> lattice = test::gentleLattice(bendOf(mix.scene));
            for (std::size_t i = 0; i < curve.size(); ++i) {
                chain.curve[i] += static_cast<float>(mix.weight) * curve[i];
            }
            for (std::size_t i = 0; i < lattice.size(); ++i) {
                chain.lattice[i] += static_cast<float>(mix.weight) * lattice[i];
            }
        }
        test::Frame frame(kEven, 1);
        frame.fill(Content::kPhotoLike, 256, static_cast<std::uint32_t>(frames + 1));
        test::Frame expected(kEven, 1);
        expected.restore(frame.copyBytes());
        chain.apply(expected, IMAGE_FORMAT_TYPE_NV12);
        ASSERT_EQ(process(frame, IMAGE_FORMAT_TYPE_NV12, scene), 0);
        expectClose(frame, expected, "frame " + std::to_string(frames++));
    }
}

TEST_F(FramePipeline, UploadsTablesOnlyWhileTheyChange) {
    writeTables(2);
    writeStages(10, {{"sceneNum", "2"}, {"sceneIdx", "0/1/"}, {"transFrameNum", "3"}});
    ASSERT_EQ(start(kEven), 0);
    test::Frame frame(kEven, 1);
    const auto uploads = [&](int scene) {
        const int before = sim_opencl_calls("clEnqueueWriteBuffer");
        EXPECT_EQ(process(frame, IMAGE_FORMAT_TYPE_NV12, scene), 0);
        return sim_opencl_calls("clEnqueueWriteBuffer") - before;
    };
    EXPECT_EQ(uploads(1), 0);
    for (int k = 0; k <= 3; ++k) {
        EXPECT_EQ(uploads(0), 1) << k;
    }
    EXPECT_EQ(uploads(0), 0);
}

TEST_F(FramePipeline, WithoutFadesTheTablesChangeAtOnce) {
    const struct {
        int scenes;
        const char* sceneIdx;
        const char* transFrameNum;
        std::vector<int> tables;
    } cases[] = {{3, "2/0/", "0", {2, 2, 0, 2}}, {1, "0/", "60", {0, 0}}};
    for (const auto& c : cases) {
        writeTables(c.scenes);
        writeStages(10, {{"sceneNum", std::to_string(c.scenes)},
                         {"sceneIdx", c.sceneIdx},
                         {"transFrameNum", c.transFrameNum}});
        ASSERT_EQ(start(kEven), 0);
        for (const int table : c.tables) {
            test::Chain chain = chainOf(table);
            chain.on = switchesOf(10);
            test::Frame frame(kEven, 1);
            frame.fill(Content::kPhotoLike, 256);
            test::Frame expected(kEven, 1);
            expected.restore(frame.copyBytes());
            chain.apply(expected, IMAGE_FORMAT_TYPE_NV12);
            ASSERT_EQ(process(frame, IMAGE_FORMAT_TYPE_NV12, c.scenes == 3 && table == 0 ? 1 : 0), 0);
            expectClose(frame, expected, "table " + std::to_string(table));
        }
    }
}

// --- Refusals ---

TEST_F(FramePipeline, RefusesWhatItCannotDoWithTheFrameUntouched) {
    const struct {
        const char* what;
        int stages;
        const char* maskSource;
        int svm;
        int scene;
        const char* line;
    } cases[] = {
        {"protection without a mask", 17, "0", 2, 0,
         "CHuevanceFrame_GPU: mask source is 0, but portrait protect switch is 1!"},
        {"no mask yet", 17, "1", 2, 0, "CHuevanceFrame_GPU: portrait mask pointer is NULL!"},
        {"no mask at all", 1, "1", 3, 0, "CHuevanceFrame_GPU: portrait mask pointer is NULL!"},
        {"a scene without a table", 1, "0", 2, 1, "scene 1 has no tuning table!"},
        {"a negative scene", 1, "0", 2, -1, "scene -1 has no tuning table!"},
    };
    forgetMask();
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        sim_opencl_set_svm_level(c.svm);
        writeStages(c.stages, {{"maskSource", c.maskSource}});
        ASSERT_EQ(start(kSmall), 0);
        test::Frame frame(kSmall, 1);
        frame.fill(Content::kNoise, 256);
        const std::vector<unsigned char> before = frame.copyBytes();
        for (int n = 0; n < 3; ++n) {
            log.clear();
            EXPECT_EQ(process(frame, IMAGE_FORMAT_TYPE_NV12, c.scene), -1);
            EXPECT_THAT(log.texts(test::kError), ElementsAre(c.line, "HuevanceProcess_GPU failed!\n"));
        }
        EXPECT_EQ(frame.copyBytes(), before);
        EXPECT_LE(sim_opencl_live("memory"), 4) << "refused frames do not pile up";
    }
    EXPECT_EQ(HuevanceFrameProcess_GPU(handle, nullptr, -1, IMAGE_FORMAT_TYPE_NV12, 0), -1);
    ASSERT_EQ(start({61, 47, 60, 50}), 0);
    test::Frame frame(kSmall, 1);
    EXPECT_EQ(process(frame), -1) << "a stride below the width";
}

TEST_F(FramePipeline, LeavesFramesAloneWithNothingToDo) {
    test::Frame frame(kSmall, 1);
    frame.fill(Content::kNoise, 256);
    const std::vector<unsigned char> before = frame.copyBytes();
    writeStages(16, {{"maskSource", "2"}});
    ASSERT_EQ(start(kSmall), 0);
    log.clear();
    EXPECT_EQ(process(frame, IMAGE_FORMAT_TYPE_NV21), 0);
    EXPECT_EQ(log.texts().at(0), "CHuevanceFrame_GPU: yuvType: IMAGE_FORMAT_TYPE_NV21");
    EXPECT_THAT(log.texts(test::kInfo), Contains("all the switches are set 0, do nothing and return."));
    EXPECT_EQ(sim_opencl_calls("clEnqueueNDRangeKernel"), 0);

    stop();
    writeStages(31, {{"frameSwitch", "0"}, {"maskSource", "2"}});
    sim_opencl_reset();
    ASSERT_EQ(start(kSmall), 0);
    EXPECT_EQ(sim_opencl_calls("clCreateContext"), 0);
    log.clear();
    EXPECT_EQ(process(frame, IMAGE_FORMAT_TYPE_YUV16_LOW, 7), 0);
    const std::vector<std::string> lines = log.texts();
    EXPECT_THAT(
        std::vector<std::string>(lines.begin(), lines.begin() + 5),
        ElementsAre(
            "CHuevanceFrame_GPU: scene: 7", "CHuevanceFrame_GPU: m_iFrameSwitch=0 m_iMaskSource=2\n",
            "CHuevanceFrame_GPU: m_iPProtectSwitch=1 m_iClaheSwitch=1\n",
            "CHuevanceFrame_GPU: m_iCurveSwitch=1 m_iCCorrSwitch=1 m_iColorSwitch=1\n",
            "CHuevanceFrame_GPU: isisDownScale=0 srcWidth=61 srcHeight=47 srcStride=80 scanline=50\n"));
    EXPECT_EQ(frame.copyBytes(), before);
}

TEST_F(FramePipeline, PassesFramesWithoutClaheWhereTheGridDoesNotFit) {
    writeStages(3, {{"gridWidth", "100"}});
    ASSERT_EQ(start(kSmall), 0);
    test::Frame frame(kSmall, 1);
    frame.fill(Content::kPhotoLike, 256);
    test::Frame expected(kSmall, 1);
    expected.restore(frame.copyBytes());
    test::Chain chain = chainOf(0);
    chain.on = switchesOf(2);
    chain.apply(expected, IMAGE_FORMAT_TYPE_NV12);
    log.clear();
    EXPECT_EQ(process(frame), 0);
    EXPECT_THAT(log.texts(test::kError),
                ElementsAre("CLAHE grid 100 x 6 with sampRate 4 does not fit the frame!"));
    expectClose(frame, expected, "no grid");
}

TEST_F(FramePipeline, DumpsEveryThirtyFirstFrame) {
    if (std::filesystem::exists("/data/hvcSave")) {
        GTEST_SKIP() << "this machine keeps dumps";
    }
    writeStages(2, {{"frame", "1"}});
    ASSERT_EQ(start(kEven), 0);
    test::Frame frame(kEven, 1);
    for (int n = 0; n < 63; ++n) {
        log.clear();
        EXPECT_EQ(process(frame), 0);
        EXPECT_THAT(log.texts(test::kError), n % 31 == 0
                                                 ? testing::Matcher<std::vector<std::string>>(ElementsAre(
                                                       "srcFrame save failed!", "dstFrame save failed!"))
                                                 : testing::IsEmpty())
            << n;
    }
}

// --- Failures of the device ---

TEST_F(FramePipeline, EverySetUpStepThatFailsSaysSoAndLeavesNothing) {
    const struct {
        const char* entry;  // fails at its nth call; or a tuning file that is missing
        int nth;
        const char* line;
    } cases[] = {
        {"clGetPlatformIDs", 1, "clResMalloc failed!"},
        {"clGetDeviceIDs", 1, "clResMalloc failed!"},
        {"clGetDeviceIDs", 2, "clResMalloc failed!"},
        {"clCreateContext", 1, "clResMalloc failed!"},
        {"clCreateKernel", 2, "clResMalloc failed!"},
        {"clCreateKernel", 11, "clResMalloc failed!"},
        {"clCreateCommandQueue", 1, "clQueueMalloc failed!"},
        {"param", 0, "sceneHvcParamMalloc failed!"},
        {"clCreateImage", 1, "sceneCurveLutMalloc failed!"},
        {"CurveLut", 0, "sceneCurveLutMalloc failed!"},
        {"clSVMAlloc", 1, "curveLutMalloc failed!"},
        {"ColorLut", 0, "sceneColorLutMalloc failed!"},
        {"clCreateBuffer", 1, "colorLutMalloc failed!"},
        {"clEnqueueWriteBuffer", 1, "colorLutMalloc failed!"},
        {"clCreateBuffer", 2, "colorLutMalloc failed!"},
        {"clCreateBuffer", 3, "colorLutMalloc failed!"},
    };
    forgetMask();  // and from here on there is a program cache
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.entry) + " " + std::to_string(c.nth));
        sim_opencl_reset();
        sim_opencl_set_svm_level(2);
        if (c.nth > 0) {
            sim_opencl_fail(c.entry, c.nth, CL_OUT_OF_HOST_MEMORY);
        } else if (std::string(c.entry) == "param") {
            writeStages(31, {{"maskSource", "2"}, {"sceneNum", "1000000"}});
        } else {
            dir.remove(c.entry);
        }
        handle = this;
        int result = HuevanceFrameMalloc_GPU(dir.mutablePath(), kSmall, 8,
                                             const_cast<char*>(s_cache->path().c_str()), &handle);
        EXPECT_EQ(result, -1);
        EXPECT_EQ(handle, nullptr);
        const std::vector<std::string> lines = log.texts(test::kError);
        ASSERT_GE(lines.size(), 2U);
        EXPECT_EQ(lines[lines.size() - 2], c.line);
        EXPECT_EQ(lines.back(), "HuevanceMalloc_GPU failed!\n");
        EXPECT_EQ(sim_opencl_live(nullptr), 0);

        // A second stream starts.
        writeStages(31, {{"maskSource", "2"}});
        writeTables(1);
        ASSERT_EQ(start(kSmall), 0);
        test::Frame frame(kSmall, 1);
        EXPECT_EQ(process(frame), 0);
        stop();
    }
}

TEST_F(FramePipeline, SurvivesEveryCallThatFails) {
#define HUEVANCE_CL_ENTRY(name, arguments) #name,
    const char* const entries[] = {
#include "jni/opticommon/symb/OpenCLEntries.inc"
    };
    writeStages(31, {{"maskSource", "2"}});
    writeTables(2);
    for (const int svm : {0, 1}) {
        // One clean stream first, to learn how often each entry is called: set-up, two frames with a fade,
        // release.
        const auto stream = [&] {
            writeStages(31,
                        {{"maskSource", "2"}, {"sceneNum", "2"}, {"sceneIdx", "0/1/"}, {"gridWidth", "3"}});
            if (start(kSmall) == 0) {
                test::Frame frame(kSmall, 1);
                frame.fill(Content::kNoise, 256);
                process(frame, IMAGE_FORMAT_TYPE_NV21, 1);
                process(frame, IMAGE_FORMAT_TYPE_NV12, 0);
                EXPECT_TRUE(frame.paddingUntouched());
                stop();
            }
        };
        sim_opencl_reset();
        sim_opencl_set_svm_level(svm);
        stream();
        std::map<std::string, int> calls;
        for (const char* entry : entries) {
            calls[entry] = sim_opencl_calls(entry);
        }
        for (const auto& [entry, count] : calls) {
            if (entry.find("Release") != std::string::npos || entry == "clSVMFree") {
                continue;  // what a driver refuses to release stays
            }
            for (int nth = 1; nth <= std::min(count, 12); ++nth) {
                SCOPED_TRACE(entry + " " + std::to_string(nth));
                sim_opencl_reset();
                sim_opencl_set_svm_level(svm);
                sim_opencl_fail(entry.c_str(), nth, CL_OUT_OF_RESOURCES);
                stream();
                ASSERT_EQ(sim_opencl_live(nullptr), 0);
                ASSERT_EQ(sim_opencl_violation(), nullptr) << sim_opencl_violation();
            }
        }
    }
}

TEST(FramePipelineDeathTest, APhoneWithoutADriverGetsAnError) {
    test::startDeathTestsSafely();
    for (const char* library :
         {"libNoSuchDriver.so", "libm.so.6"}) {  // none, and one without a single entry point
        const auto scenario = [library] {
            MNN::OpenCLSymbols::candidatePaths() = {library};
            test::TuningDir dir;
            dir.writeSets({{"claheSwitch", "1"}});
            test::LogCapture log;
            void* handle = &log;
            const int result =
                HuevanceFrameMalloc_GPU(dir.mutablePath(), kSmall, 8, const_cast<char*>("/nowhere"), &handle);
            EXPECT_EQ(result, -1);
            EXPECT_EQ(handle, nullptr);
            EXPECT_THAT(
                log.texts(test::kError),
                IsSupersetOf({"clGetPlatformIDs errCode: -59!", "cachepath:/nowhere/HvKernel.bin",
                              "clCreateProgramWithSource errCode: -59!", "clBuildProgram errCode: -59!",
                              "!!!ERROR!!! checkErr: -59 CL_INVALID_OPERATION, CL_PROGRAM_BINARY_SIZES",
                              "create claheMap_kernel errCode: -59!\n", "create all kernels failed.",
                              "clResMalloc failed!", "HuevanceMalloc_GPU failed!\n"}));
            const auto missing = Contains("OpenCL init error , callback ...");
            if (std::string(library) == "libm.so.6") {
                EXPECT_THAT(log.texts(test::kError), Not(missing));
            } else {
                EXPECT_THAT(log.texts(test::kError), missing);
            }
            test::endOfDeathTest();
        };
        EXPECT_EXIT(scenario(), ::testing::ExitedWithCode(0), "passed") << library;
    }
}

// --- Through the family, and for long ---

TEST_F(FramePipeline, TheFamilyRoutesItByName) {
    writeStages(2);
    char name[] = "GPU";
    const std::string cache = s_cache->path();
    ASSERT_EQ(
        HuevanceFrameMalloc(name, dir.mutablePath(), kEven, 8, const_cast<char*>(cache.c_str()), &handle), 0);
    EXPECT_THAT(log.texts(test::kInfo), Contains("HuevanceMalloc_GPU succeeded!\n"));
    test::Frame frame(kEven, 1);
    frame.fill(Content::kRamp, 256);
    test::Frame expected(kEven, 1);
    expected.restore(frame.copyBytes());
    test::Chain chain = chainOf(0);
    chain.on = switchesOf(2);
    chain.apply(expected, IMAGE_FORMAT_TYPE_NV21);
    Image image = {};
    image.format = IMAGE_FORMAT_TYPE_NV21;
    image.planes[0].data = frame.data();
    image.planes[0].fd = -1;
    log.clear();
    ExtParam param = {"portraitMaskPointer", nullptr};
    EXPECT_EQ(HuevanceFrameSetExtParam(name, handle, &param), 0);
    EXPECT_EQ(HuevanceFrameProcess(name, handle, &image, 0), 0);
    expectClose(frame, expected, "family");
    EXPECT_THAT(log.texts(test::kInfo), Contains("HuevanceSetExtParam_GPU succeeded!\n"));
    EXPECT_THAT(log.texts(test::kInfo),
                Contains(testing::MatchesRegex("preview on GPU run time is [0-9.]+ms\n")));
    EXPECT_THAT(log.texts(test::kInfo), Contains("HuevanceProcess_GPU succeeded!\n"));
    EXPECT_EQ(HuevanceFrameFree(name, handle), 0);
    handle = nullptr;
    EXPECT_THAT(log.texts(test::kInfo), Contains("HuevanceFree_GPU succeeded!\n"));
    EXPECT_EQ(HuevanceFrameFree(name, nullptr), -1);
    EXPECT_THAT(log.texts(test::kError), Contains("HuevanceFree_GPU failed! HvcHandle is NULL!\n"));
}

long openDescriptors() { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); }

[[maybe_unused]] long residentPages() {
    std::ifstream in("/proc/self/statm");
    long size = 0;
    long resident = 0;
    in >> size >> resident;
    return resident;
}

TEST_F(FramePipeline, RunsForLongOnTheSameResources) {
#ifdef __SANITIZE_ADDRESS__
    constexpr int kStreams = 50;
#else
    constexpr int kStreams = 1000;
#endif
    constexpr int kFramesEach = 10;
    const RoiInfo roi = {16, 16, 16, 16};
    writeStages(31, {{"maskSource", "2"}, {"gridWidth", "2"}, {"gridHeight", "2"}});
    test::Frame frame(roi, 1);
    frame.fill(Content::kPhotoLike, 256);
    long descriptors = 0;
    [[maybe_unused]] long pages = 0;
    for (int stream = 0; stream < kStreams; ++stream) {
        ASSERT_EQ(start(roi), 0);
        const int live = sim_opencl_live(nullptr);
        const int created = sim_opencl_calls("clCreateBuffer");
        for (int n = 0; n < kFramesEach; ++n) {
            ASSERT_EQ(process(frame), 0);
        }
        ASSERT_EQ(sim_opencl_live(nullptr), live);
        ASSERT_EQ(sim_opencl_calls("clCreateBuffer") - created, kFramesEach)
            << "the wrap of the frame, nothing else";
        stop();
        ASSERT_EQ(sim_opencl_live(nullptr), 0);
        log.clear();
        if (stream == kStreams / 10) {
            descriptors = openDescriptors();
            pages = residentPages();
        }
    }
    EXPECT_EQ(openDescriptors(), descriptors);
#ifndef __SANITIZE_ADDRESS__
    EXPECT_LT(residentPages() - pages, 1000);  // of 4 KiB, over 900 streams
#endif
}

}  // namespace
