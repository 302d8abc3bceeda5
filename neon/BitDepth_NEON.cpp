#include <functional>

#include "core/Geometry.h"
#include "neon/NeonIntrinsics.h"
#include "neon/NeonKernels.h"

namespace huevance {

namespace {

using neon::load8;

void store16(unsigned short* out, uint16x8_t low, uint16x8_t high) {
    vst1q_u16(out, low);
    vst1q_u16(out + 8, high);
}

void store16(unsigned char* out, uint16x8_t low, uint16x8_t high) {
    vst1q_u8(out, neon::packLowBytes(low, high));
}

// Whether the rows share memory without being the same row. Rows that begin at one address may go through the
// vectors: each chunk is read whole before it is written.
template <typename S, typename D>
bool overlap(const S* in, const D* out, int width) {
    const std::less<const void*> before;
    const void* source = in;
    const void* destination = out;
    const bool disjoint = !before(source, out + width) || !before(destination, in + width);
    return !disjoint && !(source == destination && sizeof(S) == sizeof(D));
}

template <bool kLeft>
uint16x8_t shifted(uint16x8_t samples, int shift) {
    return kLeft ? neon::shiftLeft(samples, shift) : neon::shiftRight(samples, shift);
}

template <bool kLeft, typename S, typename D>
void shiftPlane(const PlaneView<const S>& from, const PlaneView<D>& to, int shift) {
    for (int y = 0; y < from.height; ++y) {
        const S* in = from.row(y);
        D* out = to.row(y);
        int x = 0;
        if (!overlap(in, out, from.width)) {
            for (; x + 16 <= from.width; x += 16) {
                const uint16x8_t low = shifted<kLeft>(load8(in + x), shift);
                const uint16x8_t high = shifted<kLeft>(load8(in + x + 8), shift);
                store16(out + x, low, high);
            }
        }
        for (; x < from.width; ++x) {
            const unsigned value = in[x];
            out[x] = static_cast<D>(kLeft ? value << shift : value >> shift);
        }
    }
}

template <bool kLeft, typename S, typename D>
int shiftFrame(const S* source, const RoiInfo& sourceRoi, D* destination, RoiInfo destinationRoi, int shift) {
    destinationRoi.width = sourceRoi.width;
    destinationRoi.height = sourceRoi.height;
    shiftPlane<kLeft>(lumaPlane(source, sourceRoi), lumaPlane(destination, destinationRoi), shift);
    shiftPlane<kLeft>(chromaPlane(source, sourceRoi), chromaPlane(destination, destinationRoi), shift);
    return 0;
}

}  // namespace

int covertYuv_16u8u_neon(const unsigned short* source, RoiInfo sourceRoi, unsigned char* destination,
                         RoiInfo destinationRoi) {
    return shiftFrame<false>(source, sourceRoi, destination, destinationRoi, 0);
}

int covertYuv_8u16u_neon(const unsigned char* source, RoiInfo sourceRoi, unsigned short* destination,
                         RoiInfo destinationRoi) {
    return shiftFrame<true>(source, sourceRoi, destination, destinationRoi, 0);
}

int leftBitShift_8u16u_neon(const unsigned char* source, RoiInfo sourceRoi, unsigned short* destination,
                            RoiInfo destinationRoi, int shift) {
    return shiftFrame<true>(source, sourceRoi, destination, destinationRoi, shift);
}

int rightBitShift_16u8u_neon(const unsigned short* source, RoiInfo sourceRoi, unsigned char* destination,
                             RoiInfo destinationRoi, int shift) {
    return shiftFrame<false>(source, sourceRoi, destination, destinationRoi, shift);
}

int leftBitShift_16u16u_neon(const unsigned short* source, RoiInfo sourceRoi, unsigned short* destination,
                             RoiInfo destinationRoi, int shift) {
    return shiftFrame<true>(source, sourceRoi, destination, destinationRoi, shift);
}

int rightBitShift_16u16u_neon(const unsigned short* source, RoiInfo sourceRoi, unsigned short* destination,
                              RoiInfo destinationRoi, int shift) {
    return shiftFrame<false>(source, sourceRoi, destination, destinationRoi, shift);
}

}  // namespace huevance
