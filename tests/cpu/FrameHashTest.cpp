// Whole frames through all stages: the same bytes from every compiler, optimisation level and processor. A
// change here is a change of everybody's pictures. After an intended one, paste the printed lines into the
// table.
#include <gtest/gtest.h>

#include "cpu/HuevanceFrame_CPU.h"
#include "cpu/HuevancePhoto_CPU.h"
#include "neon/HuevancePhoto_NEON.h"
#include "tests/support/Rig.h"
#include "tests/support/Vectors.h"

namespace {

using test::Content;
enum Mode { kPhoto, kPreview };
constexpr Content kScene = Content::kPhotoLike;
constexpr Content kNoise = Content::kNoise;

struct Golden {
    const char* name;
    Mode mode;
    rig::Shape shape;
    Content content;
    int maskSource;
    std::uint64_t hash;  // of all bytes, padding included
};

const Golden kGolden[] = {
    {"photo_nv12", kPhoto, {8, 6, {320, 240, 320, 240}}, kScene, 2, 0x704b6cfe12776d81ULL},
    {"photo_nv21", kPhoto, {8, 5, {320, 240, 384, 256}}, kScene, 1, 0x257e62e1b2dc651cULL},
    {"photo_nv21_odd", kPhoto, {8, 5, {177, 131, 192, 133}}, kNoise, 2, 0xcbb1a4e81aff42c6ULL},
    {"photo_other_format", kPhoto, {8, 7, {96, 64, 96, 64}}, kScene, 1, 0xf6ae64c636caa53fULL},
    {"photo_small", kPhoto, {8, 6, {9, 7, 9, 7}}, kNoise, 2, 0x88cc219f0946386dULL},
    {"photo_10_low", kPhoto, {10, 9, {256, 144, 512, 144}}, kScene, 2, 0x672646e4e422038bULL},
    {"photo_10_high", kPhoto, {10, 10, {256, 144, 576, 150}}, kScene, 1, 0xe0376ec273449bcdULL},
    {"photo_10_high_odd", kPhoto, {10, 10, {67, 53, 136, 53}}, kNoise, 2, 0x8a7203207fe5b2f6ULL},
    {"photo_12_nv21", kPhoto, {12, 5, {160, 120, 320, 120}}, kScene, 2, 0x15dc51bf56c1d25cULL},
    {"photo_14_low", kPhoto, {14, 9, {128, 96, 256, 96}}, kScene, 1, 0xd570d836b8afe912ULL},
    {"photo_16_low", kPhoto, {16, 9, {96, 72, 192, 72}}, kScene, 2, 0x73b40806bb22be26ULL},
    {"photo_16_above", kPhoto, {12, 9, {96, 72, 192, 72}}, Content::kAboveRange, 2, 0x23ceb66e645ed853ULL},
    {"preview_nv12", kPreview, {8, 6, {320, 240, 320, 240}}, kScene, 0, 0x5f9602baaf629a1eULL},
    {"preview_nv21_odd", kPreview, {8, 5, {177, 131, 192, 133}}, kNoise, 0, 0x230b8e2ddbd82b03ULL},
    {"preview_10_high", kPreview, {10, 10, {256, 144, 512, 144}}, kScene, 0, 0x51574bd5f41acbdaULL},
    {"preview_16_low", kPreview, {16, 9, {96, 72, 192, 72}}, kNoise, 0, 0x12c1bd50edfd9793ULL},
};

// The last of `frames` frames; the ones before have other contents.
template <typename Pipeline>
void expectHash(const test::TuningDir& dir, const Golden& golden, int frames) {
    rig::HostMask mask(golden.shape.roi, false);
    rig::Handle<Pipeline> handle(dir, golden.shape);
    handle.setMask(mask.roi, mask.data());
    for (int left = frames - 1; left >= 0; --left) {
        test::Frame frame = rig::makeFrame(golden.shape, golden.content, left == 0 ? 42 : 7);
        EXPECT_EQ(handle.pipeline.process(frame.data(), golden.shape.type(), 0), 0);
        const std::uint64_t hash = test::hashBytes(frame.data(), frame.bytes());
        EXPECT_TRUE(left != 0 || hash == golden.hash) << golden.name << ": write 0x" << std::hex << hash;
    }
}

TEST(FrameHash, IsTheSameEverywhere) {
    for (const Golden& golden : kGolden) {
        std::vector<model::Tuning> tables = {rig::makeTuning(100, 31), rig::makeTuning(200, 31)};
        tables[0].maskSource = tables[1].maskSource = golden.maskSource;
        test::TuningDir dir;
        rig::write(dir, tables, {{"transFrameNum", "7"}});
        test::LogCapture log;
        if (golden.mode == kPreview) {
            // Of a fade from table 1 to table 0.
            expectHash<CHuevanceFrame_CPU>(dir, golden, 3);
            expectHash<test::Vectors<CHuevanceFrame_CPU>>(dir, golden, 3);
            continue;
        }
        expectHash<CHuevancePhoto_CPU>(dir, golden, 1);
        expectHash<test::Vectors<CHuevancePhoto_CPU>>(dir, golden, 1);
        if (golden.shape.format != 7) {
            expectHash<CHuevancePhoto_NEON>(dir, golden, 1);
        }
    }
}

}  // namespace
