#include "tests/ogl/support/OglTuning.h"

#include <algorithm>
#include <cmath>
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
                     {"transFrameNum", "0"},
                     {"sceneNum", "3"},
                     {"sceneIdx", "0/1/2/"}});
    m_directory.writeSets(m_values);
    m_directory.writePlatform("OGL");
    for (int table = 0; table < kScenes; ++table) {
        const Strengths s = strengths(table);
        m_directory.writeParam(table, s.color, s.sat, s.clahe);
        m_directory.writeFloats("curveLut" + std::to_string(table), curve(table));
        m_directory.writeFloats("colorLut" + std::to_string(table), colors(table));
    }
}

Strengths OglTuning::strengths(int table) {
    return {0.5F * static_cast<float>(table), 1.0F + 0.25F * static_cast<float>(table),
            0.5F + 1.0F * static_cast<float>(table)};
}

std::vector<float> OglTuning::curve(int table) {
    std::vector<float> levels;
    for (int i = 0; i < 256; ++i) {
        levels.push_back(255.0F *
                         std::pow(static_cast<float>(i) / 255.0F, 0.8F + 0.15F * static_cast<float>(table)));
    }
    return levels;
}

std::vector<float> OglTuning::colors(int table) {
    std::vector<float> planes;
    for (int plane = 0; plane < 3; ++plane) {
        for (int i = 0; i < 4096; ++i) {
            const int axes[] = {i % 16, i / 16 % 16, i / 256};
            const float own = static_cast<float>(axes[plane]) * 17.0F;
            const float turn = static_cast<float>((axes[(plane + 1) % 3] - 8) * (table + 1)) * 0.7F;
            planes.push_back(std::clamp(own + turn, 0.0F, 255.0F));
        }
    }
    return planes;
}

int OglTuning::value(const std::string& key) const { return std::stoi(m_values.at(key)); }

ShaderInput OglTuning::input(const Frame& frame, IMAGE_FORMAT_TYPE format, int table,
                             const Strengths& strengths) const {
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
    in.yCurve = modelCurve(curve(table));
    in.uvCurve = modelUvCurve(static_cast<double>(strengths.sat));
    in.color = modelColors(colors(table));
    in.colorStrength = strengths.color;
    return in;
}

std::vector<double> OglTuning::claheLevels(const ShaderInput& in, const Strengths& strengths) const {
    return modelClaheLevels(in.luma, in.width, in.height, in.gridWidth, in.gridHeight, value("sampRate"),
                            static_cast<double>(strengths.clahe));
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
