#include "tools/picture/FlatNoise.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

namespace tool {

namespace {

constexpr int kSide = 16;

using BlockLuma = float[kSide][kSide];

void lumaOf(const RgbPicture& picture, int left, int top, BlockLuma& luma) {
    for (int y = 0; y < kSide; ++y) {
        const std::uint8_t* rgb = picture.row(top + y) + static_cast<std::ptrdiff_t>(3) * left;
        for (int x = 0; x < kSide; ++x, rgb += 3) {
            luma[y][x] = 0.299F * static_cast<float>(rgb[0]) + 0.587F * static_cast<float>(rgb[1]) +
                         0.114F * static_cast<float>(rgb[2]);
        }
    }
}

// The mean of |L|, L being the difference of two Laplacians, which does not see edges that are straight.
float roughness(const BlockLuma& luma) {
    float sum = 0.0F;
    for (int y = 1; y + 1 < kSide; ++y) {
        for (int x = 1; x + 1 < kSide; ++x) {
            const auto across = [&](int row) {
                return luma[row][x - 1] - 2.0F * luma[row][x] + luma[row][x + 1];
            };
            sum += std::abs(across(y - 1) - 2.0F * across(y) + across(y + 1));
        }
    }
    return sum / ((kSide - 2) * (kSide - 2));
}

struct Block {
    int left, top;
    float variance;
};

std::optional<Block> blockAt(const RgbPicture& picture, int left, int top) {
    BlockLuma luma;
    lumaOf(picture, left, top, luma);
    float sum = 0.0F, squares = 0.0F;
    for (const auto& row : luma) {
        for (const float level : row) {
            sum += level - 128.0F;
            squares += (level - 128.0F) * (level - 128.0F);
        }
    }
    constexpr float kPixels = kSide * kSide;
    const float mean = sum / kPixels;
    if (mean < 16.0F - 128.0F || mean > 240.0F - 128.0F) {
        return std::nullopt;
    }
    return Block{left, top, squares / kPixels - mean * mean};
}

}  // namespace

std::optional<FlatNoise> flatNoise(const RgbPicture& reference, const RgbPicture& picture) {
    std::vector<Block> blocks;
    for (int top = 0; top + kSide <= reference.size.height; top += kSide) {
        for (int left = 0; left + kSide <= reference.size.width; left += kSide) {
            if (const std::optional<Block> block = blockAt(reference, left, top)) {
                blocks.push_back(*block);
            }
        }
    }
    if (blocks.empty()) {
        return std::nullopt;
    }
    const std::size_t flat = std::max<std::size_t>(blocks.size() / 10, 1);
    std::nth_element(blocks.begin(), blocks.begin() + static_cast<std::ptrdiff_t>(flat - 1), blocks.end(),
                     [](const Block& a, const Block& b) { return a.variance < b.variance; });
    // |L| of white noise of deviation 1 has the mean 6 sqrt(2 / pi).
    const double unit = std::sqrt(std::numbers::pi / 2) / 6 / static_cast<double>(flat);
    FlatNoise noise;
    for (std::size_t i = 0; i < flat; ++i) {
        BlockLuma luma;
        lumaOf(reference, blocks[i].left, blocks[i].top, luma);
        noise.reference += unit * static_cast<double>(roughness(luma));
        lumaOf(picture, blocks[i].left, blocks[i].top, luma);
        noise.picture += unit * static_cast<double>(roughness(luma));
    }
    return noise;
}

}  // namespace tool
