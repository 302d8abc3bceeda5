// What every implementation of the colour correction has in common: the formats that it takes, and the walk
// over the blocks' rows.
#pragma once

#include "core/Geometry.h"
#include "core/Portrait.h"

namespace huevance {

// One row of blocks: two luma rows and one row of chroma pairs, before and after.
template <typename T>
struct CorrectedRow {
    const T* sourceTop;
    const T* sourceBottom;
    const T* sourcePair;
    const T* top;
    const T* bottom;
    T* pair;
};

// Whether colour correction takes frames of this format.
template <typename T>
constexpr bool isCorrected(IMAGE_FORMAT_TYPE type) {
    constexpr bool kWide = sizeof(T) > 1;
    return type == (kWide ? IMAGE_FORMAT_TYPE_YUV16_LOW : IMAGE_FORMAT_TYPE_NV12) ||
           type == (kWide ? IMAGE_FORMAT_TYPE_YUV16_HIGH : IMAGE_FORMAT_TYPE_NV21);
}

// Calls correct(row, samples) for every row of blocks; `samples` is even. Formats that are not corrected have
// none.
template <typename T, typename Correct>
void forCorrectedRows(const T* source, const RoiInfo& sourceRoi, T* destination,
                      const RoiInfo& destinationRoi, IMAGE_FORMAT_TYPE type, Correct correct) {
    if (!isCorrected<T>(type)) {
        return;
    }
    const PlaneView<const T> sourceLuma = lumaPlane(source, sourceRoi);
    const PlaneView<const T> sourceChroma = chromaPlane(source, sourceRoi);
    const PlaneView<T> luma = lumaPlane(destination, destinationRoi);
    const PlaneView<T> chroma = chromaPlane(destination, destinationRoi);
    for (int j = 0; j < blockRows(sourceRoi); ++j) {
        correct(CorrectedRow<T>{sourceLuma.row(2 * j), sourceLuma.row(2 * j + 1), sourceChroma.row(j),
                                luma.row(2 * j), luma.row(2 * j + 1), chroma.row(j)},
                2 * blockColumns(sourceRoi));
    }
}

// Calls blendRow(backup, processed, mask, samples) for every luma row, then blendPairs with the same for
// every row of chroma pairs; their mask is the row of the blocks' first samples.
template <typename T, typename BlendRow, typename BlendPairs>
void forProtectedRows(const T* backup, const RoiInfo& backupRoi, T* processed, const RoiInfo& processedRoi,
                      const float* mask, const RoiInfo& maskRoi, BlendRow blendRow, BlendPairs blendPairs) {
    const PlaneView<const float> weights = maskPlane(mask, maskRoi);
    const PlaneView<const T> backupLuma = lumaPlane(backup, backupRoi);
    const PlaneView<T> luma = lumaPlane(processed, processedRoi);
    for (int y = 0; y < luma.height; ++y) {
        blendRow(backupLuma.row(y), luma.row(y), weights.row(y), luma.width);
    }
    const PlaneView<const T> backupChroma = chromaPlane(backup, backupRoi);
    const PlaneView<T> chroma = chromaPlane(processed, processedRoi);
    for (int j = 0; j < blockRows(processedRoi); ++j) {
        blendPairs(backupChroma.row(j), chroma.row(j), weights.row(2 * j), 2 * blockColumns(processedRoi));
    }
}

// Calls detect(pairs, top, bottom, samples, placeOfU) for every row of chroma pairs and its two mask rows.
// Formats in which skin is not detected have none.
template <typename Detect>
void forSkinRows(const unsigned char* image, const RoiInfo& roi, IMAGE_FORMAT_TYPE type, float* mask,
                 const RoiInfo& maskRoi, Detect detect) {
    const std::optional<int> placeOfU = skinPlaceOfU(type);
    if (!placeOfU) {
        return;
    }
    const PlaneView<const unsigned char> chroma = chromaPlane(image, roi);
    const PlaneView<float> cells = maskPlane(mask, maskRoi);
    for (int j = 0; j < blockRows(roi); ++j) {
        detect(chroma.row(j), cells.row(2 * j), cells.row(2 * j + 1), 2 * blockColumns(roi), *placeOfU);
    }
}

}  // namespace huevance
