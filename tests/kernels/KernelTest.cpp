// Every table of kernels against the reference. --seed=N draws other cases, --bench times the kernels
// instead.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "core/Geometry.h"
#include "neon/NeonKernels.h"
#include "tests/kernels/KernelChecker.h"

namespace {

using huevance::KernelTable;
using test::KernelCase;

std::uint32_t g_seed = 1;

struct Table {
    const char* name;
    const KernelTable& (*kernels)();
};
constexpr Table kTables[] = {{"neon", huevance::neonKernels}};

std::string nameOfKernelTest(const testing::TestParamInfo<std::tuple<Table, KernelCase>>& test) {
    return std::string(std::get<0>(test.param).name) + "_" + std::get<1>(test.param).name;
}

class KernelTest : public testing::TestWithParam<std::tuple<Table, KernelCase>> {};

TEST_P(KernelTest, EqualsTheReference) {
    const auto& [table, kernel] = GetParam();
    const auto difference = test::checkKernel(kernel, table.kernels(), test::allScenarios(g_seed));
    EXPECT_FALSE(difference.has_value()) << *difference;
}

INSTANTIATE_TEST_SUITE_P(Tables, KernelTest,
                         testing::Combine(testing::ValuesIn(kTables), testing::ValuesIn(test::kernelCases())),
                         nameOfKernelTest);

TEST(KernelCases, NameEveryKernelOnce) {
    std::vector<std::string> names;
    for (const KernelCase& kernel : test::kernelCases()) {
        names.push_back(kernel.name);
    }
#define NAME_OF_KERNEL(name) #name,
    EXPECT_EQ(names, (std::vector<std::string>{HUEVANCE_KERNELS(NAME_OF_KERNEL)}));
#undef NAME_OF_KERNEL
}

// --- The checker catches what it is for: faults planted into otherwise right kernels ---

// The reference, but the last `width % 16` samples of each luma row are forgotten.
int protectWithoutTail(const unsigned char* backup, RoiInfo backupRoi, unsigned char* processed, RoiInfo roi,
                       const float* mask, RoiInfo maskRoi) {
    RoiInfo chunks = roi;
    chunks.width -= roi.width % 16;
    return huevance::portraitProtect_8u(backup, backupRoi, processed, chunks, mask, maskRoi);
}

// The reference, but lanes 2 and 3 of every eight luma samples change places.
int mapWithSwappedLanes(unsigned char* image, RoiInfo roi, const float* yCurve, const float* uvCurve,
                        int bins) {
    const int result = huevance::curveMap_8u(image, roi, yCurve, uvCurve, bins);
    for (int y = 0; y < roi.height; ++y) {
        for (int x = 0; x + 8 <= roi.width; x += 8) {
            std::swap(image[y * roi.stride + x + 2], image[y * roi.stride + x + 3]);
        }
    }
    return result;
}

// The reference, but the last column stays as it was.
int claheWithoutEdge(unsigned char* image, RoiInfo roi, const float* lut, int bins, int tileWidth,
                     int tileHeight, int gridWidth, int gridHeight) {
    const std::vector<unsigned char> input(image, image + huevance::frameBytes(roi));
    const int result =
        huevance::claheMap_8u(image, roi, lut, bins, tileWidth, tileHeight, gridWidth, gridHeight);
    const int last = roi.width - 1;
    for (int y = 0; y < roi.height; ++y) {
        image[y * roi.stride + last] = input[static_cast<std::size_t>(y * roi.stride + last)];
    }
    return result;
}

// The reference, but one sample behind each row is written, too.
int shiftBeyondTheRow(const unsigned short* source, RoiInfo sourceRoi, unsigned short* destination,
                      RoiInfo roi, int shift) {
    const int result = huevance::rightBitShift_16u16u(source, sourceRoi, destination, roi, shift);
    if (roi.stride > 2 * sourceRoi.width) {
        destination[sourceRoi.width] = 0;
    }
    return result;
}

// Right, but it looks one sample behind the last chroma row.
int readBeyondTheFrame(const unsigned char* source, RoiInfo sourceRoi, unsigned short* destination,
                       RoiInfo roi) {
    volatile unsigned char seen = source[huevance::frameBytes(sourceRoi)];
    static_cast<void>(seen);
    return huevance::covertYuv_8u16u(source, sourceRoi, destination, roi);
}

std::optional<std::string> checkPlanted(const std::string& name, const KernelTable& table) {
    for (const KernelCase& kernel : test::kernelCases()) {
        if (kernel.name == name) {
            return test::checkKernel(kernel, table, test::allScenarios(g_seed));
        }
    }
    return std::nullopt;
}

struct Planted {
    const char* fault;
    const char* kernel;
    void (*plant)(KernelTable&);
};

std::string nameOfPlanted(const testing::TestParamInfo<Planted>& test) { return test.param.fault; }

class PlantedFault : public testing::TestWithParam<Planted> {};

TEST_P(PlantedFault, IsCaught) {
    const Planted& planted = GetParam();
    KernelTable table = huevance::referenceKernels();
    EXPECT_EQ(checkPlanted(planted.kernel, table), std::nullopt) << "without the fault";
    planted.plant(table);
    const auto report = checkPlanted(planted.kernel, table);
    ASSERT_TRUE(report.has_value());
    EXPECT_NE(report->find("seed"), std::string::npos) << *report;
}

INSTANTIATE_TEST_SUITE_P(
    Checker, PlantedFault,
    testing::Values(Planted{"WrongTail", "portraitProtect_8u",
                            [](KernelTable& table) { table.portraitProtect_8u = protectWithoutTail; }},
                    Planted{"SwappedLane", "curveMap_8u",
                            [](KernelTable& table) { table.curveMap_8u = mapWithSwappedLanes; }},
                    Planted{"MissedEdge", "claheMap_8u",
                            [](KernelTable& table) { table.claheMap_8u = claheWithoutEdge; }},
                    Planted{"WriteIntoPadding", "rightBitShift_16u16u",
                            [](KernelTable& table) { table.rightBitShift_16u16u = shiftBeyondTheRow; }}),
    nameOfPlanted);

TEST(PlantedFaultDeathTest, ReadBeyondTheFrameNamesItsCase) {
    GTEST_FLAG_SET(death_test_style, "fast");
    KernelTable table = huevance::referenceKernels();
    table.covertYuv_8u16u = readBeyondTheFrame;
    EXPECT_DEATH(checkPlanted("covertYuv_8u16u", table), "crashed in covertYuv_8u16u .*seed");
}

}  // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    for (int i = 1; i < argc; ++i) {
        if (std::strncmp(argv[i], "--seed=", 7) == 0) {
            g_seed = static_cast<std::uint32_t>(std::strtoul(argv[i] + 7, nullptr, 10));
        } else if (std::strcmp(argv[i], "--bench") == 0) {
            for (const Table& table : kTables) {
                test::benchKernels(table.name, table.kernels());
            }
            return 0;
        }
    }
    return RUN_ALL_TESTS();
}
