#include "tests/ogl/support/OglTuning.h"

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

ShaderInput OglTuning::input(const Frame& frame, IMAGE_FORMAT_TYPE format, const model::Tuning& table) const {
    ShaderInput in;
    in.picture = model::fromFrame(frame);
    in.format = format;
    in.tuning = table;
    in.tuning.clahe = value("claheSwitch") == 1;
    in.tuning.curve = value("curveSwitch") == 1;
    in.tuning.correct = value("cCorrSwitch") == 1;
    in.tuning.color = value("colorSwitch") == 1;
    in.tuning.protect = value("pProtectSwitch") == 1;
    in.tuning.maskSource = value("maskSource");
    in.tuning.grid = {value("gridWidth"), value("gridHeight"), value("sampRate")};
    in.clahe = claheTable(in.picture, in.tuning.grid, table.claheStrength);
    in.yCurve = truncated(table.yCurve);
    in.uvCurve = uvCurve(static_cast<double>(table.satStrength));
    in.color = colorTexels(table.lattice);
    return in;
}

}  // namespace test
