#include "tests/gpu/support/Device.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace test {

namespace {

namespace fs = std::filesystem;

// The system's driver may keep compiled programs on disk, which would hide what the library caches: every
// process gets a new place.
class DriverCache : public ::testing::Environment {
public:
    void SetUp() override {
        std::string pattern = (fs::temp_directory_path() / "huevance_driver_XXXXXX").string();
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        m_path = pattern;
        setenv("POCL_CACHE_DIR", m_path.c_str(), 1);
    }
    void TearDown() override {
        std::error_code ignored;
        fs::remove_all(m_path, ignored);
    }

private:
    std::string m_path;
};

[[maybe_unused]] const auto* const g_cache = ::testing::AddGlobalTestEnvironment(new DriverCache);

}  // namespace

void DeviceTest::SetUp() {
    if (!sim_opencl_available()) {
        GTEST_SKIP() << "no OpenCL on this system";
    }
    sim_opencl_reset();
    m_liveBefore = sim_opencl_live(nullptr);
}

void DeviceTest::TearDown() {
    if (!sim_opencl_available()) {
        return;
    }
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
