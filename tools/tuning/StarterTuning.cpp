#include "tools/tuning/StarterTuning.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <sstream>

#include "tools/Files.h"
#include "tools/host/PlatformSet.h"

namespace tool {

namespace {

constexpr int kSide = 16;
constexpr int kPoints = kSide * kSide * kSide;
constexpr float kNeutral = 128.0F;

// 0 below `low`, 1 above `high`, smooth in between.
float smoothStep(float low, float high, float value) {
    const float t = std::clamp((value - low) / (high - low), 0.0F, 1.0F);
    return t * t * (3.0F - 2.0F * t);
}

// 1 at the hue `degrees` (of the angle of V over U), 0 from `width` degrees away.
float nearHue(float u, float v, float degrees, float width) {
    constexpr float kDegrees = 57.29578F;
    const float distance = std::abs(std::remainder(std::atan2(v, u) * kDegrees - degrees, 360.0F));
    return 1.0F - smoothStep(0.0F, width, distance);
}

struct Yuv {
    float y, u, v;
};

// The colour table's formula: `in` has chroma around 0.
Yuv graded(const StarterLook& look, Yuv in) {
    constexpr float kSkinHue = 124.0F;
    constexpr float kBlueHue = -8.0F;
    const float chroma = std::hypot(in.u, in.v);
    const float skin = nearHue(in.u, in.v, kSkinHue, 32.0F) * smoothStep(4.0F, 16.0F, chroma);
    const float pale = 1.0F - smoothStep(10.0F, 90.0F, chroma);
    // Deep shadows keep their colour: what there is of it is noise.
    const float lit = smoothStep(8.0F, 60.0F, in.y);
    const float gain = 1.0F + look.vibrance * (0.25F + 0.75F * pale) * (1.0F - look.skinCalm * skin) * lit;
    // Warmth goes to what is warm already, so that grays stay gray.
    const float warm = look.warmth * smoothStep(4.0F, 30.0F, in.v) * smoothStep(4.0F, 30.0F, -in.u) *
                       smoothStep(40.0F, 110.0F, in.y) * (1.0F - smoothStep(170.0F, 245.0F, in.y));
    const float blue = nearHue(in.u, in.v, kBlueHue, 60.0F) * smoothStep(10.0F, 50.0F, chroma);
    return {in.y * (1.0F - look.deepBlue * blue), in.u * gain - warm, in.v * gain + warm};
}

std::string photoOrFrameText(bool photo, const std::string& sceneIdx) {
    std::ostringstream out;
    out << "[save]\r\n"
        << (photo ? "photo=0\r\n[switch]\r\nphotoSwitch=1\r\n" : "frame=0\r\n[switch]\r\nframeSwitch=1\r\n")
        << "[hvc]\r\nclaheSwitch=1\r\ncurveSwitch=1\r\ncolorSwitch=1\r\ncCorrSwitch=1\r\n"
        << "gridWidth=8\r\ngridHeight=6\r\nsampRate=4\r\n"
        << (photo ? "" : "transFrameNum=30\r\n")
        // Skin detection and protection belong to captures; previews do without.
        << "[portrait]\r\nmaskSource=" << (photo ? 2 : 0) << "\r\npProtectSwitch=" << (photo ? 1 : 0)
        << "\r\n"
        << "[scene]\r\nsceneNum=" << starterLooks().size() << "\r\nsceneIdx=" << sceneIdx << "\r\n";
    return out.str();
}

std::string paramText(const StarterLook& look) {
    std::ostringstream out;
    out.imbue(std::locale::classic());
    out << "[hvc]\r\ncolorStrength=" << look.colorStrength << "\r\nsatStrength=" << look.satStrength
        << "\r\nclaheStrength=" << look.claheStrength << "\r\n";
    return out.str();
}

std::string readmeText() {
    std::ostringstream out;
    out << "A starter tuning for libHuevance. Host scene numbers and their tables:\n\n";
    for (std::size_t scene = 0; scene < starterSceneIdx().size(); ++scene) {
        const int table = starterSceneIdx()[scene];
        out << "  scene " << scene << "  " << starterLooks()[static_cast<std::size_t>(table)].name
            << ": param" << table << ".ini, curveLut" << table << ", colorLut" << table << "\n";
    }
    out << "\nNeutral is table 1, because a preview's first frames fade in from table 1.\n"
           "Lines of platformSet.ini must end in carriage return and line feed; sections must have no blank "
           "lines;\n"
           "every element of a list needs a \"/\" after it. CurveLut and ColorLut are all the tables one "
           "after another,\n"
           "for the GPU back end: make them again when a table changes (cat curveLut0 curveLut1 ... > "
           "CurveLut).\n";
    return out.str();
}

Bytes bytesOf(const std::string& text) { return {text.begin(), text.end()}; }

// Raw little-endian floats, which is what this program's machines have.
Bytes bytesOf(const std::vector<float>& values) {
    const auto* begin = reinterpret_cast<const std::uint8_t*>(values.data());
    return {begin, begin + values.size() * sizeof(float)};
}

}  // namespace

const std::vector<StarterLook>& starterLooks() {
    static const std::vector<StarterLook> looks = {
        //           color  sat    clahe  lift   contr. vibr.  skin   warm  blue
        {"vivid", 1.0F, 1.12F, 1.0F, 0.12F, 0.32F, 0.60F, 0.6F, 2.5F, 0.15F},
        {"neutral", 1.0F, 1.05F, 0.5F, 0.13F, 0.20F, 0.40F, 0.7F, 1.5F, 0.08F},
        {"night", 0.8F, 1.02F, 0.7F, 0.30F, 0.08F, 0.25F, 0.6F, 1.0F, 0.00F},
        {"portrait", 1.0F, 1.03F, 0.3F, 0.15F, 0.10F, 0.25F, 0.9F, 2.0F, 0.05F},
    };
    return looks;
}

const std::vector<int>& starterSceneIdx() {
    static const std::vector<int> sceneIdx = {1, 0, 2, 3};
    return sceneIdx;
}

std::vector<float> starterCurve(const StarterLook& look) {
    constexpr float kPi = 3.14159265F;
    std::vector<float> curve;
    for (int i = 0; i < 256; ++i) {
        const float x = static_cast<float>(i) / 255.0F;
        const float lifted = x + look.lift * 6.75F * x * (1.0F - x) * (1.0F - x);
        // One period of a sine, subtracted: steeper in the middle, gentler at both ends, fixed at 0, 1/2
        // and 1.
        const float y = lifted - look.contrast / (2.0F * kPi) * std::sin(2.0F * kPi * lifted);
        curve.push_back(255.0F * std::clamp(y, 0.0F, 1.0F));
    }
    return curve;
}

std::vector<float> starterColorLut(const StarterLook& look) {
    std::vector<float> lut(3 * kPoints);
    constexpr float kStep = 255.0F / (kSide - 1);
    for (int point = 0; point < kPoints; ++point) {
        const Yuv in = {kStep * static_cast<float>(point % kSide),
                        kStep * static_cast<float>(point / kSide % kSide) - kNeutral,
                        kStep * static_cast<float>(point / kSide / kSide) - kNeutral};
        const Yuv out = graded(look, in);
        const auto at = static_cast<std::size_t>(point);
        lut[at] = std::clamp(out.y, 0.0F, 255.0F);
        lut[at + kPoints] = std::clamp(out.u + kNeutral, 0.0F, 255.0F);
        lut[at + 2 * kPoints] = std::clamp(out.v + kNeutral, 0.0F, 255.0F);
    }
    return lut;
}

void writeStarterTuning(const std::string& directory, const std::string& backEnd) {
    const auto write = [&](const std::string& name, const Bytes& contents) {
        writeFile(directory + "/" + name, contents);
    };
    std::string sceneIdx;
    for (const int table : starterSceneIdx()) {
        sceneIdx += std::to_string(table) + "/";
    }
    const std::string cache = std::filesystem::absolute(directory).lexically_normal().string();
    write("platformSet.ini", bytesOf(platformText(backEnd, cache)));
    write("photoSet.ini", bytesOf(photoOrFrameText(true, sceneIdx)));
    write("frameSet.ini", bytesOf(photoOrFrameText(false, sceneIdx)));

    std::vector<float> curves;
    std::vector<float> colors;
    for (std::size_t table = 0; table < starterLooks().size(); ++table) {
        const StarterLook& look = starterLooks()[table];
        const std::vector<float> curve = starterCurve(look);
        const std::vector<float> color = starterColorLut(look);
        write("param" + std::to_string(table) + ".ini", bytesOf(paramText(look)));
        write("curveLut" + std::to_string(table), bytesOf(curve));
        write("colorLut" + std::to_string(table), bytesOf(color));
        curves.insert(curves.end(), curve.begin(), curve.end());
        colors.insert(colors.end(), color.begin(), color.end());
    }
    write("CurveLut", bytesOf(curves));
    write("ColorLut", bytesOf(colors));
    write("README.txt", bytesOf(readmeText()));
}

}  // namespace tool
