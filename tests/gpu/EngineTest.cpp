// The engine by itself: program cache, shared memory, the host's mask, and what it launches.
#include <gmock/gmock.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>

#include "core/ColorLut.h"
#include "gpu/Huevance_GPU.h"
#include "gpu/ProgramCache.h"
#include "tests/gpu/support/Device.h"
#include "tests/support/Frames.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TuningDir.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::HasSubstr;
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
    CHuevance_GPU& start(const std::string& cacheDirectory) {
        m_engine = std::make_unique<CHuevance_GPU>();
        m_engine->setCachePath(cacheDirectory.c_str());
        log.clear();
        EXPECT_EQ(m_engine->clResMalloc(), 0);
        EXPECT_EQ(m_engine->clQueueMalloc(), 0);
        return *m_engine;
    }
    CHuevance_GPU& start() { return start(dir.path()); }
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
        std::erase_if(lines, [](const std::string& line) { return line.find("vm") == std::string::npos; });
        EXPECT_EQ(lines, expected);
    }
}

// --- The program cache ---

TEST_F(Engine, UsesTheCacheOnlyWhenItIsWholeAndItsOwn) {
    const std::string cache = dir.path() + "/HvKernel.bin";
    start();
    EXPECT_EQ(sim_opencl_calls("clCreateProgramWithSource"), 1);
    EXPECT_THAT(log.texts(test::kError),
                ElementsAre("cachepath:" + cache, "getBinariesFromCache open " + cache + " is failed"));
    std::ifstream in(cache, std::ios::binary);
    const std::string whole(std::istreambuf_iterator<char>(in), {});
    std::string flipped = whole;
    flipped[whole.size() / 2] = static_cast<char>(flipped[whole.size() / 2] ^ 4);
    // A sound program of somebody else.
    constexpr char kOther[] = "__kernel void other(__global int* x) { x[0] = 1; }";
    gpu::Program program;
    gpu::createProgramWithSource(kOther, sizeof(kOther) - 1, engine().m_context.get(), program.out());
    gpu::buildProgram(engine().m_device, program.address());
    const std::string otherCache = dir.path() + "/other.bin";
    ASSERT_EQ(gpu::saveProgramsToBinary({program.get(), program.get()}, otherCache.c_str()), 0);
    program.reset();
    std::ifstream otherIn(otherCache, std::ios::binary);
    const std::string other(std::istreambuf_iterator<char>(otherIn), {});

    const struct {
        const char* what;
        const std::string& bytes;
        bool sealed;
        const char* driver;
        const char* line;  // of the refusal; null: the cache serves
        int binaries;      // programs made of it; no driver may see a damaged one
    } cases[] = {
        {"whole", whole, true, nullptr, nullptr, 1},
        {"flipped", flipped, true, nullptr, "not what was sealed", 0},
        {"cut in the binary", whole.substr(0, whole.size() - 1), true, nullptr, "wrong cache", 0},
        {"another driver", whole, true, "99.9", "not what was sealed", 0},
        {"without a seal", whole, false, nullptr, nullptr, 1},
        {"without the probe", other, false, nullptr,
         "kernel_V2316 is not exsisted, kernel bin will be updated.", 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        dir.write("HvKernel.bin", c.bytes);
        if (!c.sealed) {
            std::filesystem::remove(gpu::cacheSealPath(cache.c_str()));
        }
        sim_opencl_reset();
        sim_opencl_set_driver_version(c.driver);
        start();
        EXPECT_EQ(sim_opencl_calls("clCreateProgramWithSource"), c.line != nullptr ? 1 : 0);
        EXPECT_EQ(sim_opencl_calls("clCreateProgramWithBinary"), c.binaries);
        EXPECT_TRUE(c.line != nullptr || engine().m_kernels[gpu::kVersionProbe]);
        const Lines lines = log.texts(test::kError);
        if (c.line != nullptr) {
            EXPECT_THAT(lines, Contains(HasSubstr(c.line)));
        } else {
            EXPECT_THAT(lines, ElementsAre("cachepath:" + cache));
        }
        EXPECT_EQ(gpu::getBinariesFromCache(cache.c_str()).size(), 1U) << "rewritten";
        sim_opencl_set_driver_version(nullptr);
        start();  // a seal for the next one
    }
    sim_opencl_reset();
    for (int n = 1; n <= 2; ++n) {
        start("/nowhere");
        EXPECT_EQ(sim_opencl_calls("clCreateProgramWithSource"), n);
        EXPECT_THAT(log.texts(test::kError),
                    Contains("saveProgramsToBinary open /nowhere/HvKernel.bin is failed"));
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

TEST_F(Engine, HalvesTheHostsMaskToTheByte) {
    constexpr RoiInfo kMasks[] = {{64, 48, 256, 48}, {61, 47, 244, 47}, {64, 10, 320, 10}, {16, 8, 67, 8},
                                  {2, 2, 8, 2},      {64, 48, 64, 48},  {1, 9, 64, 9},     {9, 1, 64, 1},
                                  {100, 6, 20, 6},   {64, 48, 256, 200}};
    for (const int svm : {1, 2}) {
        sim_opencl_set_svm_level(svm);
        start().m_iMaskSource = 1;
        gpu::DeviceTable& table = engine().m_portraitMask;
        for (RoiInfo roi : kMasks) {
            SCOPED_TRACE(std::to_string(roi.width) + "x" + std::to_string(roi.height));
            engine().portraitMaskFree();
            engine().setExtParam("portraitMaskRoiInfo", &roi);
            test::GuardedMemory mask(
                static_cast<std::size_t>(roi.height * roi.stride));  // its end is the end
            ASSERT_EQ(table.size(), mask.size());
            test::Random random(4);
            std::generate_n(mask.data(), mask.size(),
                            [&] { return static_cast<unsigned char>(random.below(256)); });
            engine().setExtParam("portraitMaskPointer", mask.data());
            const std::vector<unsigned char> expected = halvedMask(mask, roi);
            const void* got = table.open(engine().m_queue.get(), table.size());
            EXPECT_EQ(std::memcmp(got, expected.data(), expected.size()), 0);
            table.close(engine().m_queue.get());
        }
    }
}

TEST_F(Engine, TakesTheHostsMaskOnlyAsLaidDown) {
    RoiInfo roi = {16, 16, 64, 16};
    RoiInfo absurd = {INT32_MAX, INT32_MAX, INT32_MAX, INT32_MAX};
    std::vector<float> mask(16 * 16, 1.0F);
    for (const int svm : {0, 1, 2, 3}) {
        sim_opencl_set_svm_level(svm);
        start().m_iMaskSource = 2;
        const auto set = [this](const char* key, const void* value) {
            EXPECT_EQ(engine().setExtParam(key, value), 0);
        };
        set("portraitMaskRoiInfo", &roi);
        EXPECT_EQ(engine().m_stMaskRoi.width, 0) << "another mask source";
        engine().m_iMaskSource = 1;
        set("portraitMaskPointer", mask.data());
        EXPECT_EQ(engine().portraitMaskMalloc(), 0) << "before its geometry";
        EXPECT_TRUE(engine().m_portraitMask.empty());
        set("portraitMaskRoiInfo", &roi);
        set("portraitMaskRoiInfo", nullptr);
        set("portraitMaskPointer", nullptr);
        set("another", mask.data());
        set(nullptr, mask.data());
        EXPECT_EQ(engine().m_portraitMask.empty(), svm == 0 || svm == 3);
        set("portraitMaskRoiInfo", &absurd);
        set("portraitMaskPointer", nullptr);
        EXPECT_TRUE(engine().m_portraitMask.empty());
    }
}

// --- What is launched ---

class Launches : public Engine {
protected:
    static void sink(void* self, const sim_opencl_launch* launch) {
        EXPECT_EQ(launch->dimensions, 2U);
        EXPECT_FALSE(launch->has_local);
        EXPECT_FALSE(launch->has_offset);
        std::string text = launch->kernel + (" " + std::to_string(launch->global[0])) + " x " +
                           std::to_string(launch->global[1]) + ":";
        for (std::size_t i = 0; i < launch->argument_count; ++i) {
            text += " " + static_cast<Launches*>(self)->name(launch->arguments[i]);
        }
        static_cast<Launches*>(self)->launches.push_back(text);
    }
    // A buffer by its index, a table by its name, a geometry, or a number.
    std::string name(const sim_opencl_argument& argument) {
        if (argument.is_svm != 0) {
            return "svm";
        }
        if (argument.size == sizeof(RoiInfo)) {
            int roi[4];
            std::memcpy(roi, argument.bytes, sizeof(roi));
            return "(" + std::to_string(roi[0]) + " " + std::to_string(roi[1]) + " " +
                   std::to_string(roi[2]) + " " + std::to_string(roi[3]) + ")";
        }
        if (argument.size == sizeof(cl_mem)) {
            cl_mem memory = nullptr;
            std::memcpy(&memory, argument.bytes, sizeof(memory));
            for (int i = 0; i < 4; ++i) {
                if (memory == engine().m_frames[i].get()) {
                    return "#" + std::to_string(i);
                }
            }
            return memory == engine().m_claheLut.get() ? "image" : "lattice";
        }
        EXPECT_EQ(argument.size, sizeof(int));
        int word = 0;
        std::memcpy(&word, argument.bytes, sizeof(word));
        return std::to_string(word);
    }
    static std::string bits(float value) {
        int word = 0;
        std::memcpy(&word, &value, sizeof(word));
        return std::to_string(word);
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
    CHuevance_GPU& e = start();
    e.m_iSceneNum = 1;
    e.setSensorPath(dir.path().c_str());
    e.setSrcRoiInfo(kRoi);
    e.setRoiInfo(kRoi);
    e.m_iClaheSwitch = e.m_iCurveSwitch = e.m_iCCorrSwitch = e.m_iColorSwitch = e.m_iPProtectSwitch = 1;
    e.m_iMaskSource = 1;
    RoiInfo maskRoi = {60, 46, 240, 46};
    e.setExtParam("portraitMaskRoiInfo", &maskRoi);
    ASSERT_EQ(std::min({e.claheLutMalloc(), e.sceneCurveLutMalloc(), e.curveLutMalloc(0),
                        e.sceneColorLutMalloc(), e.colorLutMalloc(0), e.sdYuvMalloc()}),
              0);
    e.m_fSatStrength = 1.25F;
    e.m_fColorStrength = 0.75F;
    sim_opencl_set_launch_sink(&Launches::sink, this);
    test::Frame frame(kRoi, 1);
    for (const bool nv12 : {true, false}) {
        const std::string order = nv12 ? "NV12" : "NV21";
        e.setYuvType(nv12 ? IMAGE_FORMAT_TYPE_NV12 : IMAGE_FORMAT_TYPE_NV21);
        ASSERT_EQ(e.setDstYuv(frame.data(), -1), 0);
        ASSERT_EQ(e.setClaheLut(frame.data()), 0);
        launches.clear();
        log.clear();
        const auto run = [&](const std::function<int()>& stage, const char* fails) {
            ASSERT_EQ(sim_opencl_fail(fails, 1, CL_OUT_OF_RESOURCES), 0);
            EXPECT_EQ(stage(), -1);
            launches.resize(launches.size() - (std::strcmp(fails, "clFlush") == 0 ? 1 : 0));
            EXPECT_EQ(stage(), 0);
        };
        run([&] { return e.claheMap(); }, "clEnqueueNDRangeKernel");
        run([&] { return e.curveMap(); }, "clSetKernelArgSVMPointer");
        run([&] { return e.colorCorrect(); }, "clSetKernelArg");
        run([&] { return e.colorMap(); }, "clFlush");
        run([&] { return e.portraitProtect(1); }, "clSetKernelArgSVMPointer");
        run([&] { return e.portraitProtect(2); }, "clEnqueueNDRangeKernel");
        EXPECT_THAT(log.texts(test::kError),
                    ElementsAre("claheMap: m_claheMap_kernel failed!", "curveMap: m_curveMap_kernel failed!",
                                "colorCorrect: m_colorCorrect_kernel failed!",
                                "colorMap: m_colorMap_" + order + "_kernel failed!",
                                "portraitProtect: m_colorProtect_kernel failed!",
                                "portraitProtect: m_skinDetectAndcolorProtect_kernel failed!"));
        const std::string roi = " (61 47 80 50)";
        // Tiles are 61 / 8 = 7 by 47 / 6 = 7; 8 = (61 + 7) / 8, 24 = (47 + 1) / 2. The skin detector finds
        // the chroma order in the sign of the second scanline.
        EXPECT_THAT(launches,
                    ElementsAre("claheMap_kernel 8 x 47: #2 #0" + roi + " image 3 3 " +
                                    bits(7.0F / (61 - 1 - 7)) + " " + bits(5.0F / (47 - 1 - 7)),
                                "curveMap_kernel 8 x 24: #0 #1 #2" + roi + " svm " + bits(1.25F),
                                "colorCorrect_kernel 8 x 24: #1 #0 #2" + roi + roi,
                                "colorMap_" + order + "_kernel 8 x 24: #1 #0 #0 #1" + roi + " lattice " +
                                    bits(1.0F / 17.0F) + " " + bits(0.75F),
                                "colorProtect_kernel 8 x 24: #0 #1 #2" + roi + roi + " svm (60 46 240 46)",
                                "skinDetectAndcolorProtect_kernel 8 x 24: #0 #1 #2" + roi +
                                    (nv12 ? roi : " (61 47 80 -50)")));
        e.getDstYuv(frame.data());
    }
}

TEST_F(Launches, WorkAtHalfTheSizeWhereThatIsAskedFor) {
    CHuevance_GPU& e = start();
    e.m_bIsDownScale = true;
    e.m_iCurveSwitch = 2;  // only 1 is on
    e.setSrcRoiInfo({62, 46, 80, 48});
    e.setRoiInfo({31, 23, 40, 24});
    ASSERT_EQ(e.sdYuvMalloc(), 0);
    EXPECT_EQ(e.m_index.m_iFinal, 3);
    EXPECT_TRUE(e.m_index.m_bClaheLast);
    sim_opencl_set_launch_sink(&Launches::sink, this);
    test::Frame frame({62, 46, 80, 48}, 1);
    ASSERT_EQ(e.setDstYuv(frame.data(), -1), 0);
    ASSERT_EQ(e.getDstYuv(frame.data()), 0);
    EXPECT_THAT(launches, ElementsAre("downScale_kernel 4 x 12: #2 (62 46 80 48) #3 (31 23 40 24)",
                                      "upScale_kernel 4 x 6: #3 #3 (31 23 40 24) #2 (62 46 80 48)"));
}

}  // namespace
