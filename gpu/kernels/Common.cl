// What the kernels share. One work item handles eight samples of a row; kernels that touch chroma handle one chroma row
// and its two luma rows. A frame is one buffer: luma rows, then at scanline x stride bytes rows of interleaved chroma.
// Nothing outside the visible samples is written.
//
// Every step keeps the order of the reference's arithmetic, and values are clamped before they are converted.
#pragma OPENCL FP_CONTRACT OFF

#define PIXELS 8

// Passed by value, 16 bytes.
typedef struct {
    int width;
    int height;
    int stride;    // bytes
    int scanline;  // rows
} RoiInfo;

size_t lumaOffset(RoiInfo roi, int y) { return (size_t)y * (size_t)roi.stride; }

size_t chromaOffset(RoiInfo roi, int j) { return ((size_t)roi.scanline + (size_t)j) * (size_t)roi.stride; }

// The samples of a row that belong to this work item.
int samplesFrom(RoiInfo roi, int x) { return min(roi.width - x, PIXELS); }

// `count` samples, the rest 0.
uchar8 loadSamples(__global const uchar* row, int count) {
    if (count == PIXELS) {
        return vload8(0, row);
    }
    uchar samples[PIXELS] = {0, 0, 0, 0, 0, 0, 0, 0};
    for (int i = 0; i < count; ++i) {
        samples[i] = row[i];
    }
    return vload8(0, samples);
}

void storeSamples(uchar8 samples, __global uchar* row, int count) {
    if (count == PIXELS) {
        vstore8(samples, 0, row);
        return;
    }
    uchar each[PIXELS];
    vstore8(samples, 0, each);
    for (int i = 0; i < count; ++i) {
        row[i] = each[i];
    }
}

// Truncation of a level, clamped to the range of a sample.
uchar toSample(float level) { return (uchar)(int)clamp(level, 0.0f, 255.0f); }

uchar8 toSamples(float8 levels) { return convert_uchar8(convert_int8_rtz(clamp(levels, 0.0f, 255.0f))); }

float mixLevels(float lower, float upper, float weight) { return (1.0f - weight) * lower + weight * upper; }

// The luma means of the four 2 x 2 blocks in eight columns, as sums of four samples.
int4 blockSums(uchar8 top, uchar8 bottom) {
    const int8 sums = convert_int8(top) + convert_int8(bottom);
    return sums.even + sums.odd;
}

// Products, quotients and roots as the reference rounds them. Relaxed arithmetic may miss the last place, and where a
// result is a whole level that the next step truncates, that place decides. A clamp that never acts keeps a product from
// being fused into the sum after it; a quotient or root is put right by its own remainder.
float4 product(float4 a, float4 b) { return clamp(a * b, -1e30f, 1e30f); }

float8 product8(float8 a, float8 b) { return clamp(a * b, -1e30f, 1e30f); }

float4 divided(float4 a, float4 b) {
    const float4 quotient = a / b;
    return fma(fma(-quotient, b, a), 1.0f / b, quotient);
}

float4 rooted(float4 x) {
    const float4 root = sqrt(x);
    return fma(fma(-root, root, x), 0.5f / fmax(root, 1e-30f), root);
}

// The version of this set of kernels. A cached program without it is stale; a new set takes a new name.
__kernel void kernel_V2316(__global uchar* unused) { (void)unused; }

// Copies height rows of width bytes from the buffers' starts (a frame's luma), eight bytes a work item.
__kernel void copyDataU8_kernel(__global const uchar* in, __global uchar* out, RoiInfo roi) {
    const int x = (int)get_global_id(0) * PIXELS;
    const int y = (int)get_global_id(1);
    if (x < roi.width && y < roi.height) {
        const size_t at = lumaOffset(roi, y) + (size_t)x;
        storeSamples(loadSamples(in + at, samplesFrom(roi, x)), out + at, samplesFrom(roi, x));
    }
}
