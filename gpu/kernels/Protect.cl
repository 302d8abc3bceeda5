// Portrait protection: the unprocessed frame, which is still where the result is to be, is blended back in by a mask. No
// rounding offset is added, on purpose.

#define SKIN_U1 0.40378553f
#define SKIN_V1 0.64456809f
#define SKIN_U2 0.48221445f
#define SKIN_V2 0.57143188f

uchar8 blend(uchar8 original, uchar8 processed, float8 mask) {
    return toSamples(product8(mask, convert_float8(original)) + product8(1.0f - mask, convert_float8(processed)));
}

// All ones in the lane of a last sample that has no partner.
int8 loneLane(int count) {
    return (count & 1) != 0 ? (int8)(0, 1, 2, 3, 4, 5, 6, 7) == count - 1 : (int8)(0);
}

// Blends the two luma rows and the chroma row of block row j in place into `frame`. A chroma sample without a partner
// stays as processed.
void protectRows(__global const uchar* luma, __global const uchar* chroma, __global uchar* frame, RoiInfo roi, int x,
                 int j, float8 lumaMask, float4 chromaMask) {
    const int count = samplesFrom(roi, x);
    for (int y = 2 * j; y < min(2 * j + 2, roi.height); ++y) {
        const size_t at = lumaOffset(roi, y) + (size_t)x;
        storeSamples(blend(loadSamples(frame + at, count), loadSamples(luma + at, count), lumaMask), frame + at, count);
    }
    if (j < roi.height / 2) {
        const size_t at = chromaOffset(roi, j) + (size_t)x;
        const float8 mask = select(chromaMask.s00112233, (float8)(0.0f), loneLane(count));
        storeSamples(blend(loadSamples(frame + at, count), loadSamples(chroma + at, count), mask), frame + at, count);
    }
}

float4 distanceTo(float4 u, float4 v, float u0, float v0) {
    const float4 du = u - u0;
    const float4 dv = v - v0;
    return rooted(du * du + dv * dv);
}

// The skin detector, on the unprocessed chroma. The second geometry repeats the first, with the scanline negative where
// U comes before V, and 0 where the format has no skin.
__kernel void skinDetectAndcolorProtect_kernel(__global const uchar* luma, __global const uchar* chroma,
                                               __global uchar* frame, RoiInfo roi, RoiInfo order) {
    const int x = (int)get_global_id(0) * PIXELS;
    const int j = (int)get_global_id(1);
    if (x >= roi.width) {
        return;
    }
    const int count = samplesFrom(roi, x);
    float4 probability = 0.0f;  // outside whole blocks nothing is protected
    if (j < roi.height / 2 && order.scanline != 0) {
        const float8 pairs = convert_float8(loadSamples(frame + chromaOffset(roi, j) + (size_t)x, count)) / 255.0f;
        const float4 u = order.scanline > 0 ? pairs.odd : pairs.even;
        const float4 v = order.scanline > 0 ? pairs.even : pairs.odd;
        const float4 sum = distanceTo(u, v, SKIN_U1, SKIN_V1) + distanceTo(u, v, SKIN_U2, SKIN_V2);
        probability = fmin(divided((float4)(0.14f), sum + 1e-16f), 1.0f);
    }
    const float8 lumaMask = select(probability.s00112233, (float8)(0.0f), loneLane(count));
    protectRows(luma, chroma, frame, roi, x, j, lumaMask, probability);
}

// One value of the halved mask for block (i, j). Its rows are maskRoi.width floats apart, half of them in use.
float maskAt(__global const float* mask, RoiInfo maskRoi, int i, int j) {
    const int column = clamp(i, 0, max(maskRoi.width / 2 - 1, 0));
    const int row = clamp(j, 0, max(maskRoi.height / 2 - 1, 0));
    const long cells = (long)maskRoi.height * (long)maskRoi.stride / 4;
    const long at = (long)row * (long)maskRoi.width + (long)column;
    return at >= 0 && at < cells ? clamp(mask[at], 0.0f, 1.0f) : 0.0f;
}

// The host's mask.
__kernel void colorProtect_kernel(__global const uchar* luma, __global const uchar* chroma, __global uchar* frame,
                                  RoiInfo roi, RoiInfo unused, __global const float* mask, RoiInfo maskRoi) {
    (void)unused;
    const int x = (int)get_global_id(0) * PIXELS;
    const int j = (int)get_global_id(1);
    if (x >= roi.width) {
        return;
    }
    const int i = x / 2;
    const float4 weights = (float4)(maskAt(mask, maskRoi, i, j), maskAt(mask, maskRoi, i + 1, j),
                                    maskAt(mask, maskRoi, i + 2, j), maskAt(mask, maskRoi, i + 3, j));
    protectRows(luma, chroma, frame, roi, x, j, weights.s00112233, weights);
}
