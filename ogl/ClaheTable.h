// The CLAHE table of this back end, computed on the host's processor and looked up by the shader. It is not
// core's: tiles are counted from a tight plane into a tile-major array, the clip limit is solved in another
// order of operations, and the table is truncated to bytes, because a texture holds bytes.
#pragma once

namespace ogl {

// Tiles of a table: the shader's texture and the smoothing's working rows hold no more.
inline constexpr int kMaxTiles = 256;

struct ClaheGrid {
    int gridWidth;
    int gridHeight;
    int blockWidth;  // pixels of a tile; 0 when the frame cannot be divided
    int blockHeight;

    int tiles() const { return gridWidth > 0 && gridHeight > 0 ? gridWidth * gridHeight : 0; }
};

// All divisions truncate; a divisor below 1 gives 0.
ClaheGrid claheGrid(int width, int height, int gridWidth, int gridHeight);

// Counts every sampleRate-th pixel of every sampleRate-th row of each tile. luma: rows of `width` bytes
// without padding. hist: tiles x 256, tile-major. Pixels beyond the last whole tile are never counted.
void getGridHist(const unsigned char* luma, int width, const ClaheGrid& grid, int sampleRate, float* hist);

// Clips and cumulates. table: 256 x tiles, level-major, levels 0 .. 255. A tile without samples gives
// not-a-numbers.
void gridHist2ClaheLut(const float* hist, int tiles, float claheStrength, float* table);

// The mean of each tile and its eight neighbours, truncated to bytes (not-a-number to 0). Border tiles repeat
// themselves, on purpose. table and lut: 256 x tiles, level-major; at most kMaxTiles tiles.
void smoothClaheLut(const float* table, int gridWidth, int gridHeight, unsigned char* lut);

}  // namespace ogl
