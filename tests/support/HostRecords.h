// The records of the interface, filled as a host fills them.
#pragma once

#include "jni/HuevanceTypes.h"
#include "tests/support/TuningDir.h"

namespace test {

// A set-up record for 8-bit frames of any size. The mask's geometry fits the frames; there is no mask.
inline InitParam initParam(const TuningDir& dir, int mode, RoiInfo roi) {
    return {.reserved = -1,
            .dataBit = 8,
            .framePhotoFlag = mode,
            .directory1 = dir.parent().c_str(),
            .directory2 = dir.name().c_str(),
            .imageRoi = roi,
            .portraitMaskRoi = {roi.width, roi.height, static_cast<int>(4U * static_cast<unsigned>(roi.width)),
                                roi.height},
            .portraitMask = nullptr};
}

// A two-plane frame.
inline Image hostImage(void* data, IMAGE_FORMAT_TYPE format, RoiInfo roi) {
    Image image = {};
    image.w = roi.width;
    image.h = roi.height;
    image.num_plane = 2;
    image.format = format;
    const int luma = roi.stride * roi.scanline;
    image.planes[0] = {roi.width, roi.height, roi.stride, roi.scanline, luma, -1, data};
    image.planes[1] = {roi.width,
                       roi.height / 2,
                       roi.stride,
                       roi.scanline / 2,
                       roi.stride * (roi.scanline / 2),
                       -1,
                       static_cast<unsigned char*>(data) + luma};
    return image;
}

}  // namespace test
