// Recomputes chroma after the luma has changed: the gain of each 2 x 2 block follows from its luma before and after.

#define TINY 1e-16f
#define NEUTRAL 128.0f

float4 chromaGain(float4 u, float4 v, float4 before, float4 after) {
    const float4 chroma = rooted(u * u + v * v);
    const float4 target = divided(product(chroma, before), after + TINY);
    const float4 ratio = divided(product(after, after) + product(target, target),
                                 (product(before, before) + product(chroma, chroma)) + TINY);
    const float4 gain = clamp(rooted(ratio), 0.5f, 2.0f);
    const float4 limit = divided((float4)(NEUTRAL - 1.0f), fmax(fabs(u), fabs(v)) + TINY);
    return fmin(gain, limit);
}

// `processed` gives the luma after the stages, `original` the luma before them and the chroma. The chroma goes to `out`,
// which may be `original`.
__kernel void colorCorrect_kernel(__global const uchar* processed, __global uchar* out, __global const uchar* original,
                                  RoiInfo roi, RoiInfo originalRoi) {
    const int x = (int)get_global_id(0) * PIXELS;
    const int j = (int)get_global_id(1);
    if (x >= roi.width || j >= roi.height / 2) {
        return;
    }
    const int count = samplesFrom(roi, x);
    const size_t top = lumaOffset(roi, 2 * j) + (size_t)x;
    const size_t bottom = lumaOffset(roi, 2 * j + 1) + (size_t)x;
    const float4 after = convert_float4(
        blockSums(loadSamples(processed + top, count), loadSamples(processed + bottom, count)) >> 2);
    const size_t originalTop = lumaOffset(originalRoi, 2 * j) + (size_t)x;
    const size_t originalBottom = lumaOffset(originalRoi, 2 * j + 1) + (size_t)x;
    const float4 before = convert_float4(
        blockSums(loadSamples(original + originalTop, count), loadSamples(original + originalBottom, count)) >> 2);

    const uchar8 source = loadSamples(original + chromaOffset(originalRoi, j) + (size_t)x, count);
    const float8 centred = convert_float8(source) - NEUTRAL;
    const float4 gain = chromaGain(centred.even, centred.odd, before, after);
    uchar8 result = toSamples(product8(centred, gain.s00112233) + NEUTRAL);
    if ((count & 1) != 0) {  // the last sample of an odd width has no partner
        const uchar8 lane = (uchar8)(0, 1, 2, 3, 4, 5, 6, 7);
        result = select(result, source, lane == (uchar8)(uchar)(count - 1));
    }
    storeSamples(result, out + chromaOffset(roi, j) + (size_t)x, count);
}
