#include "tests/gpu/support/Chain.h"

#include <cmath>
#include <cstring>

#include "core/Clahe.h"
#include "core/ColorCorrect.h"
#include "core/ColorLut.h"
#include "core/Geometry.h"
#include "core/Portrait.h"
#include "core/ToneCurve.h"

namespace test {

void Chain::apply(Frame& frame, IMAGE_FORMAT_TYPE type) const {
    const RoiInfo& roi = frame.roi();
    unsigned char* image = frame.data8();
    std::vector<unsigned char> original = frame.copyBytes();  // what correction and protection look back at
    if (on.clahe) {
        const huevance::TileGeometry tile = huevance::tileGeometry(roi, gridWidth, gridHeight, sampRate);
        std::vector<float> hist(static_cast<std::size_t>(gridWidth * gridHeight * 256));
        std::vector<float> lut(hist.size());
        huevance::computeClaheLut(image, roi, hist.data(), lut.data(), sampRate, gridWidth, gridHeight,
                                  tile.tileWidth, tile.tileHeight, claheStrength);
        huevance::claheMap_8u(image, roi, lut.data(), 256, tile.tileWidth, tile.tileHeight, gridWidth,
                              gridHeight);
    }
    if (on.curve) {
        std::vector<float> uv(256);
        huevance::buildUvCurve(satStrength, uv.data());
        huevance::curveMap_8u(image, roi, curve.data(), uv.data(), 256);
        const auto chroma = static_cast<std::size_t>(huevance::chromaOffset(roi));
        std::memcpy(original.data() + chroma, image + chroma, original.size() - chroma);
    }
    if (on.colorCorrect) {
        // Where no later stage needs the unprocessed luma, it is gone when correction looks for it.
        const std::vector<unsigned char> before =
            on.colorMap || on.portraitProtect ? original : frame.copyBytes();
        huevance::colorCorrect_8u(before.data(), roi, image, roi, type, 256);
    }
    if (on.colorMap) {
        huevance::colorMap_8u(image, roi, type, 256, lattice.data(), 16, colorStrength);
    }
    if (on.portraitProtect && !mask.empty()) {
        huevance::portraitProtect_8u(original.data(), roi, image, roi, mask.data(), maskRoi);
    } else if (on.portraitProtect) {
        const RoiInfo skinRoi = huevance::skinMaskRoi(roi);
        std::vector<float> skin(static_cast<std::size_t>(skinRoi.stride / 4 * skinRoi.height));
        huevance::skinColorDetect(original.data(), roi, type, skin.data(), skinRoi);
        huevance::portraitProtect_8u(original.data(), roi, image, roi, skin.data(), skinRoi);
    }
}

huevance::StageSwitches stagesOf(int bits) {
    return {(bits & 1) != 0, (bits & 2) != 0, (bits & 4) != 0, (bits & 8) != 0, (bits & 16) != 0};
}

std::vector<float> gentleCurve(float bend) {
    std::vector<float> curve(256);
    for (std::size_t i = 0; i < curve.size(); ++i) {
        const float x = static_cast<float>(i) / 255.0F;
        curve[i] = 255.0F * (x + bend * x * (1.0F - x));
    }
    return curve;
}

std::vector<float> gentleLattice(float bend) {
    constexpr int n = huevance::kLatticeSize;
    std::vector<float> lattice;
    for (const float wave : {1.0F, -1.0F, 0.5F}) {
        for (int i = 0; i < n * n * n; ++i) {
            const int y = i % n;
            const int a = i / n % n;
            const int b = i / n / n;
            const int point = wave == 1.0F ? y : wave == -1.0F ? a : b;
            lattice.push_back(12.0F + 15.4F * static_cast<float>(point) +
                              bend * wave * 12.0F * std::sin(static_cast<float>(y + 2 * a - b) / 4.0F));
        }
    }
    return lattice;
}

}  // namespace test
