// JPEG through its own planes: no RGB in between, so nothing is lost but the coding itself.
#pragma once

#include "tools/picture/Rgb.h"

namespace tool {

// What the header says. Throws (exit code 3) for what cannot be decoded.
Size sizeOfJpeg(const Bytes& contents, const std::string& name);
// Any chroma subsampling; 4:2:0 passes untouched, others are filtered to it. Gray pictures get neutral
// chroma.
Picture decodeJpeg(const Bytes& contents, const std::string& name);
// At the file's own chroma resolution, as it lies there.
RgbPicture decodeJpegRgb(const Bytes& contents, const std::string& name);
// 4:2:0, quality 1 to 100.
Bytes encodeJpeg(const Picture& picture, int quality);

}  // namespace tool
