#include <gmock/gmock.h>

#include "jni/opticommon/symb/OpenCLSymbol.h"
#include "tests/gpu/support/Device.h"
#include "tests/support/LogCapture.h"

namespace {

using MNN::OpenCLSymbols;
using MNN::OpenCLSymbolsOperator;
using ::testing::Each;
using ::testing::MatchesRegex;
using ::testing::SizeIs;

// One of each kind of failure: a code, null with the code in an error argument, null alone, nothing.
void expectSoftFailures() {
    test::LogCapture log;
    EXPECT_EQ(clFlush(nullptr), CL_INVALID_OPERATION);
    EXPECT_EQ(clImportMemoryARM(nullptr, 0, nullptr, nullptr, 0, nullptr), nullptr);
    cl_int error = 0;
    EXPECT_EQ(clCreateBuffer(nullptr, 0, 1, nullptr, &error), nullptr);
    EXPECT_EQ(error, CL_INVALID_OPERATION);
    error = 0;
    EXPECT_EQ(clCreateProgramWithBinary(nullptr, 0, nullptr, nullptr, nullptr, nullptr, &error), nullptr);
    EXPECT_EQ(error, CL_INVALID_OPERATION);
    EXPECT_EQ(clSVMAlloc(nullptr, 0, 1, 0), nullptr);
    clSVMFree(nullptr, nullptr);
    EXPECT_THAT(log.texts(test::kError), SizeIs(6));
    EXPECT_THAT(log.texts(), Each(MatchesRegex("Error for [a-zA-Z/]+[.][a-z]+, [0-9]+\n")));
    EXPECT_NE(log.texts()[0], log.texts()[1]) << "each forwarder logs its own line number";
}

// The process has one table: without a driver first, then with one, then with half of one.
TEST(OpenCLBinding, IsSoftWithoutADriverAndBindsOnceThereIsOne) {
    const std::vector<std::string> standard = {
        "/system/vendor/lib64/libOpenCL.so", "/vendor/lib64/libOpenCL.so", "libOpenCL.so", "libOpenCL.so.1"};
    EXPECT_EQ(OpenCLSymbols::candidatePaths(), standard);

    EXPECT_EQ(OpenCLSymbolsOperator::getOpenclSymbolsPtr(), nullptr);
    expectSoftFailures();  // before anybody asked for a driver
    OpenCLSymbols::candidatePaths() = {"/nowhere/libOpenCL.so", "libNoSuchDriver.so"};
    const OpenCLSymbolsOperator missing;
    EXPECT_EQ(OpenCLSymbolsOperator::getOpenclSymbolsPtr(), nullptr);
    expectSoftFailures();

    // The third candidate is the first that loads; the fourth must not be.
    OpenCLSymbols::candidatePaths() = {"/nowhere/libOpenCL.so", "libNoSuchDriver.so", "libOpenCL.so",
                                       "libm.so.6"};
    const OpenCLSymbolsOperator found;
    OpenCLSymbols* table = OpenCLSymbolsOperator::getOpenclSymbolsPtr();
    ASSERT_NE(table, nullptr);
    const OpenCLSymbolsOperator again;
    EXPECT_EQ(OpenCLSymbolsOperator::getOpenclSymbolsPtr(), table);

#define HUEVANCE_CL_ENTRY(name, arguments) EXPECT_NE(table->name, nullptr) << #name;
#include "jni/opticommon/symb/OpenCLEntries.inc"

    // The arguments arrive, and so does the result.
    ASSERT_EQ(sim_opencl_fail("clCreateKernel", 2, -1234), 0);
    ASSERT_EQ(sim_opencl_fail("clGetPlatformIDs", 1, -77), 0);
    EXPECT_EQ(clGetPlatformIDs(0, nullptr, nullptr), -77);
    cl_int error = 0;
    EXPECT_EQ(clCreateKernel(nullptr, "k", &error), nullptr);
    EXPECT_NE(error, -1234);
    EXPECT_EQ(clCreateKernel(nullptr, "k", &error), nullptr);
    EXPECT_EQ(error, -1234);
    EXPECT_EQ(sim_opencl_calls("clCreateKernel"), 2);

#define HUEVANCE_CL_ENTRY(name, arguments) table->name = nullptr;
#include "jni/opticommon/symb/OpenCLEntries.inc"
    expectSoftFailures();
}

TEST(OpenCLBinding, LoadsAndUnloadsALibraryThatLacksTheEntryPoints) {
    OpenCLSymbols symbols;
    EXPECT_TRUE(symbols.UnLoadOpenCLLibrary()) << "nothing is loaded";
    EXPECT_FALSE(symbols.LoadLibraryFromPath("/nowhere/libOpenCL.so"));
    ASSERT_TRUE(symbols.LoadLibraryFromPath("libm.so.6"));
    EXPECT_EQ(symbols.clGetPlatformIDs, nullptr);
    EXPECT_EQ(symbols.clImportMemoryARM, nullptr);
    EXPECT_TRUE(symbols.LoadOpenCLLibrary()) << "one is loaded already";
    EXPECT_EQ(symbols.clGetPlatformIDs, nullptr);
    EXPECT_TRUE(symbols.UnLoadOpenCLLibrary());
    EXPECT_TRUE(symbols.UnLoadOpenCLLibrary());
}

}  // namespace
