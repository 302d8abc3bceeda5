// Copies of whole two-plane frames between 8-bit and 16-bit storage, or with samples re-aligned. Width and
// height are the source's, each side has its own stride and scanline. 8-bit results keep the low 8 bits,
// without saturation. Source and destination of the 16u16u pair may be the same frame. A shift is 0 to 15.
// All return 0.
#pragma once

#include "jni/algocommon/ImageTypes.h"

namespace huevance {

int covertYuv_16u8u(const unsigned short* source, RoiInfo sourceRoi, unsigned char* destination,
                    RoiInfo destinationRoi);
int covertYuv_8u16u(const unsigned char* source, RoiInfo sourceRoi, unsigned short* destination,
                    RoiInfo destinationRoi);
int leftBitShift_8u16u(const unsigned char* source, RoiInfo sourceRoi, unsigned short* destination,
                       RoiInfo destinationRoi, int shift);
int rightBitShift_16u8u(const unsigned short* source, RoiInfo sourceRoi, unsigned char* destination,
                        RoiInfo destinationRoi, int shift);
int leftBitShift_16u16u(const unsigned short* source, RoiInfo sourceRoi, unsigned short* destination,
                        RoiInfo destinationRoi, int shift);
int rightBitShift_16u16u(const unsigned short* source, RoiInfo sourceRoi, unsigned short* destination,
                         RoiInfo destinationRoi, int shift);

}  // namespace huevance
