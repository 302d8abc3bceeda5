// How far one picture is from another, in the measures of the field.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "tools/picture/Rgb.h"

namespace tool {

// Summed over the pictures that were added (the frames of a stream), pixel by pixel. A few rows of memory
// beside the two pictures.
class Metrics {
public:
    Metrics();
    // Equal sizes, at least one pixel. `picture` is the one whose clipping counts.
    void add(const RgbPicture& reference, const RgbPicture& picture);

    // CIEDE2000: the mean, and the value that 99 % of the pixels do not exceed (in steps of 0.005; at most
    // 150).
    double deltaEMean() const;
    double deltaEP99() const;
    // Structural similarity of BT.601 luma after Wang et al. 2004: Gaussian window of 11 x 11 with sigma 1.5,
    // K1 = 0.01, K2 = 0.03, mean over the windows that lie inside. A picture smaller than one window is
    // compared as a whole. 1 is equal.
    double ssim() const;
    // Of BT.601 luma, in dB against 255; nothing when it is equal.
    std::optional<double> psnrY() const;
    // Share of `picture`'s pixels with a channel of 254 or more, 0..100.
    double clippedPercent() const;

private:
    std::vector<std::uint64_t> m_deltaE;  // histogram
    double m_deltaESum = 0.0;
    double m_ssimSum = 0.0;
    double m_squares = 0.0;
    std::uint64_t m_windows = 0;
    std::uint64_t m_clipped = 0;
    std::uint64_t m_pixels = 0;
};

}  // namespace tool
