// The tone curves: luma through a table of 256 levels from one buffer to another, chroma in place through the line that
// the saturation strength gives.

uchar8 mapLuma(uchar8 s, __global const float* curve) {
    const float8 levels = (float8)(curve[s.s0], curve[s.s1], curve[s.s2], curve[s.s3], curve[s.s4], curve[s.s5],
                                   curve[s.s6], curve[s.s7]);
    return toSamples(levels + 0.5f);
}

uchar8 mapChroma(uchar8 samples, float satStrength) {
    const float8 line = satStrength * (convert_float8(samples) - 128.0f) + 128.0f;
    return toSamples(clamp(line, 0.0f, 255.0f) + 0.5f);
}

__kernel void curveMap_kernel(__global const uchar* in, __global uchar* out, __global uchar* chroma, RoiInfo roi,
                              __global const float* curve, float satStrength) {
    const int x = (int)get_global_id(0) * PIXELS;
    const int j = (int)get_global_id(1);
    if (x >= roi.width) {
        return;
    }
    const int count = samplesFrom(roi, x);
    for (int y = 2 * j; y < min(2 * j + 2, roi.height); ++y) {
        const size_t at = lumaOffset(roi, y) + (size_t)x;
        storeSamples(mapLuma(loadSamples(in + at, count), curve), out + at, count);
    }
    if (j < roi.height / 2) {
        __global uchar* pairs = chroma + chromaOffset(roi, j) + (size_t)x;
        storeSamples(mapChroma(loadSamples(pairs, count), satStrength), pairs, count);
    }
}
