#include "tests/gpu/support/Device.h"

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "jni/opticommon/symb/OpenCLSymbol.h"
#include "tests/support/TuningDir.h"

namespace test {

namespace {

// The system's driver keeps compiled programs on disk, which would hide what the library caches: every test
// program gets a new place. (The processes of death tests inherit it.)
class DriverCache : public ::testing::Environment {
public:
    void SetUp() override {
        if (std::getenv("POCL_CACHE_DIR") == nullptr) {
            m_place = std::make_unique<TuningDir>();
            setenv("POCL_CACHE_DIR", m_place->path().c_str(), 1);
        }
    }
    void TearDown() override { m_place.reset(); }

private:
    std::unique_ptr<TuningDir> m_place;
};

[[maybe_unused]] const auto* const g_cache = ::testing::AddGlobalTestEnvironment(new DriverCache);

// Entry points that the library never calls; some drivers lack them.
constexpr char kUnneeded[] =
    "clCreateImage2D clRetainKernel clRetainContext clGetContextInfo clEnqueueMapImage "
    "clRetainProgram clWaitForEvents clReleaseEvent clCreateContextFromType clRetainCommandQueue "
    "clRetainMemObject clRetainDevice clReleaseDevice clRetainEvent clGetKernelWorkGroupInfo "
    "clGetEventInfo clGetImageInfo clEnqueueCopyImage clGetDeviceImageInfoQCOM clEnqueueCopyBuffer "
    "clCreateSampler clReleaseSampler clGetMemObjectInfo clEnqueueReadImage "
    "clGetSupportedImageFormats clEnqueueSVMMemcpy clCreateCommandQueueWithProperties "
    "clImportMemoryARM ";

void leaveOutWhatIsNotNeeded() {
    const MNN::OpenCLSymbolsOperator bind;
    MNN::OpenCLSymbols* table = MNN::OpenCLSymbolsOperator::getOpenclSymbolsPtr();
#define HUEVANCE_CL_ENTRY(name, arguments)                                                      \
    if (table != nullptr && std::string_view(kUnneeded).find(#name " ") != std::string::npos) { \
        table->name = nullptr;                                                                  \
    }
#include "jni/opticommon/symb/OpenCLEntries.inc"
}

}  // namespace

void DeviceTest::SetUp() {
    if (!sim_opencl_available()) {
#ifdef HUEVANCE_REQUIRE_DRIVERS
        FAIL() << "no OpenCL device: `scripts/setup.sh drivers` installs one";
#else
        GTEST_SKIP() << "no OpenCL on this system";
#endif
    }
    sim_opencl_reset();
    if (std::getenv("HUEVANCE_SIM_STRICT") != nullptr) {
        leaveOutWhatIsNotNeeded();
    }
    m_liveBefore = sim_opencl_live(nullptr);
}

void DeviceTest::TearDown() {
    EXPECT_EQ(sim_opencl_violation(), nullptr) << sim_opencl_violation();
    EXPECT_EQ(sim_opencl_live(nullptr), m_liveBefore);
    sim_opencl_reset();
}

void DeviceTest::expectViolation(const char* part) {
    const char* text = sim_opencl_violation();
    ASSERT_NE(text, nullptr);
    EXPECT_NE(std::string(text).find(part), std::string::npos) << text;
    sim_opencl_reset();
}

void ProgramTest::SetUp() {
    DeviceTest::SetUp();
    if (IsSkipped() || HasFatalFailure()) {
        return;
    }
    const MNN::OpenCLSymbolsOperator bind;
    ASSERT_EQ(gpu::createContext(context.out(), &device), 0);
    build(source);
    log.clear();
}

void ProgramTest::TearDown() {
    program.reset();
    context.reset();
    DeviceTest::TearDown();
}

void ProgramTest::build(const std::string& text) {
    ASSERT_EQ(gpu::createProgramWithSource(text.data(), text.size(), context.get(), program.out()), 0);
    ASSERT_EQ(gpu::buildProgram(device, program.address()), 0);
}

void EngineTest::TearDown() {
    m_engine.reset();
    DeviceTest::TearDown();
}

CHuevance_GPU& EngineTest::start() {
    m_engine = std::make_unique<CHuevance_GPU>();
    m_engine->setCachePath(cachePath());
    log.clear();
    EXPECT_EQ(m_engine->clResMalloc(), 0);
    EXPECT_EQ(m_engine->clQueueMalloc(), 0);
    return *m_engine;
}

char* cachePath() {
    static TuningDir cache;
    return cache.mutablePath();
}

void expectClose(const Frame& frame, const std::vector<int>& expected, int most, int perMille,
                 const std::string& what) {
    EXPECT_TRUE(frame.paddingUntouched()) << what;
    const std::vector<int> got = frame.samples();
    ASSERT_EQ(got.size(), expected.size()) << what;
    std::size_t off = 0, worst = 0;  // how many, and which
    const auto distance = [&](std::size_t i) { return std::abs(got[i] - expected[i]); };
    for (std::size_t i = got != expected ? 0 : got.size(); i < got.size(); ++i) {
        off += distance(i) != 0 ? 1 : 0;
        worst = distance(i) > distance(worst) ? i : worst;
    }
    EXPECT_LE(got.empty() ? 0 : distance(worst), most) << what << ", sample " << worst;
    EXPECT_LE(off, got.size() * static_cast<std::size_t>(perMille) / 1000) << what;
}

void endOfDeathTest() {
    const ::testing::TestResult& result = *::testing::UnitTest::GetInstance()->current_test_info()->result();
    for (int i = 0; i < result.total_part_count(); ++i) {
        std::fprintf(stderr, "line %d: %s\n", result.GetTestPartResult(i).line_number(),
                     result.GetTestPartResult(i).summary());
    }
    std::fprintf(stderr, "%s", result.Failed() ? "" : "passed");
    std::_Exit(result.Failed() ? 1 : 0);
}

}  // namespace test
