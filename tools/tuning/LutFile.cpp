#include "tools/tuning/LutFile.h"

#include <OpenColorIO/OpenColorIO.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <sstream>

#include "tools/ToolError.h"
#include "tools/picture/Picture.h"
#include "tools/picture/Png.h"

namespace tool {

namespace OCIO = OCIO_NAMESPACE;

namespace {

constexpr int kMaxSize = 65;
// Curves and formulas have no grid of their own.
constexpr int kSampledSize = 33;
constexpr double kWhite16 = 65535.0;

std::size_t pointsOf(int size) {
    const auto side = static_cast<std::size_t>(size);
    return side * side * side;
}

// The point of a grid of colours, red fastest.
Rgb gridPoint(std::size_t index, int size) {
    const auto side = static_cast<std::size_t>(size);
    const double last = static_cast<double>(size - 1);
    return {static_cast<double>(index % side) / last, static_cast<double>(index / side % side) / last,
            static_cast<double>(index / side / side) / last};
}

// Exceptions of the library have several lines and name the file again.
std::string reasonOf(const std::exception& error) {
    std::string text = error.what();
    std::replace(text.begin(), text.end(), '\n', ' ');
    while (!text.empty() && text.back() == ' ') {
        text.pop_back();
    }
    constexpr std::size_t kLongest = 400;
    return text.size() <= kLongest ? text : text.substr(0, kLongest) + " ...";
}

std::uint16_t to16(double value) {
    return static_cast<std::uint16_t>(std::lround(std::clamp(value, 0.0, 1.0) * kWhite16));
}

// --- HALD
// -----------------------------------------------------------------------------------------------------

int haldLevel(Size size, const std::string& name) {
    for (int level = kMinHaldLevel; level <= kMaxHaldLevel; ++level) {
        const int side = level * level * level;
        if (size == Size{side, side}) {
            return level;
        }
    }
    throw fileError(
        "cannot read " + name + ": a picture of " + std::to_string(size.width) + "x" +
        std::to_string(size.height) +
        " is no HALD; one of level L has L^3 x L^3 pixels, 512x512 for level 8 (`huevance lut hald`), "
        "and must not be scaled or cropped");
}

RgbLut readHald(const Bytes& contents, const std::string& name) {
    int level = 0;
    const std::vector<std::uint16_t> levels =
        decodePng16(contents, name, [&](Size size) { level = haldLevel(size, name); });
    RgbLut hald;
    hald.size = level * level;
    hald.points.resize(pointsOf(hald.size));
    for (std::size_t i = 0; i < hald.points.size(); ++i) {
        const std::uint16_t* at = &levels[3 * i];
        hald.points[i] = {at[0] / kWhite16, at[1] / kWhite16, at[2] / kWhite16};
    }
    if (hald.size <= kMaxSize) {
        return hald;
    }
    RgbLut smaller;
    smaller.size = kMaxSize;
    for (std::size_t i = 0; i < pointsOf(kMaxSize); ++i) {
        smaller.points.push_back(hald.at(gridPoint(i, kMaxSize)));
    }
    return smaller;
}

// --- All that OpenColorIO reads
// ----------------------------------------------------------------------------------

bool finite(float red, float green, float blue) {
    return std::isfinite(red) && std::isfinite(green) && std::isfinite(blue);
}

bool finite(const OCIO::Lut1DTransform& curve) {
    float red = 0, green = 0, blue = 0;
    for (unsigned long i = 0; i < curve.getLength(); ++i) {
        curve.getValue(i, red, green, blue);
        if (!finite(red, green, blue)) {
            return false;
        }
    }
    return true;
}

bool finite(const OCIO::Lut3DTransform& table) {
    const unsigned long side = table.getGridSize();
    float red = 0, green = 0, blue = 0;
    for (unsigned long i = 0; i < side * side * side; ++i) {
        table.getValue(i / side / side, i / side % side, i % side, red, green, blue);
        if (!finite(red, green, blue)) {
            return false;
        }
    }
    return true;
}

// The evaluation would take for 0 what is no number in a table.
bool tablesFinite(const OCIO::ConstProcessorRcPtr& processor) {
    const OCIO::GroupTransformRcPtr group = processor->createGroupTransform();
    for (int i = 0; i < group->getNumTransforms(); ++i) {
        const OCIO::TransformRcPtr transform = group->getTransform(i);
        const auto curve = OCIO_DYNAMIC_POINTER_CAST<OCIO::Lut1DTransform>(transform);
        const auto table = OCIO_DYNAMIC_POINTER_CAST<OCIO::Lut3DTransform>(transform);
        if ((curve && !finite(*curve)) || (table && !finite(*table))) {
            return false;
        }
    }
    return true;
}

// The grid of the file's 3D table when it has one and nothing else, else 0.
int gridOf(const OCIO::ConstProcessorRcPtr& processor) {
    const OCIO::GroupTransformRcPtr group = processor->createGroupTransform();
    if (group->getNumTransforms() != 1) {
        return 0;
    }
    const auto table = OCIO_DYNAMIC_POINTER_CAST<OCIO::Lut3DTransform>(group->getTransform(0));
    return table ? static_cast<int>(table->getGridSize()) : 0;
}

std::vector<float> sampled(const OCIO::ConstProcessorRcPtr& processor, int size) {
    std::vector<float> values;
    values.reserve(3 * pointsOf(size));
    for (std::size_t i = 0; i < pointsOf(size); ++i) {
        const Rgb color = gridPoint(i, size);
        for (const double channel : {color.r, color.g, color.b}) {
            values.push_back(static_cast<float>(channel));
        }
    }
    // Lossless optimisation only: the default one trades exactness for speed.
    const auto cpu = processor->getOptimizedCPUProcessor(OCIO::OPTIMIZATION_LOSSLESS);
    OCIO::PackedImageDesc image(values.data(), static_cast<long>(pointsOf(size)), 1, 3);
    cpu->apply(image);
    return values;
}

// OpenColorIO looks for the end of a .csp file's metadata without end, whatever the file is named. What may
// be taken as their beginning counts as one.
void requireEndOfMetadata(const Bytes& contents) {
    std::istringstream lines(std::string(contents.begin(), contents.end()));
    bool open = false;
    for (std::string line; std::getline(lines, line);) {
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        std::string upper = line;
        std::transform(upper.begin(), upper.end(), upper.begin(),
                       [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
        const bool begins =
            upper.find("BEGIN") != std::string::npos && upper.find("METADATA") != std::string::npos;
        open = begins || (open && line != "END METADATA");
    }
    if (open) {
        throw fileError("BEGIN METADATA without an END METADATA");
    }
}

RgbLut readWithOpenColorIO(const std::string& name) {
    OCIO::SetLoggingLevel(OCIO::LOGGING_LEVEL_NONE);
    OCIO::ClearAllCaches();  // the file may have changed since
    const OCIO::FileTransformRcPtr transform = OCIO::FileTransform::Create();
    transform->setSrc(std::filesystem::absolute(name).c_str());
    transform->setInterpolation(OCIO::INTERP_BEST);  // tetrahedral for 3D tables
    const OCIO::ConstProcessorRcPtr processor = OCIO::Config::CreateRaw()->getProcessor(transform);
    const int grid = gridOf(processor);
    RgbLut lut;
    lut.size = grid >= 2 ? std::min(grid, kMaxSize) : kSampledSize;
    const std::vector<float> values = sampled(processor, lut.size);
    if (!tablesFinite(processor) ||
        !std::all_of(values.begin(), values.end(), [](float value) { return std::isfinite(value); })) {
        throw fileError("it maps colours to values that are no numbers");
    }
    const auto limited = [](float value) { return static_cast<double>(std::clamp(value, 0.0F, 1.0F)); };
    for (std::size_t i = 0; i < values.size(); i += 3) {
        lut.points.push_back({limited(values[i]), limited(values[i + 1]), limited(values[i + 2])});
    }
    return lut;
}

}  // namespace

RgbLut readLutFile(const std::string& name) {
    const Bytes contents = readFile(name);
    RgbLut lut;
    if (kindOfContents(contents) == FileKind::kPng) {
        lut = readHald(contents, name);
    } else if (kindOfContents(contents) == FileKind::kJpeg) {
        throw fileError(
            "cannot read " + name +
            ": a JPEG is no LUT; save the HALD picture as PNG, with 16 bits where the editor can");
    } else {
        try {
            requireEndOfMetadata(contents);
            lut = readWithOpenColorIO(name);
        } catch (const std::exception& error) {
            throw fileError("cannot read " + name + " as a LUT: " + reasonOf(error));
        }
    }
    lut.source = std::filesystem::path(name).filename().string();
    // As a look's file holds them: the tables of the import are those of every later bake.
    for (Rgb& color : lut.points) {
        color = {to16(color.r) / kWhite16, to16(color.g) / kWhite16, to16(color.b) / kWhite16};
    }
    return lut;
}

Bytes haldOf(int level, const RgbMap& map) {
    const int side = level * level * level;
    std::vector<std::uint16_t> levels;
    for (std::size_t i = 0; i < pointsOf(level * level); ++i) {
        const Rgb color = map(gridPoint(i, level * level));
        for (const double channel : {color.r, color.g, color.b}) {
            levels.push_back(to16(channel));
        }
    }
    return encodePng16(levels, {side, side});
}

Bytes cubeOf(int size, const RgbMap& map, const std::string& title) {
    std::string text = "TITLE \"" + title + "\"\nLUT_3D_SIZE " + std::to_string(size) + "\n";
    for (std::size_t i = 0; i < pointsOf(size); ++i) {
        const Rgb color = map(gridPoint(i, size));
        char line[64];
        std::snprintf(line, sizeof(line), "%.6f %.6f %.6f\n", std::clamp(color.r, 0.0, 1.0),
                      std::clamp(color.g, 0.0, 1.0), std::clamp(color.b, 0.0, 1.0));
        text += line;
    }
    return {text.begin(), text.end()};
}

}  // namespace tool
