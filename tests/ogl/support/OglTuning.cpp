#include "tests/ogl/support/OglTuning.h"

#include <algorithm>
#include <cstdlib>

namespace test {

OglTuning::OglTuning(Settings values) : m_values(std::move(values)) {
    m_values.insert({{"claheSwitch", "1"},
                     {"curveSwitch", "1"},
                     {"colorSwitch", "1"},
                     {"cCorrSwitch", "1"},
                     {"pProtectSwitch", "0"},
                     {"maskSource", "0"},
                     {"gridWidth", "4"},
                     {"gridHeight", "3"},
                     {"sampRate", "1"},
                     {"transFrameNum", "0"}});
    rig::write(m_directory, {table(0), table(1), table(2)}, m_values);
    m_directory.writePlatform("OGL");
}

model::Tuning OglTuning::table(int scene) {
    model::Tuning tuning = rig::gentleTuning(scene);
    const float more = static_cast<float>(scene);
    tuning.colorStrength = 0.5F * more;
    tuning.satStrength = 1.0F + 0.25F * more;
    tuning.claheStrength = 0.5F + more;
    return tuning;
}

int OglTuning::value(const std::string& key) const { return std::stoi(m_values.at(key)); }

ShaderInput OglTuning::input(const Frame& frame, IMAGE_FORMAT_TYPE format,
                             const model::Tuning& tuning) const {
    ShaderInput in;
    const RoiInfo& roi = frame.roi();
    in.width = roi.width;
    in.height = roi.height;
    in.format = format;
    const std::vector<int> samples = frame.samples();
    for (int i = 0; i < roi.width * (roi.height + roi.height / 2); ++i) {
        Bytes& plane = i < roi.width * roi.height ? in.luma : in.chroma;
        if (&plane == &in.luma || i % roi.width < roi.width / 2 * 2) {  // whole pairs
            plane.push_back(static_cast<unsigned char>(samples[static_cast<std::size_t>(i)]));
        }
    }
    in.on = {value("claheSwitch") == 1, value("curveSwitch") == 1, value("cCorrSwitch") == 1,
             value("colorSwitch") == 1, value("pProtectSwitch") == 1};
    in.maskType = value("maskSource");
    in.gridWidth = value("gridWidth");
    in.gridHeight = value("gridHeight");
    in.yCurve = modelCurve(tuning.yCurve);
    in.uvCurve = modelUvCurve(static_cast<double>(tuning.satStrength));
    in.color = modelColors(tuning.lattice);
    in.colorStrength = tuning.colorStrength;
    return in;
}

std::vector<double> OglTuning::claheLevels(const ShaderInput& in, float strength) const {
    return modelClaheLevels(in.luma, in.width, in.height, in.gridWidth, in.gridHeight, value("sampRate"),
                            static_cast<double>(strength));
}

Difference compareWithModel(const DeviceBuffer& drawn, const ModelFrame& model) {
    Difference worst;
    const auto compare = [](int& most, int a, int b) { most = std::max(most, std::abs(a - b)); };
    const RoiInfo& roi = drawn.roi();
    for (int y = 0; y < roi.height; ++y) {
        for (int x = 0; x < roi.width; ++x) {
            compare(worst.luma, drawn.luma(x, y), model.luma(x, y));
            if (x < roi.width / 2 * 2 && y < roi.height / 2) {
                compare(worst.chroma, drawn.chroma(x / 2, y, x % 2), model.chroma(x / 2, y, x % 2));
            }
        }
    }
    return worst;
}

}  // namespace test
