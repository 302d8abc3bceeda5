// Well-known programs' work on the same picture, one thread each: what our figures are compared with.
#pragma once

#include <memory>

#include "jni/algocommon/ImageTypes.h"

namespace bench {

class Yardstick {
public:
    virtual ~Yardstick() = default;
    // The whole picture once. The input is left as it was, so every run does the same work.
    virtual void run() = 0;
};

// OpenCV's CLAHE(2.0, 8 x 6) from the luma of an 8-bit frame, which must outlive the object, to a plane of
// its own.
std::unique_ptr<Yardstick> openCvClahe(const unsigned char* frame, const RoiInfo& roi);

// FFmpeg's lut3d, tetrahedral, 16 points an axis (as many as our colour table has), from a planar 8-bit RGB
// frame made of the NV21 frame to another one of its pool.
std::unique_ptr<Yardstick> ffmpegLut3d(const unsigned char* frame, const RoiInfo& roi);

}  // namespace bench
