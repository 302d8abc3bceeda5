// Captures of the back ends on the host's processor, which write the same bytes: every combination of stages
// and every size against the model, masks and refusals, log lines.
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>

#include "cpu/HuevancePhoto_CPU.h"
#include "neon/HuevancePhoto_NEON.h"
#include "tests/support/Rig.h"
#include "tests/support/StdoutCapture.h"
#include "tests/support/Vectors.h"

namespace {

using model::Tuning;
using rig::Shape;
using std::string;
using test::Content;
using Lines = std::vector<string>;
using Photo = rig::Handle<CHuevancePhoto_CPU>;
using VectorPhoto = rig::Handle<test::Vectors<CHuevancePhoto_CPU>>;
using NeonPhoto = rig::Handle<CHuevancePhoto_NEON>;

const string kNeon = "CHuevancePhoto_NEON: ";

class Capture : public testing::Test {
protected:
    // Calls test(handle, prefix of the back end's lines) for both back ends, and for the CPU back end with
    // the vector kernels.
    void forBoth(const Shape& shape, const auto& test) {
        {
            SCOPED_TRACE("CPU");
            Photo photo(dir, shape);
            test(photo, string());
        }
        {
            SCOPED_TRACE("CPU with vectors");
            VectorPhoto photo(dir, shape);
            test(photo, string());
        }
        if (shape.bits != 8 || shape.format == 5 || shape.format == 6) {
            SCOPED_TRACE("NEON");
            NeonPhoto photo(dir, shape);
            test(photo, kNeon);
        } else {
            EXPECT_EQ(NeonPhoto(dir, shape).expectUntouched(log, -1),
                      Lines{kNeon + "only YUV NV12 and NV21 are supported!"});
            EXPECT_EQ(log.lines().size(), 1U);
        }
    }

    // One frame of each back end, with a host mask.
    void check(const Shape& shape, Tuning tuning, Content content, const string& what) {
        rig::write(dir, {tuning});
        rig::HostMask mask(shape.roi);
        tuning.hostMask = mask.weights();
        const model::Picture expected = rig::expectedPicture(shape, tuning, content);
        forBoth(shape, [&](auto& photo, const string&) {
            photo.setMask(mask.roi, mask.data());
            log.clear();
            photo.check(expected, content, what);
            EXPECT_EQ(log.texts(test::kError), Lines()) << what;
        });
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
    const Shape shapes[] = {
        {8, 6, {37, 29, 48, 32}},   {8, 5, {64, 20, 64, 20}},   {8, 5, {531, 9, 532, 10}},
        {8, 9, {31, 24, 32, 24}},   {10, 9, {37, 29, 80, 30}},  {10, 10, {36, 28, 72, 28}},
        {11, 5, {33, 21, 66, 21}},  {12, 6, {33, 31, 70, 31}},  {13, 9, {21, 16, 42, 16}},
        {14, 10, {25, 18, 64, 20}}, {15, 10, {19, 17, 40, 18}}, {16, 9, {23, 17, 46, 18}}};
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

TEST_F(Capture, EverySizeAndContent) {
    std::uint32_t seed = 1000;
    for (int width = 1; width <= 67; ++width) {
        for (const Content content : test::kAllContents) {
            const int height = 1 + static_cast<int>(seed % 9);
            Tuning tuning = rig::makeTuning(seed, 31);
            tuning.maskSource = 1 + static_cast<int>(seed++ % 2);
            tuning.grid = {std::min(width, 1 + static_cast<int>(seed % 5)), std::min(height, 2), 1};
            const int format = static_cast<int>(seed % 2), padding = width % 4;
            check({8, 5 + format, {width, height, width + padding, height + 2}}, tuning, content, "8");
            if (width % 4 == 1) {
                check({10, 9 + format, {width, height, 2 * (width + padding), height}}, tuning, content,
                      "10");
            }
        }
    }
    // A tile for every sample; tiles of one column; a grid too fine for packed tables.
    for (const auto& [width, height] : {std::pair{24, 18}, {66, 1}, {1, 34}, {40, 30}}) {
        Tuning tuning = rig::makeTuning(seed, 31);
        tuning.grid = {width, height, 1};
        tuning.maskSource = 2;
        check({8, 5, {66, 34, 66, 34}}, tuning, Content::kNoise, "fine grid");
    }
}

TEST_F(Capture, StrengthsAndCurvesOutOfRangeAreHeldInRange) {
    const float strengths[][3] = {{0, 0, 0},
                                  {1, 1, 0},
                                  {-3, -2, -0.5F},
                                  {40, 90, 300},
                                  {1.9F, -3, -2},
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

// Host scene 0 uses table 2, 1 uses 0, 2 uses 1; the files are read again for every capture.
TEST_F(Capture, ReadsTheFilesOfTheScenesTableEachTime) {
    rig::write(dir, {rig::makeTuning(1, 11)}, {{"sceneNum", "3"}, {"sceneIdx", "2/0/1/"}});
    forBoth({8, 5, {64, 48, 64, 48}}, [&](auto& photo, const string&) {
        for (const std::uint32_t seed : {1U, 4U}) {
            const std::vector<Tuning> tables = {rig::makeTuning(seed, 11), rig::makeTuning(seed + 1, 11),
                                                rig::makeTuning(seed + 2, 11)};
            rig::write(dir, tables, {{"sceneIdx", "2/0/1/"}});
            for (const int scene : {0, 1, 2}) {
                photo.check(tables[static_cast<std::size_t>((scene + 2) % 3)], Content::kPhotoLike, "scene",
                            scene);
            }
        }
    });
}

TEST_F(Capture, MissingAndShortFilesLeaveTheRestAsItWas) {
    const Tuning tuning = rig::makeTuning(4, 10), other = rig::makeTuning(5);
    rig::write(dir, {tuning});
    forBoth({8, 6, {32, 32, 32, 32}}, [&](auto& photo, const string&) {
        const auto files = [&](const Tuning& of, std::size_t curve, std::size_t lattice) {
            dir.remove("curveLut0");
            dir.remove("colorLut0");
            if (curve > 0) {
                std::vector<float> longer = of.yCurve;
                longer.resize(curve, 9.0F);
                dir.writeFloats("curveLut0", longer);
                dir.writeFloats("colorLut0", std::vector(of.lattice.data(), of.lattice.data() + lattice));
            }
        };
        Tuning expected = tuning;
        std::fill(expected.yCurve.begin(), expected.yCurve.end(), 0.0F);
        std::fill(expected.lattice.begin(), expected.lattice.end(), 0.0F);
        files(tuning, 0, 0);
        photo.check(expected, Content::kNoise, "no files: zeros, but the chroma curve of the strengths");
        files(tuning, 256, 12288);
        photo.check(tuning, Content::kNoise, "whole files");
        expected = tuning;
        std::copy_n(other.yCurve.begin(), 100, expected.yCurve.begin());
        std::copy_n(other.lattice.begin(), 5000, expected.lattice.begin());
        files(other, 100, 5000);
        photo.check(expected, Content::kNoise, "short files");
        files(tuning, 0, 0);
        dir.writeParam(0, tuning.colorStrength, 0.5F, 0);
        expected.satStrength = 0.5F;
        photo.check(expected, Content::kNoise, "none any more: the tables stay, chroma follows the strength");
        files(other, 556, 12288);
        expected.yCurve = other.yCurve;
        expected.lattice = other.lattice;
        photo.check(expected, Content::kNoise, "a file that is too long");
        rig::write(dir, {tuning});
    });
}

TEST_F(Capture, MaskRefusalsLeaveTheFrameUntouched) {
    const char* const kNoMask = "portrait mask pointer is NULL!";
    const char* const kNoSource = "mask source is 0, however portrait protect switch is 1!";
    const RoiInfo fits{24, 18, 96, 18};
    const struct {
        int source, protect;
        std::optional<RoiInfo> maskRoi;  // none: no pointer
        string error;                    // empty: none
    } cases[] = {{0, 0, {}, ""},
                 {0, 1, {}, kNoSource},
                 {0, 1, fits, kNoSource},  // the mask is ignored
                 {0, 2, {}, ""},
                 {1, 0, {}, kNoMask},
                 {1, 1, {}, kNoMask},
                 {1, 1, fits, ""},
                 {1, 0, RoiInfo{1, 1, 4, 1}, ""},  // not looked at
                 {1, 1, RoiInfo{23, 18, 96, 18}, "portrait mask 23, 18, 96, 18 does not cover the frame!"},
                 {1, 1, RoiInfo{24, 17, 96, 18}, "portrait mask 24, 17, 96, 18 does not cover the frame!"},
                 {1, 1, RoiInfo{24, 18, 92, 18}, "portrait mask 24, 18, 92, 18 does not cover the frame!"},
                 {1, 1, RoiInfo{0, 0, 0, 0}, "portrait mask 0, 0, 0, 0 does not cover the frame!"},
                 {2, 0, {}, ""},
                 {2, 1, {}, ""},
                 {3, 1, {}, ""}};  // an unknown source protects nothing
    for (const Shape& shape : {Shape{8, 6, {24, 18, 24, 18}}, {10, 10, {24, 18, 48, 18}}}) {
        for (const auto& c : cases) {
            SCOPED_TRACE("source " + std::to_string(c.source) + " protect " + std::to_string(c.protect));
            Tuning tuning = rig::makeTuning(6, 15);
            tuning.maskSource = c.source;
            rig::write(dir, {tuning}, {{"pProtectSwitch", std::to_string(c.protect)}});
            rig::HostMask mask(shape.roi);
            forBoth(shape, [&](auto& photo, const string& who) {
                for (string key : {"PortraitMaskPointer", "portraitMaskPointer2"}) {
                    EXPECT_EQ(photo.pipeline.setExtParam(key.data(), mask.data()), 0);
                }
                if (c.maskRoi) {
                    photo.setMask(*c.maskRoi,
                                  mask.data());  // forgotten with its handle: the next case has none
                }
                if (!c.error.empty()) {
                    const bool named = c.error == kNoMask || c.error == kNoSource;
                    EXPECT_EQ(photo.expectUntouched(log, -1), Lines{(named ? who : "") + c.error});
                    return;
                }
                test::Frame frame = rig::makeFrame(shape, Content::kPhotoLike);
                const auto before = frame.copyBytes();
                log.clear();
                EXPECT_EQ(photo.pipeline.process(frame.data(), shape.type(), 0), 0);
                EXPECT_NE(frame.copyBytes(), before);
                EXPECT_EQ(log.texts(test::kError), Lines());
                photo.pipeline.free();
                EXPECT_EQ(photo.expectUntouched(log, -1),
                          Lines{c.source == 1 || c.source == 2 ? who + kNoMask : "capture is not set up!"});
            });
        }
    }
}

// NEON says its switches, and the CPU back end its strengths. Neither can dump here.
TEST_F(Capture, LinesInOrder) {
    Tuning tuning = rig::makeTuning(7, 27);
    tuning.maskSource = 2;
    tuning.colorStrength = 0.5F;
    tuning.satStrength = 1.25F;
    tuning.claheStrength = 2.0F;
    const struct {
        int bits, format;
        string name;  // known for two formats
        bool on = true, save = true;
    } cases[] = {{8, 6, "NV12"}, {8, 5, "NV21", false}, {10, 9, "", true, false}, {10, 7, ""}, {8, 77, ""}};
    string printed;
    for (const auto& c : cases) {
        const string on = c.on ? "1" : "2";
        rig::write(dir, {tuning}, {{"photo", c.save ? "1" : "2"}, {"photoSwitch", on}});
        forBoth({c.bits, c.format, {48, 36, 96, 36}}, [&](auto& photo, const string& who) {
            const bool neon = who == kNeon;
            Lines expected;
            const auto expect = [&](bool said, const Lines& lines) {
                expected.insert(expected.end(), lines.begin(), said ? lines.end() : lines.begin());
            };
            expect(!c.name.empty(), {who + "yuvType: IMAGE_FORMAT_TYPE_" + c.name});
            expect(true, {who + "scene: 0"});
            expect(c.save, {"srcPhoto save failed!"});
            expect(neon, {who + "m_iPhotoSwitch=" + on + " m_iMaskSource=2\n",
                          who + "m_iPProtectSwitch=1 m_iClaheSwitch=1\n",
                          who + "m_iCurveSwitch=1 m_iCCorrSwitch=0 m_iColorSwitch=1\n"});
            expect(c.on, {"CHuevance_CPU::readHvcParam finished!"});
            expect(c.on && !neon,
                   {"colorStrength: 0.500000", "satStrength: 1.250000", "claheStrength: 2.000000"});
            expect(c.save, {"dstPhoto save failed!"});
            log.clear();
            photo.check(c.on ? tuning : Tuning(), Content::kPhotoLike, "lines");
            EXPECT_EQ(log.tagged(test::kVersionTag), expected);
            EXPECT_EQ(log.texts(test::kError).size(), c.save ? 2U : 0U);
            printed += neon ? "" : "running photo";
        });
    }
    EXPECT_EQ(out.text(), printed);
}

}  // namespace
