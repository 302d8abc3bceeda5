#include "tests/neon/Tuning.h"

#include <limits>

#include "core/ColorLut.h"

namespace test {

namespace {

std::vector<float> randomLevels(std::size_t count, std::uint32_t seed) {
    Random random(seed);
    std::vector<float> levels(count);
    for (float& level : levels) {
        level = random.unit() * 255.0F;
    }
    return levels;
}

}  // namespace

CaptureTuning::CaptureTuning() {
    m_directory.writePlatform("NEON");
    m_directory.writeParam(0, 0.7F, 1.4F, 1.5F);
    m_directory.writeFloats("curveLut0", randomLevels(256, 5));
    m_directory.writeFloats("colorLut0", randomLevels(huevance::kColorLutFloats, 6));
}

void CaptureTuning::select(int switches, int maskSource, int gridWidth, int gridHeight) {
    const auto on = [switches](int bit) { return std::to_string(switches >> bit & 1); };
    m_directory.writeSets({{"claheSwitch", on(0)},
                           {"curveSwitch", on(1)},
                           {"cCorrSwitch", on(2)},
                           {"colorSwitch", on(3)},
                           {"pProtectSwitch", on(4)},
                           {"maskSource", std::to_string(maskSource)},
                           {"gridWidth", std::to_string(gridWidth)},
                           {"gridHeight", std::to_string(gridHeight)},
                           {"sampRate", "2"}});
}

HostMask::HostMask(const RoiInfo& frame, int padding)
    : m_roi{frame.width, frame.height, 4 * (frame.width + padding), frame.height},
      m_memory(static_cast<std::size_t>(m_roi.stride) * static_cast<std::size_t>(m_roi.height)) {
    Random random(9);
    const float odd[] = {-0.5F, 1.5F, 1e30F, std::numeric_limits<float>::quiet_NaN()};
    const int cells = m_roi.stride / 4 * m_roi.height;
    for (int i = 0; i < cells; ++i) {
        data()[i] = random.below(16) == 0 ? odd[random.below(4)] : random.unit();
    }
}

}  // namespace test
