#include "bench/Workload.h"

#include <fcntl.h>
#include <sim/log.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <ext/stdio_filebuf.h>
#include <iostream>
#include <stdexcept>

#include "core/ColorLut.h"
#include "core/Geometry.h"

namespace bench {

Size parseSize(const std::string& text) {
    Size size{};
    const char* end = text.data() + text.size();
    const auto width = std::from_chars(text.data(), end, size.width);
    const bool hasHeight = width.ec == std::errc() && width.ptr != end && *width.ptr == 'x';
    if (!hasHeight) {
        throw std::invalid_argument("not a size: " + text);
    }
    const auto height = std::from_chars(width.ptr + 1, end, size.height);
    if (height.ec != std::errc() || height.ptr != end || size.width < 16 || size.height < 16 ||
        size.width % 2 != 0 || size.height % 2 != 0) {
        throw std::invalid_argument("not a size of even numbers from 16: " + text);
    }
    return size;
}

RoiInfo cameraRoi(const Size& size, int dataBit) {
    const int bytes = size.width * (dataBit == 8 ? 1 : 2);
    return {size.width, size.height, (bytes + 63) / 64 * 64, size.height};
}

IMAGE_FORMAT_TYPE cameraFormat(int dataBit) {
    return dataBit == 8 ? IMAGE_FORMAT_TYPE_NV21 : IMAGE_FORMAT_TYPE_YUV16_LOW;
}

FullTuning::FullTuning() {
    m_directory.writePlatform("CPU");
    m_directory.writeSets({{"claheSwitch", "1"},
                           {"curveSwitch", "1"},
                           {"colorSwitch", "1"},
                           {"cCorrSwitch", "1"},
                           {"maskSource", "2"},
                           {"pProtectSwitch", "1"}});
    m_directory.writeParam(0, kColorStrength, kSatStrength, kClaheStrength);
    m_directory.writeFloats("curveLut0", curve());
    m_directory.writeFloats("colorLut0", colorLut());
}

std::vector<float> FullTuning::curve() {
    std::vector<float> levels(huevance::kBins8);
    for (int i = 0; i < huevance::kBins8; ++i) {
        const float x = static_cast<float>(i) / 255.0F;
        levels[static_cast<std::size_t>(i)] = 255.0F * (0.7F * x + 0.3F * x * x * (3.0F - 2.0F * x));
    }
    return levels;
}

std::vector<float> FullTuning::colorLut() {
    constexpr int kN = huevance::kLatticeSize;
    constexpr std::size_t kPoints = huevance::kColorLutFloats / 3;
    std::vector<float> lattice(huevance::kColorLutFloats);
    std::size_t point = 0;
    const auto level = [](int i) { return 255.0F * static_cast<float>(i) / (kN - 1); };
    const auto clamp = [](float value) { return std::clamp(value, 0.0F, 255.0F); };
    for (int b = 0; b < kN; ++b) {
        for (int a = 0; a < kN; ++a) {
            for (int y = 0; y < kN; ++y, ++point) {
                lattice[point] = clamp(level(y) * 1.02F - 2.0F);
                lattice[kPoints + point] = clamp(128.0F + 1.1F * (level(a) - 128.0F) - 3.0F);
                lattice[2 * kPoints + point] = clamp(128.0F + 1.1F * (level(b) - 128.0F) + 3.0F);
            }
        }
    }
    return lattice;
}

void silenceLibrary() {
    sim_log_set_sink([](void*, int, const char*, const char*) {}, nullptr);
    std::fflush(stdout);
    const int own = dup(STDOUT_FILENO);
    const int nowhere = open("/dev/null", O_WRONLY);
    if (own < 0 || nowhere < 0 || dup2(nowhere, STDOUT_FILENO) < 0) {
        throw std::runtime_error("cannot move standard output");
    }
    close(nowhere);
    // Never deleted: std::cout is flushed after every other object is gone.
    std::cout.rdbuf(new __gnu_cxx::stdio_filebuf<char>(own, std::ios::out));
}

}  // namespace bench
