// Maps luma through the bilinear blend of the four nearest tiles' curves.
//
// The table is an image of 64 x tiles texels, a tile's 256 levels in each row. Reading it once per sample and corner
// would cost more than everything else: a work group copies the curves that it needs to local memory, four levels a read,
// and then maps a band of rows with them. Groups inside a band beyond its first have nothing to do.

#define LEVELS 256
#define TEXELS (LEVELS / 4)
#define LOCAL_TILES 16
#define LOCAL_ROWS 4  // of tiles, at most
#define BAND 32  // rows; fewer copies of the curves, yet groups enough for every compute unit

// --- The grid ---

// One axis of the mapping, as the reference has it.
typedef struct {
    int tiles;
    int halfTile;
    int span;  // samples between the outer tile centres; on purpose one shorter for even tiles
    float scale;
} Axis;

// The arguments name the grid only by half a tile and by a scale, (tiles - 1) / (size - 1 - tile): which number of tiles
// gives that scale? Where the divisor is not positive, the tile alone decides.
int tilesAlong(int size, int halfTile, float scale) {
    for (int tile = max(2 * halfTile, 1); tile <= 2 * halfTile + 1; ++tile) {
        const int rest = size - 1 - tile;
        const int tiles = rest > 0 ? (int)(1.5f + scale * (float)rest) : size / max(tile, 1);
        const bool same_scale = rest <= 0 || fabs(scale * (float)rest - (float)(tiles - 1)) < 0.01f;
        if (tiles >= 1 && size / tiles == tile && same_scale) {
            return tiles;
        }
    }
    return 1;
}

Axis axisOf(int size, int halfTile, float scale) {
    const int tiles = tilesAlong(size, halfTile, scale);
    const int tile = size / tiles;
    const int span = max(tiles * tile - (tile | 1), 0);
    const Axis axis = {tiles, halfTile, span, tiles > 1 && span > 0 ? (float)(tiles - 1) / (float)span : 0.0f};
    return axis;
}

float positionOf(Axis axis, int sample) {
    return axis.scale * (float)clamp(sample - axis.halfTile, 0, axis.span);
}

int tileOf(Axis axis, int sample) { return (int)positionOf(axis, sample); }

// --- Eight samples of a row ---

// One row of samples.
typedef struct {
    int y;
    int tile;  // tile row at or above
    int next;  // the one below
    float weight;
} Row;

Row rowOf(Axis axis, int y) {
    const float position = positionOf(axis, y);
    const int tile = (int)position;
    const Row row = {y, tile, min(tile + 1, axis.tiles - 1), position - (float)tile};
    return row;
}

float8 mixLevels8(float8 lower, float8 upper, float8 weight) { return (1.0f - weight) * lower + weight * upper; }

float8 gatherLocal(__local const float* curves, int8 at) {
    return (float8)(curves[at.s0], curves[at.s1], curves[at.s2], curves[at.s3], curves[at.s4], curves[at.s5],
                    curves[at.s6], curves[at.s7]);
}

// `top` and `bottom` are the first tiles of two grid rows in `curves`.
uchar8 mapFromLocal(uchar8 samples, int8 tile, int8 next, float8 weightX, __local const float* top,
                    __local const float* bottom, float weightY) {
    const int8 level = convert_int8(samples);
    const int8 left = tile * LEVELS + level;
    const int8 right = next * LEVELS + level;
    const float8 upper = mixLevels8(gatherLocal(top, left), gatherLocal(top, right), weightX);
    const float8 lower = mixLevels8(gatherLocal(bottom, left), gatherLocal(bottom, right), weightX);
    return toSamples(mixLevels8(upper, lower, weightY) + 0.5f);
}

float levelFromImage(__read_only image2d_t curves, int tile, int level) {
    const float4 texel = read_imagef(curves, (int2)(level / 4, tile));
    const float2 pair = (level & 2) == 0 ? texel.xy : texel.zw;
    return (level & 1) == 0 ? pair.x : pair.y;
}

// For grids whose tiles are so narrow that eight samples meet too many of them.
void mapFromImage(__global const uchar* in, __global uchar* out, int count, int x0, Axis axis,
                  __read_only image2d_t curves, int top, int bottom, float weightY) {
    for (int i = 0; i < count; ++i) {
        const float position = positionOf(axis, x0 + i);
        const int left = (int)position;
        const int right = min(left + 1, axis.tiles - 1);
        const float weightX = position - (float)left;
        const int level = in[i];
        const float upper = mixLevels(levelFromImage(curves, top + left, level),
                                      levelFromImage(curves, top + right, level), weightX);
        const float lower = mixLevels(levelFromImage(curves, bottom + left, level),
                                      levelFromImage(curves, bottom + right, level), weightX);
        out[i] = toSample(mixLevels(upper, lower, weightY) + 0.5f);
    }
}

__kernel void claheMap_kernel(__global const uchar* in, __global uchar* out, RoiInfo roi, __read_only image2d_t curves,
                              int halfTileWidth, int halfTileHeight, float scaleX, float scaleY) {
    __local float tables[LOCAL_TILES * LEVELS];

    // OpenCL C 1.2, which these kernels are built as, has no smaller groups at the edges.
    const int groupRows = (int)get_local_size(1);
    const int bands = max(BAND / groupRows, 1);
    if ((int)get_group_id(1) % bands != 0) {
        return;
    }
    const Axis across = axisOf(roi.width, halfTileWidth, scaleX);
    const Axis down = axisOf(roi.height, halfTileHeight, scaleY);
    const int x0 = (int)get_global_id(0) * PIXELS;
    const int count = samplesFrom(roi, x0);
    const int8 x = x0 + (int8)(0, 1, 2, 3, 4, 5, 6, 7);
    const float8 position = across.scale * convert_float8(clamp(x - across.halfTile, (int8)(0), (int8)(across.span)));
    const int8 tile = convert_int8_rtz(position);  // columns at or before the samples
    const int8 next = min(tile + 1, (int8)(across.tiles - 1));
    const float8 weightX = position - convert_float8(tile);

    // The tiles at or before the group's samples; a sample needs the tile after its own, too.
    const int groupX = (int)(get_group_id(0) * get_local_size(0)) * PIXELS;
    const int groupY = (int)get_group_id(1) * groupRows;
    const int firstColumn = tileOf(across, groupX);
    const int lastColumn = tileOf(across, groupX + (int)get_local_size(0) * PIXELS - 1);
    const int firstRow = tileOf(down, groupY);
    const bool narrow = roi.width / across.tiles <= PIXELS;  // no rounds with tables then
    const int lastRow = narrow ? -1 : tileOf(down, groupY + bands * groupRows - 1);
    // In local memory at a time. A run time may choose groups as tall as the frame, or as wide.
    const int rows = clamp(min(lastRow + 1, down.tiles - 1) - firstRow + 1, 1, LOCAL_ROWS);
    const int columns = LOCAL_TILES / rows;
    const int rowStep = max(rows - 1, 1);
    const int columnStep = columns - 2;  // eight samples meet at most three columns of wider tiles

    const int items = (int)(get_local_size(0) * get_local_size(1));
    const int item = (int)(get_local_id(1) * get_local_size(0) + get_local_id(0));
    for (int top = firstRow; top <= lastRow; top += rowStep) {
        const int loadedRows = min(rows, down.tiles - top);
        for (int left = firstColumn; left <= lastColumn; left += columnStep) {
            const int loaded = min(columns, min(lastColumn + 2, across.tiles) - left);
            barrier(CLK_LOCAL_MEM_FENCE);  // everybody is done with the tiles before
            for (int i = item; i < loadedRows * loaded * TEXELS; i += items) {
                const int row = top + i / TEXELS / loaded;
                const int column = left + i / TEXELS % loaded;
                vstore4(read_imagef(curves, (int2)(i % TEXELS, row * across.tiles + column)), (size_t)i, tables);
            }
            barrier(CLK_LOCAL_MEM_FENCE);
            const bool mine = count >= 1 && tile.s0 >= left && tile.s0 < left + columnStep;
            for (int band = 0; band < bands; ++band) {
                const Row row = rowOf(down, (int)get_global_id(1) + band * groupRows);
                if (mine && row.y < roi.height && row.tile >= top && row.tile < top + rowStep) {
                    const size_t at = lumaOffset(roi, row.y) + (size_t)x0;
                    const uchar8 mapped = mapFromLocal(loadSamples(in + at, count), tile - left, next - left, weightX,
                                                       tables + (row.tile - top) * loaded * LEVELS,
                                                       tables + (row.next - top) * loaded * LEVELS, row.weight);
                    storeSamples(mapped, out + at, count);
                }
            }
        }
    }

    // Behind a barrier of its own, since a run time that carries out a group's items one after the other may repeat the
    // first of them from one barrier to the next where not every way meets one: a frame that is mapped in place would be
    // mapped twice there.
    barrier(CLK_LOCAL_MEM_FENCE);
    for (int band = 0; narrow && band < bands; ++band) {
        const Row row = rowOf(down, (int)get_global_id(1) + band * groupRows);
        if (row.y < roi.height && count >= 1) {
            const size_t at = lumaOffset(roi, row.y) + (size_t)x0;
            mapFromImage(in + at, out + at, count, x0, across, curves, row.tile * across.tiles, row.next * across.tiles,
                         row.weight);
        }
    }
}
