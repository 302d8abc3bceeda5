#include <dlfcn.h>
#include <gmock/gmock.h>

#include <set>

#include "jni/opticommon/symb/OpenCLSymbol.h"
#include "tests/gpu/support/Device.h"
#include "tests/support/LogCapture.h"

namespace {

using MNN::OpenCLSymbols;
using MNN::OpenCLSymbolsOperator;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::MatchesRegex;
using ::testing::SizeIs;

// One of each kind of failure: a code, null alone, null with the code in an error argument, nothing.
void expectSoftFailures() {
    const test::LogCapture log;
    cl_int errors[2] = {};
    EXPECT_EQ(clFlush(nullptr), CL_INVALID_OPERATION);
    EXPECT_EQ(clImportMemoryARM(nullptr, 0, nullptr, nullptr, 0, nullptr), nullptr);
    EXPECT_EQ(clSVMAlloc(nullptr, 0, 1, 0), nullptr);
    EXPECT_EQ(clCreateBuffer(nullptr, 0, 1, nullptr, &errors[0]), nullptr);
    EXPECT_EQ(clCreateProgramWithBinary(nullptr, 0, nullptr, nullptr, nullptr, nullptr, &errors[1]), nullptr);
    EXPECT_THAT(errors, Each(CL_INVALID_OPERATION));
    clSVMFree(nullptr, nullptr);
    const std::vector<std::string> lines = log.texts(test::kError);
    EXPECT_THAT(std::set<std::string>(lines.begin(), lines.end()), SizeIs(6)) << "each has its own number";
    EXPECT_EQ(log.tagged(test::kVersionTag), lines);
    EXPECT_THAT(lines, Each(MatchesRegex("Error for .*jni/opticommon/symb/OpenCLSymbol[.]cpp, [0-9]+\n")));
}

// The process has one table: without a driver first, then with one, then with half of one.
TEST(OpenCLBinding, IsSoftWithoutADriverAndBindsOnceThereIsOne) {
    const std::vector<std::string> standard = {
        "/system/vendor/lib64/libOpenCL.so", "/vendor/lib64/libOpenCL.so", "libOpenCL.so", "libOpenCL.so.1"};
    EXPECT_EQ(OpenCLSymbols::candidatePaths(), standard);

    expectSoftFailures();  // before anybody asked for a driver
    OpenCLSymbols::candidatePaths() = {HUEVANCE_SOURCE_DIR "/README.md", "libNoSuchDriver.so"};
    {
        const test::LogCapture log;
        const OpenCLSymbolsOperator missing;
        EXPECT_THAT(
            log.texts(test::kError),
            ElementsAre(
                MatchesRegex("OpenCL driver cannot be loaded from .*/README.md: .*invalid ELF header.*"),
                MatchesRegex("OpenCL driver cannot be loaded from libNoSuchDriver.so: .*No such .*")));
    }
    EXPECT_EQ(OpenCLSymbolsOperator::getOpenclSymbolsPtr(), nullptr);
    expectSoftFailures();

    // The second candidate is the first that loads; the third must not be.
    OpenCLSymbols::candidatePaths() = {"/nowhere/libOpenCL.so", "libOpenCL.so", "libm.so.6"};
    const OpenCLSymbolsOperator found;
    OpenCLSymbols* table = OpenCLSymbolsOperator::getOpenclSymbolsPtr();
    ASSERT_NE(table, nullptr);
    const OpenCLSymbolsOperator again;
    EXPECT_EQ(OpenCLSymbolsOperator::getOpenclSymbolsPtr(), table);
#define HUEVANCE_CL_ENTRY(name, arguments) EXPECT_NE(table->name, nullptr) << #name;
#include "jni/opticommon/symb/OpenCLEntries.inc"

    // The arguments arrive, and so does the result.
    ASSERT_EQ(sim_opencl_fail("clCreateKernel", 2, -1234), 0);
    for (const bool told : {false, true}) {
        cl_int error = 0;
        EXPECT_EQ(clCreateKernel(nullptr, "k", &error), nullptr);
        EXPECT_EQ(error == -1234, told);
    }

#define HUEVANCE_CL_ENTRY(name, arguments) table->name = nullptr;
#include "jni/opticommon/symb/OpenCLEntries.inc"
    expectSoftFailures();
}

TEST(OpenCLBinding, HoldsOneLibraryAtATime) {
    const auto inProcess = [](const char* name) {
        void* handle = dlopen(name, RTLD_NOW | RTLD_NOLOAD);
        return handle != nullptr && dlclose(handle) == 0;
    };
    constexpr const char* kOne = "libanl.so.1";  // nobody else here needs it
    OpenCLSymbols symbols;
    EXPECT_TRUE(symbols.UnLoadOpenCLLibrary()) << "nothing is loaded";
    ASSERT_TRUE(symbols.LoadLibraryFromPath(kOne));
    EXPECT_EQ(symbols.clGetPlatformIDs, nullptr) << "it has none, which is no error";
    EXPECT_TRUE(symbols.LoadOpenCLLibrary()) << "one is loaded already";
    EXPECT_EQ(symbols.clGetPlatformIDs, nullptr);
    ASSERT_TRUE(symbols.LoadLibraryFromPath(kOne));
    EXPECT_FALSE(symbols.LoadLibraryFromPath("/nowhere/libOpenCL.so"));
    EXPECT_TRUE(inProcess(kOne));
    ASSERT_TRUE(symbols.LoadLibraryFromPath("libOpenCL.so"));
    EXPECT_FALSE(inProcess(kOne)) << "every time that it was loaded";
    EXPECT_NE(symbols.clImportMemoryARM, nullptr);
    EXPECT_TRUE(symbols.UnLoadOpenCLLibrary());
    EXPECT_EQ(symbols.clImportMemoryARM, nullptr);
}

}  // namespace
