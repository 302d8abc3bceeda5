// What the library makes of one picture, stage by stage: pictures, the mask, and the curves of the tiles, all
// of them read from frames that it returned.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "tools/host/FrameFile.h"
#include "tools/host/HostLibrary.h"
#include "tools/stages/StageTuning.h"

namespace tool {

// The picture and the way it takes.
struct StageRun {
    const HostLibrary& library;
    const FrameSource& source;  // of one picture
    std::string tuning;         // directory
    std::string backEnd;        // empty: the tuning's
    int scene = 0;
    std::size_t frames = 1;              // of a preview: the last one counts
    std::vector<float>* mask = nullptr;  // the host's
};

// As files have it: the orientation still to be applied. All of these throw as Enhancer does.
Picture pictureAfter(const StageRun& run, const StagedTuning& tuning, std::optional<Stage> last);

// 255 where protection keeps the input whole. Of the source's size.
GrayPicture maskOf(const StageRun& run, const StagedTuning& tuning);

// The curve in force at the middle of a tile.
struct TileCurve {
    int column = 0, row = 0;
    double x = 0, y = 0;  // the middle, in pixels of the frame
    std::array<int, 256> levels{};
};
// Row by row; none for a grid that the frame cannot be divided into. Pixels that no histogram counts take
// every level in turn, as many at a time as lie around the middles of the tiles.
std::vector<TileCurve> tileCurves(const StageRun& run, const StagedTuning& tuning);

}  // namespace tool
