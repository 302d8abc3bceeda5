// The engine by itself: shared memory, and the host's mask.
#include <gmock/gmock.h>

#include <cstring>

#include "tests/gpu/support/Device.h"

namespace {

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

using Engine = test::EngineTest;

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

}  // namespace
