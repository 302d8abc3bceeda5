#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "gpu/OpenCLWrappers.h"
#include "gpu/ProgramCache.h"
#include "jni/opticommon/symb/OpenCLSymbol.h"
#include "tests/gpu/support/Device.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TuningDir.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Binary = std::vector<unsigned char>;

std::string words(std::initializer_list<std::uint64_t> values) {
    std::string bytes;
    for (const std::uint64_t value : values) {
        for (int i = 0; i < 8; ++i) {
            bytes += static_cast<char>(value >> (8 * i));
        }
    }
    return bytes;
}

std::string readAll(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

class CacheFile : public ::testing::Test {
protected:
    std::vector<Binary> read(const std::string& bytes) {
        dir.write("HvKernel.bin", bytes);
        log.clear();
        return gpu::getBinariesFromCache(path.c_str());
    }

    test::TuningDir dir;
    std::string path = dir.path() + "/HvKernel.bin";
    test::LogCapture log;
};

TEST_F(CacheFile, HoldsBinariesAtTheirOffsets) {
    EXPECT_THAT(read(words({0x01010101, 1, 32, 3}) + "abc"), ElementsAre(Binary{'a', 'b', 'c'}));
    EXPECT_THAT(log.texts(test::kInfo), ElementsAre("filesize: 35", "getBinariesFromCache get size:1"));
    // Two, out of order and overlapping: offsets rule.
    EXPECT_THAT(read(words({0x01010101, 2, 49, 2, 48, 2}) + "xyz"),
                ElementsAre(Binary{'y', 'z'}, Binary{'x', 'y'}));
    EXPECT_THAT(read(words({0x01010101, 1, 32, 0})), ElementsAre(Binary{}));
}

TEST_F(CacheFile, IsRefusedWithOneLineWhenItIsNotWhole) {
    const std::uint64_t huge = ~std::uint64_t{0};
    const struct {
        std::string bytes;
        const char* line;
    } cases[] = {
        {"", "filesize cannot be 0"},
        {std::string("\1\1\1\1\0\0\0", 7), "error: not cache file"},
        {words({0x0101010101010101, 1, 32, 0}), "error: not cache file"},
        {words({0x01010101}), "getBinariesFromCache error:wrong fromat"},
        {words({0x01010101, 0, 0, 0}), "getBinariesFromCache error:wrong fromat"},
        {words({0x01010101, 2, 32, 0}), "getBinariesFromCache error:wrong fromat"},
        // 16 + 16 N wraps to a small number.
        {words({0x01010101, huge / 16, 32, 0}), "getBinariesFromCache error:wrong fromat"},
        {words({0x01010101, huge, 32, 0}), "getBinariesFromCache error:wrong fromat"},
        {words({0x01010101, 1, 32, 4}) + "abc", "getBinariesFromCache wrong cache"},
        {words({0x01010101, 1, 36, 0}) + "abc", "getBinariesFromCache wrong cache"},
        {words({0x01010101, 1, huge, 1}) + "abc", "getBinariesFromCache wrong cache"},
        {words({0x01010101, 1, huge - 1, 4}) + "abc", "getBinariesFromCache wrong cache"},  // the sum wraps
        {words({0x01010101, 1, 34, huge - 30}) + "abc", "getBinariesFromCache wrong cache"},
        // The first is whole, the second is not: none is used.
        {words({0x01010101, 2, 48, 3, 48, 4}) + "abc", "getBinariesFromCache wrong cache"},
    };
    for (const auto& c : cases) {
        EXPECT_THAT(read(c.bytes), IsEmpty());
        EXPECT_THAT(log.texts(test::kError), ElementsAre(c.line)) << &c - cases;
    }
}

TEST_F(CacheFile, TruncatedAtEveryByteIsRefused) {
    const std::string whole = words({0x01010101, 2, 48, 2, 50, 3}) + "abcde";
    ASSERT_THAT(read(whole), testing::SizeIs(2));
    for (std::size_t size = 0; size < whole.size(); ++size) {
        EXPECT_THAT(read(whole.substr(0, size)), IsEmpty()) << size;
    }
}

TEST_F(CacheFile, ThatIsNotThereOrNoFileIsRefused) {
    EXPECT_THAT(gpu::getBinariesFromCache(path.c_str()), IsEmpty());
    EXPECT_THAT(log.texts(test::kError), ElementsAre("getBinariesFromCache open " + path + " is failed"));
    EXPECT_THAT(gpu::getBinariesFromCache(dir.path().c_str()), IsEmpty());
}

class SavedProgram : public test::DeviceTest {
protected:
    void SetUp() override {
        DeviceTest::SetUp();
        if (IsSkipped()) {
            return;
        }
        const MNN::OpenCLSymbolsOperator bind;
        ASSERT_EQ(gpu::createContext(context.out(), &device), 0);
        ASSERT_EQ(gpu::createProgramWithSource(source.data(), source.size(), context.get(), program.out()),
                  0);
        ASSERT_EQ(gpu::buildProgram(device, program.address()), 0);
    }
    void TearDown() override {
        program.reset();
        context.reset();
        DeviceTest::TearDown();
    }
    int save() { return gpu::saveProgramsToBinary({program.get()}, path.c_str()); }
    gpu::CacheSeal check() { return gpu::checkCacheSeal(path.c_str(), device, source); }

    const std::string source = "__kernel void k(__global int* x) { x[get_global_id(0)] = 7; }";
    test::TuningDir dir;
    std::string path = dir.path() + "/HvKernel.bin";
    cl_device_id device = nullptr;
    gpu::Context context;
    gpu::Program program;
    test::LogCapture log;
};

TEST_F(SavedProgram, IsWrittenAsLaidOutAndBuildsAgain) {
    ASSERT_EQ(save(), 0);
    const std::string file = readAll(path);
    ASSERT_GT(file.size(), 32U);
    EXPECT_EQ(file.substr(0, 32), words({0x01010101, 1, 32, file.size() - 32}));
    EXPECT_THAT(log.texts(), Contains("0 binarySize: " + std::to_string(file.size() - 32)));

    const std::vector<Binary> binaries = gpu::getBinariesFromCache(path.c_str());
    ASSERT_EQ(binaries.size(), 1U);
    gpu::Program again;
    ASSERT_EQ(gpu::createProgramWithBinaryFile(binaries[0].data(), binaries[0].size(), context.get(), &device,
                                               again.out()),
              0);
    ASSERT_EQ(gpu::buildProgram(device, again.address()), 0);
    gpu::Kernel kernel;
    EXPECT_EQ(gpu::createKernel("k", again.get(), kernel.out()), 0);
    // Nothing temporary stays behind.
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 1);
}

TEST_F(SavedProgram, IsNotWrittenWhenAQueryFails) {
    dir.write("HvKernel.bin", "old");
    for (const auto& [call, query] : {std::pair{1, "CL_PROGRAM_BINARY_SIZES"}, {2, "CL_PROGRAM_BINARIES"}}) {
        log.clear();
        sim_opencl_fail("clGetProgramInfo", call, -6);
        EXPECT_EQ(save(), -1);
        EXPECT_THAT(log.texts(test::kError),
                    ElementsAre("!!!ERROR!!! checkErr: -6 CL_OUT_OF_HOST_MEMORY, " + std::string(query)));
        EXPECT_EQ(readAll(path), "old");
    }
}

TEST_F(SavedProgram, ReportsAPlaceThatCannotBeWritten) {
    path = dir.path() + "/nowhere/HvKernel.bin";
    EXPECT_EQ(save(), -1);
    EXPECT_THAT(log.texts(test::kError), ElementsAre("saveProgramsToBinary open " + path + " is failed"));
}

TEST_F(SavedProgram, SealProvesItWholeAndOfThisDriverAndSource) {
    ASSERT_EQ(save(), 0);
    EXPECT_EQ(check(), gpu::CacheSeal::kAbsent);
    ASSERT_EQ(gpu::writeCacheSeal(path.c_str(), device, source), 0);
    EXPECT_EQ(check(), gpu::CacheSeal::kMatches);

    const std::string whole = readAll(path);
    for (std::size_t at = 0; at < whole.size(); at += whole.size() / 23) {
        std::string flipped = whole;
        flipped[at] = static_cast<char>(flipped[at] ^ 1);
        dir.write("HvKernel.bin", flipped);
        EXPECT_EQ(check(), gpu::CacheSeal::kDiffers) << "byte " << at;
    }
    dir.write("HvKernel.bin", whole.substr(0, whole.size() - 1));
    EXPECT_EQ(check(), gpu::CacheSeal::kDiffers);
    std::string swapped = whole;
    std::swap(swapped[40], swapped[41]);
    if (swapped != whole) {
        dir.write("HvKernel.bin", swapped);
        EXPECT_EQ(check(), gpu::CacheSeal::kDiffers);
    }
    dir.remove("HvKernel.bin");
    EXPECT_EQ(check(), gpu::CacheSeal::kDiffers);

    dir.write("HvKernel.bin", whole);
    EXPECT_EQ(check(), gpu::CacheSeal::kMatches);
    sim_opencl_set_driver_version("another");
    EXPECT_EQ(check(), gpu::CacheSeal::kDiffers);
    sim_opencl_set_driver_version(nullptr);
    EXPECT_EQ(gpu::checkCacheSeal(path.c_str(), device, source + " "), gpu::CacheSeal::kDiffers);

    const std::string sealPath = gpu::cacheSealPath(path.c_str());
    const std::string seal = readAll(sealPath);
    std::ofstream(sealPath) << seal.substr(0, seal.size() - 1);
    EXPECT_EQ(check(), gpu::CacheSeal::kDiffers);
}

}  // namespace
