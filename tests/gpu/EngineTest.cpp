// The engine by itself: shared memory, the host's mask, and what it launches.
#include <gmock/gmock.h>

#include <cstring>
#include <functional>
#include <memory>

#include "core/ColorLut.h"
#include "gpu/Huevance_GPU.h"
#include "tests/gpu/support/Device.h"
#include "tests/support/Frames.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TuningDir.h"

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using Lines = std::vector<std::string>;

TEST(TileRecord, DividesTruncatingAndTakesEveryDivisor) {
    const struct {
        RoiInfo roi;
        int gridWidth, gridHeight, sampRate;
        int expected[5];
    } cases[] = {
        {{1920, 1080, 1920, 1080}, 8, 6, 4, {240, 180, 60, 45, 12 * 15}},
        {{1921, 1085, 2048, 1088}, 8, 6, 7, {240, 180, 35, 26, 7 * 9}},  // (240 + 6) / 7, (180 + 6) / 7
        {{100, 100, 100, 100}, 0, 3, 4, {0, 33, 0, 9, 3 * 0}},           // (0 + 3) / 4 = 0
        {{100, 100, 100, 100}, 4, 4, 0, {25, 25, 0, 0, 0}},
        {{100, 60, 100, 60}, -1, 1, 1, {-100, 60, -100, 60, 15 * -24}},  // (60 + 3) / 4 x (-100 + 3) / 4
    };
    for (const auto& c : cases) {
        const gpu::TileRecord r = gpu::tileRecord(c.roi, c.gridWidth, c.gridHeight, c.sampRate);
        EXPECT_THAT((std::array{r.tileWidth, r.tileHeight, r.sampWidth, r.sampHeight, r.sampCount}),
                    ElementsAreArray(c.expected));
    }
}

class Engine : public test::DeviceTest {
protected:
    void TearDown() override {
        m_engine.reset();
        DeviceTest::TearDown();
    }
    // A new engine, set up.
    CHuevance_GPU& start() {
        m_engine = std::make_unique<CHuevance_GPU>();
        m_engine->setCachePath(dir.path().c_str());
        log.clear();
        EXPECT_EQ(m_engine->clResMalloc(), 0);
        EXPECT_EQ(m_engine->clQueueMalloc(), 0);
        return *m_engine;
    }
    CHuevance_GPU& engine() { return *m_engine; }

    test::TuningDir dir;  // the cache, too
    test::LogCapture log;

private:
    std::unique_ptr<CHuevance_GPU> m_engine;
};

TEST_F(Engine, FindsTheHighestKindOfSharedMemory) {
    const char* const kKinds[] = {"support svm coarse buffer!", "support svm fine buffer!",
                                  "support svm fine system buffer!"};
    for (int level = 0; level <= 3; ++level) {
        sim_opencl_set_svm_level(level);
        EXPECT_EQ(start().m_iSvmType, level);
        Lines expected(kKinds, kKinds + level);
        if (level == 0) {
            expected.push_back("no support svm!");
        }
        expected.push_back("m_iSvmType = " + std::to_string(level));
        Lines lines = log.texts();
        std::erase_if(lines, [](const std::string& line) {  // by their beginning: others have random names
            return !line.starts_with("support") && !line.starts_with("no support") &&
                   !line.starts_with("m_iSvmType");
        });
        EXPECT_EQ(lines, expected);
    }
}

TEST(EnginePathDeathTest, TooLongACachePathIsFatal) {
    CHuevance_GPU engine;
    EXPECT_EQ(engine.setCachePath(std::string(2996, 'p').c_str()), 0);
    EXPECT_EQ(std::strlen(engine.m_acCachePath), 2996U);
    EXPECT_EQ(engine.setCachePath("short"), 0);
    EXPECT_STREQ(engine.m_acCachePath, "short");
    EXPECT_DEATH(engine.setCachePath(std::string(2997, 'p').c_str()), "cache path");
}

// --- The host's mask ---

// The halved mask byte by byte, after the words of its description alone.
std::vector<unsigned char> halvedMask(const test::GuardedMemory& mask, const RoiInfo& roi) {
    const auto limit = static_cast<long long>(mask.size());
    std::vector<unsigned char> out(mask.size());
    for (long long r = 0; roi.width >= 2 && r < roi.height / 2; ++r) {
        for (long long g = 0; 4 * g < roi.width / 2; ++g) {
            const long long from = r * (roi.stride / 4) * 8 + 32 * g;
            const long long to = 4 * r * roi.width + 16 * g;
            for (long long byte = 0; byte < 16 && from + 4 <= limit && to + 16 <= limit; ++byte) {
                out[static_cast<std::size_t>(to + byte)] = mask.data()[from + byte % 4];
            }
        }
    }
    return out;
}

TEST_F(Engine, TakesAndHalvesTheHostsMaskOnlyAsLaidDown) {
    constexpr RoiInfo masks[] = {{64, 48, 256, 48}, {61, 47, 244, 47}, {64, 10, 320, 10},
                                 {16, 8, 67, 8},    {2, 2, 8, 2},      {64, 48, 64, 48},
                                 {1, 9, 64, 9},     {9, 1, 64, 1},     {100, 6, 20, 6}};
    constexpr RoiInfo absurd = {INT32_MAX, INT32_MAX, INT32_MAX, INT32_MAX};
    std::vector<float> ones(64 * 48, 1.0F);
    for (const int svm : {0, 1, 2, 3}) {
        sim_opencl_set_svm_level(svm);
        start().m_iMaskSource = 2;
        gpu::DeviceTable& table = engine().m_portraitMask;
        const auto set = [this](const char* key, const void* value) {
            EXPECT_EQ(engine().setExtParam(key, value), 0);
        };
        set("portraitMaskRoiInfo", &masks[0]);
        EXPECT_EQ(engine().m_stMaskRoi.width, 0) << "another mask source";
        engine().m_iMaskSource = 1;
        set("portraitMaskPointer", ones.data());
        EXPECT_EQ(engine().portraitMaskMalloc(), 0) << "before its geometry";
        EXPECT_TRUE(table.empty());
        for (const RoiInfo& roi : masks) {
            SCOPED_TRACE(std::to_string(roi.width) + "x" + std::to_string(roi.height));
            engine().portraitMaskFree();
            set("portraitMaskRoiInfo", &roi);
            set("portraitMaskRoiInfo", nullptr);
            set("portraitMaskPointer", nullptr);
            set("another", ones.data());
            set(nullptr, ones.data());
            test::GuardedMemory mask(static_cast<std::size_t>(roi.height * roi.stride));
            test::Random random(4);
            std::generate_n(mask.data(), mask.size(),
                            [&] { return static_cast<unsigned char>(random.below(256)); });
            set("portraitMaskPointer", mask.data());
            ASSERT_EQ(table.size(), svm == 0 || svm == 3 ? 0 : mask.size());
            if (!table.empty()) {
                const void* got = table.open(engine().m_queue.get(), table.size());
                EXPECT_EQ(std::memcmp(got, halvedMask(mask, roi).data(), mask.size()), 0);
                table.close(engine().m_queue.get());
            }
        }
        for (const RoiInfo& refused : {RoiInfo{}, absurd, RoiInfo{-1000000, 480, 2560, 480}}) {
            set("portraitMaskRoiInfo", &masks[0]);
            set("portraitMaskRoiInfo", &refused);
            EXPECT_TRUE(table.empty()) << refused.width;
        }
    }
}

// --- What is launched ---

class Launches : public Engine {
protected:
    static void sink(void* self, const sim_opencl_launch* launch) {
        EXPECT_EQ(launch->dimensions, 2U);
        EXPECT_FALSE(launch->has_local || launch->has_offset);
        std::string text = launch->kernel + (" " + std::to_string(launch->global[0])) + " x " +
                           std::to_string(launch->global[1]) + ":";
        for (std::size_t i = 0; i < launch->argument_count; ++i) {
            text += " " + static_cast<Launches*>(self)->name(launch->arguments[i]);
        }
        static_cast<Launches*>(self)->launches.push_back(text);
    }
    // A buffer by its index, a table by its name, else the words: those of a geometry, or a number's.
    std::string name(const sim_opencl_argument& argument) {
        if (argument.is_svm != 0) {
            return "svm";
        }
        if (argument.size == sizeof(cl_mem)) {
            cl_mem memory = nullptr;
            std::memcpy(&memory, argument.bytes, sizeof(memory));
            const auto& frames = engine().m_frames;
            const auto at = std::find_if(std::begin(frames), std::end(frames),
                                         [&](const gpu::Memory& frame) { return frame.get() == memory; });
            return at != std::end(frames)                ? "#" + std::to_string(at - frames)
                   : memory == engine().m_claheLut.get() ? "image"
                                                         : "lattice";
        }
        return words(argument.bytes, argument.size);
    }
    static std::string words(const void* bytes, std::size_t size) {
        std::vector<int> numbers(size / sizeof(int));
        std::memcpy(numbers.data(), bytes, size);
        return testing::PrintToString(numbers);
    }
    static std::string bits(float value) { return " " + words(&value, sizeof(value)); }
    CHuevance_GPU& start(const RoiInfo& source, const RoiInfo& roi) {
        CHuevance_GPU& e = Engine::start();
        e.setSrcRoiInfo(source);
        e.setRoiInfo(roi);
        sim_opencl_set_launch_sink(&Launches::sink, this);
        return e;
    }
    void TearDown() override {
        sim_opencl_set_launch_sink(nullptr, nullptr);
        Engine::TearDown();
    }

    Lines launches;
};

// Arguments in order, work sizes, and a line under its own name for each launch that fails, after which the
// buffers for the next stage stay as they were.
TEST_F(Launches, HaveTheirArgumentsInOrderAndFailByName) {
    constexpr RoiInfo kRoi = {61, 47, 80, 50};
    sim_opencl_set_svm_level(2);
    dir.writeFloats("CurveLut", std::vector<float>(256));
    dir.writeFloats("ColorLut", std::vector<float>(huevance::kColorLutFloats));
    CHuevance_GPU& e = start(kRoi, kRoi);
    e.m_iSceneNum = e.m_iMaskSource = 1;
    e.setSensorPath(dir.path().c_str());
    e.m_iClaheSwitch = e.m_iCurveSwitch = e.m_iCCorrSwitch = e.m_iColorSwitch = e.m_iPProtectSwitch = 1;
    RoiInfo maskRoi = {60, 46, 240, 46};
    e.setExtParam("portraitMaskRoiInfo", &maskRoi);
    ASSERT_EQ(e.claheLutMalloc() | e.sceneCurveLutMalloc() | e.curveLutMalloc(0) | e.sceneColorLutMalloc() |
                  e.colorLutMalloc(0) | e.sdYuvMalloc(),
              0);
    e.m_fSatStrength = 1.25F;
    e.m_fColorStrength = 0.75F;
    test::Frame frame(kRoi, 1);
    const std::string roi = " { 61, 47, 80, 50 }";
    for (const bool nv12 : {true, false}) {
        const std::string colorMap = nv12 ? "colorMap_NV12_kernel" : "colorMap_NV21_kernel";
        e.setYuvType(nv12 ? IMAGE_FORMAT_TYPE_NV12 : IMAGE_FORMAT_TYPE_NV21);
        ASSERT_EQ(e.setDstYuv(frame.data(), -1), 0);
        ASSERT_EQ(e.setClaheLut(frame.data()), 0);
        // Tiles are 61 / 8 = 7 by 47 / 6 = 7; 8 = (61 + 7) / 8, 24 = (47 + 1) / 2. The skin detector finds
        // the chroma order in the sign of the second scanline.
        const struct {
            std::function<int()> run;
            const char* fails;
            const char* stage;
            std::string kernel;
            std::string launch;
        } stages[] = {
            {[&] { return e.claheMap(); }, "clEnqueueNDRangeKernel", "claheMap", "claheMap_kernel",
             " 8 x 47: #2 #0" + roi + " image { 3 } { 3 }" + bits(7.0F / (61 - 1 - 7)) +
                 bits(5.0F / (47 - 1 - 7))},
            {[&] { return e.curveMap(); }, "clSetKernelArgSVMPointer", "curveMap", "curveMap_kernel",
             " 8 x 24: #0 #1 #2" + roi + " svm" + bits(1.25F)},
            {[&] { return e.colorCorrect(); }, "clSetKernelArg", "colorCorrect", "colorCorrect_kernel",
             " 8 x 24: #1 #0 #2" + roi + roi},
            {[&] { return e.colorMap(); }, "clFlush", "colorMap", colorMap,
             " 8 x 24: #1 #0 #0 #1" + roi + " lattice" + bits(1.0F / 17.0F) + bits(0.75F)},
            {[&] { return e.portraitProtect(1); }, "clSetKernelArgSVMPointer", "portraitProtect",
             "colorProtect_kernel", " 8 x 24: #0 #1 #2" + roi + roi + " svm { 60, 46, 240, 46 }"},
            {[&] { return e.portraitProtect(2); }, "clEnqueueNDRangeKernel", "portraitProtect",
             "skinDetectAndcolorProtect_kernel",
             " 8 x 24: #0 #1 #2" + roi + (nv12 ? " { 61, 47, 80, -50 }" : roi)},
        };
        for (const auto& stage : stages) {
            log.clear();
            ASSERT_EQ(sim_opencl_fail(stage.fails, 1, CL_OUT_OF_RESOURCES), 0);
            EXPECT_EQ(stage.run(), -1);
            EXPECT_THAT(log.texts(test::kError),
                        ElementsAre(std::string(stage.stage) + ": m_" + stage.kernel + " failed!"));
            launches.clear();
            EXPECT_EQ(stage.run(), 0);
            EXPECT_THAT(launches, ElementsAre(stage.kernel + stage.launch));
        }
        e.getDstYuv(frame.data());
    }
}

TEST_F(Launches, WorkAtHalfTheSizeWhereThatIsAskedFor) {
    CHuevance_GPU& e = start({62, 46, 80, 48}, {31, 23, 40, 24});
    e.m_bIsDownScale = true;
    e.m_iCurveSwitch = 2;  // only 1 is on
    ASSERT_EQ(e.sdYuvMalloc(), 0);
    EXPECT_EQ(e.m_index.m_iFinal, 3);
    EXPECT_TRUE(e.m_index.m_bClaheLast);
    test::Frame frame({62, 46, 80, 48}, 1);
    ASSERT_EQ(e.setDstYuv(frame.data(), -1), 0);
    ASSERT_EQ(e.getDstYuv(frame.data()), 0);
    EXPECT_THAT(launches,
                ElementsAre("downScale_kernel 4 x 12: #2 { 62, 46, 80, 48 } #3 { 31, 23, 40, 24 }",
                            "upScale_kernel 4 x 6: #3 #3 { 31, 23, 40, 24 } #2 { 62, 46, 80, 48 }"));
}

}  // namespace
