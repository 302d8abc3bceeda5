// The preview pipeline as a host drives it, frame by frame, against the model.
#include <gmock/gmock.h>
#include <sys/mman.h>
#include <unistd.h>

#include <bit>
#include <cstring>
#include <utility>

#include "gpu/HuevanceFrame_GPU.h"
#include "gpu/Huevance_GPU.h"
#include "jni/HuevanceFrame.h"
#include "jni/opticommon/symb/OpenCLSymbol.h"
#include "tests/gpu/support/Device.h"
#include "tests/support/DeathTest.h"
#include "tests/support/Files.h"
#include "tests/support/Photo.h"
#include "tests/support/Rig.h"

namespace {

using test::Content;
using test::Frame;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsSupersetOf;
using Settings = std::map<std::string, std::string>;
using Lines = std::vector<std::string>;

constexpr RoiInfo kSmall = {61, 47, 80, 50};
constexpr RoiInfo kEven = {96, 64, 96, 64};
constexpr IMAGE_FORMAT_TYPE kNv12 = IMAGE_FORMAT_TYPE_NV12;
constexpr IMAGE_FORMAT_TYPE kNv21 = IMAGE_FORMAT_TYPE_NV21;

model::Tuning tuningOf(int scene, int stages) {
    model::Tuning tuning = rig::gentleTuning(scene, stages);
    const float less = 0.3F * static_cast<float>(scene);
    tuning.colorStrength = 0.8F - less;
    tuning.satStrength = 1.2F - less;
    tuning.claheStrength = 1.0F - less;
    tuning.grid = {3, 2, 4};
    tuning.maskSource = 2;
    return tuning;
}

// As the model has it, but for what follows from the order of the buffers: curves change the chroma in place,
// so later stages find no other, and where none needs the unprocessed luma, that is gone when correction
// looks for it. Protection alone does not count.
std::vector<int> expectedSamples(const Frame& frame, model::Tuning tuning, IMAGE_FORMAT_TYPE type) {
    model::Picture picture = model::fromFrame(frame);
    const auto enhance = [&](const model::Tuning& with) { return model::enhanced(picture, with, type, 8); };
    if (tuning.curve) {
        model::Tuning chroma;
        chroma.curve = true;
        chroma.satStrength = std::exchange(tuning.satStrength, 1.0F);
        picture.chroma = enhance(chroma).chroma;
    }
    model::Tuning late;
    late.correct = tuning.correct && !tuning.color && !tuning.protect;
    tuning.correct = tuning.correct && !late.correct;
    tuning.protect = tuning.protect && (tuning.clahe || tuning.curve || tuning.correct || tuning.color);
    picture = enhance(tuning);
    return enhance(late).samples();
}

class FramePipeline : public test::DeviceTest {
protected:
    void TearDown() override {
        stop();
        DeviceTest::TearDown();
    }

    // The stages of five bits, as rig::makeTuning has them.
    void write(int stages, const Settings& more = {}, int scenes = 1) {
        std::vector<model::Tuning> tunings;
        for (int scene = 0; scene < scenes; ++scene) {
            tunings.push_back(tuningOf(scene, stages));
        }
        rig::write(dir, tunings, more);
    }
    int start(const RoiInfo& roi, int bits = 8) {
        stop();
        log.clear();
        return HuevanceFrameMalloc_GPU(dir.mutablePath(), roi, bits, test::cachePath(), &handle);
    }
    void stop() {
        if (handle != nullptr) {
            EXPECT_EQ(HuevanceFrameFree_GPU(std::exchange(handle, nullptr)), 0);
        }
    }
    void setMask(RoiInfo roi, float* mask) {
        HuevanceFrameSetExtParam_GPU(handle, const_cast<char*>("portraitMaskRoiInfo"), &roi);
        HuevanceFrameSetExtParam_GPU(handle, const_cast<char*>("portraitMaskPointer"), mask);
    }
    // The engine keeps the geometry of a mask from stream to stream.
    void keepMask(const RoiInfo& roi) {
        write(1, {{"maskSource", "1"}});
        ASSERT_EQ(start(kSmall), 0);
        setMask(roi, nullptr);
        stop();
    }
    int process(Frame& frame, IMAGE_FORMAT_TYPE type = kNv12, int scene = 0, int fd = -1) {
        return HuevanceFrameProcess_GPU(handle, frame.data(), fd, type, scene);
    }
    void expectFrame(Frame& frame, const model::Tuning& tuning, const std::string& what,
                     IMAGE_FORMAT_TYPE type = kNv12, int scene = 0) {
        const std::vector<int> expected = expectedSamples(frame, tuning, type);
        EXPECT_EQ(process(frame, type, scene), 0) << what;
        test::expectClose(frame, expected, 2, 1000, what);
    }
    static Frame frameOf(const RoiInfo& roi, Content content, int seed = 1) {
        return rig::makeFrame({8, kNv12, roi}, content, static_cast<std::uint32_t>(seed));
    }

    test::TuningDir dir;
    test::LogCapture log;
    void* handle = nullptr;
};

TEST_F(FramePipeline, EveryCombinationOfStagesGivesTheReferencesFrame) {
    constexpr RoiInfo kTinyRoi = {9, 7, 16, 8};
    constexpr RoiInfo kPhoto = {500, 398, 512, 400};
    const bool kTiny = std::getenv("HUEVANCE_TINY_FRAMES") != nullptr;  // see scripts/oclgrind.sh
    constexpr Content kContents[] = {Content::kPhotoLike, Content::kNoise, Content::kAlternating,
                                     Content::kMax, Content::kZero};
    int turn = 0;
    for (int bits = 0; bits < 32; ++bits) {
        for (int svm = 0; svm <= (kTiny ? 0 : 3); ++svm, ++turn) {
            const RoiInfo& roi = bits == 31 && !kTiny ? kPhoto : kTiny || turn % 3 == 0 ? kTinyRoi : kSmall;
            const auto type = turn % 2 == 0 ? kNv12 : kNv21;
            const bool hostMask = (bits & 16) != 0 && (svm == 1 || svm == 2) && (bits / 2 + svm) % 2 == 0;
            const std::string what = "stages " + std::to_string(bits) + " svm " + std::to_string(svm) +
                                     " width " + std::to_string(roi.width) + " type " + std::to_string(type) +
                                     (hostMask ? " host mask" : "");
            sim_opencl_set_svm_level(svm);
            write(bits, {{"maskSource", hostMask ? "1" : "2"}});
            ASSERT_EQ(start(roi), 0) << what;
            model::Tuning tuning = tuningOf(0, bits);
            std::vector<float> mask;
            if (hostMask) {
                tuning.maskSource = 1;
                tuning.hostMask.clear();
                // Constant over what one value of the halved mask stands for: eight columns and two rows.
                for (int y = 0; y < roi.height; ++y) {
                    for (int x = 0; x < roi.width; ++x) {
                        const int block =
                            std::min(x, roi.width - 2) / 8 + std::min(y, roi.height - 2) / 2 * 3;
                        tuning.hostMask.push_back(0.25F * static_cast<float>(block % 5));
                        mask.push_back(tuning.hostMask.back());
                    }
                    mask.push_back(1.0F);
                }
                setMask({roi.width, roi.height, 4 * (roi.width + 1), roi.height}, mask.data());
            }
            for (int n = 0; n < 2; ++n) {  // what the first leaves on the device is not the second's
                Frame frame = frameOf(roi, kContents[(turn + n) % 5], turn + n + 1);
                if (bits == 31 && n == 0) {
                    test::fillWithPhoto(frame, svm < 2 ? "portrait" : "still_life");
                }
                expectFrame(frame, tuning, what, type);
            }
            ASSERT_EQ(sim_opencl_violation(), nullptr) << what << ": " << sim_opencl_violation();
        }
    }
}

// However long the device's list of extensions is. Strict drivers take whole pages alone.
TEST_F(FramePipeline, IonMemoryIsWrappedByItsDescriptorOrElseByItsAddress) {
    Frame frame = frameOf(kSmall, Content::kPhotoLike);
    const std::size_t size = frame.bytes();
    const auto memory = [](std::size_t bytes) {
        const int fd = memfd_create("ion", 0);
        EXPECT_EQ(ftruncate(fd, static_cast<off_t>(bytes)), 0);
        return fd;
    };
    const int whole = memory(size + 8), cut = memory(size - 1);
    enum { kNoIon, kIon, kStrict };
    const struct {
        int device;
        int mapped;  // -1: memory without a descriptor
        int passed;
        std::size_t offset;
        bool refused;
    } cases[] = {{kIon, whole, whole, 0, false},      {kIon, -1, -1, 0, false},
                 {kIon, cut, cut, 0, true},           {kIon, -1, whole, 0, true},
                 {kIon, whole, cut, 0, true},         {kIon, whole, STDIN_FILENO, 0, true},
                 {kStrict, whole, whole, 0, false},   {kStrict, whole, whole, 8, true},
                 {kNoIon, -1, STDIN_FILENO, 0, false}};
    std::vector<unsigned char> expected;
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        sim_opencl_set_strict(c.device == kStrict ? 1 : 0);
        const std::string extension = c.device == kNoIon ? "cl_qcom_ext_host_ptr" : "cl_qcom_ion_host_ptr";
        sim_opencl_set_extensions((std::string(3000, 'x') + " " + extension).c_str());
        write(31);
        ASSERT_EQ(start(kSmall), 0);
        const int kind = c.mapped < 0 ? MAP_PRIVATE | MAP_ANONYMOUS : MAP_SHARED;
        void* pages = mmap(nullptr, size + 8, PROT_READ | PROT_WRITE, kind, c.mapped, 0);
        auto* at = static_cast<unsigned char*>(pages) + c.offset;
        std::memcpy(at, frame.data(), size - (c.mapped == cut ? 1 : 0));
        log.clear();
        EXPECT_EQ(HuevanceFrameProcess_GPU(handle, at, c.passed, kNv21, 0), 0);
        const Lines lines = {"ion memory of descriptor " + std::to_string(c.passed) +
                             " is refused with -37: the frame is wrapped by its address"};
        EXPECT_EQ(log.texts(test::kError), c.refused ? lines : Lines());
        if (expected.empty()) {
            expected.assign(at, at + size);
            EXPECT_NE(std::memcmp(at, frame.data(), size), 0);
        }
        EXPECT_EQ(std::memcmp(at, expected.data(), size - 1), 0);
        munmap(pages, size + 8);
    }
    close(whole);
    close(cut);
}

// A launch that fails leaves its stage out, and no other. Without protection, which comes last, luma is as
// the host gave it, and chroma as the curves left it.
TEST_F(FramePipeline, AStageThatFailsIsLeftOut) {
    sim_opencl_set_svm_level(2);
    for (const auto type : {kNv12, kNv21}) {
        const int maskSource = type == kNv12 ? 1 : 2;
        const std::string order = type == kNv12 ? "NV12" : "NV21";
        const std::string lines[] = {
            "claheMap: m_claheMap_kernel failed!", "curveMap: m_curveMap_kernel failed!",
            "colorCorrect: m_colorCorrect_kernel failed!",
            "colorMap: m_colorMap_" + order + "_kernel failed!",
            type == kNv12 ? "portraitProtect: m_colorProtect_kernel failed!"
                          : "portraitProtect: m_skinDetectAndcolorProtect_kernel failed!"};
        write(31, {{"maskSource", std::to_string(maskSource)}});
        ASSERT_EQ(start(kEven), 0);
        std::vector<float> mask(96 * 64, 0.25F);
        setMask({96, 64, 4 * 96, 64}, mask.data());
        for (int stage = 0; stage < 5; ++stage) {
            model::Tuning tuning = tuningOf(0, stage < 4 ? 31 & ~(1 << stage) : 0);
            tuning.maskSource = maskSource;
            tuning.hostMask = mask;
            Frame frame = frameOf(kEven, Content::kPhotoLike, stage + 1);
            std::vector<int> expected = expectedSamples(frame, tuning, type);
            if (stage == 4) {
                const std::vector<int> curved = expectedSamples(frame, tuningOf(0, 2), type);
                std::copy(curved.begin() + 96 * 64, curved.end(), expected.begin() + 96 * 64);
            }
            sim_opencl_fail("clEnqueueNDRangeKernel", stage + 1, CL_OUT_OF_RESOURCES);
            log.clear();
            EXPECT_EQ(process(frame, type), 0);
            EXPECT_EQ(log.texts(test::kError), Lines{lines[stage]});
            test::expectClose(frame, expected, 2, 1000, lines[stage]);
        }
        // All of them without the frame's memory.
        Frame frame = frameOf(kEven, Content::kPhotoLike);
        const std::vector<unsigned char> before = frame.copyBytes();
        Lines expected = {"clCreateBuffer errCode: -5!\n", "ion create cl buffer failed!"};
        expected.insert(expected.end(), std::begin(lines), std::end(lines));
        sim_opencl_fail("clCreateBuffer", 1, CL_OUT_OF_RESOURCES);
        log.clear();
        EXPECT_EQ(process(frame, type), 0);
        EXPECT_EQ(log.texts(test::kError), expected);
        EXPECT_EQ(frame.copyBytes(), before);
    }
    keepMask({});
}

// The geometry of a mask outlives its stream, but not when it cannot be held.
TEST_F(FramePipeline, AMaskThatCannotBeHeldStopsNoLaterStream) {
    for (const RoiInfo& roi : {RoiInfo{1 << 15, 1 << 15, 1 << 17, 1 << 15}, RoiInfo{64, 48, 256, 48}}) {
        SCOPED_TRACE(roi.width);
        sim_opencl_reset();
        sim_opencl_set_svm_level(2);
        write(17, {{"maskSource", "1"}});
        ASSERT_EQ(start(kSmall), 0);
        sim_opencl_fail("clSVMAlloc", roi.width == 64 ? 1 : 0, CL_OUT_OF_RESOURCES);
        log.clear();
        setMask(roi, nullptr);
        EXPECT_EQ(log.texts(test::kError).size(), 1U);
        Frame frame = frameOf(kSmall, Content::kPhotoLike);
        EXPECT_EQ(process(frame), -1) << "there is no mask";
        ASSERT_EQ(start(kSmall), 0);
        std::vector<float> mask(61 * 47, 1.0F);
        setMask({61, 47, 244, 47}, mask.data());
        EXPECT_EQ(process(frame), 0);
    }
    keepMask({});
}

// --- Scenes ---

// While the previous table p and the current one q differ, frame k weighs them (T - 1 - k) / T to the rest;
// the fade ends after frame k = T, and the tables keep its last state. Without frames to fade, or a table to
// fade from, q is all.
TEST_F(FramePipeline, FadesBetweenScenesFrameByFrame) {
    const struct {
        int sceneNum;
        int T;
        std::vector<int> tables;
    } cases[] = {
        // A whole fade and more; a change in mid-fade; back to where it came from.
        {3, 4, {1, 1, 2, 2, 2, 2, 2, 2, 2, 0, 0, 1, 1, 1, 1, 1, 2, 2, 1, 1, 2, 2, 2, 2, 2}},
        {3, 0, {2, 2, 0, 2}},
        {1, 60, {0, 0}},
    };
    for (const auto& [sceneNum, T, indices] : cases) {
        write(11, {{"sceneIdx", "2/0/1/0/"}, {"transFrameNum", std::to_string(T)}}, sceneNum);
        ASSERT_EQ(start(kEven), 0);
        constexpr int kSceneOf[] = {1, 2, 0};
        model::Fade fade;
        int frames = 0;
        model::Tuning tables = tuningOf(sceneNum > 1 ? 1 : 0, 11);
        for (const int q : indices) {
            model::Tuning now = tuningOf(q, 11);
            const model::Fade at = fade.next(q, sceneNum, T);
            if (at.p != q) {
                now = tables = model::faded(tuningOf(at.p, 11), now, at.k, T);
            } else if (T == 0) {
                tables = now;
            }
            now.yCurve = tables.yCurve;
            now.lattice = tables.lattice;
            Frame frame = frameOf(kEven, Content::kPhotoLike, ++frames);
            expectFrame(frame, now, "frame " + std::to_string(frames), kNv12, kSceneOf[q]);
        }
    }
}

// A buffer shows uploads as writes, coarse-grain shared memory as maps. The colour table is always a buffer.
TEST_F(FramePipeline, UploadsTablesOnlyWhileTheyChange) {
    write(10, {{"transFrameNum", "3"}}, 2);
    for (const int svm : {0, 1}) {
        sim_opencl_set_svm_level(svm);
        ASSERT_EQ(start(kEven), 0);
        Frame frame(kEven, 1);
        const auto uploads = [&](int scene) {
            const auto sum = [] {
                return sim_opencl_calls("clEnqueueWriteBuffer") + sim_opencl_calls("clEnqueueSVMMap");
            };
            const int before = sum();
            EXPECT_EQ(process(frame, kNv12, scene), 0);
            return sum() - before;
        };
        EXPECT_EQ(uploads(1), 0);
        for (int k = 0; k <= 3; ++k) {
            EXPECT_EQ(uploads(0), 2) << k;
        }
        EXPECT_EQ(uploads(0), 0);
    }
}

// --- Refusals ---

TEST_F(FramePipeline, LeavesFramesAloneWithNothingToDoOrNoWayToDoIt) {
    const std::string kWho = "CHuevanceFrame_GPU: ";
    const struct {
        int stages;
        Settings settings;
        int svm;
        int scene;
        int result;
        std::string line;
    } cases[] = {
        {17, {{"maskSource", "0"}}, 2, 0, -1, kWho + "mask source is 0, but portrait protect switch is 1!"},
        {17, {{"maskSource", "1"}}, 2, 0, -1, kWho + "portrait mask pointer is NULL!"},
        {1, {{"maskSource", "1"}}, 3, 0, -1, kWho + "portrait mask pointer is NULL!"},
        {1, {}, 2, 512, -1, "scene 512 has no tuning table!"},
        {1, {}, 2, -1, -1, "scene -1 has no tuning table!"},
        {16, {}, 2, 0, 0, "all the switches are set 0, do nothing and return."},
        {31, {{"frameSwitch", "0"}}, 2, 7, 0, kWho + "m_iPProtectSwitch=1 m_iClaheSwitch=1\n"},
    };
    keepMask({});
    Frame frame = frameOf(kSmall, Content::kNoise);
    const std::vector<unsigned char> before = frame.copyBytes();
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        sim_opencl_reset();
        sim_opencl_set_svm_level(c.svm);
        write(c.stages, c.settings);
        const bool off = c.settings.contains("frameSwitch");
        ASSERT_EQ(start(kSmall, off ? 10 : 8), 0) << "any depth will do when nothing is done";
        const int launched = sim_opencl_calls("clEnqueueNDRangeKernel");
        for (int n = 0; n < 3; ++n) {
            log.clear();
            EXPECT_EQ(process(frame, kNv21, c.scene), c.result);
            const Lines errors = {c.line, "HuevanceProcess_GPU failed!\n"};
            EXPECT_EQ(log.texts(test::kError), c.result != 0 ? errors : Lines());
            EXPECT_THAT(log.texts(), Contains(c.line));
        }
        EXPECT_LE(sim_opencl_live("memory"), 4) << "refused frames do not pile up";
        EXPECT_EQ(sim_opencl_calls("clEnqueueNDRangeKernel"), launched) << "since the set-up";
        EXPECT_EQ(sim_opencl_calls("clCreateContext"), off ? 0 : 1);
    }
    Lines lines = log.texts();
    lines.resize(6);
    EXPECT_THAT(lines,
                ElementsAre(kWho + "yuvType: IMAGE_FORMAT_TYPE_NV21", kWho + "scene: 7",
                            kWho + "m_iFrameSwitch=0 m_iMaskSource=2\n", cases[6].line,
                            kWho + "m_iCurveSwitch=1 m_iCCorrSwitch=1 m_iColorSwitch=1\n",
                            kWho + "isisDownScale=0 srcWidth=61 srcHeight=47 srcStride=80 scanline=50\n"));
    EXPECT_EQ(HuevanceFrameProcess_GPU(handle, nullptr, -1, kNv12, 0), 0) << "nothing is done with it";
    write(31);
    ASSERT_EQ(start({61, 47, 60, 50}), 0);
    EXPECT_EQ(HuevanceFrameProcess_GPU(handle, nullptr, -1, kNv12, 0), -1);
    EXPECT_EQ(process(frame), -1) << "a stride below the width";
    EXPECT_EQ(frame.copyBytes(), before);
}

// Frames 0 and 31 with one number in both names, in mid-fade, too. A dump has scanline x 3 / 2 rows; the
// frame's memory, which ends after its last chroma row, may have fewer.
TEST_F(FramePipeline, DumpsEveryThirtyFirstFrame) {
    write(2, {{"frame", "1"}}, 2);
    const test::TuningDir dumps;
    CHuevanceFrame_GPU preview;
    preview.m_pcDumpDirectory = dumps.path().c_str();
    preview.setDataBit(8);
    preview.setCachePath(test::cachePath());
    ASSERT_EQ(preview.malloc(dir.mutablePath(), kSmall), 0);
    const auto dumped = [&](const char* which, int n) {
        return test::readFile(dumps.path() + "/" + which + "frame_61x47_0_" + std::to_string(n) + ".yuv");
    };
    for (int n = 0; n < 63; ++n) {
        Frame frame = frameOf(kSmall, Content::kPhotoLike, n + 1);
        const auto whole = [&] {
            std::string bytes(reinterpret_cast<const char*>(frame.data()), frame.bytes());
            bytes.resize(80 * 75);
            return n % 31 == 0 && n < 62 ? bytes : "";
        };
        const std::string before = whole();
        preview.m_pcDumpDirectory = n < 62 ? dumps.path().c_str() : "/nowhere";
        log.clear();
        EXPECT_EQ(preview.process(frame.data(), -1, kNv12, 0), 0);
        EXPECT_EQ(dumped("src", n), before) << n;
        EXPECT_EQ(dumped("dst", n), whole()) << n;
        EXPECT_EQ(log.texts(test::kError),
                  n < 62 ? Lines() : Lines({"srcFrame save failed!", "dstFrame save failed!"}));
    }
    preview.free();
}

// At set-up, with the kernels of both orders of chroma: no frame waits for a driver that compiles what a size
// needs. What the tables hold of it no frame sees.
TEST_F(FramePipeline, RunsEveryKernelThatIsOnOnceBeforeTheFirstFrame) {
    const Lines quiet = {std::string("cachepath:") + test::cachePath() + "/HvKernel.bin"};
    for (int bits = 0; bits < 32; ++bits) {
        write(bits);
        sim_opencl_reset();
        ASSERT_EQ(start(kSmall), 0);
        EXPECT_EQ(log.texts(test::kError), quiet);
        const int kernels = std::popcount(static_cast<unsigned>(bits));
        const bool colorMap = (bits & 8) != 0;
        EXPECT_EQ(sim_opencl_calls("clEnqueueNDRangeKernel"), colorMap ? 2 * kernels : kernels) << bits;
        EXPECT_EQ(sim_opencl_calls("clFinish"), bits == 0 ? 0 : colorMap ? 2 : 1) << bits;
        sim_opencl_fail("clEnqueueWriteImage", 1, CL_OUT_OF_RESOURCES);
        Frame frame = frameOf(kSmall, Content::kPhotoLike);
        expectFrame(frame, tuningOf(0, bits & ~1), "stages " + std::to_string(bits));
    }
    // A host's mask that is not there yet, a grid that does not fit, a geometry that holds no frame: no line.
    for (const Settings& each : {Settings{{"maskSource", "1"}}, Settings{{"gridWidth", "100"}}, Settings{}}) {
        write(31, each);
        ASSERT_EQ(start(each.empty() ? RoiInfo{61, 47, 60, 50} : kSmall), 0);
        EXPECT_EQ(log.texts(test::kError), quiet);
    }
}

// --- Failures of the device ---

TEST_F(FramePipeline, EverySetUpStepThatFailsSaysSoAndLeavesNothing) {
    const struct {
        std::string entry;  // fails at its nth call; or with 0 a tuning file that is missing
        int nth;
        const char* line;
    } cases[] = {
        {"clGetPlatformIDs", 1, "clResMalloc failed!"},
        {"clCreateKernel", 2, "clResMalloc failed!"},
        {"clCreateCommandQueue", 1, "clQueueMalloc failed!"},
        {"param", 0, "sceneHvcParamMalloc failed!"},
        {"clSVMAlloc", 1, "table of 4096 bytes cannot be allocated on the device!"},  // the mask: no own line
        {"clCreateImage", 1, "sceneCurveLutMalloc failed!"},
        {"CurveLut", 0, "sceneCurveLutMalloc failed!"},
        {"clSVMAlloc", 2, "curveLutMalloc failed!"},
        {"ColorLut", 0, "sceneColorLutMalloc failed!"},
        {"clCreateBuffer", 1, "colorLutMalloc failed!"},
        {"clEnqueueWriteBuffer", 1, "colorLutMalloc failed!"},
        {"clCreateBuffer", 3, "colorLutMalloc failed!"},
        {"depth", 10, "dataBit 10 is not supported!"},
        {"depth", 16, "dataBit 16 is not supported!"},
    };
    keepMask({32, 32, 128, 32});
    for (const auto& [entry, nth, line] : cases) {
        SCOPED_TRACE(entry + " " + std::to_string(nth));
        sim_opencl_reset();
        sim_opencl_set_svm_level(2);
        write(31, {{"sceneNum", entry == "param" ? "1000000" : "1"}});
        if (nth == 0) {
            dir.remove(entry);
        }
        sim_opencl_fail(entry.c_str(), nth, CL_OUT_OF_HOST_MEMORY);
        EXPECT_EQ(start(kSmall, entry == "depth" ? nth : 8), -1);
        EXPECT_EQ(handle, nullptr);
        Lines lines = log.texts(test::kError);
        ASSERT_GE(lines.size(), 2U);
        lines.erase(lines.begin(), lines.end() - 2);
        EXPECT_THAT(lines, ElementsAre(line, "HuevanceMalloc_GPU failed!\n"));
        EXPECT_EQ(sim_opencl_live(nullptr), 0);
        if (std::string(line).starts_with("table")) {
            keepMask({32, 32, 128, 32});  // one that could not be held is forgotten
        }
    }
    keepMask({});
}

TEST(FramePipelineDeathTest, APhoneWithoutADriverGetsAnError) {
    test::startDeathTestsSafely();
    // None, and one without a single entry point.
    for (const std::string library : {"libNoSuchDriver.so", "libm.so.6"}) {
        const auto scenario = [&library] {
            MNN::OpenCLSymbols::candidatePaths() = {library};
            test::TuningDir dir;
            dir.writeSets({{"claheSwitch", "1"}});
            test::LogCapture log;
            void* handle = &log;
            EXPECT_EQ(
                HuevanceFrameMalloc_GPU(dir.mutablePath(), kSmall, 8, const_cast<char*>("/nowhere"), &handle),
                -1);
            EXPECT_EQ(handle, nullptr);
            const Lines lines = log.texts(test::kError);
            EXPECT_THAT(lines, IsSupersetOf(
                                   {"clGetPlatformIDs errCode: -59!", "cachepath:/nowhere/HvKernel.bin",
                                    "clCreateProgramWithSource errCode: -59!", "clBuildProgram errCode: -59!",
                                    "create claheMap_kernel errCode: -59!\n", "create all kernels failed.",
                                    "clResMalloc failed!", "HuevanceMalloc_GPU failed!\n"}));
            EXPECT_EQ(std::count(lines.begin(), lines.end(), "OpenCL init error , callback ..."),
                      library == "libm.so.6" ? 0 : 1);
            test::endOfDeathTest();
        };
        EXPECT_EXIT(scenario(), ::testing::ExitedWithCode(0), "passed") << library;
    }
}

}  // namespace
