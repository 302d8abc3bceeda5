// The composed shader texts, character for character.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>

#include "ogl/ShaderComposer.h"
#include "ogl/ShaderTexts.h"
#include "tests/support/Frames.h"
#include "tests/support/TuningDir.h"

namespace {

std::string compose(int format, int maskType, const huevance::StageSwitches& on) {
    return ogl::composeFragmentShader(static_cast<IMAGE_FORMAT_TYPE>(format), maskType, on);
}

std::uint64_t hash(const std::string& text) { return test::hashBytes(text.data(), text.size()); }

// FNV-1a of the fragment shaders of all combinations of stages one after the other, made from the reference
// texts with a script of its own: NV21 then NV12; no mask, from a texture, from the skin model.
constexpr std::uint64_t kGolden[2][3] = {{0x7732704f35248f29, 0xa83afb3284067901, 0xe02cef2aa4ead101},
                                         {0xd40aab58675eb7a1, 0x7587a5ea54596e59, 0xfe3c61fea3ab23f9}};

TEST(ShaderComposer, GivesTheGoldenTextOfEveryCombination) {
    for (int format = 5; format <= 6; ++format) {
        for (int mask = 0; mask < 3; ++mask) {
            std::string texts;
            for (int bits = 0; bits < 16; ++bits) {
                texts +=
                    compose(format, mask,
                            {(bits & 1) != 0, (bits & 2) != 0, (bits & 4) != 0, (bits & 8) != 0, mask != 0});
            }
            EXPECT_EQ(hash(texts), kGolden[format - 5][mask]) << texts;
        }
    }
    EXPECT_EQ(hash(kShaderVertex), 0xee6237e02caac915ULL);
}

#ifdef HUEVANCE_GLSLANG
// Another compiler than Mesa's takes all texts, but for the one qualifier that it does not know.
TEST(ShaderComposer, TheReferenceCompilerTakesEveryText) {
    const test::TuningDir dir;
    const std::string qualifier = "layout(yuv) ";
    std::string command = HUEVANCE_GLSLANG;
    const auto add = [&](const std::string& name, std::string text) {
        const std::size_t at = text.find(qualifier);
        dir.write(name, at != std::string::npos ? text.erase(at, qualifier.size()) : text);
        command += " " + dir.path() + "/" + name;
    };
    add("all.vert", kShaderVertex);
    for (int i = 0; i < 96; ++i) {
        const int mask = i / 16 % 3;
        add(std::to_string(i) + ".frag",
            compose(5 + i / 48, mask, {(i & 1) != 0, (i & 2) != 0, (i & 4) != 0, (i & 8) != 0, mask != 0}));
    }
    EXPECT_EQ(std::system((command + " > " + dir.path() + "/said").c_str()), 0);
    std::ifstream in(dir.path() + "/said");
    std::string text;
    for (std::string line; std::getline(in, line);) {
        text += line.starts_with(dir.path()) ? "" : line + "\n";  // the names of what it takes
    }
    EXPECT_EQ(text, "");
}
#endif

TEST(ShaderComposer, LeavesOutWhatItDoesNotKnow) {
    for (const int maskType : {0, 3, -1}) {
        EXPECT_EQ(compose(6, maskType, {false, false, false, false, true}), compose(6, 0, {})) << maskType;
    }
    EXPECT_EQ(compose(6, 1, {}), compose(6, 0, {}));  // a mask that is off
    // Another format has no main function.
    EXPECT_EQ(compose(9, 0, {}), std::string(kShaderHeader) + kShaderClosing);
}

}  // namespace
