// The composed shader texts, character for character.
#include <gtest/gtest.h>

#include "ogl/ShaderComposer.h"
#include "ogl/ShaderTexts.h"
#include "tests/support/Frames.h"

namespace {

std::string compose(int format, int maskType, const huevance::StageSwitches& on) {
    return ogl::composeFragmentShader(static_cast<IMAGE_FORMAT_TYPE>(format), maskType, on);
}

std::uint64_t hash(const std::string& text) { return test::hashBytes(text.data(), text.size()); }

// FNV-1a of the fragment shader of every valid combination, made from the reference texts with a script of
// its own: NV21 then NV12; the stages as bits, CLAHE the lowest; no mask, from a texture, from the skin
// model.
constexpr std::uint64_t kGolden[2 * 16][3] = {
    {0x98513741e02f026f, 0x00cf61239927044e, 0x06e6e89a55850d84},
    {0xe2f3b3db40437062, 0x4cc2af7332fa9cc7, 0x4d4ff2c400b2ac35},
    {0x506e1f18b409fe95, 0x0008c1d2a6d95394, 0x78904eb26038dc92},
    {0x9caa5ab2d1edf606, 0xd53e63965374c117, 0xe9cb736d73901f05},
    {0x6f2848738bc313ac, 0x355548a6131c5027, 0x8302081ae01dc42d},
    {0xd7399b5c43c3d1cb, 0x5afdaeb49784ebb0, 0x00a80c74b1d7e1a6},
    {0x34d8e789e582c3da, 0x41077dff28c2d67d, 0xa5152cee82e5da4b},
    {0x554324d0c61a3327, 0x3ee48cb00a926c90, 0xbc7ac8fcfc189326},
    {0x52ef35a8e24d69e0, 0x7beba693e447fa3d, 0xe15d52b83e958623},
    {0x110a87dc4755c46f, 0x55c9e0f1e68e8b1e, 0xdc2e682a92b11714},
    {0x3fbf24f53c331ffe, 0x58be9375aa42f423, 0x1bc5c6ede4cfa401},
    {0xd64ee4424c03e8df, 0x1ada0cc2e0a8a1ba, 0x1c1d24df0f07cac0},
    {0xdade9122c4891c37, 0x5ca1ed1f248b3f80, 0x7aafc8ba13abbb5e},
    {0xdd24263d1d01789a, 0x7c31940017f0ca39, 0x308abd720b4cd017},
    {0x6517efba5c62242d, 0x39dd7ee3b31879a6, 0x66cc201b2e0e1c0c},
    {0xfa04e7d2748a575a, 0x4f24f8e1348f896d, 0x25b6306834681eeb},
    {0x8b17801bce623e3d, 0x8b5c3674a726a9e0, 0xe6235cac098b9a36},
    {0x66d3c7d79e204378, 0x0621e1d3cfb2ba79, 0x1ea5b9004fc63fd7},
    {0x1687aa999286b67b, 0x765cd27d093ea4ce, 0xa05a10e0f63bb3ac},
    {0xa10b4239d44fce64, 0xf9685f99b609c599, 0x29d95a611b705e37},
    {0x3419f4e1afd7a2f2, 0xb7be99f2632c8d11, 0x05e2c86ea44c69d7},
    {0x93bd53cedd541f89, 0x4f69b3300e1fbce2, 0x4791a9fd703af1c8},
    {0x2b79b3cb6d879e98, 0x181ed0a36ba28c7f, 0xede86d8bf8f2c53d},
    {0x7953c95c4189fafd, 0xcc41678279e8e8f2, 0xb04fbfa8e2e2f878},
    {0xa0af58cd8bb1ed6a, 0x199ed59c89c3bfc3, 0x0deba16daa0f69b9},
    {0xac4afbb37be49fd1, 0xf19ff6b2a4b85bb4, 0x53f0a3b431f78cea},
    {0xfa60f41692683aa8, 0x3c3f5046d2082ba1, 0xdaf15a6ad8591fcf},
    {0xfde6768539089451, 0x64426eafec016f00, 0x5a1bcfbec44ca5c6},
    {0xe0de51a416bdb231, 0xdf7cbcfef0e2279e, 0x1ffb24db4ff811dc},
    {0x7e3c44e7afd227fc, 0x75c148dad46d269f, 0xd558a28871b657bd},
    {0x205d380c5d3fa9a7, 0x2b037a54147b784c, 0x8b834c3770713d72},
    {0xaebc2f15af1db22c, 0x4efc6d4a6477cbd3, 0xa7c264159c5786c1},
};

TEST(ShaderComposer, GivesTheGoldenTextOfEveryCombination) {
    for (int format = 5; format <= 6; ++format) {
        for (int bits = 0; bits < 16; ++bits) {
            for (int mask = 0; mask < 3; ++mask) {
                const std::string text =
                    compose(format, mask,
                            {(bits & 1) != 0, (bits & 2) != 0, (bits & 4) != 0, (bits & 8) != 0, mask != 0});
                EXPECT_EQ(hash(text), kGolden[(format - 5) * 16 + bits][mask])
                    << "format " << format << " stages " << bits << " mask " << mask << "\n"
                    << text;
            }
        }
    }
    EXPECT_EQ(hash(kShaderVertex), 0xee6237e02caac915ULL);
}

TEST(ShaderComposer, LeavesOutWhatItDoesNotKnow) {
    for (const int maskType : {0, 3, -1}) {
        EXPECT_EQ(compose(6, maskType, {false, false, false, false, true}), compose(6, 0, {})) << maskType;
    }
    EXPECT_EQ(compose(6, 1, {}), compose(6, 0, {}));  // a mask that is off
    // Another format has no main function.
    EXPECT_EQ(compose(9, 0, {}), std::string(kShaderHeader) + kShaderClosing);
}

}  // namespace
