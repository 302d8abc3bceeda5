#include "tests/support/Rig.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace rig {

std::string toString(const Shape& shape) {
    return std::to_string(shape.bits) + " bits, format " + std::to_string(shape.format) + ", " +
           std::to_string(shape.roi.width) + "x" + std::to_string(shape.roi.height);
}

test::Frame makeFrame(const Shape& shape, test::Content content, std::uint32_t seed) {
    test::Frame frame(shape.roi, shape.bytes());
    frame.fill(content, shape.range(), seed);
    if (shape.bits != 8 && shape.format == 10 && content != test::Content::kAboveRange) {
        test::Random random(seed);
        const int shift = 16 - shape.bits;
        const auto raise = [&](int value) { return (value << shift) + random.below(1 << shift); };
        for (int y = 0; y < shape.roi.height; ++y) {
            for (int x = 0; x < shape.roi.width; ++x) {
                frame.setLuma(x, y, raise(frame.luma(x, y)));
                if (y < shape.roi.height / 2) {
                    frame.setChroma(x, y, raise(frame.chroma(x, y)));
                }
            }
        }
    }
    return frame;
}

model::Tuning makeTuning(std::uint32_t seed, int stages) {
    test::Random random(seed);
    model::Tuning tuning;
    tuning.colorStrength = 0.25F + 0.5F * random.unit();
    tuning.satStrength = 0.75F + 0.75F * random.unit();
    tuning.claheStrength = 0.5F + 4.0F * random.unit();
    const float bend = random.unit() - 0.375F;
    for (int i = 0; i < 256; ++i) {
        const float x = static_cast<float>(i) / 255.0F;
        tuning.yCurve[static_cast<std::size_t>(i)] = 255.0F * (x + bend * (x * (1.0F - x)));
    }
    for (int i = 0; i < 3 * 4096; ++i) {
        const int coordinate = i / 4096 == 0 ? i % 16 : i / 4096 == 1 ? i / 16 % 16 : i / 256 % 16;
        const float moved = 17.0F * static_cast<float>(coordinate) + 48.0F * (random.unit() - 0.5F);
        tuning.lattice[static_cast<std::size_t>(i)] = std::clamp(moved, 0.0F, 255.0F);
    }
    bool* switches[] = {&tuning.clahe, &tuning.curve, &tuning.correct, &tuning.color, &tuning.protect};
    for (int i = 0; i < 5; ++i) {
        *switches[i] = (stages >> i & 1) != 0;
    }
    return tuning;
}

model::Tuning gentleTuning(int scene, int stages) {
    model::Tuning tuning = makeTuning(1, stages);
    const float bend = scene % 2 == 0 ? 0.6F - 0.2F * static_cast<float>(scene) : -0.5F;
    for (std::size_t i = 0; i < 256; ++i) {
        const float x = static_cast<float>(i) / 255.0F;
        tuning.yCurve[i] = 255.0F * (x + bend * x * (1.0F - x));
    }
    for (int i = 0; i < 3 * 4096; ++i) {
        const int plane = i / 4096;
        const int at[] = {i % 16, i / 16 % 16, i / 256 % 16};
        constexpr float kWaves[] = {12.0F, -12.0F, 6.0F};
        tuning.lattice[static_cast<std::size_t>(i)] =
            12.0F + 15.4F * static_cast<float>(at[plane]) +
            bend * kWaves[plane] * std::sin(static_cast<float>(at[0] + 2 * at[1] - at[2]) / 4.0F);
    }
    return tuning;
}

void write(const test::TuningDir& dir, const std::vector<model::Tuning>& tables,
           std::map<std::string, std::string> more) {
    const model::Tuning& first = tables.front();
    std::string scenes;
    for (std::size_t i = 0; i < tables.size(); ++i) {
        scenes += std::to_string(i) + "/";
    }
    const std::pair<const char*, int> values[] = {
        {"claheSwitch", first.clahe},      {"curveSwitch", first.curve},
        {"cCorrSwitch", first.correct},    {"colorSwitch", first.color},
        {"pProtectSwitch", first.protect}, {"maskSource", first.maskSource},
        {"gridWidth", first.grid.width},   {"gridHeight", first.grid.height},
        {"sampRate", first.grid.rate},     {"sceneNum", static_cast<int>(tables.size())}};
    for (const auto& [key, value] : values) {
        more.insert({key, std::to_string(value)});
    }
    more.insert({"sceneIdx", scenes});
    dir.writeSets(more);
    std::vector<float> curves, lattices;
    for (std::size_t i = 0; i < tables.size(); ++i) {
        const int table = static_cast<int>(i);
        dir.writeParam(table, tables[i].colorStrength, tables[i].satStrength, tables[i].claheStrength);
        dir.writeFloats("curveLut" + std::to_string(i), tables[i].yCurve);
        dir.writeFloats("colorLut" + std::to_string(i), tables[i].lattice);
        curves.insert(curves.end(), tables[i].yCurve.begin(), tables[i].yCurve.end());
        lattices.insert(lattices.end(), tables[i].lattice.begin(), tables[i].lattice.end());
    }
    dir.writeFloats("CurveLut", curves);
    dir.writeFloats("ColorLut", lattices);
}

HostMask::HostMask(const RoiInfo& frame, bool odd)
    : roi{frame.width, frame.height, 4 * frame.width + 12, frame.height},
      m_width(frame.width),
      m_memory(static_cast<std::size_t>(roi.stride * roi.height - 12)) {
    test::Random random(77);
    for (int y = 0; y < roi.height; ++y) {
        for (int x = 0; x < m_width; ++x) {
            const int kind = random.below(4);
            const float beyond[] = {-0.5F, 1.5F, 1e30F, std::numeric_limits<float>::quiet_NaN()};
            data()[y * roi.stride / 4 + x] = kind == 0                  ? 0.0F
                                             : kind == 1                ? 1.0F
                                             : odd && (x + y) % 16 == 0 ? beyond[x / 4 % 4]
                                                                        : random.unit();
        }
    }
}

std::vector<float> HostMask::weights() const {
    const auto* cells = reinterpret_cast<const float*>(m_memory.data());
    std::vector<float> result;
    for (int y = 0; y < roi.height; ++y) {
        result.insert(result.end(), cells + y * roi.stride / 4, cells + y * roi.stride / 4 + m_width);
    }
    return result;
}

model::Picture expectedPicture(const Shape& shape, const model::Tuning& tuning, test::Content content,
                               std::uint32_t seed) {
    return model::enhanced(model::fromFrame(makeFrame(shape, content, seed)), tuning, shape.format,
                           shape.bits);
}

void expectSame(const test::Frame& frame, const model::Picture& expected, const std::string& what) {
    const std::vector<int> got = frame.samples();
    const std::vector<int> want = expected.samples();
    ASSERT_EQ(got.size(), want.size()) << what;
    const auto [g, w] = std::mismatch(got.begin(), got.end(), want.begin());
    if (g != got.end()) {
        const auto index = g - got.begin();
        ADD_FAILURE() << what << ": row " << index / frame.roi().width << ", column "
                      << index % frame.roi().width << " is " << *g << ", expected " << *w;
    }
    EXPECT_TRUE(frame.paddingUntouched()) << what;
}

}  // namespace rig
