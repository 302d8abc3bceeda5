// Captures through CHuevancePhoto_CPU: every combination of stages against the model, masks and refusals, log
// lines.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <optional>

#include "cpu/HuevancePhoto_CPU.h"
#include "tests/cpu/Rig.h"
#include "tests/support/StdoutCapture.h"

namespace {

using model::Tuning;
using rig::Shape;
using test::Content;
using Photo = rig::Handle<CHuevancePhoto_CPU>;

const std::vector<std::string> kNone;

class Capture : public testing::Test {
protected:
    // One frame of a handle of its own, with a host mask.
    void check(const Shape& shape, Tuning tuning, Content content, const std::string& what) {
        rig::write(dir, {tuning});
        Photo photo(dir, shape);
        rig::HostMask mask(shape.roi);
        photo.setMask(mask.roi, mask.data());
        tuning.hostMask = mask.weights();
        log.clear();
        photo.check(tuning, content, what);
        EXPECT_EQ(log.texts(test::kError), kNone) << what;
    }

    void TearDown() override {
        if (HasFailure()) {
            std::fputs(out.text().c_str(), stderr);  // the failures were caught with the rest
        }
    }

    test::TuningDir dir;
    test::LogCapture log;
    test::StdoutCapture out;
};

TEST_F(Capture, EveryCombinationOfStages) {
    const Shape shapes[] = {{8, 6, {37, 29, 48, 32}},   {8, 5, {40, 26, 40, 26}},   {8, 9, {31, 24, 32, 24}},
                            {10, 9, {37, 29, 80, 30}},  {10, 10, {36, 28, 72, 28}}, {12, 6, {33, 31, 70, 31}},
                            {14, 10, {25, 18, 64, 20}}, {16, 9, {23, 17, 46, 18}}};
    std::uint32_t seed = 1;
    for (const Shape& shape : shapes) {
        for (int stages = 0; stages < 32; ++stages) {
            Tuning tuning = rig::makeTuning(seed++, stages);
            tuning.grid = {3, 2, 1 + stages % 3};
            tuning.maskSource = tuning.protect ? 1 + static_cast<int>(seed / 3 % 2) : stages % 3;
            const Content content = stages % 3 == 0 ? Content::kNoise : Content::kPhotoLike;
            check(shape, tuning, content, "stages " + std::to_string(stages));
        }
    }
    // Formats without a known order of chroma skip the stages that need one.
    for (const int format : {0, 2, 3, 7, 11, 10}) {
        for (const int source : {1, 2}) {
            Tuning tuning = rig::makeTuning(3, 31);
            tuning.maskSource = source;
            check({8, format, {48, 36, 50, 40}}, tuning, Content::kPhotoLike, "other format");
            check({12, format, {48, 36, 100, 40}}, tuning, Content::kPhotoLike, "other format");
        }
    }
}

TEST_F(Capture, EverySmallSizeAndContent) {
    std::uint32_t seed = 1000;
    for (const int width : {1, 2, 3, 5, 16, 17}) {
        for (const int height : {1, 2, 3, 8, 9}) {
            for (const Content content : test::kAllContents) {
                Tuning tuning = rig::makeTuning(seed, 31);
                tuning.maskSource = 1 + static_cast<int>(seed++ % 2);
                tuning.grid = {std::min(width, 1 + static_cast<int>(seed % 4)), std::min(height, 2), 1};
                const int format = static_cast<int>(seed % 2);
                check({8, 5 + format, {width, height, width + 3, height + 2}}, tuning, content, "8");
                check({10, 9 + format, {width, height, 2 * width + 6, height}}, tuning, content, "10");
            }
        }
    }
}

TEST_F(Capture, StrengthsAndCurvesOutOfRangeAreHeldInRange) {
    const float strengths[][3] = {{0, 0, 0},
                                  {1, 1, 0},
                                  {-3, -2, -0.5F},
                                  {40, 90, 300},
                                  {1e30F, 1e30F, 1e30F},
                                  {-1e38F, -1e38F, -1e30F}};
    for (const auto& [color, sat, clahe] : strengths) {
        Tuning tuning = rig::makeTuning(8, 15);
        tuning.grid = {4, 3, 1};
        tuning.colorStrength = color;
        tuning.satStrength = sat;
        tuning.claheStrength = clahe;
        for (std::size_t i = 0; i < 256; i += 3) {
            tuning.yCurve[i] = i % 2 == 0 ? 1e9F : -300.0F;
            tuning.lattice[40 * i] = i % 2 == 0 ? -1e9F : 4000.0F;
        }
        check({8, 6, {33, 22, 36, 22}}, tuning, Content::kPhotoLike, std::to_string(color));
        check({10, 10, {33, 22, 66, 22}}, tuning, Content::kNoise, std::to_string(color));
    }
}

TEST_F(Capture, NotFiniteCountsAsZero) {
    Tuning tuning = rig::makeTuning(9, 15);
    tuning.colorStrength = tuning.satStrength = tuning.claheStrength = 0;
    tuning.yCurve[100] = tuning.yCurve[101] = tuning.lattice[2000] = tuning.lattice[2001] = 0;
    const Tuning zeroed = tuning;
    rig::write(dir, {tuning});
    tuning.yCurve[100] = tuning.lattice[2000] = std::nanf("");
    tuning.yCurve[101] = tuning.lattice[2001] = HUGE_VALF;
    dir.write("param0.ini", "[hvc]\r\ncolorStrength=nan\r\nsatStrength=inf\r\nclaheStrength=-inf\r\n");
    dir.writeFloats("curveLut0", tuning.yCurve);
    dir.writeFloats("colorLut0", tuning.lattice);
    const Shape shape{8, 6, {48, 36, 48, 36}};
    Photo photo(dir, shape);
    photo.check(zeroed, Content::kPhotoLike, "not finite");
}

TEST_F(Capture, ReadsTheFilesOfTheScenesTableEachTime) {
    // Host scene 0 uses table 2, 1 uses 0, 2 uses 1; the files are read again for every capture.
    std::vector<Tuning> tables = {rig::makeTuning(1, 11), rig::makeTuning(2, 11), rig::makeTuning(3, 11)};
    const Shape shape{8, 5, {64, 48, 64, 48}};
    rig::write(dir, tables, {{"sceneIdx", "2/0/1/"}});
    Photo photo(dir, shape);
    for (const int scene : {0, 1, 2}) {
        const Tuning& tuning = tables[static_cast<std::size_t>((scene + 2) % 3)];
        photo.check(tuning, Content::kPhotoLike, "scene", scene);
    }
    std::swap(tables[2], tables[0]);
    rig::write(dir, tables);
    photo.check(tables[2], Content::kPhotoLike, "the new table");
}

TEST_F(Capture, MissingAndShortFilesLeaveTheRestAsItWas) {
    const Tuning tuning = rig::makeTuning(4, 10);
    const Shape shape{8, 6, {32, 32, 32, 32}};
    rig::write(dir, {tuning});
    dir.remove("curveLut0");
    dir.remove("colorLut0");
    Photo photo(dir, shape);
    Tuning zeros = tuning;
    std::fill(zeros.yCurve.begin(), zeros.yCurve.end(), 0.0F);
    std::fill(zeros.lattice.begin(), zeros.lattice.end(), 0.0F);
    photo.check(zeros, Content::kNoise, "no files: zeros, but the chroma curve of the strengths");

    rig::write(dir, {tuning});
    photo.check(tuning, Content::kNoise, "whole files");
    const Tuning other = rig::makeTuning(5);
    Tuning mixed = tuning;
    std::copy_n(other.yCurve.begin(), 100, mixed.yCurve.begin());
    std::copy_n(other.lattice.begin(), 5000, mixed.lattice.begin());
    dir.writeFloats("curveLut0", {other.yCurve.begin(), other.yCurve.begin() + 100});
    dir.writeFloats("colorLut0", {other.lattice.begin(), other.lattice.begin() + 5000});
    photo.check(mixed, Content::kNoise, "short files");
    dir.remove("curveLut0");
    dir.remove("colorLut0");
    dir.writeParam(0, tuning.colorStrength, 0.5F, 0);
    mixed.satStrength = 0.5F;
    photo.check(mixed, Content::kNoise,
                "no files any more: the tables stay, the chroma curve follows the strength");
    std::vector<float> longer = other.yCurve;
    longer.insert(longer.end(), 300, 9.0F);
    dir.writeFloats("curveLut0", longer);
    mixed.yCurve = other.yCurve;
    photo.check(mixed, Content::kNoise, "a file that is too long");
}

TEST_F(Capture, MaskRefusalsLeaveTheFrameUntouched) {
    const char* const kNoMask = "portrait mask pointer is NULL!";
    const char* const kNoSource = "mask source is 0, however portrait protect switch is 1!";
    const RoiInfo fits{24, 18, 96, 18};
    struct Case {
        int source;
        int protect;
        std::optional<RoiInfo> maskRoi;  // none: no pointer
        const char* error;               // null: none
    };
    const Case cases[] = {
        {0, 0, {}, nullptr},
        {0, 1, {}, kNoSource},
        {0, 1, fits, kNoSource},  // the mask is ignored
        {0, 2, {}, nullptr},
        {1, 0, {}, kNoMask},
        {1, 1, {}, kNoMask},
        {1, 1, fits, nullptr},
        {1, 0, RoiInfo{1, 1, 4, 1}, nullptr},  // not looked at
        {1, 1, RoiInfo{23, 18, 96, 18}, "portrait mask 23, 18, 96, 18 does not cover the frame!"},
        {1, 1, RoiInfo{24, 17, 96, 18}, "portrait mask 24, 17, 96, 18 does not cover the frame!"},
        {1, 1, RoiInfo{24, 18, 92, 18}, "portrait mask 24, 18, 92, 18 does not cover the frame!"},
        {1, 1, RoiInfo{0, 0, 0, 0}, "portrait mask 0, 0, 0, 0 does not cover the frame!"},
        {2, 0, {}, nullptr},
        {2, 1, {}, nullptr},
        {3, 1, {}, nullptr}};  // an unknown source protects nothing
    for (const Shape& shape : {Shape{8, 6, {24, 18, 24, 18}}, {10, 10, {24, 18, 48, 18}}}) {
        for (const Case& c : cases) {
            Tuning tuning = rig::makeTuning(6, 15);
            tuning.maskSource = c.source;
            rig::write(dir, {tuning}, {{"pProtectSwitch", std::to_string(c.protect)}});
            Photo photo(dir, shape);
            rig::HostMask mask(shape.roi);
            if (c.maskRoi) {
                photo.setMask(*c.maskRoi, mask.data());  // forgotten with its handle: the next case has none
            }
            SCOPED_TRACE("source " + std::to_string(c.source) + " protect " + std::to_string(c.protect));
            if (c.error != nullptr) {
                EXPECT_EQ(photo.expectUntouched(log, -1), std::vector<std::string>{c.error});
                continue;
            }
            test::Frame frame = rig::makeFrame(shape, Content::kPhotoLike);
            const auto before = frame.copyBytes();
            log.clear();
            EXPECT_EQ(photo.pipeline.process(frame.data(), shape.type(), 0), 0);
            EXPECT_NE(frame.copyBytes(), before);
            EXPECT_EQ(log.texts(test::kError), kNone);
        }
    }
}

TEST_F(Capture, MaskParametersCountOnlyWithTheHostMaskAndUntilRelease) {
    const std::vector<std::string> noMask = {"portrait mask pointer is NULL!"};
    const Shape shape{8, 6, {24, 18, 24, 18}};
    rig::HostMask mask(shape.roi);
    Tuning tuning = rig::makeTuning(6, 16);
    for (const int source : {1, 0, 2, 3, 1}) {  // the last one finds nothing kept
        tuning.maskSource = source;
        rig::write(dir, {tuning});
        Photo photo(dir, shape);
        if (source == 1) {
            for (std::string key : {"PortraitMaskPointer", "portraitMaskPointer2"}) {
                EXPECT_EQ(photo.pipeline.setExtParam(key.data(), mask.data()), 0);
            }
            EXPECT_EQ(photo.expectUntouched(log, -1), noMask);
        }
        photo.setMask(mask.roi, mask.data());
        if (source == 1) {
            tuning.hostMask = mask.weights();
            photo.check(tuning, Content::kNoise, "host mask");
        } else if (source == 2) {
            photo.pipeline.free();
            EXPECT_EQ(photo.expectUntouched(log, -1), noMask);
        }
    }
}

TEST_F(Capture, LinesInOrder) {
    Tuning tuning = rig::makeTuning(7, 31);
    tuning.maskSource = 2;
    tuning.colorStrength = 0.5F;
    tuning.satStrength = 1.25F;
    tuning.claheStrength = 2.0F;
    rig::write(dir, {tuning}, {{"photo", "1"}});
    std::vector<test::LogLine> expected = {
        {test::kInfo, test::kVersionTag, "yuvType: IMAGE_FORMAT_TYPE_NV12"}};
    for (const char* text : {"scene: 0", "srcPhoto save failed!", "CHuevance_CPU::readHvcParam finished!",
                             "colorStrength: 0.500000", "satStrength: 1.250000", "claheStrength: 2.000000",
                             "dstPhoto save failed!"}) {
        const bool failed = std::string(text).ends_with("failed!");
        expected.push_back({failed ? test::kError : test::kInfo, test::kVersionTag, text});
    }
    for (const Shape& shape : {Shape{8, 6, {48, 36, 48, 36}},
                               {8, 5, {48, 36, 48, 36}},
                               {10, 9, {48, 36, 96, 36}},
                               {8, 77, {48, 36, 48, 36}}}) {
        if (shape.format == 5) {
            expected.front().text = "yuvType: IMAGE_FORMAT_TYPE_NV21";
        } else if (shape.format == 9) {
            expected.erase(expected.begin());  // a name is known for two formats
        }
        Photo photo(dir, shape);
        log.clear();
        photo.check(tuning, Content::kPhotoLike, "lines");
        EXPECT_EQ(log.lines(), expected);
    }
    EXPECT_EQ(out.text(), "running photorunning photorunning photorunning photo");
}

TEST_F(Capture, SwitchedOffPassesTheFrameAndStillPrints) {
    const Shape shape{8, 6, {48, 36, 48, 36}};
    const Tuning tuning = rig::makeTuning(7, 31);  // would be refused: mask source 0
    for (const char* value : {"0", "2", "-1"}) {
        rig::write(dir, {tuning}, {{"photoSwitch", value}, {"photo", "1"}});
        Photo photo(dir, shape);
        photo.expectUntouched(log, 0, 99);
        EXPECT_EQ(log.texts(), (std::vector<std::string>{"yuvType: IMAGE_FORMAT_TYPE_NV12", "scene: 99",
                                                         "srcPhoto save failed!", "dstPhoto save failed!"}));
    }
    EXPECT_EQ(out.text(), "running photorunning photorunning photo");
}

}  // namespace
