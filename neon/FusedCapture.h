// A whole capture in one pass: strips of one block row (two luma rows, one chroma row) go through all stages
// in chunks that stay in the first-level cache, and the frame is written once. Byte for byte what the stage
// operations give, one after the other: no backup frame is needed, as a chunk still holds its input when a
// later stage asks for it, no mask of skin, whose value depends on the chroma pair alone, and no 8-bit copy
// of a 16-bit frame.
#pragma once

#include "core/Buffer.h"
#include "core/Clahe.h"
#include "core/HostEngine.h"

namespace huevance::neon {

class FusedCapture final : public OnePass {
public:
    // Allocates what the stages that are on need for this engine's geometry and depth, and fills what no
    // capture changes. 0, or -1 when memory is missing. Nothing is allocated later.
    int allocate(const HostEngine& engine) override;
    void release() override;

    // Whether a capture of the engine, as it is now, may take this way. Not with a grid so fine that its
    // tables would not pay, nor when the engine was set up anew since allocate(), nor where the skin mask of
    // an earlier frame counts: that of a format in which skin is not detected. Nor with 8-bit formats other than
    // NV12 and NV21, which some stages leave alone.
    bool usable(const HostEngine& engine) const override;

    int claheLut(HostEngine& engine) override;

    // Sends the engine's frame through the stages that are on. The engine's tables must be those of this
    // capture; of a 16-bit frame m_gridLut, m_yCurve16, m_uvCurve16 and m_colorLut16 are read.
    void run(const HostEngine& engine) override;

private:
    bool allocateClahe(const HostEngine& engine);
    bool allocateTones();
    bool allocateColors();
    bool allocateSkin();
    void packCells(const HostEngine& engine);
    void packSlabs();
    template <typename T>
    void runStrips(const HostEngine& engine, const T* yLevels, const T* uvLevels);

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
        bool curve = false;
        bool colorMap = false;
        bool skin = false;
    };

    bool m_usable = false;
    Key m_key;
    int m_cellLevels = 0;   // of a packed cell; 16 bits: 257 when the cells are widened on the way
    Buffer<float> m_cells;  // as FusedTables has them
    Buffer<float> m_columnWeights;
    Buffer<int> m_segmentEnds;
    Buffer<LutWidening::Bin> m_widening;  // from 256 levels to m_cellLevels
    Buffer<unsigned short> m_levels;      // 16 bits: where luma goes, then where chroma goes
    Buffer<float> m_slabs;                // 8 bits
    Buffer<float> m_lattice;
    Buffer<float> m_skin;
};

}  // namespace huevance::neon
