// PNG, through RGB with a named matrix.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tools/picture/Rgb.h"

namespace tool {

// What the header says. Throws (exit code 3) for what is no PNG.
Size sizeOfPng(const Bytes& contents, const std::string& name);
// As it lies in the file, 8 bits; what is transparent is shown on white.
RgbPicture decodePngRgb(const Bytes& contents, const std::string& name);
// Colour or gray, any depth; what is transparent is shown on white. 16 bits a sample give deep planes, too.
Picture decodePng(const Bytes& contents, ColorMatrix matrix, const std::string& name);
GrayPicture decodePngGray(const Bytes& contents, const std::string& name);
// Turned upright; 16 bits a sample when the picture has deep planes.
Bytes encodePng(const Picture& picture, ColorMatrix matrix);
Bytes encodePng(const GrayPicture& picture);
// sRGB of 16 bits a sample, 3 samples a pixel, rows without padding.
Bytes encodePng16(const std::vector<std::uint16_t>& rgb, Size size);

// The same back, from a PNG of any depth, without conversion between transfer curves: 8-bit level k becomes
// 257 x k. `check` is asked before the pixels are read, and may throw.
std::vector<std::uint16_t> decodePng16(const Bytes& contents, const std::string& name,
                                       const std::function<void(Size)>& check);

}  // namespace tool
