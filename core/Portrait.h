// Skin detection, portrait protection, and the portrait tone curve.
//
// A mask holds one float per luma sample, 0 (no protection) to 1 (full protection), in rows of its own stride
// in bytes.
#pragma once

#include <optional>

#include "jni/algocommon/ImageTypes.h"

namespace huevance {

// The ends of the segment in the chroma plane (samples divided by 255) that skin lies around.
struct ChromaPoint {
    float u, v;
};
inline constexpr ChromaPoint kSkinPoints[2] = {{0.40378553F, 0.64456809F}, {0.48221445F, 0.57143188F}};
// Summed distance from both points up to which the probability is 1.
inline constexpr float kSkinReach = 0.14F;

// The place of U in a chroma pair, 0 or 1, or nothing for a format in which skin is not detected.
std::optional<int> skinPlaceOfU(IMAGE_FORMAT_TYPE type);

// Skin probability of one chroma pair, each sample divided by 255: 1 on and near the segment between two
// reference points, falling off with the summed distance.
float skinProbability(float u, float v);

// Writes the probability of every 2 x 2 block into its four mask cells; cells outside whole blocks stay as
// they were. NV12, 9 and 10 have U first, NV21 has V first; any other format writes nothing, so that the mask
// of the frame before stays. Returns 0.
int skinColorDetect(const unsigned char* image, RoiInfo roi, IMAGE_FORMAT_TYPE type, float* mask,
                    RoiInfo maskRoi);

// processed = truncation of (m x backup + (1 - m) x processed), luma per sample, chroma per pair with the
// mask value of the block's first sample. No rounding offset, on purpose. The mask must cover the frame.
// Returns 0.
int portraitProtect_8u(const unsigned char* backup, RoiInfo backupRoi, unsigned char* processed,
                       RoiInfo processedRoi, const float* mask, RoiInfo maskRoi);
int portraitProtect_16u(const unsigned short* backup, RoiInfo backupRoi, unsigned short* processed,
                        RoiInfo processedRoi, const float* mask, RoiInfo maskRoi);

// Luma histogram of an 8-bit frame, every sample weighted by the mask: 256 bins. Returns 0.
int imMaskHist(const unsigned char* image, RoiInfo roi, const float* mask, RoiInfo maskRoi, float* hist);

// The equalising curve of the masked region: its histogram through the single-histogram CLAHE curve. Returns
// 0.
int computePortraitLut(const unsigned char* image, RoiInfo roi, const float* mask, RoiInfo maskRoi,
                       float* hist, float* lut, float strength);

}  // namespace huevance
