// The 3D colour look-up table: one trilinear look-up per 2 x 2 block, blended by a strength.
//
// The lattice has 17 points a side, the last repeating the one before it, so that every point has an upper neighbour. A
// point is {luma, U, V, 0}; (iY, iU, iV) stands at (iV x 17 + iU) x 17 + iY.

#define SIDE 17
#define LAST 15

float4 alongV(__global const float4* lattice, int at, float weight) {
    return (1.0f - weight) * lattice[at] + weight * lattice[at + SIDE * SIDE];
}

float4 alongU(__global const float4* lattice, int at, float weightU, float weightV) {
    return (1.0f - weightU) * alongV(lattice, at, weightV) + weightU * alongV(lattice, at + SIDE, weightV);
}

// First along V, then U, then Y: the coordinate's z, y and x.
float4 lookUp(__global const float4* lattice, float4 coordinate) {
    const int4 point = min(convert_int4_rtz(coordinate), (int4)(LAST));
    const float4 weight = coordinate - convert_float4(point);
    const int at = (point.z * SIDE + point.y) * SIDE + point.x;
    return (1.0f - weight.x) * alongU(lattice, at, weight.y, weight.z) +
           weight.x * alongU(lattice, at + 1, weight.y, weight.z);
}

void mapRows(__global const uchar* lumaIn, __global const uchar* chromaIn, __global uchar* lumaOut,
             __global uchar* chromaOut, RoiInfo roi, __global const float4* lattice, float scale, float strength,
             int placeOfU) {
    const int x = (int)get_global_id(0) * PIXELS;
    const int j = (int)get_global_id(1);
    if (x >= roi.width) {
        return;
    }
    const int count = samplesFrom(roi, x);
    const size_t topAt = lumaOffset(roi, 2 * j) + (size_t)x;
    if (j >= roi.height / 2) {  // the last row of an odd height is in no block
        if (2 * j < roi.height) {
            storeSamples(loadSamples(lumaIn + topAt, count), lumaOut + topAt, count);
        }
        return;
    }
    const size_t bottomAt = lumaOffset(roi, 2 * j + 1) + (size_t)x;
    const size_t chromaAt = chromaOffset(roi, j) + (size_t)x;
    const uchar8 topIn = loadSamples(lumaIn + topAt, count);
    const uchar8 bottomIn = loadSamples(lumaIn + bottomAt, count);
    const uchar8 pairsIn = loadSamples(chromaIn + chromaAt, count);

    const float4 mean = 0.25f * convert_float4(blockSums(topIn, bottomIn));
    const float8 pairs = convert_float8(pairsIn);
    const float4 u = placeOfU == 0 ? pairs.even : pairs.odd;
    const float4 v = placeOfU == 0 ? pairs.odd : pairs.even;
    const float4 m0 = lookUp(lattice, scale * (float4)(mean.x, u.x, v.x, 0.0f));
    const float4 m1 = lookUp(lattice, scale * (float4)(mean.y, u.y, v.y, 0.0f));
    const float4 m2 = lookUp(lattice, scale * (float4)(mean.z, u.z, v.z, 0.0f));
    const float4 m3 = lookUp(lattice, scale * (float4)(mean.w, u.w, v.w, 0.0f));

    const float4 delta = strength * ((float4)(m0.x, m1.x, m2.x, m3.x) - mean);
    uchar8 top = toSamples((convert_float8(topIn) + delta.s00112233) + 0.5f);
    uchar8 bottom = toSamples((convert_float8(bottomIn) + delta.s00112233) + 0.5f);
    const float4 mappedU = (float4)(m0.y, m1.y, m2.y, m3.y);
    const float4 mappedV = (float4)(m0.z, m1.z, m2.z, m3.z);
    float8 mapped;
    mapped.even = placeOfU == 0 ? mappedU : mappedV;
    mapped.odd = placeOfU == 0 ? mappedV : mappedU;
    uchar8 chroma = toSamples(((1.0f - strength) * pairs + strength * mapped) + 0.5f);
    if ((count & 1) != 0) {  // the last column of an odd width is in no block
        const uchar8 lane = (uchar8)(0, 1, 2, 3, 4, 5, 6, 7);
        const char8 alone = lane == (uchar8)(uchar)(count - 1);
        top = select(top, topIn, alone);
        bottom = select(bottom, bottomIn, alone);
        chroma = select(chroma, pairsIn, alone);
    }
    storeSamples(top, lumaOut + topAt, count);
    storeSamples(bottom, lumaOut + bottomAt, count);
    storeSamples(chroma, chromaOut + chromaAt, count);
}

__kernel void colorMap_NV12_kernel(__global const uchar* lumaIn, __global const uchar* chromaIn,
                                   __global uchar* lumaOut, __global uchar* chromaOut, RoiInfo roi,
                                   __global const float4* lattice, float scale, float strength) {
    mapRows(lumaIn, chromaIn, lumaOut, chromaOut, roi, lattice, scale, strength, 0);
}

__kernel void colorMap_NV21_kernel(__global const uchar* lumaIn, __global const uchar* chromaIn,
                                   __global uchar* lumaOut, __global uchar* chromaOut, RoiInfo roi,
                                   __global const float4* lattice, float scale, float strength) {
    mapRows(lumaIn, chromaIn, lumaOut, chromaOut, roi, lattice, scale, strength, 1);
}
