// 2:1 resampling of whole frames. Chroma is resampled by pairs.

uchar meanOfFour(int a, int b, int c, int d) { return (uchar)((a + b + c + d + 2) >> 2); }

// One row of half the size, eight samples from x on; `step` is the distance of a sample's neighbour: 1 for luma, 2 for
// chroma.
void halveRow(__global const uchar* top, __global const uchar* bottom, __global uchar* out, int x, int width,
              int sourceWidth, int step) {
    for (int i = x; i < min(x + PIXELS, width); ++i) {
        const int left = step == 1 ? 2 * i : 4 * (i / 2) + i % 2;
        const int right = left + step < sourceWidth ? left + step : left;
        out[i] = meanOfFour(top[left], top[right], bottom[left], bottom[right]);
    }
}

__kernel void downScale_kernel(__global const uchar* in, RoiInfo inRoi, __global uchar* out, RoiInfo outRoi) {
    const int x = (int)get_global_id(0) * PIXELS;
    const int j = (int)get_global_id(1);
    for (int y = 2 * j; y < min(2 * j + 2, outRoi.height); ++y) {
        halveRow(in + lumaOffset(inRoi, 2 * y), in + lumaOffset(inRoi, min(2 * y + 1, inRoi.height - 1)),
                 out + lumaOffset(outRoi, y), x, outRoi.width, inRoi.width, 1);
    }
    if (j < outRoi.height / 2) {
        halveRow(in + chromaOffset(inRoi, 2 * j), in + chromaOffset(inRoi, min(2 * j + 1, inRoi.height / 2 - 1)),
                 out + chromaOffset(outRoi, j), x, outRoi.width, inRoi.width, 2);
    }
}

// The sample of a plane of `width` x `height` samples at twice the size: each new sample lies a quarter from its nearest
// old one.
uchar doubled(__global const uchar* plane, int stride, int width, int height, int x, int y, int step) {
    const int pair = x / step;
    const int columns = width / step;
    const int nearX = min(pair / 2, columns - 1);
    const int farX = clamp(pair % 2 == 0 ? nearX - 1 : nearX + 1, 0, columns - 1);
    const int nearY = min(y / 2, height - 1);
    const int farY = clamp(y % 2 == 0 ? nearY - 1 : nearY + 1, 0, height - 1);
    __global const uchar* nearRow = plane + (size_t)nearY * (size_t)stride + x % step;
    __global const uchar* farRow = plane + (size_t)farY * (size_t)stride + x % step;
    return (uchar)((9 * nearRow[nearX * step] + 3 * nearRow[farX * step] + 3 * farRow[nearX * step] +
                    farRow[farX * step] + 8) >> 4);
}

// `reference` is the half-size frame before the stages; the host passes the processed one for both, on purpose, and this
// set of kernels does not look at it.
__kernel void upScale_kernel(__global const uchar* processed, __global const uchar* reference, RoiInfo roi,
                             __global uchar* out, RoiInfo outRoi) {
    (void)reference;
    // Launched over the half size: each work item strides through what is left of the full one.
    for (int y0 = (int)get_global_id(1) * 4; y0 < outRoi.height; y0 += (int)get_global_size(1) * 4) {
        for (int x0 = (int)get_global_id(0) * PIXELS; x0 < outRoi.width; x0 += (int)get_global_size(0) * PIXELS) {
            for (int y = y0; y < min(y0 + 4, outRoi.height); ++y) {
                __global uchar* row = out + lumaOffset(outRoi, y);
                for (int x = x0; x < min(x0 + PIXELS, outRoi.width); ++x) {
                    row[x] = doubled(processed, roi.stride, roi.width, roi.height, x, y, 1);
                }
            }
            const int blockRows = roi.width >= 2 && roi.height >= 2 ? outRoi.height / 2 : 0;
            for (int j = y0 / 2; j < min(y0 / 2 + 2, blockRows); ++j) {
                __global uchar* row = out + chromaOffset(outRoi, j);
                for (int x = x0; x < min(x0 + PIXELS, 2 * (outRoi.width / 2)); ++x) {
                    row[x] = doubled(processed + chromaOffset(roi, 0), roi.stride, roi.width, roi.height / 2, x, j, 2);
                }
            }
        }
    }
}
