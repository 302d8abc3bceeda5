#include "tests/kernels/KernelCases.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <sstream>

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
// Grids that fit no stack buffer: only for the table kernels.
constexpr Grid kWideGrid = {67, 31, 1};

RoiInfo roiOf(const Scenario& s, int bytesPerSample, int morePadding = 0) {
    return {s.width, s.height, (s.width + s.padding + morePadding) * bytesPerSample, s.height + s.extraLines};
}

int binsOf(const Scenario& s, int bytesPerSample) { return bytesPerSample == 1 ? 256 : 1 << s.dataBit; }

// The scenario's grid, made to fit the frame.
Grid gridOf(const Scenario& s) {
    const Grid& grid = kGrids[static_cast<std::size_t>(s.grid) % std::size(kGrids)];
    return {std::min(grid.width, s.width), std::min(grid.height, s.height), grid.sampRate};
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

constexpr int kFlat = -2;  // as a scenario's grid: flat tiles

PreparedCall computeClaheLut(const Scenario& s) {
    constexpr float kStrengths[] = {0.0F, 0.5F, 2.0F, 40.0F, -1.0F, -3.0F, 255.0F};
    PreparedCall prepared;
    const auto frame = addFrame(prepared, s, 1);
    if (s.grid == kFlat) {
        fillFlat(*frame);
    }
    const Grid grid = s.grid == kFlat ? Grid{s.width / 16, s.height / 16, 1} : gridOf(s);
    const std::size_t tables =
        static_cast<std::size_t>(grid.width) * static_cast<std::size_t>(grid.height) * 256;
    const auto hist = addFloats(prepared, tables);
    const auto lut = addFloats(prepared, tables);
    const float strength = kStrengths[static_cast<std::size_t>(s.table) % std::size(kStrengths)];
    prepared.call = [=](const KernelTable& kernels) {
        return kernels.computeClaheLut(frame->data8(), frame->roi(), hist->get(), lut->get(), grid.sampRate,
                                       grid.width, grid.height, s.width / grid.width, s.height / grid.height,
                                       strength);
    };
    return prepared;
}

PreparedCall resizeClaheLut(const Scenario& s) {
    PreparedCall prepared;
    const Grid grid = s.grid < 0 ? kWideGrid : gridOf(s);
    const int bins = s.grid < 0 ? 257 : 1 << std::min(s.dataBit, 12);
    const std::size_t tiles = static_cast<std::size_t>(grid.width) * static_cast<std::size_t>(grid.height);
    const auto source = addLevels(prepared, s, tiles * 256, 255.0F);
    const auto destination = addFloats(prepared, tiles * static_cast<std::size_t>(bins));
    prepared.call = [=](const KernelTable& kernels) {
        return kernels.resizeClaheLut(source->get(), 256, destination->get(), bins, grid.width, grid.height);
    };
    return prepared;
}

template <int kBytes, typename Kernel>
PreparedCall claheMap(const Scenario& s, Kernel kernel) {
    PreparedCall prepared;
    const auto frame = addFrame(prepared, s, kBytes);
    const Grid grid = gridOf(s);
    const int bins = binsOf(s, kBytes);
    const std::size_t tiles = static_cast<std::size_t>(grid.width) * static_cast<std::size_t>(grid.height);
    const auto lut =
        addLevels(prepared, s, tiles * static_cast<std::size_t>(bins), static_cast<float>(bins - 1));
    prepared.call = [=](const KernelTable& kernels) {
        return kernel(kernels, *frame, lut->get(), bins, s.width / grid.width, s.height / grid.height, grid);
    };
    return prepared;
}

PreparedCall claheMap8(const Scenario& s) {
    return claheMap<1>(
        s, [](const KernelTable& k, Frame& f, const float* lut, int bins, int tw, int th, Grid g) {
            return k.claheMap_8u(f.data8(), f.roi(), lut, bins, tw, th, g.width, g.height);
        });
}

PreparedCall claheMap16(const Scenario& s) {
    return claheMap<2>(
        s, [](const KernelTable& k, Frame& f, const float* lut, int bins, int tw, int th, Grid g) {
            return k.claheMap_16u(f.data16(), f.roi(), lut, bins, tw, th, g.width, g.height);
        });
}

template <int kBytes>
PreparedCall curveMap(const Scenario& s) {
    PreparedCall prepared;
    const auto frame = addFrame(prepared, s, kBytes);
    const int bins = binsOf(s, kBytes);
    const auto y = addLevels(prepared, s, static_cast<std::size_t>(bins), static_cast<float>(bins - 1));
    const auto uv =
        addLevels(prepared, s, static_cast<std::size_t>(bins), static_cast<float>(bins - 1) * 0.9F);
    prepared.call = [=](const KernelTable& kernels) {
        if constexpr (kBytes == 1) {
            return kernels.curveMap_8u(frame->data8(), frame->roi(), y->get(), uv->get(), bins);
        } else {
            return kernels.curveMap_16u(frame->data16(), frame->roi(), y->get(), uv->get(), bins);
        }
    };
    return prepared;
}

template <int kBytes>
PreparedCall colorCorrect(const Scenario& s) {
    PreparedCall prepared;
    const auto processed = addFrame(prepared, s, kBytes);
    const auto backup = addFrame(prepared, s, kBytes, 1);
    const int bins = binsOf(s, kBytes);
    prepared.call = [=](const KernelTable& kernels) {
        if constexpr (kBytes == 1) {
            return kernels.colorCorrect_8u(backup->data8(), backup->roi(), processed->data8(),
                                           processed->roi(), s.type, bins);
        } else {
            return kernels.colorCorrect_16u(backup->data16(), backup->roi(), processed->data16(),
                                            processed->roi(), s.type, bins);
        }
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
    prepared.call = [=](const KernelTable& kernels) {
        if constexpr (kBytes == 1) {
            return kernels.colorMap_8u(frame->data8(), frame->roi(), s.type, bins, lut->get(), 16, strength);
        } else {
            return kernels.colorMap_16u(frame->data16(), frame->roi(), s.type, bins, lut->get(), 16,
                                        strength);
        }
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
    prepared.call = [=](const KernelTable& kernels) {
        return kernels.skinColorDetect(frame->data8(), frame->roi(), s.type, mask->get(), maskRoiOf(s));
    };
    return prepared;
}

template <int kBytes>
PreparedCall portraitProtect(const Scenario& s) {
    PreparedCall prepared;
    const auto processed = addFrame(prepared, s, kBytes);
    const auto backup = addFrame(prepared, s, kBytes, 1);
    const auto mask = addMask(prepared, s);
    prepared.call = [=](const KernelTable& kernels) {
        if constexpr (kBytes == 1) {
            return kernels.portraitProtect_8u(backup->data8(), backup->roi(), processed->data8(),
                                              processed->roi(), mask->get(), maskRoiOf(s));
        } else {
            return kernels.portraitProtect_16u(backup->data16(), backup->roi(), processed->data16(),
                                               processed->roi(), mask->get(), maskRoiOf(s));
        }
    };
    return prepared;
}

// Conversions: `kernel(table, source, destination, shift)`.
template <int kFrom, int kTo, typename Kernel>
PreparedCall convert(const Scenario& s, Kernel kernel) {
    PreparedCall prepared;
    Scenario full = s;
    full.content = s.content == Content::kNoise ? Content::kAboveRange : s.content;
    const auto source = addFrame(prepared, full, kFrom);
    // In place, where both sides have one depth, half of the time.
    const auto destination = kFrom == kTo && s.table % 2 == 0 ? source : addFrame(prepared, s, kTo, 1);
    const int shift = static_cast<int>(s.seed % 16);
    prepared.call = [=](const KernelTable& kernels) { return kernel(kernels, *source, *destination, shift); };
    return prepared;
}

PreparedCall covert16to8(const Scenario& s) {
    return convert<2, 1>(s, [](const KernelTable& k, Frame& from, Frame& to, int) {
        return k.covertYuv_16u8u(from.data16(), from.roi(), to.data8(), to.roi());
    });
}

PreparedCall covert8to16(const Scenario& s) {
    return convert<1, 2>(s, [](const KernelTable& k, Frame& from, Frame& to, int) {
        return k.covertYuv_8u16u(from.data8(), from.roi(), to.data16(), to.roi());
    });
}

PreparedCall left8to16(const Scenario& s) {
    return convert<1, 2>(s, [](const KernelTable& k, Frame& from, Frame& to, int shift) {
        return k.leftBitShift_8u16u(from.data8(), from.roi(), to.data16(), to.roi(), shift);
    });
}

PreparedCall right16to8(const Scenario& s) {
    return convert<2, 1>(s, [](const KernelTable& k, Frame& from, Frame& to, int shift) {
        return k.rightBitShift_16u8u(from.data16(), from.roi(), to.data8(), to.roi(), shift);
    });
}

PreparedCall left16to16(const Scenario& s) {
    return convert<2, 2>(s, [](const KernelTable& k, Frame& from, Frame& to, int shift) {
        return k.leftBitShift_16u16u(from.data16(), from.roi(), to.data16(), to.roi(), shift);
    });
}

PreparedCall right16to16(const Scenario& s) {
    return convert<2, 2>(s, [](const KernelTable& k, Frame& from, Frame& to, int shift) {
        return k.rightBitShift_16u16u(from.data16(), from.roi(), to.data16(), to.roi(), shift);
    });
}

// The clip solve is ill-conditioned for tiles that are flat or nearly empty (one or two samples).
std::vector<Scenario> flatAndEmptyTiles() {
    std::vector<Scenario> scenarios;
    for (int strength = 0; strength < 7; ++strength) {
        Scenario flat;
        flat.width = 112;
        flat.height = 80;
        flat.grid = kFlat;
        flat.table = strength;
        scenarios.push_back(flat);
        for (const Content content : {Content::kZero, Content::kAlternating, Content::kPhotoLike}) {
            Scenario empty = flat;
            empty.width = 9;
            empty.height = 7;
            empty.grid = 0;
            empty.content = content;
            scenarios.push_back(empty);
        }
    }
    return scenarios;
}

// A grid whose planes fit no buffer of fixed size, and the widest samples.
std::vector<Scenario> wideGrid() {
    Scenario scenario;
    scenario.grid = -1;
    return {scenario};
}

std::vector<Scenario> sixteenBits() {
    Scenario scenario;
    scenario.dataBit = 16;
    scenario.content = Content::kAboveRange;
    scenario.grid = 2;
    return {scenario};
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
    constexpr int kBits[] = {10, 10, 12, 14};
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
            s.dataBit = kBits[random.below(4)];
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
        {"computeClaheLut", computeClaheLut, flatAndEmptyTiles()},
        {"resizeClaheLut", resizeClaheLut, wideGrid()},
        {"claheMap_8u", claheMap8, {}},
        {"claheMap_16u", claheMap16, sixteenBits()},
        {"curveMap_8u", curveMap<1>, {}},
        {"curveMap_16u", curveMap<2>, sixteenBits()},
        {"colorCorrect_8u", colorCorrect<1>, {}},
        {"colorCorrect_16u", colorCorrect<2>, sixteenBits()},
        {"colorMap_8u", colorMap<1>, {}},
        {"colorMap_16u", colorMap<2>, sixteenBits()},
        {"skinColorDetect", skinColorDetect, {}},
        {"portraitProtect_8u", portraitProtect<1>, {}},
        {"portraitProtect_16u", portraitProtect<2>, {}},
        {"covertYuv_16u8u", covert16to8, {}},
        {"covertYuv_8u16u", covert8to16, {}},
        {"leftBitShift_8u16u", left8to16, {}},
        {"rightBitShift_16u8u", right16to8, {}},
        {"leftBitShift_16u16u", left16to16, {}},
        {"rightBitShift_16u16u", right16to16, {}},
    };
    return kCases;
}

}  // namespace test
