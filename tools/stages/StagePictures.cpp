#include "tools/stages/StagePictures.h"

#include <algorithm>
#include <cstring>

#include "tools/ToolError.h"
#include "tools/stages/Enhancer.h"

namespace tool {

namespace {

SetUp setUpOf(const StageRun& run, const StagedTuning& tuning, const TemporaryTuning& directory,
              const RoiInfo& roi) {
    return {tuning.mode.photo, directory.path(), roi, run.source.format(), run.mask};
}

// One axis of a probe: which pixels around the middle of a tile no histogram counts, or counts.
struct Probe {
    int tiles, tile;  // how many, and pixels of each
    int middle(int index) const { return index * tile + tile / 2; }
};

struct Offset {
    int x, y;
};

// Around the middle of a tile, nearest first: so near that the neighbours' curves have next to no say.
std::vector<Offset> freePixels(const Probe& across, const Probe& down, int sampRate) {
    const auto reach = [](const Probe& axis) { return std::clamp(axis.tile / 50, 1, 8); };
    std::vector<Offset> offsets;
    for (int y = -reach(down); y <= reach(down); ++y) {
        for (int x = -reach(across); x <= reach(across); ++x) {
            const int column = across.tile / 2 + x;
            const int row = down.tile / 2 + y;
            const bool inside = column >= 0 && row >= 0 && column < across.tile && row < down.tile;
            if (inside && (column % sampRate != 0 || row % sampRate != 0)) {
                offsets.push_back({x, y});
            }
        }
    }
    std::stable_sort(offsets.begin(), offsets.end(), [](const Offset& a, const Offset& b) {
        return a.x * a.x + a.y * a.y < b.x * b.x + b.y * b.y;
    });
    offsets.resize(std::min<std::size_t>(offsets.size(), 256));
    return offsets;
}

// Every pixel twice in both directions: with twice the step the same ones are counted, and others are free.
void copyDoubled(const Frame& from, Frame& to) {
    for (int y = 0; y < to.roi().height; ++y) {
        const std::uint8_t* source = from.data() + static_cast<std::ptrdiff_t>(y / 2) * from.roi().stride;
        std::uint8_t* target = to.data() + static_cast<std::ptrdiff_t>(y) * to.roi().stride;
        for (int x = 0; x < to.roi().width; ++x) {
            target[x] = source[x / 2];
        }
    }
    std::memset(
        to.data() + static_cast<std::ptrdiff_t>(to.roi().scanline) * to.roi().stride, 128,
        to.bytes() - static_cast<std::size_t>(to.roi().scanline) * static_cast<std::size_t>(to.roi().stride));
}

}  // namespace

Picture pictureAfter(const StageRun& run, const StagedTuning& tuning, std::optional<Stage> last) {
    const TemporaryTuning directory(run.tuning, run.backEnd, filesUpTo(tuning, last));
    Enhancer enhancer(run.library, setUpOf(run, tuning, directory, run.source.roi()));
    Frame frame(run.source.roi(), run.source.format());
    for (std::size_t i = 0; i < run.frames; ++i) {
        frame.set(*run.source.picture());
        enhancer.process(frame, run.scene);
    }
    enhancer.finish();
    return run.source.pictureOf(frame);
}

GrayPicture maskOf(const StageRun& run, const StagedTuning& tuning) {
    const TemporaryTuning directory(run.tuning, run.backEnd, maskFiles(tuning));
    Enhancer enhancer(run.library, setUpOf(run, tuning, directory, run.source.roi()));
    Frame frame(run.source.roi(), run.source.format());
    Picture white = *run.source.picture();
    white.deep.reset();
    std::fill(white.y.begin(), white.y.end(), std::uint8_t{255});
    frame.set(white);
    enhancer.process(frame, run.scene);
    enhancer.finish();
    frame.get(white);
    return {white.size, white.y};
}

std::vector<TileCurve> tileCurves(const StageRun& run, const StagedTuning& tuning) {
    const ModeSettings& mode = tuning.mode;
    if (mode.gridWidth < 1 || mode.gridHeight < 1 || mode.sampRate < 1 || run.source.format().bits != 8) {
        return {};
    }
    Frame whole(run.source.roi(), run.source.format());
    whole.set(*run.source.picture());
    const int scale = mode.sampRate == 1 ? 2 : 1;
    const Probe across = {mode.gridWidth, whole.roi().width / mode.gridWidth * scale};
    const Probe down = {mode.gridHeight, whole.roi().height / mode.gridHeight * scale};
    if (across.tile < 2 || down.tile < 2) {
        return {};
    }
    const int sampRate = mode.sampRate * scale;
    // What no tile holds is cut off, so that the doubled frame has the same tiles. Frames are even.
    const auto even = [](int length) { return length + length % 2; };
    const RoiInfo roi = scale == 1 ? whole.roi()
                                   : makeRoi({even(across.tiles * across.tile), even(down.tiles * down.tile)},
                                             run.source.format(), 0, 0);
    Frame original(roi, run.source.format());
    if (scale == 1) {
        std::memcpy(original.data(), whole.data(), whole.bytes());
    } else {
        copyDoubled(whole, original);
    }

    const std::vector<Offset> free = freePixels(across, down, sampRate);
    std::vector<TileCurve> curves;
    for (int row = 0; row < down.tiles; ++row) {
        for (int column = 0; column < across.tiles; ++column) {
            curves.push_back(
                {column, row, (across.middle(column) + 0.5) / scale, (down.middle(row) + 0.5) / scale, {}});
        }
    }
    const TemporaryTuning directory(run.tuning, run.backEnd, claheFiles(tuning, sampRate));
    Enhancer enhancer(run.library,
                      setUpOf({run.library, run.source, run.tuning, run.backEnd}, tuning, directory, roi));
    Frame frame(roi, run.source.format());
    const auto pixel = [&](const TileCurve& curve, const Offset& offset) {
        return frame.data() +
               static_cast<std::ptrdiff_t>(down.middle(curve.row) + offset.y) * frame.roi().stride +
               across.middle(curve.column) + offset.x;
    };
    for (std::size_t first = 0; first < 256; first += free.size()) {
        const std::size_t count = std::min(free.size(), 256 - first);
        std::memcpy(frame.data(), original.data(), original.bytes());
        for (const TileCurve& curve : curves) {
            for (std::size_t i = 0; i < count; ++i) {
                *pixel(curve, free[i]) = static_cast<std::uint8_t>(first + i);
            }
        }
        enhancer.process(frame, run.scene);
        for (TileCurve& curve : curves) {
            for (std::size_t i = 0; i < count; ++i) {
                curve.levels[first + i] = *pixel(curve, free[i]);
            }
        }
    }
    enhancer.finish();
    return curves;
}

}  // namespace tool
