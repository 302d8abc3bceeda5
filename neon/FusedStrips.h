// The pass of a fused capture over the frame.
#pragma once

#include <cstdint>

#include "core/Geometry.h"
#include "core/HostEngine.h"
#include "core/ToneTable.h"
#include "neon/Lattice.h"

namespace huevance::neon {

// Of a luma offset that fits a signed byte after rounding.
inline constexpr float kMaxMildOffset = 126.0F;

// T is the type of the frame's samples.
template <typename T>
struct FusedTables {
    // For each tile row and column one cell of `cellFloats` floats: for each level the four curve values
    // around the cell that begins at the tile's centre, {upper left, upper right, lower left, lower right};
    // the last tile repeats. Null: no CLAHE.
    const float* cells;
    std::ptrdiff_t cellFloats;
    bool mildCells;  // no curve value is above kMaxScaledLevel, and all are numbers
    // 16 bits: the cells have 256 levels of 0 .. 255 and one more, the last again, and are widened on the
    // way.
    bool widenCells;
    const float* columnWeights;  // of each column
    const int* segmentEnds;      // for each tile column: where the columns of its cells end
    const T* yLevels;            // of every value that T holds, where the tone curves lead
    const T* uvLevels;
    // The colour lattice, interpolated along axis B for each of the 256 samples that it
    // can meet: 17 x 17 points each. Null: `lattice`, of packLattice, is used.
    const float* slabs;
    const float* lattice;
    // Whether the lattice and the strength of its look-up allow the short cuts of 8-bit frames: the lattice's
    // levels lie in 0 .. 255, the strength in 0 .. 1, and luma moves by at most kMaxMildOffset.
    bool mildColors;
    const float* skin;  // the probability of the pair U + 256 x V
};

// One capture. A chunk is some columns of a block row; its planes pass from stage to stage through the arrays
// below, filled up to whole vectors.
template <typename T>
class FusedStrips {
public:
    FusedStrips(const FusedTables<T>& tables, const HostEngine& engine);

    // Sends the engine's frame through the stages that are on.
    void run();

private:
    static constexpr int kChunk = 256;  // columns
    static constexpr int kBlocks = kChunk / 2;
    static constexpr bool kWide = sizeof(T) > 1;
    static constexpr int kSettledUnits = 5;

    enum class Mask { kNone, kHost, kSkin };
    enum class Offset { kNone, kExact, kWhole };   // of luma
    enum class Table { kNone, kSlabs, kLattice };  // of the colour look-up
    static Mask maskOf(const HostEngine& engine);

    // The rows of a chunk.
    template <typename Sample>
    struct Rows {
        Sample* luma[2];
        Sample* pairs;
    };
    struct Chroma {
        alignas(16) float first[kBlocks];
        alignas(16) float second[kBlocks];
    };

    void blockRow(int j);
    void singleRow(int y, int x, int columns);
    void chunk(const Rows<T>& frame, int x, int columns);

    Rows<const T> filledInput(const Rows<T>& frame, int columns);
    void fillMask(int x, int columns);
    template <int kRows>
    void mapClahe(const T* const (&in)[kRows], T* const (&out)[kRows], int x, int columns,
                  const TileAxis::Position (&rows)[kRows]);
    template <bool kScaled, typename Corners, int kRows>
    void mapCell(const Corners& corners, const T* const (&in)[kRows], T* const (&out)[kRows], int x,
                 int columns, const TileAxis::Position (&rows)[kRows]) const;
    Rows<const T> mapTones(const Rows<const T>& in, int x, int columns);
    void mapCurves(const T* in, T* out, const T* levels) const;
    void readSkin(const T* pairs);
    bool chromaIsMild(const T* pairs) const;
    template <bool kCorrect, bool kLimited, Table kTable, bool kAFirst>
    void prepareBlocks(Rows<const T> in, Rows<const T> toned);
    template <Table kTable>
    void prepare(const Rows<const T>& in, const Rows<const T>& toned);
    template <Table kTable>
    [[gnu::always_inline]] Mapped4 mappedColors(const float* table, int i) const;
    template <Table kTable>
    void lookUp();
    template <Table kTable, Mask kMask, bool kAFirst>
    bool lookUpMild(T* out);
    Rows<const T> settle(const Rows<const T>& toned);
    template <Mask kMask>
    float32x4_t protectLevel(const float* base, float32x4_t value, int i) const;
    template <Offset kOffset, Mask kMask>
    void writeLuma(Rows<const T> in, Rows<const T> toned, Rows<T> out) const;
    template <Mask kMask>
    void writePairs(T* out) const;
    template <Table kTable, Mask kMask>
    void writeColors(const Rows<const T>& in, const Rows<const T>& toned, const Rows<T>& out);
    template <Mask kMask>
    void write(const Rows<const T>& in, const Rows<const T>& toned, const Rows<T>& out);

    // Of the colour look-up, before and after it.
    const float* axisA() const { return m_aFirst ? m_chroma->first : m_chroma->second; }
    const float* axisB() const { return m_aFirst ? m_chroma->second : m_chroma->first; }

    const FusedTables<T> m_tables;
    const StageSwitches m_on;
    const Mask m_mask;
    const bool m_uFirst;
    const bool m_aFirst;     // axis A of the colour look-up is the first sample of a pair
    const int m_range;       // levels
    const int m_shift;       // from samples to 8 bits
    const float m_strength;  // of the colour look-up
    const int m_tileColumns;
    const PlaneView<T> m_lumaPlane;
    const PlaneView<T> m_chromaPlane;
    const PlaneView<const float> m_hostMask;
    const TileAxis m_vertical;

    int m_y = 0;           // luma row of the strip
    int m_tileColumn = 0;  // of the next column
    int m_filled = 0;      // columns of the chunk, rounded up to a multiple of 16

    alignas(16) T m_input[3][kChunk] = {};  // two luma rows and the pairs, of a chunk that is not full
    alignas(16) T m_output[3][kChunk] = {};
    alignas(16) T m_toned[3][kChunk] = {};  // after CLAHE and curves
    alignas(16) float m_maskCopy[2][kChunk] = {};
    const float* m_maskRow[2] = {};  // the host's, of this chunk
    Chroma m_base = {};              // after the curves
    Chroma m_corrected = {};
    const Chroma* m_chroma = nullptr;  // of m_base and m_corrected, the last that was made; whole levels
    alignas(16) float m_mean[kBlocks] = {};
    alignas(16) float m_weightY[kBlocks] = {};
    alignas(16) float m_weightA[kBlocks] = {};
    alignas(16) float m_weightB[kBlocks] = {};        // of the lattice
    alignas(16) std::int32_t m_corner[kBlocks] = {};  // where the look-up begins, bytes into its table
    alignas(16) float m_delta[kBlocks] = {};          // the look-up's offset of luma
    // 8 bits: how far that is from being rounded the other way, below kSettledUnits for unsettled blocks.
    alignas(16) std::uint16_t m_units[kBlocks] = {};
    alignas(16) signed char m_wholeDelta[kChunk] = {};  // 8 bits, of each column: the same in whole levels
    alignas(16) float m_skinMask[kBlocks] = {};
};

extern template class FusedStrips<unsigned char>;
extern template class FusedStrips<unsigned short>;

}  // namespace huevance::neon
