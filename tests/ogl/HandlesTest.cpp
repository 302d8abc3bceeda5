// The name "OGL" through the sixteen entries: dispatch and its words, handles that share the process's
// display, and long lives with flat memory, descriptors and objects.
#include <dirent.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <array>
#include <cstdio>

#include "jni/HuevanceAPI.h"
#include "jni/HuevanceFrame.h"
#include "jni/HuevancePhoto.h"
#include "tests/ogl/support/GlFixture.h"
#include "tests/ogl/support/OglTuning.h"
#include "tests/support/StdoutCapture.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

constexpr int kWidth = 32;
constexpr int kHeight = 24;

class HandlesTest : public test::GlTest {
protected:
    void SetUp() override {
        GlTest::SetUp();
        get_algo_api(&m_api);
    }

    void* create(test::OglTuning& tuning, int mode) {
        InitParam init = {};
        init.dataBit = 8;
        init.framePhotoFlag = mode;
        init.directory1 = tuning.directory().parent().c_str();
        init.directory2 = tuning.directory().name().c_str();
        init.imageRoi = {kWidth, kHeight, kWidth, kHeight};
        void* handle = nullptr;
        EXPECT_EQ(m_api.algoInitHandle(&handle, &init), 0);
        return handle;
    }

    int process(void* handle, test::Frame& frame, test::DeviceBuffer* out, int scene = 1) {
        Image image = {};
        image.w = kWidth;
        image.h = kHeight;
        image.format = IMAGE_FORMAT_TYPE_NV21;
        image.planes[0].data = frame.data();
        image.planes[3].data = out != nullptr ? out->get() : nullptr;
        return m_api.singleProcessImage(handle, &image, &scene, nullptr);
    }

    static test::Frame makeFrame() {
        test::Frame frame({kWidth, kHeight, kWidth, kHeight}, 1);
        frame.fill(test::Content::kPhotoLike, 256);
        return frame;
    }

    AlgoApi m_api = {};
};

TEST_F(HandlesTest, TheNameReachesBothPipelines) {
    test::OglTuning tuning;
    test::Frame frame = makeFrame();
    for (const int mode : {kPhotoMode, kFrameMode}) {
        test::DeviceBuffer out(kWidth, kHeight, IMAGE_FORMAT_TYPE_NV21);
        void* handle = create(tuning, mode);
        EXPECT_EQ(m_api.isSupportFormat(handle, 5), 1);
        EXPECT_EQ(m_api.isSupportFormat(handle, 9), 0);
        ASSERT_EQ(process(handle, frame, &out), 0);
        const test::ShaderInput in =
            tuning.input(frame, IMAGE_FORMAT_TYPE_NV21, 1, test::OglTuning::strengths(1));
        const test::Difference worst = test::compareWithModel(out, test::modelFrame(in));
        EXPECT_LE(std::max(worst.luma, worst.chroma), 1);
        EXPECT_EQ(m_api.releaseHandle(handle, nullptr), 0);
    }
}

TEST_F(HandlesTest, DispatchSaysHowEachStepWent) {
    test::OglTuning tuning;
    test::Frame frame = makeFrame();
    test::DeviceBuffer out(kWidth, kHeight, IMAGE_FORMAT_TYPE_NV21);
    char name[] = "OGL";
    char key[] = "unknown";
    ExtParam param = {key, nullptr};
    Image image = {};
    image.format = IMAGE_FORMAT_TYPE_NV21;
    image.planes[0].data = frame.data();
    const auto ours = [](const test::LogCapture& log) {
        std::vector<test::LogLine> lines;
        for (const test::LogLine& line : log.lines()) {
            if (line.tag == test::kVersionTag && line.text.back() == '\n') {
                lines.push_back(line);
            }
        }
        return lines;
    };
    const auto line = [](int priority, const char* text) {
        return test::LogLine{priority, test::kVersionTag, text};
    };
    const auto timing = [](const std::string& pattern) {
        return testing::Field(&test::LogLine::text, MatchesRegex(pattern));
    };

    test::LogCapture log;
    void* photo = nullptr;
    EXPECT_EQ(HuevancePhotoMalloc(name, tuning.path(), frame.roi(), 8, &photo), 0);
    EXPECT_EQ(HuevancePhotoSetExtParam(name, photo, &param), 0);
    EXPECT_EQ(HuevancePhotoProcess(name, photo, &image, 1),
              0);  // no hardware buffer: nothing, without a word
    image.planes[3].data = out.get();
    EXPECT_EQ(HuevancePhotoProcess(name, photo, &image, 1), 0);
    EXPECT_EQ(HuevancePhotoProcess(name, photo, &image, 99), -1);
    EXPECT_EQ(HuevancePhotoFree(name, photo), 0);
    EXPECT_EQ(HuevancePhotoFree(name, nullptr), -1);
    const std::string captureTiming = "HVCapture Huevance in OGL run time is [0-9]+\\.[0-9][0-9]ms\n";
    EXPECT_THAT(
        ours(log),
        ElementsAre(line(4, "HuevancePhotoMalloc_OGL succeeded!\n"),
                    line(4, "HuevancePhotoSetExtParam_OGL succeeded!\n"), timing(captureTiming),
                    line(4, "HuevancePhotoProcess_OGL succeeded!\n"), timing(captureTiming),
                    line(6, "HuevancePhotoProcess_OGL failed!\n"), line(4, "HuevanceFree succeeded!\n"),
                    line(6, "HuevanceFree failed! HvcHandle is NULL!\n")));

    log.clear();
    void* preview = nullptr;
    char cache[] = "";
    EXPECT_EQ(HuevanceFrameMalloc(name, tuning.path(), frame.roi(), 8, cache, &preview), 0);
    EXPECT_EQ(HuevanceFrameSetExtParam(name, preview, &param), 0);
    EXPECT_EQ(HuevanceFrameProcess(name, preview, &image, 1), 0);
    EXPECT_EQ(HuevanceFrameProcess(name, preview, &image, 99), -1);
    EXPECT_EQ(HuevanceFrameFree(name, preview), 0);
    EXPECT_EQ(HuevanceFrameFree(name, nullptr), -1);
    const std::string previewTiming = "preview on GPU run time is [0-9]+\\.[0-9][0-9]ms\n";
    EXPECT_THAT(ours(log),
                ElementsAre(line(4, "HuevanceFrameMalloc_OGL succeeded!\n"),
                            line(4, "HuevanceFrameSetExtParam_OGL succeeded!\n"), timing(previewTiming),
                            timing(previewTiming), line(6, "HuevanceFrameProcess_OGL failed!\n"),
                            line(4, "HuevanceFrameFree_OGL succeeded!\n"),
                            line(6, "HuevanceFrameFree_OGL failed! HvcHandle is NULL!\n")));

    // A set-up and a parameter that fail.
    log.clear();
    for (const char* entry : {"eglInitialize", "eglMakeCurrent"}) {
        sim_gl_fail(entry, 1, EGL_BAD_ALLOC);
        EXPECT_EQ(HuevancePhotoMalloc(name, tuning.path(), frame.roi(), 8, &photo), -1);
        EXPECT_EQ(photo, nullptr);
        sim_gl_fail(entry, 1, EGL_BAD_ALLOC);
        EXPECT_EQ(HuevanceFrameMalloc(name, tuning.path(), frame.roi(), 8, cache, &preview), -1);
        EXPECT_EQ(preview, nullptr);
    }
    ASSERT_EQ(HuevancePhotoMalloc(name, tuning.path(), frame.roi(), 8, &photo), 0);
    ASSERT_EQ(HuevanceFrameMalloc(name, tuning.path(), frame.roi(), 8, cache, &preview), 0);
    log.clear();
    sim_gl_fail("eglMakeCurrent", 1, EGL_BAD_ACCESS);
    EXPECT_EQ(HuevancePhotoSetExtParam(name, photo, &param), -1);
    sim_gl_fail("eglMakeCurrent", 1, EGL_BAD_ACCESS);
    EXPECT_EQ(HuevanceFrameSetExtParam(name, preview, &param), 0);  // previews never report it
    EXPECT_THAT(ours(log), ElementsAre(line(6, "HuevancePhotoSetExtParam_OGL failed!\n"),
                                       line(6, "HuevanceFrameSetExtParam_OGL failed!\n")));
    EXPECT_EQ(HuevancePhotoFree(name, photo), 0);
    EXPECT_EQ(HuevanceFrameFree(name, preview), 0);
}

// The display is the process's: whoever goes first must not take it from the others.
TEST_F(HandlesTest, LiveAndGoInAnyOrder) {
    test::OglTuning tuning;
    test::Frame frame = makeFrame();
    std::array<int, 3> order = {0, 1, 2};
    std::vector<unsigned char> reference[2];
    do {
        test::DeviceBuffer out(kWidth, kHeight, IMAGE_FORMAT_TYPE_NV21);
        void* handles[3] = {};
        for (const int i : order) {
            handles[i] = create(tuning, i == 0 ? kPhotoMode : kFrameMode);
        }
        std::array<bool, 3> alive = {true, true, true};
        for (const int next : order) {
            for (std::size_t i = 0; i < 3; ++i) {
                if (alive[i]) {
                    ASSERT_EQ(process(handles[i], frame, &out), 0);
                    std::vector<unsigned char>& first = reference[i == 0 ? 0 : 1];
                    first = first.empty() ? out.copy() : first;
                    ASSERT_EQ(out.copy(), first);
                }
            }
            EXPECT_EQ(m_api.releaseHandle(handles[next], nullptr), 0);
            alive[static_cast<std::size_t>(next)] = false;
        }
        EXPECT_EQ(sim_gl_live(nullptr), 0);
    } while (std::next_permutation(order.begin(), order.end()));
    EXPECT_EQ(reference[0], reference[1]);
}

// --- Long lives ---

int openDescriptors() {
    int count = 0;
    DIR* directory = opendir("/proc/self/fd");
    while (readdir(directory) != nullptr) {
        ++count;
    }
    closedir(directory);
    return count;
}

double residentMegabytes() {
    long pages = 0;
    std::FILE* file = std::fopen("/proc/self/statm", "r");
    if (file == nullptr || std::fscanf(file, "%*s %ld", &pages) != 1) {
        pages = 0;
    }
    std::fclose(file);
    return static_cast<double>(pages) * static_cast<double>(sysconf(_SC_PAGESIZE)) / (1 << 20);
}

// Fewer under sanitizers, which keep what is freed.
#ifdef __SANITIZE_ADDRESS__
constexpr int kHandles = 40;
constexpr int kFrames = 500;
#else
constexpr int kHandles = 1000;
constexpr int kFrames = 10000;
#endif

TEST_F(HandlesTest, ManyHandlesLeaveNothing) {
    test::OglTuning tuning;
    test::Frame frame = makeFrame();
    test::DeviceBuffer out(kWidth, kHeight, IMAGE_FORMAT_TYPE_NV21);
    const auto once = [&](int i) {
        void* handle = create(tuning, i % 2 == 0 ? kPhotoMode : kFrameMode);
        ASSERT_EQ(process(handle, frame, &out), 0);
        ASSERT_EQ(m_api.releaseHandle(handle, nullptr), 0);
    };
    test::LogCapture quiet;
    for (int i = 0; i < kHandles / 5; ++i) {
        once(i);
    }
    [[maybe_unused]] const double memory = residentMegabytes();
    const int descriptors = openDescriptors();
    for (int i = 0; i < kHandles - kHandles / 5; ++i) {
        once(i);
        quiet.clear();
    }
    EXPECT_EQ(openDescriptors(), descriptors);
    EXPECT_EQ(sim_gl_live(nullptr), 0);
    EXPECT_EQ(Object::liveObjects(), 0);
#ifndef __SANITIZE_ADDRESS__
    EXPECT_LT(residentMegabytes() - memory, 24.0);
#endif
    RecordProperty("growthKilobytes", static_cast<int>((residentMegabytes() - memory) * 1024));
}

TEST_F(HandlesTest, ManyPreviewFramesLeaveNothing) {
    test::OglTuning tuning(test::Settings{{"transFrameNum", "7"}});
    test::Frame frame = makeFrame();
    std::vector<std::unique_ptr<test::DeviceBuffer>> ring;
    for (int i = 0; i < 4; ++i) {
        ring.push_back(std::make_unique<test::DeviceBuffer>(kWidth, kHeight, IMAGE_FORMAT_TYPE_NV21));
    }
    void* handle = create(tuning, kFrameMode);
    test::LogCapture quiet;
    const auto stream = [&](int frames) {
        for (int i = 0; i < frames; ++i) {
            ASSERT_EQ(process(handle, frame, ring[static_cast<std::size_t>(i % 4)].get(), i / 20 % 3), 0);
            quiet.clear();
        }
    };
    stream(kFrames / 10);
    [[maybe_unused]] const double memory = residentMegabytes();
    const int descriptors = openDescriptors();
    const int device = sim_gl_live(nullptr);
    const int objects = Object::liveObjects();
    stream(kFrames - kFrames / 10);
    EXPECT_EQ(openDescriptors(), descriptors);
    EXPECT_EQ(sim_gl_live(nullptr), device);
    EXPECT_EQ(Object::liveObjects(), objects);
#ifndef __SANITIZE_ADDRESS__
    EXPECT_LT(residentMegabytes() - memory, 8.0);
#endif
    EXPECT_EQ(m_api.releaseHandle(handle, nullptr), 0);
}

}  // namespace
