// The pass of a fused capture over the frame.
#pragma once

#include <cstdint>

#include "core/Geometry.h"
#include "core/HostEngine.h"
#include "core/ToneTable.h"
#include "neon/NeonIntrinsics.h"

namespace huevance::neon {

// Floats of one cell of packed CLAHE curves.
inline constexpr int kCellFloats = 4 * kBins8;

// Floats before the first slab. The loads of a look-up's points then have offsets, which compilers pair.
inline constexpr int kSlabsBegin = 4;

struct FusedTables {
    // For each tile row and column: 256 times the four curve values around the cell that begins at the tile's
    // centre, {upper left, upper right, lower left, lower right}; the last tile repeats. Null: no CLAHE.
    const float* cells;
    const float* columnWeights;  // of each column
    const int* segmentEnds;      // for each tile column: where the columns of its cells end
    // From kSlabsBegin on, the colour lattice, interpolated along axis B for each of the 256 samples that it
    // can meet: 17 x 17 points each.
    const float* slabs;
    const float* skin;  // the probability of the pair U + 256 x V
};

// One capture. A chunk is some columns of a block row; its planes pass from stage to stage through the arrays
// below, filled up to whole vectors.
class FusedStrips {
public:
    FusedStrips(const FusedTables& tables, const HostEngine& engine);

    // Sends the engine's frame through the stages that are on.
    void run();

private:
    static constexpr int kChunk = 256;  // columns
    static constexpr int kBlocks = kChunk / 2;

    enum class Mask { kNone, kHost, kSkin };
    static Mask maskOf(const HostEngine& engine);

    // The rows of a chunk.
    template <typename T>
    struct Rows {
        T* luma[2];
        T* pairs;
    };
    struct Chroma {
        alignas(16) float first[kBlocks];
        alignas(16) float second[kBlocks];
    };

    void blockRow(int j);
    void singleRow(int y, int x, int columns);
    void chunk(const Rows<unsigned char>& frame, int x, int columns);

    Rows<const unsigned char> filledInput(const Rows<unsigned char>& frame, int columns);
    void fillMask(int x, int columns);
    template <int kRows>
    void mapClahe(const unsigned char* const (&in)[kRows], unsigned char* const (&out)[kRows], int x,
                  int columns, const TileAxis::Position (&rows)[kRows]);
    Rows<const unsigned char> mapTones(const Rows<const unsigned char>& in, int x, int columns);
    void readSkin(const unsigned char* pairs);
    void unpackChroma(const unsigned char* pairs);
    void correct(const Rows<const unsigned char>& in, const Rows<const unsigned char>& toned);
    void prepareLookUps(const Rows<const unsigned char>& toned);
    void lookUp();
    template <bool kColor, Mask kMask>
    void writeLuma(const Rows<const unsigned char>& in, const Rows<const unsigned char>& toned,
                   const Rows<unsigned char>& out) const;
    template <Mask kMask>
    void writePairs(unsigned char* out) const;
    template <Mask kMask>
    void write(const Rows<const unsigned char>& in, const Rows<const unsigned char>& toned,
               const Rows<unsigned char>& out) const;

    const FusedTables m_tables;
    const StageSwitches m_on;
    const Mask m_mask;
    const bool m_uFirst;
    const float m_strength;  // of the colour look-up
    const int m_tileColumns;
    const PlaneView<unsigned char> m_lumaPlane;
    const PlaneView<unsigned char> m_chromaPlane;
    const PlaneView<const float> m_hostMask;
    const TileAxis m_vertical;
    const ToneTable m_yLevels;
    const ToneTable m_uvLevels;

    int m_y = 0;           // luma row of the strip
    int m_tileColumn = 0;  // of the next column
    int m_filled = 0;      // columns of the chunk, rounded up to a multiple of 16

    alignas(16) unsigned char m_input[3][kChunk] =
        {};  // two luma rows and the pairs, of a chunk that is not full
    alignas(16) unsigned char m_output[3][kChunk] = {};
    alignas(16) unsigned char m_toned[3][kChunk] = {};  // after CLAHE and curves
    alignas(16) float m_maskCopy[2][kChunk] = {};
    const float* m_maskRow[2] = {};  // the host's, of this chunk
    Chroma m_base = {};              // after the curves
    Chroma m_corrected = {};
    const Chroma* m_chroma = nullptr;  // of m_base and m_corrected, the last that was made; whole levels
    alignas(16) float m_mean[kBlocks] = {};
    alignas(16) float m_weightY[kBlocks] = {};
    alignas(16) float m_weightA[kBlocks] = {};
    alignas(16) std::int32_t m_corner[kBlocks] = {};  // where the look-up begins, bytes into the slabs
    alignas(16) float m_delta[kBlocks] = {};          // the look-up's offset of luma
    alignas(16) float m_skinMask[kBlocks] = {};
};

}  // namespace huevance::neon
