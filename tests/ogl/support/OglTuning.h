// A complete tuning of several scenes for the OpenGL ES back end, and what a frame becomes under it.
#pragma once

#include <map>
#include <string>

#include "tests/ogl/support/OglModel.h"
#include "tests/support/Rig.h"

namespace test {

using Settings = std::map<std::string, std::string>;

class OglTuning {
public:
    // Scenes 0, 1, 2 with the tables 0, 1, 2, no fades, all stages on but the mask, 4 x 3 tiles of which
    // every pixel counts, unless `values` say otherwise.
    explicit OglTuning(Settings values = {});

    char* path() { return m_directory.mutablePath(); }
    TuningDir& directory() { return m_directory; }

    // Of a scene; the strengths are short binary fractions.
    static model::Tuning table(int scene);

    // The shader model's input for a frame under a table.
    ShaderInput input(const Frame& frame, IMAGE_FORMAT_TYPE format, const model::Tuning& table) const;

private:
    int value(const std::string& key) const;

    TuningDir m_directory;
    std::map<std::string, std::string> m_values;
};

}  // namespace test
