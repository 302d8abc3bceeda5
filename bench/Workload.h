// What the benchmarks run: frame geometries, the tuning with every stage on, and a process whose library
// output is out of the way.
#pragma once

#include <string>
#include <vector>

#include "jni/algocommon/ImageTypes.h"
#include "tests/support/TuningDir.h"

namespace bench {

struct Size {
    int width;
    int height;

    double pixels() const { return static_cast<double>(width) * height; }
    std::string text() const { return std::to_string(width) + "x" + std::to_string(height); }
};

// "WxH", both even and at least 16. Throws std::invalid_argument.
Size parseSize(const std::string& text);

// A frame as a camera hands it over: rows aligned to 64 bytes, no scanline padding.
RoiInfo cameraRoi(const Size& size, int dataBit);

// NV21 for 8 bits; low-aligned 16-bit samples otherwise.
IMAGE_FORMAT_TYPE cameraFormat(int dataBit);

// A temporary tuning directory: CLAHE 8 x 6, curves, colour correction, colour table and skin protection, all
// on, with a contrast curve and a warming colour table. Preview reads the same and leaves out what it never
// does.
class FullTuning {
public:
    FullTuning();
    const std::string& path() const { return m_directory.path(); }

    static std::vector<float> curve();     // 256
    static std::vector<float> colorLut();  // huevance::kColorLutFloats
    static constexpr float kColorStrength = 0.8F;
    static constexpr float kSatStrength = 1.2F;
    static constexpr float kClaheStrength = 1.0F;

private:
    test::TuningDir m_directory;
};

// The library prints to standard output and to the log for every frame. From here to the end of the process
// both go nowhere, and std::cout writes to what standard output was. Call it once.
void silenceLibrary();

}  // namespace bench
