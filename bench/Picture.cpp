#include "bench/Picture.h"

#include <turbojpeg.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <memory>
#include <opencv2/imgproc.hpp>
#include <stdexcept>
#include <string>

#include "core/Geometry.h"
#include "tests/support/Frames.h"

namespace bench {

namespace {

struct Planes {
    cv::Mat luma;
    cv::Mat vu;  // two channels, V first, half size
};

// The JPEG's own planes, without a trip through RGB.
Planes decode(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(in), {}};
    const auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
    const std::unique_ptr<void, int (*)(tjhandle)> decoder(tjInitDecompress(), &tjDestroy);
    int width = 0;
    int height = 0;
    int subsampling = 0;
    int colours = 0;
    if (tjDecompressHeader3(decoder.get(), data, bytes.size(), &width, &height, &subsampling, &colours) !=
            0 ||
        subsampling == TJSAMP_GRAY) {
        throw std::runtime_error("cannot read " + path);
    }
    cv::Mat planes[3];
    unsigned char* pointers[3];
    int strides[3];
    for (int i = 0; i < 3; ++i) {
        planes[i].create(tjPlaneHeight(i, height, subsampling), tjPlaneWidth(i, width, subsampling), CV_8UC1);
        pointers[i] = planes[i].data;
        strides[i] = static_cast<int>(planes[i].step);
    }
    if (tjDecompressToYUVPlanes(decoder.get(), data, bytes.size(), pointers, width, strides, height, 0) !=
        0) {
        throw std::runtime_error("cannot decode " + path);
    }
    Planes result{planes[0], {}};
    cv::merge(std::vector<cv::Mat>{planes[2], planes[1]}, result.vu);
    return result;
}

// One row of scaled samples into the frame, with noise of -2 .. 2 levels of 8 bits.
template <typename T>
void writeRow(const unsigned char* from, T* to, int samples, int dataBit, bool swapPairs,
              test::Random& random) {
    const int top = (1 << dataBit) - 1;
    const int spread = 5 << (dataBit - 8);
    for (int x = 0; x < samples; ++x) {
        const int level = from[swapPairs ? x ^ 1 : x] << (dataBit - 8);
        to[x] = static_cast<T>(std::clamp(level + random.below(spread) - spread / 2, 0, top));
    }
}

template <typename T>
void writeFrame(const Planes& planes, T* frame, const RoiInfo& roi, int dataBit) {
    test::Random random(1);
    const bool uFirst = dataBit != 8;
    const huevance::PlaneView<T> luma = huevance::lumaPlane(frame, roi);
    for (int y = 0; y < roi.height; ++y) {
        writeRow(planes.luma.ptr(y), luma.row(y), roi.width, dataBit, false, random);
    }
    const huevance::PlaneView<T> chroma = huevance::chromaPlane(frame, roi);
    for (int y = 0; y < roi.height / 2; ++y) {
        writeRow(planes.vu.ptr(y), chroma.row(y), roi.width, dataBit, uFirst, random);
    }
}

}  // namespace

std::vector<unsigned char> photograph(const RoiInfo& roi, int dataBit) {
    const Planes sample = decode(HUEVANCE_SOURCE_DIR "/samples/portrait.jpg");
    Planes scaled;
    cv::resize(sample.luma, scaled.luma, cv::Size(roi.width, roi.height), 0, 0, cv::INTER_CUBIC);
    cv::resize(sample.vu, scaled.vu, cv::Size(roi.width / 2, roi.height / 2), 0, 0, cv::INTER_CUBIC);
    std::vector<unsigned char> bytes(huevance::frameBytes(roi));
    if (dataBit == 8) {
        writeFrame(scaled, bytes.data(), roi, dataBit);
    } else {
        writeFrame(scaled, reinterpret_cast<std::uint16_t*>(bytes.data()), roi, dataBit);
    }
    return bytes;
}

}  // namespace bench
