#include "core/BitDepth.h"

#include "core/Geometry.h"

namespace huevance {

namespace {

template <typename S, typename D, typename Convert>
int convertFrame(const S* source, const RoiInfo& sourceRoi, D* destination, RoiInfo destinationRoi,
                 Convert convert) {
    destinationRoi.width = sourceRoi.width;
    destinationRoi.height = sourceRoi.height;
    const auto convertPlane = [&](const PlaneView<const S>& from, const PlaneView<D>& to) {
        for (int y = 0; y < from.height; ++y) {
            const S* in = from.row(y);
            D* out = to.row(y);
            for (int x = 0; x < from.width; ++x) {
                out[x] = static_cast<D>(convert(static_cast<unsigned>(in[x])));
            }
        }
    };
    convertPlane(lumaPlane(source, sourceRoi), lumaPlane(destination, destinationRoi));
    convertPlane(chromaPlane(source, sourceRoi), chromaPlane(destination, destinationRoi));
    return 0;
}

}  // namespace

int covertYuv_16u8u(const unsigned short* source, RoiInfo sourceRoi, unsigned char* destination,
                    RoiInfo destinationRoi) {
    return rightBitShift_16u8u(source, sourceRoi, destination, destinationRoi, 0);
}

int covertYuv_8u16u(const unsigned char* source, RoiInfo sourceRoi, unsigned short* destination,
                    RoiInfo destinationRoi) {
    return leftBitShift_8u16u(source, sourceRoi, destination, destinationRoi, 0);
}

int leftBitShift_8u16u(const unsigned char* source, RoiInfo sourceRoi, unsigned short* destination,
                       RoiInfo destinationRoi, int shift) {
    return convertFrame(source, sourceRoi, destination, destinationRoi,
                        [shift](unsigned v) { return v << shift; });
}

int rightBitShift_16u8u(const unsigned short* source, RoiInfo sourceRoi, unsigned char* destination,
                        RoiInfo destinationRoi, int shift) {
    return convertFrame(source, sourceRoi, destination, destinationRoi,
                        [shift](unsigned v) { return v >> shift; });
}

int leftBitShift_16u16u(const unsigned short* source, RoiInfo sourceRoi, unsigned short* destination,
                        RoiInfo destinationRoi, int shift) {
    return convertFrame(source, sourceRoi, destination, destinationRoi,
                        [shift](unsigned v) { return v << shift; });
}

int rightBitShift_16u16u(const unsigned short* source, RoiInfo sourceRoi, unsigned short* destination,
                         RoiInfo destinationRoi, int shift) {
    return convertFrame(source, sourceRoi, destination, destinationRoi,
                        [shift](unsigned v) { return v >> shift; });
}

}  // namespace huevance
