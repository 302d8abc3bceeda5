#include "tools/report/TuningView.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "tools/tuning/Look.h"

namespace tool {

namespace {

// The floats of a file, zeros where it ends early. False unless it is whole.
bool readFloats(const std::string* bytes, std::vector<float>& floats) {
    if (bytes != nullptr) {
        std::memcpy(floats.data(), bytes->data(), std::min(bytes->size(), floats.size() * sizeof(float)));
    }
    for (float& value : floats) {
        value = std::isfinite(value) ? value : 0.0F;
    }
    return bytes != nullptr && bytes->size() >= floats.size() * sizeof(float);
}

std::vector<int> scenesOf(const ModeSettings& mode, int table) {
    std::vector<int> scenes;
    for (std::size_t scene = 0; scene < std::max<std::size_t>(mode.sceneIdx.size(), 1); ++scene) {
        if (mode.tableOf(scene) == table) {
            scenes.push_back(static_cast<int>(scene));
        }
    }
    return scenes;
}

TableView tableOf(const TuningView& tuning, int number) {
    TableView table;
    table.number = number;
    table.name = "table " + std::to_string(number);
    try {
        if (const std::string* text = tuning.files.bytes(lookFileName(number))) {
            const Look look = parseLook(*text, lookFileName(number));
            table.name = look.name;
            table.about = look.about;
        }
    } catch (const LookError&) {
        table.about = "Its look cannot be read; huevance tuning check says why.";
    }
    table.strengths = readStrengths(tuning.files, number);
    table.curve.resize(kCurveFloats);
    table.hasCurve = readFloats(tuning.files.bytes(tableFile(kTableFileKinds[1], number)), table.curve);
    std::vector<float> colors(kColorFloats);
    table.hasColors = readFloats(tuning.files.bytes(tableFile(kTableFileKinds[2], number)), colors);
    table.lattice = Lattice(std::move(colors));
    table.reversed = tuning.photo.backEnd == "OGL";
    table.photoScenes = scenesOf(tuning.photo, number);
    table.frameScenes = scenesOf(tuning.frame, number);
    return table;
}

}  // namespace

Yuv TableView::through(const Yuv& color) const {
    const auto level = [](double value) { return std::clamp(value, 0.0, 255.0); };
    const double y = level(color.y);
    const auto below = static_cast<std::size_t>(std::min(y, 254.0));
    const double part = y - static_cast<double>(below);
    const double gain = static_cast<double>(strengths.saturation);
    const Yuv curved = {
        level((1 - part) * static_cast<double>(curve[below]) + part * static_cast<double>(curve[below + 1])),
        level(128 + gain * (color.u - 128)), level(128 + gain * (color.v - 128))};
    const Yuv looked = reversed ? lattice.atTexel(curved) : lattice.at(curved);
    const double given = std::clamp(static_cast<double>(strengths.color), 0.0, 1.0);
    const double amount = reversed ? 1 - given : given;
    const auto mix = [amount](double from, double to) { return from + amount * (to - from); };
    return {level(mix(curved.y, looked.y)), level(mix(curved.u, looked.u)), level(mix(curved.v, looked.v))};
}

TuningView::TuningView(const std::string& directory)
    : files(directory), photo(readMode(files, true)), frame(readMode(files, false)) {
    // A number that nobody can have meant is the check's to name.
    const int count = std::clamp(std::max(photo.sceneNum, frame.sceneNum), 0, 64);
    for (int table = 0; table < count; ++table) {
        tables.push_back(tableOf(*this, table));
    }
}

const TableView* TuningView::find(const std::string& name) const {
    const auto found = std::find_if(tables.begin(), tables.end(),
                                    [&](const TableView& table) { return table.name == name; });
    return found != tables.end() ? &*found : nullptr;
}

std::string svgColor(const Rgb& color) {
    const auto level = [](double value) {
        return static_cast<unsigned>(std::lround(255 * std::clamp(value, 0.0, 1.0)));
    };
    char text[8];
    std::snprintf(text, sizeof(text), "#%02x%02x%02x", level(color.r), level(color.g), level(color.b));
    return text;
}

}  // namespace tool
