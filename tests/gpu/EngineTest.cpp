#include <gmock/gmock.h>

#include <array>
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
using ::testing::HasSubstr;
using ::testing::IsSupersetOf;
using ::testing::Not;

TEST(TileRecord, DividesTruncatingAndTakesEveryDivisor) {
    const struct {
        RoiInfo roi;
        int gridWidth, gridHeight, sampRate;
        std::array<int, 5> expected;
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
                    testing::ElementsAreArray(c.expected))
            << &c - cases;
    }
}

class Engine : public test::DeviceTest {
protected:
    void SetUp() override {
        DeviceTest::SetUp();
        if (!IsSkipped()) {
            restart();
        }
    }
    void TearDown() override {
        m_engine.reset();
        DeviceTest::TearDown();
    }
    void restart() {
        m_engine.reset();
        m_engine = std::make_unique<CHuevance_GPU>();
        m_engine->setCachePath(dir.path().c_str());
        log.clear();
    }
    CHuevance_GPU& engine() { return *m_engine; }

    test::TuningDir dir;  // the cache, too
    std::string cache = dir.path() + "/HvKernel.bin";
    test::LogCapture log;

private:
    std::unique_ptr<CHuevance_GPU> m_engine;
};

std::string readAll(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

// --- Shared virtual memory ---

TEST_F(Engine, FindsTheHighestKindOfSharedMemory) {
    const std::vector<std::string> kinds = {"support svm coarse buffer!", "support svm fine buffer!",
                                            "support svm fine system buffer!"};
    for (int level = 0; level <= 3; ++level) {
        restart();
        sim_opencl_set_svm_level(level);
        ASSERT_EQ(engine().clResMalloc(), 0);
        EXPECT_EQ(engine().m_iSvmType, level);
        std::vector<std::string> expected(kinds.begin(), kinds.begin() + level);
        expected.push_back("m_iSvmType = " + std::to_string(level));
        std::vector<std::string> lines;
        for (const std::string& line : log.texts(test::kInfo)) {
            if (line.find("vm") != std::string::npos) {
                lines.push_back(line);
            }
        }
        EXPECT_EQ(lines, expected);
        EXPECT_THAT(log.texts(test::kError),
                    level == 0 ? testing::Matcher<std::vector<std::string>>(Contains("no support svm!"))
                               : Not(Contains("no support svm!")));
    }
}

// --- The program cache ---

TEST_F(Engine, BuildsOnceAndStartsFromTheCache) {
    ASSERT_EQ(engine().clResMalloc(), 0);
    EXPECT_EQ(sim_opencl_calls("clCreateProgramWithSource"), 1);
    EXPECT_THAT(log.texts(test::kError),
                ElementsAre("cachepath:" + cache, "getBinariesFromCache open " + cache + " is failed"));
    restart();
    ASSERT_EQ(engine().clResMalloc(), 0);
    EXPECT_EQ(sim_opencl_calls("clCreateProgramWithSource"), 1);
    EXPECT_TRUE(engine().m_kernels[gpu::kVersionProbe]);
    EXPECT_THAT(log.texts(test::kError), ElementsAre("cachepath:" + cache));

    // Without its seal the file is taken as it is.
    std::filesystem::remove(gpu::cacheSealPath(cache.c_str()));
    restart();
    ASSERT_EQ(engine().clResMalloc(), 0);
    EXPECT_EQ(sim_opencl_calls("clCreateProgramWithSource"), 1);
}

TEST_F(Engine, RebuildsWhatIsDamagedOrOfAnotherDriver) {
    ASSERT_EQ(engine().clResMalloc(), 0);
    const std::string whole = readAll(cache);
    std::string flipped = whole;
    flipped[whole.size() / 2] = static_cast<char>(flipped[whole.size() / 2] ^ 4);
    std::string longer = whole;
    longer[24] = static_cast<char>(longer[24] + 1);  // the size of the binary
    const struct {
        const char* what;
        std::string bytes;
        const char* driver;
        const char* line;
    } cases[] = {
        {"flipped", flipped, nullptr, "not what was sealed"},
        {"cut", whole.substr(0, 20), nullptr, "wrong fromat"},
        {"cut in the binary", whole.substr(0, whole.size() - 1), nullptr, "wrong cache"},
        {"size one too large", longer, nullptr, "wrong cache"},
        {"empty", "", nullptr, "filesize cannot be 0"},
        {"another driver", whole, "99.9", "not what was sealed"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        dir.write("HvKernel.bin", c.bytes);
        sim_opencl_set_driver_version(c.driver);
        const int before = sim_opencl_calls("clCreateProgramWithSource");
        const int binaries = sim_opencl_calls("clCreateProgramWithBinary");
        restart();
        ASSERT_EQ(engine().clResMalloc(), 0);
        EXPECT_EQ(sim_opencl_calls("clCreateProgramWithSource"), before + 1);
        EXPECT_EQ(sim_opencl_calls("clCreateProgramWithBinary"), binaries)
            << "no driver may see a damaged program";
        EXPECT_THAT(log.texts(test::kError), Contains(HasSubstr(c.line)));
        EXPECT_EQ(gpu::getBinariesFromCache(cache.c_str()).size(), 1U) << "rewritten";
    }
}

TEST_F(Engine, ReplacesAProgramWithoutTheProbe) {
    // A sound program of somebody else, without a seal.
    constexpr char kOther[] = "__kernel void other(__global int* x) { x[0] = 1; }";
    ASSERT_EQ(engine().clResMalloc(), 0);
    {
        gpu::Program other;
        ASSERT_EQ(
            gpu::createProgramWithSource(kOther, sizeof(kOther) - 1, engine().m_context.get(), other.out()),
            0);
        ASSERT_EQ(gpu::buildProgram(engine().m_device, other.address()), 0);
        ASSERT_EQ(gpu::saveProgramsToBinary({other.get(), other.get()}, cache.c_str()), 0);
        std::filesystem::remove(gpu::cacheSealPath(cache.c_str()));
    }
    restart();
    ASSERT_EQ(engine().clResMalloc(), 0);
    EXPECT_THAT(log.texts(test::kError),
                Contains("kernel_V2316 is not exsisted, kernel bin will be updated."));
    EXPECT_EQ(gpu::getBinariesFromCache(cache.c_str()).size(), 1U) << "rewritten with one program";
    restart();
    ASSERT_EQ(engine().clResMalloc(), 0);
    EXPECT_THAT(log.texts(test::kError), ElementsAre("cachepath:" + cache));
}

TEST_F(Engine, WorksWithoutAPlaceForTheCache) {
    engine().setCachePath("/nowhere");
    for (int start = 1; start <= 2; ++start) {
        ASSERT_EQ(engine().clResMalloc(), 0);
        EXPECT_EQ(sim_opencl_calls("clCreateProgramWithSource"), start);
        EXPECT_THAT(log.texts(test::kError),
                    Contains("saveProgramsToBinary open /nowhere/HvKernel.bin is failed").Times(start));
    }
}

TEST_F(Engine, CannotStartWithoutOneOfItsTenKernels) {
    ASSERT_EQ(engine().clResMalloc(), 0);
    const int perStart = sim_opencl_calls("clCreateKernel");
    EXPECT_EQ(perStart, 10);
    for (int nth = 1; nth <= 10; ++nth) {
        sim_opencl_reset();
        restart();
        sim_opencl_fail("clCreateKernel", nth + 1, CL_INVALID_KERNEL_NAME);  // the first one is the probe
        EXPECT_EQ(engine().clResMalloc(), -1);
        EXPECT_EQ(log.texts(test::kError).back(), "create all kernels failed.");
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

// The halved mask byte by byte, after the words of its description alone; -1 where nothing is written.
std::vector<int> halvedMask(const std::vector<unsigned char>& mask, const RoiInfo& roi) {
    const long long limit = static_cast<long long>(mask.size());
    std::vector<int> out(mask.size(), -1);
    if (roi.width < 2 || roi.height < 2) {
        return out;
    }
    for (long long r = 0; r < roi.height / 2; ++r) {
        for (long long g = 0; 4 * g < roi.width / 2; ++g) {
            const long long from = r * (roi.stride / 4) * 8 + 32 * g;
            const long long to = 4 * r * roi.width + 16 * g;
            for (long long byte = 0; byte < 16; ++byte) {
                if (from + 4 <= limit && to + 16 <= limit) {
                    out[static_cast<std::size_t>(to + byte)] =
                        mask[static_cast<std::size_t>(from + byte % 4)];
                }
            }
        }
    }
    return out;
}

TEST_F(Engine, HalvesTheHostsMaskToTheByte) {
    constexpr RoiInfo kMasks[] = {{64, 48, 256, 48}, {61, 47, 244, 47}, {64, 10, 320, 10}, {16, 8, 67, 8},
                                  {2, 2, 8, 2},      {64, 48, 64, 48},  {1, 9, 64, 9},     {9, 1, 64, 1},
                                  {100, 6, 20, 6},   {64, 48, 256, 200}};
    ASSERT_EQ(engine().clResMalloc(), 0);
    ASSERT_EQ(engine().clQueueMalloc(), 0);
    engine().m_iMaskSource = 1;
    for (const int svm : {1, 2}) {
        sim_opencl_set_svm_level(svm);
        engine().m_iSvmType = svm;
        for (RoiInfo roi : kMasks) {
            engine().portraitMaskFree();
            engine().setExtParam("portraitMaskRoiInfo", &roi);
            ASSERT_EQ(engine().m_portraitMask.size(), static_cast<std::size_t>(roi.height * roi.stride));
            test::GuardedMemory mask(
                static_cast<std::size_t>(roi.height * roi.stride));  // its end is the end
            test::Random random(4);
            for (std::size_t i = 0; i < mask.size(); ++i) {
                mask.data()[i] = static_cast<unsigned char>(random.below(256));
            }
            engine().setExtParam("portraitMaskPointer", mask.data());
            const std::vector<int> expected = halvedMask({mask.data(), mask.data() + mask.size()}, roi);
            const auto* got =
                static_cast<const unsigned char*>(engine().m_portraitMask.open(engine().m_queue.get()));
            for (std::size_t i = 0; i < expected.size(); ++i) {
                ASSERT_EQ(got[i], std::max(expected[i], 0))
                    << roi.width << "x" << roi.height << " byte " << i;
            }
            engine().m_portraitMask.close(engine().m_queue.get());
        }
    }
}

TEST_F(Engine, TakesTheHostsMaskOnlyAsLaidDown) {
    RoiInfo roi = {16, 16, 64, 16};
    std::vector<float> mask(16 * 16, 1.0F);
    for (const int svm : {0, 1, 2, 3}) {
        sim_opencl_set_svm_level(svm);
        restart();
        ASSERT_EQ(engine().clResMalloc(), 0);
        ASSERT_EQ(engine().clQueueMalloc(), 0);
        engine().m_iMaskSource = 2;
        EXPECT_EQ(engine().setExtParam("portraitMaskRoiInfo", &roi), 0);
        EXPECT_EQ(engine().m_stMaskRoi.width, 0) << "another mask source";
        engine().m_iMaskSource = 1;
        EXPECT_EQ(engine().setExtParam("portraitMaskPointer", mask.data()), 0) << "before its geometry";
        EXPECT_EQ(engine().portraitMaskMalloc(), 0) << "before its geometry";
        EXPECT_TRUE(engine().m_portraitMask.empty());
        EXPECT_EQ(engine().setExtParam("portraitMaskRoiInfo", &roi), 0);
        EXPECT_EQ(engine().setExtParam("portraitMaskRoiInfo", nullptr), 0);
        EXPECT_EQ(engine().setExtParam("portraitMaskPointer", nullptr), 0);
        EXPECT_EQ(engine().setExtParam("another", mask.data()), 0);
        EXPECT_EQ(engine().setExtParam(nullptr, mask.data()), 0);
        EXPECT_EQ(engine().m_portraitMask.empty(), svm == 0 || svm == 3);
        RoiInfo absurd = {INT32_MAX, INT32_MAX, INT32_MAX, INT32_MAX};
        EXPECT_EQ(engine().setExtParam("portraitMaskRoiInfo", &absurd), 0);
        EXPECT_EQ(engine().setExtParam("portraitMaskPointer", nullptr), 0);
    }
}

// --- What is launched ---

struct Launch {
    std::string kernel;
    std::vector<std::size_t> global;
    std::vector<std::string> arguments;

    bool operator==(const Launch&) const = default;
};
void PrintTo(const Launch& launch, std::ostream* out) {
    *out << launch.kernel << " (" << launch.global[0] << ", " << launch.global[1]
         << "): " << testing::PrintToString(launch.arguments);
}

class Launches : public Engine {
protected:
    static constexpr RoiInfo kRoi = {61, 47, 80, 50};

    static void sink(void* self, const sim_opencl_launch* launch) {
        EXPECT_EQ(launch->dimensions, 2U);
        EXPECT_FALSE(launch->has_local);
        EXPECT_FALSE(launch->has_offset);
        Launch seen = {launch->kernel, {launch->global[0], launch->global[1]}, {}};
        for (std::size_t i = 0; i < launch->argument_count; ++i) {
            seen.arguments.push_back(static_cast<Launches*>(self)->name(launch->arguments[i]));
        }
        static_cast<Launches*>(self)->launches.push_back(seen);
    }

    // A buffer by its index, a table by its name, a geometry, or a number.
    std::string name(const sim_opencl_argument& argument) {
        if (argument.is_svm != 0) {
            return "svm";
        }
        if (argument.size == sizeof(RoiInfo)) {
            RoiInfo roi;
            std::memcpy(&roi, argument.bytes, sizeof(roi));
            return "roi " + std::to_string(roi.width) + " " + std::to_string(roi.height) + " " +
                   std::to_string(roi.stride) + " " + std::to_string(roi.scanline);
        }
        if (argument.size == sizeof(cl_mem)) {
            cl_mem memory = nullptr;
            std::memcpy(&memory, argument.bytes, sizeof(memory));
            for (int i = 0; i < 4; ++i) {
                if (memory == engine().m_frames[i].get()) {
                    return "buffer " + std::to_string(i);
                }
            }
            return memory == engine().m_claheLut.get()       ? "clahe image"
                   : memory == engine().m_colorLattice.get() ? "colour table"
                                                             : "?";
        }
        std::uint32_t word = 0;
        EXPECT_EQ(argument.size, sizeof(word));
        std::memcpy(&word, argument.bytes, sizeof(word));
        return number(word);
    }
    static std::string number(std::uint32_t word) { return "word " + std::to_string(word); }
    static std::string bits(float value) {
        std::uint32_t word = 0;
        std::memcpy(&word, &value, sizeof(word));
        return number(word);
    }

    std::vector<Launch> launches;
};

TEST_F(Launches, HaveTheirArgumentsInOrder) {
    sim_opencl_set_svm_level(2);
    engine().m_iSceneNum = 1;
    engine().setSensorPath(dir.path().c_str());
    dir.writeFloats("CurveLut", std::vector<float>(256));
    dir.writeFloats("ColorLut", std::vector<float>(huevance::kColorLutFloats));
    engine().setSrcRoiInfo(kRoi);
    engine().setRoiInfo(kRoi);
    engine().m_iClaheSwitch = engine().m_iCurveSwitch = engine().m_iCCorrSwitch = engine().m_iColorSwitch =
        engine().m_iPProtectSwitch = 1;
    engine().m_iMaskSource = 1;
    ASSERT_EQ(engine().clResMalloc(), 0);
    ASSERT_EQ(engine().clQueueMalloc(), 0);
    RoiInfo maskRoi = {60, 46, 240, 46};
    engine().setExtParam("portraitMaskRoiInfo", &maskRoi);
    ASSERT_EQ(engine().claheLutMalloc(), 0);
    ASSERT_EQ(engine().sceneCurveLutMalloc(), 0);
    ASSERT_EQ(engine().curveLutMalloc(0), 0);
    ASSERT_EQ(engine().sceneColorLutMalloc(), 0);
    ASSERT_EQ(engine().colorLutMalloc(0), 0);
    ASSERT_EQ(engine().sdYuvMalloc(), 0);
    engine().m_fSatStrength = 1.25F;
    engine().m_fColorStrength = 0.75F;

    sim_opencl_set_launch_sink(&Launches::sink, this);
    test::Frame frame(kRoi, 1);
    for (const auto type : {IMAGE_FORMAT_TYPE_NV12, IMAGE_FORMAT_TYPE_NV21}) {
        launches.clear();
        engine().setYuvType(type);
        ASSERT_EQ(engine().setDstYuv(frame.data(), -1), 0);
        engine().setClaheLut(frame.data());
        engine().claheMap();
        engine().curveMap();
        engine().colorCorrect();
        engine().colorMap();
        engine().portraitProtect(1);
        engine().portraitProtect(2);
        const bool nv12 = type == IMAGE_FORMAT_TYPE_NV12;
        const std::string roi = "roi 61 47 80 50";
        // Tiles are 61 / 8 = 7 by 47 / 6 = 7; 8 = (61 + 7) / 8, 24 = (47 + 1) / 2.
        EXPECT_THAT(
            launches,
            ElementsAre(
                Launch{"claheMap_kernel",
                       {8, 47},
                       {"buffer 2", "buffer 0", roi, "clahe image", number(3), number(3),
                        bits(7.0F / (61 - 1 - 7)), bits(5.0F / (47 - 1 - 7))}},
                Launch{"curveMap_kernel",
                       {8, 24},
                       {"buffer 0", "buffer 1", "buffer 2", roi, "svm", bits(1.25F)}},
                Launch{"colorCorrect_kernel", {8, 24}, {"buffer 1", "buffer 0", "buffer 2", roi, roi}},
                Launch{nv12 ? "colorMap_NV12_kernel" : "colorMap_NV21_kernel",
                       {8, 24},
                       {"buffer 1", "buffer 0", "buffer 0", "buffer 1", roi, "colour table",
                        bits(1.0F / 17.0F), bits(0.75F)}},
                Launch{"colorProtect_kernel",
                       {8, 24},
                       {"buffer 0", "buffer 1", "buffer 2", roi, roi, "svm", "roi 60 46 240 46"}},
                // The detector finds the chroma order in the sign of the second scanline.
                Launch{"skinDetectAndcolorProtect_kernel",
                       {8, 24},
                       {"buffer 0", "buffer 1", "buffer 2", roi, nv12 ? roi : "roi 61 47 80 -50"}}));
        engine().getDstYuv(frame.data());
    }
    sim_opencl_set_launch_sink(nullptr, nullptr);
}

TEST_F(Launches, WorkAtHalfTheSizeWhereThatIsAskedFor) {
    const RoiInfo full = {62, 46, 80, 48};
    engine().m_bIsDownScale = true;
    engine().setSrcRoiInfo(full);
    engine().setRoiInfo({31, 23, 40, 24});
    engine().m_iColorSwitch = 1;
    ASSERT_EQ(engine().clResMalloc(), 0);
    ASSERT_EQ(engine().clQueueMalloc(), 0);
    ASSERT_EQ(engine().sdYuvMalloc(), 0);
    EXPECT_EQ(engine().m_index.m_iFinal, 3);
    sim_opencl_set_launch_sink(&Launches::sink, this);
    test::Frame frame(full, 1);
    ASSERT_EQ(engine().setDstYuv(frame.data(), -1), 0);
    ASSERT_EQ(engine().getDstYuv(frame.data()), 0);
    const std::string fullRoi = "roi 62 46 80 48";
    const std::string halfRoi = "roi 31 23 40 24";
    EXPECT_THAT(
        launches,
        ElementsAre(
            Launch{"downScale_kernel", {4, 12}, {"buffer 2", fullRoi, "buffer 3", halfRoi}},
            Launch{"upScale_kernel", {4, 6}, {"buffer 3", "buffer 3", halfRoi, "buffer 2", fullRoi}}));
    sim_opencl_set_launch_sink(nullptr, nullptr);
}

// A stage that cannot be launched says so by its own name; the buffers for the next one stay as they were.
TEST_F(Launches, ThatFailAreLoggedAndChangeNothing) {
    engine().setSrcRoiInfo(kRoi);
    engine().setRoiInfo(kRoi);
    ASSERT_EQ(engine().clResMalloc(), 0);
    ASSERT_EQ(engine().clQueueMalloc(), 0);
    ASSERT_EQ(engine().claheLutMalloc(), 0);
    ASSERT_EQ(engine().sdYuvMalloc(), 0);
    test::Frame frame(kRoi, 1);
    frame.fill(test::Content::kNoise, 256);
    ASSERT_EQ(engine().setDstYuv(frame.data(), -1), 0);
    ASSERT_EQ(engine().setClaheLut(frame.data()), 0);
    engine().setYuvType(IMAGE_FORMAT_TYPE_NV21);
    log.clear();
    sim_opencl_fail("clEnqueueNDRangeKernel", 1, CL_OUT_OF_RESOURCES);
    EXPECT_EQ(engine().claheMap(), -1);
    EXPECT_EQ(engine().m_index.m_iYIn, 2);
    sim_opencl_fail("clSetKernelArg", 3, CL_OUT_OF_RESOURCES);
    EXPECT_EQ(engine().colorCorrect(), -1);
    // These have no tables.
    EXPECT_EQ(engine().curveMap(), -1);
    EXPECT_EQ(engine().colorMap(), -1);
    EXPECT_EQ(engine().portraitProtect(1), -1);
    sim_opencl_fail("clFlush", 1, CL_OUT_OF_RESOURCES);
    EXPECT_EQ(engine().portraitProtect(2), -1);
    engine().setYuvType(IMAGE_FORMAT_TYPE_NV12);
    EXPECT_EQ(engine().colorMap(), -1);
    EXPECT_THAT(
        log.texts(test::kError),
        ElementsAre("claheMap: m_claheMap_kernel failed!", "colorCorrect: m_colorCorrect_kernel failed!",
                    "curveMap: m_curveMap_kernel failed!", "colorMap: m_colorMap_NV21_kernel failed!",
                    "portraitProtect: m_colorProtect_kernel failed!",
                    "portraitProtect: m_skinDetectAndcolorProtect_kernel failed!",
                    "colorMap: m_colorMap_NV12_kernel failed!"));
    engine().getDstYuv(frame.data());
}

}  // namespace
