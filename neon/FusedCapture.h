// A whole capture of 8-bit data in one pass: strips of one block row (two luma rows, one chroma row) go through all
// stages in chunks that stay in the first-level cache, and the frame is written once. Byte for byte what the stage
// operations give, one after the other: no backup frame is needed, as a chunk still holds its input when a later stage
// asks for it, and no mask of skin, whose value depends on the chroma pair alone.
//
// 16-bit data goes through the stage operations instead: its tables are too large to be packed like this, and its
// captures are rare.
#pragma once

#include "core/Buffer.h"
#include "core/HostEngine.h"

namespace huevance::neon {

class FusedCapture {
public:
    // Allocates what the stages that are on need for this engine's geometry, and fills what no capture changes. 0, or
    // -1 when memory is missing. Nothing is allocated later.
    int allocate(const HostEngine& engine);
    void release();

    // Whether captures may take this way. Not with 16-bit data, nor with a grid so fine that its tables would not pay.
    bool usable() const { return m_usable; }

    // Sends the engine's frame through the stages that are on. The engine's tables must be those of this capture.
    void run(const HostEngine& engine);

private:
    bool allocateClahe(const HostEngine& engine);
    bool allocateSkin();
    void packCells(const HostEngine& engine);
    void packColors(const float* lut);

    bool m_usable = false;
    Buffer<float> m_cells;  // as FusedTables has them
    Buffer<float> m_columnWeights;
    Buffer<int> m_segmentEnds;
    Buffer<float> m_slabs;
    Buffer<float> m_skin;
};

}  // namespace huevance::neon
