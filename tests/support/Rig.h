// What the pipeline tests share: tunings as numbers for the model and as files for the library, masks, and
// comparisons.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "tests/support/Frames.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Model.h"
#include "tests/support/TuningDir.h"

namespace rig {

// A depth, a format, and a geometry; the stride in bytes.
struct Shape {
    int bits;
    int format;
    RoiInfo roi;

    int bytes() const { return bits == 8 ? 1 : 2; }
    int range() const { return 1 << bits; }
    IMAGE_FORMAT_TYPE type() const { return static_cast<IMAGE_FORMAT_TYPE>(format); }
};
std::string toString(const Shape& shape);

// Filled for the shape: format 10 has its samples at the top, and noise in the bits below them.
test::Frame makeFrame(const Shape& shape, test::Content content, std::uint32_t seed = 1);

// Strengths, curve and lattice differ with the seed; made of exact arithmetic only. The low five bits of
// `stages` switch CLAHE, curves, colour correction, colour table and protection on.
model::Tuning makeTuning(std::uint32_t seed, int stages = 0);

// As a camera has it: a curve and a lattice that bend levels gently, each scene's to another side. (Random
// ones make much of a level that is off by one, as a graphics processor's may be.)
model::Tuning gentleTuning(int scene, int stages = 0);

// photoSet.ini and frameSet.ini (switches and grid of the first tuning, `more` on top), the files of every
// scene table, and those that hold the tables of all scenes.
void write(const test::TuningDir& dir, const std::vector<model::Tuning>& tables,
           std::map<std::string, std::string> more = {});

// A host mask for the shape in memory that ends where its last row ends: 0, 1 and values between, and with
// `odd` some beyond and some that are no number.
class HostMask {
public:
    explicit HostMask(const RoiInfo& frame, bool odd = true);
    std::vector<float> weights() const;
    float* data() { return reinterpret_cast<float*>(m_memory.data()); }
    RoiInfo roi;

private:
    int m_width;
    test::GuardedMemory m_memory;
};

// What the model makes of makeFrame(shape, content, seed).
model::Picture expectedPicture(const Shape& shape, const model::Tuning& tuning, test::Content content,
                               std::uint32_t seed = 1);

// Equal samples, and no byte beside them touched.
void expectSame(const test::Frame& frame, const model::Picture& expected, const std::string& what);

// One handle's life with a pipeline: set-up, mask, frames, and release at the end.
template <typename Pipeline>
class Handle {
public:
    Handle(const test::TuningDir& dir, const Shape& its) : shape(its), setUpResult(setUp(dir)) {}
    ~Handle() { pipeline.free(); }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;

    int setUp(const test::TuningDir& dir) {
        std::string path = dir.path();
        pipeline.setDataBit(shape.bits);
        return pipeline.malloc(path.data(), shape.roi);
    }
    void setMask(RoiInfo roi, float* data) {
        char roiKey[] = "portraitMaskRoiInfo", pointerKey[] = "portraitMaskPointer";
        EXPECT_EQ(pipeline.setExtParam(roiKey, &roi), 0);
        EXPECT_EQ(pipeline.setExtParam(pointerKey, data), 0);
    }
    // Processes one frame, which must become what is expected.
    void check(const model::Picture& expected, test::Content content, const std::string& what, int scene = 0,
               std::uint32_t seed = 1) {
        test::Frame frame = makeFrame(shape, content, seed);
        EXPECT_EQ(pipeline.process(frame.data(), shape.type(), scene), 0) << what;
        expectSame(frame, expected, toString(shape) + ", " + test::toString(content) + ", " + what);
    }
    // The same with what the model makes of it.
    void check(const model::Tuning& tuning, test::Content content, const std::string& what, int scene = 0,
               std::uint32_t seed = 1) {
        check(expectedPicture(shape, tuning, content, seed), content, what, scene, seed);
    }
    // Processes a frame that has to stay as it is, and gives the error lines.
    std::vector<std::string> expectUntouched(test::LogCapture& log, int result, int scene = 0) {
        test::Frame frame = makeFrame(shape, test::Content::kPhotoLike);
        const auto before = frame.copyBytes();
        log.clear();
        EXPECT_EQ(pipeline.process(frame.data(), shape.type(), scene), result) << toString(shape);
        EXPECT_EQ(frame.copyBytes(), before) << toString(shape);
        return log.texts(test::kError);
    }

    Shape shape;
    Pipeline pipeline;
    int setUpResult;
};

}  // namespace rig
