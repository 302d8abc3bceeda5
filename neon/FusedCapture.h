// A whole capture of 8-bit data in one pass: strips of one block row (two luma rows, one chroma row) go
// through all stages in chunks that stay in the first-level cache, and the frame is written once. Byte for
// byte what the stage operations give, one after the other: no backup frame is needed, as a chunk still holds
// its input when a later stage asks for it, and no mask of skin, whose value depends on the chroma pair
// alone.
//
// 16-bit data goes through the stage operations instead: these tables have an entry for each of 256 levels,
// and with 2^dataBit levels they would leave every cache.
#pragma once

#include "core/Buffer.h"
#include "core/HostEngine.h"

namespace huevance::neon {

class FusedCapture final : public OnePass {
public:
    // Allocates what the stages that are on need for this engine's geometry, and fills what no capture
    // changes. 0, or -1 when memory is missing. Nothing is allocated later.
    int allocate(const HostEngine& engine) override;
    void release() override;

    // Whether captures of the engine, as it is now, may take this way. Not with 16-bit data, nor with a grid
    // so fine that its tables would not pay, nor when the engine was set up anew since allocate(), nor with
    // 8-bit formats other than NV12 and NV21, which some stages leave alone.
    bool usable(const HostEngine& engine) const override;

    // Sends the engine's frame through the stages that are on. The engine's tables must be those of this
    // capture.
    void run(const HostEngine& engine) override;

private:
    bool allocateClahe(const HostEngine& engine);
    bool allocateSkin();
    void packCells(const HostEngine& engine);
    void packColors(const float* lut);

    // What the tables were allocated for.
    struct Key {
        Key() = default;
        explicit Key(const HostEngine& engine);
        bool operator==(const Key&) const = default;

        int dataBit = 0;
        int width = 0;
        int gridWidth = 0;
        int gridHeight = 0;
        int tileWidth = 0;
        bool clahe = false;
        bool colorMap = false;
        bool skin = false;
    };

    bool m_usable = false;
    Key m_key;
    Buffer<float> m_cells;  // as FusedTables has them
    Buffer<float> m_columnWeights;
    Buffer<int> m_segmentEnds;
    Buffer<float> m_slabs;
    Buffer<float> m_skin;
};

}  // namespace huevance::neon
