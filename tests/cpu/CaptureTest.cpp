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
    // Processes one frame and compares it with the model.
    void check(const Shape& shape, const Tuning& tuning, Content content, const std::string& what) {
        rig::write(dir, {tuning});
        Photo photo(dir, shape);
        rig::HostMask mask(shape.roi);
        photo.setMask(mask.roi, mask.data());
        Tuning withMask = tuning;
        withMask.hostMask = mask.weights();
        test::Frame frame = rig::makeFrame(shape, content);
        const model::Picture expected =
            model::enhanced(model::fromFrame(frame), withMask, shape.format, shape.bits);
        log.clear();
        EXPECT_EQ(photo.process(frame), 0) << what;
        EXPECT_EQ(log.texts(test::kError), kNone) << what;
        rig::expectSame(frame, expected, rig::toString(shape) + ", " + test::toString(content) + ", " + what);
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
            Tuning tuning = rig::makeTuning(seed++);
            rig::setStages(tuning, stages);
            tuning.grid = {3, 2, 1 + stages % 3};
            tuning.maskSource = tuning.protect ? 1 + static_cast<int>(seed / 3 % 2) : stages % 3;
            const Content content = stages % 3 == 0 ? Content::kNoise : Content::kPhotoLike;
            check(shape, tuning, content, "stages " + std::to_string(stages));
        }
    }
}

TEST_F(Capture, EverySmallSizeAndContent) {
    std::uint32_t seed = 1000;
    for (const int width : {1, 2, 3, 5, 16, 17}) {
        for (const int height : {1, 2, 3, 8, 9}) {
            for (const Content content : test::kAllContents) {
                const int maskSource = 1 + static_cast<int>(seed % 2);
                Tuning tuning = rig::makeTuning(seed++);
                rig::setStages(tuning, 31);
                tuning.grid = {std::min(width, 1 + static_cast<int>(seed % 4)), std::min(height, 2), 1};
                tuning.maskSource = maskSource;
                const int format = static_cast<int>(seed % 2);
                check({8, 5 + format, {width, height, width + 3, height + 2}}, tuning, content, "8");
                check({10, 9 + format, {width, height, 2 * width + 6, height}}, tuning, content, "10");
            }
        }
    }
}

TEST_F(Capture, UnknownFormatsSkipTheStagesThatNeedAnOrder) {
    for (const int format : {0, 2, 3, 7, 11, 10}) {
        for (const int source : {1, 2}) {
            Tuning tuning = rig::makeTuning(3);
            rig::setStages(tuning, 31);
            tuning.maskSource = source;
            check({8, format, {48, 36, 50, 40}}, tuning, Content::kPhotoLike, "8");
            check({12, format, {48, 36, 100, 40}}, tuning, Content::kPhotoLike, "12");
        }
    }
}

TEST_F(Capture, StrengthsAndCurvesOutOfRangeAreHeldInRange) {
    struct Case {
        float color;
        float sat;
        float clahe;
    };
    for (const Case& c : {Case{0, 0, 0},
                          {1, 1, 0},
                          {-3, -2, -0.5F},
                          {40, 90, 300},
                          {1e30F, 1e30F, 1e30F},
                          {-1e38F, -1e38F, -1e30F}}) {
        Tuning tuning = rig::makeTuning(8);
        rig::setStages(tuning, 15);
        tuning.grid = {4, 3, 1};
        tuning.colorStrength = c.color;
        tuning.satStrength = c.sat;
        tuning.claheStrength = c.clahe;
        for (std::size_t i = 0; i < 256; i += 3) {
            tuning.yCurve[i] = i % 2 == 0 ? 1e9F : -300.0F;
            tuning.lattice[40 * i] = i % 2 == 0 ? -1e9F : 4000.0F;
        }
        check({8, 6, {33, 22, 36, 22}}, tuning, Content::kPhotoLike, std::to_string(c.color));
        check({10, 10, {33, 22, 66, 22}}, tuning, Content::kNoise, std::to_string(c.color));
    }
}

TEST_F(Capture, NotFiniteCountsAsZero) {
    Tuning tuning = rig::makeTuning(9);
    rig::setStages(tuning, 15);
    const Shape shape{8, 6, {48, 36, 48, 36}};
    rig::write(dir, {tuning});
    dir.write("param0.ini", "[hvc]\r\ncolorStrength=nan\r\nsatStrength=inf\r\nclaheStrength=-inf\r\n");
    std::vector<float> curve = tuning.yCurve;
    std::vector<float> lattice = tuning.lattice;
    curve[100] = lattice[2000] = lattice[7000] = std::nanf("");
    curve[101] = lattice[2001] = HUGE_VALF;
    dir.writeFloats("curveLut0", curve);
    dir.writeFloats("colorLut0", lattice);
    tuning.colorStrength = tuning.satStrength = tuning.claheStrength = 0;
    tuning.yCurve[100] = tuning.yCurve[101] = 0;
    Photo photo(dir, shape);
    test::Frame frame = rig::makeFrame(shape, Content::kPhotoLike);
    const model::Picture expected = model::enhanced(model::fromFrame(frame), tuning, 6, 8);
    EXPECT_EQ(photo.process(frame), 0);
    rig::expectSame(frame, expected, "not finite");
}

TEST_F(Capture, ReadsTheFilesOfTheScenesTableEachTime) {
    // Host scene 0 uses table 2, 1 uses 0, 2 uses 1; the files are read again for every capture.
    std::vector<Tuning> tables = {rig::makeTuning(1), rig::makeTuning(2), rig::makeTuning(3)};
    for (Tuning& t : tables) {
        rig::setStages(t, 11);
    }
    const Shape shape{8, 5, {64, 48, 64, 48}};
    rig::write(dir, tables, {{"sceneIdx", "2/0/1/"}});
    Photo photo(dir, shape);
    const int tableOf[] = {2, 0, 1, 2};
    const int scenes[] = {0, 1, 2, 0};
    for (int i = 0; i < 4; ++i) {
        if (i == 3) {  // the tables have changed since the first capture
            std::swap(tables[2], tables[0]);
            rig::write(dir, tables);
        }
        test::Frame frame = rig::makeFrame(shape, Content::kPhotoLike);
        const Tuning& tuning = tables[static_cast<std::size_t>(tableOf[i])];
        const model::Picture expected = model::enhanced(model::fromFrame(frame), tuning, 5, 8);
        EXPECT_EQ(photo.process(frame, scenes[i]), 0);
        rig::expectSame(frame, expected, "scene " + std::to_string(scenes[i]));
    }
}

TEST_F(Capture, MissingAndShortFilesLeaveTheRestAsItWas) {
    const Tuning full = rig::makeTuning(4);
    Tuning tuning = full;
    rig::setStages(tuning, 10);
    const Shape shape{8, 6, {32, 32, 32, 32}};
    const auto run = [&](Photo& photo, const Tuning& t, const char* what) {
        test::Frame frame = rig::makeFrame(shape, Content::kNoise);
        const model::Picture expected = model::enhanced(model::fromFrame(frame), t, 6, 8);
        EXPECT_EQ(photo.process(frame), 0);
        rig::expectSame(frame, expected, what);
    };
    rig::write(dir, {tuning});
    dir.remove("curveLut0");
    dir.remove("colorLut0");
    Photo photo(dir, shape);
    Tuning zeros = tuning;
    std::fill(zeros.yCurve.begin(), zeros.yCurve.end(), 0.0F);
    std::fill(zeros.lattice.begin(), zeros.lattice.end(), 0.0F);
    run(photo, zeros, "no files: zeros, but the chroma curve of the strengths");

    rig::write(dir, {tuning});
    run(photo, tuning, "whole files");
    const Tuning other = rig::makeTuning(5);
    Tuning mixed = tuning;
    std::copy_n(other.yCurve.begin(), 100, mixed.yCurve.begin());
    std::copy_n(other.lattice.begin(), 5000, mixed.lattice.begin());
    dir.writeFloats("curveLut0", {other.yCurve.begin(), other.yCurve.begin() + 100});
    dir.writeFloats("colorLut0", {other.lattice.begin(), other.lattice.begin() + 5000});
    run(photo, mixed, "short files");
    dir.remove("curveLut0");
    dir.remove("colorLut0");
    dir.writeParam(0, tuning.colorStrength, 0.5F, 0);
    mixed.satStrength = 0.5F;
    run(photo, mixed, "no files any more: the tables stay, the chroma curve follows the strength");
    std::vector<float> longer = other.yCurve;
    longer.insert(longer.end(), 300, 9.0F);
    dir.writeFloats("curveLut0", longer);
    mixed.yCurve = other.yCurve;
    run(photo, mixed, "a file that is too long");
}

struct MaskCase {
    int source;
    int protect;
    std::optional<RoiInfo> maskRoi;  // none: no pointer
    int result;
    const char* error;  // null: none
};

TEST_F(Capture, MaskRefusalsLeaveTheFrameUntouched) {
    const char* const kNoMask = "portrait mask pointer is NULL!";
    const char* const kNoSource = "mask source is 0, however portrait protect switch is 1!";
    const RoiInfo fits{24, 18, 96, 18};
    const MaskCase cases[] = {
        {0, 0, {}, 0, nullptr},
        {0, 1, {}, -1, kNoSource},
        {0, 1, fits, -1, kNoSource},  // the mask is ignored
        {0, 2, {}, 0, nullptr},
        {1, 0, {}, -1, kNoMask},
        {1, 1, {}, -1, kNoMask},
        {1, 1, fits, 0, nullptr},
        {1, 0, RoiInfo{1, 1, 4, 1}, 0, nullptr},  // not looked at
        {1, 1, RoiInfo{23, 18, 96, 18}, -1, "portrait mask 23, 18, 96, 18 does not cover the frame!"},
        {1, 1, RoiInfo{24, 17, 96, 18}, -1, "portrait mask 24, 17, 96, 18 does not cover the frame!"},
        {1, 1, RoiInfo{24, 18, 92, 18}, -1, "portrait mask 24, 18, 92, 18 does not cover the frame!"},
        {1, 1, RoiInfo{0, 0, 0, 0}, -1, "portrait mask 0, 0, 0, 0 does not cover the frame!"},
        {2, 0, {}, 0, nullptr},
        {2, 1, {}, 0, nullptr},
        {3, 1, {}, 0, nullptr},  // an unknown source protects nothing
    };
    for (const Shape& shape : {Shape{8, 6, {24, 18, 24, 18}}, {10, 10, {24, 18, 48, 18}}}) {
        for (const MaskCase& c : cases) {
            Tuning tuning = rig::makeTuning(6);
            rig::setStages(tuning, 15);
            tuning.maskSource = c.source;
            rig::write(dir, {tuning}, {{"pProtectSwitch", std::to_string(c.protect)}});
            Photo photo(dir, shape);
            rig::HostMask mask(shape.roi);
            if (c.maskRoi) {
                photo.setMask(*c.maskRoi, mask.data());  // forgotten with its handle: the next case has none
            }
            test::Frame frame = rig::makeFrame(shape, Content::kPhotoLike);
            const auto before = frame.copyBytes();
            log.clear();
            const std::string what =
                "source " + std::to_string(c.source) + " protect " + std::to_string(c.protect);
            EXPECT_EQ(photo.process(frame), c.result) << what;
            EXPECT_EQ(log.texts(test::kError), c.error ? std::vector<std::string>{c.error} : kNone) << what;
            EXPECT_EQ(frame.copyBytes() == before, c.result != 0) << what;
        }
    }
}

TEST_F(Capture, ExtParamsCountOnlyWithTheHostMask) {
    // Set while maskSource is 2, read by a later set-up with maskSource 1: nothing was kept.
    const Shape shape{8, 6, {24, 18, 24, 18}};
    rig::HostMask mask(shape.roi);
    Tuning tuning = rig::makeTuning(6);
    rig::setStages(tuning, 16);
    tuning.maskSource = 1;
    rig::write(dir, {tuning});
    for (const int source : {0, 2, 3}) {
        tuning.maskSource = source;
        rig::write(dir, {tuning});
        Photo(dir, shape).setMask(mask.roi, mask.data());
    }
    tuning.maskSource = 1;
    rig::write(dir, {tuning});
    Photo photo(dir, shape);
    test::Frame frame = rig::makeFrame(shape, Content::kNoise);
    log.clear();
    EXPECT_EQ(photo.process(frame), -1);
    char wrongCase[] = "PortraitMaskPointer";
    char longer[] = "portraitMaskPointer2";
    EXPECT_EQ(photo.pipeline.setExtParam(wrongCase, mask.data()), 0);
    EXPECT_EQ(photo.pipeline.setExtParam(longer, mask.data()), 0);
    EXPECT_EQ(photo.process(frame), -1);
    EXPECT_EQ(log.texts(test::kError), (std::vector<std::string>(2, "portrait mask pointer is NULL!")));
    photo.setMask(mask.roi, mask.data());
    EXPECT_EQ(photo.process(frame), 0);
}

TEST_F(Capture, MaskAfterRelease) {
    const Shape shape{8, 6, {24, 18, 24, 18}};
    Tuning tuning = rig::makeTuning(6);
    tuning.maskSource = 2;
    rig::write(dir, {tuning});
    Photo photo(dir, shape);
    photo.pipeline.free();
    test::Frame frame = rig::makeFrame(shape, Content::kNoise);
    log.clear();
    EXPECT_EQ(photo.process(frame), -1);
    EXPECT_EQ(log.texts(test::kError), std::vector<std::string>{"portrait mask pointer is NULL!"});
}

TEST_F(Capture, LinesInOrder) {
    Tuning tuning = rig::makeTuning(7);
    rig::setStages(tuning, 31);
    tuning.maskSource = 2;
    tuning.colorStrength = 0.5F;
    tuning.satStrength = 1.25F;
    tuning.claheStrength = 2.0F;
    rig::write(dir, {tuning}, {{"photo", "1"}});
    struct Case {
        Shape shape;
        std::vector<std::string> first;
    };
    for (const Case& c : {Case{{8, 6, {48, 36, 48, 36}}, {"yuvType: IMAGE_FORMAT_TYPE_NV12"}},
                          Case{{8, 5, {48, 36, 48, 36}}, {"yuvType: IMAGE_FORMAT_TYPE_NV21"}},
                          Case{{10, 9, {48, 36, 96, 36}}, {}}, Case{{8, 77, {48, 36, 48, 36}}, {}}}) {
        Photo photo(dir, c.shape);
        test::Frame frame = rig::makeFrame(c.shape, Content::kPhotoLike);
        log.clear();
        EXPECT_EQ(photo.process(frame), 0);
        std::vector<test::LogLine> expected;
        const auto add = [&](int priority, const std::string& text) {
            expected.push_back({priority, test::kVersionTag, text});
        };
        for (const std::string& text : c.first) {
            add(test::kInfo, text);
        }
        add(test::kInfo, "scene: 0");
        add(test::kError, "srcPhoto save failed!");
        add(test::kInfo, "CHuevance_CPU::readHvcParam finished!");
        add(test::kInfo, "colorStrength: 0.500000");
        add(test::kInfo, "satStrength: 1.250000");
        add(test::kInfo, "claheStrength: 2.000000");
        add(test::kError, "dstPhoto save failed!");
        EXPECT_EQ(log.lines(), expected);
    }
    EXPECT_EQ(out.text(), "running photorunning photorunning photorunning photo");
}

TEST_F(Capture, SwitchedOffPassesTheFrameAndStillPrints) {
    const Shape shape{8, 6, {48, 36, 48, 36}};
    Tuning tuning = rig::makeTuning(7);
    rig::setStages(tuning, 31);  // would be refused: mask source 0
    for (const char* value : {"0", "2", "-1"}) {
        rig::write(dir, {tuning}, {{"photoSwitch", value}, {"photo", "1"}});
        Photo photo(dir, shape);
        test::Frame frame = rig::makeFrame(shape, Content::kPhotoLike);
        const auto before = frame.copyBytes();
        log.clear();
        EXPECT_EQ(photo.process(frame, 99), 0);
        EXPECT_EQ(frame.copyBytes(), before);
        EXPECT_EQ(log.texts(), (std::vector<std::string>{"yuvType: IMAGE_FORMAT_TYPE_NV12", "scene: 99",
                                                         "srcPhoto save failed!", "dstPhoto save failed!"}));
    }
    EXPECT_EQ(out.text(), "running photorunning photorunning photo");
}

}  // namespace
