#include "tests/kernels/KernelCases.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <sstream>
#include <type_traits>

#include "core/Geometry.h"

namespace test {

namespace {

using huevance::KernelTable;

constexpr IMAGE_FORMAT_TYPE kTypes[] = {IMAGE_FORMAT_TYPE_NV21, IMAGE_FORMAT_TYPE_NV12,
                                        IMAGE_FORMAT_TYPE_YUV16_LOW, IMAGE_FORMAT_TYPE_YUV16_HIGH,
                                        static_cast<IMAGE_FORMAT_TYPE>(7)};

struct Grid {
    int width, height, sampRate;
};
constexpr Grid kGrids[] = {{8, 6, 4}, {1, 1, 1}, {2, 3, 2}, {5, 1, 3}, {3, 2, 1}, {7, 5, 1}};
// A scenario's grid beside these, for the kernels that work on tables alone.
enum : int {
    kWide = -1,  // fits no buffer of fixed size
    kFlat = -2,  // tiles of 16 x 16 that are flat, or nearly
    kEmpty = -3  // none
};

RoiInfo roiOf(const Scenario& s, int bytesPerSample, int morePadding = 0) {
    return {s.width, s.height, (s.width + s.padding + morePadding) * bytesPerSample, s.height + s.extraLines};
}

int binsOf(const Scenario& s, int bytesPerSample) {
    return 1 << (bytesPerSample == 1 ? std::min(s.dataBit, 8) : s.dataBit);
}

// The scenario's grid; those of the list are made to fit the frame.
Grid gridOf(const Scenario& s) {
    switch (s.grid) {
        case kWide:
            return {67, 31, 1};
        case kFlat:
            return {s.width / 16, s.height / 16, 1};
        case kEmpty:
            return {0, -3, 1};
        default:
            break;
    }
    const Grid& grid = kGrids[static_cast<std::size_t>(s.grid) % std::size(kGrids)];
    return {std::min(grid.width, s.width), std::min(grid.height, s.height), grid.sampRate};
}

std::size_t tilesOf(const Grid& grid) {
    return static_cast<std::size_t>(std::max(grid.width, 0)) *
           static_cast<std::size_t>(std::max(grid.height, 0));
}

std::shared_ptr<Frame> addFrame(PreparedCall& call, const Scenario& s, int bytesPerSample, int variant = 0) {
    auto frame = std::make_shared<Frame>(roiOf(s, bytesPerSample, 3 * variant), bytesPerSample);
    // A second frame holds noise, so that it differs from the first.
    frame->fill(variant == 0 ? s.content : Content::kNoise, binsOf(s, bytesPerSample),
                s.seed + static_cast<std::uint32_t>(variant));
    call.frames.push_back(frame);
    return frame;
}

// Table contents: levels in range, levels far outside, levels that are no numbers, whole levels.
float level(Random& random, int table, float top) {
    switch (table % 4) {
        case 1:
            return (random.unit() * 3.0F - 1.0F) * top;
        case 2: {
            const float odd[] = {std::numeric_limits<float>::quiet_NaN(),
                                 std::numeric_limits<float>::infinity(),
                                 -std::numeric_limits<float>::infinity(),
                                 -0.0F,
                                 3e38F,
                                 -3e38F,
                                 top + 0.5F,
                                 -0.75F};
            return random.below(4) == 0 ? odd[random.below(8)] : random.unit() * top;
        }
        case 3:
            return std::floor(random.unit() * (top + 1.0F));
        default:
            return random.unit() * top;
    }
}

std::shared_ptr<GuardedFloats> addFloats(PreparedCall& call, std::size_t count) {
    auto floats = std::make_shared<GuardedFloats>(count);
    call.floats.push_back(floats);
    return floats;
}

std::shared_ptr<GuardedFloats> addLevels(PreparedCall& call, const Scenario& s, std::size_t count,
                                         float top) {
    auto floats = addFloats(call, count);
    Random random(s.seed + 77);
    std::generate_n(floats->get(), count, [&] { return level(random, s.table, top); });
    return floats;
}

// --- The kernels ---

// Tiles of 16 x 16 that hold every level once, but for as many samples as the tile's column says.
void fillFlat(Frame& frame) {
    for (int y = 0; y < frame.roi().height; ++y) {
        for (int x = 0; x < frame.roi().width; ++x) {
            const bool odd = y % 16 == 0 && x % 16 < x / 16;
            frame.setLuma(x, y, odd ? 200 : y % 16 * 16 + x % 16);
        }
    }
}

PreparedCall computeClaheLut(const Scenario& s) {
    constexpr float kStrengths[] = {0.0F, 0.5F, 2.0F, 40.0F, -1.0F, -3.0F, 255.0F};
    PreparedCall prepared;
    const auto frame = addFrame(prepared, s, 1);
    if (s.grid == kFlat) {
        fillFlat(*frame);
    }
    const Grid grid = gridOf(s);
    const auto hist = addFloats(prepared, tilesOf(grid) * 256);
    const auto lut = addFloats(prepared, tilesOf(grid) * 256);
    const float strength = kStrengths[static_cast<std::size_t>(s.table) % std::size(kStrengths)];
    prepared.call = [=](const KernelTable& kernels) {
        return kernels.computeClaheLut(frame->data8(), frame->roi(), hist->get(), lut->get(), grid.sampRate,
                                       grid.width, grid.height, s.width / std::max(grid.width, 1),
                                       s.height / std::max(grid.height, 1), strength);
    };
    return prepared;
}

PreparedCall resizeClaheLut(const Scenario& s) {
    PreparedCall prepared;
    const Grid grid = gridOf(s);
    const int sourceBins = binsOf(s, 1);
    const int bins = s.grid == kWide ? 257 : 1 << std::min(s.dataBit, 12);
    const auto source = addLevels(prepared, s, tilesOf(grid) * static_cast<std::size_t>(sourceBins), 255.0F);
    const auto destination = addFloats(prepared, tilesOf(grid) * static_cast<std::size_t>(bins));
    prepared.call = [=](const KernelTable& k) {
        return k.resizeClaheLut(source->get(), sourceBins, destination->get(), bins, grid.width, grid.height);
    };
    return prepared;
}

// The samples of a frame: 8 or 16 bits.
template <int kBytes>
auto* samplesOf(Frame& frame) {
    if constexpr (kBytes == 1) {
        return frame.data8();
    } else {
        return frame.data16();
    }
}

// The kernel of a pair for samples of kBytes.
template <int kBytes>
auto pick(auto kernel8, auto kernel16) {
    if constexpr (kBytes == 1) {
        return kernel8;
    } else {
        return kernel16;
    }
}

template <int kBytes>
PreparedCall claheMap(const Scenario& s) {
    PreparedCall prepared;
    const auto frame = addFrame(prepared, s, kBytes);
    const Grid grid = gridOf(s);
    const int bins = binsOf(s, kBytes);
    const auto lut =
        addLevels(prepared, s, tilesOf(grid) * static_cast<std::size_t>(bins), static_cast<float>(bins - 1));
    prepared.call = [=](const KernelTable& k) {
        return pick<kBytes>(k.claheMap_8u, k.claheMap_16u)(samplesOf<kBytes>(*frame), frame->roi(),
                                                           lut->get(), bins, s.width / grid.width,
                                                           s.height / grid.height, grid.width, grid.height);
    };
    return prepared;
}

template <int kBytes>
PreparedCall curveMap(const Scenario& s) {
    PreparedCall prepared;
    const auto frame = addFrame(prepared, s, kBytes);
    const int bins = binsOf(s, kBytes);
    const float top = static_cast<float>(bins - 1);
    const auto y = addLevels(prepared, s, static_cast<std::size_t>(bins), top);
    const auto uv = addLevels(prepared, s, static_cast<std::size_t>(bins), top * 0.9F);
    prepared.call = [=](const KernelTable& k) {
        return pick<kBytes>(k.curveMap_8u, k.curveMap_16u)(samplesOf<kBytes>(*frame), frame->roi(), y->get(),
                                                           uv->get(), bins);
    };
    return prepared;
}

template <int kBytes>
PreparedCall colorCorrect(const Scenario& s) {
    PreparedCall prepared;
    const auto processed = addFrame(prepared, s, kBytes);
    const auto backup = addFrame(prepared, s, kBytes, 1);
    prepared.call = [=](const KernelTable& k) {
        return pick<kBytes>(k.colorCorrect_8u, k.colorCorrect_16u)(
            samplesOf<kBytes>(*backup), backup->roi(), samplesOf<kBytes>(*processed), processed->roi(),
            s.type, binsOf(s, kBytes));
    };
    return prepared;
}

template <int kBytes>
PreparedCall colorMap(const Scenario& s) {
    constexpr float kStrengths[] = {0.0F, 0.37F, 1.0F, 1.9F, -0.6F};
    PreparedCall prepared;
    const auto frame = addFrame(prepared, s, kBytes);
    const int bins = binsOf(s, kBytes);
    const auto lut = addLevels(prepared, s, huevance::kColorLutFloats, static_cast<float>(bins - 1));
    const float strength = kStrengths[s.seed % std::size(kStrengths)];
    prepared.call = [=](const KernelTable& k) {
        return pick<kBytes>(k.colorMap_8u, k.colorMap_16u)(samplesOf<kBytes>(*frame), frame->roi(), s.type,
                                                           bins, lut->get(), 16, strength);
    };
    return prepared;
}

RoiInfo maskRoiOf(const Scenario& s) { return {s.width, s.height, 4 * (s.width + s.padding), s.height}; }

std::shared_ptr<GuardedFloats> addMask(PreparedCall& call, const Scenario& s) {
    const RoiInfo roi = maskRoiOf(s);
    return addLevels(call, s, static_cast<std::size_t>(roi.stride / 4) * static_cast<std::size_t>(roi.height),
                     1.0F);
}

PreparedCall skinColorDetect(const Scenario& s) {
    PreparedCall prepared;
    const auto frame = addFrame(prepared, s, 1);
    const auto mask = addMask(prepared, s);
    prepared.call = [=](const KernelTable& k) {
        return k.skinColorDetect(frame->data8(), frame->roi(), s.type, mask->get(), maskRoiOf(s));
    };
    return prepared;
}

template <int kBytes>
PreparedCall portraitProtect(const Scenario& s) {
    PreparedCall prepared;
    const auto processed = addFrame(prepared, s, kBytes);
    const auto backup = addFrame(prepared, s, kBytes, 1);
    const auto mask = addMask(prepared, s);
    prepared.call = [=](const KernelTable& k) {
        return pick<kBytes>(k.portraitProtect_8u, k.portraitProtect_16u)(
            samplesOf<kBytes>(*backup), backup->roi(), samplesOf<kBytes>(*processed), processed->roi(),
            mask->get(), maskRoiOf(s));
    };
    return prepared;
}

// The conversion in a slot of the table, with a shift or without.
template <int kFrom, int kTo, auto kSlot>
PreparedCall convert(const Scenario& s) {
    PreparedCall prepared;
    Scenario full = s;
    full.content = s.content == Content::kNoise ? Content::kAboveRange : s.content;
    const auto source = addFrame(prepared, full, kFrom);
    // In place, where both sides have one depth, half of the time.
    const auto destination = kFrom == kTo && s.table % 2 == 0 ? source : addFrame(prepared, s, kTo, 1);
    prepared.call = [=](const KernelTable& k) {
        auto* from = samplesOf<kFrom>(*source);
        auto* to = samplesOf<kTo>(*destination);
        if constexpr (std::is_invocable_v<decltype(k.*kSlot), decltype(from), RoiInfo, decltype(to), RoiInfo,
                                          int>) {
            return (k.*kSlot)(from, source->roi(), to, destination->roi(), static_cast<int>(s.seed % 16));
        } else {
            return (k.*kSlot)(from, source->roi(), to, destination->roi());
        }
    };
    return prepared;
}

// Rows of one kernel alone.
using Rows = std::vector<Scenario>;
const Scenario kWidestSamples = {.content = Content::kAboveRange, .dataBit = 16, .grid = 2};
const Scenario kFewBins = {.width = 37, .content = Content::kAboveRange, .dataBit = 6, .grid = 2};
const Scenario kEmptyGrid = {.grid = kEmpty}, kWideGrid = {.grid = kWide};

Rows oddTables() {
    Rows rows = {kEmptyGrid};
    // The clip solve is ill-conditioned for tiles that are flat or nearly empty (one or two samples).
    for (int strength = 0; strength < 7; ++strength) {
        rows.push_back({.width = 112, .height = 80, .grid = kFlat, .table = strength});
        for (const Content content : {Content::kZero, Content::kAlternating, Content::kPhotoLike}) {
            rows.push_back({.width = 9, .height = 7, .content = content, .table = strength});
        }
    }
    // More samples in a bin than a float counts one by one.
    rows.push_back({.width = 4097, .height = 4097, .content = Content::kZero, .grid = 1});
    return rows;
}

}  // namespace

GuardedFloats::GuardedFloats(std::size_t count) : m_memory(count * sizeof(float)) {}

std::string toString(const Scenario& s) {
    std::ostringstream text;
    text << s.width << " x " << s.height << ", padding " << s.padding << ", extra lines " << s.extraLines
         << ", content " << toString(s.content) << ", dataBit " << s.dataBit << ", type "
         << static_cast<int>(s.type) << ", grid " << s.grid << ", table " << s.table << ", seed " << s.seed;
    return text.str();
}

std::vector<Scenario> allScenarios(std::uint32_t seed) {
    constexpr int kHeights[] = {1, 2, 3, 5, 8, 13, 35};
    constexpr int kPaddings[] = {0, 0, 1, 6, 61};
    constexpr int kBits[] = {10, 10, 12, 13, 14, 15};
    std::vector<int> widths(67);
    std::iota(widths.begin(), widths.end(), 1);
    widths.insert(widths.end(), {257, 515});  // more than any chunk holds
    std::vector<Scenario> scenarios;
    for (const int width : widths) {
        for (const Content content : kAllContents) {
            Random random(seed);
            Scenario s;
            s.width = width;
            s.height = kHeights[random.below(7)];
            s.padding = kPaddings[random.below(5)];
            s.extraLines = random.below(3);
            s.content = content;
            s.dataBit = kBits[random.below(6)];
            s.type = kTypes[random.below(5)];
            s.grid = random.below(6);
            s.table = random.below(28);
            s.seed = seed++;
            scenarios.push_back(s);
        }
    }
    return scenarios;
}

const std::vector<KernelCase>& kernelCases() {
    static const std::vector<KernelCase> kCases = {
        {"computeClaheLut", computeClaheLut, oddTables()},
        {"resizeClaheLut", resizeClaheLut, {kWideGrid, kEmptyGrid, kFewBins}},
        {"claheMap_8u", claheMap<1>, {kFewBins}},
        {"claheMap_16u", claheMap<2>, {kWidestSamples}},
        {"curveMap_8u", curveMap<1>, {kFewBins}},
        {"curveMap_16u", curveMap<2>, {kWidestSamples}},
        {"colorCorrect_8u", colorCorrect<1>, {kFewBins}},
        {"colorCorrect_16u", colorCorrect<2>, {kWidestSamples}},
        {"colorMap_8u", colorMap<1>, {kFewBins}},
        {"colorMap_16u", colorMap<2>, {kWidestSamples}},
        {"skinColorDetect", skinColorDetect, {}},
        {"portraitProtect_8u", portraitProtect<1>, {}},
        {"portraitProtect_16u", portraitProtect<2>, {}},
        {"covertYuv_16u8u", convert<2, 1, &KernelTable::covertYuv_16u8u>, {}},
        {"covertYuv_8u16u", convert<1, 2, &KernelTable::covertYuv_8u16u>, {}},
        {"leftBitShift_8u16u", convert<1, 2, &KernelTable::leftBitShift_8u16u>, {}},
        {"rightBitShift_16u8u", convert<2, 1, &KernelTable::rightBitShift_16u8u>, {}},
        {"leftBitShift_16u16u", convert<2, 2, &KernelTable::leftBitShift_16u16u>, {}},
        {"rightBitShift_16u16u", convert<2, 2, &KernelTable::rightBitShift_16u16u>, {}},
    };
    return kCases;
}

}  // namespace test
